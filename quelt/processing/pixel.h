/** @file
   One pixel over another, exactly: straight alpha in, straight alpha out, divisions by 255.
   Unlike the blends of the surface, which shift by 8 and leave premultiplied colour, this keeps
   the result fit for further straight-alpha work. */
#ifndef QUELT_PROCESSING_PIXEL_H
#define QUELT_PROCESSING_PIXEL_H

#include <stdint.h>
#include <quelt/base/export.h>

QUELT_EXTERN_C_BEGIN

/** Composes one pixel over another, each four bytes B, G, R, A with straight alpha:
   A = fa + (255 - fa) × ba / 255, the foreground weight w = 255 × fa / A (0 when A is 0), each
   colour c = (bg × (255 - w) + fg × w) / 255, with integer divisions. Does nothing when any
   pointer is null.
   @param out receives the word 0xAARRGGBB.
   @param fg the foreground pixel.
   @param bg the background pixel. */
QUELT_API void sf_pixel_alphablend_outline(uint32_t* out, const uint8_t* fg, const uint8_t* bg);

QUELT_EXTERN_C_END

#endif
