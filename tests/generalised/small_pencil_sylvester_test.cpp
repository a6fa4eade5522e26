// Generalised Sylvester equations block by block: ?tgsy2.

#include <cmath>
#include <limits>

#include "generalised/pencil_equations.hpp"
#include "routines.hpp"
#include "support/argument_checks.hpp"

namespace nuv::test {
namespace {

template <Scalar T>
struct SmallEquation : EquationCall<T> {
  using R = Real<T>;
  using EquationCall<T>::trans, EquationCall<T>::ijob, EquationCall<T>::info, EquationCall<T>::scale;
  using EquationCall<T>::r, EquationCall<T>::l;

  Int pq = -7;
  GuardedVector<Int> iwork;
  R sum = 1, sum_scale = 0;

  explicit SmallEquation(const EquationData<T>& data) : EquationCall<T>(data), iwork(data.m + data.n + 2) {}

  Int run() {
    const Matrix<const T> A{this->A.data(), this->lda}, B{this->B.data(), this->ldb}, D{this->D.data(), this->ldd},
        E{this->E.data(), this->lde};
    const Matrix<T> C{r.data(), this->ldc}, F{l.data(), this->ldf};
    if constexpr (RealScalar<T>) {
      routine_call::tgsy2(trans, ijob, this->m, this->n, A, B, C, D, E, F, scale, sum, sum_scale, iwork.data(), pq,
                          info);
    } else {
      routine_call::tgsy2(trans, ijob, this->m, this->n, A, B, C, D, E, F, scale, sum, sum_scale, info);
    }
    return info;
  }

  SmallEquation& solve() {
    r = this->C;
    l = this->F;
    run();
    EXPECT_TRUE(this->coefficients_unchanged() && r.guards_unchanged() && l.guards_unchanged() &&
                iwork.guards_unchanged());
    return *this;
  }

