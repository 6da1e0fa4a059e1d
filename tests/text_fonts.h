// Writes small bitmap-only font files (an sfnt with EBLC/EBDT strikes and no outlines) for the
// text tests and the font fuzzer's seeds. Each strike holds four glyphs: .notdef, "A", "?" and
// " ", mapped from Unicode through a format 4 cmap. "A" is a solid block whose size follows the
// strike's pixels per em, so a test can tell which strike FreeType chose.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace textfont {

struct Strike {
  uint8_t ppem;       // pixels per em; FreeType lists it as the strike's size
  uint8_t bit_depth;  // 1, 2, 4 or 8 bits per pixel
};

// The solid "A" of a strike: width × height pixels, standing on the baseline.
inline int block_width(int ppem) { return ppem / 2 + 1; }
inline int block_height(int ppem) { return ppem * 3 / 4; }

class Bytes {
 public:
  std::vector<uint8_t> data;
  void u8(uint32_t v) { data.push_back(static_cast<uint8_t>(v)); }
  void u16(uint32_t v) { u8(v >> 8), u8(v); }
  void u32(uint32_t v) { u16(v >> 16), u16(v); }
  void append(const std::vector<uint8_t>& v) { data.insert(data.end(), v.begin(), v.end()); }
  void pad4() {
    while (data.size() % 4) u8(0);
  }
};

struct Table {
  std::string tag;
  std::vector<uint8_t> body;
};

inline std::vector<uint8_t> sfnt(std::vector<Table> tables) {
  Bytes out;
  const uint32_t n = static_cast<uint32_t>(tables.size());
  uint32_t pow2 = 1, log2 = 0;
  while (pow2 * 2 <= n) pow2 *= 2, ++log2;
  out.u32(0x00010000), out.u16(n), out.u16(pow2 * 16), out.u16(log2), out.u16(n * 16 - pow2 * 16);
  uint32_t offset = 12 + 16 * n;
  for (auto& t : tables) {  // tags are written in sorted order by the caller
    uint32_t sum = 0;
    std::vector<uint8_t> padded = t.body;
    while (padded.size() % 4) padded.push_back(0);
    for (size_t i = 0; i < padded.size(); i += 4)
      sum += uint32_t(padded[i]) << 24 | uint32_t(padded[i + 1]) << 16 | uint32_t(padded[i + 2]) << 8 | padded[i + 3];
    for (char c : t.tag) out.u8(static_cast<uint8_t>(c));
    out.u32(sum), out.u32(offset), out.u32(static_cast<uint32_t>(t.body.size()));
    offset += static_cast<uint32_t>(padded.size());
  }
  for (auto& t : tables) out.append(t.body), out.pad4();
  return out.data;
}

