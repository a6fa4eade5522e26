// Refinement and error bounds for band and tridiagonal systems.

#include <algorithm>

#include "frame/error_report.hpp"
#include "layer.hpp"
#include "solvers/error_bounds.hpp"
#include "solvers/refinement.hpp"
#include "solvers/stored_products.hpp"
#include "solvers/tridiagonal_inverse.hpp"

namespace nuv {

template <Scalar T>
void gbrfs(char trans, Int n, Int kl, Int ku, Int nrhs, const T* ab, Int ldab, const T* afb, Int ldafb,
           const Int* ipiv, const T* b, Int ldb, T* x, Int ldx, Real<T>* ferr, Real<T>* berr, T* work,
           SecondWork<T>* second, Int& info) {
  info = 0;
  if (!is_one_of(trans, 'N', 'T', 'C')) info = -1;
  else if (n < 0) info = -2;
  else if (kl < 0) info = -3;
  else if (ku < 0) info = -4;
  else if (nrhs < 0) info = -5;
  else if (ldab - 1 < std::int64_t{kl} + ku) info = -7;
  else if (ldafb - 1 < 2 * std::int64_t{kl} + ku) info = -9;
  else if (ldb < std::max(1, n)) info = -12;
  else if (ldx < std::max(1, n)) info = -14;
  if (info != 0) return report_bad_argument<T>("GBRFS", info);

  const auto solve = [&](char op, T* r) {
    layer::gbtrs(op, n, kl, ku, 1, Matrix{afb, ldafb}, ipiv, Matrix{r, n}, info);
  };
  refine(Factored{GeneralBandProduct<T>{n, kl, ku, {ab, ldab}}, solve}, trans,
         {n, nrhs, {b, ldb}, {x, ldx}, ferr, berr}, work, second);
}

template <Scalar T>
void pbrfs(char uplo, Int n, Int kd, Int nrhs, const T* ab, Int ldab, const T* afb, Int ldafb, const T* b, Int ldb,
           T* x, Int ldx, Real<T>* ferr, Real<T>* berr, T* work, SecondWork<T>* second, Int& info) {
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (n < 0) info = -2;
  else if (kd < 0) info = -3;
  else if (nrhs < 0) info = -4;
  else if (ldab - 1 < kd) info = -6;
  else if (ldafb - 1 < kd) info = -8;
  else if (ldb < std::max(1, n)) info = -10;
  else if (ldx < std::max(1, n)) info = -12;
  if (info != 0) return report_bad_argument<T>("PBRFS", info);

  const auto solve = [&](char, T* r) { layer::pbtrs(uplo, n, kd, 1, Matrix{afb, ldafb}, Matrix{r, n}, info); };
  refine(Factored{HermitianBandProduct<T>{uplo, n, kd, {ab, ldab}}, solve}, 'N',
         {n, nrhs, {b, ldb}, {x, ldx}, ferr, berr}, work, second);
}

// ----------------------------------------------------------------------------------------------- tridiagonal matrices

template <Scalar T>
void gtrfs(char trans, Int n, Int nrhs, const T* dl, const T* d, const T* du, const T* dlf, const T* df, const T* duf,
           const T* du2, const Int* ipiv, const T* b, Int ldb, T* x, Int ldx, Real<T>* ferr, Real<T>* berr, T* work,
           SecondWork<T>* second, Int& info) {
  info = 0;
  if (!is_one_of(trans, 'N', 'T', 'C')) info = -1;
  else if (n < 0) info = -2;
  else if (nrhs < 0) info = -3;
  else if (ldb < std::max(1, n)) info = -13;
  else if (ldx < std::max(1, n)) info = -15;
  if (info != 0) return report_bad_argument<T>("GTRFS", info);

  const auto solve = [&](char op, T* r) {
    layer::gttrs(op, n, 1, dlf, df, duf, du2, ipiv, Matrix{r, n}, info);
  };
  refine(Factored{TridiagonalProduct<T>{n, dl, d, du}, solve}, trans, {n, nrhs, {b, ldb}, {x, ldx}, ferr, berr}, work,
         second);
}

namespace {

/// The forward bound needs no estimate: it is the norm of the inverse times the largest error of the residual.
///
/// solve(r)   solves from the factors df, ef
template <Scalar T, class Solve>
void refine_definite(char uplo, const RightHandSides<T>& systems, const Real<T>* d, const T* e, const Real<T>* df,
                     const T* ef, T* work, SecondWork<T>* second, Solve solve) {
  const Factored form{HermitianTridiagonalProduct<T>{uplo, systems.n, d, e}, solve};
  const BoundsSpace<T> space(systems.n, work, second);
  const ErrorBounds<T, decltype(form)> bounds(form, 'N', space);
  systems.for_each([&](const T* b, T* x, Real<T>& ferr, Real<T>& berr) {
    berr = bounds.refine(b, x);
    bounds.weigh_rounding();
    Real<T> largest = 0;
    for (Int i = 0; i < systems.n; ++i) largest = larger_or_nan(largest, space.weights[i]);
    ferr = bounds.relative_to_largest(largest * tridiagonal_inverse_norm(systems.n, df, ef, space.weights), x);
  });
}

}  // namespace

template <RealScalar T>
void ptrfs(Int n, Int nrhs, const T* d, const T* e, const T* df, const T* ef, const T* b, Int ldb, T* x, Int ldx,
           T* ferr, T* berr, T* work, Int& info) {
  info = 0;
  if (n < 0) info = -1;
  else if (nrhs < 0) info = -2;
  else if (ldb < std::max(1, n)) info = -8;
  else if (ldx < std::max(1, n)) info = -10;
  if (info != 0) return report_bad_argument<T>("PTRFS", info);
  refine_definite<T>('L', {n, nrhs, {b, ldb}, {x, ldx}, ferr, berr}, d, e, df, ef, work, nullptr,
                     [&](char, T* r) { layer::pttrs(n, 1, df, ef, Matrix{r, n}, info); });
}

template <ComplexScalar T>
void ptrfs(char uplo, Int n, Int nrhs, const Real<T>* d, const T* e, const Real<T>* df, const T* ef, const T* b,
           Int ldb, T* x, Int ldx, Real<T>* ferr, Real<T>* berr, T* work, Real<T>* rwork, Int& info) {
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (n < 0) info = -2;
  else if (nrhs < 0) info = -3;
  else if (ldb < std::max(1, n)) info = -9;
  else if (ldx < std::max(1, n)) info = -11;
  if (info != 0) return report_bad_argument<T>("PTRFS", info);
  refine_definite<T>(uplo, {n, nrhs, {b, ldb}, {x, ldx}, ferr, berr}, d, e, df, ef, work, rwork,
                     [&](char, T* r) { layer::pttrs(uplo, n, 1, df, ef, Matrix{r, n}, info); });
}

}  // namespace nuv

#include "solvers/refinement_band.entries.inc"
