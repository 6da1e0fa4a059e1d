/** @file
   The Win32 handle and value types that quelt's public records use. On Windows they are the
   real ones from <windows.h>; elsewhere quelt's platform layer defines them with the same
   sizes: handles are pointers, WPARAM, LPARAM and LRESULT are pointer-sized (64 bits on a
   64-bit system, as a 64-bit Win32 window procedure has them). */
#ifndef QUELT_PLATFORM_TYPES_H
#define QUELT_PLATFORM_TYPES_H

#ifdef _WIN32
#  ifndef WIN32_LEAN_AND_MEAN
#    define WIN32_LEAN_AND_MEAN
#  endif
#  include <windows.h>
/* The calling convention of a window procedure. */
#  define QUELT_WNDPROC_CALL CALLBACK
#else
#  include <stdint.h>

typedef struct quelt_hwnd_* HWND;           /**< A window. */
typedef struct quelt_hdc_* HDC;             /**< A device context. */
typedef struct quelt_hbitmap_* HBITMAP;     /**< A bitmap. */
typedef void* HGDIOBJ;                      /**< Any graphics object. */
typedef struct quelt_hinstance_* HINSTANCE; /**< A module instance. */
typedef uintptr_t WPARAM;                   /**< A message's first parameter, pointer-sized. */
typedef intptr_t LPARAM;                    /**< A message's second parameter, pointer-sized. */
typedef intptr_t LRESULT;                   /**< A window procedure's result, pointer-sized. */
typedef uint32_t UINT;                      /**< An unsigned 32-bit value (message numbers). */
typedef uint32_t DWORD;                     /**< An unsigned 32-bit value. */
typedef int32_t LONG;                       /**< A signed 32-bit value. */
typedef int BOOL;                           /**< A truth value, non-zero for true. */
typedef uint16_t WCHAR;                     /**< A UTF-16 unit. */
/** The calling convention of a window procedure (CALLBACK on Windows, nothing elsewhere). */
#  define QUELT_WNDPROC_CALL
#endif

#endif
