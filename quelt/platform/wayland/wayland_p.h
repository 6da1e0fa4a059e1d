// Inside the Wayland backend: the connection with the compositor's globals, the Wayland side
// of each window (surface, xdg roles, buffers, decorations) and the functions the backend's
// files share. Like the X11 backend it works on the core's records and hands events up.
//
// Sizes: the core's records hold device pixels, as a Win32 program sees them. Scales are kept in
// 120ths (the fractional-scale protocol's unit: 120 is 1, 180 is 1.5). Where the compositor
// offers fractional scaling (wp_fractional_scale_v1 and wp_viewporter), a window's scale is the
// one the compositor prefers for its surface, and its buffer, at device size, is shown through a
// viewport at its logical size. Elsewhere the surface has a whole-number buffer scale, the
// largest of the outputs it is on. Either way the logical size is the device size divided by the
// scale, rounded up.
#pragma once

#include <quelt/platform/core/core_p.h>

#include <wayland-client.h>
#include <xkbcommon/xkbcommon.h>

#include "fractional-scale-v1.h"
#include "text-input-unstable-v3.h"
#include "viewporter.h"
#include "xdg-decoration-unstable-v1.h"
#include "xdg-output-unstable-v1.h"
#include "xdg-shell.h"

#include <cstdint>

struct sf_face;

namespace quelt::wl {

using namespace quelt::platform;

// ---- The connection ------------------------------------------------------------------------
struct Output {
  wl_output* output = nullptr;
  uint32_t name = 0;
  int scale = 1;                  // whole number, from wl_output
  int width = 0, height = 0;      // current mode, device pixels
  zxdg_output_v1* xdg = nullptr;  // tells the logical size
  int logical_width = 0, logical_height = 0;
};
constexpr int kMaxOutputs = 8;

struct Connection {
  wl_display* display = nullptr;
  wl_registry* registry = nullptr;
  wl_event_queue* frames = nullptr;  // buffer releases and frame callbacks: safe to wait on
  wl_compositor* compositor = nullptr;
  wl_shm* shm = nullptr;
  xdg_wm_base* wm_base = nullptr;
  zxdg_decoration_manager_v1* decorations = nullptr;
  zwp_text_input_manager_v3* text_inputs = nullptr;
  wp_fractional_scale_manager_v1* fractions = nullptr;
  wp_viewporter* viewporter = nullptr;
  zxdg_output_manager_v1* xdg_outputs = nullptr;
  wl_seat* seat = nullptr;
  wl_pointer* pointer = nullptr;
  wl_keyboard* keyboard = nullptr;
  zwp_text_input_v3* text_input = nullptr;
  Output outputs[kMaxOutputs];
  int output_count = 0;
  bool client_decorations = false;  // QUELT_DECORATIONS=client: never ask for the compositor's
  bool inherited = false;           // from WAYLAND_SOCKET: cannot be made again, kept for life
  int dispatching = 0;              // inside a dispatch: closing waits until it ends
  bool close_pending = false;
};
extern Connection conn;

bool connect();             // opens the connection and binds the globals; false without them
void disconnect_if_idle();  // when no window is left (at once, or after the dispatch ends)
constexpr int kScaleUnit = 120;
inline int scaled(int logical, int scale) { return (logical * scale + kScaleUnit / 2) / kScaleUnit; }
inline int unscaled(int device, int scale) { return (device * kScaleUnit + scale - 1) / scale; }
bool fractional();          // the compositor scales by fractions: buffers go through viewports
int output_scale(const Output& o);  // in 120ths
int largest_scale();        // of the outputs, in 120ths, at least 120
void screen_size(int* width, int* height);
int resolution();           // 96 × the scale text is drawn at
Wnd* wnd_of(wl_surface* surface);

// ---- Windows -------------------------------------------------------------------------------
struct Buffer {
  wl_buffer* buffer = nullptr;
  uint8_t* data = nullptr;
  size_t bytes = 0;
  int width = 0, height = 0;
  bool busy = false;        // the compositor holds it: never written
  RECT stale = {};          // what changed in the newest buffer since this one was current
};
constexpr int kBuffers = 4;

// Decoration drawn by quelt: the parts of the frame that the pointer can be over.
enum class Part : uint8_t { client, title, close, maximize, minimize, edge };

struct Native {
  wl_surface* surface = nullptr;
  xdg_surface* xsurface = nullptr;
  xdg_toplevel* toplevel = nullptr;
  zxdg_toplevel_decoration_v1* decoration = nullptr;
  wp_viewport* viewport = nullptr;        // where the compositor scales by fractions
  wp_fractional_scale_v1* fraction = nullptr;
  int scale = kScaleUnit;   // in 120ths
  int preferred = 0;        // the compositor's scale for the surface, 0 until it tells
  bool layered = false;     // ARGB8888 with premultiplied alpha, else XRGB8888
  bool configured = false;  // the first configure came: buffers may be attached
  bool server_frame = false;  // the compositor draws the frame
  bool maximized = false, activated = false;
  int pending_width = 0, pending_height = 0;  // of the last toplevel configure, logical
  bool pending_maximized = false, pending_activated = false;
  Buffer buffers[kBuffers];
  int newest = -1;          // the buffer committed last
  int compose = -1;         // the buffer that collects presents until the next commit
  RECT damage = {};         // of the compose buffer, in buffer pixels
  wl_callback* frame = nullptr;  // the compositor has not yet asked for the next frame
  Part hover = Part::client, pressed = Part::client;
  uint32_t last_title_click = 0;
  unsigned outputs = 0;     // bit per output the surface is on
};
inline Native* native(const Wnd* w) { return static_cast<Native*>(w->native); }

bool make_surface(Wnd* w);
void destroy_surface(Wnd* w);
void apply_title(Wnd* w);
void apply_style(Wnd* w);
void apply_size(Wnd* w);
void outputs_changed();  // an output's scale or size changed: windows rescale
void map(Wnd* w);
void unmap(Wnd* w);

// Pixels: copies into the compose buffer, and commits it when the compositor is ready.
void present(Wnd* w, const Bitmap* b, int sx, int sy, int dx, int dy, int width, int height);
void commit_if_ready(Wnd* w);
void release_buffers(Native* n);
Buffer* compose(Wnd* w);              // the compose buffer, made up to date; null without one
void damage(Wnd* w, RECT r);          // buffer pixels

// Decorations (decor.cpp): frame sizes, drawing and what the pointer does on them.
bool wants_frame(const Wnd* w);
void set_frame(Wnd* w);               // frame sizes for the style and decoration mode
void draw_frame(Wnd* w);              // into the compose buffer
Part part_at(const Wnd* w, int x, int y);  // buffer pixels
void frame_press(Wnd* w, Part part, int x, int y, uint32_t serial, uint32_t time);
void frame_release(Wnd* w, Part part);
void frame_hover(Wnd* w, Part part);
void release_caption_face();

// Input (input.cpp).
void bind_seat(wl_registry* registry, uint32_t name, uint32_t version);
void release_seat();
void window_gone(Wnd* w);  // focus and pointer forget it
int repeat_fd();           // the key-repeat timer, -1 when none
void repeat_due();

}  // namespace quelt::wl
