// The X11 platform layer on its own (built into this test): the screen's resolution, stale handles,
// DIB sections, keys, the messages of creation and sizing, plain (also at 16 bits) and layered updates.
#include "support.h"  // before Xlib, whose macros break GoogleTest

#include <quelt/platform/win32.h>
#include <quelt/platform/x11/x11_p.h>

#include <chrono>
#include <filesystem>

extern "C" const char* __lsan_default_suppressions() { return "leak:libX11.so\n"; }

using namespace quelt::x11;
using namespace quelt::platform;

namespace {

long open_files() { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); }

// A DIB section of the given header (a negative height is top-down); `bits` takes its pixels.
HBITMAP dib(LONG width, LONG height, WORD bit_count = 32, void** bits = nullptr) {
  BITMAPINFO info{{sizeof(BITMAPINFOHEADER), width, height, 1, bit_count, 0, 0, 0, 0, 0, 0}, {}};
  return CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, bits, nullptr, 0);
}

TEST(Screen, ResolutionComesFromXftDpi) {
  for (auto [resources, dpi] : {std::pair<const char*, int>{nullptr, 96}, {"", 96}, {"Xft.dpi:\t144\n", 144},
                                {"Xcursor.size: 24\nXft.dpi: 120.6\nXft.antialias: 1\n", 121},
                                {"Xft.dpi: lots\n", 96}, {"Xft.dpi: 0\n", 96}, {"Xft.dpi: -96\n", 96},
                                {"Xft.dpi: 1e308\n", 96}})
    EXPECT_EQ(dpi_from_resources(resources), dpi) << (resources ? resources : "null");
  Display* d = XOpenDisplay(nullptr);  // GetDC(NULL) reads the server's and closes its connection again
  if (!d) return;
  const int want = dpi_from_resources(XResourceManagerString(d)), width = DisplayWidth(d, DefaultScreen(d));
  XCloseDisplay(d);
  const long files = open_files();
  HDC dc = GetDC(nullptr);
  EXPECT_EQ(std::pair(GetDeviceCaps(dc, LOGPIXELSY), GetDeviceCaps(dc, HORZRES)), std::pair(want, width));
  ReleaseDC(nullptr, dc);
  EXPECT_EQ(open_files(), files);
}

TEST(Gdi, HandlesOfDeletedObjectsAreRefused) {
  HDC dc = CreateCompatibleDC(nullptr), other = CreateCompatibleDC(nullptr);
  HBITMAP bitmap = dib(5, -3);
  ASSERT_NE(bitmap, nullptr);
  HGDIOBJ first = SelectObject(dc, bitmap);  // the DC's own stock bitmap
  EXPECT_TRUE(GetObjectType(dc) == OBJ_MEMDC && GetObjectType(bitmap) == OBJ_BITMAP && GetObjectType(first) == OBJ_BITMAP);
  EXPECT_EQ(GetCurrentObject(dc, OBJ_BITMAP), bitmap);
  EXPECT_EQ(SelectObject(other, bitmap), nullptr);  // one DC at a time
  EXPECT_FALSE(DeleteObject(bitmap));               // still selected: refused
  EXPECT_TRUE(DeleteDC(dc) && GetObjectType(dc) == 0);
  HDC fresh = CreateCompatibleDC(nullptr);  // a stale handle never reaches a newer object
  EXPECT_TRUE(fresh != dc && GetObjectType(dc) == 0 && !DeleteDC(dc));
  EXPECT_TRUE(DeleteObject(bitmap) && !DeleteObject(bitmap));
  EXPECT_TRUE(DeleteObject(first) && GetObjectType(first) == OBJ_BITMAP);  // stock objects ignore deletion
  EXPECT_TRUE(DeleteDC(other) && DeleteDC(fresh));
  EXPECT_TRUE(!dib(4, 4) && !dib(4, 0) && !dib(4, -4, 24));  // DIB sections are top-down and 32-bit
  EXPECT_EQ(GetObjectType(nullptr) + GetObjectType(reinterpret_cast<HGDIOBJ>(uintptr_t{0x12345})), 0u);
}

