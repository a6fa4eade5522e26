// Reduction of trapezoidal matrices to triangular form: tzrzf, tzrqf, latrz.

#include "orthogonal/pivoted.hpp"
#include "orthogonal/trapezoids.hpp"
#include "support/argument_checks.hpp"
#include "support/sanitized.hpp"

namespace nuv::test {
namespace {

constexpr Int block_width = 32;

template <class T>
class Trapezoidal : public ReportingTest {
 protected:
  Random random{97};
};
TYPED_TEST_SUITE(Trapezoidal, Precisions, PrecisionLetter);

/// What a reduction leaves.
template <Scalar T>
struct Reduced {
  GuardedMatrix<T> A;
  GuardedVector<T> tau, work;
  Int l;

  /// R with zeros beside it.
  WideMatrix<T> triangle() const {
    WideMatrix<T> R = wide_trapezoid(A, l);
    R.rightCols(R.cols() - R.rows()).setZero();
    return R;
  }

  WideMatrix<T> vectors() const { return vectors_of_z(A, A.columns(), A.rows(), l); }
};

/// Reduces a matrix with a routine that takes (m, n, a, tau, work).
template <Scalar T, class Routine>
Reduced<T> reduce(const GuardedMatrix<T>& A, Int l, Int lwork, Routine routine) {
  const Int m = A.rows(), n = A.columns();
  Reduced<T> result{A, GuardedVector<T>(m), GuardedVector<T>(lwork), l};
  routine(m, n, Matrix<T>(result.A), result.tau.data(), result.work.data());
  EXPECT_TRUE(result.A.unchanged_except([=](Int i, Int j) { return is_in_trapezoid(m, n, l, i, j); }));
  EXPECT_TRUE(result.tau.guards_unchanged());
  EXPECT_TRUE(result.work.guards_unchanged());
  return result;
}

template <Scalar T>
Reduced<T> reduce_by_blocks(const GuardedMatrix<T>& A, Int lwork) {
  return reduce(A, A.columns() - A.rows(), lwork, [=](Int m, Int n, Matrix<T> a, T* tau, T* work) {
    Int info = 99;
    routine_call::tzrzf(m, n, a, tau, work, lwork, info);
    EXPECT_EQ(info, 0);
  });
}

template <Scalar T>
Reduced<T> reduce_by_rows(const GuardedMatrix<T>& A, Int l) {
  return reduce(A, l, A.rows(),
                [=](Int m, Int n, Matrix<T> a, T* tau, T* work) { routine_call::latrz(m, n, l, a, tau, work); });
}

template <Scalar T>
Reduced<T> reduce_without_workspace(const GuardedMatrix<T>& A) {
  return reduce(A, A.columns() - A.rows(), 1, [](Int m, Int n, Matrix<T> a, T* tau, T*) {
    Int info = 99;
    routine_call::tzrqf(m, n, a, tau, info);
    EXPECT_EQ(info, 0);
  });
}

/// A = (R 0) Z by its factors, and Z^H Z = I.
template <Scalar T>
void expect_reduced(const GuardedMatrix<T>& A, const Reduced<T>& reduced) {
  const WideMatrix<T> original = wide_trapezoid(A, reduced.l), vectors = reduced.vectors(), R = reduced.triangle();
  const Int n = A.columns();
  EXPECT_LT(relative_distance<T>(product_with_z<T>(false, false, vectors, reduced.tau, R), original, n), threshold);
  WideMatrix<T> X = WideMatrix<T>::Zero(n, 2);
  X(0, 0) = X(n - 1, 1) = 1;
  const WideMatrix<T> ZX = product_with_z<T>(true, false, vectors, reduced.tau, X);
  EXPECT_LT(relative_distance<T>(product_with_z<T>(true, true, vectors, reduced.tau, ZX), X, n), threshold);
}

/// Both sides of the block width, and of the crossover, which is as large.
std::vector<Shape> shapes() {
  std::vector<Shape> all = {{1, 2}, {1, 9}, {2, 3}, {5, 11}, {20, 70}};
  for (const Int m : {31, 32, 33, 34, 64, 65, 66, 97}) {
    for (const Int l : {1, 7, 40}) all.push_back({m, m + l});
  }
  if (is_sanitized) std::erase_if(all, [](const Shape& shape) { return shape.m > 66; });
  return all;
}

TYPED_TEST(Trapezoidal, IsReducedByItsFactors) {
  using T = TypeParam;
  for (const Shape& shape : shapes()) {
    SCOPED_TRACE(to_string(shape));
    const auto [m, n] = shape;
    const GuardedMatrix<T> A = random_trapezoid<T>(this->random, m, n, n - m);
    const Reduced<T> by_blocks = reduce_by_blocks(A, m * block_width), by_rows = reduce_by_rows(A, n - m),
                     without_workspace = reduce_without_workspace(A);
    expect_reduced(A, by_blocks);
    expect_reduced(A, by_rows);
    EXPECT_EQ(by_blocks.work(1), T(Real<T>(m * block_width)));
    EXPECT_EQ(bool(by_blocks.A.same_as(by_rows.A)), m <= block_width);
    EXPECT_TRUE(without_workspace.A.same_as(by_rows.A));
    EXPECT_TRUE(without_workspace.tau.same_as(by_rows.tau));
  }
}

TYPED_TEST(Trapezoidal, TakesBlocksThatTheWorkspaceHolds) {
  using T = TypeParam;
  for (const Int m : {70, 97}) {
    const Int n = m + 20;
    const GuardedMatrix<T> A = random_trapezoid<T>(this->random, m, n, n - m);
    const Reduced<T> by_rows = reduce_by_rows(A, n - m), best = reduce_by_blocks(A, m * block_width);
    for (const Int lwork : {m, 2 * m - 1, 2 * m, 5 * m + 3, m * block_width - 1, m * block_width + 9}) {
      SCOPED_TRACE(std::to_string(m) + " rows, lwork " + std::to_string(lwork));
      const Reduced<T> reduced = reduce_by_blocks(A, lwork);
      expect_reduced(A, reduced);
      EXPECT_EQ(reduced.work(1), T(Real<T>(m * block_width)));
      EXPECT_EQ(bool(reduced.A.same_as(by_rows.A)), lwork < 2 * m);
      EXPECT_EQ(bool(reduced.A.same_as(best.A)), lwork >= m * block_width);
    }
  }
}

/// By blocks of nb rows from the last one on, and one by one the first `left` rows.
template <Scalar T>
Reduced<T> reduce_by_hand(const GuardedMatrix<T>& A, Int nb, Int left) {
  return reduce(A, A.columns() - A.rows(), A.rows() * nb, [=](Int m, Int n, Matrix<T> a, T* tau, T* work) {
    const Int l = n - m;
    const Matrix<T> t{work, m}, W{work + nb, m};
    for (Int i = m - nb + 1; i > left; i -= nb) {
      const Matrix<T> v = block(a, i, m + 1);
      routine_call::latrz(nb, n - i + 1, l, block(a, i, i), tau + i - 1, work);
      if (i == 1) continue;
      routine_call::larzt('B', 'R', l, nb, v, static_cast<const T*>(tau + i - 1), t);
      routine_call::larzb('R', 'N', 'B', 'R', i - 1, n - i + 1, nb, l, v, t, block(a, 1, i), W);
    }
    routine_call::latrz(left, n, l, a, tau, work);
  });
}

/// At most 32 rows are left, and as few as whole blocks allow.
TYPED_TEST(Trapezoidal, IsReducedByBlocksUpToTheCrossover) {
  using T = TypeParam;
  const struct {
    Int m, nb, left;
  } cases[] = {{33, 32, 1}, {40, 32, 8}, {63, 32, 31}, {64, 32, 32},
               {65, 32, 1}, {97, 32, 1}, {72, 5, 32},  {73, 5, 28}};
  for (const auto& [m, nb, left] : cases) {
    SCOPED_TRACE(std::to_string(m) + " rows, blocks of " + std::to_string(nb));
    const GuardedMatrix<T> A = random_trapezoid<T>(this->random, m, m + 6, 6);
    const Reduced<T> reduced = reduce_by_blocks(A, m * nb), expected = reduce_by_hand(A, nb, left);
    EXPECT_TRUE(reduced.A.same_as(expected.A));
    EXPECT_TRUE(reduced.tau.same_as(expected.tau));
  }
}

TYPED_TEST(Trapezoidal, MayHaveAGapBehindItsTriangle) {
  using T = TypeParam;
  const struct { Int m, n, l; } cases[] = {{1, 5, 2}, {4, 9, 3}, {12, 30, 1}, {12, 30, 18}, {7, 8, 0}};
  for (const auto& [m, n, l] : cases) {
    SCOPED_TRACE(to_string(Shape{m, n}) + ", l " + std::to_string(l));
    const GuardedMatrix<T> A = random_trapezoid<T>(this->random, m, n, l);
    expect_reduced(A, reduce_by_rows(A, l));
  }
}

/// The rows of a complex matrix have their phases in Z.
TYPED_TEST(Trapezoidal, HasARealDiagonal) {
  using T = TypeParam;
  const GuardedMatrix<T> A = random_trapezoid<T>(this->random, 40, 45, 5);
  const Reduced<T> reduced = reduce_by_blocks(A, 40 * block_width);
  for (Int i = 1; i <= 40; ++i) EXPECT_EQ(std::imag(reduced.A(i, i)), 0);
}

TYPED_TEST(Trapezoidal, IsLeftAloneWhereItIsATriangle) {
  using T = TypeParam;
  for (const Int n : {1, 5, 40}) {
    const GuardedMatrix<T> A = random_trapezoid<T>(this->random, n, n, 0);
    for (const Reduced<T>& reduced : {reduce_by_blocks(A, n), reduce_by_rows(A, 0), reduce_without_workspace(A)}) {
      EXPECT_TRUE(reduced.A.unchanged());
      for (Int i = 1; i <= n; ++i) EXPECT_EQ(reduced.tau(i), T(0));
    }
    EXPECT_EQ(reduce_by_blocks(A, n).work(1), T(1));
  }
}

TYPED_TEST(Trapezoidal, OfNoRowsIsNoWork) {
  using T = TypeParam;
  for (const Int n : {0, 3}) {
    T work(0);
    T* const none = nullptr;
    Int info = 99;
    routine_call::tzrzf(0, n, {none, 1}, none, &work, 1, info);
    EXPECT_EQ(info, 0);
    EXPECT_EQ(work, T(1));
    info = 99;
    routine_call::tzrqf(0, n, {none, 1}, none, info);
    EXPECT_EQ(info, 0);
    routine_call::latrz(0, n, n, {none, 1}, none, none);
  }
}

TYPED_TEST(Trapezoidal, AnswersTheQuestionForWorkspace) {
  using T = TypeParam;
  for (const Shape& shape : {Shape{3, 4}, {40, 90}, {7, 7}, {0, 4}}) {
    T work(0);
    T* const none = nullptr;
    Int info = 99;
    routine_call::tzrzf(shape.m, shape.n, {none, std::max(1, shape.m)}, none, &work, -1, info);
    EXPECT_EQ(info, 0);
    EXPECT_EQ(work, T(Real<T>(shape.m == 0 || shape.m == shape.n ? 1 : shape.m * block_width)));
  }
}

/// With a QR factorisation with pivoting: of a matrix of rank r, all but a triangle of order r is rounding.
TYPED_TEST(Trapezoidal, CompletesTheFactorisationOfAMatrixThatLacksRank) {
  using T = TypeParam;
  const Int m = 60, n = 50, rank = 35;
  const GuardedMatrix<T> A = matrix_of_rank<T>(this->random, m, n, rank);
  const Pivoted<T> pivoted = factor_by_panels(A, lwork_of_panels<T>(n, 32));
  GuardedMatrix<T> top(rank, n, rank);
  for (Int j = 1; j <= n; ++j) std::copy_n(&pivoted.f.factors(1, j), std::min(j, rank), &top(1, j));
  top.seal();
  const Reduced<T> reduced = reduce_by_blocks(top, rank * block_width);
  expect_reduced(top, reduced);

  const WideMatrix<T> rows = product_with_z<T>(false, false, reduced.vectors(), reduced.tau, reduced.triangle());
  WideMatrix<T> all = WideMatrix<T>::Zero(m, n);
  all.topRows(rank) = rows;
  EXPECT_LT(relative_distance<T>(pivoted.f.times(false, all), pivoted.f.A, n), threshold);
}

// ------------------------------------------------------------------------------------------------------ bad arguments

template <Scalar T>
struct BlockedCall {
  Int m = 3, n = 5, lda = 3, lwork = 3;
  GuardedMatrix<T> A = GuardedMatrix<T>(3, 5, 4);
  GuardedVector<T> tau = GuardedVector<T>(3), work = GuardedVector<T>(3);

