// Padded strings and the archive: the file format byte for byte, loading any input, the cursor,
// the records and their payload states, traced failures, and a random edit script against a
// model of the tree.
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
void spill(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}
std::string le32(uint32_t v) { return std::string(reinterpret_cast<const char*>(&v), 4); }
std::string pad(const std::string& tag) { return tag + std::string(8 - tag.size() % 8, '\0'); }

struct Arch {
  arch_archive* a = nullptr;
  Arch() { EXPECT_EQ(arch_create(&a), 1); }
  ~Arch() { arch_release(&a); }
  arch_entry& at(int i) const { return reinterpret_cast<arch_entry*>(a->entries->data)[i]; }
  int& cursor() const { return a->entries->iter; }
  // "a g{ b h{ } } c": names are posted leaves, "x{" posts and enters, "}" leaves.
  void build(const std::string& tree) const {
    std::istringstream in(tree);
    for (std::string t; in >> t;) {
      if (t == "}") ASSERT_EQ(arch_leave(a), 1);
      else if (t.back() == '{') ASSERT_TRUE(arch_post(a, t.substr(0, t.size() - 1).c_str()) && arch_enter(a));
      else ASSERT_EQ(arch_post(a, t.c_str()), 1);
    }
  }
  static std::string tags_of(const std::string& tree) {
    Arch x;
    x.build(tree);
    return x.tags();
  }
  std::string tags() const {
    std::string s;
    for (int i = 0; i < a->entries->size; ++i) {
      const arch_entry& e = at(i);
      s += (i ? " [" : "[") + std::string(e.name) + (e.kind == 1 ? ":]" : e.kind == -1 ? ".]" : "]");
    }
    return s;
  }
};

std::string traced(const std::function<void()>& f) {
  qtest::Stdout out;
  f();
  return qtest::trace_shape(out.text());
}
std::string pair(const char* file, const char* func, const char* what) {
  return file + ":N:\t\t"s + func + ": " + what + "\n" + file + ":N:\t" + func + ".\n";
}

TEST(Sz8, BlocksAndReadBack) {
  qtest::TempDir dir;
  const struct { int n; long bytes; int read; } cases[] = {
      {0, 8, 0}, {1, 8, 1}, {7, 8, 7}, {8, 16, 8}, {15, 16, 15}, {55, 56, 55}, {56, 64, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.n);
    const std::string text(c.n, 'x'), path = dir.path("s");
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
  const std::string path = dir.path("z");
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
  {
    Arch x;
    x.build("a g{ b }");
    ASSERT_EQ(arch_first(x.a, "a"), 1);
    ASSERT_EQ(arch_data(x.a, "hi", 2), 1);
    ASSERT_EQ(arch_store(x.a, path.c_str()), 1);
    EXPECT_EQ(x.cursor(), 4);
  }
  ASSERT_EQ(slurp(path), kExample);
  arch_archive* a = nullptr;
  ASSERT_EQ(arch_ff(&a, path.c_str()), 1);
  const int expect[][3] = {{0, 2, 12}, {1, 0, 26}, {0, 0, 38}, {-1, 0, 0}};
  ASSERT_EQ(a->entries->size, 4);
  for (int i = 0; i < 4; ++i) {
    const auto& e = reinterpret_cast<arch_entry*>(a->entries->data)[i];
    EXPECT_EQ((std::vector<int>{e.kind, e.size, e.offset}), (std::vector<int>{expect[i][0], expect[i][1], expect[i][2]}));
    EXPECT_EQ(e.payload, nullptr);
  }
  EXPECT_STREQ(a->path, path.c_str());
  EXPECT_EQ(a->entries->iter, 0);
  EXPECT_EQ(arch_modified(a), 0);
  uint8_t* p = nullptr;
  int32_t n = 0;
  ASSERT_EQ(arch_lock(a, &p, &n), 1);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(p), n), "hi");
  ASSERT_EQ(arch_store(a, nullptr), 1);  // rewriting its own file gives the same bytes
  EXPECT_EQ(slurp(path), kExample);
  arch_release(&a);
  EXPECT_EQ(a, nullptr);
}

