// Windows on X11, Wayland and Win32 (under Wine): pixmaps, sizes, painting read back, input, the
// close button, styles, layered windows, the procedure and the loops; then frames and scales.
#include "no_pixels.h"
#include "support.h"
#include <quelt/platform/win32.h>  // the message and style numbers that windows see
#include "window_host.h"

#ifndef _WIN32
#include <fcntl.h>

// Xlib keeps a few process-wide blocks (locale and input-method tables) for good.
extern "C" const char* __lsan_default_suppressions() { return "leak:libX11.so\n"; }
#endif

namespace {

using qtest::fail_lines, qtest::traced, qtest::utf16;

#ifdef _WIN32  // Win32 adds bits of its own to the style words (clip siblings, window edge)
constexpr bool kWin32 = true;
constexpr uint32_t kStyleBits[] = {0x10CF0000, WS_EX_LAYERED};
#else
constexpr bool kWin32 = false;
constexpr uint32_t kStyleBits[] = {~0u, ~0u};
#endif
uint32_t style(ctl_window_rec* w, int32_t which = GWL_STYLE) {
  return static_cast<uint32_t>(ctl_window_style_get(w, which)) & kStyleBits[which == GWL_EXSTYLE];
}

quelt_lparam pack(int x, int y) { return quelt_lparam(uint32_t(uint16_t(x)) | uint32_t(uint16_t(y)) << 16); }

// What the callbacks saw: "key CODE VK", "mouse ACTION BUTTON X Y", "event CODE"; the messages.
std::vector<std::string> events;
std::vector<uint32_t> messages;
std::function<void(ctl_window_rec*, int32_t)> on_event_hook;

int32_t note(const char* format, long a = 0, long b = 0, long c = 0, long d = 0) {
  char line[96];
  std::snprintf(line, sizeof line, format, a, b, c, d);
  return events.emplace_back(line), 0;
}
bool seen(const std::string& line) { return std::find(events.begin(), events.end(), line) != events.end(); }
bool arrives(const std::string& line) { return host::pump_until([&] { return seen(line); }); }

uint32_t pixel(const sf_surface* s, int px, int py) { return reinterpret_cast<const uint32_t*>(s->pixels)[py * s->width + px]; }
void fill(sf_surface* s, uint32_t color, const sf_rect* rect = nullptr) { s->color = color, sf_fill(s, rect); }
int line_height() {  // of DejaVu Sans at 12 points
  sf_face* face = nullptr;
  const int height = sf_face_create(&face, "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf", 12) ? sf_face_height(face) : 0;
  return sf_face_release(&face), height;
}

// A window at a known place with every callback installed.
struct TestWindow {
  ctl_window_rec* w = nullptr;
  sf_surface* s = nullptr;

  TestWindow(int width, int height, int at_x = 100, int at_y = 80) {
    events.clear(), messages.clear(), on_event_hook = nullptr;
    s = ctl_window(&w, utf16(u"quelt test window"), width, height);
    if (!s) return;
    ctl_window_movc(w, width, height, at_x, at_y);
    w->onkey = [](ctl_window_rec*, int32_t code, uint32_t key) { return note("key %ld %lx", code, key); };
    w->onmouse = [](ctl_window_rec*, int32_t action, int32_t b, int32_t x, int32_t y) { return note("mouse %ld %ld %ld %ld", action, b, x, y); };
    w->onevent = [](ctl_window_rec* w, int32_t code) { if (on_event_hook) on_event_hook(w, code); return note("event %ld", code); };
    w->onmessage = [](ctl_window_rec*, uint32_t message, quelt_wparam, quelt_lparam) -> quelt_lresult { return messages.push_back(message), 0; };
  }
  ~TestWindow() {
    ctl_window_release(&w);
    while (ctl_do_events()) ctl_main();  // a quit a test left is taken out of the queue
  }
  // Shows the window (mapped before the loop runs again) and waits until it is on the screen and focused.
  bool show() {
    ctl_window_show(w);
    const bool shown = host::pump_until([&] { return host::shown_ready(w, false); }, 3000, false) && host::pump_until([&] { return host::shown_ready(w); });
    host::settle(w);  // the first paints and focus changes are over
    return shown;
  }
  // What onkey saw of `type`, once `n` events came and the queue settled.
  std::vector<std::string> typing(const std::function<void()>& type, size_t n) {
    events.clear(), type();
    EXPECT_TRUE(host::pump_until([&] { return events.size() >= n; }));
    host::settle(w);
    return events;
  }
};

struct Windows : ::testing::Test {
  void SetUp() override { if (!host::ready()) GTEST_SKIP() << "no display"; }
};
#ifdef _WIN32
using Input = Windows;
#else
// Input tests leave the shared server as they found it, however they end (`keep` goes with the fixture).
struct Input : Windows {
  host::KeepServer keep;
  Display* d = keep.d;
  void SetUp() override { if (!host::has_xtest()) GTEST_SKIP() << "no XTest"; }
};
#endif

TEST(Records, PixmapAndLayoutCreateReleaseAndFailures) {
  ctl_pixmap_rec p, zero;
  std::memset(&p, 0xAB, sizeof p), std::memset(&zero, 0, sizeof zero);  // old content is ignored
  ASSERT_TRUE(ctl_pixmap_create(&p, 5, 3) == 1 && p.dc);
  sf_surface want;  // every field but the dimensions and the pixels is zero, and every pixel
  std::memset(&want, 0, sizeof want);
  want.width = 5, want.height = 3, want.bytes_per_pixel = 4, want.pixels = p.surface.pixels;
  EXPECT_EQ(std::memcmp(&p.surface, &want, sizeof want), 0);
  EXPECT_EQ(std::vector<uint8_t>(p.surface.pixels, p.surface.pixels + 60), std::vector<uint8_t>(60));
  sf_rect one = {4, 0, 5, 1};  // drawing reaches the bytes at (y × 5 + x) × 4, top row first
  fill(&p.surface, 0xFF102030, &one);
  EXPECT_EQ(pixel(&p.surface, 4, 0), 0xFF102030u);
  ASSERT_EQ(sf_strip(&p.surface), 1);  // a skip table goes with the surface; the bitmap is not freed
  ctl_pixmap_release(&p), ctl_pixmap_release(&p);  // a second release does nothing
  EXPECT_EQ(std::memcmp(&p, &zero, sizeof p), 0);
  // Each failure leaves a record that can be released (it does nothing) and takes a new pixmap.
  struct { long fail_after; int32_t width, height; const char* what; } const cases[] = {
      {-1, 0, 4, "CreateDIBSection"}, {-1, 65536, 65536, "CreateDIBSection"},  // sizes no bitmap can have
#ifndef _WIN32
      {-1, 4, -1, "CreateDIBSection"},  // bottom-up: quelt's own DIB sections are top-down
      {0, 4, 4, "CreateCompatibleDC"}, {1, 4, 4, "CreateDIBSection"},  // the context, the bitmap's record
#endif
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what + std::string(" ") + std::to_string(c.width));
    EXPECT_EQ(traced([&] { EXPECT_EQ(ctl_pixmap_create(&p, c.width, c.height), 0); }, c.fail_after),
              fail_lines("pixmap.cpp", "ctl_pixmap_create", c.what));
    const bool no_context = c.fail_after == 0;  // the dimensions are kept once there is one
    EXPECT_EQ(std::tuple(p.surface.pixels, p.surface.width, p.surface.bytes_per_pixel),
              std::tuple(nullptr, no_context ? 0 : c.width, no_context ? 0 : 4));
    const ctl_pixmap_rec before = p;
    ctl_pixmap_release(&p);
    EXPECT_EQ(std::memcmp(&p, &before, sizeof p), 0);
    ASSERT_EQ(ctl_pixmap_create(&p, 2, 2), 1);
    ctl_pixmap_release(&p);
  }
  // A layout: each allocation fails in turn (the record, then its archive's).
  ctl_layout_rec* layout = nullptr;
  const long before = qtest::allocation_count();
  ASSERT_TRUE(ctl_layout_create(&layout) == 1 && layout->archive);
  const long count = qtest::allocation_count() - before;
  EXPECT_EQ((ctl_layout_release(&layout), layout), nullptr);
  for (long n = 0; n < count; ++n) {
    EXPECT_TRUE(traced([&] { EXPECT_EQ(ctl_layout_create(&layout), 0); }, n)
                    .ends_with(fail_lines("layout.cpp", "ctl_layout_create", n == 0 ? "malloc" : ""))) << n;
    EXPECT_EQ(layout == nullptr, n == 0);  // a record whose archive failed stays with the caller
    if (layout) ctl_layout_release(&layout);
  }
}

