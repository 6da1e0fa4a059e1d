/* The archive: a named tree of records, each with an optional block of payload bytes, kept in
   one file and edited in memory.

   The tree is one flat vector of arch_entry in file order: a group head (kind 1) opens a level,
   its group end (kind -1, same name, no payload) closes it, a leaf (kind 0) has no children. The
   file is those entries in order, with no header: each a padded tag "[name:]", "[name]" or
   "[name.]", then for heads and leaves a 4-byte little-endian size and the payload bytes.
   Opening reads the directory alone; payloads stay on disk until locked, and every access to
   one opens the file again. One cursor (the `iter` of `entries`) walks the tree; `base` is the
   first entry of the current level, and the `bases` and `cursors` stacks remember the levels
   above. `offset` says who holds the truth: above 0 the file holds the payload there and any
   block is a loaded copy; 0 means the block, if any, is the only copy.

   Decisions of this implementation on what the design leaves open:
   - A load ends on any input. A size field with its top bit set, or a payload that would begin
     beyond what a 32-bit position addresses, fails the load like a malformed tag (trace ""), so
     no seek ever goes backwards.
   - arch_load reads the directory through a 64 KiB window of the file instead of one small
     read per tag: a payload that ends inside the window, or soon behind it, is passed over in
     the buffer; a longer one is passed with one seek and never read. Tags are judged as
     sz8_read judges them, and no payload is loaded.
   - arch_load refuses a path of more than 255 characters (trace "fopen"): a shortened path could
     name another file when payloads are fetched later.
   - arch_load refuses silently (0, nothing read) to load a file by another path into an archive
     whose entries still have payloads in the file their offsets refer to.
   - A load grows the directory geometrically and trims it to the vector's usual capacity at the
     end; the directory costs the entries vector and nothing per entry.
   - When arch_ff fails, the record it made is released and its out pointer left untouched; a
     failed arch_create stores what it built, for the caller's arch_release.
   - Names that would not read back are refused by arch_store, silently and before the file is
     opened: a tag can hold 55 characters, so a leaf's name may have 1 to 53 characters and a
     group's 0 to 52, and a leaf's name must not end in ":" or "." (it would read as a group
     head or end). arch_post keeps up to 63 characters in memory; a name ending in ":" or "." is
     fine for a group, since the marker is the character in front of "]".
   - arch_store also refuses silently an archive whose file would pass 2^31 - 1 bytes.
   - arch_store to a path other than `path` (compared as text) gives every record the offset of
     its payload in that file, as a store to `path` does, and `path` stays. The library then
     remembers that the offsets belong to the other file: fetches (arch_lock, arch_fetch, the
     first pass of a later store) read that file, until a store to `path` or a load puts the
     offsets back into `path`. When that path has more than 255 characters, or there is no
     memory to remember it, every payload stays in memory as its only copy (`offset` 0).
   - When arch_store fails after opening the file, every payload stays in memory as its only
     copy (`offset` 0), since the file is incomplete. A failing fclose is traced "fclose".
   - An entry with `offset` 0, a size above 0 and no block has lost its only copy (after
     arch_clean, or a failed arch_data): arch_fetch refuses it silently, so arch_lock and
     arch_store fail with their trace; nothing is ever read from file position 0.
   - arch_fetch checks the payload against the file's length before it allocates, and a failed
     fetch leaves `payload` as it was: a block without valid content never stays behind.
   - arch_fetch on an entry that already has a block reads into a fresh block and copies it over
     the old one: the address a caller holds from arch_lock stays valid, nothing is leaked.
   - arch_read with -1 or -2 finds the terminator only inside the block; a payload without one
     is refused. arch_data measures a -1 or -2 source that lies inside the record's own block
     only within that block, and refuses a null source with -1 or -2 and any other negative
     length. A length of 0 leaves the record empty, with no block.
   - arch_data allocates the new block before it lets the old one go, so a source inside the old
     block is copied safely; when malloc fails the old block is gone all the same (`payload`
     null, `size` and `offset` as they were).
   - arch_crap on a group end refuses silently (0, nothing printed): the end is not a record and
     the directory stays balanced. If the directory's block cannot shrink after a deletion, the
     larger block is kept and the deletion still completes.
   - arch_enter keeps the two stacks at equal depth: when the second push fails the first is
     taken back; when the group end cannot be inserted, the leaf stays a leaf. arch_leave pops
     both stacks even when a smaller block cannot be had.
   - A null name for arch_post or arch_touch refuses silently. Names are compared within the 64
     characters of the field. */
#ifndef QUELT_ARCHIVE_ARCH_H
#define QUELT_ARCHIVE_ARCH_H

#include <stdint.h>
#include <quelt/base/export.h>
#include <quelt/containers/vector.h>

QUELT_EXTERN_C_BEGIN

typedef struct arch_entry {
  int32_t kind;
  char name[64];
  int32_t size;
  int32_t offset;
  uint8_t* payload;
} arch_entry;

typedef struct arch_archive {
  char path[256];
  vect_vector* entries;
  vect_vector* cursors;
  vect_vector* bases;
  int32_t base;
  int32_t modified;
} arch_archive;

/* Life */
QUELT_API int32_t arch_create(arch_archive** archive);
QUELT_API int32_t arch_load(arch_archive* archive, const char* path);
QUELT_API int32_t arch_ff(arch_archive** archive, const char* path);
QUELT_API void arch_clean(arch_archive* archive);
QUELT_API void arch_unload(arch_archive* archive);
QUELT_API void arch_release(arch_archive** archive);

/* Cursor */
QUELT_API int32_t arch_first(arch_archive* archive, const char* name);
QUELT_API int32_t arch_next(arch_archive* archive, const char* name);
QUELT_API int32_t arch_enter(arch_archive* archive);
QUELT_API int32_t arch_leave(arch_archive* archive);
QUELT_API int32_t arch_home(arch_archive* archive);
QUELT_API void arch_end(arch_archive* archive);
QUELT_API void arch_dump(arch_archive* archive);

/* Records; lengths of -1 and -2 mean a zero-terminated narrow or 16-bit string with its
   terminator. */
QUELT_API int32_t arch_post(arch_archive* archive, const char* name);
QUELT_API int32_t arch_touch(arch_archive* archive, const char* name);
QUELT_API int32_t arch_crap(arch_archive* archive);
QUELT_API int32_t arch_data(arch_archive* archive, const void* source, int32_t length);
QUELT_API int32_t arch_read(arch_archive* archive, void* destination, int32_t length);
QUELT_API int32_t arch_fetch(arch_archive* archive, arch_entry* entry);
QUELT_API int32_t arch_lock(arch_archive* archive, uint8_t** payload, int32_t* size);
QUELT_API int32_t arch_unlock(arch_archive* archive);
QUELT_API int32_t arch_hang(arch_archive* archive);
QUELT_API int32_t arch_store(arch_archive* archive, const char* path);
QUELT_API int32_t arch_modified(arch_archive* archive);

QUELT_EXTERN_C_END

#endif
