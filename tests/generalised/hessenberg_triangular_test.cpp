// Reduction of pencils to Hessenberg-triangular form.

#include <array>
#include <limits>

#include "generalised/pencil_call.hpp"
#include "support/argument_checks.hpp"
#include "support/deadline.hpp"
#include "support/small_stack.hpp"

namespace nuv::test {
namespace {

/// A random pencil with a triangular B, and an A that is triangular outside ilo ... ihi.
template <Scalar T>
Pencil<T> reducible_pencil(Random& random, Int n, Int ilo, Int ihi, Int ld) {
  Pencil<T> pencil = random_pencil<T>(random, n, ld);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = j + 1; i <= n; ++i) {
      pencil.B(i, j) = T(0);
      if (j < ilo || i > ihi) pencil.A(i, j) = T(0);
    }
  }
  pencil.A.seal();
  pencil.B.seal();
  return pencil;
}

template <class T>
class HessenbergTriangular : public ReportingTest {
 protected:
  Random random{31};
};
TYPED_TEST_SUITE(HessenbergTriangular, Precisions, PrecisionLetter);

/// Sixteen rotations wait for the columns behind them, and those of Q and Z where these are large.
TYPED_TEST(HessenbergTriangular, ReducesPencilsOfAnyOrder) {
  using T = TypeParam;
  for (const Int n : {0, 1, 2, 3, 4, 5, 9, 17, 18, 19, 20, 34, 35, 50, 100, 140, 200}) {
    SCOPED_TRACE(n);
    const Pencil<T> pencil = reducible_pencil<T>(this->random, n, 1, n, std::max(1, n) + n % 3);
    const PencilCall<T> call = PencilCall<T>(pencil).gghrd();
    EXPECT_EQ(call.info, 0);
    EXPECT_TRUE(call.guards_unchanged());
    EXPECT_TRUE(is_hessenberg_triangular(call.A, call.B, 1, n));
    expect_equivalent(pencil, call);
  }
}

TYPED_TEST(HessenbergTriangular, RunsInSmallStacks) {
  using T = TypeParam;
  for (const Int n : {3, 140}) {
    const Pencil<T> pencil = reducible_pencil<T>(this->random, n, 1, n, n);
    PencilCall<T> call(pencil);
    run_in_small_stack([&] { call.gghrd(); });
    EXPECT_EQ(call.info, 0);
    EXPECT_TRUE(is_hessenberg_triangular(call.A, call.B, 1, n));
    expect_equivalent(pencil, call);
  }
}

TYPED_TEST(HessenbergTriangular, LeavesWhatIsTriangularAlready) {
  using T = TypeParam;
  for (const auto& [n, ilo, ihi] : {std::array{9, 3, 7},
                                    {9, 1, 5},
                                    {9, 4, 9},
                                    {9, 5, 4},
                                    {9, 1, 0},
                                    {9, 10, 9},
                                    {9, 6, 6},
                                    {9, 6, 7},
                                    {60, 8, 50},
                                    {60, 1, 33},
                                    {60, 30, 60}}) {
    SCOPED_TRACE(testing::Message() << n << ", " << ilo << " to " << ihi);
    const Pencil<T> pencil = reducible_pencil<T>(this->random, n, ilo, ihi, n + 1);
    PencilCall<T> call(pencil);
    call.ilo = ilo;
    call.ihi = ihi;
    call.gghrd();
    EXPECT_EQ(call.info, 0);
    EXPECT_TRUE(call.guards_unchanged());
    EXPECT_TRUE(is_hessenberg_triangular(call.A, call.B, ilo, ihi));
    expect_equivalent(pencil, call);
    // Rows and columns outside stay what they are where nothing turns them.
    EXPECT_TRUE(call.A.unchanged_except([&, lo = ilo, hi = ihi](Int i, Int j) {
      return (lo < i && i <= hi && j >= lo) || (lo < j && j <= hi && i <= hi);
    }));
    EXPECT_TRUE(call.B.unchanged_except([&, lo = ilo, hi = ihi](Int i, Int j) {
      return i <= j && ((lo < i && i <= hi) || (lo < j && j <= hi && i <= hi));
    }));
  }
}

/// What stands below the diagonal of B is not read.
TYPED_TEST(HessenbergTriangular, ClearsWhatStandsBelowTheDiagonalOfB) {
  using T = TypeParam;
  for (const Int n : {2, 3, 7}) {
    const Pencil<T> pencil = reducible_pencil<T>(this->random, n, 1, n, n);
    const PencilCall<T> expected = PencilCall<T>(pencil).gghrd();
    Pencil<T> marked = pencil;
    for (Int j = 1; j <= n; ++j) {
      for (Int i = j + 1; i <= n; ++i) marked.B(i, j) = guard<T>();
    }
    const PencilCall<T> call = PencilCall<T>(marked).gghrd();
    EXPECT_TRUE(call.A.same_as(expected.A));
    EXPECT_TRUE(call.B.same_as(expected.B));
  }
}

