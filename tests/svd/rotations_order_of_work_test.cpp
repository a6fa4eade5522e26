// The order of work in batched rotations, and in the iteration that collects them, seen by the calls that reach the
// thread layer.

#include "layer.hpp"
#include "routines.hpp"
#include "solvers/recording_layer.hpp"
#include "support/real_precisions.hpp"
#include "support/reported_errors.hpp"
#include "svd/rotation_sweeps.hpp"
#include "symmetric/tridiagonal_matrices.hpp"
#include "symmetric/tridiagonal_problem.hpp"
#include "x_variants.hpp"

namespace nuv::test {
namespace {

using Calls = std::vector<std::string>;

constexpr Int length = 211;

std::string sizes(std::initializer_list<Int> list) {
  std::string text;
  for (const Int size : list) text += ' ' + std::to_string(size);
  return text;
}

/// The products by which tiles reach lines, in the names of those from the right in rising order.
struct Products {
  char side;
  bool rises;

  bool left() const { return side == 'L'; }

  std::string gemm(Int to, Int from, int beta) const {
    return "gemm NN" + (left() ? sizes({to, length, from}) : sizes({length, to, from})) + ", 1, " +
           std::to_string(beta);
  }
  std::string trmm(char uplo, Int order) const {
    const char in_memory = left() == rises ? (uplo == 'U' ? 'L' : 'U') : uplo;
    return std::string("trmm ") + side + in_memory + "NN" + (left() ? sizes({order, length}) : sizes({length, order})) +
           ", 1";
  }

  /// K lines and the next `rest`.
  Calls combine(Int k, Int rest) const { return {gemm(k, k, 0), gemm(k, rest, 1), trmm('U', rest), gemm(rest, k, 1)}; }
  Calls advance(Int k) const { return {trmm('U', k), gemm(k, k, 1), trmm('L', k), gemm(k, k, 1)}; }
};

template <class T>
class OrderOfRotations : public ReportingTest {
 protected:
  Calls calls_of(char side, char direct, Int lines, Int k) {
    const RotationSweeps<T> sweeps(random, lines - 1, k, lines);
    GuardedMatrix<T> A =
        side == 'L' ? random_matrix<T>(random, lines, length, lines) : random_matrix<T>(random, length, lines, length);
    GuardedVector<T> work(4 * k * k + k * length);
    Int info = 0;
    take_recorded_calls();
    x_variant::lasr3(side, 'V', direct, A.rows(), A.columns(), k, sweeps.table(), A, work.data(), 0, info);
    return take_recorded_calls_with_factors();
  }

  Random random{65};
};
TYPED_TEST_SUITE(OrderOfRotations, RealPrecisions, PrecisionLetter);

TYPED_TEST(OrderOfRotations, IsThatOfTilesOnLines) {
  const Int k = 5;
  for (const char side : {'R', 'L'}) {
    for (const char direct : {'F', 'B'}) {
      const Products by{side, direct == 'F'};
      const auto expect = [&](Int lines, std::initializer_list<Calls> expected) {
        Calls all;
        for (const Calls& some : expected) all.insert(all.end(), some.begin(), some.end());
        EXPECT_EQ(this->calls_of(side, direct, lines, k), all) << side << direct << ' ' << lines << " lines";
      };
      expect(2, {{by.gemm(2, 2, 0)}});
      expect(k, {{by.gemm(k, k, 0)}});
      expect(k + 1, {by.combine(k, 1)});
      expect(2 * k, {by.combine(k, k)});
      expect(2 * k + 1, {by.combine(k, k), by.combine(k, 1)});
      expect(3 * k, {by.combine(k, k), by.combine(k, k)});
      expect(3 * k + 1, {by.combine(k, k), by.advance(k), by.combine(k, 1)});
      expect(5 * k + 2, {by.combine(k, k), by.advance(k), by.advance(k), by.advance(k), by.combine(k, 2)});
    }
  }
}

template <class T>
class OrderOfIteration : public ReportingTest {
 protected:
  using R = Real<T>;

  static constexpr Int reals = ComplexScalar<T> ? 2 : 1;

