// Padded strings and the archive: the file format byte for byte, loading any input, payloads
// that only come from their own file, traced failures, the printed lines, and a random edit
// script checked against a model of the tree after every step.
#include <gtest/gtest.h>
#include <quelt/archive/arch.h>
#include <quelt/containers/sz8.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "support.h"

namespace {

using namespace std::string_literals;

std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}
void spill(const std::string& path, const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }
std::string le32(uint32_t v) { return std::string(reinterpret_cast<const char*>(&v), 4); }
std::string pad(const std::string& tag) { return tag + std::string(8 - tag.size() % 8, '\0'); }
std::string traced(const std::function<void()>& f) {
  qtest::Stdout out;
  f();
  return qtest::trace_shape(out.text());
}
std::string pair(const char* file, const char* func, const char* what) {
  return file + ":N:\t\t"s + func + ": " + what + "\n" + file + ":N:\t" + func + ".\n";
}
std::string blob(const arch_entry& e) { return std::string(reinterpret_cast<char*>(e.payload), e.size); }

struct Arch {
  arch_archive* a = nullptr;
  Arch() { EXPECT_EQ(arch_create(&a), 1); }
  ~Arch() { arch_release(&a); }
  arch_entry& at(int i) const { return reinterpret_cast<arch_entry*>(a->entries->data)[i]; }
  int& cursor() const { return a->entries->iter; }
  // "a g{ b }": a name posts a leaf, "x{" posts and enters x, "}" leaves.
  void build(const std::string& tree) const {
    std::istringstream in(tree);
    for (std::string t; in >> t;) {
      if (t == "}") ASSERT_EQ(arch_leave(a), 1);
      else if (t.back() == '{') ASSERT_TRUE(arch_post(a, t.substr(0, t.size() - 1).c_str()) && arch_enter(a));
      else ASSERT_EQ(arch_post(a, t.c_str()), 1);
    }
  }
  std::string tags() const {
    std::string s;
    for (int i = 0; i < a->entries->size; ++i)
      s += (i ? " [" : "[") + std::string(at(i).name) + (at(i).kind == 1 ? ":]" : at(i).kind == -1 ? ".]" : "]");
    return s;
  }
};

TEST(Sz8, BlocksAndReadBack) {
  qtest::TempDir dir;
  const std::string path = dir.path("s");
  const struct { int n; long bytes; int read; } cases[] = {
      {0, 8, 0}, {1, 8, 1}, {7, 8, 7}, {8, 16, 8}, {15, 16, 15}, {55, 56, 55}, {56, 64, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.n);
    const std::string text(c.n, 'x');
    FILE* f = std::fopen(path.c_str(), "w+b");
    ASSERT_EQ(sz8_write(f, text.c_str()), 1);
    EXPECT_EQ(std::ftell(f), c.bytes);
    std::fputs("tail", f);
    std::rewind(f);
    char buf[56] = {};
    EXPECT_EQ(sz8_read(f, buf), c.read);
    EXPECT_EQ(std::ftell(f), c.read ? c.bytes : 0);  // refused: the stream stays in front
    EXPECT_EQ(std::string(buf), c.read ? text : "");
    std::fclose(f);
    EXPECT_EQ(slurp(path), text + std::string(c.bytes - c.n, '\0') + "tail");
  }
  // A zero inside a block with a non-zero byte 7 does not end the scan; the text ends at it.
  spill(path, "ab\0cdefg"s + "hij\0\0\0\0\0"s + "[q]");
  FILE* f = std::fopen(path.c_str(), "rb");
  EXPECT_EQ(sz8_read(f, nullptr), 2);
  EXPECT_EQ(std::ftell(f), 16);
  EXPECT_EQ(sz8_read(f, nullptr), 0);  // fewer than 8 bytes left
  EXPECT_EQ(std::ftell(f), 16);
  std::rewind(f);
  EXPECT_EQ(traced([&] {
              qtest::fail_after(0);
              EXPECT_EQ(sz8_read(f, nullptr), 0);
            }),
            pair("sz8.cpp", "sz8_read", "malloc"));
  EXPECT_EQ(std::ftell(f), 0);
  EXPECT_EQ(traced([&] { EXPECT_EQ(sz8_write(f, "abc"), 0); }), pair("sz8.cpp", "sz8_write", "fwrite"));
  std::fclose(f);
}

