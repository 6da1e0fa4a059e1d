// Safety decisions of this implementation:
// - A failed resize leaves `size`, `data` and `capacity` as they were: `size` never exceeds
//   `capacity`, so nothing can be read or written past the block.
// - Sizes whose capacity × unit would not fit in memory, sizes or counts that overflow 32 bits,
//   and a `step` or `unit` below 1 are refused like an allocation that cannot be made.
// - `vect_push` accepts an element that lies inside the vector's own block. The source of
//   `vect_insert` must not lie inside the vector.
#include <quelt/containers/vector.h>

#include <quelt/base/trace.h>
#include <quelt/containers/vector_p.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

// Address of element `index`; callers have checked the index against the size.
uint8_t* slot(vect_vector* v, int64_t index) {
  return v->data + static_cast<size_t>(index) * static_cast<size_t>(v->unit);
}

// The resize behind vect_size, vect_alloc, vect_free and vect_erase. Takes the size as a 64-bit
// value so that callers adding or subtracting counts cannot overflow on the way in. `gap`
// elements at `gap_at` are dropped on the way (vect_erase): they are closed up only once the new
// block exists, so a failed allocation leaves every element where it was.
int32_t resize(vect_vector* v, int64_t n, int64_t gap_at = 0, int64_t gap = 0) {
  if (n < 1) {
    std::free(v->data);
    v->data = nullptr;
    v->size = 0;
    v->capacity = 0;
    return 1;
  }
  bool refused = n > std::numeric_limits<int32_t>::max() || v->step < 1 || v->unit < 1;
  int64_t capacity = 0;
  if (!refused) {
    capacity = (n / v->step + (n % v->step != 0 ? 1 : 0)) * static_cast<int64_t>(v->step);
    refused = capacity > std::numeric_limits<int32_t>::max() ||
              static_cast<uint64_t>(capacity) > SIZE_MAX / static_cast<uint64_t>(v->unit);
  }
  const size_t unit = v->unit > 0 ? static_cast<size_t>(v->unit) : 0;
  const int64_t behind = gap ? v->size - (gap_at + gap) : 0;
  if (!refused && capacity == v->capacity) {
    if (behind > 0) std::memmove(slot(v, gap_at), slot(v, gap_at + gap), static_cast<size_t>(behind) * unit);
    v->size = static_cast<int32_t>(n);
    return 1;
  }
  uint8_t* block = refused ? nullptr
                           : static_cast<uint8_t*>(std::malloc(static_cast<size_t>(capacity) *
                                                               static_cast<size_t>(v->unit)));
  if (!block) return 0;
  if (gap) {
    std::memcpy(block, v->data, static_cast<size_t>(gap_at) * unit);
    if (behind > 0) std::memcpy(block + gap_at * unit, slot(v, gap_at + gap), static_cast<size_t>(behind) * unit);
  } else {
    int64_t keep = n < v->size ? n : v->size;
    if (keep > 0 && v->data) std::memcpy(block, v->data, static_cast<size_t>(keep) * unit);
  }
  std::free(v->data);
  v->data = block;
  v->capacity = static_cast<int32_t>(capacity);
  v->size = static_cast<int32_t>(n);
  return 1;
}

// vect_size is the one place where memory changes; vect_alloc and vect_free reach it with a
// 64-bit size. A failed allocation is traced as vect_size's, as when it is called directly.
int32_t size_to(vect_vector* v, int64_t n, int64_t gap_at = 0, int64_t gap = 0) {
  if (resize(v, n, gap_at, gap)) return 1;
  return QUELT_FAILED_AS("vect_size", "malloc");
}

// A run of count elements at index that lies inside the vector.
bool in_range(const vect_vector* v, int32_t index, int32_t count) {
  const int64_t last = static_cast<int64_t>(index) + count - 1;
  return count >= 1 && index >= 0 && index < v->size && last < v->size;
}

}  // namespace

