#include "support.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <regex>
#include <unistd.h>

// A counting allocator interposed in the test executable. It forwards to the sanitizer's
// allocator when one is linked (its entry points are exported as __interceptor_*), else to
// glibc's, so that the sanitizers still see every block.
extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void* __interceptor_malloc(size_t) __attribute__((weak));
void* __interceptor_calloc(size_t, size_t) __attribute__((weak));
void* __interceptor_realloc(void*, size_t) __attribute__((weak));
}

// These run before the sanitizer runtime is set up (the dynamic loader allocates early), so they
// must not be instrumented: plain words with atomic builtins, no sanitizer checks.
#define QTEST_RAW __attribute__((no_sanitize("address", "undefined"), noinline))

namespace {
long countdown = -1;
long count = 0;
bool happened = false;

QTEST_RAW bool should_fail() {
  __atomic_fetch_add(&count, 1, __ATOMIC_RELAXED);
  long c = __atomic_load_n(&countdown, __ATOMIC_RELAXED);
  if (c < 0) return false;
  if (c == 0) {
    __atomic_store_n(&countdown, -1, __ATOMIC_RELAXED);
    __atomic_store_n(&happened, true, __ATOMIC_RELAXED);
    errno = ENOMEM;
    return true;
  }
  __atomic_store_n(&countdown, c - 1, __ATOMIC_RELAXED);
  return false;
}
}  // namespace

extern "C" QTEST_RAW void* malloc(size_t n) {
  if (should_fail()) return nullptr;
  return __interceptor_malloc ? __interceptor_malloc(n) : __libc_malloc(n);
}
extern "C" QTEST_RAW void* calloc(size_t n, size_t m) {
  if (should_fail()) return nullptr;
  return __interceptor_calloc ? __interceptor_calloc(n, m) : __libc_calloc(n, m);
}
extern "C" QTEST_RAW void* realloc(void* p, size_t n) {
  if (should_fail()) return nullptr;
  return __interceptor_realloc ? __interceptor_realloc(p, n) : __libc_realloc(p, n);
}

namespace qtest {

void fail_after(long n) {
  __atomic_store_n(&happened, false, __ATOMIC_RELAXED);
  __atomic_store_n(&countdown, n, __ATOMIC_RELAXED);
}
bool failure_happened() { return __atomic_load_n(&happened, __ATOMIC_RELAXED); }
long allocation_count() { return __atomic_load_n(&count, __ATOMIC_RELAXED); }

Stdout::Stdout() {
  std::fflush(stdout);
  char name[] = "/tmp/quelt-stdout-XXXXXX";
  file_ = mkstemp(name);
  unlink(name);
  saved_ = dup(1);
  dup2(file_, 1);
}

std::string Stdout::text() {
  if (!done_) {
    std::fflush(stdout);
    dup2(saved_, 1);
    close(saved_);
    off_t size = lseek(file_, 0, SEEK_END);
    text_.resize(static_cast<size_t>(size));
    if (size > 0 && pread(file_, text_.data(), text_.size(), 0) != size) text_.clear();
    close(file_);
    done_ = true;
  }
  return text_;
}

Stdout::~Stdout() { text(); }

std::string trace_shape(const std::string& out) {
  static const std::regex line(R"(:[0-9]+:\t)");
  return std::regex_replace(out, line, ":N:\t");
}

TempDir::TempDir() {
  char name[] = "/tmp/quelt-test-XXXXXX";
  dir_ = mkdtemp(name) ? name : "/tmp";
}
TempDir::~TempDir() {
  std::error_code ec;
  if (dir_ != "/tmp") std::filesystem::remove_all(dir_, ec);
}

}  // namespace qtest
