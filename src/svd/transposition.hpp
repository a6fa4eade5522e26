#pragma once

#include "base/types.hpp"

namespace nuv {

/// Transposes, without conjugation. Nothing is checked; any other kind does nothing.
///
/// kind    'T': A := A^T in place, of order m; n and b are not looked at
///         'E': exchanges A and B^T
///         'C': B := A^T
/// a       m by n;  b  n by m. Views of one array may be given if they do not overlap
template <Scalar T>
void latsp(char kind, Int m, Int n, T* a, Int lda, T* b, Int ldb);

}  // namespace nuv
