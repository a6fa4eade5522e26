// Band systems by LU: ?gbtrf, ?gbtf2, ?gbtrs, ?gbts2, ?gbsv.

#include <algorithm>
#include <limits>

#include "layer.hpp"
#include "routines.hpp"
#include "solvers/banded.hpp"
#include "support/argument_checks.hpp"
#include "support/memory_requests.hpp"
#include "x_variants.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

template <class T>
class BandLu : public ReportingTest {
 protected:
  /// Where no row can be exchanged, the diagonal is large: random triangles are beyond solving with.
  BandMatrix<T> matrix(Int m, Int n, Band band) {
    return random_band<T>(random, m, n, band, band.kl, band.kl == 0 ? band.ku + 1 : 0);
  }

  Random random{35};
};
TYPED_TEST_SUITE(BandLu, Precisions, PrecisionLetter);

// ----------------------------------------------------------------------------------------------------- factorisation

/// A band matrix, its factors and what the factorisation said.
template <Scalar T>
struct BandFactored {
  WideMatrix<T> A;
  BandMatrix<T> lu;
  GuardedVector<Int> ipiv;
  Int info = 99;
};

/// Factors with a routine (m, n, kl, ku, ab, ipiv, info).
template <Scalar T, class Routine>
BandFactored<T> factor(const BandMatrix<T>& A, Routine routine) {
  BandFactored<T> result{A.wide(), A, GuardedVector<Int>(std::min(A.m, A.n))};
  routine(A.m, A.n, A.band.kl, A.band.ku, Matrix<T>(result.lu.ab), result.ipiv.data(), result.info);
  EXPECT_TRUE(result.lu.stayed_in_matrix());
  EXPECT_TRUE(result.ipiv.guards_unchanged());
  result.lu.ab.seal();
  result.ipiv.seal();
  return result;
}

template <Scalar T>
BandFactored<T> factor(const BandMatrix<T>& A) {
  return factor(A, [](auto&&... arguments) { layer::gbtrf(arguments...); });
}

template <Scalar T>
BandFactored<T> factor_unblocked(const BandMatrix<T>& A) {
  return factor(A, [](auto&&... arguments) { routine_call::gbtf2(arguments...); });
}

/// L U V for the factors: the steps of L come one by one, each with its exchange.
template <Scalar T>
WideMatrix<T> multiply_factors(const BandFactored<T>& F, const WideMatrix<T>& V) {
  const Band u_band{0, F.lu.band.kl + F.lu.band.ku};
  WideMatrix<T> X = product<T>(F.lu.wide(u_band), V);
  for (Int j = F.ipiv.size(); j >= 1; --j) {
    for (Int i = j + 1; i <= std::min(F.lu.m, j + F.lu.band.kl); ++i) X.row(i - 1) += wide(F.lu(i, j)) * X.row(j - 1);
    X.row(j - 1).swap(X.row(F.ipiv(j) - 1));
  }
  return X;
}

template <Scalar T>
double band_residual(Random& random, const BandFactored<T>& F) {
  const WideMatrix<T> V = wide(random_matrix<T>(random, F.lu.n, 3, std::max(1, F.lu.n)));
  return solution_residual<T>(F.A, V, multiply_factors(F, V));
}

struct Shape {
  Int m, n;
};

struct Case {
  Int m, n;
  Band band;
};

std::string to_string(const Case& c) {
  return std::to_string(c.m) + " by " + std::to_string(c.n) + ", " + to_string(c.band);
}

/// Bands narrow and wide, around the widths at which the way of working changes, in matrices of several shapes.
std::vector<Case> cases() {
  std::vector<Case> all;
  for (const Band band : {Band{0, 0}, {0, 3}, {3, 0}, {1, 1}, {2, 5}, {5, 2}, {8, 3}, {9, 3}, {20, 11}}) {
    for (const Shape c : {Shape{1, 1}, {2, 2}, {9, 9}, {30, 30}, {12, 30}, {30, 12}}) all.push_back({c.m, c.n, band});
  }
  for (const Band band : {Band{31, 65}, {32, 64}, {32, 65}, {33, 70}, {70, 66}}) {
    for (const Shape c : {Shape{60, 60}, {180, 180}, {100, 180}, {180, 130}}) all.push_back({c.m, c.n, band});
  }
  all.push_back({32, 200, {32, 65}});
  all.push_back({97, 97, {40, 100}});
  return all;
}

