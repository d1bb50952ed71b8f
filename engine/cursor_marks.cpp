#include "engine/cursor_marks.h"

#include <vector>

#include "media/colour_formats.h"
#include "props/xml_node.h"

using namespace cvplat;

namespace {

constexpr uint32_t kDefaultHighlightColour = 0x8800FFFFu;
constexpr int32_t kHighlightHalf = 35;
constexpr int32_t kHighlightSide = 2 * kHighlightHalf;
constexpr UINT kVertexStride = 20;

TOverlayRect At(double x, double y, double width, double height) { return TOverlayRect{x, y, width, height}; }

// The overlay flag of the frame library: blend as the gpu's blend state does.
constexpr int32_t kOverlayStraight = 1;

}  // namespace

// ---- hardware loop ----

HRESULT DrawOverlayTexture(TGpuPipeline& gpu, IGpuTexture2D* target, const TCaptureRegion& region,
                           IGpuTexture2D* overlay, const TRect& rect, const uint32_t* colour) {
  const TRect& current = region.current;
  if (current.left > rect.right || rect.left > current.right || current.top > rect.bottom ||
      rect.top > current.bottom)
    return S_FALSE;
  IGpuDevice* const device = gpu.Device();
  IGpuContext* const context = gpu.Context();
  if (!device || !context || !target || !overlay) return E_FAIL;

  const int32_t cx = (current.left + current.right) / 2;
  const int32_t cy = (current.top + current.bottom) / 2;
  const int32_t hw = (current.right - current.left) / 2;
  const int32_t hh = (current.bottom - current.top) / 2;
  // A picture under two pixels either way has no room for a mark, and the clip space would divide by 0.
  if (hw == 0 || hh == 0) return S_FALSE;

  context->IASetInputLayout(gpu.InputLayout());
  const GpuViewport viewport{0.0f, 0.0f, static_cast<float>(RectWidth(current)),
                             static_cast<float>(RectHeight(current)), 0.0f, 1.0f};
  context->RSSetViewports(1, &viewport);
  TRefPtr<IGpuRenderTargetView> targetView;
  if (FAILED(device->CreateRenderTargetView(target, nullptr, targetView.Receive()))) return E_FAIL;
  IGpuRenderTargetView* const targets[1] = {targetView.Get()};
  context->OMSetRenderTargets(1, targets);

  const float L = static_cast<float>(rect.left - cx) / static_cast<float>(hw);
  const float R = static_cast<float>(rect.right - cx) / static_cast<float>(hw);
  const float T = static_cast<float>(cy - rect.top) / static_cast<float>(hh);
  const float B = static_cast<float>(cy - rect.bottom) / static_cast<float>(hh);
  const float vertices[30] = {L, B, 0, 0, 1, L, T, 0, 0, 0, R, B, 0, 1, 1,
                              R, B, 0, 1, 1, L, T, 0, 0, 0, R, T, 0, 1, 0};
  static_assert(sizeof vertices == 6 * kVertexStride);

  IGpuRenderTargetView* const none[1] = {nullptr};
  TRefPtr<IGpuShaderResourceView> view;
  TRefPtr<IGpuBuffer> quad;
  GpuBufferDesc quadDesc;
  quadDesc.byteWidth = sizeof vertices;
  quadDesc.usage = GpuUsage::Default;
  quadDesc.bindFlags = kGpuBindVertexBuffer;
  const GpuSubresourceData quadData{vertices, 0, 0};
  if (FAILED(device->CreateShaderResourceView(overlay, nullptr, view.Receive())) ||
      FAILED(device->CreateBuffer(&quadDesc, &quadData, quad.Receive()))) {
    context->OMSetRenderTargets(1, none);
    return E_FAIL;
  }

  IGpuProgram* program = gpu.OverlayProgram();
  TRefPtr<IGpuBuffer> constants;
  if (colour && *colour != 0) {
    float rgba[4];
    for (int i = 0; i < 4; ++i) rgba[i] = static_cast<float>((*colour >> (8 * i)) & 0xFFu) / 255.0f;
    GpuBufferDesc desc;
    desc.byteWidth = sizeof rgba;
    desc.usage = GpuUsage::Dynamic;
    desc.bindFlags = kGpuBindConstantBuffer;
    desc.cpuAccessFlags = kGpuCpuAccessWrite;
    const GpuSubresourceData data{rgba, 0, 0};
    // Without its colour the disc is drawn as a plain picture of its mask.
    if (SUCCEEDED(device->CreateBuffer(&desc, &data, constants.Receive())) && constants) {
      IGpuBuffer* const buffers[1] = {constants.Get()};
      context->PSSetConstantBuffers(0, 1, buffers);
      program = gpu.ColouredOverlayProgram();
    }
  }
  context->PSSetShader(program);

  IGpuBuffer* const vertexBuffers[1] = {quad.Get()};
  const UINT stride = kVertexStride;
  const UINT offset = 0;
  const float factor[4] = {0.0f, 0.0f, 0.0f, 0.0f};
  const TRefPtr<IGpuSamplerState> sampler = gpu.Sampler();
  IGpuShaderResourceView* const views[1] = {view.Get()};
  IGpuSamplerState* const samplers[1] = {sampler.Get()};
  context->IASetPrimitiveTopology(GpuTopology::TriangleList);
  context->IASetVertexBuffers(0, 1, vertexBuffers, &stride, &offset);
  context->OMSetBlendState(gpu.BlendState(), factor, 0xFFFFFFFFu);
  context->VSSetShader(gpu.VertexProgram());
  context->PSSetShaderResources(0, 1, views);
  context->PSSetSamplers(0, 1, samplers);
  context->Draw(6, 0);
  context->OMSetRenderTargets(1, none);
  return S_OK;
}

