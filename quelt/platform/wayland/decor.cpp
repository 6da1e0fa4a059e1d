// The frame that quelt draws itself where the compositor draws none: a title bar with the
// caption and the buttons the style asks for (close with WS_SYSMENU, maximise, minimise), and
// a border, drawn with quelt's own fills, lines and text into the same buffer as the client
// area, around it. The pointer on the frame moves the window (a drag on the title), resizes it
// (the edges of a sizable window), maximises it (a double click on the title or the button),
// minimises and closes it. Sizes are logical pixels times the window's scale, rounded.
#include "wayland_p.h"

#include <quelt/drawing/render.h>
#include <quelt/surface/blend.h>
#include <quelt/text/face.h>

#include <unistd.h>

#include <algorithm>

namespace quelt::wl {
namespace {

constexpr int kTitle = 28;      // height of the title bar
constexpr int kBorder = 4;      // border of a sizable window
constexpr int kThinBorder = 1;  // border of a fixed one
constexpr int kCorner = 16;     // reach of a corner along each edge, for resizing both ways
constexpr uint32_t kDoubleClickMs = 400;

sf_face* caption_face = nullptr;
bool caption_face_tried = false;

// The caption's font: a sans-serif face where Linux systems keep one; without it the title bar
// has its buttons and no text.
sf_face* face() {
  if (caption_face_tried) return caption_face;
  caption_face_tried = true;
  static const char* const paths[] = {
      "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf", "/usr/share/fonts/TTF/DejaVuSans.ttf",
      "/usr/share/fonts/dejavu/DejaVuSans.ttf", "/usr/share/fonts/truetype/liberation/LiberationSans-Regular.ttf",
      "/usr/share/fonts/truetype/freefont/FreeSans.ttf"};
  for (const char* path : paths)
    if (access(path, R_OK) == 0 && sf_face_create(&caption_face, path, 10)) break;
  return caption_face;
}

bool has_title(const Wnd* w) { return (w->style & WS_CAPTION) == WS_CAPTION; }

// The buttons from the right: close, maximise, minimise, as the style has them.
int button_count(const Wnd* w) {
  if (!has_title(w)) return 0;
  return ((w->style & WS_SYSMENU) ? 1 : 0) + ((w->style & WS_MAXIMIZEBOX) ? 1 : 0) +
         ((w->style & WS_MINIMIZEBOX) ? 1 : 0);
}
Part button_at(const Wnd* w, int index) {
  Part order[3];
  int n = 0;
  if (w->style & WS_SYSMENU) order[n++] = Part::close;
  if (w->style & WS_MAXIMIZEBOX) order[n++] = Part::maximize;
  if (w->style & WS_MINIMIZEBOX) order[n++] = Part::minimize;
  return index < n ? order[index] : Part::title;
}
RECT button_rect(const Wnd* w, int index) {
  const int size = w->frame_top;
  const int right = outer_width(w) - w->frame_right - index * size;
  return RECT{right - size, 0, right, size};
}

bool drawn(const Wnd* w) { return native(w) && !native(w)->server_frame && wants_frame(w); }

uint32_t resize_edges(const Wnd* w, int x, int y) {
  const int s = native(w)->scale, width = outer_width(w), height = outer_height(w);
  const int edge = scaled(kBorder, s), corner = scaled(kCorner, s);
  uint32_t edges = 0;
  if (y < edge) edges |= XDG_TOPLEVEL_RESIZE_EDGE_TOP;
  if (y >= height - edge) edges |= XDG_TOPLEVEL_RESIZE_EDGE_BOTTOM;
  if (x < edge) edges |= XDG_TOPLEVEL_RESIZE_EDGE_LEFT;
  if (x >= width - edge) edges |= XDG_TOPLEVEL_RESIZE_EDGE_RIGHT;
  if (edges & (XDG_TOPLEVEL_RESIZE_EDGE_TOP | XDG_TOPLEVEL_RESIZE_EDGE_BOTTOM)) {
    if (x < corner) edges |= XDG_TOPLEVEL_RESIZE_EDGE_LEFT;
    if (x >= width - corner) edges |= XDG_TOPLEVEL_RESIZE_EDGE_RIGHT;
  } else if (edges) {
    if (y < corner) edges |= XDG_TOPLEVEL_RESIZE_EDGE_TOP;
    if (y >= height - corner) edges |= XDG_TOPLEVEL_RESIZE_EDGE_BOTTOM;
  }
  return edges;
}

void draw_button(sf_surface& s, const Wnd* w, Part part, RECT r, bool hover, uint32_t ink) {
  if (hover) {
    s.color = part == Part::close ? 0xFFC42B1C : 0xFF5A5F68;
    sf_rect area{r.left, r.top, r.right, r.bottom};
    sf_fill(&s, &area);
  }
  const float scale = static_cast<float>(native(w)->scale) / kScaleUnit;
  const float cx = (r.left + r.right) / 2.0f, cy = (r.top + r.bottom) / 2.0f, h = 5.0f * scale;
  switch (part) {
    case Part::close:
      sf_line(&s, cx - h, cy - h, cx + h, cy + h, ink);
      sf_line(&s, cx - h, cy + h, cx + h, cy - h, ink);
      break;
    case Part::maximize:
      sf_line(&s, cx - h, cy - h, cx + h, cy - h, ink);
      sf_line(&s, cx + h, cy - h, cx + h, cy + h, ink);
      sf_line(&s, cx + h, cy + h, cx - h, cy + h, ink);
      sf_line(&s, cx - h, cy + h, cx - h, cy - h, ink);
      break;
    case Part::minimize: sf_line(&s, cx - h, cy + h, cx + h, cy + h, ink); break;
    default: break;
  }
}

}  // namespace

bool wants_frame(const Wnd* w) { return (w->style & (WS_BORDER | WS_DLGFRAME | WS_THICKFRAME)) != 0; }

void set_frame(Wnd* w) {
  int left = 0, top = 0, right = 0, bottom = 0;
  if (drawn(w)) {
    const int s = native(w)->scale;
    const int border = scaled((w->style & WS_THICKFRAME) ? kBorder : kThinBorder, s);
    left = right = bottom = border;
    top = has_title(w) ? scaled(kTitle, s) : border;
  }
  // The client area keeps its place; the outer rectangle grows or shrinks around it.
  w->x += w->frame_left - left;
  w->y += w->frame_top - top;
  w->frame_left = left;
  w->frame_top = top;
  w->frame_right = right;
  w->frame_bottom = bottom;
}

void draw_frame(Wnd* w) {
  if (!drawn(w) || !native(w)->toplevel) return;
  const Buffer* b = compose(w);
  if (!b) return;
  Native* n = native(w);
  sf_surface s{};
  s.width = b->width;
  s.height = b->height;
  s.bytes_per_pixel = 4;
  s.pixels = b->data;
  const int width = outer_width(w), height = outer_height(w);
  const uint32_t bar = n->activated ? 0xFF2B2F36 : 0xFF4A4E55;
  const uint32_t ink = n->activated ? 0xFFF2F2F2 : 0xFFB8BCC2;
  s.color = bar;
  sf_rect top{0, 0, width, w->frame_top}, left{0, 0, w->frame_left, height};
  sf_rect right{width - w->frame_right, 0, width, height}, bottom{0, height - w->frame_bottom, width, height};
  for (const sf_rect* r : {&top, &left, &right, &bottom}) sf_fill(&s, r);
  if (has_title(w)) {
    const int buttons = button_count(w);
    for (int i = 0; i < buttons; ++i) {
      const Part part = button_at(w, i);
      draw_button(s, w, part, button_rect(w, i), n->hover == part, ink);
    }
    if (sf_face* f = face(); f && w->text) {
      // The caption, centred on the bar's height, clipped before the buttons.
      sf_rect room{w->frame_left + scaled(8, n->scale), 0, width - w->frame_right - buttons * w->frame_top, w->frame_top};
      s.clip = &room;
      s.color = ink;
      const int y = (w->frame_top - sf_face_height(f)) / 2;
      sf_face_string(f, &s, reinterpret_cast<const uint16_t*>(w->text), 0, room.left, y);
      s.clip = nullptr;
    }
  }
  damage(w, RECT{0, 0, width, w->frame_top});
  damage(w, RECT{0, 0, w->frame_left, height});
  damage(w, RECT{width - w->frame_right, 0, width, height});
  damage(w, RECT{0, height - w->frame_bottom, width, height});
}

Part part_at(const Wnd* w, int x, int y) {
  if (!drawn(w)) return Part::client;
  const int s = native(w)->scale;
  if (x >= w->frame_left && x < w->frame_left + w->cw && y >= w->frame_top && y < w->frame_top + w->ch)
    return Part::client;
  if ((w->style & WS_THICKFRAME) && !native(w)->maximized && resize_edges(w, x, y) &&
      (y < scaled(kBorder, s) || !has_title(w) || y >= w->frame_top))
    return Part::edge;
  for (int i = 0; i < button_count(w); ++i) {
    RECT r = button_rect(w, i);
    if (x >= r.left && x < r.right && y >= r.top && y < r.bottom) return button_at(w, i);
  }
  return y < w->frame_top ? Part::title : Part::edge;
}

void frame_press(Wnd* w, Part part, int x, int y, uint32_t serial, uint32_t time) {
  Native* n = native(w);
  if (!n->toplevel || !conn.seat) return;
  n->pressed = part;
  if (part == Part::title) {
    if (n->last_title_click && time - n->last_title_click < kDoubleClickMs && (w->style & WS_MAXIMIZEBOX)) {
      n->last_title_click = 0;
      n->pressed = Part::client;
      n->maximized ? xdg_toplevel_unset_maximized(n->toplevel) : xdg_toplevel_set_maximized(n->toplevel);
      return;
    }
    n->last_title_click = time ? time : 1;
    xdg_toplevel_move(n->toplevel, conn.seat, serial);
  } else if (part == Part::edge && (w->style & WS_THICKFRAME)) {
    if (uint32_t edges = resize_edges(w, x, y)) xdg_toplevel_resize(n->toplevel, conn.seat, serial, edges);
  }
}

void frame_release(Wnd* w, Part part) {
  Native* n = native(w);
  const Part pressed = n->pressed;
  n->pressed = Part::client;
  if (part != pressed || !n->toplevel) return;
  switch (part) {
    case Part::close: {
      MSG msg{w->handle, WM_SYSCOMMAND, SC_CLOSE, 0, 0, last_pointer(), 0};
      queue_input(msg);
      break;
    }
    case Part::maximize:
      n->maximized ? xdg_toplevel_unset_maximized(n->toplevel) : xdg_toplevel_set_maximized(n->toplevel);
      break;
    case Part::minimize: xdg_toplevel_set_minimized(n->toplevel); break;
    default: break;
  }
}

void frame_hover(Wnd* w, Part part) {
  Native* n = native(w);
  const bool button = [](Part p) { return p == Part::close || p == Part::maximize || p == Part::minimize; }(part);
  const Part hover = button ? part : Part::client;
  if (hover == n->hover) return;
  n->hover = hover;
  draw_frame(w);
  commit_if_ready(w);
}

void release_caption_face() {
  if (caption_face) sf_face_release(&caption_face);
  caption_face_tried = false;
}

}  // namespace quelt::wl
