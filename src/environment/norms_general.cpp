#include "environment/norms_general.hpp"

#include "environment/norms_tridiagonal.hpp"

namespace nuv {

template <Scalar T>
Real<T> lange(char norm, Int m, Int n, const T* a, Int lda, Real<T>* work) {
  if (m <= 0 || n <= 0) return 0;
  return norm_by_columns<T>(norm_of(norm), m, n, FullColumns<T>{m, {a, lda}}, false, work);
}

template <Scalar T>
Real<T> langb(char norm, Int n, Int kl, Int ku, const T* ab, Int ldab, Real<T>* work) {
  if (n <= 0) return 0;
  return norm_by_columns<T>(norm_of(norm), n, n, BandColumns<T>{n, kl, ku, {ab, ldab}}, false, work);
}

template <Scalar T>
Real<T> langt(char norm, Int n, const T* dl, const T* d, const T* du) {
  return n <= 0 ? 0 : tridiagonal_norm(norm_of(norm), n, GeneralTridiagonal<T>{dl, d, du});
}

template <Scalar T>
Real<T> lanhs(char norm, Int n, const T* a, Int lda, Real<T>* work) {
  if (n <= 0) return 0;
  return norm_by_columns<T>(norm_of(norm), n, n, HessenbergColumns<T>{n, {a, lda}}, false, work);
}

}  // namespace nuv

#include "environment/norms_general.entries.inc"
