// The subset of the Win32 interface that quelt calls, with Win32's names, types and values.
// On Windows it is <windows.h>; on Linux quelt's X11 layer (quelt/platform/x11) implements it.
// Internal to the library: applications never include it.
//
// How the X11 layer meets these calls, where Win32 leaves room or X11 differs:
// - A window is an X window that is the client area; the window manager's frame around it is
//   the non-client area (its size comes from _NET_FRAME_EXTENTS, 0 without a window manager).
//   Window rectangles are the client rectangle grown by that frame.
// - Messages: calls that send messages call the window procedure before they return; the queue
//   gives posted messages, then the quit message, then input, then WM_PAINT for a visible
//   window with an update region. Hidden windows collect no update region. Message filters
//   (hwnd, first, last) of GetMessageW and PeekMessageW are not supported and must be 0.
// - The close button of the window manager (WM_DELETE_WINDOW) arrives as WM_SYSCOMMAND with
//   SC_CLOSE, whose default handling sends WM_CLOSE, whose default handling destroys the window.
// - DIB sections are 32-bit BI_RGB and top-down (negative biHeight) only; their memory is MIT-SHM
//   shared memory while a display connection with MIT-SHM is open, plain memory otherwise, and
//   BitBlt to a window falls back to XPutImage whenever shared memory can't be used. BitBlt
//   copies from a memory DC to a window DC only (SRCCOPY), and is finished on the server when
//   it returns.
// - WS_EX_LAYERED puts the window on a 32-bit ARGB visual (the X window is remade when the bit
//   changes). UpdateLayeredWindow puts premultiplied pixels on it; psize is the client size.
// - The display connection opens with the first window and closes when the last one is
//   destroyed. GetDC(NULL) works without any display.
#pragma once

#include <quelt/platform/types.h>

#ifdef _WIN32
#  ifndef WIN32_LEAN_AND_MEAN
#    define WIN32_LEAN_AND_MEAN
#  endif
#  include <windows.h>
#else

#include <stddef.h>
#include <stdint.h>

// The handle and value types that the public records name, then the rest of the subset.
typedef quelt_hwnd HWND;
typedef quelt_hdc HDC;
typedef quelt_wparam WPARAM;
typedef quelt_lparam LPARAM;
typedef quelt_lresult LRESULT;
typedef struct quelt_hbitmap_* HBITMAP;
typedef void* HGDIOBJ;
typedef struct quelt_hinstance_* HINSTANCE;
typedef uint32_t UINT;
typedef uint32_t DWORD;
typedef int32_t LONG;
typedef int BOOL;
typedef uint16_t WCHAR;
typedef uint8_t BYTE;
typedef uint16_t WORD;
typedef uint16_t ATOM;
typedef int INT;
typedef intptr_t LONG_PTR;
typedef uintptr_t ULONG_PTR;
typedef DWORD COLORREF;
typedef void* LPVOID;
typedef const WCHAR* LPCWSTR;
typedef WCHAR* LPWSTR;
typedef struct quelt_hbrush_* HBRUSH;
typedef struct quelt_hicon_* HICON;
typedef HICON HCURSOR;
typedef struct quelt_hmenu_* HMENU;
typedef struct quelt_hrgn_* HRGN;

#define WINAPI
#define CALLBACK
#ifndef TRUE
#define TRUE 1
#define FALSE 0
#endif

typedef LRESULT (*WNDPROC)(HWND, UINT, WPARAM, LPARAM);