extern "C" {

int32_t vect_create(vect_vector** vector, int32_t unit) {
  auto* v = static_cast<vect_vector*>(std::malloc(sizeof(vect_vector)));
  if (v) std::memset(v, 0, sizeof *v);
  *vector = v;
  if (!v) return QUELT_FAILED("");
  v->unit = unit;
  v->step = 32;
  return 1;
}

void vect_release(vect_vector** vector) {
  if (!vector || !*vector) return;
  std::free((*vector)->data);
  std::free(*vector);
  *vector = nullptr;
}

int32_t vect_size(vect_vector* vector, int32_t size) { return size_to(vector, size); }

int32_t vect_alloc(vect_vector* vector, int32_t count) {
  if (count < 1) return 0;
  if (!size_to(vector, static_cast<int64_t>(vector->size) + count)) return QUELT_FAILED("");
  return 1;
}

int32_t vect_free(vect_vector* vector, int32_t count) {
  if (count < 1) return 0;
  if (!size_to(vector, static_cast<int64_t>(vector->size) - count)) return QUELT_FAILED("");
  return 1;
}

void vect_unit(vect_vector* vector, int32_t unit) { vector->unit = unit; }
void vect_step(vect_vector* vector, int32_t step) { vector->step = step; }
int32_t vect_clear(vect_vector* vector) { return size_to(vector, 0); }

int32_t vect_at(vect_vector* vector, int32_t index, void* value, void** pointer) {
  vector->iter = vector->size;
  if (index < 0 || index >= vector->size) return 0;
  uint8_t* p = slot(vector, index);
  if (pointer) *pointer = p;
  if (value) std::memcpy(value, p, static_cast<size_t>(vector->unit));
  vector->iter = index;
  return 1;
}

int32_t vect_first(vect_vector* vector, void* value, void** pointer) {
  return vect_at(vector, 0, value, pointer);
}

int32_t vect_next(vect_vector* vector, void* value, void** pointer) {
  // iter may stand anywhere after size changes; INT32_MAX + 1 must not wrap to a valid index.
  int64_t next = static_cast<int64_t>(vector->iter) + 1;
  if (next > std::numeric_limits<int32_t>::max()) return vect_at(vector, -1, value, pointer);
  return vect_at(vector, static_cast<int32_t>(next), value, pointer);
}

int32_t vect_back(vect_vector* vector, void* value, void** pointer) {
  return vect_at(vector, vector->size - 1, value, pointer);
}

int32_t vect_prev(vect_vector* vector, void* value, void** pointer) {
  int64_t prev = static_cast<int64_t>(vector->iter) - 1;
  if (prev < std::numeric_limits<int32_t>::min()) prev = -1;
  return vect_at(vector, static_cast<int32_t>(prev), value, pointer);
}

int32_t vect_push(vect_vector* vector, const void* element) {
  // An element inside the block would move with it: remember its offset, not its address.
  auto* e = static_cast<const uint8_t*>(element);
  const uint8_t* begin = vector->data;
  const uint8_t* end = begin ? begin + static_cast<size_t>(vector->capacity) * vector->unit : begin;
  bool inside = begin && e >= begin && e < end;
  size_t offset = inside ? static_cast<size_t>(e - begin) : 0;
  int32_t old = vector->size;
  if (!vect_alloc(vector, 1)) return QUELT_FAILED("");
  const uint8_t* from = inside ? vector->data + offset : e;
  std::memmove(slot(vector, old), from, static_cast<size_t>(vector->unit));
  return 1;
}

int32_t vect_pop(vect_vector* vector, void* value) {
  if (vector->size < 1) return 0;
  if (value) std::memcpy(value, slot(vector, vector->size - 1), static_cast<size_t>(vector->unit));
  if (!vect_free(vector, 1)) return QUELT_FAILED("");
  return 1;
}

int32_t vect_insert(vect_vector* vector, const void* source, int32_t index, int32_t count) {
  int32_t old = vector->size;
  if (!vect_alloc(vector, count)) return QUELT_FAILED("");
  int64_t last = static_cast<int64_t>(index) + count - 1;
  if (index < 0 || index >= vector->size || last < 0 || last >= vector->size) return 0;
  // Move the tail up by count, last element first: one memmove does the same safely.
  size_t unit = static_cast<size_t>(vector->unit);
  if (old > index)
    std::memmove(slot(vector, static_cast<int64_t>(index) + count), slot(vector, index),
                 static_cast<size_t>(old - index) * unit);
  std::memcpy(slot(vector, index), source, static_cast<size_t>(count) * unit);
  return 1;
}

int32_t vect_erase(vect_vector* vector, void* destination, int32_t index, int32_t count) {
  if (!in_range(vector, index, count)) return 0;
  if (destination)
    std::memcpy(destination, slot(vector, index), static_cast<size_t>(count) * static_cast<size_t>(vector->unit));
  // Closing the gap and shrinking are one step, so that a failed shrink duplicates nothing;
  // it fails as vect_free would.
  if (!size_to(vector, static_cast<int64_t>(vector->size) - count, index, count)) {
    QUELT_FAILED_AS("vect_free", "");
    return QUELT_FAILED("");
  }
  return 1;
}

int32_t vect_swap(vect_vector* vector, int32_t a, int32_t b, int32_t count) {
  if (count < 1 || a < 0 || b < 0 || static_cast<int64_t>(a) + count > vector->size ||
      static_cast<int64_t>(b) + count > vector->size)
    return 0;
  size_t bytes = static_cast<size_t>(count) * static_cast<size_t>(vector->unit);
  auto* temp = static_cast<uint8_t*>(std::malloc(bytes));
  if (!temp) return QUELT_FAILED("malloc");
  // Three ascending copies; overlapping blocks give what such copies give.
  auto forward = [](uint8_t* to, const uint8_t* from, size_t n) {
    for (size_t i = 0; i < n; ++i) to[i] = from[i];
  };
  forward(temp, slot(vector, a), bytes);
  forward(slot(vector, a), slot(vector, b), bytes);
  forward(slot(vector, b), temp, bytes);
  std::free(temp);
  return 1;
}

}  // extern "C"

