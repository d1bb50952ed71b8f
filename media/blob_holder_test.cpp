#include "media/blob_holder.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

struct FailingAlloc {
  static inline bool fail = false;
  static void* Alloc(size_t bytes) { return fail ? nullptr : CNewAlloc::Alloc(bytes); }
  static void Free(void* block) { CNewAlloc::Free(block); }
};

TEST(BlobHolder, ResizeWithinCapacityOnlySetsTheSize) {
  TRefPtr<CBLOBHolder<CNewAlloc>> blob = MakeRef<CBLOBHolder<CNewAlloc>>();
  EXPECT_EQ(blob->Resize(100), S_OK);
  EXPECT_EQ(blob->Size(), 100u);
  EXPECT_EQ(blob->Capacity(), 100u);
  uint8_t* block = blob->Data();
  EXPECT_EQ(blob->Resize(40), S_FALSE);
  EXPECT_EQ(blob->Size(), 40u);
  EXPECT_EQ(blob->Capacity(), 100u);
  EXPECT_EQ(blob->Data(), block);
  EXPECT_EQ(blob->Resize(101), S_OK) << "growing takes exactly the new size";
  EXPECT_EQ(blob->Capacity(), 101u);
}

TEST(BlobHolder, OffsetResizeKeepsTheTail) {
  TRefPtr<CBLOBHolder<CNewAlloc>> blob = MakeRef<CBLOBHolder<CNewAlloc>>();
  ASSERT_EQ(blob->Resize(10), S_OK);
  for (uint8_t i = 0; i < 10; ++i) blob->Data()[i] = i;
  EXPECT_EQ(blob->Resize(4, 6), S_FALSE);
  for (uint8_t i = 0; i < 6; ++i) EXPECT_EQ(blob->Data()[i], i + 4);
  EXPECT_EQ(blob->Resize(2, 64), S_OK) << "beyond the capacity a new block holds the kept bytes";
  EXPECT_EQ(blob->Size(), 64u);
  for (uint8_t i = 0; i < 4; ++i) EXPECT_EQ(blob->Data()[i], i + 6);
  EXPECT_EQ(blob->Resize(200, 8), S_FALSE) << "an offset past the end keeps nothing and is harmless";
}

TEST(BlobHolder, FailedGrowthEmptiesTheHolder) {
  TRefPtr<CBLOBHolder<FailingAlloc>> blob = MakeRef<CBLOBHolder<FailingAlloc>>();
  ASSERT_EQ(blob->Resize(16), S_OK);
  FailingAlloc::fail = true;
  EXPECT_EQ(blob->Resize(0, 32), E_OUTOFMEMORY);
  EXPECT_EQ(blob->Size(), 16u) << "the offset form keeps the old block on failure";
  EXPECT_EQ(blob->Resize(32), E_OUTOFMEMORY);
  EXPECT_EQ(blob->Size(), 0u);
  EXPECT_EQ(blob->Capacity(), 0u);
  EXPECT_EQ(blob->Data(), nullptr);
  FailingAlloc::fail = false;
  EXPECT_EQ(blob->Resize(8), S_OK);
}

TEST(BlobHolder, HeapBlocksAreAlignedAndWholeySized) {
  std::vector<void*> blocks;
  for (size_t size = 0; size < 300; ++size) {
    auto* p = static_cast<uint8_t*>(CHeapAlloc::Alloc(size));
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 16, 0u) << size;
    for (size_t i = 0; i < size; ++i) p[i] = static_cast<uint8_t>(i);  // the sanitizers watch the ends
    blocks.push_back(p);
  }
  for (void* p : blocks) CHeapAlloc::Free(p);
  CHeapAlloc::Free(nullptr);

  TRefPtr<CBLOBHolder<CHeapAlloc>> blob = MakeRef<CBLOBHolder<CHeapAlloc>>();
  ASSERT_EQ(blob->Resize(4096), S_OK);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(blob->Data()) % 16, 0u);
}

}  // namespace
