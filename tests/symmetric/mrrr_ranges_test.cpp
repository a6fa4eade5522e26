// Parts of the spectrum by multiple relatively robust representations: ?stemr by index and by value.

#include "symmetric/mrrr_problem.hpp"

namespace nuv::test {
namespace {

template <class T>
class MrrrRanges : public testing::Test {};
TYPED_TEST_SUITE(MrrrRanges, Precisions, PrecisionLetter);

TYPED_TEST(MrrrRanges, FindsValuesByIndex) {
  using R = Real<TypeParam>;
  constexpr Int n = 43;
  for (const auto& described : described_tridiagonals<R>(n)) {
    const auto exact = wide_values(described.matrix);
    // Half of the values is where finding all of a block begins to pay.
    for (const auto& [il, iu] : {std::pair{1, 1}, {n, n}, {17, 17}, {1, n}, {20, 23}, {2, 21}, {2, 23}, {40, n}}) {
      expect_part<TypeParam>(described.matrix, exact, Wanted<R>::by_index(il, iu), il, iu - il + 1,
                             title(described) + ", " + std::to_string(il) + " to " + std::to_string(iu));
    }
  }
}

/// Between values far enough apart that no rounding moves one across the border.
TYPED_TEST(MrrrRanges, FindsValuesInAnInterval) {
  using R = Real<TypeParam>;
  using W = WideReal<R>;
  constexpr Int n = 43;
  for (const auto& described : described_tridiagonals<R>(n)) {
    const auto exact = wide_values(described.matrix);
    const W norm = std::max(std::abs(exact.front()), std::abs(exact.back()));
    const auto border_behind = [&](Int count) {
      for (; count < n; ++count) {
        const W below = exact[std::size_t(count - 1)], above = exact[std::size_t(count)];
        if (above - below > 100 * n * epsilon<R> * norm) return std::pair{count, R((below + above) / 2)};
      }
      return std::pair{n, R(norm * W(1.1)) + std::numeric_limits<R>::min()};
    };
    for (const auto& [from, to] : {std::pair{1, 2}, {3, 9}, {5, 40}, {12, 38}, {30, n}}) {
      const auto [first, vl] = border_behind(from);
      const auto [last, vu] = border_behind(to);
      if (!(vl < vu)) continue;
      expect_part<TypeParam>(described.matrix, exact, Wanted<R>::by_value(vl, vu), first + 1, last - first,
                             title(described) + ", behind " + std::to_string(first) + " to " + std::to_string(last));
    }
  }
}

/// Relative gaps of a few thousandths, far from the shift of the root, which the factors of twisted vectors see.
TYPED_TEST(MrrrRanges, FindsValuesFarFromTheShift) {
  using R = Real<TypeParam>;
  constexpr Int n = 63;
  for (const auto& described : described_tridiagonals<R>(n)) {
    if (described.name != std::string("of both signs")) continue;
    const auto exact = wide_values(described.matrix);
    for (const auto& [il, iu] : {std::pair{5, 52}, {3, 40}, {12, 61}}) {
      expect_part<TypeParam>(described.matrix, exact, Wanted<R>::by_index(il, iu), il, iu - il + 1,
                             title(described) + ", " + std::to_string(il) + " to " + std::to_string(iu));
    }
  }
}

TYPED_TEST(MrrrRanges, FindsNothingInAnEmptyInterval) {
  using R = Real<TypeParam>;
  for (const Int n : {1, 2, 3, 30}) {
    for (const auto& [vl, vu] : {std::pair{R(100), R(200)}, {R(-200), R(-100)}}) {
      for (const char jobz : {'N', 'V'}) {
        Mrrr<TypeParam> call(jobz, Wanted<R>::by_value(vl, vu), one_two_one<R>(n), 0);
        call.run();
        EXPECT_EQ(call.info, 0);
        EXPECT_EQ(call.m, 0);
        EXPECT_TRUE(call.Z.unchanged());
      }
    }
  }
}

/// The lower end of the interval does not belong to it, the upper one does.
TYPED_TEST(MrrrRanges, CountsTheUpperEndIn) {
  using R = Real<TypeParam>;
  for (const Int n : {1, 2, 5}) {
    Tridiagonal<R> matrix{std::vector<R>(std::size_t(n)), std::vector<R>(std::size_t(n - 1))};
    for (Int i = 0; i < n; ++i) matrix.d[std::size_t(i)] = R(i + 1);
    for (Int k = 1; k <= n; ++k) {
      Mrrr<TypeParam> call('V', Wanted<R>::by_value(R(k - 1), R(k)), matrix);
      call.run();
      EXPECT_EQ(call.info, 0);
      ASSERT_EQ(call.m, 1) << n << ' ' << k;
      EXPECT_EQ(call.w(1), R(k));
      EXPECT_EQ(std::abs(call.Z(k, 1)), R(1));
      EXPECT_EQ(call.isuppz(1), k);
      EXPECT_EQ(call.isuppz(2), k);
    }
  }
}

/// Border by border through clusters: each value by its index alone is one of T with a vector that belongs to it.
TYPED_TEST(MrrrRanges, FindsSingleValuesInsideClusters) {
  using R = Real<TypeParam>;
  constexpr Int n = 63;
  const Tridiagonal<R> matrix = glued_wilkinson<R>(n, std::sqrt(epsilon<R>));
  const auto exact = wide_values(matrix);
  for (Int k = 1; k <= n; ++k) {
    expect_part<TypeParam>(matrix, exact, Wanted<R>::by_index(k, k), k, 1, "value " + std::to_string(k));
    if (k > 1) {
      expect_part<TypeParam>(matrix, exact, Wanted<R>::by_index(k - 1, k), k - 1, 2,
                             "values up to " + std::to_string(k));
    }
  }
}

/// Borders through clusters of a block that is not the only one.
TYPED_TEST(MrrrRanges, FindsPartsOfClustersInSeveralBlocks) {
  using R = Real<TypeParam>;
  constexpr Int n = 84;
  for (const R sign : {R(1), R(-1)}) {
    for (const std::size_t cut : {20, 62}) {
      Tridiagonal<R> matrix = glued_wilkinson<R>(n, std::sqrt(epsilon<R>));
      for (R& x : matrix.d) x *= sign;
      matrix.e[cut] = 0;
      const auto exact = wide_values(matrix);
      for (Int il = 1; il + 12 <= n; il += 3) {
        expect_part<TypeParam>(matrix, exact, Wanted<R>::by_index(il, il + 12), il, 13,
                               "values from " + std::to_string(il));
      }
    }
  }
}

}  // namespace
}  // namespace nuv::test