// A leaf `a` with "hi", then a group `g` holding an empty leaf `b`.
const std::string kExample = "[a]\0\0\0\0\0\x02\0\0\0hi[g:]\0\0\0\0\0\0\0\0[b]\0\0\0\0\0\0\0\0\0[g.]\0\0\0\0"s;

TEST(Archive, WorkedExampleByteForByte) {
  qtest::TempDir dir;
  const std::string path = dir.path("x");
  Arch x;
  x.build("a g{ b }");
  ASSERT_TRUE(arch_first(x.a, "a") && arch_data(x.a, "hi", 2) && arch_store(x.a, path.c_str()));
  ASSERT_EQ(slurp(path), kExample);
  arch_archive* a = nullptr;
  ASSERT_EQ(arch_ff(&a, path.c_str()), 1);
  auto fields = [](arch_archive* a) {  // the new archive's offsets are its file's too
    std::vector<int> f;
    for (int i = 0; i < a->entries->size; ++i) {
      const auto& e = reinterpret_cast<arch_entry*>(a->entries->data)[i];
      f.insert(f.end(), {e.kind, e.size, e.offset, e.payload != nullptr});
    }
    return f;
  };
  EXPECT_EQ(fields(a), (std::vector<int>{0, 2, 12, 0, 1, 0, 26, 0, 0, 0, 38, 0, -1, 0, 0, 0}));
  EXPECT_EQ(fields(x.a), (std::vector<int>{0, 2, 12, 1, 1, 0, 26, 0, 0, 0, 38, 0, -1, 0, 0, 0}));
  EXPECT_STREQ(a->path, path.c_str());
  EXPECT_EQ(a->entries->iter, 0);
  uint8_t* p = nullptr;
  ASSERT_EQ(arch_lock(a, &p, nullptr), 1);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(p), 2), "hi");
  ASSERT_EQ(arch_store(a, nullptr), 1);  // rewriting its own file gives the same bytes
  EXPECT_EQ(slurp(path), kExample);
  arch_release(&a);
  EXPECT_EQ(a, nullptr);
}

TEST(Archive, LoadEndsOnAnyInput) {
  qtest::TempDir dir;
  const std::string a = pad("[a]") + le32(1) + "A", path = dir.path("f");
  const std::string bad = pair("archfile.cpp", "arch_load", "");
  const struct { std::string bytes; int result; const char* tags; std::string trace; } cases[] = {
      {"", 1, "", ""},
      {"[a]", 1, "", ""},
      {a + std::string(8, '\0') + pad("[b]") + le32(0), 1, "[a]", ""},  // a zero where a tag begins
      {a + pad("[" + std::string(54, 'n') + "]") + le32(0), 1, "[a]", ""},  // a tag of 56 characters
      {a + pad("[]") + le32(0), 0, "[a]", bad},
      {a + pad("[b") + le32(0), 0, "[a]", bad},
      {a + pad("[b]") + "\1\0"s, 0, "[a]", pair("archfile.cpp", "arch_load", "fread")},
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
    EXPECT_EQ(x.tags(), c.tags);
    EXPECT_EQ(x.a->entries->capacity, (x.a->entries->size + 31) / 32 * 32);
  }
  // A payload reaching past the end of the file is not fetched, and leaves no block.
  Arch x;
  spill(path, cases[8].bytes);
  ASSERT_EQ(arch_load(x.a, path.c_str()), 1);
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_lock(x.a, nullptr, nullptr), 0); }), pair("archfile.cpp", "arch_fetch", "") + pair("arch.cpp", "arch_lock", ""));
  spill(path, kExample);  // loading one path twice gives every entry twice
  arch_unload(x.a);
  ASSERT_TRUE(arch_load(x.a, path.c_str()) && arch_load(x.a, path.c_str()));
  EXPECT_EQ(x.tags(), "[a] [g:] [b] [g.] [a] [g:] [b] [g.]");
}

