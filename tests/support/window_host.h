// What the window suite asks of the system that shows its windows: the window as the system holds
// it (place, caption, pixels, whether it exists), and input: real on X11 (XTest), from virtual
// devices on a wlroots compositor (wl_input), posted to the window on Windows.
#pragma once

#include "support.h"  // before Xlib, whose macros break GoogleTest

#include <chrono>
#ifdef _WIN32
#include <windows.h>
#else
#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>
#include <X11/extensions/XTest.h>
#include <quelt/imagefile/image.h>
#include <unistd.h>

#include <sys/stat.h>

#include <csignal>
#include <filesystem>

namespace qtest {
// The test's own connection to the server (null when there is no display).
inline Display* x() {
  static Display* display = XOpenDisplay(nullptr);
  return display;
}
}  // namespace qtest
#endif

namespace host {

// Runs the loop (unless told not to) until `done` holds or `ms` pass.
inline bool pump_until(const std::function<bool()>& done, int ms = 3000, bool loop = true) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
  while (std::chrono::steady_clock::now() < end) {
    if (loop) ctl_do_events();
    if (done()) return true;
#ifdef _WIN32
    Sleep(2);
#else
    usleep(2000);
#endif
  }
  return done();
}

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
inline bool wayland() { return false; }
inline bool reads_captions() { return true; }
inline bool own_frame() { return false; }
inline bool ready() { return true; }
inline void settle(ctl_window_rec*) { ctl_do_events(); }
inline bool exists(quelt_hwnd h) { return IsWindow(h); }
inline bool shown_ready(ctl_window_rec* w, bool = true) { return IsWindowVisible(w->hwnd); }
namespace way { inline bool input(const std::string&) { return false; } }  // no compositor here
using Rect = RECT;
inline Rect outer(ctl_window_rec* w) { Rect r{}; return GetWindowRect(w->hwnd, &r), r; }
inline Rect client(ctl_window_rec* w) { Rect r{}; return GetClientRect(w->hwnd, &r), MapWindowPoints(w->hwnd, nullptr, reinterpret_cast<POINT*>(&r), 2), r; }
inline Rect screen() { return {0, 0, GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN)}; }
inline std::string caption(ctl_window_rec* w) { char text[64] = ""; return GetWindowTextA(w->hwnd, text, sizeof text), text; }
// The client area as the window's device context has it, 0xRRGGBB.
inline std::vector<uint32_t> pixels(ctl_window_rec* w, int width, int height) {
  std::vector<uint32_t> out;
  const HDC dc = GetDC(w->hwnd);
  for (int i = 0; i < width * height; ++i) out.push_back(__builtin_bswap32(GetPixel(dc, i % width, i / width)) >> 8);
  ReleaseDC(w->hwnd, dc);
  return out;
}
inline void close_button(ctl_window_rec* w) { PostMessageW(w->hwnd, WM_SYSCOMMAND, SC_CLOSE, 0); }
inline void key(ctl_window_rec* w, uint32_t vk, bool down) { PostMessageW(w->hwnd, down ? WM_KEYDOWN : WM_KEYUP, vk, down ? 1 : 0xC0000001); }
inline POINT mouse{};
inline void move(ctl_window_rec* w, int x, int y) { mouse = {x, y}, PostMessageW(w->hwnd, WM_MOUSEMOVE, 0, MAKELPARAM(x, y)); }
inline void button(ctl_window_rec* w, int b, bool down) {  // 1 left, 2 middle, 3 right
  static const UINT downs[] = {0, WM_LBUTTONDOWN, WM_MBUTTONDOWN, WM_RBUTTONDOWN};
  PostMessageW(w->hwnd, downs[b] + (down ? 0 : 1), 0, MAKELPARAM(mouse.x, mouse.y));
}
// One notch of the wheel (up when `up`) where the pointer is; its place in screen coordinates.
inline void wheel(ctl_window_rec* w, bool up) {
  const Rect c = client(w);
  PostMessageW(w->hwnd, WM_MOUSEWHEEL, MAKEWPARAM(0, up ? 120 : -120), MAKELPARAM(c.left + mouse.x, c.top + mouse.y));
}
#else
using qtest::x;
struct Rect { int left, top, right, bottom; };

