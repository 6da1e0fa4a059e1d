// Details of faces and glyphs beyond what the header promises:
// - A resolution that the platform reports as 0 or less is taken as 96. A bitmap-only font takes
//   the strike whose listed size equals `size` whatever the display's resolution (FreeType lists
//   most strikes at 72 dots per inch). FreeType takes a scalable size below 1 point as 1 point.
// - Sub-pixel glyphs are filtered by the library's own five-tap filter (28, 56, 85, 56, 28 out
//   of 256) and carry one extra column for its tail.
// - A glyph larger than 16 em (and 256 pixels) in either direction is refused before it is
//   rendered, without a trace: a hostile font cannot make each entry of the cache enormous.
// - Widths and pen positions that would leave the 32-bit range stop at its ends, and an anchor
//   that is not a number counts as 0.
#include <quelt/text/face.h>

#include <quelt/base/bytes_p.h>
#include <quelt/base/cpu_p.h>
#include <quelt/base/trace.h>
#include <quelt/platform/resolution_p.h>
#include <quelt/processing/strip.h>
#include <quelt/surface/blend.h>
#include <quelt/surface/blend_p.h>

#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_LCD_FILTER_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <limits>

extern "C" {
QUELT_API FT_Library ft_library = nullptr;
}

namespace {

// Set once FT_Init_FreeType has succeeded; a failed start is tried again by the next face.
int32_t freetype_initialized = 0;

constexpr uint32_t last_code = 0xFFFF;
constexpr uint16_t question_mark = 0x3F;
constexpr int fallback_dpi = 96;

// Running sums (widths, pens) are kept in 64 bits and held inside ±2^62, so that no sum of
// 32-bit steps can overflow; results leave through clamp32().
constexpr int64_t sum_limit = int64_t{1} << 62;

inline int64_t bounded(int64_t v) { return std::clamp(v, -sum_limit, sum_limit); }

using quelt::clamp32;

// FreeType's 26.6 values become whole pixels by a division that truncates towards zero.
inline int32_t pixels_of(FT_Pos v) { return clamp32(static_cast<int64_t>(v / 64)); }

// Units up to the zero unit, at most INT32_MAX of them.
int32_t units(const uint16_t* text) {
  int32_t n = 0;
  while (n < std::numeric_limits<int32_t>::max() && text[n]) ++n;
  return n;
}

// Bytes per pixel of the glyph surface for a bitmap as FreeType delivers it; 0 when the
// library has no use for that kind of bitmap.
int bytes_per_pixel(unsigned char pixel_mode) {
  switch (pixel_mode) {
    case FT_PIXEL_MODE_MONO:
    case FT_PIXEL_MODE_GRAY: return 1;
    case FT_PIXEL_MODE_LCD: return 3;
    default: return 0;
  }
}

// Bytes that one source row must hold for the surface to be filled from it.
size_t row_bytes(const FT_Bitmap& bitmap) {
  if (bitmap.pixel_mode == FT_PIXEL_MODE_MONO) return (static_cast<size_t>(bitmap.width) + 7) / 8;
  return bitmap.width;
}

// A bitmap the copy can walk: dimensions within the surface's 32-bit range, and rows that
// hold what the pixel mode says they hold.
bool bitmap_usable(const FT_Bitmap& bitmap) {
  constexpr unsigned max = static_cast<unsigned>(std::numeric_limits<int32_t>::max()) / 3;
  if (bitmap.width > max || bitmap.rows > max) return false;
  if (bitmap.width == 0 || bitmap.rows == 0) return true;
  const size_t pitch = static_cast<size_t>(bitmap.pitch < 0 ? -static_cast<int64_t>(bitmap.pitch) : bitmap.pitch);
  return bitmap.buffer && pitch >= row_bytes(bitmap);
}

// A glyph may be at most 16 em, and at least 256 pixels, in each direction. Real glyphs stay
// far below; a hostile font would otherwise fill each entry of the cache with megabytes.
bool too_large(FT_Face ft, const FT_Bitmap& bitmap) {
  const FT_Size_Metrics& m = ft->size->metrics;
  const unsigned limit = std::max(256u, 16u * std::max(m.x_ppem, m.y_ppem));
  const unsigned columns = bitmap.pixel_mode == FT_PIXEL_MODE_LCD ? bitmap.width / 3 : bitmap.width;
  return columns > limit || bitmap.rows > limit;
}

// The sub-pixel filter, in place along one row of sub-pixels: byte j becomes
// (28 v[j] + 56 v[j−1] + 85 v[j−2] + 56 v[j−3] + 28 v[j−4]) / 256. Five running sums carry
// the taps forward, so each byte is read once. The weights add up to 253: full coverage
// settles at 252 and never overflows a byte.
void lcd_filter(uint8_t* row, size_t count) {
  uint32_t s0 = 0, s1 = 0, s2 = 0, s3 = 0, s4 = 0;
  for (size_t j = 0; j < count; ++j) {
    const uint32_t v = row[j];
    s0 += 28 * v;
    s1 += 56 * v;
    s2 += 85 * v;
    s3 += 56 * v;
    s4 += 28 * v;
    row[j] = static_cast<uint8_t>(s0 >> 8);
    s0 = s1;
    s1 = s2;
    s2 = s3;
    s3 = s4;
    s4 = 0;
  }
}

// Copies FreeType's bitmap into the glyph's packed rows: one-bit pixels become 0 or 255, grey
// bytes are taken as they are, sub-pixel rows land at the start of each surface row and are
// filtered over the whole row, the extra column included.
void copy_bitmap(sf_surface* s, const FT_Bitmap& bitmap) {
  // FreeType leaves the buffer null for a bitmap with nothing in it: the glyph stays blank.
  if (!s->pixels || !bitmap.buffer) return;
  const size_t stride = static_cast<size_t>(s->width) * static_cast<size_t>(s->bytes_per_pixel);
  // A negative pitch means rows run upwards in memory: the top row is the last one stored.
  const ptrdiff_t pitch = bitmap.pitch;
  const uint8_t* top = bitmap.buffer + (pitch < 0 ? -pitch * static_cast<ptrdiff_t>(s->height - 1) : 0);
  for (int32_t y = 0; y < s->height; ++y) {
    const uint8_t* src = top + pitch * y;
    uint8_t* dst = s->pixels + static_cast<size_t>(y) * stride;
    switch (bitmap.pixel_mode) {
      case FT_PIXEL_MODE_MONO:
        for (int32_t x = 0; x < s->width; ++x) dst[x] = (src[x >> 3] >> (7 - (x & 7))) & 1 ? 255 : 0;
        break;
      case FT_PIXEL_MODE_GRAY:
        std::memcpy(dst, src, static_cast<size_t>(s->width));
        break;
      default:  // FT_PIXEL_MODE_LCD
        std::memcpy(dst, src, bitmap.width);
        lcd_filter(dst, stride);
        break;
    }
  }
}

// Frees the entry of a glyph whose load failed, so that its next use tries again.
void drop(sf_face* face, uint32_t code) {
  sf_glyph* g = face->glyphs[code];
  sf_release(&g->surface);
  std::free(g);
  face->glyphs[code] = nullptr;
}

// The glyph that stands for a character: its own, else "?", else none. A cached glyph costs
// one indexed read; only a miss goes through the loader.
inline sf_glyph* resolve(sf_face* face, uint32_t code) {
  if (code <= last_code && face->glyphs[code]) return face->glyphs[code];
  if (sf_face_check(face, code)) return face->glyphs[code];
  if (sf_face_check(face, question_mark)) return face->glyphs[question_mark];
  return nullptr;
}

inline bool has_kerning(const sf_face* face) { return (face->ft_face->face_flags & FT_FACE_FLAG_KERNING) != 0; }

// Kerning of pairs of code units as FreeType gives it (two glyph index look-ups and a search of
// the kerning table, each a binary search), remembered in a direct-mapped table. The table holds
// the answers for one size: it notes the FreeType face, size object, scale and character map it
// was filled for, and starts empty again when an application changes any of them through the
// public FT_Face.
// It lives in the face's block, after the public record.
struct kerning_table {
  FT_Face face;
  FT_Size size;
  FT_CharMap charmap;
  FT_Fixed x_scale;
  FT_UShort x_ppem;
  // Key (left << 16 | right) and kerning in pixels. Key 0 marks an empty entry: a string never
  // asks for a pair of zero units, since a zero unit ends it.
  struct entry {
    uint32_t pair;
    int32_t pixels;
  } entries[4096];
};

struct face_block {
  sf_face face;  // first: the application's pointer is the block's
  kerning_table kerning;
};

// The face's table, emptied first when the face's size is not the one it was filled for.
kerning_table& kerning_of(sf_face* face) {
  kerning_table& t = reinterpret_cast<face_block*>(face)->kerning;
  const FT_Face ft = face->ft_face;
  if (t.face != ft || t.size != ft->size || t.charmap != ft->charmap || t.x_scale != ft->size->metrics.x_scale ||
      t.x_ppem != ft->size->metrics.x_ppem) {
    std::memset(&t, 0, sizeof t);
    t.face = ft;
    t.size = ft->size;
    t.charmap = ft->charmap;
    t.x_scale = ft->size->metrics.x_scale;
    t.x_ppem = ft->size->metrics.x_ppem;
  }
  return t;
}

// Horizontal kerning between two units of the string, in whole pixels.
int32_t kerning(kerning_table& table, uint16_t left, uint16_t right) {
  const uint32_t pair = uint32_t{left} << 16 | right;
  kerning_table::entry& e = table.entries[(pair * 2654435761u) >> 20];
  if (e.pair == pair) return e.pixels;
  const FT_UInt r = FT_Get_Char_Index(table.face, right);
  const FT_UInt l = FT_Get_Char_Index(table.face, left);
  FT_Vector delta{0, 0};
  FT_Get_Kerning(table.face, l, r, FT_KERNING_DEFAULT, &delta);
  e = {pair, pixels_of(delta.x)};
  return e.pixels;
}

// Measured width of a glyph: at least its bitmap, at least its advance.
inline int32_t glyph_width(const sf_glyph* g) { return std::max(g->advance_x, g->surface.width); }

// What measuring a string notes for drawing it: the glyph and kerning of its first characters.
// Kept only when every glyph was already in the cache, so that no load, and no callback of the
// application, came between measuring and drawing: then drawing gets the same answers by reading
// them back. Otherwise `count` is 0 and drawing works each character out again.
struct walk_record {
  struct step {
    const sf_glyph* glyph;
    int32_t kerning;
  };
  static constexpr int32_t capacity = 512;
  int32_t count = 0;
  step steps[capacity];
};

// The width of a string: per glyph the larger of advance and bitmap, kerning, and spacing between
// glyphs. With a record, notes what drawing the string will need.
int32_t measure(sf_face* face, const uint16_t* text, int32_t length, walk_record* record) {
  const int64_t spacing = face->spacing;
  int64_t total = 0;
  bool hits = true;
  if (text) {
    if (length == 0) length = units(text);
    kerning_table* kern = has_kerning(face) ? &kerning_of(face) : nullptr;
    for (int32_t i = 0; i < length && text[i]; ++i) {
      const uint16_t code = text[i];
      const sf_glyph* g = face->glyphs[code];
      if (!g) {
        hits = false;
        g = resolve(face, code);
        if (!g) continue;
      }
      const int32_t k = kern && i ? kerning(*kern, text[i - 1], code) : 0;
      if (record && hits && i < walk_record::capacity) record->steps[i] = {g, k};
      total = bounded(total + k + glyph_width(g) + spacing);
    }
    if (record && hits) record->count = std::min(length, walk_record::capacity);
  }
  return clamp32(total - spacing);
}

// The target of a string's glyphs, settled once per string: where glyphs may land (its clip
// rectangle within its bounds) and whether anything can be drawn at all. A glyph that lies wholly
// inside goes straight to its blend kernel, with the rectangles sf_clip would give; any other goes
// through sf_blend, which clips it. Either way the pixels are those of sf_blend with the default
// kernel: the anchors are spent before the first glyph.
struct glyph_target {
  sf_surface* surface;
  sf_rect box{0, 0, 0, 0};
  bool drawable;
  uintptr_t begin = 0, end = 0;  // the target's pixel buffer
  const quelt::blend_ops& kernels = quelt::level_active().blend;

