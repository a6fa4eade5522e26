// Invariant subspaces for selected eigenvalues and their condition numbers: ?trsen.

#include <cmath>
#include <limits>
#include <numeric>

#include "frame/option_matching.hpp"
#include "nonsymmetric/schur_checks.hpp"
#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"
#include "support/wide_spectrum.hpp"

namespace nuv::test {
namespace {

/// A call with just as much workspace as it has to have.
template <Scalar T>
struct Selection {
  using R = Real<T>;

  char job = 'B', compq = 'V';
  Int n, ldt, ldq, m = -7, info = 99;
  R s = -7, sep = -7;
  GuardedMatrix<T> S, Q, before_s, before_q;
  GuardedVector<Logical> select;
  GuardedVector<T> w, work{1};
  GuardedVector<R> wi;
  GuardedVector<Int> iwork{1};
  Int lwork = 1, liwork = 1;

  Selection(const GuardedMatrix<T>& form, const GuardedMatrix<T>& basis)
      : n(form.rows()),
        ldt(form.ld()),
        ldq(basis.ld()),
        S(form),
        Q(basis),
        before_s(form),
        before_q(basis),
        select(n),
        w(n),
        wi(n) {
    // The lowest bit of a logical counts alone.
    for (Int j = 1; j <= n; ++j) select(j) = j % 2 * 2;
    select.seal();
  }

  Selection& choose(std::initializer_list<Int> rows) {
    for (const Int row : rows) select(row) = row % 2 == 0 ? 1 : -1;
    select.seal();
    return *this;
  }

  Int run() {
    const Matrix<T> basis(same_letter(compq, 'N') ? nullptr : Q.data(), ldq);
    if constexpr (RealScalar<T>) {
      routine_call::trsen(job, compq, select.data(), n, Matrix<T>(S.data(), ldt), basis, w.data(), wi.data(), m, s, sep,
                          work.data(), lwork, iwork.data(), liwork, info);
    } else {
      routine_call::trsen(job, compq, select.data(), n, Matrix<T>(S.data(), ldt), basis, w.data(), m, s, sep,
                          work.data(), lwork, info);
    }
    return info;
  }

  Selection& make_room() {
    work = GuardedVector<T>(1);
    lwork = liwork = -1;
    run();
    lwork = Int(std::real(work(1)));
    liwork = RealScalar<T> ? iwork(1) : 1;
    work = GuardedVector<T>(lwork);
    iwork = GuardedVector<Int>(liwork);
    return *this;
  }

  Selection& reorder() {
    make_room();
    EXPECT_TRUE(S.same_as(before_s) && Q.same_as(before_q));
    const Int asked_for = lwork;
    run();
    EXPECT_TRUE(S.guards_unchanged() && Q.guards_unchanged() && select.unchanged() && w.guards_unchanged() &&
                wi.guards_unchanged() && work.guards_unchanged() && iwork.guards_unchanged());
    EXPECT_EQ(work(1), T(R(asked_for)));
    return *this;
  }

  std::vector<std::complex<double>> values() const {
    std::vector<std::complex<double>> list;
    for (Int j = 1; j <= n; ++j) {
      list.push_back(RealScalar<T> ? std::complex<double>(double(std::real(w(j))), double(wi(j)))
                                   : std::complex<double>(w(j)));
    }
    return list;
  }

  WideMatrix<T> matrix() const {
    return product<T>(wide(before_q), product<T>(wide(before_s), wide(before_q).adjoint()));
  }

  void expect_similar() const {
    EXPECT_TRUE(is_schur_form(S));
    EXPECT_LT(orthonormality<T>(wide(Q)), schur_threshold);
    EXPECT_LT(schur_residual<T>(matrix(), wide(Q), wide(S)), schur_threshold);
    expect_close(values(), eigenvalues_of(S), 16 * epsilon<T>);
  }

  /// X -> T11 X - X T22
  WideMatrix<T> separation_operator() const {
    const WideMatrix<T> T0 = wide(S);
    return sylvester_operator<T>(T0.topLeftCorner(m, m), T0.bottomRightCorner(n - m, n - m), -1);
  }

