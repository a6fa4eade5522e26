#include <algorithm>
#include <cmath>
#include <limits>

#include "base/types.hpp"

// Construction of plane rotations, free of needless overflow and underflow: E. Anderson, Algorithm 978: Safe Scaling in
// the Level 1 BLAS, ACM TOMS 44 (2017).

namespace nuv::kernels::inline NUV_ISA {
namespace {

template <RealScalar R>
R larger_part(std::complex<R> x) {
  return std::max(std::abs(x.real()), std::abs(x.imag()));
}

}  // namespace

/// The rotation with c a + s b = r and c b - s a = 0, r with the sign of the larger of a and b. a becomes r; b becomes
/// a number from which c and s can be found again: s if |a| > |b|, else 1 / c, or 1 if c is zero.
template <RealScalar T>
void rotg(T& a, T& b, T& c, T& s) {
  if (b == 0) {
    c = 1;
    s = b = 0;
    return;
  }
  if (a == 0) {
    c = 0;
    s = 1;
    a = b;
    b = 1;
    return;
  }
  constexpr T smallest = std::numeric_limits<T>::min(), largest = 1 / smallest;
  const bool a_is_larger = std::abs(a) > std::abs(b);
  const T scale = std::clamp(a_is_larger ? std::abs(a) : std::abs(b), smallest, largest);
  const T a_scaled = a / scale, b_scaled = b / scale;
  const T root = std::copysign(std::sqrt(a_scaled * a_scaled + b_scaled * b_scaled), a_is_larger ? a : b);
  c = a_scaled / root;
  s = b_scaled / root;
  a = scale * root;
  b = a_is_larger ? s : c != 0 ? 1 / c : T(1);
}

/// The rotation with c a + s b = r and c b - conj(s) a = 0, r in the direction of a, or r = b if a is zero. a becomes
/// r.
template <ComplexScalar T>
void rotg(T& a, T b, Real<T>& c, T& s) {
  using R = Real<T>;
  if (a == T(0)) {
    c = 0;
    s = 1;
    a = b;
    return;
  }
  if (b == T(0)) {
    c = 1;
    s = 0;
    return;
  }
  // Each number over its larger part has a length of 1 to sqrt(2); so its direction is exact to rounding, however small
  // it is.
  const R a_size = larger_part(a), b_size = larger_part(b), size = std::max(a_size, b_size);
  const T a_scaled = a / a_size, b_scaled = b / b_size;
  const R a_length = std::sqrt(std::norm(a_scaled)), a_share = a_size / size, b_share = b_size / size;
  const R length = std::sqrt(std::norm(a_scaled) * a_share * a_share + std::norm(b_scaled) * b_share * b_share);
  const T direction = a_scaled / a_length;
  c = a_length * a_share / length;
  s = direction * conjugate(b_scaled) * (b_share / length);
  a = direction * length * size;
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level1/rotg.entries.inc"