// movc sends the size message before it returns, also for a hidden window, and remakes the surface
// at the same address; it places the window (not on Wayland, whose compositors place them). Then
// the style words, the frame and the caption.
TEST_F(Windows, SizesRemakeThePixmapAndStylesChangeTheFrame) {
  TestWindow t(100, 80);
  sf_surface* s = t.s;
  ASSERT_TRUE(s && s == &t.w->pixmap.surface);
  EXPECT_EQ(std::pair(style(t.w), style(t.w, GWL_EXSTYLE)), std::pair(uint32_t{WS_OVERLAPPEDWINDOW}, 0u));
  auto at = [&](const std::function<bool(host::Rect)>& want) {
    return host::wayland() || host::pump_until([&] { return want(host::outer(t.w)); });
  };
  // Win32 sizes on every placement, and so does quelt's own frame (movc passes through a smaller
  // client size); Win32 gives a framed window a least size.
  const bool always_sized = host::own_frame() || kWin32;
  std::vector<std::tuple<int, int, int, int>> sizes = {{300, 200, 40, 50}, {300, 200, 70, 90}, {240, 160, 50, 75}};
  if (!kWin32) sizes.insert(sizes.begin() + 2, {{0, 0, 50, 60}, {120, 0, 50, 60}});
  for (auto [width, height, x, y] : sizes) {
    SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
    if (s->pixels) fill(s, 0xFFFFFFFF), s->anchor_x = 0.5f;
    events.clear();
    const bool changed = ctl_window_width(t.w) != width || ctl_window_height(t.w) != height;
    ctl_window_movc(t.w, width, height, x, y);
    EXPECT_EQ(seen("event 10"), changed || always_sized);
    EXPECT_EQ(std::pair(ctl_window_width(t.w), ctl_window_height(t.w)), std::pair(width, height));
    EXPECT_EQ(t.s, s);
    if (width == 0 || height == 0) {
      EXPECT_TRUE(s->width == 0 && s->bytes_per_pixel == 0 && !s->pixels && !t.w->pixmap.dc);
      ctl_window_update(t.w);  // nothing to copy, nothing happens
      continue;
    }
    // The new surface (before the wait, during which a window manager may answer an older request).
    if (changed) EXPECT_TRUE(s->width == width && s->height == height && s->color == 0 && s->anchor_x == 0.0f &&
                             std::all_of(s->pixels, s->pixels + width * height * 4, [](uint8_t b) { return b == 0; }));
    EXPECT_TRUE(at([&](host::Rect r) { return r.left == x && r.top == y; }));
  }
  ctl_window_move(t.w, 321, 201);
  EXPECT_EQ(std::pair(s->width, s->height), std::pair(321, 201));
  EXPECT_TRUE(at([&](host::Rect r) {
    const host::Rect screen = host::screen();
    return std::abs((r.left + r.right) / 2 - screen.right / 2) <= 1 && std::abs((r.top + r.bottom) / 2 - screen.bottom / 2) <= 1;
  }));
  // A size message with the unchanged size replaces the pixmap all the same.
  fill(s, 0xFF123456);
  ctl_window_proc(t.w->hwnd, WM_SIZE, 0, pack(s->width, s->height));
  EXPECT_EQ(pixel(s, 3, 3), 0u);
  messages.clear(), ctl_window_sizeable(t.w, 0);  // its style bits go, and come back
  EXPECT_EQ(style(t.w), WS_OVERLAPPEDWINDOW & ~WS_THICKFRAME & ~WS_MAXIMIZEBOX);
  // The style messages and the frame change arrive inside the call.
  EXPECT_EQ(std::pair(std::ranges::count(messages, WM_STYLECHANGED), std::ranges::count(messages, WM_WINDOWPOSCHANGED)), std::pair(std::ptrdiff_t{1}, std::ptrdiff_t{1}));
  ctl_window_sizeable(t.w, 1);
  EXPECT_EQ(style(t.w), uint32_t{WS_OVERLAPPEDWINDOW});
  [[maybe_unused]] const int height = ctl_window_height(t.w), outer_height = host::outer(t.w).bottom - host::outer(t.w).top;
  ctl_window_header(t.w, 0);
  EXPECT_EQ(style(t.w), WS_OVERLAPPEDWINDOW & ~WS_CAPTION);
#ifdef _WIN32
  EXPECT_EQ(GetClassLongPtrW(t.w->hwnd, GCLP_HICON), LONG_PTR(LoadIconA(nullptr, IDI_APPLICATION)));  // the stock icon
  // Win32 keeps the outer size when the caption goes: the client area grows into it.
  EXPECT_EQ(host::outer(t.w).bottom - host::outer(t.w).top, outer_height);
  EXPECT_GT(ctl_window_height(t.w), height);
  EXPECT_EQ(t.s->height, ctl_window_height(t.w));
#else  // the Motif hints (functions; decorations): border and resizing, with a title also its menu and buttons
  auto hints = [&](unsigned long decorations) { return host::wayland() || host::pump_until([&] {
    return host::property(host::xwindow(t.w->hwnd), "_MOTIF_WM_HINTS", 5) == std::vector<unsigned long>{3, 62, decorations, 0, 0}; }); };
  EXPECT_TRUE(hints(6));
  ctl_window_header(t.w, 1);
  EXPECT_TRUE(hints(126));
  ctl_window_header(t.w, 0);
#endif
  ctl_window_header(t.w, 0);  // neither bit set: nothing changes
  EXPECT_EQ(style(t.w), WS_OVERLAPPEDWINDOW & ~WS_CAPTION);
  ctl_window_style_set(t.w, GWL_STYLE, WS_BORDER);  // one of the two bits alone: both flip
  ctl_window_header(t.w, 0);
  EXPECT_EQ(style(t.w), uint32_t{WS_DLGFRAME});
  ctl_window_header(t.w, 1);
  EXPECT_EQ(style(t.w), uint32_t{WS_CAPTION});
  ASSERT_TRUE(t.show());  // the visible state shows in the style word
  EXPECT_EQ(style(t.w), WS_VISIBLE | WS_CAPTION);
  ctl_window_caption(t.w, utf16(u"caption \u00e9"));  // (a compositor's caption is on a shown window)
  EXPECT_TRUE(!host::reads_captions() ||
              host::pump_until([&] { return host::caption(t.w) == "caption \xc3\xa9" || host::caption(t.w) == "caption \xe9"; }));
#ifndef _WIN32  // (a 64-bit Windows makes a section of 4 GiB)
  // A size without a bitmap leaves no pixels: nothing may draw, paint or update from them.
  EXPECT_NE(traced([&] { ctl_window_proc(t.w->hwnd, WM_SIZE, 0, pack(32767, 32767)); }).find("CreateDIBSection"),
            std::string::npos);
  ASSERT_TRUE(s->width == 32767 && s->height == 32767 && !s->pixels);
  qtest::expect_refused_without_pixels(s, "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf");
  ctl_window_update(t.w);
  ctl_do_events();
#endif
}

