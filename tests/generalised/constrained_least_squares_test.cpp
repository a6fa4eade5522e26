// Least squares with a second matrix: gglse under constraints, ggglm with weighted errors; against the same by null
// spaces in a wider type.

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string>

#include "orthogonal/low_rank.hpp"
#include "orthogonal/products_with_q.hpp"
#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/described_matrices.hpp"
#include "support/sanitized.hpp"

namespace nuv::test {
namespace {

template <class T>
class ConstrainedLeastSquares : public ReportingTest {
 protected:
  Random random{401};
};
TYPED_TEST_SUITE(ConstrainedLeastSquares, Precisions, PrecisionLetter);

/// The three sizes in the order of the routine's arguments.
struct Sizes {
  Int first, second, third;

  Int sum() const { return first + second + third; }
  Int longest() const { return std::max({first, second, third}); }
};

std::string to_string(const Sizes& s) {
  return std::to_string(s.first) + ", " + std::to_string(s.second) + ", " + std::to_string(s.third);
}

/// Both drivers alike: their factors take the third size (second for ggglm) and the smaller of two others in front.
template <Scalar T>
Int best_lwork(const Sizes& s, Int in_front, Int longer) {
  const Int nb = std::max({ask(1, reported_name<T>("GEQRF"), " ", s.first, s.second, -1),
                           ask(1, reported_name<T>("GERQF"), " ", s.first, s.second, -1),
                           ask(1, name_with_q<T>("M", "QR"), " ", s.first, s.second, s.third),
                           ask(1, name_with_q<T>("M", "RQ"), " ", s.first, s.second, s.third)});
  return std::max(1, in_front + longer * nb);
}
template <Scalar T>
Int best_gglse_lwork(const Sizes& s) {
  const auto [m, n, p] = s;
  return best_lwork<T>(s, p + std::min(m, n), std::max(m, n));
}
template <Scalar T>
Int best_ggglm_lwork(const Sizes& s) {
  const auto [n, m, p] = s;
  return best_lwork<T>(s, m + std::min(n, p), std::max(n, p));
}

/// A random matrix of full rank and small condition.
template <Scalar T>
GuardedMatrix<T> well_conditioned(Random& random, Int m, Int n) {
  const Int k = std::min(m, n);
  const WideMatrix<T> U = random_orthonormal<T>(random, m, k), V = random_orthonormal<T>(random, n, k);
  WideMatrix<T> scaled = U;
  const std::vector<double> values = values_down_to(0.4, k);
  for (Int j = 0; j < k; ++j) scaled.col(j) *= Wide<T>(WideReal<T>(values[std::size_t(j)]));
  const WideMatrix<T> elements = product<T>(scaled, V.adjoint());
  GuardedMatrix<T> A(m, n, std::max(1, m + random.integer(0, 2)));
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= m; ++i) A(i, j) = T(elements(i - 1, j - 1));
  }
  A.seal();
  return A;
}

/// An orthonormal basis of what is orthogonal to the independent columns of A.
template <Scalar T>
WideMatrix<T> complement(Random& random, const WideMatrix<T>& A) {
  const Eigen::Index n = A.rows(), k = A.cols();
  WideMatrix<T> both(n, k);
  both = A;
  for (Eigen::Index j = k; j < n; ++j) {
    WideMatrix<T> next = outside_of_span<T>(both, random_wide<T>(random, Int(n), 1));
    next /= next.norm();
    next = outside_of_span<T>(both, next);
    both.conservativeResize(n, j + 1);
    both.col(j) = next / next.norm();
  }
  return both.rightCols(n - k);
}

/// The X of least squares of an A with independent columns, by normal equations: the wide type has digits to lose.
template <Scalar T>
WideMatrix<T> fit(const WideMatrix<T>& A, const WideMatrix<T>& B) {
  const WideMatrix<T> adjoint = A.adjoint();
  return product<T>(inverse<T>(product<T>(adjoint, A)), product<T>(adjoint, B));
}

/// The shortest X of A X = B with independent rows.
template <Scalar T>
WideMatrix<T> shortest(const WideMatrix<T>& A, const WideMatrix<T>& B) {
  const WideMatrix<T> adjoint = A.adjoint();
  return product<T>(adjoint, product<T>(inverse<T>(product<T>(A, adjoint)), B));
}

