// The instruction-set levels that quelt's pixel kernels are built for, and the highest one that
// this processor and its operating system run. Internal to the library.
#pragma once

namespace quelt {

// Ordered: each level includes the ones below it.
//   sse2:   the x86-64 baseline.
//   avx2:   AVX2 with FMA and BMI2, and the operating system saving the 256-bit registers.
//   avx512: AVX-512 F, BW and VL on top of avx2, with the mask and 512-bit registers saved.
enum class cpu_level : int { scalar = 0, sse2 = 1, avx2 = 2, avx512 = 3 };
inline constexpr int cpu_level_count = 4;

// Asked once from cpuid and xgetbv, then remembered. Always `scalar` on other processors.
cpu_level cpu_best_level();

// A short name for messages of the tests and benchmarks: "scalar", "sse2", "avx2", "avx512".
const char* cpu_level_name(cpu_level level);

}  // namespace quelt