  /// 1 / sqrt(1 + ||X||^2) with T11 X - X T22 = T12.
  double exact_s() const {
    const WideMatrix<T> coupling = wide(S).topRightCorner(m, n - m).reshaped();
    const WideMatrix<T> x = product<T>(inverse<T>(separation_operator()), coupling);
    return double(1 / std::sqrt(1 + x.squaredNorm()));
  }
};

template <class T>
class InvariantSubspace : public ReportingTest {
 protected:
  /// Complex forms take two eigenvalues for each pair of a real one.
  Selection<T> problem(const std::vector<Int>& pairs_and_singles) {
    std::vector<Int> blocks = pairs_and_singles;
    const Int n = std::accumulate(blocks.begin(), blocks.end(), 0);
    if (ComplexScalar<T>) blocks.assign(std::size_t(n), 1);
    return {distinct_schur_form<T>(random, blocks), random_unitary<T>(random, n, n + 1)};
  }

  Random random{97};
};
TYPED_TEST_SUITE(InvariantSubspace, Precisions, PrecisionLetter);

TYPED_TEST(InvariantSubspace, CollectsTheSelectedEigenvalues) {
  using T = TypeParam;
  for (const std::vector<Int>& blocks : {std::vector<Int>{1, 1, 1}, {1, 2, 1}, {2, 2}, {2, 1, 2, 1}}) {
    const Int n = std::accumulate(blocks.begin(), blocks.end(), 0);
    for (int flags = 0; flags < 1 << n; ++flags) {
      Selection<T> call = this->problem(blocks);
      std::vector<std::complex<double>> wanted, rest;
      const auto values = eigenvalues_of(call.S);
      for (Int j = 1; j <= n; ++j) {
        if (flags >> (j - 1) & 1) call.choose({j});
      }
      for (Int j = 1; j <= n; ++j) {
        // Either flag of a pair selects both.
        Int partner = j;
        if constexpr (RealScalar<T>) {
          if (j < n && call.S(j + 1, j) != 0) partner = j + 1;
          if (j > 1 && call.S(j, j - 1) != 0) partner = j - 1;
        }
        const bool is_wanted = ((flags >> (j - 1) | flags >> (partner - 1)) & 1) != 0;
        (is_wanted ? wanted : rest).push_back(values[std::size_t(j - 1)]);
      }
      SCOPED_TRACE(testing::Message() << "flags " << flags << " of " << n);
      Selection<T> without_q = call;
      call.reorder();
      EXPECT_EQ(call.info, 0);
      EXPECT_EQ(call.m, Int(wanted.size()));
      call.expect_similar();
      // In the order in which they stood.
      wanted.insert(wanted.end(), rest.begin(), rest.end());
      expect_close(call.values(), wanted, 3000 * epsilon<T>);
      without_q.compq = 'n';
      without_q.ldq = 1;
      without_q.reorder();
      EXPECT_TRUE(without_q.S.same_as(call.S) && without_q.Q.unchanged());
      EXPECT_EQ(without_q.sep, call.sep);
    }
  }
}

/// The estimate of a norm is a lower bound, most often the norm itself.
TYPED_TEST(InvariantSubspace, JudgesMeanAndSubspace) {
  using T = TypeParam;
  int exact = 0, count = 0;
  for (int round = 0; round < 10; ++round) {
    for (const std::vector<Int>& blocks : {std::vector<Int>{1, 1}, {1, 2, 1}, {2, 2, 1}, {2, 1, 1, 2, 1}}) {
      Selection<T> call = this->problem(blocks);
      call.choose({2, call.n});
      if (call.n == 2) call.select(1) = 0;
      call.select.seal();
      call.reorder();
      EXPECT_NEAR(call.s / call.exact_s(), 1, 3000 * epsilon<T>);
      const WideMatrix<T> K = call.separation_operator();
      const double norm = one_norm<T>(inverse<T>(K)), least = double(wide_singular_values<T>(K).minCoeff());
      EXPECT_GE(call.sep * norm, 1 - 3000 * epsilon<T>);
      EXPECT_LE(call.sep * norm, 3);
      // The one-norm of vectors and their length.
      const double root = std::sqrt(double(K.cols()));
      EXPECT_GE(call.sep * root / least, 1 - 3000 * epsilon<T>);
      EXPECT_LE(call.sep / (least * root), 3);
      exact += call.sep * norm < 1 + 3000 * epsilon<T>;
      ++count;
    }
  }
  EXPECT_GT(exact, count / 2);
}

TYPED_TEST(InvariantSubspace, GivesWhatTheJobNames) {
  using T = TypeParam;
  using R = Real<T>;
  const Selection<T> problem = this->problem({1, 2, 1}).choose({3});
  Selection<T> both = problem;
  both.reorder();
  EXPECT_NE(both.s, R(-7));
  EXPECT_NE(both.sep, R(-7));
  for (const char job : {'N', 'n', 'E', 'e', 'V', 'v', 'b'}) {
    Selection<T> call = problem;
    call.job = job;
    call.reorder();
    EXPECT_EQ(call.s, is_one_of(job, 'E', 'B') ? both.s : R(-7)) << job;
    EXPECT_EQ(call.sep, is_one_of(job, 'V', 'B') ? both.sep : R(-7)) << job;
    EXPECT_TRUE(call.S.same_as(both.S) && call.Q.same_as(both.Q) && call.w.same_as(both.w));
  }
}

TYPED_TEST(InvariantSubspace, OfAllOrNothingHasNothingToBeJudged) {
  using T = TypeParam;
  using R = Real<T>;
  for (const bool all : {true, false}) {
    for (const std::vector<Int>& blocks : {std::vector<Int>{}, {1}, {1, 2, 1}}) {
      Selection<T> call = this->problem(blocks);
      const Int n = call.n;
      for (Int j = 1; j <= n && all; ++j) call.choose({j});
      call.reorder();
      EXPECT_EQ(call.info, 0);
      EXPECT_EQ(call.m, all ? n : 0);
      EXPECT_EQ(call.s, R(1));
      EXPECT_NEAR(double(call.sep), one_norm<T>(wide(call.before_s)), 10 * epsilon<T> * double(call.sep));
      EXPECT_TRUE(call.S.same_as(call.before_s) && call.Q.same_as(call.before_q));
      call.expect_similar();
    }
  }
}

TYPED_TEST(InvariantSubspace, TellsHowMuchRoomItTakes) {
  using T = TypeParam;
  struct Room {
    char job;
    Int m, work, integers;
  };
  for (const auto& [job, m, work, integers] : {Room{'N', 2, RealScalar<T> ? 5 : 1, 1},
                                               {'E', 2, 6, 1},
                                               {'V', 2, 12, 6},
                                               {'B', 1, 8, 4},
                                               {'B', 0, 1, 1},
                                               {'E', 5, 1, 1},
                                               {'N', 0, RealScalar<T> ? 5 : 1, 1}}) {
    for (const bool by_integers : {false, true}) {
      if (by_integers && ComplexScalar<T>) continue;
      Selection<T> call = this->problem({1, 1, 1, 1, 1});
      for (Int j = 1; j <= m; ++j) call.choose({j});
      call.job = job;
      (by_integers ? call.liwork : call.lwork) = -1;
      EXPECT_EQ(call.run(), 0);
      EXPECT_EQ(call.m, m);
      EXPECT_EQ(call.work(1), T(Real<T>(work))) << job << m;
      if (RealScalar<T>) {
        EXPECT_EQ(call.iwork(1), integers) << job << m;
      }
      EXPECT_TRUE(call.S.unchanged() && call.Q.unchanged() && call.w.unchanged());
      call.lwork = work - 1;
      call.liwork = integers;
      EXPECT_EQ(call.run(), RealScalar<T> ? -15 : -14);
      EXPECT_EQ(take_error_reports().size(), 1u);
      if (RealScalar<T>) {
        call.lwork = work;
        call.liwork = integers - 1;
        EXPECT_EQ(call.run(), -17);
        EXPECT_EQ(take_error_reports().size(), 1u);
      }
    }
  }
}

/// There are fewer elements of workspace than rows.
TYPED_TEST(InvariantSubspace, MovesBlocksInLittleRoom) {
  using T = TypeParam;
  for (const std::vector<Int>& blocks : {std::vector<Int>{2, 1}, {1, 2, 2, 1}}) {
    Selection<T> call = this->problem(blocks);
    call.choose({call.n});
    call.job = 'E';
    call.reorder();
    EXPECT_EQ(call.lwork, call.n - 1);
    call.expect_similar();
  }
}

template <class R>
class RealSubspace : public InvariantSubspace<R> {};
TYPED_TEST_SUITE(RealSubspace, RealPrecisions, PrecisionLetter);

TYPED_TEST(RealSubspace, IsGivenUpWhereASwapIsRejected) {
  using R = TypeParam;
  int rejected = 0;
  for (int round = 0; round < 200; ++round) {
    GuardedMatrix<R> S = distinct_schur_form<R>(this->random, {1, 2, 2});
    const GuardedMatrix<R> pairs = close_pairs<R>(this->random);
    for (Int j = 1; j <= 4; ++j) {
      for (Int i = 1; i <= 4; ++i) S(i + 1, j + 1) = pairs(i, j);
    }
    S.seal();
    for (const char job : {'B', 'N', 'E', 'V'}) {
      Selection<R> call(S, random_unitary<R>(this->random, 5, 5));
      call.choose({1, 4});
      call.job = job;
      call.reorder();
      call.expect_similar();
      EXPECT_EQ(call.m, 3);
      if (call.info == 0) continue;
      EXPECT_EQ(call.info, 1);
      EXPECT_EQ(call.s, is_one_of(job, 'E', 'B') ? R(0) : R(-7));
      EXPECT_EQ(call.sep, is_one_of(job, 'V', 'B') ? R(0) : R(-7));
      ++rejected;
    }
  }
  EXPECT_GT(rejected, 20);
}

TYPED_TEST(InvariantSubspace, EndsWhateverTheNumbers) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R odd : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (Int i = 1; i <= 4; ++i) {
      for (Int j = i; j <= 4; ++j) {
        Selection<T> call = this->problem({1, 2, 1}).choose({2, 4});
        call.S(i, j) = T(odd);
        call.S.seal();
        call.before_s = call.S;
        call.reorder();
        EXPECT_TRUE(call.info == 0 || call.info == 1);
        EXPECT_FALSE(is_finite(call.S));
      }
    }
  }
}

