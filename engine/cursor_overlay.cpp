#include "engine/cursor_overlay.h"

#include <cwchar>
#include <utility>

#include "platform/bitmap.h"
#include "platform/kernel.h"
#include "props/text_chars.h"
#include "props/xml_node.h"

namespace {

// A pointer smaller than this either way is no pointer worth drawing.
constexpr int32_t kMinCursorSide = 5;

constexpr uint32_t kAlphaMask = 0xFF000000u;
constexpr uint32_t kColourMask = 0x00FFFFFFu;

// The deadline that the text of `key` gives at `now`.
uint32_t DeadlineFrom(XMLParse::CoXMLNode* props, const wchar_t* key, uint32_t now) {
  const std::wstring text = props ? props->GetString(key) : std::wstring();
  return ParseVisibilityDeadline(text.c_str(), now);
}

}  // namespace

uint32_t ParseVisibilityDeadline(const wchar_t* text, uint32_t now) {
  if (!text) text = L"";
  if (cv_text::EqualsNoCase(text, L"show")) return kDeadlineAlways;
  if (cv_text::EqualsNoCase(text, L"hide")) return kDeadlineNever;
  unsigned long delay = 0xFFFFFFFFul;
  if (std::swscanf(text, L"hide_inactive(%lu)", &delay) == EOF) return kDeadlineAlways;
  // A text that isn't one of the forms keeps the delay at its start, which wraps to just before now.
  return static_cast<uint32_t>(now + static_cast<uint32_t>(delay));
}

void MergeMonochromeCursor(std::vector<uint32_t>& onBlack, const std::vector<uint32_t>& onWhite) {
  for (size_t i = 0; i < onBlack.size() && i < onWhite.size(); ++i) {
    const uint32_t p = onBlack[i];
    const uint32_t q = onWhite[i];
    if (p == q) {
      onBlack[i] = p | kAlphaMask;
    } else if (p == 0 && q == kColourMask) {
      onBlack[i] = p & kColourMask;
    } else {
      onBlack[i] = q | kAlphaMask;
    }
  }
}

TCursorOverlay::TCursorOverlay(const cvplat::CapturePlatform& platform)
    : cursor_(platform.cursor), keys_(platform.keys), tickMs_(platform.tickMs) {}

TCursorOverlay::~TCursorOverlay() {
  if (cursorImage.bitmap) cvplat::DeleteBitmap(cursorImage.bitmap);
}

uint32_t TCursorOverlay::Now() const { return tickMs_ ? tickMs_() : cvplat::TickCountMs(); }

void TCursorOverlay::ResetDeadlines(XMLParse::CoXMLNode* props) {
  const uint32_t now = Now();
  showMouseDeadline.store(DeadlineFrom(props, L"capture.show_mouse", now), std::memory_order_relaxed);
  highlightMouseDeadline.store(DeadlineFrom(props, L"capture.highlight_mouse", now), std::memory_order_relaxed);
}

bool TCursorOverlay::OnPropertyChanged(const wchar_t* name, XMLParse::CoXMLNode* props) {
  if (cv_text::EqualsNoCase(name, L"capture.show_mouse")) {
    showMouseDeadline.store(DeadlineFrom(props, L"capture.show_mouse", Now()), std::memory_order_relaxed);
    return true;
  }
  if (cv_text::EqualsNoCase(name, L"capture.highlight_mouse")) {
    highlightMouseDeadline.store(DeadlineFrom(props, L"capture.highlight_mouse", Now()), std::memory_order_relaxed);
    return true;
  }
  return false;
}

