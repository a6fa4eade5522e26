#include "generalised/pair_factorisations.hpp"

#include <algorithm>

#include "environment/block_plan.hpp"
#include "frame/error_report.hpp"
#include "layer.hpp"
#include "orthogonal/forms.hpp"
#include "orthogonal/lq_ql_rq.hpp"

namespace nuv {
namespace {

/// How a pair is stored: A has the Q that both matrices share, B the Z of its own.
struct PairShape {
  Int first, second, third;     ///< the sizes, as the routine is given them
  Int rows_of_a, columns_of_a;  ///< two of them
  Int rows_of_b, columns_of_b;  ///< two of them
  bool q_comes_from_columns;    ///< A = Q R, or else A = R Q

  std::int64_t longest() const { return std::max({first, second, third}); }

  /// 0, or minus the position of the first bad argument.
  Int check(Int lda, Int ldb, Int lwork) const {
    if (first < 0) return -1;
    if (second < 0) return -2;
    if (third < 0) return -3;
    if (lda < std::max(1, rows_of_a)) return -5;
    if (ldb < std::max(1, rows_of_b)) return -8;
    if (lwork < std::max<std::int64_t>(1, longest()) && lwork != -1) return -11;
    return 0;
  }

  /// The largest block size of the three steps.
  template <Scalar T>
  Int block_size() const {
    const RoutineName<T> by_columns("GEQRF"), by_rows("GERQF");
    const Tuning<T> of_a{q_comes_from_columns ? by_columns : by_rows, " ", rows_of_a, columns_of_a};
    const Tuning<T> of_b{q_comes_from_columns ? by_rows : by_columns, " ", rows_of_b, columns_of_b};
    const Tuning<T> product{name_of_form<T>("ORM", "UNM", q_comes_from_columns ? qr : rq), " ", rows_of_a, columns_of_a,
                            third_of_product()};
    return std::max({of_a.block_size(), of_b.block_size(), product.block_size()});
  }

  Int third_of_product() const { return q_comes_from_columns ? columns_of_b : rows_of_b; }
};

/// The three steps, each of which is given all of the workspace and returns in its first element what it would like.
template <Scalar T>
class PairSteps {
 public:
  PairSteps(T* work, Int lwork) : work_(work), lwork_(lwork) {}

  void factor_qr(Int m, Int n, Matrix<T> A, T* tau) {
    layer::geqrf(m, n, A, tau, work_, lwork_, ignored_);
    note_best();
  }
  void factor_rq(Int m, Int n, Matrix<T> A, T* tau) {
    gerqf(m, n, A.data, A.ld, tau, work_, lwork_, ignored_);
    note_best();
  }
  /// B := Q^H B
  void multiply_by_q_of_qr(Int m, Int n, Int k, Matrix<T> A, const T* tau, Matrix<T> B) {
    layer::ormqr('L', adjoint<T>, m, n, k, A, tau, B, work_, lwork_, ignored_);
    note_best();
  }
  /// B := B Q^H
  void multiply_by_q_of_rq(Int m, Int n, Int k, Matrix<T> A, const T* tau, Matrix<T> B) {
    layer::ormrq('R', adjoint<T>, m, n, k, A, tau, B, work_, lwork_, ignored_);
    note_best();
  }

  void store_best() const { work_[0] = T(best_); }

 private:
  void note_best() { best_ = std::max(best_, std::real(work_[0])); }

  T* work_;
  Int lwork_, ignored_ = 0;
  Real<T> best_ = 0;
};

/// Answers the query and judges the arguments. Whether there is something to do.
template <Scalar T, std::size_t Size>
bool begins(const char (&name)[Size], const PairShape& shape, Int lda, Int ldb, T* work, Int lwork, Int& info) {
  work[0] = as_work_size<T>(std::max<std::int64_t>(1, shape.longest() * shape.block_size<T>()));
  info = shape.check(lda, ldb, lwork);
  if (info != 0) report_bad_argument<T>(name, info);
  return info == 0 && lwork != -1;
}

}  // namespace

template <Scalar T>
void ggqrf(Int n, Int m, Int p, T* a, Int lda, T* taua, T* b, Int ldb, T* taub, T* work, Int lwork, Int& info) {
  const PairShape shape{.first = n,
                        .second = m,
                        .third = p,
                        .rows_of_a = n,
                        .columns_of_a = m,
                        .rows_of_b = n,
                        .columns_of_b = p,
                        .q_comes_from_columns = true};
  if (!begins("GGQRF", shape, lda, ldb, work, lwork, info)) return;
  const Matrix<T> A{a, lda}, B{b, ldb};
  PairSteps<T> steps(work, lwork);
  steps.factor_qr(n, m, A, taua);
  steps.multiply_by_q_of_qr(n, p, std::min(n, m), A, taua, B);
  steps.factor_rq(n, p, B, taub);
  steps.store_best();
}

template <Scalar T>
void ggrqf(Int m, Int p, Int n, T* a, Int lda, T* taua, T* b, Int ldb, T* taub, T* work, Int lwork, Int& info) {
  const PairShape shape{.first = m,
                        .second = p,
                        .third = n,
                        .rows_of_a = m,
                        .columns_of_a = n,
                        .rows_of_b = p,
                        .columns_of_b = n,
                        .q_comes_from_columns = false};
  if (!begins("GGRQF", shape, lda, ldb, work, lwork, info)) return;
  const Matrix<T> A{a, lda}, B{b, ldb};
  PairSteps<T> steps(work, lwork);
  steps.factor_rq(m, n, A, taua);
  // The reflectors stand in the last rows.
  steps.multiply_by_q_of_rq(p, n, std::min(m, n), block(A, std::max(1, m - n + 1), 1), taua, B);
  steps.factor_qr(p, n, B, taub);
  steps.store_best();
}

}  // namespace nuv

#include "generalised/pair_factorisations.entries.inc"
