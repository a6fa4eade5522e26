// The ways that the simple driver for full matrices takes: seen by the workspace that it asks for and by the calls that
// reach the thread layer.

#include "layer.hpp"
#include "solvers/recording_layer.hpp"
#include "support/reported_errors.hpp"
#include "symmetric/dense_driver_calls.hpp"
#include "symmetric/eigen_checks.hpp"

namespace nuv::test {
namespace {

template <class T>
class DensePaths : public ReportingTest {
 protected:
  Random random{41};
};
TYPED_TEST_SUITE(DensePaths, Precisions, PrecisionLetter);

/// The order from which on eigenvalues alone go the way of a band, on one thread.
template <Scalar T>
constexpr Int band_order = std::same_as<T, float>                  ? 1562
                           : std::same_as<T, std::complex<double>> ? 781
                                                                   : 1100;

template <Scalar T>
constexpr std::int64_t beside = ComplexScalar<T> ? 1 : 2;

template <Scalar T>
Int size_asked_for(char jobz, char uplo, Int n) {
  Int info = 99;
  T best;
  const Matrix<T> A{nullptr, n};
  if constexpr (ComplexScalar<T>) {
    routine_call::heev(jobz, uplo, n, A, nullptr, &best, -1, nullptr, info);
  } else {
    routine_call::syev(jobz, uplo, n, A, nullptr, &best, -1, info);
  }
  EXPECT_EQ(info, 0);
  return Int(std::real(best));
}

template <Scalar T>
Int size_of_reduction(char uplo, Int n) {
  Int info = 99;
  T best;
  layer::sytrd(uplo, n, Matrix<T>{nullptr, n}, nullptr, nullptr, nullptr, &best, -1, info);
  return Int(std::real(best)) + Int(beside<T>) * n;
}

/// 3 kd + 3 lines of a band with kd diagonals beside the main one, and what stands beside them.
template <Scalar T>
Int size_of_band(Int n, Int kd) {
  return (3 * kd + 3 + Int(beside<T>)) * n;
}

TYPED_TEST(DensePaths, AskForTheRoomOfABand) {
  using T = TypeParam;
  constexpr Int n = band_order<T>;
  for (const char uplo : uplos) {
    EXPECT_EQ(size_asked_for<T>('N', uplo, n - 1), size_of_reduction<T>(uplo, n - 1));
    EXPECT_EQ(size_asked_for<T>('N', uplo, n), size_of_band<T>(n, 40));
    EXPECT_EQ(size_asked_for<T>('n', uplo, n + 1), size_of_band<T>(n + 1, 40));
    for (const Int order : {n, 5000, 999936}) {
      EXPECT_EQ(size_asked_for<T>('V', uplo, order), size_of_reduction<T>(uplo, order));
    }
  }
  const Int wide = std::same_as<T, std::complex<float>> ? 64 : 40;
  EXPECT_EQ(size_asked_for<T>('N', 'L', 2400), size_of_band<T>(2400, wide));
}

/// What is told of a workspace in single precision is enough where its size has more digits.
TYPED_TEST(DensePaths, AskForNoLessThanTheyTake) {
  using T = TypeParam;
  for (Int n = 2890; n < 2900; ++n) {
    T work;
    Real<T> rwork = 0;
    Int iwork, info = 99;
    const Matrix<T> A{nullptr, n};
    if constexpr (ComplexScalar<T>) {
      routine_call::heevd('V', 'L', n, A, nullptr, &work, -1, &rwork, -1, &iwork, -1, info);
    } else {
      routine_call::syevd('V', 'L', n, A, nullptr, &work, -1, &iwork, -1, info);
    }
    EXPECT_EQ(info, 0);
    const WorkSizes least = Evd<T>::least(true, n);
    EXPECT_GE(Int(std::real(work)), least.work);
    if (ComplexScalar<T>) {
      EXPECT_GE(Int(rwork), least.rwork);
    }
  }
}

/// Those of a band and of reductions, in order.
std::vector<std::string> ways_taken() {
  std::vector<std::string> ways;
  for (const std::string& call : take_recorded_calls()) {
    if (call.starts_with("sytrd")) ways.push_back(call);
  }
  return ways;
}

TYPED_TEST(DensePaths, TakeABandWhereThereIsRoom) {
  using T = TypeParam;
  if constexpr (std::same_as<Real<T>, double>) {
    constexpr Int n = band_order<T>;
    const auto solved = [&](char uplo, std::int64_t lwork) {
      Random same = this->random;
      DenseCall<T> call('N', uplo, random_hermitian<T>(same, uplo, n, n));
      make_room(call, {lwork, 3 * n, 1});
      take_recorded_calls();
      Ev<T>::run(call);
      EXPECT_EQ(call.info, 0);
      EXPECT_EQ(call.work(1), T(size_of_band<T>(n, 40)));
      return call;
    };
    const auto expect_direct = [&](char uplo) {
      EXPECT_EQ(ways_taken(), std::vector<std::string>{std::string("sytrd ") + uplo + ' ' + std::to_string(n)});
    };
    solved('U', Ev<T>::least(false, n).work);
    expect_direct('U');
    const auto direct = solved('L', size_of_band<T>(n, 40) - 1);
    expect_direct('L');
    const Real<T> size = std::max(std::abs(direct.w(1)), std::abs(direct.w(n)));
    for (const char uplo : {'U', 'L'}) {
      const auto by_band = solved(uplo, size_of_band<T>(n, 40));
      EXPECT_EQ(ways_taken(), std::vector<std::string>());
      for (Int k = 1; k <= n; ++k) EXPECT_NEAR(by_band.w(k), direct.w(k), 10 * n * epsilon<T> * size);
    }
  }
}

/// What the reduction wants is asked before anything else, of a lower triangle, and only if it is not less than the
/// rest.
TYPED_TEST(DensePaths, AskForTheRoomOfDivisionFirst) {
  using T = TypeParam;
  const GuardedMatrix<T> A = random_hermitian<T>(this->random, 'U', 4, 4);
  const auto asked = [&](char jobz, Int n, Int lda) {
    DenseCall<T> call(jobz, 'U', A);
    call.n = n;
    call.lda = lda;
    take_recorded_calls();
    Evd<T>::run(call);
    EXPECT_LT(call.info, 0);
    EXPECT_EQ(take_error_reports().size(), 1U);

    return ways_taken();
  };
  EXPECT_EQ(asked('N', 4, 3), std::vector<std::string>{"sytrd L 4"});
  EXPECT_EQ(asked('X', 4, 4), std::vector<std::string>{"sytrd L 4"});
  EXPECT_EQ(asked('V', 4, 3), std::vector<std::string>());
  EXPECT_EQ(asked('N', 1, 0), std::vector<std::string>());
  EXPECT_EQ(asked('N', -4, 4), std::vector<std::string>());
}

/// What is told in the end is the room of the triangle that was reduced: here upper ones have narrower panels.
TYPED_TEST(DensePaths, TellTheRoomOfTheirTriangleInTheEnd) {
  using T = TypeParam;
  if constexpr (std::same_as<T, double>) {
    constexpr Int n = 1100;
    const DenseCall<T> call('N', 'U', random_hermitian<T>(this->random, 'U', n, n));
    const auto solved = solve<Evd<T>>(call);
    EXPECT_EQ(Int(solved.work(1)), size_of_reduction<T>('U', n));
    EXPECT_EQ(asked_for<Evd<T>>(call).work, size_of_reduction<T>('L', n));
    EXPECT_NE(size_of_reduction<T>('U', n), size_of_reduction<T>('L', n)) << "another order is needed";
  }
}

}  // namespace
}  // namespace nuv::test
