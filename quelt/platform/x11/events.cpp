// X events that change a window (geometry, frame, minimising, mapping, focus, close requests)
// become the layer's own state and the messages that Win32 sends for them.
#include "x11_p.h"

#include <cstdint>

namespace quelt::x11 {
namespace {

bool read_cardinals(Window xwin, Atom property, long* out, int count) {
  Atom type = None;
  int format = 0;
  unsigned long items = 0, after = 0;
  unsigned char* data = nullptr;
  bool ok = XGetWindowProperty(conn.display, xwin, property, 0, count, False, AnyPropertyType,
                               &type, &format, &items, &after, &data) == Success &&
            format == 32 && items >= static_cast<unsigned long>(count);
  if (ok)
    for (int i = 0; i < count; ++i) out[i] = reinterpret_cast<long*>(data)[i];
  if (data) XFree(data);
  return ok;
}

void on_configure(Wnd* w, const XConfigureEvent& e) {
  if (static_cast<long>(e.serial - native(w)->configure_serial) < 0) return;  // superseded
  int cw = e.width, ch = e.height;
  if (w->cw == 0 && cw == 1) cw = 0;  // an empty client area is a 1 × 1 X window
  if (w->ch == 0 && ch == 1) ch = 0;
  int x = w->x, y = w->y;
  // Positions are on the screen in the window manager's synthetic events and while the window
  // is a child of the root; inside a frame they are relative to the frame.
  if (e.send_event || !native(w)->reparented) {
    x = e.x - w->frame_left;
    y = e.y - w->frame_top;
  }
  bool moved = x != w->x || y != w->y;
  bool sized = cw != w->cw || ch != w->ch;
  if (!moved && !sized) return;
  w->x = x;
  w->y = y;
  w->cw = cw;
  w->ch = ch;
  send_pos_changed(w->handle, SWP_NOZORDER | SWP_NOACTIVATE | (moved ? 0 : SWP_NOMOVE | kNoClientMove) |
                                  (sized ? 0 : SWP_NOSIZE | kNoClientSize));
}

void on_property(Wnd* w, const XPropertyEvent& e) {
  if (e.atom == conn.atom[kNetFrameExtents]) {
    long extents[4] = {};
    if (e.state == PropertyNewValue && !read_cardinals(native(w)->xwin, e.atom, extents, 4)) return;
    // The client area stays where it is; the outer rectangle grows or shrinks around it.
    w->x += w->frame_left - static_cast<int>(extents[0]);
    w->y += w->frame_top - static_cast<int>(extents[2]);
    w->frame_left = static_cast<int>(extents[0]);
    w->frame_right = static_cast<int>(extents[1]);
    w->frame_top = static_cast<int>(extents[2]);
    w->frame_bottom = static_cast<int>(extents[3]);
  } else if (e.atom == conn.atom[kWmState] && e.state == PropertyNewValue) {
    long state[1] = {};
    if (!read_cardinals(native(w)->xwin, e.atom, state, 1)) return;
    constexpr long kNormal = 1, kIconic = 3;
    if (state[0] == kIconic && !w->minimized) {
      w->minimized = true;
      w->dirty = w->erase = false;
      send_pos_changed(w->handle, SWP_NOZORDER | SWP_NOACTIVATE | SWP_NOMOVE | kNoClientMove);
    } else if (state[0] == kNormal && w->minimized && w->visible) {
      w->minimized = false;
      send_pos_changed(w->handle, SWP_NOZORDER | SWP_NOACTIVATE | SWP_NOMOVE | kNoClientMove);
    }
  }
}

}  // namespace

void window_event(Wnd* w, XEvent& ev) {
  HWND hwnd = w->handle;
  switch (ev.type) {
    case Expose: {
      RECT r{ev.xexpose.x, ev.xexpose.y, ev.xexpose.x + ev.xexpose.width,
             ev.xexpose.y + ev.xexpose.height};
      invalidate(w, &r, true);
      break;
    }
    case ConfigureNotify: on_configure(w, ev.xconfigure); break;
    case MapNotify:
      native(w)->mapped = true;
      if (native(w)->focus_on_map) {
        native(w)->focus_on_map = false;
        // Showing a window activates it; without a window manager nobody else gives it focus.
        if (!window_manager_running()) {
          XSetInputFocus(conn.display, native(w)->xwin, RevertToPointerRoot, CurrentTime);
          XFlush(conn.display);
        }
      }
      break;
    case UnmapNotify: native(w)->mapped = false; break;
    case ReparentNotify: native(w)->reparented = ev.xreparent.parent != conn.root; break;
    case PropertyNotify: on_property(w, ev.xproperty); break;
    case FocusIn:
      if (ev.xfocus.detail == NotifyPointer || ev.xfocus.detail == NotifyInferior) break;
      if (!w->has_focus) {
        w->has_focus = true;
        ensure_ic(w);
        if (native(w)->ic) XSetICFocus(native(w)->ic);
        SendMessageW(hwnd, WM_SETFOCUS, 0, 0);
      }
      break;
    case FocusOut:
      if (ev.xfocus.detail == NotifyPointer || ev.xfocus.detail == NotifyInferior) break;
      if (w->has_focus) {
        w->has_focus = false;
        if (native(w)->ic) XUnsetICFocus(native(w)->ic);
        forget_keys();
        SendMessageW(hwnd, WM_KILLFOCUS, 0, 0);
      }
      break;
    case ClientMessage:
      if (ev.xclient.message_type != conn.atom[kWmProtocols] || ev.xclient.format != 32) break;
      if (static_cast<Atom>(ev.xclient.data.l[0]) == conn.atom[kWmDeleteWindow]) {
        // The close button: Win32 has the system menu command, whose default is WM_CLOSE.
        MSG msg{hwnd, WM_SYSCOMMAND, SC_CLOSE, 0, static_cast<DWORD>(ev.xclient.data.l[1]),
                last_pointer(), 0};
        queue_input(msg);
      } else if (static_cast<Atom>(ev.xclient.data.l[0]) == conn.atom[kNetWmPing]) {
        XEvent reply = ev;
        reply.xclient.window = conn.root;
        XSendEvent(conn.display, conn.root, False, SubstructureNotifyMask | SubstructureRedirectMask,
                   &reply);
      }
      break;
    default: break;
  }
}

}  // namespace quelt::x11
