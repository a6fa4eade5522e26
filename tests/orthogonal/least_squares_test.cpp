// Least squares with matrices of full rank: gels.

#include <limits>
#include <utility>

#include "blas.hpp"
#include "orthogonal/products_with_q.hpp"
#include "support/argument_checks.hpp"
#include "support/described_matrices.hpp"
#include "support/options.hpp"
#include "support/sanitized.hpp"

namespace nuv::test {
namespace {

template <class T>
class LeastSquares : public ReportingTest {
 protected:
  Random random{101};
};
TYPED_TEST_SUITE(LeastSquares, Precisions, PrecisionLetter);

struct Sizes {
  Int m, n, nrhs;
};

std::string to_string(const Sizes& sizes) {
  return std::to_string(sizes.m) + " by " + std::to_string(sizes.n) + ", " + std::to_string(sizes.nrhs) +
         " right-hand sides";
}

/// The workspace that the routine works best with.
template <Scalar T>
Int best_lwork(bool transposed, const Sizes& s) {
  const char t = adjoint_letter<T>;
  const Int mn = std::min(s.m, s.n);
  const auto larger_block = [&](const char* factor, const char* form, char trans, Int rows, Int k) {
    return std::max(ask(1, reported_name<T>(factor), " ", s.m, s.n, -1),
                    ask(1, name_with_q<T>("M", form), {'L', trans}, rows, s.nrhs, k));
  };
  const Int nb = s.m >= s.n ? larger_block("GEQRF", "QR", transposed ? 'N' : t, s.m, s.n)
                            : larger_block("GELQF", "LQ", transposed ? t : 'N', s.n, s.m);
  return mn + std::max(mn, s.nrhs) * nb;
}

Int least_lwork(const Sizes& s) {
  const Int mn = std::min(s.m, s.n);
  return std::max(1, mn + std::max(mn, s.nrhs));
}

/// op(A) X = B in the sense of least squares.
template <Scalar T>
struct Problem {
  bool transposed;
  Sizes sizes;
  GuardedMatrix<T> A, B;  ///< B with room for the solution

  /// The elements of A and of B are scaled.
  Problem(Random& random, bool transposed_, Sizes sizes_, Real<T> a_scale = 1, Real<T> b_scale = 1)
      : transposed(transposed_),
        sizes(sizes_),
        A(random_matrix<T>(random, sizes.m, sizes.n, std::max(1, sizes.m + random.integer(0, 2)))),
        B(std::max(sizes.m, sizes.n), sizes.nrhs, std::max(1, std::max(sizes.m, sizes.n) + random.integer(0, 2))) {
    for (Int j = 1; j <= sizes.n; ++j) {
      for (Int i = 1; i <= sizes.m; ++i) A(i, j) *= a_scale;
    }
    for (Int j = 1; j <= sizes.nrhs; ++j) {
      for (Int i = 1; i <= equations(); ++i) B(i, j) = b_scale * random.scalar<T>();
    }
    A.seal();
    B.seal();
  }

  Int equations() const { return transposed ? sizes.n : sizes.m; }
  Int unknowns() const { return transposed ? sizes.m : sizes.n; }
  Int longer() const { return std::max(sizes.m, sizes.n); }

