// Eigenpairs by multiple relatively robust representations: ?stemr, ?stegr.

#include "support/argument_checks.hpp"
#include "support/deadline.hpp"
#include "symmetric/mrrr_problem.hpp"

namespace nuv::test {
namespace {

template <class T>
class MrrrTest : public ReportingTest {
 protected:
  using R = Real<T>;

  static void expect_all(const Tridiagonal<R>& matrix, const std::string& what) {
    const auto exact = wide_values(matrix);
    for (const char jobz : {'V', 'n'}) {
      for (const bool tryrac : {false, true}) {
        Mrrr<T> call(jobz, {.range = 'a'}, matrix);
        call.tryrac = to_logical(tryrac);
        call.run();
        EXPECT_EQ(call.m, matrix.order()) << what;
        call.expect_pairs(exact, 1, what + ", jobz " + jobz + (tryrac ? ", tryrac" : ""));
      }
    }
  }
};
TYPED_TEST_SUITE(MrrrTest, Precisions, PrecisionLetter);

// ---------------------------------------------------------------------------------------------------------------- all

TYPED_TEST(MrrrTest, SolvesDescribedMatrices) {
  for (const Int n : {1, 2, 3, 4, 7, 22, 65}) {
    for (const auto& described : described_tridiagonals<Real<TypeParam>>(n)) {
      this->expect_all(described.matrix, title(described));
    }
  }
}

/// Longer than the rows between two tests for NaN, and with clusters of many values.
TYPED_TEST(MrrrTest, SolvesLargerMatrices) {
  using R = Real<TypeParam>;
  for (const auto& described : described_tridiagonals<R>(150)) {
    Mrrr<TypeParam> call('V', {}, described.matrix);
    call.run().expect_pairs(wide_values(described.matrix), 1, title(described));
  }
}

/// Complex vectors are the real ones.
TYPED_TEST(MrrrTest, FindsRealVectors) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 64;
  for (const R glue : {R(1), std::sqrt(epsilon<R>)}) {
    const Tridiagonal<R> matrix = glued_wilkinson<R>(n, glue);
    Mrrr<T> call('V', {}, matrix);
    Mrrr<R> real('V', {}, matrix);
    call.run();
    real.run();
    EXPECT_TRUE(call.w.same_as(real.w));
    EXPECT_TRUE(call.isuppz.same_as(real.isuppz));
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) EXPECT_EQ(call.Z(i, j), T(real.Z(i, j))) << i << ' ' << j;
    }
  }
}

// ----------------------------------------------------------------------------------------------------- small matrices

TYPED_TEST(MrrrTest, SolvesOrderZero) {
  using R = Real<TypeParam>;
  for (const char range : {'A', 'V', 'I'}) {
    Mrrr<TypeParam> call('V', {.range = range, .il = 1, .iu = 0}, Tridiagonal<R>{});
    call.run();
    EXPECT_EQ(call.info, 0);
    EXPECT_EQ(call.m, 0);
    EXPECT_TRUE(call.guards_unchanged());
  }
}

/// Vectors of order two come from a rotation; their values may have either sign and any order of magnitudes.
TYPED_TEST(MrrrTest, SolvesOrderTwo) {
  using R = Real<TypeParam>;
  for (const auto& [a, b, c] : {std::tuple{1, 2, 3},
                                {-1, 2, -3},
                                {-3, 1, 1},
                                {2, 0, 1},
                                {1, 0, 2},
                                {-2, 0, -1},
                                {-1, 0, -2},
                                {0, 1, 0},
                                {0, 0, 0}}) {
    const Tridiagonal<R> matrix{{R(a), R(c)}, {R(b)}};
    const std::string what = std::to_string(a) + ' ' + std::to_string(b) + ' ' + std::to_string(c);
    this->expect_all(matrix, what);
    const auto exact = wide_values(matrix);
    for (const Int k : {1, 2}) expect_part<TypeParam>(matrix, exact, Wanted<R>::by_index(k, k), k, 1, what);
    if (b == 0) continue;
    const R between = R(a + c) / 2;
    expect_part<TypeParam>(matrix, exact, Wanted<R>::by_value(-10, between), 1, 1, what);
    expect_part<TypeParam>(matrix, exact, Wanted<R>::by_value(between, 10), 2, 1, what);
  }
}

