// Files inside the library: a stream that closes itself on every way out, and the size of an
// open file.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>

namespace quelt {

struct file_closer {
  void operator()(FILE* f) const { std::fclose(f); }
};
using file_ptr = std::unique_ptr<FILE, file_closer>;

// Size of an open file in bytes, or -1 when the stream cannot tell (a pipe, say). The position
// is left at the end.
inline int64_t file_size(FILE* file) {
  if (std::fseek(file, 0, SEEK_END) != 0) return -1;
  const long size = std::ftell(file);
  return size < 0 ? -1 : size;
}

}  // namespace quelt
