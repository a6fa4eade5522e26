// Random orthogonal matrices and rotations of stored rows: ?laror, ?large, ?larot.

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "generators/spectrum_cases.hpp"
#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/options.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

template <class T>
class RandomOrthogonal : public ReportingTest {
 protected:
  Random random{91};
};
TYPED_TEST_SUITE(RandomOrthogonal, Precisions, PrecisionLetter);

/// Work of laror: twice the order of U, and a row or column of A.
Int work_length(char side, Int m, Int n) {
  return is_one_of(side, 'L') ? 2 * m + n : is_one_of(side, 'R') ? 2 * n + m : 3 * n;
}

template <Scalar T>
struct Outcome {
  GuardedMatrix<T> A;
  Seed seed;
};

template <Scalar T>
Outcome<T> laror(char side, char init, GuardedMatrix<T> A, Seed seed = first_seed) {
  Int info = 99;
  GuardedVector<T> x(work_length(side, A.rows(), A.columns()));
  x.seal();
  routine_call::laror(side, init, A.rows(), A.columns(), Matrix<T>(A), seed.data(), x.data(), info);
  EXPECT_EQ(info, 0);
  EXPECT_TRUE(A.guards_unchanged());
  EXPECT_TRUE(x.guards_unchanged());
  return {A, seed};
}

/// U itself, from the identity.
template <Scalar T>
WideMatrix<T> random_u(Int order, Seed seed = first_seed) {
  return wide(laror<T>('L', 'I', GuardedMatrix<T>(order, order, order + 2), seed).A);
}

/// ||X - Y|| / (||Y|| n eps) in the norm of Frobenius.
template <Scalar T>
double difference(const WideMatrix<T>& X, const WideMatrix<T>& Y) {
  const auto n = std::max<Eigen::Index>({1, X.rows(), X.cols()});
  return double((X - Y).norm() / (Y.norm() * WideReal<T>(double(n) * epsilon<T>)));
}

template <Scalar T>
WideMatrix<T> identity(Int m, Int n) {
  return WideMatrix<T>::Identity(m, n);
}

const Int orders[] = {1, 2, 3, 4, 7, 16, 33, 100};

TYPED_TEST(RandomOrthogonal, IsOrthogonalFromEitherSide) {
  using T = TypeParam;
  for (const Int n : orders) {
    const WideMatrix<T> U = random_u<T>(n);
    EXPECT_LE((difference<T>(product<T>(U.adjoint(), U), identity<T>(n, n))), threshold) << n;
    for (const char init : {'I', 'i'}) {
      for (const char side : {'R', 'r'}) {
        // The same numbers give the conjugate transpose on the other side.
        const WideMatrix<T> V = wide(laror<T>(side, init, GuardedMatrix<T>(n, n, n)).A);
        EXPECT_LE((difference<T>(V, U.adjoint())), threshold) << n;
      }
    }
  }
}

/// U := H U with the reflection that turns a vector in the last elements to its first axis. Gives the number that it is
/// turned to, of magnitude 1.
template <Scalar T>
Wide<T> reflect(WideMatrix<T>& U, const std::vector<T>& vector) {
  const auto first = U.rows() - Eigen::Index(vector.size());
  WideMatrix<T> v = WideMatrix<T>::Zero(U.rows(), 1);
  for (std::size_t k = 0; k < vector.size(); ++k) v(first + Eigen::Index(k), 0) = wide(vector[k]);
  const Wide<T> head = v(first, 0), direction = head / std::abs(head);
  v(first, 0) += direction * v.norm();
  const WideMatrix<T> row = product<T>(v.adjoint(), U);
  U -= WideReal<T>(2) / v.squaredNorm() * product<T>(v, row);
  return Wide<T>(0) - direction;
}

TYPED_TEST(RandomOrthogonal, IsAProductOfReflectionsThatTurnsTheirVectorsToPositiveNumbers) {
  using T = TypeParam;
  for (const Int n : {2, 3, 4, 7, 16, 33}) {
    Seed seed = first_seed;
    const auto normal = [&] { return routine_call::larnd<T>(3, seed.data()); };
    WideMatrix<T> U = identity<T>(n, n);
    std::vector<Wide<T>> heads;
    for (Int k = 2; k <= n; ++k) {
      std::vector<T> vector(static_cast<std::size_t>(k));
      for (T& x : vector) x = normal();
      heads.push_back(reflect(U, vector));
    }
    const Wide<T> last = wide(normal());
    heads.insert(heads.begin(), last / std::abs(last));
    for (Int i = 0; i < n; ++i) {
      const Wide<T> head = heads[std::size_t(n - 1 - i)];
      for (Int j = 0; j < n; ++j) U(i, j) /= head;
    }
    EXPECT_LE((difference<T>(random_u<T>(n), U)), threshold) << n;
  }
}

