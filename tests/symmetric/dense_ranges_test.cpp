// The drivers for full symmetric and Hermitian matrices that take a range of eigenvalues.

#include <cmath>

#include "support/reported_errors.hpp"
#include "symmetric/dense_driver_calls.hpp"
#include "symmetric/driver_steps.hpp"
#include "symmetric/eigen_checks.hpp"
#include "symmetric/sorted_pairs.hpp"
#include "symmetric/unrepresentable.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 30;

template <class T>
class DenseRanges : public ReportingTest {
 protected:
  Random random{71};

  template <class Visit>
  static void for_each_selecting(Visit visit) {
    visit(Evr<T>());
    visit(Evx<T>());
  }
};
TYPED_TEST_SUITE(DenseRanges, Precisions, PrecisionLetter);

/// A matrix with all its eigenvalues.
template <Scalar T>
struct Problem {
  char uplo;
  GuardedMatrix<T> A;
  WideMatrix<T> wide_a;
  std::vector<WideReal<T>> exact;

  Problem(Random& random, char letter, const Tridiagonal<Real<T>>& tridiagonal)
      : uplo(random.in_some_case(letter)),
        A(reflected_tridiagonal<T>(random, tridiagonal, letter, tridiagonal.order() + 1)),
        wide_a(wide_hermitian(A, is_upper(letter))),
        exact(wide_values(tridiagonal)) {}

  Int order() const { return A.rows(); }

  /// Expects the values from the first-th on, and their vectors if they were wanted; nothing else is written.
  template <class Driver>
  void expect(const DenseCall<T>& solved, Int first, Int count) const {
    ASSERT_EQ(solved.info, 0);
    ASSERT_EQ(solved.m, count);
    EXPECT_TRUE(std::is_sorted(solved.w.data(), solved.w.data() + count));
    EXPECT_LT(value_error(solved.w, count, exact, first), threshold);
    EXPECT_TRUE(solved.Z.unchanged_except([&](Int, Int j) { return solved.wants_vectors() && j <= count; }));
    if (!solved.wants_vectors() || count == 0) return;
    EXPECT_LT(eigen_residual(wide_a, solved.Z, solved.w, count), threshold);
    EXPECT_LT(orthogonality(solved.Z, count), threshold);
  }
};

TYPED_TEST(DenseRanges, TakeThemByIndex) {
  using T = TypeParam;
  const Int n = 13;
  for (const char letter : uplos) {
    const Problem<T> problem(this->random, letter, random_tridiagonal<Real<T>>(n));
    for (Int il = 1; il <= n; ++il) {
      for (Int iu = il; iu <= n; iu += il == 1 || iu == il ? 1 : 4) {
        for (const char jobz : {'N', 'V'}) {
          this->for_each_selecting([&]<class Driver>(Driver) {
            SCOPED_TRACE(testing::Message() << Driver::name << ' ' << jobz << problem.uplo << ' ' << il << ' ' << iu);
            problem.template expect<Driver>(solve<Driver>(DenseCall<T>(jobz, problem.uplo, problem.A, il, iu)), il,
                                            iu - il + 1);
          });
        }
      }
    }
  }
}

/// All of them are found in one way, whatever the words for them; bisection finds what comes near.
TYPED_TEST(DenseRanges, TakeAllInOneWay) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 13;
  const Problem<T> problem(this->random, 'L', random_tridiagonal<R>(n));
  this->for_each_selecting([&]<class Driver>(Driver) {
    for (const char jobz : {'N', 'V'}) {
      SCOPED_TRACE(testing::Message() << Driver::name << ' ' << jobz);
      const auto all = solve<Driver>(DenseCall<T>(jobz, 'L', problem.A));
      const auto is_same = [&](const DenseCall<T>& call) {
        const auto solved = solve<Driver>(call);
        EXPECT_EQ(solved.m, n);
        return solved.w.same_as(all.w) && solved.Z.same_as(all.Z) && solved.marks.same_as(all.marks);
      };
      DenseCall<T> by_index(jobz, 'L', problem.A, 1, n);
      EXPECT_TRUE(is_same(by_index));
      by_index.abstol = -1;
      EXPECT_TRUE(is_same(by_index));
      EXPECT_FALSE(is_same(DenseCall<T>(jobz, 'L', problem.A, R(-10 * n), R(10 * n))));
      if (jobz == 'N' && std::same_as<Driver, Evx<T>>) {
        EXPECT_TRUE(all.w.same_as(solve<Ev<T>>(DenseCall<T>('N', 'L', problem.A)).w));
      }
    }
  });
}

