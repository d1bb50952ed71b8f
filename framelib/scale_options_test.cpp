#include "framelib/scale_options.h"

#include <gtest/gtest.h>

namespace {

TEST(ScaleOptions, ReadsTheEnginesTextsAndForgivesTheRest) {
  const TConvertOptions full = ParseConvertOptions(L"scale-type='letter-box' async_id='screen-cap'");
  EXPECT_EQ(full.scaleType, TScaleType::LetterBox);
  EXPECT_EQ(full.asyncId, L"screen-cap");

  const struct {
    const wchar_t* text;
    TScaleType type;
  } cases[] = {
      {L"scale-type='default'", TScaleType::Default},      {L"scale-type='ignore-ar'", TScaleType::IgnoreAspect},
      {L"scale-type='none'", TScaleType::None},            {L"SCALE-TYPE='No-Scale'", TScaleType::NoScale},
      {L" scale-type=\"crop\" ", TScaleType::Crop},        {L"scale-type=crop async_id=x", TScaleType::Crop},
      {L"scale-type='stretch'", TScaleType::Default},      {L"scale-type='crop", TScaleType::Crop},  // unclosed
      {L"= == ='' scale-type junk scale-type=' none '", TScaleType::None},
      {L"", TScaleType::Default},                          {nullptr, TScaleType::Default},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ParseConvertOptions(c.text).scaleType, c.type) << (c.text ? c.text : L"(null)");
  }
  EXPECT_EQ(ParseConvertOptions(L"async_id='a b' scale-type='crop'").asyncId, L"a b");
}

bool Same(TScaleRect a, TScaleRect b) { return a.x == b.x && a.y == b.y && a.width == b.width && a.height == b.height; }

TEST(ScaleOptions, PlacesThePictureForEachType) {
  // 4:3 into 16:9 and 16:9 into 4:3.
  TScalePlacement p = PlaceScaled(TScaleType::LetterBox, 40, 30, 160, 90);
  EXPECT_TRUE(Same(p.from, {0, 0, 40, 30}));
  EXPECT_TRUE(Same(p.to, {20, 0, 120, 90}));
  p = PlaceScaled(TScaleType::LetterBox, 160, 90, 40, 30);
  EXPECT_TRUE(Same(p.to, {0, 3, 40, 23}));  // 22.5 rounds to 23; the odd spare row goes below
  p = PlaceScaled(TScaleType::Default, 160, 90, 40, 30);
  EXPECT_TRUE(Same(p.to, {0, 3, 40, 23}));

  p = PlaceScaled(TScaleType::Crop, 40, 30, 160, 90);
  EXPECT_TRUE(Same(p.from, {0, 3, 40, 23}));  // 40 * 9 / 16 = 22.5
  EXPECT_TRUE(Same(p.to, {0, 0, 160, 90}));
  p = PlaceScaled(TScaleType::Crop, 1920, 1080, 1080, 1080);
  EXPECT_TRUE(Same(p.from, {420, 0, 1080, 1080}));

  p = PlaceScaled(TScaleType::NoScale, 5, 9, 8, 4);
  EXPECT_TRUE(Same(p.from, {0, 2, 5, 4}));
  EXPECT_TRUE(Same(p.to, {1, 0, 5, 4}));

  // A sliver never vanishes: one pixel of height stays one.
  p = PlaceScaled(TScaleType::LetterBox, 1000, 1, 10, 10);
  EXPECT_TRUE(Same(p.to, {0, 4, 10, 1}));
  p = PlaceScaled(TScaleType::Crop, 1, 1000, 10, 10);
  EXPECT_TRUE(Same(p.from, {0, 499, 1, 1}));
}

}  // namespace
