// Random matrices with given eigenvalues: ?latme.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "routines.hpp"
#include "spectrum_cases.hpp"
#include "support/argument_checks.hpp"
#include "support/options.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

template <class T>
class RandomEigenvalueMatrix : public ReportingTest {
 protected:
  Random random{37};
};
TYPED_TEST_SUITE(RandomEigenvalueMatrix, Precisions, PrecisionLetter);

template <Scalar T>
struct Options {
  Int n = 6;
  char dist = 'S';
  Int mode = 4;
  Real<T> cond = 4;
  T dmax = 3;
  std::string ei = " ";
  char rsign = 'F', upper = 'F', sim = 'F';
  Int modes = 3;
  Real<T> conds = 10;
  Int kl = 5, ku = 5;
  Real<T> anorm = -1;

  bool asks(char option) const { return same_letter(option, 'T'); }

  std::string text() const {
    return "n " + std::to_string(n) + ", dist " + dist + ", mode " + std::to_string(mode) + ", ei " + ei + ", rsign " +
           rsign + ", upper " + upper + ", sim " + sim + ", band " + std::to_string(kl) + ", " + std::to_string(ku);
  }
};

template <Scalar T>
struct Arrays {
  GuardedVector<T> d;
  GuardedVector<Real<T>> ds;
  GuardedMatrix<T> A;
  GuardedVector<T> work;
  Seed seed = first_seed;
  Int info = 99;

  Arrays(const Options<T>& options, Random& random)
      : d(random_vector<T>(random, options.n, 1)),
        ds(options.n),
        A(options.n, options.n, options.n + 2),
        work(3 * options.n) {
    for (Int i = 1; i <= options.n; ++i) ds(i) = random.divisor<Real<T>>();
    ds.seal();
  }
};

template <Scalar T>
void call(const Options<T>& options, Arrays<T>& arrays, Int lda) {
  routine_call::latme(options.n, options.dist, arrays.seed.data(), arrays.d.data(), options.mode, options.cond,
                      options.dmax, options.ei.c_str(), options.rsign, options.upper, options.sim, arrays.ds.data(),
                      options.modes, options.conds, options.kl, options.ku, options.anorm,
                      Matrix<T>{arrays.A.data(), lda}, arrays.work.data(), arrays.info);
}

template <Scalar T>
Arrays<T> latme(const Options<T>& options, Arrays<T> arrays) {
  call(options, arrays, arrays.A.ld());
  EXPECT_TRUE(arrays.A.guards_unchanged());
  EXPECT_TRUE(arrays.work.guards_unchanged());
  return arrays;
}

template <Scalar T>
Arrays<T> latme(const Options<T>& options, Random& random) {
  return latme(options, Arrays<T>(options, random));
}

// ------------------------------------------------------------------------------------------------- measures of spectra

template <Scalar T>
using WideComplex = std::complex<WideReal<T>>;

template <Scalar T>
using WideComplexMatrix = WideMatrix<std::complex<Real<T>>>;

/// How little A must change, in the two-norm, to have this eigenvalue: unlike the distance to the nearest eigenvalue of
/// A it grows no faster than the error of A, however far A is from normal.
template <Scalar T>
double distance_to(WideComplex<T> eigenvalue, const WideMatrix<T>& A) {
  WideComplexMatrix<T> shifted = A.template cast<WideComplex<T>>();
  shifted.diagonal().array() -= eigenvalue;
  return double(wide_singular_values<std::complex<Real<T>>>(shifted)(A.rows() - 1));
}

