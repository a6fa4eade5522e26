#pragma once

// Generalised Sylvester equations by blocks (B. Kagstrom and P. Poromaa, ACM Trans. Math. Softw. 22, 1996).

#include "base/types.hpp"

namespace nuv {

/// Solves a generalised Sylvester equation with pairs (A, D) and (B, E) in generalised Schur form, and estimates their
/// separation Dif, the smallest singular value of the operator (R, L) -> (A R - L B, D R - L E):
///
///     trans 'N':           A R - L B     = scale C       trans 'T', 'C':  A^H R + D^H L  = scale C
///                          D R - L E     = scale F                        R B^H + L E^H  = -scale F
///
/// trans   'N': the equation on the left, else the adjoint one: 'T' for real matrices, 'C' for complex ones
/// ijob    0: solves the equation; 1: and estimates Dif by looking ahead, 2: by the condition of the small systems; 3
///         and 4: estimates alone, as 1 and 2. Not looked at for the adjoint, which is solved
/// m       order of A and D
/// n       order of B and E
/// a       m by m, lda >= max(1, m); upper quasi-triangular (real) or triangular (complex)
/// b       n by n, ldb >= max(1, n); the same
/// c       m by n, ldc >= max(1, m); the right side in, R out; for 3 and 4 that of the estimate
/// d       m by m upper triangular, ldd >= max(1, m)
/// e       n by n upper triangular, lde >= max(1, n)
/// f       m by n, ldf >= max(1, m); the right side in, L out; for 3 and 4 that of the estimate
/// scale   out; in (0, 1], less than 1 where the solution might overflow otherwise; 1 for m = 0 or n = 0
/// dif     out, for ijob above 0 and trans 'N'; an estimate of Dif, seldom too large by more than a factor of 10; 0 for
///         m = 0 or n = 0. Else not touched
/// work    lwork elements; work(1) returns the least lwork: max(1, 2 m n) for ijob 1 and 2 with trans 'N', else 1
/// lwork   as much; -1 asks for that and does nothing else
/// iwork   m + n + 6 integers (real), m + n + 2 (complex)
/// info    0; above 0: (A, D) and (B, E) have common or very close eigenvalues, R and L solve an equation with
///         perturbed ones; or -k: argument k was bad (reported)
template <Scalar T>
void tgsyl(char trans, Int ijob, Int m, Int n, const T* a, Int lda, const T* b, Int ldb, T* c, Int ldc, const T* d,
           Int ldd, const T* e, Int lde, T* f, Int ldf, Real<T>& scale, Real<T>& dif, T* work, Int lwork, Int* iwork,
           Int& info);

}  // namespace nuv
