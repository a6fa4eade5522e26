// The generalised singular value decomposition: ggsvd, ggsvd3.

#include <algorithm>
#include <array>
#include <limits>
#include <numeric>
#include <utility>

#include "generalised/pair_calls.hpp"
#include "support/argument_checks.hpp"
#include "support/deadline.hpp"
#include "support/described_matrices.hpp"
#include "support/filled.hpp"

namespace nuv::test {
namespace {

template <class T>
class GeneralisedSvd : public ReportingTest {
 protected:
  Random random{831};
};
TYPED_TEST_SUITE(GeneralisedSvd, Precisions, PrecisionLetter);

template <Scalar T>
GgsvdCall<T> solved(const char* jobs, const GuardedMatrix<T>& A, const GuardedMatrix<T>& B) {
  GgsvdCall<T> call(jobs, A, B);
  EXPECT_EQ(call.run(), 0);
  return call;
}

/// The exchanges that are told sort alpha, and lead to what is left in the workspace.
template <Scalar T>
std::vector<double> expect_sorted(const GgsvdCall<T>& call) {
  const Int first = call.k + 1, last = std::min(call.k + call.l, call.m);
  std::vector<Real<T>> alpha(call.alpha.data(), call.alpha.data() + call.n);
  for (Int i = first; i <= last; ++i) {
    const Int partner = call.iwork(i);
    EXPECT_TRUE(partner >= i && partner <= last) << partner;
    std::swap(alpha[std::size_t(i - 1)], alpha[std::size_t(partner - 1)]);
  }
  for (Int i = 1; i <= call.n; ++i) EXPECT_EQ(alpha[std::size_t(i - 1)], call.sorted(i)) << i;
  if (last < first) return {};
  const std::vector<double> pairs(alpha.begin() + call.k, alpha.begin() + last);
  EXPECT_TRUE(std::is_sorted(pairs.begin(), pairs.end(), std::greater<>()));
  return pairs;
}

/// Decomposes a pair. False where what rounding left of its zeros came out just above the tolerance for ranks: they are
/// those of the rounded numbers then.
template <Scalar T>
bool decomposes_as_known(Random& random, const PairShape& shape) {
  const KnownPair<T> pair(random, shape);
  const GgsvdCall<T> call = solved("UVQ", pair.A, pair.B);
  expect_decomposed<GgsvdCall<T>, T>(call, pair.A, pair.B);
  const std::vector<double> alpha = expect_sorted(call);
  if (call.k > shape.k || call.l > shape.l) {
    const bool in_a = call.k > shape.k;
    const T excess = in_a ? call.A(call.k, call.n - call.l) : call.B(call.l, call.n);
    EXPECT_LT(std::abs(excess), 4 * usual_tolerance(in_a ? pair.A : pair.B));
    return false;
  }
  EXPECT_EQ(call.shape().text(), shape.text());
  EXPECT_EQ(alpha.size(), pair.alpha.size());
  for (std::size_t i = 0; i < std::min(alpha.size(), pair.alpha.size()); ++i) {
    EXPECT_LT(std::abs(alpha[i] - pair.alpha[i]), pair_threshold * shape.longest() * epsilon<T>) << i;
  }
  return true;
}
TYPED_TEST(GeneralisedSvd, OfAllSmallShapesAndRanks) {
  int all = 0, known = 0;
  for (const Int m : {0, 1, 2, 4, 5, 6}) {
    for (const Int p : {0, 1, 2, 4, 5, 6}) {
      for (const Int n : {0, 1, 3, 5}) {
        for (const PairShape& shape : shapes_of(m, p, n)) {
          SCOPED_TRACE(shape.text());
          ++all;
          if (decomposes_as_known<TypeParam>(this->random, shape)) ++known;
        }
      }
    }
  }
  EXPECT_GT(known, 0.99 * all);
}

TYPED_TEST(GeneralisedSvd, OfLargerMatrices) {
  for (const PairShape& shape : std::initializer_list<PairShape>{
           {30, 25, 20, 0, 20}, {40, 35, 30, 12, 9}, {12, 35, 30, 3, 27}, {50, 10, 30, 20, 10}, {12, 9, 30, 12, 9}}) {
    SCOPED_TRACE(shape.text());
    EXPECT_TRUE(decomposes_as_known<TypeParam>(this->random, shape));
  }
}

/// Against the singular values of A B^-1.
TYPED_TEST(GeneralisedSvd, OfASquareBHasTheValuesOfTheQuotient) {
  using T = TypeParam;
  for (const Int n : {1, 2, 3, 6, 10}) {
    for (const Int m : {n, 2 * n}) {
      SCOPED_TRACE(testing::Message() << m << " by " << n);
      const GuardedMatrix<T> A = random_matrix<T>(this->random, m, n, m + 1);
      GuardedMatrix<T> B = random_triangle<T>(this->random, true, false, n, n);
      for (Int j = 1; j <= n; ++j) {
        for (Int i = j + 1; i <= n; ++i) B(i, j) = T(0);
      }
      B.seal();
      const GgsvdCall<T> call = solved("NNN", A, B);
      ASSERT_EQ(call.k, 0);
      ASSERT_EQ(call.l, n);
      const std::vector<double> expected = wide_quotients(A, B);
      const std::vector<double> alpha = expect_sorted(call);
      for (std::size_t i = 0; i < alpha.size(); ++i) {
        const double cosine = expected[i] / std::hypot(1, expected[i]);
        EXPECT_LT(std::abs(alpha[i] - cosine), pair_threshold * m * epsilon<T>) << i;
      }
    }
  }
}

/// For B = I they are the singular values of A, and for A = I their reciprocals are those of B.
TYPED_TEST(GeneralisedSvd, WithTheIdentityIsTheSvd) {
  using T = TypeParam;
  using R = Real<T>;
  GuardedMatrix<T> A(3, 3, 3);
  for (Int j = 1; j <= 3; ++j) {
    for (Int i = 1; i <= 3; ++i) A(i, j) = T(0);
  }
  A(1, 3) = T(12);
  A(2, 1) = T(R(0.75));
  A(3, 2) = T(R(5) / 12);
  A.seal();
  const double quotients[] = {12, 0.75, 5.0 / 12};
  const GgsvdCall<T> of_a = solved("UVQ", A, identity<T>(3, 3)), of_b = solved("UVQ", identity<T>(3, 3), A);
  const std::vector<double> cosines = expect_sorted(of_a), sines = expect_sorted(of_b);
  ASSERT_TRUE(cosines.size() == 3 && sines.size() == 3);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_NEAR(cosines[i], quotients[i] / std::hypot(1, quotients[i]), 4 * epsilon<T>);
    EXPECT_NEAR(sines[2 - i], 1 / std::hypot(1, quotients[i]), 4 * epsilon<T>);
  }
}

TYPED_TEST(GeneralisedSvd, IsTheSameWhateverIsWanted) {
  using T = TypeParam;
  for (const PairShape& shape : std::initializer_list<PairShape>{{5, 4, 6, 2, 3}, {3, 6, 5, 1, 4}, {7, 5, 4, 0, 4}}) {
    SCOPED_TRACE(shape.text());
    const KnownPair<T> pair(this->random, shape);
    const GgsvdCall<T> all = solved("UVQ", pair.A, pair.B);
    for (const char* jobs : wanted_vectors) {
      SCOPED_TRACE(jobs);
      const GgsvdCall<T> some = solved(jobs, pair.A, pair.B);
      EXPECT_TRUE(some.k == all.k && some.l == all.l);
      EXPECT_TRUE(some.A.same_as(all.A) && some.B.same_as(all.B));
      EXPECT_TRUE(some.alpha.same_as(all.alpha) && some.beta.same_as(all.beta));
      EXPECT_TRUE(some.iwork.same_as(all.iwork));
      expect_same_vectors<T>(some, all);
    }
  }
}

/// Ranks are those of the numbers beside eps, and not beside one.
TYPED_TEST(GeneralisedSvd, FindsRanksAtAnyScale) {
  using T = TypeParam;
  using R = Real<T>;
  const R large = std::sqrt(std::numeric_limits<R>::max()) / 16, small = 1 / large;
  for (const auto& [scale_of_a, scale_of_b] :
       {std::pair{R(1), R(1)}, {large, R(1)}, {R(1), large}, {small, small}, {large, large}, {small, R(1)}}) {
    for (const PairShape& shape : std::initializer_list<PairShape>{{5, 4, 6, 2, 3}, {6, 6, 4, 1, 2}, {4, 6, 5, 0, 5}}) {
      SCOPED_TRACE(testing::Message() << shape.text() << ", scales " << scale_of_a << ", " << scale_of_b);
      KnownPair<T> pair(this->random, shape);
      for (Int j = 1; j <= shape.n; ++j) {
        for (Int i = 1; i <= shape.m; ++i) pair.A(i, j) *= scale_of_a;
        for (Int i = 1; i <= shape.p; ++i) pair.B(i, j) *= scale_of_b;
      }
      pair.A.seal();
      pair.B.seal();
      const GgsvdCall<T> call = solved("UVQ", pair.A, pair.B);
      EXPECT_EQ(call.shape().text(), shape.text());
      expect_decomposed<GgsvdCall<T>, T>(call, pair.A, pair.B);
      expect_sorted(call);
    }
  }
}

/// Products of elements of A and B would leave the range.
TYPED_TEST(GeneralisedSvd, KeepsToItsRange) {
  using T = TypeParam;
  using R = Real<T>;
  const int far = std::numeric_limits<R>::max_exponent - 10;
  const auto times = [](GuardedMatrix<T> A, int exponent) {
    for (Int j = 1; j <= A.columns(); ++j) {
      for (Int i = 1; i <= A.rows(); ++i) A(i, j) *= std::ldexp(R(1), exponent);
    }
    A.seal();
    return A;
  };
  const KnownPair<T> pair(this->random, {6, 5, 5, 1, 4});
  for (const auto& [in_a, in_b] : {std::pair{far, far}, {-far, -far}, {far, 0}, {0, far}, {-far, 0}, {0, -far}}) {
    SCOPED_TRACE(testing::Message() << "A times 2^" << in_a << ", B times 2^" << in_b);
    const GuardedMatrix<T> A = times(pair.A, in_a), B = times(pair.B, in_b);
    const GgsvdCall<T> call = solved("UVQ", A, B);
    EXPECT_EQ(call.shape().text(), pair.shape.text());
    expect_decomposed<GgsvdCall<T>, T>(call, A, B);
    const std::vector<double> alpha = expect_sorted(call);
    ASSERT_EQ(alpha.size(), pair.alpha.size());
    if (in_a != in_b) continue;
    for (std::size_t i = 0; i < alpha.size(); ++i) EXPECT_NEAR(alpha[i], pair.alpha[i], 60 * epsilon<T>);
  }
}

/// What is zero in both belongs to no pair; a B of rank zero leaves infinite values alone, and an A of rank zero zeros.
TYPED_TEST(GeneralisedSvd, OfMatricesOfZeros) {
  using T = TypeParam;
  const auto zeros = [](Int m, Int n) {
    GuardedMatrix<T> A(m, n, m);
    for (Int j = 1; j <= n; ++j) std::fill_n(&A(1, j), m, T(0));
    A.seal();
    return A;
  };
  const GuardedMatrix<T> X = random_matrix<T>(this->random, 4, 3, 5);
  struct Case {
    GuardedMatrix<T> A, B;
    Int k, l;
    Real<T> alpha, beta;
  };
  for (const Case& one : {Case{X, zeros(2, 3), 3, 0, 1, 0}, Case{zeros(2, 3), X, 0, 3, 0, 1},
                          Case{zeros(4, 3), zeros(5, 3), 0, 0, 0, 0}}) {
    const GgsvdCall<T> call = solved("UVQ", one.A, one.B);
    SCOPED_TRACE(call.shape().text());
    EXPECT_EQ(call.k, one.k);
    EXPECT_EQ(call.l, one.l);
    expect_decomposed<GgsvdCall<T>, T>(call, one.A, one.B);
    for (Int i = 1; i <= 3; ++i) EXPECT_TRUE(call.alpha(i) == one.alpha && call.beta(i) == one.beta) << i;
  }
}

/// Numbers that are less than the tolerance of the least norm count as zeros.
TYPED_TEST(GeneralisedSvd, OfTheLeastNumbersHasNoRank) {
  using T = TypeParam;
  GuardedMatrix<T> A(3, 3, 3);
  for (Int j = 1; j <= 3; ++j) {
    for (Int i = 1; i <= 3; ++i) A(i, j) = T(i == j ? std::numeric_limits<Real<T>>::denorm_min() : Real<T>(0));
  }
  A.seal();
  const GgsvdCall<T> call = solved("UVQ", A, A);
  EXPECT_EQ(call.k, 0);
  EXPECT_EQ(call.l, 0);
}

/// Each matrix that is hard to compute with beside each other one.
TYPED_TEST(GeneralisedSvd, OfMatricesThatAreHardToComputeWith) {
  using T = TypeParam;
  DescribedMatrices described(43);
  std::vector<Description> descriptions(std::begin(matrices_of_full_rank), std::end(matrices_of_full_rank));
  descriptions.insert(descriptions.end(), std::begin(rank_deficient_matrices), std::end(rank_deficient_matrices));
  for (const Description& of_a : descriptions) {
    for (const Description& of_b : descriptions) {
      for (const auto& [m, p, n] : {std::array<Int, 3>{12, 10, 10}, {8, 11, 9}, {7, 6, 10}}) {
        SCOPED_TRACE(testing::Message() << of_a.name << " and " << of_b.name << ", " << m << ' ' << p << ' ' << n);
        const GuardedMatrix<T> A = described.general<T>(of_a, m, n, m), B = described.general<T>(of_b, p, n, p + 1);
        const GgsvdCall<T> call = solved("UVQ", A, B);
        expect_sorted(call);
        // Pairs are quotients of the first elements of rows, where these are tiny beside the others not to all digits.
        const bool rows_begin_with_tiny_elements = of_a.column_grade != 0 && of_b.column_grade != 0;
        if (!rows_begin_with_tiny_elements) expect_decomposed<GgsvdCall<T>, T>(call, A, B);
        EXPECT_LT(unitarity<T>(wide(call.Q)), pair_threshold);
      }
    }
  }
}

/// A NaN leaves ranks that can't be told, and no pair that could be taken for one.
TYPED_TEST(GeneralisedSvd, ShowsNumbersThatAreNotFinite) {
  using T = TypeParam;
  using R = Real<T>;
  const KnownPair<T> pair(this->random, {5, 4, 4, 1, 3});
  for (const R value : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (Int j = 1; j <= 4; ++j) {
      for (Int i = 1; i <= 4; ++i) {
        for (const bool in_a : {true, false}) {
          GgsvdCall<T> call("UVQ", pair.A, pair.B);
          (in_a ? call.A : call.B)(i, j) = T(value);
          const Deadline deadline(20, "ggsvd");
          EXPECT_GE(call.run(), 0);
          EXPECT_TRUE(call.info == 1 || wide(call.alpha).hasNaN() || wide(call.A).hasNaN() || wide(call.B).hasNaN() ||
                      wide(call.Q).hasNaN())
              << value << " in " << (in_a ? 'A' : 'B') << i << j;
        }
      }
    }
  }
}

/// Ranks that can't be told are not taken for zero: beside an infinity, all numbers are smaller than a tolerance.
TYPED_TEST(GeneralisedSvd, TellsNoRanksBesideAnInfinity) {
  using T = TypeParam;
  using R = Real<T>;
  const R inf = std::numeric_limits<R>::infinity();
  const auto of_rows = [](Int m, Int n, std::initializer_list<R> rows) {
    GuardedMatrix<T> A(m, n, std::max(1, m));
    for (Int k = 0; k < m * n; ++k) A(k / n + 1, k % n + 1) = T(rows.begin()[k]);
    A.seal();
    return A;
  };
  const std::pair<GuardedMatrix<T>, GuardedMatrix<T>> pairs[] = {
      {identity<T>(3, 3), of_rows(1, 3, {inf, 1, 2})},
      {identity<T>(3, 3), of_rows(1, 3, {1, -inf, 2})},
      {of_rows(1, 3, {inf, 1, 2}), identity<T>(3, 3)},
      {identity<T>(2, 2), of_rows(2, 2, {inf, 0, 0, 1})},
      {of_rows(2, 2, {1, 0, 0, inf}), identity<T>(2, 2)},
      {of_rows(2, 2, {inf, 0, 0, 1}), of_rows(2, 2, {inf, 0, 0, 1})},
      {identity<T>(1, 1), of_rows(1, 1, {inf})},
      {of_rows(1, 1, {inf}), identity<T>(1, 1)},
      {of_rows(0, 2, {}), of_rows(1, 2, {inf, 0})}};
  for (const auto& [A, B] : pairs) {
    for (const char* jobs : {"UVQ", "NNN"}) {
      GgsvdCall<T> call(jobs, A, B);
      SCOPED_TRACE(testing::Message() << "pair " << &A - &pairs[0].first << ", " << jobs);
      const Deadline deadline(20, "ggsvd");
      EXPECT_EQ(call.run(), 1);
      EXPECT_EQ(call.l, std::min(call.p, call.n));
      EXPECT_EQ(call.k, std::min(call.m, call.n - call.l));
      EXPECT_TRUE(call.alpha.unchanged() && call.beta.unchanged());
    }
  }
}

/// No element is infinite, but the norm of one matrix is, and with it its tolerance unknown: ranks are full, and forty
/// cycles leave upper triangles and the matrices that lead to them, but no pairs. One more cycle would leave lower
/// ones.
TYPED_TEST(GeneralisedSvd, GivesTrianglesAloneWhereItDoesNotConverge) {
  using T = TypeParam;
  using R = Real<T>;
  // Rounding errors of so many rotations add up: the rows in question are few beside n.
  for (const auto& [m, p, n] : {std::array<Int, 3>{10, 3, 9}, {8, 3, 9}, {7, 4, 9}}) {
    for (const bool in_a : {true, false}) {
      GuardedMatrix<T> A = random_matrix<T>(this->random, m, n, m), B = random_matrix<T>(this->random, p, n, p + 1);
      GuardedMatrix<T>& one = in_a ? A : B;
      const R large = R(1.05) / R(one.rows()) * std::numeric_limits<R>::max();
      for (Int i = 1; i <= one.rows(); ++i) {
        one(i, 1) = T(i % 2 == 0 ? large : -large);
        for (Int j = 2; j <= n; ++j) one(i, j) *= large / 16;
      }
      GgsvdCall<T> call("UVQ", A, B);
      SCOPED_TRACE(testing::Message() << m << ' ' << p << ' ' << n << in_a);
      EXPECT_EQ(call.run(), 1);
      EXPECT_EQ(call.l, std::min(p, n));
      EXPECT_EQ(call.k, std::min(m, n - call.l));
      EXPECT_TRUE(call.alpha.unchanged() && call.beta.unchanged());
      expect_triangular(call);
      expect_forms<T>(call, A, B, wide(call.A), wide(call.B));
    }
  }
}

/// Where B has no rows no iteration shows it; the infinity stays in R.
TYPED_TEST(GeneralisedSvd, LeavesAnInfinityWithoutASecondMatrix) {
  using T = TypeParam;
  using R = Real<T>;
  GuardedMatrix<T> A(1, 2, 1);
  A(1, 1) = T(std::numeric_limits<R>::infinity());
  A(1, 2) = T(1);
  A.seal();
  const GgsvdCall<T> call = solved("UVQ", A, GuardedMatrix<T>(0, 2, 1));
  EXPECT_EQ(call.k, 1);
  EXPECT_EQ(call.l, 0);
  EXPECT_FALSE(std::isfinite(std::abs(call.A(1, 2))));
}

/// What ggsvd checks, with and without a length of workspace.
template <class C>
void expect_common_checks(const std::string& name) {
  expect_argument_checks<C>(name, {{1, [](C& c) { c.jobu = 'I'; }},
                                   {2, [](C& c) { c.jobv = 'U'; }},
                                   {3, [](C& c) { c.jobq = 'V'; }},
                                   {4, [](C& c) { c.m = -1; }},
                                   {5, [](C& c) { c.n = -1; }},
                                   {6, [](C& c) { c.p = -1; }},
                                   {10, [](C& c) { c.lda = 3; }},
                                   {12, [](C& c) { c.ldb = 2; }},
                                   {16, [](C& c) { c.ldu = 3; }},
                                   {18, [](C& c) { c.ldv = 2; }},
                                   {20, [](C& c) { c.ldq = 4; }}});
}

template <Scalar T>
struct ValidGgsvd : GgsvdCall<T> {
  ValidGgsvd() : GgsvdCall<T>("UVQ", matrix_of_five_columns<T>(4, 7), matrix_of_five_columns<T>(3, 4)) {}
};

TYPED_TEST(GeneralisedSvd, ChecksItsArguments) {
  using T = TypeParam;
  using C = ValidGgsvd<T>;
  const std::string name = reported_name<T>("GGSVD");
  expect_common_checks<C>(name);
  expect_room_for_vectors<C>(name, 16, 18, 20);
}

// ----------------------------------------------------------------------------------------- with a length of workspace

/// What ggsvd finds, with the least workspace, whose length it returns.
TYPED_TEST(GeneralisedSvd, WithALengthOfWorkspaceIsTheSame) {
  using T = TypeParam;
  for (const PairShape& shape : std::initializer_list<PairShape>{
           {0, 0, 0, 0, 0}, {1, 1, 0, 0, 0}, {5, 4, 6, 2, 3}, {3, 20, 5, 1, 4}, {20, 2, 4, 2, 2}}) {
    SCOPED_TRACE(shape.text());
    const KnownPair<T> pair(this->random, shape);
    const GgsvdCall<T> expected = solved("UVQ", pair.A, pair.B);
    Ggsvd3Call<T> call("UVQ", pair.A, pair.B);
    EXPECT_EQ(call.run(), 0);
    EXPECT_TRUE(call.k == expected.k && call.l == expected.l);
    EXPECT_TRUE(call.A.same_as(expected.A) && call.B.same_as(expected.B));
    EXPECT_TRUE(call.U.same_as(expected.U) && call.V.same_as(expected.V) && call.Q.same_as(expected.Q));
    EXPECT_TRUE(call.alpha.same_as(expected.alpha) && call.beta.same_as(expected.beta));
    EXPECT_TRUE(call.iwork.same_as(expected.iwork));
    EXPECT_EQ(call.room(1), T(Real<T>(call.room.size())));
  }
}

TYPED_TEST(GeneralisedSvd, TellsItsWorkspace) {
  using T = TypeParam;
  const std::string name = precision_letter<T> + std::string("GGSVD3");
  for (const auto& [m, p, n] : {std::array<Int, 3>{0, 0, 0}, {2, 1, 4}, {9, 3, 2}, {3, 9, 2}}) {
    Ggsvd3Call<T> call("UVQ", random_matrix<T>(this->random, m, n, m + 1), random_matrix<T>(this->random, p, n, p + 1));
    const Int least = call.lwork;
    for (const Int lwork : {0, -2, least - 1}) {
      call.lwork = lwork;
      expect_report(call, name, 22);
    }
    call.lwork = -1;
    EXPECT_EQ(call.run(), 0);
    EXPECT_EQ(call.room(1), T(Real<T>(least)));
    call.room(1) = guard<T>();
    EXPECT_TRUE(call.unchanged());
  }
}

template <Scalar T>
struct ValidGgsvd3 : Ggsvd3Call<T> {
  ValidGgsvd3() : Ggsvd3Call<T>("UVQ", matrix_of_five_columns<T>(4, 7), matrix_of_five_columns<T>(3, 4)) {}
};

TYPED_TEST(GeneralisedSvd, ChecksItsArgumentsWithALengthOfWorkspace) {
  using T = TypeParam;
  using C = ValidGgsvd3<T>;
  const std::string name = precision_letter<T> + std::string("GGSVD3");
  expect_common_checks<C>(name);
  expect_argument_checks<C>(name, {{20, [](C& c) { c.ldq = 4; }}, {22, [](C& c) { c.lwork = 19; }}});
}

}  // namespace
}  // namespace nuv::test
