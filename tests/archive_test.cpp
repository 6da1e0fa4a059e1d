// Padded strings and the archive: the file format byte for byte, loading any input, scripts of
// cursor and record calls, and traced failures.
#include <sstream>

#include "support.h"

namespace {

using namespace std::string_literals;

using qtest::slurp, qtest::spill, qtest::traced, qtest::fail_lines;
std::string le32(uint32_t v) { return std::string(reinterpret_cast<const char*>(&v), 4); }
std::string pad(const std::string& tag) { return tag + std::string(8 - tag.size() % 8, '\0'); }
std::string blob(const arch_entry& e) { return std::string(reinterpret_cast<char*>(e.payload), e.size); }

arch_entry& entry(const arch_archive* a, int i) { return reinterpret_cast<arch_entry*>(a->entries->data)[i]; }
// The directory, "[name]" per entry, ":" marking a group's head and "." its end.
std::string tags(const arch_archive* a) {
  std::string s;
  for (int i = 0; i < a->entries->size; ++i) s += (i ? " [" : "[") + std::string(entry(a, i).name) + (entry(a, i).kind == 1 ? ":]" : entry(a, i).kind == -1 ? ".]" : "]");
  return s;
}

struct Arch {
  arch_archive* a = nullptr;
  Arch() { EXPECT_EQ(arch_create(&a), 1); }
  ~Arch() { arch_release(&a); }
  // "a g{ b }": a name posts a leaf, "x{" posts and enters x, "}" leaves.
  void build(const std::string& tree) const {
    std::istringstream in(tree);
    for (std::string t; in >> t;) {
      if (t == "}") ASSERT_EQ(arch_leave(a), 1);
      else if (t.back() == '{') ASSERT_TRUE(arch_post(a, t.substr(0, t.size() - 1).c_str()) && arch_enter(a));
      else ASSERT_EQ(arch_post(a, t.c_str()), 1);
    }
  }
};

TEST(Sz8, BlocksAndReadBack) {
  qtest::TempDir dir;
  const std::string path = dir.path("s");
  for (const auto [n, bytes, read] : {std::tuple{0, 8L, 0}, {1, 8, 1}, {7, 8, 7}, {8, 16, 8}, {15, 16, 15}, {55, 56, 55}, {56, 64, 0}}) {
    SCOPED_TRACE(n);
    const std::string text(n, 'x');
    FILE* f = std::fopen(path.c_str(), "w+b");
    ASSERT_EQ(sz8_write(f, text.c_str()), 1);
    std::fputs("tail", f), std::rewind(f);
    char buf[56] = {};
    EXPECT_EQ(sz8_read(f, buf), read);
    EXPECT_TRUE(std::ftell(f) == (read ? bytes : 0) && buf == (read ? text : ""));  // refused: the stream stays in front
    std::fclose(f);
    EXPECT_EQ(slurp(path), text + std::string(bytes - n, '\0') + "tail");
  }
  // A zero inside a block with a non-zero byte 7 does not end the scan; the text ends at it.
  spill(path, "ab\0cdefg"s + "hij\0\0\0\0\0"s + "[q]");
  FILE* f = std::fopen(path.c_str(), "rb");
  const auto read = [f] { const int r = sz8_read(f, nullptr); return std::pair(r, std::ftell(f)); };
  EXPECT_EQ(read(), std::pair(2, 16L));
  EXPECT_EQ(read(), std::pair(0, 16L));  // fewer than 8 bytes left
  std::rewind(f);
  EXPECT_EQ(traced([&] { EXPECT_EQ(read(), std::pair(0, 0L)); }, 0), fail_lines("sz8.cpp", "sz8_read", "malloc"));
  EXPECT_EQ(traced([&] { EXPECT_EQ(sz8_write(f, "abc"), 0); }), fail_lines("sz8.cpp", "sz8_write", "fwrite"));
  std::fclose(f);
}

// A leaf with "hi", a group holding an empty leaf, and a tag of 8 characters padded by a whole block.
const std::string kExample = "[a]\0\0\0\0\0\x02\0\0\0hi[g:]\0\0\0\0\0\0\0\0[b]\0\0\0\0\0\0\0\0\0[g.]\0\0\0\0[abcdef]\0\0\0\0\0\0\0\0\x01\0\0\0!"s;

TEST(Archive, WorkedExampleByteForByte) {
  qtest::TempDir dir;
  const std::string path = dir.path("x");
  const Arch x;
  x.build("a g{ b } abcdef");
  ASSERT_TRUE(arch_data(x.a, "!", 1) && arch_first(x.a, "a") && arch_data(x.a, "hi", 2) && arch_store(x.a, path.c_str()));
  ASSERT_EQ(slurp(path), kExample);
  arch_archive* a = nullptr;
  ASSERT_EQ(arch_ff(&a, path.c_str()), 1);
  auto fields = [](arch_archive* a) {  // the new archive's offsets are its file's too
    std::vector<int> f;
    for (int i = 0; i < a->entries->size; ++i) f.insert(f.end(), {entry(a, i).kind, entry(a, i).size, entry(a, i).offset, entry(a, i).payload != nullptr});
    return f;
  };
  EXPECT_EQ(fields(a), (std::vector<int>{0, 2, 12, 0, 1, 0, 26, 0, 0, 0, 38, 0, -1, 0, 0, 0, 0, 1, 66, 0}));
  EXPECT_EQ(fields(x.a), (std::vector<int>{0, 2, 12, 1, 1, 0, 26, 0, 0, 0, 38, 0, -1, 0, 0, 0, 0, 1, 66, 1}));
  EXPECT_TRUE(std::string(a->path) == path && a->entries->iter == 0 && arch_modified(x.a) && !arch_modified(x.a));
  uint8_t* p = nullptr;
  int32_t size = 0;
  EXPECT_TRUE(arch_lock(a, &p, &size) && std::string(reinterpret_cast<char*>(p), size) == "hi");
  EXPECT_TRUE(arch_store(a, nullptr) && slurp(path) == kExample);  // rewriting its own file gives the same bytes
  arch_release(&a);
  EXPECT_EQ(a, nullptr);
  const std::string big(70000, 'b');  // a size field of three bytes
  ASSERT_TRUE(arch_first(x.a, "a") && arch_data(x.a, big.data(), 70000) && arch_store(x.a, path.c_str()));
  EXPECT_EQ(slurp(path).substr(8, 4), le32(70000));
}

TEST(Archive, LoadEndsOnAnyInputAndCrossesTheReadersWindow) {
  qtest::TempDir dir;
  const std::string a = pad("[a]") + le32(1) + "A", path = dir.path("f"), bad = fail_lines("archfile.cpp", "arch_load");
  const struct { std::string bytes; int result; const char* tags; std::string trace; } cases[] = {
      {"", 1, "", ""}, {"[a]", 1, "", ""},
      {a + std::string(8, '\0') + pad("[b]") + le32(0), 1, "[a]", ""},  // a zero where a tag begins
      {a + pad("[" + std::string(54, 'n') + "]") + le32(0), 1, "[a]", ""},  // a tag of 56 characters
      {a + pad("[]") + le32(0), 0, "[a]", bad}, {a + pad("[b") + le32(0), 0, "[a]", bad},
      {a + pad("[b]") + "\1\0"s, 0, "[a]", fail_lines("archfile.cpp", "arch_load", "fread")},
      {a + pad("[b]") + le32(0xFFFFFFF4u) + a, 0, "[a]", bad},  // would seek back into a loop
      {pad("[b:]") + le32(1000) + "xyz", 1, "[b:]", ""},
      {pad("[g:]") + le32(4) + "[x]\0"s + pad("[c]") + le32(0) + pad("[g.]"), 1, "[g:] [c] [g.]", ""},
      {pad("[x.]") + pad("[g:]") + le32(0) + pad("[h.]"), 1, "[x.] [g:] [h.]", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.tags);
    spill(path, c.bytes);
    Arch x;
    EXPECT_EQ(traced([&] { EXPECT_EQ(arch_load(x.a, path.c_str()), c.result); }), c.trace);
    EXPECT_EQ(tags(x.a), c.tags);
    EXPECT_EQ(x.a->entries->capacity, (x.a->entries->size + 31) / 32 * 32);
  }
  // A payload reaching past the end of the file is not fetched, and leaves no block.
  Arch x;
  spill(path, cases[8].bytes);
  ASSERT_EQ(arch_load(x.a, path.c_str()), 1);
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_lock(x.a, nullptr, nullptr), 0); }), fail_lines("archfile.cpp", "arch_fetch") + fail_lines("arch.cpp", "arch_lock"));
  // A file that is gone: nothing loads, and arch_ff leaves the caller's pointer as it was.
  arch_archive* out = x.a;
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_ff(&out, dir.path("no/such").c_str()), 0); }), fail_lines("archfile.cpp", "arch_load", "fopen") + fail_lines("arch.cpp", "arch_ff"));
  EXPECT_EQ(out, x.a);
  spill(path, kExample), arch_unload(x.a);  // loading one path twice gives every entry twice
  ASSERT_TRUE(arch_load(x.a, path.c_str()) && arch_load(x.a, path.c_str()));
  EXPECT_EQ(tags(x.a), "[a] [g:] [b] [g.] [abcdef] [a] [g:] [b] [g.] [abcdef]");
  // Tags and payloads short and long around the reader's 64 KiB window all load as written.
  std::mt19937 rng(3);
  std::string bytes, want, got;
  for (int i = 0; i < 300; ++i) {
    const std::string tag = pad("[" + std::string(1 + rng() % 40, static_cast<char>('a' + i % 26)) + "]");
    const uint32_t n = std::vector<uint32_t>{0, 1, 9, 4000, 65530, 65536, 70001, 140000}[rng() % 8];
    bytes += tag + le32(n), want += tag + std::to_string(bytes.size()), bytes += std::string(n, static_cast<char>(i));
  }
  spill(path, bytes), arch_unload(x.a);
  ASSERT_EQ(arch_load(x.a, path.c_str()), 1);
  for (int i = 0; i < x.a->entries->size; ++i) got += pad("["s + entry(x.a, i).name + "]") + std::to_string(entry(x.a, i).offset);
  EXPECT_EQ(got, want);
}

