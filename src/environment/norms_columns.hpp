#pragma once

// The storage forms of a matrix as what they hold of each column: a run of neighbours in memory.

#include <algorithm>

#include "base/matrix.hpp"
#include "environment/packed_storage.hpp"

namespace nuv {

/// `count` entries of a column, from row `first` down.
template <class T>
struct Run {
  Int first;
  Int count;
  const T* entries;

  Int last() const { return first + count - 1; }
};

/// m rows of a full matrix.
template <class T>
struct FullColumns {
  Int m;
  Matrix<const T> A;

  Run<T> operator()(Int j) const { return {1, m, A.at(1, j)}; }
};

/// An upper Hessenberg matrix of order n.
template <class T>
struct HessenbergColumns {
  Int n;
  Matrix<const T> A;

  Run<T> operator()(Int j) const { return {1, j < n ? j + 1 : n, A.at(1, j)}; }
};

/// A band of kl diagonals below and ku above the main one, of order n, whose main diagonal is row ku + 1 of AB. One
/// triangle of a band matrix is a band with no diagonals on the other side.
template <class T>
struct BandColumns {
  Int n;
  Int kl;
  Int ku;
  Matrix<const T> AB;

  Run<T> operator()(Int j) const {
    const Int above = std::min(ku, j - 1), below = std::min(kl, n - j);
    return {j - above, above + below + 1, AB.at(ku + 1 - above, j)};
  }
};

template <class T>
BandColumns<T> band_triangle(bool upper, Int n, Int k, Matrix<const T> AB) {
  return {n, upper ? 0 : k, upper ? k : 0, AB};
}

/// The upper or lower trapezoid of a full matrix with m rows.
template <class T>
struct TrapezoidColumns {
  bool upper;
  Int m;
  Matrix<const T> A;

  Run<T> operator()(Int j) const {
    if (upper) return {1, std::min(j, m), A.at(1, j)};
    return {j, j <= m ? m - j + 1 : 0, A.at(j, j)};
  }
};

/// A triangle of order n, its columns one behind the other.
template <class T>
struct PackedColumns {
  bool upper;
  Int n;
  const T* ap;

  Run<T> operator()(Int j) const {
    const PackedTriangle<const T> A{upper, n, ap};
    if (upper) return {1, j, A.at(1, j)};
    return {j, n - j + 1, A.at(j, j)};
  }
};

/// A column of a triangle without its diagonal entry, which is the last of the upper and the first of the lower one.
template <class T>
Run<T> without_diagonal(Run<T> run, Int j, bool upper) {
  if (run.count == 0 || (upper ? run.last() : run.first) != j) return run;
  return upper ? Run<T>{run.first, run.count - 1, run.entries} : Run<T>{run.first + 1, run.count - 1, run.entries + 1};
}

/// The diagonal entry of a column that has one.
template <class T>
const T& diagonal_entry(Run<T> run, bool upper) {
  return upper ? run.entries[run.count - 1] : run.entries[0];
}

}  // namespace nuv