/// The values of one block come after those of another, until they are sorted.
TYPED_TEST(DenseRanges, AreSortedWhereAMatrixFallsApart) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr Int n = 9;
  for (const char uplo : uplos) {
    Tridiagonal<R> matrix{{}, {}};
    for (Int k = 1; k <= n; ++k) matrix.d.push_back(R(3 * n - 3 * k));
    for (Int k = 1; k < n; ++k) matrix.e.push_back(k % 3 == 0 ? R(0) : R(1));
    const GuardedMatrix<T> A = stored_tridiagonal<T>(matrix, uplo);
    this->for_each_selecting([&]<class Driver>(Driver) {
      const auto solved = solve<Driver>(DenseCall<T>('V', uplo, A, 2, n));
      EXPECT_EQ(solved.info, 0);
      ASSERT_EQ(solved.m, n - 1);
      EXPECT_TRUE(std::is_sorted(solved.w.data(), solved.w.data() + solved.m));
      EXPECT_LT(value_error(solved.w, solved.m, wide_values(matrix), 2), threshold);
      EXPECT_LT(eigen_residual(wide_dense<T>(matrix), solved.Z, solved.w, solved.m), threshold);
      EXPECT_LT(orthogonality(solved.Z, solved.m), threshold);
    });
  }
}

TYPED_TEST(DenseRanges, TakeThemByValue) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 13;
  for (const char letter : uplos) {
    // Values 1 ... n, so that bounds between them are certain.
    std::vector<WideReal<T>> values;
    for (Int k = 1; k <= n; ++k) values.push_back(WideReal<T>(k));
    const Problem<T> problem(this->random, letter, tridiagonal_with_values<R>(values));
    for (const auto& [below, count] :
         {std::pair<Int, Int>{0, n}, {0, 1}, {3, 0}, {3, 4}, {n - 1, 1}, {n, 0}, {-5, n + 9}}) {
      const Int first = std::max(0, below) + 1, inside = std::min(n, below + count) - first + 1;
      for (const char jobz : {'N', 'V'}) {
        this->for_each_selecting([&]<class Driver>(Driver) {
          const R vl = R(below) + R(0.25), vu = R(below + count) + R(0.75);
          SCOPED_TRACE(testing::Message() << Driver::name << ' ' << jobz << problem.uplo << ' ' << vl << ' ' << vu);
          problem.template expect<Driver>(solve<Driver>(DenseCall<T>(jobz, problem.uplo, problem.A, vl, vu)), first,
                                          inside);
        });
      }
    }
  }
}

TYPED_TEST(DenseRanges, ScaleBoundsWithTheMatrix) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 11;
  for (const R factor : {std::sqrt(std::numeric_limits<R>::min()) / 64, std::numeric_limits<R>::max() / 64}) {
    std::vector<WideReal<T>> values;
    for (Int k = 1; k <= n; ++k) values.push_back(WideReal<T>(k));
    Tridiagonal<R> tridiagonal = tridiagonal_with_values<R>(values);
    for (R& x : tridiagonal.d) x *= factor;
    for (R& x : tridiagonal.e) x *= factor;
    const Problem<T> problem(this->random, 'L', tridiagonal);
    this->for_each_selecting([&]<class Driver>(Driver) {
      for (const char jobz : {'N', 'V'}) {
        SCOPED_TRACE(testing::Message() << Driver::name << ' ' << jobz << factor);
        problem.template expect<Driver>(
            solve<Driver>(DenseCall<T>(jobz, problem.uplo, problem.A, R(2.5) * factor, R(6.5) * factor)), 3, 4);
        problem.template expect<Driver>(solve<Driver>(DenseCall<T>(jobz, problem.uplo, problem.A, 2, 5)), 2, 4);
        DenseCall<T> rough(jobz, problem.uplo, problem.A);
        rough.abstol = 4 * epsilon<T> * factor;
        problem.template expect<Driver>(solve<Driver>(rough), 1, n);
        rough.range = 'I';
        rough.il = 2;
        rough.iu = 5;
        problem.template expect<Driver>(solve<Driver>(rough), 2, 4);
      }
    });
  }
}

/// Inverse iteration is what can't do without.
TYPED_TEST(DenseRanges, ScaleMatricesThatHaveNothingOnTheDiagonal) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 11;
  for (const R factor : {std::sqrt(std::numeric_limits<R>::min()) / 64, std::numeric_limits<R>::max() / 64}) {
    for (const char uplo : uplos) {
      GuardedMatrix<T> A = random_hermitian<T>(this->random, uplo, n, n, factor);
      for (Int j = 1; j <= n; ++j) set_mirrored(A, uplo, j, j, T(0));
      A.seal();
      const WideMatrix<T> wide_a = wide_hermitian(A, is_upper(uplo));
      this->for_each_selecting([&]<class Driver>(Driver) {
        SCOPED_TRACE(testing::Message() << Driver::name << ' ' << uplo << factor);
        const auto solved = solve<Driver>(DenseCall<T>('V', uplo, A, 2, 7));
        EXPECT_EQ(solved.info, 0);
        ASSERT_EQ(solved.m, 6);
        EXPECT_LT(eigen_residual(wide_a, solved.Z, solved.w, 6), threshold);
        EXPECT_LT(orthogonality(solved.Z, 6), threshold);
      });
    }
  }
}

