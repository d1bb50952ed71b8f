#include "audio/channels_buffer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace {

bool Aligned16(const void* p) { return (reinterpret_cast<uintptr_t>(p) & 15) == 0; }

TEST(ChannelsBuffer, GrowsInHalfMegabyteStepsAndMovesDataOnlyWhenAWriteDoesNotFit) {
  EXPECT_EQ(TChannelsBuffer::CapacityFor(1), 0x80000u);
  EXPECT_EQ(TChannelsBuffer::CapacityFor(0x40000), 0x80000u) << "256 KiB of room still fits the first step";
  EXPECT_EQ(TChannelsBuffer::CapacityFor(0x40001), 0x100000u);

  TChannelsBuffer buf;
  ASSERT_EQ(buf.ChannelsAlloc(1000, 2, true), S_OK);
  const uint32_t cap = buf.ChannelCapacity();
  ASSERT_EQ(cap, 0x80000u);
  uint8_t* base[2];
  for (int c = 0; c < 2; ++c) {
    base[c] = buf.ChannelPtr(c, 0);
    ASSERT_TRUE(Aligned16(base[c]));
    for (int i = 0; i < 1000; ++i) base[c][i] = uint8_t(i * 7 + c);
  }

  EXPECT_EQ(buf.ChannelsAdvance(400), 400u);
  EXPECT_EQ(buf.ChannelBytes(), 600u);
  EXPECT_EQ(buf.ChannelPtr(0, 0), base[0] + 400) << "reading never moves data";

  // Fits behind the read position: only the size changes, new bytes zeroed.
  ASSERT_EQ(buf.ChannelsResize(cap - 400, -1, true), S_OK);
  EXPECT_EQ(buf.ChannelPtr(1, 0), base[1] + 400);
  EXPECT_EQ(buf.ChannelPtr(1, 599)[0], uint8_t(999 * 7 + 1));
  EXPECT_EQ(buf.ChannelPtr(1, 600)[0], 0);

  // Fits the capacity only from the front: the data move there.
  ASSERT_EQ(buf.ChannelsResize(cap - 100, -1, true), S_OK);
  EXPECT_EQ(buf.ChannelCapacity(), cap);
  for (int c = 0; c < 2; ++c) {
    EXPECT_EQ(buf.ChannelPtr(c, 0), base[c]);
    EXPECT_EQ(buf.ChannelPtr(c, 0)[0], uint8_t(400 * 7 + c));
  }

  // Beyond the capacity: every channel grows to the same new block, the data kept.
  ASSERT_EQ(buf.ChannelsResize(cap + 1, 3, true), S_OK);
  EXPECT_EQ(buf.ChannelCapacity(), 0x100000u);
  EXPECT_EQ(buf.ChannelCount(), 3);
  EXPECT_EQ(buf.ChannelBytes(), cap + 1);
  for (int c = 0; c < 3; ++c) {
    const uint8_t* p = buf.ChannelPtr(c, 0);
    EXPECT_TRUE(Aligned16(p));
    EXPECT_EQ(p[0], c < 2 ? uint8_t(400 * 7 + c) : 0) << "an added channel is silent";
    EXPECT_EQ(p[cap], 0);
  }

  // A channel past the last reads as zeros of the stored length.
  const uint8_t* missing = buf.ChannelPtr(9, 0);
  ASSERT_NE(missing, nullptr);
  EXPECT_EQ(missing[0], 0);
  EXPECT_EQ(missing[cap], 0);

  EXPECT_EQ(buf.ChannelsAdvance(0xFFFFFFFF), cap + 1);
  EXPECT_EQ(buf.ChannelBytes(), 0u);
  EXPECT_EQ(buf.ChannelCapacity(), 0x100000u) << "capacity is never given back";
}

TEST(ChannelsBuffer, FailedGrowthFreesTheBlocks) {
  TChannelsBuffer buf;
  ASSERT_EQ(buf.ChannelsAlloc(64, 2, true), S_OK);
  EXPECT_EQ(buf.ChannelsResize(0xFFFFFFF0u, -1, false), E_OUTOFMEMORY);
  EXPECT_EQ(buf.ChannelCount(), 0);
  EXPECT_EQ(buf.ChannelBytes(), 0u);
  EXPECT_EQ(buf.ChannelsAlloc(64, 2, true), S_OK) << "usable again afterwards";
}

// Channel i holds 2^i in its first sample, so a sum names the channels added; the second sample
// checks saturation.
std::vector<int16_t> MixDown16(int32_t from, int32_t to, int16_t loud) {
  TChannelsBuffer buf;
  EXPECT_EQ(buf.ChannelsAlloc(4, from, true), S_OK);
  for (int32_t c = 0; c < from; ++c) {
    auto* s = reinterpret_cast<int16_t*>(buf.ChannelPtr(c, 0));
    s[0] = int16_t(1 << c);
    s[1] = loud;
  }
  EXPECT_TRUE(buf.ChannelsMixDown(to, false));
  EXPECT_EQ(buf.ChannelCount(), to);
  std::vector<int16_t> out;
  for (int32_t c = 0; c < to; ++c) {
    auto* s = reinterpret_cast<int16_t*>(buf.ChannelPtr(c, 0));
    out.push_back(s[0]);
    out.push_back(s[1]);
  }
  return out;
}

TEST(ChannelsBuffer, MixDownFoldsEachLayoutIntoTheKeptChannels) {
  // 5.1 to stereo: left = 1 + 3 + 4 + 5, right = 2 + 3 + 4 + 6, counting from 1.
  EXPECT_EQ(MixDown16(6, 2, 20000), (std::vector<int16_t>{1 + 4 + 8 + 16, 32767, 2 + 4 + 8 + 32, 32767}));
  EXPECT_EQ(MixDown16(6, 2, -20000), (std::vector<int16_t>{29, -32768, 46, -32768}));
  EXPECT_EQ(MixDown16(6, 3, 100), (std::vector<int16_t>{1, 100, 2, 100, 4 + 8, 200}));
  EXPECT_EQ(MixDown16(3, 2, 100), (std::vector<int16_t>{1 + 4, 200, 2 + 4, 200}));
  EXPECT_EQ(MixDown16(8, 2, 100), (std::vector<int16_t>{1 + 4 + 16 + 64, 400, 2 + 8 + 32 + 128, 400}));
  EXPECT_EQ(MixDown16(3, 1, 20000), (std::vector<int16_t>{7, 32767}));

  TChannelsBuffer real;
  ASSERT_EQ(real.ChannelsAlloc(4, 6, true), S_OK);
  for (int32_t c = 0; c < 6; ++c) *reinterpret_cast<float*>(real.ChannelPtr(c, 0)) = 0.75f;
  ASSERT_TRUE(real.ChannelsMixDown(2, true));
  EXPECT_EQ(*reinterpret_cast<float*>(real.ChannelPtr(0, 0)), 3.0f) << "floats are neither clipped nor scaled";
}

}  // namespace
