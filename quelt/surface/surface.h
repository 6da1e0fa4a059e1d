/** @file
   The pixel surface, the picture record of the whole library. Pixels are row-major, top row
   first, rows packed with a stride of `width` × `bytes_per_pixel`. 4-byte pixels are B, G, R, A
   in memory (the colour word 0xAARRGGBB, straight alpha), 3-byte pixels are red, green, blue
   coverage, 1-byte pixels one coverage or grey value.

   The record lies in memory that the caller provides: sf_create fills it and sf_release
   empties it. The application sets `color` and the anchors directly; drawing calls read them
   from the target surface. A surface with a size but no pixels (a window whose bitmap could not
   be made) is refused by every operation that reads or writes pixels: nothing is drawn or read.

   @code
   sf_surface s;
   if (sf_create(&s, 64, 32, 4)) {
     s.color = 0xFF2060A0;
     sf_fill(&s, NULL);
     sf_release(&s);
   }
   @endcode */
#ifndef QUELT_SURFACE_SURFACE_H
#define QUELT_SURFACE_SURFACE_H

#include <stdint.h>
#include <quelt/base/export.h>
#include <quelt/containers/vector.h>
#include <quelt/surface/clip.h>

QUELT_EXTERN_C_BEGIN

/** A pixel buffer with its drawing state. */
typedef struct sf_surface {
  int32_t width;           /**< Width in pixels. */
  int32_t height;          /**< Height in pixels. */
  int32_t bytes_per_pixel; /**< 1, 3 or 4 for the pictures the library draws with. */
  uint8_t* pixels;         /**< The pixels, null for an empty surface. */
  uint8_t* strip;          /**< Skip table over empty pixels (processing/strip.h), or null. */
  uint32_t color;          /**< Colour word 0xAARRGGBB that drawing uses; 0 draws nothing. */
  sf_rect* clip;           /**< The clip in force (top of `clip_stack`), or null for none. */
  vect_vector* clip_stack; /**< The clip stack of sf_push and sf_pop, or null. */
  float anchor_x;          /**< Share of the width to shift the next blend left by. */
  float anchor_y;          /**< Share of the height to shift the next blend up by. */
} sf_surface;

/** Makes a surface of all-zero pixels; the record's old content is ignored. With a zero
   side or pixel size nothing is allocated and the surface has no pixels, which is success.
   @param surface the record to fill.
   @param width width in pixels.
   @param height height in pixels.
   @param bytes_per_pixel bytes per pixel.
   @return 1, or 0 with the record all zero.
   @par Failure trace
   "malloc" when the buffer cannot be allocated, also for a negative side or a buffer of more
   than 2^31 - 1 bytes. */
QUELT_API int32_t sf_create(sf_surface* surface, int32_t width, int32_t height, int32_t bytes_per_pixel);
/** Frees the pixels and the skip table and sets the whole record to zero, ready for another
   sf_create.
   @param surface a record made by sf_create, or all zero. */
QUELT_API void sf_release(sf_surface* surface);

QUELT_EXTERN_C_END

#endif
