// The QZ iteration on Hessenberg-triangular pencils.

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "generalised/pencil_call.hpp"
#include "support/argument_checks.hpp"

namespace nuv::test {
namespace {

/// With H triangular outside ilo ... ihi, and diagonal elements of P of any sign there.
template <Scalar T>
Pencil<T> partly_triangular(Pencil<T> pencil, Int ilo, Int ihi) {
  const Int n = pencil.A.rows();
  for (Int j = 1; j < n; ++j) {
    if (j < ilo || j >= ihi) pencil.A(j + 1, j) = T(0);
  }
  pencil.A.seal();
  return pencil;
}

template <class T>
class QzIteration : public ReportingTest {
 protected:
  Pencil<T> random_form(Int n) { return random_hessenberg_triangular<T>(random, n, std::max(1, n) + n % 3); }

  /// The eigenvalues that job 'E' finds are those of the whole form.
  static void expect_same_values_alone(const Pencil<T>& pencil, const PencilCall<T>& whole, double tolerance) {
    PencilCall<T> alone(pencil);
    alone.job = 'e';
    alone.compq = alone.compz = 'n';
    alone.ldq = alone.ldz = 1;
    alone.ilo = whole.ilo;
    alone.ihi = whole.ihi;
    alone.hgeqz();
    ASSERT_EQ(alone.info, 0);
    EXPECT_TRUE(alone.guards_unchanged());
    EXPECT_TRUE(alone.Q.unchanged() && alone.Z.unchanged());
    EXPECT_TRUE(are_proper(alone.values(), RealScalar<T>));
    EXPECT_LT(spectrum_distance(alone.values(), whole.values()), tolerance);
  }

