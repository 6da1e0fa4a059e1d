// Placement and sizing of windows with the messages Win32 sends for them (WM_WINDOWPOSCHANGING,
// WM_GETMINMAXINFO, WM_WINDOWPOSCHANGED), showing and hiding, and the caption.
#include "core_p.h"

#include <algorithm>
#include <cstdint>

namespace quelt::platform {

void default_minmax(const Wnd* w, MINMAXINFO* info) {
  *info = MINMAXINFO{};
  int sw = 0, sh = 0;
  system_backend().screen_size(&sw, &sh);
  info->ptMaxSize = POINT{sw + w->frame_left + w->frame_right, sh + w->frame_top + w->frame_bottom};
  info->ptMaxPosition = POINT{-w->frame_left, -w->frame_top};
  info->ptMinTrackSize = POINT{w->frame_left + w->frame_right, w->frame_top + w->frame_bottom};
  info->ptMaxTrackSize = POINT{kMaxSize + w->frame_left + w->frame_right,
                               kMaxSize + w->frame_top + w->frame_bottom};
}

void send_pos_changed(HWND hwnd, UINT flags) {
  Wnd* w = wnd_get(hwnd);
  if (!w) return;
  WINDOWPOS pos{hwnd, nullptr, w->x, w->y, outer_width(w), outer_height(w), flags};
  SendMessageW(hwnd, WM_WINDOWPOSCHANGED, 0, reinterpret_cast<LPARAM>(&pos));
}

// Moves the window to the placement that WM_WINDOWPOSCHANGING settled on.
BOOL apply_pos(HWND hwnd, WINDOWPOS pos) {
  Wnd* w = wnd_get(hwnd);
  if (!w) return FALSE;
  auto inner = [](int outer, int a, int b) {
    return static_cast<int>(std::clamp<int64_t>(int64_t{outer} - a - b, 0, kMaxSize));
  };
  int cw = inner(pos.cx, w->frame_left, w->frame_right);
  int ch = inner(pos.cy, w->frame_top, w->frame_bottom);
  bool moved = !(pos.flags & SWP_NOMOVE) && (pos.x != w->x || pos.y != w->y);
  bool sized = !(pos.flags & SWP_NOSIZE) && (cw != w->cw || ch != w->ch);
  if (moved) {
    w->x = pos.x;
    w->y = pos.y;
  }
  if (sized) {
    w->cw = cw;
    w->ch = ch;
  }
  backend& system = system_backend();
  if (moved || sized) system.place(w);
  if (pos.flags & SWP_FRAMECHANGED) system.set_style(w);
  if ((pos.flags & SWP_SHOWWINDOW) && !w->visible) {
    w->visible = true;
    if (!w->minimized) system.show(w, !(pos.flags & SWP_NOACTIVATE));
  } else if ((pos.flags & SWP_HIDEWINDOW) && w->visible) {
    w->visible = false;
    w->dirty = w->erase = false;
    system.hide(w);
  }
  if (!moved) pos.flags |= kNoClientMove;
  if (!sized) pos.flags |= kNoClientSize;
  constexpr UINT kAnything = SWP_NOSIZE | SWP_NOMOVE | SWP_SHOWWINDOW | SWP_HIDEWINDOW |
                             SWP_FRAMECHANGED;
  if ((pos.flags & kAnything) != (SWP_NOSIZE | SWP_NOMOVE) || moved || sized)
    SendMessageW(hwnd, WM_WINDOWPOSCHANGED, 0, reinterpret_cast<LPARAM>(&pos));
  return TRUE;
}

// A window that the window manager minimised comes back: mapped again, with its size message.
void restore(HWND hwnd) {
  Wnd* w = wnd_get(hwnd);
  if (!w || !w->minimized) return;
  w->minimized = false;
  if (w->visible) system_backend().show(w, true);
  send_pos_changed(hwnd, SWP_NOZORDER | SWP_NOACTIVATE | SWP_NOMOVE | kNoClientMove);
}

}  // namespace quelt::platform

