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
  // Find the last block: the first whose byte 7 is zero. Past the limit the answer is 0
  // whatever follows, so the scan need not go on.
  unsigned char block[kBlock];
  long length = 0;
  for (;;) {
    if (std::fread(block, 1, kBlock, stream) != static_cast<size_t>(kBlock)) {
      std::fseek(stream, start, SEEK_SET);
      return 0;
    }
    length += kBlock;
    if (block[kBlock - 1] == 0) break;
    if (length > kLimit) break;
  }
  std::fseek(stream, start, SEEK_SET);
  if (length > kLimit) return 0;

  auto* text = static_cast<char*>(std::malloc(static_cast<size_t>(length)));
  if (!text) {
    *failed = true;
    trace_fail(__FILE_NAME__, __LINE__, "sz8_read", "malloc");
    trace_exit(__FILE_NAME__, __LINE__, "sz8_read");
    return 0;
  }
  if (std::fread(text, 1, static_cast<size_t>(length), stream) != static_cast<size_t>(length)) {
    std::free(text);
    std::fseek(stream, start, SEEK_SET);
    *failed = true;
    trace_fail(__FILE_NAME__, __LINE__, "sz8_read", "fread");
    trace_exit(__FILE_NAME__, __LINE__, "sz8_read");
    return 0;
  }
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

}  // namespace quelt

extern "C" {

int32_t sz8_read(FILE* stream, char* destination) {
  bool failed;
  return quelt::sz8_read_checked(stream, destination, &failed);
}

int32_t sz8_write(FILE* stream, const char* text) {
  if (!stream || !text) return 0;
  const size_t n = std::strlen(text);
  if (std::fwrite(text, 1, n, stream) != n) {
    QUELT_FAIL("fwrite");
    QUELT_EXIT();
    return 0;
  }
  // Skip the padding; the final zero byte extends the file over it.
  std::fseek(stream, static_cast<long>(7 - n % 8), SEEK_CUR);
  if (std::fputc(0, stream) == EOF) {
    QUELT_FAIL("fputc");
    QUELT_EXIT();
    return 0;
  }
  return 1;
}

}  // extern "C"
