#include "platform/guarded_memory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

namespace {

TEST(GuardedMemory, EndsAtAPageEdgeAndEveryByteIsWritable) {
  const size_t page = cvplat::SystemPageSize();
  ASSERT_GE(page, 4096u);
  for (size_t bytes : {size_t(1), size_t(7), page - 1, page, page + 3, 3 * page}) {
    auto* p = static_cast<unsigned char*>(cvplat::GuardedAlloc(bytes));
    ASSERT_NE(p, nullptr) << bytes;
    EXPECT_EQ(reinterpret_cast<uintptr_t>(p + bytes) % page, 0u) << bytes;
    std::memset(p, 0xA5, bytes);
    EXPECT_EQ(p[0], 0xA5);
    EXPECT_EQ(p[bytes - 1], 0xA5);
    cvplat::GuardedFree(p, bytes);
  }
}

TEST(GuardedMemory, ArrayHoldsItsElementsUpToTheEdge) {
  cvplat::GuardedArray<int16_t> a(1001);
  ASSERT_NE(a.data(), nullptr);
  for (size_t i = 0; i < a.size(); ++i) a[i] = int16_t(i);
  EXPECT_EQ(a[1000], 1000);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(a.data() + a.size()) % cvplat::SystemPageSize(), 0u);
}

#if GTEST_HAS_DEATH_TEST && !defined(_WIN32)
TEST(GuardedMemoryDeathTest, TouchingTheByteBehindTheBlockFaults) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  auto* p = static_cast<volatile unsigned char*>(cvplat::GuardedAlloc(100));
  ASSERT_NE(p, nullptr);
  EXPECT_DEATH(p[100] = 1, "");
  cvplat::GuardedFree(const_cast<unsigned char*>(p), 100);
}
#endif

}  // namespace
