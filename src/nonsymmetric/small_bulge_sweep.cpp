#include "nonsymmetric/small_bulge_sweep.hpp"

#include <algorithm>

#include "nonsymmetric/accumulated_sweep.hpp"
#include "nonsymmetric/bulge_chain.hpp"
#include "nonsymmetric/hessenberg_problem.hpp"

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

/// Brings real shifts together in pairs.
template <RealScalar T>
void pair_shifts(Int nshfts, T* sr, T* si) {
  for (Int i = 0; i + 2 < nshfts; i += 2) {
    if (si[i] == -si[i + 1]) continue;
    std::rotate(sr + i, sr + i + 1, sr + i + 3);
    std::rotate(si + i, si + i + 1, si + i + 3);
  }
}

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

  /// Applies a reflector from the right, to H and then to U or Z.
  template <int order>
  void reflect_columns(Int m, Int k, Int incol) const {
    if (*chain.V.at(1, m) == T(0)) return;
    const Int jtop = accum ? std::max(ktop, incol) : first_row();
    chain.template reflect_columns<order>(m, std::min(kbot, k + 3) - jtop + 1, block(H, jtop, k + 1));
    if (accum) {
      const Int first = std::max(1, ktop - incol);
      chain.template reflect_columns<order>(m, order_of_u() - first + 1, block(U, first, k - incol + 1));
    } else if (wantz) {
      chain.template reflect_columns<order>(m, ihiz - iloz + 1, block(Z, iloz, k + 1));
    }
  }

  void move_chain(Int incol, Int krcol) const {
    const auto place = chain.at(krcol);
    chain.move_all(place);
    chain.reflect_rows(place, accum ? std::min(end_of_window(incol), kbot) : last_column());
    for (Int m = place.mtop; m <= place.mbot; ++m) reflect_columns<3>(m, place.column(m), incol);
    if (place.bmp22) reflect_columns<2>(place.m22(), place.column(place.m22()), incol);
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
void sweep_with(BulgeShifts<T> shifts, bool wantt, bool wantz, Int kacc22, Int n, Int ktop, Int kbot, Int nshfts,
                Matrix<T> H, Int iloz, Int ihiz, Matrix<T> Z, Matrix<T> V, Matrix<T> U, Int nv, Matrix<T> Wv, Int nh,
                Matrix<T> Wh) {
  const Int ns = nshfts - nshfts % 2;
  const bool accum = kacc22 == 1 || kacc22 == 2, blk22 = ns > 2 && kacc22 == 2;
  const BulgeChain<T> chain{ns / 2, ktop, kbot, shifts, H, V, {H, ktop, kbot, n}};
  SmallBulgeSweep<T>{wantt, wantz, accum, blk22, n, ktop, kbot, ns, chain, H, iloz, ihiz, Z, U, nv, Wv, nh, Wh}.run();
}

}  // namespace

template <RealScalar T>
void laqr5(Logical wantt, Logical wantz, Int kacc22, Int n, Int ktop, Int kbot, Int nshfts, T* sr, T* si, T* h, Int ldh,
           Int iloz, Int ihiz, T* z, Int ldz, T* v, Int ldv, T* u, Int ldu, Int nv, T* wv, Int ldwv, Int nh, T* wh,
           Int ldwh) {
  if (nshfts < 2 || ktop >= kbot) return;
  pair_shifts(nshfts, sr, si);
  sweep_with<T>({sr, si}, is_true(wantt), is_true(wantz), kacc22, n, ktop, kbot, nshfts, {h, ldh}, iloz, ihiz, {z, ldz},
                {v, ldv}, {u, ldu}, nv, {wv, ldwv}, nh, {wh, ldwh});
}

template <ComplexScalar T>
void laqr5(Logical wantt, Logical wantz, Int kacc22, Int n, Int ktop, Int kbot, Int nshfts, T* s, T* h, Int ldh,
           Int iloz, Int ihiz, T* z, Int ldz, T* v, Int ldv, T* u, Int ldu, Int nv, T* wv, Int ldwv, Int nh, T* wh,
           Int ldwh) {
  if (nshfts < 2 || ktop >= kbot) return;
  sweep_with<T>({s}, is_true(wantt), is_true(wantz), kacc22, n, ktop, kbot, nshfts, {h, ldh}, iloz, ihiz, {z, ldz},
                {v, ldv}, {u, ldu}, nv, {wv, ldwv}, nh, {wh, ldwh});
}

}  // namespace nuv

#include "nonsymmetric/small_bulge_sweep.entries.inc"