HRESULT DrawCursorTexture(TGpuPipeline& gpu, TCursorOverlay& cursor, IGpuTexture2D* target, const int32_t* position,
                          const TCaptureRegion& region) {
  int32_t x = 0;
  int32_t y = 0;
  if (HRESULT hr = cursor.QueryCursorImage(&x, &y); FAILED(hr)) return hr;
  if (position) {
    x = position[0];
    y = position[1];
  }
  IGpuDevice* const device = gpu.Device();
  if (!device) return E_FAIL;
  const TCursorImage& image = cursor.Image();
  GpuTexture2DDesc desc;
  desc.width = static_cast<UINT>(image.width);
  desc.height = static_cast<UINT>(image.height);
  desc.format = GpuFormat::B8G8R8A8Unorm;
  desc.usage = GpuUsage::Default;
  desc.bindFlags = kGpuBindShaderResource;
  const GpuSubresourceData data{image.pixels.data(), static_cast<UINT>(image.width) * 4u, 0};
  // A texture for each frame: the pointer is small, and its picture stays in memory between frames.
  TRefPtr<IGpuTexture2D> texture;
  if (HRESULT hr = device->CreateTexture2D(&desc, &data, texture.Receive()); FAILED(hr)) return hr;
  const TRect rect{x, y, x + image.width, y + image.height};
  return DrawOverlayTexture(gpu, target, region, texture.Get(), rect, nullptr);
}

void DrawHardwareMarks(TGpuPipeline& gpu, TCursorOverlay& cursor, const TCursorState& state, IGpuTexture2D* target,
                       const TCaptureRegion& region, XMLParse::CoXMLNode* props) {
  if (!cursor.HasPointer()) return;
  const int32_t x = state.x;
  const int32_t y = state.y;
  if (cursor.HighlightShowing()) {
    const uint32_t colour =
        props ? props->GetColor(L"capture.highlight_mouse_color", kDefaultHighlightColour) : kDefaultHighlightColour;
    const TRect rect{x - kHighlightHalf, y - kHighlightHalf, x + kHighlightHalf, y + kHighlightHalf};
    DrawOverlayTexture(gpu, target, region, gpu.stockTextures[kStockIndexHighlight].Get(), rect, &colour);
  }
  if (state.clickCounter != 0 && props && props->GetBool(L"capture.show_clicks", false)) {
    const int32_t half = ClickRingSize(state.clickCounter) / 2;
    const int index = state.clickCounter > 0 ? kStockIndexRightClick : kStockIndexLeftClick;
    const TRect rect{x - half, y - half, x + half, y + half};
    DrawOverlayTexture(gpu, target, region, gpu.stockTextures[index].Get(), rect, nullptr);
  }
  if (cursor.PointerShowing()) DrawCursorTexture(gpu, cursor, target, nullptr, region);
}

// ---- software loop ----

