// Image files: BMP files made byte by byte here, PNG files made and checked with libpng itself,
// detection and dispatch, and the failure trace of every refused file.
#include <png.h>
#include <zlib.h>

#include <csetjmp>
#include <fstream>

#include "support.h"

namespace {

using namespace std::string_literals;
using qtest::Surf, qtest::Bytes, qtest::traced, qtest::fail_lines;

void save(const std::string& path, const Bytes& b) { qtest::spill(path, std::string(b.begin(), b.end())); }
void put32(Bytes& b, size_t at, uint32_t v) { std::memcpy(&b[at], &v, 4); }

// Channel c of pixel (x, y) of every test picture, y counted from the top.
uint8_t value(int x, int y, int c) { return uint8_t(x * 37 + y * 101 + c * 59 + 11); }
// Its 4-byte surface; alpha from the picture or 255.
Bytes picture(int w, int h, bool alpha) {
  Bytes p;
  for (int i = 0; i < w * h * 4; ++i) p.push_back(i % 4 < 3 || alpha ? value(i / 4 % w, i / 4 / w, i % 4) : 255);
  return p;
}

// A BMP file of the test picture, top-down for a negative height, `gap` bytes before the pixels.
Bytes make_bmp(int32_t w, int32_t h, int bits, uint32_t gap = 0, uint32_t info = 40) {
  const int rows = h < 0 ? -h : h, bpp = bits / 8, row = bits == 32 ? 4 * w : (3 * w + 3) & ~3;
  Bytes f(14 + info + gap + size_t(row) * rows, 0xEE);
  std::fill(f.begin(), f.begin() + 14 + info, 0);
  f[0] = 'B', f[1] = 'M', f[26] = 1, f[28] = uint8_t(bits);
  put32(f, 10, 14 + info + gap), put32(f, 14, info), put32(f, 18, uint32_t(w)), put32(f, 22, uint32_t(h));
  for (int r = 0; r < rows; ++r)
    for (int x = 0; x < w * bpp; ++x) f[14 + info + gap + size_t(r) * row + x] = value(x / bpp, h < 0 ? r : rows - 1 - r, x % bpp);
  return f;
}

// A PNG file written by libpng from rows of `data`, with a grey palette for colour type 3.
Bytes make_png(int w, int h, int type, int depth, const Bytes& data, bool interlaced = false) {
  Bytes file;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_color palette[256];
  for (int i = 0; i < 256; ++i) palette[i] = {png_byte(i), png_byte(i), png_byte(i)};
  if (setjmp(png_jmpbuf(png))) ADD_FAILURE() << "libpng refused the test file";
  else {
    png_set_write_fn(png, &file, [](png_structp p, png_bytep b, size_t n) { auto& f = *static_cast<Bytes*>(png_get_io_ptr(p)); f.insert(f.end(), b, b + n); }, nullptr);
    png_set_IHDR(png, info, w, h, depth, type, interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, 0, 0);
    if (type == PNG_COLOR_TYPE_PALETTE) png_set_PLTE(png, info, palette, 1 << depth);
    png_write_info(png, info);
    std::vector<png_bytep> rows;
    for (int y = 0; y < h; ++y) rows.push_back(const_cast<uint8_t*>(data.data()) + y * png_get_rowbytes(png, info));
    png_write_image(png, rows.data());
    png_write_end(png, nullptr);
  }
  png_destroy_write_struct(&png, &info);
  return file;
}

// Detection reads the first four bytes or the last four characters; load follows the content, store
// the name (here a ".gif"; ".BMP" and ".png" where the stored files are checked).
TEST(ImageFormat, DetectionAndDispatch) {
  qtest::TempDir dir;
  const std::string f = dir.path("f");
  const struct { bool content; std::string input; int32_t format; } cases[] = {
      {true, "BM\0\0"s, 1}, {true, "BX..", 0}, {true, "\x89PNG", 2}, {true, "\x89PNx", 0}, {true, "BM\0"s, -1}, {false, "a.bmp", 1},
      {false, "A.BMP", 1}, {false, "x.PnG", 2}, {false, ".png", 2}, {false, "bmp.png", 2}, {false, "a.bmpx", 0}, {false, "png", -1}};
  for (const auto& c : cases) {
    int32_t format = 99;
    if (c.content) qtest::spill(f, c.input);
    const std::string trace = traced([&] { EXPECT_EQ(c.content ? sf_image_determinate_format(f.c_str(), &format) : sf_image_determinate_format_by_extension(c.input.c_str(), &format), c.format >= 0); });
    EXPECT_EQ(trace, c.format < 0 ? c.content ? fail_lines("image.cpp", "sf_image_determinate_format", "fread") : fail_lines("image.cpp", "sf_image_determinate_format_by_extension", "") : "") << c.input;
    EXPECT_EQ(format, c.format >= 0 ? c.format : 99) << c.input;
  }
  const std::string none = dir.path("none");
  EXPECT_EQ(traced([&] { EXPECT_EQ(sf_image_determinate_format(none.c_str(), nullptr), 0); }), fail_lines("image.cpp", "sf_image_determinate_format", "fopen"));
  save(dir.path("bmp.png"), make_bmp(3, 2, 24));  // the content decides, not the name
  Surf a, b(2, 2, 4);
  ASSERT_EQ(sf_image_load(&a, dir.path("bmp.png").c_str()), 1);
  EXPECT_EQ(a.bytes(), picture(3, 2, false));
  qtest::spill(f, "GIF8");
  EXPECT_EQ(traced([&] { EXPECT_EQ(sf_image_load(&a, f.c_str()), 0); }), fail_lines("image.cpp", "sf_image_load", "unknown file format"));
  EXPECT_EQ(traced([&] { EXPECT_EQ(sf_image_load(&a, none.c_str()), 0); }), fail_lines("image.cpp", "sf_image_determinate_format", "fopen") + fail_lines("image.cpp", "sf_image_load", ""));
  EXPECT_EQ(traced([&] { EXPECT_EQ(sf_image_store(&b, dir.path("x.gif").c_str()), 0); }), fail_lines("image.cpp", "sf_image_store", "unknown file format"));
  EXPECT_FALSE(std::ifstream(dir.path("x.gif")));
}

// Every row padding, depth and row order, with or without a gap: load gives the top row first, read the file's.
TEST(ImageBmp, ReadsEveryLayout) {
  qtest::TempDir dir;
  const std::string f = dir.path("f.bmp");
  for (int bits : {24, 32})
    for (int w = 1; w <= 5; ++w)
      for (int h : {3, -3, 1100})  // 1100 rows: more than one batch of the reader's row reads
        for (uint32_t gap : {0u, 7u}) {
          SCOPED_TRACE(testing::Message() << bits << " bits, " << w << " x " << h << ", gap " << gap);
          save(f, make_bmp(w, h, bits, gap));
          const int rows = std::abs(h);
          const Bytes expected = picture(w, rows, bits == 32);
          Surf loaded, read;
          ASSERT_TRUE(sf_image_bmp_load(&loaded, f.c_str()) && sf_image_bmp_read(&read, f.c_str()));
          EXPECT_EQ(std::make_tuple(loaded.width, loaded.height, loaded.bytes_per_pixel, loaded.bytes()), std::make_tuple(w, rows, 4, expected));
          const long first = h < 0 ? 0 : (rows - 1) * 4 * w;  // read keeps the file's order of rows
          EXPECT_EQ(Bytes(read.pixels, read.pixels + 4 * w), Bytes(expected.begin() + first, expected.begin() + first + 4 * w));
        }
}

// Stored files are top-down and 32-bit, load back unchanged, and come only from 4-byte pixels.
TEST(ImageBmp, StoresTopDownFilesThatLoadBackUnchanged) {
  qtest::TempDir dir;
  const Bytes pixels = picture(5, 3, true);
  Surf s(5, 3, 4, pixels), back, dot(1, 1, 4), dot_back, grey(5, 3, 1), empty;
  ASSERT_EQ(sf_image_store(&s, dir.path("a.BMP").c_str()), 1);
  Bytes header = make_bmp(5, -3, 32);  // one plane, with the sizes filled in
  put32(header, 2, 114), put32(header, 34, 60);
  header.resize(54), header.insert(header.end(), pixels.begin(), pixels.end());
  EXPECT_EQ(qtest::slurp(dir.path("a.BMP")), std::string(header.begin(), header.end()));
  ASSERT_EQ(sf_image_load(&back, dir.path("a.BMP").c_str()), 1);
  EXPECT_EQ(back.bytes(), pixels);
  ASSERT_TRUE(sf_image_bmp_store(&dot, dir.path("d.bmp").c_str()) && sf_image_load(&dot_back, dir.path("d.bmp").c_str()));
  EXPECT_EQ(dot_back.bytes(), dot.bytes());  // the smallest picture, one pixel
  for (Surf* bad : {&grey, &empty}) {
    EXPECT_EQ(traced([&] { EXPECT_EQ(sf_image_bmp_store(bad, dir.path("b.bmp").c_str()), 0); }), fail_lines("image_bmp.cpp", "sf_image_bmp_store", nullptr));
    EXPECT_FALSE(std::ifstream(dir.path("b.bmp")));
  }
}

// Colour types 0, 2, 3, 4 and 6 at 8 bits, interlaced or not, against the data libpng encoded.
TEST(ImagePng, ReadsEveryEightBitColourType) {
  const int w = 7, h = 5;
  const struct { int type, channels, bpp; } cases[] = {
      {PNG_COLOR_TYPE_GRAY, 1, 1}, {PNG_COLOR_TYPE_PALETTE, 1, 1}, {PNG_COLOR_TYPE_GRAY_ALPHA, 2, 1},
      {PNG_COLOR_TYPE_RGB, 3, 4}, {PNG_COLOR_TYPE_RGB_ALPHA, 4, 4}};
  qtest::TempDir dir;
  for (const auto& c : cases)
    for (bool interlaced : {false, true}) {
      SCOPED_TRACE(testing::Message() << "colour type " << c.type << (interlaced ? ", interlaced" : ""));
      const Bytes data = qtest::noise(size_t(w * h * c.channels), 3);
      Bytes expected;  // the first channel, or B, G, R and A (or 255) from the file's R, G, B, A
      for (size_t i = 0; i < data.size(); i += size_t(c.channels))
        if (c.bpp == 1) expected.push_back(data[i]);
        else expected.insert(expected.end(), {data[i + 2], data[i + 1], data[i], c.channels == 4 ? data[i + 3] : uint8_t(255)});
      save(dir.path("f.png"), make_png(w, h, c.type, 8, data, interlaced));
      Surf s;
      ASSERT_EQ(sf_image_load(&s, dir.path("f.png").c_str()), 1);
      EXPECT_EQ(std::make_tuple(s.width, s.height, s.bytes_per_pixel, s.bytes()), std::make_tuple(w, h, c.bpp, expected));
    }
}

// Files either reader refuses: the exact trace, and whether the surface passed in was released (a
// PNG refused before its surface is made leaves a live one untouched; one refused after is released).
TEST(ImageFiles, RefusesBadFilesCleanly) {
  const std::string exit = fail_lines("image_bmp.cpp", "sf_image_bmp_read", nullptr), fread = fail_lines("image_bmp.cpp", "sf_image_bmp_read", "fread");
  const std::string depth = fail_lines("image_png.cpp", "sf_image_png_read", "invalid bit depth"), jump = fail_lines("image_png.cpp", "sf_image_png_read", "png_jmpbuf");
  const Bytes bmp24 = make_bmp(2, 2, 24), bmp32 = make_bmp(2, 2, 32);
  auto with = [](Bytes b, std::initializer_list<std::pair<size_t, uint32_t>> fields) { for (auto [at, v] : fields) put32(b, at, v); return b; };
  // Random pixels: hardly compressible, so that half the file cuts the image data.
  const Bytes good = make_png(64, 64, PNG_COLOR_TYPE_RGB_ALPHA, 8, qtest::noise(64 * 64 * 4, 5));
  Bytes header = good, text = good, signature = bmp32;
  header[20] ^= 1, signature[1] = 'A';  // inside IHDR, so its checksum fails
  // A text chunk that announces 1.9 GB in a small file: skipped, never allocated.
  const uint8_t chunk[] = {0x72, 0, 0, 0x0C, 't', 'E', 'X', 't', 'C', 'o', 'm', 'm', 'e', 'n', 't'};
  text.insert(text.begin() + 33, chunk, chunk + sizeof chunk);
  auto sized = [&](uint32_t side) {  // the good file claiming side × side pixels, checksum fixed
    Bytes b = with(good, {{16, __builtin_bswap32(side)}, {20, __builtin_bswap32(side)}});
    return put32(b, 29, __builtin_bswap32(uint32_t(crc32(0, b.data() + 12, 17)))), b;
  };
  // 20000 × 20000 pixels, a 2 MB private chunk, a few KiB of image data: too little for the pixels.
  Bytes padded = sized(20000), big(2000000 + 12, 0);
  put32(big, 0, __builtin_bswap32(2000000)), std::memcpy(&big[4], "prVt", 4);
  put32(big, 2000008, __builtin_bswap32(uint32_t(crc32(0, big.data() + 4, 2000004))));
  padded.insert(padded.begin() + 33, big.begin(), big.end());
  const struct { const char* name; Bytes file; std::string trace; bool released; } cases[] = {
      {"124-byte header", make_bmp(2, 2, 32, 0, 124), exit, true}, {"8 bits", make_bmp(8, 2, 8), exit, true}, {"signature", signature, exit, true},
      {"width 0", with(bmp24, {{18, 0}}), exit, true}, {"negative width", with(bmp24, {{18, uint32_t(-3)}}), exit, true},
      {"height 0", with(bmp24, {{22, 0}}), exit, true}, {"smallest height", with(bmp24, {{22, 0x80000000}}), exit, true},
      {"overflowing product", with(bmp32, {{18, 0x7FFFFFFF}}), exit, true},
      {"product past 64 bits", with(bmp24, {{18, 0x5FFFFF04}, {22, 0x71010040}}), exit, true},  // × 4 bytes
      {"offset past the end", with(bmp32, {{10, 1000}}), fread, true}, {"raster cut short", Bytes(bmp32.begin(), bmp32.end() - 1), fread, true},
      {"raster the file lacks", with(bmp24, {{18, 5000}, {22, 5000}}), fread, true},
      {"header cut short", Bytes(bmp32.begin(), bmp32.begin() + 30), fread, false},
      {"16 bits", make_png(4, 4, PNG_COLOR_TYPE_GRAY, 16, Bytes(32)), depth, false}, {"4 bits", make_png(4, 4, PNG_COLOR_TYPE_PALETTE, 4, Bytes(8)), depth, false},
      {"damaged header", header, jump, false}, {"more pixels than the file can hold", sized(5000), jump, false}, {"huge text chunk", text, jump, false},
      {"few image data behind a large chunk", padded, jump, false}, {"bad signature", Bytes{0x89, 'P', 'N', 'G', 0, 0, 0, 0, 1, 2, 3}, jump, false},
      {"cut in the image data", Bytes(good.begin(), good.begin() + long(good.size()) / 2), jump, true},
  };
  const long peak_before = qtest::peak_memory_kb();
  qtest::TempDir dir;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    save(dir.path("f"), c.file);
    const bool png = c.file[0] == 0x89;
    Surf s;
    ASSERT_EQ((png && c.released) || sf_create(&s, 2, 2, 4), 1);
    EXPECT_EQ(traced([&] { EXPECT_EQ(png ? sf_image_png_read(&s, dir.path("f").c_str()) : sf_image_bmp_read(&s, dir.path("f").c_str()), 0); }), c.trace);
    EXPECT_EQ(!s.width && !s.height && !s.bytes_per_pixel && !s.pixels && !s.strip && !s.color && !s.clip && !s.clip_stack && !s.anchor_x && !s.anchor_y, c.released);
  }
  EXPECT_LT(qtest::peak_memory_kb() - peak_before, 256 * 1024);  // no buffer sized by what a file announces
}

