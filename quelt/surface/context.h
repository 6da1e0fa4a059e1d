/* The clip stack of a surface. sf_push narrows the clip to a further rectangle (changing the
   caller's rectangle in place to the narrowed one when a clip is already in force); sf_pop goes
   back to the level below. `clip` always points at the top element of `clip_stack`, or is null. */
#ifndef QUELT_SURFACE_CONTEXT_H
#define QUELT_SURFACE_CONTEXT_H

#include <stdint.h>
#include <quelt/base/export.h>
#include <quelt/surface/surface.h>

QUELT_EXTERN_C_BEGIN

QUELT_API int32_t sf_push(sf_surface* surface, sf_rect* rect);
QUELT_API int32_t sf_pop(sf_surface* surface);

QUELT_EXTERN_C_END

#endif
