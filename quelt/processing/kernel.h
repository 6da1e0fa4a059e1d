/** @file
   Convolution: a matrix of float weights run over a surface, channel by channel, with a
   correction at the edges, and Gaussian weights to run.

   @code
   sf_surface k;
   if (sf_kernel_gaussian(&k, -9)) {   // 9 × 9 weights
     sf_kernel(&picture, (const float*)k.pixels, k.width, k.height);
     sf_release(&k);
   }
   @endcode */
#ifndef QUELT_PROCESSING_KERNEL_H
#define QUELT_PROCESSING_KERNEL_H

#include <stdint.h>
#include <quelt/base/export.h>
#include <quelt/surface/surface.h>

QUELT_EXTERN_C_BEGIN

/** Makes Gaussian weights: a surface of 4 bytes per pixel holding 32-bit floats, not
   colours. With s = sqrt(n) × e^(n/100 - 1), d = 2s² and g = 1 / (sqrt(2 pi) s), the weight
   at offsets (tx, ty) from index n / 2 is g × e^(-tx²/d) in a row and g × e^(-tx²/d - ty²/d)
   in the square. The weights are not normalised (sf_kernel divides by their sum); an even n peaks
   right of the middle. Size 0 gives a width of 0, a height of 1 and no pixels.
   @param kernel the record to fill.
   @param size n > 0 for one row of n weights, -n for a square of n × n.
   @return 1, or 0 with `kernel` unwritten.
   @par Failure trace
   "" after the surface cannot be made. */
QUELT_API int32_t sf_kernel_gaussian(sf_surface* kernel, int32_t size);

/** Filters the surface in place, reading from a copy so that results never feed back. Each
   byte of each channel, alpha too, becomes the correlation A of the weights with the bytes
   around it, weight (width / 2, height / 2) lying on the pixel. Weights falling outside the
   surface are summed into B, and the value is v = (A / S) × (B / (1 - B) + 1), S the sum of all
   weights: an even area keeps its value up to the edges when the weights sum to 1. The byte is
   255 for v > 255, else |v| truncated, modulo 256; a v that is not a number or reaches 32768 in
   size gives 0. The clip does not apply and the skip table is not renewed. A kernel with a side
   of 0 or less makes every byte 0.
   @param surface the surface.
   @param weights `width` × `height` weights in rows: weight (kx, ky) is weights[ky × width + kx].
   @param width columns of weights.
   @param height rows of weights.
   @return 1, or 0 with the surface unchanged (silently for null weights with both sides above
           0, or a surface with a size but no pixels).
   @par Failure trace
   "" after the copy cannot be made. */
QUELT_API int32_t sf_kernel(sf_surface* surface, const float* weights, int32_t width, int32_t height);

QUELT_EXTERN_C_END

#endif
