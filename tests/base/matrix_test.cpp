// Views of matrices and vectors, counted from one.

#include "base/matrix.hpp"

#include <gtest/gtest.h>

#include <type_traits>
#include <vector>

namespace nuv::test {
namespace {

class Views : public testing::Test {
 protected:
  static constexpr Int ld = 5;
  std::vector<double> store = std::vector<double>(20);
  Matrix<double> A{store.data(), ld};
};

TEST_F(Views, CountElementsFromOneColumnByColumn) {
  EXPECT_EQ(&A(1, 1), &store[0]);
  EXPECT_EQ(&A(3, 1), &store[2]);
  EXPECT_EQ(&A(1, 2), &store[5]);
  EXPECT_EQ(&A(4, 3), &store[13]);
  EXPECT_EQ(A.at(4, 3), &store[13]);
  A(2, 4) = 7;
  EXPECT_EQ(store[16], 7);
}

TEST_F(Views, TakeBlocksRowsAndColumns) {
  const Matrix B = block(A, 2, 3);
  EXPECT_EQ(B.ld, ld);
  EXPECT_EQ(&B(1, 1), &A(2, 3));
  EXPECT_EQ(&B(2, 2), &A(3, 4));
  EXPECT_EQ(&block(B, 2, 1)(1, 2), &A(3, 4));

  const Vector down = column(A, 2, 4);
  EXPECT_EQ(down.data, &A(2, 4));
  EXPECT_EQ(down.inc, 1);
  const Vector across = row(A, 4, 2);
  EXPECT_EQ(across.data, &A(4, 2));
  EXPECT_EQ(across.inc, ld);
}

TEST_F(Views, BecomeConstAndNotBack) {
  const Matrix<const double> C = A;
  EXPECT_EQ(C.data, A.data);
  EXPECT_EQ(C.ld, A.ld);
  const Vector<const double> x = column(A, 1, 2);
  EXPECT_EQ(x.data, &A(1, 2));
  static_assert(std::is_convertible_v<Matrix<double>, Matrix<const double>>);
  static_assert(!std::is_convertible_v<Matrix<const double>, Matrix<double>>);
  static_assert(std::is_convertible_v<Vector<double>, Vector<const double>>);
  static_assert(!std::is_convertible_v<Vector<const double>, Vector<double>>);
}

TEST_F(Views, MayStartOutsideAnEmptyBlock) {
  EXPECT_EQ(A.at(1, 5), store.data() + store.size());
  EXPECT_EQ(A.at(0, 2), &store[4]);
}

// An address is not computed in 32 bits; where addresses themselves have no more, there is nothing to see.
#if UINTPTR_MAX > UINT32_MAX
TEST(FarViews, ReachBehindTwoToThe31Elements) {
  constexpr Int ld = 2147483647;
  // No element is touched; the pointer only has to be one that can be counted from.
  double* const base = reinterpret_cast<double*>(std::uintptr_t{1} << 40);
  const Matrix A{base, ld};
  constexpr auto offset = [](Int i, Int j) { return std::ptrdiff_t{j - 1} * 2147483647 + (i - 1); };
  EXPECT_EQ(A.at(ld, 1) - base, offset(ld, 1));
  EXPECT_EQ(A.at(3, 2) - base, offset(3, 2));
  EXPECT_EQ(A.at(1, 4) - base, offset(1, 4));
  EXPECT_EQ(block(A, 2, 3).at(2, 3) - base, offset(3, 5));
  EXPECT_EQ(column(A, 5, 4).data - base, offset(5, 4));
  EXPECT_EQ(row(A, 5, 4).data - base, offset(5, 4));
}
#endif

}  // namespace
}  // namespace nuv::test
