/* vect_vector: a growable array of fixed-size elements held as plain bytes in one heap block,
   with its own iteration index. Capacity follows the size in steps of `step` elements, in both
   directions; an emptied vector holds no block.

   Safety decisions of this implementation:
   - A failed resize leaves `size`, `data` and `capacity` as they were: `size` never exceeds
     `capacity`, so nothing can be read or written past the block.
   - Sizes whose capacity × unit would not fit in memory, sizes or counts that overflow 32 bits,
     and a `step` or `unit` below 1 are refused like an allocation that cannot be made.
   - `vect_push` accepts an element that lies inside the vector's own block. The source of
     `vect_insert` must not lie inside the vector. */
#ifndef QUELT_CONTAINERS_VECTOR_H
#define QUELT_CONTAINERS_VECTOR_H

#include <stdint.h>
#include <quelt/base/export.h>

QUELT_EXTERN_C_BEGIN

typedef struct vect_vector {
  uint8_t* data;
  int32_t size;
  int32_t unit;
  int32_t capacity;
  int32_t step;
  int32_t iter;
} vect_vector;

QUELT_API int32_t vect_create(vect_vector** vector, int32_t unit);
QUELT_API void vect_release(vect_vector** vector);
QUELT_API int32_t vect_size(vect_vector* vector, int32_t size);
QUELT_API int32_t vect_alloc(vect_vector* vector, int32_t count);
QUELT_API int32_t vect_free(vect_vector* vector, int32_t count);
QUELT_API void vect_unit(vect_vector* vector, int32_t unit);
QUELT_API void vect_step(vect_vector* vector, int32_t step);
QUELT_API int32_t vect_clear(vect_vector* vector);
QUELT_API int32_t vect_at(vect_vector* vector, int32_t index, void* value, void** pointer);
QUELT_API int32_t vect_first(vect_vector* vector, void* value, void** pointer);
QUELT_API int32_t vect_next(vect_vector* vector, void* value, void** pointer);
QUELT_API int32_t vect_back(vect_vector* vector, void* value, void** pointer);
QUELT_API int32_t vect_prev(vect_vector* vector, void* value, void** pointer);
QUELT_API int32_t vect_push(vect_vector* vector, const void* element);
QUELT_API int32_t vect_pop(vect_vector* vector, void* value);
QUELT_API int32_t vect_insert(vect_vector* vector, const void* source, int32_t index, int32_t count);
QUELT_API int32_t vect_erase(vect_vector* vector, void* destination, int32_t index, int32_t count);
QUELT_API int32_t vect_swap(vect_vector* vector, int32_t a, int32_t b, int32_t count);

QUELT_EXTERN_C_END

#endif
