// The shifts of the QZ iteration that no eigenvalue suggests, and the rows that its sweeps reach.

#include <cmath>
#include <limits>

#include "generalised/pencil_call.hpp"
#include "support/real_precisions.hpp"
#include "support/reported_errors.hpp"

namespace nuv::test {
namespace {

template <class T>
class QzShifts : public ReportingTest {
 protected:
  Random random{62};
};
TYPED_TEST_SUITE(QzShifts, Precisions, PrecisionLetter);

template <class R>
class RealQzShifts : public ReportingTest {};
TYPED_TEST_SUITE(RealQzShifts, RealPrecisions, PrecisionLetter);

// ------------------------------------------------------------------------------------------------- exceptional shifts

/// (s B + C B, B) in rows and columns first ... first + 3, where C moves each row to the next one and the columns of
/// the inverse of B have the products rho, rho^2 and rho in their cycle of four. The eigenvalues s + 1, s - 1, s + i
/// and s - i lie around s, for which the last rows ask as a shift. Such a sweep has the effect of C, under which
/// nothing changes but the sign of the last column.
template <Scalar T>
void set_circle(Pencil<T>& pencil, Int first, double rho, double s) {
  const double c = std::sqrt(1 - rho * rho);
  const double b[4][4] = {{1, -rho / c, 0, -rho / (c * c)},
                          {0, 1 / c, -rho / c, rho * rho / (c * c)},
                          {0, 0, 1 / c, -rho / (c * c)},
                          {0, 0, 0, 1 / (c * c)}};
  for (Int i = 0; i < 4; ++i) {
    for (Int j = 0; j < 4; ++j) {
      pencil.B(first + i, first + j) = T(Real<T>(b[i][j]));
      pencil.A(first + i, first + j) = T(Real<T>(s * b[i][j] + b[(i + 3) % 4][j]));
    }
  }
  pencil.A.seal();
  pencil.B.seal();
}

/// Where the quotient of the elements (3, 4) and (3, 3) is one for s = 0: rho^2 = sqrt(1 - rho^2).
const double golden_rho = std::sqrt((std::sqrt(5.0) - 1) / 2);

/// Where it is one for s = -1: rho + rho^2 + rho^3 = 1.
constexpr double tribonacci_rho = 0.54368901269207636;

template <Scalar T>
Pencil<T> identities(Int n) {
  return {identity_matrix<T>(n, n), identity_matrix<T>(n, n)};
}

/// The s for which the tenth shift in such a circle, minus the quotient of the elements (3, 4) and (3, 3), is s plus
/// that.
double centre_of_circle(double rho, double distance) {
  const double c = std::sqrt(1 - rho * rho);
  return -(rho * rho / c + distance) / (1 - rho / c);
}

template <Scalar T>
void expect_real_value(const PencilCall<T>& call, Int j, double expected, double tolerance = 1000 * epsilon<T>) {
  const PencilValue value = call.values()[std::size_t(j - 1)];
  EXPECT_NEAR(std::abs(value.alpha / value.beta - expected), 0, tolerance * std::max(1.0, std::abs(expected))) << j;
}

/// Where the tenth shift is an eigenvalue to the last digits, that one is found at once. It is the quotient of two
/// elements, whatever the shift in the circle below was.
TYPED_TEST(RealQzShifts, TakesTheTenthShiftFromTheElementBesideTheDiagonal) {
  using R = TypeParam;
  for (const double rho : {0.3, 0.45, 0.6}) {
    for (const double above : {1.0, -1.0}) {
      for (const double below : {1.0, -1.0}) {
        SCOPED_TRACE(testing::Message() << rho << ": " << above << ", " << below);
        const double upper = centre_of_circle(rho / 2, above), lower = centre_of_circle(rho, below);
        Pencil<R> pencil = identities<R>(8);
        set_circle(pencil, 1, rho / 2, upper);
        set_circle(pencil, 5, rho, lower);
        const PencilCall<R> call = PencilCall<R>(pencil).hgeqz();
        expect_schur_form(pencil, call);
        expect_real_value(call, 4, upper + above);
        expect_real_value(call, 8, lower + below);
      }
    }
  }
}

/// Here the tenth shift is s, too, and the quotient in the twentieth sweep is that of the tenth: their sum 2 s = s - 1
/// is an eigenvalue.
TYPED_TEST(RealQzShifts, AddsQuotientsFromOneExceptionalShiftToTheNext) {
  using R = TypeParam;
  ASSERT_NEAR(centre_of_circle(tribonacci_rho, 0), -1, 1e-14);
  Pencil<R> pencil = identities<R>(4);
  set_circle(pencil, 1, tribonacci_rho, -1);
  const PencilCall<R> call = PencilCall<R>(pencil).hgeqz();
  expect_schur_form(pencil, call);
  expect_real_value(call, 4, -2);
}

/// Where the quotient would be too large a number. What stands for it is small beside the eigenvalues, and takes many
/// sweeps.
TYPED_TEST(RealQzShifts, TakesALargeExceptionalShiftInsteadOfALargerQuotient) {
  using R = TypeParam;
  const int in_a = std::numeric_limits<R>::max_exponent - 28, in_b = in_a + std::numeric_limits<R>::min_exponent;
  Pencil<R> pencil = identities<R>(4);
  set_circle(pencil, 1, -0.999, 0);
  scale_by_power(pencil.A, in_a);
  scale_by_power(pencil.B, in_b);
  ASSERT_TRUE(std::isinf(pencil.A(3, 4) / pencil.B(3, 3)));
  const PencilCall<R> call = PencilCall<R>(pencil).hgeqz();
  ASSERT_EQ(call.info, 0);
  EXPECT_TRUE(is_pencil_schur_form(call.A, call.B));
  expect_equivalent(pencil, call);
}

/// A tenth shift of plus or minus one, which both are eigenvalues: signs of columns hang on the last digits here. In
/// the pencil as it stands it would be too large a number.
TYPED_TEST(QzShifts, TakesTheTenthShiftFromTheElementsInNormOne) {
  using T = TypeParam;
  const int exponent = std::numeric_limits<Real<T>>::max_exponent * 5 / 8;
  Pencil<T> pencil = identities<T>(4);
  set_circle(pencil, 1, golden_rho, 0);
  if (ComplexScalar<T>) {
    scale_by_power(pencil.A, exponent);
    scale_by_power(pencil.B, -exponent);
  }
  PencilCall<T> call = PencilCall<T>(pencil).hgeqz();
  ASSERT_EQ(call.info, 0);
  EXPECT_TRUE(is_pencil_schur_form(call.A, call.B));
  expect_equivalent(pencil, call);
  if (ComplexScalar<T>) {
    call.alphar(4) *= std::ldexp(Real<T>(1), -exponent);
    call.beta(4) *= std::ldexp(Real<T>(1), exponent);
  }
  expect_real_value(call, 4, call.values()[3].alpha.real() < 0 ? -1 : 1);
}

template <class R>
class ComplexQzShifts : public ReportingTest {
 protected:
  using C = std::complex<R>;

