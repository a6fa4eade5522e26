// Expert drivers for matrices in full storage.

#include <algorithm>

#include "environment/norms_general.hpp"
#include "environment/norms_symmetric.hpp"
#include "environment/norms_triangular.hpp"
#include "environment/tuning.hpp"
#include "frame/error_report.hpp"
#include "layer.hpp"
#include "solvers/cholesky.hpp"
#include "solvers/condition.hpp"
#include "solvers/equilibration.hpp"
#include "solvers/expert_drivers.hpp"
#include "solvers/expert_steps.hpp"
#include "solvers/general_lu.hpp"
#include "solvers/indefinite_mirror.hpp"
#include "solvers/refinement.hpp"

namespace nuv {
namespace {

template <Scalar T>
struct GeneralProblem {
  using R = Real<T>;

  Int n;
  T* a;
  Int lda;
  T* af;
  Int ldaf;
  Int* ipiv;
  T* work;
  SecondWork<T>* second;

  void equilibrate(GeneralScaling<R>& scaling) const {
    R amax;
    Int info;
    geequ(n, n, a, lda, scaling.r, scaling.c, scaling.rowcnd, scaling.colcnd, amax, info);
    if (info != 0) return;
    laqge(n, n, a, lda, scaling.r, scaling.c, scaling.rowcnd, scaling.colcnd, amax, scaling.equed);
  }

  void factor(Int& info) const {
    lacpy('F', n, n, a, lda, af, ldaf);
    layer::getrf(n, n, Matrix{af, ldaf}, ipiv, info);
  }

  R largest_of_u(Int columns) const { return lantr('M', 'U', 'N', columns, columns, af, ldaf, real_work(work, second)); }
  R largest_of_a(Int columns) const { return lange('M', n, columns, a, lda, real_work(work, second)); }
  R norm(char trans) const { return lange(norm_for(trans), n, n, a, lda, real_work(work, second)); }

  void find_condition(char trans, R anorm, R& rcond) const {
    Int info;
    gecon(norm_for(trans), n, af, ldaf, anorm, rcond, work, second, info);
  }

  void solve(char trans, const Systems<T>& s) const {
    Int info;
    getrs(trans, n, s.nrhs, af, ldaf, ipiv, s.X.data, s.X.ld, info);
  }

  void refine(char trans, const Systems<T>& s) const {
    Int info;
    gerfs(trans, n, s.nrhs, a, lda, af, ldaf, ipiv, s.B.data, s.B.ld, s.X.data, s.X.ld, s.ferr, s.berr, work, second,
          info);
  }
};

}  // namespace

template <Scalar T>
void gesvx(char fact, char trans, Int n, Int nrhs, T* a, Int lda, T* af, Int ldaf, Int* ipiv, char& equed, Real<T>* r,
           Real<T>* c, T* b, Int ldb, T* x, Int ldx, Real<T>& rcond, Real<T>* ferr, Real<T>* berr, T* work,
           SecondWork<T>* second, Int& info) {
  GeneralScaling<Real<T>> scaling{equed, r, c};
  info = 0;
  if (!is_one_of(fact, 'N', 'E', 'F')) info = -1;
  else if (!is_one_of(trans, 'N', 'T', 'C')) info = -2;
  else if (n < 0) info = -3;
  else if (nrhs < 0) info = -4;
  else if (lda < std::max(1, n)) info = -6;
  else if (ldaf < std::max(1, n)) info = -8;
  else if (const Int bad = scaling.find_bad(fact, n); bad != 0) info = -9 - bad;
  else if (ldb < std::max(1, n)) info = -14;
  else if (ldx < std::max(1, n)) info = -16;
  if (info != 0) return report_bad_argument<T>("GESVX", info);

  const GeneralProblem<T> problem{n, a, lda, af, ldaf, ipiv, work, second};
  info = solve_general<T>(problem, fact, trans, {n, nrhs, {b, ldb}, {x, ldx}, ferr, berr}, {b, ldb}, scaling, rcond,
                          real_work(work, second));
}

// ------------------------------------------------------------------------------------------------- positive definite

namespace {

template <Scalar T>
struct DefiniteProblem {
  using R = Real<T>;

