#include "frontend/statistics.h"

#include "frontend/library.h"
#include "frontend/statistics_threads.h"

namespace orv {
namespace {

void check(int32_t status) {
  if (status == SSOutOfMemory) throw Error("there is not enough memory for the estimates");
  if (status != 0) throw Error("the estimates failed with status " + std::to_string(status));
}

} // namespace

void compute_statistics(SSTask& task, uint64_t estimates, uint64_t method, int threads) {
  for (int bit = 0; bit < 64; ++bit)
    if (uint64_t const estimate = uint64_t{1} << bit;
        estimates & estimate & ~(SSEstimatesOfBasic | SSEstimatesOfMinmax))
      throw Error("estimate bit " + std::to_string(bit) + " is not one that can be computed here");
  if (threads < 0) throw Error("a thread limit from 0 is wanted, not " + std::to_string(threads));
  SSThreadServices const& services = statistics_threads(threads);
  if (uint64_t const basic = estimates & SSEstimatesOfBasic)
    check(ORV_FUNCTION_OF(_rnqdSSBasic)(&task, basic, method, &services));
  if (uint64_t const extremes = estimates & SSEstimatesOfMinmax)
    check(ORV_FUNCTION_OF(_rnqdSSMinmax)(&task, extremes, SSMethodFast, &services));
}

} // namespace orv
