// One implicit sweep over a tridiagonal matrix, ?laq5 and ?laq6.

#include <cmath>
#include <limits>

#include "routines.hpp"
#include "support/real_precisions.hpp"
#include "symmetric/eigen_checks.hpp"
#include "symmetric/tridiagonal_problem.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

enum class Direction { qr, ql };
constexpr Direction directions[] = {Direction::qr, Direction::ql};

/// A sweep over a matrix of order n + 1, with room for rotations in the columns of a table.
template <RealScalar R>
struct Sweep {
  Direction direction;
  Tridiagonal<R> before;
  GuardedVector<R> d, e;
  GuardedMatrix<R> rotations;

  Sweep(Direction direction, const Tridiagonal<R>& matrix)
      : direction(direction),
        before(matrix),
        d(guarded(matrix.d)),
        e(guarded(matrix.e)),
        rotations(count(), 2, count() + 2) {
    rotations.seal();
  }

  Int count() const { return before.order() - 1; }

  Sweep& run(Int icompz = 1) {
    const auto routine = direction == Direction::qr ? routine_call::laq5<R> : routine_call::laq6<R>;
    routine(icompz, count(), d.data(), e.data(), rotations.data(), rotations.ld());
    EXPECT_TRUE(d.guards_unchanged() && e.guards_unchanged() && rotations.guards_unchanged());
    return *this;
  }

  Tridiagonal<R> after() const { return {{d.data(), d.data() + d.size()}, {e.data(), e.data() + e.size()}}; }

  /// The product of the rotations, as they turn columns.
  WideMatrix<R> product() const {
    using W = WideReal<R>;
    const Eigen::Index n = before.order();
    WideMatrix<R> Q = WideMatrix<R>::Identity(n, n);
    for (Eigen::Index step = 0; step + 1 < n; ++step) {
      const Eigen::Index i = direction == Direction::qr ? step : n - 2 - step;
      const W c = rotations(Int(i) + 1, 1), s = rotations(Int(i) + 1, 2);
      const WideMatrix<R> x = Q.col(i), y = Q.col(i + 1);
      Q.col(i) = c * x + s * y;
      Q.col(i + 1) = c * y - s * x;
    }
    return Q;
  }

  void expect_similar(const std::string& what) const {
    using W = WideReal<R>;
    const WideMatrix<R> A = wide_dense<R>(before), B = wide_dense<R>(after()), Q = product();
    const W unit = A.norm() * epsilon<R> * W(before.order());
    EXPECT_LT(double((Q.transpose() * A * Q - B).norm() / unit), threshold) << what;
    for (Int i = 1; i <= count(); ++i) {
      const W c = rotations(i, 1), s = rotations(i, 2);
      EXPECT_NEAR(double(c * c + s * s), 1, 8 * epsilon<R>) << what << ", rotation " << i;
    }
  }
};

template <class R>
class ImplicitSweep : public testing::Test {
 protected:
  using W = WideReal<R>;

  /// The eigenvalue of the two rows at the end (QR) or at the begin (QL) that is closer to the outer one.
  static W shift(const Sweep<R>& sweep) {
    const auto& [d, e] = sweep.before;
    const std::size_t n = d.size();
    const bool is_qr = sweep.direction == Direction::qr;
    const W outer = is_qr ? d[n - 1] : d[0], inner = is_qr ? d[n - 2] : d[1], beside = is_qr ? e[n - 2] : e[0];
    const W half = (inner - outer) / 2, root = std::hypot(half, beside);
    return outer - beside * beside / (half >= 0 ? half + root : half - root);
  }
};
TYPED_TEST_SUITE(ImplicitSweep, RealPrecisions, PrecisionLetter);

TYPED_TEST(ImplicitSweep, IsASimilarity) {
  using R = TypeParam;
  for (const Int n : {2, 3, 4, 9, 40}) {
    for (const Direction direction : directions) {
      for (const R scale :
           {R(1), std::numeric_limits<R>::min() / epsilon<R>, std::numeric_limits<R>::max() * epsilon<R>}) {
        Tridiagonal<R> matrix = random_tridiagonal<R>(n);
        for (R& x : matrix.d) x *= scale;
        for (R& x : matrix.e) x *= scale;
        Sweep<R>(direction, matrix).run().expect_similar("order " + std::to_string(n));
      }
    }
  }
}

