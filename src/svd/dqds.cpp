#include "svd/dqds.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/extremes.hpp"
#include "environment/machine_constants.hpp"
#include "environment/scaling.hpp"
#include "environment/sorting.hpp"
#include "environment/tuning.hpp"
#include "environment/two_by_two.hpp"
#include "frame/error_report.hpp"
#include "svd/dqds_step.hpp"
#include "svd/qd_array.hpp"
#include "svd/qd_two_by_two.hpp"

namespace nuv {

template <RealScalar R>
void lasq1(Int n, R* d, R* e, R* work, Int& info) {
  info = n < 0 ? -2 : 0;
  if (info != 0) return report_bad_argument<R>("LASQ1", info);
  if (n == 0) return;
  if (n == 1) {
    d[0] = std::abs(d[0]);
    return;
  }
  if (n == 2) {
    R sigmn, sigmx;
    las2(d[0], e[0], d[1], sigmn, sigmx);
    d[0] = sigmx;
    d[1] = sigmn;
    return;
  }

  R largest = 0;
  for (Int i = 0; i < n; ++i) d[i] = std::abs(d[i]);
  for (Int i = 0; i < n - 1; ++i) largest = larger_or_nan(largest, std::abs(e[i]));
  Int iinfo;
  if (largest == 0) return lasrt('D', n, d, iinfo);
  for (Int i = 0; i < n; ++i) largest = larger_or_nan(largest, d[i]);

  // The largest square comes close to overflow, so that small ones are far from underflow.
  const R scale = std::sqrt(Machine<R>::precision / Machine<R>::safe_min);
  blas::copy(n, {d, 1}, {work, 2});
  blas::copy(n - 1, {e, 1}, {work + 1, 2});
  lascl('G', 0, 0, largest, scale, 2 * n - 1, 1, work, 2 * n - 1, iinfo);
  for (std::ptrdiff_t i = 0; i < std::ptrdiff_t{2} * n - 1; ++i) work[i] *= work[i];
  work[std::ptrdiff_t{2} * n - 1] = 0;

  lasq2(n, work, info);
  if (info != 0) return;
  for (Int i = 0; i < n; ++i) d[i] = std::sqrt(work[i]);
  lascl('G', 0, 0, scale, largest, n, 1, d, n, iinfo);
}

namespace {

template <RealScalar R>
inline constexpr R squared_tolerance = (100 * Machine<R>::precision) * (100 * Machine<R>::precision);

template <RealScalar R>
void solve_order_one(const R* z, Int& info) {
  if (!(z[0] < 0)) return;
  info = -201;
  report_bad_argument<R>("LASQ2", -2);
}

template <RealScalar R>
void solve_order_two(R* z, Int& info) {
  if (z[1] < 0 || z[2] < 0) info = -2;
  else if (z[0] < 0) info = -201;
  if (info != 0) return report_bad_argument<R>("LASQ2", -2);
  z[4] = z[0] + z[1] + z[2];
  solve_two_by_two(z[0], z[1], z[2], squared_tolerance<R>);
  z[1] = z[2];
  z[5] = z[1] + z[0];
}

/// The iteration on a qd array of order three or more.
template <RealScalar R>
class Dqds {
 public:
  Dqds(Int n, R* z) : n_(n), Z_(z), s_{1, n, z, 0, 0, 0, 0, 0, 0, 2, std::int64_t{2} * (n - 1), trusts_infinities()} {}

  void run(Int& info) {
    R* const z = s_.z;
    R sum_of_q, sum_of_e;
    info = check_and_sum(sum_of_q, sum_of_e);
    if (info != 0) return report_bad_argument<R>("LASQ2", -2);
    if (sum_of_e == 0) return sort_diagonal(sum_of_q);
    spread();
    if (R(1.5) * Z_.q(1, 0) < Z_.q(n_, 0)) reverse();
    for (const Int pp : {0, 1}) transform_and_split(pp);
    info = find_all();
    if (info != 0) return;

    for (Int k = 1; k <= n_; ++k) z[k - 1] = Z_.q(k, 0);
    Int iinfo;
    lasrt('D', n_, z, iinfo);
    tell_statistics(sum_of_q + sum_of_e);
  }

