// The pointer through the cursor calls under a real window manager (or Wine's): where it is, the shape
// a window of the test sets, colour and monochrome, and their pictures.
#include <gtest/gtest.h>

#include <windows.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "platform/win32/cursor_win32.h"
#include "platform/win32_input_test_support.h"

namespace cvplat {
namespace {

constexpr int kSide = 16;
constexpr uint32_t kRed = 0xFFFF0000u;        // opaque
constexpr uint32_t kHalfBlue = 0x80000080u;   // half covered, straight alpha
constexpr uint32_t kFill = 0x11223344u;

uint64_t Id(HCURSOR cursor) { return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(cursor)); }

// A colour pointer with alpha: the left half opaque red, the top right quarter half covered blue, the
// bottom right quarter transparent. Hot spot (3, 5).
uint32_t ColourPixel(int x, int y) { return x < kSide / 2 ? kRed : y < kSide / 2 ? kHalfBlue : 0; }

HCURSOR ColourCursor() {
  BITMAPINFO info{};
  info.bmiHeader.biSize = sizeof info.bmiHeader;
  info.bmiHeader.biWidth = kSide;
  info.bmiHeader.biHeight = -kSide;
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  info.bmiHeader.biCompression = BI_RGB;
  void* bits = nullptr;
  const HBITMAP colour = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
  if (!colour) return nullptr;
  auto* pixels = static_cast<uint32_t*>(bits);
  for (int y = 0; y < kSide; ++y)
    for (int x = 0; x < kSide; ++x) pixels[y * kSide + x] = ColourPixel(x, y);
  const std::vector<uint8_t> zeros(kSide * kSide / 8, 0);
  const HBITMAP mask = CreateBitmap(kSide, kSide, 1, 1, zeros.data());
  ICONINFO icon{};
  icon.fIcon = FALSE;
  icon.xHotspot = 3;
  icon.yHotspot = 5;
  icon.hbmMask = mask;
  icon.hbmColor = colour;
  const HICON cursor = CreateIconIndirect(&icon);
  DeleteObject(mask);
  DeleteObject(colour);
  return cursor;
}

// A monochrome pointer in four quarters: top left black (AND 0, XOR 0), top right white (AND 0, XOR 1),
// bottom left transparent (AND 1, XOR 0), bottom right inverting (AND 1, XOR 1). Hot spot (2, 4).
enum Quarter { kBlack, kWhite, kClear, kInvert };
Quarter QuarterOf(int x, int y) {
  const bool right = x >= kSide / 2, bottom = y >= kSide / 2;
  return bottom ? (right ? kInvert : kClear) : (right ? kWhite : kBlack);
}

HCURSOR MonochromeCursor() {
  std::vector<uint8_t> andPlane(kSide * kSide / 8, 0), xorPlane(kSide * kSide / 8, 0);
  for (int y = 0; y < kSide; ++y) {
    for (int x = 0; x < kSide; ++x) {
      const uint8_t bit = static_cast<uint8_t>(0x80 >> (x % 8));
      const size_t at = static_cast<size_t>(y) * (kSide / 8) + x / 8;
      const Quarter q = QuarterOf(x, y);
      if (q == kClear || q == kInvert) andPlane[at] |= bit;
      if (q == kWhite || q == kInvert) xorPlane[at] |= bit;
    }
  }
  return CreateCursor(GetModuleHandleW(nullptr), 2, 4, kSide, kSide, andPlane.data(), xorPlane.data());
}

// How a pixel `s` with straight alpha lands on `d`, per byte, allowing one step of rounding.
bool NearOver(uint32_t got, uint32_t s, uint32_t d) {
  const uint32_t a = s >> 24;
  const uint32_t premultiplied = (s & 0xFF000000u) | ((s & 0xFF) * a / 255) | (((s >> 8) & 0xFF) * a / 255) << 8 |
                                 (((s >> 16) & 0xFF) * a / 255) << 16;
  const uint32_t want = PremultipliedOver(premultiplied, d);
  for (int shift = 0; shift < 32; shift += 8)
    if (std::abs(static_cast<int>((got >> shift) & 0xFF) - static_cast<int>((want >> shift) & 0xFF)) > 1) return false;
  return true;
}

TEST(Win32Cursor, ThePointerOfATestWindowItsShapesAndTheirPictures) {
  cvtest::Win32InputDriver driver;
  ASSERT_TRUE(driver.Ready());
  const std::shared_ptr<ICursor> cursor = OpenWin32Cursor();
  ASSERT_TRUE(cursor);
  const HCURSOR colour = ColourCursor();
  const HCURSOR mono = MonochromeCursor();
  ASSERT_TRUE(colour && mono);

  // The position is the hot spot's, the handle the cursor's.
  driver.UsePointer(Id(colour));
  driver.MoveTo(321, 234);
  CursorState state;
  ASSERT_TRUE(cursor->Query(&state));
  EXPECT_TRUE(state.showing);
  EXPECT_EQ(state.handle, Id(colour));
  EXPECT_EQ(state.x, 321);
  EXPECT_EQ(state.y, 234);
  CursorShape shape;
  ASSERT_TRUE(cursor->Shape(state.handle, &shape));
  EXPECT_EQ(shape.hotX, 3);
  EXPECT_EQ(shape.hotY, 5);
  EXPECT_TRUE(shape.colour);
  EXPECT_EQ(shape.width, kSide);
  EXPECT_EQ(shape.height, kSide);

  // Its picture at (0, 0) of a larger surface, at its own size: blended by its alpha, the rest untouched.
  const int width = kSide + 4, height = kSide + 2;
  std::vector<uint32_t> surface(size_t(width) * height, kFill);
  ASSERT_EQ(cursor->Render(state.handle, width, height, surface.data()), S_OK);
  int wrong = 0;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const uint32_t got = surface[size_t(y) * width + x];
      wrong += (x < kSide && y < kSide) ? !NearOver(got, ColourPixel(x, y), kFill) : got != kFill;
    }
  }
  EXPECT_EQ(wrong, 0);

  // The monochrome pointer: its mask holds both planes, and it is drawn once on black and once on
  // white, which between them tell each of its four kinds of pixel.
  driver.UsePointer(Id(mono));
  driver.MoveTo(100, 50);
  ASSERT_TRUE(cursor->Query(&state));
  EXPECT_EQ(state.handle, Id(mono));
  EXPECT_EQ(state.x, 100);
  EXPECT_EQ(state.y, 50);
  ASSERT_TRUE(cursor->Shape(state.handle, &shape));
  EXPECT_EQ(shape.hotX, 2);
  EXPECT_EQ(shape.hotY, 4);
  EXPECT_FALSE(shape.colour);
  EXPECT_EQ(shape.width, kSide);
  EXPECT_EQ(shape.height, 2 * kSide);
  std::vector<uint32_t> onBlack(size_t(kSide) * kSide, 0), onWhite(size_t(kSide) * kSide, 0xFFFFFFFFu);
  ASSERT_EQ(cursor->Render(state.handle, kSide, kSide, onBlack.data()), S_OK);
  ASSERT_EQ(cursor->Render(state.handle, kSide, kSide, onWhite.data()), S_OK);
  // What each kind gives on black and on white, all four bytes, as the engine's merge tells them
  // apart: the raster operations of a monochrome pointer clear the fourth byte.
  const uint32_t black[4] = {0, 0xFFFFFF, 0, 0xFFFFFF};
  const uint32_t white[4] = {0, 0xFFFFFF, 0xFFFFFF, 0};
  wrong = 0;
  for (int y = 0; y < kSide; ++y) {
    for (int x = 0; x < kSide; ++x) {
      const Quarter q = QuarterOf(x, y);
      wrong += onBlack[size_t(y) * kSide + x] != black[q];
      wrong += onWhite[size_t(y) * kSide + x] != white[q];
    }
  }
  EXPECT_EQ(wrong, 0);

  // An application that hides the pointer: it isn't showing, and stays where it was.
  driver.ShowPointer(false);
  ASSERT_TRUE(cursor->Query(&state));
  EXPECT_FALSE(state.showing);
  EXPECT_EQ(state.x, 100);
  driver.ShowPointer(true);
  ASSERT_TRUE(cursor->Query(&state));
  EXPECT_TRUE(state.showing);

  driver.UsePointer(0);
  DestroyCursor(mono);
  DestroyIcon(colour);
}

}  // namespace
}  // namespace cvplat
