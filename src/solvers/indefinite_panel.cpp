// The panels of the factorisations with diagonal pivoting. Columns are brought up to date one by one, when they or a
// pivot in them are looked at; the rest of the triangle is at the end.

#include <algorithm>

#include "environment/abs1.hpp"
#include "solvers/indefinite.hpp"
#include "solvers/stored_triangle.hpp"

namespace nuv {
namespace {

/// Columns of an array that go by the numbers of the columns of the matrix to which they belong: `shift` further on
/// they stand in the array.
template <Scalar T>
class Columns {
 public:
  Columns(Matrix<T> array, Int shift) : array_(array), shift_(shift) {}

  T* at(Int i, Int j) const { return array_.at(i, j + shift_); }
  T& operator()(Int i, Int j) const { return *at(i, j); }
  Vector<T> column(Int i, Int j) const { return {at(i, j), 1}; }
  Vector<T> row(Int i, Int j) const { return {at(i, j), array_.ld}; }
  Matrix<T> block(Int i, Int j) const { return {at(i, j), array_.ld}; }

 private:
  Matrix<T> array_;
  Int shift_;
};

/// L holds the columns that are factored, with the exchanges that came after them, W those of L D with them: conjugated
/// beyond the block if the matrix is Hermitian, so that L W^T is what the rest loses. For a lower triangle:
///
///     L00 |  .
///     L10 | A11   the columns of A11 are up to date in W alone, where they were looked at
template <Mirror mirror, class Triangle, Scalar T>
class Panel {
 public:
  Panel(const EliminationOrder& order, const Triangle& A, Columns<T> L, Columns<T> W, Int* ipiv)
      : order_(order), A_(A), L_(L), W_(W), ipiv_(ipiv), k_(order.first()) {}

  /// Factors nb - 1 or nb columns, or all. Gives info.
  Int factor(Int nb) {
    using enum Pivot::Kind;
    Int info = 0;
    const Int n = order_.size();
    while (order_.includes(k_) && (nb >= n || factored().count() < nb - 1)) {
      take(k_, k_);
      const Pivot pivot = choose();
      if ((pivot.kind == zero || pivot.kind == not_a_number) && info == 0) info = k_;
      if (pivot.kind == not_a_number) break;
      const PivotBlock block{k_, pivot.kind == pair ? order_.next(k_) : k_, pivot.row};
      if (pivot.kind == single && pivot.row != k_) {
        const Rows rows = order_.from(k_);
        blas::copy(rows.count(), W_.column(rows.first, order_.next(k_)), W_.column(rows.first, k_));
      }
      exchange(block);
      if (pivot.kind == pair) {
        finish_pair(block);
      } else {
        finish_single(pivot.kind == zero);
      }
      store_block(block, ipiv_);
      k_ = order_.next(block.last);
    }
    return info;
  }

  Rows factored() const { return order_.before(k_); }
  Rows rest() const { return order_.from(k_); }

  /// Undoes in each column of L the exchanges that came after it: so the factors are kept.
  void restore_order() {
    for_each_block_backwards(order_, order_.previous(k_), ipiv_, [&](const PivotBlock& block) {
      const Rows earlier = order_.before(block.first);
      if (block.last != block.row && earlier.count() > 0) {
        blas::swap(earlier.count(), L_.row(block.last, earlier.first), L_.row(block.row, earlier.first));
      }
    });
  }

 private:
  static void take_stored(Matrix<T> A, Rows rows, Int c, Matrix<T> into) {
    blas::copy(rows.count(), column(A, rows.first, c), column(into, 1, 1));
  }
  static void take_stored(const PackedTriangle<T>& A, Rows rows, Int c, Matrix<T> into) {
    ppunpack(A.upper ? 'U' : 'L', A.ap, A.n, rows.first, c, rows.count(), 1, into.data, into.ld);
  }

  /// Column c as it is after all columns so far, its rows from k on, into a column of W.
  void take(Int c, Int into) {
    const Rows rows = order_.from(k_), stored = order_.from(c), done = factored();
    const Rows in_row = order_.upper() ? Rows{c + 1, k_} : Rows{k_, c - 1};
    for (Int i = in_row.first; i <= in_row.last; ++i) W_(i, into) = mirror_image<mirror>(A_(c, i));
    take_stored(A_, stored, c, W_.block(stored.first, into));
    W_(c, into) = diagonal_element<mirror>(W_(c, into));
    if (done.count() == 0) return;
    blas::gemv('N', rows.count(), done.count(), T(-1), L_.block(rows.first, done.first), W_.row(c, done.first), T(1),
               W_.column(rows.first, into));
    W_(c, into) = diagonal_element<mirror>(W_(c, into));
  }

