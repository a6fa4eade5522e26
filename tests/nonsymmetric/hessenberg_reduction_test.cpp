// Reduction of general matrices to Hessenberg form: gehrd, gehd2, the panels of the former, and what forms and applies
// Q.

#include <array>
#include <limits>

#include "blas.hpp"
#include "orthogonal/products_with_q.hpp"
#include "routines.hpp"
#include "solvers/recording_layer.hpp"
#include "support/argument_checks.hpp"
#include "support/random.hpp"
#include "svd/decomposition_checks.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

/// Width of panels, and columns that are left to the unblocked code.
constexpr Int width = 32, crossover = 32;

struct Active {
  Int ilo, ihi;
};

/// A matrix that is triangular outside the rows and columns ilo ... ihi.
template <Scalar T>
GuardedMatrix<T> partly_triangular(Random& random, Int n, Active active) {
  GuardedMatrix<T> A = random_matrix<T>(random, n, n, std::max(1, n) + 1);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = j + 1; i <= n; ++i) {
      if (j < active.ilo || i > active.ihi) A(i, j) = T(0);
    }
  }
  A.seal();
  return A;
}

template <Scalar T>
struct Reduced {
  Int n, ilo, ihi, lda, info = 99, lwork = 1;
  GuardedMatrix<T> A;
  GuardedVector<T> tau, work{1};

  Reduced(const GuardedMatrix<T>& matrix, Active active)
      : n(matrix.rows()), ilo(active.ilo), ihi(active.ihi), lda(matrix.ld()), A(matrix), tau(std::max(0, n - 1)) {}

  void make_room(Int size) {
    lwork = size;
    work = GuardedVector<T>(std::max(1, size));
  }

  Reduced& by_blocks(Int size) {
    make_room(size);
    routine_call::gehrd(n, ilo, ihi, Matrix<T>{A.data(), lda}, tau.data(), work.data(), lwork, info);
    return *this;
  }
  Reduced& unblocked() {
    make_room(std::max(1, n));
    std::fill_n(tau.data(), tau.size(), T(0));
    routine_call::gehd2(n, ilo, ihi, Matrix<T>{A.data(), lda}, tau.data(), work.data(), info);
    return *this;
  }

  WideMatrix<T> hessenberg() const {
    WideMatrix<T> H = wide(A);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = j + 2; i <= n; ++i) H(i - 1, j - 1) = 0;
    }
    return H;
  }

  /// Q by its routine, which looks at nothing but reflectors.
  GuardedMatrix<T> formed() const {
    GuardedMatrix<T> Q = A;
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) {
        const bool is_of_reflector = j >= ilo && j < ihi && i > j + 1 && i <= ihi;
        if (!is_of_reflector) Q(i, j) = T(std::numeric_limits<Real<T>>::quiet_NaN());
      }
    }
    GuardedVector<T> room(std::max(1, 32 * n));
    Int result = 99;
    routine_call::orghr(n, ilo, ihi, Matrix<T>(Q), static_cast<const T*>(tau.data()), room.data(), room.size(), result);
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(Q.guards_unchanged() && room.guards_unchanged());
    return Q;
  }
};

/// ||(A - Q H Q^H) X|| / (||A|| n eps), orthonormality of Q, and that nothing is written beside the result.
template <Scalar T>
void expect_reduction(const GuardedMatrix<T>& A, const Reduced<T>& reduced) {
  ASSERT_EQ(reduced.info, 0);
  EXPECT_TRUE(reduced.A.guards_unchanged() && reduced.tau.guards_unchanged() && reduced.work.guards_unchanged());
  const WideMatrix<T> Q = wide(reduced.formed());
  EXPECT_LT(orthonormality<T>(Q), threshold);
  EXPECT_LT(product_residual<T>(wide(A), product<T>(Q, reduced.hessenberg()), Q.adjoint()), threshold);
  for (Int j = 1; j < reduced.n; ++j) {
    if (j < reduced.ilo || j >= reduced.ihi) {
      EXPECT_EQ(reduced.tau(j), T(0)) << j;
    }
    // Columns that were triangular still are.
    if (j < reduced.ilo) {
      EXPECT_EQ(reduced.A(j + 1, j), T(0)) << j;
    }
  }
}

