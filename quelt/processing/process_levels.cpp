#include "process_p.h"

#include <atomic>

namespace quelt::process {

extern const smooth_fn smooth_scalar = smooth<0>;

smooth_fn smooth_for(cpu_level level) {
  if (static_cast<int>(level) > static_cast<int>(cpu_best_level())) return nullptr;
  switch (level) {
    case cpu_level::scalar: return smooth_scalar;
#if defined(__x86_64__) || defined(__i386__)
    case cpu_level::sse2: return smooth_sse2;
    case cpu_level::avx2: return smooth_avx2;
    case cpu_level::avx512: return smooth_avx512;
#endif
    default: return nullptr;
  }
}

smooth_fn smooth_active() {
  // Racing first calls store the same loop.
  static std::atomic<smooth_fn> chosen{nullptr};
  smooth_fn f = chosen.load(std::memory_order_acquire);
  if (!f) {
    f = smooth_for(cpu_best_level());
    chosen.store(f, std::memory_order_release);
  }
  return f;
}

}  // namespace quelt::process
