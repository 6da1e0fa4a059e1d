/** @file
   ctl_pixmap_rec: a 4-byte surface whose pixels live in a bitmap of the platform (a top-down
   32-bit device-independent bitmap selected into a memory device context), so that a window
   can put them on the screen with no conversion and no second buffer.

   The pixels belong to the bitmap, not to malloc: never hand the surface to an operation that
   replaces its buffer (sf_enlarge, sf_duplicate onto itself, sf_grayscale mode 1, the image
   readers). Windows make and remake their pixmap themselves. */
#ifndef QUELT_WINDOWING_PIXMAP_H
#define QUELT_WINDOWING_PIXMAP_H

#include <stdint.h>
#include <quelt/base/export.h>
#include <quelt/platform/types.h>
#include <quelt/surface/surface.h>

QUELT_EXTERN_C_BEGIN

/** A surface on a bitmap of the platform. The record lies in memory the caller provides. */
typedef struct ctl_pixmap_rec {
  sf_surface surface; /**< The pixels, 4 bytes per pixel, top row first. */
  quelt_hdc dc;             /**< The memory device context that holds the bitmap. */
} ctl_pixmap_rec;

/** Makes a pixmap of all-zero pixels.
   @param pixmap the record to fill; its old content is ignored.
   @param width width in pixels.
   @param height height in pixels.
   @return 1, or 0 on failure. A failed pixmap is ignored by ctl_pixmap_release and must not be
           drawn on.
   @par Failure trace
   "CreateCompatibleDC" when the device context cannot be made; "CreateDIBSection" when the
   bitmap cannot be made, also for a size that no bitmap can have (zero, negative, or more
   than 2^31 - 1 bytes of pixels). */
QUELT_API int32_t ctl_pixmap_create(ctl_pixmap_rec* pixmap, int32_t width, int32_t height);
/** Deletes the device context and then the bitmap, so that neither outlives the call.
   @param pixmap the pixmap. */
QUELT_API void ctl_pixmap_release(ctl_pixmap_rec* pixmap);

QUELT_EXTERN_C_END

#endif