/// Eigenvalues on the diagonal, or in the blocks, of a triangle.
template <Scalar T>
std::vector<WideComplex<T>> spectrum(const WideMatrix<T>& triangle) {
  std::vector<WideComplex<T>> values;
  const Eigen::Index n = triangle.rows();
  for (Eigen::Index i = 0; i < n; ++i) {
    if (i + 1 < n && triangle(i + 1, i) != Wide<T>(0)) {
      const auto re = std::real(triangle(i, i)), im = std::real(triangle(i, i + 1));
      EXPECT_EQ(triangle(i + 1, i + 1), triangle(i, i));
      EXPECT_EQ(triangle(i + 1, i), -triangle(i, i + 1));
      values.insert(values.end(), {{re, im}, {re, -im}});
      ++i;
    } else {
      values.push_back(triangle(i, i));
    }
  }
  return values;
}

// ----------------------------------------------------------------------------------------------------- the triangle

/// The triangle from which a matrix is made, and the state behind it; gives d and pairs as well.
template <Scalar T>
GuardedMatrix<T> expected_triangle(const Options<T>& options, Arrays<T>& arrays) {
  const Int n = options.n, idist = is_one_of(options.dist, 'U') ? 1 : is_one_of(options.dist, 'S') ? 2 : 3;
  Int info = 99;
  Int* const seed = arrays.seed.data();
  routine_call::latm1(options.mode, options.cond, Int(options.asks(options.rsign)), idist, seed, arrays.d.data(), n,
                      info);
  EXPECT_EQ(info, 0);
  if (options.mode != 0 && std::abs(options.mode) != 6) {
    Real<T> largest = 0;
    for (Int i = 1; i <= n; ++i) largest = std::max(largest, Real<T>(std::abs(arrays.d(i))));
    for (Int i = 1; i <= n; ++i) arrays.d(i) *= options.dmax / largest;
  }
  std::vector<bool> ends_pair(std::size_t(n) + 1, false);
  if constexpr (RealScalar<T>) {
    for (Int j = 2; j <= n; ++j) {
      const bool at_random = std::abs(options.mode) == 5 && j % 2 == 0;
      if (options.mode == 0 && options.ei[0] != ' ')
        ends_pair[std::size_t(j)] = is_one_of(options.ei[std::size_t(j - 1)], 'I');
      else if (at_random) ends_pair[std::size_t(j)] = routine_call::laran<T>(seed) > T(0.5);
    }
  }
  GuardedMatrix<T> A(n, n, n);
  for (Int j = 1; j <= n; ++j) {
    const bool is_second = ends_pair[std::size_t(j)];
    const Int above = j - 1 - is_second;
    for (Int i = 1; i <= n; ++i) A(i, j) = 0;
    if (options.asks(options.upper) && above > 0) routine_call::larnv(idist, seed, above, A.data() + (j - 1) * n);
    A(j, j) = is_second ? arrays.d(j - 1) : arrays.d(j);
    if (is_second) {
      A(j - 1, j) = arrays.d(j);
      A(j, j - 1) = T(0) - arrays.d(j);
    }
  }
  return A;
}

constexpr Int orders[] = {1, 2, 3, 4, 7, 12};
constexpr Int modes[] = {0, 1, -1, 2, -2, 3, -3, 4, -4, 5, -5, 6, -6};

/// Letters for n eigenvalues with pairs in some places.
std::string random_letters(Random& random, Int n) {
  std::string letters = "R";
  while (Int(letters.size()) < n) letters += letters.back() == 'R' && random.integer(0, 1) == 1 ? 'I' : 'R';
  for (char& letter : letters) letter = random.in_some_case(letter);
  return letters;
}

/// Calls of every mode, distribution, order and sign.
template <Scalar T, class Body>
void for_spectra(Random& random, Body body) {
  for (const Int n : orders) {
    for (const Int mode : modes) {
      for (const char dist : {'U', 'S', 'N'}) {
        for (const char rsign : {'F', 'T'}) {
          Options<T> options;
          options.n = n;
          options.mode = mode;
          options.dist = random.in_some_case(dist);
          options.rsign = random.in_some_case(rsign);
          options.dmax = random.divisor<T>();
          options.kl = options.ku = std::max(1, n - 1);
          if (mode == 0 && rsign == 'T') options.ei = random_letters(random, n);
          // A spectrum that is given is read in mode 0 alone.
          if (mode != 0 && rsign == 'T') options.ei = std::string(std::size_t(n), 'X');
          SCOPED_TRACE(options.text());
          body(options);
        }
      }
    }
  }
}