// Payloads short and long around the reader's 64 KiB window: tags that straddle its edge,
// payloads passed in it, read through behind it and skipped with a seek all load as written.
TEST(Archive, LoadAcrossTheReadersWindow) {
  qtest::TempDir dir;
  std::mt19937 rng(3);
  const uint32_t sizes[] = {0, 1, 9, 4000, 65530, 65536, 70001, 140000};
  std::string bytes, want, got;
  for (int i = 0; i < 300; ++i) {
    const std::string tag = pad("[" + std::string(1 + rng() % 40, static_cast<char>('a' + i % 26)) + "]");
    const uint32_t n = sizes[rng() % 8];
    bytes += tag + le32(n), want += tag + std::to_string(bytes.size()), bytes += std::string(n, static_cast<char>(i));
  }
  spill(dir.path("w"), bytes);
  Arch x;
  ASSERT_EQ(arch_load(x.a, dir.path("w").c_str()), 1);
  for (int i = 0; i < x.a->entries->size; ++i) got += pad("["s + x.at(i).name + "]") + std::to_string(x.at(i).offset);
  EXPECT_EQ(got, want);
}

TEST(Archive, PayloadsComeOnlyFromTheirOwnFile) {
  qtest::TempDir dir;
  const std::string own = dir.path("own"), copy = dir.path("copy"), missing = dir.path("no/such");
  const std::string fetch_fails = pair("archfile.cpp", "arch_fetch", ""), lock_fails = pair("arch.cpp", "arch_lock", "");
  spill(own, kExample);
  Arch x;
  for (const std::string& p : {missing, dir.path(std::string(260, 'l'))})  // a shortened path could name another file
    EXPECT_EQ(traced([&] { EXPECT_EQ(arch_load(x.a, p.c_str()), 0); }), pair("archfile.cpp", "arch_load", "fopen"));
  arch_archive* out = x.a;
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_ff(&out, missing.c_str()), 0); }), pair("archfile.cpp", "arch_load", "fopen") + pair("arch.cpp", "arch_ff", ""));
  EXPECT_EQ(out, x.a);
  ASSERT_EQ(arch_load(x.a, own.c_str()), 1);
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_load(x.a, copy.c_str()), 0); }), "");  // its entries are in `own`
  arch_entry& a = x.at(0);
  // The file went away: the fetch fails and the store leaves everything as it was.
  std::rename(own.c_str(), copy.c_str());
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_lock(x.a, nullptr, nullptr), 0); }), pair("archfile.cpp", "arch_fetch", "fopen") + lock_fails);
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_store(x.a, nullptr), 0); }), pair("archfile.cpp", "arch_fetch", "fopen") + pair("archfile.cpp", "arch_store", ""));
  std::rename(copy.c_str(), own.c_str());
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_store(x.a, dir.dir().c_str()), 0); }), pair("archfile.cpp", "arch_store", "fopen"));
  EXPECT_EQ(blob(a), "hi");  // fetched by the first pass, still a loaded copy
  EXPECT_EQ(a.offset, 12);
  // A copy under another path takes the offsets: fetches read the copy, not the own file,
  // which holds other bytes at the same place, until a store puts them back into the own file.
  ASSERT_TRUE(arch_first(x.a, "a") && arch_data(x.a, "ho", 2) && arch_store(x.a, copy.c_str()));
  EXPECT_EQ(a.offset, 12);
  ASSERT_TRUE(arch_first(x.a, "a") && arch_unlock(x.a) && arch_lock(x.a, nullptr, nullptr));
  EXPECT_EQ(blob(a), "ho");
  ASSERT_TRUE(arch_data(x.a, "hi", 2) && arch_store(x.a, nullptr) && arch_first(x.a, "a") && arch_unlock(x.a));
  std::remove(copy.c_str());
  ASSERT_EQ(arch_lock(x.a, nullptr, nullptr), 1);
  EXPECT_EQ(slurp(own), kExample);
  EXPECT_EQ(blob(a), "hi");
  // After arch_clean a resident payload has lost its only copy: never read from position 0.
  ASSERT_TRUE(arch_first(x.a, "a") && arch_data(x.a, "lost", 4));
  arch_clean(x.a);
  ASSERT_EQ(arch_first(x.a, "a"), 1);
  EXPECT_EQ(arch_fetch(x.a, &a), 0);
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_lock(x.a, nullptr, nullptr), 0); }), lock_fails);
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_store(x.a, nullptr), 0); }), pair("archfile.cpp", "arch_store", ""));
  EXPECT_EQ(slurp(own), kExample);
  // A fetch that fails leaves no block behind for arch_read or arch_store to take.
  ASSERT_TRUE(arch_data(x.a, "hi", 2) && arch_store(x.a, nullptr) && arch_first(x.a, "a") && arch_unlock(x.a));
  spill(own, kExample.substr(0, 13));
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_lock(x.a, nullptr, nullptr), 0); }), fetch_fails + lock_fails);
  EXPECT_EQ(a.payload, nullptr);
  char two[2];
  EXPECT_EQ(arch_read(x.a, two, 2), 0);
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_store(x.a, nullptr), 0); }), fetch_fails + pair("archfile.cpp", "arch_store", ""));
  Arch fresh;  // never loaded: its path is empty
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_store(fresh.a, nullptr), 0); }), pair("archfile.cpp", "arch_store", "fopen"));
}