TEST_F(Windows, UpdatePaintsThroughTheCallbackAndTheSystemShowsTheSurfaceLayeredOrNot) {
  TestWindow t(160, 120);
  ASSERT_TRUE(t.show());
  // The paint callback draws, then the drawing is copied to the screen.
  sf_rect r = {10, 20, 30, 25};
  on_event_hook = [&](ctl_window_rec*, int32_t code) { if (code == CTL_PAINT) fill(t.s, 0xFF204080), fill(t.s, 0xFFFF0000, &r); };
  events.clear(), ctl_window_update(t.w);
  EXPECT_TRUE(seen("event 11"));  // before the call returned
  EXPECT_EQ(host::shown_differs(t.w, 160, 120, [&](int px, int py) { return pixel(t.s, px, py); }), "");
  // Only the rectangle asked for is copied, at the same place.
  on_event_hook = nullptr, fill(t.s, 0xFF00FF00);
  sf_rect part = {40, 30, 90, 70}, corner = {40, 30, 50, 40};
  fill(t.s, 0xFFFFFF00, &corner);
  ctl_window_update_rect(t.w, &part);
  EXPECT_EQ(host::shown_differs(t.w, 160, 120, [](int px, int py) -> uint32_t {
              if (px >= 40 && px < 90 && py >= 30 && py < 70) return px < 50 && py < 40 ? 0xFFFF00 : 0x00FF00;
              return px >= 10 && px < 30 && py >= 20 && py < 25 ? 0xFF0000 : 0x204080;
            }), "");
  // A rectangle beyond every edge is clipped to the window, here of a new height (lower: a taller
  // one might reach past the screen's bottom, where weston may have placed it).
  ctl_window_move(t.w, 160, 100), host::settle(t.w), fill(t.s, 0xFF0000FF);
  sf_rect beyond = {-50, -70, 1 << 30, 1 << 30};
  ctl_window_update_rect(t.w, &beyond);
  EXPECT_EQ(host::shown_differs(t.w, 160, 100, [](int, int) { return 0x0000FFu; }), "");
  // A hidden window is not painted; showing it again brings a paint through the loop.
  ctl_window_hide(t.w), events.clear(), ctl_window_update(t.w);
  EXPECT_FALSE(seen("event 11"));
  ctl_window_show(t.w);
  EXPECT_TRUE(arrives("event 11"));
  // A layered window takes premultiplied pixels with alpha, without a paint message.
  host::settle(t.w);
  ctl_window_layered(t.w, 1);
  EXPECT_EQ(style(t.w, GWL_EXSTYLE), uint32_t{WS_EX_LAYERED});
  sf_rect box = {8, 8, 40, 30};
  std::memset(t.s->pixels, 0, 160 * 100 * 4), fill(t.s, 0x80FF0000, &box);
  events.clear();
  EXPECT_EQ(traced([&] { ctl_window_update(t.w); }), "");
  EXPECT_FALSE(seen("event 11"));  // the layered path needs no paint message
  EXPECT_EQ(pixel(t.s, 10, 10) >> 24, 0x80u);
#ifndef _WIN32
  // The window is made anew on the 32-bit visual, which shows the premultiplied pixels as they are.
  XWindowAttributes a{};
  if (!host::wayland()) ASSERT_TRUE(host::pump_until([&] {
    const Window xw = host::xwindow(t.w->hwnd);
    return xw && XGetWindowAttributes(host::x(), xw, &a) && a.map_state == IsViewable;
  }));
  if (a.depth == 32) {
    ctl_window_update(t.w);
    EXPECT_EQ(host::shown_differs(t.w, 160, 100, [&](int px, int py) { return pixel(t.s, px, py); }, 0xFFFFFFFF), "");
  }
#endif
  // update_rect still repaints through WM_PAINT on a layered window.
  ctl_window_update_rect(t.w, nullptr);
  EXPECT_TRUE(seen("event 11"));
  // A context that is gone makes the system refuse: one line, not a trace.
  ctl_pixmap_rec gone;
  ASSERT_EQ(ctl_pixmap_create(&gone, 1, 1), 1);
  quelt_hdc kept = std::exchange(t.w->pixmap.dc, gone.dc);
  ctl_pixmap_release(&gone);
  EXPECT_EQ(traced([&] { ctl_window_update(t.w); }), "fail to update layered window\n");
  t.w->pixmap.dc = kept;
#ifdef _WIN32
  // A frameless layered window keeps its size over updates (the update gives the client size).
  ctl_window_header(t.w, 0), ctl_window_sizeable(t.w, 0), ctl_window_move(t.w, 200, 120);
  for (int i = 0; i < 3; ++i) ctl_window_update(t.w);
  const host::Rect o = host::outer(t.w);
  EXPECT_EQ(std::tuple(o.right - o.left, o.bottom - o.top, ctl_window_width(t.w), t.s->height), std::tuple(200L, 120L, 200, 120));
#endif
  ctl_window_layered(t.w, 0);
  EXPECT_EQ(style(t.w, GWL_EXSTYLE), 0u);
}

