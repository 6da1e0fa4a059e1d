// The default window procedure, and mouse capture.
#include "core_p.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace quelt::platform {
namespace {

HWND capture = nullptr;

}  // namespace

}  // namespace quelt::platform

using namespace quelt::platform;

HWND SetCapture(HWND hwnd) {
  Wnd* w = wnd_get(hwnd);
  if (!w) return nullptr;
  HWND previous = IsWindow(capture) ? capture : nullptr;
  capture = hwnd;
  system_backend().grab_pointer(w);
  if (previous && previous != hwnd)
    SendMessageW(previous, WM_CAPTURECHANGED, 0, reinterpret_cast<LPARAM>(hwnd));
  return previous;
}

BOOL ReleaseCapture(void) {
  HWND previous = capture;
  if (!previous) return TRUE;
  capture = nullptr;
  system_backend().ungrab_pointer();
  SendMessageW(previous, WM_CAPTURECHANGED, 0, 0);
  return TRUE;
}

HWND GetCapture(void) { return IsWindow(capture) ? capture : nullptr; }

LRESULT DefWindowProcW(HWND hwnd, UINT message, WPARAM wparam, LPARAM lparam) {
  Wnd* w = wnd_get(hwnd);
  if (!w) return 0;
  switch (message) {
    case WM_NCCREATE: {
      auto* create = reinterpret_cast<const CREATESTRUCTW*>(lparam);
      if (create && create->lpszName) DefWindowProcW(hwnd, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(create->lpszName));
      return TRUE;
    }
    case WM_SETTEXT: {
      auto text = reinterpret_cast<LPCWSTR>(lparam);
      size_t length = wide_length(text);
      auto* copy = static_cast<WCHAR*>(std::malloc((length + 1) * sizeof(WCHAR)));
      if (!copy) return FALSE;
      if (length) std::memcpy(copy, text, length * sizeof(WCHAR));
      copy[length] = 0;
      std::free(w->text);
      w->text = copy;
      system_backend().set_title(w);
      system_backend().flush();
      return TRUE;
    }
    case WM_CLOSE: DestroyWindow(hwnd); return 0;
    case WM_SYSCOMMAND:
      if ((wparam & 0xFFF0) == SC_CLOSE) SendMessageW(hwnd, WM_CLOSE, 0, 0);
      return 0;
    case WM_SYSKEYDOWN:
      if (wparam == VK_F4 && (lparam & (1 << 29))) SendMessageW(hwnd, WM_SYSCOMMAND, SC_CLOSE, 0);
      return 0;
    case WM_PAINT: {
      PAINTSTRUCT paint;
      if (BeginPaint(hwnd, &paint)) EndPaint(hwnd, &paint);
      return 0;
    }
    case WM_WINDOWPOSCHANGING: {
      auto* pos = reinterpret_cast<WINDOWPOS*>(lparam);
      if (!pos || (pos->flags & SWP_NOSIZE)) return 0;
      MINMAXINFO minmax;
      default_minmax(w, &minmax);
      SendMessageW(hwnd, WM_GETMINMAXINFO, 0, reinterpret_cast<LPARAM>(&minmax));
      pos->cx = std::clamp<int>(pos->cx, minmax.ptMinTrackSize.x, std::max(minmax.ptMinTrackSize.x, minmax.ptMaxTrackSize.x));
      pos->cy = std::clamp<int>(pos->cy, minmax.ptMinTrackSize.y, std::max(minmax.ptMinTrackSize.y, minmax.ptMaxTrackSize.y));
      return 0;
    }
    case WM_WINDOWPOSCHANGED: {
      auto* pos = reinterpret_cast<const WINDOWPOS*>(lparam);
      if (!pos) return 0;
      if (!(pos->flags & kNoClientMove))
        SendMessageW(hwnd, WM_MOVE, 0, pack(w->x + w->frame_left, w->y + w->frame_top));
      if (!(pos->flags & kNoClientSize) && (w = wnd_get(hwnd))) {
        WPARAM kind = w->minimized ? SIZE_MINIMIZED : SIZE_RESTORED;
        SendMessageW(hwnd, WM_SIZE, kind, pack(client_width(w), client_height(w)));
      }
      return 0;
    }
    default: return 0;
  }
}