double quotient_of(double error, double allowed) {
  return error == 0 ? 0 : error / allowed;
}

// --------------------------------------------------------------------------------------------------------------- gglse

template <Scalar T>
struct ConstrainedProblem {
  Sizes sizes;  ///< m, n, p
  GuardedMatrix<T> A, B;
  GuardedVector<T> c, d;

  ConstrainedProblem(Random& random, const Sizes& s)
      : sizes(s),
        A(well_conditioned<T>(random, s.first, s.second)),
        B(well_conditioned<T>(random, s.third, s.second)),
        c(random_vector<T>(random, s.first, 1)),
        d(random_vector<T>(random, s.third, 1)) {}

  /// With the columns of N a basis of the null space of B.
  WideMatrix<T> solution(const WideMatrix<T>& N) const {
    const WideMatrix<T> particular = shortest<T>(wide(B), wide(d));
    const WideMatrix<T> rest = wide(c) - product<T>(wide(A), particular);
    return particular + product<T>(N, fit<T>(product<T>(wide(A), N), rest));
  }

  /// ||A|| over the least singular value of A N, about.
  double condition(const WideMatrix<T>& N) const {
    if (N.cols() == 0 || A.rows() == 0) return 1;
    const WideMatrix<T> AN = product<T>(wide(A), N), adjoint = AN.adjoint();
    return std::sqrt(one_norm<T>(inverse<T>(product<T>(adjoint, AN))));
  }
};

template <Scalar T>
struct ConstrainedSolution {
  ConstrainedProblem<T> left;  ///< what is left of the arguments
  GuardedVector<T> x, work;
};

template <Scalar T>
ConstrainedSolution<T> solve(const ConstrainedProblem<T>& problem, Int lwork) {
  const auto [m, n, p] = problem.sizes;
  ConstrainedSolution<T> result{problem, GuardedVector<T>(n), GuardedVector<T>(lwork)};
  Int info = 99;
  routine_call::gglse(m, n, p, Matrix<T>(result.left.A), Matrix<T>(result.left.B), result.left.c.data(),
                      result.left.d.data(), result.x.data(), result.work.data(), lwork, info);
  EXPECT_EQ(info, 0);
  for (const auto* matrix : {&result.left.A, &result.left.B}) EXPECT_TRUE(matrix->guards_unchanged());
  for (const auto* vector : {&result.left.c, &result.left.d, &result.x, &result.work}) {
    EXPECT_TRUE(vector->guards_unchanged());
  }
  return result;
}

/// What holds of x however hard A is to compute with.
///
/// N  a basis of the null space of B
template <Scalar T>
void expect_fit(const ConstrainedProblem<T>& problem, const WideMatrix<T>& N, const WideMatrix<T>& x) {
  const WideMatrix<T> A = wide(problem.A), B = wide(problem.B), c = wide(problem.c), d = wide(problem.d);
  const WideMatrix<T> residual = c - product<T>(A, x), AN_adjoint = product<T>(A, N).adjoint();
  const double unit = std::max(problem.sizes.first, problem.sizes.second) * epsilon<T>;
  const double size = one_norm<T>(A) * one_norm<T>(x) + one_norm<T>(c);
  // The constraints hold.
  EXPECT_LT(quotient_of(one_norm<T>(WideMatrix<T>(product<T>(B, x) - d)),
                        (one_norm<T>(B) * one_norm<T>(x) + one_norm<T>(d)) * unit),
            threshold);
  // No step along them makes the residual shorter.
  EXPECT_LT(
      quotient_of(one_norm<T>(product<T>(AN_adjoint, residual)), std::max(1.0, one_norm<T>(AN_adjoint)) * size * unit),
      threshold);
}

