/** @file
   Whole-surface transforms: mirroring, copying, growing by margins, conversion through a
   callback, and queries about a pixel's neighbourhood. A surface with sides and pixel size
   above zero but null `pixels` has nothing to read: sf_duplicate, sf_enlarge and sf_convert
   refuse it with 0 and no trace, the flips leave it alone and sf_contrast gives -255. */
#ifndef QUELT_SURFACE_TRANSFORM_H
#define QUELT_SURFACE_TRANSFORM_H

#include <stdint.h>
#include <quelt/base/export.h>
#include <quelt/surface/surface.h>

QUELT_EXTERN_C_BEGIN

/** A pixel position, the element of the list that sf_near fills. */
typedef struct sf_point {
  int32_t x; /**< Column. */
  int32_t y; /**< Row. */
} sf_point;

/** Callback of sf_convert: reads the source pixel at `src` and writes the target pixel at
   `dst`, each at its own surface's pixel size. Its result is ignored. */
typedef int32_t (*sf_convert_pixel)(uint8_t* dst, const uint8_t* src);

/** Mirrors top to bottom: swaps rows y and height - 1 - y of `src` into `dst` for the top
   half. Both may be the same surface; otherwise an odd middle row of `dst` keeps what it held.
   Does nothing when the two differ in size or pixel size or either has no pixels. The skip
   table is not renewed.
   @param src the surface to read.
   @param dst the surface to write, the same or one of the same format. */
QUELT_API void sf_flip_vertical(sf_surface* src, sf_surface* dst);
/** Mirrors left to right, as sf_flip_vertical does with columns.
   @param src the surface to read.
   @param dst the surface to write, the same or one of the same format. */
QUELT_API void sf_flip_horizontal(sf_surface* src, sf_surface* dst);

/** Makes `dst` a new surface with the size and pixels of `src`, with no skip table, colour 0,
   no clip and zero anchors. `dst` may be `src` itself; the old buffer then stays with whoever
   else holds it.
   @param dst the record to fill.
   @param src the surface to copy.
   @return 1, or 0 with `dst` all zero.
   @par Failure trace
   "" after the surface cannot be made. */
QUELT_API int32_t sf_duplicate(sf_surface* dst, const sf_surface* src);

/** Grows the surface by margins, keeping the record at its address; a negative margin crops.
   The old pixels land at (left, top), new ones are zero, and the record gets no skip table,
   colour 0, no clip and zero anchors. Refused silently while a clip is pushed. Not for a
   surface whose pixels the library does not own (a pixmap).
   @param surface the surface.
   @param left columns to add on the left.
   @param top rows to add on the top.
   @param right columns to add on the right.
   @param bottom rows to add at the bottom.
   @return 1, or 0 with the surface unchanged.
   @par Failure trace
   "" after the new buffer cannot be made, also for a side that would be negative or too
   large. */
QUELT_API int32_t sf_enlarge(sf_surface* surface, int32_t left, int32_t top, int32_t right, int32_t bottom);

/** Lists the neighbours of (x, y) that lie on the surface, in the order above, above left,
   left, below left, below, below right, right, above right, without gaps. The centre need not
   lie on the surface.
   @param surface the surface.
   @param points receives the positions; room for 8.
   @param x column of the centre.
   @param y row of the centre.
   @return the count, 0 to 8. */
QUELT_API int32_t sf_near(const sf_surface* surface, sf_point* points, int32_t x, int32_t y);

/** Largest minus smallest value of one byte of the pixel over the neighbours of (x, y); the
   centre takes no part.
   @param surface the surface.
   @param x column of the centre.
   @param y row of the centre.
   @param channel the byte of the pixel, below `bytes_per_pixel`.
   @return 0 to 255, or -255 when there is no neighbour, no such byte or no pixels. */
QUELT_API int32_t sf_contrast(const sf_surface* surface, int32_t x, int32_t y, int32_t channel);

/** Makes `dst` a new all-zero surface of the size of `src`, then calls `convert` for every
   pixel, row by row from the top, left to right. A null `convert`, or a side with a pixel size
   of 0, calls nothing and leaves the zero surface.
   @param dst the record to fill.
   @param src the surface to read.
   @param bytes_per_pixel pixel size of the new surface.
   @param convert the per-pixel callback.
   @return 1, or 0 with `dst` all zero.
   @par Failure trace
   "" after the surface cannot be made. */
QUELT_API int32_t sf_convert(sf_surface* dst, const sf_surface* src, int32_t bytes_per_pixel,
                             sf_convert_pixel convert);

QUELT_EXTERN_C_END

#endif
