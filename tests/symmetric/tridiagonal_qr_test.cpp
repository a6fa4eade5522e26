// Eigenvalues and eigenvectors by QL and QR iteration: ?steqr.

#include <cctype>
#include <limits>

#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/malloc_requests.hpp"
#include "support/norms.hpp"
#include "support/random.hpp"
#include "symmetric/eigen_checks.hpp"
#include "symmetric/tridiagonal_problem.hpp"

namespace nuv::test {
namespace {

using Answer = MallocRequests::Answer;

constexpr double threshold = 10;
constexpr Answer answers[] = {Answer::granted, Answer::refused};

const char* text(Answer answer) {
  return answer == Answer::granted ? ", with a table" : ", without";
}

/// ||Z^H Z - I|| / (n eps) in the one-norm. Vectors of random signs would count the errors of n columns for one: they
/// are sums of as many roundings as an element has met rotations.
template <Scalar T>
double full_orthogonality(const GuardedMatrix<T>& Z) {
  const WideMatrix<T> X = wide(Z);
  const Eigen::Index n = X.cols();
  const WideMatrix<T> rest = product<T>(X.adjoint(), X) - WideMatrix<T>::Identity(n, n);
  return ratio(norm(rest), WideReal<T>(n) * epsilon<T>);
}

/// The arguments of ?steqr; z is a square for vectors, and one element else.
template <Scalar T>
struct Iteration {
  using R = Real<T>;

  char compz;
  Tridiagonal<R> matrix;
  GuardedVector<R> d, e;
  GuardedMatrix<T> Z;
  GuardedVector<R> work;
  Int info = 99;

  Iteration(char compz, const Tridiagonal<R>& matrix)
      : compz(compz),
        matrix(matrix),
        d(guarded(matrix.d)),
        e(guarded(matrix.e)),
        Z(order(), order(), order() + 2),
        work(has_vectors() ? std::max(1, 2 * order() - 2) : 0) {
    Z.seal();
  }

  Int order() const { return matrix.order(); }
  /// Products ask for memory, too, which the pool keeps.
  bool is_without_products() const { return (ComplexScalar<T> ? 2 : 1) * order() <= 210; }

  bool has_vectors() const { return std::toupper(compz) != 'N'; }

  /// With the requests to malloc answered so.
  Iteration& run(Answer answer = Answer::granted) {
    const MallocRequests memory(answer);
    routine_call::steqr(compz, order(), d.data(), e.data(), Z, work.data(), info);
    kept = memory.kept();
    bytes = memory.bytes();
    requests = memory.count();
    return *this;
  }

  /// values   of the matrix
  void expect_solution(const WideMatrix<T>& A, const std::vector<WideReal<T>>& values, const std::string& what) {
    EXPECT_EQ(info, 0) << what;
    EXPECT_TRUE(kept == 0 || !is_without_products()) << what;
    EXPECT_TRUE(is_ascending(d)) << what;
    EXPECT_TRUE(is_zero(e)) << what;
    EXPECT_LT(value_error(d, order(), values), threshold) << what;
    EXPECT_TRUE(d.guards_unchanged() && e.guards_unchanged() && Z.guards_unchanged() && work.guards_unchanged())
        << what;
    if (!has_vectors()) {
      EXPECT_TRUE(Z.unchanged()) << what;
      return;
    }
    EXPECT_LT(eigen_residual<T>(A, Z, d, order()), threshold) << what;
    EXPECT_LT(order() < 100 ? orthogonality(Z, order()) : full_orthogonality(Z), threshold) << what;
  }

  int kept = 0, requests = 0;
  std::size_t bytes = 0;
};

template <class T>
class TridiagonalQr : public ReportingTest {
 protected:
  using R = Real<T>;

  /// Binds the stubs: the loader's requests are not those of the routine.
  static void SetUpTestSuite() { Iteration<T>('I', random_tridiagonal<R>(30)).run(); }

  static void expect_solutions(const Tridiagonal<R>& matrix, const std::string& name) {
    const WideMatrix<T> A = wide_dense<T>(matrix);
    const auto values = wide_values(matrix);
    for (const char compz : {'N', 'i'}) {
      for (const Answer answer : answers) {
        Iteration<T> iteration(compz, matrix);
        iteration.run(answer).expect_solution(A, values, name + ' ' + compz + text(answer));
      }
    }
  }

