// Reduction of general band matrices to bidiagonal form: ?gbbrd.

#include <cctype>
#include <cmath>
#include <limits>

#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/fenced_array.hpp"
#include "support/random.hpp"
#include "support/sanitized.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

/// Each column of Q goes through some 2 n rotations, whose errors add up like steps at random.
double threshold_of_rotations(Int n) {
  return std::max(threshold, std::sqrt(2.0 * n));
}

struct Band {
  Int m, n, kl, ku;

  Int rows() const { return kl + ku + 1; }
  Int count() const { return std::min(m, n); }
  /// Whether a place of column j is one of the matrix.
  bool holds(Int row, Int j) const {
    const Int i = row + j - ku - 1;
    return i >= 1 && i <= m;
  }
};

std::string to_string(const Band& band) {
  return std::to_string(band.m) + " by " + std::to_string(band.n) + ", kl " + std::to_string(band.kl) + ", ku " +
         std::to_string(band.ku);
}

/// No diagonals, few, as many as the matrix has and more, on either side, for all kinds of shapes; few rotations at a
/// time and, where narrow bands are long, many.
std::vector<Band> bands() {
  std::vector<Band> all;
  for (const auto& [m, n] : {std::pair{1, 1},
                             {1, 2},
                             {2, 1},
                             {2, 2},
                             {1, 6},
                             {6, 1},
                             {3, 5},
                             {5, 3},
                             {5, 5},
                             {6, 5},
                             {5, 6},
                             {7, 12},
                             {12, 7},
                             {9, 9},
                             {4, 30},
                             {30, 4}}) {
    for (const Int kl : {0, 1, 2, 3, 7}) {
      for (const Int ku : {0, 1, 2, 4, 9}) all.push_back({m, n, kl, ku});
    }
  }
  for (const Band& band : {Band{30, 30, 29, 29},
                           {30, 28, 40, 2},
                           {28, 30, 2, 40},
                           {45, 45, 1, 1},
                           {45, 44, 0, 2},
                           {44, 45, 2, 0},
                           {60, 60, 2, 1},
                           {61, 60, 0, 5},
                           {60, 61, 5, 0},
                           {60, 90, 3, 2},
                           {90, 60, 2, 3},
                           {70, 70, 20, 11},
                           {70, 65, 11, 20}}) {
    all.push_back(band);
  }
  if (!is_sanitized) all.insert(all.end(), {{200, 200, 1, 2}, {210, 200, 3, 4}, {200, 203, 0, 3}});
  return all;
}

template <Scalar T>
GuardedMatrix<T> random_band(Random& random, const Band& band, Int gap) {
  GuardedMatrix<T> ab(band.rows(), band.n, band.rows() + gap);
  for (Int j = 1; j <= band.n; ++j) {
    for (Int row = 1; row <= band.rows(); ++row) {
      if (band.holds(row, j)) ab(row, j) = random.scalar<T>();
    }
  }
  ab.seal();
  return ab;
}

template <Scalar T>
WideMatrix<T> wide_band(const Band& band, const GuardedMatrix<T>& ab) {
  WideMatrix<T> A = WideMatrix<T>::Zero(band.m, band.n);
  for (Int j = 1; j <= band.n; ++j) {
    for (Int row = 1; row <= band.rows(); ++row) {
      if (band.holds(row, j)) A(row + j - band.ku - 2, j - 1) = wide(ab(row, j));
    }
  }
  return A;
}

template <Scalar T>
void call_gbbrd(char vect, const Band& band, Int ncc, Matrix<T> ab, Real<T>* d, Real<T>* e, Matrix<T> Q, Matrix<T> PT,
                Matrix<T> C, Int& info) {
  const Int longer = std::max({band.m, band.n, 0});
  if constexpr (ComplexScalar<T>) {
    GuardedVector<T> work(longer);
    GuardedVector<Real<T>> rwork(longer);
    routine_call::gbbrd(vect, band.m, band.n, ncc, band.kl, band.ku, ab, d, e, Q, PT, C, work.data(), rwork.data(),
                        info);
    EXPECT_TRUE(work.guards_unchanged());
    EXPECT_TRUE(rwork.guards_unchanged());
  } else {
    GuardedVector<T> work(2 * longer);
    routine_call::gbbrd(vect, band.m, band.n, ncc, band.kl, band.ku, ab, d, e, Q, PT, C, work.data(), info);
    EXPECT_TRUE(work.guards_unchanged());
  }
}

