#include "svd/batched_rotations.hpp"

#include <algorithm>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/block_plan.hpp"
#include "environment/matrix_utilities.hpp"
#include "svd/plane_rotations.hpp"

namespace nuv {
namespace {

/// Indices first ... first + count - 1.
struct Range {
  Int first, count;
};

enum class Identities { turned, left_out };

/// The sweeps, and the lines of A that they turn: its columns, or its rows where they come from the left. Where the
/// rotations of a sweep come in falling order, lines and planes are counted from the end, so that they rise all the same;
/// plane p turns lines p and p + 1 in either way of counting.
template <RealScalar T>
struct Sweeps {
  bool from_left, rises;
  Int lines, count;
  Matrix<const T> cs;

  /// Where some of `total` stand.
  Int place(Int total, Range some) const { return rises ? some.first : total - some.first - some.count + 2; }

  /// Applies the rotation of sweep s in plane p to lines q and q + 1 of X, which has `total` of them, or rather to the
  /// elements that stand there in places from `first` on.
  void turn(Int s, Int p, Matrix<T> X, Int total, Int q, Range elements, Identities identities) const {
    const Int i = place(lines - 1, {p, 1}), x = place(total - 1, {q, 1});
    const T cosine = cs(i, 2 * s - 1), sine = cs(i, 2 * s);
    if (identities == Identities::left_out && cosine == 1 && sine == 0) return;
    if (from_left) {
      blas::rot(elements.count, row(X, x, elements.first), row(X, x + 1, elements.first), cosine, sine);
    } else {
      blas::rot(elements.count, column(X, elements.first, x), column(X, elements.first, x + 1), cosine, sine);
    }
  }
};

// Before sweep s + 1 can be in plane p, sweep s has to have been in plane p + 1. So the sweeps fall into an opening
// piece, parallelograms of K sweeps by K planes, of which each touches 2 K lines, and a closing piece:
//
//     sweep 1   o o o o o|p p p|p p p|c c c
//           2   o o o o|p p p|p p p|c c c c
//           3   o o o|p p p|p p p|c c c c c

/// The rotations one by one, in an order that keeps the lines in the cache; from the right, where lines are short. Here
/// the opening piece is a triangle of K - 1 planes.
template <RealScalar T>
void turn_in_skewed_order(const Sweeps<T>& sweeps, Int m, Matrix<T> A) {
  const Int n = sweeps.lines, k = sweeps.count;
  const auto turn = [&](Int s, Int first, Int last, Identities identities) {
    for (Int p = first; p <= last; ++p) sweeps.turn(s, p, A, n, p, {1, m}, identities);
  };
  const bool has_bands = n > 2 * k;
  const Int bands = has_bands ? (n - 1) / k : 0;
  if (has_bands) {
    for (Int s = 1; s < k; ++s) turn(s, 1, k - s, Identities::turned);
  }
  for (Int g = 1; g < bands; ++g) {
    for (Int s = 1; s <= k; ++s) turn(s, g * k - s + 1, g * k - s + k, Identities::turned);
  }
  for (Int s = 1; s <= k; ++s) turn(s, has_bands ? bands * k - s + 1 : 1, n - 1, Identities::left_out);
}

/// From the left, sweep by sweep on as many columns as stay in the cache.
template <RealScalar T>
void turn_rows_by_strips(const Sweeps<T>& sweeps, Int n, Matrix<T> A) {
  constexpr Int elements_in_cache = 32768, grain = 8;
  const Int width = std::max(grain, elements_in_cache / n / grain * grain);
  for (Int j = 1; j <= n; j += width) {
    for (Int s = 1; s <= sweeps.count; ++s) {
      lasr('L', 'V', sweeps.rises ? 'F' : 'B', sweeps.lines, std::min(width, n - j + 1), sweeps.cs.at(1, 2 * s - 1),
           sweeps.cs.at(1, 2 * s), A.at(1, j), A.ld);
    }
  }
}

/// The rotations of a piece multiplied into a tile W of order 2 K at most, and applied to A by products.
///
/// Comments speak of A W, and of lines as columns. What comes from the left is the transpose of that, W as well; where
/// lines are counted from the end, the rows and columns of W are, too.
template <RealScalar T>
class TiledRotations {
 public:
  /// length   of a line
  /// work     4 K^2 elements for W, and K length for the lines that wait for the next tile
  TiledRotations(const Sweeps<T>& sweeps, Int length, Matrix<T> A, T* work)
      : sweeps_(sweeps),
        n_(sweeps.lines),
        k_(sweeps.count),
        length_(length),
        A_(A),
        W_(work, 2 * k_),
        waiting_(work + 4 * std::ptrdiff_t{k_} * k_, sweeps.from_left ? k_ : length) {}

