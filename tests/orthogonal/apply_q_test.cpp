// Products with Q: ormqr, ormlq, ormql, ormrq by the layer stub and by the serial body, and their unblocked forms.

#include <array>
#include <vector>

#include "orthogonal/products_with_q.hpp"
#include "support/argument_checks.hpp"
#include "support/memory_requests.hpp"
#include "support/sanitized.hpp"

namespace nuv::test {
namespace {

template <class T>
class ApplyQ : public ReportingTest {
 protected:
  Random random{81};
};
TYPED_TEST_SUITE(ApplyQ, Precisions, PrecisionLetter);

/// Blocks hold 32 reflectors in the complex precisions; in the real ones 16 where a size of C is at most 64, 32 beyond
/// that, 64 from 256000 elements on. Strips of C hold 256 columns or rows.
std::vector<ProductSizes> sizes() {
  std::vector<ProductSizes> all = {{1, 1, 1},     {1, 7, 1},      {5, 1, 3},      {15, 4, 15},   {16, 5, 16},
                                   {17, 3, 17},   {40, 6, 16},    {40, 6, 17},    {32, 9, 32},   {33, 70, 33},
                                   {48, 1, 48},   {49, 8, 48},    {65, 66, 32},   {65, 70, 33},  {64, 3, 64},
                                   {96, 67, 96},  {97, 5, 80},    {130, 80, 129}, {36, 255, 34}, {36, 256, 34},
                                   {36, 257, 34}, {40, 300, 40},  {36, 512, 33},  {36, 513, 33}, {72, 260, 70},
                                   {300, 70, 66}, {256, 10, 256}, {300, 3, 300},  {290, 900, 70}};
  if (is_sanitized) std::erase_if(all, [](const ProductSizes& s) { return s.nq * s.nw > 20000 || s.nq > 200; });
  return all;
}

TYPED_TEST(ApplyQ, MultipliesFromBothSides) {
  using T = TypeParam;
  for (const ProductSizes& s : sizes()) {
    for_each_product<T>(this->random, s, [&](const ProductWithQ<T>& product) {
      // The largest sizes are judged in one variant of each form, and only where the block size depends on them.
      const Form& form = product.Q.form;
      const bool is_chosen = product.left == form.forward() && product.plain != form.columnwise();
      if (std::int64_t{s.nq} * s.nw * s.k > 200000 && !is_chosen) return;
      if (s.nq * s.nw >= 256000 && ComplexScalar<T>) return;
      const Int best = product.best_lwork();
      const Computed<T> computed = product.template compute_by<ByLayer>(best);
      EXPECT_LT(product.error_of(computed.C), threshold);
      EXPECT_EQ(computed.work(1), T(Real<T>(best)));
      EXPECT_TRUE(product.template compute_by<ByBody>(best).C.same_as(computed.C));
      if (!product.goes_by_blocks()) {
        EXPECT_TRUE(computed.C.same_as(product.one_by_one()));
      } else {
        EXPECT_TRUE(computed.C.same_as(product.by_blocks()));
      }
    });
  }
}

TYPED_TEST(ApplyQ, MultipliesByOneReflectorAfterAnother) {
  using T = TypeParam;
  for (const ProductSizes& s : sizes()) {
    if (s.nq * s.nw > 10000) continue;
    for_each_product<T>(this->random, s, [&](const ProductWithQ<T>& product) {
      EXPECT_LT(product.error_of(product.one_by_one()), threshold);
    });
  }
}

TYPED_TEST(ApplyQ, AnswersTheWorkspaceQuestionAndDoesNothingElse) {
  using T = TypeParam;
  for (const ProductSizes& s : {ProductSizes{40, 30, 20}, {90, 80, 70}, {40, 30, 0}, {40, 0, 7}, {0, 7, 0}}) {
    for_each_product<T>(this->random, s, [&](const ProductWithQ<T>& product) {
      const Int nb = ComplexScalar<T> ? 32 : s.nq > 64 && s.nw > 64 ? 32 : 16;
      GuardedMatrix<T> A(s.nq, s.nq, std::max(1, s.nq)), C(product.m(), product.n(), std::max(1, product.m()));
      GuardedVector<T> tau(s.k), work(3);
      const auto ask_by = [&]<class Way>(Way) {
        Int info = 99;
        work(1) = T(-1);
        Way::call(product.Q.form, product.side, product.trans, product.m(), product.n(), s.k, Matrix<T>(A),
                  static_cast<const T*>(tau.data()), Matrix<T>(C), work.data(), Int{-1}, info);
        EXPECT_EQ(info, 0);
        EXPECT_EQ(work(1), T(Real<T>((s.nw + s.k) * nb)));
      };
      ask_by(ByLayer());
      ask_by(ByBody());
      EXPECT_TRUE(A.unchanged());
      EXPECT_TRUE(C.unchanged());
      EXPECT_TRUE(tau.unchanged());
      EXPECT_TRUE(work.unchanged_outside(1, 1));
    });
  }
}

TYPED_TEST(ApplyQ, TakesBlocksAsWideAsTheirTableSays) {
  using T = TypeParam;
  // 128 reflectors from 1500000 elements on in the real precisions, 64 from 256000 on.
  for (const auto& [m, n, real_width] :
       {std::array{1500, 1000, 128}, {1500, 999, 64}, {640, 400, 64}, {639, 400, 32}}) {
    const Int nb = ComplexScalar<T> ? 32 : real_width, k = 200;
    for (const Form& form : forms) {
      for (const bool left : {true, false}) {
        SCOPED_TRACE(letters_of(form) + ", " + std::to_string(m) + " by " + std::to_string(n));
        T work(0);
        Int info = 99;
        ByLayer::call(form, left ? 'L' : 'R', 'N', m, n, k, Matrix<T>(nullptr, 1500), static_cast<const T*>(nullptr),
                      Matrix<T>(nullptr, 1500), &work, Int{-1}, info);
        EXPECT_EQ(info, 0);
        EXPECT_EQ(work, T(Real<T>(((left ? n : m) + k) * nb)));
      }
    }
  }
}

TYPED_TEST(ApplyQ, TakesItsWidestBlocks) {
  using T = TypeParam;
  if (!ComplexScalar<T> && !is_sanitized) {
    const ProductWithQ<T> product(this->random, forms[0], true, false, {1500, 1000, 130});
    ASSERT_EQ(product.block_size(), 128);
    const GuardedMatrix<T> expected = product.by_blocks();
    for (const Int lwork : {product.best_lwork(), product.sizes.nw}) {
      EXPECT_TRUE(product.template compute_by<ByLayer>(lwork).C.same_as(expected));
    }
  }
}

TYPED_TEST(ApplyQ, MayHoldIdentities) {
  using T = TypeParam;
  for (const ProductSizes& s : {ProductSizes{12, 7, 9}, {50, 30, 40}}) {
    for_each_product<T>(this->random, s, [&](ProductWithQ<T> product) {
      for (const Int i : {1, 4, s.k - 1, s.k}) product.Q.tau(i) = T(0);
      product.Q.tau.seal();
      EXPECT_LT(product.error_of(product.template compute_by<ByLayer>(product.best_lwork()).C), threshold);
      EXPECT_LT(product.error_of(product.one_by_one()), threshold);
    });
  }
}

TYPED_TEST(ApplyQ, LeavesCAloneWhereThereIsNothingToDo) {
  using T = TypeParam;
  for (const ProductSizes& s : {ProductSizes{12, 9, 0}, {12, 0, 5}, {0, 9, 0}, {0, 0, 0}}) {
    for_each_product<T>(this->random, s, [&](const ProductWithQ<T>& product) {
      const Int lwork = std::max(1, s.nw);
      const Computed<T> computed = product.template compute_by<ByLayer>(lwork);
      EXPECT_TRUE(computed.C.same_as(product.C));
      EXPECT_EQ(computed.work(1), T(1));
      EXPECT_TRUE(computed.work.unchanged_outside(1, 1));
      const Computed<T> unblocked = product.template compute_by<OneByOne>(lwork);
      EXPECT_TRUE(unblocked.C.same_as(product.C));
      EXPECT_TRUE(unblocked.work.unchanged());
    });
  }
}

// ---------------------------------------------------------------------------------------------------------- workspace

constexpr ProductSizes workspace_sizes[] = {{40, 30, 36}, {70, 66, 69}, {36, 300, 34}};

TYPED_TEST(ApplyQ, TakesFromThePoolWhatTheCallerDoesNotGive) {
  using T = TypeParam;
  for (const ProductSizes& s : workspace_sizes) {
    for_each_product<T>(this->random, s, [&](const ProductWithQ<T>& product) {
      const Int best = product.best_lwork();
      const GuardedMatrix<T> expected = product.template compute_by<ByLayer>(best).C;
      for (const Int lwork : {s.nw, s.nw + 1, best / 2, best - 1, best, best + 1}) {
        SCOPED_TRACE(lwork);
        const MemoryRequests memory;
        const Computed<T> computed = product.template compute_by<ByLayer>(lwork);
        EXPECT_TRUE(computed.C.same_as(expected));
        EXPECT_EQ(computed.work(1), T(Real<T>(best)));
        EXPECT_EQ(memory.included(std::size_t(best) * sizeof(T)), lwork < best);
        EXPECT_EQ(memory.kept(), 0);
        if (lwork < best) {
          EXPECT_TRUE(computed.work.unchanged_outside(1, 1));
        }
      }
    });
  }
}

TYPED_TEST(ApplyQ, AsksThePoolForNothingItself) {
  using T = TypeParam;
  if constexpr (!ComplexScalar<T>) {  // a complex factor of reflectors needs a vector
    // Products of such sizes are formed without packed copies, which would come from the pool.
    for_each_product<T>(this->random, {40, 30, 36}, [&](const ProductWithQ<T>& product) {
      ASSERT_TRUE(product.goes_by_blocks());
      const MemoryRequests memory;
      product.template compute_by<ByLayer>(product.best_lwork());
      EXPECT_EQ(memory.count(), 0);
    });
  }
}

TYPED_TEST(ApplyQ, AsksThePoolForNothingWhereItGoesOneByOne) {
  using T = TypeParam;
  const Int nb = ComplexScalar<T> ? 32 : 16;
  for (const ProductSizes& s : {ProductSizes{40, 30, nb}, {40, 30, 3}, {40, 30, 0}, {0, 30, 0}}) {
    for_each_product<T>(this->random, s, [&](const ProductWithQ<T>& product) {
      const MemoryRequests memory;
      product.template compute_by<ByLayer>(s.nw);
      EXPECT_EQ(memory.count(), 0);
    });
  }
}

TYPED_TEST(ApplyQ, GoesOnOneReflectorAfterAnotherWithoutMemory) {
  using T = TypeParam;
  for (const ProductSizes& s : workspace_sizes) {
    for_each_product<T>(this->random, s, [&](const ProductWithQ<T>& product) {
      const Int best = product.best_lwork();
      for (const Int lwork : {s.nw, best - 1}) {
        SCOPED_TRACE(lwork);
        const MemoryRequests memory(MemoryRequests::all);
        const Computed<T> computed = product.template compute_by<ByLayer>(lwork);
        EXPECT_TRUE(memory.included(std::size_t(best) * sizeof(T)));
        EXPECT_TRUE(computed.C.same_as(product.one_by_one()));
        EXPECT_EQ(computed.work(1), T(Real<T>(best)));
      }
    });
    // Nobody hears of it.
    EXPECT_EQ(take_error_reports(), std::vector<ErrorReport>());
  }
}

// ------------------------------------------------------------------------------------------------------ bad arguments

/// A product of three reflectors of order 5 with a 5 by 4 matrix from the left.
template <Scalar T, Int form_index, class Way>
struct ApplyCall {
  static constexpr Form form = forms[form_index];
  static constexpr bool is_complex = ComplexScalar<T>;

