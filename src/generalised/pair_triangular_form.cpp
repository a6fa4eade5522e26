#include "generalised/pair_triangular_form.hpp"

#include <algorithm>
#include <numeric>

#include "environment/abs1.hpp"
#include "environment/hermitian.hpp"
#include "environment/matrix_utilities.hpp"
#include "frame/error_report.hpp"
#include "generalised/pair_arguments.hpp"
#include "orthogonal/apply_q.hpp"
#include "orthogonal/form_q.hpp"
#include "orthogonal/lq_ql_rq.hpp"
#include "orthogonal/pivoted_qr.hpp"
#include "orthogonal/qr.hpp"

namespace nuv {
namespace {

template <RealScalar T>
void factor_with_pivots(Int m, Int n, Matrix<T> A, Int* jpvt, T* tau, T* work, T* /*rwork*/) {
  Int ignored = 0;
  geqpf(m, n, A.data, A.ld, jpvt, tau, work, ignored);
}
template <ComplexScalar T>
void factor_with_pivots(Int m, Int n, Matrix<T> A, Int* jpvt, T* tau, T* work, Real<T>* rwork) {
  Int ignored = 0;
  geqpf(m, n, A.data, A.ld, jpvt, tau, work, rwork, ignored);
}

template <Scalar T>
void clear(Int m, Int n, Matrix<T> A) {
  laset('F', m, n, T(0), T(0), A.data, A.ld);
}

template <Scalar T>
void clear_below_diagonal(Int m, Int n, Matrix<T> A) {
  if (m > 1) laset('L', m - 1, std::min(m - 1, n), T(0), T(0), A.at(2, 1), A.ld);
}

/// The rank of an m by n triangle: how many elements of its diagonal are above a tolerance. What can't be compared, for
/// a NaN among them or for the tolerance, counts, so that it is not left out of what follows.
template <Scalar T>
Int rank_of(Int m, Int n, Matrix<T> A, Real<T> tolerance) {
  Int rank = 0;
  for (Int i = 1; i <= std::min(m, n); ++i) {
    if (!(abs1(A(i, i)) <= tolerance)) ++rank;
  }
  return rank;
}

/// The pair on its way, A, B and what has been applied to them:
///
///     B = V | R R |   then | . R |   l rows         A = | A11 A12 |   then   | . T A12 |   k rows
///           | . . |        | . . |                      |         |          | . . A23 |
template <Scalar T>
struct PairReduction {
  Int m, p, n;
  Matrix<T> A, B, U, V, Q;
  PairJobs jobs;
  Int* pivots;
  Real<T>* rwork;
  T *tau, *work;

  /// A pivoted QR factorisation of X, and its pivots.
  void factor(Int rows, Int columns, Matrix<T> X) const {
    if (rows == 0) return std::iota(pivots, pivots + columns, Int(1));
    std::fill_n(pivots, columns, Int(0));
    factor_with_pivots(rows, columns, X, pivots, tau, work, rwork);
  }

  void permute(Int rows, Int columns, Matrix<T> X) const {
    lapmt(to_logical(true), rows, columns, X.data, X.ld, pivots);
  }

  /// Y := the Q, of order `rows`, of the QR factorisation that X, `rows` by `columns`, holds.
  void form_q(Int rows, Int columns, Matrix<T> X, Matrix<T> Y) const {
    Int ignored = 0;
    clear(rows, rows, Y);
    if (rows > 1) lacpy('L', rows - 1, columns, X.at(2, 1), X.ld, Y.at(2, 1), Y.ld);
    org2r(rows, rows, std::min(rows, columns), Y.data, Y.ld, tau, work, ignored);
  }

  /// X := X Z^H with zeros in front of a triangle, for an X of `rows` by `columns` and of full row rank; the same Z^H
  /// for the first columns of Q, and for those of another matrix.
  void move_to_the_right(Int rows, Int columns, Matrix<T> X, Int other_rows, Matrix<T> other) const {
    Int ignored = 0;
    gerq2(rows, columns, X.data, X.ld, tau, work, ignored);
    const auto follow = [&](Int height, Matrix<T> Y) {
      ormr2('R', adjoint<T>, height, columns, rows, X.data, X.ld, tau, Y.data, Y.ld, work, ignored);
    };
    if (other_rows > 0) follow(other_rows, other);
    if (jobs.q_is_wanted()) follow(n, Q);
    clear(rows, columns - rows, X);
    clear_below_diagonal(rows, rows, block(X, 1, columns - rows + 1));
  }

