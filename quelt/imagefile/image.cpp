// Format detection by content and by extension, and the two operations that choose the reader
// or the writer with them.
#include <quelt/imagefile/image.h>

#include <quelt/base/trace.h>

#include <cstdio>
#include <cstring>

namespace {

// ASCII comparison that ignores case, as file systems of the platform do for extensions.
bool same_extension(const char* a, const char* b) {
  for (; *a && *b; ++a, ++b) {
    const char x = *a >= 'A' && *a <= 'Z' ? static_cast<char>(*a - 'A' + 'a') : *a;
    const char y = *b >= 'A' && *b <= 'Z' ? static_cast<char>(*b - 'A' + 'a') : *b;
    if (x != y) return false;
  }
  return *a == *b;
}

}  // namespace

extern "C" {

int32_t sf_image_determinate_format(const char* path, int32_t* format) {
  FILE* file = path ? std::fopen(path, "rb") : nullptr;
  if (!file) return QUELT_FAILED("fopen");
  unsigned char head[4];
  const size_t got = std::fread(head, 1, sizeof head, file);
  std::fclose(file);
  if (got < sizeof head) return QUELT_FAILED("fread");
  // Only the first four bytes count; the rest of the PNG signature is the reader's business.
  int32_t found = SF_IMAGE_UNKNOWN;
  if (head[0] == 'B')
    found = head[1] == 'M' ? SF_IMAGE_BMP : SF_IMAGE_UNKNOWN;
  else if (head[0] == 0x89)
    found = std::memcmp(head + 1, "PNG", 3) == 0 ? SF_IMAGE_PNG : SF_IMAGE_UNKNOWN;
  if (format) *format = found;
  return 1;
}

int32_t sf_image_determinate_format_by_extension(const char* path, int32_t* format) {
  const size_t length = path ? std::strlen(path) : 0;
  if (length <= 3) return QUELT_FAILED("");
  // The last four characters, wherever the last dot is: "x.bmp" and "xbmp.png" alike.
  const char* extension = path + length - 4;
  int32_t found = SF_IMAGE_UNKNOWN;
  if (same_extension(extension, ".bmp"))
    found = SF_IMAGE_BMP;
  else if (same_extension(extension, ".png"))
    found = SF_IMAGE_PNG;
  if (format) *format = found;
  return 1;
}

int32_t sf_image_load(sf_surface* surface, const char* path) {
  int32_t format = SF_IMAGE_UNKNOWN;
  if (!sf_image_determinate_format(path, &format)) return QUELT_FAILED("");
  if (format == SF_IMAGE_BMP) return sf_image_bmp_load(surface, path);
  if (format == SF_IMAGE_PNG) return sf_image_png_read(surface, path);
  return QUELT_FAILED("unknown file format");
}

int32_t sf_image_store(sf_surface* surface, const char* path) {
  int32_t format = SF_IMAGE_UNKNOWN;
  if (!sf_image_determinate_format_by_extension(path, &format)) return QUELT_FAILED("");
  if (format == SF_IMAGE_BMP) return sf_image_bmp_store(surface, path);
  if (format == SF_IMAGE_PNG) return sf_image_png_store(surface, path);
  return QUELT_FAILED("unknown file format");
}

}  // extern "C"
