/** @file
   Image files: surfaces to and from BMP and PNG files.

   sf_image_load recognises a file by its first bytes and sf_image_store chooses the format by
   the path's extension. Reading takes the surface record as sf_create does, all zero or live: a
   successful load overwrites it with a new surface without releasing the old one, so release a
   live surface first.

   BMP: uncompressed 24-bit and 32-bit files with the 40-byte information header are read into
   4-byte surfaces (B, G, R, A; 24-bit pixels get alpha 255). Files are written as 32-bit
   top-down files, so every file written here loads back unchanged.

   PNG: 8-bit files only. Grey and palette files give 1-byte surfaces (grey values, or palette
   indices with the palette unused); RGB and RGBA files give 4-byte surfaces with B, G, R, A in
   memory (RGB gets alpha 255). On writing, a 1-byte surface becomes a grey file, a 3-byte one
   an RGB file and a 4-byte one an RGBA file, the bytes of each pixel taken in B, G, R (, A)
   order; any other pixel size is written as grey from the first width × height bytes.

   Operations that can fail return 1 on success and 0 on failure, with the failure trace
   (base/trace.h) named under "Failure trace".

   @code
   sf_surface picture = {0};
   if (sf_image_load(&picture, "photo.png")) {
     sf_grayscale(&picture, 0);
     sf_image_store(&picture, "grey.bmp");
     sf_release(&picture);
   }
   @endcode */
#ifndef QUELT_IMAGEFILE_IMAGE_H
#define QUELT_IMAGEFILE_IMAGE_H

#include <stdint.h>
#include <stdio.h>
#include <quelt/base/export.h>
#include <quelt/surface/surface.h>

QUELT_EXTERN_C_BEGIN

/** Format code of the detection calls: neither BMP nor PNG (no failure of detection). */
#define SF_IMAGE_UNKNOWN 0
/** Format code of the detection calls: a BMP file. */
#define SF_IMAGE_BMP 1
/** Format code of the detection calls: a PNG file. */
#define SF_IMAGE_PNG 2

/** Recognises a file by its first 4 bytes.
   @param path the file; null fails as a file that cannot be opened.
   @param format receives SF_IMAGE_BMP for "BM", SF_IMAGE_PNG for 0x89 "PNG", else
          SF_IMAGE_UNKNOWN; may be null.
   @return 1, or 0 on failure.
   @par Failure trace
   "fopen" when the file cannot be opened; "fread" when it has fewer than 4 bytes. */
QUELT_API int32_t sf_image_determinate_format(const char* path, int32_t* format);
/** Recognises a format by the last 4 characters of a path, ".bmp" or ".png" in any case.
   No file is touched.
   @param path the path.
   @param format receives SF_IMAGE_BMP, SF_IMAGE_PNG or SF_IMAGE_UNKNOWN; may be null.
   @return 1, or 0 on failure.
   @par Failure trace
   "" for a path (or null) of fewer than 4 characters. */
QUELT_API int32_t sf_image_determinate_format_by_extension(const char* path, int32_t* format);
/** Loads a BMP (turned right way up) or a PNG file, whatever its name.
   @param surface the record to fill, all zero or live.
   @param path the file.
   @return 1, or 0 on failure.
   @par Failure trace
   "" after the detection fails; "unknown file format" for a file that is neither BMP nor PNG;
   otherwise the trace of sf_image_bmp_load or sf_image_png_read. */
QUELT_API int32_t sf_image_load(sf_surface* surface, const char* path);
/** Stores the surface in the format that the path's extension names (sf_image_bmp_store or
   sf_image_png_store).
   @param surface the surface.
   @param path the file, ending in ".bmp" or ".png".
   @return 1, or 0 on failure.
   @par Failure trace
   "" after a path of fewer than 4 characters; "unknown file format" for any other extension,
   and no file is created; otherwise the trace of sf_image_bmp_store or sf_image_png_store. */
QUELT_API int32_t sf_image_store(sf_surface* surface, const char* path);

/** Reads a BMP file with its rows in file order: upside down for the usual bottom-up file,
   right way up for a top-down file (negative height).
   @param surface the record to fill, all zero or live.
   @param path the file.
   @return 1, or 0 on failure. Refused, with the surface released and only the exit line of the
           trace: a wrong signature, an information header of another size than 40, a depth
           other than 24 or 32, a width below 1, a height of 0, a surface above 2^31 - 1 bytes.
   @par Failure trace
   "fopen" when the file cannot be opened (surface unchanged); "fread" when a header is cut
   short (surface unchanged) or the raster does not fit in the file (surface released);
   "fseek" when the raster cannot be reached (surface unchanged); "" after the surface cannot
   be made (surface all zero). */
