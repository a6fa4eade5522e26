// Band matrices with a positive definite partner: ?pbstf and ?sbgst, ?hbgst.

#include <cctype>
#include <limits>

#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "symmetric/eigen_checks.hpp"
#include "symmetric/generalised_cases.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

template <class T>
class GeneralisedBand : public ReportingTest {
 protected:
  Random random{23};
};
TYPED_TEST_SUITE(GeneralisedBand, Precisions, PrecisionLetter);

/// Diagonals that a matrix has place for, and the order of the upper part of a split factor.
Int in_place(Int n, Int kd) {
  return std::min(kd, std::max(n - 1, 0));
}
Int upper_part(Int n, Int kd) {
  return (n + in_place(n, kd)) / 2;
}

/// The factor S in the band that pbstf leaves.
template <Scalar T>
WideMatrix<T> split_factor(char uplo, Int kd, const GuardedMatrix<T>& bb) {
  const Int n = bb.columns(), m = upper_part(n, kd);
  WideMatrix<T> S = WideMatrix<T>::Zero(n, n);
  for (Int i = 1; i <= n; ++i) {
    for (Int j = std::max(1, i - in_place(n, kd)); j <= std::min(n, i + in_place(n, kd)); ++j) {
      const bool in_s = i <= m ? i <= j && j <= m : j <= i;
      if (!in_s) continue;
      const bool as_it_is = is_in_triangle(uplo, i, j);
      const T element = as_it_is ? bb(band_row(uplo, kd, i, j), j) : conjugate(bb(band_row(uplo, kd, j, i), i));
      S(i - 1, j - 1) = wide(element);
    }
  }
  return S;
}

/// The Hermitian matrix that a band holds.
template <Scalar T>
WideMatrix<T> wide_band(char uplo, Int kd, const GuardedMatrix<T>& ab) {
  const Int n = ab.columns();
  WideMatrix<T> A = WideMatrix<T>::Zero(n, n);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = std::max(1, j - kd); i <= std::min(n, j + kd); ++i) {
      if (!is_in_triangle(uplo, i, j)) continue;
      Wide<T> element = wide(ab(band_row(uplo, kd, i, j), j));
      if (i == j) element = std::real(element);
      A(i - 1, j - 1) = element;
      A(j - 1, i - 1) = Eigen::numext::conj(element);
    }
  }
  return A;
}

/// Factors in place; gives info.
template <Scalar T>
Int factor(char uplo, Int kd, GuardedMatrix<T>& bb) {
  Int info = 99;
  routine_call::pbstf(uplo, bb.columns(), kd, bb, info);
  EXPECT_TRUE(only_band_changed(uplo, kd, bb.columns(), bb));
  return info;
}

TYPED_TEST(GeneralisedBand, FactorsAPartner) {
  using T = TypeParam;
  for (const Int n : {0, 1, 2, 3, 4, 9, 10, 40}) {
    for (const Int kd : {0, 1, 2, 3, 8, 12}) {
      for (const char uplo : uplos) {
        SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", " << kd << " diagonals");
        const GuardedMatrix<T> B = random_definite_band<T>(this->random, uplo, n, kd);
        GuardedMatrix<T> bb = band_of(uplo, kd, B, kd + 1 + n % 2);
        EXPECT_EQ(factor(uplo, kd, bb), 0);
        const WideMatrix<T> S = split_factor(uplo, kd, bb), square = product<T>(op<T>('C', S), S);
        EXPECT_LT(relative_difference<T>(square, wide_hermitian(B, is_upper(uplo))), threshold);
        for (Int j = 1; j <= n; ++j) EXPECT_GT(std::real(S(j - 1, j - 1)), 0);
        GuardedMatrix<T> by_small_letter = band_of(uplo, kd, B, kd + 1 + n % 2);
        EXPECT_EQ(factor(char(std::tolower(uplo)), kd, by_small_letter), 0);
        EXPECT_TRUE(by_small_letter.same_as(bb));
      }
    }
  }
}

TYPED_TEST(GeneralisedBand, TellsThePivotThatIsNotPositive) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 9, kd = 2;
  for (const char uplo : uplos) {
    const GuardedMatrix<T> B = random_definite_band<T>(this->random, uplo, n, kd);
    for (Int k = 1; k <= n; ++k) {
      for (const R bad : {R(0), R(-1), std::numeric_limits<R>::quiet_NaN()}) {
        GuardedMatrix<T> bb = band_of(uplo, kd, B, kd + 1);
        bb(band_row(uplo, kd, k, k), k) = T(bad);
        EXPECT_EQ(factor(uplo, kd, bb), k) << uplo << ' ' << bad;
      }
    }
    // Of two it is the first that is met: the lower half is factored from its end.
    GuardedMatrix<T> bb = band_of(uplo, kd, B, kd + 1);
    for (const Int k : {1, 7, 8}) bb(band_row(uplo, kd, k, k), k) = T(R(-100));
    EXPECT_EQ(factor(uplo, kd, bb), 8);
  }
}

