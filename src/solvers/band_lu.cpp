#include "solvers/band_lu.hpp"

#include <algorithm>
#include <utility>

#include "base/quotient.hpp"
#include "environment/abs1.hpp"
#include "environment/block_plan.hpp"
#include "environment/conjugated.hpp"
#include "environment/hermitian.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "frame/pool.hpp"
#include "layer.hpp"
#include "solvers/band_storage.hpp"
#include "solvers/band_triangular.hpp"
#include "solvers/general_lu.hpp"

namespace nuv {
namespace {

/// 0, or minus the position of the first bad argument of m, n, kl, ku, ab, ldab.
Int check_matrix(Int m, Int n, Int kl, Int ku, Int ldab) {
  if (m < 0) return -1;
  if (n < 0) return -2;
  if (kl < 0) return -3;
  if (ku < 0) return -4;
  if (ldab < 2 * std::int64_t{kl} + ku + 1) return -6;
  return 0;
}

/// The same for trans, n, kl, ku, nrhs, ab, ldab, ipiv, b, ldb.
Int check_system(char trans, Int n, Int kl, Int ku, Int nrhs, Int ldab, Int ldb) {
  if (!is_one_of(trans, 'N', 'T', 'C')) return -1;
  if (n < 0) return -2;
  if (kl < 0) return -3;
  if (ku < 0) return -4;
  if (nrhs < 0) return -5;
  if (ldab < 2 * std::int64_t{kl} + ku + 1) return -7;
  if (ldb < std::max(1, n)) return -10;
  return 0;
}

/// An m by n band matrix while it is factored.
template <Scalar T>
struct BandFactorisation {
  Int m, n, kl, ku;
  Matrix<T> A;
  Int kv = kl + ku;  ///< diagonals of U above the main one
  Int last = 1;      ///< last column that the rows of U so far reach
  Int info = 0;

  BandFactorisation(Int m_, Int n_, Int kl_, Int ku_, T* ab, Int ldab)
      : m(m_), n(n_), kl(kl_), ku(ku_), A(band_view(ab, ldab, kl + ku + 1)) {
    if (kl > 0) {
      for (Int j = ku + 2; j <= std::min(kv, n); ++j) clear_fill_in(j);
    }
  }

  /// Sets to zero what row exchanges may fill in column j.
  void clear_fill_in(Int j) const { std::fill(A.at(std::max(1, j - kv), j), A.at(j - ku, j), T(0)); }

  /// Step j is the first that may reach column j + kv.
  void clear_next_fill_in(Int j) const {
    if (kv <= n - j) clear_fill_in(j + kv);
  }

  Int rows_below(Int j) const { return std::min(kl, m - j); }

