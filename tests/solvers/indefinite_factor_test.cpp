// The factorisations with diagonal pivoting: ?sytrf, ?hetrf, ?sptrf, ?hptrf, their panels and their unblocked forms.

#include <algorithm>
#include <cctype>
#include <limits>

#include "solvers/indefinite_families.hpp"
#include "support/argument_checks.hpp"
#include "support/memory_requests.hpp"
#include "support/sanitized.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

template <class T>
class IndefiniteFactor : public ReportingTest {
 protected:
  Random random{61};
};
TYPED_TEST_SUITE(IndefiniteFactor, Precisions, PrecisionLetter);

/// On both sides of one, two and three panels, of what a kernel takes, and of what packed storage has panels for.
std::vector<Int> indefinite_orders() {
  std::vector<Int> all = {0, 1, 2, 3, 17, 64, 65, 99, 100, 128, 129, 194};
  if (is_sanitized) std::erase_if(all, [](Int n) { return n > 130; });
  return all;
}

TYPED_TEST(IndefiniteFactor, HasASmallResidualInTheNamedTriangle) {
  using T = TypeParam;
  Int pairs = 0, exchanges = 0;
  for (const auto& family : indefinite_families<T>()) {
    for (const Int n : indefinite_orders()) {
      for (const Elements elements : {Elements::random, Elements::dominant, Elements::empty_diagonal}) {
        if (n > 100 && elements != Elements::random) continue;
        for (const char uplo : uplos) {
          SCOPED_TRACE(testing::Message()
                       << family.letters << ' ' << uplo << ' ' << n << ", elements " << int(elements));
          const auto A = indefinite_triangle<T>(this->random, elements, family.hermitian, uplo, n);
          const auto blocked = factor_indefinite<T>(family.factor, uplo, A);
          const auto unblocked = factor_indefinite<T>(family.unblocked, uplo, A);
          const bool is_zero = n == 1 && elements == Elements::empty_diagonal;
          for (const auto* factored : {&blocked, &unblocked}) {
            EXPECT_EQ(factored->info, is_zero ? 1 : 0);
            EXPECT_LT(indefinite_residual(uplo, family.hermitian, *factored), threshold);
          }
          // Only decisions within rounding could come out otherwise.
          if (std::same_as<Real<T>, double> || n < 20 || elements == Elements::dominant) {
            EXPECT_TRUE(blocked.ipiv.same_as(unblocked.ipiv));
          }
          for (Int k = 1; k <= n; ++k) {
            pairs += blocked.ipiv(k) < 0;
            exchanges += std::abs(blocked.ipiv(k)) != k;
            if (elements == Elements::dominant) {
              EXPECT_EQ(blocked.ipiv(k), k);
            }
          }
          if (n > 17) continue;
          const auto by_small_letter = factor_indefinite<T>(family.factor, char(std::tolower(uplo)), A);
          EXPECT_TRUE(by_small_letter.F.same_as(blocked.F));
        }
      }
    }
  }
  EXPECT_GT(pairs, 100);
  EXPECT_GT(exchanges, 100);
}

// In the columns not yet eliminated the pivot is the one of the definition.
TYPED_TEST(IndefiniteFactor, ChoosesTheFirstPivotByTheDefinition) {
  using T = TypeParam;
  using R = Real<T>;
  const R alpha = R((1 + std::sqrt(17.0)) / 8);
  constexpr Int n = 130;
  // Elements of the first column and of the row of its largest, in units of which the column has 1: the pivot expected.
  struct Case {
    R diagonal, row_largest, row_diagonal;
    Int row;  ///< that is exchanged, as a place in the order of elimination from one on; negative for a pair
  };
  const R little = R(0.01);
  const Case cases[] = {{alpha + little, 9, 9, 1},
                        {alpha - little, 1, 0, -7},
                        {alpha / 2 + little, 2, R(2 * alpha), 1},
                        {alpha / 2 - little, 2, 2 * (alpha + little), 7},
                        {alpha / 2 - little, 2, 2 * (alpha - little), -7},
                        {0, 1, 0, -7},
                        {0, 1, 1, 7}};
  for (const auto& family : indefinite_families<T>()) {
    for (const char uplo : uplos) {
      const auto place = [&](Int i) { return is_upper(uplo) ? n + 1 - i : i; };
      for (const Case& c : cases) {
        GuardedMatrix<T> A(n, n, n);
        for_each_packed(is_upper(uplo), n, [&](Int i, Int j, Int) { A(i, j) = T(i == j ? R(100) : R(0)); });
        const auto set = [&](Int i, Int j, R x) {  // i behind j in the order of elimination
          A(place(i), place(j)) = T(x);
        };
        set(1, 1, c.diagonal);
        set(7, 1, 1);
        set(7, 7, c.row_diagonal);
        // The largest of the row stands before or behind its diagonal element.
        for (const bool before : {true, false}) {
          if (before) set(7, 4, c.row_largest);
          else set(9, 7, c.row_largest);
          for (const auto routine : {family.factor, family.unblocked}) {
            const auto factored = factor_indefinite<T>(routine, uplo, A);
            const Int expected = c.row > 0 ? place(c.row) : -place(-c.row);
            EXPECT_EQ(factored.ipiv(place(1)), expected)
                << family.letters << ' ' << uplo << ' ' << c.diagonal << before;
          }
          if (before) set(7, 4, 0);
        }
      }
    }
  }
}

