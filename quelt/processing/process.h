/** @file
   Filters that change a surface in place, byte by byte. The colour channels of a pixel are its
   bytes 0 up to (not including) the smaller of `bytes_per_pixel` and 3: B, G, R of a 4-byte
   pixel, alpha left alone; the one byte of a 1-byte pixel. None of them rebuilds the skip
   table: call sf_strip again after a filter that changes which pixels are empty. */
#ifndef QUELT_PROCESSING_PROCESS_H
#define QUELT_PROCESSING_PROCESS_H

#include <stdint.h>
#include <quelt/base/export.h>
#include <quelt/surface/surface.h>

QUELT_EXTERN_C_BEGIN

/** Drives each colour channel to 0 and 255: of the distinct levels 1 to 254 that occur in the
   channel, the lower half by rank becomes 0 and the upper half 255 (the middle level of an odd
   count goes to 0); bytes already 0 or 255 stay.
   @param surface the surface.
   @return 1. */
QUELT_API int32_t sf_threshold(sf_surface* surface);

/** Turns a 4-byte surface grey, the plain mean (b + g + r) / 3, truncated.
   @param surface the surface, 4 bytes per pixel.
   @param mode 0: bytes 0 to 2 of each pixel take the mean, alpha stays. 1: the surface is
          replaced by a new 1-byte surface of the means; the old pixels and skip table are
          freed, and colour, clip and anchors are zero afterwards.
   @return 1, or 0 with nothing changed (silently for another pixel size or mode, and in mode 1
           while a clip is pushed).
   @par Failure trace
   "" after the new surface cannot be made. */
QUELT_API int32_t sf_grayscale(sf_surface* surface, int32_t mode);

/** Every byte of every pixel, alpha included, becomes 255 - value.
   @param surface the surface.
   @return 1. */
QUELT_API int32_t sf_negative(sf_surface* surface);

/** Gamma, gain and offset: each colour byte v becomes 255 × r, truncated, with
   r = pow((v / 255) × gain + offset, 1 / gamma) rounded to a float; r above 1 gives 255, r below
   0 or not a number gives 0.
   @param surface the surface.
   @param gamma the gamma.
   @param gain factor on the value.
   @param offset added after the gain.
   @return 1. */
QUELT_API int32_t sf_adjust(sf_surface* surface, float gamma, float gain, float offset);

/** A two-tap smoothing along the rows, then along the columns: each colour byte becomes
   (next >> 1) + (itself >> 1), the byte past the right or bottom edge counting as 0; a 2 × 2
   box filter landing on the top left pixel of each group.
   @param surface the surface.
   @return 1, or 0 silently when a side is not above 0 or the surface has no pixels. */
QUELT_API int32_t sf_smooth(sf_surface* surface);

QUELT_EXTERN_C_END

#endif