inline bool set(const char* variable) { return std::getenv(variable) && *std::getenv(variable); }
inline bool wayland() { return set("WAYLAND_DISPLAY"); }
// On sway: its tree (swaymsg) for places and captions, grim for pixels, virtual devices for input.
// On weston, which has none of them, the screen (weston --debug) where quelt's own frame is found.
namespace way {
inline std::string run(const std::string& command) {
  std::string out;
  if (FILE* f = popen(command.c_str(), "r")) {
    char chunk[4096];
    for (size_t n; (n = std::fread(chunk, 1, sizeof chunk, f)) > 0;) out.append(chunk, n);
    pclose(f);
  }
  return out;
}
inline void sway(const std::string& command) { run("swaymsg '" + command + "' > /dev/null 2>&1"); }
inline bool sway_tree() { return set("SWAYSOCK"); }
// What swaymsg answers to `type`: JSON laid out as `"field": value`, one to a line.
inline std::string query(const char* type) { return run(std::string("swaymsg -r -t ") + type + " 2> /dev/null"); }
inline Rect rect_in(const std::string& json) {
  Rect r{};
  const size_t at = json.find("\"rect\": {");
  if (at != std::string::npos && std::sscanf(json.c_str() + at, "\"rect\": { \"x\": %d, \"y\": %d, \"width\": %d, \"height\": %d",
                                             &r.left, &r.top, &r.right, &r.bottom) == 4)
    r.right += r.left, r.bottom += r.top;
  return r;
}
// The output's scale: device pixels to a logical one.
inline int scale() {
  const std::string outputs = sway_tree() ? query("get_outputs") : "";
  const size_t at = outputs.find("\"scale\": ");
  return at == std::string::npos ? 1 : std::max(1, std::atoi(outputs.c_str() + at + 9));
}
// Sets every output's scale for a test, and back to 1 at the end of it.
struct Scale {
  explicit Scale(int s) { sway("output * scale " + std::to_string(s)); }
  ~Scale() { sway("output * scale 1"); }
};
// A logical rectangle of the screen in device pixels, B, G, R, A words (grim takes it at the
// output's scale; on weston it is cut from the whole screen); the whole screen into `whole`.
inline std::vector<uint32_t> shot(Rect r, sf_surface* whole = nullptr) {
  char dir[] = "/tmp/quelt-shot-XXXXXX";
  std::vector<uint32_t> out;
  if (!mkdtemp(dir)) return out;
  const bool grim = sway_tree() && !whole;
  const int s = scale(), width = (r.right - r.left) * s, height = (r.bottom - r.top) * s;
  char take[96] = "weston-screenshooter && mv *.png shot.png";
  if (grim) std::snprintf(take, sizeof take, "grim -g '%d,%d %dx%d' shot.png", r.left, r.top, r.right - r.left, r.bottom - r.top);
  sf_surface image{};
  if (std::system(("cd " + std::string(dir) + " && (" + take + ") > /dev/null 2>&1").c_str()) == 0)
    sf_image_load(&image, (std::string(dir) + "/shot.png").c_str());
  std::filesystem::remove_all(dir);
  const int x0 = grim ? 0 : r.left, y0 = grim ? 0 : r.top;
  if (image.pixels && image.bytes_per_pixel == 4 && x0 >= 0 && y0 >= 0 && x0 + width <= image.width &&
      y0 + height <= image.height && (!grim || (image.width == width && image.height == height)))
    for (int y = y0; y < y0 + height; ++y) {
      const uint32_t* row = reinterpret_cast<const uint32_t*>(image.pixels) + size_t(y) * image.width;
      out.insert(out.end(), row + x0, row + x0 + width);
    }
  if (whole) *whole = image;
  else sf_release(&image);
  return out;
}
struct Node { bool found = false, focused = false; Rect rect{}; std::string name; };
// The newest window of a process (this one unless named) in sway's tree.
inline Node node(pid_t of = getpid()) {
  const std::string tree = query("get_tree");
  const size_t pid = tree.rfind("\"pid\": " + std::to_string(of) + ",");
  if (pid == std::string::npos) return {};
  const size_t start = tree.rfind("\"id\": ", pid);
  const std::string n = tree.substr(start, pid - start);
  Node out{true, n.find("\"focused\": true") != std::string::npos, rect_in(n), ""};
  const size_t name = n.find("\"name\": \"");
  for (size_t i = name == std::string::npos ? n.size() : name + 9; i < n.size() && n[i] != '"'; ++i)
    out.name += n[i] == '\\' ? n[++i] : n[i];
  return out;
}
// On weston: quelt's frame around a client area of the size given, found by its title bar's top
// left corner (the first pixel of its colours with 20 more right and below, none left or above).
inline Node frame_on_screen(int client_width, int client_height) {
  sf_surface screen{};
  Node out;
  shot({}, &screen);
  auto at = [&](int x, int y) {
    if (x < 0 || y < 0 || x >= screen.width || y >= screen.height) return false;
    const uint32_t v = reinterpret_cast<const uint32_t*>(screen.pixels)[size_t(y) * screen.width + x];
    return v == 0xFF2B2F36u || v == 0xFF4A4E55u;
  };
  for (int y = 0; y < screen.height && !out.found; ++y)
    for (int x = 0; x < screen.width && !out.found; ++x) {
      bool corner = at(x, y) && !at(x - 1, y) && !at(x, y - 1);
      for (int i = 1; corner && i <= 20; ++i) corner = at(x + i, y) && at(x, y + i);
      if (corner) out = {true, false, {x, y, x + client_width + 8, y + client_height + 32}, ""};
    }
  sf_release(&screen);
  return out;
}
// The window as the compositor shows it, frame included.
inline Node window(ctl_window_rec* w) {
  return sway_tree() ? node() : frame_on_screen(w ? ctl_window_width(w) : 0, w ? ctl_window_height(w) : 0);
}
// A command to the compositor's virtual keyboard and pointer and input method, held by one
// helper for the whole run (wl_input.cpp); false when it is not there or not answering.
inline bool input(const std::string& command) {
#ifdef QUELT_WL_INPUT
  static FILE *to = nullptr, *from = nullptr;
  if (!to) {  // the helper answers through a pipe of its own
    const std::string answers = "/tmp/quelt-wl-input-" + std::to_string(getpid());
    signal(SIGPIPE, SIG_IGN), mkfifo(answers.c_str(), 0600);
    to = popen((QUELT_WL_INPUT " > " + answers).c_str(), "w"), from = std::fopen(answers.c_str(), "r");
    unlink(answers.c_str());
  }
  char reply[8] = "";
  return to && from && std::fprintf(to, "%s\n", command.c_str()) > 0 && std::fflush(to) == 0 && std::fgets(reply, sizeof reply, from) &&
         std::string(reply) == "ok\n";
#else
  return (void)command, false;
#endif
}
}  // namespace way

