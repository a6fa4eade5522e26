// Selected eigenvalues of tridiagonal matrices: ?stebz and ?laebz.

#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>

#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"
#include "symmetric/eigen_checks.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

template <RealScalar R>
constexpr R nan = std::numeric_limits<R>::quiet_NaN();
template <RealScalar R>
constexpr R infinity = std::numeric_limits<R>::infinity();

template <RealScalar R>
struct Request {
  char range = 'A', order = 'E';
  R vl = 0, vu = 0;
  Int il = 0, iu = 0;
  R abstol = 0;
};

template <RealScalar R>
struct Found {
  explicit Found(Int n) : w(n), iblock(n), isplit(n) {}

  Int m = -1, nsplit = -1, info = -99;
  GuardedVector<R> w;
  GuardedVector<Int> iblock, isplit;

  std::vector<R> values() const { return {w.data(), w.data() + m}; }
};

template <RealScalar R>
Found<R> find(const Tridiagonal<R>& matrix, const Request<R>& wanted) {
  const Int n = matrix.order();
  Found<R> found(n);
  GuardedVector<R> work(4 * n);
  GuardedVector<Int> iwork(3 * n);
  routine_call::stebz(wanted.range, wanted.order, n, wanted.vl, wanted.vu, wanted.il, wanted.iu, wanted.abstol,
                      matrix.d.data(), matrix.e.data(), found.m, found.nsplit, found.w.data(), found.iblock.data(),
                      found.isplit.data(), work.data(), iwork.data(), found.info);
  EXPECT_TRUE(found.w.unchanged_outside(1, found.m));
  EXPECT_TRUE(found.iblock.unchanged_outside(1, found.m));
  EXPECT_TRUE(found.isplit.unchanged_outside(1, found.nsplit));
  EXPECT_TRUE(work.guards_unchanged());
  EXPECT_TRUE(iwork.guards_unchanged());
  return found;
}

template <RealScalar R>
Found<R> find_indices(const Tridiagonal<R>& matrix, Int il, Int iu) {
  return find(matrix, {.range = 'I', .il = il, .iu = iu});
}

template <RealScalar R>
Found<R> find_between(const Tridiagonal<R>& matrix, R vl, R vu) {
  return find(matrix, {.range = 'V', .vl = vl, .vu = vu});
}

/// Bisection itself doesn't scale: squares of these elements leave the range.
bool needs_scaling(std::string_view name) {
  return name == "of tiny norm" || name == "of huge norm";
}

/// Visits described matrices, with all their values.
template <RealScalar R, class Visit>
void for_each_matrix(Int n, Visit visit) {
  for (const auto& [name, matrix] : described_tridiagonals<R>(n)) {
    if (needs_scaling(name)) continue;
    SCOPED_TRACE(std::string(name) + " of order " + std::to_string(n));
    visit(matrix, wide_values(matrix));
  }
}

template <class R>
class Bisection : public ReportingTest {};
TYPED_TEST_SUITE(Bisection, RealPrecisions, PrecisionLetter);

TYPED_TEST(Bisection, FindsAllValuesToAFewRoundingErrorsOfTheNorm) {
  using R = TypeParam;
  for (const Int n : {1, 2, 3, 21, 64, 150}) {
    for_each_matrix<R>(n, [&](const Tridiagonal<R>& matrix, const auto& exact) {
      const Found<R> found = find(matrix, {});
      EXPECT_EQ(found.info, 0);
      ASSERT_EQ(found.m, n);
      EXPECT_TRUE(std::ranges::is_sorted(found.values()));
      EXPECT_LT(value_error(found.w, n, exact) * n, threshold);
    });
  }
}

TYPED_TEST(Bisection, FindsTheKnownValuesOfALargerMatrix) {
  using R = TypeParam;
  const Int n = 400;
  const Found<R> found = find(one_two_one<R>(n), {});
  ASSERT_EQ(found.m, n);
  for (Int k = 1; k <= n; ++k) {
    const double sine = std::sin(k * std::acos(-1.0) / (2 * n + 2));
    EXPECT_NEAR(double(found.w(k)), 4 * sine * sine, 10 * double(epsilon<R>)) << k;
  }
}

