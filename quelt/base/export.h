/* The one export macro of quelt. Every exported function and datum of the public headers is
   marked with QUELT_API; everything else stays hidden. */
#ifndef QUELT_BASE_EXPORT_H
#define QUELT_BASE_EXPORT_H

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
