// Pixels on Wayland: each window has up to four wl_shm buffers in shared memory of the size
// of the whole surface (frame and client area, device pixels). A present copies its rectangle
// into the compose buffer, which is never one the compositor holds, and commits it with the
// damage of that rectangle only. While the compositor has not yet asked for the next frame,
// presents collect in the compose buffer and go with the frame callback: the message loop never
// waits for the compositor, and no frame is drawn that nobody can see.
#include "wayland_p.h"

#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>

namespace quelt::wl {
namespace {

bool empty(const RECT& r) { return r.left >= r.right || r.top >= r.bottom; }

void unite(RECT& into, const RECT& r) {
  if (empty(r)) return;
  if (empty(into)) {
    into = r;
    return;
  }
  into.left = std::min(into.left, r.left);
  into.top = std::min(into.top, r.top);
  into.right = std::max(into.right, r.right);
  into.bottom = std::max(into.bottom, r.bottom);
}

void buffer_release(void* data, wl_buffer*) { static_cast<Buffer*>(data)->busy = false; }
const wl_buffer_listener buffer_listener = {buffer_release};

void drop_buffer(Buffer& b) {
  if (b.buffer) wl_buffer_destroy(b.buffer);
  if (b.data) munmap(b.data, b.bytes);
  b = Buffer{};
}

bool make_buffer(Buffer& b, int width, int height, bool alpha) {
  drop_buffer(b);
  const size_t stride = static_cast<size_t>(width) * 4;
  const size_t bytes = stride * static_cast<size_t>(height);
  if (bytes == 0 || bytes > 0x7FFFFFFF) return false;
  int fd = memfd_create("quelt-surface", MFD_CLOEXEC);
  if (fd < 0) return false;
  void* data = MAP_FAILED;
  if (ftruncate(fd, static_cast<off_t>(bytes)) == 0)
    data = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (data == MAP_FAILED) {
    close(fd);
    return false;
  }
  wl_shm_pool* pool = wl_shm_create_pool(conn.shm, fd, static_cast<int32_t>(bytes));
  close(fd);
  b.buffer = wl_shm_pool_create_buffer(pool, 0, width, height, static_cast<int32_t>(stride),
                                       alpha ? WL_SHM_FORMAT_ARGB8888 : WL_SHM_FORMAT_XRGB8888);
  wl_shm_pool_destroy(pool);
  b.data = static_cast<uint8_t*>(data);
  b.bytes = bytes;
  b.width = width;
  b.height = height;
  b.stale = RECT{0, 0, width, height};
  if (!b.buffer) {
    drop_buffer(b);
    return false;
  }
  wl_proxy_set_queue(reinterpret_cast<wl_proxy*>(b.buffer), conn.frames);
  wl_buffer_add_listener(b.buffer, &buffer_listener, &b);
  return true;
}

// Waits, up to a second, for the compositor to give a buffer back. Only buffer releases and
// frame callbacks are dispatched meanwhile; other events stay queued for the message loop.
void wait_for_release(Native* n) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(1);
  auto any_free = [n] {
    for (int i = 0; i < kBuffers; ++i)
      if (i != n->newest && !n->buffers[i].busy) return true;
    return false;
  };
  while (!any_free()) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    if (left.count() <= 0) return;
    if (wl_display_prepare_read_queue(conn.display, conn.frames) != 0) {
      wl_display_dispatch_queue_pending(conn.display, conn.frames);
      continue;
    }
    wl_display_flush(conn.display);
    pollfd p{wl_display_get_fd(conn.display), POLLIN, 0};
    if (poll(&p, 1, static_cast<int>(left.count())) > 0) {
      if (wl_display_read_events(conn.display) < 0) return;
    } else {
      wl_display_cancel_read(conn.display);
    }
    wl_display_dispatch_queue_pending(conn.display, conn.frames);
  }
}

// The size of the window's buffers: a whole-number buffer scale needs whole logical pixels, a
// viewport takes any size.
void buffer_size(const Wnd* w, int* width, int* height) {
  const Native* n = native(w);
  const int s = n->viewport ? 1 : n->scale / kScaleUnit;
  *width = std::max(1, (outer_width(w) + s - 1) / s * s);
  *height = std::max(1, (outer_height(w) + s - 1) / s * s);
}

