/* The skip table of a surface: one byte per pixel telling how many empty pixels (all bytes 0)
   remain in the row from there on, this one included, modulo 256. Blends that read the surface
   as their source jump over those runs. Rebuild it with sf_strip after changing the pixels. */
#ifndef QUELT_PROCESSING_STRIP_H
#define QUELT_PROCESSING_STRIP_H

#include <stdint.h>
#include <quelt/base/export.h>
#include <quelt/surface/surface.h>

QUELT_EXTERN_C_BEGIN

QUELT_API int32_t sf_strip(sf_surface* surface);

QUELT_EXTERN_C_END

#endif
