// Reordering of generalised Schur forms: ?tgexc, and ?tgex2 for swaps of neighbours.

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>

#include "environment/machine_constants.hpp"
#include "generalised/turned_pencil.hpp"
#include "nonsymmetric/moved_blocks.hpp"
#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"

namespace nuv::test {
namespace {

/// Eigenvalues of a form whose diagonals need not be positive, or real.
template <Scalar T>
std::vector<PencilValue> values_of(const Pencil<T>& form) {
  if constexpr (RealScalar<T>) {
    return values_of_form(form.A, form.B);
  } else {
    std::vector<PencilValue> values;
    for (Int j = 1; j <= form.A.rows(); ++j) {
      const std::complex<double> s(form.A(j, j)), p(form.B(j, j));
      const double size = std::abs(p);
      values.push_back({size == 0 ? s : s * (std::conj(p) / size), size});
    }
    return values;
  }
}

/// Whether A is triangular, or quasi-triangular if it is real, and B triangular.
template <Scalar T>
testing::AssertionResult is_form(const Pencil<T>& form) {
  const auto& [A, B] = form;
  for (Int j = 1; j <= A.columns(); ++j) {
    for (Int i = j + 1; i <= A.rows(); ++i) {
      if (B(i, j) != T(0)) return testing::AssertionFailure() << "B(" << i << ", " << j << ") is " << B(i, j);
      if (A(i, j) == T(0)) continue;
      if (ComplexScalar<T> || i > j + 1) {
        return testing::AssertionFailure() << "A(" << i << ", " << j << ") is " << A(i, j);
      }
      if (j > 1 && A(j, j - 1) != T(0)) return testing::AssertionFailure() << "blocks meet in row " << j;
    }
  }
  return testing::AssertionSuccess();
}

/// A block of order two of B is diagonal with a positive diagonal, the first element the larger one.
template <RealScalar R>
void expect_standard_block(const Pencil<R>& form, Int j) {
  const auto& [A, B] = form;
  if (A(j + 1, j) == 0) return;
  EXPECT_EQ(B(j, j + 1), 0);
  EXPECT_GT(B(j + 1, j + 1), 0);
  EXPECT_GE(B(j, j), B(j + 1, j + 1));
}

template <Scalar T>
struct ReorderedPencil : TurnedPencil<T> {
  using TurnedPencil<T>::TurnedPencil;
  using TurnedPencil<T>::n, TurnedPencil<T>::info, TurnedPencil<T>::form, TurnedPencil<T>::Q, TurnedPencil<T>::Z;

  // The lowest bit of a logical counts alone.
  static Logical flag(bool value) { return value ? 1 : 2; }
  static Matrix<T> view(bool wanted, GuardedMatrix<T>& X) { return {wanted ? X.data() : nullptr, wanted ? X.ld() : 1}; }

  /// n1 and n2 are for real pairs.
  ReorderedPencil& swap(Int j1, Int n1 = 1, Int n2 = 1, bool wantq = true, bool wantz = true) {
    const Matrix<T> a = form.A, b = form.B, q = view(wantq, Q), z = view(wantz, Z);
    if constexpr (RealScalar<T>) {
      const Int lwork = std::max(n * (n1 + n2), 2 * (n1 + n2) * (n1 + n2));
      GuardedVector<T> work(lwork);
      routine_call::tgex2(flag(wantq), flag(wantz), n, a, b, q, z, j1, n1, n2, work.data(), lwork, info);
      EXPECT_TRUE(work.guards_unchanged());
    } else {
      routine_call::tgex2(flag(wantq), flag(wantz), n, a, b, q, z, j1, info);
    }
    return *this;
  }

  ReorderedPencil& move(Int& ifst, Int& ilst, bool wantq = true, bool wantz = true) {
    const Matrix<T> a = form.A, b = form.B, q = view(wantq, Q), z = view(wantz, Z);
    if constexpr (RealScalar<T>) {
      const Int lwork = n <= 1 ? 1 : 4 * n + 16;
      GuardedVector<T> work(lwork);
      routine_call::tgexc(flag(wantq), flag(wantz), n, a, b, q, z, ifst, ilst, work.data(), lwork, info);
      EXPECT_TRUE(work.guards_unchanged());
      EXPECT_EQ(work(1), T(lwork));
    } else {
      routine_call::tgexc(flag(wantq), flag(wantz), n, a, b, q, z, ifst, ilst, info);
    }
    return *this;
  }

