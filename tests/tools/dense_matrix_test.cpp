#include "tools/dense_matrix.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <type_traits>

#include "tools/error.hpp"
#include "tools/matrix_market.hpp"
#include "tools/matrix_writer.hpp"

namespace nuv::tools {
namespace {

template <Scalar T>
constexpr Precision precision_of = std::is_same_v<Real<T>, float> ? Precision::Single : Precision::Double;

template <Scalar T>
DenseMatrix<T> dense(const std::string& text) {
  Input input = Input::of(text, "test.mtx");
  return to_dense<T>(read_matrix_market(input, precision_of<T>));
}

template <Scalar T>
std::string written(const DenseMatrix<T>& a, const WrittenForm& form = {}) {
  std::string text;
  write_matrix(
      a, FileFormat::MatrixMarket, [&](std::string_view piece) { text += piece; }, form);
  return text;
}

template <class T>
class DenseMatrixTest : public testing::Test {};

using Scalars = testing::Types<float, double, std::complex<float>, std::complex<double>>;
TYPED_TEST_SUITE(DenseMatrixTest, Scalars);

TYPED_TEST(DenseMatrixTest, StoresColumnsOneAfterAnother) {
  using T = TypeParam;
  const auto a = dense<T>("%%MatrixMarket matrix array real general\n2 3\n1\n2\n3\n4\n5\n6\n");
  EXPECT_EQ(a.rows, 2);
  EXPECT_EQ(a.columns, 3);
  EXPECT_EQ(a.elements, (std::vector<T>{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(a(2, 1), T(2));
  EXPECT_EQ(a(1, 3), T(5));
}

TYPED_TEST(DenseMatrixTest, SumsDuplicatesAndLeavesZeros) {
  using T = TypeParam;
  const auto a = dense<T>("%%MatrixMarket matrix coordinate real general\n2 2 4\n1 1 1\n2 1 5\n1 1 2\n1 1 -4\n");
  EXPECT_EQ(a.elements, (std::vector<T>{-1, 5, 0, 0}));
}

TYPED_TEST(DenseMatrixTest, MirrorsTheStoredTriangle) {
  using T = TypeParam;
  const std::string entries = " 3\n1\n2\n3\n4\n5\n6\n";
  EXPECT_EQ(dense<T>("%%MatrixMarket matrix array real symmetric\n3" + entries).elements,
            (std::vector<T>{1, 2, 3, 2, 4, 5, 3, 5, 6}));
  EXPECT_EQ(dense<T>("%%MatrixMarket matrix coordinate real symmetric\n2 2 3\n2 2 7\n2 1 5\n2 1 1\n").elements,
            (std::vector<T>{0, 6, 6, 7}));
  EXPECT_EQ(dense<T>("%%MatrixMarket matrix array real skew-symmetric\n3 3\n1\n2\n3\n").elements,
            (std::vector<T>{0, 1, 2, -1, 0, 3, -2, -3, 0}));
  EXPECT_EQ(dense<T>("%%MatrixMarket matrix coordinate integer skew-symmetric\n2 2 1\n2 1 5\n").elements,
            (std::vector<T>{0, 5, -5, 0}));
}

TYPED_TEST(DenseMatrixTest, RefusesASumThatOverflows) {
  using T = TypeParam;
  const std::string big = std::is_same_v<Real<T>, float> ? "3e38" : "1.5e308";
  try {
    dense<T>("%%MatrixMarket matrix coordinate real general\n2 2 2\n2 1 " + big + "\n2 1 " + big + "\n");
    FAIL();
  } catch (const FileError& error) {
    EXPECT_STREQ(error.what(), "test.mtx: the sum of duplicate entries overflows the precision");
  }
}

TYPED_TEST(DenseMatrixTest, ReadsBackTheSameBits) {
  using T = TypeParam;
  using R = Real<T>;
  using Bits = std::conditional_t<std::is_same_v<R, float>, std::uint32_t, std::uint64_t>;
  using Limits = std::numeric_limits<R>;
  constexpr std::size_t parts = ComplexScalar<T> ? 2 : 1;

  std::vector<R> numbers = {R(0),           R(0) * R(-1),  Limits::max(),
                            -Limits::max(), Limits::min(), Limits::denorm_min(),
                            R(1) / R(3),    R(1e20),       R(5.01669901e+30)};
  std::mt19937_64 random(20240607);
  while (numbers.size() < 20000) {
    const R number = std::bit_cast<R>(static_cast<Bits>(random()));
    if (std::isfinite(number)) numbers.push_back(number);
  }

  DenseMatrix<T> a(static_cast<Int>(numbers.size() / parts), 1);
  R* elements = reinterpret_cast<R*>(a.elements.data());
  std::copy_n(numbers.begin(), a.elements.size() * parts, elements);
  const auto back = dense<T>(written(a));
  ASSERT_EQ(back.rows, a.rows);
  for (std::size_t k = 0; k < a.elements.size() * parts; ++k) {
    const R read = reinterpret_cast<const R*>(back.elements.data())[k];
    EXPECT_EQ(std::bit_cast<Bits>(read), std::bit_cast<Bits>(elements[k])) << elements[k];
  }
}

TEST(DenseMatrix, ConjugatesAHermitianMatrix) {
  using T = std::complex<double>;
  const std::vector<T> expected = {T(1), T(2, 3), T(2, -3), T(4)};
  EXPECT_EQ(dense<T>("%%MatrixMarket matrix array complex hermitian\n2 2\n1 0\n2 3\n4 0\n").elements, expected);
  EXPECT_EQ(dense<T>("%%MatrixMarket matrix coordinate complex hermitian\n2 2 3\n1 1 1 0\n2 2 4 0\n2 1 2 3\n").elements,
            expected);
}

TEST(DenseMatrix, DoesNotConjugateComplexSymmetricAndSkewSymmetricMatrices) {
  using T = std::complex<float>;
  EXPECT_EQ(dense<T>("%%MatrixMarket matrix array complex symmetric\n2 2\n1 1\n2 3\n4 0\n").elements,
            (std::vector<T>{T(1, 1), T(2, 3), T(2, 3), T(4)}));
  EXPECT_EQ(dense<T>("%%MatrixMarket matrix array complex skew-symmetric\n2 2\n2 3\n").elements,
            (std::vector<T>{T(0), T(2, 3), T(-2, -3), T(0)}));
}

TEST(DenseMatrix, WritesRealAndComplexArrays) {
  DenseMatrix<double> a(2, 2);
  a.elements = {1, -2.5, 1e300, 0.1};
  EXPECT_EQ(written(a), "%%MatrixMarket matrix array real general\n2 2\n1\n-2.5\n1e+300\n0.1\n");
  DenseMatrix<std::complex<float>> z(1, 2);
  z.elements = {{0.1f, -1}, {0, 3e-9f}};
  EXPECT_EQ(written(z), "%%MatrixMarket matrix array complex general\n1 2\n0.1 -1\n0 3e-09\n");
  EXPECT_EQ(written(DenseMatrix<float>(0, 3)), "%%MatrixMarket matrix array real general\n0 3\n");
}

TEST(DenseMatrix, WritesTheLowerTriangleOfASymmetry) {
  DenseMatrix<double> a(3, 3);
  a.elements = {1, 2, 3, 2, 4, 5, 3, 5, 6};
  EXPECT_EQ(written(a, {.symmetry = Symmetry::Symmetric}),
            "%%MatrixMarket matrix array real symmetric\n3 3\n1\n2\n3\n4\n5\n6\n");
  EXPECT_EQ(written(a, {.symmetry = Symmetry::SkewSymmetric}),
            "%%MatrixMarket matrix array real skew-symmetric\n3 3\n2\n3\n5\n");
  DenseMatrix<std::complex<float>> z(2, 2);
  z.elements = {1, {2, 3}, {2, -3}, 4};
  EXPECT_EQ(written(z, {.symmetry = Symmetry::Hermitian, .comment = "made by hand"}),
            "%%MatrixMarket matrix array complex hermitian\n% made by hand\n2 2\n1 0\n2 3\n4 0\n");
}

TEST(DenseMatrix, WritesCoordinatesWithoutZeros) {
  DenseMatrix<double> a(2, 3);
  a.elements = {0, 2.5, -1, 0, 0, 7};
  EXPECT_EQ(written(a, {.layout = Layout::Coordinate}),
            "%%MatrixMarket matrix coordinate real general\n2 3 3\n2 1 2.5\n1 2 -1\n2 3 7\n");
  DenseMatrix<std::complex<double>> z(2, 2);
  z.elements = {0, {0, 3}, {0, -3}, 4};
  EXPECT_EQ(written(z, {.layout = Layout::Coordinate, .symmetry = Symmetry::Hermitian}),
            "%%MatrixMarket matrix coordinate complex hermitian\n2 2 2\n2 1 0 3\n2 2 4 0\n");
  EXPECT_EQ(written(DenseMatrix<float>(2, 2), {.layout = Layout::Coordinate}),
            "%%MatrixMarket matrix coordinate real general\n2 2 0\n");
}

TEST(DenseMatrix, CountsWhatAFileHolds) {
  DenseMatrix<double> a(2, 2);
  a.elements = {1, 0, 2, 3};
  EXPECT_EQ(count_stored(a, Symmetry::General).elements, 4u);
  EXPECT_EQ(count_stored(a, Symmetry::General).nonzeros, 3u);
  EXPECT_EQ(count_stored(a, Symmetry::Symmetric).elements, 3u);
  EXPECT_EQ(count_stored(a, Symmetry::Symmetric).nonzeros, 2u);
}

TEST(DenseMatrix, WritesLargeMatricesInPieces) {
  const DenseMatrix<double> a(100000, 2);
  std::size_t pieces = 0, size = 0;
  write_matrix(a, FileFormat::MatrixMarket, [&](std::string_view piece) {
    ++pieces;
    size += piece.size();
    EXPECT_LT(piece.size(), 200000u);
  });
  EXPECT_EQ(size, written(a).size());
  EXPECT_GT(pieces, 2u);
}

TYPED_TEST(DenseMatrixTest, FindsWhatIsNotFinite) {
  using T = TypeParam;
  using R = Real<T>;
  DenseMatrix<T> a(2, 2);
  EXPECT_TRUE(all_finite(a.elements));
  for (const R bad : {std::numeric_limits<R>::infinity(), std::numeric_limits<R>::quiet_NaN()}) {
    a(2, 2) = bad;
    EXPECT_FALSE(all_finite(a.elements));
    reinterpret_cast<R*>(a.elements.data() + a.elements.size())[-1] = bad;
    EXPECT_FALSE(all_finite(a.elements));
    a(2, 2) = 0;
    EXPECT_TRUE(all_finite(a.elements));
  }
}

}  // namespace
}  // namespace nuv::tools
