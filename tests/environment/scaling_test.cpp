// Scaling by quotients outside the exponent range: ?lascl, ?rscl.

#include <cmath>
#include <limits>

#include "frame/option_matching.hpp"
#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

template <class T>
class Scaling : public ReportingTest {
 protected:
  Random random{25};
};
TYPED_TEST_SUITE(Scaling, Precisions, PrecisionLetter);

/// A valid call for each type.
template <Scalar T>
struct Lascl {
  char type = 'G';
  Int kl = 2, ku = 2;
  Real<T> cfrom = 2, cto = 3;
  Int m = 6, n = 6, lda = 7;
  GuardedMatrix<T> A{7, 6, 7};

  Lascl() {
    for (Int j = 1; j <= 6; ++j) {
      for (Int i = 1; i <= 7; ++i) A(i, j) = T(Real<T>(10 * i + j));
    }
    A.seal();
  }
  Int run() {
    Int info = 99;
    routine_call::lascl(type, kl, ku, cfrom, cto, m, n, {A.data(), lda}, info);
    return info;
  }
  bool unchanged() const { return A.unchanged(); }
};

/// What makes an argument bad, in the order in which it is looked at.
template <Scalar T>
std::vector<Spoiler<Lascl<T>>> checks(char type) {
  using Call = Lascl<T>;
  std::vector<Spoiler<Call>> all = {{1, [](Call& c) { c.type = 'X'; }},
                                    {4, [](Call& c) { c.cfrom = 0; }},
                                    {4, [](Call& c) { c.cfrom = Real<T>(-0.0); }},
                                    {6, [](Call& c) { c.m = -1; }},
                                    {7, [](Call& c) { c.n = -1; }}};
  const bool symmetric_band = is_one_of(type, 'B', 'Q'), band = symmetric_band || same_letter(type, 'Z');
  if (symmetric_band) all.push_back({7, [](Call& c) { c.n = 5; }});
  if (!band) {
    all.push_back({9, [](Call& c) { c.lda = 5; }});
    return all;
  }
  all.push_back({2, [](Call& c) { c.kl = -1; }});
  all.push_back({2, [](Call& c) { c.kl = 6; }});
  all.push_back({3, [](Call& c) { c.ku = -1; }});
  all.push_back({3, [](Call& c) { c.ku = 6; }});
  if (symmetric_band) all.push_back({3, [](Call& c) { c.ku = 1; }});
  if (symmetric_band) all.push_back({9, [](Call& c) { c.lda = 2; }});
  if (!symmetric_band) all.push_back({9, [](Call& c) { c.lda = 6; }});
  return all;
}

TYPED_TEST(Scaling, ReportsTheFirstBadArgumentInTheOrderOfItsChecks) {
  using T = TypeParam;
  const std::string name = reported_name<T>("LASCL");
  for (const char type : {'G', 'L', 'U', 'H', 'B', 'Q', 'Z', 'g', 'l', 'u', 'h', 'b', 'q', 'z'}) {
    Lascl<T> good;
    good.type = type;
    expect_report(good, name, 0);
    const auto all = checks<T>(type);
    for (std::size_t first = 0; first < all.size(); ++first) {
      for (std::size_t second = first; second < all.size(); ++second) {
        SCOPED_TRACE(testing::Message() << type << ", checks " << first << " and " << second);
        Lascl<T> call;
        call.type = type;
        // The first in order is spoilt last, so that it is bad whatever the other did.
        all[second].spoil(call);
        all[first].spoil(call);
        expect_report(call, name, all[first].position);
      }
    }
  }
}

TYPED_TEST(Scaling, LooksAtBandwidthsForBandsAlone) {
  using T = TypeParam;
  for (const char type : {'G', 'L', 'U', 'H'}) {
    Lascl<T> call;
    call.type = type;
    call.kl = -5;
    call.ku = 100;
    EXPECT_EQ(call.run(), 0);
  }
}

TYPED_TEST(Scaling, TakesBandsAsWideAsTheirNumbersCanSay) {
  using T = TypeParam;
  // 2 kl + ku does not fit an Int; nothing is read of an empty matrix.
  constexpr Int large = std::numeric_limits<Int>::max();
  Int info = 99;
  routine_call::lascl('Z', large - 1, 0, Real<T>(1), Real<T>(2), large, 1, Matrix<T>(nullptr, large), info);
  EXPECT_EQ(info, -9);
  EXPECT_EQ(take_error_reports(), (std::vector<ErrorReport>{{reported_name<T>("LASCL"), 9}}));
}