  /// It is a form of the same pair.
  void expect_equivalent() const {
    EXPECT_TRUE(is_form(form));
    this->expect_same_pencil();
  }

  void expect_values(const std::vector<PencilValue>& expected, double tolerance) const {
    expect_close(values_of(form), expected, tolerance);
  }
};

// ------------------------------------------------------------------------------------------------ swaps of neighbours

template <class T>
class PencilSwap : public ReportingTest {
 protected:
  /// Complex forms take two eigenvalues for a two.
  ReorderedPencil<T> problem(std::vector<Int> blocks) {
    const auto n = std::size_t(std::accumulate(blocks.begin(), blocks.end(), 0));
    if (ComplexScalar<T>) blocks.assign(n, 1);
    return {distinct_pencil_schur_form<T>(random, blocks), random};
  }

  Random random{149};
};
TYPED_TEST_SUITE(PencilSwap, Precisions, PrecisionLetter);

TYPED_TEST(PencilSwap, ExchangesBlocksOfAllOrdersInAllPlaces) {
  using T = TypeParam;
  for (const std::vector<Int>& front : {std::vector<Int>{}, {1}, {2, 1}}) {
    for (const std::vector<Int>& back : {std::vector<Int>{}, {2}, {1, 2}}) {
      for (const Int n1 : {1, 2}) {
        for (const Int n2 : {1, 2}) {
          if (ComplexScalar<T> && (n1 == 2 || n2 == 2)) continue;
          SCOPED_TRACE(testing::Message() << front.size() << " in front, " << n1 << ", " << n2);
          std::vector<Int> blocks = front;
          blocks.insert(blocks.end(), {n1, n2});
          blocks.insert(blocks.end(), back.begin(), back.end());
          const ReorderedPencil<T> problem = this->problem(blocks);
          ReorderedPencil<T> swapped = problem;
          const Int j1 = std::accumulate(front.begin(), front.end(), 1);
          swapped.swap(j1, n1, n2);
          EXPECT_EQ(swapped.info, 0);
          swapped.expect_equivalent();
          std::vector<PencilValue> expected = values_of(problem.form);
          const auto at = expected.begin() + (j1 - 1);
          std::rotate(at, at + n1, at + n1 + n2);
          swapped.expect_values(expected, 1000 * epsilon<T>);
          if constexpr (RealScalar<T>) {
            if (n2 == 2) expect_standard_block(swapped.form, j1);
            if (n1 == 2) expect_standard_block(swapped.form, j1 + n2);
          }
          for (const bool wantq : {true, false}) {
            ReorderedPencil<T> one = problem;
            one.swap(j1, n1, n2, wantq, !wantq);
            EXPECT_TRUE(one.form.A.same_as(swapped.form.A) && one.form.B.same_as(swapped.form.B));
            EXPECT_TRUE(wantq ? one.Q.same_as(swapped.Q) : one.Z.same_as(swapped.Z));
            EXPECT_TRUE(wantq ? one.Z.unchanged() : one.Q.unchanged());
          }
        }
      }
    }
  }
}

TYPED_TEST(PencilSwap, ExchangesInfiniteAndZeroAndEqualValues) {
  using T = TypeParam;
  for (int kinds = 0; kinds < 16; ++kinds) {
    SCOPED_TRACE(kinds);
    ReorderedPencil<T> problem = this->problem({1, 1, 1, 1});
    // Of either eigenvalue: some number, zero, infinite, any number.
    for (const Int j : {2, 3}) {
      const int kind = j == 2 ? kinds % 4 : kinds / 4;
      if (kind == 1 || kind == 3) problem.form.A(j, j) = T(0);
      if (kind == 2 || kind == 3) problem.form.B(j, j) = T(0);
    }
    problem = ReorderedPencil<T>(problem.form, this->random);
    ReorderedPencil<T> swapped = problem;
    swapped.swap(2);
    EXPECT_EQ(swapped.info, 0);
    swapped.expect_equivalent();
    if (kinds % 4 == 3 || kinds / 4 == 3) continue;
    std::vector<PencilValue> expected = values_of(problem.form);
    std::swap(expected[1], expected[2]);
    swapped.expect_values(expected, 1000 * epsilon<T>);
  }
  // Values that are the same, and have one vector, stay.
  ReorderedPencil<T> equal = this->problem({1, 1});
  equal.form.A(1, 1) = equal.form.A(2, 2) = equal.form.B(1, 1) = equal.form.B(2, 2) = T(1);
  equal = ReorderedPencil<T>(equal.form, this->random);
  equal.swap(1);
  EXPECT_EQ(equal.info, 0);
  equal.expect_equivalent();
}

/// Sizes of both matrices make no difference, also near an end of the range, where products of their elements are not
/// numbers any more.
TYPED_TEST(PencilSwap, ScalesWithThePair) {
  using T = TypeParam;
  const int far = std::same_as<Real<T>, float> ? 90 : 930;
  for (const std::vector<Int>& blocks : {std::vector<Int>{1, 1, 1, 1}, {1, 1, 2, 1}, {1, 2, 1, 1}, {1, 2, 2, 1}}) {
    if (ComplexScalar<T> && blocks[1] + blocks[2] > 2) continue;
    const ReorderedPencil<T> plain = this->problem(blocks);
    for (const int of_a : {-far, 0, far}) {
      for (const int of_b : {-far, 0, far}) {
        ReorderedPencil<T> expected = plain, scaled = plain;
        scale_by_power(scaled.form.A, of_a);
        scale_by_power(scaled.form.B, of_b);
        expected.swap(2, blocks[1], blocks[2]);
        scaled.swap(2, blocks[1], blocks[2]);
        EXPECT_EQ(scaled.info, 0);
        EXPECT_EQ(expected.info, 0);
        scale_by_power(expected.form.A, of_a);
        scale_by_power(expected.form.B, of_b);
        EXPECT_TRUE(scaled.form.A.same_as(expected.form.A)) << of_a << ", " << of_b;
        EXPECT_TRUE(scaled.form.B.same_as(expected.form.B)) << of_a << ", " << of_b;
        EXPECT_TRUE(scaled.Q.same_as(expected.Q) && scaled.Z.same_as(expected.Z));
      }
    }
  }
}

/// Powers of two by which one matrix of a pair is larger or smaller than the other one.
template <RealScalar R>
std::vector<int> exponents_of_ratios() {
  if (std::same_as<R, float>) return {0, -30, 30, -60, 60, -100, 100};
  return {0, -30, 30, -60, 60, -300, 300, -900, 900};
}

/// Either matrix keeps what it has beside a much larger one, also where the eigenvalue that moves up has a small share
/// in one of them.
TYPED_TEST(PencilSwap, KeepsTheDigitsOfEitherMatrix) {
  using T = TypeParam;
  for (const int exponent : exponents_of_ratios<Real<T>>()) {
    for (const bool in_a : {true, false}) {
      for (const int of_s : {0, -8, -16, -24, -40}) {
        for (const int of_p : {0, -8, -16, -24, -40}) {
          SCOPED_TRACE(testing::Message() << exponent << in_a << ", " << of_s << ", " << of_p);
          Pencil<T> pencil = random_pencil_schur_form<T>(this->random, {1, 1, 1, 1}, 5);
          pencil.A(3, 3) *= std::ldexp(Real<T>(1), of_s);
          pencil.B(3, 3) *= std::ldexp(Real<T>(1), of_p);
          scale_by_power(in_a ? pencil.A : pencil.B, exponent);
          ReorderedPencil<T> problem(pencil, this->random);
          problem.swap(2);
          EXPECT_EQ(problem.info, 0);
          problem.expect_equivalent();
        }
      }
    }
  }
}

/// The reciprocals of the powers of two near such sizes are not in range.
TYPED_TEST(PencilSwap, ExchangesBesideAMatrixBelowTheNormalNumbers) {
  using T = TypeParam;
  constexpr int digits = 10;
  for (const bool in_a : {true, false}) {
    Pencil<T> pencil = this->problem({1, 1, 1}).form;
    GuardedMatrix<T>& small = in_a ? pencil.A : pencil.B;
    scale_by_power(small, std::numeric_limits<Real<T>>::min_exponent - std::numeric_limits<Real<T>>::digits + digits);
    ReorderedPencil<T> problem(pencil, this->random);
    problem.swap(2);
    EXPECT_EQ(problem.info, 0);
    EXPECT_TRUE(is_form(problem.form));
    // The second eigenvalue is 1, the third one 3/2, but for the ratio and the digits that are left.
    const GuardedMatrix<T>& moved = in_a ? problem.form.A : problem.form.B;
    const GuardedMatrix<T>& other = in_a ? problem.form.B : problem.form.A;
    const double ratio =
        double(std::abs(moved(2, 2)) / std::abs(moved(3, 3))) * double(std::abs(other(3, 3)) / std::abs(other(2, 2)));
    EXPECT_NEAR(in_a ? ratio : 1 / ratio, 1.5, 0.05);
  }
}

/// A zero matrix has no size that the other one could be brought to.
TYPED_TEST(PencilSwap, ExchangesBesideAZeroMatrix) {
  using T = TypeParam;
  for (const int exponent : exponents_of_ratios<Real<T>>()) {
    for (const bool a_is_zero : {true, false}) {
      Pencil<T> pencil = this->problem({1, 1, 1}).form;
      GuardedMatrix<T>&zero = a_is_zero ? pencil.A : pencil.B, &other = a_is_zero ? pencil.B : pencil.A;
      for (Int j = 1; j <= 3; ++j) std::fill_n(&zero(1, j), 3, T(0));
      scale_by_power(other, exponent);
      ReorderedPencil<T> problem(pencil, this->random);
      problem.swap(2);
      EXPECT_EQ(problem.info, 0);
      problem.expect_equivalent();
    }
  }
}

TYPED_TEST(PencilSwap, DoesNothingWithoutASecondBlock) {
  using T = TypeParam;
  ReorderedPencil<T> nothing = this->problem({}), single = this->problem({1});
  EXPECT_EQ(nothing.swap(1).info, 0);
  EXPECT_EQ(single.swap(1).info, 0);
  EXPECT_TRUE(single.is_untouched());
  if constexpr (RealScalar<T>) {
    ReorderedPencil<T> pair = this->problem({2, 1});
    for (const auto& [j1, n1, n2] : {std::array{1, 0, 2}, {1, 2, 0}, {3, 1, 1}, {2, 2, 1}}) {
      pair.swap(j1, n1, n2);
      EXPECT_EQ(pair.info, 0);
      EXPECT_TRUE(pair.is_untouched());
    }
  }
}

/// Where a number is no number nothing is changed.
TYPED_TEST(PencilSwap, LeavesAloneWhatIsNoNumber) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R odd : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (const std::vector<Int>& blocks : {std::vector<Int>{1, 1}, {1, 2}, {2, 1}, {2, 2}}) {
      if (ComplexScalar<T> && blocks[0] + blocks[1] > 2) continue;
      const Int n = blocks[0] + blocks[1];
      for (const bool in_a : {true, false}) {
        for (Int j = 1; j <= n; ++j) {
          for (Int i = 1; i <= j; ++i) {
            ReorderedPencil<T> problem = this->problem(blocks);
            if (!in_a && problem.form.B(i, j) == T(0)) continue;
            (in_a ? problem.form.A : problem.form.B)(i, j) = T(odd);
            ReorderedPencil<T> swapped(problem.form, this->random);
            swapped.swap(1, blocks[0], blocks[1]);
            EXPECT_EQ(swapped.info, 1) << i << j << in_a << odd << n;
            EXPECT_TRUE(swapped.is_untouched());
          }
        }
      }
    }
  }
}

