#include "threading/level3/parallel.hpp"
#include "x_variants.hpp"

// Factorisations with diagonal pivoting, and their solves. The panels take their time for matrix-vector products; what
// follows them are products that find the threads by themselves.

namespace nuv::threading::inline NUV_ISA {
namespace {

/// Real multiply-adds of the update behind a panel from which several threads pay.
constexpr double least_work = 2e6;

template <Scalar T>
double work_behind_panel(Int n, Int nb) {
  return real_multiply_adds<T>(n, n, nb) / 2;
}

}  // namespace

template <Scalar T>
void lasyf(char uplo, Int n, Int nb, Int& kb, T* a, Int lda, Int* ipiv, T* w, Int ldw, Int& info) {
  const Team team(work_behind_panel<T>(n, nb), least_work);
  x_variant::lasyf(uplo, n, nb, kb, Matrix{a, lda}, ipiv, Matrix{w, ldw}, info);
}
template <ComplexScalar T>
void lahef(char uplo, Int n, Int nb, Int& kb, T* a, Int lda, Int* ipiv, T* w, Int ldw, Int& info) {
  const Team team(work_behind_panel<T>(n, nb), least_work);
  x_variant::lahef(uplo, n, nb, kb, Matrix{a, lda}, ipiv, Matrix{w, ldw}, info);
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/routines/indefinite.entries.inc"
