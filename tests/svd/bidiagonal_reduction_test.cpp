// Reduction of general matrices to bidiagonal form: gebrd, gebd2 and the panels of the former.

#include "blas.hpp"
#include "routines.hpp"
#include "solvers/recording_layer.hpp"
#include "support/argument_checks.hpp"
#include "support/random.hpp"
#include "svd/decomposition_checks.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

/// Width of panels, and order of what is left to the unblocked code.
constexpr Int width = 32, crossover = 32;

template <Scalar T>
struct Reduced {
  using R = Real<T>;

  Int m, n, k, lda, info = 99;
  GuardedMatrix<T> A;
  GuardedVector<R> d, e;
  GuardedVector<T> tauq, taup, work{1};
  Int lwork = 1;

  explicit Reduced(const GuardedMatrix<T>& matrix)
      : m(matrix.rows()),
        n(matrix.columns()),
        k(std::min(m, n)),
        lda(matrix.ld()),
        A(matrix),
        d(k),
        e(std::max(0, k - 1)),
        tauq(k),
        taup(k) {}

  void make_room(Int size) {
    lwork = size;
    work = GuardedVector<T>(std::max(1, size));
  }

  Reduced& by_blocks(Int size) {
    make_room(size);
    routine_call::gebrd(m, n, Matrix<T>{A.data(), lda}, d.data(), e.data(), tauq.data(), taup.data(), work.data(),
                        lwork, info);
    return *this;
  }
  Reduced& unblocked() {
    make_room(std::max(m, n));
    routine_call::gebd2(m, n, Matrix<T>{A.data(), lda}, d.data(), e.data(), tauq.data(), taup.data(), work.data(),
                        info);
    return *this;
  }

  bool is_upper() const { return m >= n; }

  /// B, min(m, n) by min(m, n).
  WideMatrix<T> bidiagonal() const {
    WideMatrix<T> B = WideMatrix<T>::Zero(k, k);
    for (Int i = 0; i < k; ++i) {
      B(i, i) = wide(d(i + 1));
      if (i + 1 < k) (is_upper() ? B(i, i + 1) : B(i + 1, i)) = wide(e(i + 1));
    }
    return B;
  }

  /// The first min(m, n) columns of Q ('Q') or rows of P^H ('P').
  WideMatrix<T> formed(char vect) const {
    const bool is_q = vect == 'Q';
    GuardedMatrix<T> X(is_q ? m : k, is_q ? k : n, is_q ? m : k);
    for (Int j = 1; j <= X.columns(); ++j) std::copy_n(&A(1, j), X.rows(), &X(1, j));
    GuardedVector<T> room(32 * k);
    Int result = 99;
    routine_call::orgbr(vect, X.rows(), X.columns(), is_q ? n : m, Matrix<T>(X), (is_q ? tauq : taup).data(),
                        room.data(), room.size(), result);
    EXPECT_EQ(result, 0);
    return wide(X);
  }

  void expect_guards() const {
    EXPECT_TRUE(A.guards_unchanged() && d.guards_unchanged() && e.guards_unchanged());
    EXPECT_TRUE(tauq.guards_unchanged() && taup.guards_unchanged() && work.guards_unchanged());
  }
};

/// ||(A - Q B P^H) X|| / (||A|| n eps), orthonormality of both sides, and B in its place.
template <Scalar T>
void expect_reduction(const GuardedMatrix<T>& A, const Reduced<T>& reduced) {
  ASSERT_EQ(reduced.info, 0);
  reduced.expect_guards();
  const WideMatrix<T> Q = reduced.formed('Q'), PH = reduced.formed('P');
  EXPECT_LT(orthonormality<T>(Q), threshold);
  EXPECT_LT(orthonormality<T>(PH.adjoint()), threshold);
  const WideMatrix<T> rest = wide(A) - product<T>(Q, product<T>(reduced.bidiagonal(), PH));
  const double size = one_norm<T>(wide(A)) * std::max(reduced.m, reduced.n) * epsilon<T>;
  EXPECT_LT(one_norm<T>(rest) / size, threshold);
  for (Int i = 1; i <= reduced.k; ++i) {
    EXPECT_EQ(reduced.A(i, i), T(reduced.d(i)));
    if (i == reduced.k) break;
    EXPECT_EQ(reduced.is_upper() ? reduced.A(i, i + 1) : reduced.A(i + 1, i), T(reduced.e(i)));
  }
  EXPECT_EQ((reduced.is_upper() ? reduced.taup : reduced.tauq)(reduced.k), T(0));
}