TEST(Archive, LoadEndsOnAnyInput) {
  qtest::TempDir dir;
  const std::string a = pad("[a]") + le32(1) + "A";
  const struct { const char* name; std::string bytes; int result; const char* tags; std::string trace; } cases[] = {
      {"empty", "", 1, "", ""},
      {"short", "[a]", 1, "", ""},
      {"zero tag", a + std::string(8, '\0') + pad("[b]") + le32(0), 1, "[a]", ""},
      {"long tag", a + pad("[" + std::string(54, 'n') + "]") + le32(0), 1, "[a]", ""},
      {"tag of 2", a + pad("[]") + le32(0), 0, "[a]", pair("arch.cpp", "arch_load", "")},
      {"no brackets", a + pad("[b") + le32(0), 0, "[a]", pair("arch.cpp", "arch_load", "")},
      {"no size", a + pad("[b]") + "\1\0"s, 0, "[a]", pair("arch.cpp", "arch_load", "fread")},
      {"negative size", a + pad("[b]") + le32(0xFFFFFFF4u) + a, 0, "[a]", pair("arch.cpp", "arch_load", "")},
      {"size past end", pad("[b:]") + le32(1000) + "xyz", 1, "[b:]", ""},
      {"head payload", pad("[g:]") + le32(4) + "[x]\0"s + pad("[c]") + le32(0) + pad("[g.]"), 1, "[g:] [c] [g.]", ""},
      {"unbalanced", pad("[x.]") + pad("[g:]") + le32(0) + pad("[h.]"), 1, "[x.] [g:] [h.]", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    spill(dir.path("f"), c.bytes);
    Arch x;
    EXPECT_EQ(traced([&] { EXPECT_EQ(arch_load(x.a, dir.path("f").c_str()), c.result); }), c.trace);
    EXPECT_EQ(x.tags(), c.tags);
    EXPECT_EQ(x.a->entries->capacity, (x.a->entries->size + 31) / 32 * 32);
  }
  // Loading twice from one path gives every entry twice.
  spill(dir.path("f"), kExample);
  Arch x;
  ASSERT_TRUE(arch_load(x.a, dir.path("f").c_str()) && arch_load(x.a, dir.path("f").c_str()));
  EXPECT_EQ(x.tags(), "[a] [g:] [b] [g.] [a] [g:] [b] [g.]");
  // A payload reaching past the end of the file is not fetched.
  spill(dir.path("p"), pad("[b]") + le32(1000) + "xyz");
  Arch y;
  ASSERT_EQ(arch_load(y.a, dir.path("p").c_str()), 1);
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_lock(y.a, nullptr, nullptr), 0); }),
            pair("arch.cpp", "arch_fetch", "") + pair("arch.cpp", "arch_lock", ""));
  EXPECT_EQ(y.at(0).payload, nullptr);
}

TEST(Archive, FilesThatCannotBeOpened) {
  qtest::TempDir dir;
  const std::string missing = dir.path("no/such"), lengthy = dir.path(std::string(260, 'l'));
  spill(dir.path("x"), kExample);
  Arch x;
  for (const std::string& p : {missing, lengthy})
    EXPECT_EQ(traced([&] { EXPECT_EQ(arch_load(x.a, p.c_str()), 0); }), pair("arch.cpp", "arch_load", "fopen"));
  EXPECT_STREQ(x.a->path, "");
  arch_archive* out = reinterpret_cast<arch_archive*>(&x);
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_ff(&out, missing.c_str()), 0); }),
            pair("arch.cpp", "arch_load", "fopen") + pair("arch.cpp", "arch_ff", ""));
  EXPECT_EQ(out, reinterpret_cast<arch_archive*>(&x));  // untouched, the new record released
  ASSERT_EQ(arch_load(x.a, dir.path("x").c_str()), 1);
  // Another file cannot be loaded over entries whose payloads are in this one.
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_load(x.a, missing.c_str()), 0); }), "");
  std::remove(dir.path("x").c_str());
  ASSERT_EQ(arch_first(x.a, "a"), 1);
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_lock(x.a, nullptr, nullptr), 0); }),
            pair("arch.cpp", "arch_fetch", "fopen") + pair("arch.cpp", "arch_lock", ""));
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_store(x.a, nullptr), 0); }),
            pair("arch.cpp", "arch_fetch", "fopen") + pair("arch.cpp", "arch_store", ""));
  ASSERT_EQ(arch_data(x.a, "A", 1), 1);
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_store(x.a, dir.dir().c_str()), 0); }), pair("arch.cpp", "arch_store", "fopen"));
  Arch fresh;  // never loaded: its path is empty
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_store(fresh.a, nullptr), 0); }), pair("arch.cpp", "arch_store", "fopen"));
}

