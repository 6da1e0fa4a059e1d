#include <quelt/math/mathlib.h>

#include <cmath>

namespace {

// Every expression is evaluated in this wide format and rounded to float only where a result
// component is stored (by the conversion that `to_float` makes explicit).
using wide = long double;

inline float to_float(wide v) { return static_cast<float>(v); }

inline float length3(mv3 a) {
  return to_float(std::sqrt((wide{a.x} * a.x + wide{a.y} * a.y) + wide{a.z} * a.z));
}

inline float length2(mv2 a) { return to_float(std::sqrt(wide{a.x} * a.x + wide{a.y} * a.y)); }

inline mv3 sub3(mv3 a, mv3 b) { return {to_float(wide{a.x} - b.x), to_float(wide{a.y} - b.y), to_float(wide{a.z} - b.z)}; }

// The divisor is the length already rounded to float; the quotient rounds once more.
inline mv3 normal3(mv3 a) {
  const wide l = length3(a);
  return {to_float(a.x / l), to_float(a.y / l), to_float(a.z / l)};
}

inline mv3 cross3(mv3 a, mv3 b) {
  return {to_float(wide{a.y} * b.z - wide{a.z} * b.y), to_float(wide{a.z} * b.x - wide{a.x} * b.z),
          to_float(wide{a.x} * b.y - wide{a.y} * b.x)};
}

inline mm44 identity() {
  mm44 r{};
  r.m[0] = r.m[5] = r.m[10] = r.m[15] = 1.0f;
  return r;
}

inline mm44 product(const mm44& a, const mm44& b) {
  mm44 r;
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j)
      r.m[i * 4 + j] = to_float(((wide{a.m[i * 4]} * b.m[j] + wide{a.m[i * 4 + 1]} * b.m[4 + j]) +
                                 wide{a.m[i * 4 + 2]} * b.m[8 + j]) +
                                wide{a.m[i * 4 + 3]} * b.m[12 + j]);
  return r;
}

struct sine_cosine {
  float s, c;
};
// Double-precision sine and cosine of the float angle, each rounded to float.
inline sine_cosine turn(float angle) {
  return {static_cast<float>(std::sin(static_cast<double>(angle))),
          static_cast<float>(std::cos(static_cast<double>(angle)))};
}

}  // namespace

extern "C" {

float mv3_length(mv3 a) { return length3(a); }
mv3 mv3_normal(mv3 a) { return normal3(a); }
mv3 mv3_cross(mv3 a, mv3 b) { return cross3(a, b); }
float mv3_dot(mv3 a, mv3 b) { return to_float((wide{a.x} * b.x + wide{a.y} * b.y) + wide{a.z} * b.z); }
mv3 mv3_add(mv3 a, mv3 b) { return {to_float(wide{a.x} + b.x), to_float(wide{a.y} + b.y), to_float(wide{a.z} + b.z)}; }
mv3 mv3_sub(mv3 a, mv3 b) { return sub3(a, b); }
mv3 mv3_mul(mv3 a, float s) { return {to_float(wide{a.x} * s), to_float(wide{a.y} * s), to_float(wide{a.z} * s)}; }
mv3 mv3_div(mv3 a, float s) { return {to_float(wide{a.x} / s), to_float(wide{a.y} / s), to_float(wide{a.z} / s)}; }

float mv2_length(mv2 a) { return length2(a); }
mv2 mv2_normal(mv2 a) {
  const wide l = length2(a);
  return {to_float(a.x / l), to_float(a.y / l)};
}
float mv2_dot(mv2 a, mv2 b) { return to_float(wide{a.x} * b.x + wide{a.y} * b.y); }
mv2 mv2_add(mv2 a, mv2 b) { return {to_float(wide{a.x} + b.x), to_float(wide{a.y} + b.y)}; }
mv2 mv2_sub(mv2 a, mv2 b) { return {to_float(wide{a.x} - b.x), to_float(wide{a.y} - b.y)}; }
mv2 mv2_mul(mv2 a, float s) { return {to_float(wide{a.x} * s), to_float(wide{a.y} * s)}; }
mv2 mv2_div(mv2 a, float s) { return {to_float(wide{a.x} / s), to_float(wide{a.y} / s)}; }

mm44 mm44_identity(void) { return identity(); }

mv4 mm44_mulv4(mm44 m, mv4 v) {
  mv4 r;
  float* out[4] = {&r.x, &r.y, &r.z, &r.w};
  for (int i = 0; i < 4; ++i)
    *out[i] = to_float(((wide{m.m[i * 4]} * v.x + wide{m.m[i * 4 + 1]} * v.y) + wide{m.m[i * 4 + 2]} * v.z) +
                       wide{m.m[i * 4 + 3]} * v.w);
  return r;
}

mv3 mm44_mulv3(mm44 m, mv3 v) {
  mv3 r;
  float* out[3] = {&r.x, &r.y, &r.z};
  for (int i = 0; i < 3; ++i)
    *out[i] = to_float(((wide{m.m[i * 4]} * v.x + wide{m.m[i * 4 + 1]} * v.y) + wide{m.m[i * 4 + 2]} * v.z) +
                       m.m[12 + i]);
  return r;
}

mm44 mm44_mulmm44(mm44 a, mm44 b) { return product(a, b); }

mm44 mm44_rotate_x(float angle) {
  const sine_cosine t = turn(angle);
  mm44 r = identity();
  r.m[5] = t.c;
  r.m[6] = -t.s;
  r.m[9] = t.s;
  r.m[10] = t.c;
  return r;
}

mm44 mm44_rotate_y(float angle) {
  const sine_cosine t = turn(angle);
  mm44 r = identity();
  r.m[0] = t.c;
  r.m[2] = t.s;
  r.m[8] = -t.s;
  r.m[10] = t.c;
  return r;
}

mm44 mm44_rotate_z(float angle) {
  const sine_cosine t = turn(angle);
  mm44 r = identity();
  r.m[0] = t.c;
  r.m[1] = -t.s;
  r.m[4] = t.s;
  r.m[5] = t.c;
  return r;
}

mm44 mm44_rotate(float x, float y, float z) {
  return product(mm44_rotate_x(x), product(mm44_rotate_y(y), mm44_rotate_z(z)));
}

mm44 mm44_lookat(mv3 eye, mv3 target, mv3 up) {
  const mv3 f = normal3(sub3(target, eye));
  const mv3 s = normal3(cross3(up, f));
  const mv3 u = cross3(f, s);
  const mm44 axes = {{s.x, u.x, f.x, 0.0f, s.y, u.y, f.y, 0.0f, s.z, u.z, f.z, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f}};
  mm44 move = identity();
  move.m[12] = -eye.x;
  move.m[13] = -eye.y;
  move.m[14] = -eye.z;
  return product(move, axes);
}

}  // extern "C"
