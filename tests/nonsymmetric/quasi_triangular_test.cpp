// Systems with a quasi-triangular matrix, real or complex of a special form: ?laqtr.

#include <cmath>
#include <limits>
#include <numeric>

#include "nonsymmetric/schur_checks.hpp"
#include "routines.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"
#include "support/reported_errors.hpp"

namespace nuv::test {
namespace {

template <RealScalar R>
struct System {
  bool transposed, is_real;
  Int n, parts, info = 99;
  GuardedMatrix<R> S;
  GuardedVector<R> b, rhs, x, work;
  R w = 0, scale = -7;

  System(bool transpose, bool real, const GuardedMatrix<R>& form)
      : transposed(transpose),
        is_real(real),
        n(form.rows()),
        parts(real ? 1 : 2),
        S(form),
        b(n),
        rhs(parts * n),
        x(parts * n),
        work(n) {}

  /// b and w stay guards where they are not to be read.
  System& fill(auto element) {
    for (Int i = 1; i <= parts * n; ++i) rhs(i) = element();
    for (Int i = 1; i <= n && !is_real; ++i) b(i) = element();
    w = is_real ? guard<R>() : element();
    return *this;
  }

  System& solve() {
    for (Int i = 1; i <= parts * n; ++i) x(i) = rhs(i);
    S.seal();
    b.seal();
    // The lowest bit of a logical counts alone.
    routine_call::laqtr(transposed ? 1 : 2, is_real ? -1 : 0, n, Matrix<const R>(S), b.data(), w, scale, x.data(),
                        work.data(), info);
    EXPECT_TRUE(S.unchanged() && b.unchanged() && x.guards_unchanged() && work.guards_unchanged());
    return *this;
  }

  using C = std::complex<R>;

  WideMatrix<C> matrix() const {
    WideMatrix<C> M = wide(S).template cast<Wide<C>>();
    if (!is_real) {
      for (Int j = 1; j <= n; ++j) {
        M(0, j - 1) += Wide<C>(0, WideReal<R>(b(j)));
        if (j > 1) M(j - 1, j - 1) += Wide<C>(0, WideReal<R>(w));
      }
    }
    return op<C>(transposed ? 'C' : 'N', M);
  }

  WideMatrix<C> vector(const GuardedVector<R>& parts_of) const {
    WideMatrix<C> v(n, 1);
    for (Int i = 1; i <= n; ++i)
      v(i - 1, 0) = Wide<C>(WideReal<R>(parts_of(i)), is_real ? 0 : WideReal<R>(parts_of(n + i)));
    return v;
  }

  double residual() const {
    return solution_residual<C>(matrix(), vector(x), WideMatrix<C>(WideReal<R>(scale) * vector(rhs)));
  }

  bool is_finite() const {
    for (Int i = 1; i <= parts * n; ++i) {
      if (!std::isfinite(x(i))) return false;
    }
    return true;
  }
};

template <class R>
class QuasiTriangular : public ReportingTest {
 protected:
  /// Calls visit with systems of each kind and of forms of these blocks; the first is of order one if it is complex.
  void for_each_kind(auto visit) {
    for (const bool transposed : {false, true}) {
      for (const bool is_real : {false, true}) {
        for (std::vector<Int> blocks :
             {std::vector<Int>{1}, {2}, {1, 1}, {1, 2}, {2, 1}, {2, 2}, {1, 2, 1}, {1, 1, 2, 2, 1}}) {
          if (!is_real && blocks.front() == 2) blocks.insert(blocks.begin(), 1);
          SCOPED_TRACE(testing::Message() << transposed << is_real << ", " << blocks.size() << " blocks");
          const Int n = std::accumulate(blocks.begin(), blocks.end(), 0);
          GuardedMatrix<R> S = random_schur_form<R>(random, blocks, n + 1);
          for (Int j = 1; j <= n; ++j) {
            if (S(j, j) != (j > 1 ? S(j - 1, j - 1) : R(0))) S(j, j) += S(j, j) < 0 ? R(-0.5) : R(0.5);
          }
          for (Int j = 1; j < n; ++j) {
            if (S(j + 1, j) != 0) S(j + 1, j + 1) = S(j, j);
          }
          visit(System<R>(transposed, is_real, S));
        }
      }
    }
  }

