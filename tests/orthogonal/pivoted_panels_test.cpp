// How QR factorisation with column pivoting goes about it: laqps, laqp2, the choice of panels, arguments.

#include <array>

#include "blas.hpp"
#include "layer.hpp"
#include "orthogonal/pivoted.hpp"
#include "orthogonal/products_with_q.hpp"
#include "support/argument_checks.hpp"

namespace nuv::test {
namespace {

template <class T>
class PivotedPanels : public ReportingTest {
 protected:
  GuardedMatrix<T> matrix(const Shape& shape) { return random_matrix<T>(random, shape.m, shape.n, padded(shape.m)); }

  Random random{89};
};
TYPED_TEST_SUITE(PivotedPanels, Precisions, PrecisionLetter);

// --------------------------------------------------------------------------------------------------- one panel by hand

/// The columns that are left of a factorisation with `finished` rows, in the state in which laqps and laqp2 take them.
template <Scalar T>
struct FreeColumns {
  using R = Real<T>;

  Int m, n, finished;
  GuardedMatrix<T> A;
  GuardedVector<Int> jpvt;
  GuardedVector<T> tau;
  GuardedVector<R> vn1, vn2;

  FreeColumns(const GuardedMatrix<T>& A_, Int finished_)
      : m(A_.rows()),
        n(A_.columns()),
        finished(finished_),
        A(A_),
        jpvt(n),
        tau(std::min(m - finished, n)),
        vn1(n),
        vn2(n) {
    for (Int j = 1; j <= n; ++j) {
      jpvt(j) = 100 + j;
      vn1(j) = vn2(j) = R(norm(j, finished));
    }
    vn1.seal();
    vn2.seal();
  }

  /// Of column j below those rows, as it stands.
  double norm(Int j, Int rows) const { return double(wide(A).col(j - 1).tail(m - rows).norm()); }

  Int run_panel(Int nb) {
    GuardedMatrix<T> F(n, nb, n + 2);
    GuardedVector<T> auxv(nb);
    Int kb = -1;
    routine_call::laqps(m, n, finished, nb, kb, A, jpvt.data(), tau.data(), vn1.data(), vn2.data(), auxv.data(), F);
    EXPECT_TRUE(F.guards_unchanged());
    EXPECT_TRUE(auxv.guards_unchanged());
    expect_guards_unchanged();
    return kb;
  }

  void run_columns() {
    GuardedVector<T> work(n);
    routine_call::laqp2(m, n, finished, A, jpvt.data(), tau.data(), vn1.data(), vn2.data(), work.data());
    EXPECT_TRUE(work.guards_unchanged());
    expect_guards_unchanged();
  }

  void expect_guards_unchanged() const {
    EXPECT_TRUE(A.guards_unchanged());
    EXPECT_TRUE(jpvt.guards_unchanged());
    EXPECT_TRUE(tau.guards_unchanged());
    EXPECT_TRUE(vn1.guards_unchanged());
    EXPECT_TRUE(vn2.guards_unchanged());
  }

  /// Where a column came from that stands in place j.
  Int origin(Int j) const { return jpvt(j) - 100; }

