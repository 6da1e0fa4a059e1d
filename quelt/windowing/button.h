/** @file
   ctl_button_draw, an entry kept for programs that call it. */
#ifndef QUELT_WINDOWING_BUTTON_H
#define QUELT_WINDOWING_BUTTON_H

#include <quelt/base/export.h>

QUELT_EXTERN_C_BEGIN

/** Does nothing; callable at any time. */
QUELT_API void ctl_button_draw(void);

QUELT_EXTERN_C_END

#endif