  /// The pivot for column k; that of another row leaves that row's column in the next column of W.
  Pivot choose() {
    const Rows beyond = order_.beyond(k_);
    Int largest = k_;
    Real<T> column_max = 0;
    if (beyond.count() > 0) {
      largest = row_of_largest(beyond, W_.at(beyond.first, k_));
      column_max = abs1(W_(largest, k_));
    }
    return choose_pivot(k_, abs1(W_(k_, k_)), largest, column_max, [&](Int row) {
      const Int into = order_.next(k_);
      take(row, into);
      const Rows earlier = order_.upper() ? Rows{row + 1, k_} : Rows{k_, row - 1}, later = order_.beyond(row);
      Real<T> size = abs1(W_(row_of_largest(earlier, W_.at(earlier.first, into)), into));
      if (later.count() > 0) {
        size = std::max(size, abs1(W_(row_of_largest(later, W_.at(later.first, into)), into)));
      }
      return RowSizes<Real<T>>{abs1(W_(row, into)), size};
    });
  }

  /// Exchanges rows and columns of a block. What the column of the block leaves behind will be read no more.
  void exchange(const PivotBlock& block) {
    const Int to = block.last, from = block.row;
    if (from == to) return;
    const Rows inside = order_.between(to, from), outside = order_.beyond(from);
    A_(from, from) = A_(to, to);
    for (Int i = inside.first; i <= inside.last; ++i) A_(from, i) = mirror_image<mirror>(A_(i, to));
    if (outside.count() > 0) {
      blas::copy(outside.count(), Vector<const T>(A_.at(outside.first, to), 1),
                 Vector<T>(A_.at(outside.first, from), 1));
    }
    const Rows done = factored(), looked_at = order_.before(order_.next(to));
    if (done.count() > 0) blas::swap(done.count(), L_.row(to, done.first), L_.row(from, done.first));
    blas::swap(looked_at.count(), W_.row(to, looked_at.first), W_.row(from, looked_at.first));
  }

  void finish_single(bool is_zero) {
    const Rows rows = order_.from(k_), beyond = order_.beyond(k_);
    blas::copy(rows.count(), W_.column(rows.first, k_), L_.column(rows.first, k_));
    if (beyond.count() == 0) return;
    if (!is_zero) blas::scal(beyond.count(), reciprocal<mirror>(W_(k_, k_)), L_.column(beyond.first, k_));
    conjugate_beyond(k_, k_);
  }

  void finish_pair(const PivotBlock& block) {
    const Int first = block.first, last = block.last;
    const PairInverse<mirror, T> inverse(W_(first, first), W_(last, first), W_(last, last));
    L_(first, first) = W_(first, first);
    L_(last, first) = W_(last, first);
    L_(last, last) = W_(last, last);
    const Rows beyond = order_.beyond(last);
    for (Int i = beyond.first; i <= beyond.last; ++i) {
      L_(i, first) = inverse.first(W_(i, first), W_(i, last));
      L_(i, last) = inverse.last(W_(i, first), W_(i, last));
    }
    conjugate_beyond(last, first);
    conjugate_beyond(last, last);
  }

  void conjugate_beyond(Int k, Int column) {
    if constexpr (mirror == Mirror::conjugate) {
      const Rows beyond = order_.beyond(k);
      for (Int i = beyond.first; i <= beyond.last; ++i) W_(i, column) = conjugate(W_(i, column));
    }
  }

  EliminationOrder order_;
  Triangle A_;
  Columns<T> L_, W_;
  Int* ipiv_;
  Int k_;  ///< the next column
};

/// Order of the triangles that are brought up to date as squares, in memory of their own.
constexpr Int least_triangle = 32;

/// One triangle of C := C - X Y^T, which is symmetric or Hermitian, of order n; X and Y have k columns. By halves, so
/// that nearly all of it is a few large products.
template <Mirror mirror, Scalar T>
void subtract_product(bool upper, Int n, Int k, Matrix<const T> X, Matrix<const T> Y, Matrix<T> C) {
  if (n > least_triangle) {
    const Int half = (n / 2 + least_triangle - 1) / least_triangle * least_triangle, next = half + 1;
    const Matrix X1 = block(X, next, 1), Y1 = block(Y, next, 1);
    subtract_product<mirror>(upper, half, k, X, Y, C);
    if (upper) {
      blas::gemm('N', 'T', half, n - half, k, T(-1), X, Y1, T(1), block(C, 1, next));
    } else {
      blas::gemm('N', 'T', n - half, half, k, T(-1), X1, Y, T(1), block(C, next, 1));
    }
    return subtract_product<mirror>(upper, n - half, k, X1, Y1, block(C, next, next));
  }
  T square[least_triangle * least_triangle];
  const Matrix S{square, least_triangle};
  blas::gemm('N', 'T', n, n, k, T(1), X, Y, T(0), S);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = upper ? 1 : j; i <= (upper ? j : n); ++i) C(i, j) -= S(i, j);
    C(j, j) = diagonal_element<mirror>(C(j, j));
  }
}

/// What the columns of a panel take from the rest of the triangle.
template <Mirror mirror, Scalar T>
struct Update {
  const EliminationOrder& order;
  Rows rest, done;
  Columns<T> L, W;

  void apply(Matrix<T> A) const {
    subtract_product<mirror, T>(order.upper(), rest.count(), done.count(), L.block(rest.first, done.first),
                                W.block(rest.first, done.first), part(A, rest));
  }

