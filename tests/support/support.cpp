#include "support.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>

#ifdef _WIN32
#include <io.h>
#include <windows.h>
#include <psapi.h>
#else
#include <sys/resource.h>
#include <unistd.h>
#endif

#ifndef _WIN32
// A counting allocator interposed in the test executable. It forwards to the sanitizer's
// allocator when one is linked (__interceptor_*), else to glibc's: the sanitizers see every block.
extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void* __interceptor_malloc(size_t) __attribute__((weak));
void* __interceptor_calloc(size_t, size_t) __attribute__((weak));
void* __interceptor_realloc(void*, size_t) __attribute__((weak));
}

// These run before the sanitizer runtime is set up (the loader allocates early): not instrumented.
#define QTEST_RAW __attribute__((no_sanitize("address", "undefined"), noinline))
#else
#define QTEST_RAW __attribute__((noinline))
#endif

namespace {
long countdown = -1, count = 0;
bool happened = false;

QTEST_RAW bool should_fail() {
  __atomic_fetch_add(&count, 1, __ATOMIC_RELAXED);
  const long c = __atomic_load_n(&countdown, __ATOMIC_RELAXED);
  if (c < 0) return false;
  __atomic_store_n(&countdown, c - 1, __ATOMIC_RELAXED);  // from 0 to -1: disarmed again
  if (c > 0) return false;
  __atomic_store_n(&happened, true, __ATOMIC_RELAXED);
  errno = ENOMEM;
  return true;
}
}  // namespace

#ifndef _WIN32
extern "C" QTEST_RAW void* malloc(size_t n) {
  return should_fail() ? nullptr : __interceptor_malloc ? __interceptor_malloc(n) : __libc_malloc(n);
}
extern "C" QTEST_RAW void* calloc(size_t n, size_t m) {
  return should_fail() ? nullptr : __interceptor_calloc ? __interceptor_calloc(n, m) : __libc_calloc(n, m);
}
extern "C" QTEST_RAW void* realloc(void* p, size_t n) {
  return should_fail() ? nullptr : __interceptor_realloc ? __interceptor_realloc(p, n) : __libc_realloc(p, n);
}
#else
// Windows has no symbol interposition: the counting versions are written into the import tables
// of the test program and of quelt.dll (FreeType, libpng and zlib included) before any test runs.
// In quelt.dll HeapAlloc counts too (FreeType's Windows build allocates there), and strdup and
// fopen each count as the one malloc they make with glibc, so failures fall alike on both systems.
// (On x86-64 WINAPI is the C calling convention: one template serves every signature.)
namespace {
template <typename R, typename... A>
struct Counted {
  static inline R (*real)(A...) = nullptr;
  static R call(A... a) { return should_fail() ? nullptr : real(a...); }
  // Points the import slot of `wanted` here, remembering the runtime's function.
  static bool hook(const char* name, const char* wanted, ULONG_PTR* slot) {
    if (std::strcmp(name, wanted) != 0) return false;
    if (reinterpret_cast<ULONG_PTR>(&call) == *slot) return true;
    if (!real) real = reinterpret_cast<R (*)(A...)>(*slot);
    DWORD old = 0;
    VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &old);
    *slot = reinterpret_cast<ULONG_PTR>(&call);
    VirtualProtect(slot, sizeof *slot, old, &old);
    return true;
  }
};
using Strdup = Counted<char*, const char*>;
using Heap = Counted<LPVOID, HANDLE, DWORD, SIZE_T>;
using HeapRe = Counted<LPVOID, HANDLE, DWORD, LPVOID, SIZE_T>;

