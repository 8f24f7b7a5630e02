#include "models.h"
#include "stream_tools.h"

#include <thread>

using namespace tools;

namespace {

void* block_of(char fill, size_t size) {
  void* p = orv::core::allocate(size);
  std::memset(p, fill, size);
  return p;
}
std::vector<uint32_t> ids(RngStream const* s) {
  std::vector<uint32_t> r;
  for (auto* c = s->chunks; c; c = c->next) r.push_back(c->id);
  return r;
}
void add(RngStream* s, uint32_t id, uint64_t const* key = nullptr, char fill = 1, uint32_t size = 40) {
  ASSERT_EQ(__rnqAddChunk(s, id, key, block_of(fill, size), size), RnqOk);
}

class Streams : public testing::Test {
 protected:
  void SetUp() override { before_ = orv_serv_blocks_in_use(); }
  void TearDown() override { EXPECT_EQ(orv_serv_blocks_in_use(), before_); }
  int64_t before_;
};

TEST_F(Streams, HeadAndDeletion) {
  Stream s(0x800000);
  EXPECT_EQ(s.p->brng, 0x800000);
  EXPECT_EQ(s.p->stamp0, 1);
  EXPECT_EQ(s.p->stamp1, 0);
  EXPECT_EQ(s.p->stamp2, 0);
  EXPECT_EQ(s.p->chunks, nullptr);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(s.p) % 128, 0u);
  EXPECT_EQ(__rnqDeleteStream(&s.p), RnqOk);
  EXPECT_EQ(s.p, nullptr);
  for (int32_t abstract : {0xA00000, 0xB00000, 0xC00000}) EXPECT_EQ(Stream(abstract).status, RnqErrBadBrng);
  Stream old(9); // the older numbering stays as it is given
  EXPECT_EQ(__rnqGetStreamStateBrng(old.p), 9);
  EXPECT_TRUE(same_bits(old.doubles(20), Stream(0x500005).doubles(20)));
}

TEST_F(Streams, ChunkList) {
  Stream s(0x200000);
  EXPECT_EQ(__rnqGetNumChunks(s.p), 0);
  EXPECT_EQ(__rnqSearchChunk(s.p, 5), nullptr);
  for (uint32_t id : {14, 6, 5}) add(s.p, id, nullptr, static_cast<char>(id));
  EXPECT_EQ(ids(s.p), (std::vector<uint32_t>{5, 6, 14}));
  EXPECT_EQ(*static_cast<char*>(__rnqSearchChunk(s.p, 6)), 6);
  Stream copy(s);
  EXPECT_EQ(ids(copy.p), (std::vector<uint32_t>{14, 6, 5}));
  EXPECT_NE(__rnqSearchChunk(copy.p, 6), __rnqSearchChunk(s.p, 6));
  __rnqDeleteChunksById(s.p, 6);
  EXPECT_EQ(ids(s.p), (std::vector<uint32_t>{5, 14}));
  add(s.p, 5);
  __rnqDeleteChunksById(s.p, 5);
  EXPECT_EQ(ids(s.p), (std::vector<uint32_t>{14}));
  __rnqDeleteChunks(s.p);
  EXPECT_EQ(s.p->chunks, nullptr);
  EXPECT_EQ(__rnqGetNumChunks(copy.p), 3);
}