TYPED_TEST(MrrrTest, TellsTheSupportOfVectorsOfOrderTwo) {
  using R = Real<TypeParam>;
  for (const auto& [matrix, first] : {std::pair{Tridiagonal<R>{{2, 1}, {0}}, 2}, {Tridiagonal<R>{{1, 2}, {0}}, 1}}) {
    Mrrr<TypeParam> call('V', {}, matrix);
    call.run();
    const Int second = 3 - first;
    EXPECT_EQ(call.isuppz(1), first);
    EXPECT_EQ(call.isuppz(2), first);
    EXPECT_EQ(call.isuppz(3), second);
    EXPECT_EQ(call.isuppz(4), second);
  }
  Mrrr<TypeParam> full('V', {}, {{1, 2}, {3}});
  full.run();
  for (const Int k : {1, 3}) {
    EXPECT_EQ(full.isuppz(k), 1);
    EXPECT_EQ(full.isuppz(k + 1), 2);
  }
}

// ------------------------------------------------------------------------------------------------- blocks and supports

/// Vectors live in their blocks, wherever these stand.
TYPED_TEST(MrrrTest, KeepsVectorsInTheirBlocks) {
  using R = Real<TypeParam>;
  const Int n = 12;
  for (Int begin = 1; begin + 2 <= n; ++begin) {
    Tridiagonal<R> matrix{std::vector<R>(std::size_t(n), R(5)), std::vector<R>(std::size_t(n - 1))};
    for (Int i = 0; i < n; ++i) matrix.d[std::size_t(i)] += R(i);
    matrix.d[std::size_t(begin - 1)] = matrix.d[std::size_t(begin + 1)] = 1;
    matrix.e[std::size_t(begin - 1)] = matrix.e[std::size_t(begin)] = 2;
    Mrrr<TypeParam> call('V', {}, matrix);
    call.run().expect_pairs(wide_values(matrix), 1, "block at " + std::to_string(begin));
    Int vectors_of_block = 0;
    for (Int k = 1; k <= n; ++k) {
      const Int from = call.isuppz(2 * k - 1), to = call.isuppz(2 * k);
      if (from >= begin && to <= begin + 2) ++vectors_of_block;
      else EXPECT_EQ(from, to);
    }
    EXPECT_EQ(vectors_of_block, 3);
  }
}

/// A vector ends where the rest of it is negligible.
TYPED_TEST(MrrrTest, CutsVectorsShort) {
  using R = Real<TypeParam>;
  const Int n = 100;
  Tridiagonal<R> matrix{std::vector<R>(std::size_t(n)), std::vector<R>(std::size_t(n - 1), R(1) / 64)};
  for (Int i = 0; i < n; ++i) matrix.d[std::size_t(i)] = R(i);
  Mrrr<TypeParam> call('V', {}, matrix);
  call.run().expect_pairs(wide_values(matrix), 1, "nearly diagonal");
  for (Int k = 2; k < n; ++k) EXPECT_LT(call.isuppz(2 * k) - call.isuppz(2 * k - 1), 30) << k;
}

// ----------------------------------------------------------------------------------------------------------- accuracy

/// Scaled diagonally dominant: all values are known to high relative accuracy, and found so if that is asked for.
TYPED_TEST(MrrrTest, FindsTinyValuesToHighRelativeAccuracy) {
  using R = Real<TypeParam>;
  using W = WideReal<R>;
  const Int n = 30;
  Tridiagonal<R> matrix;
  for (Int i = 0; i < n; ++i) matrix.d.push_back(std::pow(R(0.4), R(i)) * (i % 3 == 1 ? -1 : 1));
  for (Int i = 0; i + 1 < n; ++i) matrix.e.push_back(std::pow(R(0.4), R(i)) / 4);
  auto exact = wide_values(matrix);
  for (const char jobz : {'N', 'V'}) {
    Mrrr<TypeParam> call(jobz, {}, matrix);
    call.tryrac = to_logical(true);
    call.run().expect_pairs(exact, 1, "graded");
    EXPECT_EQ(call.tryrac, to_logical(true));
    for (Int k = 1; k <= n; ++k) {
      const W value = exact[std::size_t(k - 1)];
      EXPECT_LT(std::abs(W(call.w(k)) - value), 100 * epsilon<R> * std::abs(value)) << jobz << ' ' << k;
    }
  }
}

