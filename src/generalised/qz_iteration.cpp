#include "generalised/qz_iteration.hpp"

#include <algorithm>
#include <cmath>

#include "environment/block_plan.hpp"
#include "environment/matrix_utilities.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "generalised/qz_deflation.hpp"
#include "generalised/qz_double_shift.hpp"
#include "generalised/qz_pair_block.hpp"
#include "generalised/qz_pencil.hpp"
#include "generalised/qz_single_shift.hpp"

namespace nuv {
namespace {

/// What came of a step on an active block.
enum class QzStep {
  sweep,    ///< the block is nearer to Schur form
  pair,     ///< it was the block of a conjugate pair, which is finished now
  no_shift  ///< none was found that is a number
};

/// Steps there may be for each eigenvalue, on average: sweeps, and findings of eigenvalues.
constexpr Int steps_for_each = 30;

/// In this one after an eigenvalue was found, and in all multiples of it, the shift is an exceptional one.
constexpr Int exceptional_sweep = 10;

/// Steps on an active block, with what they remember from one to the next.
template <Scalar T>
class QzSteps;

/// A single shift if the eigenvalues of the last two rows are real.
template <RealScalar R>
class QzSteps<R> {
 public:
  QzSteps(const QzPencil<R>& pencil, Int most_steps) : p_(pencil), limit_(R(most_steps) * Machine<R>::safe_min) {}

  /// For another eigenvalue.
  void restart() {
    sweeps_ = 0;
    exceptional_shift_ = 0;
  }

  QzStep transform() {
    RealShift<R> shift{p_, 1, 0};
    if (++sweeps_ % exceptional_sweep == 0) {
      shift.wr = next_exceptional_shift();
    } else {
      const LastEigenvalues<R> w(p_);
      if (!w.are_finite()) return QzStep::no_shift;
      if (w.wi != 0) return transform_by_pair();
      shift.s1 = w.s1;
      shift.wr = w.wr;
    }
    if (!shift.is_finite()) return QzStep::no_shift;
    shift.keep_in_range();
    single_shift_sweep(p_, shift);
    return QzStep::sweep;
  }

 private:
  QzStep transform_by_pair() const {
    if (p_.first + 1 == p_.last) return QzPairBlock<R>(p_).finish() ? QzStep::pair : QzStep::sweep;
    DoubleShiftSweep<R>(p_).run();
    return QzStep::sweep;
  }

  /// The sum of quotients that happened to stand there in each exceptional sweep.
  R next_exceptional_shift() {
    const Int i = p_.last - 1;
    if (limit_ * std::abs(p_.H(i, i + 1)) < std::abs(p_.P(i, i))) {
      exceptional_shift_ += p_.H(i, i + 1) / p_.P(i, i);
    } else {
      exceptional_shift_ += 1 / limit_;
    }
    return exceptional_shift_;
  }

  const QzPencil<R>& p_;
  R limit_;
  Int sweeps_ = 0;
  R exceptional_shift_ = 0;
};

template <ComplexScalar T>
class QzSteps<T> {
 public:
  QzSteps(const QzPencil<T>& pencil, Int) : p_(pencil) {}

  /// For another eigenvalue.
  void restart() {
    sweeps_ = 0;
    exceptional_shift_ = T(0);
  }

  QzStep transform() {
    const bool is_exceptional = ++sweeps_ % exceptional_sweep == 0;
    const ComplexShift<T> shift{p_, is_exceptional ? next_exceptional_shift() : nearer_eigenvalue(p_)};
    if (!shift.is_finite()) return QzStep::no_shift;
    single_shift_sweep(p_, shift);
    return QzStep::sweep;
  }

 private:
  T next_exceptional_shift() {
    const Int i = p_.last - 1;
    exceptional_shift_ += conjugate(quotient(p_.ascale * p_.H(i, i + 1), p_.bscale * p_.P(i, i)));
    return exceptional_shift_;
  }

  const QzPencil<T>& p_;
  Int sweeps_ = 0;
  T exceptional_shift_ = T(0);
};

/// Eigenvalues one after the other, from the last row up.
template <Scalar T>
class QzIteration {
 public:
  explicit QzIteration(const QzPencil<T>& pencil) : p_(pencil) {}
  QzIteration(const QzIteration&) = delete;
  QzIteration& operator=(const QzIteration&) = delete;

  /// 0, or the info of a failure.
  Int run() {
    for (Int j = p_.ihi + 1; j <= p_.n; ++j) p_.take_eigenvalue(j);
    if (p_.ilo <= p_.ihi) {
      p_.measure();
      const Int info = iterate();
      if (info != 0) return info;
    }
    for (Int j = 1; j < p_.ilo; ++j) p_.take_eigenvalue(j);
    return 0;
  }

