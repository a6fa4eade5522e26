#pragma once

// Sweeps of plane rotations multiplied into tiles, and the products by which the tiles reach a matrix. The library and
// the thread layers share this; the layers compile it for each instruction set, which NUV_ISA names then.

#include <algorithm>

#include "base/matrix.hpp"
#include "base/range.hpp"
#include "blas.hpp"

namespace nuv::inline NUV_ISA {

/// The sweeps, and the lines of a matrix that they turn: its columns, or its rows where they come from the left. Where
/// the rotations of a sweep come in falling order, lines and planes are counted from the end, so that they rise all the
/// same; plane p turns lines p and p + 1 in either way of counting.
template <RealScalar T>
struct Sweeps {
  bool from_left, rises;
  Int lines, count;
  Matrix<const T> cs;

  /// Where some of `total` stand.
  Int place(Int total, Range some) const { return rises ? some.first : total - some.last() + 1; }

  /// Applies the rotation of sweep s in plane p to columns i and i + 1 of X, to so many elements from the first one on.
  void turn(Int s, Int p, bool leaves_out_identities, Matrix<T> X, Int first, Int count, Int i) const {
    const Int row = place(lines - 1, {p, 1});
    const T cosine = cs(row, 2 * s - 1), sine = cs(row, 2 * s);
    if (leaves_out_identities && cosine == 1 && sine == 0) return;
    if (count <= short_column) return turn_short(count, X.at(first, i), X.at(first, i + 1), cosine, sine);
    blas::rot(count, column(X, first, i), column(X, first, i + 1), cosine, sine);
  }

 private:
  /// Elements up to which a kernel is not called. The next rotation reads what this one stores, and what a kernel
  /// stores of a part of a register can't be read again at once.
  static constexpr Int short_column = 8;

  static void turn_short(Int count, T* x, T* y, T cosine, T sine) {
    for (Int i = 0; i < count; ++i) {
      const T turned = cosine * x[i] + sine * y[i];
      y[i] = cosine * y[i] - sine * x[i];
      x[i] = turned;
    }
  }
};

/// A piece of the sweeps that turns `order` lines behind the first `before` ones.
struct RotationPiece {
  Int before, order;
  bool opens, closes;
};

/// The pieces into which K sweeps fall. Before sweep s + 1 can be in plane p, sweep s has to have been in plane p + 1.
/// So there is an opening piece, then parallelograms of K sweeps by K planes, of which each touches 2 K lines, and a
/// closing piece; or one piece alone, if there are no more than 2 K lines.
///
///     sweep 1   o o o o o|p p p|p p p|c c c
///           2   o o o o|p p p|p p p|c c c c
///           3   o o o|p p p|p p p|c c c c c
template <RealScalar T>
class RotationTiles {
 public:
  explicit RotationTiles(const Sweeps<T>& sweeps) : sweeps_(sweeps) {}

  Int count() const { return is_single() ? 1 : (sweeps_.lines - 1) / sweeps_.count; }

  RotationPiece piece(Int i) const {
    const Int n = sweeps_.lines, k = sweeps_.count, before = i * k;
    if (is_single()) return {.before = 0, .order = n, .opens = true, .closes = true};
    const bool closes = i == count() - 1;
    return {.before = before, .order = closes ? n - before : 2 * k, .opens = i == 0, .closes = closes};
  }

  /// Multiplies the rotations of piece i into W, from their side. They turn columns in either case: rows lie apart in
  /// memory, and the transpose costs little.
  void fill(Int i, Matrix<T> W) const {
    const RotationPiece piece = this->piece(i);
    for (Int j = 1; j <= piece.order; ++j) {
      std::fill_n(W.at(1, j), piece.order, T(0));
      W(j, j) = 1;
    }
    for (Int s = 1; s <= sweeps_.count; ++s) turn(piece, s, W);
    if (sweeps_.from_left) transpose(piece.order, W);
  }

 private:
  bool is_single() const { return sweeps_.lines - sweeps_.count <= sweeps_.count; }

  /// Turns the columns of W by what sweep s has in a piece, as far down as an element of the diagonal has come. What a
  /// parallelogram turns for the first time begins one row higher in each sweep.
  void turn(const RotationPiece& piece, Int s, Matrix<T> W) const {
    const Int k = sweeps_.count, order = piece.order;
    const Int first = piece.opens ? 1 : k - s + 1, end = piece.closes ? order : 2 * k - s + 1;
    for (Int p = first; p < end; ++p) {
      const Range rows{first, std::min(order, s + p) - first + 1};
      sweeps_.turn(s, piece.before + p, piece.closes, W, sweeps_.place(order, rows), rows.count,
                   sweeps_.place(order - 1, {p, 1}));
    }
  }

  /// In place, square by square, so that both sides of the diagonal stay in the cache.
  static void transpose(Int order, Matrix<T> W) {
    constexpr Int width = 16;
    for (Int j0 = 1; j0 <= order; j0 += width) {
      for (Int i0 = j0; i0 <= order; i0 += width) {
        for (Int j = j0; j < std::min(j0 + width, order + 1); ++j) {
          for (Int i = std::max(i0, j + 1); i < std::min(i0 + width, order + 1); ++i) std::swap(W(i, j), W(j, i));
        }
      }
    }
  }

