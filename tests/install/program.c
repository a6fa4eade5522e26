/* 2 x = 2, by its published name where the target has those, else by nuv's own. */
#include <nuv/nuv_lapack.h>
#include <stdio.h>

#ifdef PUBLISHED_NAMES
void dgesv_(const int*, const int*, double*, const int*, int*, double*, const int*, int*);
#define dgesv dgesv_
#else
#define dgesv nuv_lapack_dgesv
#endif

int main(void) {
  int one = 1, pivot, info;
  double a = 2, x = 2;
  dgesv(&one, &one, &a, &one, &pivot, &x, &one, &info);
  printf("x = %g\n", x);
  return info;
}
