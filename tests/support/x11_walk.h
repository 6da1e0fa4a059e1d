// The X server as the window suites see it: one connection of the test's own, and walks of the
// window tree that survive other clients' windows going away.
#pragma once

#include <X11/Xlib.h>

namespace qtest {

// The test's own connection to the server (null when there is no display).
inline Display* x() {
  static Display* display = XOpenDisplay(nullptr);
  return display;
}

// Other clients' windows may go away while a test walks the window tree (a program that has
// just ended, Wine's windows after its last program). While `walk` runs, BadWindow on the
// test's connection is taken as a window that isn't there; other errors go where they went.
inline XErrorHandler handler_before_walk = nullptr;
inline int ignore_vanished(Display* display, XErrorEvent* e) {
  if (display == x() && e->error_code == BadWindow) return 0;
  return handler_before_walk ? handler_before_walk(display, e) : 0;
}
template <class F>
auto walking(F walk) {
  handler_before_walk = XSetErrorHandler(ignore_vanished);
  auto result = walk();
  XSync(x(), False);
  XSetErrorHandler(handler_before_walk);
  return result;
}

}  // namespace qtest
