#pragma once

// What the eigenvectors of real and of complex pencils (S, P) in generalised Schur form have in common: what is asked
// for, the numbers a and b of the singular matrix a S - b P that substitution solves with, and what becomes of a
// vector.

#include <algorithm>
#include <complex>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/abs1.hpp"
#include "environment/extremes.hpp"
#include "environment/machine_constants.hpp"
#include "frame/option_matching.hpp"
#include "nonsymmetric/eigenvector_columns.hpp"

namespace nuv {

/// 0, or minus the position of the first bad argument among those up to ldp.
inline Int check_pencil(char side, char howmny, Int n, Int lds, Int ldp) {
  if (!is_one_of(side, 'R', 'L', 'B')) return -1;
  if (!is_one_of(howmny, 'A', 'B', 'S')) return -2;
  if (n < 0) return -4;
  if (lds < std::max(1, n)) return -6;
  if (ldp < std::max(1, n)) return -8;
  return 0;
}

/// 0, or minus the position of the first bad argument from ldvl on, for m columns of vectors.
inline Int check_room(const WantedVectors& wanted, Int n, Int ldvl, Int ldvr, Int mm, Int m) {
  if (ldvl < 1 || (wanted.left && ldvl < n)) return -10;
  if (ldvr < 1 || (wanted.right && ldvr < n)) return -12;
  if (mm < m) return -13;
  return 0;
}

/// Sizes of a pencil: the largest sums of magnitudes in a column of either matrix, and their reciprocals.
template <RealScalar R>
struct PencilSizes {
  static constexpr R safe_min = Machine<R>::safe_min;

  R s, p;
  R s_scale, p_scale;
  R small;        ///< what is smaller has lost digits to underflow, or will
  R largest_sum;  ///< what sums of products have to stay below

  PencilSizes(Int n, R s_size, R p_size)
      : s(s_size),
        p(p_size),
        s_scale(1 / std::max(s_size, safe_min)),
        p_scale(1 / std::max(p_size, safe_min)),
        small(safe_min * R(n) / Machine<R>::precision),
        largest_sum(1 / (safe_min * R(n))) {}
};

/// Where a diagonal element of S and that of P are both as good as zero, any number is an eigenvalue.
template <Scalar T>
bool is_indefinite(T s, T p) {
  return abs1(s) <= Machine<Real<T>>::safe_min && std::abs(std::real(p)) <= Machine<Real<T>>::safe_min;
}

/// a real and b with a singular a S - b P, so that b / a is an eigenvalue.
template <RealScalar R>
struct PencilShift {
  R a;
  std::complex<R> b;
  R a_size, b_size;

  PencilShift(R a_, std::complex<R> b_) : a(a_), b(b_), a_size(std::abs(a_)), b_size(abs1(b_)) {}

  void scale(R factor) { *this = PencilShift(factor * a, factor * b); }

  /// What pivots are replaced by that are smaller.
  R least_pivot(const PencilSizes<R>& sizes) const {
    constexpr R ulp = Machine<R>::precision;
    return std::max({ulp * a_size * sizes.s, ulp * b_size * sizes.p, Machine<R>::safe_min});
  }
};

/// That of the eigenvalue s / p of a block of order one, scaled so that neither number loses digits to underflow.
template <Scalar T>
PencilShift<Real<T>> shift_of_single(T s, Real<T> p, const PencilSizes<Real<T>>& sizes) {
  using R = Real<T>;
  constexpr R safe_min = Machine<R>::safe_min;
  const R unit = 1 / std::max({abs1(s) * sizes.s_scale, std::abs(p) * sizes.p_scale, safe_min});
  const T alpha = (unit * s) * sizes.s_scale;
  const R beta = (unit * p) * sizes.p_scale;
  R a = beta * sizes.s_scale;
  T b = alpha * sizes.p_scale;

  const bool a_is_small = std::abs(beta) >= safe_min && std::abs(a) < sizes.small;
  const bool b_is_small = abs1(alpha) >= safe_min && abs1(b) < sizes.small;
  if (a_is_small || b_is_small) {
    const R big = 1 / sizes.small;
    R scale = 1;
    if (a_is_small) scale = (sizes.small / std::abs(beta)) * std::min(sizes.s, big);
    if (b_is_small) scale = std::max(scale, (sizes.small / abs1(alpha)) * std::min(sizes.p, big));
    scale = std::min(scale, 1 / (safe_min * std::max({R(1), std::abs(a), abs1(b)})));
    a = a_is_small ? sizes.s_scale * (scale * beta) : scale * a;
    b = b_is_small ? sizes.p_scale * (scale * alpha) : scale * b;
  }
  return {a, b};
}

/// Makes the largest element of a vector in columns of V one, by the sum of the magnitudes of its parts. A NaN counts
/// as the largest; what is as good as zero stays so.
template <Scalar T>
void normalise_pencil_vector(Int n, Int parts, Matrix<T> V, Int j) {
  Real<T> largest = 0;
  for (Int i = 1; i <= n; ++i) {
    largest = larger_or_nan(largest, abs1(V(i, j)) + (parts == 2 ? abs1(V(i, j + 1)) : Real<T>(0)));
  }
  if (largest <= Machine<Real<T>>::safe_min) return;
  for (Int p = 0; p < parts; ++p) blas::scal(n, 1 / largest, column(V, 1, j + p));
}

/// A vector as substitution leaves it, or both parts of one of two conjugates: elements in rows first ... last; the
/// others are zero.
template <Scalar T>
struct PencilVector {
  Int parts;
  T* x[2];
  Int first, last;

  Int count() const { return last - first + 1; }
  Vector<const T> part(Int p) const { return {x[p] + (first - 1), 1}; }
};

/// Puts a vector, normalised, into columns of V from column j on, or V times the vector if it is to be transformed.
///
/// room    n elements for each part, if it is
template <Scalar T>
void put_pencil_vector(Int n, const PencilVector<T>& vector, bool transformed, Matrix<T> V, Int j, T* room) {
  if (transformed) {
    // By strips of columns, so that those come from memory once for both parts.
    const Int strip = vector.parts == 1 ? vector.count() : std::max(8, elements_in_cache / n);
    std::fill_n(room, std::ptrdiff_t{n} * vector.parts, T(0));
    for (Int done = 0; done < vector.count(); done += strip) {
      const Int width = std::min(strip, vector.count() - done), at = vector.first + done;
      for (Int p = 0; p < vector.parts; ++p) {
        blas::gemv('N', n, width, T(1), block(V, 1, at), Vector<const T>{vector.x[p] + (at - 1), 1}, T(1),
                   Vector{room + std::ptrdiff_t{p} * n, 1});
      }
    }
  }
  for (Int p = 0; p < vector.parts; ++p) {
    if (transformed) {
      blas::copy(n, Vector<const T>{room + std::ptrdiff_t{p} * n, 1}, column(V, 1, j + p));
    } else {
      std::fill_n(V.at(1, j + p), n, T(0));
      blas::copy(vector.count(), vector.part(p), column(V, vector.first, j + p));
    }
  }
  normalise_pencil_vector(n, vector.parts, V, j);
}

/// Column j of the identity in column j of V, for an eigenvalue of which all vectors are vectors.
template <Scalar T>
void put_unit_vector(Int n, Matrix<T> V, Int j) {
  std::fill_n(V.at(1, j), n, T(0));
  V(j, j) = T(1);
}

}  // namespace nuv
