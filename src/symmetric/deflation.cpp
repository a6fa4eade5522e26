#include "symmetric/deflation.hpp"

#include <algorithm>
#include <cmath>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/machine_constants.hpp"
#include "environment/matrix_utilities.hpp"
#include "environment/sorting.hpp"
#include "environment/sums_of_squares.hpp"
#include "frame/error_report.hpp"
#include "symmetric/deflation_order.hpp"

namespace nuv {
namespace {

/// Brings z to norm one and rho to what then belongs to it, positive, and finds the order of all eigenvalues.
///
/// indx    the columns in increasing order of their eigenvalues
/// sorted, order   n numbers and places of scratch memory
template <RealScalar R>
void normalise_and_sort(Int n, Int n1, const R* d, R* z, R& rho, Int* indxq, Int* indx, R* sorted, Int* order) {
  if (rho < 0) std::transform(z + n1, z + n, z + n1, negated<R>);
  blas::scal(n, static_cast<R>(0.70710678118654746), {z, 1});
  rho = std::abs(2 * rho);
  for (Int i = n1; i < n; ++i) indxq[i] += n1;
  for (Int i = 0; i < n; ++i) sorted[i] = d[indxq[i] - 1];
  lamrg(n1, n - n1, sorted, 1, 1, order);
  for (Int i = 0; i < n; ++i) indx[i] = indxq[order[i] - 1];
}

/// What the eigenvalues of one merge turn into. Columns are counted from one.
template <RealScalar R>
class Deflation {
 public:
  /// indx     the columns in increasing order of d
  /// indxp    n places: the k columns left to the secular equation, in increasing order of d, then the others in
  ///          decreasing order
  /// dlamda   n elements: the eigenvalues in that order; w  their elements of z, k of them
  Deflation(Int n, R* d, R* z, R rho, const Int* indx, Int* indxp, R* dlamda, R* w)
      : n_(n), d_(d), z_(z), rho_(rho), indx_(indx), indxp_(indxp), dlamda_(dlamda), w_(w) {
    const R largest_d = std::abs(d[blas::iamax(n, {d, 1}) - 1]);
    largest_z_ = std::abs(z[blas::iamax(n, {z, 1}) - 1]);
    tolerance_ = 8 * Machine<R>::eps * std::max(largest_d, largest_z_);
  }

  /// Whether nothing is left of z.
  bool is_total() const { return is_negligible(largest_z_); }

  /// rotate(done, kept, c, s) is told of each rotation of two columns.
  template <class Rotate>
  void run(Rotate rotate) {
    DeflationOrder<R> result(n_, d_, indxp_);
    result.run(
        indx_, [&](Int j) { return is_negligible(z_[j - 1]); },
        [&](Int first, Int second) { return join(first, second, rotate); });
    k_ = result.k();
    for (Int i = 0; i < k_; ++i) {
      dlamda_[i] = d_[indxp_[i] - 1];
      w_[i] = z_[indxp_[i] - 1];
    }
  }

  Int k() const { return k_; }

  /// Puts the eigenvalues that are done into their places at the end of d.
  void settle() {
    for (Int i = k_; i < n_; ++i) dlamda_[i] = d_[indxp_[i] - 1];
    std::copy(dlamda_ + k_, dlamda_ + n_, d_ + k_);
  }

 private:
  bool is_negligible(R element) const { return rho_ * std::abs(element) <= tolerance_; }

  /// Turns the first of two columns until its element of z is zero, if their eigenvalues are so close that what then
  /// stands beside the diagonal is negligible.
  template <class Rotate>
  bool join(Int first, Int second, Rotate rotate) {
    R &d1 = d_[first - 1], &d2 = d_[second - 1], &z1 = z_[first - 1], &z2 = z_[second - 1];
    const R length = lapy2(z2, z1);
    const R c = z2 / length, s = negated(z1) / length;
    if (!(std::abs((d2 - d1) * c * s) <= tolerance_)) return false;
    z2 = length;
    z1 = 0;
    rotate(first, second, c, s);
    const R rotated = d1 * (c * c) + d2 * (s * s);
    d2 = d1 * (s * s) + d2 * (c * c);
    d1 = rotated;
    return true;
  }

