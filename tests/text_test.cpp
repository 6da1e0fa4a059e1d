// Text: faces, the glyph cache, glyphs checked against FreeType's own bitmaps, measuring and
// drawing strings, bitmap-only fonts with strikes, the display resolution, traced failures.
#include <gtest/gtest.h>
#include <quelt/text/face.h>
#include <quelt/surface/blend.h>

#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_LCD_FILTER_H

#include <dirent.h>
#include <dlfcn.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "support.h"
#include "text_fonts.h"

// Calls into FreeType made by anyone in the process, counted on the way through.
namespace calls {
long init = 0, load_char = 0, char_index = 0;
}
template <class F>
F real(const char* name) {
  return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}
extern "C" FT_Error FT_Init_FreeType(FT_Library* library) {
  ++calls::init;
  static auto f = real<FT_Error (*)(FT_Library*)>("FT_Init_FreeType");
  return f(library);
}
extern "C" FT_Error FT_Load_Char(FT_Face face, FT_ULong code, FT_Int32 flags) {
  ++calls::load_char;
  static auto f = real<FT_Error (*)(FT_Face, FT_ULong, FT_Int32)>("FT_Load_Char");
  return f(face, code, flags);
}
extern "C" FT_UInt FT_Get_Char_Index(FT_Face face, FT_ULong code) {
  ++calls::char_index;
  static auto f = real<FT_UInt (*)(FT_Face, FT_ULong)>("FT_Get_Char_Index");
  return f(face, code);
}

