#include "environment/machine_measured.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "environment/service_math.hpp"

namespace nuv {
namespace {

/// What a measurement found, kept from the first call on that is sure of it. Threads that come at once measure each for
/// itself, and one of them stores.
template <class Results>
class Kept {
 public:
  template <class Measure>
  Results get(Measure measure) {
    if (__atomic_load_n(&first_, __ATOMIC_ACQUIRE) == no) return results_;
    const Results measured = measure();
    int expected = yes;
    if (!measured.is_guess &&
        __atomic_compare_exchange_n(&first_, &expected, being_stored, false, __ATOMIC_RELAXED, __ATOMIC_RELAXED)) {
      results_ = measured;
      __atomic_store_n(&first_, no, __ATOMIC_RELEASE);
    }
    return measured;
  }

 private:
  static constexpr int no = 0, yes = 1, being_stored = 2;

  int first_ = yes;
  Results results_ = {};
};

struct Rounding {
  Int beta, t;
  bool rnd, ieee1;
  static constexpr bool is_guess = false;
};

template <RealScalar R>
struct Range {
  Int beta, t;
  bool rnd;
  R eps;
  Int emin;
  R rmin;
  Int emax;
  R rmax;
  bool is_guess;  ///< emin fits no manner of underflow that is known
};

template <RealScalar R>
constinit Kept<Rounding> kept_rounding;
template <RealScalar R>
constinit Kept<Range<R>> kept_range;

template <RealScalar R>
bool is_one(R x) {
  return x == R(1);
}

/// Smallest power of the factor to which 1 can no longer be added exactly; counts the powers below it.
template <RealScalar R>
R where_one_is_lost(R factor, Int& powers) {
  R a = 1;
  powers = 0;
  do {
    a *= factor;
    ++powers;
  } while (is_one(lamc3(lamc3(a, R(1)), R(0) - a)));
  return a;
}

template <RealScalar R>
Rounding measure_rounding() {
  Rounding found{};
  Int powers;
  const R a = where_one_is_lost(R(2), powers);

  // The numbers around a are beta apart: the first sum that differs from a is the next number.
  R b = 1;
  R next = lamc3(a, b);
  while (next == a) {
    b *= 2;
    next = lamc3(a, b);
  }
  found.beta = static_cast<Int>(lamc3(next, R(0) - a) + R(0.25));

  // A little less than half the distance goes down under rounding, a little more goes up.
  const R beta = static_cast<R>(found.beta);
  const R below_half = lamc3(beta / 2, R(0) - beta / 100), above_half = lamc3(beta / 2, beta / 100);
  found.rnd = lamc3(below_half, a) == a && lamc3(above_half, a) != a;

  // Half the distance goes down from the even a and up from the odd next.
  found.ieee1 = lamc3(beta / 2, a) == a && lamc3(beta / 2, next) > next && found.rnd;

  where_one_is_lost(beta, found.t);
  return found;
}

/// Smallest number that can be taken from 1, at most the last digit's unit below 1.
template <RealScalar R>
R measure_eps(R last_digit) {
  // In base 2, 4, 8, ... or 10 thirds and sixths are inexact, and their differences show the rounding error.
  const R half = R(1) / 2;
  const R sixth = lamc3(R(2) / 3, R(0) - half);
  const R third = lamc3(sixth, sixth);
  const R error = lamc3(lamc3(third, R(0) - half), sixth);
  R candidate = std::max(std::abs(error), last_digit);

  R eps = 1;
  while (eps > candidate && candidate > 0) {
    eps = candidate;
    R c = lamc3(half * eps, power(R(2), 5) * power(eps, 2));
    c = lamc3(half, R(0) - c);
    candidate = lamc3(half, c);
    c = lamc3(half, R(0) - candidate);
    candidate = lamc3(half, c);
  }
  return std::min(eps, last_digit);
}

struct Underflow {
  Int emin;
  bool is_gradual, is_guess;
};

/// Judges the exponents at which numbers with one digit (1 and -1) and with more digits (a little above them)
/// underflow. They are farther apart the more digits gradual underflow takes away; a negative number may reach one
/// exponent farther where numbers are kept as complements.
Underflow judge_underflow(Int plus_one, Int minus_one, Int plus_more, Int minus_more, Int t) {
  if (plus_one == minus_one && plus_more == minus_more) {
    if (plus_one == plus_more) return {plus_one, false, false};
    if (plus_more - plus_one == 3) return {plus_one - 1 + t, true, false};
    return {std::min(plus_one, plus_more), false, true};
  }
  if (std::abs(plus_one - minus_one) == 1) {
    if (plus_one == plus_more && minus_one == minus_more) return {std::max(plus_one, minus_one), false, false};
    if (plus_more == minus_more && plus_more - std::min(plus_one, minus_one) == 3) {
      return {std::max(plus_one, minus_one) - 1 + t, false, false};
    }
  }
  return {std::min({plus_one, minus_one, plus_more, minus_more}), false, true};
}

template <RealScalar R>
Int underflow_from(R start, Int beta) {
  Int emin;
  lamc4(emin, start, beta);
  return emin;
}

template <RealScalar R>
Range<R> measure_range() {
  Range<R> found{};
  Logical rnd, ieee1;
  lamc1<R>(found.beta, found.t, rnd, ieee1);
  found.rnd = is_true(rnd);
  const R beta = static_cast<R>(found.beta);
  found.eps = measure_eps(power(beta, -found.t));

  const R more = lamc3(R(1), power(R(1) / beta, 3));
  const auto [emin, is_gradual, is_guess] =
      judge_underflow(underflow_from(R(1), found.beta), underflow_from(R(-1), found.beta),
                      underflow_from(more, found.beta), underflow_from(R(0) - more, found.beta), found.t);
  found.emin = emin;
  found.is_guess = is_guess;
  found.rmin = 1;
  for (Int i = 1; i <= 1 - emin; ++i) found.rmin = lamc3(found.rmin * (R(1) / beta), R(0));
  lamc5(found.beta, found.t, emin, to_logical(is_gradual || is_true(ieee1)), found.emax, found.rmax);
  return found;
}

}  // namespace

template <RealScalar R>
void lamc1(Int& beta, Int& t, Logical& rnd, Logical& ieee1) {
  const Rounding rounding = kept_rounding<R>.get(measure_rounding<R>);
  beta = rounding.beta;
  t = rounding.t;
  rnd = to_logical(rounding.rnd);
  ieee1 = to_logical(rounding.ieee1);
}

template <RealScalar R>
void lamc2(Int& beta, Int& t, Logical& rnd, R& eps, Int& emin, R& rmin, Int& emax, R& rmax) {
  const Range<R> range = kept_range<R>.get(measure_range<R>);
  beta = range.beta;
  t = range.t;
  rnd = to_logical(range.rnd);
  eps = range.eps;
  emin = range.emin;
  rmin = range.rmin;
  emax = range.emax;
  rmax = range.rmax;
}

template <RealScalar R>
R lamc3(R a, R b) {
  volatile R sum = a + b;
  return sum;
}

template <RealScalar R>
void lamc4(Int& emin, R start, Int base) {
  const R beta = static_cast<R>(base), inverse = R(1) / beta;
  const auto sum_of = [base](R x) {
    R sum = 0;
    for (Int i = 1; i <= base; ++i) sum = lamc3(sum, x);
    return sum;
  };
  // Both ways down, dividing by the base and multiplying with its inverse, must lead back by multiplication and by
  // sums.
  R a = start;
  R smaller = lamc3(a * inverse, R(0));
  emin = 1;
  bool recovered = true;
  while (recovered) {
    --emin;
    a = smaller;
    smaller = lamc3(a / beta, R(0));
    const R other = lamc3(a * inverse, R(0));
    recovered = lamc3(smaller * beta, R(0)) == a && sum_of(smaller) == a && lamc3(other / inverse, R(0)) == a &&
                sum_of(other) == a;
  }
}

template <RealScalar R>
void lamc5(Int beta, Int p, Int emin, Logical ieee, Int& emax, R& rmax) {
  // Powers of two on both sides of -emin; the range of exponents is taken to be the nearer one, doubled.
  Int below = 1, exponent_bits = 1;
  while (2 * below <= -emin) {
    below *= 2;
    ++exponent_bits;
  }
  Int above = below;
  if (below != -emin) {
    above = 2 * below;
    ++exponent_bits;
  }
  const Int range = above + emin > -below - emin ? 2 * below : 2 * above;
  emax = range + emin - 1;

  // An odd number of bits in base two means that one is not stored, and that an exponent is kept for zero. IEEE keeps
  // one more for infinities.
  const Int bits = 1 + exponent_bits + p;
  if (bits % 2 == 1 && beta == 2) --emax;
  if (is_true(ieee)) --emax;

  // 1 - beta^-p, then as far up as it goes.
  const R base = static_cast<R>(beta), inverse = R(1) / base;
  R digit = base - R(1), sum = 0, last_below_one = 0;
  for (Int i = 1; i <= p; ++i) {
    digit *= inverse;
    if (sum < R(1)) last_below_one = sum;
    sum = lamc3(sum, digit);
  }
  if (sum >= R(1)) sum = last_below_one;
  for (Int i = 1; i <= emax; ++i) sum = lamc3(sum * base, R(0));
  rmax = sum;
}

}  // namespace nuv

#include "environment/machine_measured.entries.inc"