  void apply() {
    if (n_ <= k_) {
      const Range all{1, n_};
      make_tile({.before = 0, .order = n_, .opens = true, .closes = true});
      multiply(lines(all), all, all, T(0), waiting_);
      copy(n_, waiting_, lines(all));
    } else if (n_ <= 2 * k_) {
      make_tile({.before = 0, .order = n_, .opens = true, .closes = true});
      finish(0, n_ - k_);
    } else {
      apply_in_pieces();
    }
  }

 private:
  /// A piece of the sweeps that turns `order` lines behind the first `before` ones.
  struct Piece {
    Int before, order;
    bool opens, closes;
  };

  void apply_in_pieces() {
    const Int bands = (n_ - 1) / k_, finished = (bands - 1) * k_, rest = n_ - bands * k_;
    make_tile({.before = 0, .order = 2 * k_, .opens = true, .closes = false});
    combine(0, k_);
    for (Int g = 1; g <= bands - 2; ++g) {
      make_tile({.before = g * k_, .order = 2 * k_, .opens = false, .closes = false});
      advance(g * k_);
    }
    make_tile({.before = finished, .order = k_ + rest, .opens = false, .closes = true});
    copy(k_, waiting_, lines({finished + 1, k_}));
    finish(finished, rest);
  }

  /// Multiplies the rotations of a piece into W. A line that the piece takes at its begin is met by the first sweep, the
  /// others by one sweep after the other, so that what is zero in W stays untouched.
  void make_tile(const Piece& piece) {
    order_ = piece.order;
    laset('A', order_, order_, T(0), T(1), W_.data, W_.ld);
    for (Int s = 1; s <= k_; ++s) {
      const Int first = piece.opens ? 1 : k_ - s + 1, last = piece.closes ? order_ - 1 : 2 * k_ - s;
      for (Int p = first; p <= last; ++p) {
        const Int count = std::min(order_, s + p) - first + 1;
        sweeps_.turn(s, piece.before + p, W_, order_, p, {sweeps_.place(order_, {first, count}), count},
                     piece.closes ? Identities::left_out : Identities::turned);
      }
    }
  }

  /// With a tile of order K + rest, A1 the K lines behind the first `before` ones and A2 the next `rest`:
  ///
  ///     [ A1 A2 ] := [ A1 W11 + A2 W21 | . ],    waiting lines := A1 W12 + A2 W22,    W21 upper triangular, rest by rest
  void combine(Int before, Int rest) {
    const Range head{1, k_}, tail{k_ + 1, rest}, first{1, rest}, last{rest + 1, k_};
    const Matrix<T> A1 = lines({before + 1, k_}), A2 = lines({before + k_ + 1, rest});
    multiply(A1, head, last, T(0), waiting_);
    multiply(A2, tail, last, T(1), waiting_);
    multiply_by_triangle('U', tail, first, A2);
    multiply(A1, head, first, T(1), A2);
    copy(rest, A2, lines({before + 1, rest}));
  }

  /// The same for the last tile: nothing waits any more.
  void finish(Int before, Int rest) {
    combine(before, rest);
    copy(k_, waiting_, lines({before + rest + 1, k_}));
  }

