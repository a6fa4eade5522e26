// QR factorisation with column pivoting: what geqp3 and geqpf find out about a matrix.

#include <numeric>

#include "layer.hpp"
#include "orthogonal/pivoted.hpp"
#include "support/described_matrices.hpp"
#include "support/reported_errors.hpp"
#include "support/sanitized.hpp"

namespace nuv::test {
namespace {

template <class T>
class PivotedQr : public ReportingTest {
 protected:
  GuardedMatrix<T> matrix(const Shape& shape) { return random_matrix<T>(random, shape.m, shape.n, padded(shape.m)); }

  Random random{83};
};
TYPED_TEST_SUITE(PivotedQr, Precisions, PrecisionLetter);

/// Workspace in which panels have any width that they may want.
template <Scalar T>
Int ample_lwork(Int n) {
  return lwork_of_panels<T>(n, 130);
}

/// The least order of square matrices of which panels are made: they have more than 12500 elements, in real single
/// precision more than 25000.
template <Scalar T>
constexpr Int order_of_panels = std::same_as<T, float> ? 159 : 112;

/// A matrix of somewhat more, which takes several panels.
template <Scalar T>
constexpr Shape shape_of_panels{order_of_panels<T> + 11, order_of_panels<T> + 1};

/// Both sides of where there are no more panels: those orders, and 4000 rows.
template <Scalar T>
std::vector<Shape> shapes() {
  constexpr Int order = order_of_panels<T>;
  std::vector<Shape> all = {{1, 1},         {1, 5},   {5, 1},     {2, 2},     {9, 7},
                            {7, 9},         {16, 16}, {40, 33},   {33, 40},   {order - 1, order - 1},
                            {order, order}, {30, 90}, {4000, 20}, {4001, 20}, {4001, 25},
                            {60, 310},      {90, 310}};
  if (is_sanitized) std::erase_if(all, [](const Shape& shape) { return shape.m * shape.n > 13000; });
  return all;
}

TYPED_TEST(PivotedQr, FactorsMatricesOfAllShapes) {
  using T = TypeParam;
  for (const Shape& shape : shapes<T>()) {
    SCOPED_TRACE(to_string(shape));
    const GuardedMatrix<T> A = this->matrix(shape);
    expect_pivoted(factor_by_panels(A, ample_lwork<T>(shape.n)));
    if (shape.m >= 4000) continue;  // one by one no size is another
    expect_pivoted(factor_by_panels(A, least_pivoted_lwork<T>(shape.n)));
    expect_pivoted(factor_by_columns(A));
  }
}

TYPED_TEST(PivotedQr, HasADecreasingDiagonal) {
  using T = TypeParam;
  DescribedMatrices described(17);
  for (const Description& description : matrices_of_full_rank) {
    for (const Shape& shape : {Shape{40, 40}, {60, 40}, {40, 60}, shape_of_panels<T>}) {
      if (is_sanitized && shape.m > 100) continue;
      SCOPED_TRACE(std::string(description.name) + ", " + to_string(shape));
      const GuardedMatrix<T> A = described.general<T>(description, shape.m, shape.n, padded(shape.m));
      for (const Pivoted<T>& pivoted : {factor_by_panels(A, ample_lwork<T>(shape.n)), factor_by_columns(A)}) {
        expect_pivoted(pivoted);
        for (Int k = 1; k < pivoted.f.k(); ++k) {
          EXPECT_LE(pivoted.diagonal(k + 1), pivoted.diagonal(k) * trust_in_norms<T>()) << k;
        }
      }
    }
  }
}

/// With random signs the longest column is the same in any arithmetic.
TYPED_TEST(PivotedQr, TakesTheLongestColumnFirst) {
  using T = TypeParam;
  GuardedMatrix<T> A = this->matrix({6, 5});
  for (Int i = 1; i <= 6; ++i) A(i, 4) *= 16;
  A.seal();
  for (const Pivoted<T>& pivoted : {factor_by_panels(A, ample_lwork<T>(5)), factor_by_columns(A)}) {
    EXPECT_EQ(pivoted.permutation[0], 4);
    expect_pivoted(pivoted);
  }
}

// ---------------------------------------------------------------------------------------------------------------- rank

template <Scalar T>
Int rank_by_diagonal(const Pivoted<T>& pivoted, double tolerance) {
  Int rank = 0;
  while (rank < pivoted.f.k() && pivoted.diagonal(rank + 1) > tolerance * pivoted.diagonal(1)) ++rank;
  return rank;
}

TYPED_TEST(PivotedQr, ShowsTheRankOfMatricesOfIntegers) {
  using T = TypeParam;
  const auto [rows, columns] = shape_of_panels<T>;
  const struct {
    Int m, n, rank;
  } cases[] = {{5, 5, 1}, {20, 12, 3}, {12, 20, 7}, {60, 40, 11}, {rows, columns, 33}, {rows, columns, 16}};
  for (const auto& [m, n, rank] : cases) {
    if (is_sanitized && m > 100) continue;
    SCOPED_TRACE(to_string(Shape{m, n}) + ", rank " + std::to_string(rank));
    const GuardedMatrix<T> A = matrix_of_rank<T>(this->random, m, n, rank);
    for (const Pivoted<T>& pivoted : {factor_by_panels(A, ample_lwork<T>(n)), factor_by_columns(A)}) {
      expect_factored(pivoted.f);
      EXPECT_EQ(rank_by_diagonal(pivoted, (n + 10) * double(epsilon<T>)), rank);
    }
  }
}

TYPED_TEST(PivotedQr, ShowsTheRankOfDescribedMatrices) {
  using T = TypeParam;
  DescribedMatrices described(29);
  for (const Description& description : rank_deficient_matrices) {
    for (const Shape& shape : {Shape{50, 50}, {50, 40}, {40, 50}, shape_of_panels<T>}) {
      if (is_sanitized && shape.m > 100) continue;
      SCOPED_TRACE(std::string(description.name) + ", " + to_string(shape));
      const GuardedMatrix<T> A = described.general<T>(description, shape.m, shape.n, padded(shape.m));
      const Pivoted<T> pivoted = factor_by_panels(A, ample_lwork<T>(shape.n));
      expect_factored(pivoted.f);
      EXPECT_EQ(rank_by_diagonal(pivoted, std::pow(double(epsilon<T>), 0.65)),
                DescribedMatrices::rank(description, std::min(shape.m, shape.n)));
    }
  }
}

/// All columns of Kahan's matrix have the same norm, at each step. Made a little shorter from one to the next, they are
/// taken as they come, and R is the matrix itself, whose last diagonal element says nothing about its least singular
/// value (W. Kahan, "Numerical linear algebra", Canad. Math. Bull. 9, 1966).
template <Scalar T>
GuardedMatrix<T> kahan_matrix(Int n, double cosine, double shorter) {
  const double sine = std::sqrt(1 - cosine * cosine);
  GuardedMatrix<T> A(n, n, n + 1);
  for (Int j = 1; j <= n; ++j) {
    const double scale = std::pow(1 - shorter, j);
    for (Int i = 1; i <= n; ++i) {
      A(i, j) = T(Real<T>(i > j ? 0 : std::pow(sine, i - 1) * scale * (i == j ? 1 : -cosine)));
    }
  }
  A.seal();
  return A;
}

TYPED_TEST(PivotedQr, LeavesTheMatrixOfKahanInItsOrder) {
  using T = TypeParam;
  // By more than the digits that a norm may lose.
  const double shorter = std::same_as<Real<T>, float> ? 1e-2 : 1e-6;
  // 0.6 makes norms fall so fast that they are computed anew.
  for (const Int n : {20, 90, order_of_panels<T> + 6}) {
    for (const double cosine : {0.1, 0.285, 0.6}) {
      if (is_sanitized && n > 100) continue;
      SCOPED_TRACE(testing::Message() << n << " columns, cosine " << cosine);
      const GuardedMatrix<T> A = kahan_matrix<T>(n, cosine, shorter);
      for (const Pivoted<T>& pivoted : {factor_by_panels(A, ample_lwork<T>(n)), factor_by_columns(A)}) {
        expect_pivoted(pivoted);
        EXPECT_TRUE(std::ranges::is_sorted(pivoted.permutation));
        EXPECT_TRUE(pivoted.f.factors.unchanged());
      }
    }
  }
}

TYPED_TEST(PivotedQr, OfZeroIsZeroInItsOrder) {
  using T = TypeParam;
  GuardedMatrix<T> A(6, 5, 7);
  for (Int j = 1; j <= 5; ++j) std::fill_n(&A(1, j), 6, T(0));
  A.seal();
  for (const Pivoted<T>& pivoted : {factor_by_panels(A, ample_lwork<T>(5)), factor_by_columns(A)}) {
    EXPECT_EQ(pivoted.permutation, (std::vector<Int>{1, 2, 3, 4, 5}));
    EXPECT_TRUE(pivoted.f.factors.unchanged());
    for (Int i = 1; i <= 5; ++i) EXPECT_EQ(pivoted.f.tau(i), T(0));
  }
}

// ------------------------------------------------------------------------------------------------------- fixed columns

TYPED_TEST(PivotedQr, PutsFixedColumnsInFrontAsTheyCome) {
  using T = TypeParam;
  const struct {
    Shape shape;
    std::vector<Int> fixed;
  } cases[] = {{{9, 7}, {1}},           {{9, 7}, {7}},          {{9, 7}, {2, 3, 6}},       {{9, 7}, {1, 2, 5}},
               {{4, 7}, {3, 5}},        {{4, 7}, {2, 4, 6, 7}}, {{4, 7}, {1, 3, 4, 6, 7}}, {{170, 165}, {2, 160, 165}},
               {{40, 30}, {30, 11, 4}}, {{7, 5}, {1, 2, 3, 4}}, {{7, 5}, {2, 3, 4, 5}}};
  for (const auto& [shape, fixed] : cases) {
    if (is_sanitized && shape.m > 100) continue;
    SCOPED_TRACE(to_string(shape) + ", " + std::to_string(fixed.size()) + " fixed");
    GuardedMatrix<T> A = this->matrix(shape);
    // A column that would be first were it not for those.
    for (Int i = 1; i <= shape.m; ++i) A(i, 5) *= 4;
    A.seal();
    const Int count = Int(fixed.size());
    std::vector<Int> in_order = fixed;
    std::ranges::sort(in_order);
    for (const Pivoted<T>& pivoted :
         {factor_by_panels(A, ample_lwork<T>(shape.n), fixed), factor_by_columns(A, fixed)}) {
      expect_pivoted(pivoted, count);
      EXPECT_EQ(std::vector<Int>(pivoted.permutation.begin(), pivoted.permutation.begin() + count), in_order);
      const bool is_free = std::ranges::find(fixed, 5) == fixed.end();
      if (is_free && count < std::min(shape.m, shape.n)) {
        EXPECT_EQ(pivoted.permutation[std::size_t(count)], 5);
      }
    }
  }
}

TYPED_TEST(PivotedQr, OfFixedColumnsAloneIsTheOneWithoutPivoting) {
  using T = TypeParam;
  for (const Shape& shape : {Shape{9, 7}, {7, 7}, {7, 9}, {40, 33}, {130, 120}}) {
    SCOPED_TRACE(to_string(shape));
    const GuardedMatrix<T> A = this->matrix(shape);
    std::vector<Int> all(std::size_t(shape.n));
    std::iota(all.begin(), all.end(), 1);
    const Int lwork = ample_lwork<T>(shape.n);
    const Pivoted<T> pivoted = factor_by_panels(A, lwork, all), by_columns = factor_by_columns(A, all);
    EXPECT_EQ(pivoted.permutation, all);
    EXPECT_EQ(by_columns.permutation, all);
    expect_pivoted(pivoted, shape.n);
    expect_pivoted(by_columns, shape.n);
    if (shape.m < shape.n) continue;  // of a wide matrix the square in front is factored first
    expect_same(pivoted.f, factor(qr_form, A, lwork, [](auto&&... arguments) { layer::geqrf(arguments...); }));
    expect_same(by_columns.f, factor_unblocked(qr_form, A));
  }
}

}  // namespace
}  // namespace nuv::test
