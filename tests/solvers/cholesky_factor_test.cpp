// The Cholesky factorisation: ?potrf, its serial body x?potrf, and ?potf2.

#include <dlfcn.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <limits>

#include "base/platform.hpp"
#include "blas.hpp"
#include "routines.hpp"
#include "solvers/definite.hpp"
#include "support/argument_checks.hpp"
#include "support/described_matrices.hpp"
#include "x_variants.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

constexpr char uplos_in_both_cases[] = {'U', 'u', 'L', 'l'};

template <Scalar T>
struct Member {
  const char* name;
  void (*factor)(char uplo, Int n, Matrix<T> A, Int& info);
};

template <Scalar T>
const Member<T> layered = {"potrf", layer::potrf};
template <Scalar T>
const Member<T> serial = {"xpotrf", x_variant::potrf};
template <Scalar T>
const Member<T> unblocked = {"potf2", routine_call::potf2};
template <Scalar T>
const Member<T> members[] = {layered<T>, serial<T>, unblocked<T>};

/// Factors in place; gives info.
template <Scalar T>
Int factor(const Member<T>& member, char uplo, GuardedMatrix<T>& A) {
  Int info = 99;
  member.factor(uplo, A.columns(), A, info);
  EXPECT_TRUE(stayed_in_triangle(uplo, A));
  return info;
}

template <class T>
class Cholesky : public ReportingTest {
 protected:
  GuardedMatrix<T> definite(char uplo, Int n) { return random_definite<T>(random, uplo, n); }

  Random random{31};
};
TYPED_TEST_SUITE(Cholesky, Precisions, PrecisionLetter);

TYPED_TEST(Cholesky, HasASmallResidualInTheNamedTriangle) {
  using T = TypeParam;
  for (const Int n : definite_orders<T>()) {
    for (const char uplo : uplos) {
      const GuardedMatrix<T> A = this->definite(uplo, n);
      for (const Member<T>& member : members<T>) {
        SCOPED_TRACE(std::string(member.name) + " " + uplo + " of order " + std::to_string(n));
        GuardedMatrix<T> F = A;
        EXPECT_EQ(factor(member, uplo, F), 0);
        EXPECT_TRUE(has_positive_diagonal(F, n));
        EXPECT_LT(cholesky_residual(A, F, uplo), threshold);
        GuardedMatrix<T> by_small_letter = A;
        EXPECT_EQ(factor(member, char(std::tolower(uplo)), by_small_letter), 0);
        EXPECT_TRUE(by_small_letter.same_as(F));
      }
    }
  }
}

TYPED_TEST(Cholesky, IsTheSameThroughTheLayerAndBesideIt) {
  using T = TypeParam;
  for (const Int n : definite_orders<T>()) {
    for (const char uplo : uplos_in_both_cases) {
      GuardedMatrix<T> through = this->definite(uplo, n), beside = through;
      EXPECT_EQ(factor(layered<T>, uplo, through), 0);
      EXPECT_EQ(factor(serial<T>, uplo, beside), 0);
      EXPECT_TRUE(through.same_as(beside)) << uplo << ", order " << n;
    }
  }
}

TYPED_TEST(Cholesky, IsExactWhereEveryStepIs) {
  using T = TypeParam;
  // Elements min(i, j) have a factor of ones; turned by powers of i, one of powers of i.
  for (const Int n : definite_orders<T>()) {
    for (const char uplo : uplos) {
      GuardedMatrix<T> A(n, n, n + 2);
      for (Int j = 1; j <= n; ++j) {
        for (Int i = j; i <= n; ++i) lower_element(A, uplo, i, j) = T(Real<T>(j)) * power_of_i<T>(i - j);
      }
      A.seal();
      for (const Member<T>& member : members<T>) {
        GuardedMatrix<T> F = A;
        EXPECT_EQ(factor(member, uplo, F), 0);
        for (Int j = 1; j <= n; ++j) {
          for (Int i = j; i <= n; ++i) {
            ASSERT_EQ(lower_element(F, uplo, i, j), power_of_i<T>(i - j))
                << member.name << ' ' << i << ", " << j << " of " << n;
          }
        }
      }
    }
  }
}

TYPED_TEST(Cholesky, TakesImaginaryPartsOfTheDiagonalForZero) {
  using T = TypeParam;
  if constexpr (ComplexScalar<T>) {
    for (const Int n : {1, 5, 64, 65, 200}) {
      for (const char uplo : uplos) {
        const GuardedMatrix<T> A = this->definite(uplo, n);
        for (const Real<T> part : {Real<T>(0), Real<T>(-3), std::numeric_limits<Real<T>>::infinity()}) {
          GuardedMatrix<T> other = A;
          for (Int i = 1; i <= n; ++i) other(i, i).imag(part);
          other.seal();
          for (const Member<T>& member : members<T>) {
            GuardedMatrix<T> F = A, G = other;
            EXPECT_EQ(factor(member, uplo, F), 0);
            EXPECT_EQ(factor(member, uplo, G), 0);
            EXPECT_TRUE(F.same_as(G)) << member.name << ' ' << uplo << ", order " << n << ", part " << part;
          }
        }
      }
    }
  } else {
    GuardedMatrix<T> A(1, 1, 1);
    A(1, 1) = T(9);
    EXPECT_EQ(factor(layered<T>, 'U', A), 0);
    EXPECT_EQ(A(1, 1), T(3));
  }
}

