// Sweeps of the bidiagonal QR iteration, ?laq1 to ?laq4, and transposition, ?latsp.

#include <cmath>
#include <limits>

#include "routines.hpp"
#include "support/filled.hpp"
#include "support/norms.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"
#include "support/wide.hpp"
#include "svd/bidiagonal_matrices.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

struct Sweep {
  const char* name;
  bool downwards, has_shift;
};

constexpr Sweep sweeps[] = {{"laq1", true, true}, {"laq2", false, true}, {"laq3", true, false}, {"laq4", false, false}};

/// A matrix of order n and room for the rotations of one sweep: cosines and sines of both kinds, beside each other.
template <RealScalar R>
struct Swept {
  Int n;
  GuardedVector<R> d, e;
  GuardedMatrix<R> store;
  Int distance;  ///< from the first kind of rotations to the second, in pairs of columns

  Swept(const Bidiagonal<R>& matrix, Int distance)
      : n(matrix.order()),
        d(n),
        e(std::max(1, n - 1)),
        store(std::max(1, n - 1), 4 * std::abs(distance), n + 1),
        distance(distance) {
    for (Int i = 1; i <= n; ++i) d(i) = matrix.d[std::size_t(i) - 1];
    for (Int i = 1; i < n; ++i) e(i) = matrix.e[std::size_t(i) - 1];
    d.seal();
    e.seal();
    store.seal();
  }

  R* first_kind() { return Matrix<R>(store).at(1, distance > 0 ? 1 : 1 - 2 * distance); }
  R* second_kind() { return first_kind() + std::ptrdiff_t{2} * distance * store.ld(); }

  void run(const Sweep& sweep, R shift) {
    const Int count = sweep.downwards ? n - 1 : n;
    if (sweep.has_shift) {
      const auto laq = [&](auto... arguments) {
        sweep.downwards ? routine_call::laq1(arguments...) : routine_call::laq2(arguments...);
      };
      laq(count, d.data(), e.data(), shift, first_kind(), store.ld(), distance);
    } else {
      const auto laq = [&](auto... arguments) {
        sweep.downwards ? routine_call::laq3(arguments...) : routine_call::laq4(arguments...);
      };
      laq(count, d.data(), e.data(), first_kind(), store.ld(), distance);
    }
  }

  R* right_kind(const Sweep& sweep) { return sweep.downwards ? first_kind() : second_kind(); }
  R* left_kind(const Sweep& sweep) { return sweep.downwards ? second_kind() : first_kind(); }
};

template <RealScalar R>
WideMatrix<R> dense(Int n, const auto& d, const auto& e) {
  WideMatrix<R> B = WideMatrix<R>::Zero(n, n);
  for (Int i = 0; i < n; ++i) {
    B(i, i) = WideReal<R>(d[i]);
    if (i + 1 < n) B(i, i + 1) = WideReal<R>(e[i]);
  }
  return B;
}

template <class T>
class BidiagonalSweeps : public testing::Test {
 protected:
  Random random{81};

  Bidiagonal<T> matrix(Int n, double size = 1) {
    Bidiagonal<T> matrix{std::vector<T>(std::size_t(n)), std::vector<T>(std::size_t(n) - 1)};
    for (T& x : matrix.d) x = random.divisor<T>() * T(size);
    for (T& x : matrix.e) x = random.divisor<T>() * T(size);
    return matrix;
  }

  /// The rotations that are stored take the matrix from before to that from behind the sweep.
  static void expect_equivalence(const Sweep& sweep, const Bidiagonal<T>& matrix, T shift, Int distance) {
    const Int n = matrix.order();
    SCOPED_TRACE(testing::Message() << sweep.name << ", order " << n << ", shift " << shift);
    Swept<T> swept(matrix, distance);
    swept.run(sweep, shift);
    EXPECT_TRUE(swept.d.guards_unchanged() && swept.e.guards_unchanged() && swept.store.guards_unchanged());
    GuardedMatrix<T> U = identity<T>(n, n), VT = U;
    if (n > 1) {
      const char direct = sweep.downwards ? 'F' : 'B';
      const Int ld = swept.store.ld();
      routine_call::lasr('R', 'V', direct, n, n, swept.left_kind(sweep), swept.left_kind(sweep) + ld, U);
      routine_call::lasr('L', 'V', direct, n, n, swept.right_kind(sweep), swept.right_kind(sweep) + ld, VT);
    }
    const WideMatrix<T> before = dense<T>(n, matrix.d, matrix.e);
    const WideMatrix<T> behind = dense<T>(n, swept.d.data(), swept.e.data());
    const WideMatrix<T> rest = before - product<T>(wide(U), product<T>(behind, wide(VT)));
    EXPECT_LT(ratio(norm(rest), norm(before) * n * epsilon<T>), threshold);
  }
};
TYPED_TEST_SUITE(BidiagonalSweeps, RealPrecisions, PrecisionLetter);

