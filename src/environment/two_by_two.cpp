#include "environment/two_by_two.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "environment/extremes.hpp"
#include "environment/machine_constants.hpp"
#include "environment/service_math.hpp"
#include "environment/sums_of_squares.hpp"

namespace nuv {
namespace {

template <RealScalar R>
constexpr R square(R x) {
  return x * x;
}

/// The eigenvalues of [a b; b c], and what finding their vectors can use.
template <RealScalar R>
struct SymmetricEigenvalues {
  R rt1, rt2;
  R difference;  ///< a - c
  R twice_b;
  R distance;  ///< rt1 and rt2 lie this far apart
  int sign;    ///< of rt1

  SymmetricEigenvalues(R a, R b, R c) : difference(a - c), twice_b(b + b) {
    const R sum = a + c;
    const R adf = std::abs(difference), ab = std::abs(twice_b);
    const bool a_leads = std::abs(a) > std::abs(c);
    const R larger = a_leads ? a : c, smaller = a_leads ? c : a;
    if (adf > ab) {
      distance = adf * std::sqrt(1 + square(ab / adf));
    } else if (adf < ab) {
      distance = ab * std::sqrt(1 + square(adf / ab));
    } else if (std::isnan(a) || std::isnan(c)) {  // no comparison holds: b must not hide it
      distance = adf;
    } else {
      distance = ab * static_cast<R>(1.4142135623730951);
    }
    // The sum of rt1 is free of cancellation; rt2 comes from the determinant, divided so that it does not overflow.
    const auto other = [&] { return (larger / rt1) * smaller - (b / rt1) * b; };
    if (sum < 0) {
      rt1 = (sum - distance) / 2;
      sign = -1;
      rt2 = other();
    } else if (sum > 0) {
      rt1 = (sum + distance) / 2;
      sign = 1;
      rt2 = other();
    } else {
      rt1 = distance / 2;
      rt2 = negated(rt1);
      sign = 1;
    }
  }
};

}  // namespace

template <RealScalar R>
void lae2(R a, R b, R c, R& rt1, R& rt2) {
  const SymmetricEigenvalues<R> eigenvalues(a, b, c);
  rt1 = eigenvalues.rt1;
  rt2 = eigenvalues.rt2;
}

template <RealScalar R>
void laev2(R a, R b, R c, R& rt1, R& rt2, R& cs1, R& sn1) {
  const SymmetricEigenvalues<R> eigenvalues(a, b, c);
  rt1 = eigenvalues.rt1;
  rt2 = eigenvalues.rt2;

  const R tb = eigenvalues.twice_b, ab = std::abs(tb);
  const bool a_is_above = eigenvalues.difference >= 0;
  const R cs =
      a_is_above ? eigenvalues.difference + eigenvalues.distance : eigenvalues.difference - eigenvalues.distance;
  if (std::abs(cs) > ab) {
    const R ct = negated(tb / cs);
    sn1 = 1 / std::sqrt(1 + square(ct));
    cs1 = ct * sn1;
  } else if (ab == 0) {
    cs1 = 1;
    sn1 = 0;
  } else {
    const R tn = negated(cs / tb);
    cs1 = 1 / std::sqrt(1 + square(tn));
    sn1 = tn * cs1;
  }
  if (eigenvalues.sign == (a_is_above ? 1 : -1)) {
    const R tn = cs1;
    cs1 = negated(sn1);
    sn1 = tn;
  }
}

template <ComplexScalar T>
void laev2(T a, T b, T c, Real<T>& rt1, Real<T>& rt2, Real<T>& cs1, T& sn1) {
  const Real<T> abs_b = modulus(b);
  const T w = abs_b == 0 ? T(1) : conjugate(b) / abs_b;
  Real<T> t;
  laev2(a.real(), abs_b, c.real(), rt1, rt2, cs1, t);
  sn1 = w * t;
}

template <RealScalar R>
void las2(R f, R g, R h, R& ssmin, R& ssmax) {
  const R fa = std::abs(f), ga = std::abs(g), ha = std::abs(h);
  const R fhmn = smaller_or_nan(fa, ha), fhmx = larger_or_nan(fa, ha);
  if (fhmn == 0) {
    const R largest = larger_or_nan(fhmx, ga);
    ssmin = 0;
    ssmax = fhmx == 0 ? ga : largest * std::sqrt(1 + square(smaller_or_nan(fhmx, ga) / largest));
    return;
  }
  if (ga < fhmx) {
    const R as = 1 + fhmn / fhmx;
    const R at = (fhmx - fhmn) / fhmx;
    const R au = square(ga / fhmx);
    const R c = 2 / (std::sqrt(as * as + au) + std::sqrt(at * at + au));
    ssmin = fhmn * c;
    ssmax = fhmx / c;
    return;
  }
  const R au = fhmx / ga;
  if (au == 0) {  // the product comes first: the quotient has vanished
    ssmin = (fhmn * fhmx) / ga;
    ssmax = ga;
    return;
  }
  const R as = 1 + fhmn / fhmx;
  const R at = (fhmx - fhmn) / fhmx;
  const R c = 1 / (std::sqrt(1 + square(as * au)) + std::sqrt(1 + square(at * au)));
  ssmin = 2 * (fhmn * c) * au;
  ssmax = ga / (2 * c);
}

namespace {

/// Magnitudes of the singular values of [f g; 0 h] with |f| >= |h|, and the rotations from left and right.
template <RealScalar R>
struct TriangularSvd {
  R ssmin, ssmax;
  R csl, snl, csr, snr;

