#include "solvers/band_cholesky.hpp"

#include <algorithm>
#include <cmath>

#include "base/matrix.hpp"
#include "environment/block_plan.hpp"
#include "environment/conjugated.hpp"
#include "environment/hermitian.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "frame/pool.hpp"
#include "layer.hpp"
#include "solvers/band_storage.hpp"
#include "solvers/band_triangular.hpp"
#include "solvers/cholesky.hpp"

namespace nuv {
namespace {

/// 0, or minus the position of the first bad argument of uplo, n, kd, ab, ldab.
Int check_triangle(char uplo, Int n, Int kd, Int ldab) {
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  if (n < 0) return -2;
  if (kd < 0) return -3;
  if (ldab <= kd) return -5;
  return 0;
}

/// The same for uplo, n, kd, nrhs, ab, ldab, b, ldb.
Int check_system(char uplo, Int n, Int kd, Int nrhs, Int ldab, Int ldb) {
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  if (n < 0) return -2;
  if (kd < 0) return -3;
  if (nrhs < 0) return -4;
  if (ldab <= kd) return -6;
  if (ldb < std::max(1, n)) return -8;
  return 0;
}

/// A triangle of a band matrix while it is factored.
template <Scalar T>
struct BandCholesky {
  bool upper;
  Int n, kd;
  Matrix<T> A;

  BandCholesky(char uplo, Int n_, Int kd_, T* ab, Int ldab)
      : upper(same_letter(uplo, 'U')), n(n_), kd(kd_), A(band_view(ab, ldab, upper ? kd + 1 : 1)) {}

  Int beyond(Int j) const { return std::min(kd, n - j); }
};

/// The step of a column with `beyond` elements beyond the diagonal, whose diagonal element is given; gives the next
/// one. A chain of operations leads from each pivot to the next, so that what can be done beside it costs nothing, and
/// the next pivot does not go through memory.
template <int beyond, Scalar T>
Real<T> narrow_step(const BandCholesky<T>& F, Int j, Real<T> pivot) {
  using R = Real<T>;
  const std::ptrdiff_t across = F.upper ? F.A.ld : 1, along = F.upper ? 1 : F.A.ld;
  T* const diagonal = F.A.at(j, j);
  *diagonal = pivot;
  const R reciprocal = R(1) / pivot;
  T factor[beyond];
  for (int i = 0; i < beyond; ++i) {
    T& element = diagonal[(i + 1) * across];
    element = factor[i] = reciprocal * element;
  }
  T* const rest = F.A.at(j + 1, j + 1);
  const R next = std::real(*rest) - std::real(factor[0] * conjugate(factor[0]));
  *rest = next;
  for (int r = 0; r < beyond; ++r) {
    for (int c = r == 0 ? 1 : r; c < beyond; ++c) {
      T& element = rest[c * across + r * along];
      element -= factor[c] * conjugate(factor[r]);
      if (c == r) element = std::real(element);
    }
  }
  return next;
}

/// Factors columns up to a pivot that is not positive; gives the number of that column, or zero.
template <Scalar T>
Int factor_narrow(const BandCholesky<T>& F) {
  const Int whole = F.n - F.kd;  // columns that have all of the band's diagonals
  Real<T> pivot = std::real(*F.A.at(1, 1));
  Int j = 1;
  const auto step_while_below = [&](Int limit) {
    with_constant(F.beyond(j), [&](auto beyond) {
      for (; j <= limit && pivot > 0; ++j) {
        pivot = std::sqrt(pivot);
        if constexpr (beyond > 0) {
          pivot = narrow_step<beyond>(F, j, pivot);
        } else {
          F.A(j, j) = pivot;
          if (j < F.n) pivot = std::real(F.A(j + 1, j + 1));
        }
      }
    });
  };
  if (whole > 0) step_while_below(whole);
  while (j <= F.n && pivot > 0) step_while_below(j);
  return j <= F.n ? j : 0;
}

/// One triangle of A := A - x x^H.
template <Scalar T>
void subtract_square(char uplo, Int n, Vector<const T> x, Matrix<T> A) {
  if constexpr (ComplexScalar<T>) {
    blas::her(uplo, n, Real<T>(-1), x, A);
  } else {
    blas::syr(uplo, n, T(-1), x, A);
  }
}

template <Scalar T>
Int factor_by_columns(const BandCholesky<T>& F) {
  const Matrix<T> A = F.A;
  for (Int j = 1; j <= F.n; ++j) {
    const Real<T> pivot = std::real(A(j, j));
    if (!(pivot > 0)) return j;
    const Real<T> root = std::sqrt(pivot);
    A(j, j) = root;
    const Int beyond = F.beyond(j);
    if (beyond == 0) continue;
    const Vector<T> factor = F.upper ? row(A, j, j + 1) : column(A, j + 1, j);
    blas::scal(beyond, Real<T>(1) / root, factor);
    const Conjugated<T> as_column(beyond, factor, F.upper);
    subtract_square<T>(F.upper ? 'U' : 'L', beyond, factor, block(A, j + 1, j + 1));
  }
  return 0;
}

}  // namespace

template <Scalar T>
void pbtf2(char uplo, Int n, Int kd, T* ab, Int ldab, Int& info) {
  info = check_triangle(uplo, n, kd, ldab);
  if (info != 0) return report_bad_argument<T>("PBTF2", info);
  if (n == 0) return;
  const BandCholesky<T> F(uplo, n, kd, ab, ldab);
  info = kd <= narrow_band ? factor_narrow(F) : factor_by_columns(F);
}

namespace {

/// Rows or columns of a block, which the routine holds work memory for in its frame; one row more keeps the rows apart
/// in the cache.
constexpr Int widest_block = 32;

/// Rows and columns j to j + jb - 1 while they are factored, with what the band holds beside them, for an upper
/// triangle (the lower one is its transpose):
///
///     A11 | A12 | A13        A13 is a lower triangle as far as it lies in the band, and stands in a work block, beside
///      .  | A22 | A23        zeros, while it is needed.
///      .  |  .  | A33
template <Scalar T>
struct CholeskyBlock {
  using R = Real<T>;
  static constexpr Int ld = widest_block + 1;

