/* Where the showcase puts things in a window of a given size at a given resolution. A pure
   function of both, so that the showcase's own test can look at the same places in a
   screenshot and check the layout at any size. Every length is given for 96 dots per inch and
   scaled with the resolution the library draws text at; below the smallest size, the layout
   is that of the smallest size and the window shows its top left part. */
#ifndef QUELT_SHOWCASE_LAYOUT_H
#define QUELT_SHOWCASE_LAYOUT_H

#include <quelt/surface/clip.h>

enum {
  SHOWCASE_WIDTH = 1000,    /* the window's first size at 96 dpi */
  SHOWCASE_HEIGHT = 640,
  SHOWCASE_MIN_WIDTH = 640, /* the smallest size laid out, at 96 dpi */
  SHOWCASE_MIN_HEIGHT = 480,
  SHOWCASE_PICTURE_W = 144, /* the picture that the showcase writes and loads */
  SHOWCASE_PICTURE_H = 96,
  SHOWCASE_THUMBS = 4,      /* original, Gaussian blur, smoothing, grey */
  SHOWCASE_SAMPLES = 3,     /* grey, sub-pixel and one-bit text */
  SHOWCASE_BUTTONS = 4      /* spin, blur, colour, reset */
};

typedef struct showcase_layout {
  int32_t dpi;    /* the resolution it was made for */
  sf_rect header; /* title band across the top */
  sf_rect footer; /* the keys along the bottom */
  sf_rect cube;   /* panels */
  sf_rect settings;
  sf_rect text;
  sf_rect image;
  sf_rect thumbs[SHOWCASE_THUMBS];   /* the pictures, all of one size */
  sf_rect labels[SHOWCASE_THUMBS];   /* the two lines under each picture */
  sf_rect samples[SHOWCASE_SAMPLES]; /* one line of text each, top of the line at `top` */
  sf_rect inset;                     /* the sub-pixel line magnified; empty when there is no room */
  sf_rect anchors;                   /* three strings hung on one guide line; empty likewise */
  sf_rect values;                    /* the settings' lines, above the buttons */
  sf_rect buttons[SHOWCASE_BUTTONS];
} showcase_layout;

static inline sf_rect showcase_rect(int32_t left, int32_t top, int32_t right, int32_t bottom) {
  sf_rect r;
  r.left = left;
  r.top = top;
  r.right = right;
  r.bottom = bottom;
  return r;
}

/* A length of the 96-dpi layout at `dpi`. */
static inline int32_t showcase_scaled(int32_t length, int32_t dpi) { return length * dpi / 96; }

static inline void showcase_layout_for(showcase_layout* l, int32_t width, int32_t height, int32_t dpi) {
#define S(v) showcase_scaled((v), dpi)
  if (dpi < 48) dpi = 96;
  if (width < S(SHOWCASE_MIN_WIDTH)) width = S(SHOWCASE_MIN_WIDTH);
  if (height < S(SHOWCASE_MIN_HEIGHT)) height = S(SHOWCASE_MIN_HEIGHT);
  l->dpi = dpi;
  const int32_t margin = S(16), gap = S(14), header = S(62), footer = S(44);
  const int32_t top = header + gap, bottom = height - footer - S(4), inner = width - 2 * margin - gap;
  /* The left column takes a third, never less than the cube and the buttons need. */
  int32_t left = inner * 32 / 100;
  if (left < S(210)) left = S(210);
  const int32_t split = margin + left, row = top + (bottom - top) * 52 / 100;
  l->header = showcase_rect(0, 0, width, header);
  l->footer = showcase_rect(0, height - footer, width, height);
  l->cube = showcase_rect(margin, top, split, row);
  l->settings = showcase_rect(margin, row + gap, split, bottom);
  l->text = showcase_rect(split + gap, top, width - margin, row);
  l->image = showcase_rect(split + gap, row + gap, width - margin, bottom);

  /* Text panel: three sample lines after the labels, then the anchors and the inset below,
     each only where it fits. */
  const int32_t tx = l->text.left + S(112), ty = l->text.top + S(48), pitch = S(28);
  for (int i = 0; i < SHOWCASE_SAMPLES; ++i)
    l->samples[i] = showcase_rect(tx, ty + i * pitch, l->text.right - S(20), ty + i * pitch + S(22));
  const int32_t below = ty + SHOWCASE_SAMPLES * pitch + S(12), tall = below + S(66) + S(22) <= l->text.bottom;
  const int32_t from = l->text.left + S(20), to = l->text.right - S(20);
  l->anchors = tall && to - from >= S(300) ? showcase_rect(from, below, from + S(300), below + S(66))
                                           : showcase_rect(from, below, from, below);
  l->inset = tall && to - from >= S(300 + 24 + 192) ? showcase_rect(to - S(192), below, to, below + S(64))
                                                    : showcase_rect(to, below, to, below);

  /* Image panel: the four pictures as large as the panel allows, from twice 144 × 96 at 96 dpi
     down, in a centred row with their two label lines below. */
  const int32_t ix = l->image.left + S(20), iw = l->image.right - S(20) - ix, iy = l->image.top + S(50);
  const int32_t room = l->image.bottom - S(48) - iy, space = S(10);
  int32_t tw = S(2 * SHOWCASE_PICTURE_W);
  if (tw > (iw - (SHOWCASE_THUMBS - 1) * space) / SHOWCASE_THUMBS) tw = (iw - (SHOWCASE_THUMBS - 1) * space) / SHOWCASE_THUMBS;
  if (tw * SHOWCASE_PICTURE_H / SHOWCASE_PICTURE_W > room) tw = room * SHOWCASE_PICTURE_W / SHOWCASE_PICTURE_H;
  if (tw < 1) tw = 1;
  const int32_t th = tw * SHOWCASE_PICTURE_H / SHOWCASE_PICTURE_W;
  int32_t spread = (iw - SHOWCASE_THUMBS * tw) / (SHOWCASE_THUMBS - 1);
  if (spread > S(28)) spread = S(28);
  const int32_t start = ix + (iw - SHOWCASE_THUMBS * tw - (SHOWCASE_THUMBS - 1) * spread) / 2;
  for (int i = 0; i < SHOWCASE_THUMBS; ++i) {
    const int32_t x = start + i * (tw + spread);
    l->thumbs[i] = showcase_rect(x, iy, x + tw, iy + th);
    l->labels[i] = showcase_rect(x - spread / 2 + 1, iy + th + S(4), x + tw + spread / 2 - 1, iy + th + S(44));
  }

  /* Settings panel: a row of buttons along its bottom, the values above them. */
  const int32_t bx = l->settings.left + S(16), bw = l->settings.right - S(16) - bx, by = l->settings.bottom - S(44);
  for (int i = 0; i < SHOWCASE_BUTTONS; ++i)
    l->buttons[i] = showcase_rect(bx + bw * i / SHOWCASE_BUTTONS + (i ? S(4) : 0), by,
                                  bx + bw * (i + 1) / SHOWCASE_BUTTONS - (i < SHOWCASE_BUTTONS - 1 ? S(4) : 0),
                                  by + S(28));
  l->values = showcase_rect(l->settings.left + S(14), l->settings.top + S(66), l->settings.right - S(14), by - S(6));
#undef S
}

#endif
