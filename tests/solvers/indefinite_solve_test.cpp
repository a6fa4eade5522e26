// What stands on the factors of indefinite matrices: ?sytrs, ?sysv, ?sytri and their Hermitian and packed forms, and
// the products with complex symmetric matrices.

#include <algorithm>
#include <limits>

#include "solvers/indefinite_families.hpp"
#include "support/argument_checks.hpp"
#include "support/described_matrices.hpp"
#include "support/sanitized.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

/// Right-hand sides that all precisions take in one strip, where the order is below 2500.
constexpr Int narrowest_strip = 32;

template <class T>
class IndefiniteSolve : public ReportingTest {
 protected:
  GuardedMatrix<T> right_hand_sides(Int n, Int nrhs) {
    return random_matrix<T>(random, n, nrhs, std::max(1, n % 4 == 1 ? n : n + 5));
  }

  Random random{71};
};
TYPED_TEST_SUITE(IndefiniteSolve, Precisions, PrecisionLetter);

// On both sides of the groups of blocks that many right-hand sides share, and of the strips.
TYPED_TEST(IndefiniteSolve, SolvesFromTheFactorsByStrips) {
  using T = TypeParam;
  for (const auto& family : indefinite_families<T>()) {
    for (const Int n : {0, 1, 2, 3, 31, 32, 33, 65, 130}) {
      for (const Elements elements : {Elements::random, Elements::empty_diagonal}) {
        if (n == 1 && elements == Elements::empty_diagonal) continue;
        for (const char uplo : uplos) {
          const auto A = indefinite_triangle<T>(this->random, elements, family.hermitian, uplo, n);
          const auto factored = factor_indefinite<T>(family.factor, uplo, A);
          const WideMatrix<T> whole = whole_matrix(A, family.hermitian, uplo);
          for (const Int nrhs : {0, 1, 7, 8, 16, 70, 131}) {
            if (nrhs > 16 && n != 33) continue;
            SCOPED_TRACE(testing::Message()
                         << family.letters << ' ' << uplo << ' ' << n << ", right-hand sides " << nrhs);
            const GuardedMatrix<T> B = this->right_hand_sides(n, nrhs);
            GuardedMatrix<T> X = B, in_one_strip = B;
            EXPECT_EQ(family.solve(uplo, factored.F, factored.ipiv, X), 0);
            EXPECT_EQ(family.solve_strip(is_upper(uplo) ? 'u' : 'l', factored.F, factored.ipiv, in_one_strip), 0);
            EXPECT_TRUE(X.guards_unchanged());
            EXPECT_LT(solution_residual<T>(whole, wide(X), wide(B)), threshold);
            if (nrhs <= narrowest_strip) {
              EXPECT_TRUE(in_one_strip.same_as(X));
            } else {
              EXPECT_LT(solution_residual<T>(whole, wide(in_one_strip), wide(B)), threshold);
            }
          }
        }
      }
    }
  }
}

// Each strip is what it is by itself.
TYPED_TEST(IndefiniteSolve, TakesStripsOfTheBlockSize) {
  using T = TypeParam;
  constexpr Int n = 40, width = std::same_as<T, float> ? 128 : std::same_as<T, std::complex<double>> ? 32 : 64;
  for (const auto& family : indefinite_families<T>()) {
    for (const char uplo : uplos) {
      const auto A = indefinite_triangle<T>(this->random, Elements::random, family.hermitian, uplo, n);
      const auto factored = factor_indefinite<T>(family.factor, uplo, A);
      const GuardedMatrix<T> B = random_matrix<T>(this->random, n, width + 9, n);
      GuardedMatrix<T> X = B, strip = random_matrix<T>(this->random, n, 9, n);
      for (Int j = 1; j <= 9; ++j) std::copy_n(&B(1, width + j), n, &strip(1, j));
      family.solve(uplo, factored.F, factored.ipiv, X);
      family.solve_strip(uplo, factored.F, factored.ipiv, strip);
      for (Int j = 1; j <= 9; ++j) {
        for (Int i = 1; i <= n; ++i) ASSERT_TRUE(same_bits(X(i, width + j), strip(i, j))) << family.letters << i << j;
      }
    }
  }
}

