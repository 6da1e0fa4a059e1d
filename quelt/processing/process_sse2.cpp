// sf_smooth's loops for SSE2, the level that every x86-64 processor runs: 16 bytes at a time.
#include "process_p.h"

#if defined(__x86_64__) || defined(__i386__)
namespace quelt::process {

extern const smooth_fn smooth_sse2 = smooth<16>;

}  // namespace quelt::process
#endif
