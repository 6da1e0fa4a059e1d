/* Decorating a rectangle of a 4-byte surface: a bevelled frame in two colours, and a small shape
   stretched over the rectangle in nine parts (with a mask of sf_render_ring: a rounded
   rectangle). Both draw through sf_fill and sf_blend, so they honour the surface's clip;
   neither allocates nor prints. */
#ifndef QUELT_DRAWING_FRAME_H
#define QUELT_DRAWING_FRAME_H

#include <stdint.h>
#include <quelt/base/export.h>
#include <quelt/surface/surface.h>

QUELT_EXTERN_C_BEGIN

/* Paints a border `thickness` pixels wide just inside `rect`: each inset one pixel wide, the
   left and top edges in `top_left_color`, the right and bottom edges in `bottom_right_color`.
   The top left corner belongs to the top edge, the other three corners to the right and bottom
   edges, so every pixel of a border that fits the rectangle is painted once. The surface's
   `color` holds `bottom_right_color` afterwards, also when `thickness` is 0 or less and nothing
   is painted. Inset i fills, in this order, the left edge {L + i, T + i + 1, L + i + 1, B - i - 1}
   and the top edge {L + i, T + i, R - i - 1, T + i + 1} of every inset, then the right edge
   {R - i - 1, T + i, R - i, B - i} and the bottom edge {L + i, B - i - 1, R - i - 1, B - i}: all
   of them, whatever the rectangle and thickness, each through sf_fill, so an inverted one fills
   nothing. Past half the rectangle's smaller side, or on an empty or inverted rectangle, what
   those rectangles still cover is painted (on {0, 0, 3, 0} with thickness 2, row 0). Only insets
   that reach the surface are walked, so a huge rectangle or thickness costs no more than the
   surface does. */
QUELT_API void sf_frame(sf_surface* surface, const sf_rect* rect, uint32_t top_left_color,
                        uint32_t bottom_right_color, int32_t thickness);

/* Stretches `shape` over `rect`: its four quarters go to the corners at their own size, its middle
   row and column are repeated along the edges, and the inside is filled with the surface's
   `color`, its alpha scaled by the first byte of the shape's pixel at (width / 2, height / 2).
   A 1-byte shape is drawn in the surface's `color`, a 4-byte one with its own pixels modulated
   by it. `color` is as before afterwards; pending anchors move only the first (top left) corner.

   A shape of odd width W is divided into a near part of W / 2 columns and a far part of
   W − W / 2; the right corners and edge are placed by the far part's own width (likewise for
   an odd height), so every pixel of a rectangle at least as large as the shape is drawn exactly
   once and nothing lands outside it. A rectangle smaller than the shape gets its four corners
   all the same, overlapping. A shape without pixels draws nothing and leaves the surface as it
   is. */
QUELT_API void sf_shape(sf_surface* surface, sf_surface* shape, const sf_rect* rect);

QUELT_EXTERN_C_END

#endif
