// Device contexts, DIB sections, brushes and BitBlt of the Win32 core. Pixels reach a window
// through the backend's present(), from memory the backend may have made for it.
#include "core_p.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace quelt::platform {
namespace {

template <typename T>
T* make_object() {
  void* memory = std::malloc(sizeof(T));
  return memory ? new (memory) T{} : nullptr;
}

void free_bitmap(Bitmap* b) {
  if (b->native)
    system_backend().free_bits(b);
  else
    std::free(b->bits);
  std::free(b);
}

// Clips a copy of w × h pixels from (sx, sy) of a source of sw × sh to (x, y) inside `dst`,
// moving both corners together. 64-bit, so that no position wraps.
struct Blit {
  int64_t x, y, w, h, sx, sy;
};

bool clip_blit(Blit& b, int sw, int sh, const RECT& dst) {
  auto cut = [](int64_t& pos, int64_t& other, int64_t& size, int64_t limit) {
    if (pos < limit) {
      size -= limit - pos;
      other += limit - pos;
      pos = limit;
    }
  };
  cut(b.sx, b.x, b.w, 0);
  cut(b.sy, b.y, b.h, 0);
  b.w = std::min<int64_t>(b.w, sw - b.sx);
  b.h = std::min<int64_t>(b.h, sh - b.sy);
  cut(b.x, b.sx, b.w, dst.left);
  cut(b.y, b.sy, b.h, dst.top);
  b.w = std::min<int64_t>(b.w, dst.right - b.x);
  b.h = std::min<int64_t>(b.h, dst.bottom - b.y);
  return b.w > 0 && b.h > 0;
}

}  // namespace

Dc* dc_get(HDC dc) { return static_cast<Dc*>(handle_object(dc, Kind::dc)); }

Bitmap* bitmap_get(HGDIOBJ bitmap) { return static_cast<Bitmap*>(handle_object(bitmap, Kind::bitmap)); }

}  // namespace quelt::platform

using namespace quelt::platform;

HDC GetDC(HWND window) {
  Dc* dc = make_object<Dc>();
  if (!dc) return nullptr;
  if (window) {
    Wnd* w = wnd_get(window);
    if (!w) {
      std::free(dc);
      return nullptr;
    }
    dc->type = DcType::window;
    dc->hwnd = window;
    dc->clip = RECT{0, 0, w->minimized ? 0 : w->cw, w->minimized ? 0 : w->ch};
  } else {
    dc->type = DcType::screen;
    dc->dpi = system_backend().resolution();
  }
  HDC handle = static_cast<HDC>(handle_new(Kind::dc, dc));
  if (!handle) std::free(dc);
  return handle;
}

int ReleaseDC(HWND window, HDC dc) {
  Dc* d = dc_get(dc);
  if (!d || d->type == DcType::memory) return 0;
  handle_drop(dc);
  std::free(d);
  return 1;
}

int GetSystemMetrics(int index) {
  int width = 0, height = 0;
  if (index == SM_CXSCREEN || index == SM_CYSCREEN) system_backend().screen_size(&width, &height);
  return index == SM_CXSCREEN ? width : index == SM_CYSCREEN ? height : 0;
}

int GetDeviceCaps(HDC dc, int index) {
  Dc* d = dc_get(dc);
  if (!d) return 0;
  switch (index) {
    case LOGPIXELSX:
    case LOGPIXELSY:
      if (d->dpi == 0) d->dpi = system_backend().resolution();
      return d->dpi;
    case HORZRES: return GetSystemMetrics(SM_CXSCREEN);
    case VERTRES: return GetSystemMetrics(SM_CYSCREEN);
    case BITSPIXEL: return 32;
    case PLANES: return 1;
    default: return 0;
  }
}

HDC CreateCompatibleDC(HDC) {
  Dc* dc = make_object<Dc>();
  if (!dc) return nullptr;
  dc->type = DcType::memory;
  dc->bitmap = stock_bitmap();
  HDC handle = static_cast<HDC>(handle_new(Kind::dc, dc));
  if (!handle) std::free(dc);
  return handle;
}

BOOL DeleteDC(HDC dc) {
  Dc* d = dc_get(dc);
  if (!d) return FALSE;
  // The selected bitmap is free again and may be deleted now.
  if (Bitmap* b = d->type == DcType::memory ? bitmap_get(d->bitmap) : nullptr)
    if (b->selected == dc) b->selected = nullptr;
  handle_drop(dc);
  std::free(d);
  return TRUE;
}

