#include "device/format_rules.h"

#include <gtest/gtest.h>

#include <cstring>

#include "media/colour_formats.h"
#include "media/format_table.h"

namespace {

TEST(StockRows, VideoRowsFollowTheTable) {
  const std::vector<TVideoProps> rows = StockVideoRows();
  ASSERT_EQ(rows.size(), 47u);
  const TVideoProps zero{};
  EXPECT_EQ(std::memcmp(&rows[0], &zero, sizeof zero), 0);
  for (int32_t i = 1; i < eTVF_Disabled; ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(rows[i].videoFormat, i);
    EXPECT_EQ(rows[i].width, VideoFormatRow(i)->width);
    EXPECT_NE(rows[i].colourFormat, 0u);
    EXPECT_GT(rows[i].rowBytes, 0);
  }
  EXPECT_EQ(rows[46].videoFormat, kVideoFormatDisabled);
  EXPECT_EQ(rows[46].width, 0);
  EXPECT_EQ(rows[4].colourFormat, kColourUYVY);
  EXPECT_EQ(rows[11].colourFormat, kColourHDYC);
}

TEST(StockRows, AudioRowsNestBitsRatesAndChannels) {
  const std::vector<TAudioProps> rows = StockAudioRows();
  ASSERT_EQ(rows.size(), 191u);
  auto is = [](const TAudioProps& a, int32_t ch, int32_t rate, int32_t bits) {
    return a.channels == ch && a.sampleRate == rate && a.bitsPerSample == bits;
  };
  EXPECT_TRUE(is(rows[0], 0, 0, 0));
  EXPECT_TRUE(is(rows[1], 2, 48000, 16));
  EXPECT_TRUE(is(rows[9], 1, 48000, 16));
  EXPECT_TRUE(is(rows[10], 2, 44100, 16));
  EXPECT_TRUE(is(rows[63], 1, 8000, 16));
  EXPECT_TRUE(is(rows[64], 2, 48000, -32));
  EXPECT_TRUE(is(rows[127], 2, 48000, 32));
  EXPECT_TRUE(is(rows[189], 1, 8000, 32));
  EXPECT_TRUE(is(rows[190], -1, 0, 0));
}

TEST(OutputColour, YuvPackingFollowsThePictureAndAGivenColourStays) {
  TVideoProps pal{};
  pal.videoFormat = eTVF_PAL;
  OutputColourDefault(pal, kColourHDYC);
  EXPECT_EQ(pal.colourFormat, kColourUYVY);

  TVideoProps ntscSize{};  // recognised by its size, without a format word
  ntscSize.width = 720;
  ntscSize.height = -480;
  OutputColourDefault(ntscSize, kColourHDYC);
  EXPECT_EQ(ntscSize.colourFormat, kColourUYVY);

  TVideoProps hd{};
  hd.videoFormat = eTVF_HD720_50p;
  OutputColourDefault(hd, kColourUYVY);
  EXPECT_EQ(hd.colourFormat, kColourHDYC);

  TVideoProps rgb{};
  rgb.videoFormat = eTVF_PAL;
  OutputColourDefault(rgb, kColourRGB32);
  EXPECT_EQ(rgb.colourFormat, kColourRGB32);

  TVideoProps given{};
  given.videoFormat = eTVF_HD720_50p;
  given.colourFormat = kColourUYVY;
  OutputColourDefault(given, kColourHDYC);
  EXPECT_EQ(given.colourFormat, kColourUYVY);
}

TAvProps Input(int32_t scan, double rate, uint32_t colour) {
  TAvProps in{};
  in.video.videoFormat = 0;
  in.video.width = 1920;
  in.video.height = 1080;
  in.video.scan = scan;
  in.video.frameRate = rate;
  in.video.colourFormat = colour;
  in.audio = TAudioProps{2, 48000, 16, 0};
  return in;
}

TEST(EffectiveFormat, ScanRequests) {
  const TAvProps none{};
  TVideoProps adjust{};
  adjust.scan = 4;
  EXPECT_EQ(EffectiveFormat(Input(1, 25, kColourHDYC), none, adjust).video.scan, 2);
  EXPECT_EQ(EffectiveFormat(Input(2, 25, kColourHDYC), none, adjust).video.scan, 1);
  EXPECT_EQ(EffectiveFormat(Input(3, 25, kColourHDYC), none, adjust).video.scan, 3);
  adjust.scan = 5;
  EXPECT_EQ(EffectiveFormat(Input(2, 25, kColourHDYC), none, adjust).video.scan, 3);
  // A field order is taken only at rates where fields exist.
  adjust.scan = 2;
  EXPECT_EQ(EffectiveFormat(Input(3, 25, kColourHDYC), none, adjust).video.scan, 2);
  EXPECT_EQ(EffectiveFormat(Input(3, 50, kColourHDYC), none, adjust).video.scan, 3);
  adjust.scan = 3;
  EXPECT_EQ(EffectiveFormat(Input(1, 25, kColourHDYC), none, adjust).video.scan, 1);
}

TEST(EffectiveFormat, AspectRateAlphaAndTheOutputsSound) {
  TAvProps table = Input(3, 25, kColourRGB32);
  table.video.videoFormat = eTVF_HD1080_25p;
  TVideoProps adjust{};
  adjust.aspectX = 4;
  adjust.aspectY = 3;
  adjust.aspectMode = 1;
  adjust.frameRate = 50;
  adjust.colourFormat = kColourARGB32;
  TAvProps e = EffectiveFormat(table, TAvProps{}, adjust);
  EXPECT_EQ(e.video.aspectX, 4);
  EXPECT_EQ(e.video.aspectMode, 1);
  EXPECT_EQ(e.video.frameRate, 50);
  EXPECT_EQ(e.video.videoFormat, 0);  // no longer the table's row
  EXPECT_EQ(e.video.colourFormat, kColourARGB32);
  // No colour change but within 32-bit RGB.
  EXPECT_EQ(EffectiveFormat(Input(3, 25, kColourHDYC), TAvProps{}, adjust).video.colourFormat, kColourHDYC);

  TAvProps output{};
  output.video.width = 1280;
  output.video.height = 720;
  output.audio = TAudioProps{0, 44100, 0, 0};
  e = EffectiveFormat(Input(3, 25, kColourHDYC), output, TVideoProps{});
  EXPECT_EQ(e.video.width, 1280);
  EXPECT_EQ(e.video.frameRate, 25);  // the rest from the input
  EXPECT_EQ(e.audio.channels, 2);
  EXPECT_EQ(e.audio.sampleRate, 44100);
  EXPECT_EQ(e.audio.bitsPerSample, 16);
}

}  // namespace
