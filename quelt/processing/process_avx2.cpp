// sf_smooth's loops for AVX2: 32 bytes at a time.
#include "process_p.h"

#if defined(__x86_64__) || defined(__i386__)
namespace quelt::process {

extern const smooth_fn smooth_avx2 = smooth<32>;

}  // namespace quelt::process
#endif
