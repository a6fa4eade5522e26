// Condition numbers and error bounds of triangular matrices in full, packed and band storage.

#include <functional>

#include "routines.hpp"
#include "support/options.hpp"
#include "support/random.hpp"
#include "support/reported_errors.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

template <class T>
class TriangularBounds : public ReportingTest {
 protected:
  Random random{6};
};
TYPED_TEST_SUITE(TriangularBounds, Precisions, PrecisionLetter);

constexpr Int n = 9, kd = 3;

template <Scalar T>
using SecondWork = std::conditional_t<RealScalar<T>, Int, Real<T>>;

/// A triangle in each storage, with guards where nothing may be read.
template <Scalar T>
struct StoredTriangle {
  char uplo, diag;
  GuardedMatrix<T> A{n, n, n + 2}, AB{kd + 1, n, kd + 3};
  GuardedVector<T> ap{n * (n + 1) / 2};
  WideMatrix<T> dense, dense_band;
  GuardedVector<T> work{(RealScalar<T> ? 3 : 2) * n};
  GuardedVector<SecondWork<T>> second{n};

  /// steepness  by how much the elements grow from column to column
  StoredTriangle(Random& random, char uplo_, char diag_, double steepness) : uplo(uplo_), diag(diag_) {
    const bool upper = is_upper(uplo);
    GuardedMatrix<T> band(n, n, n);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) {
        band(i, j) = T(0);
        if (upper ? i > j : i < j) continue;
        if (i == j && is_unit(diag)) continue;
        const T x = i == j ? random.divisor<T>() : random.scalar<T>();
        A(i, j) = x * Real<T>(std::pow(2, -steepness * j));
        ap(upper ? i + j * (j - 1) / 2 : i + (2 * n - j) * (j - 1) / 2) = A(i, j);
        if (std::abs(i - j) <= kd) AB((upper ? kd + 1 : 1) + i - j, j) = band(i, j) = A(i, j);
      }
    }
    dense = wide_triangle(A, upper, is_unit(diag));
    dense_band = wide_triangle(band, upper, is_unit(diag));
    A.seal();
    AB.seal();
    ap.seal();
  }
};

/// A storage with its routines, and the matrix that it holds.
template <Scalar T>
struct TriangularForm {
  const char* name;
  std::function<Real<T>(StoredTriangle<T>&, char norm)> condition;
  std::function<void(StoredTriangle<T>&, char trans, const GuardedMatrix<T>& B, GuardedMatrix<T>& X, Real<T>* ferr,
                     Real<T>* berr)>
      bound;
  std::function<const WideMatrix<T>&(const StoredTriangle<T>&)> dense;
};

template <Scalar T>
std::vector<TriangularForm<T>> triangular_forms() {
  using S = StoredTriangle<T>;
  using R = Real<T>;
  const auto full = [](const S& s) -> const WideMatrix<T>& { return s.dense; };
  const auto band = [](const S& s) -> const WideMatrix<T>& { return s.dense_band; };
  const auto condition = [](auto call) {
    return [=](S& s, char norm) {
      R rcond = -1;
      Int info = 99;
      call(s, norm, rcond, info);
      EXPECT_EQ(info, 0);
      return rcond;
    };
  };
  return {{"tr", condition([](S& s, char norm, R& rcond, Int& info) {
             routine_call::trcon(norm, s.uplo, s.diag, n, s.A, rcond, s.work.data(), s.second.data(), info);
           }),
           [](S& s, char trans, const GuardedMatrix<T>& B, GuardedMatrix<T>& X, R* ferr, R* berr) {
             Int info = 99;
             routine_call::trrfs(s.uplo, trans, s.diag, n, B.columns(), s.A, B, X, ferr, berr, s.work.data(),
                                 s.second.data(), info);
             EXPECT_EQ(info, 0);
           },
           full},
          {"tp", condition([](S& s, char norm, R& rcond, Int& info) {
             routine_call::tpcon(norm, s.uplo, s.diag, n, s.ap.data(), rcond, s.work.data(), s.second.data(), info);
           }),
           [](S& s, char trans, const GuardedMatrix<T>& B, GuardedMatrix<T>& X, R* ferr, R* berr) {
             Int info = 99;
             routine_call::tprfs(s.uplo, trans, s.diag, n, B.columns(), s.ap.data(), B, X, ferr, berr, s.work.data(),
                                 s.second.data(), info);
             EXPECT_EQ(info, 0);
           },
           full},
          {"tb", condition([](S& s, char norm, R& rcond, Int& info) {
             routine_call::tbcon(norm, s.uplo, s.diag, n, kd, s.AB, rcond, s.work.data(), s.second.data(), info);
           }),
           [](S& s, char trans, const GuardedMatrix<T>& B, GuardedMatrix<T>& X, R* ferr, R* berr) {
             Int info = 99;
             routine_call::tbrfs(s.uplo, trans, s.diag, n, kd, B.columns(), s.AB, B, X, ferr, berr, s.work.data(),
                                 s.second.data(), info);
             EXPECT_EQ(info, 0);
           },
           band}};
}

