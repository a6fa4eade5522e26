// Random matrices with given spectra, bandwidths and storage: ?latms.

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "generators/spectrum_cases.hpp"
#include "support/argument_checks.hpp"
#include "support/random.hpp"

namespace nuv::test {
namespace {

template <class T>
class BandWithSpectrum : public ReportingTest {
 protected:
  Random random{43};
};
TYPED_TEST_SUITE(BandWithSpectrum, Precisions, PrecisionLetter);

bool is_one_of_letters(char letter, const char* letters) {
  return std::string(letters).find(char(std::toupper(letter))) != std::string::npos;
}

bool is_hermitian(char sym) {
  return is_one_of_letters(sym, "HP");
}

/// What a call asks for. The numbers of the spectrum are those that the call leaves in d.
template <Scalar T>
struct Request {
  Int m, n, kl, ku;
  char sym = 'N', pack = 'N';
  Int mode = 4;
  Real<T> cond = 10, dmax = 2;
  char dist = 'S';
  Int extra_rows = 0;
  Seed seed = first_seed;

  Int lower() const { return std::min(kl, m - 1); }
  Int upper() const { return std::min(ku, n - 1); }
  bool in_band(Int i, Int j) const { return i - j <= kl && j - i <= ku; }
  bool stores_upper_only() const { return is_one_of_letters(pack, "UCQ"); }
  bool stores_lower_only() const { return is_one_of_letters(pack, "LRB"); }
  bool is_packed() const { return is_one_of_letters(pack, "CR"); }
  bool is_dense() const { return is_one_of_letters(pack, "N") && lower() == m - 1 && upper() == n - 1; }

  /// Rows of the array that the form takes.
  Int rows() const {
    return is_one_of_letters(pack, "B")   ? lower() + 1
           : is_one_of_letters(pack, "Q") ? upper() + 1
           : is_one_of_letters(pack, "Z") ? 2 * lower() + upper() + 1
                                          : m;
  }

