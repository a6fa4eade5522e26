#include "svd/bidiagonal_division.hpp"

#include <algorithm>
#include <cmath>
#include <functional>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/machine_constants.hpp"
#include "environment/matrix_utilities.hpp"
#include "environment/norms_symmetric.hpp"
#include "environment/scaling.hpp"
#include "environment/tuning.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "svd/bidiagonal_rotation.hpp"
#include "svd/bidiagonal_tree.hpp"
#include "svd/compact_tree.hpp"
#include "svd/division_tree.hpp"
#include "svd/plane_rotations.hpp"
#include "svd/rectangular_qr.hpp"
#include "symmetric/sorted_pairs.hpp"

namespace nuv {
namespace {

/// Where the vectors go, whatever their form.
template <RealScalar R>
struct FullVectors {
  Matrix<R> U, VT;
  Int smlsiz;
  R* work;
  Int* iwork;

  void take_sign(Int i, R sign) const {
    U(i, i) = sign;
    VT(i, i) = 1;
  }

  void prepare(Int n) const {
    laset('A', n, n, R(0), R(1), U.data, U.ld);
    laset('A', n, n, R(0), R(1), VT.data, VT.ld);
  }

  /// A matrix no larger than a leaf.
  Int solve_leaf(Int n, R* d, R* e) const {
    Int info;
    prepare(n);
    lasdq('U', 0, n, n, n, 0, d, e, VT.data, VT.ld, U.data, U.ld, U.data, U.ld, work, info);
    return info;
  }

  Int solve(Int first, Int n, R* d, R* e) const {
    Int info;
    lasd0(n, 0, d, e, U.at(first, first), U.ld, VT.at(first, first), VT.ld, smlsiz, iwork, work, info);
    return info;
  }

  void exchange(Int n, Int i, Int j) const {
    blas::swap(n, column(U, 1, i), column(U, 1, j));
    blas::swap(n, row(VT, i, 1), row(VT, j, 1));
  }
};

/// The same for factors: q and iq are matrices of n rows, their columns counted from zero here.
template <RealScalar R>
struct CompactVectors {
  Int n;
  bool is_upper;
  Int smlsiz;
  R* q;
  Int* iq;
  R* work;
  Int* iwork;

  R* column_of_q(Int j) const { return q + std::ptrdiff_t{n} * j; }
  Int* column_of_iq(Int j) const { return iq + std::ptrdiff_t{n} * j; }
  R* cosines() const { return column_of_q(2); }
  R* sines() const { return column_of_q(3); }

  /// The first column behind what came in.
  Int of_u() const { return is_upper ? 2 : 4; }

  void take_sign(Int i, R sign) const {
    column_of_q(of_u())[i - 1] = sign;
    column_of_q(of_u() + smlsiz)[i - 1] = 1;
  }

  void prepare(Int) const {}

  Int solve_leaf(Int, R* d, R* e) const {
    return FullVectors<R>{{column_of_q(of_u()), n}, {column_of_q(of_u() + n), n}, smlsiz, work, iwork}.solve_leaf(n, d,
                                                                                                                  e);
  }

  Int solve(Int first, Int rows, R* d, R* e) const {
    const Int levels = generations_of_nodes(n, smlsiz);
    const Int vt = of_u() + smlsiz, difl = vt + smlsiz + 1, difr = difl + levels, z = difr + 2 * levels, c = z + levels,
              s = c + 1, poles = s + 1, givnum = poles + 2 * levels, perm = 3, givcol = perm + levels;
    const auto real = [=, this](Int j) { return column_of_q(j) + (first - 1); };
    const auto whole = [=, this](Int j) { return column_of_iq(j) + (first - 1); };
    Int info;
    lasda(1, smlsiz, rows, 0, d, e, real(of_u()), n, real(vt), whole(1), real(difl), real(difr), real(z), real(poles),
          whole(2), whole(givcol), n, whole(perm), real(givnum), real(c), real(s), work, iwork, info);
    return info;
  }

