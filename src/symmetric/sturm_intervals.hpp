#pragma once

// Intervals that are narrowed by the numbers of eigenvalues below points of them.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "base/matrix.hpp"

namespace nuv {

namespace detail {

/// Vectors of the registers that every processor has.
template <RealScalar T>
struct BaselineVectors {
  static constexpr int bytes = 16;
  using Index = std::conditional_t<sizeof(T) == 8, std::int64_t, std::int32_t>;
  typedef T Numbers __attribute__((vector_size(bytes)));
  typedef Index Counts __attribute__((vector_size(bytes)));
};

}  // namespace detail

/// A tridiagonal matrix as its pivots see it.
template <RealScalar T>
struct Pivots {
  Int n;
  const T *d, *e2;
  T pivmin;

  static constexpr int lanes = detail::BaselineVectors<T>::bytes / static_cast<int>(sizeof(T));

  /// The numbers of eigenvalues below `vectors` times as many points as a vector has lanes. A count is a chain of
  /// divisions, each of which waits for the one before, so that several cost little more than one.
  template <int vectors>
  void count(const T* points, Int* counts) const {
    using Numbers = typename detail::BaselineVectors<T>::Numbers;
    using Counts = typename detail::BaselineVectors<T>::Counts;
    const Numbers least = Numbers{} + pivmin, most = Numbers{} - pivmin;
    Numbers x[vectors], q[vectors];
    Counts below[vectors] = {};
    std::memcpy(x, points, sizeof x);
    const auto note = [&](int v) {
      const Counts small = q[v] <= least;
      below[v] -= small;
      const Numbers negative = q[v] < most ? q[v] : most;
      q[v] = small ? negative : q[v];
    };
#pragma GCC unroll 4
    for (int v = 0; v < vectors; ++v) {
      q[v] = d[0] - x[v];
      note(v);
    }
    for (std::ptrdiff_t j = 1; j < n; ++j) {
#pragma GCC unroll 4
      for (int v = 0; v < vectors; ++v) {
        q[v] = d[j] - e2[j - 1] / q[v] - x[v];
        note(v);
      }
    }
    for (int i = 0; i < vectors * lanes; ++i) counts[i] = static_cast<Int>(below[i / lanes][i % lanes]);
  }
};

/// The intervals of laebz, counted from one: 1 ... last, of which those before `first` have converged.
template <RealScalar T>
struct Intervals {
  Pivots<T> pivots;
  Int mmax, last;
  Matrix<T> ab;
  Matrix<Int> nab;
  T* c;
  Int* nval;
  Int first = 1;

  static constexpr int most_vectors = 4, most_points = most_vectors * Pivots<T>::lanes;  ///< counted in one go

  void swap(Int i, Int k) const {
    for (Int side = 1; side <= 2; ++side) {
      std::swap(ab(i, side), ab(k, side));
      std::swap(nab(i, side), nab(k, side));
    }
    if (nval != nullptr) std::swap(nval[i - 1], nval[k - 1]);
  }

  void replace_end(Int i, Int side, T point, Int below) const {
    ab(i, side) = point;
    nab(i, side) = below;
  }

  /// Moves an end of interval i to its cut, or cuts it in two if both parts hold values; false if there is no room for
  /// one more.
  bool halve(Int i, Int found) {
    const T point = c[i - 1];
    const Int below = std::min(nab(i, 2), std::max(nab(i, 1), found));
    if (below == nab(i, 2)) {
      ab(i, 2) = point;
    } else if (below == nab(i, 1)) {
      ab(i, 1) = point;
    } else {
      if (last == mmax) return false;
      ++last;
      replace_end(last, 1, point, below);
      replace_end(last, 2, ab(i, 2), nab(i, 2));
      replace_end(i, 2, point, below);
    }
    return true;
  }

  /// Moves the ends of interval i so that they still enclose a point with as many values below it as are wanted.
  void close_in(Int i, Int found) const {
    const T point = c[i - 1];
    const Int wanted = nval[i - 1];
    if (found <= wanted) replace_end(i, 1, point, found);
    if (found >= wanted) replace_end(i, 2, point, found);
  }

  /// Takes the counts at the cuts of all intervals that have not converged, and narrows these by them.
  bool narrow() {
    const Int end = last;
    bool room = true;
    for (Int i = first; i <= end; i += most_points) {
      const Int count = std::min(most_points, end - i + 1);
      T points[most_points];
      Int found[most_points];
      for (Int k = 0; k < most_points; ++k) points[k] = c[i - 1 + std::min(k, count - 1)];
      if (count <= Pivots<T>::lanes) pivots.template count<1>(points, found);
      else pivots.template count<most_vectors>(points, found);
      for (Int k = 0; k < count; ++k) {
        if (nval != nullptr) close_in(i + k, found[k]);
        else if (!halve(i + k, found[k])) room = false;
      }
    }
    return room;
  }

  bool has_converged(Int i, T abstol, T reltol) const {
    const T width = std::abs(ab(i, 2) - ab(i, 1)), size = std::max(std::abs(ab(i, 2)), std::abs(ab(i, 1)));
    return width < std::max({abstol, pivots.pivmin, reltol * size}) || nab(i, 1) >= nab(i, 2);
  }

  void move_converged_to_front(T abstol, T reltol) {
    for (Int i = first; i <= last; ++i) {
      if (!has_converged(i, abstol, reltol)) continue;
      if (i > first) swap(i, first);
      ++first;
    }
  }

  void cut_in_the_middle() const {
    for (Int i = first; i <= last; ++i) c[i - 1] = T(0.5) * (ab(i, 1) + ab(i, 2));
  }
};

}  // namespace nuv
