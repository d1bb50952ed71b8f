// The text raster: one line of text in a font face at a pixel size, as 8-bit coverage. GDI renders it on
// Windows (grayscale anti-aliasing), FreeType over fontconfig on Linux. A face that the machine lacks
// falls back to a monospace face, so "Consolas" on Linux gives the installed monospace font.
//
// Glyphs are cached by face, pixel size and character, so a timecode line drawn on every frame renders
// each of its digits once. The cache is bounded; a line that needs more than it holds is still drawn
// whole, only more slowly. A raster is safe to share between threads: lines are rendered one at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/com_types.h"
#include "platform/critical_section.h"

namespace cvplat {

// One rendered line. The bitmap covers exactly the line's extent: the sum of the advances across, and
// ascent plus descent of the font down; ink beyond it (a glyph overhanging its cell) is cut.
struct TTextLine {
  int32_t width = 0;     // columns: the pen's travel over the whole line
  int32_t height = 0;    // rows: ascent + descent
  int32_t baseline = 0;  // rows from the top row to the baseline (the ascent)
  std::vector<uint8_t> coverage;  // width x height, top row first; 0 nothing .. 255 fully covered
  std::vector<int32_t> advances;  // the pen's travel of each character, in the order of the text
};

class ITextRaster {
 public:
  virtual ~ITextRaster() = default;

  // Renders `text` in `face` (a family name; empty asks for the machine's monospace face) with an em of
  // `pixelSize` pixels. Characters below U+0020 are drawn as blanks. Characters that the font lacks are
  // drawn as the font draws them (usually a box). A line stops at kMaxLineWidth pixels: characters
  // beyond are left out, and `advances` lists only those drawn. E_INVALIDARG for a size outside
  // 1..kMaxPixelSize.
  virtual HRESULT RenderLine(std::wstring_view face, int32_t pixelSize, std::wstring_view text, TTextLine* line) = 0;

  // Glyphs rasterised since the raster was made: a line whose glyphs are all cached adds nothing.
  virtual uint64_t GlyphsRendered() const = 0;

  static constexpr int32_t kMaxPixelSize = 1024;
  static constexpr int32_t kMaxLineWidth = 32768;
};

// The raster of this machine, made on first use and shared by the whole process; null when it can't be
// made (no font library, no font at all).
ITextRaster* NativeTextRaster();

// A raster that renders every face with the font in `fontFile`, so that pictures of text don't depend
// on the fonts a machine has. `family` is the family name inside the file: GDI adds the file for this
// process only and asks for it by that name; FreeType reads the file and needs no name. Null when the
// file can't be used.
std::unique_ptr<ITextRaster> MakeTextRasterForFile(const std::wstring& fontFile, const std::wstring& family);

// ---- for the implementations ----

// One glyph as a font library gives it.
struct TGlyphImage {
  int32_t left = 0;     // from the pen to the first column; may be negative
  int32_t top = 0;      // from the baseline up to the first row
  int32_t width = 0;    // columns of coverage
  int32_t height = 0;   // rows of coverage
  int32_t advance = 0;  // the pen's travel
  std::vector<uint8_t> coverage;  // width x height, top row first, 0..255
};

struct TFontMetrics {
  int32_t ascent = 0;   // pixels above the baseline
  int32_t descent = 0;  // pixels below it
};

// The cache and the line layout, common to every font library. An implementation selects a font (a
// face at a size) and rasterises single characters of the selected font; this base calls them under
// its lock and keeps what they give.
class TCachedTextRaster : public ITextRaster {
 public:
  TCachedTextRaster();
  ~TCachedTextRaster() override;

  HRESULT RenderLine(std::wstring_view face, int32_t pixelSize, std::wstring_view text, TTextLine* line) final;
  uint64_t GlyphsRendered() const final;

  // Bounds of the cache: fonts kept at once, and bytes of coverage in all of them together.
  static constexpr size_t kMaxFonts = 8;
  static constexpr size_t kMaxBytes = size_t{8} << 20;

 protected:
  // Makes `face` at `pixelSize` the font of the next RasteriseGlyph calls and gives its metrics.
  virtual HRESULT SelectFont(std::wstring_view face, int32_t pixelSize, TFontMetrics* metrics) = 0;
  // One character of the selected font. A failure draws the character as nothing, with no advance.
  virtual HRESULT RasteriseGlyph(char32_t character, TGlyphImage* glyph) = 0;

 private:
  struct Font;
  Font* FindFont(std::wstring_view face, int32_t pixelSize, HRESULT* status);
  const TGlyphImage* FindGlyph(Font& font, char32_t character);
  void DropFont(size_t index);

  mutable CriticalSection lock_;
  std::vector<std::unique_ptr<Font>> fonts_;
  Font* selected_ = nullptr;  // the font the implementation has selected now
  size_t bytes_ = 0;
  uint64_t useClock_ = 0;
  uint64_t rendered_ = 0;
};

}  // namespace cvplat