  /// Place of element (i, j) of the matrix in the array, both from one.
  std::pair<Int, Int> place(Int i, Int j) const {
    const Int ld = rows() + extra_rows;
    const auto in_order = [ld](Int index) { return std::pair(index % ld + 1, index / ld + 1); };
    switch (std::toupper(pack)) {
      case 'C':
        return in_order((j - 1) * j / 2 + i - 1);
      case 'R':
        return in_order((i - 1) * i / 2 + j - 1);
      case 'B':
        return {1 + i - j, j};
      case 'Q':
        return {upper() + 1 + i - j, j};
      case 'Z':
        return {lower() + upper() + 1 + i - j, j};
      default:
        return {i, j};
    }
  }
};

template <Scalar T>
std::ostream& operator<<(std::ostream& stream, const Request<T>& r) {
  return stream << r.m << " by " << r.n << ", " << r.kl << ", " << r.ku << ", sym " << r.sym << ", pack " << r.pack
                << ", mode " << r.mode << ", cond " << r.cond << ", dmax " << r.dmax;
}

template <Scalar T>
struct Outcome {
  GuardedMatrix<T> stored;
  GuardedVector<Real<T>> d;
  Seed seed;
  Int info;
  GuardedMatrix<T> A;  ///< all of the matrix that is told by what is stored
};

template <Scalar T>
Outcome<T> latms(const Request<T>& request, GuardedVector<Real<T>> d) {
  const Int ld = request.rows() + request.extra_rows;
  // Packed elements go on where columns of the array end.
  GuardedMatrix<T> stored(request.is_packed() ? ld : request.rows(), request.n, ld);
  Seed seed = request.seed;
  Int info = 99;
  GuardedVector<T> work(3 * std::max(request.m, request.n));
  routine_call::latms(request.m, request.n, request.dist, seed.data(), request.sym, d.data(), request.mode,
                      request.cond, request.dmax, request.kl, request.ku, request.pack, Matrix<T>(stored), work.data(),
                      info);
  EXPECT_TRUE(stored.guards_unchanged());
  EXPECT_TRUE(work.guards_unchanged());
  EXPECT_TRUE(d.guards_unchanged());
  return {stored, d, seed, info, GuardedMatrix<T>(request.m, request.n, request.m)};
}

/// Takes the matrix out of its array, and expects of the rest of the array what the form says.
template <Scalar T>
void unpack(const Request<T>& request, Outcome<T>& outcome) {
  GuardedMatrix<T>& stored = outcome.stored;
  GuardedMatrix<T>& A = outcome.A;
  const GuardedMatrix<T> untouched(stored.rows(), stored.columns(), stored.ld());
  std::vector<bool> is_element(std::size_t(stored.ld() * stored.columns()));
  for (Int j = 1; j <= request.n; ++j) {
    for (Int i = 1; i <= request.m; ++i) {
      const bool is_stored = !(request.stores_upper_only() && i > j) && !(request.stores_lower_only() && i < j) &&
                             (request.in_band(i, j) || !is_one_of_letters(request.pack, "BQZ"));
      if (is_stored) {
        const auto [row, column] = request.place(i, j);
        A(i, j) = stored(row, column);
        is_element[std::size_t((column - 1) * stored.ld() + row - 1)] = true;
      }
    }
  }
  for (Int j = 1; j <= request.n; ++j) {
    for (Int i = 1; i <= request.m; ++i) {
      const bool is_missing = (request.stores_upper_only() && i > j) || (request.stores_lower_only() && i < j) ||
                              (!request.in_band(i, j) && is_one_of_letters(request.pack, "BQZ"));
      if (!is_missing) continue;
      const bool is_mirrored = !is_one_of_letters(request.sym, "N") && request.in_band(i, j);
      A(i, j) = !is_mirrored ? T(0) : is_hermitian(request.sym) ? conjugate(A(j, i)) : A(j, i);
    }
  }
  // What the form leaves free is zero, up to the last element for which a packed triangle has been made.
  const Int end = request.is_packed() ? (request.n - 1) * stored.ld() + request.n : stored.ld() * stored.columns();
  for (Int j = 1; j <= stored.columns(); ++j) {
    for (Int i = 1; i <= stored.rows(); ++i) {
      const Int index = (j - 1) * stored.ld() + i - 1;
      if (is_element[std::size_t(index)]) continue;
      if (index < end) {
        EXPECT_EQ(stored(i, j), T(0)) << "unused " << i << ", " << j;
      } else {
        EXPECT_TRUE(same_bits(stored(i, j), untouched(i, j))) << "unused " << i << ", " << j;
      }
    }
  }
}

/// Rotations that a general matrix is made with: in each of the steps that give a new diagonal those of two rows, and
/// those of columns that the band still has when the rows are at their end.
Int rotations_for_diagonals(Int rows, Int columns, Int already_below, Int wanted) {
  Int count = 0;
  for (Int diagonal = 1; diagonal <= wanted; ++diagonal) {
    for (Int step = 1; step < std::min(rows + diagonal, columns) + already_below; ++step) {
      count += step < rows || step > already_below;
    }
  }
  return count;
}

template <Scalar T>
Int rotations(const Request<T>& r) {
  if (r.sym != 'N') return (r.n - 1) * r.upper();
  return rotations_for_diagonals(r.m, r.n, 0, r.upper()) + rotations_for_diagonals(r.n, r.m, r.upper(), r.lower());
}

/// The state that a request leaves: after the spectrum, one draw for the angle of each rotation and, of complex ones,
/// two pairs for the phases; for a full matrix normal numbers, two draws each, for reflections.
template <Scalar T>
Seed expected_seed(const Request<T>& r, Seed after_spectrum) {
  Int draws = rotations(r) * (ComplexScalar<T> ? 5 : 1);
  if (r.is_dense()) {
    draws = 0;
    if (r.m > 1 || r.n > 1) {
      for (Int i = 1; i <= std::min(r.m, r.n); ++i) {
        if (i < r.m) draws += 2 * (r.m - i + 1);
        if (i < r.n && r.sym == 'N') draws += 2 * (r.n - i + 1);
      }
    }
  }
  return after_draws<T>(after_spectrum, draws);
}

/// d as a call has to leave it, and the state of the random numbers by then.
template <Scalar T>
std::pair<GuardedVector<Real<T>>, Seed> expected_spectrum(const Request<T>& r, GuardedVector<Real<T>> d) {
  using R = Real<T>;
  Seed seed = r.seed;
  Int info = 99;
  const bool has_signs = r.sym == 'H' || (r.sym == 'S' && !ComplexScalar<T>);
  const Int idist = r.dist == 'U' ? 1 : r.dist == 'S' ? 2 : 3;
  routine_call::latm1(r.mode, r.cond, Int(has_signs), idist, seed.data(), d.data(), d.size(), info);
  EXPECT_EQ(info, 0);
  if (std::abs(r.mode) % 6 != 0) {
    R largest = 0;
    for (Int i = 1; i <= d.size(); ++i) largest = std::max(largest, std::abs(d(i)));
    for (Int i = 1; i <= d.size(); ++i) d(i) *= r.dmax / largest;
  } else if (r.sym == 'P' && r.mode != 0) {
    for (Int i = 1; i <= d.size(); ++i) d(i) = std::abs(d(i));
  }
  return {d, seed};
}

template <Scalar T>
GuardedVector<Real<T>> given_spectrum(const Request<T>& request) {
  const Int count = std::min(request.m, request.n);
  GuardedVector<Real<T>> d(count);
  for (Int i = 1; i <= count; ++i)
    d(i) = Real<T>(i) / Real<T>(count) * Real<T>(i % 3 == 2 && request.sym != 'P' ? -1 : 1);
  return d;
}

template <Scalar T>
void expect_symmetry(char sym, const GuardedMatrix<T>& A) {
  for (Int j = 1; j <= A.columns(); ++j) {
    if (is_hermitian(sym)) {
      EXPECT_EQ(std::imag(A(j, j)), 0) << j;
    }
    for (Int i = 1; i < j; ++i) {
      EXPECT_EQ(A(i, j), is_hermitian(sym) ? conjugate(A(j, i)) : A(j, i)) << i << ", " << j;
    }
  }
}

/// Whether all of the band has other elements than zeros. Many equal numbers in a spectrum force zeros: a banded matrix
/// that differs from a multiple of the identity by one of rank one is diagonal in most of its rows.
template <Scalar T>
bool fills_its_band(const Request<T>& r) {
  const Int mode = std::abs(r.mode);
  const bool has_distinct_numbers = mode == 0 || mode == 6 || (mode > 2 && r.cond > 1);
  return r.m == r.n && r.kl + r.ku > 0 && has_distinct_numbers;
}

/// Makes the matrix that is asked for and expects all that is promised of it.
template <Scalar T>
Outcome<T> expect_matrix(const Request<T>& request) {
  SCOPED_TRACE(testing::Message() << request);
  const GuardedVector<Real<T>> given = given_spectrum(request);
  Outcome<T> outcome = latms(request, given);
  EXPECT_EQ(outcome.info, 0);
  unpack(request, outcome);
  const GuardedMatrix<T>& A = outcome.A;

  const auto [d, seed] = expected_spectrum(request, given);
  EXPECT_TRUE(outcome.d.same_as(d));
  EXPECT_EQ(outcome.seed, expected_seed(request, seed));

  for (Int j = 1; j <= request.n; ++j) {
    for (Int i = 1; i <= request.m; ++i) {
      if (!request.in_band(i, j)) {
        EXPECT_EQ(A(i, j), T(0)) << i << ", " << j;
      } else if (fills_its_band(request)) {
        EXPECT_NE(A(i, j), T(0)) << i << ", " << j;
      }
    }
  }
  if (request.sym != 'N') expect_symmetry(request.sym, A);

  const Int count = d.size(), order = std::max(request.m, request.n);
  const bool has_eigenvalues = is_hermitian(request.sym) || (request.sym == 'S' && !ComplexScalar<T>);
  const double error =
      has_eigenvalues
          ? spectrum_error<T>(eigenvalues<T>(wide(A)), requested_eigenvalues<T>(d.data(), count), order)
          : spectrum_error<T>(singular_values<T>(wide(A)), requested_singular_values<T>(d.data(), count), order);
  EXPECT_LE(error, spectrum_threshold);
  return outcome;
}

const char* const forms_of_general = "NZ";
const char* const forms_of_symmetric = "NULCRBQZ";

TYPED_TEST(BandWithSpectrum, GeneralMatrixHasSingularValuesAndBand) {
  using T = TypeParam;
  const std::pair<Int, Int> shapes[] = {{1, 1}, {1, 4}, {4, 1}, {2, 2},  {3, 3},
                                        {2, 7}, {7, 2}, {6, 6}, {7, 11}, {11, 7}};
  for (const auto& [m, n] : shapes) {
    for (const Int kl : {0, 1, 2, 5, 12}) {
      for (const Int ku : {0, 1, 3, 12}) {
        for (const char pack : {'N', 'Z'}) {
          expect_matrix<T>({.m = m, .n = n, .kl = kl, .ku = ku, .pack = pack, .extra_rows = (m + kl) % 3});
        }
      }
    }
  }
}

TYPED_TEST(BandWithSpectrum, TriangularMatrixHasEveryFormOfATriangle) {
  using T = TypeParam;
  for (const Int n : {1, 2, 3, 8, 13}) {
    for (const Int k : {0, 1, 2, 5, 20}) {
      for (const Int extra : {0, 3}) {
        for (const char pack : {'C', 'Q'}) {
          expect_matrix<T>({.m = n, .n = n, .kl = 0, .ku = k, .pack = pack, .extra_rows = extra});
        }
        for (const char pack : {'R', 'B'}) {
          expect_matrix<T>({.m = n, .n = n, .kl = k, .ku = 0, .pack = pack, .extra_rows = extra});
        }
      }
    }
  }
}

TYPED_TEST(BandWithSpectrum, SymmetricMatrixHasSpectrumBandAndForm) {
  using T = TypeParam;
  for (const Int n : {1, 2, 3, 4, 9, 14}) {
    for (const Int k : {0, 1, 2, 3, 7, 20}) {
      for (const char sym : {'S', 'H', 'P'}) {
        for (const char* pack = forms_of_symmetric; *pack != 0; ++pack) {
          // The singular values of complex symmetric matrices take the longest.
          if (n == 14 && sym == 'S' && k != 3) continue;
          expect_matrix<T>({.m = n, .n = n, .kl = k, .ku = k, .sym = sym, .pack = *pack, .extra_rows = (n + k) % 3});
        }
      }
    }
  }
}

TYPED_TEST(BandWithSpectrum, SpectrumIsThatOfEachMode) {
  using T = TypeParam;
  using R = Real<T>;
  for (Int mode = -6; mode <= 6; ++mode) {
    for (const R cond : {R(1), R(30), R(1) / epsilon<T>}) {
      for (const R dmax : {R(1), R(-0.5), R(1000)}) {
        for (const char sym : {'N', 'S', 'H', 'P'}) {
          const char dist = "USN"[(mode + 6) % 3];
          // For a band, and for a full matrix.
          for (const Int k : {2, 7}) {
            expect_matrix<T>(
                {.m = 8, .n = 8, .kl = k, .ku = k, .sym = sym, .mode = mode, .cond = cond, .dmax = dmax, .dist = dist});
          }
        }
      }
    }
  }
}

TYPED_TEST(BandWithSpectrum, SignsOfAHermitianMatrixAreChangedWhereItsSpectrumIsSpread) {
  using T = TypeParam;
  for (Int mode = -6; mode <= 6; ++mode) {
    Request<T> request{.m = 12, .n = 12, .kl = 2, .ku = 2, .sym = 'P', .mode = mode, .dist = 'U'};
    const GuardedVector<Real<T>> given = given_spectrum(request);
    const auto positive = latms(request, given);
    for (const char sym : {'H', 'h'}) {
      SCOPED_TRACE(testing::Message() << request);
      request.sym = sym;
      const auto any = latms(request, given);
      const bool is_same = mode == 0 || std::abs(mode) == 6;
      EXPECT_EQ(any.info, 0);
      EXPECT_EQ(bool(any.d.same_as(positive.d)), is_same);
      EXPECT_EQ(bool(any.stored.same_as(positive.stored)), is_same);
      EXPECT_EQ(any.seed == positive.seed, is_same);
    }
  }
}

/// What ?lagge, or ?lagsy or ?laghe, makes with all diagonals, and the state it leaves.
template <Scalar T>
std::pair<GuardedMatrix<T>, Seed> full_matrix(const Request<T>& r, const GuardedVector<Real<T>>& d, Seed seed) {
  GuardedMatrix<T> A(r.m, r.n, r.rows() + r.extra_rows);
  GuardedVector<T> work(3 * std::max(r.m, r.n));
  Int info = 99;
  if (r.sym == 'N') {
    routine_call::lagge(r.m, r.n, r.m - 1, r.n - 1, d.data(), Matrix<T>(A), seed.data(), work.data(), info);
  } else if (r.sym == 'S' || !ComplexScalar<T>) {
    routine_call::lagsy(r.n, r.n - 1, d.data(), Matrix<T>(A), seed.data(), work.data(), info);
  } else if constexpr (ComplexScalar<T>) {
    routine_call::laghe(r.n, r.n - 1, d.data(), Matrix<T>(A), seed.data(), work.data(), info);
  }
  EXPECT_EQ(info, 0);
  return {A, seed};
}

TYPED_TEST(BandWithSpectrum, FullMatrixIsThatOfItsOwnGenerator) {
  using T = TypeParam;
  for (const auto& [m, n] : {std::pair(1, 1), std::pair(2, 2), std::pair(9, 9), std::pair(6, 10), std::pair(10, 7)}) {
    for (const char sym : {'N', 'S', 'H', 'P'}) {
      if (sym != 'N' && m != n) continue;
      for (const Int mode : {0, -3, 5, 6}) {
        const Request<T> request{.m = m, .n = n, .kl = 10, .ku = 10, .sym = sym, .mode = mode, .extra_rows = n % 2};
        SCOPED_TRACE(testing::Message() << request);
        const GuardedVector<Real<T>> given = given_spectrum(request);
        const auto made = latms(request, given);
        const auto [d, seed] = expected_spectrum(request, given);
        const auto [A, seed_behind] = full_matrix(request, d, seed);
        EXPECT_TRUE(made.d.same_as(d));
        EXPECT_TRUE(made.stored.same_as(A));
        EXPECT_EQ(made.seed, seed_behind);
      }
    }
  }
}

TYPED_TEST(BandWithSpectrum, PositiveMatrixHasMagnitudesOfRandomNumbers) {
  using T = TypeParam;
  for (const Int mode : {6, -6}) {
    for (const char dist : {'S', 'N'}) {
      Request<T> request{.m = 20, .n = 20, .kl = 1, .ku = 1, .sym = 'P', .mode = mode, .dist = dist};
      const auto positive = latms(request, given_spectrum(request));
      request.sym = 'H';
      const auto any = latms(request, given_spectrum(request));
      Int negative = 0;
      for (Int i = 1; i <= 20; ++i) {
        EXPECT_EQ(positive.d(i), std::abs(any.d(i)));
        negative += any.d(i) < 0;
      }
      EXPECT_GT(negative, 3);
    }
  }
}

/// ||A - B|| / (||B|| n eps) in the norm of Frobenius.
template <Scalar T>
double difference(const GuardedMatrix<T>& A, const GuardedMatrix<T>& B) {
  return double((wide(A) - wide(B)).norm() / (wide(B).norm() * WideReal<T>(B.columns() * epsilon<T>)));
}

TYPED_TEST(BandWithSpectrum, EveryFormHoldsTheSameMatrix) {
  using T = TypeParam;
  for (const Int n : {2, 5, 9}) {
    for (const Int k : {1, 2, 4}) {
      for (const char sym : {'S', 'H', 'P'}) {
        Request<T> request{.m = n, .n = n, .kl = k, .ku = k, .sym = sym, .pack = 'Q'};
        const Outcome<T> band = expect_matrix(request);
        for (const char* pack = forms_of_symmetric; *pack != 0; ++pack) {
          request.pack = *pack;
          if (request.is_dense()) continue;
          const Outcome<T> other = expect_matrix(request);
          EXPECT_LE(difference(other.A, band.A), 10) << request;
          EXPECT_EQ(other.seed, band.seed);
        }
      }
      for (const bool is_upper : {true, false}) {
        Request<T> request{.m = n, .n = n, .kl = is_upper ? 0 : k, .ku = is_upper ? k : 0, .pack = 'Z'};
        const Outcome<T> band = expect_matrix(request);
        for (const char pack : {is_upper ? 'C' : 'R', is_upper ? 'Q' : 'B', 'N'}) {
          request.pack = pack;
          const Outcome<T> other = expect_matrix(request);
          EXPECT_LE(difference(other.A, band.A), 10) << request;
        }
      }
    }
  }
}

TYPED_TEST(BandWithSpectrum, TakesLettersInEitherCase) {
  using T = TypeParam;
  for (const char sym : {'N', 'S', 'H', 'P'}) {
    for (const char* pack = sym == 'N' ? forms_of_general : forms_of_symmetric; *pack != 0; ++pack) {
      for (const char dist : {'U', 'S', 'N'}) {
        Request<T> request{.m = 5, .n = 5, .kl = 2, .ku = 2, .sym = sym, .pack = *pack, .mode = 6, .dist = dist};
        const auto capital = latms(request, given_spectrum(request));
        request.sym = char(std::tolower(sym));
        request.pack = char(std::tolower(*pack));
        request.dist = char(std::tolower(dist));
        const auto small = latms(request, given_spectrum(request));
        EXPECT_EQ(small.info, 0);
        EXPECT_TRUE(small.stored.same_as(capital.stored)) << request;
        EXPECT_TRUE(small.d.same_as(capital.d)) << request;
      }
    }
  }
}

TYPED_TEST(BandWithSpectrum, ComplexMatrixIsComplexAllOver) {
  using T = TypeParam;
  if constexpr (ComplexScalar<T>) {
    for (const char sym : {'N', 'S', 'H'}) {
      const Request<T> request{.m = 6, .n = 6, .kl = 2, .ku = 2, .sym = sym};
      const Outcome<T> outcome = expect_matrix(request);
      for (Int j = 1; j <= 6; ++j) {
        for (Int i = std::max(1, j - 2); i <= std::min(6, j + 2); ++i) {
          EXPECT_EQ(std::imag(outcome.A(i, j)) == 0, sym == 'H' && i == j) << i << ", " << j;
        }
      }
    }
  } else {
    // Real matrices of both names are one.
    for (const Int k : {2, 5}) {
      const Request<T> symmetric{.m = 6, .n = 6, .kl = k, .ku = k, .sym = 'S'};
      Request<T> hermitian = symmetric;
      hermitian.sym = 'H';
      EXPECT_TRUE(expect_matrix(symmetric).stored.same_as(expect_matrix(hermitian).stored));
    }
  }
}

TYPED_TEST(BandWithSpectrum, OfOrderTwoIsDiagonalTurnedByOneRandomAngle) {
  using T = TypeParam;
  using R = Real<T>;
  Seed seed = first_seed;
  for (int k = 0; k < 20; ++k) {
    const Request<T> request{.m = 2, .n = 2, .kl = 1, .ku = 1, .sym = 'P', .pack = 'Q', .mode = 0, .seed = seed};
    const GuardedVector<R> d = given_spectrum(request);
    const GuardedMatrix<T> A = expect_matrix(request).A;
    const auto angle = 2 * std::acos(WideReal<T>(-1)) * WideReal<T>(routine_call::laran<R>(seed.data()));
    Wide<T> c = std::cos(angle), s = std::sin(angle);
    if constexpr (ComplexScalar<T>) {
      c *= wide(routine_call::larnd<T>(5, seed.data()));
      s *= wide(routine_call::larnd<T>(5, seed.data()));
    }
    const double bound = 32 * epsilon<T>;
    EXPECT_NEAR(double(std::real(A(1, 1))), double(std::norm(c) * wide(d(1)) + std::norm(s) * wide(d(2))), bound);
    EXPECT_NEAR(double(std::real(A(2, 2))), double(std::norm(s) * wide(d(1)) + std::norm(c) * wide(d(2))), bound);
    EXPECT_LE(double(std::abs(wide(A(1, 2)) - c * s * (wide(d(2)) - wide(d(1))))), bound);
  }
}

TYPED_TEST(BandWithSpectrum, IsTheSameForTheSameSeedOnly) {
  using T = TypeParam;
  for (const char sym : {'N', 'S', 'H', 'P'}) {
    for (const Int k : {1, 5}) {
      Request<T> request{.m = 6, .n = 6, .kl = k, .ku = k, .sym = sym, .mode = 3};
      const auto first = latms(request, given_spectrum(request));
      EXPECT_TRUE(first.stored.same_as(latms(request, given_spectrum(request)).stored));
      request.seed = {0, 0, 0, 1};
      EXPECT_NE(first.stored(1, 1), latms(request, given_spectrum(request)).stored(1, 1));
    }
  }
}

TYPED_TEST(BandWithSpectrum, MakesTheSeedOneOfTheGenerator) {
  using T = TypeParam;
  Request<T> request{.m = 4, .n = 4, .kl = 1, .ku = 1};
  const struct {
    Seed given, taken;
  } cases[] = {{{-1, 5000, 8191, 4}, {1, 904, 4095, 5}},
               {{4096, -4097, 0, 0}, {0, 1, 0, 1}},
               {{std::numeric_limits<Int>::min(), std::numeric_limits<Int>::max(), 17, -8}, {0, 4095, 17, 9}}};
  for (const auto& [given, taken] : cases) {
    request.seed = taken;
    const Outcome<T> expected = expect_matrix(request);
    request.seed = given;
    const auto outcome = latms(request, given_spectrum(request));
    EXPECT_EQ(outcome.seed, expected.seed);
    EXPECT_TRUE(outcome.stored.same_as(expected.stored));
  }
  // Where nothing else is drawn it is all that happens to it.
  request.kl = request.ku = 0;
  request.seed = {-1, 5000, 8191, 4};
  EXPECT_EQ(latms(request, given_spectrum(request)).seed, (Seed{1, 904, 4095, 5}));
}

TYPED_TEST(BandWithSpectrum, KeepsNormAndTraceOfLargeMatrices) {
  using T = TypeParam;
  constexpr Int n = 150;
  for (const char sym : {'N', 'H'}) {
    for (const Int k : {1, 7, 40}) {
      const Request<T> request{.m = n, .n = n, .kl = k, .ku = k, .sym = sym, .pack = 'Z', .mode = 5};
      Outcome<T> outcome = latms(request, given_spectrum(request));
      unpack(request, outcome);
      const WideMatrix<T> A = wide(outcome.A);
      const auto d = wide(outcome.d);
      const double bound = 100 * double(d.norm()) * epsilon<Real<T>> * n;
      EXPECT_NEAR(double(A.norm()), double(d.norm()), bound);
      if (sym == 'H') {
        EXPECT_LE(double(std::abs(A.trace() - d.sum())), bound);
      }
    }
  }
}

// --------------------------------------------------------------------------------------------------------------- ends

TYPED_TEST(BandWithSpectrum, OfNothingLooksAtNothing) {
  using T = TypeParam;
  for (const auto& [m, n] : {std::pair(0, 3), std::pair(3, 0), std::pair(0, -1), std::pair(-1, 0)}) {
    Seed seed = {-1, 5000, 8191, 4};
    const Seed before = seed;
    GuardedMatrix<T> A(3, 3, 3);
    GuardedVector<Real<T>> d(3);
    T work[9] = {};
    Int info = 99;
    routine_call::latms(m, n, '?', seed.data(), '?', d.data(), 99, Real<T>(0), Real<T>(0), -1, -1, '?',
                        Matrix<T>{A.data(), 0}, work, info);
    EXPECT_EQ(info, 0);
    EXPECT_EQ(seed, before);
    EXPECT_TRUE(A.unchanged());
    EXPECT_TRUE(d.unchanged());
  }
}

TYPED_TEST(BandWithSpectrum, CannotScaleZeros) {
  using T = TypeParam;
  using R = Real<T>;
  // With an infinite condition all logarithms are that of zero, and so is the last of one number.
  constexpr R infinity = std::numeric_limits<R>::infinity();
  for (const char sym : {'N', 'H'}) {
    for (const auto& [mode, n] : {std::pair(5, 4), std::pair(-5, 4), std::pair(2, 1)}) {
      for (const R dmax : {R(1), R(-3), R(0)}) {
        const Request<T> request{
            .m = n, .n = n, .kl = 1, .ku = 1, .sym = sym, .mode = mode, .cond = infinity, .dmax = dmax};
        SCOPED_TRACE(testing::Message() << request);
        auto outcome = latms(request, given_spectrum(request));
        EXPECT_EQ(outcome.info, dmax == 0 ? 0 : 2);
        for (Int i = 1; i <= n; ++i) EXPECT_EQ(outcome.d(i), 0);
        if (dmax != 0) {
          EXPECT_TRUE(outcome.stored.unchanged());
        } else {
          EXPECT_TRUE(wide(outcome.stored).isZero(0));
        }
      }
    }
  }
}

TYPED_TEST(BandWithSpectrum, MayHaveAllTheRowsThatThereAreNumbersFor) {
  using T = TypeParam;
  // As a band they take no room.
  constexpr Int m = std::numeric_limits<Int>::max(), n = 3;
  Request<T> request{.m = m, .n = n, .kl = 0, .ku = 2, .pack = 'Z'};
  Seed seed = first_seed;
  GuardedMatrix<T> tall(3, n, 3);
  GuardedVector<Real<T>> d(n);
  Int info = 99;
  routine_call::latms(m, n, 'S', seed.data(), 'N', d.data(), 4, Real<T>(10), Real<T>(2), 0, 2, 'Z', Matrix<T>(tall),
                      static_cast<T*>(nullptr), info);
  EXPECT_EQ(info, 0);
  // The rows below the band are zeros and turn nothing: they might as well not be there.
  request.m = n + 5;
  EXPECT_TRUE(tall.same_as(latms(request, given_spectrum(request)).stored));
}

TYPED_TEST(BandWithSpectrum, ComesBackFromNumbersThatOverflow) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R dmax : {std::numeric_limits<R>::max(), std::numeric_limits<R>::infinity()}) {
    for (const char sym : {'N', 'H'}) {
      const Request<T> request{.m = 9, .n = 9, .kl = 2, .ku = 2, .sym = sym, .mode = 3, .dmax = dmax};
      const auto outcome = latms(request, given_spectrum(request));
      EXPECT_EQ(outcome.info, 0);
    }
  }
}

