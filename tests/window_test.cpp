// Windows on a real X server: pixmaps and layouts, creation and its failures, sizing, painting
// read back from the server, input typed and clicked through XTest, the close button, styles,
// layered windows, the window procedure's stages and the three loops.
#include <gtest/gtest.h>

#ifdef _WIN32
TEST(X11, OnlyOnX11) { GTEST_SKIP() << "these tests drive an X server"; }
#else
#include <quelt/quelt.h>

#include <X11/Xlib.h>
#include <X11/XKBlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>
#include <X11/extensions/XTest.h>

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "support.h"

// Xlib keeps a few process-wide blocks (locale and input-method tables) for good.
extern "C" const char* __lsan_default_suppressions() { return "leak:libX11.so\n"; }

namespace {

// Win32 message numbers and values the tests send or look for.
constexpr UINT kWmSize = 5, kWmPaint = 15, kWmClose = 16, kWmEraseBkgnd = 20,
               kWmGetMinMaxInfo = 36, kWmWindowPosChanged = 0x47, kWmStyleChanged = 0x7D,
               kWmKeyDown = 256, kWmKeyUp = 257, kWmChar = 258, kWmMouseMove = 512,
               kWmLButtonDown = 513, kWmLButtonUp = 514, kWmRButtonDown = 516, kWmRButtonUp = 517,
               kWmMouseWheel = 522;

const uint16_t* text16(const char16_t* s) { return reinterpret_cast<const uint16_t*>(s); }

LPARAM pack(int x, int y) {
  return static_cast<LPARAM>(static_cast<uint32_t>(static_cast<uint16_t>(x)) |
                             static_cast<uint32_t>(static_cast<uint16_t>(y)) << 16);
}

// ---- What the callbacks saw ------------------------------------------------------------------
std::vector<std::string> events;
std::function<void(ctl_window_rec*, int32_t)> on_event_hook;
std::function<void(ctl_window_rec*, int32_t, uint32_t)> on_key_hook;

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
std::vector<UINT> messages;
LRESULT on_message(ctl_window_rec*, uint32_t message, WPARAM, LPARAM) {
  messages.push_back(message);
  return 0;
}

bool seen(const std::string& line) {
  for (const std::string& e : events)
    if (e == line) return true;
  return false;
}

// The trace with line numbers hidden ends with `tail`.
bool trace_ends(const std::string& out, const std::string& tail) {
  std::string trace = qtest::trace_shape(out);
  return trace.size() >= tail.size() && trace.compare(trace.size() - tail.size(), tail.size(), tail) == 0;
}

size_t count_of(const std::vector<UINT>& list, UINT message) {
  size_t n = 0;
  for (UINT m : list) n += m == message;
  return n;
}

// ---- The test's own connection to the server ---------------------------------------------------
Display* x() {
  static Display* display = XOpenDisplay(nullptr);
  return display;
}

bool has_xtest() {
  int event = 0, error = 0, major = 0, minor = 0;
  return x() && XTestQueryExtension(x(), &event, &error, &major, &minor);
}

// The X window of a record, found by the handle the window carries.
Window xwindow_of(HWND hwnd) {
  Atom property = XInternAtom(x(), "_QUELT_HWND", False);
  auto want = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(hwnd));
  Window root = DefaultRootWindow(x()), parent = 0, *children = nullptr, found = 0;
  unsigned count = 0;
  if (!XQueryTree(x(), root, &root, &parent, &children, &count)) return 0;
  for (unsigned i = 0; i < count && !found; ++i) {
    Atom type;
    int format;
    unsigned long items, after;
    unsigned char* data = nullptr;
    if (XGetWindowProperty(x(), children[i], property, 0, 2, False, AnyPropertyType, &type,
                           &format, &items, &after, &data) == Success && items == 2) {
      auto* v = reinterpret_cast<unsigned long*>(data);
      if ((v[0] & 0xFFFFFFFFu) + ((v[1] & 0xFFFFFFFFull) << 32) == want) found = children[i];
    }
    if (data) XFree(data);
  }
  if (children) XFree(children);
  return found;
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

// Lets whatever the server has sent arrive and be dispatched.
void settle() {
  XSync(x(), False);
  usleep(30000);
  ctl_do_events();
}

// Pixels of the window as the server holds them, as 0xAARRGGBB words.
std::vector<uint32_t> read_back(Window w, int left, int top, int width, int height) {
  std::vector<uint32_t> out;
  XImage* image = XGetImage(x(), w, left, top, static_cast<unsigned>(width),
                            static_cast<unsigned>(height), AllPlanes, ZPixmap);
  if (!image) return out;
  for (int y = 0; y < height; ++y)
    for (int i = 0; i < width; ++i) out.push_back(static_cast<uint32_t>(XGetPixel(image, i, y)));
  XDestroyImage(image);
  return out;
}

uint32_t pixel(const sf_surface* s, int px, int py) {
  uint32_t v;
  std::memcpy(&v, s->pixels + (static_cast<size_t>(py) * s->width + px) * 4, 4);
  return v;
}

void fill(sf_surface* s, uint32_t color, const sf_rect* rect = nullptr) {
  s->color = color;
  sf_fill(s, rect);
}

// A window at a known place on the screen with every callback installed.
struct TestWindow {
  ctl_window_rec* w = nullptr;
  sf_surface* s = nullptr;

