// Random matrices made by reflections, with a given spectrum and bandwidth: ?lagge, ?lagsy, ?laghe.

#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "generators/spectrum_cases.hpp"
#include "support/argument_checks.hpp"
#include "support/random.hpp"

namespace nuv::test {
namespace {

template <class T>
class RandomWithSpectrum : public ReportingTest {
 protected:
  Random random{29};

  /// Numbers of both signs, the largest magnitude being `largest`, one of them zero where there are many.
  GuardedVector<Real<T>> spectrum(Int n, Real<T> largest = 3) {
    GuardedVector<Real<T>> d(n);
    for (Int i = 1; i <= n; ++i) d(i) = largest * Real<T>(this->random.real());
    if (n > 0) d((n + 1) / 2) = largest;
    if (n > 4) d(4) = 0;
    d.seal();
    return d;
  }
};
TYPED_TEST_SUITE(RandomWithSpectrum, Precisions, PrecisionLetter);

/// All elements beyond the band are zeros, and none within it is.
template <Scalar T>
void expect_band(const GuardedMatrix<T>& A, Int kl, Int ku) {
  for (Int j = 1; j <= A.columns(); ++j) {
    for (Int i = 1; i <= A.rows(); ++i) {
      EXPECT_EQ(A(i, j) == T(0), i - j > kl || j - i > ku) << i << ", " << j << ": " << A(i, j);
    }
  }
}

template <Scalar T>
struct Outcome {
  GuardedMatrix<T> A;
  Seed seed;
};

/// Numbers drawn for normal vectors of n, n - 1, ... 2 elements, of which the first `count` are.
Int draws_of_reflections(Int n, Int count) {
  Int draws = 0;
  for (Int length = n; length >= 2 && count > 0; --length, --count) draws += 2 * length;
  return draws;
}

// ------------------------------------------------------------------------------------------------------------- general

template <Scalar T>
Outcome<T> lagge(Int m, Int n, Int kl, Int ku, const GuardedVector<Real<T>>& d, Seed seed = first_seed) {
  GuardedMatrix<T> A(m, n, std::max(1, m) + (m + n) % 3);
  GuardedVector<T> work(m + n);
  Int info = 99;
  routine_call::lagge(m, n, kl, ku, d.data(), Matrix<T>(A), seed.data(), work.data(), info);
  EXPECT_EQ(info, 0);
  EXPECT_TRUE(A.guards_unchanged());
  EXPECT_TRUE(work.guards_unchanged());
  EXPECT_TRUE(d.unchanged());
  return {A, seed};
}

const std::pair<Int, Int> shapes[] = {{1, 1}, {1, 5}, {5, 1}, {2, 2},   {3, 3},
                                      {7, 7}, {4, 9}, {9, 4}, {12, 13}, {16, 16}};

TYPED_TEST(RandomWithSpectrum, GeneralMatrixHasSingularValuesAndBand) {
  using T = TypeParam;
  for (const auto& [m, n] : shapes) {
    const Int order = std::max(m, n), count = std::min(m, n);
    const auto d = this->spectrum(count);
    for (const Int kl : {0, 1, 3, m - 1}) {
      for (const Int ku : {0, 1, 2, n - 1}) {
        if (kl > m - 1 || ku > n - 1) continue;
        SCOPED_TRACE(testing::Message() << m << " by " << n << ", " << kl << ", " << ku);
        const auto [A, seed] = lagge<T>(m, n, kl, ku, d);
        EXPECT_LE(
            (spectrum_error<T>(singular_values<T>(wide(A)), requested_singular_values<T>(d.data(), count), order)),
            spectrum_threshold);
        if (kl == 0 && ku == 0) {
          for (Int i = 1; i <= count; ++i) EXPECT_EQ(A(i, i), T(d(i)));
          EXPECT_EQ(seed, first_seed);
          continue;
        }
        // The last columns, or rows, of an oblong matrix may have a narrower band; a triangular one that is singular
        // has a zero on its diagonal.
        if (m == n && kl > 0 && ku > 0) expect_band(A, kl, ku);
        for (Int j = 1; j <= n; ++j) {
          for (Int i = 1; i <= m; ++i) {
            if (i - j > kl || j - i > ku) {
              EXPECT_EQ(A(i, j), T(0)) << i << ", " << j;
            }
          }
        }
        EXPECT_EQ(seed, (after_draws<T>(first_seed, draws_of_reflections(m, count) + draws_of_reflections(n, count))));
      }
    }
  }
}

TYPED_TEST(RandomWithSpectrum, GeneralMatrixIsTheSameForTheSameSeed) {
  using T = TypeParam;
  const auto d = this->spectrum(6);
  for (const auto& [kl, ku] : {std::pair(5, 6), std::pair(2, 1), std::pair(0, 3)}) {
    const auto [A, seed] = lagge<T>(6, 7, kl, ku, d);
    EXPECT_TRUE(A.same_as(lagge<T>(6, 7, kl, ku, d).A));
    const auto [B, other_seed] = lagge<T>(6, 7, kl, ku, d, {0, 0, 0, 1});
    EXPECT_NE(A(1, 1), B(1, 1));
  }
}

TYPED_TEST(RandomWithSpectrum, KeepsSpectraAtTheEndsOfTheRange) {
  using T = TypeParam;
  using R = Real<T>;
  using Limits = std::numeric_limits<R>;
  // The tiniest numbers whose rounding errors are numbers still, and the largest whose sums are.
  for (const R largest : {Limits::min() / epsilon<T> / epsilon<T>, R(1), Limits::max() / R(1000)}) {
    const auto d = this->spectrum(9, largest);
    for (const Int k : {1, 3, 8}) {
      SCOPED_TRACE(testing::Message() << largest << ", " << k);
      EXPECT_LE((spectrum_error<T>(singular_values<T>(wide(lagge<T>(9, 9, k, k / 2, d).A)),
                                   requested_singular_values<T>(d.data(), 9), 9)),
                spectrum_threshold);
    }
  }
}

template <Scalar T>
struct LaggeCall {
  Random random{1};
  Int m = 3, n = 4, kl = 2, ku = 3, lda = 5;
  GuardedMatrix<T> A = random_matrix<T>(random, 3, 4, 5);
  Real<T> d[3] = {1, 2, 3};
  Seed seed = first_seed;
  T work[7] = {};

