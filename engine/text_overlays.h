// The two text lines written on a finished frame: its timecode and the keys held down. The frame
// library draws them; the engine decides only what text goes in and how it is styled and placed.
// Nothing is remembered from frame to frame: a key shows on exactly the frames during whose finishing
// the keyboard reports it.
#pragma once

#include <cstdint>
#include <string>

#include "CVDeviceSCR.h"
#include "platform/key_input.h"

namespace XMLParse {
class CoXMLNode;
}

// Where both lines go: centred across the picture, 5% in from its edge (the flags pick top or bottom).
inline constexpr TTextPlacement kTextLinePlacement{0.0, 0.05, 0.0, 0.0, 1};
inline constexpr wchar_t kTimecodeLineStyle[] = L"color='yellow' face='Consolas' bg-color='black(100)'";
inline constexpr wchar_t kKeyLineStyle[] = L"color='white' face='Consolas' bg-color='black(100)'";
inline constexpr double kTimecodeLineSize = 2.0;
inline constexpr int32_t kTimecodeLineFlags = 0x21;  // centred across, at the bottom
inline constexpr int32_t kKeyLineFlags = 0x01;       // centred across, at the top
inline constexpr double kKeyLineMinSize = 0.5;
inline constexpr double kKeyLineMaxSize = 2.0;

// "hh:mm:ss:ff" of the record's timecode, with ";" before the frames for drop-frame timecode.
std::wstring TimecodeText(const TFrameTime& time);

// The names of the keys down now (or pressed since the last poll), in ascending order of virtual key,
// " + " between them and one blank after the last; empty when no key down has a name. The side
// modifiers are left to their general keys, so a modifier shows once. Polls all 256 keys.
// Throws std::bad_alloc when the text can't be built.
std::wstring BuildKeyText(cvplat::IKeyInput& keys);

// "capture.keypress_text_size" held to 0.5 .. 2.0; a missing or unreadable value counts as 0.
double KeyLineSize(XMLParse::CoXMLNode* props);

// The timecode line when "timecode.print" is on, then the key line when "capture.show_keypresses" is on
// and `keys` is there. What the frame's calls answer is not looked at: a line that can't be drawn
// leaves the frame as it was. E_OUTOFMEMORY when a text can't be built; else S_OK.
HRESULT DrawTextLines(ICVFrame_I* frame, XMLParse::CoXMLNode* props, cvplat::IKeyInput* keys);