TEST(Archive, StringsAndBlocks) {
  Arch x;
  x.build("r");
  const uint16_t wide[] = {'h', 'i', 0};
  char text[8] = {};
  ASSERT_TRUE(arch_data(x.a, wide, -2) && arch_read(x.a, text, -2));
  EXPECT_TRUE(blob(entry(x.a, 0)) == std::string(reinterpret_cast<const char*>(wide), 6) && !std::memcmp(text, wide, 6));
  ASSERT_EQ(arch_data(x.a, "hey", -1), 1);
  EXPECT_EQ(arch_read(x.a, text, 3), 0);  // no partial read
  uint8_t* block = entry(x.a, 0).payload;
  ASSERT_EQ(arch_data(x.a, nullptr, 4), 1);  // same length: same block, zeroed
  EXPECT_TRUE(entry(x.a, 0).payload == block && blob(entry(x.a, 0)) == std::string(4, '\0'));
  EXPECT_EQ(arch_read(x.a, text, -1), 0);  // a terminator before the end
  ASSERT_EQ(arch_data(x.a, "abcd", 4), 1);  // no terminator: the scans stay inside the block
  EXPECT_EQ(arch_read(x.a, text, -1) + arch_read(x.a, text, -2) + arch_data(x.a, block, -1) + arch_data(x.a, block, -2) + arch_data(x.a, nullptr, -2) + arch_data(x.a, "a", -3), 0);
  EXPECT_TRUE(arch_data(x.a, block + 1, 3) && blob(entry(x.a, 0)) == "bcd");  // a source inside the old block of another size
  EXPECT_TRUE(arch_data(x.a, "", 0) && !entry(x.a, 0).payload);
}

