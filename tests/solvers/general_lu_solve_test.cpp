// What stands on the LU factors: ?gesv, ?getrs, ?getri, and the row interchanges ?laswp.

#include <algorithm>
#include <cctype>

#include "routines.hpp"
#include "solvers/factored.hpp"
#include "support/argument_checks.hpp"
#include "support/described_matrices.hpp"
#include "support/options.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

template <class T>
class GeneralSolve : public ReportingTest {
 protected:
  GuardedMatrix<T> matrix(Int m, Int n) { return random_matrix<T>(random, m, n, padded(m) + (m == 0)); }

  Random random{4};
};
TYPED_TEST_SUITE(GeneralSolve, Precisions, PrecisionLetter);

/// Numbers of right-hand sides for a test of many orders; some orders get one of them only.
std::vector<Int> right_hand_sides(Int n) {
  return n > 129 ? std::vector<Int>{3} : std::vector<Int>{0, 1, 3};
}

// -------------------------------------------------------------------------------------------------------------- gesv

template <Scalar T>
Int gesv(GuardedMatrix<T>& A, GuardedVector<Int>& ipiv, GuardedMatrix<T>& B) {
  Int info = 99;
  routine_call::gesv(A.rows(), B.columns(), A, ipiv.data(), B, info);
  EXPECT_TRUE(A.guards_unchanged());
  EXPECT_TRUE(B.guards_unchanged());
  EXPECT_TRUE(ipiv.guards_unchanged());
  return info;
}

TYPED_TEST(GeneralSolve, SolvesByTheDriver) {
  using T = TypeParam;
  for (const Int n : orders()) {
    for (const Int nrhs : right_hand_sides(n)) {
      SCOPED_TRACE("order " + std::to_string(n) + ", right-hand sides " + std::to_string(nrhs));
      GuardedMatrix<T> A = this->matrix(n, n), B = this->matrix(n, nrhs);
      const WideMatrix<T> original = wide(A), right_hand_side = wide(B);
      GuardedVector<Int> ipiv(n);
      EXPECT_EQ(gesv(A, ipiv, B), 0);
      EXPECT_LT(solution_residual<T>(original, wide(B), right_hand_side), threshold);
      EXPECT_LT(factor_residual<T>(original, A, ipiv), threshold);
    }
  }
}

TYPED_TEST(GeneralSolve, LeavesTheRightHandSidesOfASingularMatrix) {
  using T = TypeParam;
  for (const Int n : {1, 2, 9, 17, 40, 100}) {
    for (const Int j : {Int{1}, (n + 1) / 2, n}) {
      SCOPED_TRACE("order " + std::to_string(n) + ", zero column " + std::to_string(j));
      GuardedMatrix<T> A = this->matrix(n, n), B = this->matrix(n, 2);
      for (Int i = 1; i <= n; ++i) A(i, j) = T(0);
      const WideMatrix<T> original = wide(A);
      GuardedVector<Int> ipiv(n);
      EXPECT_EQ(gesv(A, ipiv, B), j);
      EXPECT_TRUE(B.unchanged());
      EXPECT_LT(factor_residual<T>(original, A, ipiv), threshold);
    }
  }
}

// ------------------------------------------------------------------------------------------------------------- getrs

template <Scalar T>
Int getrs(char trans, const Factored<T>& lu, GuardedMatrix<T>& B) {
  Int info = 99;
  routine_call::getrs(trans, lu.factors.rows(), B.columns(), lu.factors, lu.ipiv.data(), B, info);
  EXPECT_TRUE(lu.factors.unchanged());
  EXPECT_TRUE(lu.ipiv.unchanged());
  EXPECT_TRUE(B.guards_unchanged());
  return info;
}

TYPED_TEST(GeneralSolve, SolvesWithEachFormOfTheMatrix) {
  using T = TypeParam;
  for (const Int n : orders()) {
    const Factored<T> lu = factor(this->matrix(n, n));
    for (const Int nrhs : right_hand_sides(n)) {
      const GuardedMatrix<T> B = this->matrix(n, nrhs);
      for (const char trans : {'N', 'T', 'C', 'n', 't', 'c'}) {
        SCOPED_TRACE("order " + std::to_string(n) + ", trans " + trans + ", right-hand sides " + std::to_string(nrhs));
        GuardedMatrix<T> X = B;
        EXPECT_EQ(getrs(trans, lu, X), 0);
        EXPECT_LT(solution_residual<T>(op<T>(trans, lu.A), wide(X), wide(B)), threshold);
        GuardedMatrix<T> capital = B;
        getrs(char(std::toupper(trans)), lu, capital);
        EXPECT_TRUE(X.same_as(capital));
      }
    }
  }
}