template <class R>
class PencilBlockSwap : public PencilSwap<R> {};
TYPED_TEST_SUITE(PencilBlockSwap, RealPrecisions, PrecisionLetter);

/// Two pairs far from normal, which are close, as those of one matrix.
template <RealScalar R>
Pencil<R> close_pencil_pairs(Random& random) {
  return {close_pairs<R>(random), identity_matrix<R>(4, 4)};
}

TYPED_TEST(PencilBlockSwap, LeavesPairsAloneThatAreTooClose) {
  using R = TypeParam;
  int rejected = 0, accepted = 0;
  for (int round = 0; round < 400; ++round) {
    ReorderedPencil<R> pairs(close_pencil_pairs<R>(this->random), this->random);
    pairs.swap(1, 2, 2);
    if (pairs.info == 1) {
      ++rejected;
      EXPECT_TRUE(pairs.is_untouched());
    } else {
      ++accepted;
      EXPECT_EQ(pairs.info, 0);
      pairs.expect_equivalent();
    }
  }
  EXPECT_GT(rejected, 20);
  EXPECT_GT(accepted, 20);
}

/// A block with two real eigenvalues near one another.
template <RealScalar R>
void make_nearly_real(Pencil<R>& form, Int j) {
  form.A(j, j + 1) = form.B(j, j);
  form.A(j + 1, j) = -epsilon<R> * epsilon<R>;
}

