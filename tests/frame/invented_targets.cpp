#include "invented_targets.hpp"

#define NUV_HIDDEN __attribute__((visibility("hidden")))

extern "C" {
NUV_HIDDEN nuv::test::RegisterImage register_dump;
NUV_HIDDEN int register_dump_width;
NUV_HIDDEN void spoil_vector_registers();
}

namespace {

/// Runs when a stub brings this library in. A library may do with these registers as it likes then.
__attribute__((constructor)) void spoil_registers() {
  register_dump_width = nuv::test::widest_vectors();
  spoil_vector_registers();
}

template <class Sum, class... Values>
Sum weigh(Values... values) {
  Sum sum = 0;
  int weight = 0;
  ((sum += ++weight * static_cast<Sum>(values)), ...);
  return sum;
}

template <class... Values>
double in_turn(Values... values) {
  double digits = 0;
  ((digits = 10 * digits + static_cast<double>(values)), ...);
  return digits;
}

}  // namespace

std::int64_t weigh_integers(int a, int b, int c, int d, int e, int f, int g, int h, int i, int j, int k, int l, int m,
                            int n, int o, int p, int q, int r, int s, int t, int u, int v, int w, int x) {
  return weigh<std::int64_t>(a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q, r, s, t, u, v, w, x);
}

double weigh_doubles(double a, double b, double c, double d, double e, double f, double g, double h, double i, double j,
                     double k, double l) {
  return weigh<double>(a, b, c, d, e, f, g, h, i, j, k, l);
}

double mix(int a, double b, const int* c, float d, char e, std::int64_t f, double g, int h, double i, double j, double k,
           double l, double m, double n, double o, int p) {
  return in_turn(a, b, *c, d, e, f, g, h, i, j, k, l, m, n, o, p);
}

float half(float x) { return x / 2; }

long double reciprocal(long double x) { return 1 / x; }

nuv::test::TwoDoubles swapped(double first, double second) { return {second, first}; }

nuv::test::ManyWords from_one(std::int64_t first) {
  nuv::test::ManyWords result;
  for (auto& word : result.words) word = first++;
  return result;
}

int file_number() { return NUV_FAKE_NUMBER; }

const nuv::test::RegisterImage* last_register_dump() { return &register_dump; }
