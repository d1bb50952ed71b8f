#include "framelib/frame_factory.h"

#include <atomic>
#include <cstring>
#include <type_traits>

#include "framelib/frame.h"
#include "framelib/picture_layout.h"
#include "media/colour_formats.h"
#include "platform/bitmap.h"

namespace {

class TFrameFactory final : public ICVFactory {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override {
    if (!object) return E_POINTER;
    if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_ICVFactory)) {
      *object = static_cast<ICVFactory*>(this);
      AddRef();
      return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
  }
  // The factory lives as long as the process: the count is kept for callers' sake, never acted on.
  ULONG STDMETHODCALLTYPE AddRef() override { return refs_.fetch_add(1, std::memory_order_relaxed) + 1; }
  ULONG STDMETHODCALLTYPE Release() override { return refs_.fetch_sub(1, std::memory_order_relaxed) - 1; }

  HRESULT STDMETHODCALLTYPE FrameClone(ICVFrame_I* source, ICVFrame_I** frame, uint32_t mode,
                                       int32_t /*reserved*/) override {
    if (!frame) return E_POINTER;
    *frame = nullptr;
    if (mode != kFrameCloneOwned) return E_INVALIDARG;
    return CopyOf(source, frame);
  }

  HRESULT STDMETHODCALLTYPE FrameDuplicate(ICVFrame_I* source, ICVFrame_I** frame, uint32_t mode) override {
    if (!frame) return E_POINTER;
    *frame = nullptr;
    if (mode != kFrameDuplicateRepeat && mode != kFrameDuplicateWork) return E_INVALIDARG;
    // The picture is shared until one of the two frames is written to.
    return CopyOf(source, frame, true);
  }

  HRESULT STDMETHODCALLTYPE FrameCreate(const TVideoProps* props, uint64_t pixels, int32_t, int32_t, int32_t,
                                        ICVFrame_I** frame, const wchar_t* hints) override {
    if (!frame) return E_POINTER;
    *frame = nullptr;
    if (!props) return E_POINTER;
    TPictureLayout layout{};
    if (PictureLayoutOf(*props, &layout) != TPictureKind::Picture) return E_INVALIDARG;
    if (pixels != static_cast<uintptr_t>(pixels)) return E_INVALIDARG;  // beyond this build's addresses
    TAvProps av{};
    av.video = *props;
    TFrame* made = nullptr;
    if (const HRESULT hr = Make(av, hints, &made); FAILED(hr)) return hr;
    if (pixels) {
      uint8_t* target = nullptr;
      made->PixelsGet(0, &target);
      std::memcpy(target, reinterpret_cast<const void*>(static_cast<uintptr_t>(pixels)),
                  static_cast<size_t>(layout.imageBytes));
    }
    *frame = made;
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE FrameFromBitmap(uint64_t bitmap, ICVFrame_I** frame, int32_t /*reserved*/) override {
    if (!frame) return E_POINTER;
    *frame = nullptr;
    if (!bitmap) return E_INVALIDARG;
    int32_t width = 0, height = 0;
    if (const HRESULT hr = cvplat::BitmapSize(bitmap, &width, &height); FAILED(hr)) return hr;
    if (width <= 0 || height <= 0) return E_INVALIDARG;
    // Read top line first, which an RGB format says with a negative height; ARGB keeps a pointer's alpha.
    TAvProps av{};
    av.video.colourFormat = kColourARGB32;
    av.video.width = width;
    av.video.height = -height;
    av.video.rowBytes = ColourRowBytes(kColourARGB32, width);
    av.video.scan = 3;
    TFrame* made = nullptr;
    if (const HRESULT hr = Make(av, nullptr, &made); FAILED(hr)) return hr;
    uint8_t* pixels = nullptr;
    made->PixelsGet(0, &pixels);
    if (const HRESULT hr = cvplat::ReadBitmapPixels(bitmap, width, height, pixels); FAILED(hr)) {
      made->Release();
      return hr;
    }
    *frame = made;
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE FrameAlloc(int64_t bytes, ICVFrame_I** frame) override {
    if (!frame) return E_POINTER;
    *frame = nullptr;
    if (bytes < 0) return E_INVALIDARG;
    TFrame* made = TFrame::New();
    if (!made) return E_OUTOFMEMORY;
    if (const HRESULT hr = made->AllocatePicture(bytes); FAILED(hr)) {
      made->Release();
      return hr;
    }
    *frame = made;
    return S_OK;
  }

 private:
  // Frames of other libraries can't be copied whole (their labels can't be listed): they are refused.
  static HRESULT CopyOf(ICVFrame_I* source, ICVFrame_I** frame, bool sharePicture = false) {
    if (!source) return E_POINTER;
    TFrame* own = TFrame::Of(source);
    if (!own) return E_INVALIDARG;
    TFrame* copy = nullptr;
    const HRESULT hr = own->Copy(&copy, sharePicture);
    if (SUCCEEDED(hr)) *frame = copy;
    return hr;
  }

  // A new frame of format `av` with a black picture.
  static HRESULT Make(const TAvProps& av, const wchar_t* hints, TFrame** frame) {
    TFrame* made = TFrame::New();
    if (!made) return E_OUTOFMEMORY;
    const HRESULT hr = made->FormatSet(&av, hints);
    if (FAILED(hr)) {
      made->Release();
      return hr;
    }
    *frame = made;
    return S_OK;
  }

  std::atomic<ULONG> refs_{0};
};

// The factory outlives its last user only because destroying it is a no-op.
static_assert(std::is_trivially_destructible_v<TFrameFactory>);

}  // namespace

ICVFactory* GetFrameFactory() {
  // Made once, thread-safely, by the first caller. It holds no resources and its destructor does
  // nothing, so frames released during the process's exit still find it, and a module unloaded after
  // use leaves nothing behind.
  static TFrameFactory factory;
  factory.AddRef();
  return &factory;
}
