// Shared inside the library: the test for a surface that cannot be drawn on or read.
#pragma once

#include <quelt/surface/surface.h>

namespace quelt {

// A surface that claims a size but has no buffer behind it, as a window's surface after its
// bitmap could not be made: every operation that reads or writes pixels refuses it.
inline bool lacks_pixels(const sf_surface& s) {
  return s.width > 0 && s.height > 0 && s.bytes_per_pixel > 0 && !s.pixels;
}

}  // namespace quelt
