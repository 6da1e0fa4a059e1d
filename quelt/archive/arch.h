/** @file
   The archive: a tree of named records, each with an optional block of payload bytes, kept in
   one file and edited in memory.

   The tree is one flat vector of arch_entry in file order: a group head (`kind` 1) opens a
   level, its group end (`kind` -1, same name, no payload) closes it, a leaf (`kind` 0) has no
   members. Loading reads the directory alone; a payload stays in the file until it is locked,
   and each access to it opens the file again. One cursor walks the tree: arch_first and
   arch_next move within the current level, arch_enter and arch_leave go down and up.

   A payload is in one of four states: empty; stored (only in the file, `offset` above 0, no
   block); loaded (a copy in memory, dropped again by arch_unlock); resident (`offset` 0, the
   block is the only copy, written by the next arch_store).

   The file is the entries in order, with no header: each a padded tag (containers/sz8.h)
   "[name:]" for a head, "[name]" for a leaf or "[name.]" for a group end, then for heads and
   leaves a 4-byte little-endian size and the payload bytes. A leaf's name has 1 to 53
   characters and must not end in ":" or "."; a group's has 0 to 52.

   Operations that can fail return 1 on success and 0 on failure; a failure listed under
   "Failure trace" prints the library's failure trace (base/trace.h), any other is silent.

   @code
   arch_archive* a = NULL;
   if (arch_ff(&a, "settings.arch")) {
     int32_t runs = 0;
     if (arch_first(a, "runs") && arch_lock(a, NULL, NULL)) {
       arch_read(a, &runs, sizeof runs);
       arch_unlock(a);
     }
     runs++;
     arch_home(a);
     arch_touch(a, "runs");
     arch_data(a, &runs, sizeof runs);
     if (arch_modified(a)) arch_store(a, NULL);
     arch_release(&a);
   }
   @endcode */
#ifndef QUELT_ARCHIVE_ARCH_H
#define QUELT_ARCHIVE_ARCH_H

#include <stdint.h>
#include <quelt/base/export.h>
#include <quelt/containers/vector.h>

QUELT_EXTERN_C_BEGIN

/** One record of the directory. */
typedef struct arch_entry {
  int32_t kind;     /**< 1 a group head, 0 a leaf, -1 a group end. */
  char name[64];    /**< The zero-terminated name; compared exactly, case-sensitive. */
  int32_t size;     /**< Payload size in bytes. */
  int32_t offset;   /**< Position of the payload in the file; 0 when the block is the only copy. */
  uint8_t* payload; /**< The payload in memory, or null. */
} arch_entry;

/** An archive in memory. Made by arch_create or arch_ff, ended by arch_release. */
typedef struct arch_archive {
  char path[256];        /**< The file loaded, from which payloads are fetched; empty if none. */
  vect_vector* entries;  /**< The directory, arch_entry in file order; its `iter` is the cursor. */
  vect_vector* cursors;  /**< Cursors of the levels entered, one per arch_enter. */
  vect_vector* bases;    /**< `base` of the levels entered, one per arch_enter. */
  int32_t base;          /**< Index of the first entry of the current level. */
  int32_t modified;      /**< Raised by every change; read and cleared by arch_modified. */
} arch_archive;

/** Makes an empty archive. The pointer is stored at once: null when the record cannot be
   allocated, the partly built record (for arch_release) when a vector cannot be made.
   @param archive receives the new archive.
   @return 1, or 0 on failure.
   @par Failure trace
   "malloc" when the record cannot be allocated; "" when a vector cannot be made. */
QUELT_API int32_t arch_create(arch_archive** archive);
/** Reads the directory of a file and appends it to `entries`; the payloads stay in the file.
   Belongs on an archive without entries, since `path` then applies to all of them. Refused
   silently (0) when entries still have payloads in the file of another `path`. When the load
   fails on the way, the entries read so far stay and `path` stays set.
   @param archive the archive.
   @param path the file, at most 255 characters.
   @return 1, or 0 on failure.
   @par Failure trace
   "fopen" when the file cannot be opened or the path is too long; "" for a malformed tag, a
   size field with its top bit set, or when the directory cannot grow; "fread" when a size
   field cannot be read. */
