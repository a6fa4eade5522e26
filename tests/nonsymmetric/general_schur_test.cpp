// Schur forms of general matrices by gees and geesx, eigenvalues that are selected in front.

#include <cmath>

#include "nonsymmetric/general_calls.hpp"
#include "support/reported_errors.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = schur_threshold;

template <class T>
class GeneralSchur : public ReportingTest {
 protected:
  Random random{742};

  GuardedMatrix<T> matrix(Int n) { return random_matrix<T>(random, n, n, std::max(1, n) + random.integer(0, 2)); }
};
TYPED_TEST_SUITE(GeneralSchur, Precisions, PrecisionLetter);

/// A function for the library that asks predicate(re, im), a lambda without captures.
template <Scalar T, class Predicate>
Selector<T> selector(Predicate) {
  if constexpr (ComplexScalar<T>) {
    return [](const T* w) { return Logical(Predicate()(double(w->real()), double(w->imag()))); };
  } else {
    return [](const T* wr, const T* wi) { return Logical(Predicate()(double(*wr), double(*wi))); };
  }
}

constexpr auto never = [](double, double) { return false; };
constexpr auto always = [](double, double) { return true; };
constexpr auto in_left_half = [](double re, double) { return re < 0; };
constexpr auto in_upper_half = [](double, double im) { return im > 0; };

/// Expects a Schur form of A with the eigenvalues that the call gives.
template <Scalar T>
void expect_schur_form(const GuardedMatrix<T>& A, const SchurCall<T>& call) {
  EXPECT_TRUE(is_schur_form(call.A));
  EXPECT_TRUE(are_pairs(call));
  for (Int i = 1; i <= call.n; ++i) EXPECT_EQ(call.value(i).real(), std::real(call.A(i, i))) << i;
  const double unit = std::max(one_norm<T>(wide(call.A)), 1e-300) * epsilon<T>;
  EXPECT_LE(spectrum_distance(call.values(), eigenvalues_of(call.A)), threshold * unit);
  if (!call.wants_vectors() || call.n == 0) return;
  EXPECT_LT(schur_residual<T>(wide(A), wide(call.VS), wide(call.A)), threshold);
  EXPECT_LT(unitarity(call.VS), threshold);
}

template <Scalar T>
void expect_same_form(const SchurCall<T>& call, const SchurCall<T>& other) {
  EXPECT_TRUE(call.A.same_as(other.A));
  EXPECT_TRUE(call.w.same_as(other.w) && call.wr.same_as(other.wr) && call.wi.same_as(other.wi));
  EXPECT_EQ(call.sdim, other.sdim);
}

/// Whether predicate selects eigenvalue i of a call, or the other one of its pair.
template <Scalar T, class Predicate>
bool is_selected(const SchurCall<T>& call, Int i, Predicate predicate) {
  const std::complex<double> w(call.value(i));
  return predicate(w.real(), w.imag()) || (RealScalar<T> && predicate(w.real(), -w.imag()));
}

template <Scalar T, class Predicate>
void expect_order(const SchurCall<T>& call, Predicate predicate) {
  ASSERT_EQ(call.info, 0);
  for (Int i = 1; i <= call.n; ++i) EXPECT_EQ(is_selected(call, i, predicate), i <= call.sdim) << i;
}

TYPED_TEST(GeneralSchur, FindTheFormAtEverySize) {
  using T = TypeParam;
  for (Int n = 0; n <= 12; ++n) {
    SCOPED_TRACE(n);
    const GuardedMatrix<T> A = this->matrix(n);
    const ExactSpectrum exact = exact_spectrum(A);
    const SchurCall<T> simple = solve<Gees<T>>(SchurCall<T>('v', A));
    ASSERT_EQ(simple.info, 0);
    EXPECT_EQ(simple.sdim, 0);
    expect_schur_form(A, simple);
    EXPECT_LT(value_error(simple, exact), threshold);
    expect_same_form(solve<Geesx<T>>(SchurCall<T>('V', A)), simple);
    expect_same_form(solve<Gees<T>>(SchurCall<T>('N', A)), simple);
    const SchurCall<T> least = solve<Gees<T>>(SchurCall<T>('V', A), Room::least);
    expect_schur_form(A, least);
  }
}

