/** @file
   Rectangles and clipping. sf_rect is the rectangle of the whole library, with exclusive right
   and bottom edges; the rectangle of a whole surface is {0, 0, width, height}. A rectangle is
   valid when `right` >= `left` and `bottom` >= `top`, so an empty one is valid. sf_clip turns
   "put this source rectangle at (x, y)" into a pair of rectangles of equal size inside
   everything that limits them. Pure integer work; nothing prints. */
#ifndef QUELT_SURFACE_CLIP_H
#define QUELT_SURFACE_CLIP_H

#include <stdint.h>
#include <quelt/base/export.h>

QUELT_EXTERN_C_BEGIN

/** A rectangle by its edges. */
typedef struct sf_rect {
  int32_t left;   /**< Smallest x inside. */
  int32_t top;    /**< Smallest y inside. */
  int32_t right;  /**< First x past the rectangle. */
  int32_t bottom; /**< First y past the rectangle. */
} sf_rect;

/** What sf_clip finds: two rectangles of the same size. */
typedef struct sf_clip_result {
  sf_rect dst; /**< The rectangle to write, in target coordinates. */
  sf_rect src; /**< The rectangle to read, in source coordinates. */
} sf_clip_result;

/** Tells whether a rectangle is valid (not inverted).
   @param rect the rectangle.
   @return 1 when `right` >= `left` and `bottom` >= `top`, else 0. */
QUELT_API int32_t sf_rect_valid(const sf_rect* rect);
/** Tells whether two valid rectangles overlap. Touching edges do not overlap; an empty
   rectangle strictly inside the other one does.
   @param a a rectangle.
   @param b another rectangle.
   @return 1 when they overlap, 0 when not or when either is invalid. */
QUELT_API int32_t sf_rect_overlap(const sf_rect* a, const sf_rect* b);
/** Narrows `rect` to `limit`.
   @param limit the limiting rectangle.
   @param rect the rectangle to narrow, in place (unchanged when either is invalid).
   @return 1 when something is left, else 0 (the narrowed values may then be invalid). */
QUELT_API int32_t sf_rect_clip(const sf_rect* limit, sf_rect* rect);
/** Clips the placement of a source rectangle at (x, y) on a target. A source rectangle
   reaching outside the source is narrowed first, without moving the position.
   @param result receives the two rectangles; unchanged when 0 is returned.
   @param dst_bounds the whole target.
   @param dst_clip the target's clip.
   @param src_bounds the whole source.
   @param src_rect the part of the source asked for.
   @param x target column for the source rectangle's left edge.
   @param y target row for the source rectangle's top edge.
   @return 1, or 0 when nothing is left to draw. */
QUELT_API int32_t sf_clip(sf_clip_result* result, const sf_rect* dst_bounds, const sf_rect* dst_clip,
                          const sf_rect* src_bounds, const sf_rect* src_rect, int32_t x, int32_t y);

QUELT_EXTERN_C_END

#endif
