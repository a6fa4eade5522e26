#pragma once

// Generalised Sylvester equations to try methods on, and how good their solutions are, judged in the next wider type.

#include <limits>
#include <numeric>
#include <vector>

#include "nonsymmetric/schur_checks.hpp"

namespace nuv::test {

/// For all residuals.
inline constexpr double equation_threshold = 10;

/// Letter of the adjoint equation.
template <Scalar T>
inline constexpr char adjoint_letter = ComplexScalar<T> ? 'C' : 'T';

/// Orders of diagonal blocks, the same for complex pairs, which have ones for a two.
inline const std::vector<Int> block_shapes[] = {{1}, {2}, {1, 1}, {1, 2}, {2, 1}, {2, 2}, {1, 2, 1, 2}};

/// A pair in generalised Schur form, S with diagonal blocks and P triangular. What lies below them is not to be read
/// and holds guards.
template <Scalar T>
struct SchurPair {
  GuardedMatrix<T> S, P;

  SchurPair(Random& random, const std::vector<Int>& blocks, Int lds, Int ldp);
};

/// A R - L B = scale C, D R - L E = scale F, or the adjoint one. The eigenvalues of (A, D) are of magnitude 3 and more,
/// those of (B, E) below 1.5.
template <Scalar T>
struct EquationData {
  using R = Real<T>;

  Int m, n, lda, ldb, ldc, ldd, lde, ldf;
  GuardedMatrix<T> A, B, C, D, E, F;

  EquationData(Random& random, const std::vector<Int>& left, const std::vector<Int>& right);

  /// Multiplies A, B, D and E.
  void scale_coefficients(R factor);
  void scale_right_side(R factor);

  /// Multiplies A, B and C, or D, E and F. R and L stay; of the adjoint, if C and F stay as well, R or L is divided.
  void scale_half(bool upper, R factor, bool is_adjoint);

  /// Makes elements far from the diagonals small, so that solutions don't grow from block to block.
  void couple_weakly();

  /// (D, E) and (A, B) by the library's own matrix of the operator, in the wide type.
  WideMatrix<T> kronecker() const;

  testing::AssertionResult coefficients_unchanged() const;
};

/// Columns of R, and below them those of L.
template <Scalar T>
WideMatrix<T> stacked(const GuardedMatrix<T>& R, const GuardedMatrix<T>& L);

/// The factors by which tests make one half of an equation larger than the other, from far beyond what rounding errors
/// of either leave of the other to near the ends of the range, as exponents.
template <RealScalar R>
std::vector<int> exponents_of_halves() {
  if (std::numeric_limits<R>::max_exponent < 200) return {-90, -60, -30, 30, 60, 90};
  return {-300, -60, 60, 300};
}

/// The least singular value of a matrix with the upper half of its rows multiplied by a factor. It comes from those of
/// the inverse: beside a large factor the least one of the product itself would be lost.
template <Scalar T>
double least_singular_value(const WideMatrix<T>& K, Real<T> factor_of_upper_half);

/// The largest element of what is left of both equations in units of
///
///     (||A|| + ||B|| + ||D|| + ||E||) max(||R||, ||L||) (m + n) eps
///
/// with norms by the largest magnitudes.
template <Scalar T>
double equation_residual(const EquationData<T>& data, bool is_adjoint, const GuardedMatrix<T>& R,
                         const GuardedMatrix<T>& L, Real<T> scale);

/// ||x - y|| / (||y|| cond(K) (m + n) eps) for the solution y of K y = scale (C, F).
template <Scalar T>
double equation_error(const EquationData<T>& data, bool is_adjoint, const GuardedMatrix<T>& R,
                      const GuardedMatrix<T>& L, Real<T> scale);

}  // namespace nuv::test