TEST(Archive, StringsAndBlocks) {
  Arch x;
  x.build("r " + std::string(70, 'L'));
  EXPECT_EQ(x.at(1).name, std::string(63, 'L'));
  ASSERT_EQ(arch_first(x.a, "r"), 1);
  const uint16_t wide[] = {'h', 'i', 0};
  char text[8] = {};
  ASSERT_EQ(arch_data(x.a, wide, -2), 1);
  EXPECT_EQ(x.at(0).size, 6);
  ASSERT_EQ(arch_data(x.a, "hey", -1), 1);
  EXPECT_EQ(arch_read(x.a, text, 3), 0);  // no partial read
  ASSERT_EQ(arch_read(x.a, text, -1), 1);
  EXPECT_STREQ(text, "hey");
  uint8_t* block = x.at(0).payload;
  ASSERT_EQ(arch_data(x.a, nullptr, 4), 1);  // same length: same block, zeroed
  EXPECT_EQ(x.at(0).payload, block);
  EXPECT_EQ(blob(x.at(0)), std::string(4, '\0'));
  EXPECT_EQ(arch_read(x.a, text, -1), 0);  // a terminator before the end
  ASSERT_EQ(arch_data(x.a, "abcd", 4), 1);  // no terminator: the scans stay inside the block
  EXPECT_EQ(arch_read(x.a, text, -1) + arch_read(x.a, text, -2) + arch_data(x.a, block, -1) + arch_data(x.a, nullptr, -2), 0);
  ASSERT_EQ(arch_data(x.a, block + 1, 3), 1);  // a source inside the old block of another size
  EXPECT_EQ(blob(x.at(0)), "bcd");
  ASSERT_EQ(arch_data(x.a, "", 0), 1);
  EXPECT_EQ(x.at(0).payload, nullptr);
}

TEST(Archive, StoreRefusesNamesThatWouldNotReadBack) {
  qtest::TempDir dir;
  const std::string path = dir.path("n"), n52(52, 'n');
  const struct { std::string tree; bool stored; } cases[] = {
      {"x:{ y } z.{ } 8chars", true},  // a tag of 8 characters takes a second block {"x:", false}, {"x.", false}, {"", false},
      {n52 + "l", true}, {n52 + "ll", false}, {n52 + "{ }", true}, {n52 + "g{ }", false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.tree);
    Arch x, y;
    if (c.tree.empty()) ASSERT_EQ(arch_post(x.a, ""), 1);
    x.build(c.tree);
    spill(path, "old");
    EXPECT_EQ(traced([&] { EXPECT_EQ(arch_store(x.a, path.c_str()), c.stored ? 1 : 0); }), "");
    ASSERT_EQ(arch_load(y.a, path.c_str()), 1);
    EXPECT_EQ(y.tags(), c.stored ? x.tags() : "");
    if (!c.stored) EXPECT_EQ(slurp(path), "old");
  }
}

