// Reordering of Schur forms: ?trexc, and ?laexc for swaps of neighbours in real ones.

#include <cmath>
#include <initializer_list>
#include <limits>
#include <numeric>

#include "frame/option_matching.hpp"
#include "nonsymmetric/moved_blocks.hpp"
#include "nonsymmetric/schur_checks.hpp"
#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"

namespace nuv::test {
namespace {

/// A Schur form and the Q that belongs to it, before and after.
template <Scalar T>
struct Reordered {
  Int n, info = 99;
  GuardedMatrix<T> S, Q, before_s, before_q;

  Reordered(const GuardedMatrix<T>& form, const GuardedMatrix<T>& basis)
      : n(form.rows()), S(form), Q(basis), before_s(form), before_q(basis) {}

  Reordered& swap(Int j1, Int n1, Int n2, bool with_q = true) requires RealScalar<T> {
    GuardedVector<T> work(n);
    // The lowest bit of a logical counts alone.
    routine_call::laexc(with_q ? 1 : 2, n, Matrix<T>(S), Matrix<T>(with_q ? Q.data() : nullptr, Q.ld()), j1, n1, n2,
                        work.data(), info);
    EXPECT_TRUE(work.guards_unchanged());
    return *this;
  }

  Reordered& move(char compq, Int& ifst, Int& ilst) {
    const Matrix<T> basis(same_letter(compq, 'V') ? Q.data() : nullptr, same_letter(compq, 'V') ? Q.ld() : 1);
    if constexpr (RealScalar<T>) {
      GuardedVector<T> work(n);
      routine_call::trexc(compq, n, Matrix<T>(S), basis, ifst, ilst, work.data(), info);
      EXPECT_TRUE(work.guards_unchanged());
    } else {
      routine_call::trexc(compq, n, Matrix<T>(S), basis, ifst, ilst, info);
    }
    return *this;
  }

  bool is_untouched() const { return S.same_as(before_s) && Q.same_as(before_q); }

  /// S is a Schur form of the same matrix, with a unitary Q.
  void expect_similar() const {
    EXPECT_TRUE(S.guards_unchanged() && Q.guards_unchanged());
    EXPECT_TRUE(is_schur_form(S));
    EXPECT_LT(orthonormality<T>(wide(Q)), schur_threshold);
    const WideMatrix<T> A = product<T>(wide(before_q), product<T>(wide(before_s), wide(before_q).adjoint()));
    EXPECT_LT(schur_residual<T>(A, wide(Q), wide(S)), schur_threshold);
  }
};

// ------------------------------------------------------------------------------------------------ swaps of neighbours

template <class R>
class BlockSwap : public ReportingTest {
 protected:
  Reordered<R> problem(const std::vector<Int>& blocks) {
    const GuardedMatrix<R> S = distinct_schur_form<R>(random, blocks);
    return {S, random_unitary<R>(random, S.rows(), S.rows() + 1)};
  }

