// Tests of drawn text measure against one pinned font file, the monospace face the scripts install, so
// that their pictures don't depend on the fonts of the machine. Without the file those tests skip.
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "platform/text_raster.h"

namespace cvtest {

// DejaVu Sans Mono's design, in units of its 2048-unit em: every advance 1233, ascender 1901,
// descender 483, flat-topped digits 1493 high on the baseline (round ones overshoot by about 30).
inline constexpr double kAdvanceEm = 1233.0 / 2048;
inline constexpr double kLineEm = (1901.0 + 483.0) / 2048;
inline constexpr double kDigitEm = 1493.0 / 2048;

inline std::unique_ptr<cvplat::ITextRaster> PinnedRaster() {
#ifdef CV_TEST_FONT_FILE
  return cvplat::MakeTextRasterForFile(L"" CV_TEST_FONT_FILE, L"" CV_TEST_FONT_FAMILY);
#else
  return nullptr;
#endif
}

}  // namespace cvtest

#define REQUIRE_PINNED_RASTER(raster)                                        \
  auto raster = cvtest::PinnedRaster();                                      \
  if (!raster) GTEST_SKIP() << "the pinned monospace font file isn't there"
