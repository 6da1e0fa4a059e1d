/* Anti-aliased lines drawn straight into a 4-byte surface, and disc and ring masks: 1-byte
   coverage surfaces, smoothed and with their skip table, to be drawn in any colour by sf_blend or
   stretched to a rounded rectangle by sf_shape. */
#ifndef QUELT_DRAWING_RENDER_H
#define QUELT_DRAWING_RENDER_H

#include <stdint.h>
#include <quelt/base/export.h>
#include <quelt/surface/surface.h>

QUELT_EXTERN_C_BEGIN

/* Draws a line one pixel wide from (x0, y0) to (x1, y1) on a 4-byte surface, walking the major
   axis in whole steps from the end with the smaller major coordinate and splitting each step's
   opacity between two neighbouring pixels across the minor axis. Only the low 24 bits of `color`
   count; the opacity comes from coverage alone. The surface's clip, anchors and `color` field
   are not used; pixels off the surface are not drawn, nor is anything on a surface that is not
   4 bytes per pixel. Exchanging the end points gives the same pixels. Returns 1.

   A coordinate below 0 is placed by rounding down, like every other: a step whose major
   coordinate lies between −1 and 0 falls on index −1, off the surface, and across the minor axis
   a position between −1 and 0 splits its weights 0..255 between index −1 (off) and 0, so no
   pixel is drawn twice and no weight leaves 0..255. A line with a coordinate that is not finite
   or whose magnitude exceeds 2^50 draws nothing. A line that starts more than 2^20 steps before
   the surface along its major axis jumps to the surface instead of walking there, and the walk
   ends where the line leaves the surface, so the cost follows the visible part. */
QUELT_API int32_t sf_line(sf_surface* surface, float x0, float y0, float x1, float y1, uint32_t color);

/* Makes a new square 1-byte coverage mask in `surface` (memory that the caller provides, its old
   content ignored): of size trunc(2 × radius + 2), a disc of `radius` when `thickness` is 0 or
   less, else a ring from radius − thickness to radius; smoothed with sf_smooth and with its skip
   table built. For a whole-number radius the mask is symmetric about its middle. Returns 1, or 0
   with the trace of sf_create and its own when the surface can't be made; a radius that is not a
   number, or that gives a negative size or a buffer beyond the limits of sf_create, fails in the
   same way. */
QUELT_API int32_t sf_render_ring(sf_surface* surface, float radius, float thickness);

QUELT_EXTERN_C_END

#endif
