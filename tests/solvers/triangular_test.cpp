// Inverses and solves of triangular matrices: ?trtri, ?trti2, ?trtrs.

#include <cmath>

#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/options.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

/// Orders on both sides of the block width, 64.
const Int orders[] = {0, 1, 2, 3, 7, 8, 9, 31, 32, 33, 63, 64, 65, 127, 128, 129, 200};

template <Scalar T>
struct Member {
  const char* name;
  void (*invert)(char uplo, char diag, Int n, Matrix<T> A, Int& info);
};

template <Scalar T>
const Member<T> trtri = {"trtri", routine_call::trtri};
template <Scalar T>
const Member<T> trti2 = {"trti2", routine_call::trti2};

template <class T>
class Triangular : public ReportingTest {
 protected:
  GuardedMatrix<T> triangle(char uplo, char diag, Int n) {
    return random_triangle<T>(random, is_upper(uplo), is_unit(diag), n, n % 3 == 1 ? n : n + 4);
  }

  Random random{6};
};
TYPED_TEST_SUITE(Triangular, Precisions, PrecisionLetter);

/// Whether only the elements of the triangle that uplo names were written, and none of a unit diagonal.
template <Scalar T>
testing::AssertionResult stayed_within(char uplo, char diag, const GuardedMatrix<T>& A) {
  return A.unchanged_except(
      [&](Int i, Int j) { return (i == j && !is_unit(diag)) || (is_upper(uplo) ? i < j : i > j); });
}

// ---------------------------------------------------------------------------------------------------------- inverses

TYPED_TEST(Triangular, InvertsTheNamedTriangleAlone) {
  using T = TypeParam;
  for (const auto& [name, invert] : {trtri<T>, trti2<T>}) {
    for (const Int n : orders) {
      for (const char uplo : {'U', 'u', 'L', 'l'}) {
        for (const char diag : {'N', 'n', 'U', 'u'}) {
          SCOPED_TRACE(std::string(name) + " " + uplo + diag + " of order " + std::to_string(n));
          GuardedMatrix<T> A = this->triangle(uplo, diag, n);
          const WideMatrix<T> original = wide_triangle(A, is_upper(uplo), is_unit(diag));
          Int info = 99;
          invert(uplo, diag, n, A, info);
          EXPECT_EQ(info, 0);
          EXPECT_TRUE(stayed_within(uplo, diag, A));
          EXPECT_LT(inverse_residual<T>(original, wide_triangle(A, is_upper(uplo), is_unit(diag))), threshold);
        }
      }
    }
  }
}

TYPED_TEST(Triangular, InvertsUpToTheBlockWidthInOnePiece) {
  using T = TypeParam;
  for (const Int n : {1, 9, 63, 64}) {
    for (const char uplo : uplos) {
      for (const char diag : diags) {
        GuardedMatrix<T> A = this->triangle(uplo, diag, n), B = A;
        Int info = 99;
        trtri<T>.invert(uplo, diag, n, A, info);
        trti2<T>.invert(uplo, diag, n, B, info);
        EXPECT_TRUE(A.same_as(B)) << uplo << diag << " of order " << n;
      }
    }
  }
}

/// Positions of a zero on the diagonal: the first is to be told.
std::vector<std::vector<Int>> zero_positions(Int n) {
  std::vector<std::vector<Int>> all = {{1}, {n}, {(n + 1) / 2}};
  if (n > 2) all.push_back({2, n});
  return all;
}

TYPED_TEST(Triangular, LeavesAMatrixWithAZeroOnItsDiagonal) {
  using T = TypeParam;
  for (const Int n : {1, 2, 9, 64, 65, 130}) {
    for (const char uplo : uplos) {
      for (const std::vector<Int>& zeros : zero_positions(n)) {
        for (const T zero : {T(0), T(Real<T>(-0.0))}) {
          GuardedMatrix<T> A = this->triangle(uplo, 'N', n);
          for (const Int i : zeros) A(i, i) = zero;
          A.seal();
          Int info = 99;
          trtri<T>.invert(uplo, 'N', n, A, info);
          EXPECT_EQ(info, zeros.front());
          EXPECT_TRUE(A.unchanged());
          // A diagonal that counts as ones may hold zeros.
          trtri<T>.invert(uplo, 'U', n, A, info);
          EXPECT_EQ(info, 0);
          EXPECT_TRUE(stayed_within(uplo, 'U', A));
        }
      }
    }
  }
}

