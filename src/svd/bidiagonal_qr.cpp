#include "svd/bidiagonal_qr.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "environment/extremes.hpp"
#include "environment/machine_constants.hpp"
#include "environment/two_by_two.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "svd/bidiagonal_rotation.hpp"
#include "svd/bidiagonal_sweeps.hpp"
#include "svd/dqds.hpp"
#include "svd/singular_vectors.hpp"

namespace nuv {
namespace {

/// Relative size of what is negligible.
template <RealScalar R>
inline constexpr R tolerance = std::max(R(10), lamch<R>('T')) * Machine<R>::eps;

/// Steps of sweeps that are allowed, in the arithmetic of 32 bits: for very large orders it has an end.
constexpr Int most_steps(Int n) {
  const auto order = static_cast<std::uint32_t>(n);
  return static_cast<Int>(6 * order * order);
}

/// An unreduced upper bidiagonal block of order two or more in the direction of its sweeps: D(k) and E(k) are counted
/// from where they begin.
template <RealScalar R>
struct DirectedBidiagonal {
  bool downwards;
  Int first, last;
  R *d, *e;

  Int order() const { return last - first + 1; }
  R& D(Int k) const { return d[downwards ? first + k - 2 : last - k]; }
  R& E(Int k) const { return e[downwards ? first + k - 2 : last - k - 1]; }

  /// The last element beside the diagonal, which converges first.
  R& last_beside() const { return E(order() - 1); }

  /// Sets an element beside the diagonal to zero that is negligible beside the values, if there is one, and tells so.
  ///
  /// least   a lower bound of the least singular value, if there is none
  bool cut(R& least) const {
    constexpr R tol = tolerance<R>;
    const Int n = order();
    if (std::abs(last_beside()) <= tol * std::abs(D(n))) {
      last_beside() = 0;
      return true;
    }
    R mu = std::abs(D(1));
    least = mu;
    for (Int k = 1; k < n; ++k) {
      const R beside = std::abs(E(k));
      if (beside <= tol * mu) {
        E(k) = 0;
        return true;
      }
      mu = std::abs(D(k + 1)) * (mu / (mu + beside));
      least = std::min(least, mu);
    }
    return false;
  }

  /// The shift of the next sweep. It is zero where another one would cost small values their accuracy.
  ///
  /// largest   element of the block
  R shift(Int order_of_matrix, R least, R largest) const {
    constexpr R tol = tolerance<R>, eps = Machine<R>::eps;
    if (static_cast<R>(order_of_matrix) * tol * (least / largest) <= std::max(eps, R(0.01) * tol)) return 0;
    const Int n = order();
    R shift, larger;
    las2(D(n - 1), last_beside(), D(n), shift, larger);
    const R start = std::abs(D(1));
    if (start > 0 && (shift / start) * (shift / start) < eps) return 0;
    return shift;
  }

  void sweep(R shift, R* store, Int ldst, Int off) const {
    const Int n = order();
    R *const d_of_block = d + (first - 1), *const e_of_block = e + (first - 1);
    if (downwards) {
      if (shift == 0) laq3(n - 1, d_of_block, e_of_block, store, ldst, off);
      else laq1(n - 1, d_of_block, e_of_block, shift, store, ldst, off);
    } else {
      if (shift == 0) laq4(n, d_of_block, e_of_block, store, ldst, off);
      else laq2(n, d_of_block, e_of_block, shift, store, ldst, off);
    }
  }
};

/// The iteration on an upper bidiagonal matrix of order n >= 2. Blocks come from the bottom.
template <Scalar T>
class BidiagonalQr {
  using R = Real<T>;

 public:
  BidiagonalQr(Int n, R* d, R* e, SingularVectors<T>& vectors)
      : n_(n), d_(d), e_(e), vectors_(vectors), threshold_(absolute_threshold()), last_(n) {}

  /// Whether it came to its end before the steps did.
  bool run() {
    while (last_ > 1 && steps_ <= most_steps(n_)) go_on();
    vectors_.apply();
    return last_ <= 1;
  }

 private:
  /// Elements beside the diagonal are negligible below it: a lower bound of the least singular value, times tolerance.
  /// Where there is no such bound, since a number is not finite, only the limit of the range counts: zeros have to be
  /// seen, or the iteration would find them again and again.
  R absolute_threshold() const {
    R least = std::abs(d_[0]), mu = least;
    for (Int i = 1; i < n_ && least != 0; ++i) {
      mu = std::abs(d_[i]) * (mu / (mu + std::abs(e_[i - 1])));
      least = smaller_or_nan(least, mu);
    }
    least /= std::sqrt(static_cast<R>(n_));
    const R relative = tolerance<R> * least, absolute = static_cast<R>(most_steps(n_)) * Machine<R>::safe_min;
    return relative > absolute ? relative : absolute;
  }

  /// Takes the next block off, or makes a sweep over it.
  void go_on() {
    R largest;
    const Int first = first_of_block(largest);
    if (first == last_) {
      --last_;
    } else if (first == last_ - 1) {
      diagonalise_pair(first);
      last_ -= 2;
    } else {
      iterate(first, largest);
    }
  }

