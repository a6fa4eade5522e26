// Blocks of reflectors: larf2, larft, larfb.

#include "orthogonal/reflectors.hpp"
#include "support/memory_requests.hpp"
#include "support/options.hpp"
#include "support/reported_errors.hpp"
#include "support/sanitized.hpp"

namespace nuv::test {
namespace {

template <class T>
class BlockReflector : public ReportingTest {
 protected:
  Random random{42};
};
TYPED_TEST_SUITE(BlockReflector, Precisions, PrecisionLetter);

struct Size {
  Int n, k;
};

std::string to_string(const Size& size) {
  return std::to_string(size.k) + " of order " + std::to_string(size.n);
}

/// Numbers of reflectors on both sides of the block widths of T, each with orders from the least possible.
std::vector<Size> block_sizes() {
  std::vector<Size> sizes;
  for (const Int k : {1, 2, 3, 15, 16, 17, 31, 32, 33, 48, 63, 64, 65, 95, 96, 97, 100}) {
    for (const Int more : {0, 1, 2, 7, 60}) {
      if (is_sanitized && k > 65) continue;
      sizes.push_back({k + more, k});
    }
  }
  return sizes;
}

// ----------------------------------------------------------------------------------------------------- larft, larf2

/// Calls one of the routines, and looks that it writes a triangle of T and nothing else.
template <Scalar T, class Routine>
GuardedMatrix<T> factor_of(ReflectorBlock<T>& block, Routine routine) {
  GuardedMatrix<T> t(block.k, block.k, block.k + 2);
  routine(block.form.direct, block.form.storev, block.n, block.k, block.V, block.tau.data(), t);
  EXPECT_TRUE(block.V.unchanged());
  EXPECT_TRUE(block.tau.unchanged());
  EXPECT_TRUE(t.unchanged_except([&](Int i, Int j) { return in_triangle(block.form, i, j); }));
  return t;
}

template <Scalar T>
GuardedMatrix<T> blocked_factor(ReflectorBlock<T>& block) {
  return factor_of(block, [](auto&&... arguments) { routine_call::larft(arguments...); });
}

GuardedMatrix<double> plain_factor(ReflectorBlock<double>& block) {
  return factor_of(block, [](auto&&... arguments) { routine_call::larf2(arguments...); });
}

/// ||(I - V T V^H) X - H X|| / (||H X|| n eps) for a few columns X.
template <Scalar T>
double factor_error(const ReflectorBlock<T>& block, const GuardedMatrix<T>& t) {
  Random random(5);
  const WideMatrix<T> V = block.vectors(), X = random_wide<T>(random, block.n, 3);
  const WideMatrix<T> by_factor = X - product<T>(V, product<T>(wide_factor(block.form, t), product<T>(V.adjoint(), X)));
  return relative_distance<T>(by_factor, block.times(false, X), block.n);
}

TYPED_TEST(BlockReflector, HasAFactorForTheProductOfItsReflectors) {
  using T = TypeParam;
  for (const Form& form : forms) {
    for (const Size& size : block_sizes()) {
      SCOPED_TRACE(to_string(form) + ", " + to_string(size));
      ReflectorBlock<T> block(this->random, form, size.n, size.k);
      const GuardedMatrix<T> t = blocked_factor(block);
      EXPECT_LT(factor_error(block, t), threshold);
      for (Int i = 1; i <= size.k; ++i) EXPECT_TRUE(same_bits(t(i, i), block.tau(i)));
    }
  }
}

TYPED_TEST(BlockReflector, HasTheSameFactorForSmallLetters) {
  using T = TypeParam;
  for (const Form& form : forms) {
    ReflectorBlock<T> block(this->random, form, 50, 20);
    const GuardedMatrix<T> t = blocked_factor(block);
    block.form = {char(std::tolower(form.direct)), char(std::tolower(form.storev))};
    GuardedMatrix<T> again(20, 20, 22);
    routine_call::larft(block.form.direct, block.form.storev, 50, 20, block.V, block.tau.data(), again);
    EXPECT_TRUE(again.same_as(t));
  }
}

TYPED_TEST(BlockReflector, OfOneReflectorHasItsTauAsFactor) {
  using T = TypeParam;
  for (const Form& form : forms) {
    for (const Int n : {1, 2, 30}) {
      ReflectorBlock<T> block(this->random, form, n, 1);
      EXPECT_TRUE(same_bits(blocked_factor(block)(1, 1), block.tau(1)));
    }
  }
}

TYPED_TEST(BlockReflector, MayHoldIdentities) {
  using T = TypeParam;
  for (const Form& form : forms) {
    for (const Int k : {3, 20, 70}) {
      for (const Int more : {0, 9}) {
        for (const Int j : {1, 2, k / 2, k - 1, k}) {
          SCOPED_TRACE(to_string(form) + ", " + to_string(Size{k + more, k}) + ", identity " + std::to_string(j));
          ReflectorBlock<T> block(this->random, form, k + more, k);
          const GuardedMatrix<T> full = blocked_factor(block);
          block.tau(j) = T(more == 0 ? 0.0 : -0.0);
          block.tau.seal();
          const GuardedMatrix<T> t = blocked_factor(block);
          EXPECT_LT(factor_error(block, t), threshold);
          EXPECT_TRUE(same_bits(t(j, j), T(0)));
          for (Int c = 1; c <= k; ++c) {
            for (Int i = form.forward() ? 1 : c; i <= (form.forward() ? c : k); ++i) {
              // Columns on the near side of j do not know of it.
              if (c == j || i == j) {
                EXPECT_EQ(t(i, c), T(0));
              } else if (form.forward() ? c < j : c > j) {
                EXPECT_TRUE(same_bits(t(i, c), full(i, c)));
              }
            }
          }
        }
      }
    }
  }
}

TYPED_TEST(BlockReflector, OfNothingHasNoFactor) {
  using T = TypeParam;
  GuardedMatrix<T> V(5, 3, 5), t(3, 3, 3);
  GuardedVector<T> tau(3);
  routine_call::larft('F', 'C', 0, 3, V, tau.data(), t);
  EXPECT_TRUE(t.unchanged());
  routine_call::larft('F', 'C', 5, 0, V, tau.data(), t);
  EXPECT_TRUE(t.unchanged());
}

TEST(PlainFactor, IsThatOfTheProductInAllForms) {
  Random random(43);
  for (const Form& form : forms) {
    for (const Size& size : block_sizes()) {
      SCOPED_TRACE(to_string(form) + ", " + to_string(size));
      ReflectorBlock<double> block(random, form, size.n, size.k);
      const GuardedMatrix<double> plain = plain_factor(block), blocked = blocked_factor(block);
      EXPECT_LT(factor_error(block, plain), threshold);
      EXPECT_LT(relative_distance<double>(wide_factor(form, plain), wide_factor(form, blocked), size.n), threshold);
    }
  }
}

TEST(PlainFactor, MayHoldIdentities) {
  Random random(44);
  for (const Form& form : forms) {
    for (const Int j : {1, 4, 9}) {
      ReflectorBlock<double> block(random, form, 12, 9);
      block.tau(j) = -0.0;
      block.tau.seal();
      const GuardedMatrix<double> t = plain_factor(block);
      EXPECT_LT(factor_error(block, t), threshold);
      for (Int i = form.forward() ? 1 : j; i <= (form.forward() ? j : 9); ++i) EXPECT_TRUE(same_bits(t(i, j), 0.0));
    }
  }
}

TEST(PlainFactor, OfOrderZeroIsNotWritten) {
  GuardedMatrix<double> V(5, 3, 5), t(3, 3, 3);
  GuardedVector<double> tau(3);
  routine_call::larf2('F', 'C', 0, 3, V, tau.data(), t);
  EXPECT_TRUE(t.unchanged());
}

/// The letters of a form, of which the ones that are no capitals stand for the same: small ones and, for backward and
/// rowwise, any others.
std::vector<Form> other_letters(const Form& form) {
  const auto letters = [](char capital, bool any_other) {
    std::vector<char> all = {char(std::tolower(capital))};
    if (any_other) all.insert(all.end(), {'x', 'Z', ' ', 'T'});
    return all;
  };
  std::vector<Form> all;
  for (const char direct : letters(form.direct, !form.forward())) {
    for (const char storev : letters(form.storev, !form.columnwise())) all.push_back({direct, storev});
  }
  return all;
}

/// Expects of a routine that forms factors that it takes all letters but two for backward and rowwise.
template <Scalar T, class Routine>
void expect_meaning_of_letters(Random& random, Routine routine) {
  for (const Form& form : forms) {
    ReflectorBlock<T> block(random, form, 50, 20);
    const GuardedMatrix<T> t = factor_of(block, routine);
    for (const auto& [direct, storev] : other_letters(form)) {
      GuardedMatrix<T> again(20, 20, 22);
      routine(direct, storev, 50, 20, Matrix<T>(block.V), block.tau.data(), Matrix<T>(again));
      EXPECT_TRUE(again.same_as(t)) << direct << storev;
    }
  }
}

TEST(PlainFactor, IsBackwardAndRowwiseForAllLettersButTwo) {
  Random random(46);
  expect_meaning_of_letters<double>(random, [](auto&&... arguments) { routine_call::larf2(arguments...); });
}

TYPED_TEST(BlockReflector, HasAFactorThatIsBackwardAndRowwiseForAllLettersButTwo) {
  using T = TypeParam;
  expect_meaning_of_letters<T>(this->random, [](auto&&... arguments) { routine_call::larft(arguments...); });
}

TYPED_TEST(BlockReflector, ReportsThatThereIsNoMemoryForItsFactor) {
  using T = TypeParam;
  for (const Form& form : forms) {
    ReflectorBlock<T> block(this->random, form, 30, 20);
    GuardedMatrix<T> t(20, 20, 20);
    {
      const MemoryRequests memory(MemoryRequests::all);
      routine_call::larft(form.direct, form.storev, 30, 20, block.V, block.tau.data(), t);
    }
    if (ComplexScalar<T>) {
      const std::vector<ErrorReport> expected = {{reported_name<T>("LARFT"), 1000}};
      EXPECT_EQ(take_error_reports(), expected);
      EXPECT_TRUE(t.unchanged());
    } else {
      EXPECT_FALSE(t.unchanged());
    }
    EXPECT_LT(factor_error(block, blocked_factor(block)), threshold);
  }
}

TYPED_TEST(BlockReflector, AsksForOneVectorAndGivesItBack) {
  using T = TypeParam;
  for (const Form& form : forms) {
    SCOPED_TRACE(to_string(form));
    // One block of columns, so that nothing but its own vector is asked for.
    ReflectorBlock<T> block(this->random, form, 300, 10);
    const MemoryRequests memory;
    blocked_factor(block);
    EXPECT_EQ(memory.count(), ComplexScalar<T> ? 1 : 0);
    EXPECT_EQ(memory.included(300 * sizeof(T)), ComplexScalar<T>);
    EXPECT_EQ(memory.kept(), 0);
  }
}

// ------------------------------------------------------------------------------------------------------------- larfb

/// op(H) C or C op(H)
template <Scalar T>
WideMatrix<T> applied(const ReflectorBlock<T>& block, bool left, bool adjoint_of_h, const WideMatrix<T>& C) {
  if (left) return block.times(adjoint_of_h, C);
  return block.times(!adjoint_of_h, C.adjoint()).adjoint();
}

TYPED_TEST(BlockReflector, IsAppliedFromEitherSide) {
  using T = TypeParam;
  for (const Size& size : {Size{1, 1}, {2, 1}, {5, 5}, {6, 5}, {16, 16}, {20, 7}, {33, 16}, {70, 33}, {97, 64}}) {
    for (const Int other : {1, 5, 8, 41}) {
      if (is_sanitized && size.n > 40) continue;
      for (const Form& form : forms) {
        ReflectorBlock<T> block(this->random, form, size.n, size.k);
        const GuardedMatrix<T> t = blocked_factor(block);
        for (const char side : sides) {
          for (const char trans : transes) {
            // On the right the letter goes to the factor itself, whose transpose makes no adjoint.
            if (ComplexScalar<T> && side == 'R' && trans == 'T') continue;
            SCOPED_TRACE(to_string(form) + ", " + to_string(size) + ", other " + std::to_string(other) + ", side " +
                         side + ", trans " + trans);
            const bool left = is_left(side);
            const Int m = left ? size.n : other, n = left ? other : size.n;
            const GuardedMatrix<T> C = random_matrix<T>(this->random, m, n, m + 3);
            GuardedMatrix<T> result = C, work(other, size.k, other + 2);
            routine_call::larfb(this->random.in_some_case(side), this->random.in_some_case(trans),
                                this->random.in_some_case(form.direct), this->random.in_some_case(form.storev), m, n,
                                size.k, block.V, t, result, work);
            const WideMatrix<T> expected = applied(block, left, is_transposed(trans), wide(C));
            EXPECT_LT(relative_distance<T>(wide(result), expected, size.n), threshold);
            EXPECT_TRUE(result.guards_unchanged());
            EXPECT_TRUE(work.guards_unchanged());
            EXPECT_TRUE(block.V.unchanged());
          }
        }
      }
    }
  }
}

TYPED_TEST(BlockReflector, TouchesNothingOfAnEmptyMatrix) {
  using T = TypeParam;
  for (const Form& form : forms) {
    for (const char side : sides) {
      for (const auto& [m, n] : {std::pair{0, 4}, {4, 0}, {0, 0}, {-1, 4}, {4, -1}}) {
        GuardedMatrix<T> V(4, 4, 4), t(2, 2, 2), C(4, 4, 4), work(4, 2, 4);
        routine_call::larfb(side, 'N', form.direct, form.storev, m, n, 2, V, t, C, work);
        EXPECT_TRUE(C.unchanged());
        EXPECT_TRUE(work.unchanged());
      }
    }
  }
}

TYPED_TEST(BlockReflector, TouchesNothingForAnUnknownSideOrStorage) {
  using T = TypeParam;
  for (const Form& form : forms) {
    ReflectorBlock<T> block(this->random, form, 6, 2);
    const GuardedMatrix<T> t = blocked_factor(block);
    GuardedMatrix<T> C = random_matrix<T>(this->random, 6, 6, 6), work(6, 2, 6);
    for (const char trans : {'N', 'T', 'C'}) {
      for (const char unknown : {'X', 'N', '\0'}) {
        routine_call::larfb(unknown, trans, form.direct, form.storev, 6, 6, 2, block.V, t, C, work);
        for (const char side : sides) {
          routine_call::larfb(side, trans, form.direct, unknown, 6, 6, 2, block.V, t, C, work);
        }
      }
    }
    EXPECT_TRUE(C.unchanged());
    EXPECT_TRUE(work.unchanged());
  }
}

TYPED_TEST(BlockReflector, IsBackwardUnlessItIsForward) {
  using T = TypeParam;
  for (const char storev : {'C', 'R'}) {
    ReflectorBlock<T> block(this->random, {'B', storev}, 20, 6);
    const GuardedMatrix<T> t = blocked_factor(block);
    GuardedMatrix<T> again(6, 6, 8);
    routine_call::larft('x', storev, 20, 6, block.V, block.tau.data(), again);
    EXPECT_TRUE(again.same_as(t));
    for (const char side : sides) {
      for (const char trans : {'N', adjoint_letter<T>}) {
        SCOPED_TRACE((std::string{storev, side, trans}));
        const bool left = is_left(side);
        const Int m = left ? 20 : 5, n = left ? 5 : 20;
        const GuardedMatrix<T> C = random_matrix<T>(this->random, m, n, m);
        GuardedMatrix<T> expected = C, result = C, work(5, 6, 5);
        routine_call::larfb(side, trans, 'B', storev, m, n, 6, block.V, t, expected, work);
        EXPECT_FALSE(expected.unchanged());
        for (const char direct : {'x', 'R', 'C', ' '}) {
          result = C;
          routine_call::larfb(side, trans, direct, storev, m, n, 6, block.V, t, result, work);
          EXPECT_TRUE(result.same_as(expected));
        }
      }
    }
  }
}

}  // namespace
}  // namespace nuv::test