TYPED_TEST(HessenbergTriangular, MultipliesTheMatricesThatAreWanted) {
  using T = TypeParam;
  for (const Int n : {1, 7, 40}) {
    expect_wanted_matrices(this->random, reducible_pencil<T>(this->random, n, 1, n, n + 1), &PencilCall<T>::gghrd);
  }
}

/// Near both limits of numbers, each matrix for itself.
TYPED_TEST(HessenbergTriangular, KeepsToTheRangeOfNumbers) {
  using T = TypeParam;
  const int range = std::numeric_limits<Real<T>>::max_exponent - 8;
  for (const auto& [in_a, in_b] : {std::array{range, 0}, {0, range}, {-range + 24, range}, {range, -range + 24}}) {
    Pencil<T> pencil = reducible_pencil<T>(this->random, 20, 1, 20, 20);
    scale_by_power(pencil.A, in_a);
    scale_by_power(pencil.B, in_b);
    const PencilCall<T> call = PencilCall<T>(pencil).gghrd();
    EXPECT_TRUE(is_hessenberg_triangular(call.A, call.B, 1, 20));
    expect_equivalent(pencil, call);
  }
}

TYPED_TEST(HessenbergTriangular, DoesNothingToOrderOneAndZero) {
  using T = TypeParam;
  for (const Int n : {0, 1}) {
    for (const char comp : {'N', 'V'}) {
      PencilCall<T> call(random_pencil<T>(this->random, n, 3));
      call.compq = call.compz = comp;
      call.gghrd();
      EXPECT_EQ(call.info, 0);
      EXPECT_TRUE(call.pencil_unchanged());
    }
  }
  PencilCall<T> one(random_pencil<T>(this->random, 1, 1));
  one.Q(1, 1) = one.Z(1, 1) = T(7);
  one.gghrd();
  EXPECT_TRUE(one.A.unchanged() && one.B.unchanged());
  EXPECT_EQ(one.Q(1, 1), T(1));
  EXPECT_EQ(one.Z(1, 1), T(1));
}

TYPED_TEST(HessenbergTriangular, EndsWhateverTheNumbers) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr Int n = 6;
  for (const R odd : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (Int i = 1; i <= n; ++i) {
      for (Int j = 1; j <= n; ++j) {
        for (const bool in_b : {false, true}) {
          if (in_b && i > j) continue;
          Pencil<T> pencil = reducible_pencil<T>(this->random, n, 1, n, n);
          (in_b ? pencil.B : pencil.A)(i, j) = T(odd);
          const Deadline deadline(20, "gghrd with an odd number");
          const PencilCall<T> call = PencilCall<T>(pencil).gghrd();
          EXPECT_EQ(call.info, 0);
          EXPECT_TRUE(call.guards_unchanged());
          EXPECT_FALSE(is_finite(call.A) && is_finite(call.B));
        }
      }
    }
  }
}

// ---------------------------------------------------------------------------------------------------------- arguments

template <Scalar T>
struct ValidReduction : PencilCall<T> {
  ValidReduction() : PencilCall<T>(pencil()) { this->ldq = this->ldz = 6; }

  static Pencil<T> pencil() {
    Random random(3);
    return reducible_pencil<T>(random, 4, 1, 4, 4);
  }
  Int run() {
    this->gghrd();
    return this->info;
  }
  bool unchanged() const { return this->pencil_unchanged(); }
};

TYPED_TEST(HessenbergTriangular, ChecksItsArguments) {
  using Call = ValidReduction<TypeParam>;
  const std::string name = reported_name<TypeParam>("GGHRD");
  expect_argument_checks<Call>(name, {{1, [](Call& c) { c.compq = 'S'; }},
                                      {2, [](Call& c) { c.compz = 'S'; }},
                                      {3, [](Call& c) { c.n = -1; }},
                                      {4, [](Call& c) { c.ilo = 0; }},
                                      {5, [](Call& c) { c.ihi = 5; }},
                                      {7, [](Call& c) { c.lda = 3; }},
                                      {9, [](Call& c) { c.ldb = 3; }},
                                      {11, [](Call& c) { c.ldq = 3; }},
                                      {13, [](Call& c) { c.ldz = 3; }}});
  Call early_end, empty, no_rows, short_q, short_z, nothing;
  early_end.ilo = 3;
  early_end.ihi = 1;
  expect_report(early_end, name, 5);
  empty.ilo = 3;
  empty.ihi = 2;
  expect_report(empty, name, 0);
  no_rows.compq = 'N';
  no_rows.ldq = 0;
  expect_report(no_rows, name, 11);
  short_q.compq = 'N';
  short_q.ldq = 1;
  expect_report(short_q, name, 0);
  short_z.compz = 'N';
  short_z.ldz = 1;
  expect_report(short_z, name, 0);
  nothing.n = nothing.ihi = 0;
  nothing.lda = 0;
  expect_report(nothing, name, 7);
}

}  // namespace
}  // namespace nuv::test
