/* quelt showcase: one window that uses every part of quelt.

   - Surfaces: a gradient and panels drawn with sf_fill, sf_blend and the clip stack.
   - Drawing: rounded panels stretched from ring masks by sf_shape, bevelled keys and buttons
     from sf_frame, and a wireframe cube of anti-aliased lines (sf_line).
   - Math: the cube turns through mm44_rotate, is seen through mm44_lookat and sorted into
     front and back faces with the mv3_ functions.
   - Text: grey, sub-pixel and one-bit glyphs of DejaVu Sans, placed with anchors.
   - Image files: a picture drawn at the first run, written as PNG and read back.
   - Filters: the picture through a Gaussian kernel, the smoothing and grey.
   - Archive: the user's settings live in the window's layout archive, kept between runs in
     $XDG_CONFIG_HOME/quelt-showcase/settings.arch (~/.config when that is not set).
   - Windows: the window's callbacks and the idle loop, which redraws at most 60 times a second
     and sleeps in between.

   quelt-showcase                    the window; keys and mouse are listed at its bottom
   quelt-showcase --layered          a translucent window without a frame
   quelt-showcase --screenshot F     draws one frame, reads the window back from the screen,
                                     writes it to F as PNG and exits
   quelt-showcase --still            draws the frame of a screenshot and shows it until closed
                                     (for reading back with the system's own tools, as on Wayland)
   quelt-showcase --size WxH         the window's size, instead of the one saved at the last run
   quelt-showcase --font F           DejaVu Sans from F instead of the system's copy
   quelt-showcase --config D         settings.arch and picture.png in the directory D */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <quelt/quelt.h>

#include "host.h"
#include "layout.h"

#include <ft2build.h>
#include FT_FREETYPE_H

/* ---- Colours (0xAARRGGBB) -------------------------------------------------------------------- */

#define BG_TOP 0xFF232A3Bu
#define BG_BOTTOM 0xFF10131Au
#define HEADER 0xFF161A24u
#define PANEL 0xFF262D3Eu
#define PANEL_EDGE 0xFF3E4861u
#define INK 0xFFE9EDF4u
#define DIM 0xFF97A1B6u
#define KEY_FACE 0xFF30384Cu
#define KEY_LIGHT 0xFF505B76u
#define KEY_DARK 0xFF12151Cu

static const uint32_t ACCENTS[] = {0xFF2EC4B6u, 0xFFFFB04Au, 0xFFF0648Cu, 0xFF5AA9FFu};
static const char* const ACCENT_NAMES[] = {"teal", "amber", "rose", "sky"};
enum { ACCENT_COUNT = 4 };
static const int32_t BLUR_SIZES[] = {9, 15, 25, 35};
enum { BLUR_COUNT = 4 };

#define FRAME_TIME (1.0 / 60.0)

/* ---- State ----------------------------------------------------------------------------------- */

/* What is kept between runs, in the archive group "showcase". */
typedef struct settings {
  int32_t runs;
  float yaw, pitch, zoom;
  int32_t spin, blur, accent; /* blur and accent are indices into the tables above */
  int32_t width, height;
} settings;

typedef struct showcase {
  ctl_window_rec* window;
  sf_surface* surface; /* the window's, valid until ctl_window_release */
  int layered, screenshot;
  settings set;
  char settings_path[1024], picture_path[1024], shown_dir[1024];

  sf_face *title, *heading, *body, *lcd, *mono, *small;
  sf_surface disc, ring, shadow, dot, orbit; /* masks */
  sf_surface picture, thumbs[SHOWCASE_THUMBS];
  sf_surface back;  /* everything that does not move, at the window's size */
  sf_surface stage; /* the cube's area, composed here so that lines stay inside it */
  showcase_layout lay;
  int32_t dpi;                /* the resolution of the library's faces: 96 is the layout's own */
  sf_rect cube_area, live; /* the cube's area; the region redrawn on every frame */

  int dragging, pressed;
  int32_t drag_x, drag_y;
  int rebuild, present_all, dirty;
  double last_frame, fps_since;
  int fps_frames;
  float fps;
} showcase;

static showcase app;

/* A length of the 96-dpi design at the faces' resolution. */
static int32_t S(int32_t v) { return showcase_scaled(v, app.dpi); }

/* ---- Small helpers --------------------------------------------------------------------------- */

static uint32_t mix(uint32_t a, uint32_t b, int t) { /* t = 0 gives a, 255 gives b */
  uint32_t out = 0xFF000000u;
  for (int shift = 0; shift < 24; shift += 8) {
    int ca = (int)((a >> shift) & 0xFF), cb = (int)((b >> shift) & 0xFF);
    out |= (uint32_t)(ca + (cb - ca) * t / 255) << shift;
  }
  return out;
}

static uint32_t with_alpha(uint32_t color, uint32_t alpha) { return (color & 0xFFFFFFu) | alpha << 24; }

static uint32_t accent(void) { return ACCENTS[app.set.accent]; }

static sf_rect inset(sf_rect r, int32_t left, int32_t top, int32_t right, int32_t bottom) {
  return showcase_rect(r.left + left, r.top + top, r.right - right, r.bottom - bottom);
}

static int inside(sf_rect r, int32_t x, int32_t y) {
  return x >= r.left && x < r.right && y >= r.top && y < r.bottom;
}

static void fill(sf_surface* s, sf_rect r, uint32_t color) {
  s->color = color;
  sf_fill(s, &r);
}

/* UTF-8 to the 16-bit units that quelt's text takes; characters beyond the BMP become U+FFFD. */
static void widen(const char* text, uint16_t* out, size_t size) {
  const unsigned char* p = (const unsigned char*)text;
  size_t n = 0;
  while (*p && n + 1 < size) {
    uint32_t c = *p++;
    int more = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
    if (more) c &= 0x3Fu >> more;
    while (more-- > 0 && (*p & 0xC0) == 0x80) c = c << 6 | (*p++ & 0x3Fu);
    out[n++] = (uint16_t)(c > 0xFFFF ? 0xFFFD : c);
  }
  out[n] = 0;
}

/* Draws a line of text with its top left corner at (x, y) moved by the anchors: (0.5, 0.5)
   centres it on the point, (1, 0) ends it there. Returns the measured width. */
static int32_t text(sf_face* face, sf_surface* s, int32_t x, int32_t y, uint32_t color, float ax,
                    float ay, const char* utf8) {
  uint16_t units[256];
  widen(utf8, units, 256);
  s->color = color;
  s->anchor_x = ax;
  s->anchor_y = ay;
  sf_face_string(face, s, units, 0, x, y);
  return sf_face_width(face, units, 0);
}

static int32_t measure(sf_face* face, const char* utf8) {
  uint16_t units[256];
  widen(utf8, units, 256);
  return sf_face_width(face, units, 0);
}

