// sf_smooth's loops for processors with AVX2: 32 bytes at a time.
#include "process_p.h"

#if defined(__x86_64__) || defined(__i386__)
namespace quelt::process {

void smooth_avx2(const sf_surface* s) { smooth<32>(s); }

}  // namespace quelt::process
#endif
