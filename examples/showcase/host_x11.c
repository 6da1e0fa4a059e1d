/* The showcase's system services on Linux and other X11 systems. The read-back opens a
   connection of its own to the X server and finds the window by the _QUELT_HWND property that
   quelt puts on every window it makes. */
#define _POSIX_C_SOURCE 200809L
#include "host.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>

double host_now(void) {
  struct timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return (double)t.tv_sec + (double)t.tv_nsec * 1e-9;
}

void host_sleep(double seconds) {
  if (seconds <= 0) return;
  struct timespec t;
  t.tv_sec = (time_t)seconds;
  t.tv_nsec = (long)((seconds - (double)t.tv_sec) * 1e9);
  while (nanosleep(&t, &t) != 0 && errno == EINTR) {
  }
}

/* mkdir -p: every missing directory along the path. */
static int make_path(char* path) {
  for (char* p = path + 1;; ++p) {
    if (*p != '/' && *p != 0) continue;
    char keep = *p;
    *p = 0;
    int ok = mkdir(path, 0755) == 0 || errno == EEXIST;
    *p = keep;
    if (!ok) return 0;
    if (keep == 0) return 1;
  }
}

int host_config_dir(const char* chosen, char* out, size_t size) {
  const char* base = getenv("XDG_CONFIG_HOME");
  const char* home = getenv("HOME");
  int n;
  if (chosen && chosen[0])
    n = snprintf(out, size, "%s", chosen);
  else if (base && base[0] == '/')
    n = snprintf(out, size, "%s/quelt-showcase", base);
  else if (home && home[0])
    n = snprintf(out, size, "%s/.config/quelt-showcase", home);
  else {
    fprintf(stderr, "showcase: neither XDG_CONFIG_HOME nor HOME is set\n");
    return 0;
  }
  if (n < 0 || (size_t)n >= size) {
    fprintf(stderr, "showcase: the settings directory's path is too long\n");
    return 0;
  }
  if (!make_path(out)) {
    fprintf(stderr, "showcase: cannot create %s: %s\n", out, strerror(errno));
    return 0;
  }
  return 1;
}

static int readable(const char* path) {
  FILE* f = fopen(path, "rb");
  if (!f) return 0;
  fclose(f);
  return 1;
}

int host_find_font(const char* name, char* out, size_t size) {
  /* Where the common distributions put DejaVu, then the usual font roots. */
  static const char* const dirs[] = {
      "/usr/share/fonts/truetype/dejavu", "/usr/share/fonts/dejavu-sans-fonts",
      "/usr/share/fonts/dejavu",          "/usr/share/fonts/TTF",
      "/usr/share/fonts/truetype",        "/usr/local/share/fonts",
      "/usr/share/fonts",
  };
  for (size_t i = 0; i < sizeof dirs / sizeof dirs[0]; ++i) {
    int n = snprintf(out, size, "%s/%s", dirs[i], name);
    if (n > 0 && (size_t)n < size && readable(out)) return 1;
  }
  /* Elsewhere fontconfig knows; ask it for exactly this file. */
  FILE* list = popen("fc-list -f '%{file}\\n' 2>/dev/null", "r");
  if (!list) return 0;
  int found = 0;
  char line[1024];
  size_t want = strlen(name);
  while (!found && fgets(line, sizeof line, list)) {
    line[strcspn(line, "\n")] = 0;
    size_t len = strlen(line);
    if (len > want && line[len - want - 1] == '/' && strcmp(line + len - want, name) == 0 &&
        len < size && readable(line)) {
      memcpy(out, line, len + 1);
      found = 1;
    }
  }
  pclose(list);
  return found;
}

/* Other clients' windows may go away while the tree is walked (a program that has just ended):
   while the read-back's own connection is open, BadWindow on it means a window that isn't
   there, and BadMatch a window that does not lie wholly on the screen, which XGetImage cannot
   read; every other error goes where it went before. */
static Display* own_display;
static XErrorHandler handler_before;

static int ignore_vanished(Display* display, XErrorEvent* e) {
  if (display == own_display && (e->error_code == BadWindow || e->error_code == BadMatch)) return 0;
  return handler_before ? handler_before(display, e) : 0;
}

static Display* open_own(void) {
  own_display = XOpenDisplay(NULL);
  if (own_display) handler_before = XSetErrorHandler(ignore_vanished);
  return own_display;
}

static void close_own(void) {
  XSync(own_display, False);
  XErrorHandler current = XSetErrorHandler(handler_before);
  if (current != ignore_vanished) XSetErrorHandler(current); /* someone else's came since */
  XCloseDisplay(own_display);
  own_display = NULL;
}

