// Deflating subspaces for selected eigenvalues and their condition numbers: ?tgsen.

#include <cmath>
#include <limits>
#include <numeric>

#include "environment/machine_constants.hpp"
#include "generalised/turned_pencil.hpp"
#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"
#include "support/wide_spectrum.hpp"

namespace nuv::test {
namespace {

/// A call with just as much workspace as it has to have.
template <Scalar T>
struct PencilSelection : TurnedPencil<T> {
  using R = Real<T>;
  using Turned = TurnedPencil<T>;
  using Turned::n, Turned::info, Turned::form, Turned::before, Turned::Q, Turned::Z;

  Int ijob = 4;
  Logical wantq = 1, wantz = -1;
  Int lda, ldb, ldq, ldz, m = -7;
  R pl = -7, pr = -7;
  GuardedVector<Logical> select;
  GuardedVector<T> alpha, beta, work{1};
  GuardedVector<R> alphai, dif{2};
  GuardedVector<Int> iwork{1};
  Int lwork = 1, liwork = 1;

  PencilSelection(const Pencil<T>& pencil, Random& random)
      : Turned(pencil, random),
        lda(form.A.ld()),
        ldb(form.B.ld()),
        ldq(Q.ld()),
        ldz(Z.ld()),
        select(n),
        alpha(n),
        beta(n),
        alphai(n) {
    // The lowest bit of a logical counts alone.
    for (Int j = 1; j <= n; ++j) select(j) = j % 2 * 2;
    select.seal();
    seal();
  }

  void seal() {
    Turned::seal();
    dif(1) = dif(2) = -7;
    dif.seal();
  }

  PencilSelection& choose(std::initializer_list<Int> rows) {
    for (const Int row : rows) select(row) = row % 2 == 0 ? 1 : -1;
    select.seal();
    return *this;
  }

  Int run() {
    const auto view = [](Logical wanted, GuardedMatrix<T>& X, Int ld) {
      return Matrix<T>((wanted & 1) != 0 ? X.data() : nullptr, ld);
    };
    const Matrix<T> a(form.A.data(), lda), b(form.B.data(), ldb), q = view(wantq, Q, ldq), z = view(wantz, Z, ldz);
    if constexpr (RealScalar<T>) {
      routine_call::tgsen(ijob, wantq, wantz, select.data(), n, a, b, alpha.data(), alphai.data(), beta.data(), q, z, m,
                          pl, pr, dif.data(), work.data(), lwork, iwork.data(), liwork, info);
    } else {
      routine_call::tgsen(ijob, wantq, wantz, select.data(), n, a, b, alpha.data(), beta.data(), q, z, m, pl, pr,
                          dif.data(), work.data(), lwork, iwork.data(), liwork, info);
    }
    return info;
  }

  PencilSelection& make_room() {
    work = GuardedVector<T>(1);
    iwork = GuardedVector<Int>(1);
    lwork = liwork = -1;
    run();
    lwork = Int(std::real(work(1)));
    liwork = iwork(1);
    work = GuardedVector<T>(lwork);
    iwork = GuardedVector<Int>(liwork);
    return *this;
  }

  PencilSelection& reorder() {
    make_room();
    EXPECT_TRUE(this->is_untouched());
    run();
    EXPECT_TRUE(form.A.guards_unchanged() && form.B.guards_unchanged() && Q.guards_unchanged());
    EXPECT_TRUE(Z.guards_unchanged() && select.unchanged() && dif.guards_unchanged());
    EXPECT_TRUE(alpha.guards_unchanged() && alphai.guards_unchanged() && beta.guards_unchanged());
    EXPECT_TRUE(work.guards_unchanged() && iwork.guards_unchanged());
    EXPECT_EQ(work(1), T(R(lwork)));
    EXPECT_EQ(iwork(1), liwork);
    return *this;
  }

  std::vector<PencilValue> values() const {
    if constexpr (RealScalar<T>) {
      return pencil_values(alpha, alphai, beta);
    } else {
      return pencil_values(alpha, alpha, beta);
    }
  }

