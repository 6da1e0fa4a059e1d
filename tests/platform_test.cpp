// The X11 platform layer on its own (its sources are built into this test): the screen's
// resolution with and without a display, handles that outlive their objects, DIB sections, the
// messages of creation and sizing, and layered updates.
#include <gtest/gtest.h>

#ifdef _WIN32
TEST(X11, OnlyOnX11) { GTEST_SKIP() << "these tests drive an X server"; }
#else
#include <quelt/platform/win32.h>
#include <quelt/platform/x11/x11_p.h>

#include <dirent.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

extern "C" const char* __lsan_default_suppressions() { return "leak:libX11.so\n"; }

using namespace quelt::x11;

namespace {

int open_files() {
  int n = 0;
  if (DIR* d = opendir("/proc/self/fd")) {
    while (readdir(d)) ++n;
    closedir(d);
  }
  return n;
}

struct NoDisplay {
  std::string saved;
  bool had;
  NoDisplay() : had(std::getenv("DISPLAY") != nullptr) {
    if (had) saved = std::getenv("DISPLAY");
    unsetenv("DISPLAY");
  }
  ~NoDisplay() {
    if (had) setenv("DISPLAY", saved.c_str(), 1);
  }
};

bool have_display() {
  Display* d = XOpenDisplay(nullptr);
  if (d) XCloseDisplay(d);
  return d != nullptr;
}

BITMAPINFO header(LONG width, LONG height, WORD bits = 32) {
  BITMAPINFO info{};
  info.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
  info.bmiHeader.biWidth = width;
  info.bmiHeader.biHeight = height;
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = bits;
  return info;
}

// A memory DC with a fresh top-down bitmap of width × height selected.
struct MemoryDc {
  HDC dc = CreateCompatibleDC(nullptr);
  HBITMAP bitmap = nullptr;
  uint32_t* bits = nullptr;
  MemoryDc(int width, int height) {
    BITMAPINFO info = header(width, -height);
    void* p = nullptr;
    bitmap = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &p, nullptr, 0);
    bits = static_cast<uint32_t*>(p);
    SelectObject(dc, bitmap);
  }
  ~MemoryDc() {
    DeleteDC(dc);
    DeleteObject(bitmap);
  }
};

TEST(Screen, ResolutionWithoutDisplayIs96AndLeavesNothingOpen) {
  NoDisplay none;
  int files = open_files();
  for (int i = 0; i < 20; ++i) {
    HDC dc = GetDC(nullptr);
    ASSERT_NE(dc, nullptr);
    EXPECT_EQ(GetDeviceCaps(dc, LOGPIXELSX), 96);
    EXPECT_EQ(GetDeviceCaps(dc, LOGPIXELSY), 96);
    EXPECT_EQ(ReleaseDC(nullptr, dc), 1);
    EXPECT_EQ(GetObjectType(dc), 0u);
  }
  EXPECT_EQ(open_files(), files);
  EXPECT_EQ(GetSystemMetrics(SM_CXSCREEN), 0);
}

TEST(Screen, ResolutionComesFromXftDpi) {
  struct Case {
    const char* resources;
    int dpi;
  };
  const Case cases[] = {
      {nullptr, 96},
      {"", 96},
      {"Xft.dpi:\t144\n", 144},
      {"Xcursor.size: 24\nXft.dpi: 120.6\nXft.antialias: 1\n", 121},
      {"Xft.dpi: lots\n", 96},
      {"Xft.dpi: 0\n", 96},
      {"Xft.dpi: -96\n", 96},
      {"Xft.dpi: 1e308\n", 96},
  };
  for (const Case& c : cases) EXPECT_EQ(dpi_from_resources(c.resources), c.dpi) << (c.resources ? c.resources : "null");
  // With a display, GetDC(NULL) reads the server's resources and closes its connection again.
  Display* d = XOpenDisplay(nullptr);
  if (!d) return;
  int want = dpi_from_resources(XResourceManagerString(d));
  int width = DisplayWidth(d, DefaultScreen(d));
  XCloseDisplay(d);
  int files = open_files();
  HDC dc = GetDC(nullptr);
  EXPECT_EQ(GetDeviceCaps(dc, LOGPIXELSY), want);
  EXPECT_EQ(GetDeviceCaps(dc, HORZRES), width);
  ReleaseDC(nullptr, dc);
  EXPECT_EQ(open_files(), files);
}