  /// Brings B to its triangle, and A along; the order of the triangle.
  Int reduce_b(Real<T> tolerance) const {
    factor(p, n, B);
    permute(m, n, A);
    const Int l = rank_of(p, n, B, tolerance);
    if (jobs.v_is_wanted()) form_q(p, n, B, V);
    clear_below_diagonal(l, l, B);
    clear(p - l, n, block(B, l + 1, 1));
    if (jobs.q_is_wanted()) {
      laset('F', n, n, T(0), T(1), Q.data, Q.ld);
      permute(n, n, Q);
    }
    if (l != n) move_to_the_right(l, n, B, m, A);
    return l;
  }

  /// Brings the columns of A that B does without to a triangle; its order.
  Int reduce_a11(Int l, Real<T> tolerance) const {
    Int ignored = 0;
    const Int columns = n - l, steps = std::min(m, columns);
    factor(m, columns, A);
    const Int k = rank_of(m, columns, A, tolerance);
    orm2r('L', adjoint<T>, m, l, steps, A.data, A.ld, tau, A.at(1, columns + 1), A.ld, work, ignored);
    if (jobs.u_is_wanted()) form_q(m, columns, A, U);
    if (jobs.q_is_wanted()) permute(n, columns, Q);
    clear_below_diagonal(k, k, A);
    clear(m - k, columns, block(A, k + 1, 1));
    if (columns > k) move_to_the_right(k, columns, A, 0, A);
    return k;
  }

  /// Brings what is left of A to a triangle.
  void reduce_a23(Int k, Int l) const {
    if (m <= k) return;
    Int ignored = 0;
    const Int rows = m - k;
    const Matrix<T> A23 = block(A, k + 1, n - l + 1);
    geqr2(rows, l, A23.data, A23.ld, tau, work, ignored);
    if (jobs.u_is_wanted()) {
      orm2r('R', 'N', m, rows, std::min(rows, l), A23.data, A23.ld, tau, U.at(1, k + 1), U.ld, work, ignored);
    }
    clear_below_diagonal(rows, l, A23);
  }
};

template <Scalar T>
void reduce(const PairReduction<T>& pair, Real<T> tola, Real<T> tolb, Int& k, Int& l, Int& info) {
  const PairArguments arguments{pair.jobs, pair.m,    pair.p,    pair.n,   pair.A.ld,
                                pair.B.ld, pair.U.ld, pair.V.ld, pair.Q.ld};
  info = arguments.check(false, {pair.m, pair.p, pair.n}, {.lda = 8, .ldb = 10, .ldu = 16});
  if (info != 0) return report_bad_argument<T>("GGSVP", info);
  l = pair.reduce_b(tolb);
  k = pair.reduce_a11(l, tola);
  pair.reduce_a23(k, l);
}

}  // namespace

template <RealScalar T>
void ggsvp(char jobu, char jobv, char jobq, Int m, Int p, Int n, T* a, Int lda, T* b, Int ldb, T tola, T tolb, Int& k,
           Int& l, T* u, Int ldu, T* v, Int ldv, T* q, Int ldq, Int* iwork, T* tau, T* work, Int& info) {
  reduce<T>({m, p, n, {a, lda}, {b, ldb}, {u, ldu}, {v, ldv}, {q, ldq}, {jobu, jobv, jobq}, iwork, nullptr, tau, work},
            tola, tolb, k, l, info);
}
template <ComplexScalar T>
void ggsvp(char jobu, char jobv, char jobq, Int m, Int p, Int n, T* a, Int lda, T* b, Int ldb, Real<T> tola,
           Real<T> tolb, Int& k, Int& l, T* u, Int ldu, T* v, Int ldv, T* q, Int ldq, Int* iwork, Real<T>* rwork,
           T* tau, T* work, Int& info) {
  reduce<T>({m, p, n, {a, lda}, {b, ldb}, {u, ldu}, {v, ldv}, {q, ldq}, {jobu, jobv, jobq}, iwork, rwork, tau, work},
            tola, tolb, k, l, info);
}

}  // namespace nuv

#include "generalised/pair_triangular_form.entries.inc"
