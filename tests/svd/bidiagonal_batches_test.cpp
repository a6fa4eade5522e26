// How the rotations of ?bdsqr reach the matrices, seen by the calls that reach the thread layer.

#include <sstream>

#include "solvers/recording_layer.hpp"
#include "support/random.hpp"
#include "svd/bidiagonal_iteration.hpp"
#include "svd/sweep_table.hpp"

namespace nuv::test {
namespace {

/// A call of lasr3: the lines that are turned, their length, and the sweeps.
struct Batch {
  std::string options;
  Int lines, length, sweeps;

  bool operator==(const Batch&) const = default;
};

template <class T>
class BidiagonalBatches : public testing::Test {
 protected:
  using R = Real<T>;

  static constexpr Int reals = ComplexScalar<T> ? 2 : 1;

  static void SetUpTestSuite() {
    for (const Answer answer : answers) Iteration<T>::of_all('U', Bidiagonal<R>{{1, 2, 3}, {1, 1}}).run(answer);
  }

  static Bidiagonal<R> random_bidiagonal(Int n) { return described_bidiagonals<R>(n).front().matrix; }

  /// With matrices of ones, since nobody looks at what becomes of them.
  static std::vector<Batch> batches(const Bidiagonal<R>& matrix, Int ncvt, Int nru, Int ncc,
                                    Answer answer = Answer::granted) {
    const Int n = matrix.order();
    const auto ones = [](Int rows, Int columns) {
      GuardedMatrix<T> A(rows, columns, std::max(1, rows));
      for (Int j = 1; j <= columns; ++j) std::fill_n(&A(1, j), rows, T(1));
      return A;
    };
    take_recorded_calls();
    EXPECT_EQ(Iteration<T>('U', matrix, ones(n, ncvt), ones(nru, n), ones(n, ncc)).run(answer).info, 0);
    return taken();
  }

