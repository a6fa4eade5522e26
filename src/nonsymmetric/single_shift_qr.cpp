#include <algorithm>

#include "blas.hpp"
#include "environment/division.hpp"
#include "environment/magnitudes.hpp"
#include "environment/service_math.hpp"
#include "nonsymmetric/bulge_reflector.hpp"
#include "nonsymmetric/deflating_iteration.hpp"
#include "nonsymmetric/double_shift_qr.hpp"
#include "nonsymmetric/hessenberg_problem.hpp"

namespace nuv {
namespace {

/// I - t v v^H for v = (1, v2), where t v2 is real.
template <ComplexScalar T>
struct PairReflector {
  T t, v2;
  Real<T> t2;

  /// Multiplies so many columns from the left by the adjoint.
  void reflect_rows(Int count, Matrix<T> A) const {
    const T t1 = conjugate(t);
    T* x = A.data;
    for (Int j = 0; j < count; ++j, x += A.ld) {
      const T sum = t1 * x[0] + t2 * x[1];
      x[0] -= sum;
      x[1] -= sum * v2;
    }
  }

  /// Multiplies so many rows from the right.
  void reflect_columns(Int count, Matrix<T> A) const {
    const T conjugated = conjugate(v2);
    T* const __restrict x = A.at(1, 1), * const __restrict y = A.at(1, 2);
    for (Int i = 0; i < count; ++i) {
      const T sum = t * x[i] + t2 * y[i];
      x[i] -= sum;
      y[i] -= sum * conjugated;
    }
  }
};

/// x / |x|
template <ComplexScalar T>
T phase(T x) {
  const T scaled = x / abs1(x);
  return scaled / magnitude(scaled);
}

/// Subdiagonal elements are kept real, so that products of reflectors with them take half the work.
template <ComplexScalar T>
struct SingleShiftIteration : SchurIteration<T> {
  using R = Real<T>;
  using Base = SchurIteration<T>;
  using Base::H, Base::Z;
  using Base::i1, Base::i2, Base::ihi, Base::ilo, Base::iloz, Base::n, Base::rows_of_z, Base::wantt, Base::wantz;

  T* w;

  /// Makes h(i, i - 1) real and positive: row i is multiplied by a number of magnitude one and column i by its
  /// conjugate, rows from `first`, columns to `last`, and column i of Z with it. The conjugate is the result.
  T make_real(Int i, Int first, Int last) const {
    T& subdiagonal = H(i, i - 1);
    const T factor = phase(subdiagonal);
    subdiagonal = magnitude(subdiagonal);
    blas::scal(last - i, conjugate(factor), row(H, i, i + 1));
    blas::scal(i - first, factor, column(H, first, i));
    if (wantz) blas::scal(rows_of_z(), factor, column(Z, iloz, i));
    return factor;
  }

  void make_subdiagonal_real() const {
    for (Int i = ilo + 1; i <= ihi; ++i) {
      if (H(i, i - 1).imag() == 0) continue;
      const T factor = make_real(i, wantt ? 1 : ilo, wantt ? n : ihi);
      if (i < ihi) H(i + 1, i) *= factor;
    }
  }

  /// The eigenvalue of the last block of order two that is nearer the last element.
  T shift(int its, Int i) const {
    T t = H(i, i);
    if (Base::is_exceptional(its)) return exceptional_diagonal<R> * std::abs(H(i, i - 1).real()) + t;
    const T u = principal_root(H(i - 1, i)) * principal_root(H(i, i - 1));
    R s = abs1(u);
    if (s == 0) return t;
    const T x = R(0.5) * (H(i - 1, i - 1) - t);
    const R sx = abs1(x);
    s = std::max(s, sx);
    const T x_scaled = x / s, u_scaled = u / s;
    T y = s * principal_root(x_scaled * x_scaled + u_scaled * u_scaled);
    if (sx > 0) {
      const T direction = x / sx;
      if (direction.real() * y.real() + direction.imag() * y.imag() < 0) y = negated(y);
    }
    return t - u * ladiv(u, x + y);
  }

