// The skip-table builders of the level table: the scalar one, the reference, and on x86 the SSE2
// one, which every x86-64 processor runs.
#include <quelt/base/cpu_p.h>
#include <quelt/processing/strip_p.h>

namespace quelt::strip {

extern const strip_fn build_scalar = build_scalar_rows;
extern const strip_fn build_sse2 = build_wide_rows;

}  // namespace quelt::strip
