#include "generalised/deflating_subspace.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "environment/hermitian.hpp"
#include "environment/machine_constants.hpp"
#include "environment/magnitudes.hpp"
#include "environment/matrix_utilities.hpp"
#include "frame/error_report.hpp"
#include "generalised/block_move.hpp"
#include "generalised/frobenius_norm.hpp"
#include "generalised/pencil_form.hpp"
#include "generalised/pencil_sylvester.hpp"
#include "generalised/pencil_two_by_two.hpp"
#include "nonsymmetric/selected_eigenvalues.hpp"
#include "solvers/inverse_norm.hpp"

namespace nuv {
namespace {

/// What a caller wants.
struct Task {
  bool projectors, dif_by_frobenius, dif_by_one_norms;

  explicit Task(Int ijob)
      : projectors(ijob == 1 || ijob >= 4),
        dif_by_frobenius(ijob == 2 || ijob == 4),
        dif_by_one_norms(ijob == 3 || ijob == 5) {}

  bool dif() const { return dif_by_frobenius || dif_by_one_norms; }
  bool anything() const { return projectors || dif(); }
};

/// 0, or minus the position of the first bad argument up to ldz.
template <Scalar T>
Int check(Int ijob, bool wantq, bool wantz, Int n, Int lda, Int ldb, Int ldq, Int ldz) {
  const Int least = std::max(1, n);
  // A complex routine has one array less for its eigenvalues.
  constexpr Int position_of_ldq = RealScalar<T> ? 14 : 13;
  if (ijob < 0 || ijob > 5) return -1;
  if (n < 0) return -5;
  if (lda < least) return -7;
  if (ldb < least) return -9;
  if (ldq < (wantq ? least : 1)) return -position_of_ldq;
  if (ldz < (wantz ? least : 1)) return -(position_of_ldq + 2);
  return 0;
}

/// Elements of workspace that are enough.
template <Scalar T>
struct WorkSizes {
  std::int64_t work, integers;

  WorkSizes(Task wants, Int n, Int m) {
    // A solution has two parts of m (n - m) elements each; the norm estimator takes two vectors of that size.
    const std::int64_t solution = 2 * std::int64_t{m} * (n - m);
    constexpr Int integers_of_solver = RealScalar<T> ? 6 : 2;
    work = RealScalar<T> ? 4 * std::int64_t{n} + 16 : 1;
    integers = 1;
    if (wants.anything()) {
      work = std::max(work, wants.dif_by_one_norms ? 2 * solution : solution);
      integers = std::int64_t{n} + integers_of_solver;
      if (wants.dif_by_one_norms) integers = std::max(integers, solution);
    }
  }

  void tell(T* to_work, Int* to_iwork) const {
    to_work[0] = as_work_size<T>(work);
    to_iwork[0] = static_cast<Int>(std::min<std::int64_t>(integers, std::numeric_limits<Int>::max()));
  }
};

/// Brings the selected blocks to the top, one behind the other; false if that failed.
template <Scalar T>
bool collect(const PencilForm<T>& form, const Logical* select, T* work, Int lwork) {
  Int next = 1;
  for (Int k = 1; k <= form.n; ++k) {
    const DiagonalBlock block{k, is_pair<T>(form.A, form.n, k) ? k + 1 : k};
    const bool selected = is_selected(select, block);
    if (selected && k != next && !move_block(form, k, next, work, lwork)) return false;
    if (selected) next += block.order();
    k = block.last;
  }
  return true;
}

/// The Frobenius norm of a generalised Schur form.
template <Scalar T>
Real<T> norm_of(const PencilForm<T>& form) {
  FrobeniusNorm<Real<T>> norm;
  for (Int j = 1; j <= form.n; ++j) {
    norm.add(RealScalar<T> ? std::min(j + 1, form.n) : j, form.A.at(1, j)).add(j, form.B.at(1, j));
  }
  return norm.value();
}

/// A diagonal block of a pencil, of order n.
template <Scalar T>
struct PencilBlock {
  Int n;
  Matrix<const T> A, B;
};

/// The operator (R, L) -> (A1 R - L A2, B1 R - L B2) of two diagonal blocks.
template <Scalar T>
class SylvesterOperator {
  using R = Real<T>;

 public:
  /// x        as many elements as R and L have together, and for the norm estimator twice as many
  /// integers for the solver, and for the norm estimator as many as R and L have elements
  SylvesterOperator(PencilBlock<T> first, PencilBlock<T> second, T* x, Int* integers)
      : first_(first), second_(second), size_(std::ptrdiff_t{first.n} * second.n), x_(x), integers_(integers) {}

  T* first_part() const { return x_; }
  T* second_part() const { return x_ + size_; }