TYPED_TEST(IndefiniteFactor, TellsTheFirstZeroBlockAndGoesOn) {
  using T = TypeParam;
  for (const auto& family : indefinite_families<T>()) {
    for (const Int n : {5, 64, 130}) {
      for (const char uplo : uplos) {
        for (const Int k : {Int{1}, Int{3}, n}) {
          auto A = indefinite_triangle<T>(this->random, Elements::dominant, family.hermitian, uplo, n);
          const Int later = is_upper(uplo) ? 2 : n - 2;
          for_each_packed(is_upper(uplo), n, [&](Int i, Int j, Int) {
            if (i == k || j == k || i == later || j == later) A(i, j) = T(0);
          });
          A.seal();
          const Int first = is_upper(uplo) ? std::max(k, later) : std::min(k, later);
          for (const auto routine : {family.factor, family.unblocked}) {
            const auto factored = factor_indefinite<T>(routine, uplo, A);
            EXPECT_EQ(factored.info, first) << family.letters << ' ' << uplo << ' ' << n;
            EXPECT_LT(indefinite_residual(uplo, family.hermitian, factored), threshold);
          }
        }
      }
    }
  }
}

// With a first pivot that is not a number nothing is done; with a later one the columns before it are.
TYPED_TEST(IndefiniteFactor, StopsAtAPivotThatIsNotANumber) {
  using T = TypeParam;
  for (const auto& family : indefinite_families<T>()) {
    for (const Int n : {5, 70, 130}) {
      for (const char uplo : uplos) {
        for (const Int steps : {Int{0}, Int{1}, Int{3}, n / 2, n - 1}) {
          SCOPED_TRACE(testing::Message() << family.letters << ' ' << uplo << ' ' << n << ", steps " << steps);
          const Int k = is_upper(uplo) ? n - steps : 1 + steps;
          auto A = indefinite_triangle<T>(this->random, Elements::dominant, family.hermitian, uplo, n);
          const auto good = factor_indefinite<T>(family.factor, uplo, A);
          A(k, k) = guard<T>();
          if constexpr (ComplexScalar<T>) {
            if (steps % 2 == 1) A(k, k).real(1);  // a part is enough, but for the imaginary one of a Hermitian matrix
            if (steps % 2 == 1 && family.hermitian) A(k, k) = {guard<Real<T>>(), 1};
          }
          A.seal();
          for (const auto routine : {family.factor, family.unblocked}) {
            auto F = A;
            GuardedVector<Int> ipiv(n);
            EXPECT_EQ(routine(uplo, F, ipiv), k);
            for (Int i = 1; i <= n; ++i) EXPECT_EQ(ipiv(i), i);
            if (steps == 0) {
              EXPECT_TRUE(F.unchanged());
            }
            // Multipliers that the stop leaves are those of the good matrix, up to what other widths of panels round.
            for_each_packed(is_upper(uplo), n, [&](Int i, Int j, Int) {
              if (is_upper(uplo) ? j <= k : j >= k) return;
              const Real<T> size = i == j ? std::abs(good.F(j, j)) : Real<T>(1);
              ASSERT_LE(std::abs(F(i, j) - good.F(i, j)), 100 * epsilon<T> * size) << i << ' ' << j;
            });
          }
        }
      }
    }
  }
}

