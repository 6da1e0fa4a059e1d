// BMP bytes through sf_image_load and sf_image_bmp_read; loaded pictures round-trip.
#include "image_fuzz.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  image_fuzz::quiet();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  image_fuzz::run(data, size, "in", "out.bmp", sf_image_bmp_read);
  return 0;
}
