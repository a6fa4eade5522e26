// The kernels for triangular band matrices: ?tbmv and ?tbsv.

#include "blas.hpp"
#include "kernels/stored_matrices.hpp"
#include "support/argument_checks.hpp"

namespace nuv::test {
namespace {

template <class T>
class BandTriangular : public ReportingTest {
 protected:
  Random random{23};

  /// Calls visit(uplo, trans, diag, k, A, inc, op(A)) for all orders, bandwidths and options, and expects that A stays.
  template <class Visit>
  void for_each_case(Visit visit) {
    for (const Int n : stored_orders()) {
      for (const Int k : bandwidths(n)) {
        for_each_triangular_option(random, [&](char uplo, char trans, char diag, Int inc) {
          const Int lda = k + 1 + random.integer(0, 3);
          SCOPED_TRACE(testing::Message() << uplo << trans << diag << ", order " << n << ", " << k << " diagonals, lda "
                                          << lda << ", increment " << inc);
          BandMatrix<T> A = band_triangle<T>(is_upper(uplo), n, k, lda);
          fill_triangle(random, is_unit(diag), A);
          visit(uplo, trans, diag, k, std::as_const(A.array()), inc, op<T>(trans, whole(A, is_unit(diag))));
          EXPECT_TRUE(A.array().unchanged());
        });
      }
    }
  }
};
TYPED_TEST_SUITE(BandTriangular, Precisions, PrecisionLetter);

TYPED_TEST(BandTriangular, Multiplies) {
  using T = TypeParam;
  this->for_each_case([&](char uplo, char trans, char diag, Int k, const auto& a, Int inc, const WideMatrix<T>& A) {
    const Int n = Int(A.rows());
    expect_product_in_place<T>(this->random, inc, A, [&](Vector<T> x) { blas::tbmv(uplo, trans, diag, n, k, a, x); });
  });
}

TYPED_TEST(BandTriangular, Solves) {
  using T = TypeParam;
  this->for_each_case([&](char uplo, char trans, char diag, Int k, const auto& a, Int inc, const WideMatrix<T>& A) {
    const Int n = Int(A.rows());
    expect_solution_in_place<T>(this->random, inc, A, [&](Vector<T> x) { blas::tbsv(uplo, trans, diag, n, k, a, x); });
  });
}

// ----------------------------------------------------------------------------------------------------------- arguments

template <Scalar T, auto kernel>
struct Call {
  char uplo = 'U', trans = 'N', diag = 'N';
  Int n = 3, k = 2, lda = 4, incx = 1;
  Random random{1};
  GuardedMatrix<T> a = random_matrix<T>(random, 3, 3, 4);
  GuardedVector<T> x = random_vector<T>(random, 3, 1);

  void run() { kernel(uplo, trans, diag, n, k, Matrix<const T>{a.data(), lda}, Vector<T>{x.data(), incx}); }
  bool unchanged() const { return a.unchanged() && x.unchanged(); }
};

template <class Call>
void expect_checks(const std::string& name) {
  expect_argument_checks<Call>(name, {{1, [](auto& c) { c.uplo = 'N'; }},
                                      {1, [](auto& c) { c.uplo = char('U' + 128); }},
                                      {2, [](auto& c) { c.trans = 'U'; }},
                                      {3, [](auto& c) { c.diag = 'L'; }},
                                      {4, [](auto& c) { c.n = -1; }},
                                      {5, [](auto& c) { c.k = -1; }},
                                      {7, [](auto& c) { c.lda = 2; }},
                                      {7, [](auto& c) { c.lda = -1; }},
                                      {9, [](auto& c) { c.incx = 0; }}});
  Call empty, widest;
  empty.n = empty.k = empty.lda = 0;
  expect_report(empty, name, 7);
  widest.k = widest.lda = std::numeric_limits<Int>::max();
  expect_report(widest, name, 7);
}

TYPED_TEST(BandTriangular, ChecksTheArguments) {
  using T = TypeParam;
  constexpr auto multiply = [](auto... arguments) { blas::tbmv(arguments...); };
  constexpr auto solve = [](auto... arguments) { blas::tbsv(arguments...); };
  expect_checks<Call<T, multiply>>(reported_name<T>("TBMV"));
  expect_checks<Call<T, solve>>(reported_name<T>("TBSV"));
}

}  // namespace
}  // namespace nuv::test
