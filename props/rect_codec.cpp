#include "props/number_text.h"
#include "props/text_chars.h"
#include "props/value_codecs.h"

namespace {
constexpr int32_t kRectLimit = 3000;

bool InRange(int32_t value) { return value >= -kRectLimit && value <= kRectLimit; }
}  // namespace

bool ParseRect(std::wstring_view text, TRect& rect) {
  text = cv_text::UpToNul(text);
  // Reads like a scan of "%ld,%ld,%ld,%ld": blanks may precede each number but not a comma, and the
  // values a short text leaves out stay 0 for the checks below.
  int32_t values[4] = {0, 0, 0, 0};
  size_t at = 0;
  for (int k = 0; k < 4; ++k) {
    if (k > 0) {
      if (at >= text.size() || text[at] != L',') break;
      ++at;
    }
    size_t used = 0;
    const int32_t value = ScanInt32(text.substr(at), 10, &used);
    if (used == 0) break;
    values[k] = value;
    at += used;
  }
  for (int32_t value : values)
    if (!InRange(value)) return false;
  if (values[0] >= values[2] || values[1] >= values[3]) return false;
  rect = TRect{values[0], values[1], values[2], values[3]};
  return true;
}