typedef struct tagRECT {
  LONG left, top, right, bottom;
} RECT;
typedef struct tagPOINT {
  LONG x, y;
} POINT;
typedef struct tagSIZE {
  LONG cx, cy;
} SIZE;
typedef struct tagMSG {
  HWND hwnd;
  UINT message;
  WPARAM wParam;
  LPARAM lParam;
  DWORD time;
  POINT pt;
  DWORD lPrivate;  // the X11 layer ties a key message to its typed text through this field
} MSG;
typedef struct tagPAINTSTRUCT {
  HDC hdc;
  BOOL fErase;
  RECT rcPaint;
  BOOL fRestore;
  BOOL fIncUpdate;
  BYTE rgbReserved[32];
} PAINTSTRUCT;
typedef struct tagWNDCLASSW {
  UINT style;
  WNDPROC lpfnWndProc;
  int cbClsExtra;
  int cbWndExtra;
  HINSTANCE hInstance;
  HICON hIcon;
  HCURSOR hCursor;
  HBRUSH hbrBackground;
  LPCWSTR lpszMenuName;
  LPCWSTR lpszClassName;
} WNDCLASSW;
typedef struct tagLOGBRUSH {
  UINT lbStyle;
  COLORREF lbColor;
  ULONG_PTR lbHatch;
} LOGBRUSH;
typedef struct tagBITMAPINFOHEADER {
  DWORD biSize;
  LONG biWidth;
  LONG biHeight;
  WORD biPlanes;
  WORD biBitCount;
  DWORD biCompression;
  DWORD biSizeImage;
  LONG biXPelsPerMeter;
  LONG biYPelsPerMeter;
  DWORD biClrUsed;
  DWORD biClrImportant;
} BITMAPINFOHEADER;
typedef struct tagRGBQUAD {
  BYTE rgbBlue, rgbGreen, rgbRed, rgbReserved;
} RGBQUAD;
typedef struct tagBITMAPINFO {
  BITMAPINFOHEADER bmiHeader;
  RGBQUAD bmiColors[1];
} BITMAPINFO;
typedef struct _BLENDFUNCTION {
  BYTE BlendOp;
  BYTE BlendFlags;
  BYTE SourceConstantAlpha;
  BYTE AlphaFormat;
} BLENDFUNCTION;
typedef struct tagCREATESTRUCTW {
  LPVOID lpCreateParams;
  HINSTANCE hInstance;
  HMENU hMenu;
  HWND hwndParent;
  int cy, cx, y, x;
  LONG style;
  LPCWSTR lpszName;
  LPCWSTR lpszClass;
  DWORD dwExStyle;
} CREATESTRUCTW;
typedef struct tagWINDOWPOS {
  HWND hwnd;
  HWND hwndInsertAfter;
  int x, y, cx, cy;
  UINT flags;
} WINDOWPOS;
typedef struct tagMINMAXINFO {
  POINT ptReserved, ptMaxSize, ptMaxPosition, ptMinTrackSize, ptMaxTrackSize;
} MINMAXINFO;
typedef struct tagSTYLESTRUCT {
  DWORD styleOld, styleNew;
} STYLESTRUCT;

#define MAKEINTRESOURCEW(i) ((LPWSTR)(ULONG_PTR)(WORD)(i))
#define IDI_APPLICATION MAKEINTRESOURCEW(32512)
#define IDC_ARROW MAKEINTRESOURCEW(32512)

// Messages.
#define WM_NULL 0x0000
#define WM_CREATE 0x0001
#define WM_DESTROY 0x0002
#define WM_MOVE 0x0003
#define WM_SIZE 0x0005
#define WM_SETFOCUS 0x0007
#define WM_KILLFOCUS 0x0008
#define WM_SETTEXT 0x000C
#define WM_PAINT 0x000F
#define WM_CLOSE 0x0010
#define WM_QUIT 0x0012
#define WM_ERASEBKGND 0x0014
#define WM_SHOWWINDOW 0x0018
#define WM_GETMINMAXINFO 0x0024
#define WM_WINDOWPOSCHANGING 0x0046
#define WM_WINDOWPOSCHANGED 0x0047
#define WM_STYLECHANGING 0x007C
#define WM_STYLECHANGED 0x007D
#define WM_NCCREATE 0x0081
#define WM_NCDESTROY 0x0082
#define WM_KEYDOWN 0x0100
#define WM_KEYUP 0x0101
#define WM_CHAR 0x0102
#define WM_SYSKEYDOWN 0x0104
#define WM_SYSKEYUP 0x0105
#define WM_SYSCHAR 0x0106
#define WM_SYSCOMMAND 0x0112
#define WM_MOUSEMOVE 0x0200
#define WM_LBUTTONDOWN 0x0201
#define WM_LBUTTONUP 0x0202
#define WM_RBUTTONDOWN 0x0204
#define WM_RBUTTONUP 0x0205
#define WM_MBUTTONDOWN 0x0207
#define WM_MBUTTONUP 0x0208
#define WM_MOUSEWHEEL 0x020A
#define WM_XBUTTONDOWN 0x020B
#define WM_XBUTTONUP 0x020C
#define WM_MOUSEHWHEEL 0x020E
#define WM_CAPTURECHANGED 0x0215