  bool has_sum() const { return sum != R(1) || sum_scale != R(0); }
};

template <class T>
class SmallPencilSylvester : public ReportingTest {
 protected:
  Random random{61};
};
TYPED_TEST_SUITE(SmallPencilSylvester, Precisions, PrecisionLetter);

TYPED_TEST(SmallPencilSylvester, SolvesEachKindWithBlocksInAllPlaces) {
  using T = TypeParam;
  for (const std::vector<Int>& left : block_shapes) {
    for (const std::vector<Int>& right : block_shapes) {
      SmallEquation<T> equation({this->random, left, right});
      for (const char trans : equation_letters<T>()) {
        SCOPED_TRACE(testing::Message() << equation.m << " by " << equation.n << ", " << trans);
        equation.trans = trans;
        equation.solve();
        EXPECT_EQ(equation.info, 0);
        EXPECT_EQ(equation.scale, Real<T>(1));
        EXPECT_LT(equation.residual(), equation_threshold);
        EXPECT_LT(equation.error(), 1);
        EXPECT_FALSE(equation.has_sum());
        if constexpr (RealScalar<T>) {
          EXPECT_EQ(equation.pq, Int(left.size() * right.size()));
        }
      }
    }
  }
}

TYPED_TEST(SmallPencilSylvester, ScalesWhatWouldOverflow) {
  using T = TypeParam;
  using R = Real<T>;
  for (const std::vector<Int>& left : block_shapes) {
    for (const std::vector<Int>& right : block_shapes) {
      EquationData<T> data(this->random, left, right);
      data.scale_coefficients(std::ldexp(R(1), std::numeric_limits<R>::min_exponent / 2));
      data.scale_right_side(std::ldexp(R(1), std::numeric_limits<R>::max_exponent - 8));
      SmallEquation<T> equation(data);
      for (const char trans : equation_letters<T>()) {
        equation.trans = trans;
        equation.solve();
        expect_scaled_solution(equation);
      }
    }
  }
}

TYPED_TEST(SmallPencilSylvester, SolvesWithHalvesOfDifferentSize) {
  using T = TypeParam;
  for (const std::vector<Int>& left : block_shapes) {
    expect_solutions_with_uneven_halves<SmallEquation<T>, T>({this->random, left, {1, 2}});
  }
}

/// Where no solution overflows none is scaled, and no pivot is taken for zero.
TYPED_TEST(SmallPencilSylvester, SolvesNearTheEndsOfTheRange) {
  using T = TypeParam;
  using R = Real<T>;
  using Limits = std::numeric_limits<R>;
  for (const std::vector<Int>& left : block_shapes) {
    const EquationData<T> data(this->random, left, {2, 1});
    for (const int exponent : {Limits::max_exponent - 12, Limits::min_exponent + Limits::digits}) {
      EquationData<T> scaled = data;
      scaled.scale_coefficients(std::ldexp(R(1), exponent));
      scaled.scale_right_side(std::ldexp(R(1), exponent));
      SmallEquation<T> equation(scaled);
      for (const char trans : equation_letters<T>()) {
        SCOPED_TRACE(testing::Message() << data.m << " rows, " << trans << ", 2^" << exponent);
        equation.trans = trans;
        equation.solve();
        EXPECT_EQ(equation.info, 0);
        EXPECT_EQ(equation.scale, R(1));
        EXPECT_LT(equation_residual<T>(data, equation.is_adjoint(), equation.r, equation.l, R(1)), equation_threshold);
      }
    }
  }
}

/// Coefficients below those that powers of two in range bring to one.
TYPED_TEST(SmallPencilSylvester, SolvesWithTheSmallestNumbers) {
  using T = TypeParam;
  using R = Real<T>;
  EquationData<T> data(this->random, {1}, {1});
  const auto set = [](GuardedMatrix<T>& X, int units) {
    X(1, 1) = T(R(units) * std::numeric_limits<R>::denorm_min());
    X.seal();
  };
  set(data.A, 3);
  set(data.B, 1);
  set(data.C, 5);
  set(data.D, 2);
  set(data.E, 5);
  set(data.F, -1);
  SmallEquation<T> equation(data);
  equation.solve();
  EXPECT_EQ(equation.info, 0);
  EXPECT_EQ(equation.scale, R(1));
  EXPECT_NEAR(double(std::abs(equation.r(1, 1) - R(2))), 0, 20 * epsilon<T>);
  EXPECT_NEAR(double(std::abs(equation.l(1, 1) - R(1))), 0, 20 * epsilon<T>);
}

/// A half of zeros makes a system singular: its perturbation goes with the other half.
TYPED_TEST(SmallPencilSylvester, PerturbsHalvesOfZeros) {
  using T = TypeParam;
  using R = Real<T>;
  for (const bool upper : {true, false}) {
    for (const int exponent : exponents_of_halves<R>()) {
      const R factor = std::ldexp(R(1), exponent);
      EquationData<T> data(this->random, {1}, {1});
      (upper ? data.A : data.D)(1, 1) = (upper ? data.B : data.E)(1, 1) = T(0);
      for (GuardedMatrix<T>* X : {&data.A, &data.B, &data.D, &data.E}) X->seal();
      data.scale_half(!upper, factor, true);
      data.scale_right_side(factor);
      SmallEquation<T> equation(data);
      equation.solve();
      EXPECT_GT(equation.info, 0);
      EXPECT_EQ(equation.scale, R(1));
      EXPECT_TRUE(is_finite(equation.r) && is_finite(equation.l));
      EXPECT_LT(equation.residual(), equation_threshold);
    }
  }
}

/// Beside the coefficients, of whatever size, the perturbation of a singular system is small.
TYPED_TEST(SmallPencilSylvester, PerturbsInProportionToEachHalf) {
  using T = TypeParam;
  using R = Real<T>;
  for (const bool upper : {true, false}) {
    for (const char trans : {'N', adjoint_letter<T>}) {
      for (const int exponent : exponents_of_halves<R>()) {
        EquationData<T> data(this->random, {1}, {1});
        const R factor = std::ldexp(R(1), exponent);
        data.A(1, 1) = data.B(1, 1) = T(upper ? 3 * factor : R(3));
        data.D(1, 1) = data.E(1, 1) = T(upper ? R(2) : 2 * factor);
        for (GuardedMatrix<T>* X : {&data.A, &data.B, &data.D, &data.E}) X->seal();
        data.C(1, 1) = data.A(1, 1) * R(5);
        data.F(1, 1) = trans == 'N' ? data.D(1, 1) * R(5) : -data.C(1, 1);
        data.C.seal();
        data.F.seal();
        SmallEquation<T> equation(data);
        equation.trans = trans;
        equation.solve();
        EXPECT_GT(equation.info, 0);
        EXPECT_EQ(equation.scale, R(1));
        // Both equations are the same, and have solutions of moderate size.
        const T r = equation.r(1, 1), l = equation.l(1, 1), a = data.A(1, 1), d = data.D(1, 1);
        const T left = trans == 'N' ? (r - l) * a : a * r + d * l;
        EXPECT_NEAR(double(std::abs(left - data.C(1, 1)) / std::abs(data.C(1, 1))), 0, 50 * epsilon<T>);
        if (trans != 'N') continue;
        for (const Int ijob : {1, 2}) {
          equation.ijob = ijob;
          equation.solve();
          EXPECT_GT(equation.info, 0);
        }
      }
    }
  }
}

/// The first unknowns that are found come down so far that products of them and of large coefficients are in range.
TYPED_TEST(SmallPencilSylvester, ScalesForLargeCoefficientsElsewhere) {
  using T = TypeParam;
  using R = Real<T>;
  using Limits = std::numeric_limits<R>;
  EquationData<T> data(this->random, {1, 1}, {1});
  data.A(1, 2) = std::ldexp(R(1), Limits::digits * 3 / 2);
  data.A.seal();
  data.scale_right_side(std::ldexp(R(1), Limits::max_exponent - 10));
  SmallEquation<T> equation(data);
  for (const char trans : equation_letters<T>()) {
    equation.trans = trans;
    equation.solve();
    expect_scaled_solution(equation);
  }
}

/// For an estimate, C and F come in as zeros: the right side is made on the way.
TYPED_TEST(SmallPencilSylvester, ChoosesARightSideForAnEstimate) {
  using T = TypeParam;
  using R = Real<T>;
  for (const std::vector<Int>& left : block_shapes) {
    for (const std::vector<Int>& right : block_shapes) {
      EquationData<T> data(this->random, left, right);
      data.scale_right_side(R(0));
      SmallEquation<T> equation(data);
      const WideMatrix<T> K = data.kronecker();
      for (const Int ijob : {1, 2}) {
        SCOPED_TRACE(testing::Message() << equation.m << " by " << equation.n << ", " << ijob);
        equation.ijob = ijob;
        equation.sum = 1;
        equation.sum_scale = 0;
        equation.solve();
        EXPECT_EQ(equation.info, 0);
        EXPECT_EQ(equation.scale, R(1));
        const WideMatrix<T> x = stacked(equation.r, equation.l), b = product<T>(K, x);
        const double tolerance = 30 * epsilon<T> * one_norm<T>(K) * double(x.norm());
        const double total = double(equation.sum_scale) * std::sqrt(double(equation.sum));
        EXPECT_NEAR(total / double(x.norm()), 1, 20 * epsilon<T>);
        if (ijob == 1) {
          for (Eigen::Index i = 0; i < b.size(); ++i)
            EXPECT_NEAR(double(std::abs(b(i) * b(i) - Wide<T>(1))), 0, tolerance);
        } else {
          const double systems = RealScalar<T> ? double(left.size() * right.size()) : double(equation.m) * equation.n;
          EXPECT_NEAR(double(b.norm()), std::sqrt(systems), tolerance);
        }
      }
    }
  }
}

/// It is solved, and its job and sum aren't looked at.
TYPED_TEST(SmallPencilSylvester, SolvesTheAdjointWhateverTheJob) {
  using T = TypeParam;
  SmallEquation<T> equation({this->random, {1, 2}, {2, 1}});
  equation.trans = adjoint_letter<T>;
  equation.solve();
  const GuardedMatrix<T> r = equation.r, l = equation.l;
  for (const Int ijob : {-5, 1, 2, 9}) {
    equation.ijob = ijob;
    equation.solve();
    EXPECT_EQ(equation.info, 0);
    EXPECT_FALSE(equation.has_sum());
    EXPECT_TRUE(equation.r.same_as(r) && equation.l.same_as(l));
  }
}

TYPED_TEST(SmallPencilSylvester, PerturbsCommonEigenvalues) {
  using T = TypeParam;
  for (const std::vector<Int>& shape : block_shapes) {
    auto equation = equation_with_common_eigenvalues<SmallEquation<T>>(this->random, shape);
    for (const char trans : equation_letters<T>()) {
      equation.trans = trans;
      expect_perturbed_solution(equation.solve());
    }
  }
}

TYPED_TEST(SmallPencilSylvester, OfNothingHasScaleOne) {
  using T = TypeParam;
  for (const auto& [left, right] : {std::pair<std::vector<Int>, std::vector<Int>>{{}, {1, 2}}, {{2}, {}}, {{}, {}}}) {
    SmallEquation<T> equation({this->random, left, right});
    for (const Int ijob : {0, 1, 2}) {
      equation.ijob = ijob;
      equation.scale = -7;
      equation.pq = -7;
      equation.run();
      EXPECT_EQ(equation.info, 0);
      EXPECT_EQ(equation.scale, Real<T>(1));
      EXPECT_EQ(equation.pq, RealScalar<T> ? 0 : -7);
      EXPECT_FALSE(equation.has_sum());
      EXPECT_TRUE(equation.r.unchanged() && equation.l.unchanged() && equation.iwork.unchanged());
    }
  }
}

TYPED_TEST(SmallPencilSylvester, EndsWhateverTheNumbers) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R odd : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (const char trans : {'N', adjoint_letter<T>}) {
      for (const Int ijob : {0, 1, 2}) {
        for (int which = 0; which < 6; ++which) {
          EquationData<T> data(this->random, {1, 2, 1}, {2, 1});
          GuardedMatrix<T>* const matrices[] = {&data.A, &data.B, &data.C, &data.D, &data.E, &data.F};
          (*matrices[which])(2, 2) = T(odd);
          matrices[which]->seal();
          SmallEquation<T> equation(data);
          equation.trans = trans;
          equation.ijob = ijob;
          equation.solve();
          if (std::isnan(odd)) {
            EXPECT_FALSE(is_finite(equation.r) && is_finite(equation.l));
          }
        }
      }
    }
  }
}