  /// Notes that row p is the pivot row of column j, or that all of that column is zero. Gives whether there is a pivot.
  bool note_pivot(Int j, Int p) {
    if (A(p, j) == T(0)) {
      if (info == 0) info = j;
      return false;
    }
    last = std::max(last, static_cast<Int>(std::min<std::int64_t>(std::int64_t{p} + ku, n)));
    return true;
  }
};

/// Exchanges rows p and q of some columns.
template <Scalar T>
void swap_rows(Int columns, Matrix<T> A, Int p, Matrix<T> B, Int q) {
  if (columns > 0) blas::swap(columns, row(A, p, 1), row(B, q, 1));
}

/// Chooses the pivot row of column j.
template <Scalar T>
Int pivot_row(const BandFactorisation<T>& F, Int j) {
  return j - 1 + blas::iamax(F.rows_below(j) + 1, column(F.A, j, j));
}

/// Divides what stands below the pivot by it, and takes its multiples out of the columns up to `until`.
template <Scalar T>
void eliminate_below(const BandFactorisation<T>& F, Int j, Int until) {
  const Matrix<T> A = F.A;
  const Int below = F.rows_below(j);
  if (below == 0) return;
  blas::scal(below, quotient(T(1), A(j, j)), column(A, j + 1, j));
  if (until <= j) return;
  subtract_outer_product<T>(below, until - j, column(A, j + 1, j), row(A, j, j + 1), block(A, j + 1, j + 1));
}

/// Step j for `below` rows below the diagonal: the same work with exchange and elimination in one pass. A column is
/// read before any of it is written: what the exchange stores by itself could not be read as part of a register for a
/// while.
template <int below, Scalar T>
void narrow_step(BandFactorisation<T>& F, Int j, Int& ipiv) {
  F.clear_next_fill_in(j);
  T* const diagonal = F.A.at(j, j);
  int p = 0;
  Real<T> largest = abs1(diagonal[0]);
  for (int i = 1; i <= below; ++i) {
    const Real<T> size = abs1(diagonal[i]);
    if (size > largest) {
      largest = size;
      p = i;
    }
  }
  ipiv = j + p;
  if (!F.note_pivot(j, j + p)) return;
  if constexpr (below > 0) {
    const auto exchanged = [p](const T* column, T first, int i) { return i + 1 == p ? first : column[i + 1]; };
    const T pivot = diagonal[p], first = diagonal[0], reciprocal = quotient(T(1), pivot);
    T multiplier[below];
    for (int i = 0; i < below; ++i) multiplier[i] = reciprocal * exchanged(diagonal, first, i);
    diagonal[0] = pivot;
    for (int i = 0; i < below; ++i) diagonal[i + 1] = multiplier[i];
    T* column = diagonal;
    for (Int c = j + 1; c <= F.last; ++c) {
      column += F.A.ld;
      const T u = column[p], top = column[0];
      T updated[below];
      for (int i = 0; i < below; ++i) updated[i] = exchanged(column, top, i) - multiplier[i] * u;
      column[0] = u;
      for (int i = 0; i < below; ++i) column[i + 1] = updated[i];
    }
  }
}

/// Steps from ... to, which have equally many rows below the diagonal.
template <Scalar T>
void narrow_steps(BandFactorisation<T>& F, Int from, Int to, Int* ipiv) {
  if (from > to) return;
  with_constant(F.rows_below(from), [&](auto below) {
    for (Int j = from; j <= to; ++j) narrow_step<below>(F, j, ipiv[j - 1]);
  });
}

template <Scalar T>
void step(BandFactorisation<T>& F, Int j, Int& ipiv) {
  F.clear_next_fill_in(j);
  ipiv = pivot_row(F, j);
  if (!F.note_pivot(j, ipiv)) return;
  if (ipiv != j) blas::swap(F.last - j + 1, row(F.A, j, j), row(F.A, ipiv, j));
  eliminate_below(F, j, F.last);
}

}  // namespace

template <Scalar T>
void gbtf2(Int m, Int n, Int kl, Int ku, T* ab, Int ldab, Int* ipiv, Int& info) {
  info = check_matrix(m, n, kl, ku, ldab);
  if (info != 0) return report_bad_argument<T>("GBTF2", info);
  if (m == 0 || n == 0) return;
  BandFactorisation<T> F(m, n, kl, ku, ab, ldab);
  const Int steps = std::min(m, n);
  if (kl > narrow_band) {
    for (Int j = 1; j <= steps; ++j) step(F, j, ipiv[j - 1]);
  } else {
    narrow_steps(F, 1, std::min(steps, m - kl), ipiv);
    for (Int j = std::max(1, m - kl + 1); j <= steps; ++j) narrow_steps(F, j, j, ipiv);
  }
  info = F.info;
}

namespace {

constexpr Int widest_block = 64;

/// A block beside the band, in the frame of the routine: one row more than columns keeps its rows apart in the cache.
template <Scalar T>
struct WorkBlock {
  static constexpr Int ld = widest_block + 1;
  T elements[ld * widest_block] = {};

