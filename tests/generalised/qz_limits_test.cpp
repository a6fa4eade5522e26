// Where the QZ iteration has to give up, or to take a shift that no eigenvalue suggests.

#include <array>
#include <cmath>
#include <limits>

#include "generalised/pencil_call.hpp"
#include "support/deadline.hpp"
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

}  // namespace
}  // namespace nuv::test