#define SC_CLOSE 0xF060
#define SIZE_RESTORED 0
#define SIZE_MINIMIZED 1
#define SIZE_MAXIMIZED 2
#define WHEEL_DELTA 120
#define MK_LBUTTON 0x0001
#define MK_RBUTTON 0x0002
#define MK_SHIFT 0x0004
#define MK_CONTROL 0x0008
#define MK_MBUTTON 0x0010
#define MK_XBUTTON1 0x0020
#define MK_XBUTTON2 0x0040
#define XBUTTON1 0x0001
#define XBUTTON2 0x0002

// Window styles and the window longs.
#define WS_OVERLAPPED 0x00000000L
#define WS_POPUP 0x80000000L
#define WS_CHILD 0x40000000L
#define WS_MINIMIZE 0x20000000L
#define WS_VISIBLE 0x10000000L
#define WS_MAXIMIZE 0x01000000L
#define WS_CAPTION 0x00C00000L
#define WS_BORDER 0x00800000L
#define WS_DLGFRAME 0x00400000L
#define WS_SYSMENU 0x00080000L
#define WS_THICKFRAME 0x00040000L
#define WS_MINIMIZEBOX 0x00020000L
#define WS_MAXIMIZEBOX 0x00010000L
#define WS_OVERLAPPEDWINDOW 0x00CF0000L
#define WS_EX_LAYERED 0x00080000L
#define GWLP_WNDPROC (-4)
#define GWL_STYLE (-16)
#define GWL_EXSTYLE (-20)
#define GWL_USERDATA (-21)
#define GWLP_USERDATA (-21)

#define SWP_NOSIZE 0x0001
#define SWP_NOMOVE 0x0002
#define SWP_NOZORDER 0x0004
#define SWP_NOREDRAW 0x0008
#define SWP_NOACTIVATE 0x0010
#define SWP_FRAMECHANGED 0x0020
#define SWP_SHOWWINDOW 0x0040
#define SWP_HIDEWINDOW 0x0080
#define SWP_NOSENDCHANGING 0x0400

#define SW_HIDE 0
#define SW_SHOWNORMAL 1
#define SW_SHOWMINIMIZED 2
#define SW_SHOWMAXIMIZED 3
#define SW_MAXIMIZE 3
#define SW_SHOWNOACTIVATE 4
#define SW_SHOW 5
#define SW_MINIMIZE 6
#define SW_SHOWMINNOACTIVE 7
#define SW_SHOWNA 8
#define SW_RESTORE 9

#define RDW_INVALIDATE 0x0001
#define RDW_ERASE 0x0004
#define RDW_VALIDATE 0x0008
#define RDW_NOERASE 0x0020
#define RDW_UPDATENOW 0x0100
#define RDW_ERASENOW 0x0200

#define PM_NOREMOVE 0x0000
#define PM_REMOVE 0x0001

#define SM_CXSCREEN 0
#define SM_CYSCREEN 1

// Graphics.
#define BS_SOLID 0
#define BS_NULL 1
#define DIB_RGB_COLORS 0
#define BI_RGB 0
#define SRCCOPY 0x00CC0020
#define OBJ_BRUSH 2
#define OBJ_DC 3
#define OBJ_BITMAP 7
#define OBJ_MEMDC 10
#define AC_SRC_OVER 0x00
#define AC_SRC_ALPHA 0x01
#define ULW_COLORKEY 0x00000001
#define ULW_ALPHA 0x00000002
#define ULW_OPAQUE 0x00000004
#define HORZRES 8
#define VERTRES 10
#define BITSPIXEL 12
#define PLANES 14
#define LOGPIXELSX 88
#define LOGPIXELSY 90

// Virtual-key codes that the layer produces by name; letters and digits are their ASCII codes.
#define VK_BACK 0x08
#define VK_TAB 0x09
#define VK_RETURN 0x0D
#define VK_SHIFT 0x10
#define VK_CONTROL 0x11
#define VK_MENU 0x12
#define VK_ESCAPE 0x1B
#define VK_SPACE 0x20
#define VK_LEFT 0x25
#define VK_UP 0x26
#define VK_RIGHT 0x27
#define VK_DOWN 0x28
#define VK_F4 0x73
#define VK_F10 0x79

