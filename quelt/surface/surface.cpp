#include <quelt/surface/surface.h>

#include <quelt/base/trace.h>
#include <quelt/surface/surface_p.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

// sf_create, with the buffer cleared or not. Failures trace under sf_create's name.
int32_t make(sf_surface* surface, int32_t width, int32_t height, int32_t bytes_per_pixel, bool cleared) {
  std::memset(surface, 0, sizeof *surface);
  if (width != 0 && height != 0 && bytes_per_pixel != 0) {
    // A negative dimension or a buffer beyond the 32-bit pixel addressing is refused as an
    // allocation that cannot be made, never allocated short.
    // Two sides below 2^31 multiply within 64 bits; the third factor only once that fits 31.
    const int64_t limit = std::numeric_limits<int32_t>::max();
    const int64_t area = static_cast<int64_t>(width) * height;
    const bool refused = width < 0 || height < 0 || bytes_per_pixel < 0 || area > limit ||
                         area * bytes_per_pixel > limit;
    const size_t bytes = refused ? 0 : static_cast<size_t>(area * bytes_per_pixel);
    // calloc: large buffers come as fresh zero pages, with no clearing pass over them. A buffer
    // about to be overwritten needs no clearing at all.
    void* pixels = refused ? nullptr : cleared ? std::calloc(bytes, 1) : std::malloc(bytes);
    if (!pixels) {
      return QUELT_FAILED_AS("sf_create", "malloc");
    }
    surface->pixels = static_cast<uint8_t*>(pixels);
  }
  surface->bytes_per_pixel = bytes_per_pixel;
  surface->width = width;
  surface->height = height;
  return 1;
}

}  // namespace

int32_t quelt::create_for_overwrite(sf_surface* surface, int32_t width, int32_t height, int32_t bytes_per_pixel) {
  return make(surface, width, height, bytes_per_pixel, false);
}

extern "C" {

int32_t sf_create(sf_surface* surface, int32_t width, int32_t height, int32_t bytes_per_pixel) {
  return make(surface, width, height, bytes_per_pixel, true);
}

void sf_release(sf_surface* surface) {
  std::free(surface->pixels);
  std::free(surface->strip);
  std::memset(surface, 0, sizeof *surface);
}

}  // extern "C"