TYPED_TEST(MrrrTest, TellsThatAMatrixDoesNotDetermineItsValues) {
  using R = Real<TypeParam>;
  for (const bool asked : {false, true}) {
    Mrrr<TypeParam> call('V', {}, random_tridiagonal<R>(20));
    call.tryrac = to_logical(asked);
    call.run();
    EXPECT_EQ(call.info, 0);
    EXPECT_EQ(call.tryrac, to_logical(false));
  }
}

// ----------------------------------------------------------------------------------------------------------- questions

TYPED_TEST(MrrrTest, TellsTheColumnsThatItNeeds) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int n : {0, 1, 2, 9}) {
    const Tridiagonal<R> matrix = one_two_one<R>(n);
    const auto ask = [&](char jobz, const Wanted<R>& wanted) {
      Mrrr<T> call(jobz, wanted, matrix);
      T answer = guard<T>();
      routine_call::stemr(jobz, wanted.range, n, call.d.data(), call.e.data(), wanted.vl, wanted.vu, wanted.il,
                          wanted.iu, call.m, call.w.data(), Matrix<T>(&answer, n + 1), -1, call.isuppz.data(),
                          call.tryrac, call.work.data(), call.work.size(), call.iwork.data(), call.iwork.size(),
                          call.info);
      EXPECT_EQ(call.info, 0);
      EXPECT_TRUE(call.d.unchanged() && call.e.unchanged() && call.w.unchanged());
      return std::real(answer);
    };
    EXPECT_EQ(ask('V', {}), R(n));
    EXPECT_EQ(ask('N', {}), R(0));
    if (n == 0) continue;
    EXPECT_EQ(ask('V', Wanted<R>::by_index(1, n)), R(n));
    EXPECT_EQ(ask('V', Wanted<R>::by_index(n, n)), R(1));
    EXPECT_EQ(ask('V', Wanted<R>::by_value(-1, 5)), R(n));
    EXPECT_EQ(ask('V', Wanted<R>::by_value(R(2.001), 5)), R(n / 2));
    EXPECT_EQ(ask('v', Wanted<R>::by_value(5, 6)), R(0));
  }
}

TYPED_TEST(MrrrTest, RefusesTooFewColumns) {
  using R = Real<TypeParam>;
  const Tridiagonal<R> matrix = one_two_one<R>(6);
  for (const auto& [wanted, needed] :
       {std::pair{Wanted<R>{}, 6}, {Wanted<R>::by_index(2, 4), 3}, {Wanted<R>::by_value(R(2.001), 5), 3}}) {
    Mrrr<TypeParam> enough('V', wanted, matrix, needed), short_by_one('V', wanted, matrix, needed - 1);
    EXPECT_EQ(enough.run().info, 0);
    EXPECT_EQ(enough.m, needed);
    EXPECT_EQ(short_by_one.run().info, -14);
    EXPECT_EQ(take_error_reports(), (std::vector<ErrorReport>{{reported_name<TypeParam>("STEMR"), 14}}));
    EXPECT_TRUE(short_by_one.Z.unchanged());
    short_by_one.jobz = 'N';
    EXPECT_EQ(short_by_one.run().info, 0);
  }
}

TYPED_TEST(MrrrTest, TellsTheWorkspaceThatItNeeds) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 7;
  for (const auto& [lwork, liwork] : {std::pair{-1, 1}, {1, -1}, {-1, -1}}) {
    for (const char jobz : {'V', 'N'}) {
      R work = 0;
      Int iwork = 0, m = 77, info = 99, isuppz = 0;
      Logical tryrac = to_logical(true);
      T z(0);
      R unread = guard<R>();
      routine_call::stemr(jobz, 'V', n, &unread, &unread, R(0), R(1), 0, 0, m, &unread, Matrix<T>(&z, n), n, &isuppz,
                          tryrac, &work, lwork, &iwork, liwork, info);
      EXPECT_EQ(info, 0);
      EXPECT_EQ(work, R((jobz == 'V' ? 18 : 12) * n));
      EXPECT_EQ(iwork, (jobz == 'V' ? 10 : 8) * n);
      EXPECT_EQ(m, 77);
      work = 0;
      iwork = 0;
      routine_call::stegr(jobz, 'V', n, &unread, &unread, R(0), R(1), 0, 0, R(0), m, &unread, Matrix<T>(&z, n), &isuppz,
                          &work, lwork, &iwork, liwork, info);
      EXPECT_EQ(info, 0);
      EXPECT_EQ(work, R((jobz == 'V' ? 18 : 12) * n));
      EXPECT_EQ(iwork, (jobz == 'V' ? 10 : 8) * n);
    }
  }
}

