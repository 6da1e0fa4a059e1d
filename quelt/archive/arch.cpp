// The archive's tree: life, the cursor and the records under it. The file itself (directory,
// payloads, writing) is archfile.cpp's.
//
// Decisions of this implementation where the archive's behaviour needs pinning down:
// - When arch_ff fails, the record it made is released and its out pointer left untouched; a
//   failed arch_create stores what it built, for the caller's arch_release.
// - arch_read with -1 or -2 finds the terminator only inside the block; a payload without one
//   is refused. arch_data measures a -1 or -2 source that lies inside the record's own block
//   only within that block, and refuses a null source with -1 or -2 and any other negative
//   length. A length of 0 leaves the record empty, with no block.
// - arch_data allocates the new block before it lets the old one go, so a source inside the old
//   block is copied safely; when malloc fails the old block is gone all the same (`payload`
//   null, `size` and `offset` as they were).
// - arch_crap on a group end refuses silently (0, nothing printed): the end is not a record and
//   the directory stays balanced. If the directory's block cannot shrink after a deletion, the
//   larger block is kept and the deletion still completes.
// - arch_enter keeps the two stacks at equal depth: when the second push fails the first is
//   taken back; when the group end cannot be inserted, the leaf stays a leaf. arch_leave pops
//   both stacks even when a smaller block cannot be had.
// - A null name for arch_post or arch_touch refuses silently. Names are compared within the 64
//   characters of the field.
#include <quelt/archive/arch.h>

#include <quelt/archive/arch_p.h>
#include <quelt/base/trace.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

using namespace quelt;

namespace {

// The record under the cursor without moving it: null off the end and on a group end.
arch_entry* record(arch_archive* a) {
  vect_vector* v = a->entries;
  if (v->iter < 0 || v->iter >= v->size) return nullptr;
  arch_entry* e = entry_at(v, v->iter);
  return e->kind == kEnd ? nullptr : e;
}

// strcmp against the name field, which is read no further than its 64 characters.
bool same_name(const char* name, const char* field) {
  size_t n = strnlen(field, kName);
  return std::strncmp(name, field, n) == 0 && name[n] == 0;
}

// Takes the top of a stack of indices. When the vector cannot get its smaller block, the larger
// one is kept, so the pop itself never fails.
bool pop_index(vect_vector* v, int32_t* out) {
  if (v->size < 1) return false;
  std::memcpy(out, vect_slot(v, v->size - 1), 4);
  return vect_remove(v, v->size - 1, 1);
}

size_t wide_length(const void* text, size_t limit_units) {
  auto* p = static_cast<const uint8_t*>(text);
  for (size_t i = 0; i < limit_units; ++i) {
    uint16_t unit;
    std::memcpy(&unit, p + 2 * i, 2);
    if (unit == 0) return i;
  }
  return limit_units;
}

}  // namespace

