// The X window behind a window of the layer: making and remaking it on the right visual, its
// properties for the window manager (title, class, protocols, decorations and size hints from
// the style), and the requests that place, show, hide and grab it.
#include "x11_p.h"

#include <X11/Xatom.h>

#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

namespace quelt::x11 {
namespace {

constexpr long kEventMask = ExposureMask | StructureNotifyMask | KeyPressMask | KeyReleaseMask |
                            ButtonPressMask | ButtonReleaseMask | PointerMotionMask |
                            FocusChangeMask | PropertyChangeMask;

void set_cardinals(Window xwin, Atom property, const long* values, int count) {
  XChangeProperty(conn.display, xwin, property, XA_CARDINAL, 32, PropModeReplace,
                  reinterpret_cast<const unsigned char*>(values), count);
}

}  // namespace

void apply_title(Wnd* w) {
  if (!conn.display || !xwin_of(w)) return;
  char* utf8 = utf16_to_utf8(w->text);
  char* title = utf8 ? utf8 : const_cast<char*>("");
  auto length = static_cast<int>(std::strlen(title));
  auto bytes = reinterpret_cast<const unsigned char*>(title);
  // WM_NAME in the encodings of the old convention (Latin-1, else compound text), and
  // _NET_WM_NAME in UTF-8 for window managers that read it.
  XTextProperty name{};
  if (Xutf8TextListToTextProperty(conn.display, &title, 1, XStdICCTextStyle, &name) >= Success) {
    XSetWMName(conn.display, native(w)->xwin, &name);
    XFree(name.value);
  } else {
    XChangeProperty(conn.display, native(w)->xwin, XA_WM_NAME, conn.atom[kUtf8String], 8,
                    PropModeReplace, bytes, length);
  }
  XChangeProperty(conn.display, native(w)->xwin, conn.atom[kNetWmName], conn.atom[kUtf8String], 8,
                  PropModeReplace, bytes, length);
  std::free(utf8);
}

// What the style asks of the window manager: which decorations and functions the frame has
// (_MOTIF_WM_HINTS), and a fixed size for a window without WS_THICKFRAME.
void apply_style(Wnd* w) {
  if (!conn.display || !xwin_of(w)) return;
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
  XSetWMNormalHints(conn.display, native(w)->xwin, &hints);
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
  XChangeProperty(conn.display, native(w)->xwin, conn.atom[kMotifWmHints], conn.atom[kMotifWmHints], 32,
                  PropModeReplace, reinterpret_cast<unsigned char*>(motif), 5);
}

void set_properties(Wnd* w) {
  Display* d = conn.display;
  char* class_name = utf16_to_utf8(w->cls->name);
  XClassHint class_hint{};
  class_hint.res_name = program_invocation_short_name;
  class_hint.res_class = class_name ? class_name : program_invocation_short_name;
  XSetClassHint(d, native(w)->xwin, &class_hint);
  std::free(class_name);
  Atom protocols[2] = {conn.atom[kWmDeleteWindow], conn.atom[kNetWmPing]};
  XSetWMProtocols(d, native(w)->xwin, protocols, 2);
  long pid = static_cast<long>(getpid());
  set_cardinals(native(w)->xwin, conn.atom[kNetWmPid], &pid, 1);
  // The handle of the window, so that a program can find the X window of its HWND.
  auto value = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(w->handle));
  long handle[2] = {static_cast<long>(value & 0xFFFFFFFFu), static_cast<long>(value >> 32)};
  set_cardinals(native(w)->xwin, conn.atom[kQueltHwnd], handle, 2);
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
  void* memory = std::malloc(sizeof(Native));
  if (!xwin || !gc || errors_sync() != 0 || !memory) {
    std::free(memory);
    if (gc) XFreeGC(d, gc);
    if (xwin) XDestroyWindow(d, xwin);
    if (colormap) XFreeColormap(d, colormap);
    return false;
  }
  w->native = new (memory) Native{};
  native(w)->xwin = xwin;
  native(w)->gc = gc;
  native(w)->visual = visual;
  native(w)->depth = depth;
  native(w)->colormap = colormap;
  native(w)->direct = direct_visual(visual, depth);
  set_properties(w);
  return true;
}

void destroy_xwindow(Wnd* w) {
  Display* d = conn.display;
  if (!w->native) return;
  if (d) {
    if (native(w)->ic) XDestroyIC(native(w)->ic);
    if (native(w)->gc) XFreeGC(d, native(w)->gc);
    XDestroyWindow(d, native(w)->xwin);
    if (native(w)->colormap) XFreeColormap(d, native(w)->colormap);
  }
  native(w)->~Native();
  std::free(w->native);
  w->native = nullptr;
  w->has_focus = false;
}

void x_configure(Wnd* w) {
  if (!conn.display || !xwin_of(w)) return;
  if (!(w->style & WS_THICKFRAME)) apply_style(w);  // the fixed size moves with the window
  // Configure events from before this request describe a state this request replaces.
  native(w)->configure_serial = NextRequest(conn.display);
  XMoveResizeWindow(conn.display, native(w)->xwin, w->x, w->y, static_cast<unsigned>(std::max(1, w->cw)),
                    static_cast<unsigned>(std::max(1, w->ch)));
  XFlush(conn.display);
}

void x_map(Wnd* w, bool activate) {
  if (!conn.display || !xwin_of(w)) return;
  native(w)->focus_on_map = activate;
  if (activate)
    XMapRaised(conn.display, native(w)->xwin);
  else
    XMapWindow(conn.display, native(w)->xwin);
  XFlush(conn.display);
}

void x_unmap(Wnd* w) {
  if (!conn.display || !xwin_of(w)) return;
  XWithdrawWindow(conn.display, native(w)->xwin, conn.screen);
  XFlush(conn.display);
}

void grab_pointer(Wnd* w) {
  if (!conn.display || !xwin_of(w)) return;
  XGrabPointer(conn.display, native(w)->xwin, False,
               ButtonPressMask | ButtonReleaseMask | PointerMotionMask, GrabModeAsync,
               GrabModeAsync, None, None, CurrentTime);
  XFlush(conn.display);
}

}  // namespace quelt::x11
