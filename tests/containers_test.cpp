// The growable array: capacity steps, range checks, walkers and iter, and traced failures.
#include "support.h"

namespace {

using Items = std::vector<int32_t>;

struct Vec {
  vect_vector* v = nullptr;
  explicit Vec(int n = 0) {  // holds 0, 1, ..., n − 1
    EXPECT_EQ(vect_create(&v, 4), 1);
    for (int32_t i = 0; i < n; ++i) EXPECT_EQ(vect_push(v, &i), 1);
  }
  ~Vec() { vect_release(&v); }
  Items items() const { auto* d = reinterpret_cast<const int32_t*>(v->data); return Items(d, d + v->size); }
  std::string state() const { return std::to_string(v->size) + "/" + std::to_string(v->capacity) + (v->data ? "" : " -"); }
};

std::string lines(const char* fn, const char* what = "") { return qtest::fail_lines("vector.cpp", fn, what); }

// One call on a vector of 0, 1, ... (n − 1), the allocation after `fail` ones failing: its result,
// "size/capacity" (" -" without a block), the last elements, the trace of a failure (which leaves
// the vector as it was); the block moves exactly when the capacity changes.
TEST(Vector, CallsResizeInStepsCheckRangesAndTraceFailures) {
  static const int32_t two[] = {7, 8}, one[] = {1};
  static int32_t out[2];
  const std::string size = lines("vect_size", "malloc");
  const struct { int n; std::function<int32_t(vect_vector*)> op; int32_t result; const char* state; Items tail; long fail = -1; std::string trace; } rows[] = {
      {32, [](vect_vector* v) { return vect_push(v, v->data + 4 * 5); }, 1, "33/64", {31, 5}},  // its own element
      {33, [](vect_vector* v) { return vect_pop(v, out) && out[0] == 32; }, 1, "32/32", {31}},
      {32, [](vect_vector* v) { return vect_size(v, 20); }, 1, "20/32", {19}},
      {1, [](vect_vector* v) { return vect_pop(v, nullptr); }, 1, "0/0 -", {}},
      {0, [](vect_vector* v) { return vect_pop(v, nullptr); }, 0, "0/0 -", {}},
      {5, [](vect_vector* v) { return vect_alloc(v, 0) + vect_alloc(v, -3) + vect_free(v, 0); }, 0, "5/32", {4}},
      {5, [](vect_vector* v) { return vect_free(v, 99); }, 1, "0/0 -", {}},
      {5, [](vect_vector* v) { return vect_alloc(v, 27); }, 1, "32/32", {}},
      {3, [](vect_vector* v) { return vect_size(v, -1); }, 1, "0/0 -", {}},
      {3, [](vect_vector* v) { return vect_clear(v); }, 1, "0/0 -", {}},
      {3, [](vect_vector* v) { return vect_alloc(v, INT32_MAX) + vect_alloc(v, INT32_MAX - 2); }, 0, "3/32", {2}},
      {0, [](vect_vector* v) { return vect_unit(v, 1), vect_size(v, INT32_MAX); }, 0, "0/0 -", {}},  // capacity 2^31
      {0, [](vect_vector* v) { return vect_step(v, 0), vect_size(v, 1); }, 0, "0/0 -", {}},  // no division by 0
      {4, [](vect_vector* v) { return vect_insert(v, two, 1, 2); }, 1, "6/32", {0, 7, 8, 1, 2, 3}},
      {4, [](vect_vector* v) { return vect_insert(v, two, 4, 1); }, 1, "5/32", {0, 1, 2, 3, 7}},
      {4, [](vect_vector* v) { return vect_insert(v, two, 9, 1); }, 0, "5/32", {}},  // the growth stays
      {4, [](vect_vector* v) { return vect_insert(v, two, INT32_MAX, 2); }, 0, "6/32", {}},
      {7, [](vect_vector* v) { return vect_erase(v, out, 1, 2) && out[0] == 1 && out[1] == 2; }, 1, "5/32", {0, 3, 4, 5, 6}},
      {5, [](vect_vector* v) { return vect_erase(v, nullptr, 4, 2) + vect_erase(v, nullptr, INT32_MAX, INT32_MAX); }, 0, "5/32", {4}},
      {5, [](vect_vector* v) { return vect_erase(v, nullptr, 0, 5); }, 1, "0/0 -", {}},
      {40000, [](vect_vector* v) { return vect_erase(v, nullptr, 1, 39000); }, 1, "1000/1024", {39998, 39999}},  // moves only the rest
      {5, [](vect_vector* v) { return vect_swap(v, 0, 3, 2) && vect_swap(v, 1, 1, 3); }, 1, "5/32", {3, 4, 2, 0, 1}},
      {5, [](vect_vector* v) { return vect_swap(v, 4, 0, 2) + vect_swap(v, 1, INT32_MAX, INT32_MAX) + vect_swap(v, 0, 1, 0); }, 0, "5/32", {4}},
      {33, [](vect_vector* v) { return vect_size(v, 70); }, 0, "33/64", {32}, 0, size},
      {32, [](vect_vector* v) { return vect_push(v, one); }, 0, "32/32", {31}, 0, size + lines("vect_alloc") + lines("vect_push")},
      {33, [](vect_vector* v) { return vect_pop(v, nullptr); }, 0, "33/64", {32}, 0, size + lines("vect_free") + lines("vect_pop")},
      {32, [](vect_vector* v) { return vect_insert(v, one, 0, 1); }, 0, "32/32", {31}, 0, size + lines("vect_alloc") + lines("vect_insert")},
      {33, [](vect_vector* v) { return vect_erase(v, nullptr, 3, 1); }, 0, "33/64", {32}, 0, size + lines("vect_free") + lines("vect_erase")},
      {33, [](vect_vector* v) { return vect_swap(v, 0, 1, 1); }, 0, "33/64", {32}, 0, lines("vect_swap", "malloc")},
      {3, [](vect_vector* v) { return vect_insert(v, one, 0, 0); }, 0, "3/32", {2}, -1, lines("vect_insert")},  // no growth
  };
  for (const auto& r : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &r - rows);
    Vec a(r.n);
    const void* block = a.v->data;
    const int32_t capacity = a.v->capacity;
    int32_t got = -1;
    const std::string trace = qtest::traced([&] { got = r.op(a.v); }, r.fail);  // every refusal prints one
    EXPECT_EQ(std::pair(got, a.state()), std::pair(r.result, std::string(r.state)));
    if (!r.trace.empty()) EXPECT_TRUE(trace == r.trace && a.items() == Vec(r.n).items()) << trace;  // nothing moved or lost
    const Items items = a.items();
    EXPECT_EQ(Items(items.end() - long(std::min(items.size(), r.tail.size())), items.end()), r.tail);
    EXPECT_EQ(a.v->data == block, a.v->capacity == capacity);
  }
  Vec b;  // a new vector: no block yet, emptied ones fill again
  EXPECT_EQ((Items{b.v->unit, b.v->step, b.v->iter, b.v->size, b.v->capacity}), (Items{4, 32, 0, 0, 0}));
  vect_vector* v = reinterpret_cast<vect_vector*>(1);
  EXPECT_TRUE(qtest::traced([&] { EXPECT_EQ(vect_create(&v, 4), 0); }, 0) == lines("vect_create") && !v);
}