TYPED_TEST(GeneralSolve, ConjugatesForTheLetterCAlone) {
  using T = TypeParam;
  constexpr Int n = 20;
  const Factored<T> lu = factor(this->matrix(n, n));
  const GuardedMatrix<T> B = this->matrix(n, 2);
  GuardedMatrix<T> transposed = B, conjugated = B;
  getrs('T', lu, transposed);
  getrs('C', lu, conjugated);
  if constexpr (ComplexScalar<T>) {
    EXPECT_GT(solution_residual<T>(op<T>('C', lu.A), wide(transposed), wide(B)), 1000);
    EXPECT_GT(solution_residual<T>(op<T>('T', lu.A), wide(conjugated), wide(B)), 1000);
  } else {
    EXPECT_TRUE(conjugated.same_as(transposed));
  }
}

TYPED_TEST(GeneralSolve, SolvesASystemOfOrderOneInClosedForm) {
  using T = TypeParam;
  // (5 + 5i) / (2 + i) = 3 + i and (5 + 5i) / (2 - i) = 1 + 3i.
  const auto number = [](double re, double im) {
    if constexpr (ComplexScalar<T>) {
      return T(Real<T>(re), Real<T>(im));
    } else {
      return T(im == 0 ? re : re * 2 / 5);  // 2 and, for 5 + 5i, 2
    }
  };
  GuardedMatrix<T> A(1, 1, 1);
  A(1, 1) = number(2, 0);
  if constexpr (ComplexScalar<T>) A(1, 1) = number(2, 1);
  const Factored<T> lu = factor(A);
  for (const char trans : transes) {
    GuardedMatrix<T> B(1, 1, 1);
    B(1, 1) = number(5, 5);
    EXPECT_EQ(getrs(trans, lu, B), 0);
    const Wide<T> expected = wide(!ComplexScalar<T> ? T(1) : trans == 'C' ? number(1, 3) : number(3, 1));
    EXPECT_LT(std::abs(wide(B(1, 1)) - expected), 10 * epsilon<T>) << trans;
  }
}

// ------------------------------------------------------------------------------------------------------------- getri

/// The block size that getri asks for, at all orders.
constexpr Int getri_block = 64;

template <Scalar T>
struct Inverted {
  GuardedMatrix<T> inverse;
  GuardedVector<T> work;
  Int info = 99;
};

template <Scalar T>
Inverted<T> getri(const Factored<T>& lu, Int lwork) {
  Inverted<T> result{lu.factors, GuardedVector<T>(std::max(1, lwork))};
  routine_call::getri(lu.factors.rows(), result.inverse, lu.ipiv.data(), result.work.data(), lwork, result.info);
  EXPECT_TRUE(lu.ipiv.unchanged());
  EXPECT_TRUE(result.inverse.guards_unchanged());
  EXPECT_TRUE(result.work.guards_unchanged());
  EXPECT_EQ(result.work(1), T(Real<T>(lu.factors.rows() * getri_block)));
  return result;
}

/// Inverts with lwork and expects a small residual and that of the work no more than the first `used` elements was
/// written, the last of them too where `used` is exact.
template <Scalar T>
void expect_inverse(const Factored<T>& lu, Int lwork, Int used) {
  SCOPED_TRACE("order " + std::to_string(lu.factors.rows()) + ", lwork " + std::to_string(lwork));
  const Inverted<T> result = getri(lu, lwork);
  EXPECT_EQ(result.info, 0);
  EXPECT_LT(inverse_residual<T>(lu.A, wide(result.inverse)), threshold);
  EXPECT_TRUE(result.work.unchanged_outside(1, used));
  // The last element of the first unblocked column, and of the blocks' second columns, comes from L.
  if (used >= 2 && used == lu.factors.rows()) {
    EXPECT_FALSE(same_bits(result.work(used), guard<T>()));
  }
}

TYPED_TEST(GeneralSolve, Inverts) {
  using T = TypeParam;
  for (const Int n : orders()) {
    const Factored<T> lu = factor(this->matrix(n, n));
    const Int least = std::max(1, n), best = std::max(1, n * getri_block);
    const bool blocked = n > getri_block;
    expect_inverse(lu, best, blocked ? best : least);
    expect_inverse(lu, least, least);
    if (n > 257) continue;
    expect_inverse(lu, best + 17, blocked ? best : least);
    if (n < 2) continue;
    // What is left of a short workspace is used in whole columns; two are the fewest that pay.
    expect_inverse(lu, best - 1, blocked ? n * (getri_block - 1) : n);
    expect_inverse(lu, 2 * n, blocked ? 2 * n : n);
    expect_inverse(lu, 2 * n - 1, n);
  }
}

