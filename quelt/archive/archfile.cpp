// The archive's file: reading the directory, fetching payloads, writing the whole file. Knows
// the entries and the vector that holds them, nothing of the cursor or the levels.
//
// Decisions of this implementation where the archive's behaviour needs pinning down:
// - A load ends on any input. A size field with its top bit set, or a payload that would begin
//   beyond what a 32-bit position addresses, fails the load like a malformed tag (trace ""), so
//   no seek ever goes backwards.
// - A load reads the directory through a 64 KiB window of the file instead of one small read
//   per tag: a payload that ends inside the window, or soon behind it, is passed over in the
//   buffer, a longer one with one seek, unread. Tags are judged as sz8_read judges them, and
//   no payload is loaded.
// - arch_load refuses a path of more than 255 characters (trace "fopen"): a shortened path could
//   name another file when payloads are fetched later.
// - arch_load refuses silently (0, nothing read) to load a file by another path into an archive
//   whose entries still have payloads in the file their offsets refer to.
// - A load grows the directory geometrically and trims it to the vector's usual capacity at the
//   end; the directory costs the entries vector and nothing per entry.
// - Names that would not read back are refused by arch_store, silently and before the file is
//   opened: a tag can hold 55 characters, so a leaf's name may have 1 to 53 characters and a
//   group's 0 to 52, and a leaf's name must not end in ":" or "." (it would read as a group
//   head or end). arch_post keeps up to 63 characters in memory; a name ending in ":" or "." is
//   fine for a group, since the marker is the character in front of "]".
// - arch_store also refuses silently an archive whose file would pass 2^31 - 1 bytes.
// - arch_store to a path other than `path` (compared as text) gives every record the offset of
//   its payload in that file, as a store to `path` does, and `path` stays. The offsets are
//   remembered to belong to that file: fetches (arch_lock, arch_fetch, the first pass of a later
//   store) read it, until a store to `path` or a load puts the offsets back into `path`. When
//   that path has more than 255 characters, or there is no memory to remember it, every
//   payload stays in memory as its only copy (`offset` 0).
// - When arch_store fails after opening the file, every payload stays in memory as its only
//   copy (`offset` 0), since the file is incomplete. A failing fclose is traced "fclose".
// - An entry with `offset` 0, a size above 0 and no block has lost its only copy (after
//   arch_clean, or a failed arch_data): arch_fetch refuses it silently, so arch_lock and
//   arch_store fail with their trace; nothing is ever read from file position 0.
// - arch_fetch checks the payload against the file's length before it allocates, and a failed
//   fetch leaves `payload` as it was: a block without valid content never stays behind.
// - arch_fetch on an entry that already has a block reads into a fresh block and copies it over
//   the old one: the address a caller holds from arch_lock stays valid, nothing is leaked.
#include <quelt/archive/arch.h>

#include <quelt/archive/arch_p.h>
#include <quelt/base/bytes_p.h>
#include <quelt/base/file_p.h>
#include <quelt/base/trace.h>
#include <quelt/containers/sz8_p.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

using namespace quelt;

namespace {

constexpr size_t kPath = sizeof(arch_archive{}.path) - 1;
constexpr int32_t kMaxTag = 55;  // the longest tag a reader accepts
constexpr size_t kTagBlocks = 64;  // more bytes of blocks than a readable tag takes

using File = file_ptr;

// The directory is read through a window of the file: the records between payloads come from
// one buffer, a payload that ends inside it is passed without a system call, a short one beyond
// it is read through by the next refill, and a long one is passed with a seek, unread.
class Window {
 public:
  static constexpr size_t kSize = 64 * 1024;
  explicit Window(FILE* f) : f_(f) { std::setvbuf(f, nullptr, _IONBF, 0); }  // reads land here directly

  const uint8_t* front() const { return buffer_ + at_; }
  int64_t position() const { return start_ + static_cast<int64_t>(at_); }
  void take(size_t n) { at_ += n; }  // n no more than fill gave

  // Brings up to n bytes (n far below kSize) to the front; fewer only at the end of the file.
  size_t fill(size_t n) {
    while (end_ - at_ < n && !ended_) {
      std::memmove(buffer_, buffer_ + at_, end_ - at_);
      start_ += static_cast<int64_t>(at_);
      end_ -= at_;
      at_ = 0;
      const size_t got = std::fread(buffer_ + end_, 1, kSize - end_, f_);
      ended_ = got < kSize - end_;
      end_ += got;
      if (pass_ > 0) {  // the rest of a payload read through: drop it
        at_ = end_ < pass_ ? end_ : pass_;
        pass_ -= at_;
      }
    }
    return end_ - at_;
  }

