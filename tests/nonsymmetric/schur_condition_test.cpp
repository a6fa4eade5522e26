// Condition numbers of single eigenvalues and eigenvectors: ?trsna.

#include <cmath>
#include <limits>
#include <numeric>

#include "frame/option_matching.hpp"
#include "nonsymmetric/eigenvalue_conditions.hpp"
#include "nonsymmetric/schur_checks.hpp"
#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"
#include "support/wide_spectrum.hpp"

namespace nuv::test {
namespace {

template <Scalar T>
using ComplexOf = std::complex<Real<T>>;

/// A Schur form in complex numbers, with its eigenvalues and eigenvectors.
template <Scalar T>
struct Spectrum {
  using C = ComplexOf<T>;

  WideMatrix<C> S;
  std::vector<std::complex<double>> values;

  explicit Spectrum(const GuardedMatrix<T>& form)
      : S(wide(form).template cast<Wide<C>>()), values(eigenvalues_of(form)) {}

  Eigen::Index order() const { return S.cols(); }

  /// S - lambda I
  WideMatrix<C> shifted(Int j, double offset = 0) const {
    const Wide<C> lambda(values[std::size_t(j - 1)] + offset);
    return S - lambda * WideMatrix<C>::Identity(order(), order());
  }

  /// Of length one, by inverse iteration.
  WideMatrix<C> vector(Int j, bool is_left) const {
    WideMatrix<C> inverted = inverse<C>(shifted(j, 1e-7));
    if (is_left) inverted.adjointInPlace();
    WideMatrix<C> x = WideMatrix<C>::Constant(order(), 1, 1);
    for (int step = 0; step < 4; ++step) {
      x = product<C>(inverted, x);
      x /= x.norm();
    }
    return x;
  }

  /// The least singular value of S - lambda I on what is orthogonal to the eigenvector for lambda.
  double separation(Int j) const {
    const WideMatrix<C> x = vector(j, false), xx = product<C>(x, x.adjoint());
    const WideMatrix<C> P = WideMatrix<C>::Identity(order(), order()) - xx;
    const Wide<C> large(100 * one_norm<C>(S));
    return double(
        wide_singular_values<C>(WideMatrix<C>(product<C>(P, product<C>(shifted(j), P)) + large * xx)).minCoeff());
  }
};

template <Scalar T>
struct Conditions {
  using R = Real<T>;
  using Second = std::conditional_t<RealScalar<T>, Int, R>;

  char job = 'B', howmny = 'A';
  Int n, ldt, ldvl, ldvr, mm, ldwork, m = -7, info = 99;
  GuardedMatrix<T> S, VL, VR, work;
  GuardedVector<Logical> select;
  GuardedVector<R> s, sep;
  GuardedVector<Second> second;

  explicit Conditions(const GuardedMatrix<T>& form)
      : n(form.rows()),
        ldt(form.ld()),
        ldvl(n + 1),
        ldvr(std::max(1, n)),
        mm(n),
        ldwork(n + 2),
        S(form),
        VL(n, n, ldvl),
        VR(n, n, ldvr),
        work(ldwork, n + 6, ldwork),
        select(n),
        s(n),
        sep(n),
        second(RealScalar<T> ? std::max(1, 2 * n - 2) : n) {
    for (Int j = 1; j <= n; ++j) select(j) = j % 2 * 2;
    select.seal();
  }

  bool is_pair(Int j) const { return RealScalar<T> && j >= 1 && j < n && S(j + 1, j) != T(0); }

  Conditions& with_job(char letter) {
    job = letter;
    if (same_letter(job, 'E')) ldwork = 1;
    return *this;
  }

  /// Eigenvectors of all eigenvalues, or of the selected ones, of a matrix with this Schur form; lengths are anything.
  Conditions& find_vectors(const Spectrum<T>& spectrum) {
    using C = ComplexOf<T>;
    Random random(31);
    const WideMatrix<C> Q = wide(random_unitary<T>(random, n, std::max(1, n))).template cast<Wide<C>>();
    Int k = 1;
    for (Int j = 1; j <= n; ++j) {
      const bool pair = is_pair(j);
      const bool is_wanted = same_letter(howmny, 'A') || (select(j) & 1) != 0 || (pair && (select(j + 1) & 1) != 0);
      if (is_wanted) {
        for (const bool is_left : {true, false}) {
          GuardedMatrix<T>& V = is_left ? VL : VR;
          const WideMatrix<C> x = WideReal<T>(is_left ? 3 : 0.25) * product<C>(Q, spectrum.vector(j, is_left));
          put_vector<T>(x, pair, V, k);
        }
        k += pair ? 2 : 1;
      }
      if (pair) ++j;
    }
    VL.seal();
    VR.seal();
    return *this;
  }