template <class T>
class HessenbergReduction : public ReportingTest {
 protected:
  Random random{41};
};
TYPED_TEST_SUITE(HessenbergReduction, Precisions, PrecisionLetter);

TYPED_TEST(HessenbergReduction, IsThatOfEveryOrder) {
  using T = TypeParam;
  for (const Int n :
       {0, 1, 2, 3, 4, 7, crossover, crossover + 1, crossover + 2, 2 * crossover + 1, 3 * crossover + 5}) {
    SCOPED_TRACE(n);
    const Active all{1, n};
    const GuardedMatrix<T> A = partly_triangular<T>(this->random, n, all);
    expect_reduction(A, Reduced<T>(A, all).unblocked());
    expect_reduction(A, Reduced<T>(A, all).by_blocks(std::max(1, n * width)));
  }
}

TYPED_TEST(HessenbergReduction, LeavesWhatIsTriangular) {
  using T = TypeParam;
  for (const auto& [n, active] : {std::pair{9, Active{3, 7}},
                                  {9, {1, 5}},
                                  {9, {4, 9}},
                                  {6, {3, 4}},
                                  {6, {3, 3}},
                                  {90, {5, 81}},
                                  {90, {1, 80}},
                                  {90, {10, 90}},
                                  {1, {1, 1}}}) {
    SCOPED_TRACE(testing::Message() << n << ", " << active.ilo << " to " << active.ihi);
    const GuardedMatrix<T> A = partly_triangular<T>(this->random, n, active);
    expect_reduction(A, Reduced<T>(A, active).unblocked());
    expect_reduction(A, Reduced<T>(A, active).by_blocks(n * width));
  }
}

/// The updates A := A - Y V^H behind panels of that width.
template <Scalar T>
std::vector<std::string> updates(Int nh, Int nb) {
  std::vector<std::string> calls;
  for (Int done = 0; done + 1 < nh - crossover; done += nb) {
    const Int ib = std::min(nb, nh - 1 - done);
    calls.push_back(std::string("gemm N") + adjoint_letter<T> + ' ' + std::to_string(nh) + ' ' +
                    std::to_string(nh - done - ib) + ' ' + std::to_string(ib) + ", -1, 1");
  }
  return calls;
}

TYPED_TEST(HessenbergReduction, MakesPanelsOfTheWidthForWhichThereIsRoom) {
  using T = TypeParam;
  for (const Int n : {crossover + 1, crossover + 2, 70, 97, 130}) {
    const Active all{1, n};
    const GuardedMatrix<T> A = partly_triangular<T>(this->random, n, all);
    const Reduced<T> unblocked = Reduced<T>(A, all).unblocked();
    for (const Int lwork : {n, 2 * n - 1, 2 * n, 7 * n + 1, width * n - 1, width * n, 40 * n}) {
      SCOPED_TRACE(testing::Message() << n << ", lwork " << lwork);
      take_recorded_calls();
      const Reduced<T> reduced = Reduced<T>(A, all).by_blocks(lwork);
      std::vector<std::string> calls = take_recorded_calls_with_factors();
      // Among those of the panels and of the products with blocks of reflectors.
      const Int nb = std::min(width, lwork / n);
      const std::string update = std::string("gemm N") + adjoint_letter<T> + ' ' + std::to_string(n) + ' ';
      std::erase_if(calls,
                    [&](const std::string& call) { return !call.starts_with(update) || !call.ends_with("-1, 1"); });
      EXPECT_EQ(reduced.work(1), T(Real<T>(width * n)));
      if (nb < 2) {
        EXPECT_EQ(calls, std::vector<std::string>());
        EXPECT_TRUE(reduced.A.same_as(unblocked.A) && reduced.tau.same_as(unblocked.tau));
      } else {
        EXPECT_EQ(calls, updates<T>(n, nb));
      }
      expect_reduction(A, reduced);
    }
  }
}

TYPED_TEST(HessenbergReduction, NeedsNoWorkspaceForLittle) {
  using T = TypeParam;
  for (const auto& [n, active] : {std::pair{5, Active{3, 3}}, {0, {1, 0}}, {1, {1, 1}}, {8, {1, 8}}, {60, {20, 51}}}) {
    const GuardedMatrix<T> A = partly_triangular<T>(this->random, n, active);
    const Reduced<T> reduced = Reduced<T>(A, active).by_blocks(std::max(1, n));
    EXPECT_EQ(reduced.work(1), T(1)) << n;
  }
}

