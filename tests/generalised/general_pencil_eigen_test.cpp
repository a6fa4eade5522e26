// Eigenvalues and eigenvectors of pencils of general matrices by ggev, ggevx and gegv.

#include <cmath>
#include <limits>

#include "generalised/pencil_calls.hpp"
#include "routines.hpp"
#include "support/described_matrices.hpp"
#include "support/real_precisions.hpp"
#include "support/reported_errors.hpp"
#include "support/small_stack.hpp"

namespace nuv::test {
namespace {

template <class T>
class GeneralPencilEigen : public ReportingTest {
 protected:
  Random random{832};

  Pencil<T> pencil(Int n) { return random_pencil<T>(random, n, std::max(1, n) + random.integer(0, 2)); }
};
TYPED_TEST_SUITE(GeneralPencilEigen, Precisions, PrecisionLetter);

template <class T>
class RealGeneralPencilEigen : public GeneralPencilEigen<T> {};
TYPED_TEST_SUITE(RealGeneralPencilEigen, RealPrecisions, PrecisionLetter);

/// Solves with all choices of vectors; what is wanted twice is the same.
template <class Driver, Scalar T>
PencilEigenCall<T> solve_in_all_ways(Random& random, const Pencil<T>& pencil) {
  const auto solved = [&](char left, char right, Room room) {
    return solve<Driver>(PencilEigenCall<T>(random.in_some_case(left), random.in_some_case(right), pencil), room);
  };
  const PencilEigenCall<T> both = solved('V', 'V', Room::best), least = solved('V', 'V', Room::least);
  expect_solution(pencil, both);
  expect_solution(pencil, least);
  for (const auto& [left, right] : {std::pair('V', 'N'), std::pair('N', 'V')}) {
    const PencilEigenCall<T> one = solved(left, right, Room::best);
    EXPECT_TRUE(same_values(one, both));
    EXPECT_TRUE(left == 'N' || one.VL.same_as(both.VL));
    EXPECT_TRUE(right == 'N' || one.VR.same_as(both.VR));
  }
  const PencilEigenCall<T> alone = solved('N', 'N', Room::least);
  EXPECT_EQ(alone.info, 0);
  EXPECT_TRUE(are_proper(alone.values(), RealScalar<T>));
  EXPECT_LT(spectrum_distance(alone.values(), both.values()), 1000 * std::max(1, both.n) * double(epsilon<T>));
  return both;
}

TYPED_TEST(GeneralPencilEigen, FindValuesAndVectorsAtEverySize) {
  using T = TypeParam;
  for (Int n = 0; n <= 12; ++n) {
    SCOPED_TRACE(n);
    const Pencil<T> pencil = this->pencil(n);
    const PencilEigenCall<T> simple = solve_in_all_ways<Ggev<T>>(this->random, pencil);
    for (const PencilEigenCall<T>& other :
         {solve_in_all_ways<Ggevx<T>>(this->random, pencil), solve_in_all_ways<Gegv<T>>(this->random, pencil)}) {
      EXPECT_TRUE(same_values(other, simple));
      EXPECT_TRUE(other.VL.same_as(simple.VL) && other.VR.same_as(simple.VR));
    }
  }
}

TYPED_TEST(GeneralPencilEigen, RunInSmallStacks) {
  using T = TypeParam;
  for (const Int n : {3, 140}) {
    const Pencil<T> pencil = this->pencil(n);
    PencilEigenCall<T> call('V', 'V', pencil);
    call.make_room(Ggev<T>::least(call));
    run_in_small_stack([&] { Ggev<T>::run(call); });
    expect_solution(pencil, call);
  }
}

TYPED_TEST(GeneralPencilEigen, FindThoseOfLargerPencils) {
  using T = TypeParam;
  for (const Int n : {60, 150}) {
    SCOPED_TRACE(n);
    const Pencil<T> pencil = this->pencil(n);
    expect_solution(pencil, solve<Ggev<T>>(PencilEigenCall<T>('V', 'V', pencil), n == 60 ? Room::least : Room::best));
  }
}

TYPED_TEST(GeneralPencilEigen, FindTheSpectrumThatAPencilWasMadeOf) {
  using T = TypeParam;
  const std::vector<PencilValue> values{{1, 1}, {-2, 1},   {{3, 1}, 2},  {{3, -1}, 2}, {-1, 0},
                                        {0, 1}, {5, 0.01}, {{-1, 4}, 1}, {{-1, -4}, 1}};
  const Pencil<T> pencil = pencil_with_values<T>(this->random, values, Int(values.size()));
  for (const char job : {'N', 'V'}) {
    const PencilEigenCall<T> call(job, job, pencil);
    for (const PencilEigenCall<T>& solved : {solve<Ggev<T>>(call), solve<Ggevx<T>>(call), solve<Gegv<T>>(call)}) {
      expect_solution(pencil, solved);
      EXPECT_LT(spectrum_distance(solved.values(), values), 1000 * double(epsilon<T>));
    }
  }
}

TYPED_TEST(GeneralPencilEigen, FindThoseThatAreIsolated) {
  using T = TypeParam;
  for (const Int n : {2, 3, 5, 9}) {
    SCOPED_TRACE(n);
    const Pencil<T> pencil = pencil_with_isolated_ends<T>(this->random, n);
    for (const char job : {'N', 'V'}) {
      const PencilEigenCall<T> call(job, job, pencil);
      for (const PencilEigenCall<T>& solved : {solve<Ggev<T>>(call), solve<Ggevx<T>>(call), solve<Gegv<T>>(call)}) {
        expect_solution(pencil, solved);
        EXPECT_EQ(solved.alpha(1), T(7));
        EXPECT_EQ(solved.beta(1), T(2));
        EXPECT_EQ(solved.alpha(n), T(5));
        EXPECT_EQ(solved.beta(n), T(4));
      }
    }
  }
}

TYPED_TEST(GeneralPencilEigen, FindThoseThatAreIsolatedAndHidden) {
  using T = TypeParam;
  for (const Int n : {2, 3, 5, 9}) {
    SCOPED_TRACE(n);
    const Pencil<T> pencil = pencil_with_hidden_ends<T>(this->random, n);
    const PencilEigenCall<T> call('V', 'V', pencil);
    for (const PencilEigenCall<T>& solved : {solve<Ggev<T>>(call), solve<Ggevx<T>>(call), solve<Gegv<T>>(call)}) {
      expect_solution(pencil, solved);
    }
  }
}

// ------------------------------------------------------------------------------------------------- special eigenvalues

/// Values of a pencil whose matrices were multiplied by these powers of two, without them.
std::vector<PencilValue> scaled_back(std::vector<PencilValue> values, std::pair<int, int> exponents) {
  const int half = exponents.first / 2;
  for (PencilValue& value : values) {
    value.alpha = value.alpha * std::ldexp(1.0, -half) * std::ldexp(1.0, half - exponents.first);
    value.beta = std::ldexp(value.beta, -exponents.second);
  }
  return values;
}

/// The same as expect_solution of a call for such a pencil, with the one it was made of.
template <Scalar T>
void expect_solution_scaled_back(const Pencil<T>& pencil, const PencilEigenCall<T>& call,
                                 std::pair<int, int> exponents) {
  ASSERT_EQ(call.info, 0);
  EXPECT_TRUE(are_proper(call.values(), RealScalar<T>));
  const std::vector<PencilValue> values = scaled_back(call.values(), exponents);
  const auto expect_vectors = [&](char side, const GuardedMatrix<T>& V) {
    EXPECT_TRUE(are_normalised(call, V)) << side;
    const PencilVectors<T> vectors = pencil_vectors<T>(V, values);
    EXPECT_LT(pencil_vector_residual(side, pencil.A, pencil.B, values, vectors), pencil_threshold) << side;
  };
  if (call.wants_left()) expect_vectors('L', call.VL);
  if (call.wants_right()) expect_vectors('R', call.VR);
}

/// As many are infinite, up to rounding, as B has zeros for singular values; one at least is so to the last bit.
template <Scalar T>
void expect_infinite(Int count, const std::vector<PencilValue>& values) {
  const PencilValue infinity{1, 0};
  Int infinite = 0, exactly = 0;
  for (const PencilValue& value : values) {
    infinite += chordal_distance(value, infinity) < 1000 * double(epsilon<T>);
    exactly += value.beta == 0;
  }
  EXPECT_EQ(infinite, count);
  EXPECT_GE(exactly, 1);
}

/// Where B is scaled and scaled back, too.
TYPED_TEST(GeneralPencilEigen, FindInfiniteOnesAndTheirVectors) {
  using T = TypeParam;
  const int large = std::numeric_limits<Real<T>>::max_exponent - 6;
  for (const auto& [n, rank] : {std::pair(2, 1), {5, 4}, {5, 2}, {9, 8}, {9, 4}}) {
    const Pencil<T> pencil = pencil_with_infinities<T>(this->random, n, rank, n);
    for (const int exponent : {0, large}) {
      SCOPED_TRACE(testing::Message() << n << ", rank " << rank << ", B times 2^" << exponent);
      Pencil<T> multiplied = pencil;
      scale_by_power(multiplied.B, exponent);
      for (const char job : {'N', 'V'}) {
        const PencilEigenCall<T> call(job, job, multiplied);
        for (const PencilEigenCall<T>& solved : {solve<Ggev<T>>(call), solve<Ggevx<T>>(call), solve<Gegv<T>>(call)}) {
          expect_solution_scaled_back(pencil, solved, {0, exponent});
          expect_infinite<T>(n - rank, scaled_back(solved.values(), {0, exponent}));
        }
      }
    }
  }
}

TYPED_TEST(GeneralPencilEigen, OfZeroMatrices) {
  using T = TypeParam;
  for (const bool a_is_zero : {true, false}) {
    for (const bool b_is_zero : {true, false}) {
      SCOPED_TRACE(testing::Message() << a_is_zero << b_is_zero);
      const Int n = 5;
      Pencil<T> pencil = this->pencil(n);
      for (auto [matrix, is_zero] : {std::pair(&pencil.A, a_is_zero), std::pair(&pencil.B, b_is_zero)}) {
        for (Int j = 1; is_zero && j <= n; ++j) std::fill_n(&(*matrix)(1, j), n, T(0));
        matrix->seal();
      }
      const PencilEigenCall<T> call('V', 'V', pencil);
      for (const PencilEigenCall<T>& solved : {solve<Ggev<T>>(call), solve<Ggevx<T>>(call), solve<Gegv<T>>(call)}) {
        ASSERT_EQ(solved.info, 0);
        EXPECT_TRUE(are_normalised(solved, solved.VL) && are_normalised(solved, solved.VR));
        // Beside a zero matrix all vectors belong to its values, and a measure of them is nothing over nothing.
        if (!a_is_zero && !b_is_zero) expect_solution(pencil, solved);
        for (Int i = 1; i <= n; ++i) {
          EXPECT_EQ(solved.values()[std::size_t(i - 1)].alpha == 0.0, a_is_zero) << i;
          EXPECT_EQ(solved.beta(i) == T(0), b_is_zero) << i;
        }
      }
    }
  }
}

TYPED_TEST(GeneralPencilEigen, EndForSingularPencils) {
  using T = TypeParam;
  for (const Int n : {2, 3, 6, 10}) {
    SCOPED_TRACE(n);
    const Pencil<T> pencil = singular_pencil<T>(this->random, n, n);
    PencilEigenCall<T> call('V', 'V', pencil);
    call.sense = 'B';
    for (const PencilEigenCall<T>& solved : {solve<Ggev<T>>(call), solve<Ggevx<T>>(call), solve<Gegv<T>>(call)}) {
      ASSERT_EQ(solved.info, 0);
      EXPECT_TRUE(are_proper(solved.values(), RealScalar<T>));
      EXPECT_TRUE(are_normalised(solved, solved.VL) && are_normalised(solved, solved.VR));
    }
  }
}

/// Each matrix that is hard to compute with beside each other one.
TYPED_TEST(GeneralPencilEigen, OfMatricesThatAreHardToComputeWith) {
  using T = TypeParam;
  const Int n = 8;
  DescribedMatrices described(45);
  for (const Description& of_a : matrices_of_full_rank) {
    for (const Description& of_b : matrices_of_full_rank) {
      SCOPED_TRACE(testing::Message() << of_a.name << " and " << of_b.name);
      const Pencil<T> pencil{described.general<T>(of_a, n, n, n), described.general<T>(of_b, n, n, n + 1)};
      expect_solution(pencil, solve<Ggev<T>>(PencilEigenCall<T>('V', 'V', pencil)));
    }
  }
}

// ------------------------------------------------------------------------------------------------------------ failures

/// NaN spoils what depends on it: there is no shift, and the iteration gives up.
TYPED_TEST(GeneralPencilEigen, TellOfAFailedIteration) {
  using T = TypeParam;
  const Int n = 6;
  for (const char job : {'N', 'V'}) {
    Pencil<T> pencil = pencil_with_isolated_ends<T>(this->random, n);
    pencil.A(3, 3) = T(std::numeric_limits<Real<T>>::quiet_NaN());
    pencil.A.seal();
    const PencilEigenCall<T> call(job, job, pencil);
    const PencilEigenCall<T> expert = solve<Ggevx<T>>(call);
    for (const PencilEigenCall<T>& solved : {solve<Ggev<T>>(call), expert, solve<Gegv<T>>(call)}) {
      EXPECT_EQ(solved.info, n + 1);
      EXPECT_EQ(solved.alpha(n), T(5));
      EXPECT_EQ(solved.beta(n), T(4));
    }
    EXPECT_EQ(expert.ilo, 2);
    EXPECT_EQ(expert.ihi, n - 1);
  }
}

// ------------------------------------------------------------------------------------------------------------- scaling

/// Powers of two by which A and B are multiplied, so that one of them, or both, leave the range of squares.
template <RealScalar R>
std::vector<std::pair<int, int>> extreme_exponents() {
  // Away from the end, where elements lose digits.
  const int large = std::numeric_limits<R>::max_exponent - 6, small = std::numeric_limits<R>::min_exponent + 30;
  return {{large, 0},     {small, 0},     {0, large},     {0, small},
          {large, small}, {small, large}, {large, large}, {small, small}};
}

TYPED_TEST(GeneralPencilEigen, ScaleVeryLargeAndVerySmallPencils) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 9;
  const Pencil<T> pencil = this->pencil(n);
  PencilEigenCall<T> with_conditions('V', 'V', pencil);
  with_conditions.sense = 'B';
  const PencilEigenCall<T> plain = solve<Ggevx<T>>(with_conditions);
  for (const auto& exponents : extreme_exponents<R>()) {
    SCOPED_TRACE(testing::Message() << exponents.first << ", " << exponents.second);
    Pencil<T> extreme = pencil;
    scale_by_power(extreme.A, exponents.first);
    scale_by_power(extreme.B, exponents.second);
    for (const char job : {'N', 'V'}) {
      const PencilEigenCall<T> call(job, job, extreme);
      for (const PencilEigenCall<T>& solved : {solve<Ggev<T>>(call), solve<Ggevx<T>>(call), solve<Gegv<T>>(call)}) {
        expect_solution_scaled_back(pencil, solved, exponents);
        const std::vector<PencilValue> values = scaled_back(solved.values(), exponents);
        EXPECT_LT(spectrum_distance(values, plain.values()), 1000 * double(epsilon<T>));
      }
    }
    PencilEigenCall<T> expert('V', 'V', extreme);
    expert.sense = 'B';
    expert = solve<Ggevx<T>>(expert);
    EXPECT_NEAR(std::ldexp(double(expert.abnrm), -exponents.first) / double(plain.abnrm), 1, 100 * epsilon<T>);
    EXPECT_NEAR(std::ldexp(double(expert.bbnrm), -exponents.second) / double(plain.bbnrm), 1, 100 * epsilon<T>);
  }
}

/// An eigenvalue whose beta is near underflow beside its alpha: gegv makes both larger.
TYPED_TEST(GeneralPencilEigen, KeepPartsThatMatterFromUnderflow) {
  using T = TypeParam;
  using R = Real<T>;
  const R least = std::numeric_limits<R>::min();
  Pencil<T> pencil = this->pencil(2);
  pencil.A(1, 1) = T(4 * least);
  pencil.A(2, 2) = T(least / 64);
  pencil.A(1, 2) = T(least);
  pencil.A(2, 1) = T(0);
  pencil.B(1, 1) = T(2 * least);
  pencil.B(2, 2) = T(least / 16);
  pencil.B(1, 2) = pencil.B(2, 1) = T(0);
  pencil.A.seal();
  pencil.B.seal();
  const PencilEigenCall<T> call('N', 'N', pencil);
  const PencilEigenCall<T> plain = solve<Ggev<T>>(call), careful = solve<Gegv<T>>(call);
  ASSERT_EQ(plain.info, 0);
  ASSERT_EQ(careful.info, 0);
  EXPECT_EQ(plain.alpha(2), T(least / 64));
  EXPECT_EQ(plain.beta(2), T(least / 16));
  EXPECT_EQ(careful.alpha(1), T(4 * least));
  EXPECT_EQ(careful.beta(1), T(2 * least));
  EXPECT_NEAR(double(std::real(careful.alpha(2)) / least), 1, 8 * epsilon<T>);
  EXPECT_NEAR(double(std::real(careful.beta(2)) / least), 4, 32 * epsilon<T>);
}

/// The same where B alone was scaled.
TYPED_TEST(GeneralPencilEigen, KeepADenominatorThatMattersFromUnderflow) {
  using T = TypeParam;
  using R = Real<T>;
  const R least = std::numeric_limits<R>::min(), in_range = std::sqrt(least) / std::numeric_limits<R>::epsilon();
  Pencil<T> pencil = this->pencil(2);
  for (Int j = 1; j <= 2; ++j) {
    for (Int i = 1; i <= 2; ++i) pencil.A(i, j) = pencil.B(i, j) = T(0);
  }
  pencil.A(1, 1) = T(16 * in_range);
  pencil.A(2, 2) = T(in_range / 2);
  pencil.B(1, 1) = T(2 * least);
  pencil.B(2, 2) = T(least / 16);
  pencil.A.seal();
  pencil.B.seal();
  const PencilEigenCall<T> careful = solve<Gegv<T>>(PencilEigenCall<T>('N', 'N', pencil));
  ASSERT_EQ(careful.info, 0);
  EXPECT_EQ(careful.alpha(1), T(16 * in_range));
  EXPECT_EQ(careful.beta(1), T(2 * least));
  EXPECT_NEAR(double(std::real(careful.alpha(2)) / in_range), 8, 64 * epsilon<T>);
  EXPECT_NEAR(double(std::real(careful.beta(2)) / least), 1, 8 * epsilon<T>);
}

/// alpha of a pair is as large as the eigenvalue times beta, whatever the elements of A are.
TYPED_TEST(RealGeneralPencilEigen, KeepPairsInRange) {
  using R = TypeParam;
  const int large = std::numeric_limits<R>::max_exponent - 6, power = std::numeric_limits<R>::digits / 4;
  Pencil<R> pencil = this->pencil(2);
  pencil.A(1, 1) = pencil.A(2, 2) = pencil.B(1, 2) = pencil.B(2, 1) = 0;
  pencil.A(1, 2) = std::ldexp(R(1), large);
  pencil.A(2, 1) = -pencil.A(1, 2);
  pencil.B(1, 1) = 1;
  pencil.B(2, 2) = std::ldexp(R(1), -2 * power);
  pencil.A.seal();
  pencil.B.seal();
  for (const char job : {'N', 'V'}) {
    const PencilEigenCall<R> call(job, job, pencil);
    for (const PencilEigenCall<R>& solved : {solve<Ggev<R>>(call), solve<Ggevx<R>>(call), solve<Gegv<R>>(call)}) {
      ASSERT_EQ(solved.info, 0);
      for (const Int i : {1, 2}) {
        const double quotient = std::ldexp(double(solved.alphai(i)), -large) / double(solved.beta(i));
        EXPECT_NEAR(std::ldexp(quotient, -power), i == 1 ? 1 : -1, 100 * epsilon<R>) << i;
      }
    }
  }
}

// ----------------------------------------------------------------------------------------------------------- balancing

/// Balancing as ggbal does it, and eigenvalues none the worse for bad scales where it is allowed.
TYPED_TEST(GeneralPencilEigen, BalanceAsTheCallerChooses) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 8;
  Pencil<T> pencil = this->pencil(n);
  for (Int i = 2; i <= n; ++i) pencil.A(i, 1) = pencil.B(i, 1) = T(0);
  pencil.A.seal();
  pencil.B.seal();
  const PencilEigenCall<T> plain = solve<Ggev<T>>(PencilEigenCall<T>('V', 'V', pencil));
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) {
      const R scale = std::ldexp(R(1), 3 * ((i * 5) % n - (j * 3) % n));
      pencil.A(i, j) *= scale;
      pencil.B(i, j) *= scale;
    }
  }
  pencil.A.seal();
  pencil.B.seal();
  for (const char balanc : {'N', 'P', 'S', 'B'}) {
    SCOPED_TRACE(balanc);
    for (const Room room : {Room::least, Room::best}) {
      PencilEigenCall<T> call('V', 'V', pencil);
      call.balanc = this->random.in_some_case(balanc);
      call = solve<Ggevx<T>>(call, room);
      ASSERT_EQ(call.info, 0);
      EXPECT_TRUE(are_normalised(call, call.VR) && are_normalised(call, call.VL));

      GuardedMatrix<T> A = pencil.A, B = pencil.B;
      GuardedVector<R> lscale(n), rscale(n), work(6 * n);
      Int ilo = 0, ihi = 0, info = 0;
      routine_call::ggbal(balanc, n, Matrix<T>(A), Matrix<T>(B), ilo, ihi, lscale.data(), rscale.data(), work.data(),
                          info);
      EXPECT_EQ(call.ilo, ilo);
      EXPECT_EQ(call.ihi, ihi);
      EXPECT_TRUE(call.lscale.same_as(lscale));
      EXPECT_TRUE(call.rscale.same_as(rscale));
      EXPECT_NEAR(double(call.abnrm) / one_norm<T>(wide(A)), 1, n * epsilon<T>);
      EXPECT_NEAR(double(call.bbnrm) / one_norm<T>(wide(B)), 1, n * epsilon<T>);
      if (is_one_of(balanc, 'S', 'B')) {
        EXPECT_LT(spectrum_distance(call.values(), plain.values()), 1000 * double(epsilon<T>));
      } else {
        expect_solution(pencil, call);
      }
    }
  }
}