TYPED_TEST(MrrrTest, LeavesItsWorkspaceInWork) {
  for (const Int n : {1, 2, 8}) {
    Mrrr<TypeParam> call('V', {}, one_two_one<Real<TypeParam>>(n));
    call.run();
    EXPECT_EQ(call.work(1), Real<TypeParam>(18 * n));
    EXPECT_EQ(call.iwork(1), 10 * n);
  }
}

// ------------------------------------------------------------------------------------------------------ failing, ends

/// Numbers that are not finite anywhere, and as borders: it ends, and tells of it or shows a NaN.
TYPED_TEST(MrrrTest, EndsWithNumbersThatAreNotFinite) {
  using R = Real<TypeParam>;
  constexpr R inf = std::numeric_limits<R>::infinity(), nan = std::numeric_limits<R>::quiet_NaN();
  const Deadline deadline(20, "numbers that are not finite");
  for (const Int n : {1, 2, 3, 9, 40}) {
    for (const R bad : {inf, -inf, nan}) {
      for (Int place = 0; place < 2 * n - 1; ++place) {
        for (const Wanted<R>& wanted : {Wanted<R>{}, Wanted<R>::by_index(1, (n + 2) / 3), Wanted<R>::by_value(0, 1)}) {
          for (const char jobz : {'N', 'V'}) {
            Tridiagonal<R> matrix = one_two_one<R>(n);
            (place < n ? matrix.d[std::size_t(place)] : matrix.e[std::size_t(place - n)]) = bad;
            Mrrr<TypeParam> call(jobz, wanted, matrix);
            call.tryrac = to_logical(place % 2 == 0);
            call.run();
            EXPECT_TRUE(call.guards_unchanged());
            EXPECT_GE(call.info, 0);
            if (call.info != 0 || wanted.range != 'A') continue;
            EXPECT_EQ(call.m, n);
            EXPECT_TRUE(std::any_of(call.w.data(), call.w.data() + n, [](R w) { return !std::isfinite(w); }))
                << n << ' ' << bad << " at " << place << ' ' << jobz;
          }
        }
      }
    }
  }
}

TYPED_TEST(MrrrTest, TellsWhichRoutineFailed) {
  using R = Real<TypeParam>;
  Tridiagonal<R> matrix = one_two_one<R>(9);
  matrix.d[4] = std::numeric_limits<R>::quiet_NaN();
  for (const char jobz : {'N', 'V'}) {
    Mrrr<TypeParam> call(jobz, {}, matrix);
    call.run();
    EXPECT_GT(call.info, 10);
    EXPECT_LT(call.info, 20);
  }
}

// --------------------------------------------------------------------------------------------------- stegr, arguments

TYPED_TEST(MrrrTest, ForwardsFromStegr) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 44;
  for (const auto& described : described_tridiagonals<R>(n)) {
    for (const Wanted<R>& wanted : {Wanted<R>{}, Wanted<R>::by_index(3, 9)}) {
      Mrrr<T> expected('V', wanted, described.matrix), call = expected;
      expected.run();
      routine_call::stegr('V', wanted.range, n, call.d.data(), call.e.data(), R(0), R(0), wanted.il, wanted.iu,
                          guard<R>(), call.m, call.w.data(), call.Z, call.isuppz.data(), call.work.data(),
                          call.work.size(), call.iwork.data(), call.iwork.size(), call.info);
      EXPECT_EQ(call.info, 0);
      EXPECT_EQ(call.m, expected.m);
      EXPECT_TRUE(call.w.same_as(expected.w)) << described.name;
      EXPECT_TRUE(call.Z.same_as(expected.Z)) << described.name;
      EXPECT_TRUE(call.isuppz.same_as(expected.isuppz)) << described.name;
    }
  }
}

