// TFrame: the frame object of the library. One object answers ICVFrame_I (the component's view), ICVFrame
// (the host's view) and ICVNamedValues. Free-threaded: every field is read and written under the frame's
// lock, so threads may share a frame. The bytes behind PixelsGet and AudioChannelGet belong to whoever
// holds the frame: the lock guards where they are, not what is written into them.
#pragma once

#include <atomic>
#include <cstdint>

#include "CVDeviceSCR.h"
#include "framelib/byte_buffer.h"
#include "framelib/named_numbers.h"
#include "framelib/planar_audio.h"
#include "platform/critical_section.h"

class TFrame final : public ICVFrame_I, public ICVFrame, public ICVNamedValues {
 public:
  // A new frame without format or picture, with no time, holding one reference.
  static TFrame* New();
  // The frame object behind an interface of a frame of this library, or null for any other object.
  static TFrame* Of(IUnknown* frame);

  // A new frame with the same format, time, picture, sound, labels and values; E_OUTOFMEMORY when the
  // copy can't be made. Reads this frame under its lock, so the copy is never half of one write. With
  // `sharePicture` the two frames share the picture's bytes until either is written to; the first
  // access that may write (PixelsGet, BytesGet, a drawing) gives that frame its own copy.
  HRESULT Copy(TFrame** copy, bool sharePicture = false);
  // Makes the picture buffer exactly `bytes` zero bytes; for a frame that no other thread holds yet.
  HRESULT AllocatePicture(int64_t bytes);
  // Runs work(const TVideoProps& video, uint8_t* pixels, int64_t bytes) under the frame's lock and gives
  // its result, so the picture can't move or shrink while the drawing code reads or writes it. `pixels`
  // is null and `bytes` 0 when the frame has no picture buffer.
  // A picture shared with another frame is made this frame's own first; when that copy can't be had the
  // work sees no picture.
  template <class Work>
  auto WithPicture(Work&& work) {
    Guard guard(lock_);
    const bool own = picture_.Unshare();
    uint8_t* pixels = own ? picture_.Data() : nullptr;
    return work(static_cast<const TVideoProps&>(props_.video), pixels, pixels ? pictureBytes_ : int64_t{0});
  }

  // IUnknown
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  // ICVFrame_I
  HRESULT STDMETHODCALLTYPE FormatGet(TAvProps* props, int32_t* audioBytes) override;
  HRESULT STDMETHODCALLTYPE FormatSet(const TAvProps* props, const wchar_t* hints) override;
  HRESULT STDMETHODCALLTYPE TimeGet(TFrameTime* time) override;  // also ICVFrame's
  HRESULT STDMETHODCALLTYPE TimeSet(const TFrameTime* time) override;
  HRESULT STDMETHODCALLTYPE AudioChannelGet(int32_t channel, int32_t mode, int32_t* bytes,
                                            uint8_t** samples) override;
  HRESULT STDMETHODCALLTYPE AudioCommit() override;
  HRESULT STDMETHODCALLTYPE AudioSet(const TAudioProps* props, int32_t bytes, int32_t reserved1,
                                     int32_t reserved2) override;
  HRESULT STDMETHODCALLTYPE PixelsGet(int32_t plane, uint8_t** pixels) override;
  HRESULT STDMETHODCALLTYPE FrameDuplicate(ICVFrame_I** frame, uint32_t mode, int32_t reserved) override;
  HRESULT STDMETHODCALLTYPE MarkupFill(int32_t reserved1, int32_t reserved2, int32_t x, int32_t y,
                                       double opacity, const wchar_t* markup, int32_t reserved3) override;
  HRESULT STDMETHODCALLTYPE FrameConvert(uint32_t colourFormat, int32_t width, int32_t height, int32_t reserved,
                                         ICVFrame_I** frame, const wchar_t* options, const wchar_t* hints) override;
  HRESULT STDMETHODCALLTYPE LabelSet(const wchar_t* name, int32_t reserved, int64_t value) override;
  HRESULT STDMETHODCALLTYPE TextDraw(const wchar_t* text, double size, const TTextPlacement* placement,
                                     int32_t alignment, const wchar_t* style) override;
  HRESULT STDMETHODCALLTYPE Overlay(ICVFrame_I* source, int32_t reserved1, const TOverlayRect* rect, int32_t flags,
                                    double opacity, int32_t reserved2, int32_t reserved3) override;

  // ICVFrame
  HRESULT STDMETHODCALLTYPE FormatGet(TAvProps* props) override;
  HRESULT STDMETHODCALLTYPE BytesGet(int64_t* size, uint8_t** bytes) override;
  HRESULT STDMETHODCALLTYPE LabelGet(const wchar_t* name, int64_t* value) override;

  // ICVNamedValues
  HRESULT STDMETHODCALLTYPE ValueSet(const wchar_t* name, int64_t value) override;
  HRESULT STDMETHODCALLTYPE ValueGet(const wchar_t* name, int64_t* value) override;
  HRESULT STDMETHODCALLTYPE ValueRemove(const wchar_t* name) override;

 private:
  // Reads the picture, time, labels and values under the lock and fills a frame that no one else holds.
  friend HRESULT ConvertFrame(TFrame& source, uint32_t colourFormat, int32_t width, int32_t height,
                              const wchar_t* options, const wchar_t* hints, ICVFrame_I** frame);

  TFrame();
  ~TFrame();
  TFrame(const TFrame&) = delete;
  TFrame& operator=(const TFrame&) = delete;

  using Guard = cvplat::SectionLock;

  std::atomic<ULONG> refs_{1};
  cvplat::CriticalSection lock_;
  TAvProps props_;
  TFrameTime time_;
  TByteBuffer picture_;
  int64_t pictureBytes_ = 0;  // the picture of the format, or the whole buffer when the format has none
  TPlanarAudio audio_;
  bool audioWriting_ = false;  // a channel was handed out for writing and AudioCommit hasn't come
  TNamedNumbers labels_;
  TNamedNumbers values_;
};
