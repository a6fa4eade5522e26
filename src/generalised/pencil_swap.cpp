#include "generalised/pencil_swap.hpp"

#include <algorithm>
#include <initializer_list>

#include "blas.hpp"
#include "environment/matrix_utilities.hpp"
#include "generalised/frobenius_norm.hpp"
#include "generalised/pencil_form.hpp"
#include "generalised/pencil_singles_swap.hpp"
#include "generalised/pencil_two_by_two.hpp"
#include "generalised/small_pencil_sylvester.hpp"
#include "orthogonal/apply_q.hpp"
#include "orthogonal/form_q.hpp"
#include "orthogonal/lq_ql_rq.hpp"
#include "orthogonal/qr.hpp"

namespace nuv {
namespace {

/// A matrix of order four at most. What is done to it begins in its first row and column.
template <RealScalar R>
struct SmallMatrix {
  static constexpr Int ld = 4, size = ld * ld;
  R x[size] = {};

  R* at(Int i, Int j) { return x + (i - 1) + (j - 1) * ld; }
  R& operator()(Int i, Int j) { return *at(i, j); }
  operator Matrix<R>() { return {x, ld}; }
  operator Matrix<const R>() const { return {x, ld}; }
};

/// A trial U^T (A, B) V^T, and both transformations.
template <RealScalar R>
struct Trial {
  SmallMatrix<R> S, P, U, V;
};

/// Two neighbouring blocks of a pencil, one of them at least of order two:
///
///     S11  S12    P11  P12    n1
///          S22         P22    n2
///
/// With the solution of S11 X - Y S22 = scale S12, P11 X - Y P22 = scale P12 the columns of [-X; scale I] and those of
/// [-Y; scale I] span the deflating subspaces for the second block, which orthogonal transformations turn onto the
/// first n2 axes.
template <RealScalar R>
class NeighbourBlocks {
 public:
  NeighbourBlocks(const PencilForm<R>& form, Int j1, Int n1, Int n2, R* work)
      : form_(form),
        A_(block(form.A, j1, j1)),
        B_(block(form.B, j1, j1)),
        j1_(j1),
        n1_(n1),
        n2_(n2),
        order_(n1 + n2),
        work_(work) {}

  /// False if the swap is rejected.
  bool swap() {
    copy(A_, a_);
    copy(B_, b_);
    const PowerOfSize<R> size_of_a(Small::size, a_.x), size_of_b(Small::size, b_.x);
    if (!size_of_a.is_finite() || !size_of_b.is_finite()) return false;
    size_of_a.take_from(a_.x);
    size_of_b.take_from(b_.x);
    trial_.S = a_;
    trial_.P = b_;
    exchange();
    if (!make_triangular() || !is_near(trial_.S, a_) || !is_near(trial_.P, b_)) return false;
    laset('F', n1_, n2_, R(0), R(0), trial_.S.at(n2_ + 1, 1), trial_.S.ld);
    if (n2_ == 2) standardise(1);
    if (n1_ == 2) standardise(n2_ + 1);
    size_of_a.give_back_to(trial_.S.x);
    size_of_b.give_back_to(trial_.P.x);
    apply();
    return true;
  }

 private:
  using Small = SmallMatrix<R>;

  void copy(Matrix<const R> from, Matrix<R> to) const {
    lacpy('F', order_, order_, from.data, from.ld, to.data, to.ld);
  }

  R threshold_of(const Small& origin) const {
    return swap_threshold(FrobeniusNorm<R>().add(Small::size, origin.x).value());
  }

  /// C := op(A) op(B), or C - op(A) op(B)
  void multiply(char trans_a, char trans_b, Matrix<const R> A, Matrix<const R> B, Matrix<R> C,
                bool subtract = false) const {
    blas::gemm(trans_a, trans_b, order_, order_, order_, R(subtract ? -1 : 1), A, B, R(subtract ? 1 : 0), C);
  }