TYPED_TEST(BidiagonalSweeps, TellTheRotationsThatTheyMake) {
  using R = TypeParam;
  for (const Sweep& sweep : sweeps) {
    for (const Int n : {2, 3, 4, 9, 30}) {
      for (const Int distance : {1, 3, -1, -2}) {
        for (const R shift : {R(0.01), R(0.7)}) {
          this->expect_equivalence(sweep, this->matrix(n), sweep.has_shift ? shift : R(0), distance);
        }
      }
    }
  }
}

/// Zeros beside the diagonal and on it, where rotations are the identity or exchange.
TYPED_TEST(BidiagonalSweeps, GoOverZeros) {
  using R = TypeParam;
  for (const Sweep& sweep : sweeps) {
    for (Int zero = 0; zero < 6; ++zero) {
      Bidiagonal<R> matrix = this->matrix(7);
      matrix.e[std::size_t(zero)] = 0;
      this->expect_equivalence(sweep, matrix, sweep.has_shift ? R(0.1) : R(0), 1);
      if (sweep.has_shift) continue;
      matrix = this->matrix(7);
      matrix.d[std::size_t(zero)] = 0;
      this->expect_equivalence(sweep, matrix, R(0), 1);
    }
  }
}

/// Squares of elements are not in range.
TYPED_TEST(BidiagonalSweeps, ScaleWhereSquaresWouldLeaveTheRange) {
  using R = TypeParam;
  for (const Sweep& sweep : sweeps) {
    for (const double size : {double(std::numeric_limits<R>::min()) * 4, double(std::numeric_limits<R>::max()) / 64}) {
      this->expect_equivalence(sweep, this->matrix(8, size), sweep.has_shift ? R(size * 0.1) : R(0), 1);
    }
  }
}

/// The first rotation of a sweep without shift, to the last bit: products with the reciprocal of the length, whose sign
/// is that of the larger element if this comes first.
TYPED_TEST(BidiagonalSweeps, NormaliseByTheReciprocalLength) {
  using R = TypeParam;
  for (const auto& [f, g] : {std::pair<R, R>{3, 5}, {-3, 5}, {3, -5}, {5, 3}, {-5, 3}, {5, -3}, {-5, -3}, {-7, 7}}) {
    const R length = std::sqrt(f * f + g * g), r = f < 0 && std::abs(f) > std::abs(g) ? negated(length) : length;
    for (const bool downwards : {true, false}) {
      Swept<R> swept(downwards ? Bidiagonal<R>{{f, R(2)}, {g}} : Bidiagonal<R>{{R(2), f}, {g}}, 1);
      swept.run({"", downwards, false}, R(0));
      const R *const cosine = swept.first_kind(), *const sine = cosine + swept.store.ld();
      EXPECT_EQ(*cosine, f * (1 / r)) << f << ", " << g;
      EXPECT_EQ(*sine, (downwards ? 1 : -1) * (g * (1 / r))) << f << ", " << g;
    }
  }
}

/// One of the two is far larger than what has a square.
TYPED_TEST(BidiagonalSweeps, ScaleWhereOneElementIsHuge) {
  using R = TypeParam;
  const R huge = std::numeric_limits<R>::max() / 4;
  for (const auto& [f, g, c, s] : {std::tuple<R, R, R, R>{1, huge, 0, 1}, {huge, 1, 1, 0}}) {
    Swept<R> swept({{f, R(0)}, {g}}, 1);
    swept.run({"", true, false}, R(0));
    EXPECT_NEAR(*swept.first_kind(), c, epsilon<R>) << f << ", " << g;
    EXPECT_NEAR(swept.first_kind()[swept.store.ld()], s, epsilon<R>) << f << ", " << g;
  }
}

