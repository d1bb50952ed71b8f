#include "framelib/frame.h"

#include <cstring>
#include <new>

#include "framelib/frame_convert.h"
#include "framelib/frame_fill.h"
#include "framelib/frame_overlay.h"
#include "framelib/frame_text.h"
#include "framelib/picture_layout.h"

TFrame::TFrame() : props_{}, time_{} {
  time_.startTime = kNoTime;
  time_.endTime = kNoTime;
}

TFrame::~TFrame() = default;

TFrame* TFrame::New() { return new (std::nothrow) TFrame(); }

TFrame* TFrame::Of(IUnknown* frame) { return frame ? dynamic_cast<TFrame*>(frame) : nullptr; }

HRESULT TFrame::Copy(TFrame** copy, bool sharePicture) {
  if (!copy) return E_POINTER;
  *copy = nullptr;
  TFrame* made = New();
  if (!made) return E_OUTOFMEMORY;
  {
    Guard guard(lock_);
    made->props_ = props_;
    made->time_ = time_;
    made->pictureBytes_ = pictureBytes_;
    const bool picture = sharePicture ? picture_.ShareTo(&made->picture_) : picture_.CopyTo(&made->picture_);
    if (!picture || !audio_.CopyTo(&made->audio_) || !labels_.CopyTo(&made->labels_) ||
        !values_.CopyTo(&made->values_)) {
      made->Release();
      return E_OUTOFMEMORY;
    }
  }
  *copy = made;
  return S_OK;
}

HRESULT TFrame::AllocatePicture(int64_t bytes) {
  TByteBuffer buffer;
  if (bytes < 0) return E_INVALIDARG;
  if (!TByteBuffer::Make(bytes, true, &buffer)) return E_OUTOFMEMORY;
  Guard guard(lock_);
  picture_ = std::move(buffer);
  pictureBytes_ = bytes;
  return S_OK;
}

// ---- IUnknown ----

HRESULT TFrame::QueryInterface(REFIID riid, void** object) {
  if (!object) return E_POINTER;
  if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_ICVFrame_I)) {
    *object = static_cast<ICVFrame_I*>(this);
  } else if (IsEqualIID(riid, IID_ICVFrame)) {
    *object = static_cast<ICVFrame*>(this);
  } else if (IsEqualIID(riid, IID_ICVNamedValues)) {
    *object = static_cast<ICVNamedValues*>(this);
  } else {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  AddRef();
  return S_OK;
}

ULONG TFrame::AddRef() { return refs_.fetch_add(1, std::memory_order_relaxed) + 1; }

ULONG TFrame::Release() {
  const ULONG left = refs_.fetch_sub(1, std::memory_order_acq_rel) - 1;
  if (left == 0) delete this;
  return left;
}

// ---- format and time ----

HRESULT TFrame::FormatGet(TAvProps* props, int32_t* audioBytes) {
  if (!props) return E_POINTER;
  Guard guard(lock_);
  *props = props_;
  if (audioBytes) *audioBytes = audio_.BytesPerChannel();
  return S_OK;
}

HRESULT TFrame::FormatGet(TAvProps* props) { return FormatGet(props, nullptr); }

HRESULT TFrame::FormatSet(const TAvProps* props, const wchar_t* /*hints*/) {
  if (!props) return E_POINTER;
  TPictureLayout layout{};
  const TPictureKind kind = PictureLayoutOf(props->video, &layout);
  if (kind == TPictureKind::Invalid) return E_INVALIDARG;
  const TAvProps wanted = *props;  // the caller may pass a record that another thread writes into

  Guard guard(lock_);
  if (kind == TPictureKind::Picture && picture_.Size() < layout.imageBytes) {
    // Grow, keeping what was written: a shot fills the buffer of FrameAlloc first and names it after.
    TByteBuffer grown;
    if (!TByteBuffer::Make(layout.imageBytes, true, &grown)) return E_OUTOFMEMORY;
    if (picture_.Size() > 0) std::memcpy(grown.Data(), picture_.Data(), static_cast<size_t>(picture_.Size()));
    picture_ = std::move(grown);
  }
  const bool audioChanged = std::memcmp(&props_.audio, &wanted.audio, sizeof(TAudioProps)) != 0;
  props_ = wanted;
  if (kind == TPictureKind::Picture) {
    props_.video.rowBytes = layout.rowBytes;
    pictureBytes_ = layout.imageBytes;
  } else {
    pictureBytes_ = picture_.Size();
  }
  if (audioChanged) {
    // Samples of another format would be read wrongly: they go, and AudioSet lays out new ones.
    audio_.Clear();
    audioWriting_ = false;
  }
  return S_OK;
}

HRESULT TFrame::TimeGet(TFrameTime* time) {
  if (!time) return E_POINTER;
  Guard guard(lock_);
  *time = time_;
  return S_OK;
}

HRESULT TFrame::TimeSet(const TFrameTime* time) {
  if (!time) return E_POINTER;
  const TFrameTime wanted = *time;
  Guard guard(lock_);
  time_ = wanted;
  return S_OK;
}

