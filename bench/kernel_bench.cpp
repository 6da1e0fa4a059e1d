// Convolution of a 1920 × 1080 surface of 4-byte pixels: a 5-tap Gaussian along rows then
// columns, and a 5 × 5 square kernel, beside pixman's separable and plain convolution filters
// composited with SRC onto an image of the same size. The ratios (quelt time / pixman time) are
// printed at the end, of CPU time (steadier on a shared machine) and of real time.
#include <benchmark/benchmark.h>
#include <pixman.h>
#include <quelt/processing/kernel.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int kW = 1920, kH = 1080;

struct Picture {
  sf_surface surface{};
  Picture() {
    sf_create(&surface, kW, kH, 4);
    // Smooth gradients with noise, opaque: the kind of picture one blurs.
    std::mt19937 gen(5);
    for (int y = 0; y < kH; ++y)
      for (int x = 0; x < kW; ++x) {
        uint8_t* p = surface.pixels + (size_t(y) * kW + x) * 4;
        p[0] = uint8_t(x / 8 + gen() % 16), p[1] = uint8_t(y / 5 + gen() % 16), p[2] = uint8_t((x + y) / 12), p[3] = 255;
      }
  }
  ~Picture() { sf_release(&surface); }
};

struct Weights {
  sf_surface row{}, square{};
  Weights() {
    sf_kernel_gaussian(&row, 5);
    sf_kernel_gaussian(&square, -5);
  }
  ~Weights() {
    sf_release(&row);
    sf_release(&square);
  }
  const float* row_weights() const { return reinterpret_cast<const float*>(row.pixels); }
  const float* square_weights() const { return reinterpret_cast<const float*>(square.pixels); }
  // pixman takes 16.16 weights, normalised, as sf_kernel normalises by the sum.
  std::vector<pixman_fixed_t> fixed(const float* w, int n) const {
    double sum = 0;
    for (int i = 0; i < n; ++i) sum += w[i];
    std::vector<pixman_fixed_t> f;
    for (int i = 0; i < n; ++i) f.push_back(pixman_double_to_fixed(w[i] / sum));
    return f;
  }
};

void quelt_gaussian_rows_then_columns(benchmark::State& state) {
  Picture pic;
  Weights w;
  for (auto _ : state) {
    sf_kernel(&pic.surface, w.row_weights(), 5, 1);
    sf_kernel(&pic.surface, w.row_weights(), 1, 5);
    benchmark::DoNotOptimize(pic.surface.pixels);
  }
  state.SetItemsProcessed(state.iterations() * kW * kH);
}

void quelt_square_5x5(benchmark::State& state) {
  Picture pic;
  Weights w;
  for (auto _ : state) {
    sf_kernel(&pic.surface, w.square_weights(), 5, 5);
    benchmark::DoNotOptimize(pic.surface.pixels);
  }
  state.SetItemsProcessed(state.iterations() * kW * kH);
}

// Composites the picture through a convolution filter onto a second image with SRC.
void pixman_filtered(benchmark::State& state, pixman_filter_t filter, const std::vector<pixman_fixed_t>& params) {
  Picture pic, out;
  pixman_image_t* src = pixman_image_create_bits(PIXMAN_a8r8g8b8, kW, kH,
                                                 reinterpret_cast<uint32_t*>(pic.surface.pixels), kW * 4);
  pixman_image_t* dst = pixman_image_create_bits(PIXMAN_a8r8g8b8, kW, kH,
                                                 reinterpret_cast<uint32_t*>(out.surface.pixels), kW * 4);
  pixman_image_set_filter(src, filter, params.data(), int(params.size()));
  std::memset(out.surface.pixels, 0, size_t(kW) * kH * 4);
  pixman_image_composite32(PIXMAN_OP_SRC, src, nullptr, dst, 0, 0, 0, 0, 0, 0, kW, kH);
  // The filter really ran: the result isn't a plain copy of the source.
  if (std::memcmp(out.surface.pixels, pic.surface.pixels, size_t(kW) * kH * 4) == 0)
    state.SkipWithError("pixman copied instead of filtering");
  for (auto _ : state) {
    pixman_image_composite32(PIXMAN_OP_SRC, src, nullptr, dst, 0, 0, 0, 0, 0, 0, kW, kH);
    benchmark::DoNotOptimize(out.surface.pixels);
  }
  state.SetItemsProcessed(state.iterations() * kW * kH);
  pixman_image_unref(src);
  pixman_image_unref(dst);
}

void pixman_separable_5(benchmark::State& state) {
  Weights w;
  const std::vector<pixman_fixed_t> taps = w.fixed(w.row_weights(), 5);
  std::vector<pixman_fixed_t> params = {pixman_int_to_fixed(5), pixman_int_to_fixed(5), 0, 0};
  params.insert(params.end(), taps.begin(), taps.end());  // x table
  params.insert(params.end(), taps.begin(), taps.end());  // y table
  pixman_filtered(state, PIXMAN_FILTER_SEPARABLE_CONVOLUTION, params);
}

void pixman_square_5x5(benchmark::State& state) {
  Weights w;
  std::vector<pixman_fixed_t> params = {pixman_int_to_fixed(5), pixman_int_to_fixed(5)};
  const std::vector<pixman_fixed_t> taps = w.fixed(w.square_weights(), 25);
  params.insert(params.end(), taps.begin(), taps.end());
  pixman_filtered(state, PIXMAN_FILTER_CONVOLUTION, params);
}

BENCHMARK(quelt_gaussian_rows_then_columns)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(pixman_separable_5)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(quelt_square_5x5)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(pixman_square_5x5)->Unit(benchmark::kMillisecond)->UseRealTime();

// Keeps the time of each benchmark as it is reported, for the ratios.
class Recorder : public benchmark::ConsoleReporter {
 public:
  std::map<std::string, std::pair<double, double>> times;  // CPU, real
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& r : runs)
      if (r.run_type == Run::RT_Iteration && !r.error_occurred)
        times[r.benchmark_name()] = {r.GetAdjustedCPUTime(), r.GetAdjustedRealTime()};
    ConsoleReporter::ReportRuns(runs);
  }
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  Recorder recorder;
  benchmark::RunSpecifiedBenchmarks(&recorder);
  const std::pair<const char*, const char*> pairs[] = {
      {"quelt_gaussian_rows_then_columns/real_time", "pixman_separable_5/real_time"},
      {"quelt_square_5x5/real_time", "pixman_square_5x5/real_time"},
  };
  for (auto [q, p] : pairs) {
    auto a = recorder.times.find(q), b = recorder.times.find(p);
    if (a != recorder.times.end() && b != recorder.times.end())
      std::printf("ratio quelt/pixman, %s vs %s: CPU time %.2f, real time %.2f\n", q, p,
                  a->second.first / b->second.first, a->second.second / b->second.second);
  }
  benchmark::Shutdown();
  return 0;
}