  WideMatrix<T> matrix() const { return transposed ? WideMatrix<T>(wide(A).adjoint()) : wide(A); }
  WideMatrix<T> right_hand_sides() const { return wide(B).topRows(equations()); }
};

template <Scalar T>
struct Solved {
  GuardedMatrix<T> A, B;
  GuardedVector<T> work;
};

template <Scalar T>
Solved<T> solve(Random& random, const Problem<T>& problem, Int lwork) {
  Solved<T> result{problem.A, problem.B, GuardedVector<T>(std::max(1, lwork))};
  const auto& [m, n, nrhs] = problem.sizes;
  Int info = 99;
  routine_call::gels(random.in_some_case(problem.transposed ? adjoint_letter<T> : 'N'), m, n, nrhs, Matrix<T>(result.A),
                     Matrix<T>(result.B), result.work.data(), lwork, info);
  EXPECT_EQ(info, 0);
  EXPECT_TRUE(result.A.guards_unchanged());
  EXPECT_TRUE(result.B.guards_unchanged());
  EXPECT_TRUE(result.work.guards_unchanged());
  return result;
}

/// A matrix over its largest magnitude, so that its norms and their products are numbers of type double.
template <Scalar T>
WideMatrix<T> normalized(const WideMatrix<T>& A) {
  return A / A.cwiseAbs().maxCoeff();
}

/// ||op(A)^H R|| / (||A|| ||B|| n eps) for the residuals R: zero where no other X comes nearer to B.
template <Scalar T>
double error_of_least_squares(const Problem<T>& problem, const WideMatrix<T>& X) {
  const WideMatrix<T> A = problem.matrix(), B = problem.right_hand_sides();
  const WideMatrix<T> R = (B - product<T>(A, X)) / B.cwiseAbs().maxCoeff(), adjoint = normalized<T>(A).adjoint();
  return one_norm<T>(product<T>(adjoint, R)) /
         (one_norm<T>(adjoint) * one_norm<T>(normalized<T>(B)) * problem.longer() * epsilon<T>);
}

/// ||B - op(A) X|| / (||A|| ||X|| n eps), or the part of X in the null space of op(A) over (||X|| n eps), whichever is
/// larger: zero for the solution of least norm.
template <Scalar T>
double error_of_least_norm(const Problem<T>& problem, const WideMatrix<T>& X) {
  const WideMatrix<T> A = problem.matrix();
  const double residual = solution_residual<T>(A, X, problem.right_hand_sides());
  const double outside = one_norm<T>(outside_of_span<T>(A.adjoint(), X));
  const double in_null_space = outside / (one_norm<T>(X) * problem.longer() * epsilon<T>);
  return residual <= in_null_space ? in_null_space : residual;
}

template <Scalar T>
void expect_solution(const Problem<T>& problem, const Solved<T>& solved) {
  const WideMatrix<T> rows = wide(solved.B), X = rows.topRows(problem.unknowns());
  if (problem.equations() < problem.unknowns()) {
    EXPECT_LT(error_of_least_norm(problem, X), threshold);
    return;
  }
  EXPECT_LT(error_of_least_squares(problem, X), threshold);
  if (problem.equations() == problem.unknowns()) {
    EXPECT_LT(solution_residual<T>(problem.matrix(), X, problem.right_hand_sides()), threshold);
  }
}

/// The rows below the solution have the norms of the residuals.
template <Scalar T>
void expect_norms_of_residuals(const Problem<T>& problem, const Solved<T>& solved) {
  const WideMatrix<T> rows = wide(solved.B), X = rows.topRows(problem.unknowns());
  const WideMatrix<T> R = problem.right_hand_sides() - product<T>(problem.matrix(), X);
  for (Int j = 0; j < problem.sizes.nrhs; ++j) {
    const auto norm = R.col(j).norm();
    const auto reported = rows.col(j).bottomRows(problem.equations() - problem.unknowns()).norm();
    EXPECT_NEAR(double(reported / norm), 1, double(100 * epsilon<T>)) << j;
  }
}

std::vector<Sizes> sizes() {
  std::vector<Sizes> all = {{1, 1, 1},     {5, 1, 2},     {1, 5, 2},     {5, 3, 1},    {3, 5, 1},    {20, 20, 3},
                            {60, 33, 4},   {33, 60, 4},   {90, 66, 70},  {66, 90, 70}, {130, 40, 1}, {40, 130, 1},
                            {200, 120, 9}, {120, 200, 9}, {60, 20, 300}, {20, 60, 300}};
  if (is_sanitized) std::erase_if(all, [](const Sizes& s) { return std::max({s.m, s.n, s.nrhs}) > 130; });
  return all;
}

TYPED_TEST(LeastSquares, FitsAndFindsTheShortestSolution) {
  using T = TypeParam;
  for (const Sizes& s : sizes()) {
    for (const bool transposed : {false, true}) {
      SCOPED_TRACE(to_string(s) + (transposed ? ", transposed" : ""));
      const Problem<T> problem(this->random, transposed, s);
      const Int best = best_lwork<T>(transposed, s);
      for (const Int lwork : {least_lwork(s), (least_lwork(s) + best) / 2, best, best + 3}) {
        SCOPED_TRACE(lwork);
        const Solved<T> solved = solve(this->random, problem, lwork);
        expect_solution(problem, solved);
        EXPECT_EQ(solved.work(1), T(Real<T>(best)));
      }
      if (problem.equations() > problem.unknowns()) {
        expect_norms_of_residuals(problem, solve(this->random, problem, best));
      }
    }
  }
}

TYPED_TEST(LeastSquares, IsIndependentOfScale) {
  using T = TypeParam;
  using R = Real<T>;
  const bool is_single = std::same_as<R, float>;
  // Beyond the range in which products of elements are safe, yet with quotients in range; and so far out that a
  // factorisation would lose digits below the least normal number, or overflow.
  const R tiny = is_single ? R(1e-35) : R(1e-300), huge = is_single ? R(1e35) : R(1e300);
  const R subnormal = std::numeric_limits<R>::min() / 1024, largest = std::numeric_limits<R>::max() / 2;
  const std::pair<R, R> scales[] = {
      {tiny, 1},         {huge, 1}, {1, tiny}, {1, huge}, {tiny, tiny}, {huge, huge}, {subnormal, subnormal},
      {largest, largest}};
  for (const Sizes& s : {Sizes{12, 7, 2}, {7, 12, 2}, {80, 60, 3}, {60, 80, 3}}) {
    for (const bool transposed : {false, true}) {
      for (const auto& [a_scale, b_scale] : scales) {
        SCOPED_TRACE(to_string(s) + (transposed ? ", transposed" : "") + ", A of size " +
                     testing::PrintToString(a_scale) + ", B of size " + testing::PrintToString(b_scale));
        const Problem<T> problem(this->random, transposed, s, a_scale, b_scale);
        expect_solution(problem, solve(this->random, problem, best_lwork<T>(transposed, s)));
      }
    }
  }
}

/// The solution with the calls made from here. A and B are brought from the norms of `from` to those of `to` where
/// these differ.
template <Scalar T>
GuardedMatrix<T> solve_by_hand(const Problem<T>& problem, std::pair<Real<T>, Real<T>> from,
                               std::pair<Real<T>, Real<T>> to) {
  const auto& [m, n, nrhs] = problem.sizes;
  const Int mn = std::min(m, n), lwork = best_lwork<T>(problem.transposed, problem.sizes) - mn;
  GuardedMatrix<T> a = problem.A, b = problem.B;
  const Matrix<T> A(a), B(b);
  GuardedVector<T> factors(mn), room(lwork);
  T *const tau = factors.data(), *const work = room.data();
  Int info = 99;
  const auto scale = [&](Real<T> old_norm, Real<T> new_norm, Int rows, Int columns, Matrix<T> X) {
    if (old_norm != new_norm) routine_call::lascl('G', 0, 0, old_norm, new_norm, rows, columns, X, info);
  };
  scale(from.first, to.first, m, n, A);
  scale(from.second, to.second, problem.equations(), nrhs, B);

  const bool upper = m >= n;
  const auto apply = [&, m = m, n = n, nrhs = nrhs](char trans) {
    upper ? layer::ormqr('L', trans, m, nrhs, n, A, tau, B, work, lwork, info)
          : layer::ormlq('L', trans, n, nrhs, m, A, tau, B, work, lwork, info);
  };
  const auto solve_triangle = [&, nrhs = nrhs](char trans) {
    blas::trsm('L', upper ? 'U' : 'L', trans, 'N', mn, nrhs, T(1), A, B);
  };
  upper ? layer::geqrf(m, n, A, tau, work, lwork, info) : routine_call::gelqf(m, n, A, tau, work, lwork, info);
  if (upper != problem.transposed) {
    apply(upper ? adjoint_letter<T> : 'N');
    solve_triangle(upper ? 'N' : adjoint_letter<T>);
  } else {
    solve_triangle(upper ? adjoint_letter<T> : 'N');
    for (Int j = 1; j <= nrhs; ++j) std::fill(B.at(mn + 1, j), B.at(problem.longer() + 1, j), T(0));
    apply(upper ? 'N' : adjoint_letter<T>);
  }
  scale(from.first, to.first, problem.unknowns(), nrhs, B);
  scale(to.second, from.second, problem.unknowns(), nrhs, B);
  return b;
}

template <Scalar T>
Real<T> largest_magnitude(Int m, Int n, const GuardedMatrix<T>& A) {
  return routine_call::lange('M', m, n, Matrix<const T>(A), static_cast<Real<T>*>(nullptr));
}

TYPED_TEST(LeastSquares, ScalesWhatIsBelowOrBeyondTheseNumbers) {
  using T = TypeParam;
  using R = Real<T>;
  const R least = routine_call::lamch<R>('S') / routine_call::lamch<R>('P'), largest = 1 / least;
  // What a matrix with that norm is brought to.
  const auto target = [&](R norm) { return norm < least ? least : norm > largest ? largest : norm; };
  const R norms[] = {R(1), R(1.25) * least, least, R(0.8) * least, R(0.8) * largest, largest, R(1.25) * largest};
  for (const Sizes& s : {Sizes{9, 6, 2}, {6, 9, 2}}) {
    for (const bool transposed : {false, true}) {
      for (const R a_norm : norms) {
        for (const R b_norm : norms) {
          SCOPED_TRACE(to_string(s) + (transposed ? ", transposed" : "") + ", norms " + testing::PrintToString(a_norm) +
                       " and " + testing::PrintToString(b_norm));
          Problem<T> problem(this->random, transposed, s, a_norm / 4, b_norm / 4);
          problem.A(2, 3) = T(a_norm);
          problem.B(2, 1) = T(b_norm);
          ASSERT_EQ(largest_magnitude<T>(s.m, s.n, problem.A), a_norm);
          ASSERT_EQ(largest_magnitude<T>(problem.equations(), s.nrhs, problem.B), b_norm);
          const GuardedMatrix<T> solution = solve(this->random, problem, best_lwork<T>(transposed, s)).B;
          EXPECT_TRUE(solution.same_as(solve_by_hand<T>(problem, {a_norm, b_norm}, {target(a_norm), target(b_norm)})));
        }
      }
    }
  }
}

TYPED_TEST(LeastSquares, OfAZeroMatrixIsZero) {
  using T = TypeParam;
  for (const Sizes& s : {Sizes{6, 4, 3}, {4, 6, 3}, {5, 5, 1}}) {
    for (const bool transposed : {false, true}) {
      const Problem<T> problem(this->random, transposed, s, Real<T>(0));
      const Int best = best_lwork<T>(transposed, s);
      const Solved<T> solved = solve(this->random, problem, best);
      for (Int j = 1; j <= s.nrhs; ++j) {
        for (Int i = 1; i <= problem.longer(); ++i) EXPECT_EQ(solved.B(i, j), T(0)) << i << ' ' << j;
      }
      EXPECT_EQ(solved.work(1), T(Real<T>(best)));
    }
  }
}

/// Zeros and a NaN are no zero matrix.
TYPED_TEST(LeastSquares, GivesNaNForNaNAmongZeros) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Sizes& s : {Sizes{1, 1, 1}, {2, 2, 2}, {6, 4, 3}, {4, 6, 3}}) {
    for (const bool transposed : {false, true}) {
      for (Int place = 0; place < s.m * s.n; ++place) {
        SCOPED_TRACE(to_string(s) + (transposed ? ", transposed" : "") + ", place " + std::to_string(place));
        Problem<T> problem(this->random, transposed, s, R(0));
        problem.A(place % s.m + 1, place / s.m + 1) = T(std::numeric_limits<R>::quiet_NaN());
        const Solved<T> solved = solve(this->random, problem, best_lwork<T>(transposed, s));
        for (Int j = 1; j <= s.nrhs; ++j) {
          bool shows = false;
          for (Int i = 1; i <= problem.unknowns(); ++i) shows = shows || std::isnan(std::abs(solved.B(i, j)));
          EXPECT_TRUE(shows) << j;
        }
      }
    }
  }
}

