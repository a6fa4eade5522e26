// Packed matrices of more than 2^31 elements. Needs 64-bit addresses.

#include <vector>

#include "blas.hpp"
#include "support/reported_errors.hpp"
#include "support/sparse_array.hpp"

namespace nuv::test {
namespace {

using FarPackedElements = ReportingTest;

/// The zeros of a large triangle need no memory of their own, only its last elements do.
TEST_F(FarPackedElements, AreFound) {
  constexpr Int order = 65600;
  constexpr std::size_t size = std::size_t(order) * (order + 1) / 2;
  static_assert(size > std::size_t{1} << 31);
  SparseArray<float> ap(size);
  ap.data()[size - 1] = 3;  // the last diagonal element of either triangle
  ap.data()[size - 2] = 5;  // the neighbour above it in an upper triangle, left of it in a lower one
  std::vector<float> x(order, 1.0f);
  blas::tpmv('U', 'N', 'N', order, ap.data(), {x.data(), 1});
  EXPECT_EQ(x[order - 1], 3);
  EXPECT_EQ(x[order - 2], 5);
  EXPECT_EQ(x[order - 3], 0);

  x.assign(order, 1.0f);
  blas::tpmv('L', 'N', 'N', order, ap.data(), {x.data(), 1});
  EXPECT_EQ(x[order - 1], 8);
  EXPECT_EQ(x[order - 2], 0);
}

}  // namespace
}  // namespace nuv::test
