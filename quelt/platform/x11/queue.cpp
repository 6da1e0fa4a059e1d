// The message queue of the X11 layer. Its order is Win32's: posted messages first, then the
// quit message, then input, then WM_PAINT for a window with an update region. X events are read
// whenever the queue is looked at; those that Win32 sends (size, focus) reach the window
// procedure at once, input is queued, exposure becomes update regions.
#include "x11_p.h"

#include <X11/keysym.h>

#include <poll.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace quelt::x11 {
namespace {

struct Entry {
  MSG msg;
  uint16_t text[kKeyText];  // what a key press typed, for TranslateMessage
  int length;
};

// A ring of entries that grows by doubling, up to a limit as Win32's queue has one.
struct Ring {
  Entry* items = nullptr;
  size_t head = 0;
  size_t count = 0;
  size_t capacity = 0;

  Entry& at(size_t i) { return items[(head + i) % capacity]; }

  bool push(const Entry& e) {
    if (count == capacity) {
      constexpr size_t kLimit = size_t{1} << 16;
      size_t grown = capacity ? capacity * 2 : 64;
      if (grown > kLimit) return false;
      auto* fresh = static_cast<Entry*>(std::malloc(grown * sizeof(Entry)));
      if (!fresh) return false;
      for (size_t i = 0; i < count; ++i) fresh[i] = at(i);
      std::free(items);
      items = fresh;
      head = 0;
      capacity = grown;
    }
    items[(head + count) % capacity] = e;
    ++count;
    return true;
  }

  void pop() {
    head = (head + 1) % capacity;
    --count;
  }

