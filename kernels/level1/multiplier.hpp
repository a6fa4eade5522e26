#pragma once

// Products with one fixed scalar, of numbers and of vector registers that hold such numbers. Both round alike, so that
// an element's result depends neither on its place nor on the increments.

#include "base/simd.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// Multiplies by a number. A vector holds numbers of precision T; complex ones lie with their parts side by side.
template <Scalar T>
class Multiplier;

template <RealScalar R>
class Multiplier<R> {
 public:
  explicit Multiplier(R factor) : factor_(factor) {}

  R times(R x) const { return factor_ * x; }
  std::complex<R> times(std::complex<R> x) const { return {factor_ * x.real(), factor_ * x.imag()}; }
  simd::Simd<R> times(simd::Simd<R> x) const { return factor_ * x; }

  /// The product with x, plus y.
  R times_plus(R x, R y) const { return simd::fma(factor_, x, y); }
  std::complex<R> times_plus(std::complex<R> x, std::complex<R> y) const {
    return {times_plus(x.real(), y.real()), times_plus(x.imag(), y.imag())};
  }
  simd::Simd<R> times_plus(simd::Simd<R> x, simd::Simd<R> y) const { return simd::fma(simd::broadcast(factor_), x, y); }

 private:
  R factor_;
};

template <RealScalar R>
class Multiplier<std::complex<R>> {
 public:
  explicit Multiplier(std::complex<R> factor) : re_(factor.real()), im_(factor.imag()) {}

  std::complex<R> times(std::complex<R> x) const {
    return {simd::fma(re_, x.real(), -im_ * x.imag()), simd::fma(re_, x.imag(), im_ * x.real())};
  }
  simd::Simd<R> times(simd::Simd<R> x) const {
    return simd::fma(simd::broadcast(re_), x, signed_im() * simd::swap_neighbours<R>(x));
  }

  /// The product with x, plus y.
  std::complex<R> times_plus(std::complex<R> x, std::complex<R> y) const {
    return {simd::fma(-im_, x.imag(), simd::fma(re_, x.real(), y.real())),
            simd::fma(im_, x.real(), simd::fma(re_, x.imag(), y.imag()))};
  }
  simd::Simd<R> times_plus(simd::Simd<R> x, simd::Simd<R> y) const {
    return simd::fma(signed_im(), simd::swap_neighbours<R>(x), simd::fma(simd::broadcast(re_), x, y));
  }

 private:
  simd::Simd<R> signed_im() const { return simd::alternating(-im_, im_); }

  R re_, im_;
};

}  // namespace nuv::kernels::inline NUV_ISA