// ----------------------------------------------------------------------------------------------------------- arguments

template <Scalar T>
struct ValidSelection : Selection<T> {
  ValidSelection() : ValidSelection(Random(5)) {}
  explicit ValidSelection(Random random)
      : Selection<T>(random_schur_form<T>(random, {1, 1, 1}, 3), random_unitary<T>(random, 3, 3)) {
    this->choose({2});
    this->make_room();
    this->m = -7;
  }
  bool unchanged() const { return this->S.unchanged() && this->Q.unchanged() && this->w.unchanged(); }
};

TYPED_TEST(InvariantSubspace, ChecksItsArguments) {
  using T = TypeParam;
  using Call = ValidSelection<T>;
  const std::string name = reported_name<T>("TRSEN");
  const Spoiler<Call> job{1, [](Call&c) { c.job = 'A'; }}, compq{2, [](Call&c) { c.compq = 'I'; }},
      n{4, [](Call&c) { c.n = -1; }}, ldt{6, [](Call&c) { c.ldt = 2; }}, ldq{8, [](Call&c) { c.ldq = 2; }},
      lwork{RealScalar<T> ? 15 : 14, [](Call&c) { c.lwork = 3; }}, liwork{17, [](Call&c) { c.liwork = 1; }};
  if (RealScalar<T>) {
    expect_argument_checks<Call>(name, {job, compq, n, ldt, ldq, lwork, liwork});
  } else {
    expect_argument_checks<Call>(name, {job, compq, n, ldt, ldq, lwork});
  }
  Call without_q;
  without_q.compq = 'N';
  without_q.ldq = 0;
  EXPECT_EQ(without_q.run(), -8);
  EXPECT_EQ(take_error_reports().size(), 1u);
}

}  // namespace
}  // namespace nuv::test
