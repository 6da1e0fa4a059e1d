/** @file
   The skip table of a surface: one byte per pixel telling how many empty pixels (all bytes 0)
   remain in the row from there on, this one included, modulo 256. Blends that read the surface
   as their source jump over those runs. Rebuild it with sf_strip after changing the pixels. */
#ifndef QUELT_PROCESSING_STRIP_H
#define QUELT_PROCESSING_STRIP_H

#include <stdint.h>
#include <quelt/base/export.h>
#include <quelt/surface/surface.h>

QUELT_EXTERN_C_BEGIN

/** Builds or renews the surface's skip table (`strip`), reusing its block.
   @param surface the surface.
   @return 1; 0 silently for a surface with a size but no pixels; 0 with `strip` null when the
           table cannot be allocated (the surface stays usable; blends then read every pixel).
   @par Failure trace
   "malloc" when the table cannot be allocated. */
QUELT_API int32_t sf_strip(sf_surface* surface);

QUELT_EXTERN_C_END

#endif
