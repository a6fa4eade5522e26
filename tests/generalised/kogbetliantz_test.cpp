// Generalised singular values of a pair of triangles: tgsja.

#include <limits>

#include "generalised/pair_calls.hpp"
#include "support/argument_checks.hpp"
#include "support/deadline.hpp"
#include "support/filled.hpp"

namespace nuv::test {
namespace {

constexpr Int most_cycles = 40;

template <class T>
class Kogbetliantz : public ReportingTest {
 protected:
  Random random{821};
};
TYPED_TEST_SUITE(Kogbetliantz, Precisions, PrecisionLetter);

/// A pair in the form that ggsvp leaves, with guards where tgsja has no business.
template <Scalar T>
struct TriangularPair {
  PairShape shape;
  GuardedMatrix<T> A, B;

  TriangularPair(Random& random, const PairShape& shape_)
      : shape(shape_), A(shape.m, shape.n, std::max(1, shape.m) + 1), B(shape.p, shape.n, std::max(1, shape.p)) {
    const auto [m, p, n, k, l] = shape;
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= m; ++i) A(i, j) = element(random, n - l - k + i, j, i <= k + l);
      for (Int i = 1; i <= p; ++i) B(i, j) = element(random, n - l + i, j, i <= l);
    }
    A.seal();
    B.seal();
  }

  TgsjaCall<T> solved(const char* jobs) const {
    TgsjaCall<T> call(jobs, A, B, shape.k, shape.l, usual_tolerance(A), usual_tolerance(B));
    EXPECT_EQ(call.run(), 0);
    return call;
  }

 private:
  static T element(Random& random, Int diagonal, Int j, bool in_triangle) {
    if (!in_triangle || j < diagonal) return T(0);
    if (j == diagonal) return T(std::real(random.divisor<T>()));
    return random.scalar<T>();
  }
};

const PairShape shapes[] = {{4, 4, 4, 0, 4}, {6, 5, 4, 0, 4},    {6, 5, 7, 3, 4}, {5, 6, 7, 3, 4}, {4, 4, 6, 2, 3},
                            {3, 5, 5, 2, 3}, {2, 6, 5, 1, 4},    {1, 3, 3, 0, 3}, {3, 3, 3, 3, 0}, {2, 3, 4, 2, 2},
                            {5, 1, 4, 3, 1}, {0, 4, 4, 0, 4},    {4, 0, 3, 3, 0}, {5, 5, 5, 0, 2}, {7, 2, 5, 0, 2},
                            {9, 9, 9, 0, 9}, {20, 17, 25, 8, 15}};

TYPED_TEST(Kogbetliantz, DecomposesPairsOfTriangles) {
  using T = TypeParam;
  for (const PairShape& shape : shapes) {
    SCOPED_TRACE(shape.text());
    const TriangularPair<T> pair(this->random, shape);
    const TgsjaCall<T> call = pair.solved("III");
    expect_decomposed<TgsjaCall<T>, T>(call, pair.A, pair.B);
    const auto [m, p, n, k, l] = shape;
    for (Int i = 1; i <= std::min(m, k + l); ++i) EXPECT_EQ(std::imag(call.A(i, n - k - l + i)), 0) << i;
    EXPECT_EQ(call.ncycle % 2, 0);
    EXPECT_TRUE(call.ncycle <= 20 && call.ncycle >= (shape.l == 0 ? 0 : 2)) << call.ncycle;
    if (shape.l <= 1) {
      EXPECT_EQ(call.ncycle, 2 * shape.l);
    }
  }
}

