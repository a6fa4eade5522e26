// The measures of eigenpairs, on pairs with errors of known size.

#include "tools/eigen_residual.hpp"

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

/// Exact pairs of diagonal matrices.
template <Scalar T>
Eigenpairs<T> pairs(std::initializer_list<double> values, std::initializer_list<double> vectors) {
  Eigenpairs<T> result;
  result.values.assign(values.begin(), values.end());
  result.vectors = square_diagonal<T>(vectors);
  return result;
}

TEST(EigenResidual, ExactPairsHaveNone) {
  const EigenResiduals r = residuals_of(square_diagonal<double>({1, 2, 5}), pairs<double>({1, 2, 5}, {1, -1, 1}));
  EXPECT_EQ(r.residual, 0);
  EXPECT_EQ(r.orthogonality, 0);
  const DenseMatrix<double> zero(0, 0);
  EXPECT_EQ(residuals_of(zero, Eigenpairs<double>()).residual, 0);
}

TEST(EigenResidual, ErrorOfOneValueIsMeasured) {
  const EigenResiduals r =
      residuals_of(square_diagonal<double>({1, 2, 5}), pairs<double>({1, 2 + 32 * eps, 5}, {1, 1, 1}));
  EXPECT_NEAR(double(r.residual), 32. / (5 * 3), 1e-9);
  EXPECT_EQ(r.orthogonality, 0);
}

TEST(EigenResidual, ErrorOfOneVectorIsMeasured) {
  auto p = pairs<Complex>({1, 2, 5}, {1, 1, 1});
  p.vectors(3, 1) = Complex(0, 60 * eps);
  const EigenResiduals r = residuals_of(square_diagonal<Complex>({1, 2, 5}), p);
  EXPECT_NEAR(double(r.residual), 60. * (5 - 1) / (5 * 3), 1e-9) << "(A - 1) z";
  EXPECT_GT(double(r.orthogonality), 60. / 3);
}

TEST(EigenResidual, VectorsAreConjugatedInTheirInnerProducts) {
  auto p = pairs<Complex>({1}, {1});
  p.vectors(1, 1) = Complex(0, 1);
  EXPECT_EQ(residuals_of(square_diagonal<Complex>({1}), p).orthogonality, 0);
}

TEST(EigenResidual, EachTypeOfTheGeneralisedProblemHasItsOwn) {
  const auto a = square_diagonal<double>({8, 12}), b = square_diagonal<double>({4, 1});
  const auto by_type = [&](Int type) {
    return type == 1 ? pairs<double>({2, 12}, {0.5, 1}) : pairs<double>({32, 12}, {type == 2 ? 0.5 : 2, 1});
  };
  for (Int type = 1; type <= 3; ++type) {
    const EigenResiduals exact = residuals_of(a, b, by_type(type), type);
    EXPECT_EQ(exact.residual, 0) << type;
    EXPECT_EQ(exact.orthogonality, 0) << type;
    auto wrong = by_type(type);
    wrong.values[0] += 1000 * eps;
    EXPECT_GT(double(residuals_of(a, b, wrong, type).residual), 1) << type;
    wrong = by_type(type);
    wrong.vectors(1, 1) *= 1 + 1000 * eps;
    EXPECT_GT(double(residuals_of(a, b, wrong, type).orthogonality), 10) << type;
  }
}

}  // namespace
}  // namespace nuv::test