// The pivots of a Hermitian matrix are real: a NaN in one part of a multiplier is none in the other.
TYPED_TEST(IndefiniteFactor, KeepsThePartsOfHermitianMultipliersApart) {
  using T = TypeParam;
  if constexpr (ComplexScalar<T>) {
    for (const auto& family : indefinite_families<T>()) {
      if (!family.hermitian) continue;
      for (const char uplo : uplos) {
        GuardedMatrix<T> A(3, 3, 3);
        for_each_packed(is_upper(uplo), 3, [&](Int i, Int j, Int) { A(i, j) = T(i == j ? 4 : 1); });
        // Not the first of the elements that are compared: there it would be the largest.
        const Int row = is_upper(uplo) ? 2 : 3, column = is_upper(uplo) ? 3 : 1;
        A(row, column) = {guard<Real<T>>(), 1};
        GuardedMatrix<T> F = A, by_panel = A;
        GuardedVector<Int> ipiv(3);
        Int kb = 99;
        family.unblocked(uplo, F, ipiv);
        family.serial_panel(uplo, 3, by_panel, ipiv, kb);
        for (const T multiplier : {F(row, column), by_panel(row, column)}) {
          EXPECT_TRUE(std::isnan(multiplier.real())) << family.letters << uplo;
          EXPECT_EQ(multiplier.imag(), Real<T>(0.25)) << family.letters << uplo;
        }
      }
    }
  }
}

// ------------------------------------------------------------------------------------------------------- workspace

TYPED_TEST(IndefiniteFactor, AsksForPanelsAndWorksWithLess) {
  using T = TypeParam;
  for (const auto& family : indefinite_families<T>()) {
    if (family.packed) continue;
    const auto call = [&](char uplo, GuardedMatrix<T>& A, GuardedVector<Int>& ipiv, GuardedVector<T>& work, Int lwork) {
      Int info = 99;
      if constexpr (ComplexScalar<T>) {
        if (family.hermitian) {
          routine_call::hetrf(uplo, A.rows(), A, ipiv.data(), work.data(), lwork, info);
          return info;
        }
      }
      routine_call::sytrf(uplo, A.rows(), A, ipiv.data(), work.data(), lwork, info);
      return info;
    };
    for (const Int n : {20, 100, 130}) {
      for (const char uplo : uplos) {
        const auto A = indefinite_triangle<T>(this->random, Elements::dominant, family.hermitian, uplo, n);
        const auto expected = factor_indefinite<T>(family.unblocked, uplo, A);
        const bool by_kernel = RealScalar<T> && n < 100;
        for (const Int lwork : {-1, 1, 2 * n - 1, 2 * n, 8 * n - 1, 8 * n, 64 * n}) {
          SCOPED_TRACE(testing::Message() << family.letters << ' ' << uplo << ' ' << n << ", lwork " << lwork);
          auto F = A;
          GuardedVector<Int> ipiv(n);
          GuardedVector<T> work(std::max(lwork, 1));
          EXPECT_EQ(call(uplo, F, ipiv, work, lwork), 0);
          EXPECT_TRUE(work.guards_unchanged());
          EXPECT_EQ(work(1), T(Real<T>(by_kernel && lwork != -1 ? 1 : 64 * n)));
          if (lwork == -1) {
            EXPECT_TRUE(F.unchanged());
            EXPECT_TRUE(ipiv.unchanged());
            continue;
          }
          EXPECT_TRUE(ipiv.same_as(expected.ipiv));
          EXPECT_LT(indefinite_residual<T>(uplo, family.hermitian, {A, F, ipiv, 0}), threshold);
          // Panels of at least eight columns (symmetric) or two are worth it.
          const bool unblocked = lwork < (family.hermitian ? 2 : 8) * n || n <= 64;
          if (!by_kernel && unblocked) {
            EXPECT_TRUE(F.same_as(expected.F));
          }
          if (!by_kernel && !unblocked) {
            EXPECT_FALSE(F.same_as(expected.F));
          }
        }
      }
    }
  }
}

