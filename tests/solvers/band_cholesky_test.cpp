// Positive definite band systems, and triangular ones: ?pbtrf, ?pbtf2, ?pbtrs, ?pbts2, ?pbsv, ?tbtrs.

#include <algorithm>
#include <limits>

#include "layer.hpp"
#include "routines.hpp"
#include "solvers/banded.hpp"
#include "support/argument_checks.hpp"
#include "support/memory_requests.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

Band triangle_of(char uplo, Int kd) {
  return is_upper(uplo) ? Band{0, kd} : Band{kd, 0};
}

template <class T>
class BandTriangles : public ReportingTest {
 protected:
  /// A triangle of a definite matrix: its other elements come to less than the diagonal in each row. Imaginary parts of
  /// the diagonal hold guards.
  BandMatrix<T> definite(char uplo, Int n, Int kd) {
    BandMatrix<T> A = random_band<T>(random, n, n, triangle_of(uplo, kd), 0);
    for (Int j = 1; j <= n; ++j) {
      const auto diagonal = Real<T>(3 * kd + 1 + random.real() / 2);
      if constexpr (ComplexScalar<T>) A(j, j) = {diagonal, guard<Real<T>>()};
      else A(j, j) = diagonal;
    }
    A.ab.seal();
    return A;
  }

  BandMatrix<T> triangle(char uplo, bool unit, Int n, Int kd) {
    BandMatrix<T> A = random_band<T>(random, n, n, triangle_of(uplo, kd), 0);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) {
        if (A.holds(i, j)) A(i, j) = i != j ? A(i, j) / Real<T>(kd) : unit ? guard<T>() : random.divisor<T>();
      }
    }
    A.ab.seal();
    return A;
  }

  Random random{53};
};
TYPED_TEST_SUITE(BandTriangles, Precisions, PrecisionLetter);

template <Scalar T>
WideMatrix<T> wide_definite(const BandMatrix<T>& A) {
  const WideMatrix<T> stored = A.wide();
  WideMatrix<T> full = stored + stored.adjoint();
  for (Int i = 0; i < A.n; ++i) full(i, i) = std::real(stored(i, i));
  return full;
}

// ----------------------------------------------------------------------------------------------------- factorisation

enum class Way { blocked, unblocked };

template <Scalar T>
Int factor(char uplo, BandMatrix<T>& A, Way way = Way::blocked) {
  Int info = 99;
  const Int kd = A.band.kl + A.band.ku;
  if (way == Way::blocked) routine_call::pbtrf(uplo, A.n, kd, A.ab, info);
  else routine_call::pbtf2(uplo, A.n, kd, A.ab, info);
  EXPECT_TRUE(A.stayed_in_matrix());
  return info;
}

/// Diagonals around the change from inline work to kernels, and from columns to blocks of 32.
constexpr Int factored_diagonals[] = {0, 1, 2, 5, 8, 9, 20, 64, 65, 80};

TYPED_TEST(BandTriangles, FactorsDefiniteMatrices) {
  using T = TypeParam;
  for (const Int kd : factored_diagonals) {
    for (const Int n : {1, 2, 10, 70, 200}) {
      if (n == 200 && kd < 64) continue;
      for (const char uplo : {'U', 'l'}) {
        const BandMatrix<T> A = this->definite(uplo, n, kd);
        for (const Way way : {Way::blocked, Way::unblocked}) {
          BandMatrix<T> F = A;
          EXPECT_EQ(factor(uplo, F, way), 0);
          const WideMatrix<T> L = op<T>(is_upper(uplo) ? 'C' : 'N', F.wide());
          EXPECT_LT(product_residual<T>(wide_definite(A), L, op<T>('C', L)), threshold)
              << "order " << n << ", diagonals " << kd << ", " << uplo;
        }
      }
    }
  }
}

TYPED_TEST(BandTriangles, TellsTheFirstMinorThatIsNotPositive) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int kd : {0, 3, 12, 70}) {
    const Int n = 150;
    for (const Int bad : {1, 2, 33, 149, 150}) {
      for (const R pivot : {R(-1), R(0), std::numeric_limits<R>::quiet_NaN()}) {
        if (pivot == 0 && bad > 1 && kd > 0) continue;
        for (const char uplo : uplos) {
          BandMatrix<T> A = this->definite(uplo, n, kd);
          A(bad, bad) = T(pivot);
          if (bad < n) A(bad + 1, bad + 1) = T(-1);
          for (const Way way : {Way::blocked, Way::unblocked}) {
            BandMatrix<T> F = A;
            EXPECT_EQ(factor(uplo, F, way), bad) << "diagonals " << kd << ", pivot " << pivot;
          }
        }
      }
    }
  }
}

