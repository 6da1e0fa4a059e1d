// Window classes and windows of the X11 layer: creation and destruction, the window longs and
// styles, placement and sizing with the messages Win32 sends for them, showing and hiding,
// painting (update regions, BeginPaint, EndPaint), capture, layered windows, the default
// window procedure, and the X events that change a window.
#include "x11_p.h"

#include <X11/Xatom.h>

#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

struct quelt::x11::WindowClass {
  WindowClass* next;
  ATOM atom;
  UINT style;
  WNDPROC proc;
  HCURSOR cursor;
  WCHAR name[1];  // as long as the name, zero-terminated
};

namespace quelt::x11 {
namespace {

// Flags of WINDOWPOS that this layer adds for its default procedure: the client area kept its
// place or its size, so WM_MOVE or WM_SIZE is not due.
constexpr UINT kNoClientSize = 0x0800;
constexpr UINT kNoClientMove = 0x1000;
constexpr long kEventMask = ExposureMask | StructureNotifyMask | KeyPressMask | KeyReleaseMask |
                            ButtonPressMask | ButtonReleaseMask | PointerMotionMask |
                            FocusChangeMask | PropertyChangeMask;
constexpr int kMaxSize = 32767;  // the largest X window

WindowClass* classes = nullptr;
ATOM next_atom = 0xC000;
Wnd* windows = nullptr;
HWND capture = nullptr;

LPARAM pack(int low, int high) {
  return static_cast<LPARAM>(static_cast<uint32_t>(static_cast<uint16_t>(low)) |
                             (static_cast<uint32_t>(static_cast<uint16_t>(high)) << 16));
}

int outer_width(const Wnd* w) { return w->frame_left + w->cw + w->frame_right; }
int outer_height(const Wnd* w) { return w->frame_top + w->ch + w->frame_bottom; }
int client_width(const Wnd* w) { return w->minimized ? 0 : w->cw; }
int client_height(const Wnd* w) { return w->minimized ? 0 : w->ch; }

WCHAR fold(WCHAR c) { return c >= 'a' && c <= 'z' ? static_cast<WCHAR>(c - 32) : c; }

// Class names compare without regard to ASCII case, as Win32's do; a name below 0x10000 is
// an atom.
WindowClass* find_class(LPCWSTR name) {
  auto value = reinterpret_cast<uintptr_t>(name);
  for (WindowClass* c = classes; c; c = c->next) {
    if (value < 0x10000) {
      if (c->atom == value) return c;
      continue;
    }
    size_t i = 0;
    while (c->name[i] && fold(c->name[i]) == fold(name[i])) ++i;
    if (c->name[i] == 0 && name[i] == 0) return c;
  }
  return nullptr;
}

void set_cardinals(Window xwin, Atom property, const long* values, int count) {
  XChangeProperty(conn.display, xwin, property, XA_CARDINAL, 32, PropModeReplace,
                  reinterpret_cast<const unsigned char*>(values), count);
}

void apply_title(Wnd* w) {
  if (!conn.display || !w->xwin) return;
  char* utf8 = utf16_to_utf8(w->text);
  char* title = utf8 ? utf8 : const_cast<char*>("");
  auto length = static_cast<int>(std::strlen(title));
  auto bytes = reinterpret_cast<const unsigned char*>(title);
  // WM_NAME in the encodings of the old convention (Latin-1, else compound text), and
  // _NET_WM_NAME in UTF-8 for window managers that read it.
  XTextProperty name{};
  if (Xutf8TextListToTextProperty(conn.display, &title, 1, XStdICCTextStyle, &name) >= Success) {
    XSetWMName(conn.display, w->xwin, &name);
    XFree(name.value);
  } else {
    XChangeProperty(conn.display, w->xwin, XA_WM_NAME, conn.atom[kUtf8String], 8,
                    PropModeReplace, bytes, length);
  }
  XChangeProperty(conn.display, w->xwin, conn.atom[kNetWmName], conn.atom[kUtf8String], 8,
                  PropModeReplace, bytes, length);
  std::free(utf8);
}

// What the style asks of the window manager: which decorations and functions the frame has
// (_MOTIF_WM_HINTS), and a fixed size for a window without WS_THICKFRAME.
void apply_style(Wnd* w) {
  if (!conn.display || !w->xwin) return;
  XSizeHints hints{};
  hints.flags = PPosition | USPosition | PWinGravity;
  hints.x = w->x;
  hints.y = w->y;
  hints.win_gravity = NorthWestGravity;
  if (!(w->style & WS_THICKFRAME)) {
    hints.flags |= PMinSize | PMaxSize;
    hints.min_width = hints.max_width = std::max(1, w->cw);
    hints.min_height = hints.max_height = std::max(1, w->ch);
  }
  XSetWMNormalHints(conn.display, w->xwin, &hints);
  constexpr long kFunctions = 1, kDecorations = 2;
  constexpr long kDecorBorder = 2, kDecorResize = 4, kDecorTitle = 8, kDecorMenu = 16,
                 kDecorMinimize = 32, kDecorMaximize = 64;
  constexpr long kFuncResize = 2, kFuncMove = 4, kFuncMinimize = 8, kFuncMaximize = 16,
                 kFuncClose = 32;
  DWORD s = w->style;
  long decorations = 0;
  long functions = kFuncMove | kFuncClose;
  if ((s & WS_CAPTION) == WS_CAPTION) decorations |= kDecorBorder | kDecorTitle;
  if (s & (WS_BORDER | WS_DLGFRAME | WS_THICKFRAME)) decorations |= kDecorBorder;
  if ((s & WS_CAPTION) == WS_CAPTION && (s & WS_SYSMENU)) decorations |= kDecorMenu;
  if (s & WS_THICKFRAME) {
    decorations |= kDecorResize;
    functions |= kFuncResize;
  }
  if (s & WS_MINIMIZEBOX) {
    decorations |= (s & WS_CAPTION) == WS_CAPTION ? kDecorMinimize : 0;
    functions |= kFuncMinimize;
  }
  if (s & WS_MAXIMIZEBOX) {
    decorations |= (s & WS_CAPTION) == WS_CAPTION ? kDecorMaximize : 0;
    functions |= kFuncMaximize;
  }
  long motif[5] = {kFunctions | kDecorations, functions, decorations, 0, 0};
  XChangeProperty(conn.display, w->xwin, conn.atom[kMotifWmHints], conn.atom[kMotifWmHints], 32,
                  PropModeReplace, reinterpret_cast<unsigned char*>(motif), 5);
}

void set_properties(Wnd* w) {
  Display* d = conn.display;
  char* class_name = utf16_to_utf8(w->cls->name);
  XClassHint class_hint{};
  class_hint.res_name = program_invocation_short_name;
  class_hint.res_class = class_name ? class_name : program_invocation_short_name;
  XSetClassHint(d, w->xwin, &class_hint);
  std::free(class_name);
  Atom protocols[2] = {conn.atom[kWmDeleteWindow], conn.atom[kNetWmPing]};
  XSetWMProtocols(d, w->xwin, protocols, 2);
  long pid = static_cast<long>(getpid());
  set_cardinals(w->xwin, conn.atom[kNetWmPid], &pid, 1);
  // The handle of the window, so that a program can find the X window of its HWND.
  auto value = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(w->handle));
  long handle[2] = {static_cast<long>(value & 0xFFFFFFFFu), static_cast<long>(value >> 32)};
  set_cardinals(w->xwin, conn.atom[kQueltHwnd], handle, 2);
  apply_title(w);
  apply_style(w);
}

// Makes the X window for the record: on the 32-bit ARGB visual for a layered window when the
// screen has one, on the default visual otherwise.
bool make_xwindow(Wnd* w) {
  Display* d = conn.display;
  bool argb = (w->exstyle & WS_EX_LAYERED) && conn.argb_visual;
  Visual* visual = argb ? conn.argb_visual : DefaultVisual(d, conn.screen);
  int depth = argb ? 32 : DefaultDepth(d, conn.screen);
  errors_reset();
  Colormap colormap = argb ? XCreateColormap(d, conn.root, visual, AllocNone) : 0;
  XSetWindowAttributes a{};
  a.background_pixmap = None;  // the platform erases nothing; the window's owner paints
  a.border_pixel = 0;
  a.bit_gravity = NorthWestGravity;
  a.colormap = colormap ? colormap : DefaultColormap(d, conn.screen);
  a.event_mask = kEventMask;
  a.cursor = cursor_for(w->cls->cursor);
  unsigned long mask = CWBackPixmap | CWBorderPixel | CWBitGravity | CWColormap | CWEventMask |
                       (a.cursor ? CWCursor : 0);
  Window xwin = XCreateWindow(d, conn.root, w->x + w->frame_left, w->y + w->frame_top,
                              static_cast<unsigned>(std::max(1, w->cw)),
                              static_cast<unsigned>(std::max(1, w->ch)), 0, depth, InputOutput,
                              visual, mask, &a);
  GC gc = xwin ? XCreateGC(d, xwin, 0, nullptr) : nullptr;
  if (!xwin || !gc || errors_sync() != 0) {
    if (gc) XFreeGC(d, gc);
    if (xwin) XDestroyWindow(d, xwin);
    if (colormap) XFreeColormap(d, colormap);
    return false;
  }
  w->xwin = xwin;
  w->gc = gc;
  w->visual = visual;
  w->depth = depth;
  w->colormap = colormap;
  w->direct = direct_visual(visual, depth);
  w->mapped = false;
  w->reparented = false;
  set_properties(w);
  return true;
}

void destroy_xwindow(Wnd* w) {
  Display* d = conn.display;
  if (!d || !w->xwin) return;
  if (w->ic) XDestroyIC(w->ic);
  if (w->gc) XFreeGC(d, w->gc);
  XDestroyWindow(d, w->xwin);
  if (w->colormap) XFreeColormap(d, w->colormap);
  w->ic = nullptr;
  w->gc = nullptr;
  w->xwin = 0;
  w->colormap = 0;
  w->mapped = false;
  w->has_focus = false;
}

void x_configure(Wnd* w) {
  if (!conn.display || !w->xwin) return;
  if (!(w->style & WS_THICKFRAME)) apply_style(w);  // the fixed size moves with the window
  // Configure events from before this request describe a state this request replaces.
  w->configure_serial = NextRequest(conn.display);
  XMoveResizeWindow(conn.display, w->xwin, w->x, w->y, static_cast<unsigned>(std::max(1, w->cw)),
                    static_cast<unsigned>(std::max(1, w->ch)));
  XFlush(conn.display);
}

void x_map(Wnd* w, bool activate) {
  if (!conn.display || !w->xwin) return;
  w->focus_on_map = activate;
  if (activate)
    XMapRaised(conn.display, w->xwin);
  else
    XMapWindow(conn.display, w->xwin);
  XFlush(conn.display);
}

void x_unmap(Wnd* w) {
  if (!conn.display || !w->xwin) return;
  XWithdrawWindow(conn.display, w->xwin, conn.screen);
  XFlush(conn.display);
}

void grab_pointer(Wnd* w) {
  if (!conn.display || !w->xwin) return;
  XGrabPointer(conn.display, w->xwin, False,
               ButtonPressMask | ButtonReleaseMask | PointerMotionMask, GrabModeAsync,
               GrabModeAsync, None, None, CurrentTime);
  XFlush(conn.display);
}

void default_minmax(const Wnd* w, MINMAXINFO* info) {
  *info = MINMAXINFO{};
  int sw = conn.display ? DisplayWidth(conn.display, conn.screen) : 0;
  int sh = conn.display ? DisplayHeight(conn.display, conn.screen) : 0;
  info->ptMaxSize = POINT{sw + w->frame_left + w->frame_right, sh + w->frame_top + w->frame_bottom};
  info->ptMaxPosition = POINT{-w->frame_left, -w->frame_top};
  info->ptMinTrackSize = POINT{w->frame_left + w->frame_right, w->frame_top + w->frame_bottom};
  info->ptMaxTrackSize = POINT{kMaxSize + w->frame_left + w->frame_right,
                               kMaxSize + w->frame_top + w->frame_bottom};
}

void send_pos_changed(HWND hwnd, UINT flags) {
  Wnd* w = wnd_get(hwnd);
  if (!w) return;
  WINDOWPOS pos{hwnd, nullptr, w->x, w->y, outer_width(w), outer_height(w), flags};
  SendMessageW(hwnd, WM_WINDOWPOSCHANGED, 0, reinterpret_cast<LPARAM>(&pos));
}

// Moves the window to the placement that WM_WINDOWPOSCHANGING settled on.
BOOL apply_pos(HWND hwnd, WINDOWPOS pos) {
  Wnd* w = wnd_get(hwnd);
  if (!w) return FALSE;
  auto inner = [](int outer, int a, int b) {
    return static_cast<int>(std::clamp<int64_t>(int64_t{outer} - a - b, 0, kMaxSize));
  };
  int cw = inner(pos.cx, w->frame_left, w->frame_right);
  int ch = inner(pos.cy, w->frame_top, w->frame_bottom);
  bool moved = !(pos.flags & SWP_NOMOVE) && (pos.x != w->x || pos.y != w->y);
  bool sized = !(pos.flags & SWP_NOSIZE) && (cw != w->cw || ch != w->ch);
  if (moved) {
    w->x = pos.x;
    w->y = pos.y;
  }
  if (sized) {
    w->cw = cw;
    w->ch = ch;
  }
  if (moved || sized) x_configure(w);
  if (pos.flags & SWP_FRAMECHANGED) apply_style(w);
  if ((pos.flags & SWP_SHOWWINDOW) && !w->visible) {
    w->visible = true;
    if (!w->minimized) x_map(w, !(pos.flags & SWP_NOACTIVATE));
  } else if ((pos.flags & SWP_HIDEWINDOW) && w->visible) {
    w->visible = false;
    w->dirty = w->erase = false;
    x_unmap(w);
  }
  if (!moved) pos.flags |= kNoClientMove;
  if (!sized) pos.flags |= kNoClientSize;
  constexpr UINT kAnything = SWP_NOSIZE | SWP_NOMOVE | SWP_SHOWWINDOW | SWP_HIDEWINDOW |
                             SWP_FRAMECHANGED;
  if ((pos.flags & kAnything) != (SWP_NOSIZE | SWP_NOMOVE) || moved || sized)
    SendMessageW(hwnd, WM_WINDOWPOSCHANGED, 0, reinterpret_cast<LPARAM>(&pos));
  return TRUE;
}

// A window that the window manager minimised comes back: mapped again, with its size message.
void restore(HWND hwnd) {
  Wnd* w = wnd_get(hwnd);
  if (!w || !w->minimized) return;
  w->minimized = false;
  if (w->visible) x_map(w, true);
  send_pos_changed(hwnd, SWP_NOZORDER | SWP_NOACTIVATE | SWP_NOMOVE | kNoClientMove);
}

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
  if (static_cast<long>(e.serial - w->configure_serial) < 0) return;  // superseded
  int cw = e.width, ch = e.height;
  if (w->cw == 0 && cw == 1) cw = 0;  // an empty client area is a 1 × 1 X window
  if (w->ch == 0 && ch == 1) ch = 0;
  int x = w->x, y = w->y;
  // Positions are on the screen in the window manager's synthetic events and while the window
  // is a child of the root; inside a frame they are relative to the frame.
  if (e.send_event || !w->reparented) {
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
    if (e.state == PropertyNewValue && !read_cardinals(w->xwin, e.atom, extents, 4)) return;
    // The client area stays where it is; the outer rectangle grows or shrinks around it.
    w->x += w->frame_left - static_cast<int>(extents[0]);
    w->y += w->frame_top - static_cast<int>(extents[2]);
    w->frame_left = static_cast<int>(extents[0]);
    w->frame_right = static_cast<int>(extents[1]);
    w->frame_top = static_cast<int>(extents[2]);
    w->frame_bottom = static_cast<int>(extents[3]);
  } else if (e.atom == conn.atom[kWmState] && e.state == PropertyNewValue) {
    long state[1] = {};
    if (!read_cardinals(w->xwin, e.atom, state, 1)) return;
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

Wnd* wnd_get(HWND hwnd) { return static_cast<Wnd*>(handle_object(hwnd, Kind::window)); }

Wnd* wnd_by_xid(Window xwin) {
  for (Wnd* w = windows; w; w = w->next)
    if (w->xwin == xwin) return w;
  return nullptr;
}

Wnd* wnd_first() { return windows; }

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
      w->mapped = true;
      if (w->focus_on_map) {
        w->focus_on_map = false;
        // Showing a window activates it; without a window manager nobody else gives it focus.
        if (!window_manager_running()) {
          XSetInputFocus(conn.display, w->xwin, RevertToPointerRoot, CurrentTime);
          XFlush(conn.display);
        }
      }
      break;
    case UnmapNotify: w->mapped = false; break;
    case ReparentNotify: w->reparented = ev.xreparent.parent != conn.root; break;
    case PropertyNotify: on_property(w, ev.xproperty); break;
    case FocusIn:
      if (ev.xfocus.detail == NotifyPointer || ev.xfocus.detail == NotifyInferior) break;
      if (!w->has_focus) {
        w->has_focus = true;
        ensure_ic(w);
        if (w->ic) XSetICFocus(w->ic);
        SendMessageW(hwnd, WM_SETFOCUS, 0, 0);
      }
      break;
    case FocusOut:
      if (ev.xfocus.detail == NotifyPointer || ev.xfocus.detail == NotifyInferior) break;
      if (w->has_focus) {
        w->has_focus = false;
        if (w->ic) XUnsetICFocus(w->ic);
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
        queue_input(msg, nullptr, 0);
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

using namespace quelt::x11;

ATOM RegisterClassW(const WNDCLASSW* wc) {
  if (!wc || !wc->lpfnWndProc || !wc->lpszClassName ||
      reinterpret_cast<uintptr_t>(wc->lpszClassName) < 0x10000 || find_class(wc->lpszClassName))
    return 0;
  size_t length = wide_length(wc->lpszClassName);
  auto* c = static_cast<WindowClass*>(std::malloc(sizeof(WindowClass) + length * sizeof(WCHAR)));
  if (!c) return 0;
  c->next = classes;
  c->atom = next_atom++;
  c->style = wc->style;
  c->proc = wc->lpfnWndProc;
  c->cursor = wc->hCursor;
  std::memcpy(c->name, wc->lpszClassName, (length + 1) * sizeof(WCHAR));
  classes = c;
  return c->atom;
}

HICON LoadIconW(HINSTANCE instance, LPCWSTR name) {
  auto id = reinterpret_cast<uintptr_t>(name);
  return !instance && id >= 32512 && id <= 32518 ? stock_icon() : nullptr;
}

HCURSOR LoadCursorW(HINSTANCE instance, LPCWSTR name) {
  // The arrow, the one cursor that windows of this layer show.
  return !instance && reinterpret_cast<uintptr_t>(name) == 32512 ? stock_cursor() : nullptr;
}

HWND CreateWindowExW(DWORD ex_style, LPCWSTR class_name, LPCWSTR title, DWORD style, int x, int y,
                     int width, int height, HWND parent, HMENU menu, HINSTANCE instance,
                     LPVOID param) {
  WindowClass* cls = class_name ? find_class(class_name) : nullptr;
  if (!cls || parent || (style & WS_CHILD)) return nullptr;  // top-level windows only
  void* memory = std::malloc(sizeof(Wnd));
  if (!memory) return nullptr;
  Wnd* w = new (memory) Wnd{};
  auto hwnd = static_cast<HWND>(handle_new(Kind::window, w));
  if (!hwnd) {
    std::free(w);
    return nullptr;
  }
  w->handle = hwnd;
  w->cls = cls;
  w->proc = cls->proc;
  w->style = style & ~static_cast<DWORD>(WS_VISIBLE | WS_MINIMIZE | WS_MAXIMIZE);
  w->exstyle = ex_style;
  w->x = x;
  w->y = y;
  w->cw = std::clamp(width, 0, kMaxSize);
  w->ch = std::clamp(height, 0, kMaxSize);
  if (!connect() || !make_xwindow(w)) {
    handle_drop(hwnd);
    std::free(w);
    disconnect_if_idle();
    return nullptr;
  }
  w->next = windows;
  windows = w;
  // The messages of creation, as Win32 sends them.
  CREATESTRUCTW create{param, instance, menu, parent, height, width, y, x,
                       static_cast<LONG>(style), title, class_name, ex_style};
  MINMAXINFO minmax;
  default_minmax(w, &minmax);
  SendMessageW(hwnd, WM_GETMINMAXINFO, 0, reinterpret_cast<LPARAM>(&minmax));
  if (!IsWindow(hwnd)) return nullptr;
  if (!SendMessageW(hwnd, WM_NCCREATE, 0, reinterpret_cast<LPARAM>(&create)) ||
      SendMessageW(hwnd, WM_CREATE, 0, reinterpret_cast<LPARAM>(&create)) == -1) {
    DestroyWindow(hwnd);
    return nullptr;
  }
  if (!(w = wnd_get(hwnd))) return nullptr;
  SendMessageW(hwnd, WM_SIZE, SIZE_RESTORED, pack(w->cw, w->ch));
  if (!(w = wnd_get(hwnd))) return nullptr;
  SendMessageW(hwnd, WM_MOVE, 0, pack(w->x + w->frame_left, w->y + w->frame_top));
  if (style & WS_VISIBLE) ShowWindow(hwnd, SW_SHOW);
  return IsWindow(hwnd) ? hwnd : nullptr;
}

BOOL DestroyWindow(HWND hwnd) {
  Wnd* w = wnd_get(hwnd);
  if (!w || w->destroying) return FALSE;
  w->destroying = true;
  if (w->visible)
    SetWindowPos(hwnd, nullptr, 0, 0, 0, 0,
                 SWP_HIDEWINDOW | SWP_NOSIZE | SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
  if (capture == hwnd) ReleaseCapture();
  SendMessageW(hwnd, WM_DESTROY, 0, 0);
  SendMessageW(hwnd, WM_NCDESTROY, 0, 0);
  // Only DestroyWindow frees the record, and it refuses to run twice: `w` is still good.
  for (Wnd** p = &windows; *p; p = &(*p)->next)
    if (*p == w) {
      *p = w->next;
      break;
    }
  destroy_xwindow(w);
  if (conn.display) XFlush(conn.display);
  queue_purge(hwnd);
  handle_drop(hwnd);
  std::free(w->text);
  w->~Wnd();
  std::free(w);
  disconnect_if_idle();
  return TRUE;
}

BOOL IsWindow(HWND hwnd) { return wnd_get(hwnd) != nullptr; }

BOOL IsWindowVisible(HWND hwnd) {
  Wnd* w = wnd_get(hwnd);
  return w && w->visible;
}

LRESULT SendMessageW(HWND hwnd, UINT message, WPARAM wparam, LPARAM lparam) {
  Wnd* w = wnd_get(hwnd);
  return w && w->proc ? w->proc(hwnd, message, wparam, lparam) : 0;
}

LONG GetWindowLongW(HWND hwnd, int index) {
  Wnd* w = wnd_get(hwnd);
  if (!w) return 0;
  switch (index) {
    case GWL_STYLE:
      return static_cast<LONG>(w->style | (w->visible ? WS_VISIBLE : 0) |
                               (w->minimized ? WS_MINIMIZE : 0));
    case GWL_EXSTYLE: return static_cast<LONG>(w->exstyle);
    case GWLP_USERDATA: return static_cast<LONG>(w->userdata);
    default: return 0;
  }
}

LONG SetWindowLongW(HWND hwnd, int index, LONG value) {
  Wnd* w = wnd_get(hwnd);
  if (!w) return 0;
  if (index == GWLP_USERDATA) {
    auto old = static_cast<LONG>(w->userdata);
    w->userdata = value;
    return old;
  }
  if (index != GWL_STYLE && index != GWL_EXSTYLE) return 0;
  LONG old = GetWindowLongW(hwnd, index);
  STYLESTRUCT change{static_cast<DWORD>(old), static_cast<DWORD>(value)};
  SendMessageW(hwnd, WM_STYLECHANGING, static_cast<WPARAM>(index), reinterpret_cast<LPARAM>(&change));
  if (!(w = wnd_get(hwnd))) return 0;
  if (index == GWL_STYLE) {
    // The state bits follow ShowWindow, not the style word.
    w->style = change.styleNew & ~static_cast<DWORD>(WS_VISIBLE | WS_MINIMIZE | WS_MAXIMIZE);
    apply_style(w);
  } else {
    DWORD before = w->exstyle;
    w->exstyle = change.styleNew;
    // Layered or not decides the visual, and an X window keeps its visual for life: remake it.
    if (((before ^ w->exstyle) & WS_EX_LAYERED) && conn.argb_visual && conn.display) {
      bool grabbed = capture == hwnd;
      bool focused = w->has_focus;
      destroy_xwindow(w);
      if (make_xwindow(w)) {
        if (w->visible && !w->minimized) x_map(w, focused);
        if (grabbed) grab_pointer(w);
      }
    }
  }
  if (conn.display) XFlush(conn.display);
  SendMessageW(hwnd, WM_STYLECHANGED, static_cast<WPARAM>(index), reinterpret_cast<LPARAM>(&change));
  return old;
}

LONG_PTR GetWindowLongPtrW(HWND hwnd, int index) {
  Wnd* w = wnd_get(hwnd);
  if (!w) return 0;
  if (index == GWLP_USERDATA) return w->userdata;
  return GetWindowLongW(hwnd, index);
}

LONG_PTR SetWindowLongPtrW(HWND hwnd, int index, LONG_PTR value) {
  Wnd* w = wnd_get(hwnd);
  if (!w) return 0;
  if (index == GWLP_USERDATA) {
    LONG_PTR old = w->userdata;
    w->userdata = value;
    return old;
  }
  return SetWindowLongW(hwnd, index, static_cast<LONG>(value));
}

BOOL SetWindowPos(HWND hwnd, HWND after, int x, int y, int width, int height, UINT flags) {
  Wnd* w = wnd_get(hwnd);
  if (!w) return FALSE;
  WINDOWPOS pos{hwnd, after, x, y, std::max(0, width), std::max(0, height),
                flags & ~(kNoClientSize | kNoClientMove)};
  if (flags & SWP_NOMOVE) {
    pos.x = w->x;
    pos.y = w->y;
  }
  if (flags & SWP_NOSIZE) {
    pos.cx = outer_width(w);
    pos.cy = outer_height(w);
  }
  if (pos.x == w->x && pos.y == w->y) pos.flags |= SWP_NOMOVE;
  if (pos.cx == outer_width(w) && pos.cy == outer_height(w)) pos.flags |= SWP_NOSIZE;
  if (!(pos.flags & SWP_NOSENDCHANGING))
    SendMessageW(hwnd, WM_WINDOWPOSCHANGING, 0, reinterpret_cast<LPARAM>(&pos));
  return apply_pos(hwnd, pos);
}

BOOL MoveWindow(HWND hwnd, int x, int y, int width, int height, BOOL repaint) {
  return SetWindowPos(hwnd, nullptr, x, y, width, height,
                      SWP_NOZORDER | SWP_NOACTIVATE | (repaint ? 0 : SWP_NOREDRAW));
}

BOOL GetClientRect(HWND hwnd, RECT* rect) {
  Wnd* w = wnd_get(hwnd);
  if (!w || !rect) return FALSE;
  *rect = RECT{0, 0, client_width(w), client_height(w)};
  return TRUE;
}

BOOL GetWindowRect(HWND hwnd, RECT* rect) {
  Wnd* w = wnd_get(hwnd);
  if (!w || !rect) return FALSE;
  *rect = RECT{w->x, w->y, w->x + outer_width(w), w->y + outer_height(w)};
  return TRUE;
}

// The commands that show and hide; minimising and maximising are the window manager's (a
// window it minimises or maximises still gets its size messages), and are refused here.
BOOL ShowWindow(HWND hwnd, int command) {
  Wnd* w = wnd_get(hwnd);
  if (!w) return FALSE;
  BOOL was_visible = w->visible;
  constexpr UINT kKeep = SWP_NOSIZE | SWP_NOMOVE | SWP_NOZORDER;
  switch (command) {
    case SW_HIDE:
      if (!was_visible) return FALSE;
      SendMessageW(hwnd, WM_SHOWWINDOW, FALSE, 0);
      SetWindowPos(hwnd, nullptr, 0, 0, 0, 0, kKeep | SWP_NOACTIVATE | SWP_HIDEWINDOW);
      return was_visible;
    case SW_SHOWNORMAL:
    case SW_SHOW:
    case SW_SHOWNOACTIVATE:
    case SW_SHOWNA:
    case SW_RESTORE: break;
    default: return FALSE;
  }
  bool activate = command != SW_SHOWNOACTIVATE && command != SW_SHOWNA;
  if (!was_visible) {
    SendMessageW(hwnd, WM_SHOWWINDOW, TRUE, 0);
    if (!(w = wnd_get(hwnd))) return was_visible;
    if (command == SW_RESTORE || command == SW_SHOWNORMAL) w->minimized = false;
    SetWindowPos(hwnd, nullptr, 0, 0, 0, 0, kKeep | SWP_SHOWWINDOW | (activate ? 0 : SWP_NOACTIVATE));
  } else if (w->minimized && (command == SW_RESTORE || command == SW_SHOWNORMAL)) {
    restore(hwnd);
  }
  return was_visible;
}

BOOL SetWindowTextW(HWND hwnd, LPCWSTR text) {
  return SendMessageW(hwnd, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text)) != 0;
}

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
  if (conn.display) XFlush(conn.display);
  return TRUE;
}

HWND SetCapture(HWND hwnd) {
  Wnd* w = wnd_get(hwnd);
  if (!w) return nullptr;
  HWND previous = IsWindow(capture) ? capture : nullptr;
  capture = hwnd;
  grab_pointer(w);
  if (previous && previous != hwnd)
    SendMessageW(previous, WM_CAPTURECHANGED, 0, reinterpret_cast<LPARAM>(hwnd));
  return previous;
}

BOOL ReleaseCapture(void) {
  HWND previous = capture;
  if (!previous) return TRUE;
  capture = nullptr;
  if (conn.display) {
    XUngrabPointer(conn.display, CurrentTime);
    XFlush(conn.display);
  }
  SendMessageW(previous, WM_CAPTURECHANGED, 0, 0);
  return TRUE;
}

HWND GetCapture(void) { return IsWindow(capture) ? capture : nullptr; }

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
  present(w, b->bits, b->width, b->height, b, sx, sy, 0, 0, std::min(cw, w->cw), std::min(ch, w->ch));
  return TRUE;
}

LRESULT DefWindowProcW(HWND hwnd, UINT message, WPARAM wparam, LPARAM lparam) {
  Wnd* w = wnd_get(hwnd);
  if (!w) return 0;
  switch (message) {
    case WM_NCCREATE: {
      auto* create = reinterpret_cast<const CREATESTRUCTW*>(lparam);
      if (create && create->lpszName) DefWindowProcW(hwnd, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(create->lpszName));
      return TRUE;
    }
    case WM_SETTEXT: {
      auto text = reinterpret_cast<LPCWSTR>(lparam);
      size_t length = wide_length(text);
      auto* copy = static_cast<WCHAR*>(std::malloc((length + 1) * sizeof(WCHAR)));
      if (!copy) return FALSE;
      if (length) std::memcpy(copy, text, length * sizeof(WCHAR));
      copy[length] = 0;
      std::free(w->text);
      w->text = copy;
      apply_title(w);
      if (conn.display) XFlush(conn.display);
      return TRUE;
    }
    case WM_CLOSE: DestroyWindow(hwnd); return 0;
    case WM_SYSCOMMAND:
      if ((wparam & 0xFFF0) == SC_CLOSE) SendMessageW(hwnd, WM_CLOSE, 0, 0);
      return 0;
    case WM_SYSKEYDOWN:
      if (wparam == VK_F4 && (lparam & (1 << 29))) SendMessageW(hwnd, WM_SYSCOMMAND, SC_CLOSE, 0);
      return 0;
    case WM_PAINT: {
      PAINTSTRUCT paint;
      if (BeginPaint(hwnd, &paint)) EndPaint(hwnd, &paint);
      return 0;
    }
    case WM_WINDOWPOSCHANGING: {
      auto* pos = reinterpret_cast<WINDOWPOS*>(lparam);
      if (!pos || (pos->flags & SWP_NOSIZE)) return 0;
      MINMAXINFO minmax;
      default_minmax(w, &minmax);
      SendMessageW(hwnd, WM_GETMINMAXINFO, 0, reinterpret_cast<LPARAM>(&minmax));
      pos->cx = std::clamp<int>(pos->cx, minmax.ptMinTrackSize.x, std::max(minmax.ptMinTrackSize.x, minmax.ptMaxTrackSize.x));
      pos->cy = std::clamp<int>(pos->cy, minmax.ptMinTrackSize.y, std::max(minmax.ptMinTrackSize.y, minmax.ptMaxTrackSize.y));
      return 0;
    }
    case WM_WINDOWPOSCHANGED: {
      auto* pos = reinterpret_cast<const WINDOWPOS*>(lparam);
      if (!pos) return 0;
      if (!(pos->flags & kNoClientMove))
        SendMessageW(hwnd, WM_MOVE, 0, pack(w->x + w->frame_left, w->y + w->frame_top));
      if (!(pos->flags & kNoClientSize) && (w = wnd_get(hwnd))) {
        WPARAM kind = w->minimized ? SIZE_MINIMIZED : SIZE_RESTORED;
        SendMessageW(hwnd, WM_SIZE, kind, pack(client_width(w), client_height(w)));
      }
      return 0;
    }
    default: return 0;
  }
}
