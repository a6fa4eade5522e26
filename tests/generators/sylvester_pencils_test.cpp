// Generalised Sylvester equations with known solutions: ?latm5.

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "routines.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

template <class T>
class SylvesterPencils : public testing::Test {};
TYPED_TEST_SUITE(SylvesterPencils, Precisions, PrecisionLetter);

template <Scalar T>
struct Problem {
  Int m, n;
  GuardedMatrix<T> A, B, C, D, E, F, R, L;

  Problem(Int m_, Int n_)
      : m(m_),
        n(n_),
        A(m, m, m + 1),
        B(n, n, n + 2),
        C(m, n, m + 3),
        D(m, m, m + 4),
        E(n, n, n + 5),
        F(m, n, m + 6),
        R(m, n, m + 7),
        L(m, n, m + 8) {}

  std::vector<GuardedMatrix<T>*> matrices() { return {&A, &B, &C, &D, &E, &F, &R, &L}; }

  void run(Int prtype, Real<T> alpha = 1, Int qblcka = 2, Int qblckb = 2) {
    routine_call::latm5(prtype, m, n, Matrix<T>(A), Matrix<T>(B), Matrix<T>(C), Matrix<T>(D), Matrix<T>(E),
                        Matrix<T>(F), Matrix<T>(R), Matrix<T>(L), alpha, qblcka, qblckb);
    for (const GuardedMatrix<T>* X : matrices()) EXPECT_TRUE(X->guards_unchanged());
  }
};

/// Expects element by element what a formula says, in units of eps of the largest value that it takes. The sines of the
/// test and of the library are the same.
template <Scalar T, class Formula>
void expect_elements(const char* name, const GuardedMatrix<T>& X, Formula formula) {
  for (Int j = 1; j <= X.columns(); ++j) {
    for (Int i = 1; i <= X.rows(); ++i) {
      const Real<T> expected = formula(i, j);
      EXPECT_LE(std::abs(X(i, j) - T(expected)), epsilon<T> * std::abs(expected))
          << name << "(" << i << ", " << j << ")";
    }
  }
}

/// C = A R - L B and F = D R - L E up to rounding in each element.
template <Scalar T>
void expect_equations(const Problem<T>& problem) {
  const WideMatrix<T> R = wide(problem.R), L = wide(problem.L);
  Sum<T> c(problem.m, problem.n), f(problem.m, problem.n);
  c.add(T(1), wide(problem.A), R).add(T(-1), L, wide(problem.B));
  f.add(T(1), wide(problem.D), R).add(T(-1), L, wide(problem.E));
  EXPECT_LE(c.error_of(wide(problem.C)), 1);
  EXPECT_LE(f.error_of(wide(problem.F)), 1);
}

const std::pair<Int, Int> shapes[] = {{1, 1}, {2, 1}, {1, 3}, {3, 4}, {7, 5}, {8, 9}, {12, 11}, {40, 37}};

TYPED_TEST(SylvesterPencils, SolutionsSolveTheirEquations) {
  using T = TypeParam;
  for (const auto& [m, n] : shapes) {
    for (Int prtype = 1; prtype <= 6; ++prtype) {
      SCOPED_TRACE(testing::Message() << prtype << ": " << m << " by " << n);
      Problem<T> problem(m, n);
      problem.run(prtype, Real<T>(3.5), 3, 2);
      expect_equations(problem);
    }
  }
}

/// The number 1/2 - sin(k) times an amplitude.
template <RealScalar R>
R wave(Int k, R amplitude) {
  return (R(0.5) - std::sin(R(k))) * amplitude;
}

