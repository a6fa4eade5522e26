#pragma once

// The method of the expert drivers, over a storage form. They work on a problem, a type that knows the storage form and
// the arrays of the call:
//
//     norm(trans)                            of the matrix, the one that the condition goes with
//     find_condition(trans, anorm, rcond)    ?con
//     solve(trans, systems)                  ?trs on X
//     refine(trans, systems)                 ?rfs
//     factor(info)                           copies the matrix and factors it
//
//     equilibrate(scaling)                   where matrices are scaled: ?equ and, if that found factors, ?laq
//     largest_of_u(k), largest_of_a(k)       general matrices: the largest entry of the first k columns of U and A
//
// trans is 'N' for symmetric forms, which do not look at it.

#include <algorithm>

#include "base/matrix.hpp"
#include "environment/machine_constants.hpp"
#include "environment/matrix_utilities.hpp"
#include "frame/option_matching.hpp"

namespace nuv {

template <Scalar T>
struct Systems {
  Int n;
  Int nrhs;
  Matrix<const T> B;
  Matrix<T> X;
  Real<T>* ferr;
  Real<T>* berr;
};

/// The driver without scaling; gives info. With the letter 'F' the factors are there.
template <Scalar T, class Problem>
Int solve_expertly(const Problem& problem, char fact, char trans, const Systems<T>& systems, Real<T>& rcond) {
  if (!same_letter(fact, 'F')) {
    Int info = 0;
    problem.factor(info);
    if (info > 0) {
      rcond = 0;
      return info;
    }
  }
  problem.find_condition(trans, problem.norm(trans), rcond);
  lacpy('F', systems.n, systems.nrhs, systems.B.data, systems.B.ld, systems.X.data, systems.X.ld);
  problem.solve(trans, systems);
  problem.refine(trans, systems);
  return rcond < Machine<Real<T>>::eps ? systems.n + 1 : 0;
}

// ------------------------------------------------------------------------------------------------------------- scaling

/// The least of n given scale factors over the largest, both moved into the safe range; false if one is not positive.
template <RealScalar R>
bool find_ratio(Int n, const R* factors, R& ratio) {
  constexpr R smlnum = Machine<R>::safe_min, bignum = 1 / smlnum;
  R least = bignum, largest = 0;
  for (Int i = 0; i < n; ++i) {
    least = std::min(least, factors[i]);
    largest = std::max(largest, factors[i]);
  }
  if (least <= 0) return false;
  ratio = n > 0 ? std::max(least, smlnum) / std::min(largest, bignum) : R(1);
  return true;
}

/// Multiplies the rows of an n by nrhs matrix by factors.
template <Scalar T>
void scale_rows(Int n, Int nrhs, const Real<T>* factors, Matrix<T> M) {
  for (Int j = 1; j <= nrhs; ++j) {
    for (Int i = 1; i <= n; ++i) M(i, j) = factors[i - 1] * M(i, j);
  }
}

/// Takes the scaling out of solutions: x = diag(factors) y, where the error bounds are those of y, and ratio is the least
/// factor over the largest.
template <Scalar T>
void unscale_solutions(const Systems<T>& systems, const Real<T>* factors, Real<T> ratio) {
  scale_rows(systems.n, systems.nrhs, factors, systems.X);
  for (Int j = 0; j < systems.nrhs; ++j) systems.ferr[j] /= ratio;
}

/// The scaling of a general matrix: the sides that were scaled, with their factors and the ratios of those.
template <RealScalar R>
struct GeneralScaling {
  char& equed;
  R* r;
  R* c;
  R rowcnd = 1;
  R colcnd = 1;

  bool of_rows() const { return is_one_of(equed, 'R', 'B'); }
  bool of_columns() const { return is_one_of(equed, 'C', 'B'); }

  /// Where the caller gives it, with the factors: which of equed, r and c, counted from one, is bad, or 0.
  Int find_bad(char fact, Int n) {
    if (!same_letter(fact, 'F')) return 0;
    if (!is_one_of(equed, 'N', 'R', 'C', 'B')) return 1;
    if (of_rows() && !find_ratio(n, r, rowcnd)) return 2;
    if (of_columns() && !find_ratio(n, c, colcnd)) return 3;
    return 0;
  }
};

/// The same for rows and columns alike.
template <RealScalar R>
struct SymmetricScaling {
  char& equed;
  R* s;
  R scond = 1;

  bool is_done() const { return same_letter(equed, 'Y'); }

  Int find_bad(char fact, Int n) {
    if (!same_letter(fact, 'F')) return 0;
    if (!is_one_of(equed, 'N', 'Y')) return 1;
    if (is_done() && !find_ratio(n, s, scond)) return 2;
    return 0;
  }
};

// ------------------------------------------------------------------------------------------------ drivers with scaling

/// How little the first columns grew in the factorisation: a small value warns.
template <Scalar T, class Problem>
Real<T> reciprocal_pivot_growth(const Problem& problem, Int columns) {
  const Real<T> of_u = problem.largest_of_u(columns);
  return of_u == 0 ? 1 : problem.largest_of_a(columns) / of_u;
}

/// The driver for general matrices; B is that of the systems. growth returns the reciprocal pivot growth, of the columns
/// up to the one where the factorisation found no pivot.
template <Scalar T, class Problem>
Int solve_general(const Problem& problem, char fact, char trans, const Systems<T>& systems, Matrix<T> B,
                  GeneralScaling<Real<T>> scaling, Real<T>& rcond, Real<T>* growth) {
  if (!same_letter(fact, 'F')) scaling.equed = 'N';
  if (same_letter(fact, 'E')) problem.equilibrate(scaling);
  const bool is_direct = same_letter(trans, 'N');
  const bool scales_b = is_direct ? scaling.of_rows() : scaling.of_columns();
  const bool scales_x = is_direct ? scaling.of_columns() : scaling.of_rows();
  if (scales_b) scale_rows(systems.n, systems.nrhs, is_direct ? scaling.r : scaling.c, B);

  const Int info = solve_expertly(problem, fact, trans, systems, rcond);
  const bool is_singular = info > 0 && info <= systems.n;
  *growth = reciprocal_pivot_growth<T>(problem, is_singular ? info : systems.n);
  if (!is_singular && scales_x) {
    unscale_solutions(systems, is_direct ? scaling.c : scaling.r, is_direct ? scaling.colcnd : scaling.rowcnd);
  }
  return info;
}

/// The driver for positive definite matrices.
template <Scalar T, class Problem>
Int solve_definite(const Problem& problem, char fact, const Systems<T>& systems, Matrix<T> B,
                   SymmetricScaling<Real<T>> scaling, Real<T>& rcond) {
  if (!same_letter(fact, 'F')) scaling.equed = 'N';
  if (same_letter(fact, 'E')) problem.equilibrate(scaling);
  if (scaling.is_done()) scale_rows(systems.n, systems.nrhs, scaling.s, B);
  const Int info = solve_expertly(problem, fact, 'N', systems, rcond);
  if (scaling.is_done() && (info == 0 || info > systems.n)) unscale_solutions(systems, scaling.s, scaling.scond);
  return info;
}

/// The norm that goes with the estimate of the condition of op(A).
inline char norm_for(char trans) {
  return same_letter(trans, 'N') ? '1' : 'I';
}

}  // namespace nuv
