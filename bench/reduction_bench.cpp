// Reduction of symmetric and Hermitian matrices to tridiagonal form, and its kernel calls alone: the products of the
// rest with a vector and the updates, of the same shapes in the same places. What the reduction takes beside them is
// the work of its panels.

#include "blas.hpp"
#include "layer.hpp"
#include "support/benchmarks.hpp"

namespace nuv::bench {
namespace {

template <class T>
constexpr bool is_complex = !std::is_same_v<T, Real<T>>;

template <class T>
std::string name(const char* real_name, const char* complex_name) {
  return letter<T> + std::string(is_complex<T> ? complex_name : real_name);
}

template <class T>
void multiply(char uplo, int n, Matrix<const T> A, Vector<const T> x, Vector<T> y) {
  if constexpr (is_complex<T>) {
    blas::hemv_nb(uplo, n, n, T(1), A, x, T(0), y);
  } else {
    blas::symv_nb(uplo, n, n, T(1), A, x, T(0), y);
  }
}

template <class T>
void update(char uplo, int n, int k, Matrix<const T> V, Matrix<const T> W, Matrix<T> A) {
  if constexpr (is_complex<T>) {
    blas::her2k(uplo, 'N', n, k, T(-1), V, W, Real<T>(1), A);
  } else {
    blas::syr2k(uplo, 'N', n, k, T(-1), V, W, T(1), A);
  }
}

template <class T>
void update(char uplo, int n, Vector<const T> x, Vector<const T> y, Matrix<T> A) {
  if constexpr (is_complex<T>) {
    blas::her2_nb(uplo, n, n, T(-1), x, y, A);
  } else {
    blas::syr2_nb(uplo, n, n, T(-1), x, y, A);
  }
}

template <class T>
int best_workspace(char uplo, int n) {
  T best;
  int info = 0;
  layer::sytrd(uplo, n, Matrix<T>{nullptr, n}, nullptr, nullptr, nullptr, &best, -1, info);
  return static_cast<int>(std::real(best));
}

template <class T>
Measure reduction_work(int n) {
  return multiply_adds<T>(2.0 / 3 * n * double(n) * n);
}

template <class T>
void add_reduction(char uplo, int n) {
  add(name<T>("sytrd", "hetrd") + uplo, "nuv", n, reduction_work<T>(n), [=] {
    return [=, a = random_numbers<T>(std::size_t(n) * n), A = std::vector<T>(std::size_t(n) * n),
            d = std::vector<Real<T>>(n), e = std::vector<Real<T>>(n), tau = std::vector<T>(n),
            work = std::vector<T>(best_workspace<T>(uplo, n))]() mutable {
      A = a;
      int info = 0;
      layer::sytrd(uplo, n, Matrix<T>{A.data(), n}, d.data(), e.data(), tau.data(), work.data(),
                   static_cast<int>(work.size()), info);
    };
  });
}

/// The kernel calls of a reduction by panels of nb columns of the lower or upper triangle, nx of which are left to the
/// unblocked code.
template <class T>
void call_kernels(char uplo, int n, int nb, int nx, Matrix<T> A, Matrix<T> W) {
  const bool upper = uplo == 'U';
  int left = n;
  const auto rest = [&](int order) { return upper ? A : block(A, n - order + 1, n - order + 1); };
  const auto column_beside = [&](int order) {
    return upper ? column(A, 1, order + 1) : column(A, n - order + 1, n - order);
  };
  for (; left > nx; left -= nb) {
    for (int k = 1; k <= nb; ++k) multiply<T>(uplo, left - k, rest(left - k), column_beside(left - k), column(W, 1, k));
    const int order = left - nb;
    update<T>(uplo, order, nb, upper ? block(A, 1, order + 1) : block(A, n - order + 1, n - left + 1), W, rest(order));
  }
  for (int order = left - 1; order >= 1; --order) {
    multiply<T>(uplo, order, rest(order), column_beside(order), column(W, 1, 1));
    update<T>(uplo, order, column_beside(order), column(W, 1, 1), rest(order));
  }
}

template <class T>
void add_kernel_calls(char uplo, int n, int nx) {
  add(name<T>("sytrd", "hetrd") + uplo, "kernels", n, reduction_work<T>(n), [=] {
    const int nb = best_workspace<T>(uplo, n) / n;
    std::vector<T> small = random_numbers<T>(std::size_t(n) * n);
    for (T& x : small) x *= Real<T>(1e-3);  // so that what is no reduction doesn't grow
    return [=, a = small, A = std::vector<T>(std::size_t(n) * n), W = std::vector<T>(std::size_t(n) * nb)]() mutable {
      A = a;
      call_kernels<T>(uplo, n, nb, std::min(nx, n), {A.data(), n}, {W.data(), n});
    };
  });
}

}  // namespace
}  // namespace nuv::bench

int main(int argc, char** argv) {
  using namespace nuv::bench;
  for (const int n : {100, 200, 500, 1000, 2000}) {
    for (const char uplo : {'U', 'L'}) {
      add_reduction<double>(uplo, n);
      add_kernel_calls<double>(uplo, n, 200);
      add_reduction<std::complex<double>>(uplo, n);
      add_kernel_calls<std::complex<double>>(uplo, n, 100);
    }
  }
  return run(argc, argv);
}