  char side = 'L', trans = 'N';
  Int m = 5, n = 4, k = 3, ldc = 6, lwork = 4;
  Int lda = form.columnwise() ? 5 : 3;  // the least
  ReflectorBlock<T> Q;
  GuardedMatrix<T> A = GuardedMatrix<T>(form.columnwise() ? 5 : 3, form.columnwise() ? 3 : 5, lda);
  GuardedMatrix<T> C = GuardedMatrix<T>(5, 4, 6);
  GuardedVector<T> work = GuardedVector<T>(4);

  ApplyCall() : ApplyCall(Random(7)) {}
  explicit ApplyCall(Random random) : Q(random, form, 5, 3) {
    for (Int j = 1; j <= A.columns(); ++j) {
      for (Int i = 1; i <= A.rows(); ++i) A(i, j) = Q.V(i, j);
    }
    A.seal();
    C = random_matrix<T>(random, 5, 4, 6);
  }

  Int run() {
    Int info = 99;
    Way::call(form, side, trans, m, n, k, Matrix<T>{A.data(), lda}, static_cast<const T*>(Q.tau.data()),
              Matrix<T>{C.data(), ldc}, work.data(), lwork, info);
    return info;
  }
  bool unchanged() const { return A.unchanged() && Q.tau.unchanged() && C.unchanged() && work.unchanged(); }
};

/// One way to spoil each argument.
template <class Call>
struct Bad {
  static constexpr Spoiler<Call> side{1, [](Call& call) { call.side = 'U'; }};
  static constexpr Spoiler<Call> trans{2, [](Call& call) { call.trans = 'X'; }};
  static constexpr Spoiler<Call> m{3, [](Call& call) { call.m = -1; }};
  static constexpr Spoiler<Call> n{4, [](Call& call) { call.n = -1; }};
  static constexpr Spoiler<Call> k{5, [](Call& call) { call.k = -1; }};
  static constexpr Spoiler<Call> lda{7, [](Call& call) { call.lda -= 1; }};
  static constexpr Spoiler<Call> ldc{10, [](Call& call) { call.ldc = 4; }};
  static constexpr Spoiler<Call> lwork{12, [](Call& call) { call.lwork = 3; }};
};

template <class Call>
void expect_checks_of_values(const std::string& name) {
  Call too_many;
  too_many.k = 6;
  expect_report(too_many, name, 5);
  // The least leading dimensions are one, also where there is nothing to do.
  Call no_reflectors;
  no_reflectors.m = no_reflectors.k = no_reflectors.lda = 0;
  expect_report(no_reflectors, name, 7);
  Call no_rows;
  no_rows.m = no_rows.k = no_rows.ldc = 0;
  expect_report(no_rows, name, 10);
  // The letter of the other field.
  for (const char letter : {Call::is_complex ? 'T' : 'C', Call::is_complex ? 't' : 'c'}) {
    Call call;
    call.trans = letter;
    expect_report(call, name, 2);
  }
}

template <class Call>
void expect_checks_with_workspace(const std::string& name) {
  expect_argument_checks<Call>(name, {Bad<Call>::side, Bad<Call>::trans, Bad<Call>::m, Bad<Call>::n, Bad<Call>::k,
                                      Bad<Call>::lda, Bad<Call>::ldc, Bad<Call>::lwork});
  expect_checks_of_values<Call>(name);
  for (const Int lwork : {0, -2}) {
    Call call;
    call.lwork = lwork;
    expect_report(call, name, 12);
  }
  Call no_columns;
  no_columns.n = no_columns.lwork = 0;
  expect_report(no_columns, name, 12);
  // A question is checked like any other call.
  for (const auto& [position, spoil] :
       {Bad<Call>::side, Bad<Call>::trans, Bad<Call>::m, Bad<Call>::n, Bad<Call>::k, Bad<Call>::lda, Bad<Call>::ldc}) {
    Call question;
    question.lwork = -1;
    spoil(question);
    expect_report(question, name, position);
  }
}

template <Scalar T, int form_index>
void expect_checks() {
  const Form form = forms[form_index];
  const std::string name = name_with_q<T>("M", letters_of(form));
  expect_checks_with_workspace<ApplyCall<T, form_index, ByLayer>>(name);
  expect_checks_with_workspace<ApplyCall<T, form_index, ByBody>>(name);

  using Unblocked = ApplyCall<T, form_index, OneByOne>;
  const std::string unblocked_name = name_with_q<T>("M", unblocked_letters_of(form));
  expect_argument_checks<Unblocked>(unblocked_name,
                                    {Bad<Unblocked>::side, Bad<Unblocked>::trans, Bad<Unblocked>::m, Bad<Unblocked>::n,
                                     Bad<Unblocked>::k, Bad<Unblocked>::lda, Bad<Unblocked>::ldc});
  expect_checks_of_values<Unblocked>(unblocked_name);
}

TYPED_TEST(ApplyQ, ReportsBadArguments) {
  expect_checks<TypeParam, 0>();
  expect_checks<TypeParam, 1>();
  expect_checks<TypeParam, 2>();
  expect_checks<TypeParam, 3>();
}

}  // namespace
}  // namespace nuv::test
