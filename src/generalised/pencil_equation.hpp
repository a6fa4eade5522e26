#pragma once

// How a generalised Sylvester equation falls into smaller ones, for tgsy2, whose small ones are those of its diagonal
// blocks, and for tgsyl, which has tgsy2 solve them.

#include <algorithm>

#include "environment/hermitian.hpp"
#include "frame/option_matching.hpp"
#include "nonsymmetric/diagonal_blocks.hpp"

namespace nuv {

/// Rows, columns or blocks first ... last.
struct IndexRange {
  Int first, last;

  Int count() const { return last - first + 1; }
};

/// A R - L B = C, D R - L E = F, or A^H R + D^H L = C, R B^H + L E^H = -F. Where R is known it has taken the place of
/// C, and L that of F.
///
/// In the first the rows of R and L are found from the last one on, since A and D are upper triangular, and their
/// columns from the first one on; in the adjoint the other way round.
template <Scalar T>
struct PencilEquation {
  bool is_adjoint;
  Int m, n;
  Matrix<const T> A, B;
  Matrix<T> C;
  Matrix<const T> D, E;
  Matrix<T> F;

  /// Takes what is known in rows k, columns l, to the right side in other rows.
  void carry_to_rows(IndexRange rest, IndexRange k, IndexRange l) const {
    const Int count = rest.count(), inner = k.count(), width = l.count();
    const Matrix<const T> R = block(C, k.first, l.first), L = block(F, k.first, l.first);
    const Matrix<T> C_rest = block(C, rest.first, l.first), F_rest = block(F, rest.first, l.first);
    if (is_adjoint) {
      blas::gemm(adjoint<T>, 'N', count, width, inner, T(-1), block(A, k.first, rest.first), R, T(1), C_rest);
      blas::gemm(adjoint<T>, 'N', count, width, inner, T(-1), block(D, k.first, rest.first), L, T(1), C_rest);
    } else {
      blas::gemm('N', 'N', count, width, inner, T(-1), block(A, rest.first, k.first), R, T(1), C_rest);
      blas::gemm('N', 'N', count, width, inner, T(-1), block(D, rest.first, k.first), R, T(1), F_rest);
    }
  }

  /// The same for other columns.
  void carry_to_columns(IndexRange rest, IndexRange k, IndexRange l) const {
    const Int height = k.count(), inner = l.count(), count = rest.count();
    const Matrix<const T> R = block(C, k.first, l.first), L = block(F, k.first, l.first);
    const Matrix<T> C_rest = block(C, k.first, rest.first), F_rest = block(F, k.first, rest.first);
    if (is_adjoint) {
      blas::gemm('N', adjoint<T>, height, count, inner, T(1), R, block(B, rest.first, l.first), T(1), F_rest);
      blas::gemm('N', adjoint<T>, height, count, inner, T(1), L, block(E, rest.first, l.first), T(1), F_rest);
    } else {
      blas::gemm('N', 'N', height, count, inner, T(1), L, block(B, l.first, rest.first), T(1), C_rest);
      blas::gemm('N', 'N', height, count, inner, T(1), L, block(E, l.first, rest.first), T(1), F_rest);
    }
  }

  /// Multiplies all but rows k of columns l.
  void scale_all_but(IndexRange k, IndexRange l, Real<T> factor) const {
    for (const Matrix<T> X : {C, F}) {
      for (Int j = 1; j <= n; ++j) {
        if (j < l.first || j > l.last) {
          blas::scal(m, factor, column(X, 1, j));
        } else {
          blas::scal(k.first - 1, factor, column(X, 1, j));
          blas::scal(m - k.last, factor, column(X, k.last + 1, j));
        }
      }
    }
  }
};

/// Rows or columns in pieces that begin at indices in a list, which ends with the one behind the last piece.
struct ListedPieces {
  const Int* begins;
  Int count;

  IndexRange operator()(Int i) const { return {begins[i - 1], begins[i] - 1}; }
};

/// Parts a Schur form of order n > 0 into pieces of at most `width` rows, or of one diagonal block: no block is parted,
/// and each is a piece for a width of one.
///
/// begins  room for n + 1 indices
template <Scalar T>
ListedPieces list_pieces(Matrix<const T> S, Int n, Int width, Int* begins) {
  Int count = 0;
  begins[0] = 1;
  for_each_diagonal_block(S, n, true, [&](DiagonalBlock next) {
    if (next.last - begins[count] >= width && next.first > begins[count]) begins[++count] = next.first;
  });
  begins[++count] = n + 1;
  return {begins, count};
}

/// Rows or columns one by one.
struct SinglePieces {
  Int count;

