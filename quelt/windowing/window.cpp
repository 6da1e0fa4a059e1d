#include <quelt/windowing/window.h>

#include <quelt/base/trace.h>
#include <quelt/platform/win32.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// The atom of the registered class; 0 until the first successful registration. The class is
// never unregistered.
uint32_t already = 0;

// The interface takes UTF-16 as uint16_t; the platform's wide strings are the same units.
LPCWSTR wide(const uint16_t* text) { return reinterpret_cast<LPCWSTR>(text); }

// The signed coordinates of a mouse or size message, from the low 32 bits of lParam.
int32_t low_x(LPARAM lparam) { return static_cast<int16_t>(static_cast<uint32_t>(lparam) & 0xFFFF); }
int32_t high_y(LPARAM lparam) { return static_cast<int32_t>(static_cast<uint32_t>(lparam)) >> 16; }

// Both passes of the sizing: the asked size as the outer size first, then the asked size plus
// what the frame took of it. 64-bit sums, wrapped to 32 bits, so that no size overflows.
// (The edges are not called near and far: <windows.h> defines both as empty macros.)
int32_t grown(LONG low_edge, int32_t size, LONG high_edge) {
  return static_cast<int32_t>(int64_t{low_edge} + size - high_edge + size);
}

}  // namespace

extern "C" {

const uint16_t ctl_window_class[17] = {'c', 't', 'l', '_', 'w', 'i', 'n', 'd', 'o',
                                       'w', '_', 'c', 'l', 'a', 's', 's', 0};

int32_t ctl_window_create(ctl_window_rec** window) {
  auto* record = static_cast<ctl_window_rec*>(std::malloc(sizeof(ctl_window_rec)));
  *window = record;
  if (!record) return QUELT_FAILED("mallco");
  std::memset(record, 0, sizeof *record);
  // Until the window works, every way out frees the record and leaves *window null.
  struct Undo {
    ctl_window_rec** window;
    ~Undo() {
      if (!window) return;
      std::free(*window);
      *window = nullptr;
    }
  } undo{window};
  if (already == 0) {
    WNDCLASSW wc;
    std::memset(&wc, 0, sizeof wc);
    wc.style = 0;
    wc.lpfnWndProc = ctl_window_proc;
    wc.hIcon = LoadIconW(nullptr, MAKEINTRESOURCEW(32512));  // IDI_APPLICATION
    wc.hCursor = LoadCursorW(nullptr, MAKEINTRESOURCEW(32512));  // IDC_ARROW
    LOGBRUSH brush = {BS_NULL, 0, 0};  // the platform erases nothing
    wc.hbrBackground = CreateBrushIndirect(&brush);
    wc.lpszClassName = wide(ctl_window_class);
    already = RegisterClassW(&wc);
    if (already == 0) {
      if (wc.hbrBackground) DeleteObject(wc.hbrBackground);
      return QUELT_FAILED("RegisterClass");
    }
  }
  record->hwnd = CreateWindowExW(0, wide(ctl_window_class), nullptr, WS_OVERLAPPEDWINDOW, 0, 0, 0,
                                 0, nullptr, nullptr, nullptr, nullptr);
  if (!record->hwnd) return QUELT_FAILED("CreateWindowEx");
  SetWindowLongPtrW(record->hwnd, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(record));
  if (!ctl_layout_create(&record->layout)) {
    DestroyWindow(record->hwnd);
    // A layout block whose archive failed is released too, so nothing is left behind.
    if (record->layout) ctl_layout_release(&record->layout);
    return QUELT_FAILED("");
  }
  undo.window = nullptr;
  return 1;
}

sf_surface* ctl_window(ctl_window_rec** window, const uint16_t* caption, int32_t width,
                       int32_t height) {
  ctl_window_rec* record = nullptr;
  if (!ctl_window_create(&record)) return QUELT_FAILED(""), nullptr;
  *window = record;
  ctl_window_caption(record, caption);
  ctl_window_move(record, width, height);  // its size messages make the pixmap
  return &record->pixmap.surface;
}

void ctl_window_release(ctl_window_rec** window) {
  if (!window || !*window) return;
  ctl_window_rec* record = *window;
  record->onkey = nullptr;
  record->onmouse = nullptr;
  record->onevent = nullptr;  // onmessage stays: it sees the messages of the destruction
  ctl_pixmap_release(&record->pixmap);
  DestroyWindow(record->hwnd);
  ctl_layout_release(&record->layout);
  std::free(record);
  *window = nullptr;
}

void ctl_window_move(ctl_window_rec* window, int32_t width, int32_t height) {
  int32_t sh = GetSystemMetrics(SM_CYSCREEN), sw = GetSystemMetrics(SM_CXSCREEN);
  MoveWindow(window->hwnd, sw / 2 - width / 2, sh / 2 - height / 2, width, height, FALSE);
  RECT rc = {0, 0, 0, 0};
  GetClientRect(window->hwnd, &rc);
  int32_t ow = grown(rc.left, width, rc.right);
  int32_t oh = grown(rc.top, height, rc.bottom);
  sh = GetSystemMetrics(SM_CYSCREEN);
  sw = GetSystemMetrics(SM_CXSCREEN);
  MoveWindow(window->hwnd, sw / 2 - ow / 2, sh / 2 - oh / 2, ow, oh, TRUE);
}

void ctl_window_movc(ctl_window_rec* window, int32_t width, int32_t height, int32_t x, int32_t y) {
  MoveWindow(window->hwnd, x, y, width, height, FALSE);
  RECT rc = {0, 0, 0, 0};
  GetClientRect(window->hwnd, &rc);
  MoveWindow(window->hwnd, x, y, grown(rc.left, width, rc.right), grown(rc.top, height, rc.bottom),
             TRUE);
}

void ctl_window_show(ctl_window_rec* window) { ShowWindow(window->hwnd, SW_RESTORE); }

void ctl_window_hide(ctl_window_rec* window) { ShowWindow(window->hwnd, SW_HIDE); }

void ctl_window_caption(ctl_window_rec* window, const uint16_t* caption) {
  SetWindowTextW(window->hwnd, wide(caption));
}

void ctl_window_update(ctl_window_rec* window) {
  if (!(GetWindowLongW(window->hwnd, GWL_EXSTYLE) & WS_EX_LAYERED)) {
    RedrawWindow(window->hwnd, nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW);
    return;
  }
  BLENDFUNCTION blend = {AC_SRC_OVER, 0, 255, AC_SRC_ALPHA};
  RECT rc = {0, 0, 0, 0};
  GetWindowRect(window->hwnd, &rc);
  POINT destination = {rc.left, rc.top};
  SIZE size = {ctl_window_width(window), ctl_window_height(window)};
  POINT source = {0, 0};
  if (size.cx == 0 || size.cy == 0) return;
  if (!UpdateLayeredWindow(window->hwnd, nullptr, &destination, &size, window->pixmap.dc, &source,
                           0xFFFFFFFF, &blend, ULW_ALPHA)) {
    std::puts("fail to update layered window");
    std::fflush(stdout);
  }
}

void ctl_window_update_rect(ctl_window_rec* window, const sf_rect* rect) {
  RECT area = {0, 0, 0, 0};
  if (rect) area = RECT{rect->left, rect->top, rect->right, rect->bottom};
  RedrawWindow(window->hwnd, rect ? &area : nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW);
}

int32_t ctl_window_width(ctl_window_rec* window) {
  RECT rc = {0, 0, 0, 0};
  GetClientRect(window->hwnd, &rc);
  return rc.right - rc.left;
}

int32_t ctl_window_height(ctl_window_rec* window) {
  RECT rc = {0, 0, 0, 0};
  GetClientRect(window->hwnd, &rc);
  return rc.bottom - rc.top;
}

int32_t ctl_window_style_get(ctl_window_rec* window, int32_t index) {
  return GetWindowLongW(window->hwnd, index);
}

void ctl_window_style_set(ctl_window_rec* window, int32_t index, int32_t value) {
  SetWindowLongW(window->hwnd, index, value);
  SetWindowPos(window->hwnd, nullptr, 0, 0, 0, 0,
               SWP_NOSIZE | SWP_NOMOVE | SWP_NOZORDER | SWP_FRAMECHANGED);
}

void ctl_window_sizeable(ctl_window_rec* window, int32_t on) {
  uint32_t style = static_cast<uint32_t>(ctl_window_style_get(window, GWL_STYLE));
  style = on ? style | 0x50000u : style & ~0x50000u;
  ctl_window_style_set(window, GWL_STYLE, static_cast<int32_t>(style));
}

void ctl_window_header(ctl_window_rec* window, int32_t on) {
  uint32_t style = static_cast<uint32_t>(ctl_window_style_get(window, GWL_STYLE));
  if (on)
    style |= 0xC00000u;
  else if (style & 0xC00000u)
    style ^= 0xC00000u;  // both bits flip: a lone WS_BORDER becomes a lone WS_DLGFRAME
  ctl_window_style_set(window, GWL_STYLE, static_cast<int32_t>(style));
}

void ctl_window_layered(ctl_window_rec* window, int32_t on) {
  uint32_t style = static_cast<uint32_t>(ctl_window_style_get(window, GWL_EXSTYLE));
  style = on ? style | 0x80000u : style & ~0x80000u;
  ctl_window_style_set(window, GWL_EXSTYLE, static_cast<int32_t>(style));
}

int32_t ctl_window_mouse_state(ctl_window_rec* window, int32_t button) {
  switch (button) {
    case CTL_LEFT: return window->left_down;
    case CTL_RIGHT: return window->right_down;
    case CTL_MIDDLE: return window->middle_down;
    default: return window->left_down | window->right_down | window->middle_down;
  }
}

LRESULT QUELT_WNDPROC_CALL ctl_window_proc(HWND hwnd, UINT message, WPARAM wparam, LPARAM lparam) {
  auto* record = reinterpret_cast<ctl_window_rec*>(GetWindowLongPtrW(hwnd, GWLP_USERDATA));
  if (!record) return DefWindowProcW(hwnd, message, wparam, lparam);
  int32_t x = low_x(lparam), y = high_y(lparam);

  // The pixmap follows the client size exactly, made anew on every size message.
  if (message == WM_SIZE) {
    ctl_pixmap_release(&record->pixmap);
    if (x != 0 && y != 0) ctl_pixmap_create(&record->pixmap, x, y);
  }

  if (ctl_message_proc onmessage = record->onmessage) onmessage(record, message, wparam, lparam);

  if (ctl_mouse_proc onmouse = record->onmouse) {
    // The three buttons' messages come in threes (down, up, double click) from WM_LBUTTONDOWN:
    // left, right, middle.
    struct Button {
      int32_t code;
      int8_t ctl_window_rec::*held;
    };
    static constexpr Button buttons[] = {{CTL_LEFT, &ctl_window_rec::left_down},
                                         {CTL_RIGHT, &ctl_window_rec::right_down},
                                         {CTL_MIDDLE, &ctl_window_rec::middle_down}};
    switch (message) {
      case WM_MOUSEMOVE: onmouse(record, CTL_MOVE, 0, x, y); break;
      case WM_LBUTTONDOWN:
      case WM_RBUTTONDOWN:
      case WM_MBUTTONDOWN: {
        const Button& b = buttons[(message - WM_LBUTTONDOWN) / 3];
        record->press_x = x;
        record->press_y = y;
        SetCapture(hwnd);
        record->*b.held = 1;
        onmouse(record, CTL_DOWN, b.code, x, y);
        break;
      }
      case WM_LBUTTONUP:
      case WM_RBUTTONUP:
      case WM_MBUTTONUP: {
        const Button& b = buttons[(message - WM_LBUTTONUP) / 3];
        ReleaseCapture();
        record->*b.held = 0;
        onmouse(record, CTL_UP, b.code, x, y);
        break;
      }
      case WM_MOUSEWHEEL:
        record->wheel = static_cast<int32_t>(static_cast<uint32_t>(wparam)) >> 16;
        onmouse(record, CTL_WHEEL, 0, x, y);
        break;
      default: break;
    }
  }

  if (ctl_key_proc onkey = record->onkey) {
    auto key = static_cast<uint32_t>(wparam);
    switch (message) {
      case WM_KEYUP: onkey(record, CTL_UP, key); break;
      case WM_KEYDOWN: onkey(record, CTL_DOWN, key); break;
      case WM_CHAR: onkey(record, CTL_CHAR, key); break;
      default: break;
    }
  } else if (message == WM_CLOSE || (message == WM_KEYDOWN && wparam == VK_ESCAPE)) {
    PostQuitMessage(0);
  }

  if (ctl_event_proc onevent = record->onevent) {
    switch (message) {
      case WM_CLOSE: onevent(record, CTL_CLOSE); break;
      case WM_PAINT: onevent(record, CTL_PAINT); break;
      case WM_SIZE: onevent(record, CTL_SIZE); break;
      default: break;
    }
  }

  if (HDC source = record->pixmap.dc) {
    switch (message) {
      case WM_ERASEBKGND: InvalidateRect(hwnd, nullptr, FALSE); break;
      case WM_PAINT: {
        // Only the part asked for, at the same place in the surface and in the window.
        PAINTSTRUCT paint;
        HDC dc = BeginPaint(hwnd, &paint);
        const RECT& r = paint.rcPaint;
        BitBlt(dc, r.left, r.top, r.right - r.left, r.bottom - r.top, source, r.left, r.top, SRCCOPY);
        EndPaint(hwnd, &paint);
        break;
      }
      case WM_GETMINMAXINFO: return 0;
      default: break;
    }
  }

  return DefWindowProcW(hwnd, message, wparam, lparam);
}

}  // extern "C"