// ------------------------------------------------------------------------------------------------------------- panels

/// A panel by either routine, with which the rest of the matrix is updated as its factors say and then reduced.
template <Scalar T, class Reduce>
void expect_panel(Random& random, Int n, Int k, Int nb, bool has_upper_rows, Reduce reduce) {
  SCOPED_TRACE(testing::Message() << n << ", k " << k << ", panel of " << nb);
  // Columns 1 ... k - 1 are Hessenberg already.
  GuardedMatrix<T> A = random_matrix<T>(random, n, n, n + 1);
  for (Int j = 1; j < k; ++j) {
    for (Int i = j + 2; i <= n; ++i) A(i, j) = T(0);
  }
  A.seal();
  Reduced<T> reduced(A, {1, n});
  for (Int j = 1; j < n; ++j) reduced.tau(j) = T(0);
  GuardedMatrix<T> F(nb, nb, nb + 1), Y(n, nb, n + 2);
  reduce(n, k, nb, Matrix<T>(&reduced.A(1, k), A.ld()), reduced.tau.data() + (k - 1), Matrix<T>(F), Matrix<T>(Y));
  EXPECT_TRUE(F.guards_unchanged() && Y.guards_unchanged());

  // The reflectors, T and Y = A V T.
  WideMatrix<T> V = WideMatrix<T>::Zero(n, nb), T_factor = WideMatrix<T>::Zero(nb, nb);
  for (Int j = 1; j <= nb; ++j) {
    V(k + j - 1, j - 1) = 1;
    for (Int i = k + j + 1; i <= n; ++i) V(i - 1, j - 1) = wide(reduced.A(i, k + j - 1));
    for (Int i = 1; i <= j; ++i) T_factor(i - 1, j - 1) = wide(F(i, j));
  }
  const WideMatrix<T> VT = product<T>(V, T_factor), expected = product<T>(wide(A), VT);
  const double size = one_norm<T>(wide(A)) * n * epsilon<T>;
  EXPECT_LT(one_norm<T>(WideMatrix<T>(wide(Y) - expected)) / size, threshold);

  // Q^H A Q by the factors, whose first columns stand in the panel.
  const WideMatrix<T> I = WideMatrix<T>::Identity(n, n), Q = I - product<T>(VT, V.adjoint());
  const WideMatrix<T> turned = product<T>(Q.adjoint(), product<T>(wide(A), Q));
  WideMatrix<T> found = turned;
  for (Int j = k; j < k + nb; ++j) {
    // Rows 1 ... k of the panel are the caller's to update where the panel leaves them, but for its first column.
    for (Int i = has_upper_rows || j == k ? 1 : k + 1; i <= std::min(n, j + 1); ++i)
      found(i - 1, j - 1) = wide(reduced.A(i, j));
    for (Int i = j + 2; i <= n; ++i) found(i - 1, j - 1) = 0;
  }
  EXPECT_LT(one_norm<T>(WideMatrix<T>(found - turned)) / size, threshold);
}

TYPED_TEST(HessenbergReduction, HasPanelsOfAnyWidth) {
  using T = TypeParam;
  for (const auto& [n, k, nb] :
       {std::array{9, 1, 3}, {9, 1, 8}, {9, 3, 1}, {9, 3, 4}, {9, 4, 5}, {3, 2, 1}, {2, 1, 1}}) {
    expect_panel<T>(this->random, n, k, nb, false, [](auto... arguments) { routine_call::lahr2(arguments...); });
    expect_panel<T>(this->random, n, k, nb, true, [](auto... arguments) { routine_call::lahrd(arguments...); });
  }
}

