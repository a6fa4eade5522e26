// Products with Q, Q itself, and least squares.

#include <Eigen/QR>
#include <algorithm>

#include "layer.hpp"
#include "support/benchmarks.hpp"
#include "support/peers.hpp"

namespace nuv::bench {
namespace {

/// An m by n matrix as its QR factorisation leaves it.
struct Factored {
  int m, n;
  std::vector<double> a, tau;

  Factored(int m_, int n_)
      : m(m_), n(n_), a(random_numbers<double>(std::size_t(m) * n)), tau(std::size_t(std::min(m, n))) {
    std::vector<double> work(std::size_t(n) * 256);
    int info = 0;
    layer::geqrf(m, n, Matrix<double>{a.data(), m}, tau.data(), work.data(), int(work.size()), info);
  }
};

EigenMatrix<double> eigen_random(int m, int n) {
  return EigenMatrix<double>::Random(m, n);
}

/// C := Q^T C for matrices of order n, with the workspace that the routine asks for, or, where `least`, with the least.
void add_product(int n, bool least) {
  const Measure measure = multiply_adds<double>(double(n) * n * n);
  const std::string routine = least ? "dormqr_least_work" : "dormqr";
  add(routine, "nuv", n, measure, [=] {
    const int lwork = least ? n : 2 * n * 256;
    return [=, q = Factored(n, n), c = random_numbers<double>(std::size_t(n) * n),
            work = std::vector<double>(std::size_t(lwork))]() mutable {
      int info = 0;
      layer::ormqr('L', 'T', n, n, n, Matrix<double>{q.a.data(), n}, static_cast<const double*>(q.tau.data()),
                   Matrix<double>{c.data(), n}, work.data(), lwork, info);
    };
  });
  if (least) return;
  add(routine, "eigen", n, measure, [=] {
    return [qr = Eigen::HouseholderQR<EigenMatrix<double>>(eigen_random(n, n)), c = eigen_random(n, n)]() mutable {
      c.applyOnTheLeft(qr.householderQ().adjoint());
      benchmark::DoNotOptimize(c.data());
    };
  });
}

/// Q of order n from its reflectors.
void add_formation(int n) {
  const Measure measure = multiply_adds<double>(2.0 / 3 * n * n * n);
  add("dorgqr", "nuv", n, measure, [=] {
    return [=, q = Factored(n, n), a = std::vector<double>(std::size_t(n) * n),
            work = std::vector<double>(std::size_t(n) * 256)]() mutable {
      a = q.a;
      const int lwork = int(work.size());
      int info = 0;
      nuv_lapack_dorgqr(&n, &n, &n, a.data(), &n, q.tau.data(), work.data(), &lwork, &info);
    };
  });
  add("dorgqr", "eigen", n, measure, [=] {
    return
        [qr = Eigen::HouseholderQR<EigenMatrix<double>>(eigen_random(n, n)), q = EigenMatrix<double>(n, n)]() mutable {
          q = qr.householderQ();
          benchmark::DoNotOptimize(q.data());
        };
  });
}

/// A fit of n unknowns to 4 n equations for ten right-hand sides.
void add_fit(int n) {
  const int m = 4 * n, nrhs = 10;
  const Measure measure =
      multiply_adds<double>(double(n) * n * (m - n / 3.0) + nrhs * (2.0 * m * n - double(n) * n / 2));
  add("dgels", "nuv", n, measure, [=] {
    return [=, a = random_numbers<double>(std::size_t(m) * n), b = random_numbers<double>(std::size_t(m) * nrhs),
            w = std::vector<double>(std::size_t(m) * n), x = std::vector<double>(std::size_t(m) * nrhs),
            work = std::vector<double>(std::size_t(n) * 260)]() mutable {
      w = a;
      x = b;
      const int lwork = int(work.size());
      int info = 0;
      nuv_lapack_dgels("N", &m, &n, &nrhs, w.data(), &m, x.data(), &m, work.data(), &lwork, &info, 1);
    };
  });
  add("dgels", "eigen", n, measure, [=] {
    return [a = eigen_random(m, n), b = eigen_random(m, nrhs), x = EigenMatrix<double>(n, nrhs)]() mutable {
      x = a.householderQr().solve(b);
      benchmark::DoNotOptimize(x.data());
    };
  });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {8, 16, 32, 64, 100, 200, 300, 500, 1000, 2000}) {
    add_product(n, false);
    add_product(n, true);
    add_formation(n);
  }
  for (const int n : {4, 8, 16, 32, 64, 125, 250, 500}) add_fit(n);
  return run(argc, argv);
}