 private:
  /// Whether the environment trusts infinities and NaNs, so that a transform need not look at what it divides by.
  static Logical trusts_infinities() {
    const RoutineName<R> name("LASQ2");
    return to_logical(ilaenv(10, name, "N", 1, 2, 3, 4) == 1 && ilaenv(11, name, "N", 1, 2, 3, 4) == 1);
  }

  /// 0, or -(200 + k) for the first z(k) < 0.
  Int check_and_sum(R& sum_of_q, R& sum_of_e) const {
    sum_of_q = sum_of_e = 0;
    for (std::ptrdiff_t k = 1; k <= std::ptrdiff_t{2} * n_ - 1; ++k) {
      const R value = s_.z[k - 1];
      if (value < 0) return static_cast<Int>(-(200 + k));
      (k % 2 == 1 ? sum_of_q : sum_of_e) += value;
    }
    return 0;
  }

  void sort_diagonal(R sum_of_q) const {
    R* const z = s_.z;
    for (std::ptrdiff_t k = 1; k < n_; ++k) z[k] = z[2 * k];
    Int iinfo;
    lasrt('D', n_, z, iinfo);
    z[std::ptrdiff_t{2} * n_ - 2] = sum_of_q;
  }

  /// Makes room for the second set.
  void spread() const {
    const R* const z = s_.z;
    for (Int k = n_; k >= 1; --k) {
      const std::ptrdiff_t at = std::ptrdiff_t{2} * k - 2;
      const R q = z[at], e = k < n_ ? z[at + 1] : R(0);
      Z_.q(k, 0) = q;
      Z_.q(k, 1) = 0;
      Z_.e(k, 0) = e;
      Z_.e(k, 1) = 0;
    }
  }

  void reverse() const {
    for (Int i = 1, j = n_; i < j; ++i, --j) std::swap(Z_.q(i, 0), Z_.q(j, 0));
    for (Int i = 1, j = n_ - 1; i < j; ++i, --j) std::swap(Z_.e(i, 0), Z_.e(j, 0));
  }

  /// Two looks at the array, each for e's that are negligible beside the d above or below them (the criterion of R.-C.
  /// Li); the second is a transform without shift of set pp into the other.
  void transform_and_split(Int pp) const {
    constexpr R tol2 = squared_tolerance<R>, safe_min = Machine<R>::safe_min;
    R d = Z_.q(n_, pp);
    for (Int i = n_ - 1; i >= 1; --i) {
      R& e = Z_.e(i, pp);
      if (e <= tol2 * d) {
        e = 0;
        d = Z_.q(i, pp);
      } else {
        d = Z_.q(i, pp) * (d / (d + e));
      }
    }

    const Int out = 1 - pp;
    d = Z_.q(1, pp);
    for (Int i = 1; i < n_; ++i) {
      R& e = Z_.e(i, pp);
      const R following = Z_.q(i + 1, pp), q = d + e;
      if (e <= tol2 * d) {
        e = 0;
        Z_.q(i, out) = d;
        Z_.e(i, out) = 0;
        d = following;
      } else if (safe_min * following < q && safe_min * q < following) {
        const R ratio = following / q;
        Z_.q(i, out) = q;
        Z_.e(i, out) = e * ratio;
        d *= ratio;
      } else {
        Z_.q(i, out) = q;
        Z_.e(i, out) = following * (e / q);
        d = following * (d / q);
      }
    }
    Z_.q(n_, out) = d;
  }

  /// Works from the last block to the first.
  Int find_all() {
    for (std::int64_t blocks = 0; blocks <= n_; ++blocks) {
      if (s_.n0 < 1) return 0;
      const R marker = s_.n0 == n_ ? R(0) : Z_.e(s_.n0, 0);
      if (marker > 0) return 1;
      s_.sigma = negated(marker);
      s_.desig = 0;
      find_block();
      if (!finish_block()) return 2;
    }
    return s_.n0 < 1 ? 0 : 3;
  }