TYPED_TEST(IndefiniteSolve, SolvesByTheDriver) {
  using T = TypeParam;
  for (const auto& family : indefinite_families<T>()) {
    for (const Int n : {0, 1, 2, 99, 100, 140}) {
      for (const char uplo : uplos) {
        for (const Int nrhs : {0, 1, 9}) {
          SCOPED_TRACE(testing::Message()
                       << family.letters << ' ' << uplo << ' ' << n << ", right-hand sides " << nrhs);
          auto A = indefinite_triangle<T>(this->random, Elements::random, family.hermitian, uplo, n);
          const auto factored = factor_indefinite<T>(family.factor, uplo, A);
          GuardedMatrix<T> F = A, X = this->right_hand_sides(n, nrhs);
          const GuardedMatrix<T> B = X;
          GuardedVector<Int> ipiv(n);
          EXPECT_EQ(family.drive(uplo, F, ipiv, X), 0);
          EXPECT_TRUE(F.same_as(factored.F));
          EXPECT_TRUE(ipiv.same_as(factored.ipiv));
          EXPECT_LT(solution_residual<T>(whole_matrix(A, family.hermitian, uplo), wide(X), wide(B)), threshold);
        }
      }
    }
  }
}

template <Scalar T, class Names>
void expect_best_workspace_and_least() {
  for (const Int n : {0, 3, 99, 130}) {
    GuardedMatrix<T> A(n, n, n + 1), B(n, 2, n + 1);
    for (Int i = 1; i <= n; ++i) {
      for (Int j = 1; j <= n; ++j) A(i, j) = T(i == j ? 2 : 0);
      B(i, 1) = B(i, 2) = T(Real<T>(2 * i));
    }
    A.seal();
    B.seal();
    GuardedVector<Int> ipiv(n);
    for (const Int lwork : {-1, 1}) {
      GuardedVector<T> work(1);
      Int info = 99;
      Names::drive('L', n, 2, A, ipiv.data(), B, work.data(), lwork, info);
      EXPECT_EQ(info, 0);
      EXPECT_EQ(work(1), T(Real<T>(full_panel * n)));
      EXPECT_TRUE(work.guards_unchanged());
      if (lwork == -1) {
        EXPECT_TRUE(A.unchanged() && ipiv.unchanged() && B.unchanged());
      } else {
        for (Int i = 1; i <= n; ++i) EXPECT_EQ(B(i, 2), T(Real<T>(i)));
      }
    }
  }
}

TYPED_TEST(IndefiniteSolve, TellsTheDriversBestWorkspaceAndTakesTheLeast) {
  using T = TypeParam;
  expect_best_workspace_and_least<T, SymmetricNames>();
  if constexpr (ComplexScalar<T>) expect_best_workspace_and_least<T, HermitianNames>();
}

TYPED_TEST(IndefiniteSolve, LeavesTheRightHandSidesOfASingularMatrix) {
  using T = TypeParam;
  for (const auto& family : indefinite_families<T>()) {
    for (const Int n : {5, 150}) {
      for (const char uplo : uplos) {
        auto A = indefinite_triangle<T>(this->random, Elements::random, family.hermitian, uplo, n);
        for_each_packed(is_upper(uplo), n, [&](Int i, Int j, Int) { A(i, j) = T(0); });
        GuardedVector<Int> ipiv(n);
        GuardedMatrix<T> B = this->right_hand_sides(n, 2);
        EXPECT_EQ(family.drive(uplo, A, ipiv, B), is_upper(uplo) ? n : 1) << family.letters;
        EXPECT_TRUE(B.unchanged());
      }
    }
  }
}

TYPED_TEST(IndefiniteSolve, InvertsFromTheFactors) {
  using T = TypeParam;
  for (const auto& family : indefinite_families<T>()) {
    for (const Int n : {0, 1, 2, 3, 10, 65}) {
      for (const Elements elements : {Elements::random, Elements::empty_diagonal}) {
        if (n == 1 && elements == Elements::empty_diagonal) continue;
        for (const char uplo : uplos) {
          SCOPED_TRACE(testing::Message() << family.letters << ' ' << uplo << ' ' << n);
          const auto A = indefinite_triangle<T>(this->random, elements, family.hermitian, uplo, n);
          auto factored = factor_indefinite<T>(family.factor, uplo, A);
          GuardedMatrix<T> X = factored.F;
          EXPECT_EQ(family.invert(uplo, X, factored.ipiv), 0);
          EXPECT_TRUE(stayed_in_triangle(uplo, X));
          EXPECT_TRUE(factored.ipiv.unchanged());
          EXPECT_LT(
              inverse_residual<T>(whole_matrix(A, family.hermitian, uplo), whole_matrix(X, family.hermitian, uplo)),
              threshold);
        }
      }
    }
  }
}

