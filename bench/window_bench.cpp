// Frames per second of ctl_window_update on a 1920 × 1080 window, through MIT-SHM and through
// the plain XPutImage fallback, beside SDL2 putting the same frame on a window of the same size
// with SDL_UpdateWindowSurface, and beside a memcpy of the frame (the limit).
//
// The program starts two private Xvfb servers (1920 × 1080, 24 bits): one with MIT-SHM, one
// without it, which is what drives quelt onto its fallback. It stops both before it exits.
#include <benchmark/benchmark.h>
#include <frames.h>
#include <ratios.h>
#include <quelt/quelt.h>

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

using qbench::frame, qbench::kBytes, qbench::kHeight, qbench::kWidth, qbench::pump_for;
std::string shm_display, plain_display;

// A private X server; only the process started here is ever stopped.
struct Server {
  pid_t pid = -1;
  std::string name;

  bool start(bool with_shm) {
    for (int n = 140; n < 200; ++n) {
      std::string lock = "/tmp/.X" + std::to_string(n) + "-lock";
      std::string socket = "/tmp/.X11-unix/X" + std::to_string(n);
      struct stat st;
      if (stat(lock.c_str(), &st) == 0 || stat(socket.c_str(), &st) == 0) continue;
      name = ":" + std::to_string(n);
      pid = fork();
      if (pid == 0) {
        freopen("/dev/null", "w", stdout);
        freopen("/dev/null", "w", stderr);
        if (with_shm)
          execlp("Xvfb", "Xvfb", name.c_str(), "-screen", "0", "1920x1080x24", "-nolisten", "tcp",
                 "-noreset", static_cast<char*>(nullptr));
        else
          execlp("Xvfb", "Xvfb", name.c_str(), "-screen", "0", "1920x1080x24", "-nolisten", "tcp",
                 "-noreset", "-extension", "MIT-SHM", static_cast<char*>(nullptr));
        _exit(127);
      }
      for (int i = 0; i < 200; ++i) {
        if (stat(socket.c_str(), &st) == 0) return true;
        int status = 0;
        if (waitpid(pid, &status, WNOHANG) == pid) {
          pid = -1;
          return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
      }
      stop();
      return false;
    }
    return false;
  }

  void stop() {
    if (pid <= 0) return;
    kill(pid, SIGTERM);
    waitpid(pid, nullptr, 0);
    pid = -1;
  }
};

void quelt_update(benchmark::State& state, const std::string* display) {
  setenv("DISPLAY", display->c_str(), 1);
  ctl_window_rec* w = qbench::open_window(state);
  if (!w) return;
  sf_surface* s = &w->pixmap.surface;
  ctl_window_movc(w, kWidth, kHeight, 0, 0);
  ctl_window_show(w);
  pump_for(100);
  std::memcpy(s->pixels, frame().data(), kBytes);
  for (auto _ : state) ctl_window_update(w);
  state.SetItemsProcessed(state.iterations());
  ctl_window_release(&w);  // the last window: the connection closes with it
}

#ifdef QUELT_BENCH_SDL2
void sdl_update(benchmark::State& state) {
  setenv("DISPLAY", shm_display.c_str(), 1);
  setenv("SDL_VIDEODRIVER", "x11", 1);
  // SDL's own X11 framebuffer (MIT-SHM where it can), not a GPU renderer under the surface:
  // the same road as quelt's, for CPU pixels.
  SDL_SetHint(SDL_HINT_FRAMEBUFFER_ACCELERATION, "0");
  qbench::sdl_update(state, false);
}
#endif

}  // namespace

int main(int argc, char** argv) {
  Server with_shm, without_shm;
  bool no_server = false;
  qbench::Recorder reporter;
  const bool ran = qbench::run(argc, argv, reporter, [&] {
    if (!with_shm.start(true) || !without_shm.start(false)) {
      std::puts("window_bench: Xvfb could not be started; nothing measured");
      no_server = true;
      return false;
    }
    shm_display = with_shm.name;
    plain_display = without_shm.name;
    benchmark::RegisterBenchmark("memcpy_frame", qbench::copy_frame)->UseRealTime()->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("quelt_update_mitshm", quelt_update, &shm_display)
        ->UseRealTime()->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("quelt_update_xputimage", quelt_update, &plain_display)
        ->UseRealTime()->Unit(benchmark::kMicrosecond);
#ifdef QUELT_BENCH_SDL2
    benchmark::RegisterBenchmark("sdl2_update_window_surface", sdl_update)
        ->UseRealTime()->Unit(benchmark::kMicrosecond);
#endif
    return true;
  });
  with_shm.stop();
  without_shm.stop();
  if (!ran) return no_server ? 0 : 1;
  auto fps = [&](const char* name) {
    const double seconds = reporter.real(name);
    return seconds <= 0 ? 0.0 : 1.0 / seconds;
  };
  double shm = fps("quelt_update_mitshm"), plain = fps("quelt_update_xputimage");
  double sdl = fps("sdl2_update_window_surface"), copy = fps("memcpy_frame");
  std::printf("\n1920x1080 frames per second: quelt MIT-SHM %.0f, quelt XPutImage %.0f, SDL2 %.0f, memcpy %.0f\n",
              shm, plain, sdl, copy);
  std::printf("ratios:\n");
  const auto ratio = qbench::ratio;
  ratio("quelt MIT-SHM fps / SDL2 fps (higher is better):", shm, sdl);
  ratio("quelt XPutImage fps / SDL2 fps (higher is better):", plain, sdl);
  ratio("quelt MIT-SHM fps / memcpy fps (the limit is 1):", shm, copy);
  ratio("quelt XPutImage fps / memcpy fps (the limit is 1):", plain, copy);
  ratio("quelt MIT-SHM fps / quelt XPutImage fps:", shm, plain);
  return 0;
}
