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

/// Copies a packed triangle of order n, whose size need not fit in an Int.
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

// --------------------------------------------------------------------------------------------------------- indefinite

namespace {

template <Mirror mirror, Scalar T>
struct IndefiniteProblem {
  using R = Real<T>;

  char uplo;
  Int n;
  const T* ap;
  T* afp;
  Int* ipiv;
  T* work;
  SecondWork<T>* second;

  void factor(Int& info) const {
    copy_packed(n, ap, afp);
    factor_packed<mirror>(uplo, n, afp, ipiv, info);
  }

  R norm(char) const { return norm_of_packed<mirror>('I', uplo, n, ap, real_work(work, second)); }

  void find_condition(char, R anorm, R& rcond) const {
    Int info;
    if constexpr (mirror == Mirror::conjugate) {
      hpcon(uplo, n, afp, ipiv, anorm, rcond, work, info);
    } else if constexpr (ComplexScalar<T>) {
      spcon(uplo, n, afp, ipiv, anorm, rcond, work, info);
    } else {
      spcon(uplo, n, afp, ipiv, anorm, rcond, work, second, info);
    }
  }

  void solve(char, const Systems<T>& s) const { solve_packed<mirror, T>(uplo, n, s.nrhs, afp, ipiv, s.X); }

  void refine(char, const Systems<T>& s) const {
    Int info;
    const auto call = [&](auto routine) {
      routine(uplo, n, s.nrhs, ap, afp, ipiv, s.B.data, s.B.ld, s.X.data, s.X.ld, s.ferr, s.berr, work, second, info);
    };
    if constexpr (mirror == Mirror::conjugate) {
      call(hprfs<T>);
    } else {
      call(sprfs<T>);
    }
  }
};

template <Mirror mirror, Scalar T>
void solve_indefinite_expertly(Text name, char fact, char uplo, Int n, Int nrhs, const T* ap, T* afp, Int* ipiv,
                               const T* b, Int ldb, T* x, Int ldx, Real<T>& rcond, Real<T>* ferr, Real<T>* berr,
                               T* work, SecondWork<T>* second, Int& info) {
  info = 0;
  if (!is_one_of(fact, 'N', 'F')) info = -1;
  else if (!is_one_of(uplo, 'U', 'L')) info = -2;
  else if (n < 0) info = -3;
  else if (nrhs < 0) info = -4;
  else if (ldb < std::max(1, n)) info = -9;
  else if (ldx < std::max(1, n)) info = -11;
  if (info != 0) return report_bad_argument(name, info);

  const IndefiniteProblem<mirror, T> problem{uplo, n, ap, afp, ipiv, work, second};
  info = solve_expertly<T>(problem, fact, 'N', {n, nrhs, {b, ldb}, {x, ldx}, ferr, berr}, rcond);
}

}  // namespace

template <Scalar T>
void spsvx(char fact, char uplo, Int n, Int nrhs, const T* ap, T* afp, Int* ipiv, const T* b, Int ldb, T* x, Int ldx,
           Real<T>& rcond, Real<T>* ferr, Real<T>* berr, T* work, SecondWork<T>* second, Int& info) {
  solve_indefinite_expertly<Mirror::plain>(RoutineName<T>("SPSVX"), fact, uplo, n, nrhs, ap, afp, ipiv, b, ldb, x, ldx,
                                           rcond, ferr, berr, work, second, info);
}

template <ComplexScalar T>
void hpsvx(char fact, char uplo, Int n, Int nrhs, const T* ap, T* afp, Int* ipiv, const T* b, Int ldb, T* x, Int ldx,
           Real<T>& rcond, Real<T>* ferr, Real<T>* berr, T* work, Real<T>* rwork, Int& info) {
  solve_indefinite_expertly<Mirror::conjugate>(RoutineName<T>("HPSVX"), fact, uplo, n, nrhs, ap, afp, ipiv, b, ldb, x,
                                               ldx, rcond, ferr, berr, work, rwork, info);
}

}  // namespace nuv

#include "solvers/expert_packed.entries.inc"