TEST(Archive, Navigation) {
  Arch x;
  EXPECT_EQ(arch_first(x.a, nullptr), 0);
  EXPECT_EQ(x.cursor(), 0);
  x.build("a g{ b h{ } a{ x } } c");  // 0 a, 1 g, 2 b, 3 h, 4 h., 5 a, 6 x, 7 a., 8 g., 9 c
  ASSERT_EQ(x.tags(), "[a] [g:] [b] [h:] [h.] [a:] [x] [a.] [g.] [c]");
  EXPECT_EQ(x.a->modified, 1);
  x.a->modified = 0;
  const struct { const char* op; int from; int result; int cursor; } steps[] = {
      {"first a", 0, 1, 0}, {"next a", 0, 0, 10}, {"next", 0, 1, 1}, {"next", 1, 1, 9},
      {"next x", 0, 0, 10}, {"next g", 0, 1, 1}, {"end", 1, 0, 10}, {"enter", 1, 1, 2},
      {"first a", 2, 1, 5}, {"next", 5, 0, 8}, {"next", 8, 0, 9}, {"first x", 2, 0, 8},
      {"first h", 2, 1, 3}, {"end", 3, 0, 8}, {"enter", 3, 1, 4}, {"first", 4, 0, 4},
      {"home", 4, 1, 4}, {"enter", 4, 0, 4}, {"leave", 4, 1, 3}, {"leave", 3, 1, 1},
      {"leave", 1, 0, 1}, {"enter", 10, 0, 10}, {"enter", 9, 1, 10},
  };
  for (const auto& s : steps) {
    SCOPED_TRACE(s.op + " from "s + std::to_string(s.from));
    std::istringstream in(s.op);
    std::string op, name;
    in >> op >> name;
    const char* n = name.empty() ? nullptr : name.c_str();
    x.cursor() = s.from;
    int r = op == "first" ? arch_first(x.a, n) : op == "next" ? arch_next(x.a, n)
          : op == "enter" ? arch_enter(x.a) : op == "leave" ? arch_leave(x.a)
          : op == "home" ? arch_home(x.a) : (arch_end(x.a), 0);
    EXPECT_EQ(r, s.result);
    EXPECT_EQ(x.cursor(), s.from == 10 && op == "enter" ? x.a->entries->size : s.cursor);
    EXPECT_EQ(x.a->bases->size, x.a->cursors->size);
  }
  // Entering the last leaf made it a group with its end at the very end, without `modified`.
  EXPECT_EQ(x.tags(), "[a] [g:] [b] [h:] [h.] [a:] [x] [a.] [g.] [c:] [c.]");
  EXPECT_EQ(x.a->modified, 0);
  EXPECT_EQ(x.a->base, 10);
}

