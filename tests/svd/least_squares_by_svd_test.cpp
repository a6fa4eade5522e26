// Least squares at any rank by singular value decompositions: ?gelss and ?gelsd.

#include <cmath>
#include <limits>

#include "support/argument_checks.hpp"
#include "support/described_matrices.hpp"
#include "support/wide_spectrum.hpp"
#include "svd/least_squares_calls.hpp"

namespace nuv::test {
namespace {

template <class T>
class LeastSquaresBySvd : public ReportingTest {
 protected:
  using R = Real<T>;

  Random random{64};
};
TYPED_TEST_SUITE(LeastSquaresBySvd, Precisions, PrecisionLetter);

const char* name_of(SvdMethod method) {
  return method == SvdMethod::iteration ? "gelss" : "gelsd";
}

template <Scalar T>
WideMatrix<T> solution_in(const LeastSquaresCall<T>& solved) {
  return wide(solved.B).topRows(solved.n);
}

template <Scalar T>
void expect_solution(const SvdProblemOfKnownSolution<T>& problem, const LeastSquaresCall<T>& solved, Int rank) {
  using W = WideReal<T>;
  EXPECT_EQ(solved.info, 0);
  EXPECT_EQ(solved.rank, rank);
  EXPECT_LT(problem.error(rank, solution_in(solved)), svd_threshold);
  EXPECT_TRUE(std::is_sorted(solved.s.data(), solved.s.data() + solved.s.size(), std::greater<>()));
  WideVector<T> exact(problem.shorter());
  for (Int i = 0; i < problem.shorter(); ++i) exact(i) = W(problem.values[std::size_t(i)]) * problem.a_scale;
  EXPECT_LT(singular_value_error<T>(solved.s, exact), svd_threshold);
}

/// The rows below a solution of full rank have the norms of the residuals.
template <Scalar T>
void expect_norms_of_residuals(const SvdProblemOfKnownSolution<T>& problem, const LeastSquaresCall<T>& solved) {
  const WideMatrix<T> R = problem.right_hand_sides() - product<T>(wide(problem.A), solution_in(solved));
  const WideMatrix<T> rest = wide(solved.B).bottomRows(problem.m - problem.n);
  for (Int j = 0; j < problem.nrhs; ++j) {
    EXPECT_NEAR(double(rest.col(j).norm() / R.col(j).norm()), 1, double(100 * epsilon<T>)) << j;
  }
}

struct Shape {
  Int m, n;
};

/// Both sides, around the crossover.
std::vector<Shape> shapes_around(Int k) {
  const Int crossover = least_squares_crossover(k);
  std::vector<Shape> list;
  for (const Int l : std::set<Int>{k, std::max(k, crossover - 1), std::max(k, crossover), 2 * k + 3}) {
    list.push_back({l, k});
    if (l != k) list.push_back({k, l});
  }
  return list;
}

/// Workspaces that change the way of a call.
template <Scalar T>
std::set<Int> workspaces(const LeastSquaresCall<T>& call) {
  const auto [least, by_lq, rwork, iwork] = call.sizes();
  const Int best = call.best();
  EXPECT_GE(best, least);
  std::set<Int> list{least, best, (least + best) / 2, best + 5};
  if (call.n >= least_squares_crossover(call.m) && call.n > call.m) {
    EXPECT_GE(best, by_lq);
    list.insert(std::max(least, by_lq - 1));
    list.insert(std::max(least, by_lq));
  }
  return list;
}

TYPED_TEST(LeastSquaresBySvd, FindTheShortestSolutionAtEveryRank) {
  using T = TypeParam;
  for (const Int k : {1, 2, 5, 10}) {
    for (const auto& [m, n] : shapes_around(k)) {
      for (Int rank = 1; rank <= k; ++rank) {
        const SvdProblemOfKnownSolution<T> problem(this->random, m, n, rank % 4 == 0 ? 1 : 3,
                                                   values_with_a_gap(k, rank, 0));
        for (const SvdMethod method : svd_methods) {
          LeastSquaresCall<T> call(method, problem.A, problem.B);
          call.rcond = 64 * epsilon<T>;
          for (const Int lwork : workspaces(call)) {
            SCOPED_TRACE(testing::Message()
                         << name_of(method) << ' ' << m << " by " << n << " of rank " << rank << ", lwork " << lwork);
            const auto solved = call.solved(lwork);
            expect_solution(problem, solved, rank);
            if (rank == n && m > n) expect_norms_of_residuals(problem, solved);
            EXPECT_EQ(std::real(solved.work(1)), Real<T>(call.best()));
          }
        }
      }
    }
  }
}

/// Around the orders at which leaves become trees and trees get levels.
TYPED_TEST(LeastSquaresBySvd, FindTheShortestSolutionOfLargerProblems) {
  using T = TypeParam;
  for (const Int k : {25, 26, 51, 52, 103}) {
    for (const auto& [m, n] : shapes_around(k)) {
      if (k > 60 && std::max(m, n) > k && std::max(m, n) != 2 * k + 3) continue;
      const Int rank = k % 2 == 1 ? k / 2 : k, nrhs = k == 51 ? 70 : 3;
      const SvdProblemOfKnownSolution<T> problem(this->random, m, n, nrhs, values_with_a_gap(k, rank, 0));
      for (const SvdMethod method : svd_methods) {
        LeastSquaresCall<T> call(method, problem.A, problem.B);
        call.rcond = 64 * epsilon<T>;
        for (const Int lwork : std::set<Int>{call.sizes().least, call.best()}) {
          SCOPED_TRACE(testing::Message()
                       << name_of(method) << ' ' << m << " by " << n << " of rank " << rank << ", lwork " << lwork);
          expect_solution(problem, call.solved(lwork), rank);
        }
      }
    }
  }
}

TYPED_TEST(LeastSquaresBySvd, TakeAnyNumberOfRightHandSides) {
  using T = TypeParam;
  for (const auto& [m, n] : {Shape{20, 18}, {40, 18}, {18, 40}, {60, 55}, {55, 60}}) {
    const Int k = std::min(m, n);
    for (const Int nrhs : {0, 1, 3, 70}) {
      const SvdProblemOfKnownSolution<T> problem(this->random, m, n, nrhs, values_with_a_gap(k, k, 0));
      for (const SvdMethod method : svd_methods) {
        LeastSquaresCall<T> call(method, problem.A, problem.B);
        for (const Int lwork : workspaces(call)) {
          SCOPED_TRACE(testing::Message() << name_of(method) << ' ' << m << " by " << n << ", " << nrhs
                                          << " right-hand sides, lwork " << lwork);
          const auto solved = call.solved(lwork);
          EXPECT_EQ(solved.info, 0);
          EXPECT_EQ(solved.rank, k);
          if (nrhs > 0) expect_solution(problem, solved, k);
        }
      }
    }
  }
}

/// Values in two groups; with an rcond between them those of the second count as zero.
TYPED_TEST(LeastSquaresBySvd, CutAtTheGapThatRcondTells) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int k : {6, 30, 60}) {
    for (const auto& [m, n] : {Shape{k, k}, {2 * k, k}, {k, 2 * k}, {k + 3, k}, {k, k + 3}}) {
      const Int rank = k - k / 3;
      const SvdProblemOfKnownSolution<T> problem(this->random, m, n, 2, values_with_a_gap(k, rank, 0.01));
      for (const SvdMethod method : svd_methods) {
        for (const R rcond : {R(0.05), R(1e-3), R(-1)}) {
          SCOPED_TRACE(testing::Message() << name_of(method) << ' ' << m << " by " << n << ", rcond " << rcond);
          LeastSquaresCall<T> call(method, problem.A, problem.B);
          call.rcond = rcond;
          expect_solution(problem, call.solved(call.best()), rcond > R(0.01) ? rank : k);
        }
      }
    }
  }
}

