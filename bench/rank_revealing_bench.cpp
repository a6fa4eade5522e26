// Least squares at any rank, beside those of full rank: what it costs to look for the rank; and the reduction of
// trapezoids, on which they stand.

#include <Eigen/QR>
#include <algorithm>

#include "routines.hpp"
#include "support/benchmarks.hpp"
#include "support/peers.hpp"

namespace nuv::bench {
namespace {

/// A fit of n unknowns to m = 4 n equations, of which `rank` count.
template <class T>
struct Fit {
  int n, rank, m = 4 * n;
  std::vector<T> a, b;

  Fit(int n_, int rank_) : n(n_), rank(rank_), a(std::size_t(m) * n), b(random_numbers<T>(std::size_t(m))) {
    EigenMatrix<T> A = EigenMatrix<T>::Random(m, n);
    if (rank < n) A = (EigenMatrix<T>::Random(m, rank) * EigenMatrix<T>::Random(rank, n)).eval();
    std::copy_n(A.data(), a.size(), a.begin());
  }
};

template <class T>
struct ByGelsy {
  Fit<T> fit;
  std::vector<T> w = fit.a, x = fit.b, work;
  std::vector<Real<T>> rwork = std::vector<Real<T>>(2 * std::size_t(fit.n));
  std::vector<int> jpvt = std::vector<int>(std::size_t(fit.n));

  void operator()() {
    const int m = fit.m, n = fit.n;
    w = fit.a;
    x = fit.b;
    std::fill(jpvt.begin(), jpvt.end(), 0);
    const Matrix<T> A{w.data(), m}, X{x.data(), m};
    const Real<T> rcond = Real<T>(1e-10);
    int rank = 0, info = 0;
    with_workspace(work, [&](T* room, int lwork) {
      if constexpr (ComplexScalar<T>) {
        routine_call::gelsy(m, n, 1, A, X, jpvt.data(), rcond, rank, room, lwork, rwork.data(), info);
      } else {
        routine_call::gelsy(m, n, 1, A, X, jpvt.data(), rcond, rank, room, lwork, info);
      }
    });
    if (rank != fit.rank) std::abort();
  }
};

/// The older driver, which is unblocked.
struct ByGelsx {
  Fit<double> fit;
  std::vector<double> w = fit.a, x = fit.b, work = std::vector<double>(4 * std::size_t(fit.n));
  std::vector<int> jpvt = std::vector<int>(std::size_t(fit.n));

  void operator()() {
    w = fit.a;
    x = fit.b;
    std::fill(jpvt.begin(), jpvt.end(), 0);
    int rank = 0, info = 0;
    routine_call::gelsx(fit.m, fit.n, 1, Matrix<double>{w.data(), fit.m}, Matrix<double>{x.data(), fit.m}, jpvt.data(),
                        1e-10, rank, work.data(), info);
    if (rank != fit.rank) std::abort();
  }
};

template <class T>
struct ByGels {
  Fit<T> fit;
  std::vector<T> w = fit.a, x = fit.b, work;

  void operator()() {
    w = fit.a;
    x = fit.b;
    int info = 0;
    with_workspace(work, [&](T* room, int lwork) {
      routine_call::gels('N', fit.m, fit.n, 1, Matrix<T>{w.data(), fit.m}, Matrix<T>{x.data(), fit.m}, room, lwork,
                         info);
    });
  }
};

/// The peer's complete orthogonal decomposition, and its solution.
template <class T>
auto by_eigen(const Fit<T>& fit) {
  const EigenMatrix<T> a = Eigen::Map<const EigenMatrix<T>>(fit.a.data(), fit.m, fit.n),
                       b = Eigen::Map<const EigenMatrix<T>>(fit.b.data(), fit.m, 1);
  return [a, b, x = EigenMatrix<T>(fit.n, 1),
          decomposition = Eigen::CompleteOrthogonalDecomposition<EigenMatrix<T>>(fit.m, fit.n)]() mutable {
    decomposition.setThreshold(1e-10);
    decomposition.compute(a);
    x = decomposition.solve(b);
    benchmark::DoNotOptimize(x.data());
  };
}

template <class T>
void add_fits(int n) {
  const std::string name(1, letter<T>);
  const double m = 4.0 * n;
  const Measure measure = multiply_adds<T>(n * n * (m - n / 3.0));
  add(name + "gelsy", "nuv", n, measure, [=] { return ByGelsy<T>{Fit<T>(n, n)}; });
  add(name + "gelsy", "eigen", n, measure, [=] { return by_eigen(Fit<T>(n, n)); });
  add(name + "gelsy", name + "gels", n, measure, [=] { return ByGels<T>{Fit<T>(n, n)}; });
  add(name + "gelsy_half_rank", "nuv", n, measure, [=] { return ByGelsy<T>{Fit<T>(n, n / 2)}; });
  add(name + "gelsy_half_rank", "eigen", n, measure, [=] { return by_eigen(Fit<T>(n, n / 2)); });
}

/// An n / 2 by n trapezoid, which a reflector for each row makes a triangle, and the product of these with an n by n
/// matrix.
template <class T>
void add_trapezoids(int n) {
  const int rows = n / 2, behind = n - rows;
  const std::string name(1, letter<T>);
  const auto reduce = [=](std::vector<T>& a, std::vector<T>& tau, std::vector<T>& work) {
    int info = 0;
    with_workspace(work, [&](T* room, int lwork) {
      routine_call::tzrzf(rows, n, Matrix<T>{a.data(), rows}, tau.data(), room, lwork, info);
    });
  };
  add(name + "tzrzf", "nuv", n, multiply_adds<T>(double(rows) * rows * behind), [=] {
    return [=, a = random_numbers<T>(std::size_t(rows) * n), w = std::vector<T>(), tau = std::vector<T>(rows),
            work = std::vector<T>()]() mutable {
      w = a;
      reduce(w, tau, work);
    };
  });
  add(name + (ComplexScalar<T> ? "unmrz" : "ormrz"), "nuv", n, multiply_adds<T>(2.0 * rows * behind * n), [=] {
    std::vector<T> a = random_numbers<T>(std::size_t(rows) * n), tau(rows), scratch;
    reduce(a, tau, scratch);
    return [=, c = random_numbers<T>(std::size_t(n) * n), work = std::vector<T>()]() mutable {
      int info = 0;
      with_workspace(work, [&](T* room, int lwork) {
        routine_call::ormrz('L', 'N', n, n, rows, behind, Matrix<T>{a.data(), rows}, tau.data(), Matrix<T>{c.data(), n},
                            room, lwork, info);
      });
    };
  });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {25, 50, 100, 250, 500}) {
    add_fits<double>(n);
    if (n <= 250) add_fits<std::complex<double>>(n);
    add("dgelsx", "nuv", n, multiply_adds<double>(n * n * (4.0 * n - n / 3.0)),
        [=] { return ByGelsx{Fit<double>(n, n)}; });
  }
  for (const int n : {100, 500, 1000}) {
    add_trapezoids<double>(n);
    add_trapezoids<std::complex<double>>(n);
  }
  return run(argc, argv);
}
