#include "base/matrix.hpp"
#include "base/simd.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace {

template <RealScalar R>
R product_subtracted(R a, R b, R from) {
  return simd::fnma(a, b, from);
}

template <RealScalar R>
std::complex<R> product_subtracted(std::complex<R> a, std::complex<R> b, std::complex<R> from) {
  return {simd::fma(a.imag(), b.imag(), simd::fnma(a.real(), b.real(), from.real())),
          simd::fnma(a.imag(), b.real(), simd::fnma(a.real(), b.imag(), from.imag()))};
}

/// Solves L D L^H X = B for `columns` columns at once: each recurrence waits for its own last result only. e holds the
/// subdiagonal of L, or with `conjugated` its conjugate, the superdiagonal of L^H.
template <int columns, bool conjugated, Scalar T>
void solve_columns(Int n, const Real<T>* d, const T* e, Matrix<T> B) {
  const auto subdiagonal = [=](Int i) { return conjugated ? conjugate(e[i - 1]) : e[i - 1]; };
  const auto superdiagonal = [=](Int i) { return conjugated ? e[i - 1] : conjugate(e[i - 1]); };
  T last[columns];
  for (int j = 0; j < columns; ++j) last[j] = B(1, j + 1);
  for (Int i = 2; i <= n; ++i) {
    const T factor = subdiagonal(i - 1);
#pragma GCC unroll 4
    for (int j = 0; j < columns; ++j) B(i, j + 1) = last[j] = product_subtracted(last[j], factor, B(i, j + 1));
  }
  for (int j = 0; j < columns; ++j) B(n, j + 1) = last[j] = last[j] / d[n - 1];
  for (Int i = n - 1; i >= 1; --i) {
    const T factor = superdiagonal(i);
#pragma GCC unroll 4
    for (int j = 0; j < columns; ++j)
      B(i, j + 1) = last[j] = product_subtracted(last[j], factor, B(i, j + 1) / d[i - 1]);
  }
}

template <bool conjugated, Scalar T>
void solve(Int n, Int nrhs, const Real<T>* d, const T* e, Matrix<T> B) {
  if (n < 1 || nrhs < 1) return;
  constexpr int group = 4;
  Int j = 1;
  for (; j <= nrhs - (group - 1); j += group) solve_columns<group, conjugated>(n, d, e, block(B, 1, j));
  for (; j <= nrhs; ++j) solve_columns<1, conjugated>(n, d, e, block(B, 1, j));
}

}  // namespace

/// Solves A X = B for a positive definite tridiagonal A = L D L^T of order n: d holds the diagonal of D, e the
/// subdiagonal of the unit bidiagonal L; nrhs right-hand sides in b, solutions out.
template <RealScalar T>
void ptts2(Int n, Int nrhs, const T* d, const T* e, T* b, Int ldb) {
  solve<false>(n, nrhs, d, e, Matrix{b, ldb});
}

/// The Hermitian form. iuplo 1: A = U^H D U, e holds the superdiagonal of U; otherwise A = L D L^H, e the subdiagonal
/// of L.
template <ComplexScalar T>
void ptts2(Int iuplo, Int n, Int nrhs, const Real<T>* d, const T* e, T* b, Int ldb) {
  if (iuplo == 1) {
    solve<true>(n, nrhs, d, e, Matrix{b, ldb});
  } else {
    solve<false>(n, nrhs, d, e, Matrix{b, ldb});
  }
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/special/ptts2.entries.inc"
