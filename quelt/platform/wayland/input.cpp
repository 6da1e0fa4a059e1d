// Wayland input into the core: the seat's pointer (motion, buttons, the wheel) and keyboard
// (xkbcommon keymaps, the compositor's repeat rate), and text that an input method commits
// through text-input v3. The pointer on quelt's own frame moves, resizes and presses buttons
// there instead of reaching the window procedure. While a button pressed in the client area is
// held, the compositor keeps sending the pointer to the window, also from outside it: that is
// the capture that Wayland gives; SetCapture cannot reach further.
#include "wayland_p.h"

#include <linux/input-event-codes.h>
#include <sys/mman.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>

namespace quelt::wl {
namespace {

struct Seat {
  HWND pointer_window = nullptr;
  HWND key_window = nullptr;
  int x = 0, y = 0;            // pointer in buffer pixels of pointer_window's surface
  uint32_t serial = 0;         // of the last pointer enter or button, for moves and resizes
  WPARAM buttons = 0;          // MK_ bits of the buttons held
  bool client_grab = false;    // a button went down in the client area and is still held
  int discrete[2] = {};        // notches announced for the next axis event
  double wheel[2] = {};        // continuous scrolling below one notch
  xkb_context* xkb = nullptr;
  xkb_keymap* keymap = nullptr;
  xkb_state* state = nullptr;
  int repeat_rate = 25, repeat_delay = 600;
  int timer = -1;
  uint32_t repeat_key = 0, repeat_time = 0;
  char* committed = nullptr;   // text-input: the string of the next done
} seat;

Wnd* pointer_wnd() { return wnd_get(seat.pointer_window); }

POINT on_screen(const Wnd* w, int x, int y) { return POINT{w->x + x, w->y + y}; }

WPARAM mouse_keys() {
  WPARAM keys = seat.buttons;
  if (seat.state && xkb_state_mod_name_is_active(seat.state, XKB_MOD_NAME_SHIFT, XKB_STATE_MODS_EFFECTIVE) > 0)
    keys |= MK_SHIFT;
  if (seat.state && xkb_state_mod_name_is_active(seat.state, XKB_MOD_NAME_CTRL, XKB_STATE_MODS_EFFECTIVE) > 0)
    keys |= MK_CONTROL;
  return keys;
}

void pointer_at(Wnd* w, wl_fixed_t sx, wl_fixed_t sy) {
  const double s = static_cast<double>(native(w)->scale) / kScaleUnit;
  seat.x = static_cast<int>(wl_fixed_to_double(sx) * s);
  seat.y = static_cast<int>(wl_fixed_to_double(sy) * s);
  set_pointer(on_screen(w, seat.x, seat.y));
}

void client_motion(Wnd* w, uint32_t time) {
  const int cx = seat.x - w->frame_left, cy = seat.y - w->frame_top;
  queue_motion(MSG{w->handle, WM_MOUSEMOVE, mouse_keys(), pack(cx, cy), time, last_pointer(), 0});
}

void pointer_enter(void*, wl_pointer*, uint32_t serial, wl_surface* surface, wl_fixed_t sx, wl_fixed_t sy) {
  Wnd* w = wnd_of(surface);
  if (!w) return;
  seat.pointer_window = w->handle;
  seat.serial = serial;
  pointer_at(w, sx, sy);
  // Coming in is a move onto the window, as Win32 reports it.
  const Part part = part_at(w, seat.x, seat.y);
  frame_hover(w, part);
  if (part == Part::client) {
    using namespace std::chrono;
    client_motion(w, static_cast<DWORD>(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count()));
  }
}

void pointer_leave(void*, wl_pointer*, uint32_t, wl_surface*) {
  if (Wnd* w = pointer_wnd()) frame_hover(w, Part::client);
  seat.pointer_window = nullptr;
  seat.buttons = 0;
  seat.client_grab = false;
}

void pointer_motion(void*, wl_pointer*, uint32_t time, wl_fixed_t sx, wl_fixed_t sy) {
  Wnd* w = pointer_wnd();
  if (!w) return;
  pointer_at(w, sx, sy);
  const Part part = part_at(w, seat.x, seat.y);
  frame_hover(w, seat.client_grab ? Part::client : part);
  if (part == Part::client || seat.client_grab) client_motion(w, time);
}

void pointer_button(void*, wl_pointer*, uint32_t serial, uint32_t time, uint32_t button, uint32_t state) {
  Wnd* w = pointer_wnd();
  if (!w) return;
  seat.serial = serial;
  const bool press = state == WL_POINTER_BUTTON_STATE_PRESSED;
  const Part part = part_at(w, seat.x, seat.y);
  if (!seat.client_grab && part != Part::client) {
    if (button == BTN_LEFT) press ? frame_press(w, part, seat.x, seat.y, serial, time) : frame_release(w, part);
    return;
  }
  UINT down = 0, up = 0;
  WPARAM bit = 0, x = 0;
  switch (button) {
    case BTN_LEFT: down = WM_LBUTTONDOWN, up = WM_LBUTTONUP, bit = MK_LBUTTON; break;
    case BTN_RIGHT: down = WM_RBUTTONDOWN, up = WM_RBUTTONUP, bit = MK_RBUTTON; break;
    case BTN_MIDDLE: down = WM_MBUTTONDOWN, up = WM_MBUTTONUP, bit = MK_MBUTTON; break;
    case BTN_SIDE: down = WM_XBUTTONDOWN, up = WM_XBUTTONUP, bit = MK_XBUTTON1, x = XBUTTON1; break;
    case BTN_EXTRA: down = WM_XBUTTONDOWN, up = WM_XBUTTONUP, bit = MK_XBUTTON2, x = XBUTTON2; break;
    default: return;
  }
  if (press)
    seat.buttons |= bit;
  else
    seat.buttons &= ~bit;
  seat.client_grab = seat.buttons != 0;
  const int cx = seat.x - w->frame_left, cy = seat.y - w->frame_top;
  queue_input(MSG{w->handle, press ? down : up, mouse_keys() | (x << 16), pack(cx, cy), time, last_pointer(), 0});
}

// One notch is WHEEL_DELTA; the wheel turned towards the user (down) is negative, as is a
// horizontal turn to the left. Without notches, 10 units of scrolling make one.
void wheel(Wnd* w, uint32_t axis, int delta, uint32_t time) {
  if (delta == 0) return;
  const bool vertical = axis == WL_POINTER_AXIS_VERTICAL_SCROLL;
  const WPARAM word = mouse_keys() | (static_cast<WPARAM>(static_cast<uint16_t>(vertical ? -delta : delta)) << 16);
  const POINT at = last_pointer();
  queue_input(MSG{w->handle, static_cast<UINT>(vertical ? WM_MOUSEWHEEL : WM_MOUSEHWHEEL), word, pack(at.x, at.y), time, at, 0});
}

void pointer_axis(void*, wl_pointer*, uint32_t time, uint32_t axis, wl_fixed_t value) {
  Wnd* w = pointer_wnd();
  if (!w || axis > 1) return;
  if (seat.discrete[axis]) {
    wheel(w, axis, seat.discrete[axis] * WHEEL_DELTA, time);
    seat.discrete[axis] = 0;
    seat.wheel[axis] = 0;
    return;
  }
  seat.wheel[axis] += wl_fixed_to_double(value) * WHEEL_DELTA / 10.0;
  const int whole = static_cast<int>(seat.wheel[axis]);
  seat.wheel[axis] -= whole;
  wheel(w, axis, whole, time);
}

void pointer_discrete(void*, wl_pointer*, uint32_t axis, int32_t discrete) {
  if (axis <= 1) seat.discrete[axis] = discrete;
}

void pointer_frame(void*, wl_pointer*) {}
void pointer_source(void*, wl_pointer*, uint32_t) {}
void pointer_stop(void*, wl_pointer*, uint32_t, uint32_t) {}

const wl_pointer_listener pointer_listener = {
    .enter = pointer_enter,
    .leave = pointer_leave,
    .motion = pointer_motion,
    .button = pointer_button,
    .axis = pointer_axis,
    .frame = pointer_frame,
    .axis_source = pointer_source,
    .axis_stop = pointer_stop,
    .axis_discrete = pointer_discrete,
    .axis_value120 = nullptr,  // version 8, not bound
};

// ---- Keyboard ------------------------------------------------------------------------------
void drop_keymap() {
  if (seat.state) xkb_state_unref(seat.state);
  if (seat.keymap) xkb_keymap_unref(seat.keymap);
  seat.state = nullptr;
  seat.keymap = nullptr;
}

void stop_repeat() {
  seat.repeat_key = 0;
  if (seat.timer >= 0) {
    itimerspec off{};
    timerfd_settime(seat.timer, 0, &off, nullptr);
  }
}

void keyboard_keymap(void*, wl_keyboard*, uint32_t format, int32_t fd, uint32_t size) {
  if (format != WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1 || size == 0) {
    close(fd);
    return;
  }
  void* text = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
  close(fd);
  if (text == MAP_FAILED) return;
  if (!seat.xkb) seat.xkb = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
  xkb_keymap* keymap = seat.xkb ? xkb_keymap_new_from_buffer(seat.xkb, static_cast<const char*>(text),
                                                             strnlen(static_cast<const char*>(text), size),
                                                             XKB_KEYMAP_FORMAT_TEXT_V1, XKB_KEYMAP_COMPILE_NO_FLAGS)
                                : nullptr;
  munmap(text, size);
  xkb_state* state = keymap ? xkb_state_new(keymap) : nullptr;
  if (!state) {
    if (keymap) xkb_keymap_unref(keymap);
    return;
  }
  drop_keymap();
  seat.keymap = keymap;
  seat.state = state;
}

void keyboard_enter(void*, wl_keyboard*, uint32_t, wl_surface* surface, wl_array*) {
  Wnd* w = wnd_of(surface);
  if (!w) return;
  seat.key_window = w->handle;
  if (!w->has_focus) {
    w->has_focus = true;
    SendMessageW(w->handle, WM_SETFOCUS, 0, 0);
  }
}

void keyboard_leave(void*, wl_keyboard*, uint32_t, wl_surface* surface) {
  stop_repeat();
  forget_keys();
  Wnd* w = wnd_get(seat.key_window);
  seat.key_window = nullptr;
  if (w && w->has_focus) {
    w->has_focus = false;
    SendMessageW(w->handle, WM_KILLFOCUS, 0, 0);
  }
}

bool active(const char* modifier) {
  return xkb_state_mod_name_is_active(seat.state, modifier, XKB_STATE_MODS_EFFECTIVE) > 0;
}

// A key pressed (again, when it repeats) or released: its virtual key from the keysym of its
// first level (the keypad's second with Num Lock on), else from its place; its character from
// the keymap's state, with Control applied as xkbcommon applies it.
void key(Wnd* w, uint32_t keycode, bool press, uint32_t time) {
  const xkb_keysym_t* syms = nullptr;
  const xkb_layout_index_t layout = xkb_state_key_get_layout(seat.state, keycode);
  xkb_keysym_t first = XKB_KEY_NoSymbol;
  if (layout != XKB_LAYOUT_INVALID &&
      xkb_keymap_key_get_syms_by_level(seat.keymap, keycode, layout, 0, &syms) > 0)
    first = syms[0];
  const xkb_keysym_t sym = xkb_state_key_get_one_sym(seat.state, keycode);
  if (first >= XKB_KEY_KP_Home && first <= XKB_KEY_KP_Delete && active(XKB_MOD_NAME_NUM)) first = sym;
  UINT vk = vk_of_keysym(first);
  if (!vk) vk = vk_of_position(keycode);
  uint16_t text[2];
  int length = 0;
  if (press && sym != XKB_KEY_Delete && sym != XKB_KEY_KP_Delete)
    length = ucs_to_utf16(xkb_state_key_get_utf32(seat.state, keycode), text, 2);
  key_input(w, vk, keycode, press, active(XKB_MOD_NAME_ALT), active(XKB_MOD_NAME_CTRL), time, last_pointer(), text,
            length);
}

void keyboard_key(void*, wl_keyboard*, uint32_t, uint32_t time, uint32_t code, uint32_t state) {
  Wnd* w = wnd_get(seat.key_window);
  if (!w || !seat.state) return;
  const uint32_t keycode = code + 8;
  const bool press = state == WL_KEYBOARD_KEY_STATE_PRESSED;
  key(w, keycode, press, time);
  if (press && seat.repeat_rate > 0 && xkb_keymap_key_repeats(seat.keymap, keycode)) {
    if (seat.timer < 0) seat.timer = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    if (seat.timer >= 0) {
      seat.repeat_key = keycode;
      seat.repeat_time = time + static_cast<uint32_t>(seat.repeat_delay);
      const long interval = 1000000000L / seat.repeat_rate;
      itimerspec when{{interval / 1000000000L, interval % 1000000000L},
                      {seat.repeat_delay / 1000, (seat.repeat_delay % 1000) * 1000000L}};
      timerfd_settime(seat.timer, 0, &when, nullptr);
    }
  } else if (!press && keycode == seat.repeat_key) {
    stop_repeat();
  }
}

void keyboard_modifiers(void*, wl_keyboard*, uint32_t, uint32_t depressed, uint32_t latched, uint32_t locked,
                        uint32_t group) {
  if (seat.state) xkb_state_update_mask(seat.state, depressed, latched, locked, 0, 0, group);
}

void keyboard_repeat(void*, wl_keyboard*, int32_t rate, int32_t delay) {
  seat.repeat_rate = rate > 0 ? std::min(rate, 1000) : 0;
  seat.repeat_delay = delay > 0 ? delay : 0;
  if (seat.repeat_rate == 0) stop_repeat();
}

const wl_keyboard_listener keyboard_listener = {
    .keymap = keyboard_keymap,
    .enter = keyboard_enter,
    .leave = keyboard_leave,
    .key = keyboard_key,
    .modifiers = keyboard_modifiers,
    .repeat_info = keyboard_repeat,
};

// ---- Text from an input method -------------------------------------------------------------
void text_enter(void*, zwp_text_input_v3* input, wl_surface*) {
  zwp_text_input_v3_enable(input);
  zwp_text_input_v3_set_content_type(input, ZWP_TEXT_INPUT_V3_CONTENT_HINT_NONE,
                                     ZWP_TEXT_INPUT_V3_CONTENT_PURPOSE_NORMAL);
  zwp_text_input_v3_commit(input);
}
void text_leave(void*, zwp_text_input_v3* input, wl_surface*) {
  zwp_text_input_v3_disable(input);
  zwp_text_input_v3_commit(input);
}
void text_preedit(void*, zwp_text_input_v3*, const char*, int32_t, int32_t) {}
void text_commit(void*, zwp_text_input_v3*, const char* text) {
  std::free(seat.committed);
  seat.committed = text ? strdup(text) : nullptr;
}
void text_delete(void*, zwp_text_input_v3*, uint32_t, uint32_t) {}
void text_done(void*, zwp_text_input_v3*, uint32_t) {
  char* text = seat.committed;
  seat.committed = nullptr;
  Wnd* w = wnd_get(seat.key_window);
  if (text && w) {
    const int length = static_cast<int>(strnlen(text, 4096));
    auto* units = static_cast<uint16_t*>(std::malloc(static_cast<size_t>(length + 1) * sizeof(uint16_t)));
    if (units) {
      const int count = utf8_to_utf16(text, length, units, length + 1);
      if (count > 0) text_input(w, units, count);
      std::free(units);
    }
  }
  std::free(text);
}
const zwp_text_input_v3_listener text_listener = {text_enter, text_leave, text_preedit, text_commit,
                                                  text_delete, text_done};

void capabilities(void*, wl_seat* s, uint32_t caps) {
  const bool pointer = caps & WL_SEAT_CAPABILITY_POINTER, keyboard = caps & WL_SEAT_CAPABILITY_KEYBOARD;
  if (pointer && !conn.pointer) {
    conn.pointer = wl_seat_get_pointer(s);
    wl_pointer_add_listener(conn.pointer, &pointer_listener, nullptr);
  } else if (!pointer && conn.pointer) {
    wl_pointer_destroy(conn.pointer);
    conn.pointer = nullptr;
  }
  if (keyboard && !conn.keyboard) {
    conn.keyboard = wl_seat_get_keyboard(s);
    wl_keyboard_add_listener(conn.keyboard, &keyboard_listener, nullptr);
  } else if (!keyboard && conn.keyboard) {
    wl_keyboard_destroy(conn.keyboard);
    conn.keyboard = nullptr;
  }
  if (!conn.text_input && conn.text_inputs) {
    conn.text_input = zwp_text_input_manager_v3_get_text_input(conn.text_inputs, s);
    zwp_text_input_v3_add_listener(conn.text_input, &text_listener, nullptr);
  }
}
void seat_name(void*, wl_seat*, const char*) {}
const wl_seat_listener seat_listener = {capabilities, seat_name};

}  // namespace

void bind_seat(wl_registry* registry, uint32_t name, uint32_t version) {
  if (conn.seat) return;  // the first seat is the one
  // Up to version 7: the wheel's notches come as axis_discrete.
  conn.seat = static_cast<wl_seat*>(wl_registry_bind(registry, name, &wl_seat_interface, std::min(version, 7u)));
  wl_seat_add_listener(conn.seat, &seat_listener, nullptr);
}

void release_seat() {
  stop_repeat();
  if (seat.timer >= 0) close(seat.timer);
  drop_keymap();
  if (seat.xkb) xkb_context_unref(seat.xkb);
  std::free(seat.committed);
  seat = Seat{};
  if (conn.text_input) zwp_text_input_v3_destroy(conn.text_input);
  if (conn.pointer) wl_pointer_destroy(conn.pointer);
  if (conn.keyboard) wl_keyboard_destroy(conn.keyboard);
  if (conn.seat) wl_seat_destroy(conn.seat);
  conn.text_input = nullptr;
  conn.pointer = nullptr;
  conn.keyboard = nullptr;
  conn.seat = nullptr;
}

void window_gone(Wnd* w) {
  if (seat.pointer_window == w->handle) {
    seat.pointer_window = nullptr;
    seat.buttons = 0;
    seat.client_grab = false;
  }
  if (seat.key_window == w->handle) {
    stop_repeat();
    seat.key_window = nullptr;
  }
}

int repeat_fd() { return seat.repeat_key ? seat.timer : -1; }

// The repeat timer ran out once or more: the held key repeats, up to a few times at once after
// a stall, so that a slow frame does not turn into a burst of characters.
void repeat_due() {
  uint64_t count = 0;
  if (seat.timer < 0 || read(seat.timer, &count, sizeof count) != sizeof count || !seat.repeat_key) return;
  Wnd* w = wnd_get(seat.key_window);
  if (!w || !seat.state) return;
  const uint32_t interval = 1000u / static_cast<uint32_t>(seat.repeat_rate);
  for (uint64_t i = 0; i < count && i < 4; ++i) {
    key(w, seat.repeat_key, true, seat.repeat_time);
    seat.repeat_time += interval;
  }
}

}  // namespace quelt::wl