TEST(Archive, StoreRefusesNamesThatWouldNotReadBack) {
  qtest::TempDir dir;
  const std::string path = dir.path("n"), n52(52, 'n');
  const struct { std::string tree; bool stored; } cases[] = {
      {"x:{ y } z.{ } 8chars", true}, {"x:", false}, {"x.", false}, {"", false},
      {n52 + "l", true}, {n52 + "ll", false}, {n52 + "{ }", true}, {n52 + "g{ }", false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.tree);
    Arch x, y;
    if (c.tree.empty()) ASSERT_EQ(arch_post(x.a, ""), 1);
    x.build(c.tree);
    spill(path, "old");
    EXPECT_EQ(traced([&] { EXPECT_EQ(arch_store(x.a, path.c_str()), c.stored ? 1 : 0); }), "");
    ASSERT_EQ(arch_load(y.a, path.c_str()), 1);
    EXPECT_EQ(tags(y.a), c.stored ? tags(x.a) : "");
    if (!c.stored) EXPECT_EQ(slurp(path), "old");
  }
}

// Plays calls on a tree, one word each: "p:n" post, "t:n" touch, "f" or "f:n" first, "n" or "n:x"
// next, "e" enter, "l" leave, "h" home, "c" crap, "d:s" data, "r" read, "k" lock, "u" unlock, "g"
// hang, "m" modified, "D" dump. Gives their results as digits (a read's string after its digit, a
// dump as 1), what they printed, the tags, the cursor and base, and those of the levels entered.
std::string play(const std::string& tree, const std::string& script) {
  Arch x;
  x.build(tree);
  arch_modified(x.a);
  std::istringstream in(script);
  std::string digits;
  const std::string printed = traced([&] {
    for (std::string w; in >> w;) {
      const std::string arg = w.size() > 2 ? w.substr(2) : "";
      const char* n = w.size() > 2 ? arg.c_str() : nullptr;
      char text[64] = {};
      const int r = w[0] == 'p' ? arch_post(x.a, n) : w[0] == 't' ? arch_touch(x.a, n) : w[0] == 'f' ? arch_first(x.a, n)
                  : w[0] == 'n' ? arch_next(x.a, n) : w[0] == 'e' ? arch_enter(x.a) : w[0] == 'l' ? arch_leave(x.a)
                  : w[0] == 'h' ? arch_home(x.a) : w[0] == 'c' ? arch_crap(x.a) : w[0] == 'd' ? arch_data(x.a, n, -1)
                  : w[0] == 'r' ? arch_read(x.a, text, -1) : w[0] == 'k' ? arch_lock(x.a, nullptr, nullptr)
                  : w[0] == 'u' ? arch_unlock(x.a) : w[0] == 'g' ? arch_hang(x.a) : w[0] == 'D' ? (arch_dump(x.a), 1) : arch_modified(x.a);
      digits += std::to_string(r) + text;
    }
  });
  std::string levels;  // the cursor and base of each level entered, read as a user reads the stacks
  for (int i = 0; i < x.a->cursors->size; ++i)
    levels += " " + std::to_string(reinterpret_cast<int32_t*>(x.a->cursors->data)[i]) + "/" + std::to_string(reinterpret_cast<int32_t*>(x.a->bases->data)[i]);
  return digits + " " + printed + tags(x.a) + " @" + std::to_string(x.a->entries->iter) + "/" + std::to_string(x.a->base) + levels;
}

