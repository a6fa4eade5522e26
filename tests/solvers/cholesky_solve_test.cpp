// What stands on the Cholesky factor: ?posv, ?potrs, ?potri, and the products ?lauum and ?lauu2.

#include <algorithm>
#include <cctype>

#include "routines.hpp"
#include "solvers/definite.hpp"
#include "support/argument_checks.hpp"
#include "support/described_matrices.hpp"
#include "support/sanitized.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

template <class T>
class CholeskySolve : public ReportingTest {
 protected:
  GuardedMatrix<T> definite(char uplo, Int n) { return random_definite<T>(random, uplo, n); }
  GuardedMatrix<T> right_hand_sides(Int n, Int nrhs) {
    return random_matrix<T>(random, n, nrhs, std::max(1, n % 4 == 1 ? n : n + 5));
  }

  Random random{41};
};
TYPED_TEST_SUITE(CholeskySolve, Precisions, PrecisionLetter);

// -------------------------------------------------------------------------------------------------------------- posv

template <Scalar T>
Int posv(char uplo, GuardedMatrix<T>& A, GuardedMatrix<T>& B) {
  Int info = 99;
  routine_call::posv(uplo, A.columns(), B.columns(), A, B, info);
  EXPECT_TRUE(stayed_in_triangle(uplo, A));
  EXPECT_TRUE(B.guards_unchanged());
  return info;
}

TYPED_TEST(CholeskySolve, SolvesByTheDriver) {
  using T = TypeParam;
  for (const Int n : definite_orders<T>()) {
    for (const char uplo : {'U', 'u', 'L', 'l'}) {
      const GuardedMatrix<T> A = this->definite(uplo, n), factor = cholesky_factor(uplo, A);
      for (const Int nrhs : {0, 1, 3}) {
        SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", right-hand sides " << nrhs);
        GuardedMatrix<T> F = A, X = this->right_hand_sides(n, nrhs);
        const WideMatrix<T> B = wide(X);
        EXPECT_EQ(posv(uplo, F, X), 0);
        // Without right-hand sides the matrix is factored all the same.
        EXPECT_TRUE(F.same_as(factor));
        EXPECT_LT(solution_residual<T>(wide_hermitian(A, is_upper(uplo)), wide(X), B), threshold);
      }
    }
  }
}

TYPED_TEST(CholeskySolve, LeavesTheRightHandSidesOfAMatrixThatIsNotDefinite) {
  using T = TypeParam;
  constexpr Int nb = cholesky_block<T>, n = 2 * nb + 30;
  for (const char uplo : uplos) {
    for (const Int k : {1, 9, nb, nb + 1, 2 * nb + 1, n}) {
      for (const Int nrhs : {0, 2}) {
        GuardedMatrix<T> A = this->definite(uplo, n), B = this->right_hand_sides(n, nrhs);
        A(k, k) = T(-1);
        EXPECT_EQ(posv(uplo, A, B), k);
        EXPECT_TRUE(B.unchanged());
        EXPECT_FALSE(k > 1 && A.is_sealed(1, 1));
      }
    }
  }
}

// ------------------------------------------------------------------------------------------------------------- potrs

template <Scalar T>
Int potrs(char uplo, const GuardedMatrix<T>& factor, GuardedMatrix<T>& B) {
  Int info = 99;
  routine_call::potrs(uplo, factor.columns(), B.columns(), factor, B, info);
  EXPECT_TRUE(factor.unchanged());
  EXPECT_TRUE(B.guards_unchanged());
  return info;
}

TYPED_TEST(CholeskySolve, SolvesFromTheFactor) {
  using T = TypeParam;
  for (const Int n : definite_orders<T>()) {
    for (const char uplo : uplos) {
      const GuardedMatrix<T> A = this->definite(uplo, n), factor = cholesky_factor(uplo, A);
      for (const Int nrhs : {0, 1, 2, 7}) {
        SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", right-hand sides " << nrhs);
        const GuardedMatrix<T> B = this->right_hand_sides(n, nrhs);
        GuardedMatrix<T> X = B, by_small_letter = B;
        EXPECT_EQ(potrs(uplo, factor, X), 0);
        EXPECT_LT(solution_residual<T>(wide_hermitian(A, is_upper(uplo)), wide(X), wide(B)), threshold);
        EXPECT_EQ(potrs(char(std::tolower(uplo)), factor, by_small_letter), 0);
        EXPECT_TRUE(by_small_letter.same_as(X));
      }
    }
  }
}

// ------------------------------------------------------------------------------------------------------------- potri

template <Scalar T>
Int potri(char uplo, GuardedMatrix<T>& A) {
  Int info = 99;
  routine_call::potri(uplo, A.columns(), A, info);
  EXPECT_TRUE(stayed_in_triangle(uplo, A));
  return info;
}