TYPED_TEST(RandomOrthogonal, MultipliesAGivenMatrix) {
  using T = TypeParam;
  for (const Int m : orders) {
    const WideMatrix<T> U = random_u<T>(m);
    for (const Int n : {1, 2, 5, 40}) {
      const WideMatrix<T> V = random_u<T>(n).adjoint();
      const GuardedMatrix<T> A = random_matrix<T>(this->random, m, n, m + m % 3);
      for (const char init : {'N', 'n', 'x'}) {
        const WideMatrix<T> left = wide(laror<T>('L', init, A).A), right = wide(laror<T>('r', init, A).A);
        EXPECT_LE((difference<T>(left, product<T>(U, wide(A)))), threshold) << m << " by " << n;
        EXPECT_LE((difference<T>(right, product<T>(wide(A), V))), threshold) << m << " by " << n;
      }
      // From the identity, which need not be square, come the first columns or rows of U.
      const WideMatrix<T> columns = wide(laror<T>('l', 'I', A).A);
      EXPECT_LE((difference<T>(columns, product<T>(U, identity<T>(m, n)))), threshold) << m << " by " << n;
    }
    const GuardedMatrix<T> A = random_matrix<T>(this->random, m, m, m + 1);
    const WideMatrix<T> similar = product<T>(product<T>(U, wide(A)), U.adjoint());
    for (const char side : {'C', 'c'}) {
      EXPECT_LE((difference<T>(wide(laror<T>(side, 'N', A).A), similar)), threshold) << m;
    }
  }
}

/// The state after a number of normal numbers, two draws each.
template <Scalar T>
Seed after_normals(Seed seed, Int count) {
  std::vector<T> x(std::size_t(count) + 1);
  if (count > 0) routine_call::larnv(3, seed.data(), count, x.data());
  return seed;
}

TYPED_TEST(RandomOrthogonal, DrawsAVectorForEachReflectionAndALastSign) {
  using T = TypeParam;
  for (const Int n : {1, 2, 3, 10}) {
    const GuardedMatrix<T> A = random_matrix<T>(this->random, n, n, n);
    for (const char side : {'L', 'R', 'C'}) {
      EXPECT_EQ((laror<T>(side, 'N', A).seed), after_normals<T>(first_seed, n * (n + 1) / 2)) << n << side;
    }
  }
}

TYPED_TEST(RandomOrthogonal, IsDistributedByHaarsMeasure) {
  using T = TypeParam;
  // Under it elements have mean 0 and squares 1/n, the trace has mean 0 and square 1, and powers of it likewise: the
  // trace of U^2 has mean 1 for orthogonal and 0 for unitary matrices (P. Diaconis, M. Shahshahani, On the eigenvalues
  // of random matrices, J. Appl. Prob. 31A, 1994).
  constexpr Int n = 4;
  constexpr int draws = 20000;
  Seed seed = first_seed;
  GuardedVector<T> x(3 * n);
  WideMatrix<T> mean = WideMatrix<T>::Zero(n, n);
  WideMatrix<Real<T>> square = WideMatrix<Real<T>>::Zero(n, n);
  WideReal<T> trace_square = 0;
  Wide<T> trace = 0, square_trace = 0;
  for (int k = 0; k < draws; ++k) {
    GuardedMatrix<T> A(n, n, n);
    Int info = 99;
    routine_call::laror('L', 'I', n, n, Matrix<T>(A), seed.data(), x.data(), info);
    ASSERT_EQ(info, 0);
    const WideMatrix<T> U = wide(A);
    mean += U;
    square += U.cwiseAbs2();
    trace += U.trace();
    trace_square += std::norm(U.trace());
    square_trace += product<T>(U, U).trace();
  }
  // Standard deviations of these means: those of one draw are at most 1/2 for elements and their squares, 1 for the
  // trace, 2 for its square and 2 for the trace of the square; four and a half of them, for 40 quantities.
  const double step = 4.5 / std::sqrt(double(draws));
  for (Int i = 0; i < n; ++i) {
    for (Int j = 0; j < n; ++j) {
      EXPECT_LE(double(std::abs(mean(i, j))) / draws, 0.5 * step) << i << ", " << j;
      EXPECT_NEAR(double(square(i, j)) / draws, 1.0 / n, 0.5 * step) << i << ", " << j;
    }
  }
  EXPECT_LE(double(std::abs(trace)) / draws, step);
  EXPECT_NEAR(double(trace_square) / draws, 1, 2 * step);
  EXPECT_NEAR(double(std::real(square_trace)) / draws, ComplexScalar<T> ? 0 : 1, 2 * step);
}