TYPED_TEST(LeastSquaresBySvd, FitMatricesThatAreHardToSolveWith) {
  using T = TypeParam;
  DescribedMatrices described(47);
  const auto rcond = Real<T>(std::pow(double(epsilon<T>), 0.65));
  const auto expect_fit = [&](const Description& description, bool is_deficient, const Shape& shape) {
    const auto [m, n] = shape;
    const GuardedMatrix<T> A = described.general<T>(description, m, n, m),
                           B = random_matrix<T>(this->random, std::max(m, n), 2, std::max(m, n));
    const WideMatrix<T> matrix = wide(A), adjoint = matrix.adjoint(), right = wide(B).topRows(m);
    const WideVector<T> values = wide_singular_values<T>(matrix);
    for (const SvdMethod method : svd_methods) {
      SCOPED_TRACE(testing::Message() << name_of(method) << ' ' << m << " by " << n << ", " << description.name);
      LeastSquaresCall<T> call(method, A, B);
      call.rcond = is_deficient ? rcond : Real<T>(-1);
      const LeastSquaresCall<T> solved = call.solved(call.best());
      EXPECT_EQ(solved.info, 0);
      if (is_deficient) {
        EXPECT_EQ(solved.rank, DescribedMatrices::rank(description, std::min(m, n)));
      }
      EXPECT_LT(singular_value_error<T>(solved.s, values), svd_threshold);
      const WideMatrix<T> X = solution_in(solved), residual = right - product<T>(matrix, X);
      const double size = one_norm<T>(matrix) * one_norm<T>(X) + one_norm<T>(right);
      EXPECT_LE(one_norm<T>(product<T>(adjoint, residual)),
                svd_threshold * std::max(m, n) * epsilon<T> * one_norm<T>(adjoint) * size);
    }
  };
  for (const Shape& shape : {Shape{20, 20}, {30, 18}, {18, 24}}) {
    for (const Description& description : matrices_of_full_rank) expect_fit(description, false, shape);
    for (const Description& description : rank_deficient_matrices) expect_fit(description, true, shape);
  }
}