TYPED_TEST(IndefiniteSolve, LeavesFactorsWithAZeroBlock) {
  using T = TypeParam;
  constexpr Int n = 9;
  for (const auto& family : indefinite_families<T>()) {
    for (const char uplo : uplos) {
      const auto A = indefinite_triangle<T>(this->random, Elements::dominant, family.hermitian, uplo, n);
      auto factored = factor_indefinite<T>(family.factor, uplo, A);
      factored.F(3, 3) = factored.F(6, 6) = T(0);
      factored.F.seal();
      EXPECT_EQ(family.invert(uplo, factored.F, factored.ipiv), is_upper(uplo) ? 6 : 3) << family.letters;
      EXPECT_TRUE(factored.F.unchanged());
    }
  }
}

TYPED_TEST(IndefiniteSolve, SolvesWithMatricesThatAreHardToSolveWith) {
  using T = TypeParam;
  DescribedMatrices matrices(6);
  for (const Int n : {6, 110}) {
    for (const Description& description : definite_matrices) {
      const GuardedMatrix<T> full = matrices.hermitian<T>(description, n, n);
      for (const auto& family : indefinite_families<T>()) {
        if (!family.hermitian && ComplexScalar<T>) continue;
        for (const char uplo : uplos) {
          SCOPED_TRACE(testing::Message() << family.letters << uplo << ", order " << n << ", " << description.name);
          GuardedMatrix<T> A(n, n, n), X = this->right_hand_sides(n, 2);
          for_each_packed(is_upper(uplo), n, [&](Int i, Int j, Int) { A(i, j) = full(i, j); });
          const GuardedMatrix<T> original = A, B = X;
          GuardedVector<Int> ipiv(n);
          EXPECT_EQ(family.drive(uplo, A, ipiv, X), 0);
          EXPECT_LT(solution_residual<T>(whole_matrix(original, true, uplo), wide(X), wide(B)), threshold);
        }
      }
    }
  }
}

// ------------------------------------------------------------------------------------ complex symmetric products

TYPED_TEST(IndefiniteSolve, MultipliesBySymmetricMatrices) {
  using T = TypeParam;
  if constexpr (ComplexScalar<T>) {
    for (const Int n : {0, 1, 2, 9, 40}) {
      for (const char uplo : {'U', 'l'}) {
        for (const auto& [incx, incy] : {std::pair{1, 1}, {2, -3}, {-1, 2}}) {
          for (const T beta : {T(0), T(1), T(2, -1)}) {
            for (const T alpha : {T(0), T(Real<T>(0.5), 1)}) {
              SCOPED_TRACE(testing::Message() << uplo << n << ", " << incx << ", " << incy << ", " << alpha << beta);
              const auto A = indefinite_triangle<T>(this->random, Elements::random, false, uplo, n);
              const auto ap = packed(is_upper(uplo), A);
              const auto x = random_vector<T>(this->random, n, incx);
              auto y = random_vector<T>(this->random, n, incy);
              Sum<T> sum(n, 1);
              if (beta == T(0)) {
                for (Int i = 1; i <= n; ++i) y(i) = guard<T>();
              } else {
                sum.add(beta, wide(y));
              }
              sum.add(alpha, whole_matrix(A, false, uplo), wide(x));
              auto z = y;
              routine_call::symv(uplo, n, alpha, A, x, beta, y);
              routine_call::spmv(uplo, n, alpha, ap.data(), x, beta, z);
              EXPECT_LT(sum.error_of(wide(y)), threshold);
              EXPECT_LT(sum.error_of(wide(z)), threshold);
              EXPECT_TRUE(y.guards_unchanged());
            }
          }
        }
      }
    }
  }
}

TYPED_TEST(IndefiniteSolve, UpdatesSymmetricMatrices) {
  using T = TypeParam;
  if constexpr (ComplexScalar<T>) {
    for (const Int n : {0, 1, 2, 9, 40}) {
      for (const char uplo : {'u', 'L'}) {
        for (const Int incx : {1, 2, -3}) {
          for (const T alpha : {T(0), T(Real<T>(0.5), 1)}) {
            SCOPED_TRACE(testing::Message() << uplo << n << ", " << incx << ", " << alpha);
            auto A = indefinite_triangle<T>(this->random, Elements::random, false, uplo, n);
            const auto x = random_vector<T>(this->random, n, incx);
            Sum<T> sum(n, n);
            sum.add(T(1), whole_matrix(A, false, uplo)).add(alpha, wide(x), wide(x).transpose());
            const auto before = packed(is_upper(uplo), A);
            routine_call::syr(uplo, n, alpha, x, A);
            EXPECT_LT(sum.error_of(whole_matrix(A, false, uplo)), threshold);
            EXPECT_TRUE(stayed_in_triangle(uplo, A));
            if constexpr (std::same_as<T, std::complex<double>>) {
              auto ap = before;
              routine_call::spr(uplo, n, alpha, x, ap.data());
              EXPECT_LT(sum.error_of(whole_matrix(unpacked(is_upper(uplo), n, ap), false, uplo)), threshold);
              EXPECT_TRUE(ap.guards_unchanged());
            }
          }
        }
      }
    }
  }
}

