// The drivers for symmetric tridiagonal matrices: ?stev, ?stevd, ?stevx, ?stevr.

#include <cctype>
#include <limits>

#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/real_precisions.hpp"
#include "symmetric/eigen_checks.hpp"
#include "symmetric/tridiagonal_problem.hpp"
#include "symmetric/unrepresentable.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

/// For vectors that are not products of rotations.
constexpr double vector_threshold = 30;

enum class Driver { stev, stevd, stevx, stevr };
constexpr Driver all_drivers[] = {Driver::stev, Driver::stevd, Driver::stevx, Driver::stevr};
constexpr Driver selecting_drivers[] = {Driver::stevx, Driver::stevr};
constexpr const char* names[] = {"STEV", "STEVD", "STEVX", "STEVR"};

/// Which eigenvalues.
template <RealScalar R>
struct Choice {
  char range = 'A';
  R vl = 0, vu = 0;
  Int il = 0, iu = 0;
};

/// A call in just the workspace that it needs.
template <RealScalar R>
struct Problem {
  Driver driver;
  char jobz;
  Tridiagonal<R> matrix;
  Choice<R> choice;
  R abstol = 0;
  Int n, ldz, m = -77, info = -77, lwork = 0, liwork = 0;
  GuardedVector<R> d, e, w, work;
  GuardedVector<Int> iwork, ifail, isuppz;
  GuardedMatrix<R> Z;

  Problem(Driver driver, char jobz, const Tridiagonal<R>& matrix, const Choice<R>& choice = {})
      : driver(driver),
        jobz(jobz),
        matrix(matrix),
        choice(choice),
        n(matrix.order()),
        ldz(n + 2),
        lwork(least_work()),
        liwork(least_iwork()),
        d(guarded(matrix.d)),
        e(guarded(matrix.e)),
        w(n),
        work(lwork),
        iwork(liwork),
        ifail(n),
        isuppz(2 * std::max(1, n)),
        Z(n, n, ldz) {
    Z.seal();
    w.seal();
  }

  bool has_vectors() const { return std::toupper(jobz) == 'V'; }

  Int least_work() const {
    switch (driver) {
      case Driver::stev:
        return has_vectors() ? std::max(1, 2 * n - 2) : 0;
      case Driver::stevd:
        return has_vectors() && n > 1 ? 1 + 4 * n + n * n : 1;
      case Driver::stevx:
        return 5 * n;
      default:
        return std::max(1, 20 * n);
    }
  }
  Int least_iwork() const {
    switch (driver) {
      case Driver::stev:
        return 0;
      case Driver::stevd:
        return has_vectors() && n > 1 ? 3 + 5 * n : 1;
      case Driver::stevx:
        return 5 * n;
      default:
        return std::max(1, 10 * n);
    }
  }

  /// For all eigenvalues w is what d becomes.
  Problem& run() {
    const Matrix<R> z{Z.data(), ldz};
    const auto& [range, vl, vu, il, iu] = choice;
    switch (driver) {
      case Driver::stev:
        routine_call::stev(jobz, n, d.data(), e.data(), z, work.data(), info);
        break;
      case Driver::stevd:
        routine_call::stevd(jobz, n, d.data(), e.data(), z, work.data(), lwork, iwork.data(), liwork, info);
        break;
      case Driver::stevx:
        routine_call::stevx(jobz, range, n, d.data(), e.data(), vl, vu, il, iu, abstol, m, w.data(), z, work.data(),
                            iwork.data(), ifail.data(), info);
        break;
      case Driver::stevr:
        routine_call::stevr(jobz, range, n, d.data(), e.data(), vl, vu, il, iu, abstol, m, w.data(), z, isuppz.data(),
                            work.data(), lwork, iwork.data(), liwork, info);
        break;
    }
    if (info == 0 && (driver == Driver::stev || driver == Driver::stevd)) {
      m = n;
      for (Int i = 1; i <= n; ++i) w(i) = d(i);
    }
    EXPECT_TRUE(d.guards_unchanged() && e.guards_unchanged() && w.guards_unchanged() && work.guards_unchanged() &&
                iwork.guards_unchanged() && ifail.guards_unchanged() && isuppz.guards_unchanged() &&
                Z.guards_unchanged());
    return *this;
  }