// Virtual keys by keysym, and by the key's place for layouts whose keysyms are not Latin.
TEST(Keys, VirtualKeysByNameAndByPlace) {
  for (auto [keysym, vk] : {std::pair<uint32_t, UINT>{'q', 'Q'}, {'Z', 'Z'}, {'7', '7'}, {0xffb0, 0x60}, {0xffb9, 0x69}, {0xffbe, 0x70},
                            {0xffd5, 0x87}, {0xff1b, 0x1B}, {0xff51, 0x25}, {0xff0d, 0x0D}, {0x6c1, 0}})
    EXPECT_EQ(vk_of_keysym(keysym), vk) << keysym;
  for (auto [keycode, vk] : {std::pair<unsigned, UINT>{10, '1'}, {19, '0'}, {24, 'Q'}, {38, 'A'}, {52, 'Z'}, {9, 0}})
    EXPECT_EQ(vk_of_position(keycode), vk) << keycode;
  // A key's scan code and extended flag (lParam bits 16-24; key code = Linux code + 8), and what a keysym types.
  for (auto [keycode, bits] : {std::pair<unsigned, DWORD>{38, 0x1E0000}, {104, 0x11C0000}, {111, 0x1480000}, {117, 0x1510000}, {135, 0x15D0000}, {97, 0}})
    EXPECT_EQ(key_lparam_bits(keycode), bits) << keycode;
  for (auto [keysym, ucs] : {std::pair<uint32_t, uint32_t>{0xffb0, '0'}, {0xffb9, '9'}, {0xff8d, 0x0D}, {0x20ac, 0x20AC}, {0x110ffff, 0x10FFFF}, {0xff51, 0}})
    EXPECT_EQ(keysym_to_ucs(keysym), ucs) << keysym;
  // Typed UTF-8 as UTF-16: U+FFFD per byte of a surrogate or too large code, pairs beyond the BMP, no more than the room.
  for (auto [text, room, want] : {std::tuple<std::string, int, std::u16string>{"a\xC3\xA9", 4, u"a\u00e9"}, {"ab", 2, u"ab"},
                                  {"ab", 1, u"a"}, {"\xF0\x9F\x98\x80", 2, u"\U0001F600"}, {"\xF0\x9F\x98\x80", 1, u""},
                                  {"\xED\xA0\x80", 4, u"\uFFFD\uFFFD\uFFFD"}, {"\xED\x9F\xBF", 4, u"\uD7FF"},
                                  {"\xF4\x90\x80\x80", 4, u"\uFFFD\uFFFD\uFFFD\uFFFD"}, {"\xF4\x8F\xBF\xBF", 2, u"\U0010FFFF"}}) {
    uint16_t out[4];
    EXPECT_EQ(std::u16string(out, out + utf8_to_utf16(text.data(), int(text.size()), out, room)), want) << text;
  }
  // And back: a code point at each edge of the UTF-8 lengths takes its length and returns.
  for (auto [text, length] : {std::pair<std::u16string, size_t>{u"\u007F", 1}, {u"\u0080", 2}, {u"\u07FF", 2}, {u"\u0800", 3},
                              {u"\uFFFF", 3}, {u"\U00010000", 4}, {u"\U0010FFFF", 4}}) {
    const std::unique_ptr<char, void (*)(void*)> utf8(utf16_to_utf8(reinterpret_cast<const WCHAR*>(text.c_str())), std::free);
    uint16_t out[2];
    EXPECT_EQ(std::strlen(utf8.get()), length);
    EXPECT_EQ(std::u16string(out, out + utf8_to_utf16(utf8.get(), int(length), out, 2)), text);
  }
}

std::vector<UINT> seen;
bool limit_size = false;

LRESULT CALLBACK recording_proc(HWND hwnd, UINT message, WPARAM wparam, LPARAM lparam) {
  seen.push_back(message);
  if (message == WM_DESTROY) EXPECT_FALSE(DestroyWindow(hwnd));  // not again while it goes
  if (message != WM_GETMINMAXINFO || !limit_size) return DefWindowProcW(hwnd, message, wparam, lparam);
  auto* info = reinterpret_cast<MINMAXINFO*>(lparam);
  return info->ptMinTrackSize = POINT{50, 40}, info->ptMaxTrackSize = POINT{300, 200}, 0;
}