  /// Looks upwards for the first row of the block that ends at n0, and for bounds of its elements.
  void find_block() {
    Int i = s_.n0;
    R qmin = Z_.q(i, 0), emax = 0, emin = i > 1 ? std::abs(Z_.e(i - 1, 0)) : R(0);
    s_.qmax = qmin;
    for (; i > 1; --i) {
      const R e = Z_.e(i - 1, 0);
      if (e <= 0) break;
      if (qmin >= 4 * emax) {
        qmin = std::min(qmin, Z_.q(i, 0));
        emax = std::max(emax, e);
      }
      s_.qmax = std::max(s_.qmax, Z_.q(i - 1, 0) + e);
      emin = std::min(emin, e);
    }
    s_.i0 = i;
    if (i < s_.n0) Z_.e(s_.n0, 0) = emin;
    s_.pp = 0;
    s_.dmin = negated(std::max(R(0), qmin - 2 * std::sqrt(qmin) * std::sqrt(emax)));
  }

  /// Steps until the last block, which may become shorter on the way, is empty; false if that takes too many.
  bool finish_block() {
    const std::int64_t limit = 30 * (std::int64_t{s_.n0} - s_.i0 + 1);
    for (std::int64_t step = 0; step < limit; ++step) {
      if (s_.i0 > s_.n0) return true;
      advance(s_);
      s_.pp = 1 - s_.pp;
      if (s_.pp == 0 && s_.n0 - s_.i0 >= 3) split();
    }
    return s_.i0 > s_.n0;
  }

  /// Where the least e says that some are negligible the block is split: the e there becomes minus the sum of shifts
  /// that the part above has had.
  void split() {
    constexpr R tol2 = squared_tolerance<R>;
    const Int n0 = s_.n0;
    if (!(Z_.e(n0, 1) <= tol2 * s_.qmax || Z_.e(n0, 0) <= tol2 * s_.sigma)) return;
    Int last_above = s_.i0 - 1;
    s_.qmax = Z_.q(s_.i0, 0);
    R emin = Z_.e(s_.i0, 0), former_emin = Z_.e(s_.i0, 1);
    for (Int i = s_.i0; i <= n0 - 3; ++i) {
      if (Z_.e(i, 1) <= tol2 * Z_.q(i, 0) || Z_.e(i, 0) <= tol2 * s_.sigma) {
        Z_.e(i, 0) = negated(s_.sigma);
        last_above = i;
        s_.qmax = 0;
        emin = Z_.e(i + 1, 0);
        former_emin = Z_.e(i + 1, 1);
      } else {
        s_.qmax = std::max(s_.qmax, Z_.q(i + 1, 0));
        emin = std::min(emin, Z_.e(i, 0));
        former_emin = std::min(former_emin, Z_.e(i, 1));
      }
    }
    Z_.e(n0, 0) = emin;
    Z_.e(n0, 1) = former_emin;
    s_.i0 = last_above + 1;
  }

  void tell_statistics(R trace) const {
    R* const behind = s_.z + std::ptrdiff_t{2} * n_;
    R sum = 0;
    for (Int k = n_; k >= 1; --k) sum += s_.z[k - 1];
    behind[0] = trace;
    behind[1] = sum;
    behind[2] = static_cast<R>(s_.iter);
    behind[3] = static_cast<R>(s_.ndiv) / (static_cast<R>(n_) * static_cast<R>(n_));
    behind[4] = 100 * static_cast<R>(s_.nfail) / static_cast<R>(s_.iter);
  }

  Int n_;
  QdArray<R> Z_;
  DqdsState<R> s_;
};

}  // namespace

template <RealScalar R>
void lasq2(Int n, R* z, Int& info) {
  info = n < 0 ? -1 : 0;
  if (info != 0) return report_bad_argument<R>("LASQ2", info);
  if (n == 0) return;
  if (n == 1) return solve_order_one(z, info);
  if (n == 2) return solve_order_two(z, info);
  Dqds<R>(n, z).run(info);
}

}  // namespace nuv

#include "svd/dqds.entries.inc"
