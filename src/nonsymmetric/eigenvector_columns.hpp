#pragma once

// What the eigenvectors of quasi-triangular and of triangular matrices have in common: what is asked for, and what
// becomes of a vector once substitution has found it.

#include <algorithm>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/abs1.hpp"
#include "environment/extremes.hpp"
#include "environment/machine_constants.hpp"
#include "frame/option_matching.hpp"

namespace nuv {

struct WantedVectors {
  bool right, left, transformed, selected;

  WantedVectors(char side, char howmny)
      : right(is_one_of(side, 'R', 'B')),
        left(is_one_of(side, 'L', 'B')),
        transformed(same_letter(howmny, 'B')),
        selected(same_letter(howmny, 'S')) {}
};

/// 0, or minus the position of the first bad argument among those before mm.
inline Int check_wanted_vectors(char side, char howmny, Int n, Int ldt, Int ldvl, Int ldvr) {
  const WantedVectors wanted(side, howmny);
  if (!wanted.right && !wanted.left) return -1;
  if (!is_one_of(howmny, 'A', 'B', 'S')) return -2;
  if (n < 0) return -4;
  if (ldt < std::max(1, n)) return -6;
  if (ldvl < 1 || (wanted.left && ldvl < n)) return -8;
  if (ldvr < 1 || (wanted.right && ldvr < n)) return -10;
  return 0;
}

/// Between which numbers substitution with a matrix of order n stays.
template <RealScalar R>
struct SubstitutionRange {
  R smallest, largest;

  explicit SubstitutionRange(Int n)
      : smallest(Machine<R>::safe_min * (R(n) / Machine<R>::precision)),
        largest((1 - Machine<R>::precision) / smallest) {}
};

/// Sums of the magnitudes (|re| + |im|) in each column of the strict upper triangle of a matrix of order n.
template <Scalar T>
void sum_columns_above_diagonal(Int n, Matrix<const T> A, Real<T>* sums) {
  for (Int j = 1; j <= n; ++j) sums[j - 1] = blas::asum(j - 1, column(A, 1, j));
}

/// A vector as substitution leaves it, or both parts of a complex pair's: elements in rows first ... first + count - 1,
/// and in part p one in row own + p; the others are zero.
template <Scalar T>
struct SubstitutedVector {
  Int parts;
  const T* x[2];
  Int own, first, count;
};

/// Puts the parts into columns of V from column j on.
template <Scalar T>
void copy_vector(Int n, const SubstitutedVector<T>& vector, Matrix<T> V, Int j) {
  const auto& [parts, x, own, first, count] = vector;
  for (Int p = 0; p < parts; ++p) {
    std::fill_n(V.at(1, j + p), n, T(0));
    blas::copy(count, {x[p] + (first - 1), 1}, column(V, first, j + p));
    V(own + p, j + p) = x[p][own + p - 1];
  }
}

/// Elements of a matrix that stay in cache between two sweeps over them.
inline constexpr Int elements_in_cache = 1 << 14;

/// Puts V times the parts into the columns of V that they take, own and the one behind it. By strips of columns, so
/// that those come from memory once for both.
template <Scalar T>
void transform_vector(Int n, const SubstitutedVector<T>& vector, Matrix<T> V) {
  const auto& [parts, x, own, first, count] = vector;
  for (Int p = 0; p < parts; ++p) blas::scal(n, x[p][own + p - 1], column(V, 1, own + p));
  const Int strip = parts == 1 ? count : std::max(8, elements_in_cache / n);
  for (Int done = 0; done < count; done += strip) {
    const Int width = std::min(strip, count - done), at = first + done;
    for (Int p = 0; p < parts; ++p) {
      blas::gemv('N', n, width, T(1), block(V, 1, at), Vector<const T>{x[p] + (at - 1), 1}, T(1),
                 column(V, 1, own + p));
    }
  }
}

/// Makes the largest element of a vector in columns of V one, by the sum of the magnitudes of its parts. A NaN counts
/// as the largest.
template <Scalar T>
void normalise_vector(Int n, Int parts, Matrix<T> V, Int j) {
  Real<T> largest = 0;
  for (Int i = 1; i <= n; ++i) {
    largest = larger_or_nan(largest, abs1(V(i, j)) + (parts == 2 ? abs1(V(i, j + 1)) : Real<T>(0)));
  }
  for (Int p = 0; p < parts; ++p) blas::scal(n, 1 / largest, column(V, 1, j + p));
}

/// Puts a vector, normalised, into columns of V from column j on, or V times the vector into those that it takes.
template <Scalar T>
void put_vector(Int n, const SubstitutedVector<T>& vector, bool transformed, Matrix<T> V, Int j) {
  if (transformed) {
    transform_vector(n, vector, V);
  } else {
    copy_vector(n, vector, V, j);
  }
  normalise_vector(n, vector.parts, V, transformed ? vector.own : j);
}

}  // namespace nuv