  std::string text() const {
    return std::string(names[int(driver)]) + ' ' + jobz + choice.range + " of order " + std::to_string(n);
  }

  /// That what was found are the values from the first-th on, and their vectors.
  void expect_values(const std::string& name, Int count, Int first = 1) {
    const std::string what = name + ", " + text();
    EXPECT_EQ(info, 0) << what;
    ASSERT_EQ(m, count) << what;
    EXPECT_LT(value_error(w, m, wide_values(matrix), first), threshold) << what;
    EXPECT_TRUE(std::is_sorted(w.data(), w.data() + m)) << what;
    if (!has_vectors()) {
      EXPECT_TRUE(Z.unchanged()) << what;
      return;
    }
    EXPECT_LT(eigen_residual<R>(wide_dense<R>(matrix), Z, w, m), vector_threshold) << what;
    EXPECT_LT(orthogonality(Z, m), vector_threshold) << what;
    for (Int j = 1; driver == Driver::stevx && j <= m; ++j) EXPECT_EQ(ifail(j), 0) << what;
  }
};

template <class R>
class TridiagonalDrivers : public ReportingTest {};
TYPED_TEST_SUITE(TridiagonalDrivers, RealPrecisions, PrecisionLetter);

TYPED_TEST(TridiagonalDrivers, SolveDescribedMatrices) {
  using R = TypeParam;
  for (const Int n : {1, 2, 3, 30}) {
    for (const auto& [name, matrix] : described_tridiagonals<R>(n)) {
      for (const Driver driver : all_drivers) {
        for (const char jobz : {'N', 'V'}) Problem<R>(driver, jobz, matrix).run().expect_values(name, n);
      }
    }
  }
}

TYPED_TEST(TridiagonalDrivers, SolveBeyondTheOrderOfALeaf) {
  using R = TypeParam;
  for (const Driver driver : all_drivers) {
    for (const char jobz : {'n', 'v'}) Problem<R>(driver, jobz, random_tridiagonal<R>(80)).run().expect_values("", 80);
  }
}

TYPED_TEST(TridiagonalDrivers, SelectByIndex) {
  using R = TypeParam;
  const Int n = 25;
  for (const auto& [name, matrix] : described_tridiagonals<R>(n)) {
    for (const Driver driver : selecting_drivers) {
      for (const char jobz : {'N', 'V'}) {
        for (const auto& [il, iu] : {std::pair{1, 1}, {n, n}, {7, 7}, {3, 12}, {1, n - 1}, {2, n}, {1, n}}) {
          Problem<R> problem(driver, jobz, matrix, {.range = 'I', .il = il, .iu = iu});
          problem.run().expect_values(name, iu - il + 1, il);
        }
      }
    }
  }
}

/// Intervals are open at vl and closed at vu; here their ends lie between values that are known to be apart.
TYPED_TEST(TridiagonalDrivers, SelectByValue) {
  using R = TypeParam;
  const Int n = 24;
  for (const R scale : {R(1), std::numeric_limits<R>::max() * epsilon<R>, std::numeric_limits<R>::min() / epsilon<R>}) {
    Tridiagonal<R> matrix = one_two_one<R>(n);
    for (R& x : matrix.d) x *= scale;
    for (R& x : matrix.e) x *= scale;
    const auto values = wide_values(matrix);
    const auto between = [&](Int before) {
      const auto& v = values;
      return before == 0   ? R(-scale)
             : before == n ? R(5 * scale)
                           : R((v[std::size_t(before - 1)] + v[std::size_t(before)]) / 2);
    };
    for (const Driver driver : selecting_drivers) {
      for (const char jobz : {'N', 'V'}) {
        for (const auto& [before, until] : {std::pair{0, n}, {0, 1}, {5, 6}, {5, 11}, {n - 1, n}, {4, 4}}) {
          const R vl = between(before), vu = before == until ? vl + scale / 1000 : between(until);
          for (const R abstol : {R(0), epsilon<R> * scale}) {
            Problem<R> problem(driver, jobz, matrix, {.range = 'v', .vl = vl, .vu = vu});
            problem.abstol = abstol;
            problem.run().expect_values("1-2-1", until - before, before + 1);
          }
        }
      }
    }
  }
}

