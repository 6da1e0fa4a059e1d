/* ctl_layout_rec: a small heap record that owns one archive. Every window owns one layout from
   its creation to its release; the application reaches the archive through the window record.
   ctl_layout_release takes a record whose archive could not be made as well. */
#ifndef QUELT_WINDOWING_LAYOUT_H
#define QUELT_WINDOWING_LAYOUT_H

#include <stdint.h>
#include <quelt/archive/arch.h>
#include <quelt/base/export.h>

QUELT_EXTERN_C_BEGIN

typedef struct ctl_layout_rec {
  arch_archive* archive;
} ctl_layout_rec;

QUELT_API int32_t ctl_layout_create(ctl_layout_rec** layout);
QUELT_API void ctl_layout_release(ctl_layout_rec** layout);

QUELT_EXTERN_C_END

#endif