template <class T>
class BidiagonalReduction : public ReportingTest {
 protected:
  GuardedMatrix<T> matrix(Int m, Int n) { return random_matrix<T>(random, m, n, std::max(1, m) + 1); }

  Random random{37};
};
TYPED_TEST_SUITE(BidiagonalReduction, Precisions, PrecisionLetter);

struct Shape {
  Int m, n;
};

TYPED_TEST(BidiagonalReduction, IsThatOfEveryShape) {
  using T = TypeParam;
  for (const Int k : {1, 2, 3, 7, crossover, crossover + 1, 2 * crossover, 2 * crossover + 1}) {
    for (const auto [m, n] :
         {Shape{k, k}, Shape{k + 1, k}, Shape{k, k + 1}, Shape{2 * k + 5, k}, Shape{k, 2 * k + 5}}) {
      SCOPED_TRACE(testing::Message() << m << " by " << n);
      const GuardedMatrix<T> A = this->matrix(m, n);
      expect_reduction(A, Reduced<T>(A).unblocked());
      expect_reduction(A, Reduced<T>(A).by_blocks((m + n) * width));
    }
  }
}

/// Updates of what is behind panels of that width.
std::vector<std::string> updates(char adjoint, Int m, Int n, Int nb) {
  std::vector<std::string> calls;
  const auto add = [&](const std::string& options, Int rows, Int columns) {
    std::string call = "gemm " + options;
    for (const Int size : {rows, columns, nb}) call += ' ' + std::to_string(size);
    calls.push_back(call + ", -1, 1");
  };
  for (Int done = nb; done <= std::min(m, n) - crossover + nb - 1; done += nb) {
    add(std::string("N") + adjoint, m - done, n - done);
    add("NN", m - done, n - done);
  }
  return calls;
}

TYPED_TEST(BidiagonalReduction, MakesPanelsOfTheWidthForWhichThereIsRoom) {
  using T = TypeParam;
  constexpr char adjoint = ComplexScalar<T> ? 'C' : 'T';
  for (const auto [m, n] : {Shape{70, 70}, Shape{75, 66}, Shape{66, 75}, Shape{33, 40}, Shape{32, 70}}) {
    const GuardedMatrix<T> A = this->matrix(m, n);
    const Reduced<T> unblocked = Reduced<T>(A).unblocked();
    const Int best = std::min(m, n) > crossover ? (m + n) * width : std::max(m, n);
    for (const Int lwork : {std::max(m, n), 2 * (m + n) - 1, 2 * (m + n), 7 * (m + n) + 1, width * (m + n) - 1,
                            width * (m + n), 2 * width * (m + n)}) {
      SCOPED_TRACE(testing::Message() << m << " by " << n << ", lwork " << lwork);
      take_recorded_calls();
      const Reduced<T> reduced = Reduced<T>(A).by_blocks(lwork);
      const auto calls = take_recorded_calls_with_factors();
      EXPECT_EQ(reduced.work(1), T(Real<T>(best)));
      const Int nb = std::min(width, lwork / (m + n));
      if (nb < 2) {
        EXPECT_EQ(calls, std::vector<std::string>());
        EXPECT_TRUE(reduced.A.same_as(unblocked.A) && reduced.d.same_as(unblocked.d));
      } else {
        EXPECT_EQ(calls, updates(adjoint, m, n, nb));
      }
      expect_reduction(A, reduced);
    }
  }
}

