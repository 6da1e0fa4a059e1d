// What the window suite asks of the system that shows its windows: whether there is one, the
// window as the system holds it (place, caption, pixels, whether it still exists), and input
// sent to it. On X11 the input is real (XTest: the server routes it); on Windows it is posted to
// the window, as the system's input thread would.
#pragma once

#ifdef _WIN32
#include <windows.h>
#endif
#include <quelt/quelt.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#ifndef _WIN32
#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>
#include <X11/extensions/XTest.h>
#include <unistd.h>

// The test's own connection to the server, and walks of the window tree that survive other
// clients' windows going away.
namespace qtest {

// The test's own connection to the server (null when there is no display).
inline Display* x() {
  static Display* display = XOpenDisplay(nullptr);
  return display;
}

// Other clients' windows may go away while a test walks the window tree (a program that has
// just ended, Wine's windows after its last program). While `walk` runs, BadWindow on the
// test's connection is taken as a window that isn't there; other errors go where they went.
inline XErrorHandler handler_before_walk = nullptr;
inline int ignore_vanished(Display* display, XErrorEvent* e) {
  if (display == x() && e->error_code == BadWindow) return 0;
  return handler_before_walk ? handler_before_walk(display, e) : 0;
}
template <class F>
auto walking(F walk) {
  handler_before_walk = XSetErrorHandler(ignore_vanished);
  auto result = walk();
  XSync(x(), False);
  XSetErrorHandler(handler_before_walk);
  return result;
}

}  // namespace qtest
#endif

namespace host {

// Runs the loop until `done` holds or `ms` pass.
inline bool pump_until(const std::function<bool()>& done, int ms = 3000) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
  while (std::chrono::steady_clock::now() < end) {
    ctl_do_events();
    if (done()) return true;
#ifdef _WIN32
    Sleep(2);
#else
    usleep(2000);
#endif
  }
  return done();
}

struct Rect { int left, top, right, bottom; };
// Where the first pixel that differs from want(x, y) in the bits of `mask` is, "" when none.
using Want = std::function<uint32_t(int, int)>;
inline std::string first_difference(const std::vector<uint32_t>& got, int width, const Want& want, uint32_t mask) {
  for (size_t i = 0; i < got.size(); ++i) {
    const int x = static_cast<int>(i) % width, y = static_cast<int>(i) / width;
    if ((got[i] ^ want(x, y)) & mask) {
      char out[80];
      std::snprintf(out, sizeof out, "%d,%d: %08x, not %08x", x, y, got[i], want(x, y));
      return out;
    }
  }
  return got.empty() ? "no image" : "";
}

