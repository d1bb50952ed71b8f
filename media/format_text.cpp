#include "media/format_text.h"

#include <charconv>
#include <cstdlib>

#include "media/colour_formats.h"
#include "media/format_table.h"
#include "media/video_format.h"

namespace {

struct TExtraName {
  uint32_t code;
  const wchar_t* name;
};

// Codes a picture from the platform's bitmap and media interfaces may carry besides the table's own.
constexpr TExtraName kExtraNames[] = {
    {0, L"BI_RGB"},         {1, L"BI_RLE8"},        {2, L"BI_RLE4"},          {3, L"BI_BITFIELDS"},
    {0xE436EB78, L"RGB1"},  {0xE436EB79, L"RGB4"},  {0x297C55AF, L"ARGB1555"}, {0x6E6415E6, L"ARGB4444"},
};

bool IsAsciiAlnum(uint32_t c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

// Fixed-point text independent of the C runtime, so that both platforms print the same digits.
std::wstring Fixed(double value, int precision) {
  char buf[64];
  const auto res = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed, precision);
  if (res.ec != std::errc{}) return L"?";
  return std::wstring(buf, res.ptr);
}

std::wstring Hex(uint32_t value) {
  char buf[16];
  const auto res = std::to_chars(buf, buf + sizeof buf, value, 16);
  std::wstring out = L"0x";
  for (const char* p = buf; p != res.ptr; ++p) out += static_cast<wchar_t>(*p >= 'a' ? *p - 'a' + 'A' : *p);
  return out;
}

std::wstring ScanText(int32_t scan, bool shortForm) {
  switch (scan) {
    case 0: return shortForm ? L"A" : L"";
    case 1: return L"iT";
    case 2: return L"iB";
    case 3: return L"p";
    case 4: return L"INV";
    case 5: return L"OF";
    default: return L"ER";
  }
}

std::wstring AspectText(const TVideoProps& v) {
  if (v.aspectX <= 0 || v.aspectY <= 0) return L"";
  return L" " + std::to_wstring(v.aspectX) + L":" + std::to_wstring(v.aspectY);
}

}  // namespace

std::wstring ColourName(uint32_t code) {
  bool letters = true;
  std::wstring fourCC;
  for (int i = 0; i < 4; ++i) {
    const uint32_t c = (code >> (8 * i)) & 0xFF;
    letters = letters && IsAsciiAlnum(c);
    fourCC += static_cast<wchar_t>(c);
  }
  if (letters) return fourCC;
  if (const TColourInfo* info = ColourInfo(code)) return info->name;
  for (const TExtraName& e : kExtraNames) {
    if (e.code == code) return e.name;
  }
  return Hex(code);
}

std::wstring VideoText(const TVideoProps& record, bool shortForm) {
  TVideoProps v = record;
  VideoNormalise(v, false);
  if (FormatIndex(v.videoFormat) == eTVF_Disabled) return shortForm ? L"-" : L"<None>";
  if (!VideoIsValid(v) || !VideoFormatRow(v.videoFormat)) return shortForm ? L"-" : L"<Auto/Not Specified>";

  const std::wstring colour = v.colourFormat ? ColourName(v.colourFormat) : L"";
  const std::wstring scan = ScanText(v.scan, shortForm);
  const std::wstring aspect = AspectText(v);
  if (shortForm) {
    return (colour.empty() ? L"DEF" : colour) + L" " + std::to_wstring(v.width) + L"(" +
           std::to_wstring(v.rowBytes) + L")x" + std::to_wstring(v.height) + L"@" + Fixed(v.frameRate, 3) + scan +
           aspect;
  }
  std::wstring text;
  if (v.videoFormat & kLayoutPacking) {
    if (const wchar_t* layout = LayoutText(v.videoFormat)) text = std::wstring(layout) + L" ";
  }
  const int32_t index = FormatIndex(v.videoFormat);
  if (index != eTVF_Custom) {
    text += std::wstring(VideoFormatRow(index)->shortName) + L" ";
  }
  if (!colour.empty()) text += colour + L" ";
  return text + std::to_wstring(v.width) + L"x" + std::to_wstring(v.height) + L"@" + Fixed(v.frameRate, 2) + scan +
         aspect;
}

std::wstring AudioText(const TAudioProps& a) {
  if (a.channels < 0) return L"<None>";
  if (!AudioIsValid(a)) return L"<Auto/Not Specified>";
  std::wstring text = std::to_wstring(a.sampleRate) + L" Hz, " + std::to_wstring(a.channels) + L" Ch, " +
                      std::to_wstring(std::abs(a.bitsPerSample)) + L"-bit";
  return a.bitsPerSample < 0 ? text + L" (float)" : text;
}