// Device contexts and bitmaps. GetDC(NULL) is the screen: its resolution (GetDeviceCaps with
// LOGPIXELSX or LOGPIXELSY) is the X display's Xft.dpi resource when a display is reachable and
// sets it, otherwise 96. Without an open window it connects only for the query.
HDC GetDC(HWND window);
int ReleaseDC(HWND window, HDC dc);
int GetDeviceCaps(HDC dc, int index);
HDC CreateCompatibleDC(HDC dc);
BOOL DeleteDC(HDC dc);
HBITMAP CreateDIBSection(HDC dc, const BITMAPINFO* info, UINT usage, void** bits, void* section,
                         DWORD offset);
HGDIOBJ SelectObject(HDC dc, HGDIOBJ object);
DWORD GetObjectType(HGDIOBJ object);
HGDIOBJ GetCurrentObject(HDC dc, UINT type);
BOOL DeleteObject(HGDIOBJ object);
BOOL BitBlt(HDC dst, int x, int y, int width, int height, HDC src, int src_x, int src_y, DWORD rop);
HBRUSH CreateBrushIndirect(const LOGBRUSH* brush);

// Classes and windows.
ATOM RegisterClassW(const WNDCLASSW* wc);
HICON LoadIconW(HINSTANCE instance, LPCWSTR name);
HCURSOR LoadCursorW(HINSTANCE instance, LPCWSTR name);
HWND CreateWindowExW(DWORD ex_style, LPCWSTR class_name, LPCWSTR title, DWORD style, int x, int y,
                     int width, int height, HWND parent, HMENU menu, HINSTANCE instance,
                     LPVOID param);
BOOL DestroyWindow(HWND hwnd);
BOOL IsWindow(HWND hwnd);
BOOL IsWindowVisible(HWND hwnd);
LRESULT DefWindowProcW(HWND hwnd, UINT message, WPARAM wparam, LPARAM lparam);
LRESULT SendMessageW(HWND hwnd, UINT message, WPARAM wparam, LPARAM lparam);
BOOL PostMessageW(HWND hwnd, UINT message, WPARAM wparam, LPARAM lparam);
LONG GetWindowLongW(HWND hwnd, int index);
LONG SetWindowLongW(HWND hwnd, int index, LONG value);
LONG_PTR GetWindowLongPtrW(HWND hwnd, int index);
LONG_PTR SetWindowLongPtrW(HWND hwnd, int index, LONG_PTR value);
int GetSystemMetrics(int index);
BOOL MoveWindow(HWND hwnd, int x, int y, int width, int height, BOOL repaint);
BOOL SetWindowPos(HWND hwnd, HWND after, int x, int y, int width, int height, UINT flags);
BOOL GetClientRect(HWND hwnd, RECT* rect);
BOOL GetWindowRect(HWND hwnd, RECT* rect);
BOOL ShowWindow(HWND hwnd, int command);
BOOL SetWindowTextW(HWND hwnd, LPCWSTR text);

// Painting.
BOOL InvalidateRect(HWND hwnd, const RECT* rect, BOOL erase);
BOOL RedrawWindow(HWND hwnd, const RECT* rect, HRGN region, UINT flags);
HDC BeginPaint(HWND hwnd, PAINTSTRUCT* paint);
BOOL EndPaint(HWND hwnd, const PAINTSTRUCT* paint);
BOOL UpdateLayeredWindow(HWND hwnd, HDC dst, POINT* dst_point, SIZE* size, HDC src,
                         POINT* src_point, COLORREF key, BLENDFUNCTION* blend, DWORD flags);

// Input and the message queue.
HWND SetCapture(HWND hwnd);
BOOL ReleaseCapture(void);
HWND GetCapture(void);
void PostQuitMessage(int exit_code);
BOOL GetMessageW(MSG* msg, HWND hwnd, UINT first, UINT last);
BOOL PeekMessageW(MSG* msg, HWND hwnd, UINT first, UINT last, UINT remove);
BOOL TranslateMessage(const MSG* msg);
LRESULT DispatchMessageW(const MSG* msg);

#endif
