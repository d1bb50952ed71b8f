#include "engine/shot_worker.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "engine/capture_base.h"
#include "engine/scale_request.h"
#include "media/colour_formats.h"
#include "platform/sim/capture_sim.h"
#include "platform/sim/gpu_faults.h"
#include "props/catalogue.h"
#include "props/xml_node.h"

using namespace cvplat;

namespace {

constexpr int64_t kSecond = 10'000'000;

TCaptureRegion Region(TRect current, double fps = 25.0) {
  TCaptureRegion r{};
  r.current = current;
  r.target = current;
  r.visible = current;
  r.screen = {0, 0, 1920, 1080};
  r.fps = fps;
  return r;
}

class ShotWorkerTest : public ::testing::Test {
 protected:
  std::shared_ptr<SimDesktop> sim = SimDesktop::Create();
  CapturePlatform platform = sim->Platform();
};

TEST_F(ShotWorkerTest, FrameShowsTheDesktopTopDownWithItsFormatAndTimes) {
  // Straddles the monitor's left and bottom edges, so black borders sit on both sides of the picture.
  const TRect rect{-8, 1060, 56, 1090};
  const int32_t w = RectWidth(rect), h = RectHeight(rect);
  TShotWorker worker(platform.makeGrabber);
  TCaptureRegion region = Region(rect, 29.97);
  TRefPtr<ICVFrame_I> frame;
  // The very first cycle meets no stored size, so its first grab is refused and its retry must succeed:
  // otherwise no shot could come before the first-shot limit.
  ASSERT_EQ(worker.RequestSoftwareShot(region, frame, 0), S_OK);
  ASSERT_TRUE(frame);
  EXPECT_TRUE(RectEqual(region.current, rect));
  EXPECT_NE(region.shot_time, 0);

  TAvProps props{};
  ASSERT_EQ(frame->FormatGet(&props, nullptr), S_OK);
  EXPECT_EQ(props.video.colourFormat, kColourARGB32);
  EXPECT_EQ(props.video.width, w);
  EXPECT_EQ(props.video.height, -h);
  EXPECT_EQ(props.video.rowBytes, 4 * w);
  EXPECT_EQ(props.video.scan, 3);
  EXPECT_EQ(props.video.frameRate, 29.97);

  TFrameTime time{};
  ASSERT_EQ(frame->TimeGet(&time), S_OK);
  EXPECT_GE(time.startTime, region.shot_time);
  EXPECT_GE(time.endTime, time.startTime);

  uint8_t* pixels = nullptr;
  ASSERT_EQ(frame->PixelsGet(0, &pixels), S_OK);
  int wrong = 0;
  for (int32_t y = 0; y < h; ++y) {
    const auto* row = reinterpret_cast<const uint32_t*>(pixels + static_cast<size_t>(y) * 4 * w);
    for (int32_t x = 0; x < w; ++x) wrong += row[x] != sim->DesktopPixel(rect.left + x, rect.top + y);
  }
  EXPECT_EQ(wrong, 0);
}

TEST_F(ShotWorkerTest, LaterRequestsTakeThePreviousShotWithItsOwnRegion) {
  sim->FailShots(2, 0);  // the first grab is the only one that ever succeeds
  TShotWorker worker(platform.makeGrabber);
  const TRect a{100, 100, 164, 148}, b{0, 0, 32, 16};
  TCaptureRegion region = Region(a, 25.0);
  TRefPtr<ICVFrame_I> first;
  ASSERT_EQ(worker.RequestSoftwareShot(region, first, 0), S_OK);
  ASSERT_TRUE(first);

  for (int pass = 0; pass < 3; ++pass) {
    // The loop asks for another size and rate: it gets the old picture back with the record that
    // belongs to it, so whatever it draws lands on that picture's geometry.
    TCaptureRegion next = Region(b, 50.0);
    TRefPtr<ICVFrame_I> shot;
    EXPECT_EQ(worker.RequestSoftwareShot(next, shot, 0), S_FALSE);
    EXPECT_EQ(shot.Get(), first.Get());
    EXPECT_TRUE(RectEqual(next.current, a));
    EXPECT_EQ(next.fps, 25.0);
    EXPECT_EQ(next.shot_time, region.shot_time);
  }
}

// The sim's grabber with a record of what the worker asked of it, in order: a grab by its size, or a
// drop of the cached objects (width and height 0).
struct GrabRecord {
  std::mutex lock;
  std::vector<std::pair<int32_t, int32_t>> calls;
};

class RecordingGrabber : public IScreenGrabber {
 public:
  RecordingGrabber(std::unique_ptr<IScreenGrabber> inner, std::shared_ptr<GrabRecord> record)
      : inner_(std::move(inner)), record_(std::move(record)) {}
  HRESULT GrabToMemory(const TRect& rect, uint8_t* pixels, int32_t pitch) override {
    Note(RectWidth(rect), RectHeight(rect));
    return inner_->GrabToMemory(rect, pixels, pitch);
  }
  HRESULT GrabToTexture(IGpuDevice* device, const TRect& rect, IGpuTexture2D** texture) override {
    Note(RectWidth(rect), RectHeight(rect));
    return inner_->GrabToTexture(device, rect, texture);
  }
  void ReleaseCached() override {
    Note(0, 0);
    inner_->ReleaseCached();
  }

