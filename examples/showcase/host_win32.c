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

/* Creates every missing directory along `path`; either separator counts, and a drive ("C:")
   or a server share ("\\server\share") at the start is taken as it stands. */
static int make_path(char* path) {
  char* p = path;
  if (p[0] && p[1] == ':') p += 2;
  if ((p[0] == '\\' || p[0] == '/') && (p[1] == '\\' || p[1] == '/')) { /* \\server\share */
    p += 2;
    for (int parts = 0; *p && parts < 2; ++p)
      if (*p == '\\' || *p == '/') ++parts;
  }
  if (*p == '\\' || *p == '/') ++p;
  if (!*p) return 1; /* a root: it exists or nothing can be made */
  for (;; ++p) {
    if (*p != '\\' && *p != '/' && *p != 0) continue;
    char keep = *p;
    *p = 0;
    int ok = CreateDirectoryA(path, NULL) || GetLastError() == ERROR_ALREADY_EXISTS;
    *p = keep;
    if (!ok) return 0;
    if (keep == 0) return 1;
  }
}

int host_config_dir(const char* chosen, char* out, size_t size) {
  const char* base = getenv("APPDATA");
  int n;
  if (chosen && chosen[0])
    n = snprintf(out, size, "%s", chosen);
  else if (base && base[0])
    n = snprintf(out, size, "%s\\quelt-showcase", base);
  else {
    fprintf(stderr, "showcase: APPDATA is not set\n");
    return 0;
  }
  if (n < 0 || (size_t)n >= size) {
    fprintf(stderr, "showcase: the settings directory's path is too long\n");
    return 0;
  }
  if (!make_path(out)) {
    fprintf(stderr, "showcase: cannot create %s (error %lu)\n", out, (unsigned long)GetLastError());
    return 0;
  }
  return 1;
}

/* The user's fonts, then the system's; then the usual Linux font folders on drive Z:, which is
   where Wine shows the Unix root, so that a program run under Wine finds the same files as the
   native build. On Windows proper Z: rarely exists and those names simply miss. */
int host_find_font(const char* name, char* out, size_t size) {
  static const char* const unix_dirs[] = {
      "Z:\\usr\\share\\fonts\\truetype\\dejavu", "Z:\\usr\\share\\fonts\\dejavu-sans-fonts",
      "Z:\\usr\\share\\fonts\\dejavu", "Z:\\usr\\share\\fonts\\TTF",
      "Z:\\usr\\share\\fonts\\truetype", "Z:\\usr\\local\\share\\fonts"};
  enum { UNIX_DIRS = sizeof unix_dirs / sizeof unix_dirs[0] };
  char user[MAX_PATH + 64] = "", system[MAX_PATH + 16] = "";
  const char* local = getenv("LOCALAPPDATA");
  if (local && local[0]) snprintf(user, sizeof user, "%s\\Microsoft\\Windows\\Fonts", local);
  char windows[MAX_PATH];
  UINT n = GetWindowsDirectoryA(windows, MAX_PATH);
  if (n > 0 && n < MAX_PATH) snprintf(system, sizeof system, "%s\\Fonts", windows);
  const char* dirs[2 + UNIX_DIRS] = {user, system};
  for (int i = 0; i < UNIX_DIRS; ++i) dirs[2 + i] = unix_dirs[i];
  for (int i = 0; i < 2 + UNIX_DIRS; ++i) {
    if (!dirs[i][0]) continue;
    int m = snprintf(out, size, "%s\\%s", dirs[i], name);
    if (m > 0 && (size_t)m < size) {
      DWORD attributes = GetFileAttributesA(out);
      if (attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY)) return 1;
    }
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