  const BandCholesky<T>& F;
  Int j, jb;
  Matrix<T> W;
  Matrix<T> A = F.A;
  Int second = j + jb, third = j + F.kd;
  Int order2 = std::min(F.kd - jb, F.n - second + 1), order3 = std::max(0, std::min(jb, F.n - third + 1));

  /// The block at rows i and columns k of the upper triangle, or its transpose in the lower one.
  Matrix<T> part(Int i, Int k) const { return F.upper ? block(A, i, k) : block(A, k, i); }

  /// X := A11^-H X for a part beside the diagonal block with that many columns (rows of the lower triangle).
  void solve(Int columns, Matrix<T> X) const {
    if (F.upper) blas::trsm('L', 'U', adjoint<T>, 'N', jb, columns, T(1), block(A, j, j), X);
    else blas::trsm('R', 'L', adjoint<T>, 'N', columns, jb, T(1), block(A, j, j), X);
  }

  /// C := C - X^H X on the diagonal.
  void subtract_square_of(Int order, Matrix<T> X, Matrix<T> C) const {
    add_square<T>(F.upper ? 'U' : 'L', F.upper ? adjoint<T> : 'N', order, jb, R(-1), X, R(1), C);
  }

  /// A23 := A23 - A12^H A13
  void subtract_product(Matrix<T> A12) const {
    const Matrix<T> A23 = part(second, third);
    if (F.upper) blas::gemm(adjoint<T>, 'N', order2, order3, jb, T(-1), A12, W, T(1), A23);
    else blas::gemm('N', adjoint<T>, order3, order2, jb, T(-1), W, A12, T(1), A23);
  }

  /// Calls move(element of the band, element of W) for A13; the rest of W becomes zero.
  template <class Move>
  void move_third(Move move) const {
    const Int columns = F.upper ? order3 : jb, rows = F.upper ? jb : order3;
    const Int first_row = F.upper ? j : third, first_column = F.upper ? third : j;
    for (Int c = 1; c <= columns; ++c) {
      for (Int i = 1; i <= rows; ++i) {
        if (F.upper ? i >= c : i <= c) move(A(first_row + i - 1, first_column + c - 1), W(i, c));
        else W(i, c) = T(0);
      }
    }
  }