  void purge(HWND hwnd) {
    size_t kept = 0;
    for (size_t i = 0; i < count; ++i)
      if (at(i).msg.hwnd != hwnd) at(kept++) = at(i);
    count = kept;
  }
};

Ring posted;
Ring input;
bool quit_pending = false;
int quit_code = 0;
DWORD key_serial = 0;
POINT pointer = {};
bool key_down[256] = {};
bool x1_down = false, x2_down = false;

// The text of the key message that GetMessageW handed out last, for TranslateMessage.
struct {
  DWORD id;
  uint16_t text[kKeyText];
  int length;
} last_key = {};

DWORD now() {
  timespec t{};
  clock_gettime(CLOCK_MONOTONIC, &t);
  return static_cast<DWORD>(t.tv_sec * 1000 + t.tv_nsec / 1000000);
}

WPARAM mouse_keys(unsigned state) {
  WPARAM keys = 0;
  if (state & Button1Mask) keys |= MK_LBUTTON;
  if (state & Button2Mask) keys |= MK_MBUTTON;
  if (state & Button3Mask) keys |= MK_RBUTTON;
  if (state & ShiftMask) keys |= MK_SHIFT;
  if (state & ControlMask) keys |= MK_CONTROL;
  if (x1_down) keys |= MK_XBUTTON1;
  if (x2_down) keys |= MK_XBUTTON2;
  return keys;
}

void post_units(HWND hwnd, UINT message, const uint16_t* units, int count, LPARAM lparam) {
  for (int i = 0; i < count; ++i) PostMessageW(hwnd, message, units[i], lparam);
}

// The characters of a key press: from the input method when there is one, else from the keysym.
int key_text(Wnd* w, XKeyEvent* key, uint16_t* text, int capacity, KeySym* keysym) {
  char buffer[64];
  int bytes = 0;
  if (w->ic) {
    Status status = 0;
    bytes = Xutf8LookupString(w->ic, key, buffer, sizeof buffer, keysym, &status);
    if (status == XBufferOverflow) {
      auto* big = static_cast<char*>(std::malloc(static_cast<size_t>(bytes) + 1));
      int length = 0;
      if (big) {
        bytes = Xutf8LookupString(w->ic, key, big, bytes, keysym, &status);
        if (status == XLookupChars || status == XLookupBoth)
          length = utf8_to_utf16(big, bytes, text, capacity);
        std::free(big);
      }
      return length;
    }
    if (status == XLookupChars || status == XLookupBoth) return utf8_to_utf16(buffer, bytes, text, capacity);
  } else {
    bytes = XLookupString(key, buffer, sizeof buffer, keysym, nullptr);
    // Without an input method Xlib gives Latin-1 bytes (control characters included).
    if (bytes == 1) {
      text[0] = static_cast<unsigned char>(buffer[0]);
      return 1;
    }
  }
  // Keysyms that name a character beyond what the conversion above knows.
  uint32_t c = keysym_to_ucs(*keysym);
  if (c == 0) return 0;
  if (c >= 0x10000) {
    if (capacity < 2) return 0;
    text[0] = static_cast<uint16_t>(0xD800 + ((c - 0x10000) >> 10));
    text[1] = static_cast<uint16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
    return 2;
  }
  text[0] = static_cast<uint16_t>(c);
  return 1;
}

void key_event(Wnd* w, XKeyEvent* key, bool press) {
  ensure_ic(w);
  HWND hwnd = w->handle;
  POINT at{key->x_root, key->y_root};
  uint16_t text[256];
  int length = 0;
  KeySym keysym = NoSymbol;
  if (press) {
    length = key_text(w, key, text, 256, &keysym);
    if (key->keycode == 0) {
      // A string that the input method committed: characters without a key.
      post_units(hwnd, WM_CHAR, text, length, 1);
      return;
    }
    if (keysym == XK_Delete || keysym == XK_KP_Delete) length = 0;  // Delete types nothing
    if (length > kKeyText) {
      // More than a key types: the characters go ahead of the key message, none is dropped.
      post_units(hwnd, WM_CHAR, text, length, 1);
      length = 0;
    }
  }
  UINT vk = virtual_key(key, nullptr);
  if (vk == 0) {
    if (!press || length == 0) return;
    vk = 0xE7;  // VK_PACKET: a key known only by the character it types
  }
  unsigned code = key->keycode & 0xFF;
  bool repeat = key_down[code];
  key_down[code] = press;
  bool alt = (key->state & Mod1Mask) || vk == VK_MENU;
  bool ctrl = (key->state & ControlMask) != 0;
  bool system = (alt && !ctrl) || vk == VK_F10;
  uint32_t bits = 1u | key_lparam_bits(code) | (alt ? 1u << 29 : 0u);
  if (press)
    bits |= repeat ? 1u << 30 : 0u;
  else
    bits |= (1u << 30) | (1u << 31);
  UINT message = press ? (system ? WM_SYSKEYDOWN : WM_KEYDOWN) : (system ? WM_SYSKEYUP : WM_KEYUP);
  DWORD id = press ? (++key_serial ? key_serial : ++key_serial) : 0;
  MSG msg{hwnd, message, vk, static_cast<LPARAM>(bits), static_cast<DWORD>(key->time), at, id};
  queue_input(msg, text, press ? length : 0);
}

// X grabs the pointer for the window of a press until the release; Win32 gives a window
// pointer messages from outside its client area only while it holds the capture. Whether it
// does is known when the message is taken (the press before it may be what takes the capture).
bool reaches(const MSG& msg) {
  if (msg.message < WM_MOUSEMOVE || msg.message > WM_XBUTTONUP || msg.message == WM_MOUSEWHEEL)
    return true;
  Wnd* w = wnd_get(msg.hwnd);
  if (!w) return false;
  int x = static_cast<int16_t>(static_cast<uint32_t>(msg.lParam) & 0xFFFF);
  int y = static_cast<int32_t>(static_cast<uint32_t>(msg.lParam)) >> 16;
  bool inside = x >= 0 && y >= 0 && x < w->cw && y < w->ch && !w->minimized;
  return inside || GetCapture() == msg.hwnd;
}

void button_event(Wnd* w, XButtonEvent* b, bool press) {
  HWND hwnd = w->handle;
  pointer = POINT{b->x_root, b->y_root};
  MSG msg{hwnd, 0, 0, pack(b->x, b->y), static_cast<DWORD>(b->time), pointer, 0};
  WPARAM keys = mouse_keys(b->state);
  switch (b->button) {
    case Button1:
      msg.message = press ? WM_LBUTTONDOWN : WM_LBUTTONUP;
      msg.wParam = press ? keys | MK_LBUTTON : keys & ~WPARAM{MK_LBUTTON};
      break;
    case Button2:
      msg.message = press ? WM_MBUTTONDOWN : WM_MBUTTONUP;
      msg.wParam = press ? keys | MK_MBUTTON : keys & ~WPARAM{MK_MBUTTON};
      break;
    case Button3:
      msg.message = press ? WM_RBUTTONDOWN : WM_RBUTTONUP;
      msg.wParam = press ? keys | MK_RBUTTON : keys & ~WPARAM{MK_RBUTTON};
      break;
    case Button4:
    case Button5:
    case 6:
    case 7: {
      if (!press) return;  // a notch is a press and a release: one message
      // One notch is WHEEL_DELTA in the high word; the position is on the screen.
      int delta = b->button == Button4 || b->button == 7 ? WHEEL_DELTA : -WHEEL_DELTA;
      msg.message = b->button <= Button5 ? WM_MOUSEWHEEL : WM_MOUSEHWHEEL;
      msg.wParam = keys | (static_cast<WPARAM>(static_cast<uint16_t>(delta)) << 16);
      msg.lParam = pack(b->x_root, b->y_root);
      break;
    }
    case 8:
    case 9: {
      bool first = b->button == 8;
      (first ? x1_down : x2_down) = press;
      msg.message = press ? WM_XBUTTONDOWN : WM_XBUTTONUP;
      msg.wParam = mouse_keys(b->state) | (static_cast<WPARAM>(first ? XBUTTON1 : XBUTTON2) << 16);
      break;
    }
    default: return;
  }
  queue_input(msg, nullptr, 0);
}

void motion_event(Wnd* w, XMotionEvent* m) {
  pointer = POINT{m->x_root, m->y_root};
  MSG msg{w->handle, WM_MOUSEMOVE, mouse_keys(m->state), pack(m->x, m->y),
          static_cast<DWORD>(m->time), pointer, 0};
  // Moves that nobody has read yet merge into the newest, as on Win32.
  if (input.count) {
    Entry& last = input.at(input.count - 1);
    if (last.msg.message == WM_MOUSEMOVE && last.msg.hwnd == msg.hwnd) {
      last.msg = msg;
      return;
    }
  }
  queue_input(msg, nullptr, 0);
}

void handle_event(XEvent& ev) {
  if (ev.type == MappingNotify) {
    XRefreshKeyboardMapping(&ev.xmapping);
    return;
  }
  Wnd* w = wnd_by_xid(ev.xany.window);
  if (!w) return;
  switch (ev.type) {
    case KeyPress:
    case KeyRelease:
    case ButtonPress:
    case ButtonRelease:
    case MotionNotify: input_event(w, ev); break;
    default: window_event(w, ev); break;
  }
}

// Reads every X event that has arrived. Handling one may send messages, destroy windows and
// even close the connection, so the loop looks at the connection anew each time.
void pump() {
  while (conn.display && XPending(conn.display) > 0) {
    XEvent ev;
    XNextEvent(conn.display, &ev);
    if (XFilterEvent(&ev, None)) continue;  // taken by the input method
    handle_event(ev);
  }
}

bool take(MSG* msg, bool remove) {
  if (posted.count) {
    *msg = posted.at(0).msg;
    if (remove) posted.pop();
    return true;
  }
  if (quit_pending) {
    *msg = MSG{nullptr, WM_QUIT, static_cast<WPARAM>(quit_code), 0, now(), pointer, 0};
    if (remove) quit_pending = false;
    return true;
  }
  while (input.count && !reaches(input.at(0).msg)) input.pop();
  if (input.count) {
    Entry& e = input.at(0);
    *msg = e.msg;
    if (remove) {
      if (e.length) {
        last_key.id = e.msg.lPrivate;
        last_key.length = e.length;
        std::memcpy(last_key.text, e.text, sizeof e.text);
      }
      input.pop();
    }
    return true;
  }
  // WM_PAINT stays until the update region is validated: it is made, never queued.
  for (Wnd* w = wnd_first(); w; w = w->next)
    if (w->dirty && w->visible && !w->minimized) {
      *msg = MSG{w->handle, WM_PAINT, 0, 0, now(), pointer, 0};
      return true;
    }
  return false;
}

void wait_for_events() {
  if (!conn.display) {
    // No window is left and nothing is queued: nothing can arrive any more. Win32 waits
    // forever in this case, and so does this layer.
    pause();
    return;
  }
  XFlush(conn.display);
  if (XEventsQueued(conn.display, QueuedAlready) > 0) return;
  pollfd p{ConnectionNumber(conn.display), POLLIN, 0};
  poll(&p, 1, -1);
}

}  // namespace

