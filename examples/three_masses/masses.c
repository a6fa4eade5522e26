/* Three masses between two walls, joined by four springs of stiffness 1:
 *
 *     |~~~(m1)~~~(m2)~~~(m3)~~~|
 *
 * Their stiffness matrix is K below. With masses of 1 the squares of their angular frequencies are the eigenvalues of K,
 * 2 - sqrt(2), 2 and 2 + sqrt(2); with other masses M those of K x = w M x. Matrices are stored column by column. */
#include <nuv/nuv_lapack.h>
#include <stdio.h>

enum { n = 3, lwork = 100 };

static const double stiffness[n * n] = {2, -1, 0, -1, 2, -1, 0, -1, 2};
static const double masses[n * n] = {1, 0, 0, 0, 2, 0, 0, 0, 1};

static void copy(const double* from, double* to) {
  for (int k = 0; k < n * n; ++k) to[k] = from[k];
}

int main(void) {
  double a[n * n], b[n * n], w[n], work[lwork];
  const int order = n, size = lwork, type = 1;
  int info;

  /* The values alone ("N") of a matrix whose lower triangle is read ("L"), in ascending order. */
  copy(stiffness, a);
  nuv_lapack_dsyev("N", "L", &order, a, &order, w, work, &size, &info, 1, 1);
  printf("info = %d, w = %.4f %.4f %.4f\n", info, w[0], w[1], w[2]);

  /* With vectors ("V"), which take the place of A. Those of K x = w M x have length one with the masses as weights. */
  copy(stiffness, a);
  copy(masses, b);
  nuv_lapack_dsygv(&type, "V", "L", &order, a, &order, b, &order, w, work, &size, &info, 1, 1);
  printf("info = %d, w = %.4f %.4f %.4f\n", info, w[0], w[1], w[2]);
  printf("the lowest moves as 1 : %.4f : %.4f\n", a[1] / a[0], a[2] / a[0]);
  return info;
}