TYPED_TEST(CholeskySolve, InvertsFromTheFactor) {
  using T = TypeParam;
  for (const Int n : definite_orders<T>()) {
    for (const char uplo : {'U', 'u', 'L', 'l'}) {
      SCOPED_TRACE(testing::Message() << uplo << ", order " << n);
      const GuardedMatrix<T> A = this->definite(uplo, n);
      GuardedMatrix<T> X = cholesky_factor(uplo, A);
      EXPECT_EQ(potri(uplo, X), 0);
      EXPECT_TRUE(has_positive_diagonal(X, n));
      const bool upper = is_upper(uplo);
      EXPECT_LT(inverse_residual<T>(wide_hermitian(A, upper), wide_hermitian(X, upper)), threshold);
    }
  }
}

TYPED_TEST(CholeskySolve, LeavesAFactorWithAZeroOnItsDiagonal) {
  using T = TypeParam;
  for (const Int n : {1, 2, 64, 65, 150}) {
    for (const char uplo : uplos) {
      for (const Int k : {Int{1}, (n + 1) / 2, n}) {
        GuardedMatrix<T> A = cholesky_factor(uplo, this->definite(uplo, n));
        A(k, k) = T(0);
        A(n, n) = T(0);
        A.seal();
        EXPECT_EQ(potri(uplo, A), k);
        EXPECT_TRUE(A.unchanged());
      }
    }
  }
}

// ------------------------------------------------------------------------------------------------------------- lauum

template <Scalar T>
struct Product {
  const char* name;
  void (*multiply)(char uplo, Int n, Matrix<T> A, Int& info);
};

template <Scalar T>
const Product<T> lauum = {"lauum", routine_call::lauum};
template <Scalar T>
const Product<T> lauu2 = {"lauu2", routine_call::lauu2};

/// A triangle with a real diagonal; guards elsewhere.
template <Scalar T>
GuardedMatrix<T> random_factor(Random& random, char uplo, Int n, Int ld) {
  GuardedMatrix<T> A = random_triangle<T>(random, is_upper(uplo), false, n, ld);
  for (Int i = 1; i <= n; ++i) A(i, i) = std::real(A(i, i));
  A.seal();
  return A;
}

TYPED_TEST(CholeskySolve, MultipliesATriangleByItsTranspose) {
  using T = TypeParam;
  for (const Int n : {0, 1, 2, 3, 9, 63, 64, 65, 127, 128, 129, 193, 300}) {
    if (is_sanitized && n > 129) continue;
    for (const char uplo : {'U', 'u', 'L', 'l'}) {
      const bool upper = is_upper(uplo);
      const GuardedMatrix<T> A = random_factor<T>(this->random, uplo, n, n + 3);
      const WideMatrix<T> F = wide_triangle(A, upper, false), G = op<T>('C', F);
      for (const auto& [name, multiply] : {lauum<T>, lauu2<T>}) {
        SCOPED_TRACE(testing::Message() << name << ' ' << uplo << ", order " << n);
        GuardedMatrix<T> X = A;
        Int info = 99;
        multiply(uplo, n, X, info);
        EXPECT_EQ(info, 0);
        EXPECT_TRUE(stayed_in_triangle(uplo, X));
        EXPECT_TRUE(has_positive_diagonal(X, n));
        EXPECT_LT(product_residual<T>(wide_hermitian(X, upper), upper ? F : G, upper ? G : F), threshold);
      }
    }
  }
}

TYPED_TEST(CholeskySolve, MultipliesUpToTheBlockWidthInOnePiece) {
  using T = TypeParam;
  for (const Int n : {1, 9, 63, 64}) {
    for (const char uplo : uplos) {
      GuardedMatrix<T> A = random_factor<T>(this->random, uplo, n, n), B = A;
      Int info = 99;
      lauum<T>.multiply(uplo, n, A, info);
      lauu2<T>.multiply(uplo, n, B, info);
      EXPECT_TRUE(A.same_as(B)) << uplo << " of order " << n;
    }
  }
}

TYPED_TEST(CholeskySolve, TakesTheDiagonalOfAnUnblockedProductForReal) {
  using T = TypeParam;
  if constexpr (ComplexScalar<T>) {
    for (const char uplo : uplos) {
      GuardedMatrix<T> A = random_factor<T>(this->random, uplo, 20, 20), B = A;
      for (Int i = 1; i <= 20; ++i) B(i, i).imag(guard<Real<T>>());
      Int info = 99;
      lauu2<T>.multiply(uplo, 20, A, info);
      lauu2<T>.multiply(uplo, 20, B, info);
      EXPECT_TRUE(A.same_as(B)) << uplo;
    }
  } else {
    GuardedMatrix<T> A(1, 1, 1);
    A(1, 1) = T(-3);
    Int info = 99;
    lauu2<T>.multiply('U', 1, A, info);
    EXPECT_EQ(A(1, 1), T(9));
  }
}

// --------------------------------------------------------------------------------------------------------- arguments

/// The upper triangle of a definite matrix of order three, ld four; its own Cholesky factor has no zero either.
template <Scalar T>
GuardedMatrix<T> small_definite() {
  Random random(1);
  GuardedMatrix<T> A = random_factor<T>(random, 'U', 3, 4);
  for (Int i = 1; i <= 3; ++i) A(i, i) = T(4);
  A.seal();
  return A;
}

template <Scalar T>
using SystemRoutine = void (*)(char, Int, Int, Matrix<T>, Matrix<T>, Int&);