  Matrix<T> view() { return {elements, ld}; }
};

/// Columns j to j + jb - 1 while they are factored, with what the band holds around them:
///
///     A11 | A12 | A13     A31 is an upper triangle as far as it lies in the band, A13 a lower one.
///     A21 | A22 | A23     What row exchanges bring beyond the band stands in the work blocks
///     A31 | A32 | A33     L31 and U13.
template <Scalar T>
struct BandPanel {
  BandFactorisation<T>& F;
  Int j, jb;
  Int* ipiv;
  Matrix<T> L31, U13;
  Matrix<T> A = F.A;
  Int second = j + jb, third = j + F.kl;  ///< first rows of A21 and A31
  Int rows2 = std::min(F.kl - jb, F.m - second + 1), rows3 = std::max(0, std::min(jb, F.m - third + 1));

  /// Of column c, counted from 1, what lies in A31.
  Int in_third(Int c) const { return std::min(c, rows3); }

  /// Exchanges rows p and q of the panel's first columns; q may lie in A31.
  void swap_left(Int columns, Int p, Int q) const {
    const Matrix<T> panel = block(A, 1, j);
    if (q < third) swap_rows(columns, panel, p, panel, q);
    else swap_rows(columns, panel, p, L31, q - third + 1);
  }

  /// Exchanges rows p and q of the panel, whose columns before c are factored.
  void swap_all(Int c, Int p, Int q) const {
    if (q < third) return swap_left(jb, p, q);
    swap_left(c - 1, p, q);
    swap_rows(jb - c + 1, block(A, 1, p), p, block(A, 1, p), q);
  }

  void factor() const {
    for (Int c = 1; c <= jb; ++c) {
      const Int at = j + c - 1;
      F.clear_next_fill_in(at);
      const Int p = ipiv[at - 1] = pivot_row(F, at);
      if (F.note_pivot(at, p)) {
        if (p != at) swap_all(c, at, p);
        eliminate_below(F, at, std::min(F.last, second - 1));
      }
      if (rows3 > 0) blas::copy(in_third(c), column(A, third, at), column(L31, 1, c));
    }
  }

  void update_right() const {
    const Int full = std::min(F.last - j + 1, F.kv) - jb;  // columns of A12
    const Int cut = std::max(0, F.last - j - F.kv + 1);    // columns of A13
    exchange_rows(full, cut);
    if (full > 0) {
      const Matrix<T> A12 = block(A, j, second);
      eliminate(full, A12, second);
    }
    if (cut > 0) {
      move_cut_columns(cut, [](T& inside, T& outside) { outside = inside; });
      eliminate(cut, U13, j + F.kv);
      move_cut_columns(cut, [](T& inside, T& outside) { inside = outside; });
    }
  }

  /// The exchanges of the panel in the columns to its right. Where the band is cut off, a column begins at the row that
  /// is as far below the first as the column is behind its first; no exchange of a row above it reaches the column.
  void exchange_rows(Int full, Int cut) const {
    if (full > 0) laswp(full, A.at(1, second), A.ld, j, second - 1, ipiv, 1);
    for (Int c = 1; c <= cut; ++c) {
      const Int at = j + F.kv + c - 1;
      for (Int i = j + c - 1; i < second; ++i) std::swap(A(i, at), A(ipiv[i - 1], at));
    }
  }

  /// Calls move(element of the band, element of U13) for the lower triangle of A13; the rest of U13 becomes zero.
  template <class Move>
  void move_cut_columns(Int cut, Move move) const {
    for (Int c = 1; c <= cut; ++c) {
      for (Int i = 1; i < c; ++i) U13(i, c) = T(0);
      for (Int i = c; i <= jb; ++i) move(A(j + i - 1, j + F.kv + c - 1), U13(i, c));
    }
  }

  /// U12 := L11^-1 U12, and its multiples leave the rows below, from column `at` on.
  void eliminate(Int columns, Matrix<T> U12, Int at) const {
    blas::trsm('L', 'L', 'N', 'U', jb, columns, T(1), block(A, j, j), U12);
    if (rows2 > 0) {
      blas::gemm('N', 'N', rows2, columns, jb, T(-1), block(A, second, j), U12, T(1), block(A, second, at));
    }
    if (rows3 > 0) blas::gemm('N', 'N', rows3, columns, jb, T(-1), L31, U12, T(1), block(A, third, at));
  }

