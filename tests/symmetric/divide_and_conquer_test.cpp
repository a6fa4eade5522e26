// Eigenvalues and eigenvectors by divide and conquer: ?stedc.

#include <bit>
#include <cctype>
#include <limits>

#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/random.hpp"
#include "symmetric/eigen_checks.hpp"
#include "symmetric/tridiagonal_problem.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

/// Matrices up to this order go to ?steqr whole.
constexpr Int smlsiz = 25;

/// Least workspace, elements.
struct Room {
  Int work = 1, rwork = 1, iwork = 1;

  bool operator==(const Room&) const = default;
};

Room least_room(char compz, Int n, bool complex) {
  compz = char(std::toupper(compz));
  if (n < 2 || compz == 'N') return {};
  const Int lgn = Int(std::bit_width(unsigned(n - 1)));
  const Int factored = 1 + 3 * n + 2 * n * lgn + 3 * n * n;
  if (compz == 'V') return {complex ? n * n : factored, complex ? factored : 1, 6 + 6 * n + 5 * n * lgn};
  return {complex ? 1 : 1 + 4 * n + n * n, complex ? 1 + 4 * n + 2 * n * n : 1, 3 + 5 * n};
}

/// The arguments of ?stedc with no more workspace than it needs.
template <Scalar T>
struct Division {
  using R = Real<T>;
  static constexpr bool complex = ComplexScalar<T>;

  char compz;
  Tridiagonal<R> matrix;
  GuardedVector<R> d, e;
  GuardedMatrix<T> Z;
  Room room;
  GuardedVector<T> work;
  GuardedVector<R> rwork;
  GuardedVector<Int> iwork;
  Int info = 99;

  Division(char compz, const Tridiagonal<R>& matrix)
      : Division(compz, matrix, GuardedMatrix<T>(matrix.order(), matrix.order(), matrix.order() + 2)) {}

  Division(char compz, const Tridiagonal<R>& matrix, const GuardedMatrix<T>& Z)
      : compz(compz),
        matrix(matrix),
        d(guarded(matrix.d)),
        e(guarded(matrix.e)),
        Z(Z),
        room(least_room(compz, order(), complex)),
        work(room.work),
        rwork(room.rwork),
        iwork(room.iwork) {}

  Int order() const { return matrix.order(); }

  Division& run(Int lwork, Int lrwork, Int liwork) {
    if constexpr (complex) {
      routine_call::stedc(compz, order(), d.data(), e.data(), Z, work.data(), lwork, rwork.data(), lrwork, iwork.data(),
                          liwork, info);
    } else {
      routine_call::stedc(compz, order(), d.data(), e.data(), Z, work.data(), lwork, iwork.data(), liwork, info);
    }
    EXPECT_TRUE(d.guards_unchanged() && e.guards_unchanged() && Z.guards_unchanged() && work.guards_unchanged() &&
                rwork.guards_unchanged() && iwork.guards_unchanged());
    return *this;
  }
  Division& run() { return run(room.work, room.rwork, room.iwork); }

  Room answer() const { return {Int(std::real(work(1))), complex ? Int(rwork(1)) : 1, iwork(1)}; }

  /// That the eigenpairs are those of A, which has these values.
  void expect_solution(const WideMatrix<T>& A, const std::vector<WideReal<R>>& values) {
    EXPECT_EQ(info, 0);
    EXPECT_TRUE(is_ascending(d));
    EXPECT_LT(value_error(d, order(), values), threshold);
    if (std::toupper(compz) == 'N') {
      EXPECT_TRUE(Z.unchanged());
      return;
    }
    EXPECT_LT(eigen_residual<T>(A, Z, d, order()), threshold);
    EXPECT_LT(orthogonality(Z, order()), threshold);
  }
};

