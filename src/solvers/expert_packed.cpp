// Expert drivers for symmetric and Hermitian matrices in packed storage.

#include <algorithm>

#include "blas.hpp"
#include "environment/norms_symmetric.hpp"
#include "frame/error_report.hpp"
#include "layer.hpp"
#include "solvers/condition.hpp"
#include "solvers/equilibration.hpp"
#include "solvers/expert_drivers.hpp"
#include "solvers/expert_steps.hpp"
#include "solvers/indefinite_mirror.hpp"
#include "solvers/refinement.hpp"

namespace nuv {
namespace {

/// Copies a packed triangle of order n, whose size need not fit in an Int, column by column.
template <Scalar T>
void copy_packed(Int n, const T* from, T* to) {
  const std::ptrdiff_t size = std::ptrdiff_t{n} * (std::ptrdiff_t{n} + 1) / 2;
  std::copy_n(from, size, to);
}

template <Scalar T>
struct DefiniteProblem {
  using R = Real<T>;

  char uplo;
  Int n;
  T* ap;
  T* afp;
  T* work;
  SecondWork<T>* second;

  void equilibrate(SymmetricScaling<R>& scaling) const {
    R amax;
    Int info;
    ppequ(uplo, n, ap, scaling.s, scaling.scond, amax, info);
    if (info != 0) return;
    if constexpr (ComplexScalar<T>) {
      laqhp(uplo, n, ap, scaling.s, scaling.scond, amax, scaling.equed);
    } else {
      laqsp(uplo, n, ap, scaling.s, scaling.scond, amax, scaling.equed);
    }
  }

  void factor(Int& info) const {
    copy_packed(n, ap, afp);
    layer::pptrf(uplo, n, afp, info);
  }

  R norm(char) const { return norm_of_packed<hermitian_mirror<T>, T>('1', uplo, n, ap, real_work(work, second)); }

  void find_condition(char, R anorm, R& rcond) const {
    Int info;
    ppcon(uplo, n, afp, anorm, rcond, work, second, info);
  }

  void solve(char, const Systems<T>& s) const {
    Int info;
    layer::pptrs(uplo, n, s.nrhs, afp, s.X, info);
  }

  void refine(char, const Systems<T>& s) const {
    Int info;
    pprfs(uplo, n, s.nrhs, ap, afp, s.B.data, s.B.ld, s.X.data, s.X.ld, s.ferr, s.berr, work, second, info);
  }
};

}  // namespace

template <Scalar T>
void ppsvx(char fact, char uplo, Int n, Int nrhs, T* ap, T* afp, char& equed, Real<T>* s, T* b, Int ldb, T* x, Int ldx,
           Real<T>& rcond, Real<T>* ferr, Real<T>* berr, T* work, SecondWork<T>* second, Int& info) {
  SymmetricScaling<Real<T>> scaling{equed, s};
  info = 0;
  if (!is_one_of(fact, 'N', 'E', 'F')) info = -1;
  else if (!is_one_of(uplo, 'U', 'L')) info = -2;
  else if (n < 0) info = -3;
  else if (nrhs < 0) info = -4;
  else if (const Int bad = scaling.find_bad(fact, n); bad != 0) info = -6 - bad;
  else if (ldb < std::max(1, n)) info = -10;
  else if (ldx < std::max(1, n)) info = -12;
  if (info != 0) return report_bad_argument<T>("PPSVX", info);

  const DefiniteProblem<T> problem{uplo, n, ap, afp, work, second};
  info = solve_definite<T>(problem, fact, {n, nrhs, {b, ldb}, {x, ldx}, ferr, berr}, {b, ldb}, scaling, rcond);
}

}  // namespace nuv

#include "solvers/expert_packed.entries.inc"
