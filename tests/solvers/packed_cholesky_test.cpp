// Positive definite systems in packed storage: ?pptrf, ?pptrs, ?ppsv, ?pptri, and the serial bodies x?pptrf, x?pptrs.

#include <cctype>
#include <limits>

#include "routines.hpp"
#include "solvers/definite.hpp"
#include "support/argument_checks.hpp"
#include "support/described_matrices.hpp"
#include "support/fenced_array.hpp"
#include "support/memory_requests.hpp"
#include "support/packed.hpp"
#include "x_variants.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

/// The largest order that is factored in one piece, and the width of blocks beyond it.
constexpr Int crossover = 50;
template <Scalar T>
constexpr Int width = std::same_as<Real<T>, float> ? 128 : 64;

/// Orders around the crossover, and on both sides of one, two and three blocks.
template <Scalar T>
std::vector<Int> packed_orders() {
  constexpr Int nb = width<T>;
  std::vector<Int> all = {0,  1,      2,      3,          crossover - 1, crossover, crossover + 1,
                          nb, nb + 1, 2 * nb, 2 * nb + 1, 3 * nb - 1};
  if (is_sanitized) all.resize(9);
  return all;
}

/// A way to factor, by blocks in buffers or, where all memory is refused, without.
template <Scalar T>
struct Way {
  const char* name;
  void (*factor)(char uplo, Int n, T* ap, Int& info);
  int refused;
};

template <Scalar T>
const Way<T> layered = {"pptrf", layer::pptrf, MemoryRequests::none};
template <Scalar T>
const Way<T> serial = {"xpptrf", x_variant::pptrf, MemoryRequests::none};
template <Scalar T>
const Way<T> without_buffers = {"xpptrf without memory", x_variant::pptrf, MemoryRequests::all};
template <Scalar T>
const Way<T> ways[] = {layered<T>, serial<T>, without_buffers<T>};

/// Factors in place; gives info.
template <Scalar T>
Int factor(const Way<T>& way, char uplo, Int n, GuardedVector<T>& ap) {
  const MemoryRequests memory(way.refused);
  Int info = 99;
  way.factor(uplo, n, ap.data(), info);
  EXPECT_EQ(memory.count() > 0, n > crossover);
  EXPECT_EQ(n > crossover, memory.included(std::size_t(2) * n * std::min(n, width<T>) * sizeof(T)));
  EXPECT_EQ(memory.kept(), 0);
  EXPECT_TRUE(ap.guards_unchanged());
  return info;
}

template <class T>
class PackedCholesky : public ReportingTest {
 protected:
  GuardedMatrix<T> definite(char uplo, Int n) { return random_definite<T>(random, uplo, n); }
  GuardedMatrix<T> right_hand_sides(Int n, Int nrhs) {
    return random_matrix<T>(random, n, nrhs, std::max(1, n % 4 == 1 ? n : n + 5));
  }

  /// A packed factor of a definite matrix, sealed.
  static GuardedVector<T> factor_of(char uplo, const GuardedMatrix<T>& A) {
    GuardedVector<T> ap = packed(is_upper(uplo), A);
    Int info = 99;
    layer::pptrf(uplo, A.columns(), ap.data(), info);
    EXPECT_EQ(info, 0);
    ap.seal();
    return ap;
  }

  Random random{61};
};
TYPED_TEST_SUITE(PackedCholesky, Precisions, PrecisionLetter);

// ------------------------------------------------------------------------------------------------------------- pptrf

TYPED_TEST(PackedCholesky, HasASmallResidual) {
  using T = TypeParam;
  for (const Int n : packed_orders<T>()) {
    for (const char uplo : uplos) {
      const GuardedMatrix<T> A = this->definite(uplo, n);
      const GuardedVector<T> ap = packed(is_upper(uplo), A);
      for (const Way<T>& way : ways<T>) {
        SCOPED_TRACE(std::string(way.name) + " " + uplo + " of order " + std::to_string(n));
        GuardedVector<T> factored = ap;
        EXPECT_EQ(factor(way, uplo, n, factored), 0);
        const GuardedMatrix<T> F = unpacked(is_upper(uplo), n, factored);
        EXPECT_TRUE(has_positive_diagonal(F, n));
        EXPECT_LT(cholesky_residual(A, F, uplo), threshold);
        GuardedVector<T> by_small_letter = ap;
        EXPECT_EQ(factor(way, char(std::tolower(uplo)), n, by_small_letter), 0);
        EXPECT_TRUE(by_small_letter.same_as(factored));
      }
    }
  }
}

