// Reflectors of trapezoidal reductions, blocks of them, and products with their Z: larz, latzm, larzt, larzb, ormrz,
// ormr3.

#include <limits>
#include <utility>

#include "orthogonal/products_with_q.hpp"
#include "orthogonal/trapezoids.hpp"
#include "routines.hpp"
#include "support/argument_checks.hpp"

namespace nuv::test {
namespace {

template <class T>
class ApplyZ : public ReportingTest {
 protected:
  Random random{101};
};
TYPED_TEST_SUITE(ApplyZ, Precisions, PrecisionLetter);

struct Sizes {
  Int nq, nw, k, l;
};

std::string to_string(const Sizes& s) {
  return "nq " + std::to_string(s.nq) + ", nw " + std::to_string(s.nw) + ", k " + std::to_string(s.k) + ", l " +
         std::to_string(s.l);
}

/// Blocks hold 32 reflectors in the complex precisions; in the real ones 16 where a size of C is at most 64, 32 beyond
/// that. There may be a gap between the unit elements and the rest, or nothing else.
constexpr Sizes sizes[] = {{1, 1, 1, 0},     {2, 3, 1, 1},     {7, 4, 3, 4},    {7, 4, 3, 2},     {9, 5, 4, 0},
                           {40, 6, 16, 10},  {40, 6, 17, 23},  {50, 9, 32, 18}, {50, 9, 33, 5},   {49, 1, 48, 1},
                           {90, 70, 64, 20}, {90, 70, 66, 24}, {97, 66, 80, 3}, {70, 300, 34, 36}};

// --------------------------------------------------------------------------------------------------------- reflectors

TYPED_TEST(ApplyZ, AppliesAReflectorFromBothSides) {
  using T = TypeParam;
  for (const Sizes& s : sizes) {
    for (const bool left : {true, false}) {
      for (const Int inc : {1, 3}) {
        SCOPED_TRACE(to_string(s) + (left ? ", left" : ", right"));
        ReflectorsOfZ<T> one(this->random, s.nq, 1, s.l);
        GuardedVector<T> v(s.l, inc), work(s.nw);
        for (Int e = 1; e <= s.l; ++e) v(e) = one.V(1, s.nq - s.l + e);
        v.seal();
        const Int m = left ? s.nq : s.nw, n = left ? s.nw : s.nq;
        const GuardedMatrix<T> C = random_matrix<T>(this->random, m, n, m + 2);
        GuardedMatrix<T> result = C;
        routine_call::larz(this->random.in_some_case(left ? 'L' : 'R'), m, n, s.l, v, one.tau(1), result, work.data());
        EXPECT_LT(
            relative_distance<T>(wide(result), product_with_z<T>(left, false, one.vectors(), one.tau, wide(C)), s.nq),
            threshold);
        EXPECT_TRUE(result.guards_unchanged());
        EXPECT_TRUE(v.unchanged());
        EXPECT_TRUE(work.guards_unchanged());
      }
    }
  }
}

TYPED_TEST(ApplyZ, LooksAtNothingWhereAReflectorIsTheIdentity) {
  using T = TypeParam;
  const GuardedMatrix<T> C = random_matrix<T>(this->random, 6, 4, 6);
  GuardedMatrix<T> result = C;
  GuardedVector<T> v(2), work(6);
  for (Int i = 1; i <= 6; ++i) work(i) = T(1);
  work.seal();
  for (const char side : {'L', 'R'}) routine_call::larz(side, 6, 4, 2, v, T(0), result, work.data());
  EXPECT_TRUE(result.same_as(C));
  EXPECT_TRUE(work.unchanged());
}

/// The parts of C lie in two arrays, with what belongs to nobody between their rows.
TYPED_TEST(ApplyZ, AppliesAReflectorToTwoParts) {
  using T = TypeParam;
  for (const bool left : {true, false}) {
    for (const auto& [nq, nw] : {std::pair(1, 3), {2, 1}, {2, 4}, {7, 5}, {40, 33}, {3, 70}}) {
      for (const Int inc : {1, 3, -2}) {
        SCOPED_TRACE(testing::Message() << (left ? "left" : "right") << ", order " << nq << ", " << nw << " others");
        const Int m = left ? nq : nw, n = left ? nw : nq, ldc = m + 2;
        const GuardedVector<T> v = random_vector<T>(this->random, nq - 1, inc);
        const T tau = this->random.template scalar<T>();
        const GuardedMatrix<T> first = random_matrix<T>(this->random, left ? 1 : m, left ? n : 1, ldc),
                               rest = random_matrix<T>(this->random, left ? m - 1 : m, left ? n : n - 1, ldc);
        GuardedMatrix<T> C1 = first, C2 = rest;
        GuardedVector<T> work(nw);
        routine_call::latzm(this->random.in_some_case(left ? 'L' : 'R'), m, n, v, tau, C1.data(), C2.data(), C2.ld(),
                            work.data());
        EXPECT_TRUE(C1.guards_unchanged());
        EXPECT_TRUE(C2.guards_unchanged());
        EXPECT_TRUE(v.unchanged());
        EXPECT_TRUE(work.guards_unchanged());

        WideMatrix<T> u = WideMatrix<T>::Ones(nq, 1), C(m, n), computed(m, n);
        if (nq > 1) u.bottomRows(nq - 1) = wide(v);
        const auto join = [&](const GuardedMatrix<T>& one, const GuardedMatrix<T>& other, WideMatrix<T>& both) {
          if (left) {
            both.topRows(1) = wide(one);
            both.bottomRows(m - 1) = wide(other);
          } else {
            both.leftCols(1) = wide(one);
            both.rightCols(n - 1) = wide(other);
          }
        };
        join(first, rest, C);
        join(C1, C2, computed);
        Sum<T> expected(m, n);
        const WideMatrix<T> outer_product = product<T>(u, u.adjoint());
        expected.add(T(1), C).add(negated(tau), left ? outer_product : C, left ? C : outer_product);
        EXPECT_LT(expected.error_of(computed), threshold);
      }
    }
  }
}

TYPED_TEST(ApplyZ, LeavesTwoPartsAloneWhereThereIsNothingToDo) {
  using T = TypeParam;
  GuardedMatrix<T> C1 = random_matrix<T>(this->random, 4, 2, 5), C2 = random_matrix<T>(this->random, 4, 2, 5);
  const GuardedVector<T> v = random_vector<T>(this->random, 3, 1);
  GuardedVector<T> work = random_vector<T>(this->random, 4, 1);
  const auto apply = [&](char side, Int m, Int n, T tau) {
    routine_call::latzm(side, m, n, v, tau, C1.data(), C2.data(), C2.ld(), work.data());
    EXPECT_TRUE(C1.unchanged());
    EXPECT_TRUE(C2.unchanged());
    EXPECT_TRUE(work.unchanged());
  };
  for (const char side : {'L', 'R'}) {
    apply(side, 4, 2, T(0));
    apply(side, 0, 2, T(1));
    apply(side, 4, 0, T(1));
  }
  apply('X', 4, 2, T(1));
}

// ------------------------------------------------------------------------------------------------------------- blocks

TYPED_TEST(ApplyZ, AppliesABlockAsItsReflectors) {
  using T = TypeParam;
  for (const Sizes& s : sizes) {
    for (const bool left : {true, false}) {
      for (const bool plain : {true, false}) {
        SCOPED_TRACE(to_string(s) + (left ? ", left" : ", right") + (plain ? "" : ", adjoint"));
        ReflectorsOfZ<T> block_of(this->random, s.nq, s.k, s.l);
        block_of.tau(s.k / 2 + 1) = T(0);
        block_of.tau.seal();
        const Matrix<T> v = block(Matrix<T>(block_of.V), 1, s.nq - s.l + 1);
        const Int m = left ? s.nq : s.nw, n = left ? s.nw : s.nq;
        GuardedMatrix<T> t(s.k, s.k, s.k + 1), work(s.nw, s.k, s.nw + 1);
        routine_call::larzt(this->random.in_some_case('B'), this->random.in_some_case('R'), s.l, s.k, v,
                            static_cast<const T*>(block_of.tau.data()), t);
        EXPECT_TRUE(t.unchanged_except([](Int i, Int j) { return i >= j; }));
        t.seal();

        // A block is the product of the last reflector to the first, which is the adjoint of Z.
        const GuardedMatrix<T> C = random_matrix<T>(this->random, m, n, m + 2);
        GuardedMatrix<T> result = C;
        routine_call::larzb(this->random.in_some_case(left ? 'L' : 'R'),
                            this->random.in_some_case(plain ? 'N' : adjoint_letter<T>), this->random.in_some_case('B'),
                            this->random.in_some_case('R'), m, n, s.k, s.l, v, t, result, work);
        const WideMatrix<T> expected = product_with_z<T>(left, plain, block_of.vectors(), block_of.tau, wide(C));
        EXPECT_LT(relative_distance<T>(wide(result), expected, s.nq), threshold);
        EXPECT_TRUE(result.guards_unchanged());
        EXPECT_TRUE(block_of.V.unchanged());
        EXPECT_TRUE(block_of.tau.unchanged());
        EXPECT_TRUE(t.unchanged());
        EXPECT_TRUE(work.guards_unchanged());
      }
    }
  }
}

/// I - V^H T V is the product of the reflectors of the rows of V, as those of other factorisations hold theirs.
TYPED_TEST(ApplyZ, FormsTheFactorOfTheRows) {
  using T = TypeParam;
  for (const Int k : {1, 2, 5, 20}) {
    const Int l = 12;
    ReflectorsOfZ<T> rows(this->random, l + k, k, l);
    GuardedMatrix<T> t(k, k, k);
    routine_call::larzt('B', 'R', l, k, block(Matrix<T>(rows.V), 1, k + 1), static_cast<const T*>(rows.tau.data()), t);
    const WideMatrix<T> V = wide(rows.V).rightCols(l), factor = wide_triangle(t, false, false);
    // With the unit elements, of which each reflector has one alone, for what is stored is not unitary.
    WideMatrix<T> U(l + k, k);
    U.topRows(k).setIdentity();
    U.bottomRows(l) = V.adjoint();
    WideMatrix<T> expected = WideMatrix<T>::Identity(l + k, l + k);
    for (Int i = 1; i <= k; ++i) {
      WideMatrix<T> inner = expected;
      reflect<T>(U.col(i - 1), wide(rows.tau(i)), inner);
      expected = inner;
    }
    const WideMatrix<T> H =
        WideMatrix<T>::Identity(l + k, l + k) - product<T>(product<T>(U, factor), WideMatrix<T>(U.adjoint()));
    EXPECT_LT(relative_distance<T>(H, expected, l + k), threshold);
  }
}

/// One that is the identity has zeros in its column, whatever its row holds.
TYPED_TEST(ApplyZ, LooksAtNoRowOfAReflectorThatIsTheIdentity) {
  using T = TypeParam;
  ReflectorsOfZ<T> rows(this->random, 9, 3, 4);
  for (Int j = 6; j <= 9; ++j) rows.V(1, j) = std::numeric_limits<Real<T>>::quiet_NaN();
  rows.tau(1) = T(0);
  GuardedMatrix<T> t(3, 3, 3);
  routine_call::larzt('B', 'R', 4, 3, block(Matrix<T>(rows.V), 1, 6), static_cast<const T*>(rows.tau.data()), t);
  for (Int i = 1; i <= 3; ++i) EXPECT_EQ(t(i, 1), T(0));
  EXPECT_EQ(t(2, 2), rows.tau(2));
}

/// Of two sides; the word for a third is nothing at all.
TYPED_TEST(ApplyZ, KnowsTwoSidesOfABlock) {
  using T = TypeParam;
  GuardedMatrix<T> V(2, 3, 2), t(2, 2, 2), C = random_matrix<T>(this->random, 5, 5, 5), work(5, 2, 5);
  routine_call::larzb('X', 'N', 'B', 'R', 5, 5, 2, 3, V, t, C, work);
  EXPECT_TRUE(C.unchanged());
  EXPECT_TRUE(work.unchanged());
}

TYPED_TEST(ApplyZ, KnowsOneWayOfStorage) {
  using T = TypeParam;
  GuardedMatrix<T> V(2, 3, 2), t(2, 2, 2), C(5, 4, 5), work(4, 2, 4);
  GuardedVector<T> tau(2);
  const auto expect_nothing = [&](const std::string& name, int position) {
    EXPECT_EQ(take_error_reports(), (std::vector<ErrorReport>{{reported_name<T>(name), position}}));
    EXPECT_TRUE(t.unchanged());
    EXPECT_TRUE(C.unchanged());
    EXPECT_TRUE(work.unchanged());
  };
  const struct {
    char direct, storev;
    int position;
  } cases[] = {{'F', 'R', 1}, {'B', 'C', 2}, {'F', 'C', 1}};
  for (const auto& [direct, storev, position] : cases) {
    routine_call::larzt(direct, storev, 3, 2, V, static_cast<const T*>(tau.data()), t);
    expect_nothing("LARZT", position);
    routine_call::larzb('L', 'N', direct, storev, 5, 4, 2, 3, V, t, C, work);
    expect_nothing("LARZB", position + 2);
    // Where C is empty nothing is looked at.
    routine_call::larzb('L', 'N', direct, storev, 0, 4, 2, 3, V, t, C, work);
    EXPECT_EQ(take_error_reports(), std::vector<ErrorReport>());
  }
}

// ---------------------------------------------------------------------------------------------------- products with Z

/// A product to compute.
template <Scalar T>
struct ProductWithZ {
  bool left, plain;
  Sizes sizes;
  ReflectorsOfZ<T> Z;
  GuardedMatrix<T> C;
  char side, trans;