TYPED_TEST(PencilBlockSwap, SplitsPairsThatTurnOutToBeReal) {
  using R = TypeParam;
  for (const bool is_first : {true, false}) {
    for (const Int other : {1, 2}) {
      int split = 0;
      for (int round = 0; round < 60; ++round) {
        const std::vector<Int> blocks = is_first ? std::vector<Int>{1, 2, other} : std::vector<Int>{1, other, 2};
        Pencil<R> pencil = distinct_pencil_schur_form<R>(this->random, blocks);
        make_nearly_real(pencil, is_first ? 2 : 2 + other);
        ReorderedPencil<R> problem(pencil, this->random);
        problem.swap(2, blocks[1], blocks[2]);
        EXPECT_EQ(problem.info, 0);
        problem.expect_equivalent();
        split += problem.form.A(is_first ? 3 + other : 3, is_first ? 2 + other : 2) == 0;
      }
      EXPECT_GT(split, 10) << is_first << other;
      EXPECT_LT(split, 60) << is_first << other;
    }
  }
}

/// Pairs of ordinary blocks are not rejected.
TYPED_TEST(PencilBlockSwap, RejectsNothingOrdinary) {
  using R = TypeParam;
  int rejected = 0;
  for (int round = 0; round < 3000; ++round) {
    const Int n1 = this->random.integer(1, 2), n2 = this->random.integer(1, 2);
    ReorderedPencil<R> problem(random_pencil_schur_form<R>(this->random, {n1, n2}, 4), this->random);
    rejected += problem.swap(1, n1, n2).info;
  }
  EXPECT_LE(rejected, 15);
}