namespace quelt {

int32_t vect_append(vect_vector* v, const void* element) {
  if (v->size == v->capacity && v->capacity > 0 && v->capacity <= std::numeric_limits<int32_t>::max() / 2) {
    const size_t bytes = static_cast<size_t>(v->capacity) * 2 * static_cast<size_t>(v->unit);
    if (auto* block = static_cast<uint8_t*>(std::realloc(v->data, bytes))) {
      v->data = block;
      v->capacity *= 2;
    }
  }
  if (v->size == v->capacity) return vect_push(v, element);
  std::memcpy(slot(v, v->size), element, static_cast<size_t>(v->unit));
  v->size += 1;
  return 1;
}

void vect_settle(vect_vector* v) {
  if (v->size < 1 || v->step < 1) return;
  const int64_t capacity = (v->size + static_cast<int64_t>(v->step) - 1) / v->step * v->step;
  if (capacity >= v->capacity) return;
  // Shrinking in place keeps the elements where they are; a failure keeps the larger block.
  if (auto* block = static_cast<uint8_t*>(std::realloc(v->data, static_cast<size_t>(capacity) * v->unit))) {
    v->data = block;
    v->capacity = static_cast<int32_t>(capacity);
  }
}

int32_t vect_remove(vect_vector* v, int32_t index, int32_t count) {
  const int32_t size = v->size;
  if (!in_range(v, index, count)) return 0;
  if (vect_erase(v, nullptr, index, count)) return 1;
  const int64_t behind = size - (static_cast<int64_t>(index) + count);
  std::memmove(slot(v, index), slot(v, static_cast<int64_t>(index) + count),
               static_cast<size_t>(behind) * static_cast<size_t>(v->unit));
  v->size = size - count;
  return 1;
}

}  // namespace quelt