  /// The batches that reach the vectors: direction, first of their sizes the rows as real numbers.
  static Calls batches_of(const Tridiagonal<R>& matrix, char compz, Int& info) {
    const Int n = matrix.order();
    GuardedVector<R> d = guarded(matrix.d), e = guarded(matrix.e), work(std::max(1, 2 * n - 2));
    GuardedMatrix<T> Z = identity<T>(n, n + 1);
    take_recorded_calls();
    routine_call::steqr(compz, n, d.data(), e.data(), Z, work.data(), info);
    Calls batches;
    for (const std::string& call : take_recorded_calls()) {
      if (call.starts_with("lasr3")) batches.push_back(call);
    }
    return batches;
  }

  /// Sweeps in a batch.
  static Int sweeps_of(const std::string& call) { return std::stoi(call.substr(call.rfind(' ') + 1)); }
};
TYPED_TEST_SUITE(OrderOfIteration, Precisions, PrecisionLetter);

/// 4 sweeps up to order 210, and 100 from there on; complex columns count as real ones of twice the length.
TYPED_TEST(OrderOfIteration, FillsItsBatches) {
  using T = TypeParam;
  constexpr Int reals = ComplexScalar<T> ? 2 : 1;
  for (const auto& [n, batch] : {std::pair{210 / reals, 4}, {210 / reals + 1, 100}}) {
    Int info = 99;
    const Calls batches = this->batches_of(one_two_one<Real<T>>(n), 'I', info);
    EXPECT_EQ(info, 0);
    ASSERT_GT(batches.size(), 2u);
    for (std::size_t i = 0; i < batches.size(); ++i) {
      EXPECT_TRUE(batches[i].starts_with("lasr3 RV" + std::string(1, batches[i][8]) + sizes({reals * n})))
          << batches[i];
      EXPECT_LE(this->sweeps_of(batches[i]), batch);
    }
    EXPECT_EQ(this->sweeps_of(batches.front()), batch);
  }
}

TYPED_TEST(OrderOfIteration, AppliesNothingWithoutVectorsOrSweeps) {
  using R = Real<TypeParam>;
  Int info = 99;
  EXPECT_EQ(this->batches_of(random_tridiagonal<R>(20), 'N', info), Calls());
  EXPECT_EQ(this->batches_of({{3, 1, 2}, {0, 0}}, 'I', info), Calls());
  EXPECT_EQ(this->batches_of({{3, 1}, {1}}, 'I', info), Calls());
  EXPECT_EQ(info, 0);
}

/// What is small stands at the end where a block is begun: a matrix that grows is worked off downwards by QL sweeps, in
/// falling order of planes, one that shrinks by QR sweeps. A run ends with what is left of its last batch.
TYPED_TEST(OrderOfIteration, TakesTheDirectionFromTheSmallerEnd) {
  using R = Real<TypeParam>;
  constexpr Int reals = ComplexScalar<TypeParam> ? 2 : 1;
  const Tridiagonal<R> growing{{1, 2, 3, 40}, {1, 1, 1}}, shrinking{{40, 3, 2, 1}, {1, 1, 1}};
  for (const auto& [matrix, letter] : {std::pair{growing, 'B'}, {shrinking, 'F'}}) {
    Int info = 99;
    const Calls batches = this->batches_of(matrix, 'V', info);
    ASSERT_FALSE(batches.empty());
    for (const std::string& batch : batches) {
      EXPECT_TRUE(batch.starts_with("lasr3 RV" + std::string(1, letter) + sizes({4 * reals, 4}))) << batch;
    }
  }
}

/// A failure is told when all sweeps have reached the vectors.
TYPED_TEST(OrderOfIteration, AppliesAllSweepsBeforeItGivesUp) {
  using R = Real<TypeParam>;
  const Int n = 5;
  Int info = 99;
  const Calls batches = this->batches_of({{1, 2, std::numeric_limits<R>::quiet_NaN(), 4, 5}, {1, 1, 1, 1}}, 'I', info);
  EXPECT_EQ(info, 4);
  Int sweeps = 0;
  for (const std::string& batch : batches) sweeps += this->sweeps_of(batch);
  EXPECT_EQ(sweeps, 30 * n);
  EXPECT_EQ(this->sweeps_of(batches.back()), 30 * n % 4);
}

}  // namespace
}  // namespace nuv::test
