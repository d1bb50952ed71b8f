// The fast path of the overlay quads: the pointer, the disc and the click rings, at any rectangle, under
// either sampler, with the plain or the coloured overlay program and the overlay blend. Gives the
// reference's bytes.
#pragma once

#include "platform/cpu_gpu/raster.h"

namespace cvplat::cpugpu {

// False, having drawn nothing, where no texture is bound; the reference draws it then.
bool DrawOverlayFast(const OverlayQuad& quad, const DrawCall& draw);

}  // namespace cvplat::cpugpu
