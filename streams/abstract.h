// Abstract streams: a ring of numbers that the caller owns and a callback that refills it.
#pragma once
#include "streams/stream.h"

namespace orv::streams {

template <class T>
struct alignas(8) AbstractState;
template <>
struct alignas(8) AbstractState<uint32_t> {
  int32_t size, next, used;
  uint32_t* buffer;
  RngRefillInteger refill;
};
template <>
struct alignas(8) AbstractState<double> {
  int32_t size, next, used;
  alignas(8) double lower;
  alignas(8) double upper;
  double* buffer;
  RngRefillDouble refill;
};
template <>
struct alignas(8) AbstractState<float> {
  int32_t size, next, used;
  float lower, upper;
  float* buffer;
  RngRefillSingle refill;
};
static_assert(sizeof(void*) != 4 ||
              (sizeof(AbstractState<uint32_t>) == 24 && sizeof(AbstractState<double>) == 40 &&
               sizeof(AbstractState<float>) == 32 && offsetof(AbstractState<double>, refill) == 36));

template <class T>
inline constexpr int32_t abstract_stream_size = sizeof(RngStream) + sizeof(AbstractState<T>);

// Addresses that came with an image stay only if this process made a stream with that very ring.
void check_loaded_abstract(RngStream* stream, BrngProperties const& row);

} // namespace orv::streams