HWND make_window(DWORD ex_style) {
  static const WCHAR name[] = {'p', 'l', 'a', 't', 'f', 'o', 'r', 'm', 0};
  static const WNDCLASSW wc{.lpfnWndProc = recording_proc, .lpszClassName = name};
  static const bool registered = RegisterClassW(&wc) && !RegisterClassW(&wc);  // a second class of the name is refused
  EXPECT_TRUE(registered);
  return CreateWindowExW(ex_style, name, nullptr, WS_OVERLAPPEDWINDOW, 10, 20, 8, 8, nullptr, nullptr, nullptr, nullptr);
}

struct Windows : ::testing::Test {
  void SetUp() override {
    if (Display* d = XOpenDisplay(nullptr)) XCloseDisplay(d), seen.clear(), limit_size = false;
    else GTEST_SKIP() << "no X display";
  }
};

TEST_F(Windows, MessagesOfCreationSizingAndDestruction) {
  using Seen = std::vector<UINT>;
  auto messages = [](auto call) { seen.clear(); EXPECT_TRUE(call()); return seen; };
  HWND hwnd = nullptr;
  EXPECT_EQ(messages([&] { return hwnd = make_window(0); }), (Seen{WM_GETMINMAXINFO, WM_NCCREATE, WM_CREATE, WM_SIZE, WM_MOVE}));
  EXPECT_EQ(messages([&] { return MoveWindow(hwnd, 10, 20, 120, 90, TRUE); }),
            (Seen{WM_WINDOWPOSCHANGING, WM_GETMINMAXINFO, WM_WINDOWPOSCHANGED, WM_SIZE}));
  EXPECT_EQ(std::ranges::count(messages([&] { return MoveWindow(hwnd, 10, 20, 120, 90, TRUE); }), WM_SIZE), 0);  // the same: no size message
  limit_size = true;  // the limits that WM_GETMINMAXINFO returns bound the size
  RECT r{};
  EXPECT_TRUE(MoveWindow(hwnd, 0, 0, 1000, 10, TRUE) && GetClientRect(hwnd, &r) && r.right == 300 && r.bottom == 40);
  const Wnd framed{.frame_left = 1, .frame_top = 2, .frame_right = 3, .frame_bottom = 4};
  MINMAXINFO info;  // by default a window maximises to the whole screen, its frame outside it
  default_minmax(&framed, &info);
  EXPECT_EQ(std::tuple(info.ptMaxSize.x - GetSystemMetrics(SM_CXSCREEN), info.ptMaxSize.y - GetSystemMetrics(SM_CYSCREEN), info.ptMaxPosition.y), std::tuple(4, 6, -2));
  HWND other = make_window(0);  // unread moves merge into the newest of their own window only
  for (auto [h, at] : {std::pair{hwnd, 1}, {hwnd, 2}, {other, 3}}) queue_motion(MSG{h, WM_MOUSEMOVE, 0, at});
  std::vector<std::pair<HWND, LPARAM>> moves;
  for (MSG m; PeekMessageW(&m, nullptr, 0, 0, PM_REMOVE);) if (m.message == WM_MOUSEMOVE) moves.emplace_back(m.hwnd, m.lParam);
  EXPECT_EQ(moves, (std::vector<std::pair<HWND, LPARAM>>{{hwnd, 2}, {other, 3}}));
  DestroyWindow(other);
  if (!window_manager_running()) {  // a window manager announces itself on the root window: the test plays one
    XChangeProperty(conn.display, conn.root, conn.atom[kNetSupportingWmCheck], XInternAtom(conn.display, "WINDOW", False), 32, PropModeReplace, reinterpret_cast<unsigned char*>(&conn.root), 1);
    const bool announced = window_manager_running();
    XDeleteProperty(conn.display, conn.root, conn.atom[kNetSupportingWmCheck]);
    EXPECT_TRUE(announced && !window_manager_running());
  }
  EXPECT_EQ(messages([&] { return DestroyWindow(hwnd); }), (Seen{WM_DESTROY, WM_NCDESTROY}));
  EXPECT_FALSE(IsWindow(hwnd) || DestroyWindow(hwnd));  // a dead handle is harmless
}