/// Scaling alone takes more workspace.
TYPED_TEST(GeneralPencilEigen, FindValuesAloneInLeastWorkspaceWhateverTheBalance) {
  using T = TypeParam;
  for (const Int n : {1, 2, 7}) {
    const Pencil<T> pencil = this->pencil(n);
    const PencilEigenCall<T> plain = solve<Ggev<T>>(PencilEigenCall<T>('V', 'N', pencil));
    for (const char balanc : {'N', 'P', 'S', 'B'}) {
      PencilEigenCall<T> call('N', 'N', pencil);
      call.balanc = balanc;
      call = solve<Ggevx<T>>(call, Room::least);
      ASSERT_EQ(call.info, 0);
      EXPECT_LT(spectrum_distance(call.values(), plain.values()), 1000 * double(epsilon<T>));
    }
  }
}

// --------------------------------------------------------------------------------------------------------- conditions

template <Scalar T>
double reciprocal_condition(const Pencil<T>& pencil, const PencilVectors<T>& left, const PencilVectors<T>& right,
                            Eigen::Index k) {
  using C = std::complex<WideReal<T>>;
  const auto form = [&](const GuardedMatrix<T>& M) {
    const PencilVectors<T> Mv = wide(M).template cast<C>() * right.col(k);
    return std::abs(std::complex<double>(C(left.col(k).dot(Mv.col(0)))));
  };
  return std::hypot(form(pencil.A), form(pencil.B)) / double(left.col(k).norm() * right.col(k).norm());
}

