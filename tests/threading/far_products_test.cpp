// Products with as many steps as an integer can count. Needs 64-bit addresses.

#include <limits>

#include "blas.hpp"
#include "support/reported_errors.hpp"
#include "support/sparse_array.hpp"

namespace nuv::test {
namespace {

using FarProducts = ReportingTest;

/// Zeros need no memory of their own, only the last elements do.
TEST_F(FarProducts, HaveAsManyStepsAsCanBeCounted) {
  constexpr Int k = std::numeric_limits<Int>::max();
  SparseArray<float> a(k), b(k);
  a.data()[0] = 2;
  b.data()[0] = 7;
  a.data()[k - 1] = 3;
  b.data()[k - 1] = 5;
  float c = 1;
  blas::gemm('T', 'N', 1, 1, k, 1.0f, {a.data(), k}, {b.data(), k}, 1.0f, {&c, 1});
  EXPECT_EQ(c, 1 + 2 * 7 + 3 * 5);
}

}  // namespace
}  // namespace nuv::test
