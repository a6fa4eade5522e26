/* The rate of dgemm for square matrices of order 2000, the best of some runs, in 10^9 operations a second. */
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

enum { order = 2000, runs = 5 };

void dgemm_(const char*, const char*, const int*, const int*, const int*, const double*, const double*, const int*,
            const double*, const int*, const double*, double*, const int*);

static double now(void) {
  struct timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return t.tv_sec + 1e-9 * t.tv_nsec;
}

int main(void) {
  const int n = order, elements = n * n;
  const double one = 1, minus_one = -1;
  double* a = malloc(3 * sizeof *a * elements);
  if (a == NULL) return 1;
  double *b = a + elements, *c = b + elements, best = 0;
  for (int i = 0; i < 3 * elements; ++i) a[i] = (double)(i % 1001) / 1001 - 0.5;
  for (int run = 0; run < runs; ++run) {
    const double start = now();
    dgemm_("N", "N", &n, &n, &n, &minus_one, a, &n, b, &n, &one, c, &n);
    const double rate = 2.0 * n * n * n / (now() - start) / 1e9;
    if (rate > best) best = rate;
  }
  printf("%.2f\n", best);
  free(a);
  return 0;
}
