// Scaling of rows and columns: ?equ and ?laq.

#include <cmath>

#include "routines.hpp"
#include "support/options.hpp"
#include "support/precisions.hpp"
#include "support/random.hpp"
#include "support/reported_errors.hpp"

namespace nuv::test {
namespace {

template <class T>
class Equilibration : public ReportingTest {
 protected:
  using R = Real<T>;

  static T number(double re, double im = 0) {
    if constexpr (ComplexScalar<T>) {
      return {R(re), R(im)};
    } else {
      return T(re);
    }
  }

  Random random{3};
};
TYPED_TEST_SUITE(Equilibration, Precisions, PrecisionLetter);

/// What is found for a matrix.
template <Scalar T>
struct Factors {
  GuardedVector<Real<T>> r, c;
  Real<T> rowcnd = -1, colcnd = -1, amax = -1;
  Int info = 99;

  Factors(Int m, Int n) : r(m), c(n) {}
};

template <Scalar T>
Factors<T> geequ(const GuardedMatrix<T>& A) {
  Factors<T> f(A.rows(), A.columns());
  routine_call::geequ(A.rows(), A.columns(), A, f.r.data(), f.c.data(), f.rowcnd, f.colcnd, f.amax, f.info);
  EXPECT_TRUE(f.r.guards_unchanged());
  EXPECT_TRUE(f.c.guards_unchanged());
  return f;
}

TYPED_TEST(Equilibration, MakesTheLargestEntriesOne) {
  using T = TypeParam;
  using R = Real<T>;
  GuardedMatrix<T> A(2, 3, 4);
  const double entries[2][3] = {{4, -8, 1}, {0.5, 0.25, 0}};
  for (Int i = 1; i <= 2; ++i) {
    for (Int j = 1; j <= 3; ++j) A(i, j) = this->number(entries[i - 1][j - 1]);
  }
  const Factors<T> f = geequ(A);
  EXPECT_EQ(f.info, 0);
  EXPECT_EQ(f.amax, R(8));
  EXPECT_EQ(f.r(1), R(0.125));
  EXPECT_EQ(f.r(2), R(2));
  EXPECT_EQ(f.rowcnd, R(1) / 16);
  // Scaled: 0.5 1 0.125 / 1 0.5 0
  EXPECT_EQ(f.c(1), R(1));
  EXPECT_EQ(f.c(2), R(1));
  EXPECT_EQ(f.c(3), R(8));
  EXPECT_EQ(f.colcnd, R(0.125));
}

TYPED_TEST(Equilibration, CountsAComplexEntryAsTheSumOfItsParts) {
  using T = TypeParam;
  if constexpr (ComplexScalar<T>) {
    GuardedMatrix<T> A(1, 1, 1);
    A(1, 1) = this->number(-3, 4);
    const Factors<T> f = geequ(A);
    EXPECT_EQ(f.amax, Real<T>(7));
    EXPECT_EQ(f.r(1), Real<T>(1) / 7);
  }
}

TYPED_TEST(Equilibration, FindsZeroRowsAndColumns) {
  using T = TypeParam;
  for (const Int k : {1, 3, 5}) {
    GuardedMatrix<T> A = random_matrix<T>(this->random, 5, 6, 7);
    for (Int i = 1; i <= 5; ++i) A(i, k + 1) = T(0);
    EXPECT_EQ(geequ(A).info, 5 + k + 1);
    for (Int j = 1; j <= 6; ++j) A(k, j) = T(0);
    EXPECT_EQ(geequ(A).info, k);
  }
}

TYPED_TEST(Equilibration, KeepsFactorsWithinTheSafeRange) {
  using T = TypeParam;
  using R = Real<T>;
  const R tiny = std::numeric_limits<R>::denorm_min(), safe = std::numeric_limits<R>::min();
  GuardedMatrix<T> A(2, 2, 2);
  A(1, 1) = T(tiny);
  A(2, 1) = A(1, 2) = T(0);
  A(2, 2) = T(std::numeric_limits<R>::max());
  const Factors<T> f = geequ(A);
  EXPECT_EQ(f.info, 0);
  EXPECT_EQ(f.r(1), 1 / safe);
  EXPECT_EQ(f.r(2), safe);
  EXPECT_EQ(f.rowcnd, safe / (1 / safe));
}

TYPED_TEST(Equilibration, HasNothingToFindInEmptyMatrices) {
  using T = TypeParam;
  for (const Int m : {0, 2}) {
    const Factors<T> f = geequ(GuardedMatrix<T>(m, 2 - m, 3));
    EXPECT_EQ(f.info, 0);
    EXPECT_EQ(f.rowcnd, 1);
    EXPECT_EQ(f.colcnd, 1);
    EXPECT_EQ(f.amax, 0);
  }
  Real<T> s[1], scond = -1, amax = -1;
  Int info = 99;
  routine_call::poequ(0, Matrix<T>(nullptr, 1), s, scond, amax, info);
  EXPECT_EQ(info, 0);
  EXPECT_EQ(scond, 1);
  EXPECT_EQ(amax, 0);
}

/// Rows of A that a band matrix of m rows has in column j.
bool in_band(Int i, Int j, Int kl, Int ku) {
  return i - j <= kl && j - i <= ku;
}

TYPED_TEST(Equilibration, IsTheSameForABandAsForItsFullMatrix) {
  using T = TypeParam;
  for (const auto& [m, n] : {std::pair<Int, Int>{6, 6}, {9, 5}, {4, 9}}) {
    for (const auto& [kl, ku] : {std::pair<Int, Int>{2, 1}, {0, 6}, {5, 2}}) {
      GuardedMatrix<T> A(m, n, m), AB(kl + ku + 1, n, kl + ku + 3);
      for (Int j = 1; j <= n; ++j) {
        for (Int i = 1; i <= m; ++i) {
          A(i, j) = in_band(i, j, kl, ku) ? this->random.template divisor<T>() : T(0);
          if (in_band(i, j, kl, ku)) AB(ku + 1 + i - j, j) = A(i, j);
        }
      }
      const Factors<T> expected = geequ(A);
      Factors<T> f(m, n);
      routine_call::gbequ(m, n, kl, ku, AB, f.r.data(), f.c.data(), f.rowcnd, f.colcnd, f.amax, f.info);
      EXPECT_EQ(f.info, expected.info);
      if (f.info != 0) continue;
      EXPECT_TRUE(f.r.same_as(expected.r));
      EXPECT_TRUE(f.c.same_as(expected.c));
      EXPECT_EQ(f.rowcnd, expected.rowcnd);
      EXPECT_EQ(f.colcnd, expected.colcnd);
      EXPECT_EQ(f.amax, expected.amax);

      char equed = '?', band_equed = '?';
      AB.seal();
      routine_call::laqge(m, n, A, f.r.data(), f.c.data(), Real<T>(0.01), Real<T>(0.01), f.amax, equed);
      routine_call::laqgb(m, n, kl, ku, AB, f.r.data(), f.c.data(), Real<T>(0.01), Real<T>(0.01), f.amax, band_equed);
      EXPECT_EQ(equed, 'B');
      EXPECT_EQ(band_equed, 'B');
      for (Int j = 1; j <= n; ++j) {
        for (Int row = 1; row <= kl + ku + 1; ++row) {
          const Int i = row + j - ku - 1;
          const bool is_stored = i >= 1 && i <= m;
          EXPECT_TRUE(is_stored ? AB(row, j) == A(i, j) : AB.is_sealed(row, j));
        }
      }
      EXPECT_TRUE(AB.guards_unchanged());
    }
  }
}

// -------------------------------------------------------------------------------------------------- general: applying

TYPED_TEST(Equilibration, ScalesWhatIsWorthWhile) {
  using T = TypeParam;
  using R = Real<T>;
  const R r[] = {2, 4}, c[] = {8, 16, 32};
  const R little = R(0.1), less = std::nextafter(R(0.1), R(0));
  const R small = std::numeric_limits<R>::min() / std::numeric_limits<R>::epsilon(), large = 1 / small;
  struct Case {
    R rowcnd, colcnd, amax;
    char equed;
  };
  const Case cases[] = {{little, little, 1, 'N'},
                        {less, little, 1, 'R'},
                        {little, less, 1, 'C'},
                        {less, less, 1, 'B'},
                        {1, 1, small, 'N'},
                        {1, 1, std::nextafter(small, R(0)), 'R'},
                        {1, 1, large, 'N'},
                        {1, 1, std::nextafter(large, std::numeric_limits<R>::max()), 'R'},
                        {1, less, std::nextafter(small, R(0)), 'B'}};
  for (const Case& one : cases) {
    GuardedMatrix<T> A = random_matrix<T>(this->random, 2, 3, 4);
    char equed = '?';
    routine_call::laqge(2, 3, A, r, c, one.rowcnd, one.colcnd, one.amax, equed);
    EXPECT_EQ(equed, one.equed);
    for (Int j = 1; j <= 3; ++j) {
      for (Int i = 1; i <= 2; ++i) {
        const R row = one.equed == 'R' || one.equed == 'B' ? r[i - 1] : R(1);
        const R column = one.equed == 'C' || one.equed == 'B' ? c[j - 1] : R(1);
        EXPECT_EQ(A(i, j), row * column * A.sealed(i, j));
      }
    }
    EXPECT_TRUE(A.guards_unchanged());
  }
}

TYPED_TEST(Equilibration, LeavesEmptyMatricesAlone) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int m : {0, -1, 1}) {
    char equed = '?', symmetric = '?';
    routine_call::laqge(m, m > 0 ? 0 : 1, Matrix<T>(nullptr, 1), nullptr, nullptr, R(0), R(0), R(0), equed);
    EXPECT_EQ(equed, 'N');
    routine_call::laqsy('U', std::min(m, 0), Matrix<T>(nullptr, 1), nullptr, R(0), R(0), symmetric);
    EXPECT_EQ(symmetric, 'N');
  }
}

