#pragma once

// Pairs of matrices with a known generalised singular value decomposition, and how good one is that was found, judged
// in the next wider type. Measures are in units of eps, and NaN where a result is NaN.

#include <string>
#include <vector>

#include "support/guarded.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"

namespace nuv::test {

/// For all of these measures.
inline constexpr double pair_threshold = 10;

/// Sizes of a pair, A m by n and B p by n, and of the blocks of its decomposition: l is the rank of B, and k + l that
/// of both below each other.
struct PairShape {
  Int m, p, n, k, l;

  /// Pairs of numbers, both of them not zero, on the diagonals.
  Int pairs() const { return std::min(l, m - k); }
  Int longest() const { return std::max({m, p, n, 1}); }
  std::string text() const;
};

/// All shapes with these sizes.
std::vector<PairShape> shapes_of(Int m, Int p, Int n);

template <Scalar T>
WideMatrix<T> random_unitary(Random& random, Int n);

/// U^H A Q = D1 (0 R) and V^H B Q = D2 (0 R) with random U, V and Q, an R of small condition, and well separated pairs.
template <Scalar T>
struct KnownPair {
  PairShape shape;
  GuardedMatrix<T> A, B;
  std::vector<double> alpha;  ///< of the pairs, decreasing

  KnownPair(Random& random, const PairShape& shape);
};

/// ||U^H U - I|| / (n eps) for a square U.
template <Scalar T>
double unitarity(const WideMatrix<T>& U);

/// ||U^H A Q - F|| / (||A|| n eps), n the larger size of A.
template <Scalar T>
double form_residual(const WideMatrix<T>& A, const WideMatrix<T>& U, const WideMatrix<T>& Q, const WideMatrix<T>& F);

/// D1 (0 R) and D2 (0 R), of what a driver left.
template <Scalar T>
struct PairForms {
  WideMatrix<T> of_a, of_b;

  PairForms(const PairShape& shape, const GuardedMatrix<T>& A, const GuardedMatrix<T>& B,
            const GuardedVector<Real<T>>& alpha, const GuardedVector<Real<T>>& beta);
};

/// The singular values of A B^-1 for a square B, decreasing: generalised singular values by definition.
template <Scalar T>
std::vector<double> wide_quotients(const GuardedMatrix<T>& A, const GuardedMatrix<T>& B);

}  // namespace nuv::test