inline bool ready() { return wayland() || x() != nullptr; }
// quelt's own frame: on weston, which draws none, and on sway when the suite asks for it.
inline bool own_frame() {
  return wayland() && (!way::sway_tree() || (set("QUELT_DECORATIONS") && std::string(std::getenv("QUELT_DECORATIONS")) == "client"));
}
// Captions can be read back (not on weston).
inline bool reads_captions() { return !wayland() || way::sway_tree(); }

// Up to `count` 32-bit items of a window's property.
inline std::vector<unsigned long> property(Window w, const char* name, long count) {
  unsigned long type, items = 0, after;  // (an Atom is an unsigned long)
  int format;
  unsigned char* data = nullptr;
  XGetWindowProperty(x(), w, XInternAtom(x(), name, False), 0, count, False, AnyPropertyType, &type, &format, &items, &after, &data);
  const std::vector<unsigned long> out(reinterpret_cast<unsigned long*>(data), reinterpret_cast<unsigned long*>(data) + (data ? items : 0));
  if (data) XFree(data);
  return out;
}
// The X window of a handle, by the property the library puts on it (low half first), among the
// root's children and in a window manager's frames; 0 when none.
inline Window find_window(quelt_hwnd hwnd, Window top, int depth = 2) {
  Window root, parent, *children = nullptr, found = 0;
  unsigned count = 0;
  if (!XQueryTree(x(), top, &root, &parent, &children, &count)) return 0;
  for (unsigned i = 0; i < count && !found; ++i) {
    const std::vector<unsigned long> v = property(children[i], "_QUELT_HWND", 2);
    if (v.size() == 2 && (v[0] & 0xFFFFFFFFu) + ((v[1] & 0xFFFFFFFFull) << 32) == reinterpret_cast<uintptr_t>(hwnd)) found = children[i];
    else if (depth > 0) found = find_window(hwnd, children[i], depth - 1);
  }
  if (children) XFree(children);
  return found;
}
// Windows may go away during the walk (a program that ended, Wine's): BadWindow is a window not there.
inline XErrorHandler handler_before_walk = nullptr;
inline Window xwindow(quelt_hwnd hwnd) {
  handler_before_walk = XSetErrorHandler([](Display* display, XErrorEvent* e) {
    return display == x() && e->error_code == BadWindow ? 0 : handler_before_walk ? handler_before_walk(display, e) : 0;
  });
  const Window found = find_window(hwnd, DefaultRootWindow(x()));
  XSync(x(), False), XSetErrorHandler(handler_before_walk);
  return found;
}
inline bool exists(quelt_hwnd h) { return wayland() ? way::window(nullptr).found /* on weston: shown */ : xwindow(h) != 0; }

