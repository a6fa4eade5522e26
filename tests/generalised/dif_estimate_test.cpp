// Right sides that make the solution of a small system large: ?latdf.

#include <cmath>
#include <limits>

#include "routines.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"
#include "support/reported_errors.hpp"
#include "support/wide.hpp"
#include "support/wide_spectrum.hpp"

namespace nuv::test {
namespace {

template <Scalar T>
struct LookAhead {
  using R = Real<T>;

  Int ijob = 1, n;
  GuardedMatrix<T> Z, LU;
  GuardedVector<T> rhs, x;
  GuardedVector<Int> ipiv, jpiv;
  R sum = 1, sum_scale = 0;

  LookAhead(const GuardedMatrix<T>& matrix, const GuardedVector<T>& given)
      : n(matrix.rows()), Z(matrix), LU(matrix), rhs(given), x(given), ipiv(n), jpiv(n) {
    Int info;
    routine_call::getc2(n, Matrix<T>(LU), ipiv.data(), jpiv.data(), info);
    LU.seal();
    ipiv.seal();
    jpiv.seal();
  }

  LookAhead& solve() {
    x = rhs;
    routine_call::latdf(ijob, n, Matrix<const T>(LU), x.data(), sum, sum_scale, ipiv.data(), jpiv.data());
    EXPECT_TRUE(LU.unchanged() && x.guards_unchanged() && ipiv.unchanged() && jpiv.unchanged());
    return *this;
  }

  /// What was added to the right side.
  WideMatrix<T> chosen() const { return product<T>(wide(Z), wide(x)) - wide(rhs); }

  /// What may be off there.
  double tolerance() const {
    return 100 * epsilon<T> * (double(wide(Z).norm()) * length() + double(wide(rhs).norm()) + 1);
  }

  double length() const { return double(wide(x).norm()); }
};

template <class T>
class DifEstimate : public ReportingTest {
 protected:
  /// With a right side of about that size.
  LookAhead<T> problem(Int n, double size) {
    GuardedVector<T> rhs = random_vector<T>(random, n, 1);
    for (Int i = 1; i <= n; ++i) rhs(i) *= Real<T>(size);
    rhs.seal();
    return {random_matrix<T>(random, n, n, n + 2), rhs};
  }