TYPED_TEST(GeneralSchur, FindTheFormOfLargerMatrices) {
  using T = TypeParam;
  for (const Int n : {75, 76, 150}) {
    SCOPED_TRACE(n);
    const GuardedMatrix<T> A = this->matrix(n);
    const SchurCall<T> call = solve<Gees<T>>(SchurCall<T>('V', selector<T>(in_left_half), A));
    expect_schur_form(A, call);
    expect_order(call, in_left_half);
  }
}

TYPED_TEST(GeneralSchur, FindTheFormOfALargeMatrix) {
  using T = TypeParam;
  if constexpr (std::same_as<T, double>) {
    const GuardedMatrix<T> A = this->matrix(300);
    const SchurCall<T> call = solve<Gees<T>>(SchurCall<T>('V', A));
    ASSERT_EQ(call.info, 0);
    expect_schur_form(A, call);
  }
}

TYPED_TEST(GeneralSchur, BringWhatIsSelectedInFront) {
  using T = TypeParam;
  for (const Int n : {1, 2, 3, 6, 11}) {
    SCOPED_TRACE(n);
    const GuardedMatrix<T> A = this->matrix(n);
    const auto expect = [&](auto predicate) {
      const SchurCall<T> sorted = solve<Gees<T>>(SchurCall<T>('V', selector<T>(predicate), A));
      expect_schur_form(A, sorted);
      expect_order(sorted, predicate);
      expect_same_form(solve<Gees<T>>(SchurCall<T>('n', selector<T>(predicate), A), Room::least), sorted);
      for (const char sense : {'n', 'E', 'v', 'B'}) {
        expect_same_form(solve<Geesx<T>>(SchurCall<T>('V', selector<T>(predicate), A, sense)), sorted);
      }
      return sorted;
    };
    expect(in_left_half);
    expect(in_upper_half);
    const SchurCall<T> unsorted = solve<Gees<T>>(SchurCall<T>('V', A));
    EXPECT_TRUE(expect(never).A.same_as(unsorted.A));
    EXPECT_EQ(expect(never).sdim, 0);
    EXPECT_TRUE(expect(always).A.same_as(unsorted.A));
    EXPECT_EQ(expect(always).sdim, n);
  }
}

TYPED_TEST(GeneralSchur, TakeTheLowestBitForTheTruth) {
  using T = TypeParam;
  const Int n = 6;
  const GuardedMatrix<T> A = this->matrix(n);
  const auto two_or_three = selector<T>([](double re, double) { return re < 0 ? 3 : 2; });
  const SchurCall<T> call = solve<Gees<T>>(SchurCall<T>('V', two_or_three, A));
  expect_order(call, in_left_half);
  expect_same_form(call, solve<Gees<T>>(SchurCall<T>('V', selector<T>(in_left_half), A)));
}

/// Without sort nobody calls it.
TYPED_TEST(GeneralSchur, DoNotCallSelectInVain) {
  using T = TypeParam;
  const GuardedMatrix<T> A = this->matrix(5);
  SchurCall<T> call('V', A);
  ASSERT_EQ(call.select, nullptr);
  EXPECT_EQ(solve<Gees<T>>(call).info, 0);
  EXPECT_EQ(solve<Geesx<T>>(call).info, 0);
  EXPECT_TRUE(solve<Gees<T>>(call).bwork.unchanged());
}

// ------------------------------------------------------------------------------------------------------------- codes

Int calls = 0, changes_after = 0;

/// Of the left half, and of the right one after some calls.
constexpr auto changing = [](double re, double) { return (re < 0) == (++calls <= changes_after); };

TYPED_TEST(GeneralSchur, TellThatSelectHasChanged) {
  using T = TypeParam;
  const Int n = 7;
  GuardedMatrix<T> A = this->matrix(n);
  for (const char sense : {'N', 'B'}) {
    const auto solved = [&](Int after) {
      calls = 0;
      changes_after = after;
      const SchurCall<T> call('V', selector<T>(changing), A, sense);
      return sense == 'N' ? solve<Gees<T>>(call) : solve<Geesx<T>>(call);
    };
    const SchurCall<T> steady = solved(1000);
    expect_order(steady, in_left_half);
    ASSERT_GT(steady.sdim, 0);
    ASSERT_LT(steady.sdim, n);
    EXPECT_EQ(calls, 2 * n);
    const SchurCall<T> changed = solved(n);
    EXPECT_EQ(changed.info, n + 2);
    EXPECT_EQ(changed.sdim, n - steady.sdim);
    EXPECT_TRUE(changed.A.same_as(steady.A));
    expect_schur_form(A, changed);
    // The last one alone.
    EXPECT_EQ(solved(2 * n - 1).info, n + 2);
  }
}

