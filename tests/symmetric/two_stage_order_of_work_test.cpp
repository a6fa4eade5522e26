// The order of work in the reduction by way of a band, seen by the calls that reach the thread layer.

#include <algorithm>

#include "routines.hpp"
#include "solvers/recording_layer.hpp"
#include "support/options.hpp"
#include "support/random.hpp"
#include "symmetric/tridiagonal_form.hpp"

namespace nuv::test {
namespace {

using Calls = std::vector<std::string>;

template <class T>
class TwoStageOrder : public testing::Test {
 protected:
  Random random{91};
};
TYPED_TEST_SUITE(TwoStageOrder, Precisions, PrecisionLetter);

/// The recorded calls of some routines.
Calls recorded(std::initializer_list<std::string> routines) {
  Calls calls;
  for (const std::string& call : take_recorded_calls()) {
    const std::string routine = call.substr(0, call.find(' '));
    if (std::find(routines.begin(), routines.end(), routine) != routines.end()) calls.push_back(call);
  }
  return calls;
}

std::string text(const std::string& routine, const std::string& options, std::initializer_list<Int> sizes) {
  std::string call = routine + (options.empty() ? "" : " " + options);
  for (const Int size : sizes) call += ' ' + std::to_string(size);
  return call;
}

template <Scalar T>
void reduce(Random& random, char jobz, char uplo, Int n, Int kd, Int lwork) {
  GuardedMatrix<T> A = random_matrix<T>(random, n, n, n), Z = A;
  TridiagonalForm<T> form(n);
  GuardedVector<T> tau(n), work(lwork);
  Int info = 99;
  take_recorded_calls();
  routine_call::syrdb(jobz, uplo, n, kd, A, form.d.data(), form.e.data(), tau.data(), Z, work.data(), lwork, info);
  EXPECT_EQ(info, 0);
}

/// The products that each panel of kb columns leads to, until the band's last column but one is reduced.
template <Scalar T>
Calls expected_products(char uplo, Int n, Int kd, Int kb) {
  const std::string symm = ComplexScalar<T> ? "hemm" : "symm", rank_2k = ComplexScalar<T> ? "her2k" : "syr2k";
  Calls calls;
  for (Int m = n - kd; m > 1; m -= kb) {
    calls.push_back(text(symm, {'L', uplo}, {m, kb}));
    calls.push_back(text(rank_2k, {uplo, 'N'}, {m, kb}));
  }
  return calls;
}

struct Sizes {
  Int n, kd;
};

TYPED_TEST(TwoStageOrder, PanelsAreAsWideAsTheWorkspaceAllows) {
  using T = TypeParam;
  for (const auto& [n, kd] : {Sizes{40, 6}, {41, 6}, {42, 6}, {9, 8}, {9, 7}, {9, 1}, {30, 29}, {30, 13}}) {
    for (const char uplo : uplos) {
      const Int best = (3 * kd + 3) * n, least = (2 * kd + 1) * n + kd;
      for (const Int lwork : {best + 5, best, best - 1, (best + least) / 2, least}) {
        SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", width " << kd << ", workspace " << lwork);
        const Int kb = lwork < best ? std::max(lwork / n / 3 - 1, 1) : kd;
        reduce<T>(this->random, 'N', uplo, n, kd, lwork);
        EXPECT_EQ(recorded({"symm", "hemm", "syr2k", "her2k"}), expected_products<T>(uplo, n, kd, kb));
      }
    }
  }
}

TYPED_TEST(TwoStageOrder, ReflectorsOfTheBandWaitForAWholeGroup) {
  using T = TypeParam;
  for (const auto& [n, kd] : {Sizes{40, 6}, {44, 7}, {3, 2}, {4, 2}, {5, 2}, {9, 20}, {9, 1}, {2, 2}}) {
    GuardedMatrix<T> ab = random_matrix<T>(this->random, 2 * kd, n, 2 * kd), Q(n, n, n);
    TridiagonalForm<T> form(n);
    GuardedVector<T> work((kd + 2) * n);
    const auto calls_with = [&](char vect, Int lwork) {
      Int info = 99;
      take_recorded_calls();
      routine_call::sbrdb(vect, 'L', n, kd, ab, form.d.data(), form.e.data(), Q, work.data(), lwork, info);
      return recorded({"laeh2"});
    };
    Calls groups;
    for (Int done = 0; kd > 1 && done < n - 2; done += kd) groups.push_back(text("laeh2", "", {n, n - done - 1, kd}));
    EXPECT_EQ(calls_with('V', (kd + 2) * n), groups) << "order " << n << ", width " << kd;
    EXPECT_EQ(calls_with('U', (kd + 2) * n), groups);
    for (const Int lwork : {n, (kd + 2) * n - 1}) EXPECT_EQ(calls_with('V', lwork), Calls());
    EXPECT_EQ(calls_with('N', (kd + 2) * n), Calls());
  }
}

TYPED_TEST(TwoStageOrder, WorkspaceBehindTheBandDecidesWhetherReflectorsWait) {
  using T = TypeParam;
  const Int n = 30, kd = 4, best = (3 * kd + 3) * n;
  for (const char jobz : {'V', 'U'}) {
    reduce<T>(this->random, jobz, 'L', n, kd, best);
    EXPECT_EQ(recorded({"laeh2"}).size(), 7u);
    reduce<T>(this->random, jobz, 'L', n, kd, best - 1);
    EXPECT_EQ(recorded({"laeh2"}).size(), 0u);
  }
}

}  // namespace
}  // namespace nuv::test
