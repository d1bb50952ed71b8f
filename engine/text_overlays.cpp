#include "engine/text_overlays.h"

#include <new>

#include "engine/capture_scr.h"
#include "media/timecode.h"
#include "props/xml_node.h"

namespace {

// As "%02d" writes it: two digits at least, the sign counted among them.
void AppendTwoDigits(std::wstring& text, int32_t value) {
  if (value >= 0 && value < 10) text += L'0';
  text += std::to_wstring(value);
}

bool IsSideModifier(uint32_t vk) { return vk >= 0xA0 && vk <= 0xA5; }

}  // namespace

std::wstring TimecodeText(const TFrameTime& time) {
  std::wstring text;
  text.reserve(16);
  AppendTwoDigits(text, time.hours);
  text += L':';
  AppendTwoDigits(text, time.minutes);
  text += L':';
  AppendTwoDigits(text, time.seconds);
  text += (time.timecodeFlags & kTimecodeDropFrame) ? L';' : L':';
  AppendTwoDigits(text, time.frames);
  return text;
}

std::wstring BuildKeyText(cvplat::IKeyInput& keys) {
  std::wstring text;
  for (uint32_t vk = 0; vk < 256; ++vk) {
    if (!keys.KeyDown(vk) || IsSideModifier(vk)) continue;
    const std::wstring name = keys.KeyName(vk);
    if (name.empty()) continue;  // the mouse buttons among others
    if (!text.empty()) text += L" + ";
    text += name;
  }
  if (!text.empty()) text += L' ';
  return text;
}

double KeyLineSize(XMLParse::CoXMLNode* props) {
  const double size = props ? props->GetDouble(L"capture.keypress_text_size", 0.0) : 0.0;
  if (!(size >= kKeyLineMinSize)) return kKeyLineMinSize;  // NaN too
  return size > kKeyLineMaxSize ? kKeyLineMaxSize : size;
}

HRESULT DrawTextLines(ICVFrame_I* frame, XMLParse::CoXMLNode* props, cvplat::IKeyInput* keys) {
  if (!frame || !props) return S_OK;
  try {
    if (props->GetBool(L"timecode.print", false)) {
      TFrameTime time{};
      // A frame without a time has no timecode to show.
      if (SUCCEEDED(frame->TimeGet(&time))) {
        const std::wstring text = TimecodeText(time);
        frame->TextDraw(text.c_str(), kTimecodeLineSize, &kTextLinePlacement, kTimecodeLineFlags,
                        kTimecodeLineStyle);
      }
    }
    if (keys && props->GetBool(L"capture.show_keypresses", false)) {
      const std::wstring text = BuildKeyText(*keys);
      if (!text.empty())
        frame->TextDraw(text.c_str(), KeyLineSize(props), &kTextLinePlacement, kKeyLineFlags, kKeyLineStyle);
    }
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

HRESULT TCaptureSCR::UpdateFrame(ICVFrame_I* frame, int64_t) {
  TRefPtr<XMLParse::CoXMLNode> tree = propertyTree.Get();
  return DrawTextLines(frame, tree.Get(), platform.keys.get());
}