TYPED_TEST(BandLu, Factors) {
  using T = TypeParam;
  for (const Case& c : cases()) {
    SCOPED_TRACE(to_string(c));
    const BandMatrix<T> A = this->matrix(c.m, c.n, c.band);
    const BandFactored<T> blocked = factor(A), unblocked = factor_unblocked(A);
    EXPECT_EQ(blocked.info, 0);
    EXPECT_EQ(unblocked.info, 0);
    EXPECT_LT(band_residual(this->random, blocked), threshold);
    EXPECT_LT(band_residual(this->random, unblocked), threshold);
    const std::vector<Int> pivots = c.n <= 60 ? wide_pivots<T>(A.wide()) : std::vector<Int>();
    for (Int i = 1; i <= blocked.ipiv.size(); ++i) {
      EXPECT_EQ(blocked.ipiv(i), unblocked.ipiv(i)) << i;
      if (!pivots.empty()) {
        EXPECT_EQ(blocked.ipiv(i), pivots[std::size_t(i - 1)]) << i;
      }
    }
  }
}

/// Pivots from the last row of the band carry U as far to the right as it goes, beyond the columns that blocks hold
/// whole.
TYPED_TEST(BandLu, FactorsWithPivotsFromTheLastRowOfTheBand) {
  using T = TypeParam;
  for (const Band band : {Band{12, 4}, {33, 70}, {64, 66}}) {
    const Int n = 200;
    BandMatrix<T> A = this->matrix(n, n, band);
    for (Int j = 1; j <= n - band.kl; ++j) A(j + band.kl, j) = T(8);
    A.ab.seal();
    const BandFactored<T> F = factor(A);
    EXPECT_EQ(F.info, 0);
    for (Int j = 1; j <= n - 2 * band.kl; ++j) EXPECT_EQ(F.ipiv(j), j + band.kl);
    EXPECT_LT(band_residual(this->random, F), threshold) << to_string(band);
  }
}

/// With few diagonals above, or not enough below, the serial body is the unblocked one to the last bit.
TYPED_TEST(BandLu, TakesBlocksForWideBandsAlone) {
  using T = TypeParam;
  const auto serial = [](auto&&... arguments) { x_variant::gbtrf(arguments...); };
  for (const Band band : {Band{40, 64}, {31, 80}, {32, 65}}) {
    const BandMatrix<T> A = this->matrix(150, 150, band);
    const bool equal_bits = bool(factor(A, serial).lu.ab.same_as(factor_unblocked(A).lu.ab));
    EXPECT_EQ(equal_bits, band.ku != 65) << to_string(band);
  }
}

TYPED_TEST(BandLu, LeavesMatricesWithoutRows) {
  using T = TypeParam;
  BandMatrix<T> A = this->matrix(0, 9, {2, 1});
  GuardedVector<Int> ipiv(0);
  for (const bool blocked : {true, false}) {
    Int info = 99;
    if (blocked) layer::gbtrf(0, 9, 2, 1, A.ab, ipiv.data(), info);
    else routine_call::gbtf2(0, 9, 2, 1, A.ab, ipiv.data(), info);
    EXPECT_EQ(info, 0);
    EXPECT_TRUE(A.ab.unchanged());
  }
}

TYPED_TEST(BandLu, TellsTheFirstZeroPivot) {
  using T = TypeParam;
  for (const Case& c : {Case{12, 12, {2, 3}}, {40, 40, {20, 4}}, {150, 150, {33, 70}}}) {
    for (const Int zero : {1, 2, 10, c.n / 2, c.n}) {
      BandMatrix<T> A = this->matrix(c.m, c.n, c.band);
      for (const Int j : {zero, std::min(zero + 2, c.n)}) {
        for (Int i = 1; i <= c.m; ++i) {
          if (A.holds(i, j)) A(i, j) = T(0);
        }
      }
      A.ab.seal();
      for (const auto& F : {factor(A), factor_unblocked(A)}) {
        EXPECT_EQ(F.info, zero) << to_string(c);
        EXPECT_LT(band_residual(this->random, F), threshold) << to_string(c);
      }
    }
  }
}