  /// Both blocks change places; below them, and in P below the diagonal, rounding leaves something.
  void exchange() {
    auto& [S, P, U, V] = trial_;
    // X stands where it will be in the rows [scale I, X] that span, transposed, what V^T has to turn onto the last
    // axes.
    lacpy('F', n1_, n2_, P.at(1, n1_ + 1), P.ld, U.x, U.ld);
    lacpy('F', n1_, n2_, S.at(1, n1_ + 1), S.ld, V.at(n2_ + 1, n1_ + 1), V.ld);
    R scale, sum = 1, scale_of_sum = 0;
    Int positions[2 + 2 + 2], systems, info;
    tgsy2('N', 0, n1_, n2_, S.x, S.ld, S.at(n1_ + 1, n1_ + 1), S.ld, V.at(n2_ + 1, n1_ + 1), V.ld, P.x, P.ld,
          P.at(n1_ + 1, n1_ + 1), P.ld, U.x, U.ld, scale, sum, scale_of_sum, positions, systems, info);
    for (Int j = 1; j <= n2_; ++j) {
      for (Int i = 1; i <= n1_; ++i) U(i, j) = negated(U(i, j));
      U(n1_ + j, j) = scale;
    }
    for (Int i = 1; i <= n1_; ++i) V(n2_ + i, i) = scale;

    R tau[4], room[4];
    geqr2(order_, n2_, U.x, U.ld, tau, room, info);
    org2r(order_, order_, n2_, U.x, U.ld, tau, room, info);
    gerq2(n1_, order_, V.at(n2_ + 1, 1), V.ld, tau, room, info);
    orgr2(order_, order_, n1_, V.x, V.ld, tau, room, info);
    for (Small* X : {&S, &P}) {
      Small half;
      multiply('T', 'N', U, *X, half);
      multiply('N', 'T', half, V, *X);
    }
  }

  /// Makes P triangular from the right or from the left, whichever leaves less of S below the blocks. False if that is
  /// too much.
  bool make_triangular() {
    Trial<R> other = trial_;
    R tau[4], room[4];
    Int info;
    {
      auto& [S, P, U, V] = trial_;
      gerq2(order_, order_, P.x, P.ld, tau, room, info);
      ormr2('R', 'T', order_, order_, order_, P.x, P.ld, tau, S.x, S.ld, room, info);
      ormr2('L', 'N', order_, order_, order_, P.x, P.ld, tau, V.x, V.ld, room, info);
    }
    {
      auto& [S, P, U, V] = other;
      geqr2(order_, order_, P.x, P.ld, tau, room, info);
      orm2r('L', 'T', order_, order_, order_, P.x, P.ld, tau, S.x, S.ld, room, info);
      orm2r('R', 'N', order_, order_, order_, P.x, P.ld, tau, U.x, U.ld, room, info);
    }
    const R rest = rest_below(trial_), other_rest = rest_below(other);
    const bool take_other = other_rest <= rest;
    if (take_other) trial_ = other;
    laset('L', order_ - 1, order_ - 1, R(0), R(0), trial_.P.at(2, 1), trial_.P.ld);
    return (take_other ? other_rest : rest) <= threshold_of(a_);
  }

  R rest_below(const Trial<R>& trial) const {
    return FrobeniusNorm<R>().add(n1_, n2_, block<const R>(trial.S, n2_ + 1, 1)).value();
  }

  /// Whether a matrix of the trial, transformed back, is near enough to where it came from.
  bool is_near(const Small& X, const Small& origin) const {
    Small half, error = origin;
    multiply('N', 'N', trial_.U, X, half);
    multiply('N', 'N', half, trial_.V, error, true);
    return FrobeniusNorm<R>().add(Small::size, error.x).value() <= threshold_of(origin);
  }

  /// Brings the block of order two in rows k, k + 1 to standard form.
  void standardise(Int k) {
    auto& [S, P, U, V] = trial_;
    R alphar[2], alphai[2], beta[2], left_cs, left_sn, right_cs, right_sn;
    lagv2(S.at(k, k), S.ld, P.at(k, k), P.ld, alphar, alphai, beta, left_cs, left_sn, right_cs, right_sn);
    const Matrix<R> left = U, right = V;
    for (const Matrix<R>& X : {Matrix<R>(S), Matrix<R>(P)}) {
      if (k + 2 <= order_) blas::rot(order_ - k - 1, row(X, k, k + 2), row(X, k + 1, k + 2), left_cs, left_sn);
      blas::rot(k - 1, column(X, 1, k), column(X, 1, k + 1), right_cs, right_sn);
    }
    blas::rot(order_, column(left, 1, k), column(left, 1, k + 1), left_cs, left_sn);
    blas::rot(order_, row(right, k, 1), row(right, k + 1, 1), right_cs, right_sn);
    if (S(k + 1, k) != 0) {
      for (const Int i : {k, k + 1}) make_positive(i);
    }
  }