TYPED_TEST(Scaling, ReturnsAtOnceForEmptyMatrices) {
  using T = TypeParam;
  for (const char type : {'G', 'L', 'U', 'H', 'B', 'Q', 'Z'}) {
    for (const auto& [m, n] : {std::pair{0, 0}, {0, 4}, {4, 0}}) {
      if (is_one_of(type, 'B', 'Q') && m != n) continue;
      Int info = 99;
      routine_call::lascl(type, 0, 0, Real<T>(1), Real<T>(2), m, n, Matrix<T>(nullptr, 4), info);
      EXPECT_EQ(info, 0) << type;
    }
  }
}

/// Whether row r of column j of the storage holds an entry of the matrix, told by the entry (i, j) that stands there.
bool holds_entry(char type, Int kl, Int ku, Int m, Int r, Int j) {
  const auto in_band = [&](Int i) { return i >= 1 && i <= m && i - j <= kl && j - i <= ku; };
  switch (std::toupper(type)) {
    case 'L':
      return r >= j && r <= m;
    case 'U':
      return r <= j && r <= m;
    case 'H':
      return r <= j + 1 && r <= m;
    case 'B':
      return r + j - 1 >= j && in_band(r + j - 1);
    case 'Q':
      return r - ku - 1 + j <= j && in_band(r - ku - 1 + j);
    case 'Z':
      return in_band(r - kl - ku - 1 + j);
    default:
      return r <= m;
  }
}

TYPED_TEST(Scaling, ScalesTheEntriesOfEachTypeAndNothingElse) {
  using T = TypeParam;
  for (const char type : {'G', 'L', 'U', 'H', 'B', 'Q', 'Z', 'g', 'l', 'u', 'h', 'b', 'q', 'z'}) {
    for (const auto& [m, n] : {std::pair{1, 1}, {2, 2}, {7, 7}, {9, 4}, {4, 9}, {1, 5}, {5, 1}}) {
      if (is_one_of(type, 'B', 'Q') && m != n) continue;
      for (const auto& [kl, ku] : {std::pair{0, 0}, {1, 2}, {2, 1}, {3, 3}, {6, 6}}) {
        if (kl >= m || ku >= n || (is_one_of(type, 'B', 'Q') && kl != ku)) continue;
        const bool band = is_one_of(type, 'B', 'Q', 'Z');
        const Int rows = (band ? 2 * kl + ku + 1 : m) + 1;
        GuardedMatrix<T> A = random_matrix<T>(this->random, rows, n, rows + 1);
        Int info = 99;
        routine_call::lascl(type, kl, ku, Real<T>(4), Real<T>(3), m, n, A, info);
        EXPECT_EQ(info, 0);
        const auto holds = [&, kl = kl, ku = ku, m = m](Int i, Int j) { return holds_entry(type, kl, ku, m, i, j); };
        EXPECT_TRUE(A.unchanged_except(holds)) << type << " " << kl << " " << ku;
        for (Int j = 1; j <= n; ++j) {
          for (Int i = 1; i <= rows; ++i) {
            if (holds(i, j)) {
              EXPECT_EQ(A(i, j), A.sealed(i, j) * Real<T>(0.75)) << type << " " << i << ", " << j;
            }
          }
        }
      }
    }
  }
}

/// A quotient that takes the given factors, one after the other.
template <RealScalar R>
struct Quotient {
  R cto, cfrom;
  std::vector<R> factors;
};

template <RealScalar R>
std::vector<Quotient<R>> quotients() {
  const R small = std::numeric_limits<R>::min(), large = 1 / small;
  const R tiny = std::same_as<R, double> ? R(1e-300) : R(1e-30f), huge = std::same_as<R, double> ? R(1e300) : R(1e30f);
  return {{3, 2, {R(1.5)}},
          {-3, 2, {R(-1.5)}},
          {tiny, huge, {small, tiny / (huge * small)}},
          {huge, tiny, {large, (huge / large) / tiny}},
          {-tiny, huge, {small, -tiny / (huge * small)}},
          {huge, -huge, {-1}},
          {small, large, {small, small / (large * small)}},
          {0, 2, {0}},
          {0, huge, {0}}};
}

TYPED_TEST(Scaling, TakesAQuotientInSafeFactorsOncePerPass) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Quotient<R>& quotient : quotients<R>()) {
    // Entries from which the way leads through the range: far up if the quotient is small, far down if it is large.
    const bool shrinks = std::abs(quotient.cto) < std::abs(quotient.cfrom);
    const R scale = std::ldexp(R(1), (std::numeric_limits<R>::max_exponent - 8) * (shrinks ? 1 : -1));
    for (const char type : {'G', 'U', 'B'}) {
      GuardedMatrix<T> A(5, 5, 6);
      for (Int j = 1; j <= 5; ++j) {
        for (Int i = 1; i <= 5; ++i) A(i, j) = this->random.template divisor<T>() * scale;
      }
      A.seal();
      Int info = 99;
      routine_call::lascl(type, 4, 4, quotient.cfrom, quotient.cto, 5, 5, A, info);
      EXPECT_EQ(info, 0);
      T expected = A.sealed(1, 2);
      for (const R factor : quotient.factors) expected *= factor;
      EXPECT_EQ(A(1, 2), expected) << type << " " << quotient.cto << " / " << quotient.cfrom;
    }
  }
}

