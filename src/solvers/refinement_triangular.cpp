// Error bounds of solutions of triangular systems.

#include <algorithm>

#include "frame/error_report.hpp"
#include "solvers/error_bounds.hpp"
#include "solvers/refinement.hpp"
#include "solvers/stored_products.hpp"

namespace nuv {
namespace {

/// 0, or minus the position of the first bad argument of uplo, trans, diag, n.
Int check_triangle(char uplo, char trans, char diag, Int n) {
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  if (!is_one_of(trans, 'N', 'T', 'C')) return -2;
  if (!is_one_of(diag, 'N', 'U')) return -3;
  if (n < 0) return -4;
  return 0;
}

}  // namespace

template <Scalar T>
void trrfs(char uplo, char trans, char diag, Int n, Int nrhs, const T* a, Int lda, const T* b, Int ldb, const T* x,
           Int ldx, Real<T>* ferr, Real<T>* berr, T* work, SecondWork<T>* second, Int& info) {
  info = check_triangle(uplo, trans, diag, n);
  if (info != 0) return report_bad_argument<T>("TRRFS", info);
  if (nrhs < 0) info = -5;
  else if (lda < std::max(1, n)) info = -7;
  else if (ldb < std::max(1, n)) info = -9;
  else if (ldx < std::max(1, n)) info = -11;
  if (info != 0) return report_bad_argument<T>("TRRFS", info);
  bound_errors(TriangleProduct<T>{uplo, diag, n, {a, lda}}, trans, {n, nrhs, {b, ldb}, {x, ldx}, ferr, berr}, work, second);
}

template <Scalar T>
void tprfs(char uplo, char trans, char diag, Int n, Int nrhs, const T* ap, const T* b, Int ldb, const T* x, Int ldx,
           Real<T>* ferr, Real<T>* berr, T* work, SecondWork<T>* second, Int& info) {
  info = check_triangle(uplo, trans, diag, n);
  if (info != 0) return report_bad_argument<T>("TPRFS", info);
  if (nrhs < 0) info = -5;
  else if (ldb < std::max(1, n)) info = -8;
  else if (ldx < std::max(1, n)) info = -10;
  if (info != 0) return report_bad_argument<T>("TPRFS", info);
  bound_errors(PackedTriangleProduct<T>{uplo, diag, n, ap}, trans, {n, nrhs, {b, ldb}, {x, ldx}, ferr, berr}, work, second);
}

template <Scalar T>
void tbrfs(char uplo, char trans, char diag, Int n, Int kd, Int nrhs, const T* ab, Int ldab, const T* b, Int ldb,
           const T* x, Int ldx, Real<T>* ferr, Real<T>* berr, T* work, SecondWork<T>* second, Int& info) {
  info = check_triangle(uplo, trans, diag, n);
  if (info != 0) return report_bad_argument<T>("TBRFS", info);
  if (kd < 0) info = -5;
  else if (nrhs < 0) info = -6;
  else if (ldab - 1 < kd) info = -8;
  else if (ldb < std::max(1, n)) info = -10;
  else if (ldx < std::max(1, n)) info = -12;
  if (info != 0) return report_bad_argument<T>("TBRFS", info);
  bound_errors(BandTriangleProduct<T>{uplo, diag, n, kd, {ab, ldab}}, trans, {n, nrhs, {b, ldb}, {x, ldx}, ferr, berr}, work,
               second);
}

}  // namespace nuv

#include "solvers/refinement_triangular.entries.inc"