TYPED_TEST(PencilBlockSwap, TellsHowMuchRoomItTakes) {
  using R = TypeParam;
  for (const auto& [n1, n2, n, least] : {std::array{1, 1, 3, 8}, {1, 2, 3, 18}, {2, 2, 5, 32}, {2, 2, 9, 36}}) {
    std::vector<Int> blocks{n1, n2};
    for (Int left = n - n1 - n2; left > 0; --left) blocks.push_back(1);
    ReorderedPencil<R> problem = this->problem(blocks);
    for (const Int lwork : {-1, 0, least - 1}) {
      GuardedVector<R> work(least);
      routine_call::tgex2(1, 1, n, Matrix<R>(problem.form.A), Matrix<R>(problem.form.B), Matrix<R>(problem.Q),
                          Matrix<R>(problem.Z), 1, n1, n2, work.data(), lwork, problem.info);
      EXPECT_EQ(problem.info, -16);
      EXPECT_EQ(work(1), R(least));
      EXPECT_TRUE(problem.is_untouched());
    }
  }
}

// ---------------------------------------------------------------------------------------------------------- reordering

template <class T>
class PencilReordering : public PencilSwap<T> {};
TYPED_TEST_SUITE(PencilReordering, Precisions, PrecisionLetter);

TYPED_TEST(PencilReordering, MovesEachBlockToEachPlace) {
  using T = TypeParam;
  for (std::vector<Int> blocks : {std::vector<Int>{1}, {2}, {1, 1}, {2, 1, 1}, {1, 2, 2}, {2, 1, 2, 1}}) {
    const ReorderedPencil<T> problem = this->problem(blocks);
    const Int n = problem.n;
    if (ComplexScalar<T>) blocks.assign(std::size_t(n), 1);
    const std::vector<PencilValue> values = values_of(problem.form);
    for (Int ifst = 1; ifst <= n; ++ifst) {
      for (Int ilst = 1; ilst <= n; ++ilst) {
        SCOPED_TRACE(testing::Message() << ifst << " to " << ilst << " of " << n);
        const Moved moved(blocks, ifst, ilst);
        ReorderedPencil<T> both = problem;
        Int from = ifst, to = ilst;
        both.move(from, to);
        EXPECT_EQ(both.info, 0);
        both.expect_equivalent();
        if (n > 1) {
          EXPECT_EQ(from, moved.first);
          EXPECT_EQ(to, moved.destination);
        }
        if (moved.destination == moved.first) {
          EXPECT_TRUE(both.is_untouched());
        }
        both.expect_values(moved.order_of(values), 3000 * epsilon<T>);

        for (const bool wantq : {true, false}) {
          ReorderedPencil<T> one = problem;
          from = ifst;
          to = ilst;
          one.move(from, to, wantq, !wantq);
          EXPECT_TRUE(one.form.A.same_as(both.form.A) && one.form.B.same_as(both.form.B));
          EXPECT_TRUE(wantq ? one.Q.same_as(both.Q) : one.Z.same_as(both.Z));
          EXPECT_TRUE(wantq ? one.Z.unchanged() : one.Q.unchanged());
        }
      }
    }
  }
}

