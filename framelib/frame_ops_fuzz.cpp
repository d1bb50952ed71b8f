// Fuzz target of the frame operations that draw and convert: the input bytes make two small frames and
// then choose a run of FrameConvert, MarkupFill, TextDraw and Overlay calls with their sizes, positions,
// opacities and texts. Frames stay tiny so that a run makes many calls. Besides crashes and sanitizer
// reports it checks what every caller relies on: a failed call leaves the picture as it was, a convert
// never changes its source, and the drawing calls never touch pixels wholly outside their rectangle.
#include <fuzzer/FuzzedDataProvider.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "CVDeviceSCR.h"
#include "framelib/frame_factory.h"
#include "framelib/frame_fill.h"
#include "framelib/picture_layout.h"
#include "media/auto_obj.h"
#include "media/colour_formats.h"

namespace {

using FramePtr = TRefPtr<ICVFrame_I>;

void Require(bool condition) {
  if (!condition) __builtin_trap();
}

constexpr uint32_t kColours[] = {kColourARGB32, kColourRGB32, kColourHDYC, kColourUYVY, kColourYUY2,
                                 kColourYVYU,   kColourRGB24, kColourNV12, kColourV210, 0};

// Pieces of the texts the engine hands over, so that short inputs reach the readers' inner branches.
const char* const kWords[] = {
    "color=",        "width=",         "height=",      " ",          "'",           "\"",
    "Black(170)",    "#80FF0000",      "0x80FF8000",   "#F80",       "yellow(136)", "Transparent",
    "Default(40)",   "tw",             "(0.5)",        "scale-type='", "letter-box", "ignore-ar",
    "crop",          "no-scale",       "none",         "default",    " async_id='screen-cap'",
    "face='Consolas'", "bg-color='black(100)'", "color='white'", "-12", "99999999999", "0"};

std::wstring ConsumeText(FuzzedDataProvider& in) {
  std::wstring text;
  const int pieces = in.ConsumeIntegralInRange(0, 6);
  for (int i = 0; i < pieces; ++i) {
    if (in.ConsumeBool()) {
      const char* word = kWords[in.ConsumeIntegralInRange<size_t>(0, std::size(kWords) - 1)];
      text.append(word, word + std::strlen(word));
    } else {
      for (char c : in.ConsumeRandomLengthString(12)) text.push_back(static_cast<wchar_t>(static_cast<uint8_t>(c)));
    }
  }
  return text;
}

double ConsumeNumber(FuzzedDataProvider& in, double lo, double hi) {
  switch (in.ConsumeIntegralInRange(0, 7)) {
    case 0: return std::numeric_limits<double>::quiet_NaN();
    case 1: return in.ConsumeBool() ? 1e300 : -1e300;
    case 2: return in.ConsumeFloatingPoint<double>();
    case 3: return std::round(in.ConsumeFloatingPointInRange(lo, hi));
    default: return in.ConsumeFloatingPointInRange(lo, hi);
  }
}

FramePtr MakeFrame(FuzzedDataProvider& in) {
  TVideoProps v{};
  v.colourFormat = kColours[in.ConsumeIntegralInRange<size_t>(0, std::size(kColours) - 1)];
  v.width = in.ConsumeIntegralInRange(0, 12);
  v.height = in.ConsumeIntegralInRange(-9, 9);
  v.rowBytes = in.ConsumeBool() ? 0 : in.ConsumeIntegralInRange(0, 64);
  v.frameRate = 25;
  TPictureLayout layout{};
  std::vector<uint8_t> pixels;
  if (PictureLayoutOf(v, &layout) == TPictureKind::Picture) {
    pixels = in.ConsumeBytes<uint8_t>(static_cast<size_t>(layout.imageBytes));
    pixels.resize(static_cast<size_t>(layout.imageBytes), 0x5A);
  }
  ICVFrame_I* frame = nullptr;
  TRefPtr<ICVFactory> factory = TRefPtr<ICVFactory>::Adopt(GetFrameFactory());
  if (FAILED(factory->FrameCreate(&v, reinterpret_cast<uintptr_t>(pixels.data()), 0, 0, 0, &frame, nullptr)))
    Require(frame == nullptr);
  if (!frame) factory->FrameAlloc(in.ConsumeIntegralInRange(0, 64), &frame);  // a frame without a picture
  return FramePtr::Adopt(frame);
}

// The picture as it is now, with its layout; empty without one.
struct TSnapshot {
  TVideoProps video{};
  TPictureLayout layout{};
  std::vector<uint8_t> bytes;
};

TSnapshot Snap(ICVFrame_I* frame) {
  TSnapshot s;
  TAvProps props{};
  frame->FormatGet(&props, nullptr);
  s.video = props.video;
  uint8_t* pixels = nullptr;
  if (PictureLayoutOf(s.video, &s.layout) == TPictureKind::Picture && frame->PixelsGet(0, &pixels) == S_OK)
    s.bytes.assign(pixels, pixels + s.layout.imageBytes);
  return s;
}

// Pixels of a 32-bit RGB picture that lie wholly outside [x0, x1) x [y0, y1) kept their bytes from
// `first` on; with an empty rectangle, every pixel.
void RequireOutsideKept(const TSnapshot& before, const TSnapshot& after, double x0, double x1, double y0, double y1,
                        int first = 0) {
  Require(before.bytes.size() == after.bytes.size());
  if (before.video.colourFormat != kColourARGB32 && before.video.colourFormat != kColourRGB32) return;
  for (int32_t y = 0; y < before.layout.lines; ++y) {
    for (int32_t x = 0; x < before.video.width; ++x) {
      const bool outside = x + 1 <= x0 || x >= x1 || y + 1 <= y0 || y >= y1 || std::isnan(x0 + x1 + y0 + y1);
      if (!outside) continue;
      const size_t at = static_cast<size_t>(PictureLineOffset(before.layout, y)) + static_cast<size_t>(x) * 4;
      Require(std::memcmp(&before.bytes[at + first], &after.bytes[at + first], static_cast<size_t>(4 - first)) == 0);
    }
  }
}

void Convert(FuzzedDataProvider& in, FramePtr& frame) {
  const uint32_t colour = kColours[in.ConsumeIntegralInRange<size_t>(0, std::size(kColours) - 1)];
  const int32_t width = in.ConsumeIntegralInRange(-3, 24);
  const int32_t height = in.ConsumeIntegralInRange(-16, 16);
  const std::wstring options = ConsumeText(in);
  const bool noOptions = in.ConsumeBool();
  const std::wstring hints = ConsumeText(in);
  const bool noHints = in.ConsumeBool();
  const TSnapshot before = Snap(frame.Get());
  ICVFrame_I* out = reinterpret_cast<ICVFrame_I*>(1);
  const HRESULT hr = frame->FrameConvert(colour, width, height, 0, &out, noOptions ? nullptr : options.c_str(),
                                         noHints ? nullptr : hints.c_str());
  Require(Snap(frame.Get()).bytes == before.bytes);
  if (FAILED(hr)) {
    Require(out == nullptr);
    return;
  }
  Require(out != nullptr);
  frame = FramePtr::Adopt(out);  // go on drawing on the converted frame
}

void Fill(FuzzedDataProvider& in, ICVFrame_I* frame) {
  const int32_t x = in.ConsumeBool() ? in.ConsumeIntegral<int32_t>() : in.ConsumeIntegralInRange(-8, 16);
  const int32_t y = in.ConsumeBool() ? in.ConsumeIntegral<int32_t>() : in.ConsumeIntegralInRange(-8, 16);
  const double opacity = ConsumeNumber(in, -0.5, 1.5);
  const int32_t w = in.ConsumeIntegralInRange(-4, 20);
  const int32_t h = in.ConsumeIntegralInRange(-4, 20);
  std::wstring markup;
  if (in.ConsumeBool())
    markup = L"color=" + ConsumeText(in) + L" width=" + std::to_wstring(w) + L" height=" + std::to_wstring(h);
  else
    markup = ConsumeText(in);
  const TSnapshot before = Snap(frame);
  const HRESULT hr = frame->MarkupFill(0, 0, x, y, opacity, markup.c_str(), 0);
  const TSnapshot after = Snap(frame);
  if (hr != S_OK) {
    Require(after.bytes == before.bytes);
    return;
  }
  const TFillMarkup m = ParseFillMarkup(markup.c_str());
  RequireOutsideKept(before, after, x, static_cast<double>(x) + m.width, y, static_cast<double>(y) + m.height);
  // Inside too, the fourth byte of a 32-bit RGB pixel is the picture's.
  RequireOutsideKept(before, after, 0, 0, 0, 0, 3);
}

void Text(FuzzedDataProvider& in, ICVFrame_I* frame) {
  const std::wstring text = ConsumeText(in);
  const double size = ConsumeNumber(in, -4, 40);
  TTextPlacement placement{ConsumeNumber(in, -2, 20), ConsumeNumber(in, -2, 20), ConsumeNumber(in, -2, 20),
                           ConsumeNumber(in, -2, 20), in.ConsumeIntegralInRange(0, 2)};
  const int32_t alignment = in.ConsumeIntegralInRange(-1, 40);
  const std::wstring style = ConsumeText(in);
  const bool nulls = in.ConsumeIntegralInRange(0, 7) == 0;
  const TSnapshot before = Snap(frame);
  const HRESULT hr = frame->TextDraw(nulls ? nullptr : text.c_str(), size, nulls ? nullptr : &placement, alignment,
                                     nulls ? nullptr : style.c_str());
  if (FAILED(hr)) Require(Snap(frame).bytes == before.bytes);
}

void Overlay(FuzzedDataProvider& in, ICVFrame_I* target, ICVFrame_I* source) {
  TOverlayRect r{ConsumeNumber(in, -12, 16), ConsumeNumber(in, -12, 16), ConsumeNumber(in, -2, 24),
                 ConsumeNumber(in, -2, 24)};
  const int32_t flags = in.ConsumeIntegralInRange(0, 4);
  const double opacity = ConsumeNumber(in, -0.5, 1.5);
  const TSnapshot before = Snap(target);
  const HRESULT hr = target->Overlay(source, 0, &r, flags, opacity, 0, 0);
  const TSnapshot after = Snap(target);
  if (hr != S_OK) {
    Require(after.bytes == before.bytes);
    return;
  }
  RequireOutsideKept(before, after, r.x, r.x + r.width, r.y, r.y + r.height);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  FramePtr a = MakeFrame(in);
  FramePtr b = MakeFrame(in);
  if (!a || !b) return 0;
  for (int step = 0; step < 12 && in.remaining_bytes() > 0; ++step) {
    const bool swap = in.ConsumeBool();
    FramePtr& target = swap ? b : a;
    FramePtr& other = swap ? a : b;
    switch (in.ConsumeIntegralInRange(0, 3)) {
      case 0: Convert(in, target); break;
      case 1: Fill(in, target.Get()); break;
      case 2: Text(in, target.Get()); break;
      default: Overlay(in, target.Get(), in.ConsumeIntegralInRange(0, 5) == 0 ? target.Get() : other.Get()); break;
    }
  }
  return 0;
}