TYPED_TEST(BandTriangles, FactorsByBlocksFromSixtyFiveDiagonalsOn) {
  using T = TypeParam;
  for (const Int kd : {64, 65}) {
    BandMatrix<T> blocked = this->definite('U', 150, kd), unblocked = blocked;
    factor('U', blocked);
    factor('U', unblocked, Way::unblocked);
    EXPECT_EQ(bool(blocked.ab.same_as(unblocked.ab)), kd == 64);
  }
}

// ------------------------------------------------------------------------------------------------------------- solves

/// Orders and diagonals around the crossovers and the block width.
struct Size {
  Int n, kd;
};
constexpr Size sizes[] = {{1, 0},    {1, 2},    {20, 0},    {20, 1},    {20, 3},    {20, 4},   {20, 16},  {20, 17},
                          {20, 25},  {127, 3},  {127, 4},   {127, 30},  {128, 31},  {128, 32}, {150, 33}, {200, 64},
                          {260, 33}, {260, 34}, {300, 128}, {300, 129}, {300, 150}, {290, 140}};

TYPED_TEST(BandTriangles, SolvesWithTheFactor) {
  using T = TypeParam;
  for (const Size size : sizes) {
    for (const Int nrhs : {0, 1, 3, 6}) {
      if (size.n > 100 && nrhs != 3 && (size.n > 128 || nrhs != 1)) continue;
      for (const char uplo : {'u', 'L'}) {
        const BandMatrix<T> A = this->definite(uplo, size.n, size.kd);
        BandMatrix<T> F = A;
        factor(uplo, F);
        F.ab.seal();
        const GuardedMatrix<T> B = right_hand_sides<T>(this->random, size.n, nrhs);
        GuardedMatrix<T> X = B, by_rows = B;
        Int info = 99, info_by_rows = 99;
        layer::pbtrs(uplo, size.n, size.kd, nrhs, F.ab, X, info);
        routine_call::pbts2(uplo, size.n, size.kd, nrhs, F.ab, by_rows, info_by_rows);
        EXPECT_EQ(info, 0);
        EXPECT_EQ(info_by_rows, 0);
        for (const auto* solution : {&X, &by_rows}) {
          EXPECT_TRUE(solution->guards_unchanged());
          EXPECT_LT(solution_residual<T>(wide_definite(A), wide(*solution), wide(B)), threshold)
              << "order " << size.n << ", diagonals " << size.kd << ", " << uplo << ", right-hand sides " << nrhs;
        }
        EXPECT_TRUE(F.ab.unchanged());
      }
    }
  }
}

template <Scalar T>
GuardedMatrix<T> solve(char uplo, char trans, char diag, const BandMatrix<T>& A, const GuardedMatrix<T>& B,
                       Int expected_info = 0) {
  GuardedMatrix<T> X = B;
  Int info = 99;
  layer::tbtrs(uplo, trans, diag, A.n, A.band.kl + A.band.ku, B.columns(), A.ab, X, info);
  EXPECT_EQ(info, expected_info);
  EXPECT_TRUE(A.ab.unchanged());
  EXPECT_TRUE(X.guards_unchanged());
  return X;
}

template <Scalar T>
WideMatrix<T> wide_with_diagonal(const BandMatrix<T>& A, bool unit) {
  WideMatrix<T> full = A.wide();
  for (Int i = 0; i < A.n && unit; ++i) full(i, i) = Wide<T>(1);
  return full;
}

TYPED_TEST(BandTriangles, SolvesWithATriangle) {
  using T = TypeParam;
  for (const Size size : sizes) {
    for (const char uplo : {'U', 'l'}) {
      for (const char diag : {'n', 'U'}) {
        if (size.n > 128 && is_unit(diag) == is_upper(uplo)) continue;
        const BandMatrix<T> A = this->triangle(uplo, is_unit(diag), size.n, size.kd);
        const WideMatrix<T> full = wide_with_diagonal(A, is_unit(diag));
        for (const char trans : {'N', 't', 'C'}) {
          for (const Int nrhs : {0, 1, 3, 6}) {
            if (size.n > 100 && nrhs != 3 && (size.n > 128 || nrhs != 1)) continue;
            const GuardedMatrix<T> B = right_hand_sides<T>(this->random, size.n, nrhs);
            const GuardedMatrix<T> X = solve(uplo, trans, diag, A, B);
            EXPECT_LT(solution_residual<T>(op<T>(trans, full), wide(X), wide(B)), threshold)
                << "order " << size.n << ", diagonals " << size.kd << ", " << uplo << trans << diag
                << ", right-hand sides " << nrhs;
          }
        }
      }
    }
  }
}

