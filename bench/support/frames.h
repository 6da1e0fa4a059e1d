// What the presenting benchmarks share: the 1920 × 1080 frame they put on a window, a run of the
// message loop, the frame copied with memcpy (the limit of any presenting), and SDL2's window
// surface holding the frame, updated once an iteration.
#pragma once

#include <benchmark/benchmark.h>
#include <quelt/quelt.h>

#ifdef QUELT_BENCH_SDL2
#include <SDL.h>
#endif

#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

namespace qbench {

constexpr int kWidth = 1920, kHeight = 1080;
constexpr size_t kBytes = size_t{kWidth} * kHeight * 4;

// Opaque pixels with every channel changing, so that nothing along the way can skip work.
inline const std::vector<uint8_t>& frame() {
  static const std::vector<uint8_t> pixels = [] {
    std::vector<uint8_t> f(kBytes);
    for (size_t i = 0; i < kBytes; i += 4) {
      const size_t p = i / 4;
      f[i] = static_cast<uint8_t>(p % kWidth);
      f[i + 1] = static_cast<uint8_t>(p / kWidth);
      f[i + 2] = static_cast<uint8_t>(p * 7);
      f[i + 3] = 255;
    }
    return f;
  }();
  return pixels;
}

inline void pump_for(int ms) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
  while (std::chrono::steady_clock::now() < end) {
    ctl_do_events();
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

// A window of the frame's size; null, with the benchmark skipped, when none can be made.
inline ctl_window_rec* open_window(benchmark::State& state) {
  static const uint16_t caption[] = {'b', 'e', 'n', 'c', 'h', 0};
  ctl_window_rec* w = nullptr;
  const sf_surface* s = ctl_window(&w, caption, kWidth, kHeight);
  if (s && s->pixels) return w;
  state.SkipWithError("no window");
  ctl_window_release(&w);
  return nullptr;
}

inline void copy_frame(benchmark::State& state) {
  std::vector<uint8_t> target(kBytes);
  for (auto _ : state) {
    std::memcpy(target.data(), frame().data(), kBytes);
    benchmark::DoNotOptimize(target.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}

#ifdef QUELT_BENCH_SDL2
// SDL2 with the video driver and hints the caller set: a window of the frame's size whose
// surface holds the frame, updated once an iteration (and its events read when `pump`).
inline void sdl_update(benchmark::State& state, bool pump) {
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
                frame().data() + static_cast<size_t>(y) * kWidth * 4, size_t{kWidth} * 4);
  SDL_UnlockSurface(surface);
  for (auto _ : state) {
    SDL_UpdateWindowSurface(window);
    if (pump) SDL_PumpEvents();
  }
  state.SetItemsProcessed(state.iterations());
  SDL_DestroyWindow(window);
  SDL_Quit();
}
#endif

}  // namespace qbench
