// Inside the library: the reader behind sz8_read, which also tells a failure (malloc)
// apart from the plain answers 0 (end of file, no string, too long), so that a caller can
// refuse to take a failure for the end of its input.
#pragma once

#include <cstdint>
#include <cstdio>

namespace quelt {
int32_t sz8_read_checked(FILE* stream, char* destination, bool* failed);
// sz8_write for a stream at the end of a file being written from scratch, where the skipped
// padding would read as zero anyway: it writes the zeros instead of seeking over them, which
// keeps the stream's buffer (a seek flushes it). Same bytes, same trace as sz8_write.
int32_t sz8_write_appending(FILE* stream, const char* text);
}
