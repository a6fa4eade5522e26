#pragma once

// Generalised Sylvester equations to try methods on, and how good their solutions are, judged in the next wider type.

#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

#include "frame/option_matching.hpp"
#include "nonsymmetric/schur_checks.hpp"

namespace nuv::test {

/// For all residuals.
inline constexpr double equation_threshold = 10;

/// Letter of the adjoint equation.
template <Scalar T>
inline constexpr char adjoint_letter = ComplexScalar<T> ? 'C' : 'T';

/// Letters of both equations.
template <Scalar T>
std::vector<char> equation_letters() {
  return RealScalar<T> ? std::vector<char>{'N', 'n', 'T', 't'} : std::vector<char>{'N', 'n', 'C', 'c'};
}

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

// -------------------------------------------------------------------------------------------------------------- calls

/// What calls of the solvers share. They add solve(), which begins with C and F, and expects that what is not to be
/// written is as it was.
template <Scalar T>
struct EquationCall : EquationData<T> {
  char trans = 'N';
  Int ijob = 0, info = 99;
  GuardedMatrix<T> r, l;  ///< C and F, and the solution
  Real<T> scale = -7;

  explicit EquationCall(const EquationData<T>& data) : EquationData<T>(data), r(data.C), l(data.F) {}

  bool is_adjoint() const { return !same_letter(trans, 'N'); }
  double residual() const { return equation_residual<T>(*this, is_adjoint(), r, l, scale); }
  double error() const { return equation_error<T>(*this, is_adjoint(), r, l, scale); }
};

/// The equation is solved, but only for right sides that are scaled down.
template <Scalar T>
void expect_scaled_solution(const EquationCall<T>& equation) {
  EXPECT_EQ(equation.info, 0);
  EXPECT_GT(equation.scale, Real<T>(0));
  EXPECT_LT(equation.scale, Real<T>(1));
  EXPECT_TRUE(is_finite(equation.r) && is_finite(equation.l));
  EXPECT_LT(equation.residual(), equation_threshold);
}

/// Solves equations of which one half has been multiplied by a power of two. By the same one the solution goes back to
/// that of the equation they come from.
template <class Call, Scalar T>
void expect_solutions_with_uneven_halves(const EquationData<T>& data) {
  using R = Real<T>;
  for (const bool is_adjoint : {false, true}) {
    for (const bool upper : {true, false}) {
      for (const int exponent : exponents_of_halves<R>()) {
        SCOPED_TRACE(testing::Message() << data.m << " rows, " << is_adjoint << ", 2^" << exponent << ", " << upper);
        const R factor = std::ldexp(R(1), exponent);
        EquationData<T> scaled = data;
        scaled.scale_half(upper, factor, is_adjoint);
        Call equation(scaled);
        equation.trans = is_adjoint ? adjoint_letter<T> : 'N';
        equation.solve();
        EXPECT_EQ(equation.info, 0);
        EXPECT_EQ(equation.scale, R(1));
        if (is_adjoint) {
          GuardedMatrix<T>& divided = upper ? equation.r : equation.l;
          for (Int j = 1; j <= data.n; ++j) {
            for (Int i = 1; i <= data.m; ++i) divided(i, j) *= factor;
          }
        }
        EXPECT_LT(equation_residual<T>(data, is_adjoint, equation.r, equation.l, R(1)), equation_threshold);
        EXPECT_LT(equation_error<T>(data, is_adjoint, equation.r, equation.l, R(1)), 1);
      }
    }
  }
}

/// Both pairs are the same: what solves the equation solves one nearby. Only of order one it is sure that a pivot is
/// found too small.
template <class Call>
Call equation_with_common_eigenvalues(Random& random, const std::vector<Int>& blocks) {
  Call equation({random, blocks, blocks});
  equation.B = equation.A;
  equation.ldb = equation.lda;
  equation.E = equation.D;
  equation.lde = equation.ldd;
  return equation;
}
template <Scalar T>
void expect_perturbed_solution(const EquationCall<T>& equation) {
  EXPECT_GE(equation.info, equation.m == 1 ? 1 : 0);
  EXPECT_TRUE(is_finite(equation.r) && is_finite(equation.l));
  EXPECT_LT(equation.residual(), equation_threshold);
}

}  // namespace nuv::test
