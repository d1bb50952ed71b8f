// The GPU objects of the hardware loop and the passes made with them: cropping the desktop to the
// captured rectangle, the final pass that scales, paints what lies outside the screen and the visible
// part and packs the pixels, and the readback into memory.
//
// Threads: everything here belongs to the capture thread, with one exception: CreateSamplerByName comes
// from whichever host thread changed "capture.sampler_type", while the capture thread may be drawing.
// The draw takes its own reference to the sampler, so a replaced one lives until that draw is done.
// Device() and Context() hand out pointers that stay valid until Release.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>

#include "engine/capture_region.h"
#include "media/locked_ptr.h"
#include "platform/auto_obj.h"
#include "platform/gpu.h"
#include "platform/rect.h"

namespace XMLParse {
class CoXMLNode;
}

class TGpuPipeline {
 public:
  TGpuPipeline() = default;
  ~TGpuPipeline() { Release(); }
  TGpuPipeline(const TGpuPipeline&) = delete;
  TGpuPipeline& operator=(const TGpuPipeline&) = delete;

  // The device and every object the passes share. 1 on success, 0 on any failure; what was made stays
  // until Release. A sampler that can't be made is no failure: the draws then run without one.
  int InitDevice(const cvplat::GpuDeviceFactory& factory, XMLParse::CoXMLNode* props);
  // Callable in any state, also twice.
  void Release();

  cvplat::IGpuDevice* Device() const { return device_.Get(); }
  cvplat::IGpuContext* Context() const { return context_.Get(); }

  // Replaces the sampler of all draws by one for `name` ("linear", "anisotropic", anything else point).
  // Without a device, or when the new one can't be made, the old one stays and nothing is reported.
  void CreateSamplerByName(const wchar_t* name);

  // Keeps `texture` if it has `rect`'s size, else makes a render target of that size in its place.
  HRESULT EnsureRenderTexture(const TRect& rect, TRefPtr<cvplat::IGpuTexture2D>& texture);
  // Copies `rect`'s width and height from the top left corner of `src` to that of `dst`.
  HRESULT CopyTextureFromOrigin(cvplat::IGpuTexture2D* dst, cvplat::IGpuTexture2D* src, const TRect& rect);
  // Crops `desktopCopy`, the picture of `screen`, to `current` in `work`. Where `current` lies off the
  // screen `work` keeps what it held; the final pass paints that part.
  HRESULT CopyRegionToWork(cvplat::IGpuTexture2D* desktopCopy, const TRect& screen, const TRect& current,
                           TRefPtr<cvplat::IGpuTexture2D>& work);
  // The final pass: `picture` (of `region.current`) into a new output texture of the frame's W x H, W / 2
  // texels wide in HDYC. E_FAIL when the view, the texture or its target can't be made; `output` is
  // then empty.
  HRESULT RenderOutputFrame(cvplat::IGpuTexture2D* picture, const TCaptureRegion& region, int32_t W, int32_t H,
                            XMLParse::CoXMLNode* props, TRefPtr<cvplat::IGpuTexture2D>& output);
  // Reads `output` back through a staging texture and calls `use(data, rowPitch, width in texels,
  // height)` while it is mapped. The first failing step is the result, and `use` isn't called.
  HRESULT ReadBack(cvplat::IGpuTexture2D* output,
                   const std::function<void(const uint8_t*, uint32_t, uint32_t, uint32_t)>& use);
  // A new default-usage texture of `rect`'s size with no bind flags, in place of `texture`.
  HRESULT CreateDesktopCopy(const TRect& rect, TRefPtr<cvplat::IGpuTexture2D>& texture);

  // The pictures of the overlays, loaded by the overlay code; Release lets them go with the rest.
  TRefPtr<cvplat::IGpuTexture2D> stockTextures[3];

  // For the overlay draws, which share the pipeline's objects.
  cvplat::IGpuBlendState* BlendState() const { return blendState_.Get(); }
  cvplat::IGpuInputLayout* InputLayout() const { return inputLayout_.Get(); }
  cvplat::IGpuProgram* VertexProgram() const { return vertexProgram_.Get(); }
  cvplat::IGpuProgram* OverlayProgram() const { return overlayProgram_.Get(); }
  cvplat::IGpuProgram* ColouredOverlayProgram() const { return colouredOverlayProgram_.Get(); }
  TRefPtr<cvplat::IGpuSamplerState> Sampler() const { return sampler_.Get(); }

 private:
  // Written on the capture thread only, read by CreateSamplerByName on any thread.
  TLockedPtr<cvplat::IGpuDevice> samplerDevice_;
  // Serialises the replacing of the sampler with its release, so no sampler is made after Release.
  std::mutex samplerWrite_;
  TLockedPtr<cvplat::IGpuSamplerState> sampler_;

  TRefPtr<cvplat::IGpuDevice> device_;
  TRefPtr<cvplat::IGpuContext> context_;
  TRefPtr<cvplat::IGpuProgram> vertexProgram_;
  TRefPtr<cvplat::IGpuProgram> mainProgram_;
  TRefPtr<cvplat::IGpuProgram> overlayProgram_;
  TRefPtr<cvplat::IGpuProgram> colouredOverlayProgram_;
  TRefPtr<cvplat::IGpuInputLayout> inputLayout_;
  TRefPtr<cvplat::IGpuBuffer> quad_;
  TRefPtr<cvplat::IGpuBlendState> blendState_;
};
