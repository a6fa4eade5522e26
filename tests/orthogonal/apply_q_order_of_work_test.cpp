// The order of work inside products with Q, seen by the calls that reach the thread layer.

#include "orthogonal/products_with_q.hpp"
#include "solvers/recording_layer.hpp"
#include "support/reported_errors.hpp"

namespace nuv::test {
namespace {

using Calls = std::vector<std::string>;

template <class T>
class ApplyQOrderOfWork : public ReportingTest {
 protected:
  Random random{82};
};
TYPED_TEST_SUITE(ApplyQOrderOfWork, Precisions, PrecisionLetter);

// The calls say it where the bits do not: an element of C is the same whatever strip it lies in.
TYPED_TEST(ApplyQOrderOfWork, TakesStripsOf256ThroughAllBlocks) {
  using T = TypeParam;
  for (const ProductSizes& s :
       {ProductSizes{70, 256, 70}, {70, 257, 69}, {40, 300, 36}, {36, 512, 33}, {36, 513, 34}}) {
    for_each_product<T>(this->random, s, [&](const ProductWithQ<T>& product) {
      take_recorded_calls();
      const GuardedMatrix<T> expected = product.by_blocks();
      const Calls expected_calls = take_recorded_calls();
      for (const Int lwork : {product.best_lwork(), s.nw}) {
        const Computed<T> computed = product.template compute_by<ByBody>(lwork);
        EXPECT_EQ(take_recorded_calls(), expected_calls);
        EXPECT_TRUE(computed.C.same_as(expected));
      }
    });
  }
}

TYPED_TEST(ApplyQOrderOfWork, WithFewReflectorsIsWithoutTheThreadLayer) {
  using T = TypeParam;
  const Int nb = ComplexScalar<T> ? 32 : 16;
  for_each_product<T>(this->random, {40, 300, nb}, [&](const ProductWithQ<T>& product) {
    take_recorded_calls();
    product.template compute_by<ByBody>(product.best_lwork());
    EXPECT_EQ(take_recorded_calls(), Calls());
  });
  for_each_product<T>(this->random, {40, 300, nb + 1}, [&](const ProductWithQ<T>& product) {
    take_recorded_calls();
    product.template compute_by<ByBody>(product.best_lwork());
    EXPECT_NE(take_recorded_calls(), Calls());
  });
}

}  // namespace
}  // namespace nuv::test
