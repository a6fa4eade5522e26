#pragma once

// The way of a diagonal block along the diagonal of a real Schur form, by swaps of neighbours.

#include "nonsymmetric/diagonal_blocks.hpp"

namespace nuv {

/// A block on its way. Where one of order two splits, its two eigenvalues go on one behind the other.
///
/// Swap   swap(at, first, second) exchanges the block of order `first` that begins in row `at` with that of order
///        `second` behind it; false if that is rejected
template <RealScalar R, class Swap>
class TravellingBlock {
 public:
  /// S     the quasi-triangular matrix of order n that tells which blocks there are
  /// from  a row of the block
  TravellingBlock(Int n, Matrix<const R> S, Int from, Swap swap) : n_(n), S_(S), swap_(swap), here_(first_row(from)) {
    order_ = order_at(here_);
  }

  /// Its first row; where it was torn apart as a swap of one of its two eigenvalues was rejected, that of the first.
  Int here() const { return here_; }

  /// The first row of the block to which a row belongs.
  Int first_row(Int j) const { return is_pair(j - 1) ? j - 1 : j; }

  /// Goes over the block that begins in that row, or ends where that does if it comes from above. False if it could
  /// not.
  bool move_to(Int row) {
    const bool forward = here_ < row;
    const Int to = forward ? row + order_at(row) - order_ : row;
    while (forward ? here_ < to : here_ > to) {
      if (!(forward ? step_forward() : step_backward())) return false;
      is_split_ = is_split_ || (order_ == 2 && !is_pair(here_));
    }
    return true;
  }

 private:
  bool is_pair(Int j) const { return nuv::is_pair<R>(S_, n_, j); }
  Int order_at(Int j) const { return is_pair(j) ? 2 : 1; }

  /// The block that begins in row `here` passes that of order `next` behind it.
  bool pass(Int order, Int next) {
    if (!swap_(here_, order, next)) return false;
    here_ += next;
    return true;
  }

  /// Passes the block behind, or as much of it as it can.
  bool step_forward() {
    const Int next = order_at(here_ + order_);
    if (!is_split_) return pass(order_, next);
    if (!swap_(here_ + 1, 1, next)) return false;
    const bool in_parts = next == 2 && !is_pair(here_ + 1);
    return in_parts ? pass(1, 1) && pass(1, 1) : pass(1, next);
  }

  /// Passes the block in front.
  bool step_backward() {
    const Int next = is_pair(here_ - 2) ? 2 : 1;
    if (!swap_(here_ - next, next, is_split_ ? 1 : order_)) return false;
    here_ -= next;
    if (!is_split_) return true;
    const bool in_parts = next == 2 && !is_pair(here_ + 1);
    return in_parts ? swap_(here_ + 2, 1, 1) && swap_(here_ + 1, 1, 1) : swap_(here_ + 1, next, 1);
  }

  Int n_;
  Matrix<const R> S_;
  Swap swap_;
  Int here_, order_ = 1;
  bool is_split_ = false;
};

}  // namespace nuv
