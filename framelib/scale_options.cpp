#include "framelib/scale_options.h"

#include <algorithm>
#include <string_view>

namespace {

bool IsBlank(wchar_t c) { return c == L' ' || c == L'\t' || c == L'\r' || c == L'\n'; }

wchar_t Lower(wchar_t c) { return c >= L'A' && c <= L'Z' ? wchar_t(c - L'A' + L'a') : c; }

bool SameWord(std::wstring_view a, std::wstring_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](wchar_t x, wchar_t y) {
           return Lower(x) == Lower(y);
         });
}

std::wstring_view Trim(std::wstring_view v) {
  while (!v.empty() && IsBlank(v.front())) v.remove_prefix(1);
  while (!v.empty() && IsBlank(v.back())) v.remove_suffix(1);
  return v;
}

TScaleType ScaleTypeOf(std::wstring_view value) {
  static constexpr struct {
    const wchar_t* word;
    TScaleType type;
  } kTypes[] = {{L"default", TScaleType::Default},     {L"ignore-ar", TScaleType::IgnoreAspect},
                {L"letter-box", TScaleType::LetterBox}, {L"crop", TScaleType::Crop},
                {L"no-scale", TScaleType::NoScale},     {L"none", TScaleType::None}};
  for (const auto& t : kTypes) {
    if (SameWord(value, t.word)) return t.type;
  }
  return TScaleType::Default;
}

// round(a * b / c) for positive values, never below 1 nor above `most`.
int32_t ScaledSide(int32_t a, int32_t b, int32_t c, int32_t most) {
  const int64_t v = (2 * int64_t{a} * b + c) / (2 * int64_t{c});
  return int32_t(std::clamp<int64_t>(v, 1, most));
}

}  // namespace

TConvertOptions ParseConvertOptions(const wchar_t* text) {
  TConvertOptions out;
  if (!text) return out;
  std::wstring_view rest(text);
  while (!rest.empty()) {
    if (IsBlank(rest.front())) {
      rest.remove_prefix(1);
      continue;
    }
    size_t i = 0;
    while (i < rest.size() && !IsBlank(rest[i]) && rest[i] != L'=') ++i;
    const std::wstring_view name = rest.substr(0, i);
    if (i == rest.size() || rest[i] != L'=') {  // a word without a value: skip it
      rest.remove_prefix(i);
      continue;
    }
    rest.remove_prefix(i + 1);
    std::wstring_view value;
    if (!rest.empty() && (rest.front() == L'\'' || rest.front() == L'"')) {
      const size_t close = rest.find(rest.front(), 1);
      value = rest.substr(1, close == std::wstring_view::npos ? std::wstring_view::npos : close - 1);
      rest.remove_prefix(close == std::wstring_view::npos ? rest.size() : close + 1);
    } else {
      size_t end = 0;
      while (end < rest.size() && !IsBlank(rest[end])) ++end;
      value = rest.substr(0, end);
      rest.remove_prefix(end);
    }
    value = Trim(value);
    if (SameWord(name, L"scale-type")) {
      out.scaleType = ScaleTypeOf(value);
    } else if (SameWord(name, L"async_id")) {
      out.asyncId.assign(value);
    }
  }
  return out;
}

TScalePlacement PlaceScaled(TScaleType type, int32_t srcWidth, int32_t srcHeight, int32_t dstWidth,
                            int32_t dstHeight) {
  TScalePlacement p{{0, 0, srcWidth, srcHeight}, {0, 0, dstWidth, dstHeight}};
  // Which side binds: the source is relatively wider than the frame when w / h > W / H.
  const bool wider = int64_t{srcWidth} * dstHeight > int64_t{dstWidth} * srcHeight;
  switch (type) {
    case TScaleType::IgnoreAspect:
    case TScaleType::None:
      break;
    case TScaleType::Crop:
      if (wider) {
        p.from.width = ScaledSide(srcHeight, dstWidth, dstHeight, srcWidth);
        p.from.x = (srcWidth - p.from.width) / 2;
      } else {
        p.from.height = ScaledSide(srcWidth, dstHeight, dstWidth, srcHeight);
        p.from.y = (srcHeight - p.from.height) / 2;
      }
      break;
    case TScaleType::NoScale: {
      const int32_t w = std::min(srcWidth, dstWidth), h = std::min(srcHeight, dstHeight);
      p.from = {(srcWidth - w) / 2, (srcHeight - h) / 2, w, h};
      p.to = {(dstWidth - w) / 2, (dstHeight - h) / 2, w, h};
      break;
    }
    case TScaleType::Default:
    case TScaleType::LetterBox:
      if (wider) {
        p.to.height = ScaledSide(srcHeight, dstWidth, srcWidth, dstHeight);
        p.to.y = (dstHeight - p.to.height) / 2;
      } else {
        p.to.width = ScaledSide(srcWidth, dstHeight, srcHeight, dstWidth);
        p.to.x = (dstWidth - p.to.width) / 2;
      }
      break;
  }
  return p;
}
