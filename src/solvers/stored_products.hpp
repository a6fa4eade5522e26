#pragma once

// Products with a matrix in each storage form, as error bounds need them: residuals, and products of magnitudes.
//
//     order()                       n
//     most_terms()                  terms in a row of b - A x, at most
//     residual(trans, b, x, r)      r := b - op(A) x; triangular forms give its negative
//     add_magnitudes(trans, x, y)   y += |op(A)| |x|
//
// or, for both of these, residual_with_magnitudes(trans, b, x, r, y).
//
// trans is 'N', 'T' or 'C'; Hermitian and symmetric forms do not look at it.

#include <algorithm>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "frame/option_matching.hpp"
#include "solvers/absolute_products.hpp"
#include "solvers/diagonal_pivoting.hpp"
#include "solvers/mirrored_products.hpp"
#include "solvers/tridiagonal_lu.hpp"

namespace nuv {

inline bool is_transposed(char trans) {
  return !same_letter(trans, 'N');
}

template <Scalar T>
struct GeneralProduct {
  Int n;
  Matrix<const T> A;

  Int order() const { return n; }
  std::int64_t most_terms() const { return std::int64_t{n} + 1; }

  /// Both products of a panel of columns while it is in cache, so that a large A comes from memory once.
  void residual_with_magnitudes(char trans, const T* b, const T* x, T* r, Real<T>* y) const {
    constexpr Int panel_size = (256 << 10) / sizeof(T), least_width = 8;
    const Int width = std::max(least_width, panel_size / n / least_width * least_width);
    blas::copy(n, {b, 1}, Vector{r, 1});
    for (Int done = 0; done < n; done += width) {
      const Int columns = std::min(width, n - done);
      const Matrix panel = block(A, 1, done + 1);
      if (is_transposed(trans)) {
        blas::gemv(trans, n, columns, T(-1), panel, {x, 1}, T(1), Vector{r + done, 1});
        add_absolute_product(true, columns, FullColumns<T>{n, panel}, x, y + done);
      } else {
        blas::gemv('N', n, columns, T(-1), panel, {x + done, 1}, T(1), Vector{r, 1});
        add_absolute_product(false, columns, FullColumns<T>{n, panel}, x + done, y);
      }
    }
  }
};

template <Scalar T>
struct GeneralBandProduct {
  Int n;
  Int kl;
  Int ku;
  Matrix<const T> AB;

  Int order() const { return n; }
  std::int64_t most_terms() const { return std::min(std::int64_t{kl} + ku + 2, std::int64_t{n} + 1); }

  void residual(char trans, const T* b, const T* x, T* r) const {
    blas::copy(n, {b, 1}, Vector{r, 1});
    blas::gbmv(trans, n, n, kl, ku, T(-1), AB, {x, 1}, T(1), Vector{r, 1});
  }

  void add_magnitudes(char trans, const T* x, Real<T>* y) const {
    add_absolute_product(is_transposed(trans), n, BandColumns<T>{n, kl, ku, AB}, x, y);
  }
};

/// A symmetric or Hermitian matrix.
template <Mirror mirror, Scalar T>
struct MirroredProduct {
  char uplo;
  Int n;
  Matrix<const T> A;

  Int order() const { return n; }
  std::int64_t most_terms() const { return std::int64_t{n} + 1; }

  void residual(char, const T* b, const T* x, T* r) const {
    blas::copy(n, {b, 1}, Vector{r, 1});
    multiply_mirrored<mirror, T>(uplo, n, T(-1), A, {x, 1}, T(1), {r, 1});
  }

  void add_magnitudes(char, const T* x, Real<T>* y) const {
    const bool upper = same_letter(uplo, 'U');
    add_absolute_product_symmetric(upper, mirror == Mirror::conjugate, n, TrapezoidColumns<T>{upper, n, A}, x, y);
  }
};

/// The same in packed storage.
template <Mirror mirror, Scalar T>
struct PackedMirroredProduct {
  char uplo;
  Int n;
  const T* ap;

  Int order() const { return n; }
  std::int64_t most_terms() const { return std::int64_t{n} + 1; }

  void residual(char, const T* b, const T* x, T* r) const {
    blas::copy(n, {b, 1}, Vector{r, 1});
    multiply_mirrored<mirror, T>(uplo, n, T(-1), ap, {x, 1}, T(1), {r, 1});
  }

  void add_magnitudes(char, const T* x, Real<T>* y) const {
    const bool upper = same_letter(uplo, 'U');
    add_absolute_product_symmetric(upper, mirror == Mirror::conjugate, n, PackedColumns<T>{upper, n, ap}, x, y);
  }
};

template <Scalar T>
struct HermitianBandProduct {
  char uplo;
  Int n;
  Int kd;
  Matrix<const T> AB;

  Int order() const { return n; }
  std::int64_t most_terms() const { return std::min(2 * std::int64_t{kd} + 2, std::int64_t{n} + 1); }

  void residual(char, const T* b, const T* x, T* r) const {
    blas::copy(n, {b, 1}, Vector{r, 1});
    if constexpr (ComplexScalar<T>) {
      blas::hbmv(uplo, n, kd, T(-1), AB, {x, 1}, T(1), Vector{r, 1});
    } else {
      blas::sbmv(uplo, n, kd, T(-1), AB, {x, 1}, T(1), Vector{r, 1});
    }
  }

