/* A library with an error handler of its own, which a program loads for itself alone. */

#include <stdio.h>

void dgesv_(const int*, const int*, double*, const int*, int*, double*, const int*, int*);

void dgemm_(const char*, const char*, const int*, const int*, const int*, const double*, const double*, const int*,
            const double*, const int*, const double*, double*, const int*);
void dgemv_(const char*, const int*, const int*, const double*, const double*, const int*, const double*, const int*,
            const double*, double*, const int*);

void xerbla_(const char* name, const int* position, int length) {
  printf("handled %.*s %d\n", length, name, *position);
  fflush(stdout);
}

void make_mistakes(void) {
  const int n = 1, bad = -1;
  double x = 1;
  int pivot, info;
  dgesv_(&bad, &n, &x, &n, &pivot, &x, &n, &info);
  dgemm_("N", "X", &n, &n, &n, &x, &x, &n, &x, &n, &x, &x, &n);
  dgemv_("N", &n, &bad, &x, &x, &n, &x, &n, &x, &x, &n);
}