  BlockedCall() {
    for (Int j = 1; j <= 5; ++j) {
      for (Int i = 1; i <= 3; ++i) A(i, j) = T(Real<T>(i * j));
    }
    A.seal();
  }
  Int run() {
    Int info = 99;
    routine_call::tzrzf(m, n, {A.data(), lda}, tau.data(), work.data(), lwork, info);
    return info;
  }
  bool unchanged() const { return A.unchanged() && tau.unchanged() && work.unchanged_outside(1, 1); }
};

template <Scalar T>
struct UnblockedCall : BlockedCall<T> {
  Int run() {
    Int info = 99;
    routine_call::tzrqf(this->m, this->n, {this->A.data(), this->lda}, this->tau.data(), info);
    return info;
  }
};

TYPED_TEST(Trapezoidal, ReportsBadArguments) {
  using T = TypeParam;
  using Blocked = BlockedCall<T>;
  using Unblocked = UnblockedCall<T>;
  const std::string name = reported_name<T>("TZRZF");
  expect_argument_checks<Blocked>(name, {{1, [](Blocked& call) { call.m = -1; }},
                                         {2, [](Blocked& call) { call.n = -2; }},
                                         {4, [](Blocked& call) { call.lda = 0; }},
                                         {7, [](Blocked& call) { call.lwork = 0; }}});
  expect_argument_checks<Unblocked>(reported_name<T>("TZRQF"), {{1, [](Unblocked& call) { call.m = -1; }},
                                                                {2, [](Unblocked& call) { call.n = -2; }},
                                                                {4, [](Unblocked& call) { call.lda = 0; }}});
  Blocked too_tall;
  too_tall.n = 2;
  expect_report(too_tall, name, 2);
  Blocked too_short;
  too_short.lda = 2;
  expect_report(too_short, name, 4);
  Blocked too_little;
  too_little.lwork = 2;
  expect_report(too_little, name, 7);
  // One element is asked for where there is nothing to do, too.
  Blocked no_rows;
  no_rows.m = no_rows.lwork = 0;
  expect_report(no_rows, name, 7);
  Blocked question;
  question.lwork = -1;
  question.lda = 2;
  expect_report(question, name, 4);
}

}  // namespace
}  // namespace nuv::test