// ----------------------------------------------------------------------------------------------------------- arguments

template <Scalar T>
struct ValidEquation : SmallEquation<T> {
  static EquationData<T> data() {
    Random random(5);
    return {random, {1, 1}, {1, 1, 1}};
  }
  ValidEquation() : SmallEquation<T>(data()) {}
  bool unchanged() const {
    return this->coefficients_unchanged() && this->r.unchanged() && this->l.unchanged() && this->iwork.unchanged() &&
           this->scale == -7 && this->pq == -7;
  }
};

TYPED_TEST(SmallPencilSylvester, ChecksItsArguments) {
  using T = TypeParam;
  using Call = ValidEquation<T>;
  expect_argument_checks<Call>(reported_name<T>("TGSY2"), {{1, [](Call& c) { c.trans = ComplexScalar<T> ? 'T' : 'C'; }},
                                                           {2, [](Call& c) { c.ijob = 3; }},
                                                           {3, [](Call& c) { c.m = -1; }},
                                                           {4, [](Call& c) { c.n = -1; }},
                                                           {6, [](Call& c) { c.lda = 1; }},
                                                           {8, [](Call& c) { c.ldb = 2; }},
                                                           {10, [](Call& c) { c.ldc = 1; }},
                                                           {12, [](Call& c) { c.ldd = 1; }},
                                                           {14, [](Call& c) { c.lde = 2; }},
                                                           {16, [](Call& c) { c.ldf = 1; }}});
  Call negative;
  negative.ijob = -1;
  expect_report(negative, reported_name<T>("TGSY2"), 2);
}

}  // namespace
}  // namespace nuv::test
