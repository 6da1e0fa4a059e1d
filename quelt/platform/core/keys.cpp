// Keys and text for every backend: keysyms to Win32 virtual-key codes, key codes to PC scan
// codes, keysyms to characters when no input method answers, and the UTF-8 / UTF-16
// conversions. Keysyms are the values xkbcommon names, which every backend's keyboard shares.
#include "core_p.h"

#include <xkbcommon/xkbcommon-keysyms.h>

#include <cstdlib>

namespace quelt::platform {
namespace {

struct KeyName {
  uint32_t keysym;
  UINT vk;
};

// Keys that are not letters, digits or the punctuation of a US keyboard.
constexpr KeyName kNamed[] = {
    {XKB_KEY_BackSpace, 0x08}, {XKB_KEY_Tab, 0x09}, {XKB_KEY_ISO_Left_Tab, 0x09},
    {XKB_KEY_Return, 0x0D}, {XKB_KEY_KP_Enter, 0x0D}, {XKB_KEY_Pause, 0x13},
    {XKB_KEY_Scroll_Lock, 0x91}, {XKB_KEY_Sys_Req, 0x2C}, {XKB_KEY_Escape, 0x1B},
    {XKB_KEY_Delete, 0x2E}, {XKB_KEY_Home, 0x24}, {XKB_KEY_Left, 0x25}, {XKB_KEY_Up, 0x26},
    {XKB_KEY_Right, 0x27}, {XKB_KEY_Down, 0x28}, {XKB_KEY_Prior, 0x21}, {XKB_KEY_Next, 0x22},
    {XKB_KEY_End, 0x23}, {XKB_KEY_Print, 0x2C}, {XKB_KEY_Insert, 0x2D}, {XKB_KEY_Menu, 0x5D},
    {XKB_KEY_Num_Lock, 0x90}, {XKB_KEY_KP_Home, 0x24}, {XKB_KEY_KP_Left, 0x25},
    {XKB_KEY_KP_Up, 0x26}, {XKB_KEY_KP_Right, 0x27}, {XKB_KEY_KP_Down, 0x28},
    {XKB_KEY_KP_Prior, 0x21}, {XKB_KEY_KP_Next, 0x22}, {XKB_KEY_KP_End, 0x23},
    {XKB_KEY_KP_Begin, 0x0C}, {XKB_KEY_KP_Insert, 0x2D}, {XKB_KEY_KP_Delete, 0x2E},
    {XKB_KEY_KP_Multiply, 0x6A}, {XKB_KEY_KP_Add, 0x6B}, {XKB_KEY_KP_Separator, 0x6C},
    {XKB_KEY_KP_Subtract, 0x6D}, {XKB_KEY_KP_Decimal, 0x6E}, {XKB_KEY_KP_Divide, 0x6F},
    {XKB_KEY_Shift_L, 0x10}, {XKB_KEY_Shift_R, 0x10}, {XKB_KEY_Control_L, 0x11},
    {XKB_KEY_Control_R, 0x11}, {XKB_KEY_Caps_Lock, 0x14}, {XKB_KEY_Alt_L, 0x12},
    {XKB_KEY_Alt_R, 0x12}, {XKB_KEY_ISO_Level3_Shift, 0x12}, {XKB_KEY_Meta_L, 0x5B},
    {XKB_KEY_Meta_R, 0x5C}, {XKB_KEY_Super_L, 0x5B}, {XKB_KEY_Super_R, 0x5C}, {XKB_KEY_space, 0x20},
    {XKB_KEY_semicolon, 0xBA}, {XKB_KEY_equal, 0xBB}, {XKB_KEY_comma, 0xBC}, {XKB_KEY_minus, 0xBD},
    {XKB_KEY_period, 0xBE}, {XKB_KEY_slash, 0xBF}, {XKB_KEY_grave, 0xC0},
    {XKB_KEY_bracketleft, 0xDB}, {XKB_KEY_backslash, 0xDC}, {XKB_KEY_bracketright, 0xDD},
    {XKB_KEY_apostrophe, 0xDE}, {XKB_KEY_less, 0xE2},
};

}  // namespace

UINT vk_of_keysym(uint32_t k) {
  if (k >= XKB_KEY_a && k <= XKB_KEY_z) return static_cast<UINT>(k - XKB_KEY_a + 'A');
  if (k >= XKB_KEY_A && k <= XKB_KEY_Z) return static_cast<UINT>(k);
  if (k >= XKB_KEY_0 && k <= XKB_KEY_9) return static_cast<UINT>(k);
  if (k >= XKB_KEY_KP_0 && k <= XKB_KEY_KP_9)
    return static_cast<UINT>(0x60 + (k - XKB_KEY_KP_0));
  if (k >= XKB_KEY_F1 && k <= XKB_KEY_F24) return static_cast<UINT>(0x70 + (k - XKB_KEY_F1));
  for (const KeyName& n : kNamed)
    if (n.keysym == k) return n.vk;
  return 0;
}

// Letters and digits by their place on a PC keyboard (evdev key codes), for layouts whose
// keysyms are not Latin: Win32 names such keys by the US letter on them as well.
UINT vk_of_position(unsigned keycode) {
  static constexpr char kRows[][11] = {"1234567890", "QWERTYUIOP", "ASDFGHJKL", "ZXCVBNM"};
  static constexpr unsigned kFirst[] = {10, 24, 38, 52};
  for (int row = 0; row < 4; ++row) {
    unsigned first = kFirst[row];
    for (unsigned i = 0; kRows[row][i]; ++i)
      if (keycode == first + i) return static_cast<UINT>(kRows[row][i]);
  }
  return 0;
}

DWORD key_lparam_bits(unsigned keycode) {
  // evdev key codes are Linux input codes + 8; below 89 those equal PC scan codes. The
  // navigation block and the right-hand modifiers are "extended" keys with their own codes.
  unsigned code = keycode >= 8 ? keycode - 8 : 0;
  struct Extended {
    unsigned linux_code, scan;
  };
  static constexpr Extended kExtended[] = {{96, 0x1C}, {97, 0x1D}, {98, 0x35}, {100, 0x38},
                                           {102, 0x47}, {103, 0x48}, {104, 0x49}, {105, 0x4B},
                                           {106, 0x4D}, {107, 0x4F}, {108, 0x50}, {109, 0x51},
                                           {110, 0x52}, {111, 0x53}, {125, 0x5B}, {126, 0x5C},
                                           {127, 0x5D}};
  for (const Extended& e : kExtended)
    if (e.linux_code == code) return (e.scan << 16) | (1u << 24);
  return code < 89 ? code << 16 : 0;
}

uint32_t keysym_to_ucs(uint32_t k) {
  if ((k >= 0x20 && k <= 0x7E) || (k >= 0xA0 && k <= 0xFF)) return static_cast<uint32_t>(k);
  if (k >= 0x01000100 && k <= 0x0110FFFF) return static_cast<uint32_t>(k - 0x01000000);
  switch (k) {
    case XKB_KEY_BackSpace: return 0x08;
    case XKB_KEY_Tab: return 0x09;
    case XKB_KEY_Return:
    case XKB_KEY_KP_Enter: return 0x0D;
    case XKB_KEY_Escape: return 0x1B;
    case XKB_KEY_EuroSign: return 0x20AC;
    case XKB_KEY_KP_Space: return 0x20;
    case XKB_KEY_KP_Multiply: return '*';
    case XKB_KEY_KP_Add: return '+';
    case XKB_KEY_KP_Subtract: return '-';
    case XKB_KEY_KP_Decimal: return '.';
    case XKB_KEY_KP_Divide: return '/';
    default: break;
  }
  if (k >= XKB_KEY_KP_0 && k <= XKB_KEY_KP_9)
    return static_cast<uint32_t>('0' + (k - XKB_KEY_KP_0));
  return 0;
}

int ucs_to_utf16(uint32_t code, uint16_t* out, int capacity) {
  if (code == 0 || code > 0x10FFFF) return 0;
  if (code < 0x10000) return capacity >= 1 ? (out[0] = static_cast<uint16_t>(code), 1) : 0;
  if (capacity < 2) return 0;
  out[0] = static_cast<uint16_t>(0xD800 + ((code - 0x10000) >> 10));
  out[1] = static_cast<uint16_t>(0xDC00 + ((code - 0x10000) & 0x3FF));
  return 2;
}

int utf8_to_utf16(const char* text, int length, uint16_t* out, int capacity) {
  auto* s = reinterpret_cast<const unsigned char*>(text);
  int n = 0;
  for (int i = 0; i < length;) {
    uint32_t c = s[i];
    int extra = c < 0x80 ? 0 : (c >> 5) == 6 ? 1 : (c >> 4) == 14 ? 2 : (c >> 3) == 30 ? 3 : -1;
    uint32_t code = 0xFFFD;
    int used = 1;
    if (extra >= 0 && i + extra < length) {
      code = extra == 0 ? c : c & (0x3F >> extra);
      bool ok = true;
      for (int k = 1; k <= extra; ++k) {
        if ((s[i + k] & 0xC0) != 0x80) ok = false;
        code = (code << 6) | (s[i + k] & 0x3F);
      }
      static constexpr uint32_t kLeast[] = {0, 0x80, 0x800, 0x10000};
      if (ok && code >= kLeast[extra] && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF))
        used = extra + 1;
      else
        code = 0xFFFD;
    }
    i += used;
    const int units = code == 0 ? (n < capacity ? (out[n] = 0, 1) : 0) : ucs_to_utf16(code, out + n, capacity - n);
    if (units == 0) break;
    n += units;
  }
  return n;
}

