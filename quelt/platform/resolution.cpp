#include "resolution_p.h"

#include <quelt/platform/win32.h>

namespace quelt::platform {

Resolution display_resolution() {
  HDC dc = GetDC(nullptr);
  Resolution r{GetDeviceCaps(dc, LOGPIXELSX), GetDeviceCaps(dc, LOGPIXELSY)};
  ReleaseDC(nullptr, dc);
  return r;
}

}  // namespace quelt::platform