  Random random{59};
};
TYPED_TEST_SUITE(QzIteration, Precisions, PrecisionLetter);

/// Sixteen rotations or reflectors wait for the columns behind them, and those of Q and Z where these are large.
TYPED_TEST(QzIteration, FindsSchurForms) {
  using T = TypeParam;
  for (const Int n : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 17, 18, 19, 20, 30, 34, 35, 36, 100, 140}) {
    for (int round = 0; round < (n < 10 ? 10 : 1); ++round) {
      SCOPED_TRACE(n);
      const Pencil<T> pencil = this->random_form(n);
      const PencilCall<T> call = PencilCall<T>(pencil).hgeqz();
      expect_schur_form(pencil, call);
      this->expect_same_values_alone(pencil, call, 1e4 * epsilon<T>);
    }
  }
}

TYPED_TEST(QzIteration, MultipliesTheMatricesThatAreWanted) {
  using T = TypeParam;
  for (const Int n : {2, 9, 25}) {
    expect_wanted_matrices(this->random, this->random_form(n), &PencilCall<T>::hgeqz);
  }
}

/// Finite and infinite ones, zero, and pairs, each as often as the others.
TYPED_TEST(QzIteration, FindsKnownEigenvalues) {
  using T = TypeParam;
  for (const Int n : {1, 2, 5, 8, 12, 20}) {
    std::vector<PencilValue> values;
    while (Int(values.size()) < n) {
      const double k = double(values.size() + 1);
      switch (values.size() % 5) {
        case 0:
          values.push_back({k, 1});
          break;
        case 1:
          values.push_back({{-k, ComplexScalar<T> ? k / 2 : 0}, 2});
          break;
        case 2:
          // Two infinite ones may be a block that is not diagonal; of more, each would hang on a fourth root of eps.
          values.push_back({1, values.size() < 8 ? 0.0 : k});
          break;
        default:
          if (Int(values.size()) + 1 == n) {
            values.push_back({0, 1});
          } else {
            values.push_back({{1, k / 4}, 1});
            values.push_back({{1, -k / 4}, 1});
          }
      }
    }
    SCOPED_TRACE(n);
    const Pencil<T> pencil = reduced(pencil_with_values<T>(this->random, values, n + 1));
    const PencilCall<T> call = PencilCall<T>(pencil).hgeqz();
    expect_schur_form(pencil, call);
    const bool is_simple = n < 8;
    const double tolerance = is_simple ? 1e3 * epsilon<T> : 20 * std::sqrt(double(epsilon<T>));
    EXPECT_LT(spectrum_distance(call.values(), values), tolerance);
    this->expect_same_values_alone(pencil, call, tolerance);
  }
}

/// Blocks of order two that need a standard form, with everything around them.
TYPED_TEST(QzIteration, FindsPairsInAnyPlace) {
  using T = TypeParam;
  for (const std::vector<Int>& blocks :
       {std::vector<Int>{2}, {2, 1}, {1, 2}, {2, 2}, {2, 1, 2}, {1, 1, 2, 1}, {2, 2, 2, 2}, {1, 2, 1, 2, 1}}) {
    const Pencil<T> form = distinct_pencil_schur_form<T>(this->random, blocks);
    const Int n = form.A.rows();
    const GuardedMatrix<T> Q = random_unitary<T>(this->random, n, n), Z = random_unitary<T>(this->random, n, n);
    Pencil<T> pencil = form;
    for (const auto& [from, to] : {std::pair{&form.A, &pencil.A}, {&form.B, &pencil.B}}) {
      const WideMatrix<T> full = product<T>(wide(Q), product<T>(wide(*from), op<T>('C', wide(Z))));
      for (Int j = 1; j <= n; ++j) {
        for (Int i = 1; i <= n; ++i) (*to)(i, j) = T(full(i - 1, j - 1));
      }
    }
    pencil = reduced(pencil);
    const PencilCall<T> call = PencilCall<T>(pencil).hgeqz();
    expect_schur_form(pencil, call);
    // A complex form has two equal eigenvalues for each pair.
    const double tolerance = RealScalar<T> ? 1e4 * epsilon<T> : 100 * std::sqrt(double(epsilon<T>));
    EXPECT_LT(spectrum_distance(call.values(), values_of_form(form.A, form.B)), tolerance);
    this->expect_same_values_alone(pencil, call, tolerance);
  }
}

/// Eigenvalues outside ilo ... ihi are those on the diagonal, with the sign or the direction that beta is not to have
/// taken over by alpha.
TYPED_TEST(QzIteration, TakesTheDiagonalOutsideTheActiveRows) {
  using T = TypeParam;
  for (const auto& [n, ilo, ihi] : {std::array{9, 3, 7},
                                    {9, 1, 5},
                                    {9, 4, 9},
                                    {9, 5, 4},
                                    {9, 1, 0},
                                    {9, 10, 9},
                                    {9, 6, 6},
                                    {9, 6, 7},
                                    {40, 8, 30},
                                    {1, 1, 0},
                                    {1, 2, 1}}) {
    SCOPED_TRACE(testing::Message() << n << ", " << ilo << " to " << ihi);
    const Pencil<T> pencil = partly_triangular(this->random_form(n), ilo, ihi);
    PencilCall<T> call(pencil);
    call.ilo = ilo;
    call.ihi = ihi;
    call.hgeqz();
    expect_schur_form(pencil, call);
    this->expect_same_values_alone(pencil, call, 1e4 * epsilon<T>);
    for (Int j = 1; j <= n; ++j) {
      if (j >= ilo && j <= ihi) continue;
      const std::complex<double> a(pencil.A(j, j)), b(pencil.B(j, j)), turn = std::conj(b) / std::abs(b);
      const PencilValue found = call.values()[std::size_t(j - 1)];
      EXPECT_NEAR(std::abs(found.alpha - a * turn), 0, 4 * epsilon<T>) << j;
      EXPECT_NEAR(found.beta, std::abs(b), 4 * epsilon<T>) << j;
    }
    if (ilo > ihi && RealScalar<T>) {
      // Columns are negated as a whole, and nothing else happens.
      for (Int j = 1; j <= n; ++j) {
        const T factor = std::real(pencil.B(j, j)) < 0 ? T(-1) : T(1);
        EXPECT_EQ(call.Z(j, j), factor);
        for (Int i = 1; i <= j; ++i) EXPECT_EQ(call.A(i, j), factor * pencil.A(i, j));
      }
    }
  }
}

/// A zero anywhere on P's diagonal is chased to where it decouples an infinite eigenvalue.
TYPED_TEST(QzIteration, FindsInfiniteEigenvaluesByZerosOnTheDiagonal) {
  using T = TypeParam;
  const auto expect_infinities = [this](const Pencil<T>& pencil, Int least) {
    const PencilCall<T> call = PencilCall<T>(pencil).hgeqz();
    expect_schur_form(pencil, call);
    PencilCall<T> alone(pencil);
    alone.job = 'E';
    alone.compq = alone.compz = 'N';
    alone.hgeqz();
    EXPECT_EQ(alone.info, 0);
    for (const PencilCall<T>* one : {&call, const_cast<const PencilCall<T>*>(&alone)}) {
      Int infinite = 0;
      for (const PencilValue& value : one->values()) infinite += value.beta == 0;
      EXPECT_GE(infinite, least);
    }
  };
  for (const Int n : {1, 2, 3, 4, 6, 9}) {
    const Pencil<T> pencil = this->random_form(n);
    const auto without = [&](std::initializer_list<Int> places) {
      Pencil<T> spoiled = pencil;
      for (const Int k : places) spoiled.B(k, k) = T(0);
      spoiled.B.seal();
      return spoiled;
    };
    for (Int k = 1; k <= n; ++k) {
      for (Int l = k; l <= n; ++l) {
        SCOPED_TRACE(testing::Message() << n << ": " << k << ' ' << l);
        expect_infinities(without({k, l}), 1);
        if (l + 1 < n) expect_infinities(without({k, l, l + 1}), 1);
      }
    }
    Pencil<T> none = pencil;
    for (Int k = 1; k <= n; ++k) none.B(k, k) = T(0);
    none.B.seal();
    expect_infinities(none, 1);
  }
}

/// A zero at the end of the rows that are left when a block below has been finished.
TYPED_TEST(QzIteration, FindsInfiniteEigenvaluesAboveFinishedBlocks) {
  using T = TypeParam;
  for (const Int n : {5, 8}) {
    for (Int k = 2; k <= n - 2; ++k) {
      for (const Int zero : {k, k - 1}) {
        Pencil<T> pencil = this->random_form(n);
        pencil.A(k + 1, k) = pencil.B(zero, zero) = T(0);
        pencil.A.seal();
        pencil.B.seal();
        SCOPED_TRACE(testing::Message() << n << ": " << k << ' ' << zero);
        const PencilCall<T> call = PencilCall<T>(pencil).hgeqz();
        expect_schur_form(pencil, call);
        this->expect_same_values_alone(pencil, call, 1e4 * epsilon<T>);
      }
    }
  }
}

/// Where two elements below the diagonal of H are small together beside a zero of P, the pencil is split though neither
/// is negligible, and the infinite eigenvalue stays in its row.
TYPED_TEST(QzIteration, SplitsAtTwoSmallElementsBesideAZero) {
  using T = TypeParam;
  const Real<T> small = std::sqrt(epsilon<T>) / 64;
  for (const Int n : {4, 6}) {
    for (Int k = 2; k < n; ++k) {
      Pencil<T> pencil = this->random_form(n);
      pencil.B(k, k) = T(0);
      pencil.A(k, k) = T(Real<T>(2));
      pencil.A(k, k - 1) = pencil.A(k + 1, k) = T(small);
      pencil.A.seal();
      pencil.B.seal();
      SCOPED_TRACE(testing::Message() << n << ": " << k);
      const PencilCall<T> call = PencilCall<T>(pencil).hgeqz();
      expect_schur_form(pencil, call);
      EXPECT_EQ(call.beta(k), T(0));
    }
  }
}

/// A rotation that decouples the first row may leave a zero in the next one, to the last.
TYPED_TEST(QzIteration, SplitsRowAfterRow) {
  using T = TypeParam;
  for (const Int n : {2, 3, 5}) {
    for (Int zeros = 2; zeros <= n; ++zeros) {
      Pencil<T> pencil = this->random_form(n);
      pencil.B(1, 1) = T(0);
      for (Int k = 1; k < zeros; ++k) {
        // Equal elements below each other before the rotation of their rows, which is by 45 degrees.
        pencil.A(k, k) = k == 1 ? T(1) : T(0);
        pencil.A(k + 1, k) = T(1);
        pencil.B(k, k + 1) = pencil.B(k + 1, k + 1) = T(1);
      }
      pencil.A.seal();
      pencil.B.seal();
      SCOPED_TRACE(testing::Message() << n << ": " << zeros);
      const PencilCall<T> call = PencilCall<T>(pencil).hgeqz();
      expect_schur_form(pencil, call);
      EXPECT_EQ(call.beta(1), T(0));
      if (zeros == 2) {
        EXPECT_EQ(call.beta(2), T(0));
      }
    }
  }
}

TYPED_TEST(QzIteration, HandlesZeroMatrices) {
  using T = TypeParam;
  for (const Int n : {1, 2, 3, 8}) {
    for (const bool a_is_zero : {false, true}) {
      for (const bool b_is_zero : {false, true}) {
        if (!a_is_zero && !b_is_zero) continue;
        Pencil<T> pencil = this->random_form(n);
        for (Int j = 1; j <= n; ++j) {
          for (Int i = 1; i <= n; ++i) {
            if (a_is_zero) pencil.A(i, j) = T(0);
            if (b_is_zero) pencil.B(i, j) = T(0);
          }
        }
        pencil.A.seal();
        pencil.B.seal();
        const PencilCall<T> call = PencilCall<T>(pencil).hgeqz();
        expect_schur_form(pencil, call);
        for (const PencilValue& value : call.values()) {
          EXPECT_EQ(value.beta == 0, b_is_zero);
          EXPECT_EQ(value.alpha == 0.0, a_is_zero);
        }
      }
    }
  }
}

/// Any number is an eigenvalue: forms come out all the same, and if a column is zero to the last bit, it is so in a
/// pencil near by: beta is zero and alpha as small as the rounding errors of that.
TYPED_TEST(QzIteration, EndsOnSingularPencils) {
  using T = TypeParam;
  for (const Int n : {1, 2, 3, 5, 9, 20}) {
    const Pencil<T> full = reduced(singular_pencil<T>(this->random, std::max(2, n), n + 1));
    expect_schur_form(full, PencilCall<T>(full).hgeqz());
    for (Int k = 1; k <= n; ++k) {
      Pencil<T> exact = this->random_form(n);
      for (Int i = 1; i <= n; ++i) exact.A(i, k) = exact.B(i, k) = T(0);
      exact.A.seal();
      exact.B.seal();
      SCOPED_TRACE(testing::Message() << n << ": " << k);
      const PencilCall<T> call = PencilCall<T>(exact).hgeqz();
      expect_schur_form(exact, call);
      const double allowed = pencil_threshold * double(epsilon<T>) * one_norm<T>(wide(exact.A));
      double least = std::numeric_limits<double>::infinity();
      for (const PencilValue& value : call.values()) {
        if (value.beta == 0) least = std::min(least, std::abs(value.alpha));
      }
      EXPECT_LE(least, allowed);
    }
  }
}

/// Near both limits of numbers, each matrix for itself.
TYPED_TEST(QzIteration, KeepsToTheRangeOfNumbers) {
  using T = TypeParam;
  const int most = std::numeric_limits<Real<T>>::max_exponent - 12,
            least = std::numeric_limits<Real<T>>::min_exponent + std::numeric_limits<Real<T>>::digits + 10;
  for (const int in_a : {least, 0, most}) {
    for (const int in_b : {least, 0, most}) {
      for (const Int n : {2, 3, 12}) {
        SCOPED_TRACE(testing::Message() << n << ": 2^" << in_a << ", 2^" << in_b);
        Pencil<T> pencil = this->random_form(n);
        scale_by_power(pencil.A, in_a);
        scale_by_power(pencil.B, in_b);
        const PencilCall<T> call = PencilCall<T>(pencil).hgeqz();
        ASSERT_EQ(call.info, 0);
        EXPECT_TRUE(is_finite(call.A) && is_finite(call.B));
        expect_equivalent(pencil, call);
        EXPECT_TRUE(call.guards_unchanged());
        for (Int k = 1; k <= n; ++k) {
          EXPECT_TRUE(std::isfinite(std::abs(std::complex<double>(call.alphar(k)))));
          EXPECT_GT(std::real(call.beta(k)), 0);
        }
      }
    }
  }
}

/// A product of rotations of neighbouring rows, times a number.
template <Scalar T>
GuardedMatrix<T> hessenberg_unitary(Int n, Real<T> factor) {
  GuardedMatrix<T> H = identity_matrix<T>(n, n);
  for (Int k = 1; k < n; ++k) {
    // In n = 2, the rows change places.
    const Real<T> angle = n == 2 ? std::acos(Real<T>(0)) : Real<T>(0.4) + Real<T>(0.2) * Real<T>(k);
    const Real<T> c = n == 2 ? 0 : std::cos(angle), s = std::sin(angle);
    for (Int i = 1; i <= n; ++i) {
      const T x = H(i, k), y = H(i, k + 1);
      H(i, k) = c * x + s * y;
      H(i, k + 1) = c * y - s * x;
    }
  }
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) H(i, j) *= factor;
  }
  H.seal();
  return H;
}