TYPED_TEST(GeneralSolve, InvertsByBlocksOfTheWidthThatTheWorkspaceAllows) {
  using T = TypeParam;
  constexpr Int n = 131;
  const Factored<T> lu = factor(this->matrix(n, n));
  for (const Int width : {2, 3, 63, 64}) {
    const Inverted<T> result = getri(lu, n * width);
    // The work keeps the strict lower part of the last block's, the first columns', L.
    for (Int j = 1; j <= width; ++j) {
      for (Int i = j + 1; i <= n; ++i) {
        ASSERT_TRUE(same_bits(result.work(i + (j - 1) * n), lu.factors(i, j))) << i << ", " << j << ", width " << width;
      }
    }
  }
}

TYPED_TEST(GeneralSolve, AnswersAQueryAndDoesNothingElse) {
  using T = TypeParam;
  for (const Int n : {0, 1, 5, 64, 65, 300}) {
    const Inverted<T> result = getri(factor(this->matrix(n, n)), -1);
    EXPECT_EQ(result.info, 0);
    EXPECT_TRUE(result.inverse.unchanged());
  }
}

TYPED_TEST(GeneralSolve, LeavesASingularMatrixUninverted) {
  using T = TypeParam;
  for (const Int n : {1, 2, 10, 64, 65, 130}) {
    for (const Int j : {Int{1}, (n + 1) / 2, n}) {
      for (const Int lwork : {n, n * getri_block}) {
        SCOPED_TRACE("order " + std::to_string(n) + ", zero pivot " + std::to_string(j));
        Factored<T> lu = factor(this->matrix(n, n));
        lu.factors(j, j) = T(0);
        if (j < n) lu.factors(n, n) = T(0);
        lu.factors.seal();
        const Inverted<T> result = getri(lu, lwork);
        EXPECT_EQ(result.info, j);
        EXPECT_TRUE(result.inverse.unchanged());
        EXPECT_TRUE(result.work.unchanged_outside(1, 1));
      }
    }
  }
}

// ------------------------------------------------------------------------------------------------------------- laswp

/// The exchanges in the order in which they are asked for.
struct Exchange {
  Int row, other;
};

template <Scalar T>
void expect_exchanges(const GuardedMatrix<T>& A, const std::vector<Exchange>& exchanges, Int n, Int k1, Int k2,
                      const GuardedVector<Int>& ipiv, Int incx) {
  GuardedMatrix<T> result = A, expected = A;
  routine_call::laswp(n, result, k1, k2, ipiv.data(), incx);
  for (const auto& [row, other] : exchanges) {
    for (Int j = 1; j <= n; ++j) std::swap(expected(row, j), expected(other, j));
  }
  EXPECT_TRUE(result.same_as(expected)) << "rows " << k1 << " to " << k2 << ", columns " << n << ", incx " << incx;
  EXPECT_TRUE(ipiv.unchanged());
}

TYPED_TEST(GeneralSolve, ExchangesRowsInTheirOrder) {
  using T = TypeParam;
  constexpr Int m = 12;
  for (const Int n : {0, 1, 2, 3, 4, 5, 8, 9, 33}) {
    const GuardedMatrix<T> A = this->matrix(m, n);
    for (const Int incx : {1, 2, 3, -1, -2, -3}) {
      const Int step = std::abs(incx);
      for (const Int k1 : {1, 2, 5}) {
        for (Int k2 = k1 - 1; k2 <= m - 1; ++k2) {
          // Only what the range names is set; all else would be a wild row.
          GuardedVector<Int> ipiv(1 + (m - 1) * step);
          std::vector<Exchange> exchanges;
          for (Int i = k1; i <= k2; ++i) {
            const Int other = this->random.integer(1, 4) == 1 ? i : this->random.integer(1, m);
            ipiv(1 + (i - 1) * step) = other;
            exchanges.push_back({i, other});
          }
          ipiv.seal();
          if (incx < 0) std::reverse(exchanges.begin(), exchanges.end());
          expect_exchanges(A, exchanges, n, k1, k2, ipiv, incx);
        }
      }
    }
  }
}

TYPED_TEST(GeneralSolve, ExchangesNothingForAZeroIncrement) {
  using T = TypeParam;
  const GuardedMatrix<T> A = this->matrix(6, 4);
  GuardedVector<Int> ipiv(6);
  for (Int i = 1; i <= 6; ++i) ipiv(i) = 7 - i;
  ipiv.seal();
  expect_exchanges(A, {}, 4, 1, 3, ipiv, 0);
}

