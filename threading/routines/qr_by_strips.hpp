#pragma once

// The QR factorisation on several threads.
//
// The serial body factors a panel, then applies its reflectors to all columns behind it, and leaves the last columns to
// the unblocked code. Here each panel is a task, and so is the application of its reflectors to some columns: while one
// thread factors the next panel, others go on with the columns behind that. Every element goes through the very
// operations of the serial body.

#include "threading/runtime.hpp"

namespace nuv::threading::inline NUV_ISA {

/// Whether an m by n matrix is one for this way.
bool is_factored_by_strips(Int m, Int n);

/// Factors such a matrix on `threads` threads, those of the team; a, tau, work, lwork and info as for the serial body.
/// False, with nothing done, if the serial body takes no panels or there is no memory.
template <Scalar T>
bool factor_qr_by_strips(Int m, Int n, T* a, Int lda, T* tau, T* work, Int lwork, Int& info, int threads, Team& team);

}  // namespace nuv::threading::inline NUV_ISA
