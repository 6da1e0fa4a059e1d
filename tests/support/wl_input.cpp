// Input for the window suite on a wlroots compositor: a virtual pointer and a virtual keyboard
// (with the default xkb keymap), and an input method, driven by one command per line on standard
// input; each command is answered "ok" once the compositor has handled it (a roundtrip): "move X Y W H"
// (the pointer to X, Y of a layout W x H), "button CODE 0|1" (evdev code, 1 pressed), "wheel AXIS N" (N
// notches, axis 0 vertical), "key KEYSYM 0|1" (the key that types it unshifted), "text UTF-8" (committed
// by the input method), "reset" (keys and buttons up, pointer top left, the keyboard plugged in anew).
#include <wayland-client.h>
#include <xkbcommon/xkbcommon.h>

#include <sys/mman.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <set>

#include "input-method-unstable-v2.h"
#include "virtual-keyboard-unstable-v1.h"
#include "wlr-virtual-pointer-unstable-v1.h"

namespace {

wl_seat* seat = nullptr;
zwp_virtual_keyboard_manager_v1* keyboards = nullptr;
zwlr_virtual_pointer_manager_v1* pointers = nullptr;
zwp_input_method_manager_v2* methods = nullptr;
uint32_t done_count = 0;

// The first seat and the managers of the devices, as the compositor announces them.
template <class T> void take(T*& to, wl_registry* r, uint32_t name, const char* interface, const wl_interface& wanted) {
  if (!to && !std::strcmp(interface, wanted.name)) to = static_cast<T*>(wl_registry_bind(r, name, &wanted, 1));
}
const wl_registry_listener registry_listener = {
    [](void*, wl_registry* r, uint32_t name, const char* interface, uint32_t) {
      take(seat, r, name, interface, wl_seat_interface);
      take(keyboards, r, name, interface, zwp_virtual_keyboard_manager_v1_interface);
      take(pointers, r, name, interface, zwlr_virtual_pointer_manager_v1_interface);
      take(methods, r, name, interface, zwp_input_method_manager_v2_interface);
    },
    [](void*, wl_registry*, uint32_t) {}};

// Of the input method's events only "done" matters: commits name their count.
using Method = zwp_input_method_v2;
const zwp_input_method_v2_listener method_listener = {
    [](void*, Method*) {}, [](void*, Method*) {}, [](void*, Method*, const char*, uint32_t, uint32_t) {},
    [](void*, Method*, uint32_t) {}, [](void*, Method*, uint32_t, uint32_t) {}, [](void*, Method*) { ++done_count; },
    [](void*, Method*) {}};

uint32_t now() {
  return uint32_t(std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch()).count());
}

xkb_state* state = nullptr;  // the keyboard's modifiers, which a virtual keyboard sends itself

// The default keymap (xkb's rules: evdev, pc105, us) in shared memory for the compositor.
bool send_keymap(zwp_virtual_keyboard_v1* keyboard) {
  xkb_context* context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
  xkb_keymap* keymap = context ? xkb_keymap_new_from_names(context, nullptr, XKB_KEYMAP_COMPILE_NO_FLAGS) : nullptr;
  if (!keymap) return false;
  state = xkb_state_new(keymap);  // which holds its own reference to the keymap
  char* text = xkb_keymap_get_as_string(keymap, XKB_KEYMAP_FORMAT_TEXT_V1);
  const size_t size = std::strlen(text) + 1;
  const int fd = memfd_create("keymap", MFD_CLOEXEC);
  const bool ok = fd >= 0 && write(fd, text, size) == static_cast<ssize_t>(size);
  if (ok) zwp_virtual_keyboard_v1_keymap(keyboard, WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1, fd, static_cast<uint32_t>(size));
  close(fd), std::free(text), xkb_keymap_unref(keymap), xkb_context_unref(context);
  return ok;
}

// The evdev code of the key that gives `sym` at the first level, 0 when none does.
uint32_t code_of(xkb_keysym_t sym) {
  xkb_keymap* keymap = xkb_state_get_keymap(state);
  for (xkb_keycode_t k = xkb_keymap_min_keycode(keymap); k <= xkb_keymap_max_keycode(keymap); ++k) {
    const xkb_keysym_t* syms = nullptr;
    if (xkb_keymap_key_get_syms_by_level(keymap, k, 0, 0, &syms) > 0 && syms[0] == sym) return k - 8;
  }
  return 0;
}

}  // namespace