  IndexRange operator()(Int i) const { return {i, i}; }
};

/// An equation on its way through its halves.
template <Scalar T, class Pieces, class Solve>
class EquationByHalves {
  using R = Real<T>;

 public:
  EquationByHalves(const PencilEquation<T>& equation, Pieces rows, Pieces columns, Solve solve)
      : equation_(equation), rows_(rows), columns_(columns), solve_(solve) {}

  /// Gives the scale of the solution.
  R run() {
    go_on({1, rows_.count}, {1, columns_.count});
    return scale_;
  }

 private:
  static IndexRange span(const Pieces& pieces, IndexRange numbers) {
    return {pieces(numbers.first).first, pieces(numbers.last).last};
  }

  struct Halves {
    IndexRange low, high;

    explicit Halves(IndexRange numbers)
        : low{numbers.first, numbers.first + (numbers.last - numbers.first) / 2}, high{low.last + 1, numbers.last} {}
  };

  void go_on(IndexRange i, IndexRange j) {
    if (i.count() == 1 && j.count() == 1) return solve_piece(rows_(i.first), columns_(j.first));
    if (i.count() >= j.count()) {
      halve_rows(i, j);
    } else {
      halve_columns(i, j);
    }
  }

  void halve_rows(IndexRange i, IndexRange j) {
    const Halves half(i);
    const IndexRange first = equation_.is_adjoint ? half.low : half.high,
                     second = equation_.is_adjoint ? half.high : half.low;
    go_on(first, j);
    equation_.carry_to_rows(span(rows_, second), span(rows_, first), span(columns_, j));
    go_on(second, j);
  }

  void halve_columns(IndexRange i, IndexRange j) {
    const Halves half(j);
    const IndexRange first = equation_.is_adjoint ? half.high : half.low,
                     second = equation_.is_adjoint ? half.low : half.high;
    go_on(i, first);
    equation_.carry_to_columns(span(columns_, second), span(rows_, i), span(columns_, first));
    go_on(i, second);
  }

  void solve_piece(IndexRange k, IndexRange l) {
    const R factor = solve_(k, l);
    if (factor == 1) return;
    equation_.scale_all_but(k, l, factor);
    scale_ *= factor;
  }

  PencilEquation<T> equation_;
  Pieces rows_, columns_;
  Solve solve_;
  R scale_ = 1;
};

/// Solves an equation by halves (I. Jonsson and B. Kagstrom, "Recursive blocked algorithms for solving triangular
/// systems, part II", ACM Trans. Math. Softw. 28, 2002): most of the work is in products of matrices that are nearly
/// square. Gives the scale of the solution.
///
/// rows, columns  in pieces that part no diagonal block
/// solve          solve(k, l) solves the equation in rows k, columns l, for scale times its right side, and gives scale
template <Scalar T, class Pieces, class Solve>
Real<T> substitute(const PencilEquation<T>& equation, Pieces rows, Pieces columns, Solve solve) {
  return EquationByHalves<T, Pieces, Solve>(equation, rows, columns, solve).run();
}

/// 0, or minus the position of the first bad argument up to ldf.
template <Scalar T>
Int check_pencil_equation(char trans, Int ijob, Int greatest_job, Int m, Int n, Int lda, Int ldb, Int ldc, Int ldd,
                          Int lde, Int ldf) {
  const bool is_plain = same_letter(trans, 'N');
  if (!is_plain && !same_letter(trans, adjoint<T>)) return -1;
  if (is_plain && (ijob < 0 || ijob > greatest_job)) return -2;
  if (m < 0) return -3;
  if (n < 0) return -4;
  if (lda < std::max(1, m)) return -6;
  if (ldb < std::max(1, n)) return -8;
  if (ldc < std::max(1, m)) return -10;
  if (ldd < std::max(1, m)) return -12;
  if (lde < std::max(1, n)) return -14;
  if (ldf < std::max(1, m)) return -16;
  return 0;
}

}  // namespace nuv
