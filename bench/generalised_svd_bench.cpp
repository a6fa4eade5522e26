// The generalised singular value decomposition, with and without its vectors. No peer has one: what it stands beside is
// the decomposition of A (B^-1) that one would do instead for a B that can be inverted.

#include <Eigen/LU>
#include <Eigen/SVD>

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

/// The generalised QR factorisation beside two of single matrices.
template <class T>
struct PairByNuv {
  int n;
  std::vector<T> a, b, wa, wb, taua, taub, work;

  explicit PairByNuv(int n_)
      : n(n_),
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
    routine_call::ggqrf(n, n, n, Matrix<T>{wa.data(), n}, taua.data(), Matrix<T>{wb.data(), n}, taub.data(),
                        work.data(), lwork, info);
    return work[0];
  }

  void operator()() {
    wa = a;
    wb = b;
    call(int(work.size()));
  }
};

template <class T>
void add_factorisation(const std::string& routine, int n) {
  add(routine, "nuv", n, multiply_adds<T>(2.0 / 3 * n * n * n * 2 + 1.0 * n * n * n), [=] { return PairByNuv<T>(n); });
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
    add_factorisation<double>("dggqrf", n);
    add_factorisation<std::complex<double>>("zggqrf", n);
  }
  return run(argc, argv);
}