// ------------------------------------------------------------------------------------ symmetric and positive definite

constexpr Int packed_place(bool upper, Int n, Int i, Int j) {
  return upper ? i + j * (j - 1) / 2 : i + (2 * n - j) * (j - 1) / 2;
}

TYPED_TEST(Equilibration, MakesADiagonalOfOnes) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr Int n = 4, kd = 2;
  const double diagonal[n] = {4, 0.25, 64, 1};
  for (const Int bad : {0, 1, 3, 4}) {
    for (const char uplo : {'U', 'L', 'u', 'l'}) {
      GuardedMatrix<T> A(n, n, n + 1), AB(kd + 1, n, kd + 2);
      GuardedVector<T> ap(n * (n + 1) / 2);
      for (Int j = 1; j <= n; ++j) {
        const T d = this->number(j == bad ? (j == 3 ? -1 : 0) : diagonal[j - 1], 55);
        A(j, j) = AB(is_upper(uplo) ? kd + 1 : 1, j) = ap(packed_place(is_upper(uplo), n, j, j)) = d;
      }
      const auto check = [&](auto find) {
        GuardedVector<R> s(n);
        R scond = -1, amax = -1;
        Int info = 99;
        find(s.data(), scond, amax, info);
        EXPECT_EQ(info, bad);
        EXPECT_TRUE(s.guards_unchanged());
        if (info != 0) return;
        EXPECT_EQ(amax, R(64));
        EXPECT_EQ(scond, R(0.5) / 8);
        for (Int j = 1; j <= n; ++j) EXPECT_EQ(s(j), R(1 / std::sqrt(diagonal[j - 1])));
      };
      check([&](auto&&... out) { routine_call::poequ(n, A, out...); });
      check([&](auto&&... out) { routine_call::ppequ(uplo, n, ap.data(), out...); });
      check([&](auto&&... out) { routine_call::pbequ(uplo, n, kd, AB, out...); });
    }
  }
}

