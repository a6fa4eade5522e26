// The order of work inside the Cholesky routines, seen by the calls that reach the thread layer and by equal bits.

#include <algorithm>

#include "blas.hpp"
#include "layer.hpp"
#include "routines.hpp"
#include "solvers/definite.hpp"
#include "solvers/recording_layer.hpp"
#include "support/reported_errors.hpp"
#include "x_variants.hpp"

namespace nuv::test {
namespace {

using Calls = std::vector<std::string>;

template <class T>
class CholeskyOrder : public ReportingTest {
 protected:
  GuardedMatrix<T> definite(char uplo, Int n) { return random_definite<T>(random, uplo, n); }

  Random random{51};
};
TYPED_TEST_SUITE(CholeskyOrder, Precisions, PrecisionLetter);

template <Scalar T>
constexpr char transposed = ComplexScalar<T> ? 'C' : 'T';

/// C += alpha times the square of A, on a triangle.
template <Scalar T>
void add_square(char uplo, char trans, Int n, Int k, Real<T> alpha, Matrix<const T> A, Matrix<T> C) {
  if constexpr (ComplexScalar<T>) {
    blas::herk(uplo, trans, n, k, alpha, A, Real<T>(1), C);
  } else {
    blas::syrk(uplo, trans, n, k, alpha, A, T(1), C);
  }
}

/// The block columns of L, or block rows of U, one after the other, each from all before it.
template <Scalar T>
Int factor_by_blocks(char uplo, Int nb, Int n, Matrix<T> A) {
  constexpr char t = transposed<T>;
  for (Int j = 1; j <= n; j += nb) {
    const Int jb = std::min(nb, n - j + 1), behind = j + jb, r = n - behind + 1;
    Int info = 99;
    if (uplo == 'U') {
      add_square<T>('U', t, jb, j - 1, -1, block(A, 1, j), block(A, j, j));
      routine_call::potf2('U', jb, block(A, j, j), info);
      if (info != 0) return info + j - 1;
      blas::gemm(t, 'N', jb, r, j - 1, T(-1), block(A, 1, j), block(A, 1, behind), T(1), block(A, j, behind));
      blas::trsm('L', 'U', t, 'N', jb, r, T(1), block(A, j, j), block(A, j, behind));
    } else {
      add_square<T>('L', 'N', jb, j - 1, -1, block(A, j, 1), block(A, j, j));
      routine_call::potf2('L', jb, block(A, j, j), info);
      if (info != 0) return info + j - 1;
      blas::gemm('N', t, r, jb, j - 1, T(-1), block(A, behind, 1), block(A, j, 1), T(1), block(A, behind, j));
      blas::trsm('R', 'L', t, 'N', r, jb, T(1), block(A, j, j), block(A, behind, j));
    }
  }
  return 0;
}

TYPED_TEST(CholeskyOrder, FactorsEachBlockFromAllBeforeIt) {
  using T = TypeParam;
  constexpr Int nb = cholesky_block<T>;
  for (const Int n : {1, nb, nb + 1, 2 * nb, 2 * nb + 1, 3 * nb + 40}) {
    for (const char uplo : uplos) {
      for (const Int bad : {0, 2, nb + 3, 2 * nb + 5}) {
        if (bad > n) continue;
        SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", bad minor " << bad);
        GuardedMatrix<T> A = this->definite(uplo, n);
        if (bad > 0) A(bad, bad) = T(-1);
        GuardedMatrix<T> expected = A;
        take_recorded_calls();
        const Int expected_info = factor_by_blocks<T>(uplo, nb, n, expected);
        const Calls expected_calls = take_recorded_calls();
        Int info = 99;
        x_variant::potrf(uplo, n, Matrix<T>(A), info);
        EXPECT_EQ(info, expected_info);
        EXPECT_EQ(info, bad);
        EXPECT_EQ(take_recorded_calls(), expected_calls);
        EXPECT_TRUE(A.same_as(expected));
      }
    }
  }
}

TYPED_TEST(CholeskyOrder, AsksTheLayerForTheseProducts) {
  using T = TypeParam;
  constexpr Int nb = cholesky_block<T>, n = 2 * nb + 7;
  const std::string t(1, transposed<T>), square = ComplexScalar<T> ? "herk " : "syrk ";
  const auto sizes = [](std::initializer_list<Int> list) {
    std::string text;
    for (const Int size : list) text += ' ' + std::to_string(size);
    return text;
  };
  const auto calls_of = [&](char uplo, Int order) {
    GuardedMatrix<T> A = this->definite(uplo, order);
    Int info = 99;
    take_recorded_calls();
    x_variant::potrf(uplo, order, Matrix<T>(A), info);
    return take_recorded_calls();
  };
  EXPECT_EQ(calls_of('U', n), (Calls{"trsm LU" + t + "N" + sizes({nb, nb + 7}),  //
                                     square + "U" + t + sizes({nb, nb}),         //
                                     "gemm " + t + "N" + sizes({nb, 7, nb}),     //
                                     "trsm LU" + t + "N" + sizes({nb, 7}),       //
                                     square + "U" + t + sizes({7, 2 * nb})}));
  EXPECT_EQ(calls_of('L', n), (Calls{"trsm RL" + t + "N" + sizes({nb + 7, nb}),  //
                                     square + "LN" + sizes({nb, nb}),            //
                                     "gemm N" + t + sizes({7, nb, nb}),          //
                                     "trsm RL" + t + "N" + sizes({7, nb}),       //
                                     square + "LN" + sizes({7, 2 * nb})}));
  EXPECT_EQ(calls_of('U', nb), Calls());
  EXPECT_EQ(calls_of('L', nb), Calls());
}

TYPED_TEST(CholeskyOrder, SolvesByTwoCallsForAnyNumberOfRightHandSides) {
  using T = TypeParam;
  const std::string t(1, transposed<T>);
  for (const Int nrhs : {1, 2}) {
    for (const char uplo : uplos) {
      const GuardedMatrix<T> factor = cholesky_factor(uplo, this->definite(uplo, 9));
      GuardedMatrix<T> X = random_matrix<T>(this->random, 9, nrhs, 9);
      const std::string sizes = " 9 " + std::to_string(nrhs);
      const Calls with_u = {"trsm LU" + t + "N" + sizes, "trsm LUNN" + sizes};
      const Calls with_l = {"trsm LLNN" + sizes, "trsm LL" + t + "N" + sizes};
      Int info = 99;
      take_recorded_calls();
      routine_call::potrs(uplo, 9, nrhs, factor, X, info);
      EXPECT_EQ(take_recorded_calls(), is_upper(uplo) ? with_u : with_l);
    }
  }
}

TYPED_TEST(CholeskyOrder, FactorsForTheDriverThroughTheLayer) {
  using T = TypeParam;
  const std::string t(1, transposed<T>);
  GuardedMatrix<T> A = this->definite('L', 8), bad = A, B = random_matrix<T>(this->random, 8, 2, 8);
  Int info = 99;
  take_recorded_calls();
  routine_call::posv('l', 8, 2, A, B, info);
  EXPECT_EQ(take_recorded_calls(), (Calls{"potrf L 8", "trsm LLNN 8 2", "trsm LL" + t + "N 8 2"}));

  GuardedMatrix<T> again = bad;
  routine_call::posv('L', 8, 0, again, B, info);
  EXPECT_EQ(take_recorded_calls(), Calls{"potrf L 8"});

  bad(5, 5) = T(-1);
  routine_call::posv('L', 8, 2, bad, B, info);
  EXPECT_EQ(info, 5);
  EXPECT_EQ(take_recorded_calls(), Calls{"potrf L 8"});
}

TYPED_TEST(CholeskyOrder, InvertsTheFactorAndMultipliesTheInverseByItsTranspose) {
  using T = TypeParam;
  for (const Int n : {1, 64, 65, 130}) {
    for (const char uplo : uplos) {
      GuardedMatrix<T> A = cholesky_factor(uplo, this->definite(uplo, n)), expected = A;
      Int info = 99;
      take_recorded_calls();
      routine_call::trtri(uplo, 'N', n, expected, info);
      routine_call::lauum(uplo, n, expected, info);
      const Calls expected_calls = take_recorded_calls();
      routine_call::potri(uplo, n, A, info);
      EXPECT_EQ(info, 0);
      EXPECT_EQ(take_recorded_calls(), expected_calls);
      EXPECT_TRUE(A.same_as(expected)) << uplo << ", order " << n;
    }
  }
}

TYPED_TEST(CholeskyOrder, MultipliesByBlocksOfSixtyFour) {
  using T = TypeParam;
  constexpr Int nb = 64;
  constexpr char t = transposed<T>;
  for (const Int n : {1, 63, 64, 65, 128, 130, 200}) {
    for (const char uplo : uplos) {
      GuardedMatrix<T> A = cholesky_factor(uplo, this->definite(uplo, n)), expected = A;
      const Matrix<T> X = expected;
      Int info = 99;
      take_recorded_calls();
      for (Int i = 1; i <= n; i += nb) {
        const Int ib = std::min(nb, n - i + 1), behind = i + ib, r = n - behind + 1;
        if (is_upper(uplo)) {
          blas::trmm('R', 'U', t, 'N', i - 1, ib, T(1), block(X, i, i), block(X, 1, i));
          routine_call::lauu2('U', ib, block(X, i, i), info);
          blas::gemm('N', t, i - 1, ib, r, T(1), block(X, 1, behind), block(X, i, behind), T(1), block(X, 1, i));
          add_square<T>('U', 'N', ib, r, 1, block(X, i, behind), block(X, i, i));
        } else {
          blas::trmm('L', 'L', t, 'N', ib, i - 1, T(1), block(X, i, i), block(X, i, 1));
          routine_call::lauu2('L', ib, block(X, i, i), info);
          blas::gemm(t, 'N', ib, i - 1, r, T(1), block(X, behind, i), block(X, behind, 1), T(1), block(X, i, 1));
          add_square<T>('L', t, ib, r, 1, block(X, behind, i), block(X, i, i));
        }
      }
      const Calls expected_calls = take_recorded_calls();
      routine_call::lauum(uplo, n, A, info);
      EXPECT_EQ(take_recorded_calls(), expected_calls);
      EXPECT_TRUE(A.same_as(expected)) << uplo << ", order " << n;
    }
  }
}

}  // namespace
}  // namespace nuv::test
