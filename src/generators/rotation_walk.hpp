#pragma once

// Random band matrices with a given spectrum: a diagonal matrix that gets its diagonals one by one (J. Demmel, A.
// McKenney, A test matrix generation suite, Argonne National Laboratory, MCS-P69-0389, 1989).
//
// A new diagonal comes from random rotations of rows, each of two adjacent ones, from the top down. Each rotation also
// makes an element outside the band, which further rotations, of columns and of rows in turn, chase up and out of the
// matrix. No element outside the band is ever stored, so that an array for the band is enough.
//
// A rotation is (x, y) := (c x + s y, -conj(s) x + conj(c) y), as in ?larot. The matrices lie in views whose element
// (i, j) may be in a packed band: with a band array of leading dimension ld, whose row r has the diagonal, the view is
// that of leading dimension ld - 1 from its row r on.

#include <algorithm>
#include <cmath>

#include "base/matrix.hpp"
#include "environment/rotation.hpp"
#include "generators/random_numbers.hpp"
#include "generators/random_orthogonal.hpp"
#include "generators/symmetry.hpp"

namespace nuv {

/// A rotation by a random angle, with random phases for complex scalars.
template <Scalar T>
void draw_rotation(Int* iseed, T& c, T& s) {
  using R = Real<T>;
  const R turns = larnd<R>(1, iseed);
  const R cosine = std::cos(two_pi<R> * turns);
  const R sine = std::sqrt((R(1) - cosine) * (R(1) + cosine));
  c = cosine;
  s = turns <= R(0.5) ? sine : negated(sine);
  if constexpr (ComplexScalar<T>) {
    c *= larnd<T>(5, iseed);
    s *= larnd<T>(5, iseed);
  }
}

/// The rotation of (bulge, pivot) to (0, r), or none if one of them is too large for a number: the matrix is past help
/// then.
template <Scalar T>
void annihilating_rotation(T bulge, T pivot, T& c, T& s) {
  Real<T> cosine = 1;
  T sine(0), r;
  const auto is_finite = [](T x) { return std::isfinite(std::real(x)) && std::isfinite(std::imag(x)); };
  if (is_finite(bulge) && is_finite(pivot)) lartg(pivot, bulge, cosine, sine, r);
  c = cosine;
  s = negated(conjugate(sine));
}

/// A matrix, or its transpose, in a view of the matrix.
template <Scalar T>
struct OrientedMatrix {
  Matrix<T> stored;
  bool is_transposed;

  T* at(Int i, Int j) const { return is_transposed ? stored.at(j, i) : stored.at(i, j); }

  T& operator()(Int i, Int j) const { return *at(i, j); }

  /// Rotates n elements of rows i and i + 1 from column j on. Element (i + 1, j) is `left` and element (i, j + n - 1)
  /// is `right` where these are given, rather than in the array.
  void rotate_rows(Int i, Int j, Int n, T c, T s, T* left, T* right) const {
    if (n == 0) return;
    T unused(0);
    larot(to_logical(!is_transposed), to_logical(left != nullptr), to_logical(right != nullptr), n, c, s, at(i, j),
          stored.ld, left != nullptr ? *left : unused, right != nullptr ? *right : unused);
  }

  /// Rotates n elements of columns j and j + 1 from row i on. Element (i, j + 1) is `top` and element (i + n - 1, j) is
  /// `bottom` where these are given.
  void rotate_columns(Int i, Int j, Int n, T c, T s, T* top, T* bottom) const {
    transposed().rotate_rows(j, i, n, c, s, top, bottom);
  }

  OrientedMatrix transposed() const { return {stored, !is_transposed}; }
};

/// An m by n matrix with zeros beyond `lower` diagonals below the main one and `upper` above it.
template <Scalar T>
struct GeneralBand {
  Int m, n, lower, upper;
  OrientedMatrix<T> A;

  GeneralBand transposed() const { return {n, m, upper, lower, A.transposed()}; }

  /// Rotates columns j and j + 1 so that the bulge, in row j + lower + 1 of column j, vanishes, or, where that row is
  /// beyond the last, by what c and s are. Gives the element (j - upper, j + 1), outside the band, that this makes.
  T rotate_columns(Int j, T c, T s, T* bulge) const {
    const Int first = std::max(1, j - upper), last = std::min(m, j + lower + 1);
    T top(0);
    A.rotate_columns(first, j, last - first + 1, c, s, j > upper ? &top : nullptr, bulge);
    return top;
  }

  /// Rids the matrix of the bulge below column j, and of those above and below the band that this makes in turn.
  void chase(Int j, T bulge) const {
    GeneralBand band = *this;
    while (j >= 1) {
      T c, s;
      annihilating_rotation(bulge, band.A(j + band.lower + 1, j + 1), c, s);
      bulge = band.rotate_columns(j, c, s, &bulge);
      j -= band.upper;
      band = band.transposed();
    }
  }

