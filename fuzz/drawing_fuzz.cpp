// Drawing, blending and filters with arbitrary arguments: lines at any float coordinates, masks
// of any radius up to a bound, frames and shapes at any rectangle and thickness, blends of every
// kernel from any rectangle, fills, clip stacks and filters on surfaces of any small size and
// pixel size, and all of those on a target that has a size but no pixels (as a window's surface
// after its bitmap could not be made), whatever that size. Nothing may crash, overrun, hang or
// leak.
//
// The input is read from the front, field by field (little-endian, missing bytes read as 0), so
// that a seed file can be written by hand: the target's width and height (1 byte each, up to 64),
// its colour (4 bytes), then operations, each one opcode byte followed by its arguments in the
// order the code below reads them. The seeds in fuzz/corpus/drawing each exercise one opcode.
#include <quelt/quelt.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

struct input {
  const uint8_t* at;
  size_t left;

  template <class T>
  T take() {
    T v{};
    const size_t n = std::min(sizeof v, left);
    std::memcpy(&v, at, n);
    at += n, left -= n;
    return v;
  }
  int32_t up_to(int32_t most) { return take<uint8_t>() % (most + 1); }
  float real() { return take<float>(); }
  sf_rect rect() { return sf_rect{take<int32_t>(), take<int32_t>(), take<int32_t>(), take<int32_t>()}; }
  // Fills the buffer from the input, repeating it, so that short inputs give whole pictures.
  void fill(uint8_t* p, size_t n) {
    for (size_t i = 0; i < n && left; ++i) p[i] = at[i % left];
  }
};

// A small surface of any pixel size from 1 to 4 with pixels from the input; false when none.
bool any_surface(input& in, sf_surface* s) {
  const int32_t w = in.up_to(40), h = in.up_to(40), bpp = 1 + in.up_to(3);
  if (!sf_create(s, w, h, bpp)) return false;
  if (s->pixels) in.fill(s->pixels, size_t(w) * size_t(h) * size_t(bpp));
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  if (!std::freopen("/dev/null", "w", stdout)) std::abort();  // the failure traces of refused calls
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  input in{data, size};
  sf_surface target;
  if (!sf_create(&target, in.up_to(64), in.up_to(64), 4)) return 0;
  target.color = in.take<uint32_t>();
  if (target.pixels) in.fill(target.pixels, size_t(target.width) * size_t(target.height) * 4);
  uint8_t* const owned = target.pixels;  // given back before the release

  for (int ops = 0; in.left > 0 && ops < 64; ++ops) {
    switch (in.take<uint8_t>() % 10) {
      case 0: {
        const float x0 = in.real(), y0 = in.real(), x1 = in.real(), y1 = in.real();
        sf_line(&target, x0, y0, x1, y1, in.take<uint32_t>());
        break;
      }
      case 1: {
        // Mask radius bounded to keep allocations small; NaN, infinities and negatives pass.
        float radius = in.real();
        if (std::fabs(radius) > 60.0f) radius = std::fmod(radius, 60.0f);
        sf_surface mask;
        if (!sf_render_ring(&mask, radius, in.real())) break;
        const sf_rect r = in.rect();
        sf_shape(&target, &mask, &r);
        sf_blend(&target, &mask, nullptr, in.take<int32_t>(), in.take<int32_t>(), nullptr);
        sf_release(&mask);
        break;
      }
      case 2: {
        const sf_rect r = in.rect();
        const uint32_t light = in.take<uint32_t>(), dark = in.take<uint32_t>();
        sf_frame(&target, &r, light, dark, in.take<int32_t>());
        break;
      }
      case 3: {
        sf_surface s;
        if (!any_surface(in, &s)) break;
        sf_smooth(&s);
        sf_threshold(&s);
        sf_negative(&s);
        const float gamma = in.real(), gain = in.real(), offset = in.real();
        sf_adjust(&s, gamma, gain, offset);
        sf_grayscale(&s, in.take<int8_t>());
        sf_strip(&s);
        sf_blend(&target, &s, nullptr, in.take<int8_t>(), in.take<int8_t>(), nullptr);
        sf_release(&s);
        break;
      }
      case 4: {
        // A source of any pixel size through every kernel, from any rectangle, with its skip table.
        sf_surface s;
        if (!any_surface(in, &s)) break;
        if (in.take<uint8_t>() & 1) sf_strip(&s);
        const sf_rect r = in.rect();
        static const sf_blend_kernel kernels[] = {nullptr, sf_blend_4b4b, sf_blend_4b3b, sf_blend_4b1b, sf_blend_copy};
        const sf_blend_kernel k = kernels[in.take<uint8_t>() % 5];
        const bool whole = in.take<uint8_t>() & 1;
        sf_blend(&target, &s, whole ? nullptr : &r, in.take<int32_t>(), in.take<int32_t>(), k);
        sf_release(&s);
        break;
      }
      case 5: {
        const sf_rect r = in.rect();
        sf_fill(&target, in.take<uint8_t>() & 1 ? &r : nullptr);
        break;
      }
      case 6: {
        // The clip stack: a push narrows what the next operations may touch, a pop restores.
        sf_rect r = in.rect();
        if (in.take<uint8_t>() & 1)
          sf_push(&target, &r);
        else
          sf_pop(&target);
        break;
      }
      case 7: {
        // A surface onto itself, overlapping.
        const sf_rect r = in.rect();
        sf_blend(&target, &target, &r, in.take<int8_t>(), in.take<int8_t>(), in.take<uint8_t>() & 1 ? sf_blend_copy : nullptr);
        break;
      }
      case 9:
        // The target loses its pixels, keeping its size or taking any other: every later
        // operation must refuse it without walking that size.
        target.pixels = nullptr;
        if (in.take<uint8_t>() & 1) target.width = in.take<int32_t>(), target.height = in.take<int32_t>();
        break;
      default:
        target.color = in.take<uint32_t>();
        target.anchor_x = in.real();
        target.anchor_y = in.real();
        break;
    }
  }
  while (target.clip_stack && sf_pop(&target)) {
  }
  target.pixels = owned;
  sf_release(&target);
  return 0;
}
