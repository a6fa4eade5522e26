// The estimate of a one-norm by reverse communication: ?lacon_internal, ?lacon, ?lacn2.

#include <cmath>
#include <numeric>

#include "routines.hpp"
#include "support/random.hpp"
#include "support/sanitized.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

/// One conversation: the arguments of the routines, and what was said.
template <Scalar T>
struct Conversation {
  explicit Conversation(Int n_) : n(n_), v(n_), x(n_), isgn(n_) {}

  Int n;
  GuardedVector<T> v, x;
  GuardedVector<Int> isgn;
  Real<T> est = -1;
  Int kase = 0;
  Int state[3] = {77, 77, 77};  // whatever was there before
  std::vector<Int> asked;
};

template <Scalar T>
void ask_internal(Conversation<T>& c) {
  if constexpr (ComplexScalar<T>) {
    routine_call::lacon_internal(c.n, c.v.data(), c.x.data(), c.est, c.kase, c.state[0], c.state[1], c.state[2]);
  } else {
    routine_call::lacon_internal(c.n, c.v.data(), c.x.data(), c.isgn.data(), c.est, c.kase, c.state[0], c.state[1],
                                 c.state[2]);
  }
}

template <Scalar T>
void ask_lacn2(Conversation<T>& c) {
  if constexpr (ComplexScalar<T>) {
    routine_call::lacn2(c.n, c.v.data(), c.x.data(), c.est, c.kase, c.state);
  } else {
    routine_call::lacn2(c.n, c.v.data(), c.x.data(), c.isgn.data(), c.est, c.kase, c.state);
  }
}

template <Scalar T>
void ask_lacon(Conversation<T>& c) {
  if constexpr (ComplexScalar<T>) {
    routine_call::lacon(c.n, c.v.data(), c.x.data(), c.est, c.kase);
  } else {
    routine_call::lacon(c.n, c.v.data(), c.x.data(), c.isgn.data(), c.est, c.kase);
  }
}

/// Puts the product that was asked for in the place of x.
template <Scalar T>
void answer(const GuardedMatrix<T>& A, Conversation<T>& c) {
  std::vector<T> product(std::size_t(c.n), T(0));
  for (Int i = 1; i <= c.n; ++i) {
    for (Int j = 1; j <= c.n; ++j) product[std::size_t(i - 1)] += (c.kase == 1 ? A(i, j) : conjugate(A(j, i))) * c.x(j);
  }
  std::copy(product.begin(), product.end(), c.x.data());
}

constexpr std::size_t most_products = 12;

template <Scalar T, class Ask>
Conversation<T> converse(const GuardedMatrix<T>& A, Ask ask) {
  Conversation<T> c(A.columns());
  do {
    ask(c);
    c.asked.push_back(c.kase);
    if (c.kase != 0) answer(A, c);
  } while (c.kase != 0 && c.asked.size() <= most_products);
  EXPECT_EQ(c.kase, 0) << "no end";
  EXPECT_TRUE(c.v.guards_unchanged());
  EXPECT_TRUE(c.x.guards_unchanged());
  EXPECT_TRUE(c.isgn.guards_unchanged());
  return c;
}

template <Scalar T>
WideReal<T> true_norm(const GuardedMatrix<T>& A) {
  return wide(A).cwiseAbs().colwise().sum().maxCoeff();
}

template <class T>
class NormEstimate : public testing::Test {
 protected:
  GuardedMatrix<T> matrix(Int n) { return random_matrix<T>(random, n, n, n); }

  /// Fills a matrix by a function of place.
  template <class Entry>
  static GuardedMatrix<T> matrix(Int n, Entry entry) {
    GuardedMatrix<T> A(n, n, n);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) A(i, j) = T(Real<T>(entry(i, j)));
    }
    return A;
  }

  Random random{29};
};
TYPED_TEST_SUITE(NormEstimate, Precisions, PrecisionLetter);