  /// Where to start a sweep over l ... i: the lowest row above which two consecutive subdiagonal elements are small, or
  /// l.
  ///
  /// v       a multiple of the first column of H - t I there
  Int start(Int l, Int i, T t, T* v) const {
    constexpr R ulp = Machine<R>::precision;
    for (Int m = i - 1;; --m) {
      const T h11 = H(m, m), h22 = H(m + 1, m + 1);
      const R h21 = H(m + 1, m).real();
      const R s = abs1(h11 - t) + std::abs(h21);
      v[0] = (h11 - t) / s;
      v[1] = h21 / s;
      if (m == l) return m;
      const R h10 = H(m, m - 1).real();
      if (std::abs(h10) * std::abs(v[1].real()) <= ulp * (abs1(v[0]) * (abs1(h11) + abs1(h22)))) return m;
    }
  }

  /// Makes h(m, m - 1) real again after a sweep over rows down to i has begun there with a reflector of the factor t1:
  /// that turned it by 1 - conj(t1), but for elements that don't count. D H D^H takes the turn back, with the opposite
  /// factor in rows m ... i of D, except row m + 1 so that the bulge stays real.
  void turn_back(Int m, Int i, T t1) const {
    T factor = T(1) - t1;
    factor /= magnitude(factor);
    const T conjugated = conjugate(factor);
    H(m, m + 1) *= factor;
    if (m + 2 <= i) H(m + 2, m + 1) *= factor;
    for (Int j = m; j <= i; ++j) {
      if (j == m + 1) continue;
      H(m + 1, j) *= conjugated;
      blas::scal(i2 - i, factor, row(H, j, i + 1));
      blas::scal(m - i1, conjugated, column(H, i1, j));
      if (wantz) blas::scal(rows_of_z(), conjugated, column(Z, iloz, j));
    }
  }

  /// One QR step on l ... i.
  void sweep(int its, Int l, Int i) const {
    T v[2];
    const Int m = start(l, i, shift(its, i), v);
    for (Int k = m; k < i; ++k) {
      T t1;
      if (k > m) std::copy_n(H.at(k, k - 1), 2, v);
      make_reflector<2>(v[0], v + 1, t1);
      if (k > m) {
        H(k, k - 1) = v[0];
        H(k + 1, k - 1) = T(0);
      }
      const PairReflector<T> reflector{t1, v[1], (t1 * v[1]).real()};
      reflector.reflect_rows(i2 - k + 1, block(H, k, k));
      reflector.reflect_columns(std::min(k + 2, i) - i1 + 1, block(H, i1, k));
      if (wantz) reflector.reflect_columns(rows_of_z(), block(Z, iloz, k));
      if (k == m && m > l) turn_back(m, i, t1);
    }
    if (H(i, i - 1).imag() != 0) make_real(i, i1, i2);
  }

  void finish(Int, Int i) const { w[i - 1] = H(i, i); }
};

}  // namespace

template <ComplexScalar T>
void lahqr(Logical wantt, Logical wantz, Int n, Int ilo, Int ihi, T* h, Int ldh, T* w, Int iloz, Int ihiz, T* z,
           Int ldz, Int& info) {
  info = 0;
  if (n == 0) return;
  const Matrix H{h, ldh};
  if (ilo == ihi) {
    w[ilo - 1] = H(ilo, ilo);
    return;
  }
  SingleShiftIteration<T> iteration{{is_true(wantt), is_true(wantz), n, ilo, ihi, H, iloz, ihiz, {z, ldz}}, w};
  iteration.clear_below_subdiagonal();
  iteration.make_subdiagonal_real();
  info = decouple_all(iteration);
}

}  // namespace nuv

#include "nonsymmetric/single_shift_qr.entries.inc"
