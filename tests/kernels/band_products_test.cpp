// Products with general, symmetric and Hermitian band matrices: ?gbmv, ?sbmv, ?hbmv.

#include "blas.hpp"
#include "kernels/stored_matrices.hpp"
#include "support/argument_checks.hpp"

namespace nuv::test {
namespace {

template <class T>
class BandProducts : public ReportingTest {
 protected:
  Random random{29};

  /// Multiplies with a matrix of this shape in one of the three forms.
  void expect_general_product(char form, bool contiguous, Int m, Int n, Int kl, Int ku) {
    const char trans = random.in_some_case(form);
    const Int lda = kl + ku + 1 + random.integer(0, 3);
    const ProductCase<T> one(random, contiguous);
    SCOPED_TRACE(testing::Message() << trans << ", " << m << " by " << n << ", " << kl << " and " << ku
                                    << " diagonals, lda " << lda << ", " << one);
    BandMatrix<T> A(m, n, kl, ku, lda);
    if (one.alpha != T(0)) fill(random, A);
    expect_product<T>(random, one, op<T>(trans, whole(A)), [&](T alpha, Vector<const T> x, T beta, Vector<T> y) {
      blas::gbmv(trans, m, n, kl, ku, alpha, std::as_const(A.array()), x, beta, y);
    });
    EXPECT_TRUE(A.array().unchanged());
  }

  /// In all three, where the vectors are contiguous and where not.
  void expect_general_products(Int m, Int n, Int kl, Int ku) {
    for (const char form : transes) {
      for (const bool contiguous : {true, false}) expect_general_product(form, contiguous, m, n, kl, ku);
    }
  }
};
TYPED_TEST_SUITE(BandProducts, Precisions, PrecisionLetter);

/// sbmv, or hbmv where the precision has that.
template <Scalar T>
void symmetric_product(char uplo, Int n, Int k, T alpha, Matrix<const T> a, Vector<const T> x, T beta, Vector<T> y) {
  if constexpr (ComplexScalar<T>) blas::hbmv(uplo, n, k, alpha, a, x, beta, y);
  else blas::sbmv(uplo, n, k, alpha, a, x, beta, y);
}

TYPED_TEST(BandProducts, MultipliesByMatricesOfAllShapes) {
  for (const Int m : stored_orders()) {
    for (const Int n : stored_orders()) {
      if ((m + 2 * n) % 5 != 0) continue;  // a fifth of them, with all pairs of remainders of the widths of vectors
      for (const char form : transes) {
        this->expect_general_product(form, this->random.integer(0, 1) == 0, m, n, this->random.pick(bandwidths(m)),
                                     this->random.pick(bandwidths(n)));
      }
    }
  }
}

TYPED_TEST(BandProducts, MultipliesByMatricesOfAllBandwidths) {
  for (const auto& [m, n] : {std::pair<Int, Int>(1, 1), {5, 5}, {40, 40}, {40, 70}, {70, 40}, {4, 300}, {300, 4}}) {
    for (const Int kl : bandwidths(m)) {
      for (const Int ku : bandwidths(n)) this->expect_general_products(m, n, kl, ku);
    }
  }
}

TYPED_TEST(BandProducts, MultipliesByLargeMatrices) {
  for (const char form : transes) {
    this->expect_general_product(form, true, 500, 500, 20, 20);
    this->expect_general_product(form, false, 500, 450, 0, 1);
    this->expect_general_product(form, true, 400, 500, 3, 200);
  }
}

TYPED_TEST(BandProducts, MultipliesBySymmetricMatrices) {
  using T = TypeParam;
  constexpr Mirror mirror = ComplexScalar<T> ? Mirror::hermitian : Mirror::symmetric;
  for (const Int n : stored_orders()) {
    for (const Int k : bandwidths(n)) {
      for (const char upper_or_lower : uplos) {
        for (int repetition = 0; repetition < 2; ++repetition) {
          const char uplo = this->random.in_some_case(upper_or_lower);
          const Int lda = k + 1 + this->random.integer(0, 3);
          const ProductCase<T> one(this->random, repetition % 2 == 0);
          SCOPED_TRACE(testing::Message()
                       << uplo << ", order " << n << ", " << k << " diagonals, lda " << lda << ", " << one);
          BandMatrix<T> A = band_triangle<T>(is_upper(uplo), n, k, lda);
          if (one.alpha != T(0)) fill_symmetric(this->random, A);
          const auto multiply = [&](T alpha, Vector<const T> x, T beta, Vector<T> y) {
            symmetric_product<T>(uplo, n, k, alpha, std::as_const(A.array()), x, beta, y);
          };
          expect_product<T>(this->random, one, whole_symmetric(A, mirror), multiply);
          EXPECT_TRUE(A.array().unchanged());
        }
      }
    }
  }
}

// ----------------------------------------------------------------------------------------------------------- arguments

template <Scalar T>
struct BandCall {
  Int lda = 5, incx = 1, incy = 1;
  Random random{1};
  GuardedMatrix<T> a = random_matrix<T>(random, 4, 3, 5);
  GuardedVector<T> x = random_vector<T>(random, 3, 1), y = random_vector<T>(random, 3, 1);

