#include "svd/divided_least_squares.hpp"

#include <algorithm>
#include <cmath>

#include "base/matrix.hpp"
#include "environment/machine_constants.hpp"
#include "environment/matrix_utilities.hpp"
#include "environment/norms_symmetric.hpp"
#include "environment/scaling.hpp"
#include "environment/sorting.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "svd/bidiagonal_rotation.hpp"
#include "svd/bidiagonal_solution.hpp"
#include "svd/compact_tree.hpp"
#include "svd/compact_vectors.hpp"
#include "svd/division_tree.hpp"
#include "svd/plane_rotations.hpp"
#include "svd/real_products.hpp"
#include "svd/rectangular_qr.hpp"

namespace nuv {
namespace {

/// Vectors of all parts, each in the rows that it has in the matrix, and workspace. What stands there for parts that
/// are divided svd/compact_tree.hpp explains.
template <RealScalar R>
struct PartTables {
  Int n, smlsiz, levels;
  R *u, *vt, *difl, *difr, *z, *c, *s, *poles, *givnum, *rest;
  Int *first_rows, *k, *givptr, *perm, *givcol, *iwork;

  /// rest    where the tables end
  PartTables(Int n_, Int smlsiz_, R* work, Int* places)
      : n(n_), smlsiz(smlsiz_), levels(n_ > smlsiz_ ? generations_of_nodes(n_, smlsiz_) : 0) {
    const auto take = [this](auto& from, Int columns) {
      const auto taken = from;
      from += std::ptrdiff_t{n} * columns;
      return taken;
    };
    u = take(work, smlsiz);
    vt = take(work, smlsiz + 1);
    difl = take(work, levels);
    difr = take(work, 2 * levels);
    z = take(work, levels);
    c = take(work, 1);
    s = take(work, 1);
    poles = take(work, 2 * levels);
    givnum = take(work, 2 * levels);
    rest = work;
    first_rows = take(places, 1);
    k = take(places, 1);
    givptr = take(places, 1);
    perm = take(places, levels);
    givcol = take(places, 2 * levels);
    iwork = places;
  }
};

/// Rows of the bidiagonal matrix between elements beside the diagonal that are zero.
struct Part {
  Int first, size;
};

/// A problem whose matrix is upper bidiagonal.
template <Scalar T>
class DividedLeastSquares {
  using R = Real<T>;

 public:
  /// bx      n by nrhs
  /// rest    workspace behind the tables: 6 n + (smlsiz + 1)^2 elements
  DividedLeastSquares(const PartTables<R>& tables, Int nrhs, R* d, R* e, Matrix<T> B, T* bx, R* rest)
      : tables_(tables), n_(tables.n), nrhs_(nrhs), d_(d), e_(e), B_(B), X_(bx, tables.n), rest_(rest) {}

  /// Gives info.
  Int solve(R rcond, Int& rank) {
    R norm = lanst('M', n_, d_, e_);
    if (norm == 0) norm = lanst('F', n_, d_, e_);  // a NaN is no zero
    if (norm == 0) {
      laset('A', n_, nrhs_, T(0), T(0), B_.data, B_.ld);
      return 0;
    }
    scale(norm, R(1), n_, 1, d_, n_);
    scale(norm, R(1), n_ - 1, 1, e_, n_ - 1);
    find_parts();
    const Int info = solve_parts(rcond, rank);
    if (info != 0) return info;
    scale(R(1), norm, n_, 1, d_, n_);
    scale(norm, R(1), n_, nrhs_, B_.data, B_.ld);
    return 0;
  }

 private:
  template <Scalar S>
  static void scale(R from, R to, Int m, Int n, S* a, Int lda) {
    Int ignored;
    lascl('G', 0, 0, from, to, m, n, a, lda, ignored);
  }

  // ----------------------------------------------------------------------------------------------------------- parts

  Int solve_parts(R rcond, Int& rank) {
    for (Int i = 0; i < parts_; ++i) {
      if (const Int info = decompose(i); info != 0) return info;
    }
    rank = divide_by_values(rcond);
    multiply_by_right_vectors();
    Int ignored;
    lasrt('D', n_, d_, ignored);
    return 0;
  }

  void add_part(Int first) { tables_.first_rows[parts_++] = first; }

  Part part(Int i) const {
    const Int first = tables_.first_rows[i], end = i + 1 < parts_ ? tables_.first_rows[i + 1] : n_ + 1;
    return {first, end - first};
  }

  /// Cuts where an element is negligible beside the norm, which is one. A leaf is solved as it is.
  void find_parts() {
    add_part(1);
    if (n_ <= tables_.smlsiz) return;
    for (Int i = 1; i < n_; ++i) {
      if (!(std::abs(e_[i - 1]) < Machine<R>::eps)) continue;
      e_[i - 1] = 0;
      add_part(i + 1);
    }
  }

