// The kernels for triangles in packed storage: ?tpmv and ?tpsv.

#include "blas.hpp"
#include "kernels/stored_matrices.hpp"
#include "support/argument_checks.hpp"

namespace nuv::test {
namespace {

template <class T>
class PackedTriangular : public ReportingTest {
 protected:
  Random random{19};

  /// Calls visit(uplo, trans, diag, A, inc, op(A)) for all orders and options, and expects that A stays.
  template <class Visit>
  void for_each_case(Visit visit) {
    for (const Int n : stored_orders()) {
      for_each_triangular_option(random, [&](char uplo, char trans, char diag, Int inc) {
        SCOPED_TRACE(testing::Message() << uplo << trans << diag << ", order " << n << ", increment " << inc);
        PackedTriangle<T> A(is_upper(uplo), n);
        fill_triangle(random, is_unit(diag), A);
        visit(uplo, trans, diag, std::as_const(A.array()), inc, op<T>(trans, whole(A, is_unit(diag))));
        EXPECT_TRUE(A.array().unchanged());
      });
    }
  }
};
TYPED_TEST_SUITE(PackedTriangular, Precisions, PrecisionLetter);

TYPED_TEST(PackedTriangular, Multiplies) {
  using T = TypeParam;
  this->for_each_case([&](char uplo, char trans, char diag, const auto& a, Int inc, const WideMatrix<T>& A) {
    const Int n = Int(A.rows());
    expect_product_in_place<T>(this->random, inc, A,
                               [&](Vector<T> x) { blas::tpmv(uplo, trans, diag, n, a.data(), x); });
  });
}

TYPED_TEST(PackedTriangular, Solves) {
  using T = TypeParam;
  this->for_each_case([&](char uplo, char trans, char diag, const auto& a, Int inc, const WideMatrix<T>& A) {
    const Int n = Int(A.rows());
    expect_solution_in_place<T>(this->random, inc, A,
                                [&](Vector<T> x) { blas::tpsv(uplo, trans, diag, n, a.data(), x); });
  });
}

// ----------------------------------------------------------------------------------------------------------- arguments

template <Scalar T, auto kernel>
struct Call {
  char uplo = 'U', trans = 'N', diag = 'N';
  Int n = 3, incx = 1;
  Random random{1};
  GuardedVector<T> a = random_vector<T>(random, 6, 1), x = random_vector<T>(random, 3, 1);

  void run() { kernel(uplo, trans, diag, n, a.data(), Vector<T>{x.data(), incx}); }
  bool unchanged() const { return a.unchanged() && x.unchanged(); }
};

template <class Call>
void expect_checks(const std::string& name) {
  expect_argument_checks<Call>(name, {{1, [](auto& c) { c.uplo = 'N'; }},
                                      {1, [](auto& c) { c.uplo = char('U' + 128); }},
                                      {2, [](auto& c) { c.trans = 'U'; }},
                                      {3, [](auto& c) { c.diag = 'L'; }},
                                      {4, [](auto& c) { c.n = -1; }},
                                      {7, [](auto& c) { c.incx = 0; }}});
}

TYPED_TEST(PackedTriangular, ChecksTheArguments) {
  using T = TypeParam;
  constexpr auto multiply = [](auto... arguments) { blas::tpmv(arguments...); };
  constexpr auto solve = [](auto... arguments) { blas::tpsv(arguments...); };
  expect_checks<Call<T, multiply>>(reported_name<T>("TPMV"));
  expect_checks<Call<T, solve>>(reported_name<T>("TPSV"));
}

}  // namespace
}  // namespace nuv::test
