// Internal to the X11 platform layer: the handle table, the display connection, the objects
// behind HWND, HDC and HBITMAP, and the functions that the layer's files share.
#pragma once

#include <quelt/platform/win32.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XShm.h>

#include <cstdint>

namespace quelt::x11 {

// ---- Handles -------------------------------------------------------------------------------
// Every handle is an index into one table with a generation count, so that a handle of an
// object already gone never reaches a newer object that took its slot.
enum class Kind : uint8_t { none, window, dc, bitmap, brush, icon, cursor };

void* handle_new(Kind kind, void* object);            // null when the table is full
void* handle_object(const void* handle, Kind kind);   // null unless live and of that kind
Kind handle_kind(const void* handle);                 // Kind::none unless live
void handle_drop(const void* handle);

// Handles that live for the whole process: the selected bitmap of a fresh memory DC, the
// application icon and the arrow cursor.
HGDIOBJ stock_bitmap();
HICON stock_icon();
HCURSOR stock_cursor();

// ---- The display connection ----------------------------------------------------------------
enum AtomIndex {
  kWmProtocols, kWmDeleteWindow, kNetWmPing, kNetWmName, kUtf8String, kNetWmPid,
  kMotifWmHints, kNetFrameExtents, kWmState, kQueltHwnd, kNetSupportingWmCheck,
  kNetWmState, kNetWmStateMaximizedHorz, kNetWmStateMaximizedVert, kWmClass, kAtomCount
};

struct Connection {
  Display* display = nullptr;
  int screen = 0;
  Window root = 0;
  unsigned long epoch = 0;     // counts connections, so that objects notice a new one
  bool shm = false;            // MIT-SHM present and not yet found unusable
  Visual* argb_visual = nullptr;
  XIM im = nullptr;
  bool im_tried = false;
  Cursor arrow = 0;            // made at the first window that shows the arrow
  Atom atom[kAtomCount] = {};
  int error = 0;               // last X error on this connection (errors never end the process)
};
extern Connection conn;

bool connect();                // opens the connection when none is open; false without display
void disconnect_if_idle();     // closes it when no window is left
void errors_reset();
int errors_sync();             // XSync, then the first error code since errors_reset, or 0
int display_dpi();             // Xft.dpi or 96; connects only for the query when needed
int dpi_from_resources(const char* resources);  // Xft.dpi of a resource string, else 96
Cursor cursor_for(HCURSOR cursor);
bool window_manager_running();

// ---- GDI objects ---------------------------------------------------------------------------
struct Bitmap {
  int width = 0;
  int height = 0;
  uint8_t* bits = nullptr;     // top row first, width × 4 bytes per row, B, G, R, A
  HDC selected = nullptr;      // the memory DC that has it selected, if any
  bool shared = false;         // bits are a MIT-SHM segment
  XShmSegmentInfo segment = {};
  unsigned long attached_epoch = 0;  // connection on which the segment is attached
  bool attached = false;
};

enum class DcType : uint8_t { screen, window, memory };
struct Dc {
  DcType type = DcType::screen;
  HWND hwnd = nullptr;         // window DCs
  RECT clip = {};              // window DCs: the part of the client area they may draw
  HGDIOBJ bitmap = nullptr;    // memory DCs: the selected bitmap
  int dpi = 0;                 // 0 until asked
};

struct Brush {
  LOGBRUSH log;
};

Dc* dc_get(HDC dc);
Bitmap* bitmap_get(HGDIOBJ bitmap);

// ---- Windows -------------------------------------------------------------------------------
struct WindowClass {
  WindowClass* next;
  ATOM atom;
  UINT style;
  WNDPROC proc;
  HCURSOR cursor;
  WCHAR name[1];  // as long as the name, zero-terminated
};

// Flags of WINDOWPOS that this layer adds for its default procedure: the client area kept its
// place or its size, so WM_MOVE or WM_SIZE is not due.
constexpr UINT kNoClientSize = 0x0800;
constexpr UINT kNoClientMove = 0x1000;
constexpr int kMaxSize = 32767;  // the largest X window

// Two signed 16-bit values in the low 32 bits of an LPARAM, x (or width) low.
inline LPARAM pack(int low, int high) {
  return static_cast<LPARAM>(static_cast<uint32_t>(static_cast<uint16_t>(low)) |
                             (static_cast<uint32_t>(static_cast<uint16_t>(high)) << 16));
}

struct Wnd {
  HWND handle = nullptr;
  Wnd* next = nullptr;
  const WindowClass* cls = nullptr;
  WNDPROC proc = nullptr;
  LONG_PTR userdata = 0;
  DWORD style = 0;             // without the state bits WS_VISIBLE, WS_MINIMIZE, WS_MAXIMIZE
  DWORD exstyle = 0;
  WCHAR* text = nullptr;
  // Geometry: the outer top left on the screen, the client size, the frame around it.
  int x = 0, y = 0;
  int cw = 0, ch = 0;
  int frame_left = 0, frame_top = 0, frame_right = 0, frame_bottom = 0;
  bool visible = false;
  bool minimized = false;
  bool destroying = false;
  bool mapped = false;
  bool reparented = false;
  bool focus_on_map = false;
  bool has_focus = false;
  // The X side; remade when the window changes between the default and the ARGB visual.
  Window xwin = 0;
  Visual* visual = nullptr;
  int depth = 0;
  Colormap colormap = 0;       // own colormap of an ARGB window, else 0
  GC gc = nullptr;
  XIC ic = nullptr;
  bool direct = false;         // the visual takes B, G, R, X bytes as they are
  unsigned long configure_serial = 0;  // configure events before this request are stale
  // The update region, kept as its bounding box, and whether it asks for erasing.
  bool dirty = false;
  bool erase = false;
  RECT update = {};
};

inline int outer_width(const Wnd* w) { return w->frame_left + w->cw + w->frame_right; }
inline int outer_height(const Wnd* w) { return w->frame_top + w->ch + w->frame_bottom; }
inline int client_width(const Wnd* w) { return w->minimized ? 0 : w->cw; }
inline int client_height(const Wnd* w) { return w->minimized ? 0 : w->ch; }

Wnd* wnd_get(HWND hwnd);
Wnd* wnd_by_xid(Window xwin);
Wnd* wnd_first();
void invalidate(Wnd* w, const RECT* rect, bool erase);
void ensure_ic(Wnd* w);

// X events that change windows (geometry, mapping, properties, focus, close requests).
void window_event(Wnd* w, XEvent& ev);

// The X window of a record (native.cpp): made on the visual its layered style asks for, with
// the properties that the window manager reads from the title and the style.
bool make_xwindow(Wnd* w);
void destroy_xwindow(Wnd* w);
void apply_title(Wnd* w);
void apply_style(Wnd* w);
void x_configure(Wnd* w);             // to the record's place and client size
void x_map(Wnd* w, bool activate);
void x_unmap(Wnd* w);
void grab_pointer(Wnd* w);

// Placement (geometry.cpp).
void default_minmax(const Wnd* w, MINMAXINFO* info);
void send_pos_changed(HWND hwnd, UINT flags);  // WM_WINDOWPOSCHANGED for the current placement
void restore(HWND hwnd);                       // back from the window manager's minimising

// Puts `width` × `height` pixels from (sx, sy) of a 4-byte top-down buffer of `stride_px`
// pixels per row onto the window's client area at (dx, dy); the rectangles are already
// clipped. `segment` is the buffer's attached shared memory, or null. Finished on the server
// when it returns.
void present(Wnd* w, const uint8_t* bits, int stride_px, int rows, Bitmap* shared, int sx, int sy,
             int dx, int dy, int width, int height);
bool direct_visual(Visual* visual, int depth);

// ---- Message queue -------------------------------------------------------------------------
constexpr int kKeyText = 16;
bool queue_input(const MSG& msg, const uint16_t* text, int length);
void queue_purge(HWND hwnd);
void input_event(Wnd* w, XEvent& ev);   // key, button and motion events become messages
void forget_keys();                     // focus left: no key counts as held any more
POINT last_pointer();

// ---- Keyboard and text ---------------------------------------------------------------------
UINT virtual_key(XKeyEvent* ev, KeySym* keysym_out);
DWORD key_lparam_bits(unsigned keycode);  // scan code and extended flag, bits 16 to 24
uint32_t keysym_to_ucs(KeySym keysym);    // 0 when the keysym types no character
int utf8_to_utf16(const char* text, int length, uint16_t* out, int capacity);
char* utf16_to_utf8(const WCHAR* text);   // malloc'd, or null
size_t wide_length(const WCHAR* text);

}  // namespace quelt::x11