  /// Changes the signs of a row if the diagonal element of P is negative.
  void make_positive(Int i) {
    auto& [S, P, U, V] = trial_;
    if (!(P(i, i) < 0)) return;
    for (Int j = 1; j <= order_; ++j) {
      S(i, j) = negated(S(i, j));
      P(i, j) = negated(P(i, j));
      U(j, i) = negated(U(j, i));
    }
  }

  void apply() {
    const auto& [wantq, wantz, n, A, B, Q, Z] = form_;
    lacpy('F', order_, order_, trial_.S.x, trial_.S.ld, A.at(j1_, j1_), A.ld);
    lacpy('F', order_, order_, trial_.P.x, trial_.P.ld, B.at(j1_, j1_), B.ld);
    if (wantq) turn_columns(n, Q, 'N', trial_.U);
    if (wantz) turn_columns(n, Z, 'T', trial_.V);
    for (const Matrix<R>& X : {A, B}) {
      turn_columns(j1_ - 1, X, 'T', trial_.V);
      turn_rows(n - j1_ - order_ + 1, block(X, j1_, j1_ + order_));
    }
  }

  /// X := X op(W) for the columns of both blocks.
  void turn_columns(Int rows, Matrix<R> X, char trans, Matrix<const R> W) const {
    if (rows <= 0) return;
    const Matrix<R> product{work_, rows};
    blas::gemm('N', trans, rows, order_, order_, R(1), block(X, 1, j1_), W, R(0), product);
    lacpy('F', rows, order_, work_, rows, X.at(1, j1_), X.ld);
  }

  /// X := U^T X
  void turn_rows(Int columns, Matrix<R> X) const {
    if (columns <= 0) return;
    const Matrix<R> product{work_, order_};
    blas::gemm('T', 'N', order_, columns, order_, R(1), trial_.U, X, R(0), product);
    lacpy('F', order_, columns, work_, order_, X.data, X.ld);
  }

  PencilForm<R> form_;
  Matrix<R> A_, B_;
  Int j1_, n1_, n2_, order_;
  R* work_;
  Small a_, b_;  ///< what is swapped, of sizes about one
  Trial<R> trial_;
};

}  // namespace

template <RealScalar T>
void tgex2(Logical wantq, Logical wantz, Int n, T* a, Int lda, T* b, Int ldb, T* q, Int ldq, T* z, Int ldz, Int j1,
           Int n1, Int n2, T* work, Int lwork, Int& info) {
  info = 0;
  if (n <= 1 || n1 <= 0 || n2 <= 0 || j1 + n1 > n) return;
  const std::int64_t order = n1 + n2, least_work = std::max(n * order, 2 * order * order);
  if (lwork < least_work) {
    work[0] = as_work_size<T>(least_work);
    info = -16;
    return;
  }
  const PencilForm<T> form{is_true(wantq), is_true(wantz), n, {a, lda}, {b, ldb}, {q, ldq}, {z, ldz}};
  const bool swapped = order == 2 ? swap_singles(form, j1) : NeighbourBlocks<T>(form, j1, n1, n2, work).swap();
  info = swapped ? 0 : 1;
}

template <ComplexScalar T>
void tgex2(Logical wantq, Logical wantz, Int n, T* a, Int lda, T* b, Int ldb, T* q, Int ldq, T* z, Int ldz, Int j1,
           Int& info) {
  info = 0;
  if (n <= 1) return;
  const PencilForm<T> form{is_true(wantq), is_true(wantz), n, {a, lda}, {b, ldb}, {q, ldq}, {z, ldz}};
  info = swap_singles(form, j1) ? 0 : 1;
}

}  // namespace nuv

#include "generalised/pencil_swap.entries.inc"