/// The first of equal candidates is the pivot; one that is not a number stays if it comes first, else is passed over.
TYPED_TEST(BandLu, ChoosesTheFirstLargestElement) {
  using T = TypeParam;
  const auto nan = T(std::numeric_limits<Real<T>>::quiet_NaN());
  for (const Int kl : {3, 12}) {
    const auto pivot_of = [&](std::vector<T> elements) {
      BandMatrix<T> A = this->matrix(20, 20, {kl, 1});
      for (std::size_t i = 0; i < elements.size(); ++i) A(Int(i) + 1, 1) = elements[i];
      for (Int i = Int(elements.size()) + 1; i <= kl + 1; ++i) A(i, 1) = T(0);
      return factor_unblocked(A).ipiv(1);
    };
    EXPECT_EQ(pivot_of({T(1), T(-2), T(2), T(1)}), 2);
    EXPECT_EQ(pivot_of({T(2), T(2)}), 1);
    EXPECT_EQ(pivot_of({nan, T(2)}), 1);
    EXPECT_EQ(pivot_of({T(1), nan, T(2)}), 3);
  }
}

// ------------------------------------------------------------------------------------------------------------- solves

template <Scalar T>
GuardedMatrix<T> solve(char trans, const BandFactored<T>& F, const GuardedMatrix<T>& B, bool by_rows = false) {
  GuardedMatrix<T> X = B;
  Int info = 99;
  const Band band = F.lu.band;
  if (by_rows) {
    routine_call::gbts2(trans, F.lu.n, band.kl, band.ku, B.columns(), F.lu.ab, F.ipiv.data(), X, info);
  } else {
    layer::gbtrs(trans, F.lu.n, band.kl, band.ku, B.columns(), F.lu.ab, F.ipiv.data(), X, info);
  }
  EXPECT_EQ(info, 0);
  EXPECT_TRUE(F.lu.ab.unchanged());
  EXPECT_TRUE(X.guards_unchanged());
  return X;
}

/// Orders and bands around the crossovers and the block width.
std::vector<Case> solve_cases() {
  std::vector<Case> all;
  for (const Int n : {1, 2, 20, 127}) {
    for (const Band band : {Band{0, 0}, {0, 2}, {2, 0}, {1, 2}, {1, 3}, {2, 3}, {8, 9}, {12, 10}}) {
      all.push_back({n, n, band});
    }
  }
  for (const Band band : {Band{0, 31}, {0, 32}, {15, 16}, {16, 16}, {31, 3}, {32, 0}, {40, 101}}) {
    for (const Int n : {128, 200}) all.push_back({n, n, band});
  }
  all.push_back({300, 300, {129, 20}});
  return all;
}

TYPED_TEST(BandLu, SolvesWithEachFormOfTheMatrix) {
  using T = TypeParam;
  for (const Case& c : solve_cases()) {
    const BandFactored<T> F = factor(this->matrix(c.n, c.n, c.band));
    for (const Int nrhs : {0, 1, 2, 3, 6}) {
      if (c.n > 127 && nrhs != 3) continue;
      const GuardedMatrix<T> B = right_hand_sides<T>(this->random, c.n, nrhs);
      for (const char trans : {'N', 'T', 'c'}) {
        SCOPED_TRACE(to_string(c) + ", right-hand sides " + std::to_string(nrhs) + ", trans " + trans);
        const WideMatrix<T> A = op<T>(trans, F.A), b = wide(B);
        EXPECT_LT(solution_residual<T>(A, wide(solve(trans, F, B)), b), threshold);
        EXPECT_LT(solution_residual<T>(A, wide(solve(trans, F, B, true)), b), threshold);
      }
    }
  }
}

TYPED_TEST(BandLu, SolvesByBlocksFromThreeRightHandSidesOn) {
  using T = TypeParam;
  const auto equal_bits = [&](Int n, Band band, Int nrhs) {
    const BandFactored<T> F = factor(this->matrix(n, n, band));
    const GuardedMatrix<T> B = right_hand_sides<T>(this->random, n, nrhs);
    return bool(solve('N', F, B).same_as(solve('N', F, B, true)));
  };
  EXPECT_TRUE(equal_bits(150, {40, 30}, 2));
  EXPECT_FALSE(equal_bits(150, {40, 30}, 3));
  EXPECT_TRUE(equal_bits(150, {11, 20}, 3));
  EXPECT_FALSE(equal_bits(120, {11, 20}, 3));
}

