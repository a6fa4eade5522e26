// The drivers for full symmetric and Hermitian matrices: what they give for all eigenvalues.

#include "symmetric/dense_driver_calls.hpp"

#include <cmath>

#include "support/reported_errors.hpp"
#include "symmetric/eigen_checks.hpp"

namespace nuv::test {
namespace {

template <class T>
class DenseDrivers : public ReportingTest {
 protected:
  Random random{61};
};
TYPED_TEST_SUITE(DenseDrivers, Precisions, PrecisionLetter);

/// Representations and inverse iteration make vectors that are a little less orthogonal than products of rotations.
template <class Driver>
constexpr double threshold = Driver::selects ? 30 : 10;

/// Each column of Q has met some n rotations, whose errors add up like steps at random.
template <class Driver>
double limit_of_orthogonality(Int n) {
  return std::max(threshold<Driver>, std::sqrt(2.0 * n));
}

/// Expects all eigenvalues of A, as `exact` tells them, and eigenvectors if they were wanted.
template <class Driver, Scalar T>
void expect_all(const DenseCall<T>& solved, const WideMatrix<T>& A, const std::vector<WideReal<T>>& exact) {
  ASSERT_EQ(solved.info, 0);
  ASSERT_EQ(solved.m, solved.n);
  EXPECT_TRUE(std::is_sorted(solved.w.data(), solved.w.data() + solved.n));
  EXPECT_LT(value_error(solved.w, solved.n, exact), threshold<Driver>);
  if (!solved.wants_vectors()) return;
  EXPECT_LT(eigen_residual(A, vectors<Driver>(solved), solved.w, solved.n), threshold<Driver>);
  EXPECT_LT(orthogonality(vectors<Driver>(solved), solved.n), limit_of_orthogonality<Driver>(solved.n));
}

/// Solves for all with each driver.
template <Scalar T>
void expect_all_of(Random& random, const Tridiagonal<Real<T>>& tridiagonal, std::initializer_list<Room> rooms) {
  const Int n = tridiagonal.order();
  const std::vector<WideReal<T>> exact = wide_values(tridiagonal);
  for (const char letter : uplos) {
    const char uplo = random.in_some_case(letter);
    const GuardedMatrix<T> A = reflected_tridiagonal<T>(random, tridiagonal, uplo, n + random.integer(0, 2));
    const WideMatrix<T> wide_a = wide_hermitian(A, is_upper(letter));
    for_each_driver<T>([&]<class Driver>(Driver) {
      for (const char jobz : {'N', 'V'}) {
        for (const Room room : rooms) {
          SCOPED_TRACE(testing::Message() << Driver::name << ' ' << jobz << uplo << ", order " << n
                                          << (room == Room::least ? ", least room" : ", best room"));
          expect_all<Driver>(solve<Driver>(DenseCall<T>(random.in_some_case(jobz), uplo, A), room), wide_a, exact);
        }
      }
    });
  }
}

TYPED_TEST(DenseDrivers, FindAllAtEverySize) {
  using T = TypeParam;
  for (const Int n : {1, 2, 3, 5, 24, 26, 70}) {
    SCOPED_TRACE(n);
    expect_all_of<T>(this->random, random_tridiagonal<Real<T>>(n), {Room::least, Room::best});
  }
}

TYPED_TEST(DenseDrivers, FindAllByBlocks) {
  using T = TypeParam;
  expect_all_of<T>(this->random, random_tridiagonal<Real<T>>(ComplexScalar<T> ? 180 : 270), {Room::best});
}

TYPED_TEST(DenseDrivers, FindAllOfDescribedMatrices) {
  using T = TypeParam;
  for (const auto& [name, matrix] : described_tridiagonals<Real<T>>(45)) {
    SCOPED_TRACE(name);
    expect_all_of<T>(this->random, matrix, {Room::best});
  }
}

TYPED_TEST(DenseDrivers, FindAllOfTinyAndHugeMatrices) {
  using T = TypeParam;
  using R = Real<T>;
  using Limits = std::numeric_limits<R>;
  for (const R factor :
       {Limits::min() / epsilon<T>, std::sqrt(Limits::min()), std::sqrt(Limits::max()), Limits::max() / 64}) {
    SCOPED_TRACE(factor);
    Tridiagonal<R> matrix = random_tridiagonal<R>(20);
    for (R& x : matrix.d) x *= factor;
    for (R& x : matrix.e) x *= factor;
    expect_all_of<T>(this->random, matrix, {Room::best});
  }
}

/// Nothing but the triangle tells that this one is tiny or huge: c (J - I), with eigenvalues -c and (n - 1) c.
TYPED_TEST(DenseDrivers, FindAllOfMatricesWithoutDiagonal) {
  using T = TypeParam;
  using R = Real<T>;
  using Limits = std::numeric_limits<R>;
  constexpr Int n = 8;
  for (const R factor : {Limits::min() / epsilon<T>, Limits::max() / 64}) {
    for (const char uplo : uplos) {
      GuardedMatrix<T> A(n, n, n);
      for (Int j = 1; j <= n; ++j) {
        for (Int i = j; i <= n; ++i) set_mirrored(A, uplo, i, j, T(i == j ? R(0) : factor));
      }
      A.seal();
      for_each_driver<T>([&]<class Driver>(Driver) {
        for (const char jobz : {'N', 'V'}) {
          const auto solved = solve<Driver>(DenseCall<T>(jobz, uplo, A));
          EXPECT_EQ(solved.info, 0);
          for (Int k = 1; k <= n; ++k) {
            EXPECT_NEAR(solved.w(k) / factor, k == n ? R(n - 1) : R(-1), 100 * epsilon<T>) << Driver::name;
          }
          if (jobz == 'V') {
            EXPECT_LT(orthogonality(vectors<Driver>(solved), n), threshold<Driver>) << Driver::name;
          }
        }
      });
    }
  }
}

TYPED_TEST(DenseDrivers, OfTheZeroMatrixGiveZeros) {
  using T = TypeParam;
  constexpr Int n = 9;
  for (const char uplo : uplos) {
    GuardedMatrix<T> A(n, n, n);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = j; i <= n; ++i) set_mirrored(A, uplo, i, j, T(0));
    }
    A.seal();
    for_each_driver<T>([&]<class Driver>(Driver) {
      const auto solved = solve<Driver>(DenseCall<T>('V', uplo, A));
      EXPECT_EQ(solved.info, 0) << Driver::name;
      for (Int j = 1; j <= n; ++j) {
        EXPECT_EQ(solved.w(j), 0) << Driver::name;
        Int ones = 0;
        for (Int i = 1; i <= n; ++i) {
          const Real<T> size = std::abs(vectors<Driver>(solved)(i, j));
          EXPECT_TRUE(size == 0 || size == 1) << Driver::name;
          ones += size == 1;
          if (std::is_same_v<Driver, Ev<T>>) {
            EXPECT_EQ(vectors<Driver>(solved)(i, j), T(i == j));
          }
        }
        EXPECT_EQ(ones, 1) << Driver::name;
      }
      EXPECT_LT(orthogonality(vectors<Driver>(solved), n), 1);
    });
  }
}

