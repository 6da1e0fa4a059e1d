/* Whole-surface transforms: mirroring, copying, growing by margins, conversion through a
   callback, and queries about a pixel's neighbourhood.

   A surface whose width, height and pixel size are all above zero but whose `pixels` is null (a
   pixmap record after its buffer was detached) has nothing to read: sf_duplicate, sf_enlarge and
   sf_convert refuse it with 0 and no trace, the flips leave it alone and sf_contrast gives −255. */
#ifndef QUELT_SURFACE_TRANSFORM_H
#define QUELT_SURFACE_TRANSFORM_H

#include <stdint.h>
#include <quelt/base/export.h>
#include <quelt/surface/surface.h>

QUELT_EXTERN_C_BEGIN

/* A pixel position, the element of the list that sf_near fills. */
typedef struct sf_point {
  int32_t x;
  int32_t y;
} sf_point;

/* Callback of sf_convert: reads the source pixel at `src` and writes the target pixel at `dst`,
   each at its own surface's pixel size. Its result is ignored. */
typedef int32_t (*sf_convert_pixel)(uint8_t* dst, const uint8_t* src);

/* Swap rows y and height − 1 − y (sf_flip_vertical) or columns x and width − 1 − x
   (sf_flip_horizontal) of src into dst, for the top or left half. src and dst may be the same
   surface, the in-place use; otherwise an odd middle row or column of dst keeps what it held.
   Width, height and pixel size come from dst; when src differs from dst in any of the three, or
   either has no pixels, nothing happens. The skip table isn't renewed. */
QUELT_API void sf_flip_vertical(sf_surface* src, sf_surface* dst);
QUELT_API void sf_flip_horizontal(sf_surface* src, sf_surface* dst);

/* Makes *dst a new surface with the size and pixels of src; dst has no skip table, colour 0, no
   clip and zero anchors. Returns 1, or 0 with *dst all zero. dst may be src itself: the record is
   then replaced by the copy and the old buffer stays with whoever else holds it. */
QUELT_API int32_t sf_duplicate(sf_surface* dst, const sf_surface* src);

/* Grows the surface by margins in pixels on each side, keeping the record at its address; a
   negative margin crops. The old pixels land at (left, top) through sf_blend with
   sf_blend_copy; new ones are zero. The copy walks the old skip table, so the pixels that it
   skips stay zero, also where a table out of date skips pixels that aren't empty. The record is replaced: no skip table, colour 0, no clip, zero anchors. Returns 1, or 0 with the
   surface unchanged when the buffer can't be allocated, when a margin makes a side negative or
   larger than 32 bits can count (traced as a refused allocation), and, silently, while a clip is
   pushed on the surface (its stack would be lost). It must not be used on a surface whose
   pixels the library doesn't own. */
QUELT_API int32_t sf_enlarge(sf_surface* surface, int32_t left, int32_t top, int32_t right, int32_t bottom);

/* Stores in points, which has room for 8, the neighbours of (x, y) that lie on the surface, in
   the order above, above left, left, below left, below, below right, right, above right, without
   gaps. The centre is never stored and need not lie on the surface. Returns the count, 0 to 8. */
QUELT_API int32_t sf_near(const sf_surface* surface, sf_point* points, int32_t x, int32_t y);

/* Largest minus smallest value of byte `channel` over the neighbours of (x, y), 0 to 255; the
   centre takes no part. Returns −255 when there is no neighbour, and also when `channel` is not
   below bytes_per_pixel (or negative) or the surface has no pixels, since then no byte exists. */
QUELT_API int32_t sf_contrast(const sf_surface* surface, int32_t x, int32_t y, int32_t channel);

/* Makes *dst a new all-zero surface of src's size with `bytes_per_pixel` bytes per pixel, then
   calls convert for every pixel, row by row from the top, left to right, with the addresses of
   the target and the source pixel. A null convert, or a side without a pixel buffer (a pixel size
   of 0), calls nothing and leaves the zero surface. Returns 1, or 0 with *dst all zero. */
QUELT_API int32_t sf_convert(sf_surface* dst, const sf_surface* src, int32_t bytes_per_pixel,
                             sf_convert_pixel convert);

QUELT_EXTERN_C_END

#endif
