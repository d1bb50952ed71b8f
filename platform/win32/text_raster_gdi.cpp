// The text raster over GDI: glyph outlines in 65 levels of grey from an anti-aliased font.
#include <windows.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/text_raster.h"

namespace cvplat {
namespace {

// Fonts kept at once; beyond that all are freed and made again on demand.
constexpr size_t kMaxGdiFonts = 16;

// GGO_GRAY8_BITMAP gives 0..64 per pixel, each line padded to 4 bytes.
constexpr unsigned kGray8Levels = 64;

class TGdiRaster final : public TCachedTextRaster {
 public:
  // With an empty `pinnedFile` faces are found by GDI's font mapper; otherwise that file is added for
  // this process alone and `pinnedFamily`, the family inside it, serves every face.
  static std::unique_ptr<TGdiRaster> Make(std::wstring pinnedFile, std::wstring pinnedFamily) {
    std::unique_ptr<TGdiRaster> raster(new TGdiRaster(std::move(pinnedFile), std::move(pinnedFamily)));
    raster->dc_ = CreateCompatibleDC(nullptr);
    if (!raster->dc_) return nullptr;
    if (!raster->pinnedFile_.empty()) {
      if (raster->pinnedFamily_.empty() || raster->pinnedFamily_.size() >= LF_FACESIZE) return nullptr;
      if (AddFontResourceExW(raster->pinnedFile_.c_str(), FR_PRIVATE, nullptr) == 0) return nullptr;
      raster->added_ = true;
    }
    return raster;
  }

  ~TGdiRaster() override {
    FreeFonts();
    if (dc_) DeleteDC(dc_);
    if (added_) RemoveFontResourceExW(pinnedFile_.c_str(), FR_PRIVATE, nullptr);
  }

 protected:
  HRESULT SelectFont(std::wstring_view face, int32_t pixelSize, TFontMetrics* metrics) override {
    selected_ = false;
    std::wstring name = pinnedFamily_.empty() ? std::wstring(face) : pinnedFamily_;
    // A name GDI can't hold (or one with a NUL inside) is no family: the mapper picks by pitch alone.
    if (name.size() >= LF_FACESIZE || name.find(L'\0') != std::wstring::npos) name.clear();
    const auto key = std::make_pair(name, pixelSize);
    HFONT font = nullptr;
    if (auto found = fonts_.find(key); found != fonts_.end()) {
      font = found->second;
    } else {
      if (fonts_.size() >= kMaxGdiFonts) FreeFonts();
      // A negative height asks for the em, as FreeType's pixel size does. Fixed pitch and the modern
      // family steer the mapper to a monospace face when the family asked for isn't installed.
      font = CreateFontW(-pixelSize, 0, 0, 0, FW_NORMAL, FALSE, FALSE, FALSE, DEFAULT_CHARSET, OUT_TT_PRECIS,
                         CLIP_DEFAULT_PRECIS, ANTIALIASED_QUALITY, FIXED_PITCH | FF_MODERN, name.c_str());
      if (!font) return E_FAIL;
      fonts_.emplace(key, font);
    }
    const HGDIOBJ before = SelectObject(dc_, font);
    if (!before || before == HGDI_ERROR) return E_FAIL;
    if (!original_) original_ = before;
    if (!pinnedFamily_.empty()) {
      // A pinned font stands for itself or for nothing: whatever the mapper would put in its place
      // draws other pictures.
      wchar_t chosen[LF_FACESIZE] = {};
      if (GetTextFaceW(dc_, LF_FACESIZE, chosen) <= 0 || lstrcmpiW(chosen, pinnedFamily_.c_str()) != 0) return E_FAIL;
    }
    TEXTMETRICW tm{};
    if (!GetTextMetricsW(dc_, &tm)) return E_FAIL;
    metrics->ascent = tm.tmAscent;
    metrics->descent = tm.tmDescent;
    selected_ = true;
    return S_OK;
  }

  HRESULT RasteriseGlyph(char32_t character, TGlyphImage* glyph) override {
    if (!selected_) return E_UNEXPECTED;
    // GetGlyphOutlineW takes one UTF-16 unit: characters beyond the basic plane draw as U+FFFD.
    const UINT c = character > 0xFFFF ? 0xFFFD : static_cast<UINT>(character);
    const MAT2 identity{{0, 1}, {0, 0}, {0, 0}, {0, 1}};
    GLYPHMETRICS gm{};
    const DWORD size = GetGlyphOutlineW(dc_, c, GGO_GRAY8_BITMAP, &gm, 0, nullptr, &identity);
    if (size == GDI_ERROR) return E_FAIL;
    glyph->advance = gm.gmCellIncX;
    glyph->left = gm.gmptGlyphOrigin.x;
    glyph->top = gm.gmptGlyphOrigin.y;
    if (size == 0) {
      // A blank: GDI still reports a 1 x 1 black box, but there is no ink.
      glyph->width = glyph->height = 0;
      glyph->coverage.clear();
      return S_OK;
    }
    std::vector<uint8_t> bits(size);
    if (GetGlyphOutlineW(dc_, c, GGO_GRAY8_BITMAP, &gm, size, bits.data(), &identity) == GDI_ERROR) return E_FAIL;
    const size_t width = gm.gmBlackBoxX, height = gm.gmBlackBoxY;
    const size_t pitch = (width + 3) & ~size_t{3};
    if (pitch * height > bits.size()) return E_FAIL;
    glyph->width = static_cast<int32_t>(width);
    glyph->height = static_cast<int32_t>(height);
    glyph->coverage.resize(width * height);
    for (size_t row = 0; row < height; ++row) {
      for (size_t col = 0; col < width; ++col) {
        const unsigned level = bits[row * pitch + col];
        glyph->coverage[row * width + col] =
            static_cast<uint8_t>(level >= kGray8Levels ? 255 : (level * 255 + kGray8Levels / 2) / kGray8Levels);
      }
    }
    return S_OK;
  }

 private:
  TGdiRaster(std::wstring pinnedFile, std::wstring pinnedFamily)
      : pinnedFile_(std::move(pinnedFile)), pinnedFamily_(std::move(pinnedFamily)) {}

  void FreeFonts() {
    // A font selected into the device context can't be deleted: the context's own goes back first.
    if (original_) SelectObject(dc_, original_);
    for (auto& [key, font] : fonts_) DeleteObject(font);
    fonts_.clear();
    selected_ = false;
  }

  const std::wstring pinnedFile_;
  const std::wstring pinnedFamily_;
  HDC dc_ = nullptr;
  bool added_ = false;
  HGDIOBJ original_ = nullptr;  // the context's font before ours
  std::map<std::pair<std::wstring, int32_t>, HFONT> fonts_;
  bool selected_ = false;
};

}  // namespace

ITextRaster* NativeTextRaster() {
  // Made once by the first caller; freed when the module or process goes.
  static const std::unique_ptr<TGdiRaster> raster = TGdiRaster::Make({}, {});
  return raster.get();
}

std::unique_ptr<ITextRaster> MakeTextRasterForFile(const std::wstring& fontFile, const std::wstring& family) {
  if (fontFile.empty()) return nullptr;
  return TGdiRaster::Make(fontFile, family);
}

}  // namespace cvplat
