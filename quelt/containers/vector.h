/** @file
   The growable array: fixed-size elements kept as plain bytes in one heap block, with an
   iteration index of its own so that a walk needs no state outside the record.

   The capacity follows the size in both directions in steps of `step` elements (32 unless
   changed right after vect_create), and an emptied vector holds no block. An element's address
   is valid only until the next change of capacity. The vector copies elements in and out byte
   by byte and frees nothing but its block: pointers inside elements stay the caller's concern.

   Operations that can fail return 1 on success and 0 on failure. A failure listed as traced
   prints the library's two-line failure trace on standard output (see base/trace.h); its text
   is given under "Failure trace". A failed resize leaves `size`, `data` and `capacity` as they
   were.

   @code
   vect_vector* v = NULL;
   if (vect_create(&v, sizeof(int32_t))) {
     int32_t x = 7, y;
     vect_push(v, &x);
     for (int ok = vect_first(v, &y, NULL); ok; ok = vect_next(v, &y, NULL)) { ... }
     vect_release(&v);
   }
   @endcode */
#ifndef QUELT_CONTAINERS_VECTOR_H
#define QUELT_CONTAINERS_VECTOR_H

#include <stdint.h>
#include <quelt/base/export.h>

QUELT_EXTERN_C_BEGIN

/** A growable array of fixed-size elements. Made by vect_create, ended by vect_release. */
typedef struct vect_vector {
  uint8_t* data;    /**< The elements, `capacity` × `unit` bytes; null while `capacity` is 0. */
  int32_t size;     /**< Number of elements in use. */
  int32_t unit;     /**< Size of one element in bytes. */
  int32_t capacity; /**< Number of elements the block holds: `size` rounded up to `step`. */
  int32_t step;     /**< Allocation granularity in elements; 32 after vect_create. */
  int32_t iter;     /**< Element reached by the last positioning call; `size` after a failure. */
} vect_vector;

/** Makes an empty vector with `step` 32.
   @param vector receives the new vector, or null when it cannot be made.
   @param unit size of one element in bytes, at least 1.
   @return 1, or 0 on failure.
   @par Failure trace
   "" when the record cannot be allocated. */
QUELT_API int32_t vect_create(vect_vector** vector, int32_t unit);
/** Frees the elements' block and the record, and sets the caller's pointer to null.
   @param vector address of the pointer to the vector. */
QUELT_API void vect_release(vect_vector** vector);
/** Sets the number of elements; the one place where memory changes. A size below 1 empties the
   vector and frees its block. New elements have undefined content.
   @param vector the vector.
   @param size the new number of elements.
   @return 1, or 0 when the block cannot be reallocated (nothing changes).
   @par Failure trace
   "malloc". */
QUELT_API int32_t vect_size(vect_vector* vector, int32_t size);
/** Adds `count` elements of undefined content at the end.
   @param vector the vector.
   @param count number of elements to add, at least 1.
   @return 1, or 0 (silently for a count below 1).
   @par Failure trace
   "" when the resize fails. */
QUELT_API int32_t vect_alloc(vect_vector* vector, int32_t count);
/** Drops `count` elements from the end; dropping more than there are empties the vector.
   @param vector the vector.
   @param count number of elements to drop, at least 1.
   @return 1, or 0 (silently for a count below 1).
   @par Failure trace
   "" when the resize fails. */
QUELT_API int32_t vect_free(vect_vector* vector, int32_t count);
/** Sets the element size. Takes effect at the next resize and converts nothing stored: call it
   before the first element is stored.
   @param vector the vector.
   @param unit size of one element in bytes, at least 1. */
QUELT_API void vect_unit(vect_vector* vector, int32_t unit);
/** Sets the allocation granularity, best right after vect_create.
   @param vector the vector.
   @param step the new granularity in elements, at least 1. */
QUELT_API void vect_step(vect_vector* vector, int32_t step);
/** Empties the vector and frees its block.
   @param vector the vector.
   @return 1. */
