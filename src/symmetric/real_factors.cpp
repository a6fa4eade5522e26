#include "symmetric/real_factors.hpp"

#include <algorithm>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "frame/option_matching.hpp"

namespace nuv {

// A complex matrix is a real one with two rows for each of its rows.
template <ComplexScalar T>
void lacrm(Int m, Int n, const T* a, Int lda, const Real<T>* b, Int ldb, T* c, Int ldc, Real<T>* /*rwork*/) {
  using R = Real<T>;
  if (m == 0 || n == 0) return;
  const Matrix<const R> parts_of_a{reinterpret_cast<const R*>(a), 2 * lda};
  const Matrix<R> parts_of_c{reinterpret_cast<R*>(c), 2 * ldc};
  blas::gemm('N', 'N', 2 * m, n, n, R(1), parts_of_a, {b, ldb}, R(0), parts_of_c);
}

template <ComplexScalar T>
void larcm(Int m, Int n, const Real<T>* a, Int lda, const T* b, Int ldb, T* c, Int ldc, Real<T>* rwork) {
  using R = Real<T>;
  if (m == 0 || n == 0) return;
  const Matrix B{b, ldb};
  const Matrix C{c, ldc};
  const Matrix part{rwork, m}, product{rwork + std::ptrdiff_t{m} * n, m};
  const auto multiply = [&](auto part_of, auto put) {
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= m; ++i) part(i, j) = part_of(B(i, j));
    }
    blas::gemm('N', 'N', m, n, m, R(1), {a, lda}, part, R(0), product);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= m; ++i) put(C(i, j), product(i, j));
    }
  };
  multiply([](T x) { return x.real(); }, [](T& x, R value) { x = value; });
  multiply([](T x) { return x.imag(); }, [](T& x, R value) { x.imag(value); });
}

template <ComplexScalar T>
void lacp2(char uplo, Int m, Int n, const Real<T>* a, Int lda, T* b, Int ldb) {
  const Matrix A{a, lda};
  const Matrix B{b, ldb};
  for (Int j = 1; j <= n; ++j) {
    const Int first = same_letter(uplo, 'L') ? j : 1, last = same_letter(uplo, 'U') ? std::min(j, m) : m;
    for (Int i = first; i <= last; ++i) B(i, j) = A(i, j);
  }
}

}  // namespace nuv

#include "symmetric/real_factors.entries.inc"
