#include "frame/core.h"

#include <gtest/gtest.h>

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

} // namespace
