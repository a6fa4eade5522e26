#pragma once

// Results judged in quadruple precision, whose 113 bits and wide range hold the squares and products of doubles.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>
#include <string>

#include "support/random.hpp"
#include "support/real_precisions.hpp"
#include "support/sanitized.hpp"

namespace nuv::test {

using Quad = __float128;

inline Quad magnitude(Quad x) {
  return x < 0 ? -x : x;
}

inline Quad squared(Quad x) {
  return x * x;
}

/// Correct to a few units of the 113 bits: one step of Newton's method from 64.
inline Quad root(Quad x) {
  if (x <= 0) return 0;
  const Quad near = std::sqrt(static_cast<long double>(x));
  return (near + x / near) / 2;
}

struct QuadComplex {
  Quad re, im;

  QuadComplex(Quad re_, Quad im_ = 0) : re(re_), im(im_) {}
  template <RealScalar R>
  QuadComplex(std::complex<R> z) : re(z.real()), im(z.imag()) {}

  friend QuadComplex operator+(QuadComplex x, QuadComplex y) { return {x.re + y.re, x.im + y.im}; }
  friend QuadComplex operator-(QuadComplex x, QuadComplex y) { return {x.re - y.re, x.im - y.im}; }
  friend QuadComplex operator*(QuadComplex x, QuadComplex y) {
    return {x.re * y.re - x.im * y.im, x.re * y.im + x.im * y.re};
  }
  friend QuadComplex operator/(QuadComplex x, Quad y) { return {x.re / y, x.im / y}; }
};

inline QuadComplex conjugated(QuadComplex x) {
  return {x.re, -x.im};
}

inline Quad magnitude(QuadComplex x) {
  return root(squared(x.re) + squared(x.im));
}

/// The power of two behind the largest number of R.
template <RealScalar R>
Quad beyond() {
  return Quad(std::numeric_limits<R>::max()) * (1 + Quad(std::numeric_limits<R>::epsilon()) / 2);
}

/// What an error is counted in: eps times the exact value, but where that is subnormal the distance of neighbours.
template <RealScalar R>
Quad unit_of(Quad exact_magnitude) {
  const Quad unit = exact_magnitude * Quad(std::numeric_limits<R>::epsilon());
  const Quad least = std::numeric_limits<R>::denorm_min();
  return unit < least ? least : unit;
}

/// Infinity stands for all that lies behind the largest number.
template <RealScalar R>
double error_of(R computed, Quad exact) {
  if (std::isnan(computed)) return std::numeric_limits<double>::infinity();
  const Quad limit = beyond<R>();
  const auto clamped = [&](Quad x) { return x > limit ? limit : x < -limit ? -limit : x; };
  const Quad value = std::isinf(computed) ? (computed > 0 ? limit : -limit) : Quad(computed);
  return double(magnitude(value - clamped(exact)) / unit_of<R>(magnitude(clamped(exact))));
}

/// By magnitudes, not part by part.
template <RealScalar R>
double error_of(std::complex<R> computed, QuadComplex exact) {
  if (std::isnan(computed.real()) || std::isnan(computed.imag())) return std::numeric_limits<double>::infinity();
  return double(magnitude(QuadComplex(computed) - exact) / unit_of<R>(magnitude(exact)));
}

/// The largest of many errors and what gave it.
class Worst {
 public:
  template <class... Inputs>
  void note(double error, const Inputs&... inputs) {
    if (error <= error_) return;
    error_ = error;
    std::ostringstream text;
    text << std::hexfloat;
    ((text << inputs << "  "), ...);
    where_ = text.str();
  }

  testing::AssertionResult is_within(double bound) const {
    return testing::AssertionResult(error_ <= bound)
           << "error " << error_ << ", allowed " << bound << ", of " << where_;
  }

  double error() const { return error_; }

 private:
  double error_ = 0;
  std::string where_;
};

/// A number of either sign with its exponent uniform in from ... to.
template <RealScalar R>
R of_size(Random& random, int from, int to) {
  const R mantissa = random.divisor<R>();
  return std::ldexp(mantissa, random.integer(from, to));
}

template <RealScalar R>
inline constexpr int least_exponent = std::numeric_limits<R>::min_exponent - std::numeric_limits<R>::digits;

template <RealScalar R>
inline constexpr int largest_exponent = std::numeric_limits<R>::max_exponent - 2;

/// A number of any size, subnormal ones among them.
template <RealScalar R>
R of_any_size(Random& random) {
  return of_size<R>(random, least_exponent<R>, largest_exponent<R>);
}

/// Numbers for pairs and triples of them: apart by any factor, near in size, equal, zero, or near the limits.
template <RealScalar R>
class NumberSource {
 public:
  NumberSource(Random& random, int from, int to) : random_(random), from_(from), to_(to) { next_group(); }

  /// Starts a group whose members may be related.
  void next_group() {
    base_ = of_size<R>(random_, from_, to_);
    near_ = random_.integer(0, 1) == 0;
  }

  R next() {
    const Int kind = random_.integer(0, 15);
    if (kind == 0) return 0;
    if (kind == 1) return base_;
    if (kind == 2) return -base_;
    if (!near_) return of_size<R>(random_, from_, to_);
    const int exponent = std::ilogb(base_) + random_.integer(-3, 3);
    return of_size<R>(random_, std::max(from_, std::min(exponent, to_)), std::max(from_, std::min(exponent, to_)));
  }

 private:
  Random& random_;
  int from_, to_;
  R base_ = 0;
  bool near_ = false;
};

/// How many random cases a test takes.
inline const int cases = is_sanitized ? 10000 : 40000;

}  // namespace nuv::test
