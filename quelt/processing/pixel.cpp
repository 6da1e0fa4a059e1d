#include <quelt/processing/pixel.h>

extern "C" {

void sf_pixel_alphablend_outline(uint32_t* out, const uint8_t* fg, const uint8_t* bg) {
  if (!out || !fg || !bg) return;
  const uint32_t fa = fg[3], ba = bg[3];
  const uint32_t a = fa + (255 - fa) * ba / 255;
  // The weight in this grouping equals 255 × fa / A in exact numbers; A = 0 (both alphas 0)
  // divides by 1 instead, and fa = 0 then makes the weight 0.
  const double d = a ? static_cast<double>(a) : 1.0;
  const double wide = fa + (255 - ba) / 255.0 * (255 - fa) * fa / d;
  // 0 ≤ wide ≤ 255 holds for every pair of alphas; the clamp only guards the conversion.
  const uint32_t w = wide <= 0.0 ? 0 : wide >= 255.0 ? 255 : static_cast<uint32_t>(wide);
  uint32_t word = a << 24;
  for (int i = 0; i < 3; ++i) word |= ((bg[i] * (255 - w) + fg[i] * w) / 255) << (8 * i);
  *out = word;
}

}  // extern "C"