TEST(Archive, RecordsAndPayloadStates) {
  qtest::TempDir dir;
  Arch x;
  ASSERT_EQ(arch_touch(x.a, "t"), 1);  // empty top level: posted
  EXPECT_EQ(arch_modified(x.a), 1);
  EXPECT_EQ(arch_modified(x.a), 0);
  ASSERT_EQ(arch_touch(x.a, "t"), 1);  // exists: found, nothing raised
  EXPECT_EQ(arch_modified(x.a), 0);
  ASSERT_EQ(arch_enter(x.a), 1);
  ASSERT_EQ(arch_touch(x.a, "u"), 1);  // empty group: posted in front of its end
  ASSERT_TRUE(arch_post(x.a, "u") && arch_post(x.a, std::string(70, 'L').c_str()));
  EXPECT_EQ(x.tags(), "[t:] [u] [u] [" + std::string(63, 'L') + "] [t.]");
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_crap(x.a), 1); }), "crap: " + std::string(63, 'L') + "\n");
  ASSERT_EQ(arch_first(x.a, "u"), 1);
  EXPECT_EQ(x.cursor(), 1);
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_lock(x.a, nullptr, nullptr), 0); }), pair("arch.cpp", "arch_lock", ""));
  EXPECT_EQ(arch_hang(x.a), 0);
  const uint16_t wide[] = {'h', 'i', 0};
  char text[8] = {};
  ASSERT_EQ(arch_data(x.a, wide, -2), 1);
  EXPECT_EQ(x.at(1).size, 6);
  ASSERT_EQ(arch_data(x.a, "hey", -1), 1);
  EXPECT_EQ(x.at(1).size, 4);
  EXPECT_EQ(arch_read(x.a, text, 3), 0);
  ASSERT_EQ(arch_read(x.a, text, -1), 1);
  EXPECT_STREQ(text, "hey");
  uint8_t* block = x.at(1).payload;
  ASSERT_EQ(arch_data(x.a, nullptr, 4), 1);  // same length: same block, zeroed
  EXPECT_EQ(x.at(1).payload, block);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(block), 4), std::string(4, '\0'));
  EXPECT_EQ(arch_read(x.a, text, -1), 0);  // a terminator before the end
  ASSERT_EQ(arch_data(x.a, "abcd", 4), 1);  // no terminator: the scans stay in the block
  EXPECT_EQ(arch_read(x.a, text, -1), 0);
  EXPECT_EQ(arch_read(x.a, text, -2), 0);
  EXPECT_EQ(arch_data(x.a, block, -1), 0);
  EXPECT_EQ(arch_data(x.a, nullptr, -1), 0);
  EXPECT_EQ(arch_data(x.a, block + 1, 3), 1);  // a source inside the old block of another size
  EXPECT_EQ(std::string(reinterpret_cast<char*>(x.at(1).payload), 3), "bcd");
  uint8_t* p = nullptr;
  int32_t n = 0;
  ASSERT_TRUE(arch_lock(x.a, &p, &n) && arch_unlock(x.a));  // resident: the block stays
  EXPECT_EQ(p, x.at(1).payload);
  EXPECT_EQ(n, 3);
  ASSERT_EQ(arch_data(x.a, "", 0), 1);
  EXPECT_EQ(x.at(1).payload, nullptr);
  ASSERT_TRUE(arch_next(x.a, nullptr) && arch_data(x.a, "payload", 7));
  // Stored to its own file, a record is loaded; unlocked, stored; read only once locked.
  ASSERT_EQ(arch_leave(x.a), 1);
  std::strcpy(x.a->path, dir.path("own").c_str());
  ASSERT_EQ(arch_store(x.a, nullptr), 1);
  EXPECT_EQ(arch_modified(x.a), 1);
  ASSERT_TRUE(arch_first(x.a, "t") && arch_enter(x.a) && arch_next(x.a, "u"));
  EXPECT_GT(x.at(2).offset, 0);
  ASSERT_TRUE(arch_unlock(x.a) && arch_unlock(x.a));
  EXPECT_EQ(x.at(2).payload, nullptr);
  EXPECT_EQ(arch_read(x.a, text, 7), 0);
  ASSERT_EQ(arch_lock(x.a, &p, nullptr), 1);
  // A second lock reads the file again into the same block: the caller's address stays valid
  // and a change without arch_hang is gone.
  p[0] = 'P';
  uint8_t* again = nullptr;
  ASSERT_EQ(arch_lock(x.a, &again, nullptr), 1);
  EXPECT_EQ(again, p);
  EXPECT_EQ(p[0], 'p');
  p[0] = 'Q';
  ASSERT_TRUE(arch_hang(x.a) && arch_unlock(x.a));
  EXPECT_EQ(x.at(2).payload, p);
  ASSERT_EQ(arch_store(x.a, nullptr), 1);
  EXPECT_NE(slurp(dir.path("own")).find("Qayload"), std::string::npos);
}

TEST(Archive, StoreRefusesNamesThatWouldNotReadBack) {
  qtest::TempDir dir;
  const std::string path = dir.path("n"), n52(52, 'n');
  const struct { std::string tree; bool stored; } cases[] = {
      {"x:{ y } z.{ }", true}, {"x:", false}, {"x.", false}, {"", false},
      {n52 + "l", true}, {n52 + "ll", false}, {n52 + "{ }", true}, {n52 + "g{ }", false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.tree);
    Arch x, y;
    if (c.tree.empty()) ASSERT_EQ(arch_post(x.a, ""), 1);
    x.build(c.tree);
    spill(path, "old");
    EXPECT_EQ(traced([&] { EXPECT_EQ(arch_store(x.a, path.c_str()), c.stored ? 1 : 0); }), "");
    if (c.stored) {
      ASSERT_EQ(arch_load(y.a, path.c_str()), 1);
      EXPECT_EQ(y.tags(), x.tags());
    } else {
      EXPECT_EQ(slurp(path), "old");
    }
  }
}