TYPED_TEST(Triangular, TakesADiagonalEntryWithOneZeroPartForWhatItIs) {
  using T = TypeParam;
  if constexpr (ComplexScalar<T>) {
    GuardedMatrix<T> A(2, 2, 2);
    A(1, 1) = T(0, 2);
    A(1, 2) = T(0);
    A(2, 2) = T(4, 0);
    Int info = 99;
    trtri<T>.invert('U', 'N', 2, A, info);
    EXPECT_EQ(info, 0);
    EXPECT_EQ(A(1, 1), T(0, Real<T>(-0.5)));
    EXPECT_EQ(A(2, 2), T(Real<T>(0.25), 0));
  } else {
    GuardedMatrix<T> A(1, 1, 1);
    A(1, 1) = std::numeric_limits<T>::min();
    Int info = 99;
    trtri<T>.invert('U', 'N', 1, A, info);
    EXPECT_EQ(info, 0);
    EXPECT_EQ(A(1, 1), 1 / std::numeric_limits<T>::min());
  }
}

TYPED_TEST(Triangular, TestsForNoZeroInTheUnblockedCode) {
  using T = TypeParam;
  GuardedMatrix<T> A = this->triangle('U', 'N', 3);
  A(2, 2) = T(0);
  Int info = 99;
  trti2<T>.invert('U', 'N', 3, A, info);
  EXPECT_EQ(info, 0);
  EXPECT_FALSE(std::isfinite(std::abs(A(2, 2))));
}

// ------------------------------------------------------------------------------------------------------------ solves

template <Scalar T>
Int trtrs(char uplo, char trans, char diag, const GuardedMatrix<T>& A, GuardedMatrix<T>& B) {
  Int info = 99;
  routine_call::trtrs(uplo, trans, diag, A.rows(), B.columns(), A, B, info);
  EXPECT_TRUE(A.unchanged());
  EXPECT_TRUE(B.guards_unchanged());
  return info;
}

TYPED_TEST(Triangular, SolvesWithEachFormOfTheNamedTriangle) {
  using T = TypeParam;
  for (const Int n : orders) {
    if (n > 129) continue;
    for (const char uplo : {'U', 'u', 'L', 'l'}) {
      for (const char diag : {'N', 'n', 'U', 'u'}) {
        const GuardedMatrix<T> A = this->triangle(uplo, diag, n);
        const WideMatrix<T> triangle = wide_triangle(A, is_upper(uplo), is_unit(diag));
        for (const char trans : {'N', 'n', 'T', 't', 'C', 'c'}) {
          for (const Int nrhs : {0, 1, 3}) {
            SCOPED_TRACE(std::string("options ") + uplo + trans + diag + ", order " + std::to_string(n));
            const GuardedMatrix<T> B = random_matrix<T>(this->random, n, nrhs, n + 2);
            GuardedMatrix<T> X = B;
            EXPECT_EQ(trtrs(uplo, trans, diag, A, X), 0);
            EXPECT_LT(solution_residual<T>(op<T>(trans, triangle), wide(X), wide(B)), threshold);
          }
        }
      }
    }
  }
}

TYPED_TEST(Triangular, ConjugatesForTheLetterCAlone) {
  using T = TypeParam;
  for (const char uplo : uplos) {
    const GuardedMatrix<T> A = this->triangle(uplo, 'N', 20);
    const GuardedMatrix<T> B = random_matrix<T>(this->random, 20, 2, 20);
    const WideMatrix<T> triangle = wide_triangle(A, is_upper(uplo), false);
    GuardedMatrix<T> transposed = B, conjugated = B;
    trtrs(uplo, 'T', 'N', A, transposed);
    trtrs(uplo, 'C', 'N', A, conjugated);
    if constexpr (ComplexScalar<T>) {
      EXPECT_GT(solution_residual<T>(op<T>('C', triangle), wide(transposed), wide(B)), 1000);
      EXPECT_GT(solution_residual<T>(op<T>('T', triangle), wide(conjugated), wide(B)), 1000);
    } else {
      EXPECT_TRUE(conjugated.same_as(transposed));
    }
  }
}

