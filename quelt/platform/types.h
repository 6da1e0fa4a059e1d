/* The handle and value types of quelt's public windowing records, under quelt's own names. On
   Windows they are the real ones of <windows.h>; elsewhere they have the same sizes: handles are
   pointers, and the message parameters and the result are pointer-sized (64 bits on a 64-bit
   system, as a 64-bit Win32 window procedure has them).

   No Win32 name beyond these five is declared on Linux (no BOOL, DWORD, LONG, UINT or WCHAR),
   so an application keeps its own. The Win32 spellings HWND, HDC, WPARAM, LPARAM and LRESULT
   are offered too, for window code written the Win32 way; an application that has its own
   definitions of them defines QUELT_NO_WIN32_NAMES before including quelt's headers. */
#ifndef QUELT_PLATFORM_TYPES_H
#define QUELT_PLATFORM_TYPES_H

#ifdef _WIN32
#  ifndef WIN32_LEAN_AND_MEAN
#    define WIN32_LEAN_AND_MEAN
#  endif
#  include <windows.h>
typedef HWND quelt_hwnd;
typedef HDC quelt_hdc;
typedef WPARAM quelt_wparam;
typedef LPARAM quelt_lparam;
typedef LRESULT quelt_lresult;
/* The calling convention of a window procedure. */
#  define QUELT_WNDPROC_CALL CALLBACK
#else
#  include <stdint.h>

typedef struct quelt_hwnd_* quelt_hwnd;
typedef struct quelt_hdc_* quelt_hdc;
typedef uintptr_t quelt_wparam;
typedef intptr_t quelt_lparam;
typedef intptr_t quelt_lresult;
#  define QUELT_WNDPROC_CALL

#  ifndef QUELT_NO_WIN32_NAMES
typedef quelt_hwnd HWND;
typedef quelt_hdc HDC;
typedef quelt_wparam WPARAM;
typedef quelt_lparam LPARAM;
typedef quelt_lresult LRESULT;
#  endif
#endif

#endif