  /// The first `done` columns with their rows, judged as a factorisation of all: what is left stands where R would.
  void expect_partly_factored(const GuardedMatrix<T>& before, Int done) const {
    const WideMatrix<T> original = wide(before), now = wide(A);
    WideMatrix<T> expected(m - finished, n), left = now.bottomRows(m - finished);
    for (Int j = 1; j <= n; ++j) {
      EXPECT_TRUE(now.col(j - 1).head(finished) == original.col(origin(j) - 1).head(finished));
      expected.col(j - 1) = original.col(origin(j) - 1).tail(m - finished);
    }
    WideMatrix<T> rebuilt = left;
    for (Int k = 0; k < done; ++k) rebuilt.col(k).tail(m - finished - k - 1).setZero();
    for (Int k = done - 1; k >= 0; --k) {
      WideMatrix<T> v = WideMatrix<T>::Zero(m - finished, 1);
      v(k, 0) = 1;
      v.col(0).tail(m - finished - k - 1) = left.col(k).tail(m - finished - k - 1);
      reflect<T>(v, wide(tau(k + 1)), rebuilt);
    }
    EXPECT_LT(relative_distance<T>(rebuilt, expected, m), threshold);
  }
};

/// A matrix in which column 3 is longest, and columns 1, 6 and 7 next to multiples of it.
template <Scalar T>
GuardedMatrix<T> with_near_multiples(Random& random, Int m, Int n, Int finished) {
  GuardedMatrix<T> A = random_matrix<T>(random, m, n, m + 2);
  const auto tiny = Real<T>(std::pow(double(epsilon<T>), 0.6));
  for (Int i = finished + 1; i <= m; ++i) {
    A(i, 3) *= Real<T>(8);
    A(i, 1) = A(i, 3) * Real<T>(0.9) + tiny * random.scalar<T>();
    A(i, 6) = A(i, 3) * Real<T>(-0.5) + tiny * random.scalar<T>();
    A(i, 7) = A(i, 3) * Real<T>(0.75) + tiny * random.scalar<T>();
  }
  A.seal();
  return A;
}

/// Whether the norm of the column from there was computed anew: the one kept as computed is not that from before.
template <Scalar T>
bool is_measured(const FreeColumns<T>& columns, const FreeColumns<T>& before, Int j) {
  return columns.vn2(j) != before.vn2(columns.origin(j));
}

TYPED_TEST(PivotedPanels, EndWhereNormsAreLostAndMeasureThem) {
  using T = TypeParam;
  for (const Int finished : {0, 2}) {
    const GuardedMatrix<T> A = with_near_multiples<T>(this->random, 30, 12, finished);
    const FreeColumns<T> before(A, finished);
    FreeColumns<T> columns = before;
    EXPECT_EQ(columns.run_panel(8), 1);
    EXPECT_EQ(columns.origin(1), 3);
    EXPECT_EQ(columns.origin(3), 1);
    columns.expect_partly_factored(A, 1);
    for (Int j = 2; j <= 12; ++j) {
      SCOPED_TRACE(j);
      const bool is_lost = j == 3 || j == 6 || j == 7;
      const double norm = columns.norm(j, finished + 1);
      EXPECT_EQ(is_measured(columns, before, j), is_lost);
      EXPECT_NEAR(columns.vn1(j), norm, 100 * double(epsilon<T>) * norm);
      if (is_lost) {
        EXPECT_EQ(columns.vn1(j), columns.vn2(j));
      }
    }
  }
}

TYPED_TEST(PivotedPanels, HaveTheirWidthWhereNoNormIsLost) {
  using T = TypeParam;
  for (const Int finished : {0, 3}) {
    for (const Int nb : {1, 2, 5, 9}) {
      const GuardedMatrix<T> A = this->matrix({40, 20});
      const FreeColumns<T> before(A, finished);
      FreeColumns<T> columns = before;
      EXPECT_EQ(columns.run_panel(nb), nb);
      columns.expect_partly_factored(A, nb);
      for (Int j = nb + 1; j <= 20; ++j) {
        const double norm = columns.norm(j, finished + nb);
        EXPECT_FALSE(is_measured(columns, before, j));
        EXPECT_NEAR(columns.vn1(j), norm, 1000 * double(epsilon<T>) * norm);
      }
    }
  }
}

TYPED_TEST(PivotedPanels, MayTakeAllColumnsOrAllRows) {
  using T = TypeParam;
  for (const Shape& shape : {Shape{12, 7}, {9, 9}, {9, 14}}) {
    for (const Int finished : {0, 2}) {
      SCOPED_TRACE(to_string(shape));
      const GuardedMatrix<T> A = this->matrix(shape);
      const Int steps = std::min(shape.m - finished, shape.n);
      FreeColumns<T> columns(A, finished);
      const Int kb = columns.run_panel(steps);
      // In single precision the last rows may be so short that they are lost.
      if (std::same_as<Real<T>, double>) {
        EXPECT_EQ(kb, steps);
      }
      columns.expect_partly_factored(A, kb);
      if (kb < steps) continue;
      // With the last row there is nothing left to be compared: the norms stay those of that row.
      for (Int j = steps + 1; j <= shape.n; ++j) {
        EXPECT_NEAR(columns.vn1(j), columns.norm(j, shape.m - 1), 0.01 * columns.norm(j, shape.m - 1));
      }
    }
  }
}

TYPED_TEST(PivotedPanels, OfSingleColumnsMeasureNormsAsTheyAreLost) {
  using T = TypeParam;
  for (const Int finished : {0, 2}) {
    const GuardedMatrix<T> A = with_near_multiples<T>(this->random, 30, 12, finished);
    FreeColumns<T> columns(A, finished);
    columns.run_columns();
    columns.expect_partly_factored(A, 12);
    // Those next to multiples are all that is short after the first step, and so the last.
    EXPECT_EQ(columns.origin(1), 3);
    std::array last{columns.origin(10), columns.origin(11), columns.origin(12)};
    std::ranges::sort(last);
    EXPECT_EQ(last, (std::array{1, 6, 7}));
    // By what the diagonal says, the lengths were known to their last digits when they were compared.
    const double first = std::abs(std::complex<double>(columns.A(finished + 10, 10)));
    for (const Int j : {11, 12}) {
      const WideReal<T> length = wide(columns.A).col(j - 1).segment(finished + 9, j - 9).norm();
      EXPECT_LE(double(length), first * (1 + 1000 * double(epsilon<T>)));
    }
  }
}

TYPED_TEST(PivotedPanels, OfSingleColumnsEndWithTheRows) {
  using T = TypeParam;
  for (const Shape& shape : {Shape{12, 7}, {9, 9}, {9, 14}, {3, 5}}) {
    for (const Int finished : {0, 2}) {
      SCOPED_TRACE(to_string(shape));
      const GuardedMatrix<T> A = this->matrix(shape);
      FreeColumns<T> columns(A, finished);
      columns.run_columns();
      columns.expect_partly_factored(A, std::min(shape.m - finished, shape.n));
    }
  }
}

// ----------------------------------------------------------------------------------------------- the choice of panels

template <Scalar T>
Int ask_of_qr(Int ispec, Int m, Int n) {
  return ask(ispec, precision_letter<T> + std::string("GEQRF"), " ", m, n, -1);
}

/// What geqp3 leaves if it makes panels of that width up to a rest of nx columns, in a workspace that it is given.
template <Scalar T>
Pivoted<T> factor_by_hand(const GuardedMatrix<T>& A, Int lwork, Int nb, Int nx) {
  return factor_pivoted(A, {}, lwork, [&](Int m, Int n, Matrix<T> a, Int* jpvt, T* tau, T* work, Int, Int& info) {
    GuardedVector<Real<T>> vn1(n), vn2(n);
    T* const room = work + norms_in_work<T> * n;
    for (Int j = 1; j <= n; ++j) {
      jpvt[j - 1] = j;
      vn1(j) = vn2(j) = blas::nrm2(m, Vector<const T>(column(a, 1, j)));
    }
    const Int last = std::min(m, n) - nx;
    Int j = 1;
    while (nb > 1 && j <= last) {
      const Int width = std::min(nb, last - j + 1), rest = n - j + 1;
      Int kb = 0;
      routine_call::laqps(m, rest, j - 1, width, kb, block(a, 1, j), jpvt + j - 1, tau + j - 1, &vn1(j), &vn2(j), room,
                          Matrix<T>{room + width, rest});
      j += kb;
    }
    if (j <= std::min(m, n)) {
      routine_call::laqp2(m, n - j + 1, j - 1, block(a, 1, j), jpvt + j - 1, tau + j - 1, &vn1(j), &vn2(j), room);
    }
    info = 0;
  });
}

TYPED_TEST(PivotedPanels, AreAsWideAsTheWorkspaceAllows) {
  using T = TypeParam;
  for (const Shape& shape : {Shape{170, 160}, {160, 165}, {4001, 24}, {90, 310}}) {
    const auto [m, n] = shape;
    const Int nb = ask_of_qr<T>(1, m, n), nx = ask_of_qr<T>(3, m, n), full = lwork_of_panels<T>(n, nb);
    ASSERT_EQ(nb, n <= 300 ? 16 : 24);
    ASSERT_EQ(nx, 8);
    const GuardedMatrix<T> A = this->matrix(shape);
    for (const auto& [lwork, width] : {std::array{full, nb},
                                       {full + 1000, nb},
                                       {full - 1, nb - 1},
                                       {lwork_of_panels<T>(n, 5), 5},
                                       {lwork_of_panels<T>(n, 2), 2},
                                       {lwork_of_panels<T>(n, 2) - 1, 1},
                                       {least_pivoted_lwork<T>(n), 1}}) {
      SCOPED_TRACE(to_string(shape) + ", lwork " + std::to_string(lwork));
      const Pivoted<T> pivoted = factor_by_panels(A, lwork);
      expect_same(pivoted, factor_by_hand(A, lwork, width, nx));
      EXPECT_EQ(pivoted.f.work(1), T(Real<T>(full)));
    }
  }
}

TYPED_TEST(PivotedPanels, AreNotMadeOfWhatIsSmall) {
  using T = TypeParam;
  for (const Shape& shape : {Shape{111, 111}, {16, 300}, {4000, 3}, {4001, 8}, {4001, 16}}) {
    const GuardedMatrix<T> A = this->matrix(shape);
    const Pivoted<T> pivoted = factor_by_panels(A, lwork_of_panels<T>(shape.n, 130));
    expect_same(pivoted, factor_by_columns(A));
    EXPECT_EQ(pivoted.f.work(1), T(Real<T>(least_pivoted_lwork<T>(shape.n))));
  }
}

/// The width is that for the free columns, and so is the room which their norms and the panel take.
TYPED_TEST(PivotedPanels, OfFreeColumnsKeepToTheWorkspace) {
  using T = TypeParam;
  const Int m = 200, n = 240, count = 40, free = n - count;
  const GuardedMatrix<T> A = this->matrix({m, n});
  std::vector<Int> fixed;
  for (Int j = 1; j <= count; ++j) fixed.push_back(6 * j);
  for (const Int lwork : {lwork_of_panels<T>(free, 16), lwork_of_panels<T>(free, 16) - 1, lwork_of_panels<T>(free, 7),
                          least_pivoted_lwork<T>(n), lwork_of_panels<T>(n, 130)}) {
    SCOPED_TRACE(lwork);
    const Pivoted<T> pivoted = factor_by_panels(A, lwork, fixed);
    expect_pivoted(pivoted, count);
    EXPECT_GE(std::real(pivoted.f.work(1)), Real<T>(lwork_of_panels<T>(free, 16)));
  }
}

/// What geqp3 leaves if the first columns are fixed and the others are taken one by one.
template <Scalar T>
Pivoted<T> factor_by_columns_behind(Int fixed, const GuardedMatrix<T>& A, Int lwork) {
  return factor_pivoted(A, {}, lwork, [&](Int m, Int n, Matrix<T> a, Int* jpvt, T* tau, T* work, Int, Int& info) {
    GuardedVector<Real<T>> vn1(n), vn2(n);
    layer::geqrf(m, fixed, a, tau, work, lwork, info);
    layer::ormqr('L', adjoint_letter<T>, m, n - fixed, fixed, a, static_cast<const T*>(tau), block(a, 1, fixed + 1),
                 work, lwork, info);
    for (Int j = 1; j <= n; ++j) {
      jpvt[j - 1] = j;
      vn1(j) = vn2(j) = blas::nrm2(m - fixed, Vector<const T>(column(a, fixed + 1, j)));
    }
    routine_call::laqp2(m, n - fixed, fixed, block(a, 1, fixed + 1), jpvt + fixed, tau + fixed, &vn1(fixed + 1),
                        &vn2(fixed + 1), work);
  });
}

/// Of 12500 elements, 25000 in single precision, panels are made; here all rows of the free columns have as many, those
/// below the fixed ones have not.
TYPED_TEST(PivotedPanels, AreNotMadeOfWhatIsSmallBelowFixedRows) {
  using T = TypeParam;
  constexpr Int fixed = 10, n = std::same_as<T, float> ? 165 : 120;
  const GuardedMatrix<T> A = this->matrix({n, n});
  std::vector<Int> in_front(fixed);
  for (Int j = 1; j <= fixed; ++j) in_front[std::size_t(j) - 1] = j;
  ASSERT_GT(ask_of_qr<T>(3, n - fixed, n - fixed), n);
  ASSERT_EQ(ask_of_qr<T>(3, n, n - fixed), 8);
  const Int lwork = lwork_of_panels<T>(n, 130);
  expect_same(factor_by_panels(A, lwork, in_front), factor_by_columns_behind<T>(fixed, A, lwork));
}

/// Where it is more than panels would have, and where one column alone is free, too.
TYPED_TEST(PivotedPanels, TellTheWorkspaceThatFixedColumnsWouldHave) {
  using T = TypeParam;
  const Int m = 40, n = 30;
  for (const Int count : {1, 20, 29, 30}) {
    SCOPED_TRACE(count);
    std::vector<Int> fixed;
    for (Int j = 1; j <= count; ++j) fixed.push_back(j);
    const Pivoted<T> pivoted = factor_by_panels(this->matrix({m, n}), 5000, fixed);
    T answer(0);
    T* const none = nullptr;
    Int info = 99;
    layer::geqrf(m, count, {none, m}, none, &answer, -1, info);
    Real<T> best = std::max(Real<T>(least_pivoted_lwork<T>(n)), std::real(answer));
    if (count < n) {
      layer::ormqr('L', adjoint_letter<T>, m, n - count, count, {none, m}, static_cast<const T*>(none), {none, m},
                   &answer, -1, info);
      EXPECT_GT(std::real(answer), best);
      best = std::real(answer);
    }
    EXPECT_EQ(pivoted.f.work(1), T(best));
  }
}

TYPED_TEST(PivotedPanels, AnswerTheQuestionForWorkspace) {
  using T = TypeParam;
  for (const Shape& shape : {Shape{0, 4}, {4, 0}, {7, 5}, {5, 7}, {100, 200}, {500, 400}}) {
    T work(0);
    Int info = 99;
    factor_by_panels<T>(shape.m, shape.n, {nullptr, std::max(1, shape.m)}, nullptr, nullptr, &work, -1, info);
    EXPECT_EQ(info, 0);
    EXPECT_EQ(work, T(Real<T>(lwork_of_panels<T>(shape.n, 32))));
  }
}

TYPED_TEST(PivotedPanels, OfAnEmptyMatrixAreNoWork) {
  using T = TypeParam;
  for (const Shape& shape : {Shape{0, 4}, {4, 0}, {0, 0}}) {
    GuardedMatrix<T> A(4, 4, 4);
    GuardedVector<T> tau(4), work(13);
    GuardedVector<Int> jpvt(4);
    Int info = 99;
    factor_by_panels<T>(shape.m, shape.n, A, jpvt.data(), tau.data(), work.data(), 13, info);
    EXPECT_EQ(info, 0);
    EXPECT_EQ(work(1), T(1));
    EXPECT_TRUE(work.unchanged_outside(1, 1));
    info = 99;
    factor_by_columns<T>(shape.m, shape.n, A, jpvt.data(), tau.data(), work.data(), 0, info);
    EXPECT_EQ(info, 0);
    EXPECT_TRUE(work.unchanged_outside(1, 1));
    EXPECT_TRUE(A.unchanged());
    EXPECT_TRUE(tau.unchanged());
    EXPECT_TRUE(jpvt.unchanged());
  }
}

// ------------------------------------------------------------------------------------------------------ bad arguments

template <Scalar T>
struct PanelsCall {
  Int m = 4, n = 3, lda = 4, lwork = least_pivoted_lwork<T>(3);
  GuardedMatrix<T> A = GuardedMatrix<T>(4, 3, 5);
  GuardedVector<Int> jpvt = GuardedVector<Int>(3);
  GuardedVector<T> tau = GuardedVector<T>(3), work = GuardedVector<T>(10);

