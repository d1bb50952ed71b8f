// A device made as a host makes it, over the simulated platform, with its four faces at hand.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "device/capture_device.h"
#include "media/auto_obj.h"

struct TTestDevice {
  TTestDevice() : TTestDevice(cvplat::SimDevicePlatform()) {}
  explicit TTestDevice(std::shared_ptr<const cvplat::DevicePlatform> platform) {
    void* object = nullptr;
    status = CreateCaptureDevice(nullptr, IID_ICVDevice, &object, std::move(platform));
    if (FAILED(status)) return;
    device = TRefPtr<ICVDevice>::Adopt(static_cast<ICVDevice*>(object));
    source = Query<ICVSource_I>(device.Get(), IID_ICVSource_I);
    props = Query<ICVProps>(device.Get(), IID_ICVProps);
    format = Query<ICVFormat>(device.Get(), IID_ICVFormat);
  }

  // A small picture at a high rate keeps the tests quick on every build.
  void SmallAndFast(const wchar_t* fps = L"60") {
    props->PropsSet(L"capture.frame_size", L"240x160");
    props->PropsSet(L"capture.fps_limit", fps);
  }

  std::wstring Get(const wchar_t* name) {
    BSTR value = nullptr;
    if (props->PropsGet(name, &value) != S_OK) return L"<none>";
    std::wstring text(value, SysStringLen(value));
    SysFreeString(value);
    return text;
  }

  template <class T>
  static TRefPtr<T> Query(IUnknown* object, REFIID iid) {
    void* face = nullptr;
    if (FAILED(object->QueryInterface(iid, &face))) return {};
    return TRefPtr<T>::Adopt(static_cast<T*>(face));
  }

  HRESULT status = E_FAIL;
  TRefPtr<ICVDevice> device;
  TRefPtr<ICVSource_I> source;
  TRefPtr<ICVProps> props;
  TRefPtr<ICVFormat> format;
};

inline int64_t StartOf(ICVFrame_I* frame) {
  TFrameTime t{};
  frame->TimeGet(&t);
  return t.startTime;
}

inline uint32_t FlagsOf(ICVFrame_I* frame) {
  TFrameTime t{};
  frame->TimeGet(&t);
  return t.frameFlags;
}

// The frame's number from its stamps: frame n starts at n x duration.
inline int64_t NumberOf(ICVFrame_I* frame) {
  TFrameTime t{};
  frame->TimeGet(&t);
  const int64_t duration = t.endTime - t.startTime;
  return duration > 0 ? (t.startTime + duration / 2) / duration : -1;
}