TYPED_TEST(PencilReordering, MovesBlocksWhateverTheRatioOfNorms) {
  using T = TypeParam;
  const std::vector<Int> blocks{2, 1, 2, 1, 2};
  for (const int exponent : exponents_of_ratios<Real<T>>()) {
    for (const bool in_a : {true, false}) {
      for (const auto& [from, to] : {std::pair{1, 8}, {8, 1}, {4, 1}, {3, 7}}) {
        SCOPED_TRACE(testing::Message() << exponent << in_a << ", " << from << " to " << to);
        Pencil<T> pencil = distinct_pencil_schur_form<T>(this->random, blocks);
        const Moved moved(ComplexScalar<T> ? std::vector<Int>(8, 1) : blocks, from, to);
        const std::vector<PencilValue> expected = moved.order_of(values_of(pencil));
        scale_by_power(in_a ? pencil.A : pencil.B, exponent);
        ReorderedPencil<T> problem(pencil, this->random);
        Int ifst = from, ilst = to;
        problem.move(ifst, ilst);
        EXPECT_EQ(problem.info, 0);
        problem.expect_equivalent();
        scale_by_power(in_a ? problem.form.A : problem.form.B, -exponent);
        problem.expect_values(expected, 3000 * epsilon<T>);
      }
    }
  }
}

TYPED_TEST(PencilReordering, KeepsLongForms) {
  using T = TypeParam;
  const Int n = 40;
  ReorderedPencil<T> problem(random_pencil_schur_form<T>(this->random, n, n), this->random);
  for (const auto& [from, to] : {std::pair{1, n}, {n, 1}, {17, 30}, {22, 5}}) {
    Int ifst = from, ilst = to;
    problem.move(ifst, ilst);
  }
  problem.expect_equivalent();
  EXPECT_LT(spectrum_distance(values_of(problem.form), values_of(problem.before)), 1e-3);
}

template <class R>
class RealPencilReordering : public PencilSwap<R> {};
TYPED_TEST_SUITE(RealPencilReordering, RealPrecisions, PrecisionLetter);

/// The two eigenvalues go on one behind the other.
TYPED_TEST(RealPencilReordering, WalksOnWithPairsThatSplit) {
  using R = TypeParam;
  for (const bool forward : {true, false}) {
    int split = 0;
    for (int round = 0; round < 60; ++round) {
      Pencil<R> pencil = distinct_pencil_schur_form<R>(this->random, {2, 1, 2, 1, 2});
      Int ifst = forward ? 1 : 7, ilst = forward ? 8 : 1;
      make_nearly_real(pencil, ifst);
      ReorderedPencil<R> problem(pencil, this->random);
      problem.move(ifst, ilst);
      EXPECT_EQ(problem.info, 0);
      problem.expect_equivalent();
      EXPECT_EQ(ilst, forward ? 7 : 1);
      split += problem.form.A(ilst + 1, ilst) == 0;
      const std::vector<PencilValue> values = values_of(problem.form);
      for (const Int j : {ilst - 1, ilst}) {
        EXPECT_LT(chordal_distance(values[std::size_t(j)], {forward ? 0.5 : 2.5, 1}), 0.02);
      }
    }
    EXPECT_GT(split, 10);
  }
}