struct Shape {
  Int n, ka, kb;
};

/// All relations of bands to each other, and to the order.
constexpr Shape shapes[] = {{0, 0, 0},  {1, 0, 0},  {1, 2, 1},  {2, 1, 0},   {2, 1, 1},  {3, 2, 2},  {3, 1, 1},
                            {4, 2, 1},  {5, 3, 3},  {6, 4, 4},  {7, 2, 2},   {8, 3, 2},  {8, 7, 7},  {8, 9, 8},
                            {9, 1, 1},  {12, 0, 0}, {12, 4, 0}, {12, 4, 1},  {12, 4, 3}, {12, 4, 4}, {12, 11, 2},
                            {20, 1, 1}, {20, 5, 5}, {21, 5, 4}, {25, 7, 3},  {33, 2, 2}, {33, 3, 3}, {40, 2, 1},
                            {41, 6, 6}, {48, 8, 5}, {50, 1, 1}, {60, 12, 11}};

template <Scalar T>
struct Reduced {
  GuardedMatrix<T> ab, X;
  Int info = 99;

  Reduced(char vect, char uplo, const Shape& shape, const GuardedMatrix<T>& ab_, const GuardedMatrix<T>& bb)
      : ab(ab_), X(shape.n, shape.n, std::max(1, shape.n + 2)) {
    const auto [n, ka, kb] = shape;
    if constexpr (ComplexScalar<T>) {
      GuardedVector<T> work(n);
      GuardedVector<Real<T>> rwork(n);
      routine_call::hbgst(vect, uplo, n, ka, kb, ab, bb, X, work.data(), rwork.data(), info);
      EXPECT_TRUE(work.guards_unchanged());
      EXPECT_TRUE(rwork.guards_unchanged());
    } else {
      GuardedVector<T> work(2 * n);
      routine_call::sbgst(vect, uplo, n, ka, kb, ab, bb, X, work.data(), info);
      EXPECT_TRUE(work.guards_unchanged());
    }
    EXPECT_TRUE(only_band_changed(uplo, ka, n, ab));
    EXPECT_TRUE(X.guards_unchanged());
  }
};

TYPED_TEST(GeneralisedBand, ReducesToABandByACongruence) {
  using T = TypeParam;
  for (const Shape& shape : shapes) {
    for (const char uplo : uplos) {
      const auto [n, ka, kb] = shape;
      SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", " << ka << " and " << kb << " diagonals");
      const GuardedMatrix<T> A = random_band<T>(this->random, uplo, n, ka);
      const GuardedMatrix<T> B = random_definite_band<T>(this->random, uplo, n, kb);
      const GuardedMatrix<T> ab = band_of(uplo, ka, A, ka + 1 + n % 2);
      GuardedMatrix<T> bb = band_of(uplo, kb, B, kb + 1 + n % 2);
      ASSERT_EQ(factor(uplo, kb, bb), 0);
      bb.seal();
      const Reduced<T> reduced('V', uplo, shape, ab, bb), alone('n', char(std::tolower(uplo)), shape, ab, bb);
      EXPECT_EQ(reduced.info, 0);
      EXPECT_EQ(alone.info, 0);
      EXPECT_TRUE(bb.unchanged());
      EXPECT_TRUE(alone.ab.same_as(reduced.ab));
      EXPECT_TRUE(alone.X.unchanged());

      const WideMatrix<T> X = wide(reduced.X), adjoint = op<T>('C', X), C = wide_band(uplo, ka, reduced.ab);
      const WideMatrix<T> of_a = product<T>(adjoint, product<T>(wide_hermitian(A, is_upper(uplo)), X));
      const WideMatrix<T> of_b = product<T>(adjoint, product<T>(wide_hermitian(B, is_upper(uplo)), X));
      EXPECT_LT(relative_difference<T>(C, of_a), threshold);
      EXPECT_LT(relative_difference<T>(of_b, WideMatrix<T>::Identity(n, n)), threshold);
      for (Int j = 1; j <= n; ++j) EXPECT_EQ(std::imag(reduced.ab(band_row(uplo, ka, j, j), j)), 0);
    }
  }
}

