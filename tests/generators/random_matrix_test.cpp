// Random matrices made element by element: ?latmr.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "random_matrix_cases.hpp"
#include "support/reported_errors.hpp"

namespace nuv::test {
namespace {

template <class T>
class RandomMatrix : public ReportingTest {
 protected:
  Random random{29};
};
TYPED_TEST_SUITE(RandomMatrix, Precisions, PrecisionLetter);

// ---------------------------------------------------------------------------------------------- the matrix, rewritten

/// A plain matrix, counted from one.
template <class T>
struct Plain {
  Int m, n;
  std::vector<T> elements;

  Plain(Int m_, Int n_) : m(m_), n(n_), elements(std::size_t(m_) * std::size_t(n_)) {}
  T& operator()(Int i, Int j) { return elements[std::size_t(i - 1) + std::size_t(j - 1) * std::size_t(m)]; }

  void exchange_rows(Int i, Int k) {
    for (Int j = 1; j <= n; ++j) std::swap((*this)(i, j), (*this)(k, j));
  }
  void exchange_columns(Int j, Int k) {
    for (Int i = 1; i <= m; ++i) std::swap((*this)(i, j), (*this)(i, k));
  }
};

Int distribution(char dist) {
  return is_one_of(dist, 'U') ? 1 : is_one_of(dist, 'S') ? 2 : 3;
}

template <Scalar T>
void fill_spectrum(Int mode, Real<T> cond, Int irsign, Int idist, Seed& seed, GuardedVector<T>& d) {
  Int info = 99;
  routine_call::latm1(mode, cond, irsign, idist, seed.data(), d.data(), d.size(), info);
  EXPECT_EQ(info, 0);
}

/// d, dl and dr as the options say.
template <Scalar T>
void fill_diagonals(const Options<T>& options, Arrays<T>& arrays) {
  const Int idist = distribution(options.dist);
  fill_spectrum(options.mode, options.cond, options.is(options.rsign, 'T'), idist, arrays.seed, arrays.d);
  if (options.mode != 0 && std::abs(options.mode) != 6) {
    Real<T> largest = 0;
    for (Int i = 1; i <= arrays.d.size(); ++i) largest = std::max(largest, Real<T>(std::abs(arrays.d(i))));
    for (Int i = 1; i <= arrays.d.size(); ++i) arrays.d(i) *= options.dmax / largest;
  }
  if (options.is_hermitian()) {
    for (Int i = 1; i <= arrays.d.size(); ++i) arrays.d(i) = std::real(arrays.d(i));
  }
  if (is_one_of(options.grade, 'L', 'B', 'E', 'H', 'S')) {
    fill_spectrum(options.model, options.condl, 0, idist, arrays.seed, arrays.dl);
  }
  if (is_one_of(options.grade, 'R', 'B')) {
    fill_spectrum(options.moder, options.condr, 0, idist, arrays.seed, arrays.dr);
  }
}

/// The factor that a grading puts on the element (i, j).
template <Scalar T>
T grading(const Options<T>& options, Arrays<T>& arrays, Int i, Int j) {
  if (options.is(options.grade, 'L')) return arrays.dl(i);
  if (options.is(options.grade, 'R')) return arrays.dr(j);
  if (options.is(options.grade, 'B')) return arrays.dl(i) * arrays.dr(j);
  if (options.is(options.grade, 'E')) return i == j ? T(1) : arrays.dl(i) / arrays.dl(j);
  if (options.is(options.grade, 'H')) return arrays.dl(i) * conjugate(arrays.dl(j));
  if (options.is(options.grade, 'S')) return arrays.dl(i) * arrays.dl(j);
  return T(1);
}

template <Scalar T>
T element(const Options<T>& options, Arrays<T>& arrays, Int i, Int j) {
  if (options.sparse > 0 && routine_call::laran<Real<T>>(arrays.seed.data()) < options.sparse) return T(0);
  const T plain = i == j ? arrays.d(i) : routine_call::larnd<T>(distribution(options.dist), arrays.seed.data());
  return plain * grading(options, arrays, i, j);
}

/// (j, i) from (i, j)
template <Scalar T>
void mirror(const Options<T>& options, Plain<T>& A, Int i, Int j) {
  if (!options.is_symmetric()) return;
  if (!options.is_hermitian()) A(j, i) = A(i, j);
  else if (i != j) A(j, i) = conjugate(A(i, j));
  else A(i, i) = std::real(A(i, i));
}

/// A full matrix: all of it is drawn, then rows and columns change places.
template <Scalar T>
Plain<T> full_matrix(const Options<T>& options, Arrays<T>& arrays) {
  Plain<T> A(options.m, options.n);
  for (Int j = 1; j <= options.n; ++j) {
    for (Int i = 1; i <= (options.is_symmetric() ? j : options.m); ++i) {
      A(i, j) = element(options, arrays, i, j);
      mirror(options, A, i, j);
    }
  }
  for (Int k = Int(arrays.ipivot.size()); k >= 1; --k) {
    if (options.pivots_rows()) A.exchange_rows(k, arrays.ipivot[std::size_t(k - 1)]);
    if (options.pivots_columns()) A.exchange_columns(k, arrays.ipivot[std::size_t(k - 1)]);
  }
  return A;
}

/// A band matrix: the places change first, and what falls into the band is drawn.
template <Scalar T>
Plain<T> band_matrix(const Options<T>& options, Arrays<T>& arrays) {
  Plain<Int> rows(options.m, 1), columns(1, options.n);
  for (Int i = 1; i <= options.m; ++i) rows(i, 1) = i;
  for (Int j = 1; j <= options.n; ++j) columns(1, j) = j;
  for (Int k = Int(arrays.ipivot.size()); k >= 1; --k) {
    if (options.pivots_rows()) rows.exchange_rows(k, arrays.ipivot[std::size_t(k - 1)]);
    if (options.pivots_columns()) columns.exchange_columns(k, arrays.ipivot[std::size_t(k - 1)]);
  }
  Plain<T> A(options.m, options.n);
  for (Int j = 1; j <= options.n; ++j) {
    for (Int i = 1; i <= (options.is_symmetric() ? j : options.m); ++i) {
      if (j - i > options.ku || i - j > options.kl) continue;
      A(i, j) = element(options, arrays, rows(i, 1), columns(1, j));
      mirror(options, A, i, j);
    }
  }
  return A;
}

template <Scalar T>
Plain<T> expected_matrix(const Options<T>& options, Arrays<T>& arrays) {
  fill_diagonals(options, arrays);
  Plain<T> A = options.is_full() ? full_matrix(options, arrays) : band_matrix(options, arrays);
  if (options.anorm < 0) return A;
  Real<T> largest = 0;
  for (const T& x : A.elements) largest = std::max(largest, Real<T>(std::abs(x)));
  for (T& x : A.elements) x = x / largest * options.anorm;
  return A;
}

/// What a packed form stores at (i, j) of its array, which may be no element at all.
template <Scalar T>
T expected_place(const Options<T>& options, Plain<T>& A, Int row, Int column) {
  Int i = row, j = column;
  switch (options.pack) {
    case 'U':
      return i <= j ? A(i, j) : T(0);
    case 'L':
      return i >= j ? A(i, j) : T(0);
    case 'C':
      for (j = 1; i > j; ++j) i -= j;
      break;
    case 'R':
      j = row;
      for (i = 1; j > i; ++i) j -= i;
      break;
    case 'B':
      i = j + (row - 1);
      break;
    case 'Q':
      i = j + (row - 1) - options.upper();
      break;
    case 'Z':
      i = j + (row - 1) - options.upper() - options.lower();
      break;
    default:
      break;
  }
  return i >= 1 && i <= options.m ? A(i, j) : T(0);
}

template <Scalar T>
void expect_matrix(Options<T> options, const Arrays<T>& start) {
  SCOPED_TRACE(options.text());
  Arrays<T> expected = start;
  const Arrays<T> made = latmr(options, start);
  EXPECT_EQ(made.info, 0);
  Plain<T> matrix = expected_matrix(options, expected);
  EXPECT_EQ(made.seed, expected.seed);
  EXPECT_TRUE(made.dl.same_as(expected.dl));
  EXPECT_TRUE(made.dr.same_as(expected.dr));
  // d has one product and one quotient; an element is that, or a number of its own, times factors in another order, and
  // anorm: six roundings, of which a complex one counts up to three times.
  const Real<T> tolerance = 20 * epsilon<T>;
  for (Int i = 1; i <= made.d.size(); ++i)
    EXPECT_LE(std::abs(made.d(i) - expected.d(i)), tolerance * std::abs(expected.d(i)));
  options.pack = char(std::toupper(options.pack));
  for (Int j = 1; j <= made.A.columns(); ++j) {
    for (Int i = 1; i <= made.A.rows(); ++i) {
      const T value = expected_place(options, matrix, i, j);
      EXPECT_LE(std::abs(made.A(i, j) - value), tolerance * std::abs(value)) << i << ", " << j;
    }
  }
}

/// Whether a matrix may have these options together.
template <Scalar T>
bool go_together(const Options<T>& options) {
  const bool square = options.m == options.n;
  if (options.is_symmetric()) {
    if (!square || options.kl != options.ku || is_one_of(options.pivtng, 'L', 'R')) return false;
    if (is_one_of(options.grade, 'L', 'R', 'B', 'E')) return false;
    if (ComplexScalar<T> && is_one_of(options.grade, 'H', 'S') && !same_letter(options.grade, options.sym))
      return false;
    return true;
  }
  if (is_one_of(options.grade, 'E', 'H', 'S') && !square) return false;
  if (is_one_of(options.pivtng, 'B', 'F') && !square) return false;
  if (is_one_of(options.pack, 'U', 'L', 'B', 'Q')) return false;
  if (options.is(options.pack, 'C')) return square && options.kl == 0;
  if (options.is(options.pack, 'R')) return square && options.ku == 0;
  return true;
}

constexpr char dists[] = {'U', 'S', 'N'};
constexpr Int modes[] = {0, 1, -2, 3, -4, 5, 6, -6};

TYPED_TEST(RandomMatrix, IsTheOneOfItsDefinitionInEveryForm) {
  using T = TypeParam;
  Random& random = this->random;
  const std::pair<Int, Int> shapes[] = {{6, 6}, {1, 1}, {5, 8}, {8, 5}, {2, 2}};
  const std::pair<Int, Int> bands[] = {
      {7, 7}, {2, 2}, {0, 2}, {3, 0}, {1, 4}, {0, 0}, {0, 7}, {7, 0}, {1000, 2147483647}};
  int cases = 0;
  for (const char sym : syms) {
    for (const char pack : packs) {
      for (const char pivtng : pivtngs) {
        for (const char grade : grades) {
          for (const auto& [m, n] : shapes) {
            for (const auto& [kl, ku] : bands) {
              Options<T> options;
              options.m = m;
              options.n = n;
              options.kl = kl;
              options.ku = ku;
              options.sym = random.in_some_case(sym);
              options.pack = random.in_some_case(pack);
              options.pivtng = random.in_some_case(pivtng);
              options.grade = random.in_some_case(grade);
              if (!go_together(options)) continue;
              options.dist = random.in_some_case(random.pick(dists));
              options.mode = random.pick(modes);
              options.model = random.pick(modes);
              options.moder = random.pick(modes);
              options.rsign = random.in_some_case(random.integer(0, 1) == 0 ? 'T' : 'F');
              if (random.integer(0, 3) == 0) options.sparse = Real<T>(0.4);
              options.dmax = random.divisor<T>();
              // The real part of a product would be as accurate as the product alone.
              if (options.is_hermitian()) options.dmax = std::real(options.dmax);
              Arrays<T> arrays(options, random);
              expect_matrix(options, arrays);
              ++cases;
            }
          }
        }
      }
    }
  }
  EXPECT_GE(cases, 1500);
}

TYPED_TEST(RandomMatrix, IsScaledToANorm) {
  using T = TypeParam;
  for (const char sym : syms) {
    for (const char pack : packs) {
      // Below and above one, so that the scaling goes in one step and in two; to nothing; and to the far ends.
      constexpr double far = sizeof(Real<T>) == 4 ? 1e30 : 1e300;
      for (const double anorm : {0.125, 1.0, 40.0, 0.0, 1 / far, far}) {
        for (const double dmax : {1 / far, 1e-3, 1.0, 50.0, far}) {
          Options<T> options;
          options.sym = sym;
          options.pack = pack;
          options.kl = options.ku = sym == 'N' && (pack == 'C' || pack == 'R') ? 0 : 2;
          if (!go_together(options)) continue;
          options.dist = 'U';
          options.dmax = T(Real<T>(dmax));
          options.anorm = Real<T>(anorm);
          expect_matrix(options, Arrays<T>(options, this->random));
        }
      }
    }
  }
}

// --------------------------------------------------------------------------------------- properties, without a rewrite

TYPED_TEST(RandomMatrix, ChangesSignsOfASpreadDiagonal) {
  using T = TypeParam;
  for (const Int mode : modes) {
    Options<T> options;
    options.m = options.n = 12;
    options.kl = options.ku = 11;
    options.mode = mode;
    const Arrays<T> start(options, this->random);
    const Arrays<T> plain = latmr(options, start);
    for (const char rsign : {'f', 'T', 't'}) {
      SCOPED_TRACE(options.text());
      options.rsign = rsign;
      const Arrays<T> made = latmr(options, start);
      const bool is_same = rsign == 'f' || mode == 0 || std::abs(mode) == 6;
      EXPECT_EQ(made.info, 0);
      EXPECT_EQ(bool(made.d.same_as(plain.d)), is_same);
      EXPECT_EQ(bool(made.A.same_as(plain.A)), is_same);
      EXPECT_EQ(made.seed == plain.seed, is_same);
    }
  }
}

template <Scalar T>
Plain<T> dense(const Arrays<T>& arrays) {
  Plain<T> A(arrays.A.rows(), arrays.A.columns());
  for (Int j = 1; j <= A.n; ++j) {
    for (Int i = 1; i <= A.m; ++i) A(i, j) = arrays.A(i, j);
  }
  return A;
}

TYPED_TEST(RandomMatrix, PivotingAloneMovesRowsAndColumns) {
  using T = TypeParam;
  // The exchanges of elimination with pivots 3, 5, 3, 6, 6, 6, in order, undo it.
  const Int pivots[] = {3, 5, 3, 6, 6, 6};
  for (const char sym : {'N', 'S', 'H'}) {
    for (const char pivtng : {'L', 'R', 'B'}) {
      Options<T> options;
      options.sym = sym;
      options.pivtng = pivtng;
      if (!go_together(options)) continue;
      Arrays<T> arrays(options, this->random);
      arrays.ipivot.assign(std::begin(pivots), std::end(pivots));
      Plain<T> pivoted = dense(latmr(options, arrays));
      options.pivtng = 'N';
      Plain<T> plain = dense(latmr(options, arrays));
      EXPECT_NE(pivoted.elements, plain.elements);
      for (Int k = 1; k <= 6; ++k) {
        if (pivtng != 'R') pivoted.exchange_rows(k, pivots[k - 1]);
        if (pivtng != 'L') pivoted.exchange_columns(k, pivots[k - 1]);
      }
      EXPECT_EQ(pivoted.elements, plain.elements) << sym << pivtng;
    }
  }
}

TYPED_TEST(RandomMatrix, IsSymmetricOrHermitianToTheBit) {
  using T = TypeParam;
  for (const char sym : {'S', 'H'}) {
    for (const char grade : {'N', sym}) {
      for (const char pivtng : {'N', 'B'}) {
        for (const Int band : {2, 5}) {
          Options<T> options;
          options.sym = sym;
          options.grade = grade;
          options.pivtng = pivtng;
          options.kl = options.ku = band;
          options.mode = options.model = 6;
          Plain<T> A = dense(latmr(options, Arrays<T>(options, this->random)));
          for (Int j = 1; j <= 6; ++j) {
            for (Int i = 1; i <= 6; ++i) EXPECT_EQ(A(i, j), sym == 'H' ? std::conj(A(j, i)) : A(j, i));
          }
        }
      }
    }
  }
}

TYPED_TEST(RandomMatrix, OfHermitianKindHasTheRealPartOfItsDiagonal) {
  using T = TypeParam;
  if constexpr (ComplexScalar<T>) {
    Options<T> options;
    options.sym = 'H';
    options.dmax = {-2, 5};
    const Arrays<T> made = latmr(options, Arrays<T>(options, this->random));
    for (Int i = 1; i <= 6; ++i) {
      // From 1 down to 1/4 in five steps.
      EXPECT_NEAR(made.d(i).real(), -2 * (1 - 0.15 * (i - 1)), 16 * epsilon<T>);
      EXPECT_EQ(made.d(i).imag(), 0);
      EXPECT_EQ(made.A(i, i), made.d(i));
    }
  }
}

TYPED_TEST(RandomMatrix, IsSparseAsOftenAsAsked) {
  using T = TypeParam;
  Options<T> options;
  options.m = 60;
  options.n = 50;
  options.kl = options.ku = 60;
  for (const double sparse : {0.1, 0.6}) {
    options.sparse = Real<T>(sparse);
    Plain<T> A = dense(latmr(options, Arrays<T>(options, this->random)));
    const auto zeros = std::count(A.elements.begin(), A.elements.end(), T(0));
    // Four standard deviations.
    EXPECT_NEAR(double(zeros) / 3000, sparse, 4 * std::sqrt(sparse * (1 - sparse) / 3000));
  }
}

TYPED_TEST(RandomMatrix, OfSparsityOneIsZero) {
  using T = TypeParam;
  for (const char grade : grades) {
    Options<T> options;
    options.sparse = 1;
    options.grade = grade;
    const Arrays<T> made = latmr(options, Arrays<T>(options, this->random));
    EXPECT_EQ(made.info, 0);
    for (const T& x : dense(made).elements) EXPECT_EQ(x, T(0));
    // It can be scaled to zero and to nothing else.
    options.anorm = 0;
    const Arrays<T> to_zero = latmr(options, Arrays<T>(options, this->random));
    EXPECT_EQ(to_zero.info, 0);
    for (const T& x : dense(to_zero).elements) EXPECT_EQ(x, T(0));
    options.anorm = 2;
    EXPECT_EQ(latmr(options, Arrays<T>(options, this->random)).info, 5);
  }
}

TYPED_TEST(RandomMatrix, MakesASeedOfAnyFourWords) {
  using T = TypeParam;
  Options<T> options;
  Arrays<T> odd(options, this->random);
  Arrays<T> wild = odd;
  odd.seed = {5, 4095, 0, 7};
  wild.seed = {-5, 8191, 4096, -6};
  const Arrays<T> made = latmr(options, wild);
  EXPECT_EQ(dense(made).elements, dense(latmr(options, odd)).elements);
  EXPECT_EQ(made.seed, latmr(options, odd).seed);
  const Int lowest = std::numeric_limits<Int>::min();
  wild.seed = {lowest, lowest, lowest, lowest};
  odd.seed = {0, 0, 0, 1};
  EXPECT_EQ(dense(latmr(options, wild)).elements, dense(latmr(options, odd)).elements);
}

TYPED_TEST(RandomMatrix, OfNothingTouchesNothing) {
  using T = TypeParam;
  for (const auto& [m, n] : {std::pair(0, 3), std::pair(3, 0), std::pair(0, 0), std::pair(0, -1)}) {
    Options<T> options;
    options.pack = 'X';
    Arrays<T> arrays(options, this->random);
    options.m = m;
    options.n = n;
    const Arrays<T> made = latmr(options, arrays);
    EXPECT_EQ(made.info, 0);
    EXPECT_EQ(made.seed, first_seed);
    EXPECT_TRUE(made.A.unchanged());
    EXPECT_TRUE(made.d.unchanged());
  }
}

}  // namespace
}  // namespace nuv::test
