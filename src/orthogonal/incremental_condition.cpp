#include "orthogonal/incremental_condition.hpp"

#include <algorithm>
#include <cmath>

#include "environment/hermitian.hpp"
#include "environment/machine_constants.hpp"
#include "environment/magnitudes.hpp"

namespace nuv {
namespace {

/// The length of (s x, c)^H R+ for a vector of length one, and its factors.
template <Scalar T>
struct Estimate {
  Real<T> length;
  T s, c;
};

/// What there is to be made large or small, with alpha = x^H w:
///
///     |s|^2 sest^2 + |conj(alpha) s + conj(gamma) c|^2
///
/// That is a Hermitian matrix of order two, a diagonal one changed by one of rank one, whose eigenvalues and vectors
/// are given by a quadratic equation.
template <Scalar T>
struct Growth {
  using R = Real<T>;

  R sest;
  T alpha, gamma;
  R alpha_size = magnitude(alpha), gamma_size = magnitude(gamma);

  bool new_row_is_zero() const { return alpha_size == 0 && gamma_size == 0; }
  bool gamma_is_negligible() const { return gamma_size <= Machine<R>::eps * sest; }
  bool alpha_is_negligible() const { return alpha_size <= Machine<R>::eps * sest; }
  bool estimate_is_negligible() const {
    return sest <= Machine<R>::eps * alpha_size || sest <= Machine<R>::eps * gamma_size;
  }

  /// Both in units of sest.
  R zeta1() const { return alpha_size / sest; }
  R zeta2() const { return gamma_size / sest; }
};

template <RealScalar R>
R square(R x) {
  return x * x;
}
template <RealScalar R>
R square(std::complex<R> z) {
  return z.real() * z.real() + z.imag() * z.imag();
}

/// The factor of length one of x = |x| times it.
template <RealScalar R>
R direction(R x, R) {
  return std::copysign(R(1), x);
}
template <RealScalar R>
std::complex<R> direction(std::complex<R> x, R size) {
  return x / size;
}

/// (s, c) brought to length one; its length is returned, or that of a part of it where squares overflow, as they may in
/// single precision.
template <Scalar T>
Real<T> normalise(T& s, T& c) {
  using R = Real<T>;
  R length = std::sqrt(square(s) + square(c));
  if (length > Machine<R>::overflow) {
    s *= Machine<R>::safmn2;
    c *= Machine<R>::safmn2;
    length = std::sqrt(square(s) + square(c));
  }
  s /= length;
  c /= length;
  return length;
}

/// The new row (alpha, gamma) alone, whose length is |larger| sqrt(1 + ratio^2).
template <Scalar T>
struct NewRow {
  using R = Real<T>;

  explicit NewRow(const Growth<T>& g) : alpha_is_larger(g.gamma_size <= g.alpha_size) {
    larger = alpha_is_larger ? g.alpha_size : g.gamma_size;
    ratio = (alpha_is_larger ? g.gamma_size : g.alpha_size) / larger;
    length = std::sqrt(1 + ratio * ratio);
    alpha = (alpha_is_larger ? direction(g.alpha, larger) : g.alpha / larger) / length;
    gamma = (alpha_is_larger ? g.gamma / larger : direction(g.gamma, larger)) / length;
  }