TYPED_TEST(Cholesky, WorksInOnePieceUpToTheBlockWidth) {
  using T = TypeParam;
  constexpr Int nb = cholesky_block<T>;
  for (const Int n : {1, 20, nb - 1, nb}) {
    for (const char uplo : uplos) {
      GuardedMatrix<T> blocked = this->definite(uplo, n), whole = blocked, by_kernel = blocked;
      Int info = 99;
      factor(serial<T>, uplo, blocked);
      factor(unblocked<T>, uplo, whole);
      if (is_upper(uplo)) {
        blas::potrf_u_small(uplo, n, by_kernel, info);
      } else {
        blas::potrf_l_small(uplo, n, by_kernel, info);
      }
      EXPECT_TRUE(blocked.same_as(by_kernel));
      EXPECT_TRUE(whole.same_as(by_kernel));
    }
  }
}

TYPED_TEST(Cholesky, DoesNothingToAnEmptyMatrix) {
  using T = TypeParam;
  for (const Member<T>& member : members<T>) {
    for (const char uplo : uplos) {
      Int info = 99;
      member.factor(uplo, 0, {nullptr, 1}, info);
      EXPECT_EQ(info, 0) << member.name;
    }
  }
}

bool is_a_kernel_library_open() {
  const auto is_open = [](const char* file) { return dlopen(file, RTLD_NOLOAD | RTLD_LAZY) != nullptr; };
  return is_open(NUV_LIBRARY_FILE("libnuv_kpa")) || is_open(NUV_LIBRARY_FILE("libnuv_kpb"));
}