TYPED_TEST(DenseRanges, TakePartsOfClusters) {
  using T = TypeParam;
  const Int n = 42;
  const Problem<T> problem(this->random, 'U', glued_wilkinson<Real<T>>(n, Real<T>(1e-3)));
  this->for_each_selecting([&]<class Driver>(Driver) {
    for (const auto& [il, iu] : {std::pair<Int, Int>{n, n}, {n - 1, n - 1}, {n - 2, n - 1}, {n - 3, n}, {20, 23}}) {
      SCOPED_TRACE(testing::Message() << Driver::name << ' ' << il << ' ' << iu);
      problem.template expect<Driver>(solve<Driver>(DenseCall<T>('V', 'U', problem.A, il, iu)), il, iu - il + 1);
    }
  });
}

TYPED_TEST(DenseRanges, AreLookedUpForOrderOne) {
  using T = TypeParam;
  using R = Real<T>;
  GuardedMatrix<T> A(1, 1, 1);
  set_mirrored(A, 'L', 1, 1, T(2));
  A.seal();
  this->for_each_selecting([&]<class Driver>(Driver) {
    const auto expect = [&](const DenseCall<T>& call, Int m) {
      const auto solved = solve<Driver>(call, Room::least);
      EXPECT_EQ(solved.info, 0);
      EXPECT_EQ(solved.m, m);
      if (m == 1) {
        EXPECT_EQ(solved.w(1), 2);
      }
      if (m == 1) {
        EXPECT_EQ(solved.Z(1, 1), T(1));
        // The rows that an eigenvector fills, or that it converged.
        const Int mark = std::same_as<Driver, Evr<T>> ? 1 : 0;
        EXPECT_EQ(solved.marks(1), mark);
        EXPECT_TRUE(mark == 0 || solved.marks(2) == 1);
      }
    };
    expect({'V', 'L', A, 1, 1}, 1);
    expect({'V', 'L', A, R(2), R(3)}, 0);
    expect({'V', 'L', A, R(1), R(2)}, 1);
    expect({'V', 'L', A, R(1), R(1.5)}, 0);
  });
}

// With a tolerance, the expert driver bisects, and the other one where it is asked for some.
TYPED_TEST(DenseRanges, ToleranceIsWhatTheValuesAreOff) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 20;
  std::vector<WideReal<T>> values;
  for (Int k = 1; k <= n; ++k) values.push_back(WideReal<T>(k) + WideReal<T>(0.3));
  const Problem<T> problem(this->random, 'L', tridiagonal_with_values<R>(values));
  const auto expect_rough = [&](const DenseCall<T>& rough, Int first) {
    ASSERT_EQ(rough.m, n + 1 - first);
    double worst = 0;
    for (Int k = 1; k <= rough.m; ++k) {
      worst = std::max(worst, std::abs(double(rough.w(k) - problem.exact[std::size_t(first + k - 2)])));
    }
    EXPECT_LT(worst, 0.02);
    EXPECT_GT(worst, 1e-5);
  };
  DenseCall<T> all('N', 'L', problem.A), some('N', 'L', problem.A, 2, n);
  all.abstol = some.abstol = R(0.01);
  expect_rough(solve<Evx<T>>(all), 1);
  expect_rough(solve<Evx<T>>(some), 2);
  expect_rough(solve<Evr<T>>(some), 2);
}

/// A tolerance allows for representations without relative accuracy. Where they fail nothing tells of it, but that it
/// is not told where the vectors are not zero.
TYPED_TEST(DenseRanges, AreFoundWhereRepresentationsFail) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int n : {3, 8}) {
    const Tridiagonal<R> matrix = unrepresentable<R>(n);
    expect_unrepresentable(matrix);
    for (const char uplo : uplos) {
      const GuardedMatrix<T> A = stored_tridiagonal<T>(matrix, uplo);
      for (const R abstol : {R(0), std::numeric_limits<R>::min()}) {
        DenseCall<T> call('V', uplo, A);
        call.abstol = abstol;
        const auto solved = solve<Evr<T>>(call);
        EXPECT_EQ(solved.info, 0);
        ASSERT_EQ(solved.m, n);
        EXPECT_LT(value_error(solved.w, n, wide_values(matrix)), threshold);
        EXPECT_LT(eigen_residual(wide_dense<T>(matrix), solved.Z, solved.w, n), threshold);
        EXPECT_LT(orthogonality(solved.Z, n), threshold);
        EXPECT_EQ(bool(solved.marks.unchanged()), abstol > 0);
      }
    }
  }
}

