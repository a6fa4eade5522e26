#include "x_variants.hpp"

// Products with the Q of a factorisation. The serial bodies check the arguments, and take C in strips, each of which is
// updated by products that find the threads by themselves: the threads share the columns or rows of a strip.

namespace nuv::threading::inline NUV_ISA {

template <Scalar T>
void ormqr(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int lwork,
           Int& info) {
  x_variant::ormqr(side, trans, m, n, k, Matrix{a, lda}, tau, Matrix{c, ldc}, work, lwork, info);
}
template <Scalar T>
void ormlq(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int lwork,
           Int& info) {
  x_variant::ormlq(side, trans, m, n, k, Matrix{a, lda}, tau, Matrix{c, ldc}, work, lwork, info);
}
template <Scalar T>
void ormql(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int lwork,
           Int& info) {
  x_variant::ormql(side, trans, m, n, k, Matrix{a, lda}, tau, Matrix{c, ldc}, work, lwork, info);
}
template <Scalar T>
void ormrq(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int lwork,
           Int& info) {
  x_variant::ormrq(side, trans, m, n, k, Matrix{a, lda}, tau, Matrix{c, ldc}, work, lwork, info);
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/routines/apply_q.entries.inc"
