// Vectors of plane rotations: ?largv and ?lar2v.

#include <cmath>
#include <limits>

#include "blas.hpp"
#include "routines.hpp"
#include "support/guarded.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;
constexpr Int counts[] = {0, 1, 2, 7, 33};

/// largv with increments of one.
template <Scalar T>
void generate(Int n, T* x, T* y, Real<T>* c) {
  routine_call::largv(n, Vector{x, 1}, Vector{y, 1}, Vector{c, 1});
}

template <class T>
class VectorRotations : public testing::Test {
 protected:
  /// Rotations in the way in which the routines take them, c and s with the same increment.
  void make_rotations(GuardedVector<Real<T>>& c, GuardedVector<T>& s) {
    for (Int i = 1; i <= c.size(); ++i) {
      T f = random.scalar<T>(), g = random.scalar<T>();
      generate(1, &f, &g, &c(i));
      s(i) = g;
    }
    c.seal();
    s.seal();
  }

  Random random{41};
};
TYPED_TEST_SUITE(VectorRotations, Precisions, PrecisionLetter);

/// Expects that (c, s) rotates (f, g) into (r, 0).
template <Scalar T>
void expect_rotation(T f, T g, Real<T> c, T s, T r) {
  using W = WideReal<T>;
  const Wide<T> wf = wide(f), wg = wide(g), ws = wide(s);
  const W wc = c, length = std::abs(wf) + std::abs(wg), eps = epsilon<T>;
  EXPECT_LT(std::abs(wc * wc + std::norm(ws) - 1) / eps, threshold);
  EXPECT_LT(std::abs(wc * wf + ws * wg - wide(r)) / (length * eps), threshold) << f << ", " << g;
  EXPECT_LT(std::abs(wc * wg - Eigen::numext::conj(ws) * wf) / (length * eps), threshold) << f << ", " << g;
}

TYPED_TEST(VectorRotations, TurnPairsIntoTheFirstAxis) {
  using T = TypeParam;
  for (const Int n : counts) {
    for (const Int inc : {1, 3}) {
      GuardedVector<T> x = random_vector<T>(this->random, n, inc), y = random_vector<T>(this->random, n, inc + 1);
      GuardedVector<Real<T>> c(n, inc + 2);
      c.seal();
      routine_call::largv(n, Vector<T>(x), Vector<T>(y), Vector<Real<T>>(c));
      for (Int i = 1; i <= n; ++i) expect_rotation(x.sealed(i), y.sealed(i), c(i), y(i), x(i));
      EXPECT_TRUE(x.guards_unchanged());
      EXPECT_TRUE(y.guards_unchanged());
      EXPECT_TRUE(c.guards_unchanged());
    }
  }
}

TYPED_TEST(VectorRotations, AreTheIdentityOrAnExchangeWhereAnElementIsZero) {
  using T = TypeParam;
  const T f = this->random.template divisor<T>();
  T x[] = {f, T(0), T(0)}, y[] = {T(0), f, T(0)};
  Real<T> c[3];
  generate(3, x, y, c);
  EXPECT_EQ(c[0], 1);
  EXPECT_EQ(y[0], T(0));
  EXPECT_EQ(x[0], f);
  EXPECT_EQ(c[1], 0);
  expect_rotation(T(0), f, c[1], y[1], x[1]);
  EXPECT_EQ(c[2], 1);
  EXPECT_EQ(y[2], T(0));
  EXPECT_EQ(x[2], T(0));
}

/// One element by far the larger, and both near the ends of the exponent range.
TYPED_TEST(VectorRotations, BearAllSizes) {
  using T = TypeParam;
  using R = Real<T>;
  const R sizes[] = {std::numeric_limits<R>::max() / 8, R(1), std::numeric_limits<R>::min() * 8};
  for (const R size_of_f : sizes) {
    for (const R size_of_g : sizes) {
      const T f = size_of_f * this->random.template divisor<T>(), g = size_of_g * this->random.template divisor<T>();
      T x = f, y = g;
      R c = guard<R>();
      generate(1, &x, &y, &c);
      expect_rotation(f, g, c, y, x);
    }
  }
}

