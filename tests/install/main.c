/* A minimal application of an installed quelt: fill a surface and read a pixel back. */
#include <quelt/quelt.h>

#include <stdio.h>
#include <string.h>

int main(void) {
  sf_surface s;
  uint32_t v = 0;
  if (!sf_create(&s, 2, 2, 4)) return 1;
  s.color = 0xFF203040u;
  sf_fill(&s, NULL);
  memcpy(&v, s.pixels + 12, 4);
  sf_release(&s);
  printf("pixel %08X\n", (unsigned)v);
  return v == 0xFF203040u ? 0 : 1;
}