/* A mask drawn centred on (x, y) in a colour; the anchors do the centring. */
static void stamp(sf_surface* s, sf_surface* mask, float x, float y, uint32_t color) {
  s->color = color;
  s->anchor_x = 0.5f;
  s->anchor_y = 0.5f;
  sf_blend(s, mask, NULL, (int32_t)floorf(x + 0.5f), (int32_t)floorf(y + 0.5f), NULL);
}

/* A rectangle of one surface copied as it is onto another at the same place. */
static void copy_rect(sf_surface* to, sf_surface* from, sf_rect r, int32_t x, int32_t y) {
  to->anchor_x = to->anchor_y = 0;
  sf_blend(to, from, &r, x, y, sf_blend_copy);
}

/* ---- Settings in the layout archive ---------------------------------------------------------- */

static const char* const SETTING_NAMES[] = {"runs", "yaw",    "pitch", "zoom",  "spin",
                                            "blur", "accent", "width", "height"};
enum { SETTING_COUNT = 9 };

static void* setting_field(settings* s, int i) {
  void* fields[SETTING_COUNT] = {&s->runs,  &s->yaw,    &s->pitch, &s->zoom,  &s->spin,
                                 &s->blur,  &s->accent, &s->width, &s->height};
  return fields[i];
}

static void default_view(settings* s) {
  s->yaw = 0.62f;
  s->pitch = -0.42f;
  s->zoom = 1.0f;
}

static void clamp_settings(settings* s) {
  if (!isfinite(s->yaw)) s->yaw = 0;
  if (!isfinite(s->pitch)) s->pitch = 0;
  s->yaw = fmodf(s->yaw, 6.2831853f);
  s->pitch = fmodf(s->pitch, 6.2831853f);
  if (!isfinite(s->zoom)) s->zoom = 1.0f;
  s->zoom = s->zoom < 0.4f ? 0.4f : s->zoom > 3.0f ? 3.0f : s->zoom;
  s->spin = s->spin != 0;
  if (s->blur < 0 || s->blur >= BLUR_COUNT) s->blur = 1;
  if (s->accent < 0 || s->accent >= ACCENT_COUNT) s->accent = 0;
  if (s->runs < 0) s->runs = 0;
}

static arch_archive* archive(void) { return app.window->layout->archive; }

/* Reads the settings from the file into the window's archive; a missing or unreadable file
   leaves the defaults. Each value is a 4-byte record in the group "showcase". */
static void load_settings(void) {
  settings* s = &app.set;
  memset(s, 0, sizeof *s);
  default_view(s);
  s->spin = 1;
  s->blur = 1;
  arch_archive* a = archive();
  FILE* probe = fopen(app.settings_path, "rb");
  if (probe) {
    fclose(probe);
    if (!arch_load(a, app.settings_path)) {
      fprintf(stderr, "showcase: %s is damaged; starting from the defaults\n", app.settings_path);
      arch_unload(a);
    } else if (arch_first(a, "showcase") && arch_enter(a)) {
      for (int i = 0; i < SETTING_COUNT; ++i) {
        uint8_t* payload = NULL;
        int32_t size = 0;
        if (arch_first(a, SETTING_NAMES[i]) && arch_lock(a, &payload, &size)) {
          if (size == 4) memcpy(setting_field(s, i), payload, 4);
          arch_unlock(a);
        }
      }
      arch_leave(a);
    }
  }
  s->runs += 1;
  clamp_settings(s);
}

/* Puts the current values into the archive: a record is made the first time, and rewritten in
   place after that. */
static void sync_settings(void) {
  arch_archive* a = archive();
  if (!arch_touch(a, "showcase") || !arch_enter(a)) return;
  for (int i = 0; i < SETTING_COUNT; ++i)
    if (arch_touch(a, SETTING_NAMES[i])) arch_data(a, setting_field(&app.set, i), 4);
  arch_leave(a);
}

static int save_settings(void) {
  sync_settings();
  if (!arch_store(archive(), app.settings_path)) {
    fprintf(stderr, "showcase: cannot write %s\n", app.settings_path);
    return 0;
  }
  return 1;
}

static void describe_setting(const char* name, const uint8_t* payload, char* out, size_t size) {
  int32_t i = 0;
  float f = 0;
  memcpy(&i, payload, 4);
  memcpy(&f, payload, 4);
  if (!strcmp(name, "yaw") || !strcmp(name, "pitch"))
    snprintf(out, size, "%.0f°", (double)f * 57.29578);
  else if (!strcmp(name, "zoom"))
    snprintf(out, size, "%.2f×", (double)f);
  else if (!strcmp(name, "spin"))
    snprintf(out, size, "%s", i ? "on" : "off");
  else if (!strcmp(name, "blur"))
    snprintf(out, size, "%d taps", (int)BLUR_SIZES[i >= 0 && i < BLUR_COUNT ? i : 0]);
  else if (!strcmp(name, "accent"))
    snprintf(out, size, "%s", ACCENT_NAMES[i >= 0 && i < ACCENT_COUNT ? i : 0]);
  else
    snprintf(out, size, "%d", (int)i);
}

/* ---- Fonts, masks and the picture ------------------------------------------------------------ */

static int open_face(sf_face** face, const char* path, int32_t points, int lcd, int mono) {
  if (!sf_face_create(face, path, points)) {
    fprintf(stderr, "showcase: FreeType cannot open %s\n", path);
    return 0;
  }
  (*face)->lcd = lcd;
  (*face)->mono = mono;
  return 1;
}

static int open_faces(const char* forced) {
  /* DejaVu Sans first; on Windows, which has no DejaVu, its own sans-serif faces. */
  static const char* const regular[] = {"DejaVuSans.ttf", "segoeui.ttf", "arial.ttf"};
  static const char* const bold[] = {"DejaVuSans-Bold.ttf", "segoeuib.ttf", "arialbd.ttf"};
  char path[1024], bold_path[1024];
  int found = 0;
  if (forced) {
    snprintf(path, sizeof path, "%s", forced);
    found = 1;
  }
  for (int i = 0; i < 3 && !found; ++i) found = host_find_font(regular[i], path, sizeof path);
  if (!found) {
    fprintf(stderr,
            "showcase: DejaVu Sans (DejaVuSans.ttf) was not found. Install it (Debian and Ubuntu:\n"
            "  apt-get install fonts-dejavu-core) or name a TrueType file with --font FILE.\n");
    return 0;
  }
  int has_bold = 0;
  if (!forced)
    for (int i = 0; i < 3 && !has_bold; ++i) has_bold = host_find_font(bold[i], bold_path, sizeof bold_path);
  if (!has_bold) snprintf(bold_path, sizeof bold_path, "%s", path);
  if (!open_face(&app.title, bold_path, 21, 0, 0) || !open_face(&app.heading, bold_path, 11, 0, 0) ||
      !open_face(&app.body, path, 11, 0, 0) || !open_face(&app.lcd, path, 11, 1, 0) ||
      !open_face(&app.mono, path, 11, 0, 1) || !open_face(&app.small, path, 9, 0, 0))
    return 0;
  /* 21 points are y_ppem pixels at the resolution the library took from the display. */
  app.dpi = ((int32_t)app.title->ft_face->size->metrics.y_ppem * 72 + 10) / 21;
  if (app.dpi < 48 || app.dpi > 480) app.dpi = 96;
  return 1;
}