TYPED_TEST(Bisection, OrdersValuesByBlocksOrAltogether) {
  using R = TypeParam;
  for_each_matrix<R>(64, [](const Tridiagonal<R>& matrix, const auto&) {
    const Found<R> together = find<R>(matrix, {.order = 'e'}),
                   by_blocks = find<R>(matrix, {.range = 'a', .order = 'b'});
    ASSERT_EQ(by_blocks.m, 64);
    for (Int k = 1; k < 64; ++k) {
      const Int block = by_blocks.iblock(k), next = by_blocks.iblock(k + 1);
      EXPECT_LE(block, next);
      if (block == next) {
        EXPECT_LE(by_blocks.w(k), by_blocks.w(k + 1));
      }
    }
    std::vector<std::pair<R, Int>> one, other;
    for (Int k = 1; k <= 64; ++k) {
      one.emplace_back(together.w(k), together.iblock(k));
      other.emplace_back(by_blocks.w(k), by_blocks.iblock(k));
    }
    EXPECT_TRUE(std::ranges::is_sorted(together.values()));
    std::ranges::sort(one);
    std::ranges::sort(other);
    EXPECT_EQ(one, other);
  });
}

TYPED_TEST(Bisection, SplitsTheMatrixWhereItIsNegligible) {
  using R = TypeParam;
  const R eps = epsilon<R>;
  const Tridiagonal<R> matrix{{2, 2, 2, 2, 0, 2}, {3 * eps, eps, 2 * eps, 0, eps}};
  const Found<R> found = find(matrix, {});
  ASSERT_EQ(found.nsplit, 4);
  EXPECT_EQ((std::vector<Int>{2, 3, 4, 6}), (std::vector<Int>(found.isplit.data(), found.isplit.data() + 4)));
  // Beside a zero the limit is the least number, not its square.
  const R least = std::numeric_limits<R>::min(), root = std::sqrt(least);
  EXPECT_EQ(find<R>({{0, 1}, {root * R(0.99)}}, {}).nsplit, 2);
  EXPECT_EQ(find<R>({{0, 1}, {root * R(1.01)}}, {}).nsplit, 1);
}

TYPED_TEST(Bisection, FindsValuesByTheirIndices) {
  using R = TypeParam;
  const Int n = 42;
  for_each_matrix<R>(n, [](const Tridiagonal<R>& matrix, const auto& exact) {
    for (const auto& [il, iu] : {std::pair{1, 1}, {1, 2}, {1, n - 1}, {1, n}, {n, n}, {2, n}, {17, 17}, {13, 30}}) {
      SCOPED_TRACE(std::to_string(il) + " to " + std::to_string(iu));
      const Found<R> found = find_indices(matrix, il, iu);
      EXPECT_EQ(found.info, 0);
      ASSERT_EQ(found.m, iu - il + 1);
      EXPECT_LT(value_error(found.w, found.m, exact, il) * n, threshold);
    }
  });
}

TYPED_TEST(Bisection, FindsValuesBetweenLimits) {
  using R = TypeParam;
  using W = WideReal<R>;
  const Int n = 42;
  for_each_matrix<R>(n, [](const Tridiagonal<R>& matrix, const std::vector<W>& exact) {
    const W norm = std::max(std::abs(exact.front()), std::abs(exact.back()));
    // Limits in the middle of gaps, with all values between them at last.
    std::vector<W> limits{exact.front() - 1, exact.back() + 1};
    for (std::size_t k = 0; k + 1 < exact.size(); k += 5) {
      if (exact[k + 1] - exact[k] > 1000 * epsilon<R> * norm) limits.push_back((exact[k] + exact[k + 1]) / 2);
    }
    std::ranges::sort(limits);
    for (std::size_t i = 0; i < limits.size(); ++i) {
      for (std::size_t k = i + 1; k < limits.size(); ++k) {
        const Int below = wide_count(matrix, limits[i]);
        const Found<R> found = find_between(matrix, R(limits[i]), R(limits[k]));
        EXPECT_EQ(found.info, 0);
        ASSERT_EQ(found.m, wide_count(matrix, limits[k]) - below);
        EXPECT_LT(value_error(found.w, found.m, exact, below + 1) * n, threshold);
      }
    }
  });
}

