#include "platform/bitmap.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(Bitmap, MadeReadAndDeleted) {
  const uint32_t picture[] = {0x00102030, 0x00405060, 0x00708090,   // top line
                              0x00A0B0C0, 0x00D0E0F0, 0x00010203};  // bottom line
  const uint64_t bitmap = cvplat::CreateBitmap32(3, 2, picture);
  ASSERT_NE(bitmap, 0u);
  int32_t width = 0, height = 0;
  ASSERT_EQ(cvplat::BitmapSize(bitmap, &width, &height), S_OK);
  EXPECT_EQ(width, 3);
  EXPECT_EQ(height, 2);
  std::vector<uint32_t> read(6);
  ASSERT_EQ(cvplat::ReadBitmapPixels(bitmap, 3, 2, read.data()), S_OK);
  for (size_t i = 0; i < read.size(); ++i) EXPECT_EQ(read[i] & 0x00FFFFFF, picture[i]) << "pixel " << i;

  // A second bitmap is another one; each goes on its own.
  const uint64_t other = cvplat::CreateBitmap32(1, 1, nullptr);
  ASSERT_NE(other, 0u);
  EXPECT_NE(other, bitmap);
  cvplat::DeleteBitmap(bitmap);
  EXPECT_EQ(cvplat::BitmapSize(bitmap, &width, &height), E_INVALIDARG);
  EXPECT_EQ(width, 0);
  EXPECT_EQ(cvplat::ReadBitmapPixels(bitmap, 3, 2, read.data()), E_INVALIDARG);
  ASSERT_EQ(cvplat::BitmapSize(other, &width, &height), S_OK);
  EXPECT_EQ(width, 1);
  cvplat::DeleteBitmap(other);
}

TEST(Bitmap, HandlesThatNameNothingAreRefused) {
  int32_t width = 7, height = 7;
  uint32_t pixel = 0;
  for (uint64_t handle : {uint64_t{0}, uint64_t{0x1234}, ~uint64_t{0}}) {
    EXPECT_EQ(cvplat::BitmapSize(handle, &width, &height), E_INVALIDARG) << handle;
    EXPECT_EQ(cvplat::ReadBitmapPixels(handle, 1, 1, &pixel), E_INVALIDARG) << handle;
    cvplat::DeleteBitmap(handle);  // nothing to free, and no harm
  }
  EXPECT_EQ(width, 0);
  EXPECT_EQ(cvplat::BitmapSize(1, nullptr, &height), E_POINTER);
  EXPECT_EQ(cvplat::ReadBitmapPixels(1, 1, 1, nullptr), E_POINTER);
  EXPECT_EQ(cvplat::CreateBitmap32(0, 4, nullptr), 0u);
  EXPECT_EQ(cvplat::CreateBitmap32(4, -1, nullptr), 0u);
}

}  // namespace
