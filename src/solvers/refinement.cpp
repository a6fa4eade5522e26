#include "solvers/refinement.hpp"

#include <algorithm>

#include "frame/error_report.hpp"
#include "layer.hpp"
#include "solvers/cholesky.hpp"
#include "solvers/error_bounds.hpp"
#include "solvers/general_lu.hpp"
#include "solvers/indefinite_mirror.hpp"
#include "solvers/stored_products.hpp"

namespace nuv {
template <Scalar T>
void gerfs(char trans, Int n, Int nrhs, const T* a, Int lda, const T* af, Int ldaf, const Int* ipiv, const T* b,
           Int ldb, T* x, Int ldx, Real<T>* ferr, Real<T>* berr, T* work, SecondWork<T>* second, Int& info) {
  info = 0;
  if (!is_one_of(trans, 'N', 'T', 'C')) info = -1;
  else if (n < 0) info = -2;
  else if (nrhs < 0) info = -3;
  else if (lda < std::max(1, n)) info = -5;
  else if (ldaf < std::max(1, n)) info = -7;
  else if (ldb < std::max(1, n)) info = -10;
  else if (ldx < std::max(1, n)) info = -12;
  if (info != 0) return report_bad_argument<T>("GERFS", info);

  const auto solve = [&](char op, T* r) { getrs(op, n, 1, af, ldaf, ipiv, r, n, info); };
  refine(Factored{GeneralProduct<T>{n, {a, lda}}, solve}, trans, {n, nrhs, {b, ldb}, {x, ldx}, ferr, berr}, work,
         second);
}

template <Scalar T>
void porfs(char uplo, Int n, Int nrhs, const T* a, Int lda, const T* af, Int ldaf, const T* b, Int ldb, T* x, Int ldx,
           Real<T>* ferr, Real<T>* berr, T* work, SecondWork<T>* second, Int& info) {
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (n < 0) info = -2;
  else if (nrhs < 0) info = -3;
  else if (lda < std::max(1, n)) info = -5;
  else if (ldaf < std::max(1, n)) info = -7;
  else if (ldb < std::max(1, n)) info = -9;
  else if (ldx < std::max(1, n)) info = -11;
  if (info != 0) return report_bad_argument<T>("PORFS", info);

  const auto solve = [&](char, T* r) { potrs(uplo, n, 1, af, ldaf, r, n, info); };
  refine(Factored{MirroredProduct<hermitian_mirror<T>, T>{uplo, n, {a, lda}}, solve}, 'N',
         {n, nrhs, {b, ldb}, {x, ldx}, ferr, berr}, work, second);
}

template <Scalar T>
void pprfs(char uplo, Int n, Int nrhs, const T* ap, const T* afp, const T* b, Int ldb, T* x, Int ldx, Real<T>* ferr,
           Real<T>* berr, T* work, SecondWork<T>* second, Int& info) {
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (n < 0) info = -2;
  else if (nrhs < 0) info = -3;
  else if (ldb < std::max(1, n)) info = -7;
  else if (ldx < std::max(1, n)) info = -9;
  if (info != 0) return report_bad_argument<T>("PPRFS", info);

  const auto solve = [&](char, T* r) { layer::pptrs(uplo, n, 1, afp, Matrix{r, n}, info); };
  refine(Factored{PackedMirroredProduct<hermitian_mirror<T>, T>{uplo, n, ap}, solve}, 'N',
         {n, nrhs, {b, ldb}, {x, ldx}, ferr, berr}, work, second);
}

// ------------------------------------------------------------------------------------------------ indefinite matrices

namespace {

template <Mirror mirror, Scalar T>
void refine_indefinite(const char (&name)[6], char uplo, Int n, Int nrhs, const T* a, Int lda, const T* af, Int ldaf,
                       const Int* ipiv, const T* b, Int ldb, T* x, Int ldx, Real<T>* ferr, Real<T>* berr, T* work,
                       SecondWork<T>* second, Int& info) {
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (n < 0) info = -2;
  else if (nrhs < 0) info = -3;
  else if (lda < std::max(1, n)) info = -5;
  else if (ldaf < std::max(1, n)) info = -7;
  else if (ldb < std::max(1, n)) info = -10;
  else if (ldx < std::max(1, n)) info = -12;
  if (info != 0) return report_bad_argument<T>(name, info);

  const auto solve = [&](char, T* r) { solve_indefinite<mirror, T>(uplo, n, 1, {af, ldaf}, ipiv, {r, n}); };
  refine(Factored{MirroredProduct<mirror, T>{uplo, n, {a, lda}}, solve}, 'N', {n, nrhs, {b, ldb}, {x, ldx}, ferr, berr},
         work, second);
}

template <Mirror mirror, Scalar T>
void refine_packed(const char (&name)[6], char uplo, Int n, Int nrhs, const T* ap, const T* afp, const Int* ipiv,
                   const T* b, Int ldb, T* x, Int ldx, Real<T>* ferr, Real<T>* berr, T* work, SecondWork<T>* second,
                   Int& info) {
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (n < 0) info = -2;
  else if (nrhs < 0) info = -3;
  else if (ldb < std::max(1, n)) info = -8;
  else if (ldx < std::max(1, n)) info = -10;
  if (info != 0) return report_bad_argument<T>(name, info);

  const auto solve = [&](char, T* r) { solve_packed<mirror, T>(uplo, n, 1, afp, ipiv, {r, n}); };
  refine(Factored{PackedMirroredProduct<mirror, T>{uplo, n, ap}, solve}, 'N', {n, nrhs, {b, ldb}, {x, ldx}, ferr, berr},
         work, second);
}

}  // namespace

template <Scalar T>
void syrfs(char uplo, Int n, Int nrhs, const T* a, Int lda, const T* af, Int ldaf, const Int* ipiv, const T* b, Int ldb,
           T* x, Int ldx, Real<T>* ferr, Real<T>* berr, T* work, SecondWork<T>* second, Int& info) {
  refine_indefinite<Mirror::plain>("SYRFS", uplo, n, nrhs, a, lda, af, ldaf, ipiv, b, ldb, x, ldx, ferr, berr, work,
                                   second, info);
}

template <ComplexScalar T>
void herfs(char uplo, Int n, Int nrhs, const T* a, Int lda, const T* af, Int ldaf, const Int* ipiv, const T* b, Int ldb,
           T* x, Int ldx, Real<T>* ferr, Real<T>* berr, T* work, Real<T>* rwork, Int& info) {
  refine_indefinite<Mirror::conjugate>("HERFS", uplo, n, nrhs, a, lda, af, ldaf, ipiv, b, ldb, x, ldx, ferr, berr, work,
                                       rwork, info);
}

template <Scalar T>
void sprfs(char uplo, Int n, Int nrhs, const T* ap, const T* afp, const Int* ipiv, const T* b, Int ldb, T* x, Int ldx,
           Real<T>* ferr, Real<T>* berr, T* work, SecondWork<T>* second, Int& info) {
  refine_packed<Mirror::plain>("SPRFS", uplo, n, nrhs, ap, afp, ipiv, b, ldb, x, ldx, ferr, berr, work, second, info);
}

template <ComplexScalar T>
void hprfs(char uplo, Int n, Int nrhs, const T* ap, const T* afp, const Int* ipiv, const T* b, Int ldb, T* x, Int ldx,
           Real<T>* ferr, Real<T>* berr, T* work, Real<T>* rwork, Int& info) {
  refine_packed<Mirror::conjugate>("HPRFS", uplo, n, nrhs, ap, afp, ipiv, b, ldb, x, ldx, ferr, berr, work, rwork,
                                   info);
}

}  // namespace nuv

#include "solvers/refinement.entries.inc"
