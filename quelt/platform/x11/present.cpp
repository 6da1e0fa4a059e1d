// Pixels to windows on X11: a DIB section's memory as a MIT-SHM segment the server reads
// directly when it can, and present(), with XShmPutImage from such memory, XPutImage from any
// other, and a pixel-by-pixel conversion for visuals of other layouts.
#include "x11_p.h"

#include <sys/ipc.h>
#include <sys/shm.h>

#include <cstdlib>
#include <new>

namespace quelt::x11 {
namespace {

SharedBits* shared(const Bitmap* b) { return static_cast<SharedBits*>(b->native); }

// Attaches the bitmap's segment to the current connection, once per connection. A segment
// that the server can't attach (a display on another machine) turns shared memory off for the
// connection; the bitmap's memory then goes out through XPutImage.
bool attach(const Bitmap* b) {
  SharedBits* s = shared(b);
  if (!s || !conn.display || !conn.shm || ImageByteOrder(conn.display) != LSBFirst) return false;
  if (s->attached_epoch == conn.epoch) return s->attached;
  s->attached_epoch = conn.epoch;
  s->attached = false;
  s->segment.readOnly = True;
  errors_reset();
  if (!XShmAttach(conn.display, &s->segment)) return false;
  if (errors_sync() != 0) return false;
  s->attached = true;
  return true;
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
  XImage* image = XCreateImage(conn.display, native(w)->visual, static_cast<unsigned>(native(w)->depth), ZPixmap,
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
      unsigned long pixel = channel(p[2], native(w)->visual->red_mask) |
                            channel(p[1], native(w)->visual->green_mask) |
                            channel(p[0], native(w)->visual->blue_mask);
      XPutPixel(image, x, y, pixel);
    }
  }
  XPutImage(conn.display, native(w)->xwin, native(w)->gc, image, 0, 0, dx, dy, static_cast<unsigned>(width),
            static_cast<unsigned>(height));
  XDestroyImage(image);
}


}  // namespace

// Shared memory for a new bitmap, when a connection with MIT-SHM is open. The segment is
// marked for removal once the server has it, so that nothing outlives the process.
bool new_shared_bits(Bitmap* b, size_t bytes) {
  if (!conn.display || !conn.shm) return false;
  void* memory = std::malloc(sizeof(SharedBits));
  if (!memory) return false;
  int id = shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
  void* address = id < 0 ? reinterpret_cast<void*>(-1) : shmat(id, nullptr, 0);
  if (address == reinterpret_cast<void*>(-1)) {
    if (id >= 0) shmctl(id, IPC_RMID, nullptr);
    std::free(memory);
    return false;
  }
  auto* s = new (memory) SharedBits{};
  s->segment.shmid = id;
  s->segment.shmaddr = static_cast<char*>(address);
  b->native = s;
  b->bits = static_cast<uint8_t*>(address);
  bool ok = attach(b);
  shmctl(id, IPC_RMID, nullptr);
  if (!ok) {
    conn.shm = false;
    shmdt(address);
    std::free(memory);
    b->native = nullptr;
    b->bits = nullptr;
  }
  return ok;
}

void free_shared_bits(Bitmap* b) {
  SharedBits* s = shared(b);
  if (!s) return;
  if (s->attached && s->attached_epoch == conn.epoch && conn.display) {
    XShmDetach(conn.display, &s->segment);
    XSync(conn.display, False);
  }
  shmdt(b->bits);
  std::free(s);
  b->native = nullptr;
  b->bits = nullptr;
}

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

void present(Wnd* w, const Bitmap* b, int sx, int sy, int dx, int dy, int width, int height) {
  const uint8_t* bits = b->bits;
  const int stride_px = b->width, rows = b->height;
  Display* display = conn.display;
  if (!display || !xwin_of(w) || width <= 0 || height <= 0) return;
  if (native(w)->direct) {
    XImage image{};
    image.width = stride_px;
    image.height = rows;
    image.format = ZPixmap;
    image.data = reinterpret_cast<char*>(const_cast<uint8_t*>(bits));
    image.byte_order = LSBFirst;
    image.bitmap_unit = 32;
    image.bitmap_bit_order = LSBFirst;
    image.bitmap_pad = 32;
    image.depth = native(w)->depth;
    image.bytes_per_line = stride_px * 4;
    image.bits_per_pixel = 32;
    image.red_mask = 0xFF0000;
    image.green_mask = 0xFF00;
    image.blue_mask = 0xFF;
    XInitImage(&image);
    if (attach(b)) {
      image.obdata = reinterpret_cast<char*>(&shared(b)->segment);
      XShmPutImage(display, native(w)->xwin, native(w)->gc, &image, sx, sy, dx, dy, static_cast<unsigned>(width),
                   static_cast<unsigned>(height), False);
    } else {
      XPutImage(display, native(w)->xwin, native(w)->gc, &image, sx, sy, dx, dy, static_cast<unsigned>(width),
                static_cast<unsigned>(height));
    }
  } else {
    present_converted(w, bits, stride_px, sx, sy, dx, dy, width, height);
  }
  // The copy is done when the call returns, as a GDI blit is: the caller may draw at once.
  XSync(display, False);
}

}  // namespace quelt::x11
