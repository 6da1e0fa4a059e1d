/** @file
   The failure trace. quelt reports failures as lines on standard output, each flushed at once
   so that the trace survives a crash that follows it:
   @verbatim
   file.cpp:LINE:<tab><tab>function: what      where an operation fails
   file.cpp:LINE:<tab>function.                on the way out of each function that failed
   @endverbatim
   `what` names the failed call, as "malloc" or "fopen", and is empty when a quelt operation
   called on the way has already traced, so one failure deep down prints a pair of lines at
   each level on its way out. The documentation of each function lists its `what` texts under
   "Failure trace"; failures not listed there are silent. This header is C++ and is used by the
   library's own sources; applications only read the lines. */
#pragma once

#include <cstdio>

/** The library's C++ internals that its public headers share. */
namespace quelt {

/** Prints the line of a failure and flushes standard output.
   @param file the source file's name.
   @param line the source line.
   @param func the failing function's name.
   @param what the call that failed, or "" when a called quelt operation has traced. */
inline void trace_fail(const char* file, int line, const char* func, const char* what) {
  std::printf("%s:%i:\t\t%s: %s\n", file, line, func, what);
  std::fflush(stdout);
}

/** Prints the line of a way out of a function that failed, and flushes standard output.
   @param file the source file's name.
   @param line the source line.
   @param func the function's name. */
inline void trace_exit(const char* file, int line, const char* func) {
  std::printf("%s:%i:\t%s.\n", file, line, func);
  std::fflush(stdout);
}

}  // namespace quelt

/** @def QUELT_FAIL
   Traces a failure of the function whose body it is in (`__func__` names it).
   @param what the call that failed, or "". */
/** @def QUELT_EXIT
   Traces the way out of the function whose body it is in, after a failure. */
/** @def QUELT_FAILED
   A failure in one expression, as in `return QUELT_FAILED("malloc");`: traces `what` and the
   way out of the function whose body it is in, and gives 0, the failure result of most
   operations. Resources are released by their owners' destructors on the way out. */
/** @def QUELT_FAILED_AS
   QUELT_FAILED for a helper that fails on behalf of the exported function named `func`, whose
   name the trace carries. */
#define QUELT_FAIL(what) ::quelt::trace_fail(__FILE_NAME__, __LINE__, __func__, (what))
#define QUELT_EXIT() ::quelt::trace_exit(__FILE_NAME__, __LINE__, __func__)
#define QUELT_FAILED(what) QUELT_FAILED_AS(__func__, what)
#define QUELT_FAILED_AS(func, what)                                                               \
  (::quelt::trace_fail(__FILE_NAME__, __LINE__, (func), (what)),                                 \
   ::quelt::trace_exit(__FILE_NAME__, __LINE__, (func)), 0)
