/* Convolution: a matrix of float weights run over a surface, channel by channel, with a
   correction at the edges, and Gaussian weights to run. The two are independent: the usual call
   is sf_kernel(s, (const float*)k.pixels, k.width, k.height) with k from sf_kernel_gaussian. */
#ifndef QUELT_PROCESSING_KERNEL_H
#define QUELT_PROCESSING_KERNEL_H

#include <stdint.h>
#include <quelt/base/export.h>
#include <quelt/surface/surface.h>

QUELT_EXTERN_C_BEGIN

/* Makes *kernel a surface of 4 bytes per pixel that holds 32-bit float weights, not colours:
   one row of n weights for size n > 0, a square of n × n for size −n. With σ = √n × e^(n/100 − 1),
   d = 2σ² and g = 1 / (√(2π) σ), the weight at offsets (tx, ty) from index n / 2 (truncated) is
   g × e^(−tx²/d) in a row and g × e^(−tx²/d − ty²/d) in the square (g, not g², at the centre).
   The weights are not normalised; sf_kernel divides by their sum. An even n peaks right of the
   middle. Size 0 gives a record of width 0, height 1 and no pixels. Returns 1, or 0 with
   *kernel unwritten when the buffer can't be had (the size of −2^31 is taken as 2^31 − 1). */
QUELT_API int32_t sf_kernel_gaussian(sf_surface* kernel, int32_t size);

/* Filters the surface in place with `width` × `height` weights in rows (weight (kx, ky) is
   weights[ky × width + kx]), reading from a copy so that results never feed back. Each byte of
   each channel, alpha too, becomes the correlation A of the weights with the bytes around it,
   the element (width / 2, height / 2) lying on the pixel. Weights that fall outside the surface
   are summed into B instead, and the value is v = (A / S) × (B / (1 − B) + 1), S being the sum
   of all weights: an even area keeps its value up to the edges when the weights sum to 1. The
   byte is 255 for v > 255, otherwise |v| truncated, modulo 256; a v that is not a number or
   whose size reaches 32768 gives 0. So negative results are mirrored, not clamped, and weights
   summing to 0 give 255 or 0. Sums run in double in the order of the weights, each byte by
   itself. The clip doesn't apply and the skip table isn't renewed. A kernel with a side of 0 or
   less has no weights: every byte becomes 0. Returns 1; 0 when the copy can't be had (traced),
   and silently for null weights with both sides above 0 or a surface that has a size but no
   pixels, leaving the surface unchanged. */
QUELT_API int32_t sf_kernel(sf_surface* surface, const float* weights, int32_t width, int32_t height);

QUELT_EXTERN_C_END

#endif
