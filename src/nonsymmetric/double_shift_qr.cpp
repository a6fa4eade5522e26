#include "nonsymmetric/double_shift_qr.hpp"

#include <algorithm>
#include <cmath>

#include "blas.hpp"
#include "environment/two_by_two.hpp"
#include "nonsymmetric/bulge_reflector.hpp"
#include "nonsymmetric/deflating_iteration.hpp"
#include "nonsymmetric/hessenberg_problem.hpp"

namespace nuv {
namespace {

/// Two shifts that are real, or conjugate to each other.
template <RealScalar R>
struct ShiftPair {
  R rt1r, rt1i, rt2r, rt2i;
};

/// I - t1 v v^T for a v of two or three elements, of which the first is one.
template <int order, RealScalar R>
struct ShortReflector {
  R v2, v3, t1, t2, t3;

  ShortReflector(R t, const R* v) : v2(v[1]), v3(order == 3 ? v[2] : R(0)), t1(t), t2(t * v2), t3(t * v3) {}

  /// Multiplies so many columns from the left.
  void reflect_rows(Int count, Matrix<R> A) const {
    R* x = A.data;
    for (Int j = 0; j < count; ++j, x += A.ld) {
      R sum = x[0] + v2 * x[1];
      if constexpr (order == 3) sum += v3 * x[2];
      x[0] -= sum * t1;
      x[1] -= sum * t2;
      if constexpr (order == 3) x[2] -= sum * t3;
    }
  }

  /// Multiplies so many rows from the right.
  void reflect_columns(Int count, Matrix<R> A) const {
    R* const __restrict x = A.at(1, 1), * const __restrict y = A.at(1, 2), * const __restrict z = A.at(1, order);
    for (Int i = 0; i < count; ++i) {
      R sum = x[i] + v2 * y[i];
      if constexpr (order == 3) sum += v3 * z[i];
      x[i] -= sum * t1;
      y[i] -= sum * t2;
      if constexpr (order == 3) z[i] -= sum * t3;
    }
  }
};

template <RealScalar R>
struct DoubleShiftIteration : SchurIteration<R> {
  using Base = SchurIteration<R>;
  using Base::H, Base::Z, Base::s;
  using Base::i1, Base::i2, Base::iloz, Base::rows_of_z, Base::wantt, Base::wantz;

  R *wr, *wi;

  /// The eigenvalues of the last block of order two; of real ones, that nearer the last element twice.
  ShiftPair<R> shifts(int its, Int i) {
    R h11, h21, h12, h22;
    if (Base::is_exceptional(its)) {
      h11 = exceptional_diagonal<R> * s + H(i, i);
      h12 = exceptional_corner<R> * s;
      h21 = s;
      h22 = h11;
    } else {
      h11 = H(i - 1, i - 1);
      h21 = H(i, i - 1);
      h12 = H(i - 1, i);
      h22 = H(i, i);
    }
    s = std::abs(h11) + std::abs(h12) + std::abs(h21) + std::abs(h22);
    if (s == 0) return {0, 0, 0, 0};
    h11 /= s;
    h21 /= s;
    h12 /= s;
    h22 /= s;
    const R tr = (h11 + h22) / 2;
    const R det = (h11 - tr) * (h22 - tr) - h12 * h21;
    const R rtdisc = std::sqrt(std::abs(det));
    if (det >= 0) return {tr * s, rtdisc * s, tr * s, negated(rtdisc * s)};
    const R rt1 = tr + rtdisc, rt2 = tr - rtdisc;
    const R nearer = (std::abs(rt1 - h22) <= std::abs(rt2 - h22) ? rt1 : rt2) * s;
    return {nearer, 0, nearer, 0};
  }

