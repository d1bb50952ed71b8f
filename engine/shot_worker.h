// TShotWorker: the shot thread of the DirectX and GDI modes. The capture loop doesn't read the desktop
// itself: it hands the worker the rectangle it wants next and takes whatever shot is newest, so a slow
// grab never holds a pass back beyond the first shot. The loop owns one worker per run.
//
// Threads: the requests come from the capture thread alone; the shot thread runs the cycles. The two
// share only `lock_`, which neither holds during a grab or a wait. Regions pass only as whole copies.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "CVDeviceSCR.h"
#include "engine/capture_region.h"
#include "media/timed_wait.h"
#include "media/worker_thread.h"
#include "platform/auto_obj.h"
#include "platform/critical_section.h"
#include "platform/desktop.h"
#include "platform/gpu.h"
#include "platform/kernel.h"

class TShotWorker {
 public:
  // How long (100 ns units) the first request waits for the first shot, so a desktop that can never be
  // read doesn't hold the capture thread, and with it Stop, for ever.
  static constexpr int64_t kFirstShotLimit = 2 * 10'000'000;

  // `makeGrabber` is called once, on the shot thread, for that thread's own grabber.
  explicit TShotWorker(std::function<std::unique_ptr<cvplat::IScreenGrabber>()> makeGrabber,
                       int64_t firstShotLimit = kFirstShotLimit);
  // Stops the shot thread, waiting for its current grab, then drops the grabber's cached objects and
  // the shot.
  ~TShotWorker();
  TShotWorker(const TShotWorker&) = delete;
  TShotWorker& operator=(const TShotWorker&) = delete;

  // The device the texture shots are made on; not owned. The hardware loop sets it at its start,
  // before its first request, and it isn't changed afterwards.
  void SetDevice(cvplat::IGpuDevice* device) { device_.store(device, std::memory_order_release); }

  // Asks for a shot of `region.current` and gives the newest shot there is, with the region it was taken
  // for in `region`. The first request starts the shot thread and waits for the first shot (up to
  // the first-shot limit); a later one waits up to `timeout` (100 ns units, 0: not at all). Any wait also ends
  // on the calling thread's capture stop signal. 0: a shot finished since the last request; 1: `shot` is
  // the previous one, or null (with `region` untouched) while no shot has ever succeeded.
  HRESULT RequestHardwareShot(TCaptureRegion& region, TRefPtr<cvplat::IGpuTexture2D>& shot, int64_t timeout);
  HRESULT RequestSoftwareShot(TCaptureRegion& region, TRefPtr<ICVFrame_I>& shot, int64_t timeout);

 private:
  enum class Kind { Texture, Frame };

  // Steps shared by both requests; `kind` picks the cycle when this request starts the thread.
  bool Request(Kind kind, TCaptureRegion& region, int64_t timeout, TRefPtr<cvplat::IGpuTexture2D>* texture,
               TRefPtr<ICVFrame_I>* frame);

  static uint32_t CV_THREADCALL ThreadMain(void* context);
  void RunShots();
  void TakeShot();
  HRESULT ShootSurface(TCaptureRegion& region, TRefPtr<cvplat::IGpuTexture2D>& texture);
  HRESULT ShootFrame(TCaptureRegion& region, TRefPtr<ICVFrame_I>& frame);
  // One grab into memory with the size rule of the cached objects: a size other than the stored one is
  // stored and fails, so the caller's retry runs on fresh objects.
  HRESULT GrabBitmap(uint8_t* pixels, int32_t pitch, const TRect& current, TFrameTime& time);

  cvplat::CriticalSection lock_;  // guards request_, result_, the shots and ready_'s state change
  TCaptureRegion request_{};
  TCaptureRegion result_{};
  TRefPtr<cvplat::IGpuTexture2D> textureShot_;
  TRefPtr<ICVFrame_I> frameShot_;
  cvplat::KHandle ready_ = nullptr;  // manual reset: a shot has finished since the last request

  TTimedWait wait_;  // the capture thread's
  TWorkerThread thread_;
  Kind kind_ = Kind::Frame;  // written before the thread starts
  const int64_t firstShotLimit_;

  std::atomic<cvplat::IGpuDevice*> device_{nullptr};

  // The shot thread's alone while it runs.
  std::function<std::unique_ptr<cvplat::IScreenGrabber>()> makeGrabber_;
  std::unique_ptr<cvplat::IScreenGrabber> grabber_;
  int32_t grabWidth_ = -1;  // the size the grabber's cached objects were made for
  int32_t grabHeight_ = -1;
};