template <Scalar T>
void expect_solution(Random& random, const ConstrainedProblem<T>& problem, const ConstrainedSolution<T>& solved) {
  const auto [m, n, p] = problem.sizes;
  const WideMatrix<T> A = wide(problem.A), c = wide(problem.c), x = wide(solved.x);
  const WideMatrix<T> N = complement<T>(random, wide(problem.B).adjoint()), residual = c - product<T>(A, x);
  const double unit = std::max(m, n) * epsilon<T>, size = one_norm<T>(A) * one_norm<T>(x) + one_norm<T>(c);
  expect_fit(problem, N, x);
  const WideMatrix<T> expected = problem.solution(N);
  const double condition = problem.condition(N);
  EXPECT_LT(quotient_of(one_norm<T>(WideMatrix<T>(x - expected)),
                        condition * (one_norm<T>(expected) + condition * size) * unit),
            threshold);
  // The norm of the residual.
  WideReal<T> sum = 0;
  for (Int i = n - p + 1; i <= m; ++i) sum += std::norm(wide(solved.left.c(i)));
  EXPECT_LE(std::abs(std::sqrt(sum) - residual.norm()), threshold * unit * WideReal<T>(size));
}

/// Shapes with as few rows as can be, and as many; blocks hold 32 or 64 columns.
std::vector<Sizes> shapes_of_gglse() {
  std::vector<Sizes> all = {{1, 1, 0}, {1, 1, 1}, {6, 5, 2},    {10, 4, 0},   {10, 4, 4},   {3, 5, 2},
                            {3, 5, 3}, {3, 5, 4}, {4, 6, 5},    {0, 4, 4},    {4, 4, 2},    {5, 5, 0},
                            {5, 5, 5}, {2, 9, 9}, {70, 40, 10}, {20, 45, 36}, {10, 40, 40}, {150, 8, 3}};
  if (is_sanitized) std::erase_if(all, [](const Sizes& s) { return s.longest() > 50; });
  return all;
}

TYPED_TEST(ConstrainedLeastSquares, KeepsToTheConstraintsAndFits) {
  using T = TypeParam;
  for (const Sizes& s : shapes_of_gglse()) {
    const ConstrainedProblem<T> problem(this->random, s);
    const Int least = std::max(1, s.sum()), best = best_gglse_lwork<T>(s);
    for (const Int lwork : {least, (least + best) / 2, best, best + 3}) {
      SCOPED_TRACE("m, n, p = " + to_string(s) + ", lwork " + std::to_string(lwork));
      const ConstrainedSolution<T> solved = solve(problem, lwork);
      expect_solution(this->random, problem, solved);
      EXPECT_EQ(solved.work(1), T(Real<T>(best)));
      if (s.longest() > 60) break;  // the workspace is the matter of the smaller ones, which have several blocks, too
    }
  }
}

TYPED_TEST(ConstrainedLeastSquares, FitsMatricesThatAreHardToSolveWith) {
  using T = TypeParam;
  DescribedMatrices described(46);
  for (const Sizes& s : {Sizes{20, 15, 6}, {12, 15, 6}}) {
    for (const Description& description : matrices_of_full_rank) {
      SCOPED_TRACE("m, n, p = " + to_string(s) + ", " + description.name);
      ConstrainedProblem<T> problem(this->random, s);
      problem.A = described.general<T>(description, s.first, s.second, s.first);
      const WideMatrix<T> N = complement<T>(this->random, wide(problem.B).adjoint());
      expect_fit(problem, N, wide(solve(problem, s.sum()).x));
    }
  }
}

/// The triangles that it leaves are those of the pair: B = (0 T12) Q in the Frobenius norm.
TYPED_TEST(ConstrainedLeastSquares, LeavesTheTriangleOfTheConstraints) {
  using T = TypeParam;
  const Sizes s{6, 5, 3};
  const ConstrainedProblem<T> problem(this->random, s);
  const ConstrainedSolution<T> solved = solve(problem, s.sum());
  WideReal<T> sum = 0;
  for (Int j = 1; j <= 3; ++j) {
    for (Int i = 1; i <= j; ++i) sum += std::norm(wide(solved.left.B(i, 2 + j)));
  }
  const WideReal<T> norm = wide(problem.B).norm();
  EXPECT_LE(std::abs(std::sqrt(sum) - norm), threshold * 5 * epsilon<T> * norm);
}

TYPED_TEST(ConstrainedLeastSquares, WithoutUnknownsLeavesTheRightHandSide) {
  using T = TypeParam;
  for (const Int m : {0, 3}) {
    const ConstrainedProblem<T> problem(this->random, {m, 0, 0});
    const ConstrainedSolution<T> solved = solve(problem, std::max(1, m));
    EXPECT_TRUE(solved.left.c.unchanged());
    EXPECT_EQ(solved.work(1), T(Real<T>(best_gglse_lwork<T>({m, 0, 0}))));
  }
}

