/** @file
   Text through FreeType. An sf_face is one font file opened at one size, with a cache of glyph
   surfaces indexed by the 16-bit code point: every glyph is rendered by FreeType once, then
   drawn by blending its coverage in the `color` of the target surface, through the target's
   clip and one-shot anchors (the anchors take fractions of the string's width and the line's
   height).

   Strings are arrays of 16-bit units ending with a zero unit; each unit is one code point, so
   the halves of a surrogate pair are looked up one by one. A `length` of 0 means up to the zero
   unit, a positive one is an upper bound, a negative one an empty string, and a null `text` is
   empty too. A character that cannot be loaded is drawn as "?", or dropped when "?" cannot be
   loaded either. Positions are whole pixels; the `y` of a drawing call is the top of the text
   line, not the baseline. The target of the drawing calls must have 4 bytes per pixel;
   anything else draws nothing.

   The font file is read with ordinary reads and not kept open between calls: a face keeps up
   to 1 MiB of it (the whole file for most fonts) and opens it again for a part outside that. A
   font file may be replaced or deleted at any time; a face whose file shrank or went away
   refuses glyphs ("FT_Load_Char") instead of crashing.

   The fields `force_autohint`, `lcd`, `mono`, `spacing` and `on_glyph` are the application's to
   set after sf_face_create: all but `spacing` apply to glyphs loaded afterwards.

   @code
   sf_face* face = NULL;
   static const uint16_t hello[] = {'H', 'e', 'l', 'l', 'o', 0};
   if (sf_face_create(&face, "DejaVuSans.ttf", 12)) {
     surface.color = 0xFF000000;
     surface.anchor_x = 0.5f;                     // centred on x
     sf_face_string(face, &surface, hello, 0, 160, 20);
     sf_face_release(&face);
   }
   @endcode */
#ifndef QUELT_TEXT_FACE_H
#define QUELT_TEXT_FACE_H

#include <stdint.h>
#include <quelt/base/export.h>
#include <quelt/surface/surface.h>

QUELT_EXTERN_C_BEGIN

/** FreeType's library handle, declared here so that no FreeType header is needed. */
typedef struct FT_LibraryRec_* FT_Library;
/** FreeType's face handle, declared here so that no FreeType header is needed. */
typedef struct FT_FaceRec_* FT_Face;

/** Called with each freshly rendered glyph surface, before its skip table is built; it may
   change the pixels. */
typedef void (*sf_glyph_proc)(sf_surface* surface);

/** One rendered glyph of the cache. */
typedef struct sf_glyph {
  sf_surface surface; /**< Coverage: 1 byte (grey, one-bit) or 3 (sub-pixel RGB) per pixel. */
  int32_t offset_x;   /**< Columns from the pen to the surface's left column. */
  int32_t offset_y;   /**< Rows from the top of the text line to the surface's top row. */
  int32_t advance_x;  /**< Columns the pen moves on after the glyph. */
  int32_t advance_y;  /**< Rows the pen moves up after the glyph. */
} sf_glyph;

/** A font at one size with its glyph cache. Made by sf_face_create, ended by sf_face_release. */
typedef struct sf_face {
  sf_glyph* glyphs[65536];  /**< The cache by code point; null where nothing is loaded. */
  FT_Face ft_face;          /**< The FreeType face. */
  int32_t force_autohint;   /**< Non-zero: hint with FreeType's auto-hinter. */
  int32_t lcd;              /**< Non-zero: sub-pixel glyphs (3 bytes), filtered. */
  int32_t mono;             /**< Non-zero: one-bit glyphs, without anti-aliasing. */
  int32_t spacing;          /**< Pixels added after every glyph in measuring and drawing. */
  sf_glyph_proc on_glyph;   /**< Called with each glyph rendered from now on, or null. */
} sf_face;

/** The one FreeType library handle of the process, made by the first sf_face_create and
   never shut down. */
QUELT_API extern FT_Library ft_library;

