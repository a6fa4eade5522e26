// Shifted systems of order one and two, judged in the next wider type.

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <limits>

#include "environment/machine_constants.hpp"
#include "routines.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

template <class R>
constexpr R least = 2 * Machine<R>::safe_min;
template <class R>
constexpr R limit = 1 / least<R>;

/// A system (ca op(A) - w D) X = s B and its solution.
template <class R>
struct ShiftedSystem {
  using C = std::complex<WideReal<R>>;

  Int na, nw;
  Logical ltrans = 0;
  R smin = 0, ca = 1, d1 = 1, d2 = 1, wr = 0, wi = 0;
  GuardedMatrix<R> A{na, na, 3}, B{na, nw, 4}, X{na, nw, 5};
  R scale = guard<R>(), xnorm = guard<R>();
  Int info = 99;

  ShiftedSystem(Int order, Int parts) : na(order), nw(parts) {}

  /// A system of random numbers around one, as all below are derived from.
  static ShiftedSystem random(Random& random, Int order, Int parts) {
    ShiftedSystem system(order, parts);
    system.ltrans = to_logical(random.integer(0, 1) == 1);
    for (R* const number : {&system.ca, &system.d1, &system.d2, &system.wr, &system.wi}) *number = random.divisor<R>();
    for (Int j = 1; j <= order; ++j) {
      for (Int i = 1; i <= order; ++i) system.A(i, j) = random.divisor<R>();
    }
    for (Int j = 1; j <= parts; ++j) {
      for (Int i = 1; i <= order; ++i) system.B(i, j) = random.divisor<R>();
    }
    return system;
  }

  ShiftedSystem& solve() {
    A.seal();
    B.seal();
    routine_call::laln2(ltrans, na, nw, smin, ca, Matrix<R>(A), d1, d2, Matrix<R>(B), wr, wi, Matrix<R>(X), scale,
                        xnorm, info);
    EXPECT_TRUE(A.unchanged() && B.unchanged() && X.guards_unchanged());
    return *this;
  }

  bool transposed() const { return (ltrans & 1) != 0; }
  C w() const { return nw == 1 ? C(wr) : C(wr, wi); }
  C number(const GuardedMatrix<R>& M, Int i) const { return nw == 1 ? C(M(i, 1)) : C(M(i, 1), M(i, 2)); }
  C coefficient(Int i, Int j) const {
    const C a = C(ca) * C(transposed() ? A(j, i) : A(i, j));
    return i == j ? a - w() * C(i == 1 ? d1 : d2) : a;
  }

  /// The largest of the numbers that coefficients are computed from.
  WideReal<R> size_of_terms() const {
    WideReal<R> size = 0;
    for (Int j = 1; j <= na; ++j) {
      for (Int i = 1; i <= na; ++i) size = std::max(size, std::abs(WideReal<R>(ca) * A(i, j)));
      size = std::max(size, std::abs(w()) * std::abs(j == 1 ? d1 : d2));
    }
    return size;
  }

  WideReal<R> size_of_solution() const {
    WideReal<R> size = 0;
    for (Int i = 1; i <= na; ++i) size = std::max(size, std::abs(number(X, i).real()) + std::abs(number(X, i).imag()));
    return size;
  }

  /// The largest |C X - s B|.
  WideReal<R> residual() const {
    WideReal<R> size = 0;
    for (Int i = 1; i <= na; ++i) {
      C sum = C(scale) * number(B, i);
      for (Int j = 1; j <= na; ++j) sum -= coefficient(i, j) * number(X, j);
      size = std::max(size, std::abs(sum));
    }
    return size;
  }

  /// In units of eps, beside changes of C up to a size.
  double error(WideReal<R> change = 0) const {
    EXPECT_LE(scale, 1);
    EXPECT_GT(scale, 0);
    EXPECT_LE(std::abs(xnorm - size_of_solution()), 4 * epsilon<R> * size_of_solution());
    const WideReal<R> excess = std::max(WideReal<R>(0), residual() - 2 * change * size_of_solution());
    return double(excess / (size_of_terms() * size_of_solution() * epsilon<R>));
  }
};

template <class R>
class SmallShiftedSystem : public testing::Test {
 protected:
  Random random{7};

  template <class Visit>
  void for_each_kind(Visit visit) {
    for (const Int na : {1, 2}) {
      for (const Int nw : {1, 2}) {
        for (int turn = 0; turn < 100; ++turn) {
          SCOPED_TRACE(testing::Message() << "order " << na << ", parts " << nw << ", turn " << turn);
          visit(ShiftedSystem<R>::random(random, na, nw));
        }
      }
    }
  }
};
TYPED_TEST_SUITE(SmallShiftedSystem, RealPrecisions, PrecisionLetter);

constexpr double threshold = 10;

TYPED_TEST(SmallShiftedSystem, IsSolved) {
  using R = TypeParam;
  this->for_each_kind([&](ShiftedSystem<R> system) {
    // Any element may be the largest, and some so small that its exchange would show.
    for (const R size : {R(1), R(1e3), R(1e-3), R(0)}) {
      system.A(this->random.integer(1, system.na), this->random.integer(1, system.na)) *= size;
    }
    system.solve();
    EXPECT_EQ(system.info, 0);
    EXPECT_EQ(system.scale, 1);
    EXPECT_LT(system.error(), threshold);
  });
}