  ProductWithZ(Random& random, bool left_, bool plain_, const Sizes& sizes_)
      : left(left_),
        plain(plain_),
        sizes(sizes_),
        Z(random, sizes.nq, sizes.k, sizes.l),
        C(random_matrix<T>(random, m(), n(), m() + random.integer(1, 3))),
        side(random.in_some_case(left ? 'L' : 'R')),
        trans(random.in_some_case(plain ? 'N' : adjoint_letter<T>)) {}

  Int m() const { return left ? sizes.nq : sizes.nw; }
  Int n() const { return left ? sizes.nw : sizes.nq; }
  Int block_size() const { return ask(1, name_with_q<T>("M", "RQ"), {side, trans}, m(), n(), sizes.k); }
  Int best_lwork() const { return (std::max(1, sizes.nw) + block_size()) * block_size(); }

  double error_of(const GuardedMatrix<T>& computed) const {
    const WideMatrix<T> expected = product_with_z<T>(left, !plain, Z.vectors(), Z.tau, wide(C));
    return relative_distance<T>(wide(computed), expected, sizes.nq);
  }

  /// The product by a routine with lwork elements of workspace, nothing else being written.
  Computed<T> compute(Int lwork, bool by_blocks) const {
    ReflectorsOfZ<T> z = Z;
    Computed<T> result{C, GuardedVector<T>(lwork)};
    Int info = 99;
    const T* const tau = z.tau.data();
    if (by_blocks) {
      routine_call::ormrz(side, trans, m(), n(), sizes.k, sizes.l, z.V, tau, result.C, result.work.data(), lwork, info);
    } else {
      routine_call::ormr3(side, trans, m(), n(), sizes.k, sizes.l, z.V, tau, result.C, result.work.data(), info);
    }
    EXPECT_EQ(info, 0);
    EXPECT_TRUE(z.V.unchanged());
    EXPECT_TRUE(z.tau.unchanged());
    EXPECT_TRUE(result.C.guards_unchanged());
    EXPECT_TRUE(result.work.guards_unchanged());
    return result;
  }
};

template <Scalar T, class Visit>
void for_each_product(Random& random, const Sizes& s, Visit visit) {
  for (const bool left : {true, false}) {
    for (const bool plain : {true, false}) {
      const ProductWithZ<T> product(random, left, plain, s);
      SCOPED_TRACE(to_string(s) + ", " + product.side + product.trans);
      visit(product);
    }
  }
}

TYPED_TEST(ApplyZ, MultipliesFromBothSides) {
  using T = TypeParam;
  for (const Sizes& s : sizes) {
    for_each_product<T>(this->random, s, [&](const ProductWithZ<T>& product) {
      const Int best = product.best_lwork();
      const Computed<T> computed = product.compute(best, true), one_by_one = product.compute(s.nw, false);
      EXPECT_LT(product.error_of(computed.C), threshold);
      EXPECT_LT(product.error_of(one_by_one.C), threshold);
      EXPECT_EQ(computed.work(1), T(Real<T>(best)));
      EXPECT_EQ(bool(computed.C.same_as(one_by_one.C)), product.block_size() >= s.k);
    });
  }
}

TYPED_TEST(ApplyZ, TakesBlocksThatTheWorkspaceHolds) {
  using T = TypeParam;
  for (const Sizes& s : {Sizes{50, 9, 40, 10}, {90, 70, 66, 24}}) {
    for_each_product<T>(this->random, s, [&](const ProductWithZ<T>& product) {
      const Int best = product.best_lwork(), line = best / product.block_size();
      const Computed<T> one_by_one = product.compute(s.nw, false), expected = product.compute(best, true);
      for (const Int lwork : {s.nw, 2 * line - 1, 2 * line, 5 * line, best - 1, best + 7}) {
        SCOPED_TRACE(lwork);
        const Computed<T> computed = product.compute(lwork, true);
        EXPECT_LT(product.error_of(computed.C), threshold);
        EXPECT_EQ(computed.work(1), T(Real<T>(best)));
        EXPECT_EQ(bool(computed.C.same_as(one_by_one.C)), lwork < 2 * line);
        EXPECT_EQ(bool(computed.C.same_as(expected.C)), lwork >= best);
      }
    });
  }
}

TYPED_TEST(ApplyZ, AnswersTheQuestionForWorkspace) {
  using T = TypeParam;
  for (const Sizes& s : {Sizes{40, 30, 20, 5}, {90, 80, 70, 5}, {40, 30, 0, 5}, {40, 0, 7, 5}}) {
    for_each_product<T>(this->random, s, [&](ProductWithZ<T> product) {
      const Int nb = ComplexScalar<T> ? 32 : s.nq > 64 && s.nw > 64 ? 32 : 16;
      const bool is_empty = s.k == 0 || s.nw == 0;
      GuardedVector<T> work(2);
      Int info = 99;
      routine_call::ormrz(product.side, product.trans, product.m(), product.n(), s.k, s.l, product.Z.V,
                          static_cast<const T*>(product.Z.tau.data()), product.C, work.data(), -1, info);
      EXPECT_EQ(info, 0);
      EXPECT_EQ(work(1), T(Real<T>(is_empty ? 1 : (s.nw + nb) * nb)));
      EXPECT_TRUE(work.unchanged_outside(1, 1));
      EXPECT_TRUE(product.C.unchanged());
    });
  }
}

TYPED_TEST(ApplyZ, LeavesCAloneWhereThereIsNothingToDo) {
  using T = TypeParam;
  for (const Sizes& s : {Sizes{12, 9, 0, 3}, {12, 0, 5, 3}, {0, 9, 0, 0}}) {
    for_each_product<T>(this->random, s, [&](const ProductWithZ<T>& product) {
      const Int lwork = std::max(1, s.nw);
      const Computed<T> computed = product.compute(lwork, true), unblocked = product.compute(lwork, false);
      EXPECT_TRUE(computed.C.same_as(product.C));
      EXPECT_EQ(computed.work(1), T(1));
      EXPECT_TRUE(computed.work.unchanged_outside(1, 1));
      EXPECT_TRUE(unblocked.C.same_as(product.C));
      EXPECT_TRUE(unblocked.work.unchanged());
    });
  }
}

// ------------------------------------------------------------------------------------------------------ bad arguments

/// A product of two reflectors of order 5 with a 5 by 4 matrix from the left.
template <Scalar T>
struct BlockedCall {
  char side = 'L', trans = 'N';
  Int m = 5, n = 4, k = 2, l = 3, lda = 2, ldc = 5, lwork = 4;
  GuardedMatrix<T> A = GuardedMatrix<T>(2, 5, 2), C = GuardedMatrix<T>(5, 4, 5);
  GuardedVector<T> tau = GuardedVector<T>(2), work = GuardedVector<T>(4);