  void expect_equivalent() const {
    EXPECT_TRUE(is_pencil_schur_form(form.A, form.B));
    this->expect_same_pencil();
    EXPECT_TRUE(are_proper(values(), RealScalar<T>));
    expect_values(values_of_form(form.A, form.B), 100 * epsilon<T>);
    for (Int k = 1; k <= n; ++k) {
      EXPECT_EQ(std::imag(beta(k)), 0);
      if (ComplexScalar<T> || alphai(k) == 0) {
        EXPECT_EQ(alpha(k), form.A(k, k));
        EXPECT_EQ(beta(k), form.B(k, k));
      }
    }
  }

  void expect_values(const std::vector<PencilValue>& expected, double tolerance) const {
    expect_close(values(), expected, tolerance);
  }

  /// The matrix of (R, L) -> (A1 R - L A2, B1 R - L B2) for the blocks of the form, upper and lower, or the other way.
  WideMatrix<T> dif_operator(bool down) const {
    const WideMatrix<T> A = wide(form.A), B = wide(form.B);
    const Eigen::Index k = down ? m : n - m, l = n - k;
    const auto block = [&](const WideMatrix<T>& X, bool upper) -> WideMatrix<T> {
      return upper ? X.topLeftCorner(m, m) : X.bottomRightCorner(n - m, n - m);
    };
    WideMatrix<T> K = WideMatrix<T>::Zero(2 * k * l, 2 * k * l);
    for (const bool is_a : {true, false}) {
      const WideMatrix<T> first = block(is_a ? A : B, down), second = block(is_a ? A : B, !down);
      const Eigen::Index row = is_a ? 0 : k * l;
      for (Eigen::Index j = 0; j < l; ++j) {
        K.block(row + k * j, k * j, k, k) = first;
        for (Eigen::Index i = 0; i < l; ++i) {
          K.block(row + k * j, k * l + k * i, k, k).diagonal().array() -= second(i, j);
        }
      }
    }
    return K;
  }

  /// 1 / sqrt(1 + |X|^2) for X = R and L.
  std::pair<double, double> exact_projectors() const {
    const Eigen::Index size = Eigen::Index(m) * (n - m);
    WideMatrix<T> right(2 * size, 1);
    right << wide(form.A).topRightCorner(m, n - m).reshaped(), wide(form.B).topRightCorner(m, n - m).reshaped();
    const WideMatrix<T> x = product<T>(inverse<T>(dif_operator(true)), right);
    const auto reciprocal = [](const auto& part) { return double(1 / std::sqrt(1 + part.squaredNorm())); };
    return {reciprocal(x.topRows(size)), reciprocal(x.bottomRows(size))};
  }
};

/// Exponents of ||A|| / ||B|| beyond what rounding errors of either leave of the other.
template <RealScalar R>
std::vector<int> exponents_of_norms() {
  if (std::numeric_limits<R>::max_exponent < 200) return {-90, -60, -30, 30, 60, 90};
  return {-300, -60, 60, 300};
}

template <class T>
class DeflatingSubspace : public ReportingTest {
 protected:
  /// Complex forms take two eigenvalues for each pair of a real one.
  PencilSelection<T> problem(const std::vector<Int>& pairs_and_singles) {
    std::vector<Int> blocks = pairs_and_singles;
    const Int n = std::accumulate(blocks.begin(), blocks.end(), 0);
    if (ComplexScalar<T>) blocks.assign(std::size_t(n), 1);
    return {distinct_pencil_schur_form<T>(random, blocks), random};
  }

