#include <quelt/surface/surface.h>

#include <quelt/base/trace.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

extern "C" {

int32_t sf_create(sf_surface* surface, int32_t width, int32_t height, int32_t bytes_per_pixel) {
  std::memset(surface, 0, sizeof *surface);
  if (width != 0 && height != 0 && bytes_per_pixel != 0) {
    // A negative dimension or a buffer beyond the 32-bit pixel addressing is refused as an
    // allocation that cannot be made, never allocated short.
    // Two sides below 2^31 multiply within 64 bits; the third factor only once that fits 31.
    const int64_t limit = std::numeric_limits<int32_t>::max();
    const int64_t area = static_cast<int64_t>(width) * height;
    const bool refused = width < 0 || height < 0 || bytes_per_pixel < 0 || area > limit ||
                         area * bytes_per_pixel > limit;
    const int64_t bytes = refused ? 0 : area * bytes_per_pixel;
    // calloc: large buffers come as fresh zero pages, with no clearing pass over them.
    void* pixels = refused ? nullptr : std::calloc(static_cast<size_t>(bytes), 1);
    if (!pixels) {
      QUELT_FAIL("malloc");
      QUELT_EXIT();
      return 0;
    }
    surface->pixels = static_cast<uint8_t*>(pixels);
  }
  surface->bytes_per_pixel = bytes_per_pixel;
  surface->width = width;
  surface->height = height;
  return 1;
}

void sf_release(sf_surface* surface) {
  std::free(surface->pixels);
  std::free(surface->strip);
  std::memset(surface, 0, sizeof *surface);
}

}  // extern "C"
