// The archive against the physical limits of its file: opening an archive of 100,000 entries
// (nested groups, payloads of 0 to 4 KiB) beside reading the same file whole with one fread,
// and storing it beside writing the same bytes with one fwrite. Prints both ratios.
#include <benchmark/benchmark.h>
#include <ratios.h>
#include <quelt/archive/arch.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <unistd.h>

namespace {

constexpr int kEntries = 100000;

struct Files {
  std::string dir, source, target, plain;
  std::string bytes;  // the archive file, as written
  Files() {
    // In memory where there is a /dev/shm, so that disk write-back does not blur the ratios.
    char shm[] = "/dev/shm/quelt-archive-bench-XXXXXX", tmp[] = "/tmp/quelt-archive-bench-XXXXXX";
    const char* name = mkdtemp(shm) ? shm : mkdtemp(tmp);
    if (!name) std::abort();
    dir = name;
    source = dir + "/source", target = dir + "/target", plain = dir + "/plain";
    // The file as the format lays it out: tags padded to 8 bytes, sizes, payloads.
    std::mt19937 rng(7);
    std::vector<std::string> open;
    auto tag = [&](const std::string& t) { bytes += t, bytes.append(8 - t.size() % 8, '\0'); };
    auto payload = [&] {
      const uint32_t n = rng() % 4097;
      bytes.append(reinterpret_cast<const char*>(&n), 4);
      for (uint32_t i = 0; i < n; ++i) bytes += static_cast<char>(i * 31 + n);
    };
    for (int i = 0; i < kEntries; ++i) {
      const int left = kEntries - i;
      const unsigned r = rng() % 16;
      const std::string name = "entry" + std::to_string(i);
      if (!open.empty() && (r < 3 || left <= static_cast<int>(open.size()))) {
        tag("[" + open.back() + ".]");
        open.pop_back();
      } else if (r < 5 && open.size() < 8 && left > static_cast<int>(open.size()) + 1) {
        tag("[" + name + ":]");
        payload();
        open.push_back(name);
      } else {
        tag("[" + name + "]");
        payload();
      }
    }
    FILE* f = std::fopen(source.c_str(), "wb");
    std::fwrite(bytes.data(), 1, bytes.size(), f);
    std::fclose(f);
  }
  ~Files() {
    std::remove(source.c_str()), std::remove(target.c_str()), std::remove(plain.c_str());
    rmdir(dir.c_str());
  }
};

Files& files() {
  static Files f;
  return f;
}

void BM_arch_ff(benchmark::State& state) {
  for (auto _ : state) {
    arch_archive* a = nullptr;
    if (!arch_ff(&a, files().source.c_str())) state.SkipWithError("arch_ff failed");
    benchmark::DoNotOptimize(a->entries->size);
    arch_release(&a);
  }
  state.SetLabel(std::to_string(files().bytes.size() >> 20) + " MiB, " + std::to_string(kEntries) + " entries");
}

void BM_fread_whole(benchmark::State& state) {
  std::string buffer(files().bytes.size(), '\0');
  for (auto _ : state) {
    FILE* f = std::fopen(files().source.c_str(), "rb");
    if (std::fread(buffer.data(), 1, buffer.size(), f) != buffer.size()) state.SkipWithError("short read");
    std::fclose(f);
    benchmark::DoNotOptimize(buffer.data());
  }
}

void BM_arch_store(benchmark::State& state) {
  arch_archive* a = nullptr;
  // A first store brings every payload into memory; the timed ones only write.
  if (!arch_ff(&a, files().source.c_str()) || !arch_store(a, files().target.c_str())) {
    state.SkipWithError("setup failed");
    return;
  }
  for (auto _ : state)
    if (!arch_store(a, files().target.c_str())) state.SkipWithError("arch_store failed");
  arch_release(&a);
}

void BM_fwrite_whole(benchmark::State& state) {
  const std::string& bytes = files().bytes;
  for (auto _ : state) {
    FILE* f = std::fopen(files().plain.c_str(), "wb");
    if (std::fwrite(bytes.data(), 1, bytes.size(), f) != bytes.size()) state.SkipWithError("short write");
    std::fclose(f);
  }
}

BENCHMARK(BM_arch_ff)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_fread_whole)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_arch_store)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_fwrite_whole)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  qbench::Recorder rec;
  if (!qbench::run(argc, argv, rec, [] {
        files();
        return true;
      }))
    return 1;
  std::printf("\nratios of time on the clock, quelt / the limit (1.00 is the limit):\n");
  qbench::ratio("arch_ff vs one fread of the whole file", rec.real("BM_arch_ff"), rec.real("BM_fread_whole"));
  qbench::ratio("arch_store vs one fwrite of the same bytes", rec.real("BM_arch_store"), rec.real("BM_fwrite_whole"));
  // CPU time, which a busy machine blurs less than time on the clock.
  std::printf("\nratios of CPU time, quelt / the limit:\n");
  qbench::ratio("arch_ff vs one fread of the whole file", rec.cpu("BM_arch_ff"), rec.cpu("BM_fread_whole"));
  qbench::ratio("arch_store vs one fwrite of the same bytes", rec.cpu("BM_arch_store"), rec.cpu("BM_fwrite_whole"));
  return 0;
}
