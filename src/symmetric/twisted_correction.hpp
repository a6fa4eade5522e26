#pragma once

// Eigenvectors at eigenvalues that lie between two machine numbers.
//
// The vector z of a twisted factorisation at lambda is off by |lambda - w| / gap, with w its eigenvalue and gap the
// distance to the next one: where gaps are a thousandth of the eigenvalues, hundreds of units in the last place even
// for the machine number next to w. The Rayleigh quotient correction knows w better than that, and z is a smooth
// function of lambda: from (L D L^T - lambda I) z = gamma e(r) with z(r) = 1 and d gamma / d lambda = -|z|^2
//
//     (L D L^T - lambda I) dz / d lambda = z - |z|^2 e(r),
//
// which the factors at hand solve.

#include <cmath>

#include "base/types.hpp"

namespace nuv {

/// The workspace of lar1v as it leaves it: the elements of L+ and U-, and what the two transforms carry on.
template <RealScalar R>
struct TwistedWork {
  R *l_plus, *u_minus;
  R *s, *p;

  TwistedWork(Int n, R* work) : l_plus(work), u_minus(work + n), s(u_minus + n), p(s + n) {}
};

/// A vector that lar1v has just found, rows counted from zero.
template <RealScalar R>
struct FoundVector {
  Int top, twist, bottom;
  R lambda;
  R ztz;
};

/// Adds (dz / d lambda) change to z, if that is no more than `most` times as long as z is; gives |z|^2.
template <Scalar T>
Real<T> move_vector(const FoundVector<Real<T>>& v, const Real<T>* d, const Real<T>* lld, Real<T> change, Real<T> most,
                    const TwistedWork<Real<T>>& work, T* z) {
  using R = Real<T>;
  R* const from_top = work.s;
  R* const from_bottom = work.p;
  R squares = 0, product = 0;
  const auto count = [&](Int i, R x) {
    squares += x * x;
    product += x * std::real(z[i]);
  };

  // Above the twist L+ D+ L+^T x = z, below it U- D- U-^T x = z, with nothing in the row of the twist.
  R y = 0;
  for (Int i = v.top; i < v.twist; ++i) {
    y = std::real(z[i]) - (i > v.top ? work.l_plus[i - 1] * y : R(0));
    from_top[i] = y / (d[i] + (from_top[i] - v.lambda)) * change;
  }
  R x = 0;
  for (Int i = v.twist - 1; i >= v.top; --i) {
    x = from_top[i] - work.l_plus[i] * x;
    from_top[i] = x;
    count(i, x);
  }
  y = 0;
  for (Int i = v.bottom; i > v.twist; --i) {
    y = std::real(z[i]) - (i < v.bottom ? work.u_minus[i] * y : R(0));
    from_bottom[i] = y / (lld[i - 1] + from_bottom[i]) * change;
  }
  x = 0;
  for (Int i = v.twist + 1; i <= v.bottom; ++i) {
    x = from_bottom[i] - work.u_minus[i - 1] * x;
    from_bottom[i] = x;
    count(i, x);
  }

  if (!(squares <= most * most * v.ztz)) return v.ztz;
  for (Int i = v.top; i < v.twist; ++i) z[i] += from_top[i];
  for (Int i = v.twist + 1; i <= v.bottom; ++i) z[i] += from_bottom[i];
  return v.ztz + 2 * product + squares;
}

}  // namespace nuv
