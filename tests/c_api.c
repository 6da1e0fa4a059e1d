/* quelt.h compiles as C11 and the shared library blends and fills as its callers expect (built
   against the installed package too). On Linux it lives beside an application's own Win32-like
   names: quelt declares none, and the five its records use give way. */
#ifndef _WIN32
typedef unsigned char BOOL;
typedef unsigned long DWORD;
typedef long LONG;
typedef unsigned UINT;
typedef int WCHAR;
typedef const char* HWND;
#define QUELT_NO_WIN32_NAMES
#endif
#include <quelt/quelt.h>

#include <stdio.h>

static int failures = 0;
#define CHECK(cond) (void)((cond) || (fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond), ++failures))

static uint32_t pixel(const sf_surface* s, int x, int y) { return ((const uint32_t*)s->pixels)[y * s->width + x]; }

int main(void) {
  sf_surface target, glyph;
  sf_rect half = {0, 0, 4, 8};
  vect_vector* v = NULL;
  int32_t value = 7;

  CHECK(sf_create(&target, 8, 8, 4) == 1 && sf_create(&glyph, 2, 2, 1) == 1);
  target.color = 0xFF123456u;
  CHECK(sf_fill(&target, &half) == 1 && pixel(&target, 3, 7) == 0xFF123456u && pixel(&target, 4, 0) == 0);
  glyph.pixels[0] = 255;
  target.color = 0xFF102030u;
  CHECK(sf_blend(&target, &glyph, NULL, 6, 6, NULL) == 1 && pixel(&target, 6, 6) == 0xFF0F1F2Fu);
  CHECK(sf_push(&target, &half) == 1 && target.clip->right == 4 && sf_pop(&target) == 1 && target.clip == NULL);
  CHECK(vect_create(&v, (int32_t)sizeof value) == 1 && vect_push(v, &value) == 1 && v->size == 1);
  CHECK((vect_release(&v), v == NULL));
#ifndef _WIN32
  {
    ctl_window_rec record;
    HWND own = "the application's";
    record.hwnd = (quelt_hwnd)0;
    CHECK(sizeof record.hwnd == sizeof(void*) && sizeof(BOOL) == 1 && own[0] == 't');
  }
#endif
  sf_release(&glyph);
  sf_release(&target);
  if (failures == 0) puts("c_api: all checks passed");
  return failures == 0 ? 0 : 1;
}
