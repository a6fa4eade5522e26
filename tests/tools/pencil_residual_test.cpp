// The measures of the eigenpairs of two matrices, on pairs with errors of known size.

#include "tools/pencil_residual.hpp"

#include <gtest/gtest.h>

#include <complex>
#include <limits>

#include "diagonal_matrix.hpp"

namespace nuv::test {
namespace {

using namespace nuv::tools;
using Complex = std::complex<double>;

constexpr double eps = std::numeric_limits<double>::epsilon() / 2;

template <Scalar T>
DenseMatrix<T> square_diagonal(std::initializer_list<double> elements) {
  return diagonal<T>(Int(elements.size()), Int(elements.size()), elements);
}

/// Unit vectors on both sides.
template <Scalar T>
PencilPairs<T> pairs(std::initializer_list<Complex> alpha, std::initializer_list<double> beta) {
  PencilPairs<T> result;
  result.alpha.assign(alpha.begin(), alpha.end());
  result.beta.assign(beta.begin(), beta.end());
  result.right = DenseMatrix<T>(Int(beta.size()), Int(beta.size()));
  for (Int i = 1; i <= Int(beta.size()); ++i) result.right(i, i) = 1;
  result.left = result.right;
  return result;
}

TEST(PencilResidual, ExactPairsHaveNone) {
  const auto a = square_diagonal<double>({6, 2, 5}), b = square_diagonal<double>({2, 0, 1});
  const auto p = pairs<double>({3, 7, 5}, {1, 0, 1});
  EXPECT_EQ(right_residual(a, b, p), 0);
  EXPECT_EQ(left_residual(a, b, p), 0);
  const DenseMatrix<double> none(0, 0);
  EXPECT_EQ(right_residual(none, none, PencilPairs<double>()), 0);
}

/// Whatever the common factor of alpha and beta is.
TEST(PencilResidual, ErrorOfOneValueIsMeasured) {
  const auto a = square_diagonal<double>({6, 2, 5}), b = square_diagonal<double>({2, 1, 1});
  for (const double factor : {1., 0x1p300, 0x1p-300}) {
    const auto p = pairs<double>({3 * factor, 2 * factor * (1 + 32 * eps), 5 * factor}, {factor, factor, factor});
    // |6| beta + |2| alpha is 10 with the norms 6 and 2.
    EXPECT_NEAR(double(right_residual(a, b, p)), 2 * 32. / (10 * 3), 1e-3);
    EXPECT_NEAR(double(left_residual(a, b, p)), 2 * 32. / (10 * 3), 1e-3);
  }
}

/// (p q; -q p) has the values p +- qi, with vectors (1, i) and (1, -i) on the right and on the left.
TEST(PencilResidual, PairsOfRealMatrices) {
  DenseMatrix<double> a(2, 2), b(2, 2);
  a(1, 1) = a(2, 2) = 3;
  a(1, 2) = 4;
  a(2, 1) = -4;
  b(1, 1) = b(2, 2) = 2;
  auto p = pairs<double>({{3, 4}, {6, -8}}, {2, 4});
  EXPECT_EQ(right_residual(a, b, p), 0);
  EXPECT_EQ(left_residual(a, b, p), 0);
  p.alpha = {{3, -4}, {3, 4}};
  EXPECT_GT(double(right_residual(a, b, p)), 1 / (100 * eps));
  EXPECT_GT(double(left_residual(a, b, p)), 1 / (100 * eps));
}

TEST(PencilResidual, LeftVectorsAreConjugated) {
  DenseMatrix<Complex> a(1, 1), b(1, 1);
  a(1, 1) = Complex(1, 2);
  b(1, 1) = Complex(0, 2);
  const auto p = pairs<Complex>({Complex(2, -1)}, {2});
  EXPECT_LT(double(right_residual(a, b, p)), 2);
  EXPECT_LT(double(left_residual(a, b, p)), 2);
}

}  // namespace
}  // namespace nuv::test