  Int run() {
    const bool with_vectors = !same_letter(job, 'V'), with_work = !same_letter(job, 'E');
    routine_call::trsna(job, howmny, same_letter(howmny, 'S') ? select.data() : nullptr, n,
                        Matrix<const T>(S.data(), ldt), Matrix<const T>(with_vectors ? VL.data() : nullptr, ldvl),
                        Matrix<const T>(with_vectors ? VR.data() : nullptr, ldvr), s.data(), sep.data(), mm, m,
                        Matrix<T>(with_work ? work.data() : nullptr, ldwork), with_work ? second.data() : nullptr,
                        info);
    return info;
  }

  bool vectors_workspace_unchanged() const { return work.unchanged(); }

  Conditions& judge() {
    run();
    EXPECT_EQ(info, 0);
    EXPECT_TRUE(S.unchanged() && VL.unchanged() && VR.unchanged() && select.unchanged());
    EXPECT_TRUE(work.guards_unchanged() && s.guards_unchanged() && sep.guards_unchanged() && second.guards_unchanged());
    return *this;
  }
};

/// The one-norm of a complex matrix, or of the real one that acts on real parts above imaginary ones.
template <ComplexScalar C>
double one_norm_of(const WideMatrix<C>& A, bool by_parts) {
  if (!by_parts) return one_norm<C>(A);
  using R = Real<C>;
  WideMatrix<R> parts(2 * A.rows(), 2 * A.cols());
  parts << A.real(), -A.imag(), A.imag(), A.real();
  return one_norm<R>(parts);
}

template <class T>
class SchurCondition : public ReportingTest {
 protected:
  GuardedMatrix<T> form(const std::vector<Int>& pairs_and_singles) {
    std::vector<Int> blocks = pairs_and_singles;
    if (ComplexScalar<T>) blocks.assign(std::size_t(std::accumulate(blocks.begin(), blocks.end(), 0)), 1);
    return distinct_schur_form<T>(random, blocks);
  }