/** Opens the first face of a font file at `size` points at the display's resolution (12
   points are 16 pixels at 96 dots per inch; on Linux the Xft.dpi resource of the X display
   when one is reachable, otherwise 96). A bitmap-only font prints its sizes on standard output
   ("face_create(): available sizes(N): a, b.") and takes the strike of that size, else its
   first one.
   @param face receives the new face, or null on failure.
   @param path the font file.
   @param size the size in whole points.
   @return 1, or 0 on failure.
   @par Failure trace
   "malloc" when the record cannot be allocated; "FT_Init_FreeType" when FreeType cannot start
   (the next call tries again); "FT_New_Face" when the file cannot be opened as a font;
   "FT_Select_Size" or "FT_Set_Char_Size" when the size cannot be set. */
QUELT_API int32_t sf_face_create(sf_face** face, const char* path, int32_t size);
/** Frees the glyph cache, the FreeType face and the record, and sets the caller's pointer
   to null. Does nothing for a null pointer or a pointer to null.
   @param face address of the pointer to the face. */
QUELT_API void sf_face_release(sf_face** face);
/** The height of a text line.
   @param face the face.
   @return the line height in pixels. */
QUELT_API int32_t sf_face_height(const sf_face* face);

/** Brings the glyph of a code point into the cache, rendering it if needed. A failed load is
   not remembered: the next call tries again and traces again. A glyph larger than 16 em (and
   256 pixels) is refused silently, like one that cannot be loaded.
   @param face the face.
   @param code the code point; above 0xFFFF nothing loads.
   @return 1 when `glyphs[code]` holds the glyph, else 0.
   @par Failure trace
   "malloc" when the record cannot be allocated; "FT_Load_Char" when FreeType cannot load it;
   "unsupported pixel mode" for a bitmap of another kind; "" after the surface cannot be
   made. */
QUELT_API int32_t sf_face_check(sf_face* face, uint32_t code);

/** Measures a string with kerning and `spacing`, loading its glyphs. Each glyph counts the
   larger of its advance and its bitmap's width, so the result can exceed the pen's travel.
   @param face the face.
   @param text the string of 16-bit units.
   @param length the number of units, 0 up to the zero unit.
   @return the width in pixels (an empty string measures -`spacing`). Prints the traces of
           sf_face_check for glyphs that cannot be loaded. */
QUELT_API int32_t sf_face_width(sf_face* face, const uint16_t* text, int32_t length);
/** Measures one glyph, loading it.
   @param face the face.
   @param code the code point.
   @return its width in pixels, or 0 when neither it nor "?" can be loaded. */
QUELT_API int32_t sf_face_width_glyph(sf_face* face, uint32_t code);
/** Draws a string in the surface's `color`, with kerning and `spacing`, after moving the
   start left by `anchor_x` × its width and up by `anchor_y` × the line height; the anchors are
   cleared. Stops at the surface's right or bottom edge. Prints only the traces of
   sf_face_check.
   @param face the face.
   @param surface the target, 4 bytes per pixel.
   @param text the string of 16-bit units.
   @param length the number of units, 0 up to the zero unit.
   @param x the pen's start column.
   @param y the top of the text line. */
QUELT_API void sf_face_string(sf_face* face, sf_surface* surface, const uint16_t* text, int32_t length, int32_t x,
                              int32_t y);
/** Draws one glyph in the surface's `color`, after moving it by the anchors (fractions of the
   glyph's width and the line height), which are then cleared.
   @param face the face.
   @param surface the target, 4 bytes per pixel.
   @param code the code point; "?" stands in for one that cannot be loaded.
   @param x the pen's column.
   @param y the top of the text line.
   @return the result of sf_blend, or 0 (anchors kept) when no glyph can be loaded. */
QUELT_API int32_t sf_face_glyph(sf_face* face, sf_surface* surface, uint32_t code, int32_t x, int32_t y);

QUELT_EXTERN_C_END

#endif