void hook_imports(HMODULE module, bool heap) {
  if (!module) return;
  auto* base = reinterpret_cast<uint8_t*>(module);
  auto* nt = reinterpret_cast<IMAGE_NT_HEADERS*>(base + reinterpret_cast<IMAGE_DOS_HEADER*>(base)->e_lfanew);
  const IMAGE_DATA_DIRECTORY& dir = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  if (dir.VirtualAddress == 0) return;
  for (auto* imp = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(base + dir.VirtualAddress); imp->Name; ++imp) {
    auto* names = reinterpret_cast<IMAGE_THUNK_DATA*>(base + (imp->OriginalFirstThunk ? imp->OriginalFirstThunk : imp->FirstThunk));
    for (auto* slots = reinterpret_cast<IMAGE_THUNK_DATA*>(base + imp->FirstThunk); names->u1.AddressOfData; ++names, ++slots) {
      if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal)) continue;
      const char* name = reinterpret_cast<const char*>(reinterpret_cast<IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData)->Name);
      ULONG_PTR* slot = &slots->u1.Function;
      Counted<void*, size_t>::hook(name, "malloc", slot) || Counted<void*, size_t, size_t>::hook(name, "calloc", slot) ||
          Counted<void*, void*, size_t>::hook(name, "realloc", slot) || Strdup::hook(name, "strdup", slot) ||
          Strdup::hook(name, "_strdup", slot) || Counted<FILE*, const char*, const char*>::hook(name, "fopen", slot) ||
          (heap && (Heap::hook(name, "HeapAlloc", slot) || HeapRe::hook(name, "HeapReAlloc", slot)));
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
  PROCESS_MEMORY_COUNTERS counters{sizeof counters};
  return GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters) ? long(counters.PeakWorkingSetSize / 1024) : 0;
#else
  rusage usage{};
  return getrusage(RUSAGE_SELF, &usage) == 0 ? usage.ru_maxrss : 0;
#endif
}

// A binary file for the capture, deleted when closed; on Windows in the user's temporary folder
// (the runtime's tmpfile uses the drive's root, where a user may not write).
static FILE* temporary() {
#ifdef _WIN32
  wchar_t dir[MAX_PATH], name[MAX_PATH];
  return GetTempPathW(MAX_PATH, dir) && GetTempFileNameW(dir, L"qso", 0, name) ? _wfopen(name, L"w+bD") : nullptr;
#else
  return std::tmpfile();
#endif
}

Stdout::Stdout() : file_(temporary()) {
  std::fflush(stdout);
  saved_ = dup(1);
  if (file_) dup2(fileno(file_), 1);
}

std::string Stdout::text() {
  if (file_) {
    std::fflush(stdout);
    dup2(saved_, 1);
    close(saved_);
    std::rewind(file_);
    char chunk[4096];
    for (size_t n; (n = std::fread(chunk, 1, sizeof chunk, file_)) > 0;) text_.append(chunk, n);
    std::fclose(std::exchange(file_, nullptr));
  }
  return text_;
}

std::string traced(const std::function<void()>& f, long fail) {
  Stdout out;
  fail_after(fail), f(), fail_after(-1);
  return std::regex_replace(out.text(), std::regex(R"(:[0-9]+:\t)"), ":N:\t");
}

std::string fail_lines(const std::string& file, const std::string& fn, const char* what) {
  return (what ? file + ":N:\t\t" + fn + ": " + what + "\n" : "") + file + ":N:\t" + fn + ".\n";
}

std::string slurp(const std::string& path) { return {std::istreambuf_iterator<char>(std::ifstream(path, std::ios::binary).rdbuf()), {}}; }
void spill(const std::string& path, const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }

// A new directory under a random name, with forward slashes so that path() joins alike everywhere.
TempDir::TempDir() {
  std::error_code ec;
  for (int attempt = 0; attempt < 1000 && dir_.empty(); ++attempt) {
    const auto dir = std::filesystem::temp_directory_path(ec) / ("quelt-test-" + std::to_string(std::random_device{}()));
    if (std::filesystem::create_directory(dir, ec)) dir_ = dir.generic_string();
  }
}
TempDir::~TempDir() { std::error_code ec; if (!dir_.empty()) std::filesystem::remove_all(dir_, ec); }

}  // namespace qtest
