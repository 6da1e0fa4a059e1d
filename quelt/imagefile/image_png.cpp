// PNG files through libpng. libpng reports errors by a long jump back to the setjmp of the
// calling function, so each function here that sets one keeps only trivially destructible
// locals alive across libpng calls, and what its failure path reads after the jump is volatile.
#include <quelt/imagefile/image.h>

#include "image_p.h"

#include <quelt/base/file_p.h>
#include <quelt/base/trace.h>

#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// Limits for reading files from anywhere: libpng's own default side limit, made explicit, and
// bounds for ancillary chunks, which libpng would otherwise allocate at whatever size a file
// announces.
constexpr png_uint_32 kMaxSide = 1000000;
constexpr png_uint_32 kMaxChunks = 1000;
constexpr png_alloc_size_t kMaxChunkBytes = 8u << 20;
// Deflate never does better than 1032 to 1 (a 258-byte match in two bits), so image data that
// would need more than that from the whole file can't be in it.
constexpr uint64_t kDeflateBestRatio = 1032;

// The bytes of image data (IDAT chunks) in a file of `size` bytes, from a walk over the chunk
// headers after the signature; the position goes back to the start. A chunk that runs past the
// end counts as far as the file goes, and the walk ends there, at IEND, or at a header that
// can't be read: libpng can never decode more data than this. -1 when the stream can't seek.
[[gnu::noinline]] int64_t image_data_bytes(FILE* file, int64_t size) {
  if (size < 0) {
    std::rewind(file);
    return -1;
  }
  int64_t at = 8, total = 0;
  unsigned char head[8];
  while (at + 8 <= size && std::fseek(file, static_cast<long>(at), SEEK_SET) == 0 &&
         std::fread(head, 1, sizeof head, file) == sizeof head) {
    const int64_t length = int64_t{head[0]} << 24 | head[1] << 16 | head[2] << 8 | head[3];
    const int64_t data = std::min(length, size - at - 8);
    if (std::memcmp(head + 4, "IDAT", 4) == 0) total += data;
    if (std::memcmp(head + 4, "IEND", 4) == 0) break;
    at += 12 + length;  // length, type, data and checksum
  }
  std::rewind(file);
  return total;
}

// What a read or a write holds, released on every way out, the jump from libpng's errors
// included. The jump target reads these fields, so they are volatile.
struct png_job {
  FILE* volatile file = nullptr;
  png_structp volatile png = nullptr;
  png_infop volatile info = nullptr;
  png_bytep* volatile rows = nullptr;
  sf_surface* volatile made = nullptr;  // the surface that a read made, until the read succeeds
  bool writing = false;

  ~png_job() {
    std::free(rows);
    if (made) sf_release(made);
    png_structp p = png;
    png_infop i = info;
    if (p && writing) png_destroy_write_struct(&p, i ? &i : nullptr);
    if (p && !writing) png_destroy_read_struct(&p, i ? &i : nullptr, nullptr);
    if (file) std::fclose(file);
  }
};

// A surface whose buffer holds width × height × bytes_per_pixel bytes, at least one of them.
bool has_pixels(const sf_surface* surface) {
  return surface->pixels && surface->width > 0 && surface->height > 0 && surface->bytes_per_pixel > 0;
}

}  // namespace

