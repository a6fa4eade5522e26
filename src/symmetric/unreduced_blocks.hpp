#pragma once

// What the QL and QR iterations for symmetric tridiagonal matrices have in common: the blocks into which small
// off-diagonals cut the matrix, their scaling, and the direction in which one is worked off.

#include <algorithm>
#include <cmath>

#include "environment/machine_constants.hpp"
#include "environment/norms_symmetric.hpp"
#include "environment/scaling.hpp"

namespace nuv {

/// Sweeps after which the iteration gives up on a matrix of order n.
constexpr std::int64_t most_sweeps(Int n) {
  return std::int64_t{30} * n;
}

/// Last row of the unreduced block that begins in row `first`, cut off from what stands before and behind it. Diagonal
/// d and e beside it are those of the whole matrix, of order n.
template <RealScalar R>
Int cut_off_block(Int first, Int n, const R* d, R* e) {
  if (first > 1) e[first - 2] = 0;
  for (Int m = first; m < n; ++m) {
    R& beside = e[m - 1];
    if (beside == 0) return m;
    if (std::sqrt(std::abs(d[m - 1])) * std::sqrt(std::abs(d[m])) * Machine<R>::eps >= std::abs(beside)) {
      beside = 0;
      return m;
    }
  }
  return n;
}

/// Number of off-diagonals of a matrix of order n that are not zero.
template <RealScalar R>
Int count_unreduced(Int n, const R* e) {
  return static_cast<Int>(std::count_if(e, e + (n - 1), [](R x) { return x != 0; }));
}

/// Brings a block into a range where squares neither overflow nor matter when they underflow, and back.
template <RealScalar R>
class BlockScale {
 public:
  /// Of order n >= 2.
  BlockScale(Int n, const R* d, const R* e) : norm_(lanst('I', n, d, e)) {
    const R largest = std::sqrt(1 / Machine<R>::safe_min) / 3;
    const R smallest = std::sqrt(Machine<R>::safe_min) / (Machine<R>::eps * Machine<R>::eps);
    if (norm_ > largest) scaled_norm_ = largest;
    else if (norm_ < smallest) scaled_norm_ = smallest;
  }

  bool is_of_zeros() const { return norm_ == 0; }

  void apply(Int count, R* x) const { scale(norm_, scaled_norm_, count, x); }
  void undo(Int count, R* x) const { scale(scaled_norm_, norm_, count, x); }

 private:
  void scale(R from, R to, Int count, R* x) const {
    Int info = 0;
    if (scaled_norm_ != 0) lascl('G', 0, 0, from, to, count, 1, x, std::max(1, count), info);
  }

  R norm_, scaled_norm_ = 0;  ///< zero: there is no need
};

/// A tridiagonal matrix from whose row `row` towards row `last` a block is worked off, by rising rows (QL) or falling
/// ones (QR).
template <RealScalar R>
class DirectedBlock {
 public:
  /// Rows first to last > first, from the end with the smaller diagonal element on: what is small is found first.
  DirectedBlock(Int first, Int last, R* d, R* e) : row(first), last(last), step(1), d_(d), e_(e) {
    if (std::abs(diagonal(last)) < std::abs(diagonal(first))) {
      row = last;
      this->last = first;
      step = -1;
    }
  }

  bool rises() const { return step > 0; }
  bool is_done() const { return rises() ? row > last : row < last; }

  R& diagonal(Int i) const { return d_[i - 1]; }
  /// The off-diagonal between rows i and i + 1, and that between row i and the next one in the direction of work.
  R& below(Int i) const { return e_[i - 1]; }
  R& beyond(Int i) const { return below(rises() ? i : i - 1); }

  /// The first row from `row` on behind which the matrix falls apart, by is_negligible(i), and cuts it there.
  template <class Test>
  Int end_of_piece(Test is_negligible) const {
    Int m = row;
    while (m != last && !is_negligible(m)) m += step;
    if (m != last) beyond(m) = 0;
    return m;
  }

  Int row, last, step;

 private:
  R *d_, *e_;
};

}  // namespace nuv
