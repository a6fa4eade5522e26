// Inverse iteration for one eigenvalue of a Hessenberg matrix: ?laein.

#include "nonsymmetric/inverse_iteration_call.hpp"
#include "support/reported_errors.hpp"

namespace nuv::test {
namespace {

template <class T>
class SingleHessenbergVectors : public ReportingTest {
 protected:
  Random random{19};
};
TYPED_TEST_SUITE(SingleHessenbergVectors, Precisions, PrecisionLetter);

template <Scalar T>
struct SingleVector {
  using R = Real<T>;

  Logical rightv = 1, noinit = 1;
  R eps3, smlnum = Machine<R>::safe_min * 100, bignum = 1 / smlnum;
  std::complex<R> value;
  Int n, info = 99;
  GuardedMatrix<T> H, B;
  GuardedVector<T> v, vi;

  SingleVector(const KnownMatrix<T>& known, Int k)
      : eps3(R(one_norm<T>(wide(known.H))) * epsilon<T>),
        value(known.values[std::size_t(k - 1)]),
        n(known.n()),
        H(known.H),
        B(RealScalar<T> ? n + 1 : n, n, n + 4),
        v(n),
        vi(n) {
    // Nothing below the subdiagonal counts.
    for (Int j = 1; j <= n; ++j) {
      for (Int i = j + 2; i <= n; ++i) H(i, j) = guard<T>();
    }
    H.seal();
  }

