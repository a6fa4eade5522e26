#pragma once

// The way from a pencil A - lambda B of general matrices to its eigenvalues and its generalised Schur form that all
// drivers go: scale, balance, make B triangular and A Hessenberg, iterate, and at the end, after what each of them does
// with the Schur form, back.

#include <algorithm>
#include <cmath>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/block_plan.hpp"
#include "environment/machine_constants.hpp"
#include "environment/matrix_utilities.hpp"
#include "environment/norm_scaling.hpp"
#include "frame/option_matching.hpp"
#include "generalised/hessenberg_triangular.hpp"
#include "generalised/pencil_balancing.hpp"
#include "generalised/qz_iteration.hpp"
#include "layer.hpp"
#include "nonsymmetric/schur_spine.hpp"
#include "orthogonal/form_q.hpp"
#include "orthogonal/forms.hpp"

namespace nuv {

/// Eigenvalues alpha / beta as routines take them: alpha in one array or in two, and beta.
template <Scalar T>
struct PencilValues {
  EigenvalueArray<T> alpha;
  T* beta;

  /// Those from the i-th on.
  PencilValues from(Int i) const { return {alpha.from(i), beta + (i - 1)}; }

  template <class Call>
  void give_to(Call call) const {
    alpha.give_to([&](auto*... parts) { call(parts..., beta); });
  }
};

/// Left and right vectors, of which some may be wanted: Schur vectors, or what becomes of them.
template <Scalar T>
struct PencilVectors {
  bool left, right;
  Matrix<T> L, R;

  PencilVectors(char job_left, char job_right, Matrix<T> L_, Matrix<T> R_)
      : left(same_letter(job_left, 'V')), right(same_letter(job_right, 'V')), L(L_), R(R_) {}

  bool any() const { return left || right; }
};

/// What a driver is given.
template <Scalar T>
struct PencilProblem {
  char job_left, job_right;
  Int n;
  Matrix<T> A, B;
  PencilValues<T> values;
  PencilVectors<T> vectors;

  PencilProblem(char job_left_, char job_right_, Int n_, Matrix<T> A_, Matrix<T> B_, const PencilValues<T>& values_,
                Matrix<T> L, Matrix<T> R)
      : job_left(job_left_),
        job_right(job_right_),
        n(n_),
        A(A_),
        B(B_),
        values(values_),
        vectors(job_left, job_right, L, R) {}
};

/// Workspace of the steps below.
template <Scalar T>
struct PencilWork {
  Real<T>*lscale, *rscale;  ///< n elements each
  T* work;                  ///< lwork elements: 2 n, but 6 n where real members balance by scaling
  Int lwork;
  Real<T>* rwork;  ///< complex members: n elements, but 6 n where they balance by scaling
};

/// How often n elements of workspace stand in front of the rest where drivers have no arguments for the scales of
/// balancing: complex ones take rwork.
template <Scalar T>
inline constexpr Int columns_of_scales = RealScalar<T> ? 2 : 0;

/// The workspace of such a driver.
template <Scalar T>
PencilWork<T> scales_in_workspace(Int n, T* work, Int lwork, Real<T>* rwork) {
  if constexpr (RealScalar<T>) {
    return {work, work + n, work + 2 * n, lwork - 2 * n, nullptr};
  } else {
    return {rwork, rwork + n, work, lwork, rwork + 2 * n};
  }
}

/// The best workspace of the steps below for order n > 0, without the scales.
template <Scalar T>
std::int64_t best_spine_workspace(Int n) {
  const char opts[] = {'L', adjoint<T>};
  const Tuning<T> factor{.name = RoutineName<T>("GEQRF"), .n1 = n, .n2 = n};
  const Tuning<T> apply{name_of_form<T>("ORM", "UNM", qr), {opts, 2}, n, n, n};
  const Tuning<T> form{.name = name_of_form<T>("ORG", "UNG", qr), .n1 = n, .n2 = n, .n3 = n};
  return n + std::int64_t{n} * std::max({factor.block_size(), apply.block_size(), form.block_size()});
}

/// A pencil of order n on its way, n > 0.
template <Scalar T>
class PencilSpine {
 public:
  /// Scales A and B, each by itself, if their elements are very small or very large.
  PencilSpine(const PencilProblem<T>& p, const PencilWork<T>& room)
      : n_(p.n),
        A_(p.A),
        B_(p.B),
        values_(p.values),
        vectors_(p.vectors),
        room_(room),
        scaling_of_a_(n_, n_, A_),
        scaling_of_b_(n_, n_, B_) {}

  /// ggbal with one of its jobs.
  void balance(char job) {
    job_ = job;
    Real<T>* reals;
    if constexpr (RealScalar<T>) {
      reals = room_.work;
    } else {
      reals = room_.rwork;
    }
    ggbal(job, n_, A_.data, A_.ld, B_.data, B_.ld, ilo_, ihi_, room_.lscale, room_.rscale, reals, ignored_);
  }

  /// From the balanced pencil to eigenvalues, with the generalised Schur form if the whole matrices are to be
  /// transformed, and otherwise in rows and columns ilo ... ihi alone. Returns the info of a driver: 0, the number of
  /// the last eigenvalue that is missing, or n + 1.
  Int iterate(bool whole) {
    make_b_triangular(whole);
    start_vectors();
    make_a_hessenberg(whole);
    return run_qz(whole);
  }