TYPED_TEST(PackedCholesky, IsTheSameThroughTheLayerAndBesideIt) {
  using T = TypeParam;
  for (const Int n : {3, crossover, crossover + 1, 2 * width<T> + 1}) {
    for (const char uplo : uplos) {
      GuardedVector<T> through = packed(is_upper(uplo), this->definite(uplo, n)), beside = through;
      EXPECT_EQ(factor(layered<T>, uplo, n, through), 0);
      EXPECT_EQ(factor(serial<T>, uplo, n, beside), 0);
      EXPECT_TRUE(through.same_as(beside)) << uplo << ", order " << n;
    }
  }
}

TYPED_TEST(PackedCholesky, IsExactWhereEveryStepIs) {
  using T = TypeParam;
  // Elements min(i, j) have a factor of ones; turned by powers of i, one of powers of i.
  for (const Int n : packed_orders<T>()) {
    for (const char uplo : uplos) {
      GuardedMatrix<T> A(n, n, n + 2);
      for (Int j = 1; j <= n; ++j) {
        for (Int i = j; i <= n; ++i) {
          const T element = T(Real<T>(j)) * power_of_i<T>(i - j);
          lower_element(A, uplo, i, j) = is_upper(uplo) ? conjugate(element) : element;
        }
      }
      for (const Way<T>& way : ways<T>) {
        GuardedVector<T> ap = packed(is_upper(uplo), A);
        EXPECT_EQ(factor(way, uplo, n, ap), 0);
        const GuardedMatrix<T> F = unpacked(is_upper(uplo), n, ap);
        for (Int j = 1; j <= n; ++j) {
          for (Int i = j; i <= n; ++i) {
            const T expected = is_upper(uplo) ? conjugate(power_of_i<T>(i - j)) : power_of_i<T>(i - j);
            ASSERT_EQ(lower_element(F, uplo, i, j), expected) << way.name << ' ' << i << ", " << j << " of " << n;
          }
        }
      }
    }
  }
}

TYPED_TEST(PackedCholesky, TakesImaginaryPartsOfTheDiagonalForZero) {
  using T = TypeParam;
  if constexpr (ComplexScalar<T>) {
    for (const Int n : {5, crossover + 1, width<T> + 1}) {
      for (const char uplo : uplos) {
        GuardedMatrix<T> A = this->definite(uplo, n), other = A;
        for (Int i = 1; i <= n; ++i) {
          A(i, i).imag(0);
          other(i, i).imag(std::numeric_limits<Real<T>>::infinity());
        }
        for (const Way<T>& way : ways<T>) {
          GuardedVector<T> F = packed(is_upper(uplo), A), G = packed(is_upper(uplo), other);
          EXPECT_EQ(factor(way, uplo, n, F), 0);
          EXPECT_EQ(factor(way, uplo, n, G), 0);
          EXPECT_TRUE(F.same_as(G)) << way.name << ' ' << uplo << ", order " << n;
        }
      }
    }
  } else {
    GuardedVector<T> ap(1);
    ap(1) = T(9);
    EXPECT_EQ(factor(layered<T>, 'U', 1, ap), 0);
    EXPECT_EQ(ap(1), T(3));
  }
}

TYPED_TEST(PackedCholesky, TellsTheFirstMinorThatIsNotPositive) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr Int nb = width<T>;
  for (const Int n : {crossover, 2 * nb + 9}) {
    for (const char uplo : uplos) {
      const GuardedMatrix<T> good = this->definite(uplo, n);
      for (const Int k : {Int{1}, Int{2}, Int{19}, nb, nb + 1, nb + 23, 2 * nb, 2 * nb + 1, n}) {
        for (const R pivot : {R(-1), std::numeric_limits<R>::quiet_NaN(), -std::numeric_limits<R>::infinity()}) {
          if (k > n) continue;
          GuardedMatrix<T> bad = good;
          bad(k, k) = T(pivot);
          for (const Way<T>& way : ways<T>) {
            GuardedVector<T> ap = packed(is_upper(uplo), bad);
            EXPECT_EQ(factor(way, uplo, n, ap), k) << way.name << ' ' << uplo << ", pivot " << pivot;
          }
        }
      }
    }
  }
}