  /// A packed triangle is taken out in blocks of nb columns. The products fill what a block has beyond the triangle,
  /// too; it stays behind.
  void apply(const PackedTriangle<T>& A, Int nb, Matrix<T> room) const {
    for (Int j = rest.first; j <= rest.last; j += nb) {
      const Int jb = std::min(nb, rest.last - j + 1);
      const Rows rows = order.upper() ? Rows{1, j + jb - 1} : Rows{j, A.n};
      ppunpack(order.uplo(), A.ap, A.n, rows.first, j, rows.count(), jb, room.data, room.ld);
      blas::gemm('N', 'T', rows.count(), jb, done.count(), T(-1), L.block(rows.first, done.first),
                 W.block(j, done.first), T(1), room);
      for (Int k = 1; k <= jb; ++k) {
        T& diagonal = room(j + k - rows.first, k);
        diagonal = diagonal_element<mirror>(diagonal);
      }
      pppack(order.uplo(), A.ap, A.n, rows.first, j, rows.count(), jb, room.data, room.ld);
    }
  }
};

/// Factors the columns of a panel and calls update(rest, done) for what they take from the others; gives kb.
template <class Panel, class UpdateRest>
Int run(Panel& panel, Int n, Int nb, Int* ipiv, Int& info, UpdateRest update) {
  info = panel.factor(nb);
  const Rows done = panel.factored(), rest = panel.rest();
  if (done.count() > 0 && rest.count() > 0) update(rest, done);
  panel.restore_order();
  const bool stopped = nb >= n ? rest.count() > 0 : done.count() < nb - 1;
  if (!stopped) return done.count();
  for (Int i = rest.first; i <= rest.last; ++i) ipiv[i - 1] = i;
  return n;
}

/// The columns of a panel in an array of nb columns.
template <Scalar T>
Columns<T> columns_of_panel(const EliminationOrder& order, Int nb, T* array, Int ld) {
  return {Matrix{array, ld}, order.upper() ? nb - order.size() : 0};
}

template <Mirror mirror, Scalar T>
void factor_panel(char uplo, Int n, Int nb, Int& kb, Matrix<T> A, Int* ipiv, T* w, Int ldw, Int& info) {
  const EliminationOrder order(uplo, n);
  const Columns<T> L(A, 0), W = columns_of_panel(order, nb, w, ldw);
  Panel<mirror, Matrix<T>, T> panel(order, A, L, W, ipiv);
  kb = run(panel, n, nb, ipiv, info, [&](Rows rest, Rows done) {
    Update<mirror, T>{order, rest, done, L, W}.apply(A);
  });
}

/// The same for packed storage: w has room for W, L and a block of the rest.
template <Mirror mirror, Scalar T>
void factor_packed_panel(char uplo, Int n, Int nb, Int& kb, T* ap, Int* ipiv, T* w, Int ldw, Int& info) {
  info = 0;
  if (w == nullptr) {
    kb = 1;
    return;
  }
  const EliminationOrder order(uplo, n);
  const PackedTriangle<T> A{order.upper(), n, ap};
  const std::ptrdiff_t buffer = std::ptrdiff_t{ldw} * nb;
  const Columns<T> W = columns_of_panel(order, nb, w, ldw), L = columns_of_panel(order, nb, w + buffer, ldw);
  Panel<mirror, PackedTriangle<T>, T> panel(order, A, L, W, ipiv);
  kb = run(panel, n, nb, ipiv, info, [&](Rows rest, Rows done) {
    Update<mirror, T>{order, rest, done, L, W}.apply(A, nb, {w + 2 * buffer, ldw});
  });
  const Rows done = panel.factored();
  if (done.count() > 0) pppack(order.uplo(), ap, n, 1, done.first, n, done.count(), L.at(1, done.first), ldw);
}

}  // namespace

template <Scalar T>
void xlasyf(char uplo, Int n, Int nb, Int& kb, T* a, Int lda, Int* ipiv, T* w, Int ldw, Int& info) {
  factor_panel<Mirror::plain, T>(uplo, n, nb, kb, {a, lda}, ipiv, w, ldw, info);
}

template <ComplexScalar T>
void xlahef(char uplo, Int n, Int nb, Int& kb, T* a, Int lda, Int* ipiv, T* w, Int ldw, Int& info) {
  factor_panel<Mirror::conjugate, T>(uplo, n, nb, kb, {a, lda}, ipiv, w, ldw, info);
}

template <Scalar T>
void xlaspf(char uplo, Int n, Int nb, Int& kb, T* ap, Int* ipiv, T* w, Int ldw, Int& info) {
  factor_packed_panel<Mirror::plain, T>(uplo, n, nb, kb, ap, ipiv, w, ldw, info);
}

template <ComplexScalar T>
void xlahpf(char uplo, Int n, Int nb, Int& kb, T* ap, Int* ipiv, T* w, Int ldw, Int& info) {
  factor_packed_panel<Mirror::conjugate, T>(uplo, n, nb, kb, ap, ipiv, w, ldw, info);
}

}  // namespace nuv

#include "solvers/indefinite_panel.entries.inc"
