// sf_smooth's loops for AVX-512 (BW): 64 bytes at a time.
#include "process_p.h"

#if defined(__x86_64__) || defined(__i386__)
namespace quelt::process {

extern const smooth_fn smooth_avx512 = smooth<64>;

}  // namespace quelt::process
#endif
