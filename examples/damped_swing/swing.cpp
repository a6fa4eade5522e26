// A damped swing that a gust of wind pushes, which dies away itself: x'' + 2 x' + 5 x = f and f' = -3 f, or
//
//     d  (x )   ( 0   1   0) (x )
//     -- (x') = (-5  -2   1) (x')
//     dt (f )   ( 0   0  -3) (f )
//
// The eigenvalues are -1 + 2i, -1 - 2i and -3: the swing has a period of pi and loses a factor of e in one unit of
// time. Matrices are stored column by column. The overloads of nuv.hpp ask for their workspace themselves.
#include <array>
#include <cstdio>
#include <nuv/nuv.hpp>

constexpr int n = 3;
using Matrix = std::array<double, n * n>;

constexpr Matrix motion{0, -5, 0, 1, -2, 0, 0, 1, -3};

int main() {
  std::array<double, n> wr{}, wi{};

  // The values alone: no left ('N') and no right ('N') vectors. Of a pair the positive imaginary part comes first.
  Matrix a = motion;
  int info = nuv::geev('N', 'N', n, a.data(), n, wr.data(), wi.data(), nullptr, 1, nullptr, 1);
  std::printf("info = %d\n", info);
  for (int k = 0; k < n; ++k) std::printf("%7.4f %+7.4f i\n", wr[k], wi[k]);

  // The Schur form A = Z T Z^T with the fast motions first. The first columns of Z span what moves in them.
  Matrix t = motion, z{};
  int chosen = 0;
  const auto is_fast = [](const double* real, const double*) -> int { return *real < -2; };
  info = nuv::gees('V', 'S', is_fast, n, t.data(), n, chosen, wr.data(), wi.data(), z.data(), n);
  std::printf("info = %d, %d fast: %.4f\n", info, chosen, wr[0]);
  return info;
}
