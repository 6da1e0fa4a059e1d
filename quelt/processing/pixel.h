/* One pixel over another, exactly: straight alpha in, straight alpha out, divisions by 255.
   Unlike the blends of the surface, which shift by 8 and leave premultiplied colour, this keeps
   the result fit for further straight-alpha work. */
#ifndef QUELT_PROCESSING_PIXEL_H
#define QUELT_PROCESSING_PIXEL_H

#include <stdint.h>
#include <quelt/base/export.h>

QUELT_EXTERN_C_BEGIN

/* Composes the pixel at fg over the pixel at bg, each four bytes B, G, R, A with straight alpha,
   and stores the word 0xAARRGGBB in *out:
     A = fa + (255 − fa) × ba / 255, the foreground weight w = 255 × fa / A (0 when A is 0,
     worked out in double and truncated), each colour c = (bg × (255 − w) + fg × w) / 255,
   with integer divisions. A null pointer among the three makes it do nothing. */
QUELT_API void sf_pixel_alphablend_outline(uint32_t* out, const uint8_t* fg, const uint8_t* bg);

QUELT_EXTERN_C_END

#endif
