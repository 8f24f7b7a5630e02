// Streams, their chunks, and the table of read-only blocks that streams share.
#include "streams/stream.h"

#include <atomic>
#include <new>

using namespace orv;
using namespace orv::streams;

// ---- the shared table ----

namespace {

using Key = const uint64_t*;

bool is_zero(Key key) { return !(key[0] | key[1]); }

struct SharedTable {
  static constexpr int capacity = 128;
  static constexpr int chunk_capacity = 127; // chunks stop one short of what the table holds
  GlobRODataEntry entry[capacity]{};
  static constexpr int64_t unknown = -1;
  int64_t size[capacity]{}; // of the data
  int count = 0;
  std::atomic<int32_t> word{0};

  GlobRODataEntry* find(Key key) {
    for (int i = 0; i < count; ++i)
      if (entry[i].key[0] == key[0] && entry[i].key[1] == key[1]) return entry + i;
    return nullptr;
  }
  GlobRODataEntry* append(Key key, void* data, int64_t bytes) {
    size[count] = bytes;
    GlobRODataEntry& e = entry[count++];
    e.key[0] = key[0];
    e.key[1] = key[1];
    e.refCount = 1;
    e.data = data;
    return &e;
  }
  void release(GlobRODataEntry* e) {
    if (--e->refCount) return;
    core::deallocate(e->data);
    size[e - entry] = size[--count];
    *e = entry[count];
  }
};
constinit SharedTable table;

class TableLock {
 public:
  TableLock() {
    int32_t free = 0;
    while (!table.word.compare_exchange_weak(free, 1, std::memory_order_acquire)) free = 0;
  }
  ~TableLock() { table.word.store(0, std::memory_order_release); }
  TableLock(TableLock const&) = delete;
  TableLock& operator=(TableLock const&) = delete;
};

} // namespace

ORV_EXPORT int32_t __rnqFindGlobRODataTableEntry(GlobRODataEntry** entry, Key key) {
  if (!key || is_zero(key)) return RnqErrRoEntryNotFound;
  TableLock lock;
  auto* e = table.find(key);
  if (!e) return RnqErrRoEntryNotFound;
  *entry = e;
  return RnqOk;
}

ORV_EXPORT int32_t __rnqCreateGlobRODataTableEntry(GlobRODataEntry** entry, Key key, void* data) {
  TableLock lock;
  if (table.count >= SharedTable::capacity) return RnqErrRoTableFull;
  *entry = table.append(key, data, SharedTable::unknown);
  return RnqOk;
}

ORV_EXPORT int32_t __rnqRegisterGlobRODataReference(RngChunk* chunk, Key key) {
  if (!key || is_zero(key)) return RnqErrRoEntryNotFound;
  TableLock lock;
  auto* e = table.find(key);
  if (!e) return RnqErrRoEntryNotFound;
  ++e->refCount;
  chunk->data = e->data;
  return RnqOk;
}

ORV_EXPORT int32_t __rnqUnregisterGlobRODataReference(Key key) {
  if (!key || is_zero(key)) return RnqErrRoEntryNotFound;
  TableLock lock;
  auto* e = table.find(key);
  if (!e) return RnqErrRoEntryNotFound;
  table.release(e);
  return RnqOk;
}

ORV_EXPORT void __rnqGenerateNewGlobalRODataTableEntryId(uint64_t* key, intptr_t salt) {
  key[0] = __builtin_ia32_rdtsc();
  key[1] = static_cast<uint64_t>(static_cast<int64_t>(salt));
  if (is_zero(key)) return;
  TableLock lock;
  while (table.find(key)) key[0] = __builtin_ia32_rdtsc();
}

// ---- chunks ----

