#include "engine/frame_format.h"

#include <gtest/gtest.h>

#include "media/colour_formats.h"
#include "props/xml_node.h"

namespace {

using XMLParse::CoXMLNode;
using XMLParse::XMLNodePtr;

constexpr TRect kScreen = {0, 0, 2560, 1440};
constexpr TRect kTarget = {100, 50, 900, 650};

XMLNodePtr Props(const wchar_t* size, const wchar_t* memory = L"HDYC", double fps = 30.0) {
  XMLNodePtr root = CoXMLNode::Create(L"t-props");
  root->SetString(L"capture.frame_size", size);
  root->SetString(L"capture.memory_format", memory);
  root->SetDouble(L"capture.fps_limit", fps);
  return root;
}

TVideoProps Build(const wchar_t* size, const wchar_t* memory = L"HDYC", double fps = 30.0) {
  return BuildFrameFormat(Props(size, memory, fps).Get(), kTarget, kScreen);
}

TEST(FrameFormat, DefaultsWithoutTreeAreFullHdYuvAtThirty) {
  const TVideoProps v = BuildFrameFormat(nullptr, kTarget, kScreen);
  EXPECT_EQ(v.videoFormat, 0);
  EXPECT_EQ(v.colourFormat, kColourHDYC);
  EXPECT_EQ(v.width, 1920);
  EXPECT_EQ(v.height, 1080) << "YUV pictures keep a positive height";
  EXPECT_EQ(v.rowBytes, 1920 * 2);
  EXPECT_EQ(v.scan, 3);
  EXPECT_EQ(v.frameRate, 30.0);
  EXPECT_EQ(v.aspectX * 9, v.aspectY * 16);
  EXPECT_GT(v.aspectX, 0);

  // An empty tree reads every key at its default too.
  const TVideoProps e = BuildFrameFormat(CoXMLNode::Create(L"t-props").Get(), kTarget, kScreen);
  EXPECT_EQ(e.colourFormat, kColourHDYC);
  EXPECT_EQ(e.width, 1920);
  EXPECT_EQ(e.frameRate, 30.0);
}

TEST(FrameFormat, MemoryFormatOtherThanHdycGivesTopDownRgb32) {
  for (const wchar_t* memory : {L"ARGB", L"argb", L"rgb", L"", L"HDYC "}) {
    const TVideoProps v = Build(L"640x480", memory);
    EXPECT_EQ(v.colourFormat, kColourRGB32) << "memory format '" << memory << "'";
    EXPECT_EQ(v.width, 640);
    EXPECT_EQ(v.height, -480) << "RGB frames are top-down";
    EXPECT_EQ(v.rowBytes, 640 * 4);
    EXPECT_EQ(v.aspectX, 4);
    EXPECT_EQ(v.aspectY, 3);
  }
  EXPECT_EQ(Build(L"640x480", L"hdyc").colourFormat, kColourHDYC) << "letter case is ignored";
}

TEST(FrameFormat, ScreenAndAreaTakeTheirRectangles) {
  for (const wchar_t* size : {L"screen", L"SCREEN", L"Screen"}) {
    const TVideoProps v = Build(size);
    EXPECT_EQ(v.width, 2560) << "size '" << size << "'";
    EXPECT_EQ(v.height, 1440);
  }
  for (const wchar_t* size : {L"area", L"AREA"}) {
    const TVideoProps v = Build(size, L"ARGB");
    EXPECT_EQ(v.width, 800) << "size '" << size << "'";
    EXPECT_EQ(v.height, -600);
    EXPECT_EQ(v.aspectX, 4);
    EXPECT_EQ(v.aspectY, 3);
  }
}

TEST(FrameFormat, SizeTextOutsideTheRangesFallsBackToFullHd) {
  struct Case {
    const wchar_t* text;
    int32_t width;
    int32_t height;
  };
  const Case cases[] = {
      {L"200x150", 200, 150},       {L"7680x4800", 7680, 4800}, {L"1280x720", 1280, 720},
      {L" 1280x 720", 1280, 720},   {L"1920X1080", 1920, 1080}, {L"1280X720", 1920, 1080},
      {L"199x150", 1920, 1080},     {L"200x149", 1920, 1080},   {L"7681x4800", 1920, 1080},
      {L"7680x4801", 1920, 1080},   {L"", 1920, 1080},          {L"1280", 1920, 1080},
      {L"1280 x720", 1920, 1080},   {L"-640x480", 1920, 1080},  {L"99999999999x480", 1920, 1080},
      {L"wide", 1920, 1080},
  };
  for (const Case& c : cases) {
    const TVideoProps v = Build(c.text);
    EXPECT_EQ(v.width, c.width) << "size '" << c.text << "'";
    EXPECT_EQ(v.height, c.height) << "size '" << c.text << "'";
  }
}

TEST(FrameFormat, RateOutsideTwoToSixtyFallsBackToThirty) {
  EXPECT_EQ(Build(L"640x480", L"HDYC", 60.0).frameRate, 60.0);
  EXPECT_EQ(Build(L"640x480", L"HDYC", 2.0).frameRate, 2.0);
  EXPECT_EQ(Build(L"640x480", L"HDYC", 29.97).frameRate, 29.97);
  EXPECT_EQ(Build(L"640x480", L"HDYC", 60.01).frameRate, 30.0);
  EXPECT_EQ(Build(L"640x480", L"HDYC", 1.99).frameRate, 30.0);
  EXPECT_EQ(Build(L"640x480", L"HDYC", 0.0).frameRate, 30.0);
  EXPECT_EQ(Build(L"640x480", L"HDYC", -25.0).frameRate, 30.0);

  // The rate is read through its text, as a host writes it.
  XMLNodePtr props = Props(L"640x480");
  props->SetString(L"capture.fps_limit", L"25");
  EXPECT_EQ(BuildFrameFormat(props.Get(), kTarget, kScreen).frameRate, 25.0);
  props->SetString(L"capture.fps_limit", L"fast");
  EXPECT_EQ(BuildFrameFormat(props.Get(), kTarget, kScreen).frameRate, 30.0);
}

TEST(FrameFormat, FormatNumberStaysCustomEvenForATableSize) {
  // 1280x720 at 50 is a named format of the table; the output is still a custom record.
  const TVideoProps v = Build(L"1280x720", L"HDYC", 50.0);
  EXPECT_EQ(v.videoFormat, 0);
  EXPECT_EQ(v.scan, 3);
  EXPECT_EQ(v.width, 1280);
  EXPECT_EQ(v.height, 720);
  EXPECT_EQ(v.frameRate, 50.0);
}

TEST(FrameFormat, ParseFrameSizeKeepsItsOutputsOnFailure) {
  int32_t w = 7, h = 9;
  EXPECT_FALSE(ParseFrameSize(nullptr, w, h));
  EXPECT_FALSE(ParseFrameSize(L"100x100", w, h));
  EXPECT_EQ(w, 7);
  EXPECT_EQ(h, 9);
  EXPECT_TRUE(ParseFrameSize(L"320x240 trailing", w, h)) << "text after the height is not looked at";
  EXPECT_EQ(w, 320);
  EXPECT_EQ(h, 240);
}

}  // namespace
