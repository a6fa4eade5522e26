#pragma once

// The left-looking Cholesky factorisation on several threads.
//
// The serial body finishes one block column (block row of an upper triangle) after the other, in steps that could each
// be shared; but then all of them would wait for each step's end, and for one thread to factor a diagonal block. Here a
// task takes some lines, rows of L or columns of U^H, through a whole step, and each block of them goes on as soon as
// what it needs is there:
//
//     L00 |            lines of L10 and L20 are finished while the diagonal block below them waits,
//     L10 | A11 |      A11 is updated by parts of its columns and factored,
//     L20 | A21 | A22  then lines of A21; those of L10 that stand beside A11 come before those of L20.
//
// Every element goes through the very operations of the serial body.

#include "base/matrix.hpp"
#include "threading/runtime.hpp"

namespace nuv::threading::inline NUV_ISA {

/// Factors a matrix of order n by blocks of nb < n lines, nb > 1, on `threads` threads, those of the team; uplo, a and
/// info as for the serial body. False, with nothing done, if there is no memory for the schedule.
template <Scalar T>
bool factor_cholesky_by_lines(char uplo, Int n, Int nb, Matrix<T> A, Int& info, int threads, Team& team);

}  // namespace nuv::threading::inline NUV_ISA