  explicit glyph_target(sf_surface* s) : surface(s) {
    const sf_rect full{0, 0, s->width, s->height};
    box = s->clip ? *s->clip : full;
    drawable = s->pixels && s->bytes_per_pixel == 4 && sf_rect_clip(&full, &box);
    if (drawable) {
      begin = reinterpret_cast<uintptr_t>(s->pixels);
      end = begin + static_cast<size_t>(s->width) * static_cast<size_t>(s->height) * 4;
    }
  }

  // A glyph wholly inside the clip, whose pixels are not the target's own, goes straight to the
  // best level's kernel: nothing is left for sf_blend to clip or to check.
  void draw(const sf_glyph* g, int32_t x, int32_t y) const {
    if (!drawable) return;
    sf_surface* src = const_cast<sf_surface*>(&g->surface);
    const int32_t w = src->width, h = src->height;
    const int32_t bpp = src->bytes_per_pixel;
    const uintptr_t s = reinterpret_cast<uintptr_t>(src->pixels);
    const size_t bytes = static_cast<size_t>(w) * static_cast<size_t>(h) * static_cast<size_t>(bpp);
    if ((bpp == 1 || bpp == 3) && s && w > 0 && h > 0 && (s + bytes <= begin || end <= s) && x >= box.left &&
        y >= box.top && int64_t{x} + w <= box.right && int64_t{y} + h <= box.bottom) {
      (bpp == 1 ? kernels.blend_4b1b : kernels.blend_4b3b)(surface, sf_rect{x, y, x + w, y + h}, src,
                                                            sf_rect{0, 0, w, h});
      return;
    }
    sf_blend(surface, src, nullptr, x, y, nullptr);
  }
};

// FreeType reads the font file through this stream rather than through a memory map: a read
// opens the file, reads and closes it again, so no file stays open between calls, and a file
// that shrinks or goes away while its face is open makes the read come up short, which FreeType
// turns into an error (a refused glyph) instead of the bus error of a mapped page that no
// longer exists. FreeType's many small reads are served from a window of the file that the
// stream keeps, the whole file up to 1 MiB (most fonts: one read for the face and all its
// glyphs), so that a face costs a few file reads, not one per table field. The block holds the
// stream record, the path and the window; FreeType's call of `close` (at FT_Done_Face, or when
// opening the face fails) frees it.
constexpr unsigned long font_window_limit = 1024 * 1024;

struct font_stream {
  FT_StreamRec stream;
  unsigned long window_start, window_length, window_size;
  unsigned char* window;  // in the same block, after the path
  char path[1];
};

// Up to `count` bytes of the file from `offset`; the number read.
unsigned long read_file(const char* path, unsigned long offset, unsigned char* buffer, unsigned long count) {
  FILE* file = std::fopen(path, "rb");
  if (!file) return 0;
  unsigned long got = 0;
  if (offset <= static_cast<unsigned long>(std::numeric_limits<long>::max()) &&
      std::fseek(file, static_cast<long>(offset), SEEK_SET) == 0)
    got = static_cast<unsigned long>(std::fread(buffer, 1, count, file));
  std::fclose(file);
  return got;
}

unsigned long read_font(FT_Stream stream, unsigned long offset, unsigned char* buffer, unsigned long count) {
  if (count == 0) return offset <= stream->size ? 0 : 1;  // a seek: 0 is success
  font_stream* font = reinterpret_cast<font_stream*>(stream);
  if (count > font->window_size) return read_file(font->path, offset, buffer, count);
  if (offset < font->window_start || offset - font->window_start + count > font->window_length) {
    // A window that would run past the end of the file starts earlier, so that it covers as
    // much of the file as it can hold.
    font->window_start = std::min(offset, stream->size - font->window_size);
    font->window_length = read_file(font->path, font->window_start, font->window, font->window_size);
  }
  const unsigned long at = offset - font->window_start;
  const unsigned long n = std::min(count, font->window_length > at ? font->window_length - at : 0);
  std::memcpy(buffer, font->window + at, n);
  return n;
}

void close_font(FT_Stream stream) { std::free(stream); }

// Opens the first face of the file at `path` through a font_stream; FreeType's error code.
FT_Error open_face(const char* path, FT_Face* ft) {
  FILE* file = path ? std::fopen(path, "rb") : nullptr;
  if (!file) return FT_Err_Cannot_Open_Resource;
  const bool sized = std::fseek(file, 0, SEEK_END) == 0;
  const long size = sized ? std::ftell(file) : -1;
  std::fclose(file);
  if (size <= 0) return FT_Err_Invalid_Stream_Operation;
  const size_t length = std::strlen(path);
  const unsigned long window = std::min(static_cast<unsigned long>(size), font_window_limit);
  font_stream* font = static_cast<font_stream*>(std::calloc(1, sizeof(font_stream) + length + window));
  if (!font) return FT_Err_Out_Of_Memory;
  std::memcpy(font->path, path, length + 1);
  font->window = reinterpret_cast<unsigned char*>(font->path) + length + 1;
  font->window_size = window;
  font->stream.size = static_cast<unsigned long>(size);
  font->stream.read = read_font;
  font->stream.close = close_font;
  FT_Open_Args args{};
  args.flags = FT_OPEN_STREAM;
  args.stream = &font->stream;
  return FT_Open_Face(ft_library, &args, 0, ft);
}

}  // namespace