TYPED_TEST(GeneralSolve, ExchangesNothingInNoColumns) {
  using T = TypeParam;
  GuardedMatrix<T> A = this->matrix(6, 4);
  GuardedVector<Int> ipiv(6);
  for (const Int n : {0, -1, -7}) {
    for (const Int incx : {1, -1, 2}) routine_call::laswp(n, A, 1, 0, ipiv.data(), incx);
  }
  for (Int i = 1; i <= 6; ++i) ipiv(i) = 7 - i;
  for (const Int n : {0, -1, -7}) {
    for (const Int incx : {1, -1}) routine_call::laswp(n, A, 1, 3, ipiv.data(), incx);
  }
  EXPECT_TRUE(A.unchanged());
}

TYPED_TEST(GeneralSolve, UndoesExchangesWithTheOppositeIncrement) {
  using T = TypeParam;
  const GuardedMatrix<T> original = this->matrix(70, 9);
  const Factored<T> lu = factor(this->matrix(70, 70));
  GuardedMatrix<T> A = original;
  routine_call::laswp(9, A, 3, 66, lu.ipiv.data(), 1);
  EXPECT_FALSE(A.unchanged());
  routine_call::laswp(9, A, 3, 66, lu.ipiv.data(), -1);
  EXPECT_TRUE(A.same_as(original));
}

TYPED_TEST(GeneralSolve, ExchangesARowWithItself) {
  using T = TypeParam;
  GuardedMatrix<T> A = this->matrix(9, 5);
  GuardedVector<Int> ipiv(9);
  for (Int i = 1; i <= 9; ++i) ipiv(i) = i;
  for (const Int incx : {1, -1}) routine_call::laswp(5, A, 1, 9, ipiv.data(), incx);
  EXPECT_TRUE(A.unchanged());
}

// --------------------------------------------------------------------------------------------------------- arguments

template <Scalar T>
Factored<T> small_factored() {
  Random random(1);
  return factor(random_matrix<T>(random, 3, 3, 4));
}

template <Scalar T>
GuardedMatrix<T> small_right_hand_sides() {
  Random random(2);
  return random_matrix<T>(random, 3, 2, 5);
}

template <Scalar T>
struct GesvCall {
  Int n = 3, nrhs = 2, lda = 4, ldb = 5;
  GuardedMatrix<T> a = small_factored<T>().factors, b = small_right_hand_sides<T>();
  GuardedVector<Int> ipiv{3};

  Int run() {
    Int info = 99;
    routine_call::gesv(n, nrhs, {a.data(), lda}, ipiv.data(), {b.data(), ldb}, info);
    return info;
  }
  bool unchanged() const { return a.unchanged() && ipiv.unchanged() && b.unchanged(); }
};

template <Scalar T>
struct GetrsCall {
  char trans = 'N';
  Int n = 3, nrhs = 2, lda = 4, ldb = 5;
  Factored<T> lu = small_factored<T>();
  GuardedMatrix<T> b = small_right_hand_sides<T>();

  Int run() {
    Int info = 99;
    routine_call::getrs(trans, n, nrhs, {lu.factors.data(), lda}, lu.ipiv.data(), {b.data(), ldb}, info);
    return info;
  }
  bool unchanged() const { return lu.factors.unchanged() && lu.ipiv.unchanged() && b.unchanged(); }
};

template <Scalar T>
struct GetriCall {
  Int n = 3, lda = 4, lwork = 3;
  Factored<T> lu = small_factored<T>();
  GuardedVector<T> work{3};

  Int run() {
    Int info = 99;
    routine_call::getri(n, {lu.factors.data(), lda}, lu.ipiv.data(), work.data(), lwork, info);
    return info;
  }
  /// The best size is told whatever the other arguments are.
  bool unchanged() const {
    return lu.factors.unchanged() && lu.ipiv.unchanged() && work.unchanged_outside(1, 1) &&
           work(1) == T(Real<T>(n * getri_block));
  }
};

TYPED_TEST(GeneralSolve, ChecksTheArgumentsOfGesv) {
  using T = TypeParam;
  const std::string name = reported_name<T>("GESV");
  expect_argument_checks<GesvCall<T>>(name, {{1, [](auto& c) { c.n = -1; }},
                                             {2, [](auto& c) { c.nrhs = -1; }},
                                             {4, [](auto& c) { c.lda = 2; }},
                                             {4, [](auto& c) { c.lda = 0; }},
                                             {7, [](auto& c) { c.ldb = 2; }},
                                             {7, [](auto& c) { c.ldb = -9; }}});
  GesvCall<T> empty_lda, empty_ldb;
  empty_lda.n = empty_lda.lda = empty_ldb.n = empty_ldb.ldb = 0;
  expect_report(empty_lda, name, 4);
  expect_report(empty_ldb, name, 7);
}