TYPED_TEST(Bisection, LimitsExcludeTheLowerAndIncludeTheUpper) {
  using R = TypeParam;
  using Values = std::vector<R>;
  const Tridiagonal<R> diagonal{{4, 2, 3, 1, 2}, {0, 0, 0, 0}};
  EXPECT_EQ(find_between<R>(diagonal, 2, 4).values(), (Values{3, 4}));
  EXPECT_EQ(find_between<R>(diagonal, 1, 2).values(), (Values{2, 2}));
  EXPECT_EQ(find_between<R>(diagonal, 0, 1).values(), (Values{1}));
  EXPECT_EQ(find_between<R>(diagonal, 4, 9).values(), Values());
  EXPECT_EQ(find_between<R>(diagonal, -9, 0).values(), Values());
  EXPECT_EQ(find_between<R>(diagonal, -infinity<R>, infinity<R>).values(), (Values{1, 2, 2, 3, 4}));
  const Tridiagonal<R> coupled{{0, 0}, {1}};  // the values are -1 and 1
  const auto count = [&](R vl, R vu) { return find_between<R>(coupled, vl, vu).m; };
  EXPECT_EQ(count(-1, 1), 1);
  EXPECT_EQ(count(-2, -1), 1);
  EXPECT_EQ(count(-2, 1), 2);
  EXPECT_EQ(count(1, 2), 0);
  EXPECT_EQ(count(5, 6), 0);
  EXPECT_EQ(count(-6, -5), 0);
}

TYPED_TEST(Bisection, ComparesASingleValueAsItIs) {
  using R = TypeParam;
  using Values = std::vector<R>;
  const Tridiagonal<R> two{{2}, {}}, zero{{0}, {}};
  for (const Found<R>& found : {find<R>(two, {}), find<R>(two, {.order = 'B'}), find_indices<R>(two, 1, 1),
                                find_between<R>(two, 1, 2), find_between<R>(two, 1, 3)}) {
    EXPECT_EQ(found.info, 0);
    EXPECT_EQ(found.values(), Values{2});
    EXPECT_EQ(found.nsplit, 1);
    EXPECT_EQ(found.isplit(1), 1);
    EXPECT_EQ(found.iblock(1), 1);
  }
  EXPECT_EQ(find_between<R>(two, 2, 3).m, 0);
  EXPECT_EQ(find_between<R>(two, 0, 1).m, 0);
  EXPECT_EQ(find_between<R>(zero, -std::numeric_limits<R>::denorm_min(), 0).m, 1);
  EXPECT_EQ(find_between<R>(zero, -1, -std::numeric_limits<R>::denorm_min()).m, 0);
}

TYPED_TEST(Bisection, FindsNothingInAnEmptyMatrix) {
  using R = TypeParam;
  for (const char range : {'A', 'V'}) {
    const Found<R> found = find<R>({}, {.range = range, .vl = 0, .vu = 1});
    EXPECT_EQ(found.info, 0);
    EXPECT_EQ(found.m, 0);
    EXPECT_EQ(found.nsplit, 0);
  }
  EXPECT_EQ(find<R>({}, {.range = 'I', .il = 1, .iu = 0}).info, 0);
}

TYPED_TEST(Bisection, StopsAtTheToleranceThatIsGiven) {
  using R = TypeParam;
  const Tridiagonal<R> matrix = one_two_one<R>(60);
  const auto exact = wide_values(matrix);
  for (const Request<R>& wanted :
       {Request<R>{.abstol = R(0.01)}, Request<R>{.range = 'V', .vl = -1, .vu = 5, .abstol = R(0.01)}}) {
    const Found<R> found = find(matrix, wanted);
    ASSERT_EQ(found.m, 60);
    double largest = 0;
    for (Int k = 1; k <= 60; ++k) {
      largest = std::max(largest, double(std::abs(found.w(k) - exact[std::size_t(k - 1)])));
    }
    EXPECT_LT(largest, 0.005 + 10 * double(epsilon<R>));
    EXPECT_GT(largest, 0.0005);
  }
  const Found<R> chosen = find<R>(matrix, {.range = 'I', .il = 10, .iu = 12, .abstol = R(0.01)});
  ASSERT_EQ(chosen.m, 3);
  for (Int k = 1; k <= 3; ++k) EXPECT_NEAR(double(chosen.w(k)), double(exact[std::size_t(k + 8)]), 0.011);
}