  bool unchanged() const { return a.unchanged() && x.unchanged() && y.unchanged(); }
};

template <Scalar T>
struct GeneralCall : BandCall<T> {
  char trans = 'N';
  Int m = 3, n = 3, kl = 2, ku = 1;

  void run() {
    blas::gbmv(trans, m, n, kl, ku, T(1), {this->a.data(), this->lda}, {this->x.data(), this->incx}, T(2),
               {this->y.data(), this->incy});
  }
};

TYPED_TEST(BandProducts, ChecksTheArgumentsOfGbmv) {
  using T = TypeParam;
  const std::string name = reported_name<T>("GBMV");
  expect_argument_checks<GeneralCall<T>>(name, {{1, [](auto& c) { c.trans = 'X'; }},
                                                {1, [](auto& c) { c.trans = char('t' + 128); }},
                                                {2, [](auto& c) { c.m = -1; }},
                                                {3, [](auto& c) { c.n = -1; }},
                                                {4, [](auto& c) { c.kl = -1; }},
                                                {5, [](auto& c) { c.ku = -1; }},
                                                {8, [](auto& c) { c.lda = 3; }},
                                                {8, [](auto& c) { c.lda = -1; }},
                                                {10, [](auto& c) { c.incx = 0; }},
                                                {13, [](auto& c) { c.incy = 0; }}});
  GeneralCall<T> empty, widest;
  empty.m = empty.n = empty.kl = empty.ku = empty.lda = 0;
  expect_report(empty, name, 8);
  widest.kl = widest.ku = widest.lda = std::numeric_limits<Int>::max();
  expect_report(widest, name, 8);
}

template <Scalar T>
struct SymmetricCall : BandCall<T> {
  char uplo = 'U';
  Int n = 3, k = 3;

  void run() {
    symmetric_product<T>(uplo, n, k, T(1), {this->a.data(), this->lda}, {this->x.data(), this->incx}, T(2),
                         {this->y.data(), this->incy});
  }
};

TYPED_TEST(BandProducts, ChecksTheArgumentsOfSymmetricProducts) {
  using T = TypeParam;
  const std::string name = reported_name<T>(ComplexScalar<T> ? "HBMV" : "SBMV");
  expect_argument_checks<SymmetricCall<T>>(name, {{1, [](auto& c) { c.uplo = 'N'; }},
                                                  {1, [](auto& c) { c.uplo = char('U' + 128); }},
                                                  {2, [](auto& c) { c.n = -1; }},
                                                  {3, [](auto& c) { c.k = -1; }},
                                                  {6, [](auto& c) { c.lda = 3; }},
                                                  {6, [](auto& c) { c.lda = -1; }},
                                                  {8, [](auto& c) { c.incx = 0; }},
                                                  {11, [](auto& c) { c.incy = 0; }}});
  SymmetricCall<T> empty;
  empty.n = empty.k = empty.lda = 0;
  expect_report(empty, name, 6);
}

}  // namespace
}  // namespace nuv::test
