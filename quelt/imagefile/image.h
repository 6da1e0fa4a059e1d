/* Image files: surfaces to and from BMP and PNG files.

   sf_image_load recognises a file by its first bytes ("BM" is BMP, 0x89 "PNG" is PNG) and
   sf_image_store chooses the format by the last four characters of the path (".bmp", ".png",
   in any case). Both take the surface record as sf_create does: all zero or live; a successful
   load overwrites it with a new surface without releasing the old one.

   BMP: uncompressed 24-bit and 32-bit files with the 40-byte information header are read into
   4-byte surfaces (B, G, R, A; 24-bit pixels get alpha 255). Files are written as 32-bit
   top-down files, so that every file written here loads back unchanged.

   PNG: 8-bit files only. Grey and palette files give 1-byte surfaces (grey values, or palette
   indices with the palette unused); RGB and RGBA files give 4-byte surfaces with B, G, R, A in
   memory (RGB gets alpha 255). On writing, a 1-byte surface becomes a grey file, a 3-byte one
   an RGB file and a 4-byte one an RGBA file, with the bytes of each pixel taken in B, G, R (, A)
   order; any other pixel size is written as grey from the first width × height bytes.

   Every operation that can fail returns 1 on success and 0 on failure, with the failure trace
   on standard output. */
#ifndef QUELT_IMAGEFILE_IMAGE_H
#define QUELT_IMAGEFILE_IMAGE_H

#include <stdint.h>
#include <stdio.h>
#include <quelt/base/export.h>
#include <quelt/surface/surface.h>

QUELT_EXTERN_C_BEGIN

/* Format codes written by the two detection operations. 0 is not a failure of detection. */
#define SF_IMAGE_UNKNOWN 0
#define SF_IMAGE_BMP 1
#define SF_IMAGE_PNG 2

/* Looks at the first 4 bytes of the file: 1 for "BM", 2 for 0x89 "PNG", else 0. Fails ("fopen",
   "fread") when the file can't be opened or has fewer than 4 bytes. A null path fails as an
   unopenable one; a null format pointer is allowed and receives nothing. */
QUELT_API int32_t sf_image_determinate_format(const char* path, int32_t* format);
/* Compares the last 4 characters of the path with ".bmp" and ".png", ignoring case. Fails for a
   path (or null) of fewer than 4 characters. No file is touched. */
QUELT_API int32_t sf_image_determinate_format_by_extension(const char* path, int32_t* format);
/* Loads a BMP (turned right way up) or a PNG file, whatever its name. */
QUELT_API int32_t sf_image_load(sf_surface* surface, const char* path);
/* Stores the surface in the format that the path's extension names; any other extension fails
   with "unknown file format" and creates no file. */
QUELT_API int32_t sf_image_store(sf_surface* surface, const char* path);

/* Reads a BMP file with its rows in file order (upside down for the usual bottom-up file).
   A negative height marks a top-down file: it is read with the absolute height and its rows as
   they come. Refused with the surface released and only the exit trace: a wrong signature, an
   information header of another size than 40, a depth other than 24 or 32, a width below 1, a
   height of 0, and sizes whose 4-byte surface would exceed 2^31 − 1 bytes. A raster that
   doesn't fit between the pixel data offset and the end of the file (an offset past the end
   among them) fails with "fread" before anything is allocated, and the surface is released. */
QUELT_API int32_t sf_image_bmp_read(sf_surface* surface, const char* path);
/* sf_image_bmp_read, then the turn that puts the picture's top row first; top-down files are
   not turned, being right way up already. */
QUELT_API int32_t sf_image_bmp_load(sf_surface* surface, const char* path);
/* Writes a 32-bit top-down BMP file. A surface that is not 4 bytes per pixel, or has no pixels,
   or whose file would pass 4 GiB, is refused with only the exit trace, and no file is created.
   Write errors after the file was opened are not noticed: on a full disk the result is still 1,
   and the file is as far as it could be written. */
QUELT_API int32_t sf_image_bmp_store(sf_surface* surface, const char* path);
/* Widens, in place, a raster of 3-byte pixels in rows padded to a multiple of 4 bytes into
   the surface's packed 4-byte pixels, with alpha as the fourth byte. Does nothing to a surface
   that is not 4 bytes per pixel or has no pixels. */
QUELT_API void sf_image_bmp_expand_2432(sf_surface* surface, uint8_t alpha);

/* Reads an 8-bit PNG file. Bit depths other than 8 fail with "invalid bit depth". Grey with
   alpha is read as its grey values into a 1-byte surface, the alpha dropped. Interlaced files
   are read too. Sides above 1,000,000 pixels, and pixels that the file's image data chunks
   are too short to hold even at deflate's best ratio (whatever else the file holds), are
   refused as bad data ("png_jmpbuf") before the surface is made. When libpng refuses the file after the surface was made, the surface is released;
   failures before that leave it unchanged. */
QUELT_API int32_t sf_image_png_read(sf_surface* surface, const char* path);
/* The same operation as sf_image_png_read. */
QUELT_API int32_t sf_image_png_load(sf_surface* surface, const char* path);
/* Writes the surface as a PNG at the stream's position and leaves the stream open. A surface
   without pixels (a zero or negative dimension or pixel size) is refused with only the exit
   trace, and nothing is written. The stream is flushed at the end: a flush that fails (a full
   disk) fails the call with "fflush". */
QUELT_API int32_t sf_image_png_store_stream(sf_surface* surface, FILE* stream);
/* Opens the path for writing and calls sf_image_png_store_stream. A surface without pixels is
   refused before the file is opened, so an existing file is not truncated for nothing. A close
   that fails after a successful write fails the call with "fclose": a file that is not whole is
   never reported as stored. */
QUELT_API int32_t sf_image_png_store(sf_surface* surface, const char* path);
/* Widens, in place, width × height packed 3-byte pixels at the start of the buffer into 4-byte
   pixels with alpha as the fourth byte. Does nothing to a surface that is not 4 bytes per pixel
   or has no pixels. */
QUELT_API void sf_image_png_expand_2432(sf_surface* surface, uint8_t alpha);

QUELT_EXTERN_C_END

#endif
