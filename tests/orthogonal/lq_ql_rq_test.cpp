// LQ, QL and RQ factorisation: gelqf, geqlf, gerqf and their unblocked forms.

#include "orthogonal/factored.hpp"
#include "support/argument_checks.hpp"
#include "support/described_matrices.hpp"
#include "support/sanitized.hpp"

namespace nuv::test {
namespace {

constexpr Int block_width = 32;

template <class T>
class LqQlRq : public ReportingTest {
 protected:
  GuardedMatrix<T> matrix(const Shape& shape) { return random_matrix<T>(random, shape.m, shape.n, padded(shape.m)); }

  Random random{61};
};
TYPED_TEST_SUITE(LqQlRq, Precisions, PrecisionLetter);

constexpr Form all_forms[] = {lq_form, ql_form, rq_form};

template <Scalar T>
Factored<T> factor(const Form& form, const GuardedMatrix<T>& A, Int lwork) {
  return factor(form, A, lwork, [&](auto&&... arguments) { factor_by_blocks<T>(form, arguments...); });
}

std::string name_of(const Form& form, char last) {
  return std::string(form.columnwise() ? "GEQL" : form.forward() ? "GELQ" : "GERQ") + last;
}

std::vector<Shape> shapes() {
  std::vector<Shape> all = {{1, 1},    {1, 40},   {40, 1},    {20, 300}, {300, 20},
                            {100, 40}, {40, 100}, {200, 180}, {180, 200}};
  for (const Int n : {2, 8, 31, 32, 33, 63, 64, 65, 96, 97, 129}) {
    for (const Shape& shape : {Shape{n, n}, {n + 1, n}, {n, n + 1}, {3 * n, n}, {n, 3 * n}}) all.push_back(shape);
  }
  if (is_sanitized) std::erase_if(all, [](const Shape& shape) { return shape.m * shape.n > 15000; });
  return all;
}

TYPED_TEST(LqQlRq, FactorsMatricesOfAllShapes) {
  using T = TypeParam;
  for (const Form& form : all_forms) {
    for (const Shape& shape : shapes()) {
      SCOPED_TRACE(name_of(form, 'F') + ", " + to_string(shape));
      const Int lines = lines_of(form, shape), k = std::min(shape.m, shape.n);
      const GuardedMatrix<T> A = this->matrix(shape);
      const Factored<T> f = factor(form, A, block_width * lines), unblocked = factor_unblocked(form, A);
      expect_factored(f);
      expect_factored(unblocked);
      const bool by_blocks = k > block_width;
      EXPECT_EQ(bool(f.factors.same_as(unblocked.factors)), !by_blocks);
      EXPECT_EQ(f.work(1), T(Real<T>(by_blocks ? block_width * lines : lines)));
    }
  }
}

TYPED_TEST(LqQlRq, TakesBlocksThatTheWorkspaceHolds) {
  using T = TypeParam;
  for (const Form& form : all_forms) {
    for (const Shape& shape : {Shape{70, 90}, {90, 70}, {66, 66}}) {
      const Int lines = lines_of(form, shape);
      const GuardedMatrix<T> A = this->matrix(shape);
      const Factored<T> unblocked = factor_unblocked(form, A);
      for (const Int lwork : {lines, 2 * lines - 1, 2 * lines, 5 * lines + 3, block_width * lines - 1}) {
        SCOPED_TRACE(name_of(form, 'F') + ", " + to_string(shape) + ", lwork " + std::to_string(lwork));
        const Factored<T> f = factor(form, A, lwork);
        expect_factored(f);
        EXPECT_EQ(f.work(1), T(Real<T>(block_width * lines)));
        // Blocks of a single reflector are not worth it.
        EXPECT_EQ(bool(f.factors.same_as(unblocked.factors)), lwork < 2 * lines);
      }
    }
  }
}

TYPED_TEST(LqQlRq, AnswersTheQuestionForWorkspace) {
  using T = TypeParam;
  for (const Form& form : all_forms) {
    for (const Shape& shape : {Shape{0, 4}, {4, 0}, {7, 5}, {5, 7}, {100, 200}}) {
      T work(0);
      Int info = 99;
      factor_by_blocks<T>(form, shape.m, shape.n, {nullptr, std::max(1, shape.m)}, nullptr, &work, -1, info);
      EXPECT_EQ(info, 0);
      EXPECT_EQ(work, T(Real<T>(block_width * lines_of(form, shape))));
    }
  }
}

TYPED_TEST(LqQlRq, OfAnEmptyMatrixIsNoWork) {
  using T = TypeParam;
  for (const Form& form : all_forms) {
    for (const Shape& shape : {Shape{0, 4}, {4, 0}, {0, 0}}) {
      GuardedMatrix<T> A(4, 4, 4);
      GuardedVector<T> tau(4), work(4);
      Int info = 99;
      factor_by_blocks<T>(form, shape.m, shape.n, A, tau.data(), work.data(), std::max(1, lines_of(form, shape)), info);
      EXPECT_EQ(info, 0);
      EXPECT_EQ(work(1), T(1));
      factor_one_by_one<T>(form, shape.m, shape.n, A, tau.data(), work.data(), info);
      EXPECT_EQ(info, 0);
      EXPECT_TRUE(work.unchanged_outside(1, 1));
      EXPECT_TRUE(A.unchanged());
      EXPECT_TRUE(tau.unchanged());
    }
  }
}

TYPED_TEST(LqQlRq, FactorsRowsAndColumnsOfVeryDifferentScales) {
  using T = TypeParam;
  for (const Form& form : all_forms) {
    for (const Shape& shape : {Shape{9, 12}, {12, 9}, {70, 80}}) {
      // Lines of different scales, and lines whose elements have different scales.
      for (const bool by_columns : {true, false}) {
        SCOPED_TRACE(name_of(form, 'F') + ", " + to_string(shape) + (by_columns ? ", columns" : ", rows"));
        const GuardedMatrix<T> A = badly_scaled_matrix<T>(this->random, by_columns, shape.m, shape.n);
        const Factored<T> f = factor(form, A, block_width * lines_of(form, shape));
        EXPECT_TRUE(wide(f.factors).allFinite());
        EXPECT_TRUE(wide(f.tau).allFinite());
        EXPECT_LT(largest_residual_of_a_line(f), threshold);
        EXPECT_LT(orthogonality(f), threshold);
      }
    }
  }
}

/// A call for a 4 by 3 or, where the order of the workspace is the number of rows, a 3 by 4 matrix.
template <Scalar T, Int form_index>
struct BlockedCall {
  static constexpr Form form = all_forms[form_index];
  Int m = form.columnwise() ? 4 : 3, n = form.columnwise() ? 3 : 4, lda = 5, lwork = 3;
  GuardedMatrix<T> A = GuardedMatrix<T>(4, 4, 5);
  GuardedVector<T> tau = GuardedVector<T>(3), work = GuardedVector<T>(3);

