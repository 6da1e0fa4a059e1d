/** @file
   Padded strings: a short text in a file, stored in whole blocks of 8 bytes, the characters
   followed by at least one zero byte and zero padding up to the next multiple of 8 strictly
   above the length (7 characters take 8 bytes, 8 take 16). A block whose byte 7 is zero is the
   last one, so a reader finds the end from the blocks alone. The archive writes every tag of
   its file through these. Both work on a stdio stream opened in binary mode. */
#ifndef QUELT_CONTAINERS_SZ8_H
#define QUELT_CONTAINERS_SZ8_H

#include <stdint.h>
#include <stdio.h>
#include <quelt/base/export.h>

QUELT_EXTERN_C_BEGIN

/** Reads one padded string at the stream's position. On success the stream stands right
   behind the last block; on any result of 0 it is back where the call began.
   @param stream a stream open for reading.
   @param destination a buffer of 56 bytes that receives the zero-terminated text, or null to
          only step over the string.
   @return the length, 1 to 55; 0 at the end of the file or on a short block, for blocks of
           more than 63 bytes, for the empty string, for a null stream and on failure.
   @par Failure trace
   "malloc" when the blocks cannot be held in memory. */
QUELT_API int32_t sz8_read(FILE* stream, char* destination);
/** Writes `text` as a padded string: the characters, a seek over the padding, and the final
   zero byte. It belongs at the end of a file being written, where the skipped bytes read as
   zero.
   @param stream a stream open for writing.
   @param text the zero-terminated text.
   @return 1, or 0 (silently for a null stream or text).
   @par Failure trace
   "fwrite" when the characters cannot be written (the stream stands behind what was written);
   "fputc" when the final zero byte cannot be written. */
QUELT_API int32_t sz8_write(FILE* stream, const char* text);

QUELT_EXTERN_C_END

#endif