/* Rounded panels are stretched from a disc (the body) and a ring (the edge); the shadow is a
   larger disc spread by a Gaussian kernel. */
static int make_masks(void) {
  const float scale = (float)app.dpi / 96.0f;
  if (!sf_render_ring(&app.disc, 12.0f * scale, 0.0f) || !sf_render_ring(&app.ring, 12.0f * scale, 1.4f * scale) ||
      !sf_render_ring(&app.dot, 3.0f * scale, 0.0f) || !sf_render_ring(&app.shadow, 14.0f * scale, 0.0f))
    return 0;
  sf_surface k;
  if (!sf_enlarge(&app.shadow, S(8), S(8), S(8), S(8)) || !sf_kernel_gaussian(&k, S(15) | 1)) return 0;
  sf_kernel(&app.shadow, (const float*)k.pixels, k.width, 1);
  sf_kernel(&app.shadow, (const float*)k.pixels, 1, k.width);
  sf_release(&k);
  sf_strip(&app.shadow);
  return 1;
}

static float ridge(float x, float base, float a, float fa, float b, float fb, float phase) {
  return base + a * sinf(x * fa + phase) + b * sinf(x * fb + 2.0f * phase);
}

/* Hills filled column by column, their crest smoothed by a line of the same colour. */
static void hills(sf_surface* p, float base, float a, float fa, float b, float fb, float phase, uint32_t color) {
  for (int32_t x = 0; x < p->width; ++x) {
    float h = ridge((float)x, base, a, fa, b, fb, phase);
    float h1 = ridge((float)x + 1, base, a, fa, b, fb, phase);
    fill(p, showcase_rect(x, (int32_t)h + 1, x + 1, p->height), color);
    sf_line(p, (float)x, h, (float)x + 1, h1, color);
  }
}

/* The picture: a dusk over hills, with sharp edges for the filters to work on. */
static int draw_picture(sf_surface* p) {
  if (!sf_create(p, SHOWCASE_PICTURE_W, SHOWCASE_PICTURE_H, 4)) return 0;
  for (int32_t y = 0; y < p->height; ++y) {
    int t = y * 255 / 70;
    uint32_t c = t < 128 ? mix(0xFF0E1C4Fu, 0xFF7A3F8Eu, t * 2) : mix(0xFF7A3F8Eu, 0xFFFFA168u, t > 255 ? 255 : (t - 128) * 2);
    fill(p, showcase_rect(0, y, p->width, y + 1), c);
  }
  uint32_t seed = 12345;
  for (int i = 0; i < 40; ++i) {
    seed = seed * 1103515245u + 12345u;
    int32_t x = (int32_t)((seed >> 8) % (uint32_t)p->width), y = (int32_t)((seed >> 20) % 40u);
    fill(p, showcase_rect(x, y, x + 1, y + 1), with_alpha(0xFFFFFF, 0x50 + (seed >> 4) % 0xB0));
  }
  sf_surface glow, sun;
  if (sf_render_ring(&glow, 26.0f, 0.0f)) {
    stamp(p, &glow, 100, 58, 0x50FFC070u);
    sf_release(&glow);
  }
  if (sf_render_ring(&sun, 13.0f, 0.0f)) {
    stamp(p, &sun, 100, 58, 0xFFFFE6A8u);
    sf_release(&sun);
  }
  hills(p, 62.0f, 6.0f, 0.07f, 3.0f, 0.21f, 1.0f, 0xFF56347Au);
  hills(p, 76.0f, 7.0f, 0.045f, 2.5f, 0.17f, 2.4f, 0xFF24163Au);
  return 1;
}

/* The picture comes from picture.png in the settings directory, written at the first run; a
   picture of the user's own put there is shown instead. */
static int load_picture(void) {
  sf_surface drawn;
  memset(&drawn, 0, sizeof drawn);
  if (!draw_picture(&drawn)) return 0;
  FILE* probe = fopen(app.picture_path, "rb");
  if (probe)
    fclose(probe);
  else if (!sf_image_png_store(&drawn, app.picture_path))
    fprintf(stderr, "showcase: cannot write %s\n", app.picture_path);
  memset(&app.picture, 0, sizeof app.picture);
  if (sf_image_load(&app.picture, app.picture_path) && app.picture.bytes_per_pixel == 4) {
    sf_release(&drawn);
    return 1;
  }
  if (app.picture.pixels) sf_release(&app.picture);
  fprintf(stderr, "showcase: %s is not a colour picture; showing the one drawn here\n", app.picture_path);
  app.picture = drawn;
  return 1;
}

/* The picture at the size of the layout's pictures: each pixel the average of the source
   pixels it covers (the nearest one when it covers less than one). */
static int resample(sf_surface* to, const sf_surface* from, int32_t w, int32_t h) {
  if (!sf_create(to, w, h, 4)) return 0;
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) {
      int32_t x0 = x * from->width / w, x1 = (x + 1) * from->width / w;
      int32_t y0 = y * from->height / h, y1 = (y + 1) * from->height / h;
      if (x1 <= x0) x1 = x0 + 1;
      if (y1 <= y0) y1 = y0 + 1;
      uint32_t sum[4] = {0, 0, 0, 0}, n = 0;
      for (int32_t v = y0; v < y1; ++v)
        for (int32_t u = x0; u < x1; ++u, ++n)
          for (int c = 0; c < 4; ++c) sum[c] += from->pixels[((size_t)v * (size_t)from->width + (size_t)u) * 4 + (size_t)c];
      for (int c = 0; c < 4; ++c) to->pixels[((size_t)y * (size_t)w + (size_t)x) * 4 + (size_t)c] = (uint8_t)(sum[c] / n);
    }
  return 1;
}

/* The four versions of the picture at the layout's size: as loaded, through a Gaussian kernel
   (rows, then columns), smoothed six times, and grey. */