  Int n_;
  R* d_;
  R* z_;
  R rho_, largest_z_, tolerance_;
  const Int* indx_;
  Int* indxp_;
  R* dlamda_;
  R* w_;
  Int k_ = 0;
};

/// Copies columns of A in the order given.
template <Scalar T>
void gather_columns(Int m, Int n, Matrix<const T> A, const Int* order, Matrix<T> B) {
  for (Int j = 1; j <= n; ++j) std::copy_n(A.at(1, order[j - 1]), m, B.at(1, j));
}

/// The eigensystem as it is, in increasing order.
template <Scalar T>
void sort_all(Int m, Int n, const Int* indx, Real<T>* d, Real<T>* sorted, Matrix<T> Q, Matrix<T> Q2) {
  for (Int i = 0; i < n; ++i) sorted[i] = d[indx[i] - 1];
  std::copy_n(sorted, n, d);
  if (m == 0) return;
  gather_columns<T>(m, n, Q, indx, Q2);
  lacpy('A', m, n, Q2.data, Q2.ld, Q.data, Q.ld);
}

// ------------------------------------------------------------------------------------------- columns of several kinds

/// Where a column of the eigenvectors has elements.
enum ColumnType { above, in_both, below, done };
constexpr int column_types = 4;

/// Copies the columns into q2, those above (n1 rows of each), those below (the rest), and those that are done, whole,
/// behind them. The columns in both halves stand in both parts.
template <RealScalar R>
R* copy_by_type(Int n, Int n1, Matrix<const R> Q, const Int* columns, const Int* count, R* q2) {
  const Int n2 = n - n1;
  R* upper = q2;
  R* lower = q2 + std::ptrdiff_t{count[above] + count[in_both]} * n1;
  const auto copy = [&](Int first_row, Int rows, R*& to) {
    std::copy_n(Q.at(first_row, *columns), rows, to);
    to += rows;
  };
  for (Int i = 0; i < count[above]; ++i, ++columns) copy(1, n1, upper);
  for (Int i = 0; i < count[in_both]; ++i, ++columns) {
    copy(1, n1, upper);
    copy(n1 + 1, n2, lower);
  }
  for (Int i = 0; i < count[below]; ++i, ++columns) copy(n1 + 1, n2, lower);
  R* const finished = lower;
  for (Int i = 0; i < count[done]; ++i, ++columns) copy(1, n, lower);
  return finished;
}

// -------------------------------------------------------------------------------- eigenvectors as products of factors

/// laed8 for all precisions. keeps_q: whether there are q and q2.
template <Scalar T>
Int deflate_factors(bool keeps_q, Int n, Int qsiz, Real<T>* d, Matrix<T> Q, Int* indxq, Real<T>& rho, Int cutpnt,
                    Real<T>* z, Real<T>* dlamda, Matrix<T> Q2, Real<T>* w, Int* perm, Int& givptr, Int* givcol,
                    Real<T>* givnum, Int* indxp, Int* indx) {
  using R = Real<T>;
  givptr = 0;
  if (n == 0) return 0;
  const Int rows = keeps_q ? qsiz : 0;
  normalise_and_sort(n, cutpnt, d, z, rho, indxq, indx, dlamda, indxp);
  Deflation<R> deflation(n, d, z, rho, indx, indxp, dlamda, w);
  if (deflation.is_total()) {
    std::copy_n(indx, n, perm);
    sort_all(rows, n, indx, d, dlamda, Q, Q2);
    return 0;
  }
  deflation.run([&](Int finished, Int kept, R c, R s) {
    const Int pair[] = {finished, kept};
    const R rotation[] = {c, s};
    std::copy_n(pair, 2, givcol + std::ptrdiff_t{2} * givptr);
    std::copy_n(rotation, 2, givnum + std::ptrdiff_t{2} * givptr);
    ++givptr;
    if (keeps_q) blas::rot(qsiz, column(Q, 1, finished), column(Q, 1, kept), c, s);
  });
  std::copy_n(indxp, n, perm);
  deflation.settle();
  const Int k = deflation.k();
  if (keeps_q) {
    gather_columns<T>(qsiz, n, Q, perm, Q2);
    lacpy('A', qsiz, n - k, Q2.at(1, k + 1), Q2.ld, Q.at(1, k + 1), Q.ld);
  }
  return k;
}

}  // namespace

template <RealScalar T>
void laed2(Int& k, Int n, Int n1, T* d, T* q, Int ldq, Int* indxq, T& rho, T* z, T* dlamda, T* w, T* q2, Int* indx,
           Int* indxc, Int* indxp, Int* coltyp, Int& info) {
  info = 0;
  if (n < 0) info = -2;
  else if (ldq < std::max(1, n)) info = -6;
  else if (std::min(1, n / 2) > n1 || n / 2 < n1) info = -3;
  if (info != 0) return report_bad_argument<T>("LAED2", info);
  k = 0;
  if (n == 0) return;

  const Matrix Q{q, ldq};
  normalise_and_sort(n, n1, d, z, rho, indxq, indx, dlamda, indxp);
  Deflation<T> deflation(n, d, z, rho, indx, indxp, dlamda, w);
  if (deflation.is_total()) return sort_all(n, n, indx, d, dlamda, Q, Matrix{q2, n});

  std::fill_n(coltyp, n1, above);
  std::fill(coltyp + n1, coltyp + n, below);
  deflation.run([&](Int finished, Int kept, T c, T s) {
    if (coltyp[kept - 1] != coltyp[finished - 1]) coltyp[kept - 1] = in_both;
    blas::rot(n, column(Q, 1, finished), column(Q, 1, kept), c, s);
  });
  k = deflation.k();
  for (Int i = k; i < n; ++i) coltyp[indxp[i] - 1] = done;

  Int count[column_types] = {}, next[column_types] = {};
  for (Int j = 0; j < n; ++j) ++count[coltyp[j]];
  for (int type = 1; type < column_types; ++type) next[type] = next[type - 1] + count[type - 1];
  for (Int i = 0; i < n; ++i) {
    const Int at = next[coltyp[indxp[i] - 1]]++;
    indx[at] = indxp[i];
    indxc[at] = i + 1;
  }
  const T* const finished = copy_by_type<T>(n, n1, Q, indx, count, q2);
  deflation.settle();
  lacpy('A', n, n - k, finished, n, Q.at(1, k + 1), ldq);
  std::copy_n(count, column_types, coltyp);
}

template <RealScalar T>
void laed8(Int icompq, Int& k, Int n, Int qsiz, T* d, T* q, Int ldq, Int* indxq, T& rho, Int cutpnt, T* z, T* dlamda,
           T* q2, Int ldq2, T* w, Int* perm, Int& givptr, Int* givcol, T* givnum, Int* indxp, Int* indx, Int& info) {
  info = 0;
  if (icompq < 0 || icompq > 1) info = -1;
  else if (n < 0) info = -3;
  else if (icompq == 1 && qsiz < n) info = -4;
  else if (ldq < std::max(1, n)) info = -7;
  else if (cutpnt < std::min(1, n) || cutpnt > n) info = -10;
  else if (ldq2 < std::max(1, n)) info = -14;
  if (info != 0) return report_bad_argument<T>("LAED8", info);
  k = deflate_factors(icompq == 1, n, qsiz, d, Matrix{q, ldq}, indxq, rho, cutpnt, z, dlamda, Matrix{q2, ldq2}, w, perm,
                      givptr, givcol, givnum, indxp, indx);
}

template <ComplexScalar T>
void laed8(Int& k, Int n, Int qsiz, T* q, Int ldq, Real<T>* d, Real<T>& rho, Int cutpnt, Real<T>* z, Real<T>* dlamda,
           T* q2, Int ldq2, Real<T>* w, Int* indxp, Int* indx, Int* indxq, Int* perm, Int& givptr, Int* givcol,
           Real<T>* givnum, Int& info) {
  info = 0;
  if (n < 0) info = -2;
  else if (qsiz < n) info = -3;
  else if (ldq < std::max(1, n)) info = -5;
  else if (cutpnt < std::min(1, n) || cutpnt > n) info = -8;
  else if (ldq2 < std::max(1, n)) info = -12;
  if (info != 0) return report_bad_argument<T>("LAED8", info);
  k = deflate_factors(true, n, qsiz, d, Matrix{q, ldq}, indxq, rho, cutpnt, z, dlamda, Matrix{q2, ldq2}, w, perm,
                      givptr, givcol, givnum, indxp, indx);
}

}  // namespace nuv

#include "symmetric/deflation.entries.inc"
