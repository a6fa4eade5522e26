#include "environment/machine.hpp"

#include <cmath>

namespace nuv {

Int ieeeck(Int ispec, float zero, float one) {
  float positive_infinity = one / zero;
  if (!(positive_infinity > one)) return 0;
  float negative_infinity = negated(one / zero);
  if (!(negative_infinity < zero)) return 0;
  const float negative_zero = one / (negative_infinity + one);
  if (negative_zero != zero) return 0;
  negative_infinity = one / negative_zero;
  if (!(negative_infinity < zero)) return 0;
  const float new_zero = negative_zero + zero;
  if (new_zero != zero) return 0;
  positive_infinity = one / new_zero;
  if (!(positive_infinity > one)) return 0;
  negative_infinity = negative_infinity * positive_infinity;
  if (!(negative_infinity < zero)) return 0;
  positive_infinity = positive_infinity * positive_infinity;
  if (!(positive_infinity > one)) return 0;
  return ispec == 0 ? 1 : 0;
}

template <RealScalar R>
void labad(R& small, R& large) {
  if (std::log10(large) > R(2000)) {
    small = std::sqrt(small);
    large = std::sqrt(large);
  }
}

}  // namespace nuv

#include "environment/machine.entries.inc"