extern "C" {

int32_t sf_face_create(sf_face** face, const char* path, int32_t size) {
  *face = nullptr;
  // The block and the FreeType face are the caller's only when everything has worked.
  std::unique_ptr<sf_face, decltype(&std::free)> block(static_cast<sf_face*>(std::malloc(sizeof(face_block))),
                                                       &std::free);
  if (!block) return QUELT_FAILED("malloc");
  std::memset(block.get(), 0, sizeof(face_block));

  if (!freetype_initialized) {
    FT_Library library = nullptr;
    if (FT_Init_FreeType(&library) != 0) return QUELT_FAILED("FT_Init_FreeType");
    // Sub-pixel glyphs are filtered by the library itself: FreeType is to deliver the raw
    // coverage, three bytes per pixel and no margin.
    FT_Library_SetLcdFilter(library, FT_LCD_FILTER_NONE);
    ft_library = library;
    freetype_initialized = 1;
  }

  FT_Face opened = nullptr;
  if (open_face(path, &opened) != 0) return QUELT_FAILED("FT_New_Face");
  std::unique_ptr<FT_FaceRec, decltype(&FT_Done_Face)> owned(opened, &FT_Done_Face);
  const FT_Face ft = opened;

  // A font of strikes only: list them, and use the strike of the size asked for, else the
  // first one. The strike is chosen by its listed size rather than through the display's
  // resolution: FreeType lists the strikes of most bitmap formats at 72 dots per inch, so
  // scaling the size by another resolution would miss every strike.
  if ((ft->face_flags & (FT_FACE_FLAG_SCALABLE | FT_FACE_FLAG_FIXED_SIZES)) == FT_FACE_FLAG_FIXED_SIZES) {
    const int count = ft->available_sizes ? ft->num_fixed_sizes : 0;
    std::printf("face_create(): available sizes(%i): ", ft->num_fixed_sizes);
    std::fflush(stdout);
    int strike = -1;
    for (int i = 0; i < count; ++i) {
      const long points = static_cast<long>(ft->available_sizes[i].size / 64);
      if (points == size && strike < 0) strike = i;
      std::printf("%li", points);
      std::fflush(stdout);
      if (i + 1 < count) {
        std::printf(", ");
        std::fflush(stdout);
      }
    }
    std::printf(".\n");
    std::fflush(stdout);
    if (FT_Select_Size(ft, strike < 0 ? 0 : strike) != 0) return QUELT_FAILED("FT_Select_Size");
  } else {
    const quelt::platform::Resolution resolution = quelt::platform::display_resolution();
    int dpi_x = resolution.x;
    int dpi_y = resolution.y;
    if (dpi_x <= 0) dpi_x = fallback_dpi;
    if (dpi_y <= 0) dpi_y = fallback_dpi;

    const FT_F26Dot6 char_size = static_cast<FT_F26Dot6>(size) * 64;
    if (FT_Set_Char_Size(ft, char_size, char_size, static_cast<FT_UInt>(dpi_x), static_cast<FT_UInt>(dpi_y)) != 0)
      return QUELT_FAILED("FT_Set_Char_Size");
  }

  FT_Matrix identity{0x10000, 0, 0, 0x10000};
  FT_Vector origin{0, 0};
  FT_Set_Transform(ft, &identity, &origin);

  block->ft_face = owned.release();
  *face = block.release();
  return 1;
}

void sf_face_release(sf_face** face) {
  if (!face || !*face) return;
  sf_face* f = *face;
  if (f->ft_face) FT_Done_Face(f->ft_face);
  for (sf_glyph*& g : f->glyphs) {
    if (!g) continue;
    sf_release(&g->surface);
    std::free(g);
  }
  std::free(f);
  *face = nullptr;
}

int32_t sf_face_height(const sf_face* face) { return pixels_of(face->ft_face->size->metrics.height); }

int32_t sf_face_check(sf_face* face, uint32_t code) {
  if (code > last_code) return 0;
  if (face->glyphs[code]) return 1;

  FT_Int32 flags = face->lcd ? FT_LOAD_RENDER | FT_LOAD_TARGET_LCD : FT_LOAD_RENDER;
  if (face->mono) flags |= FT_LOAD_TARGET_MONO;  // within the LCD bits: LCD wins
  if (face->force_autohint) flags |= FT_LOAD_FORCE_AUTOHINT;

  sf_glyph* g = static_cast<sf_glyph*>(std::malloc(sizeof(sf_glyph)));
  face->glyphs[code] = g;
  if (!g) return QUELT_FAILED("malloc");
  std::memset(g, 0, sizeof *g);

  // The glyph is loaded, then rendered: on the way FreeType works out the size of the bitmap,
  // so that an outrageous one is refused before it is made. The two steps together are the
  // load that the flags ask for.
  FT_Face ft = face->ft_face;
  const FT_GlyphSlot slot = ft->glyph;
  const FT_Bitmap& bitmap = slot->bitmap;
  bool loaded = FT_Load_Char(ft, code, flags & ~FT_LOAD_RENDER) == 0;
  if (loaded && slot->format != FT_GLYPH_FORMAT_BITMAP) {
    if (too_large(ft, bitmap)) {
      drop(face, code);
      return 0;
    }
    loaded = FT_Render_Glyph(slot, static_cast<FT_Render_Mode>(FT_LOAD_TARGET_MODE(flags))) == 0;
  }
  if (!loaded) {
    drop(face, code);
    return QUELT_FAILED("FT_Load_Char");
  }
  if (too_large(ft, bitmap)) {
    drop(face, code);
    return 0;
  }
  const int bpp = bytes_per_pixel(bitmap.pixel_mode);
  if (bpp == 0 || !bitmap_usable(bitmap)) {
    drop(face, code);
    return QUELT_FAILED("unsupported pixel mode");
  }

  const int32_t width = static_cast<int32_t>(bitmap.width) / bpp + (bitmap.pixel_mode == FT_PIXEL_MODE_LCD ? 1 : 0);
  if (!sf_create(&g->surface, width, static_cast<int32_t>(bitmap.rows), bpp)) {
    drop(face, code);
    return QUELT_FAILED("");
  }

  // The baseline lies (height + descender) / 64 rows below the top of the line.
  const FT_Size_Metrics& metrics = ft->size->metrics;
  g->offset_x = slot->bitmap_left;
  g->offset_y = clamp32(static_cast<int64_t>((metrics.height + metrics.descender) / 64) - slot->bitmap_top);
  g->advance_x = pixels_of(slot->advance.x);
  g->advance_y = pixels_of(slot->advance.y);

  copy_bitmap(&g->surface, bitmap);

  // The glyph slot has been read in full: the callback may load other glyphs.
  if (face->on_glyph) face->on_glyph(&g->surface);
  sf_strip(&g->surface);
  return 1;
}

int32_t sf_face_width(sf_face* face, const uint16_t* text, int32_t length) {
  return measure(face, text, length, nullptr);
}

int32_t sf_face_width_glyph(sf_face* face, uint32_t code) {
  if (!sf_face_check(face, code)) return 0;
  return glyph_width(face->glyphs[code]);
}

void sf_face_string(sf_face* face, sf_surface* surface, const uint16_t* text, int32_t length, int32_t x,
                    int32_t y) {
  if (!surface->pixels) return;  // nothing to draw on: no glyph is loaded, no anchor spent
  if (text && length == 0) length = units(text);
  // Measuring also brings every glyph of the string into the cache before the first is drawn,
  // and notes each character's glyph and kerning for the drawing below.
  walk_record record;
  const int32_t width = measure(face, text, length, &record);
  // The anchors place the whole string; sf_blend must not apply them again to each glyph.
  const quelt::blend::anchor_shift a = quelt::blend::take_anchors(surface, width, sf_face_height(face));
  if (!text || text[0] == 0 || length <= 0) return;

  const glyph_target target(surface);
  const int64_t spacing = face->spacing;
  kerning_table* kern = nullptr;
  int64_t pen_x = bounded(x - a.x);
  int64_t pen_y = bounded(y - a.y);
  for (int32_t i = 0;;) {
    const sf_glyph* g;
    int32_t k = 0;
    if (i < record.count) {
      g = record.steps[i].glyph;
      k = record.steps[i].kerning;
    } else {
      // Past what measuring noted, or after it loaded a glyph (whose callback may have changed
      // the face): the character is resolved and kerned again, as measuring did it.
      g = resolve(face, text[i]);
      if (g && i && has_kerning(face)) {
        if (!kern) kern = &kerning_of(face);
        k = kerning(*kern, text[i - 1], text[i]);
      }
    }
    if (g) {
      pen_x += k;
      target.draw(g, clamp32(pen_x + g->offset_x), clamp32(pen_y + g->offset_y));
      pen_x = bounded(pen_x + g->advance_x + spacing);
      if (pen_x >= surface->width) break;
      pen_y = bounded(pen_y - g->advance_y);
      if (pen_y >= surface->height) break;
    }
    ++i;
    if (i >= length || text[i] == 0) break;
  }
}

int32_t sf_face_glyph(sf_face* face, sf_surface* surface, uint32_t code, int32_t x, int32_t y) {
  if (!surface->pixels) return 0;
  uint32_t resolved = code;
  if (!sf_face_check(face, code)) {
    if (!sf_face_check(face, question_mark)) return 0;
    resolved = question_mark;
  }
  const sf_glyph* g = face->glyphs[resolved];
  const int32_t width = sf_face_width_glyph(face, resolved);
  const quelt::blend::anchor_shift a = quelt::blend::take_anchors(surface, width, sf_face_height(face));
  return sf_blend(surface, const_cast<sf_surface*>(&g->surface), nullptr, clamp32(x - a.x + g->offset_x),
                  clamp32(y - a.y + g->offset_y), nullptr);
}

}  // extern "C"
