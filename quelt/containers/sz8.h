/* Padded strings: a short text stored in whole blocks of 8 bytes, the characters followed by at
   least one zero byte and zero padding up to the next multiple of 8 strictly above the length
   (7 characters take 8 bytes, 8 take 16). A block whose byte 7 is zero is the last one, so a
   reader finds the end from the blocks alone. The archive writes every tag through these.

   sz8_read (stream, destination or null) reads one string at the stream's position into a
   buffer of 56 bytes and returns its length, 1 to 55. It returns 0, with the stream back where
   the call began, for the end of the file or a short block, for blocks of more than 63 bytes,
   and for the empty string. sz8_write (stream, text) writes the characters, skips the padding
   with a seek and writes the final zero byte; it belongs at the end of a file being written,
   where the skipped bytes read as zero. It returns 1, or 0 on a failed write.

   Safety decisions of this implementation:
   - The scan for the last block stops as soon as the blocks pass 63 bytes: the result is the
     same 0 with the position restored, without reading the rest of a long run.
   - The blocks are read once and kept, so a successful read needs no seek; a read therefore
     never fails in fread after the scan, only in malloc.
   - A null stream, text or a stream whose position cannot be told (ftell fails) gives 0
     silently. */
#ifndef QUELT_CONTAINERS_SZ8_H
#define QUELT_CONTAINERS_SZ8_H

#include <stdint.h>
#include <stdio.h>
#include <quelt/base/export.h>

QUELT_EXTERN_C_BEGIN

QUELT_API int32_t sz8_read(FILE* stream, char* destination);
QUELT_API int32_t sz8_write(FILE* stream, const char* text);

QUELT_EXTERN_C_END

#endif
