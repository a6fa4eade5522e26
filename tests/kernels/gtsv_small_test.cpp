// The kernels sgtsv_small and dgtsv_small.

#include <cmath>

#include "blas.hpp"
#include "support/argument_checks.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

template <class T>
class GtsvSmall : public ReportingTest {
 protected:
  Random random{25};
};
TYPED_TEST_SUITE(GtsvSmall, RealPrecisions, PrecisionLetter);

template <RealScalar T>
struct System {
  GuardedVector<T> dl, d, du;
  GuardedMatrix<T> b;

  System(Int n, Int nrhs, Int ldb) : dl(std::max(n - 1, 0)), d(n), du(std::max(n - 1, 0)), b(n, nrhs, ldb) {}

  void randomise(Random& random) {
    for (Int i = 1; i <= d.size(); ++i) d(i) = random.scalar<T>();
    for (Int i = 1; i < d.size(); ++i) dl(i) = random.scalar<T>(), du(i) = random.scalar<T>();
    for (Int j = 1; j <= b.columns(); ++j) {
      for (Int i = 1; i <= b.rows(); ++i) b(i, j) = random.scalar<T>();
    }
  }

  void seal() {
    dl.seal();
    d.seal();
    du.seal();
    b.seal();
  }

  Int solve() {
    Int info = 12345;
    blas::gtsv_small(d.size(), b.columns(), dl.data(), d.data(), du.data(), b, info);
    return info;
  }

  WideMatrix<T> matrix() const {
    const Int n = d.size();
    WideMatrix<T> A = WideMatrix<T>::Zero(n, n);
    for (Int i = 0; i < n; ++i) A(i, i) = wide(d(i + 1));
    for (Int i = 0; i + 1 < n; ++i) {
      A(i + 1, i) = wide(dl(i + 1));
      A(i, i + 1) = wide(du(i + 1));
    }
    return A;
  }

  bool guards_unchanged() const {
    return dl.guards_unchanged() && d.guards_unchanged() && du.guards_unchanged() && b.guards_unchanged();
  }
};

TYPED_TEST(GtsvSmall, SolvesTridiagonalSystems) {
  using T = TypeParam;
  for (const Int n : {0, 1, 2, 3, 4, 5, 8, 17, 33, 70, 200}) {
    for (const Int nrhs : {0, 1, 2, 3, 4, 9}) {
      for (int repetition = 0; repetition < 5; ++repetition) {
        SCOPED_TRACE(testing::Message() << "order " << n << ", " << nrhs << " right-hand sides");
        System<T> system(n, nrhs, n + 1 + this->random.integer(0, 3));
        system.randomise(this->random);
        system.seal();
        const WideMatrix<T> A = system.matrix(), B = wide(system.b);
        EXPECT_EQ(system.solve(), 0);
        EXPECT_LT(solution_residual<T>(A, wide(system.b), B), 10);
        EXPECT_TRUE(system.guards_unchanged());
      }
    }
  }
}

// Rows stay where the diagonal is at least as large as the element below it, and trade places elsewhere.
TYPED_TEST(GtsvSmall, LeavesTheFactorUBehind) {
  using T = TypeParam;
  System<T> system(4, 1, 4);
  // 2 1 0 0     stays:        row 2 = (0 -2 1 0)
  // 2 -1 1 0    -2 under -4:  exchanged, factor 1/2
  // 0 -4 2 8    then 0 under 3: exchanged, factor 0
  // 0 0 3 6
  system.dl(1) = 2, system.dl(2) = -4, system.dl(3) = 3;
  system.d(1) = 2, system.d(2) = -1, system.d(3) = 2, system.d(4) = 6;
  system.du(1) = 1, system.du(2) = 1, system.du(3) = 8;
  const T solution[] = {1, 2, 3, 4};
  for (Int i = 1; i <= 4; ++i) {
    system.b(i, 1) = system.d(i) * solution[i - 1];
    if (i > 1) system.b(i, 1) += system.dl(i - 1) * solution[i - 2];
    if (i < 4) system.b(i, 1) += system.du(i) * solution[i];
  }
  EXPECT_EQ(system.solve(), 0);
  const T d[] = {2, -4, 3, -4}, du[] = {1, 2, 6}, second[] = {0, 8};
  for (Int i = 1; i <= 4; ++i) EXPECT_EQ(system.d(i), d[i - 1]) << i;
  for (Int i = 1; i <= 3; ++i) EXPECT_EQ(system.du(i), du[i - 1]) << i;
  for (Int i = 1; i <= 2; ++i) EXPECT_EQ(system.dl(i), second[i - 1]) << i;
  for (Int i = 1; i <= 4; ++i) EXPECT_EQ(system.b(i, 1), solution[i - 1]) << i;
}

// A column whose pivot and all below it vanish in exact arithmetic.
TYPED_TEST(GtsvSmall, TellsTheFirstZeroPivot) {
  using T = TypeParam;
  for (const Int n : {1, 2, 3, 7, 20}) {
    for (Int k = 1; k <= n; ++k) {
      for (const Int nrhs : {0, 1, 3}) {
        SCOPED_TRACE(testing::Message() << "order " << n << ", pivot " << k << ", " << nrhs << " right-hand sides");
        // Rows 1 1; then 1 2 1 ...: every pivot is 1 until the diagonal is 1 in place of 2 (or 0 in place of 1).
        System<T> system(n, nrhs, n);
        system.randomise(this->random);
        for (Int i = 1; i < n; ++i) system.dl(i) = system.du(i) = 1;
        for (Int i = 1; i <= n; ++i) system.d(i) = T((i == 1 ? 1 : 2) - (i == k ? 1 : 0));
        if (k < n) system.dl(k) = 0;
        EXPECT_EQ(system.solve(), k);
        EXPECT_TRUE(system.guards_unchanged());
      }
    }
  }
}

TYPED_TEST(GtsvSmall, StopsWithTheRightHandSidesUnsolved) {
  using T = TypeParam;
  System<T> system(3, 2, 3);
  system.randomise(this->random);
  system.d(1) = system.dl(1) = 0;
  system.seal();
  EXPECT_EQ(system.solve(), 1);
  EXPECT_TRUE(system.b.unchanged());
  EXPECT_TRUE(system.d.unchanged());
  EXPECT_TRUE(system.du.unchanged());
  EXPECT_TRUE(system.dl.unchanged());
}

template <RealScalar T>
struct GtsvCall {
  Int n = 3, nrhs = 2, ldb = 4;
  System<T> system{3, 2, 4};

  GtsvCall() {
    Random random{1};
    system.randomise(random);
    system.seal();
  }
  Int run() {
    Int info = 12345;
    blas::gtsv_small(n, nrhs, system.dl.data(), system.d.data(), system.du.data(), {system.b.data(), ldb}, info);
    return info;
  }
  bool unchanged() const {
    return system.dl.unchanged() && system.d.unchanged() && system.du.unchanged() && system.b.unchanged();
  }
};

TYPED_TEST(GtsvSmall, ChecksItsArguments) {
  using T = TypeParam;
  const std::string name = reported_name<T>("GTSV");
  expect_argument_checks<GtsvCall<T>>(name, {{1, [](auto& c) { c.n = -1; }},
                                             {2, [](auto& c) { c.nrhs = -1; }},
                                             {7, [](auto& c) { c.ldb = 2; }},
                                             {7, [](auto& c) { c.ldb = 0; }}});
  GtsvCall<T> empty;
  empty.n = empty.ldb = 0;
  expect_report(empty, name, 7);
}

}  // namespace
}  // namespace nuv::test
