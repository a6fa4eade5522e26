#include "generalised/kogbetliantz.hpp"

#include <algorithm>
#include <cmath>

#include "environment/extremes.hpp"
#include "environment/hermitian.hpp"
#include "environment/matrix_utilities.hpp"
#include "environment/rotation.hpp"
#include "frame/error_report.hpp"
#include "generalised/pair_arguments.hpp"
#include "generalised/pair_two_by_two.hpp"
#include "generalised/parallel_vectors.hpp"

namespace nuv {
namespace {

constexpr Int most_cycles = 40;

/// A rotation G of two columns, whose adjoint is one of two rows.
template <Scalar T>
struct ColumnRotation {
  Real<T> cs;
  T sn;

  /// Of columns i and j of X: (x_i, x_j) := (x_i, x_j) G
  void apply_to_columns(Int m, Matrix<T> X, Int i, Int j) const {
    blas::rot(m, column(X, 1, j), column(X, 1, i), cs, sn);
  }

  /// Of rows i and j of X from column `from` on: (x_i; x_j) := G^H (x_i; x_j)
  void apply_to_rows(Int n, Matrix<T> X, Int i, Int j, Int from) const {
    blas::rot(n, row(X, j, from), row(X, i, from), cs, conjugate(sn));
  }
};

/// Two matrices with a triangle of order l in the last columns of each, whose rows are to become parallel.
template <Scalar T>
struct TwoTriangles {
  using R = Real<T>;

  Int m, p, n, k, l;
  Matrix<T> A, B, U, V, Q;
  PairJobs jobs;

  /// The column of A and B in which column i of both triangles stands.
  Int place(Int i) const { return n - l + i; }

  bool is_row_of_a(Int i) const { return k + i <= m; }

  /// Rows of the triangle of A.
  Int rows_of_a() const { return std::min(l, m - k); }

  void begin() const {
    const auto set_to_identity = [](char job, Int order, Matrix<T> X) {
      if (same_letter(job, 'I')) laset('F', order, order, T(0), T(1), X.data, X.ld);
    };
    set_to_identity(jobs.u, m, U);
    set_to_identity(jobs.v, p, V);
    set_to_identity(jobs.q, n, Q);
  }

  /// Takes (i, j) of two upper triangles, or (j, i) of two lower ones, to zero, and so brings in (j, i), or (i, j).
  void eliminate(bool upper, Int i, Int j) const {
    const Int at_i = place(i), at_j = place(j);
    const bool has_i = is_row_of_a(i), has_j = is_row_of_a(j);
    const Int row = upper ? i : j, other = upper ? at_j : at_i;  // (row, other) goes to zero
    const bool has_row = upper ? has_i : has_j;
    T none = 0;
    T &a2 = has_row ? A(k + row, other) : none, &b2 = B(row, other);
    ColumnRotation<T> u, v, q;
    lags2(to_logical(upper), has_i ? std::real(A(k + i, at_i)) : R(0), a2, has_j ? std::real(A(k + j, at_j)) : R(0),
          std::real(B(i, at_i)), b2, std::real(B(j, at_j)), u.cs, u.sn, v.cs, v.sn, q.cs, q.sn);

    if (has_j) u.apply_to_rows(l, A, k + i, k + j, place(1));
    v.apply_to_rows(l, B, i, j, place(1));
    q.apply_to_columns(std::min(k + l, m), A, at_i, at_j);
    q.apply_to_columns(l, B, at_i, at_j);
    a2 = b2 = T(0);
    for (const Int d : {i, j}) {
      if (is_row_of_a(d)) make_real(A(k + d, place(d)));
      make_real(B(d, place(d)));
    }

    if (jobs.u_is_wanted() && has_j) u.apply_to_columns(m, U, k + i, k + j);
    if (jobs.v_is_wanted()) v.apply_to_columns(p, V, i, j);
    if (jobs.q_is_wanted()) q.apply_to_columns(n, Q, at_i, at_j);
  }

