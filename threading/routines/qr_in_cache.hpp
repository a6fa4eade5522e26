#pragma once

// The QR factorisation of few columns on several threads.
//
// The serial body factors a panel, then applies its reflectors to all columns behind it, and leaves the last columns to
// the unblocked code. Here each panel is a task, and so is the application of its reflectors to some columns: while one
// thread factors the next panel, others go on with the columns behind that. Every element goes through the very
// operations of the serial body.

#include "base/types.hpp"

namespace nuv::threading::inline NUV_ISA {

/// Factors an m by n matrix on several threads if it is one for this way, there are threads, and workspace enough for
/// whole panels; a, tau, work, lwork and info as for the serial body. False, with nothing done, if not.
template <Scalar T>
bool factor_qr_in_cache(Int m, Int n, T* a, Int lda, T* tau, T* work, Int lwork, Int& info);

}  // namespace nuv::threading::inline NUV_ISA
