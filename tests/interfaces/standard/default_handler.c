/* Bad arguments in each of the libraries behind the names, in a process without an error handler of its own. */

#include <stddef.h>

void dgesv_(const int*, const int*, double*, const int*, int*, double*, const int*, int*);
void dgemm_(const char*, const char*, const int*, const int*, const int*, const double*, const double*, const int*,
            const double*, const int*, const double*, double*, const int*, size_t, size_t);
void dgemv_(const char*, const int*, const int*, const double*, const double*, const int*, const double*, const int*,
            const double*, double*, const int*, size_t);
void xerbla_(const char*, const int*, size_t);

int main(void) {
  const int n = 1, bad = -1;
  double x = 1;
  int pivot, info;
  dgesv_(&bad, &n, &x, &n, &pivot, &x, &n, &info);
  dgemm_("N", "X", &n, &n, &n, &x, &x, &n, &x, &n, &x, &x, &n, 1, 1);
  dgemv_("N", &n, &bad, &x, &x, &n, &x, &n, &x, &x, &n, 1);
  xerbla_("MINE", &n, 4);
  return info == -1 ? 0 : 1;
}