  void cycle(bool upper) const {
    for (Int i = 1; i < l; ++i) {
      for (Int j = i + 1; j <= l; ++j) eliminate(upper, i, j);
    }
  }

  /// How far the rows of two upper triangles are from parallel.
  R distance_from_parallel(T* work) const {
    R largest = 0;
    for (Int i = 1; i <= rows_of_a(); ++i) {
      const Int length = l - i + 1;
      R distance;
      blas::copy(length, row(A, k + i, place(i)), {work, 1});
      blas::copy(length, row(B, i, place(i)), {work + l, 1});
      lapll(length, work, 1, work + l, 1, distance);
      largest = larger_or_nan(largest, distance);
    }
    return largest;
  }

  /// The values alpha and beta, and the rows of R, from rows of both triangles that are parallel.
  void extract(R* alpha, R* beta) const {
    const auto set = [&](Int from, Int to, R a, R b) {
      std::fill_n(alpha + (from - 1), std::max(to - from + 1, 0), a);
      std::fill_n(beta + (from - 1), std::max(to - from + 1, 0), b);
    };
    set(1, k, 1, 0);
    for (Int i = 1; i <= rows_of_a(); ++i) extract_row(i, alpha[k + i - 1], beta[k + i - 1]);
    set(m + 1, k + l, 0, 1);
    set(k + l + 1, n, 0, 0);
  }

 private:
  static void make_real(T& x) { x = T(std::real(x)); }

  void extract_row(Int i, R& alpha, R& beta) const {
    const Int length = l - i + 1;
    const Vector<T> row_of_a = row(A, k + i, place(i)), row_of_b = row(B, i, place(i));
    const R a = std::real(*row_of_a.data), b = std::real(*row_of_b.data);
    if (a == 0 || std::isinf(b / a)) {  // alpha is zero to all digits
      alpha = 0;
      beta = 1;
      return blas::copy(length, row_of_b, row_of_a);
    }
    const R gamma = b / a;
    if (gamma < 0) {
      blas::scal(length, R(-1), row_of_b);
      if (jobs.v_is_wanted()) blas::scal(p, R(-1), column(V, 1, i));
    }
    R ignored;
    lartg(std::abs(gamma), R(1), beta, alpha, ignored);
    if (alpha >= beta) return blas::scal(length, 1 / alpha, row_of_a);
    blas::scal(length, 1 / beta, row_of_b);
    blas::copy(length, row_of_b, row_of_a);
  }
};

}  // namespace

template <Scalar T>
void tgsja(char jobu, char jobv, char jobq, Int m, Int p, Int n, Int k, Int l, T* a, Int lda, T* b, Int ldb,
           Real<T> tola, Real<T> tolb, Real<T>* alpha, Real<T>* beta, T* u, Int ldu, T* v, Int ldv, T* q, Int ldq,
           T* work, Int& ncycle, Int& info) {
  const PairJobs jobs{jobu, jobv, jobq};
  const PairArguments arguments{jobs, m, p, n, lda, ldb, ldu, ldv, ldq};
  info = arguments.check(true, {m, p, n}, {.lda = 10, .ldb = 12, .ldu = 18});
  if (info != 0) return report_bad_argument<T>("TGSJA", info);

  const TwoTriangles<T> triangles{m, p, n, k, l, {a, lda}, {b, ldb}, {u, ldu}, {v, ldv}, {q, ldq}, jobs};
  const Real<T> tolerance = smaller_or_nan(tola, tolb);
  triangles.begin();
  bool converged = l == 0;
  for (ncycle = 0; !converged && ncycle < most_cycles;) {
    const bool upper = ++ncycle % 2 == 1;
    triangles.cycle(upper);
    if (!upper) converged = triangles.distance_from_parallel(work) <= tolerance;
  }
  if (converged) {
    triangles.extract(alpha, beta);
  } else {
    info = 1;
  }
}

}  // namespace nuv

#include "generalised/kogbetliantz.entries.inc"
