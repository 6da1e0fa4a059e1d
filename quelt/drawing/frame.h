/** @file
   Decorating a rectangle of a 4-byte surface: a bevelled frame in two colours, and a small
   shape stretched over the rectangle in nine parts (with a mask of sf_render_ring: a rounded
   rectangle). Both draw through sf_fill and sf_blend, so they honour the surface's clip;
   neither allocates nor prints.

   @code
   sf_surface corner;
   if (sf_render_ring(&corner, 8.0f, 0.0f)) {
     surface.color = 0xFFE0E0E0;
     sf_shape(&surface, &corner, &panel);   // a panel with rounded corners
     sf_frame(&surface, &button, 0xFFFFFFFF, 0xFF808080, 2);
     sf_release(&corner);
   }
   @endcode */
#ifndef QUELT_DRAWING_FRAME_H
#define QUELT_DRAWING_FRAME_H

#include <stdint.h>
#include <quelt/base/export.h>
#include <quelt/surface/surface.h>

QUELT_EXTERN_C_BEGIN

/** Paints a bevelled border `thickness` pixels wide just inside `rect`: the left and top
   edges in `top_left_color`, the right and bottom edges in `bottom_right_color`, every pixel
   once. A thickness above half the smaller side paints the whole rectangle. The surface's
   `color` holds `bottom_right_color` afterwards, also when nothing is painted.
   @param surface the target, 4 bytes per pixel.
   @param rect the rectangle; an empty or inverted one paints nothing.
   @param top_left_color colour word of the left and top edges.
   @param bottom_right_color colour word of the right and bottom edges.
   @param thickness width of the border in pixels; 0 or less paints nothing. */
QUELT_API void sf_frame(sf_surface* surface, const sf_rect* rect, uint32_t top_left_color,
                        uint32_t bottom_right_color, int32_t thickness);

/** Stretches `shape` over `rect`: its four quarters go to the corners at their own size,
   its middle row and column are repeated along the edges, and the inside is filled with the
   surface's `color`, its alpha scaled by the first byte of the shape's middle pixel. A 1-byte
   shape is drawn in `color`, a 4-byte one with its own pixels modulated by it. Every pixel of a
   rectangle at least as large as the shape is drawn once and nothing lands outside it; a
   smaller rectangle gets the four corners overlapping. Pending anchors move only the top left
   corner; `color` is as before afterwards.
   @param surface the target, 4 bytes per pixel.
   @param shape the shape, 1 or 4 bytes per pixel; one without pixels draws nothing.
   @param rect the rectangle to cover. */
QUELT_API void sf_shape(sf_surface* surface, sf_surface* shape, const sf_rect* rect);

QUELT_EXTERN_C_END

#endif
