#include "generalised/generalised_svd.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "base/matrix.hpp"
#include "environment/machine_constants.hpp"
#include "environment/norms_general.hpp"
#include "frame/error_report.hpp"
#include "generalised/kogbetliantz.hpp"
#include "generalised/pair_arguments.hpp"
#include "generalised/pair_triangular_form.hpp"

namespace nuv {
namespace {

/// Two matrices as the driver is given them.
template <Scalar T>
struct Pair {
  Int m, n, p;
  Matrix<T> A, B, U, V, Q;
  PairJobs jobs;

  /// 0, or minus the position of the first bad argument.
  Int check() const {
    const PairArguments arguments{jobs, m, p, n, A.ld, B.ld, U.ld, V.ld, Q.ld};
    return arguments.check(false, {m, n, p}, {.lda = 10, .ldb = 12, .ldu = 16});
  }

  std::int64_t least_lwork() const { return std::max<std::int64_t>({1, 3 * std::int64_t{n}, m, p}) + n; }
};

template <RealScalar T>
void reduce(const Pair<T>& pair, T tola, T tolb, Int& k, Int& l, Int* iwork, T* tau, T* work, T* /*rwork*/) {
  const auto& [m, n, p, A, B, U, V, Q, jobs] = pair;
  Int ignored = 0;
  ggsvp(jobs.u, jobs.v, jobs.q, m, p, n, A.data, A.ld, B.data, B.ld, tola, tolb, k, l, U.data, U.ld, V.data, V.ld,
        Q.data, Q.ld, iwork, tau, work, ignored);
}
template <ComplexScalar T>
void reduce(const Pair<T>& pair, Real<T> tola, Real<T> tolb, Int& k, Int& l, Int* iwork, T* tau, T* work,
            Real<T>* rwork) {
  const auto& [m, n, p, A, B, U, V, Q, jobs] = pair;
  Int ignored = 0;
  ggsvp(jobs.u, jobs.v, jobs.q, m, p, n, A.data, A.ld, B.data, B.ld, tola, tolb, k, l, U.data, U.ld, V.data, V.ld,
        Q.data, Q.ld, iwork, rwork, tau, work, ignored);
}

/// What counts as zero in an m by n matrix. Beside an infinity everything would: the tolerance is NaN then, so that
/// ranks are full and the iteration finds no end.
template <Scalar T>
Real<T> tolerance(Int m, Int n, Matrix<T> A) {
  using R = Real<T>;
  const R norm = lange('1', m, n, A.data, A.ld, static_cast<R*>(nullptr));
  if (!std::isfinite(norm)) return std::numeric_limits<R>::quiet_NaN();
  return R(std::max(m, n)) * std::max(norm, Machine<R>::safe_min) * Machine<R>::precision;
}

/// Sorts x(first ... last) into decreasing order, by one exchange for each place, which `partner` tells.
template <RealScalar R>
void sort_down(Int first, Int last, R* x, Int* partner) {
  for (Int i = first; i <= last; ++i) {
    Int largest = i;
    for (Int j = i + 1; j <= last; ++j) {
      if (x[j - 1] > x[largest - 1]) largest = j;
    }
    std::swap(x[i - 1], x[largest - 1]);
    partner[i - 1] = largest;
  }
}

/// sorted   n elements, for alpha in order;  rwork  2 n elements, for complex matrices
template <Scalar T>
void decompose(const Pair<T>& pair, Int& k, Int& l, Real<T>* alpha, Real<T>* beta, T* work, Real<T>* rwork,
               Real<T>* sorted, Int* iwork, Int& info) {
  const auto& [m, n, p, A, B, U, V, Q, jobs] = pair;
  const Real<T> tola = tolerance(m, n, A), tolb = tolerance(p, n, B);
  reduce(pair, tola, tolb, k, l, iwork, work, work + n, rwork);
  Int ncycle;
  tgsja(jobs.u, jobs.v, jobs.q, m, p, n, k, l, A.data, A.ld, B.data, B.ld, tola, tolb, alpha, beta, U.data, U.ld,
        V.data, V.ld, Q.data, Q.ld, work, ncycle, info);
  if (info != 0) return;
  std::copy_n(alpha, n, sorted);
  sort_down(k + 1, std::min(k + l, m), sorted, iwork);
}

template <Scalar T>
void decompose_checked(const Pair<T>& pair, Int& k, Int& l, Real<T>* alpha, Real<T>* beta, T* work, Real<T>* rwork,
                       Real<T>* sorted, Int* iwork, Int& info) {
  info = pair.check();
  if (info != 0) return report_bad_argument<T>("GGSVD", info);
  decompose(pair, k, l, alpha, beta, work, rwork, sorted, iwork, info);
}

template <Scalar T>
void decompose_checked(const Pair<T>& pair, Int& k, Int& l, Real<T>* alpha, Real<T>* beta, T* work, Int lwork,
                       Real<T>* rwork, Real<T>* sorted, Int* iwork, Int& info) {
  info = pair.check();
  if (info == 0 && lwork < pair.least_lwork() && lwork != -1) info = -22;
  if (info != 0) return report_bad_argument<T>("GGSVD3", info);
  if (lwork != -1) decompose(pair, k, l, alpha, beta, work, rwork, sorted, iwork, info);
  work[0] = as_work_size<T>(pair.least_lwork());
}

}  // namespace

template <RealScalar T>
void ggsvd(char jobu, char jobv, char jobq, Int m, Int n, Int p, Int& k, Int& l, T* a, Int lda, T* b, Int ldb, T* alpha,
           T* beta, T* u, Int ldu, T* v, Int ldv, T* q, Int ldq, T* work, Int* iwork, Int& info) {
  decompose_checked<T>({m, n, p, {a, lda}, {b, ldb}, {u, ldu}, {v, ldv}, {q, ldq}, {jobu, jobv, jobq}}, k, l, alpha,
                       beta, work, nullptr, work, iwork, info);
}
template <ComplexScalar T>
void ggsvd(char jobu, char jobv, char jobq, Int m, Int n, Int p, Int& k, Int& l, T* a, Int lda, T* b, Int ldb,
           Real<T>* alpha, Real<T>* beta, T* u, Int ldu, T* v, Int ldv, T* q, Int ldq, T* work, Real<T>* rwork,
           Int* iwork, Int& info) {
  decompose_checked<T>({m, n, p, {a, lda}, {b, ldb}, {u, ldu}, {v, ldv}, {q, ldq}, {jobu, jobv, jobq}}, k, l, alpha,
                       beta, work, rwork, rwork, iwork, info);
}

template <RealScalar T>
void ggsvd3(char jobu, char jobv, char jobq, Int m, Int n, Int p, Int& k, Int& l, T* a, Int lda, T* b, Int ldb,
            T* alpha, T* beta, T* u, Int ldu, T* v, Int ldv, T* q, Int ldq, T* work, Int lwork, Int* iwork, Int& info) {
  decompose_checked<T>({m, n, p, {a, lda}, {b, ldb}, {u, ldu}, {v, ldv}, {q, ldq}, {jobu, jobv, jobq}}, k, l, alpha,
                       beta, work, lwork, nullptr, work, iwork, info);
}
template <ComplexScalar T>
void ggsvd3(char jobu, char jobv, char jobq, Int m, Int n, Int p, Int& k, Int& l, T* a, Int lda, T* b, Int ldb,
            Real<T>* alpha, Real<T>* beta, T* u, Int ldu, T* v, Int ldv, T* q, Int ldq, T* work, Int lwork,
            Real<T>* rwork, Int* iwork, Int& info) {
  decompose_checked<T>({m, n, p, {a, lda}, {b, ldb}, {u, ldu}, {v, ldv}, {q, ldq}, {jobu, jobv, jobq}}, k, l, alpha,
                       beta, work, lwork, rwork, rwork, iwork, info);
}

}  // namespace nuv

#include "generalised/generalised_svd.entries.inc"
