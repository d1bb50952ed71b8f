#include <gtest/gtest.h>

#include <string>

#include "props/value_codecs.h"

namespace {

struct ColourCase {
  const wchar_t* text;
  Colour expected;
};

void ExpectColours(const ColourCase* begin, const ColourCase* end, Colour defaultColour) {
  for (const ColourCase* c = begin; c != end; ++c)
    EXPECT_EQ(ParseColor(c->text, defaultColour), c->expected)
        << testing::PrintToString(std::wstring(c->text)) << " with default " << std::hex << defaultColour;
}

TEST(ParseColor, NamesIgnoreCaseAndTakeAnAlpha) {
  const ColourCase cases[] = {
      {L"Red", 0xFF0000FF},          {L"RED", 0xFF0000FF},        {L"red(128)", 0x800000FF},
      {L"Red(0.5)", 0x800000FF},     {L"Red(1)", 0x010000FF},     {L"Red(1.0)", 0xFF0000FF},
      {L"Red(0)", 0x000000FF},       {L"Red()", 0x000000FF},      {L"Red(300)", 0xFF0000FF},
      {L"Red(-5)", 0x000000FF},      {L"Red(2.5)", 0xFF0000FF},   {L"Red(127.5)", 0xFF0000FF},
      {L"Red(0.25", 0x400000FF},     {L"Red(1e2)", 0x640000FF},   {L"Red(nan)", 0x000000FF},
      {L"Red(inf)", 0xFF0000FF},     {L"Red(50%)", 0x320000FF},   {L"Red(0.5)junk", 0x800000FF},
      {L"cyan", 0xFFFFFF00},         {L"Aqua", 0xFFFFFF00},       {L"Orange", 0xFF00A5FF},
      {L"OrangeRed", 0xFF0045FF},    {L"Brown", 0xFF13458B},      {L"Pink", 0xFF8080FF},
      {L"tarnwell", 0xFF8A5406},     {L"TW", 0xFF8A5406},         {L"Tarnwell-Light", 0xFFB29000},
      {L"twl", 0xFFB29000},          {L"TWLight(16)", 0x10B29000}, {L"Black(170)", 0xAA000000},
      {L"Transparent", 0x00000000},  {L"Transparent(200)", 0},   {L"Grey,Blue", 0xFF808080},
  };
  ExpectColours(std::begin(cases), std::end(cases), 0);
}

TEST(ParseColor, DefaultAndBareAlphaKeepTheDefaultColour) {
  const ColourCase cases[] = {
      {L"(40)", 0x28123456},   {L"Default", 0x80123456}, {L"default(255)", 0xFF123456},
      {L"DEFAULT(0.5)", 0x80123456}, {L"nonsense", 0x80123456}, {L"", 0x80123456},
      {L" Red", 0x80123456},   {L"Red ", 0x80123456},     {L"ff0000", 0x80123456},
      {L",Red", 0x80123456},   {L"#", 0xFF000000},        {L"#xyz", 0xFF000000},
  };
  ExpectColours(std::begin(cases), std::end(cases), 0x80123456);
  EXPECT_EQ(ParseColor(L"(40)", 0), 0x28000000u);
}

TEST(ParseColor, NumbersAreWrittenRedFirst) {
  const ColourCase cases[] = {
      {L"#FF0000", 0xFF0000FF},      {L"FF0000", 0xFF0000FF},      {L"#ff8000", 0xFF0080FF},
      {L"#F00", 0xFF0000FF},         {L"#F80", 0xFF0088FF},        {L"#80FF0000", 0x800000FF},
      {L"#FF0000(128)", 0x800000FF}, {L"#80FF0000(16)", 0x800000FF}, {L"0x00FF00", 0xFF00FF00},
      {L"0x0000FF", 0xFFFF0000},     {L"A0B0C0", 0xFFC0B0A0},      {L"1F2F3F", 0xFF3F2F1F},
      {L"#00FF00;rest", 0xFF00FF00}, {L"#1234", 0xFF341200},        {L"#12345", 0xFF452301},
  };
  ExpectColours(std::begin(cases), std::end(cases), 0);
}

TEST(ParseColor, DigitsOnlyTextsKeepTheirAutomaticBase) {
  const ColourCase cases[] = {
      // Below six characters a number is a short form of three hex digits: 123 is 0x07B.
      {L"123", 0xFFBB7700},
      {L"16711680", 0xFF0000FF},  // 0xFF0000 in decimal
      {L"4278190335", 0xFFFF0000},  // ten characters: its own top byte, 0xFF, is the alpha
      {L"0x123", 0xFF332211},
      {L"0x1234567", 0x01674523},  // nine characters: alpha 0x01
      {L"0123456", 0xFF2EA700},  // octal 0xA72E
  };
  ExpectColours(std::begin(cases), std::end(cases), 0);
}

TEST(ParseColor, LongTextsAreCutToWhatTheFormsCanHold) {
  // At most 13 characters reach the number reader; past 32 bits it saturates.
  EXPECT_EQ(ParseColor(L"#123456789ABCDEF", 0), 0xFFFFFFFFu);
  EXPECT_EQ(ParseColor(L"#000080FF0000", 0), 0x0800F00Fu);  // read as 0x000080FF000
  // Only the first 63 characters are looked at, so a late "(" is never seen.
  EXPECT_EQ(ParseColor(L"#FF0000" + std::wstring(56, L' ') + L"(16)", 0), 0xFF0000FFu);
  EXPECT_EQ(ParseColor(L"#FF0000" + std::wstring(53, L' ') + L"(16)", 0), 0x100000FFu);
  EXPECT_EQ(ParseColor(L"#FF0000" + std::wstring(54, L' ') + L"(16)", 0), 0x010000FFu);  // "(1" seen
  EXPECT_EQ(ParseColor(std::wstring(L"Red") + L'\0' + L"(16)", 0), 0xFF0000FFu);
  EXPECT_EQ(ParseColor(std::wstring(100000, L'('), 0x11223344), 0x00223344u);
}

TEST(ColorToText, NamesWhereTheTableHasOneElseRedFirstHex) {
  EXPECT_EQ(ColorToText(0x8800FFFF), L"Yellow(136)");
  EXPECT_EQ(ColorToText(0xAA000000), L"Black(170)");
  EXPECT_EQ(ColorToText(0xFF102030), L"#302010");
  EXPECT_EQ(ColorToText(0x00102030), L"#302010(0)");
  EXPECT_EQ(ColorToText(0xFF0000FF), L"Red");
  EXPECT_EQ(ColorToText(0xFFFFFF00), L"Aqua");
  EXPECT_EQ(ColorToText(0x018A5406), L"TW(1)");
  EXPECT_EQ(ColorToText(0xFFB29000), L"TWL");
  EXPECT_EQ(ColorToText(0x00000000), L"Black(0)");
  EXPECT_EQ(ColorToText(0xFEABCDEF), L"#EFCDAB(254)");
}

TEST(ColorToText, EveryColourReadsBackAsItself) {
  // Every alpha over a spread of colours, with every name and the values around them.
  for (uint32_t alpha = 0; alpha < 256; ++alpha) {
    for (uint32_t bgr = 0; bgr < 0x01000000; bgr += 0x010101 * 7 + 0x3F) {
      const Colour c = (alpha << 24) | bgr;
      ASSERT_EQ(ParseColor(ColorToText(c), ~c), c) << std::hex << c;
    }
    for (uint32_t bgr : {0x00A5FFu, 0x0045FFu, 0xFFFF00u, 0x000000u, 0x8A5406u, 0xB29000u, 0xFFFFFFu, 0x8A5407u}) {
      const Colour c = (alpha << 24) | bgr;
      ASSERT_EQ(ParseColor(ColorToText(c), ~c), c) << std::hex << c;
    }
  }
}

}  // namespace
