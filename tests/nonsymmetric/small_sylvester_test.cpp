// Sylvester equations of order two at most: ?lasy2.

#include <cmath>
#include <limits>

#include "routines.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"
#include "support/reported_errors.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

template <RealScalar R>
struct Equation {
  Logical ltranl, ltranr;
  Int isgn, n1, n2;
  GuardedMatrix<R> TL, TR, B, X;
  R scale = -7, xnorm = -7;
  Int info = 99;

  /// The lowest bit of a logical counts alone.
  Equation(bool transpose_left, bool transpose_right, Int sign, Int order1, Int order2)
      : ltranl(transpose_left ? 1 : 6),
        ltranr(transpose_right ? -1 : 0),
        isgn(sign),
        n1(order1),
        n2(order2),
        TL(n1, n1, 3),
        TR(n2, n2, 2),
        B(n1, n2, 4),
        X(n1, n2, 5) {}

  Equation& fill(auto element) {
    for (GuardedMatrix<R>* A : {&TL, &TR, &B}) {
      for (Int j = 1; j <= A->columns(); ++j) {
        for (Int i = 1; i <= A->rows(); ++i) (*A)(i, j) = element();
      }
      A->seal();
    }
    return *this;
  }

  Equation& solve() {
    TL.seal();
    TR.seal();
    B.seal();
    routine_call::lasy2(ltranl, ltranr, isgn, n1, n2, Matrix<const R>(TL), Matrix<const R>(TR), Matrix<const R>(B),
                        scale, Matrix<R>(X), xnorm, info);
    EXPECT_TRUE(TL.unchanged() && TR.unchanged() && B.unchanged() && X.guards_unchanged());
    return *this;
  }

  WideMatrix<R> left() const { return op<R>(ltranl & 1 ? 'T' : 'N', wide(TL)); }
  WideMatrix<R> right() const { return op<R>(ltranr & 1 ? 'T' : 'N', wide(TR)); }

  /// ||op(TL) X + isgn X op(TR) - scale B|| / ((||TL|| + ||TR||) ||X||), elements by their magnitudes.
  double residual() const {
    const WideMatrix<R> x = wide(X);
    const WideMatrix<R> rest = left() * x + WideReal<R>(isgn) * x * right() - WideReal<R>(scale) * wide(B);
    const auto size = left().cwiseAbs().maxCoeff() + right().cwiseAbs().maxCoeff();
    return double(rest.cwiseAbs().maxCoeff() / (size * x.cwiseAbs().maxCoeff()));
  }

  void expect_norm() const {
    R norm = 0;
    for (Int i = 1; i <= n1; ++i) {
      R sum = 0;
      for (Int j = 1; j <= n2; ++j) sum += std::abs(X(i, j));
      norm = std::max(norm, sum);
    }
    EXPECT_EQ(xnorm, norm);
  }
};

/// Calls visit with an equation of each kind and orders.
template <RealScalar R>
void for_each_kind(auto visit) {
  for (const bool left : {false, true}) {
    for (const bool right : {false, true}) {
      for (const Int sign : {1, -1}) {
        for (const Int n1 : {1, 2}) {
          for (const Int n2 : {1, 2}) {
            SCOPED_TRACE(testing::Message() << n1 << " by " << n2 << ", " << left << right << ", " << sign);
            visit(Equation<R>(left, right, sign, n1, n2));
          }
        }
      }
    }
  }
}

template <RealScalar R>
constexpr R least_pivot = std::numeric_limits<R>::min() / std::numeric_limits<R>::epsilon();

template <class R>
class SmallSylvester : public ReportingTest {
 protected:
  Random random{61};
};
TYPED_TEST_SUITE(SmallSylvester, RealPrecisions, PrecisionLetter);

TYPED_TEST(SmallSylvester, SolvesEachKind) {
  using R = TypeParam;
  for_each_kind<R>([&](const Equation<R>& empty) {
    for (int round = 0; round < 50; ++round) {
      Equation<R> equation = empty;
      equation.fill([&] { return R(this->random.real()); }).solve();
      EXPECT_EQ(equation.info, 0);
      EXPECT_EQ(equation.scale, R(1));
      EXPECT_LT(equation.residual(), 10 * epsilon<R>);
      equation.expect_norm();
    }
  });
}

/// Elements of very different sizes are where the choice of pivots tells.
TYPED_TEST(SmallSylvester, ChoosesPivotsAmongAllElements) {
  using R = TypeParam;
  for_each_kind<R>([&](const Equation<R>& empty) {
    for (int round = 0; round < 200; ++round) {
      Equation<R> equation = empty;
      equation.fill([&] { return std::ldexp(R(this->random.real()), this->random.integer(-12, 12)); }).solve();
      if (equation.info == 0) {
        EXPECT_LT(equation.residual(), 20 * epsilon<R>);
      }
      equation.expect_norm();
    }
  });
}