TEST(Archive, CursorRecordAndDumpScripts) {
  const std::string t = "a g{ b h{ } } c", all = " [a] [g:] [b] [h:] [h.] [g.] [c]";
  const struct { std::string tree, script, want; } cases[] = {
      {t, "f:c f f:b h", "1101" + all + " @0/0"}, {t, "f:g n n:c n", "1100" + all + " @7/0"},  // first searches the level only
      {t, "f:g e f n n l n", "1111011" + all + " @6/0"}, {t, "f:g e n:h e h l l l", "11111110" + all + " @1/0"},  // next stops at a group end
      {t, "f:g e n:h e", "1111" + all + " @4/4 1/0 3/2"}, {t, "f:g c m", "111 crap: g\n[a] [c] @5/0"},
      {"x{ y{ x } x } x", "f:x e n:x f:x n:x", "11110 [x:] [y:] [x] [y.] [x] [x.] [x] @5/1 0/0"},
      {t, "f:a e p:x l p", "11110 [a:] [x] [a.] [g:] [b] [h:] [h.] [g.] [c] @0/0"},  // a leaf becomes a group
      {t, "f:g e p:z t:b t:y m m", "1111110 [a] [g:] [b] [h:] [h.] [z] [y] [g.] [c] @6/2 1/0"},
      {t, "f:g e n n c", "11100" + all + " @5/2 1/0"},  // a group end is not a record
      {t, "f:z c", "00 " + fail_lines("arch.cpp", "arch_crap") + all.substr(1) + " @7/0"},
      {t, "f:c d:hi r d:hey r m k u k g g m m", "111hi11hey11111110" + all + " @6/0"},
      {t, "f:g e n n d:x r k u g f l e", "111000000111" + all + " @2/2 1/0"},  // nothing to hold at a group end
      {t, "f:g e d:b D", "1111 [a] (size: 0)\n[g:] (size: 0)\n [b] (size: 2)\n [h:] (size: 0)\n [h.]\n[g.]\n[c] (size: 0)\n" + all.substr(1) + " @7/2 1/0"},  // and leaves the cursor past the end
      {"l" + std::string(70, 'n'), "f:l" + std::string(62, 'n') + "x f:l" + std::string(62, 'n'), "01 [l" + std::string(62, 'n') + "] @0/0"},
  };
  for (const auto& c : cases) EXPECT_EQ(play(c.tree, c.script), c.want) << c.script;
  Arch deep;  // beyond 31 levels the dump indents no further
  for (int i = 0; i < 33; ++i) deep.build("d{");
  const std::string indent(31, ' ');
  EXPECT_NE(traced([&] { arch_dump(deep.a); }).find("\n" + indent + "[d:] (size: 0)\n[d:] (size: 0)\n[d.]\n" + indent + "[d.]\n"), std::string::npos);
}

