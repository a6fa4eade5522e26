// Singular values and vectors of bidiagonal matrices by QR iteration: ?bdsqr.

#include "support/argument_checks.hpp"
#include "support/random.hpp"
#include "svd/bidiagonal_iteration.hpp"

namespace nuv::test {
namespace {

template <class T>
class BidiagonalQr : public ReportingTest {
 protected:
  using R = Real<T>;

  /// Binds the stubs: the loader's requests are not those of the routine.
  static void SetUpTestSuite() {
    Iteration<T>::of_all('U', described_bidiagonals<R>(30).front().matrix).run();
    Iteration<T>::of_all('U', described_bidiagonals<R>(30).front().matrix).run(Answer::refused);
  }

  static Bidiagonal<R> random_bidiagonal(Int n) { return described_bidiagonals<R>(n).front().matrix; }

  Random random{83};
};
TYPED_TEST_SUITE(BidiagonalQr, Precisions, PrecisionLetter);

TYPED_TEST(BidiagonalQr, SolvesDescribedMatrices) {
  using T = TypeParam;
  for (const Int n : {1, 2, 3, 4, 7, 31}) {
    for (const auto& described : described_bidiagonals<Real<T>>(n)) {
      const auto values = singular_values(described.matrix);
      for (const char uplo : {'U', 'l'}) {
        for (const Answer answer : answers) {
          SCOPED_TRACE(testing::Message() << described.name << ", order " << n << ' ' << uplo << int(answer));
          Iteration<T>::of_all(uplo, described.matrix).run(answer).expect_solution(values);
        }
      }
    }
  }
}

/// Batches grow from 4 sweeps to 100 behind order 210, or 105 for complex vectors.
TYPED_TEST(BidiagonalQr, SolvesAroundTheBatchSizes) {
  using T = TypeParam;
  constexpr Int last_small = ComplexScalar<T> ? 105 : 210;
  for (const Int n : {last_small, last_small + 1}) {
    const auto matrix = this->random_bidiagonal(n);
    const auto values = singular_values(matrix);
    SCOPED_TRACE(n);
    Iteration<T>::of_all('U', matrix).run().expect_solution(values);
  }
}

/// Without matrices the values come from another method, whose memory is the caller's.
TYPED_TEST(BidiagonalQr, FindsValuesAlone) {
  using T = TypeParam;
  for (const Int n : {0, 1, 2, 3, 20}) {
    for (const auto& described : described_bidiagonals<Real<T>>(std::max(1, n))) {
      const Bidiagonal<Real<T>> matrix = n == 0 ? Bidiagonal<Real<T>>{} : described.matrix;
      SCOPED_TRACE(testing::Message() << described.name << ", order " << n);
      Iteration<T> iteration = Iteration<T>::of_values('U', matrix);
      iteration.run(Answer::refused);
      EXPECT_EQ(iteration.requests, 0);
      EXPECT_EQ(iteration.info, 0);
      if (!described.has_clusters && n > 0) iteration.expect_values(singular_values(matrix));
    }
  }
}

/// Matrices of any shape are multiplied by what takes the identity to the vectors.
TYPED_TEST(BidiagonalQr, MultipliesGivenMatrices) {
  using T = TypeParam;
  const Int n = 40;
  const auto matrix = this->random_bidiagonal(n);
  for (const char uplo : {'u', 'L'}) {
    Iteration<T> all = Iteration<T>::of_all(uplo, matrix);
    all.run();
    const WideMatrix<T> PT = wide(all.VT), Q = wide(all.U);
    for (const auto& [ncvt, nru, ncc] : {std::tuple<Int, Int, Int>{n, n, n},
                                         {n, 0, 0},
                                         {0, n, 0},
                                         {0, 0, n},
                                         {n + 3, 0, 5},
                                         {0, 7, 0},
                                         {2, n + 9, 0},
                                         {0, 0, n - 1},
                                         {1, 1, 1}}) {
      for (const Answer answer : answers) {
        SCOPED_TRACE(testing::Message() << ncvt << ' ' << nru << ' ' << ncc << ' ' << uplo << int(answer));
        Iteration<T> given(uplo, matrix, random_matrix<T>(this->random, n, ncvt, n + 1),
                           random_matrix<T>(this->random, nru, n, nru + 2), random_matrix<T>(this->random, n, ncc, n));
        const WideMatrix<T> VT = wide(given.VT), U = wide(given.U), C = wide(given.C);
        given.run(answer);
        EXPECT_EQ(given.info, 0);
        EXPECT_EQ(given.kept, 0);
        EXPECT_TRUE(given.d.same_as(all.d));
        given.expect_guards();
        const auto expect_near = [&](const WideMatrix<T>& result, const WideMatrix<T>& exact) {
          if (exact.size() == 0) return;
          EXPECT_LT(double((result - exact).cwiseAbs().maxCoeff() / epsilon<T>), 10 * n);
        };
        expect_near(wide(given.VT), product<T>(PT, VT));
        expect_near(wide(given.U), product<T>(U, Q));
        expect_near(wide(given.C), product<T>(WideMatrix<T>(Q.transpose()), C));
      }
    }
  }
}

TYPED_TEST(BidiagonalQr, TakesOneElement) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R d : {R(3), R(-3), R(0)}) {
    Iteration<T> iteration('U', {{d}, {}}, random_matrix<T>(this->random, 1, 4, 2),
                           random_matrix<T>(this->random, 3, 1, 3), random_matrix<T>(this->random, 1, 2, 1));
    iteration.run();
    EXPECT_EQ(iteration.info, 0);
    EXPECT_EQ(iteration.requests, 0);
    EXPECT_EQ(iteration.d(1), std::abs(d));
    EXPECT_TRUE(iteration.U.unchanged() && iteration.C.unchanged());
    for (Int j = 1; j <= 4; ++j) {
      EXPECT_EQ(iteration.VT(1, j), d < 0 ? -iteration.VT.sealed(1, j) : iteration.VT.sealed(1, j));
    }
  }
}

