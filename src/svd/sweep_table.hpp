#pragma once

// Sweeps of plane rotations, collected until they are applied together.

#include <algorithm>

#include "base/matrix.hpp"

namespace nuv {

/// Tables of sweeps that turn the same planes: one of them, or two that grow together.
///
/// All sweeps cover all planes that any of them turns; where a sweep turns fewer, it is made up by identities. Here
/// planes 2 to 6 of 7 are covered, a sweep in each line:
///
///     sweep 1   . c c c c c .
///           2   . 1 c c c c .
///           3   . 1 c c 1 1 .
///
/// A table has a row for each plane, and for each sweep a column of cosines and one of sines.
template <RealScalar R, int tables = 1>
class SweepTable {
 public:
  /// memory   2 * tables * sweeps * planes elements, or null for no table at all
  SweepTable(R* memory, Int planes, Int sweeps) : memory_(memory), planes_(planes), sweeps_(sweeps) { clear(); }

  bool exists() const { return memory_ != nullptr; }
  bool is_empty() const { return count_ == 0; }
  bool is_full() const { return count_ == sweeps_; }
  Int sweeps() const { return count_; }
  Int leading_dimension() const { return planes_; }

  /// The first plane covered, and the columns or rows that all of them turn.
  Int first() const { return low_; }
  Int lines() const { return high_ - low_ + 1; }

  /// A table from the first plane covered on.
  Matrix<const R> rotations(int table = 0) const { return {cosine(low_, 1, table), planes_}; }

  /// Where the next sweep has to store its rotations: the cosine of plane `first`, the others behind it, the sines a
  /// leading dimension behind the cosines.
  R* next(Int first, int table = 0) const { return cosine(first, count_ + 1, table); }

  /// Takes the next sweep, of the planes first to end - 1.
  void add(Int first, Int end) {
    ++count_;
    set_identities(count_, count_, low_, first);
    set_identities(1, count_ - 1, first, low_);
    low_ = std::min(first, low_);
    set_identities(count_, count_, end, high_);
    set_identities(1, count_ - 1, high_, end);
    high_ = std::max(end, high_);
  }

  void clear() {
    count_ = 0;
    low_ = planes_ + 1;
    high_ = 1;
  }

 private:
  R* cosine(Int row, Int sweep, int table) const {
    const std::ptrdiff_t sweeps_before = sweep - std::ptrdiff_t{1} + std::ptrdiff_t{table} * sweeps_;
    return memory_ + (row - 1) + 2 * sweeps_before * planes_;
  }

  /// In sweeps from_sweep to to_sweep, rows first to end - 1.
  void set_identities(Int from_sweep, Int to_sweep, Int first, Int end) const {
    if (first >= end) return;
    for (int table = 0; table < tables; ++table) {
      for (Int sweep = from_sweep; sweep <= to_sweep; ++sweep) {
        R* const c = cosine(first, sweep, table);
        std::fill_n(c, end - first, R(1));
        std::fill_n(c + planes_, end - first, R(0));
      }
    }
  }

  R* memory_;
  Int planes_, sweeps_;
  Int count_;
  Int low_, high_;  ///< the first plane that any sweep turns, and the one behind the last
};

}  // namespace nuv