TYPED_TEST(GeneralPencilEigen, GiveConditionNumbersByTheirDefinition) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int n : {1, 2, 5, 9}) {
    SCOPED_TRACE(n);
    const Pencil<T> pencil = this->pencil(n);
    PencilEigenCall<T> call('V', 'V', pencil);
    call.balanc = 'N';
    call.sense = 'B';
    const PencilEigenCall<T> best = solve<Ggevx<T>>(call), least = solve<Ggevx<T>>(call, Room::least);
    expect_solution(pencil, best);
    expect_solution(pencil, least);
    const std::vector<PencilValue> values = best.values();
    const PencilVectors<T> left = pencil_vectors<T>(best.VL, values), right = pencil_vectors<T>(best.VR, values);
    for (Int i = 1; i <= n; ++i) {
      EXPECT_NEAR(double(best.rconde(i)), reciprocal_condition(pencil, left, right, i - 1), 1000 * epsilon<T>) << i;
    }
    // Those of the Schur form that stands in A and B.
    GuardedMatrix<T> VL(n, n, n), VR(n, n, n);
    GuardedVector<T> work(2 * n * n + 8 * n + 16);
    GuardedVector<R> s(n), dif(n), rwork(2 * n);
    GuardedVector<Int> iwork(n + 6);
    Logical unused = 0;
    Int m = 0, info = 0;
    const Matrix<const T> S = best.A, P = best.B;
    if constexpr (RealScalar<T>) {
      routine_call::tgevc('B', 'A', &unused, n, S, P, Matrix<T>(VL), Matrix<T>(VR), n, m, work.data(), info);
    } else {
      routine_call::tgevc('B', 'A', &unused, n, S, P, Matrix<T>(VL), Matrix<T>(VR), n, m, work.data(), rwork.data(),
                          info);
    }
    ASSERT_EQ(info, 0);
    routine_call::tgsna('B', 'A', &unused, n, S, P, Matrix<const T>(VL), Matrix<const T>(VR), s.data(), dif.data(), n,
                        m, work.data(), work.size(), iwork.data(), info);
    ASSERT_EQ(info, 0);
    EXPECT_TRUE(best.rconde.same_as(s));
    EXPECT_TRUE(best.rcondv.same_as(dif));
  }
}

