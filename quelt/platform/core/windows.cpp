// Window classes and the life of windows: registration, creation with the messages Win32 sends
// for it, destruction, SendMessageW, and the window longs and styles.
#include "core_p.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace quelt::platform {
namespace {

WindowClass* classes = nullptr;
ATOM next_atom = 0xC000;
Wnd* windows = nullptr;

WCHAR fold(WCHAR c) { return c >= 'a' && c <= 'z' ? static_cast<WCHAR>(c - 32) : c; }

// Class names compare without regard to ASCII case, as Win32's do; a name below 0x10000 is
// an atom.
WindowClass* find_class(LPCWSTR name) {
  auto value = reinterpret_cast<uintptr_t>(name);
  for (WindowClass* c = classes; c; c = c->next) {
    if (value < 0x10000) {
      if (c->atom == value) return c;
      continue;
    }
    size_t i = 0;
    while (c->name[i] && fold(c->name[i]) == fold(name[i])) ++i;
    if (c->name[i] == 0 && name[i] == 0) return c;
  }
  return nullptr;
}

}  // namespace

Wnd* wnd_get(HWND hwnd) { return static_cast<Wnd*>(handle_object(hwnd, Kind::window)); }

Wnd* wnd_first() { return windows; }

}  // namespace quelt::platform

using namespace quelt::platform;

ATOM RegisterClassW(const WNDCLASSW* wc) {
  if (!wc || !wc->lpfnWndProc || !wc->lpszClassName ||
      reinterpret_cast<uintptr_t>(wc->lpszClassName) < 0x10000 || find_class(wc->lpszClassName))
    return 0;
  size_t length = wide_length(wc->lpszClassName);
  auto* c = static_cast<WindowClass*>(std::malloc(sizeof(WindowClass) + length * sizeof(WCHAR)));
  if (!c) return 0;
  c->next = classes;
  c->atom = next_atom++;
  c->style = wc->style;
  c->proc = wc->lpfnWndProc;
  c->cursor = wc->hCursor;
  std::memcpy(c->name, wc->lpszClassName, (length + 1) * sizeof(WCHAR));
  classes = c;
  return c->atom;
}

HICON LoadIconW(HINSTANCE instance, LPCWSTR name) {
  auto id = reinterpret_cast<uintptr_t>(name);
  return !instance && id >= 32512 && id <= 32518 ? stock_icon() : nullptr;
}

HCURSOR LoadCursorW(HINSTANCE instance, LPCWSTR name) {
  // The arrow, the one cursor that windows of this layer show.
  return !instance && reinterpret_cast<uintptr_t>(name) == 32512 ? stock_cursor() : nullptr;
}

HWND CreateWindowExW(DWORD ex_style, LPCWSTR class_name, LPCWSTR title, DWORD style, int x, int y,
                     int width, int height, HWND parent, HMENU menu, HINSTANCE instance,
                     LPVOID param) {
  WindowClass* cls = class_name ? find_class(class_name) : nullptr;
  if (!cls || parent || (style & WS_CHILD)) return nullptr;  // top-level windows only
  void* memory = std::malloc(sizeof(Wnd));
  if (!memory) return nullptr;
  Wnd* w = new (memory) Wnd{};
  auto hwnd = static_cast<HWND>(handle_new(Kind::window, w));
  if (!hwnd) {
    std::free(w);
    return nullptr;
  }
  w->handle = hwnd;
  w->cls = cls;
  w->proc = cls->proc;
  w->style = style & ~static_cast<DWORD>(WS_VISIBLE | WS_MINIMIZE | WS_MAXIMIZE);
  w->exstyle = ex_style;
  w->x = x;
  w->y = y;
  w->cw = std::clamp(width, 0, kMaxSize);
  w->ch = std::clamp(height, 0, kMaxSize);
  backend& system = system_backend();
  if (!system.open() || !system.create(w)) {
    handle_drop(hwnd);
    std::free(w);
    system.close_if_idle();
    return nullptr;
  }
  w->next = windows;
  windows = w;
  // The messages of creation, as Win32 sends them.
  CREATESTRUCTW create{param, instance, menu, parent, height, width, y, x,
                       static_cast<LONG>(style), title, class_name, ex_style};
  MINMAXINFO minmax;
  default_minmax(w, &minmax);
  SendMessageW(hwnd, WM_GETMINMAXINFO, 0, reinterpret_cast<LPARAM>(&minmax));
  if (!IsWindow(hwnd)) return nullptr;
  if (!SendMessageW(hwnd, WM_NCCREATE, 0, reinterpret_cast<LPARAM>(&create)) ||
      SendMessageW(hwnd, WM_CREATE, 0, reinterpret_cast<LPARAM>(&create)) == -1) {
    DestroyWindow(hwnd);
    return nullptr;
  }
  if (!(w = wnd_get(hwnd))) return nullptr;
  SendMessageW(hwnd, WM_SIZE, SIZE_RESTORED, pack(w->cw, w->ch));
  if (!(w = wnd_get(hwnd))) return nullptr;
  SendMessageW(hwnd, WM_MOVE, 0, pack(w->x + w->frame_left, w->y + w->frame_top));
  if (style & WS_VISIBLE) ShowWindow(hwnd, SW_SHOW);
  return IsWindow(hwnd) ? hwnd : nullptr;
}

