// Windows on a real X server: pixmaps and layouts, creation and its failures, sizing, painting
// read back from the server, input typed and clicked through XTest, the close button, styles,
// layered windows, the window procedure's stages and the three loops.
#include <gtest/gtest.h>

#include <quelt/quelt.h>
#include <no_pixels.h>

#include <X11/Xlib.h>
#include <X11/XKBlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>
#include <X11/extensions/XTest.h>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "support.h"
#include "x11_walk.h"

// Xlib keeps a few process-wide blocks (locale and input-method tables) for good.
extern "C" const char* __lsan_default_suppressions() { return "leak:libX11.so\n"; }

namespace {

// Win32 message numbers and values the tests send or look for.
constexpr uint32_t kWmSize = 5, kWmPaint = 15, kWmClose = 16, kWmEraseBkgnd = 20,
               kWmGetMinMaxInfo = 36, kWmWindowPosChanged = 0x47, kWmStyleChanged = 0x7D,
               kWmKeyDown = 256, kWmKeyUp = 257, kWmChar = 258, kWmMouseMove = 512,
               kWmLButtonDown = 513, kWmLButtonUp = 514, kWmRButtonDown = 516, kWmRButtonUp = 517,
               kWmMouseWheel = 522;
constexpr int32_t kStyle = -16, kExStyle = -20;

const uint16_t* text16(const char16_t* s) { return reinterpret_cast<const uint16_t*>(s); }

LPARAM pack(int x, int y) {
  return static_cast<LPARAM>(static_cast<uint32_t>(static_cast<uint16_t>(x)) |
                             static_cast<uint32_t>(static_cast<uint16_t>(y)) << 16);
}

// The two trace lines of a failure in `fn` of `file`, line numbers hidden.
std::string lines(const char* file, const char* fn, const char* what = "") {
  return std::string(file) + ":N:\t\t" + fn + ": " + what + "\n" + file + ":N:\t" + fn + ".\n";
}

// The trace `f` prints with the allocation after the next `n` failing (-1: none fails).
template <class F>
std::string trace_of(F f, long n = -1) {
  qtest::Stdout out;
  qtest::fail_after(n), f(), qtest::fail_after(-1);
  return qtest::trace_shape(out.text());
}

// Allocations made while `f` runs.
template <class F>
long allocations(F f) {
  const long before = qtest::allocation_count();
  f();
  return qtest::allocation_count() - before;
}

// What the callbacks saw.
std::vector<std::string> events;
std::function<void(ctl_window_rec*, int32_t)> on_event_hook;
std::function<void(ctl_window_rec*, int32_t, uint32_t)> on_key_hook;
std::vector<uint32_t> messages;

void note(const char* format, long a = 0, long b = 0, long c = 0, long d = 0) {
  char line[96];
  std::snprintf(line, sizeof line, format, a, b, c, d);
  events.emplace_back(line);
}

int32_t on_key(ctl_window_rec* w, int32_t code, uint32_t key) {
  note("key %ld %lx", code, key);
  if (on_key_hook) on_key_hook(w, code, key);
  return 0;
}
int32_t on_mouse(ctl_window_rec*, int32_t action, int32_t button, int32_t x, int32_t y) {
  note("mouse %ld %ld %ld %ld", action, button, x, y);
  return 0;
}
int32_t on_event(ctl_window_rec* w, int32_t code) {
  note("event %ld", code);
  if (on_event_hook) on_event_hook(w, code);
  return 0;
}
LRESULT on_message(ctl_window_rec*, uint32_t message, WPARAM, LPARAM) { messages.push_back(message); return 0; }

bool seen(const std::string& line) { return std::find(events.begin(), events.end(), line) != events.end(); }
long count_of(uint32_t message) { return std::count(messages.begin(), messages.end(), message); }

using qtest::walking;
using qtest::x;

bool has_xtest() {
  int event = 0, error = 0, major = 0, minor = 0;
  return x() && XTestQueryExtension(x(), &event, &error, &major, &minor);
}

// Up to `count` 32-bit items of a window's property.
std::vector<unsigned long> property(Window w, const char* name, long count) {
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

// The X window of a record, found by the handle the window carries (low half first): a child
// of the root, or of a window manager's frame.
Window xwindow_below(Window top, HWND hwnd, int depth) {
  Window root, parent, *children = nullptr, found = 0;
  unsigned count = 0;
  if (!XQueryTree(x(), top, &root, &parent, &children, &count)) return 0;
  for (unsigned i = 0; i < count && !found; ++i) {
    const std::vector<unsigned long> v = property(children[i], "_QUELT_HWND", 2);
    const uint64_t handle = v.size() == 2 ? (v[0] & 0xFFFFFFFFu) + ((v[1] & 0xFFFFFFFFull) << 32) : 0;
    if (handle == reinterpret_cast<uintptr_t>(hwnd)) found = children[i];
  }
  for (unsigned i = 0; i < count && !found && depth > 0; ++i) found = xwindow_below(children[i], hwnd, depth - 1);
  if (children) XFree(children);
  return found;
}
Window xwindow_of(HWND hwnd) {
  return walking([&] { return xwindow_below(DefaultRootWindow(x()), hwnd, 2); });
}

// Runs the loop until `done` holds or three seconds pass.
bool pump_until(const std::function<bool()>& done, int ms = 3000) {
  auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
  while (std::chrono::steady_clock::now() < end) {
    ctl_do_events();
    if (done()) return true;
    usleep(2000);
  }
  return done();
}
bool arrives(const std::string& line) { return pump_until([&] { return seen(line); }); }

// Waits until the library has read every event that the server sent it so far and dispatched
// what they queued: a _NET_WM_PING sent to its window now comes back on the root once the
// library has read it. A window that is gone (0) gets nothing more to read.
long send_ping(Window xw) {
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
bool pong_seen(long stamp) {
  bool back = false;
  for (XEvent e; !back && XPending(x());)
    XNextEvent(x(), &e), back = e.type == ClientMessage && e.xclient.data.l[1] == stamp;
  return back;
}
bool settle(Window xw) {
  XSync(x(), False);
  if (!xw) return ctl_do_events(), true;
  const long stamp = send_ping(xw);
  const bool done = pump_until([&] { return pong_seen(stamp); });
  ctl_do_events();
  return done;
}

// Where the pixels of the window, as the server holds them, differ from want(x, y) in the bits
// of `mask`: the first such pixel, or "" when all agree.
std::string shown_differs(Window w, int width, int height, const std::function<uint32_t(int, int)>& want,
                          uint32_t mask = 0xFFFFFFFF) {
  XImage* image = XGetImage(x(), w, 0, 0, static_cast<unsigned>(width), static_cast<unsigned>(height), AllPlanes,
                            ZPixmap);
  if (!image) return "no image";
  char out[80] = "";
  for (int i = 0, px = 0, py = 0; i < width * height && !out[0]; px = ++i % width, py = i / width) {
    const auto got = static_cast<uint32_t>(XGetPixel(image, px, py)), expected = want(px, py);
    if ((got ^ expected) & mask) std::snprintf(out, sizeof out, "%d,%d: %08x, not %08x", px, py, got, expected);
  }
  XDestroyImage(image);
  return out;
}

uint32_t pixel(const sf_surface* s, int px, int py) {
  uint32_t v;
  std::memcpy(&v, s->pixels + (static_cast<size_t>(py) * s->width + px) * 4, 4);
  return v;
}

void fill(sf_surface* s, uint32_t color, const sf_rect* rect = nullptr) { s->color = color, sf_fill(s, rect); }

// Input through XTest, each event sent before the call returns.
void move_to(int px, int py) { XTestFakeMotionEvent(x(), -1, px, py, CurrentTime), XSync(x(), False); }
void button(unsigned b, bool down) { XTestFakeButtonEvent(x(), b, down, CurrentTime), XSync(x(), False); }
void key(KeyCode code, bool down) { XTestFakeKeyEvent(x(), code, down, CurrentTime), XSync(x(), False); }
void tap(KeySym keysym) { key(XKeysymToKeycode(x(), keysym), true), key(XKeysymToKeycode(x(), keysym), false); }

// A window at a known place on the screen with every callback installed.
struct TestWindow {
  ctl_window_rec* w = nullptr;
  sf_surface* s = nullptr;

  TestWindow(int width, int height, int at_x = 100, int at_y = 80) {
    events.clear(), messages.clear(), on_event_hook = nullptr, on_key_hook = nullptr;
    s = ctl_window(&w, text16(u"quelt test window"), width, height);
    if (!s) return;
    ctl_window_movc(w, width, height, at_x, at_y);
    w->onkey = on_key, w->onmouse = on_mouse, w->onevent = on_event, w->onmessage = on_message;
  }
  ~TestWindow() { ctl_window_release(&w); }

  Window xwin() const { return xwindow_of(w->hwnd); }

  // Shows the window and waits until it is on the screen with the keyboard focus.
  bool show() {
    ctl_window_show(w);
    return pump_until([&] {
      Window focus = 0, xw = xwin();
      int revert = 0;
      XGetInputFocus(x(), &focus, &revert);
      XWindowAttributes a{};
      return xw && XGetWindowAttributes(x(), xw, &a) && a.map_state == IsViewable && focus == xw;
    });
  }
};

struct Windows : ::testing::Test {
  void SetUp() override { if (!x()) GTEST_SKIP() << "no X display"; }
};
// Input tests change the server that every later test shares: each leaves it as it found it (no
// button or key held, the keyboard mapping and auto-repeat as they were), also after a failed
// assertion.
struct Input : Windows {
  int min_code = 0, max_code = 0, per = 0;
  KeySym* mapping = nullptr;
  unsigned delay = 0, interval = 0;
  XKeyboardState keyboard{};

  KeySym* current(int* per_code) {
    return XGetKeyboardMapping(x(), static_cast<KeyCode>(min_code), max_code - min_code + 1, per_code);
  }
  void SetUp() override {
    if (!has_xtest()) GTEST_SKIP() << "no X display with XTest";
    XDisplayKeycodes(x(), &min_code, &max_code);
    mapping = current(&per);
    XkbGetAutoRepeatRate(x(), XkbUseCoreKbd, &delay, &interval);
    XGetKeyboardControl(x(), &keyboard);
  }
  void TearDown() override {
    if (!mapping) return;
    Window root, child;
    int rx, ry, wx, wy;
    unsigned held = 0;
    XQueryPointer(x(), DefaultRootWindow(x()), &root, &child, &rx, &ry, &wx, &wy, &held);
    for (unsigned b = 1; b <= 5; ++b)
      if (held & (Button1Mask << (b - 1))) XTestFakeButtonEvent(x(), b, False, CurrentTime);
    char keys[32];
    XQueryKeymap(x(), keys);
    for (unsigned code = 8; code < 256; ++code)
      if (keys[code / 8] & (1 << (code % 8))) XTestFakeKeyEvent(x(), code, False, CurrentTime);
    int now_per = 0;
    KeySym* now = current(&now_per);
    const size_t n = static_cast<size_t>(max_code - min_code + 1) * static_cast<size_t>(per);
    if (!now || now_per != per || !std::equal(mapping, mapping + n, now))
      XChangeKeyboardMapping(x(), min_code, per, mapping, max_code - min_code + 1);
    if (now) XFree(now);
    XFree(mapping);
    XkbSetAutoRepeatRate(x(), XkbUseCoreKbd, delay, interval);
    keyboard.global_auto_repeat == AutoRepeatModeOn ? XAutoRepeatOn(x()) : XAutoRepeatOff(x());
    XSync(x(), False);
  }
};


TEST(Pixmap, CreateGivesZeroedTopDownSurfaceAndReleaseEmptiesIt) {
  ctl_pixmap_rec p, zero;
  std::memset(&p, 0xAB, sizeof p);  // old content is ignored
  std::memset(&zero, 0, sizeof zero);
  ASSERT_TRUE(ctl_pixmap_create(&p, 5, 3) == 1 && p.dc);
  // Every surface field but the dimensions and the pixels is zero, and so is every pixel.
  sf_surface want;
  std::memset(&want, 0, sizeof want);
  want.width = 5, want.height = 3, want.bytes_per_pixel = 4, want.pixels = p.surface.pixels;
  EXPECT_EQ(std::memcmp(&p.surface, &want, sizeof want), 0);
  EXPECT_EQ(std::vector<uint8_t>(p.surface.pixels, p.surface.pixels + 60), std::vector<uint8_t>(60));
  // Drawing reaches the bitmap's bytes at (y × 5 + x) × 4, top row first.
  sf_rect one = {4, 0, 5, 1};
  fill(&p.surface, 0xFF102030, &one);
  EXPECT_EQ(pixel(&p.surface, 4, 0), 0xFF102030u);
  // A skip table is freed with the surface; the bitmap's memory never reaches free.
  ASSERT_EQ(sf_strip(&p.surface), 1);
  ctl_pixmap_release(&p);
  EXPECT_EQ(std::memcmp(&p, &zero, sizeof p), 0);
  ctl_pixmap_release(&p);  // a second release does nothing
  ctl_pixmap_release(&zero);
  EXPECT_EQ(std::memcmp(&p, &zero, sizeof p), 0);
  ctl_button_draw();
}

TEST(Pixmap, FailuresTraceAndLeaveReleasableRecords) {
  struct { long fail_after; int32_t width, height; const char* what; bool dimensions_kept; } cases[] = {
      {0, 4, 4, "CreateCompatibleDC", false},  // the context
      {1, 4, 4, "CreateDIBSection", true},     // the bitmap's record
      {-1, 0, 4, "CreateDIBSection", true},    // sizes no bitmap can have
      {-1, 4, -1, "CreateDIBSection", true},
      {-1, 65536, 65536, "CreateDIBSection", true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what + std::string(" ") + std::to_string(c.width));
    ctl_pixmap_rec p;
    EXPECT_EQ(trace_of([&] { EXPECT_EQ(ctl_pixmap_create(&p, c.width, c.height), 0); }, c.fail_after),
              lines("pixmap.cpp", "ctl_pixmap_create", c.what));
    EXPECT_EQ(p.surface.pixels, nullptr);
    EXPECT_EQ(std::pair(p.surface.width, p.surface.bytes_per_pixel),
              c.dimensions_kept ? std::pair(c.width, 4) : std::pair(0, 0));
    ctl_pixmap_rec before = p;
    ctl_pixmap_release(&p);  // the context is gone: nothing happens
    EXPECT_EQ(std::memcmp(&p, &before, sizeof p), 0);
    ASSERT_EQ(ctl_pixmap_create(&p, 2, 2), 1);  // the record takes a new pixmap
    ctl_pixmap_release(&p);
  }
}

TEST(Layout, CreateReleaseAndEveryFailure) {
  ctl_layout_rec* layout = nullptr;
  const long count = allocations([&] { ASSERT_EQ(ctl_layout_create(&layout), 1); });
  ASSERT_TRUE(layout && layout->archive);
  ctl_layout_release(&layout);
  EXPECT_EQ(layout, nullptr);
  // Each allocation fails in turn: the record itself, then the parts of its archive. A block
  // whose archive failed stays with the caller and releases cleanly.
  for (long n = 0; n < count; ++n) {
    SCOPED_TRACE(n);
    EXPECT_TRUE(trace_of([&] { EXPECT_EQ(ctl_layout_create(&layout), 0); }, n)
                    .ends_with(lines("layout.cpp", "ctl_layout_create", n == 0 ? "malloc" : "")));
    EXPECT_EQ(layout == nullptr, n == 0);
    if (layout) ctl_layout_release(&layout);
    EXPECT_EQ(layout, nullptr);
  }
}


TEST(WindowCreate, FailsCleanlyWithoutDisplay) {
  const char* saved = std::getenv("DISPLAY");
  const std::string keep = saved ? saved : "";
  setenv("DISPLAY", ":32000", 1);
  ctl_window_rec* w = reinterpret_cast<ctl_window_rec*>(0x1);
  sf_surface* s = nullptr;
  EXPECT_EQ(trace_of([&] { s = ctl_window(&w, text16(u"none"), 10, 10); }),
            lines("window.cpp", "ctl_window_create", "CreateWindowEx") + lines("window.cpp", "ctl_window"));
  EXPECT_EQ(s, nullptr);
  EXPECT_EQ(w, reinterpret_cast<ctl_window_rec*>(0x1));  // untouched
  if (saved) setenv("DISPLAY", keep.c_str(), 1); else unsetenv("DISPLAY");
}

// The class is registered once per process, so this runs in a fresh one.
TEST_F(Windows, FailedRegistrationIsTriedAgain) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        ctl_window_rec* w = nullptr;
        bool ok = true;
        // The record fails first; then the record and the class brush pass, and the class fails.
        for (auto [n, what] : {std::pair{0L, "mallco"}, {2L, "RegisterClass"}})
          ok &= trace_of([&] { ok &= ctl_window_create(&w) == 0 && !w; }, n) ==
                lines("window.cpp", "ctl_window_create", what);
        ok &= ctl_window_create(&w) == 1 && w->hwnd && w->layout && !w->pixmap.dc && ctl_window_width(w) == 0;
        ctl_window_release(&w);
        ok &= w == nullptr;
        ctl_window_release(&w);  // null is harmless
        std::exit(ok ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

// A failed window or layout leaves nothing behind; the traces name the failed step.
TEST_F(Windows, CreationFailuresAreTraced) {
  // The connection stays open and every event is read before each count, so that the counts
  // cover creation alone (Xlib itself must never see a failed allocation: it ends the process).
  TestWindow keep(40, 30);
  ASSERT_NE(keep.s, nullptr);
  ctl_window_rec* w = nullptr;
  auto count_creation = [&] {
    settle(keep.xwin());
    const long n = allocations([&] { EXPECT_EQ(ctl_window_create(&w), 1); });
    ctl_window_release(&w);
    settle(keep.xwin());
    return n;
  };
  count_creation();  // Xlib's event queue grows once
  const long for_window = count_creation();
  ASSERT_EQ(count_creation(), for_window);
  ctl_layout_rec* layout = nullptr;
  const long for_layout = allocations([&] { ASSERT_EQ(ctl_layout_create(&layout), 1); });
  ctl_layout_release(&layout);
  ASSERT_GT(for_window, for_layout);

  const std::string window = lines("window.cpp", "ctl_window_create", "CreateWindowEx"),
                    layout_tail = lines("window.cpp", "ctl_window_create");
  for (auto [n, trace] : {std::pair{1L, window}, {for_window - for_layout, layout_tail},
                          {for_window - for_layout + 1, layout_tail}}) {
    SCOPED_TRACE(n);
    settle(keep.xwin());
    const std::string out = trace_of([&] { EXPECT_EQ(ctl_window_create(&w), 0); }, n);
    EXPECT_EQ(w, nullptr);
    EXPECT_TRUE(out.ends_with(trace)) << out;
  }
  ASSERT_EQ(ctl_window_create(&w), 1);  // and the next one works
  ctl_window_release(&w);
}


TEST_F(Windows, WindowIsSizedCentredAndNamed) {
  ctl_window_rec* w = nullptr;
  sf_surface* s = ctl_window(&w, text16(u"centred"), 641, 480);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(s, &w->pixmap.surface);
  EXPECT_EQ((std::vector{s->width, s->height, ctl_window_width(w), ctl_window_height(w)}),
            (std::vector{641, 480, 641, 480}));
  // Centred on the screen (1921 wide would give 960 - 320); there is no frame without a
  // window manager.
  Window xw = xwindow_of(w->hwnd), child;
  ASSERT_NE(xw, 0u);
  int at_x = 0, at_y = 0, want_x = DisplayWidth(x(), DefaultScreen(x())) / 2 - 641 / 2,
      want_y = DisplayHeight(x(), DefaultScreen(x())) / 2 - 480 / 2;
  EXPECT_TRUE(pump_until([&] {
    XTranslateCoordinates(x(), xw, DefaultRootWindow(x()), 0, 0, &at_x, &at_y, &child);
    return at_x == want_x && at_y == want_y;
  })) << at_x << "," << at_y;
  char* name = nullptr;
  ASSERT_TRUE(XFetchName(x(), xw, &name));
  EXPECT_STREQ(name, "centred");
  XFree(name);
  ctl_window_release(&w);
  EXPECT_EQ(w, nullptr);
}

TEST_F(Windows, UpdatePaintsThroughTheCallbackAndTheServerShowsTheSurface) {
  TestWindow t(160, 120);
  ASSERT_TRUE(t.show());
  // The paint callback draws; the copy that follows it puts the drawing on the screen.
  on_event_hook = [&](ctl_window_rec*, int32_t code) {
    if (code != CTL_PAINT) return;
    fill(t.s, 0xFF204080);
    sf_rect r = {10, 20, 30, 25};
    fill(t.s, 0xFFFF0000, &r);
  };
  events.clear();
  ctl_window_update(t.w);
  EXPECT_TRUE(seen("event 11"));  // before the call returned
  EXPECT_EQ(shown_differs(t.xwin(), 160, 120, [&](int px, int py) { return pixel(t.s, px, py); }, 0xFFFFFF), "");

  // Only the rectangle asked for is copied, at the same place.
  on_event_hook = nullptr;
  fill(t.s, 0xFF00FF00);
  sf_rect part = {40, 30, 90, 70}, corner = {40, 30, 50, 40};
  fill(t.s, 0xFFFFFF00, &corner);
  ctl_window_update_rect(t.w, &part);
  EXPECT_EQ(shown_differs(t.xwin(), 160, 120, [](int px, int py) -> uint32_t {
              if (px >= 40 && px < 90 && py >= 30 && py < 70) return px < 50 && py < 40 ? 0xFFFF00 : 0x00FF00;
              return px >= 10 && px < 30 && py >= 20 && py < 25 ? 0xFF0000 : 0x204080;
            }, 0xFFFFFF), "");

  // A rectangle beyond every edge is clipped to the window.
  fill(t.s, 0xFF0000FF);
  sf_rect beyond = {-50, -70, 1 << 30, 1 << 30};
  ctl_window_update_rect(t.w, &beyond);
  EXPECT_EQ(shown_differs(t.xwin(), 160, 120, [](int, int) { return 0x0000FFu; }, 0xFFFFFF), "");

  // A hidden window is not painted; showing it again brings a paint through the loop.
  ctl_window_hide(t.w);
  events.clear();
  ctl_window_update(t.w);
  EXPECT_FALSE(seen("event 11"));
  ctl_window_show(t.w);
  EXPECT_TRUE(arrives("event 11"));
}

TEST_F(Windows, ResizesRemakeThePixmap) {
  TestWindow t(100, 80);
  ASSERT_NE(t.s, nullptr);
  sf_surface* s = t.s;
  for (auto [width, height] : {std::pair{300, 200}, {300, 200}, {0, 0}, {120, 0}, {64, 48}}) {
    SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
    if (s->pixels) fill(s, 0xFFFFFFFF), s->anchor_x = 0.5f;
    events.clear();
    const bool changed = ctl_window_width(t.w) != width || ctl_window_height(t.w) != height;
    ctl_window_movc(t.w, width, height, 50, 60);
    EXPECT_EQ(seen("event 10"), changed);  // the size message came inside the call
    EXPECT_EQ(std::pair(ctl_window_width(t.w), ctl_window_height(t.w)), std::pair(width, height));
    EXPECT_EQ(t.s, s);  // the surface's address never changes
    if (!changed) continue;
    if (width == 0 || height == 0) {
      EXPECT_TRUE(s->width == 0 && s->bytes_per_pixel == 0 && !s->pixels && !t.w->pixmap.dc);
      ctl_window_update(t.w);  // nothing to copy, nothing happens
      continue;
    }
    EXPECT_EQ(std::pair(s->width, s->height), std::pair(width, height));
    EXPECT_TRUE(s->color == 0 && s->anchor_x == 0.0f);
    EXPECT_TRUE(std::all_of(s->pixels, s->pixels + width * height * 4, [](uint8_t b) { return b == 0; }));
  }
  // A size message with the unchanged size replaces the pixmap all the same.
  fill(s, 0xFF123456);
  ctl_window_proc(t.w->hwnd, kWmSize, 0, pack(64, 48));
  EXPECT_EQ(pixel(s, 3, 3), 0u);
  EXPECT_EQ(s->width, 64);
  // A size whose bitmap can't be made leaves the size without pixels: nothing may draw on it,
  // and a paint or an update of the window must not read it.
  {
    qtest::Stdout out;
    ctl_window_proc(t.w->hwnd, kWmSize, 0, pack(32767, 32767));
    EXPECT_NE(out.text().find("CreateDIBSection"), std::string::npos);
  }
  ASSERT_TRUE(s->width == 32767 && s->height == 32767 && !s->pixels);
  qtest::expect_refused_without_pixels(s, "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf");
  ctl_window_update(t.w);
  ctl_do_events();
}


TEST_F(Input, KeysReachOnkeyAsVirtualKeysAndCharacters) {
  TestWindow t(120, 90);
  ASSERT_TRUE(t.show());
  // Two keys typing characters outside ASCII: é, and one beyond the BMP (a surrogate pair).
  KeySym typed[2] = {0x0101F600, XK_eacute};
  XChangeKeyboardMapping(x(), max_code - 1, 1, typed, 2);
  settle(t.xwin());

  // What onkey saw of what `type` typed, once `n` events came and the queue settled.
  auto typing = [&](const std::function<void()>& type, size_t n) {
    events.clear();
    type();
    EXPECT_TRUE(pump_until([&] { return events.size() >= n; }));
    settle(t.xwin());
    return events;
  };
  struct { KeySym keysym; std::vector<std::string> want; } const cases[] = {
      {XK_a, {"key 2 41", "key 3 61", "key 1 41"}},
      {XK_Escape, {"key 2 1b", "key 3 1b", "key 1 1b"}},
      {XK_Left, {"key 2 25", "key 1 25"}},  {XK_Up, {"key 2 26", "key 1 26"}},
      {XK_Right, {"key 2 27", "key 1 27"}}, {XK_Down, {"key 2 28", "key 1 28"}},
      {XK_F5, {"key 2 74", "key 1 74"}},
      {XK_Return, {"key 2 d", "key 3 d", "key 1 d"}},
  };
  for (const auto& c : cases)
    EXPECT_EQ(typing([&] { tap(c.keysym); }, c.want.size()), c.want) << XKeysymToString(c.keysym);
  // Shift changes the character, not the virtual key.
  const KeyCode shift = XKeysymToKeycode(x(), XK_Shift_L);
  EXPECT_EQ(typing([&] { key(shift, true), tap(XK_b), key(shift, false); }, 5),
            (std::vector<std::string>{"key 2 10", "key 2 42", "key 3 42", "key 1 42", "key 1 10"}));

  events.clear();
  for (auto code : {max_code, max_code - 1})
    key(static_cast<KeyCode>(code), true), key(static_cast<KeyCode>(code), false);
  EXPECT_TRUE(arrives("key 3 de00"));
  std::vector<std::string> chars;
  for (const std::string& e : events)
    if (e.starts_with("key 3 ")) chars.push_back(e);
  EXPECT_EQ(chars, (std::vector<std::string>{"key 3 e9", "key 3 d83d", "key 3 de00"}));

}

TEST_F(Input, HeldKeyRepeatsAsPressesAndOneRelease) {
  TestWindow t(120, 90);
  ASSERT_TRUE(t.show());
  t.w->onmessage = [](ctl_window_rec*, uint32_t message, WPARAM, LPARAM l) -> LRESULT {
    // The message with its previous-state bit 30 and transition bit 31 above it.
    if (message == kWmKeyDown || message == kWmKeyUp)
      messages.push_back(message | static_cast<uint32_t>(((l >> 30) & 3) << 16));
    return 0;
  };
  // The server repeats a held key quickly for this test.
  XAutoRepeatOn(x());
  XkbSetAutoRepeatRate(x(), XkbUseCoreKbd, 40, 20);
  messages.clear();
  const KeyCode code = XKeysymToKeycode(x(), XK_c);
  key(code, true);
  pump_until([] { return messages.size() >= 4; }, 1500);
  key(code, false);
  ASSERT_TRUE(pump_until([] { return !messages.empty() && (messages.back() & 0xFFFF) == kWmKeyUp; }));
  ASSERT_GE(messages.size(), 3u);
  EXPECT_EQ(messages.front(), kWmKeyDown);
  for (size_t i = 1; i + 1 < messages.size(); ++i) EXPECT_EQ(messages[i], kWmKeyDown | 1u << 16);
  EXPECT_EQ(messages.back(), kWmKeyUp | 3u << 16);
}

TEST_F(Input, MouseButtonsWheelAndCapture) {
  TestWindow t(200, 150, 300, 200);
  ASSERT_TRUE(t.show());
  // Where the client area starts on the screen: (300, 200), or inside a window manager's frame.
  settle(t.xwin());
  int ox = 0, oy = 0;
  Window child;
  XTranslateCoordinates(x(), t.xwin(), DefaultRootWindow(x()), 0, 0, &ox, &oy, &child);
  move_to(ox + 10, oy + 20);
  ASSERT_TRUE(arrives("mouse 4 0 10 20"));
  for (auto [b, code] : {std::pair<unsigned, int32_t>{1, CTL_LEFT}, {3, CTL_RIGHT}, {2, CTL_MIDDLE}}) {
    SCOPED_TRACE(b);
    const int px = 30 + static_cast<int>(b);
    const std::string at = " " + std::to_string(code) + " " + std::to_string(px) + " 40";
    events.clear();
    move_to(ox + px, oy + 40);
    button(b, true);
    ASSERT_TRUE(arrives("mouse 2" + at));
    EXPECT_EQ(std::pair(ctl_window_mouse_state(t.w, code), ctl_window_mouse_state(t.w, 0)), std::pair(1, 1));
    EXPECT_EQ(std::pair(t.w->press_x, t.w->press_y), std::pair(px, 40));
    button(b, false);
    ASSERT_TRUE(arrives("mouse 1" + at));
    EXPECT_EQ(std::pair(ctl_window_mouse_state(t.w, code), ctl_window_mouse_state(t.w, 9)), std::pair(0, 0));
  }

  // The wheel: 120 a notch, the position in screen coordinates.
  move_to(336, 240);
  settle(t.xwin());
  for (auto [b, delta] : {std::pair{4u, 120}, {5u, -120}}) {
    events.clear();
    button(b, true), button(b, false);
    ASSERT_TRUE(arrives("mouse 5 0 336 240"));
    EXPECT_EQ(t.w->wheel, delta);
    settle(t.xwin());
    EXPECT_EQ(events.size(), 1u);
  }

  // A drag that leaves the window stays with it under the capture, with negative coordinates.
  events.clear();
  move_to(ox + 5, oy + 5);
  button(1, true);
  move_to(ox - 20, oy - 30);
  ASSERT_TRUE(arrives("mouse 4 0 -20 -30"));
  button(1, false);
  ASSERT_TRUE(arrives("mouse 1 6 -20 -30"));
  EXPECT_EQ(t.w->press_x, 5);
  EXPECT_EQ(ctl_window_mouse_state(t.w, CTL_LEFT), 0);

  // Left press, right press, left release: the capture ends though the right button is held.
  move_to(ox + 50, oy + 50);
  button(1, true), button(3, true), button(1, false);
  ASSERT_TRUE(arrives("mouse 1 6 50 50"));
  EXPECT_EQ(std::pair(int{t.w->left_down}, int{t.w->right_down}), std::pair(0, 1));
  events.clear();
  move_to(ox + 400, oy + 300);  // outside, and no longer ours
  move_to(ox + 60, oy + 61);
  ASSERT_TRUE(arrives("mouse 4 0 60 61"));
  EXPECT_FALSE(seen("mouse 4 0 400 300"));
  button(3, false);
  ASSERT_TRUE(arrives("mouse 1 7 60 61"));
  EXPECT_EQ(ctl_window_mouse_state(t.w, 0), 0);
}


bool window_manager() { return !property(DefaultRootWindow(x()), "_NET_SUPPORTING_WM_CHECK", 1).empty(); }

// wmctrl on the window, as a user's tool drives the window manager; false without wmctrl.
bool wmctrl(Window xw, const std::string& action) {
  char id[32];
  std::snprintf(id, sizeof id, "0x%lx", xw);
  return std::system(("wmctrl -i " + action + " " + id + " > /dev/null 2>&1").c_str()) == 0;
}

// The window manager's close button, or on a bare server the message it would send.
void press_close_button(Window xw) {
  if (window_manager() && wmctrl(xw, "-c")) return;
  XEvent ev{};
  ev.xclient = {ClientMessage, 0, False, x(), xw, XInternAtom(x(), "WM_PROTOCOLS", False), 32, {}};
  ev.xclient.data.l[0] = static_cast<long>(XInternAtom(x(), "WM_DELETE_WINDOW", False));  // at CurrentTime
  XSendEvent(x(), xw, False, NoEventMask, &ev);
  XSync(x(), False);
}

TEST_F(Windows, CloseButtonAndEscapeFollowTheQuitRules) {
  struct Case { bool with_onkey, escape /* else the close button */, quits, destroyed; };
  for (Case c : {Case{false, false, true, true}, {true, false, false, true}, {false, true, true, false},
                 {true, true, false, false}}) {
    SCOPED_TRACE(std::to_string(c.with_onkey) + std::to_string(c.escape));
    TestWindow t(80, 60);
    ASSERT_TRUE(t.show());
    if (!c.with_onkey) t.w->onkey = nullptr;
    // With onkey null the quit is posted before onevent(CTL_CLOSE) runs.
    int32_t quits_at_close = -1;
    on_event_hook = [&](ctl_window_rec*, int32_t code) {
      if (code == CTL_CLOSE) quits_at_close = ctl_do_events();
    };
    events.clear();
    if (c.escape) {
      if (!has_xtest()) GTEST_SKIP();
      tap(XK_Escape);
      pump_until([&] { return seen("key 1 1b") || ctl_do_events() > 0; }, 1000);
    } else {
      press_close_button(t.xwin());
      pump_until([&] { return seen("event 9"); });
      EXPECT_EQ(quits_at_close, c.quits ? 1 : 0);
    }
    settle(t.xwin());
    const bool quit_pending = ctl_do_events() > 0;
    EXPECT_EQ(quit_pending, c.quits);
    EXPECT_EQ(t.xwin() == 0, c.destroyed);
    // The record and its surface stay until the release.
    if (c.destroyed) EXPECT_EQ(std::pair(ctl_window_width(t.w), t.s->width), std::pair(0, 80));
    if (quit_pending) {
      ctl_main();  // takes the quit message at once
      EXPECT_EQ(ctl_do_events(), 0);
    }
  }
}


TEST_F(Windows, StyleSwitchesChangeTheStyleWordAndTheFrame) {
  TestWindow t(90, 70);
  ASSERT_NE(t.s, nullptr);
  EXPECT_EQ(ctl_window_style_get(t.w, kStyle), 0xCF0000);
  EXPECT_EQ(ctl_window_style_get(t.w, kExStyle), 0);
  messages.clear();
  ctl_window_sizeable(t.w, 0);
  EXPECT_EQ(ctl_window_style_get(t.w, kStyle), 0xCF0000 & ~0x50000);
  // The style messages and the frame change arrive inside the call.
  EXPECT_EQ(std::pair(count_of(kWmStyleChanged), count_of(kWmWindowPosChanged)), std::pair(1L, 1L));
  // The library's requests reach the server on its own connection, in their own time.
  XSizeHints hints{};
  long supplied = 0;
  EXPECT_TRUE(pump_until([&] {
    return XGetWMNormalHints(x(), t.xwin(), &hints, &supplied) && (hints.flags & PMinSize) &&
           (hints.flags & PMaxSize) && hints.max_width == 90;
  }));
  ctl_window_sizeable(t.w, 1);
  EXPECT_EQ(ctl_window_style_get(t.w, kStyle), 0xCF0000);

  ctl_window_header(t.w, 0);
  EXPECT_EQ(ctl_window_style_get(t.w, kStyle), 0xCF0000 & ~0xC00000);
  std::vector<unsigned long> motif;
  EXPECT_TRUE(pump_until([&] {  // no title bar
    return (motif = property(t.xwin(), "_MOTIF_WM_HINTS", 5)).size() == 5 && (motif[2] & 8) == 0;
  }));
  ctl_window_header(t.w, 0);   // neither bit set: nothing changes
  EXPECT_EQ(ctl_window_style_get(t.w, kStyle), 0xCF0000 & ~0xC00000);
  ctl_window_style_set(t.w, kStyle, 0x800000);  // WS_BORDER alone
  ctl_window_header(t.w, 0);                    // both bits flip
  EXPECT_EQ(ctl_window_style_get(t.w, kStyle), 0x400000);
  ctl_window_header(t.w, 1);
  EXPECT_EQ(ctl_window_style_get(t.w, kStyle), 0xC00000);
  EXPECT_TRUE(pump_until([&] { return (motif = property(t.xwin(), "_MOTIF_WM_HINTS", 5)).size() == 5 && (motif[2] & 8); }));

  // The visible state shows in the style word, as on Win32.
  ASSERT_TRUE(t.show());
  EXPECT_EQ(static_cast<uint32_t>(ctl_window_style_get(t.w, kStyle)), 0x10C00000u);
}

TEST_F(Windows, LayeredWindowTakesPremultipliedPixelsWithAlpha) {
  TestWindow t(64, 48);
  ASSERT_TRUE(t.show());
  ctl_window_layered(t.w, 1);
  EXPECT_EQ(ctl_window_style_get(t.w, kExStyle), 0x80000);
  // The window is made anew on the 32-bit visual; a window manager takes it into a frame of its
  // own in its time.
  Window xw = 0;
  ASSERT_TRUE(pump_until([&] { return (xw = t.xwin()) != 0; }));
  XWindowAttributes a{};
  ASSERT_TRUE(XGetWindowAttributes(x(), xw, &a));
  if (a.depth != 32) GTEST_SKIP() << "no 32-bit visual";
  ASSERT_TRUE(pump_until([&] { return XGetWindowAttributes(x(), xw, &a) && a.map_state == IsViewable; }));
  // A translucent blend on the transparent surface leaves premultiplied pixels.
  sf_rect box = {8, 8, 40, 30};
  fill(t.s, 0x80FF0000, &box);
  events.clear();
  ctl_window_update(t.w);
  EXPECT_FALSE(seen("event 11"));  // the layered path needs no paint message
  EXPECT_EQ(shown_differs(xw, 64, 48, [&](int px, int py) { return pixel(t.s, px, py); }), "");
  EXPECT_EQ(pixel(t.s, 10, 10) >> 24, 0x80u);

  // update_rect still repaints through WM_PAINT on a layered window.
  ctl_window_update_rect(t.w, nullptr);
  EXPECT_TRUE(seen("event 11"));

  // A context that is gone makes the platform refuse: one line, not a trace.
  ctl_pixmap_rec gone;
  ASSERT_EQ(ctl_pixmap_create(&gone, 1, 1), 1);
  HDC kept = std::exchange(t.w->pixmap.dc, gone.dc);
  ctl_pixmap_release(&gone);
  EXPECT_EQ(trace_of([&] { ctl_window_update(t.w); }), "fail to update layered window\n");
  t.w->pixmap.dc = kept;

  // An empty client area: nothing is called, nothing printed.
  ctl_window_movc(t.w, 0, 10, 100, 80);
  EXPECT_EQ(trace_of([&] { ctl_window_update(t.w); }), "");
  ctl_window_layered(t.w, 0);
  EXPECT_EQ(ctl_window_style_get(t.w, kExStyle), 0);
  ASSERT_TRUE(pump_until([&] { return (xw = t.xwin()) != 0; }));
  ASSERT_TRUE(XGetWindowAttributes(x(), xw, &a));
  EXPECT_EQ(a.depth, DefaultDepth(x(), DefaultScreen(x())));
}


TEST_F(Windows, ProcedureStagesInOrder) {
  TestWindow t(50, 40);
  ASSERT_NE(t.s, nullptr);
  HWND h = t.w->hwnd;
  // A message for no record goes to the default procedure alone.
  EXPECT_EQ(ctl_window_proc(nullptr, kWmPaint, 0, 0), 0);

  // Coordinates come from the low 32 bits of lParam, signed; the wheel from wParam's.
  const LPARAM high_garbage = static_cast<LPARAM>(0x7F5A000000000000ll);
  struct { uint32_t message; WPARAM wparam; LPARAM lparam; const char* want; } const cases[] = {
      {kWmMouseMove, 0, high_garbage | pack(-3, 7), "mouse 4 0 -3 7"},
      {kWmLButtonDown, 1, pack(4, -9), "mouse 2 6 4 -9"},
      {kWmLButtonUp, 0, pack(5, 6), "mouse 1 6 5 6"},
      {kWmRButtonDown, 2, pack(11, 12), "mouse 2 7 11 12"},
      {kWmRButtonUp, 0, pack(11, 12), "mouse 1 7 11 12"},
      {kWmMouseWheel, static_cast<WPARAM>(0xABCD00000000ull | 0xFF100000ull), pack(1500, 900),
       "mouse 5 0 1500 900"},
      {kWmKeyDown, 0x41, 0, "key 2 41"},
      {kWmChar, 0xE9, 0, "key 3 e9"},
      {kWmKeyUp, 0x41, 0, "key 1 41"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    events.clear();
    messages.clear();
    ctl_window_proc(h, c.message, c.wparam, c.lparam);
    EXPECT_EQ(events, std::vector<std::string>{c.want});
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages[0], c.message);  // onmessage saw it first
  }
  EXPECT_EQ(t.w->wheel, -240);
  EXPECT_EQ(std::pair(t.w->press_x, t.w->press_y), std::pair(11, 12));
  // Without onmouse the record keeps no mouse state at all.
  t.w->onmouse = nullptr;
  ctl_window_proc(h, kWmLButtonDown, 1, pack(30, 31));
  EXPECT_EQ(ctl_window_mouse_state(t.w, 0), 0);
  EXPECT_EQ(t.w->press_x, 11);
  t.w->onmouse = on_mouse;

  // WM_ERASEBKGND with a pixmap marks the client area and still reaches the default.
  ctl_window_show(t.w);
  settle(t.xwin());
  events.clear();
  ctl_window_proc(h, kWmEraseBkgnd, 0, 0);
  EXPECT_TRUE(arrives("event 11"));
  EXPECT_EQ(ctl_window_proc(h, kWmGetMinMaxInfo, 0, 0), 0);

  // A callback that clears onevent during onmessage takes effect on the same message; the
  // default procedure then destroys the window.
  t.w->onmessage = [](ctl_window_rec* w, uint32_t, WPARAM, LPARAM) -> LRESULT { return w->onevent = nullptr, 0; };
  events.clear();
  ctl_window_proc(h, kWmClose, 0, 0);
  EXPECT_TRUE(events.empty());
  EXPECT_EQ(xwindow_of(h), 0u);
}


TEST_F(Windows, LoopsEndOnTheQuitMessage) {
  TestWindow t(60, 40);
  ASSERT_TRUE(t.show());
  settle(t.xwin());
  // ctl_do_events: 0 on an empty queue; a quit is counted and stays pending.
  EXPECT_EQ(ctl_do_events(), 0);
  ctl_main_quit();
  EXPECT_EQ(ctl_do_events(), 1);
  EXPECT_EQ(ctl_do_events(), 1);
  events.clear();
  ctl_main();  // returns at once, nothing dispatched
  EXPECT_TRUE(events.empty());
  EXPECT_EQ(ctl_do_events(), 0);

  // ctl_main_onidle: a pending quit returns without idle; idle quitting is called once.
  static int idles;
  idles = 0;
  ctl_main_quit();
  ctl_main_onidle([]() -> int32_t { return ++idles; });
  EXPECT_EQ(idles, 0);
  ctl_main_onidle([]() -> int32_t { if (++idles == 3) ctl_main_quit(); return 0; });
  EXPECT_EQ(idles, 3);
  ctl_main_onidle(nullptr);  // no idle function: returns at once
}

TEST_F(Input, QuitFromCallbackLetsPostedMessagesRunFirst) {
  TestWindow t(60, 40);
  ASSERT_TRUE(t.show());
  settle(t.xwin());
  // The key-down callback quits: the character that TranslateMessage posted before the
  // dispatch still comes, the key-up (input) waits for the next loop.
  on_key_hook = [](ctl_window_rec*, int32_t code, uint32_t) { if (code == CTL_DOWN) ctl_main_quit(); };
  events.clear();
  tap(XK_q);
  ctl_main();
  EXPECT_EQ(events, (std::vector<std::string>{"key 2 51", "key 3 71"}));
  on_key_hook = nullptr;
  EXPECT_TRUE(arrives("key 1 51"));

  // A stream of waiting messages keeps idle from running until all are dispatched.
  events.clear();
  for (KeySym k : {XK_1, XK_2, XK_3, XK_4}) tap(k);
  // The ping after the keys comes back once the library has read them all into its queue; from
  // then on idle must wait until they are dispatched.
  static long stamp;
  stamp = send_ping(t.xwin());
  static size_t events_at_idle;
  static std::chrono::steady_clock::time_point deadline;
  events_at_idle = 0;
  deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
  ctl_main_onidle([]() -> int32_t {
    if (pong_seen(stamp)) events_at_idle = events.size(), ctl_main_quit();
    if (std::chrono::steady_clock::now() > deadline) ctl_main_quit();
    return 0;
  });
  EXPECT_EQ(events_at_idle, 12u);
}


// Under a real window manager (the suite runs on a bare server and under openbox).
struct UnderWindowManager : Windows {
  void SetUp() override {
    Windows::SetUp();
    if (!IsSkipped() && (!window_manager() || std::system("command -v wmctrl > /dev/null") != 0))
      GTEST_SKIP() << "no window manager with wmctrl";
  }
};

TEST_F(UnderWindowManager, SizingCountsTheFrameAroundTheClientArea) {
  TestWindow t(200, 150);
  ASSERT_TRUE(t.show());
  const Window xw = t.xwin();
  std::vector<unsigned long> frame;
  ASSERT_TRUE(pump_until([&] { return (frame = property(xw, "_NET_FRAME_EXTENTS", 4)).size() == 4 && frame[2] > 0; }));
  const int left = static_cast<int>(frame[0]), right = static_cast<int>(frame[1]), top = static_cast<int>(frame[2]),
            bottom = static_cast<int>(frame[3]);
  // Where the client area is on the screen, and its size, as the server has them.
  auto placed = [&](int want_x, int want_y, int width, int height) {
    return pump_until([&] {
      int at_x = 0, at_y = 0;
      Window child;
      XWindowAttributes a{};
      XTranslateCoordinates(x(), xw, DefaultRootWindow(x()), 0, 0, &at_x, &at_y, &child);
      return XGetWindowAttributes(x(), xw, &a) && at_x == want_x && at_y == want_y && a.width == width &&
             a.height == height;
    });
  };
  // The frame's top left goes where asked, and the client area keeps the asked size.
  ctl_window_movc(t.w, 200, 150, 100, 80);
  EXPECT_EQ((std::vector{ctl_window_width(t.w), ctl_window_height(t.w), t.s->width, t.s->height}),
            (std::vector{200, 150, 200, 150}));
  EXPECT_TRUE(placed(100 + left, 80 + top, 200, 150));
  // Centring takes the whole window, frame included.
  ctl_window_move(t.w, 300, 200);
  const int sw = DisplayWidth(x(), DefaultScreen(x())), sh = DisplayHeight(x(), DefaultScreen(x()));
  EXPECT_TRUE(placed(sw / 2 - (300 + left + right) / 2 + left, sh / 2 - (200 + top + bottom) / 2 + top, 300, 200));
  // The window manager reports the first pass's size too, and its last report the final one.
  EXPECT_TRUE(pump_until([&] { return t.s->width == 300 && t.s->height == 200; }));
}

TEST_F(UnderWindowManager, MaximiseAndRestoreThroughTheWindowManager) {
  TestWindow t(200, 150);
  ASSERT_TRUE(t.show());
  events.clear();
  ASSERT_TRUE(wmctrl(t.xwin(), "-b add,maximized_vert,maximized_horz -r"));
  ASSERT_TRUE(pump_until([&] { return ctl_window_width(t.w) > 1000 && ctl_window_height(t.w) > 600; }));
  EXPECT_TRUE(seen("event 10"));  // the surface followed the size
  EXPECT_EQ(std::pair(t.s->width, t.s->height), std::pair(ctl_window_width(t.w), ctl_window_height(t.w)));
  ASSERT_TRUE(wmctrl(t.xwin(), "-b remove,maximized_vert,maximized_horz -r"));
  ASSERT_TRUE(pump_until([&] { return ctl_window_width(t.w) == 200 && ctl_window_height(t.w) == 150; }));
  EXPECT_EQ(std::pair(t.s->width, t.s->height), std::pair(200, 150));
}

}  // namespace