TYPED_TEST(GeneralPencilEigen, GiveTheConditionNumbersThatAreWanted) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 7;
  const Pencil<T> pencil = this->pencil(n);
  PencilEigenCall<T> full('V', 'V', pencil);
  full.sense = 'B';
  const PencilEigenCall<T> both = solve<Ggevx<T>>(full);
  const GuardedVector<R> untouched(n);
  for (const auto& [left, right] :
       {std::pair('V', 'V'), std::pair('N', 'N'), std::pair('N', 'V'), std::pair('V', 'N')}) {
    for (const char sense : {'N', 'E', 'V', 'B'}) {
      SCOPED_TRACE(testing::Message() << left << right << sense);
      PencilEigenCall<T> call(left, right, pencil);
      call.sense = this->random.in_some_case(sense);
      const PencilEigenCall<T> some = solve<Ggevx<T>>(call), least = solve<Ggevx<T>>(call, Room::least);
      ASSERT_EQ(some.info, 0);
      ASSERT_EQ(least.info, 0);
      if (sense != 'N' || call.wants_left() || call.wants_right()) {
        EXPECT_TRUE(same_values(some, both));
      }
      EXPECT_TRUE(some.rconde.same_as(is_one_of(sense, 'E', 'B') ? both.rconde : untouched));
      EXPECT_TRUE(some.rcondv.same_as(is_one_of(sense, 'V', 'B') ? both.rcondv : untouched));
      EXPECT_TRUE(sense != 'N' || some.bwork.unchanged());
    }
  }
}