TEST(Vector, WalkersAndIter) {
  Vec a;
  auto step = [&](auto walker) { int32_t x = -1; return walker(a.v, &x, nullptr) ? x : -1; };  // -1: refused
  EXPECT_EQ(step(vect_first), -1);
  for (int32_t i = 0; i < 3; ++i) vect_push(a.v, &i);
  void* p = nullptr;
  EXPECT_TRUE(vect_at(a.v, 2, nullptr, &p) && p == a.v->data + 8);
  EXPECT_EQ((Items{step(vect_first), step(vect_next), step(vect_next), step(vect_next), a.v->iter, step(vect_next)}),
            (Items{0, 1, 2, -1, 3, -1}));
  // Before the first, iter goes to size, so the walk starts over from the end.
  EXPECT_EQ((Items{step(vect_first), step(vect_prev), a.v->iter, step(vect_prev), step(vect_back)}), (Items{0, -1, 3, 2, 2}));
  EXPECT_EQ(vect_at(a.v, -1, nullptr, nullptr) + vect_at(a.v, 3, nullptr, nullptr), 0);
  a.v->iter = INT32_MAX;  // a stale iter must not wrap into a valid index
  EXPECT_EQ(step(vect_next), -1);
  a.v->iter = INT32_MIN;
  EXPECT_EQ(step(vect_prev), -1);
}

}  // namespace