TYPED_TEST(PackedCholesky, TellsAMinorThatIsExactlyZero) {
  using T = TypeParam;
  // The identity with two equal rows and columns: their minor cancels.
  constexpr Int n = 2 * width<T> + 9;
  for (const char uplo : uplos) {
    for (const Int k : {2, 19, crossover, width<T> + 1, n}) {
      for (const Int order : {crossover, n}) {
        if (k > order) continue;
        GuardedMatrix<T> A(order, order, order);
        for (Int j = 1; j <= order; ++j) {
          for (Int i = j; i <= order; ++i) lower_element(A, uplo, i, j) = T(i == j ? 1 : 0);
        }
        lower_element(A, uplo, k, (k + 1) / 2) = T(1);
        for (const Way<T>& way : ways<T>) {
          GuardedVector<T> ap = packed(is_upper(uplo), A);
          EXPECT_EQ(factor(way, uplo, order, ap), k) << way.name;
        }
      }
    }
  }
}

/// A last block of few rows is not taken for a whole one.
TYPED_TEST(PackedCholesky, ReadsNothingBehindTheTriangle) {
  using T = TypeParam;
  for (const Int n : {crossover, width<T> + 1, 2 * width<T> + 3}) {
    for (const char uplo : uplos) {
      const GuardedVector<T> ap = packed(is_upper(uplo), this->definite(uplo, n));
      const GuardedMatrix<T> B = this->right_hand_sides(n, 12);
      for (const Way<T>& way : ways<T>) {
        GuardedVector<T> factored = ap;
        factor(way, uplo, n, factored);
        FencedArray<T> fenced(ap);
        const MemoryRequests memory(way.refused);
        Int info = 99;
        way.factor(uplo, n, fenced.data(), info);
        EXPECT_EQ(info, 0);
        EXPECT_TRUE(fenced.same_as(factored)) << way.name << ' ' << uplo << ", order " << n;
        GuardedMatrix<T> X = B, expected = B;
        layer::pptrs(uplo, n, 12, fenced.data(), X, info);
        layer::pptrs(uplo, n, 12, factored.data(), expected, info);
        EXPECT_TRUE(X.same_as(expected)) << way.name << ' ' << uplo << ", order " << n;
      }
    }
  }
}

TYPED_TEST(PackedCholesky, DoesNothingToAnEmptyMatrix) {
  using T = TypeParam;
  Int info = 99;
  layer::pptrf('U', 0, static_cast<T*>(nullptr), info);
  EXPECT_EQ(info, 0);
  routine_call::pptri('L', 0, static_cast<T*>(nullptr), info);
  EXPECT_EQ(info, 0);
}

// ------------------------------------------------------------------------------------------------------- pptrs, ppsv

struct System {
  Int n, nrhs;
  bool by_blocks;
};

/// Sizes on both sides of what divides one right-hand side after the other from blocks.
constexpr System systems[] = {
    {0, 3, false},  {1, 1, false},  {crossover, 12, false}, {60, 0, false},  {crossover + 1, 12, true},
    {64, 20, true}, {65, 20, true}, {130, 70, true},        {130, 5, false}, {130, 11, false}};

/// Solves in place, with all memory or without; the layer and its serial body alike.
template <Scalar T>
void solve(char uplo, const System& system, const GuardedVector<T>& factor, GuardedMatrix<T>& B, int refused) {
  const MemoryRequests memory(refused);
  GuardedMatrix<T> beside = B;
  Int info = 99;
  layer::pptrs(uplo, system.n, system.nrhs, factor.data(), B, info);
  EXPECT_EQ(info, 0);
  EXPECT_EQ(memory.count() > 0, system.by_blocks);
  EXPECT_EQ(memory.kept(), 0);
  x_variant::pptrs(char(std::tolower(uplo)), system.n, system.nrhs, factor.data(), Matrix<T>(beside), info);
  EXPECT_EQ(info, 0);
  EXPECT_TRUE(beside.same_as(B));
  EXPECT_TRUE(factor.unchanged());
  EXPECT_TRUE(B.guards_unchanged());
}

TYPED_TEST(PackedCholesky, SolvesFromTheFactor) {
  using T = TypeParam;
  for (const System& system : systems) {
    for (const char uplo : uplos) {
      SCOPED_TRACE(testing::Message() << uplo << ", order " << system.n << ", right-hand sides " << system.nrhs);
      const GuardedMatrix<T> A = this->definite(uplo, system.n), B = this->right_hand_sides(system.n, system.nrhs);
      const WideMatrix<T> dense = wide_hermitian(A, is_upper(uplo));
      const GuardedVector<T> factor = this->factor_of(uplo, A);
      for (const int refused : {MemoryRequests::none, MemoryRequests::all}) {
        GuardedMatrix<T> X = B;
        solve(uplo, system, factor, X, refused);
        EXPECT_LT(solution_residual<T>(dense, wide(X), wide(B)), threshold);
      }
    }
  }
}

