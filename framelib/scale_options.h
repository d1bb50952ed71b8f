// The scale option text of FrameConvert and what it does to the picture's place in the new frame.
//
// The text is in the attribute form: items name='value' separated by blanks, as in
// "scale-type='letter-box' async_id='screen-cap'". The reader is lenient: names and keyword values
// compare without regard to letter case, double quotes or no quotes are taken too, an item it can't read
// is skipped, and whatever is missing keeps its default. A bad text is never a failure.
//
// scale-type, for a source of w x h and a frame of W x H:
//   "ignore-ar"   the whole picture fills the whole frame; the aspect ratio is lost.
//   "letter-box"  the whole picture, scaled by one factor to the largest size that fits, centred; the
//                 bars on the two other sides are black.
//   "crop"        the picture scaled by one factor to the smallest size that covers the frame, centred;
//                 what overhangs on two sides is cut off.
//   "no-scale"    pixel for pixel, centred: a smaller picture gets black all round, a larger one is cut.
//   "default"     as "letter-box": the property's catalogue default is "letter-box" and the engine
//                 sends "default" for an emptied property, so emptying it behaves as leaving it alone,
//                 and no default ever distorts or cuts the picture.
//   "none"        as "ignore-ar": no fitting rule at all, the picture is simply resized to the frame.
//                 That is what the hardware path's full-frame draw does, and the region logic has
//                 already widened the captured rectangle to the frame's aspect ratio where asked.
//   anything else as "default".
// Black is 0, 0, 0 with alpha 0 in ARGB32 (nothing there, as the GPU program paints what lies off the
// screen), 0, 0, 0 in RGB32 (whose alpha byte is always 255), studio black (Y 16, Cb and Cr 128) in the
// 4:2:2 formats. Centring rounds towards the top left when the spare pixels are odd.
//
// async_id: accepted and kept, nothing more. The conversion always runs on the caller's thread: the
// capture thread needs the new frame at once to finish and deliver it, so running apart would only add
// a hand-over.
#pragma once

#include <cstdint>
#include <string>

enum class TScaleType { Default, IgnoreAspect, LetterBox, Crop, NoScale, None };

struct TConvertOptions {
  TScaleType scaleType = TScaleType::Default;
  std::wstring asyncId;  // empty when the text names none
};

// Null or empty gives the defaults. Never fails; may throw std::bad_alloc for a huge async_id.
TConvertOptions ParseConvertOptions(const wchar_t* text);

struct TScaleRect {
  int32_t x, y, width, height;
};

// Where the picture goes: the part `from` of a source of srcWidth x srcHeight lands on the part `to` of
// a frame of dstWidth x dstHeight; the rest of the frame is black. All sizes at least 1; both rectangles
// have sizes of at least 1 and lie inside their pictures.
struct TScalePlacement {
  TScaleRect from;
  TScaleRect to;
};
TScalePlacement PlaceScaled(TScaleType type, int32_t srcWidth, int32_t srcHeight, int32_t dstWidth,
                            int32_t dstHeight);
