// Schur forms and eigenvalues of Hessenberg matrices: hseqr, and the iterations with many shifts behind it.

#include <limits>

#include "nonsymmetric/hessenberg_call.hpp"
#include "nonsymmetric/hessenberg_matrices.hpp"
#include "support/argument_checks.hpp"

namespace nuv::test {
namespace {

/// The largest order for the iteration without chains of bulges.
constexpr Int nmin = 75;

template <class T>
class HessenbergQr : public ReportingTest {
 protected:
  Random random{59};

  GuardedMatrix<T> matrix(const char* name, Int n) {
    return make_hessenberg<T>(hessenberg_matrix(name), random, n, std::max(1, n) + 1);
  }
};
TYPED_TEST_SUITE(HessenbergQr, Precisions, PrecisionLetter);

TYPED_TEST(HessenbergQr, FindsSchurFormsOfSmallMatrices) {
  using T = TypeParam;
  for (const HessenbergDescription& description : described_hessenberg_matrices()) {
    for (Int n = 0; n <= 13; ++n) {
      SCOPED_TRACE(testing::Message() << description.name << ' ' << n);
      const GuardedMatrix<T> A = make_hessenberg<T>(description, this->random, n, std::max(1, n) + 1);
      expect_schur_form(A, HessenbergCall<T>(A).hseqr());
      expect_schur_form(A, HessenbergCall<T>(A).laqr0());
    }
  }
}

TYPED_TEST(HessenbergQr, FindsSchurFormsOfDescribedMatrices) {
  using T = TypeParam;
  for (const HessenbergDescription& description : described_hessenberg_matrices()) {
    SCOPED_TRACE(description.name);
    const GuardedMatrix<T> A = make_hessenberg<T>(description, this->random, 40, 41);
    expect_schur_form(A, HessenbergCall<T>(A).hseqr());
    expect_schur_form(A, HessenbergCall<T>(A).laqr0());
    expect_schur_form(A, HessenbergCall<T>(A).laqr4());
  }
  for (const char* const name : {"cyclic", "Frank", "graded"}) {
    SCOPED_TRACE(name);
    const GuardedMatrix<T> A = this->matrix(name, nmin + 5);
    expect_schur_form(A, HessenbergCall<T>(A).hseqr());
  }
}

TYPED_TEST(HessenbergQr, FindsSchurFormsOfLargerMatrices) {
  using T = TypeParam;
  for (const Int n : {59, 60, nmin, nmin + 1}) {
    SCOPED_TRACE(n);
    const GuardedMatrix<T> A = this->matrix("random", n);
    expect_schur_form(A, HessenbergCall<T>(A).hseqr());
  }
  const GuardedMatrix<T> A = this->matrix("random", 150);
  expect_schur_form(A, HessenbergCall<T>(A).hseqr());
}

/// Where the number of shifts, and with it the order of windows, changes.
TYPED_TEST(HessenbergQr, FindsSchurFormsWithAnyNumberOfShifts) {
  using T = TypeParam;
  for (const Int n : {29, 30, 59, 60, 149}) {
    SCOPED_TRACE(n);
    const GuardedMatrix<T> A = this->matrix("random", n);
    expect_schur_form(A, HessenbergCall<T>(A).laqr0());
  }
}

/// From order 590 on windows are so large that the iteration takes itself for them.
TEST(LargeHessenbergQr, FindsSchurForms) {
  Random random(61);
  const GuardedMatrix<double> A = random_hessenberg<double>(random, 300, 301);
  expect_schur_form(A, HessenbergCall<double>(A).hseqr());
  const GuardedMatrix<float> B = random_hessenberg<float>(random, 600, 600);
  expect_schur_form(B, HessenbergCall<float>(B).hseqr());
}

TYPED_TEST(HessenbergQr, StaysInTheActiveRows) {
  using T = TypeParam;
  for (const auto& [n, ilo, ihi] :
       {std::array{5, 2, 4}, {5, 1, 3}, {5, 3, 5}, {12, 3, 12}, {20, 6, 7}, {90, 4, 85}, {90, 20, 60}, {90, 1, 80}}) {
    SCOPED_TRACE(testing::Message() << n << ", " << ilo << " to " << ihi);
    const GuardedMatrix<T> A = partly_triangular(this->matrix("random", n), ilo, ihi);
    const HessenbergCall<T> call = HessenbergCall<T>(A, ilo, ihi).hseqr();
    expect_schur_form(A, call);
    for (Int j = 1; j <= n; ++j) {
      if (j >= ilo && j <= ihi) continue;
      EXPECT_EQ(call.H(j, j), A(j, j));
      for (Int i = 1; i <= n; ++i) EXPECT_EQ(call.Z(i, j), T(Real<T>(i == j)));
    }
  }
}

/// The rows of Z outside of the active ones are left alone, whatever they hold.
TYPED_TEST(HessenbergQr, MultipliesTheActiveRowsOfZ) {
  using T = TypeParam;
  for (const auto& [n, ilo, ihi] : {std::array{9, 1, 9}, {9, 3, 6}, {40, 1, 40}, {90, 1, 90}, {90, 11, 88}}) {
    SCOPED_TRACE(testing::Message() << n << ", " << ilo << " to " << ihi);
    const GuardedMatrix<T> A = partly_triangular(this->matrix("random", n), ilo, ihi);
    HessenbergCall<T> call(A, ilo, ihi);
    call.compz = 'v';
    const GuardedMatrix<T> start = random_unitary<T>(this->random, n, call.ldz);
    call.Z = start;
    call.hseqr();
    const HessenbergCall<T> formed = HessenbergCall<T>(A, ilo, ihi).hseqr();
    EXPECT_TRUE(call.H.same_as(formed.H) && call.w.same_as(formed.w));
    WideMatrix<T> expected = product<T>(wide(start), wide(formed.Z));
    for (Int i = 1; i <= n; ++i) {
      if (i < ilo || i > ihi) expected.row(i - 1) = wide(start).row(i - 1);
    }
    EXPECT_LT(one_norm<T>(WideMatrix<T>(wide(call.Z) - expected)) / (n * epsilon<T>), 10);
    EXPECT_TRUE(call.Z.unchanged_except([&](Int i, Int) { return i >= ilo && i <= ihi; }));
  }
}

/// The iteration itself is told which rows they are.
TYPED_TEST(HessenbergQr, MultipliesOtherRowsOfZ) {
  using T = TypeParam;
  for (const auto& [n, ilo, ihi] : {std::array{40, 11, 38}, {80, 3, 78}}) {
    SCOPED_TRACE(n);
    const GuardedMatrix<T> A = partly_triangular(this->matrix("random", n), ilo, ihi);
    HessenbergCall<T> formed(A, ilo, ihi), call(A, ilo, ihi);
    formed.laqr0();
    const GuardedMatrix<T> start = random_unitary<T>(this->random, n, call.ldz);
    call.Z = start;
    call.iloz = 2;
    call.ihiz = n - 1;
    call.laqr0();
    const WideMatrix<T> expected = product<T>(wide(start), wide(formed.Z));
    const WideMatrix<T> difference = wide(call.Z) - expected;
    EXPECT_LT(one_norm<T>(WideMatrix<T>(difference.middleRows(1, n - 2))) / (n * epsilon<T>), 10);
    EXPECT_TRUE(call.Z.unchanged_except([&](Int i, Int) { return i >= 2 && i <= n - 1; }));
  }
}

TYPED_TEST(HessenbergQr, LeavesZAloneUnlessAsked) {
  using T = TypeParam;
  for (const Int n : {8, 90}) {
    const GuardedMatrix<T> A = this->matrix("random", n);
    HessenbergCall<T> call(A);
    call.compz = 'n';
    call.ldz = 1;
    call.hseqr();
    EXPECT_EQ(call.info, 0);
    EXPECT_TRUE(call.Z.unchanged());
    EXPECT_TRUE(is_schur_form(call.H));
    const HessenbergCall<T> formed = HessenbergCall<T>(A).hseqr();
    EXPECT_TRUE(call.H.same_as(formed.H) && call.w.same_as(formed.w));
  }
}

/// Where eigenvalues are well conditioned.
TYPED_TEST(HessenbergQr, FindsTheSameEigenvaluesAlone) {
  using T = TypeParam;
  for (const Int n : {1, 2, 3, 4, 9, 30, nmin, nmin + 15}) {
    SCOPED_TRACE(n);
    const GuardedMatrix<T> A = unitary_hessenberg<T>(this->random, n, n + 1);
    const HessenbergCall<T> schur = HessenbergCall<T>(A).hseqr();
    expect_schur_form(A, schur);
    for (const char compz : {'N', 'i'}) {
      HessenbergCall<T> alone(A);
      alone.job = 'e';
      alone.compz = compz;
      alone.hseqr();
      EXPECT_EQ(alone.info, 0);
      EXPECT_TRUE(alone.guards_unchanged());
      EXPECT_LT(spectrum_distance(alone.w.list(1, n), schur.w.list(1, n)), 10 * n * epsilon<T>);
      if (RealScalar<T>) {
        for (Int i = 1; i <= n; ++i) {
          const auto value = alone.w(i);
          if (value.imag() == 0) continue;
          EXPECT_GT(value.imag(), 0);
          EXPECT_EQ(alone.w(i + 1), std::conj(value));
          ++i;
        }
      }
    }
  }
}

/// Roots of unity; of the second difference; of a polynomial with roots 1 ... 6; of a Jordan block, within the radius
/// that a perturbation of eps allows.
TYPED_TEST(HessenbergQr, FindsKnownEigenvalues) {
  using T = TypeParam;
  using Complex = std::complex<double>;
  const double pi = std::acos(-1.0);
  for (const Int n : {5, 40, 100}) {
    std::vector<Complex> unity, difference, jordan;
    for (Int k = 1; k <= n; ++k) {
      unity.push_back(std::polar(1.0, 2 * pi * k / n));
      difference.push_back(2 - 2 * std::cos(k * pi / (n + 1)));
      jordan.push_back(RealScalar<T> ? Complex(0.75) : Complex(0.75, 0.5));
    }
    const double rounding = 10 * n * epsilon<T>;
    for (const auto& [name, expected, error] : {std::tuple{"cyclic", unity, rounding},
                                                {"second difference", difference, 4 * rounding},
                                                {"lower Jordan block", jordan, 2 * std::pow(rounding, 1.0 / n)}}) {
      SCOPED_TRACE(testing::Message() << name << ' ' << n);
      for (const char job : {'S', 'E'}) {
        HessenbergCall<T> call(this->matrix(name, n));
        call.job = job;
        call.hseqr();
        EXPECT_EQ(call.info, 0);
        EXPECT_LE(spectrum_distance(call.w.list(1, n), expected), error);
      }
    }
  }
  GuardedMatrix<T> companion(4, 4, 4);
  const double coefficients[] = {10, -35, 50, -24};
  for (Int j = 1; j <= 4; ++j) {
    for (Int i = 1; i <= 4; ++i) companion(i, j) = T(Real<T>(i == 1 ? coefficients[j - 1] : i == j + 1));
  }
  companion.seal();
  const HessenbergCall<T> roots = HessenbergCall<T>(companion).hseqr();
  EXPECT_LT(spectrum_distance(roots.w.list(1, 4), {1, 2, 3, 4}), 1e4 * epsilon<T>);
}

// ---------------------------------------------------------------------------------------------- choice of the method

TYPED_TEST(HessenbergQr, TakesTheIterationForSmallMatrices) {
  using T = TypeParam;
  for (const Int n : {2, 11, 12, nmin - 1, nmin, nmin + 1}) {
    SCOPED_TRACE(n);
    const GuardedMatrix<T> A = this->matrix("random", n);
    const HessenbergCall<T> found = HessenbergCall<T>(A).hseqr(), small = HessenbergCall<T>(A).lahqr(),
                            large = HessenbergCall<T>(A).laqr0();
    EXPECT_EQ(found.H.same_as(small.H) && found.Z.same_as(small.Z) && found.w.same_as(small.w), n <= nmin);
    EXPECT_EQ(found.H.same_as(large.H) && found.Z.same_as(large.Z) && found.w.same_as(large.w), n <= 11 || n > nmin);
  }
}

/// The order counts, not that of the active rows.
TYPED_TEST(HessenbergQr, ChoosesByTheOrderOfTheMatrix) {
  using T = TypeParam;
  const GuardedMatrix<T> A = partly_triangular(this->matrix("random", nmin + 5), 10, 40);
  const HessenbergCall<T> found = HessenbergCall<T>(A, 10, 40).hseqr(), large = HessenbergCall<T>(A, 10, 40).laqr0();
  EXPECT_TRUE(found.H.same_as(large.H) && found.Z.same_as(large.Z));
}

TYPED_TEST(HessenbergQr, DoesWithAnyWorkspace) {
  using T = TypeParam;
  for (const Int n : {12, 20, 80}) {
    SCOPED_TRACE(n);
    const GuardedMatrix<T> A = this->matrix("random", n);
    HessenbergCall<T> least(A), little(A);
    least.make_room(n);
    little.make_room(2 * n);
    expect_schur_form(A, least.laqr0());
    expect_schur_form(A, little.laqr4());
  }
}

TYPED_TEST(HessenbergQr, StoresASingleEigenvalue) {
  using T = TypeParam;
  const GuardedMatrix<T> A = partly_triangular(this->matrix("random", 6), 3, 3);
  HessenbergCall<T> call(A, 3, 3);
  call.Z = random_unitary<T>(this->random, 6, call.ldz);
  call.hseqr();
  EXPECT_EQ(call.info, 0);
  EXPECT_TRUE(call.H.unchanged());
  for (Int i = 1; i <= 6; ++i) {
    EXPECT_EQ(call.w(i), std::complex<double>(A(i, i)));
    for (Int j = 1; j <= 6; ++j) EXPECT_EQ(call.Z(i, j), T(Real<T>(i == j)));
  }
  EXPECT_EQ(call.work(1), T(6));
}

TYPED_TEST(HessenbergQr, TellsItsWorkspace) {
  using T = TypeParam;
  // gehrd takes 32 columns for a window of one more than the first, and its factors one.
  for (const auto& [n, window] :
       {std::pair{1, 0}, {11, 0}, {12, 2}, {29, 2}, {30, 4}, {nmin, 10}, {149, 10}, {200, 26}}) {
    SCOPED_TRACE(n);
    const GuardedMatrix<T> A = this->matrix("random", n);
    HessenbergCall<T> asked(A), asked_by_iteration(A), called(A);
    for (auto* call : {&asked, &asked_by_iteration}) {
      call->make_room(1);
      call->lwork = -1;
    }
    asked.hseqr();
    asked_by_iteration.w.give_to([&](auto*... values) {
      auto& c = asked_by_iteration;
      routine_call::laqr0(c.wantt(), c.wantz(), n, 1, n, Matrix<T>(c.H), values..., 1, n, Matrix<T>(c.Z), c.work.data(),
                          c.lwork, c.info);
    });
    for (const auto* call : {&asked, &asked_by_iteration}) {
      EXPECT_EQ(call->info, 0);
      EXPECT_TRUE(call->H.unchanged() && call->Z.unchanged() && call->w.unchanged_outside(1, 0));
      EXPECT_TRUE(call->work.guards_unchanged());
    }
    const int inner = n <= 11 ? 1 : 33 * (window + 1);
    EXPECT_EQ(asked_by_iteration.work(1), T(Real<T>(inner)));
    EXPECT_EQ(asked.work(1), T(Real<T>(std::max(n, inner))));
    if (n > 100) continue;
    called.hseqr();
    EXPECT_EQ(called.work(1), n > nmin ? asked.work(1) : T(Real<T>(n)));
  }
}

// ----------------------------------------------------------------------------------------------------------- failures

/// A NaN in the first rows of a matrix that falls into two blocks: the eigenvalues of the second are there, and the
/// first is left.
TYPED_TEST(HessenbergQr, TellsWhatItCouldNotFind) {
  using T = TypeParam;
  constexpr Real<T> nan = std::numeric_limits<Real<T>>::quiet_NaN();
  for (const auto& [n, border] : {std::pair{8, 4}, {48, 5}, {49, 20}, {nmin + 1, 50}}) {
    for (const char job : {'S', 'E'}) {
      SCOPED_TRACE(testing::Message() << n << ", " << border << ' ' << job);
      GuardedMatrix<T> A = this->matrix("random", n);
      A(border + 1, border) = T(0);
      GuardedMatrix<T> rest(n - border, n - border, n - border);
      for (Int j = 1; j <= n - border; ++j) {
        for (Int i = 1; i <= n - border; ++i) rest(i, j) = A(border + i, border + j);
      }
      A(1, 2) = T(nan);
      A.seal();
      HessenbergCall<T> call(A);
      call.job = job;
      call.hseqr();
      EXPECT_EQ(call.info, border);
      EXPECT_TRUE(call.guards_unchanged());
      for (Int j = 1; j <= n; ++j) {
        for (Int i = j + 2; i <= n; ++i) ASSERT_EQ(call.H(i, j), T(0)) << i << ' ' << j;
      }
      const HessenbergCall<T> expected = HessenbergCall<T>(rest).hseqr();
      EXPECT_LT(spectrum_distance(call.w.list(border + 1, n), expected.w.list(1, n - border)),
                std::sqrt(Real<T>(n) * epsilon<T>));
    }
  }
}

/// A matrix on whose first three rows the iteration for small matrices turns in circles, in double precision.
template <Scalar T>
GuardedMatrix<T> endless_matrix(Random& random, Int n) {
  GuardedMatrix<T> A = random_hessenberg<T>(random, n, n + 1);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= std::min(n, j + 1); ++i) {
      if (i > 5 || j <= 5) A(i, j) = T(Real<T>(i == j && i > 5 ? i : i == j + 1 && i <= 5));
    }
  }
  if constexpr (RealScalar<T>) {
    A(4, 5) = T(-1);
  } else {
    A(4, 3) = T(0);
    A(1, 2) = T(-1);
    A(2, 3) = T(1);
  }
  A.seal();
  return A;
}