TEST_F(Input, KeysReachOnkeyAsVirtualKeysAndCharacters) {
  TestWindow t(120, 90);
  ASSERT_TRUE(t.show());
  struct { uint32_t vk; std::vector<std::string> want; } const cases[] = {
      {'A', {"key 2 41", "key 3 61", "key 1 41"}}, {0x1B, {"key 2 1b", "key 3 1b", "key 1 1b"}},
      {0x25, {"key 2 25", "key 1 25"}},            {0x26, {"key 2 26", "key 1 26"}},
      {0x27, {"key 2 27", "key 1 27"}},            {0x28, {"key 2 28", "key 1 28"}},
      {0x74, {"key 2 74", "key 1 74"}},            {0x0D, {"key 2 d", "key 3 d", "key 1 d"}},
  };
  for (const auto& c : cases) EXPECT_EQ(t.typing([&] { host::tap(t.w, c.vk); }, c.want.size()), c.want) << c.vk;
#ifndef _WIN32
  // Shift changes the character, not the virtual key.
  EXPECT_EQ(t.typing([&] { host::key(t.w, 0x10, true), host::tap(t.w, 'B'), host::key(t.w, 0x10, false); }, 5),
            (std::vector<std::string>{"key 2 10", "key 2 42", "key 3 42", "key 1 42", "key 1 10"}));
  // é, and a surrogate pair beyond the BMP: from two remapped keys on X11, an input method on Wayland.
  events.clear();
  if (host::wayland()) {
    ASSERT_TRUE(host::way::input("text \xc3\xa9\xf0\x9f\x98\x80"));
  } else {
    KeySym typed[2] = {0x0101F600, XK_eacute};  // on the last two keys, é typed first
    keep.map(keep.max_code - 1, typed, 2);
    host::settle(t.w);
    for (int code : {keep.max_code, keep.max_code - 1})
      XTestFakeKeyEvent(d, unsigned(code), True, CurrentTime), XTestFakeKeyEvent(d, unsigned(code), False, CurrentTime);
    XSync(d, False);
  }
  EXPECT_TRUE(arrives("key 3 de00"));
  std::erase_if(events, [](auto& e) { return !e.starts_with("key 3 "); });
  EXPECT_EQ(events, (std::vector<std::string>{"key 3 e9", "key 3 d83d", "key 3 de00"}));

  // A held key repeats as presses (previous-state bit 30 set) and ends in one release (bits 30, 31).
  t.w->onmessage = [](ctl_window_rec*, uint32_t message, quelt_wparam, quelt_lparam l) -> quelt_lresult {
    if (message == WM_KEYDOWN || message == WM_KEYUP) messages.push_back(message | static_cast<uint32_t>(((l >> 30) & 3) << 16));
    return 0;
  };
  if (d) XAutoRepeatOn(d), XkbSetAutoRepeatRate(d, XkbUseCoreKbd, 40, 20);  // quick repeats on X11
  messages.clear(), host::key(t.w, 'C', true);
  host::pump_until([] { return messages.size() >= 4; }, 1500);
  host::key(t.w, 'C', false);
  ASSERT_TRUE(host::pump_until([] { return !messages.empty() && (messages.back() & 0xFFFF) == WM_KEYUP; }));
  std::vector<uint32_t> want(std::max<size_t>(messages.size(), 3), WM_KEYDOWN | 1u << 16);
  want.front() = WM_KEYDOWN, want.back() = WM_KEYUP | 3u << 16;
  EXPECT_EQ(messages, want);

  // Input comes after posted messages and a quit: the key-down callback quits, the character
  // posted before the dispatch still comes, the key-up waits for the next loop.
  const auto onkey = std::exchange(t.w->onkey, [](ctl_window_rec*, int32_t code, uint32_t key) {
    if (code == CTL_DOWN) ctl_main_quit();
    return note("key %ld %lx", code, key);
  });
  events.clear(), host::tap(t.w, 'Q');
  ctl_main();
  EXPECT_EQ(events, (std::vector<std::string>{"key 2 51", "key 3 71"}));
  t.w->onkey = onkey;
  EXPECT_TRUE(arrives("key 1 51"));
  // Idle waits until every queued message is dispatched (the ping returns once all keys are read).
  if (host::wayland()) return;
  events.clear();
  for (uint32_t k : {'1', '2', '3', '4'}) host::tap(t.w, k);
  static struct { long stamp; size_t events; std::chrono::steady_clock::time_point deadline; } idle;
  idle = {host::send_ping(host::xwindow(t.w->hwnd)), 0, std::chrono::steady_clock::now() + std::chrono::seconds(3)};
  ctl_main_onidle([]() -> int32_t {
    if (host::pong_seen(idle.stamp)) idle.events = events.size(), ctl_main_quit();
    if (std::chrono::steady_clock::now() > idle.deadline) ctl_main_quit();
    return 0;
  });
  EXPECT_EQ(idle.events, 12u);
#endif
}