/// More of them are solved for in strips, with the bits of the serial body on each strip.
TYPED_TEST(BandTriangles, SolvesForManyRightHandSides) {
  using T = TypeParam;
  for (const Size size : {Size{60, 3}, {150, 40}}) {
    const BandMatrix<T> A = this->triangle('U', false, size.n, size.kd);
    for (const Int nrhs : {129, 260}) {
      const GuardedMatrix<T> B = right_hand_sides<T>(this->random, size.n, nrhs);
      EXPECT_LT(solution_residual<T>(A.wide(), wide(solve('U', 'N', 'N', A, B)), wide(B)), threshold) << nrhs;
    }
  }
}

/// Without memory each column is solved for by itself, as it is where there are few.
TYPED_TEST(BandTriangles, SolveByColumnsWhereMemoryIsRefused) {
  using T = TypeParam;
  constexpr Int n = 150, kd = 40, nrhs = 3;
  for (const char uplo : uplos) {
    BandMatrix<T> F = this->definite(uplo, n, kd);
    factor(uplo, F);
    F.ab.seal();
    const auto expect_the_same = [&](auto solve_for) {
      GuardedMatrix<T> X = right_hand_sides<T>(this->random, n, nrhs), one_by_one = X;
      {
        const MemoryRequests memory;
        for (Int j = 1; j <= nrhs; ++j) solve_for(1, block(Matrix<T>(one_by_one), 1, j));
        EXPECT_EQ(memory.count(), 0);
      }
      const MemoryRequests memory(1);
      solve_for(nrhs, Matrix<T>(X));
      EXPECT_EQ(memory.count(), 1);
      EXPECT_TRUE(memory.included(kd * nrhs * sizeof(T)));
      EXPECT_EQ(memory.kept(), 0);
      EXPECT_TRUE(X.same_as(one_by_one)) << uplo;
    };
    Int info = 99;
    expect_the_same([&](Int count, Matrix<T> X) { layer::pbtrs(uplo, n, kd, count, F.ab, X, info); });
    EXPECT_EQ(info, 0);
    for (const char trans : transes) {
      expect_the_same([&](Int count, Matrix<T> X) { layer::tbtrs(uplo, trans, 'N', n, kd, count, F.ab, X, info); });
      EXPECT_EQ(info, 0);
    }
  }
}

TYPED_TEST(BandTriangles, TellsAZeroOnTheDiagonal) {
  using T = TypeParam;
  for (const char uplo : uplos) {
    BandMatrix<T> A = this->triangle(uplo, false, 30, 4);
    A(7, 7) = A(12, 12) = T(0);
    A.ab.seal();
    for (const Int nrhs : {0, 2, 200}) {
      const GuardedMatrix<T> B = right_hand_sides<T>(this->random, 30, nrhs);
      EXPECT_TRUE(solve(uplo, 'N', 'N', A, B, 7).same_as(B));
    }
    solve(uplo, 'N', 'U', A, right_hand_sides<T>(this->random, 30, 1));
  }
}

// ------------------------------------------------------------------------------------------------------------- driver

TYPED_TEST(BandTriangles, SolvesDefiniteSystemsByTheDriver) {
  using T = TypeParam;
  for (const Size size : {Size{0, 2}, {1, 0}, {40, 2}, {40, 5}, {150, 70}}) {
    for (const char uplo : uplos) {
      BandMatrix<T> A = this->definite(uplo, size.n, size.kd);
      const WideMatrix<T> original = wide_definite(A);
      const GuardedMatrix<T> B = right_hand_sides<T>(this->random, size.n, 4);
      GuardedMatrix<T> X = B;
      Int info = 99;
      routine_call::pbsv(uplo, size.n, size.kd, 4, A.ab, X, info);
      EXPECT_EQ(info, 0);
      EXPECT_LT(solution_residual<T>(original, wide(X), wide(B)), threshold);
    }
  }
  BandMatrix<T> bad = this->definite('U', 20, 3);
  bad(5, 5) = T(-1);
  GuardedMatrix<T> B = right_hand_sides<T>(this->random, 20, 2);
  Int info = 99;
  routine_call::pbsv('U', 20, 3, 2, bad.ab, B, info);
  EXPECT_EQ(info, 5);
  EXPECT_TRUE(B.unchanged());
}