TEST(Archive, CrapAndDumpLines) {
  Arch x;
  x.build("a g{ b h{ } } c");
  ASSERT_TRUE(arch_first(x.a, "g") && arch_enter(x.a) && arch_data(x.a, "b", 1));
  EXPECT_EQ(traced([&] { arch_dump(x.a); }), "[a] (size: 0)\n[g:] (size: 0)\n [b] (size: 1)\n [h:] (size: 0)\n [h.]\n[g.]\n[c] (size: 0)\n");
  EXPECT_EQ(x.cursor(), 7);
  x.cursor() = 4;  // a group end is not a record
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_crap(x.a), 0); }), "");
  ASSERT_EQ(arch_leave(x.a), 1);
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_crap(x.a), 1); }), "crap: g\n");  // frees b's block
  EXPECT_EQ(x.tags(), "[a] [c]");
  EXPECT_EQ(x.cursor(), 5);
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_crap(x.a), 0); }), pair("arch.cpp", "arch_crap", ""));
  Arch deep;  // beyond 31 levels there is no indentation
  for (int i = 0; i < 33; ++i) deep.build("d{");
  const std::string out = traced([&] { arch_dump(deep.a); });
  EXPECT_NE(out.find("\n" + std::string(31, ' ') + "[d:] (size: 0)\n[d:] (size: 0)\n[d.]\n" + std::string(31, ' ') + "[d.]\n"), std::string::npos);
}

// One allocation fails: the exact trace, and the archive stays whole, balanced and in step.
TEST(Archive, FailedAllocations) {
  const std::string grow = pair("vector.cpp", "vect_size", "malloc") + pair("vector.cpp", "vect_alloc", "");
  const std::string insert = grow + pair("vector.cpp", "vect_insert", ""), push = grow + pair("vector.cpp", "vect_push", "");
  std::string p32;
  for (int i = 0; i < 32; ++i) p32 += "p ";
  const struct { std::string tree; int before; std::function<int(arch_archive*)> op; int result; std::string trace, after; } cases[] = {
      {p32, 0, [](arch_archive* a) { return arch_post(a, "n"); }, 0, insert + pair("arch.cpp", "arch_post", ""), p32},
      {p32, 0, [](arch_archive* a) { return arch_touch(a, "n"); }, 0, insert + pair("arch.cpp", "arch_post", "") + pair("arch.cpp", "arch_touch", ""), p32},
      {p32, 0, [](arch_archive* a) { return arch_first(a, nullptr) && arch_enter(a); }, 0, insert + pair("arch.cpp", "arch_enter", ""), p32},
      {"g{ }", 0, [](arch_archive* a) { return arch_enter(a); }, 0, push + pair("arch.cpp", "arch_enter", ""), "g{ }"},
      {"g{ }", 1, [](arch_archive* a) { return arch_enter(a); }, 0, push + pair("arch.cpp", "arch_enter", ""), "g{ }"},
      {"p", 0, [](arch_archive* a) { return arch_data(a, "abc", 3); }, 0, pair("arch.cpp", "arch_data", "malloc"), "p"},
      {p32 + "q", 0, [](arch_archive* a) { return arch_first(a, "q") && arch_crap(a); }, 1,  // the block cannot shrink
       "crap: q\n" + pair("vector.cpp", "vect_size", "malloc") + pair("vector.cpp", "vect_free", "") + pair("vector.cpp", "vect_erase", ""), p32},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.trace);
    Arch x, want;
    x.build(c.tree);
    want.build(c.after);
    const int cursor = x.cursor();
    int r = -1;
    EXPECT_EQ(traced([&] { qtest::fail_after(c.before), r = c.op(x.a), qtest::fail_after(-1); }), c.trace);
    EXPECT_EQ(r, c.result);
    EXPECT_EQ(x.tags(), want.tags());
    EXPECT_EQ(x.a->bases->size + x.a->cursors->size + x.a->base, 0);
    if (c.tree == "g{ }") EXPECT_EQ(x.cursor(), cursor);
  }
  arch_archive untouched{};
  const struct { long before; int (*op)(arch_archive**); std::string trace; int out; } lives[] = {  // out: null, built, untouched
      {0, arch_create, pair("arch.cpp", "arch_create", "malloc"), 0},
      {2, arch_create, pair("vector.cpp", "vect_create", "") + pair("arch.cpp", "arch_create", ""), 1},
      {0, [](arch_archive** a) { return arch_ff(a, "x"); }, pair("arch.cpp", "arch_create", "malloc") + pair("arch.cpp", "arch_ff", ""), 2},
  };
  for (const auto& c : lives) {
    arch_archive* a = &untouched;
    int r = -1;
    EXPECT_EQ(traced([&] { qtest::fail_after(c.before), r = c.op(&a), qtest::fail_after(-1); }), c.trace);
    EXPECT_EQ(r, 0);
    EXPECT_EQ(a == nullptr ? 0 : a == &untouched ? 2 : 1, c.out);
    if (a != &untouched) arch_release(&a);  // a partly built record is the caller's to release
  }
}

