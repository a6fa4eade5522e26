#include "solvers/band_triangular.hpp"

#include <algorithm>

#include "base/quotient.hpp"
#include "blas.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "frame/pool.hpp"
#include "solvers/band_storage.hpp"

namespace nuv {
namespace {

template <Scalar T>
Matrix<const T> view(const BandTriangle<T>& A) {
  return band_view(A.ab, A.ldab, same_letter(A.uplo, 'U') ? A.kd + 1 : 1);
}

/// A narrow triangle in the order in which a solve finds the unknowns: unknown i meets those found before it, i - step,
/// i - 2 step, ..., in coefficients that stand `stride` apart from its diagonal on.
template <Scalar T>
struct NarrowSystem {
  Matrix<const T> A;
  bool transposed, conjugated, unit_diagonal;
  Int n, kd, first, step;
  std::ptrdiff_t stride;

  NarrowSystem(const BandTriangle<T>& triangle, char trans)
      : A(view(triangle)),
        transposed(!same_letter(trans, 'N')),
        conjugated(same_letter(trans, 'C')),
        unit_diagonal(same_letter(triangle.diag, 'U')),
        n(triangle.n),
        kd(triangle.kd) {
    const bool forward = same_letter(triangle.uplo, 'U') == transposed;
    first = forward ? 1 : n;
    step = forward ? 1 : -1;
    stride = std::ptrdiff_t{step} * (transposed ? 1 : A.ld);
  }

  T entry(const T* at) const { return conjugated ? conjugate(*at) : *at; }
};

/// Solves for `lanes` columns at once: each recurrence waits for its own last result only. The terms are subtracted from
/// the oldest unknown to the newest, which stays in a register.
template <int lanes, Scalar T>
void solve_narrow(const NarrowSystem<T>& system, Matrix<T> B) {
  T newest[lanes] = {};
  for (Int count = 0; count < system.n; ++count) {
    const Int i = system.first + count * system.step;
    const T* const diagonal = system.A.at(i, i);
    T rest[lanes];
    for (int c = 0; c < lanes; ++c) rest[c] = B(i, c + 1);
    for (Int k = std::min(system.kd, count); k >= 2; --k) {
      const T a = system.entry(diagonal - k * system.stride);
      for (int c = 0; c < lanes; ++c) rest[c] -= a * B(i - k * system.step, c + 1);
    }
    if (count > 0 && system.kd > 0) {
      const T a = system.entry(diagonal - system.stride);
      for (int c = 0; c < lanes; ++c) rest[c] -= a * newest[c];
    }
    const T d = system.unit_diagonal ? T(1) : system.entry(diagonal);
    for (int c = 0; c < lanes; ++c) {
      newest[c] = system.unit_diagonal ? rest[c] : quotient(rest[c], d);
      B(i, c + 1) = newest[c];
    }
  }
}

}  // namespace

template <Scalar T>
void solve_by_columns(const BandTriangle<T>& A, char trans, Int nrhs, Matrix<T> B) {
  if (A.kd <= 2 * narrow_band) {
    const NarrowSystem<T> system(A, trans);
    for_each_few_columns(nrhs, [&](auto lanes, Int j) { solve_narrow<lanes>(system, block(B, 1, j)); });
    return;
  }
  for (Int j = 1; j <= nrhs; ++j) blas::tbsv(A.uplo, trans, A.diag, A.n, A.kd, Matrix{A.ab, A.ldab}, column(B, 1, j));
}

namespace {

/// What columns j ... j + jb - 1 of a band triangle hold beyond the diagonal block, away from the end where the band is
/// cut off: rows that meet all of these columns, and a triangle that meets all but one.
///
///     upper   \ .     from row j - kd on        lower   D     diagonal block
///             \\\     the triangle,                     RRR   the full rows,
///             RRR     the full rows,                    \\\   the triangle, from
///               D     diagonal block                     .\   row j + kd + 1 on
struct BlockBeyond {
  Int full_row, full_rows;
  char uplo;
  Int triangle_row, triangle_column, order;

  BlockBeyond(bool upper, Int kd, Int j, Int jb)
      : full_row(upper ? j + jb - 1 - kd : j + jb),
        full_rows(kd - jb + 1),
        uplo(upper ? 'L' : 'U'),
        triangle_row(upper ? j - kd : j + kd + 1),
        triangle_column(upper ? j : j + 1),
        order(jb - 1) {}
};

/// One block of the solve: rows j ... j + jb - 1 of B.
template <Scalar T>
struct BandBlockSolve {
  const BandTriangle<T>& triangle;
  char trans;
  Int nrhs;
  Matrix<T> B;
  T* work;
  Matrix<const T> A = view(triangle);
  bool upper = same_letter(triangle.uplo, 'U');

  void solve_diagonal_block(Int j, Int jb) const {
    blas::trsm('L', triangle.uplo, trans, triangle.diag, jb, nrhs, T(1), block(A, j, j), block(B, j, 1));
  }

