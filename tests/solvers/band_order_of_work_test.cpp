// The order of work inside the routines for band and tridiagonal systems, seen by the calls that reach the thread
// layer.

#include "layer.hpp"
#include "routines.hpp"
#include "solvers/banded.hpp"
#include "solvers/recording_layer.hpp"
#include "support/reported_errors.hpp"
#include "x_variants.hpp"

namespace nuv::test {
namespace {

using Calls = std::vector<std::string>;

template <class T>
class BandOrder : public ReportingTest {
 protected:
  const std::string adjoint = ComplexScalar<T> ? "C" : "T", square = ComplexScalar<T> ? "herk " : "syrk ";
  Random random{61};
};
TYPED_TEST_SUITE(BandOrder, Precisions, PrecisionLetter);

/// The calls that work makes.
template <class Work>
Calls calls_of(Work work) {
  take_recorded_calls();
  work();
  return take_recorded_calls();
}

template <Scalar T>
Calls factor(BandMatrix<T> A) {
  std::vector<Int> ipiv(std::size_t(A.n));
  Int info = 99;
  return calls_of([&] { x_variant::gbtrf(A.m, A.n, A.band.kl, A.band.ku, Matrix<T>(A.ab), ipiv.data(), info); });
}

TYPED_TEST(BandOrder, FactorsByBlocksOfThirtyTwo) {
  using T = TypeParam;
  const Band band{40, 70};
  // Without exchanges U keeps to its diagonals, and the last block has nothing to its right.
  EXPECT_EQ(factor(random_band<T>(this->random, 150, 150, band, 40, 200)),
            (Calls{"trsm LLNU 32 70", "gemm NN 8 70 32", "gemm NN 32 70 32",  //
                   "trsm LLNU 32 70", "gemm NN 8 70 32", "gemm NN 32 70 32",  //
                   "trsm LLNU 32 54", "gemm NN 8 54 32", "gemm NN 32 54 32",  //
                   "trsm LLNU 32 22", "gemm NN 8 22 32", "gemm NN 14 22 32"}));
  // Pivots from the last row of the band reach furthest to the right, where the band is cut off.
  BandMatrix<T> exchanged = random_band<T>(this->random, 150, 150, band, 40);
  for (Int j = 1; j <= 110; ++j) exchanged(j + 40, j) = T(1000);
  Calls first = factor(exchanged);
  first.resize(6);
  EXPECT_EQ(first, (Calls{"trsm LLNU 32 78", "gemm NN 8 78 32", "gemm NN 32 78 32",  //
                          "trsm LLNU 32 32", "gemm NN 8 32 32", "gemm NN 32 32 32"}));
  EXPECT_EQ(factor(random_band<T>(this->random, 150, 150, {40, 64}, 40)), Calls());
  EXPECT_EQ(factor(random_band<T>(this->random, 150, 150, {31, 70}, 31)), Calls());
}

TYPED_TEST(BandOrder, FactorsDefiniteMatricesByBlocksOfThirtyTwo) {
  using T = TypeParam;
  const auto factor_definite = [&](char uplo, Int kd) {
    const Band band{uplo == 'U' ? 0 : kd, uplo == 'U' ? kd : 0};
    BandMatrix<T> A = random_band<T>(this->random, 110, 110, band, 0, 200);
    Int info = 99;
    return calls_of([&] { routine_call::pbtrf(uplo, 110, kd, A.ab, info); });
  };
  const std::string t = this->adjoint, upper = this->square + "U" + t, lower = this->square + "LN";
  EXPECT_EQ(factor_definite('U', 70),
            (Calls{"trsm LU" + t + "N 32 38", upper + " 38 32", "trsm LU" + t + "N 32 32", "gemm " + t + "N 38 32 32",
                   upper + " 32 32",  //
                   "trsm LU" + t + "N 32 38", upper + " 38 32", "trsm LU" + t + "N 32 8", "gemm " + t + "N 38 8 32",
                   upper + " 8 32",  //
                   "trsm LU" + t + "N 32 14", upper + " 14 32"}));
  EXPECT_EQ(factor_definite('L', 70),
            (Calls{"trsm RL" + t + "N 38 32", lower + " 38 32", "trsm RL" + t + "N 32 32", "gemm N" + t + " 32 38 32",
                   lower + " 32 32",  //
                   "trsm RL" + t + "N 38 32", lower + " 38 32", "trsm RL" + t + "N 8 32", "gemm N" + t + " 8 38 32",
                   lower + " 8 32",  //
                   "trsm RL" + t + "N 14 32", lower + " 14 32"}));
  EXPECT_EQ(factor_definite('U', 64), Calls());
}

TYPED_TEST(BandOrder, SolvesByBlocksOfTheBand) {
  using T = TypeParam;
  const auto solve = [&](char uplo, char trans, Int kd, Int nrhs) {
    const Band band{uplo == 'U' ? 0 : kd, uplo == 'U' ? kd : 0};
    BandMatrix<T> A = random_band<T>(this->random, 100, 100, band, 0, 100);
    GuardedMatrix<T> B = right_hand_sides<T>(this->random, 100, nrhs);
    Int info = 99;
    return calls_of([&] { x_variant::tbtrs(uplo, trans, 'N', 100, kd, nrhs, Matrix<T>(A.ab), Matrix<T>(B), info); });
  };
  EXPECT_EQ(solve('U', 'N', 40, 3), (Calls{"trsm LUNN 20 3", "gemm NN 21 3 20", "trmm LLNN 19 3",  //
                                           "trsm LUNN 40 3", "gemm NN 1 3 40", "trmm LLNN 39 3",   //
                                           "trsm LUNN 40 3"}));
  EXPECT_EQ(solve('L', 'T', 40, 3), (Calls{"trsm LLTN 40 3",                                       //
                                           "gemm TN 20 3 21", "trmm LUTN 19 3", "trsm LLTN 20 3",  //
                                           "gemm TN 40 3 1", "trmm LUTN 39 3", "trsm LLTN 40 3"}));
  EXPECT_EQ(solve('U', 'N', 40, 2), Calls());
  EXPECT_EQ(solve('U', 'N', 3, 3), Calls());
  EXPECT_NE(solve('U', 'N', 4, 3), Calls());
}

TYPED_TEST(BandOrder, SolvesWithLAfterItsExchanges) {
  using T = TypeParam;
  BandMatrix<T> A = random_band<T>(this->random, 100, 100, {40, 1}, 40, 100);
  GuardedMatrix<T> B = right_hand_sides<T>(this->random, 100, 3);
  std::vector<Int> ipiv(100);
  for (Int i = 0; i < 100; ++i) ipiv[std::size_t(i)] = i + 1;
  Int info = 99;
  const auto solve = [&](char trans) {
    return calls_of([&] { x_variant::gbtrs(trans, 100, 40, 1, 3, Matrix<T>(A.ab), ipiv.data(), Matrix<T>(B), info); });
  };
  EXPECT_EQ(solve('N'), (Calls{"trsm LLNU 40 3", "gemm NN 40 3 40", "trsm LLNU 40 3", "gemm NN 20 3 40",
                               "trsm LLNU 20 3",                                       //
                               "trsm LUNN 18 3", "gemm NN 24 3 18", "trmm LLNN 17 3",  //
                               "trsm LUNN 41 3", "gemm NN 1 3 41", "trmm LLNN 40 3",   //
                               "trsm LUNN 41 3"}));
  const Calls transposed = solve('T');
  EXPECT_EQ(transposed.front(), "trsm LUTN 41 3");
  EXPECT_EQ(transposed.back(), "trsm LLTU 40 3");
}

TYPED_TEST(BandOrder, ReachesTheLayerFromTheDrivers) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr Int n = 6;
  Int info = 99;
  std::vector<Int> ipiv(n);
  const auto right_hand_side = [&](Int nrhs) { return right_hand_sides<T>(this->random, n, nrhs); };
  const auto general = [&](bool singular) {
    BandMatrix<T> A = random_band<T>(this->random, n, n, {1, 2}, 1, 9);
    if (singular) A(1, 1) = A(2, 1) = T(0);
    GuardedMatrix<T> B = right_hand_side(2);
    return calls_of([&] { routine_call::gbsv(n, 1, 2, 2, A.ab, ipiv.data(), B, info); });
  };
  EXPECT_EQ(general(false), (Calls{"gbtrf 6 6", "gbtrs N 6 2"}));
  EXPECT_EQ(general(true), Calls{"gbtrf 6 6"});
  const auto definite = [&](double diagonal) {
    BandMatrix<T> A = random_band<T>(this->random, n, n, {1, 0}, 0, diagonal);
    GuardedMatrix<T> B = right_hand_side(2);
    return calls_of([&] { routine_call::pbsv('L', n, 1, 2, A.ab, B, info); });
  };
  EXPECT_EQ(definite(9), Calls{"pbtrs L 6 2"});
  EXPECT_EQ(definite(-9), Calls());

  std::vector<R> d(n, R(4));
  std::vector<T> diagonal(n, T(4)), lower(n, T(1)), upper(n, T(1));
  GuardedMatrix<T> B = right_hand_side(4);
  const auto tridiagonal = [&](Int nrhs) {
    return calls_of([&] { routine_call::gtsv(n, nrhs, lower.data(), diagonal.data(), upper.data(), B, info); });
  };
  EXPECT_EQ(tridiagonal(3), Calls());
  EXPECT_EQ(tridiagonal(4), Calls{"gttrs N 6 4"});
  EXPECT_EQ(calls_of([&] { routine_call::ptsv(n, 2, d.data(), lower.data(), B, info); }),
            Calls{ComplexScalar<T> ? "pttrs L 6 2" : "pttrs 6 2"});
}

}  // namespace
}  // namespace nuv::test
