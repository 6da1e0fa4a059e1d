#include "support.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>

#ifdef _WIN32
#include <cstring>
#include <fcntl.h>
#include <io.h>
#include <windows.h>
#include <psapi.h>
#else
#include <sys/resource.h>
#include <unistd.h>
#endif

#ifndef _WIN32
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
#else
#define QTEST_RAW __attribute__((noinline))
#endif

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

#ifndef _WIN32
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
#else
// Windows has no symbol interposition: every DLL calls the C runtime through its own import
// table. So the counting versions are written into the import tables of the test program and
// of quelt.dll (which holds FreeType, libpng and zlib too) before any test runs. They forward
// to the runtime's functions as the tables held them. FreeType's Windows build takes its
// memory from the process heap (HeapAlloc) where elsewhere it calls malloc: in quelt.dll those
// calls count too, so that FreeType's allocations fail on both systems alike.
namespace {
using malloc_fn = void* (*)(size_t);
using calloc_fn = void* (*)(size_t, size_t);
using realloc_fn = void* (*)(void*, size_t);
using strdup_fn = char* (*)(const char*);
using fopen_fn = FILE* (*)(const char*, const char*);
using heap_alloc_fn = LPVOID(WINAPI*)(HANDLE, DWORD, SIZE_T);
using heap_realloc_fn = LPVOID(WINAPI*)(HANDLE, DWORD, LPVOID, SIZE_T);
malloc_fn real_malloc = nullptr;
calloc_fn real_calloc = nullptr;
realloc_fn real_realloc = nullptr;
strdup_fn real_strdup = nullptr;
fopen_fn real_fopen = nullptr;
heap_alloc_fn real_heap_alloc = nullptr;
heap_realloc_fn real_heap_realloc = nullptr;

void* counting_malloc(size_t n) { return should_fail() ? nullptr : real_malloc(n); }
void* counting_calloc(size_t n, size_t m) { return should_fail() ? nullptr : real_calloc(n, m); }
void* counting_realloc(void* p, size_t n) { return should_fail() ? nullptr : real_realloc(p, n); }
// The runtime's strdup allocates inside the runtime, out of reach of the import tables: it
// counts as the one allocation it makes, as it does with glibc.
char* counting_strdup(const char* s) { return should_fail() ? nullptr : real_strdup(s); }
// glibc's fopen allocates its stream with malloc, so there a failing allocation makes fopen fail
// with ENOMEM; the Windows runtime allocates inside itself. Counting fopen as that one
// allocation gives callers of fopen the same failure to handle on both systems.
FILE* counting_fopen(const char* path, const char* mode) {
  if (should_fail()) return nullptr;
  return real_fopen(path, mode);
}
LPVOID WINAPI counting_heap_alloc(HANDLE heap, DWORD flags, SIZE_T n) {
  return should_fail() ? nullptr : real_heap_alloc(heap, flags, n);
}
LPVOID WINAPI counting_heap_realloc(HANDLE heap, DWORD flags, LPVOID p, SIZE_T n) {
  return should_fail() ? nullptr : real_heap_realloc(heap, flags, p, n);
}

// Replaces an import slot that holds the runtime's NAME, remembering the runtime's function.
template <typename Fn>
bool hook(const char* name, const char* wanted, ULONG_PTR* slot, Fn& real, Fn counting) {
  if (std::strcmp(name, wanted) != 0) return false;
  if (reinterpret_cast<ULONG_PTR>(counting) == *slot) return true;
  if (!real) real = reinterpret_cast<Fn>(*slot);
  DWORD old = 0;
  VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &old);
  *slot = reinterpret_cast<ULONG_PTR>(counting);
  VirtualProtect(slot, sizeof *slot, old, &old);
  return true;
}

void hook_imports(HMODULE module, bool heap) {
  if (!module) return;
  auto* base = reinterpret_cast<uint8_t*>(module);
  auto* dos = reinterpret_cast<IMAGE_DOS_HEADER*>(base);
  auto* nt = reinterpret_cast<IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
  const IMAGE_DATA_DIRECTORY& dir = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  if (dir.VirtualAddress == 0) return;
  for (auto* imp = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(base + dir.VirtualAddress); imp->Name; ++imp) {
    auto* names = reinterpret_cast<IMAGE_THUNK_DATA*>(
        base + (imp->OriginalFirstThunk ? imp->OriginalFirstThunk : imp->FirstThunk));
    auto* slots = reinterpret_cast<IMAGE_THUNK_DATA*>(base + imp->FirstThunk);
    for (; names->u1.AddressOfData; ++names, ++slots) {
      if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal)) continue;
      auto* by_name = reinterpret_cast<IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData);
      const char* name = reinterpret_cast<const char*>(by_name->Name);
      ULONG_PTR* slot = &slots->u1.Function;
      hook(name, "malloc", slot, real_malloc, &counting_malloc) ||
          hook(name, "calloc", slot, real_calloc, &counting_calloc) ||
          hook(name, "realloc", slot, real_realloc, &counting_realloc) ||
          hook(name, "strdup", slot, real_strdup, &counting_strdup) ||
          hook(name, "_strdup", slot, real_strdup, &counting_strdup) ||
          hook(name, "fopen", slot, real_fopen, &counting_fopen) ||
          (heap && (hook(name, "HeapAlloc", slot, real_heap_alloc, &counting_heap_alloc) ||
                    hook(name, "HeapReAlloc", slot, real_heap_realloc, &counting_heap_realloc)));
    }
  }
}

