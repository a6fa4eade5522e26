// Three masses between two walls, joined by four springs of stiffness 1:
//
//     |~~~(m1)~~~(m2)~~~(m3)~~~|
//
// Their stiffness matrix is K below. With masses of 1 the squares of their angular frequencies are the eigenvalues of
// K, 2 - sqrt(2), 2 and 2 + sqrt(2); with other masses M those of K x = w M x. Matrices are stored column by column.
#include <nuv/nuv_lapack.h>

#include <array>
#include <cstdio>
#include <vector>

constexpr int n = 3;
using Matrix = std::array<double, n * n>;

constexpr Matrix stiffness{2, -1, 0, -1, 2, -1, 0, -1, 2};
constexpr Matrix masses{1, 0, 0, 0, 2, 0, 0, 0, 1};

int main() {
  std::array<double, n> w{};
  int info = 0;

  // The values alone ("N") of a matrix whose lower triangle is read ("L"), in ascending order. A first call with -1
  // asks for the best size of the workspace.
  Matrix a = stiffness;
  const int question = -1;
  double answer = 0;
  nuv_lapack_dsyev("N", "L", &n, a.data(), &n, w.data(), &answer, &question, &info, 1, 1);
  std::vector<double> work(static_cast<std::size_t>(answer));
  const int size = static_cast<int>(work.size());
  nuv_lapack_dsyev("N", "L", &n, a.data(), &n, w.data(), work.data(), &size, &info, 1, 1);
  std::printf("info = %d, w = %.4f %.4f %.4f\n", info, w[0], w[1], w[2]);

  // With vectors ("V"), which take the place of A. Those of K x = w M x have length one with the masses as weights.
  Matrix x = stiffness, b = masses;
  const int type = 1;
  nuv_lapack_dsygv(&type, "V", "L", &n, x.data(), &n, b.data(), &n, w.data(), work.data(), &size, &info, 1, 1);
  std::printf("info = %d, w = %.4f %.4f %.4f\n", info, w[0], w[1], w[2]);
  std::printf("the lowest moves as 1 : %.4f : %.4f\n", x[1] / x[0], x[2] / x[0]);
  return info;
}