#ifdef _WIN32
inline bool ready() { return true; }
inline void settle(ctl_window_rec*) { ctl_do_events(); }
inline bool exists(quelt_hwnd h) { return IsWindow(h); }
inline bool shown_ready(ctl_window_rec* w) { return IsWindowVisible(w->hwnd); }
inline Rect outer(ctl_window_rec* w) {
  RECT r{};
  GetWindowRect(w->hwnd, &r);
  return {r.left, r.top, r.right, r.bottom};
}
inline Rect screen() { return {0, 0, GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN)}; }
inline std::string caption(ctl_window_rec* w) {
  char text[64] = "";
  GetWindowTextA(w->hwnd, text, sizeof text);
  return text;
}
// The client area as the window shows it, through a copy of its device context.
inline std::vector<uint32_t> pixels(ctl_window_rec* w, int width, int height) {
  BITMAPINFO info{{sizeof(BITMAPINFOHEADER), width, -height, 1, 32, BI_RGB, 0, 0, 0, 0, 0}, {}};
  void* bits = nullptr;
  HDC screen_dc = GetDC(w->hwnd), copy = CreateCompatibleDC(screen_dc);
  HBITMAP bitmap = CreateDIBSection(copy, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
  HGDIOBJ old = SelectObject(copy, bitmap);
  std::vector<uint32_t> out;
  if (BitBlt(copy, 0, 0, width, height, screen_dc, 0, 0, SRCCOPY)) {
    GdiFlush();
    out.assign(static_cast<uint32_t*>(bits), static_cast<uint32_t*>(bits) + width * height);
  }
  SelectObject(copy, old), DeleteObject(bitmap), DeleteDC(copy), ReleaseDC(w->hwnd, screen_dc);
  return out;
}
inline void close_button(ctl_window_rec* w) { PostMessageW(w->hwnd, WM_SYSCOMMAND, SC_CLOSE, 0); }
inline void key(ctl_window_rec* w, uint32_t vk, bool down) {
  PostMessageW(w->hwnd, down ? WM_KEYDOWN : WM_KEYUP, vk, down ? 1 : 0xC0000001);
}
inline LPARAM at(int x, int y) { return MAKELPARAM(x, y); }
inline int mouse_x = 0, mouse_y = 0;
inline void move(ctl_window_rec* w, int x, int y) {
  mouse_x = x, mouse_y = y;
  PostMessageW(w->hwnd, WM_MOUSEMOVE, 0, at(x, y));
}
inline void button(ctl_window_rec* w, int b, bool down) {  // 1 left, 2 middle, 3 right
  static const UINT downs[] = {0, WM_LBUTTONDOWN, WM_MBUTTONDOWN, WM_RBUTTONDOWN};
  PostMessageW(w->hwnd, downs[b] + (down ? 0 : 1), 0, at(mouse_x, mouse_y));
}
inline Rect client(ctl_window_rec* w) {
  POINT p{0, 0};
  ClientToScreen(w->hwnd, &p);
  return {p.x, p.y, p.x + ctl_window_width(w), p.y + ctl_window_height(w)};
}
// One notch of the wheel (up when `up`) where the pointer is; its place in screen coordinates.
inline void wheel(ctl_window_rec* w, bool up) {
  const Rect c = client(w);
  PostMessageW(w->hwnd, WM_MOUSEWHEEL, MAKEWPARAM(0, up ? 120 : -120), at(c.left + mouse_x, c.top + mouse_y));
}
// Real input leaves a window's client area to the window under the pointer; posted input does not.
constexpr bool real_pointer = false;
#else
using qtest::x;
inline bool ready() { return x() != nullptr; }

// Up to `count` 32-bit items of a window's property.
inline std::vector<unsigned long> property(Window w, const char* name, long count) {
  Atom type;
  int format;
  unsigned long items = 0, after;
  unsigned char* data = nullptr;
  std::vector<unsigned long> out;
  if (XGetWindowProperty(x(), w, XInternAtom(x(), name, False), 0, count, False, AnyPropertyType, &type, &format,
                         &items, &after, &data) == Success && data)
    out.assign(reinterpret_cast<unsigned long*>(data), reinterpret_cast<unsigned long*>(data) + items);
  if (data) XFree(data);
  return out;
}
// The first window that `match` takes among the root's children and, below them, a window
// manager's frames; 0 when none.
inline Window find_window(const std::function<bool(Window)>& match, Window top = 0, int depth = 2) {
  Window root, parent, *children = nullptr, found = 0;
  unsigned count = 0;
  if (!XQueryTree(x(), top ? top : DefaultRootWindow(x()), &root, &parent, &children, &count)) return 0;
  for (unsigned i = 0; i < count && !found; ++i)
    if (match(children[i])) found = children[i];
  for (unsigned i = 0; i < count && !found && depth > 0; ++i) found = find_window(match, children[i], depth - 1);
  if (children) XFree(children);
  return found;
}
// The X window of a handle, by the property the library puts on it (low half first).
inline Window xwindow(quelt_hwnd hwnd) {
  return qtest::walking([&] {
    return find_window([&](Window w) {
      const std::vector<unsigned long> v = property(w, "_QUELT_HWND", 2);
      return v.size() == 2 && (v[0] & 0xFFFFFFFFu) + ((v[1] & 0xFFFFFFFFull) << 32) == reinterpret_cast<uintptr_t>(hwnd);
    });
  });
}
inline bool exists(quelt_hwnd h) { return xwindow(h) != 0; }

// Waits until the library has read and dispatched every event the server sent it so far: a
// _NET_WM_PING sent to its window now comes back on the root once the library has read it.
inline long send_ping(Window xw) {
  static long serial = 0;
  const long stamp = 0x5E771E00 + ++serial;
  XSelectInput(x(), DefaultRootWindow(x()), SubstructureNotifyMask);
  XEvent ping{};
  ping.xclient = {ClientMessage, 0, False, x(), xw, XInternAtom(x(), "WM_PROTOCOLS", False), 32, {}};
  ping.xclient.data.l[0] = static_cast<long>(XInternAtom(x(), "_NET_WM_PING", False));
  ping.xclient.data.l[1] = stamp;
  ping.xclient.data.l[2] = static_cast<long>(xw);
  XSendEvent(x(), xw, False, NoEventMask, &ping);
  XSync(x(), False);
  return stamp;
}
inline bool pong_seen(long stamp) {
  bool back = false;
  for (XEvent e; !back && XPending(x());) XNextEvent(x(), &e), back = e.type == ClientMessage && e.xclient.data.l[1] == stamp;
  return back;
}
inline void settle(ctl_window_rec* w) {
  XSync(x(), False);
  if (const Window xw = w ? xwindow(w->hwnd) : 0) {
    const long stamp = send_ping(xw);
    pump_until([&] { return pong_seen(stamp); });
  }
  ctl_do_events();
}
// Mapped and holding the keyboard focus.
inline bool shown_ready(ctl_window_rec* w) {
  Window focus = 0, xw = xwindow(w->hwnd);
  int revert = 0;
  XGetInputFocus(x(), &focus, &revert);
  XWindowAttributes a{};
  return xw && XGetWindowAttributes(x(), xw, &a) && a.map_state == IsViewable && focus == xw;
}
// The client area on the screen, and the whole window with the frame a window manager put
// around it (none on a bare server).
inline Rect client(ctl_window_rec* w) {
  int left = 0, top = 0;
  Window child, xw = xwindow(w->hwnd);
  XWindowAttributes a{};
  XTranslateCoordinates(x(), xw, DefaultRootWindow(x()), 0, 0, &left, &top, &child);
  XGetWindowAttributes(x(), xw, &a);
  return {left, top, left + a.width, top + a.height};
}
inline Rect outer(ctl_window_rec* w) {
  Rect r = client(w);
  const std::vector<unsigned long> f = property(xwindow(w->hwnd), "_NET_FRAME_EXTENTS", 4);
  if (f.size() == 4) r.left -= int(f[0]), r.right += int(f[1]), r.top -= int(f[2]), r.bottom += int(f[3]);
  return r;
}
inline Rect screen() { return {0, 0, DisplayWidth(x(), DefaultScreen(x())), DisplayHeight(x(), DefaultScreen(x()))}; }
inline std::string caption(ctl_window_rec* w) {
  char* name = nullptr;
  std::string out = XFetchName(x(), xwindow(w->hwnd), &name) && name ? name : "";
  if (name) XFree(name);
  return out;
}
inline std::vector<uint32_t> pixels(ctl_window_rec* w, int width, int height) {
  std::vector<uint32_t> out;
  XImage* image = XGetImage(x(), xwindow(w->hwnd), 0, 0, static_cast<unsigned>(width), static_cast<unsigned>(height),
                            AllPlanes, ZPixmap);
  if (!image) return out;
  for (int py = 0; py < height; ++py)
    for (int px = 0; px < width; ++px) out.push_back(static_cast<uint32_t>(XGetPixel(image, px, py)));
  XDestroyImage(image);
  return out;
}
inline bool window_manager() { return !property(DefaultRootWindow(x()), "_NET_SUPPORTING_WM_CHECK", 1).empty(); }
// wmctrl on the window, as a user's tool drives the window manager; false without wmctrl.
inline bool wmctrl(ctl_window_rec* w, const std::string& action) {
  char id[32];
  std::snprintf(id, sizeof id, "0x%lx", xwindow(w->hwnd));
  return std::system(("wmctrl -i " + action + " " + id + " > /dev/null 2>&1").c_str()) == 0;
}
// The window manager's close button, or on a bare server the message it would send.
inline void close_button(ctl_window_rec* w) {
  if (window_manager() && wmctrl(w, "-c")) return;
  const Window xw = xwindow(w->hwnd);
  XEvent ev{};
  ev.xclient = {ClientMessage, 0, False, x(), xw, XInternAtom(x(), "WM_PROTOCOLS", False), 32, {}};
  ev.xclient.data.l[0] = static_cast<long>(XInternAtom(x(), "WM_DELETE_WINDOW", False));
  XSendEvent(x(), xw, False, NoEventMask, &ev);
  XSync(x(), False);
}
// The key of a virtual-key code the suite types.
inline KeySym keysym(uint32_t vk) {
  switch (vk) {
    case 0x0D: return XK_Return;
    case 0x10: return XK_Shift_L;
    case 0x1B: return XK_Escape;
    case 0x25: return XK_Left;
    case 0x26: return XK_Up;
    case 0x27: return XK_Right;
    case 0x28: return XK_Down;
    case 0x74: return XK_F5;
    default: return vk >= 'A' && vk <= 'Z' ? vk - 'A' + XK_a : vk;  // letters and digits
  }
}
inline void key(ctl_window_rec*, uint32_t vk, bool down) {
  XTestFakeKeyEvent(x(), XKeysymToKeycode(x(), keysym(vk)), down, CurrentTime), XSync(x(), False);
}
inline void move(ctl_window_rec* w, int cx, int cy) {
  const Rect r = client(w);
  XTestFakeMotionEvent(x(), -1, r.left + cx, r.top + cy, CurrentTime), XSync(x(), False);
}
inline void button(ctl_window_rec*, int b, bool down) {
  XTestFakeButtonEvent(x(), static_cast<unsigned>(b), down, CurrentTime), XSync(x(), False);
}
inline void wheel(ctl_window_rec* w, bool up) { button(w, up ? 4 : 5, true), button(w, up ? 4 : 5, false); }
constexpr bool real_pointer = true;

inline bool has_xtest() {
  int event = 0, error = 0, major = 0, minor = 0;
  return x() && XTestQueryExtension(x(), &event, &error, &major, &minor);
}
// Keeps the server as a test found it: on destruction (also after a failed assertion) no button or
// key is held, and the keyboard mapping and auto-repeat are as they were.
struct KeepServer {
  Display* d = x();
  int min_code = 0, max_code = 0, per = 0;
  KeySym* mapping = nullptr;
  unsigned delay = 0, interval = 0;
  XKeyboardState keyboard{};

  KeySym* current(int* per_code) { return XGetKeyboardMapping(d, KeyCode(min_code), max_code - min_code + 1, per_code); }
  KeepServer() {
    XDisplayKeycodes(d, &min_code, &max_code);
    mapping = current(&per);
    XkbGetAutoRepeatRate(d, XkbUseCoreKbd, &delay, &interval);
    XGetKeyboardControl(d, &keyboard);
  }
  ~KeepServer() {
    Window root, child;
    int rx, ry, wx, wy;
    unsigned held = 0;
    XQueryPointer(d, DefaultRootWindow(d), &root, &child, &rx, &ry, &wx, &wy, &held);
    for (unsigned b = 1; b <= 5; ++b)
      if (held & (Button1Mask << (b - 1))) XTestFakeButtonEvent(d, b, False, CurrentTime);
    char keys[32];
    XQueryKeymap(d, keys);
    for (unsigned code = 8; code < 256; ++code)
      if (keys[code / 8] & (1 << (code % 8))) XTestFakeKeyEvent(d, code, False, CurrentTime);
    int now_per = 0;
    KeySym* now = current(&now_per);
    const size_t n = size_t(max_code - min_code + 1) * size_t(per);
    if (mapping && (!now || now_per != per || !std::equal(mapping, mapping + n, now)))
      XChangeKeyboardMapping(d, min_code, per, mapping, max_code - min_code + 1);
    if (now) XFree(now);
    if (mapping) XFree(mapping);
    XkbSetAutoRepeatRate(d, XkbUseCoreKbd, delay, interval);
    keyboard.global_auto_repeat == AutoRepeatModeOn ? XAutoRepeatOn(d) : XAutoRepeatOff(d);
    XSync(d, False);
  }
};
#endif

// A key pressed and released. On Windows the loop turns the press into its character before the
// release is posted, as typing does.
inline void tap(ctl_window_rec* w, uint32_t vk) {
  key(w, vk, true);
#ifdef _WIN32
  ctl_do_events();
#endif
  key(w, vk, false);
}
inline std::string shown_differs(ctl_window_rec* w, int width, int height, const Want& want, uint32_t mask = 0xFFFFFF) {
  return first_difference(pixels(w, width, height), width, want, mask);
}

}  // namespace host
