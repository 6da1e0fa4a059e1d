// X input into the core: key presses with what they type (from the input method when there is
// one, else from the keysym), buttons and the wheel, and pointer motion.
#include "x11_p.h"

#include <X11/keysym.h>

#include <cstdlib>

namespace quelt::x11 {
namespace {

bool x1_down = false, x2_down = false;

// The virtual key of a key event: from the keysym of its first level (the second for the
// keypad with Num Lock on) through the core's keysym table, else from the key's place.
UINT virtual_key(XKeyEvent* ev) {
  KeySym keysym = XLookupKeysym(ev, 0);
  // With Num Lock on, the keypad types digits: the second keysym of the key names it.
  if (keysym >= XK_KP_Home && keysym <= XK_KP_Delete && (ev->state & Mod2Mask)) {
    KeySym shifted = XLookupKeysym(ev, 1);
    if (shifted != NoSymbol) keysym = shifted;
  }
  UINT vk = vk_of_keysym(static_cast<uint32_t>(keysym));
  return vk ? vk : vk_of_position(ev->keycode);
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

// The characters of a key press: from the input method when there is one, else from the keysym.
int key_text(Wnd* w, XKeyEvent* key, uint16_t* text, int capacity, KeySym* keysym) {
  char buffer[64];
  int bytes = 0;
  if (XIC ic = native(w)->ic) {
    Status status = 0;
    bytes = Xutf8LookupString(ic, key, buffer, sizeof buffer, keysym, &status);
    if (status == XBufferOverflow) {
      auto* big = static_cast<char*>(std::malloc(static_cast<size_t>(bytes) + 1));
      int length = 0;
      if (big) {
        bytes = Xutf8LookupString(ic, key, big, bytes, keysym, &status);
        if (status == XLookupChars || status == XLookupBoth) length = utf8_to_utf16(big, bytes, text, capacity);
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
  return ucs_to_utf16(keysym_to_ucs(static_cast<uint32_t>(*keysym)), text, capacity);
}

void key_event(Wnd* w, XKeyEvent* key, bool press) {
  ensure_ic(w);
  uint16_t text[256];
  int length = 0;
  KeySym keysym = NoSymbol;
  if (press) {
    length = key_text(w, key, text, 256, &keysym);
    if (key->keycode == 0) {
      // A string that the input method committed: characters without a key.
      text_input(w, text, length);
      return;
    }
    if (keysym == XK_Delete || keysym == XK_KP_Delete) length = 0;  // Delete types nothing
  }
  key_input(w, virtual_key(key), key->keycode, press, (key->state & Mod1Mask) != 0,
            (key->state & ControlMask) != 0, static_cast<DWORD>(key->time), POINT{key->x_root, key->y_root}, text,
            length);
}

void button_event(Wnd* w, XButtonEvent* b, bool press) {
  set_pointer(POINT{b->x_root, b->y_root});
  MSG msg{w->handle, 0, 0, pack(b->x, b->y), static_cast<DWORD>(b->time), POINT{b->x_root, b->y_root}, 0};
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
  queue_input(msg);
}

}  // namespace

void input_event(Wnd* w, XEvent& ev) {
  switch (ev.type) {
    case KeyPress: key_event(w, &ev.xkey, true); break;
    case KeyRelease: key_event(w, &ev.xkey, false); break;
    case ButtonPress: button_event(w, &ev.xbutton, true); break;
    case ButtonRelease: button_event(w, &ev.xbutton, false); break;
    case MotionNotify: {
      const XMotionEvent& m = ev.xmotion;
      queue_motion(MSG{w->handle, WM_MOUSEMOVE, mouse_keys(m.state), pack(m.x, m.y), static_cast<DWORD>(m.time),
                       POINT{m.x_root, m.y_root}, 0});
      break;
    }
    default: break;
  }
}

}  // namespace quelt::x11
