// ?ptts2: solution with the factors of a positive definite tridiagonal matrix.

#include <cmath>

#include "blas.hpp"
#include "kernels/vector_cases.hpp"

namespace nuv::test {
namespace {

template <class T>
class TridiagonalKernels : public testing::Test {
 protected:
  Random random{25};
};
TYPED_TEST_SUITE(TridiagonalKernels, Precisions, PrecisionLetter);

template <Scalar T>
void solve(Int iuplo, Int n, Int nrhs, const Real<T>* d, const T* e, Matrix<T> b) {
  if constexpr (ComplexScalar<T>) {
    blas::ptts2(iuplo, n, nrhs, d, e, b);
  } else {
    blas::ptts2(n, nrhs, d, e, b);
  }
}

/// The element of A = L D L^H at (row, column), for the subdiagonal of L in the wide type.
template <Scalar T>
Wide<T> element_of_product(const GuardedVector<Real<T>>& d, const std::vector<Wide<T>>& l, Int row, Int column) {
  const auto weight = [&](Int i) { return Wide<T>(WideReal<T>(d(i))); };
  if (row == column) return weight(row) + (row > 1 ? weight(row - 1) * std::norm(l[row - 2]) : Wide<T>(0));
  const Wide<T> below = weight(std::min(row, column)) * l[std::min(row, column) - 1];
  if constexpr (ComplexScalar<T>) return row > column ? below : std::conj(below);
  return below;
}

TYPED_TEST(TridiagonalKernels, Solves) {
  using T = TypeParam;
  for (const Int iuplo : {0, 1}) {
    for (const Int n : {0, 1, 2, 3, 4, 7, 20, 71}) {
      for (const Int nrhs : {0, 1, 2, 3, 4, 5, 8, 11}) {
        SCOPED_TRACE(testing::Message() << "iuplo " << iuplo << ", order " << n << ", " << nrhs << " right-hand sides");
        GuardedVector<Real<T>> d(n);
        GuardedVector<T> e(std::max(n - 1, 0));
        for (Int i = 1; i <= n; ++i) d(i) = Real<T>(1.5 + this->random.real());
        for (Int i = 1; i < n; ++i) e(i) = this->random.template scalar<T>() * Real<T>(0.7);
        d.seal();
        e.seal();
        GuardedMatrix<T> b = random_matrix<T>(this->random, n, nrhs, n + 3);
        solve<T>(iuplo, n, nrhs, d.data(), e.data(), b);
        EXPECT_TRUE(d.unchanged());
        EXPECT_TRUE(e.unchanged());
        EXPECT_TRUE(b.guards_unchanged());

        // With iuplo 1 the factors are U^H D U, and e is the superdiagonal of U.
        std::vector<Wide<T>> l;
        for (Int i = 1; i < n; ++i) l.push_back(wide(iuplo == 1 ? conjugate(e(i)) : e(i)));
        for (Int j = 1; j <= nrhs; ++j) {
          for (Int i = 1; i <= n; ++i) {
            Wide<T> rest = wide(b.sealed(i, j));
            WideReal<T> size = size_of(rest);
            for (Int k = std::max(i - 1, 1); k <= std::min(i + 1, n); ++k) {
              const Wide<T> term = element_of_product<T>(d, l, i, k) * wide(b(k, j));
              rest -= term;
              size += size_of(term);
            }
            ASSERT_LE(std::abs(rest), 20 * epsilon<T> * size) << "equation " << i << " of right-hand side " << j;
          }
        }
      }
    }
  }
}

TYPED_TEST(TridiagonalKernels, DoesNothingForNegativeSizes) {
  using T = TypeParam;
  GuardedMatrix<T> b = random_matrix<T>(this->random, 3, 3, 3);
  const Real<T> d[] = {2, 2, 2};
  const T e[] = {T(1), T(1)};
  for (const auto& [n, nrhs] : {std::pair{-1, 2}, {2, -1}, {-2147483647, 3}, {3, -2147483647}}) {
    solve<T>(0, n, nrhs, d, e, b);
    solve<T>(1, n, nrhs, d, e, b);
  }
  EXPECT_TRUE(b.unchanged());
}

}  // namespace
}  // namespace nuv::test