TYPED_TEST(RandomOrthogonal, OfNothingDrawsNothing) {
  using T = TypeParam;
  for (const char side : {'L', 'R'}) {
    for (const auto& [m, n] : {std::pair(0, 3), std::pair(3, 0), std::pair(0, 0)}) {
      EXPECT_EQ((laror<T>(side, 'I', GuardedMatrix<T>(m, n, m)).seed), first_seed);
    }
  }
  EXPECT_EQ((laror<T>('C', 'N', GuardedMatrix<T>(0, 0, 0)).seed), first_seed);
}

template <Scalar T>
struct LarorCall {
  Random random{1};
  char side = 'C', init = 'N';
  Int m = 3, n = 3, lda = 4;
  GuardedMatrix<T> A = random_matrix<T>(random, 3, 3, 4);
  Seed seed = first_seed;
  T x[9] = {};

  Int run() {
    Int info = 99;
    routine_call::laror(side, init, m, n, Matrix<T>{A.data(), lda}, seed.data(), x, info);
    return info;
  }
  bool unchanged() const { return A.unchanged() && seed == first_seed; }
};

template <Scalar T>
struct OneSidedLarorCall : LarorCall<T> {
  OneSidedLarorCall() { this->side = 'L'; }
};

TYPED_TEST(RandomOrthogonal, ChecksItsArguments) {
  using T = TypeParam;
  using OneSided = OneSidedLarorCall<T>;
  expect_argument_checks<OneSided>(reported_name<T>("LAROR"), {{1, [](OneSided& call) { call.side = 'T'; }},
                                                               {3, [](OneSided& call) { call.m = -1; }},
                                                               {4, [](OneSided& call) { call.n = -1; }},
                                                               {6, [](OneSided& call) { call.lda = 2; }}});
  using Call = LarorCall<T>;
  expect_argument_checks<Call>(reported_name<T>("LAROR"), {{1, [](Call& call) { call.side = 'T'; }},
                                                           {3, [](Call& call) { call.m = -1; }},
                                                           {6, [](Call& call) { call.lda = 2; }}});
  // A matrix that is not square can't be multiplied on both sides; one side does not mind.
  Call oblong;
  oblong.m = 2;
  expect_report(oblong, reported_name<T>("LAROR"), 3);
  for (const char side : {'L', 'R'}) {
    Call negative;
    negative.side = side;
    negative.n = -1;
    expect_report(negative, reported_name<T>("LAROR"), 4);
    Call good;
    good.side = side;
    good.m = 2;
    expect_report(good, reported_name<T>("LAROR"), 0);
  }
}

// ------------------------------------------------------------------------------------------------------------- ?large

/// The product of such reflections for i = order ... 1, in the last order - i + 1 elements, the last one first.
template <Scalar T>
WideMatrix<T> product_of_reflections(Int order, Seed& seed) {
  WideMatrix<T> U = identity<T>(order, order);
  for (Int i = order; i >= 1; --i) {
    std::vector<T> normals(std::size_t(order - i + 1));
    routine_call::larnv(3, seed.data(), order - i + 1, normals.data());
    reflect(U, normals);
  }
  return U;
}

TYPED_TEST(RandomOrthogonal, SimilarityIsThatOfRandomReflections) {
  using T = TypeParam;
  for (const Int n : orders) {
    for (const Int ld : {n, n + 3}) {
      GuardedMatrix<T> A = random_matrix<T>(this->random, n, n, ld);
      const WideMatrix<T> original = wide(A);
      GuardedVector<T> work(2 * n);
      work.seal();
      Seed seed = first_seed, expected_seed = first_seed;
      Int info = 99;
      routine_call::large(n, Matrix<T>(A), seed.data(), work.data(), info);
      EXPECT_EQ(info, 0);
      const WideMatrix<T> U = product_of_reflections<T>(n, expected_seed);
      EXPECT_LE((difference<T>(wide(A), product<T>(product<T>(U, original), U.adjoint()))), threshold) << n;
      EXPECT_EQ(seed, expected_seed);
      EXPECT_TRUE(A.guards_unchanged());
      EXPECT_TRUE(work.guards_unchanged());
    }
  }
}

