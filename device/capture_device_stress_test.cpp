// The whole device under load, in each capture mode on a simulated desktop whose shots, duplication and
// gpu fail now and then: eight readers join, read, flush and leave at random while the engine delivers
// at 60 frames a second, one thread changes properties (some of which restart the capture) and another
// opens and closes the device. It must end without deadlock or leak, and a reader's frame numbers may
// only fall back at a frame that opens a new run.
#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>
#include <vector>

#include "device/capture_device_test.h"
#include "media/module_lock.h"
#include "platform/cpu_gpu/cpu_gpu.h"
#include "platform/sim/capture_sim.h"
#include "platform/sim/gpu_faults.h"
#include "platform/kernel.h"

namespace {

constexpr uint32_t kRunMs = 2500;
constexpr int64_t kMs = 10000;

HRESULT CpuTwin(cvplat::IGpuDevice** device, UINT* level, cvplat::IGpuContext** context) {
  return cvplat::CreateCpuGpuDevice({}, device, level, context);
}

class CaptureDeviceStress : public testing::TestWithParam<const wchar_t*> {};

TEST_P(CaptureDeviceStress, ReadersPropertiesOpensAndClosesAtOnce) {
  const int32_t locksBefore = ModuleLockCount();
  std::atomic<int64_t> framesRead{0};
  std::atomic<int> orderFaults{0};
  std::atomic<int> restartsSeen{0};
  auto desktop = cvplat::SimDesktop::Create();
  desktop->SetMonitors({{1, {0, 0, 320, 200}}, {2, {320, 0, 640, 200}}});
  desktop->SetChanging(true);
  desktop->FailShots(7, 5);
  desktop->FailShots(40, 2, E_OUTOFMEMORY);
  desktop->FailAcquire(cvplat::kDuplicationAccessLost, 30, 10);
  desktop->FailReleaseFrame(60, 1);
  cvplat::GpuFaults faults(CpuTwin);
  faults.Fail(cvplat::GpuCall::Texture, 20, E_OUTOFMEMORY, 3);
  faults.Fail(cvplat::GpuCall::Map, 50, E_FAIL, 2);
  faults.Fail(cvplat::GpuCall::RenderTargetView, 70, E_FAIL, 1);
  auto platform = cvplat::SimDevicePlatform();
  platform->capture = desktop->Platform(faults.Factory());
  {
    TTestDevice d(platform);
    ASSERT_EQ(d.status, S_OK);
    d.SmallAndFast();
    d.props->PropsSet(L"capture.mode", GetParam());
    std::atomic<bool> done{false};

    std::thread props([&] {
      std::mt19937 rng(11);
      const wchar_t* onOff[] = {L"true", L"false"};
      const wchar_t* rates[] = {L"60", L"50"};
      const wchar_t* putWaits[] = {L"0", L"2", L"5"};
      while (!done) {
        d.props->PropsSet(L"capture.show_mouse", onOff[rng() % 2]);
        d.props->PropsSet(L"pull_mode.put_wait", putWaits[rng() % 3]);
        d.props->PropsSet(L"output.buffers", rng() % 2 ? L"2" : L"5");
        d.props->PropsSet(L"capture.fps_limit", rates[rng() % 2]);
        // A key of the capture's set-up: the engine restarts its run.
        if (rng() % 10 == 0) d.props->PropsSet(L"capture.screen_index", rng() % 2 ? L"1" : L"0");
        cvplat::SleepMs(5);
      }
    });

    std::thread openClose([&] {
      std::mt19937 rng(12);
      while (!done) {
        cvplat::SleepMs(50 + rng() % 150);
        if (rng() % 2) {
          d.device->DeviceClose();
        } else {
          d.device->DeviceOpen(nullptr, nullptr);
        }
      }
    });

    std::vector<std::thread> readers;
    for (int r = 0; r < 8; ++r) {
      readers.emplace_back([&, r] {
        std::mt19937 rng(200 + r);
        const wchar_t* joinHints[] = {nullptr, L"sync_reader", L"buffers=4", L"sync_reader buffers=2"};
        while (!done) {
          int64_t id = 0;
          d.source->SourceFrameGetEx_I(&id, nullptr, 0, joinHints[rng() % 4]);
          int64_t last = -1;
          const int reads = static_cast<int>(rng() % 25);
          for (int i = 0; i < reads && !done; ++i) {
            ICVFrame_I* frame = nullptr;
            const wchar_t* hints = rng() % 4 == 0 ? L"flush_reader" : nullptr;
            const int64_t timeout = static_cast<int64_t>(rng() % 50) * kMs;
            if (d.source->SourceFrameGetEx_I(&id, &frame, timeout, hints) == S_OK) {
              const int64_t n = NumberOf(frame);
              // The hardware loop hands the frame in hand out again, stamps and all, after a pass that
              // made nothing: the same number twice is a repeat, not a step back.
              if (n < last) {
                if (FlagsOf(frame) & kFrameFlagGap) {
                  ++restartsSeen;
                } else {
                  ++orderFaults;
                }
              }
              last = n;
              ++framesRead;
              frame->Release();
            }
            if (rng() % 8 == 0) cvplat::SleepMs(static_cast<uint32_t>(rng() % 40));  // a slow reader
          }
          if (rng() % 2) {
            d.source->SourceReaderClose(id);
          } else {
            d.source->SourceFrameGetEx_I(&id, nullptr, 0, L"remove_reader");
          }
        }
      });
    }

    cvplat::SleepMs(kRunMs);
    done = true;
    for (auto& t : readers) t.join();
    openClose.join();
    props.join();

    // Nothing is left wedged: a new reader starts the capture again and gets frames.
    int64_t id = 0;
    ICVFrame_I* frame = nullptr;
    ASSERT_EQ(d.source->SourceFrameGetEx_I(&id, &frame, 5000 * kMs, nullptr), S_OK);
    frame->Release();
  }
  EXPECT_EQ(orderFaults, 0);
  EXPECT_GT(framesRead, 50);
  EXPECT_EQ(ModuleLockCount(), locksBefore);  // the device and every node it made are gone
  EXPECT_EQ(faults.LiveObjects(), 0);
  EXPECT_EQ(desktop->LiveDuplications(), 0);
  EXPECT_EQ(desktop->LiveGrabbers(), 0);
  std::printf("frames read %lld, new runs seen by readers %d\n", static_cast<long long>(framesRead.load()),
              restartsSeen.load());
}

INSTANTIATE_TEST_SUITE_P(EachMode, CaptureDeviceStress, testing::Values(L"DXGI", L"DirectX", L"GDI"));

}  // namespace
