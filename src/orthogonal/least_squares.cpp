#include "orthogonal/least_squares.hpp"

#include <algorithm>

#include "environment/block_plan.hpp"
#include "environment/matrix_utilities.hpp"
#include "environment/norm_scaling.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "layer.hpp"
#include "orthogonal/forms.hpp"
#include "orthogonal/lq_ql_rq.hpp"

namespace nuv {
namespace {

template <Scalar T>
Int best_block_size(bool transposed, Int m, Int n, Int nrhs) {
  const bool tall = m >= n;
  const char opts[] = {'L', transposed == tall ? 'N' : adjoint<T>};
  const Tuning<T> factor{.name = RoutineName<T>(tall ? "GEQRF" : "GELQF"), .n1 = m, .n2 = n};
  const Tuning<T> apply{name_of_form<T>("ORM", "UNM", tall ? qr : lq), {opts, 2}, std::max(m, n), nrhs, std::min(m, n)};
  return std::max(factor.block_size(), apply.block_size());
}

/// 0, or minus the position of the first bad argument.
template <Scalar T>
Int check(char trans, Int m, Int n, Int nrhs, Int lda, Int ldb, Int lwork) {
  const Int mn = std::min(m, n);
  if (!is_one_of(trans, 'N', adjoint<T>)) return -1;
  if (m < 0) return -2;
  if (n < 0) return -3;
  if (nrhs < 0) return -4;
  if (lda < std::max(1, m)) return -6;
  if (ldb < std::max({1, m, n})) return -8;
  if (lwork < std::max<std::int64_t>(1, std::int64_t{mn} + std::max(mn, nrhs)) && lwork != -1) return -10;
  return 0;
}

/// op(A) X = B with an m by n matrix A, and X in the place of B.
template <Scalar T>
struct System {
  bool transposed;
  Int m, n, nrhs;
  Matrix<T> A, B;

  bool tall() const { return m >= n; }
  Int longer() const { return std::max(m, n); }
  Int shorter() const { return std::min(m, n); }

  /// B := 0 from that row on.
  void clear(Int row) const { laset('F', longer() - row + 1, nrhs, T(0), T(0), B.at(row, 1), B.ld); }

  /// B := op(R)^-1 B for A = Q R, or the same with L of A = L Q.
  void solve_triangle() const {
    blas::trsm('L', tall() ? 'U' : 'L', transposed ? adjoint<T> : 'N', 'N', shorter(), nrhs, T(1), A, B);
  }
};

/// Solves a system by the QR or the LQ factorisation of A. With more equations than unknowns, B goes through Q^H to the
/// triangle and the residuals; with fewer, the solution of the triangle goes through Q, which leaves its norm as it is.
template <Scalar T>
void solve(const System<T>& system, T* work, Int lwork) {
  const Int longer = system.longer(), mn = system.shorter(), nrhs = system.nrhs;
  T *const tau = work, *const rest = work + mn;
  const Int rest_size = lwork - mn;
  Int ignored = 0;
  const auto apply_q = [&] {
    const char trans = system.transposed ? 'N' : adjoint<T>;
    if (system.tall()) {
      layer::ormqr('L', trans, longer, nrhs, mn, system.A, tau, system.B, rest, rest_size, ignored);
    } else {
      layer::ormlq('L', trans, longer, nrhs, mn, system.A, tau, system.B, rest, rest_size, ignored);
    }
  };

  if (system.tall()) {
    layer::geqrf(system.m, system.n, system.A, tau, rest, rest_size, ignored);
  } else {
    gelqf(system.m, system.n, system.A.data, system.A.ld, tau, rest, rest_size, ignored);
  }
  // A square system goes either way.
  const bool has_more_equations = system.tall() != system.transposed;
  if (has_more_equations) {
    apply_q();
    system.solve_triangle();
  } else {
    system.solve_triangle();
    system.clear(mn + 1);
    apply_q();
  }
}

}  // namespace

template <Scalar T>
void gels(char trans, Int m, Int n, Int nrhs, T* a, Int lda, T* b, Int ldb, T* work, Int lwork, Int& info) {
  using R = Real<T>;
  const Int mn = std::min(m, n);
  const bool transposed = !same_letter(trans, 'N');
  const std::int64_t best = mn + std::int64_t{std::max(mn, nrhs)} * best_block_size<T>(transposed, m, n, nrhs);
  const T best_lwork = as_work_size<T>(best);
  work[0] = best_lwork;
  info = check<T>(trans, m, n, nrhs, lda, ldb, lwork);
  if (info != 0) return report_bad_argument<T>("GELS", info);
  if (lwork == -1) return;

  const System<T> system{transposed, m, n, nrhs, {a, lda}, {b, ldb}};
  const Int equations = transposed ? n : m, unknowns = transposed ? m : n;
  if (mn == 0 || nrhs == 0) return system.clear(1);
  const auto scaling_of_a = NormScaling<R>::without_squares(m, n, system.A);
  if (scaling_of_a.norm() == 0) return system.clear(1);
  const auto scaling_of_b = NormScaling<R>::without_squares(equations, nrhs, system.B);

  solve(system, work, lwork);
  scaling_of_a.redo(unknowns, nrhs, system.B);  // X belongs to the scaled A
  scaling_of_b.undo('G', unknowns, nrhs, system.B);
  work[0] = best_lwork;
}

}  // namespace nuv

#include "orthogonal/least_squares.entries.inc"