/// The iteration with many shifts goes on where the other one fails: on the matrix, or for a small one on a copy in a
/// larger one.
TYPED_TEST(HessenbergQr, GoesOnWhereTheIterationForSmallMatricesFails) {
  using T = TypeParam;
  for (const Int n : {5, 20, 48, 49, nmin}) {
    SCOPED_TRACE(n);
    const GuardedMatrix<T> A = endless_matrix<T>(this->random, n);
    HessenbergCall<T> schur(A), alone(A), small(A), small_alone(A);
    alone.job = small_alone.job = 'E';
    small.lahqr();
    small_alone.lahqr();
    if (!std::same_as<Real<T>, float>) {
      ASSERT_EQ(small.info, 3);
      ASSERT_EQ(small_alone.info, 3);
    }
    expect_schur_form(A, schur.hseqr());
    alone.hseqr();
    EXPECT_EQ(alone.info, 0);
    EXPECT_TRUE(alone.guards_unchanged());
    // Zero is an eigenvalue three times.
    EXPECT_LT(spectrum_distance(alone.w.list(1, n), schur.w.list(1, n)), 10 * std::pow(n * epsilon<T>, 1.0 / 3));
    // What the failure left comes back if it is wanted, or was not overcome.
    if (small.info != 0) {
      EXPECT_EQ(alone.H.same_as(small_alone.H), n < 49);
    }
  }
}

