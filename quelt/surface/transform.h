/* Whole-surface transforms: mirroring, copying, growing by margins, conversion through a
   callback, and queries about a pixel's neighbourhood. */
#ifndef QUELT_SURFACE_TRANSFORM_H
#define QUELT_SURFACE_TRANSFORM_H

#include <stdint.h>
#include <quelt/base/export.h>
#include <quelt/surface/surface.h>

QUELT_EXTERN_C_BEGIN

/* Swaps rows y and height − 1 − y of src into dst for the top half. src and dst may be the same
   surface (the in-place use); otherwise both must have dst's width, height and pixel size, and
   an odd middle row of dst is left as it was. */
QUELT_API void sf_flip_vertical(sf_surface* src, sf_surface* dst);

QUELT_EXTERN_C_END

#endif
