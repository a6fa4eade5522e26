#include "symmetric/generalised_reduction.hpp"

#include <algorithm>

#include "base/matrix.hpp"
#include "environment/block_plan.hpp"
#include "environment/hermitian.hpp"
#include "environment/packed_storage.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "symmetric/hermitian_products.hpp"

namespace nuv {
namespace {

/// 0, or minus the position of the first bad argument of itype, uplo, n.
Int check_problem(Int itype, char uplo, Int n) {
  if (itype < 1 || itype > 3) return -1;
  if (!is_one_of(uplo, 'U', 'L')) return -2;
  if (n < 0) return -3;
  return 0;
}

/// The same for itype, uplo, n, a, lda, b, ldb.
Int check_full(Int itype, char uplo, Int n, Int lda, Int ldb) {
  if (const Int bad = check_problem(itype, uplo, n); bad != 0) return bad;
  if (lda < std::max(1, n)) return -5;
  if (ldb < std::max(1, n)) return -7;
  return 0;
}

// ------------------------------------------------------------------------------------------------------ full storage

/// One triangle of A := A + factor (a^H b + b^H a) for rows a and b.
template <Scalar T>
void add_products_of_rows(char uplo, Int n, Real<T> factor, Vector<const T> a, Vector<const T> b, Matrix<T> A) {
  if constexpr (ComplexScalar<T>) {
    add_products_with_adjoints<T>(uplo, 'C', n, 1, factor, Matrix{a.data, a.inc}, Matrix{b.data, b.inc}, A);
  } else {
    add_products_with_adjoints<T>(uplo, n, factor, a, b, A);
  }
}

/// Step k of U^-H A U^-1 or L^-1 A L^-H finishes the row (upper) or column (lower) of the diagonal element and takes
/// its part from the triangle behind it:
///
///     a11 | a12         a12 := (a12 - a11 u12) U22^-1          (a11 already divided by u11^2, a12 by u11)
///      .  | A22         A22 := A22 - a12^H u12 - u12^H a12     (a12 with half of the term in a11)
///
/// The lower form is its adjoint.
template <Scalar T>
void reduce_by_inverse(char uplo, Int n, Matrix<T> A, Matrix<const T> B) {
  using R = Real<T>;
  const bool upper = uplo == 'U';
  for (Int k = 1; k <= n; ++k) {
    const Int rest = n - k;
    const R bkk = std::real(B(k, k)), akk = std::real(A(k, k)) / (bkk * bkk);
    A(k, k) = akk;
    if (rest == 0) return;
    const Vector<T> a = upper ? row(A, k, k + 1) : column(A, k + 1, k);
    const Vector<const T> b = upper ? row(B, k, k + 1) : column(B, k + 1, k);
    const Matrix<T> A22 = block(A, k + 1, k + 1);
    const T minus_half(akk * R(-0.5));
    blas::scal(rest, R(1) / bkk, a);
    blas::axpy(rest, minus_half, b, a);
    if (upper) add_products_of_rows<T>('U', rest, R(-1), a, b, A22);
    else add_products_with_adjoints<T>('L', rest, R(-1), a, b, A22);
    blas::axpy(rest, minus_half, b, a);
    blas::trsv(uplo, upper ? 'T' : 'N', 'N', rest, block(B, k + 1, k + 1), a);
  }
}

/// Step k of U A U^H or L^H A L joins the column (upper) or row (lower) of the next diagonal element to the triangle
/// before it:
///
///     A00 | a01         A00 := A00 + a01 u01^H + u01 a01^H     (a01 already multiplied by U00, with half of the term
///      .  | a11         a01 := (a01 + a11 u01) u11              in a11)
template <Scalar T>
void reduce_by_product(char uplo, Int n, Matrix<T> A, Matrix<const T> B) {
  using R = Real<T>;
  const bool upper = uplo == 'U';
  for (Int k = 1; k <= n; ++k) {
    const Int before = k - 1;
    const R bkk = std::real(B(k, k)), akk = std::real(A(k, k));
    const Vector<T> a = upper ? column(A, 1, k) : row(A, k, 1);
    const Vector<const T> b = upper ? column(B, 1, k) : row(B, k, 1);
    const T half(akk * R(0.5));
    blas::trmv(uplo, upper ? 'N' : 'T', 'N', before, B, a);
    blas::axpy(before, half, b, a);
    if (upper) add_products_with_adjoints<T>('U', before, R(1), a, b, A);
    else add_products_of_rows<T>('L', before, R(1), a, b, A);
    blas::axpy(before, half, b, a);
    blas::scal(before, bkk, a);
    A(k, k) = akk * (bkk * bkk);
  }
}

/// The same with a block of nb rows or columns in the place of one.
template <Scalar T>
void reduce_by_inverse(char uplo, Int n, Int nb, Matrix<T> A, Matrix<const T> B) {
  using R = Real<T>;
  const bool upper = uplo == 'U';
  for (Int k = 1; k <= n; k += nb) {
    const Int kb = std::min(nb, n - k + 1), next = k + kb, rest = n - next + 1;
    const Matrix<T> A11 = block(A, k, k), A22 = block(A, next, next);
    const Matrix<const T> B11 = block(B, k, k), B22 = block(B, next, next);
    reduce_by_inverse(uplo, kb, A11, B11);
    if (rest == 0) return;
    const Matrix<T> A12 = upper ? block(A, k, next) : block(A, next, k);
    const Matrix<const T> B12 = upper ? block(B, k, next) : block(B, next, k);
    const char near = upper ? 'L' : 'R', far = upper ? 'R' : 'L';
    const Int rows = upper ? kb : rest, columns = upper ? rest : kb;
    blas::trsm(near, uplo, adjoint<T>, 'N', rows, columns, T(1), B11, A12);
    add_hermitian_product<T>(near, uplo, rows, columns, R(-0.5), A11, B12, A12);
    add_products_with_adjoints<T>(uplo, upper ? adjoint<T> : 'N', rest, kb, R(-1), A12, B12, A22);
    add_hermitian_product<T>(near, uplo, rows, columns, R(-0.5), A11, B12, A12);
    blas::trsm(far, uplo, 'N', 'N', rows, columns, T(1), B22, A12);
  }
}

template <Scalar T>
void reduce_by_product(char uplo, Int n, Int nb, Matrix<T> A, Matrix<const T> B) {
  using R = Real<T>;
  const bool upper = uplo == 'U';
  for (Int k = 1; k <= n; k += nb) {
    const Int kb = std::min(nb, n - k + 1), before = k - 1;
    const Matrix<T> A11 = block(A, k, k), A01 = upper ? block(A, 1, k) : block(A, k, 1);
    const Matrix<const T> B11 = block(B, k, k), B01 = upper ? block(B, 1, k) : block(B, k, 1);
    const char near = upper ? 'R' : 'L', far = upper ? 'L' : 'R';
    const Int rows = upper ? before : kb, columns = upper ? kb : before;
    blas::trmm(far, uplo, 'N', 'N', rows, columns, T(1), B, A01);
    add_hermitian_product<T>(near, uplo, rows, columns, R(0.5), A11, B01, A01);
    add_products_with_adjoints<T>(uplo, upper ? 'N' : adjoint<T>, before, kb, R(1), A01, B01, A);
    add_hermitian_product<T>(near, uplo, rows, columns, R(0.5), A11, B01, A01);
    blas::trmm(near, uplo, adjoint<T>, 'N', rows, columns, T(1), B11, A01);
    reduce_by_product(uplo, kb, A11, B11);
  }
}

}  // namespace

template <Scalar T>
void sygst(Int itype, char uplo, Int n, T* a, Int lda, const T* b, Int ldb, Int& info) {
  info = check_full(itype, uplo, n, lda, ldb);
  if (info != 0) return report_bad_argument(name_of<T>("SYGST", "HEGST"), info);
  const Int nb = Tuning<T>{name_of<T>("SYGST", "HEGST"), {&uplo, 1}, n}.block_size();
  if (!are_divided(n, nb)) return sygs2(itype, uplo, n, a, lda, b, ldb, info);
  const char triangle = same_letter(uplo, 'U') ? 'U' : 'L';
  if (itype == 1) reduce_by_inverse<T>(triangle, n, nb, {a, lda}, {b, ldb});
  else reduce_by_product<T>(triangle, n, nb, {a, lda}, {b, ldb});
}

template <Scalar T>
void sygs2(Int itype, char uplo, Int n, T* a, Int lda, const T* b, Int ldb, Int& info) {
  info = check_full(itype, uplo, n, lda, ldb);
  if (info != 0) return report_bad_argument(name_of<T>("SYGS2", "HEGS2"), info);
  const char triangle = same_letter(uplo, 'U') ? 'U' : 'L';
  if (itype == 1) reduce_by_inverse<T>(triangle, n, {a, lda}, {b, ldb});
  else reduce_by_product<T>(triangle, n, {a, lda}, {b, ldb});
}

// ---------------------------------------------------------------------------------------------------- packed storage

namespace {

/// A packed triangle of A, and of the factor.
template <Scalar T>
struct PackedProblem {
  using R = Real<T>;

