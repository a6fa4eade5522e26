#pragma once

#include "base/simd.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// Finds out whether numbers are finite: zero times one that is not is NaN. Where zeros fill vectors, or stand for what
/// a matrix hasn't got, they must not meet an infinity; but it is dear to keep them apart where all is finite.
template <RealScalar R, int chains>
class FiniteCheck {
 public:
  /// Takes a vector of numbers. To take them in turn for each chain spares the sums from waiting for each other.
  [[gnu::always_inline]] void take(simd::Simd<R> x, int chain) {
    zeros_[chain] = simd::fma(x, simd::Simd<R>{}, zeros_[chain]);
  }

  /// Whether all that it took are finite.
  [[gnu::always_inline]] bool passed() const {
    simd::Simd<R> sum = zeros_[0];
#pragma GCC unroll 4
    for (int c = 1; c < chains; ++c) sum += zeros_[c];
    constexpr unsigned all = (1u << simd::lanes<R>)-1;
    return simd::equal_lanes(sum, sum) == all;
  }

 private:
  simd::Simd<R> zeros_[chains]{};
};

}  // namespace nuv::kernels::inline NUV_ISA
