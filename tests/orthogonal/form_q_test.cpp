// Q formed from its reflectors: orgqr, orglq, orgql, orgrq and their unblocked forms.

#include "orthogonal/products_with_q.hpp"
#include "support/argument_checks.hpp"

namespace nuv::test {
namespace {

template <class T>
class FormQ : public ReportingTest {
 protected:
  Random random{91};
};
TYPED_TEST_SUITE(FormQ, Precisions, PrecisionLetter);

template <Scalar T>
void call_blocked(const Form& form, Int m, Int n, Int k, Matrix<T> A, const T* tau, T* work, Int lwork, Int& info) {
  if (form.columnwise()) {
    form.forward() ? routine_call::orgqr(m, n, k, A, tau, work, lwork, info)
                   : routine_call::orgql(m, n, k, A, tau, work, lwork, info);
  } else {
    form.forward() ? routine_call::orglq(m, n, k, A, tau, work, lwork, info)
                   : routine_call::orgrq(m, n, k, A, tau, work, lwork, info);
  }
}

template <Scalar T>
void call_unblocked(const Form& form, Int m, Int n, Int k, Matrix<T> A, const T* tau, T* work, Int& info) {
  if (form.columnwise()) {
    form.forward() ? routine_call::org2r(m, n, k, A, tau, work, info)
                   : routine_call::org2l(m, n, k, A, tau, work, info);
  } else {
    form.forward() ? routine_call::orgl2(m, n, k, A, tau, work, info)
                   : routine_call::orgr2(m, n, k, A, tau, work, info);
  }
}

/// Order of Q, its lines (columns, or rows where reflectors are rows) to form, and its reflectors.
struct Lines {
  Int order, count, k;
};

std::string to_string(const Lines& lines) {
  return "order " + std::to_string(lines.order) + ", lines " + std::to_string(lines.count) + ", k " +
         std::to_string(lines.k);
}

/// What is left of k reflectors when Q is formed. The matrix holds guards beside the reflectors.
template <Scalar T>
struct Problem {
  Lines lines;
  ReflectorBlock<T> Q;
  GuardedMatrix<T> A;

  Problem(Random& random, const Form& form, Lines lines_)
      : lines(lines_), Q(random, form, lines.order, lines.k), A(m(), n(), m() + random.integer(1, 4)) {
    const Int first = form.forward() ? 0 : lines.count - lines.k;
    for (Int i = 1; i <= lines.k; ++i) {
      for (Int e = 1; e <= lines.order; ++e) {
        const Place from = place_of(form, e, i), to = place_of(form, e, first + i);
        A(to.row, to.column) = Q.V(from.row, from.column);
      }
    }
    A.seal();
  }

  Int m() const { return Q.form.columnwise() ? lines.order : lines.count; }
  Int n() const { return Q.form.columnwise() ? lines.count : lines.order; }

  Int block_size() const { return ask(1, name_with_q<T>("G", letters_of(Q.form)), " ", m(), n(), lines.k); }
  bool may_go_by_blocks() const { return block_size() < lines.k && lines.k > 32; }

  WideMatrix<T> expected() const {
    WideMatrix<T> E = WideMatrix<T>::Zero(lines.order, lines.count);
    for (Int j = 0; j < lines.count; ++j) E(Q.form.forward() ? j : lines.order - lines.count + j, j) = 1;
    // Columns of H, or rows of H^H.
    const WideMatrix<T> columns = Q.times(false, E);
    return Q.form.columnwise() ? columns : WideMatrix<T>(columns.adjoint());
  }

  /// ||Q - expected|| / (||expected|| n eps) or ||Q^H Q - I|| / (n eps), with n the order of Q, whichever is larger.
  double error_of(const GuardedMatrix<T>& formed) const {
    if (lines.count == 0) return 0;
    const WideMatrix<T> computed = wide(formed), columns = Q.form.columnwise() ? computed : computed.adjoint();
    const WideMatrix<T> gram = columns.adjoint() * columns;
    const double defect =
        one_norm(WideMatrix<T>(gram - WideMatrix<T>::Identity(lines.count, lines.count))) / (lines.order * epsilon<T>);
    const double distance = relative_distance<T>(computed, expected(), lines.order);
    return defect <= distance ? distance : defect;
  }

  template <class Routine>
  Computed<T> compute(Int lwork, Routine routine) const {
    Computed<T> result{A, GuardedVector<T>(std::max(1, lwork))};
    Int info = 99;
    routine(Q.form, m(), n(), lines.k, Matrix<T>(result.C), Q.tau.data(), result.work.data(), lwork, info);
    EXPECT_EQ(info, 0);
    EXPECT_TRUE(result.C.guards_unchanged());
    EXPECT_TRUE(result.work.guards_unchanged());
    EXPECT_TRUE(Q.tau.unchanged());
    return result;
  }

