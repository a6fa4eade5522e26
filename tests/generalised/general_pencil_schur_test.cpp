// Generalised Schur forms of pencils of general matrices by gges, ggesx and gegs, eigenvalues that are selected in
// front.

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <limits>
#include <vector>

#include "generalised/pencil_calls.hpp"
#include "support/described_matrices.hpp"
#include "support/real_precisions.hpp"
#include "support/reported_errors.hpp"

namespace nuv::test {
namespace {

template <class T>
class GeneralPencilSchur : public ReportingTest {
 protected:
  Random random{831};

  Pencil<T> pencil(Int n) { return random_pencil<T>(random, n, std::max(1, n) + random.integer(0, 2)); }
};
TYPED_TEST_SUITE(GeneralPencilSchur, Precisions, PrecisionLetter);

template <class T>
class RealGeneralPencilSchur : public GeneralPencilSchur<T> {};
TYPED_TEST_SUITE(RealGeneralPencilSchur, RealPrecisions, PrecisionLetter);

constexpr auto never = [](const PencilValue&) { return false; };
constexpr auto always = [](const PencilValue&) { return true; };
constexpr auto in_left_half = [](const PencilValue& value) { return value.alpha.real() < 0; };
constexpr auto in_upper_half = [](const PencilValue& value) { return value.alpha.imag() > 0; };

template <Scalar T>
void expect_same_form(const PencilSchurCall<T>& call, const PencilSchurCall<T>& other) {
  EXPECT_TRUE(call.A.same_as(other.A));
  EXPECT_TRUE(call.B.same_as(other.B));
  EXPECT_TRUE(same_values(call, other));
  EXPECT_EQ(call.sdim, other.sdim);
}

/// Whether predicate selects eigenvalue i of a call, or the other one of its pair.
template <Scalar T, class Predicate>
bool is_selected(const std::vector<PencilValue>& values, Int i, Predicate predicate) {
  PencilValue value = values[std::size_t(i - 1)];
  if (predicate(value)) return true;
  value.alpha = std::conj(value.alpha);
  return RealScalar<T> && predicate(value);
}

template <Scalar T, class Predicate>
void expect_order(const PencilSchurCall<T>& call, Predicate predicate) {
  ASSERT_EQ(call.info, 0);
  const std::vector<PencilValue> values = call.values();
  for (Int i = 1; i <= call.n; ++i) EXPECT_EQ(is_selected<T>(values, i, predicate), i <= call.sdim) << i;
}

TYPED_TEST(GeneralPencilSchur, FindTheFormAtEverySize) {
  using T = TypeParam;
  for (Int n = 0; n <= 12; ++n) {
    SCOPED_TRACE(n);
    const Pencil<T> pencil = this->pencil(n);
    const PencilSchurCall<T> simple = solve<Gges<T>>(PencilSchurCall<T>('v', 'V', pencil));
    ASSERT_EQ(simple.info, 0);
    EXPECT_EQ(simple.sdim, 0);
    expect_schur_form(pencil, simple);
    for (const auto& [left, right] :
         {std::pair('V', 'V'), std::pair('V', 'n'), std::pair('N', 'v'), std::pair('N', 'N')}) {
      const PencilSchurCall<T> call(left, right, pencil);
      for (const PencilSchurCall<T>& other : {solve<Gges<T>>(call), solve<Ggesx<T>>(call)}) {
        expect_same_form(other, simple);
        EXPECT_TRUE(left == 'N' || other.VL.same_as(simple.VL));
        EXPECT_TRUE(!other.wants_right() || other.VR.same_as(simple.VR));
      }
      const PencilSchurCall<T> older = solve<Gegs<T>>(call);
      EXPECT_TRUE(older.A.same_as(simple.A) && older.B.same_as(simple.B) && same_values(older, simple));
      EXPECT_TRUE(left == 'N' || older.VL.same_as(simple.VL));
      EXPECT_TRUE(!older.wants_right() || older.VR.same_as(simple.VR));
    }
    expect_schur_form(pencil, solve<Gges<T>>(PencilSchurCall<T>('V', 'V', pencil), Room::least));
    expect_schur_form(pencil, solve<Ggesx<T>>(PencilSchurCall<T>('V', 'V', pencil), Room::least));
    expect_schur_form(pencil, solve<Gegs<T>>(PencilSchurCall<T>('V', 'V', pencil), Room::least));
  }
}

TYPED_TEST(GeneralPencilSchur, FindTheFormOfLargerPencils) {
  using T = TypeParam;
  for (const Int n : {60, 150}) {
    SCOPED_TRACE(n);
    const Pencil<T> pencil = this->pencil(n);
    const PencilSchurCall<T> call = solve<Gges<T>>(PencilSchurCall<T>(pencil_selector<T>(in_left_half), pencil),
                                                   n == 60 ? Room::least : Room::best);
    expect_schur_form(pencil, call);
    expect_order(call, in_left_half);
    EXPECT_TRUE(call.sdim > 0 && call.sdim < n);
  }
}

/// What balancing isolates stands in its place.
TYPED_TEST(GeneralPencilSchur, FindTheFormWhereEigenvaluesAreIsolated) {
  using T = TypeParam;
  for (const Int n : {2, 3, 5, 9}) {
    SCOPED_TRACE(n);
    const Pencil<T> pencil = pencil_with_isolated_ends<T>(this->random, n);
    const PencilSchurCall<T> call = solve<Gges<T>>(PencilSchurCall<T>('V', 'V', pencil));
    ASSERT_EQ(call.info, 0);
    expect_schur_form(pencil, call);
    EXPECT_EQ(call.alpha(1), T(7));
    EXPECT_EQ(call.beta(1), T(2));
    EXPECT_EQ(call.alpha(n), T(5));
    EXPECT_EQ(call.beta(n), T(4));
  }
}

TYPED_TEST(GeneralPencilSchur, FindTheFormWhereIsolatedEigenvaluesAreHidden) {
  using T = TypeParam;
  for (const Int n : {2, 3, 5, 9}) {
    SCOPED_TRACE(n);
    const Pencil<T> pencil = pencil_with_hidden_ends<T>(this->random, n);
    const PencilSchurCall<T> call('V', 'V', pencil);
    for (const PencilSchurCall<T>& solved : {solve<Gges<T>>(call), solve<Ggesx<T>>(call), solve<Gegs<T>>(call)}) {
      ASSERT_EQ(solved.info, 0);
      expect_schur_form(pencil, solved);
    }
  }
}

TYPED_TEST(GeneralPencilSchur, FindTheSpectrumThatAPencilWasMadeOf) {
  using T = TypeParam;
  const std::vector<PencilValue> values{{1, 1}, {-2, 1},   {{3, 1}, 2},  {{3, -1}, 2}, {-1, 0},
                                        {0, 1}, {5, 0.01}, {{-1, 4}, 1}, {{-1, -4}, 1}};
  const Pencil<T> pencil = pencil_with_values<T>(this->random, values, Int(values.size()) + 1);
  const PencilSchurCall<T> call = solve<Gges<T>>(PencilSchurCall<T>(pencil_selector<T>(in_left_half), pencil));
  expect_order(call, in_left_half);
  expect_schur_form(pencil, call);
  EXPECT_LT(spectrum_distance(call.values(), values), 1000 * double(epsilon<T>));
}

TYPED_TEST(GeneralPencilSchur, BringWhatIsSelectedInFront) {
  using T = TypeParam;
  for (const Int n : {1, 2, 3, 6, 11}) {
    SCOPED_TRACE(n);
    const Pencil<T> pencil = this->pencil(n);
    const auto expect = [&](auto predicate) {
      const PencilSelector<T> select = pencil_selector<T>(predicate);
      const PencilSchurCall<T> sorted = solve<Gges<T>>(PencilSchurCall<T>(select, pencil));
      expect_schur_form(pencil, sorted);
      expect_order(sorted, predicate);
      for (const char sense : {'n', 'E', 'v', 'B'}) {
        expect_same_form(solve<Ggesx<T>>(PencilSchurCall<T>(select, pencil, sense)), sorted);
      }
      // Without vectors, on the way by which they would come with them.
      PencilSchurCall<T> form_alone('N', 'n', pencil);
      form_alone.sort = 's';
      form_alone.selctg = select;
      expect_same_form(solve<Gges<T>>(form_alone), sorted);
      expect_same_form(solve<Ggesx<T>>(form_alone), sorted);
      return sorted;
    };
    expect(in_left_half);
    expect(in_upper_half);
    EXPECT_EQ(expect(never).sdim, 0);
    EXPECT_EQ(expect(always).sdim, n);
  }
}

TYPED_TEST(GeneralPencilSchur, TakeTheLowestBitForTheTruth) {
  using T = TypeParam;
  const Pencil<T> pencil = this->pencil(6);
  const auto two_or_three = pencil_selector<T>([](const PencilValue& x) { return x.alpha.real() < 0 ? 3 : 2; });
  const PencilSchurCall<T> call = solve<Gges<T>>(PencilSchurCall<T>(two_or_three, pencil));
  expect_order(call, in_left_half);
  expect_same_form(call, solve<Gges<T>>(PencilSchurCall<T>(pencil_selector<T>(in_left_half), pencil)));
}

/// Without sort nobody calls it.
TYPED_TEST(GeneralPencilSchur, DoNotCallTheFunctionInVain) {
  using T = TypeParam;
  const PencilSchurCall<T> call('V', 'V', this->pencil(5));
  ASSERT_EQ(call.selctg, nullptr);
  EXPECT_EQ(solve<Ggesx<T>>(call).info, 0);
  const PencilSchurCall<T> solved = solve<Gges<T>>(call);
  EXPECT_EQ(solved.info, 0);
  EXPECT_TRUE(solved.bwork.unchanged());
}

// -------------------------------------------------------------------------------------------------------------- codes

Int calls = 0, changes_after = 0;

/// Of the left half, and of the right one after some calls.
constexpr auto changing = [](const PencilValue& x) { return (x.alpha.real() < 0) == (++calls <= changes_after); };

TYPED_TEST(GeneralPencilSchur, TellThatTheFunctionHasChanged) {
  using T = TypeParam;
  const Int n = 7;
  const Pencil<T> pencil = this->pencil(n);
  for (const char sense : {'N', 'B'}) {
    const auto solved = [&](Int after) {
      calls = 0;
      changes_after = after;
      const PencilSchurCall<T> call(pencil_selector<T>(changing), pencil, sense);
      return sense == 'N' ? solve<Gges<T>>(call) : solve<Ggesx<T>>(call);
    };
    const PencilSchurCall<T> steady = solved(1000);
    expect_order(steady, in_left_half);
    ASSERT_GT(steady.sdim, 0);
    ASSERT_LT(steady.sdim, n);
    EXPECT_EQ(calls, 2 * n);
    const PencilSchurCall<T> changed = solved(n);
    EXPECT_EQ(changed.info, n + 2);
    EXPECT_EQ(changed.sdim, n - steady.sdim);
    EXPECT_TRUE(changed.A.same_as(steady.A));
    expect_schur_form(pencil, changed);
    // The last one alone.
    EXPECT_EQ(solved(2 * n - 1).info, n + 2);
  }
}

/// What the function saw first of all values.
std::vector<PencilValue> seen;

/// One eigenvalue, to the last bit: rounding moves it where it is moved.
constexpr auto is_first_seen_last = [](const PencilValue& x) {
  seen.push_back(x);
  return false;
};
PencilValue chosen;
constexpr auto is_chosen = [](const PencilValue& x) { return x.alpha == chosen.alpha && x.beta == chosen.beta; };

TYPED_TEST(GeneralPencilSchur, TellThatRoundingHasChangedTheAnswer) {
  using T = TypeParam;
  const Int n = 8;
  int changed = 0;
  for (int round = 0; round < 20; ++round) {
    const Pencil<T> pencil = this->pencil(n);
    seen.clear();
    ASSERT_EQ(solve<Gges<T>>(PencilSchurCall<T>(pencil_selector<T>(is_first_seen_last), pencil)).info, 0);
    ASSERT_EQ(seen.size(), std::size_t(2 * n));
    chosen = seen[std::size_t(n - 1)];
    const PencilSchurCall<T> call = solve<Gges<T>>(PencilSchurCall<T>(pencil_selector<T>(is_chosen), pencil));
    if (call.info == 0) continue;
    ++changed;
    EXPECT_EQ(call.info, n + 2);
    EXPECT_EQ(call.sdim, 0);
    expect_schur_form(pencil, call);
  }
  EXPECT_GT(changed, 10);
}

/// The last two of four, and later all.
Int asked = 0;
constexpr auto second_pair = [](const PencilValue&) { return ++asked > 2; };

/// Two pairs far from normal, which are close, but so that the iteration does not take the smaller element of a block
/// for zero; with anything between them.
template <RealScalar R>
Pencil<R> close_pencil_pairs(Random& random) {
  const int relief = random.integer(0, 3), coupling = random.integer(0, std::numeric_limits<R>::digits);
  Pencil<R> pencil{close_pairs<R>(random), identity_matrix<R>(4, 4)};
  for (const Int j : {1, 3}) {
    pencil.A(j, j + 1) = std::ldexp(pencil.A(j, j + 1), -relief);
    pencil.A(j + 1, j) = std::ldexp(pencil.A(j + 1, j), relief);
  }
  for (const Int j : {3, 4}) {
    for (const Int i : {1, 2}) pencil.A(i, j) = std::ldexp(pencil.A(i, j), coupling);
  }
  pencil.A.seal();
  return pencil;
}

TYPED_TEST(RealGeneralPencilSchur, TellOfPairsThatAreTooCloseToBeMoved) {
  using R = TypeParam;
  const Int n = 4;
  int rejected = 0;
  for (int round = 0; round < 1000; ++round) {
    const Pencil<R> pencil = close_pencil_pairs<R>(this->random);
    const PencilSchurCall<R> call(pencil_selector<R>(second_pair), pencil, 'B');
    asked = 0;
    const PencilSchurCall<R> expert = solve<Ggesx<R>>(call);
    if (expert.info != n + 3) continue;
    ++rejected;
    // Asked again, the function takes all.
    EXPECT_EQ(expert.sdim, n);
    EXPECT_EQ(asked, 2 * n);
    for (const Int k : {1, 2}) {
      EXPECT_EQ(expert.rconde(k), 0);
      EXPECT_EQ(expert.rcondv(k), 0);
    }
    expect_schur_form(pencil, expert);
    asked = 0;
    const PencilSchurCall<R> simple = solve<Gges<R>>(call);
    EXPECT_EQ(simple.info, n + 3);
    expect_same_form(simple, expert);
  }
  EXPECT_GT(rejected, 5);
}

/// NaN is no eigenvalue.
TYPED_TEST(GeneralPencilSchur, TellOfAFailedIteration) {
  using T = TypeParam;
  const Int n = 6;
  for (const bool in_b : {false, true}) {
    Pencil<T> pencil = pencil_with_isolated_ends<T>(this->random, n);
    GuardedMatrix<T>& spoilt = in_b ? pencil.B : pencil.A;
    spoilt(3, 3) = T(std::numeric_limits<Real<T>>::quiet_NaN());
    spoilt.seal();
    // Beside a B that is no numbers A is scaled all the same, and scaled back.
    const int exponent = in_b ? std::numeric_limits<Real<T>>::max_exponent - 6 : 0;
    scale_by_power(pencil.A, exponent);
    const PencilSchurCall<T> call(pencil_selector<T>(always), pencil, 'B');
    for (const PencilSchurCall<T>& solved : {solve<Gges<T>>(call), solve<Ggesx<T>>(call), solve<Gegs<T>>(call)}) {
      EXPECT_EQ(solved.info, n + 1);
      EXPECT_TRUE(solved.bwork.unchanged());
      EXPECT_NEAR(double(std::ldexp(std::real(solved.alpha(n)), -exponent)), 5, 20 * epsilon<T>);
      EXPECT_EQ(solved.beta(n), T(4));
    }
    EXPECT_EQ(solve<Gges<T>>(call).sdim, 0);
  }
}

// ------------------------------------------------------------------------------------------------- special eigenvalues

template <Scalar T>
std::array<PencilSchurCall<T>, 3> solve_by_each(const Pencil<T>& pencil) {
  const PencilSchurCall<T> call('V', 'V', pencil);
  return {solve<Gges<T>>(call), solve<Gegs<T>>(call), solve<Ggesx<T>>(call)};
}

/// Beside the power of two by which B was multiplied.
int exponent_of_b = 0;
constexpr auto is_infinite = [](const PencilValue& x) {
  return std::abs(x.alpha) > 1000 * std::ldexp(x.beta, -exponent_of_b);
};

/// As many eigenvalues are infinite, up to rounding, as B has zeros for singular values.
template <Scalar T>
void expect_infinite(Int count, const PencilSchurCall<T>& call) {
  Int infinite = 0;
  for (const PencilValue& value : call.values()) {
    const PencilValue plain{value.alpha, std::ldexp(value.beta, -exponent_of_b)};
    infinite += chordal_distance(plain, {1, 0}) < 1000 * double(epsilon<T>);
  }
  EXPECT_EQ(infinite, count);
}

/// Where B is scaled and scaled back, too. One at least is infinite to the last bit, and all of them can be selected.
TYPED_TEST(GeneralPencilSchur, FindInfiniteEigenvalues) {
  using T = TypeParam;
  const int large = std::numeric_limits<Real<T>>::max_exponent - 6;
  for (const auto& [n, rank] : {std::pair(1, 0), {2, 0}, {2, 1}, {5, 0}, {5, 2}, {5, 4}, {9, 0}, {9, 4}, {9, 8}}) {
    const Pencil<T> pencil = pencil_with_infinities<T>(this->random, n, rank, n + 1);
    for (const int exponent : {0, large}) {
      SCOPED_TRACE(testing::Message() << n << ", rank " << rank << ", B times 2^" << exponent);
      Pencil<T> multiplied = pencil;
      scale_by_power(multiplied.B, exponent);
      exponent_of_b = exponent;
      for (const PencilSchurCall<T>& call : solve_by_each(multiplied)) {
        ASSERT_EQ(call.info, 0);
        expect_schur_form(multiplied, call);
        expect_infinite(n - rank, call);
        const std::vector<PencilValue> values = call.values();
        EXPECT_GE(std::ranges::count(values, 0.0, &PencilValue::beta), rank == 0 ? n : 1);
      }
      const auto sorted = solve<Ggesx<T>>(PencilSchurCall<T>(pencil_selector<T>(is_infinite), multiplied, 'B'));
      expect_schur_form(multiplied, sorted);
      expect_order(sorted, is_infinite);
      expect_infinite(n - rank, sorted);
      EXPECT_EQ(sorted.sdim, n - rank);
      for (const Int k : {1, 2}) EXPECT_TRUE(sorted.rconde(k) > 0 && sorted.rconde(k) <= 1 && sorted.rcondv(k) > 0);
    }
  }
}

TYPED_TEST(GeneralPencilSchur, OfZeroMatrices) {
  using T = TypeParam;
  for (const Int n : {1, 3, 6}) {
    for (const bool a_is_zero : {true, false}) {
      for (const bool b_is_zero : {true, false}) {
        SCOPED_TRACE(testing::Message() << n << ' ' << a_is_zero << b_is_zero);
        Pencil<T> pencil = this->pencil(n);
        for (auto [matrix, is_zero] : {std::pair(&pencil.A, a_is_zero), std::pair(&pencil.B, b_is_zero)}) {
          for (Int j = 1; is_zero && j <= n; ++j) std::fill_n(&(*matrix)(1, j), n, T(0));
          matrix->seal();
        }
        for (const PencilSchurCall<T>& call : solve_by_each(pencil)) {
          ASSERT_EQ(call.info, 0);
          expect_schur_form(pencil, call);
          for (const PencilValue& value : call.values()) {
            EXPECT_EQ(value.alpha == 0.0, a_is_zero);
            EXPECT_EQ(value.beta == 0, b_is_zero);
          }
        }
      }
    }
  }
}

/// The forms of a singular pencil are there, too.
TYPED_TEST(GeneralPencilSchur, EndForSingularPencils) {
  using T = TypeParam;
  for (const Int n : {2, 3, 6, 10}) {
    SCOPED_TRACE(n);
    const Pencil<T> pencil = singular_pencil<T>(this->random, n, n);
    const PencilSchurCall<T> call(pencil_selector<T>(in_left_half), pencil, 'B');
    for (const PencilSchurCall<T>& solved : {solve<Gges<T>>(call), solve<Ggesx<T>>(call)}) {
      EXPECT_TRUE(solved.info == 0 || solved.info == n + 2 || solved.info == n + 3) << solved.info;
      expect_schur_form(pencil, solved);
    }
    const PencilSchurCall<T> older = solve<Gegs<T>>(call);
    EXPECT_EQ(older.info, 0);
    expect_schur_form(pencil, older);
  }
}

/// Each matrix that is hard to compute with beside each other one.
TYPED_TEST(GeneralPencilSchur, OfMatricesThatAreHardToComputeWith) {
  using T = TypeParam;
  const Int n = 8;
  DescribedMatrices described(44);
  std::vector<Description> descriptions(std::begin(matrices_of_full_rank), std::end(matrices_of_full_rank));
  descriptions.insert(descriptions.end(), std::begin(rank_deficient_matrices), std::end(rank_deficient_matrices));
  for (const Description& of_a : descriptions) {
    for (const Description& of_b : descriptions) {
      SCOPED_TRACE(testing::Message() << of_a.name << " and " << of_b.name);
      const Pencil<T> pencil{described.general<T>(of_a, n, n, n), described.general<T>(of_b, n, n, n + 1)};
      const PencilSchurCall<T> call = solve<Gges<T>>(PencilSchurCall<T>('V', 'V', pencil));
      ASSERT_EQ(call.info, 0);
      expect_schur_form(pencil, call);
    }
  }
}

// ------------------------------------------------------------------------------------------------------------ scaling

/// Powers of two by which A and B are multiplied, so that one of them, or both, leave the range of squares.
template <RealScalar R>
std::vector<std::pair<int, int>> extreme_exponents() {
  // Away from the end, where elements lose digits.
  const int large = std::numeric_limits<R>::max_exponent - 6, small = std::numeric_limits<R>::min_exponent + 30;
  return {{large, 0},     {small, 0},     {0, large},     {0, small},
          {large, small}, {small, large}, {large, large}, {small, small}};
}

template <Scalar T>
Pencil<T> scaled_pencil(Pencil<T> pencil, std::pair<int, int> exponents) {
  scale_by_power(pencil.A, exponents.first);
  scale_by_power(pencil.B, exponents.second);
  return pencil;
}

TYPED_TEST(GeneralPencilSchur, ScaleVeryLargeAndVerySmallPencils) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 8;
  const Pencil<T> pencil = this->pencil(n);
  const PencilSchurCall<T> plain = solve<Gges<T>>(PencilSchurCall<T>(pencil_selector<T>(in_left_half), pencil));
  ASSERT_EQ(plain.info, 0);
  const PencilSchurCall<T> conditions =
      solve<Ggesx<T>>(PencilSchurCall<T>(pencil_selector<T>(in_left_half), pencil, 'B'));
  for (const auto& exponents : extreme_exponents<R>()) {
    SCOPED_TRACE(testing::Message() << exponents.first << ", " << exponents.second);
    const Pencil<T> extreme = scaled_pencil(pencil, exponents);
    for (const char sense : {'N', 'B', 'o'}) {
      const PencilSchurCall<T> call(pencil_selector<T>(in_left_half), extreme, sense == 'o' ? 'N' : sense);
      PencilSchurCall<T> solved = sense == 'o'   ? solve<Gegs<T>>(call)
                                  : sense == 'N' ? solve<Gges<T>>(call)
                                                 : solve<Ggesx<T>>(call);
      ASSERT_EQ(solved.info, 0);
      if (sense != 'o') {
        expect_order(solved, in_left_half);
        EXPECT_EQ(solved.sdim, plain.sdim);
      }
      for (Int i = 1; i <= n; ++i) {
        if (RealScalar<T> && solved.alphai(i) != T(0)) continue;
        EXPECT_EQ(solved.alpha(i), solved.A(i, i));
        EXPECT_EQ(solved.beta(i), solved.B(i, i));
      }
      std::vector<PencilValue> values = solved.values();
      for (PencilValue& value : values) {
        value.alpha *= std::ldexp(1.0, -exponents.first / 2);
        value.alpha *= std::ldexp(1.0, -exponents.first + exponents.first / 2);
        value.beta = std::ldexp(value.beta, -exponents.second);
      }
      EXPECT_LT(spectrum_distance(values, plain.values()), 1000 * double(epsilon<T>));
      EXPECT_LT(unitary_residual(solved.VL), pencil_threshold);
      EXPECT_LT(unitary_residual(solved.VR), pencil_threshold);
      EXPECT_LT(pencil_residual(extreme.A, solved.VL, solved.A, solved.VR), pencil_threshold);
      EXPECT_LT(pencil_residual(extreme.B, solved.VL, solved.B, solved.VR), pencil_threshold);
      if (sense == 'B') {
        // Projectors do not depend on the sizes of both matrices.
        for (const Int k : {1, 2}) {
          EXPECT_NEAR(double(solved.rconde(k)), double(conditions.rconde(k)), 10000 * epsilon<T>);
        }
      }
    }
  }
}

/// Eigenvalues change places whatever the ratio of the norms, and each matrix keeps the digits that it has.
TYPED_TEST(GeneralPencilSchur, BringWhatIsSelectedInFrontWhateverTheRatioOfNorms) {
  using T = TypeParam;
  const Int n = 6;
  const bool is_single = std::same_as<Real<T>, float>;
  for (const int exponent : is_single ? std::vector{30, 60, 100} : std::vector{30, 60, 300, 900}) {
    for (const std::pair<int, int>& exponents :
         {std::pair(0, -exponent), {0, exponent}, {-exponent, 0}, {exponent / 2, -exponent / 2}}) {
      for (int round = 0; round < 4; ++round) {
        SCOPED_TRACE(testing::Message() << exponents.first << ", " << exponents.second);
        const Pencil<T> pencil = scaled_pencil(this->pencil(n), exponents);
        const PencilSchurCall<T> call(pencil_selector<T>(in_left_half), pencil);
        for (const PencilSchurCall<T>& solved : {solve<Gges<T>>(call), solve<Ggesx<T>>(call)}) {
          expect_order(solved, in_left_half);
          EXPECT_TRUE(is_pencil_schur_form(solved.A, solved.B));
          EXPECT_LT(unitary_residual(solved.VL), pencil_threshold);
          EXPECT_LT(unitary_residual(solved.VR), pencil_threshold);
          EXPECT_LT(pencil_residual(pencil.A, solved.VL, solved.A, solved.VR), pencil_threshold);
          EXPECT_LT(pencil_residual(pencil.B, solved.VL, solved.B, solved.VR), pencil_threshold);
        }
      }
    }
  }
}

/// The function sees eigenvalues of the pencil as it was given: alpha and beta are of their magnitude.
TYPED_TEST(GeneralPencilSchur, SelectAmongTheEigenvaluesOfTheUnscaledPencil) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 5;
  constexpr int beyond = std::numeric_limits<R>::max_exponent * 5 / 8;
  Pencil<T> pencil = this->pencil(n);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) {
      pencil.A(i, j) = i == j ? T(R(j)) : pencil.A(i, j) / R(100);
      pencil.B(i, j) = i == j ? T(1) : pencil.B(i, j) / R(100);
    }
  }
  for (const bool scale_b : {false, true}) {
    const Pencil<T> scaled = scaled_pencil(pencil, scale_b ? std::pair(0, beyond) : std::pair(beyond, 0));
    const auto is_large = [](const PencilValue& x) { return x.alpha.real() > 2.5 * std::ldexp(x.beta, beyond); };
    const auto is_large_of_b = [](const PencilValue& x) { return std::ldexp(x.alpha.real(), beyond) > 2.5 * x.beta; };
    const auto check = [&](auto predicate) {
      const PencilSchurCall<T> call = solve<Gges<T>>(PencilSchurCall<T>(pencil_selector<T>(predicate), scaled));
      expect_order(call, predicate);
      EXPECT_EQ(call.sdim, 3);
    };
    if (scale_b) check(is_large_of_b);
    else check(is_large);
  }
}

