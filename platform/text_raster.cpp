#include "platform/text_raster.h"

#include <algorithm>
#include <cstring>
#include <unordered_map>

namespace cvplat {

struct TCachedTextRaster::Font {
  std::wstring face;
  int32_t pixelSize = 0;
  TFontMetrics metrics;
  std::unordered_map<char32_t, TGlyphImage> glyphs;
  size_t bytes = 0;
  uint64_t lastUse = 0;
};

namespace {

// What a cached glyph costs beyond its coverage: the map's node and the record.
constexpr size_t kGlyphOverhead = 64;

size_t GlyphBytes(const TGlyphImage& glyph) { return glyph.coverage.size() + kGlyphOverhead; }

// Code points of the text: UTF-16 pairs joined where wchar_t is 16 bits, control characters as blanks,
// anything that is no character as U+FFFD.
template <class Visit>
void ForEachCharacter(std::wstring_view text, Visit&& visit) {
  for (size_t i = 0; i < text.size(); ++i) {
    char32_t c = static_cast<char32_t>(text[i]);
    if constexpr (sizeof(wchar_t) == 2) {
      if (c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size()) {
        const char32_t low = static_cast<char32_t>(text[i + 1]);
        if (low >= 0xDC00 && low <= 0xDFFF) {
          c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
          ++i;
        }
      }
    }
    if ((c >= 0xD800 && c <= 0xDFFF) || c > 0x10FFFF) c = 0xFFFD;
    if (c < 0x20) c = 0x20;
    if (!visit(c)) return;
  }
}

}  // namespace

TCachedTextRaster::TCachedTextRaster() = default;
TCachedTextRaster::~TCachedTextRaster() = default;

uint64_t TCachedTextRaster::GlyphsRendered() const {
  SectionLock guard(lock_);
  return rendered_;
}

void TCachedTextRaster::DropFont(size_t index) {
  if (fonts_[index].get() == selected_) selected_ = nullptr;
  bytes_ -= fonts_[index]->bytes;
  fonts_.erase(fonts_.begin() + static_cast<ptrdiff_t>(index));
}

TCachedTextRaster::Font* TCachedTextRaster::FindFont(std::wstring_view face, int32_t pixelSize, HRESULT* status) {
  for (auto& font : fonts_) {
    if (font->pixelSize == pixelSize && font->face == face) {
      font->lastUse = ++useClock_;
      return font.get();
    }
  }
  auto made = std::make_unique<Font>();
  made->face.assign(face);
  made->pixelSize = pixelSize;
  selected_ = nullptr;
  *status = SelectFont(face, pixelSize, &made->metrics);
  if (FAILED(*status)) return nullptr;
  made->metrics.ascent = std::max(made->metrics.ascent, 0);
  made->metrics.descent = std::max(made->metrics.descent, 0);
  made->lastUse = ++useClock_;
  if (fonts_.size() >= kMaxFonts) {
    auto oldest = std::min_element(fonts_.begin(), fonts_.end(),
                                   [](const auto& a, const auto& b) { return a->lastUse < b->lastUse; });
    DropFont(static_cast<size_t>(oldest - fonts_.begin()));
  }
  fonts_.push_back(std::move(made));
  selected_ = fonts_.back().get();
  return selected_;
}

const TGlyphImage* TCachedTextRaster::FindGlyph(Font& font, char32_t character) {
  if (auto found = font.glyphs.find(character); found != font.glyphs.end()) return &found->second;

  TGlyphImage glyph;
  HRESULT hr = S_OK;
  if (selected_ != &font) {
    TFontMetrics unused;
    hr = SelectFont(font.face, font.pixelSize, &unused);
    selected_ = SUCCEEDED(hr) ? &font : nullptr;
  }
  if (SUCCEEDED(hr)) hr = RasteriseGlyph(character, &glyph);
  ++rendered_;
  const bool usable = SUCCEEDED(hr) && glyph.width >= 0 && glyph.height >= 0 &&
                      glyph.coverage.size() == size_t(glyph.width) * size_t(glyph.height);
  if (!usable) glyph = TGlyphImage{};
  glyph.advance = std::clamp(glyph.advance, 0, kMaxLineWidth);

  // Make room: other fonts go first, least recently used first; a font that alone outgrows the cache
  // starts over.
  const size_t cost = GlyphBytes(glyph);
  while (bytes_ + cost > kMaxBytes && fonts_.size() > 1) {
    size_t oldest = fonts_.size();
    for (size_t i = 0; i < fonts_.size(); ++i) {
      if (fonts_[i].get() != &font && (oldest == fonts_.size() || fonts_[i]->lastUse < fonts_[oldest]->lastUse)) {
        oldest = i;
      }
    }
    if (oldest == fonts_.size()) break;
    DropFont(oldest);
  }
  if (bytes_ + cost > kMaxBytes) {
    bytes_ -= font.bytes;
    font.bytes = 0;
    font.glyphs.clear();
  }
  bytes_ += cost;
  font.bytes += cost;
  return &font.glyphs.emplace(character, std::move(glyph)).first->second;
}

HRESULT TCachedTextRaster::RenderLine(std::wstring_view face, int32_t pixelSize, std::wstring_view text,
                                      TTextLine* line) {
  if (!line) return E_POINTER;
  line->width = line->height = line->baseline = 0;
  line->coverage.clear();
  line->advances.clear();
  if (pixelSize < 1 || pixelSize > kMaxPixelSize) return E_INVALIDARG;

  SectionLock guard(lock_);
  HRESULT hr = S_OK;
  Font* font = FindFont(face, pixelSize, &hr);
  if (!font) return hr;

  // The advances first, for the size of the bitmap. A glyph found here may have been dropped again by
  // the time it is drawn only when the line outgrows the cache; it is then rendered again.
  int32_t width = 0;
  ForEachCharacter(text, [&](char32_t c) {
    const int32_t advance = FindGlyph(*font, c)->advance;
    if (width + advance > kMaxLineWidth) return false;
    width += advance;
    line->advances.push_back(advance);
    return true;
  });
  line->width = width;
  line->baseline = font->metrics.ascent;
  line->height = font->metrics.ascent + font->metrics.descent;
  line->coverage.assign(size_t(line->width) * size_t(line->height), 0);
  if (line->coverage.empty()) return S_OK;

  int32_t pen = 0;
  size_t index = 0;
  ForEachCharacter(text, [&](char32_t c) {
    if (index == line->advances.size()) return false;
    const TGlyphImage& glyph = *FindGlyph(*font, c);
    const int32_t x0 = pen + glyph.left;
    const int32_t y0 = line->baseline - glyph.top;
    const int32_t colFrom = std::max(0, -x0), colTo = std::min(glyph.width, line->width - x0);
    const int32_t rowFrom = std::max(0, -y0), rowTo = std::min(glyph.height, line->height - y0);
    for (int32_t r = rowFrom; r < rowTo; ++r) {
      const uint8_t* from = glyph.coverage.data() + size_t(r) * size_t(glyph.width);
      uint8_t* to = line->coverage.data() + size_t(y0 + r) * size_t(line->width) + x0;
      // Neighbouring cells may share an anti-aliased column: the stronger coverage wins.
      for (int32_t c2 = colFrom; c2 < colTo; ++c2) to[c2] = std::max(to[c2], from[c2]);
    }
    pen += line->advances[index++];
    return true;
  });
  return S_OK;
}

}  // namespace cvplat
