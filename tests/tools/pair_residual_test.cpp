// The measures of generalised singular values and vectors, on decompositions with errors of known size.

#include "tools/pair_residual.hpp"

#include <gtest/gtest.h>

#include <complex>
#include <limits>

#include "diagonal_matrix.hpp"

namespace nuv::test {
namespace {

using namespace nuv::tools;

constexpr double eps = std::numeric_limits<double>::epsilon() / 2;

/// A = (8 0 0; 0 4 0; 0 0 0; 0 0 0) and B = (0 2 0; 0 0 2) with X = diag(8, 8, 2), in numbers that are exact. Their
/// squares don't add up, which the measures don't ask for.
template <Scalar T>
struct Exact {
  DenseMatrix<T> a{4, 3}, b{2, 3};
  PairDecomposition<T> d;

  Exact() {
    a(1, 1) = T(8);
    a(2, 2) = T(4);
    b(1, 2) = T(2);
    b(2, 3) = T(2);
    d.cosines = {1, 0.5, 0};
    d.sines = {0, 0.25, 1};
    d.rank_of_b = 2;
    d.left_of_a = diagonal<T>(4, 4, {1, 1, 1});
    d.left_of_a(4, 4) = T(1);
    d.left_of_b = diagonal<T>(2, 2, {1, 1});
    d.right = diagonal<T>(3, 3, {8, 8, 2});
  }

  SingularResiduals measures() const { return residuals_of(a, b, d); }
};

TEST(PairResidual, ExactDecompositionsHaveNone) {
  EXPECT_EQ(Exact<double>().measures().residual, 0);
  EXPECT_EQ(Exact<double>().measures().orthogonality, 0);
  EXPECT_EQ(Exact<std::complex<float>>().measures().residual, 0);
  const PairDecomposition<double> nothing;
  EXPECT_EQ(residuals_of(DenseMatrix<double>(0, 0), DenseMatrix<double>(0, 0), nothing).residual, 0);
}

TEST(PairResidual, ErrorsOfPairsAreMeasuredInEitherMatrix) {
  Exact<double> wrong;
  wrong.d.cosines[1] += 16 * eps;
  EXPECT_NEAR(double(wrong.measures().residual), 16. * 8 / (8 * 4), 1e-9) << "the norm and the larger size of A";
  wrong = Exact<double>();
  wrong.d.sines[2] += 16 * eps;
  EXPECT_NEAR(double(wrong.measures().residual), 16. * 2 / (2 * 3), 1e-9) << "the norm and the larger size of B";
  wrong = Exact<double>();
  wrong.d.sines[1] -= 16 * eps;
  EXPECT_NEAR(double(wrong.measures().residual), 16. * 8 / (2 * 3), 1e-9);
}

TEST(PairResidual, ErrorsOfVectorsAreMeasured) {
  Exact<double> wrong;
  wrong.d.left_of_a(4, 4) += 32 * eps;
  EXPECT_EQ(wrong.measures().residual, 0) << "this column belongs to no pair";
  EXPECT_NEAR(double(wrong.measures().orthogonality), 2. * 32 / 4, 1e-9);
  wrong = Exact<double>();
  wrong.d.left_of_b(2, 2) += 32 * eps;
  EXPECT_NEAR(double(wrong.measures().orthogonality), 2. * 32 / 2, 1e-9);
  EXPECT_NEAR(double(wrong.measures().residual), 32. * 2 / (2 * 3), 1e-9);
  wrong = Exact<double>();
  wrong.d.right(3, 2) = 1;
  EXPECT_GT(double(wrong.measures().residual), 1e10);
}

/// Factors that are not real come with their conjugates where they should.
TEST(PairResidual, RightVectorsAreConjugated) {
  using Complex = std::complex<double>;
  Exact<Complex> turned;
  const Complex i(0, 1);
  turned.d.right(2, 2) *= i;
  turned.a(2, 2) *= -i;
  turned.b(1, 2) *= -i;
  EXPECT_EQ(turned.measures().residual, 0);
  turned.d.left_of_a(2, 2) = i;
  EXPECT_GT(double(turned.measures().residual), 1e10);
  EXPECT_EQ(turned.measures().orthogonality, 0);
}

}  // namespace
}  // namespace nuv::test
