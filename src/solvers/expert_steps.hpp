#pragma once

// What the expert drivers have in common. They work on a problem, a type that knows the storage form:
//
//     find_condition(trans, anorm, rcond)    ?con
//     norm(trans)                            the norm that goes with it
//     solve(trans, systems)                  ?trs on X
//     refine(trans, systems)                 ?rfs

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
  Matrix<T> B;
  Matrix<T> X;
  Real<T>* ferr;
  Real<T>* berr;
};

/// From the factors on: condition, solutions and bounds.
template <Scalar T, class Problem>
void solve_factored(const Problem& problem, char trans, const Systems<T>& systems, Real<T>& rcond) {
  problem.find_condition(trans, problem.norm(trans), rcond);
  lacpy('F', systems.n, systems.nrhs, systems.B.data, systems.B.ld, systems.X.data, systems.X.ld);
  problem.solve(trans, systems);
  problem.refine(trans, systems);
}

/// info of a driver that has solved its systems.
template <RealScalar R>
Int trust(Int n, R rcond) {
  return rcond < Machine<R>::eps ? n + 1 : 0;
}

/// Multiplies the rows of an n by nrhs matrix by factors.
template <Scalar T>
void scale_rows(Int n, Int nrhs, const Real<T>* factors, Matrix<T> M) {
  for (Int j = 1; j <= nrhs; ++j) {
    for (Int i = 1; i <= n; ++i) M(i, j) = factors[i - 1] * M(i, j);
  }
}

/// Takes the scaling out of solutions x = diag(factors) y whose relative error bounds are known for y; ratio is the
/// least factor over the largest.
template <Scalar T>
void unscale_solutions(const Systems<T>& systems, const Real<T>* factors, Real<T> ratio) {
  scale_rows(systems.n, systems.nrhs, factors, systems.X);
  for (Int j = 0; j < systems.nrhs; ++j) systems.ferr[j] /= ratio;
}

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

}  // namespace nuv