TYPED_TEST(RandomOrthogonal, SimilarityKeepsTheIdentity) {
  using T = TypeParam;
  for (const Int n : orders) {
    GuardedMatrix<T> A(n, n, n);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) A(i, j) = T(i == j ? 1 : 0);
    }
    std::vector<T> work(2 * std::size_t(n));
    Seed seed = first_seed;
    Int info = 99;
    routine_call::large(n, Matrix<T>(A), seed.data(), work.data(), info);
    EXPECT_EQ(info, 0);
    EXPECT_LE((difference<T>(wide(A), identity<T>(n, n))), threshold) << n;
  }
}

template <Scalar T>
struct LargeCall {
  Random random{1};
  Int n = 3, lda = 4;
  GuardedMatrix<T> A = random_matrix<T>(random, 3, 3, 4);
  Seed seed = first_seed;
  T work[6] = {};

  Int run() {
    Int info = 99;
    routine_call::large(n, Matrix<T>{A.data(), lda}, seed.data(), work, info);
    return info;
  }
  bool unchanged() const { return A.unchanged() && seed == first_seed; }
};

TYPED_TEST(RandomOrthogonal, SimilarityChecksItsArguments) {
  using T = TypeParam;
  using Call = LargeCall<T>;
  expect_argument_checks<Call>(reported_name<T>("LARGE"),
                               {{1, [](Call& call) { call.n = -1; }}, {3, [](Call& call) { call.lda = 2; }}});
  Call nothing;
  nothing.n = 0;
  expect_report(nothing, reported_name<T>("LARGE"), 0);
  EXPECT_TRUE(nothing.unchanged());
  nothing.lda = 0;
  expect_report(nothing, reported_name<T>("LARGE"), 3);
}

// ------------------------------------------------------------------------------------------------------------- ?larot

/// Two rows, or two columns, of nl elements in an array, and the elements that are kept outside it.
template <Scalar T>
struct Lines {
  bool by_rows, left, right;
  Int nl;
  GuardedMatrix<T> A;
  T xleft, xright;

  Lines(Random& random, bool by_rows_, bool left_, bool right_, Int nl_, Int extra)
      : by_rows(by_rows_),
        left(left_),
        right(right_),
        nl(nl_),
        A(by_rows ? 2 : nl, by_rows ? nl : 2, (by_rows ? 2 : std::max(1, nl)) + extra),
        xleft(random.scalar<T>()),
        xright(random.scalar<T>()) {
    // What stands outside the array has no place in it, but for its guards.
    for (Int j = 1; j <= nl; ++j) {
      if (!(right && j == nl)) first(j) = random.scalar<T>();
      if (!(left && j == 1)) second(j) = random.scalar<T>();
    }
    A.seal();
  }

  T& first(Int j) { return right && j == nl ? xright : by_rows ? A(1, j) : A(j, 1); }
  T& second(Int j) { return left && j == 1 ? xleft : by_rows ? A(2, j) : A(j, 2); }
};

TYPED_TEST(RandomOrthogonal, RotatesRowsAndColumnsWithTheirEnds) {
  using T = TypeParam;
  const double angle = 0.7;
  T c(static_cast<Real<T>>(std::cos(angle))), s(static_cast<Real<T>>(std::sin(angle)));
  if constexpr (ComplexScalar<T>) {
    c *= std::polar(Real<T>(1), Real<T>(0.3));
    s *= std::polar(Real<T>(1), Real<T>(-1.1));
  }
  for (const bool by_rows : {false, true}) {
    for (const bool left : {false, true}) {
      for (const bool right : {false, true}) {
        for (Int nl = Int(left) + Int(right); nl <= 9; ++nl) {
          if (nl == 1 && left && right) continue;
          SCOPED_TRACE(testing::Message() << by_rows << left << right << ", " << nl);
          Lines<T> lines(this->random, by_rows, left, right, nl, nl % 3);
          Lines<T> before = lines;
          routine_call::larot(to_logical(by_rows), to_logical(left), to_logical(right), nl, c, s, Matrix<T>(lines.A),
                              lines.xleft, lines.xright);
          for (Int j = 1; j <= nl; ++j) {
            const Wide<T> x = wide(before.first(j)), y = wide(before.second(j));
            const Wide<T> first = wide(c) * x + wide(s) * y;
            const Wide<T> second = wide(conjugate(c)) * y - wide(conjugate(s)) * x;
            EXPECT_LE(double(std::abs(wide(lines.first(j)) - first)), 8 * epsilon<T>) << j;
            EXPECT_LE(double(std::abs(wide(lines.second(j)) - second)), 8 * epsilon<T>) << j;
          }
          // Elements outside the array leave their places in it alone.
          EXPECT_TRUE(lines.A.unchanged_except([&](Int i, Int j) {
            const Int line = by_rows ? i : j, place = by_rows ? j : i;
            return line == 1 ? !(right && place == nl) : !(left && place == 1);
          }));
          if (!left) {
            EXPECT_EQ(lines.xleft, before.xleft);
          }
          if (!right) {
            EXPECT_EQ(lines.xright, before.xright);
          }
        }
      }
    }
  }
}

