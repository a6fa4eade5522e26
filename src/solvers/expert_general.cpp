#include <algorithm>

#include "environment/norms_general.hpp"
#include "environment/norms_triangular.hpp"
#include "frame/error_report.hpp"
#include "layer.hpp"
#include "solvers/condition.hpp"
#include "solvers/equilibration.hpp"
#include "solvers/expert_drivers.hpp"
#include "solvers/expert_steps.hpp"
#include "solvers/general_lu.hpp"
#include "solvers/refinement.hpp"

namespace nuv {
namespace {

/// The scaling of a general matrix: which of its sides were scaled, with the factors and their ratios.
template <RealScalar R>
struct Scaling {
  char& equed;
  R* r;
  R* c;
  R rowcnd = 1;
  R colcnd = 1;

  bool of_rows() const { return is_one_of(equed, 'R', 'B'); }
  bool of_columns() const { return is_one_of(equed, 'C', 'B'); }

  /// 0, or which of equed, r and c, counted from one, is not what a caller with factors may give.
  Int check_given(Int n) {
    if (!is_one_of(equed, 'N', 'R', 'C', 'B')) return 1;
    if (of_rows() && !find_ratio(n, r, rowcnd)) return 2;
    if (of_columns() && !find_ratio(n, c, colcnd)) return 3;
    return 0;
  }
};

template <Scalar T>
class FullProblem {
  using R = Real<T>;

 public:
  FullProblem(Int n, T* a, Int lda, T* af, Int ldaf, Int* ipiv, T* work, SecondWork<T>* second)
      : n_(n), a_(a), lda_(lda), af_(af), ldaf_(ldaf), ipiv_(ipiv), work_(work), second_(second) {}

  void equilibrate(Scaling<R>& scaling) const {
    R amax;
    Int info;
    geequ(n_, n_, a_, lda_, scaling.r, scaling.c, scaling.rowcnd, scaling.colcnd, amax, info);
    if (info != 0) return;
    laqge(n_, n_, a_, lda_, scaling.r, scaling.c, scaling.rowcnd, scaling.colcnd, amax, scaling.equed);
  }

  void factor(Int& info) const {
    lacpy('F', n_, n_, a_, lda_, af_, ldaf_);
    layer::getrf(n_, n_, Matrix{af_, ldaf_}, ipiv_, info);
  }

  /// Largest entries of the first columns of U and of A.
  R largest_of_u(Int columns) const { return lantr('M', 'U', 'N', columns, columns, af_, ldaf_, reals()); }
  R largest_of_a(Int columns) const { return lange('M', n_, columns, a_, lda_, reals()); }

  R norm(char trans) const { return lange(norm_for(trans), n_, n_, a_, lda_, reals()); }

  void find_condition(char trans, R anorm, R& rcond) const {
    Int info;
    gecon(norm_for(trans), n_, af_, ldaf_, anorm, rcond, work_, second_, info);
  }

  void solve(char trans, const Systems<T>& s) const {
    Int info;
    getrs(trans, n_, s.nrhs, af_, ldaf_, ipiv_, s.X.data, s.X.ld, info);
  }

  void refine(char trans, const Systems<T>& s) const {
    Int info;
    gerfs(trans, n_, s.nrhs, a_, lda_, af_, ldaf_, ipiv_, s.B.data, s.B.ld, s.X.data, s.X.ld, s.ferr, s.berr, work_,
          second_, info);
  }

  R* reals() const { return real_work(work_, second_); }

 private:
  static char norm_for(char trans) { return same_letter(trans, 'N') ? '1' : 'I'; }

  Int n_;
  T* a_;
  Int lda_;
  T* af_;
  Int ldaf_;
  Int* ipiv_;
  T* work_;
  SecondWork<T>* second_;
};

/// How little the first columns grew in the factorisation: a small value warns.
template <Scalar T, class Problem>
Real<T> reciprocal_pivot_growth(const Problem& problem, Int columns) {
  const Real<T> of_u = problem.largest_of_u(columns);
  return of_u == 0 ? 1 : problem.largest_of_a(columns) / of_u;
}

/// The driver for all storages of general matrices. The scaling is the given one for fact 'F'.
template <Scalar T, class Problem>
Int solve_general(const Problem& problem, char fact, char trans, const Systems<T>& systems, Scaling<Real<T>>& scaling,
                  Real<T>& rcond) {
  using R = Real<T>;
  if (!same_letter(fact, 'F')) scaling.equed = 'N';
  if (same_letter(fact, 'E')) problem.equilibrate(scaling);
  const bool is_direct = same_letter(trans, 'N');
  const bool scales_b = is_direct ? scaling.of_rows() : scaling.of_columns();
  const bool scales_x = is_direct ? scaling.of_columns() : scaling.of_rows();
  if (scales_b) scale_rows(systems.n, systems.nrhs, is_direct ? scaling.r : scaling.c, systems.B);

  if (!same_letter(fact, 'F')) {
    Int info = 0;
    problem.factor(info);
    if (info > 0) {
      rcond = 0;
      problem.reals()[0] = reciprocal_pivot_growth<T>(problem, info);
      return info;
    }
  }
  const R growth = reciprocal_pivot_growth<T>(problem, systems.n);
  solve_factored(problem, trans, systems, rcond);
  if (scales_x) {
    unscale_solutions(systems, is_direct ? scaling.c : scaling.r, is_direct ? scaling.colcnd : scaling.rowcnd);
  }
  problem.reals()[0] = growth;
  return trust(systems.n, rcond);
}

}  // namespace

template <Scalar T>
void gesvx(char fact, char trans, Int n, Int nrhs, T* a, Int lda, T* af, Int ldaf, Int* ipiv, char& equed, Real<T>* r,
           Real<T>* c, T* b, Int ldb, T* x, Int ldx, Real<T>& rcond, Real<T>* ferr, Real<T>* berr, T* work,
           SecondWork<T>* second, Int& info) {
  Scaling<Real<T>> scaling{equed, r, c};
  info = 0;
  if (!is_one_of(fact, 'N', 'E', 'F')) info = -1;
  else if (!is_one_of(trans, 'N', 'T', 'C')) info = -2;
  else if (n < 0) info = -3;
  else if (nrhs < 0) info = -4;
  else if (lda < std::max(1, n)) info = -6;
  else if (ldaf < std::max(1, n)) info = -8;
  else if (const Int bad = same_letter(fact, 'F') ? scaling.check_given(n) : 0; bad != 0) info = -9 - bad;
  else if (ldb < std::max(1, n)) info = -14;
  else if (ldx < std::max(1, n)) info = -16;
  if (info != 0) return report_bad_argument<T>("GESVX", info);

  const FullProblem<T> problem(n, a, lda, af, ldaf, ipiv, work, second);
  info = solve_general<T>(problem, fact, trans, {n, nrhs, {b, ldb}, {x, ldx}, ferr, berr}, scaling, rcond);
}

}  // namespace nuv

#include "solvers/expert_general.entries.inc"