TYPED_TEST(IndefiniteFactor, TakesSmallPackedMatricesWithoutMemory) {
  using T = TypeParam;
  const std::size_t nb = std::same_as<Real<T>, float> ? 128 : 64;
  for (const auto& family : indefinite_families<T>()) {
    if (!family.packed) continue;
    for (const Int n : {128, 129, 200}) {
      for (const char uplo : uplos) {
        const auto A = indefinite_triangle<T>(this->random, Elements::random, family.hermitian, uplo, n);
        const auto expected = factor_indefinite<T>(family.unblocked, uplo, A);
        {
          const MemoryRequests memory;
          const auto blocked = factor_indefinite<T>(family.factor, uplo, A);
          EXPECT_EQ(memory.count() > 0, n > 128);
          if (n > 128) {
            EXPECT_TRUE(memory.included(3 * std::size_t(n) * nb * sizeof(T)));
          }
          EXPECT_EQ(memory.kept(), 0);
          EXPECT_EQ(n > 128, !blocked.F.same_as(expected.F));
        }
        const MemoryRequests none(MemoryRequests::all);
        const auto refused = factor_indefinite<T>(family.factor, uplo, A);
        EXPECT_EQ(refused.info, 0);
        EXPECT_TRUE(refused.F.same_as(expected.F));
        EXPECT_TRUE(refused.ipiv.same_as(expected.ipiv));
      }
    }
  }
}

// ---------------------------------------------------------------------------------------------------------- panels

/// Goes on where a panel has taken kb columns.
template <Scalar T>
void factor_rest(typename IndefiniteFamily<T>::Factor unblocked, char uplo, Int kb, FactoredIndefinite<T>& factored) {
  const Int left = factored.F.rows() - kb, start = is_upper(uplo) ? 0 : kb;
  if (left == 0) return;
  GuardedMatrix<T> rest(left, left, left);
  for_each_packed(is_upper(uplo), left, [&](Int i, Int j, Int) { rest(i, j) = factored.F(start + i, start + j); });
  GuardedVector<Int> pivots(left);
  EXPECT_EQ(unblocked(uplo, rest, pivots), 0);
  for_each_packed(is_upper(uplo), left, [&](Int i, Int j, Int) { factored.F(start + i, start + j) = rest(i, j); });
  for (Int i = 1; i <= left; ++i) factored.ipiv(start + i) = pivots(i) + (pivots(i) > 0 ? start : -start);
}

TYPED_TEST(IndefiniteFactor, TakesAPanelOrOneColumnLess) {
  using T = TypeParam;
  constexpr Int n = 40;
  for (const auto& family : indefinite_families<T>()) {
    for (const char uplo : uplos) {
      for (const Int nb : {2, 5, 6, 39, 40, 50}) {
        for (const Elements elements : {Elements::dominant, Elements::empty_diagonal}) {
          SCOPED_TRACE(testing::Message() << family.letters << ' ' << uplo << ", width " << nb << ' ' << int(elements));
          const auto A = indefinite_triangle<T>(this->random, elements, family.hermitian, uplo, n);
          FactoredIndefinite<T> factored{A, A, GuardedVector<Int>(n), 0}, by_layer = factored;
          Int kb = 99, kb_by_layer = 99;
          EXPECT_EQ(family.serial_panel(uplo, nb, factored.F, factored.ipiv, kb), 0);
          EXPECT_EQ(family.panel(uplo, nb, by_layer.F, by_layer.ipiv, kb_by_layer), 0);
          EXPECT_TRUE(stayed_in_triangle(uplo, factored.F));
          EXPECT_TRUE(factored.ipiv.guards_unchanged());
          EXPECT_EQ(kb_by_layer, kb);
          EXPECT_TRUE(by_layer.F.same_as(factored.F));
          EXPECT_TRUE(by_layer.ipiv.same_as(factored.ipiv));
          if (nb >= n) {
            EXPECT_EQ(kb, n);
          } else if (elements == Elements::dominant) {
            EXPECT_EQ(kb, nb - 1);  // with room for a pair's second column
          } else {
            EXPECT_TRUE(kb == nb || kb == nb - 1) << kb;
          }
          // What is left is a matrix to go on with, a Hermitian one with a real diagonal.
          for (Int j = 1; family.hermitian && j <= n - kb; ++j) {
            const Int d = is_upper(uplo) ? j : kb + j;
            EXPECT_EQ(std::imag(factored.F(d, d)), 0);
          }
          factor_rest(family.unblocked, uplo, kb, factored);
          EXPECT_LT(indefinite_residual<T>(uplo, family.hermitian, factored), threshold);
        }
      }
    }
  }
}

