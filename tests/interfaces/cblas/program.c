/* A C program as it is written for any implementation of the interface. */
#include <cblas.h>
#include <stdio.h>

static int failures;

static void expect(int is_true, const char* what) {
  if (!is_true) {
    printf("wrong: %s\n", what);
    ++failures;
  }
}

int main(void) {
  const double a[6] = {1, 2, 3, 4, 5, 6}, b[6] = {1, 0, 0, 1, 1, 1};
  const float x[3] = {1, -5, 2};
  const double z[4] = {1, 2, 3, -4}, one[2] = {1, 0};
  double c[4] = {0, 0, 0, 0}, dot[2], y[4] = {0, 0, 0, 0};
  enum CBLAS_ORDER order = CblasRowMajor;
  CBLAS_ORDER same_order = order;
  enum CBLAS_TRANSPOSE plain = CblasNoTrans;
  CBLAS_INDEX place;

  expect(CblasRowMajor == 101 && CblasColMajor == 102, "layouts");
  expect(CblasNoTrans == 111 && CblasTrans == 112 && CblasConjTrans == 113, "transpositions");
  expect(CblasUpper == 121 && CblasLower == 122, "triangles");
  expect(CblasNonUnit == 131 && CblasUnit == 132, "diagonals");
  expect(CblasLeft == 141 && CblasRight == 142, "sides");

  /* (1 2 3; 4 5 6) by (1 0; 0 1; 1 1) */
  cblas_dgemm(same_order, plain, CblasNoTrans, 2, 2, 3, 1.0, a, 3, b, 2, 0.0, c, 2);
  expect(c[0] == 4 && c[1] == 5 && c[2] == 10 && c[3] == 11, "product");

  place = cblas_isamax(3, x, 1);
  expect(place == 1, "place of the largest");
  expect(cblas_ddot(3, a, 1, a + 3, 1) == 32, "inner product");
  cblas_zdotc_sub(2, z, 1, z, 1, dot);
  expect(dot[0] == 30 && dot[1] == 0, "complex inner product");
  cblas_zgemv(CblasRowMajor, CblasConjTrans, 1, 2, one, z, 2, one, 1, one, y, 1);
  expect(y[0] == 1 && y[1] == -2 && y[2] == 3 && y[3] == 4, "product with an adjoint");

  /* The routine returns as it was called. */
  cblas_dgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, 2, 2, 3, 1.0, a, 2, b, 2, 0.0, c, 2);
  expect(c[0] == 4 && c[3] == 11, "what stood there before a bad call");
  return failures;
}