TYPED_TEST(SmallShiftedSystem, IsTransposedByTheLowestBit) {
  using R = TypeParam;
  ShiftedSystem<R> system = ShiftedSystem<R>::random(this->random, 2, 1);
  for (const Logical ltrans : {0, 1, 2, -1, -2, 7}) {
    system.ltrans = ltrans;
    system.solve();
    EXPECT_LT(system.error(), threshold) << ltrans;
  }
}

/// w is an eigenvalue up to rounding, or there is nothing but zeros.
TYPED_TEST(SmallShiftedSystem, HasNoSmallerPivotThanAllowed) {
  using R = TypeParam;
  this->for_each_kind([&](ShiftedSystem<R> system) {
    system.smin = R(1e-3);
    if (system.na == 1) {
      system.ca = system.d1 = 1;
      system.A(1, 1) = system.wr;
      if (system.nw == 2) system.wi = 0;
    } else {
      // The second row is a multiple of the first, whichever is the pivot row.
      if (system.nw == 2) system.wi = 0;
      const R factor = this->random.integer(0, 1) == 0 ? R(0.5) : R(-4);
      system.wr = 0;
      system.A(2, 1) = factor * system.A(1, 1);
      system.A(2, 2) = factor * system.A(1, 2);
    }
    system.solve();
    EXPECT_EQ(system.info, 1);
    EXPECT_EQ(system.scale, 1);
    EXPECT_LT(system.error(system.smin), threshold);
    if (system.na == 1) {
      EXPECT_EQ(system.X(1, 1), system.B(1, 1) / system.smin);
    } else {
      EXPECT_GT(system.size_of_solution(), 1);
    }
  });
}

/// The imaginary part of the shift alone makes a pivot that is large enough.
TYPED_TEST(SmallShiftedSystem, IsMeasuredWithItsImaginaryPart) {
  using R = TypeParam;
  ShiftedSystem<R> system = ShiftedSystem<R>::random(this->random, 1, 2);
  system.ca = system.d1 = 1;
  system.A(1, 1) = system.wr;
  system.wi = R(2e-3);
  system.smin = R(1e-3);
  EXPECT_EQ(system.solve().info, 0);
  EXPECT_LT(system.error(), threshold);
  system.smin = R(3e-3);
  EXPECT_EQ(system.solve().info, 1);
  EXPECT_EQ(system.X(1, 1), system.B(1, 1) / system.smin);
  EXPECT_EQ(system.X(1, 2), system.B(1, 2) / system.smin);
}

TYPED_TEST(SmallShiftedSystem, OfNoElementThatCountsIsAMultipleOfTheIdentity) {
  using R = TypeParam;
  this->for_each_kind([&](ShiftedSystem<R> system) {
    system.smin = 16;
    system.ca = R(0.5);
    system.solve();
    EXPECT_EQ(system.info, 1);
    for (Int j = 1; j <= system.nw; ++j) {
      for (Int i = 1; i <= system.na; ++i) EXPECT_EQ(system.X(i, j), system.B(i, j) / 16);
    }
    EXPECT_EQ(system.xnorm, R(system.size_of_solution()));
  });
}

/// Below the least number that is computed with, smin is no longer that small.
TYPED_TEST(SmallShiftedSystem, NeverDividesByNothing) {
  using R = TypeParam;
  this->for_each_kind([](ShiftedSystem<R> system) {
    system.ca = system.wr = system.wi = 0;
    for (Int j = 1; j <= system.nw; ++j) {
      for (Int i = 1; i <= system.na; ++i) system.B(i, j) *= 4;
    }
    system.solve();
    EXPECT_EQ(system.info, 1);
    EXPECT_LT(system.scale, 1);
    EXPECT_GT(system.scale, 0);
    for (Int i = 1; i <= system.na; ++i) {
      const auto ratio = system.number(system.X, i) / system.number(system.B, i);
      EXPECT_LE(std::abs(ratio - WideReal<R>(system.scale) * limit<R>), 4 * epsilon<R> * std::abs(ratio));
    }
    EXPECT_LE(system.xnorm, limit<R> * (1 + 8 * epsilon<R>));
    EXPECT_GE(system.xnorm, limit<R> * (1 - 8 * epsilon<R>));
  });
}

/// Pivots that are small, but count, below right-hand sides that are too large for them.
TYPED_TEST(SmallShiftedSystem, IsScaledWhereItsSolutionWouldOverflow) {
  using R = TypeParam;
  int scaled[3][3] = {};
  this->for_each_kind([&](ShiftedSystem<R> system) {
    const R small = limit<R> < R(1e100) ? R(1e-30) : R(1e-250), huge = limit<R> < R(1e100) ? R(1e30) : R(1e270);
    system.ca = small;
    system.wr *= small;
    system.wi *= small;
    for (Int j = 1; j <= system.nw; ++j) {
      for (Int i = 1; i <= system.na; ++i) system.B(i, j) *= huge;
    }
    system.solve();
    EXPECT_EQ(system.info, 0);
    EXPECT_LE(system.xnorm, limit<R>);
    EXPECT_LT(system.error(), threshold);
    scaled[system.na][system.nw] += system.scale < 1;
  });
  for (const auto& [na, nw] : {std::array{1, 1}, {1, 2}, {2, 1}, {2, 2}}) EXPECT_GT(scaled[na][nw], 90) << na << nw;
}