/// A square diagonal matrix, and right-hand sides.
template <Scalar T>
LeastSquaresCall<T> diagonal_call(SvdMethod method, const std::vector<Real<T>>& diagonal) {
  const Int n = Int(diagonal.size());
  GuardedMatrix<T> A(n, n, n), B(n, 1, n);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) A(i, j) = i == j ? T(diagonal[std::size_t(i - 1)]) : T(0);
    B(j, 1) = T(1);
  }
  A.seal();
  B.seal();
  return {method, A, B};
}

/// The values of a diagonal matrix are exact: what is rcond times the largest is the last that counts as zero.
TYPED_TEST(LeastSquaresBySvd, CountAsZeroWhatIsNoMoreThanRcond) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr R precision = epsilon<T>, unit = epsilon<T> / 2, least = std::numeric_limits<R>::min();
  struct Case {
    SvdMethod method;
    R rcond, threshold;
  };
  for (const auto& [method, rcond, threshold] : {Case{SvdMethod::iteration, R(0.25), R(0.25)},
                                                 {SvdMethod::iteration, R(-1), precision},
                                                 {SvdMethod::iteration, R(-0.5), precision},
                                                 {SvdMethod::iteration, R(0), least},
                                                 {SvdMethod::iteration, std::numeric_limits<R>::quiet_NaN(), precision},
                                                 {SvdMethod::division, R(0.25), R(0.25)},
                                                 {SvdMethod::division, R(-1), unit},
                                                 {SvdMethod::division, R(0), unit},
                                                 {SvdMethod::division, R(1), unit},
                                                 {SvdMethod::division, R(1.5), unit},
                                                 {SvdMethod::division, std::numeric_limits<R>::quiet_NaN(), unit}}) {
    for (const bool above : {false, true}) {
      SCOPED_TRACE(testing::Message() << name_of(method) << ", rcond " << rcond << (above ? ", above" : ""));
      const R second = above ? std::nextafter(threshold, R(1)) : threshold;
      auto call = diagonal_call<T>(method, {1, second});
      call.rcond = rcond;
      const auto solved = call.solved(call.best());
      EXPECT_EQ(solved.info, 0);
      EXPECT_EQ(solved.rank, above ? 2 : 1);
      EXPECT_EQ(solved.s(1), 1);
      EXPECT_EQ(solved.s(2), second);
      EXPECT_EQ(solved.B(2, 1) == T(0), !above);
    }
  }
}