/// Wherever it stands, and with the numbers of others beside it.
TYPED_TEST(GeneralPencilEigen, GiveNoConditionNumberOfAnIndefiniteValue) {
  using T = TypeParam;
  const Int n = 4;
  for (Int indefinite = 1; indefinite <= n; ++indefinite) {
    Pencil<T> pencil = this->pencil(n);
    for (GuardedMatrix<T>* const M : {&pencil.A, &pencil.B}) {
      for (Int j = 1; j < n; ++j) std::fill_n(&(*M)(j + 1, j), n - j, T(0));
      (*M)(indefinite, indefinite) = T(0);
      M->seal();
    }
    for (const char sense : {'E', 'V', 'B'}) {
      SCOPED_TRACE(testing::Message() << indefinite << sense);
      PencilEigenCall<T> call('N', 'N', pencil);
      call.balanc = 'N';
      call.sense = sense;
      call = solve<Ggevx<T>>(call);
      ASSERT_EQ(call.info, 0);
      ASSERT_EQ(call.alpha(indefinite), T(0));
      ASSERT_EQ(call.beta(indefinite), T(0));
      if (sense == 'V') {
        EXPECT_TRUE(call.rconde.unchanged());
        continue;
      }
      for (Int i = 1; i <= n; ++i) {
        if (i == indefinite) {
          EXPECT_EQ(call.rconde(i), -1);
        } else {
          EXPECT_GT(call.rconde(i), 0) << i;
        }
      }
    }
  }
}

