// QR factorisation.

#include <Eigen/QR>

#include "layer.hpp"
#include "support/benchmarks.hpp"
#include "support/peers.hpp"

namespace nuv::bench {
namespace {

/// n^2 (m - n / 3) multiply-adds, m >= n.
template <class T>
void add_factorisation(const std::string& routine, int m, int n, long size) {
  const Measure measure = multiply_adds<T>(double(n) * n * (m - n / 3.0));
  add(routine, "nuv", size, measure, [=] {
    T best(0);
    int info = 0;
    layer::geqrf(m, n, Matrix<T>{nullptr, m}, static_cast<T*>(nullptr), &best, -1, info);
    return [=, a = random_numbers<T>(std::size_t(m) * n), w = std::vector<T>(std::size_t(m) * n),
            tau = std::vector<T>(n), work = std::vector<T>(std::size_t(std::real(best)))]() mutable {
      w = a;
      int ignored = 0;
      layer::geqrf(m, n, Matrix<T>{w.data(), m}, tau.data(), work.data(), int(work.size()), ignored);
    };
  });
  add(routine, "eigen", size, measure, [=] {
    return
        [a = EigenMatrix<T>(EigenMatrix<T>::Random(m, n)), qr = Eigen::HouseholderQR<EigenMatrix<T>>(m, n)]() mutable {
          qr.compute(a);
          benchmark::DoNotOptimize(qr.matrixQR().data());
        };
  });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {4, 8, 16, 32, 50, 64, 100, 200, 300, 500, 1000, 2000, 4000}) {
    add_factorisation<double>("dgeqrf", n, n, n);
    if (n <= 2000) add_factorisation<std::complex<double>>("zgeqrf", n, n, n);
  }
  add_factorisation<double>("dgeqrf_tall", 20000, 100, 20000);
  add_factorisation<std::complex<double>>("zgeqrf_tall", 20000, 100, 20000);
  return run(argc, argv);
}