// --------------------------------------------------------------------------------------------------------------- ggglm

template <Scalar T>
struct LinearModel {
  Sizes sizes;  ///< n, m, p
  GuardedMatrix<T> A, B;
  GuardedVector<T> d;

  LinearModel(Random& random, const Sizes& s)
      : sizes(s),
        A(well_conditioned<T>(random, s.first, s.second)),
        B(well_conditioned<T>(random, s.first, s.third)),
        d(random_vector<T>(random, s.first, 1)) {}
};

template <Scalar T>
struct SolvedModel {
  LinearModel<T> left;  ///< what is left of the arguments
  GuardedVector<T> x, y, work;
};

template <Scalar T>
SolvedModel<T> solve(const LinearModel<T>& model, Int lwork) {
  const auto [n, m, p] = model.sizes;
  SolvedModel<T> result{model, GuardedVector<T>(m), GuardedVector<T>(p), GuardedVector<T>(lwork)};
  Int info = 99;
  routine_call::ggglm(n, m, p, Matrix<T>(result.left.A), Matrix<T>(result.left.B), result.left.d.data(),
                      result.x.data(), result.y.data(), result.work.data(), lwork, info);
  EXPECT_EQ(info, 0);
  for (const auto* matrix : {&result.left.A, &result.left.B}) EXPECT_TRUE(matrix->guards_unchanged());
  for (const auto* vector : {&result.left.d, &result.x, &result.y, &result.work}) {
    EXPECT_TRUE(vector->guards_unchanged());
  }
  return result;
}

template <Scalar T>
void expect_solution(Random& random, const LinearModel<T>& model, const SolvedModel<T>& solved) {
  const auto [n, m, p] = model.sizes;
  const WideMatrix<T> A = wide(model.A), B = wide(model.B), d = wide(model.d), x = wide(solved.x), y = wide(solved.y);
  const double unit = std::max(n, p) * epsilon<T>;
  const double size = one_norm<T>(A) * one_norm<T>(x) + one_norm<T>(B) * one_norm<T>(y) + one_norm<T>(d);
  // The equations hold.
  EXPECT_LT(quotient_of(one_norm<T>(WideMatrix<T>(d - product<T>(A, x) - product<T>(B, y))), size * unit), threshold);

  // Across the range of A they say (Q^H B) y = Q^H d, of which y is the shortest solution.
  const WideMatrix<T> Q_adjoint = complement<T>(random, A).adjoint(), QB = product<T>(Q_adjoint, B);
  const WideMatrix<T> expected_y = shortest<T>(QB, product<T>(Q_adjoint, d));
  const WideMatrix<T> expected_x = fit<T>(A, WideMatrix<T>(d - product<T>(B, expected_y)));
  const WideMatrix<T> QB_adjoint = QB.adjoint();
  const double condition =
      QB.rows() == 0 ? 1 : std::max(1.0, std::sqrt(one_norm<T>(inverse<T>(product<T>(QB, QB_adjoint)))));
  const double allowed = condition * condition * (size + one_norm<T>(expected_y)) * unit;
  EXPECT_LT(quotient_of(one_norm<T>(WideMatrix<T>(y - expected_y)), allowed), threshold);
  EXPECT_LT(quotient_of(one_norm<T>(WideMatrix<T>(x - expected_x)), allowed), threshold);
  EXPECT_LT(quotient_of(one_norm<T>(outside_of_span<T>(QB_adjoint, y)), condition * one_norm<T>(y) * unit), threshold);
}

std::vector<Sizes> shapes_of_ggglm() {
  std::vector<Sizes> all = {{1, 1, 0},    {1, 0, 1},    {1, 1, 1},    {6, 3, 6},   {6, 3, 3},  {6, 3, 4},
                            {6, 3, 9},    {6, 6, 2},    {6, 6, 0},    {6, 0, 6},   {6, 0, 8},  {9, 2, 8},
                            {45, 20, 45}, {45, 36, 36}, {40, 10, 50}, {8, 3, 150}, {50, 45, 8}};
  if (is_sanitized) std::erase_if(all, [](const Sizes& s) { return s.longest() > 50; });
  return all;
}