TYPED_TEST(SylvesterPencils, FirstIsOfJordanBlocks) {
  using T = TypeParam;
  using R = Real<T>;
  for (const auto& [m, n] : shapes) {
    Problem<T> problem(m, n);
    problem.run(1, R(0.25));
    expect_elements("A", problem.A, [](Int i, Int j) { return R(i == j ? 1 : j == i + 1 ? -1 : 0); });
    expect_elements("B", problem.B, [](Int i, Int j) { return R(i == j ? 0.75 : j == i + 1 ? 1 : 0); });
    expect_elements("D", problem.D, [](Int i, Int j) { return R(i == j); });
    expect_elements("E", problem.E, [](Int i, Int j) { return R(i == j); });
    for (const auto* X : {&problem.R, &problem.L}) {
      expect_elements("R, L", *X, [](Int i, Int j) { return wave<R>(i / j, 20); });
    }
  }
}

TYPED_TEST(SylvesterPencils, SecondIsTriangular) {
  using T = TypeParam;
  using R = Real<T>;
  for (const auto& [m, n] : shapes) {
    Problem<T> problem(m, n);
    problem.run(2);
    expect_elements("A", problem.A, [](Int i, Int j) { return i <= j ? wave<R>(i, 2) : 0; });
    expect_elements("B", problem.B, [](Int i, Int j) { return i <= j ? wave<R>(i + j, 2) : 0; });
    expect_elements("D", problem.D, [](Int i, Int j) { return i <= j ? wave<R>(i * j, 2) : 0; });
    expect_elements("E", problem.E, [](Int i, Int j) { return i <= j ? wave<R>(j, 2) : 0; });
    expect_elements("R", problem.R, [](Int i, Int j) { return wave<R>(i * j, 20); });
    expect_elements("L", problem.L, [](Int i, Int j) { return wave<R>(i + j, 20); });
  }
}

/// Expects X to be the triangle Y but for a block of order two at 1, 1 + distance, ...
template <Scalar T>
void expect_blocks(const char* name, const GuardedMatrix<T>& X, const GuardedMatrix<T>& Y, Int distance) {
  const auto begins_block = [&](Int k) { return (k - 1) % distance == 0 && k < X.rows(); };
  expect_elements(name, X, [&](Int i, Int j) {
    if (i == j + 1 && begins_block(j)) return Real<T>(0) - std::sin(std::real(Y(j, i)));
    if (i == j && i > 1 && begins_block(i - 1)) return std::real(Y(i - 1, i - 1));
    return std::real(Y(i, j));
  });
}

TYPED_TEST(SylvesterPencils, ThirdIsQuasiTriangular) {
  using T = TypeParam;
  for (const auto& [m, n] : shapes) {
    Problem<T> triangular(m, n);
    triangular.run(2);
    for (const auto& [qblcka, qblckb] : {std::pair(2, 3), std::pair(4, 2), std::pair(2147483647, 5)}) {
      SCOPED_TRACE(testing::Message() << m << " by " << n << ": " << qblcka << ", " << qblckb);
      Problem<T> problem(m, n);
      problem.run(3, 1, qblcka, qblckb);
      expect_blocks("A", problem.A, triangular.A, qblcka);
      expect_blocks("B", problem.B, triangular.B, qblckb);
      EXPECT_TRUE(problem.D.same_as(triangular.D));
      EXPECT_TRUE(problem.E.same_as(triangular.E));
      EXPECT_TRUE(problem.R.same_as(triangular.R));
      EXPECT_TRUE(problem.L.same_as(triangular.L));
      expect_equations(problem);
    }
    // Blocks can't overlap.
    for (const Int least : {1, 0, -7}) {
      Problem<T> problem(m, n);
      problem.run(3, 1, least, least);
      expect_blocks("A", problem.A, triangular.A, 2);
      expect_blocks("B", problem.B, triangular.B, 2);
    }
  }
}

