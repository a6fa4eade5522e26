// Factorisations with diagonal pivoting, in full and in packed storage, and solves with many right-hand sides.

#include <Eigen/Cholesky>

#include "blas.hpp"
#include "layer.hpp"
#include "routines.hpp"
#include "support/benchmarks.hpp"
#include "support/peers.hpp"

namespace nuv::bench {
namespace {

/// The factorisation of one triangle of a random matrix: symmetric, or Hermitian where the precision is complex.
template <class T>
void add_factorisation(int n, char uplo) {
  const bool hermitian = !std::is_same_v<T, Real<T>>;
  const std::string routine = std::string(1, letter<T>) + (hermitian ? "hetrf" : "sytrf");
  add(routine + uplo, "nuv", n, multiply_adds<T>(double(n) * n * n / 6), [=] {
    return [=, a = random_numbers<T>(std::size_t(n) * n), w = std::vector<T>(std::size_t(n) * n),
            work = std::vector<T>(std::size_t(n) * 64), pivots = std::vector<int>(n)]() mutable {
      w = a;
      int info = 0;
      if constexpr (std::is_same_v<T, Real<T>>) {
        routine_call::sytrf(uplo, n, {w.data(), n}, pivots.data(), work.data(), n * 64, info);
      } else {
        routine_call::hetrf(uplo, n, {w.data(), n}, pivots.data(), work.data(), n * 64, info);
      }
    };
  });
}

void add_packed_factorisation(int n) {
  add("dsptrf", "nuv", n, multiply_adds<double>(double(n) * n * n / 6), [=] {
    const std::size_t size = std::size_t(n) * (n + 1) / 2;
    return
        [=, a = random_numbers<double>(size), w = std::vector<double>(size), pivots = std::vector<int>(n)]() mutable {
          w = a;
          int info = 0;
          routine_call::sptrf('L', n, w.data(), pivots.data(), info);
        };
  });
}

void add_eigen(int n) {
  add("dsytrfL", "eigen", n, multiply_adds<double>(double(n) * n * n / 6), [=] {
    EigenMatrix<double> a = EigenMatrix<double>::Random(n, n);
    a = (a + a.transpose()).eval();
    return [a, factors = Eigen::LDLT<EigenMatrix<double>>(n)]() mutable {
      factors.compute(a);
      benchmark::DoNotOptimize(factors.matrixLDLT().data());
    };
  });
}

void add_solve(int n, int nrhs) {
  add("dsytrs" + std::to_string(nrhs), "nuv", n, multiply_adds<double>(double(n) * n * nrhs), [=] {
    std::vector<double> a = random_numbers<double>(std::size_t(n) * n), work(std::size_t(n) * 64);
    std::vector<int> pivots(n);
    int info = 0;
    routine_call::sytrf('L', n, {a.data(), n}, pivots.data(), work.data(), n * 64, info);
    const auto b = random_numbers<double>(std::size_t(n) * nrhs);
    return [=, x = b]() mutable {
      x = b;
      layer::sytrs('L', n, nrhs, Matrix<const double>{a.data(), n}, pivots.data(), {x.data(), n}, info);
    };
  });
}

/// What the rates above are measured against.
template <class T>
void add_product(int n) {
  add(std::string(1, letter<T>) + "gemm", "nuv", n, multiply_adds<T>(double(n) * n * n), [=] {
    return [=, a = random_numbers<T>(std::size_t(n) * n), c = std::vector<T>(std::size_t(n) * n)]() mutable {
      const Matrix<const T> A{a.data(), n};
      blas::gemm('N', 'N', n, n, n, T(1), A, A, T(0), {c.data(), n});
    };
  });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {50, 100, 200, 500, 1000, 2000}) {
    for (const char uplo : {'U', 'L'}) {
      add_factorisation<double>(n, uplo);
      add_factorisation<std::complex<double>>(n, uplo);
    }
    add_packed_factorisation(n);
    add_eigen(n);
    for (const int nrhs : {1, 100}) add_solve(n, nrhs);
    add_product<double>(n);
    add_product<std::complex<double>>(n);
  }
  return run(argc, argv);
}
