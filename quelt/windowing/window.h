/** @file
   Top-level windows: ctl_window_rec ties a window of the platform to a backing pixmap and to
   the application's callbacks, and ctl_window_proc is the one window procedure of them all.

   The application draws on the surface that ctl_window returns (a member of the record, valid
   until ctl_window_release) and asks for an update: a plain window repaints, a layered window
   hands its premultiplied pixels to the compositor. Every size message remakes the pixmap at
   the new client size, zeroed, with every surface field back at zero.

   Callbacks get the record first; the library ignores what they return. With `onkey` null,
   Escape and the close button post the quit message. Message parameters have the platform's
   width (64 bits on a 64-bit system).
   The types quelt_wparam, quelt_lparam and quelt_lresult are Win32's WPARAM, LPARAM and
   LRESULT. Coordinates are taken from the low 32 bits of lParam (x the low 16 bits, y the next
   16, both signed), and the wheel delta from the high 16 bits of wParam's low 32, signed.

   On Linux (quelt's X11 layer):
   - The X window is the client area; the window manager's frame is the non-client area.
     Client sizes are at most 32767. Removing the caption keeps the client size (the frame
     shrinks around it), where Win32 keeps the outer size.
   - A layered window lives on a 32-bit ARGB visual: without a compositor the alpha is stored,
     not blended.
   - An update is finished on the server when the call returns, so another client reads it back
     at once.
   - The X window carries the property _QUELT_HWND (two 32-bit CARDINALs, the low and high half
     of the record's `hwnd`), so that a program can find it, for instance to read back what the
     window shows with XGetImage. Its WM_CLASS class is "ctl_window_class".
   - The display connection is opened by the first window and closed with the last.

   On Linux with Wayland (chosen at the first window when WAYLAND_DISPLAY or WAYLAND_SOCKET names
   a compositor that offers xdg-shell and wl_shm; else X11):
   - The compositor places windows: ctl_window_move and ctl_window_movc set the size, and the
     position only as the program sees it (the messages of a move still come, and screen
     coordinates, as of CTL_WHEEL, are counted from it). A window cannot take the keyboard
     focus itself; the compositor gives it.
   - The capture is the compositor's: while a button pressed in the client area is held, the
     pointer stays with the window, also outside it; no window gets the pointer from outside
     otherwise.
   - Where the compositor offers no frame (or QUELT_DECORATIONS=client is set), quelt draws one
     around the client area: a title bar with the caption and the buttons the style asks for,
     which move, maximise, minimise and close the window, and edges that resize a sizable one.
     The frame is the non-client area: client sizes and coordinates exclude it.
   - On a scaled output the client area is in device pixels (a 200 x 100 window covers 100 x 50
     at scale 2), and text is made at 96 dots per inch times the scale. Where the compositor
     scales by fractions (fractional-scale and viewporter), the scale is the one it prefers for
     the window (300 x 150 covers 200 x 100 at 1.5, text at 144 dots per inch); elsewhere it is
     the whole-number scale of the output.
   - An update copies into a buffer the compositor does not hold and returns; the compositor
     shows it when it asks for its next frame, so a burst of updates shows as the last one.
   - Characters that an input method commits arrive as CTL_CHAR without key presses.

   @code
   static int32_t on_event(ctl_window_rec* w, int32_t code) {
     sf_surface* s = &w->pixmap.surface;
     if (code == CTL_PAINT && s->pixels) {
       s->color = 0xFF336699;
       sf_fill(s, NULL);
     }
     return 0;
   }
   int main(void) {
     static const uint16_t title[] = {'H', 'i', 0};
     ctl_window_rec* w = NULL;
     if (!ctl_window(&w, title, 320, 200)) return 1;
     w->onevent = on_event;
     ctl_window_show(w);
     ctl_main();
     ctl_window_release(&w);
     return 0;
   }
   @endcode */
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

