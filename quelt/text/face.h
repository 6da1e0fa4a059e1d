/* Text on FreeType. An sf_face is one font file opened at one size, with a flat cache of 65,536
   glyph surfaces indexed by the 16-bit code point: every glyph is rendered by FreeType once,
   then drawn by blending its coverage surface in the `color` of the target surface.

   Faces. sf_face_create opens the first face of the file and sets it to `size` points at the
   display's resolution (12 points are 16 pixels at 96 dots per inch). On Linux the resolution is
   the Xft.dpi resource of the X display when one is reachable and sets it, otherwise 96; no
   display is needed, and no connection stays open. A resolution that the platform reports as 0
   or less is taken as 96. A bitmap-only font prints the sizes of its strikes on standard output
   ("face_create(): available sizes(N): a, b.") and uses the strike whose listed size equals
   `size`, else its first strike, whatever the display's resolution (FreeType lists most strikes
   at 72 dots per inch). FreeType takes a scalable size below 1 point as 1 point.

   The font file is read with ordinary reads, never mapped into memory, and is not kept open
   between calls: each face keeps a window of up to 1 MiB of the file (the whole file for most
   fonts) and opens the file again for a part outside it. A file that shrinks or goes away while
   its face is open thus gives refused glyphs ("FT_Load_Char"), never a crash, and can be
   replaced or deleted at any time.

   The fields force_autohint, lcd, mono, spacing and on_glyph are the application's to set after
   sf_face_create: the first three and on_glyph apply to glyphs loaded afterwards, spacing (pixels
   after every glyph) to every later measurement and drawing.

   Glyphs. sf_face_check renders a code point into the cache: 1 byte of coverage per pixel for
   grey and one-bit glyphs, 3 bytes (red, green, blue coverage) for sub-pixel glyphs, which are
   filtered by the library's own five-tap filter (28, 56, 85, 56, 28 out of 256) and carry one
   extra column for its tail. on_glyph sees each fresh glyph surface before its skip table is
   built. Codes above 0xFFFF have no entry and load nothing. A glyph larger than 16 em (and 256
   pixels) in either direction is refused before it is rendered, without a trace, like a glyph
   that cannot be loaded: a hostile font cannot make each entry of the cache enormous.

   Strings are arrays of 16-bit units ending with a zero unit, whatever the width of wchar_t;
   each unit is one code point, so the halves of a surrogate pair are looked up one by one. A
   `length` of 0 means up to the zero unit, a positive one is an upper bound, a negative one an
   empty string, and a null `text` is an empty string too. A character that cannot be loaded is
   drawn as "?", or dropped when "?" cannot be loaded either. Widths and pen positions that would
   leave the 32-bit range stop at its ends, and an anchor that is not a number counts as 0. The
   target of the drawing calls must have 4 bytes per pixel; anything else draws nothing.

   sf_face_release on a null pointer, or on a pointer to null, does nothing. */
#ifndef QUELT_TEXT_FACE_H
#define QUELT_TEXT_FACE_H

#include <stdint.h>
#include <quelt/base/export.h>
#include <quelt/surface/surface.h>

QUELT_EXTERN_C_BEGIN

/* FreeType's own handle types, declared here so that no FreeType header is needed. */
typedef struct FT_LibraryRec_* FT_Library;
typedef struct FT_FaceRec_* FT_Face;

/* Called with each freshly rendered glyph surface; it may change the pixels. */
typedef void (*sf_glyph_proc)(sf_surface* surface);

typedef struct sf_glyph {
  sf_surface surface;
  int32_t offset_x;
  int32_t offset_y;
  int32_t advance_x;
  int32_t advance_y;
} sf_glyph;

typedef struct sf_face {
  sf_glyph* glyphs[65536];
  FT_Face ft_face;
  int32_t force_autohint;
  int32_t lcd;
  int32_t mono;
  int32_t spacing;
  sf_glyph_proc on_glyph;
} sf_face;

/* The one FreeType library handle of the process, made by the first successful sf_face_create. */
QUELT_API extern FT_Library ft_library;

QUELT_API int32_t sf_face_create(sf_face** face, const char* path, int32_t size);
QUELT_API void sf_face_release(sf_face** face);
QUELT_API int32_t sf_face_height(const sf_face* face);

QUELT_API int32_t sf_face_check(sf_face* face, uint32_t code);

QUELT_API int32_t sf_face_width(sf_face* face, const uint16_t* text, int32_t length);
QUELT_API int32_t sf_face_width_glyph(sf_face* face, uint32_t code);
QUELT_API void sf_face_string(sf_face* face, sf_surface* surface, const uint16_t* text, int32_t length, int32_t x,
                              int32_t y);
QUELT_API int32_t sf_face_glyph(sf_face* face, sf_surface* surface, uint32_t code, int32_t x, int32_t y);

QUELT_EXTERN_C_END

#endif