/// What a reduction leaves.
template <Scalar T>
struct Reduced {
  Band band;
  GuardedMatrix<T> ab, Q, PT, C;
  GuardedVector<Real<T>> d, e;

  /// B X
  WideMatrix<T> times(const WideMatrix<T>& X) const {
    WideMatrix<T> result = WideMatrix<T>::Zero(band.m, X.cols());
    for (Int i = 1; i <= band.count(); ++i) {
      result.row(i - 1) = Wide<T>(wide(d(i))) * X.row(i - 1);
      if (i < band.count()) result.row(i - 1) += Wide<T>(wide(e(i))) * X.row(i);
    }
    return result;
  }
};

template <Scalar T>
Reduced<T> reduce(char vect, const Band& band, const GuardedMatrix<T>& ab, const GuardedMatrix<T>& C) {
  const Int m = band.m, n = band.n;
  const char letter = char(std::toupper(vect));
  const bool with_q = letter == 'Q' || letter == 'B', with_pt = letter == 'P' || letter == 'B';
  Reduced<T> reduced{band,
                     ab,
                     GuardedMatrix<T>(with_q ? m : 0, with_q ? m : 0, with_q ? m + 1 : 1),
                     GuardedMatrix<T>(with_pt ? n : 0, with_pt ? n : 0, with_pt ? n + 2 : 1),
                     C,
                     GuardedVector<Real<T>>(band.count()),
                     GuardedVector<Real<T>>(band.count() - 1)};
  Int info = 99;
  call_gbbrd<T>(vect, band, C.columns(), reduced.ab, reduced.d.data(), reduced.e.data(), reduced.Q, reduced.PT,
                reduced.C, info);
  EXPECT_EQ(info, 0);
  EXPECT_TRUE(reduced.ab.unchanged_except([&](Int row, Int j) { return band.holds(row, j); }));
  EXPECT_TRUE(reduced.Q.guards_unchanged());
  EXPECT_TRUE(reduced.PT.guards_unchanged());
  EXPECT_TRUE(reduced.C.guards_unchanged());
  EXPECT_TRUE(reduced.d.guards_unchanged());
  EXPECT_TRUE(reduced.e.guards_unchanged());
  return reduced;
}

template <Scalar T>
GuardedMatrix<T> no_matrix() {
  return GuardedMatrix<T>(0, 0, 1);
}

/// ||(A - B) V|| / (||A|| n eps) for what has been multiplied by some V already.
template <Scalar T>
double distance_of_products(const WideMatrix<T>& AV, const WideMatrix<T>& BV, double norm, Int n) {
  const double distance = one_norm<T>(WideMatrix<T>(AV - BV));
  return distance == 0 ? 0 : distance / (norm * n * epsilon<T>);
}

template <Scalar T>
WideMatrix<T> random_signs(Random& random, Int n) {
  return WideMatrix<T>::NullaryExpr(n, 4, [&] { return Wide<T>(random.integer(0, 1) == 0 ? 1 : -1); });
}

/// ||(X^H X - I) V|| / (n eps)
template <Scalar T>
double orthogonality(Random& random, const GuardedMatrix<T>& X) {
  const WideMatrix<T> Q = wide(X), V = random_signs<T>(random, X.rows());
  return distance_of_products<T>(product<T>(WideMatrix<T>(Q.adjoint()), product<T>(Q, V)), V, 1, X.rows());
}

template <class T>
class BandToBidiagonal : public ReportingTest {
 protected:
  Random random{103};
};
TYPED_TEST_SUITE(BandToBidiagonal, Precisions, PrecisionLetter);

TYPED_TEST(BandToBidiagonal, IsAnEquivalenceByOrthogonalMatrices) {
  using T = TypeParam;
  for (const Band& band : bands()) {
    SCOPED_TRACE(to_string(band));
    const GuardedMatrix<T> ab = random_band<T>(this->random, band, band.m % 2);
    const WideMatrix<T> A = wide_band(band, ab), V = random_signs<T>(this->random, band.n);
    const Int longer = std::max(band.m, band.n);
    const Reduced<T> reduced = reduce(this->random.in_some_case('B'), band, ab, no_matrix<T>());
    const WideMatrix<T> rebuilt = product<T>(wide(reduced.Q), reduced.times(product<T>(wide(reduced.PT), V)));
    EXPECT_LT(distance_of_products<T>(product<T>(A, V), rebuilt, one_norm<T>(A), longer), threshold);
    EXPECT_LT(orthogonality(this->random, reduced.Q), threshold_of_rotations(longer));
    EXPECT_LT(orthogonality(this->random, reduced.PT), threshold_of_rotations(longer));
    if (!ComplexScalar<T>) continue;
    for (Int i = 1; i <= band.count(); ++i) EXPECT_GE(reduced.d(i), 0);
    for (Int i = 1; i < band.count(); ++i) EXPECT_GE(reduced.e(i), 0);
  }
}

