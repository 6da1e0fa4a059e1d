// Frames per second of ctl_window_update on a 1920 × 1080 window on a Wayland compositor (the one
// that WAYLAND_DISPLAY names: scripts/bench starts sway headless), beside SDL2 putting the same
// frame on a window of the same size with SDL_UpdateWindowSurface on its Wayland backend, and
// beside a memcpy of the frame. Each call copies the frame into a buffer the compositor does not
// hold and commits it when the compositor asks for the next frame: no call waits for the
// compositor, so the rate of calls is what an application's loop gets.
#include <benchmark/benchmark.h>
#include <frames.h>
#include <ratios.h>
#include <quelt/quelt.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

using qbench::frame, qbench::kBytes, qbench::kHeight, qbench::kWidth, qbench::pump_for;

// The application's loop: an update and a look at the queue per frame.
void quelt_update(benchmark::State& state) {
  ctl_window_rec* w = qbench::open_window(state);
  if (!w) return;
  sf_surface* s = &w->pixmap.surface;
  ctl_window_sizeable(w, 0);  // a tiling compositor's first size would otherwise be taken
  ctl_window_show(w);
  pump_for(200);
  if (s->width != kWidth || s->height != kHeight || !s->pixels) {
    state.SkipWithError("the compositor changed the window's size");
    ctl_window_release(&w);
    return;
  }
  std::memcpy(s->pixels, frame().data(), kBytes);
  for (auto _ : state) {
    ctl_window_update(w);
    ctl_do_events();
  }
  state.SetItemsProcessed(state.iterations());
  ctl_window_release(&w);
}

#ifdef QUELT_BENCH_SDL2
// SDL2 on its Wayland backend, which has no framebuffer of its own: the surface goes through a
// renderer (Mesa's software GL on a machine without a GPU).
void sdl_update(benchmark::State& state) {
  setenv("SDL_VIDEODRIVER", "wayland", 1);
  qbench::sdl_update(state, true);
}
#endif

}  // namespace

int main(int argc, char** argv) {
  const char* compositor = std::getenv("WAYLAND_DISPLAY");
  if (!compositor || !*compositor) {
    std::puts("wayland_bench: no compositor (WAYLAND_DISPLAY); nothing measured");
    return 0;
  }
  qbench::Recorder reporter;
  const bool ran = qbench::run(argc, argv, reporter, [&] {
    benchmark::RegisterBenchmark("memcpy_frame", qbench::copy_frame)->UseRealTime()->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("quelt_update_wayland", quelt_update)->UseRealTime()->Unit(benchmark::kMicrosecond);
#ifdef QUELT_BENCH_SDL2
    benchmark::RegisterBenchmark("sdl2_update_window_surface_wayland", sdl_update)
        ->UseRealTime()->Unit(benchmark::kMicrosecond);
#endif
    return true;
  });
  if (!ran) return 1;
  auto fps = [&](const char* name) {
    const double seconds = reporter.real(name);
    return seconds <= 0 ? 0.0 : 1.0 / seconds;
  };
  const double quelt = fps("quelt_update_wayland"), sdl = fps("sdl2_update_window_surface_wayland"),
               copy = fps("memcpy_frame");
  std::printf("\n1920x1080 frames per second on Wayland: quelt %.0f, SDL2 %.0f, memcpy %.0f\n", quelt, sdl, copy);
  std::printf("ratios:\n");
  qbench::ratio("quelt fps / SDL2 fps (higher is better):", quelt, sdl);
  qbench::ratio("quelt fps / memcpy fps (the limit is 1):", quelt, copy);
  return 0;
}