// A plain window shows a DIB section's pixels as they are on a 24-bit server; a 16-bit one (the
// suite's second run) keeps the top 5, 6 and 5 bits of red, green and blue. Then the layered modes.
TEST_F(Windows, PlainAndLayeredUpdates) {
  HWND plain = make_window(0), hwnd = make_window(WS_EX_LAYERED);
  ASSERT_TRUE(plain && hwnd && MoveWindow(plain, 0, 0, 2, 2, TRUE));
  Wnd *p = wnd_get(plain), *w = wnd_get(hwnd);
  ShowWindow(plain, SW_SHOW), ShowWindow(hwnd, SW_SHOW);
  MSG m;  // the messages run until the server has mapped both
  for (auto end = std::chrono::steady_clock::now() + std::chrono::seconds(3); !(native(p)->mapped && native(w)->mapped) && std::chrono::steady_clock::now() < end;)
    PeekMessageW(&m, nullptr, 0, 0, PM_NOREMOVE);
  ASSERT_TRUE(native(p)->mapped && native(w)->mapped);
  Bitmap refused{};  // more shared memory than the system gives: refused, and later bitmaps still share
  EXPECT_TRUE(!new_shared_bits(&refused, SIZE_MAX) && conn.shm);
  uint32_t* bits = nullptr;
  HDC source = CreateCompatibleDC(nullptr), dc = GetDC(plain);  // a memory DC with a 3 × 2 bitmap
  HBITMAP bitmap = dib(3, -2, 32, reinterpret_cast<void**>(&bits));
  SelectObject(source, bitmap);
  std::ranges::copy(std::vector<uint32_t>{0, 0xFF8040, 0x081020, 0, 0x07030F, 0x102030}, bits);
  ASSERT_TRUE(BitBlt(dc, 0, 0, 2, 2, source, 1, 0, SRCCOPY));  // the source's right two columns
  XImage* image = XGetImage(conn.display, native(p)->xwin, 0, 0, 2, 2, AllPlanes, ZPixmap);
  ASSERT_TRUE(image);
  const unsigned long want[2][4] = {{0xFF8040, 0x081020, 0x07030F, 0x102030}, {0xFC08, 0x0884, 0x0001, 0x1106}};
  for (int i = 0; i < 4; ++i) EXPECT_EQ(XGetPixel(image, i % 2, i / 2), want[image->depth == 16][i]) << i;
  XDestroyImage(image), ReleaseDC(plain, dc);
  if (native(w)->depth != 32) GTEST_SKIP() << "no 32-bit visual";
  POINT at{0, 0}, outside{2, 0};
  SIZE size{2, 1};
  BLENDFUNCTION blend{AC_SRC_OVER, 0, 255, AC_SRC_ALPHA};
  EXPECT_FALSE(UpdateLayeredWindow(plain, nullptr, &at, &size, source, &at, 0, &blend, ULW_ALPHA));
  seen.clear();
  ASSERT_TRUE(UpdateLayeredWindow(hwnd, nullptr, &at, &size, source, &at, 0, &blend, ULW_ALPHA));
  EXPECT_FALSE(UpdateLayeredWindow(hwnd, nullptr, &at, &size, source, &at, 0, &blend, ULW_ALPHA | ULW_COLORKEY));  // not served,
  blend.SourceConstantAlpha = 128;  // nor constant alpha
  EXPECT_FALSE(UpdateLayeredWindow(hwnd, nullptr, &at, &size, source, &at, 0, &blend, ULW_ALPHA));
  // The window took the size and place asked for, with the messages of a move.
  EXPECT_EQ(std::count(seen.begin(), seen.end(), WM_SIZE), 1);
  RECT r{};
  EXPECT_TRUE(GetWindowRect(hwnd, &r) && r.left == 0 && r.right == 2);
  EXPECT_FALSE(UpdateLayeredWindow(hwnd, nullptr, &at, &size, source, &outside, 0, &blend, ULW_ALPHA));
  DeleteDC(source), DeleteObject(bitmap);
  DestroyWindow(hwnd), DestroyWindow(plain);
  EXPECT_EQ(conn.display, nullptr);  // the last window closed the connection
}

}  // namespace
