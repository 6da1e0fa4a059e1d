// Decisions of this implementation where the archive's behaviour needs pinning down:
// - A load ends on any input. A size field with its top bit set, or a payload that would begin
//   beyond what a 32-bit position addresses, fails the load like a malformed tag (trace ""), so
//   no seek ever goes backwards.
// - arch_load fails (trace "") when reading a tag fails in malloc, instead of taking
//   the failure for the end of the file: a directory cut short must not pass for the whole.
// - arch_load refuses a path of more than 255 characters (trace "fopen"): a shortened path could
//   name another file when payloads are fetched later.
// - arch_load refuses silently (0, nothing read) to load a file by another path into an archive
//   whose entries still have payloads in the file of its current `path`.
// - A load grows the directory geometrically and trims it to the vector's usual capacity at the
//   end; the directory costs the entries vector and nothing per entry.
// - When arch_ff fails, the record it made is released and its out pointer left untouched; a
//   failed arch_create stores what it built, for the caller's arch_release.
// - Names that would not read back are refused by arch_store, silently and before the file is
//   opened: a tag can hold 55 characters, so a leaf's name may have 1 to 53 characters and a
//   group's 0 to 52, and a leaf's name must not end in ":" or "." (it would read as a group
//   head or end). arch_post keeps up to 63 characters in memory; a name ending in ":" or "." is
//   fine for a group, since the marker is the character in front of "]".
// - arch_store also refuses silently an archive whose file would pass 2^31 - 1 bytes.
// - arch_store to a path other than `path` (compared as text) writes a copy: every payload
//   then stays in memory as its only copy (`offset` 0), so nothing is ever fetched from a file
//   that `path` does not name. arch_store to `path` itself leaves the payloads loaded with
//   their new offsets.
// - When arch_store fails after opening the file, every payload stays in memory as its only
//   copy (`offset` 0), since the file is incomplete. A failing fclose is traced "fclose".
// - An entry with `offset` 0, a size above 0 and no block has lost its only copy (after
//   arch_clean, or a failed arch_data): arch_fetch refuses it silently, so arch_lock and
//   arch_store fail with their trace; nothing is ever read from file position 0.
// - arch_fetch checks the payload against the file's length before it allocates, and a failed
//   fetch leaves `payload` as it was: a block without valid content never stays behind.
// - arch_fetch on an entry that already has a block reads into a fresh block and copies it over
//   the old one: the address a caller holds from arch_lock stays valid, nothing is leaked.
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

#include <quelt/base/trace.h>
#include <quelt/containers/sz8.h>
#include <quelt/containers/sz8_p.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

constexpr int32_t kHead = 1;
constexpr int32_t kLeaf = 0;
constexpr int32_t kEnd = -1;
constexpr size_t kName = sizeof(arch_entry{}.name);
constexpr size_t kPath = sizeof(arch_archive{}.path) - 1;
constexpr int32_t kMaxTag = 55;  // the longest tag a reader accepts
constexpr int64_t kMaxPosition = std::numeric_limits<int32_t>::max();

arch_entry* entry_at(vect_vector* v, int32_t index) {
  return reinterpret_cast<arch_entry*>(v->data) + index;
}

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
// one is kept (its next resize corrects it), so the pop itself never fails.
bool pop_index(vect_vector* v, int32_t* out) {
  if (v->size < 1) return false;
  std::memcpy(out, v->data + static_cast<size_t>(v->size - 1) * 4, 4);
  if (!vect_pop(v, nullptr)) v->size -= 1;
  return true;
}

// While a load appends, the step doubles with the capacity, so the directory is copied a
// logarithmic number of times instead of once per 32 entries.
void widen_step(vect_vector* v) {
  if (v->size == v->capacity && v->capacity > v->step) v->step = v->capacity;
}

// Back to the caller's step, with the capacity that step gives for the size. Without memory for
// the exact block the larger one stays; it is still the vector's to resize and free.
void settle_step(vect_vector* v, int32_t step) {
  v->step = step;
  if (v->size < 1) return;
  int64_t capacity = (v->size + static_cast<int64_t>(step) - 1) / step * step;
  if (capacity == v->capacity) return;
  auto* block = static_cast<uint8_t*>(std::malloc(static_cast<size_t>(capacity) * v->unit));
  if (!block) return;
  std::memcpy(block, v->data, static_cast<size_t>(v->size) * v->unit);
  std::free(v->data);
  v->data = block;
  v->capacity = static_cast<int32_t>(capacity);
}

uint32_t read_le32(const uint8_t* b) {
  return static_cast<uint32_t>(b[0]) | static_cast<uint32_t>(b[1]) << 8 |
         static_cast<uint32_t>(b[2]) << 16 | static_cast<uint32_t>(b[3]) << 24;
}

