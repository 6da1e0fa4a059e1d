// The choice of the backend, once per process at its first use (the first window, or the first
// question about the screen): a Wayland compositor when one is named and offers xdg_wm_base and
// wl_shm, else the X server.
#include <quelt/platform/backend_p.h>

namespace quelt::platform {

backend& system_backend() {
  static backend* chosen = wayland_reachable() ? wayland_backend() : x11_backend();
  return *chosen;
}

}  // namespace quelt::platform
