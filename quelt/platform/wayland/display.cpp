// The connection with the compositor: opened with the first window, closed with the last, like
// the X11 backend's display. The globals quelt needs are xdg_wm_base and wl_shm; the rest
// (decorations, text input, fractional scaling, the seat and the outputs) are used when the
// compositor offers them.
#include "wayland_p.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace quelt::wl {

Connection conn;

namespace {

void output_geometry(void*, wl_output*, int32_t, int32_t, int32_t, int32_t, int32_t, const char*, const char*,
                     int32_t) {}
void output_mode(void* data, wl_output*, uint32_t flags, int32_t width, int32_t height, int32_t) {
  auto* o = static_cast<Output*>(data);
  if (flags & WL_OUTPUT_MODE_CURRENT) {
    o->width = width;
    o->height = height;
  }
}
void output_done(void*, wl_output*) { outputs_changed(); }
void output_scale(void* data, wl_output*, int32_t factor) {
  static_cast<Output*>(data)->scale = std::clamp(factor, 1, 8);
}
const wl_output_listener output_listener = {output_geometry, output_mode, output_done, output_scale,
                                                 nullptr, nullptr};  // names: version 4, not bound

// The logical size of an output against its mode gives its scale where that is a fraction.
void xdg_output_position(void*, zxdg_output_v1*, int32_t, int32_t) {}
void xdg_output_size(void* data, zxdg_output_v1*, int32_t width, int32_t height) {
  auto* o = static_cast<Output*>(data);
  o->logical_width = width;
  o->logical_height = height;
}
void xdg_output_done(void*, zxdg_output_v1*) {}
void xdg_output_name(void*, zxdg_output_v1*, const char*) {}
const zxdg_output_v1_listener xdg_output_listener = {xdg_output_position, xdg_output_size, xdg_output_done,
                                                     xdg_output_name, xdg_output_name};

void watch_logical_size(Output& o) {
  if (o.xdg || !conn.xdg_outputs) return;
  o.xdg = zxdg_output_manager_v1_get_xdg_output(conn.xdg_outputs, o.output);
  if (o.xdg) zxdg_output_v1_add_listener(o.xdg, &xdg_output_listener, &o);
}

void forget_output(Output& o) {
  if (o.xdg) zxdg_output_v1_destroy(o.xdg);
  wl_output_destroy(o.output);
}

void ping(void*, xdg_wm_base* base, uint32_t serial) { xdg_wm_base_pong(base, serial); }
const xdg_wm_base_listener wm_base_listener = {ping};

template <class T>
T* bind(wl_registry* registry, uint32_t name, const wl_interface* interface, uint32_t offered, uint32_t wanted) {
  return static_cast<T*>(wl_registry_bind(registry, name, interface, std::min(offered, wanted)));
}

void global(void*, wl_registry* registry, uint32_t name, const char* interface, uint32_t version) {
  if (!std::strcmp(interface, wl_compositor_interface.name)) {
    conn.compositor = bind<wl_compositor>(registry, name, &wl_compositor_interface, version, 4);
  } else if (!std::strcmp(interface, wl_shm_interface.name)) {
    conn.shm = bind<wl_shm>(registry, name, &wl_shm_interface, version, 1);
  } else if (!std::strcmp(interface, xdg_wm_base_interface.name)) {
    conn.wm_base = bind<xdg_wm_base>(registry, name, &xdg_wm_base_interface, version, 2);
    xdg_wm_base_add_listener(conn.wm_base, &wm_base_listener, nullptr);
  } else if (!std::strcmp(interface, zxdg_decoration_manager_v1_interface.name)) {
    conn.decorations =
        bind<zxdg_decoration_manager_v1>(registry, name, &zxdg_decoration_manager_v1_interface, version, 1);
  } else if (!std::strcmp(interface, wp_fractional_scale_manager_v1_interface.name)) {
    conn.fractions =
        bind<wp_fractional_scale_manager_v1>(registry, name, &wp_fractional_scale_manager_v1_interface, version, 1);
  } else if (!std::strcmp(interface, wp_viewporter_interface.name)) {
    conn.viewporter = bind<wp_viewporter>(registry, name, &wp_viewporter_interface, version, 1);
  } else if (!std::strcmp(interface, zxdg_output_manager_v1_interface.name)) {
    conn.xdg_outputs = bind<zxdg_output_manager_v1>(registry, name, &zxdg_output_manager_v1_interface, version, 2);
  } else if (!std::strcmp(interface, zwp_text_input_manager_v3_interface.name)) {
    conn.text_inputs =
        bind<zwp_text_input_manager_v3>(registry, name, &zwp_text_input_manager_v3_interface, version, 1);
  } else if (!std::strcmp(interface, wl_seat_interface.name)) {
    bind_seat(registry, name, version);
  } else if (!std::strcmp(interface, wl_output_interface.name) && conn.output_count < kMaxOutputs) {
    Output& o = conn.outputs[conn.output_count++];
    o = Output{};
    o.name = name;
    o.output = bind<wl_output>(registry, name, &wl_output_interface, version, 2);
    wl_output_add_listener(o.output, &output_listener, &o);
    watch_logical_size(o);
  }
}

void global_remove(void*, wl_registry*, uint32_t name) {
  for (int i = 0; i < conn.output_count; ++i)
    if (conn.outputs[i].name == name) {
      forget_output(conn.outputs[i]);
      // The last output takes the place of the one gone, in the table and in each window's bits.
      const int last = --conn.output_count;
      for (Wnd* w = wnd_first(); w; w = w->next) {
        if (!w->native) continue;
        unsigned bits = native(w)->outputs & ~(1u << i);
        if (bits & (1u << last)) bits = (bits & ~(1u << last)) | (1u << i);
        native(w)->outputs = bits;
      }
      if (i != last) {
        conn.outputs[i] = conn.outputs[last];
        wl_proxy_set_user_data(reinterpret_cast<wl_proxy*>(conn.outputs[i].output), &conn.outputs[i]);
        if (conn.outputs[i].xdg) wl_proxy_set_user_data(reinterpret_cast<wl_proxy*>(conn.outputs[i].xdg), &conn.outputs[i]);
      }
      return;
    }
}
const wl_registry_listener registry_listener = {global, global_remove};

template <class T>
void drop(T*& proxy, void (*destroy)(T*)) {
  if (proxy) destroy(proxy);
  proxy = nullptr;
}

void disconnect() {
  release_caption_face();
  release_seat();
  for (int i = 0; i < conn.output_count; ++i) forget_output(conn.outputs[i]);
  drop(conn.xdg_outputs, zxdg_output_manager_v1_destroy);
  drop(conn.viewporter, wp_viewporter_destroy);
  drop(conn.fractions, wp_fractional_scale_manager_v1_destroy);
  drop(conn.text_inputs, zwp_text_input_manager_v3_destroy);
  drop(conn.decorations, zxdg_decoration_manager_v1_destroy);
  drop(conn.wm_base, xdg_wm_base_destroy);
  drop(conn.shm, wl_shm_destroy);
  drop(conn.compositor, wl_compositor_destroy);
  drop(conn.registry, wl_registry_destroy);
  if (conn.frames) wl_event_queue_destroy(conn.frames);
  wl_display_disconnect(conn.display);
  conn = Connection{};
}

}  // namespace

