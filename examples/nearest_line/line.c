/* Four points, and the line that comes nearest to them:
 *
 *     7.8 |                     x
 *     6.2 |                        x
 *         |
 *     1.8 | x
 *     0.2 |    x
 *         +------------------------
 *          0.4 1.6          8.4 9.6
 *
 * The sum of the squared distances is least for the line through their middle (5, 4) along the first right singular
 * vector of the coordinates that are counted from there, and it is the square of the second singular value. Matrices
 * are stored column by column. */
#include <math.h>
#include <nuv/nuv_lapack.h>
#include <stdio.h>

enum { points = 4, lwork = 200 };

static const double x[points] = {3.4, 4.6, -4.6, -3.4}, y[points] = {3.8, 2.2, -2.2, -3.8};

int main(void) {
  double work[lwork];
  const int m = points, size = lwork;
  int info;

  /* Values and the vectors that belong to them ("S"); V^T has the right ones in its rows. */
  double a[points * 2], s[2], u[points * 2], vt[2 * 2];
  int integers[8 * 2];
  const int two = 2;
  for (int k = 0; k < points; ++k) a[k] = x[k], a[points + k] = y[k];
  nuv_lapack_dgesdd("S", &m, &two, a, &m, s, u, &m, vt, &two, work, &size, integers, &info, 1);
  printf("info = %d, s = %.4f %.4f\n", info, s[0], s[1]);
  printf("the line rises by %.4f\n", vt[2] / vt[0]);

  /* A third column, x + y, tells nothing new. With column pivoting the diagonal of R falls, and shows it. A zero in
   * `from` lets a column be pivoted; afterwards it tells where each column of R comes from. */
  double b[points * 3], tau[3];
  int from[3] = {0, 0, 0}, rank = 0;
  const int three = 3;
  for (int k = 0; k < points; ++k) b[k] = x[k], b[points + k] = y[k], b[2 * points + k] = x[k] + y[k];
  nuv_lapack_dgeqp3(&m, &three, b, &m, from, tau, work, &size, &info);
  while (rank < 3 && fabs(b[rank * points + rank]) > 1e-12 * fabs(b[0])) ++rank;
  printf("info = %d, rank %d of 3, column %d is the longest: %.4f\n", info, rank, from[0], fabs(b[0]));
  return info;
}