/// Pairs in between that split are passed one eigenvalue after the other, also by a pair that has split itself.
TYPED_TEST(RealPencilReordering, PassesPairsThatSplit) {
  using R = TypeParam;
  for (const bool forward : {true, false}) {
    int split = 0;
    for (int round = 0; round < 200; ++round) {
      Pencil<R> pencil = distinct_pencil_schur_form<R>(this->random, {2, 2, 2, 2});
      for (const Int j : {1, 3, 5, 7}) make_nearly_real(pencil, j);
      ReorderedPencil<R> problem(pencil, this->random);
      Int ifst = forward ? 1 : 7, ilst = forward ? 7 : 1;
      problem.move(ifst, ilst);
      EXPECT_EQ(problem.info, 0);
      problem.expect_equivalent();
      const std::vector<PencilValue> values = values_of(problem.form);
      for (Int j = 1; j <= 8; ++j) {
        const Int block = (j + 1) / 2;
        const Int value = forward ? (block == 4 ? 1 : block + 1) : (block == 1 ? 4 : block - 1);
        EXPECT_LT(chordal_distance(values[std::size_t(j - 1)], {value / 2.0, 1}), 0.02) << j;
      }
      split += problem.form.A(ilst + 1, ilst) == 0;
    }
    EXPECT_GT(split, 30);
  }
}

/// What is reached is a form, in part reordered, and the block is where ilst tells.
TYPED_TEST(RealPencilReordering, StopsWhereASwapIsRejected) {
  using R = TypeParam;
  int at_once = 0, on_the_way = 0;
  for (int round = 0; round < 200; ++round) {
    const Pencil<R> pairs = close_pencil_pairs<R>(this->random);
    for (const bool forward : {true, false}) {
      // A single in between, which is passed first.
      Pencil<R> pencil = distinct_pencil_schur_form<R>(this->random, {2, 1, 2});
      for (const Int i : {1, 2}) {
        for (const Int j : {1, 2}) {
          pencil.A(i, j) = pairs.A(i, j);
          pencil.A(i + 3, j + 3) = pairs.A(i + 2, j + 2);
          pencil.B(i, j) = pencil.B(i + 3, j + 3) = R(i == j);
        }
      }
      pencil.A(3, 3) = 5;
      pencil.B(3, 3) = 1;
      ReorderedPencil<R> problem(pencil, this->random);
      Int ifst = forward ? 1 : 4, ilst = forward ? 4 : 1;
      problem.move(ifst, ilst);
      problem.expect_equivalent();
      if (problem.info == 0) continue;
      EXPECT_EQ(problem.info, 1);
      if (ilst == ifst) continue;
      EXPECT_EQ(ilst, forward ? 2 : 3);
      const Int single = forward ? 1 : 5;
      EXPECT_NEAR(double(problem.form.A(single, single) / problem.form.B(single, single)), 5, 0.1);
      ++on_the_way;
    }
    ReorderedPencil<R> problem(pairs, this->random);
    Int ifst = 4, ilst = 2;
    problem.move(ifst, ilst);
    if (problem.info == 0) continue;
    EXPECT_EQ(ifst, 3);
    EXPECT_EQ(ilst, 3);
    EXPECT_TRUE(problem.is_untouched());
    ++at_once;
  }
  EXPECT_GT(at_once, 10);
  EXPECT_GT(on_the_way, 10);
}

/// A number that is none stops the way of those that come to it.
TYPED_TEST(PencilReordering, TellsHowFarItCame) {
  using T = TypeParam;
  for (const bool forward : {true, false}) {
    ReorderedPencil<T> problem = this->problem({1, 1, 1, 1, 1});
    problem.form.A(3, 3) = T(std::numeric_limits<Real<T>>::quiet_NaN());
    Int ifst = forward ? 1 : 5, ilst = forward ? 5 : 1;
    problem.move(ifst, ilst);
    EXPECT_EQ(problem.info, 1);
    EXPECT_EQ(ilst, forward ? 2 : 4);
  }
}

TYPED_TEST(PencilReordering, EndsWhateverTheNumbers) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R odd : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (Int i = 1; i <= 6; ++i) {
      for (Int j = i; j <= 6; ++j) {
        for (const bool in_a : {true, false}) {
          for (const bool forward : {true, false}) {
            ReorderedPencil<T> problem = this->problem({1, 2, 1, 2});
            (in_a ? problem.form.A : problem.form.B)(i, j) = T(odd);
            Int ifst = forward ? 1 : 5, ilst = forward ? 5 : 1;
            problem.move(ifst, ilst);
            EXPECT_TRUE(problem.info == 0 || problem.info == 1);
            EXPECT_TRUE(problem.form.A.guards_unchanged() && problem.form.B.guards_unchanged());
            EXPECT_FALSE(is_finite(problem.form.A) && is_finite(problem.form.B));
          }
        }
      }
    }
  }
}

