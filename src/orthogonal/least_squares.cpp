#include "orthogonal/least_squares.hpp"

#include <algorithm>

#include "environment/block_plan.hpp"
#include "environment/machine_constants.hpp"
#include "environment/matrix_utilities.hpp"
#include "environment/norms_general.hpp"
#include "environment/scaling.hpp"
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

/// A matrix brought into the range in which no product of two elements over- or underflows.
template <RealScalar R>
struct Scaling {
  R norm = 0, target = 0;  ///< target zero: left as it was

  template <Scalar T>
  Scaling(Int m, Int n, Matrix<T> A) : norm(lange('M', m, n, A.data, A.ld, static_cast<R*>(nullptr))) {
    constexpr R smallest = Machine<R>::safe_min / Machine<R>::precision, largest = 1 / smallest;
    if (norm > 0 && norm < smallest) target = smallest;
    if (norm > largest) target = largest;
    if (target != 0) scale(norm, target, m, n, A);
  }

  template <Scalar T>
  static void scale(R from, R to, Int m, Int n, Matrix<T> A) {
    Int info = 0;
    lascl('G', 0, 0, from, to, m, n, A.data, A.ld, info);
  }
};

}  // namespace

template <Scalar T>
void gels(char trans, Int m, Int n, Int nrhs, T* a, Int lda, T* b, Int ldb, T* work, Int lwork, Int& info) {
  using R = Real<T>;
  const Int mn = std::min(m, n);
  const bool query = lwork == -1, transposed = !same_letter(trans, 'N');
  const std::int64_t best = mn + std::int64_t{std::max(mn, nrhs)} * best_block_size<T>(transposed, m, n, nrhs);
  const T best_lwork = as_work_size<T>(best);
  work[0] = best_lwork;
  info = 0;
  if (!is_one_of(trans, 'N', adjoint<T>)) info = -1;
  else if (m < 0) info = -2;
  else if (n < 0) info = -3;
  else if (nrhs < 0) info = -4;
  else if (lda < std::max(1, m)) info = -6;
  else if (ldb < std::max({1, m, n})) info = -8;
  else if (lwork < std::max<std::int64_t>(1, std::int64_t{mn} + std::max(mn, nrhs)) && !query) info = -10;
  if (info != 0) return report_bad_argument<T>("GELS", info);

  if (query) return;

  const Matrix A{a, lda}, B{b, ldb};
  const auto solve_by_zero = [&] { laset('F', std::max(m, n), nrhs, T(0), T(0), b, ldb); };
  if (mn == 0 || nrhs == 0) return solve_by_zero();
  const Scaling<R> scaling_of_a(m, n, A);
  if (scaling_of_a.norm == 0) return solve_by_zero();
  const Scaling<R> scaling_of_b(transposed ? n : m, nrhs, B);

  T* const tau = work;
  T* const rest = work + mn;
  const Int rest_size = lwork - mn;
  const auto clear_from = [&](Int row, Int until) {
    for (Int j = 1; j <= nrhs; ++j) std::fill(B.at(row, j), B.at(until + 1, j), T(0));
  };
  Int iinfo = 0;
  if (m >= n) {
    layer::geqrf(m, n, A, tau, rest, rest_size, iinfo);
    if (!transposed) {
      layer::ormqr('L', adjoint<T>, m, nrhs, n, A, tau, B, rest, rest_size, iinfo);
      blas::trsm('L', 'U', 'N', 'N', n, nrhs, T(1), A, B);
    } else {
      blas::trsm('L', 'U', adjoint<T>, 'N', n, nrhs, T(1), A, B);
      clear_from(n + 1, m);
      layer::ormqr('L', 'N', m, nrhs, n, A, tau, B, rest, rest_size, iinfo);
    }
  } else {
    gelqf(m, n, a, lda, tau, rest, rest_size, iinfo);
    if (!transposed) {
      blas::trsm('L', 'L', 'N', 'N', m, nrhs, T(1), A, B);
      clear_from(m + 1, n);
      layer::ormlq('L', adjoint<T>, n, nrhs, m, A, tau, B, rest, rest_size, iinfo);
    } else {
      layer::ormlq('L', 'N', n, nrhs, m, A, tau, B, rest, rest_size, iinfo);
      blas::trsm('L', 'L', adjoint<T>, 'N', m, nrhs, T(1), A, B);
    }
  }

  const Int solution_rows = transposed ? m : n;
  if (scaling_of_a.target != 0) Scaling<R>::scale(scaling_of_a.norm, scaling_of_a.target, solution_rows, nrhs, B);
  if (scaling_of_b.target != 0) Scaling<R>::scale(scaling_of_b.target, scaling_of_b.norm, solution_rows, nrhs, B);
  work[0] = best_lwork;
}

}  // namespace nuv

#include "orthogonal/least_squares.entries.inc"