using namespace quelt::platform;

BOOL SetWindowPos(HWND hwnd, HWND after, int x, int y, int width, int height, UINT flags) {
  Wnd* w = wnd_get(hwnd);
  if (!w) return FALSE;
  WINDOWPOS pos{hwnd, after, x, y, std::max(0, width), std::max(0, height),
                flags & ~(kNoClientSize | kNoClientMove)};
  if (flags & SWP_NOMOVE) {
    pos.x = w->x;
    pos.y = w->y;
  }
  if (flags & SWP_NOSIZE) {
    pos.cx = outer_width(w);
    pos.cy = outer_height(w);
  }
  if (pos.x == w->x && pos.y == w->y) pos.flags |= SWP_NOMOVE;
  if (pos.cx == outer_width(w) && pos.cy == outer_height(w)) pos.flags |= SWP_NOSIZE;
  if (!(pos.flags & SWP_NOSENDCHANGING))
    SendMessageW(hwnd, WM_WINDOWPOSCHANGING, 0, reinterpret_cast<LPARAM>(&pos));
  return apply_pos(hwnd, pos);
}

BOOL MoveWindow(HWND hwnd, int x, int y, int width, int height, BOOL repaint) {
  return SetWindowPos(hwnd, nullptr, x, y, width, height,
                      SWP_NOZORDER | SWP_NOACTIVATE | (repaint ? 0 : SWP_NOREDRAW));
}

BOOL GetClientRect(HWND hwnd, RECT* rect) {
  Wnd* w = wnd_get(hwnd);
  if (!w || !rect) return FALSE;
  *rect = RECT{0, 0, client_width(w), client_height(w)};
  return TRUE;
}

BOOL GetWindowRect(HWND hwnd, RECT* rect) {
  Wnd* w = wnd_get(hwnd);
  if (!w || !rect) return FALSE;
  *rect = RECT{w->x, w->y, w->x + outer_width(w), w->y + outer_height(w)};
  return TRUE;
}

// The commands that show and hide; minimising and maximising are the window manager's (a
// window it minimises or maximises still gets its size messages), and are refused here.
BOOL ShowWindow(HWND hwnd, int command) {
  Wnd* w = wnd_get(hwnd);
  if (!w) return FALSE;
  BOOL was_visible = w->visible;
  constexpr UINT kKeep = SWP_NOSIZE | SWP_NOMOVE | SWP_NOZORDER;
  switch (command) {
    case SW_HIDE:
      if (!was_visible) return FALSE;
      SendMessageW(hwnd, WM_SHOWWINDOW, FALSE, 0);
      SetWindowPos(hwnd, nullptr, 0, 0, 0, 0, kKeep | SWP_NOACTIVATE | SWP_HIDEWINDOW);
      return was_visible;
    case SW_SHOWNORMAL:
    case SW_SHOW:
    case SW_SHOWNOACTIVATE:
    case SW_SHOWNA:
    case SW_RESTORE: break;
    default: return FALSE;
  }
  bool activate = command != SW_SHOWNOACTIVATE && command != SW_SHOWNA;
  if (!was_visible) {
    SendMessageW(hwnd, WM_SHOWWINDOW, TRUE, 0);
    if (!(w = wnd_get(hwnd))) return was_visible;
    if (command == SW_RESTORE || command == SW_SHOWNORMAL) w->minimized = false;
    SetWindowPos(hwnd, nullptr, 0, 0, 0, 0, kKeep | SWP_SHOWWINDOW | (activate ? 0 : SWP_NOACTIVATE));
  } else if (w->minimized && (command == SW_RESTORE || command == SW_SHOWNORMAL)) {
    restore(hwnd);
  }
  return was_visible;
}

BOOL SetWindowTextW(HWND hwnd, LPCWSTR text) {
  return SendMessageW(hwnd, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text)) != 0;
}