TYPED_TEST(RandomEigenvalueMatrix, WithoutSimilarityIsTriangular) {
  using T = TypeParam;
  for_spectra<T>(this->random, [&](Options<T>& options) {
    for (const char upper : {'F', 'f', 'T', 't'}) {
      options.upper = upper;
      const Arrays<T> start(options, this->random);
      Arrays<T> expected = start;
      const Arrays<T> made = latme(options, start);
      const GuardedMatrix<T> triangle = expected_triangle(options, expected);
      EXPECT_EQ(made.info, 0);
      EXPECT_EQ(made.seed, expected.seed);
      EXPECT_TRUE(made.ds.unchanged());
      for (Int j = 1; j <= options.n; ++j) {
        for (Int i = 1; i <= options.n; ++i) {
          // d is a quotient and a product away from what latm1 gives.
          const T value = triangle(i, j);
          EXPECT_LE(std::abs(made.A(i, j) - value), 8 * epsilon<T> * std::abs(value)) << i << ", " << j;
        }
        EXPECT_LE(std::abs(made.d(j) - expected.d(j)), 8 * epsilon<T> * std::abs(expected.d(j)));
      }
    }
  });
}

TYPED_TEST(RandomEigenvalueMatrix, SpreadsAreScaledToTheLargest) {
  using T = TypeParam;
  for (const Int mode : {1, -2, 3, -4, 5}) {
    for (const char rsign : {'F', 'T'}) {
      Options<T> options;
      options.mode = mode;
      options.rsign = rsign;
      if constexpr (ComplexScalar<T>) options.dmax = {-3, 4};
      else options.dmax = -5;
      const Arrays<T> made = latme(options, this->random);
      T largest = 0;
      for (Int i = 1; i <= 6; ++i) largest = std::abs(made.d(i)) > std::abs(largest) ? made.d(i) : largest;
      EXPECT_NEAR(std::abs(largest), 5, 16 * epsilon<T>);
      if (rsign == 'F') {
        EXPECT_LE(std::abs(largest - options.dmax), 16 * epsilon<T>);
      }
    }
  }
}

TYPED_TEST(RandomEigenvalueMatrix, SignsAreChangedWhereEigenvaluesAreSpread) {
  using T = TypeParam;
  for (const Int mode : modes) {
    Options<T> options;
    options.n = 12;
    options.kl = options.ku = 11;
    options.mode = mode;
    options.upper = options.sim = 'T';
    const Arrays<T> start(options, this->random);
    const Arrays<T> plain = latme(options, start);
    for (const char rsign : {'f', 'T', 't'}) {
      SCOPED_TRACE(options.text());
      options.rsign = rsign;
      const Arrays<T> made = latme(options, start);
      const bool is_same = rsign == 'f' || mode == 0 || std::abs(mode) == 6;
      EXPECT_EQ(made.info, 0);
      EXPECT_EQ(bool(made.d.same_as(plain.d)), is_same);
      EXPECT_EQ(bool(made.A.same_as(plain.A)), is_same);
      EXPECT_EQ(made.seed == plain.seed, is_same);
    }
  }
}

// --------------------------------------------------------------------------------------------- similarities and bands