TEST_F(Input, MouseButtonsWheelAndCapture) {
  TestWindow t(200, 150, 300, 200);
  ASSERT_TRUE(t.show());
  // The pointer moved or a button pressed or released, and whether onmouse saw it.
  auto to = [&](int x, int y) { return host::move(t.w, x, y), arrives("mouse 4 0 " + std::to_string(x) + " " + std::to_string(y)); };
  auto click = [&](int b, bool down, const std::string& want) { return host::button(t.w, b, down), arrives(want); };
  ASSERT_TRUE(to(10, 20));
  messages.clear(), t.w->onmessage = [](ctl_window_rec*, uint32_t m, quelt_wparam keys, quelt_lparam) -> quelt_lresult {
    return m == WM_LBUTTONDOWN ? messages.push_back(uint32_t(keys)), 0 : 0; };
  for (auto [b, code] : {std::pair<int, int32_t>{1, CTL_LEFT}, {3, CTL_RIGHT}, {2, CTL_MIDDLE}}) {
    SCOPED_TRACE(b);
    const std::string at = " " + std::to_string(code) + " " + std::to_string(30 + b) + " 40";
    host::move(t.w, 30 + b, 40);
    ASSERT_TRUE(click(b, true, "mouse 2" + at));
    EXPECT_EQ(std::tuple(ctl_window_mouse_state(t.w, code), ctl_window_mouse_state(t.w, 0), t.w->press_x, t.w->press_y),
              std::tuple(1, 1, 30 + b, 40));
    ASSERT_TRUE(click(b, false, "mouse 1" + at));
    EXPECT_EQ(std::pair(ctl_window_mouse_state(t.w, code), ctl_window_mouse_state(t.w, 9)), std::pair(0, 0));
  }
  EXPECT_EQ(messages, std::vector<uint32_t>{kWin32 ? 0u : MK_LBUTTON});  // the button's key state: no Shift, no Ctrl
  // The wheel: 120 a notch, at screen coordinates (on Wayland: where the program put the window).
  if (host::wayland()) host::way::input("reset");  // and once, though the seat's devices change meanwhile
  host::move(t.w, 36, 40), host::settle(t.w);
  const host::Rect c = !host::wayland() ? host::client(t.w) : host::own_frame() ? host::Rect{304, 228} : host::Rect{300, 200};
  const std::string on_screen = std::to_string(c.left + 36) + " " + std::to_string(c.top + 40);
  for (auto [up, delta] : {std::pair{true, 120}, {false, -120}}) {
    events.clear(), host::wheel(t.w, up);
    ASSERT_TRUE(arrives("mouse 5 0 " + on_screen));
    EXPECT_EQ(t.w->wheel, delta);
    host::settle(t.w);
    EXPECT_EQ(events.size(), 1u);
  }
  // A drag leaving the window stays captured, also when another window goes away meanwhile.
  host::move(t.w, 5, 5);
  ASSERT_TRUE(click(1, true, "mouse 2 6 5 5"));
  ctl_window_rec* other = nullptr;
  ASSERT_NE(ctl_window(&other, utf16(u"other"), 20, 20), nullptr);
  ctl_window_release(&other);
  ASSERT_TRUE(to(-20, -30));
  ASSERT_TRUE(click(1, false, "mouse 1 6 -20 -30"));
  EXPECT_EQ(std::pair(t.w->press_x, ctl_window_mouse_state(t.w, CTL_LEFT)), std::pair(5, 0));
  // Left press, right press, left release: the capture ends though the right button is held.
  host::move(t.w, 50, 50), host::button(t.w, 1, true), host::button(t.w, 3, true);
  ASSERT_TRUE(click(1, false, "mouse 1 6 50 50"));
  EXPECT_EQ(std::pair(int{t.w->left_down}, int{t.w->right_down}), std::pair(0, 1));
  events.clear();
  if (!kWin32) host::move(t.w, 400, 300);  // outside, and no longer ours (posted input is not routed)
  ASSERT_TRUE(to(60, 61));
  EXPECT_FALSE(seen("mouse 4 0 400 300"));
  ASSERT_TRUE(click(3, false, "mouse 1 7 60 61"));
  EXPECT_EQ(ctl_window_mouse_state(t.w, 0), 0);
}