  /// Takes the exchanges back in the columns to the left of each pivot, so that A31 keeps to its triangle.
  void undo_exchanges() const {
    for (Int c = jb; c >= 1; --c) {
      const Int at = j + c - 1, p = ipiv[at - 1];
      if (p != at) swap_left(c - 1, at, p);
      if (rows3 > 0) blas::copy(in_third(c), column(L31, 1, c), column(A, third, at));
    }
  }
};

}  // namespace

template <Scalar T>
void xgbtrf(Int m, Int n, Int kl, Int ku, T* ab, Int ldab, Int* ipiv, Int& info) {
  info = check_matrix(m, n, kl, ku, ldab);
  if (info != 0) return report_bad_argument<T>("GBTRF", info);
  if (m == 0 || n == 0) return;
  const Int nb = std::min(widest_block, Tuning<T>{RoutineName<T>("GBTRF"), " ", m, n, kl, ku}.block_size());
  if (nb <= 1 || nb > kl) return gbtf2(m, n, kl, ku, ab, ldab, ipiv, info);

  BandFactorisation<T> F(m, n, kl, ku, ab, ldab);
  WorkBlock<T> L31, U13;
  for (Int j = 1; j <= std::min(m, n); j += nb) {
    const BandPanel<T> panel{F, j, std::min(nb, std::min(m, n) - j + 1), ipiv, L31.view(), U13.view()};
    panel.factor();
    if (panel.second <= n) panel.update_right();
    panel.undo_exchanges();
  }
  info = F.info;
}

namespace {

/// The factor L of a band matrix: unit lower triangular matrices of one column each, with an exchange of rows before
/// each of them.
template <Scalar T>
struct BandL {
  Int n, kl;
  Matrix<const T> A;  ///< its multipliers stand below the diagonal
  const Int* ipiv;

  Int rows_below(Int j) const { return std::min(kl, n - j); }
};

/// Keeps the compiler from taking neighbours in one register: the row before stored them one place further, and what
/// spans two stores could not be read for a while.
inline void one_by_one() {
  asm volatile("" ::: "memory");
}

/// Solves with L, or L^T, or L^H, for `lanes` columns.
template <int lanes, Scalar T>
void solve_narrow(const BandL<T>& L, char trans, Matrix<T> B) {
  const auto exchange = [&](Int j) {
    const Int p = L.ipiv[j - 1];
    for (int c = 1; c <= lanes; ++c) std::swap(B(j, c), B(p, c));
  };
  if (same_letter(trans, 'N')) {
    for (Int j = 1; j < L.n; ++j) {
      exchange(j);
      T x[lanes];
      for (int c = 0; c < lanes; ++c) x[c] = B(j, c + 1);
      const Int below = L.rows_below(j);
      for (Int i = 1; i <= below; ++i) {
        const T l = L.A(j + i, j);
        for (int c = 0; c < lanes; ++c) B(j + i, c + 1) -= l * x[c];
        one_by_one();
      }
    }
    return;
  }
  const bool conjugated = same_letter(trans, 'C');
  for (Int j = L.n - 1; j >= 1; --j) {
    T x[lanes];
    for (int c = 0; c < lanes; ++c) x[c] = B(j, c + 1);
    for (Int i = L.rows_below(j); i >= 1; --i) {
      const T l = conjugated ? conjugate(L.A(j + i, j)) : L.A(j + i, j);
      for (int c = 0; c < lanes; ++c) x[c] -= l * B(j + i, c + 1);
    }
    for (int c = 0; c < lanes; ++c) B(j, c + 1) = x[c];
    exchange(j);
  }
}

/// B(j) -= l^T B or l^H B for the row j of B and the rows below it that a column l of L meets.
template <Scalar T>
void subtract_product(char trans, Int below, Int nrhs, Vector<const T> l, Matrix<T> B, Int j) {
  const Conjugated<T> turned(nrhs, row(B, j, 1), same_letter(trans, 'C'));
  blas::gemv(trans, below, nrhs, T(-1), block(B, j + 1, 1), l, T(1), row(B, j, 1));
}

template <Scalar T>
void solve_by_steps(const BandL<T>& L, char trans, Int nrhs, Matrix<T> B) {
  const auto exchange = [&](Int j) {
    if (L.ipiv[j - 1] != j) blas::swap(nrhs, row(B, j, 1), row(B, L.ipiv[j - 1], 1));
  };
  if (same_letter(trans, 'N')) {
    for (Int j = 1; j < L.n; ++j) {
      exchange(j);
      subtract_outer_product<T>(L.rows_below(j), nrhs, column(L.A, j + 1, j), row(B, j, 1), block(B, j + 1, 1));
    }
    return;
  }
  for (Int j = L.n - 1; j >= 1; --j) {
    subtract_product(trans, L.rows_below(j), nrhs, column(L.A, j + 1, j), B, j);
    exchange(j);
  }
}

/// Solves with L in any of its forms, row by row.
template <Scalar T>
void solve_by_rows(const BandL<T>& L, char trans, Int nrhs, Matrix<T> B) {
  if (L.kl == 0) return;
  if (L.kl > narrow_band) return solve_by_steps(L, trans, nrhs, B);
  for_each_few_columns(nrhs, [&](auto lanes, Int j) { solve_narrow<lanes>(L, trans, block(B, 1, j)); });
}

/// Columns j to j + jb - 1 of L as they look after all of their exchanges: a unit lower triangle and the rows below it.
template <Scalar T>
struct GatheredL {
  Int j, jb, below;
  Matrix<T> W;

