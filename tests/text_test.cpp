// Text: glyphs checked against FreeType's own bitmaps, strings against their glyphs, strikes of a
// bitmap-only font, and the traced failures.
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_LCD_FILTER_H

#include <set>

#include "support.h"

// The suite's sizes are at 96 dpi: no display's resolution takes part.
#ifndef _WIN32
static const bool no_display = (unsetenv("DISPLAY"), true);
#endif

namespace {

const char* const sans = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
const char* const mono_font = "/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf";

struct Face {
  sf_face* f = nullptr;
  Face(const char* path, int32_t size) { EXPECT_EQ(sf_face_create(&f, path, size), 1) << path; }
  ~Face() { sf_face_release(&f); }
  sf_glyph* operator[](uint32_t code) const { return f->glyphs[code]; }
};

// A target filled with a dark background, drawn on in a light colour.
struct Target : qtest::Surf {
  Target(int32_t w, int32_t h, int32_t bpp = 4) : Surf(w, h, bpp) { color = 0xFF203040u, sf_fill(this, nullptr), color = 0xFFF0E080u; }
};
using qtest::fail_lines, qtest::traced, qtest::utf16;

// FreeType's kerning of a pair in whole pixels, asked of a face directly.
int kerning(FT_Face f, uint16_t a, uint16_t b) { FT_Vector d{}; return FT_Get_Kerning(f, FT_Get_Char_Index(f, a), FT_Get_Char_Index(f, b), FT_KERNING_DEFAULT, &d), int(d.x / 64); }

// What sf_face_string must draw: its first `count` glyphs one by one, kerned by FreeType directly.
void compose(Face& face, bool kerned, sf_surface* s, const std::u16string& text, int x, int y, size_t count = SIZE_MAX) {
  for (size_t i = 0; i < text.size() && i < count; ++i) {
    if (kerned && i) x += kerning(face.f->ft_face, text[i - 1], text[i]);
    sf_face_glyph(face.f, s, text[i], x, y);
    x += face[text[i]]->advance_x + face.f->spacing;
  }
}

// A new face shares the process's FreeType, caches nothing, sets no flag, takes points at 96 dpi.
// A bitmap-only one lists its strikes of 10, 12, 13 (8-bit) and 16 pixels and takes the one asked
// for, else the first; its "A" is a solid block of ppem / 2 + 1 by ppem * 3 / 4 pixels on the
// baseline, 4/5 of the strike below its top.
TEST(Face, SizesStrikesAndRelease) {
  qtest::Stdout out;
  Face a(sans, 12), b(mono_font, 10);
  EXPECT_EQ(out.text(), "");  // scalable fonts list no strikes
  EXPECT_TRUE(ft_library && a.f->ft_face->glyph->library == ft_library && b.f->ft_face->glyph->library == ft_library);
  EXPECT_TRUE(std::all_of(std::begin(a.f->glyphs), std::end(a.f->glyphs), [](const sf_glyph* g) { return !g; }));
  EXPECT_TRUE((a.f->force_autohint | a.f->lcd | a.f->mono | a.f->spacing) == 0 && !a.f->on_glyph);
  EXPECT_TRUE(a.f->ft_face->size->metrics.y_ppem == 16 && sf_face_height(a.f) == a.f->ft_face->size->metrics.height / 64);
  EXPECT_EQ(Face(sans, -5).f->ft_face->size->metrics.y_ppem, 1);  // FreeType's least size: 1 point, 1 pixel at 96 dpi
  sf_face_release(&a.f), sf_face_release(&a.f), sf_face_release(nullptr);  // release empties the pointer
  EXPECT_EQ(a.f, nullptr);
  for (auto [size, ppem] : {std::pair{12, 12}, {16, 16}, {13, 13}, {11, 10}, {0, 10}}) {
    qtest::Stdout listed;
    Face face(QUELT_TEST_DATA "/strikes.ttf", size);
    EXPECT_EQ(listed.text(), "face_create(): available sizes(4): 10, 12, 13, 16.\n") << size;
    face.f->lcd = 1;  // a strike answers a sub-pixel request with what it has
    ASSERT_EQ(sf_face_check(face.f, 'A'), 1);
    const sf_surface& g = face['A']->surface;
    EXPECT_EQ(std::make_tuple(face.f->ft_face->size->metrics.y_ppem, sf_face_height(face.f), g.bytes_per_pixel, g.width, g.height, face['A']->offset_y),
              std::make_tuple(ppem, ppem, 1, ppem / 2 + 1, ppem * 3 / 4, ppem * 4 / 5 - ppem * 3 / 4)) << size;
    EXPECT_EQ(std::vector<uint8_t>(g.pixels, g.pixels + g.width * g.height), std::vector<uint8_t>(size_t(g.width * g.height), 255));
  }
}

// Every traced refusal of the text calls (the call, the allocation made to fail, the trace), and glyphs too large to render.
TEST(Face, RefusalsAreTraced) {
  qtest::TempDir dir;
  const std::string whole = qtest::slurp(sans);
  qtest::spill(dir.path("empty"), ""), qtest::spill(dir.path("half"), whole.substr(0, whole.size() / 2));
  sf_face *f = nullptr, *gray = nullptr;
  const auto create = [&](std::string path, int32_t size) { return [&f, path, size] { return sf_face_create(&f, path.c_str(), size); }; };
  const std::string opened = fail_lines("face.cpp", "sf_face_create", "FT_New_Face"), unsupported = fail_lines("face.cpp", "sf_face_check", "unsupported pixel mode");
  const struct { const char* name; std::function<int32_t()> call; long fail; std::string trace; } rows[] = {
      // The record is allocated, FreeType's first block is not; a failed start is tried again.
      {"first start", create(sans, 12), 1, fail_lines("face.cpp", "sf_face_create", "FT_Init_FreeType")},
      {"record", create(sans, 12), 0, fail_lines("face.cpp", "sf_face_create", "malloc")},
      {"missing", create(dir.path("missing.ttf"), 12), -1, opened}, {"empty", create(dir.path("empty"), 12), -1, opened},
      {"half", create(dir.path("half"), 12), -1, opened},
      {"size", create(sans, 100000), -1, fail_lines("face.cpp", "sf_face_create", "FT_Set_Char_Size")},  // past 65535 pixels
      {"strikes", [&] { return sf_face_create(&gray, QUELT_TEST_DATA "/gray2.ttf", 12) - 1; }, -1, "face_create(): available sizes(1): 12.\n"},
      {"2-bit", [&] { return sf_face_check(gray, 'A'); }, -1, unsupported}, {"not cached", [&] { return sf_face_check(gray, 'A'); }, -1, unsupported},
  };
  for (const auto& r : rows) {
    if (r.fail == 1 && ft_library) continue;  // FreeType started already in this process
    EXPECT_EQ(traced([&] { EXPECT_EQ(r.call(), 0) << r.name; }, r.fail), r.trace) << r.name;
    EXPECT_EQ(f, nullptr) << r.name;
  }
  // Not even "?" loads from the 2-bit font: nothing is measured or drawn, and the anchors stay.
  Target t(8, 8);
  t.anchor_x = 0.5f, gray->spacing = 4;
  traced([&] { EXPECT_EQ(sf_face_glyph(gray, &t, 'A', 0, 0) + sf_face_width(gray, utf16(u"AA"), 0), -4); });
  EXPECT_TRUE(t.anchor_x == 0.5f && !gray->glyphs['A']);
  sf_face_release(&gray);
  // A fuzzed font's "?" and missing glyph, thousands of pixels tall, are refused before rendering.
  for (int32_t lcd : {0, 1}) {
    Face huge(QUELT_TEST_DATA "/huge-glyphs.ttf", 12);
    Target drawn(32, 32), before(32, 32);
    huge.f->lcd = lcd;
    EXPECT_EQ(traced([&] { EXPECT_EQ(sf_face_check(huge.f, '?') + sf_face_check(huge.f, 0x4E00), 0); }), "");
    sf_face_string(huge.f, &drawn, utf16(u"??"), 0, 0, 0);
    EXPECT_TRUE(!huge['?'] && drawn.bytes() == before.bytes() && sf_face_check(huge.f, 'A') && huge['A']->surface.height < 256);
  }
}

// Glyph surfaces are FreeType's bitmaps for the face's flags, placed by its metrics: one-bit pixels
// as 0/255, sub-pixel rows one pixel wider.
TEST(Glyph, MatchesFreeTypeForEveryMode) {
  struct { int32_t lcd, mono, autohint; FT_Int32 flags; } modes[] = {
      {0, 0, 0, 0x4}, {0, 1, 0, 0x20004}, {1, 0, 0, 0x30004}, {1, 1, 0, 0x30004}, {0, 0, 1, 0x24}, {1, 0, 1, 0x30024}};
  FT_Library lib = nullptr;  // FreeType on its own, set up as the library sets it up: raw sub-pixel coverage, 96 dpi
  FT_Face ref = nullptr;
  FT_Init_FreeType(&lib), FT_Library_SetLcdFilter(lib, FT_LCD_FILTER_NONE), FT_New_Face(lib, sans, 0, &ref), FT_Set_Char_Size(ref, 12 * 64, 12 * 64, 96, 96);
  const FT_Size_Metrics& m = ref->size->metrics;
  for (const auto& mode : modes) {
    Face face(sans, 12);
    face.f->lcd = mode.lcd, face.f->mono = mode.mono, face.f->force_autohint = mode.autohint;
    for (uint32_t code : {0x41u, 0x67u, 0x57u, 0x40u, 0xE9u, 0x4E00u, 0x20u}) {
      SCOPED_TRACE(testing::Message() << "flags " << std::hex << mode.flags << " code " << code);
      ASSERT_TRUE(sf_face_check(face.f, code) == 1 && FT_Load_Char(ref, code, mode.flags) == 0);
      const FT_GlyphSlot slot = ref->glyph;
      const FT_Bitmap& b = slot->bitmap;
      const bool lcd = b.pixel_mode == FT_PIXEL_MODE_LCD;
      const int w = lcd ? int(b.width) / 3 + 1 : int(b.width);
      const auto at = [&](int x, int y) -> int {  // FreeType's coverage, zero beyond the row
        return x < 0 || x >= int(b.width) ? 0 : b.pixel_mode == FT_PIXEL_MODE_MONO ? (b.buffer[y * b.pitch + x / 8] >> (7 - x % 8) & 1) * 255 : b.buffer[y * b.pitch + x];
      };
      std::vector<uint8_t> expected;  // sub-pixel rows filtered along the row
      for (int y = 0; y < int(b.rows); ++y)
        for (int x = 0; x < (lcd ? 3 * w : w); ++x)
          expected.push_back(uint8_t(lcd ? (28 * at(x, y) + 56 * at(x - 1, y) + 85 * at(x - 2, y) + 56 * at(x - 3, y) + 28 * at(x - 4, y)) / 256 : at(x, y)));
      const sf_glyph* g = face[code];
      EXPECT_EQ(g->surface.pixels ? std::vector<uint8_t>(g->surface.pixels, g->surface.pixels + expected.size()) : std::vector<uint8_t>{}, expected);
      EXPECT_EQ(std::make_tuple(g->surface.bytes_per_pixel, g->surface.width, g->surface.height, g->offset_x, g->offset_y, g->advance_x, g->advance_y),
                std::make_tuple(lcd ? 3 : 1, w, int(b.rows), slot->bitmap_left, int((m.height + m.descender) / 64) - slot->bitmap_top, int(slot->advance.x / 64), 0));
    }
  }
  FT_Done_Face(ref), FT_Done_FreeType(lib);
}

int glyph_callbacks = 0;

// Glyphs load once, codes past the table never (the last entry is one like any other); on_glyph sees
// each new glyph, empty ones too, before its skip table is built; lcd reaches only new glyphs.
TEST(Glyph, CacheAndOnGlyph) {
  Face face(sans, 24);
  qtest::Stdout out;
  EXPECT_EQ(sf_face_check(face.f, 0x10000) + sf_face_check(face.f, 0xFFFFFFFFu), 0);
  face.f->on_glyph = [](sf_surface* s) { if (++glyph_callbacks, s->pixels) std::memset(s->pixels, 0, size_t(s->width) * s->height * s->bytes_per_pixel); };
  EXPECT_EQ(sf_face_check(face.f, 0xFFFF) + sf_face_check(face.f, ' ') + sf_face_check(face.f, 'M'), 3);
  face.f->lcd = 1;
  EXPECT_EQ(sf_face_check(face.f, 'M'), 1);
  EXPECT_TRUE(glyph_callbacks == 3 && out.text().empty());
  const sf_surface& s = face['M']->surface;  // every row of the cleared "M" is one empty run
  ASSERT_TRUE(s.bytes_per_pixel == 1 && s.strip);
  for (int y = 0; y < s.height; ++y) ASSERT_EQ(s.strip[size_t(y) * s.width], s.width) << y;
  Target t(64, 64), before(64, 64);
  EXPECT_TRUE(sf_face_glyph(face.f, &t, 'M', 10, 10) == 1 && t.bytes() == before.bytes());
}

// Each allocation of a new glyph fails in turn: each is traced and leaves no glyph, but for the skip
// table's. (FreeType 2.12 crashes on a failure while it hints a face's first glyph: one is loaded.)
TEST(Glyph, EveryFailedAllocationIsTraced) {
  const std::string strip = fail_lines("strip.cpp", "sf_strip", "malloc");
  const std::set<std::string> failed = {fail_lines("face.cpp", "sf_face_check", "malloc"), fail_lines("face.cpp", "sf_face_check", "FT_Load_Char"),
                                        fail_lines("surface.cpp", "sf_create", "malloc") + fail_lines("face.cpp", "sf_face_check", ""), strip};
  std::set<std::string> seen;
  for (long n = 0, more = 1; more; ++n) {
    Face face(sans, 12);
    face.f->lcd = 1;
    ASSERT_EQ(sf_face_check(face.f, 'B'), 1);
    int32_t r = 0;
    const std::string text = traced([&] { r = sf_face_check(face.f, 'A'), more = qtest::failure_happened(); }, n);
    EXPECT_TRUE(r ? (text.empty() || text == strip) && face['A'] && (face['A']->surface.strip == nullptr) == (text == strip)
                  : text != strip && failed.count(text) && !face['A']) << text;
    if (!text.empty()) seen.insert(text);
  }
  EXPECT_EQ(seen, failed);
}

// Widths: per glyph the larger of advance and bitmap, spacing between, FreeType's kerning, also at a
// size set on the FT_Face. Length 0 is up to the zero unit.
TEST(Strings, Width) {
  Face face(sans, 12), sub(sans, 12), mono(mono_font, 12);
  const std::u16string text = u"AVATAR To fly", abc = u"abc", empty;
  for (auto [spacing, pixels] : {std::pair{0, 16}, {3, 16}, {-2, 16}, {0, 32}}) {
    if (pixels != 16) ASSERT_EQ(FT_Set_Char_Size(face.f->ft_face, pixels * 48, pixels * 48, 96, 96), 0);
    ASSERT_TRUE(kerning(face.f->ft_face, 'A', 'V') && kerning(face.f->ft_face, 'T', 'o'));  // pairs that DejaVu Sans kerns
    face.f->spacing = spacing;
    int expected = -spacing;
    for (size_t i = 0; i < text.size(); ++i)
      expected += sf_face_width_glyph(face.f, text[i]) + spacing + (i ? kerning(face.f->ft_face, text[i - 1], text[i]) : 0);
    EXPECT_EQ(sf_face_width(face.f, utf16(text), 0), expected) << spacing << " at " << pixels;
  }
  // Codes beyond the table draw as "?"; the halves of a surrogate pair are two characters.
  Target emoji(32, 32), question(32, 32);
  EXPECT_EQ(sf_face_width_glyph(face.f, 0x1F600), 0);
  EXPECT_TRUE(sf_face_glyph(face.f, &emoji, 0x1F600, 4, 4) + sf_face_glyph(face.f, &question, '?', 4, 4) == 2 && emoji.bytes() == question.bytes());
  const std::u16string pair = u"\U0001F600";
  EXPECT_EQ(sf_face_width(face.f, utf16(pair), 0), sf_face_width_glyph(face.f, pair[0]) + sf_face_width_glyph(face.f, pair[1]));
  sub.f->lcd = 1;  // sub-pixel glyphs carry an extra column: "W" measures by its bitmap
  EXPECT_TRUE(sf_face_check(sub.f, 'W') && sub['W']->surface.width > sub['W']->advance_x && sf_face_width_glyph(sub.f, 'W') == sub['W']->surface.width);
  for (int32_t spacing : {INT32_MAX, INT32_MIN}) {  // sums stop at the ends of the range
    Target t(16, 16);
    face.f->spacing = spacing;
    EXPECT_EQ(sf_face_width(face.f, utf16(text), 0), spacing);
    sf_face_string(face.f, &t, utf16(text), 0, 0, 0);
  }
  const int advance = sf_face_width_glyph(mono.f, 'a');
  mono.f->spacing = 3;
  const struct { const uint16_t* text; int32_t length, glyphs; } cases[] = {
      {utf16(abc), 0, 3}, {utf16(abc), 2, 2}, {utf16(abc), 5, 3}, {utf16(abc), -1, 0}, {utf16(empty), 0, 0}, {nullptr, 3, 0}};
  for (const auto& c : cases) {
    Target drawn(64, 32), composed(64, 32);
    EXPECT_EQ(sf_face_width(mono.f, c.text, c.length), c.glyphs * (advance + 3) - 3) << c.length;
    sf_face_string(mono.f, &drawn, c.text, c.length, 2, 2);
    compose(mono, false, &composed, abc, 2, 2, size_t(c.glyphs));
    EXPECT_EQ(drawn.bytes(), composed.bytes()) << c.length;
  }
}

// Strings are their glyphs along the pen, cached or not, also past what measuring notes; anchors
// place them by width and height and are spent. A clip cuts glyphs at the pixel; 1-byte targets refuse.
TEST(Strings, DrawnAsTheirGlyphsAlongThePen) {
  std::u16string text = u"AVATAR To \x01 fly", para;
  while (para.size() < 1200) para += u"AVATAR To fly, WAVE Toyota jumps. ";
  for (int32_t lcd : {0, 1}) {
    for (const auto& [s, spacing, x, width] : {std::tuple{text, 1, 3, 200}, {para, 0, -40, 12000}}) {
      Face face(sans, 12);
      face.f->lcd = lcd, face.f->spacing = spacing;
      Target cold(width, 24), composed(width, 24), warm(width, 24);
      sf_face_string(face.f, &cold, utf16(s), 0, x, 2);
      compose(face, true, &composed, s, x, 2);
      sf_face_string(face.f, &warm, utf16(s), 0, x, 2);  // every glyph cached now
      EXPECT_TRUE(cold.bytes() == composed.bytes() && warm.bytes() == composed.bytes()) << lcd << " " << s.size();
    }
    Face face(sans, 12);
    face.f->lcd = lcd, face.f->spacing = 1;
    Target anchored(200, 40), placed(200, 40);
    anchored.anchor_x = 0.5f, anchored.anchor_y = 1.0f;
    sf_face_string(face.f, &anchored, utf16(text), 0, 100, 30);
    sf_face_string(face.f, &placed, utf16(text), 0, 100 - sf_face_width(face.f, utf16(text), 0) / 2, 30 - sf_face_height(face.f));
    EXPECT_TRUE(anchored.bytes() == placed.bytes() && anchored.anchor_x == 0 && anchored.anchor_y == 0);
    anchored.anchor_x = 1.0f;
    sf_face_string(face.f, &anchored, utf16(u""), 0, 0, 0);
    EXPECT_TRUE(anchored.anchor_x == 0.0f && anchored.bytes() == placed.bytes());
    Target clipped(120, 30), full(120, 30), gray(40, 40, 1);
    sf_rect clip{20, 5, 70, 25};
    clipped.clip = &clip;
    sf_face_string(face.f, &clipped, utf16(u"Hello, world"), 0, 2, 2);
    sf_face_string(face.f, &full, utf16(u"Hello, world"), 0, 2, 2);
    std::vector<uint32_t> want = full.words();  // the clip's part of the full drawing on the background
    for (int i = 0; i < 120 * 30; ++i) want[size_t(i)] = i % 120 >= clip.left && i % 120 < clip.right && i / 120 >= clip.top && i / 120 < clip.bottom ? want[size_t(i)] : 0xFF203040u;
    EXPECT_EQ(clipped.words(), want) << lcd;
    EXPECT_EQ(sf_face_glyph(face.f, &gray, 'A', 5, 5), 0);
    sf_face_string(face.f, &gray, utf16(u"AAA"), 0, 5, 5);
    EXPECT_EQ(gray.bytes(), std::vector<uint8_t>(40 * 40, 0));
  }
}

}  // namespace