QUELT_API int32_t arch_load(arch_archive* archive, const char* path);
/** Makes an archive and loads a file into it (arch_create, then arch_load).
   @param archive receives the new archive on success only; untouched on failure.
   @param path the file.
   @return 1, or 0 on failure (the record made is released).
   @par Failure trace
   "" when either step fails. */
QUELT_API int32_t arch_ff(arch_archive** archive, const char* path);
/** Frees every payload block in memory. A resident payload is lost with its block.
   @param archive the archive. */
QUELT_API void arch_clean(arch_archive* archive);
/** arch_clean, then empties the directory. Use it at the top level; the cursor must be
   placed again (arch_first, arch_home) after a new load.
   @param archive the archive. */
QUELT_API void arch_unload(arch_archive* archive);
/** Frees the archive and everything in it, and sets the caller's pointer to null.
   @param archive address of the pointer to the archive. */
QUELT_API void arch_release(arch_archive** archive);

/** Moves the cursor to the current level's first member, or its first member of that name.
   @param archive the archive.
   @param name the name to find (exact, case-sensitive), or null for any member.
   @return 1 with the cursor on the member; 0 silently when there is none (the cursor then
           stands on the level's group end, or past the last entry at the top level). */
QUELT_API int32_t arch_first(arch_archive* archive, const char* name);
/** Moves the cursor past the current member, and any group it opens, to the next member of
   the level, or the next one of that name. A failure at the end of a group leaves the cursor
   on its group end; a second call moves it out of the level.
   @param archive the archive.
   @param name the name to find, or null for any member.
   @return 1 with the cursor on the member, or 0 silently when there is none. */
QUELT_API int32_t arch_next(arch_archive* archive, const char* name);
/** Goes into the group under the cursor; a leaf becomes a group (keeping its payload, without
   raising `modified`). The cursor then stands on the group's first member, or on its group
   end when the group is empty.
   @param archive the archive.
   @return 1, or 0 (silently for a cursor off the end or on a group end).
   @par Failure trace
   "" when the group end cannot be inserted or the level cannot be remembered. */
QUELT_API int32_t arch_enter(arch_archive* archive);
/** Goes back to the level that was entered last, with the cursor on the group's head.
   @param archive the archive.
   @return 1, or 0 silently at the top level. */
QUELT_API int32_t arch_leave(arch_archive* archive);
/** Moves the cursor to the first entry of the current level.
   @param archive the archive.
   @return 1, or 0 silently when the top level is empty. */
QUELT_API int32_t arch_home(arch_archive* archive);
/** Moves the cursor to where a new last member of the current level belongs: the level's
   group end, or past the last entry at the top level. The cursor must stand inside the level.
   @param archive the archive. */
QUELT_API void arch_end(arch_archive* archive);
/** Prints the whole tree on standard output, one entry a line, indented by depth (up to 31
   spaces): "[name:] (size: N)" for a head, "[name] (size: N)" for a leaf, "[name.]" for a group
   end. Leaves the cursor past the last entry.
   @param archive the archive. */
QUELT_API void arch_dump(arch_archive* archive);

/** Adds a new empty leaf as the last member of the current level, with the cursor on it.
   Existing names are not looked at, so a level may hold two members of one name.
   @param archive the archive.
   @param name the name; the first 63 characters are kept. Null refuses silently.
   @return 1, or 0 on failure.
   @par Failure trace
   "" when the directory cannot grow. */
QUELT_API int32_t arch_post(arch_archive* archive, const char* name);
/** Moves the cursor to the level's first member of that name, adding it (arch_post) when
   there is none.
   @param archive the archive.
   @param name the name. Null refuses silently.
   @return 1 with the cursor on the member, or 0 on failure.
   @par Failure trace
   "" when the member cannot be added. */
QUELT_API int32_t arch_touch(arch_archive* archive, const char* name);
/** Deletes the record under the cursor, with all it contains when it is a group, and frees
   their blocks. Prints "crap: NAME" on standard output. After a group was deleted, place the
   cursor again with arch_first or arch_home.
   @param archive the archive.
   @return 1, or 0 on failure (silently, printing nothing, for a cursor on a group end).
   @par Failure trace
   "" for a cursor off the end. */
