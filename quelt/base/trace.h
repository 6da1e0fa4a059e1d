// The failure trace: one line where an operation fails, naming the failed call ("what", empty
// when a called quelt operation has already traced), and one line on each way out of a function
// that failed. Both go to standard output and are flushed at once, so that the trace survives a
// crash that follows it.
#pragma once

#include <cstdio>

namespace quelt {

inline void trace_fail(const char* file, int line, const char* func, const char* what) {
  std::printf("%s:%i:\t\t%s: %s\n", file, line, func, what);
  std::fflush(stdout);
}

inline void trace_exit(const char* file, int line, const char* func) {
  std::printf("%s:%i:\t%s.\n", file, line, func);
  std::fflush(stdout);
}

}  // namespace quelt

// Use only in the body of the exported function itself: __func__ names the function.
#define QUELT_FAIL(what) ::quelt::trace_fail(__FILE_NAME__, __LINE__, __func__, (what))
#define QUELT_EXIT() ::quelt::trace_exit(__FILE_NAME__, __LINE__, __func__)
