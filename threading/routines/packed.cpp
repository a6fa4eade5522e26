#include "threading/level3/parallel.hpp"
#include "x_variants.hpp"

// Factorisation and solves in packed storage. The serial bodies check the arguments and copy blocks to full storage,
// where their products find the threads by themselves.

namespace nuv::threading::inline NUV_ISA {
namespace {

/// Real multiply-adds from which several threads pay.
constexpr double least_work = 10e6;

}  // namespace

template <Scalar T>
void pptrf(char uplo, Int n, T* ap, Int& info) {
  const Team team(real_multiply_adds<T>(n, n, n) / 6, least_work);
  x_variant::pptrf(uplo, n, ap, info);
}

template <Scalar T>
void pptrs(char uplo, Int n, Int nrhs, const T* ap, T* b, Int ldb, Int& info) {
  const Team team(real_multiply_adds<T>(n, n, nrhs), least_work);
  x_variant::pptrs(uplo, n, nrhs, ap, {b, ldb}, info);
}

template <Scalar T>
void tptrs(char uplo, char trans, char diag, Int n, Int nrhs, const T* ap, T* b, Int ldb, Int& info) {
  const Team team(real_multiply_adds<T>(n, n, nrhs) / 2, least_work);
  x_variant::tptrs(uplo, trans, diag, n, nrhs, ap, {b, ldb}, info);
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/routines/packed.entries.inc"
