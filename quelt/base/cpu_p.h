// The instruction-set levels that quelt's pixel loops are built for, the highest one that this
// processor and its operating system run, and the one table from which every module takes the
// loops of a level. Internal to the library.
#pragma once

#include <quelt/surface/blend.h>

#include <cstdint>

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

namespace kernel {
struct job;
}

// The blend kernels and the fill of one level. The four kernels keep the contract of the
// exported ones, with one more condition: the pixels that they read and write must not share
// memory. The exported kernels give such calls to the scalar level, whose pixel-by-pixel walk
// defines the result. `fill` covers `rect`, which lies inside the 4-byte `surface`, with its
// `color`, whose alpha isn't 0.
struct blend_ops {
  sf_blend_kernel blend_4b4b;
  sf_blend_kernel blend_4b1b;
  sf_blend_kernel blend_4b3b;
  sf_blend_kernel blend_copy;
  void (*fill)(sf_surface* surface, sf_rect rect);
};

// Fills all width × height bytes of the skip table, whose block exists, from the pixels of a
// surface with no zero dimension.
using strip_fn = void (*)(const sf_surface* s);
// The two-tap smoothing of a surface with width, height, pixels and pixel size all above 0.
using smooth_fn = void (*)(const sf_surface* s);
// Convolution of the pixels [x0, x1) of row y, whose weights all fall inside the surface.
using interior_fn = void (*)(const kernel::job& j, int32_t y, int32_t x0, int32_t x1);

// The loops of one level. The scalar level is the reference that every other level matches
// byte for byte.
struct level_fns {
  blend_ops blend;
  strip_fn strip;
  smooth_fn smooth;
  interior_fn kernel_interior;
};

// Each level's part of each module, defined by the level's own translation units; the levels
// above scalar exist on x86 only.
namespace blend {
extern const blend_ops scalar_ops, sse2_ops, avx2_ops, avx512_ops;
}
namespace strip {
extern const strip_fn build_scalar, build_sse2;
}
namespace process {
extern const smooth_fn smooth_scalar, smooth_sse2, smooth_avx2, smooth_avx512;
}
namespace kernel {
extern const interior_fn interior_scalar, interior_sse2, interior_avx2, interior_avx512;
}

// The loops of `level`; null when the level isn't built for this processor family or this
// processor can't run it. The tests and benchmarks use it to run every level on one machine.
const level_fns* level_for(cpu_level level);

// The loops of the best level of this processor.
const level_fns& level_active();

}  // namespace quelt