  bool alpha_is_larger;
  R larger, ratio;
  R length;        ///< in units of the larger element
  T alpha, gamma;  ///< the row brought to length one
};

// --------------------------------------------------------------------------------------------------------- the largest

template <Scalar T>
Estimate<T> largest_from_nothing(const Growth<T>& g) {
  if (g.new_row_is_zero()) return {0, T(0), T(1)};
  const Real<T> scale = std::max(g.gamma_size, g.alpha_size);
  T s = g.alpha / scale, c = g.gamma / scale;
  const Real<T> length = normalise(s, c);
  return {scale * length, s, c};
}

template <Scalar T>
Estimate<T> largest_of_equals(const Growth<T>& g) {
  using R = Real<T>;
  const R zeta1 = g.zeta1(), zeta2 = g.zeta2();
  // The eigenvalue is 1 + t.
  const R b = (1 - zeta1 * zeta1 - zeta2 * zeta2) / 2, c = zeta1 * zeta1, root = std::sqrt(b * b + c);
  const R t = b > 0 ? c / (b + root) : root - b;
  T sine = negated(g.alpha / g.sest) / t, cosine = negated(g.gamma / g.sest) / (1 + t);
  normalise(sine, cosine);
  return {std::sqrt(t + 1) * g.sest, sine, cosine};
}

template <Scalar T>
Estimate<T> largest(const Growth<T>& g) {
  using R = Real<T>;
  if (g.sest == 0) return largest_from_nothing(g);
  if (g.gamma_is_negligible()) {
    const R scale = std::max(g.sest, g.alpha_size);
    return {scale * std::sqrt(square(g.sest / scale) + square(g.alpha_size / scale)), T(1), T(0)};
  }
  if (g.alpha_is_negligible()) {
    if (g.gamma_size <= g.sest) return {g.sest, T(1), T(0)};
    return {g.gamma_size, T(0), T(1)};
  }
  if (g.estimate_is_negligible()) {
    const NewRow<T> row(g);
    return {row.larger * row.length, row.alpha, row.gamma};
  }
  return largest_of_equals(g);
}

// -------------------------------------------------------------------------------------------------------- the smallest

template <Scalar T>
Estimate<T> smallest_from_nothing(const Growth<T>& g) {
  using R = Real<T>;
  if (g.new_row_is_zero()) return {0, T(1), T(0)};
  T s = negated(conjugate(g.gamma)), c = conjugate(g.alpha);
  const R scale = std::max(magnitude(s), magnitude(c));
  s /= scale;
  c /= scale;
  normalise(s, c);
  return {0, s, c};
}

/// sest counts in the direction in which the new row is zero.
template <Scalar T>
Estimate<T> smallest_by_new_row(const Growth<T>& g) {
  const NewRow<T> row(g);
  const Real<T> length = row.alpha_is_larger ? g.sest * (row.ratio / row.length) : g.sest / row.length;
  return {length, negated(conjugate(row.gamma)), conjugate(row.alpha)};
}

template <Scalar T>
Estimate<T> smallest_of_equals(const Growth<T>& g) {
  using R = Real<T>;
  const R zeta1 = g.zeta1(), zeta2 = g.zeta2(), eps = Machine<R>::eps;
  const R norm = std::max(1 + zeta1 * zeta1 + zeta1 * zeta2, zeta1 * zeta2 + zeta2 * zeta2);
  const R roundings = 4 * eps * eps * norm;
  const bool is_nearer_to_zero = 1 + 2 * (zeta1 - zeta2) * (zeta1 + zeta2) >= 0;
  T sine, cosine;
  R eigenvalue;
  if (is_nearer_to_zero) {
    const R b = (zeta1 * zeta1 + zeta2 * zeta2 + 1) / 2, c = zeta2 * zeta2;
    const R t = c / (b + std::sqrt(std::abs(b * b - c)));
    sine = (g.alpha / g.sest) / (1 - t);
    cosine = negated(g.gamma / g.sest) / t;
    eigenvalue = t;
  } else {
    // Its distance from one is found.
    const R b = (zeta2 * zeta2 + zeta1 * zeta1 - 1) / 2, c = zeta1 * zeta1, root = std::sqrt(b * b + c);
    const R t = b >= 0 ? negated(c) / (b + root) : b - root;
    sine = negated(g.alpha / g.sest) / t;
    cosine = negated(g.gamma / g.sest) / (1 + t);
    eigenvalue = 1 + t;
  }
  normalise(sine, cosine);
  return {std::sqrt(eigenvalue + roundings) * g.sest, sine, cosine};
}

template <Scalar T>
Estimate<T> smallest(const Growth<T>& g) {
  if (g.sest == 0) return smallest_from_nothing(g);
  if (g.gamma_is_negligible()) return {g.gamma_size, T(0), T(1)};
  if (g.alpha_is_negligible()) {
    if (g.gamma_size <= g.sest) return {g.gamma_size, T(0), T(1)};
    return {g.sest, T(1), T(0)};
  }
  if (g.estimate_is_negligible()) return smallest_by_new_row(g);
  return smallest_of_equals(g);
}

}  // namespace

template <Scalar T>
void laic1(Int job, Int j, const T* x, Real<T> sest, const T* w, T gamma, Real<T>& sestpr, T& s, T& c) {
  if (job != 1 && job != 2) return;
  const Growth<T> growth{std::abs(sest), inner_product<T>(true, j, {x, 1}, {w, 1}), gamma};
  const Estimate<T> estimate = job == 1 ? largest(growth) : smallest(growth);
  sestpr = estimate.length;
  s = estimate.s;
  c = estimate.c;
}

}  // namespace nuv

#include "orthogonal/incremental_condition.entries.inc"
