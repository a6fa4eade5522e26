#include <cmath>

#include "kernels/level1/walks.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace {

[[gnu::always_inline]] inline void add_square(double& sum, double x) {
  sum = simd::fma(x, x, sum);
}

template <RealScalar R>
[[gnu::always_inline]] inline void add_square(double& sum, std::complex<R> x) {
  add_square(sum, x.real());
  add_square(sum, x.imag());
}

/// Sum of squares of the parts of n elements, each multiplied by `scale` first unless that is 1; in double precision.
template <bool scaled, Scalar T>
double sum_of_squares(Int n, const T* x, Int incx, double scale) {
  using V = simd::Simd<double>;
  if (incx == 1) {
    const auto reals = as_reals(x);
    return simd::sum_of_lanes<double>(sum_over_registers<V, simd::lanes<double>, sum_chains>(
        real_count<T>(n), [=](V& sum, std::ptrdiff_t i, auto part) {
          V xi = load_as_double(reals + i, part);
          if constexpr (scaled) xi *= scale;
          sum = simd::fma(xi, xi, sum);
        }));
  }
  return sum_over_elements<double>(n, [=](double& sum, Int i) {
    if constexpr (scaled) {
      add_square(sum, Real<T>(scale) * element(x, i, incx));
    } else {
      add_square(sum, element(x, i, incx));
    }
  });
}

/// Where a sum of up to 2^32 squares lies if none of them overflowed, and if what underflowed doesn't count.
constexpr double smallest_safe_sum = 0x1p-900, largest_safe_sum = 0x1.fffffffffffffp+1023;

/// Powers of two that bring the numbers into range whose sum of squares comes out too small or too large.
constexpr double up = 0x1p+600, down = 0x1p-600;

}  // namespace

/// Euclidean norm of n elements; 0 if n or incx is below 1. Neither overflows nor underflows unless the norm itself
/// does. Squares of single-precision numbers are safe in double precision. For double precision, where J. L. Blue (A
/// Portable Fortran Program to Find the Euclidean Norm of a Vector, ACM TOMS 4, 1978) sorts the numbers of three ranges
/// to three sums, one sum over all will do: it is in danger only if the largest number is, and then is taken again in
/// scale.
template <Scalar T>
[[gnu::always_inline]] inline Real<T> nrm2(Int n, const T* x, Int incx) {
  if (n < 1 || incx < 1) return 0;
  const double sum = sum_of_squares<false>(n, x, incx, 1);
  if constexpr (std::same_as<Real<T>, double>) {
    if (sum < smallest_safe_sum) return std::sqrt(sum_of_squares<true>(n, x, incx, up)) * down;
    if (sum > largest_safe_sum) return std::sqrt(sum_of_squares<true>(n, x, incx, down)) * up;
  }
  return static_cast<Real<T>>(std::sqrt(sum));
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level1/nrm2.entries.inc"