TYPED_TEST(SylvesterPencils, FourthIsFull) {
  using T = TypeParam;
  using R = Real<T>;
  for (const auto& [m, n] : shapes) {
    Problem<T> problem(m, n);
    problem.run(4);
    expect_elements("A", problem.A, [](Int i, Int j) { return wave<R>(i * j, 20); });
    expect_elements("B", problem.B, [](Int i, Int j) { return wave<R>(i + j, 20); });
    expect_elements("D", problem.D, [](Int i, Int j) { return wave<R>(i + j, 2); });
    expect_elements("E", problem.E, [](Int i, Int j) { return wave<R>(i * j, 2); });
    expect_elements("R", problem.R, [](Int i, Int j) { return wave<R>(j / i, 20); });
    expect_elements("L", problem.L, [](Int i, Int j) { return wave<R>(i * j, 2); });
  }
}

/// A matrix of order n: a diagonal, and beside it what stands right of odd and left of even places.
template <RealScalar R>
R element_of_blocks(Int i, Int j, Int n, const R (&diagonal)[12], const R (&beside)[12]) {
  if (i == j) return diagonal[i - 1];
  if (i % 2 == 1 && i < n) return j == i + 1 ? beside[i - 1] : 0;
  return j == i - 1 ? R(0) - beside[i - 1] : 0;
}

TYPED_TEST(SylvesterPencils, FifthHasCloseEigenvalues) {
  using T = TypeParam;
  using R = Real<T>;
  const R alpha = 8, e = R(2.5), x = R(-0.1875);  // 20 / alpha, -1.5 / alpha
  const R diagonal_a[12] = {1, 1, 1 + e, 1 + e, e, e, 0 - e, 0 - e, 1, 1, 1, 1};
  const R beside_a[12] = {x, x, x, x, 1, 1, 1, 1, 2 * x, 2 * x, 2 * x, 2 * x};
  const R diagonal_b[12] = {-1, -1, 1 - e, 1 - e, e, e, 0 - e, 0 - e, 1 - e, 1 - e, 1 - e, 1 - e};
  const R beside_b[12] = {x, x, x, x, 1 + x, 1 + x, 1 + x, 1 + x, 2 * x, 2 * x, 2 * x, 2 * x};
  for (Int m = 1; m <= 12; ++m) {
    for (const Int n : {1, 2, 5, 6, 7, 8, 9, 12}) {
      for (const Int prtype : {5, 6}) {
        SCOPED_TRACE(testing::Message() << m << " by " << n);
        Problem<T> problem(m, n);
        problem.run(prtype, alpha);
        expect_elements("A", problem.A, [&](Int i, Int j) { return element_of_blocks(i, j, m, diagonal_a, beside_a); });
        expect_elements("B", problem.B, [&](Int i, Int j) { return element_of_blocks(i, j, n, diagonal_b, beside_b); });
        expect_elements("D", problem.D, [](Int i, Int j) { return R(i == j); });
        expect_elements("E", problem.E, [](Int i, Int j) { return R(i == j); });
        expect_elements("R", problem.R, [&](Int i, Int j) { return wave<R>(i * j, alpha) / 20; });
        expect_elements("L", problem.L, [&](Int i, Int j) { return wave<R>(i + j, alpha) / 20; });
      }
    }
  }
}

TYPED_TEST(SylvesterPencils, ASmallerTypeTakesTheMatricesAsTheyAre) {
  using T = TypeParam;
  Random random{3};
  Problem<T> problem(4, 3);
  for (GuardedMatrix<T>* X : {&problem.A, &problem.B, &problem.D, &problem.E, &problem.R, &problem.L}) {
    *X = random_matrix<T>(random, X->rows(), X->columns(), X->ld());
  }
  problem.run(0);
  for (const GuardedMatrix<T>* X : {&problem.A, &problem.B, &problem.D, &problem.E, &problem.R, &problem.L}) {
    EXPECT_TRUE(X->unchanged());
  }
  expect_equations(problem);
}

TYPED_TEST(SylvesterPencils, MayBeEmpty) {
  using T = TypeParam;
  for (Int prtype = 1; prtype <= 5; ++prtype) {
    Problem<T> rows(0, 3), columns(3, 0);
    rows.run(prtype);
    columns.run(prtype);
  }
}

}  // namespace
}  // namespace nuv::test