TYPED_TEST(DenseDrivers, OfOrderZeroDoNothing) {
  using T = TypeParam;
  for_each_driver<T>([&]<class Driver>(Driver) {
    const auto solved = solve<Driver>(DenseCall<T>('V', 'U', GuardedMatrix<T>(0, 0, 1)), Room::least);
    EXPECT_EQ(solved.info, 0) << Driver::name;
    EXPECT_EQ(solved.m, 0) << Driver::name;
    EXPECT_EQ(solved.work(1), T(1)) << Driver::name;
  });
}

TYPED_TEST(DenseDrivers, OfOrderOneTellTheirSizes) {
  using T = TypeParam;
  GuardedMatrix<T> A(1, 1, 3);
  set_mirrored(A, 'L', 1, 1, T(-5));
  A.seal();
  const auto work_after = [&]<class Driver>(Driver) { return solve<Driver>(DenseCall<T>('V', 'L', A)).work(1); };
  EXPECT_EQ(work_after(Ev<T>()), T(3));
  EXPECT_EQ(work_after(Evr<T>()), T(7));
  for_each_driver<T>([&]<class Driver>(Driver) {
    const auto solved = solve<Driver>(DenseCall<T>('V', 'L', A));
    EXPECT_EQ(solved.w(1), -5) << Driver::name;
    EXPECT_EQ(vectors<Driver>(solved)(1, 1), T(1)) << Driver::name;
  });
}