  Int n;
  PackedTriangle<T> A;
  PackedTriangle<const T> B;

  R factor_diagonal(Int j) const { return std::real(B(j, j)); }

  /// Column j of U^-H A U^-1 from the columns before it.
  void divide_column(Int j) const {
    const R bjj = factor_diagonal(j);
    const Vector<T> a{A.at(1, j), 1};
    const Vector<const T> b{B.at(1, j), 1};
    A(j, j) = std::real(A(j, j));
    blas::tpsv('U', adjoint<T>, 'N', j, B.ap, a);
    add_hermitian_product<T>('U', j - 1, R(-1), A.ap, b, a);
    blas::scal(j - 1, R(1) / bjj, a);
    A(j, j) = (std::real(A(j, j)) - std::real(inner_product<T>(true, j - 1, a, b))) / bjj;
  }

  /// Column k of L^-1 A L^-H is finished and taken from what stands behind it.
  void divide_and_subtract_column(Int k) const {
    const Int rest = n - k;
    const R bkk = factor_diagonal(k), akk = std::real(A(k, k)) / (bkk * bkk);
    A(k, k) = akk;
    if (rest == 0) return;
    const Vector<T> a{A.at(k + 1, k), 1};
    const Vector<const T> b{B.at(k + 1, k), 1};
    const T minus_half(akk * R(-0.5));
    blas::scal(rest, R(1) / bkk, a);
    blas::axpy(rest, minus_half, b, a);
    add_products_with_adjoints<T>('L', rest, R(-1), a, b, A.at(k + 1, k + 1));
    blas::axpy(rest, minus_half, b, a);
    blas::tpsv('L', 'N', 'N', rest, B.at(k + 1, k + 1), a);
  }

