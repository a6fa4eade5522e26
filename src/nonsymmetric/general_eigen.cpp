#include "nonsymmetric/general_eigen.hpp"

#include <cmath>

#include "blas.hpp"
#include "environment/norms_general.hpp"
#include "environment/rotation.hpp"
#include "environment/sums_of_squares.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "nonsymmetric/schur_condition.hpp"
#include "nonsymmetric/schur_spine.hpp"
#include "nonsymmetric/schur_vectors.hpp"

namespace nuv {
namespace {

bool is_wanted(char job) {
  return same_letter(job, 'V');
}

/// Left and right eigenvectors, of which some may be wanted.
template <Scalar T>
struct VectorPair {
  bool left, right;
  Matrix<T> VL, VR;

  bool any() const { return left || right; }
  char side() const { return left && right ? 'B' : left ? 'L' : 'R'; }

  /// Where the Schur vectors come first; where none are wanted, what hseqr doesn't look at.
  Matrix<T> first() const { return left ? VL : VR; }
};

/// What geev and geevx ask of hseqr.
struct IterationJob {
  char job, compz;

  IterationJob(bool with_vectors, bool with_conditions)
      : job(with_vectors || with_conditions ? 'S' : 'E'), compz(with_vectors ? 'V' : 'N') {}
};

/// Balances, reduces and iterates; returns what the iteration returns. look() is called when A is balanced.
template <Scalar T, class Look>
Int find_schur_form(SchurSpine<T>& spine, char balancing, IterationJob how, const VectorPair<T>& V, Look look) {
  spine.balance(balancing);
  look();
  spine.reduce();
  if (V.any()) spine.form_q(V.first());
  const Int missing = spine.iterate(how.job, how.compz, V.first());
  if (V.left && V.right) {
    const Int n = spine.order();
    lacpy('F', n, n, V.VL.data, V.VL.ld, V.VR.data, V.VR.ld);
  }
  return missing;
}

/// Eigenvectors of the balanced matrix from its Schur form and the Schur vectors, in their place.
///
/// rwork   for complex members
template <Scalar T>
void find_vectors(const SchurSpine<T>& spine, const VectorPair<T>& V, Real<T>* rwork) {
  const Int n = spine.order();
  const Matrix<T> S = spine.matrix();
  Logical unused = 0;
  Int found = 0, ignored = 0;
  if constexpr (RealScalar<T>) {
    trevc(V.side(), 'B', &unused, n, S.data, S.ld, V.VL.data, V.VL.ld, V.VR.data, V.VR.ld, n, found, spine.work(),
          ignored);
  } else {
    trevc(V.side(), 'B', &unused, n, S.data, S.ld, V.VL.data, V.VL.ld, V.VR.data, V.VR.ld, n, found, spine.work(),
          rwork, ignored);
  }
}

/// Gives the pair of columns u, v, which stand for u + i v, the norm 1, and its component of largest modulus no
/// imaginary part.
///
/// squares   n elements
template <RealScalar T>
void normalise_pair(Int n, Vector<T> u, Vector<T> v, T* squares) {
  const T factor = 1 / lapy2(blas::nrm2(n, u), blas::nrm2(n, v));
  blas::scal(n, factor, u);
  blas::scal(n, factor, v);
  for (Int k = 0; k < n; ++k) squares[k] = u.data[k] * u.data[k] + v.data[k] * v.data[k];
  const Int largest = blas::iamax(n, Vector<const T>{squares, 1}) - 1;
  T cs, sn, r;
  lartg(u.data[largest], v.data[largest], cs, sn, r);
  blas::rot(n, u, v, cs, sn);
  v.data[largest] = 0;
}

template <RealScalar T>
void normalise(Int n, const EigenvalueArray<T>& w, Matrix<T> V, T* squares) {
  for (Int i = 1; i <= n; ++i) {
    if (w.imaginary[i - 1] == 0) {
      blas::scal(n, 1 / blas::nrm2(n, column(V, 1, i)), column(V, 1, i));
    } else if (w.starts_pair(i)) {
      normalise_pair(n, column(V, 1, i), column(V, 1, i + 1), squares);
    }
  }
}

template <ComplexScalar T>
void normalise(Int n, const EigenvalueArray<T>&, Matrix<T> V, Real<T>* squares) {
  using R = Real<T>;
  for (Int i = 1; i <= n; ++i) {
    const Vector<T> v = column(V, 1, i);
    blas::scal(n, 1 / blas::nrm2(n, v), v);
    for (Int k = 0; k < n; ++k) squares[k] = detail::sum_of_squares(v.data[k]);
    const Int largest = blas::iamax(n, Vector<const R>{squares, 1}) - 1;
    blas::scal(n, conjugate(v.data[largest]) / std::sqrt(squares[largest]), v);
    v.data[largest] = T(v.data[largest].real(), R(0));
  }
}

/// From vectors of the balanced matrix to those of A, which get the norm 1.
///
/// rwork   for complex members
template <Scalar T>
void transform_back(SchurSpine<T>& spine, const VectorPair<T>& V, Real<T>* rwork) {
  Real<T>* squares;
  if constexpr (RealScalar<T>) {
    squares = spine.work();
  } else {
    squares = rwork;
  }
  for (const char side : {'L', 'R'}) {
    if (!(side == 'L' ? V.left : V.right)) continue;
    const Matrix<T> vectors = side == 'L' ? V.VL : V.VR;
    spine.transform_back(side, vectors);
    normalise(spine.order(), spine.values(), vectors, squares);
  }
}

bool is_bad_ld(Int ld, bool wanted, Int n) {
  return ld < 1 || (wanted && ld < n);
}

// ------------------------------------------------------------------------------------------------------------- geev

/// Both members; rwork is for complex ones.
template <Scalar T>
void drive(char jobvl, char jobvr, Int n, Matrix<T> A, const EigenvalueArray<T>& w, Matrix<T> VL, Matrix<T> VR, T* work,
           Int lwork, Real<T>* rwork, Int& info) {
  const VectorPair<T> V{is_wanted(jobvl), is_wanted(jobvr), VL, VR};
  info = 0;
  if (!is_one_of(jobvl, 'N', 'V')) info = -1;
  else if (!is_one_of(jobvr, 'N', 'V')) info = -2;
  else if (n < 0) info = -3;
  else if (A.ld < std::max(1, n)) info = -5;
  else if (is_bad_ld(VL.ld, V.left, n)) info = -behind_values<T>(9);
  else if (is_bad_ld(VR.ld, V.right, n)) info = -behind_values<T>(11);
  if (info != 0) return report_bad_argument<T>("GEEV", info);

  const IterationJob how(V.any(), false);
  std::int64_t least = 1, best = 1;
  if (n > 0) {
    least = (ComplexScalar<T> ? 2 : V.any() ? 4 : 3) * std::int64_t{n};
    best = columns_before_tau<T> * std::int64_t{n} + best_schur_workspace(how.job, how.compz, n, A, w, V.first(), work);
    best = std::max(best, least);
  }
  work[0] = as_work_size<T>(best);
  if (lwork == -1) return;
  if (lwork < least) info = -behind_values<T>(13);
  if (info != 0) return report_bad_argument<T>("GEEV", info);
  if (n == 0) return;

  SchurSpine<T> spine = spine_in_workspace(n, A, w, work, lwork, rwork);
  info = find_schur_form(spine, 'B', how, V, [] {});
  if (info == 0 && V.any()) {
    Real<T>* const behind_scale = ComplexScalar<T> ? rwork + n : nullptr;
    find_vectors(spine, V, behind_scale);
    transform_back(spine, V, behind_scale);
  }
  spine.unscale_values(info);
  work[0] = as_work_size<T>(best);
}

// ------------------------------------------------------------------------------------------------------------ geevx

/// What geevx is asked for beside values and vectors, and where it goes.
template <Scalar T>
struct Conditions {
  char balancing, sense;
  Int &ilo, &ihi;
  Real<T>*scale, &norm, *of_values, *of_vectors;

