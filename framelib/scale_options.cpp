#include "framelib/scale_options.h"

#include <algorithm>
#include <string_view>

#include "framelib/markup_items.h"

namespace {

std::wstring_view Trim(std::wstring_view v) {
  while (!v.empty() && cv_text::IsAsciiSpace(v.front())) v.remove_prefix(1);
  while (!v.empty() && cv_text::IsAsciiSpace(v.back())) v.remove_suffix(1);
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
    if (cv_text::EqualsNoCase(value, t.word)) return t.type;
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
  ForEachMarkupItem(text, [&out](std::wstring_view name, std::wstring_view value) {
    value = Trim(value);
    if (cv_text::EqualsNoCase(name, L"scale-type")) {
      out.scaleType = ScaleTypeOf(value);
    } else if (cv_text::EqualsNoCase(name, L"async_id")) {
      out.asyncId.assign(value);
    }
  });
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
