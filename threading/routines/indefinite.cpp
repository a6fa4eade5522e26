#include "x_variants.hpp"

// Factorisations with diagonal pivoting, and their solves. The panels take their time for matrix-vector products; what
// follows them are products that find the threads by themselves.

namespace nuv::threading::inline NUV_ISA {

template <Scalar T>
void lasyf(char uplo, Int n, Int nb, Int& kb, T* a, Int lda, Int* ipiv, T* w, Int ldw, Int& info) {
  x_variant::lasyf(uplo, n, nb, kb, Matrix{a, lda}, ipiv, Matrix{w, ldw}, info);
}
template <ComplexScalar T>
void lahef(char uplo, Int n, Int nb, Int& kb, T* a, Int lda, Int* ipiv, T* w, Int ldw, Int& info) {
  x_variant::lahef(uplo, n, nb, kb, Matrix{a, lda}, ipiv, Matrix{w, ldw}, info);
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/routines/indefinite.entries.inc"
