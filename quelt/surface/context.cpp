#include <quelt/surface/context.h>

#include <quelt/base/trace.h>

extern "C" {

int32_t sf_push(sf_surface* surface, sf_rect* rect) {
  if (surface->clip && !sf_rect_clip(surface->clip, rect)) return 0;
  if (!surface->clip_stack) {
    if (!vect_create(&surface->clip_stack, sizeof(sf_rect))) return QUELT_FAILED("");
    vect_step(surface->clip_stack, 8);
  }
  // The push may move the block: the clip pointer is taken afresh afterwards.
  if (!vect_push(surface->clip_stack, rect)) {
    // A stack made for this push and left empty would break "clip_stack set means clip set".
    if (surface->clip_stack->size == 0) vect_release(&surface->clip_stack);
    else vect_back(surface->clip_stack, nullptr, reinterpret_cast<void**>(&surface->clip));
    return QUELT_FAILED("");
  }
  if (!vect_back(surface->clip_stack, nullptr, reinterpret_cast<void**>(&surface->clip))) return QUELT_FAILED("");
  return 1;
}

int32_t sf_pop(sf_surface* surface) {
  surface->clip = nullptr;
  if (!surface->clip_stack) return 0;
  if (vect_pop(surface->clip_stack, nullptr) &&
      vect_back(surface->clip_stack, nullptr, reinterpret_cast<void**>(&surface->clip)))
    return 1;
  // The stack has just become empty, or the shrink failed: the whole surface is open again.
  vect_release(&surface->clip_stack);
  surface->clip = nullptr;
  return 1;
}

}  // extern "C"
