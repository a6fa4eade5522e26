#pragma once

// The four ways in which a block of k reflectors of order n is stored, in one set of indices: element e of reflector i,
// 1 <= e <= n and 1 <= i <= k, whether it stands in V(e, i) or, as a conjugate, in V(i, e).
//
//     columnwise, forward   1          rowwise, forward    1 v v v v
//                           v 1                              1 v v v
//                           v v 1                              1 v v
//
//     columnwise, backward  v v v      rowwise, backward   v v 1
//                           1 v v                          v v v 1
//                             1 v                          v v v v 1
//                               1

#include "base/hermitian.hpp"
#include "base/matrix.hpp"
#include "frame/option_matching.hpp"

namespace nuv {

/// Indices first, first + 1, ...
struct Range {
  Int first, count;
};

/// T may be const.
template <class T>
class StoredReflectors {
 public:
  StoredReflectors(char direct, char storev, Int n, Int k, T* v, Int ldv)
      : V_(v, ldv), n_(n), k_(k), columnwise_(same_letter(storev, 'C')), forward_(same_letter(direct, 'F')) {}

  bool columnwise() const { return columnwise_; }
  bool forward() const { return forward_; }

  /// Element of reflector i that is one and not stored.
  Int unit(Int i) const { return forward_ ? i : n_ - k_ + i; }

  /// Elements of reflector i that are stored, on one side of its unit element.
  Range tail(Int i) const { return forward_ ? Range{i + 1, n_ - i} : Range{1, unit(i) - 1}; }

  /// The same with the unit element.
  Range reach(Int i) const { return forward_ ? Range{i, n_ - i + 1} : Range{1, unit(i)}; }

  /// The stored matrix from element e of reflector i on.
  Matrix<T> from(Int e, Int i) const { return columnwise_ ? block(V_, e, i) : block(V_, i, e); }

  T& operator()(Int e, Int i) const { return *from(e, i).data; }

  /// Reflector i from its element e on.
  Vector<T> along(Int e, Int i) const { return {from(e, i).data, columnwise_ ? 1 : V_.ld}; }

  /// Element e of reflectors i, i + 1, ...
  Vector<T> across(Int e, Int i) const { return {from(e, i).data, columnwise_ ? V_.ld : 1}; }

 private:
  Matrix<T> V_;
  Int n_, k_;
  bool columnwise_, forward_;
};

}  // namespace nuv