  TestWindow(int width, int height, int at_x = 100, int at_y = 80) {
    events.clear();
    messages.clear();
    on_event_hook = nullptr;
    on_key_hook = nullptr;
    s = ctl_window(&w, text16(u"quelt test window"), width, height);
    if (!s) return;
    ctl_window_movc(w, width, height, at_x, at_y);
    w->onkey = on_key;
    w->onmouse = on_mouse;
    w->onevent = on_event;
    w->onmessage = on_message;
  }
  ~TestWindow() { ctl_window_release(&w); }

  Window xwin() const { return xwindow_of(w->hwnd); }

  // Shows the window and waits until it is on the screen with the keyboard focus.
  bool show() {
    ctl_window_show(w);
    return pump_until([&] {
      Window focus = 0;
      int revert = 0;
      XGetInputFocus(x(), &focus, &revert);
      XWindowAttributes a{};
      Window xw = xwin();
      return xw && XGetWindowAttributes(x(), xw, &a) && a.map_state == IsViewable && focus == xw;
    });
  }
};

class Windows : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!x()) GTEST_SKIP() << "no X display";
  }
};

class Input : public Windows {
 protected:
  void SetUp() override {
    Windows::SetUp();
    if (!IsSkipped() && !has_xtest()) GTEST_SKIP() << "no XTest extension";
  }
  static void move_to(int px, int py) {
    XTestFakeMotionEvent(x(), -1, px, py, CurrentTime);
    XSync(x(), False);
  }
  static void button(unsigned b, bool down) {
    XTestFakeButtonEvent(x(), b, down, CurrentTime);
    XSync(x(), False);
  }
  static void key(KeyCode code, bool down) {
    XTestFakeKeyEvent(x(), code, down, CurrentTime);
    XSync(x(), False);
  }
  static void tap(KeySym keysym) {
    KeyCode code = XKeysymToKeycode(x(), keysym);
    key(code, true);
    key(code, false);
  }
};

// ---- Pixmaps and layouts (no display needed) ---------------------------------------------------

TEST(Pixmap, CreateGivesZeroedTopDownSurfaceAndReleaseEmptiesIt) {
  ctl_pixmap_rec p;
  std::memset(&p, 0xAB, sizeof p);  // old content is ignored
  ASSERT_EQ(ctl_pixmap_create(&p, 5, 3), 1);
  ASSERT_NE(p.dc, nullptr);
  // Every surface field but the dimensions and the pixels is zero, and so is every pixel.
  sf_surface want;
  std::memset(&want, 0, sizeof want);
  want.width = 5;
  want.height = 3;
  want.bytes_per_pixel = 4;
  want.pixels = p.surface.pixels;
  EXPECT_EQ(std::memcmp(&p.surface, &want, sizeof want), 0);
  EXPECT_EQ(std::vector<uint8_t>(p.surface.pixels, p.surface.pixels + 60), std::vector<uint8_t>(60));
  // Drawing reaches the bitmap's bytes at (y × 5 + x) × 4, top row first.
  p.surface.color = 0xFF102030;
  sf_rect one = {4, 0, 5, 1};
  sf_fill(&p.surface, &one);
  EXPECT_EQ(pixel(&p.surface, 4, 0), 0xFF102030u);
  EXPECT_EQ(p.surface.pixels[16], 0x30);
  // A skip table is freed with the surface; the bitmap's memory never reaches free.
  ASSERT_EQ(sf_strip(&p.surface), 1);
  ASSERT_NE(p.surface.strip, nullptr);
  ctl_pixmap_release(&p);
  ctl_pixmap_rec zero;
  std::memset(&zero, 0, sizeof zero);
  EXPECT_EQ(std::memcmp(&p, &zero, sizeof p), 0);
  ctl_pixmap_release(&p);  // a second release does nothing
  ctl_pixmap_release(&zero);
  EXPECT_EQ(std::memcmp(&p, &zero, sizeof p), 0);
  ctl_button_draw();
}

TEST(Pixmap, FailuresTraceAndLeaveReleasableRecords) {
  struct Case {
    long fail_after;  // -1: no allocation fails
    int32_t width, height;
    const char* what;
    bool dimensions_kept;
  };
  const Case cases[] = {
      {0, 4, 4, "CreateCompatibleDC", false},  // the context
      {1, 4, 4, "CreateDIBSection", true},     // the bitmap's record
      {-1, 0, 4, "CreateDIBSection", true},    // sizes no bitmap can have
      {-1, 4, -1, "CreateDIBSection", true},
      {-1, 65536, 65536, "CreateDIBSection", true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what + std::string(" ") + std::to_string(c.width));
    ctl_pixmap_rec p;
    qtest::Stdout out;
    qtest::fail_after(c.fail_after);
    int32_t result = ctl_pixmap_create(&p, c.width, c.height);
    qtest::fail_after(-1);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(qtest::trace_shape(out.text()),
              std::string("pixmap.cpp:N:\t\tctl_pixmap_create: ") + c.what +
                  "\npixmap.cpp:N:\tctl_pixmap_create.\n");
    EXPECT_EQ(p.surface.pixels, nullptr);
    EXPECT_EQ(p.surface.width, c.dimensions_kept ? c.width : 0);
    EXPECT_EQ(p.surface.bytes_per_pixel, c.dimensions_kept ? 4 : 0);
    ctl_pixmap_rec before = p;
    ctl_pixmap_release(&p);  // the context is gone: nothing happens
    EXPECT_EQ(std::memcmp(&p, &before, sizeof p), 0);
    ASSERT_EQ(ctl_pixmap_create(&p, 2, 2), 1);  // the record takes a new pixmap
    ctl_pixmap_release(&p);
  }
}

