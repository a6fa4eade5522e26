#pragma once

// What the machine can do at most, measured in the process that measures the routines.

namespace nuv::bench {

/// Floating-point operations per second of independent fused multiply-adds (of multiplications and additions where the
/// set has none) on one thread, in the instruction set that NUV_ISA names or the widest.
template <class R>
double arithmetic_limit();

/// Bytes per second at which one thread reads memory far larger than the caches ...
double read_limit();

/// ... and at which it reads and writes back; both directions count.
double read_write_limit();

/// Bytes per second at which one thread writes memory far larger than the caches, past them or through them, whichever
/// is faster.
double write_limit();

}  // namespace nuv::bench