  void eliminate() const {
    const Matrix<T> A12 = part(j, second);
    if (order2 > 0) {
      solve(order2, A12);
      subtract_square_of(order2, A12, block(A, second, second));
    }
    if (order3 > 0) {
      move_third([](T& inside, T& outside) { outside = inside; });
      solve(order3, W);
      if (order2 > 0) subtract_product(A12);
      subtract_square_of(order3, W, block(A, third, third));
      move_third([](T& inside, T& outside) { inside = outside; });
    }
  }
};

}  // namespace

template <Scalar T>
void pbtrf(char uplo, Int n, Int kd, T* ab, Int ldab, Int& info) {
  info = check_triangle(uplo, n, kd, ldab);
  if (info != 0) return report_bad_argument<T>("PBTRF", info);
  if (n == 0) return;
  const Int nb = std::min(widest_block, Tuning<T>{RoutineName<T>("PBTRF"), {&uplo, 1}, n, kd}.block_size());
  if (nb <= 1 || nb > kd) return pbtf2(uplo, n, kd, ab, ldab, info);

  const BandCholesky<T> F(uplo, n, kd, ab, ldab);
  T work[CholeskyBlock<T>::ld * widest_block];
  for (Int j = 1; j <= n; j += nb) {
    const CholeskyBlock<T> step{F, j, std::min(nb, n - j + 1), {work, CholeskyBlock<T>::ld}};
    potf2(uplo, step.jb, F.A.at(j, j), F.A.ld, info);
    if (info != 0) {
      info += j - 1;
      return;
    }
    if (step.second <= n) step.eliminate();
  }
}

namespace {

/// The two triangular systems of a solve, in their order, as calls solve(triangle, trans).
template <Scalar T, class Solve>
void solve_with_factor(char uplo, Int n, Int kd, const T* ab, Int ldab, Solve solve) {
  const bool upper = same_letter(uplo, 'U');
  const BandTriangle<T> factor{upper ? 'U' : 'L', 'N', n, kd, ab, ldab};
  solve(factor, upper ? adjoint<T> : 'N');
  solve(factor, upper ? 'N' : adjoint<T>);
}

}  // namespace

template <Scalar T>
void xpbtrs(char uplo, Int n, Int kd, Int nrhs, const T* ab, Int ldab, T* b, Int ldb, Int& info) {
  info = check_system(uplo, n, kd, nrhs, ldab, ldb);
  if (info != 0) return report_bad_argument<T>("PBTRS", info);
  if (n == 0 || nrhs == 0) return;
  const BandSolvePlan plan(RoutineName<T>("PBTRS"), uplo, n, kd, nrhs);
  if (plan.by_blocks(kd)) {
    const Workspace<T> work(plan.workspace(kd, nrhs));
    if (work.data() != nullptr) {
      return solve_with_factor(uplo, n, kd, ab, ldab, [&](const BandTriangle<T>& factor, char trans) {
        solve_by_blocks(factor, trans, plan.width(kd), nrhs, Matrix{b, ldb}, work.data());
      });
    }
  }
  pbts2(uplo, n, kd, nrhs, ab, ldab, b, ldb, info);
}

template <Scalar T>
void pbts2(char uplo, Int n, Int kd, Int nrhs, const T* ab, Int ldab, T* b, Int ldb, Int& info) {
  info = check_system(uplo, n, kd, nrhs, ldab, ldb);
  if (info != 0) return report_bad_argument<T>("PBTS2", info);
  if (n == 0 || nrhs == 0) return;
  solve_with_factor(uplo, n, kd, ab, ldab, [&](const BandTriangle<T>& factor, char trans) {
    solve_by_columns(factor, trans, nrhs, Matrix{b, ldb});
  });
}

template <Scalar T>
void pbsv(char uplo, Int n, Int kd, Int nrhs, T* ab, Int ldab, T* b, Int ldb, Int& info) {
  info = check_system(uplo, n, kd, nrhs, ldab, ldb);
  if (info != 0) return report_bad_argument<T>("PBSV", info);
  pbtrf(uplo, n, kd, ab, ldab, info);
  if (info == 0) layer::pbtrs(uplo, n, kd, nrhs, {ab, ldab}, {b, ldb}, info);
}

}  // namespace nuv

#include "solvers/band_cholesky.entries.inc"
