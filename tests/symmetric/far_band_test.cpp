// A band matrix whose rotations lie further apart than kernels can step.

#include "routines.hpp"
#include "support/sparse_array.hpp"
#include "symmetric/symmetric_cases.hpp"

namespace nuv::test {
namespace {

template <class T>
class FarBand : public testing::Test {};
TYPED_TEST_SUITE(FarBand, Precisions, PrecisionLetter);

TYPED_TEST(FarBand, IsReducedOneRotationAfterTheOther) {
  using T = TypeParam;
  // At last two of them could go together.
  constexpr Int n = 8, kd = 2, ldab = Int{0x7FFFFFFF} / (kd + 1) + 1;
  Random random(97);
  for (const char uplo : uplos) {
    const GuardedMatrix<T> near = band_of(uplo, kd, random_band<T>(random, uplo, n, kd), kd + 1);
    GuardedMatrix<T> expected = near;
    SparseArray<T> store(std::size_t(ldab) * (n - 1) + kd + 1);
    const Matrix<T> ab{store.data(), ldab};
    for (Int j = 1; j <= n; ++j) std::copy_n(&near(1, j), kd + 1, ab.at(1, j));

    GuardedMatrix<T> Q(n, n, n), Q_expected(n, n, n);
    GuardedVector<Real<T>> d(n), e(n - 1), d_expected(n), e_expected(n - 1);
    GuardedVector<T> work(n);
    Int info = 99;
    routine_call::sbtrd('V', uplo, n, kd, ab, d.data(), e.data(), Q, work.data(), info);
    EXPECT_EQ(info, 0);
    routine_call::sbtrd('V', uplo, n, kd, expected, d_expected.data(), e_expected.data(), Q_expected, work.data(),
                        info);
    EXPECT_TRUE(d.same_as(d_expected));
    EXPECT_TRUE(e.same_as(e_expected));
    EXPECT_TRUE(Q.same_as(Q_expected));
  }
}

}  // namespace
}  // namespace nuv::test
