// Matrices whose elements lie more than 2^31 elements apart, although their sizes are small: each routine is to give
// the bits that it gives for the same matrix stored close together. Needs 64-bit addresses.

#include "layer.hpp"
#include "routines.hpp"
#include "solvers/definite.hpp"
#include "solvers/factored.hpp"
#include "support/far_matrix.hpp"
#include "support/options.hpp"
#include "support/reported_errors.hpp"

namespace nuv::test {
namespace {

/// Beyond every block width at which a routine of this size splits its work in two.
constexpr Int n = 135;

template <class T>
class FarElements : public ReportingTest {
 protected:
  GuardedMatrix<T> matrix(Int columns) { return random_matrix<T>(random, n, columns, n); }

  Random random{8};
};
TYPED_TEST_SUITE(FarElements, Precisions, PrecisionLetter);

TYPED_TEST(FarElements, AreFactored) {
  using T = TypeParam;
  const GuardedMatrix<T> A = this->matrix(n);
  const Factored<T> lu = factor(A);
  FarMatrix<T> far_A(A);
  GuardedVector<Int> ipiv(n);
  Int info = 99;
  layer::getrf(n, n, far_A, ipiv.data(), info);
  EXPECT_EQ(info, 0);
  EXPECT_TRUE(ipiv.same_as(lu.ipiv));
  far_A.expect_same_as(lu.factors);

  FarMatrix<T> unblocked(A);
  const Factored<T> close = factor(A, [](auto&&... arguments) { routine_call::getf2(arguments...); });
  routine_call::getf2(n, n, unblocked, ipiv.data(), info);
  unblocked.expect_same_as(close.factors);
}

TYPED_TEST(FarElements, AreSolvedFor) {
  using T = TypeParam;
  GuardedMatrix<T> A = this->matrix(n), B = this->matrix(3);
  FarMatrix<T> far_A(A), far_B(B);
  GuardedVector<Int> ipiv(n);
  Int info = 99, far_info = 99;
  routine_call::gesv(n, 3, A, ipiv.data(), B, info);
  routine_call::gesv(n, 3, far_A, ipiv.data(), far_B, far_info);
  EXPECT_EQ(info, 0);
  EXPECT_EQ(far_info, 0);
  far_A.expect_same_as(A);
  far_B.expect_same_as(B);
  for (const char trans : {'T', 'C'}) {
    routine_call::getrs(trans, n, 3, A, ipiv.data(), B, info);
    routine_call::getrs(trans, n, 3, far_A, ipiv.data(), far_B, far_info);
    far_B.expect_same_as(B);
  }
}

TYPED_TEST(FarElements, AreInverted) {
  using T = TypeParam;
  const Factored<T> lu = factor(this->matrix(n));
  for (const Int lwork : {n, 64 * n}) {
    GuardedMatrix<T> A = lu.factors;
    FarMatrix<T> far_A(A);
    GuardedVector<T> work(lwork);
    Int info = 99;
    routine_call::getri(n, A, lu.ipiv.data(), work.data(), lwork, info);
    routine_call::getri(n, far_A, lu.ipiv.data(), work.data(), lwork, info);
    EXPECT_EQ(info, 0);
    far_A.expect_same_as(A);
  }
}

TYPED_TEST(FarElements, AreExchanged) {
  using T = TypeParam;
  const Factored<T> lu = factor(this->matrix(n));
  GuardedMatrix<T> A = this->matrix(n);
  FarMatrix<T> far_A(A);
  for (const Int incx : {1, -1}) {
    routine_call::laswp(n, A, 3, n - 2, lu.ipiv.data(), incx);
    routine_call::laswp(n, far_A, 3, n - 2, lu.ipiv.data(), incx);
    far_A.expect_same_as(A);
  }
}

TYPED_TEST(FarElements, AreExchangedAsFarPivotsSay) {
  using T = TypeParam;
  constexpr Int incx = Int(far / 2 + 3);
  SparseArray<Int> far_ipiv(2 * std::size_t(incx) + 1);
  const Int rows[] = {4, 7, 5};
  for (int i = 0; i < 3; ++i) far_ipiv.data()[std::ptrdiff_t{i} * incx] = rows[i];
  for (const Int direction : {1, -1}) {
    GuardedMatrix<T> A = this->matrix(4), B = A;
    routine_call::laswp(4, A, 1, 3, rows, direction);
    routine_call::laswp(4, B, 1, 3, far_ipiv.data(), direction * incx);
    EXPECT_TRUE(B.same_as(A));
    EXPECT_FALSE(B.unchanged());
  }
}

TYPED_TEST(FarElements, AreInvertedAndSolvedForInATriangle) {
  using T = TypeParam;
  for (const bool upper : {true, false}) {
    const char uplo = upper ? 'U' : 'L';
    GuardedMatrix<T> A = random_triangle<T>(this->random, upper, false, n, n), B = this->matrix(3), close = A;
    FarMatrix<T> far_A(A), far_B(B), unblocked(A);
    Int info = 99;
    for (const char trans : transes) {
      routine_call::trtrs(uplo, trans, 'N', n, 3, A, B, info);
      EXPECT_EQ(info, 0);
      routine_call::trtrs(uplo, trans, 'N', n, 3, far_A, far_B, info);
      far_B.expect_same_as(B);
    }
    routine_call::trtri(uplo, 'N', n, A, info);
    EXPECT_EQ(info, 0);
    routine_call::trtri(uplo, 'N', n, far_A, info);
    far_A.expect_same_as(A);
    routine_call::trti2(uplo, 'N', n, close, info);
    routine_call::trti2(uplo, 'N', n, unblocked, info);
    unblocked.expect_same_as(close);
  }
}

TYPED_TEST(FarElements, AreFactoredAsADefiniteMatrix) {
  using T = TypeParam;
  for (const char uplo : uplos) {
    GuardedMatrix<T> A = random_definite<T>(this->random, uplo, n), B = this->matrix(3);
    FarMatrix<T> far_A(A), far_B(B), unblocked(A);
    Int info = 99, far_info = 99;
    GuardedMatrix<T> close = A;
    routine_call::potf2(uplo, n, close, info);
    routine_call::potf2(uplo, n, unblocked, far_info);
    EXPECT_EQ(info, far_info);
    unblocked.expect_same_as(close);
    routine_call::posv(uplo, n, 3, A, B, info);
    routine_call::posv(uplo, n, 3, far_A, far_B, far_info);
    EXPECT_EQ(info, 0);
    EXPECT_EQ(far_info, 0);
    far_A.expect_same_as(A);
    far_B.expect_same_as(B);
    routine_call::potri(uplo, n, A, info);
    routine_call::potri(uplo, n, far_A, far_info);
    EXPECT_EQ(far_info, 0);
    far_A.expect_same_as(A);
  }
}

}  // namespace
}  // namespace nuv::test