TYPED_TEST(Triangular, LeavesTheRightHandSidesOfASingularMatrix) {
  using T = TypeParam;
  for (const Int n : {1, 2, 9, 70}) {
    for (const std::vector<Int>& zeros : zero_positions(n)) {
      for (const char trans : transes) {
        for (const Int nrhs : {0, 1, 2}) {
          GuardedMatrix<T> A = this->triangle('L', 'N', n), B = random_matrix<T>(this->random, n, nrhs, n + 1);
          for (const Int i : zeros) A(i, i) = T(0);
          A.seal();
          EXPECT_EQ(trtrs('L', trans, 'N', A, B), zeros.front());
          EXPECT_TRUE(B.unchanged());
          EXPECT_EQ(trtrs('L', trans, 'U', A, B), 0);
        }
      }
    }
  }
}

// --------------------------------------------------------------------------------------------------------- arguments

template <Scalar T, const Member<T>& member>
struct InverseCall {
  char uplo = 'U', diag = 'N';
  Int n = 3, lda = 4;
  GuardedMatrix<T> a = [] {
    Random random(1);
    return random_triangle<T>(random, true, false, 3, 4);
  }();

  Int run() {
    Int info = 99;
    member.invert(uplo, diag, n, {a.data(), lda}, info);
    return info;
  }
  bool unchanged() const { return a.unchanged(); }
};

template <Scalar T, const Member<T>& member>
void expect_inverse_checks(const std::string& name) {
  using Call = InverseCall<T, member>;
  expect_argument_checks<Call>(name, {{1, [](auto& c) { c.uplo = 'N'; }},
                                      {1, [](auto& c) { c.uplo = char('u' + 128); }},
                                      {2, [](auto& c) { c.diag = 'L'; }},
                                      {2, [](auto& c) { c.diag = ' '; }},
                                      {3, [](auto& c) { c.n = -1; }},
                                      {5, [](auto& c) { c.lda = 2; }},
                                      {5, [](auto& c) { c.lda = 0; }}});
  Call empty;
  empty.n = empty.lda = 0;
  expect_report(empty, name, 5);
}

TYPED_TEST(Triangular, ChecksTheArgumentsOfTheInverses) {
  using T = TypeParam;
  expect_inverse_checks<T, trtri<T>>(reported_name<T>("TRTRI"));
  expect_inverse_checks<T, trti2<T>>(reported_name<T>("TRTI2"));
}

template <Scalar T>
struct TrtrsCall {
  char uplo = 'U', trans = 'N', diag = 'N';
  Int n = 3, nrhs = 2, lda = 4, ldb = 5;
  GuardedMatrix<T> a = InverseCall<T, trtri<T>>().a;
  GuardedMatrix<T> b = [] {
    Random random(2);
    return random_matrix<T>(random, 3, 2, 5);
  }();

  Int run() {
    Int info = 99;
    routine_call::trtrs(uplo, trans, diag, n, nrhs, {a.data(), lda}, {b.data(), ldb}, info);
    return info;
  }
  bool unchanged() const { return a.unchanged() && b.unchanged(); }
};

TYPED_TEST(Triangular, ChecksTheArgumentsOfTheSolve) {
  using T = TypeParam;
  const std::string name = reported_name<T>("TRTRS");
  expect_argument_checks<TrtrsCall<T>>(name, {{1, [](auto& c) { c.uplo = 'T'; }},
                                              {2, [](auto& c) { c.trans = 'U'; }},
                                              {2, [](auto& c) { c.trans = char('c' + 128); }},
                                              {3, [](auto& c) { c.diag = 'T'; }},
                                              {4, [](auto& c) { c.n = -1; }},
                                              {5, [](auto& c) { c.nrhs = -1; }},
                                              {7, [](auto& c) { c.lda = 2; }},
                                              {7, [](auto& c) { c.lda = 0; }},
                                              {9, [](auto& c) { c.ldb = 2; }},
                                              {9, [](auto& c) { c.ldb = 0; }}});
  TrtrsCall<T> empty_lda, empty_ldb;
  empty_lda.n = empty_lda.lda = empty_ldb.n = empty_ldb.ldb = 0;
  expect_report(empty_lda, name, 7);
  expect_report(empty_ldb, name, 9);
}

}  // namespace
}  // namespace nuv::test
