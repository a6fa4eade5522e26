// Generalised eigenproblems of general matrices beside a peer's: eigenvalues, eigenvectors, Schur forms; balancing, and
// what condition numbers and the older drivers cost.

#include <Eigen/Eigenvalues>
#include <cmath>

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

/// Of a pencil whose elements have many sizes; each pass of its iteration reads it once.
void add_balancing(int n) {
  add("dggbal", "nuv", n, bytes_read(16.0 * n * n), [=] {
    Problem<double> p{n};
    for (int k = 0; k < 2 * n * n; ++k) p.numbers[std::size_t(k)] *= std::ldexp(1.0, 3 * (k % n % 10 - k / n % 10));
    return [n, p, scale = std::vector<double>(8 * std::size_t(n))]() mutable {
      int ilo = 0, ihi = 0, info = 0;
      const auto [A, B] = p.pencil();
      routine_call::ggbal('B', n, A, B, ilo, ihi, scale.data(), scale.data() + n, scale.data() + 2 * n, info);
    };
  });
}

/// Registers a driver of the real problem: drive(p, A, B, VL, VR, work, lwork).
template <class Drive>
void add_driver(const char* routine, int n, Drive drive) {
  add(routine, "nuv", n, whole_problem<double>(n), [=] {
    return [n, drive, p = Problem<double>{n}]() mutable {
      const auto [A, B] = p.pencil();
      const Matrix<double> VL{p.VL.data(), n}, VR{p.VR.data(), n};
      with_workspace(p.work, [&, A = A, B = B](double* work, int lwork) { drive(p, A, B, VL, VR, work, lwork); });
    };
  });
}

void add_older_drivers(int n) {
  add_driver("dgegvV", n, [=](auto& p, auto A, auto B, auto VL, auto VR, double* work, int lwork) {
    int info = 0;
    routine_call::gegv('N', 'V', n, A, B, p.alpha.data(), p.alphai.data(), p.beta.data(), VL, VR, work, lwork, info);
  });
  add_driver("dgegsV", n, [=](auto& p, auto A, auto B, auto VL, auto VR, double* work, int lwork) {
    int info = 0;
    routine_call::gegs('V', 'V', n, A, B, p.alpha.data(), p.alphai.data(), p.beta.data(), VL, VR, work, lwork, info);
  });
}

/// With all condition numbers that there are, for ggesx those of the eigenvalues with alpha > 0.
void add_conditions(int n) {
  add_driver("dggevxB", n,
             [=, iwork = std::vector<int>(std::size_t(n) + 6), bwork = std::vector<int>(std::size_t(n))](
                 auto& p, auto A, auto B, auto VL, auto VR, double* work, int lwork) mutable {
               int ilo = 0, ihi = 0, info = 0;
               double abnrm, bbnrm;
               double* const room = p.rwork.data();
               routine_call::ggevx('B', 'V', 'V', 'B', n, A, B, p.alpha.data(), p.alphai.data(), p.beta.data(), VL, VR,
                                   ilo, ihi, room, room + n, abnrm, bbnrm, room + 2 * n, room + 3 * n, work, lwork,
                                   iwork.data(), bwork.data(), info);
             });
  add_driver("dggesxB", n,
             [=, iwork = std::vector<int>(std::size_t(n) + 6), bwork = std::vector<int>(std::size_t(n))](
                 auto& p, auto A, auto B, auto VL, auto VR, double* work, int lwork) mutable {
               int sdim = 0, info = 0;
               const auto is_right = [](const double* alphar, const double*, const double*) {
                 return int(*alphar > 0);
               };
               routine_call::ggesx('V', 'V', 'S', is_right, 'B', n, A, B, sdim, p.alpha.data(), p.alphai.data(),
                                   p.beta.data(), VL, VR, p.rwork.data(), p.rwork.data() + 2, work, lwork, iwork.data(),
                                   int(iwork.size()), bwork.data(), info);
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
    add_balancing(n);
    add_older_drivers(n);
    add_conditions(n);
  }
  return run(argc, argv);
}