BOOL DestroyWindow(HWND hwnd) {
  Wnd* w = wnd_get(hwnd);
  if (!w || w->destroying) return FALSE;
  w->destroying = true;
  if (w->visible)
    SetWindowPos(hwnd, nullptr, 0, 0, 0, 0,
                 SWP_HIDEWINDOW | SWP_NOSIZE | SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
  if (GetCapture() == hwnd) ReleaseCapture();
  SendMessageW(hwnd, WM_DESTROY, 0, 0);
  SendMessageW(hwnd, WM_NCDESTROY, 0, 0);
  // Only DestroyWindow frees the record, and it refuses to run twice: `w` is still good.
  for (Wnd** p = &windows; *p; p = &(*p)->next)
    if (*p == w) {
      *p = w->next;
      break;
    }
  backend& system = system_backend();
  system.destroy(w);
  system.flush();
  queue_purge(hwnd);
  handle_drop(hwnd);
  std::free(w->text);
  w->~Wnd();
  std::free(w);
  system.close_if_idle();
  return TRUE;
}

BOOL IsWindow(HWND hwnd) { return wnd_get(hwnd) != nullptr; }

BOOL IsWindowVisible(HWND hwnd) {
  Wnd* w = wnd_get(hwnd);
  return w && w->visible;
}

LRESULT SendMessageW(HWND hwnd, UINT message, WPARAM wparam, LPARAM lparam) {
  Wnd* w = wnd_get(hwnd);
  return w && w->proc ? w->proc(hwnd, message, wparam, lparam) : 0;
}

LONG GetWindowLongW(HWND hwnd, int index) {
  Wnd* w = wnd_get(hwnd);
  if (!w) return 0;
  switch (index) {
    case GWL_STYLE:
      return static_cast<LONG>(w->style | (w->visible ? WS_VISIBLE : 0) |
                               (w->minimized ? WS_MINIMIZE : 0));
    case GWL_EXSTYLE: return static_cast<LONG>(w->exstyle);
    case GWLP_USERDATA: return static_cast<LONG>(w->userdata);
    default: return 0;
  }
}

LONG SetWindowLongW(HWND hwnd, int index, LONG value) {
  Wnd* w = wnd_get(hwnd);
  if (!w) return 0;
  if (index == GWLP_USERDATA) {
    auto old = static_cast<LONG>(w->userdata);
    w->userdata = value;
    return old;
  }
  if (index != GWL_STYLE && index != GWL_EXSTYLE) return 0;
  LONG old = GetWindowLongW(hwnd, index);
  STYLESTRUCT change{static_cast<DWORD>(old), static_cast<DWORD>(value)};
  SendMessageW(hwnd, WM_STYLECHANGING, static_cast<WPARAM>(index), reinterpret_cast<LPARAM>(&change));
  if (!(w = wnd_get(hwnd))) return 0;
  if (index == GWL_STYLE) {
    // The state bits follow ShowWindow, not the style word.
    w->style = change.styleNew & ~static_cast<DWORD>(WS_VISIBLE | WS_MINIMIZE | WS_MAXIMIZE);
    system_backend().set_style(w);
  } else {
    DWORD before = w->exstyle;
    w->exstyle = change.styleNew;
    // Layered or not decides what the native window is made on (per-pixel alpha or not), which
    // a native window keeps for life: it is made anew.
    if ((before ^ w->exstyle) & WS_EX_LAYERED) {
      backend& system = system_backend();
      bool grabbed = GetCapture() == hwnd;
      bool focused = w->has_focus;
      system.destroy(w);
      w->has_focus = false;
      if (system.create(w)) {
        if (w->visible && !w->minimized) system.show(w, focused);
        if (grabbed) system.grab_pointer(w);
      }
    }
  }
  system_backend().flush();
  SendMessageW(hwnd, WM_STYLECHANGED, static_cast<WPARAM>(index), reinterpret_cast<LPARAM>(&change));
  return old;
}

LONG_PTR GetWindowLongPtrW(HWND hwnd, int index) {
  Wnd* w = wnd_get(hwnd);
  if (!w) return 0;
  if (index == GWLP_USERDATA) return w->userdata;
  return GetWindowLongW(hwnd, index);
}

LONG_PTR SetWindowLongPtrW(HWND hwnd, int index, LONG_PTR value) {
  Wnd* w = wnd_get(hwnd);
  if (!w) return 0;
  if (index == GWLP_USERDATA) {
    LONG_PTR old = w->userdata;
    w->userdata = value;
    return old;
  }
  return SetWindowLongW(hwnd, index, static_cast<LONG>(value));
}
