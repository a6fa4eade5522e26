#include <algorithm>

#include "environment/norms_symmetric.hpp"
#include "frame/error_report.hpp"
#include "layer.hpp"
#include "solvers/cholesky.hpp"
#include "solvers/condition.hpp"
#include "solvers/equilibration.hpp"
#include "solvers/expert_drivers.hpp"
#include "solvers/expert_steps.hpp"
#include "solvers/refinement.hpp"

namespace nuv {
namespace {

/// The scaling of rows and columns alike, with the factors and their ratio.
template <RealScalar R>
struct Scaling {
  char& equed;
  R* s;
  R scond = 1;

  bool is_done() const { return same_letter(equed, 'Y'); }

  /// 0, or which of equed and s, counted from one, is not what a caller with factors may give.
  Int check_given(Int n) {
    if (!is_one_of(equed, 'N', 'Y')) return 1;
    if (is_done() && !find_ratio(n, s, scond)) return 2;
    return 0;
  }
};

template <Scalar T>
class FullProblem {
  using R = Real<T>;

 public:
  FullProblem(char uplo, Int n, T* a, Int lda, T* af, Int ldaf, T* work, SecondWork<T>* second)
      : uplo_(uplo), n_(n), a_(a), lda_(lda), af_(af), ldaf_(ldaf), work_(work), second_(second) {}

  void equilibrate(Scaling<R>& scaling) const {
    R amax;
    Int info;
    poequ(n_, a_, lda_, scaling.s, scaling.scond, amax, info);
    if (info != 0) return;
    if constexpr (ComplexScalar<T>) {
      laqhe(uplo_, n_, a_, lda_, scaling.s, scaling.scond, amax, scaling.equed);
    } else {
      laqsy(uplo_, n_, a_, lda_, scaling.s, scaling.scond, amax, scaling.equed);
    }
  }

  void factor(Int& info) const {
    lacpy(uplo_, n_, n_, a_, lda_, af_, ldaf_);
    layer::potrf(uplo_, n_, Matrix{af_, ldaf_}, info);
  }

  R norm(char) const {
    R* const reals = real_work(work_, second_);
    if constexpr (ComplexScalar<T>) {
      return lanhe('1', uplo_, n_, a_, lda_, reals);
    } else {
      return lansy('1', uplo_, n_, a_, lda_, reals);
    }
  }

  void find_condition(char, R anorm, R& rcond) const {
    Int info;
    pocon(uplo_, n_, af_, ldaf_, anorm, rcond, work_, second_, info);
  }

  void solve(char, const Systems<T>& s) const {
    Int info;
    potrs(uplo_, n_, s.nrhs, af_, ldaf_, s.X.data, s.X.ld, info);
  }

  void refine(char, const Systems<T>& s) const {
    Int info;
    porfs(uplo_, n_, s.nrhs, a_, lda_, af_, ldaf_, s.B.data, s.B.ld, s.X.data, s.X.ld, s.ferr, s.berr, work_, second_,
          info);
  }

 private:
  char uplo_;
  Int n_;
  T* a_;
  Int lda_;
  T* af_;
  Int ldaf_;
  T* work_;
  SecondWork<T>* second_;
};

/// The driver for all storages of positive definite matrices. The scaling is the given one for fact 'F'.
template <Scalar T, class Problem>
Int solve_definite(const Problem& problem, char fact, const Systems<T>& systems, Scaling<Real<T>>& scaling,
                   Real<T>& rcond) {
  if (!same_letter(fact, 'F')) scaling.equed = 'N';
  if (same_letter(fact, 'E')) problem.equilibrate(scaling);
  if (scaling.is_done()) scale_rows(systems.n, systems.nrhs, scaling.s, systems.B);
  if (!same_letter(fact, 'F')) {
    Int info = 0;
    problem.factor(info);
    if (info > 0) {
      rcond = 0;
      return info;
    }
  }
  solve_factored(problem, 'N', systems, rcond);
  if (scaling.is_done()) unscale_solutions(systems, scaling.s, scaling.scond);
  return trust(systems.n, rcond);
}

}  // namespace

template <Scalar T>
void posvx(char fact, char uplo, Int n, Int nrhs, T* a, Int lda, T* af, Int ldaf, char& equed, Real<T>* s, T* b,
           Int ldb, T* x, Int ldx, Real<T>& rcond, Real<T>* ferr, Real<T>* berr, T* work, SecondWork<T>* second,
           Int& info) {
  Scaling<Real<T>> scaling{equed, s};
  info = 0;
  if (!is_one_of(fact, 'N', 'E', 'F')) info = -1;
  else if (!is_one_of(uplo, 'U', 'L')) info = -2;
  else if (n < 0) info = -3;
  else if (nrhs < 0) info = -4;
  else if (lda < std::max(1, n)) info = -6;
  else if (ldaf < std::max(1, n)) info = -8;
  else if (const Int bad = same_letter(fact, 'F') ? scaling.check_given(n) : 0; bad != 0) info = -8 - bad;
  else if (ldb < std::max(1, n)) info = -12;
  else if (ldx < std::max(1, n)) info = -14;
  if (info != 0) return report_bad_argument<T>("POSVX", info);

  const FullProblem<T> problem(uplo, n, a, lda, af, ldaf, work, second);
  info = solve_definite<T>(problem, fact, {n, nrhs, {b, ldb}, {x, ldx}, ferr, berr}, scaling, rcond);
}

}  // namespace nuv

#include "solvers/expert_definite.entries.inc"