/// The real part that is selected.
double chosen = 0;
constexpr auto is_chosen = [](double re, double) { return re == chosen; };

TYPED_TEST(GeneralSchur, TellOfPairsThatAreTooCloseToBeMoved) {
  using T = TypeParam;
  if constexpr (RealScalar<T>) {
    const Int n = 4;
    int rejected = 0;
    for (int round = 0; round < 100; ++round) {
      const GuardedMatrix<T> A = close_pairs<T>(this->random);
      chosen = A(3, 3);
      const SchurCall<T> call('V', selector<T>(is_chosen), A, 'B');
      const SchurCall<T> simple = solve<Gees<T>>(call), expert = solve<Geesx<T>>(call);
      EXPECT_EQ(simple.info, expert.info);
      if (expert.info != n + 1) continue;
      ++rejected;
      EXPECT_EQ(expert.sdim, 2);
      EXPECT_EQ(expert.rconde, 0);
      EXPECT_EQ(expert.rcondv, 0);
      expect_schur_form(A, expert);
      expect_same_form(simple, expert);
    }
    EXPECT_GT(rejected, 5);
  }
}

/// NaN is no eigenvalue.
TYPED_TEST(GeneralSchur, TellOfAFailedIteration) {
  using T = TypeParam;
  const Int n = 6;
  const GuardedMatrix<T> A = matrix_with_isolated_ends<T>(this->random, n, std::numeric_limits<Real<T>>::quiet_NaN());
  const SchurCall<T> call('V', selector<T>(always), A, 'B');
  for (const SchurCall<T>& solved : {solve<Gees<T>>(call), solve<Geesx<T>>(call)}) {
    EXPECT_EQ(solved.info, n - 1);
    EXPECT_EQ(solved.sdim, 0);
    EXPECT_TRUE(solved.bwork.unchanged());
    EXPECT_EQ(solved.value(1), std::complex<Real<T>>(7));
    EXPECT_EQ(solved.value(n), std::complex<Real<T>>(5));
  }
}

/// Infinities are scaled away, and all other elements with them: what was isolated is zero then, and no number when the
/// scaling is taken back.
TYPED_TEST(GeneralSchur, ScaleBackWhatAFailedIterationLeaves) {
  using T = TypeParam;
  const Int n = 6;
  const GuardedMatrix<T> A = matrix_with_infinities<T>(this->random, n);
  const SchurCall<T> call = solve<Gees<T>>(SchurCall<T>('V', A));
  EXPECT_EQ(call.info, 4);
  for (const Int i : {Int{1}, n}) {
    EXPECT_TRUE(std::isnan(call.value(i).real()));
    EXPECT_TRUE(std::isnan(std::real(call.A(i, i))));
  }
}

/// The same where a finite number is scaled away: what was isolated comes back as it was.
TYPED_TEST(GeneralSchur, ScaleBackWhatWasIsolatedWhereTheIterationFailed) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 6;
  for (const int exponent : {std::numeric_limits<R>::max_exponent - 5, std::numeric_limits<R>::min_exponent + 3}) {
    const GuardedMatrix<T> A = failing_matrix_of_size<T>(this->random, n, exponent);
    for (const SchurCall<T>& call : {solve<Gees<T>>(SchurCall<T>('V', A)), solve<Geesx<T>>(SchurCall<T>('V', A))}) {
      EXPECT_EQ(call.info, n - 1);
      EXPECT_NEAR(double(std::ldexp(call.value(1).real(), -exponent)), 7, 20 * epsilon<T>);
      EXPECT_NEAR(double(std::ldexp(call.value(n).real(), -exponent)), 5, 20 * epsilon<T>);
      EXPECT_EQ(call.value(1).real(), std::real(call.A(1, 1)));
      EXPECT_EQ(call.value(n).real(), std::real(call.A(n, n)));
    }
  }
}

// ----------------------------------------------------------------------------------------------------------- scaling

template <Scalar T>
GuardedMatrix<T> times_power_of_two(GuardedMatrix<T> A, int exponent) {
  for (Int j = 1; j <= A.columns(); ++j) {
    for (Int i = 1; i <= A.rows(); ++i) A(i, j) *= std::ldexp(Real<T>(1), exponent);
  }
  A.seal();
  return A;
}

