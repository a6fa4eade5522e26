#pragma once

// What the drivers of symmetric and Hermitian eigenproblems share: the range into which a matrix is scaled and out of
// which its eigenvalues come back, and the choice of eigenvalues.

#include <algorithm>
#include <cmath>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/machine_constants.hpp"
#include "environment/scaling.hpp"
#include "frame/option_matching.hpp"

namespace nuv {

/// The factor by which a matrix is multiplied before its eigenvalues are looked for: one whose largest element is so
/// small or so large that squares of its elements would leave the exponent range.
template <RealScalar R>
class RangeScaling {
 public:
  /// norm     the largest magnitude of an element; a NaN scales nothing
  explicit RangeScaling(R norm) : RangeScaling(norm, std::sqrt(1 / least_square())) {}

  /// For methods that bear less than the square root of the largest number.
  RangeScaling(R norm, R largest) {
    const R smallest = std::sqrt(least_square());
    if (norm > 0 && norm < smallest) {
      factor_ = smallest / norm;
    } else if (norm > largest) {
      factor_ = largest / norm;
    } else {
      return;
    }
    needed_ = true;
  }

  /// The scaling for relatively robust representations and inverse iteration, which form fourth powers.
  static RangeScaling for_representations(R norm) {
    return {norm, std::min(std::sqrt(1 / least_square()), 1 / std::sqrt(std::sqrt(Machine<R>::safe_min)))};
  }

  bool is_needed() const { return needed_; }
  R factor() const { return factor_; }

  /// Scales a triangle of order n.
  template <Scalar T>
  void apply(char uplo, Int n, Matrix<T> A) const {
    Int ignored = 0;
    if (needed_) lascl(uplo, 0, 0, R(1), factor_, n, n, A.data, A.ld, ignored);
  }

  /// Scales n elements side by side: a packed triangle, a diagonal.
  template <Scalar T>
  void apply(std::ptrdiff_t n, T* x) const {
    if (!needed_) return;
    constexpr Int most = 1 << 30;
    for (; n > most; n -= most, x += most) blas::scal(most, factor_, Vector{x, 1});
    blas::scal(static_cast<Int>(n), factor_, Vector{x, 1});
  }

  /// Takes the scaling back from m eigenvalues. Where there was a failure, info > 0, those before the info-th are
  /// eigenvalues, and the others stay as they are.
  void undo(Int m, R* w, Int info) const {
    if (needed_) blas::scal(info == 0 ? m : std::min(m, info - 1), 1 / factor_, Vector{w, 1});
  }

 private:
  /// Above it, relative rounding errors are no smaller than the least number.
  static constexpr R least_square() { return Machine<R>::safe_min / Machine<R>::precision; }

  bool needed_ = false;
  R factor_ = 1;
};

/// The eigenvalues that a driver is asked for.
template <RealScalar R>
struct Selection {
  char range;  ///< 'A': all; 'V': those in (vl, vu]; 'I': the il-th to the iu-th, in ascending order from one
  R vl, vu;
  Int il, iu;

  bool is_known() const { return is_one_of(range, 'A', 'V', 'I'); }
  bool by_value() const { return same_letter(range, 'V'); }
  bool by_index() const { return same_letter(range, 'I'); }

  /// Whether it asks for all that a matrix of order n has, and says so.
  bool takes_all(Int n) const { return same_letter(range, 'A') || (by_index() && il == 1 && iu == n); }

  /// Whether it takes the only eigenvalue of a matrix of order one.
  bool takes_only(R value) const { return !by_value() || (vl < value && value <= vu); }

  /// 0, or minus the position of the first bad bound for a matrix of order n; il and iu stand behind vu.
  Int check(Int n, Int position_of_vu) const {
    if (by_value() && n > 0 && vu <= vl) return -position_of_vu;
    if (by_index() && (il < 1 || il > std::max(1, n))) return -(position_of_vu + 1);
    if (by_index() && (iu < std::min(n, il) || iu > n)) return -(position_of_vu + 2);
    return 0;
  }

  /// The same choice for a matrix after its scaling.
  Selection scaled(const RangeScaling<R>& scaling) const {
    if (!by_value()) return *this;
    return {range, vl * scaling.factor(), vu * scaling.factor(), il, iu};
  }
};

/// A tolerance after the scaling of the matrix; one that is not positive asks for the best and stays.
template <RealScalar R>
R scaled_tolerance(R abstol, const RangeScaling<R>& scaling) {
  return abstol > 0 ? abstol * scaling.factor() : abstol;
}

}  // namespace nuv
