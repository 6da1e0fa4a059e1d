// Inside the library: the reader behind sz8_read, which also tells a failure (malloc, fread)
// apart from the plain answers 0 (end of file, no string, too long), so that a caller can
// refuse to take a failure for the end of its input.
#pragma once

#include <cstdint>
#include <cstdio>

namespace quelt {
int32_t sz8_read_checked(FILE* stream, char* destination, bool* failed);
}