TEST(Gdi, HandlesOfDeletedObjectsAreRefused) {
  HDC dc = CreateCompatibleDC(nullptr);
  ASSERT_EQ(GetObjectType(dc), static_cast<DWORD>(OBJ_MEMDC));
  BITMAPINFO info = header(5, -3);
  void* bits = nullptr;
  HBITMAP bitmap = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
  ASSERT_NE(bitmap, nullptr);
  EXPECT_EQ(GetObjectType(bitmap), static_cast<DWORD>(OBJ_BITMAP));
  HGDIOBJ first = SelectObject(dc, bitmap);
  EXPECT_EQ(GetObjectType(first), static_cast<DWORD>(OBJ_BITMAP));  // the DC's own stock bitmap
  EXPECT_EQ(GetCurrentObject(dc, OBJ_BITMAP), bitmap);
  HDC other = CreateCompatibleDC(nullptr);
  EXPECT_EQ(SelectObject(other, bitmap), nullptr);  // one DC at a time
  EXPECT_FALSE(DeleteObject(bitmap));               // still selected: refused
  EXPECT_TRUE(DeleteDC(dc));
  EXPECT_EQ(GetObjectType(dc), 0u);
  HDC fresh = CreateCompatibleDC(nullptr);
  EXPECT_NE(fresh, dc);
  EXPECT_EQ(GetObjectType(dc), 0u);  // a stale handle never reaches a newer object
  EXPECT_FALSE(DeleteDC(dc));
  EXPECT_TRUE(DeleteObject(bitmap));
  EXPECT_FALSE(DeleteObject(bitmap));
  EXPECT_TRUE(DeleteObject(first));  // stock objects ignore deletion
  EXPECT_EQ(GetObjectType(first), static_cast<DWORD>(OBJ_BITMAP));
  DeleteDC(other);
  DeleteDC(fresh);
  // DIB sections are top-down and 32-bit.
  BITMAPINFO upside_down = header(4, 4), deep = header(4, -4, 24);
  EXPECT_EQ(CreateDIBSection(nullptr, &upside_down, DIB_RGB_COLORS, nullptr, nullptr, 0), nullptr);
  EXPECT_EQ(CreateDIBSection(nullptr, &deep, DIB_RGB_COLORS, nullptr, nullptr, 0), nullptr);
  EXPECT_EQ(GetObjectType(nullptr), 0u);
  EXPECT_EQ(GetObjectType(reinterpret_cast<HGDIOBJ>(uintptr_t{0x12345})), 0u);
}

// ---- Windows of the layer --------------------------------------------------------------------

std::vector<UINT> seen;
MINMAXINFO limits_asked{};
bool limit_size = false;

LRESULT CALLBACK recording_proc(HWND hwnd, UINT message, WPARAM wparam, LPARAM lparam) {
  seen.push_back(message);
  if (message == WM_GETMINMAXINFO && limit_size) {
    auto* info = reinterpret_cast<MINMAXINFO*>(lparam);
    info->ptMinTrackSize = POINT{50, 40};
    info->ptMaxTrackSize = POINT{300, 200};
    return 0;
  }
  return DefWindowProcW(hwnd, message, wparam, lparam);
}

const WCHAR kClass[] = {'p', 'l', 'a', 't', 'f', 'o', 'r', 'm', 0};

HWND make_window(DWORD ex_style) {
  static bool registered = false;
  if (!registered) {
    WNDCLASSW wc{};
    wc.lpfnWndProc = recording_proc;
    wc.lpszClassName = kClass;
    registered = RegisterClassW(&wc) != 0;
    EXPECT_EQ(RegisterClassW(&wc), 0);  // a second class of the same name is refused
  }
  return CreateWindowExW(ex_style, kClass, nullptr, WS_OVERLAPPEDWINDOW, 10, 20, 0, 0, nullptr,
                         nullptr, nullptr, nullptr);
}

class Windows : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!have_display()) GTEST_SKIP() << "no X display";
    seen.clear();
    limit_size = false;
  }
};

