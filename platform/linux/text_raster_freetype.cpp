// The text raster over FreeType, with fontconfig choosing the file of a family.
#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H

#include <map>
#include <string>
#include <utility>

#include "platform/settings_file_format.h"
#include "platform/text_raster.h"

namespace cvplat {
namespace {

// Open faces and family look-ups kept at once; beyond that all are closed and looked up afresh.
constexpr size_t kMaxFaces = 16;

using FontFile = std::pair<std::string, int>;  // path and face index inside it

class TFreeTypeRaster final : public TCachedTextRaster {
 public:
  // With an empty `pinnedFile` faces are found by fontconfig; otherwise that file serves every face.
  static std::unique_ptr<TFreeTypeRaster> Make(std::string pinnedFile) {
    std::unique_ptr<TFreeTypeRaster> raster(new TFreeTypeRaster(std::move(pinnedFile)));
    if (FT_Init_FreeType(&raster->library_) != 0) {
      raster->library_ = nullptr;
      return nullptr;
    }
    if (raster->pinned_.empty()) {
      // A configuration of our own, so that the host's use of fontconfig and ours never meet.
      raster->config_ = FcInitLoadConfigAndFonts();
      if (!raster->config_) return nullptr;
    } else if (!raster->OpenFace({raster->pinned_, 0})) {
      return nullptr;
    }
    return raster;
  }

  ~TFreeTypeRaster() override {
    CloseFaces();
    if (library_) FT_Done_FreeType(library_);
    if (config_) FcConfigDestroy(config_);
  }

 protected:
  HRESULT SelectFont(std::wstring_view face, int32_t pixelSize, TFontMetrics* metrics) override {
    current_ = nullptr;
    FT_Face f = nullptr;
    if (!pinned_.empty()) {
      f = OpenFace({pinned_, 0});
    } else {
      FontFile file;
      if (!FileOfFamily(face, &file)) return E_FAIL;
      f = OpenFace(file);
    }
    if (!f) return E_FAIL;
    if (FT_Set_Pixel_Sizes(f, 0, static_cast<FT_UInt>(pixelSize)) != 0) return E_FAIL;
    // 26.6 fixed point; rounded outwards so that no row of ink falls outside the line.
    metrics->ascent = static_cast<int32_t>((f->size->metrics.ascender + 63) >> 6);
    metrics->descent = static_cast<int32_t>((-f->size->metrics.descender + 63) >> 6);
    current_ = f;
    return S_OK;
  }

  HRESULT RasteriseGlyph(char32_t character, TGlyphImage* glyph) override {
    if (!current_) return E_UNEXPECTED;
    if (FT_Load_Char(current_, character, FT_LOAD_RENDER | FT_LOAD_TARGET_NORMAL) != 0) return E_FAIL;
    const FT_GlyphSlot slot = current_->glyph;
    const FT_Bitmap& bitmap = slot->bitmap;
    glyph->left = slot->bitmap_left;
    glyph->top = slot->bitmap_top;
    glyph->width = static_cast<int32_t>(bitmap.width);
    glyph->height = static_cast<int32_t>(bitmap.rows);
    glyph->advance = static_cast<int32_t>((slot->advance.x + 32) >> 6);
    glyph->coverage.assign(size_t(bitmap.width) * bitmap.rows, 0);
    for (unsigned row = 0; row < bitmap.rows; ++row) {
      const unsigned char* from = bitmap.buffer + static_cast<ptrdiff_t>(row) * bitmap.pitch;
      uint8_t* to = glyph->coverage.data() + size_t(row) * bitmap.width;
      for (unsigned col = 0; col < bitmap.width; ++col) {
        if (bitmap.pixel_mode == FT_PIXEL_MODE_GRAY) {
          // num_grays is 256 for the anti-aliased renderer; other depths are scaled to 0..255.
          const unsigned levels = bitmap.num_grays > 1 ? bitmap.num_grays - 1u : 255u;
          to[col] = static_cast<uint8_t>(from[col] * 255u / levels);
        } else if (bitmap.pixel_mode == FT_PIXEL_MODE_MONO) {
          to[col] = (from[col >> 3] & (0x80 >> (col & 7))) ? 255 : 0;
        } else {
          return E_FAIL;  // colour or subpixel bitmaps are not asked for and not understood
        }
      }
    }
    return S_OK;
  }