namespace {

// Every test but the resolution test runs without a display: 96 dots per inch.
const bool no_display = (unsetenv("DISPLAY"), true);

const char* const sans = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
const char* const mono_font = "/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf";

struct Face {
  sf_face* f = nullptr;
  Face(const char* path, int32_t size) { EXPECT_EQ(sf_face_create(&f, path, size), 1) << path; }
  Face(const Face&) = delete;
  ~Face() { sf_face_release(&f); }
  sf_glyph* glyph(uint32_t code) const { return f->glyphs[code]; }
};

struct Target {
  sf_surface s;
  Target(int32_t w, int32_t h, int32_t bpp = 4, uint32_t background = 0xFF202020u) {
    EXPECT_EQ(sf_create(&s, w, h, bpp), 1);
    if (bpp == 4) {
      s.color = background;
      sf_fill(&s, nullptr);
    }
    s.color = 0xFFF0E080u;
  }
  Target(const Target&) = delete;
  ~Target() { sf_release(&s); }
  std::vector<uint8_t> bytes() const {
    return {s.pixels, s.pixels + size_t(s.width) * s.height * s.bytes_per_pixel};
  }
};

std::string file_of(const std::vector<uint8_t>& bytes, const qtest::TempDir& dir, const char* name) {
  std::string path = dir.path(name);
  std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
  return path;
}

// FreeType on its own, set up as the library sets itself up: raw sub-pixel coverage, 96 dpi.
struct Reference {
  FT_Library lib = nullptr;
  FT_Face face = nullptr;
  Reference(const char* path, int size) {
    FT_Init_FreeType(&lib);
    FT_Library_SetLcdFilter(lib, FT_LCD_FILTER_NONE);
    EXPECT_EQ(FT_New_Face(lib, path, 0, &face), 0);
    EXPECT_EQ(FT_Set_Char_Size(face, size * 64, size * 64, 96, 96), 0);
  }
  ~Reference() {
    FT_Done_Face(face);
    FT_Done_FreeType(lib);
  }
  int kerning(uint16_t a, uint16_t b) {
    FT_Vector d{};
    FT_Get_Kerning(face, FT_Get_Char_Index(face, a), FT_Get_Char_Index(face, b), FT_KERNING_DEFAULT, &d);
    return int(d.x / 64);
  }
};

// The coverage surface a glyph must have: FreeType's bitmap for `flags`, one-bit pixels as
// 0/255, sub-pixel rows widened by one pixel and filtered along the row.
struct Expected {
  int width, height, bpp, left, top, advance;
  std::vector<uint8_t> pixels;
};
Expected expected_glyph(Reference& ref, uint32_t code, FT_Int32 flags) {
  EXPECT_EQ(FT_Load_Char(ref.face, code, flags), 0);
  const FT_GlyphSlot slot = ref.face->glyph;
  const FT_Bitmap& b = slot->bitmap;
  const bool lcd = b.pixel_mode == FT_PIXEL_MODE_LCD;
  Expected e{lcd ? int(b.width) / 3 + 1 : int(b.width), int(b.rows), lcd ? 3 : 1, slot->bitmap_left, slot->bitmap_top,
             int(slot->advance.x / 64), {}};
  const int n = e.width * e.bpp;
  for (int y = 0; y < e.height; ++y) {
    const uint8_t* src = b.buffer + y * b.pitch;
    std::vector<int> v(size_t(n), 0);
    for (int x = 0; x < int(b.width); ++x)
      v[size_t(x)] = b.pixel_mode == FT_PIXEL_MODE_MONO ? ((src[x / 8] >> (7 - x % 8)) & 1) * 255 : src[x];
    for (int j = 0; j < n; ++j) {
      if (!lcd) {
        e.pixels.push_back(uint8_t(v[size_t(j)]));
        continue;
      }
      auto at = [&](int k) { return k < 0 ? 0 : v[size_t(k)]; };
      e.pixels.push_back(uint8_t((28 * at(j) + 56 * at(j - 1) + 85 * at(j - 2) + 56 * at(j - 3) + 28 * at(j - 4)) / 256));
    }
  }
  return e;
}

std::vector<uint8_t> glyph_pixels(const sf_glyph* g) {
  const sf_surface& s = g->surface;
  if (!s.pixels) return {};
  return {s.pixels, s.pixels + size_t(s.width) * s.height * s.bytes_per_pixel};
}

std::u16string u(const char* ascii) { return std::u16string(ascii, ascii + std::strlen(ascii)); }
const uint16_t* units(const std::u16string& s) { return reinterpret_cast<const uint16_t*>(s.c_str()); }

// A string drawn glyph by glyph with sf_face_glyph, the pen moved by hand: what sf_face_string
// must give. Kerning comes from FreeType directly; `count` limits the glyphs drawn.
void compose(Face& face, Reference* ref, sf_surface* s, const std::u16string& text, int x, int y,
             size_t count = SIZE_MAX) {
  for (size_t i = 0; i < text.size() && i < count; ++i) {
    if (ref && i) x += ref->kerning(text[i - 1], text[i]);
    sf_face_glyph(face.f, s, text[i], x, y);
    x += face.glyph(text[i])->advance_x + face.f->spacing;
  }
}

std::string shape(const std::string& file, const std::string& func, const std::string& what) {
  return file + ":N:\t\t" + func + ": " + what + "\n" + file + ":N:\t" + func + ".\n";
}

TEST(Face, CreateSharesFreeTypeAndStartsEmpty) {
  const long inits = calls::init;
  qtest::Stdout out;
  Face a(sans, 12), b(mono_font, 10);
  EXPECT_EQ(out.text(), "");  // scalable fonts list no strikes
  ASSERT_NE(ft_library, nullptr);
  EXPECT_EQ(a.f->ft_face->glyph->library, ft_library);
  EXPECT_EQ(b.f->ft_face->glyph->library, ft_library);
  EXPECT_LE(calls::init - inits, 1);
  for (const sf_glyph* g : a.f->glyphs) ASSERT_EQ(g, nullptr);
  EXPECT_EQ(a.f->force_autohint | a.f->lcd | a.f->mono | a.f->spacing, 0);
  EXPECT_EQ(a.f->on_glyph, nullptr);
  EXPECT_EQ(a.f->ft_face->size->metrics.y_ppem, 16);  // 12 points at 96 dpi
  EXPECT_EQ(sf_face_height(a.f), a.f->ft_face->size->metrics.height / 64);
  sf_face_release(&a.f);
  EXPECT_EQ(a.f, nullptr);
  sf_face_release(&a.f);  // releasing nothing is harmless
  sf_face_release(nullptr);
}

TEST(Face, FailedStartOfFreeTypeIsRetried) {
  if (ft_library) GTEST_SKIP() << "FreeType already started in this process";
  const long inits = calls::init;
  sf_face* f = reinterpret_cast<sf_face*>(1);
  {
    qtest::Stdout out;
    qtest::fail_after(1);  // the record is allocated, FreeType's first block is not
    EXPECT_EQ(sf_face_create(&f, sans, 12), 0);
    qtest::fail_after(-1);
    EXPECT_EQ(qtest::trace_shape(out.text()), shape("face.cpp", "sf_face_create", "FT_Init_FreeType"));
  }
  EXPECT_EQ(f, nullptr);
  EXPECT_EQ(ft_library, nullptr);
  Face a(sans, 12), b(sans, 14);
  EXPECT_NE(ft_library, nullptr);
  EXPECT_EQ(calls::init - inits, 2);
}

TEST(Face, BadFilesFailCleanly) {
  Face first(sans, 12);  // FreeType is up
  qtest::TempDir dir;
  std::ifstream in(sans, std::ios::binary);
  const std::vector<uint8_t> whole((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const std::vector<std::string> paths = {
      dir.path("missing.ttf"),
      file_of({}, dir, "empty.ttf"),
      file_of({whole.begin(), whole.begin() + 12}, dir, "header.ttf"),
      file_of({whole.begin(), whole.begin() + 2000}, dir, "directory.ttf"),
      file_of({whole.begin(), whole.begin() + whole.size() / 2}, dir, "half.ttf"),
  };
  for (const std::string& path : paths) {
    sf_face* f = nullptr;
    qtest::Stdout out;
    EXPECT_EQ(sf_face_create(&f, path.c_str(), 12), 0) << path;
    EXPECT_EQ(qtest::trace_shape(out.text()), shape("face.cpp", "sf_face_create", "FT_New_Face")) << path;
    EXPECT_EQ(f, nullptr);
  }
  Face after(sans, 12);  // the library still opens fonts
  EXPECT_EQ(sf_face_check(after.f, 'A'), 1);
}

TEST(Face, EveryFailedAllocationInCreateIsTraced) {
  Face first(sans, 12);
  const std::set<std::string> allowed = {shape("face.cpp", "sf_face_create", "malloc"),
                                         shape("face.cpp", "sf_face_create", "FT_New_Face"),
                                         shape("face.cpp", "sf_face_create", "FT_Set_Char_Size")};
  std::set<std::string> seen;
  for (long n = 0;; ++n) {
    sf_face* f = nullptr;
    qtest::Stdout out;
    qtest::fail_after(n);
    const int32_t r = sf_face_create(&f, sans, 12);
    qtest::fail_after(-1);
    if (r) {
      sf_face_release(&f);
      if (!qtest::failure_happened()) break;
      continue;
    }
    EXPECT_EQ(f, nullptr);
    const std::string text = qtest::trace_shape(out.text());
    EXPECT_TRUE(allowed.count(text)) << text;
    seen.insert(text);
  }
  EXPECT_TRUE(seen.count(shape("face.cpp", "sf_face_create", "malloc")));
  EXPECT_TRUE(seen.count(shape("face.cpp", "sf_face_create", "FT_New_Face")));
}

// Bitmap-only fonts: the list of strikes, and the strike that a size selects.
TEST(BitmapFont, StrikesAreListedAndChosenBySize) {
  qtest::TempDir dir;
  const std::string path =
      file_of(textfont::bitmap_font({{10, 1}, {12, 1}, {13, 8}, {16, 1}}), dir, "strikes.ttf");
  struct Case {
    int32_t size, ppem, bpp;
  } cases[] = {{12, 12, 1}, {16, 16, 1}, {13, 13, 1}, {11, 10, 1}, {200, 10, 1}, {0, 10, 1}};
  for (const Case& c : cases) {
    qtest::Stdout out;
    Face face(path.c_str(), c.size);
    EXPECT_EQ(out.text(), "face_create(): available sizes(4): 10, 12, 13, 16.\n") << c.size;
    ASSERT_NE(face.f, nullptr);
    EXPECT_EQ(face.f->ft_face->size->metrics.y_ppem, c.ppem) << c.size;
    EXPECT_EQ(sf_face_height(face.f), c.ppem);
    face.f->lcd = 1;  // a strike answers a sub-pixel request with what it has
    ASSERT_EQ(sf_face_check(face.f, 'A'), 1);
    const sf_glyph* a = face.glyph('A');
    EXPECT_EQ(a->surface.bytes_per_pixel, 1);
    EXPECT_EQ(a->surface.width, textfont::block_width(c.ppem));
    EXPECT_EQ(a->surface.height, textfont::block_height(c.ppem));
    // The block stands on the baseline: ascent (4/5 of the em) below the top of the line.
    EXPECT_EQ(a->offset_y, c.ppem * 4 / 5 - textfont::block_height(c.ppem));
    for (uint8_t v : glyph_pixels(a)) ASSERT_EQ(v, 255);  // one-bit and 8-bit strikes alike
  }
}

TEST(BitmapFont, UnsupportedBitmapsFailEveryTime) {
  qtest::TempDir dir;
  const std::string path = file_of(textfont::bitmap_font({{12, 2}}), dir, "gray2.ttf");
  qtest::Stdout listing;
  Face face(path.c_str(), 12);
  EXPECT_EQ(listing.text(), "face_create(): available sizes(1): 12.\n");
  for (int attempt = 0; attempt < 2; ++attempt) {
    qtest::Stdout out;
    EXPECT_EQ(sf_face_check(face.f, 'A'), 0);
    EXPECT_EQ(face.glyph('A'), nullptr);
    EXPECT_EQ(qtest::trace_shape(out.text()), shape("face.cpp", "sf_face_check", "unsupported pixel mode"));
  }
  // Without "?" to fall back on, nothing is drawn, nothing measured, the anchors stay.
  Target t(8, 8);
  t.s.anchor_x = 0.5f;
  face.f->spacing = 4;
  qtest::Stdout quiet;
  EXPECT_EQ(sf_face_glyph(face.f, &t.s, 'A', 0, 0), 0);
  EXPECT_EQ(t.s.anchor_x, 0.5f);
  EXPECT_EQ(sf_face_width(face.f, units(u("AA")), 0), -4);
}

// Glyph surfaces are FreeType's bitmaps for the face's flags, one-bit expanded and sub-pixel
// rows filtered, placed by FreeType's metrics.
TEST(Glyph, MatchesFreeTypeForEveryMode) {
  struct Mode {
    int32_t lcd, mono, autohint;
    FT_Int32 flags;
  } modes[] = {{0, 0, 0, 0x4},     {0, 1, 0, 0x20004}, {1, 0, 0, 0x30004},
               {1, 1, 0, 0x30004}, {0, 0, 1, 0x24},    {1, 0, 1, 0x30024}};
  Reference ref(sans, 12);
  const FT_Size_Metrics& m = ref.face->size->metrics;
  const int baseline = int((m.height + m.descender) / 64);
  for (const Mode& mode : modes) {
    Face face(sans, 12);
    face.f->lcd = mode.lcd, face.f->mono = mode.mono, face.f->force_autohint = mode.autohint;
    for (uint32_t code : {0x41u, 0x67u, 0x57u, 0x40u, 0xE9u, 0x4E00u, 0x20u}) {
      SCOPED_TRACE(testing::Message() << "flags " << std::hex << mode.flags << " code " << code);
      ASSERT_EQ(sf_face_check(face.f, code), 1);
      const sf_glyph* g = face.glyph(code);
      const Expected e = expected_glyph(ref, code, mode.flags);
      EXPECT_EQ(g->surface.bytes_per_pixel, e.bpp);
      EXPECT_EQ(g->surface.width, e.width);
      EXPECT_EQ(g->surface.height, e.height);
      EXPECT_EQ(glyph_pixels(g), e.pixels);
      EXPECT_EQ(g->offset_x, e.left);
      EXPECT_EQ(g->offset_y, baseline - e.top);
      EXPECT_EQ(g->advance_x, e.advance);
      EXPECT_EQ(g->advance_y, 0);
      if (e.bpp == 3)
        for (uint8_t v : glyph_pixels(g)) ASSERT_LE(v, 252);
    }
    // A space has no rows, so no pixels, but an advance; a sub-pixel one is 1 pixel wide.
    const sf_glyph* space = face.glyph(0x20);
    if (!mode.mono || mode.lcd) {
      EXPECT_EQ(space->surface.pixels, nullptr);
      EXPECT_EQ(space->surface.width, mode.lcd ? 1 : 0);
    }
    EXPECT_GT(space->advance_x, 0);
  }
}

TEST(Glyph, CacheLoadsEachCodeOnceAndKeepsItsFlags) {
  Face face(sans, 12);
  qtest::Stdout out;
  EXPECT_EQ(sf_face_check(face.f, 0x10000), 0);  // beyond the table: nothing loads
  EXPECT_EQ(sf_face_check(face.f, 0xFFFFFFFFu), 0);
  const long loads = calls::load_char;
  EXPECT_EQ(sf_face_check(face.f, 0xFFFF), 1);  // the last entry is a key like any other
  EXPECT_EQ(sf_face_check(face.f, 'A'), 1);
  EXPECT_EQ(calls::load_char - loads, 2);
  const sf_glyph* a = face.glyph('A');
  face.f->lcd = 1;
  EXPECT_EQ(sf_face_check(face.f, 'A'), 1);
  EXPECT_EQ(calls::load_char - loads, 2);
  EXPECT_EQ(face.glyph('A'), a);
  EXPECT_EQ(a->surface.bytes_per_pixel, 1);
  EXPECT_EQ(out.text(), "");
}

int glyph_callbacks = 0;
void clear_glyph(sf_surface* s) {
  ++glyph_callbacks;
  if (s->pixels) std::memset(s->pixels, 0, size_t(s->width) * s->height * s->bytes_per_pixel);
}

TEST(Glyph, OnGlyphRunsBeforeTheSkipTable) {
  for (int32_t lcd : {0, 1}) {
    Face face(sans, 24);
    face.f->lcd = lcd;
    face.f->on_glyph = clear_glyph;
    glyph_callbacks = 0;
    ASSERT_EQ(sf_face_check(face.f, 'M'), 1);
    ASSERT_EQ(sf_face_check(face.f, ' '), 1);  // glyphs without pixels are offered too
    ASSERT_EQ(sf_face_check(face.f, 'M'), 1);
    EXPECT_EQ(glyph_callbacks, 2);
    const sf_surface& s = face.glyph('M')->surface;
    ASSERT_NE(s.strip, nullptr);
    ASSERT_LT(s.width, 256);
    for (int y = 0; y < s.height; ++y) ASSERT_EQ(s.strip[size_t(y) * s.width], s.width) << y;
    Target t(64, 64);
    const auto before = t.bytes();
    EXPECT_EQ(sf_face_glyph(face.f, &t.s, 'M', 10, 10), 1);
    EXPECT_EQ(t.bytes(), before);
  }
}

TEST(Glyph, EveryFailedAllocationInCheckIsTraced) {
  // FreeType 2.12 itself crashes when an allocation fails while it sets up the hinting of a
  // fresh size, on the first glyph of a face: a first glyph is loaded before failures start.
  Face face(sans, 12);
  face.f->lcd = 1;
  ASSERT_EQ(sf_face_check(face.f, 'B'), 1);
  const std::string sf_create_chain = "surface.cpp:N:\t\tsf_create: malloc\nsurface.cpp:N:\tsf_create.\n" +
                                      shape("face.cpp", "sf_face_check", "");
  const std::string strip = shape("strip.cpp", "sf_strip", "malloc");
  const std::set<std::string> failed = {shape("face.cpp", "sf_face_check", "malloc"),
                                        shape("face.cpp", "sf_face_check", "FT_Load_Char"), sf_create_chain};
  std::set<std::string> seen;
  for (long n = 0;; ++n) {
    qtest::Stdout out;
    qtest::fail_after(n);
    const int32_t r = sf_face_check(face.f, 'A');
    qtest::fail_after(-1);
    const std::string text = qtest::trace_shape(out.text());
    seen.insert(text);
    if (r == 0) {
      EXPECT_TRUE(failed.count(text)) << text;
      EXPECT_EQ(face.glyph('A'), nullptr);
      continue;
    }
    // The skip table may be missing; the glyph is good all the same.
    EXPECT_TRUE(text.empty() || text == strip) << text;
    EXPECT_EQ(face.glyph('A')->surface.strip == nullptr, text == strip);
    if (!qtest::failure_happened()) break;
    sf_face_release(&face.f);
    ASSERT_EQ(sf_face_create(&face.f, sans, 12), 1);
    face.f->lcd = 1;
    ASSERT_EQ(sf_face_check(face.f, 'B'), 1);
  }
  for (const std::string& s : failed) EXPECT_TRUE(seen.count(s)) << s;
  EXPECT_TRUE(seen.count(strip));
}

// Measuring: the larger of advance and bitmap per glyph, spacing between, kerning by FreeType.
TEST(Strings, WidthFollowsGlyphsSpacingAndKerning) {
  Face face(sans, 12);
  Reference ref(sans, 12);
  ASSERT_NE(ref.kerning('A', 'V'), 0);  // pairs that FreeType kerns in DejaVu Sans at 16 pixels
  ASSERT_NE(ref.kerning('T', 'o'), 0);
  for (int32_t spacing : {0, 3, -2}) {
    face.f->spacing = spacing;
    const std::u16string text = u("AVATAR To fly");
    int expected = -spacing;
    for (size_t i = 0; i < text.size(); ++i) {
      expected += sf_face_width_glyph(face.f, text[i]) + spacing;
      if (i) expected += ref.kerning(text[i - 1], text[i]);
    }
    EXPECT_EQ(sf_face_width(face.f, units(text), 0), expected) << spacing;
    const long lookups = calls::char_index;
    sf_face_width(face.f, units(text), 0);
    EXPECT_EQ(calls::char_index - lookups, 2 * long(text.size() - 1));  // two look-ups per pair
  }
}

TEST(Strings, LengthBoundsTheString) {
  Face face(mono_font, 12);  // no kerning: a face without it makes no look-ups
  ASSERT_EQ(sf_face_check(face.f, 'a'), 1);
  const int advance = face.glyph('a')->advance_x;
  ASSERT_GE(advance, face.glyph('a')->surface.width);
  face.f->spacing = 3;
  const std::u16string abc = u("abc"), empty;
  struct Case {
    const uint16_t* text;
    int32_t length, glyphs;
  } cases[] = {{units(abc), 0, 3}, {units(abc), 2, 2}, {units(abc), 5, 3}, {units(abc), -1, 0},
               {units(empty), 0, 0}, {nullptr, 0, 0}, {nullptr, 4, 0}};
  for (uint32_t code : {'a', 'b', 'c', '?'}) ASSERT_EQ(sf_face_check(face.f, code), 1);
  const long lookups = calls::char_index;  // loading looks characters up as well
  for (const Case& c : cases) {
    EXPECT_EQ(sf_face_width(face.f, c.text, c.length), c.glyphs * (advance + 3) - 3) << c.length;
    Target drawn(64, 32), composed(64, 32);
    sf_face_string(face.f, &drawn.s, c.text, c.length, 2, 2);
    if (c.text) compose(face, nullptr, &composed.s, std::u16string(reinterpret_cast<const char16_t*>(c.text)), 2, 2, size_t(c.glyphs));
    EXPECT_EQ(drawn.bytes(), composed.bytes()) << c.length;
  }
  EXPECT_EQ(calls::char_index, lookups);
}

TEST(Strings, CodesBeyondTheTableAndSurrogateHalves) {
  Face face(sans, 12);
  qtest::Stdout out;
  EXPECT_EQ(sf_face_width_glyph(face.f, 0x1F600), 0);
  Target emoji(32, 32), question(32, 32);
  EXPECT_EQ(sf_face_glyph(face.f, &emoji.s, 0x1F600, 4, 4), 1);  // drawn as "?"
  EXPECT_EQ(sf_face_glyph(face.f, &question.s, '?', 4, 4), 1);
  EXPECT_EQ(emoji.bytes(), question.bytes());
  const std::u16string pair = u"\U0001F600";
  ASSERT_EQ(pair.size(), 2u);
  EXPECT_EQ(sf_face_width(face.f, units(pair), 0),
            sf_face_width_glyph(face.f, pair[0]) + sf_face_width_glyph(face.f, pair[1]));
  EXPECT_NE(face.glyph(pair[0]), nullptr);
  EXPECT_NE(face.glyph(pair[1]), nullptr);
  EXPECT_EQ(out.text(), "");
}

// Drawing: the same pixels as its glyphs blended one by one along the pen, kerning included.
TEST(Strings, StringIsItsGlyphsAlongThePen) {
  for (int32_t lcd : {0, 1}) {
    Face face(sans, 12);
    Reference ref(sans, 12);
    face.f->lcd = lcd;
    face.f->spacing = 1;
    const std::u16string text = u("AVATAR To \x01 fly");
    Target drawn(200, 40), composed(200, 40);
    sf_face_string(face.f, &drawn.s, units(text), 0, 3, 5);
    compose(face, &ref, &composed.s, text, 3, 5);
    EXPECT_EQ(drawn.bytes(), composed.bytes()) << lcd;

    // Anchors place the whole string by its measured width and the line height, then clear.
    Target anchored(200, 40), placed(200, 40);
    anchored.s.anchor_x = 0.5f, anchored.s.anchor_y = 1.0f;
    sf_face_string(face.f, &anchored.s, units(text), 0, 100, 30);
    const int w = sf_face_width(face.f, units(text), 0);
    sf_face_string(face.f, &placed.s, units(text), 0, 100 - int(std::floor(0.5 * w)), 30 - sf_face_height(face.f));
    EXPECT_EQ(anchored.bytes(), placed.bytes());
    EXPECT_EQ(anchored.s.anchor_x, 0.0f);
    EXPECT_EQ(anchored.s.anchor_y, 0.0f);
    anchored.s.anchor_x = 1.0f;
    const auto before = anchored.bytes();
    sf_face_string(face.f, &anchored.s, units(u("")), 0, 0, 0);  // an empty string still spends them
    EXPECT_EQ(anchored.s.anchor_x, 0.0f);
    EXPECT_EQ(anchored.bytes(), before);
  }
}

TEST(Strings, RightEdgeStopsTheWalkButClipDoesNot) {
  Face face(sans, 12);
  ASSERT_EQ(sf_face_check(face.f, 'W'), 1);
  ASSERT_EQ(sf_face_check(face.f, 'i'), 1);
  // With this spacing "W" moves the pen right and "i" back left: once the pen has passed the
  // edge the walk stops, so the i's that would come back into view are not drawn.
  face.f->spacing = -(face.glyph('W')->advance_x + face.glyph('i')->advance_x) / 2;
  const int step = face.glyph('W')->advance_x + face.f->spacing;
  ASSERT_GT(step, 0);
  const int width = 5 * step;
  const std::u16string text = u("WWWWWWWWiiiiiiiiiiiiiiiiiiii");
  Target drawn(width, 30), first5(width, 30), all(width, 30);
  sf_face_string(face.f, &drawn.s, units(text), 0, 0, 0);
  compose(face, nullptr, &first5.s, text, 0, 0, 5);
  compose(face, nullptr, &all.s, text, 0, 0);
  EXPECT_EQ(drawn.bytes(), first5.bytes());
  EXPECT_NE(drawn.bytes(), all.bytes());

  // A clip narrower than the surface cuts glyphs at the pixel and the walk goes on.
  face.f->spacing = 0;
  const std::u16string line = u("Hello, world");
  Target clipped(120, 30), full(120, 30);
  sf_rect clip{20, 5, 70, 25};
  clipped.s.clip = &clip;
  sf_face_string(face.f, &clipped.s, units(line), 0, 2, 2);
  sf_face_string(face.f, &full.s, units(line), 0, 2, 2);
  Target background(120, 30);
  for (int y = 0; y < 30; ++y)
    for (int x = 0; x < 120; ++x) {
      const bool inside = x >= clip.left && x < clip.right && y >= clip.top && y < clip.bottom;
      const size_t at = (size_t(y) * 120 + x) * 4;
      ASSERT_EQ(std::memcmp(clipped.s.pixels + at, (inside ? full : background).s.pixels + at, 4), 0) << x << "," << y;
    }
}

TEST(Strings, GlyphAnchorsAndTargetsOfOtherFormats) {
  Face face(sans, 12);
  Target t(40, 40);
  t.s.anchor_x = 1.0f, t.s.anchor_y = 1.0f;
  EXPECT_EQ(sf_face_glyph(face.f, &t.s, 'A', 1000, 1000), 0);  // clipped away: anchors spent all the same
  EXPECT_EQ(t.s.anchor_x, 0.0f);
  EXPECT_EQ(t.s.anchor_y, 0.0f);
  t.s.anchor_x = 1.0f;
  Target placed(40, 40);
  EXPECT_EQ(sf_face_glyph(face.f, &t.s, 'A', 30, 10), 1);
  EXPECT_EQ(sf_face_glyph(face.f, &placed.s, 'A', 30 - sf_face_width_glyph(face.f, 'A'), 10), 1);
  EXPECT_EQ(t.bytes(), placed.bytes());

  Target gray(40, 40, 1);
  const auto blank = gray.bytes();
  EXPECT_EQ(sf_face_glyph(face.f, &gray.s, 'A', 5, 5), 0);
  sf_face_string(face.f, &gray.s, units(u("AAA")), 0, 5, 5);
  EXPECT_EQ(gray.bytes(), blank);
}

// The resolution of a display that sets Xft.dpi, read without leaving a connection open.
TEST(Display, XftDpiScalesThePointSize) {
  if (access("/usr/bin/Xvfb", X_OK) != 0 || access("/usr/bin/xrdb", X_OK) != 0)
    GTEST_SKIP() << "Xvfb or xrdb is not installed";
  int n = 150;
  while (n < 200 && (access(("/tmp/.X11-unix/X" + std::to_string(n)).c_str(), F_OK) == 0 ||
                     access(("/tmp/.X" + std::to_string(n) + "-lock").c_str(), F_OK) == 0))
    ++n;
  const std::string display = ":" + std::to_string(n);
  struct Server {
    pid_t pid;
    ~Server() {
      unsetenv("DISPLAY");
      if (pid > 0) kill(pid, SIGTERM), waitpid(pid, nullptr, 0);
    }
  } guard{fork()};
  const pid_t server = guard.pid;
  if (server == 0) {
    freopen("/dev/null", "w", stderr);
    execl("/usr/bin/Xvfb", "Xvfb", display.c_str(), "-noreset", "-nolisten", "tcp", static_cast<char*>(nullptr));
    _exit(127);
  }
  ASSERT_GT(server, 0);
  const std::string socket = "/tmp/.X11-unix/X" + std::to_string(n);
  for (int i = 0; i < 200 && access(socket.c_str(), F_OK) != 0; ++i) usleep(25000);
  const std::string merge = "xrdb -display " + display + " -merge";
  FILE* xrdb = popen(merge.c_str(), "w");
  ASSERT_NE(xrdb, nullptr);
  std::fputs("Xft.dpi: 144\n", xrdb);
  const int merged = pclose(xrdb);

  auto open_files = [] {
    int count = 0;
    if (DIR* d = opendir("/proc/self/fd")) {
      while (readdir(d)) ++count;
      closedir(d);
    }
    return count;
  };
  setenv("DISPLAY", display.c_str(), 1);
  const int files = open_files();
  {
    Face a(sans, 12), b(sans, 12), c(sans, 12);
    EXPECT_EQ(merged, 0);
    EXPECT_EQ(a.f->ft_face->size->metrics.x_ppem, 24);  // 12 points at 144 dpi
    EXPECT_EQ(a.f->ft_face->size->metrics.y_ppem, 24);
    EXPECT_EQ(open_files(), files);
  }
  unsetenv("DISPLAY");
  Face none(sans, 12);
  EXPECT_EQ(none.f->ft_face->size->metrics.y_ppem, 16);
}

}  // namespace
