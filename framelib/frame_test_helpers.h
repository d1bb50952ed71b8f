// Helpers shared by the frame library's tests.
#pragma once

#include <cstring>

#include "CVDeviceSCR.h"
#include "framelib/frame_factory.h"
#include "media/auto_obj.h"
#include "media/colour_formats.h"

using FramePtr = TRefPtr<ICVFrame_I>;

inline TRefPtr<ICVFactory> Factory() { return TRefPtr<ICVFactory>::Adopt(GetFrameFactory()); }

// A frame of the factory with a picture of `colour`, `width` x `height` (rowBytes from the line rules).
inline FramePtr MakeFrame(uint32_t colour = kColourRGB32, int32_t width = 16, int32_t height = -8,
                          int32_t rowBytes = 0) {
  TVideoProps v{};
  v.colourFormat = colour;
  v.width = width;
  v.height = height;
  v.rowBytes = rowBytes;
  v.frameRate = 25;
  ICVFrame_I* frame = nullptr;
  Factory()->FrameCreate(&v, 0, 0, 0, 0, &frame, nullptr);
  return FramePtr::Adopt(frame);
}

// Another interface of the same object, holding its own reference.
template <class Itf>
TRefPtr<Itf> Query(IUnknown* object, REFIID iid) {
  void* itf = nullptr;
  if (FAILED(object->QueryInterface(iid, &itf))) return {};
  return TRefPtr<Itf>::Adopt(static_cast<Itf*>(itf));
}

inline TFrameTime Stamp(int64_t start, int64_t end, uint32_t flags = 0) {
  TFrameTime t{};
  t.startTime = start;
  t.endTime = end;
  t.frameFlags = flags;
  return t;
}

inline bool SameBytes(const void* a, const void* b, size_t n) { return std::memcmp(a, b, n) == 0; }
