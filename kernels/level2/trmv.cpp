#include "frame/error_report.hpp"
#include "kernels/level2/product.hpp"
#include "kernels/level2/triangular.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace {

/// What the corners of op(A) are.
template <Scalar T>
Corner corner_of(const TriangularMatrix<T>& A) {
  if (!A.transposed) return A.unit_diagonal ? Corner::strict : Corner::plain;
  if (RealScalar<T> || !A.conjugated) return A.unit_diagonal ? Corner::strict_transposed : Corner::transposed;
  return A.unit_diagonal ? Corner::strict_adjoint : Corner::adjoint;
}

/// x := op(A) x for contiguous x, with corners of this kind.
template <bool upper, Corner kind, Scalar T>
void multiply_by_panels(const TriangularMatrix<T>& A, Int n, T* x) {
  constexpr int most = column_group<T>;
  for_each_panel(n, upper, A.is_upper(), most, [&](Int j, Int k) {
    T product[padded<T>(most)];
    T* const beside = x + rows_beside(upper, n, j, k).first;
    multiply_panel<most, upper, kind>(panel_of(A.A, upper, n, j, k), x + j, product, beside, x + j, beside);
    if (A.unit_diagonal) {
      add_scaled(k, Real<T>(1), product, Vector{x + j, 1});
    } else {
      std::copy_n(product, k, x + j);
    }
  });
}

/// The same with the choice at run time.
template <Corner candidate = Corner::plain, Scalar T>
void multiply(const TriangularMatrix<T>& A, Int n, T* x) {
  constexpr Corner last = ComplexScalar<T> ? Corner::strict_adjoint : Corner::strict_transposed;
  if constexpr (candidate < last) {
    constexpr Corner next{static_cast<int>(candidate) + 1};
    if (candidate != corner_of(A)) return multiply<next>(A, n, x);
  }
  with_constant(A.upper, [&](auto upper) { multiply_by_panels<upper, candidate>(A, n, x); });
}

}  // namespace

/// x := op(A) x for a triangular A of order n, lda >= max(1, n), incx not zero. The triangle that uplo does not name,
/// and the diagonal when diag is 'U', are not read.
template <Scalar T>
void trmv(char uplo, char trans, char diag, Int n, const T* a, Int lda, T* x, Int incx) {
  const Int info = check_triangular_vector(uplo, trans, diag, n, lda, incx);
  if (info != 0) return report_bad_argument<T>("TRMV", info);

  const TriangularMatrix<T> A(uplo, trans, diag, a, lda);
  const Vector X = from_first(x, n, incx);
  // Each part of the product is formed while the parts that enter it are still those of x.
  for_each_panel(n, A.upper, A.is_upper(), rows_at_a_time<T>(incx), [&](Int j, Int k) {
    Piece<T> copy;
    T* const part = contiguous(tail(X, j), k, copy);
    const auto [first, count] = rows_beside(A.upper, n, j, k);
    const Matrix rectangle = block(A.A, first + 1, j + 1);
    if (!A.transposed) add_product(count, k, Real<T>(1), rectangle, {part, 1}, tail(X, first));
    multiply(A.from(j), k, part);
    if (A.transposed)
      add_transposed_product(A.conjugated, count, k, Real<T>(1), rectangle, tail(X, first), Vector{part, 1});
    put_back(tail(X, j), k, copy);
  });
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level2/trmv.entries.inc"