int main() {
  wl_display* display = wl_display_connect(nullptr);
  if (!display) return std::fprintf(stderr, "wl_input: no compositor\n"), 1;
  wl_registry* registry = wl_display_get_registry(display);
  wl_registry_add_listener(registry, &registry_listener, nullptr);
  wl_display_roundtrip(display);
  zwp_virtual_keyboard_v1* keyboard = nullptr;
  zwlr_virtual_pointer_v1* pointer = nullptr;
  zwp_input_method_v2* method = nullptr;
  auto end = [&](const char* why) {
    if (why) std::fprintf(stderr, "wl_input: %s\n", why);
    // The compositor drops the devices with the connection; their proxies are freed here.
    for (void* p : std::initializer_list<void*>{keyboard, pointer, method, keyboards, pointers, methods, seat, registry})
      if (p) wl_proxy_destroy(static_cast<wl_proxy*>(p));
    wl_display_disconnect(display);
    return why ? 1 : 0;
  };
  if (!seat || !keyboards || !pointers) return end("no virtual devices");
  keyboard = zwp_virtual_keyboard_manager_v1_create_virtual_keyboard(keyboards, seat);
  pointer = zwlr_virtual_pointer_manager_v1_create_virtual_pointer(pointers, seat);
  method = methods ? zwp_input_method_manager_v2_get_input_method(methods, seat) : nullptr;
  if (method) zwp_input_method_v2_add_listener(method, &method_listener, nullptr);
  if (!send_keymap(keyboard)) return end("no keymap");
  wl_display_roundtrip(display);
  std::set<uint32_t> keys, buttons;
  auto key = [&](uint32_t code, uint32_t down) {  // with the held modifiers it changes (shift: nothing latches or locks)
    down ? (void)keys.insert(code) : (void)keys.erase(code);
    zwp_virtual_keyboard_v1_key(keyboard, now(), code, down);
    xkb_state_update_key(state, code + 8, down ? XKB_KEY_DOWN : XKB_KEY_UP);
    zwp_virtual_keyboard_v1_modifiers(keyboard, xkb_state_serialize_mods(state, XKB_STATE_MODS_DEPRESSED), 0, 0, 0);
  };
  char line[4096];
  while (std::fgets(line, sizeof line, stdin)) {
    unsigned a = 0, b = 0, c = 0, d = 0;
    int n = 0;
    if (std::sscanf(line, "move %u %u %u %u", &a, &b, &c, &d) == 4) {
      zwlr_virtual_pointer_v1_motion_absolute(pointer, now(), a, b, c, d);
    } else if (std::sscanf(line, "button %u %u", &a, &b) == 2) {
      b ? (void)buttons.insert(a) : (void)buttons.erase(a);
      zwlr_virtual_pointer_v1_button(pointer, now(), a, b);
    } else if (std::sscanf(line, "wheel %u %d", &a, &n) == 2) {
      zwlr_virtual_pointer_v1_axis_source(pointer, WL_POINTER_AXIS_SOURCE_WHEEL);
      zwlr_virtual_pointer_v1_axis_discrete(pointer, now(), a, wl_fixed_from_int(10 * n), n);
    } else if (std::sscanf(line, "key %u %u", &a, &b) == 2 && (a = code_of(a))) {
      key(a, b);
    } else if (!std::strncmp(line, "text ", 5) && method) {
      line[std::strcspn(line, "\n")] = 0;
      zwp_input_method_v2_commit_string(method, line + 5);
      zwp_input_method_v2_commit(method, done_count);
    } else if (!std::strncmp(line, "reset", 5)) {
      while (!keys.empty()) key(*keys.begin(), 0);
      for (uint32_t k : buttons) zwlr_virtual_pointer_v1_button(pointer, now(), k, 0);
      buttons.clear();
      // The pointer rests in the screen's corner, away from the windows that tests make.
      zwlr_virtual_pointer_v1_motion_absolute(pointer, now(), 0, 0, 1, 1);
      zwp_virtual_keyboard_v1_destroy(keyboard), xkb_state_unref(state), wl_display_roundtrip(display);
      if (!send_keymap(keyboard = zwp_virtual_keyboard_manager_v1_create_virtual_keyboard(keyboards, seat))) return end("no keymap");
    }
    zwlr_virtual_pointer_v1_frame(pointer);  // the pointer's events so far as one
    if (wl_display_roundtrip(display) < 0) return end("the compositor went away");
    std::fputs("ok\n", stdout), std::fflush(stdout);
  }
  return end(nullptr);
}
