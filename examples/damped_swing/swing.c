/* A damped swing that a gust of wind pushes, which dies away itself: x'' + 2 x' + 5 x = f and f' = -3 f, or
 *
 *     d  (x )   ( 0   1   0) (x )
 *     -- (x') = (-5  -2   1) (x')
 *     dt (f )   ( 0   0  -3) (f )
 *
 * The eigenvalues are -1 + 2i, -1 - 2i and -3: the swing has a period of pi and loses a factor of e in one unit of time.
 * Matrices are stored column by column. */
#include <nuv/nuv_lapack.h>
#include <stdio.h>

enum { n = 3, lwork = 100 };

static const double motion[n * n] = {0, -5, 0, 1, -2, 0, 0, 1, -3};

/* Whether a motion is gone soon. */
static int is_fast(const double* real, const double* imaginary) {
  (void)imaginary;
  return *real < -2;
}

static void copy(const double* from, double* to) {
  for (int k = 0; k < n * n; ++k) to[k] = from[k];
}

int main(void) {
  double a[n * n], z[n * n], wr[n], wi[n], none[1], work[lwork];
  const int order = n, size = lwork, one = 1;
  int info, chosen, flags[n];

  /* The values alone: no left ("N") and no right ("N") vectors. Of a pair the positive imaginary part comes first. */
  copy(motion, a);
  nuv_lapack_dgeev("N", "N", &order, a, &order, wr, wi, none, &one, none, &one, work, &size, &info, 1, 1);
  printf("info = %d\n", info);
  for (int k = 0; k < n; ++k) printf("%7.4f %+7.4f i\n", wr[k], wi[k]);

  /* The Schur form A = Z T Z^T with the fast motions first. The first columns of Z span what moves in them. */
  copy(motion, a);
  nuv_lapack_dgees("V", "S", is_fast, &order, a, &order, &chosen, wr, wi, z, &order, work, &size, flags, &info, 1, 1);
  printf("info = %d, %d fast: %.4f\n", info, chosen, wr[0]);
  return info;
}
