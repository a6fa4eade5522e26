#include "x_variants.hpp"

namespace nuv::threading::inline NUV_ISA {

template <Scalar T>
void lasr3(char side, char pivot, char direct, Int m, Int n, Int k, const T* cs, Int ldcs, T* a, Int lda, T* work,
           Int lwork, Int& info) {
  x_variant::lasr3(side, pivot, direct, m, n, k, {cs, ldcs}, {a, lda}, work, lwork, info);
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/routines/rotations.entries.inc"
