/** @file
   The export macros of quelt. Every exported function and datum of the public headers is
   marked with QUELT_API; everything else stays hidden. The public headers can be included from
   C and C++ alike. */
#ifndef QUELT_BASE_EXPORT_H
#define QUELT_BASE_EXPORT_H

/** @def QUELT_API
   Marks a function or datum as part of the library's interface: exported when the library is
   built, imported by programs that use it. */
/** @def QUELT_EXTERN_C_BEGIN
   Opens C linkage for the declarations that follow when included from C++. */
/** @def QUELT_EXTERN_C_END
   Closes what QUELT_EXTERN_C_BEGIN opened. */
#if defined(_WIN32) || defined(__CYGWIN__)
#  ifdef QUELT_BUILDING
#    define QUELT_API __declspec(dllexport)
#  else
#    define QUELT_API __declspec(dllimport)
#  endif
#else
#  define QUELT_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
#  define QUELT_EXTERN_C_BEGIN extern "C" {
#  define QUELT_EXTERN_C_END }
#else
#  define QUELT_EXTERN_C_BEGIN
#  define QUELT_EXTERN_C_END
#endif

#endif
