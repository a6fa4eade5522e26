#include "generalised/small_pencil_sylvester.hpp"

#include <algorithm>
#include <limits>

#include "base/quotient.hpp"
#include "frame/error_report.hpp"
#include "generalised/complete_pivoting.hpp"
#include "generalised/dif_estimate.hpp"
#include "generalised/pencil_equation.hpp"
#include "nonsymmetric/diagonal_blocks.hpp"

namespace nuv {
namespace {

/// What is asked for, and what is found on the way.
template <Scalar T>
struct Progress {
  Int ijob;  ///< 0 for the adjoint
  Real<T>&rdsum, &rdscal;
  Int& info;
};

/// The system of order 2 p q that p rows and q columns of an equation are, for the columns of R and below them those of
/// L:
///
///     [ I_q (x) A   -B^T (x) I_p ]
///     [ I_q (x) D   -E^T (x) I_p ]
///
/// or its adjoint.
template <Scalar T>
class BlockSystem {
  static constexpr Int most_rows = RealScalar<T> ? 2 : 1, greatest_order = 2 * most_rows * most_rows;

 public:
  BlockSystem(const PencilEquation<T>& equation, IndexRange k, IndexRange l)
      : equation_(equation), k_(k), l_(l), half_(k.count() * l.count()) {
    std::fill_n(z_, greatest_order * greatest_order, T(0));
    for (Int j = l.first; j <= l.last; ++j) {
      for (Int i = k.first; i <= k.last; ++i) {
        place_row(i, j);
        rhs_[number(i, j) - 1] = equation.C(i, j);
        rhs_[half_ + number(i, j) - 1] = equation.F(i, j);
      }
    }
  }

  /// Puts the solution into its place; gives its scale.
  Real<T> solve(const Progress<T>& progress) {
    const Int order = 2 * half_;
    Int ipiv[greatest_order], jpiv[greatest_order], perturbed;
    getc2(order, z_, greatest_order, ipiv, jpiv, perturbed);
    if (perturbed > 0) progress.info = perturbed;
    Real<T> scale = 1;
    if (progress.ijob == 0) {
      gesc2(order, z_, greatest_order, rhs_, ipiv, jpiv, scale);
    } else {
      latdf(progress.ijob, order, z_, greatest_order, rhs_, progress.rdsum, progress.rdscal, ipiv, jpiv);
    }
    for (Int j = l_.first; j <= l_.last; ++j) {
      for (Int i = k_.first; i <= k_.last; ++i) {
        equation_.C(i, j) = rhs_[number(i, j) - 1];
        equation_.F(i, j) = rhs_[half_ + number(i, j) - 1];
      }
    }
    return scale;
  }

 private:
  Int number(Int i, Int j) const { return i - k_.first + 1 + (j - l_.first) * k_.count(); }

  /// Element (row, col) of the system, or of its adjoint (col, row).
  void place(Int row, Int col, T element) {
    const Matrix<T> Z{z_, greatest_order};
    if (equation_.is_adjoint) {
      Z(col, row) = conjugate(element);
    } else {
      Z(row, col) = element;
    }
  }

  /// The rows of element (i, j) of A R - L B and of D R - L E.
  void place_row(Int i, Int j) {
    const Int upper = number(i, j), lower = half_ + upper;
    for (Int k = k_.first; k <= k_.last; ++k) {
      place(upper, number(k, j), equation_.A(i, k));
      if (k >= i) place(lower, number(k, j), equation_.D(i, k));
    }
    for (Int l = l_.first; l <= l_.last; ++l) {
      place(upper, half_ + number(i, l), negated(equation_.B(l, j)));
      if (l <= j) place(lower, half_ + number(i, l), negated(equation_.E(l, j)));
    }
  }

  const PencilEquation<T>& equation_;
  IndexRange k_, l_;
  Int half_;
  T z_[greatest_order * greatest_order], rhs_[greatest_order];
};

/// Gives the scale of the solution.
template <Scalar T, class Pieces>
Real<T> solve_by_blocks(const PencilEquation<T>& equation, Pieces rows, Pieces columns, Progress<T> progress) {
  return substitute(equation, rows, columns,
                    [&](IndexRange k, IndexRange l) { return BlockSystem<T>(equation, k, l).solve(progress); });
}

/// Where the diagonal blocks of a Schur form of order n begin.
template <RealScalar T>
ListedPieces list_blocks(Matrix<const T> S, Int n, Int* begins) {
  Int count = 0;
  for_each_diagonal_block(S, n, true, [&](DiagonalBlock block) { begins[count++] = block.first; });
  begins[count] = n + 1;
  return {begins, count};
}

}  // namespace

template <RealScalar T>
void tgsy2(char trans, Int ijob, Int m, Int n, const T* a, Int lda, const T* b, Int ldb, T* c, Int ldc, const T* d,
           Int ldd, const T* e, Int lde, T* f, Int ldf, T& scale, T& rdsum, T& rdscal, Int* iwork, Int& pq, Int& info) {
  info = check_pencil_equation<T>(trans, ijob, 2, m, n, lda, ldb, ldc, ldd, lde, ldf);
  if (info != 0) return report_bad_argument<T>("TGSY2", info);
  scale = 1;
  pq = 0;
  if (m == 0 || n == 0) return;

  const bool is_adjoint = !same_letter(trans, 'N');
  const PencilEquation<T> equation{is_adjoint, m, n, {a, lda}, {b, ldb}, {c, ldc}, {d, ldd}, {e, lde}, {f, ldf}};
  const ListedPieces rows = list_blocks(equation.A, m, iwork),
                     columns = list_blocks(equation.B, n, iwork + rows.count + 1);
  const std::int64_t systems = std::int64_t{rows.count} * columns.count;
  pq = static_cast<Int>(std::min<std::int64_t>(systems, std::numeric_limits<Int>::max()));
  scale = solve_by_blocks<T>(equation, rows, columns, {is_adjoint ? 0 : ijob, rdsum, rdscal, info});
}

template <ComplexScalar T>
void tgsy2(char trans, Int ijob, Int m, Int n, const T* a, Int lda, const T* b, Int ldb, T* c, Int ldc, const T* d,
           Int ldd, const T* e, Int lde, T* f, Int ldf, Real<T>& scale, Real<T>& rdsum, Real<T>& rdscal, Int& info) {
  info = check_pencil_equation<T>(trans, ijob, 2, m, n, lda, ldb, ldc, ldd, lde, ldf);
  if (info != 0) return report_bad_argument<T>("TGSY2", info);
  scale = 1;
  if (m == 0 || n == 0) return;

  const bool is_adjoint = !same_letter(trans, 'N');
  const PencilEquation<T> equation{is_adjoint, m, n, {a, lda}, {b, ldb}, {c, ldc}, {d, ldd}, {e, lde}, {f, ldf}};
  scale = solve_by_blocks<T>(equation, SinglePieces{m}, SinglePieces{n}, {is_adjoint ? 0 : ijob, rdsum, rdscal, info});
}

}  // namespace nuv

#include "generalised/small_pencil_sylvester.entries.inc"
