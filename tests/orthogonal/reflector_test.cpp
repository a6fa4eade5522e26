// One reflector: larfg, larf, larfx.

#include <limits>

#include "blas.hpp"
#include "orthogonal/reflectors.hpp"
#include "support/options.hpp"

namespace nuv::test {
namespace {

template <class T>
class Reflector : public testing::Test {
 protected:
  Random random{41};
};
TYPED_TEST_SUITE(Reflector, Precisions, PrecisionLetter);

// ------------------------------------------------------------------------------------------------------------- larfg

template <Scalar T>
struct Generated {
  WideMatrix<T> before;  ///< alpha and x
  T alpha, beta, tau;
  GuardedVector<T> x;
};

template <Scalar T>
Generated<T> generate(T alpha, GuardedVector<T> x) {
  const Int n = x.size() + 1;
  WideMatrix<T> before(n, 1);
  before(0, 0) = wide(alpha);
  before.bottomRows(n - 1) = wide(x);
  Generated<T> result{before, alpha, alpha, guard<T>(), x};
  routine_call::larfg(n, result.beta, result.x, result.tau);
  EXPECT_TRUE(result.x.guards_unchanged());
  return result;
}

/// Expects that H^H takes (alpha, x) to (beta, 0), that H is unitary, and that beta has the sign opposite to alpha.
/// Numbers of result may be off by the smallest number there is as well, since beta and its like may be that small.
template <Scalar T>
void expect_reflects(const Generated<T>& result) {
  const Int n = Int(result.before.rows());
  const double smallest = std::numeric_limits<Real<T>>::denorm_min();
  const double length = double(result.before.norm());
  const double unit = n * double(epsilon<T>);
  WideMatrix<T> v(n, 1);
  v(0, 0) = 1;
  v.bottomRows(n - 1) = wide(result.x);
  WideMatrix<T> after = result.before;
  reflect<T>(v, Eigen::numext::conj(wide(result.tau)), after);

  EXPECT_EQ(std::imag(result.beta), 0);
  EXPECT_EQ(std::real(result.alpha) < 0, std::real(result.beta) > 0);
  EXPECT_LT(std::abs(std::abs(double(std::real(result.beta))) - length), threshold * (unit * length + smallest));
  after(0, 0) -= wide(result.beta);
  EXPECT_LT(double(after.norm()), threshold * (unit * length + smallest));
  // 2 re tau = |tau|^2 ||v||^2
  const auto tau = wide(result.tau);
  EXPECT_LT(std::abs(double(2 * std::real(tau) - std::norm(tau) * v.squaredNorm())), threshold * unit);
  EXPECT_GE(std::real(result.tau), 1 - threshold * unit);
  EXPECT_LE(std::abs(result.tau), 2);
}

TYPED_TEST(Reflector, TakesAVectorToAMultipleOfTheFirstUnitVector) {
  using T = TypeParam;
  for (const Int n : {2, 3, 4, 9, 17, 100, 1000}) {
    for (const Int inc : {1, 3}) {
      SCOPED_TRACE("order " + std::to_string(n) + ", increment " + std::to_string(inc));
      for (int repeat = 0; repeat < 4; ++repeat) {
        expect_reflects(generate(this->random.template scalar<T>(), random_vector<T>(this->random, n - 1, inc)));
      }
    }
  }
}

TYPED_TEST(Reflector, ReflectsTinyAndHugeVectors) {
  using T = TypeParam;
  using R = Real<T>;
  const bool is_single = std::same_as<R, float>;
  const std::vector<R> sizes =
      is_single ? std::vector<R>{R(1e-44), R(1e-40), R(1e-38), R(1e-35), R(1e-30), R(1e-20), R(1e20), R(1e36)}
                : std::vector<R>{R(5e-324), R(1e-310), R(1e-305), R(1e-300), R(1e-290), R(1e200), R(1e300)};
  for (const R size : sizes) {
    for (const Int n : {2, 5, 40}) {
      SCOPED_TRACE("size " + std::to_string(std::log10(size)) + ", order " + std::to_string(n));
      GuardedVector<T> x = random_vector<T>(this->random, n - 1, 1);
      for (Int i = 1; i < n; ++i) x(i) = size * (x(i) + T(1));
      expect_reflects(generate(T(size * this->random.template divisor<T>()), x));
      expect_reflects(generate(T(0), x));
      expect_reflects(generate(T(1), x));
    }
  }
}

TYPED_TEST(Reflector, UndoesItsScalingByRepeatedProducts) {
  using T = TypeParam;
  using R = Real<T>;
  // Of length 5 in units of a power of two: all steps are exact.
  const R unit = std::ldexp(std::numeric_limits<R>::min(), -3);
  GuardedVector<T> x(1);
  x(1) = T(4 * unit);
  const Generated<T> result = generate(T(-3 * unit), x);
  EXPECT_EQ(result.beta, T(5 * unit));
  EXPECT_EQ(result.tau, T(R(8) / R(5)));
  EXPECT_EQ(result.x(1), T(R(4) * (R(-1) / R(8))));
}

TYPED_TEST(Reflector, OfOrderOneIsTheIdentityForARealNumber) {
  using T = TypeParam;
  for (const double alpha : {3.0, -3.0, 0.0, -0.0}) {
    const Generated<T> result = generate(T(alpha), GuardedVector<T>(0));
    EXPECT_EQ(result.tau, T(0));
    EXPECT_TRUE(same_bits(result.beta, T(alpha)));
  }
}

TYPED_TEST(Reflector, OfNoOrderIsTheIdentity) {
  using T = TypeParam;
  T alpha(7), tau = guard<T>();
  GuardedVector<T> x(3);
  routine_call::larfg(0, alpha, x, tau);
  EXPECT_EQ(tau, T(0));
  EXPECT_EQ(alpha, T(7));
  EXPECT_TRUE(x.unchanged());
}

TYPED_TEST(Reflector, OfOrderOneTurnsAComplexNumberReal) {
  using T = TypeParam;
  if constexpr (ComplexScalar<T>) {
    for (const T alpha : {T(3, 4), T(-3, 4), T(0, -5)}) {
      const Generated<T> result = generate(alpha, GuardedVector<T>(0));
      expect_reflects(result);
      EXPECT_NE(result.tau, T(0));
    }
  } else {
    const Generated<T> result = generate(T(-5), GuardedVector<T>(0));
    EXPECT_EQ(result.beta, T(-5));
  }
}

TYPED_TEST(Reflector, LeavesAVectorThatIsReflectedAlready) {
  using T = TypeParam;
  for (const double alpha : {2.5, -2.5, -0.0}) {
    GuardedVector<T> x(4);
    for (Int i = 1; i <= 4; ++i) x(i) = T(0);
    x.seal();
    const Generated<T> result = generate(T(alpha), x);
    EXPECT_EQ(result.tau, T(0));
    EXPECT_TRUE(same_bits(result.beta, T(alpha)));
    EXPECT_TRUE(result.x.unchanged());
  }
}

TYPED_TEST(Reflector, CountsANegativeZeroAsPositive) {
  using T = TypeParam;
  GuardedVector<T> x(1);
  x(1) = T(2);
  EXPECT_EQ(generate(T(-0.0), x).beta, T(-2));
  EXPECT_EQ(generate(T(0), x).beta, T(-2));
}

TYPED_TEST(Reflector, ComesToAnEndOnANaN) {
  using T = TypeParam;
  const T nan(std::numeric_limits<Real<T>>::quiet_NaN());
  GuardedVector<T> x(2);
  x(1) = T(1);
  x(2) = nan;
  EXPECT_TRUE(std::isnan(std::real(generate(T(1), x).beta)));
  x(2) = T(1);
  EXPECT_TRUE(std::isnan(std::real(generate(nan, x).beta)));
}

// -------------------------------------------------------------------------------------------------------------- larf

TYPED_TEST(Reflector, IsAppliedFromEitherSide) {
  using T = TypeParam;
  for (const Int m : {1, 2, 7, 16, 33, 60}) {
    for (const Int n : {1, 3, 8, 17, 50}) {
      for (const char side : {'L', 'l', 'R', 'x'}) {
        for (const Int inc : {1, 2, -1}) {
          SCOPED_TRACE(std::to_string(m) + " by " + std::to_string(n) + ", side " + side);
          const auto apply = [&](Vector<const T> v, T tau, Matrix<T> C, T* work) {
            routine_call::larf(side, m, n, v, tau, C, work);
          };
          EXPECT_LT(error_of_reflection<T>(this->random, is_left(side), m, n, inc, apply), threshold);
        }
      }
    }
  }
}

TYPED_TEST(Reflector, ThatIsTheIdentityTouchesNothing) {
  using T = TypeParam;
  for (const char side : sides) {
    GuardedMatrix<T> C(5, 4, 6);  // guards are NaNs
    GuardedVector<T> work(5), v(5);
    routine_call::larf(side, 5, 4, v, T(0), C, work.data());
    EXPECT_TRUE(C.unchanged());
    EXPECT_TRUE(work.unchanged());
  }
}

TYPED_TEST(Reflector, WithANaNForTauIsNotTheIdentity) {
  using T = TypeParam;
  const T nan(std::numeric_limits<Real<T>>::quiet_NaN());
  for (const char side : sides) {
    for (const Int m : {3, 20}) {
      GuardedMatrix<T> C = random_matrix<T>(this->random, m, m, m);
      GuardedVector<T> work(m);
      const GuardedVector<T> v = random_vector<T>(this->random, m, 1);
      routine_call::larf(side, m, m, v, nan, C, work.data());
      EXPECT_TRUE(std::isnan(std::real(C(2, 3))));
    }
  }
}

// A zero times an infinity or a NaN is a NaN, and no zero is left out.
TYPED_TEST(Reflector, SpreadsWhatIsNotANumberThroughItsTrailingZeros) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr Int order = 9, other = 6;
  for (const R bad : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (const char side : sides) {
      for (const Int zeros : {1, 4}) {
        const bool left = is_left(side);
        SCOPED_TRACE(std::string("side ") + side + ", " + std::to_string(zeros) + " zeros, " + std::to_string(bad));
        GuardedVector<T> v = random_vector<T>(this->random, order, 1), work(other);
        for (Int i = order - zeros + 1; i <= order; ++i) v(i) = T(0);
        GuardedMatrix<T> C = random_matrix<T>(this->random, left ? order : other, left ? other : order, order + 1);
        // The bad number meets a zero of v, and spoils the inner product of its column, or row, alone.
        constexpr Int spoilt = 3;
        (left ? C(order, spoilt) : C(spoilt, order)) = T(bad);
        routine_call::larf(side, C.rows(), C.columns(), v, T(1), C, work.data());
        for (Int line = 1; line <= other; ++line) {
          for (Int i = 1; i <= order; ++i) {
            const T element = left ? C(i, line) : C(line, i);
            EXPECT_EQ(std::isnan(std::real(element)), line == spoilt) << i << " of line " << line;
          }
        }
      }
    }
  }
}

TYPED_TEST(Reflector, ThatHoldsANaNSpoilsLinesOfZerosToo) {
  using T = TypeParam;
  constexpr Int order = 9, other = 6, zeros = 2;
  for (const char side : sides) {
    const bool left = is_left(side);
    SCOPED_TRACE(std::string("side ") + side);
    GuardedVector<T> v = random_vector<T>(this->random, order, 1), work(other);
    v(4) = T(std::numeric_limits<Real<T>>::quiet_NaN());
    GuardedMatrix<T> C = random_matrix<T>(this->random, left ? order : other, left ? other : order, order + 1);
    for (Int line = other - zeros + 1; line <= other; ++line) {
      for (Int i = 1; i <= order; ++i) (left ? C(i, line) : C(line, i)) = T(0);
    }
    routine_call::larf(side, C.rows(), C.columns(), v, T(1), C, work.data());
    for (Int line = 1; line <= other; ++line) {
      for (Int i = 1; i <= order; ++i) {
        EXPECT_TRUE(std::isnan(std::real(left ? C(i, line) : C(line, i)))) << i << " of line " << line;
      }
    }
  }
}

// ------------------------------------------------------------------------------------------------------------- larfx

/// Two members are routines, two are kernels.
template <Scalar T>
void call_larfx(char side, Int m, Int n, const T* v, T tau, Matrix<T> C, T* work) {
  if constexpr (std::same_as<T, float> || std::same_as<T, std::complex<double>>) {
    routine_call::larfx(side, m, n, v, tau, C, work);
  } else {
    blas::larfx(side, m, n, v, tau, C, work);
  }
}

TYPED_TEST(Reflector, OfEverySmallOrderIsAppliedFromEitherSide) {
  using T = TypeParam;
  for (Int order = 1; order <= 12; ++order) {
    for (const Int other : {1, 2, 5, 11, 40}) {
      for (const char side : {'L', 'l', 'R', 'r'}) {
        const bool left = is_left(side);
        SCOPED_TRACE("order " + std::to_string(order) + ", side " + side);
        const Int m = left ? order : other, n = left ? other : order;
        const auto apply = [&](Vector<const T> v, T tau, Matrix<T> C, T* work) {
          call_larfx<T>(side, m, n, v.data, tau, C, work);
        };
        EXPECT_LT(error_of_reflection<T>(this->random, left, m, n, 1, apply), threshold);
      }
    }
  }
}

TYPED_TEST(Reflector, OfSmallOrderNeedsNoWorkspaceOnTheLeft) {
  using T = TypeParam;
  for (Int m = 1; m <= 11; ++m) {
    GuardedMatrix<T> C = random_matrix<T>(this->random, m, 6, m);
    const GuardedVector<T> v = random_vector<T>(this->random, m, 1);
    GuardedVector<T> work(6);
    call_larfx<T>('L', m, 6, v.data(), T(1), C, work.data());
    const bool is_generic = m > 10 && (std::same_as<T, float> || std::same_as<T, std::complex<double>>);
    EXPECT_EQ(bool(work.unchanged()), !is_generic) << "order " << m;
  }
}

/// The members that are routines of this library.
template <class T>
class ShortReflector : public testing::Test {
 protected:
  Random random{45};
};
using RoutineMembers = testing::Types<float, std::complex<double>>;
TYPED_TEST_SUITE(ShortReflector, RoutineMembers, PrecisionLetter);

TYPED_TEST(ShortReflector, TakesEachColumnInThisOrder) {
  using T = TypeParam;
  for (Int m = 1; m <= 10; ++m) {
    for (const Int n : {0, 1, 2, 3, 17}) {
      for (const char side : {'L', 'l'}) {
        SCOPED_TRACE(std::to_string(m) + " by " + std::to_string(n));
        const GuardedMatrix<T> C = random_matrix<T>(this->random, m, n, m + 3);
        const GuardedVector<T> v = random_vector<T>(this->random, m, 1);
        const T tau = this->random.template scalar<T>();
        GuardedMatrix<T> expected = C, result = C;
        for (Int j = 1; j <= n; ++j) {
          T sum = conjugate(v(1)) * C(1, j);
          for (Int i = 2; i <= m; ++i) sum = sum + conjugate(v(i)) * C(i, j);
          for (Int i = 1; i <= m; ++i) expected(i, j) = C(i, j) - sum * (tau * v(i));
        }
        GuardedVector<T> work(n);
        routine_call::larfx(side, m, n, v.data(), tau, result, work.data());
        EXPECT_TRUE(result.same_as(expected));
        EXPECT_TRUE(work.unchanged());
      }
    }
  }
}

TYPED_TEST(ShortReflector, IsAnOrdinaryOneOnTheRightAndForHigherOrders) {
  using T = TypeParam;
  const auto expect_ordinary = [&](char side, Int m, Int n) {
    SCOPED_TRACE(std::to_string(m) + " by " + std::to_string(n) + ", side " + side);
    const bool left = is_left(side);
    GuardedMatrix<T> result = random_matrix<T>(this->random, m, n, m + 1), expected = result;
    const GuardedVector<T> v = random_vector<T>(this->random, left ? m : n, 1);
    const T tau = this->random.template scalar<T>();
    GuardedVector<T> work(left ? n : m), work_of_larf(left ? n : m);
    routine_call::larfx(side, m, n, v.data(), tau, result, work.data());
    routine_call::larf(side, m, n, v, tau, expected, work_of_larf.data());
    EXPECT_TRUE(result.same_as(expected));
    EXPECT_TRUE(work.same_as(work_of_larf));
    for (Int i = 1; i <= work.size(); ++i) EXPECT_FALSE(same_bits(work(i), work.sealed(i)));
  };
  for (Int n = 1; n <= 12; ++n) {
    for (const char side : {'R', 'r', 'x', 'T', ' '}) {
      for (const Int m : {1, 4, 10, 30}) expect_ordinary(side, m, n);
    }
  }
  for (const Int m : {11, 12, 40}) expect_ordinary('L', m, 6);
}

TYPED_TEST(Reflector, OfSmallOrderThatIsTheIdentityTouchesNothing) {
  using T = TypeParam;
  for (const char side : sides) {
    for (Int order = 1; order <= 11; ++order) {
      GuardedMatrix<T> C(order, order, order);
      GuardedVector<T> v(order), work(order);
      call_larfx<T>(side, order, order, v.data(), T(0), C, work.data());
      EXPECT_TRUE(C.unchanged());
    }
  }
}

}  // namespace
}  // namespace nuv::test
