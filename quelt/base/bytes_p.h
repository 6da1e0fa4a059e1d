// Numbers inside the library: clamping to 32 bits, and little-endian fields of files.
#pragma once

#include <algorithm>
#include <cstdint>

namespace quelt {

// The nearest int32_t: edges, positions and widths worked out in 64 bits stay in range.
inline int32_t clamp32(int64_t v) { return static_cast<int32_t>(std::clamp<int64_t>(v, INT32_MIN, INT32_MAX)); }

inline uint16_t le16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | p[1] << 8); }
inline uint32_t le32(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 | static_cast<uint32_t>(p[2]) << 16 |
         static_cast<uint32_t>(p[3]) << 24;
}
inline void put_le16(uint8_t* p, uint32_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
}
inline void put_le32(uint8_t* p, uint32_t v) {
  put_le16(p, v);
  put_le16(p + 2, v >> 16);
}

}  // namespace quelt