  /// Rows of X := U^T B, and values in the place of the diagonal. Gives info.
  Int decompose(Int i) {
    const auto [first, size] = part(i);
    if (size == 1) {  // its value may be negative
      copy_rows(first, 1, B_, X_);
      return 0;
    }
    return size <= tables_.smlsiz ? decompose_leaf(first, size) : decompose_tree(first, size);
  }

  Int decompose_leaf(Int first, Int size);
  Int decompose_tree(Int first, Int size);

  /// V times rows of X.
  void multiply_by_right_vectors() {
    for (Int i = 0; i < parts_; ++i) {
      const auto [first, size] = part(i);
      if (size == 1) {
        copy_rows(first, 1, X_, B_);
      } else if (nrhs_ == 0) {
        continue;
      } else if (size <= tables_.smlsiz) {
        multiply_by_transpose<T>(size, size, nrhs_, right_vectors(first), block(X_, first, 1), block(B_, first, 1));
      } else {
        multiply_by_tree(1, first, size, X_, B_);
      }
    }
  }

  Matrix<R> left_vectors(Int first) const { return {tables_.u + (first - 1), n_}; }
  Matrix<R> right_vectors(Int first) const { return {tables_.vt + (first - 1), n_}; }

  void multiply_by_tree(Int icompq, Int first, Int size, Matrix<T> from, Matrix<T> to) {
    const Int before = first - 1;
    Int ignored;
    lalsa(icompq, tables_.smlsiz, size, nrhs_, from.at(first, 1), from.ld, to.at(first, 1), to.ld, tables_.u + before,
          n_, tables_.vt + before, tables_.k + before, tables_.difl + before, tables_.difr + before, tables_.z + before,
          tables_.poles + before, tables_.givptr + before, tables_.givcol + before, n_, tables_.perm + before,
          tables_.givnum + before, tables_.c + before, tables_.s + before, rest_, tables_.iwork, ignored);
  }

  void copy_rows(Int first, Int count, Matrix<T> from, Matrix<T> to) const {
    lacpy('A', count, nrhs_, from.at(first, 1), from.ld, to.at(first, 1), to.ld);
  }

  // ---------------------------------------------------------------------------------------------------------- values

  /// Divides rows of X by their values, or clears them. Gives the rank.
  Int divide_by_values(R rcond) {
    R largest = 0;
    for (Int i = 0; i < n_; ++i) largest = std::max(largest, std::abs(d_[i]));
    const R tolerance = rcond * largest;
    Int rank = 0;
    for (Int i = 1; i <= n_; ++i) {
      R& value = d_[i - 1];
      if (std::abs(value) <= tolerance) {
        laset('A', 1, nrhs_, T(0), T(0), X_.at(i, 1), X_.ld);
      } else {
        ++rank;
        scale(value, R(1), 1, nrhs_, X_.at(i, 1), X_.ld);
      }
      value = std::abs(value);
    }
    return rank;
  }

