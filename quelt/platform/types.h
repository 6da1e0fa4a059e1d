/** @file
   The handle and value types of quelt's public windowing records, under quelt's own names. On
   Windows they are the very types of <windows.h> (HWND, HDC, WPARAM, LPARAM, LRESULT with STRICT
   handles); elsewhere they have the same sizes: handles are pointers, and the message parameters
   and the result are pointer-sized (64 bits on a 64-bit system, as a 64-bit Win32 window
   procedure has them).

   No other Win32 name is declared (no BOOL, DWORD, LONG, UINT or WCHAR, and on Windows nothing
   of <windows.h>), so an application keeps its own. The Win32 spellings HWND, HDC, WPARAM,
   LPARAM and LRESULT are offered too, as the same types, for window code written the Win32
   way; an application that has other definitions of them defines QUELT_NO_WIN32_NAMES before
   including quelt's headers. */
#ifndef QUELT_PLATFORM_TYPES_H
#define QUELT_PLATFORM_TYPES_H

#ifdef _WIN32
/* Win32's own types, spelled as <windows.h> spells them (STRICT handles), so that this header
   doesn't bring in <windows.h> and its macros (near, far, min, max...) for every application. */
typedef struct HWND__* quelt_hwnd;
typedef struct HDC__* quelt_hdc;
#  ifdef _WIN64
typedef unsigned long long quelt_wparam;
typedef long long quelt_lparam;
typedef long long quelt_lresult;
#  else
typedef unsigned int quelt_wparam;
typedef long quelt_lparam;
typedef long quelt_lresult;
#  endif
/* The calling convention of a window procedure (CALLBACK). */
#  define QUELT_WNDPROC_CALL __stdcall
#else
#  include <stdint.h>

typedef struct quelt_hwnd_* quelt_hwnd; /**< A window. */
typedef struct quelt_hdc_* quelt_hdc;   /**< A device context. */
typedef uintptr_t quelt_wparam;         /**< A message's first parameter, pointer-sized. */
typedef intptr_t quelt_lparam;          /**< A message's second parameter, pointer-sized. */
typedef intptr_t quelt_lresult;         /**< A window procedure's result, pointer-sized. */
/** The calling convention of a window procedure (CALLBACK on Windows, nothing elsewhere). */
#  define QUELT_WNDPROC_CALL
#endif

#ifndef QUELT_NO_WIN32_NAMES
typedef quelt_hwnd HWND;       /**< Win32's spelling of quelt_hwnd. */
typedef quelt_hdc HDC;         /**< Win32's spelling of quelt_hdc. */
typedef quelt_wparam WPARAM;   /**< Win32's spelling of quelt_wparam. */
typedef quelt_lparam LPARAM;   /**< Win32's spelling of quelt_lparam. */
typedef quelt_lresult LRESULT; /**< Win32's spelling of quelt_lresult. */
#endif

#endif
