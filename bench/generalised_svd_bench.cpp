// The generalised singular value decomposition, with and without its vectors. No peer has one: what it stands beside is
// the decomposition of A (B^-1) that one would do instead for a B that can be inverted. And the factorisations of
// pairs, with the least squares that stand on them.

#include <Eigen/LU>
#include <Eigen/SVD>
#include <algorithm>

#include "routines.hpp"
#include "support/benchmarks.hpp"
#include "support/peers.hpp"

namespace nuv::bench {
namespace {

/// Of square matrices.
template <class T>
struct ByNuv {
  int n;
  char jobu, jobv, jobq;
  std::vector<T> a, b, wa, wb, u, v, q, work;
  std::vector<Real<T>> alpha, beta, rwork;
  std::vector<int> iwork;

  ByNuv(int n_, bool vectors)
      : n(n_),
        jobu(vectors ? 'U' : 'N'),
        jobv(vectors ? 'V' : 'N'),
        jobq(vectors ? 'Q' : 'N'),
        a(random_numbers<T>(std::size_t(n) * n)),
        b(random_numbers<T>(std::size_t(n) * n)),
        u(a.size()),
        v(a.size()),
        q(a.size()),
        work(4 * n),
        alpha(n),
        beta(n),
        rwork(2 * n),
        iwork(n) {
    for (int i = 0; i < n; ++i) b[std::size_t(i) * (n + 1)] += T(Real<T>(n));
  }

  void operator()() {
    wa = a;
    wb = b;
    int k = 0, l = 0, info = 0;
    const auto matrix = [&](std::vector<T>& x) { return Matrix<T>{x.data(), n}; };
    if constexpr (ComplexScalar<T>) {
      routine_call::ggsvd(jobu, jobv, jobq, n, n, n, k, l, matrix(wa), matrix(wb), alpha.data(), beta.data(), matrix(u),
                          matrix(v), matrix(q), work.data(), rwork.data(), iwork.data(), info);
    } else {
      routine_call::ggsvd(jobu, jobv, jobq, n, n, n, k, l, matrix(wa), matrix(wb), alpha.data(), beta.data(), matrix(u),
                          matrix(v), matrix(q), work.data(), iwork.data(), info);
    }
  }
};

template <class T>
struct ByQuotient {
  EigenMatrix<T> a, b;

  explicit ByQuotient(int n)
      : a(EigenMatrix<T>::Random(n, n)), b(EigenMatrix<T>::Random(n, n) + n * EigenMatrix<T>::Identity(n, n)) {}

  void operator()() {
    const EigenMatrix<T> quotient = b.adjoint().partialPivLu().solve(a.adjoint()).adjoint();
    Eigen::JacobiSVD<EigenMatrix<T>> svd(quotient);
    benchmark::DoNotOptimize(svd.singularValues().data());
  }
};

template <class T>
void add_decomposition(const std::string& routine, int n) {
  const Measure measure = multiply_adds<T>(2.0 * n * n * n);
  add(routine + "_N", "nuv", n, measure, [=] { return ByNuv<T>(n, false); });
  add(routine + "_N", "eigen", n, measure, [=] { return ByQuotient<T>(n); });
  add(routine + "_UVQ", "nuv", n, measure, [=] { return ByNuv<T>(n, true); });
}

/// The generalised QR or RQ factorisation.
template <class T>
struct PairByNuv {
  int n;
  bool by_rows;
  std::vector<T> a, b, wa, wb, taua, taub, work;

  PairByNuv(int n_, bool by_rows_)
      : n(n_),
        by_rows(by_rows_),
        a(random_numbers<T>(std::size_t(n) * n)),
        b(random_numbers<T>(std::size_t(n) * n)),
        wa(a),
        wb(b),
        taua(n),
        taub(n),
        work(1) {
    work.resize(std::size_t(std::real(call(-1))));
  }

  T call(int lwork) {
    int info = 0;
    const Matrix<T> A{wa.data(), n}, B{wb.data(), n};
    if (by_rows) {
      routine_call::ggrqf(n, n, n, A, taua.data(), B, taub.data(), work.data(), lwork, info);
    } else {
      routine_call::ggqrf(n, n, n, A, taua.data(), B, taub.data(), work.data(), lwork, info);
    }
    return work[0];
  }

  void operator()() {
    wa = a;
    wb = b;
    call(int(work.size()));
  }
};

template <class T>
void add_factorisations(int n) {
  for (const bool by_rows : {false, true}) {
    add(std::string(1, letter<T>) + (by_rows ? "ggrqf" : "ggqrf"), "nuv", n,
        multiply_adds<T>(2.0 / 3 * n * n * n * 2 + 1.0 * n * n * n), [=] { return PairByNuv<T>(n, by_rows); });
  }
}

/// Multiply-adds of the QR factorisation of an m by n matrix, or of its product with that many columns.
double factored(double m, double n) {
  return n * n * (m - n / 3);
}
double multiplied(double m, double n, double columns) {
  return columns * n * (2 * m - n);
}

/// 2 n equations in n unknowns under n / 4 constraints; and 2 n equations with as many weighted errors.
void add_least_squares(int n) {
  const int m = 2 * n, p = n / 4;
  add("dgglse", "nuv", n, multiply_adds<double>(factored(n, p) + multiplied(n, p, m) + factored(m, n)), [=] {
    return [=, a = random_numbers<double>(std::size_t(m) * n), b = random_numbers<double>(std::size_t(p) * n),
            wa = std::vector<double>(), wb = std::vector<double>(), c = std::vector<double>(m),
            d = std::vector<double>(p), x = std::vector<double>(n), work = std::vector<double>()]() mutable {
      wa = a;
      wb = b;
      std::fill(c.begin(), c.end(), 1.0);
      std::fill(d.begin(), d.end(), 1.0);
      int info = 0;
      with_workspace(work, [&](double* room, int lwork) {
        routine_call::gglse(m, n, p, Matrix<double>{wa.data(), m}, Matrix<double>{wb.data(), p}, c.data(), d.data(),
                            x.data(), room, lwork, info);
      });
    };
  });
  add("dggglm", "nuv", n, multiply_adds<double>(factored(m, n) + multiplied(m, n, m) + factored(m, m)), [=] {
    return [=, a = random_numbers<double>(std::size_t(m) * n), b = random_numbers<double>(std::size_t(m) * m),
            wa = std::vector<double>(), wb = std::vector<double>(), d = std::vector<double>(m),
            x = std::vector<double>(n), y = std::vector<double>(m), work = std::vector<double>()]() mutable {
      wa = a;
      wb = b;
      std::fill(d.begin(), d.end(), 1.0);
      int info = 0;
      with_workspace(work, [&](double* room, int lwork) {
        routine_call::ggglm(m, n, m, Matrix<double>{wa.data(), m}, Matrix<double>{wb.data(), m}, d.data(), x.data(),
                            y.data(), room, lwork, info);
      });
    };
  });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {10, 30, 100, 200}) {
    add_decomposition<double>("dggsvd", n);
    if (n <= 100) add_decomposition<std::complex<double>>("zggsvd", n);
  }
  for (const int n : {100, 500, 1000}) {
    add_factorisations<double>(n);
    add_factorisations<std::complex<double>>(n);
    add_least_squares(n);
  }
  return run(argc, argv);
}