static int filter_picture(void) {
  const sf_rect r = app.lay.thumbs[0];
  const int32_t w = r.right > r.left ? r.right - r.left : SHOWCASE_PICTURE_W;
  const int32_t h = r.bottom > r.top ? r.bottom - r.top : SHOWCASE_PICTURE_H;
  for (int i = 0; i < SHOWCASE_THUMBS; ++i) {
    if (app.thumbs[i].pixels) sf_release(&app.thumbs[i]);
    if (!(i ? sf_duplicate(&app.thumbs[i], &app.thumbs[0]) : resample(&app.thumbs[0], &app.picture, w, h))) return 0;
  }
  sf_surface k;
  int32_t n = BLUR_SIZES[app.set.blur];
  if (!sf_kernel_gaussian(&k, n)) return 0;
  sf_kernel(&app.thumbs[1], (const float*)k.pixels, n, 1);
  sf_kernel(&app.thumbs[1], (const float*)k.pixels, 1, n);
  sf_release(&k);
  for (int i = 0; i < 6; ++i) sf_smooth(&app.thumbs[2]);
  sf_grayscale(&app.thumbs[3], 0);
  return 1;
}

/* ---- The parts that do not move -------------------------------------------------------------- */

static void panel(sf_surface* s, sf_rect r, const char* title, const char* note) {
  int32_t spread = (app.shadow.width - app.disc.width) / 2;
  sf_rect shade = showcase_rect(r.left - spread, r.top - spread + S(4), r.right + spread, r.bottom + spread + S(6));
  s->color = 0x78000000u;
  sf_shape(s, &app.shadow, &shade);
  s->color = app.layered ? with_alpha(PANEL, 0xE0) : PANEL;
  sf_shape(s, &app.disc, &r);
  s->color = with_alpha(PANEL_EDGE, 0xFF);
  sf_shape(s, &app.ring, &r);
  if (!title) return;
  stamp(s, &app.dot, (float)(r.left + S(20)), (float)(r.top + S(21)), accent());
  const int32_t used = S(31) + text(app.heading, s, r.left + S(31), r.top + S(21), INK, 0, 0.5f, title);
  /* The note only where it fits beside the title. */
  if (note && used + S(24) + measure(app.small, note) + S(18) <= r.right - r.left)
    text(app.small, s, r.right - S(18), r.top + S(21), DIM, 1, 0.5f, note);
  fill(s, showcase_rect(r.left + S(14), r.top + S(38), r.right - S(14), r.top + S(38) + 1), with_alpha(PANEL_EDGE, 0xC0));
}

/* A bevelled key cap with its label centred; `down` sinks it. */
static void key(sf_surface* s, sf_rect r, const char* label, int down, sf_face* face) {
  fill(s, r, down ? mix(KEY_FACE, accent(), 70) : KEY_FACE);
  sf_frame(s, &r, down ? KEY_DARK : KEY_LIGHT, down ? KEY_LIGHT : KEY_DARK, 1);
  text(face, s, (r.left + r.right) / 2, (r.top + r.bottom) / 2 + (down ? S(1) : 0), INK, 0.5f, 0.5f, label);
}

static void draw_header(sf_surface* s) {
  sf_rect h = app.lay.header;
  fill(s, h, HEADER);
  fill(s, showcase_rect(h.left, h.bottom - S(2), h.right, h.bottom), accent());
  int32_t w = text(app.title, s, S(24), h.bottom / 2, INK, 0, 0.5f, "quelt");
  w += S(24 + 12) + text(app.heading, s, S(24) + w + S(12), h.bottom / 2 + S(3), DIM, 0, 0.5f, "showcase");
  /* The two lines on the right, each only where it clears the title. */
  static const char* const lines[] = {
      "surfaces · blending · filters · lines · text · images · archives · math · windows",
      "software drawing and windows behind one flat C interface"};
  for (int i = 0; i < 2; ++i)
    if (w + S(32) + measure(app.small, lines[i]) + S(24) <= h.right)
      text(app.small, s, h.right - S(24), h.bottom / 2 + (i ? S(9) : -S(9)), DIM, 1, 0.5f, lines[i]);
}

static void draw_footer(sf_surface* s) {
  static const char* const keys[][2] = {{"drag", "rotate"}, {"wheel", "zoom"}, {"Space", "spin"},
                                        {"B", "blur"},      {"C", "colour"},   {"R", "reset"},
                                        {"Esc", "quit"}};
  enum { KEYS = 7 };
  sf_rect f = app.lay.footer;
  /* As many keys as fit, from the first. */
  int32_t total = 0, widths[KEYS], shown = 0;
  for (int i = 0; i < KEYS; ++i) {
    widths[i] = measure(app.small, keys[i][0]) + S(16);
    if (widths[i] < S(26)) widths[i] = S(26);
    const int32_t more = (i ? S(22) : 0) + widths[i] + S(6) + measure(app.small, keys[i][1]);
    if (total + more > f.right - f.left - S(32)) break;
    total += more;
    shown = i + 1;
  }
  int32_t x = (f.left + f.right - total) / 2, mid = (f.top + f.bottom) / 2;
  for (int i = 0; i < shown; ++i) {
    key(s, showcase_rect(x, mid - S(11), x + widths[i], mid + S(11)), keys[i][0], 0, app.small);
    x += widths[i] + S(6);
    x += text(app.small, s, x, mid, DIM, 0, 0.5f, keys[i][1]) + S(22);
  }
}

static void draw_text_panel(sf_surface* s) {
  const showcase_layout* l = &app.lay;
  panel(s, l->text, "Text", "FreeType glyphs, cached and blended");
  static const char* const labels[] = {"grey", "sub-pixel", "one-bit"};
  sf_face* faces[] = {app.body, app.lcd, app.mono};
  const char* sample = "Sphinx of black quartz, judge my vow — 0123456789 ÆØ €";
  for (int i = 0; i < SHOWCASE_SAMPLES; ++i) {
    sf_rect r = l->samples[i];
    int32_t mid = r.top + sf_face_height(faces[i]) / 2;
    text(app.small, s, r.left - S(14), mid, DIM, 1, 0.5f, labels[i]);
    if (sf_push(s, &r)) {
      text(faces[i], s, r.left, r.top, INK, 0, 0, sample);
      sf_pop(s);
    }
  }

  /* One guide line, three strings hung on it by anchor_x 0, 0.5 and 1, where there is room. */
  sf_rect a = l->anchors;
  if (a.right > a.left) {
    int32_t guide = a.left + S(150);
    fill(s, showcase_rect(guide, a.top, guide + 1, a.bottom), accent());
    static const char* const hung[] = {"anchor_x = 0", "anchor_x = 0.5", "anchor_x = 1"};
    for (int i = 0; i < 3; ++i)
      text(app.body, s, guide, a.top + S(11) + i * S(22), INK, 0.5f * (float)i, 0.5f, hung[i]);
  }

  /* The sub-pixel line four times larger: each pixel becomes a 4 × 4 fill (at 96 dpi). */
  sf_rect in = l->inset;
  if (in.right <= in.left) return;
  const int32_t z = S(4);
  int32_t sx = l->samples[1].left, sy = l->samples[1].top + S(1);
  for (int32_t y = 0; y < (in.bottom - in.top) / z; ++y)
    for (int32_t x = 0; x < (in.right - in.left) / z; ++x) {
      if (sx + x >= s->width || sy + y >= s->height) continue;
      uint32_t p;
      memcpy(&p, s->pixels + ((size_t)(sy + y) * (size_t)s->width + (size_t)(sx + x)) * 4, 4);
      fill(s, showcase_rect(in.left + x * z, in.top + y * z, in.left + x * z + z, in.top + y * z + z), p | 0xFF000000u);
    }
  sf_rect edge = inset(in, -1, -1, -1, -1);
  sf_frame(s, &edge, KEY_DARK, KEY_LIGHT, 1);
  text(app.small, s, in.right, in.bottom + S(5), DIM, 1, 0, "sub-pixel glyphs, 4× : one coverage per colour");
}