void TCursorOverlay::UpdateCursorState(XMLParse::CoXMLNode* props, TCursorState& state) {
  const int32_t oldX = state.x;
  const int32_t oldY = state.y;
  cvplat::CursorState now;
  cvplat::CursorShape shape;
  if (cursor_ && cursor_->Query(&now) && now.showing && cursor_->Shape(now.handle, &shape)) {
    state.x = now.x;
    state.y = now.y;
  }
  if (state.clickCounter > 0) --state.clickCounter;
  if (state.clickCounter < 0) ++state.clickCounter;

  bool activity = false;
  // Left wins: the right button isn't even asked while the left one is down.
  if (keys_ && keys_->KeyDown(1)) {
    state.clickCounter = -8;
    activity = true;
  } else if (keys_ && keys_->KeyDown(2)) {
    state.clickCounter = 8;
    activity = true;
  } else {
    activity = state.clickCounter != 0 || state.x != oldX || state.y != oldY;
  }
  if (!activity) return;

  // "hide_inactive" counts from the last activity; "show" and "hide" stay what they are.
  const uint32_t highlight = highlightMouseDeadline.load(std::memory_order_relaxed);
  if (highlight != kDeadlineNever && highlight != kDeadlineAlways) {
    highlightMouseDeadline.store(DeadlineFrom(props, L"capture.highlight_mouse", Now()), std::memory_order_relaxed);
  }
  const uint32_t show = showMouseDeadline.load(std::memory_order_relaxed);
  if (show != kDeadlineNever && show != kDeadlineAlways) {
    showMouseDeadline.store(DeadlineFrom(props, L"capture.show_mouse", Now()), std::memory_order_relaxed);
  }
}

HRESULT TCursorOverlay::QueryCursorPosition(int32_t* x, int32_t* y) {
  cvplat::CursorState now;
  if (!cursor_ || !cursor_->Query(&now) || !now.showing) return E_FAIL;
  if (x) *x = now.x;
  if (y) *y = now.y;
  return S_OK;
}

HRESULT TCursorOverlay::RenderCursor(uint64_t handle, int32_t width, int32_t height, uint8_t fill,
                                     std::vector<uint32_t>& pixels) {
  pixels.assign(static_cast<size_t>(width) * static_cast<size_t>(height), 0x01010101u * fill);
  return SUCCEEDED(cursor_->Render(handle, width, height, pixels.data())) ? S_OK : E_FAIL;
}

void TCursorOverlay::ReplaceImage(std::vector<uint32_t> pixels, int32_t width, int32_t height) {
  if (cursorImage.bitmap) cvplat::DeleteBitmap(cursorImage.bitmap);
  cursorImage.pixels = std::move(pixels);
  cursorImage.width = width;
  cursorImage.height = height;
  // Without a bitmap the software loop can't draw the pointer; the hardware loop uses the pixels.
  cursorImage.bitmap = cvplat::CreateBitmap32(width, height, cursorImage.pixels.data());
}

HRESULT TCursorOverlay::QueryCursorImage(int32_t* x, int32_t* y) {
  cvplat::CursorState now;
  if (!cursor_ || !cursor_->Query(&now) || !now.showing) return E_FAIL;
  cvplat::CursorShape shape;
  if (!cursor_->Shape(now.handle, &shape)) return E_FAIL;
  if (x) *x = now.x - shape.hotX;
  if (y) *y = now.y - shape.hotY;
  if (haveHandle && now.handle == cursorHandle) return cursorImage.pixels.empty() ? E_FAIL : S_OK;

  const int32_t width = shape.width;
  const int32_t height = shape.colour ? shape.height : shape.height / 2;
  if (width < kMinCursorSide || height < kMinCursorSide) return E_FAIL;
  // Two renderings cost a few GDI calls; they are made only when the shape changes.
  std::vector<uint32_t> onBlack;
  if (HRESULT hr = RenderCursor(now.handle, width, height, 0x00, onBlack); FAILED(hr)) return hr;
  if (!shape.colour) {
    std::vector<uint32_t> onWhite;
    if (HRESULT hr = RenderCursor(now.handle, width, height, 0xFF, onWhite); FAILED(hr)) return hr;
    MergeMonochromeCursor(onBlack, onWhite);
  }
  ReplaceImage(std::move(onBlack), width, height);
  cursorHandle = now.handle;
  haveHandle = true;
  return S_OK;
}
