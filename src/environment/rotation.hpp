#pragma once

// Generation of plane rotations.

#include <algorithm>
#include <cmath>
#include <complex>

#include "environment/extremes.hpp"
#include "environment/machine_constants.hpp"
#include "environment/sums_of_squares.hpp"

namespace nuv {

namespace detail {

/// Scales two numbers, of which `scale` is the largest magnitude of a part, to where their squares are in range. The
/// number of steps, positive if that was downwards. An infinity is never done with: rotations are not for them.
template <Scalar T>
int scale_for_squares(T& f, T& g, Real<T> scale) {
  using Constants = Machine<Real<T>>;
  int steps = 0;
  for (; scale >= Constants::safmx2; scale *= Constants::safmn2, ++steps) {
    f *= Constants::safmn2;
    g *= Constants::safmn2;
  }
  for (; scale <= Constants::safmn2; scale *= Constants::safmx2, --steps) {
    f *= Constants::safmx2;
    g *= Constants::safmx2;
  }
  return steps;
}

template <Scalar T>
T undo_scaling(T r, int steps) {
  for (; steps > 0; --steps) r *= Machine<Real<T>>::safmx2;
  for (; steps < 0; ++steps) r *= Machine<Real<T>>::safmn2;
  return r;
}

/// The larger magnitude of the two parts, or NaN.
template <RealScalar R>
R largest_part(std::complex<R> x) {
  return larger_or_nan(std::abs(x.real()), std::abs(x.imag()));
}

template <RealScalar R>
R sum_of_squares(std::complex<R> x) {
  return x.real() * x.real() + x.imag() * x.imag();
}

/// x / |x|, also for an x whose parts are tiny.
template <RealScalar R>
std::complex<R> direction(std::complex<R> x) {
  if (!(largest_part(x) > 1)) x *= Machine<R>::safmx2;
  return x / lapy2(x.real(), x.imag());
}

/// conj(x) / d
template <RealScalar R>
std::complex<R> conjugate_over(std::complex<R> x, R d) {
  return {x.real() / d, negated(x.imag() / d)};
}

}  // namespace detail

/// Finds the rotation with
///
///     [  cs  sn ] [ f ]   [ r ]
///     [ -sn  cs ] [ g ] = [ 0 ],   cs^2 + sn^2 = 1.
///
/// g = 0 gives cs = 1, and otherwise f = 0 gives cs = 0 and sn = 1. If |f| > |g|, cs is positive; else it has the sign
/// of f. Neither f nor g is infinite.
template <RealScalar R>
void lartg(R f, R g, R& cs, R& sn, R& r) {
  if (g == 0) {
    cs = 1;
    sn = 0;
    r = f;
    return;
  }
  if (f == 0) {
    cs = 0;
    sn = 1;
    r = g;
    return;
  }
  const R abs_f = std::abs(f), abs_g = std::abs(g);
  R fs = f, gs = g;
  const int steps = detail::scale_for_squares(fs, gs, larger_or_nan(abs_f, abs_g));
  const R rs = std::sqrt(fs * fs + gs * gs);
  cs = fs / rs;
  sn = gs / rs;
  r = detail::undo_scaling(rs, steps);
  if (abs_f > abs_g && cs < 0) {
    cs = negated(cs);
    sn = negated(sn);
    r = negated(r);
  }
}

/// The same rotation, or its opposite where r would be negative.
template <RealScalar R>
void lartgp(R f, R g, R& cs, R& sn, R& r) {
  lartg(f, g, cs, sn, r);
  if (r < 0) {
    cs = negated(cs);
    sn = negated(sn);
    r = negated(r);
  }
}

/// The complex rotation, with cs real:
///
///     [     cs    sn ] [ f ]   [ r ]
///     [ -conj(sn) cs ] [ g ] = [ 0 ],   cs^2 + |sn|^2 = 1.
///
/// g = 0 gives cs = 1 and sn = 0. f = 0 gives cs = 0 and a real positive r; else r has the direction of f. No part of
/// them is infinite.
template <ComplexScalar T>
void lartg(T f, T g, Real<T>& cs, T& sn, T& r) {
  using R = Real<T>;
  using Constants = Machine<R>;
  const R scale = larger_or_nan(detail::largest_part(f), detail::largest_part(g));
  if (scale <= Constants::safmn2 && g == T(0)) {
    cs = 1;
    sn = 0;
    r = f;
    return;
  }
  T fs = f, gs = g;
  const int steps = detail::scale_for_squares(fs, gs, scale);
  const R f2 = detail::sum_of_squares(fs), g2 = detail::sum_of_squares(gs);

  if (f2 <= std::max(g2, R(1)) * Constants::safe_min) {  // f is nothing beside g
    if (f == T(0)) {
      cs = 0;
      r = lapy2(g.real(), g.imag());
      sn = detail::conjugate_over(gs, lapy2(gs.real(), gs.imag()));
      return;
    }
    const R g2s = std::sqrt(g2);
    cs = lapy2(fs.real(), fs.imag()) / g2s;
    sn = detail::direction(f) * detail::conjugate_over(gs, g2s);
    r = cs * f + sn * g;
    return;
  }

  const R f2s = std::sqrt(1 + g2 / f2);
  const T rs = f2s * fs;
  cs = 1 / f2s;
  sn = rs / (f2 + g2) * conjugate(gs);
  r = detail::undo_scaling(rs, steps);
}

}  // namespace nuv