  const PartTables<R>& tables_;
  Int n_, nrhs_;
  R *d_, *e_;
  Matrix<T> B_, X_;
  R* rest_;
  Int parts_ = 0;
};

/// Right-hand sides go through the iteration where they are real; else left vectors are formed.
template <Scalar T>
Int DividedLeastSquares<T>::decompose_leaf(Int first, Int size) {
  const Matrix<R> U = left_vectors(first), VT = right_vectors(first);
  R *const d = d_ + (first - 1), *const e = e_ + (first - 1);
  Int info;
  laset('A', size, size, R(0), R(1), VT.data, VT.ld);
  if constexpr (ComplexScalar<T>) {
    laset('A', size, size, R(0), R(1), U.data, U.ld);
    lasdq('U', 0, size, size, size, 0, d, e, VT.data, VT.ld, U.data, U.ld, U.data, U.ld, rest_, info);
    if (info == 0 && nrhs_ > 0) {
      multiply_by_transpose<T>(size, size, nrhs_, U, block(B_, first, 1), block(X_, first, 1));
    }
  } else {
    lasdq('U', 0, size, size, 0, nrhs_, d, e, VT.data, VT.ld, U.data, U.ld, B_.at(first, 1), B_.ld, rest_, info);
    if (info == 0) copy_rows(first, size, B_, X_);
  }
  return info;
}

template <Scalar T>
Int DividedLeastSquares<T>::decompose_tree(Int first, Int size) {
  const Int before = first - 1;
  Int info;
  lasda(1, tables_.smlsiz, size, 0, d_ + before, e_ + before, tables_.u + before, n_, tables_.vt + before,
        tables_.k + before, tables_.difl + before, tables_.difr + before, tables_.z + before, tables_.poles + before,
        tables_.givptr + before, tables_.givcol + before, n_, tables_.perm + before, tables_.givnum + before,
        tables_.c + before, tables_.s + before, rest_, tables_.iwork, info);
  if (info == 0 && nrhs_ > 0) multiply_by_tree(0, first, size, B_, X_);
  return info;
}

/// A single equation.
template <Scalar T>
Int divide(Int nrhs, Real<T>& d, Matrix<T> B) {
  using R = Real<T>;
  if (d == 0) {
    laset('A', 1, nrhs, T(0), T(0), B.data, B.ld);
    return 0;
  }
  Int ignored;
  lascl('G', 0, 0, d, R(1), 1, nrhs, B.data, B.ld, ignored);
  d = std::abs(d);
  return 1;
}

/// B := Q^T B for the rotations Q that make the matrix upper bidiagonal.
///
/// work    2 n - 2 elements
template <Scalar T>
void rotate_to_upper(Int n, Int nrhs, Real<T>* d, Real<T>* e, Matrix<T> B, Real<T>* work) {
  Real<T>*const cosines = work, *const sines = work + (n - 1);
  rotate_to_other_side(n, n - 1, d, e, cosines, sines);
  if (nrhs > 0) lasr('L', 'V', 'F', n, nrhs, cosines, sines, B.data, B.ld);
}

Int check(Int n, Int nrhs, Int ldb) {
  if (n < 0) return -3;
  if (nrhs < 1) return -4;
  return ldb < std::max(1, n) ? -8 : 0;
}

}  // namespace

template <Scalar T>
Int solve_bidiagonal(char uplo, Int smlsiz, Int n, Int nrhs, Real<T>* d, Real<T>* e, Matrix<T> B, Real<T> rcond,
                     Int& rank, T* work, Real<T>* rwork, Int* iwork) {
  using R = Real<T>;
  rank = 0;
  if (n == 0) return 0;
  if (n == 1) {
    rank = divide(nrhs, d[0], B);
    return 0;
  }
  R* reals;
  if constexpr (ComplexScalar<T>) {
    reals = rwork;
  } else {
    reals = work;
  }
  if (same_letter(uplo, 'L')) rotate_to_upper(n, nrhs, d, e, B, reals);
  const PartTables<R> tables(n, smlsiz, reals, iwork);
  T* bx = work;
  R* rest = tables.rest;
  if constexpr (RealScalar<T>) {
    bx = rest;
    rest += std::ptrdiff_t{n} * nrhs;
  }
  const bool is_in_range = rcond > 0 && rcond < 1;  // NaN is not
  const R tolerance = is_in_range ? rcond : Machine<R>::eps;
  return DividedLeastSquares<T>(tables, nrhs, d, e, B, bx, rest).solve(tolerance, rank);
}

template Int solve_bidiagonal(char, Int, Int, Int, float*, float*, Matrix<float>, float, Int&, float*, float*, Int*);
template Int solve_bidiagonal(char, Int, Int, Int, double*, double*, Matrix<double>, double, Int&, double*, double*,
                              Int*);
template Int solve_bidiagonal(char, Int, Int, Int, float*, float*, Matrix<std::complex<float>>, float, Int&,
                              std::complex<float>*, float*, Int*);
template Int solve_bidiagonal(char, Int, Int, Int, double*, double*, Matrix<std::complex<double>>, double, Int&,
                              std::complex<double>*, double*, Int*);

template <RealScalar T>
void lalsd(char uplo, Int smlsiz, Int n, Int nrhs, T* d, T* e, T* b, Int ldb, T rcond, Int& rank, T* work, Int* iwork,
           Int& info) {
  info = check(n, nrhs, ldb);
  if (info != 0) return report_bad_argument<T>("LALSD", info);
  info = solve_bidiagonal<T>(uplo, smlsiz, n, nrhs, d, e, {b, ldb}, rcond, rank, work, nullptr, iwork);
}

template <ComplexScalar T>
void lalsd(char uplo, Int smlsiz, Int n, Int nrhs, Real<T>* d, Real<T>* e, T* b, Int ldb, Real<T> rcond, Int& rank,
           T* work, Real<T>* rwork, Int* iwork, Int& info) {
  info = check(n, nrhs, ldb);
  if (info != 0) return report_bad_argument<T>("LALSD", info);
  info = solve_bidiagonal<T>(uplo, smlsiz, n, nrhs, d, e, {b, ldb}, rcond, rank, work, rwork, iwork);
}

}  // namespace nuv

#include "svd/divided_least_squares.entries.inc"
