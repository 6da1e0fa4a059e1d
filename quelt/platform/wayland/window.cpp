// Windows on Wayland: a wl_surface for each record, with the xdg_toplevel role while the window
// is shown. The compositor decides where windows go: a client cannot place itself, so moves
// keep the record's position (the core still sends the messages of a move) and only sizes reach
// the compositor. Sizes that the compositor asks for (a maximise, a resize from the frame)
// come back as configure events and reach the window procedure as WM_WINDOWPOSCHANGED.
#include "wayland_p.h"

#include <algorithm>
#include <cstdlib>

namespace quelt::wl {
namespace {

int output_index(wl_output* output) {
  for (int i = 0; i < conn.output_count; ++i)
    if (conn.outputs[i].output == output) return i;
  return -1;
}

// Without a viewport the buffer scale is a whole number: a fraction is rounded up.
int buffer_scale(const Native* n, int scale) {
  return n->viewport ? scale : (scale + kScaleUnit - 1) / kScaleUnit * kScaleUnit;
}

// The scale of a surface: the one the compositor prefers for it, else the largest of the outputs
// it is on, else of all outputs; a whole number where no viewport shows fractions. A change
// keeps the logical size, so the device size, the client size and the frame change with it.
int wanted_scale(const Native* n) {
  int scale = 0;
  for (int i = 0; i < conn.output_count; ++i)
    if (n->outputs & (1u << i)) scale = std::max(scale, output_scale(conn.outputs[i]));
  if (n->preferred > 0) scale = n->preferred;
  if (scale == 0) scale = largest_scale();
  return buffer_scale(n, scale);
}
void rescale(Wnd* w) {
  Native* n = native(w);
  const int scale = wanted_scale(n);
  if (scale == n->scale) return;
  const HWND hwnd = w->handle;  // the messages below may destroy the window
  const int cw = w->cw * scale / n->scale, ch = w->ch * scale / n->scale;
  n->scale = scale;
  set_frame(w);
  if (cw != w->cw || ch != w->ch) {
    w->cw = std::min(cw, kMaxSize);
    w->ch = std::min(ch, kMaxSize);
    send_pos_changed(hwnd, SWP_NOZORDER | SWP_NOACTIVATE | SWP_NOMOVE | kNoClientMove);
  }
  if ((w = wnd_get(hwnd)) != nullptr) apply_size(w);
}

// Every listener of a window's objects gets its handle: a window gone since is no window.
Wnd* by_handle(void* handle) { return wnd_get(static_cast<HWND>(handle)); }

void surface_enter(void* handle, wl_surface*, wl_output* output) {
  Wnd* w = by_handle(handle);
  int i = output_index(output);
  if (!w || i < 0) return;
  native(w)->outputs |= 1u << i;
  rescale(w);
}
void surface_leave(void* handle, wl_surface*, wl_output* output) {
  Wnd* w = by_handle(handle);
  int i = output_index(output);
  if (!w || i < 0) return;
  native(w)->outputs &= ~(1u << i);
  rescale(w);
}
const wl_surface_listener surface_listener = {surface_enter, surface_leave};

// Compositors may tell a scale before the surface is on an output and another once it is: the
// last one told before the first configure is the one the window starts with.
void preferred_scale(void* handle, wp_fractional_scale_v1*, uint32_t scale) {
  Wnd* w = by_handle(handle);
  if (!w) return;
  native(w)->preferred = static_cast<int>(std::clamp<uint32_t>(scale, kScaleUnit, 8 * kScaleUnit));
  if (native(w)->configured) rescale(w);
}
const wp_fractional_scale_v1_listener fraction_listener = {preferred_scale};

void toplevel_configure(void* handle, xdg_toplevel*, int32_t width, int32_t height, wl_array* states) {
  Wnd* w = by_handle(handle);
  if (!w) return;
  Native* n = native(w);
  n->pending_width = width;
  n->pending_height = height;
  n->pending_maximized = n->pending_activated = false;
  const auto* state = static_cast<const uint32_t*>(states->data);
  for (size_t i = 0; i < states->size / sizeof(uint32_t); ++i) {
    if (state[i] == XDG_TOPLEVEL_STATE_MAXIMIZED) n->pending_maximized = true;
    if (state[i] == XDG_TOPLEVEL_STATE_ACTIVATED) n->pending_activated = true;
  }
}

void toplevel_close(void* handle, xdg_toplevel*) {
  Wnd* w = by_handle(handle);
  if (!w) return;
  // The close button: Win32 has the system menu command, whose default is WM_CLOSE.
  MSG msg{w->handle, WM_SYSCOMMAND, SC_CLOSE, 0, 0, last_pointer(), 0};
  queue_input(msg);
}
const xdg_toplevel_listener toplevel_listener = {toplevel_configure, toplevel_close, nullptr,
                                                 nullptr};  // bounds, capabilities: version 4+, not bound

// The compositor's size takes effect when a window may change size: sizable, or maximised and
// back. A size of zero leaves the choice to the window.
void take_size(Wnd* w) {
  Native* n = native(w);
  const bool maximizing = n->pending_maximized != n->maximized;
  n->maximized = n->pending_maximized;
  if (n->pending_width <= 0 || n->pending_height <= 0) return;
  if (!(w->style & WS_THICKFRAME) && !maximizing && !n->maximized) return;
  const int outer_w = scaled(n->pending_width, n->scale), outer_h = scaled(n->pending_height, n->scale);
  const int cw = std::clamp(outer_w - w->frame_left - w->frame_right, 0, kMaxSize);
  const int ch = std::clamp(outer_h - w->frame_top - w->frame_bottom, 0, kMaxSize);
  if (cw == w->cw && ch == w->ch) return;
  w->cw = cw;
  w->ch = ch;
  const HWND hwnd = w->handle;  // the message may destroy the window
  send_pos_changed(hwnd, SWP_NOZORDER | SWP_NOACTIVATE | SWP_NOMOVE | kNoClientMove);
  if ((w = wnd_get(hwnd)) != nullptr) apply_size(w);
}

void xdg_configure(void* handle, xdg_surface* surface, uint32_t serial) {
  xdg_surface_ack_configure(surface, serial);
  Wnd* w = by_handle(handle);
  if (!w) return;
  HWND hwnd = w->handle;
  Native* n = native(w);
  const bool first = !n->configured;
  if (first) {
    rescale(w);
    if (!(w = wnd_get(hwnd))) return;
    n = native(w);
  }
  n->configured = true;
  const bool activation = n->activated != n->pending_activated;
  n->activated = n->pending_activated;
  take_size(w);
  if (!(w = wnd_get(hwnd))) return;
  if (first) {
    invalidate(w, nullptr, true);
    apply_size(w);
  } else if (activation) {
    draw_frame(w);
  }
  commit_if_ready(w);
}
const xdg_surface_listener xdg_surface_listener_ = {xdg_configure};

void decoration_configure(void* handle, zxdg_toplevel_decoration_v1*, uint32_t mode) {
  Wnd* w = by_handle(handle);
  if (!w) return;
  native(w)->server_frame = mode == ZXDG_TOPLEVEL_DECORATION_V1_MODE_SERVER_SIDE;
  set_frame(w);
  apply_size(w);
}
const zxdg_toplevel_decoration_v1_listener decoration_listener = {decoration_configure};

// Asks the compositor for its frame around a window that has a caption, and for none around
// one without (a compositor may still draw one: the answer decides).
void ask_decoration(Wnd* w) {
  Native* n = native(w);
  // Compositors may answer every request with their own frame: a window that must draw its own
  // (QUELT_DECORATIONS=client) does not ask at all.
  if (!conn.decorations || conn.client_decorations || !n->toplevel) return;
  if (!n->decoration) {
    n->decoration = zxdg_decoration_manager_v1_get_toplevel_decoration(conn.decorations, n->toplevel);
    zxdg_toplevel_decoration_v1_add_listener(n->decoration, &decoration_listener, w->handle);
  }
  const bool server = wants_frame(w) && !conn.client_decorations;
  zxdg_toplevel_decoration_v1_set_mode(n->decoration, server ? ZXDG_TOPLEVEL_DECORATION_V1_MODE_SERVER_SIDE
                                                             : ZXDG_TOPLEVEL_DECORATION_V1_MODE_CLIENT_SIDE);
}

// A window without a sizing frame keeps its size: minimum and maximum are that size.
void apply_limits(Wnd* w) {
  Native* n = native(w);
  if (!n->toplevel) return;
  const int lw = unscaled(outer_width(w), n->scale), lh = unscaled(outer_height(w), n->scale);
  if (w->style & WS_THICKFRAME) {
    xdg_toplevel_set_min_size(n->toplevel, 1, 1);
    xdg_toplevel_set_max_size(n->toplevel, 0, 0);
  } else {
    xdg_toplevel_set_min_size(n->toplevel, std::max(lw, 1), std::max(lh, 1));
    xdg_toplevel_set_max_size(n->toplevel, std::max(lw, 1), std::max(lh, 1));
  }
}

}  // namespace

// An output told new properties: each shown window takes its scale anew. A window's messages may
// destroy or make others, so the walk starts over after every change; each window changes once.
void outputs_changed() {
  for (Wnd* w = wnd_first(); w;) {
    const Native* n = native(w);
    if (n && n->configured && wanted_scale(n) != n->scale) {
      rescale(w);
      w = wnd_first();
    } else {
      w = w->next;
    }
  }
}

bool make_surface(Wnd* w) {
  auto* n = new (std::nothrow) Native;
  if (!n) return false;
  n->surface = wl_compositor_create_surface(conn.compositor);
  if (!n->surface) {
    delete n;
    return false;
  }
  wl_surface_add_listener(n->surface, &surface_listener, w->handle);
  n->layered = (w->exstyle & WS_EX_LAYERED) != 0;
  if (fractional()) {
    n->viewport = wp_viewporter_get_viewport(conn.viewporter, n->surface);
    n->fraction = wp_fractional_scale_manager_v1_get_fractional_scale(conn.fractions, n->surface);
    if (n->fraction) wp_fractional_scale_v1_add_listener(n->fraction, &fraction_listener, w->handle);
  }
  n->scale = buffer_scale(n, largest_scale());
  // Until the compositor answers, a frame is expected where it offers to draw one.
  n->server_frame = conn.decorations && !conn.client_decorations;
  w->native = n;
  set_frame(w);
  return true;
}

void destroy_surface(Wnd* w) {
  Native* n = native(w);
  if (!n) return;
  unmap(w);
  window_gone(w);
  release_buffers(n);
  if (n->fraction) wp_fractional_scale_v1_destroy(n->fraction);
  if (n->viewport) wp_viewport_destroy(n->viewport);
  wl_surface_destroy(n->surface);
  delete n;
  w->native = nullptr;
}

void apply_title(Wnd* w) {
  Native* n = native(w);
  if (n && n->toplevel) {
    char* title = utf16_to_utf8(w->text);
    xdg_toplevel_set_title(n->toplevel, title ? title : "");
    std::free(title);
  }
  draw_frame(w);
  commit_if_ready(w);
}

void apply_style(Wnd* w) {
  if (!native(w)) return;
  ask_decoration(w);
  set_frame(w);
  apply_limits(w);
  apply_size(w);
}

// The record's size reaches the surface with the next buffer: the whole client area is
// painted anew, and the frame around it.
void apply_size(Wnd* w) {
  Native* n = native(w);
  if (!n) return;
  apply_limits(w);
  if (n->xsurface) {
    xdg_surface_set_window_geometry(n->xsurface, 0, 0, std::max(1, unscaled(outer_width(w), n->scale)),
                                    std::max(1, unscaled(outer_height(w), n->scale)));
  }
  invalidate(w, nullptr, true);
  draw_frame(w);
  commit_if_ready(w);
}

void map(Wnd* w) {
  Native* n = native(w);
  if (!n || n->toplevel) return;
  n->xsurface = xdg_wm_base_get_xdg_surface(conn.wm_base, n->surface);
  n->toplevel = xdg_surface_get_toplevel(n->xsurface);
  xdg_surface_add_listener(n->xsurface, &xdg_surface_listener_, w->handle);
  xdg_toplevel_add_listener(n->toplevel, &toplevel_listener, w->handle);
  xdg_toplevel_set_app_id(n->toplevel, "quelt");
  char* title = utf16_to_utf8(w->text);
  xdg_toplevel_set_title(n->toplevel, title ? title : "");
  std::free(title);
  ask_decoration(w);
  apply_limits(w);
  n->configured = false;
  // The first commit has no buffer: the compositor answers with the first configure.
  wl_surface_commit(n->surface);
  wl_display_flush(conn.display);
}

void unmap(Wnd* w) {
  Native* n = native(w);
  if (!n || !n->toplevel) return;
  if (n->decoration) zxdg_toplevel_decoration_v1_destroy(n->decoration);
  xdg_toplevel_destroy(n->toplevel);
  xdg_surface_destroy(n->xsurface);
  n->decoration = nullptr;
  n->toplevel = nullptr;
  n->xsurface = nullptr;
  n->configured = n->maximized = n->activated = false;
  // Without a role the surface shows nothing: the buffer goes, and the next show starts anew.
  wl_surface_attach(n->surface, nullptr, 0, 0);
  wl_surface_commit(n->surface);
  if (n->frame) wl_callback_destroy(n->frame);
  n->frame = nullptr;
  n->newest = -1;
  for (Buffer& b : n->buffers) b.stale = RECT{0, 0, b.width, b.height};
}

}  // namespace quelt::wl
