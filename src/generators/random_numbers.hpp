#pragma once

// Random numbers from the multiplicative congruential generator x := a x mod 2^48 (G. S. Fishman, Multiplicative
// congruential random number generators with modulus 2^b, Math. Comp. 54, 1990), a = 33952834046453.
//
// iseed    the state: x as four digits of twelve bits, the most significant first; each in 0 ... 4095, the last odd. It
//          is all the state there is, and every call moves it on.
// idist    1: uniform on (0, 1); 2: uniform on (-1, 1); 3: normal with mean 0 and variance 1; for complex numbers both
//          parts each; 4: uniform on the unit disc; 5: uniform on the unit circle, the last two for complex numbers
//          only

#include "base/types.hpp"

namespace nuv {

template <RealScalar R>
inline constexpr R two_pi = R(6.283185307179586);

/// One number, uniform on (0, 1).
template <RealScalar R>
R laran(Int* iseed);

/// The numbers of n calls of laran, at most 128 of them; with n < 1 none, and the state becomes zero. In single
/// precision a number may be rounded to 1, which laran leaves out.
template <RealScalar R>
void laruv(Int* iseed, Int n, R* x);

/// One number; 0 for an unknown idist, for which the state moves on by one draw.
template <Scalar T>
T larnd(Int idist, Int* iseed);

/// n numbers. For an unknown idist the state moves on and x is not touched.
template <Scalar T>
void larnv(Int idist, Int* iseed, Int n, T* x);

}  // namespace nuv
