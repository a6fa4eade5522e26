// Expert drivers for tridiagonal matrices.

#include <algorithm>

#include "environment/norms_general.hpp"
#include "environment/norms_symmetric.hpp"
#include "frame/error_report.hpp"
#include "layer.hpp"
#include "solvers/condition.hpp"
#include "solvers/expert_drivers.hpp"
#include "solvers/expert_steps.hpp"
#include "solvers/refinement.hpp"
#include "solvers/tridiagonal_cholesky.hpp"
#include "solvers/tridiagonal_lu.hpp"

namespace nuv {
namespace {

template <Scalar T>
struct GeneralProblem {
  using R = Real<T>;

  Int n;
  const T *dl, *d, *du;
  T *dlf, *df, *duf, *du2;
  Int* ipiv;
  T* work;
  SecondWork<T>* second;

  void factor(Int& info) const {
    std::copy_n(d, n, df);
    std::copy_n(dl, std::max(0, n - 1), dlf);
    std::copy_n(du, std::max(0, n - 1), duf);
    gttrf(n, dlf, df, duf, du2, ipiv, info);
  }

  R norm(char trans) const { return langt(norm_for(trans), n, dl, d, du); }

  void find_condition(char trans, R anorm, R& rcond) const {
    Int info;
    if constexpr (ComplexScalar<T>) {
      gtcon(norm_for(trans), n, dlf, df, duf, du2, ipiv, anorm, rcond, work, info);
    } else {
      gtcon(norm_for(trans), n, dlf, df, duf, du2, ipiv, anorm, rcond, work, second, info);
    }
  }

  void solve(char trans, const Systems<T>& s) const {
    Int info;
    layer::gttrs(trans, n, s.nrhs, dlf, df, duf, du2, ipiv, s.X, info);
  }

  void refine(char trans, const Systems<T>& s) const {
    Int info;
    gtrfs(trans, n, s.nrhs, dl, d, du, dlf, df, duf, du2, ipiv, s.B.data, s.B.ld, s.X.data, s.X.ld, s.ferr, s.berr,
          work, second, info);
  }
};

}  // namespace

template <Scalar T>
void gtsvx(char fact, char trans, Int n, Int nrhs, const T* dl, const T* d, const T* du, T* dlf, T* df, T* duf, T* du2,
           Int* ipiv, const T* b, Int ldb, T* x, Int ldx, Real<T>& rcond, Real<T>* ferr, Real<T>* berr, T* work,
           SecondWork<T>* second, Int& info) {
  info = 0;
  if (!is_one_of(fact, 'N', 'F')) info = -1;
  else if (!is_one_of(trans, 'N', 'T', 'C')) info = -2;
  else if (n < 0) info = -3;
  else if (nrhs < 0) info = -4;
  else if (ldb < std::max(1, n)) info = -14;
  else if (ldx < std::max(1, n)) info = -16;
  if (info != 0) return report_bad_argument<T>("GTSVX", info);

  const GeneralProblem<T> problem{n, dl, d, du, dlf, df, duf, du2, ipiv, work, second};
  info = solve_expertly<T>(problem, fact, trans, {n, nrhs, {b, ldb}, {x, ldx}, ferr, berr}, rcond);
}

// -------------------------------------------------------------------------------------------------- positive definite

namespace {

template <Scalar T>
struct DefiniteProblem {
  using R = Real<T>;

  Int n;
  const R* d;
  const T* e;
  R* df;
  T* ef;
  T* work;
  R* rwork;

  void factor(Int& info) const {
    std::copy_n(d, n, df);
    std::copy_n(e, std::max(0, n - 1), ef);
    pttrf(n, df, ef, info);
  }

  R norm(char) const {
    if constexpr (ComplexScalar<T>) {
      return lanht('1', n, d, e);
    } else {
      return lanst('1', n, d, e);
    }
  }

  void find_condition(char, R anorm, R& rcond) const {
    Int info;
    ptcon(n, df, ef, anorm, rcond, rwork, info);
  }

  void solve(char, const Systems<T>& s) const {
    Int info;
    if constexpr (ComplexScalar<T>) {
      layer::pttrs('L', n, s.nrhs, df, ef, s.X, info);
    } else {
      layer::pttrs(n, s.nrhs, df, ef, s.X, info);
    }
  }

  void refine(char, const Systems<T>& s) const {
    Int info;
    if constexpr (ComplexScalar<T>) {
      ptrfs('L', n, s.nrhs, d, e, df, ef, s.B.data, s.B.ld, s.X.data, s.X.ld, s.ferr, s.berr, work, rwork, info);
    } else {
      ptrfs(n, s.nrhs, d, e, df, ef, s.B.data, s.B.ld, s.X.data, s.X.ld, s.ferr, s.berr, work, info);
    }
  }
};

template <Scalar T>
void solve_definite_expertly(char fact, Int n, Int nrhs, const Real<T>* d, const T* e, Real<T>* df, T* ef, const T* b,
                             Int ldb, T* x, Int ldx, Real<T>& rcond, Real<T>* ferr, Real<T>* berr, T* work,
                             Real<T>* rwork, Int& info) {
  info = 0;
  if (!is_one_of(fact, 'N', 'F')) info = -1;
  else if (n < 0) info = -2;
  else if (nrhs < 0) info = -3;
  else if (ldb < std::max(1, n)) info = -9;
  else if (ldx < std::max(1, n)) info = -11;
  if (info != 0) return report_bad_argument<T>("PTSVX", info);

  const DefiniteProblem<T> problem{n, d, e, df, ef, work, rwork};
  info = solve_expertly<T>(problem, fact, 'N', {n, nrhs, {b, ldb}, {x, ldx}, ferr, berr}, rcond);
}

}  // namespace

// Not part of its entry: solve_definite_expertly takes an argument more, and a jump to it would use the place of an
// option's length on the caller's stack. Some callers pass none.
template <RealScalar T>
[[gnu::noinline]] void ptsvx(char fact, Int n, Int nrhs, const T* d, const T* e, T* df, T* ef, const T* b, Int ldb,
                             T* x, Int ldx, T& rcond, T* ferr, T* berr, T* work, Int& info) {
  solve_definite_expertly(fact, n, nrhs, d, e, df, ef, b, ldb, x, ldx, rcond, ferr, berr, work, work, info);
}

template <ComplexScalar T>
void ptsvx(char fact, Int n, Int nrhs, const Real<T>* d, const T* e, Real<T>* df, T* ef, const T* b, Int ldb, T* x,
           Int ldx, Real<T>& rcond, Real<T>* ferr, Real<T>* berr, T* work, Real<T>* rwork, Int& info) {
  solve_definite_expertly(fact, n, nrhs, d, e, df, ef, b, ldb, x, ldx, rcond, ferr, berr, work, rwork, info);
}

}  // namespace nuv

#include "solvers/expert_tridiagonal.entries.inc"
