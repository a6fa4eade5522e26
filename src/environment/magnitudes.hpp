#pragma once

// Absolute values of scalars: |x|, and for complex numbers the true sqrt(re^2 + im^2) of `hypotenuse`, computed in
// double precision and rounded.

#include <emmintrin.h>

#include <cmath>

#include "environment/service_math.hpp"

namespace nuv {

/// Limits of a sum of squares between which its plain root is the hypotenuse to the last bit: a part so small that its
/// square loses digits is then too small to be seen beside the other.
inline constexpr double smallest_moderate_square = 0x1p-899;
inline constexpr double largest_moderate_square = 0x1p1019;

template <RealScalar T>
T magnitude(T x) {
  return std::abs(x);
}

template <RealScalar R>
R magnitude(std::complex<R> z) {
  const double re = z.real(), im = z.imag();
  const double square = re * re + im * im;
  const bool moderate = square >= smallest_moderate_square && square <= largest_moderate_square;
  return static_cast<R>(moderate ? std::sqrt(square) : hypotenuse(re, im));
}

namespace detail {

/// Parts of one complex number in double precision.
inline __m128d parts_as_double(const std::complex<double>* z) {
  return _mm_loadu_pd(reinterpret_cast<const double*>(z));
}
inline __m128d parts_as_double(const std::complex<float>* z) {
  return _mm_cvtps_pd(_mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(z)));
}

inline void store_pair(__m128d pair, double* x) {
  _mm_storeu_pd(x, pair);
}
inline void store_pair(__m128d pair, float* x) {
  _mm_storel_pi(reinterpret_cast<__m64*>(x), _mm_cvtpd_ps(pair));
}

}  // namespace detail

/// Magnitudes of `count` neighbours, two at a time.
template <RealScalar R>
void magnitudes(const std::complex<R>* z, int count, R* result) {
  const __m128d smallest = _mm_set1_pd(smallest_moderate_square), largest = _mm_set1_pd(largest_moderate_square);
  __m128d moderate = _mm_cmpeq_pd(smallest, smallest);
  int i = 0;
  for (; i + 2 <= count; i += 2) {
    const __m128d x = detail::parts_as_double(z + i), y = detail::parts_as_double(z + i + 1);
    const __m128d xx = _mm_mul_pd(x, x), yy = _mm_mul_pd(y, y);
    const __m128d square = _mm_add_pd(_mm_unpacklo_pd(xx, yy), _mm_unpackhi_pd(xx, yy));
    moderate = _mm_and_pd(moderate, _mm_and_pd(_mm_cmpge_pd(square, smallest), _mm_cmple_pd(square, largest)));
    detail::store_pair(_mm_sqrt_pd(square), result + i);
  }
  if (_mm_movemask_pd(moderate) != 3) i = 0;
  for (; i < count; ++i) result[i] = magnitude(z[i]);
}

}  // namespace nuv