/// Ends by the unblocked code what a panel of nb columns and rows began. Some elements of the panel can't be held
/// against those of another way: few roundings may move them far, and all that follows with them.
template <Scalar T>
void finish_panel(Int nb, const GuardedMatrix<T>& X, const GuardedMatrix<T>& Y, Reduced<T>& reduced) {
  const Int rows = reduced.m - nb, columns = reduced.n - nb;
  const auto place = [&](Int i, Int j) { return Matrix<T>(&reduced.A(i, j), reduced.lda); };
  if (rows > 0 && columns > 0) {
    constexpr char adjoint = ComplexScalar<T> ? 'C' : 'T';
    blas::gemm('N', adjoint, rows, columns, nb, T(-1), place(nb + 1, 1), {&Y(nb + 1, 1), Y.ld()}, T(1),
               place(nb + 1, nb + 1));
    blas::gemm('N', 'N', rows, columns, nb, T(-1), {&X(nb + 1, 1), X.ld()}, place(1, nb + 1), T(1),
               place(nb + 1, nb + 1));
  }
  for (Int i = 1; i <= nb; ++i) {
    reduced.A(i, i) = T(reduced.d(i));
    if (i < reduced.k) (reduced.is_upper() ? reduced.A(i, i + 1) : reduced.A(i + 1, i)) = T(reduced.e(i));
  }
  reduced.info = 0;
  if (rows == 0 || columns == 0) {
    // The last line has one reflector; of the other nothing is said.
    (reduced.is_upper() ? reduced.taup : reduced.tauq)(reduced.k) = T(0);
    return;
  }
  reduced.make_room(std::max(reduced.m, reduced.n));
  routine_call::gebd2(rows, columns, place(nb + 1, nb + 1), reduced.d.data() + nb, reduced.e.data() + nb,
                      reduced.tauq.data() + nb, reduced.taup.data() + nb, reduced.work.data(), reduced.info);
}

/// Panels of all rows or columns, and of some: what they say of the rest is what the unblocked code needs.
TYPED_TEST(BidiagonalReduction, HasPanelsOfAnyWidth) {
  using T = TypeParam;
  for (const auto [m, n] : {Shape{9, 9}, Shape{12, 7}, Shape{7, 12}}) {
    const GuardedMatrix<T> A = this->matrix(m, n);
    for (const Int nb : {1, 3, std::min(m, n)}) {
      SCOPED_TRACE(testing::Message() << m << " by " << n << ", panel of " << nb);
      Reduced<T> panel(A);
      GuardedMatrix<T> X(m, nb, m + 1), Y(n, nb, n + 2);
      routine_call::labrd(m, n, nb, Matrix<T>(panel.A), panel.d.data(), panel.e.data(), panel.tauq.data(),
                          panel.taup.data(), Matrix<T>(X), Matrix<T>(Y));
      EXPECT_TRUE(X.guards_unchanged() && Y.guards_unchanged());
      finish_panel(nb, X, Y, panel);
      expect_reduction(A, panel);
    }
  }
}

TYPED_TEST(BidiagonalReduction, HasPanelsOfNothing) {
  using T = TypeParam;
  Reduced<T> nothing(this->matrix(4, 3));
  const GuardedMatrix<T> X(4, 3, 4);
  GuardedMatrix<T> x = X, y = X;
  for (const auto [m, n] : {Shape{0, 3}, Shape{4, 0}, Shape{-1, 3}}) {
    routine_call::labrd(m, n, 3, Matrix<T>(nothing.A), nothing.d.data(), nothing.e.data(), nothing.tauq.data(),
                        nothing.taup.data(), Matrix<T>(x), Matrix<T>(y));
  }
  EXPECT_TRUE(nothing.A.unchanged() && nothing.d.unchanged() && x.unchanged() && y.unchanged());
}