  Computed<T> by_blocks(Int lwork) const {
    return compute(lwork, [](auto&&... arguments) { call_blocked<T>(arguments...); });
  }
  Computed<T> one_by_one() const {
    return compute(lines.count, [](const Form& form, Int rows, Int columns, Int k, Matrix<T> a, const T* tau, T* work,
                                   Int, Int& info) { call_unblocked<T>(form, rows, columns, k, a, tau, work, info); });
  }
};

template <Scalar T, class Visit>
void for_each_form(Random& random, Lines lines, Visit visit) {
  for (const Form& form : forms) {
    const Problem<T> problem(random, form, lines);
    SCOPED_TRACE(letters_of(form) + ", " + to_string(lines));
    visit(problem);
  }
}

/// Blocks hold 32 reflectors in the complex precisions and from order 65 on, else 16; the first 32 reflectors are
/// formed one by one.
std::vector<Lines> sizes() {
  std::vector<Lines> all = {{1, 1, 1},     {1, 1, 0},     {6, 4, 0},     {6, 6, 0},    {6, 4, 2},    {6, 6, 6},
                            {16, 16, 16},  {17, 17, 17},  {40, 33, 32},  {40, 33, 33}, {40, 40, 40}, {64, 50, 48},
                            {64, 64, 49},  {65, 65, 33},  {70, 66, 64},  {70, 66, 65}, {96, 96, 96}, {97, 97, 97},
                            {130, 70, 40}, {129, 90, 90}, {260, 34, 34}, {260, 3, 3}};
  if (is_sanitized) std::erase_if(all, [](const Lines& lines) { return lines.order > 100; });
  return all;
}

TYPED_TEST(FormQ, FormsOrthonormalLines) {
  using T = TypeParam;
  for (const Lines& lines : sizes()) {
    for_each_form<T>(this->random, lines, [&](const Problem<T>& problem) {
      const Int nb = problem.block_size();
      const bool by_blocks = problem.may_go_by_blocks();
      const Computed<T> computed = problem.by_blocks(nb * lines.count), unblocked = problem.one_by_one();
      EXPECT_LT(problem.error_of(computed.C), threshold);
      if (!by_blocks) {
        EXPECT_TRUE(computed.C.same_as(unblocked.C));
      } else if (lines.order <= 70) {
        EXPECT_LT(problem.error_of(unblocked.C), threshold);
      }
      EXPECT_EQ(computed.work(1), T(Real<T>(by_blocks ? nb * lines.count : lines.count)));
    });
  }
}

TYPED_TEST(FormQ, TakesBlocksThatTheWorkspaceHolds) {
  using T = TypeParam;
  for (const Lines& lines : {Lines{70, 60, 50}, {90, 80, 80}}) {
    for_each_form<T>(this->random, lines, [&](const Problem<T>& problem) {
      const Int nb = problem.block_size(), count = lines.count;
      ASSERT_TRUE(problem.may_go_by_blocks());
      const GuardedMatrix<T> unblocked = problem.one_by_one().C;
      for (const Int lwork : {count, 2 * count - 1, 2 * count, 5 * count + 3, nb * count - 1, nb * count + 7}) {
        SCOPED_TRACE(lwork);
        const Computed<T> computed = problem.by_blocks(lwork);
        EXPECT_LT(problem.error_of(computed.C), threshold);
        EXPECT_EQ(computed.work(1), T(Real<T>(nb * count)));
        EXPECT_EQ(bool(computed.C.same_as(unblocked)), lwork < 2 * count);
      }
    });
  }
}

/// The blocked form of the first columns of Q, with its calls made from here.
TYPED_TEST(FormQ, FormsTheLastReflectorsOneByOneAndTheOthersByBlocks) {
  using T = TypeParam;
  for (const Lines& lines : {Lines{100, 90, 85}, {66, 66, 66}, {64, 60, 55}, {130, 129, 128}}) {
    SCOPED_TRACE(to_string(lines));
    const auto& [m, n, k] = lines;
    const Problem<T> problem(this->random, forms[0], lines);
    const Int nb = problem.block_size(), crossover = 32;
    const Int last = (k - crossover - 1) / nb * nb, done = std::min(k, last + nb);
    Problem<T> copy = problem;
    const Matrix<T> A(copy.A);
    const T* const tau = problem.Q.tau.data();
    GuardedVector<T> room(n * nb);
    T* const work = room.data();
    Int info = 0;
    for (Int j = done + 1; j <= n; ++j) std::fill_n(A.at(1, j), done, T(0));
    routine_call::org2r(m - done, n - done, k - done, block(A, done + 1, done + 1), tau + done, work, info);
    for (Int i = last + 1; i >= 1; i -= nb) {
      const Int ib = std::min(nb, k - i + 1), rest = n - i - ib + 1;
      if (rest > 0) {
        routine_call::larft('F', 'C', m - i + 1, ib, block(A, i, i), tau + i - 1, Matrix<T>{work, n});
        routine_call::larfb('L', 'N', 'F', 'C', m - i + 1, rest, ib, block(A, i, i), Matrix<T>{work, n},
                            block(A, i, i + ib), Matrix<T>{work + ib, n});
      }
      routine_call::org2r(m - i + 1, ib, ib, block(A, i, i), tau + i - 1, work, info);
      for (Int j = i; j < i + ib; ++j) std::fill_n(A.at(1, j), i - 1, T(0));
    }
    EXPECT_TRUE(problem.by_blocks(nb * n).C.same_as(copy.A));
  }
}

TYPED_TEST(FormQ, AnswersTheWorkspaceQuestionAndDoesNothingElse) {
  using T = TypeParam;
  for (const Lines& lines : {Lines{40, 30, 20}, {90, 80, 70}, {7, 0, 0}, {0, 0, 0}}) {
    for_each_form<T>(this->random, lines, [&](const Problem<T>& problem) {
      const Int nb = ComplexScalar<T> || (problem.m() > 64 && problem.n() > 64) ? 32 : 16;
      const Computed<T> computed = problem.by_blocks(-1);
      EXPECT_EQ(computed.work(1), T(Real<T>(std::max(1, lines.count) * nb)));
      EXPECT_TRUE(computed.C.same_as(problem.A));
    });
  }
}

TYPED_TEST(FormQ, OfNoLinesIsNoWork) {
  using T = TypeParam;
  for (const Lines& lines : {Lines{7, 0, 0}, {0, 0, 0}}) {
    for_each_form<T>(this->random, lines,
                     [&](const Problem<T>& problem) { EXPECT_EQ(problem.by_blocks(1).work(1), T(1)); });
  }
}

// ------------------------------------------------------------------------------------------------------ bad arguments

/// Four lines of order 5 from three reflectors.
template <Scalar T, int form_index>
struct FormCall {
  static constexpr Form form = forms[form_index];
  static constexpr bool columnwise = form.storev == 'C';

