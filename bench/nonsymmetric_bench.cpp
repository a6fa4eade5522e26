// General eigenproblems beside a peer's: balancing, the reduction to Hessenberg form, eigenvalues, eigenvectors, Schur
// forms.

#include <Eigen/Eigenvalues>
#include <cmath>

#include "routines.hpp"
#include "support/benchmarks.hpp"
#include "support/peers.hpp"

namespace nuv::bench {
namespace {

template <class T>
constexpr bool is_complex = !std::is_same_v<T, Real<T>>;

/// Multiply-adds of a reduction to Hessenberg form. Others are given ten times as many, about what eigenvalues and
/// vectors take, so that rates compare times.
template <class T>
Measure reduction(int n) {
  return multiply_adds<T>(5.0 / 3 * n * double(n) * n);
}

template <class T>
Measure whole_problem(int n) {
  return multiply_adds<T>(10.0 * n * double(n) * n);
}

/// Arrays of a call for a random matrix of order n.
template <class T>
struct Problem {
  int n;
  std::vector<T> a = random_numbers<T>(std::size_t(n) * n), A = a, Z = a, w = std::vector<T>(std::size_t(n)), more = w,
                 work = {};
  std::vector<Real<T>> rwork = std::vector<Real<T>>(2 * std::size_t(n));

  /// A as it was at first.
  Matrix<T> matrix() {
    A = a;
    return {A.data(), n};
  }
  Matrix<T> vectors() { return {Z.data(), n}; }
};

/// Of a matrix whose rows and columns have norms of many sizes; each pass reads it once.
void add_balancing(int n) {
  add("dgebal", "nuv", n, bytes_read(8.0 * n * n), [=] {
    Problem<double> p{n};
    for (int j = 0; j < n; ++j) {
      for (int i = 0; i < n; ++i) p.a[std::size_t(j) * n + i] *= std::ldexp(1.0, 3 * (i % 10 - j % 10));
    }
    return [n, p]() mutable {
      int ilo = 0, ihi = 0, info = 0;
      routine_call::gebal('B', n, p.matrix(), ilo, ihi, p.rwork.data(), info);
    };
  });
}

void add_reduction(int n) {
  add("dgehrd", "nuv", n, reduction<double>(n), [=] {
    return [n, p = Problem<double>{n}]() mutable {
      int info = 0;
      const Matrix<double> A = p.matrix();
      with_workspace(p.work,
                     [&](double* work, int lwork) { routine_call::gehrd(n, 1, n, A, p.w.data(), work, lwork, info); });
    };
  });
  add("dgehrd", "eigen", n, reduction<double>(n), [=] {
    const std::vector<double> a = random_numbers<double>(std::size_t(n) * n);
    using M = EigenMatrix<double>;
    return [A = M(Eigen::Map<const M>(a.data(), n, n)), peer = Eigen::HessenbergDecomposition<M>(n)]() mutable {
      peer.compute(A);
      benchmark::DoNotOptimize(peer.packedMatrix().data());
    };
  });
}

template <class T>
void add_eigen(char jobvr, int n) {
  const std::string name = letter<T> + std::string("geev") + jobvr;
  add(name, "nuv", n, whole_problem<T>(n), [=] {
    return [n, jobvr, p = Problem<T>{n}]() mutable {
      int info = 0;
      const Matrix<T> A = p.matrix(), V = p.vectors();
      with_workspace(p.work, [&](T* work, int lwork) {
        if constexpr (is_complex<T>) {
          routine_call::geev('N', jobvr, n, A, p.w.data(), V, V, work, lwork, p.rwork.data(), info);
        } else {
          routine_call::geev('N', jobvr, n, A, p.w.data(), p.more.data(), V, V, work, lwork, info);
        }
      });
    };
  });
  add(name, "eigen", n, whole_problem<T>(n), [=] {
    using M = EigenMatrix<T>;
    using Solver = std::conditional_t<is_complex<T>, Eigen::ComplexEigenSolver<M>, Eigen::EigenSolver<M>>;
    const std::vector<T> a = random_numbers<T>(std::size_t(n) * n);
    return [jobvr, A = M(Eigen::Map<const M>(a.data(), n, n)), peer = Solver(n)]() mutable {
      peer.compute(A, jobvr == 'V');
      benchmark::DoNotOptimize(peer.eigenvalues().data());
    };
  });
}

void add_schur_form(int n) {
  add("dgeesV", "nuv", n, whole_problem<double>(n), [=] {
    return [n, p = Problem<double>{n}]() mutable {
      int info = 0, sdim = 0;
      const Matrix<double> A = p.matrix(), Z = p.vectors();
      with_workspace(p.work, [&](double* work, int lwork) {
        routine_call::gees('V', 'N', nullptr, n, A, sdim, p.w.data(), p.more.data(), Z, work, lwork, nullptr, info);
      });
    };
  });
  add("dgeesV", "eigen", n, whole_problem<double>(n), [=] {
    using M = EigenMatrix<double>;
    const std::vector<double> a = random_numbers<double>(std::size_t(n) * n);
    return [A = M(Eigen::Map<const M>(a.data(), n, n)), peer = Eigen::RealSchur<M>(n)]() mutable {
      peer.compute(A);
      benchmark::DoNotOptimize(peer.matrixT().data());
    };
  });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {100, 500, 1000, 2000}) {
    add_balancing(n);
    add_reduction(n);
    for (const char jobvr : {'N', 'V'}) add_eigen<double>(jobvr, n);
    add_schur_form(n);
    add_eigen<std::complex<double>>('V', n);
  }
  return run(argc, argv);
}