TYPED_TEST(LeastSquaresBySvd, AreZeroWhereNoValueCounts) {
  using T = TypeParam;
  for (const auto& [m, n] : {Shape{6, 5}, {20, 5}, {5, 6}, {5, 20}}) {
    const SvdProblemOfKnownSolution<T> problem(this->random, m, n, 2, values_with_a_gap(5, 5, 0));
    LeastSquaresCall<T> call(SvdMethod::iteration, problem.A, problem.B);
    call.rcond = 2;
    for (const Int lwork : workspaces(call)) {
      const auto solved = call.solved(lwork);
      EXPECT_EQ(solved.info, 0);
      EXPECT_EQ(solved.rank, 0);
      EXPECT_EQ(one_norm<T>(solution_in(solved)), 0);
    }
  }
}

TYPED_TEST(LeastSquaresBySvd, OfAZeroMatrixAreZero) {
  using T = TypeParam;
  for (const auto& [m, n] : {Shape{6, 5}, {20, 5}, {5, 6}, {5, 20}, {40, 40}}) {
    const Int k = std::min(m, n);
    const SvdProblemOfKnownSolution<T> problem(this->random, m, n, 2, std::vector<double>(std::size_t(k), 0));
    for (const SvdMethod method : svd_methods) {
      LeastSquaresCall<T> call(method, problem.A, problem.B);
      const auto solved = call.solved(call.sizes().least);
      EXPECT_EQ(solved.info, 0);
      EXPECT_EQ(solved.rank, 0);
      EXPECT_EQ(std::real(solved.work(1)), Real<T>(call.best()));
      EXPECT_EQ(one_norm<T>(wide(solved.B)), 0);
      for (Int i = 1; i <= k; ++i) EXPECT_EQ(solved.s(i), 0);
    }
  }
}

TYPED_TEST(LeastSquaresBySvd, WithoutEquationsOrUnknownsNeedNothing) {
  using T = TypeParam;
  for (const SvdMethod method : svd_methods) {
    for (const auto& [m, n] : {Shape{0, 0}, {0, 4}, {4, 0}}) {
      const SvdProblemOfKnownSolution<T> problem(this->random, m, n, 2, {});
      LeastSquaresCall<T> call(method, problem.A, problem.B);
      EXPECT_EQ(call.best(), 1);
      const auto solved = call.solved(1);
      EXPECT_EQ(solved.info, 0);
      EXPECT_EQ(solved.rank, 0);
      EXPECT_EQ(solved.work(1), T(1));
      if (n == 0) {
        EXPECT_TRUE(solved.B.unchanged());
      } else if (m == 0) {
        EXPECT_EQ(one_norm<T>(wide(solved.B)), 0);
      }
    }
  }
}

/// Numbers whose squares, products or quotients leave the range. The scales are powers of two.
TYPED_TEST(LeastSquaresBySvd, AreIndependentOfScale) {
  using T = TypeParam;
  using R = Real<T>;
  using W = WideReal<T>;
  const bool is_single = std::same_as<R, float>;
  const int small = is_single ? -115 : -1000, large = is_single ? 124 : 1018;
  struct Scales {
    int a, b;
  };
  for (const auto& [m, n] : {Shape{9, 7}, {30, 7}, {7, 9}, {7, 30}, {60, 40}, {40, 60}}) {
    const Int k = std::min(m, n);
    for (const auto& [a, b] : {Scales{small, 0}, {large, 0}, {0, small}, {0, large}, {small, small}, {large, large}}) {
      const SvdProblemOfKnownSolution<T> problem(this->random, m, n, 2, values_with_a_gap(k, k / 2 + 1, 0),
                                                 std::ldexp(W(1), a), std::ldexp(W(1), b));
      for (const SvdMethod method : svd_methods) {
        SCOPED_TRACE(testing::Message() << name_of(method) << ' ' << m << " by " << n << ", scales " << a << ' ' << b);
        LeastSquaresCall<T> call(method, problem.A, problem.B);
        call.rcond = 256 * epsilon<T>;
        expect_solution(problem, call.solved(call.best()), k / 2 + 1);
      }
    }
  }
}