  Random random{151};
};
TYPED_TEST_SUITE(DeflatingSubspace, Precisions, PrecisionLetter);

TYPED_TEST(DeflatingSubspace, CollectsTheSelectedEigenvalues) {
  using T = TypeParam;
  for (const std::vector<Int>& blocks : {std::vector<Int>{1, 1, 1}, {1, 2, 1}, {2, 2}, {2, 1, 2, 1}}) {
    const Int n = std::accumulate(blocks.begin(), blocks.end(), 0);
    for (int flags = 0; flags < 1 << n; ++flags) {
      PencilSelection<T> call = this->problem(blocks);
      std::vector<PencilValue> wanted, rest;
      const auto values = values_of_form(call.form.A, call.form.B);
      for (Int j = 1; j <= n; ++j) {
        if (flags >> (j - 1) & 1) call.choose({j});
      }
      for (Int j = 1; j <= n; ++j) {
        // Either flag of a pair selects both.
        Int partner = j;
        if constexpr (RealScalar<T>) {
          if (j < n && call.form.A(j + 1, j) != 0) partner = j + 1;
          if (j > 1 && call.form.A(j, j - 1) != 0) partner = j - 1;
        }
        const bool is_wanted = ((flags >> (j - 1) | flags >> (partner - 1)) & 1) != 0;
        (is_wanted ? wanted : rest).push_back(values[std::size_t(j - 1)]);
      }
      SCOPED_TRACE(testing::Message() << "flags " << flags << " of " << n);
      const PencilSelection<T> problem = call;
      call.reorder();
      EXPECT_EQ(call.info, 0);
      EXPECT_EQ(call.m, Int(wanted.size()));
      call.expect_equivalent();
      // In the order in which they stood.
      wanted.insert(wanted.end(), rest.begin(), rest.end());
      call.expect_values(wanted, 3000 * epsilon<T>);
      for (const bool wantq : {true, false}) {
        PencilSelection<T> one = problem;
        (wantq ? one.wantz : one.wantq) = 2;
        (wantq ? one.ldz : one.ldq) = 1;
        one.reorder();
        EXPECT_TRUE(one.form.A.same_as(call.form.A) && one.form.B.same_as(call.form.B));
        EXPECT_TRUE(wantq ? one.Q.same_as(call.Q) : one.Z.same_as(call.Z));
        EXPECT_TRUE(wantq ? one.Z.unchanged() : one.Q.unchanged());
        EXPECT_EQ(one.dif(2), call.dif(2));
      }
    }
  }
}

TYPED_TEST(DeflatingSubspace, LongForms) {
  using T = TypeParam;
  const Int n = 50;
  PencilSelection<T> call(random_pencil_schur_form<T>(this->random, n, n), this->random);
  for (Int j = 1; j <= n; j += 3) call.choose({j});
  call.ijob = 5;
  call.reorder();
  EXPECT_GE(call.m, 17);
  EXPECT_TRUE(call.info == 0 || call.info == 1);
  call.expect_equivalent();
}

/// The mean of the projectors' sizes is exact; estimates of Dif are upper bounds, the one by one-norms up to the
/// difference of norms.
TYPED_TEST(DeflatingSubspace, JudgesBothSubspaces) {
  using T = TypeParam;
  int exact = 0, count = 0;
  for (int round = 0; round < 10; ++round) {
    for (const std::vector<Int>& blocks : {std::vector<Int>{1, 1}, {1, 2, 1}, {2, 2, 1}, {2, 1, 1, 2, 1}}) {
      PencilSelection<T> by_frobenius = this->problem(blocks);
      by_frobenius.choose({2, by_frobenius.n});
      if (by_frobenius.n == 2) by_frobenius.select(1) = 0;
      by_frobenius.select.seal();
      PencilSelection<T> by_one_norms = by_frobenius;
      by_one_norms.ijob = 5;
      by_frobenius.reorder();
      by_one_norms.reorder();
      EXPECT_EQ(by_frobenius.pl, by_one_norms.pl);
      EXPECT_EQ(by_frobenius.pr, by_one_norms.pr);
      const auto [pl, pr] = by_frobenius.exact_projectors();
      EXPECT_NEAR(by_frobenius.pl / pl, 1, 3000 * epsilon<T>);
      EXPECT_NEAR(by_frobenius.pr / pr, 1, 3000 * epsilon<T>);
      for (const Int k : {1, 2}) {
        const WideMatrix<T> K = by_frobenius.dif_operator(k == 1);
        const double least = double(wide_singular_values<T>(K).minCoeff()), found = double(by_frobenius.dif(k));
        EXPECT_GE(found / least, 1 - 3000 * epsilon<T>) << k;
        EXPECT_LE(found / least, 10) << k;
        const double norm = one_norm<T>(inverse<T>(K)), estimate = double(by_one_norms.dif(k));
        EXPECT_GE(estimate * norm, 1 - 3000 * epsilon<T>) << k;
        EXPECT_LE(estimate * norm, 3) << k;
        exact += estimate * norm < 1 + 3000 * epsilon<T>;
        ++count;
      }
    }
  }
  EXPECT_GT(exact, count / 2);
}

/// A that is much larger or smaller than B: the projectors stay, and Dif is nearly that of B or goes with A.
TYPED_TEST(DeflatingSubspace, JudgesPencilsOfMatricesOfDifferentSize) {
  using T = TypeParam;
  using R = Real<T>;
  for (const std::vector<Int>& blocks : {std::vector<Int>{1, 1}, {1, 2, 1}, {2, 2, 1}}) {
    const PencilSelection<T> problem = this->problem(blocks).choose({1});
    PencilSelection<T> plain = problem;
    plain.reorder();
    const auto [pl, pr] = plain.exact_projectors();
    for (const int exponent : exponents_of_norms<R>()) {
      for (const Int ijob : {4, 5}) {
        SCOPED_TRACE(testing::Message() << problem.n << " rows, job " << ijob << ", 2^" << exponent);
        PencilSelection<T> call = problem;
        const R factor = std::ldexp(R(1), exponent);
        for (Int j = 1; j <= call.n; ++j) {
          for (Int i = 1; i <= std::min(call.n, j + (RealScalar<T> ? 1 : 0)); ++i) call.form.A(i, j) *= factor;
        }
        call.seal();
        call.ijob = ijob;
        call.reorder();
        EXPECT_EQ(call.info, 0);
        EXPECT_NEAR(call.pl / pl, 1, 3000 * epsilon<T>);
        EXPECT_NEAR(call.pr / pr, 1, 3000 * epsilon<T>);
        // Looking ahead takes squares of the ratio.
        if (ijob == 4 && 2 * std::abs(exponent) > std::numeric_limits<R>::max_exponent) continue;
        for (const Int k : {1, 2}) {
          WideMatrix<T> inverted = inverse<T>(plain.dif_operator(k == 1));
          inverted.leftCols(inverted.rows() / 2) /= WideReal<T>(factor);
          const double norm = ijob == 5 ? one_norm<T>(inverted) : double(wide_singular_values<T>(inverted).maxCoeff());
          EXPECT_GE(call.dif(k) * norm, 1 - 3000 * epsilon<T>) << k;
          EXPECT_LE(call.dif(k) * norm, ijob == 5 ? 3 : 10) << k;
        }
      }
    }
  }
}

TYPED_TEST(DeflatingSubspace, GivesWhatTheJobNames) {
  using T = TypeParam;
  using R = Real<T>;
  const PencilSelection<T> problem = this->problem({1, 2, 1}).choose({3});
  PencilSelection<T> both[2] = {problem, problem};
  for (const Int k : {0, 1}) {
    both[k].ijob = 4 + k;
    both[k].reorder();
    EXPECT_NE(both[k].pl, R(-7));
    EXPECT_NE(both[k].pr, both[k].pl);
    EXPECT_NE(both[k].dif(1), R(-7));
    EXPECT_NE(both[k].dif(2), both[k].dif(1));
  }
  EXPECT_NE(both[0].dif(1), both[1].dif(1));
  for (const Int ijob : {0, 1, 2, 3}) {
    PencilSelection<T> call = problem;
    call.ijob = ijob;
    call.reorder();
    EXPECT_EQ(call.pl, ijob == 1 ? both[0].pl : R(-7)) << ijob;
    EXPECT_EQ(call.pr, ijob == 1 ? both[0].pr : R(-7)) << ijob;
    for (const Int k : {1, 2}) EXPECT_EQ(call.dif(k), ijob >= 2 ? both[ijob - 2].dif(k) : R(-7)) << ijob;
    EXPECT_TRUE(call.form.A.same_as(both[0].form.A) && call.form.B.same_as(both[0].form.B));
    EXPECT_TRUE(call.Q.same_as(both[0].Q) && call.alpha.same_as(both[0].alpha) && call.beta.same_as(both[0].beta));
  }
}

TYPED_TEST(DeflatingSubspace, OfAllOrNothingHasNothingToBeJudged) {
  using T = TypeParam;
  using R = Real<T>;
  for (const bool all : {true, false}) {
    for (const std::vector<Int>& blocks : {std::vector<Int>{}, {1}, {1, 2, 1}}) {
      for (Int ijob = 0; ijob <= 5; ++ijob) {
        PencilSelection<T> call = this->problem(blocks);
        const Int n = call.n;
        for (Int j = 1; j <= n && all; ++j) call.choose({j});
        call.ijob = ijob;
        call.reorder();
        EXPECT_EQ(call.info, 0);
        EXPECT_EQ(call.m, all ? n : 0);
        const bool projectors = ijob == 1 || ijob >= 4;
        EXPECT_EQ(call.pl, projectors ? R(1) : R(-7));
        EXPECT_EQ(call.pr, projectors ? R(1) : R(-7));
        const double norm = std::hypot(double(wide(call.before.A).norm()), double(wide(call.before.B).norm()));
        for (const Int k : {1, 2}) {
          const double expected = ijob >= 2 ? norm : -7;
          EXPECT_NEAR(double(call.dif(k)), expected, 10 * epsilon<T> * std::abs(expected)) << ijob;
        }
        EXPECT_TRUE(call.form.A.unchanged() && call.form.B.unchanged() && call.Q.unchanged() && call.Z.unchanged());
        call.expect_equivalent();
      }
    }
  }
}

/// A pair whose elements have the sizes of these of B's diagonal, but any directions.
template <Scalar T>
void turn_rows(PencilSelection<T>& call, Random& random) {
  for (Int k = 1; k <= call.n; ++k) {
    if constexpr (RealScalar<T>) {
      const bool in_pair = (k < call.n && call.form.A(k + 1, k) != 0) || (k > 1 && call.form.A(k, k - 1) != 0);
      if (in_pair || random.integer(0, 1) == 0) continue;
    }
    T direction(-1);
    if constexpr (ComplexScalar<T>) direction = random.pick(std::array{T(-1), T(0, 1), T(0, -1)});
    for (Int j = k; j <= call.n; ++j) {
      call.form.A(k, j) *= direction;
      call.form.B(k, j) *= direction;
    }
    for (Int i = 1; i <= call.n; ++i) call.Q(i, k) *= conjugate(direction);
  }
  call.before_q = call.Q;
  call.seal();
}

/// Also if there is nothing to reorder.
TYPED_TEST(DeflatingSubspace, MakesBetaPositive) {
  using T = TypeParam;
  for (int selection = 0; selection < 3; ++selection) {
    for (int round = 0; round < 8; ++round) {
      PencilSelection<T> call = this->problem({1, 2, 1, 1}), without_q = call;
      turn_rows(call, this->random);
      if (selection == 1) call.choose({1, 2, 3, 4, 5});
      if (selection == 2) call.choose({4});
      const std::vector<PencilValue> expected = values_of_form(call.form.A, call.form.B);
      without_q = call;
      without_q.wantq = 0;
      call.reorder();
      EXPECT_EQ(call.info, 0);
      call.expect_equivalent();
      without_q.reorder();
      EXPECT_TRUE(without_q.form.A.same_as(call.form.A) && without_q.form.B.same_as(call.form.B));
      EXPECT_TRUE(without_q.Q.same_as(without_q.before_q));
    }
  }
}

/// A diagonal element of B that is negative zero counts as negative if it is real, and a tiny one as zero if it is
/// complex.
TYPED_TEST(DeflatingSubspace, MakesZerosOfBetaPositive) {
  using T = TypeParam;
  using R = Real<T>;
  PencilSelection<T> call = this->problem({1, 1, 1});
  if constexpr (RealScalar<T>) {
    call.form.B(2, 2) = -R(0);
  } else {
    call.form.B(2, 2) = T(Machine<R>::safe_min / 2, -Machine<R>::safe_min / 2);
  }
  call.seal();
  call.reorder();
  EXPECT_EQ(call.beta(2), T(0));
  EXPECT_FALSE(std::signbit(std::real(call.beta(2))));
  EXPECT_FALSE(std::signbit(std::real(call.form.B(2, 2))));
  EXPECT_EQ(call.alpha(2), RealScalar<T> ? -call.before.A(2, 2) : call.before.A(2, 2));
  EXPECT_EQ(call.form.A(2, 3), RealScalar<T> ? -call.before.A(2, 3) : call.before.A(2, 3));
}

TYPED_TEST(DeflatingSubspace, TellsHowMuchRoomItTakes) {
  using T = TypeParam;
  const Int extra = RealScalar<T> ? 6 : 2, of_moves = RealScalar<T> ? 4 * 12 + 16 : 1;
  struct Room {
    Int ijob, m, solution, integers;
  };
  for (const auto& [ijob, m, solution, integers] : {Room{0, 6, 0, 1},
                                                    {1, 6, 72, 0},
                                                    {2, 6, 72, 0},
                                                    {3, 6, 144, 72},
                                                    {4, 5, 70, 0},
                                                    {5, 5, 140, 70},
                                                    {3, 0, 0, 0},
                                                    {4, 12, 0, 0},
                                                    {0, 0, 0, 1}}) {
    const Int least = std::max(of_moves, solution), least_integers = ijob == 0 ? 1 : std::max(12 + extra, integers);
    for (const bool by_integers : {false, true}) {
      PencilSelection<T> call = this->problem(std::vector<Int>(12, 1));
      for (Int j = 1; j <= m; ++j) call.choose({j});
      call.ijob = ijob;
      (by_integers ? call.liwork : call.lwork) = -1;
      EXPECT_EQ(call.run(), 0);
      EXPECT_EQ(call.m, m);
      EXPECT_EQ(call.work(1), T(Real<T>(least))) << ijob << m;
      EXPECT_EQ(call.iwork(1), least_integers) << ijob << m;
      EXPECT_TRUE(call.form.A.unchanged() && call.form.B.unchanged() && call.Q.unchanged() && call.Z.unchanged());
      EXPECT_TRUE(call.alpha.unchanged() && call.beta.unchanged());
      call.lwork = least - 1;
      call.liwork = least_integers;
      EXPECT_EQ(call.run(), RealScalar<T> ? -22 : -21);
      EXPECT_EQ(take_error_reports().size(), 1u);
      call.lwork = least;
      call.liwork = least_integers - 1;
      EXPECT_EQ(call.run(), RealScalar<T> ? -24 : -23);
      EXPECT_EQ(take_error_reports().size(), 1u);
    }
  }
}

template <class R>
class RealDeflatingSubspace : public DeflatingSubspace<R> {};
TYPED_TEST_SUITE(RealDeflatingSubspace, RealPrecisions, PrecisionLetter);

TYPED_TEST(RealDeflatingSubspace, IsGivenUpWhereASwapIsRejected) {
  using R = TypeParam;
  int rejected = 0;
  for (int round = 0; round < 100; ++round) {
    Pencil<R> pencil = distinct_pencil_schur_form<R>(this->random, {1, 2, 2});
    const GuardedMatrix<R> pairs = close_pairs<R>(this->random);
    for (Int j = 1; j <= 4; ++j) {
      for (Int i = 1; i <= 4; ++i) {
        pencil.A(i + 1, j + 1) = pairs(i, j);
        pencil.B(i + 1, j + 1) = R(i == j);
      }
    }
    for (const Int ijob : {0, 1, 2, 3, 4, 5}) {
      PencilSelection<R> call(pencil, this->random);
      call.choose({1, 4});
      call.ijob = ijob;
      call.reorder();
      EXPECT_EQ(call.m, 3);
      if (call.info == 0) continue;
      call.expect_equivalent();
      EXPECT_EQ(call.info, 1);
      const bool projectors = ijob == 1 || ijob >= 4;
      EXPECT_EQ(call.pl, projectors ? R(0) : R(-7));
      EXPECT_EQ(call.pr, projectors ? R(0) : R(-7));
      for (const Int k : {1, 2}) EXPECT_EQ(call.dif(k), ijob >= 2 ? R(0) : R(-7));
      ++rejected;
    }
  }
  EXPECT_GT(rejected, 20);
}

TYPED_TEST(DeflatingSubspace, EndsWhateverTheNumbers) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R odd : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (Int i = 1; i <= 4; ++i) {
      for (Int j = i; j <= 4; ++j) {
        for (const bool in_a : {true, false}) {
          PencilSelection<T> call = this->problem({1, 2, 1}).choose({2, 4});
          (in_a ? call.form.A : call.form.B)(i, j) = T(odd);
          call.ijob = in_a ? 4 : 5;
          call.seal();
          call.reorder();
          EXPECT_TRUE(call.info == 0 || call.info == 1);
          EXPECT_FALSE(is_finite(call.form.A) && is_finite(call.form.B));
        }
      }
    }
  }
}

