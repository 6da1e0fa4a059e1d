// Writes bitmap-only font files (an sfnt with EBLC/EBDT strikes, no outlines) for the text tests
// and the font fuzzer's seeds. Each strike has .notdef, "A", "?" and " " (glyphs 0 to 3, mapped
// by a format 4 cmap). "A" is a solid block whose size follows the strike's pixels per em, so a
// test can tell which strike FreeType chose; .notdef and "?" are hollow boxes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace textfont {

struct Strike {
  uint8_t ppem;       // pixels per em, which FreeType lists as the strike's size
  uint8_t bit_depth;  // 1, 2, 4 or 8 bits per pixel
};

inline int block_width(int ppem) { return ppem / 2 + 1; }
inline int block_height(int ppem) { return ppem * 3 / 4; }

struct Bytes {
  std::vector<uint8_t> d;
  Bytes& operator()(std::initializer_list<int> bytes) {
    for (int b : bytes) d.push_back(uint8_t(b));
    return *this;
  }
  Bytes& u16(std::initializer_list<int> values) {
    for (int v : values) d.push_back(uint8_t(v >> 8)), d.push_back(uint8_t(v));
    return *this;
  }
  Bytes& u32(std::initializer_list<uint32_t> values) {
    for (uint32_t v : values) u16({int(v >> 16), int(v & 0xFFFF)});
    return *this;
  }
};

inline std::vector<uint8_t> bitmap_font(const std::vector<Strike>& strikes) {
  constexpr int glyphs = 4, em = 1000;
  Bytes head, hhea, maxp, hmtx, cmap, eblc, ebdt, arrays;
  head.u32({0x10000, 0x10000, 0, 0x5F0F3CF5}).u16({0, em}).u32({0, 0, 0, 0}).u16({0, 0, em, em, 0, 8, 2, 0, 0});
  hhea.u32({0x10000}).u16({800, -200, 0, em, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, glyphs});
  maxp.u32({0x5000}).u16({glyphs});
  for (int i = 0; i < glyphs; ++i) hmtx.u16({em / 2, 0});
  // Segments for " ", "?", "A" and the closing 0xFFFF, each mapped by its delta.
  cmap.u16({0, 1, 3, 1}).u32({12}).u16({4, 48, 0, 8, 8, 2, 0, 0x20, 0x3F, 0x41, 0xFFFF, 0});
  cmap.u16({0x20, 0x3F, 0x41, 0xFFFF, 3 - 0x20, 2 - 0x3F, 1 - 0x41, 1, 0, 0, 0, 0});

  ebdt.u32({0x20000});
  eblc.u32({0x20000, uint32_t(strikes.size())});
  const uint32_t arrays_at = 8 + 48 * uint32_t(strikes.size());
  for (const Strike& s : strikes) {
    const int asc = s.ppem * 4 / 5, desc = s.ppem - asc;
    const uint32_t array_at = arrays_at + uint32_t(arrays.d.size()), image_at = uint32_t(ebdt.d.size());
    std::vector<uint32_t> offsets;
    for (int g = 0; g <= glyphs; ++g) {
      offsets.push_back(uint32_t(ebdt.d.size()) - image_at);
      if (g == glyphs) break;
      int w = 0, h = 0;
      if (g == 1) w = block_width(s.ppem), h = block_height(s.ppem);
      if (g == 0 || g == 2) w = s.ppem / 3 + 1, h = s.ppem / 2;
      ebdt({h, w, 0, h, s.ppem / 2 + 2});  // small metrics: bearing x 0, bearing y h, advance
      for (int y = 0; y < h; ++y) {
        std::vector<uint8_t> row(size_t(w * s.bit_depth + 7) / 8, 0);
        for (int x = 0; x < w; ++x)
          if (g == 1 || y == 0 || y == h - 1 || x == 0 || x == w - 1) {
            const int bit = x * s.bit_depth;
            row[size_t(bit / 8)] |= uint8_t(((1 << s.bit_depth) - 1) << (8 - s.bit_depth - bit % 8));
          }
        ebdt.d.insert(ebdt.d.end(), row.begin(), row.end());
      }
    }
    // One index subtable (format 1, images of format 1) for glyphs 0 to 3.
    arrays.u16({0, glyphs - 1}).u32({8}).u16({1, 1}).u32({image_at});
    for (uint32_t o : offsets) arrays.u32({o});
    eblc.u32({array_at, 16 + 4 * uint32_t(offsets.size()), 1, 0});
    for (int dir = 0; dir < 2; ++dir) eblc({asc, -desc, s.ppem, 1, 0, 0, 0, 0, asc, -desc, 0, 0});
    eblc.u16({0, glyphs - 1})({s.ppem, s.ppem, s.bit_depth, 1});
  }
  eblc.d.insert(eblc.d.end(), arrays.d.begin(), arrays.d.end());

  // The sfnt directory, tables in tag order, each padded to 4 bytes.
  const std::vector<std::pair<std::string, std::vector<uint8_t>>> tables = {
      {"EBDT", ebdt.d}, {"EBLC", eblc.d}, {"cmap", cmap.d}, {"head", head.d},
      {"hhea", hhea.d}, {"hmtx", hmtx.d}, {"maxp", maxp.d}};
  Bytes out, body;
  out.u32({0x10000}).u16({7, 64, 2, 48});
  for (const auto& [tag, data] : tables) {
    std::vector<uint8_t> padded = data;
    padded.resize((padded.size() + 3) / 4 * 4);
    uint32_t sum = 0;
    for (size_t i = 0; i < padded.size(); i += 4)
      sum += uint32_t(padded[i]) << 24 | uint32_t(padded[i + 1]) << 16 | uint32_t(padded[i + 2]) << 8 | padded[i + 3];
    for (char c : tag) out({c});
    out.u32({sum, uint32_t(12 + 16 * tables.size() + body.d.size()), uint32_t(data.size())});
    body.d.insert(body.d.end(), padded.begin(), padded.end());
  }
  out.d.insert(out.d.end(), body.d.begin(), body.d.end());
  return out.d;
}

}  // namespace textfont