  Random random{89};
};
TYPED_TEST_SUITE(QuasiTriangular, RealPrecisions, PrecisionLetter);

TYPED_TEST(QuasiTriangular, SolvesSystemsOfEachKind) {
  using R = TypeParam;
  for (int round = 0; round < 5; ++round) {
    this->for_each_kind([&](System<R> system) {
      system.fill([&] { return R(this->random.real()); }).solve();
      EXPECT_EQ(system.info, 0);
      EXPECT_EQ(system.scale, R(1));
      EXPECT_LT(system.residual(), schur_threshold);
    });
  }
}

/// Large right sides, and matrices so small that solutions would overflow.
TYPED_TEST(QuasiTriangular, ScalesWhatWouldOverflow) {
  using R = TypeParam;
  const int large = std::numeric_limits<R>::max_exponent - 4, half = large / 2;
  for (const auto& [of_matrix, of_rhs, must_scale] : {std::tuple{-half, large - 20, true},
                                                      {half, large, true},
                                                      {large - 20, large - 20, true},
                                                      {-half, half / 2, false},
                                                      {half, 3, false}}) {
    this->for_each_kind([&, of_matrix = of_matrix, of_rhs = of_rhs, must_scale = must_scale](System<R> system) {
      const auto element = [&] { return R(this->random.template divisor<R>()); };
      system.fill(element);
      for (Int j = 1; j <= system.n; ++j) {
        for (Int i = 1; i <= system.n; ++i) system.S(i, j) = std::ldexp(system.S(i, j), of_matrix);
        if (!system.is_real) system.b(j) = std::ldexp(system.b(j), of_matrix);
      }
      if (!system.is_real) system.w = std::ldexp(system.w, of_matrix);
      for (Int i = 1; i <= system.parts * system.n; ++i) system.rhs(i) = std::ldexp(system.rhs(i), of_rhs);
      system.solve();
      EXPECT_EQ(system.info, 0);
      EXPECT_GT(system.scale, 0);
      if (must_scale) {
        EXPECT_LT(system.scale, 1);
      } else {
        EXPECT_EQ(system.scale, 1);
      }
      EXPECT_TRUE(system.is_finite());
      EXPECT_LT(system.residual(), schur_threshold);
    });
  }
}

/// A right side that is too large is brought to the limit, and no further where the matrix is large, too.
TYPED_TEST(QuasiTriangular, LimitsTheRightSide) {
  using R = TypeParam;
  constexpr R greatest = epsilon<R> / std::numeric_limits<R>::min();
  for (const bool transposed : {false, true}) {
    for (const bool is_real : {false, true}) {
      GuardedMatrix<R> S(1, 1, 1);
      S(1, 1) = std::ldexp(R(1), std::numeric_limits<R>::max_exponent / 2);
      System<R> system(transposed, is_real, S);
      system.fill([] { return R(0); });
      system.rhs(system.parts) = std::ldexp(R(-1), std::numeric_limits<R>::max_exponent - 2);
      system.solve();
      EXPECT_EQ(system.scale, negated(greatest / system.rhs(system.parts)));
      EXPECT_EQ(system.x(system.parts), negated(greatest / system.S(1, 1)));
    }
  }
}

/// Unknowns grow by what is above the diagonal, though no pivot is small.
TYPED_TEST(QuasiTriangular, LeavesRoomForProducts) {
  using R = TypeParam;
  this->for_each_kind([&](System<R> system) {
    system.fill([&] { return R(0.75 + this->random.real() / 4); });
    const auto enlarge = [](R& element) {
      element = negated(std::ldexp(std::abs(element) + 1, std::numeric_limits<R>::digits - 4));
    };
    for (Int j = 1; j <= system.n; ++j) {
      for (Int i = 1; i + 1 < j; ++i) enlarge(system.S(i, j));
      system.S(j, j) = 1;
      if (!system.is_real && j > 1) enlarge(system.b(j));
    }
    const int power = std::numeric_limits<R>::max_exponent - std::numeric_limits<R>::digits - 2;
    for (Int i = 1; i <= system.parts * system.n; ++i) system.rhs(i) = std::ldexp(system.rhs(i), power);
    system.solve();
    EXPECT_EQ(system.info, 0);
    EXPECT_TRUE(system.is_finite());
    EXPECT_LT(system.residual(), schur_threshold);
  });
}

/// A block that is singular is perturbed by eps times the largest element.
TYPED_TEST(QuasiTriangular, PerturbsSingularBlocks) {
  using R = TypeParam;
  this->for_each_kind([&](System<R> system) {
    for (Int j = 1; j <= system.n; ++j) {
      const bool is_pair = j < system.n && system.S(j + 1, j) != 0;
      if (j > 1 && system.S(j, j - 1) != 0) continue;
      System<R> singular = system;
      singular.fill([&] { return R(this->random.template divisor<R>()); });
      if (!singular.is_real) singular.w = singular.b(1) = 0;
      singular.S(j, j) = 0;
      if (is_pair) {
        singular.S(j + 1, j + 1) = 0;
        singular.S(j + 1, j) = std::numeric_limits<R>::denorm_min();
      }
      singular.solve();
      EXPECT_EQ(singular.info, 1) << j;
      EXPECT_TRUE(singular.is_finite());
      EXPECT_GT(singular.scale, 0);
      if (singular.n > 1) {
        EXPECT_LT(singular.residual(), 2 * schur_threshold) << j;
      }
    }
  });
}

/// Of a complex system b and w count, too, and w alone for the least size of a pivot.
TYPED_TEST(QuasiTriangular, MeasuresPivotsByTheLargestElement) {
  using R = TypeParam;
  for (const bool transposed : {false, true}) {
    GuardedMatrix<R> S(3, 3, 3);
    for (Int j = 1; j <= 3; ++j) {
      for (Int i = 1; i <= 3; ++i) S(i, j) = i == j ? R(1) : R(0);
    }
    S(2, 2) = 6 * epsilon<R>;
    for (const R largest : {R(4), R(8)}) {
      for (const int place : {0, 1, 2, 3}) {
        System<R> system(transposed, place == 3, S);
        system.fill([] { return R(0); });
        system.rhs(2) = 1;
        if (place == 0) system.b(3) = largest;
        if (place == 1) system.S(1, 3) = largest;
        if (place == 2) system.b(1) = largest;
        if (place == 3) system.S(3, 3) = negated(largest);
        system.solve();
        EXPECT_EQ(system.info, largest > 6 ? 1 : 0) << place;
        EXPECT_EQ(system.x(2) / system.scale, 1 / (std::max(largest, R(6)) * epsilon<R>)) << place;
      }
    }
  }
}

TYPED_TEST(QuasiTriangular, OfNothingDoesNothing) {
  using R = TypeParam;
  System<R> system(false, true, GuardedMatrix<R>(0, 0, 1));
  system.solve();
  EXPECT_EQ(system.info, 0);
  EXPECT_EQ(system.scale, R(-7));
}

TYPED_TEST(QuasiTriangular, ShowsNaN) {
  using R = TypeParam;
  for (const R odd : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    this->for_each_kind([&](System<R> system) {
      system.fill([&] { return R(this->random.template divisor<R>()); });
      System<R> in_matrix = system;
      system.rhs(system.n) = odd;
      EXPECT_FALSE(system.solve().is_finite() && std::isnormal(system.scale));
      in_matrix.S(1, in_matrix.n) = odd;
      in_matrix.solve();
      if (std::isnan(odd)) {
        EXPECT_FALSE(in_matrix.is_finite() && std::isnormal(in_matrix.scale));
      }
    });
  }
}

}  // namespace
}  // namespace nuv::test