  SingleVector& run() {
    GuardedVector<R> work(n);
    if constexpr (RealScalar<T>) {
      routine_call::laein(rightv, noinit, n, Matrix<T>(H), value.real(), value.imag(), v.data(), vi.data(),
                          Matrix<T>(B), work.data(), eps3, smlnum, bignum, info);
    } else {
      routine_call::laein(rightv, noinit, n, Matrix<T>(H), value, v.data(), Matrix<T>(B), work.data(), eps3, smlnum,
                          info);
    }
    EXPECT_TRUE(H.unchanged() && B.guards_unchanged() && v.guards_unchanged() && vi.guards_unchanged() &&
                work.guards_unchanged());
    return *this;
  }
};

TYPED_TEST(SingleHessenbergVectors, BySingleCalls) {
  using T = TypeParam;
  for (const Int n : {1, 2, 5, 12}) {
    const KnownMatrix<T> known = with_unreduced_blocks<T>(this->random, {n});
    for (Int k = 1; k <= n; ++k) {
      for (const Logical rightv : {0, 1, 2, -1}) {
        SingleVector<T> single(known, k);
        single.rightv = rightv;
        single.run();
        EXPECT_EQ(single.info, 0);
        GuardedMatrix<T> V(n, 2, n);
        for (Int i = 1; i <= n; ++i) {
          V(i, 1) = single.v(i);
          V(i, 2) = single.vi(i);
        }
        expect_vector((rightv & 1) != 0, known, single.value, V, 1, known.columns(k));
        if (!known.is_pair(k)) {
          EXPECT_TRUE(single.vi.unchanged());
        }
      }
    }
  }
}

/// With a huge eps3 everything is small, and any start is a solution.
TYPED_TEST(SingleHessenbergVectors, StartAsTheyAreTold) {
  using T = TypeParam;
  using R = Real<T>;
  const KnownMatrix<T> known = quasi_triangular(identity_matrix<T>(4, 4));
  for (const Logical noinit : {0, 1, 2}) {
    SingleVector<T> single(known, 1);
    single.noinit = noinit;
    for (Int i = 1; i <= 4; ++i) single.v(i) = T(R(i));
    single.run();
    EXPECT_EQ(single.info, 0);
    for (Int i = 1; i <= 4; ++i) {
      EXPECT_NEAR(std::abs(single.v(i)), noinit == 1 ? 1 : double(i) / 4, 4 * epsilon<T>) << i;
      // What is nothing has become the least pivot that is allowed.
      EXPECT_EQ(single.B(i, i), T(single.eps3));
    }
  }
}

/// A start is brought to the length of that with equal elements, but none that is shorter than max(1, eps3 root(n))
/// times the smallest number: it is not grown enough then after the first step, and another start follows.
TYPED_TEST(SingleHessenbergVectors, TakeNoStartThatIsTooShort) {
  using T = TypeParam;
  using R = Real<T>;
  const KnownMatrix<T> known = quasi_triangular(identity_matrix<T>(4, 4));
  const R smallest = R(0x1p-20);
  for (const R eps3 : {R(0x1p-8), R(0x1p8)}) {
    const R least = smallest * std::max(R(1), 2 * eps3);
    for (const R fraction : {R(2), R(0x1p-8)}) {
      SCOPED_TRACE(testing::Message() << eps3 << ' ' << fraction);
      SingleVector<T> single(known, 1);
      single.eps3 = eps3;
      single.smlnum = smallest;
      single.bignum = 1 / smallest;
      single.noinit = 0;
      const R sizes[] = {R(0.7), R(0.5), R(0.5), R(0.1)};  // of length one
      for (Int i = 1; i <= 4; ++i) single.v(i) = T(sizes[i - 1] * least * fraction);
      single.run();
      EXPECT_EQ(single.info, 0);
      for (Int i = 1; i <= 4; ++i) {
        const double expected = fraction > 1 ? double(sizes[i - 1]) / 0.7 : i == 4 ? 1 : 0;
        if (fraction > 1 || i == 4) {
          EXPECT_NEAR(std::abs(single.v(i)), expected, 8 * epsilon<T>) << i;
        }
      }
    }
  }
}

/// Neither the diagonal element nor the one below is as large as a pivot has to be.
TYPED_TEST(SingleHessenbergVectors, HaveNoPivotBelowTheLeast) {
  using T = TypeParam;
  using R = Real<T>;
  GuardedMatrix<T> H = identity_matrix<T>(2, 2);
  H(1, 2) = T(R(1));
  H(2, 1) = T(epsilon<T> / 4);
  for (const Logical rightv : {0, 1}) {
    SingleVector<T> single({H, {R(1), R(1)}}, 1);
    single.rightv = rightv;
    EXPECT_EQ(single.run().info, 0);
    EXPECT_EQ(rightv == 1 ? single.B(1, 1) : single.B(2, 2), T(single.eps3));
  }
}

/// A start with nothing in the direction of the vector fails, and the next one has it.
TYPED_TEST(SingleHessenbergVectors, StartAgain) {
  using T = TypeParam;
  using R = Real<T>;
  GuardedMatrix<T> D = identity_matrix<T>(5, 5);
  for (Int j = 1; j <= 5; ++j) D(j, j) = T(R(j));
  const KnownMatrix<T> known = quasi_triangular(D);
  for (Int k = 1; k <= 5; ++k) {
    for (const Logical rightv : {0, 1}) {
      SingleVector<T> single(known, k);
      single.noinit = 0;
      single.rightv = rightv;
      for (Int i = 1; i <= 5; ++i) single.v(i) = T(R(i != k));
      single.run();
      EXPECT_EQ(single.info, 0);
      for (Int i = 1; i <= 5; ++i) EXPECT_NEAR(std::abs(single.v(i)), i == k ? 1 : 0, 50 * epsilon<T>) << i << k;
    }
  }
}

/// From a start of elements eps3 a solution with a multiple of the identity is accepted where the sum of its elements
/// is 0.1 over the root of their number. The last start is what is left of a failure.
TYPED_TEST(SingleHessenbergVectors, GrowEnoughOrFail) {
  using T = TypeParam;
  using R = Real<T>;
  const KnownMatrix<T> known = quasi_triangular(identity_matrix<T>(4, 4));
  for (const bool is_pair : {false, true}) {
    if (is_pair && !RealScalar<T>) continue;
    for (const R distance : {R(64), R(128)}) {
      SingleVector<T> single(known, 1);
      single.eps3 = R(0x1p-15);
      (is_pair ? single.value.imag(distance * single.eps3) : single.value.real(1 + distance * single.eps3));
      single.run();
      EXPECT_EQ(single.info, distance == 64 ? 0 : 1);
      if (distance == 128) {
        EXPECT_LT(std::real(single.v(1)), 0);
        EXPECT_GT(std::real(single.v(4)), 0);
      }
      for (Int i = 1; i <= 4; ++i) {
        const auto size = std::abs(single.v(i)) + (is_pair ? std::abs(single.vi(i)) : R(0));
        EXPECT_NEAR(size, distance == 64 || i == 1 ? 1 : R(1) / 3, 8 * epsilon<T>) << i;
      }
    }
  }
}

}  // namespace
}  // namespace nuv::test