 private:
  explicit TFreeTypeRaster(std::string pinnedFile) : pinned_(std::move(pinnedFile)) {}

  FT_Face OpenFace(const FontFile& file) {
    if (auto found = faces_.find(file); found != faces_.end()) return found->second;
    if (faces_.size() >= kMaxFaces) CloseFaces();
    FT_Face face = nullptr;
    if (FT_New_Face(library_, file.first.c_str(), file.second, &face) != 0) return nullptr;
    if (!FT_IS_SCALABLE(face)) {
      // Fixed-size bitmap fonts can't be drawn at any size: they count as missing.
      FT_Done_Face(face);
      return nullptr;
    }
    faces_.emplace(file, face);
    return face;
  }

  void CloseFaces() {
    for (auto& [file, face] : faces_) FT_Done_Face(face);
    faces_.clear();
    families_.clear();
    current_ = nullptr;
  }

  // The file fontconfig gives for `family`. When its best match is another family, the face asked for
  // isn't there, and a monospace face takes its place: texts drawn by this library are timecodes and
  // key names, whose columns should stay put.
  bool FileOfFamily(std::wstring_view family, FontFile* file) {
    const std::wstring key(family);
    if (auto found = families_.find(key); found != families_.end()) {
      *file = found->second;
      return true;
    }
    std::string name;
    if (!family.empty() && (!WideToUtf8(key, &name) || name.find('\0') != std::string::npos)) name.clear();
    bool found = false;
    if (!name.empty()) found = Match(name, false, file);
    if (!found) found = Match("monospace", true, file);
    if (!found) return false;
    if (families_.size() >= kMaxFaces) families_.clear();
    families_.emplace(key, *file);
    return true;
  }

  // With `anyFamily` the best match counts whatever its family; otherwise only a match of that family.
  bool Match(const std::string& family, bool monospace, FontFile* file) {
    FcPattern* pattern = FcPatternCreate();
    if (!pattern) return false;
    bool ok = FcPatternAddString(pattern, FC_FAMILY, reinterpret_cast<const FcChar8*>(family.c_str())) != 0;
    if (ok && monospace) ok = FcPatternAddInteger(pattern, FC_SPACING, FC_MONO) != 0;
    if (ok) ok = FcConfigSubstitute(config_, pattern, FcMatchPattern) != 0;
    FcPattern* match = nullptr;
    if (ok) {
      FcDefaultSubstitute(pattern);
      FcResult result = FcResultNoMatch;
      match = FcFontMatch(config_, pattern, &result);
    }
    FcPatternDestroy(pattern);
    if (!match) return false;

    bool wanted = monospace;
    FcChar8* got = nullptr;
    for (int n = 0; !wanted && FcPatternGetString(match, FC_FAMILY, n, &got) == FcResultMatch; ++n) {
      wanted = FcStrCmpIgnoreCase(got, reinterpret_cast<const FcChar8*>(family.c_str())) == 0;
    }
    FcChar8* path = nullptr;
    int index = 0;
    if (wanted && FcPatternGetString(match, FC_FILE, 0, &path) == FcResultMatch && path) {
      if (FcPatternGetInteger(match, FC_INDEX, 0, &index) != FcResultMatch) index = 0;
      *file = {reinterpret_cast<const char*>(path), index};
    } else {
      wanted = false;
    }
    FcPatternDestroy(match);
    return wanted;
  }

  const std::string pinned_;
  FT_Library library_ = nullptr;
  FcConfig* config_ = nullptr;
  std::map<FontFile, FT_Face> faces_;
  std::map<std::wstring, FontFile> families_;
  FT_Face current_ = nullptr;
};

}  // namespace

ITextRaster* NativeTextRaster() {
  // Made once by the first caller; freed when the module or process goes.
  static const std::unique_ptr<TFreeTypeRaster> raster = TFreeTypeRaster::Make({});
  return raster.get();
}

std::unique_ptr<ITextRaster> MakeTextRasterForFile(const std::wstring& fontFile, const std::wstring& /*family*/) {
  std::string path;
  if (fontFile.empty() || !WideToUtf8(fontFile, &path)) return nullptr;
  return TFreeTypeRaster::Make(std::move(path));
}

}  // namespace cvplat