/// With a small tolerance, tiny values of a graded matrix are known to all their digits.
TYPED_TEST(Bisection, FindsTinyValuesToHighRelativeAccuracy) {
  using R = TypeParam;
  Tridiagonal<R> matrix;
  for (Int i = 0; i < 20; ++i) matrix.d.push_back(std::ldexp(R(1), -2 * i));
  for (Int i = 0; i < 19; ++i) matrix.e.push_back(std::ldexp(R(1), -2 * i - 4));
  const auto exact = wide_values(matrix);
  const Found<R> found = find<R>(matrix, {.abstol = 2 * std::numeric_limits<R>::min()});
  ASSERT_EQ(found.m, 20);
  for (Int k = 1; k <= 20; ++k) {
    EXPECT_NEAR(double(found.w(k) / exact[std::size_t(k - 1)]), 1, 20 * double(epsilon<R>)) << k;
  }
}

TYPED_TEST(Bisection, GivesNaNForBlocksThatAreNotFinite) {
  using R = TypeParam;
  for (const R bad : {nan<R>, infinity<R>, -infinity<R>}) {
    for (const bool beside : {false, true}) {
      Tridiagonal<R> matrix{{1, 2, 5, 6, 7}, {1, 0, 1, 1}};
      (beside ? matrix.e[2] : matrix.d[3]) = bad;
      SCOPED_TRACE(std::to_string(bad) + (beside ? " beside" : " on the diagonal"));
      const Found<R> found = find<R>(matrix, {.order = 'B'});
      EXPECT_EQ(found.info, 1);
      ASSERT_EQ(found.m, 5);
      for (Int k = 3; k <= 5; ++k) {
        EXPECT_TRUE(std::isnan(found.w(k)));
        EXPECT_EQ(found.iblock(k), -2);
      }
      if (!beside || std::isnan(bad)) {  // what overflows blurs all pivots
        EXPECT_EQ(found.iblock(1), 1);
        EXPECT_NEAR(double(found.w(1)), (3 - std::sqrt(5.0)) / 2, 10 * double(epsilon<R>));
        EXPECT_NEAR(double(found.w(2)), (3 + std::sqrt(5.0)) / 2, 10 * double(epsilon<R>));
      }
      const Found<R> chosen = find_indices(matrix, 2, 3);
      EXPECT_EQ(chosen.info, 4);
      EXPECT_EQ(chosen.m, 0);
      EXPECT_EQ(find_between<R>(matrix, 0, 10).info, 1);
    }
  }
  const Found<R> single = find_between<R>({{nan<R>}, {}}, 0, 1);
  ASSERT_EQ(single.m, 1);
  EXPECT_TRUE(std::isnan(single.w(1)));
}

template <RealScalar R>
struct StebzCall {
  char range = 'V', order = 'E';
  Int n = 3, il = 1, iu = 3;
  R vl = 0, vu = 10;
  GuardedVector<R> w{3};
  GuardedVector<Int> iblock{3}, isplit{3};

  Int run() {
    const R d[] = {1, 2, 3}, e[] = {1, 1};
    R work[12];
    Int iwork[9];
    Int m = 0, nsplit = 0, info = 99;
    routine_call::stebz(range, order, n, vl, vu, il, iu, R(0), d, e, m, nsplit, w.data(), iblock.data(), isplit.data(),
                        work, iwork, info);
    return info;
  }
  testing::AssertionResult unchanged() const {
    if (!iblock.unchanged()) return iblock.unchanged();
    return isplit.unchanged() ? w.unchanged() : isplit.unchanged();
  }
};

template <RealScalar R>
struct StebzByIndices : StebzCall<R> {
  StebzByIndices() { this->range = 'i'; }
};

