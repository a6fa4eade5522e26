// Many sweeps of plane rotations at once: ?lasr3 and its serial body x?lasr3.

#include <algorithm>
#include <cctype>

#include "layer.hpp"
#include "support/options.hpp"
#include "support/real_precisions.hpp"
#include "support/reported_errors.hpp"
#include "svd/rotation_sweeps.hpp"
#include "x_variants.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

/// Length of lines up to which they are turned by the rotations themselves.
constexpr Int crossover = 210;

constexpr char directs[] = {'F', 'B'};

template <RealScalar T>
using Routine = void (*)(char side, char pivot, char direct, Int m, Int n, Int k, Matrix<const T> cs, Matrix<T> A,
                         T* work, Int lwork, Int& info);

/// Sweeps applied to a matrix, in just as much work memory as they may have.
template <RealScalar T>
struct Batch {
  char side, direct;
  RotationSweeps<T> sweeps;
  GuardedMatrix<T> A;

  /// lines   that are turned, of so many elements each
  Batch(Random& random, char side, char direct, Int lines, Int length, Int k, double identities = 0)
      : side(side),
        direct(direct),
        sweeps(random, std::max(0, lines - 1), k, lines + 1, identities),
        A(random_matrix<T>(random, is_left(side) ? lines : length, is_left(side) ? length : lines,
                           (is_left(side) ? lines : length) + 3)) {}

  void run(Routine<T> routine, char pivot = 'V') {
    const Int k = sweeps.count(), length = is_left(side) ? A.columns() : A.rows();
    GuardedVector<T> work(4 * k * k + k * length);
    Int info = 77;
    routine(side, pivot, direct, A.rows(), A.columns(), k, sweeps.table(), A, work.data(), -5, info);
    EXPECT_EQ(info, 77);
    EXPECT_TRUE(work.guards_unchanged());
    EXPECT_TRUE(A.guards_unchanged());
    EXPECT_TRUE(sweeps.table().unchanged());
  }

  std::string text() const {
    return std::string() + side + direct + ' ' + std::to_string(A.rows()) + " by " + std::to_string(A.columns()) +
           ", " + std::to_string(sweeps.count()) + " sweeps";
  }
};

template <class T>
class BatchedRotations : public ReportingTest {
 protected:
  void expect_sweeps(char side, char direct, Int lines, Int length, Int k, double identities) {
    Batch<T> batch(random, side, direct, lines, length, k, identities);
    const WideMatrix<T> expected = turned(side, direct, batch.sweeps, wide(batch.A));
    batch.run(x_variant::lasr3);
    EXPECT_LT(rotation_error(batch.A, expected, 2 * k), threshold) << batch.text();
  }

  Random random{63};
};
TYPED_TEST_SUITE(BatchedRotations, RealPrecisions, PrecisionLetter);

/// Every number of lines at which the pieces of the sweeps change, on both sides of the crossover.
TYPED_TEST(BatchedRotations, DoWhatTheirSweepsDoOneByOne) {
  for (const Int k : {1, 2, 3, 5, 8}) {
    for (const Int lines :
         {2, k, k + 1, 2 * k - 1, 2 * k, 2 * k + 1, 3 * k - 1, 3 * k, 3 * k + 1, 4 * k, 4 * k + 1, 5 * k + 2}) {
      for (const char side : sides) {
        for (const char direct : directs) {
          for (const Int length : {1, 7, crossover, crossover + 1}) {
            this->expect_sweeps(side, direct, lines, length, k, 0);
            this->expect_sweeps(side, direct, lines, length, k, 0.4);
          }
        }
      }
    }
  }
}

/// From the left, columns go by strips, of which the last is narrower.
TYPED_TEST(BatchedRotations, TakeColumnsByStrips) {
  for (const char direct : directs) {
    for (const Int columns : {181, 182, 190, crossover}) this->expect_sweeps('L', direct, 11, columns, 3, 0);
  }
}

TYPED_TEST(BatchedRotations, OfIdentitiesChangeNothing) {
  using T = TypeParam;
  for (const Int lines : {2, 3, 5, 6, 7, 9, 10, 16}) {
    for (const char side : sides) {
      for (const char direct : directs) {
        for (const Int length : {5, crossover, crossover + 1, 300}) {
          Batch<T> batch(this->random, side, direct, lines, length, 3, 2);
          batch.run(x_variant::lasr3);
          EXPECT_TRUE(batch.A.unchanged()) << batch.text();
        }
      }
    }
  }
}