// Glyph ids: 0 .notdef, 1 "A", 2 "?", 3 " ".
inline std::vector<uint8_t> bitmap_font(const std::vector<Strike>& strikes) {
  constexpr int glyphs = 4;
  constexpr uint16_t em = 1000;
  Bytes head;
  head.u32(0x00010000), head.u32(0x00010000), head.u32(0), head.u32(0x5F0F3CF5), head.u16(0), head.u16(em);
  for (int i = 0; i < 4; ++i) head.u32(0);               // created, modified
  head.u16(0), head.u16(0), head.u16(em), head.u16(em);  // bounding box
  head.u16(0), head.u16(8), head.u16(2), head.u16(0), head.u16(0);

  Bytes hhea;
  hhea.u32(0x00010000), hhea.u16(800), hhea.u16(static_cast<uint16_t>(-200)), hhea.u16(0), hhea.u16(em);
  for (int i = 0; i < 3; ++i) hhea.u16(0);
  hhea.u16(1), hhea.u16(0), hhea.u16(0);
  for (int i = 0; i < 5; ++i) hhea.u16(0);
  hhea.u16(glyphs);

  Bytes maxp;
  maxp.u32(0x00005000), maxp.u16(glyphs);

  Bytes hmtx;
  for (int i = 0; i < glyphs; ++i) hmtx.u16(em / 2), hmtx.u16(0);

  // Format 4: one segment each for "A" (0x41), "?" (0x3F) and " " (0x20), then the end segment.
  const uint16_t codes[] = {0x20, 0x3F, 0x41, 0xFFFF};
  const uint16_t ids[] = {3, 2, 1, 0};
  Bytes sub;
  const uint16_t seg = 4;
  sub.u16(4), sub.u16(16 + 8 * seg), sub.u16(0), sub.u16(seg * 2), sub.u16(8), sub.u16(2), sub.u16(0);
  for (uint16_t c : codes) sub.u16(c);
  sub.u16(0);
  for (uint16_t c : codes) sub.u16(c);
  for (int i = 0; i < seg; ++i) sub.u16(i == 3 ? 1 : static_cast<uint16_t>(ids[i] - codes[i]));
  for (int i = 0; i < seg; ++i) sub.u16(0);
  Bytes cmap;
  cmap.u16(0), cmap.u16(1), cmap.u16(3), cmap.u16(1), cmap.u32(12);
  cmap.append(sub.data);

  // Strikes: one index subtable (format 1, image format 1: small metrics, byte-aligned rows).
  Bytes ebdt, eblc;
  ebdt.u32(0x00020000);
  eblc.u32(0x00020000), eblc.u32(static_cast<uint32_t>(strikes.size()));
  Bytes arrays;  // index subtable arrays, placed after all size records
  const uint32_t records_end = 8 + 48 * static_cast<uint32_t>(strikes.size());
  for (const Strike& s : strikes) {
    const int asc = s.ppem * 4 / 5, desc = s.ppem - asc;
    const uint32_t array_at = records_end + static_cast<uint32_t>(arrays.data.size());
    // The glyph images of this strike.
    const uint32_t image_at = static_cast<uint32_t>(ebdt.data.size());
    std::vector<uint32_t> offsets;
    for (int g = 0; g < glyphs; ++g) {
      offsets.push_back(static_cast<uint32_t>(ebdt.data.size()) - image_at);
      int w = 0, h = 0, top = 0;
      if (g == 1) w = block_width(s.ppem), h = block_height(s.ppem), top = h;
      if (g == 0 || g == 2) w = s.ppem / 3 + 1, h = s.ppem / 2, top = h;  // a hollow box
      ebdt.u8(h), ebdt.u8(w), ebdt.u8(0), ebdt.u8(top), ebdt.u8(s.ppem / 2 + 2);
      const int row_bytes = (w * s.bit_depth + 7) / 8;
      for (int y = 0; y < h; ++y) {
        std::vector<uint8_t> row(row_bytes, 0);
        for (int x = 0; x < w; ++x) {
          const bool ink = g == 1 || y == 0 || y == h - 1 || x == 0 || x == w - 1;
          if (!ink) continue;
          const int bit = x * s.bit_depth;
          const uint32_t value = (1u << s.bit_depth) - 1;
          row[bit / 8] |= static_cast<uint8_t>(value << (8 - s.bit_depth - bit % 8));
        }
        for (uint8_t b : row) ebdt.u8(b);
      }
    }
    offsets.push_back(static_cast<uint32_t>(ebdt.data.size()) - image_at);
    arrays.u16(0), arrays.u16(glyphs - 1), arrays.u32(8);
    arrays.u16(1), arrays.u16(1), arrays.u32(image_at);
    for (uint32_t o : offsets) arrays.u32(o);
    const uint32_t array_size = 8 + 8 + 4 * static_cast<uint32_t>(offsets.size());

    eblc.u32(array_at), eblc.u32(array_size), eblc.u32(1), eblc.u32(0);
    for (int dir = 0; dir < 2; ++dir) {  // horizontal, vertical line metrics
      eblc.u8(asc), eblc.u8(static_cast<uint8_t>(-desc)), eblc.u8(s.ppem), eblc.u8(1), eblc.u8(0), eblc.u8(0);
      eblc.u8(0), eblc.u8(0), eblc.u8(asc), eblc.u8(static_cast<uint8_t>(-desc)), eblc.u8(0), eblc.u8(0);
    }
    eblc.u16(0), eblc.u16(glyphs - 1), eblc.u8(s.ppem), eblc.u8(s.ppem), eblc.u8(s.bit_depth), eblc.u8(1);
  }
  eblc.append(arrays.data);

  return sfnt({{"EBDT", ebdt.data},
               {"EBLC", eblc.data},
               {"cmap", cmap.data},
               {"head", head.data},
               {"hhea", hhea.data},
               {"hmtx", hmtx.data},
               {"maxp", maxp.data}});
}

}  // namespace textfont