/// What multiplies a matrix from the right is what would be set otherwise.
TYPED_TEST(Kogbetliantz, MultipliesMatricesThatItIsGiven) {
  using T = TypeParam;
  for (const PairShape& shape : shapes) {
    SCOPED_TRACE(shape.text());
    const auto [m, p, n, k, l] = shape;
    const TriangularPair<T> pair(this->random, shape);
    const TgsjaCall<T> set = pair.solved("iIi");
    const Real<T> tola = usual_tolerance(pair.A), tolb = usual_tolerance(pair.B);

    TgsjaCall<T> from_identity("UVQ", pair.A, pair.B, k, l, tola, tolb);
    from_identity.U = identity<T>(m, m + 1 + (m == 0));
    from_identity.V = identity<T>(p, std::max(1, p) + 2);
    from_identity.Q = identity<T>(n, n);
    EXPECT_EQ(from_identity.run(), 0);
    for (Int j = 1; j <= m; ++j) {
      for (Int i = 1; i <= m; ++i) EXPECT_TRUE(same_bits(from_identity.U(i, j), set.U(i, j)));
    }
    for (Int j = 1; j <= p; ++j) {
      for (Int i = 1; i <= p; ++i) EXPECT_TRUE(same_bits(from_identity.V(i, j), set.V(i, j)));
    }
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) EXPECT_TRUE(same_bits(from_identity.Q(i, j), set.Q(i, j)));
    }

    TgsjaCall<T> others("uvq", pair.A, pair.B, k, l, tola, tolb);
    others.U = random_matrix<T>(this->random, m, m, others.ldu);
    others.V = random_matrix<T>(this->random, p, p, others.ldv);
    others.Q = random_matrix<T>(this->random, n, n, others.ldq);
    const WideMatrix<T> U = wide(others.U), V = wide(others.V), Q = wide(others.Q);
    EXPECT_EQ(others.run(), 0);
    const auto expect_product = [](const WideMatrix<T>& X, const GuardedMatrix<T>& turn,
                                   const GuardedMatrix<T>& result) {
      if (X.rows() == 0) return;
      const WideMatrix<T> rest = product<T>(X, wide(turn)) - wide(result);
      EXPECT_LT(one_norm<T>(rest), pair_threshold * one_norm<T>(X) * double(X.rows()) * double(epsilon<T>));
    };
    expect_product(U, set.U, others.U);
    expect_product(V, set.V, others.V);
    expect_product(Q, set.Q, others.Q);
    EXPECT_TRUE(others.A.same_as(set.A));
    EXPECT_TRUE(others.B.same_as(set.B));
  }
}

TYPED_TEST(Kogbetliantz, IsTheSameWhateverIsWanted) {
  using T = TypeParam;
  for (const PairShape& shape : std::initializer_list<PairShape>{{6, 5, 7, 3, 4}, {3, 5, 5, 2, 3}}) {
    SCOPED_TRACE(shape.text());
    const TriangularPair<T> pair(this->random, shape);
    const TgsjaCall<T> all = pair.solved("III");
    for (const char* jobs : {"NNN", "nnn", "INn", "niN", "nNI"}) {
      SCOPED_TRACE(jobs);
      const TgsjaCall<T> some = pair.solved(jobs);
      EXPECT_TRUE(some.A.same_as(all.A) && some.B.same_as(all.B));
      EXPECT_TRUE(some.alpha.same_as(all.alpha) && some.beta.same_as(all.beta));
      EXPECT_EQ(some.ncycle, all.ncycle);
      expect_same_vectors<T>(some, all);
    }
  }
}

