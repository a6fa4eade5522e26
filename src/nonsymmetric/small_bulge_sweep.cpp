#include "nonsymmetric/small_bulge_sweep.hpp"

#include <algorithm>
#include <utility>

#include "blas.hpp"
#include "nonsymmetric/accumulated_sweep.hpp"
#include "nonsymmetric/bulge_reflector.hpp"
#include "nonsymmetric/deflating_iteration.hpp"

namespace nuv {

template <RealScalar T>
void laqr1(Int n, const T* h, Int ldh, T sr1, T si1, T sr2, T si2, T* v) {
  const Matrix H{h, ldh};
  if (n == 2) {
    const T s = std::abs(H(1, 1) - sr2) + std::abs(si2) + std::abs(H(2, 1));
    if (s == 0) {
      v[0] = v[1] = 0;
      return;
    }
    const T h21s = H(2, 1) / s;
    v[0] = h21s * H(1, 2) + (H(1, 1) - sr1) * ((H(1, 1) - sr2) / s) - si1 * (si2 / s);
    v[1] = h21s * (H(1, 1) + H(2, 2) - sr1 - sr2);
  } else if (n == 3) {
    const T s = std::abs(H(1, 1) - sr2) + std::abs(si2) + std::abs(H(2, 1)) + std::abs(H(3, 1));
    if (s == 0) {
      v[0] = v[1] = v[2] = 0;
      return;
    }
    const T h21s = H(2, 1) / s, h31s = H(3, 1) / s;
    v[0] = (H(1, 1) - sr1) * ((H(1, 1) - sr2) / s) - si1 * (si2 / s) + H(1, 2) * h21s + H(1, 3) * h31s;
    v[1] = h21s * (H(1, 1) + H(2, 2) - sr1 - sr2) + H(2, 3) * h31s;
    v[2] = h31s * (H(1, 1) + H(3, 3) - sr1 - sr2) + h21s * H(3, 2);
  }
}

template <ComplexScalar T>
void laqr1(Int n, const T* h, Int ldh, T s1, T s2, T* v) {
  using R = Real<T>;
  const Matrix H{h, ldh};
  if (n == 2) {
    const R s = abs1(H(1, 1) - s2) + abs1(H(2, 1));
    if (s == 0) {
      v[0] = v[1] = T(0);
      return;
    }
    const T h21s = H(2, 1) / s;
    v[0] = h21s * H(1, 2) + (H(1, 1) - s1) * ((H(1, 1) - s2) / s);
    v[1] = h21s * (H(1, 1) + H(2, 2) - s1 - s2);
  } else if (n == 3) {
    const R s = abs1(H(1, 1) - s2) + abs1(H(2, 1)) + abs1(H(3, 1));
    if (s == 0) {
      v[0] = v[1] = v[2] = T(0);
      return;
    }
    const T h21s = H(2, 1) / s, h31s = H(3, 1) / s;
    v[0] = (H(1, 1) - s1) * ((H(1, 1) - s2) / s) + H(1, 2) * h21s + H(1, 3) * h31s;
    v[1] = h21s * (H(1, 1) + H(2, 2) - s1 - s2) + H(2, 3) * h31s;
    v[2] = h31s * (H(1, 1) + H(3, 3) - s1 - s2) + h21s * H(3, 2);
  }
}

namespace {

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

/// Brings real shifts together in pairs.
template <RealScalar T>
void pair_shifts(Int nshfts, T* sr, T* si) {
  for (Int i = 0; i + 2 < nshfts; i += 2) {
    if (si[i] == -si[i + 1]) continue;
    std::rotate(sr + i, sr + i + 1, sr + i + 3);
    std::rotate(si + i, si + i + 1, si + i + 3);
  }
}

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

