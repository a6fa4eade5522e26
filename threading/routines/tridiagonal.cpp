#include "threading/level3/parallel.hpp"
#include "threading/routines/right_hand_sides.hpp"
#include "x_variants.hpp"

// Solves with the factors of tridiagonal matrices. The serial bodies check the arguments; threads share the right-hand
// sides.

namespace nuv::threading::inline NUV_ISA {
namespace {

/// The serial bodies take four right-hand sides at a time.
Strips tridiagonal_strips(Int nrhs) {
  return {.nrhs = nrhs, .wide = 4, .grain = 4};
}

/// Multiply-adds of a solve, a division counted as some of them.
template <Scalar T>
double work_of_solve(Int n, Int nrhs) {
  return real_multiply_adds<T>(n, nrhs, 8);
}

}  // namespace

template <Scalar T>
void gttrs(char trans, Int n, Int nrhs, const T* dl, const T* d, const T* du, const T* du2, const Int* ipiv, T* b,
           Int ldb, Int& info) {
  solve_by_strips(tridiagonal_strips(nrhs), work_of_solve<T>(n, nrhs), info, [&](Int first, Int count, Int& of_strip) {
    x_variant::gttrs(trans, n, count, dl, d, du, du2, ipiv, block(Matrix{b, ldb}, 1, first + 1), of_strip);
  });
}

template <RealScalar T>
void pttrs(Int n, Int nrhs, const T* d, const T* e, T* b, Int ldb, Int& info) {
  solve_by_strips(tridiagonal_strips(nrhs), work_of_solve<T>(n, nrhs), info, [&](Int first, Int count, Int& of_strip) {
    x_variant::pttrs(n, count, d, e, block(Matrix{b, ldb}, 1, first + 1), of_strip);
  });
}

template <ComplexScalar T>
void pttrs(char uplo, Int n, Int nrhs, const Real<T>* d, const T* e, T* b, Int ldb, Int& info) {
  solve_by_strips(tridiagonal_strips(nrhs), work_of_solve<T>(n, nrhs), info, [&](Int first, Int count, Int& of_strip) {
    x_variant::pttrs(uplo, n, count, d, e, block(Matrix{b, ldb}, 1, first + 1), of_strip);
  });
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/routines/tridiagonal.entries.inc"