  /// Takes what is solved of the block out of the rows beyond it, or with A^T the other way round.
  void eliminate(Int j, Int jb) const {
    const BlockBeyond beyond(upper, triangle.kd, j, jb);
    const Matrix<T> inside = block(B, j, 1), full_rows = block(B, beyond.full_row, 1);
    const Matrix<const T> full = block(A, beyond.full_row, j);
    if (same_letter(trans, 'N')) {
      blas::gemm('N', 'N', beyond.full_rows, nrhs, jb, T(-1), full, inside, T(1), full_rows);
      subtract_triangle(beyond, beyond.triangle_column, beyond.triangle_row);
    } else {
      blas::gemm(trans, 'N', jb, nrhs, beyond.full_rows, T(-1), full, full_rows, T(1), inside);
      subtract_triangle(beyond, beyond.triangle_row, beyond.triangle_column);
    }
  }

  /// Rows `to` ... of B -= the triangle, or its transpose, times rows `from` ...
  void subtract_triangle(const BlockBeyond& beyond, Int from, Int to) const {
    const Int rows = beyond.order;
    if (rows == 0) return;
    const Matrix<T> product{work, rows};
    for (Int c = 1; c <= nrhs; ++c) std::copy_n(B.at(from, c), rows, product.at(1, c));
    blas::trmm('L', beyond.uplo, trans, 'N', rows, nrhs, T(1), block(A, beyond.triangle_row, beyond.triangle_column),
               product);
    for (Int c = 1; c <= nrhs; ++c) {
      for (Int i = 0; i < rows; ++i) B(to + i, c) -= product(i + 1, c);
    }
  }
};

}  // namespace

// The kd rows at the end where the band is cut off, the first of an upper triangle and the last of a lower one, are a
// dense triangle. The others are taken in blocks, for A towards that end, for A^T away from it.
template <Scalar T>
void solve_by_blocks(const BandTriangle<T>& A, char trans, Int nb, Int nrhs, Matrix<T> B, T* work) {
  const BandBlockSolve<T> solve{A, trans, nrhs, B, work};
  const Int dense = std::min(A.n, A.kd), others = A.n - dense;
  const Int first_dense = solve.upper ? 1 : others + 1, first_other = solve.upper ? dense + 1 : 1;
  const Int blocks = (others + nb - 1) / nb;
  const bool transposed = !same_letter(trans, 'N');
  if (transposed) solve.solve_diagonal_block(first_dense, dense);
  for (Int count = 0; count < blocks; ++count) {
    const Int at = transposed == solve.upper ? count : blocks - 1 - count;
    const Int j = first_other + at * nb, jb = std::min(nb, others - at * nb);
    if (transposed) solve.eliminate(j, jb);
    solve.solve_diagonal_block(j, jb);
    if (!transposed) solve.eliminate(j, jb);
  }
  if (!transposed) solve.solve_diagonal_block(first_dense, dense);
}

template <Scalar T>
void xtbtrs(char uplo, char trans, char diag, Int n, Int kd, Int nrhs, const T* ab, Int ldab, T* b, Int ldb,
            Int& info) {
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (!is_one_of(trans, 'N', 'T', 'C')) info = -2;
  else if (!is_one_of(diag, 'N', 'U')) info = -3;
  else if (n < 0) info = -4;
  else if (kd < 0) info = -5;
  else if (nrhs < 0) info = -6;
  else if (ldab <= kd) info = -8;
  else if (ldb < std::max(1, n)) info = -10;
  if (info != 0) return report_bad_argument<T>("TBTRS", info);
  if (n == 0) return;

  const BandTriangle<T> A{uplo, diag, n, kd, ab, ldab};
  if (same_letter(diag, 'N')) {
    for (Int i = 1; i <= n; ++i) {
      if (view(A)(i, i) != T(0)) continue;
      info = i;
      return;
    }
  }
  if (nrhs == 0) return;
  const BandSolvePlan plan(RoutineName<T>("TBTRS"), trans, n, kd, nrhs);
  if (plan.by_blocks(kd)) {
    const Workspace<T> work(plan.workspace(kd, nrhs));
    if (work.data() != nullptr) return solve_by_blocks(A, trans, plan.width(kd), nrhs, Matrix{b, ldb}, work.data());
  }
  solve_by_columns(A, trans, nrhs, Matrix{b, ldb});
}

template void solve_by_columns(const BandTriangle<float>&, char, Int, Matrix<float>);
template void solve_by_columns(const BandTriangle<double>&, char, Int, Matrix<double>);
template void solve_by_columns(const BandTriangle<std::complex<float>>&, char, Int, Matrix<std::complex<float>>);
template void solve_by_columns(const BandTriangle<std::complex<double>>&, char, Int, Matrix<std::complex<double>>);
template void solve_by_blocks(const BandTriangle<float>&, char, Int, Int, Matrix<float>, float*);
template void solve_by_blocks(const BandTriangle<double>&, char, Int, Int, Matrix<double>, double*);
template void solve_by_blocks(const BandTriangle<std::complex<float>>&, char, Int, Int, Matrix<std::complex<float>>, std::complex<float>*);
template void solve_by_blocks(const BandTriangle<std::complex<double>>&, char, Int, Int, Matrix<std::complex<double>>, std::complex<double>*);

}  // namespace nuv

#include "solvers/band_triangular.entries.inc"