TYPED_TEST(NormEstimate, IsALowerBoundWithinAFactorOfThree) {
  using T = TypeParam;
  const int matrices = is_sanitized ? 200 : 1000;
  WideReal<T> sum_of_shares = 0;
  for (int repetition = 0; repetition < matrices; ++repetition) {
    const Int n = this->random.integer(1, 30);
    const GuardedMatrix<T> A = this->matrix(n);
    const auto norm = true_norm(A);
    const auto est = converse(A, ask_internal<T>).est;
    EXPECT_LE(est, norm * (1 + n * epsilon<T>));
    EXPECT_GE(3 * est, norm) << "order " << n;
    sum_of_shares += est / norm;
  }
  EXPECT_GT(sum_of_shares / matrices, 0.8);
}

TYPED_TEST(NormEstimate, IsTheSameFromAllThreeEntries) {
  using T = TypeParam;
  for (const Int n : {1, 2, 3, 4, 10, 33, 100}) {
    for (int repetition = 0; repetition < 10; ++repetition) {
      const GuardedMatrix<T> A = this->matrix(n);
      const auto expected = converse(A, ask_internal<T>);
      for (const auto ask : {ask_lacon<T>, ask_lacn2<T>}) {
        const auto c = converse(A, ask);
        EXPECT_EQ(c.asked, expected.asked);
        EXPECT_EQ(c.est, expected.est);
        EXPECT_TRUE(c.v.same_as(expected.v));
        EXPECT_TRUE(c.x.same_as(expected.x));
        EXPECT_TRUE(c.isgn.same_as(expected.isgn));
      }
    }
  }
}

TYPED_TEST(NormEstimate, KeepsTheStateOfConversationsApart) {
  using T = TypeParam;
  for (const auto ask : {ask_internal<T>, ask_lacn2<T>}) {
    const GuardedMatrix<T> A = this->matrix(12), B = this->matrix(7);
    Conversation<T> a(12), b(7);
    do {
      if (a.asked.empty() || a.kase != 0) {
        ask(a);
        a.asked.push_back(a.kase);
        if (a.kase != 0) answer(A, a);
      }
      if (b.asked.empty() || b.kase != 0) {
        ask(b);
        b.asked.push_back(b.kase);
        if (b.kase != 0) answer(B, b);
      }
    } while (a.kase != 0 || b.kase != 0);
    EXPECT_EQ(a.est, converse(A, ask).est);
    EXPECT_EQ(b.est, converse(B, ask).est);
  }
}

TYPED_TEST(NormEstimate, TakesOneProductForOrderOne) {
  using T = TypeParam;
  for (const auto ask : {ask_internal<T>, ask_lacon<T>, ask_lacn2<T>}) {
    GuardedMatrix<T> A = this->matrix(1);
    if constexpr (ComplexScalar<T>) {
      A(1, 1) = T(3, -4);
    } else {
      A(1, 1) = -5;
    }
    const auto c = converse(A, ask);
    EXPECT_EQ(c.asked, (std::vector<Int>{1, 0}));
    EXPECT_EQ(c.est, 5);
    EXPECT_EQ(c.v(1), A(1, 1));
  }
}

TYPED_TEST(NormEstimate, AsksForAMeanFirst) {
  using T = TypeParam;
  Conversation<T> c(4);
  ask_internal(c);
  EXPECT_EQ(c.kase, 1);
  EXPECT_EQ(c.state[0], 1);
  for (Int i = 1; i <= 4; ++i) EXPECT_EQ(c.x(i), T(Real<T>(0.25)));
}

TYPED_TEST(NormEstimate, StopsWhenARoundBringsNothing) {
  using T = TypeParam;
  // The identity: the signs repeat, and the estimate does not grow.
  const auto one = converse(this->matrix(5, [](Int i, Int j) { return i == j; }), ask_internal<T>);
  EXPECT_EQ(one.asked, (std::vector<Int>{1, 2, 1, 1, 0}));
  EXPECT_EQ(one.est, 1);
  // A column that dominates: found in the first round, after which the place of the largest does not change.
  const auto column =
      converse(this->matrix(5, [](Int i, Int j) { return j == 3   ? 2 + i % 2
                                                         : i == j ? -1
                                                                  : 0; }), ask_internal<T>);
  EXPECT_EQ(column.est, 13);
}