  void add_magnitudes(char, const T* x, Real<T>* y) const {
    const bool upper = same_letter(uplo, 'U');
    add_absolute_product_symmetric(upper, true, n, band_triangle(upper, n, kd, AB), x, y);
  }
};

template <Scalar T>
struct TridiagonalProduct {
  Int n;
  const T* dl;
  const T* d;
  const T* du;

  Int order() const { return n; }
  std::int64_t most_terms() const { return 4; }

  void residual(char trans, const T* b, const T* x, T* r) const {
    blas::copy(n, {b, 1}, Vector{r, 1});
    lagtm(trans, n, 1, Real<T>(-1), dl, d, du, x, n, Real<T>(1), r, n);
  }

  void add_magnitudes(char trans, const T* x, Real<T>* y) const {
    const T* const below = is_transposed(trans) ? du : dl;
    const T* const above = is_transposed(trans) ? dl : du;
    for (Int i = 0; i < n; ++i) {
      if (i > 0) y[i] += abs1(below[i - 1]) * abs1(x[i - 1]);
      y[i] += abs1(d[i]) * abs1(x[i]);
      if (i + 1 < n) y[i] += abs1(above[i]) * abs1(x[i + 1]);
    }
  }
};

/// e is the diagonal above the main one (uplo 'U') or below it.
template <Scalar T>
struct HermitianTridiagonalProduct {
  char uplo;
  Int n;
  const Real<T>* d;
  const T* e;

  Int order() const { return n; }
  std::int64_t most_terms() const { return 4; }

  void residual(char, const T* b, const T* x, T* r) const {
    const bool upper = same_letter(uplo, 'U');
    for (Int i = 0; i < n; ++i) {
      r[i] = b[i];
      if (i > 0) r[i] -= (upper ? conjugate(e[i - 1]) : e[i - 1]) * x[i - 1];
      r[i] -= d[i] * x[i];
      if (i + 1 < n) r[i] -= (upper ? e[i] : conjugate(e[i])) * x[i + 1];
    }
  }

  void add_magnitudes(char, const T* x, Real<T>* y) const {
    for (Int i = 0; i < n; ++i) {
      if (i > 0) y[i] += abs1(e[i - 1]) * abs1(x[i - 1]);
      y[i] += std::abs(d[i]) * abs1(x[i]);
      if (i + 1 < n) y[i] += abs1(e[i]) * abs1(x[i + 1]);
    }
  }
};

/// y += |op(A)| |x| for a triangular matrix with these columns.
template <Scalar T, class Columns>
void add_triangle_magnitudes(char uplo, char trans, char diag, Int n, const Columns& columns, const T* x, Real<T>* y) {
  if (same_letter(diag, 'U')) {
    add_absolute_product_unit(same_letter(uplo, 'U'), is_transposed(trans), n, columns, x, y);
  } else {
    add_absolute_product(is_transposed(trans), n, columns, x, y);
  }
}

/// Triangular forms are their own factors.
template <Scalar T>
struct TriangleProduct {
  char uplo;
  char diag;
  Int n;
  Matrix<const T> A;

  Int order() const { return n; }
  std::int64_t most_terms() const { return std::int64_t{n} + 1; }

  void residual(char trans, const T* b, const T* x, T* r) const {
    blas::copy(n, {x, 1}, Vector{r, 1});
    blas::trmv(uplo, trans, diag, n, A, Vector{r, 1});
    blas::axpy(n, T(-1), {b, 1}, Vector{r, 1});
  }

  void add_magnitudes(char trans, const T* x, Real<T>* y) const {
    add_triangle_magnitudes(uplo, trans, diag, n, TrapezoidColumns<T>{same_letter(uplo, 'U'), n, A}, x, y);
  }

  void solve(char trans, T* x) const { blas::trsv(uplo, trans, diag, n, A, Vector{x, 1}); }
};

template <Scalar T>
struct PackedTriangleProduct {
  char uplo;
  char diag;
  Int n;
  const T* ap;

  Int order() const { return n; }
  std::int64_t most_terms() const { return std::int64_t{n} + 1; }

  void residual(char trans, const T* b, const T* x, T* r) const {
    blas::copy(n, {x, 1}, Vector{r, 1});
    blas::tpmv(uplo, trans, diag, n, ap, Vector{r, 1});
    blas::axpy(n, T(-1), {b, 1}, Vector{r, 1});
  }

  void add_magnitudes(char trans, const T* x, Real<T>* y) const {
    add_triangle_magnitudes(uplo, trans, diag, n, PackedColumns<T>{same_letter(uplo, 'U'), n, ap}, x, y);
  }

  void solve(char trans, T* x) const { blas::tpsv(uplo, trans, diag, n, ap, Vector{x, 1}); }
};

template <Scalar T>
struct BandTriangleProduct {
  char uplo;
  char diag;
  Int n;
  Int kd;
  Matrix<const T> AB;

  Int order() const { return n; }
  std::int64_t most_terms() const { return std::int64_t{kd} + 2; }

  void residual(char trans, const T* b, const T* x, T* r) const {
    blas::copy(n, {x, 1}, Vector{r, 1});
    blas::tbmv(uplo, trans, diag, n, kd, AB, Vector{r, 1});
    blas::axpy(n, T(-1), {b, 1}, Vector{r, 1});
  }

  void add_magnitudes(char trans, const T* x, Real<T>* y) const {
    add_triangle_magnitudes(uplo, trans, diag, n, band_triangle(same_letter(uplo, 'U'), n, kd, AB), x, y);
  }

  void solve(char trans, T* x) const { blas::tbsv(uplo, trans, diag, n, kd, AB, Vector{x, 1}); }
};

}  // namespace nuv