  Int run() {
    Int info = 99;
    routine_call::lagge(m, n, kl, ku, d, Matrix<T>{A.data(), lda}, seed.data(), work, info);
    return info;
  }
  bool unchanged() const { return A.unchanged() && seed == first_seed; }
};

TYPED_TEST(RandomWithSpectrum, GeneralMatrixChecksItsArguments) {
  using T = TypeParam;
  using Call = LaggeCall<T>;
  const std::string name = reported_name<T>("LAGGE");
  expect_argument_checks<Call>(name, {{1, [](Call& call) { call.m = -1; }},
                                      {2, [](Call& call) { call.n = -1; }},
                                      {3, [](Call& call) { call.kl = 3; }},
                                      {4, [](Call& call) { call.ku = 4; }},
                                      {7, [](Call& call) { call.lda = 2; }}});
  const struct {
    Int m, n, kl, ku, lda;
    int position;
  } cases[] = {{3, 4, -1, 3, 5, 3}, {3, 4, 2, -1, 5, 4}, {3, 4, 0, 0, 3, 0}, {0, 4, 0, 0, 5, 3},
               {3, 0, 0, 0, 5, 4},  {1, 4, 0, 0, 0, 7},  {1, 1, 0, 0, 1, 0}, {1, 1, 1, 0, 1, 3}};
  for (const auto& [m, n, kl, ku, lda, position] : cases) {
    SCOPED_TRACE(testing::Message() << m << ", " << n << ", " << kl << ", " << ku << ", " << lda);
    Call call;
    call.m = m;
    call.n = n;
    call.kl = kl;
    call.ku = ku;
    call.lda = lda;
    expect_report(call, name, position);
  }
}

// ----------------------------------------------------------------------------------------------- symmetric, Hermitian

template <Scalar T, class Routine>
Outcome<T> make_symmetric(Routine routine, Int n, Int k, const GuardedVector<Real<T>>& d, Seed seed) {
  GuardedMatrix<T> A(n, n, n + n % 3);
  GuardedVector<T> work(2 * n);
  Int info = 99;
  routine(n, k, d.data(), Matrix<T>(A), seed.data(), work.data(), info);
  EXPECT_EQ(info, 0);
  EXPECT_TRUE(A.guards_unchanged());
  EXPECT_TRUE(work.guards_unchanged());
  EXPECT_TRUE(d.unchanged());
  return {A, seed};
}

template <Scalar T>
Outcome<T> lagsy(Int n, Int k, const GuardedVector<Real<T>>& d, Seed seed = first_seed) {
  return make_symmetric<T>([](auto&&... arguments) { routine_call::lagsy(arguments...); }, n, k, d, seed);
}

/// ?laghe, which real matrices have no need of.
template <Scalar T>
Outcome<T> laghe(Int n, Int k, const GuardedVector<Real<T>>& d, Seed seed = first_seed) {
  if constexpr (ComplexScalar<T>) {
    return make_symmetric<T>([](auto&&... arguments) { routine_call::laghe(arguments...); }, n, k, d, seed);
  } else {
    return lagsy<T>(n, k, d, seed);
  }
}

const Int orders[] = {1, 2, 3, 7, 12, 16};
const Int bandwidths[] = {0, 1, 2, 5, 15};

TYPED_TEST(RandomWithSpectrum, HermitianMatrixHasEigenvaluesAndBand) {
  using T = TypeParam;
  for (const Int n : orders) {
    const auto d = this->spectrum(n);
    for (const Int k : bandwidths) {
      if (k > n - 1) continue;
      SCOPED_TRACE(testing::Message() << n << ", " << k);
      const auto [A, seed] = laghe<T>(n, k, d);
      EXPECT_LE((spectrum_error<T>(eigenvalues<T>(wide(A)), requested_eigenvalues<T>(d.data(), n), n)),
                spectrum_threshold);
      for (Int j = 1; j <= n; ++j) {
        EXPECT_EQ(std::imag(A(j, j)), 0);
        for (Int i = 1; i < j; ++i) EXPECT_EQ(A(i, j), conjugate(A(j, i))) << i << ", " << j;
      }
      if (k > 0) expect_band(A, k, k);
      EXPECT_EQ(seed, (after_draws<T>(first_seed, k == 0 ? 0 : draws_of_reflections(n, n))));
    }
  }
}

TYPED_TEST(RandomWithSpectrum, SymmetricMatrixHasSpectrumAndBand) {
  using T = TypeParam;
  for (const Int n : orders) {
    const auto d = this->spectrum(n);
    for (const Int k : bandwidths) {
      if (k > n - 1) continue;
      SCOPED_TRACE(testing::Message() << n << ", " << k);
      const auto [A, seed] = lagsy<T>(n, k, d);
      EXPECT_LE((spectrum_error<T>(singular_values<T>(wide(A)), requested_singular_values<T>(d.data(), n), n)),
                spectrum_threshold);
      if constexpr (!ComplexScalar<T>) {
        EXPECT_LE((spectrum_error<T>(eigenvalues<T>(wide(A)), requested_eigenvalues<T>(d.data(), n), n)),
                  spectrum_threshold);
      }
      for (Int j = 1; j <= n; ++j) {
        for (Int i = 1; i < j; ++i) EXPECT_TRUE(same_bits(A(i, j), A(j, i))) << i << ", " << j;
      }
      if (k == 0) {
        for (Int i = 1; i <= n; ++i) EXPECT_EQ(A(i, i), T(d(i)));
      } else {
        expect_band(A, k, k);
      }
      EXPECT_EQ(seed, (after_draws<T>(first_seed, k == 0 ? 0 : draws_of_reflections(n, n))));
    }
  }
}

TYPED_TEST(RandomWithSpectrum, ComplexMatrixIsComplexAllOver) {
  using T = TypeParam;
  if constexpr (ComplexScalar<T>) {
    const auto d = this->spectrum(6);
    for (const auto& A : {lagge<T>(6, 6, 5, 5, d).A, lagsy<T>(6, 5, d).A, laghe<T>(6, 5, d).A}) {
      for (Int j = 1; j <= 6; ++j) {
        for (Int i = 1; i < j; ++i) EXPECT_NE(std::imag(A(i, j)), 0);
      }
    }
    EXPECT_NE(std::imag(lagsy<T>(6, 5, d).A(1, 1)), 0);
  } else {
    EXPECT_TRUE((laghe<T>(6, 5, this->spectrum(6)).A(1, 1)) != 0);
  }
}

TYPED_TEST(RandomWithSpectrum, OfZerosIsZero) {
  using T = TypeParam;
  GuardedVector<Real<T>> d(6);
  for (Int i = 1; i <= 6; ++i) d(i) = 0;
  d.seal();
  for (const Int k : {1, 5}) {
    EXPECT_TRUE(wide(lagge<T>(6, 7, k, 2, d).A).isZero(0));
    EXPECT_TRUE(wide(lagsy<T>(6, k, d).A).isZero(0));
    EXPECT_TRUE(wide(laghe<T>(6, k, d).A).isZero(0));
  }
}

TYPED_TEST(RandomWithSpectrum, SymmetricMatrixIsTheSameForTheSameSeed) {
  using T = TypeParam;
  const auto d = this->spectrum(7);
  for (const auto routine : {lagsy<T>, laghe<T>}) {
    for (const Int k : {1, 6}) {
      const auto [A, seed] = routine(7, k, d, first_seed);
      EXPECT_TRUE(A.same_as(routine(7, k, d, first_seed).A));
      EXPECT_NE(A(1, 1), (routine(7, k, d, {0, 0, 0, 1}).A(1, 1)));
    }
  }
}

template <Scalar T, bool hermitian>
struct SymmetricCall {
  Random random{1};
  Int n = 3, k = 2, lda = 4;
  GuardedMatrix<T> A = random_matrix<T>(random, 3, 3, 4);
  Real<T> d[3] = {1, 2, 3};
  Seed seed = first_seed;
  T work[6] = {};

