/* quelt: software drawing on pixel surfaces, text, image files, an archive format, small math
   and top-level windows, behind one flat C interface. Including this header gives all of it. */
#ifndef QUELT_QUELT_H
#define QUELT_QUELT_H

#include <quelt/containers/vector.h>
#include <quelt/containers/sz8.h>
#include <quelt/archive/arch.h>
#include <quelt/surface/clip.h>
#include <quelt/surface/surface.h>
#include <quelt/surface/blend.h>
#include <quelt/surface/context.h>
#include <quelt/surface/transform.h>
#include <quelt/processing/strip.h>
#include <quelt/processing/process.h>
#include <quelt/processing/pixel.h>
#include <quelt/processing/kernel.h>
#include <quelt/drawing/render.h>
#include <quelt/drawing/frame.h>
#include <quelt/math/mathlib.h>
#include <quelt/imagefile/image.h>
#include <quelt/text/face.h>
#include <quelt/windowing/button.h>
#include <quelt/windowing/layout.h>
#include <quelt/windowing/main.h>
#include <quelt/windowing/pixmap.h>
#include <quelt/windowing/window.h>

#endif
