// LU factorisation, the solve of one system, and the exchanges of rows within them.

#include "layer.hpp"
#include "routines.hpp"
#include "support/benchmarks.hpp"
#include "support/peers.hpp"

namespace nuv::bench {
namespace {

void add_factorisation(int n) {
  const Measure measure = multiply_adds<double>(double(n) * n * n / 3);
  add("dgetrf", "nuv", n, measure, [=] {
    return [=, a = random_numbers<double>(std::size_t(n) * n), w = std::vector<double>(std::size_t(n) * n),
            pivots = std::vector<int>(n)]() mutable {
      w = a;
      int info = 0;
      layer::getrf(n, n, {w.data(), n}, pivots.data(), info);
    };
  });
  add("dgetrf", "eigen", n, measure, [=] {
    return [a = EigenMatrix<double>(EigenMatrix<double>::Random(n, n)),
            lu = Eigen::PartialPivLU<EigenMatrix<double>>(n)]() mutable {
      lu.compute(a);
      benchmark::DoNotOptimize(lu.matrixLU().data());
    };
  });
}

void add_solve(int n) {
  const Measure measure = multiply_adds<double>(double(n) * n * n / 3 + double(n) * n);
  add("dgesv", "nuv", n, measure, [=] {
    return [=, a = random_numbers<double>(std::size_t(n) * n), b = random_numbers<double>(n),
            w = std::vector<double>(std::size_t(n) * n), x = std::vector<double>(n),
            pivots = std::vector<int>(n)]() mutable {
      w = a;
      x = b;
      const int one = 1;
      int info = 0;
      nuv_lapack_dgesv(&n, &one, w.data(), &n, pivots.data(), x.data(), &n, &info);
    };
  });
  add("dgesv", "eigen", n, measure, [=] {
    return [a = EigenMatrix<double>(EigenMatrix<double>::Random(n, n)), b = Eigen::VectorXd(Eigen::VectorXd::Random(n)),
            x = Eigen::VectorXd(n)]() mutable {
      x = a.partialPivLu().solve(b);
      benchmark::DoNotOptimize(x.data());
    };
  });
}

/// Pivots as those of a random matrix: each from the diagonal on.
std::vector<int> random_pivots(int n) {
  std::mt19937 engine(3);
  std::vector<int> pivots(n);
  for (int i = 1; i <= n; ++i) pivots[i - 1] = std::uniform_int_distribution<int>(i, n)(engine);
  return pivots;
}

/// All exchanges of a factorisation on all columns, there and back; each reads and writes two rows.
void add_exchanges(int n) {
  const Measure measure = bytes_read_and_written(2.0 * n * 4 * n * sizeof(double));
  add("dlaswp", "nuv", n, measure, [=] {
    return [=, a = random_numbers<double>(std::size_t(n) * n), pivots = random_pivots(n)]() mutable {
      for (const int incx : {1, -1}) routine_call::laswp(n, Matrix<double>{a.data(), n}, 1, n, pivots.data(), incx);
    };
  });
  add("dlaswp", "eigen", n, measure, [=] {
    return [=, a = EigenMatrix<double>(EigenMatrix<double>::Random(n, n)), pivots = random_pivots(n)]() mutable {
      for (int i = 0; i < n; ++i) a.row(i).swap(a.row(pivots[i] - 1));
      for (int i = n - 1; i >= 0; --i) a.row(i).swap(a.row(pivots[i] - 1));
      benchmark::DoNotOptimize(a.data());
    };
  });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {4, 8, 16, 32, 64, 100, 200, 300, 500, 1000, 2000, 4000}) add_factorisation(n);
  for (const int n : {4, 8, 16, 32, 64, 100, 200, 500, 1000, 2000}) add_solve(n);
  for (const int n : {100, 300, 1000, 2000}) add_exchanges(n);
  return run(argc, argv);
}
