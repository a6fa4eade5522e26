// QR factorisation.

#include <Eigen/QR>

#include "layer.hpp"
#include "support/benchmarks.hpp"
#include "support/peers.hpp"

namespace nuv::bench {
namespace {

/// n^2 (m - n / 3) multiply-adds, m >= n.
template <class T>
Measure factorisation(int m, int n) {
  return multiply_adds<T>(double(n) * n * (m - n / 3.0));
}

/// What the routine asks for.
template <class T>
std::size_t best_workspace(int m, int n) {
  T best(0);
  int info = 0;
  layer::geqrf(m, n, Matrix<T>{nullptr, m}, static_cast<T*>(nullptr), &best, -1, info);
  return std::size_t(std::real(best));
}

template <class T>
void add_factorisation(const std::string& routine, int n) {
  add(routine, "nuv", n, factorisation<T>(n, n), [=] {
    return [=, a = random_numbers<T>(std::size_t(n) * n), w = std::vector<T>(std::size_t(n) * n),
            tau = std::vector<T>(n), work = std::vector<T>(best_workspace<T>(n, n))]() mutable {
      w = a;
      int ignored = 0;
      layer::geqrf(n, n, Matrix<T>{w.data(), n}, tau.data(), work.data(), int(work.size()), ignored);
    };
  });
  add(routine, "eigen", n, factorisation<T>(n, n), [=] {
    return
        [a = EigenMatrix<T>(EigenMatrix<T>::Random(n, n)), qr = Eigen::HouseholderQR<EigenMatrix<T>>(n, n)]() mutable {
          qr.compute(a);
          benchmark::DoNotOptimize(qr.matrixQR().data());
        };
  });
}

/// The same of a tall matrix, in place: a copy of it would be a good part of the time.
template <class T>
void add_tall_factorisation(const std::string& routine, int m, int n) {
  const Measure measure = factorisation<T>(m, n);
  struct ByNuv {
    int m, n;
    std::vector<T> a, w, tau, work;
    ByNuv(int m_, int n_)
        : m(m_), n(n_), a(random_numbers<T>(std::size_t(m) * n)), w(a), tau(n), work(best_workspace<T>(m, n)) {}
    void restore() { w = a; }
    void operator()() {
      int info = 0;
      layer::geqrf(m, n, Matrix<T>{w.data(), m}, tau.data(), work.data(), int(work.size()), info);
    }
  };
  add(routine, "nuv", m, measure, [=] { return ByNuv(m, n); });
  struct ByEigen {
    EigenMatrix<T> a, w;
    ByEigen(int m, int n) : a(EigenMatrix<T>::Random(m, n)), w(a) {}
    void restore() { w = a; }
    void operator()() {
      const Eigen::HouseholderQR<Eigen::Ref<EigenMatrix<T>>> qr(w);
      benchmark::DoNotOptimize(w.data());
    }
  };
  add(routine, "eigen", m, measure, [=] { return ByEigen(m, n); });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {4, 8, 16, 32, 50, 64, 100, 200, 300, 500, 1000, 2000, 4000}) {
    add_factorisation<double>("dgeqrf", n);
    if (n <= 2000) add_factorisation<std::complex<double>>("zgeqrf", n);
  }
  add_tall_factorisation<double>("dgeqrf_tall", 20000, 100);
  add_tall_factorisation<std::complex<double>>("zgeqrf_tall", 20000, 100);
  return run(argc, argv);
}