  Sweeps<T> sweeps_;
};

/// Lines on their way through the tiles, one tile after the other.
///
/// Comments speak of A W, and of lines as columns. What comes from the left is the transpose of that, W as well; where
/// lines are counted from the end, the rows and columns of W are, too.
template <RealScalar T>
class TiledLines {
 public:
  /// length   of a line
  /// waiting  K lines of that length, which wait for the next tile
  TiledLines(const Sweeps<T>& sweeps, Int length, Matrix<T> A, Matrix<T> waiting)
      : sweeps_(sweeps), k_(sweeps.count), length_(length), A_(A), waiting_(waiting) {}

  /// W holds the tile of the piece.
  void apply(const RotationPiece& piece, Matrix<const T> W) const {
    const Tile tile{W, piece.order};
    if (piece.order <= k_) {
      const Range all{1, piece.order};
      multiply(lines(all), tile, all, all, T(0), waiting_);
      copy(piece.order, waiting_, lines(all));
    } else if (piece.opens || piece.closes) {
      const Int rest = piece.order - k_;
      if (!piece.opens) copy(k_, waiting_, lines({piece.before + 1, k_}));
      combine(tile, piece.before, rest);
      if (piece.closes) copy(k_, waiting_, lines({piece.before + rest + 1, k_}));
    } else {
      advance(tile, piece.before);
    }
  }

 private:
  struct Tile {
    Matrix<const T> W;
    Int order;
  };

  /// With a tile of order K + rest, A1 the K lines behind the first `before` ones and A2 the next `rest`:
  ///
  ///     [ A1 A2 ] := [ A1 W11 + A2 W21 | . ],    waiting lines := A1 W12 + A2 W22
  ///
  /// W21 is upper triangular, of order rest.
  void combine(const Tile& tile, Int before, Int rest) const {
    const Range head{1, k_}, tail{k_ + 1, rest}, first{1, rest}, last{rest + 1, k_};
    const Matrix<T> A1 = lines({before + 1, k_}), A2 = lines({before + k_ + 1, rest});
    multiply(A1, tile, head, last, T(0), waiting_);
    multiply(A2, tile, tail, last, T(1), waiting_);
    multiply_by_triangle('U', tile, tail, first, A2);
    multiply(A1, tile, head, first, T(1), A2);
    copy(rest, A2, lines({before + 1, rest}));
  }

  /// A parallelogram's tile, with A2 the lines behind the first `before` + K ones; A1, which is to be the K lines
  /// before them, waits:
  ///
  ///     lines := A1 W11 + A2 W21,    waiting lines := A1 W12 + A2 W22,    W21 upper, W12 lower triangular
  void advance(const Tile& tile, Int before) const {
    const Range head{1, k_}, tail{k_ + 1, k_};
    const Matrix<T> finished = lines({before + 1, k_}), A2 = lines({before + k_ + 1, k_});
    copy(k_, A2, finished);
    multiply_by_triangle('U', tile, tail, head, finished);
    multiply(waiting_, tile, head, head, T(1), finished);
    multiply_by_triangle('L', tile, head, tail, waiting_);
    multiply(A2, tile, tail, tail, T(1), waiting_);
  }

  Matrix<T> lines(Range some) const {
    const Int first = sweeps_.place(sweeps_.lines, some);
    return sweeps_.from_left ? block(A_, first, 1) : block(A_, 1, first);
  }

  /// The part of a tile that takes some lines to some others.
  Matrix<const T> part(const Tile& tile, Range from, Range to) const {
    const Int i = sweeps_.place(tile.order, from), j = sweeps_.place(tile.order, to);
    return sweeps_.from_left ? block(tile.W, j, i) : block(tile.W, i, j);
  }

  /// Y := X W + beta Y with a part of W.
  void multiply(Matrix<const T> X, const Tile& tile, Range from, Range to, T beta, Matrix<T> Y) const {
    const Matrix<const T> W = part(tile, from, to);
    if (sweeps_.from_left) {
      blas::gemm('N', 'N', to.count, length_, from.count, T(1), W, X, beta, Y);
    } else {
      blas::gemm('N', 'N', length_, to.count, from.count, T(1), X, W, beta, Y);
    }
  }

  /// X := X W with a part of W that is an upper or lower triangle.
  void multiply_by_triangle(char uplo, const Tile& tile, Range from, Range to, Matrix<T> X) const {
    const Matrix<const T> W = part(tile, from, to);
    const bool is_upper_in_memory = (uplo == 'U') == (sweeps_.from_left != sweeps_.rises);
    const char in_memory = is_upper_in_memory ? 'U' : 'L';
    if (sweeps_.from_left) {
      blas::trmm('L', in_memory, 'N', 'N', to.count, length_, T(1), W, X);
    } else {
      blas::trmm('R', in_memory, 'N', 'N', length_, to.count, T(1), W, X);
    }
  }

  void copy(Int count, Matrix<const T> from, Matrix<T> to) const {
    const Int rows = sweeps_.from_left ? count : length_, columns = sweeps_.from_left ? length_ : count;
    for (Int j = 1; j <= columns; ++j) std::copy_n(from.at(1, j), rows, to.at(1, j));
  }

  Sweeps<T> sweeps_;
  Int k_, length_;
  Matrix<T> A_, waiting_;
};

}  // namespace nuv::inline NUV_ISA
