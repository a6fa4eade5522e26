// The matrix of a generalised Sylvester operator: ?lakf2.

#include <gtest/gtest.h>

#include "routines.hpp"
#include "support/random.hpp"
#include "support/reported_errors.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

template <class T>
class Kronecker : public ReportingTest {
 protected:
  Random random{17};
};
TYPED_TEST_SUITE(Kronecker, Precisions, PrecisionLetter);

TYPED_TEST(Kronecker, MapsPairsOfMatricesAsTheOperatorDoes) {
  using T = TypeParam;
  const auto vec = [](const WideMatrix<T>& X) { return X.reshaped(); };
  for (const Int m : {1, 2, 3, 5}) {
    for (const Int n : {1, 2, 4}) {
      SCOPED_TRACE(testing::Message() << m << ", " << n);
      const Int ld = std::max(m, n) + m % 2, order = 2 * m * n;
      const auto A = random_matrix<T>(this->random, m, m, ld), D = random_matrix<T>(this->random, m, m, ld);
      const auto B = random_matrix<T>(this->random, n, n, ld), E = random_matrix<T>(this->random, n, n, ld);
      GuardedMatrix<T> Z(order, order, order + n % 3);
      routine_call::lakf2(m, n, Matrix<const T>(A), B.data(), D.data(), E.data(), Matrix<T>(Z));
      EXPECT_TRUE(Z.guards_unchanged());

      const WideMatrix<T> R = wide(random_matrix<T>(this->random, m, n, m)),
                          L = wide(random_matrix<T>(this->random, m, n, m));
      WideMatrix<T> x(order, 1), expected(order, 1);
      x << vec(R), vec(L);
      expected << vec(wide(A) * R - L * wide(B)), vec(wide(D) * R - L * wide(E));
      const WideMatrix<T> image = wide(Z) * x;
      // The elements of Z are those of the operands, to the bit; the rest is rounding in the wide type.
      EXPECT_LE(double((image - expected).norm() / expected.norm()), epsilon<T> * 0.01);
      Int zeros = 0;
      for (Int j = 1; j <= order; ++j) {
        for (Int i = 1; i <= order; ++i) zeros += Z(i, j) == T(0);
      }
      EXPECT_EQ(zeros, order * order - 2 * n * m * m - 2 * m * n * n);
    }
  }
}

TYPED_TEST(Kronecker, OfNothingWritesNothing) {
  using T = TypeParam;
  const auto A = random_matrix<T>(this->random, 2, 2, 2);
  GuardedMatrix<T> Z(2, 2, 2);
  for (const auto& [m, n] : {std::pair(0, 2), std::pair(2, 0), std::pair(0, 0)}) {
    routine_call::lakf2(m, n, Matrix<const T>(A), A.data(), A.data(), A.data(), Matrix<T>(Z));
    EXPECT_TRUE(Z.unchanged());
  }
}

}  // namespace
}  // namespace nuv::test
