/* Top-level windows: ctl_window_rec ties a window of the platform to a backing pixmap and to
   the application's callbacks, and ctl_window_proc is the one window procedure of them all.

   The application draws on the surface that ctl_window returns (a member of the record, valid
   until ctl_window_release) and asks for an update: a plain window repaints through WM_PAINT,
   a layered window hands the premultiplied pixels to the compositor. Every size message
   remakes the pixmap at the new client size, zeroed, with every surface field back at zero.

   Types. The window procedure has the platform's form: on a 64-bit system its quelt_wparam,
   quelt_lparam and quelt_lresult (Win32's WPARAM, LPARAM, LRESULT) are 64 bits wide, as a 64-bit Win32 window procedure has them, and onmessage gets
   them unchanged. Coordinates are taken from the low 32 bits of lParam (x the low 16 bits, y
   the next 16, both signed), and the wheel delta from the low 32 bits of wParam (its high 16
   bits, signed). The record pointer is kept with the pointer-sized window-long calls.

   Callbacks get the record first; the library ignores what they return. onkey's key is the
   message's wParam: a Win32 virtual-key code on CTL_DOWN and CTL_UP, one UTF-16 unit on
   CTL_CHAR (a character beyond the BMP is two calls). onmouse gets client coordinates (outside
   the client area while a button holds the capture), but screen coordinates for CTL_WHEEL,
   whose delta (+-120 a notch) is in `wheel`. With onkey null, Escape and the close button post
   the quit message.

   On Linux (quelt's X11 layer):
   - The X window is the client area; the window manager's frame is the non-client area.
     Client sizes are at most 32767 (the largest X window). Removing the caption keeps the
     client size (the frame shrinks around it), where Win32 keeps the outer size.
   - A layered window lives on a 32-bit ARGB visual (its X window is remade when the style
     changes): without a compositor the alpha is stored, not blended.
   - Pixels reach the server through MIT-SHM where it works, else through XPutImage; an update
     is finished on the server when the call returns, so another client reads it back at once.
   - The X window carries the property _QUELT_HWND (two 32-bit CARDINALs, the low and high half
     of the record's `hwnd`), so that a program can find it, for instance to read back what the
     window shows with XGetImage. Its WM_CLASS class is "ctl_window_class".
   - The display connection is opened by the first window and closed with the last. */
#ifndef QUELT_WINDOWING_WINDOW_H
#define QUELT_WINDOWING_WINDOW_H

#include <stdint.h>
#include <quelt/base/export.h>
#include <quelt/platform/types.h>
#include <quelt/surface/clip.h>
#include <quelt/surface/surface.h>
#include <quelt/windowing/layout.h>
#include <quelt/windowing/pixmap.h>

QUELT_EXTERN_C_BEGIN

typedef enum ctl_event_code {
  CTL_UP = 1,
  CTL_DOWN = 2,
  CTL_CHAR = 3,
  CTL_MOVE = 4,
  CTL_WHEEL = 5,
  CTL_LEFT = 6,
  CTL_RIGHT = 7,
  CTL_MIDDLE = 8,
  CTL_CLOSE = 9,
  CTL_SIZE = 10,
  CTL_PAINT = 11
} ctl_event_code;

typedef struct ctl_window_rec ctl_window_rec;

typedef int32_t (*ctl_key_proc)(ctl_window_rec* window, int32_t code, uint32_t key);
typedef int32_t (*ctl_mouse_proc)(ctl_window_rec* window, int32_t action, int32_t button, int32_t x,
                                  int32_t y);
typedef int32_t (*ctl_event_proc)(ctl_window_rec* window, int32_t code);
typedef quelt_lresult (*ctl_message_proc)(ctl_window_rec* window, uint32_t message,
                                          quelt_wparam wparam, quelt_lparam lparam);

struct ctl_window_rec {
  ctl_layout_rec* layout;
  ctl_key_proc onkey;
  ctl_mouse_proc onmouse;
  ctl_event_proc onevent;
  ctl_message_proc onmessage;
  ctl_pixmap_rec pixmap;
  quelt_hwnd hwnd;
  int32_t wheel;
  int8_t left_down;
  int8_t right_down;
  int8_t middle_down;
  int32_t press_x;
  int32_t press_y;
};

/* The name of the window class, "ctl_window_class" in UTF-16. */
QUELT_API extern const uint16_t ctl_window_class[17];

QUELT_API sf_surface* ctl_window(ctl_window_rec** window, const uint16_t* caption, int32_t width,
                                 int32_t height);
QUELT_API int32_t ctl_window_create(ctl_window_rec** window);
/* A null `window` or `*window` is a no-op. */
QUELT_API void ctl_window_release(ctl_window_rec** window);
QUELT_API void ctl_window_move(ctl_window_rec* window, int32_t width, int32_t height);
QUELT_API void ctl_window_movc(ctl_window_rec* window, int32_t width, int32_t height, int32_t x,
                               int32_t y);
QUELT_API void ctl_window_show(ctl_window_rec* window);
QUELT_API void ctl_window_hide(ctl_window_rec* window);
QUELT_API void ctl_window_caption(ctl_window_rec* window, const uint16_t* caption);
QUELT_API void ctl_window_update(ctl_window_rec* window);
QUELT_API void ctl_window_update_rect(ctl_window_rec* window, const sf_rect* rect);
QUELT_API int32_t ctl_window_width(ctl_window_rec* window);
QUELT_API int32_t ctl_window_height(ctl_window_rec* window);
QUELT_API int32_t ctl_window_style_get(ctl_window_rec* window, int32_t index);
QUELT_API void ctl_window_style_set(ctl_window_rec* window, int32_t index, int32_t value);
QUELT_API void ctl_window_sizeable(ctl_window_rec* window, int32_t on);
QUELT_API void ctl_window_header(ctl_window_rec* window, int32_t on);
QUELT_API void ctl_window_layered(ctl_window_rec* window, int32_t on);
QUELT_API int32_t ctl_window_mouse_state(ctl_window_rec* window, int32_t button);

QUELT_API quelt_lresult QUELT_WNDPROC_CALL ctl_window_proc(quelt_hwnd hwnd, uint32_t message,
                                                           quelt_wparam wparam, quelt_lparam lparam);

QUELT_EXTERN_C_END

#endif
