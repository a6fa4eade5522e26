// The order of work of larft and larfb, seen by the calls that reach the thread layer.

#include "orthogonal/expected_calls.hpp"
#include "solvers/recording_layer.hpp"
#include "support/reported_errors.hpp"

namespace nuv::test {
namespace {

using Calls = std::vector<std::string>;

template <class T>
class BlockReflectorOrder : public ReportingTest {
 protected:
  Random random{81};
};
TYPED_TEST_SUITE(BlockReflectorOrder, Precisions, PrecisionLetter);

/// Calls larft for reflectors of small elements, so that no factor overflows.
template <Scalar T>
Calls calls_of_larft(Random& random, const Form& form, Int n, Int k) {
  std::vector<T> v(std::size_t(n) * k), t(std::size_t(k) * k);
  for (T& element : v) element = T(1) / T(n);
  for (Int i = 0; i < 100; ++i) v[std::size_t(random.integer(0, Int(v.size()) - 1))] = random.scalar<T>() / T(k);
  const std::vector<T> tau(k, T(0.5));
  take_recorded_calls();
  routine_call::larft(form.direct, form.storev, n, k, {v.data(), form.columnwise() ? n : k}, tau.data(), {t.data(), k});
  return take_recorded_calls_with_factors();
}

struct Size {
  Int n, k;
};

TYPED_TEST(BlockReflectorOrder, FormsItsFactorByTwoProductsPerBlock) {
  using T = TypeParam;
  for (const Form& form : forms) {
    for (const auto& [n, k] : {Size{1, 1},
                               {40, 16},
                               {17, 17},
                               {18, 17},
                               {100, 63},
                               {64, 64},
                               {200, 64},
                               {65, 65},
                               {66, 65},
                               {200, 65},
                               {130, 96},
                               {130, 97},
                               {128, 128}}) {
      SCOPED_TRACE(to_string(form) + ", " + std::to_string(k) + " of order " + std::to_string(n));
      ExpectedCalls<T> expected;
      expected.larft(form, n, k);
      EXPECT_EQ(calls_of_larft<T>(this->random, form, n, k), expected.list());
    }
  }
}

TYPED_TEST(BlockReflectorOrder, FormsTheFactorOfLongReflectorsByNarrowBlocks) {
  using T = TypeParam;
  for (const Form& form : forms) {
    for (const Int n : {14999, 15000}) {
      ExpectedCalls<T> expected;
      expected.larft(form, n, 66);
      EXPECT_EQ(expected.list().size(), std::size_t(n < 15000 ? 4 : 8));
      EXPECT_EQ(calls_of_larft<T>(this->random, form, n, 66), expected.list());
    }
  }
}

TYPED_TEST(BlockReflectorOrder, FormsItsFactorByTheseProducts) {
  using T = TypeParam;
  const std::string t(1, ComplexScalar<T> ? 'C' : 'T');
  const auto products = [&](const std::string& options, const std::string& triangle) {
    return Calls{"gemm " + options + " 32 32 16, 1, 0", "trmm L" + triangle + "NN 32 32, 1",
                 "gemm " + options + " 64 6 10, 1, 0", "trmm L" + triangle + "NN 64 6, 1"};
  };
  EXPECT_EQ(calls_of_larft<T>(this->random, {'F', 'C'}, 80, 70), products(t + "N", "U"));
  EXPECT_EQ(calls_of_larft<T>(this->random, {'F', 'R'}, 80, 70), products("N" + t, "U"));
  EXPECT_EQ(calls_of_larft<T>(this->random, {'B', 'C'}, 80, 70), products(t + "N", "L"));
  EXPECT_EQ(calls_of_larft<T>(this->random, {'B', 'R'}, 80, 70), products("N" + t, "L"));
}

TYPED_TEST(BlockReflectorOrder, IsAppliedInSixSteps) {
  using T = TypeParam;
  for (const Form& form : forms) {
    for (const auto& [order, k] : {Size{1, 1}, {9, 5}, {6, 5}, {5, 5}, {40, 33}, {70, 16}}) {
      ReflectorBlock<T> block(this->random, form, order, k);
      GuardedMatrix<T> t(k, k, k);
      routine_call::larft(form.direct, form.storev, order, k, block.V, block.tau.data(), t);
      for (const char side : sides) {
        for (const char trans : {'N', ComplexScalar<T> ? 'C' : 'T'}) {
          for (const Int other : {1, 7, 40}) {
            SCOPED_TRACE(to_string(form) + ", side " + side + ", trans " + trans + ", " + std::to_string(k) +
                         " of order " + std::to_string(order) + ", other " + std::to_string(other));
            const Int m = is_left(side) ? order : other, n = is_left(side) ? other : order;
            GuardedMatrix<T> C = random_matrix<T>(this->random, m, n, m), work(other, k, other);
            ExpectedCalls<T> expected;
            expected.larfb(side, trans, form, m, n, k);
            EXPECT_EQ(expected.list().size(), std::size_t(order > k ? 5 : 3));
            take_recorded_calls();
            routine_call::larfb(side, trans, form.direct, form.storev, m, n, k, block.V, t, C, work);
            EXPECT_EQ(take_recorded_calls_with_factors(), expected.list());
          }
        }
      }
    }
  }
}

}  // namespace
}  // namespace nuv::test
