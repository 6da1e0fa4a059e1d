#include <quelt/processing/strip.h>

#include <quelt/base/trace.h>
#include <quelt/base/cpu_p.h>

#include <cstdlib>
#include <cstring>

extern "C" {

int32_t sf_strip(sf_surface* surface) {
  const size_t count = surface->width > 0 && surface->height > 0
                           ? static_cast<size_t>(surface->width) * static_cast<size_t>(surface->height)
                           : 0;
  if (count > 0 && !surface->pixels) return 0;  // a size without pixels: nothing to read
  if (!surface->strip) {
    // One byte more than needed, so that an empty surface still gets a block.
    surface->strip = static_cast<uint8_t*>(std::malloc(count + 1));
    if (!surface->strip) return QUELT_FAILED("malloc");
  }
  if (count == 0) return 1;
  quelt::level_active().strip(surface);
  return 1;
}

}  // extern "C"
