// The pointer through XFixes on a real X server: where it is, the shape a client sets, and its picture.
// gtest comes first: Xlib defines macros such as None and Bool that its templates would trip on.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/linux/cursor_x11.h"

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
// A size class of Xlib's, in the way of the seam's type of the same name.
#undef CursorShape

namespace cvplat {
namespace {

constexpr int kSide = 16;
constexpr uint32_t kRed = 0xFFFF0000u;   // the cursor's foreground, opaque
constexpr uint32_t kBlue = 0xFF0000FFu;  // its background
constexpr uint32_t kFill = 0x11223344u;

// The test cursor: opaque on columns 1 .. 10 of rows 2 .. 13, red on the left five of them, blue on
// the right five; transparent elsewhere.
bool Opaque(int x, int y) { return x >= 1 && x <= 10 && y >= 2 && y <= 13; }
bool Red(int x, int y) { return Opaque(x, y) && x <= 5; }
uint32_t Expected(int x, int y) { return !Opaque(x, y) ? kFill : Red(x, y) ? kRed : kBlue; }

// A bitmap of kSide x kSide pixels in the X bitmap layout: rows of two bytes, least significant bit first.
Pixmap Bitmap(Display* display, bool (*set)(int, int)) {
  std::vector<char> bits(kSide * kSide / 8, 0);
  for (int y = 0; y < kSide; ++y)
    for (int x = 0; x < kSide; ++x)
      if (set(x, y)) bits[y * (kSide / 8) + x / 8] = static_cast<char>(bits[y * (kSide / 8) + x / 8] | (1 << (x % 8)));
  return XCreateBitmapFromData(display, DefaultRootWindow(display), bits.data(), kSide, kSide);
}

void MovePointer(Display* display, int x, int y) {
  XTestFakeMotionEvent(display, -1, x, y, CurrentTime);
  XSync(display, False);
}

TEST(X11Cursor, FollowsThePointerAndTheShapeAClientSets) {
  Display* display = XOpenDisplay(nullptr);
  if (!display) GTEST_SKIP() << "no X display";
  const std::shared_ptr<ICursor> cursor = OpenX11Cursor();
  ASSERT_TRUE(cursor);
  const Window root = DefaultRootWindow(display);

  // The position is the hot spot's; the same shape keeps its handle wherever the pointer goes.
  MovePointer(display, 321, 234);
  CursorState state;
  ASSERT_TRUE(cursor->Query(&state));
  EXPECT_TRUE(state.showing);
  EXPECT_EQ(state.x, 321);
  EXPECT_EQ(state.y, 234);
  const uint64_t standard = state.handle;
  MovePointer(display, 400, 300);
  ASSERT_TRUE(cursor->Query(&state));
  EXPECT_EQ(state.x, 400);
  EXPECT_EQ(state.y, 300);
  EXPECT_EQ(state.handle, standard);

  // A two-colour cursor of the test's own on the root, hot spot (3, 5).
  const Pixmap source = Bitmap(display, Red);
  const Pixmap mask = Bitmap(display, Opaque);
  XColor red{}, blue{};
  red.red = 0xFFFF;
  blue.blue = 0xFFFF;
  const Cursor own = XCreatePixmapCursor(display, source, mask, &red, &blue, 3, 5);
  XDefineCursor(display, root, own);
  XSync(display, False);
  ASSERT_TRUE(cursor->Query(&state));
  EXPECT_EQ(state.x, 400);
  const uint64_t handle = state.handle;
  EXPECT_NE(handle, standard);
  CursorShape shape;
  ASSERT_TRUE(cursor->Shape(handle, &shape));
  EXPECT_EQ(shape.hotX, 3);
  EXPECT_EQ(shape.hotY, 5);
  EXPECT_TRUE(shape.colour);
  EXPECT_EQ(shape.width, kSide);
  EXPECT_EQ(shape.height, kSide);

  // Its picture lands at (0, 0) of a larger surface, covers what it paints and leaves the rest.
  const int width = kSide + 4, height = kSide + 2;
  std::vector<uint32_t> surface(size_t(width) * height, kFill);
  ASSERT_EQ(cursor->Render(handle, width, height, surface.data()), S_OK);
  int wrong = 0;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) wrong += surface[size_t(y) * width + x] != Expected(x, y);
  EXPECT_EQ(wrong, 0);
  // A smaller surface gets the part that fits.
  std::vector<uint32_t> small(8 * 4, kFill);
  ASSERT_EQ(cursor->Render(handle, 8, 4, small.data()), S_OK);
  EXPECT_EQ(small[2 * 8 + 1], kRed);
  EXPECT_EQ(small[3 * 8 + 7], kBlue);
  EXPECT_EQ(small[1 * 8 + 1], kFill);

  // Back to the standard pointer: its old handle again, and the test cursor's picture is gone.
  XUndefineCursor(display, root);
  XSync(display, False);
  ASSERT_TRUE(cursor->Query(&state));
  EXPECT_EQ(state.handle, standard);
  EXPECT_FALSE(cursor->Shape(handle, &shape));
  EXPECT_EQ(cursor->Render(handle, width, height, surface.data()), E_FAIL);

  XFreeCursor(display, own);
  XFreePixmap(display, source);
  XFreePixmap(display, mask);
  XCloseDisplay(display);
}

}  // namespace
}  // namespace cvplat
