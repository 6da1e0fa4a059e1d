// The showcase application, run as users run it, on the test's X server: what its screenshot
// shows in each region, and the same pictures from its Windows build under Wine and from its
// native Wayland run. (The library's answer to input is the window suite's.)
#include "support.h"  // before Xlib, whose macros break GoogleTest

#include <X11/Xlib.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <set>
#include <thread>

#include "layout.h"
#include "window_host.h"

extern char** environ;

namespace {

using qtest::x;

// Starts `args` (the showcase when the first is not a program) with XDG_CONFIG_HOME at `config`,
// in `cwd`, both outputs in `log` when given (Wine's own processes stay behind holding them).
pid_t start(const std::string& config, std::vector<std::string> args, const std::string& cwd = "", const std::string& log = "") {
  if (args.empty() || args[0][0] == '-') args.insert(args.begin(), QUELT_SHOWCASE);
  setenv("XDG_CONFIG_HOME", config.c_str(), 1);
  std::vector<char*> argv;
  for (auto& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (!cwd.empty()) posix_spawn_file_actions_addchdir_np(&actions, cwd.c_str());
  if (!log.empty()) {
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
  }
  pid_t pid = 0;
  const int failed = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  return failed ? -1 : pid;
}

// The exit status, or -1 when the child has not ended within `seconds` (it is then killed).
int finish(pid_t pid, int seconds = 60) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  int status = 0;
  while (pid > 0 && waitpid(pid, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > end) return kill(pid, SIGKILL), waitpid(pid, &status, 0), -1;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return pid > 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

struct Picture {
  sf_surface s{};
  explicit Picture(const std::string& path) { sf_image_load(&s, path.c_str()) || (std::memset(&s, 0, sizeof s), 0); }
  ~Picture() { sf_release(&s); }
  uint32_t at(int px, int py) const { return reinterpret_cast<const uint32_t*>(s.pixels)[static_cast<size_t>(py) * s.width + px]; }
  void each(sf_rect r, const std::function<void(int, int)>& f) const {
    for (int py = r.top; py < r.bottom; ++py)
      for (int px = r.left; px < r.right; ++px) f(px, py);
  }
  // Sum of the differences between horizontal neighbours: what a blur takes away.
  long sharpness(sf_rect r) const {
    long sum = 0;
    each({r.left + 1, r.top, r.right, r.bottom}, [&](int px, int py) { sum += std::abs(int(at(px, py) >> 8 & 0xFF) - int(at(px - 1, py) >> 8 & 0xFF)); });
    return sum;
  }
};

int channel(uint32_t p, int c) { return static_cast<int>(p >> (8 * c) & 0xFF); }
int spread(uint32_t p) { return std::max({channel(p, 0), channel(p, 1), channel(p, 2)}) - std::min({channel(p, 0), channel(p, 1), channel(p, 2)}); }
bool near(uint32_t p, uint32_t want, int tolerance) {
  return std::abs(channel(p, 0) - channel(want, 0)) <= tolerance && std::abs(channel(p, 1) - channel(want, 1)) <= tolerance &&
         std::abs(channel(p, 2) - channel(want, 2)) <= tolerance;
}

constexpr uint32_t kPanel = 0xFF262D3E, kHeader = 0xFF161A24, kInk = 0xFFE9EDF4;
constexpr uint32_t kAccents[] = {0xFF2EC4B6, 0xFFFFB04A, 0xFFF0648C, 0xFF5AA9FF};

struct Showcase : ::testing::Test {
  void SetUp() override {
    if (!x()) GTEST_SKIP() << "no X display";
    showcase_layout_for(&l, SHOWCASE_WIDTH, SHOWCASE_HEIGHT, 96);
  }
  qtest::TempDir dir;
  showcase_layout l;
};

TEST_F(Showcase, ScreenshotShowsEveryRegion) {
  ASSERT_EQ(finish(start(dir.dir(), {"--screenshot", dir.path("shot.png")})), 0);
  Picture shot(dir.path("shot.png"));
  ASSERT_EQ((std::vector{shot.s.width, shot.s.height, shot.s.bytes_per_pixel}), (std::vector<int>{SHOWCASE_WIDTH, SHOWCASE_HEIGHT, 4}));
  const auto* first = reinterpret_cast<const uint32_t*>(shot.s.pixels);
  EXPECT_GT(std::set<uint32_t>(first, first + SHOWCASE_WIDTH * SHOWCASE_HEIGHT).size(), 2000u) << "a nearly blank window";
  EXPECT_EQ(std::pair(shot.at(SHOWCASE_WIDTH / 2, 4), shot.at(SHOWCASE_WIDTH / 2, l.header.bottom - 1)), std::pair(kHeader, kAccents[0]));
  for (sf_rect p : {l.cube, l.settings, l.text, l.image}) {
    const int mid = (p.top + p.bottom) / 2;
    EXPECT_TRUE(near(shot.at(p.left + 6, mid), kPanel, 4)) << std::hex << shot.at(p.left + 6, mid);
    EXPECT_FALSE(near(shot.at(p.left - 3, mid), kPanel, 4)) << "a panel reaches past its edge";
  }
  // Text: grey coverage stays neutral, sub-pixel coverage shows colour fringes, one-bit glyphs
  // have no partial coverage at all.
  int fringed[SHOWCASE_SAMPLES]{}, bright[SHOWCASE_SAMPLES]{}, between[SHOWCASE_SAMPLES]{};
  for (int i = 0; i < SHOWCASE_SAMPLES; ++i)
    shot.each(l.samples[i], [&](int px, int py) {
      const uint32_t p = shot.at(px, py);
      fringed[i] += spread(p) > 60, bright[i] += near(p, kInk, 24), between[i] += !near(p, kPanel, 4) && !near(p, kInk, 4);
    });
  for (int i = 0; i < SHOWCASE_SAMPLES; ++i) EXPECT_GT(bright[i], 120) << i;
  EXPECT_TRUE(fringed[0] == 0 && fringed[1] > 200 && between[0] > 500 && between[2] == 0)
      << fringed[0] << " " << fringed[1] << " " << between[0] << " " << between[2];
  // The picture as the file holds it, then filtered: blurred and smoothed pictures are softer,
  // the grey one has no colour.
  Picture file(dir.path("quelt-showcase/picture.png"));
  ASSERT_EQ(std::pair(file.s.width, file.s.height), std::pair(+SHOWCASE_PICTURE_W, +SHOWCASE_PICTURE_H));
  int differ = 0, coloured[SHOWCASE_THUMBS]{}, edge = 0;
  file.each({0, 0, SHOWCASE_PICTURE_W, SHOWCASE_PICTURE_H},
            [&](int px, int py) { differ += ((shot.at(l.thumbs[0].left + px, l.thumbs[0].top + py) ^ file.at(px, py)) & 0xFFFFFF) != 0; });
  EXPECT_EQ(differ, 0);
  const long sharp = shot.sharpness(l.thumbs[0]);
  EXPECT_LT(shot.sharpness(l.thumbs[1]) * 10, sharp * 7);
  EXPECT_LT(shot.sharpness(l.thumbs[2]) * 20, sharp * 17);
  for (int i = 0; i < SHOWCASE_THUMBS; ++i) shot.each(l.thumbs[i], [&](int px, int py) { coloured[i] += spread(shot.at(px, py)) > 0; });
  EXPECT_GT(coloured[0], SHOWCASE_PICTURE_W * SHOWCASE_PICTURE_H / 2);
  EXPECT_EQ(coloured[3], 0);
  shot.each(l.cube, [&](int px, int py) { edge += near(shot.at(px, py), kAccents[0], 40); });  // the cube's edges
  EXPECT_GT(edge, 300);
}

// The resolution that quelt reads from this display for text: Xft.dpi, else 96.
int display_dpi() {
  const char* resources = XResourceManagerString(x());
  const char* at = resources ? std::strstr(resources, "Xft.dpi:") : nullptr;
  return at ? static_cast<int>(std::lround(std::atof(at + 8))) : 96;
}

// The showcase cross-built for Windows (QUELT_WINDOWS_SHOWCASE names its quelt-showcase.exe),
// run under Wine on the same X server, draws what this build draws. Both start from an empty
// settings directory of the same relative name, so that the path shown in the settings panel is
// the same text, and a screenshot draws its frame before any time passes.
struct ShowcaseOnWindows : Showcase {
  void SetUp() override {
    Showcase::SetUp();
    if (IsSkipped()) return;
    exe = std::getenv("QUELT_WINDOWS_SHOWCASE");
    if (!exe || !*exe) GTEST_SKIP() << "QUELT_WINDOWS_SHOWCASE names no quelt-showcase.exe";
    // Wine's resolution is its default LogPixels, 96; quelt on X11 takes Xft.dpi.
    if (display_dpi() != 96) GTEST_SKIP() << "the display sets Xft.dpi " << display_dpi() << ", Wine uses 96";
  }
  // Both builds with `args`, each in a new directory, each writing its screenshot.
  void shoot(std::vector<std::string> args) {
    args.insert(args.end(), {"--config", "./settings", "--screenshot", "shot.png"});
    const std::string native = dir.path("native"), windows = dir.path("windows");
    ASSERT_EQ(mkdir(native.c_str(), 0755) + mkdir(windows.c_str(), 0755), 0);
    std::vector<std::string> on_wine{QUELT_WINE_RUN, exe};
    on_wine.insert(on_wine.end(), args.begin(), args.end());
    ASSERT_EQ(finish(start(dir.dir(), args, native, dir.path("native.log"))), 0) << qtest::slurp(dir.path("native.log"));
    // The first program of a new Wine prefix makes the prefix: allow for it.
    ASSERT_EQ(finish(start(dir.dir(), on_wine, windows, dir.path("windows.log")), 240), 0) << qtest::slurp(dir.path("windows.log"));
    a = std::make_unique<Picture>(native + "/shot.png"), b = std::make_unique<Picture>(windows + "/shot.png");
    ASSERT_EQ(std::pair(a->s.width, a->s.height), std::pair(b->s.width, b->s.height));
  }
  const char* exe = nullptr;
  std::unique_ptr<Picture> a, b;  // the native screenshot and the Windows one
};

// The picture compared region by region:
//  - Text and everything drawn with integers must match exactly: both builds draw the same font
//    files with FreeType in 26.6 fixed point at 96 dpi, and blend with quelt's integer kernels.
//  - What goes through the C library's sin, cos and exp (the turned cube, the hills of the
//    picture and its Gaussian blur, the panels' Gaussian shadows) may differ where glibc and
//    mingw-w64's math round a result to the other neighbour: an edge moves by far less than a
//    pixel, a coverage by one step, which a blend may round to two. At most 2 per channel, in at
//    most 2% of the region.
TEST_F(ShowcaseOnWindows, SameScreenshot) {
  shoot({"--size", "1000x640"});
  if (HasFatalFailure()) return;
  ASSERT_EQ(std::pair(a->s.width, a->s.height), std::pair(1000, 640));
  showcase_layout_for(&l, 1000, 640, 96);
  // A pixel belongs to the first region that holds it: the cube view, the pictures, the panels
  // (exact), and last the background and shadows.
  struct Region { sf_rect r; bool exact; long pixels = 0, differ = 0; int worst = 0; };
  std::vector<Region> regions{{{l.cube.left + 8, l.cube.top + 42, l.cube.right - 8, l.cube.bottom - 8}, false}};
  for (sf_rect r : l.thumbs) regions.push_back({r, false});
  for (sf_rect r : {l.header, l.footer, l.text, l.settings, l.image, l.cube}) regions.push_back({r, true});
  regions.push_back({{0, 0, 1000, 640}, false});
  a->each({0, 0, 1000, 640}, [&](int px, int py) {
    Region& g = *std::find_if(regions.begin(), regions.end(), [&](const Region& g) {
      return px >= g.r.left && px < g.r.right && py >= g.r.top && py < g.r.bottom;
    });
    int d = 0;
    for (int c = 0; c < 4; ++c) d = std::max(d, std::abs(channel(a->at(px, py), c) - channel(b->at(px, py), c)));
    ++g.pixels, g.differ += d > 0, g.worst = std::max(g.worst, d);
  });
  for (size_t i = 0; i < regions.size(); ++i) {
    const Region& g = regions[i];
    EXPECT_TRUE(g.exact ? g.differ == 0 : g.worst <= 2 && g.differ * 50 <= g.pixels)
        << "region " << i << ": " << g.differ << " of " << g.pixels << " pixels differ, by at most " << g.worst;
  }
}

// The translucent window: the same size on both, and the same pixels. The X11 build reads the
// window's own premultiplied pixels and writes them straight with their alpha; Windows reads the
// screen, where without a compositor the stored premultiplied colour shows, opaque. Weighting the
// first by its alpha again gives the second, up to the two truncating divisions of the round
// trip: at most 1 per channel, anywhere.
TEST_F(ShowcaseOnWindows, SameLayeredWindow) {
  shoot({"--layered"});
  if (HasFatalFailure()) return;
  EXPECT_EQ(std::pair(a->s.width, a->s.height), std::pair(460, 460));
  int worst = 0, translucent = 0;
  long opaque = 0;
  a->each({0, 0, a->s.width, a->s.height}, [&](int px, int py) {
    const uint32_t straight = a->at(px, py), shown = b->at(px, py);
    const int alpha = channel(straight, 3);
    translucent += alpha > 0 && alpha < 255, opaque += channel(shown, 3) == 255;
    for (int c = 0; c < 3; ++c) worst = std::max(worst, std::abs(channel(straight, c) * alpha / 255 - channel(shown, c)));
  });
  EXPECT_TRUE(translucent > 460 * 460 / 2 && worst <= 1 && opaque == 460L * 460) << translucent << " " << worst << " " << opaque;
}

// On sway and on weston (QUELT_SWAY_DIR, QUELT_WESTON_DIR name their runtime folders) the showcase
// runs natively on Wayland and shows, pixel for pixel, what the X11 build's screenshot holds: the
// same still frame, drawn before any time passes, read back from the compositor (on weston inside
// quelt's own frame, found on the screen). It is handed its connection as a compositor starts its
// clients (WAYLAND_SOCKET), which can be used only once.
TEST_F(Showcase, SameFrameOnWaylandAsOnX11) {
  const char *sway = std::getenv("QUELT_SWAY_DIR"), *weston = std::getenv("QUELT_WESTON_DIR");
  if ((!sway || !*sway) && (!weston || !*weston)) GTEST_SKIP() << "no Wayland compositor";
  if (display_dpi() != 96) GTEST_SKIP() << "a display at another resolution than the compositors'";
  const std::string on_x11 = dir.path("x11");
  ASSERT_EQ(mkdir(on_x11.c_str(), 0755), 0);
  ASSERT_EQ(finish(start(dir.dir(), {"--config", "./settings", "--screenshot", "shot.png"}, on_x11)), 0);
  const Picture x11(on_x11 + "/shot.png");
  ASSERT_EQ(std::pair(x11.s.width, x11.s.height), std::pair(1000, 640));
  for (const char* runtime : {sway, weston}) {
    if (!runtime || !*runtime) continue;
    const bool on_sway = runtime == sway;
    SCOPED_TRACE(on_sway ? "sway" : "weston");
    const std::string cwd = dir.path(on_sway ? "sway" : "weston");
    ASSERT_EQ(mkdir(cwd.c_str(), 0755), 0);
    setenv("XDG_RUNTIME_DIR", runtime, 1);
    on_sway ? setenv("SWAYSOCK", (std::string(runtime) + "/ipc.sock").c_str(), 1) : unsetenv("SWAYSOCK");
    sockaddr_un to{AF_UNIX, {}};
    std::snprintf(to.sun_path, sizeof to.sun_path, "%s/wayland-1", runtime);
    const int connection = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(connect(connection, reinterpret_cast<sockaddr*>(&to), sizeof to), 0);
    setenv("WAYLAND_SOCKET", std::to_string(connection).c_str(), 1);
    const pid_t pid = start(dir.dir(), {"--config", "./settings", "--still"}, cwd);
    unsetenv("WAYLAND_SOCKET"), close(connection);
    setenv("WAYLAND_DISPLAY", (std::string(runtime) + "/wayland-1").c_str(), 1);  // for the screenshots
    std::string differs = "no window";
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!differs.empty() && std::chrono::steady_clock::now() < end) {
      // To sway the connection's maker is the window's process; on weston the client area is
      // inside the frame's border and title bar.
      host::Rect r = on_sway ? host::way::node(getpid()).rect : host::way::frame_on_screen(1000, 640).rect;
      if (!on_sway) r = {r.left + 4, r.top + 28, r.left + 1004, r.top + 668};
      std::vector<uint32_t> shown = r.right - r.left == 1000 ? host::way::shot(r) : std::vector<uint32_t>{};
      // weston's screenshots take the unused byte of a buffer without alpha for alpha and divide
      // the colours by it, as a picture with alpha is written: multiplied again, they are the
      // window's pixels.
      for (uint32_t& p : shown) {
        const uint32_t a = p >> 24;
        for (int c = 0; c < 24 && !on_sway; c += 8) p = (p & ~(0xFFu << c)) | (((p >> c & 0xFF) * a + 127) / 255) << c;
      }
      differs = shown.empty() ? "no window" : host::first_difference(shown, 1000, [&](int px, int py) { return x11.at(px, py); }, 0xFFFFFF);
    }
    // Its close button on sway; weston has no way to ask a window to close.
    on_sway ? host::way::sway("[pid=" + std::to_string(getpid()) + "] kill") : void(kill(pid, SIGTERM));
    unsetenv("WAYLAND_DISPLAY"), unsetenv("SWAYSOCK");  // the suite's own windows stay on X11
    EXPECT_EQ(differs, "");
    EXPECT_EQ(finish(pid, 20), on_sway ? 0 : -1);
  }
}

}  // namespace