  /// A parallelogram's tile, with A2 the lines behind the first `before` + K ones; A1, which is to be the K lines before
  /// them, waits:
  ///
  ///     lines := A1 W11 + A2 W21,    waiting lines := A1 W12 + A2 W22,    W21 upper, W12 lower triangular
  void advance(Int before) {
    const Range head{1, k_}, tail{k_ + 1, k_};
    const Matrix<T> finished = lines({before + 1, k_}), A2 = lines({before + k_ + 1, k_});
    copy(k_, A2, finished);
    multiply_by_triangle('U', tail, head, finished);
    multiply(waiting_, head, head, T(1), finished);
    multiply_by_triangle('L', head, tail, waiting_);
    multiply(A2, tail, tail, T(1), waiting_);
  }

  Matrix<T> lines(Range some) const {
    const Int first = sweeps_.place(n_, some);
    return sweeps_.from_left ? block(A_, first, 1) : block(A_, 1, first);
  }

  /// The part of W that takes some lines to some others.
  Matrix<T> tile(Range from, Range to) const {
    const Int i = sweeps_.place(order_, from), j = sweeps_.place(order_, to);
    return sweeps_.from_left ? block(W_, j, i) : block(W_, i, j);
  }

  /// Y := X W + beta Y with a part of W.
  void multiply(Matrix<const T> X, Range from, Range to, T beta, Matrix<T> Y) const {
    if (sweeps_.from_left) {
      blas::gemm('N', 'N', to.count, length_, from.count, T(1), tile(from, to), X, beta, Y);
    } else {
      blas::gemm('N', 'N', length_, to.count, from.count, T(1), X, tile(from, to), beta, Y);
    }
  }

  /// X := X W with a part of W that is an upper or lower triangle.
  void multiply_by_triangle(char uplo, Range from, Range to, Matrix<T> X) const {
    const bool is_upper_in_memory = (uplo == 'U') == (sweeps_.from_left != sweeps_.rises);
    const char in_memory = is_upper_in_memory ? 'U' : 'L';
    if (sweeps_.from_left) {
      blas::trmm('L', in_memory, 'N', 'N', to.count, length_, T(1), tile(from, to), X);
    } else {
      blas::trmm('R', in_memory, 'N', 'N', length_, to.count, T(1), tile(from, to), X);
    }
  }

  void copy(Int count, Matrix<const T> from, Matrix<T> to) const {
    lacpy('A', sweeps_.from_left ? count : length_, sweeps_.from_left ? length_ : count, from.data, from.ld, to.data,
          to.ld);
  }

  Sweeps<T> sweeps_;
  Int n_, k_, length_, order_ = 0;
  Matrix<T> A_, W_, waiting_;
};

}  // namespace

template <RealScalar T>
void xlasr3(char side, char pivot, char direct, Int m, Int n, Int k, const T* cs, Int ldcs, T* a, Int lda, T* work, Int,
            Int&) {
  const bool from_left = side == 'L';
  const Int lines = from_left ? m : n, length = from_left ? n : m;
  if (pivot != 'V' || (direct != 'F' && direct != 'B')) return;
  if (k <= 0 || lines <= 1 || length <= 0) return;

  const Sweeps<T> sweeps{from_left, direct == 'F', lines, k, {cs, ldcs}};
  const RoutineName<T> caller(from_left ? "BDSQR" : "STEQR");
  const Int crossover = Tuning<T>{.name = caller, .n1 = 2}.crossover();
  if (length > crossover) {
    TiledRotations<T>(sweeps, length, {a, lda}, work).apply();
  } else if (from_left) {
    turn_rows_by_strips(sweeps, length, {a, lda});
  } else {
    turn_in_skewed_order(sweeps, length, {a, lda});
  }
}

}  // namespace nuv

#include "svd/batched_rotations.entries.inc"
