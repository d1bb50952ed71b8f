#include "platform/screen_grab.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace cvplat {

namespace {

bool Empty(const TRect& r) { return r.left >= r.right || r.top >= r.bottom; }

bool Inside(const TRect& inner, const TRect& outer) {
  return inner.left >= outer.left && inner.top >= outer.top && inner.right <= outer.right &&
         inner.bottom <= outer.bottom;
}

void FillBlack(uint8_t* row, int32_t count) {
  for (int32_t i = 0; i < count; ++i) std::memcpy(row + size_t(i) * 4, &kOffScreenPixel, 4);
}

}  // namespace

void PaintOffMonitorsBlack(const TRect& rect, const std::vector<MonitorInfo>& monitors, uint8_t* pixels,
                           int32_t pitch) {
  if (Empty(rect) || monitors.empty() || !pixels) return;
  // The usual shot lies on one monitor and costs nothing more.
  for (const MonitorInfo& m : monitors)
    if (Inside(rect, m.rect)) return;

  std::vector<std::pair<int32_t, int32_t>> spans;  // the covered columns of one row, in rect's columns
  for (int32_t y = rect.top; y < rect.bottom; ++y) {
    spans.clear();
    for (const MonitorInfo& m : monitors) {
      if (y < m.rect.top || y >= m.rect.bottom) continue;
      const int32_t from = std::max(m.rect.left, rect.left);
      const int32_t to = std::min(m.rect.right, rect.right);
      if (from < to) spans.emplace_back(from - rect.left, to - rect.left);
    }
    std::sort(spans.begin(), spans.end());
    uint8_t* row = pixels + int64_t{y - rect.top} * pitch;
    int32_t x = 0;  // the first column not known to be covered
    for (const auto& [from, to] : spans) {
      if (from > x) FillBlack(row + size_t(x) * 4, from - x);
      x = std::max(x, to);
    }
    const int32_t width = rect.right - rect.left;
    if (x < width) FillBlack(row + size_t(x) * 4, width - x);
  }
}

HRESULT GrabThroughMemory(IScreenGrabber& grabber, IGpuDevice* device, const TRect& rect,
                          std::vector<uint8_t>& scratch, IGpuTexture2D** texture) {
  if (texture) *texture = nullptr;
  if (!device || !texture || Empty(rect)) return E_INVALIDARG;
  const int64_t width = int64_t{rect.right} - rect.left;
  const int64_t height = int64_t{rect.bottom} - rect.top;
  if (width * 4 > INT32_MAX) return E_INVALIDARG;
  scratch.resize(static_cast<size_t>(width * height * 4));
  const int32_t pitch = static_cast<int32_t>(width * 4);
  const HRESULT hr = grabber.GrabToMemory(rect, scratch.data(), pitch);
  if (FAILED(hr)) return hr;
  return MakeShotTexture(device, scratch.data(), static_cast<UINT>(width), static_cast<UINT>(height), pitch, texture);
}

HRESULT OutputOfList(const std::vector<MonitorInfo>& outputs, uint32_t index, OutputInfo* info) {
  if (!info) return E_INVALIDARG;
  if (index >= outputs.size()) return kDuplicationNotFound;
  info->monitor = outputs[index].handle;
  info->desktopCoordinates = outputs[index].rect;
  return S_OK;
}

bool OutputStillThere(const std::vector<MonitorInfo>& outputs, const MonitorInfo& output) {
  const TRect& r = output.rect;
  return std::any_of(outputs.begin(), outputs.end(), [&](const MonitorInfo& m) {
    return m.handle == output.handle && m.rect.left == r.left && m.rect.top == r.top && m.rect.right == r.right &&
           m.rect.bottom == r.bottom;
  });
}

HRESULT MakeShotTexture(IGpuDevice* device, const uint8_t* pixels, UINT width, UINT height, int32_t pitch,
                        IGpuTexture2D** texture) {
  if (texture) *texture = nullptr;
  if (!device || !pixels || !texture || width == 0 || height == 0) return E_INVALIDARG;
  GpuTexture2DDesc desc;
  desc.width = width;
  desc.height = height;
  desc.format = GpuFormat::B8G8R8A8Unorm;
  desc.usage = GpuUsage::Default;
  desc.bindFlags = kGpuBindShaderResource | kGpuBindRenderTarget;
  desc.miscFlags = kGpuMiscGdiCompatible;
  const GpuSubresourceData data{pixels, static_cast<UINT>(pitch), 0};
  const HRESULT made = device->CreateTexture2D(&desc, &data, texture);
  if (FAILED(made) && *texture) {
    (*texture)->Release();
    *texture = nullptr;
  }
  return made;
}

}  // namespace cvplat
