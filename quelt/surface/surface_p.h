// Surface creation for readers that overwrite every byte of the buffer at once.
#pragma once

#include <quelt/surface/surface.h>

#include <cstdint>

namespace quelt::surface {

// sf_create, with the same refusals and the same failure trace, except that the pixels are left
// as malloc gives them: for a caller that fills all of them before anyone reads one.
int32_t create_uncleared(sf_surface* surface, int32_t width, int32_t height, int32_t bytes_per_pixel);

}  // namespace quelt::surface
