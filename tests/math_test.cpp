// Vectors and matrices: results against the same expressions in long double, rounded to float
// exactly where the library promises to round, plus the fixed cases of the geometry.
#include <cfloat>

#include "support.h"

namespace {

using L = long double;
float f(L v) { return static_cast<float>(v); }
// Bit-for-bit equality, so that a result one rounding away is caught.
bool same(float a, float b) { return std::memcmp(&a, &b, sizeof a) == 0 || (a != a && b != b); }

std::mt19937 gen{2024};
float rnd() {  // both signs, exponents from 2^−20 to 2^20
  return std::ldexp(std::uniform_real_distribution<float>(-1, 1)(gen), std::uniform_int_distribution<int>(-20, 20)(gen));
}
mv3 rnd3() { return {rnd(), rnd(), rnd()}; }

// Row i of m times (x, y, z, w), left to right, rounded once.
float row(const mm44& m, int i, float x, float y, float z, float w) {
  return f(((L(m.m[i * 4]) * x + L(m.m[i * 4 + 1]) * y) + L(m.m[i * 4 + 2]) * z) + L(m.m[i * 4 + 3]) * w);
}
mm44 product(const mm44& a, const mm44& b) {
  mm44 r;
  for (int i = 0; i < 16; ++i) r.m[i] = row(a, i / 4, b.m[i % 4], b.m[4 + i % 4], b.m[8 + i % 4], b.m[12 + i % 4]);
  return r;
}
void expect_same(const mm44& a, const mm44& b) { EXPECT_TRUE(std::equal(a.m, a.m + 16, b.m, same)); }

TEST(Vectors, RoundOncePerComponentAfterWideWork) {
  for (int i = 0; i < 2000; ++i) {
    const mv3 a = rnd3(), b = rnd3();
    const float s = rnd(), l = f(std::sqrt((L(a.x) * a.x + L(a.y) * a.y) + L(a.z) * a.z));
    EXPECT_PRED2(same, mv3_dot(a, b), f((L(a.x) * b.x + L(a.y) * b.y) + L(a.z) * b.z));
    EXPECT_PRED2(same, mv3_length(a), l);
    const mv3 got[] = {mv3_normal(a), mv3_cross(a, b), mv3_add(a, b), mv3_sub(a, b), mv3_mul(a, s), mv3_div(a, s)};
    const float *pa = &a.x, *pb = &b.x;
    for (int k = 0; k < 3; ++k) {
      const int k1 = (k + 1) % 3, k2 = (k + 2) % 3;
      // Single operations round the same in float arithmetic; the division is a true one.
      const float want[] = {f(pa[k] / L(l)), f(L(pa[k1]) * pb[k2] - L(pa[k2]) * pb[k1]), pa[k] + pb[k],
                            pa[k] - pb[k], pa[k] * s, pa[k] / s};
      for (int op = 0; op < 6; ++op) EXPECT_PRED2(same, (&got[op].x)[k], want[op]) << "operation " << op;
    }
    // A 2-vector rounds as the 3-vector with z = 0, whose results were checked just above.
    const mv2 a2{a.x, a.y}, b2{b.x, b.y};
    const mv3 a0{a.x, a.y, 0}, b0{b.x, b.y, 0};
    const mv2 got2[] = {mv2_normal(a2), mv2_add(a2, b2), mv2_sub(a2, b2), mv2_mul(a2, s), mv2_div(a2, s), {mv2_dot(a2, b2), mv2_length(a2)}};
    const mv3 want2[] = {mv3_normal(a0), mv3_add(a0, b0), mv3_sub(a0, b0), mv3_mul(a0, s), mv3_div(a0, s), {mv3_dot(a0, b0), mv3_length(a0)}};
    for (int op = 0; op < 6; ++op) EXPECT_TRUE(same(got2[op].x, want2[op].x) && same(got2[op].y, want2[op].y)) << "2-vector operation " << op;
  }
  // A sum that double evaluation, and not only float, would get wrong.
  if (LDBL_MANT_DIG >= 64) EXPECT_EQ(mv3_dot({1, 0x1p-30f, -1}, {1, 0x1p-30f, 1}), 0x1p-60f);
  const mv3 z = mv3_normal({0, 0, 0});
  const mv2 d = mv2_div({1, -1}, 0);  // no special case for length 0, nor for a division by 0
  EXPECT_TRUE(std::isnan(z.x) && std::isnan(z.y) && std::isnan(z.z) && d.x == INFINITY && d.y == -INFINITY);
}

TEST(Matrices, ProductsRotationsAndViews) {
  float (*s)(float) = [](float t) { return float(std::sin(double(t))); }, (*c)(float) = [](float t) { return float(std::cos(double(t))); };
  for (int i = 0; i < 500; ++i) {
    mm44 a, b;
    for (int k = 0; k < 16; ++k) a.m[k] = rnd(), b.m[k] = rnd();
    const mv4 v{rnd(), rnd(), rnd(), rnd()};
    expect_same(mm44_mulmm44(a, b), product(a, b));
    const mv4 r = mm44_mulv4(a, v);
    for (int k = 0; k < 4; ++k) EXPECT_PRED2(same, (&r.x)[k], row(a, k, v.x, v.y, v.z, v.w));
    const mv3 r3 = mm44_mulv3(a, {v.x, v.y, v.z});
    for (int k = 0; k < 3; ++k) {  // mulv3 takes the translation from the last row, weight 1
      mm44 t = a;
      t.m[k * 4 + 3] = a.m[12 + k];
      EXPECT_PRED2(same, (&r3.x)[k], row(t, k, v.x, v.y, v.z, 1));
    }
    const float x = rnd(), y = rnd(), z = rnd();
    const mm44 rx = {{1, 0, 0, 0, 0, c(x), -s(x), 0, 0, s(x), c(x), 0, 0, 0, 0, 1}}, ry = {{c(y), 0, s(y), 0, 0, 1, 0, 0, -s(y), 0, c(y), 0, 0, 0, 0, 1}},
               rz = {{c(z), -s(z), 0, 0, s(z), c(z), 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}};
    for (auto [got, want] : {std::pair{mm44_rotate(x, y, z), product(rx, product(ry, rz))}, {mm44_rotate_x(x), rx}, {mm44_rotate_y(y), ry}, {mm44_rotate_z(z), rz}})
      expect_same(got, want);
    // A view from the vector steps (checked above), with the translation as −eye on the left.
    const mv3 eye = rnd3(), target = rnd3(), up = rnd3();
    const mv3 fw = mv3_normal(mv3_sub(target, eye)), sd = mv3_normal(mv3_cross(up, fw)), u = mv3_cross(fw, sd);
    const mm44 axes = {{sd.x, u.x, fw.x, 0, sd.y, u.y, fw.y, 0, sd.z, u.z, fw.z, 0, 0, 0, 0, 1}}, move = {{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, -eye.x, -eye.y, -eye.z, 1}};
    expect_same(mm44_lookat(eye, target, up), product(move, axes));
  }
  expect_same(mm44_identity(), {{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}});
  const mm44 lost = mm44_lookat({1, 2, 3}, {1, 2, 3}, {0, 1, 0});
  for (int i : {0, 1, 2, 4, 5, 6, 8, 9, 10}) EXPECT_TRUE(std::isnan(lost.m[i])) << i;
  if (LDBL_MANT_DIG >= 64) {  // 1 + 2^−60 − 1: lost in double, kept in the wide format
    const mm44 a = {{1, 0x1p-30f, -1, 0}}, b = {{1, 0, 0, 0, 0x1p-30f, 0, 0, 0, 1}};
    EXPECT_EQ(mm44_mulmm44(a, b).m[0], 0x1p-60f);
    EXPECT_EQ(mm44_mulv4(a, {1, 0x1p-30f, 1, 0}).x, 0x1p-60f);
  }
}

}  // namespace
