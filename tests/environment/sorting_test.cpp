// Sorting and merging: ?lasrt, ?lamrg.

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>

#include "frame/option_matching.hpp"
#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"

namespace nuv::test {
namespace {

template <class T>
class Sorting : public ReportingTest {
 protected:
  Random random{27};
};
TYPED_TEST_SUITE(Sorting, RealPrecisions, PrecisionLetter);

/// Orders of the input, as a function of place and length.
struct Pattern {
  const char* name;
  std::function<double(Int i, Int n)> value;
};

std::vector<Pattern> patterns(Random& random) {
  return {{"random", [&](Int, Int) { return random.real(); }},
          {"increasing", [](Int i, Int) { return i; }},
          {"decreasing", [](Int i, Int n) { return n - i; }},
          {"equal", [](Int, Int) { return 3.0; }},
          {"organ pipes", [](Int i, Int n) { return std::min(i, n - i); }},
          {"valley", [](Int i, Int n) { return std::max(i, n - i); }},
          {"saw teeth", [](Int i, Int) { return i % 7; }},
          {"two values", [&](Int, Int) { return random.integer(0, 1); }},
          {"one outlier", [](Int i, Int n) { return i == n / 2 ? 1 : 0; }},
          {"largest last", [](Int i, Int n) { return i == n - 1 ? n : i / 2; }},
          {"infinities", [&](Int, Int) {
             return random.pick(std::vector<double>{-HUGE_VAL, 0, HUGE_VAL});
           }}};
}

constexpr Int lengths[] = {0, 1, 2, 3, 10, 19, 20, 21, 22, 23, 39, 40, 41, 42, 43, 100, 1000, 4097, 100'000};

TYPED_TEST(Sorting, SortsEveryPattern) {
  using T = TypeParam;
  for (const Pattern& pattern : patterns(this->random)) {
    for (const Int n : lengths) {
      for (const char id : {'I', 'i', 'D', 'd'}) {
        GuardedVector<T> d(n);
        for (Int i = 1; i <= n; ++i) d(i) = T(pattern.value(i - 1, n));
        std::vector<T> expected(d.data(), d.data() + n);
        if (same_letter(id, 'I')) {
          std::sort(expected.begin(), expected.end());
        } else {
          std::sort(expected.begin(), expected.end(), std::greater<>());
        }
        Int info = 99;
        routine_call::lasrt(id, n, d.data(), info);
        EXPECT_EQ(info, 0);
        EXPECT_TRUE(d.guards_unchanged());
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), d.data())) << pattern.name << " " << n << " " << id;
      }
    }
  }
}

TYPED_TEST(Sorting, EndsWithNaNAndLosesNothing) {
  using T = TypeParam;
  for (const Int n : {5, 20, 21, 22, 60, 500}) {
    for (int repetition = 0; repetition < 50; ++repetition) {
      for (const char id : {'I', 'D'}) {
        GuardedVector<T> d(n);
        Int nans = 0;
        for (Int i = 1; i <= n; ++i) {
          const bool is_nan = this->random.integer(1, 4) == 1;
          nans += is_nan;
          d(i) = is_nan ? std::numeric_limits<T>::quiet_NaN() : T(i);
        }
        double sum = 0;
        for (Int i = 1; i <= n; ++i) sum += std::isnan(d(i)) ? 0 : d(i);
        Int info = 99;
        routine_call::lasrt(id, n, d.data(), info);
        EXPECT_TRUE(d.guards_unchanged());
        for (Int i = 1; i <= n; ++i) {
          nans -= std::isnan(d(i));
          sum -= std::isnan(d(i)) ? 0 : d(i);
        }
        EXPECT_EQ(nans, 0);
        EXPECT_EQ(sum, 0);
      }
    }
  }
}

template <RealScalar T>
struct Lasrt {
  char id = 'I';
  Int n = 3;
  GuardedVector<T> d{3};

  Lasrt() {
    for (Int i = 1; i <= 3; ++i) d(i) = T(i);
    d.seal();
  }
  Int run() {
    Int info = 99;
    routine_call::lasrt(id, n, d.data(), info);
    return info;
  }
  bool unchanged() const { return d.unchanged(); }
};

TYPED_TEST(Sorting, ReportsBadArguments) {
  using Call = Lasrt<TypeParam>;
  expect_argument_checks<Call>(
      reported_name<TypeParam>("LASRT"),
      {{1, [](Call& c) { c.id = 'X'; }}, {1, [](Call& c) { c.id = ' '; }}, {2, [](Call& c) { c.n = -1; }}});
}

// ----------------------------------------------------------------------------------------------------------- merging

TYPED_TEST(Sorting, MergesSetsOfBothDirections) {
  using T = TypeParam;
  for (const Int n1 : {0, 1, 2, 7, 30}) {
    for (const Int n2 : {0, 1, 3, 8, 31}) {
      for (const Int dtrd1 : {1, -1}) {
        for (const Int dtrd2 : {1, -1}) {
          GuardedVector<T> a(n1 + n2);
          GuardedVector<Int> index(n1 + n2);
          for (Int i = 1; i <= n1 + n2; ++i) a(i) = T(this->random.integer(1, 12));
          const auto sort = [](T* from, T* to, Int direction) {
            std::sort(from, to);
            if (direction < 0) std::reverse(from, to);
          };
          sort(a.data(), a.data() + n1, dtrd1);
          sort(a.data() + n1, a.data() + n1 + n2, dtrd2);
          a.seal();
          routine_call::lamrg(n1, n2, a.data(), dtrd1, dtrd2, index.data());
          EXPECT_TRUE(a.unchanged());
          EXPECT_TRUE(index.guards_unchanged());

          // Places in the order of the sets, which a stable sort keeps among equal numbers.
          std::vector<Int> expected;
          for (Int i = 0; i < n1; ++i) expected.push_back(dtrd1 > 0 ? 1 + i : n1 - i);
          for (Int i = 0; i < n2; ++i) expected.push_back(dtrd2 > 0 ? n1 + 1 + i : n1 + n2 - i);
          std::stable_sort(expected.begin(), expected.end(), [&](Int i, Int j) { return a(i) < a(j); });
          EXPECT_EQ(std::vector<Int>(index.data(), index.data() + n1 + n2), expected)
              << n1 << " " << n2 << " " << dtrd1 << " " << dtrd2;
        }
      }
    }
  }
}

}  // namespace
}  // namespace nuv::test
