#include "threading/level3/parallel.hpp"
#include "x_variants.hpp"

// Reduction of a packed matrix. The serial body checks the arguments; half of its work is in products that find the
// threads by themselves, the other half in the products of its panels with a packed matrix and a vector.

namespace nuv::threading::inline NUV_ISA {
namespace {

/// Real multiply-adds from which several threads pay.
constexpr double least_work = 10e6;

}  // namespace

template <Scalar T>
void sptrd(char uplo, Int n, T* ap, Real<T>* d, Real<T>* e, T* tau, Int& info) {
  const Team team(real_multiply_adds<T>(n, n, n) / 3, least_work);
  x_variant::sptrd(uplo, n, ap, d, e, tau, info);
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/routines/packed_reduction.entries.inc"