// Every allocation behind loading, locking and storing fails in turn: each failure ends in the
// operation's own trace pair, nothing is half done, and a block is always a valid copy.
TEST(Archive, EachAllocationFailsInTurn) {
  qtest::TempDir dir;
  const std::string path = dir.path("x");
  spill(path, kExample);
  const struct { const char *file, *func; std::function<int(arch_archive*)> op; std::vector<std::string> seen; } ops[] = {
      {"archfile.cpp", "arch_load", nullptr, {"vect_size: malloc"}},
      {"arch.cpp", "arch_lock", [](arch_archive* a) { return arch_lock(a, nullptr, nullptr); }, {"arch_fetch: malloc"}},
      {"archfile.cpp", "arch_store", [](arch_archive* a) { return arch_store(a, nullptr); }, {"arch_fetch: malloc"}},
  };
  for (const auto& o : ops) {
    SCOPED_TRACE(o.func);
    std::string all;
    for (long k = 0, failed = 1; failed; ++k) {
      Arch x;
      if (o.op) ASSERT_EQ(arch_load(x.a, path.c_str()), 1);
      int r = -1;
      const std::string out = traced([&] {
        qtest::fail_after(k);
        r = o.op ? o.op(x.a) : arch_load(x.a, path.c_str());
        failed = qtest::failure_happened();
        qtest::fail_after(-1);
      });
      all += out;
      if (r == 1 && out.empty()) continue;  // none, or the C library did without (an unbuffered stream)
      const std::string last = o.file + ":N:\t"s + o.func + ".\n";
      EXPECT_EQ(r, 0);
      EXPECT_EQ(out.substr(out.size() - std::min(out.size(), last.size())), last);
      EXPECT_EQ(slurp(path), kExample);
      for (int i = 0; i < x.a->entries->size; ++i)
        if (x.at(i).payload) EXPECT_EQ(blob(x.at(i)), kExample.substr(x.at(i).offset, x.at(i).size));
    }
    for (const auto& s : o.seen) EXPECT_NE(all.find(s), std::string::npos) << s;
  }
}

// The archive as the test understands it: the directory as a plain list, each record with its
// true bytes, its block and whether its file holds it. Levels come from counting heads and ends
// along the list, not from the library's running sums.
struct Model {
  struct E {
    int kind;
    std::string name, truth, mem;
    bool block = false, file = false;
  };
  std::vector<E> d, saved;  // saved: what the archive's own file holds
  std::vector<int> bases, cursors;
  int cursor = 0, base = 0;
  bool modified = false, copied = false;  // copied: the offsets are those of the copy