TEST(Layout, CreateReleaseAndEveryFailure) {
  ctl_layout_rec* layout = nullptr;
  long before = qtest::allocation_count();
  ASSERT_EQ(ctl_layout_create(&layout), 1);
  long allocations = qtest::allocation_count() - before;
  ASSERT_NE(layout, nullptr);
  EXPECT_NE(layout->archive, nullptr);
  ctl_layout_release(&layout);
  EXPECT_EQ(layout, nullptr);
  // Each allocation fails in turn: the record itself, then the parts of its archive. A block
  // whose archive failed stays with the caller and releases cleanly.
  for (long n = 0; n < allocations; ++n) {
    SCOPED_TRACE(n);
    qtest::Stdout out;
    qtest::fail_after(n);
    EXPECT_EQ(ctl_layout_create(&layout), 0);
    qtest::fail_after(-1);
    EXPECT_TRUE(trace_ends(out.text(), std::string("layout.cpp:N:\t\tctl_layout_create: ") +
                                           (n == 0 ? "malloc" : "") + "\nlayout.cpp:N:\tctl_layout_create.\n"));
    EXPECT_EQ(layout == nullptr, n == 0);
    if (layout) ctl_layout_release(&layout);
    EXPECT_EQ(layout, nullptr);
  }
}

// ---- Creation -----------------------------------------------------------------------------------

TEST(WindowCreate, FailsCleanlyWithoutDisplay) {
  const char* saved = std::getenv("DISPLAY");
  std::string keep = saved ? saved : "";
  setenv("DISPLAY", ":32000", 1);
  ctl_window_rec* w = reinterpret_cast<ctl_window_rec*>(0x1);
  sf_surface* s;
  {
    qtest::Stdout out;
    s = ctl_window(&w, text16(u"none"), 10, 10);
    EXPECT_EQ(qtest::trace_shape(out.text()),
              "window.cpp:N:\t\tctl_window_create: CreateWindowEx\n"
              "window.cpp:N:\tctl_window_create.\n"
              "window.cpp:N:\t\tctl_window: \n"
              "window.cpp:N:\tctl_window.\n");
  }
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
        {
          qtest::Stdout out;
          qtest::fail_after(0);
          ok &= ctl_window_create(&w) == 0 && !w;
          qtest::fail_after(-1);
          ok &= qtest::trace_shape(out.text()) ==
                "window.cpp:N:\t\tctl_window_create: mallco\nwindow.cpp:N:\tctl_window_create.\n";
        }
        {
          qtest::Stdout out;
          qtest::fail_after(2);  // the record, the class brush, then the class
          ok &= ctl_window_create(&w) == 0 && !w;
          qtest::fail_after(-1);
          ok &= qtest::trace_shape(out.text()) ==
                "window.cpp:N:\t\tctl_window_create: RegisterClass\nwindow.cpp:N:\tctl_window_create.\n";
        }
        ok &= ctl_window_create(&w) == 1 && w->hwnd && w->layout && !w->pixmap.dc &&
              ctl_window_width(w) == 0;
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
    settle();
    long before = qtest::allocation_count();
    EXPECT_EQ(ctl_window_create(&w), 1);
    long n = qtest::allocation_count() - before;
    ctl_window_release(&w);
    settle();
    return n;
  };
  count_creation();  // Xlib's event queue grows once
  long for_window = count_creation();
  ASSERT_EQ(count_creation(), for_window);
  ctl_layout_rec* layout = nullptr;
  long before = qtest::allocation_count();
  ASSERT_EQ(ctl_layout_create(&layout), 1);
  long for_layout = qtest::allocation_count() - before;
  ctl_layout_release(&layout);
  ASSERT_GT(for_window, for_layout);

  struct Case {
    long fail_after;
    std::string trace;
  };
  const std::string window = "window.cpp:N:\t\tctl_window_create: CreateWindowEx\n"
                             "window.cpp:N:\tctl_window_create.\n";
  const std::string layout_tail = "window.cpp:N:\t\tctl_window_create: \n"
                                  "window.cpp:N:\tctl_window_create.\n";
  for (const Case& c : {Case{1, window}, Case{for_window - for_layout, layout_tail},
                        Case{for_window - for_layout + 1, layout_tail}}) {
    SCOPED_TRACE(c.fail_after);
    settle();
    qtest::Stdout out;
    qtest::fail_after(c.fail_after);
    EXPECT_EQ(ctl_window_create(&w), 0);
    qtest::fail_after(-1);
    EXPECT_EQ(w, nullptr);
    EXPECT_TRUE(trace_ends(out.text(), c.trace)) << out.text();
  }
  ASSERT_EQ(ctl_window_create(&w), 1);  // and the next one works
  ctl_window_release(&w);
}

// ---- Sizing, painting, reading back -------------------------------------------------------------

