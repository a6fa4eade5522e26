#include "environment/norms_triangular.hpp"

#include "environment/norms_sweep.hpp"
#include "frame/option_matching.hpp"

namespace nuv {
namespace {

template <Scalar T, class Columns>
Real<T> triangular_norm(char norm, bool upper, char diag, Int m, Int n, const Columns& columns, Real<T>* work) {
  if (m <= 0 || n <= 0) return 0;
  const bool unit = same_letter(diag, 'U');
  const auto counted = [&](Int j) { return unit ? without_diagonal(columns(j), j, upper) : columns(j); };
  return norm_by_columns<T>(norm_of(norm), m, n, counted, unit, work);
}

}  // namespace

template <Scalar T>
Real<T> lantr(char norm, char uplo, char diag, Int m, Int n, const T* a, Int lda, Real<T>* work) {
  const bool upper = same_letter(uplo, 'U');
  return triangular_norm<T>(norm, upper, diag, m, n, TrapezoidColumns<T>{upper, m, {a, lda}}, work);
}

template <Scalar T>
Real<T> lantp(char norm, char uplo, char diag, Int n, const T* ap, Real<T>* work) {
  const bool upper = same_letter(uplo, 'U');
  return triangular_norm<T>(norm, upper, diag, n, n, PackedColumns<T>{upper, n, ap}, work);
}

template <Scalar T>
Real<T> lantb(char norm, char uplo, char diag, Int n, Int k, const T* ab, Int ldab, Real<T>* work) {
  const bool upper = same_letter(uplo, 'U');
  return triangular_norm<T>(norm, upper, diag, n, n, band_triangle<T>(upper, n, k, {ab, ldab}), work);
}

}  // namespace nuv

#include "environment/norms_triangular.entries.inc"