/// With B = I nothing is done to A.
TYPED_TEST(GeneralisedBand, LeavesAMatrixWithTheIdentityForPartner) {
  using T = TypeParam;
  const Shape shape{12, 3, 2};
  for (const char uplo : uplos) {
    GuardedMatrix<T> I(12, 12, 12);
    for (Int j = 1; j <= 12; ++j) {
      for (Int i = 1; i <= 12; ++i) I(i, j) = T(Real<T>(i == j));
    }
    GuardedMatrix<T> A = random_band<T>(this->random, uplo, 12, 3);
    for (Int j = 1; j <= 12; ++j) A(j, j) = T(std::real(A(j, j)));
    const GuardedMatrix<T> ab = band_of(uplo, 3, A, 4);
    GuardedMatrix<T> bb = band_of(uplo, 2, I, 3);
    ASSERT_EQ(factor(uplo, 2, bb), 0);
    const Reduced<T> reduced('V', uplo, shape, ab, bb);
    const WideMatrix<T> X = wide(reduced.X);
    EXPECT_LT(relative_difference<T>(product<T>(op<T>('C', X), X), WideMatrix<T>::Identity(12, 12)), threshold);
    const WideMatrix<T> turned = product<T>(X, product<T>(wide_band(uplo, 3, reduced.ab), op<T>('C', X)));
    EXPECT_LT(relative_difference<T>(turned, wide_hermitian(A, is_upper(uplo))), threshold);
  }
}

TYPED_TEST(GeneralisedBand, EndsWithNumbersThatAreNotFinite) {
  using T = TypeParam;
  using R = Real<T>;
  const Shape shape{9, 3, 2};
  for (const R bad : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (const char uplo : uplos) {
      for (Int j = 1; j <= 9; ++j) {
        GuardedMatrix<T> ab = band_of(uplo, 3, random_band<T>(this->random, uplo, 9, 3), 4);
        GuardedMatrix<T> bb = band_of(uplo, 2, random_definite_band<T>(this->random, uplo, 9, 2), 3);
        ASSERT_EQ(factor(uplo, 2, bb), 0);
        ab(band_row(uplo, 3, j, j), j) = T(bad);
        EXPECT_EQ(Reduced<T>('V', uplo, shape, ab, bb).info, 0);
      }
    }
  }
}

template <Scalar T>
struct FactorCall {
  char uplo = 'L';
  Int n = 2, kd = 1, ldab = 2;
  GuardedMatrix<T> ab{2, 2, 2};

  FactorCall() {
    for (Int j = 1; j <= 2; ++j) ab(1, j) = T(4), ab(2, j) = T(1);
    ab.seal();
  }
  Int run() {
    Int info = 99;
    routine_call::pbstf(uplo, n, kd, {ab.data(), ldab}, info);
    return info;
  }
  testing::AssertionResult unchanged() const { return ab.unchanged(); }
};

template <Scalar T>
struct ReduceCall {
  char vect = 'V', uplo = 'L';
  Int n = 2, ka = 1, kb = 0, ldab = 2, ldbb = 1, ldx = 2;
  GuardedMatrix<T> ab{2, 2, 2}, X{2, 2, 2};

  Int run() {
    const GuardedMatrix<T> bb(2, 2, 2);
    T work[4];
    Int info = 99;
    if constexpr (ComplexScalar<T>) {
      Real<T> rwork[2];
      routine_call::hbgst(vect, uplo, n, ka, kb, {ab.data(), ldab}, {bb.data(), ldbb}, {X.data(), ldx}, work, rwork,
                          info);
    } else {
      routine_call::sbgst(vect, uplo, n, ka, kb, {ab.data(), ldab}, {bb.data(), ldbb}, {X.data(), ldx}, work, info);
    }
    return info;
  }
  bool unchanged() const { return ab.unchanged() && X.unchanged(); }
};

TYPED_TEST(GeneralisedBand, ChecksItsArguments) {
  using T = TypeParam;
  expect_argument_checks<FactorCall<T>>(reported_name<T>("PBSTF"), {{1, [](auto& c) { c.uplo = 'X'; }},
                                                                    {2, [](auto& c) { c.n = -1; }},
                                                                    {3, [](auto& c) { c.kd = -1; }},
                                                                    {5, [](auto& c) { c.ldab = 1; }}});
  expect_argument_checks<ReduceCall<T>>(reported_name<T>(ComplexScalar<T> ? "HBGST" : "SBGST"),
                                        {{1, [](auto& c) { c.vect = 'U'; }},
                                         {2, [](auto& c) { c.uplo = 'X'; }},
                                         {3, [](auto& c) { c.n = -1; }},
                                         {4, [](auto& c) { c.ka = -1; }},
                                         {5, [](auto& c) { c.kb = -1; }},
                                         {5, [](auto& c) { c.kb = 2, c.ldbb = 3; }},
                                         {7, [](auto& c) { c.ldab = 1; }},
                                         {9, [](auto& c) { c.ldbb = 0; }},
                                         {11, [](auto& c) { c.ldx = 1; }}});
}

}  // namespace
}  // namespace nuv::test
