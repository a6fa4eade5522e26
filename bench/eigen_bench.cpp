// Eigenvalues and eigenvectors of symmetric and Hermitian matrices beside a peer's.

#include <Eigen/Eigenvalues>
#include <array>

#include "routines.hpp"
#include "support/benchmarks.hpp"
#include "support/peers.hpp"

namespace nuv::bench {
namespace {

template <class T>
constexpr bool is_complex = !std::is_same_v<T, Real<T>>;

/// A random matrix, of which the drivers look at the lower triangle.
template <class T>
std::vector<T> random_symmetric(int n) {
  std::vector<T> a = random_numbers<T>(std::size_t(n) * n);
  for (int j = 0; j < n; ++j) a[std::size_t(j) * (n + 1)] = std::real(a[std::size_t(j) * (n + 1)]);
  return a;
}

/// Registers a driver by drive(A, w, Z, work, rwork, iwork), each of the last three a vector that is empty in the
/// first call; the driver sizes it then.
template <class T, class Drive>
void add_driver(const std::string& name, int n, Drive drive) {
  // Half the multiply-adds of a product, whatever a driver makes of it: rates compare times.
  add(letter<T> + name, "nuv", n, multiply_adds<T>(0.5 * n * double(n) * n), [=] {
    return [=, a = random_symmetric<T>(n), A = std::vector<T>(), w = std::vector<Real<T>>(n),
            Z = std::vector<T>(std::size_t(n) * n), work = std::vector<T>(), rwork = std::vector<Real<T>>(),
            iwork = std::vector<int>()]() mutable {
      A = a;
      drive(n, Matrix<T>{A.data(), n}, w.data(), Matrix<T>{Z.data(), n}, work, rwork, iwork);
    };
  });
}

template <class T>
void add_iteration(char jobz, int n) {
  add_driver<T>(std::string(is_complex<T> ? "heev" : "syev") + jobz, n,
                [=](int, auto A, auto* w, auto, auto& work, auto& rwork, auto&) {
                  int info = 0;
                  rwork.resize(3 * std::size_t(n));
                  with_workspace(work, [&](T* room, int size) {
                    if constexpr (is_complex<T>) {
                      routine_call::heev(jobz, 'L', n, A, w, room, size, rwork.data(), info);
                    } else {
                      routine_call::syev(jobz, 'L', n, A, w, room, size, info);
                    }
                  });
                });
}

template <class T>
void add_division(char jobz, int n) {
  add_driver<T>(std::string(is_complex<T> ? "heevd" : "syevd") + jobz, n,
                [=](int, auto A, auto* w, auto, auto& work, auto& rwork, auto& iwork) {
                  int info = 0;
                  iwork.resize(5 * std::size_t(n) + 3);
                  if (is_complex<T>) rwork.resize(2 * std::size_t(n) * n + 5 * std::size_t(n) + 1);
                  with_workspace(work, [&](T* room, int size) {
                    if constexpr (is_complex<T>) {
                      routine_call::heevd(jobz, 'L', n, A, w, room, size, rwork.data(), static_cast<int>(rwork.size()),
                                          iwork.data(), static_cast<int>(iwork.size()), info);
                    } else {
                      routine_call::syevd(jobz, 'L', n, A, w, room, size, iwork.data(), static_cast<int>(iwork.size()),
                                          info);
                    }
                  });
                });
}

template <class T>
void add_representations(char jobz, int n) {
  add_driver<T>(std::string(is_complex<T> ? "heevr" : "syevr") + jobz, n,
                [=](int, auto A, auto* w, auto Z, auto& work, auto& rwork, auto& iwork) {
                  int info = 0, m = 0;
                  iwork.resize(12 * std::size_t(n));
                  int* const isuppz = iwork.data() + 10 * std::ptrdiff_t{n};
                  if (is_complex<T>) rwork.resize(24 * std::size_t(n));
                  const Real<T> none = 0;
                  with_workspace(work, [&](T* room, int size) {
                    if constexpr (is_complex<T>) {
                      routine_call::heevr(jobz, 'A', 'L', n, A, none, none, 0, 0, none, m, w, Z, isuppz, room, size,
                                          rwork.data(), 24 * n, iwork.data(), 10 * n, info);
                    } else {
                      routine_call::syevr(jobz, 'A', 'L', n, A, none, none, 0, 0, none, m, w, Z, isuppz, room, size,
                                          iwork.data(), 10 * n, info);
                    }
                  });
                });
}

/// Bisection and inverse iteration, for the lower half of the values.
template <class T>
void add_bisection(char jobz, int n) {
  if (n > 1000) return;
  add_driver<T>(std::string(is_complex<T> ? "heevx" : "syevx") + jobz, n,
                [=](int, auto A, auto* w, auto Z, auto& work, auto& rwork, auto& iwork) {
                  int info = 0, m = 0;
                  iwork.resize(6 * std::size_t(n));
                  int* const ifail = iwork.data() + 5 * std::ptrdiff_t{n};
                  if (is_complex<T>) rwork.resize(7 * std::size_t(n));
                  const Real<T> none = 0;
                  with_workspace(work, [&](T* room, int size) {
                    if constexpr (is_complex<T>) {
                      routine_call::heevx(jobz, 'I', 'L', n, A, none, none, 1, n / 2, none, m, w, Z, room, size,
                                          rwork.data(), iwork.data(), ifail, info);
                    } else {
                      routine_call::syevx(jobz, 'I', 'L', n, A, none, none, 1, n / 2, none, m, w, Z, room, size,
                                          iwork.data(), ifail, info);
                    }
                  });
                });
}

template <class T>
void add_peer(char jobz, int n) {
  for (const char* driver :
       is_complex<T> ? std::array{"heev", "heevd", "heevr"} : std::array{"syev", "syevd", "syevr"}) {
    add(letter<T> + std::string(driver) + jobz, "eigen", n, multiply_adds<T>(0.5 * n * double(n) * n), [=] {
      const std::vector<T> a = random_symmetric<T>(n);
      EigenMatrix<T> A = Eigen::Map<const EigenMatrix<T>>(a.data(), n, n);
      return [A, solver = Eigen::SelfAdjointEigenSolver<EigenMatrix<T>>(n), jobz]() mutable {
        solver.compute(A, jobz == 'V' ? Eigen::ComputeEigenvectors : Eigen::EigenvaluesOnly);
        benchmark::DoNotOptimize(solver.eigenvalues().data());
      };
    });
  }
}

template <class T>
void add_all(int n) {
  for (const char jobz : {'N', 'V'}) {
    add_iteration<T>(jobz, n);
    add_division<T>(jobz, n);
    add_representations<T>(jobz, n);
    add_bisection<T>(jobz, n);
    add_peer<T>(jobz, n);
  }
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {100, 500, 1000, 2000}) {
    add_all<double>(n);
    add_all<std::complex<double>>(n);
  }
  return run(argc, argv);
}