template <RealScalar R>
constexpr int largest_exponent = std::numeric_limits<R>::max_exponent - 5;
template <RealScalar R>
constexpr int least_exponent = std::numeric_limits<R>::min_exponent + 3;

TYPED_TEST(GeneralSchur, ScaleVeryLargeAndVerySmallMatrices) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 8;
  const GuardedMatrix<T> A = this->matrix(n);
  const SchurCall<T> plain = solve<Geesx<T>>(SchurCall<T>('V', selector<T>(in_left_half), A, 'B'));
  for (const int exponent : {largest_exponent<R>, least_exponent<R>}) {
    SCOPED_TRACE(exponent);
    const GuardedMatrix<T> scaled = times_power_of_two(A, exponent);
    for (const char sense : {'N', 'B'}) {
      const SchurCall<T> call('V', selector<T>(in_left_half), scaled, sense);
      SchurCall<T> solved = sense == 'N' ? solve<Gees<T>>(call) : solve<Geesx<T>>(call);
      expect_order(solved, in_left_half);
      EXPECT_EQ(solved.sdim, plain.sdim);
      const SchurCall<T> before = solved;
      for (Int i = 1; i <= n; ++i) {
        EXPECT_EQ(before.value(i).real(), std::real(before.A(i, i)));
        if constexpr (RealScalar<T>) {
          if (i < n && before.wi(i) > 0) {
            const double product =
                std::sqrt(std::abs(double(before.A(i, i + 1)))) * std::sqrt(std::abs(double(before.A(i + 1, i))));
            EXPECT_NEAR(double(before.wi(i)) / product, 1, 4 * epsilon<T>);
          }
        }
      }
      // Back in two steps, neither of which overflows, to where it can be judged.
      solved.A = times_power_of_two(times_power_of_two(solved.A, -exponent / 2), -exponent + exponent / 2);
      EXPECT_TRUE(is_schur_form(solved.A));
      EXPECT_LT(schur_residual<T>(wide(A), wide(solved.VS), wide(solved.A)), threshold);
      EXPECT_LT(unitarity(solved.VS), threshold);
      if (sense == 'N') continue;
      EXPECT_NEAR(double(solved.rconde / plain.rconde), 1, 1000 * epsilon<T>);
      // Estimates, which begin from signs that hang on roundings.
      const double ratio = std::ldexp(double(solved.rcondv), -exponent) / double(plain.rcondv);
      EXPECT_TRUE(ratio > 0.3 && ratio < 3) << ratio;
    }
  }
}

/// A matrix is scaled if the squares of its elements might not be numbers, or have lost digits, and not else.
TYPED_TEST(GeneralSchur, ScaleMatricesBeyondALimitAlone) {
  using T = TypeParam;
  using R = Real<T>;
  const auto is_same_after_all = [&](R size) {
    const GuardedMatrix<T> A = triangle_of_size<T>(this->random, 20, size);
    const SchurCall<T> simple = solve<Gees<T>>(SchurCall<T>('N', A)), expert = solve<Geesx<T>>(SchurCall<T>('N', A));
    EXPECT_TRUE(simple.A.same_as(expert.A));
    return bool(simple.A.same_as(A));
  };
  for (const R size : {least_unscaled<R>, R(1), largest_unscaled<R>}) EXPECT_TRUE(is_same_after_all(size)) << size;
  for (const R size : {R(0.9) * least_unscaled<R>, largest_unscaled<R> / R(0.97)}) {
    EXPECT_FALSE(is_same_after_all(size)) << size;
  }
}

/// select sees eigenvalues of the matrix as it was.
TYPED_TEST(GeneralSchur, SelectAmongTheEigenvaluesOfTheUnscaledMatrix) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 5;
  GuardedMatrix<T> A = this->matrix(n);
  for (Int j = 1; j <= n; ++j) {
    A(j, j) = T(R(j));
    for (Int i = j + 1; i <= n; ++i) A(i, j) = A(i, j) / R(100);
  }
  const GuardedMatrix<T> scaled = times_power_of_two(A, largest_exponent<R>);
  const auto is_large = [](double re, double) { return re > 2.5 * std::ldexp(1.0, largest_exponent<R>); };
  const SchurCall<T> call = solve<Gees<T>>(SchurCall<T>('N', selector<T>(is_large), scaled));
  expect_order(call, is_large);
  EXPECT_EQ(call.sdim, 3);
}