/// The second column has the first pivot, and what is left of the first one is the pivot that is too small.
TYPED_TEST(SmallSylvester, LeavesTheLeastPivotForTheEnd) {
  using R = TypeParam;
  constexpr R eps = epsilon<R>;
  Equation<R> equation(false, false, 1, 2, 1);
  equation.fill([] { return R(1); });
  equation.TL(1, 1) = eps / 4;
  equation.TL(2, 1) = eps / 8;
  equation.TR(1, 1) = 0;
  equation.B(2, 1) = 2;
  equation.solve();
  EXPECT_EQ(equation.info, 1);
  EXPECT_EQ(equation.X(1, 1), 1 / eps);
  EXPECT_EQ(equation.X(2, 1), R(0.75));
}

/// TL has the eigenvalues of -isgn TR.
TYPED_TEST(SmallSylvester, ReplacesPivotsOfSingularSystems) {
  using R = TypeParam;
  for_each_kind<R>([&](const Equation<R>& empty) {
    for (int round = 0; round < 20; ++round) {
      Equation<R> equation = empty;
      equation.fill([&] { return R(this->random.integer(1, 7)); });
      const R sign = R(-equation.isgn);
      if (equation.n1 == equation.n2) {
        for (Int i = 1; i <= equation.n1; ++i) {
          for (Int j = 1; j <= equation.n1; ++j) equation.TR(i, j) = sign * equation.TL(i, j);
        }
      } else if (equation.n1 == 1) {
        equation.TR(1, 1) = sign * equation.TL(1, 1);
        equation.TR(2, 1) = 0;
      } else {
        equation.TL(1, 1) = sign * equation.TR(1, 1);
        equation.TL(1, 2) = 0;
      }
      equation.solve();
      EXPECT_EQ(equation.info, 1);
      EXPECT_TRUE(std::isfinite(equation.xnorm));
      EXPECT_GT(equation.scale, 0);
      EXPECT_LE(equation.scale, 1);
      // Of a system that differs by as much as the pivot does.
      EXPECT_LT(equation.residual(), 20 * epsilon<R>);
      equation.expect_norm();
    }
  });
}

TYPED_TEST(SmallSylvester, ScalesWhatWouldOverflow) {
  using R = TypeParam;
  for_each_kind<R>([&](const Equation<R>& empty) {
    Equation<R> equation = empty;
    equation.fill([] { return R(0); });
    const Int order = equation.n1 * equation.n2;
    for (Int j = 1; j <= equation.n2; ++j) {
      for (Int i = 1; i <= equation.n1; ++i) equation.B(i, j) = R(i == 1 && j == 1 ? -4 : 2);
    }
    equation.solve();
    // With growth by substitution in mind: by 2 of order two, by 8 of order four.
    const R scale = order == 1 ? R(0.25) : order == 2 ? R(0.125) : R(1) / 32;
    EXPECT_EQ(equation.info, 1);
    EXPECT_EQ(equation.scale, scale);
    for (Int j = 1; j <= equation.n2; ++j) {
      for (Int i = 1; i <= equation.n1; ++i) {
        EXPECT_EQ(equation.X(i, j), equation.B(i, j) * scale / least_pivot<R>);
      }
    }
    // As large as it may be without.
    Equation<R> largest = equation;
    for (Int j = 1; j <= equation.n2; ++j) {
      for (Int i = 1; i <= equation.n1; ++i) largest.B(i, j) = equation.B(i, j) * scale;
    }
    EXPECT_EQ(largest.solve().scale, R(1));
  });
}

/// A sum that cancels is as good as it is where it is the whole matrix; beside other elements it is too small.
TYPED_TEST(SmallSylvester, TakesSumsOfOrderOneAsTheyAre) {
  using R = TypeParam;
  constexpr R half = std::numeric_limits<R>::epsilon() / 2;
  Equation<R> one(false, false, 1, 1, 1);
  one.fill([] { return R(1); });
  one.TR(1, 1) = half - 1;
  one.solve();
  EXPECT_EQ(one.info, 0);
  EXPECT_EQ(one.X(1, 1), 1 / half);
  Equation<R> two(false, false, 1, 1, 2);
  two.fill([] { return R(1); });
  two.TR(1, 1) = half - 1;
  two.TR(1, 2) = two.TR(2, 1) = 0;
  two.solve();
  EXPECT_EQ(two.info, 1);
  EXPECT_EQ(two.X(1, 1), 1 / (2 * half));
}

TYPED_TEST(SmallSylvester, OfNothingWritesNothing) {
  using R = TypeParam;
  for (const auto& [n1, n2] : {std::pair{0, 2}, {2, 0}, {0, 0}}) {
    Equation<R> equation(false, false, 1, n1, n2);
    equation.fill([] { return R(1); }).solve();
    EXPECT_EQ(equation.info, 0);
    EXPECT_EQ(equation.scale, R(-7));
    EXPECT_TRUE(equation.X.unchanged());
  }
}

TYPED_TEST(SmallSylvester, ShowsNaN) {
  using R = TypeParam;
  for_each_kind<R>([&](const Equation<R>& empty) {
    for (const R odd : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
      Equation<R> equation = empty;
      equation.fill([&] { return R(this->random.real()); });
      equation.B(1, 1) = odd;
      equation.solve();
      EXPECT_FALSE(std::isfinite(equation.xnorm));
    }
  });
}

}  // namespace
}  // namespace nuv::test