TYPED_TEST(BandWithSpectrum, KeepsSpectraAtTheEndsOfTheRange) {
  using T = TypeParam;
  using R = Real<T>;
  using Limits = std::numeric_limits<R>;
  for (const R dmax : {Limits::min() / epsilon<T> / epsilon<T>, Limits::max() / R(1000)}) {
    for (const char sym : {'N', 'S', 'H'}) {
      expect_matrix<T>({.m = 9, .n = 9, .kl = 3, .ku = 3, .sym = sym, .dmax = dmax});
    }
  }
}

// ------------------------------------------------------------------------------------------------------------- checks

template <Scalar T>
struct Call {
  Random random{1};
  Int m = 4, n = 4, mode = 3, kl = 1, ku = 1, lda = 5;
  char dist = 'U', sym = 'N', pack = 'N';
  Real<T> cond = 10, dmax = 1;
  Seed seed = first_seed;
  GuardedMatrix<T> A = random_matrix<T>(random, 5, 4, 5);
  GuardedVector<Real<T>> d = random_vector<Real<T>>(random, 4, 1);
  T work[12] = {};

  Int run() {
    Int info = 99;
    routine_call::latms(m, n, dist, seed.data(), sym, d.data(), mode, cond, dmax, kl, ku, pack,
                        Matrix<T>{A.data(), lda}, work, info);
    return info;
  }
  bool unchanged() const { return A.unchanged() && d.unchanged() && seed == first_seed; }
};