/// Answers as no matrix would: every product has a larger norm than the last one and other signs, and every transposed
/// product has its largest element one place further. For complex vectors an element of larger |re| + |im| stands
/// beside the one of largest modulus.
template <Scalar T>
void lead_on(Conversation<T>& c, Int round) {
  const auto number = [](double re, double im) {
    if constexpr (ComplexScalar<T>) return T(Real<T>(re), Real<T>(im));
    else return T(std::hypot(re, im));
  };
  for (Int i = 1; i <= c.n; ++i) {
    if (c.kase == 1) {
      c.x(i) = (i == round ? T(-1) : T(1)) * number(3 * (round + 1), 4 * (round + 1));
    } else {
      c.x(i) = i == round + 1 ? number(5, 0) : ComplexScalar<T> && i == c.n ? number(3.4, 3.4) : number(1, 0);
    }
  }
}

template <Scalar T, class Ask, class State>
void expect_five_rounds(Ask ask, State state_of) {
  Conversation<T> c(8);
  for (Int round = 0; round <= 4; ++round) {
    ask(c);
    ASSERT_EQ(c.kase, 1) << round;
    for (Int i = 1; round > 0 && i <= c.n; ++i) EXPECT_EQ(c.x(i), T(i == round)) << round;
    if (round > 0) {
      EXPECT_EQ(state_of(c), (std::vector<Int>{3, round, round + 1}));
    }
    lead_on(c, round);
    ask(c);
    ASSERT_EQ(c.kase, 2) << round;
    EXPECT_EQ(c.est, Real<T>(8 * 5 * (round + 1)));
    lead_on(c, round);
  }
  ask(c);
  EXPECT_EQ(c.kase, 1);
  EXPECT_EQ(c.x(1), T(1));  // the alternating vector
  EXPECT_EQ(c.x(8), T(-2));
  EXPECT_EQ(state_of(c)[0], 5);
  ask(c);
  EXPECT_EQ(c.kase, 0);
}

TYPED_TEST(NormEstimate, StopsAfterFiveRounds) {
  using T = TypeParam;
  const auto state = [](const Conversation<T>& c) { return std::vector<Int>(c.state, c.state + 3); };
  expect_five_rounds<T>(ask_internal<T>, state);
  expect_five_rounds<T>(ask_lacn2<T>, state);
}

TYPED_TEST(NormEstimate, SeesThroughCancellationWithTheAlternatingVector) {
  using T = TypeParam;
  // A = C with C e = 0 and e^T C = 0: the mean and every vector of equal signs vanish, so that the rounds see nothing.
  const Int n = 8;
  const GuardedMatrix<T> A = this->matrix(n, [](Int i, Int j) {
    return i <= 2 || j <= 2 ? 0 : (i + j) % 2 == 0 ? 1 : -1;
  });
  const auto c = converse(A, ask_internal<T>);
  // A times the alternating vector b has elements of magnitude s = |sum of (-1)^i b(i), i > 2|.
  WideReal<T> s = 0;
  for (Int i = 3; i <= n; ++i) s += 1 + WideReal<T>(i - 1) / (n - 1);
  const auto expected = 2 * 6 * s / (3 * n);
  EXPECT_NEAR(double(c.est), double(expected), 10 * n * epsilon<T>);
  EXPECT_EQ(c.asked, (std::vector<Int>{1, 2, 1, 1, 0}));
}

TYPED_TEST(NormEstimate, ResumesAtTheFirstStepFromAnUnknownOne) {
  using T = TypeParam;
  const GuardedMatrix<T> A = this->matrix(6);
  for (const Int jump : {0, -1, 6, 100}) {
    Conversation<T> known(6), unknown(6);
    for (auto* c : {&known, &unknown}) {
      ask_internal(*c);
      answer(A, *c);
    }
    unknown.state[0] = jump;
    ask_internal(known);
    ask_internal(unknown);
    EXPECT_EQ(unknown.kase, 2);
    EXPECT_EQ(unknown.state[0], 2);
    EXPECT_EQ(unknown.est, known.est);
    EXPECT_TRUE(unknown.x.same_as(known.x));
  }
}