TYPED_TEST(HessenbergReduction, HasPanelsOfNothing) {
  using T = TypeParam;
  const GuardedMatrix<T> A = random_matrix<T>(this->random, 2, 2, 2);
  for (const Int n : {-1, 0, 1}) {
    GuardedMatrix<T> a = A, t = A, y = A;
    GuardedVector<T> tau(2);
    routine_call::lahr2(n, 1, 1, Matrix<T>(a), tau.data(), Matrix<T>(t), Matrix<T>(y));
    routine_call::lahrd(n, 1, 1, Matrix<T>(a), tau.data(), Matrix<T>(t), Matrix<T>(y));
    EXPECT_TRUE(a.unchanged() && t.unchanged() && y.unchanged() && tau.unchanged());
  }
}

// ------------------------------------------------------------------------------------------------------ products with
// Q

TYPED_TEST(HessenbergReduction, HasAQThatMultiplies) {
  using T = TypeParam;
  for (const auto& [nq, active] :
       {std::pair{7, Active{1, 7}}, {7, {3, 6}}, {7, {2, 2}}, {60, {4, 57}}, {1, {1, 1}}, {0, {1, 0}}}) {
    const GuardedMatrix<T> A = partly_triangular<T>(this->random, nq, active);
    Reduced<T> reduced = Reduced<T>(A, active).by_blocks(std::max(1, nq * width));
    reduced.A.seal();
    const WideMatrix<T> Q = wide(reduced.formed());
    for (const char side : {'L', 'r'}) {
      for (const char trans : {'n', adjoint_letter<T>}) {
        const bool left = side == 'L';
        const Int nw = 5, m = left ? nq : nw, n = left ? nw : nq;
        SCOPED_TRACE(testing::Message() << nq << ", " << active.ilo << " to " << active.ihi << ' ' << side << trans);
        const GuardedMatrix<T> C = random_matrix<T>(this->random, m, n, std::max(1, m) + 2);
        const WideMatrix<T> op_q = op<T>(trans, Q);
        const WideMatrix<T> expected = left ? product<T>(op_q, wide(C)) : product<T>(wide(C), op_q);
        for (const Int lwork : {nw, nw * 200}) {
          GuardedMatrix<T> c = C;
          GuardedVector<T> work(lwork);
          Int info = 99;
          routine_call::ormhr(side, trans, m, n, active.ilo, active.ihi, Matrix<T>(reduced.A),
                              static_cast<const T*>(reduced.tau.data()), Matrix<T>(c), work.data(), lwork, info);
          EXPECT_EQ(info, 0);
          EXPECT_TRUE(c.guards_unchanged() && work.guards_unchanged() && reduced.A.unchanged());
          if (nq > 0) {
            EXPECT_LT(one_norm<T>(WideMatrix<T>(wide(c) - expected)) / (one_norm<T>(wide(C)) * nq * epsilon<T>),
                      threshold);
          }
          if (nq == 0 || active.ilo == active.ihi) {
            EXPECT_EQ(work(1), T(1));
            EXPECT_TRUE(c.same_as(C));
          }
        }
      }
    }
  }
}

// ---------------------------------------------------------------------------------------------------------- arguments

template <Scalar T>
struct ValidCall {
  char side = 'L', trans = 'N';
  Int m = 5, n = 5, ilo = 2, ihi = 4, lda = 5, ldc = 5, lwork = 5, info = 99;
  GuardedMatrix<T> A = matrix(3), C = matrix(4);
  GuardedVector<T> tau{4}, work{5};

  static GuardedMatrix<T> matrix(int seed) {
    Random random(seed);
    return random_matrix<T>(random, 5, 5, 5);
  }

  Matrix<T> a() { return {A.data(), lda}; }
  bool unchanged() const { return A.unchanged() && C.unchanged() && tau.unchanged() && work.unchanged_outside(1, 1); }
};

template <Scalar T>
struct Blocked : ValidCall<T> {
  Int run() {
    routine_call::gehrd(this->n, this->ilo, this->ihi, this->a(), this->tau.data(), this->work.data(), this->lwork,
                        this->info);
    return this->info;
  }
};
template <Scalar T>
struct Unblocked : ValidCall<T> {
  Int run() {
    routine_call::gehd2(this->n, this->ilo, this->ihi, this->a(), this->tau.data(), this->work.data(), this->info);
    return this->info;
  }
};
template <Scalar T>
struct Former : ValidCall<T> {
  Int run() {
    routine_call::orghr(this->n, this->ilo, this->ihi, this->a(), static_cast<const T*>(this->tau.data()),
                        this->work.data(), this->lwork, this->info);
    return this->info;
  }
};
template <Scalar T>
struct Applier : ValidCall<T> {
  Int run() {
    routine_call::ormhr(this->side, this->trans, this->m, this->n, this->ilo, this->ihi, this->a(),
                        static_cast<const T*>(this->tau.data()), Matrix<T>(this->C.data(), this->ldc),
                        this->work.data(), this->lwork, this->info);
    return this->info;
  }
};