  Random random{101};
};
TYPED_TEST_SUITE(SchurCondition, Precisions, PrecisionLetter);

const std::vector<Int> shapes[] = {{1, 1}, {2}, {1, 2}, {2, 1}, {1, 2, 1}, {2, 2, 1}, {1, 1, 2, 1}};

TYPED_TEST(SchurCondition, OfEigenvaluesIsTheCosineBetweenTheirVectors) {
  using T = TypeParam;
  for (const std::vector<Int>& shape : shapes) {
    Conditions<T> call(this->form(shape));
    const Spectrum<T> spectrum(call.S);
    call.find_vectors(spectrum).judge();
    EXPECT_EQ(call.m, call.n);
    for (Int j = 1; j <= call.n; ++j) {
      const auto x = spectrum.vector(j, false), y = spectrum.vector(j, true);
      const double cosine = double(std::abs(product<ComplexOf<T>>(y.adjoint(), x)(0, 0)));
      EXPECT_NEAR(call.s(j) / cosine, 1, 100 * epsilon<T> / cosine) << j << " of " << call.n;
    }
  }
}

TYPED_TEST(SchurCondition, OfEigenvectorsIsTheirSeparation) {
  using T = TypeParam;
  for (int round = 0; round < 4; ++round) {
    for (const std::vector<Int>& shape : shapes) {
      Conditions<T> call(this->form(shape));
      const Spectrum<T> spectrum(call.S);
      call.job = 'v';
      call.ldvl = call.ldvr = 1;
      call.judge();
      for (Int j = 1; j <= call.n; ++j) {
        // The estimate is of a one-norm, at most by a factor of three too small; of a pair that of twice as many parts.
        const bool of_pair = call.is_pair(j) || call.is_pair(j - 1);
        const double root = std::sqrt((of_pair ? 2.0 : 1.0) * (call.n - 1)), exact = spectrum.separation(j);
        EXPECT_GT(call.sep(j) * root / exact, 0.999) << j << " of " << call.n;
        EXPECT_LT(call.sep(j) / root / exact, 3) << j << " of " << call.n;
        if (call.is_pair(j)) {
          EXPECT_EQ(call.sep(j), call.sep(j + 1));
        }
        if (call.n == 2) {
          EXPECT_NEAR(call.sep(j) / exact, 1, 10 * epsilon<T>);
        }
      }
    }
  }
}

/// For the first block nothing is moved, and the norm that is estimated is known: most often the estimate is exact.
TYPED_TEST(SchurCondition, EstimatesTheNormOfTheInverse) {
  using T = TypeParam;
  using C = ComplexOf<T>;
  int exact = 0, count = 0;
  for (int round = 0; round < 10; ++round) {
    for (const std::vector<Int>& shape : shapes) {
      Conditions<T> call(this->form(shape));
      call.job = 'V';
      call.judge();
      const Spectrum<T> spectrum(call.S);
      const Eigen::Index n = call.n;
      const bool pair = call.is_pair(1);
      WideMatrix<C> V = WideMatrix<C>::Identity(n, n).rightCols(n - 1);
      if (pair) {
        // Orthogonal to the eigenvector for the second eigenvalue, which is first of length mu.
        const auto below = spectrum.S(1, 0).real(), mu = WideReal<T>(spectrum.values[0].imag());
        const auto length = std::sqrt(mu * mu + below * below);
        V(0, 0) = Wide<C>(0, below / length);
        V(1, 0) = mu / length;
      }
      const WideMatrix<C> rest = product<C>(V.adjoint(), product<C>(spectrum.shifted(pair ? 2 : 1), V));
      const double norm = one_norm_of<C>(inverse<C>(rest).adjoint(), pair);
      const double ratio = double(call.sep(1)) * norm;
      EXPECT_GT(ratio, 1 - 3000 * epsilon<T>);
      EXPECT_LT(ratio, 3);
      exact += ratio < 1 + 3000 * epsilon<T>;
      ++count;
    }
  }
  EXPECT_GT(exact, count * 2 / 3);
}

TYPED_TEST(SchurCondition, TakesTheSelectedEigenvalues) {
  using T = TypeParam;
  const GuardedMatrix<T> S = this->form({1, 2, 1, 2});
  expect_selected_conditions(Conditions<T>(S), Spectrum<T>(S), &Conditions<T>::sep, 13);
}

TYPED_TEST(SchurCondition, GivesWhatTheJobNames) {
  using T = TypeParam;
  const GuardedMatrix<T> S = this->form({1, 2, 1});
  expect_conditions_of_jobs(Conditions<T>(S), Spectrum<T>(S), &Conditions<T>::sep);
}

TYPED_TEST(SchurCondition, OfOneIsItsMagnitude) {
  using T = TypeParam;
  using R = Real<T>;
  GuardedMatrix<T> S = this->form({1});
  if constexpr (ComplexScalar<T>) {
    S(1, 1) = T(R(3), R(-4));
  } else {
    S(1, 1) = R(-5);
  }
  S.seal();
  Conditions<T> call(S);
  call.judge();
  EXPECT_EQ(call.s(1), R(1));
  EXPECT_EQ(call.sep(1), R(5));
  EXPECT_EQ(call.m, 1);
  Conditions<T> unselected(S);
  unselected.select(1) = 0;
  unselected.select.seal();
  unselected.howmny = 'S';
  unselected.judge();
  EXPECT_EQ(unselected.m, 0);
  EXPECT_TRUE(unselected.s.unchanged() && unselected.sep.unchanged());
  Conditions<T> empty(GuardedMatrix<T>(0, 0, 1));
  empty.judge();
  EXPECT_EQ(empty.m, 0);
}

/// The largest inverse that there is room for.
TYPED_TEST(SchurCondition, OfMultipleEigenvaluesIsNextToNothing) {
  using T = TypeParam;
  using R = Real<T>;
  GuardedMatrix<T> S(3, 3, 3);
  for (Int j = 1; j <= 3; ++j) {
    for (Int i = 1; i <= 3; ++i) S(i, j) = T(R(i == j ? 1 : 0));
  }
  S.seal();
  Conditions<T> call(S);
  call.job = 'V';
  call.judge();
  for (Int j = 1; j <= 3; ++j) {
    EXPECT_GE(call.sep(j), R(0));
    EXPECT_LE(call.sep(j), std::numeric_limits<R>::min() / epsilon<T>);
  }
}

template <class R>
class RealCondition : public SchurCondition<R> {};
TYPED_TEST_SUITE(RealCondition, RealPrecisions, PrecisionLetter);

TYPED_TEST(RealCondition, IsZeroWhereASwapIsRejected) {
  using R = TypeParam;
  int rejected = 0;
  for (int round = 0; round < 200; ++round) {
    const GuardedMatrix<R> S = close_pairs<R>(this->random);
    GuardedMatrix<R> moved = S;
    GuardedVector<R> work(4);
    Int ifst = 3, ilst = 1, info = 99;
    routine_call::trexc('N', 4, Matrix<R>(moved), Matrix<R>(nullptr, 1), ifst, ilst, work.data(), info);
    Conditions<R> call(S);
    call.job = 'V';
    call.judge();
    for (const Int j : {1, 2}) EXPECT_GT(call.sep(j), 0);
    for (const Int j : {3, 4}) EXPECT_EQ(call.sep(j) == 0, info == 1);
    rejected += info;
  }
  EXPECT_GT(rejected, 5);
}

template <class C>
class ComplexCondition : public SchurCondition<C> {};
TYPED_TEST_SUITE(ComplexCondition, ComplexPrecisions, PrecisionLetter);

/// Where a product of large elements with a large solution overflows, less than the right-hand side is solved for, and
/// what is found for that made good.
TYPED_TEST(ComplexCondition, IsFoundWithoutOverflow) {
  using T = TypeParam;
  using R = Real<T>;
  using Limits = std::numeric_limits<R>;
  const int largest = 2 - Limits::min_exponent - Limits::digits, least = largest - Limits::max_exponent - 3;
  const auto power = [](int exponent) { return T(std::ldexp(R(1), exponent)); };
  for (const bool is_small_above : {false, true}) {
    GuardedMatrix<T> S(3, 3, 3);
    for (Int j = 1; j <= 3; ++j) std::fill_n(&S(1, j), 3, T(0));
    S(2, 2) = power(is_small_above ? least : largest - 3);
    S(2, 3) = power(largest - 1);
    S(3, 3) = power(is_small_above ? largest - 3 : least);
    S.seal();
    Conditions<T> call(S);
    call.job = 'V';
    call.howmny = 'S';
    call.select(1) = 1;
    call.select(2) = call.select(3) = 0;
    call.select.seal();
    call.mm = 1;
    call.judge();
    EXPECT_EQ(call.m, 1);
    // The inverse has 1 and 4 over the small element in a row or a column, and next to nothing besides.
    const double ratio = double(std::ldexp(call.sep(1), -least));
    EXPECT_GT(ratio, 0.199) << is_small_above;
    EXPECT_LT(ratio, 0.251) << is_small_above;
  }
}

TYPED_TEST(SchurCondition, EndsWhateverTheNumbers) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R odd : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (Int i = 1; i <= 4; ++i) {
      for (Int j = i; j <= 4; ++j) {
        GuardedMatrix<T> S = this->form({1, 2, 1});
        Conditions<T> call(S);
        call.find_vectors(Spectrum<T>(S));
        call.S(i, j) = T(odd);
        call.VL(i, j) = T(odd);
        call.S.seal();
        call.VL.seal();
        call.judge();
        EXPECT_FALSE(std::isfinite(call.s(j)));
      }
    }
  }
}

