// What all grabbers share: the black where no monitor is, and the shot texture made from memory.
#include "platform/screen_grab.h"

#include <gtest/gtest.h>

#include <cstring>

#include "platform/auto_obj.h"
#include "platform/cpu_gpu/gpu_test_support.h"
#include "platform/sim/gpu_faults.h"

namespace cvplat {
namespace {

constexpr uint32_t kShown = 0x80112233u;

uint32_t At(const std::vector<uint8_t>& pixels, int32_t pitch, int32_t x, int32_t y) {
  uint32_t p;
  std::memcpy(&p, pixels.data() + int64_t{y} * pitch + int64_t{x} * 4, 4);
  return p;
}

bool On(const std::vector<MonitorInfo>& monitors, int32_t x, int32_t y) {
  for (const MonitorInfo& m : monitors)
    if (x >= m.rect.left && x < m.rect.right && y >= m.rect.top && y < m.rect.bottom) return true;
  return false;
}

TEST(ScreenGrab, OnlyWhatNoMonitorShowsTurnsBlack) {
  // A monitor left of the primary one, taller and lower, and one that overlaps the primary: gaps above,
  // below and between, on negative coordinates too.
  const std::vector<MonitorInfo> monitors = {
      {1, {0, 0, 40, 30}}, {2, {-30, 10, 0, 50}}, {3, {35, 20, 60, 25}}};
  const TRect rect{-35, -5, 65, 55};
  const int32_t width = 100, height = 60, pitch = width * 4 + 12;  // rows with a tail the paint must not touch
  std::vector<uint8_t> pixels(size_t(pitch) * height);
  for (size_t i = 0; i < pixels.size(); i += 4) std::memcpy(&pixels[i], &kShown, 4);
  PaintOffMonitorsBlack(rect, monitors, pixels.data(), pitch);
  int black = 0;
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      const bool shown = On(monitors, rect.left + x, rect.top + y);
      ASSERT_EQ(At(pixels, pitch, x, y), shown ? kShown : kOffScreenPixel) << x << ", " << y;
      black += !shown;
    }
    for (int32_t tail = width * 4; tail < pitch; tail += 4) ASSERT_EQ(At(pixels, pitch, tail / 4, y), kShown);
  }
  EXPECT_GT(black, 0);

  // A rectangle on one monitor, and a desktop whose monitors are unknown, keep every pixel.
  std::vector<uint8_t> inside(size_t(pitch) * height);
  for (size_t i = 0; i < inside.size(); i += 4) std::memcpy(&inside[i], &kShown, 4);
  const std::vector<uint8_t> before = inside;
  PaintOffMonitorsBlack({-30, 10, -5, 50}, monitors, inside.data(), pitch);
  PaintOffMonitorsBlack(rect, {}, inside.data(), pitch);
  EXPECT_EQ(inside, before);
}

// Paints each pixel with its own position, or fails as told.
class PatternGrabber : public IScreenGrabber {
 public:
  HRESULT result = S_OK;
  int shots = 0;
  HRESULT GrabToMemory(const TRect& rect, uint8_t* pixels, int32_t pitch) override {
    ++shots;
    if (result != S_OK) return result;
    for (int32_t y = 0; y < rect.bottom - rect.top; ++y)
      for (int32_t x = 0; x < rect.right - rect.left; ++x) {
        const gputest::Bgra p{uint8_t(x), uint8_t(y), uint8_t(rect.left), 255};
        std::memcpy(pixels + int64_t{y} * pitch + x * 4, &p, 4);
      }
    return S_OK;
  }
  HRESULT GrabToTexture(IGpuDevice*, const TRect&, IGpuTexture2D**) override { return E_NOTIMPL; }
  void ReleaseCached() override {}
};

TEST(ScreenGrab, ShotTextureHoldsTheShotAndPassesOnRefusals) {
  GpuFaults faults;
  gputest::GpuRig rig(faults.Factory());
  ASSERT_TRUE(rig.device);
  PatternGrabber grabber;
  std::vector<uint8_t> scratch;
  TRefPtr<IGpuTexture2D> texture;
  ASSERT_EQ(GrabThroughMemory(grabber, rig.device.Get(), {7, 3, 20, 12}, scratch, texture.Receive()),
            S_OK);
  GpuTexture2DDesc desc;
  texture->GetDesc(&desc);
  EXPECT_EQ(desc.width, 13u);
  EXPECT_EQ(desc.height, 9u);
  EXPECT_EQ(desc.format, GpuFormat::B8G8R8A8Unorm);
  EXPECT_EQ(desc.usage, GpuUsage::Default);
  EXPECT_EQ(desc.bindFlags, 0x28u);
  EXPECT_EQ(desc.miscFlags, 0x200u);
  const gputest::Picture picture = rig.Read(texture.Get());
  EXPECT_EQ(picture.At(0, 0), (gputest::Bgra{0, 0, 7, 255}));
  EXPECT_EQ(picture.At(12, 8), (gputest::Bgra{12, 8, 7, 255}));
  texture.Reset();

  // The device's refusal is the result; a failed shot asks the device for nothing.
  const int textures = faults.Calls(GpuCall::Texture);
  faults.Fail(GpuCall::Texture, textures + 1, E_OUTOFMEMORY);
  IGpuTexture2D* made = reinterpret_cast<IGpuTexture2D*>(1);
  EXPECT_EQ(GrabThroughMemory(grabber, rig.device.Get(), {0, 0, 4, 4}, scratch, &made), E_OUTOFMEMORY);
  EXPECT_EQ(made, nullptr);
  grabber.result = E_ACCESSDENIED;
  made = reinterpret_cast<IGpuTexture2D*>(1);
  EXPECT_EQ(GrabThroughMemory(grabber, rig.device.Get(), {0, 0, 4, 4}, scratch, &made), E_ACCESSDENIED);
  EXPECT_EQ(made, nullptr);
  EXPECT_EQ(faults.Calls(GpuCall::Texture), textures + 1);
  const int shots = grabber.shots;
  EXPECT_EQ(GrabThroughMemory(grabber, rig.device.Get(), {5, 0, 5, 4}, scratch, &made), E_INVALIDARG);
  EXPECT_EQ(GrabThroughMemory(grabber, nullptr, {0, 0, 4, 4}, scratch, &made), E_INVALIDARG);
  EXPECT_EQ(grabber.shots, shots);
}

}  // namespace
}  // namespace cvplat