namespace {

void link_chunk(RngStream* stream, RngChunk* chunk) {
  chunk->next = stream->chunks;
  stream->chunks = chunk;
}

// An entry that has gone from the table leaves its data to the chunk.
void delete_chunk(RngChunk* chunk) {
  if (is_zero(chunk->key) || __rnqUnregisterGlobRODataReference(chunk->key) != RnqOk)
    core::deallocate(chunk->data);
  core::deallocate(chunk);
}

RngChunk* new_chunk(uint32_t id, uint32_t size, Key key) {
  auto* chunk = static_cast<RngChunk*>(core::allocate(sizeof(RngChunk)));
  if (chunk) *chunk = {id, size, nullptr, nullptr, {key ? key[0] : 0, key ? key[1] : 0}};
  return chunk;
}

// Gives an unknown key an entry, or makes the chunk private when there is no room. Another thread may have
// made the entry since it was looked up: then that one serves, and the block at hand is given back. A block of
// another size never serves, nor for a chunk from a file one of unknown size.
void share_chunk(RngChunk* chunk, bool from_file) {
  void* spare = nullptr;
  {
    TableLock lock;
    auto* e = table.find(chunk->key);
    int64_t const known = e ? table.size[e - table.entry] : SharedTable::unknown;
    if (e && (known == chunk->size || (known == SharedTable::unknown && !from_file))) {
      ++e->refCount;
      if (e->data != chunk->data) spare = chunk->data;
      chunk->data = e->data;
    } else if (!e && table.count < SharedTable::chunk_capacity) {
      table.append(chunk->key, chunk->data, chunk->size);
    } else {
      chunk->key[0] = chunk->key[1] = 0;
    }
  }
  core::deallocate(spare);
}

} // namespace

int32_t orv::streams::add_chunk(RngStream* stream, uint32_t id, Key key, void* data, uint32_t size,
                                bool from_file) {
  auto* chunk = new_chunk(id, size, key);
  if (!chunk) return RnqErrNoMemory;
  chunk->data = data;
  if (!is_zero(chunk->key)) share_chunk(chunk, from_file);
  link_chunk(stream, chunk);
  return RnqOk;
}

ORV_EXPORT int32_t __rnqAddChunk(RngStream* stream, uint32_t id, Key key, void* data, uint32_t size) {
  return add_chunk(stream, id, key, data, size, false);
}

ORV_EXPORT void* __rnqSearchChunk(const RngStream* stream, uint32_t id) {
  for (auto* c = stream->chunks; c; c = c->next)
    if (c->id == id) return c->data;
  return nullptr;
}

void* orv::streams::find_chunk(RngStream const* stream, uint32_t id, size_t size) {
  for (auto* c = stream->chunks; c; c = c->next)
    if (c->id == id) return c->size >= size ? c->data : nullptr;
  return nullptr;
}

ORV_EXPORT int32_t __rnqGetNumChunks(const RngStream* stream) {
  int32_t n = 0;
  for (auto* c = stream->chunks; c; c = c->next) ++n;
  return n;
}

ORV_EXPORT void __rnqDeleteChunksById(RngStream* stream, uint32_t id) {
  for (RngChunk** link = &stream->chunks; *link;) {
    RngChunk* c = *link;
    if (c->id != id) {
      link = &c->next;
      continue;
    }
    *link = c->next;
    delete_chunk(c);
  }
}

ORV_EXPORT void __rnqDeleteChunks(RngStream* stream) {
  while (RngChunk* c = stream->chunks) {
    stream->chunks = c->next;
    delete_chunk(c);
  }
}

ORV_EXPORT int32_t __rnqCopyChunks(RngStream* destination, const RngStream* source) {
  for (auto* c = source->chunks; c; c = c->next) {
    auto* copy = new_chunk(c->id, c->size, c->key);
    bool ok = copy != nullptr;
    if (ok && (is_zero(copy->key) || __rnqRegisterGlobRODataReference(copy, copy->key) != RnqOk)) {
      copy->data = core::allocate(c->size);
      ok = copy->data != nullptr;
      if (ok) {
        if (c->size) core::memcpy_s(copy->data, c->size, c->data, c->size);
        if (!is_zero(copy->key)) share_chunk(copy, false);
      }
    }
    if (!ok) {
      core::deallocate(copy);
      __rnqDeleteChunks(destination);
      return RnqErrNoMemory;
    }
    link_chunk(destination, copy);
  }
  return RnqOk;
}

