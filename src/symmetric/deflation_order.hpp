#pragma once

// Which columns of a merge are left to its secular equation, and which are done.

#include "base/types.hpp"

namespace nuv {

/// Goes through n columns in increasing order of their values, each of which may be done at once or join with the next.
/// Columns are counted from one.
template <RealScalar R>
class DeflationOrder {
 public:
  /// d       the values
  /// indxp   n places: the k columns that are left, in increasing order of d, then the others in decreasing order
  DeflationOrder(Int n, const R* d, Int* indxp) : n_(n), d_(d), indxp_(indxp), first_done_(n) {}

  /// order    the columns in increasing order of d
  /// is_done(j)            whether column j needs no equation
  /// join(first, second)   makes column `first` one that is done, if its value is that of `second`; whether it did so
  template <class IsDone, class Join>
  void run(const Int* order, IsDone is_done, Join join) {
    Int waiting = 0;  // the last column that is not done, whose neighbour may take its part
    for (Int i = 0; i < n_; ++i) {
      const Int j = order[i];
      if (is_done(j)) {
        put_among_done(j);
        continue;
      }
      if (waiting != 0) join(waiting, j) ? put_among_done(waiting) : keep(waiting);
      waiting = j;
    }
    if (waiting != 0) keep(waiting);
  }

  Int k() const { return k_; }

 private:
  void keep(Int j) { indxp_[k_++] = j; }

  void put_among_done(Int j) {
    Int at = --first_done_;
    for (; at + 1 < n_ && d_[j - 1] < d_[indxp_[at + 1] - 1]; ++at) indxp_[at] = indxp_[at + 1];
    indxp_[at] = j;
  }

  Int n_;
  const R* d_;
  Int* indxp_;
  Int k_ = 0, first_done_;
};

}  // namespace nuv