/// Calls visit(form, system, what) for each storage and each kind of triangle.
template <Scalar T, class Visit>
void for_each_triangle(Random& random, Visit visit) {
  for (const auto& form : triangular_forms<T>()) {
    for (const char uplo : {'U', 'L', 'u', 'l'}) {
      for (const char diag : {'N', 'U', 'u'}) {
        for (const double steepness : {0.0, 0.6}) {
          SCOPED_TRACE(std::string(form.name) + ' ' + uplo + ' ' + diag);
          StoredTriangle<T> system(random, uplo, diag, steepness);
          visit(form, system);
          EXPECT_TRUE(system.A.unchanged());
          EXPECT_TRUE(system.AB.unchanged());
          EXPECT_TRUE(system.ap.unchanged());
          EXPECT_TRUE(system.work.guards_unchanged());
          EXPECT_TRUE(system.second.guards_unchanged());
        }
      }
    }
  }
}

TYPED_TEST(TriangularBounds, HaveTheirConditionWithinAFactorOfTen) {
  using T = TypeParam;
  for_each_triangle<T>(this->random, [](const TriangularForm<T>& form, StoredTriangle<T>& system) {
    const WideMatrix<T>& A = form.dense(system);
    for (const char norm : {'1', 'O', 'o', 'I', 'i'}) {
      const char direction = same_letter(norm, 'I') ? 'T' : 'N';
      const double expected = 1 / (one_norm<T>(op<T>(direction, A)) * one_norm<T>(op<T>(direction, inverse<T>(A))));
      const double rcond = double(form.condition(system, norm));
      EXPECT_GT(rcond, expected / 2);
      EXPECT_LT(rcond, expected * 10);
    }
  });
}

TYPED_TEST(TriangularBounds, HaveNoConditionWithAZeroOnTheDiagonal) {
  using T = TypeParam;
  for (const auto& form : triangular_forms<T>()) {
    StoredTriangle<T> system(this->random, 'U', 'N', 0);
    system.A(4, 4) = system.AB(kd + 1, 4) = system.ap(4 * 5 / 2) = T(0);
    EXPECT_EQ(form.condition(system, '1'), 0);
  }
}

TYPED_TEST(TriangularBounds, Hold) {
  using T = TypeParam;
  constexpr Int nrhs = 2;
  for_each_triangle<T>(this->random, [&](const TriangularForm<T>& form, StoredTriangle<T>& system) {
    for (const char trans : {'N', 'T', 'C', 'c'}) {
      const WideMatrix<T> A = op<T>(trans, form.dense(system));
      const GuardedMatrix<T> B = random_matrix<T>(this->random, n, nrhs, n + 1);
      const WideMatrix<T> solution = product<T>(inverse<T>(A), wide(B));
      // The solution rounded to the precision, and one that is off by a thousandth.
      for (const double off : {0.0, 1e-3}) {
        GuardedMatrix<T> X(n, nrhs, n + 1);
        for (Int j = 1; j <= nrhs; ++j) {
          for (Int i = 1; i <= n; ++i) X(i, j) = T(solution(i - 1, j - 1)) * Real<T>(1 + off * (i % 3));
        }
        X.seal();
        GuardedVector<Real<T>> ferr(nrhs), berr(nrhs);
        form.bound(system, trans, B, X, ferr.data(), berr.data());
        EXPECT_TRUE(X.unchanged());
        for (Int j = 1; j <= nrhs; ++j) {
          const auto difference = (wide(X).col(j - 1) - solution.col(j - 1)).cwiseAbs().maxCoeff();
          const double error = double(difference / wide(X).col(j - 1).cwiseAbs().maxCoeff());
          // The estimate may fall short of a norm, by a factor of three at worst; what rounding adds to the bound hides
          // it.
          EXPECT_GE(ferr(j), off == 0 ? error : error / 3) << trans;
          EXPECT_LE(ferr(j), 1000 * std::max(error, double(epsilon<T>))) << trans;
          if (off == 0) {
            EXPECT_LE(berr(j), 2 * epsilon<T>);
          } else {
            EXPECT_GT(berr(j), 1e-5);
          }
        }
      }
    }
  });
}

}  // namespace
}  // namespace nuv::test
