// The display connection of the X11 layer: opened with the first window, closed with the last,
// so that a program that shows no window keeps no connection. X errors on it are recorded and
// never end the process; errors on other connections go to the handler that was there before.
#include "x11_p.h"

#include <X11/XKBlib.h>
#include <X11/Xresource.h>
#include <X11/cursorfont.h>

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace quelt::x11 {

Connection conn;

namespace {

unsigned long epochs = 0;
XErrorHandler previous_handler = nullptr;

int on_error(Display* display, XErrorEvent* event) {
  if (conn.display && display == conn.display) {
    if (conn.error == 0) conn.error = event->error_code;
    return 0;
  }
  return previous_handler ? previous_handler(display, event) : 0;
}

constexpr const char* kAtomNames[kAtomCount] = {
    "WM_PROTOCOLS", "WM_DELETE_WINDOW", "_NET_WM_PING", "_NET_WM_NAME", "UTF8_STRING",
    "_NET_WM_PID", "_MOTIF_WM_HINTS", "_NET_FRAME_EXTENTS", "WM_STATE", "_QUELT_HWND",
    "_NET_SUPPORTING_WM_CHECK", "_NET_WM_STATE", "_NET_WM_STATE_MAXIMIZED_HORZ",
    "_NET_WM_STATE_MAXIMIZED_VERT", "WM_CLASS"};

}  // namespace

int dpi_from_resources(const char* resources) {
  constexpr int fallback = 96;
  int dpi = fallback;
  if (resources) {
    XrmInitialize();
    if (XrmDatabase db = XrmGetStringDatabase(resources)) {
      char* type = nullptr;
      XrmValue value{};
      if (XrmGetResource(db, "Xft.dpi", "Xft.Dpi", &type, &value) && value.addr) {
        char* end = nullptr;
        double v = std::strtod(value.addr, &end);
        if (end != value.addr && std::isfinite(v) && v >= 1.0 && v <= 10000.0)
          dpi = static_cast<int>(std::lround(v));
      }
      XrmDestroyDatabase(db);
    }
  }
  return dpi;
}

namespace {

int dpi_of(Display* display) { return dpi_from_resources(XResourceManagerString(display)); }

// A UTF-8 codeset for the input method: the application's locale when it has one, else C.UTF-8
// for the time of the call, so that an input method server can commit any character. Xlib's
// modifiers come from XMODIFIERS; when that names an input method that doesn't answer, the
// built-in one takes over.
XIM open_input_method(Display* display) {
  const char* current = std::setlocale(LC_CTYPE, nullptr);
  char saved[64] = "";
  bool switched = false;
  if (current && std::strlen(current) < sizeof saved) {
    std::strcpy(saved, current);
    if (!std::strstr(saved, "UTF-8") && !std::strstr(saved, "utf8") &&
        !std::strstr(saved, "UTF8") && !std::strstr(saved, "utf-8"))
      switched = std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr;
  }
  XIM im = nullptr;
  if (XSupportsLocale()) {
    XSetLocaleModifiers("");
    im = XOpenIM(display, nullptr, nullptr, nullptr);
    if (!im) {
      XSetLocaleModifiers("@im=none");
      im = XOpenIM(display, nullptr, nullptr, nullptr);
    }
  }
  if (switched) std::setlocale(LC_CTYPE, saved);
  return im;
}

}  // namespace

bool connect() {
  if (conn.display) return true;
  Display* display = XOpenDisplay(nullptr);
  if (!display) return false;
  conn = Connection{};
  conn.display = display;
  conn.epoch = ++epochs;
  conn.screen = DefaultScreen(display);
  conn.root = RootWindow(display, conn.screen);
  XErrorHandler before = XSetErrorHandler(on_error);
  if (before != on_error) previous_handler = before;
  XInternAtoms(display, const_cast<char**>(kAtomNames), kAtomCount, False, conn.atom);
  // A held key repeats as presses without releases in between, as on Win32.
  XkbSetDetectableAutoRepeat(display, True, nullptr);
  conn.shm = XShmQueryExtension(display);
  XVisualInfo info{};
  if (XMatchVisualInfo(display, conn.screen, 32, TrueColor, &info) && info.red_mask == 0xFF0000 &&
      info.green_mask == 0xFF00 && info.blue_mask == 0xFF)
    conn.argb_visual = info.visual;
  return true;
}

void disconnect_if_idle() {
  if (!conn.display || wnd_first()) return;
  Display* display = conn.display;
  if (conn.im) XCloseIM(conn.im);
  if (conn.arrow) XFreeCursor(display, conn.arrow);
  XSync(display, False);
  // Give the error handler back when nobody installed another since.
  XErrorHandler current = XSetErrorHandler(previous_handler);
  if (current != on_error) XSetErrorHandler(current);
  XCloseDisplay(display);
  conn = Connection{};
}

void errors_reset() { conn.error = 0; }

int errors_sync() {
  if (!conn.display) return 0;
  XSync(conn.display, False);
  return conn.error;
}

int display_dpi() {
  if (conn.display) return dpi_of(conn.display);
  // No window is open: connect for the query alone and close again at once.
  Display* display = XOpenDisplay(nullptr);
  if (!display) return 96;
  int dpi = dpi_of(display);
  XCloseDisplay(display);
  return dpi;
}

Cursor cursor_for(HCURSOR cursor) {
  if (!conn.display || handle_kind(cursor) != Kind::cursor) return None;
  if (!conn.arrow) conn.arrow = XCreateFontCursor(conn.display, XC_left_ptr);
  return conn.arrow;
}

bool window_manager_running() {
  if (!conn.display) return false;
  Atom type = None;
  int format = 0;
  unsigned long count = 0, after = 0;
  unsigned char* data = nullptr;
  bool found = XGetWindowProperty(conn.display, conn.root, conn.atom[kNetSupportingWmCheck], 0, 1,
                                  False, AnyPropertyType, &type, &format, &count, &after,
                                  &data) == Success &&
               type != None && count == 1;
  if (data) XFree(data);
  return found;
}

void ensure_ic(Wnd* w) {
  if (!w->native || native(w)->ic || !conn.display) return;
  if (!conn.im_tried) {
    conn.im_tried = true;
    conn.im = open_input_method(conn.display);
  }
  if (!conn.im) return;
  native(w)->ic = XCreateIC(conn.im, XNInputStyle, XIMPreeditNothing | XIMStatusNothing, XNClientWindow,
                    native(w)->xwin, XNFocusWindow, native(w)->xwin, nullptr);
  if (!native(w)->ic) return;
  // The input method may need events of its own on the window.
  long filter = 0;
  if (!XGetICValues(native(w)->ic, XNFilterEvents, &filter, nullptr) && filter) {
    XWindowAttributes attributes{};
    if (XGetWindowAttributes(conn.display, native(w)->xwin, &attributes))
      XSelectInput(conn.display, native(w)->xwin, attributes.your_event_mask | filter);
  }
  if (w->has_focus) XSetICFocus(native(w)->ic);
}

// The screen's size in pixels; connects only for the query when no window is open.
void screen_size(int* width, int* height) {
  *width = *height = 0;
  Display* display = conn.display ? conn.display : XOpenDisplay(nullptr);
  if (!display) return;
  int screen = DefaultScreen(display);
  *width = DisplayWidth(display, screen);
  *height = DisplayHeight(display, screen);
  if (display != conn.display) XCloseDisplay(display);
}

}  // namespace quelt::x11
