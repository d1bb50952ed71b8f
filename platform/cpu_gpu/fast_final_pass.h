// The fast path of the final pass: the full-screen quad with the ARGB or the HDYC program, under either
// sampler, at any scale, with `screen` and `area` cutting parts off. Gives the reference's bytes.
#pragma once

#include "platform/cpu_gpu/raster.h"

namespace cvplat::cpugpu {

// False, having drawn nothing, where the draw is one the fast path doesn't take (blending on, a write
// mask, no texture bound); the reference draws it then.
bool DrawFinalPassFast(const FullScreenDraw& quad, const DrawCall& draw);

}  // namespace cvplat::cpugpu