// -------------------------------------------------------------------------------------------------------- arguments

enum class Routine { layered, serial, strip, driver, inverse };

template <Scalar T>
struct SystemCall {
  bool hermitian, packed;
  Routine routine;
  char uplo = 'U';
  Int n = 3, nrhs = 2, lda = 4, ldb = 5, lwork = 1;
  GuardedMatrix<T> a = [] {
    Random random(1);
    auto A = random_matrix<T>(random, 3, 3, 4);
    for (Int i = 1; i <= 3; ++i) A(i, i) = T(4);
    A.seal();
    return A;
  }();
  GuardedMatrix<T> b = [] {
    Random random(2);
    return random_matrix<T>(random, 3, 2, 5);
  }();
  GuardedVector<Int> ipiv = [] {
    GuardedVector<Int> rows(3);
    for (Int i = 1; i <= 3; ++i) rows(i) = i;
    rows.seal();
    return rows;
  }();
  GuardedVector<T> work{3};

  Int run() {
    Int info = 99;
    const Matrix<T> A{a.data(), lda}, B{b.data(), ldb};
    const Matrix<const T> F = A;
    T* const ap = a.data();
    Int* const p = ipiv.data();
    if constexpr (ComplexScalar<T>) {
      if (hermitian && !packed) {
        if (routine == Routine::layered) layer::hetrs(uplo, n, nrhs, F, p, B, info);
        if (routine == Routine::serial) x_variant::hetrs(uplo, n, nrhs, F, p, B, info);
        if (routine == Routine::strip) routine_call::hets2(uplo, n, nrhs, F, p, B, info);
        if (routine == Routine::driver) routine_call::hesv(uplo, n, nrhs, A, p, B, work.data(), lwork, info);
        if (routine == Routine::inverse) routine_call::hetri(uplo, n, A, p, work.data(), info);
        return info;
      }
      if (hermitian) {
        if (routine == Routine::layered) layer::hptrs(uplo, n, nrhs, ap, p, B, info);
        if (routine == Routine::serial) x_variant::hptrs(uplo, n, nrhs, ap, p, B, info);
        if (routine == Routine::strip) routine_call::hpts2(uplo, n, nrhs, ap, p, B, info);
        if (routine == Routine::driver) routine_call::hpsv(uplo, n, nrhs, ap, p, B, info);
        if (routine == Routine::inverse) routine_call::hptri(uplo, n, ap, p, work.data(), info);
        return info;
      }
    }
    if (!packed) {
      if (routine == Routine::layered) layer::sytrs(uplo, n, nrhs, F, p, B, info);
      if (routine == Routine::serial) x_variant::sytrs(uplo, n, nrhs, F, p, B, info);
      if (routine == Routine::strip) routine_call::syts2(uplo, n, nrhs, F, p, B, info);
      if (routine == Routine::driver) routine_call::sysv(uplo, n, nrhs, A, p, B, work.data(), lwork, info);
      if (routine == Routine::inverse) routine_call::sytri(uplo, n, A, p, work.data(), info);
    } else {
      if (routine == Routine::layered) layer::sptrs(uplo, n, nrhs, ap, p, B, info);
      if (routine == Routine::serial) x_variant::sptrs(uplo, n, nrhs, ap, p, B, info);
      if (routine == Routine::strip) routine_call::spts2(uplo, n, nrhs, ap, p, B, info);
      if (routine == Routine::driver) routine_call::spsv(uplo, n, nrhs, ap, p, B, info);
      if (routine == Routine::inverse) routine_call::sptri(uplo, n, ap, p, work.data(), info);
    }
    return info;
  }
  bool unchanged() const { return a.unchanged() && b.unchanged() && ipiv.unchanged() && work.unchanged(); }
};

