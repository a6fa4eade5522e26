#pragma once

// How good a singular value decomposition is, judged in the next wider type. Measures are in units of eps, and NaN
// where a result is NaN.

#include "support/guarded.hpp"
#include "support/wide.hpp"
#include "support/wide_spectrum.hpp"

namespace nuv::test {

/// For all of these measures.
inline constexpr double svd_threshold = 10;

/// ||(A - U S V^H) X|| / (||A|| n eps) with n the larger size of A, a few columns X of random signs, which say as much
/// as the whole and take far less, and the first vectors of U and V^H, as many as there are values.
template <Scalar T>
double decomposition_residual(const WideMatrix<T>& A, const WideMatrix<T>& U, const GuardedVector<Real<T>>& s,
                              const WideMatrix<T>& VT);

/// ||(U^H A A^H U - S^2) X|| / (||A||^2 n eps) for left vectors alone: all of them, or as many as there are values.
template <Scalar T>
double one_sided_residual(const WideMatrix<T>& A, const WideMatrix<T>& U, const GuardedVector<Real<T>>& s);

/// ||(U^H U - I) X|| / (n eps) for U with columns of n elements.
template <Scalar T>
double orthonormality(const WideMatrix<T>& U);

/// The largest |s(k) - exact(k)| / (exact(1) n eps), n their number.
template <Scalar T>
double singular_value_error(const GuardedVector<Real<T>>& s, const WideVector<T>& exact);

}  // namespace nuv::test