// Runs before main, after quelt.dll is loaded (the program imports it).
[[maybe_unused]] const bool hooked = [] {
  hook_imports(GetModuleHandleW(nullptr), false);
  hook_imports(GetModuleHandleW(L"quelt.dll"), true);
  return true;
}();
}  // namespace
#endif

namespace qtest {

void fail_after(long n) {
  __atomic_store_n(&happened, false, __ATOMIC_RELAXED);
  __atomic_store_n(&countdown, n, __ATOMIC_RELAXED);
}
bool failure_happened() { return __atomic_load_n(&happened, __ATOMIC_RELAXED); }
long allocation_count() { return __atomic_load_n(&count, __ATOMIC_RELAXED); }

long peak_memory_kb() {
#ifdef _WIN32
  PROCESS_MEMORY_COUNTERS counters{};
  counters.cb = sizeof counters;
  if (!GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters)) return 0;
  return static_cast<long>(counters.PeakWorkingSetSize / 1024);
#else
  rusage usage{};
  return getrusage(RUSAGE_SELF, &usage) == 0 ? usage.ru_maxrss : 0;
#endif
}

#ifndef _WIN32
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

#else
// The same on Windows: a binary-mode temporary file (so that "\n" is not written as "\r\n"),
// deleted by the system when it is closed.
Stdout::Stdout() {
  std::fflush(stdout);
  wchar_t dir[MAX_PATH], name[MAX_PATH];
  if (GetTempPathW(MAX_PATH, dir) == 0 || GetTempFileNameW(dir, L"qso", 0, name) == 0) return;
  file_ = _wopen(name, _O_RDWR | _O_BINARY | _O_TRUNC | _O_TEMPORARY);
  if (file_ < 0) return;
  saved_ = _dup(1);
  _dup2(file_, 1);
}

std::string Stdout::text() {
  if (!done_) {
    done_ = true;
    if (file_ < 0) return text_;
    std::fflush(stdout);
    _dup2(saved_, 1);
    _close(saved_);
    long size = _lseek(file_, 0, SEEK_END);
    _lseek(file_, 0, SEEK_SET);
    text_.resize(size > 0 ? static_cast<size_t>(size) : 0);
    if (size > 0 && _read(file_, text_.data(), static_cast<unsigned>(size)) != size) text_.clear();
    _close(file_);
  }
  return text_;
}
#endif

Stdout::~Stdout() { text(); }

std::string trace_shape(const std::string& out) {
  static const std::regex line(R"(:[0-9]+:\t)");
  return std::regex_replace(out, line, ":N:\t");
}

std::string traced(const std::function<void()>& f, long fail) {
  Stdout out;
  fail_after(fail), f(), fail_after(-1);
  return trace_shape(out.text());
}

std::string fail_lines(const std::string& file, const std::string& fn, const std::string& what) {
  return file + ":N:\t\t" + fn + ": " + what + "\n" + file + ":N:\t" + fn + ".\n";
}

std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}
void spill(const std::string& path, const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }

// A new directory in the system's temporary folder, named after the process and a counter, with
// forward slashes so that path() joins names the same way on both systems.
TempDir::TempDir() {
  std::error_code ec;
  const std::filesystem::path base = std::filesystem::temp_directory_path(ec);
  static unsigned serial = 0;
  for (int attempt = 0; attempt < 1000 && dir_.empty(); ++attempt) {
    const std::filesystem::path dir = base / ("quelt-test-" + std::to_string(std::random_device{}()) + "-" + std::to_string(serial++));
    if (std::filesystem::create_directory(dir, ec)) dir_ = dir.generic_string();
  }
}
TempDir::~TempDir() {
  std::error_code ec;
  if (!dir_.empty()) std::filesystem::remove_all(dir_, ec);
}

}  // namespace qtest
