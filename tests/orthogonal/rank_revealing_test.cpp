// Least squares with matrices of any rank: gelsy and gelsx.

#include "orthogonal/pivoted_systems.hpp"

#include <limits>
#include <numeric>
#include <utility>

#include "support/argument_checks.hpp"
#include "support/described_matrices.hpp"
#include "support/sanitized.hpp"

namespace nuv::test {
namespace {

template <class T>
class RankRevealing : public ReportingTest {
 protected:
  Random random{307};
};
TYPED_TEST_SUITE(RankRevealing, Precisions, PrecisionLetter);

/// Far above roundings, and far below the values of the tests.
template <Scalar T>
constexpr Real<T> between = Real<T>(std::same_as<Real<T>, float> ? 1e-4 : 1e-10);

template <Scalar T>
void expect_permutation(const SolvedSystem<T>& solved) {
  std::vector<Int> sorted(solved.jpvt.data(), solved.jpvt.data() + solved.jpvt.size()), places(sorted.size());
  std::ranges::sort(sorted);
  std::iota(places.begin(), places.end(), 1);
  EXPECT_EQ(sorted, places);
}

/// ||T|| is what ||A|| is, in the Frobenius norm.
template <Scalar T>
void expect_norm_of_triangle(const LowRankSystem<T>& system, const SolvedSystem<T>& solved) {
  const WideMatrix<T> R = wide_triangle(solved.A, true, false).topLeftCorner(solved.rank, solved.rank);
  const WideReal<T> unit = wide(system.a_scale);
  const WideReal<T> norm = (wide(system.A) / Wide<T>(unit)).norm();
  EXPECT_LE(std::abs((R / Wide<T>(unit)).norm() - norm), threshold * system.sizes.longer() * epsilon<T> * norm);
}

template <Scalar T>
void expect_solution(const LowRankSystem<T>& system, const SolvedSystem<T>& solved) {
  EXPECT_EQ(solved.rank, system.rank());
  EXPECT_LT(system.error_of(solved.B, system.rank()), threshold);
  EXPECT_LT(system.error_of_least_squares(solved.B), threshold);
  EXPECT_LT(system.error_of_least_norm(solved.B), threshold);
  if (system.rank() == 0) return;
  expect_permutation(solved);
  expect_norm_of_triangle(system, solved);
}

TYPED_TEST(RankRevealing, FindsTheShortestSolutionAtEveryRank) {
  using T = TypeParam;
  for (const SystemSizes& s :
       {SystemSizes{1, 1, 1}, {1, 6, 2}, {6, 1, 2}, {7, 5, 3}, {5, 7, 3}, {8, 8, 1}, {30, 9, 2}, {9, 30, 2}}) {
    for (Int rank = 0; rank <= s.mn(); ++rank) {
      const LowRankSystem<T> system(this->random, s, values_down_to(0.3, rank));
      for (const Way way : both_ways) {
        SCOPED_TRACE(to_string(s) + ", rank " + std::to_string(rank) + (way == Way::by_blocks ? "" : ", one by one"));
        expect_solution(system, solve_pivoted(way, system, between<T>));
      }
    }
  }
}

/// Ranks on both sides of where Z goes by blocks, and sizes of where panels begin.
TYPED_TEST(RankRevealing, FindsTheShortestSolutionOfLargerSystems) {
  using T = TypeParam;
  const struct {
    SystemSizes sizes;
    std::vector<Int> ranks;
  } cases[] = {{{80, 70, 3}, {31, 32, 33, 65, 70}},
               {{70, 80, 66}, {32, 33, 70}},
               {{180, 165, 2}, {40, 165}},
               {{165, 180, 2}, {100, 165}},
               {{700, 20, 4}, {7, 20}},
               {{20, 700, 4}, {7, 20}},
               {{40, 30, 200}, {29, 30}}};
  for (const auto& [sizes, ranks] : cases) {
    if (is_sanitized && sizes.longer() > 100) continue;
    for (const Int rank : ranks) {
      SCOPED_TRACE(to_string(sizes) + ", rank " + std::to_string(rank));
      const LowRankSystem<T> system(this->random, sizes, values_down_to(0.3, rank));
      expect_solution(system, solve_pivoted(Way::by_blocks, system, between<T>));
      if (sizes.mn() <= 80) expect_solution(system, solve_pivoted(Way::one_by_one, system, between<T>));
    }
  }
}

TYPED_TEST(RankRevealing, KeepsToItsWorkspace) {
  using T = TypeParam;
  for (const SystemSizes& s : {SystemSizes{7, 5, 3}, {5, 7, 3}, {3, 40, 1}, {40, 3, 1}, {4, 4, 90}, {180, 165, 2}}) {
    if (is_sanitized && s.longer() > 100) continue;
    const Int rank = std::max(1, s.mn() - 2);
    const LowRankSystem<T> system(this->random, s, values_down_to(0.3, rank));
    const Int least = least_system_lwork(s), kept = lwork_of_kept_norms<T>(s), best = best_system_lwork<T>(s);
    for (const Int lwork : {least, least + 1, kept - 1, kept, (kept + best) / 2, best, best + 5}) {
      if (lwork < least) continue;
      SCOPED_TRACE(to_string(s) + ", lwork " + std::to_string(lwork));
      const SolvedSystem<T> solved = solve_pivoted(Way::by_blocks, s, system.A, system.B, Real<T>(between<T>), lwork);
      expect_solution(system, solved);
      EXPECT_EQ(solved.work(1), T(Real<T>(best)));
    }
  }
}

/// Norms that are computed anew choose the columns that those do which are kept.
TYPED_TEST(RankRevealing, PivotsAlikeInLittleRoom) {
  using T = TypeParam;
  for (const SystemSizes& s : {SystemSizes{9, 7, 1}, {7, 9, 1}, {30, 30, 1}}) {
    for (const std::vector<Int>& fixed : {std::vector<Int>{}, {2, 5}}) {
      const LowRankSystem<T> system(this->random, s, values_down_to(0.1, s.mn()));
      const auto solve_in = [&](Int lwork) {
        return solve_pivoted(Way::by_blocks, s, system.A, system.B, between<T>, lwork, fixed);
      };
      EXPECT_TRUE(solve_in(least_system_lwork(s)).jpvt.same_as(solve_in(best_system_lwork<T>(s)).jpvt));
    }
  }
}

/// What stands below the right-hand sides of fewer equations than unknowns is nobody's.
TYPED_TEST(RankRevealing, ReadsNoMoreThanTheRightHandSides) {
  using T = TypeParam;
  const SystemSizes s{4, 9, 2};
  LowRankSystem<T> system(this->random, s, values_down_to(0.3, 4));
  for (const Way way : both_ways) {
    const SolvedSystem<T> plain = solve_pivoted(way, system, between<T>);
    LowRankSystem<T> other = system;
    for (Int j = 1; j <= 2; ++j) std::fill_n(&other.B(5, j), 5, T(std::numeric_limits<Real<T>>::max()));
    EXPECT_TRUE(plain.B.same_as(solve_pivoted(way, other, between<T>).B));
  }
}

TYPED_TEST(RankRevealing, TakesValuesByTheConditionThatIsAllowed) {
  using T = TypeParam;
  using R = Real<T>;
  const double small = std::same_as<R, float> ? 1e-3 : 1e-5;
  for (const SystemSizes& s : {SystemSizes{40, 25, 2}, {25, 40, 2}, {150, 120, 1}}) {
    if (is_sanitized && s.longer() > 100) continue;
    std::vector<double> values = values_down_to(0.5, 12);
    for (const double value : values_down_to(0.5, s.mn() - 12)) values.push_back(small * value);
    const LowRankSystem<T> system(this->random, s, values);
    for (const Way way : both_ways) {
      // The estimates are off by a factor of three or so, and R by another.
      const SolvedSystem<T> all = solve_pivoted(way, system, R(small / 30)),
                            large = solve_pivoted(way, system, R(small * 30));
      EXPECT_EQ(all.rank, s.mn());
      EXPECT_LT(system.error_of(all.B, s.mn()), threshold);
      EXPECT_EQ(large.rank, 12);
      // What was left out was not zero: the solution is off by as much.
      const WideMatrix<T> expected = system.solution(12), difference = system.found(large.B) - expected;
      EXPECT_LT(one_norm<T>(difference), 20 * small * s.mn() * one_norm<T>(expected));
    }
  }
}

/// One column more or less by the condition number of the triangle itself: for two columns the estimate is exact.
TYPED_TEST(RankRevealing, ComparesTheConditionOfTheTriangle) {
  using T = TypeParam;
  using R = Real<T>;
  const SystemSizes s{2, 2, 1};
  for (const R second : {R(0.5), R(0.125)}) {
    GuardedMatrix<T> A(2, 2, 2), B(2, 1, 2);
    A(1, 1) = T(1);
    A(2, 2) = T(second);
    A(1, 2) = A(2, 1) = T(0);
    B(1, 1) = T(3);
    B(2, 1) = T(2);
    for (const Way way : both_ways) {
      for (const auto& [rcond, rank] : {std::pair(second, 2),
                                        {second * R(1.01), 1},
                                        {second * R(0.99), 2},
                                        {R(1), 1},
                                        {R(0), 2},
                                        {R(-1), 2},
                                        {R(7), 1}}) {
        const SolvedSystem<T> solved = solve_pivoted(way, s, A, B, rcond, best_system_lwork<T>(s));
        EXPECT_EQ(solved.rank, rank) << rcond;
        EXPECT_EQ(solved.B(1, 1), T(3));
        EXPECT_EQ(solved.B(2, 1), rank == 1 ? T(0) : T(2 / second));
      }
    }
  }
}

/// The same for more columns by the estimates made from here. A triangle with a real diagonal, whose columns may not be
/// pivoted, is its own R.
TYPED_TEST(RankRevealing, EstimatesTheConditionColumnByColumn) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 7;
  const SystemSizes s{n, n, 1};
  std::vector<Int> all(n);
  std::iota(all.begin(), all.end(), 1);
  for (int repeat = 0; repeat < 5; ++repeat) {
    GuardedMatrix<T> A = random_matrix<T>(this->random, n, n, n), B = random_matrix<T>(this->random, n, 1, n);
    for (Int j = 1; j <= n; ++j) {
      std::fill(&A(j, j), &A(1, j) + n, T(0));
      A(j, j) = T(R(1.2) - R(0.1) * R(j));
    }
    std::vector<R> ratios = {1};  // of the estimates for each number of columns
    GuardedVector<T> low(n), high(n);
    low(1) = high(1) = T(1);
    R least = std::abs(A(1, 1)), largest = least;
    for (Int j = 1; j < n; ++j) {
      T s1, c1, s2, c2;
      R next_least, next_largest;
      routine_call::laic1(2, j, low.data(), least, &A(1, j + 1), A(j + 1, j + 1), next_least, s1, c1);
      routine_call::laic1(1, j, high.data(), largest, &A(1, j + 1), A(j + 1, j + 1), next_largest, s2, c2);
      for (Int i = 1; i <= j; ++i) {
        low(i) *= s1;
        high(i) *= s2;
      }
      low(j + 1) = c1;
      high(j + 1) = c2;
      least = next_least;
      largest = next_largest;
      ratios.push_back(least / largest);
    }
    for (const R ratio : ratios) {
      for (const R factor : {R(0.999), R(1.001)}) {
        const R rcond = ratio * factor;
        const auto refused = std::ranges::find_if(ratios.begin() + 1, ratios.end(), [=](R r) { return r < rcond; });
        for (const Way way : both_ways) {
          EXPECT_EQ(solve_pivoted(way, s, A, B, rcond, best_system_lwork<T>(s), all).rank, refused - ratios.begin());
        }
      }
    }
  }
}

TYPED_TEST(RankRevealing, FindsTheRankOfDescribedMatrices) {
  using T = TypeParam;
  DescribedMatrices described(31);
  const auto rcond = Real<T>(std::pow(double(epsilon<T>), 0.65));
  for (const Description& description : rank_deficient_matrices) {
    for (const SystemSizes& s : {SystemSizes{50, 50, 1}, {50, 40, 1}, {40, 50, 1}, {170, 150, 1}}) {
      if (is_sanitized && s.longer() > 100) continue;
      SCOPED_TRACE(std::string(description.name) + ", " + to_string(s));
      const GuardedMatrix<T> A = described.general<T>(description, s.m, s.n, s.m);
      const GuardedMatrix<T> B = random_matrix<T>(this->random, s.longer(), 1, s.longer());
      for (const Way way : both_ways) {
        EXPECT_EQ(solve_pivoted(way, s, A, B, rcond, best_system_lwork<T>(s)).rank,
                  DescribedMatrices::rank(description, s.mn()));
      }
    }
  }
}

TYPED_TEST(RankRevealing, FitsMatricesThatAreHardToSolveWith) {
  using T = TypeParam;
  DescribedMatrices described(37);
  for (const SystemSizes& s : {SystemSizes{40, 33, 2}, {33, 40, 2}, {20, 20, 1}}) {
    for (const Description& description : matrices_of_full_rank) {
      SCOPED_TRACE(to_string(s) + ", " + description.name);
      const GuardedMatrix<T> A = described.general<T>(description, s.m, s.n, s.m);
      const GuardedMatrix<T> B = random_matrix<T>(this->random, s.longer(), s.nrhs, s.longer());
      for (const Way way : both_ways) {
        const SolvedSystem<T> solved = solve_pivoted(way, s, A, B, Real<T>(0), best_system_lwork<T>(s));
        EXPECT_EQ(solved.rank, s.mn());
        const WideMatrix<T> wide_a = wide(A), adjoint = wide_a.adjoint(), X = wide(solved.B).topRows(s.n);
        const WideMatrix<T> residual = wide(B).topRows(s.m) - product<T>(wide_a, X);
        const double allowed = one_norm<T>(wide_a) * one_norm<T>(X) + one_norm<T>(WideMatrix<T>(wide(B).topRows(s.m)));
        const double unit = s.longer() * epsilon<T>;
        if (s.m <= s.n) {
          EXPECT_LT(one_norm<T>(residual) / (allowed * unit), threshold);
        }
        EXPECT_LT(one_norm<T>(product<T>(adjoint, residual)) / (one_norm<T>(adjoint) * allowed * unit), threshold);
      }
    }
  }
}

TYPED_TEST(RankRevealing, AgreesInBothWays) {
  using T = TypeParam;
  for (const SystemSizes& s : {SystemSizes{9, 6, 2}, {6, 9, 2}, {60, 50, 3}, {50, 60, 3}}) {
    const LowRankSystem<T> system(this->random, s, values_down_to(0.3, s.mn() - 3));
    const SolvedSystem<T> by_blocks = solve_pivoted(Way::by_blocks, system, between<T>),
                          one_by_one = solve_pivoted(Way::one_by_one, system, between<T>);
    EXPECT_EQ(by_blocks.rank, one_by_one.rank);
    EXPECT_TRUE(by_blocks.jpvt.same_as(one_by_one.jpvt));
    const WideMatrix<T> difference = system.found(by_blocks.B) - system.found(one_by_one.B);
    EXPECT_LT(one_norm<T>(difference) / (one_norm<T>(system.found(by_blocks.B)) * s.longer() * epsilon<T>),
              10 * threshold);
  }
}

// ------------------------------------------------------------------------------------------------------- fixed columns

TYPED_TEST(RankRevealing, PutsFixedColumnsInFront) {
  using T = TypeParam;
  for (const SystemSizes& s : {SystemSizes{12, 9, 2}, {9, 12, 2}, {4, 12, 1}}) {
    const LowRankSystem<T> system(this->random, s, values_down_to(0.5, s.mn()));
    for (const std::vector<Int>& fixed : {std::vector<Int>{4}, {2, 3, 8}, {1, 2, 3, 4, 5, 6, 7, 8, 9}, {9, 5}}) {
      for (const Way way : both_ways) {
        for (const Int lwork : {least_system_lwork(s), best_system_lwork<T>(s)}) {
          SCOPED_TRACE(to_string(s) + ", " + std::to_string(fixed.size()) + " fixed, lwork " + std::to_string(lwork));
          const SolvedSystem<T> solved = solve_pivoted(way, s, system.A, system.B, Real<T>(0), lwork, fixed);
          EXPECT_EQ(solved.rank, s.mn());
          expect_permutation(solved);
          std::vector<Int> in_order = fixed;
          std::ranges::sort(in_order);
          for (std::size_t k = 0; k < in_order.size(); ++k) EXPECT_EQ(solved.jpvt(Int(k + 1)), in_order[k]);
          // Columns as they come make a triangle of worse condition, by much less than a hundred here.
          EXPECT_LT(system.error_of(solved.B, s.mn()), 100 * threshold);
        }
      }
    }
  }
}

/// A zero column that has to stand in front leaves nothing to solve with.
TYPED_TEST(RankRevealing, IsOfRankZeroWithAZeroInFront) {
  using T = TypeParam;
  const SystemSizes s{5, 4, 2};
  GuardedMatrix<T> A = random_matrix<T>(this->random, 5, 4, 6);
  for (Int i = 1; i <= 5; ++i) A(i, 3) = T(0);
  const GuardedMatrix<T> B = random_matrix<T>(this->random, 5, 2, 5);
  for (const Way way : both_ways) {
    const SolvedSystem<T> solved = solve_pivoted(way, s, A, B, between<T>, best_system_lwork<T>(s), {3});
    EXPECT_EQ(solved.rank, 0);
    for (Int j = 1; j <= 2; ++j) {
      for (Int i = 1; i <= 5; ++i) EXPECT_EQ(solved.B(i, j), T(0));
    }
  }
}

// --------------------------------------------------------------------------------------------------------------- range

TYPED_TEST(RankRevealing, IsIndependentOfScale) {
  using T = TypeParam;
  using R = Real<T>;
  const bool is_single = std::same_as<R, float>;
  const R tiny = is_single ? R(1e-35) : R(1e-300), huge = is_single ? R(1e35) : R(1e300);
  const std::pair<R, R> scales[] = {{tiny, 1}, {huge, 1}, {1, tiny}, {1, huge}, {tiny, tiny}, {huge, huge}};
  for (const SystemSizes& s : {SystemSizes{12, 8, 2}, {8, 12, 2}, {70, 50, 3}}) {
    for (const auto& [a_scale, b_scale] : scales) {
      SCOPED_TRACE(to_string(s) + ", A of size " + testing::PrintToString(a_scale) + ", B of size " +
                   testing::PrintToString(b_scale));
      const LowRankSystem<T> system(this->random, s, values_down_to(0.3, s.mn() - 3), a_scale, b_scale);
      for (const Way way : both_ways) {
        const SolvedSystem<T> solved = solve_pivoted(way, system, between<T>);
        EXPECT_EQ(solved.rank, system.rank());
        EXPECT_LT(system.error_of(solved.B, system.rank()), threshold);
        expect_norm_of_triangle(system, solved);
      }
    }
  }
}

TYPED_TEST(RankRevealing, GivesNaNForNaN) {
  using T = TypeParam;
  const SystemSizes s{5, 5, 1};
  const T nan(std::numeric_limits<Real<T>>::quiet_NaN());
  for (const Way way : both_ways) {
    const auto is_nan = [&](const GuardedMatrix<T>& A, const GuardedMatrix<T>& B) {
      const SolvedSystem<T> solved = solve_pivoted(way, s, A, B, between<T>, best_system_lwork<T>(s));
      return std::isnan(std::abs(solved.B(1, 1)));
    };
    const GuardedMatrix<T> A = random_matrix<T>(this->random, 5, 5, 6), B = random_matrix<T>(this->random, 5, 1, 6);
    // The last element of all, too, whose column comes last and might be left out.
    for (const Int i : {1, 3, 5}) {
      GuardedMatrix<T> bad_matrix = A, bad_right = B;
      bad_matrix(i, i) = bad_right(i, 1) = nan;
      EXPECT_TRUE(is_nan(bad_matrix, B));
      EXPECT_TRUE(is_nan(A, bad_right));
    }
    // The very last element of R, beside which all others are numbers.
    GuardedMatrix<T> triangle = A;
    for (Int j = 1; j <= 5; ++j) {
      std::fill(&triangle(j, j), &triangle(1, j) + 5, T(0));
      triangle(j, j) = j < 5 ? T(1) : nan;
    }
    const SolvedSystem<T> solved =
        solve_pivoted(way, s, triangle, B, between<T>, best_system_lwork<T>(s), {1, 2, 3, 4, 5});
    EXPECT_TRUE(std::isnan(std::abs(solved.B(1, 1))));
  }
}

/// One number that is not finite in a matrix of zeros, or beside a single one: no column that has it may be left out as
/// if it were zero.
TYPED_TEST(RankRevealing, LeavesOutNoColumnThatIsNotFinite) {
  using T = TypeParam;
  using R = Real<T>;
  for (const SystemSizes& s : {SystemSizes{1, 1, 1}, {2, 2, 2}, {3, 2, 1}, {2, 3, 1}, {4, 4, 2}}) {
    const GuardedMatrix<T> B = random_matrix<T>(this->random, s.longer(), s.nrhs, s.longer());
    for (const R corner : {R(0), R(1)}) {
      for (const R bad : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
        for (Int place = 0; place < s.m * s.n; ++place) {
          SCOPED_TRACE(to_string(s) + ", a corner of " + testing::PrintToString(corner) + ", " +
                       testing::PrintToString(bad) + " in place " + std::to_string(place));
          GuardedMatrix<T> A(s.m, s.n, s.m);
          for (Int j = 1; j <= s.n; ++j) std::fill_n(&A(1, j), s.m, T(0));
          A(1, 1) = T(corner);
          A(place % s.m + 1, place / s.m + 1) = T(bad);
          for (const Way way : both_ways) {
            const SolvedSystem<T> solved = solve_pivoted(way, s, A, B, between<T>, best_system_lwork<T>(s));
            EXPECT_EQ(solved.rank, s.mn());
            for (Int j = 1; j <= s.nrhs; ++j) {
              bool shows = false;
              for (Int i = 1; i <= s.n; ++i) shows = shows || std::isnan(std::abs(solved.B(i, j)));
              EXPECT_TRUE(shows) << j;
            }
          }
        }
      }
    }
  }
}

// ------------------------------------------------------------------------------------------------------ nothing to do

TYPED_TEST(RankRevealing, OfAZeroMatrixIsZero) {
  using T = TypeParam;
  for (const SystemSizes& s : {SystemSizes{6, 4, 3}, {4, 6, 3}, {5, 5, 1}}) {
    const LowRankSystem<T> system(this->random, s, {});
    for (const Way way : both_ways) {
      const SolvedSystem<T> solved = solve_pivoted(way, system, between<T>);
      EXPECT_EQ(solved.rank, 0);
      EXPECT_TRUE(solved.jpvt.unchanged());
      for (Int j = 1; j <= s.nrhs; ++j) {
        for (Int i = 1; i <= s.longer(); ++i) EXPECT_EQ(solved.B(i, j), T(0));
      }
      if (way == Way::by_blocks) {
        EXPECT_EQ(solved.work(1), T(Real<T>(best_system_lwork<T>(s))));
      }
    }
  }
}

TYPED_TEST(RankRevealing, WithoutEquationsUnknownsOrRightHandSidesHasRankZero) {
  using T = TypeParam;
  for (const SystemSizes& s :
       {SystemSizes{0, 5, 3}, {5, 0, 3}, {5, 4, 0}, {4, 5, 0}, {0, 0, 2}, {0, 5, 0}, {0, 0, 0}}) {
    SCOPED_TRACE(to_string(s));
    const GuardedMatrix<T> A = random_matrix<T>(this->random, s.m, s.n, std::max(1, s.m)),
                           B = random_matrix<T>(this->random, s.longer(), s.nrhs, std::max(1, s.longer()));
    for (const Way way : both_ways) {
      const SolvedSystem<T> solved = solve_pivoted(way, s, A, B, between<T>, least_system_lwork(s));
      EXPECT_EQ(solved.rank, 0);
      EXPECT_TRUE(solved.A.unchanged());
      EXPECT_TRUE(solved.jpvt.unchanged());
      EXPECT_TRUE(solved.B.unchanged_except([&](Int i, Int) { return i <= s.n; }));
      for (Int j = 1; j <= s.nrhs; ++j) {
        for (Int i = 1; i <= s.n; ++i) EXPECT_EQ(solved.B(i, j), T(0));
      }
      if (way == Way::by_blocks) {
        EXPECT_EQ(solved.work(1), T(Real<T>(best_system_lwork<T>(s))));
      }
    }
  }
}

TYPED_TEST(RankRevealing, AnswersTheWorkspaceQuestionAndDoesNothingElse) {
  using T = TypeParam;
  for (const SystemSizes& s : {SystemSizes{50, 30, 2},
                               {30, 50, 2},
                               {400, 310, 1},
                               {10, 600, 500},
                               {600, 10, 500},
                               {0, 3, 4},
                               {3, 0, 4},
                               {3, 4, 0},
                               {0, 0, 9},
                               {0, 0, 0}}) {
    SCOPED_TRACE(to_string(s));
    GuardedMatrix<T> A(1, 1, 1), B(1, 1, 1);
    GuardedVector<T> work(2);
    GuardedVector<Real<T>> rwork(1);
    GuardedVector<Int> jpvt(1);
    Int info = 99, rank = -5;
    const Matrix<T> a{A.data(), std::max(1, s.m)}, b{B.data(), std::max(1, s.longer())};
    if constexpr (ComplexScalar<T>) {
      routine_call::gelsy(s.m, s.n, s.nrhs, a, b, jpvt.data(), between<T>, rank, work.data(), -1, rwork.data(), info);
    } else {
      routine_call::gelsy(s.m, s.n, s.nrhs, a, b, jpvt.data(), between<T>, rank, work.data(), -1, info);
    }
    EXPECT_EQ(info, 0);
    EXPECT_EQ(work(1), T(Real<T>(best_system_lwork<T>(s))));
    EXPECT_LE(least_system_lwork(s), best_system_lwork<T>(s));
    EXPECT_EQ(rank, -5);
    EXPECT_TRUE(work.unchanged_outside(1, 1));
    EXPECT_TRUE(A.unchanged());
    EXPECT_TRUE(B.unchanged());
    EXPECT_TRUE(jpvt.unchanged());
    EXPECT_TRUE(rwork.unchanged());
  }
}

// ------------------------------------------------------------------------------------------------------ bad arguments

/// Two unknowns and four equations.
template <Scalar T>
struct GelsyCall {
  Int m = 4, n = 2, nrhs = 3, lda = 4, ldb = 4, lwork = 7, rank = -5;
  Random random = Random(5);
  GuardedMatrix<T> A = random_matrix<T>(random, 4, 2, 4), B = random_matrix<T>(random, 4, 3, 4);
  GuardedVector<Int> jpvt = GuardedVector<Int>(2);
  GuardedVector<T> work = GuardedVector<T>(9);
  GuardedVector<Real<T>> rwork = GuardedVector<Real<T>>(4);

