// The state around a call of a generator: control words, error mode and error callback, put back on every path.
#pragma once
#include "frame/control.h"
#include "frame/thread_state.h"
#include "orv/mode.h"

#include <immintrin.h>

namespace orv::distributions {

// What stands for a singular result, so that a uniform number of exactly 0 or 1 gives a large finite one.
template <class T>
inline constexpr double ln_of_zero = -744.4400719213812;
template <>
inline constexpr double ln_of_zero<float> = -103.27893f;
template <class T>
inline constexpr double erf_inv_of_one = 5.8635847487551676;
template <>
inline constexpr double erf_inv_of_one<float> = 3.832507f;

enum class Replace { poles, ln, gaussian };

template <class T, Replace what>
int ORV_CALL replace_singular(OrvErrorRecord* record) {
  bool const pole = record->code == ORV_STATUS_SINGULARITY, domain = record->code == ORV_STATUS_DOMAIN;
  double value = ln_of_zero<T>;
  if (what == Replace::gaussian && (domain || (pole && record->arg1 != 0)))
    value = record->arg1 < 0 ? -erf_inv_of_one<T> : erf_inv_of_one<T>;
  if (pole || (domain && what != Replace::poles)) record->res1 = record->res2 = value;
  return 0;
}

// Exceptions are masked inside and leave no trace. Mode, callback and status go back as they were: the words
// themselves, since setting a mode can't clear a field that was clear before. Denormals are kept for the whole
// call; nothing in it reads that field but the element-wise kernels.
// Real parameters go through `launder` behind it: what is computed from them could be moved before it.
class Frame {
 public:
  explicit Frame(OrvErrorCallback callback) : state_(ElwGetThreadState()) {
    __asm__ volatile("fnstcw %0\n\tstmxcsr %1" : "=m"(x87_), "=m"(mxcsr_)::"memory");
    if ((x87_ & x87_masks) != x87_masks) {
      uint16_t const masked = x87_ | x87_masks;
      __asm__ volatile("fnclex\n\tfldcw %0" ::"m"(masked) : "memory");
    }
    if ((mxcsr_ & mxcsr_masks) != mxcsr_masks) {
      uint32_t const masked = mxcsr_ | mxcsr_masks;
      __asm__ volatile("ldmxcsr %0" ::"m"(masked) : "memory");
    }
    mode_ = ElwMode();
    status_ = state_.errStatus;
    callback_ = state_.errorCallback;
    state_.mode = (mode_ & ~(error_mode_mask | denormal_mask)) | ORV_ERRMODE_CALLBACK | ORV_KEEP_DENORMALS;
    state_.errorCallback = callback;
  }
  ~Frame() {
    state_.errorCallback = callback_;
    state_.mode = mode_;
    state_.errStatus = status_;
    __asm__ volatile("fnclex\n\tfldcw %0\n\tldmxcsr %1" ::"m"(x87_), "m"(mxcsr_) : "memory");
  }
  Frame(Frame const&) = delete;
  Frame& operator=(Frame const&) = delete;

 private:
  static constexpr uint16_t x87_masks = 0x3F;
  static constexpr uint32_t mxcsr_masks = 0x1F80;
  ElwThreadState& state_;
  uint16_t x87_;
  uint32_t mxcsr_, mode_;
  int32_t status_;
  OrvErrorCallback callback_;
};

} // namespace orv::distributions