TYPED_TEST(LeastSquares, WithoutEquationsUnknownsOrRightHandSidesIsZero) {
  using T = TypeParam;
  for (const Sizes& s : {Sizes{0, 5, 3}, {5, 0, 3}, {5, 4, 0}, {4, 5, 0}, {0, 0, 2}, {0, 5, 0}, {0, 0, 0}}) {
    for (const bool transposed : {false, true}) {
      SCOPED_TRACE(to_string(s));
      const Problem<T> problem(this->random, transposed, s);
      const Solved<T> solved = solve(this->random, problem, least_lwork(s));
      for (Int j = 1; j <= s.nrhs; ++j) {
        for (Int i = 1; i <= problem.longer(); ++i) EXPECT_EQ(solved.B(i, j), T(0)) << i << ' ' << j;
      }
      EXPECT_EQ(solved.work(1), T(Real<T>(best_lwork<T>(transposed, s))));
      EXPECT_TRUE(solved.A.same_as(problem.A));
    }
  }
}

TYPED_TEST(LeastSquares, AnswersTheWorkspaceQuestionAndDoesNothingElse) {
  using T = TypeParam;
  for (const Sizes& s : {Sizes{50, 30, 2},
                         {30, 50, 2},
                         {90, 80, 100},
                         {400, 310, 1},
                         {10, 600, 500},
                         {600, 10, 500},
                         {0, 3, 4},
                         {0, 0, 0}}) {
    for (const bool transposed : {false, true}) {
      GuardedMatrix<T> A(1, 1, 1), B(1, 1, 1);
      GuardedVector<T> work(2);
      Int info = 99;
      routine_call::gels(transposed ? adjoint_letter<T> : 'N', s.m, s.n, s.nrhs, Matrix<T>{A.data(), std::max(1, s.m)},
                         Matrix<T>{B.data(), std::max({1, s.m, s.n})}, work.data(), -1, info);
      EXPECT_EQ(info, 0);
      EXPECT_EQ(work(1), T(Real<T>(best_lwork<T>(transposed, s))));
      EXPECT_TRUE(work.unchanged_outside(1, 1));
      EXPECT_TRUE(A.unchanged());
      EXPECT_TRUE(B.unchanged());
    }
  }
}