TYPED_TEST(VectorRotations, EndWhateverThePair) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr R inf = std::numeric_limits<R>::infinity(), nan = std::numeric_limits<R>::quiet_NaN();
  for (const R bad : {inf, -inf, nan}) {
    for (const R other : {R(0), R(1), inf}) {
      for (const bool first : {false, true}) {
        T x = first ? T(bad) : T(other), y = first ? T(other) : T(bad);
        R c = 0;
        generate(1, &x, &y, &c);
        EXPECT_FALSE(std::isfinite(std::real(x)) && std::isfinite(std::imag(x))) << bad << ", " << other;
      }
    }
  }
}

TYPED_TEST(VectorRotations, TurnMatricesOfOrderTwoFromBothSides) {
  using T = TypeParam;
  using R = Real<T>;
  using Order2 = Eigen::Matrix<Wide<T>, 2, 2>;
  for (const Int n : counts) {
    for (const Int inc : {1, 4}) {
      // Imaginary parts of x and y are not there for the routine.
      GuardedVector<T> x = random_vector<T>(this->random, n, inc), y = random_vector<T>(this->random, n, inc),
                       z = random_vector<T>(this->random, n, inc), s(n, inc + 1);
      GuardedVector<R> c(n, inc + 1);
      this->make_rotations(c, s);
      routine_call::lar2v(n, x.data(), y.data(), z.data(), inc, c.data(), s.data(), inc + 1);
      for (Int i = 1; i <= n; ++i) {
        Order2 G, A;
        const Wide<T> si = wide(s(i)), zi = wide(z.sealed(i));
        const WideReal<T> ci = c(i);
        G << Wide<T>(ci), Eigen::numext::conj(si), -si, Wide<T>(ci);
        A << Wide<T>(std::real(x.sealed(i))), zi, Eigen::numext::conj(zi), Wide<T>(std::real(y.sealed(i)));
        const Order2 turned = G * A * G.adjoint();
        const auto error = [&](T result, Wide<T> exact) { return std::abs(wide(result) - exact) / epsilon<T>; };
        EXPECT_LT(error(x(i), turned(0, 0)), threshold);
        EXPECT_LT(error(y(i), turned(1, 1)), threshold);
        EXPECT_LT(error(z(i), turned(0, 1)), threshold);
        EXPECT_EQ(std::imag(x(i)), 0);
        EXPECT_EQ(std::imag(y(i)), 0);
      }
      for (const GuardedVector<T>* vector : {&x, &y, &z}) EXPECT_TRUE(vector->guards_unchanged());
      EXPECT_TRUE(c.unchanged());
      EXPECT_TRUE(s.unchanged());
    }
  }
}

/// The three operations go together: with the elements below the diagonal for z, lar2v turns a Hermitian matrix in the
/// way in which lartv turns its rows.
TYPED_TEST(VectorRotations, GoWithTheRotationOfPairs) {
  using T = TypeParam;
  T x = this->random.template scalar<T>(), y = this->random.template scalar<T>(), c_s = y;
  Real<T> c = 0;
  T r = x;
  generate(1, &r, &c_s, &c);
  const T s = c_s;
  blas::lartv(1, {&x, 1}, {&y, 1}, &c, &s, 1);
  EXPECT_LT(std::abs(x - r), threshold * epsilon<T>);
  EXPECT_LT(std::abs(y), threshold * epsilon<T>);

  // The eigenvector (f, g) of a matrix of rank one, f and g the pair above, becomes the first axis.
  const T f = this->random.template scalar<T>(), g = this->random.template scalar<T>();
  T f_turned = f, sine = g, a11 = T(std::norm(f)), a22 = T(std::norm(g)), a21 = g * conjugate(f);
  generate(1, &f_turned, &sine, &c);
  routine_call::lar2v(1, &a11, &a22, &a21, 1, &c, &sine, 1);
  EXPECT_LT(std::abs(a22), threshold * epsilon<T>);
  EXPECT_LT(std::abs(a21), threshold * epsilon<T>);
  EXPECT_LT(std::abs(a11 - T(std::norm(f_turned))), threshold * epsilon<T>);
}

}  // namespace
}  // namespace nuv::test
