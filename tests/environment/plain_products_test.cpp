// Complex products are the plain formula, whatever a compiler would make of infinities by itself.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "routines.hpp"
#include "support/real_precisions.hpp"

namespace nuv::test {
namespace {

template <class T>
class PlainProducts : public testing::Test {};
TYPED_TEST_SUITE(PlainProducts, ComplexPrecisions, PrecisionLetter);

// Both parts are the sum of an infinity and of infinity times zero.
TYPED_TEST(PlainProducts, InfinityTimesOneIsNotANumber) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr R infinity = std::numeric_limits<R>::infinity();
  const T element(infinity, infinity), one(1);
  T product(0);
  routine_call::lagtm('N', 1, 1, R(1), &element, &element, &element, {&one, 1}, R(0), {&product, 1});
  EXPECT_TRUE(std::isnan(product.real()) && std::isnan(product.imag())) << product;
}

}  // namespace
}  // namespace nuv::test
