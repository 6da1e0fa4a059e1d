// The handle table of the Win32 core. A handle is (generation << kIndexBits) | index; the slot
// keeps the generation it was handed out with, and releasing a slot moves its generation on.
// A stale handle thus finds a slot of another generation and is refused, as Win32 refuses a
// handle whose object is gone. The table is a fixed array (no allocation, no failure for the
// first 16,383 objects, about Win32's own limit of GDI objects per process).
#include "core_p.h"

namespace quelt::platform {
namespace {

constexpr unsigned kIndexBits = 14;
constexpr uintptr_t kSlots = uintptr_t{1} << kIndexBits;
constexpr uintptr_t kIndexMask = kSlots - 1;

struct Slot {
  uintptr_t generation;
  void* object;
  Kind kind;
};

// Slot 0 is never used, so no handle is null. Slots 1 to kFirstFree - 1 hold the stock objects.
enum : uintptr_t { kStockBitmap = 1, kStockIcon = 2, kStockCursor = 3, kFirstFree = 16 };

Slot slots[kSlots];
uintptr_t cursor = kFirstFree;
Bitmap stock_bitmap_object;  // 0 × 0: a blit from a DC without a bitmap of its own copies nothing
bool stock_ready = false;

uintptr_t make(uintptr_t index) {
  uintptr_t generation = slots[index].generation & (~uintptr_t{0} >> kIndexBits);
  return (generation << kIndexBits) | index;
}

void setup_stock() {
  if (stock_ready) return;
  stock_ready = true;
  slots[kStockBitmap] = {1, &stock_bitmap_object, Kind::bitmap};
  slots[kStockIcon] = {1, nullptr, Kind::icon};
  slots[kStockCursor] = {1, nullptr, Kind::cursor};
}

const Slot* find(const void* handle) {
  auto value = reinterpret_cast<uintptr_t>(handle);
  uintptr_t index = value & kIndexMask;
  if (index == 0) return nullptr;
  setup_stock();
  const Slot& slot = slots[index];
  if (slot.kind == Kind::none || make(index) != value) return nullptr;
  return &slot;
}

}  // namespace

void* handle_new(Kind kind, void* object) {
  setup_stock();
  // Walk on from the last slot handed out, so that freed slots are reused as late as possible.
  for (uintptr_t n = 0; n < kSlots - kFirstFree; ++n) {
    uintptr_t index = cursor;
    cursor = cursor + 1 < kSlots ? cursor + 1 : kFirstFree;
    Slot& slot = slots[index];
    if (slot.kind != Kind::none) continue;
    if (slot.generation == 0) slot.generation = 1;
    slot.kind = kind;
    slot.object = object;
    return reinterpret_cast<void*>(make(index));
  }
  return nullptr;
}

void* handle_object(const void* handle, Kind kind) {
  const Slot* slot = find(handle);
  return slot && slot->kind == kind ? slot->object : nullptr;
}

Kind handle_kind(const void* handle) {
  const Slot* slot = find(handle);
  return slot ? slot->kind : Kind::none;
}

void handle_drop(const void* handle) {
  const Slot* found = find(handle);
  if (!found) return;
  auto index = reinterpret_cast<uintptr_t>(handle) & kIndexMask;
  if (index < kFirstFree) return;  // stock objects stay
  Slot& slot = slots[index];
  slot.kind = Kind::none;
  slot.object = nullptr;
  if (++slot.generation == 0 || (slot.generation & (~uintptr_t{0} >> kIndexBits)) == 0)
    slot.generation = 1;
}

HGDIOBJ stock_bitmap() {
  setup_stock();
  return reinterpret_cast<HGDIOBJ>(make(kStockBitmap));
}

HICON stock_icon() {
  setup_stock();
  return reinterpret_cast<HICON>(make(kStockIcon));
}

HCURSOR stock_cursor() {
  setup_stock();
  return reinterpret_cast<HCURSOR>(make(kStockCursor));
}

}  // namespace quelt::platform
