// The blend kernels and the fill of each instruction-set level, and the choice among them.
// The exported kernels and sf_fill call through the table of the best level that the processor
// runs; the scalar level is the reference that every other level matches byte for byte.
#pragma once

#include <quelt/base/cpu_p.h>
#include <quelt/surface/blend.h>

namespace quelt::blend {

// One level's kernels. The four blend kernels keep the contract of the exported ones, with one
// more condition: the pixels that they read and write must not share memory. The exported
// kernels give such calls to the scalar level, whose pixel-by-pixel walk defines the result.
// `fill` covers `rect`, which lies inside the 4-byte `surface`, with its `color`, whose alpha
// isn't 0.
struct ops {
  sf_blend_kernel blend_4b4b;
  sf_blend_kernel blend_4b1b;
  sf_blend_kernel blend_4b3b;
  sf_blend_kernel blend_copy;
  void (*fill)(sf_surface* surface, sf_rect rect);
};

extern const ops scalar_ops;
#if defined(__x86_64__) || defined(__i386__)
extern const ops sse2_ops;
extern const ops avx2_ops;
extern const ops avx512_ops;
#endif

// The kernels of `level`; null when the level isn't built for this processor family or this
// processor can't run it. The tests use it to run every level on one machine.
const ops* ops_for(cpu_level level);

// The kernels of the best level, settled at the first call.
const ops& active();

}  // namespace quelt::blend