TYPED_TEST(BidiagonalReduction, LeavesBidiagonalMatricesAsTheyAre) {
  using T = TypeParam;
  for (const auto [m, n] : {Shape{6, 4}, Shape{4, 6}}) {
    GuardedMatrix<T> A(m, n, m);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= m; ++i) {
        const bool is_beside = m >= n ? j == i + 1 : i == j + 1;
        A(i, j) = T(Real<T>(i == j ? 3 + i : is_beside ? i - 7 : 0));
      }
    }
    A.seal();
    const Reduced<T> reduced = Reduced<T>(A).by_blocks(m + n);
    EXPECT_TRUE(reduced.A.same_as(A));
    for (Int i = 1; i <= reduced.k; ++i) {
      EXPECT_EQ(reduced.tauq(i), T(0));
      EXPECT_EQ(reduced.taup(i), T(0));
    }
  }
}

TYPED_TEST(BidiagonalReduction, DoesNothingToEmptyMatrices) {
  using T = TypeParam;
  for (const auto [m, n] : {Shape{0, 0}, Shape{3, 0}, Shape{0, 3}}) {
    Reduced<T> reduced(this->matrix(m, n));
    reduced.by_blocks(3);
    EXPECT_EQ(reduced.info, 0);
    EXPECT_EQ(reduced.work(1), T(1));
    EXPECT_TRUE(reduced.work.unchanged_outside(1, 1));
  }
}

// ---------------------------------------------------------------------------------------------------------- arguments

template <Scalar T, bool is_blocked>
struct ValidCall : Reduced<T> {
  ValidCall() : Reduced<T>(matrix()) {
    this->lda = 6;
    this->lwork = 6;
  }

  static GuardedMatrix<T> matrix() {
    Random random(3);
    return random_matrix<T>(random, 6, 4, 6);
  }

  Int run() {
    if (is_blocked) this->by_blocks(this->lwork);
    else this->unblocked();
    return this->info;
  }

  bool unchanged() const {
    return this->A.unchanged() && this->d.unchanged() && this->e.unchanged() && this->tauq.unchanged() &&
           this->taup.unchanged() && (is_blocked ? this->work.unchanged_outside(1, 1) : this->work.unchanged());
  }
};

TYPED_TEST(BidiagonalReduction, ChecksItsArguments) {
  using T = TypeParam;
  using Blocked = ValidCall<T, true>;
  using Unblocked = ValidCall<T, false>;
  expect_argument_checks<Blocked>(reported_name<T>("GEBRD"), {{1, [](Blocked& c) { c.m = -1; }},
                                                              {2, [](Blocked& c) { c.n = -1; }},
                                                              {4, [](Blocked& c) { c.lda = 5; }},
                                                              {10, [](Blocked& c) { c.lwork = 5; }}});
  expect_argument_checks<Unblocked>(
      reported_name<T>("GEBD2"),
      {{1, [](Unblocked& c) { c.m = -1; }}, {2, [](Unblocked& c) { c.n = -1; }}, {4, [](Unblocked& c) { c.lda = 5; }}});
}

/// The best size is told before anything is looked at.
TYPED_TEST(BidiagonalReduction, TellsItsWorkspaceWhateverItsArguments) {
  using T = TypeParam;
  using Blocked = ValidCall<T, true>;
  Blocked question, bad_question;
  question.lwork = bad_question.lwork = -1;
  bad_question.lda = 5;
  expect_report(question, reported_name<T>("GEBRD"), 0);
  EXPECT_TRUE(question.unchanged());
  EXPECT_EQ(question.work(1), T(10 * width));
  expect_report(bad_question, reported_name<T>("GEBRD"), 4);
  EXPECT_EQ(bad_question.work(1), T(10 * width));
}

}  // namespace
}  // namespace nuv::test