size_t wide_length(const WCHAR* text) {
  size_t n = 0;
  if (text)
    while (text[n]) ++n;
  return n;
}

char* utf16_to_utf8(const WCHAR* text) {
  size_t units = wide_length(text);
  auto* out = static_cast<char*>(std::malloc(units * 3 + 1));
  if (!out) return nullptr;
  size_t n = 0;
  for (size_t i = 0; i < units; ++i) {
    uint32_t c = text[i];
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < units && text[i + 1] >= 0xDC00 &&
        text[i + 1] <= 0xDFFF) {
      c = 0x10000 + ((c - 0xD800) << 10) + (text[i + 1] - 0xDC00);
      ++i;
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      c = 0xFFFD;  // a lone surrogate
    }
    if (c < 0x80) {
      out[n++] = static_cast<char>(c);
    } else if (c < 0x800) {
      out[n++] = static_cast<char>(0xC0 | (c >> 6));
      out[n++] = static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      out[n++] = static_cast<char>(0xE0 | (c >> 12));
      out[n++] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out[n++] = static_cast<char>(0x80 | (c & 0x3F));
    } else {
      out[n++] = static_cast<char>(0xF0 | (c >> 18));
      out[n++] = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
      out[n++] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out[n++] = static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  out[n] = '\0';
  return out;
}

}  // namespace quelt::platform