  int size() const { return static_cast<int>(d.size()); }
  bool valid(int c) const { return c >= 0 && c < size(); }
  E* record() { return valid(cursor) && d[cursor].kind != -1 ? &d[cursor] : nullptr; }
  // The entry after record i and everything it holds, found by counting heads and ends.
  int skip(int i) const {
    for (int depth = d[i].kind; depth > 0;) depth += d[++i].kind;
    return i + 1;
  }
  // The end of the level that entry i belongs to: its group end, or the end of the directory.
  int level_end(int i) const {
    while (i < size() && d[i].kind != -1) i = skip(i);
    return i;
  }
  int next(const char* n) {
    if (!valid(cursor)) return cursor = size(), 0;
    if (d[cursor].kind == -1) return ++cursor, 0;
    for (int j = skip(cursor);; j = skip(j))
      if (j == size() || d[j].kind == -1) return cursor = j, 0;
      else if (!n || d[j].name == n) return cursor = j, 1;
  }
  int first(const char* n) {
    if (!valid(cursor = base)) return cursor = size(), 0;
    if (d[base].kind == -1) return 0;
    return !n || d[base].name == n ? 1 : next(n);
  }
  int post(const std::string& n) {
    cursor = valid(cursor) ? level_end(cursor) : size();
    d.insert(d.begin() + cursor, E{0, n});
    return modified = true, 1;
  }
  int enter() {
    const int c = cursor;
    if (!valid(c)) return cursor = size(), 0;
    if (d[c].kind == 0) d[c].kind = 1, d.insert(d.begin() + c + 1, E{-1, d[c].name});
    if (d[c].kind != 1) return 0;
    bases.push_back(base), cursors.push_back(c);
    return cursor = base = c + 1, 1;
  }
  int leave() {
    if (bases.empty()) return 0;
    base = bases.back(), cursor = cursors.back();
    return bases.pop_back(), cursors.pop_back(), 1;
  }
  int crap(std::string& out) {
    const int c = cursor;
    if (!valid(c)) return out = pair("arch.cpp", "arch_crap", ""), 0;
    if (d[c].kind == -1) return 0;
    out = "crap: " + d[c].name + "\n";
    const int count = skip(c) - c;
    d.erase(d.begin() + c, d.begin() + c + count);
    cursor = c + count - 1;
    return modified = true, 1;
  }
  int lock(std::string& out) {
    E* r = record();
    if (!r) return 0;
    if (r->truth.empty() || (!r->file && !r->block)) return out = pair("arch.cpp", "arch_lock", ""), 0;
    if (r->file) r->block = true, r->mem = r->truth;
    return 1;
  }
  void store(bool own) {
    for (E& e : d) {
      if (e.kind == -1) continue;
      if (!e.block && !e.truth.empty()) e.block = true, e.mem = e.truth;
      if (e.block) e.truth = e.mem;
      e.file = true;
    }
    if (own) saved = d;
    copied = !own;
    cursor = size();
  }
  void reload() {
    d = saved;
    for (E& e : d) e.block = false, e.mem.clear();
    bases.clear(), cursors.clear();
    cursor = base = 0, modified = copied = false;
  }
};

void expect_same(const Arch& x, const Model& m, const std::string& file) {
  ASSERT_EQ(x.a->entries->size, m.size());
  for (int i = 0; i < m.size(); ++i) {
    const arch_entry& e = x.at(i);
    const Model::E& w = m.d[i];
    ASSERT_TRUE(e.kind == w.kind && e.name == w.name) << i << " " << e.name;
    if (w.kind == -1) continue;
    ASSERT_EQ(e.size, static_cast<int>(w.truth.size())) << i;
    ASSERT_EQ(e.payload != nullptr, w.block) << i;
    if (w.block) ASSERT_EQ(blob(e), w.mem) << i;
    ASSERT_EQ(e.offset != 0, w.file) << i;
    if (w.file) ASSERT_EQ(file.substr(e.offset, e.size), w.truth) << i;
  }
  auto stack = [](const vect_vector* v) { auto* p = reinterpret_cast<const int*>(v->data); return std::vector<int>(p, p + v->size); };
  ASSERT_TRUE(x.cursor() == m.cursor && x.a->base == m.base && (x.a->modified != 0) == m.modified);
  ASSERT_EQ(stack(x.a->bases), m.bases);
  ASSERT_EQ(stack(x.a->cursors), m.cursors);
}