/// For routines that count n, ilo, ihi, a, lda from the first argument.
template <class Call>
void expect_checks_of_reduction(const std::string& name, std::initializer_list<Spoiler<Call>> others) {
  std::vector<Spoiler<Call>> spoilers{{1, [](Call& c) { c.n = -1; }},
                                      {2, [](Call& c) { c.ilo = 0; }},
                                      {3, [](Call& c) { c.ihi = 6; }},
                                      {5, [](Call& c) { c.lda = 4; }}};
  spoilers.insert(spoilers.end(), others);
  for (const auto& one : spoilers) {
    for (const auto& other : spoilers) {
      Call call;
      one.spoil(call);
      if (&other != &one) other.spoil(call);
      expect_report(call, name, std::min(one.position, other.position));
    }
  }
  Call late_start, early_end, empty, too_long;
  late_start.ilo = 6;
  expect_report(late_start, name, 2);
  early_end.ihi = 1;
  expect_report(early_end, name, 3);
  empty.n = empty.ihi = 0;
  empty.ilo = 2;
  expect_report(empty, name, 2);
  too_long.n = 0;
  too_long.ilo = too_long.ihi = 1;
  expect_report(too_long, name, 3);
}

TYPED_TEST(HessenbergReduction, ChecksItsArguments) {
  using T = TypeParam;
  expect_checks_of_reduction<Blocked<T>>(reported_name<T>("GEHRD"), {{8, [](Blocked<T>& c) { c.lwork = 4; }}});
  expect_checks_of_reduction<Unblocked<T>>(reported_name<T>("GEHD2"), {});
  expect_checks_of_reduction<Former<T>>(name_with_q<T>("G", "HR"), {{8, [](Former<T>& c) { c.lwork = 1; }}});
  using Call = Applier<T>;
  expect_argument_checks<Call>(name_with_q<T>("M", "HR"), {{1, [](Call& c) { c.side = 'U'; }},
                                                           {2, [](Call& c) { c.trans = 'X'; }},
                                                           {3, [](Call& c) { c.m = -1; }},
                                                           {4, [](Call& c) { c.n = -1; }},
                                                           {5, [](Call& c) { c.ilo = 0; }},
                                                           {6, [](Call& c) { c.ihi = 6; }},
                                                           {8, [](Call& c) { c.lda = 4; }},
                                                           {11, [](Call& c) { c.ldc = 4; }},
                                                           {13, [](Call& c) { c.lwork = 4; }}});
}

/// Q is of the order of the side from which it is applied.
TYPED_TEST(HessenbergReduction, CountsFromTheSideOfQ) {
  using T = TypeParam;
  const std::string name = name_with_q<T>("M", "HR");
  for (const bool left : {true, false}) {
    Applier<T> small, other_field, short_work;
    small.side = left ? 'L' : 'R';
    (left ? small.m : small.n) = 3;
    expect_report(small, name, 6);
    short_work.side = left ? 'L' : 'R';
    (left ? short_work.m : short_work.n) = 4;
    short_work.lwork = 4;
    expect_report(short_work, name, 13);
    other_field.trans = ComplexScalar<T> ? 'T' : 'C';
    expect_report(other_field, name, 2);
  }
}

