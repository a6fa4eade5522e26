// Generalised Sylvester equations by blocks, and the separation of their pencils: ?tgsyl.

#include <cmath>
#include <limits>

#include "generalised/pencil_equations.hpp"
#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/real_precisions.hpp"
#include "support/wide_spectrum.hpp"

namespace nuv::test {
namespace {

template <Scalar T>
struct LongEquation : EquationCall<T> {
  using R = Real<T>;
  using EquationCall<T>::trans, EquationCall<T>::ijob, EquationCall<T>::info, EquationCall<T>::scale;
  using EquationCall<T>::r, EquationCall<T>::l;

  Int lwork = 1;
  GuardedVector<T> work;
  GuardedVector<Int> iwork;
  R dif = -7;

  explicit LongEquation(const EquationData<T>& data)
      : EquationCall<T>(data), work(1), iwork(data.m + data.n + (RealScalar<T> ? 6 : 2)) {}

  LongEquation& with_job(Int job) {
    ijob = job;
    lwork = !this->is_adjoint() && (job == 1 || job == 2) ? std::max(1, 2 * this->m * this->n) : 1;
    work = GuardedVector<T>(lwork);
    dif = -7;
    return *this;
  }

  Int run() {
    const Matrix<const T> A{this->A.data(), this->lda}, B{this->B.data(), this->ldb}, D{this->D.data(), this->ldd},
        E{this->E.data(), this->lde};
    const Matrix<T> C{r.data(), this->ldc}, F{l.data(), this->ldf};
    routine_call::tgsyl(trans, ijob, this->m, this->n, A, B, C, D, E, F, scale, dif, work.data(), lwork, iwork.data(),
                        info);
    return info;
  }

  LongEquation& solve() {
    r = this->C;
    l = this->F;
    run();
    EXPECT_TRUE(this->coefficients_unchanged() && r.guards_unchanged() && l.guards_unchanged());
    EXPECT_TRUE(work.guards_unchanged() && iwork.guards_unchanged());
    EXPECT_EQ(work(1), T(R(lwork)));
    return *this;
  }
};

/// That tell where a block of order two stands across the border of two rows or columns each, and where not.
const std::vector<Int> borders[] = {{1},          {2},          {1, 1},         {1, 2},          {2, 1},
                                    {1, 1, 1},    {2, 2},       {1, 2, 1},      {1, 1, 2, 1, 2}, {2, 1, 2, 2},
                                    {1, 2, 2, 1}, {1, 1, 1, 1}, {1, 1, 1, 2, 1}};

template <class T>
class PencilSylvester : public ReportingTest {
 protected:
  LongEquation<T> long_problem(Int m, Int n) {
    EquationData<T> data(random, random_blocks<T>(random, m), random_blocks<T>(random, n));
    data.couple_weakly();
    return LongEquation<T>(data);
  }