TYPED_TEST(BandWithSpectrum, ChecksItsArguments) {
  using T = TypeParam;
  using C = Call<T>;
  const std::string name = reported_name<T>("LATMS");
  expect_argument_checks<C>(name, {{1, [](C& call) { call.m = -1; }},
                                   {2, [](C& call) { call.n = -1; }},
                                   {3, [](C& call) { call.dist = 'D'; }},
                                   {5, [](C& call) { call.sym = 'A'; }},
                                   {7, [](C& call) { call.mode = 7; }},
                                   {8, [](C& call) { call.cond = Real<T>(0.5); }},
                                   {10, [](C& call) { call.kl = -1; }},
                                   {11, [](C& call) { call.ku = -1; }},
                                   {12, [](C& call) { call.pack = 'X'; }},
                                   {14, [](C& call) { call.lda = 3; }}});
}

/// A call for a symmetric matrix.
template <Scalar T>
struct SymmetricCall : Call<T> {
  SymmetricCall() { this->sym = 'S'; }
};

// What is bad only beside other arguments is reported in the same order.
TYPED_TEST(BandWithSpectrum, ChecksArgumentsThatDependOnOthersInTheirPlaces) {
  using T = TypeParam;
  using C = Call<T>;
  using S = SymmetricCall<T>;
  const std::string name = reported_name<T>("LATMS");
  expect_argument_checks<C>(name, {{1, [](C& call) { call.m = -1; }},
                                   {2, [](C& call) { call.n = -1; }},
                                   {3, [](C& call) { call.dist = 'D'; }},
                                   {7, [](C& call) { call.mode = -7; }},
                                   {8, [](C& call) { call.cond = 0; }},
                                   {10, [](C& call) { call.kl = -1; }},
                                   {11, [](C& call) { call.ku = -1; }},
                                   {12, [](C& call) { call.pack = 'U'; }},
                                   {14, [](C& call) { call.lda = 3; }}});
  expect_argument_checks<S>(name, {{1, [](S& call) { call.m = 3; }},
                                   {3, [](S& call) { call.dist = 'D'; }},
                                   {7, [](S& call) { call.mode = 7; }},
                                   {8, [](S& call) { call.cond = 0; }},
                                   {10, [](S& call) { call.kl = -1; }},
                                   {11, [](S& call) { call.ku = 2; }},
                                   {12, [](S& call) { call.pack = 'X'; }},
                                   {14, [](S& call) { call.lda = 2; }}});
}