// --------------------------------------------------------------------------------------------------------- conditions

/// The matrix of (X, Y) -> (A1 X - Y A2, B1 X - Y B2).
template <Scalar T>
WideMatrix<T> pair_operator(const WideMatrix<T>& A1, const WideMatrix<T>& A2, const WideMatrix<T>& B1,
                            const WideMatrix<T>& B2) {
  const Eigen::Index m = A1.rows(), n = A2.rows(), mn = m * n;
  WideMatrix<T> Z = WideMatrix<T>::Zero(2 * mn, 2 * mn);
  for (Eigen::Index j = 0; j < n; ++j) {
    Z.block(j * m, j * m, m, m) = A1;
    Z.block(mn + j * m, j * m, m, m) = B1;
    for (Eigen::Index k = 0; k < n; ++k) {
      for (Eigen::Index i = 0; i < m; ++i) {
        Z(j * m + i, mn + k * m + i) = -A2(k, j);
        Z(mn + j * m + i, mn + k * m + i) = -B2(k, j);
      }
    }
  }
  return Z;
}

template <Scalar T>
void expect_estimate(double estimate, const WideMatrix<T>& inverted, const char* what) {
  // The smallest singular value is at most sqrt(order) times this.
  const double least = 1 / double(inverted.norm()), order = double(inverted.rows());
  EXPECT_GT(estimate / least, 0.9) << what;
  EXPECT_LT(estimate / least, 3 * order) << what;
}

