// What a generator keeps with the stream between calls. Chunks come from stored images too, so each is checked when
// it is found and made anew if it cannot be right.
#pragma once
#include "distributions/draw.h"
#include "frame/core.h"

namespace orv::distributions {

enum Chunk : uint32_t {
  gaussian_single = 1,
  gaussian_double = 2,
  poisson_chunk = 3,
  negbinomial_chunk = 4,
  binomial_chunk = 5,
  hypergeometric_chunk = 6,
  gamma_double = 7,
  gamma_single = 8
};

// The payload of the chunk `id`, of exactly `size` bytes and the stream's own; else a new one, all zero, and `fresh`
// is set. Null without memory.
inline void* payload(RngStream* stream, uint32_t id, uint32_t size, bool& fresh) {
  fresh = false;
  for (RngChunk const* c = stream->chunks; c; c = c->next)
    if (c->id == id) {
      if (c->size == size && c->data && !(c->key[0] | c->key[1])) return c->data;
      __rnqDeleteChunksById(stream, id);
      break;
    }
  fresh = true;
  void* const data = core::allocate(size);
  if (!data) return nullptr;
  std::memset(data, 0, size);
  if (__rnqAddChunk(stream, id, nullptr, data, size) >= 0) return data;
  core::deallocate(data);
  return nullptr;
}

// Two reals that wait for their use; u of -1 says that there are none.
template <class T>
struct Due {
  T u, other;
  bool waits() const { return u >= 0 && u <= 1 && other - other == 0; }
  void clear() { u = -1, other = 0; }
};
template <class T>
Due<T>* due_of(RngStream* stream, uint32_t id) {
  bool fresh;
  auto* const due = static_cast<Due<T>*>(payload(stream, id, sizeof(Due<T>), fresh));
  if (due && fresh) due->clear();
  return due;
}

// A record of setup values that belongs to parameters: kept as long as they stay and it is sound, else made anew.
//
// Record: `bool fits(parameters)` for the same parameters and values that may be used, `void make(parameters)`.
template <class Record, class... Parameters>
Record* cached(RngStream* stream, uint32_t id, Parameters... parameters) {
  bool fresh;
  auto* const record = static_cast<Record*>(payload(stream, id, sizeof(Record), fresh));
  if (record && (fresh || !record->fits(parameters...))) {
    std::memset(static_cast<void*>(record), 0, sizeof(Record));
    record->make(parameters...);
  }
  return record;
}

} // namespace orv::distributions
