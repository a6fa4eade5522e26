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
//
// A matrix that is factored, or in which Q is formed, has lines, columns or rows, with a place for a reflector each. If
// it has fewer reflectors than lines, they stand in the first lines (forward) or in the last (backward).

#include <algorithm>

#include "base/matrix.hpp"
#include "base/range.hpp"
#include "frame/option_matching.hpp"
#include "orthogonal/forms.hpp"

namespace nuv {

/// T may be const.
template <class T>
class StoredReflectors {
 public:
  StoredReflectors(Form form, Int n, Int k, Matrix<T> V) : V_(V), n_(n), k_(k), form_(form) {}
  StoredReflectors(char direct, char storev, Int n, Int k, T* v, Int ldv)
      : StoredReflectors({.rowwise = !same_letter(storev, 'C'), .backward = !same_letter(direct, 'F')}, n, k,
                         {v, ldv}) {}

  operator StoredReflectors<const T>() const requires(!std::is_const_v<T>) { return {form_, n_, k_, V_}; }

  Form form() const { return form_; }
  bool columnwise() const { return !form_.rowwise; }
  bool forward() const { return !form_.backward; }
  Int order() const { return n_; }
  Int count() const { return k_; }

  /// The line of reflector i of k.
  Int line(Int i, Int k) const { return forward() ? i : k_ - k + i; }

  /// The lines to which a factorisation applies the reflectors of some, and forming Q before it forms those: the ones
  /// behind them (forward) or in front of them (backward).
  Range beyond(Range some) const {
    return forward() ? Range{some.last() + 1, k_ - some.last()} : Range{1, some.first - 1};
  }

  /// Element of reflector i that is one and not stored.
  Int unit(Int i) const { return forward() ? i : n_ - k_ + i; }

  /// Elements of reflector i that are stored, on one side of its unit element.
  Range tail(Int i) const { return forward() ? Range{i + 1, n_ - i} : Range{1, unit(i) - 1}; }

  /// The same with the unit element.
  Range reach(Int i) const { return reach(Range{i, 1}); }

  /// Elements that some of the reflectors reach.
  Range reach(Range some) const {
    return forward() ? Range{some.first, n_ - some.first + 1} : Range{1, unit(some.last())};
  }

  /// The other elements.
  Range outside(Range reached) const {
    return forward() ? Range{1, reached.first - 1} : Range{reached.count + 1, n_ - reached.count};
  }

  /// The stored matrix from element e of reflector i on.
  Matrix<T> from(Int e, Int i) const { return columnwise() ? block(V_, e, i) : block(V_, i, e); }

  T& operator()(Int e, Int i) const { return *from(e, i).data; }

  /// Some elements of some reflectors, as reflectors.
  StoredReflectors part(Range elements, Range some) const {
    return {form_, elements.count, some.count, from(elements.first, some.first)};
  }

  /// Reflector i from its element e on.
  Vector<T> along(Int e, Int i) const { return {from(e, i).data, columnwise() ? 1 : V_.ld}; }

  /// Element e of reflectors i, i + 1, ...
  Vector<T> across(Int e, Int i) const { return {from(e, i).data, columnwise() ? V_.ld : 1}; }

 private:
  Matrix<T> V_;
  Int n_, k_;
  Form form_;
};

/// The lines of an m by n matrix.
template <Scalar T>
StoredReflectors<T> lines_of(Form form, Int m, Int n, Matrix<T> A) {
  return {form, form.rowwise ? n : m, form.rowwise ? m : n, A};
}

}  // namespace nuv