/// The only value of a matrix of order one is taken where it lies in the interval.
TYPED_TEST(TridiagonalDrivers, TakeOneElementByInspection) {
  using R = TypeParam;
  for (const Driver driver : selecting_drivers) {
    for (const auto& [vl, vu, m] : {std::tuple{R(2), R(3), 1}, {R(3), R(4), 0}, {R(1), R(2), 0}, {R(2.5), R(4), 1}}) {
      Problem<R> problem(driver, 'V', {{3}, {}}, {.range = 'V', .vl = vl, .vu = vu});
      problem.run();
      EXPECT_EQ(problem.info, 0);
      EXPECT_EQ(problem.m, m) << vl << " to " << vu;
      if (m == 1) {
        EXPECT_EQ(problem.w(1), R(3));
        EXPECT_EQ(problem.Z(1, 1), R(1));
        EXPECT_TRUE(driver == Driver::stevx || (problem.isuppz(1) == 1 && problem.isuppz(2) == 1));
      }
    }
  }
}

TYPED_TEST(TridiagonalDrivers, TellWhereVectorsAreNotZero) {
  using R = TypeParam;
  const Int n = 40;
  for (const auto& [name, matrix] : described_tridiagonals<R>(n)) {
    Problem<R> problem(Driver::stevr, 'V', matrix);
    problem.run();
    for (Int j = 1; j <= n; ++j) {
      const Int first = problem.isuppz(2 * j - 1), last = problem.isuppz(2 * j);
      ASSERT_TRUE(1 <= first && first <= last && last <= n) << name << ", vector " << j;
      for (Int i = 1; i <= n; ++i) {
        EXPECT_TRUE(problem.Z(i, j) == 0 || (first <= i && i <= last)) << name << ", vector " << j;
      }
    }
  }
}

/// All of them are found in one way, whatever the words for them; bisection finds what comes near.
TYPED_TEST(TridiagonalDrivers, TakeAllInOneWay) {
  using R = TypeParam;
  const Int n = 13;
  const Tridiagonal<R> matrix = random_tridiagonal<R>(n);
  for (const Driver driver : selecting_drivers) {
    for (const char jobz : {'N', 'V'}) {
      Problem<R> all(driver, jobz, matrix);
      all.run();
      const auto is_same = [&](const Choice<R>& choice) {
        Problem<R> problem(driver, jobz, matrix, choice);
        problem.run();
        EXPECT_EQ(problem.m, n);
        return problem.w.same_as(all.w) && problem.Z.same_as(all.Z) && problem.isuppz.same_as(all.isuppz);
      };
      EXPECT_TRUE(is_same({.range = 'I', .il = 1, .iu = n})) << all.text();
      EXPECT_FALSE(is_same({.range = 'V', .vl = R(-10 * n), .vu = R(10 * n)})) << all.text();
    }
  }
}

/// What iteration fails on is left to bisection, and what that tells is told.
TYPED_TEST(TridiagonalDrivers, TurnToBisectionWhereIterationFails) {
  using R = TypeParam;
  const Tridiagonal<R> matrix{{1, std::numeric_limits<R>::quiet_NaN(), 2, 3}, {1, 1, 1}};
  for (const char jobz : {'N', 'V'}) {
    Problem<R> problem(Driver::stevx, jobz, matrix), bisected(Driver::stevx, jobz, matrix);
    bisected.abstol = std::numeric_limits<R>::min();
    problem.run();
    bisected.run();
    EXPECT_EQ(problem.info, bisected.info);
    EXPECT_EQ(problem.m, bisected.m);
    Problem<R> iterated(Driver::stev, jobz, matrix);
    EXPECT_NE(problem.info, iterated.run().info) << "another matrix is needed";
  }
}

TYPED_TEST(TridiagonalDrivers, DoNothingForAnEmptyMatrix) {
  using R = TypeParam;
  for (const Driver driver : all_drivers) {
    Problem<R> problem(driver, 'V', {});
    problem.run();
    EXPECT_EQ(problem.info, 0);
    EXPECT_EQ(problem.m, 0);
  }
}