bool queue_input(const MSG& msg, const uint16_t* text, int length) {
  Entry e{};
  e.msg = msg;
  if (text && length > 0) {
    e.length = length < kKeyText ? length : kKeyText;
    std::memcpy(e.text, text, static_cast<size_t>(e.length) * sizeof(uint16_t));
  }
  return input.push(e);
}

void queue_purge(HWND hwnd) {
  posted.purge(hwnd);
  input.purge(hwnd);
}

void input_event(Wnd* w, XEvent& ev) {
  switch (ev.type) {
    case KeyPress: key_event(w, &ev.xkey, true); break;
    case KeyRelease: key_event(w, &ev.xkey, false); break;
    case ButtonPress: button_event(w, &ev.xbutton, true); break;
    case ButtonRelease: button_event(w, &ev.xbutton, false); break;
    case MotionNotify: motion_event(w, &ev.xmotion); break;
    default: break;
  }
}

void forget_keys() {
  std::memset(key_down, 0, sizeof key_down);
}

POINT last_pointer() { return pointer; }

}  // namespace quelt::x11

using namespace quelt::x11;

BOOL PostMessageW(HWND hwnd, UINT message, WPARAM wparam, LPARAM lparam) {
  if (hwnd && !IsWindow(hwnd)) return FALSE;
  Entry e{};
  e.msg = MSG{hwnd, message, wparam, lparam, now(), pointer, 0};
  return posted.push(e);
}

