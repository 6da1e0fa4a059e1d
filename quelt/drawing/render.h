/** @file
   Anti-aliased lines drawn straight into a 4-byte surface, and disc and ring masks: 1-byte
   coverage surfaces, smoothed and with their skip table, to be drawn in any colour by sf_blend
   or stretched to a rounded rectangle by sf_shape (drawing/frame.h). */
#ifndef QUELT_DRAWING_RENDER_H
#define QUELT_DRAWING_RENDER_H

#include <stdint.h>
#include <quelt/base/export.h>
#include <quelt/surface/surface.h>

QUELT_EXTERN_C_BEGIN

/** Draws an anti-aliased line one pixel wide, splitting each step's opacity between two
   neighbouring pixels across the minor axis. Only the low 24 bits of `color` count: the
   opacity comes from coverage alone. The surface's clip, anchors and `color` field are not
   used; pixels off the surface are not drawn. Exchanging the end points gives the same pixels.
   A coordinate that is not finite or whose magnitude exceeds 2^50 draws nothing; the cost
   follows the visible part of the line.
   @param surface the target, 4 bytes per pixel (anything else draws nothing).
   @param x0 column of one end.
   @param y0 row of one end.
   @param x1 column of the other end.
   @param y1 row of the other end.
   @param color the colour 0xRRGGBB; the top byte is ignored.
   @return 1. */
QUELT_API int32_t sf_line(sf_surface* surface, float x0, float y0, float x1, float y1, uint32_t color);

/** Makes a square 1-byte coverage mask of side trunc(2 × radius + 2): a disc, or a ring from
   radius - thickness to radius, smoothed with sf_smooth and with its skip table built. For a
   whole-number radius the mask is symmetric about its middle.
   @param surface the record to fill; its old content is ignored.
   @param radius outer radius in pixels.
   @param thickness width of the ring; 0 or less for a disc.
   @return 1, or 0 (also for a radius that is not a number or gives a negative or too large
           size).
   @par Failure trace
   "" after the surface cannot be made. */
QUELT_API int32_t sf_render_ring(sf_surface* surface, float radius, float thickness);

QUELT_EXTERN_C_END

#endif
