/* The same chain in C: by value, and without workspace. */
#include <math.h>
#include <nuv/nuv.h>
#include <stdio.h>

int main(void) {
  double stiffness[25] = {0}, squares[5];
  for (int i = 0; i < 5; ++i) {
    stiffness[i + 5 * i] = 2;
    if (i > 0) stiffness[i + 5 * (i - 1)] = -1; /* the lower triangle is all that is read */
  }

  const int info = nuv_dsyevd('N', 'L', 5, stiffness, 5, squares);
  if (info == NUV_NO_MEMORY) fputs("no memory\n", stderr);
  if (info != 0) return 1;

  printf("frequencies");
  for (int i = 0; i < 5; ++i) printf(" %.4f", sqrt(squares[i]));
  printf("\n");
  return 0;
}