  /// Where to start a sweep over l ... i: the lowest row above which two consecutive subdiagonal elements are small, or
  /// l.
  ///
  /// v       a multiple of the first column of the product (H - rt1 I) (H - rt2 I) there
  Int start(Int l, Int i, const ShiftPair<R>& shift, R* v) {
    constexpr R ulp = Machine<R>::precision;
    for (Int m = i - 2;; --m) {
      const R h00 = H(m, m), h11 = H(m + 1, m + 1);
      s = std::abs(h00 - shift.rt2r) + std::abs(shift.rt2i) + std::abs(H(m + 1, m));
      const R h21s = H(m + 1, m) / s;
      v[0] = h21s * H(m, m + 1) + (h00 - shift.rt1r) * ((h00 - shift.rt2r) / s) - shift.rt1i * (shift.rt2i / s);
      v[1] = h21s * (h00 + h11 - shift.rt1r - shift.rt2r);
      v[2] = h21s * H(m + 2, m + 1);
      s = std::abs(v[0]) + std::abs(v[1]) + std::abs(v[2]);
      for (int k = 0; k < 3; ++k) v[k] /= s;
      if (m == l) return m;
      const R around = std::abs(H(m - 1, m - 1)) + std::abs(h00) + std::abs(h11);
      if (std::abs(H(m, m - 1)) * (std::abs(v[1]) + std::abs(v[2])) <= ulp * std::abs(v[0]) * around) return m;
    }
  }

  /// Moves the bulge out of column k - 1, where it is not the first column v of the sweep that begins in row k, and
  /// transforms rows and columns k, k + 1 ... of the active block l ... i.
  template <int order>
  void step(Int l, Int k, Int i, bool is_first, R* v) const {
    if (!is_first) std::copy_n(H.at(k, k - 1), order, v);
    R t1;
    make_reflector<order>(v[0], v + 1, t1);
    if (!is_first) {
      H(k, k - 1) = v[0];
      for (int row = 1; row < order; ++row) H(k + row, k - 1) = 0;
    } else if (k > l) {
      H(k, k - 1) = -H(k, k - 1);
    }
    const ShortReflector<order, R> reflector(t1, v);
    reflector.reflect_rows(i2 - k + 1, block(H, k, k));
    reflector.reflect_columns(std::min(k + 3, i) - i1 + 1, block(H, i1, k));
    if (wantz) reflector.reflect_columns(rows_of_z(), block(Z, iloz, k));
  }

  /// One QR step on l ... i with both shifts at once.
  void sweep(int its, Int l, Int i) {
    R v[3];
    const Int m = start(l, i, shifts(its, i), v);
    for (Int k = m; k < i - 1; ++k) step<3>(l, k, i, k == m, v);
    step<2>(l, i - 1, i, false, v);
  }

  /// Stores one eigenvalue, or brings the block of two to its standard form.
  void finish(Int l, Int i) const {
    if (l == i) {
      wr[i - 1] = H(i, i);
      wi[i - 1] = 0;
      return;
    }
    R cs, sn;
    lanv2(H(i - 1, i - 1), H(i - 1, i), H(i, i - 1), H(i, i), wr[i - 2], wi[i - 2], wr[i - 1], wi[i - 1], cs, sn);
    if (wantt) {
      if (i2 > i) blas::rot(i2 - i, row(H, i - 1, i + 1), row(H, i, i + 1), cs, sn);
      blas::rot(i - i1 - 1, column(H, i1, i - 1), column(H, i1, i), cs, sn);
    }
    if (wantz) blas::rot(rows_of_z(), column(Z, iloz, i - 1), column(Z, iloz, i), cs, sn);
  }
};

}  // namespace

template <RealScalar T>
void lahqr(Logical wantt, Logical wantz, Int n, Int ilo, Int ihi, T* h, Int ldh, T* wr, T* wi, Int iloz, Int ihiz, T* z,
           Int ldz, Int& info) {
  info = 0;
  if (n == 0) return;
  if (ilo == ihi) {
    wr[ilo - 1] = Matrix{h, ldh}(ilo, ilo);
    wi[ilo - 1] = 0;
    return;
  }
  DoubleShiftIteration<T> iteration{
      {is_true(wantt), is_true(wantz), n, ilo, ihi, {h, ldh}, iloz, ihiz, {z, ldz}}, wr, wi};
  iteration.clear_below_subdiagonal();
  info = decouple_all(iteration);
}

}  // namespace nuv

#include "nonsymmetric/double_shift_qr.entries.inc"