  void skip(uint32_t n) {
    const size_t here = end_ - at_;
    if (n <= here) {
      at_ += n;
      return;
    }
    start_ += static_cast<int64_t>(end_);
    at_ = end_ = 0;
    const int64_t rest = n - static_cast<int64_t>(here);
    if (rest < static_cast<int64_t>(kSize)) {
      pass_ = static_cast<size_t>(rest);
    } else {
      start_ += rest;
      ended_ = ended_ || std::fseek(f_, static_cast<long>(rest), SEEK_CUR) != 0;
    }
  }

 private:
  FILE* f_;
  int64_t start_ = 0;  // file position of buffer_[0]
  size_t at_ = 0, end_ = 0;
  size_t pass_ = 0;  // bytes at the next refill that belong to a payload
  bool ended_ = false;
  uint8_t buffer_[kSize];
};

// The padded tag at p, as sz8_read reads it from a stream: its length (1 to 55) and the bytes
// of its blocks, or 0 at the end of the file, for more than 63 bytes of blocks or an empty text.
int32_t tag_at(const uint8_t* p, size_t available, size_t* blocks) {
  for (size_t end = 8; end <= available && end < kTagBlocks; end += 8) {
    if (p[end - 1] != 0) continue;
    *blocks = end;
    return static_cast<int32_t>(strnlen(reinterpret_cast<const char*>(p), end));
  }
  return 0;
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

// An entry that arch_fetch can read: a record with bytes at a place in the file.
bool fetchable(const arch_entry* e) { return e->kind != kEnd && e->size > 0 && e->offset != 0; }

bool any_fetchable(const vect_vector* v) {
  for (int32_t i = 0; i < v->size; ++i)
    if (fetchable(entry_at(v, i))) return true;
  return false;
}

// After a failed write the blocks are the only copies.
void make_resident(vect_vector* v) {
  for (int32_t i = 0; i < v->size; ++i)
    if (arch_entry* e = entry_at(v, i); e->kind != kEnd) e->offset = 0;
}

// The file the offsets refer to after a store to another path: `path` keeps naming the
// archive's own file, so the offsets into the copy are remembered here, one node per archive,
// until a store to `path` or a load puts them back into `path`.
struct Origin {
  const arch_archive* archive;
  Origin* next;
  char path[kPath + 1];
};
Origin* origins = nullptr;

Origin** find_origin(const arch_archive* a) {
  Origin** o = &origins;
  while (*o && (*o)->archive != a) o = &(*o)->next;
  return o;
}

const char* source_of(const arch_archive* a) {
  const Origin* o = *find_origin(a);
  return o ? o->path : a->path;
}

// The work of arch_fetch on an open stream (opened here on first use, so that arch_store reads
// all payloads through one stream). Traces as arch_fetch. The file's length is checked before
// the block is allocated; a block already there is refreshed in place, so its address stays
// valid; on failure `payload` is left as it was.
int32_t fetch(arch_archive* a, arch_entry* e, File* stream, long* file_length) {
  if (!*stream) {
    stream->reset(std::fopen(source_of(a), "rb"));
    if (!*stream) return QUELT_FAILED_AS("arch_fetch", "fopen");
    *file_length = static_cast<long>(file_size(stream->get()));
  }
  const auto n = static_cast<size_t>(e->size);
  if (e->offset < 0 || std::fseek(stream->get(), e->offset, SEEK_SET) != 0)
    return QUELT_FAILED_AS("arch_fetch", "");
  if (*file_length < 0 || static_cast<int64_t>(e->offset) + e->size > *file_length)
    return QUELT_FAILED_AS("arch_fetch", "");  // what fread would deliver short
  auto* block = static_cast<uint8_t*>(std::malloc(n));
  if (!block) return QUELT_FAILED_AS("arch_fetch", "malloc");
  if (std::fread(block, 1, n, stream->get()) != n) {
    std::free(block);
    return QUELT_FAILED_AS("arch_fetch", "");
  }
  if (e->payload) {
    std::memcpy(e->payload, block, n);
    std::free(block);
  } else {
    e->payload = block;
  }
  return 1;
}

}  // namespace

void quelt::arch_forget_origin(const arch_archive* archive) {
  Origin** o = find_origin(archive);
  if (Origin* dead = *o) {
    *o = dead->next;
    std::free(dead);
  }
}

extern "C" {

int32_t arch_load(arch_archive* archive, const char* path) {
  vect_vector* v = archive->entries;
  // Entries whose payloads lie in another file would be fetched from this one.
  if (path && std::strcmp(path, source_of(archive)) != 0 && any_fetchable(v)) return 0;
  File f(!path || strnlen(path, kPath + 1) > kPath ? nullptr : std::fopen(path, "rb"));
  if (!f) return QUELT_FAILED("fopen");
  std::strncpy(archive->path, path, kPath);
  arch_forget_origin(archive);  // every fetchable entry is in `path` now

  struct Settle {  // appends run geometrically; the capacity settles on every way out
    vect_vector* v;
    ~Settle() { vect_settle(v); }
  } settle{v};
  Window window(f.get());
  for (;;) {
    size_t blocks = 0;
    const int32_t n = tag_at(window.front(), window.fill(kTagBlocks), &blocks);
    if (n == 0) return 1;  // the end of the directory
    const auto* tag = reinterpret_cast<const char*>(window.front());
    if (n < 3 || tag[0] != '[' || tag[n - 1] != ']') return QUELT_FAILED("");
    arch_entry e{};
    e.kind = tag[n - 2] == ':' ? kHead : tag[n - 2] == '.' ? kEnd : kLeaf;
    std::memcpy(e.name, tag + 1, static_cast<size_t>(n - (e.kind == kLeaf ? 2 : 3)));
    window.take(blocks);
    if (e.kind != kEnd) {
      if (window.fill(4) < 4) return QUELT_FAILED("fread");
      const uint32_t size = le32(window.front());
      window.take(4);
      // A negative size would seek backwards, maybe into a loop; a position past 2^31 - 1 has
      // no `offset`. Both make the file unreadable.
      if (size > static_cast<uint32_t>(kMaxPosition) || window.position() > kMaxPosition) {
        return QUELT_FAILED("");
      }
      e.size = static_cast<int32_t>(size);
      e.offset = static_cast<int32_t>(window.position());
      window.skip(size);
    }
    if (!vect_append(v, &e)) return QUELT_FAILED("");
  }
}

int32_t arch_fetch(arch_archive* archive, arch_entry* entry) {
  // Nothing to read, or no place in the file: position 0 is never read.
  if (!entry || !fetchable(entry)) return 0;
  File stream;
  long length = -1;
  return fetch(archive, entry, &stream, &length);
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
  {
    File source;
    long source_length = -1;
    arch_entry* e = nullptr;
    for (e = first_entry(v); e; e = next_entry(v)) {
      if (e->kind == kEnd || e->size <= 0 || e->payload) continue;
      if (!fetchable(e) || !fetch(archive, e, &source, &source_length)) {
        return QUELT_FAILED("");
      }
    }
  }

  // A copy under another path: its offsets go to the list of origins, so that fetches read
  // the copy. Without room for that the blocks stay the only copies, as after a failed write.
  const char* target = path ? path : archive->path;
  const bool own = std::strcmp(target, archive->path) == 0;
  const bool named = strnlen(target, kPath + 1) <= kPath;
  Origin* origin = own || !named ? nullptr : *find_origin(archive);
  const bool fresh = !own && named && !origin;
  if (fresh) origin = static_cast<Origin*>(std::malloc(sizeof(Origin)));
  std::unique_ptr<Origin, decltype(&std::free)> unused(fresh ? origin : nullptr, &std::free);

  FILE* f = std::fopen(target, "wb");
  if (!f) return QUELT_FAILED("fopen");
  // A larger buffer gives fewer, larger writes; without one the stream's own does.
  constexpr size_t kBuffer = 1 << 16;
  std::unique_ptr<char, decltype(&std::free)> buffer(static_cast<char*>(std::malloc(kBuffer)), &std::free);
  if (buffer) std::setvbuf(f, buffer.get(), _IOFBF, kBuffer);
  // The old content is gone (if this was the archive's file): only the blocks hold payloads
  // until their new place is written.
  make_resident(v);
  // The file was truncated, so positions are counted rather than asked of ftell (a system call
  // per record in a common C library).
  int64_t position = 0;
  char tag[kName + 4];
  arch_entry* e = nullptr;
  for (e = first_entry(v); e; e = next_entry(v)) {
    const int name = static_cast<int>(strnlen(e->name, kName));
    std::snprintf(tag, sizeof tag, e->kind == kHead ? "[%.*s:]" : e->kind == kEnd ? "[%.*s.]" : "[%.*s]",
                  name, e->name);
    if (!sz8_write_appending(f, tag)) {
      std::fclose(f);
      make_resident(v);
      return QUELT_FAILED("");
    }
    position += stored_length(e);
    if (e->kind == kEnd) continue;
    const auto size = static_cast<uint32_t>(e->size);
    const uint8_t field[4] = {static_cast<uint8_t>(size), static_cast<uint8_t>(size >> 8),
                              static_cast<uint8_t>(size >> 16), static_cast<uint8_t>(size >> 24)};
    if (std::fwrite(field, 1, 4, f) != 4 || (size > 0 && std::fwrite(e->payload, 1, size, f) != size)) {
      std::fclose(f);
      make_resident(v);
      return QUELT_FAILED("fwrite");
    }
    e->offset = static_cast<int32_t>(position - size);
  }
  if (std::fclose(f) != 0) {
    make_resident(v);
    return QUELT_FAILED("fclose");
  }
  if (!origin) {
    arch_forget_origin(archive);
    if (!own) make_resident(v);
  } else {
    std::strncpy(origin->path, target, kPath + 1);
    if (fresh) {
      origin->archive = archive;
      origin->next = origins;
      origins = unused.release();
    }
  }
  return 1;
}

}  // extern "C"