/// Where the pairs of known condition numbers have eigenvalues of other order, too.
TYPED_TEST(GeneralPencilEigen, FindTheTrueConditionNumbersOfKnownPencils) {
  using T = TypeParam;
  using R = Real<T>;
  const R root = std::sqrt(std::sqrt(epsilon<R>)), parameters[] = {root, R(0.1), R(1), R(10), 1 / root};
  for (const Int n : {5, 6}) {
    for (const Int type : {1, 2}) {
      for (int round = 0; round < 100; ++round) {
        R p[4];
        for (R& parameter : p) parameter = parameters[this->random.integer(0, 4)];
        SCOPED_TRACE(testing::Message() << "order " << n << ", type " << type << ": " << p[0] << ' ' << p[1] << ' '
                                        << p[2] << ' ' << p[3]);
        Pencil<T> pencil{GuardedMatrix<T>(n, n, n), GuardedMatrix<T>(n, n, n)};
        GuardedMatrix<T> X(n, n, n), Y(n, n, n);
        GuardedVector<R> s(n), dif(n);
        routine_call::latm6(type, n, Matrix<T>(pencil.A), pencil.B.data(), Matrix<T>(X), Matrix<T>(Y), T(p[0]), T(p[1]),
                            T(p[2]), T(p[3]), s.data(), dif.data());
        pencil.A.seal();
        pencil.B.seal();
        PencilEigenCall<T> call('V', 'V', pencil);
        call.balanc = 'N';
        call.sense = 'B';
        call = solve<Ggevx<T>>(call);
        expect_solution(pencil, call);
        for (Int i = 1; i <= n; ++i) EXPECT_NEAR(double(call.rconde(i) / s(i)), 1, 0.1) << i;
        // Those of vectors are estimates for other bases of the spaces, which are near to one another where vectors
        // are. Of a real pair they count how near to each other its two values are, too.
        if (std::ranges::any_of(p, [=](R x) { return x == root || x == 1 / root; })) continue;
        for (const Int i : {1, 5}) {
          const double ratio = double(call.rcondv(i) / dif(i));
          EXPECT_TRUE((RealScalar<T> && type == 2) || ratio > 0.1) << i << ": " << ratio;
          EXPECT_LT(ratio, 10 * n) << i;
        }
      }
    }
  }
}

