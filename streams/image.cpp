// A stream as bytes, in a file or in memory. docs/stream_image.md describes the format.
//
// Nothing in an image is trusted but its length in memory: sizes are compared with the registry's, payloads
// of a file are read in growing pieces, and generators and owners of chunks bound what they find.
#include "streams/abstract.h"
#include "streams/mcg.h"
#include "streams/processor.h"
#include "streams/stream.h"

#include <cstdio>

using namespace orv;
using namespace orv::streams;

namespace {

constexpr uint32_t magic = 0x474E52; // "RNG"
constexpr uint16_t header_size = 24;

struct Header { // of version 2
  uint8_t version, reserved1[3];
  uint8_t magic_text[3], reserved2;
  uint16_t header_size, reserved3;
  uint32_t state_bytes;
  uint16_t chunk_count, reserved4;
  int32_t brng;
};
static_assert(sizeof(Header) == header_size && offsetof(Header, brng) == 20);

// ---- transport: both ways answer false when it falls short ----

struct MemoryWriter {
  char* at;
  bool write(void const* p, size_t n) {
    if (n) std::memcpy(at, p, n);
    at += n;
    return true;
  }
};
struct FileWriter {
  std::FILE* file;
  bool write(void const* p, size_t n) { return std::fwrite(p, 1, n, file) == n; }
};

// A block of n bytes from the image, or null with the status.
struct MemoryReader {
  static constexpr int32_t bad_format = RnqErrBadMemoryFormat;
  char const* at;
  bool read(void* p, size_t n) {
    if (n) std::memcpy(p, at, n);
    at += n;
    return true;
  }
  bool pass(size_t n) {
    at += n;
    return true;
  }
  void* block(uint32_t n, int32_t& status) {
    void* p = core::allocate(n);
    if (p)
      read(p, n);
    else
      status = RnqErrNoMemory;
    return p;
  }
};
struct FileReader {
  static constexpr int32_t bad_format = RnqErrBadFileFormat;
  std::FILE* file;
  bool read(void* p, size_t n) { return std::fread(p, 1, n, file) == n; }
  bool pass(size_t n) {
    char sink[256];
    for (size_t part; n; n -= part) {
      part = n < sizeof sink ? n : sizeof sink;
      if (!read(sink, part)) return false;
    }
    return true;
  }
  void* block(uint32_t n, int32_t& status) { // memory grows with what has really been read
    constexpr uint32_t first = 1 << 16;
    uint32_t have = n < first ? n : first;
    auto* p = static_cast<char*>(core::allocate(have));
    for (uint32_t done = 0; p;) {
      if (!read(p + done, have - done)) {
        core::deallocate(p);
        status = RnqErrFileRead;
        return nullptr;
      }
      done = have;
      if (have == n) return p;
      have = have < n / 2 ? 2 * have : n;
      auto* larger = static_cast<char*>(core::allocate(have));
      if (larger) std::memcpy(larger, p, done);
      core::deallocate(p);
      p = larger;
    }
    status = RnqErrNoMemory;
    return nullptr;
  }
};

// A file name that ends with a zero, copied if the caller's doesn't.
class Name {
 public:
  Name(char const* name, int32_t length) : name_(name) {
    if (length < 0) return;
    name_ = copy_ = static_cast<char*>(core::allocate(static_cast<size_t>(length) + 1));
    if (!copy_) return;
    std::memcpy(copy_, name, length);
    copy_[length] = 0;
  }
  ~Name() { core::deallocate(copy_); }
  Name(Name const&) = delete;
  Name& operator=(Name const&) = delete;
  char const* get() const { return name_; }

