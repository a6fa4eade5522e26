#pragma once

// The shifts of a sweep, once there are candidates: which of them, and in what order.

#include <algorithm>

#include "environment/service_math.hpp"
#include "environment/two_by_two.hpp"
#include "nonsymmetric/hessenberg_problem.hpp"

namespace nuv {

/// Sorts shifts ks ... kbot by falling magnitude, so that the last are the small ones. The two of a conjugate pair have
/// one magnitude, and stay together.
template <Scalar T>
void sort_shifts(const EigenvalueArray<T>& w, Int ks, Int kbot) {
  bool sorted = false;
  for (Int end = kbot; end > ks && !sorted; --end) {
    sorted = true;
    for (Int i = ks; i < end; ++i) {
      if (w.size(i) < w.size(i + 1)) {
        sorted = false;
        w.exchange(i, i + 1);
      }
    }
  }
}

/// Makes pairs of shifts ks ... kbot, from the last on: each is a conjugate pair, or two real shifts.
template <RealScalar R>
void pair_shifts(const EigenvalueArray<R>& w, Int ks, Int kbot) {
  for (Int i = kbot; i >= ks + 2; i -= 2) {
    if (w.imaginary[i - 1] != negated(w.imaginary[i - 2])) {
      w.exchange(i, i - 1);
      w.exchange(i - 1, i - 2);
    }
  }
}

/// Of the two real shifts k - 1 and k takes that which is nearer to a diagonal element, twice.
template <Scalar T>
void take_nearer_shift(const EigenvalueArray<T>& w, Int k, T diagonal) {
  const auto distance = [&](Int i) {
    if constexpr (RealScalar<T>) {
      return std::abs(w.real[i - 1] - diagonal);
    } else {
      return abs1(w.values[i - 1] - diagonal);
    }
  };
  if (distance(k) < distance(k - 1)) {
    w.copy(k, k - 1);
  } else {
    w.copy(k - 1, k);
  }
}

/// Shifts that have nothing to do with the trailing block, for an active block ktop ... kbot that did not deflate for
/// long: ks ... kbot.
template <Scalar T>
void exceptional_shifts(Matrix<T> H, const EigenvalueArray<T>& w, Int ktop, Int ks, Int kbot) {
  using R = Real<T>;
  if constexpr (ComplexScalar<T>) {
    for (Int i = kbot; i >= ks + 1; i -= 2) {
      w.set(i, H(i, i) + exceptional_diagonal<R> * abs1(H(i, i - 1)));
      w.copy(i, i - 1);
    }
  } else {
    for (Int i = kbot; i >= std::max(ks + 1, ktop + 2); i -= 2) {
      const R ss = std::abs(H(i, i - 1)) + std::abs(H(i - 1, i - 2));
      R a = exceptional_diagonal<R> * ss + H(i, i), b = ss, c = exceptional_corner<R> * ss, d = a, cs, sn;
      lanv2(a, b, c, d, w.real[i - 2], w.imaginary[i - 2], w.real[i - 1], w.imaginary[i - 1], cs, sn);
    }
    if (ks == ktop) {
      w.set(ks + 1, H(ks + 1, ks + 1));
      w.copy(ks + 1, ks);
    }
  }
}

/// Shifts k - 1 and k: the eigenvalues of rows and columns k - 1 and k.
template <Scalar T>
void shifts_of_last_pair(Matrix<T> H, const EigenvalueArray<T>& w, Int k) {
  using R = Real<T>;
  T a = H(k - 1, k - 1), b = H(k - 1, k), c = H(k, k - 1), d = H(k, k);
  if constexpr (RealScalar<T>) {
    R cs, sn;
    lanv2(a, b, c, d, w.real[k - 2], w.imaginary[k - 2], w.real[k - 1], w.imaginary[k - 1], cs, sn);
  } else {
    const R s = abs1(a) + abs1(b) + abs1(c) + abs1(d);
    if (s == 0) {
      w.set(k - 1, T(0));
      w.set(k, T(0));
      return;
    }
    a /= s;
    b /= s;
    c /= s;
    d /= s;
    const T half_trace = (a + d) / R(2);
    const T determinant = (a - half_trace) * (d - half_trace) - b * c;
    const T root = principal_root(negated(determinant));
    w.set(k - 1, (half_trace + root) * s);
    w.set(k, (half_trace - root) * s);
  }
}

}  // namespace nuv
