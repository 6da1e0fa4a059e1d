#include <quelt/surface/clip.h>

#include <algorithm>
#include <cstdint>

namespace {

// A rectangle with 64-bit edges: placing a source at x near INT32_MAX must not wrap.
struct wide_rect {
  int64_t left, top, right, bottom;
};

wide_rect widen(const sf_rect& r) { return {r.left, r.top, r.right, r.bottom}; }
sf_rect narrow(const wide_rect& r) {
  return {static_cast<int32_t>(r.left), static_cast<int32_t>(r.top), static_cast<int32_t>(r.right),
          static_cast<int32_t>(r.bottom)};
}

template <class R>
bool valid(const R& r) {
  return r.right >= r.left && r.bottom >= r.top;
}

template <class A, class B>
bool overlap(const A& a, const B& b) {
  if (!valid(a) || !valid(b)) return false;
  if (a.right <= b.left) return false;
  if (a.bottom <= b.top) return false;
  if (a.left >= b.right) return false;
  if (a.top >= b.bottom) return false;
  return true;
}

}  // namespace

extern "C" {

int32_t sf_rect_valid(const sf_rect* rect) { return valid(*rect); }

int32_t sf_rect_overlap(const sf_rect* a, const sf_rect* b) { return overlap(*a, *b); }

int32_t sf_rect_clip(const sf_rect* limit, sf_rect* rect) {
  if (!valid(*limit) || !valid(*rect)) return 0;
  rect->left = std::max(rect->left, limit->left);
  rect->top = std::max(rect->top, limit->top);
  rect->right = std::min(rect->right, limit->right);
  rect->bottom = std::min(rect->bottom, limit->bottom);
  return overlap(*limit, *rect);
}

int32_t sf_clip(sf_clip_result* result, const sf_rect* dst_bounds, const sf_rect* dst_clip,
                const sf_rect* src_bounds, const sf_rect* src_rect, int32_t x, int32_t y) {
  sf_rect b = *dst_clip;
  wide_rect d = widen(*src_rect);
  if (!overlap(*dst_bounds, b) || !overlap(*src_bounds, d)) return 0;

  // The source rectangle is narrowed to the source; the position stays with what is left.
  d.left = std::max<int64_t>(d.left, src_bounds->left);
  d.top = std::max<int64_t>(d.top, src_bounds->top);
  d.right = std::min<int64_t>(d.right, src_bounds->right);
  d.bottom = std::min<int64_t>(d.bottom, src_bounds->bottom);
  if (!overlap(*src_bounds, d)) return 0;

  if (!sf_rect_clip(dst_bounds, &b)) return 0;

  wide_rect t{x, y, x + (d.right - d.left), y + (d.bottom - d.top)};
  if (!overlap(b, t)) return 0;

  int64_t dl = x < b.left ? b.left - x : 0;
  int64_t dt = y < b.top ? b.top - y : 0;
  int64_t dr = t.right > b.right ? t.right - b.right : 0;
  int64_t db = t.bottom > b.bottom ? t.bottom - b.bottom : 0;

  t = {t.left + dl, t.top + dt, t.right - dr, t.bottom - db};
  if (!overlap(b, t)) return 0;
  d = {d.left + dl, d.top + dt, d.right - dr, d.bottom - db};
  if (!overlap(*src_bounds, d)) return 0;

  result->dst = narrow(t);
  result->src = narrow(d);
  return 1;
}

}  // extern "C"