/// A unitary matrix that is not real in complex precisions: a reflector with a phase for each column.
template <Scalar T>
GuardedMatrix<T> random_unitary(Random& random, Int n) {
  const GuardedMatrix<T> v = random_matrix<T>(random, n, 2, n);
  GuardedMatrix<T> Q(n, n, n + 1);
  Real<T> squares = 0;
  for (Int i = 1; i <= n; ++i) squares += std::norm(v(i, 1));
  for (Int j = 1; j <= n; ++j) {
    const T phase = v(j, 2) / std::abs(v(j, 2));
    for (Int i = 1; i <= n; ++i) Q(i, j) = (T(i == j) - T(2 / squares) * v(i, 1) * conjugate(v(j, 1))) * phase;
  }
  Q.seal();
  return Q;
}

template <class T>
class DivideAndConquer : public ReportingTest {
 protected:
  using R = Real<T>;

  /// With every option letter, small or capital.
  void expect_solutions(const Tridiagonal<R>& matrix, const std::string& name) {
    const Int n = matrix.order();
    const WideMatrix<T> A = wide_dense<T>(matrix);
    const auto values = wide_values(matrix);
    for (const char letter : {'N', 'I'}) {
      SCOPED_TRACE(name + ' ' + letter);
      Division<T> division(random.in_some_case(letter), matrix);
      division.Z.seal();
      division.run().expect_solution(A, values);
    }
    SCOPED_TRACE(name + " V");
    const GuardedMatrix<T> Q = random_unitary<T>(random, n);
    const WideMatrix<T> wide_Q = wide(Q);
    Division<T> division(random.in_some_case('V'), matrix, Q);
    division.run().expect_solution(product<T>(product<T>(wide_Q, A), op<T>('C', wide_Q)), values);
  }

  Random random{1981};
};
TYPED_TEST_SUITE(DivideAndConquer, Precisions, PrecisionLetter);

TYPED_TEST(DivideAndConquer, SolvesDescribedMatrices) {
  using R = Real<TypeParam>;
  for (const Int n : {1, 2, 3, smlsiz, smlsiz + 1}) {
    for (const auto& [name, matrix] : described_tridiagonals<R>(n)) {
      this->expect_solutions(matrix, std::string(name) + " of order " + std::to_string(n));
    }
  }
}

TYPED_TEST(DivideAndConquer, SolvesDescribedMatricesInSeveralGenerations) {
  using R = Real<TypeParam>;
  for (const auto& [name, matrix] : described_tridiagonals<R>(53)) {
    this->expect_solutions(matrix, std::string(name) + " of order 53");
  }
}

/// Odd halves in several generations, and more roots than one register's worth of lanes.
TYPED_TEST(DivideAndConquer, SolvesMatricesOfAnyOrder) {
  using R = Real<TypeParam>;
  for (const Int n : {27, 51, 101, 153}) {
    this->expect_solutions(random_tridiagonal<R>(n), "random of order " + std::to_string(n));
  }
}

/// Parts between negligible elements: a single row, one for the iteration, one that is halved; in any order.
TYPED_TEST(DivideAndConquer, SolvesPartsOneByOne) {
  using R = Real<TypeParam>;
  for (const auto& orders : {std::vector<Int>{1, 30, 2, 25}, {26, 1, 1, 31}, {3, 40}, {40, 3}}) {
    Int n = 0;
    for (const Int order : orders) n += order;
    for (const R joint : {R(0), R(1e-30)}) {
      Tridiagonal<R> matrix = random_tridiagonal<R>(n);
      Int end = 0;
      std::string name = "parts";
      for (const Int order : orders) {
        end += order;
        name += ' ' + std::to_string(order);
        if (end < n) matrix.e[std::size_t(end - 1)] = joint;
      }
      this->expect_solutions(matrix, name);
    }
  }
}

/// Two parts of 30 and 40 rows with nothing between them: the eigenvalues of the first are those around ten, the others
/// lie around zero, `factor` from it.
template <RealScalar R>
Tridiagonal<R> parts_of_two_sizes(R factor) {
  Tridiagonal<R> matrix = random_tridiagonal<R>(70);
  matrix.e[29] = 0;
  for (std::size_t i = 0; i < 30; ++i) matrix.d[i] += 10;
  for (std::size_t i = 30; i < 70; ++i) matrix.d[i] *= factor;
  for (std::size_t i = 30; i < 69; ++i) matrix.e[i] *= factor;
  return matrix;
}

