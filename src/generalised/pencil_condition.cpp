#include "generalised/pencil_condition.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>

#include "environment/abs1.hpp"
#include "environment/extremes.hpp"
#include "environment/hermitian.hpp"
#include "environment/machine_constants.hpp"
#include "environment/magnitudes.hpp"
#include "environment/matrix_utilities.hpp"
#include "environment/sums_of_squares.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "generalised/block_move.hpp"
#include "generalised/pencil_sylvester.hpp"
#include "generalised/pencil_two_by_two.hpp"
#include "nonsymmetric/selected_eigenvalues.hpp"

namespace nuv {
namespace {

// ------------------------------------------------------------------------------------------------------ of eigenvalues

/// One matrix of a generalised Schur form. Of B nothing is read below the diagonal.
template <Scalar T>
struct FormMatrix {
  Int n;
  Matrix<const T> S;
  bool has_pairs;

  /// y := S x
  void multiply(Vector<const T> x, T* y) const {
    blas::copy(n, x, Vector{y, 1});
    blas::trmv('U', 'N', 'N', n, S, Vector{y, 1});
    if (!has_pairs) return;
    for (Int j = 1; j < n; ++j) y[j] += S(j + 1, j) * x.data[j - 1];
  }
};

/// |u^H S v| for the first columns of two matrices.
template <Scalar T>
Real<T> size_of_product(const FormMatrix<T>& S, Matrix<const T> U, Matrix<const T> V, T* work) {
  S.multiply(column(V, 1, 1), work);
  return magnitude(inner_product<T>(true, S.n, column(U, 1, 1), {work, 1}));
}

/// The same for complex vectors whose real and imaginary parts are two columns.
template <RealScalar R>
R size_of_product_of_pair(const FormMatrix<R>& S, Matrix<const R> U, Matrix<const R> V, R* work) {
  const Vector<const R> re = column(U, 1, 1), im = column(U, 1, 2), image{work, 1};
  S.multiply(column(V, 1, 1), work);
  R real = blas::dot(S.n, re, image), imaginary = negated(blas::dot(S.n, im, image));
  S.multiply(column(V, 1, 2), work);
  real += blas::dot(S.n, im, image);
  imaginary += blas::dot(S.n, re, image);
  return lapy2(real, imaginary);
}

/// |(u^H A v, u^H B v)| / (|u| |v|)
template <Scalar T>
Real<T> condition_of_value(Int n, DiagonalBlock block, Matrix<const T> A, Matrix<const T> B, Matrix<const T> U,
                           Matrix<const T> V, T* work) {
  const FormMatrix<T> S{n, A, RealScalar<T>}, P{n, B, false};
  if constexpr (RealScalar<T>) {
    if (block.order() == 2) {
      const T length = lapy2(blas::nrm2(n, column(U, 1, 1)), blas::nrm2(n, column(U, 1, 2))) *
                       lapy2(blas::nrm2(n, column(V, 1, 1)), blas::nrm2(n, column(V, 1, 2)));
      return lapy2(size_of_product_of_pair(S, U, V, work), size_of_product_of_pair(P, U, V, work)) / length;
    }
  }
  const Real<T> size = lapy2(size_of_product(S, U, V, work), size_of_product(P, U, V, work));
  return size == 0 ? Real<T>(-1) : size / (blas::nrm2(n, column(U, 1, 1)) * blas::nrm2(n, column(V, 1, 1)));
}

// ----------------------------------------------------------------------------------------------------- of eigenvectors

/// The smaller singular value of a matrix of order two with these elements' sum of squares and this determinant.
template <RealScalar R>
R smaller_singular_value(R sum_of_squares, R determinant) {
  const R gap = sum_of_squares * sum_of_squares - 4 * (determinant * determinant);
  const R larger = std::sqrt((sum_of_squares + std::sqrt(std::max(gap, R(0)))) / 2);
  return larger == 0 ? R(0) : determinant / larger;
}

/// A pencil of order two, by columns, divided by the largest of its elements.
template <RealScalar R>
struct UnitPencil {
  R a[4], b[4], size = 0;