TEST(Archive, PayloadsComeOnlyFromTheirOwnFile) {
  qtest::TempDir dir;
  const std::string own = dir.path("own"), copy = dir.path("copy");
  spill(own, kExample);
  arch_archive* a = nullptr;
  ASSERT_EQ(arch_ff(&a, own.c_str()), 1);
  auto* e = reinterpret_cast<arch_entry*>(a->entries->data);
  // A copy leaves every payload in memory as its only copy.
  ASSERT_EQ(arch_store(a, copy.c_str()), 1);
  EXPECT_EQ(slurp(copy), kExample);
  EXPECT_EQ(e[0].offset, 0);
  std::remove(copy.c_str());
  spill(own, "");
  ASSERT_TRUE(arch_first(a, "a") && arch_unlock(a));
  EXPECT_NE(e[0].payload, nullptr);
  ASSERT_EQ(arch_store(a, nullptr), 1);
  EXPECT_EQ(slurp(own), kExample);
  EXPECT_EQ(e[0].offset, 12);
  // After arch_clean a resident payload has lost its only copy: never read from position 0.
  ASSERT_TRUE(arch_first(a, "a") && arch_data(a, "lost", 4));
  arch_clean(a);
  ASSERT_EQ(arch_first(a, "a"), 1);
  EXPECT_EQ(arch_fetch(a, &e[0]), 0);
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_lock(a, nullptr, nullptr), 0); }), pair("arch.cpp", "arch_lock", ""));
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_store(a, nullptr), 0); }), pair("arch.cpp", "arch_store", ""));
  EXPECT_EQ(slurp(own), kExample);
  // A fetch that fails leaves no block behind for arch_read or arch_store to take.
  ASSERT_EQ(arch_data(a, "hi", 2), 1);
  ASSERT_EQ(arch_store(a, nullptr), 1);
  ASSERT_EQ(arch_first(a, "a"), 1);
  ASSERT_EQ(arch_unlock(a), 1);
  spill(own, kExample.substr(0, 13));
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_lock(a, nullptr, nullptr), 0); }),
            pair("arch.cpp", "arch_fetch", "") + pair("arch.cpp", "arch_lock", ""));
  EXPECT_EQ(e[0].payload, nullptr);
  EXPECT_EQ(arch_read(a, nullptr, 2), 0);
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_store(a, nullptr), 0); }),
            pair("arch.cpp", "arch_fetch", "") + pair("arch.cpp", "arch_store", ""));
  arch_release(&a);
}

TEST(Archive, CrapAndDumpLines) {
  Arch x;
  x.build("a g{ b h{ } } c");
  ASSERT_EQ(arch_first(x.a, "g"), 1);
  ASSERT_EQ(arch_enter(x.a), 1);
  ASSERT_EQ(arch_data(x.a, "b", 1), 1);
  EXPECT_EQ(traced([&] { arch_dump(x.a); }),
            "[a] (size: 0)\n[g:] (size: 0)\n [b] (size: 1)\n [h:] (size: 0)\n [h.]\n[g.]\n[c] (size: 0)\n");
  EXPECT_EQ(x.cursor(), 7);
  x.cursor() = 4;  // a group end is not a record
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_crap(x.a), 0); }), "");
  ASSERT_EQ(arch_leave(x.a), 1);
  x.a->modified = 0;
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_crap(x.a), 1); }), "crap: g\n");  // frees b's block
  EXPECT_EQ(x.tags(), "[a] [c]");
  EXPECT_EQ(x.cursor(), 5);
  EXPECT_EQ(x.a->modified, 1);
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_crap(x.a), 0); }), pair("arch.cpp", "arch_crap", ""));
  ASSERT_EQ(arch_first(x.a, "a"), 1);
  EXPECT_EQ(traced([&] { EXPECT_EQ(arch_crap(x.a), 1); }), "crap: a\n");
  EXPECT_EQ(x.tags(), "[c]");
  EXPECT_EQ(x.cursor(), 0);
  // Beyond 31 levels there is no indentation.
  Arch deep;
  std::string tree, want;
  for (int i = 0; i < 33; ++i) tree += "d{ ";
  deep.build(tree);
  std::string out = traced([&] { arch_dump(deep.a); });
  EXPECT_NE(out.find("\n" + std::string(31, ' ') + "[d:]"), std::string::npos);
  EXPECT_NE(out.find("\n[d:] (size: 0)\n[d.]\n" + std::string(31, ' ') + "[d.]\n"), std::string::npos);
}