  TriangularSvd(R f, R g, R h) {
    const R fa = std::abs(f), ga = std::abs(g), ha = std::abs(h);
    if (ga == 0) {
      ssmin = ha;
      ssmax = fa;
      csl = csr = 1;
      snl = snr = 0;
    } else if (ga > fa && fa / ga < Machine<R>::eps) {
      for_dominant_g(f, g, h);
    } else {
      in_general(f, g, h);
    }
  }

 private:
  void for_dominant_g(R f, R g, R h) {
    const R fa = std::abs(f), ga = std::abs(g), ha = std::abs(h);
    ssmax = ga;
    ssmin = ha > 1 ? fa / (ga / ha) : (fa / ga) * ha;
    csl = 1;
    snl = h / g;
    snr = 1;
    csr = f / g;
  }

  void in_general(R f, R g, R h) {
    const R fa = std::abs(f), ha = std::abs(h);
    const R d = fa - ha;
    R l = d == fa ? 1 : d / fa;  // so that an infinite f does no harm
    const R m = g / f;
    R t = 2 - l;
    const R mm = m * m;
    const R s = std::sqrt(t * t + mm);
    const R r = l == 0 ? std::abs(m) : std::sqrt(l * l + mm);
    const R a = (s + r) / 2;
    ssmin = ha / a;
    ssmax = fa * a;
    if (mm != 0) {
      t = (m / (s + t) + m / (r + l)) * (1 + a);
    } else if (l == 0) {
      t = sign(R(2), f) * sign(R(1), g);
    } else {
      t = g / sign(d, f) + m / t;
    }
    l = std::sqrt(t * t + 4);
    csr = 2 / l;
    snr = t / l;
    csl = (csr + snr * m) / a;
    snl = (h / f) * snr / a;
  }
};

}  // namespace

template <RealScalar R>
void lasv2(R f, R g, R h, R& ssmin, R& ssmax, R& snr, R& csr, R& snl, R& csl) {
  const R fa = std::abs(f), ga = std::abs(g), ha = std::abs(h);
  const bool swap = ha > fa;
  const TriangularSvd<R> svd(swap ? h : f, g, swap ? f : h);
  // The element of largest magnitude tells the sign of the larger value; h beyond g counts only if it is beyond f.
  enum { is_f, is_g, is_h } largest = swap ? is_h : is_f;
  if (ga > std::max(fa, ha)) largest = is_g;

  // Turned about its second diagonal, the swapped matrix is the given one.
  csl = swap ? svd.snr : svd.csl;
  snl = swap ? svd.csr : svd.snl;
  csr = swap ? svd.snl : svd.csr;
  snr = swap ? svd.csl : svd.snr;

  constexpr R one = 1;
  R tsign = 0;
  switch (largest) {
    case is_f:
      tsign = sign(one, csr) * sign(one, csl) * sign(one, f);
      break;
    case is_g:
      tsign = sign(one, snr) * sign(one, csl) * sign(one, g);
      break;
    case is_h:
      tsign = sign(one, snr) * sign(one, snl) * sign(one, h);
      break;
  }
  ssmax = sign(svd.ssmax, tsign);
  ssmin = sign(svd.ssmin, tsign * sign(one, f) * sign(one, h));
}

namespace {

/// A matrix on its way to the standard form, and the rotation so far.
template <RealScalar R>
struct SchurBlock {
  R a, b, c, d;
  R cs = 1, sn = 0;