// Characters of the tag that the entry needs: the name plus "[", "]" and the kind's marker.
int64_t tag_length(const arch_entry* e) {
  return static_cast<int64_t>(strnlen(e->name, kName)) + (e->kind == kLeaf ? 2 : 3);
}

// True when the writer's tag for this entry reads back as the same kind and name.
bool storable(const arch_entry* e) {
  if (e->kind != kHead && e->kind != kLeaf && e->kind != kEnd) return false;
  size_t n = strnlen(e->name, kName);
  if (n == kName || tag_length(e) > kMaxTag) return false;
  if (e->kind != kEnd && e->size < 0) return false;
  if (e->kind == kLeaf) return n > 0 && e->name[n - 1] != ':' && e->name[n - 1] != '.';
  return true;
}

// Bytes that the entry takes in the file.
int64_t stored_length(const arch_entry* e) {
  int64_t tag = tag_length(e) / 8 * 8 + 8;
  return e->kind == kEnd ? tag : tag + 4 + e->size;
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

void trace_as(const char* func, int line, const char* what) {
  quelt::trace_fail(__FILE_NAME__, line, func, what);
  quelt::trace_exit(__FILE_NAME__, line, func);
}

// The work of arch_fetch on an open stream (opened here on first use, so that arch_store reads
// all payloads through one stream). Traces as arch_fetch. The file's length is checked before
// the block is allocated; a block already there is refreshed in place, so its address stays
// valid; on failure `payload` is left as it was.
int32_t fetch(arch_archive* a, arch_entry* e, FILE** stream, long* file_length) {
  if (!*stream) {
    *stream = std::fopen(a->path, "rb");
    if (!*stream) {
      trace_as("arch_fetch", __LINE__, "fopen");
      return 0;
    }
    *file_length = std::fseek(*stream, 0, SEEK_END) == 0 ? std::ftell(*stream) : -1;
  }
  const auto n = static_cast<size_t>(e->size);
  if (e->offset < 0 || std::fseek(*stream, e->offset, SEEK_SET) != 0) {
    trace_as("arch_fetch", __LINE__, "");
    return 0;
  }
  if (*file_length < 0 || static_cast<int64_t>(e->offset) + e->size > *file_length) {
    trace_as("arch_fetch", __LINE__, "");  // what fread would deliver short
    return 0;
  }
  auto* block = static_cast<uint8_t*>(std::malloc(n));
  if (!block) {
    trace_as("arch_fetch", __LINE__, "malloc");
    return 0;
  }
  if (std::fread(block, 1, n, *stream) != n) {
    std::free(block);
    trace_as("arch_fetch", __LINE__, "");
    return 0;
  }
  if (e->payload) {
    std::memcpy(e->payload, block, n);
    std::free(block);
  } else {
    e->payload = block;
  }
  return 1;
}

// An entry that arch_fetch can read: a record with bytes at a place in the file.
bool fetchable(const arch_entry* e) { return e->kind != kEnd && e->size > 0 && e->offset != 0; }

// After a failed write, or after writing a copy, the blocks are the only copies.
void make_resident(vect_vector* v) {
  for (int32_t i = 0; i < v->size; ++i) {
    arch_entry* e = entry_at(v, i);
    if (e->kind != kEnd) e->offset = 0;
  }
}

}  // namespace

