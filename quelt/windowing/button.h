/* ctl_button_draw: an entry that does nothing, callable at any time. */
#ifndef QUELT_WINDOWING_BUTTON_H
#define QUELT_WINDOWING_BUTTON_H

#include <quelt/base/export.h>

QUELT_EXTERN_C_BEGIN

QUELT_API void ctl_button_draw(void);

QUELT_EXTERN_C_END

#endif