static void draw_image_panel(sf_surface* s) {
  const showcase_layout* l = &app.lay;
  char name[64];
  panel(s, l->image, "Image files & filters", "PNG written by quelt and read back");
  snprintf(name, sizeof name, "Gaussian, %d taps", (int)BLUR_SIZES[app.set.blur]);
  const sf_rect column = l->labels[1];
  if (measure(app.small, name) > column.right - column.left) /* a narrow column: the short name */
    snprintf(name, sizeof name, "Gaussian %d", (int)BLUR_SIZES[app.set.blur]);
  const char* labels[SHOWCASE_THUMBS] = {"picture.png", name, "smoothing", "grey"};
  static const char* const calls[SHOWCASE_THUMBS] = {"sf_image_load", "sf_kernel",
                                                     "sf_smooth × 6", "sf_grayscale"};
  for (int i = 0; i < SHOWCASE_THUMBS; ++i) {
    sf_rect r = l->thumbs[i];
    sf_rect edge = inset(r, -1, -1, -1, -1);
    sf_frame(s, &edge, KEY_DARK, KEY_LIGHT, 1);
    if (sf_push(s, &r)) {
      copy_rect(s, &app.thumbs[i], showcase_rect(0, 0, r.right - r.left, r.bottom - r.top), r.left, r.top);
      sf_pop(s);
    }
    sf_rect column = l->labels[i];
    if (sf_push(s, &column)) {
      text(app.small, s, (r.left + r.right) / 2, r.bottom + S(9), INK, 0.5f, 0, labels[i]);
      text(app.small, s, (r.left + r.right) / 2, r.bottom + S(27), DIM, 0.5f, 0, calls[i]);
      sf_pop(s);
    }
  }
}

/* The settings file's path on one line of `r`: when it is wider than that, its start gives way
   to an ellipsis, since the end names the file. */
static void shown_path(sf_surface* s, sf_rect r) {
  const char* tail = app.shown_dir;
  char line[sizeof app.shown_dir + 4];
  snprintf(line, sizeof line, "%s", tail);
  while (*tail && measure(app.small, line) > r.right - r.left) {
    do ++tail;
    while ((*tail & 0xC0) == 0x80); /* whole UTF-8 characters */
    snprintf(line, sizeof line, "…%s", tail);
  }
  text(app.small, s, r.left, (r.top + r.bottom) / 2, DIM, 0, 0.5f, line);
}

static void build_back(void) {
  sf_surface* s = &app.back;
  int32_t w = app.surface->width, h = app.surface->height;
  if (s->pixels) sf_release(s);
  memset(s, 0, sizeof *s);
  if (w < 1 || h < 1 || !sf_create(s, w, h, 4)) return;
  app.rebuild = 0;

  if (app.layered) {
    /* Transparent around one translucent panel; every blend leaves premultiplied pixels. */
    sf_rect r = showcase_rect(S(16), S(16), w - S(16), h - S(16));
    panel(s, r, NULL, NULL);
    fill(s, showcase_rect(r.left + S(14), r.top + S(1), r.right - S(14), r.top + S(3)), with_alpha(accent(), 0xE0));
    int32_t tw = text(app.title, s, r.left + S(22), r.top + S(32), INK, 0, 0.5f, "quelt");
    text(app.heading, s, r.left + S(22) + tw + S(10), r.top + S(35), DIM, 0, 0.5f, "layered window");
    text(app.small, s, w / 2, r.bottom - S(20), DIM, 0.5f, 0.5f, "drag: rotate  ·  wheel: zoom  ·  Esc: quit");
    app.cube_area = showcase_rect(r.left + S(10), r.top + S(58), r.right - S(10), r.bottom - S(36));
    app.live = app.cube_area;
  } else {
    const int32_t thumb_w = app.lay.thumbs[0].right - app.lay.thumbs[0].left;
    showcase_layout_for(&app.lay, w, h, app.dpi);
    const showcase_layout* l = &app.lay;
    if (app.lay.thumbs[0].right - app.lay.thumbs[0].left != thumb_w) filter_picture();
    for (int32_t y = 0; y < h; ++y) fill(s, showcase_rect(0, y, w, y + 1), mix(BG_TOP, BG_BOTTOM, y * 255 / h));
    draw_header(s);
    draw_footer(s);
    panel(s, l->cube, "Lines & matrices", "drag to turn");
    panel(s, l->settings, "Settings", "the window's layout archive");
    shown_path(s, showcase_rect(l->settings.left + S(20), l->settings.top + S(44), l->settings.right - S(14),
                                l->settings.top + S(60)));
    draw_text_panel(s);
    draw_image_panel(s);
    app.cube_area = inset(l->cube, S(8), S(42), S(8), S(8));
    app.live = showcase_rect(l->cube.left, l->cube.top + S(40), l->cube.right, l->settings.bottom);
  }

  /* The orbit behind the cube: a ring mask sized to the area. */
  if (app.orbit.pixels) sf_release(&app.orbit);
  memset(&app.orbit, 0, sizeof app.orbit);
  int32_t aw = app.cube_area.right - app.cube_area.left, ah = app.cube_area.bottom - app.cube_area.top;
  float radius = 0.40f * (float)(aw < ah ? aw : ah);
  if (radius > 4) sf_render_ring(&app.orbit, radius, 1.3f * (float)app.dpi / 96.0f);
  if (app.stage.pixels) sf_release(&app.stage);
  memset(&app.stage, 0, sizeof app.stage);
  if (aw > 0 && ah > 0) sf_create(&app.stage, aw, ah, 4);
}

/* ---- The parts that move --------------------------------------------------------------------- */

