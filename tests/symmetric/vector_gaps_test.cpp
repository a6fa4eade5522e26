// Reciprocal condition numbers of eigenvectors and singular vectors: ?disna.

#include <limits>
#include <vector>

#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/filled.hpp"
#include "support/real_precisions.hpp"

namespace nuv::test {
namespace {

template <class T>
class VectorGaps : public ReportingTest {};
TYPED_TEST_SUITE(VectorGaps, RealPrecisions, PrecisionLetter);

template <RealScalar R>
std::vector<R> gaps(char job, Int m, Int n, const std::vector<R>& values) {
  const GuardedVector<R> d = guarded(values);
  GuardedVector<R> sep(Int(values.size()));
  Int info = -77;
  routine_call::disna(job, m, n, d.data(), sep.data(), info);
  EXPECT_EQ(info, 0);
  EXPECT_TRUE(sep.guards_unchanged());
  return {sep.data(), sep.data() + sep.size()};
}

TYPED_TEST(VectorGaps, AreDistancesToTheNextValue) {
  using V = std::vector<TypeParam>;
  for (const char job : {'E', 'e'}) {
    EXPECT_EQ(gaps<TypeParam>(job, 4, -1, {-3, -1, 0, 4}), V({2, 1, 1, 4}));
    EXPECT_EQ(gaps<TypeParam>(job, 4, 0, {7, 3, 2, -6}), V({4, 1, 1, 8}));
  }
  for (const char job : {'L', 'l', 'R', 'r'}) {
    EXPECT_EQ(gaps<TypeParam>(job, 3, 3, {9, 4, 1}), V({5, 3, 3}));
    EXPECT_EQ(gaps<TypeParam>(job, 3, 3, {1, 4, 9}), V({3, 3, 5}));
  }
}

/// Vectors for which there are more dimensions than values have values of zero beside them.
TYPED_TEST(VectorGaps, CountZeroWhereThereAreMoreDimensions) {
  using V = std::vector<TypeParam>;
  EXPECT_EQ(gaps<TypeParam>('L', 5, 3, {9, 4, 1}), V({5, 3, 1}));
  EXPECT_EQ(gaps<TypeParam>('L', 5, 3, {1, 4, 9}), V({1, 3, 5}));
  EXPECT_EQ(gaps<TypeParam>('R', 5, 3, {9, 4, 1}), V({5, 3, 3}));
  EXPECT_EQ(gaps<TypeParam>('R', 3, 5, {9, 4, 1}), V({5, 3, 1}));
  EXPECT_EQ(gaps<TypeParam>('R', 3, 5, {1, 4, 9}), V({1, 3, 5}));
  EXPECT_EQ(gaps<TypeParam>('L', 3, 5, {1, 4, 9}), V({3, 3, 5}));
}

TYPED_TEST(VectorGaps, AreNoSmallerThanRounding) {
  using R = TypeParam;
  const R eps = std::numeric_limits<R>::epsilon() / 2, tiny = std::numeric_limits<R>::min();
  EXPECT_EQ(gaps<R>('E', 3, 0, {-8, 2, 2}), std::vector<R>({10, 8 * eps, 8 * eps}));
  EXPECT_EQ(gaps<R>('E', 2, 0, {0, 0}), std::vector<R>({eps, eps}));
  EXPECT_EQ(gaps<R>('E', 2, 0, {2 * tiny, 2 * tiny}), std::vector<R>({tiny, tiny}));
}

TYPED_TEST(VectorGaps, AreUnboundedForASingleValue) {
  using R = TypeParam;
  EXPECT_EQ(gaps<R>('E', 1, 0, {5}), std::vector<R>({std::numeric_limits<R>::max()}));
  EXPECT_EQ(gaps<R>('L', 2, 1, {5}), std::vector<R>({5}));
  EXPECT_EQ(gaps<R>('E', 0, 0, {}), std::vector<R>());
}

template <RealScalar R>
struct CheckedCall {
  char job = 'L';
  Int m = 3, n = 3;
  GuardedVector<R> d = guarded<R>({1, 2, 3}), sep{3};

  Int run() {
    Int info = -77;
    routine_call::disna(job, m, n, d.data(), sep.data(), info);
    return info;
  }
  bool unchanged() const { return d.guards_unchanged() && sep.unchanged(); }
};

TYPED_TEST(VectorGaps, CheckTheirArguments) {
  using Call = CheckedCall<TypeParam>;
  const std::string name = reported_name<TypeParam>("DISNA");
  expect_argument_checks<Call>(name, {{1, [](Call& c) { c.job = 'X'; }},
                                      {2, [](Call& c) { c.m = -1; }},
                                      {3, [](Call& c) { c.n = -1; }},
                                      {4, [](Call& c) { c.d(2) = 4; }}});
  for (const auto& [job, values] : std::vector<std::pair<char, std::vector<TypeParam>>>{
           {'L', {-1, 2, 3}}, {'R', {3, 2, -1}}, {'E', {1, std::numeric_limits<TypeParam>::quiet_NaN(), 3}}}) {
    Call call;
    call.job = job;
    call.d = guarded(values);
    expect_report(call, name, 4);
  }
}

}  // namespace
}  // namespace nuv::test