  Int run() {
    Int info = 99;
    if constexpr (hermitian) {
      routine_call::laghe(n, k, d, Matrix<T>{A.data(), lda}, seed.data(), work, info);
    } else {
      routine_call::lagsy(n, k, d, Matrix<T>{A.data(), lda}, seed.data(), work, info);
    }
    return info;
  }
  bool unchanged() const { return A.unchanged() && seed == first_seed; }
};

template <class Call>
void expect_symmetric_checks(const std::string& name) {
  expect_argument_checks<Call>(name, {{1, [](Call& call) { call.n = -1; }},
                                      {2, [](Call& call) { call.k = 3; }},
                                      {5, [](Call& call) { call.lda = 2; }}});
  const struct {
    Int n, k, lda;
    int position;
  } cases[] = {{3, -1, 4, 2}, {3, 0, 3, 0}, {0, 0, 4, 2}, {1, 0, 0, 5}, {1, 0, 1, 0}, {1, 1, 1, 2}};
  for (const auto& [n, k, lda, position] : cases) {
    SCOPED_TRACE(testing::Message() << n << ", " << k << ", " << lda);
    Call call;
    call.n = n;
    call.k = k;
    call.lda = lda;
    expect_report(call, name, position);
  }
}

TYPED_TEST(RandomWithSpectrum, SymmetricMatrixChecksItsArguments) {
  using T = TypeParam;
  expect_symmetric_checks<SymmetricCall<T, false>>(reported_name<T>("LAGSY"));
  if constexpr (ComplexScalar<T>) {
    expect_symmetric_checks<SymmetricCall<T, true>>(reported_name<T>("LAGHE"));
  }
}

}  // namespace
}  // namespace nuv::test