  /// Looks upwards from the last row for the first of the block that ends there, and for its largest element.
  Int first_of_block(R& largest) const {
    largest = std::abs(d_[last_ - 1]);
    for (Int i = last_ - 1; i >= 1; --i) {
      const R beside = std::abs(e_[i - 1]);
      if (beside <= threshold_) {
        e_[i - 1] = 0;
        return i + 1;
      }
      largest = std::max({largest, std::abs(d_[i - 1]), beside});
    }
    return 1;
  }

  void diagonalise_pair(Int i) {
    R least, largest, sin_right, cos_right, sin_left, cos_left;
    lasv2(d_[i - 1], e_[i - 1], d_[i], least, largest, sin_right, cos_right, sin_left, cos_left);
    d_[i - 1] = largest;
    e_[i - 1] = 0;
    d_[i] = least;
    vectors_.add_single(i, cos_right, sin_right, cos_left, sin_left);
  }

  void iterate(Int first, R largest) {
    if (!shares_rows_with_last_block(first)) {
      downwards_ = std::abs(d_[first - 1]) >= std::abs(d_[last_ - 1]);
      vectors_.begin(downwards_ ? 'F' : 'B');
    }
    const DirectedBidiagonal<R> B{downwards_, first, last_, d_, e_};
    R least;
    if (B.cut(least)) return;
    first_before_ = first;
    last_before_ = last_;
    const R shift = B.shift(n_, least, largest);
    steps_ += last_ - first;
    B.sweep(shift, vectors_.place(first), vectors_.leading_dimension(), vectors_.distance_of_kinds());
    if (std::abs(B.last_beside()) <= threshold_) B.last_beside() = 0;
    vectors_.add(first, last_);
  }

  bool shares_rows_with_last_block(Int first) const { return first <= last_before_ && last_ >= first_before_; }

  Int n_;
  R *d_, *e_;
  SingularVectors<T>& vectors_;
  R threshold_;
  Int last_;                ///< rows behind it are done
  std::int64_t steps_ = 0;  ///< the limit may be close to the end of its range
  bool downwards_ = true;
  Int first_before_ = -1, last_before_ = -1;  ///< of the block that was swept last
};

/// Turns a lower bidiagonal matrix into an upper one by rotations of rows.
///
/// work   2 n - 2 elements
template <Scalar T>
void rotate_to_upper(Int n, Real<T>* d, Real<T>* e, const RotatedLines<T>& u, const RotatedLines<T>& c, Real<T>* work) {
  Real<T>*const cosines = work, *const sines = work + (n - 1);
  rotate_to_other_side(n, n - 1, d, e, cosines, sines);
  u.apply('F', 1, n, cosines, sines);
  c.apply('F', 1, n, cosines, sines);
}

/// Makes the values positive, and sorts them with their vectors into decreasing order.
template <Scalar T>
void finish(Int n, Real<T>* d, const SingularVectors<T>& vectors) {
  for (Int i = 1; i <= n; ++i) {
    if (d[i - 1] < 0) {
      d[i - 1] = negated(d[i - 1]);
      vectors.negate_right(i);
    }
  }
  for (Int last = n; last >= 2; --last) {
    Int least = 1;
    for (Int j = 2; j <= last; ++j) {
      if (d[j - 1] <= d[least - 1]) least = j;
    }
    if (least == last) continue;
    std::swap(d[least - 1], d[last - 1]);
    vectors.exchange(least, last);
  }
}

}  // namespace

template <Scalar T>
void bdsqr(char uplo, Int n, Int ncvt, Int nru, Int ncc, Real<T>* d, Real<T>* e, T* vt, Int ldvt, T* u, Int ldu, T* c,
           Int ldc, Real<T>* work, Int& info) {
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (n < 0) info = -2;
  else if (ncvt < 0) info = -3;
  else if (nru < 0) info = -4;
  else if (ncc < 0) info = -5;
  else if (ldvt < (ncvt > 0 ? std::max(1, n) : 1)) info = -9;
  else if (ldu < std::max(1, nru)) info = -11;
  else if (ldc < (ncc > 0 ? std::max(1, n) : 1)) info = -13;
  if (info != 0) return report_bad_argument<T>("BDSQR", info);
  if (n == 0) return;

  const RotatedLines<T> right{{vt, ldvt}, ncvt, true}, left{{u, ldu}, nru, false}, beside{{c, ldc}, ncc, true};
  if (n == 1) {
    if (d[0] < 0) {
      d[0] = negated(d[0]);
      right.negate(1);
    }
    return;
  }
  if (ncvt == 0 && nru == 0 && ncc == 0) return lasq1(n, d, e, work, info);

  if (same_letter(uplo, 'L')) rotate_to_upper(n, d, e, left, beside, work);
  SingularVectors<T> vectors(n, right, left, beside, work);
  if (BidiagonalQr<T>(n, d, e, vectors).run()) {
    finish(n, d, vectors);
  } else {
    info = static_cast<Int>(std::count_if(e, e + (n - 1), [](Real<T> x) { return x != 0; }));
  }
}

}  // namespace nuv

#include "svd/bidiagonal_qr.entries.inc"