// ---------------------------------------------------------------------------------------------------------- arguments

enum class Member { pbtrf, pbtf2, pbtrs, pbts2, pbsv, tbtrs };

template <Scalar T, Member member>
struct TriangleCall {
  char uplo = 'U', trans = 'N', diag = 'N';
  Int n = 2, kd = 1, nrhs = 2, ldab = 2, ldb = 2;
  GuardedMatrix<T> ab{2, 2, 2}, b{2, 2, 2};

  TriangleCall() {
    for (Int j = 1; j <= 2; ++j) {
      ab(1, j) = b(1, j) = b(2, j) = T(1);
      ab(2, j) = T(4);
    }
    ab.seal();
    b.seal();
  }
  Int run() {
    Int info = 99;
    const Matrix<T> A{ab.data(), ldab}, B{b.data(), ldb};
    switch (member) {
      case Member::pbtrf:
        routine_call::pbtrf(uplo, n, kd, A, info);
        break;
      case Member::pbtf2:
        routine_call::pbtf2(uplo, n, kd, A, info);
        break;
      case Member::pbtrs:
        layer::pbtrs(uplo, n, kd, nrhs, A, B, info);
        break;
      case Member::pbts2:
        routine_call::pbts2(uplo, n, kd, nrhs, A, B, info);
        break;
      case Member::pbsv:
        routine_call::pbsv(uplo, n, kd, nrhs, A, B, info);
        break;
      case Member::tbtrs:
        layer::tbtrs(uplo, trans, diag, n, kd, nrhs, A, B, info);
        break;
    }
    return info;
  }
  bool unchanged() const { return ab.unchanged() && b.unchanged(); }
};

template <class Call>
void expect_factor_checks(const std::string& name) {
  expect_argument_checks<Call>(name, {{1, [](Call& c) { c.uplo = 'N'; }},
                                      {2, [](Call& c) { c.n = -1; }},
                                      {3, [](Call& c) { c.kd = -1; }},
                                      {5, [](Call& c) { c.ldab = 1; }}});
}

template <class Call>
void expect_solve_checks(const std::string& name) {
  expect_argument_checks<Call>(name, {{1, [](Call& c) { c.uplo = 'N'; }},
                                      {2, [](Call& c) { c.n = -1; }},
                                      {3, [](Call& c) { c.kd = -1; }},
                                      {4, [](Call& c) { c.nrhs = -1; }},
                                      {6, [](Call& c) { c.ldab = 1; }},
                                      {8, [](Call& c) { c.ldb = 1; }}});
}

TYPED_TEST(BandTriangles, CheckTheirArguments) {
  using T = TypeParam;
  expect_factor_checks<TriangleCall<T, Member::pbtrf>>(reported_name<T>("PBTRF"));
  expect_factor_checks<TriangleCall<T, Member::pbtf2>>(reported_name<T>("PBTF2"));
  expect_solve_checks<TriangleCall<T, Member::pbtrs>>(reported_name<T>("PBTRS"));
  expect_solve_checks<TriangleCall<T, Member::pbts2>>(reported_name<T>("PBTS2"));
  expect_solve_checks<TriangleCall<T, Member::pbsv>>(reported_name<T>("PBSV"));
  using Call = TriangleCall<T, Member::tbtrs>;
  expect_argument_checks<Call>(reported_name<T>("TBTRS"), {{1, [](Call& c) { c.uplo = 'N'; }},
                                                           {2, [](Call& c) { c.trans = 'U'; }},
                                                           {3, [](Call& c) { c.diag = 'L'; }},
                                                           {4, [](Call& c) { c.n = -1; }},
                                                           {5, [](Call& c) { c.kd = -1; }},
                                                           {6, [](Call& c) { c.nrhs = -1; }},
                                                           {8, [](Call& c) { c.ldab = 1; }},
                                                           {10, [](Call& c) { c.ldb = 1; }}});
}

}  // namespace
}  // namespace nuv::test
