#include "symmetric/twisted_vectors.hpp"

#include <cmath>

#include "environment/machine_constants.hpp"

namespace nuv {
namespace {

/// A representation, its elements counted from zero.
template <RealScalar R>
struct Representation {
  const R *d, *l, *ld, *lld;
};

/// Rows counted from zero: those of the matrix, and those among which the twist is to be.
struct Rows {
  Int first, last;
  Int first_twist, last_twist;
};

/// L D L^T - lambda I = L+ D+ L+^T from the top down to the last row for a twist, and = U- D- U-^T from the bottom up
/// to the first. With a twist in row i the two meet in the pivot gamma(i) = s(i) + p(i), made of what the transforms
/// carry on: s(i) = D+(i) - d(i) + lambda and p(i) = D-(i) - l(i-1)^2 d(i-1).
template <RealScalar R>
class TwistedFactors {
 public:
  TwistedFactors(Int n, const Representation<R>& A, const Rows& rows, R lambda, R pivmin, R* work)
      : A_(A),
        rows_(rows),
        lambda_(lambda),
        pivmin_(pivmin),
        l_plus_(work),
        u_minus_(work + n),
        s_(u_minus_ + n),
        p_(s_ + n) {
    s_[rows.first] = rows.first == 0 ? R(0) : A.lld[rows.first - 1];
    p_[rows.last] = A.d[rows.last] - lambda;
    // A pivot that is zero makes an infinity and, in the step behind it, a NaN, which stays to the end.
    if (!sweep<false>()) {
      sweep<true>();
      guarded_ = true;
    }
  }

  /// The row whose gamma is the least in magnitude, and that.
  void find_twist(Int& r, R& gamma) const {
    r = rows_.first_twist;
    gamma = gamma_at(r);
    for (Int i = r + 1; i <= rows_.last_twist; ++i) {
      const R other = gamma_at(i);
      if (std::abs(other) <= std::abs(gamma)) {
        gamma = other;
        r = i;
      }
    }
  }

  /// The number of negative pivots with the first possible twist, which is that of eigenvalues below lambda.
  Int eigenvalues_below() const {
    const Int first = rows_.first_twist;
    return (first == rows_.last_twist ? negative_d_plus_ : 0) + (s_[first] + p_[first] < 0 ? 1 : 0) + negative_d_minus_;
  }

  /// z(i) for the rows i above the twist, until they become negligible in row `top` - 1. Gives their sum of squares.
  template <Scalar T>
  R solve_upwards(Int r, R gaptol, T* z, Int& top) const {
    R squares = 0, last = 1, last_but_one = 0;
    for (Int i = r - 1; i >= rows_.first; --i) {
      const R next = is_cut(last) ? negated(A_.ld[i + 1] / A_.ld[i]) * last_but_one : negated(l_plus_[i]) * last;
      if ((std::abs(last) + std::abs(next)) * std::abs(A_.ld[i]) < gaptol) {
        z[i] = T(0);
        top = i + 1;
        return squares;
      }
      z[i] = T(next);
      squares += next * next;
      last_but_one = last;
      last = next;
    }
    top = rows_.first;
    return squares;
  }

  /// The same for the rows below it, which end in row `bottom`.
  template <Scalar T>
  R solve_downwards(Int r, R gaptol, T* z, Int& bottom) const {
    R squares = 0, last = 1, last_but_one = 0;
    for (Int i = r; i < rows_.last; ++i) {
      const R next = is_cut(last) ? negated(A_.ld[i - 1] / A_.ld[i]) * last_but_one : negated(u_minus_[i]) * last;
      if ((std::abs(last) + std::abs(next)) * std::abs(A_.ld[i]) < gaptol) {
        z[i + 1] = T(0);
        bottom = i;
        return squares;
      }
      z[i + 1] = T(next);
      squares += next * next;
      last_but_one = last;
      last = next;
    }
    bottom = rows_.last;
    return squares;
  }

