/* Blending and fill. sf_blend applies the target's one-shot anchors, clips, and runs a kernel;
   the kernels walk the two rectangles row by row, skipping runs of empty source pixels through
   the source's skip table. All arithmetic is 8-bit integer with shifts by 8 ("over rule"):
     channel = (old × (255 − w) + source × w) >> 8,  alpha = ((old alpha × (255 − w)) >> 8) + w.

   When source and target are the same surface and the two rectangles overlap, sf_blend first
   copies the source rectangle (and its skip table) aside, so that the result is the one a
   separate copy of the source would give. If that copy cannot be allocated it draws nothing and
   returns 0. sf_fill returns 0 for a target that is not 4 bytes per pixel. The kernels called
   directly trust their arguments and do no such copy: where the pixels that they read and write
   share memory, they go pixel by pixel in the walk order above.

   The kernels and sf_fill run on as many pixels at once as the processor allows (SSE2, AVX2 or
   AVX-512, chosen at the first call); every level gives the same bytes. */
#ifndef QUELT_SURFACE_BLEND_H
#define QUELT_SURFACE_BLEND_H

#include <stdint.h>
#include <quelt/base/export.h>
#include <quelt/surface/surface.h>

QUELT_EXTERN_C_BEGIN

typedef void (*sf_blend_kernel)(sf_surface* dst, sf_rect dst_rect, sf_surface* src, sf_rect src_rect);

QUELT_API int32_t sf_blend(sf_surface* dst, sf_surface* src, const sf_rect* src_rect, int32_t x, int32_t y,
                           sf_blend_kernel kernel);
QUELT_API void sf_blend_4b4b(sf_surface* dst, sf_rect dst_rect, sf_surface* src, sf_rect src_rect);
QUELT_API void sf_blend_4b3b(sf_surface* dst, sf_rect dst_rect, sf_surface* src, sf_rect src_rect);
QUELT_API void sf_blend_4b1b(sf_surface* dst, sf_rect dst_rect, sf_surface* src, sf_rect src_rect);
QUELT_API void sf_blend_copy(sf_surface* dst, sf_rect dst_rect, sf_surface* src, sf_rect src_rect);
QUELT_API int32_t sf_fill(sf_surface* surface, const sf_rect* rect);

QUELT_EXTERN_C_END

#endif