bool connect() {
  if (conn.display) return true;
  const char* socket = std::getenv("WAYLAND_SOCKET");
  const char* name = std::getenv("WAYLAND_DISPLAY");
  if ((!socket || !*socket) && (!name || !*name)) return false;
  conn.display = wl_display_connect(nullptr);
  if (!conn.display) return false;
  // A socket handed down by the parent is used once (libwayland forgets it): the connection
  // then lasts as long as the process.
  conn.inherited = socket && *socket;
  const char* mode = std::getenv("QUELT_DECORATIONS");
  conn.client_decorations = mode && !std::strcmp(mode, "client");
  conn.frames = wl_display_create_queue(conn.display);
  conn.registry = wl_display_get_registry(conn.display);
  if (conn.frames && conn.registry) {
    wl_registry_add_listener(conn.registry, &registry_listener, nullptr);
    // The globals, then what the bound ones announce (output modes, scales and logical sizes,
    // seat capabilities, the keymap). Outputs announced before the manager of their logical
    // sizes get theirs asked for between the two.
    wl_display_roundtrip(conn.display);
    for (int i = 0; i < conn.output_count; ++i) watch_logical_size(conn.outputs[i]);
    wl_display_roundtrip(conn.display);
  }
  if (!conn.compositor || !conn.shm || !conn.wm_base || wl_display_get_error(conn.display)) {
    disconnect();
    return false;
  }
  return true;
}

void disconnect_if_idle() {
  if (!conn.display || wnd_first() || conn.inherited) return;
  if (conn.dispatching) {
    conn.close_pending = true;  // the dispatch still runs on the connection's objects
    return;
  }
  disconnect();
}

bool fractional() { return conn.fractions && conn.viewporter; }

// Where fractions are shown, an output's mode against its logical size (both sides summed, so
// that a rotated output compares alike); elsewhere its whole-number scale.
int output_scale(const Output& o) {
  const int64_t logical = int64_t{o.logical_width} + o.logical_height, device = int64_t{o.width} + o.height;
  if (!fractional() || logical <= 0 || device <= 0) return o.scale * kScaleUnit;
  return static_cast<int>(std::clamp<int64_t>((device * kScaleUnit + logical / 2) / logical, kScaleUnit, 8 * kScaleUnit));
}

int largest_scale() {
  int scale = kScaleUnit;
  for (int i = 0; i < conn.output_count; ++i) scale = std::max(scale, output_scale(conn.outputs[i]));
  return scale;
}

void screen_size(int* width, int* height) {
  *width = *height = 0;
  bool opened = !conn.display;
  if (!connect()) return;
  if (conn.output_count > 0) {
    *width = conn.outputs[0].width;
    *height = conn.outputs[0].height;
  }
  if (opened) disconnect_if_idle();
}

int resolution() {
  bool opened = !conn.display;
  if (!connect()) return 96;
  int scale = largest_scale();
  if (opened) disconnect_if_idle();
  return scaled(96, scale);
}

Wnd* wnd_of(wl_surface* surface) {
  return surface ? wnd_get(static_cast<HWND>(wl_surface_get_user_data(surface))) : nullptr;
}

}  // namespace quelt::wl