/// However small a part is beside another one, its eigenvalues are as good as if it stood alone.
TYPED_TEST(DivideAndConquer, MeasuresEachPartByItsOwnNorm) {
  using T = TypeParam;
  using R = Real<T>;
  const auto matrix = parts_of_two_sizes<R>(R(0x1p-30));
  const auto values =
      wide_values(Tridiagonal<R>{{matrix.d.begin() + 30, matrix.d.end()}, {matrix.e.begin() + 30, matrix.e.end()}});
  for (const char compz : {'I', 'V'}) {
    Division<T> division(compz, matrix, random_unitary<T>(this->random, 70));
    division.run();
    EXPECT_EQ(division.info, 0);
    EXPECT_LT(value_error(division.d, 40, values), threshold) << compz;
  }
}

/// No element beside the diagonal counts: what is left is to sort.
TYPED_TEST(DivideAndConquer, SortsADiagonal) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 40;
  Tridiagonal<R> matrix = random_tridiagonal<R>(n);
  for (R& e : matrix.e) e *= R(1e-30);
  const GuardedMatrix<T> Q = random_unitary<T>(this->random, n);
  Division<T> division('V', matrix, Q);
  division.run();
  EXPECT_EQ(division.info, 0);
  EXPECT_TRUE(is_ascending(division.d));
  for (Int j = 1; j <= n; ++j) {
    const auto at = std::find(matrix.d.begin(), matrix.d.end(), division.d(j));
    ASSERT_NE(at, matrix.d.end());
    const Int from = Int(at - matrix.d.begin()) + 1;
    for (Int i = 1; i <= n; ++i) EXPECT_EQ(division.Z(i, j), Q(i, from));
  }
}

/// Nothing is done where all is zero; only the identity is set.
TYPED_TEST(DivideAndConquer, LeavesTheZeroMatrixAlone) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 40;
  const Tridiagonal<R> zero{std::vector<R>(std::size_t(n)), std::vector<R>(std::size_t(n - 1))};
  const GuardedMatrix<T> any = random_matrix<T>(this->random, n, n, n);
  Division<T> of_any('V', zero, any), of_identity('I', zero);
  of_any.run();
  EXPECT_EQ(of_any.info, 0);
  EXPECT_TRUE(of_any.Z.unchanged() && of_any.d.unchanged() && of_any.e.unchanged());
  of_identity.run();
  EXPECT_EQ(of_identity.info, 0);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) EXPECT_EQ(of_identity.Z(i, j), T(i == j));
  }
}

TYPED_TEST(DivideAndConquer, SetsTheOnlyVectorOfOrderOne) {
  using T = TypeParam;
  using R = Real<T>;
  const Tridiagonal<R> matrix{{R(-3)}, {}};
  GuardedMatrix<T> Z(1, 1, 1);
  Z(1, 1) = T(5);
  Z.seal();
  for (const char compz : {'N', 'V', 'I'}) {
    Division<T> division(compz, matrix, Z);
    division.run();
    EXPECT_EQ(division.info, 0);
    EXPECT_EQ(division.d(1), R(-3));
    EXPECT_EQ(division.Z(1, 1), compz == 'I' ? T(1) : T(5));
  }
}

/// Up to an order of 25 the results are the bits of ?steqr, and beyond it they aren't.
TYPED_TEST(DivideAndConquer, LeavesSmallMatricesToTheIteration) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int n : {2, smlsiz, smlsiz + 1}) {
    for (const char compz : {'I', 'V'}) {
      const auto matrix = random_tridiagonal<R>(n);
      const GuardedMatrix<T> Q = random_unitary<T>(this->random, n);
      Division<T> division(compz, matrix, Q), iteration(compz, matrix, Q);
      division.run();
      GuardedVector<R> work(2 * n);
      routine_call::steqr(compz, n, iteration.d.data(), iteration.e.data(), iteration.Z, work.data(), iteration.info);
      EXPECT_EQ(bool(division.Z.same_as(iteration.Z)), n <= smlsiz) << n << compz;
      if (n <= smlsiz) {
        EXPECT_TRUE(division.d.same_as(iteration.d)) << n << compz;
      }
    }
  }
}