  Random random{73};
};
TYPED_TEST_SUITE(BlockSwap, RealPrecisions, PrecisionLetter);

TYPED_TEST(BlockSwap, ExchangesBlocksOfAllOrdersInAllPlaces) {
  using R = TypeParam;
  for (const std::vector<Int>& front : {std::vector<Int>{}, {1}, {2, 1}}) {
    for (const std::vector<Int>& back : {std::vector<Int>{}, {2}, {1, 2}}) {
      for (const Int n1 : {1, 2}) {
        for (const Int n2 : {1, 2}) {
          SCOPED_TRACE(testing::Message() << front.size() << " in front, " << n1 << ", " << n2);
          std::vector<Int> blocks = front;
          blocks.insert(blocks.end(), {n1, n2});
          blocks.insert(blocks.end(), back.begin(), back.end());
          Reordered<R> swapped = this->problem(blocks), without_q = swapped;
          const Int j1 = std::accumulate(front.begin(), front.end(), 1);
          swapped.swap(j1, n1, n2);
          EXPECT_EQ(swapped.info, 0);
          swapped.expect_similar();
          std::vector<std::complex<double>> expected = eigenvalues_of(swapped.before_s);
          const auto at = expected.begin() + (j1 - 1);
          std::rotate(at, at + n1, at + n1 + n2);
          expect_close(eigenvalues_of(swapped.S), expected, 1000 * epsilon<R>);

          without_q.swap(j1, n1, n2, false);
          EXPECT_TRUE(without_q.S.same_as(swapped.S));
          EXPECT_TRUE(without_q.Q.unchanged());
        }
      }
    }
  }
}

TYPED_TEST(BlockSwap, DoesNothingWithoutASecondBlock) {
  using R = TypeParam;
  Reordered<R> pair = this->problem({2, 1});
  for (const auto& [j1, n1, n2] : {std::array{1, 0, 2}, {1, 2, 0}, {3, 1, 1}, {2, 2, 1}}) {
    pair.swap(j1, n1, n2);
    EXPECT_EQ(pair.info, 0);
    EXPECT_TRUE(pair.is_untouched());
  }
  Reordered<R> nothing = this->problem({});
  nothing.swap(1, 1, 1);
  EXPECT_EQ(nothing.info, 0);
}

/// The rotation keeps eigenvalues to the last bit.
TYPED_TEST(BlockSwap, ExchangesSinglesExactly) {
  using R = TypeParam;
  for (int round = 0; round < 20; ++round) {
    Reordered<R> form(random_schur_form<R>(this->random, {1, 1, 1}, 3), random_unitary<R>(this->random, 3, 3));
    form.swap(2, 1, 1);
    EXPECT_EQ(form.S(2, 2), form.before_s(3, 3));
    EXPECT_EQ(form.S(3, 3), form.before_s(2, 2));
    EXPECT_EQ(form.S(2, 3), form.before_s(2, 3));
    form.expect_similar();
  }
}

TYPED_TEST(BlockSwap, LeavesPairsAloneThatAreTooClose) {
  using R = TypeParam;
  int rejected = 0, accepted = 0;
  for (int round = 0; round < 400; ++round) {
    Reordered<R> pairs(close_pairs<R>(this->random), random_unitary<R>(this->random, 4, 4));
    pairs.swap(1, 2, 2);
    if (pairs.info == 1) {
      ++rejected;
      EXPECT_TRUE(pairs.is_untouched());
    } else {
      ++accepted;
      EXPECT_EQ(pairs.info, 0);
      pairs.expect_similar();
    }
  }
  EXPECT_GT(rejected, 20);
  EXPECT_GT(accepted, 20);
}

/// What must vanish may be ten rounding errors of the largest element, and is about that in some swaps that are
/// accepted; beside the smallest numbers to compute with it doesn't count.
TYPED_TEST(BlockSwap, AcceptsAFewRoundingErrors) {
  using R = TypeParam;
  double largest = 0;
  int rejected = 0;
  for (int round = 0; round < 1000; ++round) {
    const GuardedMatrix<R> S = close_pairs<R>(this->random);
    Reordered<R> pairs(S, identity_matrix<R>(4, 4));
    pairs.swap(1, 2, 2);
    rejected += pairs.info;
    if (pairs.info == 0) {
      const WideMatrix<R> Q = wide(pairs.Q), moved = product<R>(Q.transpose(), product<R>(wide(S), Q));
      const double unit = double(wide(S).cwiseAbs().maxCoeff()) * epsilon<R>;
      largest = std::max(largest, double(moved.bottomLeftCorner(2, 2).cwiseAbs().maxCoeff()) / unit);
    }
    GuardedMatrix<R> tiny = S;
    const int exponent = std::numeric_limits<R>::min_exponent + std::numeric_limits<R>::digits / 2;
    for (Int j = 1; j <= 4; ++j) {
      for (Int i = 1; i <= 4; ++i) tiny(i, j) = std::ldexp(tiny(i, j), exponent);
    }
    Reordered<R> small(tiny, identity_matrix<R>(4, 4));
    EXPECT_EQ(small.swap(1, 2, 2).info, 0);
  }
  EXPECT_GT(rejected, 50);
  EXPECT_GT(largest, 7);
  EXPECT_LT(largest, 14);
}

/// A pair whose eigenvalues are real but for rounding.
template <RealScalar R>
void make_nearly_real(GuardedMatrix<R>& S, Int j) {
  S(j, j + 1) = 1;
  S(j + 1, j) = -epsilon<R> * epsilon<R>;
  S.seal();
}

TYPED_TEST(BlockSwap, SplitsPairsThatTurnOutToBeReal) {
  using R = TypeParam;
  for (const bool is_first : {true, false}) {
    for (const Int other : {1, 2}) {
      int split = 0;
      for (int round = 0; round < 60; ++round) {
        const std::vector<Int> blocks = is_first ? std::vector<Int>{1, 2, other} : std::vector<Int>{1, other, 2};
        GuardedMatrix<R> S = distinct_schur_form<R>(this->random, blocks);
        make_nearly_real(S, is_first ? 2 : 2 + other);
        Reordered<R> form(S, random_unitary<R>(this->random, S.rows(), S.rows()));
        form.swap(2, blocks[1], blocks[2]);
        EXPECT_EQ(form.info, 0);
        form.expect_similar();
        split += form.S(is_first ? 3 + other : 3, is_first ? 2 + other : 2) == 0;
      }
      EXPECT_GT(split, 10) << is_first << other;
      EXPECT_LT(split, 60) << is_first << other;
    }
  }
}

// ---------------------------------------------------------------------------------------------------------- reordering

template <class T>
class SchurReordering : public ReportingTest {
 protected:
  Random random{79};
};
TYPED_TEST_SUITE(SchurReordering, Precisions, PrecisionLetter);

TYPED_TEST(SchurReordering, MovesEachBlockToEachPlace) {
  using T = TypeParam;
  for (std::vector<Int> blocks : {std::vector<Int>{1}, {2}, {1, 1}, {2, 1, 1}, {1, 2, 2}, {2, 1, 2, 1}}) {
    const Int n = std::accumulate(blocks.begin(), blocks.end(), 0);
    if (ComplexScalar<T>) blocks.assign(std::size_t(n), 1);
    const GuardedMatrix<T> S = distinct_schur_form<T>(this->random, blocks);
    const GuardedMatrix<T> Q = random_unitary<T>(this->random, n, n + 2);
    const std::vector<std::complex<double>> values = eigenvalues_of(S);
    for (Int ifst = 1; ifst <= n; ++ifst) {
      for (Int ilst = 1; ilst <= n; ++ilst) {
        SCOPED_TRACE(testing::Message() << ifst << " to " << ilst << " of " << n);
        const Moved moved(blocks, ifst, ilst);
        Reordered<T> with_q(S, Q), without_q(S, Q);
        Int from = ifst, to = ilst;
        with_q.move(ilst % 2 == 0 ? 'V' : 'v', from, to);
        EXPECT_EQ(with_q.info, 0);
        with_q.expect_similar();
        if (RealScalar<T> && n > 1) {
          EXPECT_EQ(from, moved.first);
          EXPECT_EQ(to, moved.destination);
        }
        if (moved.destination == moved.first) {
          EXPECT_TRUE(with_q.is_untouched());
        }
        expect_close(eigenvalues_of(with_q.S), moved.order_of(values), 3000 * epsilon<T>);

        from = ifst;
        to = ilst;
        without_q.move(ilst % 2 == 0 ? 'N' : 'n', from, to);
        EXPECT_TRUE(without_q.S.same_as(with_q.S));
        EXPECT_TRUE(without_q.Q.unchanged());
      }
    }
  }
}

TYPED_TEST(SchurReordering, KeepsLongForms) {
  using T = TypeParam;
  const Int n = 40;
  const GuardedMatrix<T> S = random_schur_form<T>(this->random, n, n);
  Reordered<T> form(S, random_unitary<T>(this->random, n, n));
  for (const auto& [from, to] : {std::pair{1, n}, {n, 1}, {17, 30}, {22, 5}}) {
    Int ifst = from, ilst = to;
    form.move('V', ifst, ilst);
    EXPECT_EQ(form.info, 0);
  }
  form.expect_similar();
}

template <class R>
class RealReordering : public SchurReordering<R> {};
TYPED_TEST_SUITE(RealReordering, RealPrecisions, PrecisionLetter);

/// The two eigenvalues go on one behind the other.
TYPED_TEST(RealReordering, WalksOnWithPairsThatSplit) {
  using R = TypeParam;
  for (const bool forward : {true, false}) {
    int split = 0;
    for (int round = 0; round < 60; ++round) {
      GuardedMatrix<R> S = distinct_schur_form<R>(this->random, {2, 1, 2, 1, 2});
      Int ifst = forward ? 1 : 7, ilst = forward ? 8 : 1;
      make_nearly_real(S, ifst);
      Reordered<R> form(S, random_unitary<R>(this->random, 8, 8));
      form.move('V', ifst, ilst);
      EXPECT_EQ(form.info, 0);
      form.expect_similar();
      EXPECT_EQ(ilst, forward ? 7 : 1);
      const double value = forward ? 0.5 : 2.5;
      EXPECT_NEAR(double(form.S(ilst, ilst)), value, 0.01);
      EXPECT_NEAR(double(form.S(ilst + 1, ilst + 1)), value, 0.01);
      split += form.S(ilst + 1, ilst) == 0;
    }
    EXPECT_GT(split, 10);
  }
}

/// Pairs in between that split are passed one eigenvalue after the other, also by a pair that has split itself.
TYPED_TEST(RealReordering, PassesPairsThatSplit) {
  using R = TypeParam;
  for (const bool forward : {true, false}) {
    int split = 0;
    for (int round = 0; round < 200; ++round) {
      GuardedMatrix<R> S = distinct_schur_form<R>(this->random, {2, 2, 2, 2});
      for (const Int j : {1, 3, 5, 7}) make_nearly_real(S, j);
      Reordered<R> form(S, random_unitary<R>(this->random, 8, 8));
      Int ifst = forward ? 1 : 7, ilst = forward ? 7 : 1;
      form.move('V', ifst, ilst);
      EXPECT_EQ(form.info, 0);
      form.expect_similar();
      for (Int j = 1; j <= 8; ++j) {
        const Int block = (j + 1) / 2;
        const Int value = forward ? (block == 4 ? 1 : block + 1) : (block == 1 ? 4 : block - 1);
        EXPECT_NEAR(double(form.S(j, j)), value / 2.0, 0.01) << j;
      }
      split += form.S(ilst + 1, ilst) == 0;
    }
    EXPECT_GT(split, 30);
  }
}

/// The swaps one by one: a pair that splits where it passes a single goes on in two parts, and so does, from then on,
/// the pair that is passed and splits.
TYPED_TEST(RealReordering, TakesSplitPairsForTwoBlocks) {
  using R = TypeParam;
  for (const bool forward : {true, false}) {
    int both_split = 0, other_stays = 0;
    for (int round = 0; round < 200; ++round) {
      GuardedMatrix<R> S = distinct_schur_form<R>(this->random, {2, 1, 2});
      make_nearly_real(S, 1);
      make_nearly_real(S, 4);
      Reordered<R> form(S, random_unitary<R>(this->random, 5, 5)), expected = form;
      Int ifst = forward ? 1 : 4, ilst = forward ? 5 : 1;
      form.move('V', ifst, ilst);

      forward ? expected.swap(1, 2, 1) : expected.swap(3, 1, 2);
      if (expected.S(4, 3) != 0 || expected.S(3, 2) != 0) continue;  // it stays in one part
      const Int behind = forward ? 3 : 2;
      forward ? expected.swap(3, 1, 2) : expected.swap(1, 2, 1);
      const bool stays = expected.S(behind + 1, behind) != 0;
      if (stays) {
        forward ? expected.swap(2, 1, 2) : expected.swap(2, 2, 1);
      } else {
        expected.swap(forward ? 2 : 3, 1, 1);
        expected.swap(forward ? 3 : 2, 1, 1);
      }
      ++(stays ? other_stays : both_split);
      EXPECT_TRUE(form.S.same_as(expected.S)) << forward << stays;
      EXPECT_TRUE(form.Q.same_as(expected.Q)) << forward << stays;
    }
    EXPECT_GT(both_split, 5) << forward;
    EXPECT_GT(other_stays, 5) << forward;
  }
}

/// What is reached is a Schur form, in part reordered, and the block is where ilst tells.
TYPED_TEST(RealReordering, StopsWhereASwapIsRejected) {
  using R = TypeParam;
  int at_once = 0, on_the_way = 0;
  for (int round = 0; round < 200; ++round) {
    const GuardedMatrix<R> pairs = close_pairs<R>(this->random);
    for (const bool forward : {true, false}) {
      // A single in between, which is passed first.
      GuardedMatrix<R> S = distinct_schur_form<R>(this->random, {2, 1, 2});
      for (const Int i : {1, 2}) {
        for (const Int j : {1, 2}) {
          S(i, j) = pairs(i, j);
          S(i + 3, j + 3) = pairs(i + 2, j + 2);
        }
      }
      S(3, 3) = 5;
      S.seal();
      Reordered<R> form(S, random_unitary<R>(this->random, 5, 5));
      Int ifst = forward ? 1 : 4, ilst = forward ? 4 : 1;
      form.move('V', ifst, ilst);
      form.expect_similar();
      if (form.info == 0) continue;
      EXPECT_EQ(form.info, 1);
      EXPECT_EQ(ilst, forward ? 2 : 3);
      EXPECT_NEAR(double(form.S(forward ? 1 : 5, forward ? 1 : 5)), 5, 0.1);
      ++on_the_way;
    }
    Reordered<R> form(pairs, random_unitary<R>(this->random, 4, 4));
    Int ifst = 4, ilst = 2;
    form.move('V', ifst, ilst);
    if (form.info == 0) continue;
    EXPECT_EQ(ifst, 3);
    EXPECT_EQ(ilst, 3);
    EXPECT_TRUE(form.is_untouched());
    ++at_once;
  }
  EXPECT_GT(at_once, 10);
  EXPECT_GT(on_the_way, 10);
}

TYPED_TEST(SchurReordering, EndsWhateverTheNumbers) {
  using T = TypeParam;
  using R = Real<T>;
  const std::vector<Int> blocks = RealScalar<T> ? std::vector<Int>{1, 2, 1, 2} : std::vector<Int>(6, 1);
  for (const R odd : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (Int i = 1; i <= 6; ++i) {
      for (Int j = i; j <= 6; ++j) {
        for (const bool forward : {true, false}) {
          GuardedMatrix<T> S = distinct_schur_form<T>(this->random, blocks);
          S(i, j) = T(odd);
          S.seal();
          Reordered<T> form(S, random_unitary<T>(this->random, 6, 6));
          Int ifst = forward ? 1 : 5, ilst = forward ? 5 : 1;
          form.move('V', ifst, ilst);
          EXPECT_TRUE(form.info == 0 || form.info == 1);
          EXPECT_TRUE(form.S.guards_unchanged() && form.Q.guards_unchanged());
          EXPECT_FALSE(is_finite(form.S));
        }
      }
    }
  }
}

// ----------------------------------------------------------------------------------------------------------- arguments

template <Scalar T>
struct ValidMove {
  char compq = 'V';
  Int n = 3, ldt = 3, ldq = 3, ifst = 1, ilst = 3, info = 99;
  GuardedMatrix<T> S, Q;