/* The window that carries `hwnd` in _QUELT_HWND, searched through the whole tree, since a
   window manager puts its frame between the root and the window. */
static Window find_window(Display* display, Window at, Atom property, unsigned long long want) {
  Atom type;
  int format;
  unsigned long items = 0, after = 0;
  unsigned char* data = NULL;
  if (XGetWindowProperty(display, at, property, 0, 2, False, AnyPropertyType, &type, &format,
                         &items, &after, &data) == Success &&
      data && format == 32 && items == 2) {
    const unsigned long* v = (const unsigned long*)data;
    unsigned long long value = (v[0] & 0xFFFFFFFFull) | ((unsigned long long)(v[1] & 0xFFFFFFFFull) << 32);
    XFree(data);
    if (value == want) return at;
  } else if (data) {
    XFree(data);
  }
  Window root, parent, *children = NULL, found = 0;
  unsigned count = 0;
  if (!XQueryTree(display, at, &root, &parent, &children, &count)) return 0;
  for (unsigned i = 0; i < count && !found; ++i)
    found = find_window(display, children[i], property, want);
  if (children) XFree(children);
  return found;
}

static Window window_of(Display* display, HWND hwnd) {
  Atom property = XInternAtom(display, "_QUELT_HWND", True);
  if (property == None) return 0;
  return find_window(display, DefaultRootWindow(display), property,
                     (unsigned long long)(uintptr_t)hwnd);
}

int host_wait_shown(HWND hwnd, double timeout) {
  Display* display = open_own();
  if (!display) return 0;
  double end = host_now() + timeout;
  int shown = 0;
  while (!shown) {
    ctl_do_events();
    Window w = window_of(display, hwnd);
    XWindowAttributes a;
    shown = w && XGetWindowAttributes(display, w, &a) && a.map_state == IsViewable;
    if (shown || host_now() > end) break;
    host_sleep(0.005);
  }
  close_own();
  return shown;
}

int host_read_window(HWND hwnd, int32_t width, int32_t height, sf_surface* out) {
  Display* display = open_own();
  if (!display) {
    fprintf(stderr, "showcase: cannot connect to the X server to read the window back\n");
    return 0;
  }
  int ok = 0;
  Window w = window_of(display, hwnd);
  XWindowAttributes a;
  XImage* image = NULL;
  if (!w || !XGetWindowAttributes(display, w, &a))
    fprintf(stderr, "showcase: the window is not on the X server\n");
  else if (width < 1 || height < 1 || width > a.width || height > a.height)
    fprintf(stderr, "showcase: the window is %dx%d, not %dx%d\n", a.width, a.height, width, height);
  else if (!(image = XGetImage(display, w, 0, 0, (unsigned)width, (unsigned)height, AllPlanes, ZPixmap)))
    fprintf(stderr, "showcase: the window cannot be read back (is it wholly on the screen?)\n");
  else if (a.visual->class != TrueColor && a.visual->class != DirectColor)
    fprintf(stderr, "showcase: the window's visual is not true colour\n");
  else if (sf_create(out, width, height, 4)) {
    /* Channel positions from the visual's masks, so that any true-colour layout reads right;
       a 32-bit visual keeps alpha in the remaining top byte. */
    unsigned long masks[3] = {a.visual->red_mask, a.visual->green_mask, a.visual->blue_mask};
    int shifts[3];
    for (int c = 0; c < 3; ++c) {
      shifts[c] = 0;
      while (masks[c] && !(masks[c] & 1ul) && shifts[c] < 32) masks[c] >>= 1, ++shifts[c];
    }
    int has_alpha = a.depth == 32;
    for (int32_t y = 0; y < height; ++y) {
      uint8_t* row = out->pixels + (size_t)y * (size_t)width * 4;
      for (int32_t x = 0; x < width; ++x) {
        unsigned long p = XGetPixel(image, x, y);
        row[x * 4 + 2] = (uint8_t)((p >> shifts[0]) & 0xFF);
        row[x * 4 + 1] = (uint8_t)((p >> shifts[1]) & 0xFF);
        row[x * 4 + 0] = (uint8_t)((p >> shifts[2]) & 0xFF);
        row[x * 4 + 3] = has_alpha ? (uint8_t)((p >> 24) & 0xFF) : 255;
      }
    }
    ok = 1;
  }
  if (image) XDestroyImage(image);
  close_own();
  return ok;
}
