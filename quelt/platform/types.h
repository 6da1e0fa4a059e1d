/* The Win32 handle and value types that quelt's public records use. On Windows they are the
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

typedef struct quelt_hwnd_* HWND;
typedef struct quelt_hdc_* HDC;
typedef struct quelt_hbitmap_* HBITMAP;
typedef void* HGDIOBJ;
typedef struct quelt_hinstance_* HINSTANCE;
typedef uintptr_t WPARAM;
typedef intptr_t LPARAM;
typedef intptr_t LRESULT;
typedef uint32_t UINT;
typedef uint32_t DWORD;
typedef int32_t LONG;
typedef int BOOL;
typedef uint16_t WCHAR;
#  define QUELT_WNDPROC_CALL
#endif

#endif
