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
  EXPECT_EQ(grabber->GrabToTexture(rig.device.Get(), r, GpuRig::Out(texture)), E_OUTOFMEMORY);
  EXPECT_FALSE(texture);
  EXPECT_EQ(desktop->Tick(), 0u) << "a failed shot shows nothing, so the desktop doesn't move on";

  const Picture expected = Expected(*desktop, r);
  ASSERT_EQ(grabber->GrabToTexture(rig.device.Get(), r, GpuRig::Out(texture)), S_OK);
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
  a.hr = d.AcquireNextFrame(15, &a.info, GpuRig::Out(a.image));
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

}  // namespace
}  // namespace cvplat::gputest