// One allocation fails: the exact trace, and the archive stays whole and balanced.
TEST(Archive, FailedAllocations) {
  const std::string grow = pair("vector.cpp", "vect_size", "malloc") + pair("vector.cpp", "vect_alloc", "");
  const std::string p32 = [] { std::string s; for (int i = 0; i < 32; ++i) s += "p "; return s; }();
  const struct {
    const char* name;
    std::string tree;
    int before;
    std::function<int(arch_archive*)> op;
    int result;
    std::string trace;
    std::string after = "";  // the tags afterwards, when they changed
  } cases[] = {
      {"post", p32, 0, [](arch_archive* a) { return arch_post(a, "n"); }, 0,
       grow + pair("vector.cpp", "vect_insert", "") + pair("arch.cpp", "arch_post", "")},
      {"touch", p32, 0, [](arch_archive* a) { return arch_touch(a, "n"); }, 0,
       grow + pair("vector.cpp", "vect_insert", "") + pair("arch.cpp", "arch_post", "") + pair("arch.cpp", "arch_touch", "")},
      {"enter a leaf", p32, 0, [](arch_archive* a) { return arch_first(a, nullptr) && arch_enter(a); }, 0,
       grow + pair("vector.cpp", "vect_insert", "") + pair("arch.cpp", "arch_enter", "")},
      {"enter, first push", "g{ }", 0, [](arch_archive* a) { return arch_enter(a); }, 0,
       grow + pair("vector.cpp", "vect_push", "") + pair("arch.cpp", "arch_enter", "")},
      {"enter, second push", "g{ }", 1, [](arch_archive* a) { return arch_enter(a); }, 0,
       grow + pair("vector.cpp", "vect_push", "") + pair("arch.cpp", "arch_enter", "")},
      {"data", "p", 0, [](arch_archive* a) { return arch_data(a, "abc", 3); }, 0, pair("arch.cpp", "arch_data", "malloc")},
      {"crap, block cannot shrink", p32 + "q", 0, [](arch_archive* a) { return arch_first(a, "q") && arch_crap(a); }, 1,
       "crap: q\n" + pair("vector.cpp", "vect_size", "malloc") + pair("vector.cpp", "vect_free", "") +
           pair("vector.cpp", "vect_erase", ""), p32.substr(0, 63)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Arch x;
    x.build(c.tree);
    const std::string before = x.tags();
    const int cursor = x.cursor();
    EXPECT_EQ(traced([&] {
                qtest::fail_after(c.before);
                EXPECT_EQ(c.op(x.a), c.result);
                qtest::fail_after(-1);
              }),
              c.trace);
    EXPECT_EQ(x.tags(), c.after.empty() ? before : Arch::tags_of(c.after));
    EXPECT_EQ(x.a->bases->size, x.a->cursors->size);
    if (!c.result && std::string(c.name).find("enter,") == 0) EXPECT_EQ(x.cursor(), cursor);
  }
  arch_archive* a = reinterpret_cast<arch_archive*>(1);
  EXPECT_EQ(traced([&] { qtest::fail_after(0); EXPECT_EQ(arch_create(&a), 0); }), pair("arch.cpp", "arch_create", "malloc"));
  EXPECT_EQ(a, nullptr);
  EXPECT_EQ(traced([&] { qtest::fail_after(2); EXPECT_EQ(arch_create(&a), 0); }),
            pair("vector.cpp", "vect_create", "") + pair("arch.cpp", "arch_create", ""));
  ASSERT_NE(a, nullptr);  // the partly built record is the caller's to release
  arch_release(&a);
  EXPECT_EQ(traced([&] { qtest::fail_after(0); EXPECT_EQ(arch_ff(&a, "x"), 0); }),
            pair("arch.cpp", "arch_create", "malloc") + pair("arch.cpp", "arch_ff", ""));
}

// Every allocation behind loading, locking and storing fails in turn: each failure is traced
// and ends in the operation's own pair, nothing is half done, and the next try works.
TEST(Archive, EachAllocationFailsInTurn) {
  qtest::TempDir dir;
  const std::string path = dir.path("x");
  spill(path, kExample);
  const struct { const char* func; bool loaded; std::function<int(arch_archive*)> op; std::vector<std::string> seen; } ops[] = {
      {"arch_load", false, [&](arch_archive* a) { return arch_load(a, path.c_str()); }, {"sz8_read: malloc", "vect_size: malloc"}},
      {"arch_lock", true, [](arch_archive* a) { return arch_first(a, "a") && arch_lock(a, nullptr, nullptr); }, {"arch_fetch: malloc"}},
      {"arch_store", true, [](arch_archive* a) { return arch_store(a, nullptr); }, {"arch_fetch: malloc"}},
  };
  for (const auto& o : ops) {
    SCOPED_TRACE(o.func);
    std::string all;
    for (long k = 0;; ++k) {
      Arch x;
      if (o.loaded) ASSERT_EQ(arch_load(x.a, path.c_str()), 1);
      bool failed = false;
      int r = -1;
      std::string out = traced([&] {
        qtest::fail_after(k);
        r = o.op(x.a);
        failed = qtest::failure_happened();
        qtest::fail_after(-1);
      });
      if (!failed) {
        EXPECT_EQ(r, 1);
        EXPECT_EQ(out, "");
        break;
      }
      all += out;
      if (r == 1 && out.empty()) continue;  // the C library absorbed it (an unbuffered stream)
      EXPECT_EQ(r, 0) << k;
      const std::string tail = "arch.cpp:N:\t"s + o.func + ".\n";
      EXPECT_TRUE(out.size() >= tail.size() && out.compare(out.size() - tail.size(), tail.size(), tail) == 0) << out;
      EXPECT_NE(out.find("arch.cpp:N:\t\t"s + o.func + ": "), std::string::npos) << out;
      EXPECT_EQ(slurp(path), kExample);
      for (int i = 0; i < x.a->entries->size; ++i)  // a block is a valid copy, or there is none
        if (const arch_entry& e = x.at(i); e.payload)
          EXPECT_EQ(std::string(reinterpret_cast<char*>(e.payload), e.size), kExample.substr(e.offset, e.size));
    }
    for (const auto& s : o.seen) EXPECT_NE(all.find(s), std::string::npos) << s;
  }
}

// The archive as the test understands it: the directory as a plain list, each record with its
// true bytes, its block in memory and whether its file holds it. Levels come from one pass that
// gives each entry the head that owns it, not from the library's running sums.
struct Model {
  struct E {
    int kind;
    std::string name, truth, mem;
    bool block = false, file = false;
  };
  std::vector<E> d, saved;  // saved: what the archive's own file holds
  std::vector<int> bases, cursors;
  int cursor = 0, base = 0;
  bool modified = false;

  int size() const { return static_cast<int>(d.size()); }
  bool valid(int c) const { return c >= 0 && c < size(); }
  std::vector<int> owners() const {
    std::vector<int> o(d.size()), open;
    for (int i = 0; i < size(); ++i) {
      o[i] = open.empty() ? -1 : open.back();
      if (d[i].kind == -1) open.pop_back();
      if (d[i].kind == 1) open.push_back(i);
    }
    return o;
  }
  int close_of(int head) const {
    auto o = owners();
    for (int j = head + 1; head >= 0 && j < size(); ++j)
      if (d[j].kind == -1 && o[j] == head) return j;
    return size();
  }
  bool matches(int i, const char* n) const { return d[i].kind != -1 && (!n || d[i].name == n); }
  E* record() { return valid(cursor) && d[cursor].kind != -1 ? &d[cursor] : nullptr; }

  int next(const char* n) {
    const int c = cursor;
    if (!valid(c)) return cursor = size(), 0;
    if (d[c].kind == -1) return cursor = c + 1, 0;
    auto o = owners();
    for (int j = c + 1; j < size(); ++j)
      if (o[j] == o[c] && matches(j, n)) return cursor = j, 1;
    return cursor = close_of(o[c]), 0;
  }
  int first(const char* n) {
    cursor = base;
    if (!valid(base)) return cursor = size(), 0;
    if (d[base].kind == -1) return 0;
    return matches(base, n) ? 1 : next(n);
  }
  void end() {
    const int c = cursor;
    cursor = !valid(c) ? size() : d[c].kind == -1 ? c : close_of(owners()[c]);
  }
  int post(const std::string& n) {
    end();
    d.insert(d.begin() + cursor, E{0, n});
    return modified = true, 1;
  }
  int enter() {
    const int c = cursor;
    if (!valid(c)) return cursor = size(), 0;
    if (d[c].kind == 0) {
      d[c].kind = 1;
      d.insert(d.begin() + c + 1, E{-1, d[c].name});
    }
    if (d[c].kind != 1) return 0;
    bases.push_back(base);
    cursors.push_back(c);
    cursor = base = c + 1;
    return 1;
  }
  int leave() {
    if (bases.empty()) return 0;
    base = bases.back(), cursor = cursors.back();
    bases.pop_back(), cursors.pop_back();
    return 1;
  }
  int crap(std::string& out) {
    const int c = cursor;
    if (!valid(c)) return out = pair("arch.cpp", "arch_crap", ""), 0;
    if (d[c].kind == -1) return 0;
    out = "crap: " + d[c].name + "\n";
    const int count = d[c].kind == 1 ? close_of(c) - c + 1 : 1;
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
      e.file = own;
    }
    if (own) saved = d;
    cursor = size();
  }
  void reload() {
    d = saved;
    for (E& e : d) e.block = false, e.mem.clear();
    bases.clear(), cursors.clear();
    cursor = base = 0;
    modified = false;
  }
};