  GatheredL(const BandL<T>& L, Int j_, Int jb_, T* work)
      : j(j_), jb(jb_), below(std::min(L.kl, L.n - j - jb + 1)), W(work, jb + below) {
    std::fill(W.data, W.at(1, jb + 1), T(0));
    for (Int c = 1; c <= jb; ++c) {
      const Int at = j + c - 1;
      std::copy_n(L.A.at(at + 1, at), L.rows_below(at), W.at(c + 1, c));
      const Int p = L.ipiv[at - 1] - j + 1;
      if (p != c) swap_rows(c - 1, W, c, W, p);
    }
  }
};

/// Solves with L in any of its forms by blocks of nb rows; work has (nb + kl) nb elements.
template <Scalar T>
void solve_by_blocks(const BandL<T>& L, char trans, Int nb, Int nrhs, Matrix<T> B, T* work) {
  const Int blocks = (L.n + nb - 1) / nb;
  const bool transposed = !same_letter(trans, 'N');
  for (Int count = 0; count < blocks; ++count) {
    const Int j = (transposed ? blocks - 1 - count : count) * nb + 1;
    const GatheredL<T> part(L, j, std::min(nb, L.n - j + 1), work);
    const Matrix<T> inside = block(B, j, 1), beyond = block(B, j + part.jb, 1);
    const Matrix<T> rows_beyond = block(part.W, part.jb + 1, 1);
    if (transposed) {
      if (part.below > 0) {
        blas::gemm(trans, 'N', part.jb, nrhs, part.below, T(-1), rows_beyond, beyond, T(1), inside);
      }
      blas::trsm('L', 'L', trans, 'U', part.jb, nrhs, T(1), part.W, inside);
      laswp(nrhs, B.data, B.ld, j, j + part.jb - 1, L.ipiv, -1);
    } else {
      laswp(nrhs, B.data, B.ld, j, j + part.jb - 1, L.ipiv, 1);
      blas::trsm('L', 'L', 'N', 'U', part.jb, nrhs, T(1), part.W, inside);
      if (part.below > 0) {
        blas::gemm('N', 'N', part.below, nrhs, part.jb, T(-1), rows_beyond, inside, T(1), beyond);
      }
    }
  }
}

/// Both factors of a band matrix of order n.
template <Scalar T>
struct BandFactors {
  BandL<T> L;
  BandTriangle<T> U;

