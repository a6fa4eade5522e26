// Expert drivers for band matrices.

#include <algorithm>

#include "blas.hpp"
#include "environment/norms_general.hpp"
#include "environment/norms_sweep.hpp"
#include "environment/norms_symmetric.hpp"
#include "environment/norms_triangular.hpp"
#include "frame/error_report.hpp"
#include "layer.hpp"
#include "solvers/band_cholesky.hpp"
#include "solvers/condition.hpp"
#include "solvers/equilibration.hpp"
#include "solvers/expert_drivers.hpp"
#include "solvers/expert_steps.hpp"
#include "solvers/refinement.hpp"

namespace nuv {
namespace {

/// Copies a band to an array whose main diagonal is in another row.
template <Scalar T>
void copy_band(const BandColumns<T>& band, Matrix<T> to, Int diagonal_row) {
  for (Int j = 1; j <= band.n; ++j) {
    const Run<T> run = band(j);
    blas::copy(run.count, {run.entries, 1}, column(to, diagonal_row - (j - run.first), j));
  }
}

template <Scalar T>
struct GeneralProblem {
  using R = Real<T>;

  Int n;
  Int kl;
  Int ku;
  T* ab;
  Int ldab;
  T* afb;
  Int ldafb;
  Int* ipiv;
  T* work;
  SecondWork<T>* second;

  BandColumns<T> columns() const { return {n, kl, ku, {ab, ldab}}; }
  R* reals() const { return real_work(work, second); }

  void equilibrate(GeneralScaling<R>& scaling) const {
    R amax;
    Int info;
    gbequ(n, n, kl, ku, ab, ldab, scaling.r, scaling.c, scaling.rowcnd, scaling.colcnd, amax, info);
    if (info != 0) return;
    laqgb(n, n, kl, ku, ab, ldab, scaling.r, scaling.c, scaling.rowcnd, scaling.colcnd, amax, scaling.equed);
  }

  void factor(Int& info) const {
    copy_band(columns(), Matrix{afb, ldafb}, kl + ku + 1);
    layer::gbtrf(n, n, kl, ku, Matrix{afb, ldafb}, ipiv, info);
  }

  /// U has kl more diagonals than A above the main one, those of its first columns no more than there are rows.
  R largest_of_u(Int count) const {
    const Int diagonals = std::min(kl + ku, std::max(0, count - 1));
    return lantb('M', 'U', 'N', count, diagonals, Matrix{afb, ldafb}.at(kl + ku + 1 - diagonals, 1), ldafb, reals());
  }

  R largest_of_a(Int count) const {
    return norm_by_columns<T>(Norm::largest, n, count, columns(), false, reals());
  }

  R norm(char trans) const { return langb(norm_for(trans), n, kl, ku, ab, ldab, reals()); }

  void find_condition(char trans, R anorm, R& rcond) const {
    Int info;
    gbcon(norm_for(trans), n, kl, ku, afb, ldafb, ipiv, anorm, rcond, work, second, info);
  }

  void solve(char trans, const Systems<T>& s) const {
    Int info;
    layer::gbtrs(trans, n, kl, ku, s.nrhs, Matrix<const T>(afb, ldafb), ipiv, s.X, info);
  }

  void refine(char trans, const Systems<T>& s) const {
    Int info;
    gbrfs(trans, n, kl, ku, s.nrhs, ab, ldab, afb, ldafb, ipiv, s.B.data, s.B.ld, s.X.data, s.X.ld, s.ferr, s.berr,
          work, second, info);
  }
};

}  // namespace

template <Scalar T>
void gbsvx(char fact, char trans, Int n, Int kl, Int ku, Int nrhs, T* ab, Int ldab, T* afb, Int ldafb, Int* ipiv,
           char& equed, Real<T>* r, Real<T>* c, T* b, Int ldb, T* x, Int ldx, Real<T>& rcond, Real<T>* ferr,
           Real<T>* berr, T* work, SecondWork<T>* second, Int& info) {
  GeneralScaling<Real<T>> scaling{equed, r, c};
  info = 0;
  if (!is_one_of(fact, 'N', 'E', 'F')) info = -1;
  else if (!is_one_of(trans, 'N', 'T', 'C')) info = -2;
  else if (n < 0) info = -3;
  else if (kl < 0) info = -4;
  else if (ku < 0) info = -5;
  else if (nrhs < 0) info = -6;
  else if (ldab - 1 < std::int64_t{kl} + ku) info = -8;
  else if (ldafb - 1 < 2 * std::int64_t{kl} + ku) info = -10;
  else if (const Int bad = scaling.find_bad(fact, n); bad != 0) info = -11 - bad;
  else if (ldb < std::max(1, n)) info = -16;
  else if (ldx < std::max(1, n)) info = -18;
  if (info != 0) return report_bad_argument<T>("GBSVX", info);

  const GeneralProblem<T> problem{n, kl, ku, ab, ldab, afb, ldafb, ipiv, work, second};
  info = solve_general<T>(problem, fact, trans, {n, nrhs, {b, ldb}, {x, ldx}, ferr, berr}, {b, ldb}, scaling, rcond,
                          problem.reals());
}

// -------------------------------------------------------------------------------------------------- positive definite

namespace {

template <Scalar T>
struct DefiniteProblem {
  using R = Real<T>;

