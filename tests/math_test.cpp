// Vectors and matrices: every result against the same expression in long double, rounded to
// float exactly where the library promises to round, plus the fixed cases of the geometry.
#include <gtest/gtest.h>
#include <quelt/math/mathlib.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <random>

namespace {

using L = long double;
float f(L v) { return static_cast<float>(v); }

// Bit-for-bit equality, so that a result one rounding away is caught (NaN equals NaN here).
bool same(float a, float b) { return std::memcmp(&a, &b, sizeof a) == 0 || (a != a && b != b); }
#define EXPECT_SAME(a, b) EXPECT_PRED2(same, a, b)

struct Random {
  std::mt19937 gen{2024};
  // Mantissas over the whole float range of exponents that the products can hold, both signs.
  float operator()() {
    const float m = std::uniform_real_distribution<float>(-1, 1)(gen);
    return std::ldexp(m, std::uniform_int_distribution<int>(-20, 20)(gen));
  }
  mv3 v3() { return {(*this)(), (*this)(), (*this)()}; }
  mm44 m44() {
    mm44 m;
    for (float& e : m.m) e = (*this)();
    return m;
  }
};

mm44 product(const mm44& a, const mm44& b) {
  mm44 r;
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j)
      r.m[i * 4 + j] = f(((L(a.m[i * 4]) * b.m[j] + L(a.m[i * 4 + 1]) * b.m[4 + j]) + L(a.m[i * 4 + 2]) * b.m[8 + j]) +
                         L(a.m[i * 4 + 3]) * b.m[12 + j]);
  return r;
}

void expect_same(const mm44& a, const mm44& b) {
  for (int i = 0; i < 16; ++i) EXPECT_SAME(a.m[i], b.m[i]) << "element " << i;
}

TEST(Vectors, RoundOncePerComponentAfterWideWork) {
  Random rnd;
  for (int i = 0; i < 2000; ++i) {
    const mv3 a = rnd.v3(), b = rnd.v3();
    const float s = rnd();
    EXPECT_SAME(mv3_dot(a, b), f((L(a.x) * b.x + L(a.y) * b.y) + L(a.z) * b.z));
    const float l = f(std::sqrt((L(a.x) * a.x + L(a.y) * a.y) + L(a.z) * a.z));
    EXPECT_SAME(mv3_length(a), l);
    const mv3 n = mv3_normal(a), c = mv3_cross(a, b), sum = mv3_add(a, b), dif = mv3_sub(a, b);
    const mv3 mul = mv3_mul(a, s), div = mv3_div(a, s);
    const float* pa = &a.x;
    const float* pb = &b.x;
    for (int k = 0; k < 3; ++k) {
      const int k1 = (k + 1) % 3, k2 = (k + 2) % 3;
      EXPECT_SAME((&n.x)[k], f(pa[k] / L(l)));
      EXPECT_SAME((&c.x)[k], f(L(pa[k1]) * pb[k2] - L(pa[k2]) * pb[k1]));
      EXPECT_SAME((&sum.x)[k], pa[k] + pb[k]);  // one operation: float arithmetic rounds the same
      EXPECT_SAME((&dif.x)[k], pa[k] - pb[k]);
      EXPECT_SAME((&mul.x)[k], pa[k] * s);
      EXPECT_SAME((&div.x)[k], pa[k] / s);  // a true division
    }
    const mv2 a2{a.x, a.y}, b2{b.x, b.y};
    const float l2 = f(std::sqrt(L(a.x) * a.x + L(a.y) * a.y));
    EXPECT_SAME(mv2_length(a2), l2);
    EXPECT_SAME(mv2_dot(a2, b2), f(L(a.x) * b.x + L(a.y) * b.y));
    EXPECT_SAME(mv2_normal(a2).y, f(a.y / L(l2)));
    EXPECT_SAME(mv2_add(a2, b2).x, a.x + b.x);
    EXPECT_SAME(mv2_sub(a2, b2).y, a.y - b.y);
    EXPECT_SAME(mv2_mul(a2, s).x, a.x * s);
    EXPECT_SAME(mv2_div(a2, s).y, a.y / s);
  }
  // Sums that float, and even double, evaluation would get wrong.
  EXPECT_EQ(mv3_dot({1e8f, 1, -1e8f}, {1, 1, 1}), 1.0f);
  if (LDBL_MANT_DIG >= 64) EXPECT_EQ(mv3_dot({1, 0x1p-30f, -1}, {1, 0x1p-30f, 1}), 0x1p-60f);
  EXPECT_EQ(mv3_cross({1e8f, 1, 0}, {1e8f, 1.0f + 0x1p-23f, 0}).z, f(L(1e8f) * (1.0f + 0x1p-23f) - L(1e8f)));
}

TEST(Vectors, GeometryAndIeeeCases) {
  EXPECT_EQ(mv3_length({3, 4, 0}), 5.0f);
  EXPECT_EQ(mv2_length({3, 4}), 5.0f);
  const mv3 n = mv3_normal({0, 0, 2});
  EXPECT_TRUE(n.x == 0 && n.y == 0 && n.z == 1);
  const mv3 z = mv3_normal({0, 0, 0});
  EXPECT_TRUE(std::isnan(z.x) && std::isnan(z.y) && std::isnan(z.z));
  const mv3 c = mv3_cross({1, 0, 0}, {0, 1, 0});
  EXPECT_TRUE(c.x == 0 && c.y == 0 && c.z == 1);
  const mv3 p = mv3_cross({1, 2, 3}, {2, 4, 6});
  EXPECT_TRUE(p.x == 0 && p.y == 0 && p.z == 0);
  const mv2 d = mv2_div({1, -1}, 0);
  EXPECT_TRUE(std::isinf(d.x) && d.x > 0 && std::isinf(d.y) && d.y < 0);
}