  void exchange(Int, Int i, Int j) const { iq[j - 1] = i; }
};

/// Cuts the matrix where an element above the diagonal is negligible beside its norm, which is one, and solves the
/// parts.
template <RealScalar R, class Vectors>
Int solve_parts(Int n, R* d, R* e, const Vectors& vectors) {
  Int first = 1;
  for (Int i = 1; i <= n; ++i) {
    if (i < n) {
      if (!(std::abs(e[i - 1]) < Machine<R>::eps)) continue;
      e[i - 1] = 0;
    }
    R& value = d[first - 1];
    if (first == i) {
      vectors.take_sign(first, std::copysign(R(1), value));
      value = std::abs(value);
    } else {
      const Int info = vectors.solve(first, i - first + 1, &value, e + (first - 1));
      if (info != 0) return info;
    }
    first = i + 1;
  }
  return 0;
}

/// All values of an upper bidiagonal matrix in decreasing order, with vectors; gives info.
template <RealScalar R, class Vectors>
Int decompose(Int n, Int smlsiz, R* d, R* e, const Vectors& vectors) {
  Int info = 0;
  if (n <= smlsiz) {
    info = vectors.solve_leaf(n, d, e);
  } else {
    vectors.prepare(n);
    const R norm = lanst('M', n, d, e);
    if (norm == 0) return 0;
    Int ignored;
    lascl('G', 0, 0, norm, R(1), n, 1, d, n, ignored);
    lascl('G', 0, 0, norm, R(1), n - 1, 1, e, n - 1, ignored);
    info = solve_parts(n, d, e, vectors);
    lascl('G', 0, 0, R(1), norm, n, 1, d, n, ignored);
  }
  if (info != 0) return info;
  sort_by_selection(
      n, d, [&](Int i, Int j) { vectors.exchange(n, i, j); }, std::greater<>());
  return 0;
}

template <RealScalar R>
Int find_values(Int n, R* d, R* e, R* work) {
  Int info;
  R nothing = 0;
  lasdq('U', 0, n, 0, 0, 0, d, e, &nothing, 1, &nothing, 1, &nothing, 1, work, info);
  if (info == 0)
    sort_by_selection(
        n, d, [](Int, Int) {}, std::greater<>());
  return info;
}

/// compq 'I'.
template <RealScalar R>
Int find_vectors(bool is_upper, Int n, Int smlsiz, R* d, R* e, Matrix<R> U, Matrix<R> VT, R* work, Int* iwork) {
  R *const cosines = work, *const sines = work + (n - 1);
  if (!is_upper) rotate_to_other_side(n, n - 1, d, e, cosines, sines);
  R* const rest = is_upper ? work : work + std::ptrdiff_t{2} * (n - 1);
  const Int info = decompose(n, smlsiz, d, e, FullVectors<R>{U, VT, smlsiz, rest, iwork});
  if (is_upper) return info;
  for (Int i = 0; i < n - 1; ++i) sines[i] = negated(sines[i]);
  lasr('L', 'V', 'B', n, n, cosines, sines, U.data, U.ld);
  return info;
}

/// compq 'P'.
template <RealScalar R>
Int find_factors(Int smlsiz, R* d, R* e, const CompactVectors<R>& vectors) {
  const Int n = vectors.n;
  blas::copy(n, {d, 1}, {vectors.column_of_q(0), 1});
  blas::copy(n - 1, {e, 1}, {vectors.column_of_q(1), 1});
  if (!vectors.is_upper) rotate_to_other_side(n, n - 1, d, e, vectors.cosines(), vectors.sines());
  for (Int i = 0; i < n; ++i) vectors.iq[i] = i + 1;
  const Int info = decompose(n, smlsiz, d, e, vectors);
  vectors.iq[n - 1] = vectors.is_upper ? 1 : 0;
  return info;
}

}  // namespace

template <RealScalar T>
void bdsdc(char uplo, char compq, Int n, T* d, T* e, T* u, Int ldu, T* vt, Int ldvt, T* q, Int* iq, T* work, Int* iwork,
           Int& info) {
  const bool wants_vectors = same_letter(compq, 'I'), wants_factors = same_letter(compq, 'P');
  const Int least_ld = wants_vectors ? std::max(1, n) : 1;
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (!is_one_of(compq, 'N', 'P', 'I')) info = -2;
  else if (n < 0) info = -3;
  else if (ldu < least_ld) info = -7;
  else if (ldvt < least_ld) info = -9;
  if (info != 0) return report_bad_argument<T>("BDSDC", info);
  if (n == 0) return;

  const Int smlsiz = ilaenv(9, RoutineName<T>("BDSDC"), " ", 0, 0, 0, 0);
  const bool is_upper = same_letter(uplo, 'U');
  if (n == 1) {
    const T sign = std::copysign(T(1), d[0]);
    if (wants_factors) {
      q[0] = sign;
      q[smlsiz] = 1;
    } else if (wants_vectors) {
      *u = sign;
      *vt = 1;
    }
    d[0] = std::abs(d[0]);
  } else if (wants_factors) {
    info = find_factors(smlsiz, d, e, CompactVectors<T>{n, is_upper, smlsiz, q, iq, work, iwork});
  } else if (wants_vectors) {
    info = find_vectors<T>(is_upper, n, smlsiz, d, e, {u, ldu}, {vt, ldvt}, work, iwork);
  } else {
    if (!is_upper) rotate_to_other_side(n, n - 1, d, e, work, work + (n - 1));
    info = find_values(n, d, e, work);
  }
}

}  // namespace nuv

#include "svd/bidiagonal_division.entries.inc"