/// Of diagonal matrices nothing is to be turned: the pairs are their quotients, whatever the signs.
TYPED_TEST(Kogbetliantz, FindsPairsOfDiagonalMatrices) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr R huge = std::numeric_limits<R>::max() / 4, tiny = 1 / huge;
  struct Case {
    R a, b, alpha, beta;
  };
  const Case cases[] = {{3, 4, R(0.6), R(0.8)},
                        {-4, 3, R(0.8), R(0.6)},
                        {-3, -4, R(0.6), R(0.8)},
                        {4, -3, R(0.8), R(0.6)},
                        {0, 5, 0, 1},
                        {0, -5, 0, 1},
                        {7, 0, 1, 0},
                        {-7, 0, 1, 0},
                        {tiny, huge, 0, 1},
                        {-tiny, huge, 0, 1},
                        {huge, tiny, 1, 0}};
  for (const Case& one : cases) {
    SCOPED_TRACE(testing::Message() << one.a << " and " << one.b);
    GuardedMatrix<T> A(1, 1, 1), B(1, 1, 1);
    A(1, 1) = T(one.a);
    B(1, 1) = T(one.b);
    A.seal();
    B.seal();
    TgsjaCall<T> call("III", A, B, 0, 1, 1, 1);
    EXPECT_EQ(call.run(), 0);
    EXPECT_NEAR(call.alpha(1), one.alpha, 2 * epsilon<T>);
    EXPECT_NEAR(call.beta(1), one.beta, 2 * epsilon<T>);
    // U alpha R Q^H and V beta R Q^H are what they were.
    const T r = call.A(1, 1) * conjugate(call.Q(1, 1));
    const R allowed = 4 * epsilon<T> * std::max(std::abs(one.a), std::abs(one.b));
    EXPECT_LE(std::abs(call.U(1, 1) * call.alpha(1) * r - T(one.a)), allowed);
    EXPECT_LE(std::abs(call.V(1, 1) * call.beta(1) * r - T(one.b)), allowed);
  }
}

/// With a tolerance that nothing meets forty cycles are made, after which the triangles are upper ones, and no pair is
/// given out. One more cycle would have made them lower ones.
TYPED_TEST(Kogbetliantz, EndsWithTheFortiethCycle) {
  using T = TypeParam;
  using R = Real<T>;
  const TriangularPair<T> pair(this->random, {7, 6, 8, 3, 5});
  const R usual = usual_tolerance(pair.A), nan = std::numeric_limits<R>::quiet_NaN();
  for (const auto& [tola, tolb] : {std::pair{R(-1), usual}, {usual, R(-1)}, {nan, usual}, {usual, nan}}) {
    SCOPED_TRACE(testing::Message() << tola << ", " << tolb);
    TgsjaCall<T> call("III", pair.A, pair.B, 3, 5, tola, tolb);
    EXPECT_EQ(call.run(), 1);
    EXPECT_EQ(call.ncycle, most_cycles);
    EXPECT_TRUE(call.alpha.unchanged() && call.beta.unchanged());
    expect_triangular(call);
    expect_forms<T>(call, pair.A, pair.B, wide(call.A), wide(call.B));
  }
  // The smaller tolerance counts.
  const TgsjaCall<T> strict = pair.solved("NNN");
  for (const auto& [tola, tolb] : {std::pair{R(10), usual}, {usual, R(10)}}) {
    TgsjaCall<T> call("NNN", pair.A, pair.B, 3, 5, tola, tolb);
    EXPECT_EQ(call.run(), 0);
    EXPECT_EQ(call.ncycle, strict.ncycle);
  }
  TgsjaCall<T> lax("NNN", pair.A, pair.B, 3, 5, 10, 10);
  EXPECT_EQ(lax.run(), 0);
  EXPECT_EQ(lax.ncycle, 2);
  EXPECT_LT(lax.ncycle, strict.ncycle);
}

/// Without a second triangle there is nothing to do, whatever the tolerance.
TYPED_TEST(Kogbetliantz, MakesNoCycleWithoutB) {
  using T = TypeParam;
  const TriangularPair<T> pair(this->random, {4, 3, 5, 3, 0});
  TgsjaCall<T> call("III", pair.A, pair.B, 3, 0, -1, -1);
  EXPECT_EQ(call.run(), 0);
  EXPECT_EQ(call.ncycle, 0);
  EXPECT_TRUE(call.A.unchanged() && call.B.unchanged());
  for (Int i = 1; i <= 5; ++i) {
    EXPECT_EQ(call.alpha(i), i <= 3 ? 1 : 0);
    EXPECT_EQ(call.beta(i), 0);
  }
}