 private:
  static std::vector<Batch> taken() {
    std::vector<Batch> batches;
    for (const std::string& call : take_recorded_calls()) {
      std::istringstream words(call);
      std::string routine;
      Batch batch{};
      Int rows = 0, columns = 0;
      words >> routine >> batch.options >> rows >> columns >> batch.sweeps;
      if (routine != "lasr3") continue;
      const bool from_left = batch.options[0] == 'L';
      batch.lines = from_left ? rows : columns;
      batch.length = from_left ? columns : rows;
      batches.push_back(batch);
    }
    return batches;
  }
};
TYPED_TEST_SUITE(BidiagonalBatches, Precisions, PrecisionLetter);

Int most_sweeps(const std::vector<Batch>& batches) {
  Int most = 0;
  for (const Batch& batch : batches) most = std::max(most, batch.sweeps);
  return most;
}

/// The table grows behind order 210, counted in real numbers.
TYPED_TEST(BidiagonalBatches, AreFullUnlessSomethingHasToWaitForThem) {
  constexpr Int last_small = 210 / this->reals;
  const auto small = this->batches(this->random_bidiagonal(last_small), 0, 1, 0);
  const auto large = this->batches(this->random_bidiagonal(last_small + 1), 0, 1, 0);
  EXPECT_EQ(most_sweeps(small), 4);
  EXPECT_GT(most_sweeps(large), 4);
  EXPECT_LE(most_sweeps(large), 100);
  const auto full = std::count_if(small.begin(), small.end(), [](const Batch& batch) { return batch.sweeps == 4; });
  EXPECT_GT(full, std::ptrdiff_t(small.size()) / 4);
}

/// Good shifts take about two sweeps for each value.
TYPED_TEST(BidiagonalBatches, AreFewSweepsForEachValue) {
  using R = typename TestFixture::R;
  const Int n = 60;
  for (const auto& [name, has_clusters, matrix] : described_bidiagonals<R>(n)) {
    Int sweeps = 0;
    for (const Batch& batch : this->batches(matrix, 0, 1, 0)) sweeps += batch.sweeps;
    EXPECT_LE(sweeps, 5 * n / 2) << name;
  }
}

/// Square matrices have their rows turned as columns. To rotations a complex column is a real one, of twice the length.
TYPED_TEST(BidiagonalBatches, GoToColumnsWhereAMatrixIsSquare) {
  const Int n = 30;
  const auto batches = this->batches(this->random_bidiagonal(n), n, 3, n);
  ASSERT_GT(batches.size(), 0u);
  ASSERT_EQ(batches.size() % 3, 0u);
  for (std::size_t i = 0; i < batches.size(); i += 3) {
    EXPECT_EQ(batches[i].length, this->reals * n);
    EXPECT_EQ(batches[i + 1].length, this->reals * 3);
    EXPECT_EQ(batches[i + 2], batches[i]);
    EXPECT_EQ(batches[i].options[0], 'R');
    EXPECT_EQ(batches[i].options, batches[i + 1].options);
    EXPECT_EQ(batches[i].lines, batches[i + 1].lines);
    EXPECT_EQ(batches[i].sweeps, batches[i + 1].sweeps);
  }
}

/// Rows of a real matrix are turned together from the left. Those of complex ones are turned sweep by sweep.
TYPED_TEST(BidiagonalBatches, GoToRowsOfRealMatrices) {
  using T = TypeParam;
  const auto batches = this->batches(this->random_bidiagonal(30), 7, 3, 5);
  Int from_left = 0, from_right = 0;
  for (const Batch& batch : batches) (batch.options[0] == 'L' ? from_left : from_right) += 1;
  EXPECT_GT(from_right, 0);
  EXPECT_EQ(from_left, ComplexScalar<T> ? 0 : 2 * from_right);
  for (std::size_t i = 0; RealScalar<T> && i + 2 < batches.size(); i += 3) {
    EXPECT_EQ(batches[i].length, 7);
    EXPECT_EQ(batches[i + 1].length, 3);
    EXPECT_EQ(batches[i + 2].length, 5);
  }
}

TYPED_TEST(BidiagonalBatches, AreNoneWithoutMemory) {
  EXPECT_TRUE(this->batches(this->random_bidiagonal(30), 30, 3, 5, Answer::refused).empty());
}

/// Sweeps go from the large end of a block to the small one, in one direction for as long as the block is the same.
TYPED_TEST(BidiagonalBatches, BeginAtTheLargeEnd) {
  using R = typename TestFixture::R;
  // The first block, at the end of the matrix, grows upwards, the other one downwards.
  const Bidiagonal<R> matrix{{1, 2, 4, 8, 9, 8, 4, 2, 1}, {0.5, 1, 2, 0, 4, 2, 1, 0.5}};
  const auto batches = this->batches(matrix, 0, 2, 0);
  ASSERT_GT(batches.size(), 1u);
  EXPECT_EQ(batches.front(), (Batch{"RVF", 5, this->reals * 2, batches.front().sweeps}));
  EXPECT_EQ(batches.back().options, "RVB");
  EXPECT_LE(batches.back().lines, 4);
}

/// Blocks whose elements above the diagonal all vanish in one sweep, so that no pair of rows is left to be turned
/// alone: the sweep of the one waits when that of the other comes.
TYPED_TEST(BidiagonalBatches, ComeToTheirEndBeforeTheDirectionChanges) {
  using R = typename TestFixture::R;
  const R tol = R(Iteration<TypeParam>::tolerance()), e1 = 3 * tol, e2 = tol / 100;
  const Bidiagonal<R> matrix{{R(1e-5), R(1e-3), 1, 1, R(1e-3), R(1e-5)}, {e2, e1, 0, e1, e2}};
  const auto batches = this->batches(matrix, 0, 2, 0);
  const Int length = this->reals * 2;
  EXPECT_EQ(batches, (std::vector<Batch>{{"RVF", 3, length, 1}, {"RVB", 3, length, 1}}));
}

/// Whatever planes its sweeps turn, all of them cover the same ones.
TEST(SweepTable, MakesUpSweepsByIdentities) {
  constexpr Int planes = 7, most = 3;
  double memory[4 * most * planes];
  std::fill(std::begin(memory), std::end(memory), 9.0);
  SweepTable<double, 2> table(memory, planes, most);
  const std::pair<Int, Int> sweeps[] = {{3, 5}, {1, 4}, {2, 7}};  // the first plane, and the one behind the last
  for (const auto& [first, end] : sweeps) {
    EXPECT_FALSE(table.is_full());
    for (const int kind : {0, 1}) {
      for (Int i = 0; i < end - first; ++i) {
        double* const cosine = table.next(first, kind) + i;
        cosine[0] = 10 * first + i + kind;
        cosine[planes] = -cosine[0];
      }
    }
    table.add(first, end);
  }
  EXPECT_TRUE(table.is_full());
  EXPECT_EQ(table.first(), 1);
  EXPECT_EQ(table.lines(), 7);
  for (const int kind : {0, 1}) {
    const Matrix<const double> rotations = table.rotations(kind);
    for (Int s = 1; s <= most; ++s) {
      const auto [first, end] = sweeps[s - 1];
      for (Int p = 1; p < 7; ++p) {
        const bool is_turned = first <= p && p < end;
        const double cosine = is_turned ? 10 * first + (p - first) + kind : 1;
        EXPECT_EQ(rotations(p, 2 * s - 1), cosine) << s << ' ' << p;
        EXPECT_EQ(rotations(p, 2 * s), is_turned ? -cosine : 0) << s << ' ' << p;
      }
      EXPECT_EQ(rotations(7, 2 * s), 9.0);
    }
  }
  table.clear();
  EXPECT_TRUE(table.is_empty());
}

}  // namespace
}  // namespace nuv::test