  /// Applies reflector m from the right, to `count` rows of three columns of a matrix that begins there.
  void reflect_columns(Int m, Int count, Matrix<T> A) const {
    const T* const v = V.at(1, m);
    blas::rot3(count, column(A, 1, 1), column(A, 1, 2), column(A, 1, 3), v[0], v[1], v[2]);
  }
  void reflect_two_columns(Int m, Int count, Matrix<T> A) const {
    const T* const v = V.at(1, m);
    blas::rot2(count, column(A, 1, 1), column(A, 1, 2), v[0], v[1]);
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

/// What a sweep multiplies, and what it multiplies it by.
template <Scalar T>
struct SmallBulgeSweep {
  bool wantt, wantz, accum, blk22;
  Int n, ktop, kbot, ns;
  BulgeChain<T> chain;
  Matrix<T> H;
  Int iloz, ihiz;
  Matrix<T> Z, U;
  Int nv;
  Matrix<T> Wv;
  Int nh;
  Matrix<T> Wh;

  Int order_of_u() const { return 3 * ns - 3; }
  /// The last column of the window that the reflectors from incol on are applied to at once, if they are accumulated.
  Int end_of_window(Int incol) const { return incol + order_of_u(); }
  /// The rows and columns of H that are transformed at all.
  Int first_row() const { return wantt ? 1 : ktop; }
  Int last_column() const { return wantt ? n : kbot; }

  /// Applies the reflectors of one place from the right: each to H, and then to U or Z.
  void reflect_columns(const typename BulgeChain<T>::Place& place, Int incol) const {
    const Int jtop = accum ? std::max(ktop, incol) : first_row();
    const Int first_of_u = std::max(1, ktop - incol), rows_of_u = order_of_u() - first_of_u + 1;
    const auto apply = [&](Int m, auto reflect) {
      if (*chain.V.at(1, m) == T(0)) return;
      const Int k = place.column(m);
      reflect(m, std::min(kbot, k + 3) - jtop + 1, block(H, jtop, k + 1));
      if (accum) {
        reflect(m, rows_of_u, block(U, first_of_u, k - incol + 1));
      } else if (wantz) {
        reflect(m, ihiz - iloz + 1, block(Z, iloz, k + 1));
      }
    };
    for (Int m = place.mtop; m <= place.mbot; ++m) {
      apply(m, [&](Int i, Int count, Matrix<T> A) { chain.reflect_columns(i, count, A); });
    }
    if (place.bmp22) {
      apply(place.m22(), [&](Int i, Int count, Matrix<T> A) { chain.reflect_two_columns(i, count, A); });
    }
  }

  void move_chain(Int incol, Int krcol) const {
    const auto place = chain.at(krcol);
    chain.move_all(place);
    chain.reflect_rows(place, accum ? std::min(end_of_window(incol), kbot) : last_column());
    reflect_columns(place, incol);
    chain.deflate(place);
    chain.fill_last_rows(place);
  }

  /// Multiplies what lies outside the window by the reflectors from incol on.
  void update_outside(Int incol) const {
    const Int ndcol = end_of_window(incol);
    const Int k1 = std::max(1, ktop - incol), nu = order_of_u() - std::max(0, ndcol - kbot) - k1 + 1;
    const bool is_whole = blk22 && incol >= ktop && ndcol <= kbot;
    const auto product =
        is_whole ? AccumulatedSweep<T>::of_whole_chain(U, ns) : AccumulatedSweep<T>(block(U, k1, k1), nu);
    const Int behind = std::min(ndcol, kbot) + 1, inside = std::max(ktop, incol);
    product.multiply_from_left(block(H, incol + k1, behind), last_column() - behind + 1, nh, Wh);
    product.multiply_from_right(block(H, first_row(), incol + k1), inside - first_row(), nv, Wv);
    if (wantz) product.multiply_from_right(block(Z, iloz, incol + k1), ihiz - iloz + 1, nv, Wv);
  }

  void run() const {
    if (ktop + 2 <= kbot) H(ktop + 2, ktop) = T(0);
    const Int nbmps = ns / 2;
    for (Int incol = 3 * (1 - nbmps) + ktop - 1; incol <= kbot - 2; incol += 3 * nbmps - 2) {
      if (accum) laset('A', order_of_u(), order_of_u(), T(0), T(1), U.data, U.ld);
      const Int last = std::min(incol + 3 * nbmps - 3, kbot - 2);
      for (Int krcol = incol; krcol <= last; ++krcol) move_chain(incol, krcol);
      if (accum) update_outside(incol);
    }
  }
};

template <Scalar T>
void sweep_with(BulgeShifts<T> shifts, Logical wantt, Logical wantz, Int kacc22, Int n, Int ktop, Int kbot, Int nshfts,
                Matrix<T> H, Int iloz, Int ihiz, Matrix<T> Z, Matrix<T> V, Matrix<T> U, Int nv, Matrix<T> Wv, Int nh,
                Matrix<T> Wh) {
  const Int ns = nshfts - nshfts % 2;
  const bool accum = kacc22 == 1 || kacc22 == 2, blk22 = ns > 2 && kacc22 == 2;
  const BulgeChain<T> chain{ns / 2, ktop, kbot, shifts, H, V, {H, ktop, kbot, n}};
  SmallBulgeSweep<T>{
      (wantt & 1) != 0, (wantz & 1) != 0, accum, blk22, n, ktop, kbot, ns, chain, H, iloz, ihiz, Z, U, nv, Wv, nh, Wh}
      .run();
}

}  // namespace

template <RealScalar T>
void laqr5(Logical wantt, Logical wantz, Int kacc22, Int n, Int ktop, Int kbot, Int nshfts, T* sr, T* si, T* h, Int ldh,
           Int iloz, Int ihiz, T* z, Int ldz, T* v, Int ldv, T* u, Int ldu, Int nv, T* wv, Int ldwv, Int nh, T* wh,
           Int ldwh) {
  if (nshfts < 2 || ktop >= kbot) return;
  pair_shifts(nshfts, sr, si);
  sweep_with<T>({sr, si}, wantt, wantz, kacc22, n, ktop, kbot, nshfts, {h, ldh}, iloz, ihiz, {z, ldz}, {v, ldv},
                {u, ldu}, nv, {wv, ldwv}, nh, {wh, ldwh});
}

template <ComplexScalar T>
void laqr5(Logical wantt, Logical wantz, Int kacc22, Int n, Int ktop, Int kbot, Int nshfts, T* s, T* h, Int ldh,
           Int iloz, Int ihiz, T* z, Int ldz, T* v, Int ldv, T* u, Int ldu, Int nv, T* wv, Int ldwv, Int nh, T* wh,
           Int ldwh) {
  if (nshfts < 2 || ktop >= kbot) return;
  sweep_with<T>({s}, wantt, wantz, kacc22, n, ktop, kbot, nshfts, {h, ldh}, iloz, ihiz, {z, ldz}, {v, ldv}, {u, ldu},
                nv, {wv, ldwv}, nh, {wh, ldwh});
}

}  // namespace nuv

#include "nonsymmetric/small_bulge_sweep.entries.inc"