// --------------------------------------------------------------------------------------------------------- workspaces

TYPED_TEST(DenseDrivers, AskForWorkspaces) {
  using T = TypeParam;
  for (const Int n : {0, 1, 2, 50, 300}) {
    for (const char uplo : uplos) {
      const GuardedMatrix<T> A(n, n, std::max(1, n));
      for_each_driver<T>([&]<class Driver>(Driver) {
        for (const char jobz : {'N', 'V'}) {
          const DenseCall<T> call(jobz, uplo, A);
          const WorkSizes least = Driver::least(call.wants_vectors(), n), best = asked_for<Driver>(call);
          SCOPED_TRACE(testing::Message() << Driver::name << ' ' << jobz << uplo << ", order " << n);
          EXPECT_GE(best.work, least.work);
          EXPECT_EQ(best.rwork, least.rwork);
          EXPECT_EQ(best.iwork, least.iwork);
          // One length alone is a question, too.
          for (Int DenseCall<T>::*const length : {&DenseCall<T>::lwork, &DenseCall<T>::lrwork, &DenseCall<T>::liwork}) {
            if (length == &DenseCall<T>::lrwork && Driver::lrwork == 0) continue;
            if (length == &DenseCall<T>::liwork && Driver::liwork == 0) continue;
            DenseCall<T> question = call;
            make_room(question, best);
            question.*length = -1;
            Driver::run(question);
            EXPECT_EQ(question.info, 0);
            EXPECT_EQ(Int(std::real(question.work(1))), best.work);
            EXPECT_TRUE(question.w.unchanged());
            EXPECT_TRUE(question.Z.unchanged());
          }
        }
      });
    }
  }
}

/// Width of the panels of the reduction for moderate orders, and of the blocks in which its Q is applied.
template <Scalar T>
constexpr Int panel = std::same_as<T, float> || std::same_as<T, std::complex<double>> ? 20 : 24;
template <Scalar T>
constexpr Int widest_block = ComplexScalar<T> ? 32 : panel<T>;

TYPED_TEST(DenseDrivers, WantRoomForPanels) {
  using T = TypeParam;
  for (const Int n : {2, 90}) {
    const std::int64_t before = ComplexScalar<T> ? n : 2 * n;
    const auto asked = [&]<class Driver>(Driver, char jobz) {
      return asked_for<Driver>(DenseCall<T>(jobz, 'L', GuardedMatrix<T>(n, n, n))).work;
    };
    for (const char jobz : {'N', 'V'}) {
      EXPECT_EQ(asked(Ev<T>(), jobz), before + n * panel<T>);
      EXPECT_EQ(asked(Evr<T>(), jobz), std::max<std::int64_t>(Evr<T>::least(true, n).work, n * (widest_block<T> + 1)));
      EXPECT_EQ(asked(Evx<T>(), jobz), n * (widest_block<T> + (ComplexScalar<T> ? 1 : 3)));
    }
    EXPECT_EQ(asked(Evd<T>(), 'N'), before + n * panel<T>);
    EXPECT_EQ(asked(Evd<T>(), 'V'), ComplexScalar<T> ? n + n * (n + widest_block<T>) : Evd<T>::least(true, n).work);
  }
}

TYPED_TEST(DenseDrivers, TellTheirSizesAfterwards) {
  using T = TypeParam;
  const Int n = 40;
  const GuardedMatrix<T> A = random_hermitian<T>(this->random, 'L', n, n);
  for_each_driver<T>([&]<class Driver>(Driver) {
    for (const char jobz : {'N', 'V'}) {
      const DenseCall<T> call(jobz, 'L', A);
      const WorkSizes best = asked_for<Driver>(call);
      const auto solved = solve<Driver>(call, Room::least);
      SCOPED_TRACE(testing::Message() << Driver::name << ' ' << jobz);
      EXPECT_EQ(Int(std::real(solved.work(1))), best.work);
      if (Driver::lrwork != 0) {
        EXPECT_EQ(Int(solved.rwork(1)), best.rwork);
      }
      if (Driver::liwork != 0) {
        EXPECT_EQ(solved.iwork(1), best.iwork);
      }
    }
  });
}

}  // namespace
}  // namespace nuv::test