/// A pair whose small element underflows on the way back is two real eigenvalues.
TYPED_TEST(GeneralSchur, SplitPairsThatUnderflow) {
  using T = TypeParam;
  using R = Real<T>;
  if constexpr (RealScalar<T>) {
    const int tiny = -std::numeric_limits<R>::digits - 10;
    for (const bool lower_is_small : {false, true}) {
      SCOPED_TRACE(lower_is_small);
      // A Schur form with a pair in the middle.
      const Int n = 4;
      GuardedMatrix<T> A(n, n, n);
      for (Int j = 1; j <= n; ++j) std::fill_n(&A(1, j), n, T(0));
      A(1, 1) = 3;
      A(1, 2) = R(0.5);
      A(1, 3) = R(0.25);
      A(1, 4) = 1;
      A(2, 3) = lower_is_small ? R(1) : -std::ldexp(R(1), tiny);
      A(3, 2) = lower_is_small ? -std::ldexp(R(1), tiny) : R(1);
      A(2, 4) = R(0.75);
      A(3, 4) = R(0.375);
      A(4, 4) = -3;
      A.seal();
      const SchurCall<T> call = solve<Gees<T>>(SchurCall<T>('V', times_power_of_two(A, least_exponent<R>)));
      ASSERT_EQ(call.info, 0);
      for (Int i = 1; i <= n; ++i) EXPECT_EQ(call.wi(i), 0);
      GuardedMatrix<T> S = times_power_of_two(call.A, -least_exponent<R>);
      EXPECT_TRUE(is_schur_form(S));
      EXPECT_LT(schur_residual<T>(wide(A), wide(call.VS), wide(S)), threshold);
    }
  }
}

// --------------------------------------------------------------------------------------------------------- conditions

TYPED_TEST(GeneralSchur, GiveConditionNumbersByTheirDefinition) {
  using T = TypeParam;
  for (const Int n : {2, 5, 8}) {
    SCOPED_TRACE(n);
    const GuardedMatrix<T> A = this->matrix(n);
    const SchurCall<T> both = solve<Geesx<T>>(SchurCall<T>('V', selector<T>(in_left_half), A, 'B'));
    const Int m = both.sdim;
    if (m == 0 || m == n) continue;
    const WideMatrix<T> S = wide(both.A), S11 = S.topLeftCorner(m, m), S22 = S.bottomRightCorner(n - m, n - m);
    const WideMatrix<T> inverted = inverse<T>(sylvester_operator<T>(S11, S22, -1));
    WideMatrix<T> coupling = S.topRightCorner(m, n - m);
    coupling.resize(m * (n - m), 1);
    const double size = double((inverted * coupling).norm());
    EXPECT_NEAR(double(both.rconde), 1 / std::sqrt(1 + size * size), 1000 * epsilon<T>);
    const double separation = 1 / one_norm<T>(inverted);
    EXPECT_GT(both.rcondv / separation, 0.99);
    EXPECT_LT(both.rcondv / separation, 3);
    // One by one.
    const SchurCall<T> values = solve<Geesx<T>>(SchurCall<T>('V', selector<T>(in_left_half), A, 'E'));
    EXPECT_EQ(values.rconde, both.rconde);
    EXPECT_EQ(values.rcondv, 99);
    const SchurCall<T> space = solve<Geesx<T>>(SchurCall<T>('V', selector<T>(in_left_half), A, 'V'));
    EXPECT_EQ(space.rconde, 99);
    EXPECT_EQ(space.rcondv, both.rcondv);
  }
}

TYPED_TEST(GeneralSchur, ConditionNumbersOfNothingAndOfAll) {
  using T = TypeParam;
  const Int n = 6;
  const GuardedMatrix<T> A = this->matrix(n);
  for (const Selector<T> select : {selector<T>(never), selector<T>(always)}) {
    const SchurCall<T> call = solve<Geesx<T>>(SchurCall<T>('V', select, A, 'B'));
    ASSERT_EQ(call.info, 0);
    EXPECT_EQ(call.rconde, 1);
    EXPECT_NEAR(double(call.rcondv) / one_norm<T>(wide(call.A)), 1, 10 * epsilon<T>);
  }
}

}  // namespace
}  // namespace nuv::test