/// Runs all forms of ?laq for one triangle, and checks their elements.
template <Scalar T, class Scale>
void check_symmetric(Random& random, bool is_hermitian, Scale scale) {
  using R = Real<T>;
  constexpr Int n = 6, kd = 2;
  R s[n];
  for (Int i = 0; i < n; ++i) s[i] = R(i + 2);
  for (const char uplo : {'U', 'L', 'u', 'l'}) {
    const bool upper = is_upper(uplo);
    for (const R scond : {R(0.1), std::nextafter(R(0.1), R(0))}) {
      const char expected = scond < R(0.1) ? 'Y' : 'N';
      const GuardedMatrix<T> original = random_matrix<T>(random, n, n, n);
      GuardedMatrix<T> A(n, n, n + 1), AB(kd + 1, n, kd + 2);
      GuardedVector<T> ap(n * (n + 1) / 2);
      for (Int j = 1; j <= n; ++j) {
        for (Int i = upper ? 1 : j; i <= (upper ? j : n); ++i) {
          A(i, j) = ap(packed_place(upper, n, i, j)) = original(i, j);
          if (std::abs(i - j) <= kd) AB((upper ? kd + 1 : 1) + i - j, j) = original(i, j);
        }
      }
      A.seal();
      AB.seal();
      char equed[3] = {'?', '?', '?'};
      scale(uplo, n, kd, A, ap.data(), AB, s, scond, R(1), equed);
      for (const char one : equed) EXPECT_EQ(one, expected);
      for (Int j = 1; j <= n; ++j) {
        for (Int i = upper ? 1 : j; i <= (upper ? j : n); ++i) {
          T x = original(i, j);
          if (expected == 'Y') x = s[j - 1] * s[i - 1] * x;
          if (expected == 'Y' && is_hermitian && i == j) x = std::real(x);
          EXPECT_EQ(A(i, j), x);
          EXPECT_EQ(ap(packed_place(upper, n, i, j)), x);
          if (std::abs(i - j) <= kd) {
            EXPECT_EQ(AB((upper ? kd + 1 : 1) + i - j, j), x);
          }
        }
      }
      EXPECT_TRUE(A.unchanged_except([&](Int i, Int j) { return upper ? i <= j : i >= j; }));
      EXPECT_TRUE(AB.unchanged_except([&](Int row, Int j) {
        const Int i = row + j - (upper ? kd + 1 : 1);
        return i >= 1 && i <= n;
      }));
      EXPECT_TRUE(ap.guards_unchanged());
    }
  }
}