  /// The last eigenvalue of a pencil near a circle, multiplied by u. In the circle itself directions of complex columns
  /// hang on the last digits: real elements that are larger than those leave nothing open but signs.
  std::complex<double> last_value_near_circle(double rho, double s, C u) {
    constexpr double away = 1e-3;
    Pencil<C> pencil = identities<C>(4);
    set_circle(pencil, 1, rho, s);
    for (Int j = 1; j <= 4; ++j) {
      for (Int i = 1; i <= 4; ++i) {
        if (i <= j + 1) pencil.A(i, j) += C(R(away * random.real()));
        if (i <= j) pencil.B(i, j) += C(R(away * random.real()));
        pencil.A(i, j) *= u;
      }
    }
    pencil.A.seal();
    pencil.B.seal();
    const PencilCall<C> call = PencilCall<C>(pencil).hgeqz();
    expect_schur_form(pencil, call);
    const PencilValue value = call.values()[3];
    return value.alpha / value.beta;
  }

  Random random{63};
};
TYPED_TEST_SUITE(ComplexQzShifts, RealPrecisions, PrecisionLetter);

/// The quotient is plus or minus u; all four of u, -u and their conjugates are eigenvalues.
TYPED_TEST(ComplexQzShifts, ConjugatesTheQuotient) {
  using R = TypeParam;
  const R half = std::sqrt(R(0.5));
  for (int round = 0; round < 10; ++round) {
    const std::complex<double> value = this->last_value_near_circle(golden_rho, 0, {half, half});
    EXPECT_LT(value.real() * value.imag(), -0.4) << value;
  }
}

/// The tenth shift is s or -s. That is the eigenvalue zero, or else shifts go on to 2 s, which is one, too.
TYPED_TEST(ComplexQzShifts, AddsQuotientsFromOneExceptionalShiftToTheNext) {
  int added = 0;
  for (int round = 0; round < 20; ++round) {
    const std::complex<double> value = this->last_value_near_circle(tribonacci_rho, -1, 1);
    const bool is_added = value.real() < -1;
    EXPECT_NEAR(std::abs(value - (is_added ? -2.0 : 0.0)), 0, 0.01);
    added += is_added;
  }
  EXPECT_GT(added, 0);
}

/// The shift 1 or -1 of the circle above, whatever that of the circle below was: 4 i or -4 i.
TYPED_TEST(ComplexQzShifts, BeginsSumsAnewForOtherEigenvalues) {
  using R = TypeParam;
  using C = std::complex<R>;
  Pencil<C> pencil = identities<C>(8);
  set_circle(pencil, 1, golden_rho, 0);
  set_circle(pencil, 5, golden_rho, 0);
  for (Int j = 5; j <= 8; ++j) {
    for (Int i = 5; i <= 8; ++i) pencil.A(i, j) *= C(0, 4);
  }
  pencil.A.seal();
  const PencilCall<C> call = PencilCall<C>(pencil).hgeqz();
  expect_schur_form(pencil, call);
  const auto value = [&](Int j) { return call.values()[std::size_t(j - 1)]; };
  EXPECT_NEAR(std::abs(value(4).alpha.real() / value(4).beta), 1, 100 * epsilon<R>);
  EXPECT_NEAR(std::abs(value(8).alpha.imag() / value(8).beta), 4, 400 * epsilon<R>);
}

// -------------------------------------------------------------------------------------------------------------- sweeps

/// Rows in front of two small elements below the diagonal stay out of sweeps: a NaN that stands there spoils nothing
/// behind them. The norm of A, of which there is none, does not count for elements of that size.
TYPED_TEST(QzShifts, BeginsSweepsAtTwoSmallElements) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 6, first = 4, m = n - first + 1;
  const R small = std::sqrt(epsilon<R>) / 64;
  const auto set_elements = [&](Pencil<T>& pencil, Int offset) {
    for (Int j = 1; j <= pencil.A.rows(); ++j) {
      for (Int i = 1; i <= std::min(j + 1, pencil.A.rows()); ++i) {
        pencil.A(i, j) = T(i == j ? R(j + offset) : i < j ? R(0.25) : R(0.5));
      }
    }
    for (const Int j : {first - 1, first}) {
      if (j > offset) pencil.A(j + 1 - offset, j - offset) = T(small);
    }
    scale_by_power(pencil.A, std::numeric_limits<R>::min_exponent + std::numeric_limits<R>::digits + 4);
  };
  for (const char job : {'S', 'E'}) {
    Pencil<T> pencil = identities<T>(n), end = identities<T>(m);
    set_elements(pencil, 0);
    set_elements(end, first - 1);
    pencil.A(1, 1) = T(std::numeric_limits<R>::quiet_NaN());
    PencilCall<T> call(pencil);
    call.job = job;
    call.hgeqz();
    EXPECT_EQ(call.info, n + first);
    EXPECT_TRUE(call.alphar.unchanged_outside(first + 1, n));
    const std::vector<PencilValue> found = call.values(), expected = PencilCall<T>(end).hgeqz().values();
    for (const Int k : {n - 1, n}) {
      double least = 1;
      for (PencilValue value : expected) {
        PencilValue other = found[std::size_t(k - 1)];
        value.alpha /= std::real(pencil.A(2, 2));
        other.alpha /= std::real(pencil.A(2, 2));
        least = std::min(least, chordal_distance(value, other));
      }
      EXPECT_LT(least, 1e4 * epsilon<T>) << k;
    }
  }
}

/// Above a block that hangs on nothing, eigenvalues alone take no transformations.
TYPED_TEST(QzShifts, TransformsNothingAboveABlockForEigenvaluesAlone) {
  using T = TypeParam;
  const Int n = 9, last = 4;
  Pencil<T> pencil = random_hessenberg_triangular<T>(this->random, n, n);
  pencil.A(last + 1, last) = T(0);
  PencilCall<T> call(pencil);
  call.job = 'E';
  call.compq = call.compz = 'N';
  call.hgeqz();
  ASSERT_EQ(call.info, 0);
  for (Int j = last + 1; j <= n; ++j) {
    for (Int i = 1; i <= last; ++i) {
      EXPECT_EQ(call.A(i, j), pencil.A(i, j)) << i << ", " << j;
      EXPECT_EQ(call.B(i, j), pencil.B(i, j)) << i << ", " << j;
    }
  }
}

}  // namespace
}  // namespace nuv::test
