/** @file
   The clip stack of a surface. sf_push narrows the clip to a further rectangle and sf_pop goes
   back to the level below; pushes and pops pair up, and a failed push must not be answered by
   a pop. `clip` always points at the top of `clip_stack`, or is null.

   @code
   sf_rect panel = {10, 10, 110, 60};
   if (sf_push(&surface, &panel)) {
     sf_fill(&surface, NULL);   // fills the panel only
     sf_pop(&surface);
   }
   @endcode */
#ifndef QUELT_SURFACE_CONTEXT_H
#define QUELT_SURFACE_CONTEXT_H

#include <stdint.h>
#include <quelt/base/export.h>
#include <quelt/surface/surface.h>

QUELT_EXTERN_C_BEGIN

/** Makes a rectangle, narrowed to the clip in force, the surface's clip.
   @param surface the surface.
   @param rect the rectangle; when a clip is in force it is narrowed in place, whatever the
          result.
   @return 1, or 0 (silently when the rectangle does not overlap the clip in force; the clip
           stays as it was).
   @par Failure trace
   "" when the stack cannot be made or grown. */
QUELT_API int32_t sf_push(sf_surface* surface, sf_rect* rect);
/** Removes the top clip, going back to the one below or to none.
   @param surface the surface.
   @return 1, or 0 silently when no clip is in force. */
QUELT_API int32_t sf_pop(sf_surface* surface);

QUELT_EXTERN_C_END

#endif
