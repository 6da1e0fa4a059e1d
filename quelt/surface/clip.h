/* sf_rect, the rectangle of the whole library (exclusive right and bottom edges), and sf_clip,
   which turns "put this source rectangle at (x, y)" into a pair of equal-sized rectangles inside
   everything that limits them. Pure integer work; the edge arithmetic is done in 64 bits, so
   positions near the ends of the 32-bit range clip correctly instead of wrapping. */
#ifndef QUELT_SURFACE_CLIP_H
#define QUELT_SURFACE_CLIP_H

#include <stdint.h>
#include <quelt/base/export.h>

QUELT_EXTERN_C_BEGIN

typedef struct sf_rect {
  int32_t left;
  int32_t top;
  int32_t right;
  int32_t bottom;
} sf_rect;

typedef struct sf_clip_result {
  sf_rect dst;
  sf_rect src;
} sf_clip_result;

QUELT_API int32_t sf_rect_valid(const sf_rect* rect);
QUELT_API int32_t sf_rect_overlap(const sf_rect* a, const sf_rect* b);
QUELT_API int32_t sf_rect_clip(const sf_rect* limit, sf_rect* rect);
QUELT_API int32_t sf_clip(sf_clip_result* result, const sf_rect* dst_bounds, const sf_rect* dst_clip,
                          const sf_rect* src_bounds, const sf_rect* src_rect, int32_t x, int32_t y);

QUELT_EXTERN_C_END

#endif