 private:
  char const* name_;
  char* copy_ = nullptr;
};

// ---- saving ----

template <class Writer>
int32_t save(RngStream const* stream, BrngProperties const& row, Writer& out) {
  uint32_t const state_bytes = static_cast<uint32_t>(block_size(row) - sizeof(RngStream));
  Header const h{
      2,           {},          {0x52, 0x4E, 0x47}, 0,
      header_size, 0,           state_bytes,        static_cast<uint16_t>(__rnqGetNumChunks(stream)),
      0,           stream->brng};
  bool good = out.write(&h, sizeof h) && out.write(stream + 1, state_bytes);
  for (auto* c = stream->chunks; good && c; c = c->next)
    good = out.write(&c->id, 4) && out.write(c->key, 16) && out.write(&c->size, 4) &&
           out.write(c->data, c->size);
  return good ? RnqOk : RnqErrFileWrite;
}

// ---- loading ----

// Lanes of the congruential generators follow from their first one and the multiplier of the state.
template <class G>
void rebuild(RngStream* stream, McgLanes& lanes) {
  auto& s = state_of<typename G::State>(stream);
  if (!s.a) s.a = G::default_a;
  typename G::State const at{static_cast<typename G::Word>(lanes.lanes[0]), s.a};
  set_lanes<G>(lanes, at);
  set_powers<G>(lanes, at);
}
void rebuild_lanes(RngStream* stream, BrngProperties const& row) {
  auto* lanes = static_cast<McgLanes*>(find_chunk(stream, mcg_chunk, sizeof(McgLanes)));
  if (!lanes) return;
  if (lanes->kind == Mcg31::kind && row.initStream == __rnqBRngMCG31M1InitStream)
    rebuild<Mcg31>(stream, *lanes);
  if (lanes->kind == Mcg59::kind && row.initStream == __rnqBRngMCG59InitStream)
    rebuild<Mcg59>(stream, *lanes);
}

template <class Reader>
int32_t load_chunks(RngStream* stream, BrngProperties const& row, int version, int count, Reader& in) {
  if (count > 0 && version > 2) return RnqErrFileRead;
  for (; count > 0; --count) {
    uint32_t id, size;
    uint64_t key[2] = {};
    if (!in.read(&id, 4) || (version > 0 && !in.read(key, 16)) || !in.read(&size, 4)) return RnqErrFileRead;
    int32_t status = RnqOk;
    void* data = in.block(size, status);
    if (!data) return status;
    status = add_chunk(stream, id, key, data, size, true);
    if (status != RnqOk) {
      core::deallocate(data);
      return status;
    }
    if (id == mcg_chunk) rebuild_lanes(stream, row);
  }
  return RnqOk;
}

template <class Reader>
int32_t load(RngStream** stream, Reader& in) {
  unsigned char raw[header_size] = {};
  if (!in.read(raw, 8)) return RnqErrFileRead;
  int const version = raw[0];
  if (!in.read(raw + 8, version == 2 ? 16 : 12)) return RnqErrFileRead;
  if ((load_u32(raw + 4) & 0xFFFFFF) != magic && (load_u32(raw) & 0xFFFFFF) != magic)
    return Reader::bad_format;
  auto u16 = [&](int at) { return raw[at] | raw[at + 1] << 8; };
  bool const now = version == 2;
  uint32_t const head = now ? u16(8) : header_size, state_bytes = now ? load_u32(raw + 12) : u16(10);
  int const chunk_count = now ? u16(16) : u16(12);
  auto const brng = static_cast<int32_t>(load_u32(raw + (now ? 20 : 16)));
  auto const* row = find_brng(brng);
  if (!row || state_bytes != block_size(*row) - sizeof(RngStream) || head < header_size)
    return Reader::bad_format;
  uint32_t index, sub;
  auto const* table = __rnqGetBrngBaseOffset(brng, &index, &sub);
  int32_t const status = __rnqAllocateStream(stream, table, brng, index, sub);
  if (status != RnqOk) return status;
  if (!in.pass(head - header_size) || !in.read(*stream + 1, state_bytes)) return RnqErrFileRead;
  check_loaded_abstract(*stream, *row);
  if (brng == 0xE00000 && !__rnqCPUisRDRAND()) return RnqErrNoRdrand;
  if (brng == 0xF00000 && !__rnqCPUisAES()) return RnqErrNoAes;
  return load_chunks(*stream, *row, version, chunk_count, in);
}

int32_t finish(RngStream** stream, int32_t status) {
  if (status != RnqOk) __rnqDeleteStream(stream);
  return status;
}

} // namespace

ORV_EXPORT int32_t __rnqSaveStreamF(const RngStream* stream, const char* name, int32_t nameLength) {
  Name const path(name, nameLength);
  if (!path.get()) return RnqErrNoMemory;
  auto const* row = find_brng(stream->brng);
  if (!row) return RnqErrBadBrng;
  FileWriter out{std::fopen(path.get(), "wb")};
  if (!out.file) return RnqErrFileOpen;
  int32_t const status = save(stream, *row, out);
  return std::fclose(out.file) == 0 ? status : static_cast<int32_t>(RnqErrFileClose);
}

ORV_EXPORT int32_t __rnqLoadStreamF(RngStream** stream, const char* name, int32_t nameLength) {
  *stream = nullptr;
  Name const path(name, nameLength);
  if (!path.get()) return RnqErrNoMemory;
  FileReader in{std::fopen(path.get(), "rb")};
  if (!in.file) return RnqErrFileOpen;
  int32_t status = load(stream, in);
  if (std::fclose(in.file) != 0) status = RnqErrFileClose;
  return finish(stream, status);
}

ORV_EXPORT int32_t __rnqGetStreamSize(const RngStream* stream) {
  auto const* row = find_brng(stream->brng);
  if (!row) return RnqErrBadBrng;
  int64_t size = static_cast<int64_t>(block_size(*row)) + 8;
  for (auto* c = stream->chunks; c; c = c->next) size += static_cast<int64_t>(c->size) + 24;
  return static_cast<int32_t>(size);
}

ORV_EXPORT int32_t __rnqSaveStreamM(const RngStream* stream, char* buffer) {
  auto const* row = find_brng(stream->brng);
  if (!row) return RnqErrBadBrng;
  MemoryWriter out{buffer};
  return save(stream, *row, out);
}

ORV_EXPORT int32_t __rnqLoadStreamM(RngStream** stream, const char* buffer) {
  *stream = nullptr;
  MemoryReader in{buffer};
  return finish(stream, load(stream, in));
}
