// Four points, and the line that comes nearest to them:
//
//     7.8 |                     x
//     6.2 |                        x
//         |
//     1.8 | x
//     0.2 |    x
//         +------------------------
//          0.4 1.6          8.4 9.6
//
// The sum of the squared distances is least for the line through their middle (5, 4) along the first right singular
// vector of the coordinates that are counted from there, and it is the square of the second singular value. Matrices
// are stored column by column.
#include <nuv/nuv_lapack.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <initializer_list>
#include <vector>

constexpr int points = 4;
using Column = std::array<double, points>;

constexpr Column x{3.4, 4.6, -4.6, -3.4}, y{3.8, 2.2, -2.2, -3.8};

std::vector<double> matrix(std::initializer_list<Column> columns) {
  std::vector<double> elements;
  for (const Column& column : columns) elements.insert(elements.end(), column.begin(), column.end());
  return elements;
}

int main() {
  int info = 0;
  const int question = -1;
  double answer = 0;

  // Values and the vectors that belong to them ("S"); V^T has the right ones in its rows. A first call with -1 asks for
  // the best size of the workspace.
  const int two = 2;
  std::vector<double> a = matrix({x, y}), u(points * 2);
  std::array<double, 2> s{};
  std::array<double, 4> vt{};
  std::array<int, 16> integers{};
  nuv_lapack_dgesdd("S", &points, &two, a.data(), &points, s.data(), u.data(), &points, vt.data(), &two, &answer,
                    &question, integers.data(), &info, 1);
  std::vector<double> work(static_cast<std::size_t>(answer));
  int size = static_cast<int>(work.size());
  nuv_lapack_dgesdd("S", &points, &two, a.data(), &points, s.data(), u.data(), &points, vt.data(), &two, work.data(),
                    &size, integers.data(), &info, 1);
  std::printf("info = %d, s = %.4f %.4f\n", info, s[0], s[1]);
  std::printf("the line rises by %.4f\n", vt[2] / vt[0]);

  // A third column, x + y, tells nothing new. With column pivoting the diagonal of R falls, and shows it. A zero in
  // `from` lets a column be pivoted; afterwards it tells where each column of R comes from.
  const int three = 3;
  Column sum{};
  for (std::size_t k = 0; k < points; ++k) sum[k] = x[k] + y[k];
  std::vector<double> r = matrix({x, y, sum}), tau(3);
  std::array<int, 3> from{};
  nuv_lapack_dgeqp3(&points, &three, r.data(), &points, from.data(), tau.data(), &answer, &question, &info);
  work.resize(static_cast<std::size_t>(answer));
  size = static_cast<int>(work.size());
  nuv_lapack_dgeqp3(&points, &three, r.data(), &points, from.data(), tau.data(), work.data(), &size, &info);
  std::size_t rank = 0;
  while (rank < 3 && std::abs(r[rank * points + rank]) > 1e-12 * std::abs(r[0])) ++rank;
  std::printf("info = %d, rank %zu of 3, column %d is the longest: %.4f\n", info, rank, from[0], std::abs(r[0]));
  return info;
}