TYPED_TEST(BandLu, SolvesByRowsWhereMemoryIsRefused) {
  using T = TypeParam;
  constexpr Int n = 150, kl = 40, nrhs = 3;
  const BandFactored<T> F = factor(this->matrix(n, n, {kl, 30}));
  const GuardedMatrix<T> B = right_hand_sides<T>(this->random, n, nrhs);
  for (const char trans : {'N', 'T', 'C'}) {
    const GuardedMatrix<T> by_rows = solve(trans, F, B, true);
    const MemoryRequests memory(1);
    EXPECT_TRUE(solve(trans, F, B).same_as(by_rows)) << trans;
    EXPECT_EQ(memory.count(), 1);
    EXPECT_TRUE(memory.included(kl * (kl + kl) * sizeof(T)));  // a block of L and the rows below it
    EXPECT_EQ(memory.kept(), 0);
  }
  const MemoryRequests memory;
  solve('N', F, right_hand_sides<T>(this->random, n, 2));
  EXPECT_EQ(memory.count(), 0);
}

/// More of them are solved for in strips.
TYPED_TEST(BandLu, SolvesForManyRightHandSides) {
  using T = TypeParam;
  for (const Case& c : {Case{60, 60, {2, 3}}, {150, 150, {33, 20}}}) {
    const BandFactored<T> F = factor(this->matrix(c.n, c.n, c.band));
    for (const Int nrhs : {129, 260}) {
      const GuardedMatrix<T> B = right_hand_sides<T>(this->random, c.n, nrhs);
      for (const char trans : {'N', 'C'}) {
        EXPECT_LT(solution_residual<T>(op<T>(trans, F.A), wide(solve(trans, F, B)), wide(B)), threshold)
            << to_string(c) << ", right-hand sides " << nrhs;
      }
    }
  }
}

// ------------------------------------------------------------------------------------------------------------- driver

TYPED_TEST(BandLu, SolvesByTheDriver) {
  using T = TypeParam;
  for (const Case& c : {Case{1, 1, {0, 0}}, {50, 50, {2, 1}}, {50, 50, {4, 4}}, {170, 170, {40, 70}}}) {
    BandMatrix<T> A = this->matrix(c.n, c.n, c.band);
    const WideMatrix<T> original = A.wide();
    GuardedMatrix<T> B = right_hand_sides<T>(this->random, c.n, 4), X = B;
    GuardedVector<Int> ipiv(c.n);
    Int info = 99;
    routine_call::gbsv(c.n, c.band.kl, c.band.ku, 4, A.ab, ipiv.data(), X, info);
    EXPECT_EQ(info, 0);
    EXPECT_LT(solution_residual<T>(original, wide(X), wide(B)), threshold) << to_string(c);
  }
}

TYPED_TEST(BandLu, LeavesTheRightHandSidesOfASingularMatrix) {
  using T = TypeParam;
  BandMatrix<T> A = this->matrix(10, 10, {2, 1});
  for (Int i = 3; i <= 6; ++i) A(i, 4) = T(0);
  GuardedMatrix<T> B = right_hand_sides<T>(this->random, 10, 2);
  GuardedVector<Int> ipiv(10);
  Int info = 99;
  routine_call::gbsv(10, 2, 1, 2, A.ab, ipiv.data(), B, info);
  EXPECT_EQ(info, 4);
  EXPECT_TRUE(B.unchanged());
}

// ---------------------------------------------------------------------------------------------------------- arguments

/// The arguments of all members; each takes those that it has.
template <Scalar T>
struct BandCall {
  char trans = 'N';
  Int m = 3, n = 3, kl = 1, ku = 1, nrhs = 2, ldab = 4, ldb = 3;
  GuardedMatrix<T> ab, b;
  GuardedVector<Int> ipiv{3};

  BandCall() : ab(4, 3, 4), b(3, 2, 3) {
    for (Int j = 1; j <= 3; ++j) {
      ab(2, j) = ab(4, j) = T(1);
      ab(3, j) = T(4);
      ipiv(j) = j;
    }
    for (Int i = 1; i <= 3; ++i) b(i, 1) = b(i, 2) = T(1);
    ab.seal();
    b.seal();
    ipiv.seal();
  }
  bool unchanged() const { return ab.unchanged() && b.unchanged() && ipiv.unchanged(); }
};

