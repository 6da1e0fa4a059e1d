// Windows on the real Win32 window manager (under Wine on Linux): sizes, painting, the three
// loops, input messages as Win32 sends them, the style switches and layered windows, read back
// through Win32 itself.
#include <gtest/gtest.h>

#include <windows.h>

#include <quelt/surface/blend.h>
#include <quelt/windowing/main.h>
#include <quelt/windowing/window.h>

#include <cstdlib>
#include <string>
#include <tuple>
#include <vector>

#include "support.h"

namespace {

struct Log {
  std::vector<std::string> events;
  int sizes = 0;
};
Log* log_ = nullptr;

int32_t on_event(ctl_window_rec* w, int32_t code) {
  if (code == CTL_SIZE) ++log_->sizes;
  log_->events.push_back("event " + std::to_string(code) + " " + std::to_string(w->pixmap.surface.width) + "x" +
                         std::to_string(w->pixmap.surface.height));
  return 0;
}
int32_t on_mouse(ctl_window_rec*, int32_t action, int32_t button, int32_t x, int32_t y) {
  log_->events.push_back("mouse " + std::to_string(action) + " " + std::to_string(button) + " " +
                         std::to_string(x) + "," + std::to_string(y));
  return 0;
}
int32_t on_key(ctl_window_rec*, int32_t code, uint32_t key) {
  log_->events.push_back("key " + std::to_string(code) + " " + std::to_string(key));
  return 0;
}

class Win32 : public ::testing::Test {
 protected:
  void SetUp() override {
    log_ = &log;
    static const uint16_t caption[] = {'q', 'u', 'e', 'l', 't', 0};
    surface = ctl_window(&w, caption, 200, 120);
    if (!surface) GTEST_SKIP() << "no display for windows";
    w->onevent = on_event;
  }
  void TearDown() override {
    ctl_window_release(&w);
    while (ctl_do_events()) {  // a quit left by a test is taken out of the queue
      MSG m;
      GetMessageW(&m, nullptr, 0, 0);
    }
    log_ = nullptr;
  }
  uint32_t shown(int x, int y) {  // as 0xRRGGBB
    HDC dc = GetDC(w->hwnd);
    const COLORREF c = GetPixel(dc, x, y);
    ReleaseDC(w->hwnd, dc);
    return (GetRValue(c) << 16) | (GetGValue(c) << 8) | GetBValue(c);
  }
  RECT outer() {
    RECT r{};
    GetWindowRect(w->hwnd, &r);
    return r;
  }

