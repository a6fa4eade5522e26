// The order of work of the blocked factorisations by reflectors, seen by the calls that reach the thread layer and by
// equal bits.

#include "blas.hpp"
#include "orthogonal/expected_calls.hpp"
#include "orthogonal/factored.hpp"
#include "solvers/recording_layer.hpp"
#include "support/reported_errors.hpp"
#include "support/sanitized.hpp"

namespace nuv::test {
namespace {

using Calls = std::vector<std::string>;

template <class T>
class QrOrder : public ReportingTest {
 protected:
  GuardedMatrix<T> matrix(const Shape& shape) { return random_matrix<T>(random, shape.m, shape.n, padded(shape.m)); }

  Random random{71};
};
TYPED_TEST_SUITE(QrOrder, Precisions, PrecisionLetter);

// ------------------------------------------------------------------------------------------------------------- laqrf

/// A panel as laqrf leaves it.
template <Scalar T>
struct FactoredPanel {
  GuardedMatrix<T> factors, t;
  GuardedVector<T> tau;
  Calls calls;
};

template <Scalar T, class Routine>
FactoredPanel<T> factor_panel(const GuardedMatrix<T>& A, Routine routine) {
  const Int m = A.rows(), n = A.columns(), k = std::min(m, n);
  FactoredPanel<T> panel{A, GuardedMatrix<T>(n, n, n + 3), GuardedVector<T>(k), {}};
  take_recorded_calls();
  routine(m, n, Matrix<T>(panel.factors), panel.tau.data(), Matrix<T>(panel.t));
  panel.calls = take_recorded_calls_with_factors();
  return panel;
}

template <Scalar T>
FactoredPanel<T> factor_panel(const GuardedMatrix<T>& A) {
  return factor_panel(A, [](auto&&... arguments) { routine_call::laqrf(arguments...); });
}

template <Scalar T>
void expect_same_panel(const FactoredPanel<T>& panel, const FactoredPanel<T>& expected) {
  EXPECT_TRUE(panel.factors.same_as(expected.factors));
  EXPECT_TRUE(panel.tau.same_as(expected.tau));
  EXPECT_TRUE(panel.t.same_as(expected.t));
}

/// One level of the recursion. What lies below the diagonal blocks of t is workspace of the updates.
template <Scalar T>
void panel_by_blocks(Int nb, Int m, Int n, Matrix<T> A, T* tau, Matrix<T> t) {
  const Int k = std::min(m, n);
  for (Int j = 1; j <= k; j += nb) {
    const Int ib = std::min(nb, k - j + 1), before = j - 1, behind = j + ib;
    const Matrix<T> V2 = block(A, j, j), T12 = block(t, 1, j), T22 = block(t, j, j);
    routine_call::laqrf(m - j + 1, ib, V2, tau + j - 1, T22);
    routine_call::larfb('L', 'C', 'F', 'C', m - j + 1, n - behind + 1, ib, V2, T22, block(A, j, behind),
                        block(t, behind, j));
    for (Int r = 1; r <= before; ++r) {
      for (Int c = j; c < behind; ++c) t(r, c) = conjugate(A(c, r));
    }
    blas::trmm('R', 'L', 'N', 'U', before, ib, T(1), V2, T12);
    blas::gemm('C', 'N', before, ib, m - behind + 1, T(1), block(A, behind, 1), block(A, behind, j), T(1), T12);
    blas::trmm('L', 'U', 'N', 'N', before, ib, T(1), t, T12);
    blas::trmm('R', 'U', 'N', 'N', before, ib, T(-1), T22, T12);
  }
}

TYPED_TEST(QrOrder, OfAPanelLinksEachBlockByFourProducts) {
  using T = TypeParam;
  for (const Shape& shape : {Shape{351, 17}, {400, 33}, {360, 48}, {351, 100}, {360, 400}, {300, 257}, {340, 300}}) {
    if (is_sanitized && shape.n > 100) continue;
    SCOPED_TRACE(to_string(shape));
    const GuardedMatrix<T> A = this->matrix(shape);
    const Int nb = shape.m <= 350 ? 256 : 16;
    const FactoredPanel<T> panel = factor_panel(A);
    const FactoredPanel<T> by_hand =
        factor_panel(A, [&](auto&&... arguments) { panel_by_blocks<T>(nb, arguments...); });
    EXPECT_EQ(panel.calls, by_hand.calls);
    expect_same_panel(panel, by_hand);
    ExpectedCalls<T> expected;
    expected.laqrf(shape.m, shape.n);
    EXPECT_EQ(panel.calls, expected.list());
  }
}

TYPED_TEST(QrOrder, OfAPanelAsksForTheseProducts) {
  using T = TypeParam;
  const std::string t(1, ComplexScalar<T> ? 'C' : 'T');
  // Two blocks of 16 columns and one of 2, each followed by its update and, but for the first, by its link.
  const Calls expected = {"trmm RLNU 18 16, 1",         "gemm " + t + "N 18 16 344, 1, 1",
                          "trmm RUNN 18 16, 1",         "gemm N" + t + " 344 18 16, -1, 1",
                          "trmm RL" + t + "U 18 16, 1",

                          "trmm RLNU 2 16, 1",          "gemm " + t + "N 2 16 328, 1, 1",
                          "trmm RUNN 2 16, 1",          "gemm N" + t + " 328 2 16, -1, 1",
                          "trmm RL" + t + "U 2 16, 1",  "trmm RLNU 16 16, 1",
                          "gemm CN 16 16 328, 1, 1",    "trmm LUNN 16 16, 1",
                          "trmm RUNN 16 16, -1",

                          "trmm RLNU 32 2, 1",          "gemm CN 32 2 326, 1, 1",
                          "trmm LUNN 32 2, 1",          "trmm RUNN 32 2, -1"};
  EXPECT_EQ(factor_panel(this->matrix({360, 34})).calls, expected);
}

TYPED_TEST(QrOrder, OfABaseFormsThePlainFactorInDoubleAlone) {
  using T = TypeParam;
  for (const Shape& shape : {Shape{350, 70}, {350, 256}, {20, 5}, {400, 16}, {12, 30}}) {
    SCOPED_TRACE(to_string(shape));
    const GuardedMatrix<T> A = this->matrix(shape);
    const FactoredPanel<T> expected = factor_panel(A, [](Int m, Int n, Matrix<T> a, T* tau, Matrix<T> t) {
      GuardedVector<T> work(n);
      Int info = 99;
      routine_call::geqr2(m, n, a, tau, work.data(), info);
      if constexpr (std::same_as<T, double>) {
        routine_call::larf2('F', 'C', m, std::min(m, n), a, tau, t);
      } else {
        routine_call::larft('F', 'C', m, std::min(m, n), a, tau, t);
      }
    });
    const FactoredPanel<T> panel = factor_panel(A);
    EXPECT_EQ(panel.calls, expected.calls);
    EXPECT_EQ(panel.calls.empty(), (std::same_as<T, double>) || std::min(shape.m, shape.n) <= 16);
    expect_same_panel(panel, expected);
  }
}

// ------------------------------------------------------------------------------------------------------------- geqrf

/// So many panels of one width.
struct Panels {
  Int count, width;
};

/// Expects that xgeqrf takes these panels, and leaves the rest to code without level 3. A last panel that reaches the
/// last column has no update: it shows by its factor, which nothing overwrites but for the first element.
template <Scalar T>
void expect_panels(const GuardedMatrix<T>& A, Int lwork, const std::vector<Panels>& panels) {
  const Int m = A.rows(), n = A.columns();
  ExpectedCalls<T> expected;
  Int i = 1;
  for (const auto& [count, width] : panels) {
    for (Int p = 0; p < count; ++p, i += width) {
      expected.laqrf(m - i + 1, width);
      expected.larfb('L', 'C', {'F', 'C'}, m - i + 1, n - i - width + 1, width);
    }
  }
  take_recorded_calls();
  const Factored<T> f = factor(qr_form, A, lwork, [](auto&&... arguments) { x_variant::geqrf(arguments...); });
  EXPECT_EQ(take_recorded_calls_with_factors(), expected.list());
  if (i <= n) return;
  const Int width = panels.back().width;
  for (Int j = 2; j <= width; ++j) EXPECT_TRUE(same_bits(f.work((j - 1) * n + j), f.tau(n - width + j))) << j;
}

TYPED_TEST(QrOrder, AsksForWidthAndCrossoverAnewBeforeEachPanel) {
  using T = TypeParam;
  const bool is_single = std::same_as<T, float>;
  // Of 400 columns 352 and 304 are left behind panels of 48, 280 behind one of 24, and then the width is 16 to where
  // the crossover is reached: with at most 12500 elements, or in single precision 25000, left. What counts is the
  // number of reflectors, not of columns.
  for (const Int n : {400, 460}) {
    const Int last = is_single ? 8 : 11;
    expect_panels(this->matrix({400, n}), 48 * n, {{2, 48}, {1, 24}, {last, 16}});
  }
  // As few columns as 8 are left to the unblocked code, however many rows they have.
  expect_panels(this->matrix({2000, 24}), 16 * 24, {{1, 16}});
  // Of 9 and more a panel is made, narrower than the width.
  expect_panels(this->matrix({4100, 28}), 16 * 28, {{1, 16}, {1, 12}});
  expect_panels(this->matrix({4100, 25}), 16 * 25, {{1, 16}, {1, 9}});
}

TYPED_TEST(QrOrder, TakesNarrowPanelsInAShortWorkspace) {
  using T = TypeParam;
  const bool is_single = std::same_as<T, float>;
  // The width of 20 holds to where 300 columns are left.
  for (const Int lwork : {20 * 400, 20 * 400 + 399}) {
    expect_panels(this->matrix({400, 400}), lwork, {{5, 20}, {is_single ? 9 : 12, 16}});
  }
  // Single columns, to where r by 20 + r elements are no longer more than 12500 or, in single precision, 25000.
  expect_panels(this->matrix({200, 180}), 180, {{is_single ? 32 : 78, 1}});
  expect_panels(this->matrix({200, 180}), 2 * 180 - 1, {{is_single ? 32 : 78, 1}});
}

TYPED_TEST(QrOrder, GoesThroughTheLayerByItsOrdinaryName) {
  take_recorded_calls();
  factor(qr_form, this->matrix({9, 7}), 7, [](auto&&... arguments) { layer::geqrf(arguments...); });
  EXPECT_EQ(take_recorded_calls(), Calls{"geqrf 9 7"});
}

// ------------------------------------------------------------------------------------------------- gelqf, geqlf, gerqf

/// Blocks of that width up to a rest of `left` reflectors: the last ones of LQ, the first ones of QL and RQ. A block
/// that nothing is left behind needs no factor.
template <Scalar T>
void add_blocks(ExpectedCalls<T>& expected, const Form& form, Int m, Int n, Int width, Int left) {
  const Int k = std::min(m, n), length = form.columnwise() ? m : n, lines = form.columnwise() ? n : m;
  for (Int done = 0; k - done > left; done += width) {
    const Int order = length - done, rest = lines - done - width;
    if (rest == 0) continue;
    expected.larft(form, order, width);
    if (form.columnwise()) {
      expected.larfb('L', 'C', form, order, rest, width);
    } else {
      expected.larfb('R', 'N', form, rest, order, width);
    }
  }
}

TYPED_TEST(QrOrder, OfLqQlAndRqTakesBlocksUntilTheCrossoverIsReached) {
  using T = TypeParam;
  // The best width is 32 as is the number of reflectors from which on no block is taken any more.
  const struct {
    Int k, width, left;
  } cases[] = {{32, 32, 32}, {33, 32, 1},  {64, 32, 32}, {65, 32, 1}, {96, 32, 32}, {97, 32, 1},
               {70, 5, 30},  {72, 5, 32},  {73, 5, 28},  {40, 31, 9}, {70, 2, 32},  {71, 2, 31},
               {70, 1, 70},  {100, 31, 7}, {64, 3, 31},  {65, 3, 32}, {66, 3, 30}};
  for (const Form& form : {lq_form, ql_form, rq_form}) {
    for (const auto& [k, width, left] : cases) {
      for (const Shape& shape : {Shape{k, k}, {k, k + 20}, {k + 20, k}}) {
        const Int lines = lines_of(form, shape);
        SCOPED_TRACE(to_string(form) + ", " + to_string(shape) + ", width " + std::to_string(width));
        ExpectedCalls<T> expected;
        add_blocks(expected, form, shape.m, shape.n, width, left);
        // A workspace of one line less than the next width needs.
        const Int lwork = (width + 1) * lines - 1;
        take_recorded_calls();
        factor(form, this->matrix(shape), lwork, [&](auto&&... arguments) { factor_by_blocks<T>(form, arguments...); });
        EXPECT_EQ(take_recorded_calls_with_factors(), expected.list());
      }
    }
  }
}

}  // namespace
}  // namespace nuv::test
