#pragma once

// The chain of bulges that a small-bulge sweep chases down a Hessenberg matrix.

#include <algorithm>

#include "blas.hpp"
#include "nonsymmetric/bulge_reflector.hpp"
#include "nonsymmetric/deflating_iteration.hpp"
#include "nonsymmetric/small_bulge_sweep.hpp"

namespace nuv {

/// The shifts of a sweep, a pair for each bulge, which counts from one.
template <Scalar T>
struct BulgeShifts;

template <RealScalar T>
struct BulgeShifts<T> {
  T *sr, *si;

  void start_bulge(Int bulge, Int order, Matrix<T> H, T* v) const {
    const Int i = 2 * bulge - 2;
    laqr1(order, H.data, H.ld, sr[i], si[i], sr[i + 1], si[i + 1], v);
  }
};

template <ComplexScalar T>
struct BulgeShifts<T> {
  const T* s;

  void start_bulge(Int bulge, Int order, Matrix<T> H, T* v) const {
    laqr1(order, H.data, H.ld, s[2 * bulge - 2], s[2 * bulge - 1], v);
  }
};

/// A chain of bulges in rows and columns ktop ... kbot. Bulge m moves from column krcol + 3 (m - 1) of the matrix to
/// the next one, by a reflector of three rows and columns that is kept in column m of V, its factor in place of the
/// leading one. At the end of the matrix there is room for two rows only.
template <Scalar T>
struct BulgeChain {
  using R = Real<T>;

  Int nbmps, ktop, kbot;
  BulgeShifts<T> shifts;
  Matrix<T> H, V;
  DeflationCriterion<T> criterion;

  /// Where the chain stands: bulges mtop ... mbot are inside the matrix, and with bmp22 the next one is about to leave.
  struct Place {
    Int krcol, mtop, mbot;
    bool bmp22;

    Int column(Int m) const { return krcol + 3 * (m - 1); }
    Int m22() const { return mbot + 1; }
  };

  /// The bulge about to leave is the one behind mbot, in column krcol + 3 mbot.
  Place at(Int krcol) const {
    const Int mtop = std::max(1, (ktop - 1 - krcol + 2) / 3 + 1), mbot = std::min(nbmps, (kbot - krcol) / 3);
    return {krcol, mtop, mbot, mbot < nbmps && krcol + 3 * mbot == kbot - 2};
  }

  /// Whether the last row of a bulge in column k is empty although the matrix goes on below.
  bool has_collapsed(Int k) const { return H(k + 3, k) == T(0) && H(k + 3, k + 1) == T(0) && H(k + 3, k + 2) != T(0); }

  /// Starts bulge m anew below column k. False, and nothing is changed, if that would fill in more than a rounding
  /// error in column k.
  bool restart(Int m, Int k) const {
    T vt[3];
    shifts.start_bulge(m, 3, block(H, k + 1, k + 1), vt);
    const R sum = abs1(vt[0]) + abs1(vt[1]) + abs1(vt[2]);
    if (sum != 0) {
      for (T& x : vt) x /= sum;
    }
    T alpha = vt[0];
    make_reflector<3>(alpha, vt + 1, vt[0]);
    // With the factor of the reflector, which text-books leave out here: what is taken from column k belongs to a
    // similarity only then.
    const T refsum = conjugate(vt[0]) * (H(k + 1, k) + conjugate(vt[1]) * H(k + 2, k) + conjugate(vt[2]) * H(k + 3, k));
    const R fill = abs1(H(k + 2, k) - refsum * vt[1]) + abs1(refsum * vt[2]);
    if (fill > Machine<R>::precision * (abs1(H(k, k)) + abs1(H(k + 1, k + 1)) + abs1(H(k + 2, k + 2)))) return false;
    H(k + 1, k) -= refsum;
    std::copy_n(vt, 3, V.at(1, m));
    return true;
  }

