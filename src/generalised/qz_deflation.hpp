#pragma once

// Where a Hessenberg-triangular pencil falls apart: at elements below the diagonal of H that are negligible, and at
// diagonal elements of P that are.

#include <algorithm>

#include "environment/abs1.hpp"
#include "generalised/qz_pencil.hpp"

namespace nuv {

/// What stands at the end of the rows that are not done.
enum class QzFinding {
  eigenvalue,   ///< the last row and column are decoupled
  zero_in_p,    ///< the last element of P is zero
  active_block  ///< more than one row and column, with nothing negligible on P's diagonal
};

/// Looks for negligible elements from the end upwards, sets them to zero and decouples what they let decouple.
template <Scalar T>
class QzDeflation {
  using Rotation = PlaneRotation<T>;

 public:
  explicit QzDeflation(QzPencil<T>& pencil) : p_(pencil), H_(pencil.H), P_(pencil.P) {}

  /// Sets the first row of an active block.
  QzFinding find() {
    if (is_decoupled_above(p_.last)) return QzFinding::eigenvalue;
    if (p_.is_negligible_in_p(p_.last)) {
      P_(p_.last, p_.last) = T(0);
      return QzFinding::zero_in_p;
    }
    for (Int j = p_.last - 1;; --j) {
      const bool starts_block = is_decoupled_above(j);
      if (p_.is_negligible_in_p(j)) {
        P_(j, j) = T(0);
        if (starts_block) return split_in_front(j, false);
        if (are_two_negligible(j)) return split_in_front(j, true);
        chase_zero(j);
        return QzFinding::zero_in_p;
      }
      if (starts_block) {
        p_.first = j;
        return QzFinding::active_block;
      }
    }
  }

  /// With a zero in the last place of P: takes the element of H beside it away by a rotation of columns, so that an
  /// infinite eigenvalue is decoupled.
  void decouple_infinite() const {
    const Int last = p_.last;
    const Rotation rotation = Rotation::annihilate(H_(last, last), H_(last, last - 1));
    p_.turn_columns(rotation, last - 1, last - 1, last - 1);
  }

 private:
  /// Whether nothing couples row j to the one above it.
  bool is_decoupled_above(Int j) const {
    if (j == p_.ilo) return true;
    if (!p_.is_negligible_in_h(j)) return false;
    H_(j, j - 1) = T(0);
    return true;
  }

  /// Where p(j, j) is zero: whether two consecutive elements below the diagonal of H are so small together that
  /// a rotation of rows j and j + 1 may forget what it brings to h(j + 1, j - 1).
  bool are_two_negligible(Int j) const {
    Real<T> above = abs1(H_(j, j - 1)), diagonal = abs1(H_(j, j));
    if constexpr (RealScalar<T>) {
      const T larger = std::max(above, diagonal);
      if (larger < 1 && larger != 0) {
        above /= larger;
        diagonal /= larger;
      }
    }
    return above * (p_.ascale * abs1(H_(j + 1, j))) <= diagonal * (p_.ascale * p_.atol);
  }

  /// With a zero in the first place of P's block: decouples the first row by a rotation of it and the next one, which
  /// takes h(j + 1, j) away,
  ///
  ///     H  x x x    P  0 x x         H  x x x    P  0 x x
  ///        x x x         x x   -->      0 x x         x x
  ///          x x           x              x x           x
  ///
  /// and goes on with the next row where that has a zero then, too.
  QzFinding split_in_front(Int j, bool is_coupled_above) {
    for (Int k = j; k < p_.last; ++k) {
      const Rotation rotation = Rotation::annihilate(H_(k, k), H_(k + 1, k));
      p_.turn_rows(rotation, k, k + 1, k + 1);
      if (is_coupled_above && k == j) H_(k, k - 1) *= rotation.c;
      if (!p_.is_negligible_in_p(k + 1)) {
        if (k + 1 == p_.last) return QzFinding::eigenvalue;
        p_.first = k + 1;
        return QzFinding::active_block;
      }
      P_(k + 1, k + 1) = T(0);
    }
    return QzFinding::zero_in_p;
  }

  /// Moves a zero on P's diagonal to the last place: rows k and k + 1 are turned so that the zero moves on, and columns
  /// k and k - 1 so that H remains what it was.
  ///
  ///     H  x x x x    P  x x x x         H  x x x x    P  x x x x
  ///        x x x x         0 x x   -->      x x x x         x x x
  ///          x x x           x x            + x x x           0 x
  ///            x x             x                x x             x
  void chase_zero(Int j) const {
    for (Int k = j; k < p_.last; ++k) {
      const Rotation left = Rotation::annihilate(P_(k, k + 1), P_(k + 1, k + 1));
      p_.turn_rows(left, k, k - 1, k + 2);
      const Rotation right = Rotation::annihilate(H_(k + 1, k), H_(k + 1, k - 1));
      p_.turn_columns(right, k - 1, k, k - 1);
    }
  }

  QzPencil<T>& p_;
  Matrix<T> H_, P_;
};

}  // namespace nuv