/// Expects the report of each bad argument, and of the first of two.
template <Scalar T>
void expect_system_checks(const SystemCall<T>& good, const std::string& name) {
  using Call = SystemCall<T>;
  std::vector<Spoiler<Call>> spoilers = {{1, [](Call& c) { c.uplo = 'N'; }}, {2, [](Call& c) { c.n = -1; }}};
  const bool solves = good.routine != Routine::inverse;
  if (solves) spoilers.push_back({3, [](Call& c) { c.nrhs = -1; }});
  if (!good.packed && solves) spoilers.push_back({5, [](Call& c) { c.lda = 2; }});
  if (!good.packed && !solves) spoilers.push_back({4, [](Call& c) { c.lda = 2; }});
  if (solves && good.packed) spoilers.push_back({7, [](Call& c) { c.ldb = 2; }});
  if (solves && !good.packed) spoilers.push_back({8, [](Call& c) { c.ldb = 2; }});
  if (good.routine == Routine::driver && !good.packed) {
    spoilers.push_back({10, [](Call& c) { c.lwork = 0; }});
    spoilers.push_back({10, [](Call& c) { c.lwork = -2; }});
  }
  Call accepted = good;
  expect_report(accepted, name, 0);
  for (const auto& one : spoilers) {
    for (const auto& other : spoilers) {
      SCOPED_TRACE(name + ", arguments " + std::to_string(one.position) + " and " + std::to_string(other.position));
      Call call = good;
      one.spoil(call);
      other.spoil(call);
      if (good.routine == Routine::layered && call.nrhs > 0) call.nrhs = 500;  // several strips
      expect_report(call, name, std::min(one.position, other.position));
    }
  }
}

TYPED_TEST(IndefiniteSolve, ChecksItsArguments) {
  using T = TypeParam;
  for (const auto& family : indefinite_families<T>()) {
    for (const Routine routine : {Routine::layered, Routine::serial, Routine::strip}) {
      expect_system_checks<T>({family.hermitian, family.packed, routine}, reported_name<T>(family.letters + "TRS"));
    }
    expect_system_checks<T>({family.hermitian, family.packed, Routine::driver},
                            reported_name<T>(family.letters + "SV"));
    expect_system_checks<T>({family.hermitian, family.packed, Routine::inverse},
                            reported_name<T>(family.letters + "TRI"));
  }
}

template <ComplexScalar T>
struct ProductCall {
  enum class Which { symv, spmv, syr, spr } which;
  char uplo = 'U';
  Int n = 2, lda = 3, incx = 1, incy = 1;
  GuardedMatrix<T> a = [] {
    Random random(1);
    return random_matrix<T>(random, 2, 2, 3);
  }();
  GuardedVector<T> x = a_vector(), y = a_vector();

  static GuardedVector<T> a_vector() {
    Random random(2);
    return random_vector<T>(random, 2, 1);
  }
  void run() {
    const Vector<T> X{x.data(), incx}, Y{y.data(), incy};
    if (which == Which::symv) routine_call::symv(uplo, n, T(1), Matrix<T>{a.data(), lda}, X, T(1), Y);
    if (which == Which::spmv) routine_call::spmv(uplo, n, T(1), a.data(), X, T(1), Y);
    if (which == Which::syr) routine_call::syr(uplo, n, T(1), X, Matrix<T>{a.data(), lda});
    if constexpr (std::same_as<T, std::complex<double>>) {
      if (which == Which::spr) routine_call::spr(uplo, n, T(1), X, a.data());
    }
  }
  bool unchanged() const { return a.unchanged() && x.unchanged() && y.unchanged(); }
};

template <ComplexScalar T>
void expect_product_checks(const ProductCall<T>& good, const std::string& name, int lda, int incx, int incy) {
  using Call = ProductCall<T>;
  std::vector<Spoiler<Call>> spoilers = {
      {1, [](Call& c) { c.uplo = 'N'; }}, {2, [](Call& c) { c.n = -1; }}, {incx, [](Call& c) { c.incx = 0; }}};
  if (lda > 0) spoilers.push_back({lda, [](Call& c) { c.lda = 1; }});
  if (incy > 0) spoilers.push_back({incy, [](Call& c) { c.incy = 0; }});
  for (const auto& one : spoilers) {
    for (const auto& other : spoilers) {
      Call call = good;
      one.spoil(call);
      other.spoil(call);
      expect_report(call, name, std::min(one.position, other.position));
    }
  }
}

TYPED_TEST(IndefiniteSolve, ChecksTheArgumentsOfProducts) {
  using T = TypeParam;
  if constexpr (ComplexScalar<T>) {
    using Which = typename ProductCall<T>::Which;
    expect_product_checks<T>({Which::symv}, reported_name<T>("SYMV"), 5, 7, 10);
    expect_product_checks<T>({Which::spmv}, reported_name<T>("SPMV"), 0, 6, 9);
    expect_product_checks<T>({Which::syr}, reported_name<T>("SYR"), 7, 5, 0);
    if constexpr (std::same_as<T, std::complex<double>>) {
      expect_product_checks<T>({Which::spr}, reported_name<T>("SPR"), 0, 5, 0);
    }
  }
}

}  // namespace
}  // namespace nuv::test
