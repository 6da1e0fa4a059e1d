// The growable array: capacity steps, walkers and iter, range checks, and traced failures.
#include <gtest/gtest.h>
#include <quelt/containers/vector.h>

#include <climits>
#include <string>
#include <tuple>
#include <vector>

#include "support.h"

namespace {

using Items = std::vector<int32_t>;

struct Vec {
  vect_vector* v = nullptr;
  explicit Vec(int32_t unit = 4) { EXPECT_EQ(vect_create(&v, unit), 1); }
  ~Vec() { vect_release(&v); }
  void fill(int n) { for (int32_t i = 0; i < n; ++i) ASSERT_EQ(vect_push(v, &i), 1); }
  Items items() const { auto* d = reinterpret_cast<const int32_t*>(v->data); return Items(d, d + v->size); }
  std::string state() const {  // "size/capacity", with " -" when there is no block
    return std::to_string(v->size) + "/" + std::to_string(v->capacity) + (v->data ? "" : " -");
  }
};

// The two trace lines of a failure in `fn`, line numbers hidden.
std::string lines(const char* fn, const char* what = "") {
  return std::string("vector.cpp:N:\t\t") + fn + ": " + what + "\nvector.cpp:N:\t" + fn + ".\n";
}

// The trace `f` prints with the allocation after the next `n` failing (-1: none fails).
template <class F>
std::string trace_of(F f, long n = -1) {
  qtest::Stdout out;
  qtest::fail_after(n);
  f();
  qtest::fail_after(-1);
  return qtest::trace_shape(out.text());
}

TEST(Vector, CapacityFollowsSizeInStepsBothWays) {
  Vec a(12);
  EXPECT_EQ((Items{a.v->unit, a.v->step, a.v->iter}), (Items{12, 32, 0}));
  EXPECT_EQ(a.state(), "0/0 -");
  vect_unit(a.v, 4);
  a.fill(32);
  EXPECT_EQ(a.state(), "32/32");
  uint8_t* block = a.v->data;
  ASSERT_EQ(vect_push(a.v, a.v->data + 4 * 5), 1);  // the 33rd push moves its own source
  EXPECT_EQ(a.state(), "33/64");
  EXPECT_NE(a.v->data, block);
  int32_t x = 0;
  ASSERT_EQ(vect_pop(a.v, &x), 1);
  EXPECT_EQ(x, 5);
  EXPECT_EQ(a.state(), "32/32");
  block = a.v->data;  // same rounded capacity: only the size changes, the block stays
  ASSERT_EQ(vect_size(a.v, 20), 1);
  EXPECT_EQ(a.v->data, block);
  EXPECT_EQ(a.state(), "20/32");
  for (int i = 0; i < 20; ++i) ASSERT_EQ(vect_pop(a.v, nullptr), 1);
  EXPECT_EQ(a.state(), "0/0 -");
  EXPECT_EQ(vect_pop(a.v, nullptr), 0);
  a.fill(1);  // an emptied vector fills again
  EXPECT_EQ(a.items(), Items{0});
}

TEST(Vector, SizeCountsAndLimits) {
  Vec a, bytes(1);
  a.fill(5);
  EXPECT_EQ(vect_alloc(a.v, 0) + vect_alloc(a.v, -3) + vect_free(a.v, 0), 0);
  EXPECT_EQ(a.state(), "5/32");
  EXPECT_EQ(vect_free(a.v, 99), 1);  // below 1: emptied
  EXPECT_EQ(a.state(), "0/0 -");
  a.fill(3);
  EXPECT_EQ(vect_size(a.v, -1), 1);
  EXPECT_EQ(a.state(), "0/0 -");
  a.fill(3);
  // Sizes whose block cannot exist are refused, never allocated short.
  trace_of([&] {
    EXPECT_EQ(vect_size(bytes.v, INT32_MAX), 0);  // 2^31 − 1 rounds up to a capacity of 2^31
    EXPECT_EQ(vect_alloc(a.v, INT32_MAX) + vect_alloc(a.v, INT32_MAX - 2), 0);  // sizes past 2^31 − 1
    vect_step(bytes.v, 0);
    EXPECT_EQ(vect_size(bytes.v, 1), 0);  // a step of 0 would divide by zero: refused
  });
  EXPECT_EQ(a.state(), "3/32");
  EXPECT_EQ(bytes.state(), "0/0 -");
  EXPECT_EQ(vect_clear(a.v), 1);
  EXPECT_EQ(a.state(), "0/0 -");
}

TEST(Vector, WalkersAndIter) {
  Vec a;
  // The value a walker gives, or -1 where it refuses.
  auto step = [&](auto walker) { int32_t x = -1; return walker(a.v, &x, nullptr) ? x : -1; };
  EXPECT_EQ(step(vect_first), -1);
  a.fill(3);
  void* p = nullptr;
  EXPECT_TRUE(vect_first(a.v, nullptr, &p) && p == a.v->data);
  EXPECT_EQ((Items{step(vect_first), step(vect_next), step(vect_next), step(vect_next), a.v->iter,
                   step(vect_next)}),
            (Items{0, 1, 2, -1, 3, -1}));
  // Before the first, iter goes to size, so the walk starts over from the end.
  EXPECT_EQ((Items{step(vect_first), step(vect_prev), a.v->iter, step(vect_prev), step(vect_back)}),
            (Items{0, -1, 3, 2, 2}));
  EXPECT_EQ(vect_at(a.v, -1, nullptr, nullptr) + vect_at(a.v, 3, nullptr, nullptr), 0);
  a.v->iter = INT32_MAX;  // a stale iter must not wrap into a valid index
  EXPECT_EQ(step(vect_next), -1);
  a.v->iter = INT32_MIN;
  EXPECT_EQ(step(vect_prev), -1);
}

TEST(Vector, InsertEraseSwap) {
  Vec a;
  a.fill(4);  // 0 1 2 3
  int32_t two[] = {7, 8};
  ASSERT_EQ(vect_insert(a.v, two, 1, 2), 1);
  EXPECT_EQ(a.items(), (Items{0, 7, 8, 1, 2, 3}));
  ASSERT_EQ(vect_insert(a.v, two, 6, 1), 1);  // at size: appends
  EXPECT_EQ(a.items(), (Items{0, 7, 8, 1, 2, 3, 7}));
  EXPECT_EQ(vect_insert(a.v, two, 9, 1), 0);  // beyond size: refused, the growth stays
  EXPECT_EQ(a.state(), "8/32");
  // A count below 1 fails in the growth, which insert traces.
  EXPECT_EQ(trace_of([&] { EXPECT_EQ(vect_insert(a.v, two, 0, 0), 0); }), lines("vect_insert"));
  trace_of([&] { EXPECT_EQ(vect_insert(a.v, two, INT32_MAX, 2), 0); });
  ASSERT_EQ(vect_size(a.v, 7), 1);
  int32_t out[2] = {};
  ASSERT_EQ(vect_erase(a.v, out, 1, 2), 1);
  EXPECT_EQ(Items(out, out + 2), (Items{7, 8}));
  EXPECT_EQ(a.items(), (Items{0, 1, 2, 3, 7}));
  EXPECT_EQ(vect_erase(a.v, nullptr, 4, 2) + vect_erase(a.v, nullptr, INT32_MAX, INT32_MAX), 0);
  ASSERT_EQ(vect_swap(a.v, 0, 3, 2), 1);
  ASSERT_EQ(vect_swap(a.v, 1, 1, 3), 1);  // a range swapped with itself stays
  EXPECT_EQ(a.items(), (Items{3, 7, 2, 0, 1}));
  EXPECT_EQ(vect_swap(a.v, 4, 0, 2) + vect_swap(a.v, 1, INT32_MAX, INT32_MAX), 0);
  ASSERT_EQ(vect_erase(a.v, nullptr, 0, 5), 1);
  EXPECT_EQ(a.state(), "0/0 -");
}

// Every allocation of a growing or shrinking vector failed in turn: each failure is traced,
// and the vector is left as it was.
TEST(Vector, FailedAllocationsTraceAndKeepState) {
  const std::string size = lines("vect_size", "malloc");
  const struct {
    int filled;  // 32: the next element moves the block up to 64; 33: one fewer moves it down
    int32_t (*op)(vect_vector*);
    std::string trace;
  } cases[] = {
      {33, [](vect_vector* v) { return vect_size(v, 70); }, size},
      {32, [](vect_vector* v) { int32_t x = 1; return vect_push(v, &x); },
       size + lines("vect_alloc") + lines("vect_push")},
      {33, [](vect_vector* v) { return vect_pop(v, nullptr); }, size + lines("vect_free") + lines("vect_pop")},
      {32, [](vect_vector* v) { int32_t x = 1; return vect_insert(v, &x, 0, 1); },
       size + lines("vect_alloc") + lines("vect_insert")},
      {33, [](vect_vector* v) { return vect_erase(v, nullptr, 3, 1); },
       size + lines("vect_free") + lines("vect_erase")},
      {33, [](vect_vector* v) { return vect_swap(v, 0, 1, 1); }, lines("vect_swap", "malloc")},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.trace);
    Vec a;
    a.fill(c.filled);
    auto snapshot = [&] { return std::tuple(a.state(), static_cast<const void*>(a.v->data), a.items()); };
    const auto before = snapshot();
    EXPECT_EQ(trace_of([&] { EXPECT_EQ(c.op(a.v), 0); }, 0), c.trace);
    EXPECT_EQ(snapshot(), before);  // nothing moved, nothing duplicated
  }
  vect_vector* v = reinterpret_cast<vect_vector*>(1);
  EXPECT_EQ(trace_of([&] { EXPECT_EQ(vect_create(&v, 4), 0); }, 0), lines("vect_create"));
  EXPECT_EQ(v, nullptr);
}

}  // namespace
