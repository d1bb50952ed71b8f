#include "platform/sim/capture_sim.h"

#include <gtest/gtest.h>

#include <vector>

#include "platform/cpu_gpu/gpu_test_support.h"
#include "platform/sim/gpu_faults.h"

namespace cvplat::gputest {
namespace {

constexpr HRESULT kInvalidCall = static_cast<HRESULT>(0x887A0001u);

// Two monitors with a gap between them, the second left of and above the origin.
std::shared_ptr<SimDesktop> TwoMonitors() {
  auto desktop = SimDesktop::Create();
  desktop->SetMonitors({{0x10001, {0, 0, 640, 480}}, {0x20002, {-320, -240, -20, 0}}});
  return desktop;
}

Picture Expected(SimDesktop& desktop, const TRect& r) {
  Picture p = Picture::Filled(static_cast<UINT>(r.right - r.left), static_cast<UINT>(r.bottom - r.top), {});
  for (int32_t y = r.top; y < r.bottom; ++y)
    for (int32_t x = r.left; x < r.right; ++x) {
      const uint32_t v = desktop.DesktopPixel(x, y);
      p.At(x - r.left, y - r.top) = {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)};
    }
  return p;
}

TEST(SimDesktop, PixelsCarryPositionAndTickAndAreBlackOffEveryMonitor) {
  // red = x + tick, green = y, blue = the 256-block of x, y and tick.
  EXPECT_EQ(SimDesktop::PixelAt(300, 5, 0), 0xFF2C0501u);
  EXPECT_EQ(SimDesktop::PixelAt(300, 5, 3), 0xFF2F0501u);
  EXPECT_EQ(SimDesktop::PixelAt(0, 512, 256), 0xFF000075u);  // red 256 & 0xFF, blue 16 x 2 + 85
  // Left of and above the origin blocks round down: x -1 and y -1 lie in block -1.
  EXPECT_EQ(SimDesktop::PixelAt(-1, -1, 257), 0xFF00FF44u);  // blue -1 - 16 + 85

  auto desktop = TwoMonitors();
  desktop->SetTick(7);
  EXPECT_EQ(desktop->DesktopPixel(639, 479), SimDesktop::PixelAt(639, 479, 7));
  EXPECT_EQ(desktop->DesktopPixel(640, 0), 0xFF000000u);
  EXPECT_EQ(desktop->DesktopPixel(-20, -1), 0xFF000000u);  // right edge is exclusive
  EXPECT_EQ(desktop->DesktopPixel(-21, -1), SimDesktop::PixelAt(-21, -1, 7));

  // A shot across both monitors and the gap, into rows wider than the picture; a changing desktop moves
  // on by one tick per shot.
  desktop->SetChanging(true);
  auto grabber = desktop->Platform().makeGrabber();
  const TRect r{-30, -5, 10, 5};
  const int32_t pitch = 40 * 4 + 12;
  std::vector<uint8_t> memory(static_cast<size_t>(pitch) * 10, 0xAB);
  ASSERT_EQ(grabber->GrabToMemory(r, memory.data(), pitch), S_OK);
  for (int32_t y = r.top; y < r.bottom; ++y)
    for (int32_t x = r.left; x < r.right; ++x) {
      uint32_t got;
      std::memcpy(&got, &memory[static_cast<size_t>(y - r.top) * pitch + static_cast<size_t>(x - r.left) * 4], 4);
      const bool onMonitor = (x < -20 && y < 0) || (x >= 0 && y >= 0);
      ASSERT_EQ(got, onMonitor ? SimDesktop::PixelAt(x, y, 7) : 0xFF000000u) << x << ", " << y;
    }
  EXPECT_EQ(memory[static_cast<size_t>(pitch) - 1], 0xAB) << "the row's padding is left alone";
  EXPECT_EQ(desktop->Tick(), 8u);
  EXPECT_EQ(grabber->GrabToMemory({0, 0, 0, 5}, memory.data(), pitch), E_INVALIDARG);
  EXPECT_EQ(desktop->Tick(), 8u);
}

TEST(SimDesktop, ShotsFailAsScriptedOverAllGrabbers) {
  auto desktop = SimDesktop::Create();
  desktop->FailShots(2);
  desktop->FailShots(4, 2, E_OUTOFMEMORY);
  desktop->FailShots(8, 0, E_ACCESSDENIED);
  const CapturePlatform platform = desktop->Platform();
  auto first = platform.makeGrabber();
  {
    auto second = platform.makeGrabber();
    EXPECT_EQ(desktop->LiveGrabbers(), 2);
    uint32_t pixel = 0;
    const HRESULT expected[] = {S_OK, E_FAIL, S_OK, E_OUTOFMEMORY, E_OUTOFMEMORY, S_OK, S_OK,
                                E_ACCESSDENIED, E_ACCESSDENIED, E_ACCESSDENIED};
    for (int i = 0; i < 10; ++i) {
      IScreenGrabber* g = i % 2 ? second.get() : first.get();
      EXPECT_EQ(g->GrabToMemory({1, 1, 2, 2}, reinterpret_cast<uint8_t*>(&pixel), 4), expected[i]) << "shot " << i + 1;
    }
  }
  EXPECT_EQ(desktop->LiveGrabbers(), 1);
  EXPECT_EQ(desktop->Shots(), 10);
}

TEST(SimDesktop, TextureShotIsTheDesktopPictureAndARefusedTextureIsTheResult) {
  GpuFaults faults;
  faults.Fail(GpuCall::Texture, 1, E_OUTOFMEMORY);
  auto desktop = TwoMonitors();
  desktop->SetChanging(true);
  const CapturePlatform platform = desktop->Platform(faults.Factory());
  GpuRig rig(platform.gpu);
  ASSERT_TRUE(rig.device);
  auto grabber = platform.makeGrabber();
  const TRect r{630, 470, 650, 482};

  TRefPtr<IGpuTexture2D> texture;
  EXPECT_EQ(grabber->GrabToTexture(rig.device.Get(), r, texture.Receive()), E_OUTOFMEMORY);
  EXPECT_FALSE(texture);
  EXPECT_EQ(desktop->Tick(), 0u) << "a failed shot shows nothing, so the desktop doesn't move on";

  const Picture expected = Expected(*desktop, r);
  ASSERT_EQ(grabber->GrabToTexture(rig.device.Get(), r, texture.Receive()), S_OK);
  GpuTexture2DDesc desc;
  texture->GetDesc(&desc);
  EXPECT_EQ(desc.width, 20u);
  EXPECT_EQ(desc.height, 12u);
  EXPECT_EQ(desc.bindFlags, kGpuBindShaderResource | kGpuBindRenderTarget);
  EXPECT_EQ(desc.miscFlags, kGpuMiscGdiCompatible);
  EXPECT_EQ(rig.Read(texture.Get()).pixels, expected.pixels);
  EXPECT_EQ(desktop->Tick(), 1u);
}

struct Acquired {
  HRESULT hr;
  DuplicationFrameInfo info;
  TRefPtr<IGpuTexture2D> image;
};
Acquired Acquire(IDuplication& d) {
  Acquired a{};
  a.info = {-1, -1};
  a.hr = d.AcquireNextFrame(15, &a.info, a.image.Receive());
  return a;
}

TEST(SimDesktop, OutputsAndDuplicationsFollowTheScript) {
  auto desktop = TwoMonitors();
  const CapturePlatform platform = desktop->Platform();
  GpuRig rig(platform.gpu);
  ASSERT_TRUE(rig.device);

  desktop->FailOutputs(E_NOINTERFACE);
  std::unique_ptr<IGpuOutputs> outputs;
  EXPECT_EQ(platform.duplication->Outputs(rig.device.Get(), &outputs), E_NOINTERFACE);
  EXPECT_FALSE(outputs);
  desktop->FailOutputs(S_OK);
  desktop->SetAdapterMonitors({0x20002});
  ASSERT_EQ(platform.duplication->Outputs(rig.device.Get(), &outputs), S_OK);
  OutputInfo info;
  ASSERT_EQ(outputs->Output(0, &info), S_OK);
  EXPECT_EQ(info.monitor, 0x20002u);
  EXPECT_EQ(info.desktopCoordinates.left, -320);
  EXPECT_EQ(outputs->Output(1, &info), kDuplicationNotFound);

  desktop->FailDuplicate(1);
  std::unique_ptr<IDuplication> dup;
  EXPECT_EQ(outputs->Duplicate(0, &dup), E_NOTIMPL);
  EXPECT_FALSE(dup);
  ASSERT_EQ(outputs->Duplicate(0, &dup), S_OK);
  EXPECT_EQ(desktop->DuplicateCalls(), 2);
  EXPECT_EQ(desktop->LiveDuplications(), 1);

  // The first acquire brings the output's picture even on a still desktop; the next times out at once.
  desktop->SetTick(4);
  const Picture expected = Expected(*desktop, {-320, -240, -20, 0});
  Acquired a = Acquire(*dup);
  ASSERT_EQ(a.hr, S_OK);
  EXPECT_EQ(a.info.lastPresentTime, 5);
  EXPECT_NE(a.info.lastMouseUpdateTime, 0);
  EXPECT_EQ(rig.Read(a.image.Get()).pixels, expected.pixels);
  EXPECT_EQ(Acquire(*dup).hr, kInvalidCall) << "an image is held";
  EXPECT_EQ(dup->ReleaseFrame(), S_OK);
  EXPECT_EQ(dup->ReleaseFrame(), kInvalidCall);
  a = Acquire(*dup);
  EXPECT_EQ(a.hr, kDuplicationWaitTimeout);
  EXPECT_EQ(a.info.lastPresentTime, 0);
  EXPECT_FALSE(a.image);

  // Scripted failures come first, over any duplication; then a pointer-only update, and "nothing new".
  desktop->FailAcquire(kDuplicationAccessLost, 2);
  EXPECT_EQ(Acquire(*dup).hr, kDuplicationAccessLost);
  EXPECT_EQ(Acquire(*dup).hr, kDuplicationAccessLost);
  desktop->MovePointerOnly();
  a = Acquire(*dup);
  ASSERT_EQ(a.hr, S_OK);
  EXPECT_EQ(a.info.lastPresentTime, 0);
  EXPECT_NE(a.info.lastMouseUpdateTime, 0);
  EXPECT_EQ(dup->ReleaseFrame(), S_OK);
  desktop->SetStillGivesImage(true);
  a = Acquire(*dup);
  ASSERT_EQ(a.hr, S_OK);
  EXPECT_EQ(a.info.lastPresentTime, 0);
  EXPECT_EQ(a.info.lastMouseUpdateTime, 0);
  EXPECT_TRUE(a.image);
  EXPECT_EQ(dup->ReleaseFrame(), S_OK);

  // A changing desktop: each image shows the next tick.
  desktop->SetChanging(true);
  for (uint32_t tick = 4; tick < 7; ++tick) {
    a = Acquire(*dup);
    ASSERT_EQ(a.hr, S_OK);
    EXPECT_EQ(a.info.lastPresentTime, int64_t{tick} + 1);
    EXPECT_EQ(rig.Read(a.image.Get()).At(0, 0).r, (-320 + tick) & 0xFF);
    EXPECT_EQ(dup->ReleaseFrame(), S_OK);
  }
  EXPECT_EQ(desktop->Tick(), 7u);
  EXPECT_EQ(desktop->Acquires(), 10);
  EXPECT_EQ(desktop->ReleaseFrameCalls(), 7);
}

TEST(SimDesktop, HeldImagesAreCountedAndGoWithTheirDuplication) {
  GpuFaults faults;
  auto desktop = SimDesktop::Create();
  const CapturePlatform platform = desktop->Platform(faults.Factory());
  auto rig = std::make_unique<GpuRig>(platform.gpu);
  ASSERT_TRUE(rig->device);
  std::unique_ptr<IGpuOutputs> outputs;
  ASSERT_EQ(platform.duplication->Outputs(rig->device.Get(), &outputs), S_OK);
  std::unique_ptr<IDuplication> a, b;
  ASSERT_EQ(outputs->Duplicate(0, &a), S_OK);
  ASSERT_EQ(outputs->Duplicate(0, &b), S_OK);

  // A refused texture is the acquire's result, and the next acquire is still the "first".
  faults.Fail(GpuCall::Texture, faults.Calls(GpuCall::Texture) + 1, E_OUTOFMEMORY);
  EXPECT_EQ(Acquire(*a).hr, E_OUTOFMEMORY);
  EXPECT_EQ(desktop->ImagesHeld(), 0);
  EXPECT_EQ(Acquire(*a).hr, S_OK);
  EXPECT_EQ(Acquire(*b).hr, S_OK);
  EXPECT_EQ(desktop->ImagesHeld(), 2);

  // The second ReleaseFrame fails and leaves its image held; destroying the duplication gives it back.
  desktop->FailReleaseFrame(2, 1, kDuplicationAccessLost);
  EXPECT_EQ(a->ReleaseFrame(), S_OK);
  EXPECT_EQ(b->ReleaseFrame(), kDuplicationAccessLost);
  EXPECT_EQ(desktop->ImagesHeld(), 1);
  EXPECT_EQ(Acquire(*b).hr, kInvalidCall);
  b.reset();
  EXPECT_EQ(desktop->ImagesHeld(), 0);
  EXPECT_EQ(desktop->LiveDuplications(), 1);

  // A change of the output's monitor loses the duplication for good.
  desktop->SetMonitors({{0x10001, {0, 0, 1280, 720}}});
  EXPECT_EQ(Acquire(*a).hr, kDuplicationAccessLost);
  desktop->SetMonitors({{0x10001, {0, 0, 1920, 1080}}});
  EXPECT_EQ(Acquire(*a).hr, kDuplicationAccessLost);
  a.reset();
  EXPECT_EQ(desktop->LiveDuplications(), 0);
  // Outputs and duplications hold the device while they live, and no longer.
  outputs.reset();
  rig.reset();
  EXPECT_EQ(faults.LiveObjects(), 0);
}

// Renders pointer `handle` onto a surface of its own size whose bytes are all `fill`.
std::vector<uint32_t> RenderOn(ICursor& cursor, uint64_t handle, const SimPointerShape& shape, uint8_t fill) {
  std::vector<uint32_t> surface(shape.pixels.size(), 0x01010101u * fill);
  EXPECT_EQ(cursor.Render(handle, shape.width, shape.height, surface.data()), S_OK);
  return surface;
}

TEST(SimDesktop, PointerShapesDrawAsTheSystemDrawsThem) {
  auto desktop = SimDesktop::Create();
  ICursor& cursor = *desktop->Platform().cursor;
  CursorState state;
  CursorShape shape;
  ASSERT_TRUE(cursor.Query(&state));
  EXPECT_TRUE(state.showing && state.handle == 1 && state.x == 100);

  // The colour arrow is premultiplied with soft edges. Over 0x00 bytes it comes out as it is; over 0xFF
  // bytes every byte, alpha too, becomes src + 255 - alpha, so alpha is 255 throughout.
  const SimPointerShape arrow = SimPointerShape::ColourArrow();
  ASSERT_TRUE(cursor.Shape(1, &shape));
  EXPECT_TRUE(shape.colour && shape.height == arrow.height);
  EXPECT_EQ(RenderOn(cursor, 1, arrow, 0x00), arrow.pixels);
  const std::vector<uint32_t> overWhite = RenderOn(cursor, 1, arrow, 0xFF);
  int soft = 0;
  for (size_t i = 0; i < arrow.pixels.size(); ++i) {
    const uint32_t p = arrow.pixels[i], a = p >> 24;
    soft += a > 0 && a < 255;
    for (int shift = 0; shift < 32; shift += 8) {
      ASSERT_LE((p >> shift) & 0xFF, a) << i;
      ASSERT_EQ((overWhite[i] >> shift) & 0xFF, ((p >> shift) & 0xFF) + 255 - a) << i;
    }
  }
  EXPECT_GT(soft, 0);

  // The I-beam only inverts: white over black, black over white, the surface elsewhere; alpha stays 0 as
  // the system's drawing of a two-plane pointer leaves it. Its mask is twice its height.
  const SimPointerShape beam = SimPointerShape::MonochromeIBeam();
  desktop->SetPointerShape(7, beam);
  desktop->SetPointer(false, -3, 4);
  ASSERT_TRUE(cursor.Query(&state));
  EXPECT_TRUE(!state.showing && state.handle == 7 && state.x == -3);
  ASSERT_TRUE(cursor.Shape(7, &shape));
  EXPECT_TRUE(!shape.colour && shape.height == 2 * beam.height);
  const std::vector<uint32_t> beamBlack = RenderOn(cursor, 7, beam, 0x00), beamWhite = RenderOn(cursor, 7, beam, 0xFF);
  int stroke = 0;
  for (size_t i = 0; i < beam.pixels.size(); ++i) {
    const bool inverts = beam.pixels[i] == SimPointerShape::kInvert;
    ASSERT_TRUE(inverts || beam.pixels[i] == SimPointerShape::kTransparent);
    stroke += inverts;
    ASSERT_EQ(beamBlack[i], inverts ? 0x00FFFFFFu : 0u) << i;
    ASSERT_EQ(beamWhite[i], inverts ? 0u : 0x00FFFFFFu) << i;
  }
  EXPECT_GT(stroke, 16);

  // The monochrome arrow paints fixed colours, both of them, the same on either surface.
  const SimPointerShape mono = SimPointerShape::MonochromeArrow();
  desktop->SetPointerShape(8, mono);
  const std::vector<uint32_t> monoBlack = RenderOn(cursor, 8, mono, 0x00), monoWhite = RenderOn(cursor, 8, mono, 0xFF);
  int counts[4] = {};
  for (size_t i = 0; i < mono.pixels.size(); ++i) {
    ++counts[mono.pixels[i] & 3];
    if (mono.pixels[i] == SimPointerShape::kTransparent) continue;
    ASSERT_EQ(monoBlack[i], mono.pixels[i] == SimPointerShape::kBlack ? 0u : 0x00FFFFFFu) << i;
    ASSERT_EQ(monoWhite[i], monoBlack[i]) << i;
  }
  EXPECT_TRUE(counts[SimPointerShape::kBlack] > 0 && counts[SimPointerShape::kWhite] > 0);
  EXPECT_EQ(counts[SimPointerShape::kInvert], 0);

  // A smaller surface gets the part that fits; unknown handles and scripted failures fail.
  std::vector<uint32_t> small(4 * 3 + 1, 0xABABABABu);
  EXPECT_EQ(cursor.Render(7, 4, 3, small.data()), S_OK);
  EXPECT_EQ(small[1], 0x00545454u);  // the serif inverts
  EXPECT_EQ(small[12], 0xABABABABu);
  EXPECT_EQ(cursor.Render(99, 4, 3, small.data()), E_FAIL);
  desktop->FailRender(true);
  desktop->FailShape(true);
  EXPECT_EQ(cursor.Render(1, 4, 3, small.data()), E_FAIL);
  EXPECT_FALSE(cursor.Shape(1, &shape));
  EXPECT_EQ(desktop->RenderCalls(), 9);
  EXPECT_EQ(desktop->ShapeCalls(), 3);
}

TEST(SimDesktop, KeysHeldTappedAndSideModifiersWithTheirNamesAndTheClock) {
  auto desktop = SimDesktop::Create();
  const CapturePlatform platform = desktop->Platform();
  IKeyInput& keys = *platform.keys;
  desktop->PressKey('A');
  EXPECT_TRUE(keys.KeyDown('A'));
  EXPECT_TRUE(keys.KeyDown('A'));  // held: down at every poll
  desktop->ReleaseKey('A');
  EXPECT_FALSE(keys.KeyDown('A'));
  // A press shorter than the time between two polls shows at exactly one poll.
  desktop->TapKey('B');
  EXPECT_TRUE(keys.KeyDown('B'));
  EXPECT_FALSE(keys.KeyDown('B'));

  // A side modifier holds its general key for as long as either side is down.
  desktop->PressKey(0xA1);
  desktop->PressKey(0xA0);
  desktop->ReleaseKey(0xA1);
  EXPECT_TRUE(keys.KeyDown(0x10));
  EXPECT_TRUE(keys.KeyDown(0xA1));  // up, but went down since the last poll
  EXPECT_FALSE(keys.KeyDown(0xA1));
  desktop->ReleaseKey(0xA0);
  EXPECT_FALSE(keys.KeyDown(0x10));
  desktop->TapKey(0xA4);
  EXPECT_FALSE(keys.KeyDown(0x11));
  EXPECT_TRUE(keys.KeyDown(0x12));
  EXPECT_FALSE(keys.KeyDown(0x12));
  EXPECT_EQ(desktop->KeyPolls(), 12);

  EXPECT_EQ(keys.KeyName(0xA3), L"Ctrl");
  EXPECT_EQ(keys.KeyName(0x7B), L"F12");
  for (uint32_t vk : {1u, 2u, 4u, 0xFFu, 0x100u}) EXPECT_EQ(keys.KeyName(vk), L"") << vk;
  desktop->SetKeyName('A', L"Q");
  EXPECT_EQ(keys.KeyName('A'), L"Q");

  EXPECT_EQ(platform.tickMs(), 1000u);
  desktop->SetClockMs(0xFFFFFFF0u);
  desktop->AdvanceClockMs(0x20);
  EXPECT_EQ(platform.tickMs(), 0x10u);
}

}  // namespace
}  // namespace cvplat::gputest
