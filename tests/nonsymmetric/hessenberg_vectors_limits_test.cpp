// Inverse iteration on Hessenberg matrices that are hard to compute with, for values that are none, and on what is no
// number.

#include <array>
#include <limits>

#include "nonsymmetric/inverse_iteration_call.hpp"
#include "support/reported_errors.hpp"

namespace nuv::test {
namespace {

template <class T>
class HardHessenbergVectors : public ReportingTest {
 protected:
  Random random{19};
};
TYPED_TEST_SUITE(HardHessenbergVectors, Precisions, PrecisionLetter);

/// Unknowns grow by a large factor from row to row.
TYPED_TEST(HardHessenbergVectors, OfMatricesWithHugeGrowth) {
  using T = TypeParam;
  using R = Real<T>;
  const R step = std::same_as<R, float> ? R(1e-4) : R(1e-11);
  for (const Int n : {35, 60}) {
    GuardedMatrix<T> S = random_schur_form<T>(this->random, n, n);
    for (Int j = 1; j <= n; ++j) {
      S(j, j) = T(R(1) + step * R(j / 2));
      if (j < n && S(j + 1, j) != T(0)) {
        S(j + 1, j) = -T(step * step) / S(j, j + 1);
        S(j + 1, j + 1) = S(j, j);
        ++j;
      }
    }
    // Pivots may be small beside the unknowns, or sums of rows large.
    const bool is_single = std::same_as<R, float>;
    for (const R size : {R(1), is_single ? R(1e-15) : R(1e-150), is_single ? R(1e15) : R(1e150)}) {
      SCOPED_TRACE(testing::Message() << "size " << size);
      GuardedMatrix<T> scaled = S;
      for (Int j = 1; j <= n; ++j) {
        for (Int i = 1; i <= n; ++i) scaled(i, j) *= size;
      }
      scaled.seal();
      const KnownMatrix<T> known = quasi_triangular(scaled);
      for (const char eigsrc : {'Q', 'N'}) {
        InverseIteration<T> found(known);
        found.eigsrc = eigsrc;
        expect_vectors(known, found.run());
      }
    }
    // Or hardly be numbers.
    S.seal();
    const KnownMatrix<T> tiny = times_power_of_two(quasi_triangular(S), tiny_exponent<R> + 18);
    expect_vectors(tiny, InverseIteration<T>(tiny).run());
  }
}

/// Pivots may be below the smallest numbers to be computed with.
TYPED_TEST(HardHessenbergVectors, OfTinyMatrices) {
  using T = TypeParam;
  using R = Real<T>;
  GuardedMatrix<T> rotation(2, 2, 2);
  rotation(1, 1) = rotation(2, 2) = T(0);
  rotation(1, 2) = T(1);
  rotation(2, 1) = T(-1);
  rotation.seal();
  const KnownMatrix<T> turned{rotation, {{R(0), R(1)}, {R(0), R(-1)}}};
  for (const int exponent : {tiny_exponent<R>, tiny_exponent<R> + 4, tiny_exponent<R> + 20}) {
    SCOPED_TRACE(exponent);
    for (const char eigsrc : {'N', 'Q'}) {
      std::vector<KnownMatrix<T>> matrices{turned};
      for (const Int n : {1, 3, 7, 16}) matrices.push_back(with_unreduced_blocks<T>(this->random, {n}));
      matrices.push_back(with_unreduced_blocks<T>(this->random, {4, 1, 6}));
      for (const KnownMatrix<T>& plain : matrices) {
        const KnownMatrix<T> known = times_power_of_two(plain, exponent);
        InverseIteration<T> found(known);
        found.eigsrc = eigsrc;
        expect_vectors(known, found.run());
      }
    }
  }
  // (1, i) / sqrt(2) up to a factor.
  InverseIteration<T> found(times_power_of_two(turned, tiny_exponent<R>));
  found.run();
  if constexpr (RealScalar<T>) {
    const std::complex<R> x(found.VR(1, 1), found.VR(1, 2)), y(found.VR(2, 1), found.VR(2, 2));
    EXPECT_NEAR(std::abs(y / x - std::complex<R>(0, 1)), 0, 10 * epsilon<T>);
  } else {
    EXPECT_NEAR(std::abs(found.VR(2, 1) / found.VR(1, 1) - T(0, 1)), 0, 10 * epsilon<T>);
  }
}

/// What is no eigenvalue has no vector.
TYPED_TEST(HardHessenbergVectors, ThatAreNone) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr Int n = 7;
  const auto blocks = RealScalar<T> ? std::vector<Int>{1, 1, 2, 1, 2} : std::vector<Int>(n, 1);
  const KnownMatrix<T> known = quasi_triangular(random_schur_form<T>(this->random, blocks, n));
  for (const char side : {'R', 'L', 'B'}) {
    InverseIteration<T> found(known);
    found.side = side;
    found.select(1) = 0;
    std::vector<Int> expected;  // of each column
    for (Int k = 2; k <= n; k += known.columns(k)) {
      const bool is_wrong = k == 3 || k == 5;
      for (Int i = k; i < k + known.columns(k); ++i) {
        expected.push_back(is_wrong ? k : 0);
        if (!is_wrong) continue;
        if constexpr (RealScalar<T>) {
          found.wr(i) += R(0.11);
        } else {
          found.w(i) += R(0.11);
        }
      }
    }
    found.run();
    const Int failed = n - 1 - Int(std::ranges::count(expected, 0));
    EXPECT_EQ(found.info, side == 'B' ? 2 * failed : failed);
    for (Int j = 1; j < n; ++j) {
      if (side != 'R') {
        EXPECT_EQ(found.ifaill(j), expected[std::size_t(j - 1)]) << j;
      }
      if (side != 'L') {
        EXPECT_EQ(found.ifailr(j), expected[std::size_t(j - 1)]) << j;
      }
    }
    if (side == 'B') {
      expect_vector(true, known, found.value(6), found.VR, 5, known.columns(6));
    }
  }
}

/// What a failed iteration leaves has a largest element of one, too: in a single row, and where it is hardly a number.
TYPED_TEST(HardHessenbergVectors, ThatAreNoneAreNormalised) {
  using T = TypeParam;
  using R = Real<T>;
  const auto expect_failures = [](const KnownMatrix<T>& known, char eigsrc) {
    for (const char side : {'R', 'L', 'B'}) {
      SCOPED_TRACE(testing::Message() << "order " << known.n() << ' ' << side << eigsrc);
      InverseIteration<T> found(known);
      found.side = side;
      found.eigsrc = eigsrc;
      found.run();
      EXPECT_EQ(found.info, side == 'B' ? 2 * known.n() : known.n());
      for (Int k = 1; k <= known.n(); k += known.columns(k)) {
        if (side != 'L') {
          EXPECT_NEAR(largest_element(found.VR, k, known.columns(k)), 1, 4 * epsilon<T>) << k;
        }
        if (side != 'R') {
          EXPECT_NEAR(largest_element(found.VL, k, known.columns(k)), 1, 4 * epsilon<T>) << k;
        }
      }
    }
  };
  GuardedMatrix<T> one(1, 1, 1), two(2, 2, 3);
  one(1, 1) = two(1, 1) = T(1);
  two(1, 2) = T(2);
  two(2, 1) = T(0);
  two(2, 2) = T(5);
  one.seal();
  two.seal();
  const KnownMatrix<T> single{one, {R(2)}}, rows{two, {R(3), R(7)}};
  KnownMatrix<T> pair = rows;
  pair.values = {{R(3), R(2)}, {R(3), R(-2)}};
  for (const int exponent : {0, tiny_exponent<R>, std::numeric_limits<R>::min_exponent - 2}) {
    SCOPED_TRACE(exponent);
    for (const char eigsrc : {'N', 'Q'}) {
      for (const KnownMatrix<T>& known : {single, rows, pair}) {
        if (exponent == 0) expect_failures(known, eigsrc);
        // For the last ones eps3 is about the least number that there is.
        KnownMatrix<T> scaled = times_power_of_two(known, exponent);
        for (auto& value : scaled.values) value += R(exponent == 0 ? 4 : 1);
        expect_failures(scaled, eigsrc);
      }
    }
  }
  // The row that is alone in its block.
  InverseIteration<T> found(KnownMatrix<T>{two, {R(3), R(5)}});
  found.side = 'R';
  found.eigsrc = 'Q';
  found.run();
  EXPECT_EQ(found.info, 1);
  EXPECT_EQ(found.ifailr(1), 1);
  EXPECT_EQ(found.ifailr(2), 0);
  EXPECT_EQ(std::abs(found.VR(1, 1)), R(1));
  EXPECT_EQ(found.VR(2, 1), T(0));
}

/// What is no eigenvalue for sure has no vector; a start that is no number gives way to another.
TYPED_TEST(HardHessenbergVectors, OfValuesAndStartsThatAreNoNumbers) {
  using T = TypeParam;
  using R = Real<T>;
  const KnownMatrix<T> known = with_unreduced_blocks<T>(this->random, {7});
  for (const R odd : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (const bool imaginary : {false, true}) {
      for (const char eigsrc : {'N', 'Q'}) {
        KnownMatrix<T> spoiled = known;
        for (const std::size_t k : {2u, 4u, 5u})
          (imaginary ? spoiled.values[k].imag(odd) : spoiled.values[k].real(odd));
        InverseIteration<T> found(spoiled);
        found.eigsrc = eigsrc;
        found.run();
        EXPECT_GE(found.info, 2);
        EXPECT_LE(found.info, 14);
      }
    }
    InverseIteration<T> found(known);
    found.initv = 'U';
    found.VL = found.VR = random_matrix<T>(this->random, 7, 7, 8);
    for (Int j = 1; j <= 7; ++j) found.VL(j, j) = found.VR(8 - j, j) = T(odd);
    expect_vectors(known, found.run());
  }
}

TYPED_TEST(HardHessenbergVectors, OfWhatIsNoNumber) {
  using T = TypeParam;
  using R = Real<T>;
  const KnownMatrix<T> known = with_unreduced_blocks<T>(this->random, {9});
  for (const auto& [i, j] : {std::array{1, 1}, {4, 3}, {2, 8}, {9, 9}}) {
    for (const R value : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
      KnownMatrix<T> spoiled = known;
      spoiled.H(i, j) = T(value);
      const InverseIteration<T> found = InverseIteration<T>(spoiled).run();
      if (std::isnan(value)) {
        EXPECT_EQ(found.info, 18) << i << ", " << j;
      }
    }
  }
}

}  // namespace
}  // namespace nuv::test