extern "C" {

// GCC takes `path` for a value that libpng's jump might clobber; it is not read after the jump
// target is set.
#if defined(__GNUC__) && !defined(__clang__)
#  pragma GCC diagnostic push
#  pragma GCC diagnostic ignored "-Wclobbered"
#endif
int32_t sf_image_png_read(sf_surface* surface, const char* path) {
  png_job job;
  FILE* const file = path ? std::fopen(path, "rb") : nullptr;
  job.file = file;
  if (!file) return QUELT_FAILED("fopen");
  const int64_t image_data = image_data_bytes(file, quelt::file_size(file));
  png_structp const png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  job.png = png;
  if (!png) return QUELT_FAILED("png_create_read_struct");
  png_infop const info = png_create_info_struct(png);
  job.info = info;
  if (!info) return QUELT_FAILED("png_create_info_struct");
  // The one jump target of the read.
  if (setjmp(png_jmpbuf(png))) return QUELT_FAILED("png_jmpbuf");
  png_set_user_limits(png, kMaxSide, kMaxSide);
  png_set_chunk_cache_max(png, kMaxChunks);
  png_set_chunk_malloc_max(png, kMaxChunkBytes);
  // No ancillary chunk matters to a surface (tRNS aside, which libpng keeps): skip them all
  // unread. Besides saving the work, this keeps libpng from allocating and clearing a buffer of
  // whatever size a text chunk announces, which its size limit only warns about. The call
  // allocates, so it comes after the jump target.
  png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
  png_init_io(png, file);
  png_read_info(png, info);
  if (png_get_bit_depth(png, info) != 8) return QUELT_FAILED("invalid bit depth");
  const int type = png_get_color_type(png, info);
  if (type != PNG_COLOR_TYPE_GRAY && type != PNG_COLOR_TYPE_PALETTE && type != PNG_COLOR_TYPE_GRAY_ALPHA &&
      type != PNG_COLOR_TYPE_RGB && type != PNG_COLOR_TYPE_RGB_ALPHA)
    return QUELT_FAILED("invalid color type");
  const png_uint_32 width = png_get_image_width(png, info);
  const png_uint_32 height = png_get_image_height(png, info);
  const int32_t bytes_per_pixel = type == PNG_COLOR_TYPE_RGB || type == PNG_COLOR_TYPE_RGB_ALPHA ? 4 : 1;
  // Checked before libpng sizes its row buffers and before the surface is made: a little image
  // data must not make either ask for more than it could ever fill, however large the file's
  // other chunks are.
  const uint64_t packed = uint64_t{width} * height * png_get_channels(png, info);
  if (image_data >= 0 && packed > static_cast<uint64_t>(image_data) * kDeflateBestRatio)
    png_error(png, "image data larger than the file can hold");

  // Grey with alpha keeps its grey values; RGB and RGBA come as B, G, R (, A), the memory order
  // of a 4-byte pixel. Interlaced files are put together by libpng.
  if (type == PNG_COLOR_TYPE_GRAY_ALPHA) png_set_strip_alpha(png);
  if (bytes_per_pixel == 4) png_set_bgr(png);
  png_set_interlace_handling(png);
  png_read_update_info(png, info);
  // RGB rows lie packed at 3 bytes per pixel in the first three quarters of the buffer and are
  // widened afterwards; every other row is a surface row. Nothing longer may reach the buffer.
  const size_t row_bytes = png_get_rowbytes(png, info);
  const size_t pixel_bytes = type == PNG_COLOR_TYPE_RGB ? 3 : static_cast<size_t>(bytes_per_pixel);
  if (row_bytes != size_t{width} * pixel_bytes) png_error(png, "unexpected row size");

  if (!sf_create(surface, static_cast<int32_t>(width), static_cast<int32_t>(height), bytes_per_pixel))
    return QUELT_FAILED("");
  job.made = surface;
  png_bytep* const rows = static_cast<png_bytep*>(std::malloc(size_t{height} * sizeof(png_bytep)));
  job.rows = rows;
  if (!rows) return QUELT_FAILED("malloc");
  for (size_t y = 0; y < height; ++y) rows[y] = surface->pixels + y * row_bytes;
  png_read_image(png, rows);
  png_read_end(png, info);
  job.made = nullptr;  // the surface is the caller's now
  if (type == PNG_COLOR_TYPE_RGB) sf_image_png_expand_2432(surface, 255);
  return 1;
}

#if defined(__GNUC__) && !defined(__clang__)
#  pragma GCC diagnostic pop
#endif

int32_t sf_image_png_load(sf_surface* surface, const char* path) { return sf_image_png_read(surface, path); }

int32_t sf_image_png_store_stream(sf_surface* surface, FILE* stream) {
  if (!has_pixels(surface) || !stream) {
    QUELT_EXIT();
    return 0;
  }
  png_job job;
  job.writing = true;
  png_structp const png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  job.png = png;
  if (!png) return QUELT_FAILED("png_create_write_struct");
  png_infop const info = png_create_info_struct(png);
  job.info = info;
  if (!info) return QUELT_FAILED("png_create_info_struct");
  if (setjmp(png_jmpbuf(png))) return QUELT_FAILED("");
  png_init_io(png, stream);

  if (setjmp(png_jmpbuf(png))) return QUELT_FAILED("setjmp");
  const int type = surface->bytes_per_pixel == 4   ? PNG_COLOR_TYPE_RGB_ALPHA
                   : surface->bytes_per_pixel == 3 ? PNG_COLOR_TYPE_RGB
                                                   : PNG_COLOR_TYPE_GRAY;
  png_set_IHDR(png, info, static_cast<png_uint_32>(surface->width), static_cast<png_uint_32>(surface->height), 8,
               type, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);

  if (setjmp(png_jmpbuf(png))) return QUELT_FAILED("setjmp");
  // Surface pixels are B, G, R (, A) in memory; for grey files the call changes nothing.
  png_set_bgr(png);
  png_bytep* const rows = static_cast<png_bytep*>(std::malloc(static_cast<size_t>(surface->height) * sizeof(png_bytep)));
  job.rows = rows;
  if (!rows) return QUELT_FAILED("malloc");
  // Rows of a grey file from a surface of another pixel size are its first width × height
  // bytes: never more than the buffer holds.
  const size_t row_bytes = png_get_rowbytes(png, info);
  for (size_t y = 0; y < static_cast<size_t>(surface->height); ++y) rows[y] = surface->pixels + y * row_bytes;
  png_write_image(png, rows);

  if (setjmp(png_jmpbuf(png))) return QUELT_FAILED("setjmp");
  png_write_end(png, nullptr);
  // What stdio still holds must reach the file: a full disk shows only here for a small image.
  if (std::fflush(stream) != 0) return QUELT_FAILED("fflush");
  return 1;
}

int32_t sf_image_png_store(sf_surface* surface, const char* path) {
  // Refused before the file is opened, so that an existing file isn't emptied for nothing.
  if (!has_pixels(surface)) {
    QUELT_EXIT();
    return 0;
  }
  FILE* file = path ? std::fopen(path, "wb") : nullptr;
  if (!file) return QUELT_FAILED("fopen");
  // A failure of the stream writer has been traced there; what was written stays in the file.
  const int32_t stored = sf_image_png_store_stream(surface, file);
  if (std::fclose(file) != 0 && stored) return QUELT_FAILED("fclose");
  return stored;
}

void sf_image_png_expand_2432(sf_surface* surface, uint8_t alpha) {
  quelt::image::expand_24_to_32(surface, 3 * static_cast<size_t>(surface->width), alpha);
}

}  // extern "C"
