// Inside the platform layer's Win32 core: the handle table, the objects behind HWND, HDC and
// HBITMAP, and the functions the core's files share. The last section is what backends call
// to hand native events up to the core.
#pragma once

#include <quelt/platform/backend_p.h>
#include <quelt/platform/win32.h>

#include <cstddef>
#include <cstdint>

namespace quelt::platform {

// ---- Handles -------------------------------------------------------------------------------
// Every handle is an index into one table with a generation count, so that a handle of an
// object already gone never reaches a newer object that took its slot.
enum class Kind : uint8_t { none, window, dc, bitmap, brush, icon, cursor };

void* handle_new(Kind kind, void* object);           // null when the table is full
void* handle_object(const void* handle, Kind kind);  // null unless live and of that kind
Kind handle_kind(const void* handle);                // Kind::none unless live
void handle_drop(const void* handle);

// Handles that live for the whole process: the selected bitmap of a fresh memory DC, the
// application icon and the arrow cursor.
HGDIOBJ stock_bitmap();
HICON stock_icon();
HCURSOR stock_cursor();

// ---- GDI objects ---------------------------------------------------------------------------
struct Bitmap {
  int width = 0;
  int height = 0;
  uint8_t* bits = nullptr;  // top row first, width x 4 bytes per row, B, G, R, A
  HDC selected = nullptr;   // the memory DC that has it selected, if any
  void* native = nullptr;   // the backend's, when the memory is the backend's (new_bits)
};

enum class DcType : uint8_t { screen, window, memory };
struct Dc {
  DcType type = DcType::screen;
  HWND hwnd = nullptr;       // window DCs
  RECT clip = {};            // window DCs: the part of the client area they may draw
  HGDIOBJ bitmap = nullptr;  // memory DCs: the selected bitmap
  int dpi = 0;               // 0 until asked
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

// Flags of WINDOWPOS that the core adds for its default procedure: the client area kept its
// place or its size, so WM_MOVE or WM_SIZE is not due.
constexpr UINT kNoClientSize = 0x0800;
constexpr UINT kNoClientMove = 0x1000;
constexpr int kMaxSize = 32767;  // the largest window side

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
  DWORD style = 0;  // without the state bits WS_VISIBLE, WS_MINIMIZE, WS_MAXIMIZE
  DWORD exstyle = 0;
  WCHAR* text = nullptr;
  // Geometry: the outer top left on the screen, the client size, the frame around it.
  int x = 0, y = 0;
  int cw = 0, ch = 0;
  int frame_left = 0, frame_top = 0, frame_right = 0, frame_bottom = 0;
  bool visible = false;
  bool minimized = false;
  bool destroying = false;
  bool has_focus = false;
  // The update region, kept as its bounding box, and whether it asks for erasing.
  bool dirty = false;
  bool erase = false;
  RECT update = {};
  void* native = nullptr;  // the backend's, from create to destroy
};

inline int outer_width(const Wnd* w) { return w->frame_left + w->cw + w->frame_right; }
inline int outer_height(const Wnd* w) { return w->frame_top + w->ch + w->frame_bottom; }
inline int client_width(const Wnd* w) { return w->minimized ? 0 : w->cw; }
inline int client_height(const Wnd* w) { return w->minimized ? 0 : w->ch; }

Wnd* wnd_get(HWND hwnd);
Wnd* wnd_first();
void queue_purge(HWND hwnd);
void default_minmax(const Wnd* w, MINMAXINFO* info);

// ---- Text ----------------------------------------------------------------------------------
int utf8_to_utf16(const char* text, int length, uint16_t* out, int capacity);
// One code point as one unit or a surrogate pair: the units written, 0 for 0, for a code past
// U+10FFFF or when `capacity` has no room.
int ucs_to_utf16(uint32_t code, uint16_t* out, int capacity);
char* utf16_to_utf8(const WCHAR* text);  // malloc'd, or null
size_t wide_length(const WCHAR* text);

// ---- For backends: native events into the core ---------------------------------------------
// Keys are named by keysyms and evdev key codes (+ 8), as xkbcommon names them.
UINT vk_of_keysym(uint32_t keysym);    // 0 for a keysym that names no virtual key
UINT vk_of_position(unsigned keycode); // letters and digits by their place on a PC keyboard
uint32_t keysym_to_ucs(uint32_t keysym);  // 0 when the keysym types no character
DWORD key_lparam_bits(unsigned keycode);  // scan code and extended flag, bits 16 to 24

constexpr int kKeyText = 16;  // characters a key message carries for TranslateMessage
// A key pressed or released: the WM_(SYS)KEYDOWN/UP message with repeat, scan code, context
// and transition bits, and for a press what it typed (WM_CHAR from TranslateMessage).
void key_input(Wnd* w, UINT vk, unsigned keycode, bool press, bool alt, bool ctrl, DWORD time, POINT at,
               const uint16_t* text, int length);
void text_input(Wnd* w, const uint16_t* text, int length);  // characters without a key
bool queue_input(const MSG& msg);
void queue_motion(const MSG& msg);  // merges with a move nobody has read yet
void forget_keys();                 // focus left: no key counts as held any more
POINT last_pointer();
void set_pointer(POINT at);

void invalidate(Wnd* w, const RECT* rect, bool erase);
void send_pos_changed(HWND hwnd, UINT flags);  // WM_WINDOWPOSCHANGED for the current placement
void restore(HWND hwnd);                       // back from the window manager's minimising

}  // namespace quelt::platform
