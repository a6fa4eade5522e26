// Singular values and vectors of bidiagonal matrices by divide and conquer: ?bdsdc.

#include <cmath>
#include <limits>

#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/deadline.hpp"
#include "support/options.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"
#include "svd/bidiagonal_problem.hpp"

namespace nuv::test {
namespace {

/// Matrices up to this order go to ?lasdq whole.
constexpr Int smlsiz = 25;

/// The arguments of ?bdsdc with no more workspace than it needs.
template <RealScalar R>
struct Division {
  char uplo, compq;
  Int n, ldu, ldvt, info = 99;
  GuardedVector<R> d, e;
  GuardedMatrix<R> U, VT;
  GuardedVector<R> q, work;
  GuardedVector<Int> iq, iwork;

  Division(char uplo_, char compq_, const Bidiagonal<R>& matrix)
      : uplo(uplo_),
        compq(compq_),
        n(matrix.order()),
        ldu(wants('I') ? std::max(1, n) + 1 : 1),
        ldvt(wants('I') ? std::max(1, n) + 2 : 1),
        d(guarded(matrix.d)),
        e(guarded(matrix.e)),
        U(wants('I') ? n : 0, wants('I') ? n : 0, ldu),
        VT(wants('I') ? n : 0, wants('I') ? n : 0, ldvt),
        q(wants('P') ? n * (7 + 2 * smlsiz + 8 * levels()) : 0),
        work(wants('N')   ? 4 * n
             : wants('P') ? 6 * n
                          : 3 * n * n + 4 * n),
        iq(wants('P') ? n * (3 + 3 * levels()) : 0),
        iwork(8 * n) {}

  bool wants(char letter) const { return same_letter(compq, letter); }
  Int levels() const { return std::max(1, Int(std::log2(double(n) / (smlsiz + 1))) + 1); }

  Int run() {
    routine_call::bdsdc(uplo, compq, n, d.data(), e.data(), Matrix<R>{U.data(), ldu}, Matrix<R>{VT.data(), ldvt},
                        q.data(), iq.data(), work.data(), iwork.data(), info);
    return info;
  }

  Division& solve() {
    EXPECT_EQ(run(), 0);
    EXPECT_TRUE(d.guards_unchanged() && e.guards_unchanged() && U.guards_unchanged() && VT.guards_unchanged() &&
                q.guards_unchanged() && work.guards_unchanged() && iq.guards_unchanged() && iwork.guards_unchanged());
    return *this;
  }

  bool unchanged() const {
    return d.unchanged() && e.unchanged() && U.unchanged() && VT.unchanged() && q.unchanged() && iq.unchanged() &&
           work.unchanged();
  }
};

template <class R>
class BidiagonalDivision : public ReportingTest {
 protected:
  /// With and without vectors, upper and lower.
  void expect_solutions(const std::string& name, const Bidiagonal<R>& matrix) {
    const WideVector<R> exact = exact_values(matrix.d, matrix.e);
    for (const char uplo : uplos) {
      SCOPED_TRACE(name + " of order " + std::to_string(matrix.order()) + ' ' + uplo);
      Division<R> with(random.in_some_case(uplo), random.in_some_case('I'), matrix),
          without(random.in_some_case(uplo), random.in_some_case('N'), matrix);
      with.solve();
      without.solve();
      expect_bidiagonal_svd<R>(wide_bidiagonal(matrix.d, matrix.e, is_upper(uplo)), exact, wide(with.U), with.d,
                               wide(with.VT));
      EXPECT_TRUE(std::is_sorted(without.d.data(), without.d.data() + without.n, std::greater<>()));
      EXPECT_LT(singular_value_error<R>(without.d, exact), svd_threshold);
    }
  }

  Bidiagonal<R> random_bidiagonal(Int n) {
    Bidiagonal<R> matrix;
    for (Int i = 0; i < n; ++i) matrix.d.push_back(R(random.real()));
    for (Int i = 1; i < n; ++i) matrix.e.push_back(R(random.real()));
    return matrix;
  }

