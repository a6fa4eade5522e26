#pragma once

// The sums over poles of which a secular function is made, as many terms at a time as a register holds.

#include <cmath>

#include "environment/packs.hpp"
#include "symmetric/secular_poles.hpp"

namespace nuv {

/// The poles on one side of a point: the sum of their terms z(j)^2 / delta(j), its derivative, and the sum of the
/// magnitudes of all partial sums, by which rounding errors are bounded.
template <RealScalar R>
struct SideSum {
  R value = 0, slope = 0, error = 0;
};

namespace detail {

/// The same of the terms in one lane, or of terms that stand alone: V is a number or a pack of them.
template <class V>
struct PartialSums {
  V value{}, slope{}, error{};

  void add(V z, V delta) {
    const V quotient = z / delta;
    value += z * quotient;
    slope += quotient * quotient;
    error += value;
  }
};

}  // namespace detail

/// Where the poles lie to be added: before the point, the last one next to it, or behind it, the first one next to it.
enum class Side { before, behind };

/// Sums up `count` poles and stores their distances delta(j) = (d(j) - origin) - tau from the point origin + tau, or
/// what Poles take for that. The terms on one side have one sign; they are added from the far end, so that the small
/// ones come first.
template <Side side, class Poles = PlainPoles, RealScalar R>
SideSum<R> sum_of_side(std::ptrdiff_t count, const R* d, const R* z, R origin, R tau, R* delta) {
  using detail::Pack;
  constexpr std::ptrdiff_t width = detail::pack_width<R>;
  const std::ptrdiff_t single = count % width;
  const auto place = [=](std::ptrdiff_t i, std::ptrdiff_t length) {
    return side == Side::before ? i : count - length - i;
  };

  detail::PartialSums<R> alone;
  for (std::ptrdiff_t i = 0; i < single; ++i) {
    const std::ptrdiff_t j = place(i, 1);
    delta[j] = Poles::gap(d[j], origin) - tau;
    alone.add(z[j], delta[j]);
  }
  detail::PartialSums<Pack<R>> packed;
  const Pack<R> origins = origin - Pack<R>{}, taus = tau - Pack<R>{};
  for (std::ptrdiff_t i = single; i < count; i += width) {
    const std::ptrdiff_t j = place(i, width);
    const Pack<R> distances = Poles::gap(detail::load(d + j), origins) - taus;
    detail::store(delta + j, distances);
    packed.add(detail::load(z + j), distances);
  }
  for (int lane = 0; lane < width; ++lane) {
    alone.value += packed.value[lane];
    alone.slope += packed.slope[lane];
    alone.error += packed.error[lane];
  }
  return {alone.value, alone.slope, std::abs(alone.error)};
}

}  // namespace nuv