  /// Elements of either part. It fits where there is workspace for both, of which no more than an Int can be given.
  Int size_of_part() const { return static_cast<Int>(size_); }

  /// Puts the solution for the right side in x, times `scale`, in its place.
  R solve(char trans) const {
    R scale, unused;
    call(trans, 0, scale, unused);
    return scale;
  }

  R dif_by_frobenius() const {
    constexpr Int by_looking_ahead = 3;
    R scale, dif;
    call('N', by_looking_ahead, scale, dif);
    return dif;
  }

  /// The solver takes integers in which the estimator keeps signs. It then fails to see that they come back, and finds
  /// out by the estimate that does not grow.
  R dif_by_one_norms() const {
    R scale = 0, estimate;
    SecondWork<T>* signs = nullptr;
    if constexpr (RealScalar<T>) signs = integers_;
    estimate_norm(2 * size_of_part(), x_, x_ + 2 * size_, signs, estimate, [&](bool is_adjoint) {
      scale = solve(is_adjoint ? adjoint<T> : 'N');
      return true;
    });
    return scale / estimate;
  }

 private:
  void call(char trans, Int ijob, R& scale, R& dif) const {
    T unused;
    Int perturbed;
    tgsyl(trans, ijob, first_.n, second_.n, first_.A.data, first_.A.ld, second_.A.data, second_.A.ld, first_part(),
          first_.n, first_.B.data, first_.B.ld, second_.B.data, second_.B.ld, second_part(), first_.n, scale, dif,
          &unused, 1, integers_, perturbed);
  }

  PencilBlock<T> first_, second_;
  std::ptrdiff_t size_;
  T* x_;
  Int* integers_;
};

/// 1 / sqrt(1 + |x|^2) for x / scale.
template <Scalar T>
Real<T> reciprocal_projector_norm(Int size, const T* x, Real<T> scale) {
  const Real<T> length = FrobeniusNorm<Real<T>>().add(size, x).value();
  if (length == 0) return 1;
  return scale / (std::sqrt(scale * scale / length + length) * std::sqrt(length));
}

/// Where condition numbers go.
template <RealScalar R>
struct ConditionOutput {
  R &pl, &pr;
  R* dif;

