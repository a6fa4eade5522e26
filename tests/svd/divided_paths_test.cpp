// The ways that the driver for singular values by divide and conquer takes, seen by the calls that reach the thread
// layer: with a factorisation first, products with the vectors of a reduction are square, and another product makes the
// long vectors.

#include "solvers/recording_layer.hpp"
#include "support/random.hpp"
#include "support/reported_errors.hpp"
#include "svd/divided_calls.hpp"

namespace nuv::test {
namespace {

template <class T>
class DividedPaths : public ReportingTest {
 protected:
  /// Solves in the workspace that size_of(call) tells; gives the calls.
  template <class SizeOf>
  std::vector<std::string> calls_in(bool tall, Int longer, char job, SizeOf size_of) {
    const GuardedMatrix<T> A = random_matrix<T>(random, tall ? longer : k, tall ? k : longer, longer);
    const DividedCall<T> call(job, A);
    const Int lwork = size_of(call);
    take_recorded_calls();
    EXPECT_EQ(call.solved(lwork).info, 0);
    return take_recorded_calls();
  }

  /// The same in the least workspace, or in the best.
  std::vector<std::string> calls_of(bool tall, Int longer, char job, bool in_least) {
    return calls_in(tall, longer, job,
                    [=](const DividedCall<T>& call) { return in_least ? call.sizes().least : call.best(); });
  }

  static constexpr Int k = 5, l = 9;  // 11 / 6 times as many

  Random random{72};
};
TYPED_TEST_SUITE(DividedPaths, Precisions, PrecisionLetter);

/// The product of `count` elements of long vectors.
std::string product(bool tall, Int count, Int k) {
  const std::string own = std::to_string(k), other = std::to_string(count);
  return "gemm NN " + (tall ? other + ' ' + own : own + ' ' + other) + ' ' + own;
}

auto count_of(const std::vector<std::string>& calls, const std::string& call) {
  return std::count(calls.begin(), calls.end(), call);
}

/// Products with the vectors of a reduction that has long ones.
bool has_long_vectors_applied(const std::vector<std::string>& calls, Int longer) {
  return std::any_of(calls.begin(), calls.end(), [=](const std::string& call) {
    return call.starts_with("orm") && (call + ' ').find(' ' + std::to_string(longer) + ' ') != std::string::npos;
  });
}

TYPED_TEST(DividedPaths, FactorLongMatricesFirst) {
  constexpr Int k = TestFixture::k, l = TestFixture::l;
  for (const bool tall : {true, false}) {
    const std::string factorisation = "geqrf " + std::to_string(l) + ' ' + std::to_string(k);
    for (const char job : svd_jobs) {
      for (const bool in_least : {true, false}) {
        SCOPED_TRACE(testing::Message() << job << (tall ? ", tall" : ", wide") << (in_least ? ", least" : ""));
        const auto calls = this->calls_of(tall, l, job, in_least);
        EXPECT_EQ(count_of(calls, factorisation), tall ? 1 : 0);
        EXPECT_FALSE(has_long_vectors_applied(calls, l));
        if (job == 'S' || job == 'A') {
          EXPECT_EQ(count_of(calls, product(tall, l, k)), 1);
        }
        if (job == 'O') {
          const bool in_two_parts = in_least && ComplexScalar<TypeParam>;  // two blocks and 3 k elements
          EXPECT_EQ(count_of(calls, product(tall, in_two_parts ? k + 3 : l, k)), 1);
        }
      }
    }
  }
}

/// The long vectors that are to stand in A are formed beside it as soon as they have room there.
TYPED_TEST(DividedPaths, OverwriteInOneProductFromSomeWorkspaceOn) {
  using Fixture = TestFixture;
  constexpr Int l = Fixture::l - 1;
  for (const bool tall : {true, false}) {
    for (const Int missing : {0, 1}) {
      const auto calls = this->calls_in(tall, l, 'O', [=](const auto& call) {
        EXPECT_GT(call.sizes().enough, call.sizes().least);
        return call.sizes().enough - missing;
      });
      EXPECT_EQ(has_long_vectors_applied(calls, l), missing == 0) << (tall ? "tall, " : "wide, ") << missing;
    }
  }
}

TYPED_TEST(DividedPaths, ReduceOthersDirectly) {
  constexpr Int k = TestFixture::k, l = TestFixture::l - 1;
  for (const bool tall : {true, false}) {
    for (const char job : svd_jobs) {
      for (const bool in_least : {true, false}) {
        SCOPED_TRACE(testing::Message() << job << (tall ? ", tall" : ", wide") << (in_least ? ", least" : ""));
        const auto calls = this->calls_of(tall, l, job, in_least);
        for (const std::string& call : calls) EXPECT_FALSE(call.starts_with("geqrf")) << call;
        const bool is_in_place = job == 'O' && in_least;
        EXPECT_EQ(has_long_vectors_applied(calls, l), job != 'N' && !is_in_place);
        if (!is_in_place) continue;
        // In real precisions the rest of the workspace holds whole vectors, in complex ones a row or column of them.
        const bool is_complex = ComplexScalar<TypeParam>;
        EXPECT_GE(count_of(calls, product(tall, is_complex ? 1 : l, k)), is_complex ? l : 1);
      }
    }
  }
}

}  // namespace
}  // namespace nuv::test
