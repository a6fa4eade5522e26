// Band matrices whose columns lie more than 2^31 elements apart. Needs 64-bit addresses.

#include "blas.hpp"
#include "kernels/stored_matrices.hpp"
#include "support/reported_errors.hpp"
#include "support/sparse_array.hpp"

namespace nuv::test {
namespace {

static_assert(sizeof(void*) == 8);

constexpr std::ptrdiff_t far = std::ptrdiff_t{1} << 31;

template <class T>
class FarStoredElements : public ReportingTest {
 protected:
  /// A copy of a band matrix whose last column starts behind 2^31 elements.
  class FarBand {
   public:
    explicit FarBand(const GuardedMatrix<T>& a)
        : ld_(Int(far / (a.columns() - 1) + 1)), store_(std::size_t(a.columns() - 1) * ld_ + a.rows()) {
      for (Int j = 1; j <= a.columns(); ++j) std::copy_n(&a(1, j), a.rows(), Matrix<T>{store_.data(), ld_}.at(1, j));
    }
    operator Matrix<const T>() { return {store_.data(), ld_}; }

   private:
    Int ld_;
    SparseArray<T> store_;
  };

  /// Expects that `work(a, x)` does the same to x whether the columns of a band lie close together or far apart.
  template <class Work>
  void expect_same(const GuardedMatrix<T>& close, Work work) {
    FarBand far_away(close);
    GuardedVector<T> x = random_vector<T>(random, close.columns(), 1), far_x = x;
    work(Matrix<const T>(close), Vector<T>(x));
    work(Matrix<const T>(far_away), Vector<T>(far_x));
    EXPECT_TRUE(far_x.same_as(x));
    EXPECT_FALSE(x.unchanged());
  }

  Random random{31};
};
TYPED_TEST_SUITE(FarStoredElements, Precisions, PrecisionLetter);

/// Enough for groups of columns that are worked on at once.
constexpr Int n = 50, k = 20;

TYPED_TEST(FarStoredElements, AreFoundInBands) {
  using T = TypeParam;
  for (const char trans : transes) {
    BandMatrix<T> A(n, n, k, k, 2 * k + 1);
    fill(this->random, A);
    const GuardedVector<T> x = random_vector<T>(this->random, n, 1);
    this->expect_same(A.array(),
                      [&](Matrix<const T> a, Vector<T> y) { blas::gbmv(trans, n, n, k, k, T(1), a, x, T(1), y); });
    for (const char uplo : uplos) {
      BandMatrix<T> R = band_triangle<T>(is_upper(uplo), n, k, k + 1);
      fill_triangle(this->random, false, R);
      this->expect_same(R.array(), [&](auto a, auto y) { blas::tbmv(uplo, trans, 'N', n, k, a, y); });
      this->expect_same(R.array(), [&](auto a, auto y) { blas::tbsv(uplo, trans, 'N', n, k, a, y); });
    }
  }
}

}  // namespace
}  // namespace nuv::test
