// The one interface between quelt's Win32 core and the window system below it. The core
// (quelt/platform/core) implements the Win32 subset once: handles, window classes, the message
// queues, sending and dispatching, capture, the default window procedure, update regions and
// painting, device contexts and DIB sections. A backend owns what only a window system knows:
// its connection, native windows and what the window manager reads from them, putting pixels
// on the screen, and turning its events into core calls (quelt/platform/core/core_p.h, "For
// backends"). Calls go down from the core to the backend through this class; events come up
// from the backend into the core's functions, never the other way round, and the backend never
// calls a window procedure itself.
#pragma once

#include <cstddef>
#include <cstdint>

namespace quelt::platform {

struct Wnd;
struct Bitmap;

class backend {
 public:
  virtual ~backend() = default;

  // The connection, opened with the first window and closed with the last; false when the
  // window system cannot be reached.
  virtual bool open() = 0;
  virtual void close_if_idle() = 0;

  // Native windows. `create` makes the native window of a record (a layered record, one with
  // WS_EX_LAYERED, on a surface with per-pixel alpha where the system has one) with its title
  // and style; false leaves nothing behind. The record's `native` belongs to the backend from
  // create to destroy.
  virtual bool create(Wnd* w) = 0;
  virtual void destroy(Wnd* w) = 0;
  virtual void set_title(Wnd* w) = 0;
  virtual void set_style(Wnd* w) = 0;          // decorations and sizing from the style word
  virtual void place(Wnd* w) = 0;              // the record's position and client size
  virtual void show(Wnd* w, bool activate) = 0;
  virtual void hide(Wnd* w) = 0;
  virtual void grab_pointer(Wnd* w) = 0;       // pointer events go to w, also from outside it
  virtual void ungrab_pointer() = 0;
  virtual void flush() = 0;                    // requests made so far reach the system

  // Pixels. A DIB section's memory may come from the backend (memory the system reads
  // directly); false: the core allocates it. `present` copies width x height pixels from
  // (sx, sy) of a bitmap to (dx, dy) of the window's client area, clipped already, and is done
  // when it returns, as a GDI blit is.
  virtual bool new_bits(Bitmap* b, size_t bytes) = 0;
  virtual void free_bits(Bitmap* b) = 0;
  virtual void present(Wnd* w, const Bitmap* b, int sx, int sy, int dx, int dy, int width, int height) = 0;

  // Events: `pump` turns every native event that has arrived into core calls and returns;
  // `wait` blocks until a native event arrives (forever when no window is left).
  virtual void pump() = 0;
  virtual void wait() = 0;

  // The screen: its size in pixels (0 x 0 when it cannot be reached) and its resolution in
  // dots per inch (96 when it has none of its own).
  virtual void screen_size(int* width, int* height) = 0;
  virtual int resolution() = 0;
};

// The backend of this process, chosen at the first call: Wayland when a compositor is named
// (WAYLAND_DISPLAY or WAYLAND_SOCKET) and offers what quelt needs, else X11.
backend& system_backend();
backend* x11_backend();
backend* wayland_backend();
bool wayland_reachable();

}  // namespace quelt::platform