template <Scalar T>
struct LayerFactor : BandCall<T> {
  Int run() {
    Int info = 99;
    layer::gbtrf(this->m, this->n, this->kl, this->ku, {this->ab.data(), this->ldab}, this->ipiv.data(), info);
    return info;
  }
};
template <Scalar T>
struct UnblockedFactor : BandCall<T> {
  Int run() {
    Int info = 99;
    routine_call::gbtf2(this->m, this->n, this->kl, this->ku, {this->ab.data(), this->ldab}, this->ipiv.data(), info);
    return info;
  }
};
template <Scalar T>
struct LayerSolve : BandCall<T> {
  Int run() {
    Int info = 99;
    layer::gbtrs(this->trans, this->n, this->kl, this->ku, this->nrhs, {this->ab.data(), this->ldab}, this->ipiv.data(),
                 {this->b.data(), this->ldb}, info);
    return info;
  }
};
template <Scalar T>
struct SolveByRows : BandCall<T> {
  Int run() {
    Int info = 99;
    routine_call::gbts2(this->trans, this->n, this->kl, this->ku, this->nrhs, {this->ab.data(), this->ldab},
                        this->ipiv.data(), {this->b.data(), this->ldb}, info);
    return info;
  }
};
template <Scalar T>
struct Driver : BandCall<T> {
  Int run() {
    Int info = 99;
    routine_call::gbsv(this->n, this->kl, this->ku, this->nrhs, {this->ab.data(), this->ldab}, this->ipiv.data(),
                       {this->b.data(), this->ldb}, info);
    return info;
  }
};

template <class Call>
void expect_factor_checks(const std::string& name) {
  expect_argument_checks<Call>(name, {{1, [](Call& c) { c.m = -1; }},
                                      {2, [](Call& c) { c.n = -1; }},
                                      {3, [](Call& c) { c.kl = -1; }},
                                      {4, [](Call& c) { c.ku = -1; }},
                                      {6, [](Call& c) { c.ldab = 3; }}});
  Call too_wide;
  too_wide.kl = std::numeric_limits<Int>::max();
  expect_report(too_wide, name, 6);
}

template <class Call>
void expect_solve_checks(const std::string& name) {
  expect_argument_checks<Call>(name, {{1, [](Call& c) { c.trans = 'U'; }},
                                      {2, [](Call& c) { c.n = -1; }},
                                      {3, [](Call& c) { c.kl = -1; }},
                                      {4, [](Call& c) { c.ku = -1; }},
                                      {5, [](Call& c) { c.nrhs = -1; }},
                                      {7, [](Call& c) { c.ldab = 3; }},
                                      {10, [](Call& c) { c.ldb = 2; }}});
  Call empty;
  empty.n = empty.ldb = 0;
  expect_report(empty, name, 10);
}

TYPED_TEST(BandLu, ChecksItsArguments) {
  using T = TypeParam;
  expect_factor_checks<LayerFactor<T>>(reported_name<T>("GBTRF"));
  expect_factor_checks<UnblockedFactor<T>>(reported_name<T>("GBTF2"));
  expect_solve_checks<LayerSolve<T>>(reported_name<T>("GBTRS"));
  expect_solve_checks<SolveByRows<T>>(reported_name<T>("GBTS2"));
  using Call = Driver<T>;
  expect_argument_checks<Call>(reported_name<T>("GBSV"), {{1, [](Call& c) { c.n = -1; }},
                                                          {2, [](Call& c) { c.kl = -1; }},
                                                          {3, [](Call& c) { c.ku = -1; }},
                                                          {4, [](Call& c) { c.nrhs = -1; }},
                                                          {6, [](Call& c) { c.ldab = 3; }},
                                                          {9, [](Call& c) { c.ldb = 2; }}});
}

/// Bad arguments are reported once, whatever the number of strips.
TYPED_TEST(BandLu, ReportsOnceForManyRightHandSides) {
  using T = TypeParam;
  LayerSolve<T> call;
  call.n = 2000000;
  call.nrhs = 500;
  call.ldb = 2000000;
  call.ldab = 3;
  expect_report(call, reported_name<T>("GBTRS"), 7);
}

}  // namespace
}  // namespace nuv::test
