// QR factorisation with column pivoting.

#include <Eigen/QR>

#include "routines.hpp"
#include "support/benchmarks.hpp"
#include "support/peers.hpp"

namespace nuv::bench {
namespace {

/// A factorisation of a square matrix in place, with no column fixed.
template <class T>
struct ByNuv {
  int n;
  std::vector<T> a, w, tau, work;
  std::vector<Real<T>> rwork;
  std::vector<int> jpvt;

  explicit ByNuv(int n_)
      : n(n_), a(random_numbers<T>(std::size_t(n) * n)), w(a), tau(n), work(1), rwork(2 * n), jpvt(n) {
    work.resize(std::size_t(std::real(call(-1))));
  }

  T call(int lwork) {
    int info = 0;
    if constexpr (ComplexScalar<T>) {
      routine_call::geqp3(n, n, Matrix<T>{w.data(), n}, jpvt.data(), tau.data(), work.data(), lwork, rwork.data(),
                          info);
    } else {
      routine_call::geqp3(n, n, Matrix<T>{w.data(), n}, jpvt.data(), tau.data(), work.data(), lwork, info);
    }
    return work[0];
  }

  void operator()() {
    w = a;
    std::fill(jpvt.begin(), jpvt.end(), 0);
    call(int(work.size()));
  }
};

template <class T>
void add_factorisation(const std::string& routine, int n) {
  const Measure measure = multiply_adds<T>(2.0 / 3 * n * n * n);
  add(routine, "nuv", n, measure, [=] { return ByNuv<T>(n); });
  add(routine, "eigen", n, measure, [=] {
    return [a = EigenMatrix<T>(EigenMatrix<T>::Random(n, n)),
            qr = Eigen::ColPivHouseholderQR<EigenMatrix<T>>(n, n)]() mutable {
      qr.compute(a);
      benchmark::DoNotOptimize(qr.matrixQR().data());
    };
  });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {16, 50, 100, 200, 500, 1000, 2000}) {
    add_factorisation<double>("dgeqp3", n);
    if (n <= 1000) add_factorisation<std::complex<double>>("zgeqp3", n);
  }
  return run(argc, argv);
}