 private:
  /// Both transforms side by side, since each waits for its own quotients alone. A guarded one gives pivots a least
  /// magnitude, and a step behind an infinite pivot its limit. Tells whether all pivots were finite.
  template <bool guarded>
  bool sweep() {
    const auto pivot = [&](R x) { return guarded && std::abs(x) < pivmin_ ? negated(pivmin_) : x; };
    const auto [d, l, ld, lld] = A_;
    const R lambda = lambda_;
    R s = s_[rows_.first] - lambda, p = p_[rows_.last];
    Int negative_d_plus = 0, negative_d_minus = 0;
    const auto step_down = [&, d = d, l = l, ld = ld, lld = lld](Int i) {
      const R d_plus = pivot(d[i] + s);
      const R quotient = ld[i] / d_plus;
      negative_d_plus += d_plus < 0;
      l_plus_[i] = quotient;
      if constexpr (guarded) {
        s_[i + 1] = quotient == 0 ? lld[i] : (quotient * s) * l[i];  // s may be as large as the quotient is small
      } else {
        s_[i + 1] = quotient * (s * l[i]);
      }
      s = s_[i + 1] - lambda;
    };
    const auto step_up = [&, d = d, l = l, lld = lld](Int i) {
      const R d_minus = pivot(lld[i] + p);
      const R quotient = d[i] / d_minus;
      negative_d_minus += d_minus < 0;
      u_minus_[i] = quotient * l[i];
      p = (guarded && quotient == 0 ? d[i] : quotient * p) - lambda;
      p_[i] = p;
    };
    Int i = rows_.first, j = rows_.last - 1;
    for (; i < rows_.last_twist && j >= rows_.first_twist; ++i, --j) {
      step_down(i);
      step_up(j);
    }
    for (; i < rows_.last_twist; ++i) step_down(i);
    for (; j >= rows_.first_twist; --j) step_up(j);
    negative_d_plus_ = negative_d_plus;
    negative_d_minus_ = negative_d_minus;
    return std::isfinite(s) && std::isfinite(p);
  }

  /// A gamma of zero stands for its rounding error.
  R gamma_at(Int i) const {
    const R gamma = s_[i] + p_[i];
    return gamma == 0 ? Machine<R>::precision * s_[i] : gamma;
  }

  /// Whether an infinite pivot cuts the recurrence for z behind this element, the last one.
  bool is_cut(R last) const { return guarded_ && last == 0; }

  Representation<R> A_;
  Rows rows_;
  R lambda_, pivmin_;
  R *l_plus_, *u_minus_, *s_, *p_;
  Int negative_d_plus_ = 0, negative_d_minus_ = 0;
  bool guarded_ = false;
};

}  // namespace

template <Scalar T>
void lar1v(Int n, Int b1, Int bn, Real<T> lambda, const Real<T>* d, const Real<T>* l, const Real<T>* ld,
           const Real<T>* lld, Real<T> pivmin, Real<T> gaptol, T* z, Logical wantnc, Int& negcnt, Real<T>& ztz,
           Real<T>& mingma, Int& r, Int* isuppz, Real<T>& nrminv, Real<T>& resid, Real<T>& rqcorr, Real<T>* work) {
  using R = Real<T>;
  const Rows rows = r == 0 ? Rows{b1 - 1, bn - 1, b1 - 1, bn - 1} : Rows{b1 - 1, bn - 1, r - 1, r - 1};
  const TwistedFactors<R> factors(n, {d, l, ld, lld}, rows, lambda, pivmin, work);
  negcnt = is_true(wantnc) ? factors.eigenvalues_below() : -1;
  Int twist, top, bottom;
  factors.find_twist(twist, mingma);
  z[twist] = T(1);
  const R above = factors.solve_upwards(twist, gaptol, z, top);
  const R below = factors.solve_downwards(twist, gaptol, z, bottom);
  ztz = 1 + above + below;
  r = twist + 1;
  isuppz[0] = top + 1;
  isuppz[1] = bottom + 1;

  const R inverse = 1 / ztz;
  nrminv = std::sqrt(inverse);
  resid = std::abs(mingma) * nrminv;
  rqcorr = mingma * inverse;
}

}  // namespace nuv

#include "symmetric/twisted_vectors.entries.inc"
