#include "generalised/hessenberg_triangular.hpp"

#include <algorithm>

#include "environment/matrix_utilities.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "generalised/delayed_columns.hpp"
#include "generalised/pencil_rotations.hpp"

namespace nuv {
namespace {

/// A pencil on its way to Hessenberg-triangular form.
///
/// For one column of A after the other, rotations of rows take its elements away from the last one up, and each is
/// followed by a rotation of columns that takes away what it left below the diagonal of B:
///
///     x x x x x        x x x x x
///     x x x x x          x x x x
///       x x x x            x x x     rows 4 and 5, for the + of A,
///       x x x x              x x     then columns 4 and 5, for the + of B
///       + x x x              + x
///
/// Rotations of columns need what those of rows make of the columns they turn, and no more. So a few steps are made
/// with these columns alone, and the others are brought up to date behind them, together.
template <Scalar T>
struct HessenbergTriangularReduction {
  using Rotation = PlaneRotation<T>;
  using Rotations = RowRotations<T, 'B'>;

  Int n, ilo, ihi;
  Matrix<T> A, B;
  DelayedColumns<T>&q, &z;

  void clear_below_diagonal_of_b() const {
    if (n > 1) laset('L', n - 1, n - 1, T(0), T(0), B.at(2, 1), B.ld);
  }

  void reduce() const {
    for (Int column = ilo; column <= ihi - 2; ++column) {
      for (Int last = ihi; last >= column + 2; last -= Rotations::most) {
        reduce_rows(column, std::max(column + 2, last - Rotations::most + 1), last);
      }
    }
  }

 private:
  /// Takes away a(last ... first, j).
  void reduce_rows(Int j, Int first, Int last) const {
    Rotations rotations(first - 1, last - first + 1);
    for (Int i = last; i >= first; --i) {
      const Rotation left = Rotation::annihilate(A(i - 1, j), A(i, j));
      rotations.set(i - 1, left);
      left.turn_rows(A, i - 1, first - 1, last);
      left.turn_rows(B, i - 1, i - 1, last);
      q.turn(left.conjugated(), i - 1, i);

      const Rotation right = Rotation::annihilate(B(i, i), B(i, i - 1));
      right.turn(ihi, A, i, i - 1);
      right.turn(i - 1, B, i, i - 1);
      z.turn(right, i, i - 1);
    }
    rotations.turn(A, j + 1, first - 2);
    rotations.turn(A, last + 1, n);
    rotations.turn(B, last + 1, n);
  }
};

}  // namespace

template <Scalar T>
void gghrd(char compq, char compz, Int n, Int ilo, Int ihi, T* a, Int lda, T* b, Int ldb, T* q, Int ldq, T* z, Int ldz,
           Int& info) {
  const bool wantq = is_one_of(compq, 'V', 'I'), wantz = is_one_of(compz, 'V', 'I');
  info = 0;
  if (!is_one_of(compq, 'N', 'V', 'I')) info = -1;
  else if (!is_one_of(compz, 'N', 'V', 'I')) info = -2;
  else if (n < 0) info = -3;
  else if (ilo < 1) info = -4;
  else if (ihi > n || ihi < ilo - 1) info = -5;
  else if (lda < std::max(1, n)) info = -7;
  else if (ldb < std::max(1, n)) info = -9;
  else if (ldq < 1 || (wantq && ldq < n)) info = -11;
  else if (ldz < 1 || (wantz && ldz < n)) info = -13;
  if (info != 0) return report_bad_argument<T>("GGHRD", info);

  if (same_letter(compq, 'I')) laset('F', n, n, T(0), T(1), q, ldq);
  if (same_letter(compz, 'I')) laset('F', n, n, T(0), T(1), z, ldz);
  if (n <= 1) return;
  DelayedColumns<T> delayed_q(wantq, n, {q, ldq}), delayed_z(wantz, n, {z, ldz});
  const HessenbergTriangularReduction<T> reduction{n, ilo, ihi, {a, lda}, {b, ldb}, delayed_q, delayed_z};
  reduction.clear_below_diagonal_of_b();
  reduction.reduce();
}

}  // namespace nuv

#include "generalised/hessenberg_triangular.entries.inc"
