#include "frame/core.h"
#include "tests/support/environment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

namespace {

TEST(CoreMemory, BlocksAreAlignedAndCounted) {
  int64_t const before = orv_serv_blocks_in_use();
  void* block = orv::core::allocate(100);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 128, 0u);
  EXPECT_EQ(orv_serv_blocks_in_use(), before + 1);
  orv::core::deallocate(block);
  orv::core::deallocate(nullptr);
  EXPECT_EQ(orv_serv_blocks_in_use(), before);
}

TEST(CoreMemory, TheChosenRequestFails) {
  orv_serv_fail_allocation(2);
  void* first = orv::core::allocate(8);
  void* second = orv::core::allocate(8);
  void* third = orv::core::allocate(8);
  EXPECT_EQ(orv_serv_fail_allocation(0), 3);
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(second, nullptr);
  EXPECT_NE(third, nullptr);
  orv::core::deallocate(first);
  orv::core::deallocate(third);
}

TEST(CoreServices, EnvironmentIsCutToItsRoom) {
  char room[8];
  auto get = [&](int capacity) {
    std::memset(room, '#', sizeof room);
    return orv_serv_getenv("ORV_TEST_VALUE", room, capacity);
  };
  orv::test::set_environment("ORV_TEST_VALUE", "abcd");
  EXPECT_EQ(get(8), 4);
  EXPECT_EQ(std::string(room, 8), std::string("abcd\0###", 8));
  EXPECT_EQ(get(5), 4); // just fits
  EXPECT_STREQ(room, "abcd");
  EXPECT_EQ(get(4), 3);
  EXPECT_EQ(std::string(room, 5), std::string("abc\0#", 5));
  EXPECT_EQ(get(1), 0);
  EXPECT_EQ(std::string(room, 2), std::string("\0#", 2));
  EXPECT_EQ(get(0), -1);
  EXPECT_EQ(room[0], '#');
#ifndef _WIN32 // where an empty value is an unset one
  orv::test::set_environment("ORV_TEST_VALUE", "");
  EXPECT_EQ(get(8), 0);
  EXPECT_EQ(room[0], 0);
#endif
  orv::test::set_environment("ORV_TEST_VALUE", nullptr);
  EXPECT_EQ(get(8), -1);
}

TEST(CoreServices, BoundedCopy) {
  char to[4] = {'#', '#', '#', '#'};
  EXPECT_EQ(orv_serv_memcpy_s(to, 2, "abc", 3), 34);
  EXPECT_EQ(to[0], '#');
  EXPECT_EQ(orv_serv_memcpy_s(to, 3, "abc", 3), 0);
  EXPECT_EQ(std::string(to, 4), "abc#");
  EXPECT_EQ(orv_serv_memcpy_s(nullptr, 3, "abc", 3), 22);
  EXPECT_EQ(orv_serv_memcpy_s(to, 3, nullptr, 1), 22);
  EXPECT_EQ(orv_serv_memcpy_s(nullptr, 0, nullptr, 0), 0);
  EXPECT_EQ(orv_serv_memcpy_s(nullptr, 0, "a", 1), 22);
}

TEST(CoreServices, LocksExcludeEachOther) {
  int32_t word = 0;
  int64_t total = 0;
  bool inside = false, met = false;
  auto work = [&] {
    for (int i = 0; i < 20000; ++i) {
      orv_serv_lock(&word);
      met |= inside;
      inside = true;
      ++total;
      inside = false;
      orv_serv_unlock(&word);
    }
  };
  std::thread a(work), b(work), c(work);
  a.join(), b.join(), c.join();
  EXPECT_EQ(total, 60000);
  EXPECT_FALSE(met);
  EXPECT_EQ(word, 0);
}

TEST(CoreServices, ALockThatIsTakenIsWaitedFor) {
  int32_t word = 0;
  std::atomic<int> stage{0};
  orv_serv_lock(&word);
  std::thread other([&] {
    stage = 1;
    orv_serv_lock(&word);
    stage = 2;
    orv_serv_unlock(&word);
  });
  while (stage == 0) std::this_thread::yield();
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  EXPECT_EQ(stage, 1);
  orv_serv_unlock(&word);
  other.join();
  EXPECT_EQ(stage, 2);
}