// ---- streams ----

namespace {

int32_t allocate(RngStream** stream, BrngProperties const& row, int32_t brng) {
  auto* s = static_cast<RngStream*>(core::allocate(block_size(row)));
  *stream = s;
  if (!s) return RnqErrNoMemory;
  std::memset(static_cast<void*>(s), 0, block_size(row));
  s->brng = brng;
  s->stamp0 = 1;
  return RnqOk;
}

// The three abstract generators need a buffer and a callback, so they have creation functions of their own.
bool is_abstract(int32_t brng) { return brng == 0xA00000 || brng == 0xB00000 || brng == 0xC00000; }

int32_t operate(RngStream* stream, int32_t method, int32_t n, const void* params) {
  auto const* row = find_brng(stream->brng);
  return row ? row->initStream(method, stream, n, params) : static_cast<int32_t>(RnqErrBadBrng);
}

} // namespace

ORV_EXPORT int32_t __rnqAllocateStream(RngStream** stream, const BrngProperties* table, int32_t brng,
                                       uint32_t index, uint32_t sub) {
  int32_t const status = __rnqIsBrngValid(table, index, sub);
  if (status == RnqOk && !table[index].initStream) return RnqErrBadBrng; // an empty row of the old table
  return status == RnqOk ? allocate(stream, table[index], brng) : status;
}

ORV_EXPORT int32_t __rnqNewStreamEx(RngStream** stream, int32_t brng, int32_t n, const uint32_t* params) {
  if (is_abstract(brng)) return RnqErrBadBrng;
  auto const* row = find_brng(brng);
  if (!row) return RnqErrBadBrng;
  int32_t const status = allocate(stream, *row, brng);
  return status == RnqOk ? row->initStream(0, *stream, n, params) : status;
}

ORV_EXPORT int32_t __rnqCopyStream(RngStream** newStream, const RngStream* source) {
  auto const* row = find_brng(source->brng);
  if (!row) return RnqErrBadBrng;
  int32_t const status = allocate(newStream, *row, source->brng);
  if (status != RnqOk) return status;
  std::memcpy(static_cast<void*>(*newStream), source, block_size(*row));
  (*newStream)->chunksSlot = 0;
  return __rnqCopyChunks(*newStream, source);
}

ORV_EXPORT int32_t __rnqCopyStreamState(RngStream* destination, const RngStream* source) {
  if (destination == source) return RnqOk;
  auto const* row = find_brng(source->brng);
  if (!row) return RnqErrBadBrng;
  int64_t const wanted = static_cast<int64_t>(row->wordSize) * row->seedCount;
  int64_t const there = static_cast<int64_t>(block_size(*row) - sizeof(RngStream));
  int64_t const bytes = wanted < there ? wanted : there;
  if (bytes > 0) std::memcpy(static_cast<void*>(destination + 1), source + 1, static_cast<size_t>(bytes));
  __rnqDeleteChunks(destination);
  return __rnqCopyChunks(destination, source);
}

ORV_EXPORT int32_t __rnqDeleteStream(RngStream** stream) {
  if (*stream) {
    __rnqDeleteChunks(*stream);
    core::deallocate(*stream);
  }
  *stream = nullptr;
  return RnqOk;
}

ORV_EXPORT int32_t __rnqLeapfrogStream(RngStream* stream, int32_t k, int32_t nstreams) {
  if (nstreams < 0) return RnqErrLeapfrogStreams;
  return operate(stream, 1, nstreams, &k);
}

ORV_EXPORT int32_t __rnqSkipAheadStream(RngStream* stream, uint64_t nskip) {
  return operate(stream, 2, 2, &nskip);
}

ORV_EXPORT int32_t __rnqSkipAheadStreamEx(RngStream* stream, int32_t n, const uint64_t* nskip) {
  return operate(stream, 3, n, nskip);
}

ORV_EXPORT int32_t __rnqGetStreamStateBrng(const RngStream* stream) { return stream->brng; }
