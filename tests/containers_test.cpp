// The growable array: capacity steps, walkers and iter, range checks, and traced failures.
#include <gtest/gtest.h>
#include <quelt/containers/vector.h>

#include <climits>
#include <vector>

#include "support.h"

namespace {

struct Vec {
  vect_vector* v = nullptr;
  explicit Vec(int32_t unit = 4) { EXPECT_EQ(vect_create(&v, unit), 1); }
  ~Vec() { vect_release(&v); }
  void fill(int n) {
    for (int32_t i = 0; i < n; ++i) ASSERT_EQ(vect_push(v, &i), 1);
  }
  std::vector<int32_t> items() const {
    auto* d = reinterpret_cast<const int32_t*>(v->data);
    return std::vector<int32_t>(d, d + v->size);
  }
};

TEST(Vector, CreateSetsDefaults) {
  Vec a(12);
  EXPECT_EQ(a.v->unit, 12);
  EXPECT_EQ(a.v->step, 32);
  EXPECT_EQ(a.v->size, 0);
  EXPECT_EQ(a.v->capacity, 0);
  EXPECT_EQ(a.v->data, nullptr);
  EXPECT_EQ(a.v->iter, 0);
}

TEST(Vector, CapacityFollowsSizeInStepsBothWays) {
  Vec a;
  a.fill(32);
  EXPECT_EQ(a.v->capacity, 32);
  uint8_t* block = a.v->data;
  int32_t x = 32;
  ASSERT_EQ(vect_push(a.v, &x), 1);  // the 33rd push moves the block
  EXPECT_EQ(a.v->capacity, 64);
  EXPECT_NE(a.v->data, block);
  ASSERT_EQ(vect_pop(a.v, &x), 1);
  EXPECT_EQ(x, 32);
  EXPECT_EQ(a.v->capacity, 32);
  // Same rounded capacity: only the size changes, the block stays.
  block = a.v->data;
  ASSERT_EQ(vect_size(a.v, 20), 1);
  EXPECT_EQ(a.v->data, block);
  EXPECT_EQ(a.v->size, 20);
  for (int i = 0; i < 20; ++i) ASSERT_EQ(vect_pop(a.v, nullptr), 1);
  EXPECT_EQ(a.v->data, nullptr);
  EXPECT_EQ(a.v->capacity, 0);
  EXPECT_EQ(vect_pop(a.v, nullptr), 0);
  a.fill(1);  // an emptied vector fills again
  EXPECT_EQ(a.items(), std::vector<int32_t>{0});
}

TEST(Vector, SizeCountsAndLimits) {
  Vec a;
  a.fill(5);
  EXPECT_EQ(vect_alloc(a.v, 0), 0);
  EXPECT_EQ(vect_alloc(a.v, -3), 0);
  EXPECT_EQ(vect_free(a.v, 0), 0);
  EXPECT_EQ(a.v->size, 5);
  EXPECT_EQ(vect_free(a.v, 99), 1);  // below 1: emptied
  EXPECT_EQ(a.v->data, nullptr);
  a.fill(3);
  EXPECT_EQ(vect_size(a.v, -1), 1);
  EXPECT_EQ(a.v->size, 0);
  EXPECT_EQ(a.v->data, nullptr);
  a.fill(3);
  // Sizes whose block cannot exist are refused, never allocated short.
  Vec big(1 << 20);
  {
    qtest::Stdout out;
    EXPECT_EQ(vect_size(big.v, INT32_MAX), 0);
    EXPECT_EQ(vect_alloc(a.v, INT32_MAX), 0);  // the rounded capacity passes 2^31 − 1
    EXPECT_EQ(vect_alloc(a.v, INT32_MAX - 1), 0);  // 3 + (2^31 − 2) overflows the size
  }
  EXPECT_EQ(a.v->size, 3);
  {
    qtest::Stdout out;
    vect_step(big.v, 0);
    EXPECT_EQ(vect_size(big.v, 1), 0);  // a step of 0 would divide by zero: refused
  }
  EXPECT_EQ(big.v->size, 0);
  EXPECT_EQ(big.v->capacity, 0);
  EXPECT_EQ(vect_clear(a.v), 1);
}

TEST(Vector, WalkersAndIter) {
  Vec a;
  int32_t x = -1;
  EXPECT_EQ(vect_first(a.v, &x, nullptr), 0);
  a.fill(3);
  void* p = nullptr;
  ASSERT_EQ(vect_first(a.v, &x, &p), 1);
  EXPECT_EQ(x, 0);
  EXPECT_EQ(p, a.v->data);
  ASSERT_EQ(vect_next(a.v, &x, nullptr), 1);
  ASSERT_EQ(vect_next(a.v, &x, nullptr), 1);
  EXPECT_EQ(x, 2);
  EXPECT_EQ(vect_next(a.v, &x, nullptr), 0);
  EXPECT_EQ(a.v->iter, 3);
  EXPECT_EQ(vect_next(a.v, nullptr, nullptr), 0);
  ASSERT_EQ(vect_first(a.v, nullptr, nullptr), 1);
  EXPECT_EQ(vect_prev(a.v, nullptr, nullptr), 0);  // before the first: iter goes to size...
  EXPECT_EQ(a.v->iter, 3);
  ASSERT_EQ(vect_prev(a.v, &x, nullptr), 1);  // ...so the walk starts over from the end
  EXPECT_EQ(x, 2);
  ASSERT_EQ(vect_back(a.v, &x, nullptr), 1);
  EXPECT_EQ(x, 2);
  EXPECT_EQ(vect_at(a.v, -1, nullptr, nullptr), 0);
  EXPECT_EQ(vect_at(a.v, 3, nullptr, nullptr), 0);
  a.v->iter = INT32_MAX;  // a stale iter must not wrap into a valid index
  EXPECT_EQ(vect_next(a.v, nullptr, nullptr), 0);
  a.v->iter = INT32_MIN;
  EXPECT_EQ(vect_prev(a.v, &x, nullptr), 0);
}

TEST(Vector, InsertEraseSwap) {
  Vec a;
  a.fill(4);  // 0 1 2 3
  int32_t two[] = {7, 8};
  ASSERT_EQ(vect_insert(a.v, two, 1, 2), 1);
  EXPECT_EQ(a.items(), (std::vector<int32_t>{0, 7, 8, 1, 2, 3}));
  ASSERT_EQ(vect_insert(a.v, two, 6, 1), 1);  // at size: appends
  EXPECT_EQ(a.items(), (std::vector<int32_t>{0, 7, 8, 1, 2, 3, 7}));
  EXPECT_EQ(vect_insert(a.v, two, 9, 1), 0);  // beyond size: refused, the growth stays
  EXPECT_EQ(a.v->size, 8);
  {
    qtest::Stdout out;  // a count below 1 fails in the growth, which insert traces
    EXPECT_EQ(vect_insert(a.v, two, 0, 0), 0);
    EXPECT_EQ(qtest::trace_shape(out.text()), "vector.cpp:N:\t\tvect_insert: \nvector.cpp:N:\tvect_insert.\n");
  }
  {
    qtest::Stdout out;
    EXPECT_EQ(vect_insert(a.v, two, INT32_MAX, 2), 0);
  }
  ASSERT_EQ(vect_size(a.v, 7), 1);
  int32_t out[2] = {};
  ASSERT_EQ(vect_erase(a.v, out, 1, 2), 1);
  EXPECT_EQ(out[0], 7);
  EXPECT_EQ(out[1], 8);
  EXPECT_EQ(a.items(), (std::vector<int32_t>{0, 1, 2, 3, 7}));
  EXPECT_EQ(vect_erase(a.v, nullptr, 4, 2), 0);
  EXPECT_EQ(vect_erase(a.v, nullptr, INT32_MAX, INT32_MAX), 0);
  ASSERT_EQ(vect_swap(a.v, 0, 3, 2), 1);
  EXPECT_EQ(a.items(), (std::vector<int32_t>{3, 7, 2, 0, 1}));
  ASSERT_EQ(vect_swap(a.v, 1, 1, 3), 1);
  EXPECT_EQ(a.items(), (std::vector<int32_t>{3, 7, 2, 0, 1}));
  EXPECT_EQ(vect_swap(a.v, 4, 0, 2), 0);
  EXPECT_EQ(vect_swap(a.v, 1, INT32_MAX, INT32_MAX), 0);
  ASSERT_EQ(vect_erase(a.v, nullptr, 0, 5), 1);
  EXPECT_EQ(a.v->data, nullptr);
}

TEST(Vector, PushOfOwnElementSurvivesTheMove) {
  Vec a;
  a.fill(32);
  ASSERT_EQ(vect_push(a.v, a.v->data + 4 * 5), 1);  // block moves during this push
  EXPECT_EQ(a.items().back(), 5);
}

// Every allocation of a growing vector failed in turn: each failure is traced, and the
// vector is left as it was, size never above capacity.
TEST(Vector, FailedAllocationsTraceAndKeepState) {
  struct Case {
    const char* name;
    int (*op)(vect_vector*);
    const char* trace;
  } cases[] = {
      {"size", [](vect_vector* v) { return static_cast<int>(vect_size(v, 70)); },
       "vector.cpp:N:\t\tvect_size: malloc\nvector.cpp:N:\tvect_size.\n"},
      {"push", [](vect_vector* v) { int32_t x = 1; return static_cast<int>(vect_push(v, &x)); },
       "vector.cpp:N:\t\tvect_size: malloc\nvector.cpp:N:\tvect_size.\n"
       "vector.cpp:N:\t\tvect_alloc: \nvector.cpp:N:\tvect_alloc.\n"
       "vector.cpp:N:\t\tvect_push: \nvector.cpp:N:\tvect_push.\n"},
      {"pop", [](vect_vector* v) { return static_cast<int>(vect_pop(v, nullptr)); },
       "vector.cpp:N:\t\tvect_size: malloc\nvector.cpp:N:\tvect_size.\n"
       "vector.cpp:N:\t\tvect_free: \nvector.cpp:N:\tvect_free.\n"
       "vector.cpp:N:\t\tvect_pop: \nvector.cpp:N:\tvect_pop.\n"},
      {"insert", [](vect_vector* v) { int32_t x = 1; return static_cast<int>(vect_insert(v, &x, 0, 1)); },
       "vector.cpp:N:\t\tvect_size: malloc\nvector.cpp:N:\tvect_size.\n"
       "vector.cpp:N:\t\tvect_alloc: \nvector.cpp:N:\tvect_alloc.\n"
       "vector.cpp:N:\t\tvect_insert: \nvector.cpp:N:\tvect_insert.\n"},
      {"erase", [](vect_vector* v) { return static_cast<int>(vect_erase(v, nullptr, 3, 1)); },
       "vector.cpp:N:\t\tvect_size: malloc\nvector.cpp:N:\tvect_size.\n"
       "vector.cpp:N:\t\tvect_free: \nvector.cpp:N:\tvect_free.\n"
       "vector.cpp:N:\t\tvect_erase: \nvector.cpp:N:\tvect_erase.\n"},
      {"swap", [](vect_vector* v) { return static_cast<int>(vect_swap(v, 0, 1, 1)); },
       "vector.cpp:N:\t\tvect_swap: malloc\nvector.cpp:N:\tvect_swap.\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Vec a;
    a.fill(33);  // pop and erase would move the block down to capacity 32
      // push and insert would move it up from 32 to 64
    if (std::string(c.name) == "push" || std::string(c.name) == "insert") ASSERT_EQ(vect_size(a.v, 32), 1);
    const int32_t size = a.v->size, capacity = a.v->capacity;
    const uint8_t* data = a.v->data;
    const std::vector<int32_t> items = a.items();
    std::string trace;
    {
      qtest::Stdout out;
      qtest::fail_after(0);
      EXPECT_EQ(c.op(a.v), 0);
      qtest::fail_after(-1);
      trace = qtest::trace_shape(out.text());
    }
    EXPECT_EQ(trace, c.trace);
    EXPECT_EQ(a.v->size, size);
    EXPECT_EQ(a.v->capacity, capacity);
    EXPECT_EQ(a.v->data, data);
    EXPECT_EQ(a.items(), items);  // nothing moved, nothing duplicated
    EXPECT_LE(a.v->size, a.v->capacity);
  }
  vect_vector* v = reinterpret_cast<vect_vector*>(1);
  qtest::Stdout out;
  qtest::fail_after(0);
  EXPECT_EQ(vect_create(&v, 4), 0);
  qtest::fail_after(-1);
  EXPECT_EQ(v, nullptr);
  EXPECT_EQ(qtest::trace_shape(out.text()), "vector.cpp:N:\t\tvect_create: \nvector.cpp:N:\tvect_create.\n");
}

}  // namespace