  char uplo;
  Int n;
  T* a;
  Int lda;
  T* af;
  Int ldaf;
  T* work;
  SecondWork<T>* second;

  void equilibrate(SymmetricScaling<R>& scaling) const {
    R amax;
    Int info;
    poequ(n, a, lda, scaling.s, scaling.scond, amax, info);
    if (info != 0) return;
    if constexpr (ComplexScalar<T>) {
      laqhe(uplo, n, a, lda, scaling.s, scaling.scond, amax, scaling.equed);
    } else {
      laqsy(uplo, n, a, lda, scaling.s, scaling.scond, amax, scaling.equed);
    }
  }

  void factor(Int& info) const {
    lacpy(uplo, n, n, a, lda, af, ldaf);
    layer::potrf(uplo, n, Matrix{af, ldaf}, info);
  }

  R norm(char) const {
    return norm_of_indefinite<hermitian_mirror<T>, T>('1', uplo, n, a, lda, real_work(work, second));
  }

  void find_condition(char, R anorm, R& rcond) const {
    Int info;
    pocon(uplo, n, af, ldaf, anorm, rcond, work, second, info);
  }

  void solve(char, const Systems<T>& s) const {
    Int info;
    potrs(uplo, n, s.nrhs, af, ldaf, s.X.data, s.X.ld, info);
  }

  void refine(char, const Systems<T>& s) const {
    Int info;
    porfs(uplo, n, s.nrhs, a, lda, af, ldaf, s.B.data, s.B.ld, s.X.data, s.X.ld, s.ferr, s.berr, work, second, info);
  }
};

}  // namespace

template <Scalar T>
void posvx(char fact, char uplo, Int n, Int nrhs, T* a, Int lda, T* af, Int ldaf, char& equed, Real<T>* s, T* b,
           Int ldb, T* x, Int ldx, Real<T>& rcond, Real<T>* ferr, Real<T>* berr, T* work, SecondWork<T>* second,
           Int& info) {
  SymmetricScaling<Real<T>> scaling{equed, s};
  info = 0;
  if (!is_one_of(fact, 'N', 'E', 'F')) info = -1;
  else if (!is_one_of(uplo, 'U', 'L')) info = -2;
  else if (n < 0) info = -3;
  else if (nrhs < 0) info = -4;
  else if (lda < std::max(1, n)) info = -6;
  else if (ldaf < std::max(1, n)) info = -8;
  else if (const Int bad = scaling.find_bad(fact, n); bad != 0) info = -8 - bad;
  else if (ldb < std::max(1, n)) info = -12;
  else if (ldx < std::max(1, n)) info = -14;
  if (info != 0) return report_bad_argument<T>("POSVX", info);

  const DefiniteProblem<T> problem{uplo, n, a, lda, af, ldaf, work, second};
  info = solve_definite<T>(problem, fact, {n, nrhs, {b, ldb}, {x, ldx}, ferr, berr}, {b, ldb}, scaling, rcond);
}

// --------------------------------------------------------------------------------------------------------- indefinite

namespace {

template <Mirror mirror, Scalar T>
struct IndefiniteProblem {
  using R = Real<T>;

  char uplo;
  Int n;
  const T* a;
  Int lda;
  T* af;
  Int ldaf;
  Int* ipiv;
  T* work;
  Int lwork;
  SecondWork<T>* second;

  void factor(Int& info) const {
    lacpy(uplo, n, n, a, lda, af, ldaf);
    factor_indefinite<mirror>(uplo, n, af, ldaf, ipiv, work, lwork, info);
  }

  R norm(char) const { return norm_of_indefinite<mirror>('I', uplo, n, a, lda, real_work(work, second)); }

  void find_condition(char, R anorm, R& rcond) const {
    Int info;
    if constexpr (mirror == Mirror::conjugate) {
      hecon(uplo, n, af, ldaf, ipiv, anorm, rcond, work, info);
    } else if constexpr (ComplexScalar<T>) {
      sycon(uplo, n, af, ldaf, ipiv, anorm, rcond, work, info);
    } else {
      sycon(uplo, n, af, ldaf, ipiv, anorm, rcond, work, second, info);
    }
  }