HBITMAP CreateDIBSection(HDC, const BITMAPINFO* info, UINT usage, void** bits, void* section,
                         DWORD offset) {
  if (bits) *bits = nullptr;
  if (!info || usage != DIB_RGB_COLORS || section || offset) return nullptr;
  const BITMAPINFOHEADER& h = info->bmiHeader;
  if (h.biSize < sizeof(BITMAPINFOHEADER) || h.biPlanes != 1 || h.biBitCount != 32 ||
      h.biCompression != BI_RGB || h.biWidth <= 0 || h.biHeight >= 0)
    return nullptr;
  int64_t height = -static_cast<int64_t>(h.biHeight);
  int64_t bytes = int64_t{h.biWidth} * height * 4;
  if (bytes > INT32_MAX) return nullptr;
  Bitmap* b = make_object<Bitmap>();
  if (!b) return nullptr;
  b->width = h.biWidth;
  b->height = static_cast<int>(height);
  if (!system_backend().new_bits(b, static_cast<size_t>(bytes))) {
    b->bits = static_cast<uint8_t*>(std::calloc(static_cast<size_t>(bytes), 1));
    if (!b->bits) {
      std::free(b);
      return nullptr;
    }
  }
  auto handle = static_cast<HBITMAP>(handle_new(Kind::bitmap, b));
  if (!handle) {
    free_bitmap(b);
    return nullptr;
  }
  if (bits) *bits = b->bits;
  return handle;
}

HGDIOBJ SelectObject(HDC dc, HGDIOBJ object) {
  Dc* d = dc_get(dc);
  if (!d || d->type != DcType::memory || handle_kind(object) != Kind::bitmap) return nullptr;
  Bitmap* b = bitmap_get(object);
  bool stock = object == stock_bitmap();
  if (!stock && b->selected && b->selected != dc) return nullptr;  // one DC at a time
  HGDIOBJ previous = d->bitmap;
  if (Bitmap* old = previous != stock_bitmap() ? bitmap_get(previous) : nullptr)
    old->selected = nullptr;
  d->bitmap = object;
  if (!stock) b->selected = dc;
  return previous;
}

DWORD GetObjectType(HGDIOBJ object) {
  switch (handle_kind(object)) {
    case Kind::dc: return dc_get(static_cast<HDC>(object))->type == DcType::memory ? OBJ_MEMDC : OBJ_DC;
    case Kind::bitmap: return OBJ_BITMAP;
    case Kind::brush: return OBJ_BRUSH;
    default: return 0;
  }
}

HGDIOBJ GetCurrentObject(HDC dc, UINT type) {
  Dc* d = dc_get(dc);
  if (!d || type != OBJ_BITMAP) return nullptr;
  return d->type == DcType::memory ? d->bitmap : stock_bitmap();
}

BOOL DeleteObject(HGDIOBJ object) {
  switch (handle_kind(object)) {
    case Kind::bitmap: {
      if (object == stock_bitmap()) return TRUE;
      Bitmap* b = bitmap_get(object);
      if (b->selected) return FALSE;  // still selected into a DC, as Win32 refuses it
      handle_drop(object);
      free_bitmap(b);
      return TRUE;
    }
    case Kind::brush: {
      void* brush = handle_object(object, Kind::brush);
      handle_drop(object);
      std::free(brush);
      return TRUE;
    }
    default: return FALSE;
  }
}

HBRUSH CreateBrushIndirect(const LOGBRUSH* brush) {
  if (!brush) return nullptr;
  auto* b = make_object<Brush>();
  if (!b) return nullptr;
  b->log = *brush;
  auto handle = static_cast<HBRUSH>(handle_new(Kind::brush, b));
  if (!handle) std::free(b);
  return handle;
}

BOOL BitBlt(HDC dst, int x, int y, int width, int height, HDC src, int src_x, int src_y, DWORD rop) {
  Dc* d = dc_get(dst);
  Dc* s = dc_get(src);
  if (!d || !s || rop != SRCCOPY || width < 0 || height < 0 || s->type != DcType::memory ||
      d->type != DcType::window)
    return FALSE;
  Bitmap* from = bitmap_get(s->bitmap);
  Wnd* w = wnd_get(d->hwnd);
  if (!from || !w) return FALSE;
  Blit b{x, y, width, height, src_x, src_y};
  RECT limit = d->clip;
  limit.right = std::min<LONG>(limit.right, w->minimized ? 0 : w->cw);
  limit.bottom = std::min<LONG>(limit.bottom, w->minimized ? 0 : w->ch);
  if (!clip_blit(b, from->width, from->height, limit)) return TRUE;
  system_backend().present(w, from, static_cast<int>(b.sx), static_cast<int>(b.sy), static_cast<int>(b.x),
                           static_cast<int>(b.y), static_cast<int>(b.w), static_cast<int>(b.h));
  return TRUE;
}
