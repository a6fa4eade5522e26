// QR factorisation: geqrf by the layer stub and by its serial body, laqrf, geqr2.

#include <set>

#include "orthogonal/factored.hpp"
#include "support/argument_checks.hpp"
#include "support/described_matrices.hpp"
#include "support/sanitized.hpp"

namespace nuv::test {
namespace {

template <class T>
class Qr : public ReportingTest {
 protected:
  GuardedMatrix<T> matrix(const Shape& shape) { return random_matrix<T>(random, shape.m, shape.n, padded(shape.m)); }

  Random random{51};
};
TYPED_TEST_SUITE(Qr, Precisions, PrecisionLetter);

/// Shapes on both sides of the sizes where block widths and crossovers change.
std::vector<Shape> shapes() {
  std::vector<Shape> all = {{0, 0},     {0, 5},     {5, 0},    {1, 1},    {1, 40},   {40, 1},    {2, 2},
                            {20, 300},  {300, 20},  {500, 8},  {500, 9},  {1600, 8}, {5000, 16}, {5000, 17},
                            {4100, 28}, {4100, 40}, {700, 50}, {360, 60}, {60, 360}, {390, 350}, {420, 351}};
  for (const Int n : {8, 15, 16, 17, 24, 25, 32, 33, 48, 49, 64, 65, 100, 111, 112, 127, 128, 129, 157, 158, 159}) {
    for (const Shape& shape : {Shape{n, n}, {n + 1, n}, {n, n + 1}, {3 * n, n}, {n, 3 * n}}) all.push_back(shape);
  }
  for (const Int n : {255, 256, 257, 300, 301, 350, 351, 400}) {
    all.push_back({n, n});
    all.push_back({n + 30, n});
    all.push_back({n, n + 30});
  }
  all.push_back({440, 810});
  if (is_sanitized) std::erase_if(all, [](const Shape& shape) { return shape.m * shape.n > 40000; });
  return all;
}

Int ask(Int ispec, const std::string& name, Int n1, Int n2) {
  return routine_call::ilaenv(ispec, {name.data(), Int(name.size())}, " ", n1, n2, -1, -1);
}

/// The workspace that lets a factorisation take its best block width.
template <Scalar T>
Int best_lwork(const Shape& shape) {
  T work(0);
  Int info = 99;
  layer::geqrf(shape.m, shape.n, Matrix<T>(nullptr, std::max(1, shape.m)), nullptr, &work, -1, info);
  EXPECT_EQ(info, 0);
  return Int(std::real(work));
}

template <Scalar T>
Factored<T> factor(const GuardedMatrix<T>& A, Int lwork) {
  return factor(qr_form, A, lwork, [](auto&&... arguments) { layer::geqrf(arguments...); });
}

TYPED_TEST(Qr, FactorsMatricesOfAllShapes) {
  using T = TypeParam;
  for (const Shape& shape : shapes()) {
    SCOPED_TRACE(to_string(shape));
    const Int lwork = std::max(1, best_lwork<T>(shape));
    const Factored<T> f = factor(this->matrix(shape), lwork);
    expect_factored(f);
    EXPECT_EQ(f.work(1), T(Real<T>(best_lwork<T>(shape))));
  }
}

TYPED_TEST(Qr, FactorsOneReflectorAfterAnother) {
  for (const Shape& shape : shapes()) {
    if (shape.m * shape.n > 30000) continue;
    SCOPED_TRACE(to_string(shape));
    expect_factored(factor_unblocked(qr_form, this->matrix(shape)));
  }
}

/// The factorisation by panels, with the calls of the panels and updates made from here.
template <Scalar T>
void by_panels(Int m, Int n, Matrix<T> A, T* tau, T* work, Int lwork, Int& info) {
  info = 0;
  const std::string name = reported_name<T>("GEQRF");
  const Int k = std::min(m, n);
  Int nb = ask(1, name, m, n);
  Int nx = nb < k ? std::max(nb, ask(3, name, m, n)) : k;
  if (nx < k) nb = std::min(nb, lwork / n);
  Int i = 1;
  for (; nx <= k - i; nx = ask(3, name, m - i + 1, k - i + 1)) {
    if (i > 1) nb = std::min(nb, ask(1, name, m - i + 1, k - i + 1));
    const Int ib = std::min(nb, k - i + 1);
    const Matrix<T> panel = block(A, i, i), F{work, n}, W{work + ib, n};
    routine_call::laqrf(m - i + 1, ib, panel, tau + i - 1, F);
    routine_call::larfb('L', 'C', 'F', 'C', m - i + 1, n - i - ib + 1, ib, panel, F, block(A, i, i + ib), W);
    i += ib;
  }
  routine_call::geqr2(m - i + 1, n - i + 1, block(A, i, i), tau + i - 1, work, info);
}

TYPED_TEST(Qr, TakesPanelsThatTheWorkspaceHolds) {
  using T = TypeParam;
  for (const Shape& shape : {Shape{10, 10}, {100, 100}, {200, 180}, {180, 200}, {400, 30}, {330, 320}, {400, 360}}) {
    const Int n = shape.n;
    const Int best = best_lwork<T>(shape);
    const GuardedMatrix<T> A = this->matrix(shape);
    std::set<Int> sizes = {n, best};
    for (const Int lwork : {2 * n - 1, 2 * n, 5 * n + 1, best - 1, best + 1}) {
      if (lwork >= n) sizes.insert(lwork);
    }
    for (const Int lwork : sizes) {
      if (is_sanitized && n > 200) continue;
      SCOPED_TRACE(to_string(shape) + ", lwork " + std::to_string(lwork));
      const Factored<T> f = factor(A, lwork);
      expect_factored(f);
      expect_same(f, factor(qr_form, A, lwork, by_panels<T>));
      EXPECT_EQ(f.work(1), T(Real<T>(best)));
    }
  }
}

TYPED_TEST(Qr, AsksForTheWorkspaceOfItsPanels) {
  using T = TypeParam;
  const bool is_single = std::same_as<T, float>;
  const struct {
    Shape shape;
    Int width, single_width;
  } cases[] = {{{0, 7}, 1, 1},       {{7, 0}, 1, 1},       {{16, 16}, 1, 1},     {{17, 17}, 1, 1},
               {{111, 111}, 1, 1},   {{112, 112}, 16, 1},  {{158, 158}, 16, 1},  {{159, 159}, 16, 16},
               {{300, 300}, 16, 16}, {{301, 301}, 24, 24}, {{351, 351}, 48, 48}, {{20, 900}, 1, 1},
               {{900, 9}, 1, 1},     {{2000, 20}, 16, 16}, {{4001, 17}, 16, 16}, {{100, 150}, 16, 1},
               {{150, 200}, 16, 16}, {{320, 400}, 48, 48}};
  for (const auto& [shape, width, single_width] : cases) {
    EXPECT_EQ(best_lwork<T>(shape), (is_single ? single_width : width) * shape.n) << to_string(shape);
  }
}

TYPED_TEST(Qr, WritesNothingButTheAnswerToAQuestion) {
  using T = TypeParam;
  GuardedMatrix<T> A(20, 15, 20);
  GuardedVector<T> tau(15), work(15);
  Int info = 99;
  layer::geqrf(20, 15, A, tau.data(), work.data(), -1, info);
  EXPECT_EQ(info, 0);
  EXPECT_TRUE(A.unchanged());
  EXPECT_TRUE(tau.unchanged());
  EXPECT_TRUE(work.unchanged_outside(1, 1));
}

TYPED_TEST(Qr, AnswersTheQuestionInItsSerialBodyToo) {
  using T = TypeParam;
  for (const Shape& shape : {Shape{20, 15}, {15, 20}, {170, 165}, {0, 4}, {4, 0}}) {
    GuardedMatrix<T> A(shape.m, shape.n, padded(shape.m));
    GuardedVector<T> tau(15), work(15);
    Int info = 99;
    x_variant::geqrf(shape.m, shape.n, A, tau.data(), work.data(), -1, info);
    EXPECT_EQ(info, 0);
    EXPECT_EQ(work(1), T(Real<T>(shape.n > 100 ? 16 * shape.n : shape.n)));
    EXPECT_TRUE(A.unchanged());
    EXPECT_TRUE(tau.unchanged());
    EXPECT_TRUE(work.unchanged_outside(1, 1));
  }
}

TYPED_TEST(Qr, ChecksNoArgumentsInItsSerialBody) {
  using T = TypeParam;
  // Sizes below zero are as good as zero.
  for (const Shape& shape : {Shape{-1, 3}, {3, -1}, {-2, -3}}) {
    GuardedMatrix<T> A(4, 4, 4);
    GuardedVector<T> tau(4), work(4);
    Int info = 99;
    x_variant::geqrf(shape.m, shape.n, A, tau.data(), work.data(), 4, info);
    EXPECT_EQ(info, 0);
    EXPECT_EQ(work(1), T(Real<T>(shape.n)));
    EXPECT_TRUE(work.unchanged_outside(1, 1));
    EXPECT_TRUE(A.unchanged());
    EXPECT_TRUE(tau.unchanged());
  }
  // Without panels the size of the workspace does not matter.
  const GuardedMatrix<T> A = this->matrix({9, 4});
  const Factored<T> f = factor(A, 4);
  for (const Int lwork : {3, 0, -2}) {
    GuardedMatrix<T> result = A;
    GuardedVector<T> tau(4), work(4);
    Int info = 99;
    x_variant::geqrf(9, 4, result, tau.data(), work.data(), lwork, info);
    EXPECT_EQ(info, 0);
    EXPECT_EQ(work(1), T(4));
    EXPECT_TRUE(result.same_as(f.factors));
    EXPECT_TRUE(tau.same_as(f.tau));
  }
  // The unblocked code has checks of its own, of whose findings the caller hears nothing.
  GuardedMatrix<T> unchanged = A;
  GuardedVector<T> tau(4), work(4);
  Int info = 99;
  x_variant::geqrf(9, 4, {unchanged.data(), 8}, tau.data(), work.data(), 4, info);
  EXPECT_EQ(info, 0);
  EXPECT_EQ(take_error_reports(), (std::vector<ErrorReport>{{reported_name<T>("GEQR2"), 4}}));
  EXPECT_TRUE(unchanged.unchanged());
  EXPECT_TRUE(tau.unchanged());
}

TYPED_TEST(Qr, OfAnEmptyMatrixIsNoWork) {
  using T = TypeParam;
  for (const Shape& shape : {Shape{0, 4}, {4, 0}, {0, 0}}) {
    GuardedMatrix<T> A(4, 4, 4);
    GuardedVector<T> tau(4), work(4);
    Int info = 99;
    x_variant::geqrf(shape.m, shape.n, A, tau.data(), work.data(), std::max(1, shape.n), info);
    EXPECT_EQ(info, 0);
    EXPECT_EQ(work(1), T(Real<T>(shape.n)));
    EXPECT_TRUE(work.unchanged_outside(1, 1));
    EXPECT_TRUE(A.unchanged());
    EXPECT_TRUE(tau.unchanged());
  }
}

TYPED_TEST(Qr, IsTheSameByTheLayerAndByTheSerialBody) {
  using T = TypeParam;
  for (const Shape& shape : {Shape{30, 20}, {150, 150}, {170, 165}, {400, 120}, {120, 400}}) {
    const GuardedMatrix<T> A = this->matrix(shape);
    const Int lwork = best_lwork<T>(shape);
    expect_same(factor(A, lwork),
                factor(qr_form, A, lwork, [](auto&&... arguments) { x_variant::geqrf(arguments...); }));
  }
}

TYPED_TEST(Qr, LeavesTheRestToTheUnblockedCodeOnceItIsSmall) {
  using T = TypeParam;
  // A tall matrix whose last columns are few: the width of 16 stays, the crossover goes from 8 to 128 as 8 columns are
  // left.
  const Shape shape{2000, 24};
  const GuardedMatrix<T> A = this->matrix(shape);
  const Int lwork = best_lwork<T>(shape);
  EXPECT_EQ(lwork, 16 * shape.n);
  const Factored<T> f = factor(A, lwork);
  expect_factored(f);
  expect_same(f, factor(qr_form, A, lwork, by_panels<T>));
  EXPECT_EQ(f.work(1), T(Real<T>(lwork)));
}

TYPED_TEST(Qr, FactorsColumnsOfVeryDifferentScales) {
  using T = TypeParam;
  for (const Shape& shape : {Shape{12, 9}, {40, 40}, {200, 170}, {400, 36}}) {
    if (is_sanitized && shape.n > 100) continue;
    SCOPED_TRACE(to_string(shape));
    const GuardedMatrix<T> A = badly_scaled_matrix<T>(this->random, true, shape.m, shape.n);
    const Factored<T> f = factor(A, std::max(1, best_lwork<T>(shape)));
    EXPECT_LT(largest_residual_of_a_line(f), threshold);
    EXPECT_LT(orthogonality(f), threshold);
  }
}

// ------------------------------------------------------------------------------------------------------------- laqrf

std::vector<Shape> panels() {
  std::vector<Shape> all = {{1, 1},     {5, 3},    {3, 5},    {20, 16},  {20, 17},  {16, 40},   {100, 64}, {340, 300},
                            {300, 340}, {351, 16}, {351, 17}, {360, 48}, {400, 33}, {1000, 48}, {500, 96}, {360, 400}};
  if (is_sanitized) std::erase_if(all, [](const Shape& shape) { return shape.m * shape.n > 40000; });
  return all;
}

TYPED_TEST(Qr, OfAPanelComesWithTheFactorOfItsReflectors) {
  using T = TypeParam;
  for (const Shape& shape : panels()) {
    SCOPED_TRACE(to_string(shape));
    const auto& [m, n] = shape;
    const Int k = std::min(m, n);
    const GuardedMatrix<T> A = this->matrix(shape);
    GuardedMatrix<T> t(n, k, n + 2);
    const Factored<T> f = factor(qr_form, A, 1, [&](Int rows, Int columns, Matrix<T> a, T* tau, T*, Int, Int& info) {
      info = 0;
      routine_call::laqrf(rows, columns, a, tau, t);
    });
    expect_factored(f);
    EXPECT_TRUE(t.guards_unchanged());
    const WideMatrix<T> V = f.vectors(), X = random_wide<T>(this->random, m, 3);
    const WideMatrix<T> F = wide(t).topRows(k).template triangularView<Eigen::Upper>();
    EXPECT_LT(relative_distance<T>(X - product<T>(V, product<T>(F, product<T>(V.adjoint(), X))), f.times(false, X), m),
              threshold);
  }
}

// ---------------------------------------------------------------------------------------------------- what goes wrong

/// Arguments of a call for a 4 by 3 matrix.
template <Scalar T>
struct Arguments {
  Int m = 4, n = 3, lda = 5, lwork = 3;
  GuardedMatrix<T> A = sealed_matrix();
  GuardedVector<T> tau = GuardedVector<T>(3), work = GuardedVector<T>(3);