/// What the sizes of the matrices tell, and given back.
TYPED_TEST(BidiagonalQr, AsksForATableOnce) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr std::size_t reals = ComplexScalar<T> ? 2 : 1;
  constexpr Int last_small = 210 / reals;
  for (const Int n : {2, 5, last_small, last_small + 1}) {
    const std::size_t nb = n <= last_small ? 4 : 100;
    for (const Int longest : {1, 6, 30}) {
      for (const auto& [ncvt, nru, ncc] :
           {std::tuple<Int, Int, Int>{longest, 1, 0}, {1, longest, 1}, {0, 1, longest}}) {
        Iteration<T> iteration('U', {std::vector<R>(std::size_t(n), R(2)), std::vector<R>(std::size_t(n) - 1)},
                               random_matrix<T>(this->random, n, ncvt, n), random_matrix<T>(this->random, nru, n, nru),
                               random_matrix<T>(this->random, n, ncc, n));
        iteration.run();
        EXPECT_EQ(iteration.requests, 1);
        EXPECT_EQ(iteration.bytes, (reals * std::size_t(longest) + 4 * (std::size_t(n) + nb)) * nb * sizeof(R));
        EXPECT_EQ(iteration.kept, 0);
      }
    }
  }
}

/// The least value goes to the end; of equal ones it is the last.
TYPED_TEST(BidiagonalQr, SortsEqualValuesFromTheEnd) {
  using T = TypeParam;
  using R = Real<T>;
  Iteration<T> iteration = Iteration<T>::of_all('U', {{R(1), R(2), R(1), R(2)}, {R(0), R(0), R(0)}});
  iteration.run();
  EXPECT_EQ(iteration.info, 0);
  const Int from[] = {4, 2, 1, 3};  // 1 2 1 2, with (3, 4) exchanged 1 2 2 1, with (1, 3) exchanged 2 2 1 1
  for (Int k = 1; k <= 4; ++k) {
    EXPECT_EQ(iteration.d(k), R(k <= 2 ? 2 : 1));
    EXPECT_EQ(iteration.U(from[k - 1], k), T(1)) << k;
    EXPECT_EQ(iteration.VT(k, from[k - 1]), T(1)) << k;
    EXPECT_EQ(iteration.C(k, from[k - 1]), T(1)) << k;
  }
}

template <Scalar T>
struct SmallCall {
  char uplo = 'U';
  Int n = 3, ncvt = 2, nru = 4, ncc = 1, ldvt = 3, ldu = 4, ldc = 3;
  GuardedVector<Real<T>> d{3}, e{2}, work{8};
  GuardedMatrix<T> vt{3, 2, 3}, u{4, 3, 4}, c{3, 1, 3};

  SmallCall() {
    for (Int i = 1; i <= 3; ++i) d(i) = Real<T>(i);
    for (Int i = 1; i <= 2; ++i) e(i) = 1;
    for (GuardedMatrix<T>* A : {&vt, &u, &c}) {
      for (Int j = 1; j <= A->columns(); ++j) {
        for (Int i = 1; i <= A->rows(); ++i) (*A)(i, j) = T(i);
      }
      A->seal();
    }
    d.seal();
    e.seal();
  }

  Int run() {
    Int info = 99;
    routine_call::bdsqr(uplo, n, ncvt, nru, ncc, d.data(), e.data(), Matrix<T>{vt.data(), ldvt},
                        Matrix<T>{u.data(), ldu}, Matrix<T>{c.data(), ldc}, work.data(), info);
    return info;
  }
  testing::AssertionResult unchanged() const {
    return testing::AssertionResult(d.unchanged() && e.unchanged() && work.unchanged() && vt.unchanged() &&
                                    u.unchanged() && c.unchanged());
  }
};

TYPED_TEST(BidiagonalQr, ChecksItsArgumentsInOrder) {
  using Call = SmallCall<TypeParam>;
  const std::string name = reported_name<TypeParam>("BDSQR");
  expect_argument_checks<Call>(name, {{1, [](Call& c) { c.uplo = 'X'; }},
                                      {2, [](Call& c) { c.n = -1; }},
                                      {3, [](Call& c) { c.ncvt = -1; }},
                                      {4, [](Call& c) { c.nru = -1; }},
                                      {5, [](Call& c) { c.ncc = -1; }},
                                      {9, [](Call& c) { c.ldvt = 0; }},
                                      {11, [](Call& c) { c.ldu = 0; }},
                                      {13, [](Call& c) { c.ldc = 0; }}});
  for (const auto& [spoil, position] : {std::pair<void (*)(Call&), Int>{[](Call& c) { c.ldvt = 2; }, 9},
                                        {[](Call& c) { c.ldu = 3; }, 11},
                                        {[](Call& c) { c.ldc = 2; }, 13},
                                        {[](Call& c) { c.ncvt = 0, c.ldvt = 1; }, 0},
                                        {[](Call& c) { c.ncc = 0, c.ldc = 1; }, 0}}) {
    Call call;
    spoil(call);
    expect_report(call, name, position);
  }
}

}  // namespace
}  // namespace nuv::test
