#include <quelt/windowing/layout.h>

#include <quelt/base/trace.h>

#include <cstdlib>
#include <cstring>

extern "C" {

int32_t ctl_layout_create(ctl_layout_rec** layout) {
  *layout = static_cast<ctl_layout_rec*>(std::malloc(sizeof(ctl_layout_rec)));
  if (!*layout) return QUELT_FAILED("malloc");
  std::memset(*layout, 0, sizeof **layout);
  if (!arch_create(&(*layout)->archive)) return QUELT_FAILED("");
  return 1;
}

void ctl_layout_release(ctl_layout_rec** layout) {
  ctl_layout_rec* record = *layout;
  arch_release(&record->archive);
  std::free(record);
  *layout = nullptr;
}

}  // extern "C"
