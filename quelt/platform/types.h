/* The Win32 handle and value types that quelt's public records use. On Windows they are the
   real ones from <windows.h>; elsewhere quelt's platform layer defines them with the same
   sizes: handles are pointers, WPARAM/LPARAM/LRESULT are pointer-sized. */
#ifndef QUELT_PLATFORM_TYPES_H
#define QUELT_PLATFORM_TYPES_H

#ifdef _WIN32
#  ifndef WIN32_LEAN_AND_MEAN
#    define WIN32_LEAN_AND_MEAN
#  endif
#  include <windows.h>
#else
#  include <stdint.h>

typedef struct quelt_hwnd_* HWND;
typedef struct quelt_hdc_* HDC;
typedef struct quelt_hbitmap_* HBITMAP;
typedef struct quelt_hgdiobj_* HGDIOBJ;
typedef struct quelt_hinstance_* HINSTANCE;
typedef uintptr_t WPARAM;
typedef intptr_t LPARAM;
typedef intptr_t LRESULT;
typedef uint32_t UINT;
typedef uint32_t DWORD;
typedef int32_t LONG;
typedef int BOOL;
typedef uint16_t WCHAR;
#endif

#endif