void expect_same(const Arch& x, const Model& m, const std::string& file) {
  ASSERT_EQ(x.a->entries->size, m.size());
  for (int i = 0; i < m.size(); ++i) {
    const arch_entry& e = x.at(i);
    const Model::E& w = m.d[i];
    ASSERT_EQ(e.kind, w.kind) << i;
    ASSERT_EQ(e.name, w.name) << i;
    if (w.kind == -1) continue;
    ASSERT_EQ(e.size, static_cast<int>(w.truth.size())) << i;
    ASSERT_EQ(e.payload != nullptr, w.block) << i;
    if (w.block) ASSERT_EQ(std::string(reinterpret_cast<char*>(e.payload), e.size), w.mem) << i;
    ASSERT_EQ(e.offset != 0, w.file) << i;
    if (w.file) ASSERT_EQ(file.substr(e.offset, e.size), w.truth) << i;
  }
  ASSERT_EQ(x.cursor(), m.cursor);
  ASSERT_EQ(x.a->base, m.base);
  ASSERT_EQ(std::vector<int>(reinterpret_cast<int*>(x.a->bases->data), reinterpret_cast<int*>(x.a->bases->data) + x.a->bases->size), m.bases);
  ASSERT_EQ(std::vector<int>(reinterpret_cast<int*>(x.a->cursors->data), reinterpret_cast<int*>(x.a->cursors->data) + x.a->cursors->size), m.cursors);
  ASSERT_EQ(x.a->modified != 0, m.modified);
}

