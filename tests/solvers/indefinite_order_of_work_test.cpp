// The order of work inside the solvers of indefinite systems: what kernels, panels and strips of right-hand sides take,
// seen by the calls that reach the thread layer and by equal bits.

#include <algorithm>

#include "blas.hpp"
#include "solvers/indefinite_families.hpp"
#include "solvers/recording_layer.hpp"
#include "support/reported_errors.hpp"

namespace nuv::test {
namespace {

using Calls = std::vector<std::string>;

template <class T>
class IndefiniteOrder : public ReportingTest {
 protected:
  Random random{81};
};
TYPED_TEST_SUITE(IndefiniteOrder, Precisions, PrecisionLetter);

std::string lower_case(std::string text) {
  for (char& letter : text) letter = char(std::tolower(letter));
  return text;
}

std::string name_of_panel(const std::string& letters) {
  return "la" + lower_case(letters) + "f";
}

/// The calls of routines of the layer, without those of products and triangular solves that they are made of.
Calls take_recorded_routines() {
  Calls calls = take_recorded_calls();
  std::erase_if(calls, [](const std::string& call) { return call.starts_with("gemm") || call.starts_with("trsm"); });
  return calls;
}

/// Blocks of D of one order alone, without exchanges.
template <Scalar T>
GuardedMatrix<T> block_diagonal(bool pairs, char uplo, Int n) {
  GuardedMatrix<T> A(n, n, n);
  for_each_packed(is_upper(uplo), n, [&](Int i, Int j, Int) {
    const Int place = is_upper(uplo) ? n + 1 - std::max(i, j) : std::min(i, j);  // in the order of elimination
    const bool in_pair = pairs && place % 2 == 1 && std::abs(i - j) == 1;
    A(i, j) = T(in_pair || (!pairs && i == j) ? 1 : 0);
  });
  A.seal();
  return A;
}

/// The panels of nb columns for a matrix of even order n; what nb columns hold goes to the unblocked code. A panel ends
/// where one column is left in it, so that no block of order two is cut.
Calls panels(const std::string& name, char uplo, Int n, Int nb, bool pairs) {
  Calls calls;
  for (Int left = n; left > nb; left -= pairs && nb % 2 == 0 ? nb : nb - 1) {
    calls.push_back(name + ' ' + uplo + ' ' + std::to_string(left) + ' ' + std::to_string(nb));
  }
  return calls;
}

TYPED_TEST(IndefiniteOrder, LeavesSmallRealMatricesToKernels) {
  using T = TypeParam;
  for (const char uplo : uplos) {
    for (const Int n : {1, 64, 65, 99, 100}) {
      const auto A = indefinite_triangle<T>(this->random, Elements::random, false, uplo, n);
      take_recorded_calls();
      const auto factored = factor_indefinite<T>(FullCalls<T, SymmetricNames>::factor, uplo, A);
      const Calls calls = take_recorded_routines();
      const bool by_kernel = RealScalar<T> && n < 100;
      EXPECT_EQ(calls.empty(), by_kernel || n <= full_panel) << n;
      if constexpr (RealScalar<T>) {
        if (!by_kernel) continue;
        GuardedMatrix<T> F = A;
        GuardedVector<Int> ipiv(n);
        Int info = 99;
        if (is_upper(uplo)) blas::sytrf_u_small(uplo, n, F, ipiv.data(), info);
        else blas::sytrf_l_small(uplo, n, F, ipiv.data(), info);
        EXPECT_TRUE(F.same_as(factored.F));
        EXPECT_TRUE(ipiv.same_as(factored.ipiv));
      }
    }
  }
}

template <Scalar T, class Names>
void expect_panels_that_the_workspace_holds() {
  const Int least = Names::hermitian ? 2 : 8;
  for (const Int n : {100, 128, 200}) {
    for (const char uplo : uplos) {
      for (const bool pairs : {false, true}) {
        for (const Int width : {Int{1}, least - 1, least, Int{9}, Int{63}, Int{64}, Int{65}}) {
          for (const Int more : {0, n - 1}) {
            GuardedMatrix<T> A = block_diagonal<T>(pairs, uplo, n);
            GuardedVector<Int> ipiv(n);
            GuardedVector<T> work(width * n + more);
            Int info = 99;
            take_recorded_calls();
            Names::factor(char(std::tolower(uplo)), n, A, ipiv.data(), work.data(), work.size(), info);
            EXPECT_EQ(info, 0);
            const Int nb = width < least ? n : std::min(width, full_panel);
            EXPECT_EQ(take_recorded_routines(), panels(name_of_panel(Names::letters), uplo, n, nb, pairs))
                << uplo << ", order " << n << ", workspace for " << width;
          }
        }
      }
    }
  }
}

TYPED_TEST(IndefiniteOrder, TakesPanelsThatTheWorkspaceHolds) {
  using T = TypeParam;
  expect_panels_that_the_workspace_holds<T, SymmetricNames>();
  if constexpr (ComplexScalar<T>) expect_panels_that_the_workspace_holds<T, HermitianNames>();
}

TYPED_TEST(IndefiniteOrder, TakesPanelsOfPackedMatrices) {
  using T = TypeParam;
  constexpr Int nb = std::same_as<Real<T>, float> ? 128 : 64;
  for (const auto& family : indefinite_families<T>()) {
    if (!family.packed) continue;
    for (const Int n : {126, 128, 130, 300}) {
      for (const char uplo : uplos) {
        for (const bool pairs : {false, true}) {
          const std::string panel = name_of_panel(family.letters);
          Calls expected;
          if (n > 128) {
            expected = panels(panel, uplo, n, nb, pairs);
            expected.insert(expected.begin(), "wants of " + panel + ' ' + uplo + ' ' + std::to_string(n));
          }
          GuardedMatrix<T> A = block_diagonal<T>(pairs, uplo, n);
          GuardedVector<Int> ipiv(n);
          take_recorded_calls();
          EXPECT_EQ(family.factor(uplo, A, ipiv), 0);
          EXPECT_EQ(take_recorded_routines(), expected) << uplo << ", order " << n;
        }
      }
    }
  }
}

TYPED_TEST(IndefiniteOrder, SolvesForTheDriverThroughTheLayer) {
  using T = TypeParam;
  constexpr Int n = 8;
  for (const auto& family : indefinite_families<T>()) {
    for (const char uplo : uplos) {
      GuardedMatrix<T> A = block_diagonal<T>(false, uplo, n), singular = A, B = random_matrix<T>(this->random, n, 2, n);
      GuardedVector<Int> ipiv(n);
      take_recorded_calls();
      EXPECT_EQ(family.drive(uplo, A, ipiv, B), 0);
      EXPECT_EQ(take_recorded_calls(), Calls{lower_case(family.letters) + "trs " + uplo + " 8 2"});

      singular(3, 3) = T(0);
      EXPECT_EQ(family.drive(uplo, singular, ipiv, B), 3);
      EXPECT_EQ(take_recorded_calls(), Calls());
    }
  }
}

// Fewer than eight right-hand sides are solved for without products of matrices: so the end of the last strip shows.
TYPED_TEST(IndefiniteOrder, SolvesForStripsOfRightHandSides) {
  using T = TypeParam;
  constexpr Int n = 40, width = std::same_as<T, float> ? 128 : std::same_as<T, std::complex<double>> ? 32 : 64;
  for (const auto& family : indefinite_families<T>()) {
    if (family.packed) continue;
    for (const char uplo : uplos) {
      const auto A = indefinite_triangle<T>(this->random, Elements::random, family.hermitian, uplo, n);
      const auto factored = factor_indefinite<T>(family.factor, uplo, A);
      const auto calls_of = [&](auto solve, Int nrhs) {
        GuardedMatrix<T> B = random_matrix<T>(this->random, n, nrhs, n);
        take_recorded_calls();
        EXPECT_EQ(solve(uplo, factored.F, factored.ipiv, B), 0);
        Calls calls = take_recorded_calls();
        std::erase_if(calls, [](const std::string& call) { return call.find("trs ") != std::string::npos; });
        return calls;
      };
      const Calls strip = calls_of(family.solve_strip, width);
      Calls two_strips = strip;
      two_strips.insert(two_strips.end(), strip.begin(), strip.end());
      EXPECT_FALSE(strip.empty());
      EXPECT_EQ(calls_of(family.solve_strip, 7), Calls());
      EXPECT_EQ(calls_of(family.solve, width), strip);
      EXPECT_EQ(calls_of(family.solve, width + 7), strip);
      EXPECT_EQ(calls_of(family.solve, 2 * width + 7), two_strips);
      EXPECT_NE(calls_of(family.solve_strip, width + 7), strip);
    }
  }
}

}  // namespace
}  // namespace nuv::test
