// The order of work in the reduction of pairs of matrices, seen by the calls that reach the thread layer.

#include <algorithm>

#include "environment/hermitian.hpp"
#include "routines.hpp"
#include "solvers/recording_layer.hpp"
#include "support/reported_errors.hpp"
#include "symmetric/generalised_cases.hpp"

namespace nuv::test {
namespace {

using Calls = std::vector<std::string>;

constexpr Int nb = 64;

template <class T>
class GeneralisedReductionOrder : public ReportingTest {
 protected:
  static std::string text(std::initializer_list<std::string> options, std::initializer_list<Int> sizes) {
    std::string result;
    for (const std::string& option : options) result += option;
    for (const Int size : sizes) result += ' ' + std::to_string(size);
    return result;
  }

  /// What a block of kb rows (upper) or columns asks for that has `others` columns or rows beyond the diagonal block,
  /// with the factor of that block near to it and that of the others far off.
  void expect_block(char uplo, bool by_inverse, Int kb, Int others) {
    const bool rows = is_upper(uplo) == by_inverse;
    const std::string near = rows ? "L" : "R", far = rows ? "R" : "L", triangle(1, uplo), letter(1, adjoint<T>);
    const Int m = rows ? kb : others, n = rows ? others : kb;
    const std::string half =
        text({ComplexScalar<T> ? "hemm " : "symm ", near, triangle}, {m, n}) + (by_inverse ? ", -0.5, 1" : ", 0.5, 1");
    const std::string update =
        text({ComplexScalar<T> ? "her2k " : "syr2k ", triangle, rows ? letter : "N"}, {others, kb});
    if (by_inverse) {
      const std::string first = text({"trsm ", near, triangle, letter, "N"}, {m, n}),
                        last = text({"trsm ", far, triangle, "NN"}, {m, n});
      calls.insert(calls.end(), {first, half, update, half, last});
    } else {
      const std::string first = text({"trmm ", far, triangle, "NN"}, {m, n}) + ", 1",
                        last = text({"trmm ", near, triangle, letter, "N"}, {m, n}) + ", 1";
      calls.insert(calls.end(), {first, half, update, half, last});
    }
  }

  Random random{57};
  Calls calls;
};
TYPED_TEST_SUITE(GeneralisedReductionOrder, Precisions, PrecisionLetter);

TYPED_TEST(GeneralisedReductionOrder, HalvesTheTermsOfDiagonalBlocks) {
  using T = TypeParam;
  for (const Int n : {1, nb, nb + 2, 2 * nb, 3 * nb + 7}) {
    for (const char uplo : uplos) {
      for (const Int itype : {1, 2, 3}) {
        this->calls.clear();
        if (n > nb) {
          for (Int k = 0; k < n; k += nb) {
            const Int kb = std::min(nb, n - k), others = itype == 1 ? n - k - kb : k;
            if (others > 0) this->expect_block(uplo, itype == 1, kb, others);
          }
        }
        GuardedMatrix<T> A = random_symmetric<T>(this->random, uplo, n);
        const GuardedMatrix<T> factor = random_factor<T>(this->random, uplo, n);
        Int info = 99;
        take_recorded_calls();
        routine_call::sygst(itype, uplo, n, A, factor, info);
        Calls made = take_recorded_calls_with_factors();
        // Rows of a complex block are taken one by one as products of adjoints.
        std::erase_if(made, [](const std::string& call) { return call.starts_with("her2k") && call.ends_with(" 1"); });
        EXPECT_EQ(made, this->calls) << uplo << ", type " << itype << ", order " << n;
      }
    }
  }
}

/// The workspace that sygv asks for is one for the reduction in one stage; where it is given that of syev, a matrix of
/// this order goes the way of a band.
TEST(GeneralisedDriver, TakesTheStagesThatItsWorkspaceIsFor) {
  constexpr Int n = 1100;
  Random random(91);
  const GuardedMatrix<double> A = random_symmetric<double>(random, 'L', n);
  const GuardedMatrix<double> B = random_definite_band<double>(random, 'L', n, 3);
  const auto run = [&](bool for_bands, GuardedVector<double>& w) {
    GuardedMatrix<double> a = A, b = B;
    double best = 0;
    Int info = 99;
    if (for_bands) routine_call::syev('N', 'L', n, a, w.data(), &best, Int{-1}, info);
    else routine_call::sygv(1, 'N', 'L', n, a, b, w.data(), &best, Int{-1}, info);
    GuardedVector<double> work{Int(best)};
    take_recorded_calls();
    routine_call::sygv(1, 'N', 'L', n, a, b, w.data(), work.data(), work.size(), info);
    EXPECT_EQ(info, 0);
    EXPECT_TRUE(work.guards_unchanged());
    const Calls calls = take_recorded_calls();
    return std::ranges::count(calls, "sytrd L " + std::to_string(n));
  };
  GuardedVector<double> in_one_stage(n), in_two(n);
  EXPECT_EQ(run(false, in_one_stage), 1);
  EXPECT_EQ(run(true, in_two), 0);
  for (Int i = 1; i <= n; ++i) EXPECT_NEAR(in_one_stage(i), in_two(i), n * epsilon<double> * in_two(n)) << i;
}

}  // namespace
}  // namespace nuv::test