// -------------------------------------------------------------------------------------------------------------- large

/// Of some eigenvectors from all over the spectrum that they are those of the pencil.
template <Scalar T>
void expect_vectors_of_large_pencil() {
  Random random(836);
  const Int n = 300, step = 9;
  const Pencil<T> pencil = random_pencil<T>(random, n, n + 1);
  const PencilEigenCall<T> call = solve<Ggev<T>>(PencilEigenCall<T>('V', 'V', pencil));
  ASSERT_EQ(call.info, 0);
  const std::vector<PencilValue> values = call.values();
  EXPECT_TRUE(are_proper(values, RealScalar<T>));
  for (const char side : {'L', 'R'}) {
    const GuardedMatrix<T>& V = side == 'L' ? call.VL : call.VR;
    EXPECT_TRUE(are_normalised(call, V));
    const PencilVectors<T> vectors = pencil_vectors<T>(V, values);
    std::vector<PencilValue> some;
    std::vector<Eigen::Index> columns;
    for (Int k = random.integer(0, step - 1); k < n; k += step) {
      some.push_back(values[std::size_t(k)]);
      columns.push_back(k);
    }
    const PencilVectors<T> chosen = vectors(Eigen::all, columns);
    EXPECT_LT(pencil_vector_residual(side, pencil.A, pencil.B, some, chosen), pencil_threshold) << side;
  }
}

TEST(LargePencilEigen, FindsRealAndConjugateOnes) {
  expect_vectors_of_large_pencil<double>();
}

TEST(LargePencilEigen, FindsComplexOnes) {
  expect_vectors_of_large_pencil<std::complex<double>>();
}

}  // namespace
}  // namespace nuv::test
