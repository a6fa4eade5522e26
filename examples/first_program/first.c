/* Solves the system
 *
 *     2 x +   y +   z =  4
 *     4 x + 3 y + 3 z = 10
 *     8 x + 7 y + 9 z = 24
 *
 * and shows what a bad argument looks like. Matrices are stored column by column. */
#include <nuv/nuv_lapack.h>
#include <stdio.h>

int main(void) {
  double a[9] = {2, 4, 8, 1, 3, 7, 1, 3, 9};
  double b[3] = {4, 10, 24};
  int n = 3, nrhs = 1, pivots[3], info;

  nuv_lapack_dgesv(&n, &nrhs, a, &n, pivots, b, &n, &info);
  printf("info = %d, x = %g, y = %g, z = %g\n", info, b[0], b[1], b[2]);

  int too_small = 2; /* the fourth argument, the leading dimension of a, must be at least 3 */
  nuv_lapack_dgesv(&n, &nrhs, a, &too_small, pivots, b, &n, &info);
  printf("info = %d\n", info);
  return info == -4 ? 0 : 1;
}