TYPED_TEST(BandWithSpectrum, ChecksModeAndCondition) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr R nan = std::numeric_limits<R>::quiet_NaN();
  const struct {
    Int mode;
    R cond;
    int position;
  } cases[] = {{-7, 2, 7},  {7, 2, 7}, {-6, 0, 0}, {6, 0, 0},   {0, 0, 0},    {1, R(.5), 8},
               {-5, -1, 8}, {5, 1, 0}, {-1, 1, 0}, {3, nan, 8}, {-6, nan, 0}, {0, nan, 0}};
  for (const auto& [mode, cond, position] : cases) {
    SCOPED_TRACE(testing::Message() << mode << ", " << cond);
    Call<T> call;
    call.mode = mode;
    call.cond = cond;
    expect_report(call, reported_name<T>("LATMS"), position);
  }
}

TYPED_TEST(BandWithSpectrum, ChecksThatSymmetricMatricesAreSquare) {
  using T = TypeParam;
  for (const char sym : {'S', 'H', 'P'}) {
    Call<T> oblong;
    oblong.sym = sym;
    oblong.n = 3;
    expect_report(oblong, reported_name<T>("LATMS"), 1);
    for (const auto& [kl, ku] : {std::pair(1, 2), std::pair(2, 1), std::pair(8, 9)}) {
      Call<T> lopsided;
      lopsided.sym = sym;
      lopsided.kl = kl;
      lopsided.ku = ku;
      expect_report(lopsided, reported_name<T>("LATMS"), 11);
    }
  }
}

