// Inside the X11 backend: the display connection, the X side of each window and of each
// DIB section's memory, and the functions that the backend's files share. The backend works
// on the core's records (quelt/platform/core/core_p.h) and hands X events up to the core.
#pragma once

#include <quelt/platform/core/core_p.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XShm.h>

#include <cstdint>

namespace quelt::x11 {

using namespace quelt::platform;

// ---- The display connection ----------------------------------------------------------------
enum AtomIndex {
  kWmProtocols, kWmDeleteWindow, kNetWmPing, kNetWmName, kUtf8String, kNetWmPid,
  kMotifWmHints, kNetFrameExtents, kWmState, kQueltHwnd, kNetSupportingWmCheck,
  kNetWmState, kNetWmStateMaximizedHorz, kNetWmStateMaximizedVert, kWmClass, kAtomCount
};

struct Connection {
  Display* display = nullptr;
  int screen = 0;
  Window root = 0;
  unsigned long epoch = 0;  // counts connections, so that objects notice a new one
  bool shm = false;         // MIT-SHM present and not yet found unusable
  Visual* argb_visual = nullptr;
  XIM im = nullptr;
  bool im_tried = false;
  Cursor arrow = 0;         // made at the first window that shows the arrow
  Atom atom[kAtomCount] = {};
  int error = 0;            // last X error on this connection (errors never end the process)
};
extern Connection conn;

bool connect();             // opens the connection when none is open; false without display
void disconnect_if_idle();  // closes it when no window is left
void errors_reset();
int errors_sync();          // XSync, then the first error code since errors_reset, or 0
int display_dpi();          // Xft.dpi or 96; connects only for the query when needed
int dpi_from_resources(const char* resources);  // Xft.dpi of a resource string, else 96
Cursor cursor_for(HCURSOR cursor);
bool window_manager_running();
void screen_size(int* width, int* height);

// ---- The X side of records -----------------------------------------------------------------
// A window's X window, made anew when the window changes between the default and the ARGB
// visual.
struct Native {
  Window xwin = 0;
  Visual* visual = nullptr;
  int depth = 0;
  Colormap colormap = 0;  // own colormap of an ARGB window, else 0
  GC gc = nullptr;
  XIC ic = nullptr;
  bool direct = false;    // the visual takes B, G, R, X bytes as they are
  bool mapped = false;
  bool reparented = false;
  bool focus_on_map = false;
  unsigned long configure_serial = 0;  // configure events before this request are stale
};
inline Native* native(const Wnd* w) { return static_cast<Native*>(w->native); }
inline Window xwin_of(const Wnd* w) { return w->native ? native(w)->xwin : 0; }
Wnd* wnd_by_xid(Window xwin);

// A DIB section's memory as a MIT-SHM segment, attached once per connection.
struct SharedBits {
  XShmSegmentInfo segment = {};
  unsigned long attached_epoch = 0;  // connection on which the segment is attached
  bool attached = false;
};

// The X window of a record (native.cpp): made on the visual its layered style asks for, with
// the properties that the window manager reads from the title and the style.
bool make_xwindow(Wnd* w);
void destroy_xwindow(Wnd* w);
void apply_title(Wnd* w);
void apply_style(Wnd* w);
void x_configure(Wnd* w);  // to the record's place and client size
void x_map(Wnd* w, bool activate);
void x_unmap(Wnd* w);
void grab_pointer(Wnd* w);
void ensure_ic(Wnd* w);

// Pixels (present.cpp): MIT-SHM segments for DIB sections, and the copy to a window.
bool new_shared_bits(Bitmap* b, size_t bytes);
void free_shared_bits(Bitmap* b);
void present(Wnd* w, const Bitmap* b, int sx, int sy, int dx, int dy, int width, int height);
bool direct_visual(Visual* visual, int depth);

// Events (events.cpp, input.cpp): what X sends becomes core state and messages.
void window_event(Wnd* w, XEvent& ev);
void input_event(Wnd* w, XEvent& ev);

}  // namespace quelt::x11