// ----------------------------------------------------------------------------------------------------------- arguments

template <Scalar T>
struct ValidPencilMove {
  Logical wantq = -1, wantz = -1;
  Int n = 3, lda = 3, ldb = 3, ldq = 3, ldz = 3, ifst = 1, ilst = 3, lwork = 28, info = 99;
  GuardedMatrix<T> A, B, Q, Z;
  GuardedVector<T> work{28};

  ValidPencilMove() : ValidPencilMove(Random(5)) {}
  explicit ValidPencilMove(Random random)
      : ValidPencilMove(random, random_pencil_schur_form<T>(random, {1, 1, 1}, 3)) {}
  ValidPencilMove(Random& random, const Pencil<T>& form)
      : A(form.A), B(form.B), Q(random_unitary<T>(random, 3, 3)), Z(random_unitary<T>(random, 3, 3)) {}

  Int run() {
    const Matrix<T> a(A.data(), lda), b(B.data(), ldb), q(Q.data(), ldq), z(Z.data(), ldz);
    if constexpr (RealScalar<T>) {
      routine_call::tgexc(wantq, wantz, n, a, b, q, z, ifst, ilst, work.data(), lwork, info);
    } else {
      routine_call::tgexc(wantq, wantz, n, a, b, q, z, ifst, ilst, info);
    }
    return info;
  }
  bool unchanged() const { return A.unchanged() && B.unchanged() && Q.unchanged() && Z.unchanged(); }
};

TYPED_TEST(PencilReordering, ChecksItsArguments) {
  using T = TypeParam;
  using Call = ValidPencilMove<T>;
  const std::string name = reported_name<T>("TGEXC");
  expect_argument_checks<Call>(name, {{3, [](Call& c) { c.n = -1; }},
                                      {5, [](Call& c) { c.lda = 2; }},
                                      {7, [](Call& c) { c.ldb = 2; }},
                                      {9, [](Call& c) { c.ldq = 2; }},
                                      {11, [](Call& c) { c.ldz = 2; }},
                                      {12, [](Call& c) { c.ifst = 4; }},
                                      {12, [](Call& c) { c.ifst = 0; }},
                                      {13, [](Call& c) { c.ilst = 4; }},
                                      {13, [](Call& c) { c.ilst = 0; }}});
  for (const bool of_q : {true, false}) {
    for (const Int ld : {0, 1}) {
      Call without;
      (of_q ? without.wantq : without.wantz) = 2;
      (of_q ? without.ldq : without.ldz) = ld;
      expect_report(without, name, ld == 1 ? 0 : of_q ? 9 : 11);
    }
  }
  // A form of order zero has no rows that could be named; what is said of them is not looked at.
  for (const Int row : {0, 1, 3}) {
    Call empty;
    empty.n = 0;
    empty.ifst = row;
    empty.ilst = 3 - row;
    expect_report(empty, name, 0);
    EXPECT_TRUE(empty.unchanged());
    EXPECT_EQ(empty.ilst, 3 - row);
  }
  Call single;
  single.n = 1;
  single.ifst = 2;
  expect_report(single, name, 12);
}

TYPED_TEST(RealPencilReordering, TellsHowMuchRoomItTakes) {
  using R = TypeParam;
  ValidPencilMove<R> call;
  call.lwork = -1;
  EXPECT_EQ(call.run(), 0);
  EXPECT_EQ(call.work(1), 28);
  EXPECT_TRUE(call.unchanged());
  call.lwork = 27;
  expect_report(call, reported_name<R>("TGEXC"), 15);
  for (const Int n : {0, 1}) {
    for (const Int lwork : {-1, 0, 1}) {
      ValidPencilMove<R> small;
      small.n = n;
      small.ilst = 1;
      small.lwork = lwork;
      expect_report(small, reported_name<R>("TGEXC"), lwork == 0 ? 15 : 0);
      EXPECT_TRUE(small.unchanged());
      EXPECT_EQ(small.work(1), 1);
    }
  }
}

}  // namespace
}  // namespace nuv::test