TYPED_TEST(ConstrainedLeastSquares, FindsTheShortestErrors) {
  using T = TypeParam;
  for (const Sizes& s : shapes_of_ggglm()) {
    const LinearModel<T> model(this->random, s);
    const Int least = std::max(1, s.sum()), best = best_ggglm_lwork<T>(s);
    for (const Int lwork : {least, (least + best) / 2, best, best + 3}) {
      SCOPED_TRACE("n, m, p = " + to_string(s) + ", lwork " + std::to_string(lwork));
      const SolvedModel<T> solved = solve(model, lwork);
      expect_solution(this->random, model, solved);
      EXPECT_EQ(solved.work(1), T(Real<T>(best)));
      if (s.longest() > 60) break;
    }
  }
}

/// With B = I the errors are the residual of least squares.
TYPED_TEST(ConstrainedLeastSquares, IsLeastSquaresForErrorsOfOneWeight) {
  using T = TypeParam;
  const Sizes s{9, 4, 9};
  LinearModel<T> model(this->random, s);
  for (Int j = 1; j <= 9; ++j) {
    for (Int i = 1; i <= 9; ++i) model.B(i, j) = T(i == j);
  }
  model.B.seal();
  const SolvedModel<T> solved = solve(model, best_ggglm_lwork<T>(s));
  const WideMatrix<T> expected = fit<T>(wide(model.A), wide(model.d));
  EXPECT_LT(relative_distance<T>(wide(solved.x), expected, 9), 3 * threshold);
}

TYPED_TEST(ConstrainedLeastSquares, WithoutEquationsHasNoErrors) {
  using T = TypeParam;
  for (const Int p : {0, 4}) {
    const Sizes s{0, 0, p};
    const SolvedModel<T> solved = solve(LinearModel<T>(this->random, s), std::max(1, p));
    for (Int i = 1; i <= p; ++i) EXPECT_EQ(solved.y(i), T(0));
    EXPECT_EQ(solved.work(1), T(Real<T>(best_ggglm_lwork<T>(s))));
  }
}

// ----------------------------------------------------------------------------------------------------------- workspace

TYPED_TEST(ConstrainedLeastSquares, AnswersTheWorkspaceQuestionAndDoesNothingElse) {
  using T = TypeParam;
  const auto ask_for_work = [](const Sizes& s, auto routine, Int best) {
    SCOPED_TRACE(to_string(s));
    GuardedMatrix<T> A(1, 1, 1), B(1, 1, 1);
    GuardedVector<T> vectors(3), work(2);
    Int info = 99;
    const Int ld = std::max(1, s.longest());
    routine(Matrix<T>{A.data(), ld}, Matrix<T>{B.data(), ld}, vectors.data(), work.data(), info);
    EXPECT_EQ(info, 0);
    EXPECT_EQ(work(1), T(Real<T>(best)));
    EXPECT_LE(std::max(1, s.sum()), best);
    EXPECT_TRUE(work.unchanged_outside(1, 1));
    EXPECT_TRUE(A.unchanged());
    EXPECT_TRUE(B.unchanged());
    EXPECT_TRUE(vectors.unchanged());
  };
  for (const Sizes& s : {Sizes{50, 30, 10}, {400, 310, 200}, {30, 50, 30}, {0, 4, 4}, {3, 0, 0}, {0, 0, 0}}) {
    ask_for_work(
        s,
        [&](Matrix<T> A, Matrix<T> B, T* v, T* work, Int& info) {
          routine_call::gglse(s.first, s.second, s.third, A, B, v, v + 1, v + 2, work, -1, info);
        },
        best_gglse_lwork<T>(s));
  }
  for (const Sizes& s : {Sizes{50, 30, 40}, {400, 310, 200}, {30, 0, 50}, {4, 4, 0}, {0, 0, 7}, {0, 0, 0}}) {
    ask_for_work(
        s,
        [&](Matrix<T> A, Matrix<T> B, T* v, T* work, Int& info) {
          routine_call::ggglm(s.first, s.second, s.third, A, B, v, v + 1, v + 2, work, -1, info);
        },
        best_ggglm_lwork<T>(s));
  }
}

// ------------------------------------------------------------------------------------------------------- bad arguments

