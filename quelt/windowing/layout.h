/** @file
   ctl_layout_rec: a small heap record that owns one archive. Every window owns one layout from
   its creation to its release; the application reaches the archive through the window record
   (`window->layout->archive`), for instance to keep its settings. */
#ifndef QUELT_WINDOWING_LAYOUT_H
#define QUELT_WINDOWING_LAYOUT_H

#include <stdint.h>
#include <quelt/archive/arch.h>
#include <quelt/base/export.h>

QUELT_EXTERN_C_BEGIN

/** A layout: the owner of one archive. */
typedef struct ctl_layout_rec {
  arch_archive* archive; /**< The archive, empty when the layout is made. */
} ctl_layout_rec;

/** Makes a layout with an empty archive.
   @param layout receives the new layout; null when the record cannot be allocated, the record
          (for ctl_layout_release) when the archive cannot be made.
   @return 1, or 0 on failure.
   @par Failure trace
   "malloc" when the record cannot be allocated; "" after the archive cannot be made. */
QUELT_API int32_t ctl_layout_create(ctl_layout_rec** layout);
/** Releases the archive and the record and sets the pointer to null; takes a record whose
   archive could not be made as well.
   @param layout address of the pointer to the layout. */
QUELT_API void ctl_layout_release(ctl_layout_rec** layout);

QUELT_EXTERN_C_END

#endif