  Int run() {
    Int info = 99;
    const Matrix<T> a{A.data(), lda}, b{B.data(), ldb};
    if constexpr (ComplexScalar<T>) {
      routine_call::gelsy(m, n, nrhs, a, b, jpvt.data(), between<T>, rank, work.data(), lwork, rwork.data(), info);
    } else {
      routine_call::gelsy(m, n, nrhs, a, b, jpvt.data(), between<T>, rank, work.data(), lwork, info);
    }
    return info;
  }
  /// The best workspace is told before the arguments are looked at.
  bool unchanged() const {
    return A.unchanged() && B.unchanged() && work.unchanged_outside(1, 1) && jpvt.unchanged() && rwork.unchanged() &&
           rank == -5;
  }
};

template <Scalar T>
struct GelsxCall : GelsyCall<T> {
  Int run() {
    Int info = 99;
    const Matrix<T> a{this->A.data(), this->lda}, b{this->B.data(), this->ldb};
    if constexpr (ComplexScalar<T>) {
      routine_call::gelsx(this->m, this->n, this->nrhs, a, b, this->jpvt.data(), between<T>, this->rank,
                          this->work.data(), this->rwork.data(), info);
    } else {
      routine_call::gelsx(this->m, this->n, this->nrhs, a, b, this->jpvt.data(), between<T>, this->rank,
                          this->work.data(), info);
    }
    return info;
  }
};

TYPED_TEST(RankRevealing, ReportsBadArguments) {
  using T = TypeParam;
  using Gelsy = GelsyCall<T>;
  using Gelsx = GelsxCall<T>;
  const std::string name = reported_name<T>("GELSY"), older_name = reported_name<T>("GELSX");
  expect_argument_checks<Gelsy>(name, {{1, [](Gelsy& call) { call.m = -1; }},
                                       {2, [](Gelsy& call) { call.n = -1; }},
                                       {3, [](Gelsy& call) { call.nrhs = -1; }},
                                       {5, [](Gelsy& call) { call.lda = 3; }},
                                       {7, [](Gelsy& call) { call.ldb = 3; }},
                                       {12, [](Gelsy& call) { call.lwork = 6; }}});
  expect_argument_checks<Gelsx>(older_name, {{1, [](Gelsx& call) { call.m = -1; }},
                                             {2, [](Gelsx& call) { call.n = -1; }},
                                             {3, [](Gelsx& call) { call.nrhs = -1; }},
                                             {5, [](Gelsx& call) { call.lda = 3; }},
                                             {7, [](Gelsx& call) { call.ldb = 3; }}});
  const auto wide_matrix = [](auto& call) {  // the solution has more elements than the right-hand side
    call.m = 2;
    call.n = 4;
    call.ldb = 3;
  };
  Gelsy wide_gelsy;
  wide_matrix(wide_gelsy);
  expect_report(wide_gelsy, name, 7);
  Gelsx wide_gelsx;
  wide_matrix(wide_gelsx);
  expect_report(wide_gelsx, older_name, 7);
  for (const Int lwork : {0, -2}) {
    Gelsy call;
    call.lwork = lwork;
    expect_report(call, name, 12);
    EXPECT_EQ(call.work(1), T(Real<T>(best_system_lwork<T>({4, 2, 3}))));
  }
  Gelsy nothing;
  nothing.m = nothing.n = nothing.ldb = 0;
  expect_report(nothing, name, 7);
  Gelsy no_equations;
  no_equations.m = no_equations.lda = 0;
  expect_report(no_equations, name, 5);
  Gelsy no_room;
  no_room.m = no_room.n = no_room.nrhs = no_room.lwork = 0;
  expect_report(no_room, name, 12);
}

/// The larger of three numbers each, one less of which is too little.
TYPED_TEST(RankRevealing, AsksForTheLeastWorkspace) {
  using T = TypeParam;
  for (const SystemSizes& s : {SystemSizes{4, 3, 1}, {1, 3, 1}, {2, 3, 7}, {0, 3, 1}, {0, 3, 9}, {3, 0, 2}}) {
    SCOPED_TRACE(to_string(s));
    const GuardedMatrix<T> A = random_matrix<T>(this->random, s.m, s.n, std::max(1, s.m)),
                           B = random_matrix<T>(this->random, s.longer(), s.nrhs, std::max(1, s.longer()));
    solve_pivoted(Way::by_blocks, s, A, B, between<T>, least_system_lwork(s));
    GelsyCall<T> call;
    call.m = s.m;
    call.n = s.n;
    call.nrhs = s.nrhs;
    call.ldb = 8;
    call.lwork = least_system_lwork(s) - 1;
    expect_report(call, reported_name<T>("GELSY"), 12);
    EXPECT_EQ(call.work(1), T(Real<T>(best_system_lwork<T>(s))));
  }
}

}  // namespace
}  // namespace nuv::test