static void draw_cube(sf_surface* s) {
  int32_t w = s->width, h = s->height - S(22);
  float cx = (float)w / 2.0f, cy = (float)h / 2.0f + (float)S(4);
  float focal = (float)(w < h ? w : h) * 1.25f * app.set.zoom;
  if (app.orbit.pixels) stamp(s, &app.orbit, cx, cy, with_alpha(accent(), 0x58));

  mm44 model = mm44_rotate(app.set.pitch, app.set.yaw, 0.0f);
  mv3 eye = {0.0f, 0.0f, -5.0f}, target = {0.0f, 0.0f, 0.0f}, up = {0.0f, 1.0f, 0.0f};
  mm44 view = mm44_lookat(eye, target, up);
  mv3 world[8];
  float sx[8], sy[8], depth[8];
  for (int i = 0; i < 8; ++i) {
    mv4 corner = {i & 1 ? 1.0f : -1.0f, i & 2 ? 1.0f : -1.0f, i & 4 ? 1.0f : -1.0f, 1.0f};
    mv4 turned = mm44_mulv4(model, corner);
    world[i] = (mv3){turned.x, turned.y, turned.z};
    mv3 seen = mm44_mulv3(view, world[i]);
    depth[i] = seen.z;
    sx[i] = cx - focal * seen.x / seen.z;
    sy[i] = cy - focal * seen.y / seen.z;
  }
  /* Face (axis k, side v) holds the corners whose bit k is v. It faces the eye when its
     outward normal points against the line of sight. */
  int front[3][2];
  for (int k = 0; k < 3; ++k)
    for (int v = 0; v < 2; ++v) {
      mv3 sum = {0, 0, 0};
      for (int i = 0; i < 8; ++i)
        if (((i >> k) & 1) == v) sum = mv3_add(sum, world[i]);
      mv3 centre = mv3_div(sum, 4.0f);
      mv3 normal = mv3_normal(centre);
      front[k][v] = mv3_dot(normal, mv3_sub(centre, eye)) < 0.0f;
    }
  uint32_t near_color = accent(), far_color = mix(accent(), PANEL, 175);
  for (int pass = 0; pass < 2; ++pass)
    for (int i = 0; i < 8; ++i)
      for (int k = 0; k < 3; ++k) {
        int j = i ^ (1 << k);
        if (j < i) continue;
        int a = (k + 1) % 3, b = (k + 2) % 3;
        int seen = front[a][(i >> a) & 1] || front[b][(i >> b) & 1];
        if (seen != pass) continue;
        uint32_t c = seen ? mix(near_color, INK, (int)(fmaxf(0.0f, 5.0f - (depth[i] + depth[j]) / 2) * 60)) : far_color;
        sf_line(s, sx[i], sy[i], sx[j], sy[j], c);
        if (seen) { /* a second line half a pixel across makes the front edges bolder */
          float dx = sx[j] - sx[i], dy = sy[j] - sy[i];
          mv2 across = mv2_normal((mv2){-dy, dx});
          if (isfinite(across.x)) {
            mv2 o = mv2_mul(across, 0.6f);
            sf_line(s, sx[i] + o.x, sy[i] + o.y, sx[j] + o.x, sy[j] + o.y, c);
          }
        }
      }
  for (int i = 0; i < 8; ++i) {
    int seen = 0;
    for (int k = 0; k < 3; ++k) seen |= front[k][(i >> k) & 1];
    if (seen) stamp(s, &app.dot, sx[i], sy[i], mix(accent(), INK, 120));
  }

  /* Angles are shown as a turn from 0 to 359 degrees, however far the cube has turned. */
  char status[128], rate[32] = "";
  double yaw = fmod((double)app.set.yaw * 57.29578, 360.0), pitch = fmod((double)app.set.pitch * 57.29578, 360.0);
  if (yaw < -0.5) yaw += 360.0;
  if (pitch < -0.5) pitch += 360.0;
  snprintf(status, sizeof status, "yaw %.0f°   pitch %.0f°   zoom %.2f×", yaw < 359.5 ? yaw : 0.0,
           pitch < 359.5 ? pitch : 0.0, (double)app.set.zoom);
  if (measure(app.small, status) + S(16) > s->width) /* a narrow cube: the numbers alone */
    snprintf(status, sizeof status, "%.0f°  %.0f°  %.2f×", yaw < 359.5 ? yaw : 0.0, pitch < 359.5 ? pitch : 0.0,
             (double)app.set.zoom);
  const int32_t used = text(app.small, s, S(8), s->height - S(10), DIM, 0, 0.5f, status);
  if (app.fps > 0) snprintf(rate, sizeof rate, "%.0f frames/s", (double)app.fps);
  /* The frame rate on the same line where it clears the angles, else on the line above. */
  const int32_t line = used + S(24) + measure(app.small, rate) + S(8) <= s->width ? 10 : 28;
  if (rate[0]) text(app.small, s, s->width - S(8), s->height - S(line), DIM, 1, 0.5f, rate);
}

static void draw_settings(sf_surface* s) {
  arch_archive* a = archive();
  sync_settings();
  int row = 0;
  if (arch_first(a, "showcase") && arch_enter(a)) {
    /* Two columns where each has room for a name and its value, else one. */
    const int32_t columns = (app.lay.values.right - app.lay.values.left) / 2 >= S(130) ? 2 : 1;
    const int32_t half = (app.lay.values.right - app.lay.values.left) / columns;
    for (int ok = arch_first(a, NULL); ok; ok = arch_next(a, NULL), ++row) {
      arch_entry* e = NULL;
      uint8_t* payload = NULL;
      int32_t size = 0;
      void* at = NULL;
      if (!vect_at(a->entries, a->entries->iter, NULL, &at)) break;
      e = (arch_entry*)at;
      char name[64], value[64] = "";
      snprintf(name, sizeof name, "%s", e->name);
      if (arch_lock(a, &payload, &size)) {
        if (size == 4) describe_setting(name, payload, value, sizeof value);
        arch_unlock(a);
      }
      /* The lines, as many as fit above the buttons, each clipped to its column. */
      const sf_rect v = app.lay.values;
      int32_t x = v.left + S(6) + (row % columns) * half, y = v.top + S(12) + (row / columns) * S(19);
      sf_rect column = showcase_rect(x, y - S(10), x + half - S(8) < v.right ? x + half - S(8) : v.right, y + S(10));
      if (column.bottom > v.bottom) continue;
      if (sf_push(s, &column)) {
        text(app.small, s, x, y, DIM, 0, 0.5f, name);
        text(app.body, s, x + S(46), y, INK, 0, 0.5f, value);
        sf_pop(s);
      }
    }
    arch_leave(a);
  }
  static const char* const labels[SHOWCASE_BUTTONS] = {"Spin", "Blur", "Colour", "Reset"};
  /* The bold labels where every one fits its key, else the small face for all. */
  sf_face* face = app.heading;
  for (int i = 0; i < SHOWCASE_BUTTONS; ++i)
    if (measure(app.heading, labels[i]) + S(10) > app.lay.buttons[i].right - app.lay.buttons[i].left) face = app.small;
  for (int i = 0; i < SHOWCASE_BUTTONS; ++i)
    key(s, app.lay.buttons[i], labels[i], app.pressed == i + 1 || (i == 0 && app.set.spin), face);
}