  void standardise() {
    if (c == 0) return;
    if (b == 0) return swap_rows_and_columns();
    if (a - d == 0 && sign(R(1), b) != sign(R(1), c)) return;

    const R temp = a - d;
    const R p = temp / 2;
    const R bcmax = larger_or_nan(std::abs(b), std::abs(c));
    const R bcmis = smaller_or_nan(std::abs(b), std::abs(c)) * sign(R(1), b) * sign(R(1), c);
    const R scale = std::max(std::abs(p), bcmax);
    const R z = (p / scale) * p + (bcmax / scale) * bcmis;
    if (z >= 4 * Machine<R>::precision) {
      split_real_pair(p, bcmax, bcmis, scale, z);
    } else {
      equate_diagonal(p, temp);
      if (c != 0) decide_after_equal_diagonal();
    }
  }

 private:
  void swap_rows_and_columns() {
    cs = 0;
    sn = 1;
    std::swap(a, d);
    b = negated(c);
    c = 0;
  }

  /// Two eigenvalues that are clearly real: the discriminant is scale * z.
  void split_real_pair(R p, R bcmax, R bcmis, R scale, R z) {
    z = p + sign(std::sqrt(scale) * std::sqrt(z), p);
    a = d + z;
    d = d - (bcmax / z) * bcmis;
    const R tau = lapy2(c, z);
    cs = z / tau;
    sn = c / tau;
    b = b - c;
    c = 0;
  }

  /// Complex or almost equal eigenvalues: first the two diagonal elements are made equal.
  void equate_diagonal(R p, R temp) {
    const R sigma = b + c;
    const R tau = lapy2(sigma, temp);
    cs = std::sqrt((1 + std::abs(sigma) / tau) / 2);
    sn = negated((p / (tau * cs)) * sign(R(1), sigma));

    const R aa = a * cs + b * sn;
    const R bb = negated(a * sn) + b * cs;
    const R cc = c * cs + d * sn;
    const R dd = negated(c * sn) + d * cs;

    a = aa * cs + cc * sn;
    b = bb * cs + dd * sn;
    c = negated(aa * sn) + cc * cs;
    d = negated(bb * sn) + dd * cs;
    a = d = (a + d) / 2;
  }

  void decide_after_equal_diagonal() {
    if (b == 0) {
      b = negated(c);
      c = 0;
      const R old_cs = cs;
      cs = negated(sn);
      sn = old_cs;
    } else if (sign(R(1), b) == sign(R(1), c)) {
      split_close_real_pair();
    }
  }

  /// Real after all: a second rotation takes c away.
  void split_close_real_pair() {
    const R sab = std::sqrt(std::abs(b)), sac = std::sqrt(std::abs(c));
    const R p = sign(sab * sac, c);
    const R tau = 1 / std::sqrt(std::abs(b + c));
    const R mean = a;
    a = mean + p;
    d = mean - p;
    b = b - c;
    c = 0;
    const R cs1 = sab * tau, sn1 = sac * tau;
    const R old_cs = cs;
    cs = old_cs * cs1 - sn * sn1;
    sn = old_cs * sn1 + sn * cs1;
  }
};

}  // namespace

template <RealScalar R>
void lanv2(R& a, R& b, R& c, R& d, R& rt1r, R& rt1i, R& rt2r, R& rt2i, R& cs, R& sn) {
  SchurBlock<R> block{a, b, c, d};
  block.standardise();
  a = block.a;
  b = block.b;
  c = block.c;
  d = block.d;
  cs = block.cs;
  sn = block.sn;
  rt1r = a;
  rt2r = d;
  if (c == 0) {
    rt1i = 0;
    rt2i = 0;
  } else {
    rt1i = std::sqrt(std::abs(b)) * std::sqrt(std::abs(c));
    rt2i = negated(rt1i);
  }
}

}  // namespace nuv

#include "environment/two_by_two.entries.inc"
