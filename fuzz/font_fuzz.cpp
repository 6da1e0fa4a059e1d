// Font files from fuzzed bytes: open the face, then measure and draw a string with grey,
// one-bit and sub-pixel glyphs, and release. FreeType reads fonts from a path, so the bytes go
// to a temporary file first. The failure trace and the strike listing go to standard output,
// which is silenced.
#include <quelt/surface/surface.h>
#include <quelt/text/face.h>

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

std::string font_path;

void remove_font() { std::remove(font_path.c_str()); }

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  std::freopen("/dev/null", "w", stdout);
  unsetenv("DISPLAY");  // 96 dpi without asking an X server for every face
  font_path = "/tmp/quelt-font-fuzz-" + std::to_string(getpid()) + ".ttf";
  std::atexit(remove_font);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FILE* file = std::fopen(font_path.c_str(), "wb");
  if (!file) return 0;
  const bool written = std::fwrite(data, 1, size, file) == size;
  if (std::fclose(file) != 0 || !written) return 0;

  // Plain letters, a kerning pair, "?", a code the font may lack, both halves of a surrogate
  // pair and the last code of the table.
  static const uint16_t text[] = {'A', 'V', ' ', 'T', 'o', 'g', '?', 0xE9, 0x4E00, 0xD83D, 0xDE00, 0xFFFF, 0};
  sf_surface target;
  if (!sf_create(&target, 96, 48, 4)) return 0;
  target.color = 0xFFFFFFFFu;
  for (int mode = 0; mode < 3; ++mode) {
    sf_face* face = nullptr;
    if (!sf_face_create(&face, font_path.c_str(), 12)) continue;
    face->mono = mode == 1;
    face->lcd = mode == 2;
    face->spacing = mode - 1;
    sf_face_width(face, text, 0);
    sf_face_height(face);
    target.anchor_x = 0.5f;
    sf_face_string(face, &target, text, 0, 48, 4);
    sf_face_glyph(face, &target, 0x1F600, 90, 40);
    sf_face_release(&face);
  }
  sf_release(&target);
  return 0;
}