  BandFactors(Int n, Int kl, Int ku, const T* ab, Int ldab, const Int* ipiv)
      : L{n, kl, band_view(ab, ldab, kl + ku + 1), ipiv}, U{'U', 'N', n, kl + ku, ab, ldab} {}
};

template <Scalar T>
void solve_by_rows(const BandFactors<T>& factors, char trans, Int nrhs, Matrix<T> B) {
  const bool transposed = !same_letter(trans, 'N');
  if (!transposed) solve_by_rows(factors.L, trans, nrhs, B);
  solve_by_columns(factors.U, trans, nrhs, B);
  if (transposed) solve_by_rows(factors.L, trans, nrhs, B);
}

/// The same by blocks, but for an L of few diagonals; false where the memory for that is refused.
template <Scalar T>
bool solve_by_blocks(const BandFactors<T>& factors, char trans, const BandSolvePlan& plan, Int nrhs, Matrix<T> B) {
  const BandL<T>& L = factors.L;
  const BandTriangle<T>& U = factors.U;
  const Int width = plan.width(L.kl);
  const bool l_by_blocks = plan.by_blocks(L.kl);
  const std::size_t for_l = l_by_blocks ? std::size_t(width) * std::size_t(width + std::min(L.kl, L.n)) : 0;
  const Workspace<T> work(std::max(for_l, plan.workspace(U.kd, nrhs)));
  if (work.data() == nullptr) return false;
  const auto solve_with_l = [&] {
    if (l_by_blocks) solve_by_blocks(L, trans, width, nrhs, B, work.data());
    else solve_by_rows(L, trans, nrhs, B);
  };
  const bool transposed = !same_letter(trans, 'N');
  if (!transposed) solve_with_l();
  solve_by_blocks(U, trans, plan.width(U.kd), nrhs, B, work.data());
  if (transposed) solve_with_l();
  return true;
}

}  // namespace

template <Scalar T>
void xgbtrs(char trans, Int n, Int kl, Int ku, Int nrhs, const T* ab, Int ldab, const Int* ipiv, T* b, Int ldb,
            Int& info) {
  info = check_system(trans, n, kl, ku, nrhs, ldab, ldb);
  if (info != 0) return report_bad_argument<T>("GBTRS", info);
  if (n == 0 || nrhs == 0) return;
  const BandSolvePlan plan(RoutineName<T>("GBTRS"), trans, n, kl + ku, nrhs);
  const BandFactors<T> factors(n, kl, ku, ab, ldab, ipiv);
  if (plan.by_blocks(kl + ku) && solve_by_blocks(factors, trans, plan, nrhs, Matrix{b, ldb})) return;
  gbts2(trans, n, kl, ku, nrhs, ab, ldab, ipiv, b, ldb, info);
}

template <Scalar T>
void gbts2(char trans, Int n, Int kl, Int ku, Int nrhs, const T* ab, Int ldab, const Int* ipiv, T* b, Int ldb,
           Int& info) {
  info = check_system(trans, n, kl, ku, nrhs, ldab, ldb);
  if (info != 0) return report_bad_argument<T>("GBTS2", info);
  if (n == 0 || nrhs == 0) return;
  solve_by_rows(BandFactors<T>(n, kl, ku, ab, ldab, ipiv), trans, nrhs, Matrix{b, ldb});
}

template <Scalar T>
void gbsv(Int n, Int kl, Int ku, Int nrhs, T* ab, Int ldab, Int* ipiv, T* b, Int ldb, Int& info) {
  info = 0;
  if (n < 0) info = -1;
  else if (kl < 0) info = -2;
  else if (ku < 0) info = -3;
  else if (nrhs < 0) info = -4;
  else if (ldab < 2 * std::int64_t{kl} + ku + 1) info = -6;
  else if (ldb < std::max(1, n)) info = -9;
  if (info != 0) return report_bad_argument<T>("GBSV", info);
  layer::gbtrf(n, n, kl, ku, {ab, ldab}, ipiv, info);
  if (info == 0) layer::gbtrs('N', n, kl, ku, nrhs, {ab, ldab}, ipiv, {b, ldb}, info);
}

}  // namespace nuv

#include "solvers/band_lu.entries.inc"
