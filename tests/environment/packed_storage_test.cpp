// The bridge between packed and full storage: ?pppack, ?ppunpack, ?trttp, ?tpttr.

#include "routines.hpp"
#include "support/argument_checks.hpp"
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
class PackedStorage : public ReportingTest {
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

// -------------------------------------------------------------------------------------------------------- whole
// triangles

/// Valid arguments of both routines for order 3.
template <Scalar T>
struct WholeTriangle {
  char uplo = 'L';
  Int n = 3, lda = 5, info = 99;
  GuardedMatrix<T> A{3, 3, 5};
  GuardedVector<T> ap{6};

  Matrix<T> a() { return {A.data(), lda}; }
  bool unchanged() const { return A.unchanged() && ap.unchanged(); }
};

template <Scalar T>
struct TrttpCall : WholeTriangle<T> {
  static constexpr int position_of_lda = 4;

  Int run() {
    routine_call::trttp(this->uplo, this->n, this->a(), this->ap.data(), this->info);
    return this->info;
  }
};
template <Scalar T>
struct TpttrCall : WholeTriangle<T> {
  static constexpr int position_of_lda = 5;

  Int run() {
    routine_call::tpttr(this->uplo, this->n, this->ap.data(), this->a(), this->info);
    return this->info;
  }
};

TYPED_TEST(PackedStorage, HoldsWholeTriangles) {
  using T = TypeParam;
  for (const Int n : {0, 1, 2, 7, 40}) {
    for (const char uplo : {'U', 'u', 'L', 'l'}) {
      const GuardedMatrix<T> A = random_matrix<T>(this->random, n, n, n + 2);
      GuardedVector<T> ap(packed_size(n));
      Int info = 99;
      routine_call::trttp(uplo, n, A, ap.data(), info);
      EXPECT_EQ(info, 0);
      EXPECT_TRUE(A.unchanged());
      EXPECT_TRUE(ap.same_as(packed(is_upper(uplo), A))) << uplo << n;

      ap.seal();
      GuardedMatrix<T> B(n, n, n + 1);
      info = 99;
      routine_call::tpttr(uplo, n, ap.data(), B, info);
      EXPECT_EQ(info, 0);
      EXPECT_TRUE(ap.unchanged());
      EXPECT_TRUE(B.unchanged_except([&](Int i, Int j) { return is_in_triangle(uplo, i, j); })) << uplo << n;
      for_each_packed(is_upper(uplo), n, [&](Int i, Int j, Int) { EXPECT_EQ(B(i, j), A(i, j)) << uplo << n; });
    }
  }
}

template <class Call>
void expect_checks(const std::string& name) {
  expect_argument_checks<Call>(name, {{1, [](Call& c) { c.uplo = 'A'; }},
                                      {2, [](Call& c) { c.n = -1; }},
                                      {Call::position_of_lda, [](Call& c) { c.lda = 2; }}});
  Call empty;
  empty.n = empty.lda = 0;
  expect_report(empty, name, Call::position_of_lda);
}

TYPED_TEST(PackedStorage, ChecksArgumentsOfWholeTriangles) {
  expect_checks<TrttpCall<TypeParam>>(reported_name<TypeParam>("TRTTP"));
  expect_checks<TpttrCall<TypeParam>>(reported_name<TypeParam>("TPTTR"));
}

}  // namespace
}  // namespace nuv::test
