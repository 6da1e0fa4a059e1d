// Drawing and filters with arbitrary arguments: lines at any float coordinates, masks of any
// radius up to a bound, frames and shapes at any rectangle and thickness, filters on surfaces of
// any small size and pixel size, and all of them on a surface that has a size but no pixels (a
// window's after its bitmap could not be made). Nothing may crash, overrun, hang or leak.
#include <fuzzer/FuzzedDataProvider.h>
#include <quelt/quelt.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

sf_rect any_rect(FuzzedDataProvider& in) {
  sf_rect r;
  r.left = in.ConsumeIntegral<int32_t>();
  r.top = in.ConsumeIntegral<int32_t>();
  // Either any edge at all, or one near the opposite edge (kept within the 32-bit range).
  const auto near = [&](int32_t from) {
    return static_cast<int32_t>(std::clamp<int64_t>(int64_t(from) + in.ConsumeIntegralInRange(-4, 80), INT32_MIN, INT32_MAX));
  };
  r.right = in.ConsumeBool() ? in.ConsumeIntegral<int32_t>() : near(r.left);
  r.bottom = in.ConsumeBool() ? in.ConsumeIntegral<int32_t>() : near(r.top);
  return r;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  sf_surface target;
  if (!sf_create(&target, in.ConsumeIntegralInRange(0, 64), in.ConsumeIntegralInRange(0, 64), 4)) return 0;
  // The target starts as one repeated pixel, so that the rest of the input drives operations.
  const uint32_t start = in.ConsumeIntegral<uint32_t>();
  for (int32_t i = 0; i < target.width * target.height; ++i) std::memcpy(target.pixels + 4 * i, &start, 4);
  target.color = in.ConsumeIntegral<uint32_t>();
  // A surface of any size without a buffer: every operation must refuse it.
  uint8_t* const pixels = target.pixels;
  if (in.ConsumeBool()) {
    target.width = in.ConsumeIntegral<int32_t>();
    target.height = in.ConsumeIntegral<int32_t>();
    target.pixels = nullptr;
  }

  while (in.remaining_bytes() > 0) {
    switch (in.ConsumeIntegralInRange(0, 6)) {
      case 0: {
        const float x0 = in.ConsumeFloatingPoint<float>(), y0 = in.ConsumeFloatingPoint<float>();
        const float x1 = in.ConsumeBool() ? in.ConsumeFloatingPoint<float>() : x0 + in.ConsumeFloatingPointInRange(-90.f, 90.f);
        const float y1 = in.ConsumeBool() ? in.ConsumeFloatingPoint<float>() : y0 + in.ConsumeFloatingPointInRange(-90.f, 90.f);
        sf_line(&target, x0, y0, x1, y1, in.ConsumeIntegral<uint32_t>());
        break;
      }
      case 1:
      case 2: {
        // Mask radius bounded to keep allocations small; NaN, infinities and negatives pass.
        float radius = in.ConsumeFloatingPoint<float>();
        if (std::fabs(radius) > 60.0f) radius = std::fmod(radius, 60.0f);
        sf_surface mask;
        if (!sf_render_ring(&mask, radius, in.ConsumeFloatingPoint<float>())) break;
        if (in.ConsumeBool() && mask.pixels) mask.pixels[mask.width * mask.height / 2] = in.ConsumeIntegral<uint8_t>();
        const sf_rect r = any_rect(in);
        sf_shape(&target, &mask, &r);
        sf_release(&mask);
        break;
      }
      case 3: {
        const sf_rect r = any_rect(in);
        sf_frame(&target, &r, in.ConsumeIntegral<uint32_t>(), in.ConsumeIntegral<uint32_t>(), in.ConsumeIntegral<int32_t>());
        break;
      }
      case 4: {
        sf_surface s;
        const int32_t w = in.ConsumeIntegralInRange(0, 40), h = in.ConsumeIntegralInRange(0, 40);
        if (!sf_create(&s, w, h, in.ConsumeIntegralInRange(1, 6))) break;
        if (s.pixels) in.ConsumeData(s.pixels, size_t(w) * h * s.bytes_per_pixel);
        sf_smooth(&s);
        sf_threshold(&s);
        sf_negative(&s);
        sf_adjust(&s, in.ConsumeFloatingPoint<float>(), in.ConsumeFloatingPoint<float>(), in.ConsumeFloatingPoint<float>());
        sf_grayscale(&s, in.ConsumeIntegral<int32_t>());
        sf_release(&s);
        break;
      }
      case 5: {
        // Filters, the skip table and a 3 × 3 kernel on the target itself.
        float weights[9];
        for (float& w : weights) w = in.ConsumeFloatingPointInRange(-2.f, 2.f);
        sf_threshold(&target);
        sf_negative(&target);
        sf_adjust(&target, in.ConsumeFloatingPoint<float>(), in.ConsumeFloatingPoint<float>(), in.ConsumeFloatingPoint<float>());
        sf_grayscale(&target, 0);
        sf_smooth(&target);
        sf_strip(&target);
        sf_kernel(&target, weights, 3, 3);
        sf_fill(&target, nullptr);
        break;
      }
      default:
        target.color = in.ConsumeIntegral<uint32_t>();
        target.anchor_x = in.ConsumeFloatingPoint<float>();
        target.anchor_y = in.ConsumeFloatingPoint<float>();
        break;
    }
  }
  target.pixels = pixels;
  sf_release(&target);
  return 0;
}
