// Device contexts, DIB sections, brushes and BitBlt of the X11 layer, and the one way pixels
// reach a window: present(), with MIT-SHM when it can and XPutImage otherwise.
#include "x11_p.h"

#include <sys/ipc.h>
#include <sys/shm.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace quelt::x11 {
namespace {

template <typename T>
T* make_object() {
  void* memory = std::malloc(sizeof(T));
  return memory ? new (memory) T{} : nullptr;
}

// Attaches the bitmap's segment to the current connection, once per connection. A segment
// that the server can't attach (a display on another machine) turns shared memory off for the
// connection; the bitmap's memory then goes out through XPutImage.
bool attach(Bitmap* b) {
  if (!b->shared || !conn.display || !conn.shm || ImageByteOrder(conn.display) != LSBFirst)
    return false;
  if (b->attached_epoch == conn.epoch) return b->attached;
  b->attached_epoch = conn.epoch;
  b->attached = false;
  b->segment.readOnly = True;
  errors_reset();
  if (!XShmAttach(conn.display, &b->segment)) return false;
  if (errors_sync() != 0) return false;
  b->attached = true;
  return true;
}

void detach(Bitmap* b) {
  if (b->attached && b->attached_epoch == conn.epoch && conn.display) {
    XShmDetach(conn.display, &b->segment);
    XSync(conn.display, False);
  }
  b->attached = false;
}

// Shared memory for a new bitmap, when a connection with MIT-SHM is open. The segment is
// marked for removal once the server has it, so that nothing outlives the process.
void try_shared(Bitmap* b, size_t bytes) {
  int id = shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
  if (id < 0) return;
  void* address = shmat(id, nullptr, 0);
  if (address == reinterpret_cast<void*>(-1)) {
    shmctl(id, IPC_RMID, nullptr);
    return;
  }
  b->shared = true;
  b->segment.shmid = id;
  b->segment.shmaddr = static_cast<char*>(address);
  b->bits = static_cast<uint8_t*>(address);
  bool ok = attach(b);
  shmctl(id, IPC_RMID, nullptr);
  if (!ok) {
    conn.shm = false;
    shmdt(address);
    b->shared = false;
    b->segment = {};
    b->bits = nullptr;
  }
}

void free_bitmap(Bitmap* b) {
  if (b->shared) {
    detach(b);
    shmdt(b->bits);
  } else {
    std::free(b->bits);
  }
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

// A visual whose pixels are 32-bit words 0x??RRGGBB takes the bitmap's bytes as they are.
int mask_shift(unsigned long mask) {
  int shift = 0;
  while (mask && !(mask & 1)) {
    mask >>= 1;
    ++shift;
  }
  return shift;
}

int mask_bits(unsigned long mask) {
  int bits = 0;
  for (; mask; mask >>= 1) bits += static_cast<int>(mask & 1);
  return bits;
}

unsigned long channel(unsigned value, unsigned long mask) {
  int bits = mask_bits(mask);
  if (bits == 0) return 0;
  unsigned long v = bits >= 8 ? static_cast<unsigned long>(value) << (bits - 8) : value >> (8 - bits);
  return (v << mask_shift(mask)) & mask;
}

// The slow way for visuals of other layouts: pixel by pixel through Xlib's own conversion.
void present_converted(Wnd* w, const uint8_t* bits, int stride_px, int sx, int sy, int dx, int dy,
                       int width, int height) {
  XImage* image = XCreateImage(conn.display, w->visual, static_cast<unsigned>(w->depth), ZPixmap,
                               0, nullptr, static_cast<unsigned>(width),
                               static_cast<unsigned>(height), 32, 0);
  if (!image) return;
  image->data = static_cast<char*>(
      std::malloc(static_cast<size_t>(image->bytes_per_line) * static_cast<size_t>(height)));
  if (!image->data) {
    XDestroyImage(image);
    return;
  }
  for (int y = 0; y < height; ++y) {
    const uint8_t* p = bits + (static_cast<size_t>(sy + y) * stride_px + sx) * 4;
    for (int x = 0; x < width; ++x, p += 4) {
      unsigned long pixel = channel(p[2], w->visual->red_mask) |
                            channel(p[1], w->visual->green_mask) |
                            channel(p[0], w->visual->blue_mask);
      XPutPixel(image, x, y, pixel);
    }
  }
  XPutImage(conn.display, w->xwin, w->gc, image, 0, 0, dx, dy, static_cast<unsigned>(width),
            static_cast<unsigned>(height));
  XDestroyImage(image);
}

}  // namespace

bool direct_visual(Visual* visual, int depth) {
  if (!conn.display || !visual || visual->c_class != TrueColor || visual->red_mask != 0xFF0000 ||
      visual->green_mask != 0xFF00 || visual->blue_mask != 0xFF)
    return false;
  int count = 0;
  bool direct = false;
  if (XPixmapFormatValues* formats = XListPixmapFormats(conn.display, &count)) {
    for (int i = 0; i < count; ++i)
      if (formats[i].depth == depth) direct = formats[i].bits_per_pixel == 32;
    XFree(formats);
  }
  return direct;
}

Dc* dc_get(HDC dc) { return static_cast<Dc*>(handle_object(dc, Kind::dc)); }

Bitmap* bitmap_get(HGDIOBJ bitmap) { return static_cast<Bitmap*>(handle_object(bitmap, Kind::bitmap)); }

void present(Wnd* w, const uint8_t* bits, int stride_px, int rows, Bitmap* shared, int sx, int sy,
             int dx, int dy, int width, int height) {
  Display* display = conn.display;
  if (!display || !w->xwin || width <= 0 || height <= 0) return;
  if (w->direct) {
    XImage image{};
    image.width = stride_px;
    image.height = rows;
    image.format = ZPixmap;
    image.data = reinterpret_cast<char*>(const_cast<uint8_t*>(bits));
    image.byte_order = LSBFirst;
    image.bitmap_unit = 32;
    image.bitmap_bit_order = LSBFirst;
    image.bitmap_pad = 32;
    image.depth = w->depth;
    image.bytes_per_line = stride_px * 4;
    image.bits_per_pixel = 32;
    image.red_mask = 0xFF0000;
    image.green_mask = 0xFF00;
    image.blue_mask = 0xFF;
    XInitImage(&image);
    if (shared && attach(shared)) {
      image.obdata = reinterpret_cast<char*>(&shared->segment);
      XShmPutImage(display, w->xwin, w->gc, &image, sx, sy, dx, dy, static_cast<unsigned>(width),
                   static_cast<unsigned>(height), False);
    } else {
      XPutImage(display, w->xwin, w->gc, &image, sx, sy, dx, dy, static_cast<unsigned>(width),
                static_cast<unsigned>(height));
    }
  } else {
    present_converted(w, bits, stride_px, sx, sy, dx, dy, width, height);
  }
  // The copy is done when the call returns, as a GDI blit is: the caller may draw at once.
  XSync(display, False);
}

}  // namespace quelt::x11

using namespace quelt::x11;

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
    dc->dpi = display_dpi();
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

int GetDeviceCaps(HDC dc, int index) {
  Dc* d = dc_get(dc);
  if (!d) return 0;
  switch (index) {
    case LOGPIXELSX:
    case LOGPIXELSY:
      if (d->dpi == 0) d->dpi = display_dpi();
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
  if (conn.display && conn.shm) try_shared(b, static_cast<size_t>(bytes));
  if (!b->bits) {
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
  present(w, from->bits, from->width, from->height, from, static_cast<int>(b.sx),
          static_cast<int>(b.sy), static_cast<int>(b.x), static_cast<int>(b.y),
          static_cast<int>(b.w), static_cast<int>(b.h));
  return TRUE;
}