/* One frame: the still parts where things move, then the moving parts. `all` copies the whole
   still picture first, as after a resize. */
static void draw_frame(int all) {
  sf_surface* s = app.surface;
  if (!s->pixels || !app.back.pixels || s->width != app.back.width || s->height != app.back.height) return;
  if (all)
    copy_rect(s, &app.back, showcase_rect(0, 0, s->width, s->height), 0, 0);
  else
    copy_rect(s, &app.back, app.live, app.live.left, app.live.top);
  if (app.stage.pixels) {
    sf_rect area = app.cube_area;
    copy_rect(&app.stage, &app.back, area, 0, 0);
    draw_cube(&app.stage);
    copy_rect(s, &app.stage, showcase_rect(0, 0, app.stage.width, app.stage.height), area.left, area.top);
  }
  if (!app.layered) draw_settings(s);
}

static void present(int all) {
  if (app.layered || all)
    ctl_window_update(app.window);
  else
    ctl_window_update_rect(app.window, &app.live);
}

/* ---- Input and the loop ---------------------------------------------------------------------- */

static void press_button(int which) {
  switch (which) {
    case 0: app.set.spin = !app.set.spin; break;
    case 1:
      app.set.blur = (app.set.blur + 1) % BLUR_COUNT;
      filter_picture();
      app.rebuild = 1;
      break;
    case 2:
      app.set.accent = (app.set.accent + 1) % ACCENT_COUNT;
      app.rebuild = 1;
      break;
    case 3: default_view(&app.set); break;
  }
  app.dirty = 1;
}

static int32_t on_key(ctl_window_rec* w, int32_t code, uint32_t key_code) {
  (void)w;
  if (code == CTL_CHAR) {
    if (key_code == '+' || key_code == '=') app.set.zoom *= 1.1f;
    if (key_code == '-') app.set.zoom /= 1.1f;
    clamp_settings(&app.set);
    app.dirty = 1;
    return 0;
  }
  if (code != CTL_DOWN) return 0;
  switch (key_code) {
    case 27: ctl_main_quit(); break; /* Escape */
    case ' ': press_button(0); break;
    case 'B': press_button(1); break;
    case 'C': press_button(2); break;
    case 'R': press_button(3); break;
    case 0x25: app.set.yaw -= 0.087f; break; /* the arrows turn by 5 degrees */
    case 0x27: app.set.yaw += 0.087f; break;
    case 0x26: app.set.pitch -= 0.087f; break;
    case 0x28: app.set.pitch += 0.087f; break;
    default: return 0;
  }
  app.dirty = 1;
  return 0;
}

static int32_t on_mouse(ctl_window_rec* w, int32_t action, int32_t button, int32_t x, int32_t y) {
  if (action == CTL_WHEEL) {
    app.set.zoom *= powf(1.1f, (float)w->wheel / 120.0f);
    clamp_settings(&app.set);
    app.dirty = 1;
  } else if (action == CTL_DOWN && button == CTL_LEFT) {
    app.pressed = 0;
    for (int i = 0; i < SHOWCASE_BUTTONS && !app.layered; ++i)
      if (inside(app.lay.buttons[i], x, y)) app.pressed = i + 1;
    app.dragging = !app.pressed;
    app.drag_x = x;
    app.drag_y = y;
    app.dirty = 1;
  } else if (action == CTL_UP && button == CTL_LEFT) {
    if (app.pressed && inside(app.lay.buttons[app.pressed - 1], x, y)) press_button(app.pressed - 1);
    app.pressed = 0;
    app.dragging = 0;
    app.dirty = 1;
  } else if (action == CTL_MOVE && app.dragging && ctl_window_mouse_state(w, CTL_LEFT)) {
    app.set.yaw -= (float)(x - app.drag_x) * 0.01f;
    app.set.pitch += (float)(y - app.drag_y) * 0.01f;
    app.drag_x = x;
    app.drag_y = y;
    app.dirty = 1;
  }
  return 0;
}

static int32_t on_event(ctl_window_rec* w, int32_t code) {
  if (code == CTL_CLOSE) {
    ctl_main_quit();
  } else if (code == CTL_SIZE) {
    /* A new, empty surface: draw it at once, so that the paint that follows has a picture. */
    if (!app.screenshot && !app.layered && app.surface->width > 0) {
      app.set.width = app.surface->width;
      app.set.height = app.surface->height;
    }
    build_back();
    draw_frame(1);
    app.present_all = 1;
  }
  (void)w;
  return 0;
}

static int32_t on_idle(void) {
  double now = host_now();
  if (app.rebuild) {
    build_back();
    app.present_all = 1;
  }
  int moving = app.set.spin || app.dirty;
  if (app.present_all || (moving && now - app.last_frame >= FRAME_TIME)) {
    double step = now - app.last_frame;
    if (step > 0.1) step = 0.1;
    if (app.set.spin && !app.dragging) app.set.yaw += (float)(step * 0.5);
    app.last_frame = now;
    ++app.fps_frames;
    if (now - app.fps_since >= 1.0) {
      app.fps = (float)(app.fps_frames / (now - app.fps_since));
      app.fps_frames = 0;
      app.fps_since = now;
    }
    draw_frame(app.present_all);
    present(app.present_all);
    app.present_all = app.dirty = 0;
  }
  /* Sleep until the next frame is due, but never long, so that input stays quick; with
     nothing moving, wake up a hundred times a second to look at the queue. */
  double wait = moving ? app.last_frame + FRAME_TIME - host_now() : 0.010;
  host_sleep(wait > 0.008 ? 0.008 : wait);
  return 0;
}

/* ---- Screenshot ------------------------------------------------------------------------------ */

static int screenshot(const char* path) {
  if (!host_wait_shown(app.window->hwnd, 5.0)) {
    fprintf(stderr, "showcase: the window did not appear on the screen\n");
    return 0;
  }
  build_back();
  draw_frame(1);
  present(1);
  ctl_do_events();
  sf_surface shot;
  memset(&shot, 0, sizeof shot);
  if (!host_read_window(app.window->hwnd, app.surface->width, app.surface->height, &shot)) return 0;
  if (app.layered) { /* the screen holds premultiplied pixels; a PNG holds straight ones */
    for (size_t i = 0; i < (size_t)shot.width * (size_t)shot.height; ++i) {
      uint8_t* p = shot.pixels + i * 4;
      for (int c = 0; c < 3 && p[3]; ++c) {
        int v = p[c] * 255 / p[3];
        p[c] = (uint8_t)(v > 255 ? 255 : v);
      }
    }
  }
  int ok = sf_image_png_store(&shot, path);
  sf_release(&shot);
  if (ok)
    printf("showcase: screenshot written to %s\n", path);
  else
    fprintf(stderr, "showcase: cannot write %s\n", path);
  return ok;
}

