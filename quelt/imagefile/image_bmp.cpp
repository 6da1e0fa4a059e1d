// BMP files by hand: uncompressed 24-bit and 32-bit rasters with the 40-byte information
// header. A file pixel is B, G, R (, A), the memory order of a 4-byte surface pixel, so the
// raster is read straight into the surface and only 24-bit rows need widening.
#include <quelt/imagefile/image.h>

#include "image_p.h"

#include <quelt/base/trace.h>
#include <quelt/surface/surface_p.h>
#include <quelt/surface/transform.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr size_t kFileHeader = 14;
constexpr size_t kInfoHeader = 40;

uint32_t get32(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
         static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}
uint32_t get16(const uint8_t* p) { return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8; }
void put32(uint8_t* p, uint32_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
  p[2] = static_cast<uint8_t>(v >> 16);
  p[3] = static_cast<uint8_t>(v >> 24);
}
void put16(uint8_t* p, uint32_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
}

// Bytes of a 24-bit row on file: 3 per pixel, rounded up to a multiple of 4.
int64_t padded_row(int64_t width) { return (3 * width + 3) & ~int64_t{3}; }

// Size of an open file in bytes, or -1 when the stream can't tell (a pipe, say).
int64_t file_size(FILE* file) {
  if (std::fseek(file, 0, SEEK_END) != 0) return -1;
  const long size = std::ftell(file);
  return size < 0 ? -1 : size;
}

// The reader under its exported name, with one more result: whether the file was top-down,
// which only sf_image_bmp_load needs. Defined here so that its trace names the exported
// operation that the caller used.
int32_t sf_image_bmp_read(sf_surface* surface, const char* path, bool* top_down) {
  FILE* file = path ? std::fopen(path, "rb") : nullptr;
  if (!file) {
    QUELT_FAIL("fopen");
    QUELT_EXIT();
    return 0;
  }
  uint8_t header[kFileHeader + kInfoHeader] = {};
  if (std::fread(header, 1, 2, file) != 2) {
    QUELT_FAIL("fread");
    std::fclose(file);
    QUELT_EXIT();
    return 0;
  }
  bool refused = header[0] != 'B' || header[1] != 'M';
  if (!refused && (std::fread(header + 2, 1, kFileHeader - 2, file) != kFileHeader - 2 ||
                   std::fread(header + kFileHeader, 1, kInfoHeader, file) != kInfoHeader)) {
    QUELT_FAIL("fread");
    std::fclose(file);
    QUELT_EXIT();
    return 0;
  }
  const uint32_t offset = get32(header + 10);
  const int64_t width = static_cast<int32_t>(get32(header + 18));
  const int64_t height = static_cast<int32_t>(get32(header + 22));
  const uint32_t bits = get16(header + 28);
  // A negative height is a top-down raster; the surface takes its absolute value. Sizes are
  // worked out in 64 bits, where width × rows (each below 2^31 + 1) can't overflow; the
  // 4-byte surface must stay within 2^31 − 1 bytes.
  const int64_t rows = height < 0 ? -height : height;
  refused = refused || get32(header + 14) != kInfoHeader || (bits != 24 && bits != 32) || width < 1 ||
            rows == 0 || width * rows > INT32_MAX / 4;
  if (refused) {
    sf_release(surface);
    std::fclose(file);
    QUELT_EXIT();
    return 0;
  }
  // The raster must lie between the offset and the end of the file: checked before the
  // surface is allocated, so that a short file can't ask for a large buffer.
  const int64_t raster = (bits == 32 ? 4 * width : padded_row(width)) * rows;
  const int64_t size = file_size(file);
  if (size >= 0 && (offset > size || size - offset < raster)) {
    QUELT_FAIL("fread");
    sf_release(surface);
    std::fclose(file);
    QUELT_EXIT();
    return 0;
  }
  if (std::fseek(file, static_cast<long>(offset), SEEK_SET) != 0) {
    QUELT_FAIL("fseek");
    std::fclose(file);
    QUELT_EXIT();
    return 0;
  }
  // Both depths get a 4-byte surface: a padded 24-bit row never needs more than 4 bytes per
  // pixel, so the raster is read into the buffer and widened in place.
  if (!quelt::create_for_overwrite(surface, static_cast<int32_t>(width), static_cast<int32_t>(rows), 4)) {
    QUELT_FAIL("");
    std::fclose(file);
    QUELT_EXIT();
    return 0;
  }
  if (std::fread(surface->pixels, 1, static_cast<size_t>(raster), file) != static_cast<size_t>(raster)) {
    QUELT_FAIL("fread");
    sf_release(surface);
    std::fclose(file);
    QUELT_EXIT();
    return 0;
  }
  std::fclose(file);
  if (bits == 24) sf_image_bmp_expand_2432(surface, 255);
  if (top_down) *top_down = height < 0;
  return 1;
}

}  // namespace

extern "C" {

int32_t sf_image_bmp_read(sf_surface* surface, const char* path) {
  return sf_image_bmp_read(surface, path, nullptr);
}

int32_t sf_image_bmp_load(sf_surface* surface, const char* path) {
  bool top_down = false;
  if (!sf_image_bmp_read(surface, path, &top_down)) {
    QUELT_FAIL("");
    QUELT_EXIT();
    return 0;
  }
  if (!top_down) sf_flip_vertical(surface, surface);
  return 1;
}

int32_t sf_image_bmp_store(sf_surface* surface, const char* path) {
  // Only a live 4-byte surface has the buffer of width × height × 4 bytes that is written, and
  // the file size field has 32 bits.
  const int64_t n = static_cast<int64_t>(surface->width) * surface->height * 4;
  if (surface->bytes_per_pixel != 4 || !surface->pixels || surface->width < 1 || surface->height < 1 ||
      n > int64_t{UINT32_MAX} - static_cast<int64_t>(kFileHeader + kInfoHeader)) {
    QUELT_EXIT();
    return 0;
  }
  FILE* file = path ? std::fopen(path, "wb") : nullptr;
  if (!file) {
    QUELT_FAIL("fopen");
    QUELT_EXIT();
    return 0;
  }
  uint8_t header[kFileHeader + kInfoHeader] = {};
  header[0] = 'B';
  header[1] = 'M';
  put32(header + 2, static_cast<uint32_t>(kFileHeader + kInfoHeader + n));
  put32(header + 10, kFileHeader + kInfoHeader);
  put32(header + 14, kInfoHeader);
  put32(header + 18, static_cast<uint32_t>(surface->width));
  // Negative: the rows are stored as the surface has them, top row first.
  put32(header + 22, static_cast<uint32_t>(-surface->height));
  put16(header + 26, 1);
  put16(header + 28, 32);
  put32(header + 34, static_cast<uint32_t>(n));
  std::fwrite(header, 1, 2, file);
  std::fwrite(header + 2, 1, kFileHeader - 2, file);
  std::fwrite(header + kFileHeader, 1, kInfoHeader, file);
  std::fwrite(surface->pixels, 1, static_cast<size_t>(n), file);
  std::fclose(file);
  return 1;
}

void sf_image_bmp_expand_2432(sf_surface* surface, uint8_t alpha) {
  if (surface->width < 1) return;
  quelt::image::expand_24_to_32(surface, static_cast<size_t>(padded_row(surface->width)), alpha);
}

}  // extern "C"