/// Elements are not negligible beside others of their size where the Frobenius norm, and it alone, is too large a
/// number.
TYPED_TEST(QzIteration, FindsFormsWhereNormsOverflow) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int n : {2, 6, 9}) {
    const R large = std::numeric_limits<R>::max() * (n == 2 ? R(0.83) : R(0.45));
    for (const auto& [in_a, in_b] : {std::pair(large, R(1)), std::pair(R(1), large), std::pair(large, large)}) {
      SCOPED_TRACE(testing::Message() << n << ": " << in_a << ", " << in_b);
      Pencil<T> pencil{hessenberg_unitary<T>(n, in_a), identity_matrix<T>(n, n)},
          small{hessenberg_unitary<T>(n, R(1)), identity_matrix<T>(n, n)};
      for (Int j = 1; j <= n; ++j) pencil.B(j, j) = T(in_b);
      pencil.B.seal();
      const PencilCall<T> call = PencilCall<T>(pencil).hgeqz();
      ASSERT_EQ(call.info, 0);
      EXPECT_TRUE(call.guards_unchanged());
      EXPECT_TRUE(is_finite(call.A) && is_finite(call.B));
      EXPECT_TRUE(is_pencil_schur_form(call.A, call.B));
      expect_equivalent(pencil, call);

      const std::vector<PencilValue> expected = PencilCall<T>(small).hgeqz().values();
      for (const char job : {'S', 'E'}) {
        PencilCall<T> again(pencil);
        again.job = job;
        std::vector<PencilValue> values = again.hgeqz().values();
        EXPECT_EQ(again.info, 0);
        EXPECT_TRUE(are_proper(values, RealScalar<T>));
        for (auto& [alpha, beta] : values) {
          alpha /= double(in_a);
          beta /= double(in_b);
        }
        EXPECT_LT(spectrum_distance(values, expected), 100 * epsilon<T>) << job;
      }
    }
  }
}

