// A band matrix whose rotations lie further apart than kernels can step.

#include "routines.hpp"
#include "support/sparse_array.hpp"
#include "symmetric/generalised_cases.hpp"

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

TYPED_TEST(FarBand, WithAPartnerIsReducedInTheSameWay) {
  using T = TypeParam;
  constexpr Int n = 14, ka = 2, kb = 2, ldab = Int{0x7FFFFFFF} / (ka + 1) + 1;
  Random random(98);
  for (const char uplo : uplos) {
    GuardedMatrix<T> expected = band_of(uplo, ka, random_band<T>(random, uplo, n, ka), ka + 1);
    GuardedMatrix<T> bb = band_of(uplo, kb, random_definite_band<T>(random, uplo, n, kb), kb + 1);
    Int info = 99;
    routine_call::pbstf(uplo, n, kb, bb, info);
    ASSERT_EQ(info, 0);
    SparseArray<T> store(std::size_t(ldab) * (n - 1) + ka + 1);
    const Matrix<T> ab{store.data(), ldab};
    for (Int j = 1; j <= n; ++j) std::copy_n(&expected(1, j), ka + 1, ab.at(1, j));

    GuardedMatrix<T> X(n, n, n), X_expected(n, n, n);
    const auto reduce = [&](Matrix<T> band, Matrix<T> place) {
      T work[2 * n];
      if constexpr (ComplexScalar<T>) {
        Real<T> rwork[n];
        routine_call::hbgst('V', uplo, n, ka, kb, band, bb, place, work, rwork, info);
      } else {
        routine_call::sbgst('V', uplo, n, ka, kb, band, bb, place, work, info);
      }
      EXPECT_EQ(info, 0);
    };
    reduce(ab, X);
    reduce(expected, X_expected);
    EXPECT_TRUE(X.same_as(X_expected));
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= ka + 1; ++i) {
        const bool inside = is_upper(uplo) ? i + j > ka + 1 : i + j <= n + 1;
        if (inside) {
          EXPECT_EQ(ab(i, j), expected(i, j));
        }
      }
    }
  }
}

}  // namespace
}  // namespace nuv::test