  PanelsCall() {
    for (Int j = 1; j <= 3; ++j) {
      for (Int i = 1; i <= 4; ++i) A(i, j) = T(Real<T>(i * j));
      jpvt(j) = 0;
    }
    A.seal();
    jpvt.seal();
  }

  Int run() {
    Int info = 99;
    factor_by_panels<T>(m, n, {A.data(), lda}, jpvt.data(), tau.data(), work.data(), lwork, info);
    EXPECT_EQ(work(1), T(Real<T>(lwork_of_panels<T>(n, info != 0 ? 32 : 1))));
    return info;
  }
  bool unchanged() const {
    return A.unchanged() && jpvt.unchanged() && tau.unchanged() && work.unchanged_outside(1, 1);
  }
};

template <Scalar T>
struct ColumnsCall : PanelsCall<T> {
  Int run() {
    Int info = 99;
    factor_by_columns<T>(this->m, this->n, {this->A.data(), this->lda}, this->jpvt.data(), this->tau.data(),
                         this->work.data(), 0, info);
    return info;
  }
  bool unchanged() const { return PanelsCall<T>::unchanged() && this->work.unchanged(); }
};

TYPED_TEST(PivotedPanels, ReportBadArguments) {
  using T = TypeParam;
  using Panels = PanelsCall<T>;
  using Columns = ColumnsCall<T>;
  const std::string name = reported_name<T>("GEQP3");
  expect_argument_checks<Panels>(name, {{1, [](Panels& call) { call.m = -1; }},
                                        {2, [](Panels& call) { call.n = -1; }},
                                        {4, [](Panels& call) { call.lda = 3; }},
                                        {8, [](Panels& call) { call.lwork -= 1; }}});
  expect_argument_checks<Columns>(reported_name<T>("GEQPF"), {{1, [](Columns& call) { call.m = -1; }},
                                                              {2, [](Columns& call) { call.n = -1; }},
                                                              {4, [](Columns& call) { call.lda = 3; }}});
  Panels question;
  question.lwork = -1;
  question.lda = 3;
  expect_report(question, name, 4);
  // The least workspace is asked for where there is nothing to do, too.
  Panels no_rows;
  no_rows.m = 0;
  no_rows.lwork -= 1;
  expect_report(no_rows, name, 8);
}

}  // namespace
}  // namespace nuv::test
