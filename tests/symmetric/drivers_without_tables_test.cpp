// The drivers that iterate where there is no memory for tables of rotations: these are then in the workspace, beside
// what the drivers have there.

#include "support/malloc_requests.hpp"
#include "support/reported_errors.hpp"
#include "symmetric/generalised_forms.hpp"

namespace nuv::test {
namespace {

using Answer = MallocRequests::Answer;

constexpr Int n = 17;

/// Runs a driver, drive(problem, room, x), with and without tables, in copies of all that it is given. Expects the same
/// pairs, up to the roundings of the 1.7 n sweeps or so that each column goes through.
template <class Form, Scalar T, class Drive>
void expect_same(const Form& problem, const Workspaces<T>& workspaces, Drive drive) {
  SCOPED_TRACE(Form::name);
  const auto solved = [&](Answer answer) {
    Form copy = problem;
    Workspaces<T> room = workspaces;
    Solution<T> x(n, n);
    {
      const MallocRequests requests(answer);
      drive(copy, room, x);
      EXPECT_GT(requests.count(), 0);
    }
    room.expect_guards();
    EXPECT_EQ(x.info, 0);
    EXPECT_EQ(x.m, n);
    return x;
  };
  const Solution<T> with = solved(Answer::granted), without = solved(Answer::refused);
  EXPECT_TRUE(without.w.same_as(with.w));
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) EXPECT_NEAR(std::abs(without.Z(i, j) - with.Z(i, j)), 0, 6 * n * epsilon<T>);
  }
}

template <class T>
class DriversWithoutTables : public ReportingTest {
 protected:
  template <template <class> class Form>
  void expect_same_of_one() {
    for (const char uplo : uplos) {
      const Form<T> A(uplo, 4, random_band<T>(random, uplo, n, 4));
      expect_same(A, A.for_iteration(), [](auto& a, auto& room, auto& x) { a.iterate('V', room, x); });
      expect_same(A, A.for_selection(), [](auto& a, auto& room, auto& x) { a.select('V', {}, room, x); });
    }
  }

  template <template <class> class Form>
  void expect_same_of_pairs() {
    for (const char uplo : uplos) {
      const Form<T> pair(PairOfMatrices<T>{1, uplo, 4, 2, random_band<T>(random, uplo, n, 4),
                                           random_definite_band<T>(random, uplo, n, 2)});
      expect_same(pair, pair.for_iteration(),
                  [](auto& p, auto& room, auto& x) { p.iterate('V', room, room.work.size(), x); });
      expect_same(pair, pair.for_selection(),
                  [](auto& p, auto& room, auto& x) { p.select('V', {}, room, room.work.size(), x); });
    }
  }

  Random random{33};
};
TYPED_TEST_SUITE(DriversWithoutTables, Precisions, PrecisionLetter);

TYPED_TEST(DriversWithoutTables, SolveForOneMatrix) {
  this->template expect_same_of_one<PackedForm>();
  this->template expect_same_of_one<BandForm>();
}

TYPED_TEST(DriversWithoutTables, SolveForPairs) {
  this->template expect_same_of_pairs<FullPairForm>();
  this->template expect_same_of_pairs<PackedPairForm>();
  this->template expect_same_of_pairs<BandPairForm>();
}

}  // namespace
}  // namespace nuv::test