// One allocation fails: the exact trace, and the archive stays whole, balanced and in step (a record
// that cannot shrink keeps its block); a record that fails to start is left null, or partly built
// for the caller to release, and arch_ff leaves the caller's pointer as it was.
TEST(Archive, FailedAllocations) {
  const std::string grow = fail_lines("vector.cpp", "vect_size", "malloc") + fail_lines("vector.cpp", "vect_alloc");
  std::string p32;  // 32 entries: the directory's first block full
  while (p32.size() < 64) p32 += "p ";
  const struct { std::string tree; long before; std::function<int(arch_archive*)> op; int result; std::string trace; } cases[] = {
      {p32, 0, [](arch_archive* a) { return arch_touch(a, "n"); }, 0, grow + fail_lines("vector.cpp", "vect_insert") + fail_lines("arch.cpp", "arch_post") + fail_lines("arch.cpp", "arch_touch")},
      {"g{ }", 1, [](arch_archive* a) { return arch_enter(a); }, 0, grow + fail_lines("vector.cpp", "vect_push") + fail_lines("arch.cpp", "arch_enter")},
      {p32 + "q", 0, [](arch_archive* a) { return arch_first(a, "q") && arch_crap(a); }, 1,
       "crap: q\n" + fail_lines("vector.cpp", "vect_size", "malloc") + fail_lines("vector.cpp", "vect_free") + fail_lines("vector.cpp", "vect_erase")},
  };
  for (const auto& c : cases) {
    Arch x, want;
    x.build(c.tree), want.build(c.result ? p32 : c.tree);
    const int cursor = x.a->entries->iter;
    EXPECT_EQ(traced([&] { EXPECT_EQ(c.op(x.a), c.result); }, c.before), c.trace);
    EXPECT_TRUE(tags(x.a) == tags(want.a) && x.a->bases->size + x.a->cursors->size + x.a->base == 0) << c.trace;
    if (c.tree == "g{ }") EXPECT_EQ(x.a->entries->iter, cursor);  // a failed enter stays on the group
  }
  arch_archive untouched{};
  const struct { long before; int (*op)(arch_archive**); std::string trace; int out; } lives[] = {  // out: null, built, untouched
      {0, arch_create, fail_lines("arch.cpp", "arch_create", "malloc"), 0},
      {2, arch_create, fail_lines("vector.cpp", "vect_create") + fail_lines("arch.cpp", "arch_create"), 1},
      {2, [](arch_archive** a) { return arch_ff(a, "x"); }, fail_lines("vector.cpp", "vect_create") + fail_lines("arch.cpp", "arch_create") + fail_lines("arch.cpp", "arch_ff"), 2},
  };
  for (const auto& c : lives) {
    arch_archive* a = &untouched;
    EXPECT_EQ(traced([&] { EXPECT_EQ(c.op(&a), 0); }, c.before), c.trace);
    EXPECT_EQ(a == nullptr ? 0 : a == &untouched ? 2 : 1, c.out);
    if (a != &untouched) arch_release(&a);
  }
}

}  // namespace