/** Codes passed to the callbacks: key and mouse actions, mouse buttons and window events. */
typedef enum ctl_event_code {
  CTL_UP = 1,     /**< A key or mouse button was released. */
  CTL_DOWN = 2,   /**< A key or mouse button was pressed. */
  CTL_CHAR = 3,   /**< A character was typed. */
  CTL_MOVE = 4,   /**< The mouse moved. */
  CTL_WHEEL = 5,  /**< The wheel turned; the delta is in `wheel`. */
  CTL_LEFT = 6,   /**< The left mouse button. */
  CTL_RIGHT = 7,  /**< The right mouse button. */
  CTL_MIDDLE = 8, /**< The middle mouse button. */
  CTL_CLOSE = 9,  /**< The close button was pressed; the window is destroyed afterwards. */
  CTL_SIZE = 10,  /**< The client size changed; the surface has been remade. */
  CTL_PAINT = 11  /**< The window needs painting; draw, and the library shows the surface. */
} ctl_event_code;

/** A window record; see struct ctl_window_rec. */
typedef struct ctl_window_rec ctl_window_rec;

/** Keyboard callback.
   `code` is CTL_DOWN or CTL_UP with a Win32 virtual-key code in `key`, or CTL_CHAR with one
   UTF-16 unit (a character beyond the BMP comes in two calls). */
typedef int32_t (*ctl_key_proc)(ctl_window_rec* window, int32_t code, uint32_t key);
/** Mouse callback.
   `action` is CTL_DOWN or CTL_UP with `button` CTL_LEFT, CTL_RIGHT or CTL_MIDDLE, or CTL_MOVE or
   CTL_WHEEL with `button` 0. (x, y) are client coordinates (outside the client area while a
   button holds the capture), but screen coordinates for CTL_WHEEL. */
typedef int32_t (*ctl_mouse_proc)(ctl_window_rec* window, int32_t action, int32_t button, int32_t x,
                                  int32_t y);
/** Window event callback: `code` is CTL_CLOSE, CTL_SIZE or CTL_PAINT. */
typedef int32_t (*ctl_event_proc)(ctl_window_rec* window, int32_t code);
/** Raw message hook: every message of the window, with its parameters unchanged, before the
   library handles it. */
typedef quelt_lresult (*ctl_message_proc)(ctl_window_rec* window, uint32_t message, quelt_wparam wparam,
                                    quelt_lparam lparam);

/** A top-level window with its backing pixmap and callbacks. Made by ctl_window or
   ctl_window_create, ended by ctl_window_release. The application sets the callbacks. */
struct ctl_window_rec {
  ctl_layout_rec* layout;     /**< The window's layout, whose archive the application may use. */
  ctl_key_proc onkey;         /**< Keyboard callback, or null. */
  ctl_mouse_proc onmouse;     /**< Mouse callback, or null (then no capture and no button state). */
  ctl_event_proc onevent;     /**< Callback for CTL_CLOSE, CTL_SIZE and CTL_PAINT, or null. */
  ctl_message_proc onmessage; /**< Sees every message first, or null. */
  ctl_pixmap_rec pixmap;      /**< The backing store, at the client size. */
  quelt_hwnd hwnd;                  /**< The platform's window. */
  int32_t wheel;              /**< Delta of the last wheel message, +-120 a notch. */
  int8_t left_down;           /**< 1 while the left button is held. */
  int8_t right_down;          /**< 1 while the right button is held. */
  int8_t middle_down;         /**< 1 while the middle button is held. */
  int32_t press_x;            /**< Client column of the last button press. */
  int32_t press_y;            /**< Client row of the last button press. */
};

/** The name of the window class, "ctl_window_class" in UTF-16. */
QUELT_API extern const uint16_t ctl_window_class[17];

/** Makes a hidden window of the given client size and caption (ctl_window_create, the
   caption, then ctl_window_move, whose size message makes the surface).
   @param window receives the new window on success; untouched on failure.
   @param caption the caption, a zero-terminated UTF-16 string.
   @param width client width in pixels.
   @param height client height in pixels.
   @return the window's surface, or null on failure.
   @par Failure trace
   "" after ctl_window_create fails. */
QUELT_API sf_surface* ctl_window(ctl_window_rec** window, const uint16_t* caption, int32_t width,
                                 int32_t height);
/** Makes a hidden window of size 0, with no caption and an empty pixmap. The window class is
   registered at the first call.
   @param window receives the new window, or null on failure.
   @return 1, or 0 on failure.
   @par Failure trace
   "mallco" when the record cannot be allocated; "RegisterClass" when the class cannot be
   registered (the next call tries again); "CreateWindowEx" when the window cannot be made;
   "" after the layout cannot be made. */