TEST_F(Streams, SharedBlocksLiveAsLongAsTheirLastChunk) {
  uint64_t const key[2] = {11, 22};
  GlobRODataEntry* entry = nullptr;
  {
    Stream a(0x200000);
    add(a.p, 9, key, 3);
    ASSERT_EQ(__rnqFindGlobRODataTableEntry(&entry, key), RnqOk);
    EXPECT_EQ(entry->refCount, 1u);
    Stream b(a), c(0x200000);
    EXPECT_EQ(entry->refCount, 2u);
    add(c.p, 9, key, 4); // known key: the block given here is released
    EXPECT_EQ(entry->refCount, 3u);
    EXPECT_EQ(__rnqSearchChunk(c.p, 9), __rnqSearchChunk(a.p, 9));
    __rnqDeleteStream(&a.p);
    EXPECT_EQ(entry->refCount, 2u);
    EXPECT_EQ(*static_cast<char*>(__rnqSearchChunk(b.p, 9)), 3);
  }
  EXPECT_EQ(__rnqFindGlobRODataTableEntry(&entry, key), RnqErrRoEntryNotFound);
  uint64_t const zero[2] = {};
  EXPECT_EQ(__rnqFindGlobRODataTableEntry(&entry, zero), RnqErrRoEntryNotFound);
  EXPECT_EQ(__rnqFindGlobRODataTableEntry(&entry, nullptr), RnqErrRoEntryNotFound);
  RngChunk chunk{};
  EXPECT_EQ(__rnqRegisterGlobRODataReference(&chunk, key), RnqErrRoEntryNotFound);
  EXPECT_EQ(__rnqUnregisterGlobRODataReference(key), RnqErrRoEntryNotFound);
}

TEST_F(Streams, AFullTableMakesChunksPrivate) {
  Stream s(0x200000);
  for (uint64_t i = 1; i <= 130; ++i) {
    uint64_t const key[2] = {i, 5};
    add(s.p, 9, key, static_cast<char>(i));
  }
  int shared = 0;
  for (auto* c = s.p->chunks; c; c = c->next) shared += (c->key[0] | c->key[1]) != 0;
  EXPECT_EQ(shared, 127);
  // Direct creation takes the last place, then says that the table is full.
  uint64_t const key[2] = {500, 1}, one_more[2] = {501, 1};
  GlobRODataEntry* entry;
  void* block = block_of(1, 8);
  EXPECT_EQ(__rnqCreateGlobRODataTableEntry(&entry, key, block), RnqOk);
  EXPECT_EQ(entry->data, block);
  EXPECT_EQ(__rnqCreateGlobRODataTableEntry(&entry, one_more, nullptr), RnqErrRoTableFull);
  EXPECT_EQ(__rnqUnregisterGlobRODataReference(key), RnqOk);
  // Keys stay findable while entries move into the places of removed ones.
  for (uint64_t i : {1, 64, 127}) {
    uint64_t const k[2] = {i, 5};
    ASSERT_EQ(__rnqFindGlobRODataTableEntry(&entry, k), RnqOk);
    EXPECT_EQ(*static_cast<char*>(entry->data), static_cast<char>(i));
  }
  uint64_t fresh[2] = {};
  __rnqGenerateNewGlobalRODataTableEntryId(fresh, -7);
  EXPECT_EQ(fresh[1], static_cast<uint64_t>(-7));
  EXPECT_EQ(__rnqFindGlobRODataTableEntry(&entry, fresh), RnqErrRoEntryNotFound);
}

TEST_F(Streams, CopiesOnManyThreadsShareOneBlock) {
  uint64_t const key[2] = {77, 88};
  Stream source(0x200000);
  add(source.p, 9, key, 3);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 500; ++i) {
        Stream copy(source);
        EXPECT_EQ(__rnqSearchChunk(copy.p, 9), __rnqSearchChunk(source.p, 9));
      }
    });
  for (auto& t : threads) t.join();
  GlobRODataEntry* entry;
  ASSERT_EQ(__rnqFindGlobRODataTableEntry(&entry, key), RnqOk);
  EXPECT_EQ(entry->refCount, 1u);
}

TEST_F(Streams, CopiesContinueAlike) {
  for (auto const& g : models::generators) {
    SCOPED_TRACE(g.name);
    Stream s(g.number), other(g.number, {99});
    s.doubles(37);
    s.words(3);
    Stream copy(s);
    auto const expected = Stream(s).doubles(500);
    EXPECT_TRUE(same_bits(copy.doubles(500), expected));
    ASSERT_EQ(__rnqCopyStreamState(other.p, s.p), RnqOk);
    EXPECT_TRUE(same_bits(other.doubles(500), expected));
    ASSERT_EQ(__rnqCopyStreamState(s.p, s.p), RnqOk);
    EXPECT_TRUE(same_bits(s.doubles(500), expected));
  }
}

