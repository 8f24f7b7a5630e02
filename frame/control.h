// The floating-point control state of a kernel call.
#pragma once
#include "frame/thread_state.h"

#include <immintrin.h>

namespace orv {

constexpr uint32_t ElwMxcsrPlain = 0x1F80; // exceptions masked, round to nearest
constexpr uint32_t ElwMxcsrFlush = 0x9FC0; // the same, denormals flushed and read as zero

// Puts the kernel's control state in force and restores the caller's, keeping the sticky flags raised
// in between. Floating-point operations can be moved across a change of control registers by the compiler:
// scalars passed by value must go through `launder`, arrays are held back by the barriers.
class ControlState {
 public:
  [[gnu::always_inline]] ControlState() {
    __asm__ volatile("fnstcw %0" : "=m"(x87_)::"memory");
    if ((x87_ & x87_masks) != x87_masks) [[unlikely]] {
      uint16_t const masked = x87_ | x87_masks;
      __asm__ volatile("fnclex\n\tfldcw %0" ::"m"(masked) : "memory");
      x87_changed_ = true;
    }
    mode_ = ElwMode();
    uint32_t const wanted = wanted_mxcsr(mode_);
    __asm__ volatile("stmxcsr %0" : "=m"(mxcsr_)::"memory");
    if ((mxcsr_ & 0xFFC0) != wanted) [[unlikely]] {
      uint32_t const word = (mxcsr_ & (0xFFFF0000u | sticky)) | wanted;
      __asm__ volatile("ldmxcsr %0" ::"m"(word) : "memory");
      mxcsr_changed_ = true;
    }
    __asm__ volatile("" ::: "memory");
  }
  [[gnu::always_inline]] ~ControlState() {
    __asm__ volatile("" ::: "memory");
    if (x87_changed_) [[unlikely]] {
      __asm__ volatile("fldcw %0" ::"m"(x87_) : "memory");
    }
    if (mxcsr_changed_) [[unlikely]] {
      uint32_t now;
      __asm__ volatile("stmxcsr %0" : "=m"(now)::"memory");
      mxcsr_ |= now & sticky;
      __asm__ volatile("ldmxcsr %0" ::"m"(mxcsr_) : "memory");
    }
  }
  ControlState(ControlState const&) = delete;
  ControlState& operator=(ControlState const&) = delete;

  // The control state that a kernel wants is the caller's already: there is nothing to enter and to leave.
  [[gnu::always_inline]] static bool in_force() {
    uint16_t x87;
    uint32_t mxcsr;
    __asm__ volatile("fnstcw %0\n\tstmxcsr %1" : "=m"(x87), "=m"(mxcsr)::"memory");
    return (x87 & x87_masks) == x87_masks && (mxcsr & 0xFFC0) == wanted_mxcsr(ElwMode());
  }

  uint32_t mode() const { return mode_; }
  // The mode says that errors are not even recorded.
  bool errors_off() const { return (mode_ & error_mode_mask) == ORV_ERRMODE_NOERR; }

 private:
  static uint32_t wanted_mxcsr(uint32_t mode) {
    return (mode & denormal_mask) == ORV_FLUSH_DENORMALS ? ElwMxcsrFlush : ElwMxcsrPlain;
  }
  static constexpr uint16_t x87_masks = 0x3F;
  static constexpr uint32_t sticky = 0x3F;
  uint16_t x87_;
  bool x87_changed_ = false, mxcsr_changed_ = false;
  uint32_t mxcsr_, mode_;
};

// The same value, produced after the control state above it was entered.
template <class T>
[[gnu::always_inline]] inline T launder(T value) {
  __asm__ volatile("" : "+x"(value)::"memory");
  return value;
}

} // namespace orv
