// Every operation that reads or writes pixels, on a surface that has a size but no pixels (as a
// window's surface after its bitmap could not be made): each refuses, draws nothing, prints nothing
// and leaves the record as it was. Shared by the surface suite and the window suite.
#pragma once

#include "support.h"

namespace qtest {

inline void expect_refused_without_pixels(sf_surface* bare, const char* font_path) {
  ASSERT_EQ(bare->pixels, nullptr);
  Surf good(4, 4, 4, noise(64, 1)), ring;
  ASSERT_EQ(sf_render_ring(&ring, 3.0f, 1.0f), 1);
  good.color = 0xFF102030, bare->color = 0xFF405060, bare->anchor_x = bare->anchor_y = 0.5f;
  sf_face* face = nullptr;
  ASSERT_EQ(sf_face_create(&face, font_path, 12), 1);
  const uint16_t text[] = {'H', 'i', 0};
  const sf_rect r{0, 0, 4, 4};
  const float weights[] = {0.25f, 0.5f, 0.25f};
  TempDir dir;
  const std::string bmp = dir.path("x.bmp"), png = dir.path("x.png");
  // Filters whose result is always 1 keep it; nothing is drawn all the same.
  struct Row { const char* name; std::function<int32_t()> call; int32_t want; };
  const Row rows[] = {
      {"sf_blend onto", [&] { return sf_blend(bare, &good, nullptr, 0, 0, nullptr); }, 0},
      {"sf_blend from", [&] { return sf_blend(&good, bare, nullptr, 0, 0, nullptr); }, 0},
      {"sf_blend_4b4b", [&] { sf_blend_4b4b(bare, r, &good, r); sf_blend_4b4b(&good, r, bare, r); return 0; }, 0},
      {"sf_blend_4b1b", [&] { sf_blend_4b1b(bare, r, &ring, r); return 0; }, 0}, {"sf_fill", [&] { return sf_fill(bare, nullptr); }, 0},
      {"sf_blend_4b3b", [&] { sf_blend_4b3b(&good, r, bare, r); return 0; }, 0}, {"sf_strip", [&] { return sf_strip(bare); }, 0},
      {"sf_blend_copy", [&] { sf_blend_copy(bare, r, &good, r); sf_blend_copy(&good, r, bare, r); return 0; }, 0},
      {"sf_frame", [&] { sf_frame(bare, &r, 0xFFFFFFFF, 0xFF000000, 2); return 0; }, 0},
      {"sf_shape", [&] { sf_shape(bare, &ring, &r); sf_shape(&good, bare, &r); return 0; }, 0},
      {"sf_line", [&] { return sf_line(bare, 0, 0, 50, 20, 0xFFFFFF); }, 1}, {"sf_smooth", [&] { return sf_smooth(bare); }, 0},
      {"sf_face_string", [&] { sf_face_string(face, bare, text, 0, 10, 10); return 0; }, 0},
      {"sf_face_glyph", [&] { return sf_face_glyph(face, bare, 'H', 10, 10); }, 0},
      {"sf_flips", [&] { sf_flip_vertical(bare, bare); sf_flip_horizontal(bare, bare); return 0; }, 0},
      {"sf_contrast", [&] { return sf_contrast(bare, 1, 1, 0); }, -255}, {"sf_threshold", [&] { return sf_threshold(bare); }, 1},
      {"sf_grayscale", [&] { return sf_grayscale(bare, 0); }, 1}, {"sf_negative", [&] { return sf_negative(bare); }, 1},
      {"sf_adjust", [&] { return sf_adjust(bare, 1.0f, 1.0f, 0.0f); }, 1}, {"sf_enlarge", [&] { return sf_enlarge(bare, 1, 1, 1, 1); }, 0},
      {"sf_kernel", [&] { return sf_kernel(bare, weights, 3, 1); }, 0},
      {"sf_image_bmp_store", [&] { return sf_image_bmp_store(bare, bmp.c_str()); }, 0},
      {"sf_image_png_store", [&] { return sf_image_png_store(bare, png.c_str()) + sf_image_store(bare, png.c_str()); }, 0},
      {"expand_2432", [&] { sf_image_bmp_expand_2432(bare, 255); sf_image_png_expand_2432(bare, 255); return 0; }, 0},
  };
  for (const Row& row : rows) {
    const sf_surface before = *bare;
    const std::vector<uint8_t> good_before = good.bytes();
    Stdout out;
    EXPECT_EQ(row.call(), row.want) << row.name;
    // The stores trace the way out of a call that wrote nothing; nothing else prints.
    EXPECT_TRUE(std::strstr(row.name, "store") || out.text().empty()) << row.name << " printed";
    EXPECT_EQ(std::memcmp(&before, bare, sizeof before), 0) << row.name << " changed the record";
    EXPECT_EQ(good.bytes(), good_before) << row.name << " drew";
  }
  EXPECT_TRUE(!std::fopen(bmp.c_str(), "rb") && !std::fopen(png.c_str(), "rb")) << "a store made a file";
  sf_face_release(&face);
}

}  // namespace qtest