/// A beta of minus zero would make the quotient an infinity of the wrong sign.
TYPED_TEST(QzIteration, StoresNoNegativeZeros) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int n : {1, 3}) {
    for (const char job : {'S', 'E'}) {
      for (Int outside = 0; outside <= n; ++outside) {
        Pencil<T> pencil{identity_matrix<T>(n, n), identity_matrix<T>(n, n)};
        for (Int j = 1; j <= n; ++j) pencil.B(j, j) = T(-R(0));
        PencilCall<T> call(pencil);
        call.job = job;
        call.ilo = outside + 1;
        call.hgeqz();
        EXPECT_EQ(call.info, 0);
        for (Int j = 1; j <= n; ++j) {
          EXPECT_EQ(std::abs(call.alphar(j)), R(1));
          EXPECT_EQ(call.beta(j), T(0));
          EXPECT_FALSE(std::signbit(std::real(call.beta(j)))) << n << job << outside << ' ' << j;
          EXPECT_FALSE(std::signbit(std::real(call.B(j, j))));
        }
      }
    }
  }
}

// ---------------------------------------------------------------------------------------------------------- arguments

template <Scalar T>
struct ValidIteration : PencilCall<T> {
  ValidIteration() : PencilCall<T>(pencil()) {
    this->ldq = this->ldz = 6;
    this->ilo = 2;
  }