/// A value for the shift appears at the end of one sweep, next to nothing beside it.
TYPED_TEST(BidiagonalSweeps, ConvergeFromTheValueOfTheShift) {
  using R = TypeParam;
  for (const Sweep& sweep : sweeps) {
    if (!sweep.has_shift) continue;
    const Bidiagonal<R> matrix = this->matrix(5);
    const auto values = singular_values(matrix);
    Swept<R> swept(matrix, 1);
    swept.run(sweep, R(values.back()));
    const R at_end = swept.e(sweep.downwards ? 4 : 1), value = swept.d(sweep.downwards ? 5 : 1);
    EXPECT_LT(std::abs(at_end), 1000 * epsilon<R>) << sweep.name;
    EXPECT_NEAR(std::abs(value), double(values.back()), 1000 * double(epsilon<R>)) << sweep.name;
  }
}

/// The first step of a sweep alone, on a matrix whose first element is negative.
TYPED_TEST(BidiagonalSweeps, TakeTheSignOfTheFirstElement) {
  using R = TypeParam;
  for (const Sweep& sweep : sweeps) {
    Bidiagonal<R> matrix = this->matrix(4);
    for (R& x : matrix.d) x = negated(std::abs(x));
    this->expect_equivalence(sweep, matrix, sweep.has_shift ? R(0.3) : R(0), 1);
  }
}

/// Without a step there is no rotation, and nothing behind the diagonal but the place of e(1).
TYPED_TEST(BidiagonalSweeps, LeaveOneElementAlone) {
  using R = TypeParam;
  for (const Sweep& sweep : sweeps) {
    Swept<R> swept({{R(3)}, {}}, 1);
    swept.run(sweep, R(1));
    EXPECT_EQ(swept.d(1), R(3)) << sweep.name;
    EXPECT_TRUE(swept.store.unchanged() && swept.e.guards_unchanged());
    if (sweep.downwards) {
      EXPECT_TRUE(swept.e.unchanged()) << sweep.name;
    } else {
      EXPECT_NEAR(swept.e(1), sweep.has_shift ? 2 * (R(1) / 3 + 1) : 0, 4 * epsilon<R>) << sweep.name;
    }
  }
}

template <class T>
class Transposition : public testing::Test {
 protected:
  Random random{82};
};
TYPED_TEST_SUITE(Transposition, Precisions, PrecisionLetter);

constexpr Int sizes[] = {0, 1, 2, 3, 4, 5, 8, 31, 79, 80, 81, 131, 160, 260};

TYPED_TEST(Transposition, InPlace) {
  using T = TypeParam;
  for (const Int n : sizes) {
    GuardedMatrix<T> A = random_matrix<T>(this->random, n, n, n + 3);
    routine_call::latsp('T', n, 0, A, Matrix<T>{nullptr, 1});
    EXPECT_TRUE(A.guards_unchanged());
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) ASSERT_TRUE(same_bits(A(i, j), A.sealed(j, i))) << n << ": " << i << ", " << j;
    }
  }
}

TYPED_TEST(Transposition, ExchangesAndCopies) {
  using T = TypeParam;
  for (const auto& [m, n] :
       {std::pair<Int, Int>{0, 3}, {3, 0}, {1, 1}, {4, 8}, {5, 3}, {3, 9}, {130, 7}, {6, 140}, {150, 133}}) {
    for (const char kind : {'E', 'C'}) {
      GuardedMatrix<T> A = random_matrix<T>(this->random, m, n, m + 1), B = random_matrix<T>(this->random, n, m, n + 2);
      routine_call::latsp(kind, m, n, A, B);
      EXPECT_TRUE(A.guards_unchanged() && B.guards_unchanged());
      EXPECT_TRUE(kind == 'E' || A.unchanged());
      for (Int j = 1; j <= n; ++j) {
        for (Int i = 1; i <= m; ++i) {
          ASSERT_TRUE(same_bits(B(j, i), A.sealed(i, j)));
          ASSERT_TRUE(kind == 'C' || same_bits(A(i, j), B.sealed(j, i)));
        }
      }
    }
  }
}

TYPED_TEST(Transposition, KnowsNoOtherKinds) {
  using T = TypeParam;
  for (const char kind : {'t', 'e', 'c', 'N', ' '}) {
    GuardedMatrix<T> A = random_matrix<T>(this->random, 6, 6, 6), B = random_matrix<T>(this->random, 6, 6, 6);
    routine_call::latsp(kind, 6, 6, A, B);
    EXPECT_TRUE(A.unchanged() && B.unchanged());
  }
}

}  // namespace
}  // namespace nuv::test