  /// Column k of U A U^H joins those before it.
  void multiply_and_add_column(Int k) const {
    const Int before = k - 1;
    const R bkk = factor_diagonal(k), akk = std::real(A(k, k));
    const Vector<T> a{A.at(1, k), 1};
    const Vector<const T> b{B.at(1, k), 1};
    const T half(akk * R(0.5));
    blas::tpmv('U', 'N', 'N', before, B.ap, a);
    blas::axpy(before, half, b, a);
    add_products_with_adjoints<T>('U', before, R(1), a, b, A.ap);
    blas::axpy(before, half, b, a);
    blas::scal(before, bkk, a);
    A(k, k) = akk * (bkk * bkk);
  }

  /// Column j of L^H A L from what A has behind it.
  void multiply_column(Int j) const {
    const Int rest = n - j;
    const R bjj = factor_diagonal(j);
    const Vector<T> a{A.at(j + 1, j), 1};
    const Vector<const T> b{B.at(j + 1, j), 1};
    A(j, j) = std::real(A(j, j)) * bjj + inner_product<T>(true, rest, a, b);
    blas::scal(rest, bjj, a);
    if (rest > 0) add_hermitian_product<T>('L', rest, R(1), A.at(j + 1, j + 1), b, a);
    blas::tpmv('L', adjoint<T>, 'N', rest + 1, B.at(j, j), Vector<T>{A.at(j, j), 1});
    A(j, j) = std::real(A(j, j));
  }
};

}  // namespace

template <Scalar T>
void spgst(Int itype, char uplo, Int n, T* ap, const T* bp, Int& info) {
  info = check_problem(itype, uplo, n);
  if (info != 0) return report_bad_argument(name_of<T>("SPGST", "HPGST"), info);
  const bool upper = same_letter(uplo, 'U'), by_inverse = itype == 1;
  const PackedProblem<T> problem{n, {upper, n, ap}, {upper, n, bp}};
  for (Int k = 1; k <= n; ++k) {
    if (by_inverse && upper) problem.divide_column(k);
    else if (by_inverse) problem.divide_and_subtract_column(k);
    else if (upper) problem.multiply_and_add_column(k);
    else problem.multiply_column(k);
  }
}

}  // namespace nuv

#include "symmetric/generalised_reduction.entries.inc"