// ---- sound ----

HRESULT TFrame::AudioChannelGet(int32_t channel, int32_t mode, int32_t* bytes, uint8_t** samples) {
  if (!samples) return E_POINTER;
  *samples = nullptr;
  if (bytes) *bytes = 0;
  if (mode != kAudioChannelRead && mode != kAudioChannelWrite) return E_INVALIDARG;
  Guard guard(lock_);
  if (channel < 0 || channel >= audio_.Channels()) return CV_E_BAD_INDEX;
  *samples = audio_.Channel(channel);
  if (bytes) *bytes = audio_.BytesPerChannel();
  if (mode == kAudioChannelWrite) audioWriting_ = true;
  return S_OK;
}

HRESULT TFrame::AudioCommit() {
  Guard guard(lock_);
  if (!audioWriting_) return S_FALSE;
  audioWriting_ = false;
  return S_OK;
}

HRESULT TFrame::AudioSet(const TAudioProps* props, int32_t bytes, int32_t /*reserved1*/, int32_t /*reserved2*/) {
  static constexpr TAudioProps kNone{};
  const TAudioProps wanted = props ? *props : kNone;
  if (std::memcmp(&wanted, &kNone, sizeof(TAudioProps)) == 0) {
    if (bytes != 0) return E_INVALIDARG;
    Guard guard(lock_);
    audio_.Clear();
    props_.audio = kNone;
    audioWriting_ = false;
    return S_OK;
  }
  TPlanarAudio made;
  if (const HRESULT hr = made.Set(wanted, bytes); FAILED(hr)) return hr;
  Guard guard(lock_);
  audio_ = std::move(made);
  props_.audio = wanted;
  audioWriting_ = false;
  return S_OK;
}

// ---- picture ----

HRESULT TFrame::PixelsGet(int32_t plane, uint8_t** pixels) {
  if (!pixels) return E_POINTER;
  *pixels = nullptr;
  if (plane != 0) return E_INVALIDARG;
  Guard guard(lock_);
  if (!picture_.Unshare()) return E_OUTOFMEMORY;
  *pixels = picture_.Data();
  return *pixels ? S_OK : S_FALSE;
}

HRESULT TFrame::BytesGet(int64_t* size, uint8_t** bytes) {
  if (!size && !bytes) return E_POINTER;
  Guard guard(lock_);
  if (!picture_.Unshare()) return E_OUTOFMEMORY;
  if (size) *size = picture_.Data() ? pictureBytes_ : 0;
  if (bytes) *bytes = picture_.Data();
  return picture_.Data() ? S_OK : S_FALSE;
}

HRESULT TFrame::FrameDuplicate(ICVFrame_I** frame, uint32_t mode, int32_t /*reserved*/) {
  if (!frame) return E_POINTER;
  *frame = nullptr;
  if (mode != kFrameDuplicateRepeat && mode != kFrameDuplicateWork) return E_INVALIDARG;
  TFrame* copy = nullptr;
  // A repeated frame usually goes out unchanged: its bytes are copied only when one of the two is drawn on.
  const HRESULT hr = Copy(&copy, true);
  if (SUCCEEDED(hr)) *frame = copy;
  return hr;
}

// ---- drawing ----

HRESULT TFrame::MarkupFill(int32_t, int32_t, int32_t x, int32_t y, double opacity, const wchar_t* markup, int32_t) {
  return FillMarkupRect(*this, x, y, opacity, markup);
}

HRESULT TFrame::FrameConvert(uint32_t colourFormat, int32_t width, int32_t height, int32_t /*reserved*/,
                             ICVFrame_I** frame, const wchar_t* options, const wchar_t* hints) {
  return ConvertFrame(*this, colourFormat, width, height, options, hints, frame);
}

HRESULT TFrame::TextDraw(const wchar_t* text, double size, const TTextPlacement* placement, int32_t alignment,
                         const wchar_t* style) {
  return ::TextDraw(this, text, size, placement, alignment, style);
}

HRESULT TFrame::Overlay(ICVFrame_I* source, int32_t, const TOverlayRect* rect, int32_t flags, double opacity, int32_t,
                        int32_t) {
  return OverlayFrame(*this, source, rect, flags, opacity);
}

// ---- labels and values ----

HRESULT TFrame::LabelSet(const wchar_t* name, int32_t /*reserved*/, int64_t value) {
  Guard guard(lock_);
  return labels_.Set(name, value);
}

HRESULT TFrame::LabelGet(const wchar_t* name, int64_t* value) {
  Guard guard(lock_);
  return labels_.Get(name, value);
}

HRESULT TFrame::ValueSet(const wchar_t* name, int64_t value) {
  Guard guard(lock_);
  return values_.Set(name, value);
}

HRESULT TFrame::ValueGet(const wchar_t* name, int64_t* value) {
  Guard guard(lock_);
  return values_.Get(name, value);
}

HRESULT TFrame::ValueRemove(const wchar_t* name) {
  Guard guard(lock_);
  return values_.Remove(name);
}
