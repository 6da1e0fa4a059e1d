// Text: a 2,000-character paragraph drawn with cached glyphs onto a 1920 × 1080 surface, grey and
// sub-pixel, beside cairo drawing the same lines with the same font and size (cairo-ft on an
// image surface); and the first load of 500 glyphs into a fresh cache beside FreeType's
// FT_Load_Char alone, which is the cost that caching adds; and the FreeType kerning calls that the
// paragraph would make without quelt's kerning table, alone. Prints quelt / comparable ratios.
#include <benchmark/benchmark.h>
#include <ratios.h>
#include <quelt/surface/blend.h>
#include <quelt/text/face.h>

#include <cairo-ft.h>
#include <cairo.h>
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_LCD_FILTER_H

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

namespace {

const char* const font = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
constexpr int points = 12, pixels = 16;  // 12 points at 96 dpi
constexpr int width = 1920, height = 1080;

// About 2,000 characters of prose, wrapped into lines that fit the surface.
std::string paragraph() {
  static const char* words[] = {"quelt", "draws", "text", "through", "FreeType,", "blending", "cached",
                                "glyph", "surfaces", "onto", "pixels.", "Kerning", "moves", "the",
                                "pen;", "AVATAR", "Toyota", "WAVE", "jumps", "over", "lazy", "fox"};
  std::string text;
  for (size_t i = 0; text.size() < 2000; ++i) {
    if (!text.empty()) text += ' ';
    text += words[(i * 7) % (sizeof words / sizeof *words)];
  }
  return text.substr(0, 2000);
}

std::vector<std::string> wrap(sf_face* face, const std::string& text, int limit) {
  std::vector<std::string> lines;
  std::string line;
  size_t at = 0;
  while (at < text.size()) {
    size_t end = text.find(' ', at);
    if (end == std::string::npos) end = text.size();
    std::string candidate = line.empty() ? text.substr(at, end - at) : line + ' ' + text.substr(at, end - at);
    std::u16string units(candidate.begin(), candidate.end());
    if (!line.empty() && sf_face_width(face, reinterpret_cast<const uint16_t*>(units.c_str()), 0) > limit) {
      lines.push_back(line);
      line = text.substr(at, end - at);
    } else {
      line = candidate;
    }
    at = end + 1;
  }
  if (!line.empty()) lines.push_back(line);
  return lines;
}

struct Paragraph {
  std::vector<std::string> lines;
  std::vector<std::u16string> units;
  size_t characters = 0;
  explicit Paragraph(sf_face* face) {
    lines = wrap(face, paragraph(), width - 20);
    for (const std::string& l : lines) {
      units.emplace_back(l.begin(), l.end());
      characters += l.size();
    }
  }
};

void quelt_paragraph(benchmark::State& state, bool lcd) {
  sf_face* face = nullptr;
  if (!sf_face_create(&face, font, points)) return state.SkipWithError("font");
  face->lcd = lcd;
  Paragraph p(face);
  sf_surface target;
  sf_create(&target, width, height, 4);
  target.color = 0xFF000000u;
  sf_fill(&target, nullptr);
  target.color = 0xFFF0E0D0u;
  const int line_height = sf_face_height(face);
  for (auto _ : state) {
    int y = 10;
    for (const std::u16string& l : p.units) {
      sf_face_string(face, &target, reinterpret_cast<const uint16_t*>(l.c_str()), 0, 10, y);
      y += line_height;
    }
    benchmark::DoNotOptimize(target.pixels);
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(p.characters));
  sf_release(&target);
  sf_face_release(&face);
}

void cairo_paragraph(benchmark::State& state, bool lcd) {
  sf_face* measure = nullptr;  // the same lines as quelt draws
  if (!sf_face_create(&measure, font, points)) return state.SkipWithError("font");
  Paragraph p(measure);
  const int line_height = sf_face_height(measure);
  sf_face_release(&measure);

  FT_Library lib;
  FT_Face ft;
  FT_Init_FreeType(&lib);
  FT_New_Face(lib, font, 0, &ft);
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
  cairo_t* cr = cairo_create(surface);
  cairo_set_source_rgb(cr, 0, 0, 0);
  cairo_paint(cr);
  cairo_font_face_t* cface = cairo_ft_font_face_create_for_ft_face(ft, 0);
  cairo_set_font_face(cr, cface);
  cairo_set_font_size(cr, pixels);
  cairo_font_options_t* options = cairo_font_options_create();
  cairo_font_options_set_antialias(options, lcd ? CAIRO_ANTIALIAS_SUBPIXEL : CAIRO_ANTIALIAS_GRAY);
  if (lcd) cairo_font_options_set_subpixel_order(options, CAIRO_SUBPIXEL_ORDER_RGB);
  cairo_set_font_options(cr, options);
  cairo_set_source_rgb(cr, 0xF0 / 255.0, 0xE0 / 255.0, 0xD0 / 255.0);
  cairo_font_extents_t extents;
  cairo_font_extents(cr, &extents);
  for (auto _ : state) {
    double y = 10 + extents.ascent;
    for (const std::string& l : p.lines) {
      cairo_move_to(cr, 10, y);
      cairo_show_text(cr, l.c_str());
      y += line_height;
    }
    cairo_surface_flush(surface);
    benchmark::DoNotOptimize(cairo_image_surface_get_data(surface));
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(p.characters));
  cairo_font_options_destroy(options);
  cairo_destroy(cr);
  cairo_surface_destroy(surface);
  cairo_font_face_destroy(cface);
  FT_Done_Face(ft);
  FT_Done_FreeType(lib);
}

// The FreeType calls that drawing the paragraph would make on a font with kerning without quelt's
// kerning table: for each pair, two FT_Get_Char_Index calls and one FT_Get_Kerning, once measuring
// a line and once drawing it. What the table saves.
void freetype_kerning_calls(benchmark::State& state) {
  sf_face* face = nullptr;
  if (!sf_face_create(&face, font, points)) return state.SkipWithError("font");
  Paragraph p(face);
  FT_Face ft = face->ft_face;
  for (auto _ : state) {
    for (int pass = 0; pass < 2; ++pass)
      for (const std::u16string& l : p.units)
        for (size_t i = 1; i < l.size(); ++i) {
          const FT_UInt r = FT_Get_Char_Index(ft, l[i]), left = FT_Get_Char_Index(ft, l[i - 1]);
          FT_Vector delta;
          FT_Get_Kerning(ft, left, r, FT_KERNING_DEFAULT, &delta);
          benchmark::DoNotOptimize(delta);
        }
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(p.characters));
  sf_face_release(&face);
}

// 500 code points that DejaVu Sans has: Latin, Greek, Cyrillic and beyond.
std::vector<uint32_t> five_hundred(FT_Face ft) {
  std::vector<uint32_t> codes;
  for (uint32_t c = 0x21; codes.size() < 500 && c < 0xFFFF; ++c)
    if (FT_Get_Char_Index(ft, c)) codes.push_back(c);
  return codes;
}

void quelt_first_load(benchmark::State& state, bool lcd) {
  FT_Library lib;
  FT_Face ft;
  FT_Init_FreeType(&lib);
  FT_New_Face(lib, font, 0, &ft);
  const std::vector<uint32_t> codes = five_hundred(ft);
  FT_Done_Face(ft);
  FT_Done_FreeType(lib);
  for (auto _ : state) {
    state.PauseTiming();
    sf_face* face = nullptr;
    if (!sf_face_create(&face, font, points)) return state.SkipWithError("font");
    face->lcd = lcd;
    sf_face_check(face, 'x');  // the size's first glyph sets up hinting, for both sides alike
    state.ResumeTiming();
    for (uint32_t c : codes) benchmark::DoNotOptimize(sf_face_check(face, c));
    state.PauseTiming();
    sf_face_release(&face);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(codes.size()));
}

void freetype_first_load(benchmark::State& state, bool lcd) {
  FT_Library lib;
  FT_Face ft;
  FT_Init_FreeType(&lib);
  FT_Library_SetLcdFilter(lib, FT_LCD_FILTER_NONE);
  FT_New_Face(lib, font, 0, &ft);
  FT_Set_Char_Size(ft, points * 64, points * 64, 96, 96);
  const std::vector<uint32_t> codes = five_hundred(ft);
  const FT_Int32 flags = lcd ? FT_LOAD_RENDER | FT_LOAD_TARGET_LCD : FT_LOAD_RENDER;
  FT_Load_Char(ft, 'x', flags);
  for (auto _ : state)
    for (uint32_t c : codes) benchmark::DoNotOptimize(FT_Load_Char(ft, c, flags));
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(codes.size()));
  FT_Done_Face(ft);
  FT_Done_FreeType(lib);
}

