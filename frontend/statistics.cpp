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
  struct Serving {
    uint64_t estimates, method; // 0: the caller's
    decltype(_rnqdSSBasic)* entry;
  };
  Serving const entries[] = {
      {SSEstimatesOfBasic, 0, ORV_FUNCTION_OF(_rnqdSSBasic)},
      {SSEstimatesOfMinmax, SSMethodFast, ORV_FUNCTION_OF(_rnqdSSMinmax)},
      {SSEstimatesOfQuantiles, SSMethodFast, ORV_FUNCTION_OF(_rnqdSSQuantiles)},
      {SSEstimatesOfMAD, SSMethodFast, ORV_FUNCTION_OF(_rnqdSSMAD)},
      {SSEstimatesOfPooledCovariance, SSMethodOnePass, ORV_FUNCTION_OF(_rnqdSSPooledCovariance)},
      {SSEstimatesOfPartialCovariance, SSMethodFast, ORV_FUNCTION_OF(_rnqdSSPartialCovariance)}};
  uint64_t rest = estimates;
  for (Serving const& s : entries) rest &= ~s.estimates;
  for (int bit = 0; bit < 64; ++bit)
    if (rest >> bit & 1)
      throw Error("estimate bit " + std::to_string(bit) + " is not one that can be computed here");
  if (threads < 0) throw Error("a thread limit from 0 is wanted, not " + std::to_string(threads));
  SSThreadServices const& services = statistics_threads(threads);
  for (Serving const& s : entries)
    if (uint64_t const own = estimates & s.estimates)
      check(s.entry(&task, own, s.method ? s.method : method, &services));
}

} // namespace orv