TYPED_TEST(HessenbergQr, EndsWhateverTheMatrixHolds) {
  using T = TypeParam;
  constexpr Real<T> inf = std::numeric_limits<Real<T>>::infinity(), nan = std::numeric_limits<Real<T>>::quiet_NaN();
  for (const Int n : {5, 60, 90}) {
    const GuardedMatrix<T> A = this->matrix("random", n);
    for (const auto& [i, j] : {std::pair{1, 1}, {n, n}, {1, n}, {n / 2 + 1, n / 2}, {n / 2, n / 2 + 2}, {n, n - 1}}) {
      for (const Real<T> value : {nan, inf, -inf}) {
        for (const char job : {'S', 'E'}) {
          GuardedMatrix<T> spoiled = A;
          spoiled(i, j) = T(value);
          HessenbergCall<T> call(spoiled);
          call.job = job;
          call.hseqr();
          EXPECT_GE(call.info, 0);
          EXPECT_TRUE(call.guards_unchanged());
        }
      }
    }
  }
}

// ---------------------------------------------------------------------------------------------------------- arguments

template <Scalar T>
struct ValidCall : HessenbergCall<T> {
  ValidCall() : HessenbergCall<T>(matrix(), 2, 4) {
    this->make_room(5);
    this->work.seal();
  }