  Int m = columnwise ? 5 : 4, n = columnwise ? 4 : 5, k = 3, lda = columnwise ? 5 : 4, lwork = 4;
  Random random = Random(3);
  Problem<T> problem = Problem<T>(random, form, {5, 4, 3});
  GuardedMatrix<T> A = GuardedMatrix<T>(m, n, lda);
  GuardedVector<T> work = GuardedVector<T>(4);

  FormCall() {
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= m; ++i) A(i, j) = problem.A(i, j);
    }
    A.seal();
  }

  Int run() {
    Int info = 99;
    call_blocked<T>(form, m, n, k, {A.data(), lda}, problem.Q.tau.data(), work.data(), lwork, info);
    return info;
  }
  bool unchanged() const { return A.unchanged() && problem.Q.tau.unchanged() && work.unchanged_outside(1, 1); }
};

template <Scalar T, int form_index>
struct UnblockedFormCall : FormCall<T, form_index> {
  Int run() {
    Int info = 99;
    call_unblocked<T>(this->form, this->m, this->n, this->k, {this->A.data(), this->lda}, this->problem.Q.tau.data(),
                      this->work.data(), info);
    return info;
  }
  bool unchanged() const { return FormCall<T, form_index>::unchanged() && this->work.unchanged(); }
};

/// One way to spoil each argument.
template <class Call>
struct Bad {
  static constexpr Spoiler<Call> m{1, [](Call& call) { call.m = -1; }};
  static constexpr Spoiler<Call> n{2, [](Call& call) { call.n = -1; }};
  static constexpr Spoiler<Call> k{3, [](Call& call) { call.k = -1; }};
  static constexpr Spoiler<Call> lda{5, [](Call& call) { call.lda -= 1; }};
  static constexpr Spoiler<Call> lwork{8, [](Call& call) { call.lwork = 3; }};
};

template <class Call>
void expect_checks_of_values(const std::string& name) {
  Call more_lines_than_order;
  (Call::columnwise ? more_lines_than_order.m : more_lines_than_order.n) = 3;
  expect_report(more_lines_than_order, name, 2);
  Call too_many;
  too_many.k = 5;
  expect_report(too_many, name, 3);
}

template <Scalar T, int form_index>
void expect_checks() {
  using Blocked = FormCall<T, form_index>;
  using Unblocked = UnblockedFormCall<T, form_index>;
  const std::string name = name_with_q<T>("G", letters_of(forms[form_index]));
  const std::string unblocked_name = name_with_q<T>("G", unblocked_letters_of(forms[form_index]));
  expect_argument_checks<Blocked>(
      name, {Bad<Blocked>::m, Bad<Blocked>::n, Bad<Blocked>::k, Bad<Blocked>::lda, Bad<Blocked>::lwork});
  expect_argument_checks<Unblocked>(unblocked_name,
                                    {Bad<Unblocked>::m, Bad<Unblocked>::n, Bad<Unblocked>::k, Bad<Unblocked>::lda});
  expect_checks_of_values<Blocked>(name);
  expect_checks_of_values<Unblocked>(unblocked_name);
  for (const Int lwork : {0, -2}) {
    Blocked call;
    call.lwork = lwork;
    expect_report(call, name, 8);
  }
  Blocked question;
  question.lwork = -1;
  question.lda -= 1;
  expect_report(question, name, 5);
}

TYPED_TEST(FormQ, ReportsBadArguments) {
  expect_checks<TypeParam, 0>();
  expect_checks<TypeParam, 1>();
  expect_checks<TypeParam, 2>();
  expect_checks<TypeParam, 3>();
}

}  // namespace
}  // namespace nuv::test