void PostQuitMessage(int exit_code) {
  quit_pending = true;
  quit_code = exit_code;
}

BOOL GetMessageW(MSG* msg, HWND, UINT, UINT) {
  if (!msg) return -1;
  for (;;) {
    pump();
    if (take(msg, true)) return msg->message != WM_QUIT;
    wait_for_events();
  }
}

BOOL PeekMessageW(MSG* msg, HWND, UINT, UINT, UINT remove) {
  if (!msg) return FALSE;
  pump();
  return take(msg, (remove & PM_REMOVE) != 0);
}

BOOL TranslateMessage(const MSG* msg) {
  if (!msg) return FALSE;
  if (msg->message != WM_KEYDOWN && msg->message != WM_SYSKEYDOWN)
    return msg->message == WM_KEYUP || msg->message == WM_SYSKEYUP;
  // Characters are made once, from the key message that was taken last.
  if (msg->lPrivate && last_key.id == msg->lPrivate && last_key.length > 0) {
    UINT message = msg->message == WM_KEYDOWN ? WM_CHAR : WM_SYSCHAR;
    int length = last_key.length;
    last_key.length = 0;
    post_units(msg->hwnd, message, last_key.text, length, msg->lParam);
  }
  return TRUE;
}

LRESULT DispatchMessageW(const MSG* msg) {
  if (!msg) return 0;
  Wnd* w = wnd_get(msg->hwnd);
  return w && w->proc ? w->proc(msg->hwnd, msg->message, msg->wParam, msg->lParam) : 0;
}