TYPED_TEST(DivideAndConquer, AnswersWhatItNeeds) {
  using T = TypeParam;
  for (const Int n : {0, 1, 2, 3, 4, 5, 25, 32, 33, 64, 65, 200}) {
    for (const char compz : {'N', 'V', 'I'}) {
      const auto matrix = n > 0 ? random_tridiagonal<Real<T>>(n) : Tridiagonal<Real<T>>();
      const GuardedMatrix<T> Z = random_matrix<T>(this->random, n, n, std::max(1, n));
      for (const int asks : {1, 2, 4, 7}) {
        if (asks == 2 && RealScalar<T>) continue;
        SCOPED_TRACE(testing::Message() << n << compz << ", asks " << asks);
        Division<T> division(compz, matrix, Z);
        division.run(asks & 1 ? -1 : 0, asks & 2 ? -1 : 0, asks & 4 ? -1 : 0);
        EXPECT_EQ(division.info, 0);
        EXPECT_EQ(division.answer(), division.room);
        EXPECT_TRUE(division.d.unchanged() && division.e.unchanged() && division.Z.unchanged());
      }
      // The same stands there after the work.
      Division<T> division(compz, matrix, Z);
      division.run();
      EXPECT_EQ(division.info, 0) << n << compz;
      EXPECT_EQ(division.answer(), division.room) << n << compz;
    }
  }
}