TEST(CoreServices, MessagesByNumber) {
  auto printed = [](auto... arguments) {
    testing::internal::CaptureStderr();
    orv_serv_print(1, arguments...);
    return testing::internal::GetCapturedStderr();
  };
  EXPECT_EQ(printed(748, 2, "vdExp", 3), "orv: vdExp: argument 3 is not valid\n");
  EXPECT_EQ(printed(749, 1, "f"), "orv: f: memory that was given cannot be accessed\n");
  EXPECT_EQ(printed(750, 1, "f"), "orv: f: argument outside the domain of the function\n");
  EXPECT_EQ(printed(751, 1, "f"), "orv: f: pole of the function, the result is infinite\n");
  EXPECT_EQ(printed(752, 1, "f"), "orv: f: overflow, the result is too large\n");
  EXPECT_EQ(printed(753, 1, "f"), "orv: f: underflow, the result is too small\n");
  EXPECT_EQ(printed(755, 2, 4, 0.1), "orv:   element 4: argument 0.10000000000000001\n");
  EXPECT_EQ(printed(766, 2, 5, -2.0), "orv:   element 5: second result -2\n");
  EXPECT_EQ(printed(773, 0), "orv: no memory for the state of a thread\n");
  EXPECT_EQ(printed(7, 0), "orv: message 7 with 0 arguments\n");
  EXPECT_EQ(printed(750, 2, "f", 1), "orv: message 750 with 2 arguments\n"); // not its arguments
}

TEST(CoreServices, ExitFlushesAndHasItsCode) {
#ifndef _WIN32
  EXPECT_EXIT(
      {
        std::fputs("last words", stderr);
        orv_serv_exit(3);
      },
      testing::ExitedWithCode(3), "last words");
#endif
}

TEST(CoreServices, ThreadFunctionsByName) {
  EXPECT_EQ(orv_serv_load_thread_fun(nullptr), nullptr);
  EXPECT_EQ(orv_serv_load_thread_fun("orv_rnq_serv_threader_fo"), nullptr);
  EXPECT_NE(orv_serv_load_thread_fun("orv_rnq_serv_threader_for"), nullptr);
  for (auto const& [wish, limit] :
       {std::pair{"1", 1}, {"255", 255}, {"256", 256}, {"257", 256}, {"99999", 256}}) {
    orv::test::set_environment("ORV_NUM_THREADS", wish);
    EXPECT_EQ(orv_rnq_serv_threader_get_num_threads_limit(), limit);
  }
  int const processors = static_cast<int>(std::thread::hardware_concurrency());
  for (char const* wish : {"0", "-3", "many", ""}) {
    orv::test::set_environment("ORV_NUM_THREADS", wish);
    EXPECT_EQ(orv_rnq_serv_threader_get_num_threads_limit(), std::clamp(processors, 1, 256)) << wish;
  }
  orv::test::set_environment("ORV_NUM_THREADS", nullptr);
}

TEST(CoreMemory, AnyAlignmentAndNoBytes) {
  for (size_t alignment : {size_t{1}, size_t{2}, sizeof(void*), size_t{16}, size_t{4096}}) {
    void* block = orv_serv_allocate(0, alignment);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % alignment, 0u);
    orv_serv_deallocate(block);
  }
  int64_t const before = orv_serv_blocks_in_use();
  EXPECT_EQ(orv_serv_allocate(SIZE_MAX - 4096, 128), nullptr);
  EXPECT_EQ(orv_serv_blocks_in_use(), before);
  orv_serv_fail_allocation(1); // only the first from now fails, and switching off counts none
  EXPECT_EQ(orv_serv_allocate(8, 8), nullptr);
  EXPECT_EQ(orv_serv_blocks_in_use(), before);
  EXPECT_EQ(orv_serv_fail_allocation(0), 1);
  EXPECT_EQ(orv_serv_fail_allocation(0), 0);
}

} // namespace