TYPED_TEST(PackedCholesky, SolvesInABufferOfOneBlockOfColumns) {
  using T = TypeParam;
  constexpr Int n = 51, nb = 51;
  for (const char uplo : uplos) {
    const GuardedVector<T> factor = this->factor_of(uplo, this->definite(uplo, n));
    GuardedMatrix<T> X = this->right_hand_sides(n, 12);
    const MemoryRequests memory;
    Int info = 99;
    layer::pptrs(uplo, n, 12, factor.data(), X, info);
    EXPECT_TRUE(memory.included(n * nb * sizeof(T)));
  }
}

TYPED_TEST(PackedCholesky, SolvesByTheDriver) {
  using T = TypeParam;
  for (const Int n : {0, 1, 2, crossover, crossover + 1, width<T> + 1}) {
    for (const char uplo : {'U', 'u', 'L', 'l'}) {
      const GuardedMatrix<T> A = this->definite(uplo, n);
      const GuardedVector<T> factor = this->factor_of(uplo, A);
      for (const Int nrhs : {0, 1, 12}) {
        SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", right-hand sides " << nrhs);
        GuardedVector<T> ap = packed(is_upper(uplo), A);
        GuardedMatrix<T> X = this->right_hand_sides(n, nrhs);
        const WideMatrix<T> B = wide(X);
        Int info = 99;
        routine_call::ppsv(uplo, n, nrhs, ap.data(), X, info);
        EXPECT_EQ(info, 0);
        // Without right-hand sides the matrix is factored all the same.
        EXPECT_TRUE(ap.same_as(factor));
        EXPECT_TRUE(X.guards_unchanged());
        EXPECT_LT(solution_residual<T>(wide_hermitian(A, is_upper(uplo)), wide(X), B), threshold);
      }
    }
  }
}

TYPED_TEST(PackedCholesky, LeavesTheRightHandSidesOfAMatrixThatIsNotDefinite) {
  using T = TypeParam;
  for (const Int n : {9, width<T> + 30}) {
    for (const char uplo : uplos) {
      GuardedMatrix<T> A = this->definite(uplo, n), B = this->right_hand_sides(n, 2);
      A(7, 7) = T(-1);
      GuardedVector<T> ap = packed(is_upper(uplo), A);
      Int info = 99;
      routine_call::ppsv(uplo, n, 2, ap.data(), B, info);
      EXPECT_EQ(info, 7);
      EXPECT_TRUE(B.unchanged());
    }
  }
}

TYPED_TEST(PackedCholesky, SolvesWithMatricesThatAreHardToSolveWith) {
  using T = TypeParam;
  DescribedMatrices matrices(5);
  for (const Int n : {6, 140}) {
    for (const Description& description : definite_matrices) {
      const GuardedMatrix<T> full = matrices.hermitian<T>(description, n, n + 2);
      for (const char uplo : uplos) {
        SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", " << description.name);
        const GuardedMatrix<T> A = definite_triangle(full, uplo), B = this->right_hand_sides(n, 12);
        const WideMatrix<T> original = wide_hermitian(A, is_upper(uplo));
        GuardedVector<T> ap = packed(is_upper(uplo), A);
        GuardedMatrix<T> X = B;
        Int info = 99;
        routine_call::ppsv(uplo, n, 12, ap.data(), X, info);
        EXPECT_EQ(info, 0);
        EXPECT_LT(solution_residual<T>(original, wide(X), wide(B)), threshold);
        routine_call::pptri(uplo, n, ap.data(), info);
        EXPECT_EQ(info, 0);
        const WideMatrix<T> inverse = wide_hermitian(unpacked(is_upper(uplo), n, ap), is_upper(uplo));
        EXPECT_LT(inverse_residual<T>(original, inverse), threshold);
      }
    }
  }
}

// ------------------------------------------------------------------------------------------------------------- pptri

TYPED_TEST(PackedCholesky, InvertsFromTheFactor) {
  using T = TypeParam;
  for (const Int n : {1, 2, 3, 9, 64, 100}) {
    for (const char uplo : {'U', 'u', 'L', 'l'}) {
      SCOPED_TRACE(testing::Message() << uplo << ", order " << n);
      const bool upper = is_upper(uplo);
      const GuardedMatrix<T> A = this->definite(uplo, n);
      GuardedVector<T> ap = this->factor_of(uplo, A);
      Int info = 99;
      routine_call::pptri(uplo, n, ap.data(), info);
      EXPECT_EQ(info, 0);
      EXPECT_TRUE(ap.guards_unchanged());
      const GuardedMatrix<T> X = unpacked(upper, n, ap);
      EXPECT_TRUE(has_positive_diagonal(X, n));
      EXPECT_LT(inverse_residual<T>(wide_hermitian(A, upper), wide_hermitian(X, upper)), threshold);
    }
  }
}

