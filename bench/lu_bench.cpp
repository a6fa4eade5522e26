// LU factorisation and the solve of one system.

#include "layer.hpp"
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

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {4, 8, 16, 32, 64, 100, 200, 300, 500, 1000, 2000, 4000}) add_factorisation(n);
  for (const int n : {4, 8, 16, 32, 64, 100, 200, 500, 1000, 2000}) add_solve(n);
  return run(argc, argv);
}
