/* Where the showcase puts things in a window of a given size. A pure function of the size, so
   that the showcase's own test can look at the same places in a screenshot. */
#ifndef QUELT_SHOWCASE_LAYOUT_H
#define QUELT_SHOWCASE_LAYOUT_H

#include <quelt/surface/clip.h>

enum {
  SHOWCASE_WIDTH = 1000,   /* the window's first size */
  SHOWCASE_HEIGHT = 640,
  SHOWCASE_PICTURE_W = 144, /* the picture that the showcase writes and loads */
  SHOWCASE_PICTURE_H = 96,
  SHOWCASE_THUMBS = 4,      /* original, Gaussian blur, smoothing, grey */
  SHOWCASE_SAMPLES = 3,     /* grey, sub-pixel and one-bit text */
  SHOWCASE_BUTTONS = 4      /* spin, blur, colour, reset */
};

typedef struct showcase_layout {
  sf_rect header; /* title band across the top */
  sf_rect footer; /* the keys along the bottom */
  sf_rect cube;   /* panels */
  sf_rect settings;
  sf_rect text;
  sf_rect image;
  sf_rect thumbs[SHOWCASE_THUMBS];
  sf_rect samples[SHOWCASE_SAMPLES]; /* one line of text each, top of the line at `top` */
  sf_rect inset;                     /* the sub-pixel line magnified */
  sf_rect anchors;                   /* three strings hung on one guide line */
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

static inline void showcase_layout_for(showcase_layout* l, int32_t width, int32_t height) {
  const int32_t margin = 16, gap = 14, header = 62, footer = 44;
  int32_t top = header + gap, bottom = height - footer - 4;
  int32_t split = margin + (width - 2 * margin - gap) * 32 / 100; /* right edge of the left column */
  int32_t row = top + (bottom - top) * 52 / 100;                  /* bottom of the top row */
  l->header = showcase_rect(0, 0, width, header);
  l->footer = showcase_rect(0, height - footer, width, height);
  l->cube = showcase_rect(margin, top, split, row);
  l->settings = showcase_rect(margin, row + gap, split, bottom);
  l->text = showcase_rect(split + gap, top, width - margin, row);
  l->image = showcase_rect(split + gap, row + gap, width - margin, bottom);

  /* Text panel: three sample lines after the labels, then the anchors and the inset below. */
  int32_t tx = l->text.left + 112, ty = l->text.top + 48;
  for (int i = 0; i < SHOWCASE_SAMPLES; ++i)
    l->samples[i] = showcase_rect(tx, ty + i * 28, l->text.right - 20, ty + i * 28 + 22);
  int32_t below = ty + SHOWCASE_SAMPLES * 28 + 12;
  l->anchors = showcase_rect(l->text.left + 20, below, l->text.left + 20 + 300, below + 66);
  l->inset = showcase_rect(l->text.right - 20 - 192, below, l->text.right - 20, below + 64);

  /* Image panel: the four pictures spread evenly over the inner width. */
  int32_t ix = l->image.left + 20, iw = l->image.right - 20 - ix, iy = l->image.top + 50;
  int32_t spread = (iw - SHOWCASE_THUMBS * SHOWCASE_PICTURE_W) / (SHOWCASE_THUMBS - 1);
  if (spread < 4) spread = 4;
  for (int i = 0; i < SHOWCASE_THUMBS; ++i) {
    int32_t x = ix + i * (SHOWCASE_PICTURE_W + spread);
    l->thumbs[i] = showcase_rect(x, iy, x + SHOWCASE_PICTURE_W, iy + SHOWCASE_PICTURE_H);
  }

  /* Settings panel: a row of buttons along its bottom. */
  int32_t bx = l->settings.left + 16, bw = l->settings.right - 16 - bx, by = l->settings.bottom - 44;
  for (int i = 0; i < SHOWCASE_BUTTONS; ++i)
    l->buttons[i] = showcase_rect(bx + bw * i / SHOWCASE_BUTTONS + (i ? 4 : 0), by,
                                  bx + bw * (i + 1) / SHOWCASE_BUTTONS - (i < SHOWCASE_BUTTONS - 1 ? 4 : 0),
                                  by + 28);
}

#endif