TYPED_TEST(PackedCholesky, LeavesAFactorWithAZeroOnItsDiagonal) {
  using T = TypeParam;
  for (const Int n : {1, 2, 20}) {
    for (const char uplo : uplos) {
      for (const Int k : {Int{1}, (n + 1) / 2, n}) {
        GuardedMatrix<T> F = random_triangle<T>(this->random, is_upper(uplo), false, n, n);
        F(k, k) = F(n, n) = T(0);
        GuardedVector<T> ap = packed(is_upper(uplo), F);
        Int info = 99;
        routine_call::pptri(uplo, n, ap.data(), info);
        EXPECT_EQ(info, k);
        EXPECT_TRUE(ap.unchanged());
      }
    }
  }
}

// --------------------------------------------------------------------------------------------------------- arguments

/// A factorisation or an inverse of order three.
template <Scalar T, void (*routine)(char, Int, T*, Int&)>
struct TriangleCall {
  char uplo = 'U';
  Int n = 3;
  GuardedVector<T> ap = [] {
    Random random(1);
    return packed(true, random_definite<T>(random, 'U', 3));
  }();

  Int run() {
    Int info = 99;
    routine(uplo, n, ap.data(), info);
    return info;
  }
  bool unchanged() const { return ap.unchanged(); }
};

template <Scalar T, void (*routine)(char, Int, T*, Int&)>
void expect_triangle_checks(const std::string& name) {
  expect_argument_checks<TriangleCall<T, routine>>(name, {{1, [](auto& c) { c.uplo = 'N'; }},
                                                          {1, [](auto& c) { c.uplo = char('u' + 128); }},
                                                          {2, [](auto& c) { c.n = -1; }}});
}

template <Scalar T>
void call_pptrs(char uplo, Int n, Int nrhs, T* ap, Matrix<T> B, Int& info) {
  layer::pptrs(uplo, n, nrhs, ap, B, info);
}
template <Scalar T>
void call_xpptrs(char uplo, Int n, Int nrhs, T* ap, Matrix<T> B, Int& info) {
  x_variant::pptrs(uplo, n, nrhs, ap, B, info);
}

template <Scalar T, void (*routine)(char, Int, Int, T*, Matrix<T>, Int&)>
struct SystemCall : TriangleCall<T, nullptr> {
  Int nrhs = 2, ldb = 5;
  GuardedMatrix<T> b = [] {
    Random random(2);
    return random_matrix<T>(random, 3, 2, 5);
  }();

  Int run() {
    Int info = 99;
    routine(this->uplo, this->n, nrhs, this->ap.data(), {b.data(), ldb}, info);
    return info;
  }
  bool unchanged() const { return TriangleCall<T, nullptr>::unchanged() && b.unchanged(); }
};

template <Scalar T, void (*routine)(char, Int, Int, T*, Matrix<T>, Int&)>
void expect_system_checks(const std::string& name) {
  using Call = SystemCall<T, routine>;
  expect_argument_checks<Call>(name, {{1, [](auto& c) { c.uplo = 'N'; }},
                                      {1, [](auto& c) { c.uplo = char('l' + 128); }},
                                      {2, [](auto& c) { c.n = -1; }},
                                      {3, [](auto& c) { c.nrhs = -1; }},
                                      {6, [](auto& c) { c.ldb = 2; }},
                                      {6, [](auto& c) { c.ldb = 0; }}});
  Call empty;
  empty.n = empty.nrhs = empty.ldb = 0;
  expect_report(empty, name, 6);
}

TYPED_TEST(PackedCholesky, ChecksItsArguments) {
  using T = TypeParam;
  expect_triangle_checks<T, layer::pptrf>(reported_name<T>("PPTRF"));
  expect_triangle_checks<T, x_variant::pptrf>(reported_name<T>("PPTRF"));
  expect_triangle_checks<T, routine_call::pptri>(reported_name<T>("PPTRI"));
  expect_system_checks<T, call_pptrs<T>>(reported_name<T>("PPTRS"));
  expect_system_checks<T, call_xpptrs<T>>(reported_name<T>("PPTRS"));
  expect_system_checks<T, routine_call::ppsv>(reported_name<T>("PPSV"));
}

}  // namespace
}  // namespace nuv::test