  /// Fills the outermost of the upper diagonals, which is zero. Where the rows are at their end and columns of the band
  /// are left, those are rotated.
  void fill_outermost_diagonal(Int* iseed) const {
    const Int columns = upper < n - m ? m + upper : n;  // that the band reaches
    for (Int i = 1; i < columns + lower; ++i) {
      const Int j = i - lower;  // where the bulge below the band is
      if (i >= m && j < 1) continue;
      T c, s;
      draw_rotation(iseed, c, s);
      if (i < m) {
        const Int first = std::max(1, j), last = std::min(n, i + upper);
        T bulge(0);
        A.rotate_rows(i, first, last - first + 1, c, s, j >= 1 ? &bulge : nullptr, nullptr);
        chase(j, bulge);
      } else {
        const T next = rotate_columns(j, c, s, nullptr);
        transposed().chase(j - upper, next);
      }
    }
  }
};

/// Gives a diagonal matrix kl and ku diagonals beside the main one, with the same singular values.
template <Scalar T>
void widen_general_band(Int m, Int n, Int kl, Int ku, OrientedMatrix<T> A, Int* iseed) {
  for (Int upper = 1; upper <= ku; ++upper) GeneralBand<T>{m, n, 0, upper, A}.fill_outermost_diagonal(iseed);
  for (Int lower = 1; lower <= kl; ++lower) {
    GeneralBand<T>{m, n, lower, ku, A}.transposed().fill_outermost_diagonal(iseed);
  }
}

/// The upper triangle of a symmetric or Hermitian matrix of order n with k diagonals above the main one.
template <Scalar T>
struct SymmetricBand {
  Symmetry symmetry;
  Int n, k;
  OrientedMatrix<T> A;

  /// A := G A G^T, or G A G^H, for a rotation G of i and i + 1. The bulge in row i, which is the element (i, i + k +
  /// 1), takes part where it is given. Gives the element (i - k, i + 1), outside the band, that this makes.
  T rotate(Int i, T c, T s, T* bulge) const {
    const T c_right = mirrored(symmetry, c), s_right = mirrored(symmetry, s);
    rotate_diagonal_block(i, c, s, c_right, s_right);

    const Int last = bulge != nullptr ? i + k + 1 : std::min(n, i + k);
    A.rotate_rows(i, i + 2, std::max(0, last - i - 1), c, s, nullptr, bulge);

    const Int first = std::max(1, i - k);
    T top(0);
    A.rotate_columns(first, i, i - first, c_right, s_right, i > k ? &top : nullptr, nullptr);
    return top;
  }

  void rotate_diagonal_block(Int i, T c, T s, T c_right, T s_right) const {
    T &a11 = A(i, i), &a12 = A(i, i + 1), &a22 = A(i + 1, i + 1);
    const T a21 = mirrored(symmetry, a12);
    const T b11 = c * a11 + s * a21, b12 = c * a12 + s * a22;
    const T b21 = conjugate(c) * a21 - conjugate(s) * a11, b22 = conjugate(c) * a22 - conjugate(s) * a12;
    a11 = on_diagonal(symmetry, c_right * b11 + s_right * b12);
    a12 = conjugate(c_right) * b12 - conjugate(s_right) * b11;
    a22 = on_diagonal(symmetry, conjugate(c_right) * b22 - conjugate(s_right) * b21);
  }

  /// Fills the outermost diagonal, which is zero.
  void fill_outermost_diagonal(Int* iseed) const {
    for (Int i = 1; i < n; ++i) {
      T c, s;
      draw_rotation(iseed, c, s);
      if (A.is_transposed) {
        c = mirrored(symmetry, c);
        s = mirrored(symmetry, s);
      }
      T bulge = rotate(i, c, s, nullptr);
      for (Int j = i - k; j >= 1; j -= k) {
        annihilating_rotation(bulge, A(j + 1, j + k + 1), c, s);
        bulge = rotate(j, c, s, &bulge);
      }
    }
  }
};

/// Gives a diagonal matrix k diagonals on each side of the main one, with the same eigenvalues, or singular values
/// where it is complex symmetric. A view of the transpose gets the elements of the same matrix in its lower triangle.
template <Scalar T>
void widen_symmetric_band(Symmetry symmetry, Int n, Int k, OrientedMatrix<T> A, Int* iseed) {
  for (Int width = 1; width <= k; ++width) SymmetricBand<T>{symmetry, n, width, A}.fill_outermost_diagonal(iseed);
}

}  // namespace nuv
