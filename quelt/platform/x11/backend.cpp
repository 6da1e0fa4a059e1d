// The X11 backend: the core's requests go to Xlib, and X events come up into the core. X
// events are read whenever the core looks at its queue; those that Win32 sends (size, focus)
// reach the window procedure at once through the core, input is queued, exposure becomes
// update regions.
#include "x11_p.h"

#include <poll.h>
#include <unistd.h>

namespace quelt::x11 {
namespace {

void handle_event(XEvent& ev) {
  if (ev.type == MappingNotify) {
    XRefreshKeyboardMapping(&ev.xmapping);
    return;
  }
  Wnd* w = wnd_by_xid(ev.xany.window);
  if (!w) return;
  switch (ev.type) {
    case KeyPress:
    case KeyRelease:
    case ButtonPress:
    case ButtonRelease:
    case MotionNotify: input_event(w, ev); break;
    default: window_event(w, ev); break;
  }
}

class X11 final : public backend {
 public:
  bool open() override { return connect(); }
  void close_if_idle() override { disconnect_if_idle(); }
  bool create(Wnd* w) override { return make_xwindow(w); }
  void destroy(Wnd* w) override { destroy_xwindow(w); }
  void set_title(Wnd* w) override { apply_title(w); }
  void set_style(Wnd* w) override { apply_style(w); }
  void place(Wnd* w) override { x_configure(w); }
  void show(Wnd* w, bool activate) override { x_map(w, activate); }
  void hide(Wnd* w) override { x_unmap(w); }
  void grab_pointer(Wnd* w) override { x11::grab_pointer(w); }
  void ungrab_pointer() override {
    if (!conn.display) return;
    XUngrabPointer(conn.display, CurrentTime);
    XFlush(conn.display);
  }
  void flush() override {
    if (conn.display) XFlush(conn.display);
  }
  bool new_bits(Bitmap* b, size_t bytes) override { return new_shared_bits(b, bytes); }
  void free_bits(Bitmap* b) override { free_shared_bits(b); }
  void present(Wnd* w, const Bitmap* b, int sx, int sy, int dx, int dy, int width, int height) override {
    x11::present(w, b, sx, sy, dx, dy, width, height);
  }

  // Reads every X event that has arrived. Handling one may send messages, destroy windows and
  // even close the connection, so the loop looks at the connection anew each time.
  void pump() override {
    while (conn.display && XPending(conn.display) > 0) {
      XEvent ev;
      XNextEvent(conn.display, &ev);
      if (XFilterEvent(&ev, None)) continue;  // taken by the input method
      handle_event(ev);
    }
  }

  void wait() override {
    if (!conn.display) {
      // No window is left and nothing is queued: nothing can arrive any more. Win32 waits
      // forever in this case, and so does this backend.
      pause();
      return;
    }
    XFlush(conn.display);
    if (XEventsQueued(conn.display, QueuedAlready) > 0) return;
    pollfd p{ConnectionNumber(conn.display), POLLIN, 0};
    poll(&p, 1, -1);
  }

  void screen_size(int* width, int* height) override { x11::screen_size(width, height); }
  int resolution() override { return display_dpi(); }
};

}  // namespace

Wnd* wnd_by_xid(Window xwin) {
  for (Wnd* w = wnd_first(); w; w = w->next)
    if (xwin_of(w) == xwin) return w;
  return nullptr;
}

}  // namespace quelt::x11

namespace quelt::platform {

backend* x11_backend() {
  static x11::X11 x11;
  return &x11;
}

}  // namespace quelt::platform
