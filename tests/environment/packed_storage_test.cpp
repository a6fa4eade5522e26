// The bridge between packed and full storage: ?pppack, ?ppunpack.

#include "routines.hpp"
#include "support/options.hpp"
#include "support/packed.hpp"
#include "support/precisions.hpp"
#include "support/random.hpp"

namespace nuv::test {
namespace {

/// A block of a matrix of order n.
struct Block {
  Int n, i, j, rows, cols;
};

bool is_inside(char uplo, const Block& block, Int row, Int column) {
  const Int i = block.i + row - 1, k = block.j + column - 1;
  return is_upper(uplo) ? i <= k : i >= k;
}

/// Every block of matrices of a few orders: on the diagonal, across it, beside it on either side, and empty ones.
template <class Visit>
void for_each_block(Visit visit) {
  for (const Int n : {1, 2, 5, 6}) {
    for (const char uplo : {'U', 'u', 'L', 'l'}) {
      for (Int i = 1; i <= n; ++i) {
        for (Int j = 1; j <= n; ++j) {
          for (Int rows = 0; rows <= n - i + 1; ++rows) {
            for (Int cols = 0; cols <= n - j + 1; ++cols) visit(uplo, Block{n, i, j, rows, cols});
          }
        }
      }
    }
  }
}

template <class T>
class PackedStorage : public testing::Test {
 protected:
  Random random{3};
};
TYPED_TEST_SUITE(PackedStorage, Precisions, PrecisionLetter);

TYPED_TEST(PackedStorage, UnpacksWhatABlockHasInTheTriangle) {
  using T = TypeParam;
  for_each_block([&](char uplo, const Block& block) {
    const auto [n, i, j, rows, cols] = block;
    const GuardedVector<T> ap = random_vector<T>(this->random, packed_size(n), 1);
    const GuardedMatrix<T> full = unpacked(is_upper(uplo), n, ap);
    GuardedMatrix<T> A(rows, cols, rows + 2);
    routine_call::ppunpack(uplo, ap.data(), n, i, j, rows, cols, A);
    ASSERT_TRUE(A.unchanged_except([&](Int row, Int column) { return is_inside(uplo, block, row, column); }));
    for (Int column = 1; column <= cols; ++column) {
      for (Int row = 1; row <= rows; ++row) {
        if (!is_inside(uplo, block, row, column)) continue;
        ASSERT_EQ(A(row, column), full(i + row - 1, j + column - 1)) << uplo << n << ' ' << i << ' ' << j;
      }
    }
    ASSERT_TRUE(ap.unchanged());
  });
}

TYPED_TEST(PackedStorage, PacksWhatABlockHasInTheTriangle) {
  using T = TypeParam;
  for_each_block([&](char uplo, const Block& block) {
    const auto [n, i, j, rows, cols] = block;
    GuardedVector<T> ap = random_vector<T>(this->random, packed_size(n), 1);
    GuardedMatrix<T> expected = unpacked(is_upper(uplo), n, ap);
    GuardedMatrix<T> A(rows, cols, rows + 2);
    for (Int column = 1; column <= cols; ++column) {
      for (Int row = 1; row <= rows; ++row) {
        if (!is_inside(uplo, block, row, column)) continue;
        A(row, column) = expected(i + row - 1, j + column - 1) = this->random.template scalar<T>();
      }
    }
    A.seal();
    routine_call::pppack(uplo, ap.data(), n, i, j, rows, cols, A);
    ASSERT_TRUE(A.unchanged());
    ASSERT_TRUE(ap.guards_unchanged());
    ASSERT_TRUE(unpacked(is_upper(uplo), n, ap).same_as(expected)) << uplo << n << ' ' << i << ' ' << j;
  });
}

}  // namespace
}  // namespace nuv::test