TYPED_TEST(DenseRanges, MarksTellOfNoFailure) {
  using T = TypeParam;
  const Int n = 12;
  const GuardedMatrix<T> A = random_hermitian<T>(this->random, 'L', n, n);
  for (const bool all : {true, false}) {
    const auto solved = solve<Evx<T>>(all ? DenseCall<T>('V', 'L', A) : DenseCall<T>('V', 'L', A, 3, 9));
    for (Int k = 1; k <= solved.m; ++k) EXPECT_EQ(solved.marks(k), 0);
  }
  const auto solved = solve<Evr<T>>(DenseCall<T>('V', 'L', A));
  for (Int k = 1; k <= n; ++k) {
    EXPECT_GE(solved.marks(2 * k - 1), 1);
    EXPECT_LE(solved.marks(2 * k - 1), solved.marks(2 * k));
    EXPECT_LE(solved.marks(2 * k), n);
  }
}

// ------------------------------------------------------------------------------------------- what the drivers share

TYPED_TEST(DenseRanges, ScalingLeavesWhatFailedAlone) {
  using R = Real<TypeParam>;
  const R tiny = std::numeric_limits<R>::min();
  const RangeScaling<R> scaling(tiny);
  ASSERT_TRUE(scaling.is_needed());
  const auto undone = [&](Int m, Int info) {
    GuardedVector<R> w(5);
    for (Int k = 1; k <= 5; ++k) w(k) = scaling.factor() * R(k) * tiny;
    w.seal();
    scaling.undo(m, w.data(), info);
    EXPECT_TRUE(w.guards_unchanged());
    Int count = 0;
    for (Int k = 1; k <= 5; ++k) {
      if (same_bits(w(k), w.sealed(k))) continue;
      EXPECT_NEAR(w(k) / tiny, R(k), 10 * epsilon<R> * R(k));
      EXPECT_EQ(k, ++count);
    }
    return count;
  };
  EXPECT_EQ(undone(5, 0), 5);
  EXPECT_EQ(undone(3, 0), 3);
  EXPECT_EQ(undone(5, 1), 0);
  EXPECT_EQ(undone(5, 4), 3);
  EXPECT_EQ(undone(2, 4), 2);
  EXPECT_EQ(undone(5, 1000), 5);
}

TYPED_TEST(DenseRanges, ScalingIsForSquaresOutOfRange) {
  using R = Real<TypeParam>;
  const R least = std::numeric_limits<R>::min() / epsilon<R>, smallest = std::sqrt(least),
          largest = std::sqrt(1 / least);
  const auto needed = [](R norm) { return RangeScaling<R>(norm).is_needed(); };
  EXPECT_FALSE(needed(0));
  EXPECT_FALSE(needed(std::numeric_limits<R>::quiet_NaN()));
  EXPECT_FALSE(needed(1));
  EXPECT_FALSE(needed(smallest));
  EXPECT_TRUE(needed(smallest * (1 - epsilon<R>)));
  EXPECT_FALSE(needed(largest));
  EXPECT_TRUE(needed(largest * (1 + 2 * epsilon<R>)));
  EXPECT_TRUE(RangeScaling<R>::for_representations(largest / 2).is_needed());
  EXPECT_FALSE(
      RangeScaling<R>::for_representations(1 / std::sqrt(std::sqrt(std::numeric_limits<R>::min()))).is_needed());
}

TYPED_TEST(DenseRanges, PairsAreSortedWithWhatBelongsToThem) {
  using T = TypeParam;
  using R = Real<T>;
  GuardedVector<R> w(6);
  GuardedMatrix<T> Z(2, 6, 3);
  std::vector<Int> marks(6);
  const R values[] = {3, 1, 2, 1, 5, 0};
  for (Int k = 1; k <= 6; ++k) {
    w(k) = values[k - 1];
    Z(1, k) = T(values[k - 1]);
    Z(2, k) = T(R(k));
    marks[std::size_t(k - 1)] = k;
  }
  w.seal();
  Z.seal();
  int exchanges = 0;
  sort_pairs(2, 5, w.data(), Matrix<T>(Z), [&](Int i, Int j) {
    std::swap(marks[std::size_t(i - 1)], marks[std::size_t(j - 1)]);
    ++exchanges;
  });
  for (Int k = 1; k <= 5; ++k) {
    EXPECT_EQ(T(w(k)), Z(1, k));
    EXPECT_EQ(T(R(marks[std::size_t(k - 1)])), Z(2, k));
    if (k > 1) {
      EXPECT_LE(w(k - 1), w(k));
    }
  }
  EXPECT_TRUE(w.unchanged_outside(1, 5));
  EXPECT_EQ(exchanges, 2);
}

}  // namespace
}  // namespace nuv::test