/// Whether a form may hold a matrix of order n: symmetric ones any, general ones a triangle if they have no other.
bool is_possible(char pack, char sym, Int kl, Int ku) {
  if (sym != 'N' || is_one_of_letters(pack, "NZ")) return true;
  if (is_one_of_letters(pack, "CQ")) return kl == 0;
  if (is_one_of_letters(pack, "RB")) return ku == 0;
  return false;
}

TYPED_TEST(BandWithSpectrum, ChecksThatTheFormHoldsTheMatrix) {
  using T = TypeParam;
  for (const char* pack = forms_of_symmetric; *pack != 0; ++pack) {
    for (const char sym : {'N', 'S', 'H', 'P'}) {
      for (const auto& [kl, ku] : {std::pair(0, 0), std::pair(1, 0), std::pair(0, 1), std::pair(1, 1)}) {
        if (sym != 'N' && kl != ku) continue;
        SCOPED_TRACE(testing::Message() << *pack << sym << kl << ku);
        Call<T> call;
        call.pack = *pack;
        call.sym = sym;
        call.kl = kl;
        call.ku = ku;
        expect_report(call, reported_name<T>("LATMS"), is_possible(*pack, sym, kl, ku) ? 0 : 12);
      }
    }
    Call<T> oblong;
    oblong.pack = *pack;
    oblong.m = 3;
    oblong.kl = oblong.ku = 0;
    expect_report(oblong, reported_name<T>("LATMS"), is_one_of_letters(*pack, "NZ") ? 0 : 12);
  }
}