  char uplo;
  Int n;
  Int kd;
  T* ab;
  Int ldab;
  T* afb;
  Int ldafb;
  T* work;
  SecondWork<T>* second;

  void equilibrate(SymmetricScaling<R>& scaling) const {
    R amax;
    Int info;
    pbequ(uplo, n, kd, ab, ldab, scaling.s, scaling.scond, amax, info);
    if (info != 0) return;
    if constexpr (ComplexScalar<T>) {
      laqhb(uplo, n, kd, ab, ldab, scaling.s, scaling.scond, amax, scaling.equed);
    } else {
      laqsb(uplo, n, kd, ab, ldab, scaling.s, scaling.scond, amax, scaling.equed);
    }
  }

  void factor(Int& info) const {
    const bool upper = same_letter(uplo, 'U');
    copy_band(band_triangle<T>(upper, n, kd, {ab, ldab}), Matrix{afb, ldafb}, upper ? kd + 1 : 1);
    pbtrf(uplo, n, kd, afb, ldafb, info);
  }

  R norm(char) const {
    if constexpr (ComplexScalar<T>) {
      return lanhb('1', uplo, n, kd, ab, ldab, second);
    } else {
      return lansb('1', uplo, n, kd, ab, ldab, work);
    }
  }

  void find_condition(char, R anorm, R& rcond) const {
    Int info;
    pbcon(uplo, n, kd, afb, ldafb, anorm, rcond, work, second, info);
  }

  void solve(char, const Systems<T>& s) const {
    Int info;
    layer::pbtrs(uplo, n, kd, s.nrhs, Matrix<const T>(afb, ldafb), s.X, info);
  }

  void refine(char, const Systems<T>& s) const {
    Int info;
    pbrfs(uplo, n, kd, s.nrhs, ab, ldab, afb, ldafb, s.B.data, s.B.ld, s.X.data, s.X.ld, s.ferr, s.berr, work, second,
          info);
  }
};

}  // namespace

template <Scalar T>
void pbsvx(char fact, char uplo, Int n, Int kd, Int nrhs, T* ab, Int ldab, T* afb, Int ldafb, char& equed, Real<T>* s,
           T* b, Int ldb, T* x, Int ldx, Real<T>& rcond, Real<T>* ferr, Real<T>* berr, T* work, SecondWork<T>* second,
           Int& info) {
  SymmetricScaling<Real<T>> scaling{equed, s};
  info = 0;
  if (!is_one_of(fact, 'N', 'E', 'F')) info = -1;
  else if (!is_one_of(uplo, 'U', 'L')) info = -2;
  else if (n < 0) info = -3;
  else if (kd < 0) info = -4;
  else if (nrhs < 0) info = -5;
  else if (ldab - 1 < kd) info = -7;
  else if (ldafb - 1 < kd) info = -9;
  else if (const Int bad = scaling.find_bad(fact, n); bad != 0) info = -9 - bad;
  else if (ldb < std::max(1, n)) info = -13;
  else if (ldx < std::max(1, n)) info = -15;
  if (info != 0) return report_bad_argument<T>("PBSVX", info);

  const DefiniteProblem<T> problem{uplo, n, kd, ab, ldab, afb, ldafb, work, second};
  info = solve_definite<T>(problem, fact, {n, nrhs, {b, ldb}, {x, ldx}, ferr, berr}, {b, ldb}, scaling, rcond);
}

}  // namespace nuv

#include "solvers/expert_band.entries.inc"