/// Values that can't be found are told, and leave the rank at zero; or else the NaN is seen.
TYPED_TEST(LeastSquaresBySvd, EndWithANumberThatIsNone) {
  using T = TypeParam;
  for (const auto& [m, n] : {Shape{1, 1}, {9, 7}, {30, 7}, {7, 30}, {40, 40}}) {
    const Int k = std::min(m, n);
    const SvdProblemOfKnownSolution<T> problem(this->random, m, n, 2, values_with_a_gap(k, k, 0));
    for (const SvdMethod method : svd_methods) {
      LeastSquaresCall<T> call(method, problem.A, problem.B);
      call.A(m, n) = T(std::numeric_limits<Real<T>>::quiet_NaN());
      const auto solved = call.solved(call.best());
      EXPECT_GE(solved.info, 0);
      EXPECT_EQ(std::real(solved.work(1)), Real<T>(call.best()));
      if (solved.info > 0) {
        EXPECT_EQ(solved.rank, 0);
      } else {
        EXPECT_TRUE(std::isnan(solved.s(1)));
        EXPECT_FALSE(std::isfinite(std::abs(solved.B(1, 1))));
      }
    }
  }
}

// ---------------------------------------------------------------------------------------------------------- arguments

template <Scalar T, SvdMethod method>
struct ArgumentsOf {
  Random random = Random(5);
  LeastSquaresCall<T> call{method, random_matrix<T>(random, 4, 3, 4), random_matrix<T>(random, 4, 2, 4)};

  ArgumentsOf() { call.make_room(call.sizes().least); }

  Int run() { return call.run(); }
  /// The best workspace is told with too small a one.
  bool unchanged() const {
    return call.unchanged() && call.work.unchanged_outside(1, 1) && call.rwork.unchanged() && call.iwork.unchanged();
  }
};

template <Scalar T, SvdMethod method>
void expect_argument_checks_of(const std::string& name) {
  using Call = ArgumentsOf<T, method>;
  expect_argument_checks<Call>(name, {{1, [](Call& c) { c.call.m = -1; }},
                                      {2, [](Call& c) { c.call.n = -1; }},
                                      {3, [](Call& c) { c.call.nrhs = -1; }},
                                      {5, [](Call& c) { c.call.lda = 3; }},
                                      {7, [](Call& c) { c.call.ldb = 3; }},
                                      {12, [](Call& c) { --c.call.lwork; }}});
  Call wide_matrix;  // the solution has more elements than the right-hand side
  wide_matrix.call.m = 2;
  wide_matrix.call.ldb = 2;
  expect_report(wide_matrix, name, 7);
  for (const Int lwork : {0, -2}) {
    Call call;
    call.call.lwork = lwork;
    expect_report(call, name, 12);
    EXPECT_TRUE(call.call.work.unchanged());
  }
  Call tight;
  --tight.call.lwork;
  expect_report(tight, name, 12);
  EXPECT_EQ(std::real(tight.call.work(1)), Real<T>(Call().call.best()));
  Call nothing;
  nothing.call.m = nothing.call.n = 0;
  nothing.call.ldb = 0;
  expect_report(nothing, name, 7);
}

TYPED_TEST(LeastSquaresBySvd, ReportBadArguments) {
  expect_argument_checks_of<TypeParam, SvdMethod::iteration>(reported_name<TypeParam>("GELSS"));
  expect_argument_checks_of<TypeParam, SvdMethod::division>(reported_name<TypeParam>("GELSD"));
}

/// One less than the least workspace is refused in every shape.
TYPED_TEST(LeastSquaresBySvd, WantTheLeastWorkspace) {
  using T = TypeParam;
  for (const auto& [m, n] : {Shape{1, 1}, {9, 7}, {30, 7}, {7, 9}, {7, 30}, {2000, 1}, {1, 2000}, {60, 55}, {0, 3}}) {
    for (const Int nrhs : {0, 1, 50}) {
      for (const SvdMethod method : svd_methods) {
        const GuardedMatrix<T> A = random_matrix<T>(this->random, m, n, std::max(1, m)),
                               B = random_matrix<T>(this->random, std::max(m, n), nrhs, std::max(1, std::max(m, n)));
        LeastSquaresCall<T> call(method, A, B);
        const Int least = call.sizes().least;
        EXPECT_EQ(call.solved(least).info, 0) << name_of(method) << ' ' << m << ' ' << n << ' ' << nrhs;
        EXPECT_EQ(call.solved(least - 1).info, -12) << name_of(method) << ' ' << m << ' ' << n << ' ' << nrhs;
        EXPECT_EQ(take_error_reports().size(), 1u);
      }
    }
  }
}

}  // namespace
}  // namespace nuv::test