QUELT_API int32_t sf_image_bmp_read(sf_surface* surface, const char* path);
/** sf_image_bmp_read, then turned so that the picture's top row comes first; top-down files
   are right way up already.
   @param surface the record to fill, all zero or live.
   @param path the file.
   @return 1, or 0 on failure.
   @par Failure trace
   "" after sf_image_bmp_read fails. */
QUELT_API int32_t sf_image_bmp_load(sf_surface* surface, const char* path);
/** Writes a 32-bit top-down BMP file. Write errors after the file was opened are not
   noticed: on a full disk the result is still 1, and the file is as far as it could be
   written.
   @param surface the surface, 4 bytes per pixel.
   @param path the file.
   @return 1, or 0 on failure: a surface that is not 4 bytes per pixel, has no pixels, or whose
           file would pass 4 GiB is refused with only the exit line of the trace, and no file
           is created.
   @par Failure trace
   "fopen" when the file cannot be created. */
QUELT_API int32_t sf_image_bmp_store(sf_surface* surface, const char* path);
/** Widens in place a raster of 3-byte pixels, in rows padded to a multiple of 4 bytes, into
   the surface's packed 4-byte pixels. Does nothing to a surface that is not 4 bytes per pixel
   or has no pixels.
   @param surface the surface whose buffer holds the 3-byte raster at its start.
   @param alpha the fourth byte of every pixel. */
QUELT_API void sf_image_bmp_expand_2432(sf_surface* surface, uint8_t alpha);

/** Reads an 8-bit PNG file, interlaced or not. Grey with alpha is read as its grey values
   into a 1-byte surface, the alpha dropped. When libpng refuses the file after the surface was
   made, the surface is released; failures before that leave it unchanged.
   @param surface the record to fill, all zero or live.
   @param path the file.
   @return 1, or 0 on failure.
   @par Failure trace
   "fopen" when the file cannot be opened; "png_create_read_struct" and
   "png_create_info_struct" when libpng cannot start; "png_jmpbuf" when libpng refuses the file
   (bad signature or data, sides above 1,000,000 pixels, more pixels than the image data
   chunks can hold even at deflate's best ratio); "invalid bit depth" for a depth other than 8; "invalid color type"; "" after the
   surface cannot be made; "malloc" when the row table cannot be allocated. */
QUELT_API int32_t sf_image_png_read(sf_surface* surface, const char* path);
/** The same operation as sf_image_png_read.
   @param surface the record to fill, all zero or live.
   @param path the file.
   @return 1, or 0 on failure.
   @par Failure trace
   As sf_image_png_read. */
QUELT_API int32_t sf_image_png_load(sf_surface* surface, const char* path);
/** Writes the surface as a PNG file at the stream's position, flushes the stream and leaves
   it open.
   @param surface the surface.
   @param stream a stream open for binary writing.
   @return 1, or 0 on failure: a surface without pixels (a zero or negative side or pixel size)
           is refused with only the exit line of the trace, and nothing is written.
   @par Failure trace
   "png_create_write_struct" and "png_create_info_struct" when libpng cannot start; "" or
   "setjmp" when libpng fails while writing; "malloc" when the row table cannot be
   allocated; "fflush" when the flush fails (a full disk). */
QUELT_API int32_t sf_image_png_store_stream(sf_surface* surface, FILE* stream);
/** Creates the file and writes the surface to it with sf_image_png_store_stream. A surface
   without pixels is refused before the file is opened, so an existing file is not truncated
   for nothing; a file begun stays behind as far as it was written, and a file that is not
   whole is never reported as stored.
   @param surface the surface.
   @param path the file.
   @return 1, or 0 on failure.
   @par Failure trace
   "fopen" when the file cannot be created; the traces of sf_image_png_store_stream; "fclose"
   when closing fails after a successful write. */
QUELT_API int32_t sf_image_png_store(sf_surface* surface, const char* path);
/** Widens in place width × height packed 3-byte pixels at the start of the buffer into
   4-byte pixels. Does nothing to a surface that is not 4 bytes per pixel or has no pixels.
   @param surface the surface whose buffer holds the 3-byte pixels at its start.
   @param alpha the fourth byte of every pixel. */
QUELT_API void sf_image_png_expand_2432(sf_surface* surface, uint8_t alpha);

QUELT_EXTERN_C_END

#endif