  void solve(char, const Systems<T>& s) const {
    solve_indefinite<mirror, T>(uplo, n, s.nrhs, {af, ldaf}, ipiv, s.X);
  }

  void refine(char, const Systems<T>& s) const {
    Int info;
    const auto call = [&](auto routine) {
      routine(uplo, n, s.nrhs, a, lda, af, ldaf, ipiv, s.B.data, s.B.ld, s.X.data, s.X.ld, s.ferr, s.berr, work,
              second, info);
    };
    if constexpr (mirror == Mirror::conjugate) {
      call(herfs<T>);
    } else {
      call(syrfs<T>);
    }
  }
};

template <Mirror mirror, Scalar T>
void solve_indefinite_expertly(Text name, Text factor_name, char fact, char uplo, Int n, Int nrhs, const T* a, Int lda,
                               T* af, Int ldaf, Int* ipiv, const T* b, Int ldb, T* x, Int ldx, Real<T>& rcond,
                               Real<T>* ferr, Real<T>* berr, T* work, Int lwork, SecondWork<T>* second, Int& info) {
  const std::int64_t least = std::max<std::int64_t>(1, (RealScalar<T> ? 3 : 2) * std::int64_t{n});
  const bool is_query = lwork == -1;
  info = 0;
  if (!is_one_of(fact, 'N', 'F')) info = -1;
  else if (!is_one_of(uplo, 'U', 'L')) info = -2;
  else if (n < 0) info = -3;
  else if (nrhs < 0) info = -4;
  else if (lda < std::max(1, n)) info = -6;
  else if (ldaf < std::max(1, n)) info = -8;
  else if (ldb < std::max(1, n)) info = -11;
  else if (ldx < std::max(1, n)) info = -13;
  else if (lwork < least && !is_query) info = -18;
  if (info != 0) return report_bad_argument(name, info);

  std::int64_t best = least;
  if (!same_letter(fact, 'F')) {
    best = std::max(best, std::int64_t{n} * ilaenv(1, factor_name, {&uplo, 1}, n, -1, -1, -1));
  }
  work[0] = as_work_size<T>(best);
  if (is_query) return;
  const IndefiniteProblem<mirror, T> problem{uplo, n, a, lda, af, ldaf, ipiv, work, lwork, second};
  info = solve_expertly<T>(problem, fact, 'N', {n, nrhs, {b, ldb}, {x, ldx}, ferr, berr}, rcond);
  work[0] = as_work_size<T>(best);
}

}  // namespace

template <Scalar T>
void sysvx(char fact, char uplo, Int n, Int nrhs, const T* a, Int lda, T* af, Int ldaf, Int* ipiv, const T* b, Int ldb,
           T* x, Int ldx, Real<T>& rcond, Real<T>* ferr, Real<T>* berr, T* work, Int lwork, SecondWork<T>* second,
           Int& info) {
  solve_indefinite_expertly<Mirror::plain>(RoutineName<T>("SYSVX"), RoutineName<T>("SYTRF"), fact, uplo, n, nrhs, a,
                                           lda, af, ldaf, ipiv, b, ldb, x, ldx, rcond, ferr, berr, work, lwork, second,
                                           info);
}

template <ComplexScalar T>
void hesvx(char fact, char uplo, Int n, Int nrhs, const T* a, Int lda, T* af, Int ldaf, Int* ipiv, const T* b, Int ldb,
           T* x, Int ldx, Real<T>& rcond, Real<T>* ferr, Real<T>* berr, T* work, Int lwork, Real<T>* rwork,
           Int& info) {
  solve_indefinite_expertly<Mirror::conjugate>(RoutineName<T>("HESVX"), RoutineName<T>("HETRF"), fact, uplo, n, nrhs,
                                               a, lda, af, ldaf, ipiv, b, ldb, x, ldx, rcond, ferr, berr, work, lwork,
                                               rwork, info);
}

}  // namespace nuv

#include "solvers/expert_full.entries.inc"