  Random random{59};
};
TYPED_TEST_SUITE(DifEstimate, Precisions, PrecisionLetter);

TYPED_TEST(DifEstimate, ByLookingAheadAddsOneOrMinusOne) {
  using T = TypeParam;
  for (Int n = 1; n <= 8; ++n) {
    for (const double size : {0.0, 0.1, 1.0, 10.0}) {
      for (const Int ijob : {0, 1, 3}) {
        LookAhead<T> call = this->problem(n, size);
        call.ijob = ijob;
        const WideMatrix<T> added = call.solve().chosen();
        for (Int i = 0; i < n; ++i)
          EXPECT_NEAR(double(std::abs(added(i, 0) * added(i, 0) - Wide<T>(1))), 0, call.tolerance());
      }
    }
  }
}

/// Beside the best and the mean of all choices of signs.
TYPED_TEST(DifEstimate, ByLookingAheadComesNearTheBestSigns) {
  using T = TypeParam;
  double of_best = 0, of_mean = 0;
  int count = 0;
  for (Int n = 2; n <= 6; n += 2) {
    for (const double size : {0.0, 0.3, 1.0}) {
      for (int round = 0; round < 12; ++round) {
        LookAhead<T> call = this->problem(n, size);
        call.solve();
        const WideMatrix<T> inverted = inverse<T>(wide(call.Z));
        double best = 0, sum = 0;
        for (int signs = 0; signs < 1 << n; ++signs) {
          WideMatrix<T> b = wide(call.rhs);
          for (Int i = 0; i < n; ++i) b(i, 0) += WideReal<T>(signs >> i & 1 ? 1 : -1);
          const double length = double(product<T>(inverted, b).norm());
          best = std::max(best, length);
          sum += length;
        }
        of_best += call.length() / best;
        of_mean += call.length() / (sum / (1 << n));
        ++count;
      }
    }
  }
  EXPECT_GT(of_best / count, 0.85);
  // Signs gain less where phases count, too.
  EXPECT_GT(of_mean / count, RealScalar<T> ? 1.5 : 1.3);
}

/// A choice that two sums decide, and ties: -1 first, 1 from then on.
TYPED_TEST(DifEstimate, ByLookingAheadDecidesTies) {
  using T = TypeParam;
  using R = Real<T>;
  GuardedMatrix<T> I(4, 4, 4);
  for (Int j = 1; j <= 4; ++j) {
    for (Int i = 1; i <= 4; ++i) I(i, j) = T(R(i == j ? 1 : 0));
  }
  I.seal();
  GuardedVector<T> zero(4);
  for (Int i = 1; i <= 4; ++i) zero(i) = T(R(0));
  LookAhead<T> call(I, zero);
  call.solve();
  // The last one is not looked ahead of: the sums are equal, and the lower sign stays.
  const R expected[] = {-1, 1, 1, -1};
  for (Int i = 1; i <= 4; ++i) EXPECT_EQ(call.x(i), T(expected[i - 1]));

  // Once it is decided by what the other elements would be left with.
  GuardedMatrix<T> L = I;
  L(2, 1) = T(R(0.5));
  L.seal();
  GuardedVector<T> rhs = zero;
  rhs(2) = T(R(2));
  LookAhead<T> ahead(L, rhs);
  ahead.solve();
  EXPECT_EQ(ahead.x(1), T(R(-1)));  // 0 (1 + 1/4) < 1/2 2: then 2 + 1/2 is left, not 2 - 1/2
  EXPECT_EQ(ahead.x(2), T(R(3.5)));
  rhs(1) = T(R(1));
  LookAhead<T> own(L, rhs);
  own.solve();
  EXPECT_EQ(own.x(1), T(R(2)));  // 1 (1 + 1/4) > 1/2 2
}

template <class T>
class ComplexDifEstimate : public ReportingTest {};
TYPED_TEST_SUITE(ComplexDifEstimate, ComplexPrecisions, PrecisionLetter);

/// What is left of the others is measured by an inner product of complex vectors.
TYPED_TEST(ComplexDifEstimate, ByLookingAheadMindsPhases) {
  using T = TypeParam;
  GuardedMatrix<T> Z(2, 2, 2);
  GuardedVector<T> rhs(2);
  Z(1, 1) = Z(2, 2) = T(1);
  Z(1, 2) = rhs(1) = T(0);
  Z(2, 1) = T(0, 0.5);
  rhs(2) = T(0, 2);
  Z.seal();
  rhs.seal();
  LookAhead<T> call(Z, rhs);
  call.solve();
  EXPECT_EQ(call.x(1), T(-1));  // then 2i + i/2 is left, not 2i - i/2
}

TYPED_TEST(DifEstimate, ByConditionAddsAUnitVectorNearTheLeftNullVector) {
  using T = TypeParam;
  double worst = 0;
  for (Int n = 1; n <= 8; ++n) {
    for (const double size : {0.0, 0.1, 1.0}) {
      for (int round = 0; round < 4; ++round) {
        LookAhead<T> call = this->problem(n, size);
        call.ijob = 2;
        EXPECT_NEAR(double(call.solve().chosen().norm()), 1, call.tolerance());
        const double smallest = double(wide_singular_values<T>(wide(call.Z)).minCoeff());
        if (size == 0) worst = std::max(worst, 1 / (call.length() * smallest));
        // Of the two signs the better one, by one-norms.
        const WideMatrix<T> other = product<T>(inverse<T>(wide(call.Z)), WideMatrix<T>(wide(call.rhs) - call.chosen()));
        const auto norm1 = [](const WideMatrix<T>& v) {
          return double(v.real().cwiseAbs().sum() + v.imag().cwiseAbs().sum());
        };
        EXPECT_GE(norm1(wide(call.x)) * (1 + 1000 * epsilon<T> / smallest), norm1(other));
      }
    }
  }
  EXPECT_LT(worst, 3);
}

/// Where squares of the estimate's vector would overflow.
TYPED_TEST(DifEstimate, ByConditionGoesFarFromOne) {
  using T = TypeParam;
  using R = Real<T>;
  for (const int exponent :
       {-(std::numeric_limits<R>::max_exponent * 3 / 4), std::numeric_limits<R>::max_exponent * 3 / 4}) {
    LookAhead<T> plain = this->problem(4, 0);
    plain.ijob = 2;
    GuardedMatrix<T> scaled = plain.Z;
    const R power = std::ldexp(R(1), exponent);
    for (Int j = 1; j <= 4; ++j) {
      for (Int i = 1; i <= 4; ++i) scaled(i, j) *= power;
    }
    LookAhead<T> far(scaled, plain.rhs);
    far.ijob = 2;
    EXPECT_NEAR(far.solve().length() * double(power) / plain.solve().length(), 1, 100 * epsilon<T>);
  }
}

TYPED_TEST(DifEstimate, AddsToTheSumOfSquares) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int ijob : {1, 2}) {
    LookAhead<T> call = this->problem(5, 1);
    call.ijob = ijob;
    call.sum = 2;
    call.sum_scale = 3;
    call.solve();
    const double expected = 18 + call.length() * call.length();
    EXPECT_NEAR(double(call.sum_scale) * double(call.sum_scale) * double(call.sum) / expected, 1, 20 * epsilon<T>);
    R largest = 3;
    for (Int i = 1; i <= 5; ++i)
      largest = std::max({largest, std::abs(std::real(call.x(i))), std::abs(std::imag(call.x(i)))});
    EXPECT_EQ(call.sum_scale, largest);
  }
}

TYPED_TEST(DifEstimate, LeavesOtherOrdersAlone) {
  using T = TypeParam;
  for (const Int n : {-1, 0, 9}) {
    for (const Int ijob : {1, 2}) {
      LookAhead<T> call = this->problem(std::max(n, 0), 1);
      call.ijob = ijob;
      call.n = n;
      call.solve();
      EXPECT_TRUE(call.x.unchanged());
      EXPECT_EQ(call.sum, Real<T>(1));
      EXPECT_EQ(call.sum_scale, Real<T>(0));
    }
  }
}

TYPED_TEST(DifEstimate, EndsWhateverTheNumbers) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R odd : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (const Int ijob : {1, 2}) {
      for (Int place = 1; place <= 12; ++place) {
        GuardedMatrix<T> Z = random_matrix<T>(this->random, 3, 3, 3);
        GuardedVector<T> rhs = random_vector<T>(this->random, 3, 1);
        (place <= 9 ? Z.data()[place - 1] : rhs.data()[place - 10]) = T(odd);
        LookAhead<T> call(Z, rhs);
        call.ijob = ijob;
        call.solve();
        if (std::isnan(odd) || place > 9) {
          EXPECT_FALSE(std::isfinite(call.length()));
        }
      }
    }
  }
}

}  // namespace
}  // namespace nuv::test
