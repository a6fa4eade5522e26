#include "nonsymmetric/invariant_subspace.hpp"

#include <cmath>
#include <limits>

#include "environment/hermitian.hpp"
#include "environment/matrix_utilities.hpp"
#include "environment/norms_general.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "nonsymmetric/schur_reordering.hpp"
#include "nonsymmetric/selected_eigenvalues.hpp"
#include "nonsymmetric/sylvester.hpp"
#include "solvers/inverse_norm.hpp"

namespace nuv {
namespace {

/// What a caller wants.
struct Task {
  bool s, sep;

  explicit Task(char job) : s(is_one_of(job, 'E', 'B')), sep(is_one_of(job, 'V', 'B')) {}
};

/// 0, or minus the position of the first bad argument up to ldq.
Int check(char job, char compq, Int n, Int ldt, Int ldq) {
  if (!is_one_of(job, 'N', 'E', 'V', 'B')) return -1;
  if (!is_one_of(compq, 'N', 'V')) return -2;
  if (n < 0) return -4;
  if (ldt < std::max(1, n)) return -6;
  if (ldq < (same_letter(compq, 'V') ? std::max(1, n) : 1)) return -8;
  return 0;
}

/// Elements of workspace that are enough.
template <Scalar T>
struct WorkSizes {
  std::int64_t work, integers;

  WorkSizes(Task wants, Int n, Int m) {
    const std::int64_t coupling = std::int64_t{m} * (n - m);
    work = std::max<std::int64_t>(1, wants.sep ? 2 * coupling : wants.s ? coupling : RealScalar<T> ? n : 1);
    integers = wants.sep ? std::max<std::int64_t>(1, coupling) : 1;
  }

  void tell(T* to_work) const { to_work[0] = as_work_size<T>(work); }
  void tell(T* to_work, Int* to_iwork) const {
    tell(to_work);
    to_iwork[0] = static_cast<Int>(std::min<std::int64_t>(integers, std::numeric_limits<Int>::max()));
  }
};

/// Moves a block to another row; false if that failed.
///
/// work    n elements; real forms alone
template <RealScalar T>
bool move_block(char compq, Int n, Matrix<T> S, Matrix<T> Q, Int from, Int to, T* work) {
  Int info;
  trexc(compq, n, S.data, S.ld, Q.data, Q.ld, from, to, work, info);
  return info == 0;
}
template <ComplexScalar T>
bool move_block(char compq, Int n, Matrix<T> S, Matrix<T> Q, Int from, Int to, T*) {
  Int info;
  trexc(compq, n, S.data, S.ld, Q.data, Q.ld, from, to, info);
  return true;
}

/// A Schur form that is brought to the order
///
///     T11 T12    m
///         T22    n - m
///
/// with the selected eigenvalues in T11.
template <Scalar T>
class Subspace {
  using R = Real<T>;

 public:
  Subspace(Task wants, char compq, const Logical* select, Int n, Matrix<T> S, Matrix<T> Q, Int m)
      : wants_(wants), compq_(compq), select_(select), n_(n), m_(m), S_(S), Q_(Q) {}

  /// Gives info.
  ///
  /// room    n elements, of a real form
  Int reorder_and_judge(T* room, T* work, SecondWork<T>* second, R& s, R& sep) {
    if (m_ == 0 || m_ == n_) {
      R unused;
      if (wants_.s) s = 1;
      if (wants_.sep) sep = lange('1', n_, n_, S_.data, S_.ld, &unused);
      return 0;
    }
    if (!collect(room)) {
      if (wants_.s) s = 0;
      if (wants_.sep) sep = 0;
      return 1;
    }
    if (wants_.s) s = condition_of_mean(work);
    if (wants_.sep) sep = separation(work, second);
    return 0;
  }

 private:
  /// Brings the selected blocks to the top, one behind the other.
  bool collect(T* room) const {
    Int next = 1;
    for (Int k = 1; k <= n_; ++k) {
      const DiagonalBlock block{k, is_pair<T>(S_, n_, k) ? k + 1 : k};
      const bool selected = is_selected(select_, block);
      if (selected && k != next && !move_block(compq_, n_, S_, Q_, k, next, room)) return false;
      if (selected) next += block.order();
      k = block.last;
    }
    return true;
  }

