// The message queues of the Win32 core. Their order is Win32's: posted messages first, then
// the quit message, then input, then WM_PAINT for a window with an update region. The backend's
// events are read whenever the queue is looked at; those that Win32 sends (size, focus) reach
// the window procedure at once, input is queued here, exposure becomes update regions.
#include "core_p.h"

#include <time.h>

#include <cstdlib>
#include <cstring>

namespace quelt::platform {
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

bool push_input(const MSG& msg, const uint16_t* text, int length) {
  Entry e{};
  e.msg = msg;
  if (text && length > 0) {
    e.length = length < kKeyText ? length : kKeyText;
    std::memcpy(e.text, text, static_cast<size_t>(e.length) * sizeof(uint16_t));
  }
  return input.push(e);
}

void post_units(HWND hwnd, UINT message, const uint16_t* units, int count, LPARAM lparam) {
  for (int i = 0; i < count; ++i) PostMessageW(hwnd, message, units[i], lparam);
}

// A native pointer grab may send a window pointer events from outside it; Win32 gives a window
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

}  // namespace

bool queue_input(const MSG& msg) { return push_input(msg, nullptr, 0); }

void queue_motion(const MSG& msg) {
  pointer = msg.pt;
  // Moves that nobody has read yet merge into the newest, as on Win32.
  if (input.count) {
    Entry& last = input.at(input.count - 1);
    if (last.msg.message == WM_MOUSEMOVE && last.msg.hwnd == msg.hwnd) {
      last.msg = msg;
      return;
    }
  }
  queue_input(msg);
}

void text_input(Wnd* w, const uint16_t* text, int length) {
  post_units(w->handle, WM_CHAR, text, length, 1);
}

void key_input(Wnd* w, UINT vk, unsigned keycode, bool press, bool alt, bool ctrl, DWORD time, POINT at,
               const uint16_t* text, int length) {
  HWND hwnd = w->handle;
  if (!press) length = 0;
  if (length > kKeyText) {
    // More than a key types: the characters go ahead of the key message, none is dropped.
    post_units(hwnd, WM_CHAR, text, length, 1);
    length = 0;
  }
  if (vk == 0) {
    if (!press || length == 0) return;
    vk = 0xE7;  // VK_PACKET: a key known only by the character it types
  }
  unsigned code = keycode & 0xFF;
  bool repeat = key_down[code];
  key_down[code] = press;
  alt = alt || vk == VK_MENU;
  bool system = (alt && !ctrl) || vk == VK_F10;
  uint32_t bits = 1u | key_lparam_bits(code) | (alt ? 1u << 29 : 0u);
  if (press)
    bits |= repeat ? 1u << 30 : 0u;
  else
    bits |= (1u << 30) | (1u << 31);
  UINT message = press ? (system ? WM_SYSKEYDOWN : WM_KEYDOWN) : (system ? WM_SYSKEYUP : WM_KEYUP);
  DWORD id = press ? (++key_serial ? key_serial : ++key_serial) : 0;
  MSG msg{hwnd, message, vk, static_cast<LPARAM>(bits), time, at, id};
  push_input(msg, text, length);
}

void queue_purge(HWND hwnd) {
  posted.purge(hwnd);
  input.purge(hwnd);
}

void forget_keys() { std::memset(key_down, 0, sizeof key_down); }

POINT last_pointer() { return pointer; }
void set_pointer(POINT at) { pointer = at; }

}  // namespace quelt::platform

using namespace quelt::platform;

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
  backend& system = system_backend();
  for (;;) {
    system.pump();
    if (take(msg, true)) return msg->message != WM_QUIT;
    system.wait();
  }
}

BOOL PeekMessageW(MSG* msg, HWND, UINT, UINT, UINT remove) {
  if (!msg) return FALSE;
  system_backend().pump();
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