QUELT_API int32_t vect_clear(vect_vector* vector);
/** Positions `iter` on an element and gives it out. On failure `iter` is set to `size`.
   @param vector the vector.
   @param index index of the element.
   @param value receives a copy of the element's `unit` bytes; may be null.
   @param pointer receives the element's address inside `data`; may be null.
   @return 1, or 0 silently for an index out of range. */
QUELT_API int32_t vect_at(vect_vector* vector, int32_t index, void* value, void** pointer);
/** vect_at with index 0.
   @param vector the vector.
   @param value receives a copy of the element; may be null.
   @param pointer receives the element's address; may be null.
   @return 1, or 0 silently for an empty vector. */
QUELT_API int32_t vect_first(vect_vector* vector, void* value, void** pointer);
/** vect_at with `iter` + 1: the next step of a forward walk.
   @param vector the vector.
   @param value receives a copy of the element; may be null.
   @param pointer receives the element's address; may be null.
   @return 1, or 0 silently past the last element (`iter` then stays at `size`). */
QUELT_API int32_t vect_next(vect_vector* vector, void* value, void** pointer);
/** vect_at with `size` − 1.
   @param vector the vector.
   @param value receives a copy of the element; may be null.
   @param pointer receives the element's address; may be null.
   @return 1, or 0 silently for an empty vector. */
QUELT_API int32_t vect_back(vect_vector* vector, void* value, void** pointer);
/** vect_at with `iter` − 1: the next step of a backward walk. After a failure `iter` is
   `size`, so a further call starts over at the last element.
   @param vector the vector.
   @param value receives a copy of the element; may be null.
   @param pointer receives the element's address; may be null.
   @return 1, or 0 silently before the first element. */
QUELT_API int32_t vect_prev(vect_vector* vector, void* value, void** pointer);
/** Appends a copy of `unit` bytes. The element may lie inside the vector's own block.
   @param vector the vector.
   @param element the element to copy.
   @return 1, or 0 on failure.
   @par Failure trace
   "" when the growth fails. */
QUELT_API int32_t vect_push(vect_vector* vector, const void* element);
/** Removes the last element, copying it out first.
   @param vector the vector.
   @param value receives the element; may be null.
   @return 1, or 0 (silently for an empty vector).
   @par Failure trace
   "" when the shrink fails. */
QUELT_API int32_t vect_pop(vect_vector* vector, void* value);
/** Inserts `count` elements before `index`; an index equal to `size` appends. The vector grows
   first: after a rejected index it stays `count` elements longer, with undefined content.
   @param vector the vector.
   @param source the elements to copy, `count` × `unit` bytes, not inside the vector.
   @param index position of the first inserted element, 0 to `size`.
   @param count number of elements, at least 1.
   @return 1, or 0 (silently for an index out of range).
   @par Failure trace
   "" when the growth fails, also for a count below 1. */
QUELT_API int32_t vect_insert(vect_vector* vector, const void* source, int32_t index, int32_t count);
/** Removes `count` elements at `index`, copying them out first.
   @param vector the vector.
   @param destination receives the removed elements; may be null.
   @param index position of the first removed element.
   @param count number of elements, at least 1.
   @return 1, or 0 (silently for a range outside the vector).
   @par Failure trace
   "" when the shrink fails. */
QUELT_API int32_t vect_erase(vect_vector* vector, void* destination, int32_t index, int32_t count);
/** Exchanges two runs of `count` elements; overlapping runs are not detected.
   @param vector the vector.
   @param a index of the first run.
   @param b index of the second run.
   @param count length of each run, at least 1.
   @return 1, or 0 (silently for a range outside the vector).
   @par Failure trace
   "malloc" when the temporary block cannot be allocated. */
QUELT_API int32_t vect_swap(vect_vector* vector, int32_t a, int32_t b, int32_t count);

QUELT_EXTERN_C_END

#endif