/// The first column (QR) or the last (QL) of the product is that of T - shift I, up to its length: with what the sweep
/// keeps of the form, this makes it a step of the explicit iteration.
TYPED_TEST(ImplicitSweep, BeginsWithWilkinsonsShift) {
  using R = TypeParam;
  using W = WideReal<R>;
  for (const Int n : {3, 7, 20}) {
    for (const Direction direction : directions) {
      Sweep<R> sweep(direction, random_tridiagonal<R>(n));
      sweep.run();
      const Eigen::Index at = direction == Direction::qr ? 0 : n - 1;
      WideMatrix<R> column = wide_dense<R>(sweep.before).col(at);
      column(at) -= this->shift(sweep);
      const WideMatrix<R> first = sweep.product().col(at);
      const W cosine = std::abs((column.transpose() * first)(0, 0)) / column.norm();
      EXPECT_NEAR(double(cosine), 1, 100 * epsilon<R>) << n;
    }
  }
}

/// With the exact shift the matrix falls apart; the closer one of two values is taken.
TYPED_TEST(ImplicitSweep, DeflatesAPairAtOnce) {
  using R = TypeParam;
  for (const Direction direction : directions) {
    for (const R d1 : {R(1), R(4), R(2)}) {
      Sweep<R> sweep(direction, {{d1, 2}, {3}});
      sweep.run().expect_similar("pair");
      EXPECT_NEAR(double(sweep.e(1)), 0, 20 * epsilon<R>);
    }
  }
}

TYPED_TEST(ImplicitSweep, KeepsRotationsWhereItIsAskedTo) {
  using R = TypeParam;
  for (const Direction direction : directions) {
    Sweep<R> keeping(direction, random_tridiagonal<R>(9)), other = keeping;
    keeping.run(2);
    for (const Int icompz : {0, -1}) {
      Sweep<R> dropping = other;
      dropping.run(icompz);
      EXPECT_TRUE(dropping.rotations.unchanged());
      EXPECT_TRUE(dropping.d.same_as(keeping.d));
      EXPECT_TRUE(dropping.e.same_as(keeping.e));
    }
  }
}

/// Where one of the two numbers of a rotation is zero, it is an exact identity or exchange.
TYPED_TEST(ImplicitSweep, TurnsByZeroOrARightAngleExactly) {
  using R = TypeParam;
  // The last rows, 0 and 0 beside 1, have the shift -1, which is what the first row has.
  Sweep<R> exchange(Direction::qr, {{-1, 0, 0}, {1, 1}});
  exchange.run();
  EXPECT_EQ(exchange.rotations(1, 1), R(0));
  EXPECT_EQ(exchange.rotations(1, 2), R(1));
  exchange.expect_similar("exchange");

  Sweep<R> identity(Direction::qr, {{1, 2, 0, 0}, {1, 0, 1}});
  identity.run();
  EXPECT_EQ(identity.rotations(2, 1), R(1));
  EXPECT_EQ(identity.rotations(2, 2), R(0));
  identity.expect_similar("identity");

  Sweep<R> mirrored(Direction::ql, {{0, 0, 2, 1}, {1, 0, 1}});
  mirrored.run();
  EXPECT_EQ(mirrored.rotations(2, 1), R(1));
  EXPECT_EQ(mirrored.rotations(2, 2), R(0));
}

/// Numbers near the ends of the range: squares are formed after two scalings at most.
TYPED_TEST(ImplicitSweep, ScalesWhatHasNoSquare) {
  using R = TypeParam;
  const R tiny = std::numeric_limits<R>::denorm_min() * 4096, huge = std::numeric_limits<R>::max() / 64;
  for (const Direction direction : directions) {
    for (const R scale : {tiny, huge, std::sqrt(tiny), std::sqrt(huge)}) {
      Sweep<R> sweep(direction, {{3 * scale, scale, 2 * scale}, {scale, 2 * scale}});
      sweep.run();
      for (Int i = 1; i <= 2; ++i) {
        const WideReal<R> c = sweep.rotations(i, 1), s = sweep.rotations(i, 2);
        EXPECT_NEAR(double(c * c + s * s), 1, 8 * epsilon<R>) << scale;
      }
      Sweep<R> plain(direction, {{3, 1, 2}, {1, 2}});
      plain.run();
      for (Int i = 1; i <= 3; ++i)
        EXPECT_NEAR(double(sweep.d(i) / scale), double(plain.d(i)), scale == tiny ? 0.01 : 1e-4);
    }
  }
}

}  // namespace
}  // namespace nuv::test