TYPED_TEST(RandomEigenvalueMatrix, HasItsSpectrumAndItsBand) {
  using T = TypeParam;
  for_spectra<T>(this->random, [&](Options<T>& options) {
    const Int n = options.n, full = std::max(1, n - 1);
    const std::pair<Int, Int> bands[] = {{full, full}, {1, full}, {full, 1}, {2, 100}, {100, 3}};
    for (const char sim : {'F', 'T'}) {
      const auto& [kl, ku] = bands[std::size_t(this->random.integer(0, 4))];
      options.upper = this->random.integer(0, 1) == 0 ? 'T' : 'F';
      options.sim = 'F';
      options.kl = options.ku = full;
      const Arrays<T> start(options, this->random);
      const WideMatrix<T> triangle = wide(latme(options, start).A);
      options.sim = sim;
      options.kl = kl;
      options.ku = ku;
      SCOPED_TRACE(options.text());
      const Arrays<T> made = latme(options, start);
      EXPECT_EQ(made.info, 0);
      const WideMatrix<T> A = wide(made.A);
      for (Int j = 1; j <= n; ++j) {
        for (Int i = 1; i <= n; ++i) {
          if (i - j > kl || j - i > ku) {
            EXPECT_EQ(made.A(i, j), T(0)) << i << ", " << j;
          }
        }
      }
      // Orthogonal similarities have errors of n eps times the norm of what they are applied to; X scales errors of the
      // first of them by up to conds.
      const double conds = sim == 'T' ? double(options.conds) : 1;
      const double tolerance = threshold * double(triangle.norm()) * n * epsilon<T> * conds;
      for (const WideComplex<T> eigenvalue : spectrum<T>(triangle)) {
        EXPECT_LE(distance_to<T>(eigenvalue, A), tolerance) << eigenvalue;
      }
      EXPECT_LE(double(std::abs(A.trace() - triangle.trace())), tolerance);
      EXPECT_LE(double(std::abs((A * A).trace() - (triangle * triangle).trace())),
                2 * tolerance * double(A.norm()) * std::sqrt(double(n)));
    }
  });
}

TYPED_TEST(RandomEigenvalueMatrix, BandsComeFromOrthogonalSimilarities) {
  using T = TypeParam;
  for (const Int n : {3, 7, 12}) {
    for (const auto& [kl, ku] : {std::pair(1, 11), std::pair(2, 11), std::pair(11, 1), std::pair(11, 4)}) {
      Options<T> options;
      options.n = n;
      options.mode = 6;
      options.upper = options.sim = 'T';
      options.kl = options.ku = n - 1;
      const Arrays<T> start(options, this->random);
      const WideMatrix<T> full = wide(latme(options, start).A);
      options.kl = kl;
      options.ku = ku;
      const WideMatrix<T> band = wide(latme(options, start).A);
      const auto of_full = wide_singular_values<std::complex<Real<T>>>(full.template cast<WideComplex<T>>());
      const auto of_band = wide_singular_values<std::complex<Real<T>>>(band.template cast<WideComplex<T>>());
      EXPECT_LE(double((of_full - of_band).norm()), threshold * n * epsilon<T> * double(full.norm())) << n;
    }
  }
}

TYPED_TEST(RandomEigenvalueMatrix, EdgesOfComplexBandsAreComplex) {
  using T = TypeParam;
  if constexpr (ComplexScalar<T>) {
    for (const auto& [kl, ku] : {std::pair(1, 5), std::pair(5, 2)}) {
      Options<T> options;
      options.mode = 6;
      options.sim = 'T';
      options.kl = kl;
      options.ku = ku;
      const Arrays<T> made = latme(options, this->random);
      for (Int k = 1; k + std::min(kl, ku) <= 6; ++k) {
        const T edge = kl < ku ? made.A(k + kl, k) : made.A(k, k + ku);
        EXPECT_GT(std::abs(edge.imag()), 1e-3 * std::abs(edge)) << k;
      }
    }
  }
}

/// A := X A X^-1 as far as it is a scaling.
template <Scalar T>
void scale(const std::vector<Real<T>>& ds, WideMatrix<T>& A) {
  for (Eigen::Index i = 0; i < A.rows(); ++i) {
    for (Eigen::Index j = 0; j < A.cols(); ++j)
      A(i, j) *= WideReal<T>(ds[std::size_t(i)]) / WideReal<T>(ds[std::size_t(j)]);
  }
}