TYPED_TEST(BandToBidiagonal, GivesTheSameWhateverIsWantedBeside) {
  using T = TypeParam;
  for (const Band& band : bands()) {
    if (band.m * band.n > 5000) continue;
    SCOPED_TRACE(to_string(band));
    const GuardedMatrix<T> ab = random_band<T>(this->random, band, band.m % 2),
                           C = random_matrix<T>(this->random, band.m, 3, band.m + 1);
    const Reduced<T> both = reduce('B', band, ab, C);
    for (const char vect : {'n', 'N', 'q', 'Q', 'p', 'P'}) {
      for (const bool with_c : {false, true}) {
        const Reduced<T> other = reduce(vect, band, ab, with_c ? C : no_matrix<T>());
        EXPECT_TRUE(other.d.same_as(both.d));
        EXPECT_TRUE(other.e.same_as(both.e));
        EXPECT_TRUE(other.ab.same_as(both.ab));
        if (std::toupper(vect) == 'Q') {
          EXPECT_TRUE(other.Q.same_as(both.Q));
        }
        if (std::toupper(vect) == 'P') {
          EXPECT_TRUE(other.PT.same_as(both.PT));
        }
        if (with_c) {
          EXPECT_TRUE(other.C.same_as(both.C));
        }
      }
    }
    const WideMatrix<T> expected = product<T>(WideMatrix<T>(wide(both.Q).adjoint()), wide(C));
    EXPECT_LT(distance_of_products<T>(wide(both.C), expected, one_norm<T>(expected), band.m),
              threshold_of_rotations(band.m));
  }
}

/// What is bidiagonal needs no rotations; what is complex in it has its phases taken to both sides.
TYPED_TEST(BandToBidiagonal, KeepsWhatIsBidiagonal) {
  using T = TypeParam;
  for (const Band& band : {Band{5, 5, 0, 1}, {5, 5, 0, 0}, {7, 5, 0, 1}, {4, 6, 0, 0}}) {
    SCOPED_TRACE(to_string(band));
    GuardedMatrix<T> ab = random_band<T>(this->random, band, band.m % 2);
    ab(band.rows(), 3) = T(0);
    ab.seal();
    const Reduced<T> reduced = reduce('B', band, ab, no_matrix<T>());
    for (Int i = 1; i <= band.count(); ++i) {
      const T element = ab(band.rows(), i);
      EXPECT_NEAR(reduced.d(i), ComplexScalar<T> ? std::abs(element) : std::real(element), 8 * epsilon<T>);
      if (i == band.count()) break;
      const T beside = band.ku == 0 ? T(0) : ab(1, i + 1);
      EXPECT_NEAR(reduced.e(i), ComplexScalar<T> ? std::abs(beside) : std::real(beside), 8 * epsilon<T>);
    }
  }
}

TYPED_TEST(BandToBidiagonal, KeepsToTheBand) {
  using T = TypeParam;
  for (const Band& band : bands()) {
    if (band.m * band.n > 1000) continue;
    const GuardedMatrix<T> ab = random_band<T>(this->random, band, 0);
    const Reduced<T> expected = reduce('N', band, ab, no_matrix<T>());
    GuardedVector<T> flat(band.rows() * band.n), expected_flat = flat;
    for (Int j = 1; j <= band.n; ++j) {
      for (Int row = 1; row <= band.rows(); ++row) {
        flat((j - 1) * band.rows() + row) = ab(row, j);
        expected_flat((j - 1) * band.rows() + row) = expected.ab(row, j);
      }
    }
    FencedArray<T> fenced(flat);
    GuardedVector<Real<T>> d(band.count()), e(band.count() - 1);
    const Matrix<T> none{nullptr, 1};
    Int info = 99;
    call_gbbrd<T>('N', band, 0, {fenced.data(), band.rows()}, d.data(), e.data(), none, none, none, info);
    EXPECT_TRUE(fenced.same_as(expected_flat)) << to_string(band);
  }
}

