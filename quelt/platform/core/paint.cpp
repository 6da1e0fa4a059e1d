// Painting: the update region of a window (kept as its bounding box), WM_PAINT through
// RedrawWindow, BeginPaint and EndPaint, and the pixels of a layered window.
#include "core_p.h"

#include <algorithm>
#include <cstdint>

namespace quelt::platform {

void invalidate(Wnd* w, const RECT* rect, bool erase) {
  if (!w->visible || w->minimized) return;  // only what can be seen is ever painted
  RECT r = {0, 0, w->cw, w->ch};
  if (rect) {
    r.left = std::max(r.left, rect->left);
    r.top = std::max(r.top, rect->top);
    r.right = std::min(r.right, rect->right);
    r.bottom = std::min(r.bottom, rect->bottom);
  }
  if (r.left >= r.right || r.top >= r.bottom) return;
  if (w->dirty) {
    w->update.left = std::min(w->update.left, r.left);
    w->update.top = std::min(w->update.top, r.top);
    w->update.right = std::max(w->update.right, r.right);
    w->update.bottom = std::max(w->update.bottom, r.bottom);
  } else {
    w->update = r;
    w->dirty = true;
  }
  w->erase = w->erase || erase;
}

}  // namespace quelt::platform

using namespace quelt::platform;

BOOL InvalidateRect(HWND hwnd, const RECT* rect, BOOL erase) {
  Wnd* w = wnd_get(hwnd);
  if (!w) return FALSE;
  invalidate(w, rect, erase != 0);
  return TRUE;
}

BOOL RedrawWindow(HWND hwnd, const RECT* rect, HRGN, UINT flags) {
  Wnd* w = wnd_get(hwnd);
  if (!w) return FALSE;
  if (flags & RDW_INVALIDATE) invalidate(w, rect, (flags & RDW_ERASE) != 0);
  if ((flags & RDW_VALIDATE) && w->dirty) {
    // The update region is one rectangle: it goes when the validated part covers it.
    RECT all{0, 0, w->cw, w->ch};
    const RECT& v = rect ? *rect : all;
    if (v.left <= w->update.left && v.top <= w->update.top && v.right >= w->update.right &&
        v.bottom >= w->update.bottom)
      w->dirty = w->erase = false;
  }
  if ((flags & RDW_NOERASE) && w->dirty) w->erase = false;
  if ((flags & RDW_UPDATENOW) && w->dirty) SendMessageW(hwnd, WM_PAINT, 0, 0);
  return TRUE;
}

HDC BeginPaint(HWND hwnd, PAINTSTRUCT* paint) {
  Wnd* w = wnd_get(hwnd);
  if (!w || !paint) return nullptr;
  *paint = PAINTSTRUCT{};
  RECT r = w->dirty ? w->update : RECT{0, 0, 0, 0};
  bool erase = w->dirty && w->erase;
  w->dirty = w->erase = false;
  w->update = RECT{};
  HDC dc = GetDC(hwnd);
  if (!dc) return nullptr;
  dc_get(dc)->clip = r;
  paint->hdc = dc;
  paint->rcPaint = r;
  paint->fErase = erase;
  if (erase) paint->fErase = SendMessageW(hwnd, WM_ERASEBKGND, reinterpret_cast<WPARAM>(dc), 0) == 0;
  return dc;
}

BOOL EndPaint(HWND hwnd, const PAINTSTRUCT* paint) {
  if (paint) ReleaseDC(hwnd, paint->hdc);
  system_backend().flush();
  return TRUE;
}

BOOL UpdateLayeredWindow(HWND hwnd, HDC, POINT* dst_point, SIZE* size, HDC src, POINT* src_point,
                         COLORREF key, BLENDFUNCTION* blend, DWORD flags) {
  Wnd* w = wnd_get(hwnd);
  // Premultiplied per-pixel alpha at full strength, the one way the library layers a window;
  // colour keys and constant alpha are refused.
  if (!w || !(w->exstyle & WS_EX_LAYERED) || flags != ULW_ALPHA || !blend || blend->BlendOp != AC_SRC_OVER ||
      blend->SourceConstantAlpha != 255 || blend->AlphaFormat != AC_SRC_ALPHA)
    return FALSE;
  if (size && (size->cx <= 0 || size->cy <= 0)) return FALSE;
  // The window takes the place and the client size asked for.
  int x = dst_point ? dst_point->x : w->x;
  int y = dst_point ? dst_point->y : w->y;
  int cw = size ? size->cx : w->cw;
  int ch = size ? size->cy : w->ch;
  if (x != w->x || y != w->y || cw != w->cw || ch != w->ch) {
    SetWindowPos(hwnd, nullptr, x, y, cw + w->frame_left + w->frame_right,
                 ch + w->frame_top + w->frame_bottom, SWP_NOZORDER | SWP_NOACTIVATE);
    if (!(w = wnd_get(hwnd))) return FALSE;
  }
  if (!src) return TRUE;
  Dc* s = dc_get(src);
  Bitmap* b = s && s->type == DcType::memory ? bitmap_get(s->bitmap) : nullptr;
  if (!b) return FALSE;
  int sx = src_point ? src_point->x : 0;
  int sy = src_point ? src_point->y : 0;
  if (sx < 0 || sy < 0 || int64_t{sx} + cw > b->width || int64_t{sy} + ch > b->height) return FALSE;
  system_backend().present(w, b, sx, sy, 0, 0, std::min(cw, w->cw), std::min(ch, w->ch));
  return TRUE;
}
