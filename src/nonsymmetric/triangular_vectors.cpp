// Eigenvectors of upper triangular complex matrices.

#include <algorithm>

#include "environment/abs1.hpp"
#include "frame/error_report.hpp"
#include "nonsymmetric/eigenvector_columns.hpp"
#include "nonsymmetric/schur_vectors.hpp"
#include "solvers/scaled_triangular.hpp"

namespace nuv {
namespace {

/// Has w taken from diagonal elements first ... last of S while an instance lives; what is smaller than `least` then is
/// replaced by it.
template <ComplexScalar T>
class ShiftedDiagonal {
 public:
  /// kept    the diagonal of S
  ShiftedDiagonal(Matrix<T> S, Int first, Int last, T w, Real<T> least, const T* kept)
      : S_(S), first_(first), last_(last), kept_(kept) {
    for (Int k = first; k <= last; ++k) {
      S(k, k) = kept[k - 1] - w;
      if (abs1(S(k, k)) < least) S(k, k) = T(least);
    }
  }
  ShiftedDiagonal(const ShiftedDiagonal&) = delete;
  ShiftedDiagonal& operator=(const ShiftedDiagonal&) = delete;
  ~ShiftedDiagonal() {
    for (Int k = first_; k <= last_; ++k) S_(k, k) = kept_[k - 1];
  }

 private:
  Matrix<T> S_;
  Int first_, last_;
  const T* kept_;
};

template <ComplexScalar T>
class TriangularSubstitution {
  using R = Real<T>;

 public:
  /// work    2 n elements, sums n
  TriangularSubstitution(Int n, Matrix<T> S, T* work, R* sums)
      : n_(n), S_(S), least_(SubstitutionRange<R>(n).smallest), x_(work), diagonal_(work + n), sums_(sums) {
    blas::copy(n, Vector<const T>{S.data, S.ld + 1}, Vector{diagonal_, 1});
    sum_columns_above_diagonal<T>(n, S, sums);
  }

  /// Finds the vector of the j-th value and puts it into a column of V, normalised.
  void find_right(Int j, bool transformed, Matrix<T> V, Int to) const {
    for (Int k = 1; k < j; ++k) x_[k - 1] = negated(S_(k, j));
    finish('N', {1, {x_, nullptr}, j, 1, j - 1}, transformed, V, to);
  }

  void find_left(Int j, bool transformed, Matrix<T> V, Int to) const {
    for (Int k = j + 1; k <= n_; ++k) x_[k - 1] = negated(conjugate(S_(j, k)));
    finish('C', {1, {x_, nullptr}, j, j + 1, n_ - j}, transformed, V, to);
  }

 private:
  void finish(char trans, const SubstitutedVector<T>& vector, bool transformed, Matrix<T> V, Int to) const {
    solve(trans, vector.own, vector.first, vector.count);
    put_vector(n_, vector, transformed, V, to);
  }

  /// Solves with the shifted triangle in rows first ... first + count - 1; element j of the vector becomes the factor
  /// of the right-hand side.
  void solve(char trans, Int j, Int first, Int count) const {
    R scale = 1;
    if (count > 0) {
      const T w = diagonal_[j - 1];
      const R least = std::max(Machine<R>::precision * abs1(w), least_);
      const ShiftedDiagonal<T> shifted(S_, first, first + count - 1, w, least, diagonal_);
      Int info;
      latrs('U', trans, 'N', 'Y', count, S_.at(first, first), S_.ld, x_ + (first - 1), scale, sums_ + (first - 1),
            info);
    }
    x_[j - 1] = T(scale);
  }

  Int n_;
  Matrix<T> S_;
  R least_;
  T *x_, *diagonal_;
  R* sums_;
};

}  // namespace

template <ComplexScalar T>
void trevc(char side, char howmny, const Logical* select, Int n, T* t, Int ldt, T* vl, Int ldvl, T* vr, Int ldvr,
           Int mm, Int& m, T* work, Real<T>* rwork, Int& info) {
  const WantedVectors wanted(side, howmny);
  const auto is_wanted = [&](Int j) { return !wanted.selected || is_true(select[j - 1]); };
  info = check_wanted_vectors(side, howmny, n, ldt, ldvl, ldvr);
  if (info == 0) {
    m = 0;
    for (Int j = 1; j <= n; ++j) m += is_wanted(j);
    if (mm < m) info = -11;
  }
  if (info != 0) return report_bad_argument<T>("TREVC", info);
  if (n == 0) return;

  const TriangularSubstitution<T> substitution(n, {t, ldt}, work, rwork);
  if (wanted.right) {
    for (Int j = n, to = m; j >= 1; --j) {
      if (is_wanted(j)) substitution.find_right(j, wanted.transformed, {vr, ldvr}, to--);
    }
  }
  if (wanted.left) {
    for (Int j = 1, to = 1; j <= n; ++j) {
      if (is_wanted(j)) substitution.find_left(j, wanted.transformed, {vl, ldvl}, to++);
    }
  }
}

}  // namespace nuv

#include "nonsymmetric/triangular_vectors.entries.inc"