 private:
  Int iterate() {
    for (Int step = 1; step <= most_steps(); ++step) {
      switch (deflation_.find()) {
        case QzFinding::zero_in_p:
          deflation_.decouple_infinite();
          [[fallthrough]];
        case QzFinding::eigenvalue:
          p_.take_eigenvalue(p_.last);
          leave_out(1);
          break;
        case QzFinding::active_block:
          if (!p_.wants_form) p_.top = p_.first;
          const QzStep result = steps_.transform();
          if (result == QzStep::no_shift) return p_.n + p_.last;
          if (result == QzStep::pair) leave_out(2);
      }
      if (p_.last < p_.ilo) return 0;
    }
    return p_.last;
  }

  Int most_steps() const { return steps_for_each * (p_.ihi - p_.ilo + 1); }

  /// Goes on without the last rows.
  void leave_out(Int rows) {
    p_.last -= rows;
    steps_.restart();
    if (p_.wants_form) return;
    p_.right = p_.last;
    if (p_.top > p_.last) p_.top = p_.ilo;
  }

  QzPencil<T> p_;
  QzDeflation<T> deflation_{p_};
  QzSteps<T> steps_{p_, most_steps()};
};

/// The arguments of hgeqz.
template <Scalar T>
struct Arguments {
  char job, compq, compz;
  Int n, ilo, ihi;
  Matrix<T> H, P;
  EigenvalueArray<T> alpha;
  T* beta;
  Matrix<T> Q, Z;
  T* work;
  Int lwork;

  bool wantq() const { return is_one_of(compq, 'V', 'I'); }
  bool wantz() const { return is_one_of(compz, 'V', 'I'); }

  /// 0, or minus the position of the first bad argument.
  Int check() const {
    // Behind the eigenvalues, which are one array less in the complex members.
    constexpr Int shift = ComplexScalar<T> ? 1 : 0;
    if (!is_one_of(job, 'E', 'S')) return -1;
    if (!is_one_of(compq, 'N', 'V', 'I')) return -2;
    if (!is_one_of(compz, 'N', 'V', 'I')) return -3;
    if (n < 0) return -4;
    if (ilo < 1) return -5;
    if (ihi > n || ihi < ilo - 1) return -6;
    if (H.ld < n) return -8;
    if (P.ld < n) return -10;
    if (Q.ld < 1 || (wantq() && Q.ld < n)) return -15 + shift;
    if (Z.ld < 1 || (wantz() && Z.ld < n)) return -17 + shift;
    if (lwork < std::max(1, n) && lwork != -1) return -19 + shift;
    return 0;
  }

  Int iterate() const {
    DelayedColumns<T> q(wantq(), n, Q), z(wantz(), n, Z);
    return QzIteration<T>({same_letter(job, 'S'), n, ilo, ihi, H, P, q, z, alpha, beta}).run();
  }
};

template <Scalar T>
void solve(const Arguments<T>& a, Int& info) {
  a.work[0] = as_work_size<T>(std::max(1, a.n));
  info = a.check();
  if (info != 0) return report_bad_argument<T>("HGEQZ", info);
  if (a.lwork == -1 || a.n == 0) return;
  if (same_letter(a.compq, 'I')) laset('F', a.n, a.n, T(0), T(1), a.Q.data, a.Q.ld);
  if (same_letter(a.compz, 'I')) laset('F', a.n, a.n, T(0), T(1), a.Z.data, a.Z.ld);
  info = a.iterate();
}

}  // namespace

template <RealScalar T>
void hgeqz(char job, char compq, char compz, Int n, Int ilo, Int ihi, T* h, Int ldh, T* t, Int ldt, T* alphar,
           T* alphai, T* beta, T* q, Int ldq, T* z, Int ldz, T* work, Int lwork, Int& info) {
  solve<T>(
      {job, compq, compz, n, ilo, ihi, {h, ldh}, {t, ldt}, {alphar, alphai}, beta, {q, ldq}, {z, ldz}, work, lwork},
      info);
}

template <ComplexScalar T>
void hgeqz(char job, char compq, char compz, Int n, Int ilo, Int ihi, T* h, Int ldh, T* t, Int ldt, T* alpha, T* beta,
           T* q, Int ldq, T* z, Int ldz, T* work, Int lwork, Real<T>*, Int& info) {
  solve<T>({job, compq, compz, n, ilo, ihi, {h, ldh}, {t, ldt}, {alpha}, beta, {q, ldq}, {z, ldz}, work, lwork}, info);
}

}  // namespace nuv

#include "generalised/qz_iteration.entries.inc"