// A WM_PROTOCOLS message to the window, as a window manager sends it.
inline void send_protocol(Window xw, const char* protocol, long stamp = 0) {
  XEvent e{};
  e.xclient = {ClientMessage, 0, False, x(), xw, XInternAtom(x(), "WM_PROTOCOLS", False), 32, {}};
  e.xclient.data.l[0] = static_cast<long>(XInternAtom(x(), protocol, False));
  e.xclient.data.l[1] = stamp, e.xclient.data.l[2] = static_cast<long>(xw);
  XSendEvent(x(), xw, False, NoEventMask, &e), XSync(x(), False);
}
// A _NET_WM_PING comes back on the root once the library has read every event sent before it.
inline long send_ping(Window xw) {
  static long serial = 0;
  XSelectInput(x(), DefaultRootWindow(x()), SubstructureNotifyMask);
  return send_protocol(xw, "_NET_WM_PING", 0x5E771E00 + ++serial), 0x5E771E00 + serial;
}
inline bool pong_seen(long stamp) {
  bool back = false;
  for (XEvent e; !back && XPending(x());) XNextEvent(x(), &e), back = e.type == ClientMessage && e.xclient.data.l[1] == stamp;
  return back;
}
// Until the library has taken what the suite's commands caused (from a compositor, written before
// they returned: a short run of the loop).
inline void settle(ctl_window_rec* w) {
  if (wayland()) return (void)pump_until([] { return false; }, 100);
  XSync(x(), False);
  if (const Window xw = w ? xwindow(w->hwnd) : 0) {
    const long stamp = send_ping(xw);
    pump_until([&] { return pong_seen(stamp); });
  }
  ctl_do_events();
}
// Mapped (on Wayland: nothing to ask before a frame) and, unless told not to, focused (on weston: shown).
inline bool shown_ready(ctl_window_rec* w, bool focused = true) {
  if (wayland()) return !focused || (way::sway_tree() ? way::node().focused : way::window(w).found);
  Window focus = 0, xw = xwindow(w->hwnd);
  int revert = 0;
  XGetInputFocus(x(), &focus, &revert);
  XWindowAttributes a{};
  return xw && XGetWindowAttributes(x(), xw, &a) && a.map_state == IsViewable && (!focused || focus == xw);
}
// The client area on the screen, and the whole window with a window manager's frame.
inline Rect client(ctl_window_rec* w) {
  if (wayland()) {
    // The frame's border is as wide on every side but the title's; places are logical pixels.
    const int s = way::scale(), cw = ctl_window_width(w), ch = ctl_window_height(w);
    const Rect r = way::window(w).rect;
    const int side = ((r.right - r.left) * s - cw) / 2, top = (r.bottom - r.top) * s - ch - side;
    return {r.left + side / s, r.top + top / s, r.left + (side + cw) / s, r.top + (top + ch) / s};
  }
  int left = 0, top = 0;
  Window child, xw = xwindow(w->hwnd);
  XWindowAttributes a{};
  XTranslateCoordinates(x(), xw, DefaultRootWindow(x()), 0, 0, &left, &top, &child);
  XGetWindowAttributes(x(), xw, &a);
  return {left, top, left + a.width, top + a.height};
}
inline Rect outer(ctl_window_rec* w) {
  if (wayland()) return way::window(w).rect;
  Rect r = client(w);
  const std::vector<unsigned long> f = property(xwindow(w->hwnd), "_NET_FRAME_EXTENTS", 4);
  if (f.size() == 4) r.left -= int(f[0]), r.right += int(f[1]), r.top -= int(f[2]), r.bottom += int(f[3]);
  return r;
}
// The screen (on Wayland, sway's: the only compositor that the suite places the pointer on).
inline Rect screen() {
  if (wayland()) return way::rect_in(way::query("get_outputs"));
  return {0, 0, DisplayWidth(x(), DefaultScreen(x())), DisplayHeight(x(), DefaultScreen(x()))};
}
inline std::string caption(ctl_window_rec* w) {
  if (wayland()) return way::node().name;
  char* name = nullptr;
  std::string out = XFetchName(x(), xwindow(w->hwnd), &name) && name ? name : "";
  if (name) XFree(name);
  return out;
}
inline std::vector<uint32_t> pixels(ctl_window_rec* w, int width, int height) {
  std::vector<uint32_t> out;
  if (wayland()) {
    const Rect c = client(w);
    return way::shot({c.left, c.top, c.left + width / way::scale(), c.top + height / way::scale()});
  }
  XImage* image = XGetImage(x(), xwindow(w->hwnd), 0, 0, unsigned(width), unsigned(height), AllPlanes, ZPixmap);
  for (int py = 0; image && py < height; ++py)
    for (int px = 0; px < width; ++px) out.push_back(static_cast<uint32_t>(XGetPixel(image, px, py)));
  if (image) XDestroyImage(image);
  return out;
}
inline bool window_manager() { return !wayland() && !property(DefaultRootWindow(x()), "_NET_SUPPORTING_WM_CHECK", 1).empty(); }
// wmctrl on the window, as a user's tool drives the window manager; false without wmctrl.
inline bool wmctrl(ctl_window_rec* w, const std::string& action) {
  char id[32];
  std::snprintf(id, sizeof id, "0x%lx", xwindow(w->hwnd));
  return std::system(("wmctrl -i " + action + " " + id + " > /dev/null 2>&1").c_str()) == 0;
}