// ----------------------------------------------------------------------------------------------------------- arguments

template <Scalar T>
struct ValidConditions : Conditions<T> {
  static GuardedMatrix<T> form() {
    Random random(5);
    return random_schur_form<T>(random, {1, 1, 1}, 3);
  }
  ValidConditions() : Conditions<T>(form()) {
    this->find_vectors(Spectrum<T>(this->S));
    this->ldvl = this->ldwork = 4;
  }
  bool unchanged() const {
    return this->S.unchanged() && this->VL.unchanged() && this->VR.unchanged() && this->s.unchanged() &&
           this->sep.unchanged() && this->work.unchanged();
  }
};

TYPED_TEST(SchurCondition, ChecksItsArguments) {
  using T = TypeParam;
  using Call = ValidConditions<T>;
  expect_argument_checks<Call>(reported_name<T>("TRSNA"), {{1, [](Call& c) { c.job = 'N'; }},
                                                           {2, [](Call& c) { c.howmny = 'B'; }},
                                                           {4, [](Call& c) { c.n = -1; }},
                                                           {6, [](Call& c) { c.ldt = 2; }},
                                                           {8, [](Call& c) { c.ldvl = 2; }},
                                                           {10, [](Call& c) { c.ldvr = 2; }},
                                                           {13, [](Call& c) { c.mm = 2; }},
                                                           {16, [](Call& c) { c.ldwork = 2; }}});
  Call no_vectors;
  no_vectors.job = 'V';
  no_vectors.ldvl = 0;
  EXPECT_EQ(no_vectors.run(), -8);
  no_vectors.ldvl = 1;
  no_vectors.ldvr = 0;
  EXPECT_EQ(no_vectors.run(), -10);
  Call no_work;
  no_work.job = 'E';
  no_work.ldwork = 0;
  EXPECT_EQ(no_work.run(), -16);
  EXPECT_EQ(take_error_reports().size(), 3u);
}

}  // namespace
}  // namespace nuv::test