  UnitPencil(Matrix<const R> A, Matrix<const R> B) {
    for (Int j = 1; j <= 2; ++j) {
      for (Int i = 1; i <= 2; ++i) {
        const Int k = i - 1 + 2 * (j - 1);
        a[k] = A(i, j);
        b[k] = i <= j ? B(i, j) : R(0);
        size = larger_or_nan(size, larger_or_nan(std::abs(a[k]), std::abs(b[k])));
      }
    }
    if (size == 0) return;
    for (Int k = 0; k < 4; ++k) {
      a[k] /= size;
      b[k] /= size;
    }
  }

  /// |B v| / |v| for the v of the eigenvalue w / beta: it is orthogonal to the rows of beta A - w B, of which the
  /// longer one tells it.
  R growth_by_b(R beta, std::complex<R> w) const {
    using C = std::complex<R>;
    const C row[2][2] = {{beta * a[0] - w * b[0], beta * a[2] - w * b[2]}, {beta * a[1], beta * a[3] - w * b[3]}};
    const auto length = [](const C* x) { return lapy2(magnitude(x[0]), magnitude(x[1])); };
    const C* const longer = length(row[0]) > length(row[1]) ? row[0] : row[1];
    const C v[2] = {negated(longer[1]), longer[0]};
    const C image[2] = {b[0] * v[0] + b[2] * v[1], b[3] * v[1]};
    return length(image) / length(v);
  }
};

/// The separation of the two eigenvalues of a pencil of order two: with a unitary U and V so that
///
///     U^H A V = [ a1  * ]   U^H B V = [ b1  * ]
///               [     a2]             [     b2]
///
/// the smaller singular value of [a1 -a2; b1 -b2]. Zero if lag2 finds them real: those of a block of order two
/// all but meet then.
template <RealScalar R>
R separation_within(Matrix<const R> A, Matrix<const R> B) {
  const UnitPencil<R> unit(A, B);
  if (unit.size == 0) return 0;
  R beta, unused, alpha, unused_too, imaginary;
  lag2(unit.a, 2, unit.b, 2, Machine<R>::safe_min, beta, unused, alpha, unused_too, imaginary);
  if (imaginary == 0) return 0;

  // |b1 b2| is |det B|, and a1 / b1 and a2 / b2, which are conjugates, are of one size.
  const R b1 = unit.growth_by_b(beta, {alpha, imaginary}), b2 = std::abs(unit.b[0]) / b1 * std::abs(unit.b[3]);
  const R ratio = lapy2(alpha, imaginary) / beta, a1 = ratio * b1, a2 = ratio * b2;
  return unit.size * smaller_singular_value(a1 * a1 + a2 * a2 + b1 * b1 + b2 * b2, 2 * (imaginary / beta * b1) * b2);
}

/// With zeros below, whatever stands there.
template <Scalar T>
void copy_form(Int n, Matrix<const T> from, Matrix<T> to, bool has_pairs) {
  laset('L', n, n, T(0), T(0), to.data, to.ld);
  lacpy('U', n, n, from.data, from.ld, to.data, to.ld);
  if (!has_pairs) return;
  for (Int j = 1; j < n; ++j) to(j + 1, j) = from(j + 1, j);
}

/// The separation where a swap was rejected: zero, or NaN if that was because of elements that are not finite.
template <Scalar T>
Real<T> separation_without_swap(Int n, Matrix<const T> A, Matrix<const T> B) {
  Real<T> zero = 0;
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= j; ++i) zero += abs1(A(i, j) * Real<T>(0)) + abs1(B(i, j) * Real<T>(0));
  }
  return zero;
}

/// An estimate of the separation of a block's eigenvalues from the others, and for a pair from each other: with the
/// block in the first place,
///
///     A11  .      B11  .         Dif((A22, B22), (A11, B11))
///         A22         B22
///
/// work    copies of A and B, and behind them 4 n + 16 elements (real)
template <Scalar T>
Real<T> separation(Int n, Int from, Matrix<const T> A, Matrix<const T> B, T* work, Int* iwork) {
  using R = Real<T>;
  if (n == 1) return lapy2(magnitude(A(1, 1)), magnitude(B(1, 1)));
  const std::ptrdiff_t elements = std::ptrdiff_t{n} * n;
  const Matrix<T> S{work, n}, P{work + elements, n};
  copy_form(n, A, S, RealScalar<T>);
  copy_form(n, B, P, false);
  T none;
  const PencilForm<T> form{false, false, n, S, P, {&none, 1}, {&none, 1}};
  if (!move_block(form, from, 1, work + 2 * elements, 4 * n + 16)) return separation_without_swap(n, A, B);

  R within = std::numeric_limits<R>::infinity();
  Int first = 1;  // a pair may have split on its way
  if constexpr (RealScalar<T>) {
    if (is_pair<T>(S, n, 1)) {
      first = 2;
      within = separation_within<T>(S, P);
      if (n == 2) return within;
    }
  }
  // What lies below the diagonal blocks takes the solution.
  const Int next = first + 1, others = n - first;
  R scale, dif;
  T least_work;
  Int info;
  tgsyl('N', 3, others, first, S.at(next, next), n, S.data, n, S.at(next, 1), n, P.at(next, next), n, P.data, n,
        P.at(next, 1), n, scale, dif, &least_work, 1, iwork, info);
  return smaller_or_nan(dif, within);
}

