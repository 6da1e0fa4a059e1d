/* The showcase's system services on Windows. The read-back copies the window's client area
   from the screen with GDI. */
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include "host.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

double host_now(void) {
  static LARGE_INTEGER frequency;
  LARGE_INTEGER now;
  if (!frequency.QuadPart) QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&now);
  return (double)now.QuadPart / (double)frequency.QuadPart;
}

void host_sleep(double seconds) {
  if (seconds <= 0) return;
  DWORD ms = (DWORD)(seconds * 1000.0);
  Sleep(ms ? ms : 1);
}

int host_config_dir(char* out, size_t size) {
  const char* base = getenv("APPDATA");
  if (!base || !base[0]) {
    fprintf(stderr, "showcase: APPDATA is not set\n");
    return 0;
  }
  int n = snprintf(out, size, "%s\\quelt-showcase", base);
  if (n < 0 || (size_t)n >= size) {
    fprintf(stderr, "showcase: the settings directory's path is too long\n");
    return 0;
  }
  if (!CreateDirectoryA(out, NULL) && GetLastError() != ERROR_ALREADY_EXISTS) {
    fprintf(stderr, "showcase: cannot create %s\n", out);
    return 0;
  }
  return 1;
}

int host_find_font(const char* name, char* out, size_t size) {
  char windows[MAX_PATH];
  UINT n = GetWindowsDirectoryA(windows, MAX_PATH);
  if (n == 0 || n >= MAX_PATH) return 0;
  const char* local = getenv("LOCALAPPDATA");
  char user[MAX_PATH + 64] = "";
  if (local) snprintf(user, sizeof user, "%s\\Microsoft\\Windows\\Fonts", local);
  const char* dirs[2] = {user, NULL};
  char system[MAX_PATH + 16];
  snprintf(system, sizeof system, "%s\\Fonts", windows);
  dirs[1] = system;
  for (int i = 0; i < 2; ++i) {
    if (!dirs[i][0]) continue;
    int m = snprintf(out, size, "%s\\%s", dirs[i], name);
    if (m > 0 && (size_t)m < size && GetFileAttributesA(out) != INVALID_FILE_ATTRIBUTES) return 1;
  }
  return 0;
}

int host_wait_shown(HWND hwnd, double timeout) {
  double end = host_now() + timeout;
  while (!IsWindowVisible(hwnd)) {
    ctl_do_events();
    if (host_now() > end) return 0;
    host_sleep(0.005);
  }
  ctl_do_events();
  return 1;
}

int host_read_window(HWND hwnd, int32_t width, int32_t height, sf_surface* out) {
  RECT client;
  if (width < 1 || height < 1 || !GetClientRect(hwnd, &client) ||
      client.right - client.left < width || client.bottom - client.top < height) {
    fprintf(stderr, "showcase: the window is not %dx%d\n", (int)width, (int)height);
    return 0;
  }
  /* A layered window is composed by the system: read it from the screen where it stands, over
     whatever lies behind it. A plain window is read from its own device context. */
  int layered = (GetWindowLongW(hwnd, GWL_EXSTYLE) & WS_EX_LAYERED) != 0;
  POINT origin = {0, 0};
  ClientToScreen(hwnd, &origin);
  HDC source = layered ? GetDC(NULL) : GetDC(hwnd);
  HDC memory = CreateCompatibleDC(source);
  BITMAPINFO info;
  memset(&info, 0, sizeof info);
  info.bmiHeader.biSize = sizeof info.bmiHeader;
  info.bmiHeader.biWidth = width;
  info.bmiHeader.biHeight = -height;
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  info.bmiHeader.biCompression = BI_RGB;
  void* bits = NULL;
  HBITMAP bitmap = CreateDIBSection(memory, &info, DIB_RGB_COLORS, &bits, NULL, 0);
  int ok = 0;
  if (source && memory && bitmap) {
    HGDIOBJ old = SelectObject(memory, bitmap);
    int sx = layered ? origin.x : 0, sy = layered ? origin.y : 0;
    if (BitBlt(memory, 0, 0, width, height, source, sx, sy, SRCCOPY | CAPTUREBLT) &&
        sf_create(out, width, height, 4)) {
      GdiFlush();
      memcpy(out->pixels, bits, (size_t)width * (size_t)height * 4);
      for (size_t i = 0; i < (size_t)width * (size_t)height; ++i) out->pixels[i * 4 + 3] = 255;
      ok = 1;
    }
    SelectObject(memory, old);
  }
  if (!ok) fprintf(stderr, "showcase: reading the window back failed\n");
  if (bitmap) DeleteObject(bitmap);
  if (memory) DeleteDC(memory);
  if (source) ReleaseDC(layered ? NULL : hwnd, source);
  return ok;
}