// The compose buffer of the window's current size, up to date with the newest buffer; -1 when
// none can be had.
int compose_buffer(Wnd* w) {
  Native* n = native(w);
  int width = 0, height = 0;
  buffer_size(w, &width, &height);
  if (n->compose >= 0) {
    const Buffer& b = n->buffers[n->compose];
    if (b.width == width && b.height == height) return n->compose;
    n->compose = -1;
  }
  int pick = -1;
  for (int pass = 0; pass < 2 && pick < 0; ++pass) {
    for (int i = 0; i < kBuffers && pick < 0; ++i) {
      const Buffer& b = n->buffers[i];
      if (i == n->newest || b.busy) continue;
      // A buffer of the right size first, then any free one to be made anew.
      if (pass == 1 || (b.buffer && b.width == width && b.height == height)) pick = i;
    }
    if (pick < 0 && pass == 1) {
      wait_for_release(n);
      for (int i = 0; i < kBuffers && pick < 0; ++i)
        if (i != n->newest && !n->buffers[i].busy) pick = i;
    }
  }
  if (pick < 0) return -1;
  Buffer& b = n->buffers[pick];
  if ((!b.buffer || b.width != width || b.height != height) && !make_buffer(b, width, height, n->layered))
    return -1;
  // What changed in the newest buffer since this one was current comes across from it.
  if (n->newest >= 0 && !empty(b.stale)) {
    const Buffer& from = n->buffers[n->newest];
    RECT r = b.stale;
    r.right = std::min({r.right, from.width, b.width});
    r.bottom = std::min({r.bottom, from.height, b.height});
    for (int y = r.top; y < r.bottom; ++y)
      if (r.left < r.right)
        std::memcpy(b.data + (static_cast<size_t>(y) * b.width + r.left) * 4,
                    from.data + (static_cast<size_t>(y) * from.width + r.left) * 4,
                    static_cast<size_t>(r.right - r.left) * 4);
  }
  b.stale = RECT{};
  n->compose = pick;
  n->damage = RECT{};
  return pick;
}

void frame_done(void* data, wl_callback* callback, uint32_t) {
  wl_callback_destroy(callback);
  Wnd* w = wnd_get(static_cast<HWND>(data));
  if (!w || !native(w) || native(w)->frame != callback) return;
  native(w)->frame = nullptr;
  commit_if_ready(w);
}
const wl_callback_listener frame_listener = {frame_done};

}  // namespace

Buffer* compose(Wnd* w) {
  const int i = native(w) ? compose_buffer(w) : -1;
  return i < 0 ? nullptr : &native(w)->buffers[i];
}

void damage(Wnd* w, RECT r) { unite(native(w)->damage, r); }

void present(Wnd* w, const Bitmap* b, int sx, int sy, int dx, int dy, int width, int height) {
  Native* n = native(w);
  int i = n ? compose_buffer(w) : -1;
  if (i < 0 || !b->bits) return;
  Buffer& t = n->buffers[i];
  const int x = w->frame_left + dx, y = w->frame_top + dy;
  width = std::min(width, t.width - x);
  height = std::min(height, t.height - y);
  if (width <= 0 || height <= 0 || x < 0 || y < 0) return;
  for (int row = 0; row < height; ++row)
    std::memcpy(t.data + (static_cast<size_t>(y + row) * t.width + x) * 4,
                b->bits + (static_cast<size_t>(sy + row) * b->width + sx) * 4, static_cast<size_t>(width) * 4);
  damage(w, RECT{x, y, x + width, y + height});
  commit_if_ready(w);
}

void commit_if_ready(Wnd* w) {
  Native* n = native(w);
  if (!n || !n->configured || !n->toplevel || n->frame || n->compose < 0 || empty(n->damage)) return;
  Buffer& b = n->buffers[n->compose];
  // One of a size the window had before a change of scale waits for the paint of the new size.
  int width = 0, height = 0;
  buffer_size(w, &width, &height);
  if (b.width != width || b.height != height) return;
  wl_surface_attach(n->surface, b.buffer, 0, 0);
  if (n->viewport)
    wp_viewport_set_destination(n->viewport, unscaled(b.width, n->scale), unscaled(b.height, n->scale));
  else
    wl_surface_set_buffer_scale(n->surface, n->scale / kScaleUnit);
  const RECT& d = n->damage;
  if (wl_proxy_get_version(reinterpret_cast<wl_proxy*>(n->surface)) >= 4)
    wl_surface_damage_buffer(n->surface, d.left, d.top, d.right - d.left, d.bottom - d.top);
  else
    wl_surface_damage(n->surface, 0, 0, INT32_MAX, INT32_MAX);
  n->frame = wl_surface_frame(n->surface);
  wl_proxy_set_queue(reinterpret_cast<wl_proxy*>(n->frame), conn.frames);
  wl_callback_add_listener(n->frame, &frame_listener, w->handle);
  wl_surface_commit(n->surface);
  b.busy = true;
  for (int i = 0; i < kBuffers; ++i)
    if (i != n->compose) unite(n->buffers[i].stale, d);
  n->newest = n->compose;
  n->compose = -1;
  n->damage = RECT{};
  wl_display_flush(conn.display);
}

void release_buffers(Native* n) {
  if (n->frame) wl_callback_destroy(n->frame);
  n->frame = nullptr;
  for (Buffer& b : n->buffers) drop_buffer(b);
  n->newest = n->compose = -1;
}

}  // namespace quelt::wl