/// Orders for which no length is enough: the integers are then as many as can be asked for.
TYPED_TEST(DivideAndConquer, HasNoRoomForTheLargestOrders) {
  using T = TypeParam;
  constexpr Int most = std::numeric_limits<Int>::max();
  for (const Int n : {1'000'000'000, most}) {
    for (const Int length : {Int{-1}, most}) {
      Division<T> division('V', Tridiagonal<Real<T>>());
      const Matrix<T> Z{division.Z.data(), n};
      if constexpr (ComplexScalar<T>) {
        routine_call::stedc('V', n, division.d.data(), division.e.data(), Z, division.work.data(), length,
                            division.rwork.data(), length, division.iwork.data(), length, division.info);
      } else {
        routine_call::stedc('V', n, division.d.data(), division.e.data(), Z, division.work.data(), length,
                            division.iwork.data(), length, division.info);
      }
      EXPECT_EQ(division.info, length == -1 ? 0 : -8);
      EXPECT_EQ(take_error_reports().size(), length == -1 ? 0u : 1u);
      if (length == -1) {
        EXPECT_EQ(division.iwork(1), most);
        EXPECT_GT(std::real(division.work(1)), 9e17);
      }
    }
  }
}

TYPED_TEST(DivideAndConquer, ChecksItsArguments) {
  using T = TypeParam;
  using R = Real<T>;
  struct Checked {
    Division<T> division{'V', random_tridiagonal<R>(30), random_matrix<T>(random(), 30, 30, 30)};
    Int n = 30, ldz = 30, lwork, lrwork, liwork;

    static Random& random() {
      static Random random(7);
      return random;
    }
    Checked() : lwork(division.room.work), lrwork(division.room.rwork), liwork(division.room.iwork) {}
    Int run() {
      const Matrix<T> Z{division.Z.data(), ldz};
      if constexpr (ComplexScalar<T>) {
        routine_call::stedc(division.compz, n, division.d.data(), division.e.data(), Z, division.work.data(), lwork,
                            division.rwork.data(), lrwork, division.iwork.data(), liwork, division.info);
      } else {
        routine_call::stedc(division.compz, n, division.d.data(), division.e.data(), Z, division.work.data(), lwork,
                            division.iwork.data(), liwork, division.info);
      }
      return division.info;
    }
    bool unchanged() const {
      return division.d.unchanged() && division.e.unchanged() && division.Z.unchanged() && division.work.unchanged() &&
             division.rwork.unchanged() && division.iwork.unchanged();
    }
  };
  const std::string name = reported_name<T>("STEDC");
  using Spoilers = std::initializer_list<Spoiler<Checked>>;
  const Spoilers shared = {{1, [](Checked& c) { c.division.compz = 'X'; }},
                           {2, [](Checked& c) { c.n = -1; }},
                           {6, [](Checked& c) { c.ldz = c.n > 0 ? 29 : 0; }}};
  expect_argument_checks<Checked>(name, shared);
  if constexpr (ComplexScalar<T>) {
    expect_argument_checks<Checked>(name, {{8, [](Checked& c) { c.lwork -= 1; }},
                                           {10, [](Checked& c) { c.lrwork -= 1; }},
                                           {12, [](Checked& c) { c.liwork -= 1; }}});
  } else {
    expect_argument_checks<Checked>(name,
                                    {{8, [](Checked& c) { c.lwork -= 1; }}, {10, [](Checked& c) { c.liwork -= 1; }}});
  }
  for (const char compz : {'I', 'V'}) {
    Checked too_little;
    too_little.division.compz = compz;
    too_little.lwork = too_little.lrwork = too_little.liwork = 0;
    expect_report(too_little, name, 8);
  }
  Checked narrow;
  narrow.division.compz = 'N';
  narrow.ldz = 0;
  expect_report(narrow, name, 6);
  narrow.ldz = 1;
  expect_report(narrow, name, 0);
}

/// The part in which it is met: its first and last row, also where others come before it.
TYPED_TEST(DivideAndConquer, TellsWhereItFailed) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 70;
  for (const char compz : {'I', 'V'}) {
    for (const bool beside : {false, true}) {
      const auto fail = [&](Int cut, Int at) {
        Tridiagonal<R> matrix = random_tridiagonal<R>(n);
        if (cut > 0) matrix.e[std::size_t(cut - 1)] = 0;
        (beside ? matrix.e : matrix.d)[std::size_t(at - 1)] = std::numeric_limits<R>::quiet_NaN();
        Division<T> division(compz, matrix, random_unitary<T>(this->random, n));
        return division.run().info;
      };
      const auto rows = [&](Int first, Int last) { return first * (n + 1) + last; };
      SCOPED_TRACE(testing::Message() << compz << (beside ? " beside the diagonal" : ""));
      // A small part behind a large one, and before it.
      EXPECT_EQ(fail(50, 60), rows(51, 70));
      EXPECT_EQ(fail(20, 10), rows(1, 20));
      // A leaf of a part that begins at row 11: of 30 rows, or of 15 where all leaves are small.
      const bool small_leaves = compz == 'I';
      EXPECT_EQ(fail(10, 13), small_leaves ? rows(11, 25) : rows(11, 40));
      EXPECT_EQ(fail(10, 68), small_leaves ? rows(56, 70) : rows(41, 70));
    }
  }
}

/// What was found before stays where it was found: there is no order yet.
TYPED_TEST(DivideAndConquer, LeavesWhatItHasWhereItFailed) {
  using T = TypeParam;
  using R = Real<T>;
  for (const char compz : {'I', 'V'}) {
    auto matrix = parts_of_two_sizes<R>(R(1));
    matrix.d[50] = std::numeric_limits<R>::quiet_NaN();
    Division<T> division(compz, matrix, random_unitary<T>(this->random, 70));
    division.run();
    EXPECT_GT(division.info, 0);
    EXPECT_TRUE(std::is_sorted(division.d.data(), division.d.data() + 30)) << compz;
    EXPECT_GT(division.d(1), R(5)) << compz;
  }
}

TEST(DivideAndConquerInDouble, SolvesLargeMatrices) {
  for (const auto& matrix : {random_tridiagonal<double>(600), glued_wilkinson(301, 1e-6)}) {
    Division<double> division('I', matrix);
    division.run().expect_solution(wide_dense<double>(matrix), wide_values(matrix));
  }
}

}  // namespace
}  // namespace nuv::test