TYPED_TEST(Bisection, ChecksItsArguments) {
  using R = TypeParam;
  const std::string name = reported_name<R>("STEBZ");
  expect_argument_checks<StebzCall<R>>(name, {{1, [](auto& c) { c.range = 'X'; }},
                                              {2, [](auto& c) { c.order = 'A'; }},
                                              {3, [](auto& c) { c.n = -1; }},
                                              {5, [](auto& c) { c.vl = c.vu; }},
                                              {5, [](auto& c) { c.vl = c.vu + 1; }}});
  expect_argument_checks<StebzByIndices<R>>(name, {{1, [](auto& c) { c.range = 'X'; }},
                                                   {2, [](auto& c) { c.order = 'A'; }},
                                                   {3, [](auto& c) { c.n = -1; }},
                                                   {6, [](auto& c) { c.il = 0; }},
                                                   {6, [](auto& c) { c.il = 4; }},
                                                   {7, [](auto& c) { c.iu = 4; }},
                                                   {7, [](auto& c) { c.iu = 0; }}});
}

/// Intervals for laebz, and what becomes of them.
template <RealScalar R>
struct Intervals {
  Intervals(Int room, const std::vector<std::pair<R, R>>& ends)
      : ab(room, 2, room), nab(room, 2, room), c(room), nval(room), given(Int(ends.size())) {
    for (Int i = 1; i <= given; ++i) {
      ab(i, 1) = ends[std::size_t(i - 1)].first;
      ab(i, 2) = ends[std::size_t(i - 1)].second;
    }
  }

  void run(const Tridiagonal<R>& matrix, Int ijob, Int nitmax) {
    std::vector<R> e2;
    R pivmin = 1;
    for (const R e : matrix.e) {
      e2.push_back(e * e);
      pivmin = std::max(pivmin, e * e);
    }
    pivmin *= std::numeric_limits<R>::min();
    const Int room = ab.rows();
    std::vector<R> work(std::size_t(room), 0);
    std::vector<Int> iwork(std::size_t(room), 0);
    routine_call::laebz(ijob, nitmax, matrix.order(), room, given, Int(0), R(0), 2 * epsilon<R>, pivmin,
                        matrix.d.data(), matrix.e.data(), e2.data(), nval.data(), ab.data(), c.data(), mout, nab.data(),
                        work.data(), iwork.data(), info);
    EXPECT_TRUE(ab.guards_unchanged());
    EXPECT_TRUE(nab.guards_unchanged());
  }

  GuardedMatrix<R> ab;
  GuardedMatrix<Int> nab;
  GuardedVector<R> c;
  GuardedVector<Int> nval;
  Int given, mout = -1, info = -99;
};

TYPED_TEST(Bisection, CountsTheValuesBelowPoints) {
  using R = TypeParam;
  const Tridiagonal<R> matrix = random_tridiagonal<R>(50);
  Random random(3);
  std::vector<std::pair<R, R>> ends;
  for (int i = 0; i < 20; ++i) {
    const R x = R(2 * random.real());
    ends.emplace_back(x, x + R(1));
  }
  Intervals<R> intervals(25, ends);
  intervals.run(matrix, 1, 0);
  EXPECT_EQ(intervals.info, 0);
  Int all = 0;
  for (Int i = 1; i <= 20; ++i) {
    for (Int side = 1; side <= 2; ++side)
      EXPECT_EQ(intervals.nab(i, side), wide_count<R>(matrix, intervals.ab(i, side)));
    all += intervals.nab(i, 2) - intervals.nab(i, 1);
  }
  EXPECT_EQ(intervals.mout, all);
}