/// Of A, rows of both triangles, some of them or none.
const PairShape shapes_with_partners[] = {{6, 5, 5, 1, 4}, {3, 5, 5, 2, 3}, {2, 4, 5, 2, 3}};

/// What is not finite in one of the triangles leads to no pairs or stays to be seen. Where there are rows of both to
/// compare, a NaN never looks like convergence.
TYPED_TEST(Kogbetliantz, ShowsNumbersThatAreNotFinite) {
  using T = TypeParam;
  using R = Real<T>;
  for (const PairShape& shape : shapes_with_partners) {
    const auto [m, p, n, k, l] = shape;
    const TriangularPair<T> pair(this->random, shape);
    for (const R value : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
      for (const bool in_a : {true, false}) {
        for (Int i = 1; i <= (in_a ? m - k : l); ++i) {
          for (Int j = n - l + i; j <= n; ++j) {
            TgsjaCall<T> call("III", pair.A, pair.B, k, l, usual_tolerance(pair.A), usual_tolerance(pair.B));
            (in_a ? call.A(k + i, j) : call.B(i, j)) = T(value);
            SCOPED_TRACE(testing::Message() << shape.text() << ": " << value << " in " << (in_a ? 'A' : 'B') << i << j);
            const Deadline deadline(20, "tgsja");
            EXPECT_GE(call.run(), 0);
            EXPECT_TRUE(call.info == 1 || !wide(call.alpha).allFinite() || !wide(call.A).allFinite() ||
                        !wide(call.B).allFinite());
            if (std::isnan(value) && m > k) {
              EXPECT_EQ(call.info, 1);
            }
          }
        }
      }
    }
  }
}

/// The first k rows have no part in the method.
TYPED_TEST(Kogbetliantz, EndsForNumbersThatAreNotFiniteInTheFirstRows) {
  using T = TypeParam;
  using R = Real<T>;
  const TriangularPair<T> pair(this->random, {6, 5, 5, 1, 4});
  for (const R value : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (Int j = 1; j <= 5; ++j) {
      TgsjaCall<T> call("III", pair.A, pair.B, 1, 4, usual_tolerance(pair.A), usual_tolerance(pair.B));
      call.A(1, j) = T(value);
      const Deadline deadline(20, "tgsja");
      EXPECT_EQ(call.run(), 0);
      EXPECT_FALSE(wide(call.A).allFinite());
      EXPECT_TRUE(wide(call.alpha).allFinite() && wide(call.B).allFinite());
    }
  }
}

template <Scalar T>
struct ValidTgsja : TgsjaCall<T> {
  ValidTgsja() : ValidTgsja(made()) {}
  static TriangularPair<T> made() {
    Random random(5);
    return TriangularPair<T>(random, {4, 3, 5, 2, 3});
  }

 private:
  explicit ValidTgsja(const TriangularPair<T>& pair)
      : TgsjaCall<T>("IiI", pair.A, pair.B, 2, 3, usual_tolerance(pair.A), usual_tolerance(pair.B)) {}
};

TYPED_TEST(Kogbetliantz, ChecksItsArguments) {
  using T = TypeParam;
  using C = ValidTgsja<T>;
  const std::string name = reported_name<T>("TGSJA");
  expect_argument_checks<C>(name, {{1, [](C& c) { c.jobu = 'V'; }},
                                   {2, [](C& c) { c.jobv = 'U'; }},
                                   {3, [](C& c) { c.jobq = 'X'; }},
                                   {4, [](C& c) { c.m = -1; }},
                                   {5, [](C& c) { c.p = -1; }},
                                   {6, [](C& c) { c.n = -1; }},
                                   {10, [](C& c) { c.lda = 3; }},
                                   {12, [](C& c) { c.ldb = 2; }},
                                   {18, [](C& c) { c.ldu = 3; }},
                                   {20, [](C& c) { c.ldv = 2; }},
                                   {22, [](C& c) { c.ldq = 4; }}});
  expect_room_for_vectors<C>(name, 18, 20, 22);
}

}  // namespace
}  // namespace nuv::test