// Keys go by their keysym, whose key XTest and wl_input find.
inline KeySym keysym(uint32_t vk) {
  for (auto [v, sym] : {std::pair<uint32_t, KeySym>{0x0D, XK_Return}, {0x10, XK_Shift_L}, {0x1B, XK_Escape}, {0x74, XK_F5}})
    if (v == vk) return sym;
  if (vk >= 0x25 && vk <= 0x28) return XK_Left + (vk - 0x25);  // the arrows, in the same order
  return vk >= 'A' && vk <= 'Z' ? vk - 'A' + XK_a : vk;        // letters and digits
}
inline void key(ctl_window_rec*, uint32_t vk, bool down) {
  if (wayland()) return (void)way::input("key " + std::to_string(keysym(vk)) + (down ? " 1" : " 0"));
  XTestFakeKeyEvent(x(), XKeysymToKeycode(x(), keysym(vk)), down, CurrentTime), XSync(x(), False);
}
// The pointer to (x, y) of the screen.
inline void pointer_to(int sx, int sy) {
  if (!wayland()) return (void)(XTestFakeMotionEvent(x(), -1, sx, sy, CurrentTime), XSync(x(), False));
  const Rect s = screen();
  way::input("move " + std::to_string(std::max(0, sx)) + " " + std::to_string(std::max(0, sy)) + " " +
             std::to_string(s.right) + " " + std::to_string(s.bottom));
}
inline void move(ctl_window_rec* w, int cx, int cy) {
  const Rect r = client(w);
  pointer_to(r.left + cx, r.top + cy);
}
inline void button(ctl_window_rec*, int b, bool down) {  // 1 left, 2 middle, 3 right (4 and 5 the wheel on X11)
  if (wayland()) return (void)way::input("button " + std::to_string(b == 1 ? 0x110 : b == 2 ? 0x112 : 0x111) + (down ? " 1" : " 0"));
  XTestFakeButtonEvent(x(), static_cast<unsigned>(b), down, CurrentTime), XSync(x(), False);
}
inline void wheel(ctl_window_rec* w, bool up) {
  if (wayland()) return (void)way::input(up ? "wheel 0 -1" : "wheel 0 1");
  button(w, up ? 4 : 5, true), button(w, up ? 4 : 5, false);
}