  static Pencil<T> pencil() {
    Random random(3);
    return partly_triangular(random_hessenberg_triangular<T>(random, 4, 4), 2, 4);
  }
  Int run() {
    this->hgeqz();
    return this->info;
  }
};

TYPED_TEST(QzIteration, ChecksItsArguments) {
  using T = TypeParam;
  using Call = ValidIteration<T>;
  constexpr int shift = ComplexScalar<T> ? 1 : 0;
  const std::string name = reported_name<T>("HGEQZ");
  expect_argument_checks<Call>(name, {{1, [](Call& c) { c.job = 'V'; }},
                                      {2, [](Call& c) { c.compq = 'S'; }},
                                      {3, [](Call& c) { c.compz = 'E'; }},
                                      {4, [](Call& c) { c.n = -1; }},
                                      {5, [](Call& c) { c.ilo = 0; }},
                                      {6, [](Call& c) { c.ihi = 5; }},
                                      {8, [](Call& c) { c.lda = 3; }},
                                      {10, [](Call& c) { c.ldb = 3; }},
                                      {15 - shift, [](Call& c) { c.ldq = 3; }},
                                      {17 - shift, [](Call& c) { c.ldz = 3; }},
                                      {19 - shift, [](Call& c) { c.lwork = 3; }}});
  Call early_end, empty, no_rows, no_columns, bad;
  early_end.ilo = 3;
  early_end.ihi = 1;
  expect_report(early_end, name, 6);
  empty.ilo = 3;
  empty.ihi = 2;
  expect_report(empty, name, 0);
  no_rows.compq = 'N';
  no_rows.ldq = 0;
  expect_report(no_rows, name, 15 - shift);
  no_columns.compz = 'N';
  no_columns.ldz = 0;
  expect_report(no_columns, name, 17 - shift);
  for (const char comp : {'N', 'n'}) {
    Call narrow;
    narrow.compq = narrow.compz = comp;
    narrow.ldq = narrow.ldz = 1;
    expect_report(narrow, name, 0);
    EXPECT_TRUE(narrow.Q.unchanged() && narrow.Z.unchanged());
  }
  // The workspace is told before anything is looked at.
  bad.job = 'X';
  expect_report(bad, name, 1);
  EXPECT_EQ(bad.work(1), T(4));
}

TYPED_TEST(QzIteration, TellsItsWorkspace) {
  using T = TypeParam;
  for (const Int n : {0, 1, 7}) {
    PencilCall<T> call(this->random_form(n));
    call.lwork = -1;
    call.hgeqz();
    EXPECT_EQ(call.info, 0);
    EXPECT_TRUE(call.unchanged());
    EXPECT_EQ(call.work(1), T(Real<T>(std::max(1, n))));
  }
  PencilCall<T> nothing(this->random_form(0));
  nothing.lda = nothing.ldb = 0;
  nothing.hgeqz();
  EXPECT_EQ(nothing.info, 0);
  EXPECT_TRUE(nothing.unchanged());
  EXPECT_EQ(nothing.work(1), T(1));
}

}  // namespace
}  // namespace nuv::test
