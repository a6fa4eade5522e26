#include "tools/symmetry_check.hpp"

#include <gtest/gtest.h>

#include <complex>
#include <limits>

namespace nuv::tools {
namespace {

using Complex = std::complex<double>;

constexpr double eps = std::numeric_limits<double>::epsilon();

/// [100 b; c 0.01], whose off-diagonal elements are as large as one where it is definite.
DenseMatrix<double> with_corners(double b, double c) {
  DenseMatrix<double> a(2, 2);
  a.elements = {100, c, b, 0.01};
  return a;
}

TEST(SymmetryCheck, TakesRoundingErrorsRelativeToTheDiagonal) {
  const Asymmetry none = asymmetry_of(with_corners(0.5, 0.5), true);
  EXPECT_TRUE(none.is_rounding());
  EXPECT_EQ(none.largest, 0);
  const Asymmetry some = asymmetry_of(with_corners(0.5, 0.5 + 3 * eps), true);
  EXPECT_TRUE(some.is_rounding());
  EXPECT_NEAR(some.largest / eps, 3, 1e-10);
  // Against a tiny element the same difference is large, against the diagonal it isn't.
  EXPECT_TRUE(asymmetry_of(with_corners(0, 3 * eps), true).is_rounding());
  const Asymmetry more = asymmetry_of(with_corners(0.5, 0.5 + 5 * eps), true);
  EXPECT_EQ(more.row, 2);
  EXPECT_EQ(more.column, 1);
  EXPECT_EQ(words_of(more, false), "the matrix is not symmetric: A(2,1) is not A(1,2)");
}

TEST(SymmetryCheck, OfSinglePrecisionTakesItsEps) {
  DenseMatrix<float> a(2, 2);
  a.elements = {1, 0.5f + 3 * 0x1p-24f, 0.5f, 1};
  EXPECT_TRUE(asymmetry_of(a, true).is_rounding());
  a.elements[1] = 0.5f + 12 * 0x1p-24f;
  EXPECT_FALSE(asymmetry_of(a, true).is_rounding());
}

TEST(SymmetryCheck, TakesNoDifferenceBesideAZeroDiagonal) {
  DenseMatrix<double> a(2, 2);
  a.elements = {0, 1, 1, 0};
  EXPECT_TRUE(asymmetry_of(a, false).is_rounding());
  a.elements[1] = 1 + eps;
  EXPECT_FALSE(asymmetry_of(a, false).is_rounding());
}

TEST(SymmetryCheck, TellsHermitianFromSymmetric) {
  DenseMatrix<Complex> a(2, 2);
  a.elements = {2, {1, 1}, {1, -1}, 2};
  EXPECT_TRUE(asymmetry_of(a, true).is_rounding());
  EXPECT_EQ(words_of(asymmetry_of(a, false), true), "the matrix is not symmetric: A(2,1) is not A(1,2)");
  a.elements = {2, {1, 1}, {1, 1}, 2};
  EXPECT_TRUE(asymmetry_of(a, false).is_rounding());
  EXPECT_EQ(words_of(asymmetry_of(a, true), true),
            "the matrix is not Hermitian: A(2,1) is not the conjugate of A(1,2)");
  a.elements = {2, 0, 0, {2, eps}};
  EXPECT_TRUE(asymmetry_of(a, true).is_rounding());
  a.elements[3] = {2, 1e-3};
  EXPECT_EQ(words_of(asymmetry_of(a, true), true), "the matrix is not Hermitian: A(2,2) is not real");
}

TEST(SymmetryCheck, SeesBothSidesOfABand) {
  BandMatrix<double> a(3, {1, 1});
  a.elements = {0, 2, 1, 1, 2, 1, 1, 2, 0};
  EXPECT_TRUE(asymmetry_of(a, true).is_rounding());
  BandMatrix<double> upper(3, {0, 2});
  upper.elements = {0, 0, 2, 0, 0, 2, 1, 0, 2};
  const Asymmetry asymmetry = asymmetry_of(upper, true);
  EXPECT_EQ(asymmetry.row, 3);
  EXPECT_EQ(asymmetry.column, 1);
  BandMatrix<double> lower(3, {1, 0});
  lower.elements = {2, 0, 2, 1, 2, 0};
  EXPECT_EQ(asymmetry_of(lower, true).row, 3);
  EXPECT_EQ(asymmetry_of(lower, true).column, 2);
}

}  // namespace
}  // namespace nuv::tools
