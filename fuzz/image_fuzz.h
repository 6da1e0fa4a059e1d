// Shared by the image file fuzz targets. The readers take paths, so each input goes to a file
// of this process first; whatever loads must store and load back to the same pixels.
#pragma once

#include <quelt/imagefile/image.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

namespace image_fuzz {

inline std::string scratch(const char* name) {
  static const std::string dir = [] {
    char pattern[] = "/tmp/quelt-fuzz-XXXXXX";
    const char* made = mkdtemp(pattern);
    return std::string(made ? made : "/tmp");
  }();
  return dir + "/" + name;
}

// The failure trace goes to standard output: thousands of lines a second that nobody reads.
inline void quiet() {
  if (!std::freopen("/dev/null", "w", stdout)) std::abort();
}

inline void put(const std::string& path, const uint8_t* data, size_t size) {
  FILE* file = std::fopen(path.c_str(), "wb");
  if (!file || std::fwrite(data, 1, size, file) != size || std::fclose(file) != 0) std::abort();
}

// Loads the input through the dispatcher and through the named reader; a loaded surface of a
// reasonable size goes out under `out` and must come back byte for byte.
inline void run(const uint8_t* data, size_t size, const char* in_name, const char* out_name,
                int32_t (*reader)(sf_surface*, const char*)) {
  const std::string in = scratch(in_name), out = scratch(out_name);
  put(in, data, size);
  sf_surface surface{};
  if (sf_image_load(&surface, in.c_str())) {
    const size_t bytes = size_t(surface.width) * size_t(surface.height) * size_t(surface.bytes_per_pixel);
    if (surface.pixels && bytes <= (4u << 20)) {
      sf_surface back{};
      if (!sf_image_store(&surface, out.c_str()) || !sf_image_load(&back, out.c_str()) ||
          back.width != surface.width || back.height != surface.height ||
          back.bytes_per_pixel != surface.bytes_per_pixel || std::memcmp(back.pixels, surface.pixels, bytes) != 0)
        std::abort();
      sf_release(&back);
    }
  }
  sf_release(&surface);
  if (reader(&surface, in.c_str())) sf_release(&surface);
}

}  // namespace image_fuzz