// The first call of a kernel opens the library that holds it. A process of its own hasn't called any.
TYPED_TEST(Cholesky, CallsNoKernelForAnEmptyMatrix) {
  using T = TypeParam;
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto run = [] {
    T one = 1;
    Int info = 99;
    routine_call::potf2('U', 0, Matrix<T>{&one, 1}, info);
    routine_call::potf2('L', 0, Matrix<T>{&one, 1}, info);
    const bool before = is_a_kernel_library_open();
    routine_call::potf2('L', 1, Matrix<T>{&one, 1}, info);
    std::_Exit(!before && is_a_kernel_library_open() && info == 0 ? 0 : 1);
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

// ---------------------------------------------------------------------------------------------------- not definite

/// Orders of the first bad minor in a matrix of three blocks and a bit: the ends of each block, and some between.
template <Scalar T>
std::vector<Int> bad_minors(Int n) {
  constexpr Int nb = cholesky_block<T>;
  return {1, 2, 19, nb, nb + 1, nb + 23, 2 * nb, 2 * nb + 1, 2 * nb + 37, 3 * nb, n - 1, n};
}

TYPED_TEST(Cholesky, TellsTheFirstMinorThatIsNotPositive) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr Int nb = cholesky_block<T>, n = 3 * nb + 9;
  for (const char uplo : uplos) {
    const GuardedMatrix<T> good = this->definite(uplo, n), L = cholesky_factor(uplo, good);
    for (const Int k : bad_minors<T>(n)) {
      for (const R pivot : {R(-1), R(0), std::numeric_limits<R>::quiet_NaN(), -std::numeric_limits<R>::infinity()}) {
        if (pivot == 0 && k > 1) continue;  // zero on the diagonal means less than zero behind other columns
        GuardedMatrix<T> bad = good;
        bad(k, k) = T(pivot);
        if (k < n - 4) bad(k + 4, k + 4) = T(-1);
        bad.seal();
        for (const Member<T>& member : {layered<T>, serial<T>}) {
          SCOPED_TRACE(std::string(member.name) + " " + uplo + ", minor " + std::to_string(k));
          GuardedMatrix<T> F = bad;
          EXPECT_EQ(factor(member, uplo, F), k);
          // Columns before the block are as in the factor of the good matrix, those of the block before the failure
          // too, within the block; what lies behind was not reached.
          const Int done = (k - 1) / nb * nb, last = std::min(n, done + nb);
          for (Int j = 1; j <= n; ++j) {
            for (Int i = j; i <= n; ++i) {
              const T element = lower_element(F, uplo, i, j);
              if (j <= done || (j < k && i <= last)) {
                ASSERT_TRUE(same_bits(element, lower_element(L, uplo, i, j))) << i << ", " << j;
              } else if (i > last) {
                ASSERT_TRUE(same_bits(element, lower_element(bad, uplo, i, j))) << i << ", " << j;
              }
            }
          }
        }
        GuardedMatrix<T> whole = bad;
        EXPECT_EQ(factor(unblocked<T>, uplo, whole), k);
        EXPECT_TRUE(has_positive_diagonal(whole, k - 1));
      }
    }
  }
}

TYPED_TEST(Cholesky, TellsAMinorThatIsExactlyZero) {
  using T = TypeParam;
  // The identity with two equal rows and columns: their minor cancels.
  constexpr Int nb = cholesky_block<T>, n = 3 * nb + 9;
  for (const char uplo : uplos) {
    for (const Int k : bad_minors<T>(n)) {
      if (k == 1) continue;
      GuardedMatrix<T> A(n, n, n + 1);
      for (Int j = 1; j <= n; ++j) {
        for (Int i = j; i <= n; ++i) lower_element(A, uplo, i, j) = T(i == j ? 1 : 0);
      }
      lower_element(A, uplo, k, (k + 1) / 2) = T(1);
      A.seal();
      for (const Member<T>& member : members<T>) {
        GuardedMatrix<T> F = A;
        EXPECT_EQ(factor(member, uplo, F), k) << member.name;
      }
    }
  }
}

// --------------------------------------------------------------------------------------------------------- arguments

template <Scalar T, const Member<T>& member>
struct FactorCall {
  char uplo = 'U';
  Int n = 3, lda = 4;
  GuardedMatrix<T> a = [] {
    Random random(1);
    const GuardedMatrix<T> definite = random_definite<T>(random, 'U', 3);
    GuardedMatrix<T> copy(3, 3, 4);
    for (Int j = 1; j <= 3; ++j) std::copy_n(&definite(1, j), j, &copy(1, j));
    copy.seal();
    return copy;
  }();

  Int run() {
    Int info = 99;
    member.factor(uplo, n, {a.data(), lda}, info);
    return info;
  }
  bool unchanged() const { return a.unchanged(); }
};

template <Scalar T, const Member<T>& member>
void expect_checks(const std::string& name) {
  using Call = FactorCall<T, member>;
  expect_argument_checks<Call>(name, {{1, [](auto& c) { c.uplo = 'N'; }},
                                      {1, [](auto& c) { c.uplo = '\0'; }},
                                      {1, [](auto& c) { c.uplo = char('u' + 128); }},
                                      {2, [](auto& c) { c.n = -1; }},
                                      {4, [](auto& c) { c.lda = 2; }},
                                      {4, [](auto& c) { c.lda = 0; }}});
  Call empty;
  empty.n = empty.lda = 0;
  expect_report(empty, name, 4);
}

TYPED_TEST(Cholesky, ChecksItsArguments) {
  using T = TypeParam;
  expect_checks<T, layered<T>>(reported_name<T>("POTRF"));
  expect_checks<T, unblocked<T>>(reported_name<T>("POTF2"));
}

TYPED_TEST(Cholesky, ChecksNoArgumentInTheSerialBody) {
  using T = TypeParam;
  // By blocks, what is not upper is lower; one piece goes on with the letter as it came, to be checked there.
  GuardedMatrix<T> lower = this->definite('L', 300), neither = lower;
  factor(serial<T>, 'L', lower);
  Int info = 99;
  x_variant::potrf('X', 300, Matrix<T>(neither), info);
  EXPECT_EQ(info, 0);
  EXPECT_TRUE(neither.same_as(lower));
  FactorCall<T, serial<T>> one_piece;
  one_piece.uplo = 'X';
  expect_report(one_piece, reported_name<T>("POTF2"), 1);
}

TYPED_TEST(Cholesky, FactorsMatricesThatAreHardToSolveWith) {
  using T = TypeParam;
  DescribedMatrices matrices(3);
  for (const Int n : {6, 40, 150}) {
    for (const Description& description : definite_matrices) {
      const GuardedMatrix<T> full = matrices.hermitian<T>(description, n, n + 2);
      for (const char uplo : uplos) {
        const GuardedMatrix<T> A = definite_triangle(full, uplo);
        for (const Member<T>& member : members<T>) {
          SCOPED_TRACE(testing::Message() << member.name << " " << uplo << ", order " << n << ", " << description.name);
          GuardedMatrix<T> F = A;
          EXPECT_EQ(factor(member, uplo, F), 0);
          EXPECT_TRUE(has_positive_diagonal(F, n));
          EXPECT_LT(cholesky_residual(A, F, uplo), threshold);
        }
      }
    }
  }
}

TYPED_TEST(Cholesky, GetsAsFarAsTheRankOfASemidefiniteMatrix) {
  using T = TypeParam;
  DescribedMatrices matrices(4);
  for (const Int n : {6, 40, 150}) {
    const Description description = {.name = "projection", .mode = 4, .rank = 0.5};
    const Int rank = DescribedMatrices::rank(description, n);
    const GuardedMatrix<T> full = matrices.hermitian<T>(description, n, n + 2);
    for (const char uplo : uplos) {
      for (const Member<T>& member : members<T>) {
        SCOPED_TRACE(testing::Message() << member.name << " " << uplo << ", order " << n);
        GuardedMatrix<T> F = definite_triangle(full, uplo);
        // Rounding may leave a positive number where a zero would end the factorisation.
        const Int info = factor(member, uplo, F);
        EXPECT_GT(info == 0 ? n + 1 : info, rank);
        EXPECT_TRUE(has_positive_diagonal(F, rank));
      }
    }
  }
}

}  // namespace
}  // namespace nuv::test
