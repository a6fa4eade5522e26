// What the drivers for pencils of general matrices leave where the QZ iteration ends in the middle of a pencil: the
// eigenvalues behind, and nothing in front.

#include <cmath>
#include <limits>

#include "generalised/pencil_calls.hpp"
#include "support/real_precisions.hpp"
#include "support/reported_errors.hpp"

namespace nuv::test {
namespace {

constexpr Int n = 7;

/// Of which kind rows 2 ... 4 are.
enum class Middle {
  circle,  ///< they turn in circles: the iteration comes to its limit
  nan      ///< no shift can be made
};

/// An eigenvalue that balancing isolates on either end, 7 / 2 and 5 / 4, three rows whose eigenvalues nobody finds, and
/// a pair behind them. Above the diagonal blocks there are elements everywhere.
template <Scalar T>
Pencil<T> failing_pencil(Random& random, Middle middle) {
  Pencil<T> pencil = random_pencil<T>(random, n, n + 1);
  auto& [A, B] = pencil;
  const Int first_row_of_block[] = {1, 2, 2, 2, 5, 5, 7};
  for (Int i = 1; i <= n; ++i) {
    for (Int j = 1; j <= n; ++j) {
      if (first_row_of_block[i - 1] > first_row_of_block[j - 1]) A(i, j) = B(i, j) = T(0);
    }
  }
  const auto set = [](GuardedMatrix<T>& M, Int i, Int j, int value) { M(i, j) = T(Real<T>(value)); };
  for (Int i = 2; i <= 4; ++i) {
    for (Int j = 2; j <= 4; ++j) {
      set(A, i, j, i == j % 3 + 2);
      set(B, i, j, i == j);
    }
  }
  for (const Int i : {0, 1}) {
    for (const Int j : {0, 1}) {
      set(A, 5 + i, 5 + j, i == j ? 1 : 2 * (i - j));
      set(B, 5 + i, 5 + j, i == j ? 2 : i - j);
    }
  }
  set(A, 1, 1, 7);
  set(B, 1, 1, 2);
  set(A, n, n, 5);
  set(B, n, n, 4);
  if (middle == Middle::nan) A(2, 4) = T(std::numeric_limits<Real<T>>::quiet_NaN());
  A.seal();
  B.seal();
  return pencil;
}

/// (1 + 2 i) / (2 + i) and its conjugate.
const std::vector<PencilValue> values_behind{{{0.8, 0.6}, 1}, {{0.8, -0.6}, 1}, {5, 4}};

struct Failure {
  Middle middle;
  int in_a, in_b;  ///< the matrices are multiplied by these powers of two
  Int info, first_found;
};

/// Matrices that the drivers scale are among them. Of one that holds a NaN they know no norm: they don't scale it, and
/// complex members, whose shifts are those of the pencil in norm one, don't find the pair.
template <Scalar T>
std::vector<Failure> failures() {
  using R = Real<T>;
  const int large = std::numeric_limits<R>::max_exponent - 8, small = std::numeric_limits<R>::min_exponent + 30;
  const Int behind_nan = ComplexScalar<T> ? n : 5;
  return {{Middle::circle, 0, 0, 4, 5},
          {Middle::circle, large, small, 4, 5},
          {Middle::circle, small, large, 4, 5},
          {Middle::nan, 0, 0, n + 1, behind_nan},
          {Middle::nan, 0, large, n + 1, behind_nan}};
}

template <Scalar T>
Pencil<T> failing_pencil(Random& random, const Failure& failure) {
  Pencil<T> pencil = failing_pencil<T>(random, failure.middle);
  scale_by_power(pencil.A, failure.in_a);
  scale_by_power(pencil.B, failure.in_b);
  return pencil;
}

/// With numbers where eigenvalues come, so that it shows if they are scaled without being eigenvalues.
template <class Call>
Call with_numbers(Call call) {
  for (auto* const values : {&call.alpha, &call.alphai, &call.beta}) {
    for (Int j = 1; j <= n; ++j) (*values)(j) = Real<std::remove_cvref_t<decltype((*values)(j))>>(j);
    values->seal();
  }
  return call;
}

/// The eigenvalues behind are those of the pencil that was given; places in front of them, also of what was isolated,
/// are as they were.
template <Scalar T>
void expect_values_behind(const PencilDriverCall<T>& call, const Failure& failure) {
  const Int first = failure.first_found;
  EXPECT_EQ(call.info, failure.info);
  for (const GuardedVector<T>* const values : {&call.alpha, &call.alphai, &call.beta}) {
    EXPECT_TRUE(values->unchanged_outside(first, n));
  }
  std::vector<PencilValue> found = call.values();
  found.erase(found.begin(), found.begin() + (first - 1));
  const int half = failure.in_a / 2;
  for (PencilValue& value : found) {
    value.alpha = value.alpha * std::ldexp(1.0, -half) * std::ldexp(1.0, half - failure.in_a);
    value.beta = std::ldexp(value.beta, -failure.in_b);
  }
  EXPECT_TRUE(are_proper(found, RealScalar<T>));
  EXPECT_LT(spectrum_distance(found, {values_behind.begin() + (first - 5), values_behind.end()}), 100 * epsilon<T>);
  // What was isolated keeps its parts, too.
  EXPECT_NEAR(std::abs(found.back().alpha - 5.0), 0, 50 * epsilon<T>);
  EXPECT_NEAR(found.back().beta, 4, 40 * epsilon<T>);
}

template <class T>
class FailedPencilIteration : public ReportingTest {
 protected:
  Random random{834};
};
TYPED_TEST_SUITE(FailedPencilIteration, Precisions, PrecisionLetter);

/// The pencil is as far on its way to Schur form as the vectors are.
template <Scalar T>
void expect_unfinished_form(const Pencil<T>& pencil, const PencilSchurCall<T>& call) {
  EXPECT_TRUE(is_hessenberg_triangular(call.A, call.B, 2, n - 1));
  EXPECT_LT(unitary_residual(call.VL), pencil_threshold);
  EXPECT_LT(unitary_residual(call.VR), pencil_threshold);
  EXPECT_LT(pencil_residual(pencil.A, call.VL, call.A, call.VR), pencil_threshold) << "A";
  EXPECT_LT(pencil_residual(pencil.B, call.VL, call.B, call.VR), pencil_threshold) << "B";
}

TYPED_TEST(FailedPencilIteration, LeavesTheValuesBehindToSchurForms) {
  using T = TypeParam;
  for (const Failure& failure : failures<T>()) {
    SCOPED_TRACE(testing::Message() << failure.info << ": 2^" << failure.in_a << ", 2^" << failure.in_b);
    const Pencil<T> pencil = failing_pencil<T>(this->random, failure);
    const PencilSelector<T> all = pencil_selector<T>([](const PencilValue&) { return true; });
    const PencilSchurCall<T> call = with_numbers(PencilSchurCall<T>(all, pencil, 'B'));
    const PencilSchurCall<T> simple = solve<Gges<T>>(call), expert = solve<Ggesx<T>>(call),
                             older = solve<Gegs<T>>(call);
    for (const PencilSchurCall<T>& solved : {simple, expert, older}) {
      expect_values_behind(solved, failure);
      EXPECT_TRUE(solved.bwork.unchanged());
      EXPECT_TRUE(solved.rconde.unchanged() && solved.rcondv.unchanged());
      if (failure.middle == Middle::circle) expect_unfinished_form(pencil, solved);
    }
    EXPECT_EQ(simple.sdim, 0);
    EXPECT_EQ(expert.sdim, 0);
  }
}

/// With vectors wanted, without any, and with condition numbers, of which there are none.
TYPED_TEST(FailedPencilIteration, LeavesTheValuesBehindToEigenvectors) {
  using T = TypeParam;
  for (const Failure& failure : failures<T>()) {
    SCOPED_TRACE(testing::Message() << failure.info << ": 2^" << failure.in_a << ", 2^" << failure.in_b);
    const Pencil<T> pencil = failing_pencil<T>(this->random, failure);
    for (const auto& [job, sense] :
         {std::pair('V', 'B'), std::pair('V', 'N'), std::pair('N', 'B'), std::pair('N', 'N')}) {
      PencilEigenCall<T> call = with_numbers(PencilEigenCall<T>(job, job, pencil));
      call.sense = sense;
      const PencilEigenCall<T> expert = solve<Ggevx<T>>(call);
      for (const PencilEigenCall<T>& solved : {solve<Ggev<T>>(call), expert, solve<Gegv<T>>(call)}) {
        expect_values_behind(solved, failure);
        // Nothing was made of the Schur vectors.
        if (job == 'N' || failure.middle == Middle::nan) continue;
        EXPECT_LT(unitary_residual(solved.VL), pencil_threshold);
        EXPECT_LT(unitary_residual(solved.VR), pencil_threshold);
      }
      EXPECT_EQ(expert.ilo, 2);
      EXPECT_EQ(expert.ihi, n - 1);
      EXPECT_TRUE(expert.rconde.unchanged() && expert.rcondv.unchanged());
      EXPECT_TRUE(expert.bwork.unchanged());
    }
  }
}

template <class R>
class RealPencilVectors : public ReportingTest {};
TYPED_TEST_SUITE(RealPencilVectors, RealPrecisions, PrecisionLetter);

/// Vectors are missing where one step takes eigenvalues for a conjugate pair that are real to the other. Here they are
/// double up to rounding, in B M for M = 1 + [a b; -a^2/b -a].
TYPED_TEST(RealPencilVectors, AreThereForPairsThatAreAlmostReal) {
  using R = TypeParam;
  Random random(837);
  int pairs = 0;
  for (int round = 0; round < 400; ++round) {
    Pencil<R> pencil = random_pencil<R>(random, 2, 2);
    auto& [A, B] = pencil;
    const R a = R(random.real()), b = random.divisor<R>(), c = -a * a / b;
    for (const Int i : {1, 2}) {
      A(i, 1) = B(i, 1) * (1 + a) + B(i, 2) * c;
      A(i, 2) = B(i, 1) * b + B(i, 2) * (1 - a);
    }
    A.seal();
    const PencilEigenCall<R> call('V', 'V', pencil);
    for (const PencilEigenCall<R>& solved : {solve<Ggev<R>>(call), solve<Ggevx<R>>(call), solve<Gegv<R>>(call)}) {
      expect_solution(pencil, solved);
      pairs += solved.alphai(1) > 0;
    }
  }
  EXPECT_TRUE(pairs > 300 && pairs < 900) << pairs;
}

}  // namespace
}  // namespace nuv::test
