#include <quelt/base/cpu_p.h>

#include <atomic>

#if defined(__x86_64__) || defined(__i386__)
#  include <cpuid.h>
#  define QUELT_X86 1
#endif

namespace quelt {
namespace {

#ifdef QUELT_X86
// XCR0: which register states the operating system saves on a context switch.
unsigned long long xcr0() {
  unsigned lo, hi;
  __asm__ volatile("xgetbv" : "=a"(lo), "=d"(hi) : "c"(0));
  return (static_cast<unsigned long long>(hi) << 32) | lo;
}

cpu_level detect() {
  unsigned a, b, c, d;
  if (!__get_cpuid(1, &a, &b, &c, &d)) return cpu_level::scalar;
  if (!(d & (1u << 26))) return cpu_level::scalar;  // SSE2: always there on x86-64
  const bool fma = c & (1u << 12), osxsave = c & (1u << 27), avx = c & (1u << 28);
  if (!osxsave || !avx || !fma) return cpu_level::sse2;
  const unsigned long long xcr = xcr0();
  if ((xcr & 0x6) != 0x6) return cpu_level::sse2;  // XMM and YMM state
  if (!__get_cpuid_count(7, 0, &a, &b, &c, &d)) return cpu_level::sse2;
  const bool avx2 = b & (1u << 5), bmi2 = b & (1u << 8);
  if (!avx2 || !bmi2) return cpu_level::sse2;
  const bool f = b & (1u << 16), bw = b & (1u << 30), vl = b & (1u << 31);
  if (!f || !bw || !vl || (xcr & 0xE0) != 0xE0) return cpu_level::avx2;  // opmask, ZMM 0-15, ZMM 16-31
  return cpu_level::avx512;
}
#else
cpu_level detect() { return cpu_level::scalar; }
#endif

}  // namespace

cpu_level cpu_best_level() {
  // Racing first calls compute the same answer; -1 means not asked yet.
  static std::atomic<int> known{-1};
  int level = known.load(std::memory_order_relaxed);
  if (level < 0) {
    level = static_cast<int>(detect());
    known.store(level, std::memory_order_relaxed);
  }
  return static_cast<cpu_level>(level);
}

const char* cpu_level_name(cpu_level level) {
  switch (level) {
    case cpu_level::sse2: return "sse2";
    case cpu_level::avx2: return "avx2";
    case cpu_level::avx512: return "avx512";
    default: return "scalar";
  }
}

namespace {
// Filled when the library loads, from the levels' parts (constants of other files by then), so
// that no call ever waits on a first-use guard: a guard takes a lock, and making the lock
// allocates, which may fail where a drawing call must not. The skip table has one wide
// builder, on the baseline's 16-byte vectors.
const level_fns levels[] = {
    {blend::scalar_ops, strip::build_scalar, process::smooth_scalar, kernel::interior_scalar},
#ifdef QUELT_X86
    {blend::sse2_ops, strip::build_sse2, process::smooth_sse2, kernel::interior_sse2},
    {blend::avx2_ops, strip::build_sse2, process::smooth_avx2, kernel::interior_avx2},
    {blend::avx512_ops, strip::build_sse2, process::smooth_avx512, kernel::interior_avx512},
#endif
};
}  // namespace

const level_fns* level_for(cpu_level level) {
  if (static_cast<int>(level) < 0 || static_cast<int>(level) > static_cast<int>(cpu_best_level())) return nullptr;
  return &levels[static_cast<int>(level)];
}

namespace {
const level_fns* const active = level_for(cpu_best_level());
}  // namespace

const level_fns& level_active() { return *active; }

}  // namespace quelt