  static GuardedMatrix<T> matrix() {
    Random random(3);
    return partly_triangular(make_hessenberg<T>(hessenberg_matrix("random"), random, 5, 5), 2, 4);
  }

  Int run() {
    this->hseqr();
    return this->info;
  }

  bool unchanged() const {
    return this->H.unchanged() && this->Z.unchanged() && this->w.unchanged_outside(1, 0) &&
           this->work.unchanged_outside(1, 1);
  }
};

TYPED_TEST(HessenbergQr, ChecksItsArguments) {
  using T = TypeParam;
  using Call = ValidCall<T>;
  constexpr int arrays = RealScalar<T> ? 2 : 1;
  const std::string name = reported_name<T>("HSEQR");
  expect_argument_checks<Call>(name, {{1, [](Call& c) { c.job = 'V'; }},
                                      {2, [](Call& c) { c.compz = 'S'; }},
                                      {3, [](Call& c) { c.n = -1; }},
                                      {4, [](Call& c) { c.ilo = 0; }},
                                      {5, [](Call& c) { c.ihi = 6; }},
                                      {7, [](Call& c) { c.ldh = 4; }},
                                      {9 + arrays, [](Call& c) { c.ldz = 4; }},
                                      {11 + arrays, [](Call& c) { c.lwork = 4; }}});
  Call late_start, early_end, no_rows, short_z, bad;
  late_start.ilo = 6;
  expect_report(late_start, name, 4);
  early_end.ihi = 1;
  expect_report(early_end, name, 5);
  no_rows.compz = 'N';
  no_rows.ldz = 0;
  expect_report(no_rows, name, 9 + arrays);
  short_z.compz = 'N';
  short_z.ldz = 1;
  expect_report(short_z, name, 0);
  // The least workspace is told before anything is looked at.
  bad.job = 'X';
  expect_report(bad, name, 1);
  EXPECT_EQ(bad.work(1), T(5));
}

TYPED_TEST(HessenbergQr, OfOrderZeroIsDone) {
  using T = TypeParam;
  ValidCall<T> call;
  call.n = call.ihi = 0;
  call.ilo = 1;
  EXPECT_EQ(call.run(), 0);
  EXPECT_TRUE(call.unchanged());
  EXPECT_EQ(call.work(1), T(1));
  ValidCall<T> inner;
  inner.n = inner.ihi = 0;
  inner.ilo = 1;
  inner.laqr0();
  EXPECT_EQ(inner.info, 0);
  EXPECT_EQ(inner.work(1), T(1));
  EXPECT_TRUE(inner.unchanged());
}

}  // namespace
}  // namespace nuv::test
