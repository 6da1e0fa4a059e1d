/* The message loops. ctl_main dispatches until the quit message, blocking while the queue is
   empty. ctl_main_onidle calls `idle` whenever the queue is empty, at full speed and never
   blocking, until the quit message; a null `idle` makes it return at once. ctl_do_events
   dispatches what is waiting and returns the number of quit messages seen (0 if none), leaving
   the quit pending for the loop outside. ctl_main_quit posts the quit message.

   On Linux, a loop that waits with no window left and nothing queued waits forever, as it
   does on Win32: nothing can arrive any more. */
#ifndef QUELT_WINDOWING_MAIN_H
#define QUELT_WINDOWING_MAIN_H

#include <stdint.h>
#include <quelt/base/export.h>

QUELT_EXTERN_C_BEGIN

/* Called when the queue is empty; the result is ignored. */
typedef int32_t (*ctl_idle_proc)(void);

QUELT_API void ctl_main(void);
QUELT_API void ctl_main_quit(void);
QUELT_API void ctl_main_onidle(ctl_idle_proc idle);
QUELT_API int32_t ctl_do_events(void);

QUELT_EXTERN_C_END

#endif