/// Five rows, four unknowns, two constraints.
template <Scalar T>
struct GglseCall {
  Int m = 5, n = 4, p = 2, lda = 5, ldb = 2, lwork = 11;
  Random random = Random(5);
  GuardedMatrix<T> A = random_matrix<T>(random, 5, 4, 5), B = random_matrix<T>(random, 2, 4, 2);
  GuardedVector<T> c = random_vector<T>(random, 5, 1), d = random_vector<T>(random, 2, 1);
  GuardedVector<T> x = GuardedVector<T>(4), work = GuardedVector<T>(11);

  Int run() {
    Int info = 99;
    routine_call::gglse(m, n, p, {A.data(), lda}, {B.data(), ldb}, c.data(), d.data(), x.data(), work.data(), lwork,
                        info);
    return info;
  }
  /// The best workspace is told before the arguments are looked at.
  bool unchanged() const {
    return A.unchanged() && B.unchanged() && c.unchanged() && d.unchanged() && x.unchanged() &&
           work.unchanged_outside(1, 1);
  }
};

/// Five equations, two unknowns, four errors.
template <Scalar T>
struct GgglmCall {
  Int n = 5, m = 2, p = 4, lda = 5, ldb = 5, lwork = 11;
  Random random = Random(5);
  GuardedMatrix<T> A = random_matrix<T>(random, 5, 2, 5), B = random_matrix<T>(random, 5, 4, 5);
  GuardedVector<T> d = random_vector<T>(random, 5, 1);
  GuardedVector<T> x = GuardedVector<T>(2), y = GuardedVector<T>(4), work = GuardedVector<T>(11);

  Int run() {
    Int info = 99;
    routine_call::ggglm(n, m, p, {A.data(), lda}, {B.data(), ldb}, d.data(), x.data(), y.data(), work.data(), lwork,
                        info);
    return info;
  }
  bool unchanged() const {
    return A.unchanged() && B.unchanged() && d.unchanged() && x.unchanged() && y.unchanged() &&
           work.unchanged_outside(1, 1);
  }
};

TYPED_TEST(ConstrainedLeastSquares, ReportsBadArgumentsOfGglse) {
  using T = TypeParam;
  using Call = GglseCall<T>;
  const std::string name = reported_name<T>("GGLSE");
  expect_argument_checks<Call>(name, {{1, [](Call& call) { call.m = -1; }},
                                      {2, [](Call& call) { call.n = -1; }},
                                      {3, [](Call& call) { call.p = -1; }},
                                      {5, [](Call& call) { call.lda = 4; }},
                                      {7, [](Call& call) { call.ldb = 1; }},
                                      {12, [](Call& call) { call.lwork = 10; }}});
  const auto expect = [&](int position, auto spoil) {
    Call call;
    spoil(call);
    expect_report(call, name, position);
    EXPECT_EQ(call.work(1), T(Real<T>(best_gglse_lwork<T>({call.m, call.n, call.p}))));
  };
  expect(3, [](Call& call) { call.p = 5; });  // more constraints than unknowns
  expect(3, [](Call& call) { call.m = 1; });  // too few rows
  expect(5, [](Call& call) { call.lda = 0; });
  expect(12, [](Call& call) { call.lwork = 0; });
  expect(12, [](Call& call) { call.lwork = -2; });
  expect(12, [](Call& call) { call.m = call.n = call.p = call.lwork = 0; });
  expect(7, [](Call& call) { call.p = call.ldb = 0; });
}

TYPED_TEST(ConstrainedLeastSquares, ReportsBadArgumentsOfGgglm) {
  using T = TypeParam;
  using Call = GgglmCall<T>;
  const std::string name = reported_name<T>("GGGLM");
  expect_argument_checks<Call>(name, {{1, [](Call& call) { call.n = -1; }},
                                      {2, [](Call& call) { call.m = -1; }},
                                      {3, [](Call& call) { call.p = -1; }},
                                      {5, [](Call& call) { call.lda = 4; }},
                                      {7, [](Call& call) { call.ldb = 4; }},
                                      {12, [](Call& call) { call.lwork = 10; }}});
  const auto expect = [&](int position, auto spoil) {
    Call call;
    spoil(call);
    expect_report(call, name, position);
    EXPECT_EQ(call.work(1), T(Real<T>(best_ggglm_lwork<T>({call.n, call.m, call.p}))));
  };
  expect(2, [](Call& call) { call.m = 6; });  // more unknowns than equations
  expect(3, [](Call& call) { call.p = 2; });  // too few errors
  expect(12, [](Call& call) { call.lwork = -2; });
  expect(12, [](Call& call) { call.n = call.m = call.p = call.lwork = 0; });
  expect(5, [](Call& call) { call.n = call.m = call.lda = 0; });
}