/// Every sweep is a part of the table's rows, as those of an iteration are whose block shrinks.
TYPED_TEST(BatchedRotations, MayBePaddedByIdentities) {
  using T = TypeParam;
  const Int k = 6, lines = 29;
  for (const char side : sides) {
    for (const char direct : directs) {
      for (const Int length : {9, crossover + 1}) {
        Batch<T> batch(this->random, side, direct, lines, length, k);
        for (Int s = 1; s <= k; ++s) {
          for (Int p = 1; p < lines; ++p) {
            if (p >= 2 * s && p < lines - s) continue;
            batch.sweeps.table()(p, 2 * s - 1) = 1;
            batch.sweeps.table()(p, 2 * s) = 0;
          }
        }
        batch.sweeps.table().seal();
        const WideMatrix<T> expected = turned(side, direct, batch.sweeps, wide(batch.A));
        batch.run(x_variant::lasr3);
        EXPECT_LT(rotation_error(batch.A, expected, 2 * k), threshold) << batch.text();
      }
    }
  }
}

/// On lines that are turned by the rotations themselves, identities are left out where the sweeps close, and where
/// there is but one piece.
TYPED_TEST(BatchedRotations, LeaveOutIdentitiesWhereSweepsClose) {
  using T = TypeParam;
  for (const char direct : directs) {
    for (const Int lines : {6, 12}) {
      Batch<T> batch(this->random, 'R', direct, lines, 4, 3, 2);
      const Int last = direct == 'F' ? lines : 1, neighbour = direct == 'F' ? lines - 1 : 2;
      for (Int i = 1; i <= 4; ++i) batch.A(i, last) = std::numeric_limits<T>::infinity();
      batch.A.seal();
      batch.run(x_variant::lasr3);
      EXPECT_TRUE(batch.A.is_sealed(1, neighbour)) << batch.text();
    }
  }
}

/// Letters are compared as they are.
TYPED_TEST(BatchedRotations, KnowNoSmallLetters) {
  using T = TypeParam;
  const auto run = [&](char side, char pivot, char direct, Int lines, Int length, Int k) {
    Batch<T> batch(this->random, side, direct, lines, length, k);
    batch.run(x_variant::lasr3, pivot);
    return batch.A.unchanged();
  };
  for (const Int length : {4, crossover + 1}) {
    for (const Int lines : {3, 9}) {
      for (const char side : sides) {
        EXPECT_TRUE(run(side, 'v', 'F', lines, length, 2));
        EXPECT_TRUE(run(side, 'T', 'B', lines, length, 2));
        EXPECT_TRUE(run(side, 'V', 'f', lines, length, 2));
        EXPECT_TRUE(run(side, 'V', 'F', 1, length, 2));
        EXPECT_TRUE(run(side, 'V', 'F', lines, length, 0));
        EXPECT_TRUE(run(side, 'V', 'F', lines, 0, 2));
      }
      Batch<T> batch(this->random, 'R', 'F', lines, length, 2);
      const WideMatrix<T> expected = turned('R', 'F', batch.sweeps, wide(batch.A));
      batch.side = 'l';
      GuardedVector<T> work(16 + 2 * length);
      Int info = 0;
      x_variant::lasr3('l', 'V', 'F', length, lines, 2, batch.sweeps.table(), batch.A, work.data(), 0, info);
      EXPECT_LT(rotation_error(batch.A, expected, 4), threshold);
    }
  }
}

TYPED_TEST(BatchedRotations, AreTheSameThroughTheLayerAndBesideIt) {
  using T = TypeParam;
  for (const char side : sides) {
    for (const char direct : directs) {
      for (const Int length : {6, crossover + 40}) {
        Batch<T> through(this->random, side, direct, 23, length, 5), beside = through;
        through.run(layer::lasr3);
        beside.run(x_variant::lasr3);
        EXPECT_TRUE(through.A.same_as(beside.A)) << through.text();
      }
    }
  }
}

}  // namespace
}  // namespace nuv::test
