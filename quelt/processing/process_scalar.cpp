// sf_smooth's byte-by-byte loop: the reference of the wider levels.
#include "process_p.h"

namespace quelt::process {

extern const smooth_fn smooth_scalar = smooth<0>;

}  // namespace quelt::process
