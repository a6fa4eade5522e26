#pragma once

// What lalsd does, for drivers.

#include "base/matrix.hpp"

namespace nuv {

/// lalsd without looking at its arguments, and for any number of right-hand sides, none among them; gives info.
///
/// rwork   for complex right-hand sides alone
template <Scalar T>
Int solve_bidiagonal(char uplo, Int smlsiz, Int n, Int nrhs, Real<T>* d, Real<T>* e, Matrix<T> B, Real<T> rcond,
                     Int& rank, T* work, Real<T>* rwork, Int* iwork);

}  // namespace nuv
