// Products of complex matrices with real ones, and copies between them: ?lacrm, ?larcm, ?lacp2.

#include "routines.hpp"
#include "support/options.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

template <class T>
class RealFactors : public testing::Test {
 protected:
  using R = Real<T>;

  /// A real matrix as a complex one.
  static WideMatrix<T> as_complex(const GuardedMatrix<R>& A) {
    WideMatrix<T> result(A.rows(), A.columns());
    for (Int j = 1; j <= A.columns(); ++j) {
      for (Int i = 1; i <= A.rows(); ++i) result(i - 1, j - 1) = Wide<T>(A(i, j));
    }
    return result;
  }

  Random random{12};
};
TYPED_TEST_SUITE(RealFactors, ComplexPrecisions, PrecisionLetter);

constexpr Int sizes[] = {0, 1, 2, 5, 17, 40};

TYPED_TEST(RealFactors, MultiplyFromTheRight) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int m : sizes) {
    for (const Int n : sizes) {
      const GuardedMatrix<T> A = random_matrix<T>(this->random, m, n, m + 2);
      const GuardedMatrix<R> B = random_matrix<R>(this->random, n, n, n + 1);
      GuardedMatrix<T> C(m, n, m + 3);
      GuardedVector<R> rwork(2 * m * n);
      routine_call::lacrm(m, n, A, B, C, rwork.data());
      EXPECT_TRUE(C.guards_unchanged() && rwork.guards_unchanged());
      if (m == 0 || n == 0) continue;
      EXPECT_LT(Sum<T>(m, n).add(T(1), wide(A), this->as_complex(B)).error_of(wide(C)), 2) << m << " by " << n;
    }
  }
}

TYPED_TEST(RealFactors, MultiplyFromTheLeft) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int m : sizes) {
    for (const Int n : sizes) {
      const GuardedMatrix<R> A = random_matrix<R>(this->random, m, m, m + 1);
      const GuardedMatrix<T> B = random_matrix<T>(this->random, m, n, m + 2);
      GuardedMatrix<T> C(m, n, m + 3);
      GuardedVector<R> rwork(2 * m * n);
      routine_call::larcm(m, n, A, B, C, rwork.data());
      EXPECT_TRUE(C.guards_unchanged() && rwork.guards_unchanged());
      if (m == 0 || n == 0) continue;
      EXPECT_LT(Sum<T>(m, n).add(T(1), this->as_complex(A), wide(B)).error_of(wide(C)), 2) << m << " by " << n;
    }
  }
}

/// All of it, or a trapezoid; of what is not copied nothing is read or written.
TYPED_TEST(RealFactors, AreCopied) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int m : sizes) {
    for (const Int n : sizes) {
      for (const char uplo : {'U', 'u', 'L', 'l', 'A', ' '}) {
        const GuardedMatrix<R> A = random_matrix<R>(this->random, m, n, m + 2);
        GuardedMatrix<T> B(m, n, m + 3);
        B.seal();
        routine_call::lacp2(uplo, m, n, A, B);
        const auto is_copied = [=](Int i, Int j) {
          return same_letter(uplo, 'U') ? i <= j : same_letter(uplo, 'L') ? i >= j : true;
        };
        EXPECT_TRUE(B.unchanged_except(is_copied)) << uplo;
        for (Int j = 1; j <= n; ++j) {
          for (Int i = 1; i <= m; ++i) {
            if (is_copied(i, j)) {
              EXPECT_EQ(B(i, j), T(A(i, j))) << uplo;
            }
          }
        }
      }
    }
  }
}

}  // namespace
}  // namespace nuv::test
