/** @file
   The message loops. An application runs one of them after showing its windows: ctl_main
   when it only reacts to input, ctl_main_onidle when it animates, ctl_do_events from a loop of
   its own. On Linux, a loop that waits with no window left and nothing queued waits forever,
   as it does on Win32: nothing can arrive any more. */
#ifndef QUELT_WINDOWING_MAIN_H
#define QUELT_WINDOWING_MAIN_H

#include <stdint.h>
#include <quelt/base/export.h>

QUELT_EXTERN_C_BEGIN

/** Called by ctl_main_onidle whenever the queue is empty; the result is ignored. */
typedef int32_t (*ctl_idle_proc)(void);

/** Dispatches messages until the quit message, blocking while the queue is empty. */
QUELT_API void ctl_main(void);
/** Posts the quit message, which ends the loop that receives it. */
QUELT_API void ctl_main_quit(void);
/** Dispatches messages until the quit message, calling `idle` whenever the queue is empty,
   at full speed and never blocking (the idle function may sleep).
   @param idle the idle function; null makes the call return at once. */
QUELT_API void ctl_main_onidle(ctl_idle_proc idle);
/** Dispatches what is waiting and returns, leaving a quit message pending for the loop
   outside.
   @return the number of quit messages seen, 0 if none. */
QUELT_API int32_t ctl_do_events(void);

QUELT_EXTERN_C_END

#endif