TYPED_TEST(GeneralSolve, ChecksTheArgumentsOfGetrs) {
  using T = TypeParam;
  const std::string name = reported_name<T>("GETRS");
  expect_argument_checks<GetrsCall<T>>(name, {{1, [](auto& c) { c.trans = 'X'; }},
                                              {1, [](auto& c) { c.trans = '\0'; }},
                                              {1, [](auto& c) { c.trans = char('N' + 128); }},
                                              {2, [](auto& c) { c.n = -1; }},
                                              {3, [](auto& c) { c.nrhs = -1; }},
                                              {5, [](auto& c) { c.lda = 2; }},
                                              {5, [](auto& c) { c.lda = 0; }},
                                              {8, [](auto& c) { c.ldb = 2; }},
                                              {8, [](auto& c) { c.ldb = 0; }}});
  for (const Int nrhs : {0, 2}) {
    GetrsCall<T> empty_lda, empty_ldb;
    empty_lda.n = empty_lda.lda = empty_ldb.n = empty_ldb.ldb = 0;
    empty_lda.nrhs = empty_ldb.nrhs = nrhs;
    expect_report(empty_lda, name, 5);
    expect_report(empty_ldb, name, 8);
  }
}

TYPED_TEST(GeneralSolve, ChecksTheArgumentsOfGetri) {
  using T = TypeParam;
  const std::string name = reported_name<T>("GETRI");
  expect_argument_checks<GetriCall<T>>(name, {{1, [](auto& c) { c.n = -1; }},
                                              {3, [](auto& c) { c.lda = 2; }},
                                              {3, [](auto& c) { c.lda = 0; }},
                                              {6, [](auto& c) { c.lwork = 2; }},
                                              {6, [](auto& c) { c.lwork = 0; }},
                                              {6, [](auto& c) { c.lwork = -2; }}});
  GetriCall<T> empty_lda, empty_work, bad_query;
  empty_lda.n = empty_lda.lda = empty_work.n = empty_work.lwork = 0;
  expect_report(empty_lda, name, 3);
  expect_report(empty_work, name, 6);
  bad_query.lwork = -1;
  bad_query.lda = 2;
  expect_report(bad_query, name, 3);
}

TEST(GeneralSolveOptions, CountByTheirFirstCharacterAlone) {
  const Factored<double> lu = small_factored<double>();
  GuardedMatrix<double> by_word = small_right_hand_sides<double>(), by_letter = by_word;
  const int n = 3, nrhs = 2, lda = lu.factors.ld(), ldb = by_word.ld();
  int info = 99;
  nuv_lapack_dgetrs("transposed", &n, &nrhs, lu.factors.data(), &lda, lu.ipiv.data(), by_word.data(), &ldb, &info, 10);
  EXPECT_EQ(info, 0);
  getrs('T', lu, by_letter);
  EXPECT_TRUE(by_word.same_as(by_letter));
}

// ----------------------------------------------------------------------------------------------- hard to solve with

TYPED_TEST(GeneralSolve, SolvesWithMatricesThatAreHardToSolveWith) {
  using T = TypeParam;
  DescribedMatrices matrices(2);
  for (const Int n : {6, 40, 140}) {
    for (const Description& description : matrices_of_full_rank) {
      SCOPED_TRACE(testing::Message() << "order " << n << ", " << description.name);
      const GuardedMatrix<T> A = matrices.general<T>(description, n, n, padded(n)), B = this->matrix(n, 3);
      GuardedMatrix<T> F = A, X = B;
      GuardedVector<Int> ipiv(n);
      EXPECT_EQ(gesv(F, ipiv, X), 0);
      EXPECT_LT(solution_residual<T>(wide(A), wide(X), wide(B)), threshold);

      const Factored<T> lu = factor(A);
      for (const char trans : transes) {
        GuardedMatrix<T> Y = B;
        EXPECT_EQ(getrs(trans, lu, Y), 0);
        EXPECT_LT(solution_residual<T>(op<T>(trans, lu.A), wide(Y), wide(B)), threshold) << trans;
      }
      const Inverted<T> inverted = getri(lu, n * getri_block);
      EXPECT_EQ(inverted.info, 0);
      EXPECT_LT(inverse_residual<T>(lu.A, wide(inverted.inverse)), threshold);
    }
  }
}

}  // namespace
}  // namespace nuv::test
