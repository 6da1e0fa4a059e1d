/* What the showcase needs from the system beyond quelt: a clock, a short sleep, a directory for
   its settings, a font file, and a read-back of what a window shows on the screen. One file per
   system implements it: host_x11.c (Xlib) and host_win32.c (GDI). */
#ifndef QUELT_SHOWCASE_HOST_H
#define QUELT_SHOWCASE_HOST_H

#include <stddef.h>
#include <quelt/quelt.h>

/* Seconds from an arbitrary start, steady. */
double host_now(void);
/* Gives the processor away for about `seconds`; nothing happens for 0 or less. */
void host_sleep(double seconds);
/* Writes the showcase's settings directory into `out` and creates it (with its parents) when it
   is missing: `chosen` when it is not NULL, else $XDG_CONFIG_HOME/quelt-showcase or
   ~/.config/quelt-showcase, and %APPDATA%\\quelt-showcase on Windows. Returns 1, or 0 with a
   message on standard error. */
int host_config_dir(const char* chosen, char* out, size_t size);
/* Looks for the font file `name` (for instance "DejaVuSans.ttf") where the system keeps fonts
   and writes its path into `out`. Returns 1 when found, else 0. */
int host_find_font(const char* name, char* out, size_t size);
/* Dispatches messages until the window is visible on the screen (a window manager may map it
   some time after ctl_window_show), for at most `timeout` seconds. Returns 1 once visible. */
int host_wait_shown(HWND hwnd, double timeout);
/* Reads back what the screen shows of the client area of the window, `width` × `height` pixels
   from its top left corner, into a new 4-byte surface `out` (B, G, R, A). A plain window gives
   alpha 255; a layered window gives its pixels as the server keeps them, premultiplied. Returns
   1, or 0 with a message on standard error and `out` untouched. */
int host_read_window(HWND hwnd, int32_t width, int32_t height, sf_surface* out);

#endif