// Without onkey the close button and Escape quit; the close button destroys the window, Escape not
// (with onkey it is only a key). Windows opened, typed into
// and closed leave no descriptor open: the connection, keymaps and buffers go with the last window
// (what stays for the process's life, the input helper and caches, is made by the first windows).
TEST_F(Input, CloseButtonAndEscapeFollowTheQuitRulesAndLeaveNothingOpen) {
  [[maybe_unused]] long open_before = 0;
  for (int i = 0; i < 4; ++i) {
    const bool with_onkey = i & 1, escape = i & 2 /* else the close button */, quits = !with_onkey, destroyed = !escape;
    SCOPED_TRACE(i);
#ifndef _WIN32
    if (i == 3) open_before = std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
#endif
    TestWindow t(160, 90);
    ASSERT_TRUE(t.show());
    const quelt_hwnd hwnd = t.w->hwnd;
    if (!with_onkey) t.w->onkey = nullptr;
    int32_t quits_at_close = -1;  // without onkey the quit is posted before onevent(CTL_CLOSE) runs
    on_event_hook = [&](ctl_window_rec*, int32_t code) { if (code == CTL_CLOSE) quits_at_close = ctl_do_events(); };
    events.clear();
    if (escape) {
      host::tap(t.w, 0x1B);
      host::pump_until([&] { return seen("key 1 1b") || ctl_do_events() > 0; }, 1000);
    } else {
      host::close_button(t.w);
      host::pump_until([&] { return seen("event 9"); });
      EXPECT_EQ(quits_at_close, quits ? 1 : 0);
    }
    host::settle(destroyed ? nullptr : t.w);
    const bool quit_pending = ctl_do_events() > 0;
    EXPECT_EQ(quit_pending, quits);
    EXPECT_EQ(!host::exists(hwnd), destroyed);
    // The record and its surface stay until the release.
    if (destroyed) EXPECT_EQ(std::pair(ctl_window_width(t.w), t.s->width), std::pair(0, 160));
    if (quit_pending) ctl_main();  // takes the quit message at once
    EXPECT_EQ(ctl_do_events(), 0);
  }
#ifndef _WIN32
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}), open_before);
#endif
}

TEST_F(Windows, ProcedureStagesInOrderAndLoopsEndOnTheQuitMessage) {
  TestWindow t(50, 40);
  ASSERT_NE(t.s, nullptr);
  quelt_hwnd h = t.w->hwnd;
  EXPECT_EQ(ctl_window_proc(nullptr, WM_PAINT, 0, 0), 0);  // no record: the default procedure alone
  // Coordinates come from the low 32 bits of lParam, signed; the wheel from wParam's.
  const auto high_garbage = static_cast<quelt_lparam>(0x7F5A000000000000ll);
  struct { uint32_t message; quelt_wparam wparam; quelt_lparam lparam; const char* want; } const cases[] = {
      {WM_MOUSEMOVE, 0, high_garbage | pack(-3, 7), "mouse 4 0 -3 7"}, {WM_LBUTTONDOWN, 1, pack(4, -9), "mouse 2 6 4 -9"},
      {WM_LBUTTONUP, 0, pack(5, 6), "mouse 1 6 5 6"},                   {WM_RBUTTONDOWN, 2, pack(11, 12), "mouse 2 7 11 12"},
      {WM_RBUTTONUP, 0, pack(11, 12), "mouse 1 7 11 12"},
      {WM_MOUSEWHEEL, static_cast<quelt_wparam>(0xABCD00000000ull | 0xFF100000ull), pack(1500, 900), "mouse 5 0 1500 900"},
      {WM_KEYDOWN, 0x41, 0, "key 2 41"}, {WM_CHAR, 0xE9, 0, "key 3 e9"}, {WM_KEYUP, 0x41, 0, "key 1 41"},
  };
  for (const auto& c : cases) {
    events.clear(), messages.clear(), ctl_window_proc(h, c.message, c.wparam, c.lparam);
    EXPECT_EQ(events, std::vector<std::string>{c.want});
    EXPECT_TRUE(!messages.empty() && messages[0] == c.message) << c.want;  // onmessage saw it first
  }
  EXPECT_EQ(std::tuple(t.w->wheel, t.w->press_x, t.w->press_y), std::tuple(-240, 11, 12));
  t.w->onmouse = nullptr;  // without onmouse the record keeps no mouse state at all
  ctl_window_proc(h, WM_LBUTTONDOWN, 1, pack(30, 31));
  EXPECT_EQ(std::pair(ctl_window_mouse_state(t.w, 0), t.w->press_x), std::pair(0, 11));
  // WM_ERASEBKGND with a pixmap marks the client area and still reaches the default.
  ASSERT_TRUE(t.show());
  events.clear(), ctl_window_proc(h, WM_ERASEBKGND, 0, 0);
  EXPECT_TRUE(arrives("event 11"));
  EXPECT_EQ(ctl_window_proc(h, WM_GETMINMAXINFO, 0, 0), 0);
  host::settle(t.w);
  // ctl_do_events: 0 on an empty queue; a quit is counted and stays pending.
  EXPECT_EQ(ctl_do_events(), 0);
  ctl_main_quit();
  EXPECT_EQ(std::pair(ctl_do_events(), ctl_do_events()), std::pair(1, 1));
  events.clear(), ctl_main();  // returns at once, nothing dispatched
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
  // onevent cleared by onmessage is not called for that message; the default destroys the window.
  t.w->onmessage = [](ctl_window_rec* w, uint32_t, quelt_wparam, quelt_lparam) -> quelt_lresult { return w->onevent = nullptr, 0; };
  events.clear(), ctl_window_proc(h, WM_CLOSE, 0, 0);
  EXPECT_TRUE(events.empty());
  EXPECT_FALSE(host::exists(h));
}

