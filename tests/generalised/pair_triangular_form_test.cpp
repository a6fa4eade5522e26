// Reduction of a pair of matrices to triangles: ggsvp.

#include "generalised/pair_calls.hpp"
#include "support/argument_checks.hpp"

namespace nuv::test {
namespace {

template <class T>
class PairTriangularForm : public ReportingTest {
 protected:
  Random random{811};
};
TYPED_TEST_SUITE(PairTriangularForm, Precisions, PrecisionLetter);

template <Scalar T>
GgsvpCall<T> reduced(const char* jobs, const GuardedMatrix<T>& A, const GuardedMatrix<T>& B) {
  // Well above what rounding leaves of zeros.
  GgsvpCall<T> call(jobs, A, B, 10 * usual_tolerance(A), 10 * usual_tolerance(B));
  EXPECT_EQ(call.run(), 0);
  return call;
}

/// Zeros but in an upper triangle of so many columns, the last but `behind`, that begins in that row and has as many
/// rows as columns, or as there are.
template <Scalar T>
void expect_zeros_in_row(const GuardedMatrix<T>& A, Int i, Int first_column) {
  for (Int j = 1; j < first_column; ++j) EXPECT_TRUE(same_bits(A(i, j), T(0))) << i << ", " << j;
}

/// The triangles have the zeros that they should have, and diagonals that are real and above the tolerances.
template <Scalar T>
void expect_triangles(const GgsvpCall<T>& call) {
  const auto [m, p, n, k, l] = call.shape();
  for (Int i = 1; i <= m; ++i) expect_zeros_in_row(call.A, i, i <= k + l ? n - l - k + i : n + 1);
  for (Int i = 1; i <= p; ++i) expect_zeros_in_row(call.B, i, i <= l ? n - l + i : n + 1);
  for (Int i = 1; i <= std::min(m, k + l); ++i) EXPECT_EQ(std::imag(call.A(i, n - l - k + i)), 0) << i;
  for (Int i = 1; i <= l; ++i) EXPECT_EQ(std::imag(call.B(i, n - l + i)), 0) << i;
  for (Int i = 1; i <= k; ++i) EXPECT_GT(std::abs(call.A(i, n - l - k + i)), call.tola) << i;
  for (Int i = 1; i <= l; ++i) EXPECT_GT(std::abs(call.B(i, n - l + i)), call.tolb) << i;
}

template <Scalar T>
void expect_reduced(Random& random, const PairShape& shape) {
  SCOPED_TRACE(shape.text());
  const KnownPair<T> pair(random, shape);
  const GgsvpCall<T> call = reduced("UVQ", pair.A, pair.B);
  ASSERT_EQ(call.shape().text(), shape.text());
  expect_triangles(call);
  expect_forms<T>(call, pair.A, pair.B, wide(call.A), wide(call.B));
}

TYPED_TEST(PairTriangularForm, OfAllSmallShapesAndRanks) {
  for (const Int m : {0, 1, 3, 4, 6}) {
    for (const Int p : {0, 1, 3, 4, 6}) {
      for (const Int n : {0, 1, 2, 4}) {
        for (const PairShape& shape : shapes_of(m, p, n)) expect_reduced<TypeParam>(this->random, shape);
      }
    }
  }
}

TYPED_TEST(PairTriangularForm, OfLargerMatrices) {
  for (const PairShape& shape : std::initializer_list<PairShape>{
           {40, 35, 30, 0, 30}, {40, 35, 30, 12, 9}, {20, 35, 30, 3, 27}, {50, 10, 30, 20, 10}, {12, 9, 30, 12, 9}}) {
    expect_reduced<TypeParam>(this->random, shape);
  }
}

/// With each choice of matrices the same bits come out, in any case of the letters.
TYPED_TEST(PairTriangularForm, IsTheSameWhateverIsWanted) {
  using T = TypeParam;
  for (const PairShape& shape : std::initializer_list<PairShape>{{5, 4, 6, 2, 3}, {3, 6, 5, 1, 4}, {6, 2, 4, 2, 2}}) {
    SCOPED_TRACE(shape.text());
    const KnownPair<T> pair(this->random, shape);
    const GgsvpCall<T> all = reduced("UVQ", pair.A, pair.B);
    for (const char* jobs : wanted_vectors) {
      SCOPED_TRACE(jobs);
      const GgsvpCall<T> some = reduced(jobs, pair.A, pair.B);
      EXPECT_TRUE(some.k == all.k && some.l == all.l);
      EXPECT_TRUE(some.A.same_as(all.A));
      EXPECT_TRUE(some.B.same_as(all.B));
      expect_same_vectors<T>(some, all);
    }
  }
}

/// Elements at the tolerance count as zero, those above it do not.
TYPED_TEST(PairTriangularForm, TakesRanksFromItsTolerances) {
  using T = TypeParam;
  using R = Real<T>;
  GuardedMatrix<T> A(3, 4, 3), B(2, 4, 2);
  for (Int j = 1; j <= 4; ++j) {
    for (Int i = 1; i <= 3; ++i) A(i, j) = T(i == j ? std::ldexp(R(1), -2 * Int(i)) : R(0));
    for (Int i = 1; i <= 2; ++i) B(i, j) = T(0);
  }
  B(1, 4) = T(8);
  B(2, 3) = T(2);
  A.seal();
  B.seal();
  const auto expect_ranks = [&](R tola, R tolb, Int k, Int l) {
    GgsvpCall<T> call("UVQ", A, B, tola, tolb);
    EXPECT_EQ(call.run(), 0);
    EXPECT_EQ(call.k, k) << tola << ", " << tolb;
    EXPECT_EQ(call.l, l) << tola << ", " << tolb;
    EXPECT_LT(unitarity<T>(wide(call.U)), pair_threshold);
    EXPECT_LT(unitarity<T>(wide(call.V)), pair_threshold);
    EXPECT_LT(unitarity<T>(wide(call.Q)), pair_threshold);
  };
  const R below = std::nextafter(R(2), R(0));
  expect_ranks(0, 0, 2, 2);  // column 3 belongs to B
  expect_ranks(0, below, 2, 2);
  expect_ranks(0, 2, 3, 1);
  expect_ranks(0, 8, 3, 0);
  expect_ranks(R(1) / 64, 8, 2, 0);
  expect_ranks(R(1) / 16, 8, 1, 0);
  expect_ranks(R(1) / 4, 8, 0, 0);
  expect_ranks(R(1) / 16, 0, 1, 2);
}

/// A valid call for matrices of 4 and 3 rows and 5 columns.
template <Scalar T>
struct ValidGgsvp : GgsvpCall<T> {
  ValidGgsvp() : GgsvpCall<T>("UVQ", matrix_of_five_columns<T>(4, 7), matrix_of_five_columns<T>(3, 4), 0, 0) {}
};

TYPED_TEST(PairTriangularForm, ChecksItsArguments) {
  using T = TypeParam;
  using C = ValidGgsvp<T>;
  const std::string name = reported_name<T>("GGSVP");
  expect_argument_checks<C>(name, {{1, [](C& c) { c.jobu = 'I'; }},
                                   {2, [](C& c) { c.jobv = 'U'; }},
                                   {3, [](C& c) { c.jobq = 'V'; }},
                                   {4, [](C& c) { c.m = -1; }},
                                   {5, [](C& c) { c.p = -1; }},
                                   {6, [](C& c) { c.n = -1; }},
                                   {8, [](C& c) { c.lda = 3; }},
                                   {10, [](C& c) { c.ldb = 2; }},
                                   {16, [](C& c) { c.ldu = 3; }},
                                   {18, [](C& c) { c.ldv = 2; }},
                                   {20, [](C& c) { c.ldq = 4; }}});
  expect_room_for_vectors<C>(name, 16, 18, 20);
  for (const int position : {8, 10}) {
    C call;
    (position == 8 ? call.m : call.p) = 0;
    (position == 8 ? call.lda : call.ldb) = 0;
    expect_report(call, name, position);
  }
}

}  // namespace
}  // namespace nuv::test
