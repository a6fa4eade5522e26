// The ways that least squares by singular value decompositions take, seen by the calls that reach the thread layer.

#include "solvers/recording_layer.hpp"
#include "support/reported_errors.hpp"
#include "svd/least_squares_calls.hpp"

namespace nuv::test {
namespace {

template <class T>
class LeastSquaresPaths : public ReportingTest {
 protected:
  std::vector<std::string> calls_in(SvdMethod method, Int m, Int n, Int nrhs, Int lwork) {
    const LeastSquaresCall<T> call(method, random_matrix<T>(random, m, n, m),
                                   random_matrix<T>(random, std::max(m, n), nrhs, std::max(m, n)));
    take_recorded_calls();
    EXPECT_EQ(call.solved(lwork).info, 0);
    return take_recorded_calls();
  }

  static constexpr Int k = 10, crossover = 16;

  Random random{73};
};
TYPED_TEST_SUITE(LeastSquaresPaths, Precisions, PrecisionLetter);

/// Whether a call of a routine has a size among its sizes.
bool has_call(const std::vector<std::string>& calls, const std::string& routine, Int size) {
  return std::any_of(calls.begin(), calls.end(), [&](const std::string& call) {
    return call.starts_with(routine) && (call + ' ').find(' ' + std::to_string(size) + ' ') != std::string::npos;
  });
}

TYPED_TEST(LeastSquaresPaths, FactorTallMatricesFromTheCrossoverOn) {
  using T = TypeParam;
  using Fixture = TestFixture;
  for (const SvdMethod method : svd_methods) {
    for (const Int m : {Fixture::crossover - 1, Fixture::crossover}) {
      const auto [least, by_lq, rwork, iwork] = least_squares_work<T>(method, m, Fixture::k, 2);
      for (const Int lwork : {least, least + 1000}) {
        const auto calls = this->calls_in(method, m, Fixture::k, 2, lwork);
        EXPECT_EQ(has_call(calls, "geqrf", m), m >= Fixture::crossover);
        EXPECT_TRUE(has_call(calls, "ormqr", m));
      }
    }
  }
}

/// The left vectors of a reduction of L have one reflector for each of its k rows, those of a wide matrix one less.
TYPED_TEST(LeastSquaresPaths, FactorWideMatricesWhereThereIsWorkspace) {
  using T = TypeParam;
  using Fixture = TestFixture;
  constexpr Int k = Fixture::k;
  for (const SvdMethod method : svd_methods) {
    for (const Int n : {Fixture::crossover - 1, Fixture::crossover, 5 * k}) {
      const auto [least, by_lq, rwork, iwork] = least_squares_work<T>(method, k, n, 2);
      for (const Int lwork : {least, std::max(least, by_lq - 1), by_lq, by_lq + 1000}) {
        SCOPED_TRACE(testing::Message() << n << " columns, lwork " << lwork);
        const bool by_factor = n >= Fixture::crossover && lwork >= by_lq;
        const auto calls = this->calls_in(method, k, n, 2, lwork);
        const std::string transposed = ComplexScalar<T> ? "C" : "T", of_l = "ormqr L" + transposed + " 10 2 10",
                          of_a = "ormqr L" + transposed + " 9 2 9";
        EXPECT_EQ(std::count(calls.begin(), calls.end(), of_l), by_factor ? 1 : 0) << testing::PrintToString(calls);
        EXPECT_EQ(std::count(calls.begin(), calls.end(), of_a), by_factor ? 0 : 1) << testing::PrintToString(calls);
        EXPECT_FALSE(has_call(calls, "geqrf", n));
      }
    }
  }
}

/// Solutions are multiplied together where they have room beside each other, else as many at a time as have.
TYPED_TEST(LeastSquaresPaths, MultiplyInPieces) {
  using T = TypeParam;
  constexpr Int n = TestFixture::k, nrhs = 33;
  const auto least = least_squares_work<T>(SvdMethod::iteration, n, n, nrhs).least;
  const std::string product = ComplexScalar<T> ? "gemm CN " : "gemm TN ", own = std::to_string(n);
  const auto count_of = [&](const std::vector<std::string>& calls, Int columns) {
    return std::count(calls.begin(), calls.end(), product + own + ' ' + std::to_string(columns) + ' ' + own);
  };
  EXPECT_EQ(count_of(this->calls_in(SvdMethod::iteration, n, n, nrhs, n * nrhs), nrhs), 1);
  const auto in_two = this->calls_in(SvdMethod::iteration, n, n, nrhs, n * nrhs - 1);
  EXPECT_EQ(count_of(in_two, nrhs - 1), 1);
  const auto in_more = this->calls_in(SvdMethod::iteration, n, n, nrhs, least);
  EXPECT_EQ(count_of(in_more, least / n), nrhs / (least / n));
}

}  // namespace
}  // namespace nuv::test
