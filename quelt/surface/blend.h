/** @file
   Blending and fill. sf_blend puts a surface, or a rectangle of it, onto another: it applies
   the target's one-shot anchors, clips against the target and its clip, and runs a kernel. The
   colour always comes from the target's `color`. The arithmetic is 8-bit integer with shifts
   by 8 (the "over rule", w the source weight 0 to 255):
   @verbatim
   channel = (old × (255 − w) + source × w) >> 8
   alpha   = ((old alpha × (255 − w)) >> 8) + w
   @endverbatim
   On a transparent target this leaves premultiplied pixels, which a layered window takes.
   The kernels skip runs of empty source pixels through the source's skip table
   (processing/strip.h). Every processor gives the same bytes.

   @code
   // Draws a 1-byte mask centred on (100, 50) in translucent red.
   target.color = 0x80FF0000;
   target.anchor_x = 0.5f;
   target.anchor_y = 0.5f;
   sf_blend(&target, &mask, NULL, 100, 50, NULL);
   @endcode */
#ifndef QUELT_SURFACE_BLEND_H
#define QUELT_SURFACE_BLEND_H

#include <stdint.h>
#include <quelt/base/export.h>
#include <quelt/surface/surface.h>

QUELT_EXTERN_C_BEGIN

/** A blend kernel: writes `src_rect` of `src` onto `dst_rect` of `dst`. The two rectangles
   have the same size and lie inside their surfaces, as sf_clip gives them. */
typedef void (*sf_blend_kernel)(sf_surface* dst, sf_rect dst_rect, sf_surface* src, sf_rect src_rect);

/** Blends a source onto a target. The position is first moved left and up by the anchors of
   `dst` times the source rectangle's size, and the anchors are cleared, on every call. When
   source and target are the same surface and the rectangles overlap, the source is copied
   aside first. Prints nothing.
   @param dst the target.
   @param src the source.
   @param src_rect the part of the source to draw, or null for all of it.
   @param x target column for the source rectangle's left edge, before the anchors.
   @param y target row for the source rectangle's top edge, before the anchors.
   @param kernel the kernel, or null to choose by pixel sizes: a 4-byte target with a 4-, 1- or
          3-byte source takes sf_blend_4b4b, sf_blend_4b1b or sf_blend_4b3b.
   @return 1 when a kernel ran; 0 when nothing is left after clipping, no kernel fits the
           formats, or the copy of an overlapping source cannot be allocated. */
QUELT_API int32_t sf_blend(sf_surface* dst, sf_surface* src, const sf_rect* src_rect, int32_t x, int32_t y,
                           sf_blend_kernel kernel);
/** Kernel for a 4-byte source on a 4-byte target: the source's alpha times the alpha of
   `color` is the weight, and its colour is modulated by that of `color` (left as it is for
   white). Called directly, it trusts its arguments.
   @param dst the target, 4 bytes per pixel.
   @param dst_rect the rectangle to write.
   @param src the source, 4 bytes per pixel.
   @param src_rect the rectangle to read, of the same size. */
QUELT_API void sf_blend_4b4b(sf_surface* dst, sf_rect dst_rect, sf_surface* src, sf_rect src_rect);
/** Kernel for sub-pixel coverage: each of the source's three bytes (red, green, blue
   coverage) times the alpha of `color` weighs one channel of `color`; alpha becomes 255.
   Called directly, it trusts its arguments.
   @param dst the target, 4 bytes per pixel.
   @param dst_rect the rectangle to write.
   @param src the source, 3 bytes per pixel.
   @param src_rect the rectangle to read, of the same size. */
QUELT_API void sf_blend_4b3b(sf_surface* dst, sf_rect dst_rect, sf_surface* src, sf_rect src_rect);
/** Kernel for a coverage mask: draws `color` with the source byte times its alpha as the
   weight. Called directly, it trusts its arguments.
   @param dst the target, 4 bytes per pixel.
   @param dst_rect the rectangle to write.
   @param src the source, 1 byte per pixel.
   @param src_rect the rectangle to read, of the same size. */
QUELT_API void sf_blend_4b1b(sf_surface* dst, sf_rect dst_rect, sf_surface* src, sf_rect src_rect);
/** Kernel that copies pixels as they are, alpha included; does nothing when the pixel sizes
   differ. Pixels skipped through the source's skip table keep what the target held.
   @param dst the target.
   @param dst_rect the rectangle to write.
   @param src the source.
   @param src_rect the rectangle to read, of the same size. */
QUELT_API void sf_blend_copy(sf_surface* dst, sf_rect dst_rect, sf_surface* src, sf_rect src_rect);
/** Fills a rectangle, within the surface's clip, with its `color` by the over rule (stored
   as it is when its alpha is 255). Prints nothing.
   @param surface the target, 4 bytes per pixel.
   @param rect the rectangle, or null for the whole surface.
   @return 1, or 0 when nothing is left after clipping, the alpha of `color` is 0, or the
           surface is not 4 bytes per pixel. */
QUELT_API int32_t sf_fill(sf_surface* surface, const sf_rect* rect);

QUELT_EXTERN_C_END

#endif