TYPED_TEST(TridiagonalDrivers, TellTheirWorkspace) {
  using R = TypeParam;
  for (const Driver driver : {Driver::stevd, Driver::stevr}) {
    for (const char jobz : {'N', 'V'}) {
      for (const Int n : {0, 1, 2, 30}) {
        for (const bool asks_for_integers : {false, true}) {
          Tridiagonal<R> matrix;
          if (n > 0) matrix = random_tridiagonal<R>(n);
          Problem<R> problem(driver, jobz, matrix);
          const Int lwork = problem.lwork, liwork = problem.liwork;
          (asks_for_integers ? problem.liwork : problem.lwork) = -1;
          problem.run();
          EXPECT_EQ(problem.info, 0);
          EXPECT_EQ(problem.work(1), R(lwork)) << problem.text();
          EXPECT_EQ(problem.iwork(1), liwork) << problem.text();
          EXPECT_TRUE(problem.d.unchanged() && problem.e.unchanged() && problem.Z.unchanged());
          problem.lwork = lwork;
          problem.liwork = liwork;
          problem.run();
          EXPECT_EQ(problem.work(1), R(lwork)) << problem.text();
          EXPECT_EQ(problem.iwork(1), liwork) << problem.text();
        }
      }
    }
  }
}

/// What representations fail on is solved by bisection and inverse iteration, and nothing tells of it.
TYPED_TEST(TridiagonalDrivers, TurnToInverseIterationWhereRepresentationsFail) {
  using R = TypeParam;
  for (const Int n : {3, 8}) {
    const Tridiagonal<R> matrix = unrepresentable<R>(n);
    expect_unrepresentable(matrix);
    Problem<R>(Driver::stevr, 'V', matrix).run().expect_values("unrepresentable", n);
  }
}

/// Values before the failure come back to the scale of the matrix, and nothing is written behind the last.
TYPED_TEST(TridiagonalDrivers, TellOfFailure) {
  using R = TypeParam;
  const R nan = std::numeric_limits<R>::quiet_NaN();
  for (const char jobz : {'N', 'V'}) {
    Problem<R> problem(Driver::stev, jobz, {{1, nan, 2, 3}, {1, 1, 1}});
    problem.run();
    EXPECT_EQ(problem.info, 3);
    for (const Driver driver : {Driver::stevd, Driver::stevx, Driver::stevr}) {
      Problem<R> other(driver, jobz, {{1, nan, 2, 3}, {1, 1, 1}});
      other.run();
      EXPECT_GT(other.info, 0) << other.text();
    }
  }
}

/// What an infinity makes of the scale shows which values came back from it.
TYPED_TEST(TridiagonalDrivers, ScaleBackWhatStandsBeforeAFailure) {
  using R = TypeParam;
  const R inf = std::numeric_limits<R>::infinity();
  Problem<R> problem(Driver::stev, 'N', {{1, 2, 3, 1, 1, 1}, {0, 0, 0, inf, inf}});
  problem.run();
  EXPECT_EQ(problem.info, 2);
  EXPECT_TRUE(std::isnan(problem.d(1)));
  EXPECT_EQ(problem.d(2), 0);
  EXPECT_EQ(problem.d(3), 0);
}

/// Vectors grow by the norm of their block: those of a small one, on values that are no closer than a tolerance, don't
/// converge. The list of them goes by the order in which they are in the end.
TYPED_TEST(TridiagonalDrivers, NumberVectorsThatDoNotConvergeInAscendingOrder) {
  using R = TypeParam;
  Tridiagonal<R> matrix{{2, R(2.3), R(1.9), 1, 3}, {1, 1, 0, 0}};
  const R scale = R(0x1p-20);
  for (std::vector<R>* part : {&matrix.d, &matrix.e}) {
    for (R& x : *part) x *= scale;
  }
  Problem<R> problem(Driver::stevx, 'V', matrix);
  problem.abstol = R(0.01) * scale;
  problem.run();
  EXPECT_EQ(problem.info, 3);
  EXPECT_TRUE(std::is_sorted(problem.w.data(), problem.w.data() + 5));
  std::vector<Int> failed(problem.ifail.data(), problem.ifail.data() + 5);
  EXPECT_EQ(failed[3], 0);
  EXPECT_EQ(failed[4], 0);
  std::sort(failed.begin(), failed.begin() + 3);
  EXPECT_EQ(failed, (std::vector<Int>{1, 3, 5, 0, 0}));
}