  Random random{1995};
};
TYPED_TEST_SUITE(BidiagonalDivision, RealPrecisions, PrecisionLetter);

TYPED_TEST(BidiagonalDivision, SolvesDescribedMatrices) {
  for (const Int n : {1, 2, smlsiz, smlsiz + 1, 60}) {
    // Small matrices are not scaled, and beside the least number the iteration takes theirs for nothing.
    const bool is_scaled = n == 1 || n > smlsiz;
    for (const auto& [name, has_clusters, matrix] : described_bidiagonals<TypeParam>(n)) {
      if (is_scaled || std::string(name) != "tiny") this->expect_solutions(name, matrix);
    }
  }
}

/// Odd halves in several generations, on both sides of the orders at which there is one more.
TYPED_TEST(BidiagonalDivision, SolvesMatricesOfAnyOrder) {
  for (const Int n : {27, 51, 52, 53, 103, 104, 111, 209}) {
    this->expect_solutions("random", this->random_bidiagonal(n));
  }
}

/// Parts between negligible elements: a single row, one for the iteration, one that is halved; in any order.
TYPED_TEST(BidiagonalDivision, SolvesPartsOneByOne) {
  using R = TypeParam;
  for (const auto& orders : {std::vector<Int>{1, 30, 2, 25, 1}, {26, 1, 1, 31}, {3, 40}, {40, 3}}) {
    Int n = 0;
    for (const Int order : orders) n += order;
    for (const R joint : {R(0), std::numeric_limits<R>::epsilon() / 8}) {
      Bidiagonal<R> matrix = this->random_bidiagonal(n);
      Int end = 0;
      for (const Int order : orders) {
        end += order;
        if (end < n) matrix.e[std::size_t(end - 1)] = joint;
      }
      this->expect_solutions("parts", matrix);
    }
  }
}

/// An element above the diagonal is cut that is less than a unit of rounding of the norm; one that joins two halves
/// stays as it is otherwise.
TYPED_TEST(BidiagonalDivision, CutsNegligibleElements) {
  using R = TypeParam;
  constexpr R norm = 4, unit = std::numeric_limits<R>::epsilon() / 2;
  for (const R element : {R(0.875) * unit, unit}) {
    Bidiagonal<R> matrix = this->random_bidiagonal(30);
    matrix.d[4] = norm;
    matrix.e[15] = norm * element;
    Division<R> division('U', 'I', matrix);
    division.solve();
    EXPECT_EQ(division.e(16), element < unit ? R(0) : element);
  }
}

/// No tree: the values are sorted, and vectors take the signs.
TYPED_TEST(BidiagonalDivision, SortsDiagonalMatrices) {
  using R = TypeParam;
  for (const Int n : {2, smlsiz, smlsiz + 1, 40}) {
    Bidiagonal<R> matrix{{}, std::vector<R>(std::size_t(n - 1), R(0))};
    // No two of the same size, and the largest a power of two, so that scaling is exact.
    for (Int i = 1; i <= n; ++i) matrix.d.push_back((i == 2 ? R(64) : R((i * 7) % 41)) * (i % 3 == 0 ? -1 : 1));
    std::vector<R> sorted = matrix.d;
    for (R& value : sorted) value = std::abs(value);
    std::sort(sorted.begin(), sorted.end(), std::greater<>());
    for (const char uplo : uplos) {
      Division<R> division(uplo, 'I', matrix);
      division.solve();
      for (Int i = 1; i <= n; ++i) {
        EXPECT_EQ(division.d(i), sorted[std::size_t(i - 1)]);
        for (Int j = 1; j <= n; ++j) {
          const bool is_there = std::abs(matrix.d[std::size_t(i - 1)]) == division.d(j);
          EXPECT_EQ(std::abs(division.U(i, j)), R(is_there));
          EXPECT_EQ(std::abs(division.VT(j, i)), R(is_there));
          if (is_there) {
            EXPECT_EQ(division.U(i, j) * division.VT(j, i), std::copysign(R(1), matrix.d[std::size_t(i - 1)]));
          }
        }
      }
    }
  }
}

TYPED_TEST(BidiagonalDivision, OfOrderOneTakesTheSign) {
  using R = TypeParam;
  for (const R value : {R(2.5), R(-2.5), R(0)}) {
    const R sign = value < 0 ? R(-1) : R(1);
    for (const char uplo : uplos) {
      Division<R> vectors(uplo, 'i', {{value}, {}}), factors(uplo, 'p', {{value}, {}}), none(uplo, 'n', {{value}, {}});
      for (Division<R>* division : {&vectors, &factors, &none}) {
        division->solve();
        EXPECT_EQ(division->d(1), std::abs(value));
      }
      EXPECT_EQ(vectors.U(1, 1), sign);
      EXPECT_EQ(vectors.VT(1, 1), R(1));
      EXPECT_EQ(factors.q(1), sign);
      EXPECT_EQ(factors.q(1 + smlsiz), R(1));
      EXPECT_TRUE(none.U.unchanged() && none.q.unchanged());
    }
  }
}

/// Up to the order of a leaf the iteration does it all.
TYPED_TEST(BidiagonalDivision, LeavesSmallMatricesToTheIteration) {
  using R = TypeParam;
  const Bidiagonal<R> matrix = this->random_bidiagonal(smlsiz);
  Division<R> division('U', 'I', matrix);
  division.solve();
  GuardedVector<R> d = guarded(matrix.d), e = guarded(matrix.e), work(4 * smlsiz);
  GuardedMatrix<R> U = identity<R>(smlsiz, smlsiz + 1), VT = identity<R>(smlsiz, smlsiz + 2);
  Int info = 99;
  routine_call::lasdq('U', 0, smlsiz, smlsiz, smlsiz, 0, d.data(), e.data(), Matrix<R>(VT), Matrix<R>(U), Matrix<R>(U),
                      work.data(), info);
  EXPECT_EQ(info, 0);
  for (Int i = 1; i <= smlsiz; ++i) {
    const Int from = smlsiz + 1 - i;
    EXPECT_EQ(division.d(i), d(from));
    for (Int j = 1; j <= smlsiz; ++j) {
      EXPECT_EQ(division.U(j, i), U(j, from));
      EXPECT_EQ(division.VT(i, j), VT(from, j));
    }
  }
}

/// Values alone come from the iteration at any order, on the upper matrix to which a lower one is rotated.
TYPED_TEST(BidiagonalDivision, LeavesValuesToTheIteration) {
  using R = TypeParam;
  for (const char uplo : {'U', 'L'}) {
    for (const Int n : {2, smlsiz, 60}) {
      const Bidiagonal<R> matrix = this->random_bidiagonal(n);
      Division<R> division(uplo, 'N', matrix);
      division.solve();
      GuardedVector<R> d = guarded(matrix.d), e = guarded(matrix.e), work(4 * n);
      Int info = 99;
      const Matrix<R> none{nullptr, 1};
      routine_call::lasdq(uplo, 0, n, 0, 0, 0, d.data(), e.data(), none, none, none, work.data(), info);
      EXPECT_EQ(info, 0);
      for (Int i = 1; i <= n; ++i) EXPECT_EQ(division.d(i), d(n + 1 - i)) << uplo << ' ' << n;
    }
  }
}

TYPED_TEST(BidiagonalDivision, EndsWhateverTheInput) {
  using R = TypeParam;
  for (const Int n : {1, 2, 7, 31}) {
    for (const R bad : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
      for (Int at = 0; at<2 * n - 1; at += n> 10 ? 5 : 1) {
        for (const char uplo : uplos) {
          for (const char compq : {'N', 'P', 'I'}) {
            const std::string name = std::string() + uplo + compq + ", n = " + std::to_string(n) + ", " +
                                     std::to_string(bad) + " at " + std::to_string(at);
            SCOPED_TRACE(name);
            const Deadline deadline(20, name);
            Bidiagonal<R> matrix = this->random_bidiagonal(n);
            (at % 2 == 0 ? matrix.d : matrix.e)[std::size_t(at / 2)] = bad;
            Division<R> division(uplo, compq, matrix);
            division.run();
            bool is_visible = division.info > 0;
            for (Int i = 1; i <= n; ++i) is_visible |= !std::isfinite(division.d(i));
            EXPECT_TRUE(is_visible);
          }
        }
      }
    }
  }
}

TYPED_TEST(BidiagonalDivision, ChecksItsArguments) {
  using R = TypeParam;
  struct Call : Division<R> {
    Call() : Division<R>('U', 'I', {{R(3), R(2), R(1)}, {R(1), R(1)}}) {}
  };
  const std::string name = reported_name<R>("BDSDC");
  expect_argument_checks<Call>(name, {{1, [](Call& c) { c.uplo = 'X'; }},
                                      {2, [](Call& c) { c.compq = 'V'; }},
                                      {3, [](Call& c) { c.n = -1; }},
                                      {7, [](Call& c) { c.ldu = c.n > 0 ? 2 : 0; }},
                                      {9, [](Call& c) { c.ldvt = c.n > 0 ? 2 : 0; }}});
  for (const char compq : {'N', 'P'}) {
    const Bidiagonal<R> matrix{{R(3), R(2), R(1)}, {R(1), R(1)}};
    Division<R> left('L', compq, matrix), right('L', compq, matrix), none('L', compq, {{}, {}});
    left.ldu = right.ldvt = 0;
    expect_report(left, name, 7);
    expect_report(right, name, 9);
    expect_report(none, name, 0);
  }
}

}  // namespace
}  // namespace nuv::test