template <Scalar T>
struct SmallCall : Mrrr<T> {
  using R = Real<T>;
  Int ldz = 5, nzc = 5, lwork = 90, liwork = 50;

  SmallCall() : Mrrr<T>('V', {}, one_two_one<R>(5)) {}

  Int run() {
    routine_call::stemr(this->jobz, this->wanted.range, this->n, this->d.data(), this->e.data(), this->wanted.vl,
                        this->wanted.vu, this->wanted.il, this->wanted.iu, this->m, this->w.data(),
                        Matrix<T>{this->Z.data(), ldz}, nzc, this->isuppz.data(), this->tryrac, this->work.data(),
                        lwork, this->iwork.data(), liwork, this->info);
    return this->info;
  }
  testing::AssertionResult unchanged() const {
    return testing::AssertionResult(this->d.unchanged() && this->e.unchanged() && this->w.unchanged() &&
                                    this->Z.unchanged() && this->isuppz.unchanged() && this->work.unchanged() &&
                                    this->iwork.unchanged() && this->m == -1);
  }
};

template <Scalar T>
struct SmallStegr : SmallCall<T> {
  Int run() {
    routine_call::stegr(this->jobz, this->wanted.range, this->n, this->d.data(), this->e.data(), this->wanted.vl,
                        this->wanted.vu, this->wanted.il, this->wanted.iu, Real<T>(0), this->m, this->w.data(),
                        Matrix<T>{this->Z.data(), this->ldz}, this->isuppz.data(), this->work.data(), this->lwork,
                        this->iwork.data(), this->liwork, this->info);
    return this->info;
  }
};

template <class Call>
void expect_checks(const std::string& name) {
  using R = typename Call::R;
  const auto with = [&](const Wanted<R>& wanted, int position) {
    Call call;
    call.wanted = wanted;
    expect_report(call, name, position);
  };
  for (const auto& [vl, vu, position] : {std::tuple{1, 1, 7}, {2, 1, 7}, {1, 2, 0}}) {
    with(Wanted<R>::by_value(R(vl), R(vu)), position);
  }
  for (const auto& [il, iu, position] :
       {std::tuple{0, 1, 8}, {6, 6, 8}, {3, 2, 9}, {1, 6, 9}, {1, 5, 0}, {5, 5, 0}, {3, 3, 0}}) {
    with(Wanted<R>::by_index(il, iu), position);
  }
  for (const auto& [jobz, ldz, position] : {std::tuple{'V', 4, 13}, {'N', 1, 0}, {'N', 0, 13}}) {
    Call call;
    call.jobz = jobz;
    call.ldz = ldz;
    expect_report(call, name, position);
  }
  for (const auto& [jobz, lwork, liwork, position] :
       {std::tuple{'N', 60, 40, 0}, {'N', 59, 40, 18}, {'N', 60, 39, 20}, {'V', 89, 50, 18}, {'V', 90, 49, 20}}) {
    Call call;
    call.jobz = jobz;
    call.lwork = lwork;
    call.liwork = liwork;
    expect_report(call, name, position);
  }
}

TYPED_TEST(MrrrTest, ChecksItsArgumentsInOrder) {
  using Call = SmallCall<TypeParam>;
  const std::string name = reported_name<TypeParam>("STEMR");
  expect_argument_checks<Call>(name, {{1, [](Call& c) { c.jobz = 'X'; }},
                                      {2, [](Call& c) { c.wanted.range = 'X'; }},
                                      {3, [](Call& c) { c.n = -1; }},
                                      {13, [](Call& c) { c.ldz = 4; }},
                                      {14, [](Call& c) { c.nzc = 4; }},
                                      {18, [](Call& c) { c.lwork = 89; }},
                                      {20, [](Call& c) { c.liwork = 49; }}});
  expect_checks<Call>(name);
  expect_checks<SmallStegr<TypeParam>>(name);
}

}  // namespace
}  // namespace nuv::test