TYPED_TEST(Equilibration, ScalesATriangle) {
  using T = TypeParam;
  const auto symmetric = [](char uplo, Int n, Int kd, Matrix<T> A, T* ap, Matrix<T> AB, const Real<T>* s, Real<T> scond,
                            Real<T> amax, char* equed) {
    routine_call::laqsy(uplo, n, A, s, scond, amax, equed[0]);
    routine_call::laqsp(uplo, n, ap, s, scond, amax, equed[1]);
    routine_call::laqsb(uplo, n, kd, AB, s, scond, amax, equed[2]);
  };
  check_symmetric<T>(this->random, false, symmetric);
  if constexpr (ComplexScalar<T>) {
    const auto hermitian = [](char uplo, Int n, Int kd, Matrix<T> A, T* ap, Matrix<T> AB, const Real<T>* s,
                              Real<T> scond, Real<T> amax, char* equed) {
      routine_call::laqhe(uplo, n, A, s, scond, amax, equed[0]);
      routine_call::laqhp(uplo, n, ap, s, scond, amax, equed[1]);
      routine_call::laqhb(uplo, n, kd, AB, s, scond, amax, equed[2]);
    };
    check_symmetric<T>(this->random, true, hermitian);
  }
}

}  // namespace
}  // namespace nuv::test
