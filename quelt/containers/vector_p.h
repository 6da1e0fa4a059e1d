// Inside the library: what the archive needs of a vector beyond its exported operations.
#pragma once

#include <quelt/containers/vector.h>

#include <cstddef>
#include <cstdint>

namespace quelt {

// Address of element `index` (checked by the caller), without moving `iter`.
inline void* vect_slot(const vect_vector* v, int32_t index) {
  return v->data + static_cast<size_t>(index) * static_cast<size_t>(v->unit);
}

// Appends a copy of one element for a long run of appends: a full block doubles instead of
// growing by `step`, so the run copies the elements a logarithmic number of times. The capacity
// may then stand above the step's rounding until vect_settle. When the doubled block cannot be
// had, the element goes in through vect_push, with its growth and its trace.
int32_t vect_append(vect_vector* v, const void* element);

// The capacity back to the step's rounding of the size after a run of vect_append. Without
// memory for that block the larger one stays: it holds everything and the next resize corrects it.
void vect_settle(vect_vector* v);

// vect_erase without a destination that always takes the range out: when the smaller block
// cannot be had (traced as vect_erase's failure), the gap is closed inside the present block.
// Returns 0 only for a range that vect_erase refuses.
int32_t vect_remove(vect_vector* v, int32_t index, int32_t count);

}  // namespace quelt
