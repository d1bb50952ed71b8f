// The pointer as the overlays see it: when the pointer and the highlight disc show (their deadlines and
// the activity that re-arms them), where the pointer was last seen, the click counter, and the pointer's
// picture with alpha, made only when its shape changes.
//
// Threads: the capture thread owns everything here but the two deadlines, which the property hook
// rewrites from a host thread as single 32-bit stores.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "platform/desktop.h"

namespace XMLParse {
class CoXMLNode;
}

inline constexpr uint32_t kDeadlineNever = 0;
inline constexpr uint32_t kDeadlineAlways = 0xFFFFFFFFu;

// The deadline for a text of "capture.show_mouse" or "capture.highlight_mouse" at the clock's `now`:
// "show" always, "hide" never, "hide_inactive(N)" N milliseconds from now. Any other text that isn't
// empty reads as "hide_inactive" of 2^32 - 1, a deadline one millisecond in the past.
uint32_t ParseVisibilityDeadline(const wchar_t* text, uint32_t now);

// What a capture loop keeps of the pointer from pass to pass.
struct TCursorState {
  int32_t x = 0;  // where the pointer was last seen showing
  int32_t y = 0;
  // 0 no ring; -8 .. -1 the left button, 1 .. 8 the right one, the magnitude the ring's size.
  int32_t clickCounter = 0;
};

// The pointer's picture: 32-bit pixels with alpha, top row first, and the same as a bitmap for the
// frame library.
struct TCursorImage {
  std::vector<uint32_t> pixels;
  int32_t width = 0;
  int32_t height = 0;
  uint64_t bitmap = 0;
};

class TCursorOverlay {
 public:
  explicit TCursorOverlay(const cvplat::CapturePlatform& platform);
  ~TCursorOverlay();
  TCursorOverlay(const TCursorOverlay&) = delete;
  TCursorOverlay& operator=(const TCursorOverlay&) = delete;

  uint32_t Now() const;

  // Both deadlines from the properties, when a run is prepared.
  void ResetDeadlines(XMLParse::CoXMLNode* props);
  // The property hook: true when `name` is one of the two keys, whose deadline is then computed anew.
  bool OnPropertyChanged(const wchar_t* name, XMLParse::CoXMLNode* props);

  // One pass's look at the pointer and the buttons: the new position, the counter's step, and on
  // activity the timed deadlines armed again.
  void UpdateCursorState(XMLParse::CoXMLNode* props, TCursorState& state);

  // Whether the machine tells where the pointer is; without it no mark has a place to go.
  bool HasPointer() const { return cursor_ != nullptr; }
  bool HighlightShowing() const { return Now() < highlightMouseDeadline.load(std::memory_order_relaxed); }
  bool PointerShowing() const { return Now() < showMouseDeadline.load(std::memory_order_relaxed); }
  uint32_t ShowMouseDeadline() const { return showMouseDeadline.load(std::memory_order_relaxed); }
  uint32_t HighlightMouseDeadline() const { return highlightMouseDeadline.load(std::memory_order_relaxed); }

  // The raw position of a showing pointer; E_FAIL when none shows.
  HRESULT QueryCursorPosition(int32_t* x, int32_t* y);
  // Brings the picture up to date and gives where its top left corner lies on the desktop. E_FAIL when
  // no pointer shows, its shape can't be had, it is smaller than 5 pixels either way, or it can't be
  // drawn; the picture then stays as it was.
  HRESULT QueryCursorImage(int32_t* x, int32_t* y);
  const TCursorImage& Image() const { return cursorImage; }

 private:
  // Draws the pointer onto a surface of bytes `fill`.
  HRESULT RenderCursor(uint64_t handle, int32_t width, int32_t height, uint8_t fill, std::vector<uint32_t>& pixels);
  void ReplaceImage(std::vector<uint32_t> pixels, int32_t width, int32_t height);

  std::shared_ptr<cvplat::ICursor> cursor_;
  std::shared_ptr<cvplat::IKeyInput> keys_;
  std::function<uint32_t()> tickMs_;

  std::atomic<uint32_t> showMouseDeadline{kDeadlineAlways};
  std::atomic<uint32_t> highlightMouseDeadline{kDeadlineNever};
  bool haveHandle = false;
  uint64_t cursorHandle = 0;
  TCursorImage cursorImage;
};

// The merge of a monochrome pointer drawn on black (`onBlack`) and on white (`onWhite`): what paints a
// fixed colour keeps it, opaque; what shows the background is transparent; what inverts shows as it
// does on white, opaque.
void MergeMonochromeCursor(std::vector<uint32_t>& onBlack, const std::vector<uint32_t>& onWhite);
