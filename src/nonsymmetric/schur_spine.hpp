#pragma once

// The way from a general matrix to its eigenvalues and its Schur form that all drivers of nonsymmetric eigenproblems
// go: scale, balance, reduce to Hessenberg form, iterate, and at the end, after what each of them does with the Schur
// form, back.

#include <algorithm>

#include "base/matrix.hpp"
#include "environment/block_plan.hpp"
#include "environment/matrix_utilities.hpp"
#include "environment/norm_scaling.hpp"
#include "nonsymmetric/balancing.hpp"
#include "nonsymmetric/eigenvalue_array.hpp"
#include "nonsymmetric/hessenberg_qr.hpp"
#include "nonsymmetric/hessenberg_reduction.hpp"
#include "orthogonal/q_of_reductions.hpp"

namespace nuv {

/// Takes a scaling back from `count` eigenvalues, the first-th and those behind it.
template <Scalar T>
void undo(const NormScaling<Real<T>>& scaling, const EigenvalueArray<T>& w, Int first, Int count) {
  w.from(first).give_to([&](auto*... parts) { (scaling.undo(count, parts), ...); });
}

/// The position of an argument behind the eigenvalues: complex members have one argument less there.
template <Scalar T>
constexpr Int behind_values(Int position_in_real_member) {
  return position_in_real_member - (ComplexScalar<T> ? 1 : 0);
}

/// hseqr, which returns its info.
template <Scalar T>
Int iterate(char job, char compz, Int n, Int ilo, Int ihi, Matrix<T> H, const EigenvalueArray<T>& w, Matrix<T> Z,
            T* work, Int lwork) {
  Int info = 0;
  w.give_to(
      [&](auto*... parts) { hseqr(job, compz, n, ilo, ihi, H.data, H.ld, parts..., Z.data, Z.ld, work, lwork, info); });
  return info;
}

/// The best workspace of the steps below for order n > 0, counted from tau on. work is where hseqr answers.
template <Scalar T>
std::int64_t best_schur_workspace(char job, char compz, Int n, Matrix<T> A, const EigenvalueArray<T>& w, Matrix<T> Z,
                                  T* work) {
  const Tuning<T> reduction{.name = RoutineName<T>("GEHRD"), .n1 = n, .n2 = 1, .n3 = n, .n4 = 0};
  std::int64_t best = n + std::int64_t{n} * reduction.block_size();
  if (compz == 'V') {
    const Tuning<T> forming_q{.name = name_of<T>("ORGHR", "UNGHR"), .n1 = n, .n2 = 1, .n3 = n};
    best = std::max(best, n + (std::int64_t{n} - 1) * forming_q.block_size());
  }
  iterate(job, compz, n, 1, n, A, w, Z, work, -1);
  return std::max(best, static_cast<std::int64_t>(std::real(work[0])));
}

/// A matrix of order n on its way, n > 0.
template <Scalar T>
class SchurSpine {
 public:
  /// Scales A, if its elements are very small or very large.
  ///
  /// scale   n elements for balance
  /// tau     lwork elements, n of them for the factors of the reflectors and as many more at least
  SchurSpine(Int n, Matrix<T> A, const EigenvalueArray<T>& w, Real<T>* scale, T* tau, Int lwork)
      : n_(n), A_(A), w_(w), scale_(scale), tau_(tau), lwork_(lwork), scaling_(n, n, A) {}

  /// gebal with one of its jobs.
  void balance(char job) {
    job_ = job;
    gebal(job, n_, A_.data, A_.ld, ilo_, ihi_, scale_, ignored_);
  }

  void reduce() { gehrd(n_, ilo_, ihi_, A_.data, A_.ld, tau_, tau_ + n_, lwork_ - n_, ignored_); }

  /// Makes the Q of the reduction in Z.
  void form_q(Matrix<T> Z) {
    lacpy('L', n_, n_, A_.data, A_.ld, Z.data, Z.ld);
    orghr(n_, ilo_, ihi_, Z.data, Z.ld, tau_, tau_ + n_, lwork_ - n_, ignored_);
  }

  /// hseqr with one of its jobs. Returns 0, or the number of the last eigenvalue that is missing; those before ilo are
  /// there. tau is free from here on.
  Int iterate(char job, char compz, Matrix<T> Z) {
    return nuv::iterate(job, compz, n_, ilo_, ihi_, A_, w_, Z, tau_, lwork_);
  }

  /// Turns vectors of the balanced matrix, right ('R') or left ('L') ones, into those of A.
  void transform_back(char side, Matrix<T> V) { gebak(job_, side, n_, ilo_, ihi_, scale_, n_, V.data, V.ld, ignored_); }

  /// Takes the scaling back from all eigenvalues, or from those that are there where `missing`, what iterate returned,
  /// is not zero.
  void unscale_values(Int missing) const {
    undo(scaling_, w_, missing + 1, n_ - missing);
    if (missing > 0) undo(scaling_, w_, 1, ilo_ - 1);
  }

  Int order() const { return n_; }
  Matrix<T> matrix() const { return A_; }
  const EigenvalueArray<T>& values() const { return w_; }
  const NormScaling<Real<T>>& scaling() const { return scaling_; }
  Int ilo() const { return ilo_; }
  Int ihi() const { return ihi_; }

  /// Workspace behind the iteration.
  T* work() const { return tau_; }
  Int lwork() const { return lwork_; }

 private:
  Int n_;
  Matrix<T> A_;
  EigenvalueArray<T> w_;
  Real<T>* scale_;
  T* tau_;
  Int lwork_;
  NormScaling<Real<T>> scaling_;
  char job_ = 'N';
  Int ilo_ = 1, ihi_ = 0, ignored_ = 0;
};

/// How often n elements of workspace stand in front of tau, where drivers have no argument for the scale of balancing:
/// complex ones take rwork.
template <Scalar T>
inline constexpr Int columns_before_tau = RealScalar<T> ? 1 : 0;

/// The matrix of such a driver.
template <Scalar T>
SchurSpine<T> spine_in_workspace(Int n, Matrix<T> A, const EigenvalueArray<T>& w, T* work, Int lwork, Real<T>* rwork) {
  if constexpr (RealScalar<T>) {
    return {n, A, w, work, work + n, lwork - n};
  } else {
    return {n, A, w, rwork, work, lwork};
  }
}

}  // namespace nuv
