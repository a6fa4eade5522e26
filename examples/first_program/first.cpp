// Solves the system
//
//     2 x +   y +   z =  4
//     4 x + 3 y + 3 z = 10
//     8 x + 7 y + 9 z = 24
//
// and shows what a bad argument looks like. Matrices are stored column by column.
#include <nuv/nuv_lapack.h>

#include <array>
#include <iostream>

int main() {
  std::array<double, 9> a{2, 4, 8, 1, 3, 7, 1, 3, 9};
  std::array<double, 3> b{4, 10, 24};
  std::array<int, 3> pivots{};
  const int n = 3, nrhs = 1;
  int info = 0;

  nuv_lapack_dgesv(&n, &nrhs, a.data(), &n, pivots.data(), b.data(), &n, &info);
  std::cout << "info = " << info << ", x = " << b[0] << ", y = " << b[1] << ", z = " << b[2] << std::endl;

  const int too_small = 2;  // the fourth argument, the leading dimension of a, must be at least 3
  nuv_lapack_dgesv(&n, &nrhs, a.data(), &too_small, pivots.data(), b.data(), &n, &info);
  std::cout << "info = " << info << std::endl;
  return info == -4 ? 0 : 1;
}
