#include "platform/settings_file_format.h"

#include <gtest/gtest.h>

#include <string>

namespace cvplat {
namespace {

SettingValue Value(const std::wstring& name, SettingKind kind, uint64_t number, const std::wstring& text = L"") {
  SettingValue v;
  v.name = name;
  v.kind = kind;
  if (kind == SettingKind::kDword) v.dword = static_cast<uint32_t>(number);
  if (kind == SettingKind::kQword) v.qword = number;
  v.text = text;
  return v;
}

SettingsTable Parse(std::string_view text) {
  SettingsTable table;
  ParseSettingsFile(text, &table);
  return table;
}

// The one named entry of a one-line file: its result and value.
HRESULT ParseOne(std::string_view line, SettingValue* value) {
  SettingsTable table = Parse(line);
  EXPECT_EQ(table.NamedCount(), 1u) << line;
  return table.Enum(0, value);
}

TEST(SettingsFileFormat, WritesEachKindAsAPersonWouldReadIt) {
  EXPECT_EQ(FormatSettingLine(Value(L"capture.screenshot_timeout", SettingKind::kDword, 15)),
            "capture.screenshot_timeout = dword:15");
  EXPECT_EQ(FormatSettingLine(Value(L"a", SettingKind::kDword, 0xFFFFFFFF)), "a = dword:4294967295");
  EXPECT_EQ(FormatSettingLine(Value(L"big", SettingKind::kQword, 0xFFFFFFFFFFFFFFFFull)),
            "big = qword:18446744073709551615");
  EXPECT_EQ(FormatSettingLine(Value(L"capture.fps_limit", SettingKind::kString, 0, L"30.0")),
            "capture.fps_limit = \"30.0\"");
  EXPECT_EQ(FormatSettingLine(Value(L"p", SettingKind::kExpandString, 0, L"%HOME%")), "p = expand:\"%HOME%\"");
  EXPECT_EQ(FormatSettingLine(Value(L"", SettingKind::kString, 0, L"")), "\"\" = \"\"");
  EXPECT_EQ(FormatSettingLine(Value(L"a = \"b\"", SettingKind::kString, 0, L"q\"\\\n\r\t\x01\x7f\u00e9")),
            "\"a = \\\"b\\\"\" = \"q\\\"\\\\\\n\\r\\t\\u{1}\\u{7F}\xC3\xA9\"");
  EXPECT_EQ(FormatSettingLine(Value(L"#x", SettingKind::kDword, 1)), "\"#x\" = dword:1") << "not a comment";
}

TEST(SettingsFileFormat, ReadsNumbersInDecimalHexadecimalAndNegativeForm) {
  SettingValue v;
  ASSERT_EQ(ParseOne("a = dword:15", &v), S_OK);
  EXPECT_EQ(v.kind, SettingKind::kDword);
  EXPECT_EQ(v.dword, 15u);
  ASSERT_EQ(ParseOne("a=DWORD:0x0000000F  ", &v), S_OK);
  EXPECT_EQ(v.dword, 15u);
  ASSERT_EQ(ParseOne("a = dword:-1", &v), S_OK);
  EXPECT_EQ(v.dword, 0xFFFFFFFFu);
  ASSERT_EQ(ParseOne("a = dword:-2147483648", &v), S_OK);
  EXPECT_EQ(v.dword, 0x80000000u);
  ASSERT_EQ(ParseOne("a = qword:0x0000000000000010", &v), S_OK);
  EXPECT_EQ(v.kind, SettingKind::kQword);
  EXPECT_EQ(v.qword, 16u);
  ASSERT_EQ(ParseOne("a = qword:18446744073709551615", &v), S_OK);
  EXPECT_EQ(v.qword, 0xFFFFFFFFFFFFFFFFull);
  ASSERT_EQ(ParseOne("a = qword:-9223372036854775808", &v), S_OK);
  EXPECT_EQ(v.qword, 0x8000000000000000ull);

  for (const char* bad : {"a = dword:4294967296", "a = dword:-2147483649", "a = dword:0x100000000", "a = dword:",
                          "a = dword:12x", "a = dword: 1", "a = dword:0x", "a = dword:--1",
                          "a = qword:18446744073709551616", "a = qword:-9223372036854775809", "a = qword:1.5"}) {
    EXPECT_EQ(ParseOne(bad, &v), CV_E_SETTING_BAD_DATA) << bad;
    EXPECT_EQ(v.name, L"a") << "bad data keeps its name: " << bad;
  }
}

TEST(SettingsFileFormat, ReadsTextsWithEscapesAndRefusesBrokenOnes) {
  SettingValue v;
  ASSERT_EQ(ParseOne("a = \"x\\\"\\\\\\n\\r\\t\\u{41}\\u{1F600}\xC3\xA9\"", &v), S_OK);
  EXPECT_EQ(v.kind, SettingKind::kString);
  EXPECT_EQ(v.text, L"x\"\\\n\r\tA\U0001F600\u00e9");
  ASSERT_EQ(ParseOne("  \"\" = expand:\"%TEMP%\\\\x\"\r", &v), S_OK) << "the default value, CR LF line end";
  EXPECT_EQ(v.name, L"");
  EXPECT_EQ(v.kind, SettingKind::kExpandString);
  EXPECT_EQ(v.text, L"%TEMP%\\x");

  for (const char* bad : {"a = \"open", "a = \"x\" y", "a = \"\\q\"", "a = \"\\u{}\"", "a = \"\\u{0}\"",
                          "a = \"\\u{123456789}\"", "a = \"\\u{41\"", "a = \"\xC3\"", "a = \"\xED\xA0\x80\"",
                          "a = \"\xC0\xAF\"", "a = expand:", "a = 15", "a =", "a = text"}) {
    EXPECT_EQ(ParseOne(bad, &v), CV_E_SETTING_BAD_DATA) << bad;
  }
  EXPECT_EQ(ParseOne(std::string_view("a = \"x\0y\"", 9), &v), CV_E_SETTING_BAD_DATA) << "a zero in a text";
}

TEST(SettingsFileFormat, KeepsValuesOfOtherKindsAndLinesWithoutValues) {
  const std::string text =
      "# comment\n"
      "\n"
      "blob = hex:01,02,03\n"
      "no equals sign here\n"
      "=\"no name\"\n"
      "\"unterminated name = \"x\"\n"
      "bad\xFFname = dword:1\n"
      "good = dword:2\n";
  SettingsTable table = Parse(text);
  ASSERT_EQ(table.NamedCount(), 2u);
  SettingValue v;
  ASSERT_EQ(table.Enum(0, &v), S_OK);
  EXPECT_EQ(v.name, L"blob");
  EXPECT_EQ(v.kind, SettingKind::kOther);
  ASSERT_EQ(table.Enum(1, &v), S_OK);
  EXPECT_EQ(v.name, L"good");
  EXPECT_EQ(table.Enum(2, &v), CV_E_SETTING_NO_MORE);
  EXPECT_EQ(FormatSettingsFile(table), text) << "a file comes back as it was written";
}

TEST(SettingsFileFormat, LaterLineOfANameWinsAndASetKeepsEverythingElse) {
  SettingsTable table = Parse(
      "\xEF\xBB\xBF# kept\n"
      "Capture.Frame_Size = \"1920x1080\"\n"
      "capture.frame_size = \"1280x720\"\n"
      "broken = dword:x\n"
      "after = qword:0x10");
  ASSERT_EQ(table.NamedCount(), 3u);
  SettingValue v;
  ASSERT_EQ(table.Enum(0, &v), S_OK);
  EXPECT_EQ(v.name, L"capture.frame_size");
  EXPECT_EQ(v.text, L"1280x720");
  EXPECT_EQ(table.Enum(1, &v), CV_E_SETTING_BAD_DATA);
  EXPECT_EQ(v.name, L"broken");

  ASSERT_EQ(table.Set(Value(L"BROKEN", SettingKind::kDword, 3)), S_OK);
  ASSERT_EQ(table.Set(Value(L"new", SettingKind::kString, 0, L"v")), S_OK);
  EXPECT_EQ(FormatSettingsFile(table),
            "\xEF\xBB\xBF# kept\n"
            "capture.frame_size = \"1280x720\"\n"
            "broken = dword:3\n"
            "after = qword:0x10\n"
            "new = \"v\"\n");
}

TEST(SettingsFileFormat, AnyValueSurvivesWritingAndReading) {
  SettingsTable table;
  std::wstring every;
  for (wchar_t c = 1; c < 0x300; ++c) every.push_back(c);
  every += L"\uFEFF\uFFFF\U00010000\U0010FFFF";
  if constexpr (sizeof(wchar_t) == 4) {
    every.push_back(static_cast<wchar_t>(0xD800));  // not Unicode, but a wide text can hold it
    every.push_back(static_cast<wchar_t>(0x7FFFFFFF));
  } else {
    every.push_back(static_cast<wchar_t>(0xDC00));  // a lone surrogate
  }
  const SettingValue values[] = {
      Value(every, SettingKind::kString, 0, every),
      Value(L" spaced name ", SettingKind::kExpandString, 0, L" spaced text "),
      Value(L"", SettingKind::kString, 0, L"default"),
      Value(L"d", SettingKind::kDword, 0x80000000u),
      Value(L"q", SettingKind::kQword, 0xFEDCBA9876543210ull),
      Value(std::wstring(kSettingMaxNameChars, L'n'), SettingKind::kString, 0, L""),
  };
  for (const SettingValue& value : values) ASSERT_EQ(table.Set(value), S_OK);
  EXPECT_EQ(table.Set(Value(std::wstring(kSettingMaxNameChars + 1, L'n'), SettingKind::kDword, 1)), E_INVALIDARG);

  SettingsTable back = Parse(FormatSettingsFile(table));
  ASSERT_EQ(back.NamedCount(), std::size(values));
  for (uint32_t i = 0; i < std::size(values); ++i) {
    SettingValue v;
    HRESULT hr = back.Enum(i, &v);
    if (values[i].name.size() >= kSettingNameBufferChars) {
      EXPECT_EQ(hr, CV_E_SETTING_NAME_TOO_LONG);
      EXPECT_EQ(back.entries()[i].value.name, values[i].name);
      continue;
    }
    ASSERT_EQ(hr, S_OK) << i;
    EXPECT_EQ(v.name, values[i].name) << i;
    EXPECT_EQ(v.kind, values[i].kind) << i;
    EXPECT_EQ(v.dword, values[i].dword) << i;
    EXPECT_EQ(v.qword, values[i].qword) << i;
    EXPECT_EQ(v.text, values[i].text) << i;
  }
}

TEST(SettingsFileFormat, WideToUtf8RefusesTextThatIsNotUnicode) {
  std::string utf8;
  ASSERT_TRUE(WideToUtf8(L"a\u00e9\u4e2d\U0001F600", &utf8));
  EXPECT_EQ(utf8, "a\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80");
  EXPECT_FALSE(WideToUtf8(std::wstring(1, static_cast<wchar_t>(0xD800)), &utf8));
}

}  // namespace
}  // namespace cvplat
