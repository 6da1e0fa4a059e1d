// Test support shared by every suite: allocation failure on purpose, capture of standard output
// (where the failure trace goes), files of one test, surfaces that release themselves.
#pragma once

#include <gtest/gtest.h>
#include <quelt/quelt.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace qtest {

using Bytes = std::vector<uint8_t>;
using Words = std::vector<uint32_t>;

// The next `n` allocations (malloc, calloc, realloc, from anywhere in the process) succeed and
// the one after fails; then allocation works again. fail_after(-1) disarms.
void fail_after(long n);
bool failure_happened();   // an armed failure has happened since the last fail_after
long allocation_count();   // allocations made since the process started
long peak_memory_kb();     // the most memory the process has held resident so far

// Captures everything written to standard output (file descriptor 1) between construction and
// the first text(), which returns it (and so do later calls).
struct Stdout {
  Stdout();
  ~Stdout() { text(); }
  std::string text();
  std::FILE* file_;
  int saved_ = -1;
  std::string text_;
};

// The trace that `f` prints while the allocation after the next `fail` ones fails (-1: none), its
// line numbers replaced by N: "vector.cpp:N:\t\tvect_size: malloc\n...".
std::string traced(const std::function<void()>& f, long fail = -1);
// The two trace lines of a failure in `fn` of `file`: what failed, then the way out (only that
// when `what` is null).
std::string fail_lines(const std::string& file, const std::string& fn, const char* what = "");

// A UTF-16 text as the library's calls take it; and a file's bytes, and a file made of bytes.
inline const uint16_t* utf16(const std::u16string& s) { return reinterpret_cast<const uint16_t*>(s.c_str()); }
std::string slurp(const std::string& path);
void spill(const std::string& path, const std::string& bytes);

// A surface that releases itself, its clips popped first. Pixels go in and come out as bytes,
// as 32-bit words (4-byte pixels), or one pixel at a time as a little-endian number.
struct Surf : sf_surface {
  explicit Surf(int32_t w = 0, int32_t h = 0, int32_t bpp = 0, const std::vector<uint8_t>& px = {}) : sf_surface{} {
    if (bpp) EXPECT_EQ(sf_create(this, w, h, bpp), 1);
    if (!px.empty()) set(px);
  }
  ~Surf() { while (clip_stack) sf_pop(this); sf_release(this); }
  Surf(const Surf&) = delete;
  size_t size() const { return size_t(width) * height * bytes_per_pixel; }
  std::vector<uint8_t> bytes() const { return pixels ? std::vector<uint8_t>(pixels, pixels + size()) : std::vector<uint8_t>{}; }
  std::vector<uint32_t> words() const { return {reinterpret_cast<uint32_t*>(pixels), reinterpret_cast<uint32_t*>(pixels) + size() / 4}; }
  template <typename T> void set(const std::vector<T>& v) { std::memcpy(pixels, v.data(), v.size() * sizeof(T)); }
  uint8_t* at(int x, int y) const { return pixels + (size_t(y) * width + x) * bytes_per_pixel; }
  uint32_t px(int x, int y) const { uint32_t v = 0; return std::memcpy(&v, at(x, y), bytes_per_pixel), v; }
  void set(int x, int y, uint32_t v) { std::memcpy(at(x, y), &v, bytes_per_pixel); }
  void paint(uint32_t v) { for (int i = 0; i < width * height; ++i) set(i % width, i / width, v); }
};

// n random bytes from `seed`, of `levels` evenly spaced values.
inline std::vector<uint8_t> noise(size_t n, unsigned seed, int levels = 256) {
  std::mt19937 rng(seed);
  std::vector<uint8_t> b(n);
  for (auto& v : b) v = uint8_t(rng() % levels * (256 / levels));
  return b;
}

// A fresh empty directory for files of one test; removed with its content by the destructor.
struct TempDir {
  TempDir();
  ~TempDir();
  std::string path(const std::string& name) const { return dir_ + "/" + name; }
  const std::string& dir() const { return dir_; }
  std::string dir_;
};

}  // namespace qtest
