/* A library with an error handler of its own, which a program loads for itself alone. */

#include <stdio.h>

void dgesv_(const int*, const int*, double*, const int*, int*, double*, const int*, int*);

void xerbla_(const char* name, const int* position, int length) {
  printf("handled %.*s %d\n", length, name, *position);
  fflush(stdout);
}

void make_a_mistake(void) {
  const int n = 1, bad = -1;
  double x = 1;
  int pivot, info;
  dgesv_(&bad, &n, &x, &n, &pivot, &x, &n, &info);
}
