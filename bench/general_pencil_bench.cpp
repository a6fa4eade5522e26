// Generalised eigenproblems of general matrices beside a peer's: eigenvalues, eigenvectors, Schur forms.

#include <Eigen/Eigenvalues>

#include "routines.hpp"
#include "support/benchmarks.hpp"
#include "support/peers.hpp"

namespace nuv::bench {
namespace {

/// Multiply-adds of the QZ iteration with vectors, about; so many for all, so that rates compare times.
template <class T>
Measure whole_problem(int n) {
  return multiply_adds<T>(23.0 * n * double(n) * n);
}

/// Arrays of a call for a random pencil of order n.
template <class T>
struct Problem {
  int n;
  std::vector<T> numbers = random_numbers<T>(2 * std::size_t(n) * n), A = numbers, VL = numbers, VR = numbers,
                 alpha = std::vector<T>(std::size_t(n)), alphai = alpha, beta = alpha, work = {};
  std::vector<Real<T>> rwork = std::vector<Real<T>>(8 * std::size_t(n));

  /// The pencil as it was at first.
  std::pair<Matrix<T>, Matrix<T>> pencil() {
    A = numbers;
    return {{A.data(), n}, {A.data() + std::size_t(n) * n, n}};
  }
};

/// Halves of the same numbers.
template <class T>
std::pair<EigenMatrix<T>, EigenMatrix<T>> peers_pencil(int n) {
  using M = EigenMatrix<T>;
  const std::vector<T> numbers = random_numbers<T>(2 * std::size_t(n) * n);
  return {M(Eigen::Map<const M>(numbers.data(), n, n)),
          M(Eigen::Map<const M>(numbers.data() + std::size_t(n) * n, n, n))};
}

template <class T>
void add_nuv_eigen(char jobvr, int n) {
  add(letter<T> + std::string("ggev") + jobvr, "nuv", n, whole_problem<T>(n), [=] {
    return [n, jobvr, p = Problem<T>{n}]() mutable {
      int info = 0;
      const auto [A, B] = p.pencil();
      const Matrix<T> VL{p.VL.data(), n}, VR{p.VR.data(), n};
      with_workspace(p.work, [&, A = A, B = B](T* work, int lwork) {
        if constexpr (std::is_same_v<T, Real<T>>) {
          routine_call::ggev('N', jobvr, n, A, B, p.alpha.data(), p.alphai.data(), p.beta.data(), VL, VR, work, lwork,
                             info);
        } else {
          routine_call::ggev('N', jobvr, n, A, B, p.alpha.data(), p.beta.data(), VL, VR, work, lwork, p.rwork.data(),
                             info);
        }
      });
    };
  });
}

void add_eigen(char jobvr, int n) {
  add_nuv_eigen<double>(jobvr, n);
  add(std::string("dggev") + jobvr, "eigen", n, whole_problem<double>(n), [=] {
    return [jobvr, pencil = peers_pencil<double>(n),
            peer = Eigen::GeneralizedEigenSolver<EigenMatrix<double>>(n)]() mutable {
      peer.compute(pencil.first, pencil.second, jobvr == 'V');
      benchmark::DoNotOptimize(peer.alphas().data());
    };
  });
}

void add_schur_form(int n) {
  add("dggesV", "nuv", n, whole_problem<double>(n), [=] {
    return [n, p = Problem<double>{n}]() mutable {
      int info = 0, sdim = 0;
      const auto [A, B] = p.pencil();
      const Matrix<double> VL{p.VL.data(), n}, VR{p.VR.data(), n};
      with_workspace(p.work, [&, A = A, B = B](double* work, int lwork) {
        routine_call::gges('V', 'V', 'N', nullptr, n, A, B, sdim, p.alpha.data(), p.alphai.data(), p.beta.data(), VL,
                           VR, work, lwork, nullptr, info);
      });
    };
  });
  add("dggesV", "eigen", n, whole_problem<double>(n), [=] {
    return [pencil = peers_pencil<double>(n), peer = Eigen::RealQZ<EigenMatrix<double>>(n)]() mutable {
      peer.compute(pencil.first, pencil.second);
      benchmark::DoNotOptimize(peer.matrixT().data());
    };
  });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {100, 300, 500}) {
    for (const char jobvr : {'N', 'V'}) add_eigen(jobvr, n);
    add_nuv_eigen<std::complex<double>>('V', n);
    add_schur_form(n);
  }
  return run(argc, argv);
}
