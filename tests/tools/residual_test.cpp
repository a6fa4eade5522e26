#include "tools/residual.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <vector>

namespace nuv::tools {
namespace {

TEST(Residual, NormsAreTheLargestSumsOfRowsAndColumns) {
  DenseMatrix<std::complex<double>> a(2, 2);
  a.elements = {{3, 4}, {0, -1}, {-1, 0}, {6, 8}};
  EXPECT_EQ(infinity_norm(a), 11);
  EXPECT_EQ(one_norm(a), 11);
  a.elements[1] = 7;
  EXPECT_EQ(infinity_norm(a), 17);
  EXPECT_EQ(one_norm(a), 12);
  EXPECT_EQ(infinity_norm(DenseMatrix<float>(0, 0)), 0);
}

TEST(Residual, ResidualIsScaledByTheUnitRoundoff) {
  // A = [2 1; 0 4], X = [1 2; 3 -1], A X = [5 3; 12 -4]; B is off by 1/4 at (1, 1) and by 1/2 and 1/8 in row 2.
  DenseMatrix<double> a(2, 2), x(2, 2), b(2, 2);
  a.elements = {2, 0, 1, 4};
  x.elements = {1, 3, 2, -1};
  b.elements = {5, 12, 3, -4};
  EXPECT_EQ(scaled_residual(a, x, b), 0);
  b.elements = {5.25, 11.5, 3, -4.125};
  // Norms: residual 0.625, A 4, X 4, n = 2.
  EXPECT_NEAR(static_cast<double>(scaled_residual(a, x, b) * 0x1p-53L), 0.625 / (4 * 4 * 2), 1e-18);

  DenseMatrix<float> af(1, 1), xf(1, 1), bf(1, 1);
  af.elements = {3};
  xf.elements = {0.333333343f};
  bf.elements = {1};
  // The residual of one third in single precision is 2^-25, far below what single precision would show.
  EXPECT_NEAR(static_cast<double>(scaled_residual(af, xf, bf)), 0x1p-25 / (3 * 0.333333343 * 0x1p-24), 1e-6);
}

TEST(Residual, ResidualMultipliesComplexNumbers) {
  using T = std::complex<float>;
  DenseMatrix<T> a(1, 1), x(1, 1), b(1, 1);
  a.elements = {T(1, 2)};
  x.elements = {T(3, -1)};
  b.elements = {T(5, 5)};
  EXPECT_EQ(scaled_residual(a, x, b), 0);
  b.elements = {T(5, 6)};
  EXPECT_NEAR(static_cast<double>(scaled_residual(a, x, b) * 0x1p-24L), 1 / (std::sqrt(5.) * std::sqrt(10.)), 1e-12);
}

TEST(Residual, NormsOfResidualsAreEuclideanByColumns) {
  DenseMatrix<float> a(2, 1), x(1, 2), b(2, 2);
  a.elements = {1, 2};
  x.elements = {5, 1e-20f};
  b.elements = {2, 14, 0, 0};
  const auto norms = residual_norms(a, x, b);
  ASSERT_EQ(norms.size(), 2u);
  EXPECT_EQ(norms[0], 5);
  // The squares are far below what single precision holds.
  EXPECT_NEAR(static_cast<double>(norms[1]) * 1e20, std::sqrt(5.), 1e-6);

  using T = std::complex<double>;
  DenseMatrix<T> az(1, 1), xz(1, 1), bz(1, 1);
  az.elements = {T(0, 1)};
  xz.elements = {T(0, 1)};
  bz.elements = {T(2, 4)};
  EXPECT_EQ(residual_norms(az, xz, bz), std::vector<long double>{5});
  EXPECT_TRUE(residual_norms(a, DenseMatrix<float>(1, 0), DenseMatrix<float>(2, 0)).empty());
}

TEST(Residual, ResidualOfNothingIsZero) {
  EXPECT_EQ(scaled_residual(DenseMatrix<double>(0, 0), DenseMatrix<double>(0, 2), DenseMatrix<double>(0, 2)), 0);
  DenseMatrix<double> a(1, 1);
  a.elements = {1};
  EXPECT_EQ(scaled_residual(a, DenseMatrix<double>(1, 1), DenseMatrix<double>(1, 1)), 0);
  EXPECT_EQ(scaled_residual(a, DenseMatrix<double>(1, 0), DenseMatrix<double>(1, 0)), 0);
}

/// The band matrix [1 2 0 0; 3 -4 5 0; 0 6 7 -8; 0 0 9 10] and the same stored whole.
struct Band {
  BandMatrix<double> a{4, {1, 1}};
  DenseMatrix<double> whole{4, 4};

  Band() {
    a.elements = {-99, 1, 3, 2, -4, 6, 5, 7, 9, -8, 10, -99};
    whole.elements = {1, 3, 0, 0, 2, -4, 6, 0, 0, 5, 7, 9, 0, 0, -8, 10};
  }
};

TEST(Residual, OfABandIsThatOfTheWholeMatrix) {
  const Band band;
  EXPECT_EQ(one_norm(band.a), one_norm(band.whole));
  EXPECT_EQ(infinity_norm(band.a), infinity_norm(band.whole));
  EXPECT_EQ(infinity_norm(band.a), 21);
  DenseMatrix<double> x(4, 2), b(4, 2);
  x.elements = {1, -2, 3, 0.1, 5, 6, -7, 8};
  b.elements = {1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(scaled_residual(band.a, x, b), scaled_residual(band.whole, x, b));
  EXPECT_GT(scaled_residual(band.a, x, b), 1e10);
}

TEST(Residual, OfAnEmptyBandIsZero) {
  const BandMatrix<float> a(0, {0, 0});
  EXPECT_EQ(one_norm(a), 0);
  EXPECT_EQ(scaled_residual(a, DenseMatrix<float>(0, 2), DenseMatrix<float>(0, 2)), 0);
}

}  // namespace
}  // namespace nuv::tools