  Random random{71};
};
TYPED_TEST_SUITE(TridiagonalQr, Precisions, PrecisionLetter);

TYPED_TEST(TridiagonalQr, SolvesDescribedMatrices) {
  using R = Real<TypeParam>;
  for (const Int n : {1, 2, 3, 5, 45}) {
    for (const auto& [name, matrix] : described_tridiagonals<R>(n)) {
      this->expect_solutions(matrix, std::string(name) + " of order " + std::to_string(n));
    }
  }
}

/// Batches grow from 4 sweeps to 100 behind order 210, or 105 for complex vectors.
TYPED_TEST(TridiagonalQr, SolvesAroundTheBatchSizes) {
  using R = Real<TypeParam>;
  constexpr Int last_small = ComplexScalar<TypeParam> ? 105 : 210;
  for (const Int n : {last_small, last_small + 1}) {
    const Tridiagonal<R> matrix = random_tridiagonal<R>(n);
    const WideMatrix<TypeParam> A = wide_dense<TypeParam>(matrix);
    const auto values = wide_values(matrix);
    for (const Answer answer : answers) {
      Iteration<TypeParam> iteration('I', matrix);
      iteration.run(answer).expect_solution(A, values, std::to_string(n) + text(answer));
    }
  }
}

/// Blocks of order two in front of, behind and between larger ones, worked off in both directions.
TYPED_TEST(TridiagonalQr, SolvesBlocksOfTwoInEveryPosition) {
  using R = Real<TypeParam>;
  const Int n = 8;
  for (Int at = 1; at < n; ++at) {
    for (const R growth : {R(1.5), R(1 / 1.5)}) {
      Tridiagonal<R> matrix = random_tridiagonal<R>(n);
      R size = 1;
      for (Int i = 0; i < n; ++i, size *= growth) matrix.d[std::size_t(i)] *= size;
      if (at > 1) matrix.e[std::size_t(at - 2)] = 0;
      if (at + 2 <= n) matrix.e[std::size_t(at)] = 0;
      this->expect_solutions(matrix, "block at " + std::to_string(at));
    }
  }
}

/// Elements beside the diagonal count up to half a rounding error of their neighbours' geometric mean, and, where that
/// is less, to the root of the least number.
TYPED_TEST(TridiagonalQr, CutsWhatIsNegligible) {
  using T = TypeParam;
  using R = Real<T>;
  const R eps = epsilon<R> / 2, root = std::sqrt(std::numeric_limits<R>::min());
  const auto is_cut = [](const Tridiagonal<R>& matrix) {
    Iteration<T> iteration('I', matrix);
    iteration.run();
    return iteration.Z(1, 1) == T(1) && iteration.Z(2, 1) == T(0);
  };
  EXPECT_TRUE(is_cut({{1, 1}, {eps}}));
  EXPECT_FALSE(is_cut({{1, 1}, {eps * R(1.01)}}));
  EXPECT_TRUE(is_cut({{4, 9}, {-6 * eps}}));
  EXPECT_FALSE(is_cut({{4, 9}, {6 * eps * R(1.01)}}));
  EXPECT_TRUE(is_cut({{0, 1}, {root * R(0.99)}}));
  EXPECT_FALSE(is_cut({{0, 1}, {root * R(1.01)}}));
}

/// A unitary matrix that is not real in complex precisions: the product of two reflectors.
template <Scalar T>
WideMatrix<T> random_unitary(Random& random, Int n) {
  WideMatrix<T> Q = WideMatrix<T>::Identity(n, n);
  for (int reflector = 0; reflector < 2; ++reflector) {
    const WideMatrix<T> v = wide(random_matrix<T>(random, n, 1, n));
    Q -= Q * v * v.adjoint() * (2 / v.squaredNorm());
  }
  return Q;
}

/// Q T Q^H
TYPED_TEST(TridiagonalQr, TurnsTheColumnsOfAGivenMatrix) {
  using T = TypeParam;
  const Int n = 40;
  const WideMatrix<T> Q = random_unitary<T>(this->random, n);
  for (const Answer answer : answers) {
    for (const char compz : {'V', 'v'}) {
      Iteration<T> iteration(compz, random_tridiagonal<Real<T>>(n));
      for (Int j = 1; j <= n; ++j) {
        for (Int i = 1; i <= n; ++i) iteration.Z(i, j) = T(Q(i - 1, j - 1));
      }
      const WideMatrix<T> given = wide(iteration.Z);
      const WideMatrix<T> A = product<T>(given, product<T>(wide_dense<T>(iteration.matrix), given.adjoint()));
      iteration.run(answer).expect_solution(A, wide_values(iteration.matrix), text(answer));
    }
  }
}

TYPED_TEST(TridiagonalQr, FindsTheSameWithoutATable) {
  using T = TypeParam;
  for (const Int n : {3, 30, 111, 230}) {
    Iteration<T> with('I', random_tridiagonal<Real<T>>(n)), without = with;
    with.run(Answer::granted);
    without.run(Answer::refused);
    EXPECT_TRUE(with.d.same_as(without.d));
    const WideMatrix<T> difference = wide(with.Z) - wide(without.Z);
    EXPECT_LT(double(difference.cwiseAbs().maxCoeff() / epsilon<T>), 10 * n) << n;
    EXPECT_TRUE(with.requests == 1 || !with.is_without_products());
  }
}

TYPED_TEST(TridiagonalQr, AsksForNoMemoryForOneElement) {
  using T = TypeParam;
  for (const char compz : {'I', 'V', 'N'}) {
    Iteration<T> iteration(compz, {{Real<T>(3)}, {}});
    iteration.Z(1, 1) = T(7);
    iteration.run();
    EXPECT_EQ(iteration.info, 0);
    EXPECT_EQ(iteration.requests, 0);
    EXPECT_EQ(iteration.d(1), Real<T>(3));
    EXPECT_EQ(iteration.Z(1, 1), compz == 'I' ? T(1) : T(7));
    Iteration<T> empty(compz, {});
    empty.run();
    EXPECT_EQ(empty.info, 0);
    EXPECT_EQ(empty.requests, 0);
  }
}

/// In every mode, and given back: nb sweeps of real rotations, and what applies them to n rows of real numbers.
TYPED_TEST(TridiagonalQr, AsksForATableOnce) {
  using T = TypeParam;
  constexpr std::size_t nb = 4, reals = ComplexScalar<T> ? 2 : 1;
  for (const char compz : {'I', 'N'}) {
    for (const Int n : {2, 5}) {
      Iteration<T> diagonal(
          compz, {std::vector<Real<T>>(std::size_t(n), Real<T>(2)), std::vector<Real<T>>(std::size_t(n - 1))});
      diagonal.run();
      EXPECT_EQ(diagonal.requests, 1);
      EXPECT_EQ(diagonal.bytes, nb * ((2 + reals) * std::size_t(n) + 4 * nb) * sizeof(Real<T>));
      EXPECT_EQ(diagonal.kept, 0);
    }
  }
}

/// The block with a NaN uses up all sweeps; what was found before stands, and what comes behind is as it was.
TYPED_TEST(TridiagonalQr, GivesUpWhereSweepsDoNotHelp) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 13;
  for (const char compz : {'I', 'N'}) {
    for (const Answer answer : answers) {
      Tridiagonal<R> matrix = random_tridiagonal<R>(n);
      matrix.e[4] = matrix.e[8] = 0;  // blocks of rows 1 to 5, 6 to 9 and 10 to 13
      matrix.d[6] = std::numeric_limits<R>::quiet_NaN();
      Iteration<T> iteration(compz, matrix);
      iteration.run(answer);
      EXPECT_EQ(iteration.info, 3 + 3);
      EXPECT_EQ(iteration.kept, 0);
      for (Int i = 1; i <= 4; ++i) EXPECT_EQ(iteration.e(i), R(0)) << i;
      for (Int i = 10; i <= n; ++i) EXPECT_EQ(iteration.d(i), matrix.d[std::size_t(i - 1)]) << i;
      for (Int i = 10; i < n; ++i) EXPECT_EQ(iteration.e(i), matrix.e[std::size_t(i - 1)]) << i;
      if (compz == 'N') continue;
      Tridiagonal<R> first{{matrix.d.begin(), matrix.d.begin() + 5}, {matrix.e.begin(), matrix.e.begin() + 4}};
      GuardedMatrix<T> vectors(5, 5, 5);
      GuardedVector<R> values(5);
      for (Int j = 1; j <= 5; ++j) {
        values(j) = iteration.d(j);
        for (Int i = 1; i <= 5; ++i) vectors(i, j) = iteration.Z(i, j);
      }
      EXPECT_LT(eigen_residual<T>(wide_dense<T>(first), vectors, values, 5), threshold);
      EXPECT_TRUE(std::isnan(std::real(iteration.Z(7, 7))));
      for (Int j = 10; j <= n; ++j) EXPECT_EQ(iteration.Z(j, j), T(1));
    }
  }
}

TYPED_TEST(TridiagonalQr, LeavesBlocksBehindAFailureAlone) {
  using T = TypeParam;
  using R = Real<T>;
  const R nan = std::numeric_limits<R>::quiet_NaN();
  Iteration<T> iteration('I', {{nan, 1, 2, 5, 6}, {1, 1, 0, 3}});
  iteration.run();
  EXPECT_EQ(iteration.info, 3);
  EXPECT_EQ(iteration.d(4), R(5));
  EXPECT_EQ(iteration.e(4), R(3));
}

template <Scalar T>
struct SmallCall {
  char compz = 'V';
  Int n = 3, ldz = 3;
  GuardedVector<Real<T>> d = guarded<Real<T>>({1, 2, 3}), e = guarded<Real<T>>({1, 1}), work{4};
  GuardedMatrix<T> z = identity<T>(3, 3);

  Int run() {
    Int info = 99;
    routine_call::steqr(compz, n, d.data(), e.data(), Matrix<T>{z.data(), ldz}, work.data(), info);
    return info;
  }
  testing::AssertionResult unchanged() const {
    return testing::AssertionResult(d.unchanged() && e.unchanged() && z.unchanged() && work.unchanged());
  }
};

TYPED_TEST(TridiagonalQr, ChecksItsArgumentsInOrder) {
  using Call = SmallCall<TypeParam>;
  const std::string name = reported_name<TypeParam>("STEQR");
  expect_argument_checks<Call>(
      name, {{1, [](Call& c) { c.compz = 'X'; }}, {2, [](Call& c) { c.n = -1; }}, {6, [](Call& c) { c.ldz = 2; }}});
  for (const auto& [compz, ldz, position] : {std::tuple{'N', 1, 0}, {'N', 0, 6}, {'I', 2, 6}, {'v', 2, 6}}) {
    Call call;
    call.compz = compz;
    call.ldz = ldz;
    expect_report(call, name, position);
  }
}

}  // namespace
}  // namespace nuv::test
