// Sinpi, Cospi, Tanpi: of pi x. Method: kernels/trig/unit.h.
#include "kernels/loop/tables.h"
#include "kernels/trig/unit.h"

namespace orv {
namespace {

template <class T, Level level>
using Sinpi = trig::UnitSineKernel<T, level, false, trig::HalfTurns>;
template <class T, Level level>
using Cospi = trig::UnitSineKernel<T, level, true, trig::HalfTurns>;
template <class T, Level level>
using Tanpi = trig::UnitTangentKernel<T, level, trig::HalfTurns>;

} // namespace
} // namespace orv

ORV_KERNEL(Sinpi, orv::Sinpi);
ORV_KERNEL(Cospi, orv::Cospi);
ORV_KERNEL(Tanpi, orv::Tanpi);
