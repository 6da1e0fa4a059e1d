/* ctl_pixmap_rec: a 4-byte surface whose pixels live in a bitmap of the platform (a top-down
   32-bit device-independent bitmap selected into a memory device context), so that a window
   can put them on the screen with no conversion and no second buffer.

   The pixels belong to the bitmap, not to malloc: never hand the surface to an operation that
   replaces its buffer. ctl_pixmap_release deletes the device context first, which lets go of
   the bitmap, and then the bitmap, so that neither outlives the call. A failed
   ctl_pixmap_create leaves a record that ctl_pixmap_release ignores and that nothing may draw
   on. Sizes that no bitmap can have (zero, negative, or more than 2^31 - 1 bytes of pixels)
   fail with the "CreateDIBSection" trace. */
#ifndef QUELT_WINDOWING_PIXMAP_H
#define QUELT_WINDOWING_PIXMAP_H

#include <stdint.h>
#include <quelt/base/export.h>
#include <quelt/platform/types.h>
#include <quelt/surface/surface.h>

QUELT_EXTERN_C_BEGIN

typedef struct ctl_pixmap_rec {
  sf_surface surface;
  quelt_hdc dc;
} ctl_pixmap_rec;

QUELT_API int32_t ctl_pixmap_create(ctl_pixmap_rec* pixmap, int32_t width, int32_t height);
QUELT_API void ctl_pixmap_release(ctl_pixmap_rec* pixmap);

QUELT_EXTERN_C_END

#endif