/* ---- Start and end --------------------------------------------------------------------------- */

/* The files in the settings directory. On Windows they are joined with a backslash unless the
   directory was named with forward slashes only, so that a path reads as one style. */
static int prepare_paths(const char* chosen) {
  char dir[900];
  if (!host_config_dir(chosen, dir, sizeof dir)) return 0;
#ifdef _WIN32
  const char* sep = strchr(dir, '/') && !strchr(dir, '\\') ? "/" : "\\";
#else
  const char* sep = "/";
#endif
  snprintf(app.settings_path, sizeof app.settings_path, "%s%ssettings.arch", dir, sep);
  snprintf(app.picture_path, sizeof app.picture_path, "%s%spicture.png", dir, sep);
  const char* home = getenv("HOME");
  size_t n = home ? strlen(home) : 0;
  if (n && strncmp(dir, home, n) == 0 && dir[n] == '/')
    snprintf(app.shown_dir, sizeof app.shown_dir, "~%s/settings.arch", dir + n);
  else
    snprintf(app.shown_dir, sizeof app.shown_dir, "%s", app.settings_path);
  return 1;
}

static void release_all(void) {
  sf_surface* surfaces[] = {&app.disc, &app.ring,   &app.shadow,    &app.dot,       &app.orbit,    &app.picture,
                            &app.back, &app.stage, &app.thumbs[0], &app.thumbs[1], &app.thumbs[2], &app.thumbs[3]};
  for (size_t i = 0; i < sizeof surfaces / sizeof surfaces[0]; ++i)
    if (surfaces[i]->pixels || surfaces[i]->strip) sf_release(surfaces[i]);
  sf_face** faces[] = {&app.title, &app.heading, &app.body, &app.lcd, &app.mono, &app.small};
  for (size_t i = 0; i < sizeof faces / sizeof faces[0]; ++i)
    if (*faces[i]) sf_face_release(faces[i]);
  if (app.window) ctl_window_release(&app.window);
}

static void usage(FILE* to) {
  fprintf(to,
          "usage: quelt-showcase [--layered] [--screenshot FILE.png | --still] [--size WxH]\n"
          "                      [--font FILE.ttf] [--config DIR]\n"
          "  --layered          a translucent window without a frame\n"
          "  --screenshot FILE  draw one frame, read the window back from the screen, write it as PNG\n"
          "  --still            draw the frame of a screenshot and show it, unchanging, until closed\n"
          "  --size WxH         the window's size (a screenshot is 1000x640 at 96 dpi, in proportion at\n"
          "                     other resolutions, unless this is given; the layout needs 640x480)\n"
          "  --font FILE        the TrueType font to use instead of DejaVu Sans\n"
          "  --config DIR       keep the settings and the picture in DIR instead of the usual place\n");
}

int main(int argc, char** argv) {
  const char* shot_path = NULL;
  int still = 0;
  const char* font = NULL;
  const char* config = NULL;
  int32_t size_w = 0, size_h = 0;
  for (int i = 1; i < argc; ++i) {
    if (!strcmp(argv[i], "--layered"))
      app.layered = 1;
    else if (!strcmp(argv[i], "--still"))
      still = 1;
    else if (!strcmp(argv[i], "--screenshot") && i + 1 < argc)
      shot_path = argv[++i];
    else if (!strcmp(argv[i], "--font") && i + 1 < argc)
      font = argv[++i];
    else if (!strcmp(argv[i], "--config") && i + 1 < argc)
      config = argv[++i];
    else if (!strcmp(argv[i], "--size") && i + 1 < argc) {
      int w = 0, h = 0;
      char end = 0;
      if (sscanf(argv[++i], "%dx%d%c", &w, &h, &end) != 2 || w < 1 || h < 1 || w > 8192 || h > 8192) {
        fprintf(stderr, "showcase: --size wants WIDTHxHEIGHT, each from 1 to 8192\n");
        return 2;
      }
      size_w = w;
      size_h = h;
    }
    else if (!strcmp(argv[i], "--help") || !strcmp(argv[i], "-h")) {
      usage(stdout);
      return 0;
    } else {
      usage(stderr);
      return 2;
    }
  }
  app.screenshot = shot_path != NULL || still;

  int32_t w = 0, h = 0;
  int ok = prepare_paths(config) && open_faces(font) && make_masks();
  if (ok) {
    static const uint16_t caption[] = {'q', 'u', 'e', 'l', 't', ' ', 's', 'h', 'o', 'w', 'c', 'a', 's', 'e', 0};
    w = size_w ? size_w : S(app.layered ? 460 : SHOWCASE_WIDTH);
    h = size_h ? size_h : S(app.layered ? 460 : SHOWCASE_HEIGHT);
    app.surface = ctl_window(&app.window, caption, w, h);
    if (!app.surface) {
      fprintf(stderr, "showcase: cannot open a window (is there a Wayland compositor or an X display? "
                      "WAYLAND_DISPLAY is %s, DISPLAY is %s)\n",
              getenv("WAYLAND_DISPLAY") ? getenv("WAYLAND_DISPLAY") : "not set",
              getenv("DISPLAY") ? getenv("DISPLAY") : "not set");
      ok = 0;
    }
  }
  if (ok) {
    load_settings();
    if (app.set.width < 320 || app.set.height < 240) {
      app.set.width = S(SHOWCASE_WIDTH);
      app.set.height = S(SHOWCASE_HEIGHT);
    }
    ok = load_picture() && filter_picture();
  }
  if (ok) {
    if (app.layered) {
      /* A layered window is all client area, without a caption or a sizing frame: its update
         makes the window as large as the surface, which would shrink a framed one by its frame
         each time. Win32 keeps the outer size through these switches, so the size is asked
         for again afterwards. */
      ctl_window_layered(app.window, 1);
      ctl_window_header(app.window, 0);
      ctl_window_sizeable(app.window, 0);
      ctl_window_move(app.window, w, h);
    } else if (!app.screenshot && !size_w && app.set.width >= 320 && app.set.height >= 240) {
      ctl_window_move(app.window, app.set.width, app.set.height);
    }
    app.window->onkey = on_key;
    app.window->onmouse = on_mouse;
    app.window->onevent = on_event;
    build_back();
    draw_frame(1);
    ctl_window_show(app.window);
    app.last_frame = app.fps_since = host_now();
    app.present_all = 1;
    if (shot_path) {
      ok = screenshot(shot_path);
    } else if (still) {
      build_back();
      draw_frame(1);
      present(1);
      ctl_main();
    } else {
      ctl_main_onidle(on_idle);
    }
    if (!save_settings()) ok = 0;
  }
  release_all();
  return ok ? 0 : 1;
}
