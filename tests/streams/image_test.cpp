#include "exercise.h"
#include "models.h"
#include "stream_tools.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <tuple>

using namespace tools;

namespace {

using Bytes = std::vector<char>;

Bytes image_of(RngStream const* s) {
  size_t const size = static_cast<uint32_t>(__rnqGetStreamSize(s));
  Bytes b(size + 16, 'x');
  EXPECT_EQ(__rnqSaveStreamM(s, b.data()), RnqOk);
  EXPECT_EQ(std::count(b.begin() + static_cast<long>(size), b.end(), 'x'), 16);
  return {b.begin(), b.begin() + static_cast<long>(size)};
}
template <class T>
void put(Bytes& b, size_t at, T value) {
  std::memcpy(b.data() + at, &value, sizeof value);
}

class Images : public testing::Test {
 protected:
  void SetUp() override {
    path_ = testing::TempDir() + "stream_image_" + std::to_string(std::random_device()());
    before_ = orv_serv_blocks_in_use();
  }
  void TearDown() override {
    std::remove(path_.c_str());
    EXPECT_EQ(orv_serv_blocks_in_use(), before_);
  }
  void write(Bytes const& b) {
    std::ofstream(path_, std::ios::binary).write(b.data(), static_cast<std::streamsize>(b.size()));
  }
  Bytes read() {
    std::ifstream in(path_, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  int32_t load_file(Bytes const& b) {
    write(b);
    Stream s;
    s.p = reinterpret_cast<RngStream*>(8);
    s.status = __rnqLoadStreamF(&s.p, path_.c_str(), -1);
    EXPECT_EQ(s.p == nullptr, s.status != RnqOk);
    return s.status;
  }
  int32_t load_memory(Bytes const& b) {
    Stream s;
    s.status = __rnqLoadStreamM(&s.p, b.data());
    EXPECT_EQ(s.p == nullptr, s.status != RnqOk);
    return s.status;
  }
  std::string path_;
  int64_t before_;
};

TEST_F(Images, EveryGeneratorGoesOnAfterLoading) {
  for (auto const& g : models::generators) {
    SCOPED_TRACE(g.name);
    Stream s(g.number), file, memory;
    s.words(7);
    s.doubles(30);
    __rnqLeapfrogStream(s.p, 1, 3);
    auto const bytes = image_of(s.p);
    ASSERT_EQ(__rnqSaveStreamF(s.p, path_.c_str(), -1), RnqOk);
    EXPECT_EQ(read(), bytes);
    ASSERT_EQ(__rnqLoadStreamF(&file.p, path_.c_str(), -1), RnqOk);
    ASSERT_EQ(__rnqLoadStreamM(&memory.p, bytes.data()), RnqOk);
    EXPECT_EQ(image_of(memory.p), bytes);
    for (auto* t : {&file, &memory}) {
      Stream expected(s);
      EXPECT_TRUE(same_bits(t->doubles(100), expected.doubles(100)));
      EXPECT_EQ(t->words(100), expected.words(100));
      EXPECT_TRUE(same_bits(t->singles(3), expected.singles(3)));
    }
  }
}

// The bytes themselves, as written on any target.
TEST_F(Images, Layout) {
  Stream s(0x300000, {1, 2, 3, 4, 5, 6});
  uint64_t const key[2] = {0x1122334455667788, 5};
  auto* data = static_cast<char*>(orv::core::allocate(3));
  std::memcpy(data, "abc", 3);
  ASSERT_EQ(__rnqAddChunk(s.p, 9, key, data, 3), RnqOk);
  char const expected[] = "\2\0\0\0RNG\0\x18\0\0\0\x18\0\0\0\1\0\0\0\0\0\x30\0"
                          "\1\0\0\0\2\0\0\0\3\0\0\0\4\0\0\0\5\0\0\0\6\0\0\0"
                          "\x09\0\0\0\x88\x77\x66\x55\x44\x33\x22\x11\5\0\0\0\0\0\0\0\3\0\0\0abc";
  EXPECT_EQ(image_of(s.p), Bytes(expected, expected + sizeof expected - 1));
  EXPECT_EQ(__rnqGetStreamSize(s.p), 40 + 8 + 27);
  Stream plain(0x200000);
  EXPECT_EQ(__rnqGetStreamSize(plain.p), 1024 + 8);
  Stream old(7); // an older number stays
  Stream again;
  ASSERT_EQ(__rnqLoadStreamM(&again.p, image_of(old.p).data()), RnqOk);
  EXPECT_EQ(again.p->brng, 7);
}

TEST_F(Images, NamesOfAGivenLength) {
  Stream s(0x100000), t;
  std::string const longer = path_ + "tail";
  ASSERT_EQ(__rnqSaveStreamF(s.p, longer.c_str(), static_cast<int32_t>(path_.size())), RnqOk);
  EXPECT_EQ(read().size(), static_cast<size_t>(__rnqGetStreamSize(s.p)));
  EXPECT_EQ(__rnqLoadStreamF(&t.p, longer.c_str(), static_cast<int32_t>(path_.size())), RnqOk);
  EXPECT_EQ(__rnqSaveStreamF(s.p, "/no/such/directory/file", -1), RnqErrFileOpen);
  Stream none;
  EXPECT_EQ(__rnqLoadStreamF(&none.p, "/no/such/directory/file", -1), RnqErrFileOpen);
#ifdef __linux__
  EXPECT_LT(__rnqSaveStreamF(s.p, "/dev/full", -1), 0);
#endif
}

TEST_F(Images, BadHeaders) {
  Stream s(0x200000);
  auto const good = image_of(s.p);
  struct Case {
    const char* what;
    void (*change)(Bytes&);
  };
  Case const cases[] = {{"magic", [](Bytes& b) { b[5] = 'X'; }},
                        {"state bytes", [](Bytes& b) { put<uint32_t>(b, 12, 1007); }},
                        {"header size", [](Bytes& b) { put<uint16_t>(b, 8, 23); }},
                        {"number", [](Bytes& b) { put<int32_t>(b, 20, 0x2000000); }},
                        {"negative number", [](Bytes& b) { put<int32_t>(b, 20, -1); }},
                        {"empty older row", [](Bytes& b) { put<int32_t>(b, 20, 280); }},
                        {"member", [](Bytes& b) { put<int32_t>(b, 20, 0x200001); }}};
  for (auto const& c : cases) {
    SCOPED_TRACE(c.what);
    Bytes b = good;
    c.change(b);
    EXPECT_EQ(load_file(b), RnqErrBadFileFormat);
    EXPECT_EQ(load_memory(b), RnqErrBadMemoryFormat);
  }
  Bytes reserved = good;
  for (size_t at : {1, 2, 3, 7, 10, 11, 18, 19}) reserved[at] = '?';
  EXPECT_EQ(load_file(reserved), RnqOk);
  // A longer header moves the state.
  Bytes longer = good;
  Bytes const gap(1000, 'z');
  longer.insert(longer.begin() + 24, gap.begin(), gap.end());
  put<uint16_t>(longer, 8, 1024);
  Stream moved;
  ASSERT_EQ(__rnqLoadStreamM(&moved.p, longer.data()), RnqOk);
  EXPECT_EQ(moved.words(20), s.words(20));
  EXPECT_EQ(load_file(longer), RnqOk);
}

// Each field at its bound, one below and one above, in memory and in a file.
TEST_F(Images, FieldsAtTheirBounds) {
  Stream s(0x200000);
  auto const good = image_of(s.p);
  auto both = [&](Bytes const& b) {
    int32_t const file = load_file(b), memory = load_memory(b);
    EXPECT_EQ(file == RnqOk, memory == RnqOk);
    return file;
  };
  auto with = [&](size_t at, auto value) {
    Bytes b = good;
    b.resize(b.size() + 70000); // room for what a wrong size would read
    put(b, at, value);
    return both(b);
  };
  EXPECT_EQ(with(8, uint16_t{24}), RnqOk);
  EXPECT_EQ(with(8, uint16_t{25}), RnqOk);
  EXPECT_EQ(with(8, uint16_t{0xFFFF}), RnqOk);
  EXPECT_EQ(with(8, uint16_t{0}), RnqErrBadFileFormat);
  for (uint32_t bytes : {0u, 1u, 1007u, 1009u, 1024u, 0x80000000u + 1008u, 0xFFFFFFFFu})
    EXPECT_EQ(with(12, bytes), RnqErrBadFileFormat) << bytes;
  EXPECT_EQ(with(12, uint32_t{1008}), RnqOk);
  for (auto [number, size, status] : {std::tuple{0x500000 + 272, 32, RnqOk},
                                      {0x500000 + 273, 32, RnqErrBadFileFormat},
                                      {276, 32, RnqOk},
                                      {279, 32, RnqErrBadFileFormat},
                                      {280, 32, RnqErrBadFileFormat},
                                      {281, 32, RnqErrBadFileFormat},
                                      {0x900000 + 6023, 296, RnqOk},
                                      {0x900000 + 6024, 296, RnqErrBadFileFormat},
                                      {16 << 20, 48, RnqOk}, // the last of the library itself
                                      {(__rnqGetNumRegBrngs() + 1) << 20, 48, RnqErrBadFileFormat},
                                      {INT32_MIN, 32, RnqErrBadFileFormat}}) {
    Bytes b(24 + static_cast<size_t>(size));
    std::memcpy(b.data(), good.data(), 24);
    put(b, 12, static_cast<uint32_t>(size));
    put(b, 20, static_cast<int32_t>(number));
    EXPECT_EQ(both(b), status) << std::hex << number;
  }
  // Chunks: as many as are told are read, of any size down to none.
  Bytes chunks = good;
  for (uint32_t id : {5u, 6u}) {
    Bytes head(24);
    put(head, 0, id);
    chunks.insert(chunks.end(), head.begin(), head.end());
  }
  for (uint16_t count : {0, 1, 2}) {
    put(chunks, 16, count);
    Stream t;
    ASSERT_EQ(__rnqLoadStreamM(&t.p, chunks.data()), RnqOk);
    EXPECT_EQ(__rnqGetNumChunks(t.p), count);
    EXPECT_EQ(load_file(chunks), RnqOk);
  }
  put(chunks, 16, uint16_t{3});
  EXPECT_EQ(load_file(chunks), RnqErrFileRead);
  put(chunks, 16, uint16_t{0xFFFF});
  EXPECT_EQ(load_file(chunks), RnqErrFileRead);
  // Payloads around the pieces that a file is read in.
  for (uint32_t size : {1u, 65535u, 65536u, 65537u, 131071u, 131072u, 131073u}) {
    Stream t(0x200000), u;
    auto* data = static_cast<char*>(orv::core::allocate(size));
    for (uint32_t i = 0; i < size; ++i) data[i] = static_cast<char>(i * 37 >> 3);
    ASSERT_EQ(__rnqAddChunk(t.p, 3, nullptr, data, size), RnqOk);
    ASSERT_EQ(__rnqSaveStreamF(t.p, path_.c_str(), -1), RnqOk);
    ASSERT_EQ(__rnqLoadStreamF(&u.p, path_.c_str(), -1), RnqOk);
    EXPECT_EQ(image_of(u.p), image_of(t.p)) << size;
    auto cut = read();
    cut.pop_back();
    EXPECT_EQ(load_file(cut), RnqErrFileRead) << size;
  }
}

TEST_F(Images, AnyCutOfAFileIsAReadError) {
  Stream s(0x400000);
  auto* data = static_cast<char*>(orv::core::allocate(200000));
  std::memset(data, 1, 200000);
  ASSERT_EQ(__rnqAddChunk(s.p, 3, nullptr, data, 200000), RnqOk);
  auto const good = image_of(s.p);
  for (size_t n = 0; n < good.size(); n += n < 700 ? 1 : 9973) {
    int32_t const status = load_file(Bytes(good.begin(), good.begin() + static_cast<long>(n)));
    ASSERT_EQ(status, RnqErrFileRead) << n;
  }
  EXPECT_EQ(load_file(good), RnqOk);
  Bytes claims = good; // a size that no file has
  put<uint32_t>(claims, 24 + 16 + 20, 0xFFFFFFFF);
  EXPECT_EQ(load_file(claims), RnqErrFileRead);
}

TEST_F(Images, OlderVersions) {
  Stream s(0x100000, {77});
  auto const now = image_of(s.p);
  for (int version : {0, 1, 3}) {
    SCOPED_TRACE(version);
    Bytes b(20);
    b[0] = static_cast<char>(version);
    std::memcpy(b.data() + 4, "RNG", 3);
    put<uint16_t>(b, 10, 8);
    put<uint16_t>(b, 12, 1);
    put<int32_t>(b, 16, 0x100000);
    b.insert(b.end(), now.begin() + 24, now.begin() + 24 + 8 + 4);
    Bytes const key(version ? 16 : 0);
    b.insert(b.end(), key.begin(), key.end());
    b.insert(b.end(), now.begin() + 24 + 8 + 20, now.end());
    EXPECT_EQ(load_file(b), version == 3 ? RnqErrFileRead : RnqOk);
    Stream t;
    if (version == 3) continue;
    ASSERT_EQ(__rnqLoadStreamM(&t.p, b.data()), RnqOk);
    EXPECT_TRUE(same_bits(t.doubles(40), Stream(s).doubles(40)));
    std::memset(b.data() + 4, 0, 3); // the magic at the front, where the version stands: no chunks then
    std::memcpy(b.data(), "RNG", 3);
    EXPECT_EQ(load_file(b), RnqErrFileRead);
    put<uint16_t>(b, 12, 0);
    EXPECT_EQ(load_file(b), RnqOk);
  }
}

TEST_F(Images, LanesAreRebuilt) {
  for (int32_t number : {0x100000, 0x400000}) {
    Stream s(number, {77});
    auto b = image_of(s.p);
    size_t const state = number == 0x100000 ? 8 : 16, lanes = 24 + state + 24 + 32;
    std::memset(b.data() + lanes + 8, 0x55, 280);         // all but the first lane
    std::memset(b.data() + 24 + state / 2, 0, state / 2); // the multiplier
    Stream t;
    ASSERT_EQ(__rnqLoadStreamM(&t.p, b.data()), RnqOk);
    EXPECT_TRUE(same_bits(t.doubles(100), s.doubles(100)));
    EXPECT_EQ(t.words(9), s.words(9)); // the default stands in the state too
    // A chunk too small for lanes counts as missing.
    put<uint32_t>(b, 24 + state + 20, 351);
    Stream small;
    ASSERT_EQ(__rnqLoadStreamM(&small.p, b.data()), RnqOk);
    double r;
    EXPECT_EQ(small.row().generateDouble(small.p, 1, &r, 0, 1), RnqErrNoMemory);
  }
}

TEST_F(Images, SharedChunksFindTheirEntry) {
  uint64_t const key[2] = {123, 456};
  GlobRODataEntry* entry;
  {
    Stream s(0x200000), a, b, c;
    void* data = orv::core::allocate(64);
    std::memset(data, 5, 64);
    ASSERT_EQ(__rnqAddChunk(s.p, 9, key, data, 64), RnqOk);
    auto image = image_of(s.p);
    __rnqDeleteStream(&s.p);
    ASSERT_EQ(__rnqLoadStreamM(&a.p, image.data()), RnqOk);
    ASSERT_EQ(__rnqLoadStreamM(&b.p, image.data()), RnqOk);
    ASSERT_EQ(__rnqFindGlobRODataTableEntry(&entry, key), RnqOk);
    EXPECT_EQ(entry->refCount, 2u);
    // The same key for a block of another size must not reach beyond the one that is there.
    Bytes const more(64, 6);
    image.insert(image.end(), more.begin(), more.end());
    put<uint32_t>(image, 24 + 1008 + 20, 128);
    ASSERT_EQ(__rnqLoadStreamM(&c.p, image.data()), RnqOk);
    EXPECT_EQ(entry->refCount, 2u);
    EXPECT_EQ(c.p->chunks->key[0], 0u);
    Stream copy(c);
    EXPECT_EQ(static_cast<char*>(__rnqSearchChunk(copy.p, 9))[127], 6);
  }
  EXPECT_EQ(__rnqFindGlobRODataTableEntry(&entry, key), RnqErrRoEntryNotFound);
}

// A block that is added twice under its key is one block, given back once.
TEST_F(Images, TheSameBlockUnderItsKeyTwice) {
  uint64_t const key[2] = {125, 456};
  Stream s(0x200000), t(0x200000);
  void* data = orv::core::allocate(64);
  std::memset(data, 5, 64);
  int64_t const blocks = orv_serv_blocks_in_use();
  ASSERT_EQ(__rnqAddChunk(s.p, 9, key, data, 64), RnqOk);
  ASSERT_EQ(__rnqAddChunk(t.p, 9, key, data, 64), RnqOk);
  EXPECT_EQ(orv_serv_blocks_in_use(), blocks + 2); // two nodes, and the data as before
  EXPECT_EQ(__rnqSearchChunk(t.p, 9), data);
  __rnqDeleteChunksById(s.p, 9);
  EXPECT_EQ(orv_serv_blocks_in_use(), blocks + 1);
  EXPECT_EQ(static_cast<char*>(__rnqSearchChunk(t.p, 9))[63], 5);
  __rnqDeleteChunksById(t.p, 9);
  EXPECT_EQ(orv_serv_blocks_in_use(), blocks - 1);
}

TEST_F(Images, SharedBlocksOfNoOrUnknownSizeServeNoLargerChunk) {
  uint64_t const key[2] = {124, 456};
  Stream s(0x200000), loaded;
  void *nothing = orv::core::allocate(1), *data = orv::core::allocate(64);
  std::memset(data, 5, 64);
  ASSERT_EQ(__rnqAddChunk(s.p, 9, key, nothing, 0), RnqOk);
  ASSERT_EQ(__rnqAddChunk(s.p, 10, key, data, 64), RnqOk);
  EXPECT_EQ(__rnqSearchChunk(s.p, 10), data);
  __rnqDeleteChunksById(s.p, 9);
  auto const image = image_of(s.p);
  // An entry made by its key alone is taken by the program's own chunks, and by none from a file.
  GlobRODataEntry* entry;
  ASSERT_EQ(__rnqCreateGlobRODataTableEntry(&entry, key, orv::core::allocate(8)), RnqOk);
  auto keyed = image;
  std::memcpy(keyed.data() + 24 + 1008 + 4, key, sizeof key);
  ASSERT_EQ(__rnqLoadStreamM(&loaded.p, keyed.data()), RnqOk);
  EXPECT_EQ(entry->refCount, 1u);
  EXPECT_EQ(static_cast<char*>(__rnqSearchChunk(loaded.p, 10))[63], 5);
  EXPECT_EQ(__rnqUnregisterGlobRODataReference(key), RnqOk);
}

TEST_F(Images, AnyAllocationMayFail) {
  Stream s(0x400000);
  ASSERT_EQ(__rnqSaveStreamF(s.p, path_.c_str(), -1), RnqOk);
  for (int k = 1;; ++k) {
    int64_t const before = orv_serv_blocks_in_use();
    RngStream* t = reinterpret_cast<RngStream*>(8);
    orv_serv_fail_allocation(k);
    int32_t const status = __rnqLoadStreamF(&t, path_.c_str(), static_cast<int32_t>(path_.size()));
    if (orv_serv_fail_allocation(0) < k) {
      EXPECT_EQ(status, RnqOk);
      __rnqDeleteStream(&t);
      EXPECT_EQ(k, 5); // name, stream, payload, node
      break;
    }
    EXPECT_EQ(status, RnqErrNoMemory);
    EXPECT_EQ(t, nullptr);
    EXPECT_EQ(orv_serv_blocks_in_use(), before);
  }
}

// An image with wild indices in its state can be drawn from.
TEST_F(Images, WildStatesStayInBounds) {
  for (auto const& g : models::generators) {
    SCOPED_TRACE(g.name);
    Stream s(g.number);
    for (char fill : {'\xFF', '\x7F', '\x80', '\x01'}) {
      auto b = image_of(s.p);
      std::memset(b.data() + 24, fill, s.row().stateSize - 16);
      Stream t;
      ASSERT_EQ(__rnqLoadStreamM(&t.p, b.data()), RnqOk);
      for (int n : {1, 7, 700, 3000}) t.words(n), t.doubles(n), t.singles(n);
      __rnqSkipAheadStream(t.p, 3);
      __rnqSkipAheadStream(t.p, 1000000);
      __rnqSkipAheadStream(t.p, uint64_t{1} << 40);
      __rnqLeapfrogStream(t.p, 1, 5);
      t.words(1000);
    }
  }
}

// What the fuzz target has found worth keeping.
TEST_F(Images, CorpusOfTheFuzzTarget) {
  int loaded = 0, refused = 0;
  for (auto const& file : std::filesystem::directory_iterator(ORV_TEST_VECTORS "/stream_corpus"))
    (exercise_image(file.path().string().c_str()) == RnqOk ? loaded : refused) += 1;
  EXPECT_GT(loaded, 10);
  EXPECT_GT(refused, 5);
}

} // namespace
