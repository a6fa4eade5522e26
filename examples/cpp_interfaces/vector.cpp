// A vibrating chain of five equal masses: all frequencies, and the shape of the slowest motion.
//
// Matrices in std::vector, column by column. syevd is called without workspace: it allocates its own.
#include <cmath>
#include <cstdio>
#include <nuv/nuv.hpp>
#include <vector>

int main() {
  const int n = 5;
  std::vector<double> stiffness(n * n);
  for (int i = 0; i < n; ++i) {
    stiffness[i + i * n] = 2;
    if (i > 0) stiffness[i + (i - 1) * n] = -1;  // the lower triangle is all that is read
  }

  std::vector<double> squares(n);
  const int info = nuv::syevd(nuv::Job::vectors, nuv::Uplo::lower, n, stiffness.data(), n, squares.data());
  if (info != 0) return 1;

  std::printf("frequencies");
  for (const double square : squares) std::printf(" %.4f", std::sqrt(square));
  const double* const slowest = stiffness.data();  // the first column: vectors stand where the matrix stood
  std::printf("\nslowest    ");
  for (int i = 0; i < n; ++i) std::printf(" %.4f", slowest[i] / slowest[n / 2]);
  std::printf("\n");
}
