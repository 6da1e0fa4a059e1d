// Surface making inside the library.
#pragma once

#include <quelt/surface/surface.h>

namespace quelt {

// sf_create for a caller that writes every byte of the pixels at once (a file reader): the same
// refusals and trace, under sf_create's name, but the buffer is not cleared first.
int32_t create_for_overwrite(sf_surface* surface, int32_t width, int32_t height, int32_t bytes_per_pixel);

}  // namespace quelt