// ---------------------------------------------------------------------------------------------------- range and NaN

/// A matrix or vector times a power of two.
template <Scalar T>
GuardedMatrix<T> times(GuardedMatrix<T> A, int exponent) {
  for (Int j = 1; j <= A.columns(); ++j) {
    for (Int i = 1; i <= A.rows(); ++i) A(i, j) *= std::ldexp(Real<T>(1), exponent);
  }
  A.seal();
  return A;
}
template <Scalar T>
GuardedVector<T> times(GuardedVector<T> x, int exponent) {
  for (Int i = 1; i <= x.size(); ++i) x(i) *= std::ldexp(Real<T>(1), exponent);
  x.seal();
  return x;
}

/// Powers of two take nothing away from either matrix or from right sides, as long as squares of elements and of
/// rounding errors have a place in the range.
TYPED_TEST(ConstrainedLeastSquares, IsIndependentOfScale) {
  using T = TypeParam;
  const int half = std::numeric_limits<Real<T>>::max_exponent / 2, far = 3 * half / 4;
  const ConstrainedProblem<T> problem(this->random, {7, 6, 3});
  const LinearModel<T> model(this->random, {7, 3, 6});
  const ConstrainedSolution<T> solved = solve(problem, 16);
  const SolvedModel<T> solved_model = solve(model, 16);
  for (const auto& [of_a, of_b, of_right_sides] : {std::array{0, 0, half},
                                                   {0, 0, -half},
                                                   {far, 0, 0},
                                                   {-far, 0, 0},
                                                   {0, far, 0},
                                                   {0, -far, 0},
                                                   {far, far, 0},
                                                   {-far, -far, 0},
                                                   {far, -far, 0},
                                                   {-far, far, 0},
                                                   {far, far, -far},
                                                   {-far, -far, far}}) {
    SCOPED_TRACE(testing::Message() << "A times 2^" << of_a << ", B times 2^" << of_b << ", right sides 2^"
                                    << of_right_sides);
    ConstrainedProblem<T> other = problem;
    other.A = times(problem.A, of_a);
    other.B = times(problem.B, of_b);
    other.c = times(problem.c, of_a + of_right_sides);
    other.d = times(problem.d, of_b + of_right_sides);
    EXPECT_TRUE(solve(other, 16).x.same_as(times(solved.x, of_right_sides)));

    LinearModel<T> other_model = model;
    other_model.A = times(model.A, of_a);
    other_model.B = times(model.B, of_b);
    other_model.d = times(model.d, of_right_sides);
    const SolvedModel<T> found = solve(other_model, 16);
    EXPECT_TRUE(found.x.same_as(times(solved_model.x, of_right_sides - of_a)));
    EXPECT_TRUE(found.y.same_as(times(solved_model.y, of_right_sides - of_b)));
  }
}

TYPED_TEST(ConstrainedLeastSquares, GivesNaNForNaN) {
  using T = TypeParam;
  const T nan(std::numeric_limits<Real<T>>::quiet_NaN());
  const auto is_nan = [](T x) { return std::isnan(std::abs(x)); };
  for (const int where : {0, 1, 2, 3}) {
    ConstrainedProblem<T> problem(this->random, {6, 4, 2});
    T* const places[] = {&problem.A(2, 3), &problem.B(1, 2), &problem.c(4), &problem.d(2)};
    *places[where] = nan;
    EXPECT_TRUE(is_nan(solve(problem, 12).x(1))) << where;
  }
  for (const int where : {0, 1, 2}) {
    LinearModel<T> model(this->random, {6, 2, 5});
    T* const places[] = {&model.A(2, 1), &model.B(1, 2), &model.d(4)};
    *places[where] = nan;
    const SolvedModel<T> solved = solve(model, 13);
    EXPECT_TRUE(is_nan(solved.x(1))) << where;
    EXPECT_TRUE(is_nan(solved.y(1))) << where;
  }
}

}  // namespace
}  // namespace nuv::test