template <Scalar T>
void large(WideMatrix<T>& A, Seed& seed) {
  const Int n = Int(A.rows());
  GuardedMatrix<T> X(n, n, n);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) X(i, j) = T(A(i - 1, j - 1));
  }
  GuardedVector<T> work(2 * n);
  Int info = 99;
  routine_call::large(n, Matrix<T>(X), seed.data(), work.data(), info);
  EXPECT_EQ(info, 0);
  A = wide(X);
}

TYPED_TEST(RandomEigenvalueMatrix, SimilarityIsOfTwoRandomOnesAndAScaling) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int n : orders) {
    for (const Int modes : {0, 1, -1, 2, 3, -4, 5}) {
      for (const char sim : {'T', 't'}) {
        Options<T> options;
        options.n = n;
        options.mode = 0;
        options.upper = 'T';
        options.sim = sim;
        options.modes = modes;
        options.conds = 50;
        options.kl = options.ku = std::max(1, n - 1);
        const Arrays<T> start(options, this->random);
        const Arrays<T> made = latme(options, start);
        EXPECT_EQ(made.info, 0);

        Arrays<T> expected = start;
        WideMatrix<T> A = wide(expected_triangle(options, expected));
        Int info = 99;
        routine_call::latm1(modes, options.conds, 0, 0, expected.seed.data(), expected.ds.data(), n, info);
        EXPECT_EQ(info, 0);
        EXPECT_TRUE(made.ds.same_as(expected.ds));
        const double norm = double(A.norm());
        large<T>(A, expected.seed);
        scale<T>({made.ds.data(), made.ds.data() + n}, A);
        large<T>(A, expected.seed);
        EXPECT_EQ(made.seed, expected.seed);
        // Rounding in other places; the first similarity's are scaled by ratios of ds.
        const double ratio = modes == 0 ? 10 : double(R(options.conds));
        EXPECT_LE(double((wide(made.A) - A).norm()), threshold * n * epsilon<T> * norm * ratio) << n << ", " << modes;
      }
    }
  }
}

TYPED_TEST(RandomEigenvalueMatrix, IsScaledToANorm) {
  using T = TypeParam;
  using R = Real<T>;
  for (const auto& [kl, ku] : {std::pair(5, 5), std::pair(1, 5), std::pair(5, 2)}) {
    for (const double anorm : {0.0, 0.5, 200.0}) {
      Options<T> options;
      options.upper = options.sim = 'T';
      options.kl = kl;
      options.ku = ku;
      const Arrays<T> start(options, this->random);
      const Arrays<T> plain = latme(options, start);
      options.anorm = R(anorm);
      const Arrays<T> scaled = latme(options, start);
      R largest = 0, largest_scaled = 0;
      for (Int j = 1; j <= 6; ++j) {
        for (Int i = 1; i <= 6; ++i) {
          largest = std::max(largest, R(std::abs(plain.A(i, j))));
          largest_scaled = std::max(largest_scaled, R(std::abs(scaled.A(i, j))));
        }
      }
      EXPECT_NEAR(double(largest_scaled), anorm, 8 * epsilon<T> * anorm);
      for (Int j = 1; j <= 6; ++j) {
        for (Int i = 1; i <= 6; ++i) {
          const T expected = plain.A(i, j) * (R(anorm) / largest);
          EXPECT_LE(std::abs(scaled.A(i, j) - expected), 8 * epsilon<T> * std::abs(expected));
        }
      }
    }
  }
}

TYPED_TEST(RandomEigenvalueMatrix, OfZeroIsNotScaled) {
  using T = TypeParam;
  Options<T> options;
  options.dmax = 0;
  options.anorm = 2;
  const Arrays<T> made = latme(options, this->random);
  EXPECT_EQ(made.info, 0);
  EXPECT_EQ(wide(made.A).norm(), 0);
}

