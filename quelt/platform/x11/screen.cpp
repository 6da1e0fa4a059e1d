// The screen device context of the X11 layer: GetDC(NULL) and its resolution.
#include <quelt/platform/win32.h>

#include <X11/Xlib.h>
#include <X11/Xresource.h>

#include <cmath>
#include <cstdlib>
#include <cstring>

struct quelt_hdc_ {
  int dpi_x;
  int dpi_y;
};

namespace {

// Xft.dpi of the display, or 96 when there is no display or it does not set a sane value.
// The connection is opened for the query and closed again, so nothing stays open per caller.
int display_dpi() {
  constexpr int fallback = 96;
  Display* display = XOpenDisplay(nullptr);
  if (!display) return fallback;
  int dpi = fallback;
  if (const char* resources = XResourceManagerString(display)) {
    XrmInitialize();
    if (XrmDatabase db = XrmGetStringDatabase(resources)) {
      char* type = nullptr;
      XrmValue value{};
      if (XrmGetResource(db, "Xft.dpi", "Xft.Dpi", &type, &value) && value.addr) {
        char* end = nullptr;
        double v = std::strtod(value.addr, &end);
        if (end != value.addr && std::isfinite(v) && v >= 1.0 && v <= 10000.0)
          dpi = static_cast<int>(std::lround(v));
      }
      XrmDestroyDatabase(db);
    }
  }
  XCloseDisplay(display);
  return dpi;
}

}  // namespace

HDC GetDC(HWND window) {
  if (window) return nullptr;  // window device contexts belong to the window layer
  auto* dc = static_cast<quelt_hdc_*>(std::malloc(sizeof(quelt_hdc_)));
  if (!dc) return nullptr;
  dc->dpi_x = dc->dpi_y = display_dpi();
  return dc;
}

int ReleaseDC(HWND window, HDC dc) {
  if (window || !dc) return 0;
  std::free(dc);
  return 1;
}

int GetDeviceCaps(HDC dc, int index) {
  if (!dc) return 0;
  switch (index) {
    case LOGPIXELSX: return dc->dpi_x;
    case LOGPIXELSY: return dc->dpi_y;
    default: return 0;
  }
}
