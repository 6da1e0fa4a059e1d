// Image files: a 1920 × 1080 RGBA picture read and written as PNG by quelt, by plain libpng
// calls doing the same work, and read by libspng; as a 32-bit BMP (top-down as quelt writes it,
// and bottom-up as most programs write it) by quelt and by one fread or fwrite of the same bytes. Ratios (quelt time / other time) are printed at the end.
#include <benchmark/benchmark.h>
#include <ratios.h>
#include <png.h>
#include <quelt/imagefile/image.h>
#include <spng.h>

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <unistd.h>

namespace {

constexpr int kWidth = 1920, kHeight = 1080;

// Gradients with a little noise: a photograph-like picture that compresses moderately.
struct Files {
  std::string dir, png, bmp, bmp_up, out_png, out_bmp;
  sf_surface picture{};
  Files() {
    char pattern[] = "/tmp/quelt-bench-XXXXXX";
    dir = mkdtemp(pattern) ? pattern : "/tmp";
    png = dir + "/in.png", bmp = dir + "/in.bmp", bmp_up = dir + "/up.bmp", out_png = dir + "/out.png", out_bmp = dir + "/out.bmp";
    sf_create(&picture, kWidth, kHeight, 4);
    uint32_t seed = 12345;
    for (int y = 0; y < kHeight; ++y)
      for (int x = 0; x < kWidth; ++x) {
        seed = seed * 1664525u + 1013904223u;
        uint8_t* p = picture.pixels + (size_t(y) * kWidth + x) * 4;
        p[0] = uint8_t(x / 8 + (seed >> 29)), p[1] = uint8_t(y / 5 + (seed >> 30)), p[2] = uint8_t((x + y) / 12);
        p[3] = uint8_t(x < kWidth / 2 ? 255 : 255 - y / 8);
      }
    if (!sf_image_store(&picture, png.c_str()) || !sf_image_store(&picture, bmp.c_str())) std::abort();
    // The same picture bottom-up: positive height, last row first.
    FILE* in = std::fopen(bmp.c_str(), "rb");
    FILE* out = std::fopen(bmp_up.c_str(), "wb");
    uint8_t header[54];
    if (!in || !out || std::fread(header, 1, 54, in) != 54) std::abort();
    const uint32_t h = kHeight;
    std::memcpy(header + 22, &h, 4);
    std::fwrite(header, 1, 54, out);
    const size_t row = size_t(kWidth) * 4;
    for (int y = kHeight; y-- > 0;) std::fwrite(picture.pixels + y * row, 1, row, out);
    std::fclose(in);
    std::fclose(out);
  }
  ~Files() {
    for (const std::string* f : {&png, &bmp, &bmp_up, &out_png, &out_bmp}) unlink(f->c_str());
    rmdir(dir.c_str());
    sf_release(&picture);
  }
};
Files& files() {
  static Files f;
  return f;
}

void quelt_png_read(benchmark::State& state) {
  for (auto _ : state) {
    sf_surface s{};
    if (!sf_image_png_read(&s, files().png.c_str())) state.SkipWithError("read failed");
    benchmark::DoNotOptimize(s.pixels);
    sf_release(&s);
  }
}

// What an application would write with libpng for the same result: B, G, R, A rows into one
// buffer.
void libpng_png_read(benchmark::State& state) {
  for (auto _ : state) {
    FILE* file = std::fopen(files().png.c_str(), "rb");
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    uint8_t* volatile pixels = nullptr;
    png_bytep* volatile rows = nullptr;
    if (setjmp(png_jmpbuf(png))) {
      state.SkipWithError("libpng failed");
    } else {
      png_init_io(png, file);
      png_read_info(png, info);
      png_set_bgr(png);
      png_read_update_info(png, info);
      const png_uint_32 h = png_get_image_height(png, info);
      const size_t row = png_get_rowbytes(png, info);
      pixels = static_cast<uint8_t*>(std::malloc(row * h));
      rows = static_cast<png_bytep*>(std::malloc(h * sizeof(png_bytep)));
      for (png_uint_32 y = 0; y < h; ++y) rows[y] = pixels + y * row;
      png_read_image(png, rows);
      png_read_end(png, info);
      benchmark::DoNotOptimize(pixels[0]);
    }
    png_destroy_read_struct(&png, &info, nullptr);
    std::free(rows);
    std::free(pixels);
    std::fclose(file);
  }
}

void spng_png_read(benchmark::State& state) {
  for (auto _ : state) {
    FILE* file = std::fopen(files().png.c_str(), "rb");
    spng_ctx* ctx = spng_ctx_new(0);
    spng_set_png_file(ctx, file);
    size_t size = 0;
    if (spng_decoded_image_size(ctx, SPNG_FMT_RGBA8, &size)) state.SkipWithError("spng failed");
    void* pixels = std::malloc(size);
    if (spng_decode_image(ctx, pixels, size, SPNG_FMT_RGBA8, 0)) state.SkipWithError("spng failed");
    benchmark::DoNotOptimize(pixels);
    std::free(pixels);
    spng_ctx_free(ctx);
    std::fclose(file);
  }
}

void quelt_png_write(benchmark::State& state) {
  for (auto _ : state)
    if (!sf_image_png_store(&files().picture, files().out_png.c_str())) state.SkipWithError("store failed");
}

void libpng_png_write(benchmark::State& state) {
  const sf_surface& s = files().picture;
  for (auto _ : state) {
    FILE* file = std::fopen(files().out_png.c_str(), "wb");
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_bytep* volatile rows = nullptr;
    if (setjmp(png_jmpbuf(png))) {
      state.SkipWithError("libpng failed");
    } else {
      png_init_io(png, file);
      png_set_IHDR(png, info, s.width, s.height, 8, PNG_COLOR_TYPE_RGB_ALPHA, 0, 0, 0);
      png_write_info(png, info);
      png_set_bgr(png);
      rows = static_cast<png_bytep*>(std::malloc(size_t(s.height) * sizeof(png_bytep)));
      for (int y = 0; y < s.height; ++y) rows[y] = s.pixels + size_t(y) * s.width * 4;
      png_write_image(png, rows);
      png_write_end(png, nullptr);
    }
    png_destroy_write_struct(&png, &info);
    std::free(rows);
    std::fclose(file);
  }
}

void quelt_bmp_read(benchmark::State& state, bool bottom_up) {
  const std::string& path = bottom_up ? files().bmp_up : files().bmp;
  for (auto _ : state) {
    sf_surface s{};
    if (!sf_image_bmp_load(&s, path.c_str())) state.SkipWithError("read failed");
    benchmark::DoNotOptimize(s.pixels);
    sf_release(&s);
  }
}

void plain_fread(benchmark::State& state) {
  const size_t size = 54 + size_t(kWidth) * kHeight * 4;
  for (auto _ : state) {
    FILE* file = std::fopen(files().bmp.c_str(), "rb");
    void* bytes = std::malloc(size);
    if (std::fread(bytes, 1, size, file) != size) state.SkipWithError("fread failed");
    benchmark::DoNotOptimize(bytes);
    std::free(bytes);
    std::fclose(file);
  }
}

void quelt_bmp_write(benchmark::State& state) {
  for (auto _ : state)
    if (!sf_image_bmp_store(&files().picture, files().out_bmp.c_str())) state.SkipWithError("store failed");
}

void plain_fwrite(benchmark::State& state) {
  const sf_surface& s = files().picture;
  for (auto _ : state) {
    FILE* file = std::fopen(files().out_bmp.c_str(), "wb");
    std::fwrite(s.pixels, 1, size_t(s.width) * s.height * 4, file);
    std::fclose(file);
  }
}

BENCHMARK(quelt_png_read)->Unit(benchmark::kMillisecond);
BENCHMARK(libpng_png_read)->Unit(benchmark::kMillisecond);
BENCHMARK(spng_png_read)->Unit(benchmark::kMillisecond);
BENCHMARK(quelt_png_write)->Unit(benchmark::kMillisecond);
BENCHMARK(libpng_png_write)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(quelt_bmp_read, top_down, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(quelt_bmp_read, bottom_up, true)->Unit(benchmark::kMillisecond);
BENCHMARK(plain_fread)->Unit(benchmark::kMillisecond);
BENCHMARK(quelt_bmp_write)->Unit(benchmark::kMillisecond);
BENCHMARK(plain_fwrite)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  qbench::Recorder recorder;
  if (!qbench::run(argc, argv, recorder, [] {
        files();
        return true;
      }))
    return 1;
  const struct { const char *what, *ours, *theirs; } ratios[] = {
      {"PNG read, quelt / plain libpng", "quelt_png_read", "libpng_png_read"},
      {"PNG read, quelt / libspng", "quelt_png_read", "spng_png_read"},
      {"PNG write, quelt / plain libpng", "quelt_png_write", "libpng_png_write"},
      {"BMP read, quelt / one fread", "quelt_bmp_read/top_down", "plain_fread"},
      {"BMP read bottom-up, quelt / one fread", "quelt_bmp_read/bottom_up", "plain_fread"},
      {"BMP write, quelt / one fwrite", "quelt_bmp_write", "plain_fwrite"},
  };
  // CPU time is the steadier measure on a shared machine; real time adds waiting for the disk
  // and for other processes.
  std::printf("\nTime ratios, quelt time / comparable time (1.00 is equal, lower is faster):\n");
  std::printf("  %-34s %8s %8s\n", "", "CPU", "real");
  for (const auto& r : ratios) {
    const double a = recorder.cpu(r.ours), b = recorder.cpu(r.theirs);
    const double ar = recorder.real(r.ours), br = recorder.real(r.theirs);
    if (a > 0 && b > 0 && ar > 0 && br > 0) std::printf("  %-34s %8.2f %8.2f\n", r.what, a / b, ar / br);
  }
  return 0;
}