// --------------------------------------------------------------------------------------------------------- the routine

/// What is asked for.
struct Request {
  bool values, vectors, selected;

  Request(char job, char howmny)
      : values(is_one_of(job, 'E', 'B')), vectors(is_one_of(job, 'V', 'B')), selected(same_letter(howmny, 'S')) {}
};

/// 0, or minus the position of the first bad argument up to ldvr.
Int check(const Request& wanted, char howmny, Int n, Int lda, Int ldb, Int ldvl, Int ldvr) {
  const Int least = std::max(1, n), least_of_vectors = wanted.values ? least : 1;
  if (!wanted.values && !wanted.vectors) return -1;
  if (!wanted.selected && !same_letter(howmny, 'A')) return -2;
  if (n < 0) return -4;
  if (lda < least) return -6;
  if (ldb < least) return -8;
  if (ldvl < least_of_vectors) return -10;
  if (ldvr < least_of_vectors) return -12;
  return 0;
}

/// Elements of workspace that are enough.
template <Scalar T>
std::int64_t least_workspace(const Request& wanted, std::int64_t n) {
  if (n == 0) return 1;
  if (!wanted.vectors) return n;
  return RealScalar<T> ? 2 * n * (n + 2) + 16 : 2 * n * n;
}

/// Goes through the blocks of the form: column k of U and V, and element k of s and dif, belong to the next one.
template <Scalar T>
void find_conditions(const Request& wanted, const Logical* select, Int n, Matrix<const T> A, Matrix<const T> B,
                     Matrix<const T> U, Matrix<const T> V, Real<T>* s, Real<T>* dif, T* work, Int* iwork) {
  Int k = 1;
  for_each_diagonal_block(A, n, true, [&](DiagonalBlock own) {
    if (wanted.selected && !is_selected(select, own)) return;
    if (wanted.values) {
      const Real<T> condition = condition_of_value(n, own, A, B, block(U, 1, k), block(V, 1, k), work);
      std::fill_n(s + (k - 1), own.order(), condition);
    }
    if (wanted.vectors) std::fill_n(dif + (k - 1), own.order(), separation(n, own.first, A, B, work, iwork));
    k += own.order();
  });
}

}  // namespace

template <Scalar T>
void tgsna(char job, char howmny, const Logical* select, Int n, const T* a, Int lda, const T* b, Int ldb, const T* vl,
           Int ldvl, const T* vr, Int ldvr, Real<T>* s, Real<T>* dif, Int mm, Int& m, T* work, Int lwork, Int* iwork,
           Int& info) {
  const Request wanted(job, howmny);
  info = check(wanted, howmny, n, lda, ldb, ldvl, ldvr);
  if (info != 0) return report_bad_argument<T>("TGSNA", info);

  const Matrix A{a, lda}, B{b, ldb}, U{vl, ldvl}, V{vr, ldvr};
  const std::int64_t least = least_workspace<T>(wanted, n);
  const bool is_query = lwork == -1;
  m = wanted.selected ? count_selected(select, A, n) : n;
  work[0] = as_work_size<T>(least);
  if (mm < m) info = -15;
  else if (lwork < least && !is_query) info = -18;
  if (info != 0) return report_bad_argument<T>("TGSNA", info);
  if (is_query || n == 0) return;

  find_conditions(wanted, select, n, A, B, U, V, s, dif, work, iwork);
  work[0] = as_work_size<T>(least);
}

}  // namespace nuv

#include "generalised/pencil_condition.entries.inc"