/// One row and column are small beside the other, so that a single unknown is large: the one of the small column. Its
/// right-hand side alone is large, or the one of the pivot row is.
TYPED_TEST(SmallShiftedSystem, IsScaledForEitherUnknown) {
  using R = TypeParam;
  const R tiny = limit<R> < R(1e100) ? R(1e-33) : R(1e-300), huge = 1 / tiny;
  this->for_each_kind([&](ShiftedSystem<R> system) {
    if (system.na == 1) return;
    system.wr = system.wi = 0;
    system.ca = 1;
    const Int small = this->random.integer(1, 2), big = this->random.integer(1, 2);
    system.A(small, small) = tiny;
    system.A(1, 2) = system.A(2, 1) = 0;
    for (Int j = 1; j <= system.nw; ++j) system.B(big, j) *= big == small ? R(1e20) : huge / 8;
    system.solve();
    EXPECT_EQ(system.info, 0);
    EXPECT_EQ(system.scale < 1, big == small);
    EXPECT_LE(system.xnorm, limit<R>);
    for (Int i = 1; i <= 2; ++i) {
      const auto expected = WideReal<R>(system.scale) * system.number(system.B, i) / WideReal<R>(system.A(i, i));
      EXPECT_LE(std::abs(system.number(system.X, i) - expected), threshold * epsilon<R> * std::abs(expected)) << i;
    }
  });
}

/// Both pivots are small, and one element of the right-hand side alone is large.
TYPED_TEST(SmallShiftedSystem, IsScaledForOneLargeElement) {
  using R = TypeParam;
  const bool is_single = limit<R> < R(1e100);
  this->for_each_kind([&](ShiftedSystem<R> system) {
    if (system.na == 1) return;
    const Int large = this->random.integer(1, 2);
    system.wr = system.wi = 0;
    system.ca = is_single ? R(1e-25) : R(1e-250);
    system.A(1, 2) = system.A(2, 1) = 0;
    for (Int j = 1; j <= system.nw; ++j) {
      system.B(large, j) *= is_single ? R(1e25) : R(1e150);
      system.B(3 - large, j) = 0;
    }
    system.solve();
    EXPECT_EQ(system.info, 0);
    EXPECT_LT(system.scale, 1);
    EXPECT_LE(system.xnorm, limit<R>);
    EXPECT_LT(system.error(), threshold);
  });
}

/// The solution itself would be in range, a product of the matrix with it would not.
TYPED_TEST(SmallShiftedSystem, IsScaledForItsProductWithTheMatrix) {
  using R = TypeParam;
  const bool is_single = limit<R> < R(1e100);
  const R large = is_single ? R(1e20) : R(1e160), huge = is_single ? R(1e22) : R(1e160);
  for (const Int nw : {1, 2}) {
    ShiftedSystem<R> system = ShiftedSystem<R>::random(this->random, 2, nw);
    system.wr = system.wi = 0;
    system.ca = 1;
    system.A(1, 1) = large;
    system.A(1, 2) = system.A(2, 1) = 0;
    system.A(2, 2) = 1;
    for (Int j = 1; j <= nw; ++j) system.B(2, j) *= huge;
    system.solve();
    EXPECT_EQ(system.info, 0);
    EXPECT_LT(system.scale, 1);
    EXPECT_LE(system.xnorm, limit<R> / large * (1 + 8 * epsilon<R>));
    EXPECT_GT(system.xnorm, 1);
    EXPECT_LT(system.error(), threshold);
  }
}

TYPED_TEST(SmallShiftedSystem, ShowsWhatIsNoNumber) {
  using R = TypeParam;
  constexpr R nan = std::numeric_limits<R>::quiet_NaN();
  this->for_each_kind([&](ShiftedSystem<R> system) {
    const Int i = this->random.integer(1, system.na), j = this->random.integer(1, system.na);
    switch (this->random.integer(0, 2)) {
      case 0:
        system.B(i, this->random.integer(1, system.nw)) = nan;
        break;
      case 1:
        system.A(i, j) = nan;
        break;
      default:
        // Nothing else in the matrix counts.
        system.ca = 0;
        system.wr = nan;
        system.d1 = system.d2 = 0;
    }
    system.solve();
    EXPECT_TRUE(std::isnan(system.xnorm));
    WideReal<R> sum = 0;
    for (Int k = 1; k <= system.na; ++k) sum += std::abs(system.number(system.X, k));
    EXPECT_TRUE(std::isnan(sum));
  });
}

}  // namespace
}  // namespace nuv::test
