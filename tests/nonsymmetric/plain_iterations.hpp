#pragma once

// QR iterations as a textbook has them, in the next wider type: whole reflectors, applied to whole matrices. They
// decide by the precision of T, so that they go the way that a method under test is to go.

#include <Eigen/Core>
#include <complex>
#include <vector>

#include "support/wide.hpp"

namespace nuv::test {

/// A Hessenberg matrix T = Z^H A Z on its way, and its eigenvalues.
template <Scalar T>
struct PlainIteration {
  WideMatrix<T> H, Z;
  std::vector<std::complex<WideReal<T>>> values;
  int sweeps = 0;
  /// Whether an exceptional shift was taken.
  bool was_stuck = false;
};

/// The whole Schur form by single sweeps, with two shifts if T is real.
template <Scalar T>
PlainIteration<T> plain_schur_form(const WideMatrix<T>& A);

/// One sweep with so many shifts over rows and columns first ... last, counted from one: pair after pair, the last pair
/// first. Each goes from one end to the other before the next one starts.
template <Scalar T>
PlainIteration<T> plain_sweep(const WideMatrix<T>& A, Int first, Int last,
                              const std::vector<std::complex<WideReal<T>>>& shifts);

}  // namespace nuv::test