  void set(Task wants, R projectors, R separation) const {
    if (wants.projectors) pl = pr = projectors;
    if (wants.dif()) dif[0] = dif[1] = separation;
  }
};

/// Judges the subspaces for the first m of n eigenvalues.
template <Scalar T>
void judge(Task wants, const PencilForm<T>& form, Int m, const ConditionOutput<Real<T>>& to, T* work, Int* iwork) {
  const Int rest = form.n - m;
  const PencilBlock<T> upper{m, form.A, form.B};
  const PencilBlock<T> lower{rest, block(form.A, m + 1, m + 1), block(form.B, m + 1, m + 1)};
  const SylvesterOperator<T> down(upper, lower, work, iwork), up(lower, upper, work, iwork);
  if (wants.projectors) {
    lacpy('F', m, rest, form.A.at(1, m + 1), form.A.ld, down.first_part(), m);
    lacpy('F', m, rest, form.B.at(1, m + 1), form.B.ld, down.second_part(), m);
    const Real<T> scale = down.solve('N');
    to.pl = reciprocal_projector_norm(down.size_of_part(), down.first_part(), scale);
    to.pr = reciprocal_projector_norm(down.size_of_part(), down.second_part(), scale);
  }
  if (wants.dif_by_frobenius) {
    to.dif[0] = down.dif_by_frobenius();
    to.dif[1] = up.dif_by_frobenius();
  } else if (wants.dif_by_one_norms) {
    to.dif[0] = down.dif_by_one_norms();
    to.dif[1] = up.dif_by_one_norms();
  }
}

/// Reorders and judges. Gives info.
template <Scalar T>
Int reorder_and_judge(Task wants, const PencilForm<T>& form, const Logical* select, Int m,
                      const ConditionOutput<Real<T>>& to, T* work, Int lwork, Int* iwork) {
  if (m == 0 || m == form.n) {
    to.set(wants, 1, wants.dif() ? norm_of(form) : Real<T>(0));
    return 0;
  }
  if (!collect(form, select, work, lwork)) {
    to.set(wants, 0, 0);
    return 1;
  }
  judge(wants, form, m, to, work, iwork);
  return 0;
}

template <Scalar T>
void negate(Int n, Vector<T> x) {
  for (std::ptrdiff_t i = 0; i < n; ++i) x.data[i * x.inc] = negated(x.data[i * x.inc]);
}

/// Reads the eigenvalues, and makes beta positive where a block is of order one.
template <RealScalar T>
void standardise(const PencilForm<T>& form, T* alphar, T* alphai, T* beta) {
  const Int n = form.n;
  const Matrix<T> A = form.A, B = form.B;
  for_each_diagonal_block(Matrix<const T>(A), n, true, [&](DiagonalBlock block) {
    const Int k = block.first;
    if (block.order() == 2) {
      lag2(A.at(k, k), A.ld, B.at(k, k), B.ld, Machine<T>::safe_min, beta[k - 1], beta[k], alphar[k - 1], alphar[k],
           alphai[k - 1]);
      alphai[k] = negated(alphai[k - 1]);
      return;
    }
    if (std::signbit(B(k, k))) {
      negate(n - k + 1, row(A, k, k));
      negate(n - k + 1, row(B, k, k));
      if (form.wantq) negate(n, column(form.Q, 1, k));
    }
    alphar[k - 1] = A(k, k);
    alphai[k - 1] = 0;
    beta[k - 1] = B(k, k);
  });
}

/// Reads the eigenvalues after making beta real and positive.
template <ComplexScalar T>
void standardise(const PencilForm<T>& form, T* alpha, T* beta) {
  const auto& [wantq, wantz, n, A, B, Q, Z] = form;
  for (Int k = 1; k <= n; ++k) {
    const T b = B(k, k);
    const Real<T> size = magnitude(b);
    if (size <= Machine<Real<T>>::safe_min) {
      B(k, k) = T(0);
    } else if (b != T(size)) {
      const T direction = b / size;
      B(k, k) = T(size);
      blas::scal(n - k, conjugate(direction), row(B, k, k + 1));
      blas::scal(n - k + 1, conjugate(direction), row(A, k, k));
      if (wantq) blas::scal(n, direction, column(Q, 1, k));
    }
    alpha[k - 1] = A(k, k);
    beta[k - 1] = B(k, k);
  }
}

/// The whole of either routine, but for the eigenvalues, which standardise(form) reads.
template <Scalar T, class Standardise>
void reorder(Int ijob, const Logical* select, const PencilForm<T>& form, Int& m, const ConditionOutput<Real<T>>& to,
             T* work, Int lwork, Int* iwork, Int liwork, Int& info, Standardise standardise) {
  constexpr Int position_of_lwork = RealScalar<T> ? 22 : 21;
  const auto& [wantq, wantz, n, A, B, Q, Z] = form;
  info = check<T>(ijob, wantq, wantz, n, A.ld, B.ld, Q.ld, Z.ld);
  if (info != 0) return report_bad_argument<T>("TGSEN", info);
  m = count_selected<T>(select, A, n);

  const Task wants(ijob);
  const WorkSizes<T> least(wants, n, m);
  const bool is_query = lwork == -1 || liwork == -1;
  least.tell(work, iwork);
  if (lwork < least.work && !is_query) info = -position_of_lwork;
  else if (liwork < least.integers && !is_query) info = -(position_of_lwork + 2);
  if (info != 0) return report_bad_argument<T>("TGSEN", info);
  if (is_query) return;

  info = reorder_and_judge(wants, form, select, m, to, work, lwork, iwork);
  standardise();
  least.tell(work, iwork);
}

}  // namespace

template <RealScalar T>
void tgsen(Int ijob, Logical wantq, Logical wantz, const Logical* select, Int n, T* a, Int lda, T* b, Int ldb,
           T* alphar, T* alphai, T* beta, T* q, Int ldq, T* z, Int ldz, Int& m, T& pl, T& pr, T* dif, T* work,
           Int lwork, Int* iwork, Int liwork, Int& info) {
  const PencilForm<T> form{is_true(wantq), is_true(wantz), n, {a, lda}, {b, ldb}, {q, ldq}, {z, ldz}};
  reorder(ijob, select, form, m, {pl, pr, dif}, work, lwork, iwork, liwork, info,
          [&] { standardise(form, alphar, alphai, beta); });
}

template <ComplexScalar T>
void tgsen(Int ijob, Logical wantq, Logical wantz, const Logical* select, Int n, T* a, Int lda, T* b, Int ldb, T* alpha,
           T* beta, T* q, Int ldq, T* z, Int ldz, Int& m, Real<T>& pl, Real<T>& pr, Real<T>* dif, T* work, Int lwork,
           Int* iwork, Int liwork, Int& info) {
  const PencilForm<T> form{is_true(wantq), is_true(wantz), n, {a, lda}, {b, ldb}, {q, ldq}, {z, ldz}};
  reorder(ijob, select, form, m, {pl, pr, dif}, work, lwork, iwork, liwork, info,
          [&] { standardise(form, alpha, beta); });
}

}  // namespace nuv

#include "generalised/deflating_subspace.entries.inc"