TEST_F(Windows, WindowIsSizedCentredAndNamed) {
  ctl_window_rec* w = nullptr;
  sf_surface* s = ctl_window(&w, text16(u"centred"), 641, 480);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(s, &w->pixmap.surface);
  EXPECT_EQ(s->width * 10000 + s->height, 641 * 10000 + 480);
  EXPECT_EQ(ctl_window_width(w) * 10000 + ctl_window_height(w), 641 * 10000 + 480);
  // Centred on the screen (1921 wide would give 960 - 320); there is no frame without a
  // window manager.
  Window xw = xwindow_of(w->hwnd), child;
  ASSERT_NE(xw, 0u);
  int at_x = 0, at_y = 0;
  int want_x = DisplayWidth(x(), DefaultScreen(x())) / 2 - 641 / 2;
  int want_y = DisplayHeight(x(), DefaultScreen(x())) / 2 - 480 / 2;
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
  std::vector<uint32_t> shown = read_back(t.xwin(), 0, 0, 160, 120);
  ASSERT_EQ(shown.size(), 160u * 120u);
  for (int py = 0; py < 120; ++py)
    for (int px = 0; px < 160; ++px)
      ASSERT_EQ(shown[py * 160 + px] & 0xFFFFFF, pixel(t.s, px, py) & 0xFFFFFF) << px << "," << py;

  // Only the rectangle asked for is copied, at the same place.
  on_event_hook = nullptr;
  fill(t.s, 0xFF00FF00);
  sf_rect part = {40, 30, 90, 70};
  ctl_window_update_rect(t.w, &part);
  shown = read_back(t.xwin(), 0, 0, 160, 120);
  for (int py = 0; py < 120; ++py)
    for (int px = 0; px < 160; ++px) {
      bool inside = px >= 40 && px < 90 && py >= 30 && py < 70;
      uint32_t want = inside ? 0x00FF00 : (px >= 10 && px < 30 && py >= 20 && py < 25 ? 0xFF0000 : 0x204080);
      ASSERT_EQ(shown[py * 160 + px] & 0xFFFFFF, want) << px << "," << py;
    }

  // A rectangle beyond every edge is clipped to the window.
  fill(t.s, 0xFF0000FF);
  sf_rect beyond = {-50, -70, 1 << 30, 1 << 30};
  ctl_window_update_rect(t.w, &beyond);
  EXPECT_EQ(read_back(t.xwin(), 159, 119, 1, 1), std::vector<uint32_t>{0x0000FF});

  // A hidden window is not painted; showing it again brings a paint through the loop.
  ctl_window_hide(t.w);
  events.clear();
  ctl_window_update(t.w);
  EXPECT_FALSE(seen("event 11"));
  ctl_window_show(t.w);
  EXPECT_TRUE(pump_until([] { return seen("event 11"); }));
}

TEST_F(Windows, ResizesRemakeThePixmap) {
  TestWindow t(100, 80);
  ASSERT_NE(t.s, nullptr);
  sf_surface* s = t.s;
  struct Case {
    int width, height;
  };
  for (Case c : {Case{300, 200}, Case{300, 200}, Case{0, 0}, Case{120, 0}, Case{64, 48}}) {
    SCOPED_TRACE(std::to_string(c.width) + "x" + std::to_string(c.height));
    if (s->pixels) {
      fill(s, 0xFFFFFFFF);
      s->anchor_x = 0.5f;
    }
    events.clear();
    int before_w = ctl_window_width(t.w), before_h = ctl_window_height(t.w);
    ctl_window_movc(t.w, c.width, c.height, 50, 60);
    bool changed = before_w != c.width || before_h != c.height;
    EXPECT_EQ(seen("event 10"), changed);  // the size message came inside the call
    EXPECT_EQ(ctl_window_width(t.w), c.width);
    EXPECT_EQ(ctl_window_height(t.w), c.height);
    EXPECT_EQ(t.s, s);  // the surface's address never changes
    if (!changed) continue;
    if (c.width == 0 || c.height == 0) {
      EXPECT_EQ(s->width, 0);
      EXPECT_EQ(s->bytes_per_pixel, 0);
      EXPECT_EQ(s->pixels, nullptr);
      EXPECT_EQ(t.w->pixmap.dc, nullptr);
      ctl_window_update(t.w);  // nothing to copy, nothing happens
      continue;
    }
    EXPECT_EQ(s->width, c.width);
    EXPECT_EQ(s->height, c.height);
    EXPECT_EQ(s->color, 0u);
    EXPECT_EQ(s->anchor_x, 0.0f);
    for (int i = 0; i < c.width * c.height * 4; ++i) ASSERT_EQ(s->pixels[i], 0);
  }
  // A size message with the unchanged size replaces the pixmap all the same.
  fill(s, 0xFF123456);
  ctl_window_proc(t.w->hwnd, kWmSize, 0, pack(64, 48));
  EXPECT_EQ(pixel(s, 3, 3), 0u);
  EXPECT_EQ(s->width, 64);
}

// ---- Input --------------------------------------------------------------------------------------

