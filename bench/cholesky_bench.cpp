// Cholesky factorisation and the solve of one definite system.

#include <Eigen/Cholesky>

#include "layer.hpp"
#include "support/benchmarks.hpp"
#include "support/peers.hpp"

namespace nuv::bench {
namespace {

/// The lower triangle of a positive definite matrix; zeros above it.
template <class T>
std::vector<T> definite_numbers(int n) {
  std::vector<T> a = random_numbers<T>(std::size_t(n) * n);
  for (int j = 0; j < n; ++j) {
    for (int i = 0; i < j; ++i) a[i + std::size_t(j) * n] = 0;
    a[j + std::size_t(j) * n] = T(2 * std::sqrt(n + 1.0) + 2);
  }
  return a;
}

template <class T>
EigenMatrix<T> eigen_matrix(int n) {
  const std::vector<T> a = definite_numbers<T>(n);
  return Eigen::Map<const EigenMatrix<T>>(a.data(), n, n);
}

template <class T>
void add_factorisation(int n) {
  const std::string routine = std::string(1, letter<T>) + "potrf";
  const Measure measure = multiply_adds<T>(double(n) * n * n / 6);
  add(routine, "nuv", n, measure, [=] {
    return [=, a = definite_numbers<T>(n), w = std::vector<T>(std::size_t(n) * n)]() mutable {
      w = a;
      int info = 0;
      layer::potrf('L', n, {w.data(), n}, info);
    };
  });
  add(routine, "eigen", n, measure, [=] {
    return [a = eigen_matrix<T>(n), cholesky = Eigen::LLT<EigenMatrix<T>>(n)]() mutable {
      cholesky.compute(a);
      benchmark::DoNotOptimize(cholesky.matrixLLT().data());
    };
  });
}

void add_solve(int n) {
  const Measure measure = multiply_adds<double>(double(n) * n * n / 6 + double(n) * n);
  add("dposv", "nuv", n, measure, [=] {
    return [=, a = definite_numbers<double>(n), b = random_numbers<double>(n),
            w = std::vector<double>(std::size_t(n) * n), x = std::vector<double>(n)]() mutable {
      w = a;
      x = b;
      const int one = 1;
      int info = 0;
      nuv_lapack_dposv("L", &n, &one, w.data(), &n, x.data(), &n, &info, 1);
    };
  });
  add("dposv", "eigen", n, measure, [=] {
    return [a = eigen_matrix<double>(n), b = Eigen::VectorXd(Eigen::VectorXd::Random(n)),
            x = Eigen::VectorXd(n)]() mutable {
      x = a.llt().solve(b);
      benchmark::DoNotOptimize(x.data());
    };
  });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  const int sizes[] = {4, 8, 16, 32, 50, 64, 100, 200, 300, 500, 1000, 2000, 4000};
  for (const int n : sizes) {
    add_factorisation<double>(n);
    add_factorisation<float>(n);
    add_factorisation<std::complex<double>>(n);
    add_solve(n);
  }
  return run(argc, argv);
}