/// A fit of two unknowns to four equations.
template <Scalar T>
struct GelsCall {
  char trans = 'N';
  Int m = 4, n = 2, nrhs = 3, lda = 4, ldb = 4, lwork = 5;
  Random random = Random(5);
  GuardedMatrix<T> A = random_matrix<T>(random, 4, 2, 4), B = random_matrix<T>(random, 4, 3, 4);
  GuardedVector<T> work = GuardedVector<T>(5);

  Int run() {
    Int info = 99;
    routine_call::gels(trans, m, n, nrhs, Matrix<T>{A.data(), lda}, Matrix<T>{B.data(), ldb}, work.data(), lwork, info);
    return info;
  }
  /// The best workspace is told before the arguments are looked at.
  bool unchanged() const { return A.unchanged() && B.unchanged() && work.unchanged_outside(1, 1); }
};

TYPED_TEST(LeastSquares, ReportsBadArguments) {
  using T = TypeParam;
  using Call = GelsCall<T>;
  const std::string name = reported_name<T>("GELS");
  expect_argument_checks<Call>(name, {{1, [](Call& call) { call.trans = ComplexScalar<T> ? 'T' : 'C'; }},
                                      {2, [](Call& call) { call.m = -1; }},
                                      {3, [](Call& call) { call.n = -1; }},
                                      {4, [](Call& call) { call.nrhs = -1; }},
                                      {6, [](Call& call) { call.lda = 3; }},
                                      {8, [](Call& call) { call.ldb = 3; }},
                                      {10, [](Call& call) { call.lwork = 4; }}});
  Call wide_matrix;  // the solution has more elements than the right-hand side
  wide_matrix.m = 2;
  wide_matrix.n = 4;
  wide_matrix.ldb = 3;
  expect_report(wide_matrix, name, 8);
  for (const Int lwork : {0, -2}) {
    Call call;
    call.lwork = lwork;
    expect_report(call, name, 10);
    EXPECT_EQ(call.work(1), T(Real<T>(best_lwork<T>(false, {4, 2, 3}))));
  }
  // The least leading dimensions and the least workspace are one, also where there is nothing to do.
  Call no_equations;
  no_equations.m = no_equations.lda = 0;
  expect_report(no_equations, name, 6);
  Call nothing;
  nothing.m = nothing.n = nothing.ldb = 0;
  expect_report(nothing, name, 8);
  Call no_right_hand_sides;
  no_right_hand_sides.n = no_right_hand_sides.nrhs = no_right_hand_sides.lwork = 0;
  expect_report(no_right_hand_sides, name, 10);
}