extern "C" {

// ---- Life ------------------------------------------------------------------------------------

int32_t arch_create(arch_archive** archive) {
  auto* a = static_cast<arch_archive*>(std::malloc(sizeof(arch_archive)));
  *archive = a;
  if (!a) return QUELT_FAILED("malloc");
  std::memset(a, 0, sizeof *a);
  if (!vect_create(&a->entries, sizeof(arch_entry)) || !vect_create(&a->bases, 4) ||
      !vect_create(&a->cursors, 4)) {
    return QUELT_FAILED("");
  }
  return 1;
}

int32_t arch_ff(arch_archive** archive, const char* path) {
  arch_archive* a = nullptr;
  if (!arch_create(&a)) {
    arch_release(&a);
    return QUELT_FAILED("");
  }
  if (!arch_load(a, path)) {
    arch_release(&a);
    return QUELT_FAILED("");
  }
  *archive = a;
  return 1;
}

void arch_clean(arch_archive* archive) {
  vect_vector* v = archive->entries;
  if (!v) return;
  arch_entry* e = nullptr;
  for (e = first_entry(v); e; e = next_entry(v)) {
    std::free(e->payload);
    e->payload = nullptr;
  }
}

void arch_unload(arch_archive* archive) {
  if (!archive->entries) return;
  arch_clean(archive);
  vect_clear(archive->entries);
}

void arch_release(arch_archive** archive) {
  if (!archive || !*archive) return;
  arch_archive* a = *archive;
  arch_unload(a);
  arch_forget_origin(a);
  vect_release(&a->entries);
  vect_release(&a->bases);
  vect_release(&a->cursors);
  std::free(a);
  *archive = nullptr;
}

// ---- Cursor ----------------------------------------------------------------------------------

int32_t arch_first(arch_archive* archive, const char* name) {
  arch_entry* e = nullptr;
  if (!vect_at(archive->entries, archive->base, nullptr, reinterpret_cast<void**>(&e))) return 0;
  if (e->kind == kEnd) return 0;
  if (!name || same_name(name, e->name)) return 1;
  return arch_next(archive, name);
}

int32_t arch_next(arch_archive* archive, const char* name) {
  vect_vector* v = archive->entries;
  arch_entry* e = nullptr;
  // Step over the member under the cursor, through its whole group for a head.
  int32_t sum = 0;
  if (vect_at(v, v->iter, nullptr, reinterpret_cast<void**>(&e))) {
    for (;;) {
      sum += e->kind;
      const bool more = vect_next(v, nullptr, reinterpret_cast<void**>(&e));
      if (sum <= 0 || !more) break;
    }
  }
  if (sum != 0) return 0;
  if (!vect_at(v, v->iter, nullptr, reinterpret_cast<void**>(&e))) return 0;
  // Search the level, skipping the insides of groups.
  int32_t depth = 0;
  for (;;) {
    if (e->kind == kEnd) {
      if (--depth == -1) return 0;
    } else if (depth != 0) {
      if (e->kind == kHead) ++depth;
    } else {
      if (!name || same_name(name, e->name)) return 1;
      if (e->kind == kHead) ++depth;
    }
    if (!vect_next(v, nullptr, reinterpret_cast<void**>(&e))) return 0;
  }
}

int32_t arch_enter(arch_archive* archive) {
  vect_vector* v = archive->entries;
  arch_entry* e = nullptr;
  if (!vect_at(v, v->iter, nullptr, reinterpret_cast<void**>(&e))) return 0;
  const int32_t cursor = v->iter;
  if (e->kind == kLeaf) {
    arch_entry end{};
    end.kind = kEnd;
    std::memcpy(end.name, e->name, kName);
    e->kind = kHead;
    if (!vect_insert(v, &end, cursor + 1, 1)) {
      entry_at(v, cursor)->kind = kLeaf;  // a head without its end would unbalance the directory
      return QUELT_FAILED("");
    }
    if (!vect_at(v, cursor, nullptr, reinterpret_cast<void**>(&e))) {
      return QUELT_FAILED("");
    }
  }
  if (e->kind != kHead) return 0;
  if (!vect_push(archive->bases, &archive->base)) return QUELT_FAILED("");
  if (!vect_push(archive->cursors, &cursor)) {
    int32_t dropped;
    pop_index(archive->bases, &dropped);  // the stacks keep equal depth
    return QUELT_FAILED("");
  }
  v->iter = cursor + 1;
  archive->base = cursor + 1;
  return 1;
}

int32_t arch_leave(arch_archive* archive) {
  int32_t base = 0, cursor = 0;
  if (archive->cursors->size < 1 || !pop_index(archive->bases, &base)) return 0;
  pop_index(archive->cursors, &cursor);
  archive->base = base;
  archive->entries->iter = cursor;
  return 1;
}

int32_t arch_home(arch_archive* archive) {
  return vect_at(archive->entries, archive->base, nullptr, nullptr);
}

void arch_end(arch_archive* archive) {
  vect_vector* v = archive->entries;
  arch_entry* e = nullptr;
  if (vect_at(v, v->iter, nullptr, reinterpret_cast<void**>(&e))) {
    int32_t sum = 0;
    do {
      sum += e->kind;
      if (sum < 0) return;  // the group end of the current level
    } while (vect_next(v, nullptr, reinterpret_cast<void**>(&e)));
  }
  v->iter = v->size;
}

void arch_dump(arch_archive* archive) {
  static const char spaces[] = "                               ";  // 31
  vect_vector* v = archive->entries;
  arch_entry* e = nullptr;
  int32_t depth = 0;
  for (e = first_entry(v); e; e = next_entry(v)) {
    if (e->kind == kEnd) --depth;
    if (depth >= 1 && depth <= 31) {
      std::printf("%s", spaces + (31 - depth));
      std::fflush(stdout);
    }
    const int name = static_cast<int>(strnlen(e->name, kName));
    if (e->kind == kHead)
      std::printf("[%.*s:] (size: %i)\n", name, e->name, e->size);
    else if (e->kind == kEnd)
      std::printf("[%.*s.]\n", name, e->name);
    else
      std::printf("[%.*s] (size: %i)\n", name, e->name, e->size);
    std::fflush(stdout);
    if (e->kind == kHead) ++depth;
  }
}

// ---- Records ---------------------------------------------------------------------------------

int32_t arch_post(arch_archive* archive, const char* name) {
  if (!name) return 0;
  arch_entry e{};
  std::strncpy(e.name, name, kName - 1);
  arch_end(archive);
  if (!vect_insert(archive->entries, &e, archive->entries->iter, 1)) {
    return QUELT_FAILED("");
  }
  archive->modified = 1;
  return 1;
}

int32_t arch_touch(arch_archive* archive, const char* name) {
  if (!name) return 0;
  if (arch_first(archive, name)) return 1;
  if (!arch_post(archive, name)) return QUELT_FAILED("");
  return 1;
}

int32_t arch_crap(arch_archive* archive) {
  vect_vector* v = archive->entries;
  const int32_t start = v->iter;
  int32_t count = 0;
  arch_entry* e = nullptr;
  if (vect_at(v, start, nullptr, reinterpret_cast<void**>(&e))) {
    if (e->kind == kEnd) return 0;  // not a record: taking it alone would unbalance the level
    std::printf("crap: %.*s\n", static_cast<int>(strnlen(e->name, kName)), e->name);
    std::fflush(stdout);
    int32_t sum = 0;
    do {
      std::free(e->payload);
      e->payload = nullptr;
      sum += e->kind;
      ++count;
    } while (sum > 0 && vect_next(v, nullptr, reinterpret_cast<void**>(&e)));
  }
  // A block that cannot shrink stays: the run's payloads are gone, so the run goes too.
  if (!vect_remove(v, start, count)) return QUELT_FAILED("");
  archive->modified = 1;
  return 1;
}

int32_t arch_data(arch_archive* archive, const void* source, int32_t length) {
  arch_entry* e = record(archive);
  if (!e) return 0;
  int64_t n = length;
  if (length == -1 || length == -2) {
    if (!source) return 0;
    auto* s = static_cast<const uint8_t*>(source);
    const bool inside = e->payload && e->size > 0 && s >= e->payload && s < e->payload + e->size;
    const size_t room = inside ? static_cast<size_t>(e->payload + e->size - s) : SIZE_MAX;
    if (length == -1) {
      size_t chars = inside ? strnlen(static_cast<const char*>(source), room)
                            : std::strlen(static_cast<const char*>(source));
      if (chars == room) return 0;
      n = static_cast<int64_t>(chars) + 1;
    } else {
      size_t units = wide_length(source, inside ? room / 2 : SIZE_MAX / 2);
      if (inside && units == room / 2) return 0;
      n = 2 * static_cast<int64_t>(units) + 2;
    }
  } else if (length < 0) {
    return 0;
  }
  if (n > kMaxPosition) return 0;
  const auto bytes = static_cast<size_t>(n);

  if (n == 0) {
    std::free(e->payload);
    e->payload = nullptr;
  } else if (e->payload && e->size == n) {
    if (source)
      std::memmove(e->payload, source, bytes);
    else
      std::memset(e->payload, 0, bytes);
  } else {
    auto* block = static_cast<uint8_t*>(std::malloc(bytes));
    if (!block) {
      std::free(e->payload);
      e->payload = nullptr;
      return QUELT_FAILED("malloc");
    }
    if (source)
      std::memcpy(block, source, bytes);
    else
      std::memset(block, 0, bytes);
    std::free(e->payload);
    e->payload = block;
  }
  e->size = static_cast<int32_t>(n);
  e->offset = 0;
  archive->modified = 1;
  return 1;
}

int32_t arch_read(arch_archive* archive, void* destination, int32_t length) {
  arch_entry* e = record(archive);
  if (!e || !e->payload || !destination || e->size < 0) return 0;
  const auto size = static_cast<size_t>(e->size);
  int64_t n = length;
  if (length == -1) {
    size_t chars = strnlen(reinterpret_cast<const char*>(e->payload), size);
    if (chars == size) return 0;
    n = static_cast<int64_t>(chars) + 1;
  } else if (length == -2) {
    size_t units = wide_length(e->payload, size / 2);
    if (units == size / 2) return 0;
    n = 2 * static_cast<int64_t>(units) + 2;
  }
  if (n != e->size) return 0;
  std::memcpy(destination, e->payload, size);
  return 1;
}

int32_t arch_lock(arch_archive* archive, uint8_t** payload, int32_t* size) {
  arch_entry* e = record(archive);
  if (!e) return 0;
  const bool resident = e->offset == 0 && e->size != 0 && e->payload;
  if (!resident && !arch_fetch(archive, e)) return QUELT_FAILED("");
  if (payload) *payload = e->payload;
  if (size) *size = e->size;
  return 1;
}

int32_t arch_unlock(arch_archive* archive) {
  arch_entry* e = record(archive);
  if (!e) return 0;
  if (e->offset == 0) return 1;
  std::free(e->payload);
  e->payload = nullptr;
  return 1;
}

int32_t arch_hang(arch_archive* archive) {
  arch_entry* e = record(archive);
  if (!e || !e->payload) return 0;
  e->offset = 0;
  archive->modified = 1;
  return 1;
}

int32_t arch_modified(arch_archive* archive) {
  const int32_t flag = archive->modified;
  archive->modified = 0;
  return flag;
}

}  // extern "C"
