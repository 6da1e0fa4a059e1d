// The showcase application run as users run it: what its screenshot shows in each region, and the
// same pictures from its Windows build under Wine and from its native Wayland run.
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <memory>

#include "layout.h"
#include "window_host.h"

namespace {

// Starts `args` (the showcase's unless a program comes first) in `cwd`, made, with its outputs in cwd/log.
pid_t start(const std::string& config, std::vector<std::string> args, const std::string& cwd) {
  if (args[0][0] == '-') args.insert(args.begin(), QUELT_SHOWCASE);
  args.insert(args.begin(), {"/bin/sh", "-c", "mkdir -p \"$0\" && cd \"$0\" && exec \"$@\" < /dev/null > log 2>&1", cwd});
  setenv("XDG_CONFIG_HOME", config.c_str(), 1);
  std::vector<char*> argv;
  for (auto& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  pid_t pid = 0;
  return posix_spawn(&pid, argv[0], nullptr, nullptr, argv.data(), environ) ? -1 : pid;
}

// The exit status, or -1 when the child has not ended within `seconds` (it is then killed).
int finish(pid_t pid, int seconds = 60) {
  int status = 0;
  for (int waited = 0; pid > 0 && waitpid(pid, &status, WNOHANG) == 0; waited += 10, usleep(10000))
    if (waited > seconds * 1000) return kill(pid, SIGKILL), waitpid(pid, &status, 0), -1;
  return pid > 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

struct Picture : qtest::Surf {
  explicit Picture(const std::string& path) { sf_image_load(this, path.c_str()); }
  void each(sf_rect r, const std::function<void(int, int)>& f) const { for (int y = r.top; y < r.bottom; ++y) for (int x = r.left; x < r.right; ++x) f(x, y); }
  // Sum of the differences between horizontal neighbours: what a blur takes away.
  long sharpness(sf_rect r) const {
    long sum = 0;
    each({r.left + 1, r.top, r.right, r.bottom}, [&](int x, int y) { sum += std::abs(int(px(x, y) >> 8 & 0xFF) - int(px(x - 1, y) >> 8 & 0xFF)); });
    return sum;
  }
};

int channel(uint32_t p, int c) { return static_cast<int>(p >> (8 * c) & 0xFF); }
int spread(uint32_t p) { return std::max({channel(p, 0), channel(p, 1), channel(p, 2)}) - std::min({channel(p, 0), channel(p, 1), channel(p, 2)}); }
// The largest difference of the first `channels` channels.
int distance(uint32_t p, uint32_t q, int channels = 3) {
  int d = 0;
  for (int c = 0; c < channels; ++c) d = std::max(d, std::abs(channel(p, c) - channel(q, c)));
  return d;
}

// The resolution that quelt reads from this display for text: Xft.dpi, else 96.
int display_dpi() {
  const char* resources = XResourceManagerString(qtest::x());
  const char* at = resources ? std::strstr(resources, "Xft.dpi:") : nullptr;
  return at ? static_cast<int>(std::lround(std::atof(at + 8))) : 96;
}

constexpr uint32_t kPanel = 0xFF262D3E, kHeader = 0xFF161A24, kInk = 0xFFE9EDF4, kAccent = 0xFF2EC4B6;

struct Showcase : ::testing::Test {
  void SetUp() override {
    if (!qtest::x()) GTEST_SKIP() << "no X display";
    if (display_dpi() != 96) GTEST_SKIP() << "the display sets Xft.dpi " << display_dpi() << ": the layout, Wine and the compositors use 96";
    showcase_layout_for(&l, SHOWCASE_WIDTH, SHOWCASE_HEIGHT, 96);
  }
  qtest::TempDir dir;
  showcase_layout l;
};

TEST_F(Showcase, ScreenshotShowsEveryRegion) {
  ASSERT_EQ(finish(start(dir.dir(), {"--screenshot", "shot.png"}, dir.dir())), 0) << qtest::slurp(dir.path("log"));
  Picture shot(dir.path("shot.png"));
  ASSERT_EQ((std::vector{shot.width, shot.height, shot.bytes_per_pixel}), (std::vector<int>{SHOWCASE_WIDTH, SHOWCASE_HEIGHT, 4}));
  EXPECT_EQ(std::pair(shot.px(SHOWCASE_WIDTH / 2, 4), shot.px(SHOWCASE_WIDTH / 2, l.header.bottom - 1)), std::pair(kHeader, kAccent));
  for (sf_rect p : {l.cube, l.settings, l.text, l.image}) {
    const int mid = (p.top + p.bottom) / 2;
    EXPECT_LE(distance(shot.px(p.left + 6, mid), kPanel), 4) << std::hex << shot.px(p.left + 6, mid);
    EXPECT_GT(distance(shot.px(p.left - 3, mid), kPanel), 4) << "a panel reaches past its edge";
  }
  // Text: grey coverage stays neutral, sub-pixel coverage shows colour fringes, one-bit has no partial coverage.
  int fringed[SHOWCASE_SAMPLES]{}, bright[SHOWCASE_SAMPLES]{}, between[SHOWCASE_SAMPLES]{};
  for (int i = 0; i < SHOWCASE_SAMPLES; ++i)
    shot.each(l.samples[i], [&](int x, int y) {
      const uint32_t p = shot.px(x, y);
      fringed[i] += spread(p) > 60, bright[i] += distance(p, kInk) <= 24, between[i] += distance(p, kPanel) > 4 && distance(p, kInk) > 4;
    });
  for (int i = 0; i < SHOWCASE_SAMPLES; ++i) EXPECT_GT(bright[i], 120) << i;
  EXPECT_TRUE(fringed[0] == 0 && fringed[1] > 200 && between[0] > 500 && between[2] == 0) << fringed[0] << " " << fringed[1] << " " << between[0] << " " << between[2];
  // The picture as filed, then blurred and smoothed (softer) and grey; the cube's edges in the accent colour.
  Picture file(dir.path("quelt-showcase/picture.png"));
  ASSERT_EQ(std::pair(file.width, file.height), std::pair(+SHOWCASE_PICTURE_W, +SHOWCASE_PICTURE_H));
  int differ = 0, coloured[SHOWCASE_THUMBS]{}, edge = 0;
  file.each({0, 0, SHOWCASE_PICTURE_W, SHOWCASE_PICTURE_H}, [&](int x, int y) { differ += ((shot.px(l.thumbs[0].left + x, l.thumbs[0].top + y) ^ file.px(x, y)) & 0xFFFFFF) != 0; });
  for (int i = 0; i < SHOWCASE_THUMBS; ++i) shot.each(l.thumbs[i], [&](int x, int y) { coloured[i] += spread(shot.px(x, y)) > 0; });
  shot.each(l.cube, [&](int x, int y) { edge += distance(shot.px(x, y), kAccent) <= 40; });
  const long sharp = shot.sharpness(l.thumbs[0]);
  EXPECT_TRUE(differ == 0 && shot.sharpness(l.thumbs[1]) * 10 < sharp * 7 && shot.sharpness(l.thumbs[2]) * 20 < sharp * 17) << differ;
  EXPECT_TRUE(coloured[0] > SHOWCASE_PICTURE_W * SHOWCASE_PICTURE_H / 2 && coloured[3] == 0 && edge > 300) << coloured[0] << " " << coloured[3] << " " << edge;
}

// The Windows build's quelt-showcase.exe (QUELT_WINDOWS_SHOWCASE) under Wine on the same X server, at
// 96 dpi, against this build: both with new settings of one relative path, shot before time passes.
struct ShowcaseOnWindows : Showcase {
  void SetUp() override {
    Showcase::SetUp();
    if (IsSkipped()) return;
    exe = std::getenv("QUELT_WINDOWS_SHOWCASE");
    if (!exe || !*exe) GTEST_SKIP() << "QUELT_WINDOWS_SHOWCASE names no quelt-showcase.exe";
  }
  // Both builds with `args`, each in its own directory under `name`, writing their screenshots.
  void shoot(const std::string& name, std::vector<std::string> args) {
    args.insert(args.end(), {"--config", "./settings", "--screenshot", "shot.png"});
    std::vector<std::string> on_wine{QUELT_WINE_RUN, exe};
    on_wine.insert(on_wine.end(), args.begin(), args.end());
    ASSERT_EQ(finish(start(dir.dir(), args, dir.path(name + "/native"))), 0) << qtest::slurp(dir.path(name + "/native/log"));
    // The first program of a new Wine prefix makes the prefix: allow for it.
    ASSERT_EQ(finish(start(dir.dir(), on_wine, dir.path(name + "/windows")), 240), 0) << qtest::slurp(dir.path(name + "/windows/log"));
    a = std::make_unique<Picture>(dir.path(name + "/native/shot.png")), b = std::make_unique<Picture>(dir.path(name + "/windows/shot.png"));
    ASSERT_EQ(std::pair(a->width, a->height), std::pair(b->width, b->height));
  }
  const char* exe = nullptr;
  std::unique_ptr<Picture> a, b;  // the native screenshot and the Windows one
};

// Integer drawing (text, blends) matches exactly; what goes through sin, cos and exp (cube, picture,
// blur, shadows) may round otherwise on mingw-w64: by at most 2 in at most 2% of a region. The
// translucent window is premultiplied with alpha on X11, opaque on Windows: the same within 1.
TEST_F(ShowcaseOnWindows, SameScreenshot) {
  ASSERT_NO_FATAL_FAILURE(shoot("plain", {"--size", "1000x640"}));
  ASSERT_EQ(std::pair(a->width, a->height), std::pair(1000, 640));
  showcase_layout_for(&l, 1000, 640, 96);
  // A pixel's region is the first that holds it: cube view, pictures, panels (exact), the rest.
  struct Region { sf_rect r; bool exact; long pixels = 0, differ = 0; int worst = 0; };
  std::vector<Region> regions{{{l.cube.left + 8, l.cube.top + 42, l.cube.right - 8, l.cube.bottom - 8}, false}};
  for (sf_rect r : l.thumbs) regions.push_back({r, false});
  for (sf_rect r : {l.header, l.footer, l.text, l.settings, l.image, l.cube}) regions.push_back({r, true});
  regions.push_back({{0, 0, 1000, 640}, false});
  a->each({0, 0, 1000, 640}, [&](int x, int y) {
    Region& g = *std::find_if(regions.begin(), regions.end(), [&](const Region& g) { return x >= g.r.left && x < g.r.right && y >= g.r.top && y < g.r.bottom; });
    const int d = distance(a->px(x, y), b->px(x, y), 4);
    ++g.pixels, g.differ += d > 0, g.worst = std::max(g.worst, d);
  });
  for (size_t i = 0; i < regions.size(); ++i) {
    const Region& g = regions[i];
    EXPECT_TRUE(g.exact ? g.differ == 0 : g.worst <= 2 && g.differ * 50 <= g.pixels)
        << "region " << i << ": " << g.differ << " of " << g.pixels << " pixels differ, by at most " << g.worst;
  }
  ASSERT_NO_FATAL_FAILURE(shoot("layered", {"--layered"}));
  EXPECT_EQ(std::pair(a->width, a->height), std::pair(460, 460));
  int worst = 0, translucent = 0;
  long opaque = 0;
  a->each({0, 0, a->width, a->height}, [&](int x, int y) {
    const uint32_t straight = a->px(x, y), shown = b->px(x, y);
    const int alpha = channel(straight, 3);
    translucent += alpha > 0 && alpha < 255, opaque += channel(shown, 3) == 255;
    for (int c = 0; c < 3; ++c) worst = std::max(worst, std::abs(channel(straight, c) * alpha / 255 - channel(shown, c)));
  });
  EXPECT_TRUE(translucent > 460 * 460 / 2 && worst <= 1 && opaque == 460L * 460) << translucent << " " << worst << " " << opaque;
}

// On sway and weston (runtime folders in QUELT_SWAY_DIR, QUELT_WESTON_DIR) the showcase runs on
// Wayland, handed its connection as a compositor starts a client (WAYLAND_SOCKET), and shows pixel
// for pixel the X11 build's screenshot, read back from the compositor (on weston inside its frame).
TEST_F(Showcase, SameFrameOnWaylandAsOnX11) {
  const char *sway = std::getenv("QUELT_SWAY_DIR"), *weston = std::getenv("QUELT_WESTON_DIR");
  if ((!sway || !*sway) && (!weston || !*weston)) GTEST_SKIP() << "no Wayland compositor";
  ASSERT_EQ(finish(start(dir.dir(), {"--config", "./settings", "--screenshot", "shot.png"}, dir.path("x11"))), 0);
  const Picture x11(dir.path("x11/shot.png"));
  ASSERT_EQ(std::pair(x11.width, x11.height), std::pair(1000, 640));
  for (const char* runtime : {sway, weston}) {
    if (!runtime || !*runtime) continue;
    const bool on_sway = runtime == sway;
    SCOPED_TRACE(on_sway ? "sway" : "weston");
    setenv("XDG_RUNTIME_DIR", runtime, 1);
    on_sway ? setenv("SWAYSOCK", (std::string(runtime) + "/ipc.sock").c_str(), 1) : unsetenv("SWAYSOCK");
    sockaddr_un to{AF_UNIX, {}};
    std::snprintf(to.sun_path, sizeof to.sun_path, "%s/wayland-1", runtime);
    const int connection = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(connect(connection, reinterpret_cast<sockaddr*>(&to), sizeof to), 0);
    setenv("WAYLAND_SOCKET", std::to_string(connection).c_str(), 1);
    const pid_t pid = start(dir.dir(), {"--config", "./settings", "--still"}, dir.path(on_sway ? "sway" : "weston"));
    unsetenv("WAYLAND_SOCKET"), close(connection);
    setenv("WAYLAND_DISPLAY", (std::string(runtime) + "/wayland-1").c_str(), 1);  // for the screenshots
    std::string differs = "no window";
    for (const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20); !differs.empty() && std::chrono::steady_clock::now() < end;) {
      // To sway the window's process is the connection's maker; on weston the frame surrounds it.
      host::Rect r = on_sway ? host::way::node(getpid()).rect : host::way::frame_on_screen(1000, 640).rect;
      if (!on_sway) r = {r.left + 4, r.top + 28, r.left + 1004, r.top + 668};
      std::vector<uint32_t> shown = r.right - r.left == 1000 ? host::way::shot(r) : std::vector<uint32_t>{};
      // weston's screenshots divide the colours by the unused byte of an opaque buffer: undone here.
      for (uint32_t& p : shown) for (int c = 0; c < 24 && !on_sway; c += 8) p = (p & ~(0xFFu << c)) | (((p >> c & 0xFF) * (p >> 24) + 127) / 255) << c;
      differs = shown.empty() ? "no window" : host::first_difference(shown, 1000, [&](int x, int y) { return x11.px(x, y); }, 0xFFFFFF);
    }
    // Its close button on sway; weston has no way to ask a window to close.
    on_sway ? host::way::sway("[pid=" + std::to_string(getpid()) + "] kill") : void(kill(pid, SIGTERM));
    unsetenv("WAYLAND_DISPLAY"), unsetenv("SWAYSOCK");  // the suite's own windows stay on X11
    EXPECT_EQ(differs, "");
    EXPECT_EQ(finish(pid, 20), on_sway ? 0 : -1);
  }
}

}  // namespace