  BlockedCall() {
    for (Int j = 1; j <= 4; ++j) {
      for (Int i = 1; i <= 4; ++i) A(i, j) = T(Real<T>(i * j));
    }
    A.seal();
  }

  Int run() {
    Int info = 99;
    factor_by_blocks<T>(form, m, n, {A.data(), lda}, tau.data(), work.data(), lwork, info);
    if (info != 0) {
      EXPECT_EQ(work(1), T(Real<T>(block_width * (form.columnwise() ? n : m))));
    }
    return info;
  }
  bool unchanged() const { return A.unchanged() && tau.unchanged() && work.unchanged_outside(1, 1); }
};

template <Scalar T, Int form_index>
struct UnblockedCall : BlockedCall<T, form_index> {
  Int run() {
    Int info = 99;
    factor_one_by_one<T>(this->form, this->m, this->n, {this->A.data(), this->lda}, this->tau.data(), this->work.data(),
                         info);
    return info;
  }
  bool unchanged() const { return BlockedCall<T, form_index>::unchanged() && this->work.unchanged(); }
};

template <Scalar T, Int form_index>
void expect_checks() {
  using Blocked = BlockedCall<T, form_index>;
  using Unblocked = UnblockedCall<T, form_index>;
  expect_argument_checks<Blocked>(reported_name<T>(name_of(Blocked::form, 'F')),
                                  {{1, [](Blocked& call) { call.m = -1; }},
                                   {2, [](Blocked& call) { call.n = -1; }},
                                   {4, [](Blocked& call) { call.lda = 2; }},
                                   {7, [](Blocked& call) { call.lwork = 2; }}});
  expect_argument_checks<Unblocked>(reported_name<T>(name_of(Blocked::form, '2')),
                                    {{1, [](Unblocked& call) { call.m = -1; }},
                                     {2, [](Unblocked& call) { call.n = -1; }},
                                     {4, [](Unblocked& call) { call.lda = 2; }}});

  // A question with a bad argument.
  Blocked question;
  question.lwork = -1;
  question.lda = 2;
  expect_report(question, reported_name<T>(name_of(Blocked::form, 'F')), 4);
  for (const Int lwork : {0, -2}) {
    Blocked call;
    call.lwork = lwork;
    expect_report(call, reported_name<T>(name_of(Blocked::form, 'F')), 7);
  }

  // The least leading dimension and the least workspace are one, also where there is nothing to do.
  Blocked no_rows;
  no_rows.m = no_rows.lda = 0;
  expect_report(no_rows, reported_name<T>(name_of(Blocked::form, 'F')), 4);
  Unblocked no_rows_either;
  no_rows_either.m = no_rows_either.lda = 0;
  expect_report(no_rows_either, reported_name<T>(name_of(Blocked::form, '2')), 4);
  Blocked no_lines;
  (Blocked::form.columnwise() ? no_lines.n : no_lines.m) = no_lines.lwork = 0;
  expect_report(no_lines, reported_name<T>(name_of(Blocked::form, 'F')), 7);
}

TYPED_TEST(LqQlRq, ReportsBadArguments) {
  expect_checks<TypeParam, 0>();
  expect_checks<TypeParam, 1>();
  expect_checks<TypeParam, 2>();
}

TYPED_TEST(LqQlRq, FactorsMatricesThatAreHardToSolveWith) {
  using T = TypeParam;
  DescribedMatrices matrices(7);
  const auto expect_all_factored = [&](const Description& description, const Shape& shape) {
    const GuardedMatrix<T> A = matrices.general<T>(description, shape.m, shape.n, padded(shape.m));
    for (const Form& form : all_forms) {
      SCOPED_TRACE(testing::Message() << name_of(form, 'F') << ", " << to_string(shape) << ", " << description.name);
      expect_factored(factor(form, A, block_width * lines_of(form, shape)));
      expect_factored(factor_unblocked(form, A));
    }
  };
  for (const Shape& shape : {Shape{6, 6}, {40, 40}, {90, 33}, {33, 90}, {110, 100}}) {
    for (const Description& description : matrices_of_full_rank) expect_all_factored(description, shape);
    for (const Description& description : rank_deficient_matrices) expect_all_factored(description, shape);
  }
}

}  // namespace
}  // namespace nuv::test