TYPED_TEST(RandomEigenvalueMatrix, MakesASeedOfAnyFourWords) {
  using T = TypeParam;
  Options<T> options;
  options.upper = 'T';
  Arrays<T> good(options, this->random);
  Arrays<T> wild = good;
  good.seed = {5, 4095, 0, 7};
  wild.seed = {-5, 8191, 4096, -6};
  const Arrays<T> made = latme(options, wild), expected = latme(options, good);
  EXPECT_TRUE(made.A.same_as(expected.A));
  EXPECT_EQ(made.seed, expected.seed);
}

TYPED_TEST(RandomEigenvalueMatrix, OfOrderZeroTouchesNothing) {
  using T = TypeParam;
  Options<T> options;
  options.n = 0;
  options.dist = 'X';
  const Arrays<T> made = latme(options, this->random);
  EXPECT_EQ(made.info, 0);
  EXPECT_EQ(made.seed, first_seed);
}

// ------------------------------------------------------------------------------------------------------------ failures

TYPED_TEST(RandomEigenvalueMatrix, TellsWhatCouldNotBeMade) {
  using T = TypeParam;
  constexpr auto infinity = std::numeric_limits<Real<T>>::infinity();
  Options<T> options;
  options.sim = 'T';
  // Singular values down to zero.
  options.modes = 1;
  options.conds = infinity;
  EXPECT_EQ(latme(options, this->random).info, 5);
  options.sim = 'F';
  EXPECT_EQ(latme(options, this->random).info, 0);
  // Logarithms of eigenvalues spread down to minus infinity.
  options.mode = 5;
  options.cond = infinity;
  EXPECT_EQ(latme(options, this->random).info, 2);
  options.dmax = 0;
  EXPECT_EQ(latme(options, this->random).info, 0);
}

template <Scalar T>
struct LatmeCall {
  Random random{1};
  Options<T> options;
  Arrays<T> arrays{similar(options), random};
  Int lda = 6;

  static const Options<T>& similar(Options<T>& options) {
    options.sim = 'T';
    return options;
  }

  Int run() {
    call(options, arrays, lda);
    return arrays.info;
  }
  bool unchanged() const {
    return arrays.A.unchanged() && arrays.d.unchanged() && arrays.ds.unchanged() && arrays.work.unchanged() &&
           arrays.seed == first_seed;
  }
};

TYPED_TEST(RandomEigenvalueMatrix, ChecksItsArguments) {
  using T = TypeParam;
  using Call = LatmeCall<T>;
  expect_argument_checks<Call>(reported_name<T>("LATME"), {{1, [](Call& call) { call.options.n = -1; }},
                                                           {2, [](Call& call) { call.options.dist = 'D'; }},
                                                           {5, [](Call& call) { call.options.mode = -7; }},
                                                           {6, [](Call& call) { call.options.cond = Real<T>(0.5); }},
                                                           {9, [](Call& call) { call.options.rsign = 'X'; }},
                                                           {10, [](Call& call) { call.options.upper = 'N'; }},
                                                           {11, [](Call& call) { call.options.sim = ' '; }},
                                                           {13, [](Call& call) { call.options.modes = 6; }},
                                                           {14, [](Call& call) { call.options.conds = Real<T>(0.5); }},
                                                           {15, [](Call& call) { call.options.kl = 0; }},
                                                           {16, [](Call& call) { call.options.ku = 0; }},
                                                           {19, [](Call& call) { call.lda = 5; }}});
}

/// A call that gives the eigenvalues, one by one or as pairs.
template <Scalar T>
struct LatmeCallWithEigenvalues : LatmeCall<T> {
  LatmeCallWithEigenvalues() {
    this->options.mode = 0;
    this->options.ei = "RIRRIR";
  }
};