QUELT_API int32_t arch_crap(arch_archive* archive);
/** Replaces the payload of the record under the cursor with a copy of `length` bytes, which
   becomes the only copy (resident). A length of 0 leaves the record empty, with no block.
   @param archive the archive.
   @param source the bytes, or null for zeros (null is refused with -1 and -2).
   @param length number of bytes; -1 a zero-terminated narrow string and -2 a zero-terminated
          string of 16-bit units, each with its terminator.
   @return 1, or 0 (silently for a cursor off the end or on a group end, or a bad length).
   @par Failure trace
   "malloc" when the block cannot be allocated; the old block is then gone already. */
QUELT_API int32_t arch_data(arch_archive* archive, const void* source, int32_t length);
/** Copies the payload of the record under the cursor; it must be in memory (arch_lock).
   There is no partial read: the length must equal the payload's size.
   @param archive the archive.
   @param destination receives the bytes.
   @param length the payload's size; -1 or -2 for a narrow or 16-bit string whose terminator
          ends the payload.
   @return 1, or 0 silently for a cursor off the end or on a group end, a payload not in memory
           or a length that does not match. */
QUELT_API int32_t arch_read(arch_archive* archive, void* destination, int32_t length);
/** Reads an entry's payload from the archive's file into a block. A block the entry already
   has is overwritten in place, so an address from arch_lock stays valid.
   @param archive the archive.
   @param entry an entry of the archive.
   @return 1, or 0 on failure (silently for a group end, an empty payload or a payload that is
           neither in the file nor in memory); a failure leaves `payload` as it was.
   @par Failure trace
   "malloc" when the block cannot be allocated; "fopen" when the file cannot be opened; "" when
   the payload cannot be reached or read whole (a seek fails, the file is too short). */
QUELT_API int32_t arch_fetch(arch_archive* archive, arch_entry* entry);
/** Makes the payload of the record under the cursor available in memory, reading it from
   the file unless the block is the only copy. Changes to it are dropped at arch_unlock unless
   arch_hang comes first.
   @param archive the archive.
   @param payload receives the block's address; may be null.
   @param size receives the payload's size; may be null.
   @return 1, or 0 (silently for a cursor off the end or on a group end).
   @par Failure trace
   "" when the payload cannot be fetched, also for an empty payload. */
QUELT_API int32_t arch_lock(arch_archive* archive, uint8_t** payload, int32_t* size);
/** Frees a loaded copy of the payload under the cursor; a resident block is kept.
   @param archive the archive.
   @return 1, or 0 silently for a cursor off the end or on a group end. */
QUELT_API int32_t arch_unlock(arch_archive* archive);
/** Keeps the changes made through arch_lock's pointer: the block becomes the payload's only
   copy, written by the next arch_store.
   @param archive the archive.
   @return 1, or 0 silently for a cursor off the end, on a group end, or with no block. */
QUELT_API int32_t arch_hang(arch_archive* archive);
/** Writes the whole archive to a file, which is truncated first (there is no temporary
   file). Every payload is read into memory beforehand, so the archive may be stored over the
   file it was loaded from. Leaves the cursor past the last entry and `modified` as it was.
   Storing to another path than `path` gives the records their offsets in that file, and
   `path` stays: payloads are then fetched from that file until a store to `path` or a load.
   Refused silently (0, before the file is opened) for a name that would not read back and for
   a file that would pass 2^31 - 1 bytes. When writing fails, the file is left as far as it
   was written and every payload stays in memory.
   @param archive the archive.
   @param path the file, or null for `path`.
   @return 1, or 0 on failure.
   @par Failure trace
   "" when a payload cannot be fetched or a tag cannot be written; "fopen" when the file cannot
   be opened; "fwrite" when a size or payload cannot be written; "fclose" when closing fails. */
QUELT_API int32_t arch_store(arch_archive* archive, const char* path);
/** Reads and clears the flag that every change raises.
   @param archive the archive.
   @return 1 when something changed since the last call (or the load), else 0. */
QUELT_API int32_t arch_modified(arch_archive* archive);

QUELT_EXTERN_C_END

#endif
