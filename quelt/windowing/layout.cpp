#include <quelt/windowing/layout.h>

#include <quelt/base/trace.h>

#include <cstdlib>
#include <cstring>

extern "C" {

int32_t ctl_layout_create(ctl_layout_rec** layout) {
  *layout = static_cast<ctl_layout_rec*>(std::malloc(sizeof(ctl_layout_rec)));
  if (!*layout) {
    QUELT_FAIL("malloc");
    QUELT_EXIT();
    return 0;
  }
  std::memset(*layout, 0, sizeof **layout);
  if (!arch_create(&(*layout)->archive)) {
    QUELT_FAIL("");
    QUELT_EXIT();
    return 0;
  }
  return 1;
}

void ctl_layout_release(ctl_layout_rec** layout) {
  ctl_layout_rec* record = *layout;
  arch_release(&record->archive);
  std::free(record);
  *layout = nullptr;
}

}  // extern "C"
