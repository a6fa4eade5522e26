// Eigenpairs of tridiagonal matrices by multiple relatively robust representations. The amount of work is the writing
// of the vectors, or of n^2 numbers where only values are wanted: the time is in proportion to that, and the limit is
// far.

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>

#include "routines.hpp"
#include "support/benchmarks.hpp"

namespace nuv::bench {
namespace {

struct Tridiagonal {
  std::vector<double> d, e;  ///< both n numbers
};

/// What the reduction makes of a random dense matrix: a diagonal of noise, and beside it roots of the rows that remain.
Tridiagonal reduced_random_matrix(int n) {
  Tridiagonal T{random_numbers<double>(std::size_t(n)), std::vector<double>(std::size_t(n))};
  for (int i = 0; i < n; ++i) T.e[std::size_t(i)] = std::sqrt((n - 1 - i) / 2.0);
  return T;
}

Tridiagonal one_two_one(int n) {
  return {std::vector<double>(std::size_t(n), 2.0), std::vector<double>(std::size_t(n), 1.0)};
}

/// Clusters of as many values as there are copies of the matrix of order 21.
Tridiagonal glued_wilkinson(int n) {
  Tridiagonal T = one_two_one(n);
  for (int i = 0; i < n; ++i) {
    T.d[std::size_t(i)] = std::abs(i % 21 - 10);
    if (i % 21 == 20) T.e[std::size_t(i)] = 1e-8;
  }
  return T;
}

/// The lowest `wanted` pairs.
struct ByNuv {
  char jobz;
  int n, wanted;
  Tridiagonal T, copy = T;
  std::vector<double> w = std::vector<double>(std::size_t(n)), z = std::vector<double>(std::size_t(n) * wanted),
                      work = std::vector<double>(18 * std::size_t(n));
  std::vector<int> isuppz = std::vector<int>(2 * std::size_t(wanted)), iwork = std::vector<int>(10 * std::size_t(n));

  void operator()() {
    copy = T;
    int m = 0, info = 0, tryrac = 0;
    routine_call::stemr(jobz, wanted == n ? 'A' : 'I', n, copy.d.data(), copy.e.data(), 0.0, 0.0, 1, wanted, m,
                        w.data(), Matrix<double>{z.data(), n}, wanted, isuppz.data(), tryrac, work.data(), 18 * n,
                        iwork.data(), 10 * n, info);
    if (info != 0) std::abort();
  }
};

void add_pairs(const std::string& routine, int n, Tridiagonal (*matrix)(int)) {
  const Measure measure = bytes_written(8.0 * n * n);
  add(routine, "nuv", n, measure, [=] { return ByNuv{'V', n, n, matrix(n)}; });
  if (n > 1000) return;  // minutes
  add(routine, "eigen", n, measure, [=] {
    const Tridiagonal T = matrix(n);
    return [d = Eigen::VectorXd(Eigen::VectorXd::Map(T.d.data(), n)),
            e = Eigen::VectorXd(Eigen::VectorXd::Map(T.e.data(), n - 1)),
            solver = Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd>(n)]() mutable {
      solver.computeFromTridiagonal(d, e);
      benchmark::DoNotOptimize(solver.eigenvectors().data());
    };
  });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {100, 200, 500, 1000, 2000}) {
    add_pairs("dstemr", n, reduced_random_matrix);
    add_pairs("dstemr_1_2_1", n, one_two_one);
    add_pairs("dstemr_glued", n, glued_wilkinson);
    const int tenth = n / 10;
    add("dstemr_tenth", "nuv", n, bytes_written(8.0 * n * tenth), [=] {
      return ByNuv{'V', n, tenth, reduced_random_matrix(n)};
    });
    add("dstemr_values", "nuv", n, bytes_written(8.0 * n * n), [=] {
      return ByNuv{'N', n, n, reduced_random_matrix(n)};
    });
  }
  return run(argc, argv);
}
