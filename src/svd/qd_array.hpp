#pragma once

// The array on which dqds works: two qd arrays side by side, so that a transform reads one set and writes the other.

#include "base/types.hpp"

namespace nuv {

/// Elements q(i), e(i) of set pp, 0 or 1; i counts from one.
template <class R>
class QdArray {
 public:
  explicit QdArray(R* z) : z_(z) {}

  R& q(Int i, Int pp) const { return z_[std::ptrdiff_t{4} * i - 4 + pp]; }
  R& e(Int i, Int pp) const { return z_[std::ptrdiff_t{4} * i - 2 + pp]; }

 private:
  R* z_;
};

}  // namespace nuv