 private:
  void Note(int32_t w, int32_t h) {
    std::lock_guard<std::mutex> hold(record_->lock);
    record_->calls.emplace_back(w, h);
  }
  std::unique_ptr<IScreenGrabber> inner_;
  std::shared_ptr<GrabRecord> record_;
};

TEST_F(ShotWorkerTest, NewSizeArrivesWithMatchingRegionAfterOneDropOfTheCachedObjects) {
  auto record = std::make_shared<GrabRecord>();
  {
    TShotWorker worker([&] { return std::make_unique<RecordingGrabber>(platform.makeGrabber(), record); });
    const TRect sizes[] = {{10, 10, 74, 58}, {200, 300, 240, 320}, {0, 0, 17, 9}};
    for (const TRect& want : sizes) {
      bool arrived = false;
      // A request wakes the thread only after its wait, so one may wait out its time-out for a cycle
      // that nothing started: keep those waits short.
      for (int i = 0; i < 50 && !arrived; ++i) {
        TCaptureRegion region = Region(want);
        TRefPtr<ICVFrame_I> shot;
        worker.RequestSoftwareShot(region, shot, kSecond / 20);
        ASSERT_TRUE(shot);
        TAvProps props{};
        ASSERT_EQ(shot->FormatGet(&props, nullptr), S_OK);
        EXPECT_EQ(props.video.width, RectWidth(region.current));
        EXPECT_EQ(-props.video.height, RectHeight(region.current));
        arrived = RectEqual(region.current, want);
      }
      EXPECT_TRUE(arrived);
    }
    EXPECT_EQ(sim->LiveGrabbers(), 1);
  }
  EXPECT_EQ(sim->LiveGrabbers(), 0);

  // The first grab of every size comes straight after a drop of the cached objects, in the same cycle
  // that found the new size; a grab of the size before never drops them. The worker's end drops them
  // once more.
  const auto& calls = record->calls;
  ASSERT_GE(calls.size(), 7u);
  EXPECT_EQ(calls.back(), std::make_pair(0, 0));
  std::pair<int32_t, int32_t> last{-1, -1};
  int newSizes = 0;
  for (size_t i = 0; i + 1 < calls.size(); ++i) {
    if (calls[i] == std::make_pair(0, 0)) {
      ASSERT_NE(calls[i + 1], std::make_pair(0, 0)) << "call " << i;
      EXPECT_NE(calls[i + 1], last) << "call " << i;
      continue;
    }
    if (calls[i] != last) {
      ++newSizes;
      EXPECT_TRUE(i > 0 && calls[i - 1] == std::make_pair(0, 0)) << "call " << i;
    }
    last = calls[i];
  }
  EXPECT_EQ(newSizes, 3);
}

TEST_F(ShotWorkerTest, UnreadableDesktopEndsTheFirstWaitAtItsLimitOrAtTheStopSignal) {
  sim->FailShots(1, 0);
  const TRect rect{0, 0, 64, 48};
  {
    TShotWorker worker(platform.makeGrabber, kSecond / 5);
    TCaptureRegion region = Region(rect);
    region.shot_time = 1234;
    TRefPtr<ICVFrame_I> shot;
    EXPECT_EQ(worker.RequestSoftwareShot(region, shot, 0), S_FALSE);
    EXPECT_FALSE(shot);
    EXPECT_EQ(region.shot_time, 1234);  // no picture, so no record of one replaces the caller's
    EXPECT_EQ(worker.RequestSoftwareShot(region, shot, 0), S_FALSE);
    EXPECT_FALSE(shot);
  }

  // With a limit far beyond the test's own, only the capture thread's stop signal can end the wait.
  KHandle stop = CreateEventObject(true, false);
  ASSERT_NE(stop, nullptr);
  HRESULT hr = E_FAIL;
  bool gotShot = true;
  std::thread capture([&] {
    TCaptureStopScope scope(stop);
    TShotWorker worker(platform.makeGrabber, 3600 * kSecond);
    TCaptureRegion region = Region(rect);
    TRefPtr<ICVFrame_I> shot;
    hr = worker.RequestSoftwareShot(region, shot, 0);
    gotShot = static_cast<bool>(shot);
  });
  SleepMs(20);  // most likely inside the wait by now; a signal set before it began ends it as well
  SetEventObject(stop);
  capture.join();
  EXPECT_EQ(hr, S_FALSE);
  EXPECT_FALSE(gotShot);
  CloseKernelHandle(stop);
}

TEST_F(ShotWorkerTest, TextureShotsOnTheDeviceAndRefusedOnesLeaveNothingAlive) {
  GpuFaults faults(platform.gpu);
  faults.Fail(GpuCall::Texture, 2, E_OUTOFMEMORY, 0);  // only the first texture is made
  IGpuDevice* device = nullptr;
  IGpuContext* context = nullptr;
  UINT level = 0;
  ASSERT_EQ(faults.CreateDevice(&device, &level, &context), S_OK);
  {
    TShotWorker worker(platform.makeGrabber, kSecond / 5);
    TCaptureRegion region = Region({300, 200, 340, 230});
    TRefPtr<IGpuTexture2D> first;
    // Without a device nothing can be shot.
    EXPECT_EQ(worker.RequestHardwareShot(region, first, 0), S_FALSE);
    EXPECT_FALSE(first);
    worker.SetDevice(device);
    for (int i = 0; i < 50 && !first; ++i) worker.RequestHardwareShot(region, first, kSecond / 20);
    ASSERT_TRUE(first);
    GpuTexture2DDesc desc;
    first->GetDesc(&desc);
    EXPECT_EQ(desc.width, 40u);
    EXPECT_EQ(desc.height, 30u);

    TCaptureRegion next = Region({0, 0, 8, 8});
    TRefPtr<IGpuTexture2D> shot;
    EXPECT_EQ(worker.RequestHardwareShot(next, shot, kSecond / 10), S_FALSE);
    EXPECT_EQ(shot.Get(), first.Get());
    EXPECT_EQ(RectWidth(next.current), 40);
    // Each request wakes the thread for one more cycle; let at least one of them meet the refusal.
    for (int i = 0; i < 50 && faults.Calls(GpuCall::Texture) < 2; ++i) {
      worker.RequestHardwareShot(next, shot, kSecond / 10);
    }
    EXPECT_GE(faults.Calls(GpuCall::Texture), 2);
    EXPECT_EQ(shot.Get(), first.Get());
  }
  context->Release();
  device->Release();
  EXPECT_EQ(faults.LiveObjects(), 0);
}

TEST(ScaleOptions, TextSizeAndFormatFromTheProperties) {
  XMLParse::XMLNodePtr props = XMLParse::CoXMLNode::Create(L"device");
  XMLParse::SetDefaults(*props);
  TVideoProps hdyc{};
  hdyc.colourFormat = kColourHDYC;
  hdyc.width = 1280;
  hdyc.height = -720;

  TScaleOptions o = BuildScaleOptions(props.Get(), hdyc);
  EXPECT_EQ(o.options, L"scale-type='letter-box'");
  EXPECT_EQ(o.width, 1280);
  EXPECT_EQ(o.height, 720);
  EXPECT_EQ(o.pixelFormat, kColourHDYC);

  props->SetString(L"capture.async_resize", L"true");
  EXPECT_EQ(BuildScaleOptions(props.Get(), hdyc).options, L"scale-type='letter-box' async_id='screen-cap'");

  // ARGB32 alone keeps the sign, and with it the top-down rows; an emptied scaling names the default.
  props->SetString(L"capture.async_resize", L"false");
  props->SetString(L"capture.software_scaling", L"");
  TVideoProps argb = hdyc;
  argb.colourFormat = kColourARGB32;
  o = BuildScaleOptions(props.Get(), argb);
  EXPECT_EQ(o.options, L"scale-type='default'");
  EXPECT_EQ(o.height, -720);
  TVideoProps rgb = argb;
  rgb.colourFormat = kColourRGB32;
  EXPECT_EQ(BuildScaleOptions(props.Get(), rgb).height, 720);
  EXPECT_EQ(BuildScaleOptions(nullptr, rgb).options, L"scale-type='default'");
}

}  // namespace