TYPED_TEST(LeastSquares, TellsTheBestWorkspaceWhateverArgumentIsBad) {
  using T = TypeParam;
  const auto expect_answer = [](bool transposed, const Sizes& s, auto spoil) {
    GelsCall<T> call;
    spoil(call);
    call.run();
    EXPECT_EQ(call.work(1), T(Real<T>(best_lwork<T>(transposed, s))));
    EXPECT_EQ(take_error_reports().size(), 1u);
  };
  using Call = GelsCall<T>;
  expect_answer(true, {4, 2, 3}, [](Call& call) { call.trans = 'X'; });  // as any letter but N
  expect_answer(false, {4, 2, -1}, [](Call& call) { call.nrhs = -1; });
  expect_answer(false, {4, 2, 3}, [](Call& call) { call.lda = 3; });
  expect_answer(false, {4, 2, 3}, [](Call& call) { call.ldb = 3; });
  expect_answer(true, {4, 2, 3}, [](Call& call) {
    call.trans = adjoint_letter<T>;
    call.lwork = 4;
  });
}

TYPED_TEST(LeastSquares, FitsMatricesThatAreHardToSolveWith) {
  using T = TypeParam;
  DescribedMatrices matrices(8);
  for (const Sizes& s : {Sizes{6, 6, 2}, {40, 40, 3}, {90, 33, 3}, {33, 90, 3}, {110, 100, 1}}) {
    for (const Description& description : matrices_of_full_rank) {
      for (const bool transposed : {false, true}) {
        SCOPED_TRACE(to_string(s) + (transposed ? ", transposed, " : ", ") + description.name);
        Problem<T> problem(this->random, transposed, s);
        const GuardedMatrix<T> hard = matrices.general<T>(description, s.m, s.n, s.m);
        for (Int j = 1; j <= s.n; ++j) std::copy_n(&hard(1, j), s.m, &problem.A(1, j));
        problem.A.seal();
        const Solved<T> solved = solve(this->random, problem, best_lwork<T>(transposed, s));
        const WideMatrix<T> A = problem.matrix(), B = problem.right_hand_sides();
        const WideMatrix<T> X = wide(solved.B).topRows(problem.unknowns());
        if (problem.equations() <= problem.unknowns()) {
          EXPECT_LT(solution_residual<T>(A, X, B), threshold);
        }
        if (problem.equations() >= problem.unknowns()) {
          // The fit is the best one of a matrix A + E with E of size n eps ||A||; what that leaves in A^H R is
          // A^H E X + E^H R, of which the former is the larger part where A is ill-conditioned and X large.
          const double allowed =
              one_norm<T>(WideMatrix<T>(A.adjoint())) * (one_norm<T>(A) * one_norm<T>(X) + one_norm<T>(B));
          const double left = one_norm<T>(product<T>(A.adjoint(), B - product<T>(A, X)));
          EXPECT_LT(left / (allowed * problem.longer() * epsilon<T>), threshold);
        }
      }
    }
  }
}

}  // namespace
}  // namespace nuv::test