TYPED_TEST(NormEstimate, CountsZerosAndNaNAsPositive) {
  using T = TypeParam;
  using R = Real<T>;
  if constexpr (RealScalar<T>) {
    for (const auto ask : {ask_internal<T>, ask_lacn2<T>}) {
      Conversation<T> c(4);
      ask(c);
      const R products[] = {R(-0.0), std::numeric_limits<R>::quiet_NaN(), -3, 2};
      std::copy_n(products, 4, c.x.data());
      ask(c);
      const R signs[] = {1, 1, -1, 1};
      for (Int i = 1; i <= 4; ++i) {
        EXPECT_EQ(c.x(i), signs[i - 1]);
        EXPECT_EQ(c.isgn(i), Int(signs[i - 1]));
      }
    }
  }
}

TYPED_TEST(NormEstimate, DividesComplexElementsByTheirMagnitudes) {
  using T = TypeParam;
  using R = Real<T>;
  if constexpr (ComplexScalar<T>) {
    const R smallest = std::numeric_limits<R>::min();
    for (const auto ask : {ask_internal<T>, ask_lacn2<T>}) {
      Conversation<T> c(4);
      ask(c);
      const T products[] = {T(3, -4), T(0, smallest), T(0, -2 * smallest), T(0)};
      std::copy_n(products, 4, c.x.data());
      ask(c);
      const T directions[] = {T(R(3) / 5, R(-4) / 5), T(1), T(0, -1), T(1)};
      for (Int i = 1; i <= 4; ++i) EXPECT_EQ(c.x(i), directions[i - 1]) << i;
    }
  }
}

/// The algorithm without reverse communication.
template <RealScalar T>
T direct_estimate(const GuardedMatrix<T>& A) {
  const Int n = A.columns();
  const auto product = [&](Int kase, std::vector<T>& x) {
    Conversation<T> c(n);
    c.kase = kase;
    std::copy(x.begin(), x.end(), c.x.data());
    answer(A, c);
    x.assign(c.x.data(), c.x.data() + n);
  };
  const auto norm = [](const std::vector<T>& x) {
    return std::accumulate(x.begin(), x.end(), T(0), [](T sum, T y) { return sum + std::abs(y); });
  };
  const auto largest = [](const std::vector<T>& x) {
    return std::max_element(x.begin(), x.end(), [](T y, T z) { return std::abs(y) < std::abs(z); }) - x.begin();
  };
  const auto signs = [](std::vector<T> x) {
    for (T& y : x) y = y < 0 ? T(-1) : T(1);
    return x;
  };

  std::vector<T> x(std::size_t(n), 1 / T(n));
  product(1, x);
  T est = norm(x);
  std::vector<T> s = signs(x);
  x = s;
  product(2, x);
  std::ptrdiff_t j = largest(x);
  for (int iter = 2;; ++iter) {
    x.assign(std::size_t(n), T(0));
    x[std::size_t(j)] = 1;
    product(1, x);
    const T last = est;
    est = norm(x);
    if (signs(x) == s || est <= last) break;
    s = signs(x);
    x = s;
    product(2, x);
    const std::ptrdiff_t before = j;
    j = largest(x);
    if (x[std::size_t(before)] == std::abs(x[std::size_t(j)]) || iter == 5) break;
  }
  for (Int i = 0; i < n; ++i) x[std::size_t(i)] = (i % 2 == 0 ? 1 : -1) * (1 + T(i) / T(n - 1));
  product(1, x);
  return std::max(est, 2 * (norm(x) / T(3 * n)));
}

TYPED_TEST(NormEstimate, FollowsTheRoundsOfTheAlgorithm) {
  using T = TypeParam;
  if constexpr (RealScalar<T>) {
    for (int repetition = 0; repetition < 400; ++repetition) {
      // Small integers and orders that are powers of two: every product but the last is exact.
      const Int n = 1 << this->random.integer(1, 5);
      const GuardedMatrix<T> A = this->matrix(n, [&](Int, Int) { return this->random.integer(-9, 9); });
      const T expected = direct_estimate(A), est = converse(A, ask_internal<T>).est;
      EXPECT_NEAR(est, expected, n * epsilon<T> * expected);
    }
  }
}

}  // namespace
}  // namespace nuv::test