/// A call that gives the singular values of X.
template <Scalar T, class Call = LatmeCall<T>>
struct LatmeCallWithSingularValues : Call {
  LatmeCallWithSingularValues() { this->options.modes = 0; }

  void put_zero_into_ds() {
    this->arrays.ds(6) = 0;
    this->arrays.ds.seal();
  }
};

TYPED_TEST(RandomEigenvalueMatrix, ChecksLettersOfPairsInTheirPlace) {
  using T = TypeParam;
  using Call = LatmeCallWithEigenvalues<T>;
  if constexpr (RealScalar<T>) {
    expect_argument_checks<Call>(reported_name<T>("LATME"), {{1, [](Call& call) { call.options.n = -1; }},
                                                             {2, [](Call& call) { call.options.dist = 'D'; }},
                                                             {8, [](Call& call) { call.options.ei = "RIIRRR"; }},
                                                             {9, [](Call& call) { call.options.rsign = 'X'; }},
                                                             {10, [](Call& call) { call.options.upper = 'N'; }},
                                                             {11, [](Call& call) { call.options.sim = ' '; }},
                                                             {13, [](Call& call) { call.options.modes = 6; }},
                                                             {14, [](Call& call) { call.options.conds = T(0.5); }},
                                                             {15, [](Call& call) { call.options.kl = 0; }},
                                                             {16, [](Call& call) { call.options.ku = 0; }},
                                                             {19, [](Call& call) { call.lda = 5; }}});
  }
}

TYPED_TEST(RandomEigenvalueMatrix, ChecksSingularValuesInTheirPlace) {
  using T = TypeParam;
  using Call = LatmeCallWithSingularValues<T>;
  expect_argument_checks<Call>(reported_name<T>("LATME"), {{1, [](Call& call) { call.options.n = -1; }},
                                                           {2, [](Call& call) { call.options.dist = 'D'; }},
                                                           {5, [](Call& call) { call.options.mode = 7; }},
                                                           {6, [](Call& call) { call.options.cond = Real<T>(0.5); }},
                                                           {9, [](Call& call) { call.options.rsign = 'X'; }},
                                                           {10, [](Call& call) { call.options.upper = 'N'; }},
                                                           {11, [](Call& call) { call.options.sim = ' '; }},
                                                           {12, [](Call& call) { call.put_zero_into_ds(); }},
                                                           {15, [](Call& call) { call.options.kl = 0; }},
                                                           {16, [](Call& call) { call.options.ku = 0; }},
                                                           {19, [](Call& call) { call.lda = 5; }}});
  if constexpr (RealScalar<T>) {
    using GivesBoth = LatmeCallWithSingularValues<T, LatmeCallWithEigenvalues<T>>;
    expect_argument_checks<GivesBoth>(reported_name<T>("LATME"),
                                      {{8, [](GivesBoth& call) { call.options.ei = "RIIRRR"; }},
                                       {12, [](GivesBoth& call) { call.put_zero_into_ds(); }}});
  }
}

TYPED_TEST(RandomEigenvalueMatrix, ChecksBandsBeforeTheLeadingDimension) {
  using T = TypeParam;
  using Call = LatmeCall<T>;
  expect_argument_checks<Call>(reported_name<T>("LATME"),
                               {{14, [](Call& call) { call.options.conds = 0; }},
                                {16, [](Call& call) { call.options.kl = call.options.ku = 4; }},
                                {19, [](Call& call) { call.lda = 5; }}});
}

template <Scalar T>
void expect_position(int position, void (*spoil)(LatmeCall<T>&)) {
  LatmeCall<T> call;
  spoil(call);
  expect_report(call, reported_name<T>("LATME"), position);
}

