// Where the QZ iteration has to give up, or to take a shift that no eigenvalue suggests.

#include <array>
#include <cmath>
#include <limits>

#include "generalised/pencil_call.hpp"
#include "support/deadline.hpp"
#include "support/real_precisions.hpp"
#include "support/reported_errors.hpp"
#include "support/small_stack.hpp"

namespace nuv::test {
namespace {

template <class T>
class QzLimits : public ReportingTest {
 protected:
  Random random{61};
};
TYPED_TEST_SUITE(QzLimits, Precisions, PrecisionLetter);

/// Rows 1 ... 3 turn in circles, whose last two have eigenvalues zero and no element from which an exceptional shift
/// could be made; the others are triangular.
template <Scalar T>
Pencil<T> endless_pencil(Int n) {
  Pencil<T> pencil{identity_matrix<T>(n, n + 1), identity_matrix<T>(n, n + 2)};
  for (Int j = 1; j <= 3; ++j) {
    for (Int i = 1; i <= 3; ++i) pencil.A(i, j) = T(Real<T>(i == j % 3 + 1));
  }
  for (Int j = 4; j <= n; ++j) pencil.A(j, j) = T(Real<T>(j));
  pencil.A.seal();
  return pencil;
}

/// Eigenvalues behind the rows that are left are there, and the transformations made so far keep the pencil what it
/// was.
TYPED_TEST(QzLimits, TellsWhichEigenvaluesAreMissing) {
  using T = TypeParam;
  for (const Int n : {3, 4, 7}) {
    const Pencil<T> pencil = endless_pencil<T>(n);
    for (const char job : {'S', 'E'}) {
      SCOPED_TRACE(testing::Message() << n << job);
      PencilCall<T> call(pencil);
      call.job = job;
      call.hgeqz();
      EXPECT_EQ(call.info, 3);
      EXPECT_TRUE(call.guards_unchanged());
      EXPECT_TRUE(call.alphar.unchanged_outside(4, n));
      EXPECT_TRUE(call.beta.unchanged_outside(4, n));
      for (Int k = 4; k <= n; ++k) {
        EXPECT_EQ(call.alphar(k), T(Real<T>(k)));
        EXPECT_EQ(call.beta(k), T(1));
      }
      EXPECT_EQ(call.work(1), T(Real<T>(n)));
      if (job == 'E') continue;
      expect_equivalent(pencil, call);
      EXPECT_TRUE(is_hessenberg_triangular(call.A, call.B, 1, n));
    }
  }
}

/// On each of these a member of the iteration turns in circles until the tenth sweep takes another shift.
TYPED_TEST(QzLimits, LeavesCirclesByExceptionalShifts) {
  using T = TypeParam;
  for (const auto& rows : {std::array<std::array<int, 3>, 3>{{{0, -1, 0}, {1, 0, -1}, {0, 1, 0}}},
                           {{{1, -1, 0}, {1, 1, -1}, {0, 1, 1}}},
                           {{{1, 0, -1}, {1, 1, 0}, {0, 1, 1}}},
                           {{{-1, 0, 1}, {1, -1, 0}, {0, 1, -1}}}}) {
    Pencil<T> pencil{identity_matrix<T>(3, 4), identity_matrix<T>(3, 4)};
    for (Int j = 1; j <= 3; ++j) {
      for (Int i = 1; i <= 3; ++i) pencil.A(i, j) = T(Real<T>(rows[std::size_t(i - 1)][std::size_t(j - 1)]));
    }
    pencil.A.seal();
    expect_schur_form(pencil, PencilCall<T>(pencil).hgeqz());
  }
}

/// (s B + C B, B) in rows and columns first ... first + 3, where C moves each row to the next one and the columns of
/// the inverse of B have the products rho, rho^2 and rho in their cycle of four. The last rows suggest s for a shift.
/// Such a sweep has the effect of C, under which nothing changes but for the sign of the last column. Eigenvalues are s
/// + 1, s - 1, s + i and s - i.
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

template <class R>
class RealQzLimits : public ReportingTest {};
TYPED_TEST_SUITE(RealQzLimits, RealPrecisions, PrecisionLetter);

/// Where the tenth shift is an eigenvalue to the last digits, that one is found at once. It is the quotient of two
/// elements, whatever the shift in the circle below was.
TYPED_TEST(RealQzLimits, TakesTheTenthShiftFromTheElementBesideTheDiagonal) {
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
TYPED_TEST(RealQzLimits, AddsQuotientsFromOneExceptionalShiftToTheNext) {
  using R = TypeParam;
  const double rho = 0.54368901269207636;  // rho + rho^2 + rho^3 = 1
  ASSERT_NEAR(centre_of_circle(rho, 0), -1, 1e-14);
  Pencil<R> pencil = identities<R>(4);
  set_circle(pencil, 1, rho, -1);
  const PencilCall<R> call = PencilCall<R>(pencil).hgeqz();
  expect_schur_form(pencil, call);
  expect_real_value(call, 4, -2);
}

/// Where the quotient would be too large a number. What stands for it is small beside the eigenvalues, and takes many
/// sweeps.
TYPED_TEST(RealQzLimits, TakesALargeExceptionalShiftInsteadOfALargerQuotient) {
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
TYPED_TEST(QzLimits, TakesTheTenthShiftFromTheElementsInNormOne) {
  using T = TypeParam;
  const double rho = std::sqrt((std::sqrt(5.0) - 1) / 2);  // rho^2 = sqrt(1 - rho^2)
  const int exponent = std::numeric_limits<Real<T>>::max_exponent * 5 / 8;
  Pencil<T> pencil = identities<T>(4);
  set_circle(pencil, 1, rho, 0);
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

/// Of numbers that are none no shift can be made: the row is told where that was so.
TYPED_TEST(QzLimits, TellsWhereThereIsNoShift) {
  using T = TypeParam;
  constexpr Real<T> nan = std::numeric_limits<Real<T>>::quiet_NaN();
  for (const bool in_a : {true, false}) {
    for (const char job : {'S', 'E'}) {
      // The last row is decoupled, the two before it are not.
      Pencil<T> pencil = random_hessenberg_triangular<T>(this->random, 4, 5);
      pencil.A(4, 3) = T(0);
      (in_a ? pencil.A : pencil.B)(2, 3) = T(nan);
      PencilCall<T> call(pencil);
      call.job = job;
      call.hgeqz();
      EXPECT_EQ(call.info, 4 + 3);
      EXPECT_TRUE(call.guards_unchanged());
      EXPECT_TRUE(call.alphar.unchanged_outside(4, 4));
      EXPECT_NEAR(std::abs(std::complex<double>(call.beta(4))), std::abs(std::complex<double>(pencil.B(4, 4))),
                  4 * epsilon<T>);
    }
  }
}

bool are_finite(const std::vector<PencilValue>& values) {
  for (const auto& [alpha, beta] : values) {
    if (!std::isfinite(alpha.real()) || !std::isfinite(alpha.imag()) || !std::isfinite(beta)) return false;
  }
  return true;
}

/// Beside an infinite element none is negligible.
TYPED_TEST(QzLimits, HidesNoInfinity) {
  using T = TypeParam;
  constexpr Real<T> inf = std::numeric_limits<Real<T>>::infinity();
  for (const bool in_a : {true, false}) {
    for (const char job : {'S', 'E'}) {
      Pencil<T> pencil = random_hessenberg_triangular<T>(this->random, 3, 3);
      (in_a ? pencil.A : pencil.B)(1, 3) = T(-inf);
      PencilCall<T> call(pencil);
      call.job = job;
      call.hgeqz();
      EXPECT_TRUE(call.info > 0 || !are_finite(call.values())) << in_a << job;
    }
  }
}

/// Q and Z are large enough for their transformations to wait.
TYPED_TEST(QzLimits, RunsInSmallStacks) {
  using T = TypeParam;
  for (const Int n : {3, 140}) {
    for (const char comp : {'N', 'I'}) {
      const Pencil<T> pencil = random_hessenberg_triangular<T>(this->random, n, n);
      PencilCall<T> call(pencil);
      call.compq = call.compz = comp;
      run_in_small_stack([&] { call.hgeqz(); });
      EXPECT_EQ(call.info, 0);
      EXPECT_TRUE(is_pencil_schur_form(call.A, call.B));
      if (comp == 'I') expect_equivalent(pencil, call);
    }
  }
}

TYPED_TEST(QzLimits, EndsWhateverThePencilHolds) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr R inf = std::numeric_limits<R>::infinity(), nan = std::numeric_limits<R>::quiet_NaN();
  for (const Int n : {5, 40}) {
    const Pencil<T> pencil = random_hessenberg_triangular<T>(this->random, n, n);
    for (Int i = 1; i <= n; i += n == 5 ? 1 : 13) {
      for (Int j = std::max(1, i - 1); j <= n; j += n == 5 ? 1 : 13) {
        for (const R odd : {nan, inf, -inf}) {
          for (const bool in_a : {true, false}) {
            if (!in_a && i > j) continue;
            for (const char job : {'S', 'E'}) {
              Pencil<T> spoiled = pencil;
              (in_a ? spoiled.A : spoiled.B)(i, j) = T(odd);
              PencilCall<T> call(spoiled);
              call.job = job;
              const Deadline deadline(20, "hgeqz with an odd number");
              call.hgeqz();
              EXPECT_GE(call.info, 0);
              EXPECT_LE(call.info, 2 * n);
              EXPECT_TRUE(call.info > 0 || !are_finite(call.values())) << i << ' ' << j << ' ' << odd << in_a << job;
              EXPECT_TRUE(call.guards_unchanged());
            }
          }
        }
      }
    }
  }
  // Two kinds of them at once.
  for (int round = 0; round < 200; ++round) {
    Pencil<T> spoiled = random_hessenberg_triangular<T>(this->random, 6, 6);
    for (const R odd : {nan, inf, inf}) {
      const Int j = this->random.integer(1, 6), i = this->random.integer(1, j);
      (this->random.integer(0, 1) == 0 ? spoiled.A : spoiled.B)(i, j) = T(odd);
    }
    const Deadline deadline(20, "hgeqz with odd numbers");
    EXPECT_GE(PencilCall<T>(spoiled).hgeqz().info, 0);
  }
}

/// Rows in front of two small elements below the diagonal stay out of sweeps: a NaN that stands there spoils nothing
/// behind them. The norm of A, of which there is none, does not count for elements of that size.
TYPED_TEST(QzLimits, BeginsSweepsAtTwoSmallElements) {
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
TYPED_TEST(QzLimits, TransformsNothingAboveABlockForEigenvaluesAlone) {
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
