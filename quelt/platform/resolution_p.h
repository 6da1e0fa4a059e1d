// The display's resolution for the rest of the library (text sizes its faces by it), without
// the platform's interface: the one thing outside the windowing subsystem that asks the platform.
#pragma once

namespace quelt::platform {

struct Resolution {
  int x;  // horizontal dots per inch
  int y;  // vertical dots per inch
};

// What the platform's screen device context reports (LOGPIXELSX, LOGPIXELSY), taken as it comes:
// 0 when the platform gives nothing. Needs no window and no display.
Resolution display_resolution();

}  // namespace quelt::platform