TYPED_TEST(BandWithSpectrum, ChecksTheLeadingDimensionOfTheForm) {
  using T = TypeParam;
  const struct {
    char pack, sym;
    Int kl, ku, least;
  } cases[] = {{'N', 'N', 1, 1, 4}, {'U', 'S', 1, 1, 4}, {'L', 'S', 1, 1, 4}, {'C', 'S', 1, 1, 4}, {'R', 'S', 1, 1, 4},
               {'B', 'S', 1, 1, 2}, {'Q', 'S', 2, 2, 3}, {'B', 'N', 2, 0, 3}, {'Q', 'N', 0, 2, 3}, {'Q', 'S', 9, 9, 4},
               {'Z', 'N', 1, 1, 4}, {'Z', 'N', 1, 2, 5}, {'Z', 'N', 0, 3, 4}, {'Z', 'S', 1, 1, 4}, {'Z', 'N', 0, 0, 1}};
  for (const auto& [pack, sym, kl, ku, least] : cases) {
    for (const Int lda : {least - 1, least}) {
      SCOPED_TRACE(testing::Message() << pack << sym << kl << ku << ", " << lda);
      Call<T> call;
      call.pack = pack;
      call.sym = sym;
      call.kl = kl;
      call.ku = ku;
      call.lda = lda;
      expect_report(call, reported_name<T>("LATMS"), lda < least ? 14 : 0);
    }
  }
  // Sizes whose sum is not a number of 32 bits.
  constexpr Int huge = std::numeric_limits<Int>::max();
  Call<T> call;
  call.m = call.n = call.kl = call.ku = huge;
  call.pack = 'Z';
  expect_report(call, reported_name<T>("LATMS"), 14);
}

}  // namespace
}  // namespace nuv::test
