#include <quelt/surface/blend_p.h>

#include <atomic>

namespace quelt::blend {

const ops* ops_for(cpu_level level) {
  if (static_cast<int>(level) > static_cast<int>(cpu_best_level())) return nullptr;
  switch (level) {
    case cpu_level::scalar: return &scalar_ops;
#if defined(__x86_64__) || defined(__i386__)
    case cpu_level::sse2: return &sse2_ops;
    case cpu_level::avx2: return &avx2_ops;
    case cpu_level::avx512: return &avx512_ops;
#endif
    default: return nullptr;
  }
}

const ops& active() {
  // Racing first calls store the same table.
  static std::atomic<const ops*> chosen{nullptr};
  const ops* table = chosen.load(std::memory_order_acquire);
  if (!table) {
    table = ops_for(cpu_best_level());
    chosen.store(table, std::memory_order_release);
  }
  return *table;
}

}  // namespace quelt::blend