  Log log;
  ctl_window_rec* w = nullptr;
  sf_surface* surface = nullptr;
};

TEST_F(Win32, ClientSizesAndTheSurfaceFollowThem) {
  EXPECT_EQ(ctl_window_width(w), 200);
  EXPECT_EQ(ctl_window_height(w), 120);
  EXPECT_EQ(surface->width, 200);
  EXPECT_EQ(surface->height, 120);
  // The size message arrives inside the call, for a hidden window too, with the new surface.
  ctl_window_movc(w, 300, 150, 40, 50);
  EXPECT_EQ(log.events.back(), "event 10 300x150");
  EXPECT_EQ(outer().left, 40);
  EXPECT_EQ(outer().top, 50);
  EXPECT_EQ(ctl_window_width(w), 300);
  EXPECT_EQ(ctl_window_height(w), 150);
  EXPECT_EQ(surface->width, 300);
  ctl_window_move(w, 321, 201);  // centred on the screen
  const RECT r = outer();
  EXPECT_EQ(ctl_window_width(w), 321);
  EXPECT_EQ(ctl_window_height(w), 201);
  EXPECT_LE(std::abs(int((r.left + r.right) / 2) - GetSystemMetrics(SM_CXSCREEN) / 2), 1);
  EXPECT_LE(std::abs(int((r.top + r.bottom) / 2) - GetSystemMetrics(SM_CYSCREEN) / 2), 1);
  EXPECT_EQ(surface->width * surface->height, 321 * 201);
}

TEST_F(Win32, UpdatePutsTheSurfaceOnTheScreen) {
  ctl_window_show(w);
  surface->color = 0xFF336699u;
  sf_fill(surface, nullptr);
  ctl_window_update(w);
  EXPECT_EQ(log.events.back(), "event 11 200x120");  // painted inside the call
  EXPECT_EQ(shown(0, 0), 0x336699u);
  EXPECT_EQ(shown(199, 119), 0x336699u);
  // Only the rectangle asked for is repainted.
  surface->color = 0xFFFF0000u;
  sf_fill(surface, nullptr);
  const sf_rect left = {0, 0, 50, 120};
  ctl_window_update_rect(w, &left);
  EXPECT_EQ(shown(49, 60), 0xFF0000u);
  EXPECT_EQ(shown(50, 60), 0x336699u);
}

TEST_F(Win32, LoopsEndWithTheQuitMessage) {
  // Posted messages go through the procedure before the quit message ends ctl_main.
  w->onmouse = on_mouse;
  PostMessageW(w->hwnd, WM_MOUSEMOVE, 0, MAKELPARAM(3, 4));
  ctl_main_quit();
  ctl_main();
  EXPECT_EQ(log.events.back(), "mouse 4 0 3,4");
  // ctl_do_events counts the quit and leaves it pending, again and again.
  ctl_main_quit();
  EXPECT_EQ(ctl_do_events(), 1);
  EXPECT_EQ(ctl_do_events(), 1);
  ctl_main();  // takes it
  EXPECT_EQ(ctl_do_events(), 0);
  // The idle function runs on an empty queue until it posts the quit itself.
  static int idles = 0;
  idles = 0;
  ctl_main_onidle([]() -> int32_t {
    if (++idles == 3) ctl_main_quit();
    return 0;
  });
  EXPECT_EQ(idles, 3);
}

TEST_F(Win32, MouseMessagesReachTheCallbacks) {
  w->onmouse = on_mouse;
  struct {
    UINT message;
    WPARAM wparam;
    LPARAM lparam;
    const char* seen;
    int32_t held;
  } cases[] = {
      {WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(5, 7), "mouse 2 6 5,7", 1},
      {WM_MOUSEMOVE, MK_LBUTTON, MAKELPARAM(-5, -7), "mouse 4 0 -5,-7", 1},  // outside, captured
      {WM_LBUTTONUP, 0, MAKELPARAM(9, 8), "mouse 1 6 9,8", 0},
      {WM_RBUTTONDOWN, MK_RBUTTON, MAKELPARAM(1, 2), "mouse 2 7 1,2", 1},
      {WM_RBUTTONUP, 0, MAKELPARAM(1, 2), "mouse 1 7 1,2", 0},
      {WM_MBUTTONDOWN, MK_MBUTTON, MAKELPARAM(3, 3), "mouse 2 8 3,3", 1},
      {WM_MBUTTONUP, 0, MAKELPARAM(3, 3), "mouse 1 8 3,3", 0},
      {WM_MOUSEWHEEL, MAKEWPARAM(0, -240), MAKELPARAM(700, 400), "mouse 5 0 700,400", 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.seen);
    SendMessageW(w->hwnd, c.message, c.wparam, c.lparam);
    EXPECT_EQ(log.events.back(), c.seen);
    EXPECT_EQ(ctl_window_mouse_state(w, 0), c.held);
    EXPECT_EQ(GetCapture() == w->hwnd, c.held == 1);
  }
  EXPECT_EQ(w->wheel, -240);
  EXPECT_EQ(w->press_x, 3);
}

TEST_F(Win32, KeysAndTheCloseButton) {
  // Without onkey, Escape posts the quit message.
  PostMessageW(w->hwnd, WM_KEYDOWN, VK_ESCAPE, 1);
  EXPECT_EQ(ctl_do_events(), 1);
  ctl_main();
  // With onkey, the loop's TranslateMessage makes the character of a key press, and Escape is
  // a key like any other.
  // (TranslateMessage posts the character behind whatever waits already, so each key message
  // is drained before the next arrives, as typing does.)
  w->onkey = on_key;
  for (auto [message, key, lparam] : {std::tuple{WM_KEYDOWN, 'A', LPARAM(1)}, std::tuple{WM_KEYUP, 'A', LPARAM(0xC0000001)},
                                      std::tuple{WM_KEYDOWN, char(VK_ESCAPE), LPARAM(1)}}) {
    PostMessageW(w->hwnd, message, WPARAM(key), lparam);
    EXPECT_EQ(ctl_do_events(), 0);
  }
  const std::vector<std::string> want = {"key 2 65", "key 3 97", "key 1 65", "key 2 27", "key 3 27"};
  ASSERT_GE(log.events.size(), want.size());
  EXPECT_EQ(std::vector<std::string>(log.events.end() - long(want.size()), log.events.end()), want);
  // The close button without onkey: the quit message, CTL_CLOSE, and the default procedure
  // destroys the window.
  w->onkey = nullptr;
  PostMessageW(w->hwnd, WM_CLOSE, 0, 0);
  EXPECT_EQ(ctl_do_events(), 1);
  ctl_main();
  EXPECT_EQ(log.events.back(), "event 9 200x120");
  EXPECT_FALSE(IsWindow(w->hwnd));
}

TEST_F(Win32, StyleSwitchesKeepTheOuterSize) {
  ctl_window_caption(w, reinterpret_cast<const uint16_t*>(u"caption \u00e9"));
  wchar_t text[32] = {};
  GetWindowTextW(w->hwnd, text, 32);
  EXPECT_EQ(std::wstring(text), L"caption \u00e9");
  // Win32 keeps the outer size when the caption goes: the client area grows into it.
  const RECT before = outer();
  const int32_t height = ctl_window_height(w);
  ctl_window_header(w, 0);
  EXPECT_EQ(ctl_window_style_get(w, GWL_STYLE) & WS_CAPTION, 0);
  EXPECT_EQ(outer().bottom - outer().top, before.bottom - before.top);
  EXPECT_GT(ctl_window_height(w), height);
  EXPECT_EQ(surface->height, ctl_window_height(w));
  ctl_window_sizeable(w, 0);
  EXPECT_EQ(ctl_window_style_get(w, GWL_STYLE) & (WS_THICKFRAME | WS_MAXIMIZEBOX), 0);
  ctl_window_sizeable(w, 1);
  EXPECT_EQ(ctl_window_style_get(w, GWL_STYLE) & (WS_THICKFRAME | WS_MAXIMIZEBOX), WS_THICKFRAME | WS_MAXIMIZEBOX);
}

TEST_F(Win32, LayeredWindowsTakeThePixelsWithoutATrace) {
  ctl_window_layered(w, 1);
  EXPECT_NE(ctl_window_style_get(w, GWL_EXSTYLE) & WS_EX_LAYERED, 0);
  ctl_window_show(w);
  surface->color = 0x80402010u;
  sf_fill(surface, nullptr);
  qtest::Stdout out;
  ctl_window_update(w);  // UpdateLayeredWindow: a failure would print its line
  EXPECT_EQ(out.text(), "");
  ctl_window_layered(w, 0);
  EXPECT_EQ(ctl_window_style_get(w, GWL_EXSTYLE) & WS_EX_LAYERED, 0);
}

// A layered update hands UpdateLayeredWindow the client size as the window's size. A window
// without a frame keeps its size over any number of updates; one with a frame shrinks to its
// former client area, which is why a layered window goes without one.
// Wine limitation: it applies that new size without sending WM_SIZE, so there the surface keeps
// the old size; on Windows the size message remakes it at the new client size.
TEST_F(Win32, LayeredUpdatesGiveTheWindowTheSurfaceSize) {
  const bool wine = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
  ctl_window_layered(w, 1);
  ctl_window_show(w);
  ctl_window_update(w);
  EXPECT_EQ(outer().right - outer().left, 200);
  EXPECT_EQ(outer().bottom - outer().top, 120);
  EXPECT_LT(ctl_window_width(w), 200);
  if (!wine) EXPECT_EQ(surface->width, ctl_window_width(w));

  ctl_window_header(w, 0);
  ctl_window_sizeable(w, 0);
  ctl_window_move(w, 200, 120);
  for (int i = 0; i < 3; ++i) {
    surface->color = 0x80402010u;
    sf_fill(surface, nullptr);
    ctl_window_update(w);
    EXPECT_EQ(outer().right - outer().left, 200);
    EXPECT_EQ(outer().bottom - outer().top, 120);
    EXPECT_EQ(ctl_window_width(w), 200);
    EXPECT_EQ(ctl_window_height(w), 120);
    EXPECT_EQ(surface->width, 200);
    EXPECT_EQ(surface->height, 120);
  }
}

TEST_F(Win32, ReleaseDestroysTheWindow) {
  HWND hwnd = w->hwnd;
  ctl_window_release(&w);
  EXPECT_EQ(w, nullptr);
  EXPECT_FALSE(IsWindow(hwnd));
}

}  // namespace
