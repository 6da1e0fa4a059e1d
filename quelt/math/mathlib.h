/* Two- and three-component vectors and 4 × 4 matrices of 32-bit floats, as pure functions on
   values: no state, no allocation, no failure. Each result component is worked out in long
   double from the float inputs, left to right as written below, and rounded to float once, when
   it is stored; lengths are rounded to float before the normals divide by them. IEEE arithmetic
   decides the odd cases: the normal of a zero vector is NaN, a division by 0 gives infinities.

   Matrices are stored row by row: element (row r, column c) is m[r × 4 + c]. The rotations and
   mm44_mulv4 treat vectors as columns on the right; mm44_lookat and mm44_mulv3 as rows on the
   left, with the translation in the last row. Nothing converts between the two. */
#ifndef QUELT_MATH_MATHLIB_H
#define QUELT_MATH_MATHLIB_H

#include <quelt/base/export.h>

QUELT_EXTERN_C_BEGIN

typedef struct mv2 {
  float x;
  float y;
} mv2;

typedef struct mv3 {
  float x;
  float y;
  float z;
} mv3;

typedef struct mv4 {
  float x;
  float y;
  float z;
  float w;
} mv4;

typedef struct mm44 {
  float m[16];
} mm44;

/* √((x·x + y·y) + z·z), rounded to float. */
QUELT_API float mv3_length(mv3 a);
/* a / mv3_length(a), each component divided by the float length. */
QUELT_API mv3 mv3_normal(mv3 a);
/* (a.y·b.z − a.z·b.y, a.z·b.x − a.x·b.z, a.x·b.y − a.y·b.x). */
QUELT_API mv3 mv3_cross(mv3 a, mv3 b);
/* (a.x·b.x + a.y·b.y) + a.z·b.z. */
QUELT_API float mv3_dot(mv3 a, mv3 b);
QUELT_API mv3 mv3_add(mv3 a, mv3 b);
QUELT_API mv3 mv3_sub(mv3 a, mv3 b);
QUELT_API mv3 mv3_mul(mv3 a, float s);
/* A true division of each component by s, not a product with 1 / s. */
QUELT_API mv3 mv3_div(mv3 a, float s);

QUELT_API float mv2_length(mv2 a);
QUELT_API mv2 mv2_normal(mv2 a);
QUELT_API float mv2_dot(mv2 a, mv2 b);
QUELT_API mv2 mv2_add(mv2 a, mv2 b);
QUELT_API mv2 mv2_sub(mv2 a, mv2 b);
QUELT_API mv2 mv2_mul(mv2 a, float s);
QUELT_API mv2 mv2_div(mv2 a, float s);

QUELT_API mm44 mm44_identity(void);
/* m times v as a column: result x = ((m[0]·v.x + m[1]·v.y) + m[2]·v.z) + m[3]·v.w, and so on. */
QUELT_API mv4 mm44_mulv4(mm44 m, mv4 v);
/* The upper left block times v, plus the translation of the last row m[12], m[13], m[14];
   m[3], m[7], m[11], m[15] aren't read and nothing is divided by a w. */
QUELT_API mv3 mm44_mulv3(mm44 m, mv3 v);
/* a times b, a on the left. */
QUELT_API mm44 mm44_mulmm44(mm44 a, mm44 b);
/* Rotations by an angle in radians; sine and cosine come from double and are rounded to float. */
QUELT_API mm44 mm44_rotate_x(float angle);
QUELT_API mm44 mm44_rotate_y(float angle);
QUELT_API mm44 mm44_rotate_z(float angle);
/* X · (Y · Z) of the three rotations, rounded to float between the two products. */
QUELT_API mm44 mm44_rotate(float x, float y, float z);
/* A view matrix for row vectors looking from eye along +f towards target: the axes s, u, f stand
   in the columns of the upper left block, the last row holds −eye times each axis. up isn't
   normalised; eye equal to target or up along the line of sight gives NaN. */
QUELT_API mm44 mm44_lookat(mv3 eye, mv3 target, mv3 up);

QUELT_EXTERN_C_END

#endif