TEST(Matrices, ProductsSumLeftToRightAndRoundPerElement) {
  Random rnd;
  for (int i = 0; i < 500; ++i) {
    const mm44 a = rnd.m44(), b = rnd.m44();
    expect_same(mm44_mulmm44(a, b), product(a, b));
    const mv4 v{rnd(), rnd(), rnd(), rnd()};
    const mv4 r = mm44_mulv4(a, v);
    for (int k = 0; k < 4; ++k)
      EXPECT_SAME((&r.x)[k], f(((L(a.m[k * 4]) * v.x + L(a.m[k * 4 + 1]) * v.y) + L(a.m[k * 4 + 2]) * v.z) +
                               L(a.m[k * 4 + 3]) * v.w));
    const mv3 r3 = mm44_mulv3(a, {v.x, v.y, v.z});
    for (int k = 0; k < 3; ++k)
      EXPECT_SAME((&r3.x)[k],
                  f(((L(a.m[k * 4]) * v.x + L(a.m[k * 4 + 1]) * v.y) + L(a.m[k * 4 + 2]) * v.z) + a.m[12 + k]));
    // Rotations: sine and cosine of the float angle in double, rounded, then X · (Y · Z).
    const float ax = rnd(), ay = rnd(), az = rnd();
    auto s = [](float t) { return float(std::sin(double(t))); };
    auto co = [](float t) { return float(std::cos(double(t))); };
    const mm44 x = {{1, 0, 0, 0, 0, co(ax), -s(ax), 0, 0, s(ax), co(ax), 0, 0, 0, 0, 1}};
    const mm44 y = {{co(ay), 0, s(ay), 0, 0, 1, 0, 0, -s(ay), 0, co(ay), 0, 0, 0, 0, 1}};
    const mm44 zz = {{co(az), -s(az), 0, 0, s(az), co(az), 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}};
    expect_same(mm44_rotate_x(ax), x);
    expect_same(mm44_rotate_y(ay), y);
    expect_same(mm44_rotate_z(az), zz);
    expect_same(mm44_rotate(ax, ay, az), product(x, product(y, zz)));
  }
}

TEST(Matrices, IdentityTranslationsAndViews) {
  Random rnd;
  const mm44 id = mm44_identity(), a = rnd.m44();
  expect_same(mm44_mulmm44(id, a), a);
  expect_same(mm44_mulmm44(a, id), a);
  expect_same(mm44_rotate(0, 0, 0), id);
  if (LDBL_MANT_DIG >= 64) {  // 1 + 2^−60 − 1: lost in double, kept in the wide format
    const mm44 c = {{1, 0x1p-30f, -1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}};
    const mm44 r = {{1, 0, 0, 0, 0x1p-30f, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0}};
    EXPECT_EQ(mm44_mulmm44(c, r).m[0], 0x1p-60f);
    EXPECT_EQ(mm44_mulv4(c, {1, 0x1p-30f, 1, 0}).x, 0x1p-60f);
  }
  const mv4 turned = mm44_mulv4(mm44_rotate_z(3.14159265f / 2), {1, 0, 0, 1});
  EXPECT_NEAR(turned.x, 0, 1e-7);
  EXPECT_EQ(turned.y, 1.0f);
  EXPECT_EQ(turned.w, 1.0f);
  // The translation of mm44_mulv3 sits in the last row, that of mm44_mulv4 in the last column.
  mm44 row = id, column = id;
  row.m[12] = 5;
  column.m[3] = 5;
  EXPECT_EQ(mm44_mulv3(row, {2, 3, 4}).x, 7.0f);
  const mv4 rv = mm44_mulv4(row, {2, 3, 4, 1});
  EXPECT_TRUE(rv.x == 2 && rv.w == 11);
  EXPECT_EQ(mm44_mulv4(column, {2, 3, 4, 1}).x, 7.0f);
  EXPECT_EQ(mm44_mulv3(column, {2, 3, 4}).x, 2.0f);

  expect_same(mm44_lookat({0, 0, 0}, {0, 0, 1}, {0, 1, 0}), id);
  mm44 moved = id;
  moved.m[12] = -1, moved.m[13] = -2, moved.m[14] = -3;
  expect_same(mm44_lookat({1, 2, 3}, {1, 2, 4}, {0, 1, 0}), moved);
  const mm44 lost = mm44_lookat({1, 2, 3}, {1, 2, 3}, {0, 1, 0});
  for (int i : {0, 1, 2, 4, 5, 6, 8, 9, 10}) EXPECT_TRUE(std::isnan(lost.m[i])) << i;
  // A general view: axes from the library's own (already checked) vector steps, rounded where
  // formed, and the translation as a product with −eye on the left.
  const mv3 eye = rnd.v3(), target = rnd.v3(), up = rnd.v3();
  const mv3 fw = mv3_normal(mv3_sub(target, eye)), s = mv3_normal(mv3_cross(up, fw)), u = mv3_cross(fw, s);
  const mm44 axes = {{s.x, u.x, fw.x, 0, s.y, u.y, fw.y, 0, s.z, u.z, fw.z, 0, 0, 0, 0, 1}};
  mm44 t = id;
  t.m[12] = -eye.x, t.m[13] = -eye.y, t.m[14] = -eye.z;
  expect_same(mm44_lookat(eye, target, up), product(t, axes));
}

}  // namespace
