/** @file
   quelt: software drawing on pixel surfaces, text, image files, an archive format, small math
   and top-level windows, behind one flat C interface. Including this header gives all of it.

   Conventions of the whole interface:
   - Operations that can fail return 1 on success and 0 on failure; a few return a count or a
     pointer. Failures carry no codes: they print the failure trace (base/trace.h).
   - Records made on the heap (vect_vector, arch_archive, sf_face, ctl_layout_rec,
     ctl_window_rec) are made through the address of the caller's pointer, and the calls that
     end them set it to null. Surfaces, pixmaps and glyphs lie in memory the caller provides.
   - Strings of text are zero-terminated arrays of 16-bit units; paths and archive names are
     narrow strings.
   - Everything runs on the one user-interface thread; only the math is safe anywhere.
   - There is no initialisation call: FreeType starts at the first sf_face_create, the window
     class is registered at the first window. */
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
