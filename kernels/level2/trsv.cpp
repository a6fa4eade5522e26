#include "base/quotient.hpp"
#include "frame/error_report.hpp"
#include "kernels/level2/panel.hpp"
#include "kernels/level2/product.hpp"
#include "kernels/level2/triangular.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace {

/// a b subtracted from c
template <RealScalar T>
[[gnu::always_inline]] inline T minus_product(T c, T a, T b) {
  return simd::fnma(a, b, c);
}
template <ComplexScalar T>
[[gnu::always_inline]] inline T minus_product(T c, T a, T b) {
  return {simd::fma(a.imag(), b.imag(), simd::fnma(a.real(), b.real(), c.real())),
          simd::fnma(a.imag(), b.real(), simd::fnma(a.real(), b.imag(), c.imag()))};
}

/// x := L^-1 x
template <int order, Scalar T>
[[gnu::noinline]] void solve_block(const LowerBlock<T>& L) {
  T x[order];
#pragma GCC unroll 8
  for (int i = 0; i < order; ++i) x[i] = L.x[i * L.x_step];
#pragma GCC unroll 8
  for (int j = 0; j < order; ++j) {
    if (!L.unit_diagonal) x[j] = quotient(x[j], L(j, j));
    L.x[j * L.x_step] = x[j];
#pragma GCC unroll 8
    for (int i = j + 1; i < order; ++i) x[i] = minus_product(x[i], L(i, j), x[j]);
  }
}

/// Rows j ... j + k - 1 of x := D^-1 x, D the block of op(A) on the diagonal there, k at most column_group.
template <Scalar T>
[[gnu::always_inline]] inline void solve_diagonal_block(const TriangularMatrix<T>& A, Int j, Int k, T* x) {
  with_number<column_group<T>>(k, [&](auto order) { solve_block<order>(A.diagonal_block(j, k, x)); });
}

/// x := op(A)^-1 x for contiguous x.
template <Scalar T>
[[gnu::noinline]] void solve(const TriangularMatrix<T>& A, Int n, T* x) {
  constexpr int most = column_group<T>;
  for_each_panel(n, A.upper, !A.is_upper(), most, [&](Int j, Int k) {
    const Panel panel = panel_of(A.A, A.upper, n, j, k);
    T* const beside = x + rows_beside(A.upper, n, j, k).first;
    if (A.transposed && panel.height > 0) {
      T products[padded<T>(most)];
      with_constant(ComplexScalar<T> && A.conjugated, [&](auto choice) {
        constexpr bool conjugated = choice && ComplexScalar<T>;
        multiply_by_columns<most, conjugated>(panel.height, panel.rectangle, panel.ld, beside, products);
      });
      add_scaled(most, Real<T>(-1), products, Vector{x + j, 1});
    }
    solve_diagonal_block(A, j, k, x);
    if (!A.transposed && panel.height > 0) {
      T factors[most];
      for (Int i = 0; i < most; ++i) factors[i] = negated(x[j + i]);
      add_columns<most>(panel.height, panel.rectangle, panel.ld, factors, beside);
    }
  });
}

/// The same for an x that is not contiguous, or longer than the cache is to hold.
template <Scalar T>
[[gnu::noinline]] void solve_by_pieces(const TriangularMatrix<T>& A, Int n, Vector<T> x) {
  for_each_panel(n, A.upper, !A.is_upper(), rows_at_a_time<T>(x.inc), [&](Int j, Int k) {
    Piece<T> copy;
    T* const part = contiguous(tail(x, j), k, copy);
    const auto [first, count] = rows_beside(A.upper, n, j, k);
    const Matrix rectangle = block(A.A, first + 1, j + 1);
    if (A.transposed)
      add_transposed_product(A.conjugated, count, k, Real<T>(-1), rectangle, tail(x, first), Vector{part, 1});
    solve(A.from(j), k, part);
    if (!A.transposed) add_product(count, k, Real<T>(-1), rectangle, {part, 1}, tail(x, first));
    put_back(tail(x, j), k, copy);
  });
}

}  // namespace

/// Solves op(A) x = b for a triangular A of order n, lda >= max(1, n), incx not zero; b in, x out. No test for
/// singularity is made. The triangle that uplo does not name, and the diagonal when diag is 'U', are not read.
template <Scalar T>
[[gnu::always_inline]] inline void trsv(char uplo, char trans, char diag, Int n, const T* a, Int lda, T* x, Int incx) {
  const Int info = check_triangular_vector(uplo, trans, diag, n, lda, incx);
  if (info != 0) return report_bad_argument<T>("TRSV", info);

  const TriangularMatrix<T> A(uplo, trans, diag, a, lda);
  if (incx == 1 && n <= column_group<T>) return solve_diagonal_block(A, 0, n, x);
  if (incx == 1 && n <= rows_at_a_time<T>(1)) return solve(A, n, x);
  solve_by_pieces(A, n, from_first(x, n, incx));
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level2/trsv.entries.inc"