template <RealScalar R, Driver driver>
struct SmallCall : Problem<R> {
  SmallCall() : Problem<R>(driver, 'V', {{1, 2, 3}, {1, 1}}) {
    this->choice = {.range = 'A', .vl = 1, .vu = 2, .il = 1, .iu = 2};
    this->ldz = this->Z.ld();
  }
  Int run() {
    Problem<R>::run();
    return this->info;
  }
  testing::AssertionResult unchanged() const {
    return testing::AssertionResult(this->d.unchanged() && this->e.unchanged() && this->Z.unchanged());
  }
};

TYPED_TEST(TridiagonalDrivers, CheckTheirArgumentsInOrder) {
  using R = TypeParam;
  using Stev = SmallCall<R, Driver::stev>;
  expect_argument_checks<Stev>(
      reported_name<R>("STEV"),
      {{1, [](Stev& c) { c.jobz = 'X'; }}, {2, [](Stev& c) { c.n = -1; }}, {6, [](Stev& c) { c.ldz = 2; }}});
  using Stevd = SmallCall<R, Driver::stevd>;
  expect_argument_checks<Stevd>(reported_name<R>("STEVD"), {{1, [](Stevd& c) { c.jobz = 'X'; }},
                                                            {2, [](Stevd& c) { c.n = -1; }},
                                                            {6, [](Stevd& c) { c.ldz = 2; }},
                                                            {8, [](Stevd& c) { c.lwork = c.n < 0 ? 0 : 21; }},
                                                            {10, [](Stevd& c) { c.liwork = c.n < 0 ? 0 : 17; }}});
}

TYPED_TEST(TridiagonalDrivers, CheckTheArgumentsOfASelectionInOrder) {
  using R = TypeParam;
  const auto check = []<Driver driver>(std::integral_constant<Driver, driver>, const char* name) {
    using Call = SmallCall<R, driver>;
    expect_argument_checks<Call>(reported_name<R>(name), {{1, [](Call& c) { c.jobz = 'X'; }},
                                                          {2, [](Call& c) { c.choice.range = 'X'; }},
                                                          {3, [](Call& c) { c.n = -1; }},
                                                          {14, [](Call& c) { c.ldz = 2; }}});
    for (const auto& [choice, position] : {std::pair{Choice<R>{.range = 'V', .vl = 1, .vu = 1}, 7},
                                           {Choice<R>{.range = 'I', .il = 0, .iu = 1}, 8},
                                           {Choice<R>{.range = 'I', .il = 4, .iu = 4}, 8},
                                           {Choice<R>{.range = 'I', .il = 2, .iu = 1}, 9},
                                           {Choice<R>{.range = 'I', .il = 2, .iu = 4}, 9},
                                           {Choice<R>{.range = 'v', .vl = 0, .vu = 1}, 0}}) {
      Call call;
      call.choice = choice;
      expect_report(call, reported_name<R>(name), position);
      if (position == 0) continue;
      Call also_short;
      also_short.choice = choice;
      also_short.ldz = 1;
      expect_report(also_short, reported_name<R>(name), position);
    }
  };
  check(std::integral_constant<Driver, Driver::stevx>(), "STEVX");
  check(std::integral_constant<Driver, Driver::stevr>(), "STEVR");
  // Even vectors that are not wanted have columns one element apart.
  SmallCall<R, Driver::stevx> without_vectors;
  without_vectors.jobz = 'N';
  without_vectors.ldz = 0;
  expect_report(without_vectors, reported_name<R>("STEVX"), 14);
  using Stevr = SmallCall<R, Driver::stevr>;
  expect_argument_checks<Stevr>(
      reported_name<R>("STEVR"),
      {{14, [](Stevr& c) { c.ldz = 2; }}, {17, [](Stevr& c) { c.lwork = 59; }}, {19, [](Stevr& c) { c.liwork = 29; }}});
}

}  // namespace
}  // namespace nuv::test