  BlockedCall() {
    Random random(3);
    A = random_matrix<T>(random, 2, 5, 2);
    C = random_matrix<T>(random, 5, 4, 5);
    tau(1) = tau(2) = T(1);
    tau.seal();
  }
  Int run() {
    Int info = 99;
    routine_call::ormrz(side, trans, m, n, k, l, {A.data(), lda}, static_cast<const T*>(tau.data()), {C.data(), ldc},
                        work.data(), lwork, info);
    return info;
  }
  bool unchanged() const { return A.unchanged() && C.unchanged() && tau.unchanged() && work.unchanged(); }
};

template <Scalar T>
struct UnblockedCall : BlockedCall<T> {
  Int run() {
    Int info = 99;
    routine_call::ormr3(this->side, this->trans, this->m, this->n, this->k, this->l, {this->A.data(), this->lda},
                        static_cast<const T*>(this->tau.data()), {this->C.data(), this->ldc}, this->work.data(), info);
    return info;
  }
};

/// One way to spoil each argument.
template <class Call>
struct Bad {
  static constexpr Spoiler<Call> side{1, [](Call& call) { call.side = 'U'; }};
  static constexpr Spoiler<Call> trans{2, [](Call& call) { call.trans = 'X'; }};
  static constexpr Spoiler<Call> m{3, [](Call& call) { call.m = -1; }};
  static constexpr Spoiler<Call> n{4, [](Call& call) { call.n = -1; }};
  static constexpr Spoiler<Call> k{5, [](Call& call) { call.k = -1; }};
  static constexpr Spoiler<Call> l{6, [](Call& call) { call.l = -1; }};
  static constexpr Spoiler<Call> lda{8, [](Call& call) { call.lda = 1; }};
  static constexpr Spoiler<Call> ldc{11, [](Call& call) { call.ldc = 4; }};
  static constexpr Spoiler<Call> lwork{13, [](Call& call) { call.lwork = 3; }};
};

template <class Call>
void expect_checks_of_values(const std::string& name, bool is_complex) {
  Call too_many;
  too_many.k = 6;
  expect_report(too_many, name, 5);
  Call too_long;
  too_long.l = 6;
  expect_report(too_long, name, 6);
  // From the right the order is the other size.
  Call right;
  right.side = 'R';
  right.k = 5;
  expect_report(right, name, 5);
  Call right_too_long;
  right_too_long.side = 'R';
  right_too_long.l = 5;
  expect_report(right_too_long, name, 6);
  Call other_letter;
  other_letter.trans = is_complex ? 'T' : 'C';
  expect_report(other_letter, name, 2);
}

TYPED_TEST(ApplyZ, ReportsBadArguments) {
  using T = TypeParam;
  using Blocked = BlockedCall<T>;
  using Unblocked = UnblockedCall<T>;
  using B = Bad<Blocked>;
  using U = Bad<Unblocked>;
  const std::string name = name_with_q<T>("M", "RZ"), unblocked_name = name_with_q<T>("M", "R3");
  expect_argument_checks<Blocked>(name, {B::side, B::trans, B::m, B::n, B::k, B::l, B::lda, B::ldc, B::lwork});
  expect_argument_checks<Unblocked>(unblocked_name, {U::side, U::trans, U::m, U::n, U::k, U::l, U::lda, U::ldc});
  expect_checks_of_values<Blocked>(name, ComplexScalar<T>);
  expect_checks_of_values<Unblocked>(unblocked_name, ComplexScalar<T>);
  Blocked question;
  question.lwork = -1;
  question.ldc = 4;
  expect_report(question, name, 11);
}

}  // namespace
}  // namespace nuv::test
