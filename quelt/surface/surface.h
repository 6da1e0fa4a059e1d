/* sf_surface: the one pixel buffer of the library. Row-major, top row first, rows packed with a
   stride of width × bytes_per_pixel. 4-byte pixels are B, G, R, A in memory (the word
   0xAARRGGBB), 3-byte pixels are R, G, B coverage, 1-byte pixels one coverage or grey value.

   sf_create refuses (with the "malloc" trace) negative dimensions and buffers of more than
   2^31 − 1 bytes instead of allocating a short block. */
#ifndef QUELT_SURFACE_SURFACE_H
#define QUELT_SURFACE_SURFACE_H

#include <stdint.h>
#include <quelt/base/export.h>
#include <quelt/containers/vector.h>
#include <quelt/surface/clip.h>

QUELT_EXTERN_C_BEGIN

typedef struct sf_surface {
  int32_t width;
  int32_t height;
  int32_t bytes_per_pixel;
  uint8_t* pixels;
  uint8_t* strip;
  uint32_t color;
  sf_rect* clip;
  vect_vector* clip_stack;
  float anchor_x;
  float anchor_y;
} sf_surface;

QUELT_API int32_t sf_create(sf_surface* surface, int32_t width, int32_t height, int32_t bytes_per_pixel);
QUELT_API void sf_release(sf_surface* surface);

QUELT_EXTERN_C_END

#endif