TYPED_TEST(BandToBidiagonal, EndsAndShowsNumbersThatAreNotFinite) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Band& band : {Band{9, 7, 2, 3}, {7, 9, 2, 1}, {8, 8, 3, 0}, {6, 6, 0, 0}}) {
    for (const R bad : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
      for (Int j = 1; j <= band.n; ++j) {
        for (Int row = 1; row <= band.rows(); ++row) {
          if (!band.holds(row, j)) continue;
          GuardedMatrix<T> ab = random_band<T>(this->random, band, band.m % 2);
          ab(row, j) = T(bad);
          ab.seal();
          const Reduced<T> reduced = reduce('B', band, ab, no_matrix<T>());
          bool shows = false;
          for (Int i = 1; i <= band.count(); ++i) shows = shows || !std::isfinite(reduced.d(i));
          for (Int i = 1; i < band.count(); ++i) shows = shows || !std::isfinite(reduced.e(i));
          EXPECT_TRUE(shows) << to_string(band) << ", " << bad << " in " << row << ", " << j;
        }
      }
    }
  }
}

TYPED_TEST(BandToBidiagonal, OfAnEmptyMatrixHasIdentitiesBesideIt) {
  using T = TypeParam;
  for (const Band& band : {Band{0, 0, 1, 1}, {3, 0, 1, 2}, {0, 3, 2, 1}}) {
    GuardedMatrix<T> ab(4, band.n, 4);
    ab.seal();
    const Reduced<T> reduced = reduce('B', band, ab, GuardedMatrix<T>(band.m, 2, band.m + 1));
    EXPECT_TRUE(reduced.ab.unchanged());
    EXPECT_TRUE(reduced.C.unchanged());
    EXPECT_TRUE(wide(reduced.Q).isIdentity(0));
    EXPECT_TRUE(wide(reduced.PT).isIdentity(0));
  }
}

template <Scalar T>
struct ReductionCall {
  char vect = 'B';
  Band band{3, 4, 1, 1};
  Int ncc = 2, ldab = 3, ldq = 3, ldpt = 4, ldc = 3;
  GuardedMatrix<T> ab{3, 4, 3}, Q{3, 3, 3}, PT{4, 4, 4}, C{3, 2, 3};
  GuardedVector<Real<T>> d{3}, e{2};

  ReductionCall() {
    Random random(5);
    ab = random_matrix<T>(random, 3, 4, 3);
    C = random_matrix<T>(random, 3, 2, 3);
  }
  Int run() {
    Int info = 99;
    call_gbbrd<T>(vect, band, ncc, {ab.data(), ldab}, d.data(), e.data(), {Q.data(), ldq}, {PT.data(), ldpt},
                  {C.data(), ldc}, info);
    return info;
  }
  bool unchanged() const {
    return ab.unchanged() && Q.unchanged() && PT.unchanged() && C.unchanged() && d.unchanged() && e.unchanged();
  }
};

TYPED_TEST(BandToBidiagonal, ReportsABadArgument) {
  using T = TypeParam;
  using Call = ReductionCall<T>;
  const std::string name = reported_name<T>("GBBRD");
  expect_argument_checks<Call>(name, {{1, [](Call& c) { c.vect = 'V'; }},
                                      {2, [](Call& c) { c.band.m = -1; }},
                                      {3, [](Call& c) { c.band.n = -1; }},
                                      {4, [](Call& c) { c.ncc = -1; }},
                                      {5, [](Call& c) { c.band.kl = -1; }},
                                      {6, [](Call& c) { c.band.ku = -1; }},
                                      {8, [](Call& c) { c.ldab = 2; }},
                                      {12, [](Call& c) { c.ldq = 2; }},
                                      {14, [](Call& c) { c.ldpt = 3; }},
                                      {16, [](Call& c) { c.ldc = 2; }}});
  // What is not wanted may be short, but not shorter than one.
  Call without;
  without.vect = 'N';
  without.ncc = 0;
  without.ldq = without.ldpt = without.ldc = 1;
  expect_report(without, "", 0);
  for (const auto& [spoil, position] : {std::pair{+[](Call& c) { c.ldq = 0; }, 12},
                                        {+[](Call& c) { c.ldpt = 0; }, 14},
                                        {+[](Call& c) { c.ldc = 0; }, 16}}) {
    Call call;
    call.vect = 'N';
    call.ncc = 0;
    spoil(call);
    expect_report(call, name, position);
  }
  // Each letter has its own matrix checked.
  Call q;
  q.vect = 'q';
  q.ldpt = 1;
  q.ldq = 2;
  expect_report(q, name, 12);
  Call pt;
  pt.vect = 'p';
  pt.ldq = 1;
  pt.ldpt = 3;
  expect_report(pt, name, 14);
}

}  // namespace
}  // namespace nuv::test