TYPED_TEST(RandomOrthogonal, WalksAlongTheDiagonalsOfABand) {
  using T = TypeParam;
  // In band storage a step along a row is one of lda - 1.
  constexpr Int ld = 5, columns = 6;
  GuardedMatrix<T> A = random_matrix<T>(this->random, ld, columns, ld);
  const GuardedMatrix<T> before = A;
  T unused(7);
  routine_call::larot(to_logical(true), to_logical(false), to_logical(false), 4, T(0), T(1),
                      Matrix<T>{&A(4, 1), ld - 1}, unused, unused);
  for (Int j = 1; j <= 4; ++j) {
    EXPECT_EQ(A(5 - j, j), before(6 - j, j));
    EXPECT_EQ(A(6 - j, j), T(0) - before(5 - j, j));
  }
  EXPECT_TRUE(A.unchanged_except([](Int i, Int j) { return j <= 4 && (i == 5 - j || i == 6 - j); }));
  EXPECT_EQ(unused, T(7));
}

TYPED_TEST(RandomOrthogonal, RotationTestsTheLowestBitOfALogical) {
  using T = TypeParam;
  const GuardedMatrix<T> A = random_matrix<T>(this->random, 5, 5, 5);
  const auto rotated = [&](Logical by_rows, Logical left, Logical right) {
    GuardedMatrix<T> B = A;
    T xleft(7), xright(9);
    routine_call::larot(by_rows, left, right, 4, T(0), T(1), Matrix<T>(B), xleft, xright);
    std::vector<T> numbers(B.data(), B.data() + 25);
    numbers.insert(numbers.end(), {xleft, xright});
    return numbers;
  };
  for (const int k : {0, 1, 2, 3, 4, 5, 6, 7}) {
    const bool by_rows = k & 1, left = k & 2, right = k & 4;
    const auto odd_or_even = [](bool value) -> Logical { return value ? 1 : 2; };
    EXPECT_EQ(rotated(odd_or_even(by_rows), odd_or_even(left), odd_or_even(right)),
              rotated(to_logical(by_rows), to_logical(left), to_logical(right)))
        << k;
  }
}

template <Scalar T>
struct LarotCall {
  Random random{1};
  bool rows = false, left = true, right = true;
  Int nl = 5, lda = 5;
  GuardedMatrix<T> A = random_matrix<T>(random, 5, 5, 5);
  T xleft{1}, xright{2};

  void run() {
    routine_call::larot(to_logical(rows), to_logical(left), to_logical(right), nl, T(0), T(1), Matrix<T>{A.data(), lda},
                        xleft, xright);
  }
  bool unchanged() const { return A.unchanged() && xleft == T(1) && xright == T(2); }
};

TYPED_TEST(RandomOrthogonal, RotationChecksItsArguments) {
  using T = TypeParam;
  using Call = LarotCall<T>;
  expect_argument_checks<Call>(reported_name<T>("LAROT"),
                               {{4, [](Call& call) { call.nl = 1; }}, {8, [](Call& call) { call.lda = 0; }}});
  const struct {
    bool rows, left, right;
    Int nl, lda;
    int position;
  } cases[] = {
      {false, true, true, 1, 5, 4},   {false, true, true, 2, 5, 0},   {true, false, true, 0, 5, 4},
      {true, true, false, 1, 5, 0},   {true, false, false, 0, 5, 0},  {true, false, false, -1, 5, 4},
      {false, false, false, 3, 2, 8}, {false, false, false, 3, 3, 0}, {false, true, false, 3, 1, 8},
      {false, true, false, 3, 2, 0},  {false, true, true, 4, 1, 8},   {false, true, true, 4, 2, 0},
      {true, false, false, 5, 1, 0},  {true, true, true, 3, -1, 8},   {true, false, false, 0, 0, 8},
  };
  for (const auto& [rows, left, right, nl, lda, position] : cases) {
    SCOPED_TRACE(testing::Message() << rows << left << right << ", " << nl << ", " << lda);
    Call call;
    call.rows = rows;
    call.left = left;
    call.right = right;
    call.nl = nl;
    call.lda = lda;
    expect_report(call, reported_name<T>("LAROT"), position);
  }
}

}  // namespace
}  // namespace nuv::test