TEST(Archive, RandomEditsAgainstAModel) {
  qtest::TempDir dir;
  const std::string own = dir.path("own"), copy = dir.path("copy");
  const char* names[] = {"a", "b", "c", nullptr};
  for (unsigned seed = 1; seed <= 8; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 rng(seed);
    auto pick = [&](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
    spill(own, "");
    Arch x;
    arch_release(&x.a);
    ASSERT_EQ(arch_ff(&x.a, own.c_str()), 1);
    Model m;
    for (int step = 0; step < 800; ++step) {
      const char* name = names[pick(3)];
      const char* any = names[pick(4)];
      static const int ops[] = {0, 1, 2, 3, 3, 4, 4, 5, 5, 5, 6, 6, 7, 7, 8, 9, 9, 9, 10, 10, 10, 11, 12, 12, 13, 14};
      const int op = ops[pick(sizeof ops / sizeof *ops)];
      SCOPED_TRACE("step " + std::to_string(step) + " op " + std::to_string(op));
      int got = 0, want = 0;
      std::string printed, expected;
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
          case 6: case 7: got = arch_next(x.a, any), want = m.next(any); break;
          case 8: got = arch_crap(x.a), want = m.crap(expected); break;
          case 9: {
            std::string bytes(pick(3) ? pick(24) : 0, '\0');
            for (char& c : bytes) c = static_cast<char>(rng());
            got = arch_data(x.a, bytes.data(), static_cast<int32_t>(bytes.size()));
            if (Model::E* r = m.record()) r->truth = r->mem = bytes, r->block = !bytes.empty(), r->file = false, m.modified = true;
            want = m.record() != nullptr;
            break;
          }
          case 10: {
            uint8_t* p = nullptr;
            got = arch_lock(x.a, &p, nullptr), want = m.lock(expected);
            if (got && pick(2)) {  // change the block, with or without arch_hang after
              Model::E& r = *m.record();
              p[0] ^= 0x5A, r.mem[0] ^= 0x5A;
              if (!r.file) r.truth = r.mem;
            }
            break;
          }
          case 11: {
            got = arch_hang(x.a);
            Model::E* r = m.record();
            want = r && r->block;
            if (want) r->truth = r->mem, r->file = false, m.modified = true;
            break;
          }
          case 12: {
            got = arch_unlock(x.a);
            Model::E* r = m.record();
            want = r != nullptr;
            if (r && r->file) r->block = false, r->mem.clear();
            break;
          }
          case 13: {
            const bool mine = pick(4) != 0;
            got = arch_store(x.a, mine ? nullptr : copy.c_str()), want = 1;
            m.store(mine);
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
      ASSERT_NO_FATAL_FAILURE(expect_same(x, m, slurp(own)));
    }
  }
}

}  // namespace
