// Inside the archive: what the tree (arch.cpp) and the file format (archfile.cpp) share.
#pragma once

#include <quelt/archive/arch.h>
#include <quelt/containers/vector_p.h>

#include <cstddef>
#include <cstdint>

namespace quelt {

constexpr int32_t kHead = 1;
constexpr int32_t kLeaf = 0;
constexpr int32_t kEnd = -1;
constexpr size_t kName = sizeof(arch_entry{}.name);
constexpr int64_t kMaxPosition = INT32_MAX;  // the last place a 32-bit `offset` reaches

inline arch_entry* entry_at(const vect_vector* v, int32_t index) {
  return static_cast<arch_entry*>(vect_slot(v, index));
}

// The walk of all entries by vect_first and vect_next, which leaves the cursor at `size`:
// for (arch_entry* e = first_entry(v); e; e = next_entry(v)).
inline arch_entry* first_entry(vect_vector* v) {
  void* e = nullptr;
  return vect_first(v, nullptr, &e) ? static_cast<arch_entry*>(e) : nullptr;
}
inline arch_entry* next_entry(vect_vector* v) {
  void* e = nullptr;
  return vect_next(v, nullptr, &e) ? static_cast<arch_entry*>(e) : nullptr;
}

// Forgets which file the archive's offsets refer to (see archfile.cpp), before the record goes.
void arch_forget_origin(const arch_archive* archive);

}  // namespace quelt
