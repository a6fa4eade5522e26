// Q formed from its reflectors: orgqr, orglq, orgql, orgrq and their unblocked forms.

#include <vector>

#include "orthogonal/products_with_q.hpp"
#include "support/argument_checks.hpp"
#include "support/sanitized.hpp"

namespace nuv::test {
namespace {

template <class T>
class FormQ : public ReportingTest {
 protected:
  Random random{91};
};
TYPED_TEST_SUITE(FormQ, Precisions, PrecisionLetter);

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
    const WideMatrix<T> gram = product<T>(columns.adjoint(), columns);
    const double defect = one_norm<T>(WideMatrix<T>(gram - WideMatrix<T>::Identity(lines.count, lines.count))) /
                          (lines.order * epsilon<T>);
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
    return compute(lwork, [](auto&&... arguments) { form_q_by_blocks<T>(arguments...); });
  }
  Computed<T> one_by_one() const {
    return compute(lines.count,
                   [](const Form& form, Int rows, Int columns, Int k, Matrix<T> a, const T* tau, T* work, Int,
                      Int& info) { form_q_one_by_one<T>(form, rows, columns, k, a, tau, work, info); });
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

/// Forms Q by blocks of so many reflectors, with the calls that it takes made from here. The lines of Q are columns or,
/// where reflectors are rows, rows; places are counted along them.
template <Scalar T>
class FormedByHand {
 public:
  FormedByHand(const Problem<T>& problem, Int nb)
      : form_(problem.Q.form),
        lines_(problem.lines),
        result_(problem.A),
        tau_(problem.Q.tau.data()),
        A_(result_),
        work_(lines_.count * nb) {
    constexpr Int crossover = 32;
    const Int k = lines_.k, by_blocks = std::min(k, (k - crossover + nb - 1) / nb * nb);
    form_.forward() ? form_forward(nb, by_blocks) : form_backward(nb, by_blocks);
  }
  FormedByHand(const FormedByHand&) = delete;
  FormedByHand& operator=(const FormedByHand&) = delete;

  const GuardedMatrix<T>& result() const { return result_; }

 private:
  Matrix<T> from(Int place, Int line) const {
    return form_.columnwise() ? block(A_, place, line) : block(A_, line, place);
  }

  void clear(Int place, Int last_place, Int line, Int last_line) const {
    for (Int l = line; l <= last_line; ++l) {
      for (Int p = place; p <= last_place; ++p) *from(p, l).data = T(0);
    }
  }

  void form_one_by_one(Int length, Int count, Int k, Int place, Int line, Int i) {
    Int info = 99;
    form_q_one_by_one<T>(form_, form_.columnwise() ? length : count, form_.columnwise() ? count : length, k,
                         from(place, line), tau_ + i - 1, work_.data(), info);
    EXPECT_EQ(info, 0);
  }

  /// Applies the ib reflectors from i on, which stand from this place and line on, to the lines from `other` on.
  void apply(Int length, Int ib, Int i, Int place, Int line, Int others, Int other) {
    if (others == 0) return;
    const Matrix<T> V = from(place, line), C = from(place, other), t{work_.data(), lines_.count},
                    w{work_.data() + ib, lines_.count};
    routine_call::larft(form_.direct, form_.storev, length, ib, V, tau_ + i - 1, t);
    if (form_.columnwise()) {
      routine_call::larfb('L', 'N', form_.direct, form_.storev, length, others, ib, V, t, C, w);
    } else {
      routine_call::larfb('R', adjoint_letter<T>, form_.direct, form_.storev, others, length, ib, V, t, C, w);
    }
  }

  void form_forward(Int nb, Int done) {
    const auto& [order, count, k] = lines_;
    clear(1, done, done + 1, count);
    form_one_by_one(order - done, count - done, k - done, done + 1, done + 1, done + 1);
    for (Int i = (done - 1) / nb * nb + 1; i >= 1; i -= nb) {
      const Int ib = std::min(nb, k - i + 1), length = order - i + 1;
      apply(length, ib, i, i, i, count - i - ib + 1, i + ib);
      form_one_by_one(length, ib, ib, i, i, i);
      clear(1, i - 1, i, i + ib - 1);
    }
  }

  void form_backward(Int nb, Int done) {
    const auto& [order, count, k] = lines_;
    clear(order - done + 1, order, 1, count - done);
    form_one_by_one(order - done, count - done, k - done, 1, 1, 1);
    for (Int i = k - done + 1; i <= k; i += nb) {
      const Int ib = std::min(nb, k - i + 1), length = order - k + i + ib - 1, line = count - k + i;
      apply(length, ib, i, 1, line, line - 1, 1);
      form_one_by_one(length, ib, ib, 1, line, i);
      clear(length + 1, order, line, line + ib - 1);
    }
  }

  Form form_;
  Lines lines_;
  GuardedMatrix<T> result_;
  const T* tau_;
  Matrix<T> A_;
  GuardedVector<T> work_;
};

TYPED_TEST(FormQ, FormsTheLastReflectorsOneByOneAndTheOthersByBlocks) {
  using T = TypeParam;
  std::vector<Lines> all = {{100, 90, 85}, {66, 66, 66}, {64, 60, 55}, {130, 129, 128}};
  // Blocks of 64, of which the last is shorter, with no reflector left over.
  if (!ComplexScalar<T> && !is_sanitized) all.push_back({640, 400, 100});
  for (const Lines& lines : all) {
    for_each_form<T>(this->random, lines, [&](const Problem<T>& problem) {
      const Int best = problem.block_size();
      for (const Int nb : {best, best - 1, 7, 2}) {
        SCOPED_TRACE("width " + std::to_string(nb));
        const FormedByHand<T> by_hand(problem, nb);
        EXPECT_TRUE(problem.by_blocks(nb * lines.count).C.same_as(by_hand.result()));
        // A workspace of one element less than the next width needs.
        if (nb < best) {
          EXPECT_TRUE(problem.by_blocks((nb + 1) * lines.count - 1).C.same_as(by_hand.result()));
        }
      }
    });
  }
}

TYPED_TEST(FormQ, MayHoldIdentities) {
  using T = TypeParam;
  for (const Lines& lines : {Lines{12, 9, 7}, {70, 60, 50}}) {
    for_each_form<T>(this->random, lines, [&](Problem<T> problem) {
      for (const Int i : {1, 4, lines.k - 1, lines.k}) problem.Q.tau(i) = T(0);
      problem.Q.tau.seal();
      EXPECT_LT(problem.error_of(problem.by_blocks(problem.block_size() * lines.count).C), threshold);
      EXPECT_LT(problem.error_of(problem.one_by_one().C), threshold);
    });
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
    form_q_by_blocks<T>(form, m, n, k, {A.data(), lda}, problem.Q.tau.data(), work.data(), lwork, info);
    if (info != 0) {
      // The answer to the question for workspace comes ahead of all checks.
      EXPECT_EQ(work(1), T(Real<T>(std::max(1, columnwise ? n : m) * (ComplexScalar<T> ? 32 : 16))));
    }
    return info;
  }
  bool unchanged() const { return A.unchanged() && problem.Q.tau.unchanged() && work.unchanged_outside(1, 1); }
};

template <Scalar T, int form_index>
struct UnblockedFormCall : FormCall<T, form_index> {
  Int run() {
    Int info = 99;
    form_q_one_by_one<T>(this->form, this->m, this->n, this->k, {this->A.data(), this->lda}, this->problem.Q.tau.data(),
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
  // The least leading dimension is one, also where there is nothing to do.
  Call no_rows;
  no_rows.m = no_rows.k = no_rows.lda = 0;
  if (Call::columnwise) no_rows.n = 0;
  expect_report(no_rows, name, 5);
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
  Blocked no_lines;
  (Blocked::columnwise ? no_lines.n : no_lines.m) = no_lines.k = no_lines.lwork = 0;
  expect_report(no_lines, name, 8);
  for (const auto& [position, spoil] : {Bad<Blocked>::m, Bad<Blocked>::n, Bad<Blocked>::k, Bad<Blocked>::lda}) {
    Blocked question;
    question.lwork = -1;
    spoil(question);
    expect_report(question, name, position);
  }
}

TYPED_TEST(FormQ, ReportsBadArguments) {
  expect_checks<TypeParam, 0>();
  expect_checks<TypeParam, 1>();
  expect_checks<TypeParam, 2>();
  expect_checks<TypeParam, 3>();
}

}  // namespace
}  // namespace nuv::test