  /// Turns vectors of the balanced pencil into those of the pencil that was given.
  void transform_back() {
    const auto turn = [&](char side, Matrix<T> V) {
      ggbak(job_, side, n_, ilo_, ihi_, room_.lscale, room_.rscale, n_, V.data, V.ld, ignored_);
    };
    if (vectors_.left) turn('L', vectors_.L);
    if (vectors_.right) turn('R', vectors_.R);
  }

  /// Takes the scaling back from the eigenvalues that are there.
  void unscale_values() const {
    undo(scaling_of_a_, values_.alpha, missing_ + 1, n_ - missing_);
    scaling_of_b_.undo(n_ - missing_, values_.beta + missing_);
  }

  /// Takes the scaling back from the Schur form, or from how far the iteration came.
  void unscale_matrices() const {
    scaling_of_a_.undo('H', n_, n_, A_);
    scaling_of_b_.undo('U', n_, n_, B_);
  }

  Int order() const { return n_; }
  Matrix<T> a() const { return A_; }
  Matrix<T> b() const { return B_; }
  const PencilValues<T>& values() const { return values_; }
  const PencilVectors<T>& vectors() const { return vectors_; }
  const NormScaling<Real<T>>& scaling_of_a() const { return scaling_of_a_; }
  const NormScaling<Real<T>>& scaling_of_b() const { return scaling_of_b_; }
  Int ilo() const { return ilo_; }
  Int ihi() const { return ihi_; }

  /// How many eigenvalues, the first ones, the iteration has not found.
  Int missing() const { return missing_; }

  /// Workspace behind the iteration.
  T* work() const { return room_.work; }
  Int lwork() const { return room_.lwork; }
  Real<T>* rwork() const { return room_.rwork; }

 private:
  Int order_of_window() const { return ihi_ - ilo_ + 1; }
  T* tau() const { return room_.work; }
  T* behind_tau() const { return room_.work + n_; }
  Int size_behind_tau() const { return room_.lwork - n_; }

  /// B := Q^H B, A := Q^H A in rows ilo ... ihi, for the Q of a QR factorisation of B there.
  void make_b_triangular(bool whole) {
    const Int rows = order_of_window(), columns = whole ? n_ + 1 - ilo_ : rows;
    const Matrix<T> window_of_b = block(B_, ilo_, ilo_);
    layer::geqrf(rows, columns, window_of_b, tau(), behind_tau(), size_behind_tau(), ignored_);
    layer::ormqr('L', adjoint<T>, rows, columns, rows, window_of_b, tau(), block(A_, ilo_, ilo_), behind_tau(),
                 size_behind_tau(), ignored_);
  }

  /// Begins with that Q on the left side, with nothing on the right one.
  void start_vectors() {
    const auto [left, right, L, R] = vectors_;
    const Int rows = order_of_window();
    if (left) {
      laset('F', n_, n_, T(0), T(1), L.data, L.ld);
      if (rows > 1) lacpy('L', rows - 1, rows - 1, B_.at(ilo_ + 1, ilo_), B_.ld, L.at(ilo_ + 1, ilo_), L.ld);
      orgqr(rows, rows, rows, L.at(ilo_, ilo_), L.ld, tau(), behind_tau(), size_behind_tau(), ignored_);
    }
    if (right) laset('F', n_, n_, T(0), T(1), R.data, R.ld);
  }

  void make_a_hessenberg(bool whole) {
    const auto [left, right, L, R] = vectors_;
    const Int rows = order_of_window();
    if (whole) {
      gghrd(left ? 'V' : 'N', right ? 'V' : 'N', n_, ilo_, ihi_, A_.data, A_.ld, B_.data, B_.ld, L.data, L.ld, R.data,
            R.ld, ignored_);
    } else {
      gghrd('N', 'N', rows, 1, rows, A_.at(ilo_, ilo_), A_.ld, B_.at(ilo_, ilo_), B_.ld, L.data, L.ld, R.data, R.ld,
            ignored_);
    }
  }

  Int run_qz(bool whole) {
    const char job = whole ? 'S' : 'E', compq = vectors_.left ? 'V' : 'N', compz = vectors_.right ? 'V' : 'N';
    const Matrix<T> L = vectors_.L, R = vectors_.R;
    Int info = 0;
    values_.give_to([&](auto*... parts) {
      if constexpr (RealScalar<T>) {
        hgeqz(job, compq, compz, n_, ilo_, ihi_, A_.data, A_.ld, B_.data, B_.ld, parts..., L.data, L.ld, R.data, R.ld,
              room_.work, room_.lwork, info);
      } else {
        hgeqz(job, compq, compz, n_, ilo_, ihi_, A_.data, A_.ld, B_.data, B_.ld, parts..., L.data, L.ld, R.data, R.ld,
              room_.work, room_.lwork, room_.rwork, info);
      }
    });
    missing_ = info > n_ ? info - n_ : info;
    return info > n_ ? n_ + 1 : info;
  }

  Int n_;
  Matrix<T> A_, B_;
  PencilValues<T> values_;
  PencilVectors<T> vectors_;
  PencilWork<T> room_;
  NormScaling<Real<T>> scaling_of_a_, scaling_of_b_;
  char job_ = 'N';
  Int ilo_ = 1, ihi_ = 0, missing_ = 0, ignored_ = 0;
};

}  // namespace nuv