  /// Solves T11 Y - Y T22 = scale X, or its adjoint's equation, for the X in `work`, which Y replaces; gives scale.
  R solve(char trans, T* work) const {
    R scale;
    Int info;
    trsyl(trans, trans, -1, m_, n_ - m_, S_.data, S_.ld, S_.at(m_ + 1, m_ + 1), S_.ld, work, m_, scale, info);
    return scale;
  }

  /// The norm of the spectral projector is sqrt(1 + norm(X)^2) with T11 X - X T22 = T12.
  R condition_of_mean(T* work) const {
    lacpy('F', m_, n_ - m_, S_.at(1, m_ + 1), S_.ld, work, m_);
    const R scale = solve('N', work);
    R unused;
    const R length = lange('F', m_, n_ - m_, work, m_, &unused);
    if (length == 0) return 1;
    return scale / (std::sqrt(scale * scale / length + length) * std::sqrt(length));
  }

  /// The norm of the inverse of X -> T11 X - X T22, estimated in the one-norm of vectors.
  R separation(T* work, SecondWork<T>* second) const {
    const Int size = m_ * (n_ - m_);
    R scale = 0, estimate;
    estimate_norm(size, work, work + size, second, estimate, [&](bool is_adjoint) {
      scale = solve(is_adjoint ? adjoint<T> : 'N', work);
      return true;
    });
    return scale / estimate;
  }

  Task wants_;
  char compq_;
  const Logical* select_;
  Int n_, m_;
  Matrix<T> S_, Q_;
};

}  // namespace

template <RealScalar T>
void trsen(char job, char compq, const Logical* select, Int n, T* t, Int ldt, T* q, Int ldq, T* wr, T* wi, Int& m, T& s,
           T& sep, T* work, Int lwork, Int* iwork, Int liwork, Int& info) {
  info = check(job, compq, n, ldt, ldq);
  if (info != 0) return report_bad_argument<T>("TRSEN", info);
  m = count_selected<T>(select, {t, ldt}, n);

  const Task wants(job);
  const WorkSizes<T> least(wants, n, m);
  const bool is_query = lwork == -1 || liwork == -1;
  if (lwork < least.work && !is_query) info = -15;
  else if (liwork < least.integers && !is_query) info = -17;
  if (info != 0) return report_bad_argument<T>("TRSEN", info);

  least.tell(work, iwork);
  if (is_query) return;
  // There are n elements to work with where the eigenvalues will be; work may have fewer.
  Subspace<T> subspace(wants, compq, select, n, {t, ldt}, {q, ldq}, m);
  info = subspace.reorder_and_judge(wr, work, iwork, s, sep);
  read_eigenvalues<T>(n, {t, ldt}, wr, wi);
  least.tell(work, iwork);
}

template <ComplexScalar T>
void trsen(char job, char compq, const Logical* select, Int n, T* t, Int ldt, T* q, Int ldq, T* w, Int& m, Real<T>& s,
           Real<T>& sep, T* work, Int lwork, Int& info) {
  info = check(job, compq, n, ldt, ldq);
  if (info != 0) return report_bad_argument<T>("TRSEN", info);
  const Matrix S{t, ldt};
  m = count_selected<T>(select, S, n);

  const Task wants(job);
  const WorkSizes<T> least(wants, n, m);
  if (lwork < least.work && lwork != -1) info = -14;
  if (info != 0) return report_bad_argument<T>("TRSEN", info);

  if (lwork != -1) {
    Subspace<T> subspace(wants, compq, select, n, S, {q, ldq}, m);
    info = subspace.reorder_and_judge(nullptr, work, nullptr, s, sep);
    for (Int j = 1; j <= n; ++j) w[j - 1] = S(j, j);
  }
  least.tell(work);
}

}  // namespace nuv

#include "nonsymmetric/invariant_subspace.entries.inc"