TYPED_TEST(IndefiniteFactor, AsksForOneBlockBesideThePanelInPackedStorage) {
  using T = TypeParam;
  T* const none = nullptr;
  T one = 1;
  Int kb = 99, info = 99, ipiv = 99;
  x_variant::laspf('U', 1, 0, kb, &one, &ipiv, Matrix<T>{none, 1}, info);
  EXPECT_EQ(kb, 1);
  EXPECT_EQ(info, 0);
  EXPECT_EQ(one, T(1));
  EXPECT_EQ(ipiv, 99);
  if constexpr (ComplexScalar<T>) {
    kb = 99;
    x_variant::lahpf('L', 1, 0, kb, &one, &ipiv, Matrix<T>{none, 1}, info);
    EXPECT_EQ(kb, 1);
  }
}

// -------------------------------------------------------------------------------------------------------- arguments

template <Scalar T>
struct FactorCall {
  enum class Which { blocked, unblocked, packed, packed_unblocked };

  bool hermitian;
  Which which;
  char uplo = 'U';
  Int n = 3, lda = 4, lwork = 1;
  GuardedMatrix<T> a = [] {
    Random random(1);
    return random_matrix<T>(random, 4, 3, 4);  // as packed storage, without a gap
  }();
  GuardedVector<Int> ipiv{3};
  GuardedVector<T> work{1};

  Int run() {
    Int info = 99;
    const Matrix<T> A{a.data(), lda};
    if constexpr (ComplexScalar<T>) {
      if (hermitian) {
        if (which == Which::blocked) routine_call::hetrf(uplo, n, A, ipiv.data(), work.data(), lwork, info);
        if (which == Which::unblocked) routine_call::hetf2(uplo, n, A, ipiv.data(), info);
        if (which == Which::packed) routine_call::hptrf(uplo, n, a.data(), ipiv.data(), info);
        if (which == Which::packed_unblocked) routine_call::hptf2(uplo, n, a.data(), ipiv.data(), info);
        return info;
      }
    }
    if (which == Which::blocked) routine_call::sytrf(uplo, n, A, ipiv.data(), work.data(), lwork, info);
    if (which == Which::unblocked) routine_call::sytf2(uplo, n, A, ipiv.data(), info);
    if (which == Which::packed) routine_call::sptrf(uplo, n, a.data(), ipiv.data(), info);
    if (which == Which::packed_unblocked) routine_call::sptf2(uplo, n, a.data(), ipiv.data(), info);
    return info;
  }
  bool unchanged() const { return a.unchanged() && ipiv.unchanged() && work.unchanged(); }
};

template <Scalar T, bool hermitian, typename FactorCall<T>::Which which_one>
struct FactorCallOf : FactorCall<T> {
  FactorCallOf() : FactorCall<T>{hermitian, which_one} {}
};

template <Scalar T, bool hermitian>
void expect_factor_checks(const std::string& first) {
  using Which = typename FactorCall<T>::Which;
  using Blocked = FactorCallOf<T, hermitian, Which::blocked>;
  using Unblocked = FactorCallOf<T, hermitian, Which::unblocked>;
  using Packed = FactorCallOf<T, hermitian, Which::packed>;
  using PackedUnblocked = FactorCallOf<T, hermitian, Which::packed_unblocked>;
  expect_argument_checks<Blocked>(reported_name<T>(first + (hermitian ? "ETRF" : "YTRF")),
                                  {{1, [](auto& c) { c.uplo = 'N'; }},
                                   {2, [](auto& c) { c.n = -1; }},
                                   {4, [](auto& c) { c.lda = 2; }},
                                   {7, [](auto& c) { c.lwork = 0; }},
                                   {7, [](auto& c) { c.lwork = -2; }}});
  expect_argument_checks<Unblocked>(
      reported_name<T>(first + (hermitian ? "ETF2" : "YTF2")),
      {{1, [](auto& c) { c.uplo = 'N'; }}, {2, [](auto& c) { c.n = -1; }}, {4, [](auto& c) { c.lda = 2; }}});
  expect_argument_checks<Packed>(reported_name<T>(first + "PTRF"),
                                 {{1, [](auto& c) { c.uplo = 'N'; }}, {2, [](auto& c) { c.n = -1; }}});
  expect_argument_checks<PackedUnblocked>(reported_name<T>(first + "PTF2"),
                                          {{1, [](auto& c) { c.uplo = 'N'; }}, {2, [](auto& c) { c.n = -1; }}});
}

TYPED_TEST(IndefiniteFactor, ChecksItsArguments) {
  using T = TypeParam;
  expect_factor_checks<T, false>("S");
  if constexpr (ComplexScalar<T>) expect_factor_checks<T, true>("H");
}

}  // namespace
}  // namespace nuv::test