// ----------------------------------------------------------------------------------------------------------- arguments

template <Scalar T>
struct ValidPencilSelection : PencilSelection<T> {
  ValidPencilSelection() : ValidPencilSelection(Random(5)) {}
  explicit ValidPencilSelection(Random random)
      : PencilSelection<T>(random_pencil_schur_form<T>(random, {1, 1, 1}, 3), random) {
    this->choose({2});
    this->make_room();
    this->m = -7;
  }
  bool unchanged() const {
    return this->form.A.unchanged() && this->form.B.unchanged() && this->Q.unchanged() && this->Z.unchanged() &&
           this->alpha.unchanged() && this->beta.unchanged();
  }
};

TYPED_TEST(DeflatingSubspace, ChecksItsArguments) {
  using T = TypeParam;
  using Call = ValidPencilSelection<T>;
  const std::string name = reported_name<T>("TGSEN");
  constexpr int shift = RealScalar<T> ? 0 : 1;
  expect_argument_checks<Call>(name, {{1, [](Call& c) { c.ijob = -1; }},
                                      {1, [](Call& c) { c.ijob = 6; }},
                                      {5, [](Call& c) { c.n = -1; }},
                                      {7, [](Call& c) { c.lda = 2; }},
                                      {9, [](Call& c) { c.ldb = 2; }},
                                      {14 - shift, [](Call& c) { c.ldq = 2; }},
                                      {16 - shift, [](Call& c) { c.ldz = 2; }},
                                      {22 - shift, [](Call& c) { c.lwork = 3; }},
                                      {24 - shift, [](Call& c) { c.liwork = 1; }}});
  for (const bool of_q : {true, false}) {
    for (const Int ld : {0, 1}) {
      Call without;
      (of_q ? without.wantq : without.wantz) = 0;
      (of_q ? without.ldq : without.ldz) = ld;
      if (ld == 0) {
        expect_report(without, name, (of_q ? 14 : 16) - shift);
      } else {
        EXPECT_EQ(without.run(), 0);
      }
    }
  }
}

}  // namespace
}  // namespace nuv::test
