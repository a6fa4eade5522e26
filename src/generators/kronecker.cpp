#include "generators/kronecker.hpp"

#include "base/matrix.hpp"
#include "environment/matrix_utilities.hpp"

namespace nuv {
namespace {

/// One row of blocks, the first mn rows of Z: [ I_n (x) A   -B^T (x) I_m ].
template <Scalar T>
void set_block_row(Int m, Int n, Matrix<const T> A, Matrix<const T> B, Matrix<T> Z) {
  const Int mn = m * n;
  for (Int l = 1; l <= n; ++l) lacpy('F', m, m, A.data, A.ld, Z.at((l - 1) * m + 1, (l - 1) * m + 1), Z.ld);
  for (Int l = 1; l <= n; ++l) {
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= m; ++i) Z((j - 1) * m + i, mn + (l - 1) * m + i) = negated(B(l, j));
    }
  }
}

}  // namespace

template <Scalar T>
void lakf2(Int m, Int n, const T* a, Int lda, const T* b, const T* d, const T* e, T* z, Int ldz) {
  const Int mn = m * n;
  const Matrix Z{z, ldz};
  laset('F', 2 * mn, 2 * mn, T(0), T(0), z, ldz);
  set_block_row<T>(m, n, {a, lda}, {b, lda}, Z);
  set_block_row<T>(m, n, {d, lda}, {e, lda}, block(Z, mn + 1, 1));
}

}  // namespace nuv

#include "generators/kronecker.entries.inc"
