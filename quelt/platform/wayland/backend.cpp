// The Wayland backend: the core's requests become requests on surfaces and their roles, and
// events from the compositor come up into the core when the core looks at its queue. Events
// are dispatched only there (and buffer releases while a present waits for a free buffer), so
// window procedures run where a Win32 program expects them to.
#include "wayland_p.h"

#include <poll.h>
#include <unistd.h>

namespace quelt::wl {
namespace {

// Reads what the compositor has sent, waiting up to `timeout` ms (-1: until something comes,
// on the socket or from the key-repeat timer), without dispatching it.
void read_events(int timeout) {
  if (wl_display_prepare_read(conn.display) != 0) return;  // events are queued already
  wl_display_flush(conn.display);
  pollfd p[2] = {{wl_display_get_fd(conn.display), POLLIN, 0}, {repeat_fd(), POLLIN, 0}};
  if (poll(p, p[1].fd >= 0 ? 2 : 1, timeout) > 0 && (p[0].revents & POLLIN))
    wl_display_read_events(conn.display);
  else
    wl_display_cancel_read(conn.display);
}

// A connection the compositor ended cannot come back: every window is asked to close, once,
// so that the program's own closing runs; the loop no longer waits on the socket.
bool lost() {
  static wl_display* reported = nullptr;
  if (!conn.display || wl_display_get_error(conn.display) == 0) return false;
  if (reported != conn.display) {
    reported = conn.display;
    for (Wnd* w = wnd_first(); w; w = w->next) {
      MSG msg{w->handle, WM_SYSCOMMAND, SC_CLOSE, 0, 0, last_pointer(), 0};
      queue_input(msg);
    }
  }
  return true;
}

class Wayland final : public backend {
 public:
  bool open() override { return connect(); }
  void close_if_idle() override { disconnect_if_idle(); }
  bool create(Wnd* w) override { return make_surface(w); }
  void destroy(Wnd* w) override { destroy_surface(w); }
  void set_title(Wnd* w) override { apply_title(w); }
  void set_style(Wnd* w) override { apply_style(w); }
  void place(Wnd* w) override { apply_size(w); }
  void show(Wnd* w, bool) override { map(w); }  // activation is the compositor's to give
  void hide(Wnd* w) override { unmap(w); }
  void grab_pointer(Wnd*) override {}  // the compositor's implicit grab is the capture there is
  void ungrab_pointer() override {}
  void flush() override {
    if (conn.display) wl_display_flush(conn.display);
  }
  bool new_bits(Bitmap*, size_t) override { return false; }
  void free_bits(Bitmap*) override {}
  void present(Wnd* w, const Bitmap* b, int sx, int sy, int dx, int dy, int width, int height) override {
    wl::present(w, b, sx, sy, dx, dy, width, height);
  }

  void pump() override {
    if (!conn.display || lost()) return;
    ++conn.dispatching;
    read_events(0);
    wl_display_dispatch_queue_pending(conn.display, conn.frames);
    wl_display_dispatch_pending(conn.display);
    if (repeat_fd() >= 0) {
      pollfd p{repeat_fd(), POLLIN, 0};
      if (poll(&p, 1, 0) > 0) repeat_due();
    }
    --conn.dispatching;
    if (conn.close_pending) {
      conn.close_pending = false;
      disconnect_if_idle();
    }
  }

  void wait() override {
    if (!conn.display) {
      // No window is left and nothing is queued: nothing can arrive any more. Win32 waits
      // forever in this case, and so does this backend.
      pause();
      return;
    }
    if (lost()) {
      usleep(10000);  // the loop runs on the messages already queued
      return;
    }
    read_events(-1);
  }

  void screen_size(int* width, int* height) override { wl::screen_size(width, height); }
  int resolution() override { return wl::resolution(); }
};

}  // namespace
}  // namespace quelt::wl

namespace quelt::platform {

backend* wayland_backend() {
  static wl::Wayland wayland;
  return &wayland;
}

bool wayland_reachable() {
  if (!wl::connect()) return false;
  wl::disconnect_if_idle();
  return true;
}

}  // namespace quelt::platform
