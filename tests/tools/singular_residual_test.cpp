// The measures of singular values and vectors, on decompositions with errors of known size.

#include "tools/singular_residual.hpp"

#include <gtest/gtest.h>

#include <complex>
#include <initializer_list>
#include <limits>

#include "diagonal_matrix.hpp"

namespace nuv::test {
namespace {

using namespace nuv::tools;
using Complex = std::complex<double>;

constexpr double eps = std::numeric_limits<double>::epsilon() / 2;

/// The exact decomposition of the diagonal matrix of that shape with 5, -2 and 1.
template <Scalar T>
struct Exact {
  DenseMatrix<T> a;
  SingularDecomposition<T> d;

  Exact(Int rows, Int columns, bool full = false) : a(diagonal<T>(rows, columns, {5, -2, 1})) {
    d.values = {5, 2, 1};
    d.left = diagonal<T>(rows, full ? rows : 3, {1, -1, 1});
    d.right_adjoint = diagonal<T>(full ? columns : 3, columns, {1, 1, 1});
    if (!full) return;
    for (Int k = 4; k <= rows; ++k) d.left(k, k) = T(1);
    for (Int k = 4; k <= columns; ++k) d.right_adjoint(k, k) = T(1);
  }
};

TEST(SingularResidual, ExactDecompositionsHaveNone) {
  for (const auto& [rows, columns] : {std::pair(3, 3), {5, 3}, {3, 5}}) {
    for (const bool full : {false, true}) {
      const Exact<double> exact(rows, columns, full);
      const SingularResiduals r = residuals_of(exact.a, exact.d);
      EXPECT_EQ(r.residual, 0) << rows << columns << full;
      EXPECT_EQ(r.orthogonality, 0) << rows << columns << full;
    }
  }
  EXPECT_EQ(residuals_of(DenseMatrix<double>(0, 0), SingularDecomposition<double>()).residual, 0);
}

TEST(SingularResidual, ErrorOfOneValueIsMeasured) {
  for (const auto& [rows, columns] : {std::pair(5, 3), {3, 5}}) {
    Exact<double> wrong(rows, columns);
    wrong.d.values[1] += 32 * eps;
    const SingularResiduals r = residuals_of(wrong.a, wrong.d);
    EXPECT_NEAR(double(r.residual), 32. / (5 * 5), 1e-9) << "one over the largest of the sizes";
    EXPECT_EQ(r.orthogonality, 0);
  }
}

TEST(SingularResidual, ErrorsOfVectorsAreMeasuredOnEitherSide) {
  for (const auto& [rows, columns] : {std::pair(5, 3), {3, 5}}) {
    Exact<Complex> left(rows, columns), right(rows, columns);
    left.d.left(2, 1) = Complex(0, 60 * eps);
    const SingularResiduals of_left = residuals_of(left.a, left.d);
    EXPECT_NEAR(double(of_left.residual), 60. * 5 / (5 * 5), 1e-9);
    EXPECT_GT(double(of_left.orthogonality), 60. / 5);
    right.d.right_adjoint(1, 2) = Complex(0, 60 * eps);
    const SingularResiduals of_right = residuals_of(right.a, right.d);
    EXPECT_NEAR(double(of_right.residual), 60. * 5 / (5 * 5), 1e-9);
    EXPECT_GT(double(of_right.orthogonality), 60. / 5);
  }
}

TEST(SingularResidual, PartOfTheMatrixOutsideOfTheVectorsIsMeasured) {
  // A V = U S holds all the same.
  Exact<double> wrong(3, 5);
  wrong.a(2, 5) = 100 * eps;
  EXPECT_NEAR(double(residuals_of(wrong.a, wrong.d).residual), 100. / (5 * 5), 1e-9);
}

TEST(SingularResidual, VectorsThatBelongToNoValueAreOrthogonalToo) {
  for (const auto& [rows, columns] : {std::pair(5, 3), {3, 5}}) {
    Exact<double> wrong(rows, columns, true);
    (rows > columns ? wrong.d.left : wrong.d.right_adjoint)(5, 5) = 1 + 100 * eps;
    const SingularResiduals r = residuals_of(wrong.a, wrong.d);
    EXPECT_EQ(r.residual, 0);
    EXPECT_NEAR(double(r.orthogonality), 200. / 5, 1e-6);
  }
}

TEST(SingularResidual, VectorsAreConjugatedInTheirInnerProducts) {
  Exact<Complex> exact(3, 3);
  exact.d.left(3, 3) = Complex(0, 1);
  exact.d.right_adjoint(3, 3) = Complex(0, -1);
  const SingularResiduals r = residuals_of(exact.a, exact.d);
  EXPECT_EQ(r.residual, 0);
  EXPECT_EQ(r.orthogonality, 0);
}

}  // namespace
}  // namespace nuv::test
