#include "threading/level3/parallel.hpp"
#include "threading/routines/right_hand_sides.hpp"
#include "x_variants.hpp"

// Band systems. The serial bodies check the arguments. Factorisations find the threads through their products, solves
// share the right-hand sides.

namespace nuv::threading::inline NUV_ISA {
namespace {

/// Strips in which products are as fast as in wider ones.
Strips band_strips(Int nrhs) {
  return {.nrhs = nrhs, .wide = 128, .grain = 8};
}

}  // namespace

template <Scalar T>
void gbtrf(Int m, Int n, Int kl, Int ku, T* ab, Int ldab, Int* ipiv, Int& info) {
  x_variant::gbtrf(m, n, kl, ku, {ab, ldab}, ipiv, info);
}

template <Scalar T>
void gbtrs(char trans, Int n, Int kl, Int ku, Int nrhs, const T* ab, Int ldab, const Int* ipiv, T* b, Int ldb,
           Int& info) {
  const double multiply_adds = real_multiply_adds<T>(n, nrhs, 1) * (2.0 * kl + ku + 1);
  solve_by_strips(band_strips(nrhs), multiply_adds, info, [&](Int first, Int count, Int& info_of_strip) {
    x_variant::gbtrs(trans, n, kl, ku, count, {ab, ldab}, ipiv, block(Matrix{b, ldb}, 1, first + 1), info_of_strip);
  });
}

template <Scalar T>
void pbtrs(char uplo, Int n, Int kd, Int nrhs, const T* ab, Int ldab, T* b, Int ldb, Int& info) {
  const double multiply_adds = real_multiply_adds<T>(n, nrhs, 2) * (kd + 1.0);
  solve_by_strips(band_strips(nrhs), multiply_adds, info, [&](Int first, Int count, Int& info_of_strip) {
    x_variant::pbtrs(uplo, n, kd, count, {ab, ldab}, block(Matrix{b, ldb}, 1, first + 1), info_of_strip);
  });
}

template <Scalar T>
void tbtrs(char uplo, char trans, char diag, Int n, Int kd, Int nrhs, const T* ab, Int ldab, T* b, Int ldb, Int& info) {
  const double multiply_adds = real_multiply_adds<T>(n, nrhs, 1) * (kd + 1.0);
  solve_by_strips(band_strips(nrhs), multiply_adds, info, [&](Int first, Int count, Int& info_of_strip) {
    x_variant::tbtrs(uplo, trans, diag, n, kd, count, {ab, ldab}, block(Matrix{b, ldb}, 1, first + 1), info_of_strip);
  });
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/routines/band.entries.inc"
