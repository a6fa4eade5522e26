// The order of work in packed storage, seen by the calls that reach the thread layer.

#include <algorithm>

#include "layer.hpp"
#include "routines.hpp"
#include "solvers/definite.hpp"
#include "solvers/recording_layer.hpp"
#include "support/packed.hpp"
#include "support/reported_errors.hpp"
#include "x_variants.hpp"

namespace nuv::test {
namespace {

using Calls = std::vector<std::string>;

template <class T>
class PackedOrder : public ReportingTest {
 protected:
  static constexpr char transposed = ComplexScalar<T> ? 'C' : 'T';
  static constexpr bool is_single = std::same_as<Real<T>, float>;

  /// Notes a call as the recording layer does: not at all if there is nothing to do.
  void expect(const std::string& routine_and_options, std::initializer_list<Int> sizes) {
    if (std::ranges::count(sizes, 0) > 0) return;
    std::string text = routine_and_options;
    for (const Int size : sizes) text += ' ' + std::to_string(size);
    expected.push_back(text);
  }

  Calls take_expected() { return std::exchange(expected, {}); }

  /// The blocks of a sweep over n columns.
  void expect_sweep(char uplo, char trans, Int n, Int nb, Int nrhs) {
    const bool upper = uplo == 'U', forward = upper == (trans != 'N');
    const Int blocks = (n + nb - 1) / nb;
    for (Int step = 0; step < blocks; ++step) {
      const Int done = (forward ? step : blocks - 1 - step) * nb, jb = std::min(nb, n - done);
      const Int others = upper ? done : n - done - jb;
      if (trans != 'N') expect(std::string("gemm ") + trans + 'N', {jb, nrhs, others});
      expect(std::string("trsm L") + uplo + trans + 'N', {jb, nrhs});
      if (trans == 'N') expect("gemm NN", {others, nrhs, jb});
    }
  }

  GuardedVector<T> definite(char uplo, Int n) { return packed(is_upper(uplo), random_definite<T>(random, uplo, n)); }

  Calls calls_of_factorisation(char uplo, Int n, GuardedVector<T>& ap) {
    take_recorded_calls();
    Int info = 99;
    x_variant::pptrf(uplo, n, ap.data(), info);
    return take_recorded_calls();
  }

  Random random{81};
  Calls expected;
};
TYPED_TEST_SUITE(PackedOrder, Precisions, PrecisionLetter);

TYPED_TEST(PackedOrder, FactorsEachBlockFromAllBeforeIt) {
  using T = TypeParam;
  constexpr Int nb = TestFixture::is_single ? 128 : 64;
  const std::string t(1, this->transposed), square = ComplexScalar<T> ? "herk " : "syrk ";
  for (const Int n : {50, 51, nb, nb + 1, 3 * nb + 7}) {
    for (const char uplo : uplos) {
      // With a bad minor the work ends in its block.
      for (const Int bad : {0, nb + 5}) {
        if (bad > n) continue;
        SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", bad minor " << bad);
        for (Int done = 0; n > 50 && done < n; done += nb) {
          const Int jb = std::min(nb, n - done);
          this->expect(square + (is_upper(uplo) ? "U" + t : "LN"), {jb, done});
          if (bad > done && bad <= done + jb) break;
          for (Int k = done + jb; k < n; k += nb) {
            const Int kb = std::min(nb, n - k);
            if (is_upper(uplo)) {
              this->expect("gemm " + t + "N", {jb, kb, done});
              this->expect("trsm LU" + t + "N", {jb, kb});
            } else {
              this->expect("gemm N" + t, {kb, jb, done});
              this->expect("trsm RL" + t + "N", {kb, jb});
            }
          }
        }
        GuardedVector<T> ap = this->definite(uplo, n);
        for_each_packed(is_upper(uplo), n, [&](Int i, Int j, Int k) {
          if (i == bad && j == bad) ap(k) = T(-1);
        });
        EXPECT_EQ(this->calls_of_factorisation(uplo, n, ap), this->take_expected());
      }
    }
  }
}

TYPED_TEST(PackedOrder, SolvesForFewRightHandSidesOneByOneAndForManyByBlocks) {
  using T = TypeParam;
  struct Case {
    Int n, nrhs, nb;
  };
  for (const auto& [n, nrhs, nb] : {Case{300, 5, 0},
                                    {500, 6, 0},
                                    {500, 11, 0},
                                    {501, 11, 16},
                                    {50, 12, 0},
                                    {51, 12, 51},
                                    {70, 12, 16},
                                    {135, 20, 20},
                                    {135, 100, 64}}) {
    for (const char uplo : uplos) {
      SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", right-hand sides " << nrhs);
      const GuardedVector<T> ap = this->definite(uplo, n);
      GuardedMatrix<T> B = random_matrix<T>(this->random, n, nrhs, n);
      for (const char trans : {is_upper(uplo) ? this->transposed : 'N', is_upper(uplo) ? 'N' : this->transposed}) {
        if (nb > 0) this->expect_sweep(uplo, trans, n, nb, nrhs);
      }
      Int info = 99;
      take_recorded_calls();
      x_variant::pptrs(uplo, n, nrhs, ap.data(), Matrix<T>(B), info);
      EXPECT_EQ(take_recorded_calls(), this->take_expected());
    }
  }
}

TYPED_TEST(PackedOrder, SolvesWithATriangleInWideBlocks) {
  using T = TypeParam;
  constexpr Int nb = TestFixture::is_single ? 512 : 256;
  for (const auto& [n, nrhs] : {std::pair<Int, Int>{50, 12}, {51, 12}, {nb + 9, 12}, {90, 11}}) {
    for (const char uplo : uplos) {
      const GuardedVector<T> ap = this->definite(uplo, n);
      GuardedMatrix<T> B = random_matrix<T>(this->random, n, nrhs, n);
      for (const char trans : {'N', 'T', 'C'}) {
        if (n > 50 && nrhs == 12) this->expect_sweep(uplo, trans, n, std::min(n, nb), nrhs);
        Int info = 99;
        take_recorded_calls();
        x_variant::tptrs(uplo, trans, 'N', n, nrhs, ap.data(), Matrix<T>(B), info);
        EXPECT_EQ(take_recorded_calls(), this->take_expected()) << uplo << trans << ", order " << n;
      }
    }
  }
}

TYPED_TEST(PackedOrder, GoesThroughTheLayerInTheDriver) {
  using T = TypeParam;
  GuardedVector<T> ap = this->definite('L', 8), bad = ap;
  GuardedMatrix<T> B = random_matrix<T>(this->random, 8, 2, 8);
  Int info = 99;
  take_recorded_calls();
  routine_call::ppsv('l', 8, 2, ap.data(), B, info);
  EXPECT_EQ(take_recorded_calls(), (Calls{"pptrf L 8", "pptrs L 8 2"}));

  bad(1) = T(-1);
  routine_call::ppsv('L', 8, 2, bad.data(), B, info);
  EXPECT_EQ(info, 1);
  EXPECT_EQ(take_recorded_calls(), Calls{"pptrf L 8"});
}

}  // namespace
}  // namespace nuv::test