  Random random{67};
};
TYPED_TEST_SUITE(PencilSylvester, Precisions, PrecisionLetter);

template <class T>
class RealPencilSylvester : public PencilSylvester<T> {};
TYPED_TEST_SUITE(RealPencilSylvester, RealPrecisions, PrecisionLetter);

TYPED_TEST(PencilSylvester, SolvesEachKindWithBlocksAtAllBorders) {
  using T = TypeParam;
  for (const std::vector<Int>& left : borders) {
    for (const std::vector<Int>& right : borders) {
      LongEquation<T> equation({this->random, left, right});
      for (const char trans : equation_letters<T>()) {
        SCOPED_TRACE(testing::Message() << equation.m << " by " << equation.n << ", " << trans);
        equation.trans = trans;
        equation.with_job(0).solve();
        EXPECT_EQ(equation.info, 0);
        EXPECT_EQ(equation.scale, Real<T>(1));
        EXPECT_EQ(equation.dif, Real<T>(-7));
        EXPECT_LT(equation.residual(), equation_threshold);
        if (equation.m * equation.n <= 16) {
          EXPECT_LT(equation.error(), 1);
        }
      }
    }
  }
}

TYPED_TEST(PencilSylvester, SolvesLongEquations) {
  using T = TypeParam;
  for (const auto& [m, n] : {std::pair{30, 17}, {9, 40}, {61, 3}, {1, 35}, {50, 50}}) {
    LongEquation<T> equation = this->long_problem(m, n);
    for (const char trans : equation_letters<T>()) {
      SCOPED_TRACE(testing::Message() << m << " by " << n << ", " << trans);
      equation.trans = trans;
      equation.with_job(0).solve();
      EXPECT_EQ(equation.info, 0);
      EXPECT_LT(equation.residual(), equation_threshold);
    }
  }
}

TYPED_TEST(PencilSylvester, ScalesWhatWouldOverflow) {
  using T = TypeParam;
  using R = Real<T>;
  for (const std::vector<Int>& left : borders) {
    EquationData<T> data(this->random, left, {1, 2, 2, 1});
    data.scale_coefficients(std::ldexp(R(1), std::numeric_limits<R>::min_exponent / 2));
    data.scale_right_side(std::ldexp(R(1), std::numeric_limits<R>::max_exponent - 8));
    LongEquation<T> equation(data);
    for (const char trans : equation_letters<T>()) {
      equation.trans = trans;
      equation.with_job(0).solve();
      expect_scaled_solution(equation);
    }
    // With an estimate beside it, the scale is still that of the solution.
    equation.trans = 'N';
    const R scale = equation.with_job(0).solve().scale;
    EXPECT_EQ(equation.with_job(1).solve().scale, scale);
    EXPECT_LT(equation.residual(), equation_threshold);
  }
}

/// Each unknown makes the next one overflow, so that what was solved is scaled again, in all its places.
TYPED_TEST(PencilSylvester, ScalesAgainAndAgain) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr R least = 3 * (std::numeric_limits<R>::min() / epsilon<T>);
  for (const Int size : {3, 6}) {
    EquationData<T> data(this->random, std::vector<Int>(std::size_t(size), 1), {1, 1, 1});
    const auto fill = [](GuardedMatrix<T>& S, R diagonal, R above) {
      for (Int j = 1; j <= S.columns(); ++j) {
        for (Int i = 1; i <= std::min(S.rows(), j + (RealScalar<T> ? 1 : 0)); ++i)
          S(i, j) = T(i == j ? diagonal : i == j - 1 ? above : R(0));
      }
      S.seal();
    };
    fill(data.A, 2 * least, R(0.75) * least / std::sqrt(epsilon<T>));
    fill(data.B, R(0), R(0));
    fill(data.D, R(0), R(0));
    fill(data.E, 2 * least, R(0));
    data.A.seal();
    LongEquation<T> equation(data);
    for (const char trans : {'N', adjoint_letter<T>}) {
      equation.trans = trans;
      equation.with_job(0).solve();
      expect_scaled_solution(equation);
      EXPECT_LT(equation.scale, R(0.5));
    }
  }
}

TYPED_TEST(PencilSylvester, PerturbsCommonEigenvalues) {
  using T = TypeParam;
  for (const std::vector<Int>& shape : borders) {
    auto equation = equation_with_common_eigenvalues<LongEquation<T>>(this->random, shape);
    for (const Int ijob : {0, 1, 2}) {
      expect_perturbed_solution(equation.with_job(ijob).solve());
      if (ijob > 0) {
        EXPECT_LT(equation.dif, 1e4 * epsilon<T>);
      }
    }
  }
}

TYPED_TEST(PencilSylvester, EstimatesTheSeparation) {
  using T = TypeParam;
  double worst[3] = {}, sum[3] = {};
  int count = 0;
  for (const std::vector<Int>& left : borders) {
    for (const std::vector<Int>& right : borders) {
      LongEquation<T> equation({this->random, left, right});
      if (equation.m * equation.n > 20) continue;
      const WideMatrix<T> K = equation.kronecker();
      const double exact = double(wide_singular_values<T>(K).minCoeff());
      for (const Int ijob : {1, 2}) {
        SCOPED_TRACE(testing::Message() << equation.m << " by " << equation.n << ", " << ijob);
        equation.with_job(ijob + 2).solve();
        EXPECT_EQ(equation.info, 0);
        EXPECT_EQ(equation.scale, Real<T>(1));
        // A right side of known norm over what it is solved by: never less than the least singular value.
        const WideMatrix<T> x = stacked(equation.r, equation.l), b = product<T>(K, x);
        EXPECT_NEAR(equation.dif * double(x.norm()) / double(b.norm()), 1, 1000 * epsilon<T> * one_norm<T>(K) / exact);
        // By signs each element of it is of magnitude 1, by conditions the part for each small system of length 1.
        const auto systems = RealScalar<T> ? left.size() * right.size() : std::size_t(equation.m * equation.n);
        const double squared = ijob == 1 ? 2.0 * equation.m * equation.n : double(systems);
        EXPECT_NEAR(double(b.squaredNorm()) / squared, 1, 1000 * epsilon<T> * one_norm<T>(K) / exact);
        const double ratio = equation.dif / exact;
        EXPECT_GT(ratio, 1 - 1000 * epsilon<T>);
        worst[ijob] = std::max(worst[ijob], ratio);
        sum[ijob] += ratio;

        // The same beside the solution, which is the same as without.
        const auto alone = equation.dif;
        equation.with_job(0).solve();
        const GuardedMatrix<T> r = equation.r, l = equation.l;
        equation.with_job(ijob).solve();
        EXPECT_EQ(equation.dif, alone);
        EXPECT_EQ(equation.info, 0);
        EXPECT_TRUE(equation.r.same_as(r) && equation.l.same_as(l));
      }
      ++count;
    }
  }
  for (const int ijob : {1, 2}) {
    EXPECT_LT(worst[ijob], 10) << ijob;
    EXPECT_LT(sum[ijob] / count, 3) << ijob;
  }
}

TYPED_TEST(PencilSylvester, SolvesWithHalvesOfDifferentSize) {
  using T = TypeParam;
  for (const std::vector<Int>& left : borders) {
    expect_solutions_with_uneven_halves<LongEquation<T>, T>({this->random, left, {1, 2}});
  }
}

/// As far as the square of their ratio is in range. Beyond that it is perturbed, and finite.
TYPED_TEST(PencilSylvester, EstimatesTheSeparationOfHalvesOfDifferentSize) {
  using T = TypeParam;
  using R = Real<T>;
  for (const std::vector<Int>& left : borders) {
    const EquationData<T> data(this->random, left, {1, 2});
    if (data.m > 5) continue;
    for (const int exponent : exponents_of_halves<R>()) {
      const bool is_in_range = 2 * std::abs(exponent) <= std::numeric_limits<R>::max_exponent;
      const R factor = std::ldexp(R(1), exponent);
      EquationData<T> scaled = data;
      scaled.scale_half(true, factor, false);
      LongEquation<T> equation(scaled);
      const double exact = least_singular_value<T>(data.kronecker(), factor);
      for (const Int ijob : {3, 4}) {
        SCOPED_TRACE(testing::Message() << data.m << " rows, job " << ijob << ", 2^" << exponent);
        equation.with_job(ijob).solve();
        EXPECT_EQ(equation.info > 0, !is_in_range);
        EXPECT_TRUE(std::isfinite(equation.dif));
        if (!is_in_range) continue;
        EXPECT_GT(equation.dif / exact, 1 - 1000 * epsilon<T>);
        EXPECT_LT(equation.dif / exact, 10);
      }
    }
  }
}

/// Of a pencil that has nearly an eigenvalue of the other, at each place.
TYPED_TEST(PencilSylvester, EstimatesASmallSeparation) {
  using T = TypeParam;
  using R = Real<T>;
  const R distance = std::sqrt(epsilon<T>);
  for (const Int i : {1, 2, 4}) {
    for (const Int j : {1, 3}) {
      EquationData<T> data(this->random, {1, 1, 1, 1}, {1, 1, 1});
      data.B(j, j) = data.A(i, i) * (1 + distance);
      data.E(j, j) = data.D(i, i);
      data.B.seal();
      data.E.seal();
      LongEquation<T> equation(data);
      const double exact = double(wide_singular_values<T>(data.kronecker()).minCoeff());
      for (const Int ijob : {3, 4}) {
        equation.with_job(ijob).solve();
        EXPECT_EQ(equation.info, 0);
        EXPECT_GT(equation.dif / exact, 0.99);
        EXPECT_LT(equation.dif / exact, 10);
      }
    }
  }
}

TYPED_TEST(PencilSylvester, SolvesTheAdjointWhateverTheJob) {
  using T = TypeParam;
  LongEquation<T> equation({this->random, {1, 2, 1}, {2, 1}});
  equation.trans = adjoint_letter<T>;
  equation.with_job(0).solve();
  const GuardedMatrix<T> r = equation.r, l = equation.l;
  for (const Int ijob : {-5, 1, 2, 3, 4, 9}) {
    equation.with_job(ijob).solve();
    EXPECT_EQ(equation.info, 0);
    EXPECT_EQ(equation.dif, Real<T>(-7));
    EXPECT_TRUE(equation.r.same_as(r) && equation.l.same_as(l));
  }
}

TYPED_TEST(PencilSylvester, OfNothingHasScaleOneAndNoSeparation) {
  using T = TypeParam;
  using R = Real<T>;
  for (const auto& [left, right] : {std::pair<std::vector<Int>, std::vector<Int>>{{}, {1, 2}}, {{2}, {}}, {{}, {}}}) {
    for (const char trans : {'N', adjoint_letter<T>}) {
      for (const Int ijob : {0, 1, 2, 3, 4}) {
        LongEquation<T> equation({this->random, left, right});
        equation.trans = trans;
        equation.with_job(ijob).run();
        EXPECT_EQ(equation.info, 0);
        EXPECT_EQ(equation.scale, R(1));
        EXPECT_EQ(equation.dif, R(trans == 'N' && ijob > 0 ? 0 : -7));
        EXPECT_EQ(equation.work(1), T(R(1)));
        EXPECT_TRUE(equation.r.unchanged() && equation.l.unchanged() && equation.iwork.unchanged());
      }
    }
  }
}

/// The published examples with a known solution.
TYPED_TEST(PencilSylvester, FindsTheSolutionOfPublishedExamples) {
  using T = TypeParam;
  using R = Real<T>;
  // The third has quasi-triangular matrices.
  for (Int prtype = 1; prtype <= (RealScalar<T> ? 3 : 2); ++prtype) {
    const Int m = 7, n = 5, ld = 8;
    GuardedMatrix<T> A(m, m, ld), B(n, n, ld), C(m, n, ld), D(m, m, ld), E(n, n, ld), F(m, n, ld), X(m, n, ld),
        Y(m, n, ld);
    routine_call::latm5(prtype, m, n, Matrix<T>(A), Matrix<T>(B), Matrix<T>(C), Matrix<T>(D), Matrix<T>(E),
                        Matrix<T>(F), Matrix<T>(X), Matrix<T>(Y), R(1.5), 3, 4);
    EquationData<T> data(this->random, std::vector<Int>(m, 1), std::vector<Int>(n, 1));
    data.lda = data.ldb = data.ldc = data.ldd = data.lde = data.ldf = ld;
    for (const auto& [from, to] :
         {std::pair{&A, &data.A}, {&B, &data.B}, {&C, &data.C}, {&D, &data.D}, {&E, &data.E}, {&F, &data.F}}) {
      from->seal();
      *to = *from;
    }
    LongEquation<T> equation(data);
    equation.solve();
    EXPECT_EQ(equation.info, 0);
    EXPECT_LT(equation.residual(), equation_threshold);
    const WideMatrix<T> K = data.kronecker(), known = stacked(X, Y), found = stacked(equation.r, equation.l);
    const double condition = one_norm<T>(K) * one_norm<T>(inverse<T>(K));
    EXPECT_LT(double((found - WideReal<T>(equation.scale) * known).norm() / known.norm()),
              10 * (m + n) * epsilon<T> * condition);
  }
}

TYPED_TEST(PencilSylvester, EndsWhateverTheNumbers) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R odd : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (const char trans : {'N', adjoint_letter<T>}) {
      for (const Int ijob : {0, 1, 2, 3, 4}) {
        for (int which = 0; which < 6; ++which) {
          EquationData<T> data(this->random, {1, 2, 1, 2}, {2, 1, 1});
          GuardedMatrix<T>* const matrices[] = {&data.A, &data.B, &data.C, &data.D, &data.E, &data.F};
          (*matrices[which])(2, 2) = T(odd);
          matrices[which]->seal();
          LongEquation<T> equation(data);
          equation.trans = trans;
          equation.with_job(ijob).solve();
          const bool is_estimate = trans == 'N' && ijob > 2, is_coefficient = which != 2 && which != 5;
          if (std::isnan(odd) && (is_coefficient || !is_estimate)) {
            EXPECT_FALSE(is_finite(equation.r) && is_finite(equation.l));
          }
          if (std::isnan(odd) && is_coefficient && trans == 'N' && ijob > 0) {
            EXPECT_TRUE(std::isnan(equation.dif));
          }
          if (is_estimate && !is_coefficient) {
            EXPECT_TRUE(std::isfinite(equation.dif));
          }
        }
      }
    }
  }
}

