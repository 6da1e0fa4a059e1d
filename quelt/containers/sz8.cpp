// Safety decisions of this implementation:
// - The scan for the last block stops as soon as the blocks pass 63 bytes: the result is the
//   same 0 with the position restored, without reading the rest of a long run.
// - The blocks are read once and kept, so a successful read needs no seek; a read therefore
//   never fails in fread after the scan, only in malloc.
// - A null stream, text or a stream whose position cannot be told (ftell fails) gives 0
//   silently.
#include <quelt/containers/sz8.h>

#include <quelt/base/trace.h>
#include <quelt/containers/sz8_p.h>

#include <cstdlib>
#include <cstring>

namespace {
constexpr long kBlock = 8;
constexpr long kLimit = 63;  // bytes of blocks a reader accepts: 7 blocks, 55 characters
}  // namespace

namespace quelt {

int32_t sz8_read_checked(FILE* stream, char* destination, bool* failed) {
  *failed = false;
  if (!stream) return 0;
  const long start = std::ftell(stream);
  if (start < 0) return 0;
  // Read blocks up to the last one: the first whose byte 7 is zero. Past the limit the answer
  // is 0 whatever follows, so the scan stops there. The blocks are kept, so that a string read
  // whole costs no seek (every fseek is a system call in a common C library).
  char blocks[kLimit + 1];
  long length = 0;
  for (;;) {
    if (std::fread(blocks + length, 1, kBlock, stream) != static_cast<size_t>(kBlock)) {
      std::fseek(stream, start, SEEK_SET);
      return 0;
    }
    length += kBlock;
    if (length > kLimit) {
      std::fseek(stream, start, SEEK_SET);
      return 0;
    }
    if (blocks[length - 1] == 0) break;
  }
  auto* text = static_cast<char*>(std::malloc(static_cast<size_t>(length)));
  if (!text) {
    std::fseek(stream, start, SEEK_SET);
    *failed = true;
    return QUELT_FAILED_AS("sz8_read", "malloc");
  }
  std::memcpy(text, blocks, static_cast<size_t>(length));
  // The last byte of the last block is zero, so the text is terminated inside the buffer.
  if (text[0] == 0) {
    std::free(text);
    std::fseek(stream, start, SEEK_SET);
    return 0;
  }
  if (destination) std::strcpy(destination, text);
  const auto n = static_cast<int32_t>(std::strlen(text));
  std::free(text);
  return n;
}

int32_t sz8_write_appending(FILE* stream, const char* text) {
  static const char zeros[kBlock] = {};
  const size_t n = std::strlen(text);
  if (std::fwrite(text, 1, n, stream) != n || std::fwrite(zeros, 1, 8 - n % 8, stream) != 8 - n % 8) {
    return QUELT_FAILED_AS("sz8_write", "fwrite");
  }
  return 1;
}

}  // namespace quelt

extern "C" {

int32_t sz8_read(FILE* stream, char* destination) {
  bool failed;
  return quelt::sz8_read_checked(stream, destination, &failed);
}

int32_t sz8_write(FILE* stream, const char* text) {
  if (!stream || !text) return 0;
  const size_t n = std::strlen(text);
  if (std::fwrite(text, 1, n, stream) != n) return QUELT_FAILED("fwrite");
  // Skip the padding; the final zero byte extends the file over it.
  std::fseek(stream, static_cast<long>(7 - n % 8), SEEK_CUR);
  if (std::fputc(0, stream) == EOF) return QUELT_FAILED("fputc");
  return 1;
}

}  // extern "C"
