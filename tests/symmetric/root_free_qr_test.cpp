// Eigenvalues by the iteration without square roots: ?sterf.

#include <limits>

#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/malloc_requests.hpp"
#include "support/memory_requests.hpp"
#include "support/real_precisions.hpp"
#include "symmetric/eigen_checks.hpp"
#include "symmetric/tridiagonal_problem.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

template <class R>
class RootFreeQr : public ReportingTest {
 protected:
  static void expect_values(const Tridiagonal<R>& matrix, const std::string& name) {
    GuardedVector<R> d = guarded(matrix.d), e = guarded(matrix.e);
    Int info = 99;
    routine_call::sterf(matrix.order(), d.data(), e.data(), info);
    EXPECT_EQ(info, 0) << name;
    EXPECT_TRUE(is_ascending(d)) << name;
    EXPECT_TRUE(is_zero(e)) << name;
    EXPECT_TRUE(d.guards_unchanged() && e.guards_unchanged()) << name;
    EXPECT_LT(value_error(d, matrix.order(), wide_values(matrix)), threshold) << name;
  }
};
TYPED_TEST_SUITE(RootFreeQr, RealPrecisions, PrecisionLetter);

TYPED_TEST(RootFreeQr, FindsTheValuesOfDescribedMatrices) {
  for (const Int n : {1, 2, 3, 4, 5, 24, 45, 200}) {
    for (const auto& [name, matrix] : described_tridiagonals<TypeParam>(n)) {
      this->expect_values(matrix, std::string(name) + " of order " + std::to_string(n));
    }
  }
}

TYPED_TEST(RootFreeQr, FindsTheValuesOfBlocksOfTwoInEveryPosition) {
  using R = TypeParam;
  const Int n = 8;
  for (Int at = 1; at < n; ++at) {
    for (const R growth : {R(1.5), R(1 / 1.5)}) {
      Tridiagonal<R> matrix = random_tridiagonal<R>(n);
      R size = 1;
      for (Int i = 0; i < n; ++i, size *= growth) matrix.d[std::size_t(i)] *= size;
      if (at > 1) matrix.e[std::size_t(at - 2)] = 0;
      if (at + 2 <= n) matrix.e[std::size_t(at)] = 0;
      this->expect_values(matrix, "block at " + std::to_string(at));
    }
  }
}

/// Elements beside the diagonal count up to half a rounding error of their neighbours' geometric mean.
TYPED_TEST(RootFreeQr, CutsWhatIsNegligible) {
  using R = TypeParam;
  const R eps = epsilon<R> / 2;
  for (const auto& [factor, is_cut] : {std::pair{R(1), true}, {R(1.5), false}}) {
    R d[] = {1, 1}, e[] = {eps * factor};
    Int info = 99;
    routine_call::sterf(2, d, e, info);
    EXPECT_EQ(d[1] == 1, is_cut) << factor;
  }
}

TYPED_TEST(RootFreeQr, NeedsNoMemory) {
  const MemoryRequests pool(MemoryRequests::all);
  const Tridiagonal<TypeParam> matrix = random_tridiagonal<TypeParam>(30);
  GuardedVector<TypeParam> d = guarded(matrix.d), e = guarded(matrix.e);
  Int info = 99;
  const MallocRequests memory(MallocRequests::Answer::refused);
  routine_call::sterf(30, d.data(), e.data(), info);
  EXPECT_EQ(memory.count(), 0);
  EXPECT_EQ(pool.count(), 0);
}

/// The first block is done, the second uses up the sweeps, the third is as it was.
TYPED_TEST(RootFreeQr, GivesUpWhereSweepsDoNotHelp) {
  using R = TypeParam;
  Tridiagonal<R> matrix = random_tridiagonal<R>(13);
  matrix.e[4] = matrix.e[8] = 0;
  matrix.d[6] = std::numeric_limits<R>::quiet_NaN();
  GuardedVector<R> d = guarded(matrix.d), e = guarded(matrix.e);
  Int info = 99;
  routine_call::sterf(13, d.data(), e.data(), info);
  EXPECT_EQ(info, 6);
  for (Int i = 1; i <= 4; ++i) EXPECT_EQ(e(i), R(0)) << i;
  for (Int i = 10; i <= 13; ++i) EXPECT_EQ(d(i), d.sealed(i)) << i;
  for (Int i = 10; i <= 12; ++i) EXPECT_EQ(e(i), e.sealed(i)) << i;
}

template <RealScalar R>
struct SmallCall {
  Int n = 3;
  GuardedVector<R> d = guarded<R>({1, 2, 3}), e = guarded<R>({1, 1});

  Int run() {
    Int info = 99;
    routine_call::sterf(n, d.data(), e.data(), info);
    return info;
  }
  testing::AssertionResult unchanged() const { return testing::AssertionResult(d.unchanged() && e.unchanged()); }
};

TYPED_TEST(RootFreeQr, ChecksItsOrder) {
  using Call = SmallCall<TypeParam>;
  expect_argument_checks<Call>(reported_name<TypeParam>("STERF"), {{1, [](Call& c) { c.n = -1; }}});
  Call none;
  none.n = 0;
  EXPECT_EQ(none.run(), 0);
  EXPECT_TRUE(none.unchanged());
}

}  // namespace
}  // namespace nuv::test
