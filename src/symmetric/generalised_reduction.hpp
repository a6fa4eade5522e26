#pragma once

// Reduction of the generalised symmetric (Hermitian) definite eigenproblem to a standard one, C y = lambda y, by the
// Cholesky factor of B (R. S. Martin, J. H. Wilkinson, "Reduction of the symmetric eigenproblem A x = lambda B x and
// related problems to standard form", Numer. Math. 11, 1968).
//
// itype   1: A x = lambda B x, with C = U^-H A U^-1 or L^-1 A L^-H;
//         2: A B x = lambda x, and 3: B A x = lambda x, with C = U A U^H or L^H A L
// uplo    'U' or 'L': the triangle that A is stored in, and the factor of B
// a       order n: a triangle of A in, of C out; the other one is neither read nor written
// b       the factor, B = U^H U or L L^H, as the Cholesky factorisation leaves it
// info    0, or -k: argument k was bad (reported)
//
// Imaginary parts on the diagonals of A and of the factor count as zero.

#include "base/types.hpp"

namespace nuv {

/// In full storage, by blocks; lda, ldb >= max(1, n).
template <Scalar T>
void sygst(Int itype, char uplo, Int n, T* a, Int lda, const T* b, Int ldb, Int& info);

/// The same row by row or column by column.
template <Scalar T>
void sygs2(Int itype, char uplo, Int n, T* a, Int lda, const T* b, Int ldb, Int& info);

/// In packed storage.
template <Scalar T>
void spgst(Int itype, char uplo, Int n, T* ap, const T* bp, Int& info);

}  // namespace nuv