TYPED_TEST(GeneralPencilSchur, GiveConditionNumbersByTheirDefinition) {
  using T = TypeParam;
  for (const Int n : {2, 5, 8}) {
    SCOPED_TRACE(n);
    const Pencil<T> pencil = this->pencil(n);
    const PencilSelector<T> select = pencil_selector<T>(in_left_half);
    const PencilSchurCall<T> both = solve<Ggesx<T>>(PencilSchurCall<T>(select, pencil, 'B'));
    const Int m = both.sdim, k = n - m;
    if (m == 0 || k == 0) continue;
    const WideMatrix<T> S = wide(both.A), P = wide(both.B);
    const WideMatrix<T> A1 = S.topLeftCorner(m, m), A2 = S.bottomRightCorner(k, k), B1 = P.topLeftCorner(m, m),
                        B2 = P.bottomRightCorner(k, k);
    const WideMatrix<T> upper = inverse<T>(pair_operator<T>(A1, A2, B1, B2)),
                        lower = inverse<T>(pair_operator<T>(A2, A1, B2, B1));
    WideMatrix<T> coupling(2 * m * k, 1);
    coupling << S.topRightCorner(m, k).reshaped(m * k, 1), P.topRightCorner(m, k).reshaped(m * k, 1);
    const WideMatrix<T> solution = upper * coupling;
    const auto reciprocal = [](double size) { return 1 / std::sqrt(1 + size * size); };
    EXPECT_NEAR(double(both.rconde(1)), reciprocal(double(solution.topRows(m * k).norm())), 10000 * epsilon<T>);
    EXPECT_NEAR(double(both.rconde(2)), reciprocal(double(solution.bottomRows(m * k).norm())), 10000 * epsilon<T>);
    expect_estimate<T>(double(both.rcondv(1)), upper, "Difu");
    expect_estimate<T>(double(both.rcondv(2)), lower, "Difl");
    // One by one.
    const PencilSchurCall<T> values = solve<Ggesx<T>>(PencilSchurCall<T>(select, pencil, 'E'));
    EXPECT_TRUE(values.rconde.same_as(both.rconde));
    EXPECT_TRUE(values.rcondv.unchanged());
    const PencilSchurCall<T> space = solve<Ggesx<T>>(PencilSchurCall<T>(select, pencil, 'V'));
    EXPECT_TRUE(space.rconde.unchanged());
    EXPECT_TRUE(space.rcondv.same_as(both.rcondv));
    const PencilSchurCall<T> none = solve<Ggesx<T>>(PencilSchurCall<T>(select, pencil, 'N'));
    EXPECT_TRUE(none.rconde.unchanged());
    EXPECT_TRUE(none.rcondv.unchanged());
  }
}

