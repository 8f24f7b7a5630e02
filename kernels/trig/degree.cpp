// Sind, Cosd, Tand: of x degrees. Method: kernels/trig/unit.h.
#include "kernels/loop/tables.h"
#include "kernels/trig/unit.h"

namespace orv {
namespace {

template <class T, Level level>
using Sind = trig::UnitSineKernel<T, level, false, trig::Degrees>;
template <class T, Level level>
using Cosd = trig::UnitSineKernel<T, level, true, trig::Degrees>;
template <class T, Level level>
using Tand = trig::UnitTangentKernel<T, level, trig::Degrees>;

} // namespace
} // namespace orv

ORV_KERNEL(Sind, orv::Sind);
ORV_KERNEL(Cosd, orv::Cosd);
ORV_KERNEL(Tand, orv::Tand);