QUELT_API int32_t ctl_window_create(ctl_window_rec** window);
/** Destroys the window, its pixmap and layout, frees the record and sets the pointer to
   null. A null `window` or `*window` is a no-op.
   @param window address of the pointer to the window. */
QUELT_API void ctl_window_release(ctl_window_rec** window);
/** Gives the window a client size and centres it on the screen. The size message arrives
   before the call returns.
   @param window the window.
   @param width client width in pixels.
   @param height client height in pixels. */
QUELT_API void ctl_window_move(ctl_window_rec* window, int32_t width, int32_t height);
/** Gives the window a client size and puts its top left corner at a screen position.
   @param window the window.
   @param width client width in pixels.
   @param height client height in pixels.
   @param x screen column of the window's top left corner.
   @param y screen row of the window's top left corner. */
QUELT_API void ctl_window_movc(ctl_window_rec* window, int32_t width, int32_t height, int32_t x,
                               int32_t y);
/** Shows the window (restored).
   @param window the window. */
QUELT_API void ctl_window_show(ctl_window_rec* window);
/** Hides the window.
   @param window the window. */
QUELT_API void ctl_window_hide(ctl_window_rec* window);
/** Sets the caption.
   @param window the window.
   @param caption the caption, a zero-terminated UTF-16 string. */
QUELT_API void ctl_window_caption(ctl_window_rec* window, const uint16_t* caption);
/** Presents the surface: a plain window is repainted at once, a layered window hands its
   premultiplied pixels to the compositor. Prints "fail to update layered window" when the
   layered update fails.
   @param window the window. */
QUELT_API void ctl_window_update(ctl_window_rec* window);
/** Repaints part of a plain window at once; does not look at the layered style.
   @param window the window.
   @param rect the client rectangle to repaint, or null for all of it. */
QUELT_API void ctl_window_update_rect(ctl_window_rec* window, const sf_rect* rect);
/** The client width, asked of the platform (not read from the surface).
   @param window the window.
   @return the width in pixels. */
QUELT_API int32_t ctl_window_width(ctl_window_rec* window);
/** The client height, asked of the platform (not read from the surface).
   @param window the window.
   @return the height in pixels. */
QUELT_API int32_t ctl_window_height(ctl_window_rec* window);
/** Reads a window long of the platform.
   @param window the window.
   @param index the index: -16 for the style, -20 for the extended style.
   @return the value. */
QUELT_API int32_t ctl_window_style_get(ctl_window_rec* window, int32_t index);
/** Writes a window long of the platform and has the frame recalculated at once.
   @param window the window.
   @param index the index: -16 for the style, -20 for the extended style.
   @param value the new value. */
QUELT_API void ctl_window_style_set(ctl_window_rec* window, int32_t index, int32_t value);
/** Turns the sizing border and maximise button on or off.
   @param window the window.
   @param on non-zero for on. */
QUELT_API void ctl_window_sizeable(ctl_window_rec* window, int32_t on);
/** Turns the caption bar on or off.
   @param window the window.
   @param on non-zero for on. */
QUELT_API void ctl_window_header(ctl_window_rec* window, int32_t on);
/** Turns the layered style (per-pixel alpha, presented by ctl_window_update) on or off.
   @param window the window.
   @param on non-zero for on. */
QUELT_API void ctl_window_layered(ctl_window_rec* window, int32_t on);
/** Tells whether mouse buttons are held.
   @param window the window.
   @param button CTL_LEFT, CTL_RIGHT or CTL_MIDDLE, or any other value for any button.
   @return 1 while the button (or any button) is held, else 0. Only tracked while `onmouse` is
           set. */
QUELT_API int32_t ctl_window_mouse_state(ctl_window_rec* window, int32_t button);

/** The window procedure of every quelt window; a program calls it only to pass on
   messages. It remakes the pixmap on a size message, offers every message to `onmessage`,
   calls `onmouse`, `onkey` and `onevent` for their messages, copies the surface to the screen
   on a paint message, and ends with the platform's default handling. Prints nothing itself.
   @param hwnd the platform's window.
   @param message the message number.
   @param wparam the message's first parameter.
   @param lparam the message's second parameter.
   @return the default handling's result. */
QUELT_API quelt_lresult QUELT_WNDPROC_CALL ctl_window_proc(quelt_hwnd hwnd, uint32_t message,
                                                           quelt_wparam wparam, quelt_lparam lparam);

QUELT_EXTERN_C_END

#endif