  static GuardedMatrix<T> sealed_matrix() {
    Random random(52);
    return random_matrix<T>(random, 4, 3, 5);
  }
  bool unchanged() const { return A.unchanged() && tau.unchanged() && work.unchanged(); }
};

template <Scalar T>
struct GeqrfCall : Arguments<T> {
  Int run() {
    Int info = 99;
    layer::geqrf(this->m, this->n, {this->A.data(), this->lda}, this->tau.data(), this->work.data(), this->lwork, info);
    return info;
  }
};

template <Scalar T>
struct Geqr2Call : Arguments<T> {
  Int run() {
    Int info = 99;
    routine_call::geqr2(this->m, this->n, {this->A.data(), this->lda}, this->tau.data(), this->work.data(), info);
    return info;
  }
};

TYPED_TEST(Qr, ReportsBadArguments) {
  using Call = GeqrfCall<TypeParam>;
  expect_argument_checks<Call>(reported_name<TypeParam>("GEQRF"), {{1, [](Call& call) { call.m = -1; }},
                                                                   {2, [](Call& call) { call.n = -1; }},
                                                                   {4, [](Call& call) { call.lda = 3; }},
                                                                   {7, [](Call& call) { call.lwork = 0; }}});
  for (const Int lwork : {2, -2}) {
    Call call;
    call.lwork = lwork;
    expect_report(call, reported_name<TypeParam>("GEQRF"), 7);
  }
  // The least leading dimension and the least workspace are one, also where there is nothing to do.
  Call no_rows;
  no_rows.m = no_rows.lda = 0;
  expect_report(no_rows, reported_name<TypeParam>("GEQRF"), 4);
  Call no_columns;
  no_columns.n = no_columns.lwork = 0;
  expect_report(no_columns, reported_name<TypeParam>("GEQRF"), 7);
}

/// A question for the workspace.
template <Scalar T>
struct GeqrfQuestion : GeqrfCall<T> {
  GeqrfQuestion() { this->lwork = -1; }
};

TYPED_TEST(Qr, ReportsBadArgumentsOfAQuestion) {
  using Call = GeqrfQuestion<TypeParam>;
  expect_argument_checks<Call>(reported_name<TypeParam>("GEQRF"), {{1, [](Call& call) { call.m = -1; }},
                                                                   {2, [](Call& call) { call.n = -1; }},
                                                                   {4, [](Call& call) { call.lda = 3; }}});
}

TYPED_TEST(Qr, ReportsBadArgumentsOfTheUnblockedCode) {
  using Call = Geqr2Call<TypeParam>;
  expect_argument_checks<Call>(reported_name<TypeParam>("GEQR2"), {{1, [](Call& call) { call.m = -1; }},
                                                                   {2, [](Call& call) { call.n = -1; }},
                                                                   {4, [](Call& call) { call.lda = 3; }}});
  Call no_rows;
  no_rows.m = no_rows.lda = 0;
  expect_report(no_rows, reported_name<TypeParam>("GEQR2"), 4);
}

TYPED_TEST(Qr, FactorsMatricesThatAreHardToSolveWith) {
  using T = TypeParam;
  DescribedMatrices matrices(6);
  const auto expect_both_factored = [&](const Description& description, const Shape& shape) {
    SCOPED_TRACE(testing::Message() << to_string(shape) << ", " << description.name);
    const GuardedMatrix<T> A = matrices.general<T>(description, shape.m, shape.n, padded(shape.m));
    expect_factored(factor(A, std::max(1, best_lwork<T>(shape))));
    expect_factored(factor_unblocked(qr_form, A));
  };
  for (const Shape& shape : {Shape{6, 6}, {40, 40}, {90, 33}, {33, 90}, {150, 140}}) {
    for (const Description& description : matrices_of_full_rank) expect_both_factored(description, shape);
    for (const Description& description : rank_deficient_matrices) expect_both_factored(description, shape);
  }
}

}  // namespace
}  // namespace nuv::test
