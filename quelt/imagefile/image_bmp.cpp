// BMP files by hand: uncompressed 24-bit and 32-bit rasters with the 40-byte information
// header. A file pixel is B, G, R (, A), the memory order of a 4-byte surface pixel, so the
// raster is read straight into the surface and only 24-bit rows need widening.
#include <quelt/imagefile/image.h>

#include "image_p.h"

#include <quelt/base/bytes_p.h>
#include <quelt/base/file_p.h>
#include <quelt/base/trace.h>
#include <quelt/surface/surface_p.h>
#include <quelt/surface/transform.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#if !defined(_WIN32)
#  include <cerrno>
#  include <sys/uio.h>
#  include <unistd.h>
#endif

namespace {

constexpr size_t kFileHeader = 14;
constexpr size_t kInfoHeader = 40;


// Bytes of a 24-bit row on file: 3 per pixel, rounded up to a multiple of 4.
int64_t padded_row(int64_t width) { return (3 * width + 3) & ~int64_t{3}; }

#if !defined(_WIN32)
// Reads `rows` rows of `row` bytes each from `offset` on, the file's first row into the buffer's
// last: a bottom-up raster lands top row first, with no pass to turn it. A few hundred rows go
// to each system call, each straight into its place.
bool read_turned(FILE* file, uint8_t* pixels, size_t row, size_t rows, off_t offset) {
  constexpr size_t batch = 512;
  iovec parts[batch];
  size_t done = 0, partial = 0;  // whole rows read, and bytes of the next one
  while (done < rows) {
    size_t n = 0;
    for (; n < batch && done + n < rows; ++n) {
      const size_t skip = n == 0 ? partial : 0;
      parts[n] = {pixels + (rows - 1 - done - n) * row + skip, row - skip};
    }
    const ssize_t got = preadv(fileno(file), parts, static_cast<int>(n), offset);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    offset += got;
    const size_t bytes = partial + static_cast<size_t>(got);
    done += bytes / row;
    partial = bytes % row;
  }
  return true;
}
#endif

// Reads the raster of `rows` rows of `row` bytes into the surface: in file order, or with
// `turn` top row first for a bottom-up file (a file that can be read at any position, not a
// pipe). Tells whether the rows were turned.
bool read_raster(FILE* file, sf_surface* surface, size_t row, size_t rows, uint32_t offset, bool turn,
                 bool* turned) {
  *turned = false;
#if !defined(_WIN32)
  if (turn && rows > 1) {
    *turned = true;
    return read_turned(file, surface->pixels, row, rows, static_cast<off_t>(offset));
  }
#else
  (void)offset;
  (void)turn;
#endif
  return std::fread(surface->pixels, 1, row * rows, file) == row * rows;
}

// The reader under its exported name, with one more argument and one more result: whether the
// caller wants the picture's top row first, and whether the file was top-down. Defined here so
// that its trace names the exported operation that the caller used.
int32_t sf_image_bmp_read(sf_surface* surface, const char* path, bool turn, bool* upright) {
  const quelt::file_ptr f(path ? std::fopen(path, "rb") : nullptr);
  FILE* const file = f.get();
  if (!file) return QUELT_FAILED("fopen");
  uint8_t header[kFileHeader + kInfoHeader] = {};
  if (std::fread(header, 1, 2, file) != 2) return QUELT_FAILED("fread");
  bool refused = header[0] != 'B' || header[1] != 'M';
  if (!refused && (std::fread(header + 2, 1, kFileHeader - 2, file) != kFileHeader - 2 ||
                   std::fread(header + kFileHeader, 1, kInfoHeader, file) != kInfoHeader))
    return QUELT_FAILED("fread");
  const uint32_t offset = quelt::le32(header + 10);
  const int64_t width = static_cast<int32_t>(quelt::le32(header + 18));
  const int64_t height = static_cast<int32_t>(quelt::le32(header + 22));
  const uint32_t bits = quelt::le16(header + 28);
  // A negative height is a top-down raster; the surface takes its absolute value. Sizes are
  // worked out in 64 bits, where width × rows (each below 2^31 + 1) can't overflow; the
  // 4-byte surface must stay within 2^31 − 1 bytes.
  const int64_t rows = height < 0 ? -height : height;
  refused = refused || quelt::le32(header + 14) != kInfoHeader || (bits != 24 && bits != 32) || width < 1 ||
            rows == 0 || width * rows > INT32_MAX / 4;
  if (refused) {
    sf_release(surface);
    QUELT_EXIT();
    return 0;
  }
  // The raster must lie between the offset and the end of the file: checked before the
  // surface is allocated, so that a short file can't ask for a large buffer.
  const int64_t raster = (bits == 32 ? 4 * width : padded_row(width)) * rows;
  const int64_t size = quelt::file_size(file);
  if (size >= 0 && (offset > size || size - offset < raster)) {
    sf_release(surface);
    return QUELT_FAILED("fread");
  }
  if (std::fseek(file, static_cast<long>(offset), SEEK_SET) != 0) return QUELT_FAILED("fseek");
  // Both depths get a 4-byte surface: a padded 24-bit row never needs more than 4 bytes per
  // pixel, so the raster is read into the buffer and widened in place. Every byte of the buffer
  // is written below, by the read or by the widening, so it isn't cleared first.
  if (!quelt::create_for_overwrite(surface, static_cast<int32_t>(width), static_cast<int32_t>(rows), 4))
    return QUELT_FAILED("");
  const size_t row = static_cast<size_t>(raster / rows);
  bool turned = false;
  if (!read_raster(file, surface, row, static_cast<size_t>(rows), offset, turn && height > 0 && size >= 0, &turned)) {
    sf_release(surface);
    return QUELT_FAILED("fread");
  }
  if (bits == 24) sf_image_bmp_expand_2432(surface, 255);
  if (upright) *upright = height < 0 || turned;
  return 1;
}

}  // namespace