  ValidMove() : ValidMove(Random(5)) {}
  explicit ValidMove(Random random)
      : S(random_schur_form<T>(random, {1, 1, 1}, 3)), Q(random_unitary<T>(random, 3, 3)) {}

  Int run() {
    if constexpr (RealScalar<T>) {
      GuardedVector<T> work(3);
      routine_call::trexc(compq, n, Matrix<T>(S.data(), ldt), Matrix<T>(Q.data(), ldq), ifst, ilst, work.data(), info);
    } else {
      routine_call::trexc(compq, n, Matrix<T>(S.data(), ldt), Matrix<T>(Q.data(), ldq), ifst, ilst, info);
    }
    return info;
  }
  bool unchanged() const { return S.unchanged() && Q.unchanged(); }
};

TYPED_TEST(SchurReordering, ChecksItsArguments) {
  using T = TypeParam;
  using Call = ValidMove<T>;
  expect_argument_checks<Call>(reported_name<T>("TREXC"), {{1, [](Call& c) { c.compq = 'I'; }},
                                                           {2, [](Call& c) { c.n = -1; }},
                                                           {4, [](Call& c) { c.ldt = 2; }},
                                                           {6, [](Call& c) { c.ldq = 2; }},
                                                           {7, [](Call& c) { c.ifst = 4; }},
                                                           {7, [](Call& c) { c.ifst = 0; }},
                                                           {8, [](Call& c) { c.ilst = 4; }},
                                                           {8, [](Call& c) { c.ilst = 0; }}});
  Call without_q;
  without_q.compq = 'N';
  without_q.ldq = 1;
  EXPECT_EQ(without_q.run(), 0);
  without_q.ldq = 0;
  EXPECT_EQ(without_q.run(), -6);
  // A form of order zero has no rows.
  Call empty;
  empty.n = 0;
  EXPECT_EQ(empty.run(), -7);
  EXPECT_EQ(take_error_reports().size(), 2u);
}

}  // namespace
}  // namespace nuv::test
