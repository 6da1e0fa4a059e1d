// Frames per second of ctl_window_update on a 1920 × 1080 window on a Wayland compositor (the one
// that WAYLAND_DISPLAY names: scripts/bench starts sway headless), beside SDL2 putting the same
// frame on a window of the same size with SDL_UpdateWindowSurface on its Wayland backend, and
// beside a memcpy of the frame. Each call copies the frame into a buffer the compositor does not
// hold and commits it when the compositor asks for the next frame: no call waits for the
// compositor, so the rate of calls is what an application's loop gets.
#include <benchmark/benchmark.h>
#include <ratios.h>
#include <quelt/quelt.h>

#ifdef QUELT_BENCH_SDL2
#include <SDL.h>
#endif

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

namespace {

constexpr int kWidth = 1920, kHeight = 1080;
constexpr size_t kBytes = size_t{kWidth} * kHeight * 4;
std::vector<uint8_t> frame(kBytes);

void pump_for(int ms) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
  while (std::chrono::steady_clock::now() < end) {
    ctl_do_events();
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

// The application's loop: an update and a look at the queue per frame.
void quelt_update(benchmark::State& state) {
  static const uint16_t caption[] = {'b', 'e', 'n', 'c', 'h', 0};
  ctl_window_rec* w = nullptr;
  sf_surface* s = ctl_window(&w, caption, kWidth, kHeight);
  if (!s || !s->pixels) {
    state.SkipWithError("no window");
    ctl_window_release(&w);
    return;
  }
  ctl_window_sizeable(w, 0);  // a tiling compositor's first size would otherwise be taken
  ctl_window_show(w);
  pump_for(200);
  if (s->width != kWidth || s->height != kHeight || !s->pixels) {
    state.SkipWithError("the compositor changed the window's size");
    ctl_window_release(&w);
    return;
  }
  std::memcpy(s->pixels, frame.data(), kBytes);
  for (auto _ : state) {
    ctl_window_update(w);
    ctl_do_events();
  }
  state.SetItemsProcessed(state.iterations());
  ctl_window_release(&w);
}

#ifdef QUELT_BENCH_SDL2
void sdl_update(benchmark::State& state) {
  setenv("SDL_VIDEODRIVER", "wayland", 1);
  if (SDL_Init(SDL_INIT_VIDEO) != 0) {
    state.SkipWithError(SDL_GetError());
    return;
  }
  SDL_Window* window = SDL_CreateWindow("sdl", 0, 0, kWidth, kHeight, SDL_WINDOW_SHOWN);
  SDL_Surface* surface = window ? SDL_GetWindowSurface(window) : nullptr;
  if (!surface || surface->format->BytesPerPixel != 4) {
    state.SkipWithError(surface ? "no 32-bit window surface" : SDL_GetError());
    if (window) SDL_DestroyWindow(window);
    SDL_Quit();
    return;
  }
  for (int i = 0; i < 100; ++i) {
    SDL_PumpEvents();
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  SDL_LockSurface(surface);
  for (int y = 0; y < kHeight; ++y)
    std::memcpy(static_cast<uint8_t*>(surface->pixels) + static_cast<size_t>(y) * surface->pitch,
                frame.data() + static_cast<size_t>(y) * kWidth * 4, size_t{kWidth} * 4);
  SDL_UnlockSurface(surface);
  for (auto _ : state) {
    SDL_UpdateWindowSurface(window);
    SDL_PumpEvents();
  }
  state.SetItemsProcessed(state.iterations());
  SDL_DestroyWindow(window);
  SDL_Quit();
}
#endif

void copy_frame(benchmark::State& state) {
  std::vector<uint8_t> target(kBytes);
  for (auto _ : state) {
    std::memcpy(target.data(), frame.data(), kBytes);
    benchmark::DoNotOptimize(target.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}

}  // namespace

int main(int argc, char** argv) {
  const char* compositor = std::getenv("WAYLAND_DISPLAY");
  if (!compositor || !*compositor) {
    std::puts("wayland_bench: no compositor (WAYLAND_DISPLAY); nothing measured");
    return 0;
  }
  qbench::Recorder reporter;
  const bool ran = qbench::run(argc, argv, reporter, [&] {
    for (size_t i = 0; i < kBytes; i += 4) {
      const size_t p = i / 4;
      frame[i] = static_cast<uint8_t>(p % kWidth);
      frame[i + 1] = static_cast<uint8_t>(p / kWidth);
      frame[i + 2] = static_cast<uint8_t>(p * 7);
      frame[i + 3] = 255;
    }
    benchmark::RegisterBenchmark("memcpy_frame", copy_frame)->UseRealTime()->Unit(benchmark::kMicrosecond);
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
