// Every exported operation that reads or writes pixels, run with a surface that claims a size but
// has no buffer (as a window's surface after a bitmap that could not be made): each one must
// refuse it with its failure result and draw nothing on the other surface; only the stores trace.
#pragma once

#include <gtest/gtest.h>
#include <quelt/quelt.h>

#include <cstring>
#include <string>

#include "support.h"

namespace qtest {

inline void expect_unbacked_refused(sf_surface* unbacked, const char* font) {
  ASSERT_EQ(unbacked->pixels, nullptr);
  TempDir dir;
  sf_face* face = nullptr;
  ASSERT_EQ(sf_face_create(&face, font, 12), 1);
  sf_surface good, mask, out{};
  ASSERT_EQ(sf_create(&good, 8, 8, 4), 1);
  ASSERT_EQ(sf_create(&mask, 3, 3, 1), 1);
  std::memset(mask.pixels, 0xFF, 9);
  good.color = unbacked->color = 0xFFFFFFFF;
  sf_surface& u = *unbacked;
  const struct {
    const char* name;
    long result;
    long (*run)(sf_surface& u, sf_surface& good, sf_surface& mask, sf_surface& out, sf_face* face,
                const std::string& file);
  } table[] = {
      {"sf_blend onto it", 0, [](auto& u, auto& g, auto&, auto&, auto, auto&) -> long { return sf_blend(&u, &g, nullptr, 0, 0, nullptr); }},
      {"sf_blend from it", 0, [](auto& u, auto& g, auto&, auto&, auto, auto&) -> long { return sf_blend(&g, &u, nullptr, 0, 0, nullptr); }},
      {"sf_blend copy", 0, [](auto& u, auto& g, auto&, auto&, auto, auto&) -> long { return sf_blend(&g, &u, nullptr, 0, 0, sf_blend_copy); }},
      {"sf_fill", 0, [](auto& u, auto&, auto&, auto&, auto, auto&) -> long { return sf_fill(&u, nullptr); }},
      {"sf_flip_vertical", 0, [](auto& u, auto&, auto&, auto&, auto, auto&) -> long { sf_flip_vertical(&u, &u); return 0; }},
      {"sf_flip_horizontal", 0, [](auto& u, auto&, auto&, auto&, auto, auto&) -> long { sf_flip_horizontal(&u, &u); return 0; }},
      {"sf_duplicate", 0, [](auto& u, auto&, auto&, auto& o, auto, auto&) -> long { return sf_duplicate(&o, &u); }},
      {"sf_enlarge", 0, [](auto& u, auto&, auto&, auto&, auto, auto&) -> long { return sf_enlarge(&u, 1, 1, 1, 1); }},
      {"sf_contrast", -255, [](auto& u, auto&, auto&, auto&, auto, auto&) -> long { return sf_contrast(&u, 1, 1, 0); }},
      {"sf_convert", 0, [](auto& u, auto&, auto&, auto& o, auto, auto&) -> long {
         return sf_convert(&o, &u, 4, [](uint8_t* d, const uint8_t* s) -> int32_t { std::memcpy(d, s, 4); return 1; }); }},
      {"sf_threshold", 0, [](auto& u, auto&, auto&, auto&, auto, auto&) -> long { return sf_threshold(&u); }},
      {"sf_grayscale 0", 0, [](auto& u, auto&, auto&, auto&, auto, auto&) -> long { return sf_grayscale(&u, 0); }},
      {"sf_grayscale 1", 0, [](auto& u, auto&, auto&, auto&, auto, auto&) -> long { return sf_grayscale(&u, 1); }},
      {"sf_negative", 0, [](auto& u, auto&, auto&, auto&, auto, auto&) -> long { return sf_negative(&u); }},
      {"sf_adjust", 0, [](auto& u, auto&, auto&, auto&, auto, auto&) -> long { return sf_adjust(&u, 2, 1, 0); }},
      {"sf_smooth", 0, [](auto& u, auto&, auto&, auto&, auto, auto&) -> long { return sf_smooth(&u); }},
      {"sf_strip", 0, [](auto& u, auto&, auto&, auto&, auto, auto&) -> long { return sf_strip(&u); }},
      {"sf_kernel", 0, [](auto& u, auto&, auto&, auto&, auto, auto&) -> long {
         static const float w[9] = {0, 0, 0, 0, 1, 0, 0, 0, 0};
         return sf_kernel(&u, w, 3, 3); }},
      {"sf_line", 1, [](auto& u, auto&, auto&, auto&, auto, auto&) -> long { return sf_line(&u, 1, 1, 50, 30, 0xFFFFFF); }},
      {"sf_frame", 0, [](auto& u, auto&, auto&, auto&, auto, auto&) -> long {
         const sf_rect r{0, 0, 40, 40}; sf_frame(&u, &r, 0xFFFFFFFF, 0xFF000000, 3); return 0; }},
      {"sf_shape onto it", 0, [](auto& u, auto&, auto& m, auto&, auto, auto&) -> long {
         const sf_rect r{0, 0, 40, 40}; sf_shape(&u, &m, &r); return 0; }},
      {"sf_shape from it", 0, [](auto& u, auto& g, auto&, auto&, auto, auto&) -> long {
         const sf_rect r{0, 0, 8, 8}; sf_shape(&g, &u, &r); return 0; }},
      {"sf_face_string", 0, [](auto& u, auto&, auto&, auto&, auto f, auto&) -> long {
         static const uint16_t t[] = {'H', 'i', 0}; sf_face_string(f, &u, t, -1, 2, 2); return 0; }},
      {"sf_face_glyph", 0, [](auto& u, auto&, auto&, auto&, auto f, auto&) -> long { return sf_face_glyph(f, &u, 'H', 2, 2); }},
      {"sf_image_store bmp", 0, [](auto& u, auto&, auto&, auto&, auto, auto& file) -> long {
         return sf_image_store(&u, (file + ".bmp").c_str()); }},
      {"sf_image_store png", 0, [](auto& u, auto&, auto&, auto&, auto, auto& file) -> long {
         return sf_image_store(&u, (file + ".png").c_str()); }},
  };
  for (const auto& op : table) {
    SCOPED_TRACE(op.name);
    std::memset(good.pixels, 0x40, 8 * 8 * 4);
    sf_surface before = u;
    Stdout out_text;
    EXPECT_EQ(op.run(u, good, mask, out, face, dir.path("out")), op.result);
    // The stores trace their refusal; everything else is silent.
    EXPECT_EQ(out_text.text().empty(), std::string(op.name).rfind("sf_image_store", 0) != 0) << out_text.text();
    EXPECT_EQ(u.pixels, nullptr);
    EXPECT_EQ(u.width, before.width);
    for (int i = 0; i < 8 * 8 * 4; ++i) ASSERT_EQ(good.pixels[i], 0x40);
    sf_release(&out);
  }
  sf_release(&good);
  sf_release(&mask);
  sf_face_release(&face);
}

}  // namespace qtest
