// Building the skip table of a surface whose table block exists. The scalar builder is the
// reference; on x86 the SSE2 builder, which every x86-64 processor runs, writes the same bytes
// 16 pixels at a time for 1- and 4-byte pixels.
#pragma once

#include <quelt/surface/surface.h>

namespace quelt::strip {

// Both fill all width × height bytes of `s->strip` from the pixels; `s` has pixels and no
// zero dimension.
void build_scalar(const sf_surface* s);
void build_wide(const sf_surface* s);  // the best builder of this processor family

}  // namespace quelt::strip