TYPED_TEST(HessenbergReduction, TellsItsWorkspace) {
  using T = TypeParam;
  // The best size is told before anything is looked at.
  Blocked<T> question, bad_question;
  question.lwork = bad_question.lwork = -1;
  bad_question.lda = 4;
  expect_report(question, reported_name<T>("GEHRD"), 0);
  EXPECT_TRUE(question.unchanged());
  EXPECT_EQ(question.work(1), T(5 * width));
  expect_report(bad_question, reported_name<T>("GEHRD"), 5);
  EXPECT_EQ(bad_question.work(1), T(5 * width));

  Former<T> former, bad_former;
  former.lwork = bad_former.lwork = -1;
  bad_former.lda = 4;
  expect_report(former, name_with_q<T>("G", "HR"), 0);
  EXPECT_TRUE(former.unchanged());
  const Int nb_formed = ask(1, name_with_q<T>("G", "QR"), " ", 2, 2, 2);
  EXPECT_EQ(former.work(1), T(Real<T>(2 * nb_formed)));
  expect_report(bad_former, name_with_q<T>("G", "HR"), 5);
  EXPECT_EQ(bad_former.work(1), T(Real<T>(2 * nb_formed)));

  for (const bool left : {true, false}) {
    Applier<T> applier;
    applier.lwork = -1;
    applier.side = left ? 'L' : 'R';
    (left ? applier.n : applier.m) = 3;
    expect_report(applier, name_with_q<T>("M", "HR"), 0);
    EXPECT_TRUE(applier.unchanged());
    const Int nb = ask(1, name_with_q<T>("M", "QR"), {applier.side, 'N'}, left ? 2 : 3, left ? 3 : 2, 2);
    EXPECT_EQ(applier.work(1), T(Real<T>(3 * nb)));
  }
}

/// Whatever is wrong.
TYPED_TEST(HessenbergReduction, TellsItsWorkspaceWithEachError) {
  using T = TypeParam;
  for (const Spoiler<Blocked<T>>& one : {Spoiler<Blocked<T>>{2, [](auto& c) { c.ilo = 0; }},
                                         {3, [](auto& c) { c.ihi = 6; }},
                                         {5, [](auto& c) { c.lda = 4; }},
                                         {8, [](auto& c) { c.lwork = 4; }}}) {
    Blocked<T> call;
    one.spoil(call);
    expect_report(call, reported_name<T>("GEHRD"), one.position);
    EXPECT_EQ(call.work(1), T(5 * width)) << one.position;
  }
  // Of a Q of so many rows.
  struct Case {
    Spoiler<Former<T>> spoiler;
    Int order;
  };
  for (const auto& [one, order] : {Case{{1, [](auto& c) { c.n = -1; }}, 2},
                                   {{2, [](auto& c) { c.ilo = 0; }}, 4},
                                   {{3, [](auto& c) { c.ihi = 6; }}, 4},
                                   {{3, [](auto& c) { c.ihi = 1; }}, 1},
                                   {{5, [](auto& c) { c.lda = 4; }}, 2},
                                   {{8, [](auto& c) { c.lwork = 1; }}, 2}}) {
    Former<T> call;
    one.spoil(call);
    const Int nh = call.ihi - call.ilo;
    expect_report(call, name_with_q<T>("G", "HR"), one.position);
    EXPECT_EQ(call.work(1), T(Real<T>(order * ask(1, name_with_q<T>("G", "QR"), " ", nh, nh, nh)))) << one.position;
  }
}

/// The width of blocks is that for the part of Q that is not the identity.
TYPED_TEST(HessenbergReduction, AsksForTheWorkspaceOfTheInnerProduct) {
  using T = TypeParam;
  for (const bool left : {true, false}) {
    Applier<T> applier;
    applier.lwork = -1;
    applier.side = left ? 'L' : 'R';
    applier.m = applier.n = applier.lda = applier.ldc = 100;
    applier.ilo = 20;
    applier.ihi = 40;
    EXPECT_EQ(applier.run(), 0);
    const Int nb = ask(1, name_with_q<T>("M", "QR"), {applier.side, 'N'}, left ? 20 : 100, left ? 100 : 20, 20);
    EXPECT_EQ(applier.work(1), T(Real<T>(100 * nb)));
  }
}

TYPED_TEST(HessenbergReduction, OfOrderZeroHasAQOfNothing) {
  using T = TypeParam;
  Former<T> former;
  former.n = former.ihi = 0;
  former.ilo = 1;
  EXPECT_EQ(former.run(), 0);
  EXPECT_EQ(former.work(1), T(1));
  EXPECT_TRUE(former.unchanged());
}

}  // namespace
}  // namespace nuv::test