TEST_F(Windows, MessagesOfCreationSizingAndDestruction) {
  HWND hwnd = make_window(0);
  ASSERT_NE(hwnd, nullptr);
  EXPECT_EQ(seen, (std::vector<UINT>{WM_GETMINMAXINFO, WM_NCCREATE, WM_CREATE, WM_SIZE, WM_MOVE}));
  seen.clear();
  EXPECT_TRUE(MoveWindow(hwnd, 10, 20, 120, 90, TRUE));
  EXPECT_EQ(seen, (std::vector<UINT>{WM_WINDOWPOSCHANGING, WM_GETMINMAXINFO, WM_WINDOWPOSCHANGED, WM_SIZE}));
  seen.clear();
  EXPECT_TRUE(MoveWindow(hwnd, 10, 20, 120, 90, TRUE));  // nothing changes: no size message
  EXPECT_EQ(std::count(seen.begin(), seen.end(), WM_SIZE), 0);
  // The limits that WM_GETMINMAXINFO returns bound the size.
  limit_size = true;
  MoveWindow(hwnd, 0, 0, 1000, 10, TRUE);
  RECT r{};
  GetClientRect(hwnd, &r);
  EXPECT_EQ(r.right, 300);
  EXPECT_EQ(r.bottom, 40);
  limit_size = false;
  seen.clear();
  EXPECT_TRUE(DestroyWindow(hwnd));
  EXPECT_EQ(seen, (std::vector<UINT>{WM_DESTROY, WM_NCDESTROY}));
  EXPECT_FALSE(IsWindow(hwnd));
  EXPECT_FALSE(DestroyWindow(hwnd));  // a dead handle is harmless
}

TEST_F(Windows, LayeredUpdateModes) {
  HWND plain = make_window(0);
  HWND hwnd = make_window(WS_EX_LAYERED);
  ASSERT_NE(hwnd, nullptr);
  MemoryDc source(2, 1);
  source.bits[0] = 0xFFC86432;  // opaque (200, 100, 50)
  source.bits[1] = 0x00102030;  // transparent, and the colour key below
  POINT at{0, 0};
  SIZE size{2, 1};
  BLENDFUNCTION blend{AC_SRC_OVER, 0, 128, AC_SRC_ALPHA};
  EXPECT_FALSE(UpdateLayeredWindow(plain, nullptr, &at, &size, source.dc, &at, 0, &blend, ULW_ALPHA));
  ShowWindow(hwnd, SW_SHOW);
  MSG m;
  Wnd* w = wnd_get(hwnd);
  ASSERT_NE(w, nullptr);
  auto end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
  while (!w->mapped && std::chrono::steady_clock::now() < end) PeekMessageW(&m, nullptr, 0, 0, PM_NOREMOVE);
  ASSERT_TRUE(w->mapped);
  if (w->depth != 32) GTEST_SKIP() << "no 32-bit visual";
  struct Case {
    BYTE constant;
    DWORD flags;
    uint32_t first, second;
  };
  const Case cases[] = {
      {255, ULW_ALPHA, 0xFFC86432, 0x00102030},
      {128, ULW_ALPHA, 0x80643219, 0x00081018},
      {255, ULW_OPAQUE, 0xFFC86432, 0xFF102030},
      {255, ULW_ALPHA | ULW_COLORKEY, 0xFFC86432, 0x00000000},
  };
  seen.clear();
  for (const Case& c : cases) {
    blend.SourceConstantAlpha = c.constant;
    ASSERT_TRUE(UpdateLayeredWindow(hwnd, nullptr, &at, &size, source.dc, &at, 0x302010, &blend, c.flags));
    XImage* image = XGetImage(conn.display, w->xwin, 0, 0, 2, 1, AllPlanes, ZPixmap);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(XGetPixel(image, 0, 0), c.first) << c.flags;
    EXPECT_EQ(XGetPixel(image, 1, 0), c.second) << c.flags;
    XDestroyImage(image);
  }
  // The window took the size and place asked for, with the messages of a move.
  EXPECT_EQ(std::count(seen.begin(), seen.end(), WM_SIZE), 1);
  RECT r{};
  GetWindowRect(hwnd, &r);
  EXPECT_EQ(r.left, 0);
  EXPECT_EQ(r.right, 2);
  POINT outside{1, 0};
  EXPECT_FALSE(UpdateLayeredWindow(hwnd, nullptr, &at, &size, source.dc, &outside, 0, &blend, ULW_ALPHA));
  DestroyWindow(hwnd);
  DestroyWindow(plain);
  EXPECT_EQ(conn.display, nullptr);  // the last window closed the connection
}

}  // namespace

#endif