/// Any number of intervals at a time gives the same ends: the counts of several go side by side.
TYPED_TEST(Bisection, NarrowsManyIntervalsAsItDoesEach) {
  using R = TypeParam;
  const Tridiagonal<R> matrix = random_tridiagonal<R>(50);
  for (const Int count : {1, 2, 3, 4, 5, 8, 9, 16, 17, 33}) {
    std::vector<std::pair<R, R>> ends, narrowed, one_by_one;
    for (Int i = 0; i < count; ++i) ends.emplace_back(R(4 * i) / R(count) - 2, R(4 * i + 4) / R(count) - 2);
    const auto narrow = [&](const auto& given, auto& result) {
      Intervals<R> intervals(50, given);
      intervals.run(matrix, 1, 0);
      intervals.run(matrix, 2, 100);
      EXPECT_EQ(intervals.info, 0);
      for (Int i = 1; i <= intervals.mout; ++i) {
        EXPECT_LE(intervals.nab(i, 2) - intervals.nab(i, 1), 1);
        if (intervals.nab(i, 2) > intervals.nab(i, 1)) result.emplace_back(intervals.ab(i, 1), intervals.ab(i, 2));
      }
    };
    narrow(ends, narrowed);
    for (const auto& each : ends) narrow(std::vector{each}, one_by_one);
    std::ranges::sort(narrowed);
    std::ranges::sort(one_by_one);
    EXPECT_EQ(narrowed, one_by_one) << count;
  }
}

TYPED_TEST(Bisection, MovesConvergedIntervalsToTheFront) {
  using R = TypeParam;
  const Tridiagonal<R> matrix = one_two_one<R>(9);
  Intervals<R> intervals(20, {{0, 4}});
  intervals.run(matrix, 1, 0);
  intervals.run(matrix, 2, 6);
  EXPECT_EQ(intervals.info, intervals.mout);
  EXPECT_EQ(intervals.mout, 9);
  // The value 2 is a point where an interval was cut, and the first to be known.
  Intervals<R> later = intervals;
  later.given = intervals.mout;
  const Int half = std::numeric_limits<R>::digits - 8;
  later.run(matrix, 2, half);
  ASSERT_GT(later.info, 0);
  ASSERT_LT(later.info, later.mout);
  for (Int i = 1; i <= later.mout; ++i) {
    const R width = later.ab(i, 2) - later.ab(i, 1),
            size = std::max(std::abs(later.ab(i, 1)), std::abs(later.ab(i, 2)));
    EXPECT_EQ(width < 2 * epsilon<R> * size, i <= later.mout - later.info) << i;
    for (Int side = 1; side <= 2; ++side) EXPECT_EQ(later.nab(i, side), wide_count<R>(matrix, later.ab(i, side)));
  }
}

TYPED_TEST(Bisection, TellsThatThereIsNoRoom) {
  using R = TypeParam;
  Intervals<R> intervals(4, {{0, 4}});
  intervals.run(one_two_one<R>(9), 1, 0);
  intervals.run(one_two_one<R>(9), 2, 100);
  EXPECT_EQ(intervals.info, 5);
  EXPECT_EQ(intervals.mout, 4);
}

TYPED_TEST(Bisection, FindsPointsWithSoManyValuesBelow) {
  using R = TypeParam;
  const Tridiagonal<R> matrix = random_tridiagonal<R>(30);
  const std::vector<Int> wanted{0, 3, 17, 29, 30};
  Intervals<R> intervals(5, {{-4, 4}, {-4, 4}, {-4, 4}, {-4, 4}, {-4, 4}});
  for (Int i = 1; i <= 5; ++i) {
    intervals.nval(i) = wanted[std::size_t(i - 1)];
    intervals.nab(i, 1) = -1;
    intervals.nab(i, 2) = 31;
    intervals.c(i) = R(i) / 4;
  }
  intervals.run(matrix, 3, 100);
  EXPECT_EQ(intervals.info, 0);
  EXPECT_EQ(intervals.mout, 5);
  std::vector<Int> found;
  for (Int i = 1; i <= 5; ++i) {
    found.push_back(intervals.nval(i));
    EXPECT_EQ(intervals.nab(i, 1), intervals.nval(i));
    EXPECT_EQ(wide_count<R>(matrix, intervals.ab(i, 1)), intervals.nval(i));
  }
  std::ranges::sort(found);
  EXPECT_EQ(found, wanted);
}

TYPED_TEST(Bisection, KnowsThreeJobs) {
  using R = TypeParam;
  for (const Int ijob : {0, 4}) {
    Intervals<R> intervals(1, {{0, 1}});
    intervals.run(one_two_one<R>(2), ijob, 1);
    EXPECT_EQ(intervals.info, -1);
  }
}

}  // namespace
}  // namespace nuv::test