// 1-, 3- and 4-byte surfaces stored as grey, RGB and RGBA files that libpng reads back as they were.
TEST(ImagePng, StoresSurfacesThatReadBack) {
  const struct { int32_t bpp; png_uint_32 file_format, read_as; } cases[] = {
      {1, PNG_FORMAT_GRAY, PNG_FORMAT_GRAY}, {3, PNG_FORMAT_RGB, PNG_FORMAT_BGR}, {4, PNG_FORMAT_RGBA, PNG_FORMAT_BGRA}};
  qtest::TempDir dir;
  const std::string f = dir.path("f.png");
  for (const auto& c : cases) {
    SCOPED_TRACE(c.bpp);
    Surf s(9, 4, c.bpp, qtest::noise(size_t(9 * 4 * c.bpp), 7));
    ASSERT_EQ(sf_image_store(&s, f.c_str()), 1);
    png_image image{};  // libpng's own reader: the file's format, and the pixels read back as stored
    image.version = PNG_IMAGE_VERSION;
    ASSERT_TRUE(png_image_begin_read_from_file(&image, f.c_str()));
    EXPECT_EQ(image.format, c.file_format);
    Bytes read((image.format = c.read_as, PNG_IMAGE_SIZE(image)));
    EXPECT_TRUE(png_image_finish_read(&image, nullptr, read.data(), 0, nullptr) && read == s.bytes());
  }
  Surf empty;
  EXPECT_EQ(traced([&] { EXPECT_EQ(sf_image_png_store(&empty, dir.path("e.png").c_str()), 0); }), fail_lines("image_png.cpp", "sf_image_png_store", nullptr));
  EXPECT_FALSE(std::ifstream(dir.path("e.png")));
}

}  // namespace