BENCHMARK_CAPTURE(quelt_paragraph, grey, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(cairo_paragraph, grey, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(quelt_paragraph, subpixel, true)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(cairo_paragraph, subpixel, true)->Unit(benchmark::kMicrosecond);
BENCHMARK(freetype_kerning_calls)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(quelt_first_load, grey, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(freetype_first_load, grey, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(quelt_first_load, subpixel, true)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(freetype_first_load, subpixel, true)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
  unsetenv("DISPLAY");  // both sides at 96 dpi
  qbench::Recorder rec;
  if (!qbench::run(argc, argv, rec)) return 1;
  const auto ratio = [&](const char* label, const char* ours, const char* theirs) {
    qbench::ratio(label, rec.cpu(ours), rec.cpu(theirs));
  };
  std::printf("\nratios (quelt CPU time / comparable CPU time, lower is better):\n");
  ratio("paragraph, grey, quelt / cairo", "quelt_paragraph/grey", "cairo_paragraph/grey");
  ratio("paragraph, sub-pixel, quelt / cairo", "quelt_paragraph/subpixel", "cairo_paragraph/subpixel");
  ratio("uncached kerning calls alone / cairo, grey", "freetype_kerning_calls", "cairo_paragraph/grey");
  ratio("uncached kerning calls alone / cairo, sub-pixel", "freetype_kerning_calls",
                 "cairo_paragraph/subpixel");
  ratio("first load of 500, grey, quelt / FT_Load_Char", "quelt_first_load/grey", "freetype_first_load/grey");
  ratio("first load of 500, sub-pixel, quelt / FT_Load_Char", "quelt_first_load/subpixel",
                 "freetype_first_load/subpixel");
  return 0;
}
