// Loads fuzzed bytes as an archive, walks the whole tree, locks and unlocks every record, stores
// it, and loads the stored copy back: the load must end, and the copy must give the same
// directory and payloads.
#include <quelt/archive/arch.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

namespace {

std::string input_path, copy_path;
volatile uint8_t sink;

arch_entry* at(arch_archive* a, int32_t i) { return reinterpret_cast<arch_entry*>(a->entries->data) + i; }

void walk(arch_archive* a, int depth) {
  if (!arch_first(a, nullptr)) return;
  do {
    uint8_t* p = nullptr;
    int32_t n = 0;
    if (arch_lock(a, &p, &n)) {
      if (n > 0) {  // both ends of the block are readable
        sink = p[0];
        sink = p[n - 1];
      }
      arch_unlock(a);
    }
    if (depth < 100 && at(a, a->entries->iter)->kind == 1) {
      const int32_t head = a->entries->iter;
      if (arch_enter(a)) {
        walk(a, depth + 1);
        if (!arch_leave(a) || a->entries->iter != head) std::abort();
      }
    }
  } while (arch_next(a, nullptr));
}

std::string dir_path;

void remove_files() {
  std::remove(input_path.c_str());
  std::remove(copy_path.c_str());
  rmdir(dir_path.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // Files in memory where there is a /dev/shm: many times more runs per second.
  char shm[] = "/dev/shm/quelt-archive-fuzz-XXXXXX", tmp[] = "/tmp/quelt-archive-fuzz-XXXXXX";
  const char* dir = mkdtemp(shm) ? shm : mkdtemp(tmp);
  if (!dir) std::abort();
  dir_path = dir;
  input_path = dir_path + "/in";
  copy_path = dir_path + "/copy";
  std::atexit(remove_files);
  if (!std::freopen("/dev/null", "w", stdout)) std::abort();  // the failure trace of bad input
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FILE* f = std::fopen(input_path.c_str(), "wb");
  if (!f) return 0;
  std::fwrite(data, 1, size, f);
  std::fclose(f);

  arch_archive* a = nullptr;
  if (!arch_ff(&a, input_path.c_str())) return 0;
  walk(a, 0);
  if (arch_store(a, copy_path.c_str())) {
    arch_archive* b = nullptr;
    if (!arch_ff(&b, copy_path.c_str()) || b->entries->size != a->entries->size) std::abort();
    for (int32_t i = 0; i < a->entries->size; ++i) {
      const arch_entry *x = at(a, i), *y = at(b, i);
      if (x->kind != y->kind || std::strcmp(x->name, y->name) != 0 || x->size != y->size) std::abort();
      b->entries->iter = i;
      uint8_t* p = nullptr;
      if (x->kind != -1 && x->size > 0 &&
          (!arch_lock(b, &p, nullptr) || std::memcmp(p, x->payload, static_cast<size_t>(x->size)) != 0))
        std::abort();
    }
    arch_release(&b);
  }
  arch_release(&a);
  return 0;
}