TYPED_TEST(GeneralPencilSchur, ConditionNumbersOfNothingAndOfAll) {
  using T = TypeParam;
  const Pencil<T> pencil = this->pencil(6);
  const double size = std::hypot(double(wide(pencil.A).norm()), double(wide(pencil.B).norm()));
  for (const PencilSelector<T> select : {pencil_selector<T>(never), pencil_selector<T>(always)}) {
    const PencilSchurCall<T> call = solve<Ggesx<T>>(PencilSchurCall<T>(select, pencil, 'B'));
    ASSERT_EQ(call.info, 0);
    for (const Int k : {1, 2}) {
      EXPECT_EQ(call.rconde(k), 1);
      EXPECT_NEAR(double(call.rcondv(k)) / size, 1, 100 * epsilon<T>);
    }
  }
}

// -------------------------------------------------------------------------------------------------------------- large

/// One that takes most of a second; the others go the same way.
TEST(LargePencilSchur, IsTheFormOfItsPencil) {
  Random random(835);
  const Int n = 300;
  const Pencil<double> pencil = random_pencil<double>(random, n, n + 1);
  const PencilSchurCall<double> call =
      solve<Gges<double>>(PencilSchurCall<double>(pencil_selector<double>(in_left_half), pencil));
  expect_schur_form(pencil, call);
  expect_order(call, in_left_half);
  EXPECT_TRUE(call.sdim > n / 4 && call.sdim < n - n / 4);
}

}  // namespace
}  // namespace nuv::test