HRESULT TintHighlightFrame(ICVFrame_I* mask, uint32_t colour, ICVFactory* factory, ICVFrame_I** frame) {
  if (!mask || !factory || !frame) return E_POINTER;
  *frame = nullptr;
  TAvProps props{};
  if (HRESULT hr = mask->FormatGet(&props, nullptr); FAILED(hr)) return hr;
  TVideoProps video = props.video;
  const int32_t width = video.width;
  const int32_t height = video.height < 0 ? -video.height : video.height;
  if (video.colourFormat != kColourRGB32 || width <= 0 || height <= 0 || video.rowBytes < width * 4)
    return CV_E_FORMAT_REFUSED;
  uint8_t* pixels = nullptr;
  if (HRESULT hr = mask->PixelsGet(0, &pixels); FAILED(hr) || !pixels) return FAILED(hr) ? hr : E_POINTER;

  const uint32_t transparency = colour >> 24;
  const uint32_t red = colour & 0xFFu;
  const uint32_t green = (colour >> 8) & 0xFFu;
  const uint32_t blue = (colour >> 16) & 0xFFu;
  const int32_t bytesPerPixel = video.rowBytes / width;
  std::vector<uint8_t> out(static_cast<size_t>(width) * 4u * static_cast<size_t>(height));
  for (int32_t row = 0; row < height; ++row) {
    const uint8_t* in = pixels + static_cast<size_t>(row) * static_cast<size_t>(video.rowBytes);
    uint8_t* to = &out[static_cast<size_t>(row) * static_cast<size_t>(width) * 4u];
    for (int32_t i = 0; i < width; ++i, in += bytesPerPixel, to += 4) {
      const uint32_t a = *in * (255u - transparency) / 255u;
      to[0] = static_cast<uint8_t>(blue * a / 255u);
      to[1] = static_cast<uint8_t>(green * a / 255u);
      to[2] = static_cast<uint8_t>(red * a / 255u);
      to[3] = static_cast<uint8_t>(a);
    }
  }
  // The rows keep their order, so the disc lies where the mask does.
  video.colourFormat = kColourARGB32;
  video.rowBytes = width * 4;
  return factory->FrameCreate(&video, reinterpret_cast<uintptr_t>(out.data()), 0, 0, 0, frame, nullptr);
}

void DrawSoftwareMarks(ICVFactory* factory, ICVFrame_I* const stockFrames[3], TCursorOverlay& cursor,
                       const TCursorState& state, ICVFrame_I* target, const TCaptureRegion& region,
                       XMLParse::CoXMLNode* props) {
  if (!factory || !target || !cursor.HasPointer()) return;
  const double left = region.current.left;
  const double top = region.current.top;
  const int32_t x = state.x;
  const int32_t y = state.y;

  if (cursor.HighlightShowing() && stockFrames[kStockIndexHighlight]) {
    const uint32_t colour =
        props ? props->GetColor(L"capture.highlight_mouse_color", kDefaultHighlightColour) : kDefaultHighlightColour;
    ICVFrame_I* made = nullptr;
    if (stockFrames[kStockIndexHighlight]->FrameConvert(kColourRGB32, kHighlightSide, kHighlightSide, 0, &made,
                                                        nullptr, nullptr) == S_OK &&
        made) {
      auto mask = TRefPtr<ICVFrame_I>::Adopt(made);
      ICVFrame_I* tinted = nullptr;
      if (TintHighlightFrame(mask.Get(), colour, factory, &tinted) == S_OK && tinted) {
        auto disc = TRefPtr<ICVFrame_I>::Adopt(tinted);
        const TOverlayRect rect = At(x - kHighlightHalf - left, y - kHighlightHalf - top, kHighlightSide, kHighlightSide);
        target->Overlay(disc.Get(), 0, &rect, kOverlayStraight, 1.0, 0, 0);
      }
    }
  }

  if (state.clickCounter != 0 && props && props->GetBool(L"capture.show_clicks", false)) {
    const int32_t size = ClickRingSize(state.clickCounter);
    const int32_t half = size / 2;
    ICVFrame_I* const ring = stockFrames[state.clickCounter > 0 ? kStockIndexRightClick : kStockIndexLeftClick];
    ICVFrame_I* made = nullptr;
    if (ring && SUCCEEDED(ring->FrameConvert(kColourARGB32, size, size, 0, &made, nullptr, nullptr)) && made) {
      auto scaled = TRefPtr<ICVFrame_I>::Adopt(made);
      const TOverlayRect rect = At(x - half - left, y - half - top, size, size);
      target->Overlay(scaled.Get(), 0, &rect, kOverlayStraight, 1.0, 0, 0);
    }
  }

  int32_t px = 0;
  int32_t py = 0;
  if (cursor.PointerShowing() && SUCCEEDED(cursor.QueryCursorImage(&px, &py))) {
    const TCursorImage& image = cursor.Image();
    ICVFrame_I* made = nullptr;
    if (SUCCEEDED(factory->FrameFromBitmap(image.bitmap, &made, 0)) && made) {
      auto pointer = TRefPtr<ICVFrame_I>::Adopt(made);
      const TOverlayRect rect = At(px - left, py - top, image.width, image.height);
      target->Overlay(pointer.Get(), 0, &rect, kOverlayStraight, 1.0, 0, 0);
    }
  }
}