TEST(Archive, RandomEditsAgainstAModel) {
  qtest::TempDir dir;
  const std::string own = dir.path("own"), copy = dir.path("copy");
  const char* names[] = {"a", "b", "c", nullptr};
  static const int ops[] = {0, 1, 2, 3, 3, 4, 4, 5, 5, 5, 6, 6, 7, 7, 8, 9, 9, 9, 10, 10, 10, 11, 12, 12, 13, 14, 15, 15};
  for (unsigned seed = 1; seed <= 8; ++seed) {
    std::mt19937 rng(seed);
    auto pick = [&](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
    spill(own, "");
    Arch x;
    arch_release(&x.a);
    ASSERT_EQ(arch_ff(&x.a, own.c_str()), 1);
    Model m;
    for (int step = 0; step < 800; ++step) {
      const char *name = names[pick(3)], *any = names[pick(4)];
      const int op = ops[pick(sizeof ops / sizeof *ops)];
      SCOPED_TRACE("seed " + std::to_string(seed) + " step " + std::to_string(step) + " op " + std::to_string(op));
      int got = 0, want = 0;
      std::string printed, expected;
      Model::E* r = m.record();
      uint8_t* held = r ? x.at(m.cursor).payload : nullptr;
      {
        qtest::Stdout out;
        switch (op) {
          case 0: got = arch_post(x.a, name), want = m.post(name); break;
          case 1: {  // a record with a string payload
            const std::string text = "s"s + name;
            got = arch_post(x.a, name) && arch_data(x.a, text.c_str(), -1), want = m.post(name);
            m.record()->truth = m.record()->mem = text + '\0', m.record()->block = true;
            break;
          }
          case 2: got = arch_touch(x.a, name), want = m.first(name) || m.post(name); break;
          case 3: got = arch_enter(x.a), want = m.enter(); break;
          case 4: got = arch_leave(x.a), want = m.leave(); break;
          case 5: got = arch_first(x.a, any), want = m.first(any); break;
          case 6: got = arch_next(x.a, any), want = m.next(any); break;
          case 7: got = arch_home(x.a), want = m.valid(m.cursor = m.base) || (m.cursor = m.size(), false); break;
          case 8: got = arch_crap(x.a), want = m.crap(expected); break;
          case 9: {
            std::string bytes(pick(3) ? pick(24) : 0, '\0');
            for (char& c : bytes) c = static_cast<char>(rng());
            got = arch_data(x.a, bytes.data(), static_cast<int32_t>(bytes.size())), want = r != nullptr;
            if (r) r->truth = r->mem = bytes, r->block = !bytes.empty(), r->file = false, m.modified = true;
            break;
          }
          case 10: {
            uint8_t* p = nullptr;
            got = arch_lock(x.a, &p, nullptr), want = m.lock(expected);
            if (got && held) EXPECT_EQ(p, held);  // a block already held keeps its address
            if (got && pick(2)) {  // change the block, with or without arch_hang after
              p[0] ^= 0x5A, r->mem[0] ^= 0x5A;
              if (!r->file) r->truth = r->mem;
            }
            break;
          }
          case 11:
            got = arch_hang(x.a), want = r && r->block;
            if (want) r->truth = r->mem, r->file = false, m.modified = true;
            break;
          case 12:
            got = arch_unlock(x.a), want = r != nullptr;
            if (r && r->file) r->block = false, r->mem.clear();
            break;
          case 13: {
            const bool mine = pick(4) != 0;
            got = arch_store(x.a, mine ? nullptr : copy.c_str()), want = 1;
            m.store(mine);
            break;
          }
          case 15: {
            std::string buf(r ? r->truth.size() : 1, '?');
            got = arch_read(x.a, buf.data(), static_cast<int32_t>(buf.size())), want = r && r->block;
            if (want) EXPECT_EQ(buf, r->mem);
            break;
          }
          case 14:
            arch_release(&x.a);
            got = arch_ff(&x.a, own.c_str()), want = 1;
            m.reload();
            break;
        }
        printed = qtest::trace_shape(out.text());
      }
      ASSERT_EQ(got, want);
      ASSERT_EQ(printed, expected);
      ASSERT_NO_FATAL_FAILURE(expect_same(x, m, slurp(m.copied ? copy : own)));
    }
  }
}

}  // namespace