  /// Starts or moves bulge m, by a reflector of as many rows as there is room for.
  template <int order>
  void move(Int m, Int k) const {
    T* const v = V.at(1, m);
    if (k == ktop - 1) {
      shifts.start_bulge(m, order, block(H, ktop, ktop), v);
      T alpha = v[0];
      make_reflector<order>(alpha, v + 1, v[0]);
      return;
    }
    T beta = H(k + 1, k);
    std::copy_n(H.at(k + 2, k), order - 1, v + 1);
    make_reflector<order>(beta, v + 1, v[0]);
    if (order == 2 || !has_collapsed(k) || !restart(m, k)) H(k + 1, k) = beta;
    std::fill_n(H.at(k + 2, k), order - 1, T(0));
  }

  void move_all(const Place& place) const {
    for (Int m = place.mtop; m <= place.mbot; ++m) move<3>(m, place.column(m));
    if (place.bmp22) move<2>(place.m22(), place.column(place.m22()));
  }

  /// Applies reflector m from the left, to columns first ... last.
  template <int order>
  void reflect_rows(Int m, Int k, Int first, Int last) const {
    const T* const v = V.at(1, m);
    const T tau = conjugate(v[0]), v2 = v[1], v3 = order == 3 ? v[2] : T(0);
    const T w2 = conjugate(v2), w3 = conjugate(v3);
    T* h = H.at(k + 1, first);
    for (Int j = first; j <= last; ++j, h += H.ld) {
      T sum = h[0] + w2 * h[1];
      if constexpr (order == 3) sum += w3 * h[2];
      const T refsum = tau * sum;
      h[0] -= refsum;
      h[1] -= refsum * v2;
      if constexpr (order == 3) h[2] -= refsum * v3;
    }
  }

  /// Applies the reflectors from the left, to columns up to jbot: to a few columns at a time, which stay in the cache
  /// while all bulges go over them.
  void reflect_rows(const Place& place, Int jbot) const {
    constexpr Int width = 8;
    for (Int j = std::max(ktop, place.krcol); j <= jbot; j += width) {
      const Int last = std::min(j + width - 1, jbot);
      for (Int m = place.mtop; m <= place.mbot; ++m) {
        const Int k = place.column(m);
        reflect_rows<3>(m, k, std::max(j, k + 1), last);
      }
      if (place.bmp22) {
        const Int k = place.column(place.m22());
        reflect_rows<2>(place.m22(), k, std::max(j, k + 1), last);
      }
    }
  }

  /// Applies reflector m from the right, to so many rows of the first columns of A.
  template <int order>
  void reflect_columns(Int m, Int count, Matrix<T> A) const {
    const T* const v = V.at(1, m);
    if constexpr (order == 3) {
      blas::rot3(count, column(A, 1, 1), column(A, 1, 2), column(A, 1, 3), v[0], v[1], v[2]);
    } else {
      blas::rot2(count, column(A, 1, 1), column(A, 1, 2), v[0], v[1]);
    }
  }

  /// Sets to zero what has become negligible where bulges have passed.
  void deflate(const Place& place) const {
    const Int krcol = place.krcol;
    const Int mstart = place.column(place.mtop) < ktop ? place.mtop + 1 : place.mtop;
    const Int mend = place.mbot + (place.bmp22 ? 1 : 0) + (krcol == kbot - 2 ? 1 : 0);
    for (Int m = mstart; m <= mend; ++m) {
      const Int k = std::min(kbot - 1, place.column(m));
      R s;
      if (H(k + 1, k) != T(0) && criterion.holds(k + 1, s)) H(k + 1, k) = T(0);
    }
  }

  /// The last row of each bulge, which the reflectors from the right have not reached.
  void fill_last_rows(const Place& place) const {
    const Int mend = std::min(nbmps, (kbot - place.krcol - 1) / 3);
    for (Int m = place.mtop; m <= mend; ++m) {
      const T* const v = V.at(1, m);
      const Int k = place.column(m);
      const T refsum = v[0] * v[2] * H(k + 4, k + 3);
      H(k + 4, k + 1) = negated(refsum);
      H(k + 4, k + 2) = negated(refsum) * conjugate(v[1]);
      H(k + 4, k + 3) -= refsum * conjugate(v[2]);
    }
  }
};

}  // namespace nuv