/// Numbers whose quotients leave the range, or are none. Finite ones are powers of two, so that nothing is rounded.
template <RealScalar R>
std::vector<R> special_numbers() {
  using Limits = std::numeric_limits<R>;
  const R largest = std::ldexp(R(1), Limits::max_exponent - 1);
  return {0,
          R(-0.0),
          1,
          -4,
          Limits::min(),
          -Limits::min(),
          Limits::denorm_min(),
          -Limits::denorm_min() * 8,
          largest,
          -largest,
          Limits::infinity(),
          -Limits::infinity(),
          Limits::quiet_NaN()};
}

/// All of them, as complex numbers in pairs.
template <Scalar T>
GuardedVector<T> special_vector() {
  const auto numbers = special_numbers<Real<T>>();
  std::vector<T> elements;
  for (const auto x : numbers) {
    if constexpr (RealScalar<T>) elements.push_back(x);
    else
      for (const auto y : numbers) elements.push_back(T(x, y));
  }
  GuardedVector<T> vector(Int(elements.size()));
  std::copy(elements.begin(), elements.end(), vector.data());
  vector.seal();
  return vector;
}

/// Expects that each part of x was multiplied by this quotient, in arithmetic that has a wider range.
template <Scalar T>
void expect_quotient(const GuardedVector<T>& x, Real<T> numerator, Real<T> denominator) {
  using R = Real<T>;
  const auto quotient = WideReal<T>(numerator) / WideReal<T>(denominator);
  const auto expect_part = [&](R before, R after) {
    const R expected = R(WideReal<T>(before) * quotient);
    EXPECT_TRUE(std::isnan(expected) ? std::isnan(after) : same_bits(after, expected))
        << before << " times " << numerator << " / " << denominator << " gives " << after;
  };
  for (Int i = 1; i <= x.size(); ++i) {
    expect_part(std::real(x.sealed(i)), std::real(x(i)));
    if constexpr (ComplexScalar<T>) expect_part(x.sealed(i).imag(), x(i).imag());
  }
}

TYPED_TEST(Scaling, TakesEveryQuotientAsArithmeticHasIt) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R cfrom : special_numbers<R>()) {
    if (cfrom == 0) continue;  // refused
    for (const R cto : special_numbers<R>()) {
      GuardedVector<T> x = special_vector<T>();
      Int info = 99;
      routine_call::lascl('G', 0, 0, cfrom, cto, x.size(), 1, Matrix<T>(x.data(), x.size()), info);
      EXPECT_EQ(info, 0);
      expect_quotient(x, cto, cfrom);
    }
  }
}

TYPED_TEST(Scaling, DividesAVectorByEveryNumberAsArithmeticDoes) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R divisor : special_numbers<R>()) {
    GuardedVector<T> x = special_vector<T>();
    routine_call::rscl(x.size(), divisor, x);
    expect_quotient(x, R(1), divisor);
  }
}

TYPED_TEST(Scaling, DividesAVectorWhereTheReciprocalWouldOverflow) {
  using T = TypeParam;
  using R = Real<T>;
  const R smallest = std::numeric_limits<R>::denorm_min(), largest = std::numeric_limits<R>::max();
  for (const R divisor :
       {R(3), R(-0.7), largest, -largest / 3, smallest, 5 * smallest, -std::numeric_limits<R>::min()}) {
    // Numbers up to 40 times this are in range, and so are their quotients.
    const R size = std::abs(divisor) > 1 ? std::abs(divisor) / 64 : std::abs(divisor);
    for (const Int incx : {1, 3}) {
      for (const Int n : {0, 1, 2, 5, 40}) {
        GuardedVector<T> x(n, incx);
        for (Int i = 1; i <= n; ++i) x(i) = T(size * R(i));
        x.seal();
        routine_call::rscl(n, divisor, x);
        EXPECT_TRUE(x.guards_unchanged());
        for (Int i = 1; i <= n; ++i) {
          const auto expected = wide(x.sealed(i)) / WideReal<T>(divisor);
          EXPECT_LE(std::abs(wide(x(i)) - expected), 3 * epsilon<T> * std::abs(expected)) << divisor << " " << i;
        }
      }
    }
  }
}

TYPED_TEST(Scaling, LeavesAVectorOfNegativeLength) {
  using T = TypeParam;
  GuardedVector<T> x(3);
  x.seal();
  routine_call::rscl(-1, Real<T>(2), x);
  EXPECT_TRUE(x.unchanged());
}

}  // namespace
}  // namespace nuv::test