/// Elements below the first subdiagonal that no pair has: each row belongs to one block all the same.
TYPED_TEST(RealPencilSylvester, EndsWithoutASchurForm) {
  using R = TypeParam;
  EquationData<R> data(this->random, {1, 1, 1, 1, 1}, {1, 1, 1, 1});
  for (Int j = 1; j < 5; ++j) data.A(j + 1, j) = 1;
  for (Int j = 1; j < 4; ++j) data.B(j + 1, j) = 1;
  data.A.seal();
  data.B.seal();
  LongEquation<R> equation(data);
  equation.with_job(1).solve();
  EXPECT_TRUE(is_finite(equation.r) && is_finite(equation.l));
}

// ----------------------------------------------------------------------------------------------------------- arguments

template <Scalar T>
struct ValidEquation : LongEquation<T> {
  static EquationData<T> data() {
    Random random(5);
    return {random, {1, 1}, {1, 1, 1}};
  }
  ValidEquation() : LongEquation<T>(data()) { this->with_job(2); }
  bool unchanged() const {
    return this->coefficients_unchanged() && this->r.unchanged() && this->l.unchanged() && this->iwork.unchanged() &&
           this->scale == -7 && this->dif == -7;
  }
};

TYPED_TEST(PencilSylvester, ChecksItsArguments) {
  using T = TypeParam;
  using Call = ValidEquation<T>;
  expect_argument_checks<Call>(reported_name<T>("TGSYL"), {{1, [](Call& c) { c.trans = ComplexScalar<T> ? 'T' : 'C'; }},
                                                           {2, [](Call& c) { c.ijob = 5; }},
                                                           {3, [](Call& c) { c.m = -1; }},
                                                           {4, [](Call& c) { c.n = -1; }},
                                                           {6, [](Call& c) { c.lda = 1; }},
                                                           {8, [](Call& c) { c.ldb = 2; }},
                                                           {10, [](Call& c) { c.ldc = 1; }},
                                                           {12, [](Call& c) { c.ldd = 1; }},
                                                           {14, [](Call& c) { c.lde = 2; }},
                                                           {16, [](Call& c) { c.ldf = 1; }},
                                                           {20, [](Call& c) { c.lwork = 0; }}});
  for (const auto& [ijob, lwork] : {std::pair{-1, 12}, {1, 11}, {2, 11}}) {
    Call call;
    call.ijob = ijob;
    call.lwork = lwork;
    expect_report(call, reported_name<T>("TGSYL"), ijob < 0 ? 2 : 20);
  }
}

TYPED_TEST(PencilSylvester, TellsItsWorkspace) {
  using T = TypeParam;
  for (const char trans : equation_letters<T>()) {
    for (const Int ijob : {0, 1, 2, 3, 4}) {
      ValidEquation<T> query;
      query.trans = trans;
      query.ijob = ijob;
      query.lwork = -1;
      EXPECT_EQ(query.run(), 0);
      EXPECT_TRUE(query.unchanged());
      EXPECT_EQ(query.work(1), T(Real<T>(same_letter(trans, 'N') && (ijob == 1 || ijob == 2) ? 12 : 1)));
    }
  }
}

/// More elements than an integer counts.
TYPED_TEST(PencilSylvester, RefusesWorkspaceThatNoIntegerTells) {
  using T = TypeParam;
  ValidEquation<T> huge;
  huge.m = huge.lda = huge.ldc = huge.ldd = huge.ldf = 70000;
  huge.n = huge.ldb = huge.lde = 70000;
  huge.lwork = std::numeric_limits<Int>::max();
  expect_report(huge, reported_name<T>("TGSYL"), 20);
  EXPECT_GE(double(std::real(huge.work(1))), 2.0 * 70000 * 70000);
}

}  // namespace
}  // namespace nuv::test