template <Scalar T>
void call_potrs(char uplo, Int n, Int nrhs, Matrix<T> A, Matrix<T> B, Int& info) {
  routine_call::potrs(uplo, n, nrhs, A, B, info);
}

template <Scalar T>
void call_posv(char uplo, Int n, Int nrhs, Matrix<T> A, Matrix<T> B, Int& info) {
  routine_call::posv(uplo, n, nrhs, A, B, info);
}

template <Scalar T, SystemRoutine<T> routine>
struct SystemCall {
  char uplo = 'U';
  Int n = 3, nrhs = 2, lda = 4, ldb = 5;
  GuardedMatrix<T> a = small_definite<T>();
  GuardedMatrix<T> b = [] {
    Random random(2);
    return random_matrix<T>(random, 3, 2, 5);
  }();

  Int run() {
    Int info = 99;
    routine(uplo, n, nrhs, {a.data(), lda}, {b.data(), ldb}, info);
    return info;
  }
  bool unchanged() const { return a.unchanged() && b.unchanged(); }
};

template <Scalar T, SystemRoutine<T> routine>
void expect_system_checks(const std::string& name) {
  using Call = SystemCall<T, routine>;
  expect_argument_checks<Call>(name, {{1, [](auto& c) { c.uplo = 'N'; }},
                                      {1, [](auto& c) { c.uplo = char('l' + 128); }},
                                      {2, [](auto& c) { c.n = -1; }},
                                      {3, [](auto& c) { c.nrhs = -1; }},
                                      {5, [](auto& c) { c.lda = 2; }},
                                      {5, [](auto& c) { c.lda = 0; }},
                                      {7, [](auto& c) { c.ldb = 2; }},
                                      {7, [](auto& c) { c.ldb = 0; }}});
  for (const Int nrhs : {0, 2}) {
    Call empty_lda, empty_ldb;
    empty_lda.n = empty_lda.lda = empty_ldb.n = empty_ldb.ldb = 0;
    empty_lda.nrhs = empty_ldb.nrhs = nrhs;
    expect_report(empty_lda, name, 5);
    expect_report(empty_ldb, name, 7);
  }
}

TYPED_TEST(CholeskySolve, ChecksTheArgumentsOfTheSolves) {
  using T = TypeParam;
  expect_system_checks<T, call_potrs<T>>(reported_name<T>("POTRS"));
  expect_system_checks<T, call_posv<T>>(reported_name<T>("POSV"));
}

template <Scalar T>
using TriangleRoutine = void (*)(char, Int, Matrix<T>, Int&);

template <Scalar T, TriangleRoutine<T> routine>
struct TriangleCall {
  char uplo = 'U';
  Int n = 3, lda = 4;
  GuardedMatrix<T> a = small_definite<T>();

  Int run() {
    Int info = 99;
    routine(uplo, n, {a.data(), lda}, info);
    return info;
  }
  bool unchanged() const { return a.unchanged(); }
};

template <Scalar T, TriangleRoutine<T> routine>
void expect_triangle_checks(const std::string& name) {
  using Call = TriangleCall<T, routine>;
  expect_argument_checks<Call>(name, {{1, [](auto& c) { c.uplo = 'T'; }},
                                      {1, [](auto& c) { c.uplo = char('u' + 128); }},
                                      {2, [](auto& c) { c.n = -1; }},
                                      {4, [](auto& c) { c.lda = 2; }},
                                      {4, [](auto& c) { c.lda = 0; }}});
  Call empty;
  empty.n = empty.lda = 0;
  expect_report(empty, name, 4);
}

TYPED_TEST(CholeskySolve, ChecksTheArgumentsOfTheInverseAndTheProducts) {
  using T = TypeParam;
  expect_triangle_checks<T, routine_call::potri>(reported_name<T>("POTRI"));
  expect_triangle_checks<T, routine_call::lauum>(reported_name<T>("LAUUM"));
  expect_triangle_checks<T, routine_call::lauu2>(reported_name<T>("LAUU2"));
}

TYPED_TEST(CholeskySolve, SolvesWithMatricesThatAreHardToSolveWith) {
  using T = TypeParam;
  DescribedMatrices matrices(5);
  for (const Int n : {6, 40, 150}) {
    for (const Description& description : definite_matrices) {
      const GuardedMatrix<T> full = matrices.hermitian<T>(description, n, n + 2);
      for (const char uplo : uplos) {
        SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", " << description.name);
        const GuardedMatrix<T> A = definite_triangle(full, uplo), B = this->right_hand_sides(n, 3);
        GuardedMatrix<T> F = A, X = B;
        EXPECT_EQ(posv(uplo, F, X), 0);
        const WideMatrix<T> original = wide_hermitian(A, is_upper(uplo));
        EXPECT_LT(solution_residual<T>(original, wide(X), wide(B)), threshold);
        EXPECT_EQ(potri(uplo, F), 0);
        EXPECT_LT(inverse_residual<T>(original, wide_hermitian(F, is_upper(uplo))), threshold);
      }
    }
  }
}

}  // namespace
}  // namespace nuv::test