// What lies beyond the restorable part of a state stays as it was.
TEST_F(Streams, CopyOfTheStateMovesItsPartOnly) {
  Stream a(0x100000, {5}), b(0x100000, {6});
  ASSERT_EQ(__rnqLeapfrogStream(b.p, 0, 3), RnqOk);
  uint32_t const multiplier = b.state_word(4);
  ASSERT_EQ(__rnqCopyStreamState(b.p, a.p), RnqOk);
  EXPECT_EQ(b.state_word(0), 5u);
  EXPECT_EQ(b.state_word(4), multiplier);
  Stream c(0x500000, {1, 2, 3, 4}), d(0x500001, {5, 6, 7, 8});
  ASSERT_EQ(__rnqCopyStreamState(d.p, c.p), RnqOk);
  EXPECT_EQ(std::memcmp(c.state(), d.state(), 32), 0);
}

// Every request for memory fails once; nothing leaks, and whatever is left can be deleted.
TEST_F(Streams, AnyAllocationMayFail) {
  auto walk = [](auto action) {
    for (int k = 1;; ++k) {
      int64_t const before = orv_serv_blocks_in_use();
      orv_serv_fail_allocation(k);
      int32_t const status = action();
      bool const reached = orv_serv_fail_allocation(0) >= k;
      EXPECT_EQ(orv_serv_blocks_in_use(), before) << k;
      EXPECT_EQ(status, reached ? RnqErrNoMemory : RnqOk) << k;
      if (!reached) return k - 1;
    }
  };
  for (auto const& g : models::generators) {
    SCOPED_TRACE(g.name);
    int const blocks = walk([&] { return Stream(g.number).status; });
    EXPECT_EQ(blocks, g.number == 0x100000 || g.number == 0x400000 ? 3 : 1);
    Stream source(g.number);
    add(source.p, 1);
    EXPECT_GT(walk([&] { return Stream(source).status; }), 2);
  }
  Stream source(0x200000), target(0x200000);
  uint64_t const key[2] = {7, 7};
  add(source.p, 1);
  add(source.p, 9, key);
  EXPECT_EQ(walk([&] {
              int32_t const status = __rnqCopyStreamState(target.p, source.p);
              EXPECT_TRUE(status == RnqOk || !target.p->chunks);
              __rnqDeleteChunks(target.p);
              return status;
            }),
            3);
  void* data = block_of(1, 8); // stays the caller's when it fails
  orv_serv_fail_allocation(1);
  EXPECT_EQ(__rnqAddChunk(target.p, 3, nullptr, data, 8), RnqErrNoMemory);
  orv_serv_fail_allocation(0);
  EXPECT_EQ(target.p->chunks, nullptr);
  EXPECT_EQ(__rnqAddChunk(target.p, 3, nullptr, data, 8), RnqOk);
  // Jumps that fail leave the stream where it was.
  for (int32_t number : {0x800000, 0xD00000})
    for (uint64_t count : {uint64_t{5000}, uint64_t{1} << 40}) {
      Stream s(number);
      s.words(7);
      auto const expected = Stream(s).words(50);
      walk([&] {
        Stream moved(s);
        int32_t const status = moved.p ? __rnqSkipAheadStream(moved.p, count) : moved.status;
        bool const failed = status != RnqOk && moved.status == RnqOk;
        EXPECT_TRUE(!failed || moved.words(50) == expected);
        return moved.status == RnqOk ? status : moved.status;
      });
    }
  // A generator whose lanes are gone says so.
  Stream lanes(0x100000);
  __rnqDeleteChunks(lanes.p);
  double r;
  EXPECT_EQ(lanes.row().generateDouble(lanes.p, 1, &r, 0, 1), RnqErrNoMemory);
  EXPECT_EQ(__rnqSkipAheadStream(lanes.p, 1), RnqErrNoMemory);
  EXPECT_EQ(__rnqLeapfrogStream(lanes.p, 0, 2), RnqErrNoMemory);
}

} // namespace
