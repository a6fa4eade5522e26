// The order of work in the reduction of packed matrices, seen by the calls that reach the thread layer.

#include <algorithm>

#include "layer.hpp"
#include "routines.hpp"
#include "solvers/recording_layer.hpp"
#include "support/reported_errors.hpp"
#include "symmetric/symmetric_cases.hpp"
#include "x_variants.hpp"

namespace nuv::test {
namespace {

using Calls = std::vector<std::string>;

constexpr Int nb = 32;

template <class T>
class PackedReductionOrder : public ReportingTest {
 protected:
  /// What a panel asks for the block of columns that has `others` more rows on the side away from the diagonal.
  void expect_block(char uplo, Int columns, Int others) {
    calls.push_back((ComplexScalar<T> ? "her2k " : "syr2k ") + std::string(1, uplo) + "N " + std::to_string(columns) +
                    ' ' + std::to_string(nb));
    if (others == 0) return;
    const std::string product =
        "gemm NC " + std::to_string(others) + ' ' + std::to_string(columns) + ' ' + std::to_string(nb) + ", -1, 1";
    calls.insert(calls.end(), 2, product);
  }

  Random random{83};
  Calls calls;
};
TYPED_TEST_SUITE(PackedReductionOrder, Precisions, PrecisionLetter);

TYPED_TEST(PackedReductionOrder, UpdatesTheRestInBlocksOfColumnsBehindEachPanel) {
  using T = TypeParam;
  for (const Int n : {1, nb, nb + 1, 2 * nb, 2 * nb + 1, 3 * nb + 7}) {
    for (const char uplo : uplos) {
      this->calls.clear();
      // The panels leave at least one column and at most nb to the loop without blocks.
      Int rest = n;
      while (rest > nb) {
        rest -= nb;
        for (Int done = 0; done < rest; done += nb) {
          const Int columns = std::min(nb, rest - done);
          this->expect_block(uplo, columns, is_upper(uplo) ? done : rest - done - columns);
        }
      }
      GuardedVector<T> ap = packed(is_upper(uplo), random_symmetric<T>(this->random, uplo, n)), tau(n - 1);
      GuardedVector<Real<T>> d(n), e(n - 1);
      Int info = 99;
      take_recorded_calls();
      x_variant::sptrd(uplo, n, ap.data(), d.data(), e.data(), tau.data(), info);
      EXPECT_EQ(take_recorded_calls_with_factors(), this->calls) << uplo << ", order " << n;
    }
  }
}

}  // namespace
}  // namespace nuv::test