extern "C" {

int32_t sf_image_bmp_read(sf_surface* surface, const char* path) {
  return sf_image_bmp_read(surface, path, false, nullptr);
}

int32_t sf_image_bmp_load(sf_surface* surface, const char* path) {
  bool upright = false;
  if (!sf_image_bmp_read(surface, path, true, &upright)) return QUELT_FAILED("");
  if (!upright) sf_flip_vertical(surface, surface);
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
  const quelt::file_ptr file(path ? std::fopen(path, "wb") : nullptr);
  if (!file) return QUELT_FAILED("fopen");
  uint8_t header[kFileHeader + kInfoHeader] = {};
  header[0] = 'B';
  header[1] = 'M';
  quelt::put_le32(header + 2, static_cast<uint32_t>(kFileHeader + kInfoHeader + n));
  quelt::put_le32(header + 10, kFileHeader + kInfoHeader);
  quelt::put_le32(header + 14, kInfoHeader);
  quelt::put_le32(header + 18, static_cast<uint32_t>(surface->width));
  // Negative: the rows are stored as the surface has them, top row first.
  quelt::put_le32(header + 22, static_cast<uint32_t>(-surface->height));
  quelt::put_le16(header + 26, 1);
  quelt::put_le16(header + 28, 32);
  quelt::put_le32(header + 34, static_cast<uint32_t>(n));
  std::fwrite(header, 1, 2, file.get());
  std::fwrite(header + 2, 1, kFileHeader - 2, file.get());
  std::fwrite(header + kFileHeader, 1, kInfoHeader, file.get());
  std::fwrite(surface->pixels, 1, static_cast<size_t>(n), file.get());
  return 1;
}

void sf_image_bmp_expand_2432(sf_surface* surface, uint8_t alpha) {
  if (surface->width < 1) return;
  quelt::image::expand_24_to_32(surface, static_cast<size_t>(padded_row(surface->width)), alpha);
}

}  // extern "C"
