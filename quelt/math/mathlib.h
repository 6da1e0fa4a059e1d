/** @file
   Two- and three-component vectors and 4 × 4 matrices of 32-bit floats, as pure functions on
   values: no state, no allocation, no failure, nothing printed, safe on any thread. Each result
   component is worked out in long double from the float inputs, left to right as written, and
   rounded to float once, when it is stored. IEEE arithmetic decides the odd cases: the normal
   of a zero vector is NaN, a division by 0 gives infinities.

   Matrices are stored row by row: element (row r, column c) is m[r × 4 + c]. The rotations and
   mm44_mulv4 treat vectors as columns on the right; mm44_lookat and mm44_mulv3 as rows on the
   left, with the translation in the last row. Nothing converts between the two.

   @code
   mm44 view = mm44_lookat((mv3){0, 0, -5}, (mv3){0, 0, 0}, (mv3){0, 1, 0});
   mv3 p = mm44_mulv3(view, (mv3){1, 1, 1});
   @endcode */
#ifndef QUELT_MATH_MATHLIB_H
#define QUELT_MATH_MATHLIB_H

#include <quelt/base/export.h>

QUELT_EXTERN_C_BEGIN

/** A two-component vector. */
typedef struct mv2 {
  float x; /**< First component. */
  float y; /**< Second component. */
} mv2;

/** A three-component vector. */
typedef struct mv3 {
  float x; /**< First component. */
  float y; /**< Second component. */
  float z; /**< Third component. */
} mv3;

/** A four-component vector, for mm44_mulv4. */
typedef struct mv4 {
  float x; /**< First component. */
  float y; /**< Second component. */
  float z; /**< Third component. */
  float w; /**< Fourth component. */
} mv4;

/** A 4 × 4 matrix. */
typedef struct mm44 {
  float m[16]; /**< The elements row by row: (row r, column c) is m[r × 4 + c]. */
} mm44;

/** Length of a vector.
   @param a the vector.
   @return sqrt((x·x + y·y) + z·z), rounded to float. */
QUELT_API float mv3_length(mv3 a);
/** The vector scaled to length 1.
   @param a the vector.
   @return a divided component by component by mv3_length(a); NaN for a zero vector. */
QUELT_API mv3 mv3_normal(mv3 a);
/** Cross product.
   @param a left operand.
   @param b right operand.
   @return (a.y·b.z - a.z·b.y, a.z·b.x - a.x·b.z, a.x·b.y - a.y·b.x). */
QUELT_API mv3 mv3_cross(mv3 a, mv3 b);
/** Dot product.
   @param a left operand.
   @param b right operand.
   @return (a.x·b.x + a.y·b.y) + a.z·b.z. */
QUELT_API float mv3_dot(mv3 a, mv3 b);
/** Sum.
   @param a left operand.
   @param b right operand.
   @return a + b, component by component. */
QUELT_API mv3 mv3_add(mv3 a, mv3 b);
/** Difference.
   @param a left operand.
   @param b right operand.
   @return a - b, component by component. */
QUELT_API mv3 mv3_sub(mv3 a, mv3 b);
/** Scaling.
   @param a the vector.
   @param s the factor.
   @return each component times s. */
QUELT_API mv3 mv3_mul(mv3 a, float s);
/** Division by a scalar: a true division of each component, not a product with 1 / s.
   @param a the vector.
   @param s the divisor.
   @return each component divided by s. */
QUELT_API mv3 mv3_div(mv3 a, float s);

/** Length of a vector.
   @param a the vector.
   @return sqrt(x·x + y·y), rounded to float. */
QUELT_API float mv2_length(mv2 a);
/** The vector scaled to length 1.
   @param a the vector.
   @return a divided component by component by mv2_length(a); NaN for a zero vector. */
QUELT_API mv2 mv2_normal(mv2 a);
/** Dot product.
   @param a left operand.
   @param b right operand.
   @return a.x·b.x + a.y·b.y. */
QUELT_API float mv2_dot(mv2 a, mv2 b);
/** Sum.
   @param a left operand.
   @param b right operand.
   @return a + b, component by component. */
QUELT_API mv2 mv2_add(mv2 a, mv2 b);
/** Difference.
   @param a left operand.
   @param b right operand.
   @return a - b, component by component. */
QUELT_API mv2 mv2_sub(mv2 a, mv2 b);
/** Scaling.
   @param a the vector.
   @param s the factor.
   @return each component times s. */
QUELT_API mv2 mv2_mul(mv2 a, float s);
/** Division by a scalar, a true division of each component.
   @param a the vector.
   @param s the divisor.
   @return each component divided by s. */
QUELT_API mv2 mv2_div(mv2 a, float s);

/** The identity matrix.
   @return 1 in m[0], m[5], m[10], m[15], 0 elsewhere. */
QUELT_API mm44 mm44_identity(void);
/** The matrix times a column vector.
   @param m the matrix.
   @param v the vector.
   @return x = ((m[0]·v.x + m[1]·v.y) + m[2]·v.z) + m[3]·v.w, and so on for each row. */
QUELT_API mv4 mm44_mulv4(mm44 m, mv4 v);
/** A row-vector transform: the upper left 3 × 3 block times v plus the translation of the last
   row (m[12], m[13], m[14]). m[3], m[7], m[11] and m[15] are not read and nothing is divided by
   a w.
   @param m the matrix.
   @param v the vector.
   @return x = ((m[0]·v.x + m[1]·v.y) + m[2]·v.z) + m[12], and so on. */
QUELT_API mv3 mm44_mulv3(mm44 m, mv3 v);
/** Matrix product.
   @param a the left matrix.
   @param b the right matrix.
   @return a × b. */
QUELT_API mm44 mm44_mulmm44(mm44 a, mm44 b);
/** Rotation about the x axis; sine and cosine come from double and are rounded to float.
   @param angle the angle in radians.
   @return rows (1,0,0,0), (0,c,-s,0), (0,s,c,0), (0,0,0,1). */
QUELT_API mm44 mm44_rotate_x(float angle);
/** Rotation about the y axis.
   @param angle the angle in radians.
   @return rows (c,0,s,0), (0,1,0,0), (-s,0,c,0), (0,0,0,1). */
QUELT_API mm44 mm44_rotate_y(float angle);
/** Rotation about the z axis.
   @param angle the angle in radians.
   @return rows (c,-s,0,0), (s,c,0,0), (0,0,1,0), (0,0,0,1). */
QUELT_API mm44 mm44_rotate_z(float angle);
/** The three rotations combined.
   @param x angle about x in radians.
   @param y angle about y in radians.
   @param z angle about z in radians.
   @return X × (Y × Z), rounded to float between the two products. */
QUELT_API mm44 mm44_rotate(float x, float y, float z);
/** A view matrix for row vectors looking from eye towards target: the axes s, u, f stand in the
   columns of the upper left block, the last row holds -eye times each axis. up is not
   normalised; eye equal to target or up along the line of sight gives NaN.
   @param eye the viewer.
   @param target the point looked at.
   @param up the direction that is up.
   @return the view matrix, for mm44_mulv3. */
QUELT_API mm44 mm44_lookat(mv3 eye, mv3 target, mv3 up);

QUELT_EXTERN_C_END

#endif