// The frame's close button: quelt's own on sway (the rightmost square of the title bar), else the
// compositor's or the window manager's (on a bare server, the message one would send).
inline void close_button(ctl_window_rec* w) {
  if (wayland() && own_frame() && way::sway_tree())
    return pointer_to(outer(w).right - 4 - 14, outer(w).top + 14), button(w, 1, true), button(w, 1, false);
  if (wayland()) return way::sway("[pid=" + std::to_string(getpid()) + "] kill");
  if (!window_manager() || !wmctrl(w, "-c")) send_protocol(xwindow(w->hwnd), "WM_DELETE_WINDOW");
}

inline bool has_xtest() {
  if (wayland()) return way::input("reset");
  int event, error, major, minor;
  return x() && XTestQueryExtension(x(), &event, &error, &major, &minor);
}
// Keeps the server as a test found it: when it goes (also after a failed assertion) no button or
// key is held, the keyboard mapping and auto-repeat are as they were.
struct KeepServer {
  Display* d = wayland() ? nullptr : x();
  int min_code = 0, max_code = 0, per = 0;
  KeySym* mapping = nullptr;
  bool remapped = false;
  unsigned delay = 0, interval = 0;
  XKeyboardState keyboard{};

  KeepServer() {
    if (!d) return;
    XDisplayKeycodes(d, &min_code, &max_code);
    mapping = XGetKeyboardMapping(d, KeyCode(min_code), max_code - min_code + 1, &per);
    XkbGetAutoRepeatRate(d, XkbUseCoreKbd, &delay, &interval);
    XGetKeyboardControl(d, &keyboard);
  }
  // `count` keys from `code` on, one keysym each, for the test.
  void map(int code, KeySym* syms, int count) { remapped = true, XChangeKeyboardMapping(d, code, 1, syms, count); }
  ~KeepServer() {
    if (!d) { way::input("reset"); return; }
    // Every button and key up: the server drops the release of one that is not held.
    for (unsigned b = 1; b <= 5; ++b) XTestFakeButtonEvent(d, b, False, CurrentTime);
    for (unsigned code = 8; code < 256; ++code) XTestFakeKeyEvent(d, code, False, CurrentTime);
    if (mapping && remapped) XChangeKeyboardMapping(d, min_code, per, mapping, max_code - min_code + 1);
    if (mapping) XFree(mapping);
    XkbSetAutoRepeatRate(d, XkbUseCoreKbd, delay, interval);
    keyboard.global_auto_repeat == AutoRepeatModeOn ? XAutoRepeatOn(d) : XAutoRepeatOff(d);
    XSync(d, False);
  }
};
#endif

// A key pressed and released (on Windows the press becomes its character before the release).
inline void tap(ctl_window_rec* w, uint32_t vk) {
  key(w, vk, true);
#ifdef _WIN32
  ctl_do_events();
#endif
  key(w, vk, false);
}
// Where what the window shows first differs from `want`, "" when nowhere (a compositor shows a
// frame once it asks for the next: the loop runs until then).
inline std::string shown_differs(ctl_window_rec* w, int width, int height, const Want& want, uint32_t mask = 0xFFFFFF) {
  std::string differs;
  const bool same = pump_until([&] { return (differs = first_difference(pixels(w, width, height), width, want, mask)).empty(); },
                               wayland() ? 3000 : 0);
  return same ? "" : differs;
}

}  // namespace host