  bool for_values() const { return is_one_of(sense, 'E', 'B'); }
  bool for_vectors() const { return is_one_of(sense, 'V', 'B'); }
  bool any() const { return for_values() || for_vectors(); }
};

/// trsna for all eigenvalues.
///
/// second   2 n - 2 integers, in complex precisions n real numbers
template <Scalar T, class Second>
void find_conditions(const SchurSpine<T>& spine, const VectorPair<T>& V, const Conditions<T>& wanted, Second* second) {
  const Int n = spine.order();
  const Matrix<T> S = spine.matrix();
  Logical unused = 0;
  Int found = 0, ignored = 0;
  trsna(wanted.sense, 'A', &unused, n, S.data, S.ld, V.VL.data, V.VL.ld, V.VR.data, V.VR.ld, wanted.of_values,
        wanted.of_vectors, n, found, spine.work(), n, second, ignored);
}

/// Both members; second is iwork, in complex precisions rwork.
template <Scalar T, class Second>
void drive_with_conditions(char jobvl, char jobvr, Int n, Matrix<T> A, const EigenvalueArray<T>& w, Matrix<T> VL,
                           Matrix<T> VR, const Conditions<T>& wanted, T* work, Int lwork, Second* second, Int& info) {
  const VectorPair<T> V{is_wanted(jobvl), is_wanted(jobvr), VL, VR};
  info = 0;
  if (!is_one_of(wanted.balancing, 'N', 'P', 'S', 'B')) info = -1;
  else if (!is_one_of(jobvl, 'N', 'V')) info = -2;
  else if (!is_one_of(jobvr, 'N', 'V')) info = -3;
  else if (!is_one_of(wanted.sense, 'N', 'E', 'V', 'B') || (wanted.for_values() && !(V.left && V.right))) info = -4;
  else if (n < 0) info = -5;
  else if (A.ld < std::max(1, n)) info = -7;
  else if (is_bad_ld(VL.ld, V.left, n)) info = -behind_values<T>(11);
  else if (is_bad_ld(VR.ld, V.right, n)) info = -behind_values<T>(13);
  if (info != 0) return report_bad_argument<T>("GEEVX", info);

  const IterationJob how(V.any(), wanted.any());
  std::int64_t least = 1, best = 1;
  if (n > 0) {
    const std::int64_t order = n;
    least = (RealScalar<T> && V.any() ? 3 : 2) * order;
    if (wanted.for_vectors()) least = order * order + (RealScalar<T> ? 6 : 2) * order;
    best = std::max(least, best_schur_workspace(how.job, how.compz, n, A, w, V.first(), work));
  }
  work[0] = as_work_size<T>(best);
  if (lwork == -1) return;
  if (lwork < least) info = -behind_values<T>(21);
  if (info != 0) return report_bad_argument<T>("GEEVX", info);
  if (n == 0) return;

  SchurSpine<T> spine(n, A, w, wanted.scale, work, lwork);
  Real<T>* rwork = nullptr;
  if constexpr (ComplexScalar<T>) rwork = second;
  info = find_schur_form(spine, wanted.balancing, how, V, [&] {
    wanted.ilo = spine.ilo();
    wanted.ihi = spine.ihi();
    wanted.norm = lange('1', n, n, A.data, A.ld, static_cast<Real<T>*>(nullptr));
    spine.scaling().undo(1, &wanted.norm);
  });
  if (info == 0) {
    if (V.any()) find_vectors(spine, V, rwork);
    if (wanted.any()) find_conditions(spine, V, wanted, second);
    if (wanted.for_vectors()) spine.scaling().undo(n, wanted.of_vectors);
    transform_back(spine, V, rwork);
  }
  spine.unscale_values(info);
  work[0] = as_work_size<T>(best);
}

}  // namespace

template <RealScalar T>
void geev(char jobvl, char jobvr, Int n, T* a, Int lda, T* wr, T* wi, T* vl, Int ldvl, T* vr, Int ldvr, T* work,
          Int lwork, Int& info) {
  T* const none = nullptr;
  drive<T>(jobvl, jobvr, n, {a, lda}, {wr, wi}, {vl, ldvl}, {vr, ldvr}, work, lwork, none, info);
}

template <ComplexScalar T>
void geev(char jobvl, char jobvr, Int n, T* a, Int lda, T* w, T* vl, Int ldvl, T* vr, Int ldvr, T* work, Int lwork,
          Real<T>* rwork, Int& info) {
  drive<T>(jobvl, jobvr, n, {a, lda}, {w}, {vl, ldvl}, {vr, ldvr}, work, lwork, rwork, info);
}

template <RealScalar T>
void geevx(char balanc, char jobvl, char jobvr, char sense, Int n, T* a, Int lda, T* wr, T* wi, T* vl, Int ldvl, T* vr,
           Int ldvr, Int& ilo, Int& ihi, T* scale, T& abnrm, T* rconde, T* rcondv, T* work, Int lwork, Int* iwork,
           Int& info) {
  drive_with_conditions<T>(jobvl, jobvr, n, {a, lda}, {wr, wi}, {vl, ldvl}, {vr, ldvr},
                           {balanc, sense, ilo, ihi, scale, abnrm, rconde, rcondv}, work, lwork, iwork, info);
}

template <ComplexScalar T>
void geevx(char balanc, char jobvl, char jobvr, char sense, Int n, T* a, Int lda, T* w, T* vl, Int ldvl, T* vr,
           Int ldvr, Int& ilo, Int& ihi, Real<T>* scale, Real<T>& abnrm, Real<T>* rconde, Real<T>* rcondv, T* work,
           Int lwork, Real<T>* rwork, Int& info) {
  drive_with_conditions<T>(jobvl, jobvr, n, {a, lda}, {w}, {vl, ldvl}, {vr, ldvr},
                           {balanc, sense, ilo, ihi, scale, abnrm, rconde, rcondv}, work, lwork, rwork, info);
}

}  // namespace nuv

#include "nonsymmetric/general_eigen.entries.inc"