TYPED_TEST(RandomEigenvalueMatrix, ChecksBandsTogether) {
  using T = TypeParam;
  using Call = LatmeCall<T>;
  expect_position<T>(16, [](Call& call) { call.options.kl = call.options.ku = 4; });
  expect_position<T>(0, [](Call& call) { call.options.kl = 1; });
  expect_position<T>(0, [](Call& call) { call.options.ku = 1; });
  // A matrix of order one has no diagonal to give up, but asks for bandwidths all the same.
  expect_position<T>(15, [](Call& call) {
    call.options.n = 1;
    call.options.kl = call.options.ku = 0;
  });
}

TYPED_TEST(RandomEigenvalueMatrix, RefusesNaNAsACondition) {
  using T = TypeParam;
  constexpr auto nan = std::numeric_limits<Real<T>>::quiet_NaN();
  expect_position<T>(6, [](LatmeCall<T>& call) { call.options.cond = nan; });
  expect_position<T>(14, [](LatmeCall<T>& call) { call.options.conds = nan; });
  expect_position<T>(0, [](LatmeCall<T>& call) {
    call.options.mode = 6;
    call.options.cond = nan;
    call.options.modes = 0;
    call.options.conds = nan;
  });
}

TYPED_TEST(RandomEigenvalueMatrix, ChecksConditionsWhereTheyAreUsed) {
  using T = TypeParam;
  for (const Int mode : {0, 6, -6}) {
    LatmeCall<T> call;
    call.options.mode = mode;
    call.options.cond = 0;
    expect_report(call, reported_name<T>("LATME"), 0);
  }
}

TYPED_TEST(RandomEigenvalueMatrix, ChecksTheSimilarityWhereItIsAskedFor) {
  using T = TypeParam;
  using Call = LatmeCall<T>;
  const auto with_zero = [](Call& call) {
    call.options.modes = 0;
    call.options.conds = 0;
    call.arrays.ds(6) = 0;
    call.arrays.ds.seal();
  };
  expect_position<T>(12, with_zero);
  expect_position<T>(13, [](Call& call) { call.options.modes = -6; });
  expect_position<T>(0, [](Call& call) {
    call.options.modes = 0;
    call.options.conds = 0;
  });
  expect_position<T>(0, [](Call& call) {
    call.options.sim = 'f';
    call.options.modes = 9;
    call.options.conds = 0;
  });
  Call plain;
  with_zero(plain);
  plain.options.sim = 'F';
  expect_report(plain, reported_name<T>("LATME"), 0);
}

TYPED_TEST(RandomEigenvalueMatrix, ChecksThatPairsAreMarked) {
  using T = TypeParam;
  if constexpr (RealScalar<T>) {
    for (const auto& [ei, position] :
         {std::pair("RRRRRR", 0), std::pair("RIRIRI", 0), std::pair("rirRiR", 0), std::pair(" IIIII", 0),
          std::pair("IRRRRR", 8), std::pair("RIIRRR", 8), std::pair("RRRRRX", 8), std::pair("XRRRRR", 8),
          std::pair("RR RRR", 8), std::pair("RRRRII", 8)}) {
      LatmeCall<T> call;
      call.options.mode = 0;
      call.options.ei = ei;
      expect_report(call, reported_name<T>("LATME"), position);
      LatmeCall<T> spread;
      spread.options.ei = ei;
      expect_report(spread, reported_name<T>("LATME"), 0);
    }
  }
}

TYPED_TEST(RandomEigenvalueMatrix, ReadsNoLettersForComplexEigenvalues) {
  using T = TypeParam;
  if constexpr (ComplexScalar<T>) {
    Options<T> options;
    options.mode = 0;
    const Arrays<T> start(options, this->random);
    const Arrays<T> blank = latme(options, start);
    for (const char* ei : {"IXIIII", "RIRIRI", ""}) {
      options.ei = ei;
      const Arrays<T> made = latme(options, start);
      EXPECT_EQ(made.info, 0) << ei;
      EXPECT_TRUE(made.A.same_as(blank.A)) << ei;
    }
  }
}

}  // namespace
}  // namespace nuv::test