#ifndef _WIN32
// What a window asks of the compositor where it shows no effect, from libwayland's log of requests
// (WAYLAND_DEBUG=client): `body` runs in a child process, whose connection alone writes it, and
// exits with 0 once every request it waits for (`asked`: a text, how many times) was written.
using Asked = std::function<void(const std::string&, int)>;
void exits_when_asked(const std::function<void(const Asked&)>& body) {
  qtest::TempDir dir;
  const std::string log = dir.path("requests");
  EXPECT_EXIT(
      {
        setenv("WAYLAND_DEBUG", "client", 1);
        const int said = dup(2);  // the test's own standard error, for what was not asked
        const int file = open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (file < 0 || dup2(file, 2) < 0) std::_Exit(3);
        body([&](const std::string& request, int times) {
          if (!host::pump_until([&] {
                const std::string text = qtest::slurp(log);
                int n = 0;
                for (size_t at = 0; (at = text.find(request, at)) != std::string::npos; ++at) ++n;
                return n >= times;
              }))
            dprintf(said, "not asked: %s\n", request.c_str()), std::_Exit(1);
        });
        std::_Exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

// Where the compositor draws no frame (weston, or sway told to leave it to the window), quelt draws
// its own title bar (caption, buttons) and border outside the client area. On sway a drag on the
// title moves the window, one on the right edge widens it; the maximise and minimise buttons and a
// double click on the title are requests (sway shows neither, and may call a window maximised while
// it tiles it before floating it: the button then asks to unmaximise).
TEST_F(Windows, OwnFrameOnWaylandDrawsAndAnswersThePointer) {
  if (!host::own_frame()) GTEST_SKIP() << "the compositor draws the frame";
  const bool drags = host::way::sway_tree() && host::has_xtest();
  host::KeepServer keep;  // no button held when the test ends, however it ends
  {
    TestWindow t(200, 100);
    ctl_window_caption(t.w, utf16(u"Frame"));
    ASSERT_TRUE(t.show());
    fill(t.s, 0xFF00FF00), ctl_window_update(t.w);
    EXPECT_EQ(host::shown_differs(t.w, 200, 100, [](int, int) { return 0x00FF00u; }), "");
    const host::Rect o = host::outer(t.w), c = host::client(t.w);
    EXPECT_EQ((std::vector{c.left - o.left, c.top - o.top, o.right - c.right, o.bottom - c.bottom, c.right - c.left}),
              (std::vector{4, 28, 4, 4, 200}));
    // The bar in its colour, with lighter pixels where the caption and the buttons' glyphs are.
    const std::vector<uint32_t> bar = host::way::shot({o.left, o.top, o.right, o.top + 28});
    ASSERT_EQ(bar.size(), 208u * 28);
    auto light = [&](int from, int to, int top = 0, int bottom = 28) {  // pixels of columns [from, to), rows [top, bottom)
      int n = 0;
      for (size_t i = 0; i < bar.size(); ++i)
        n += int(i % 208) >= from && int(i % 208) < to && int(i / 208) >= top && int(i / 208) < bottom && (bar[i] & 0xFF) > 0xA0;
      return n;
    };
    EXPECT_GT(std::count(bar.begin(), bar.end(), 0xFF2B2F36u) + std::count(bar.begin(), bar.end(), 0xFF4A4E55u), 208 * 14);
    EXPECT_GT(light(4, 80), 20);     // "Frame"
    EXPECT_GT(light(180, 204), 10);  // the close button's cross
    EXPECT_NEAR(light(148, 176, 0, 14), light(148, 176, 14, 28), 3);  // the maximise button's square:
    EXPECT_NEAR(light(148, 162), light(162, 176), 3);                 // as much of it on either side
    EXPECT_EQ(light(90, 120), 0);    // nothing between
    if (!drags) return;
    auto drag = [&](int x, int y, int dx, int dy) {
      host::pointer_to(x, y), host::button(t.w, 1, true), host::settle(t.w);
      host::pointer_to(x + dx, y + dy), host::button(t.w, 1, false);
    };
    drag(o.left + 60, o.top + 14, 50, 40);
    EXPECT_TRUE(host::pump_until([&] { const host::Rect r = host::outer(t.w); return r.left == o.left + 50 && r.top == o.top + 40; }));
    const host::Rect moved = host::outer(t.w);
    drag(moved.right - 2, moved.top + 60, 30, 0);
    EXPECT_TRUE(host::pump_until([&] { return ctl_window_width(t.w) == 230 && t.s->width == 230 && ctl_window_height(t.w) == 100; }));
  }  // the window and its connection go before the child makes its own
  exits_when_asked([](const Asked& asked) {
    TestWindow t(200, 100);
    if (!t.show()) std::_Exit(2);
    host::move(t.w, 20, 20);  // a click counts once the pointer has entered the window
    if (!arrives("mouse 4 0 20 20")) std::_Exit(2);
    const host::Rect o = host::outer(t.w);
    auto click = [&](int x, int y) { host::pointer_to(x, y), host::button(t.w, 1, true), host::button(t.w, 1, false); };
    click(o.right - 4 - 14 - 28, o.top + 14);  // the buttons from the right: close, maximise, minimise
    asked("_maximized()", 1);
    click(o.right - 4 - 14 - 56, o.top + 14);
    asked(".set_minimized()", 1);
    click(o.left + 60, o.top + 14), click(o.left + 60, o.top + 14);
    asked("_maximized()", 2);
  });
}

// On a scaled output a window is in device pixels and text is made at the scale's resolution. At 2
// (set through sway) its pixels show one for one and the compositor's logical size is half. At 1.5
// (kwin, in a run of its own) the buffer is the device size and a viewport gives the logical size;
// DejaVu Sans's line, 1.164 em, is 28 pixels at 12 points at 144 dots per inch (19 at 96).
TEST_F(Windows, ScaledOutputShowsDevicePixels) {
  if (std::getenv("QUELT_FRACTIONAL_RUN")) return exits_when_asked([](const Asked& asked) {
    TestWindow t(300, 150);
    ctl_window_show(t.w);
    asked("preferred_scale(180)", 1), asked(", 0, 300, 150, 1200, ", 1), asked(".set_destination(200, 100)", 1);
    if (line_height() != 28 || ctl_window_width(t.w) != 300 || t.s->width != 300) std::_Exit(1);
  });
  if (!host::wayland() || !host::way::sway_tree()) GTEST_SKIP() << "a scale set through sway";
  const int at_one = line_height();
  host::way::Scale two(2);
  EXPECT_NEAR(line_height(), 2 * at_one, 1);
  TestWindow t(200, 100);
  ASSERT_TRUE(t.show());
  auto checker = [](int px, int py) { return (px ^ py) & 1 ? 0xFFFFFFFFu : 0xFF000000u; };
  for (int i = 0; i < 200 * 100; ++i) reinterpret_cast<uint32_t*>(t.s->pixels)[i] = checker(i % 200, i / 200);
  ctl_window_update(t.w);
  EXPECT_EQ(host::shown_differs(t.w, 200, 100, checker), "");
  const host::Rect o = host::outer(t.w);
  EXPECT_EQ(o.right - o.left, host::own_frame() ? 108 : 100);  // a frame of 4 logical pixels
  // A change of scale under the open window keeps its logical size, even one of no height.
  ctl_window_move(t.w, 200, 0), host::way::sway("output * scale 1");
  EXPECT_TRUE(host::pump_until([&] { return ctl_window_width(t.w) == 100 && ctl_window_height(t.w) == 0; }));
}

// Under a real window manager (the suite runs on a bare server and under openbox): the frame
// counts in placing and centring, and maximising and restoring through it remake the surface.
TEST_F(Windows, UnderAWindowManagerTheFrameCountsAndMaximisingResizes) {
  if (!host::window_manager() || std::system("command -v wmctrl > /dev/null") != 0) GTEST_SKIP() << "no window manager with wmctrl";
  TestWindow t(200, 150);
  ASSERT_TRUE(t.show());
  std::vector<unsigned long> f;
  ASSERT_TRUE(host::pump_until([&] {
    return (f = host::property(host::xwindow(t.w->hwnd), "_NET_FRAME_EXTENTS", 4)).size() == 4 && f[2] > 0;
  }));
  const int left = int(f[0]), right = int(f[1]), top = int(f[2]), bottom = int(f[3]);
  auto placed = [&](int want_x, int want_y, int width, int height) {  // the client area, as the server has it
    return host::pump_until([&] {
      const host::Rect r = host::client(t.w);
      return std::tuple(r.left, r.top, r.right - r.left, r.bottom - r.top) == std::tuple(want_x, want_y, width, height);
    });
  };
  // The frame's top left goes where asked, and the client area keeps the asked size.
  ctl_window_movc(t.w, 200, 150, 100, 80);
  EXPECT_TRUE(placed(100 + left, 80 + top, 200, 150));
  // Centring takes the whole window, frame included; the window manager's last report is the final size.
  ctl_window_move(t.w, 300, 200);
  const host::Rect s = host::screen();
  EXPECT_TRUE(placed(s.right / 2 - (300 + left + right) / 2 + left, s.bottom / 2 - (200 + top + bottom) / 2 + top, 300, 200));
  EXPECT_TRUE(host::pump_until([&] { return t.s->width == 300 && t.s->height == 200; }));
  events.clear();
  ASSERT_TRUE(host::wmctrl(t.w, "-b add,maximized_vert,maximized_horz -r"));
  ASSERT_TRUE(host::pump_until([&] { return ctl_window_width(t.w) > 1000 && ctl_window_height(t.w) > 600; }));
  EXPECT_TRUE(seen("event 10"));  // the surface followed the size
  EXPECT_EQ(std::pair(t.s->width, t.s->height), std::pair(ctl_window_width(t.w), ctl_window_height(t.w)));
  ASSERT_TRUE(host::wmctrl(t.w, "-b remove,maximized_vert,maximized_horz -r"));
  ASSERT_TRUE(host::pump_until([&] { return ctl_window_width(t.w) == 300 && ctl_window_height(t.w) == 200; }));
  EXPECT_EQ(std::pair(t.s->width, t.s->height), std::pair(300, 200));
}
#endif

}  // namespace
