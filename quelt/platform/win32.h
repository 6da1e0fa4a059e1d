// The subset of the Win32 interface that quelt calls, with Win32's names, types and values.
// On Windows it is <windows.h>; on Linux quelt's X11 layer (quelt/platform/x11) implements it.
// Internal to the library: applications never include it.
#pragma once

#include <quelt/platform/types.h>

#ifndef _WIN32

#define LOGPIXELSX 88
#define LOGPIXELSY 90

// Device contexts. GetDC(NULL) is the screen: its resolution (GetDeviceCaps with LOGPIXELSX or
// LOGPIXELSY) is the X display's Xft.dpi resource when a display is reachable and sets it,
// otherwise 96. Text works without any display.
HDC GetDC(HWND window);
int ReleaseDC(HWND window, HDC dc);
int GetDeviceCaps(HDC dc, int index);

#endif