TEST_F(Input, KeysReachOnkeyAsVirtualKeysAndCharacters) {
  TestWindow t(120, 90);
  ASSERT_TRUE(t.show());
  // Two keys typing characters outside ASCII: é, and one beyond the BMP (a surrogate pair).
  int min_code = 0, max_code = 0, per = 0;
  XDisplayKeycodes(x(), &min_code, &max_code);
  KeySym* saved = XGetKeyboardMapping(x(), static_cast<KeyCode>(max_code - 1), 2, &per);
  ASSERT_NE(saved, nullptr);
  KeySym typed[2] = {0x0101F600, XK_eacute};
  XChangeKeyboardMapping(x(), max_code - 1, 1, typed, 2);
  settle();
  events.clear();

  struct Case {
    KeySym keysym;
    std::vector<std::string> want;
  };
  const Case cases[] = {
      {XK_a, {"key 2 41", "key 3 61", "key 1 41"}},
      {XK_Escape, {"key 2 1b", "key 3 1b", "key 1 1b"}},
      {XK_Left, {"key 2 25", "key 1 25"}},
      {XK_Up, {"key 2 26", "key 1 26"}},
      {XK_Right, {"key 2 27", "key 1 27"}},
      {XK_Down, {"key 2 28", "key 1 28"}},
      {XK_F5, {"key 2 74", "key 1 74"}},
      {XK_Return, {"key 2 d", "key 3 d", "key 1 d"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(XKeysymToString(c.keysym));
    events.clear();
    tap(c.keysym);
    EXPECT_TRUE(pump_until([&] { return events.size() >= c.want.size(); }));
    settle();
    EXPECT_EQ(events, c.want);
  }
  // Shift changes the character, not the virtual key.
  events.clear();
  KeyCode shift = XKeysymToKeycode(x(), XK_Shift_L);
  key(shift, true);
  tap(XK_b);
  key(shift, false);
  EXPECT_TRUE(pump_until([] { return events.size() >= 5; }));
  settle();
  EXPECT_EQ(events, (std::vector<std::string>{"key 2 10", "key 2 42", "key 3 42", "key 1 42", "key 1 10"}));

  events.clear();
  key(static_cast<KeyCode>(max_code), true);
  key(static_cast<KeyCode>(max_code), false);
  key(static_cast<KeyCode>(max_code - 1), true);
  key(static_cast<KeyCode>(max_code - 1), false);
  EXPECT_TRUE(pump_until([] { return seen("key 3 de00"); }));
  std::vector<std::string> chars;
  for (const std::string& e : events)
    if (e.rfind("key 3 ", 0) == 0) chars.push_back(e);
  EXPECT_EQ(chars, (std::vector<std::string>{"key 3 e9", "key 3 d83d", "key 3 de00"}));

  XChangeKeyboardMapping(x(), max_code - 1, per, saved, 2);
  XFree(saved);
  XSync(x(), False);
}

TEST_F(Input, HeldKeyRepeatsAsPressesAndOneRelease) {
  TestWindow t(120, 90);
  ASSERT_TRUE(t.show());
  t.w->onmessage = [](ctl_window_rec*, uint32_t message, WPARAM, LPARAM l) -> LRESULT {
    // The message with its previous-state bit 30 and transition bit 31 above it.
    if (message == kWmKeyDown || message == kWmKeyUp)
      messages.push_back(message | static_cast<UINT>(((l >> 30) & 3) << 16));
    return 0;
  };
  // The server repeats a held key quickly for this test.
  unsigned delay = 0, interval = 0;
  XkbGetAutoRepeatRate(x(), XkbUseCoreKbd, &delay, &interval);
  XAutoRepeatOn(x());
  XkbSetAutoRepeatRate(x(), XkbUseCoreKbd, 40, 20);
  messages.clear();
  KeyCode code = XKeysymToKeycode(x(), XK_c);
  key(code, true);
  pump_until([] { return messages.size() >= 4; }, 1500);
  key(code, false);
  XkbSetAutoRepeatRate(x(), XkbUseCoreKbd, delay, interval);
  ASSERT_TRUE(pump_until([] { return !messages.empty() && (messages.back() & 0xFFFF) == kWmKeyUp; }));
  ASSERT_GE(messages.size(), 3u);
  EXPECT_EQ(messages.front(), kWmKeyDown);
  for (size_t i = 1; i + 1 < messages.size(); ++i) EXPECT_EQ(messages[i], kWmKeyDown | 1u << 16);
  EXPECT_EQ(messages.back(), kWmKeyUp | 3u << 16);
}

TEST_F(Input, MouseButtonsWheelAndCapture) {
  TestWindow t(200, 150, 300, 200);
  ASSERT_TRUE(t.show());
  move_to(300 + 10, 200 + 20);
  ASSERT_TRUE(pump_until([] { return seen("mouse 4 0 10 20"); }));

  struct Case {
    unsigned button;
    int32_t code;
  };
  for (Case c : {Case{1, CTL_LEFT}, Case{3, CTL_RIGHT}, Case{2, CTL_MIDDLE}}) {
    SCOPED_TRACE(c.button);
    events.clear();
    move_to(300 + 30 + static_cast<int>(c.button), 200 + 40);
    button(c.button, true);
    std::string down = "mouse 2 " + std::to_string(c.code) + " " + std::to_string(30 + c.button) + " 40";
    ASSERT_TRUE(pump_until([&] { return seen(down); }));
    EXPECT_EQ(ctl_window_mouse_state(t.w, c.code), 1);
    EXPECT_EQ(ctl_window_mouse_state(t.w, 0), 1);
    EXPECT_EQ(t.w->press_x, 30 + static_cast<int32_t>(c.button));
    EXPECT_EQ(t.w->press_y, 40);
    button(c.button, false);
    std::string up = "mouse 1 " + std::to_string(c.code) + " " + std::to_string(30 + c.button) + " 40";
    ASSERT_TRUE(pump_until([&] { return seen(up); }));
    EXPECT_EQ(ctl_window_mouse_state(t.w, c.code), 0);
    EXPECT_EQ(ctl_window_mouse_state(t.w, 9), 0);
  }

  // The wheel: 120 a notch, the position in screen coordinates.
  move_to(336, 240);
  settle();
  for (auto [b, delta] : {std::pair{4u, 120}, std::pair{5u, -120}}) {
    events.clear();
    button(b, true);
    button(b, false);
    ASSERT_TRUE(pump_until([] { return seen("mouse 5 0 336 240"); }));
    EXPECT_EQ(t.w->wheel, delta);
    settle();
    EXPECT_EQ(events.size(), 1u);
  }

  // A drag that leaves the window stays with it under the capture, with negative coordinates.
  events.clear();
  move_to(300 + 5, 200 + 5);
  button(1, true);
  move_to(300 - 20, 200 - 30);
  ASSERT_TRUE(pump_until([] { return seen("mouse 4 0 -20 -30"); }));
  button(1, false);
  ASSERT_TRUE(pump_until([] { return seen("mouse 1 6 -20 -30"); }));
  EXPECT_EQ(t.w->press_x, 5);
  EXPECT_EQ(ctl_window_mouse_state(t.w, CTL_LEFT), 0);

  // Left press, right press, left release: the capture ends though the right button is held.
  move_to(300 + 50, 200 + 50);
  button(1, true);
  button(3, true);
  button(1, false);
  ASSERT_TRUE(pump_until([] { return seen("mouse 1 6 50 50"); }));
  EXPECT_EQ(t.w->left_down, 0);
  EXPECT_EQ(t.w->right_down, 1);
  events.clear();
  move_to(300 + 400, 200 + 300);  // outside, and no longer ours
  move_to(300 + 60, 200 + 61);
  ASSERT_TRUE(pump_until([] { return seen("mouse 4 0 60 61"); }));
  EXPECT_FALSE(seen("mouse 4 0 400 300"));
  button(3, false);
  ASSERT_TRUE(pump_until([] { return seen("mouse 1 7 60 61"); }));
  EXPECT_EQ(ctl_window_mouse_state(t.w, 0), 0);
}

// ---- Closing -----------------------------------------------------------------------------------

void press_close_button(Window xw) {
  XEvent ev{};
  ev.xclient.type = ClientMessage;
  ev.xclient.window = xw;
  ev.xclient.message_type = XInternAtom(x(), "WM_PROTOCOLS", False);
  ev.xclient.format = 32;
  ev.xclient.data.l[0] = static_cast<long>(XInternAtom(x(), "WM_DELETE_WINDOW", False));
  ev.xclient.data.l[1] = CurrentTime;
  XSendEvent(x(), xw, False, NoEventMask, &ev);
  XSync(x(), False);
}

TEST_F(Windows, CloseButtonAndEscapeFollowTheQuitRules) {
  struct Case {
    bool with_onkey;
    bool escape;  // else the close button
    bool quits;
    bool destroyed;
  };
  for (Case c : {Case{false, false, true, true}, Case{true, false, false, true},
                 Case{false, true, true, false}, Case{true, true, false, false}}) {
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
      KeyCode esc = XKeysymToKeycode(x(), XK_Escape);
      XTestFakeKeyEvent(x(), esc, True, CurrentTime);
      XTestFakeKeyEvent(x(), esc, False, CurrentTime);
      XSync(x(), False);
      pump_until([&] { return seen("key 1 1b") || ctl_do_events() > 0; }, 1000);
    } else {
      press_close_button(t.xwin());
      pump_until([&] { return seen("event 9"); });
      EXPECT_EQ(quits_at_close, c.quits ? 1 : 0);
    }
    settle();
    EXPECT_EQ(ctl_do_events() > 0, c.quits);
    EXPECT_EQ(t.xwin() == 0, c.destroyed);
    if (c.destroyed) {
      EXPECT_EQ(ctl_window_width(t.w), 0);
      EXPECT_EQ(t.s->width, 80);  // the record and its surface stay until the release
    }
    if (c.quits) {
      ctl_main();  // takes the quit message at once
      EXPECT_EQ(ctl_do_events(), 0);
    }
  }
}

// ---- Styles and layered windows ------------------------------------------------------------------

std::vector<long> motif_hints(Window w) {
  Atom property = XInternAtom(x(), "_MOTIF_WM_HINTS", False);
  Atom type;
  int format;
  unsigned long items, after;
  unsigned char* data = nullptr;
  std::vector<long> out;
  if (XGetWindowProperty(x(), w, property, 0, 5, False, AnyPropertyType, &type, &format, &items,
                         &after, &data) == Success && data)
    out.assign(reinterpret_cast<long*>(data), reinterpret_cast<long*>(data) + items);
  if (data) XFree(data);
  return out;
}

TEST_F(Windows, StyleSwitchesChangeTheStyleWordAndTheFrame) {
  TestWindow t(90, 70);
  ASSERT_NE(t.s, nullptr);
  constexpr int32_t kStyle = -16, kExStyle = -20;
  EXPECT_EQ(ctl_window_style_get(t.w, kStyle), 0xCF0000);
  EXPECT_EQ(ctl_window_style_get(t.w, kExStyle), 0);
  messages.clear();
  ctl_window_sizeable(t.w, 0);
  EXPECT_EQ(ctl_window_style_get(t.w, kStyle), 0xCF0000 & ~0x50000);
  // The style messages and the frame change arrive inside the call.
  EXPECT_EQ(count_of(messages, kWmStyleChanged), 1u);
  EXPECT_EQ(count_of(messages, kWmWindowPosChanged), 1u);
  XSizeHints hints{};
  long supplied = 0;
  ASSERT_TRUE(XGetWMNormalHints(x(), t.xwin(), &hints, &supplied));
  EXPECT_TRUE((hints.flags & PMinSize) && (hints.flags & PMaxSize));
  EXPECT_EQ(hints.max_width, 90);
  ctl_window_sizeable(t.w, 1);
  EXPECT_EQ(ctl_window_style_get(t.w, kStyle), 0xCF0000);

  ctl_window_header(t.w, 0);
  EXPECT_EQ(ctl_window_style_get(t.w, kStyle), 0xCF0000 & ~0xC00000);
  std::vector<long> motif = motif_hints(t.xwin());
  ASSERT_EQ(motif.size(), 5u);
  EXPECT_EQ(motif[2] & 8, 0);  // no title bar
  ctl_window_header(t.w, 0);   // neither bit set: nothing changes
  EXPECT_EQ(ctl_window_style_get(t.w, kStyle), 0xCF0000 & ~0xC00000);
  ctl_window_style_set(t.w, kStyle, 0x800000);  // WS_BORDER alone
  ctl_window_header(t.w, 0);                    // both bits flip
  EXPECT_EQ(ctl_window_style_get(t.w, kStyle), 0x400000);
  ctl_window_header(t.w, 1);
  EXPECT_EQ(ctl_window_style_get(t.w, kStyle), 0xC00000);
  EXPECT_NE(motif_hints(t.xwin())[2] & 8, 0);

  // The visible state shows in the style word, as on Win32.
  ASSERT_TRUE(t.show());
  EXPECT_EQ(static_cast<uint32_t>(ctl_window_style_get(t.w, kStyle)), 0x10C00000u);
}

TEST_F(Windows, LayeredWindowTakesPremultipliedPixelsWithAlpha) {
  TestWindow t(64, 48);
  ASSERT_TRUE(t.show());
  ctl_window_layered(t.w, 1);
  EXPECT_EQ(ctl_window_style_get(t.w, -20), 0x80000);
  Window xw = t.xwin();
  ASSERT_NE(xw, 0u);
  XWindowAttributes a{};
  ASSERT_TRUE(XGetWindowAttributes(x(), xw, &a));
  if (a.depth != 32) GTEST_SKIP() << "no 32-bit visual";
  ASSERT_TRUE(pump_until([&] {
    XWindowAttributes b{};
    return XGetWindowAttributes(x(), xw, &b) && b.map_state == IsViewable;
  }));
  // A translucent blend on the transparent surface leaves premultiplied pixels.
  sf_rect box = {8, 8, 40, 30};
  fill(t.s, 0x80FF0000, &box);
  events.clear();
  ctl_window_update(t.w);
  EXPECT_FALSE(seen("event 11"));  // the layered path needs no paint message
  std::vector<uint32_t> shown = read_back(xw, 0, 0, 64, 48);
  ASSERT_EQ(shown.size(), 64u * 48u);
  for (int py = 0; py < 48; ++py)
    for (int px = 0; px < 64; ++px) ASSERT_EQ(shown[py * 64 + px], pixel(t.s, px, py)) << px << "," << py;
  EXPECT_EQ(pixel(t.s, 10, 10) >> 24, 0x80u);

  // update_rect still repaints through WM_PAINT on a layered window.
  ctl_window_update_rect(t.w, nullptr);
  EXPECT_TRUE(seen("event 11"));

  // A context that is gone makes the platform refuse: one line, not a trace.
  ctl_pixmap_rec gone;
  ASSERT_EQ(ctl_pixmap_create(&gone, 1, 1), 1);
  HDC stale = gone.dc;
  ctl_pixmap_release(&gone);
  HDC kept = t.w->pixmap.dc;
  t.w->pixmap.dc = stale;
  {
    qtest::Stdout out;
    ctl_window_update(t.w);
    EXPECT_EQ(out.text(), "fail to update layered window\n");
  }
  t.w->pixmap.dc = kept;

  // An empty client area: nothing is called, nothing printed.
  ctl_window_movc(t.w, 0, 10, 100, 80);
  {
    qtest::Stdout out;
    ctl_window_update(t.w);
    EXPECT_EQ(out.text(), "");
  }
  ctl_window_layered(t.w, 0);
  EXPECT_EQ(ctl_window_style_get(t.w, -20), 0);
  ASSERT_TRUE(XGetWindowAttributes(x(), t.xwin(), &a));
  EXPECT_EQ(a.depth, DefaultDepth(x(), DefaultScreen(x())));
}

// ---- The window procedure's stages ---------------------------------------------------------------

TEST_F(Windows, ProcedureStagesInOrder) {
  TestWindow t(50, 40);
  ASSERT_NE(t.s, nullptr);
  HWND h = t.w->hwnd;
  // A message for no record goes to the default procedure alone.
  EXPECT_EQ(ctl_window_proc(nullptr, kWmPaint, 0, 0), 0);

  // Coordinates come from the low 32 bits of lParam, signed; the wheel from wParam's.
  const LPARAM high_garbage = static_cast<LPARAM>(0x7F5A000000000000ll);
  struct Case {
    UINT message;
    WPARAM wparam;
    LPARAM lparam;
    std::vector<std::string> want;
  };
  const Case cases[] = {
      {kWmMouseMove, 0, high_garbage | pack(-3, 7), {"mouse 4 0 -3 7"}},
      {kWmLButtonDown, 1, pack(4, -9), {"mouse 2 6 4 -9"}},
      {kWmLButtonUp, 0, pack(5, 6), {"mouse 1 6 5 6"}},
      {kWmRButtonDown, 2, pack(11, 12), {"mouse 2 7 11 12"}},
      {kWmRButtonUp, 0, pack(11, 12), {"mouse 1 7 11 12"}},
      {kWmMouseWheel, static_cast<WPARAM>(0xABCD00000000ull | 0xFF100000ull), pack(1500, 900),
       {"mouse 5 0 1500 900"}},
      {kWmKeyDown, 0x41, 0, {"key 2 41"}},
      {kWmChar, 0xE9, 0, {"key 3 e9"}},
      {kWmKeyUp, 0x41, 0, {"key 1 41"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.message);
    events.clear();
    messages.clear();
    ctl_window_proc(h, c.message, c.wparam, c.lparam);
    EXPECT_EQ(events, c.want);
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages[0], c.message);  // onmessage saw it first
  }
  EXPECT_EQ(t.w->wheel, -240);
  EXPECT_EQ(t.w->press_x, 11);
  EXPECT_EQ(t.w->press_y, 12);
  // Without onmouse the record keeps no mouse state at all.
  t.w->onmouse = nullptr;
  ctl_window_proc(h, kWmLButtonDown, 1, pack(30, 31));
  EXPECT_EQ(ctl_window_mouse_state(t.w, 0), 0);
  EXPECT_EQ(t.w->press_x, 11);
  t.w->onmouse = on_mouse;

  // WM_ERASEBKGND with a pixmap marks the client area and still reaches the default.
  ctl_window_show(t.w);
  settle();
  events.clear();
  ctl_window_proc(h, kWmEraseBkgnd, 0, 0);
  EXPECT_TRUE(pump_until([] { return seen("event 11"); }));
  EXPECT_EQ(ctl_window_proc(h, kWmGetMinMaxInfo, 0, 0), 0);

  // A callback that clears onevent during onmessage takes effect on the same message; the
  // default procedure then destroys the window.
  t.w->onmessage = [](ctl_window_rec* w, uint32_t, WPARAM, LPARAM) -> LRESULT {
    w->onevent = nullptr;
    return 0;
  };
  events.clear();
  ctl_window_proc(h, kWmClose, 0, 0);
  EXPECT_TRUE(events.empty());
  EXPECT_EQ(xwindow_of(h), 0u);
}

// ---- The loops ------------------------------------------------------------------------------------

TEST_F(Windows, LoopsEndOnTheQuitMessage) {
  TestWindow t(60, 40);
  ASSERT_TRUE(t.show());
  settle();
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
  static int idles = 0;
  idles = 0;
  ctl_main_quit();
  ctl_main_onidle([]() -> int32_t { return ++idles; });
  EXPECT_EQ(idles, 0);
  ctl_main_onidle([]() -> int32_t {
    if (++idles == 3) ctl_main_quit();
    return 0;
  });
  EXPECT_EQ(idles, 3);
  ctl_main_onidle(nullptr);  // no idle function: returns at once
}

TEST_F(Input, QuitFromCallbackLetsPostedMessagesRunFirst) {
  TestWindow t(60, 40);
  ASSERT_TRUE(t.show());
  settle();
  // The key-down callback quits: the character that TranslateMessage posted before the
  // dispatch still comes, the key-up (input) waits for the next loop.
  on_key_hook = [](ctl_window_rec*, int32_t code, uint32_t) {
    if (code == CTL_DOWN) ctl_main_quit();
  };
  events.clear();
  tap(XK_q);
  ctl_main();
  EXPECT_EQ(events, (std::vector<std::string>{"key 2 51", "key 3 71"}));
  on_key_hook = nullptr;
  EXPECT_TRUE(pump_until([] { return seen("key 1 51"); }));

  // A stream of waiting messages keeps idle from running until all are dispatched.
  events.clear();
  for (KeySym k : {XK_1, XK_2, XK_3, XK_4}) tap(k);
  usleep(50000);
  static size_t events_at_idle;
  events_at_idle = 0;
  ctl_main_onidle([]() -> int32_t {
    events_at_idle = events.size();
    ctl_main_quit();
    return 0;
  });
  EXPECT_EQ(events_at_idle, 12u);
}

}  // namespace

#endif