extern "C" {

// ---- Life ------------------------------------------------------------------------------------

int32_t arch_create(arch_archive** archive) {
  auto* a = static_cast<arch_archive*>(std::malloc(sizeof(arch_archive)));
  *archive = a;
  if (!a) {
    QUELT_FAIL("malloc");
    QUELT_EXIT();
    return 0;
  }
  std::memset(a, 0, sizeof *a);
  if (!vect_create(&a->entries, sizeof(arch_entry)) || !vect_create(&a->bases, 4) ||
      !vect_create(&a->cursors, 4)) {
    QUELT_FAIL("");
    QUELT_EXIT();
    return 0;
  }
  return 1;
}

int32_t arch_load(arch_archive* archive, const char* path) {
  vect_vector* v = archive->entries;
  // Entries whose payloads lie in another file would be fetched from this one.
  if (path && std::strcmp(path, archive->path) != 0) {
    for (int32_t i = 0; i < v->size; ++i)
      if (fetchable(entry_at(v, i))) return 0;
  }
  FILE* f = !path || strnlen(path, kPath + 1) > kPath ? nullptr : std::fopen(path, "rb");
  if (!f) {
    QUELT_FAIL("fopen");
    QUELT_EXIT();
    return 0;
  }
  std::strncpy(archive->path, path, kPath);

  const int32_t step = v->step;
  char tag[64];
  for (;;) {
    bool failed = false;
    const int32_t n = quelt::sz8_read_checked(f, tag, &failed);
    // The end of the directory, unless the reader failed: a directory cut short by a failed
    // allocation must not pass for the whole file (a store would then drop the rest).
    if (n == 0 && !failed) break;
    if (failed || n < 3 || tag[0] != '[' || tag[n - 1] != ']') {
      std::fclose(f);
      settle_step(v, step);
      QUELT_FAIL("");
      QUELT_EXIT();
      return 0;
    }
    arch_entry e{};
    e.kind = tag[n - 2] == ':' ? kHead : tag[n - 2] == '.' ? kEnd : kLeaf;
    if (e.kind != kEnd) {
      uint8_t field[4];
      if (std::fread(field, 1, 4, f) != 4) {
        std::fclose(f);
        settle_step(v, step);
        QUELT_FAIL("fread");
        QUELT_EXIT();
        return 0;
      }
      const uint32_t size = read_le32(field);
      const long position = std::ftell(f);
      // A negative size would seek backwards, maybe into a loop; a position past 2^31 - 1 has
      // no `offset`. Both make the file unreadable.
      if (size > static_cast<uint32_t>(kMaxPosition) || position < 0 || position > kMaxPosition) {
        std::fclose(f);
        settle_step(v, step);
        QUELT_FAIL("");
        QUELT_EXIT();
        return 0;
      }
      e.size = static_cast<int32_t>(size);
      e.offset = static_cast<int32_t>(position);
      if (size > 0) std::fseek(f, static_cast<long>(size), SEEK_CUR);
    }
    std::memcpy(e.name, tag + 1, static_cast<size_t>(n - (e.kind == kLeaf ? 2 : 3)));
    widen_step(v);
    if (!vect_push(v, &e)) {
      std::fclose(f);
      settle_step(v, step);
      QUELT_FAIL("");
      QUELT_EXIT();
      return 0;
    }
  }
  std::fclose(f);
  settle_step(v, step);
  return 1;
}

int32_t arch_ff(arch_archive** archive, const char* path) {
  arch_archive* a = nullptr;
  if (!arch_create(&a)) {
    arch_release(&a);
    QUELT_FAIL("");
    QUELT_EXIT();
    return 0;
  }
  if (!arch_load(a, path)) {
    arch_release(&a);
    QUELT_FAIL("");
    QUELT_EXIT();
    return 0;
  }
  *archive = a;
  return 1;
}

void arch_clean(arch_archive* archive) {
  vect_vector* v = archive->entries;
  if (!v) return;
  arch_entry* e = nullptr;
  for (bool more = vect_first(v, nullptr, reinterpret_cast<void**>(&e)); more;
       more = vect_next(v, nullptr, reinterpret_cast<void**>(&e))) {
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
      QUELT_FAIL("");
      QUELT_EXIT();
      return 0;
    }
    if (!vect_at(v, cursor, nullptr, reinterpret_cast<void**>(&e))) {
      QUELT_FAIL("");
      QUELT_EXIT();
      return 0;
    }
  }
  if (e->kind != kHead) return 0;
  if (!vect_push(archive->bases, &archive->base)) {
    QUELT_FAIL("");
    QUELT_EXIT();
    return 0;
  }
  if (!vect_push(archive->cursors, &cursor)) {
    int32_t dropped;
    pop_index(archive->bases, &dropped);  // the stacks keep equal depth
    QUELT_FAIL("");
    QUELT_EXIT();
    return 0;
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
  for (bool more = vect_first(v, nullptr, reinterpret_cast<void**>(&e)); more;
       more = vect_next(v, nullptr, reinterpret_cast<void**>(&e))) {
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
    QUELT_FAIL("");
    QUELT_EXIT();
    return 0;
  }
  archive->modified = 1;
  return 1;
}

int32_t arch_touch(arch_archive* archive, const char* name) {
  if (!name) return 0;
  if (arch_first(archive, name)) return 1;
  if (!arch_post(archive, name)) {
    QUELT_FAIL("");
    QUELT_EXIT();
    return 0;
  }
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
  const int32_t size = v->size;
  if (!vect_erase(v, nullptr, start, count)) {
    // Only the smaller block was missing and the vector is as it was, but the run's payloads
    // are already gone: close the gap inside the present block rather than keep dead entries.
    if (count < 1 || v->size != size) {
      QUELT_FAIL("");
      QUELT_EXIT();
      return 0;
    }
    const size_t unit = sizeof(arch_entry);
    std::memmove(v->data + static_cast<size_t>(start) * unit, v->data + static_cast<size_t>(start + count) * unit,
                 static_cast<size_t>(size - start - count) * unit);
    v->size = size - count;
  }
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
      QUELT_FAIL("malloc");
      QUELT_EXIT();
      return 0;
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

int32_t arch_fetch(arch_archive* archive, arch_entry* entry) {
  // Nothing to read, or no place in the file: position 0 is never read.
  if (!entry || !fetchable(entry)) return 0;
  FILE* stream = nullptr;
  long length = -1;
  const int32_t ok = fetch(archive, entry, &stream, &length);
  if (stream) std::fclose(stream);
  return ok;
}

int32_t arch_lock(arch_archive* archive, uint8_t** payload, int32_t* size) {
  arch_entry* e = record(archive);
  if (!e) return 0;
  const bool resident = e->offset == 0 && e->size != 0 && e->payload;
  if (!resident && !arch_fetch(archive, e)) {
    QUELT_FAIL("");
    QUELT_EXIT();
    return 0;
  }
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

int32_t arch_store(arch_archive* archive, const char* path) {
  vect_vector* v = archive->entries;
  // Refuse, before anything is touched, what the file could not give back.
  int64_t total = 0;
  for (int32_t i = 0; i < v->size; ++i) {
    const arch_entry* e = entry_at(v, i);
    if (!storable(e)) return 0;
    total += stored_length(e);
  }
  if (total > kMaxPosition) return 0;

  // Bring every payload into memory through one stream, so that the file can be truncated
  // even when it is the one the payloads come from.
  FILE* source = nullptr;
  long source_length = -1;
  arch_entry* e = nullptr;
  for (bool more = vect_first(v, nullptr, reinterpret_cast<void**>(&e)); more;
       more = vect_next(v, nullptr, reinterpret_cast<void**>(&e))) {
    if (e->kind == kEnd || e->size <= 0 || e->payload) continue;
    if (!fetchable(e) || !fetch(archive, e, &source, &source_length)) {
      if (source) std::fclose(source);
      QUELT_FAIL("");
      QUELT_EXIT();
      return 0;
    }
  }
  if (source) std::fclose(source);

  const bool own = !path || std::strcmp(path, archive->path) == 0;
  FILE* f = std::fopen(path ? path : archive->path, "wb");
  if (!f) {
    QUELT_FAIL("fopen");
    QUELT_EXIT();
    return 0;
  }
  // A larger buffer gives fewer, larger writes; without one the stream's own does.
  constexpr size_t kBuffer = 1 << 16;
  char* buffer = static_cast<char*>(std::malloc(kBuffer));
  if (buffer) std::setvbuf(f, buffer, _IOFBF, kBuffer);
  // The old content is gone (if this was the archive's file): only the blocks hold payloads
  // until their new place is written.
  make_resident(v);
  // The file was truncated, so positions are counted rather than asked of ftell (a system call
  // per record in a common C library).
  int64_t position = 0;
  char tag[kName + 4];
  for (bool more = vect_first(v, nullptr, reinterpret_cast<void**>(&e)); more;
       more = vect_next(v, nullptr, reinterpret_cast<void**>(&e))) {
    const int name = static_cast<int>(strnlen(e->name, kName));
    std::snprintf(tag, sizeof tag, e->kind == kHead ? "[%.*s:]" : e->kind == kEnd ? "[%.*s.]" : "[%.*s]",
                  name, e->name);
    if (!quelt::sz8_write_appending(f, tag)) {
      std::fclose(f);
      std::free(buffer);
      make_resident(v);
      QUELT_FAIL("");
      QUELT_EXIT();
      return 0;
    }
    position += stored_length(e);
    if (e->kind == kEnd) continue;
    const auto size = static_cast<uint32_t>(e->size);
    const uint8_t field[4] = {static_cast<uint8_t>(size), static_cast<uint8_t>(size >> 8),
                              static_cast<uint8_t>(size >> 16), static_cast<uint8_t>(size >> 24)};
    if (std::fwrite(field, 1, 4, f) != 4 || (size > 0 && std::fwrite(e->payload, 1, size, f) != size)) {
      std::fclose(f);
      std::free(buffer);
      make_resident(v);
      QUELT_FAIL("fwrite");
      QUELT_EXIT();
      return 0;
    }
    if (own) e->offset = static_cast<int32_t>(position - size);
  }
  const int closed = std::fclose(f);
  std::free(buffer);
  if (closed != 0) {
    make_resident(v);
    QUELT_FAIL("fclose");
    QUELT_EXIT();
    return 0;
  }
  return 1;
}

int32_t arch_modified(arch_archive* archive) {
  const int32_t flag = archive->modified;
  archive->modified = 0;
  return flag;
}

}  // extern "C"
