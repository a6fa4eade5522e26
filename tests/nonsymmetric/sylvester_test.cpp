// Sylvester equations with coefficients in Schur form: ?trsyl.

#include <cmath>
#include <limits>
#include <numeric>

#include "frame/option_matching.hpp"
#include "nonsymmetric/schur_checks.hpp"
#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/random.hpp"

namespace nuv::test {
namespace {

template <Scalar T>
struct Equation {
  using R = Real<T>;

  char trana = 'N', tranb = 'N';
  Int isgn = 1, m, n, info = 99;
  GuardedMatrix<T> A, B, C, X;
  R scale = -7;

  Equation(const GuardedMatrix<T>& left, const GuardedMatrix<T>& right, const GuardedMatrix<T>& rhs)
      : m(left.rows()), n(right.rows()), A(left), B(right), C(rhs), X(rhs) {}

  Equation& solve() {
    X = C;
    routine_call::trsyl(trana, tranb, isgn, m, n, Matrix<const T>(A), Matrix<const T>(B), Matrix<T>(X), scale, info);
    EXPECT_TRUE(A.unchanged() && B.unchanged() && X.guards_unchanged());
    return *this;
  }

  WideMatrix<T> left() const { return op<T>(letter(trana), wide(A)); }
  WideMatrix<T> right() const { return op<T>(letter(tranb), wide(B)); }

  /// ||op(A) X + isgn X op(B) - scale C|| / ((||A|| + ||B||) ||X|| (m + n) eps), by the largest magnitudes.
  double residual() const {
    const WideMatrix<T> x = wide(X);
    const WideMatrix<T> rest =
        product<T>(left(), x) + WideReal<T>(isgn) * product<T>(x, right()) - WideReal<T>(scale) * wide(C);
    const auto size = wide(A).cwiseAbs().maxCoeff() + wide(B).cwiseAbs().maxCoeff();
    return double(rest.cwiseAbs().maxCoeff() / (size * x.cwiseAbs().maxCoeff() * WideReal<T>(m + n))) / epsilon<T>;
  }

  /// ||X - Y|| / (||Y|| cond(K) (m + n) eps) for the solution vec Y of K vec Y = scale vec C.
  double error() const {
    const WideMatrix<T> K = sylvester_operator<T>(left(), right(), isgn), inverted = inverse<T>(K);
    const WideMatrix<T> c = wide(C).reshaped();
    const WideMatrix<T> y = WideReal<T>(scale) * product<T>(inverted, c);
    const WideMatrix<T> x = wide(X).reshaped();
    const double condition = one_norm<T>(K) * one_norm<T>(inverted);
    return one_norm<T>(WideMatrix<T>(x - y)) / (one_norm<T>(y) * condition * (m + n) * epsilon<T>);
  }

 private:
  static char letter(char trans) { return same_letter(trans, 'N') ? 'N' : 'C'; }
};

/// Letters with which a coefficient may be taken.
template <Scalar T>
std::vector<char> operations() {
  return RealScalar<T> ? std::vector<char>{'N', 'T', 'c'} : std::vector<char>{'n', 'C'};
}

template <Scalar T>
void for_each_kind(Equation<T>& equation, auto visit) {
  for (const char trana : operations<T>()) {
    for (const char tranb : operations<T>()) {
      for (const Int isgn : {1, -1}) {
        SCOPED_TRACE(testing::Message() << equation.m << " by " << equation.n << ", " << trana << tranb << isgn);
        equation.trana = trana;
        equation.tranb = tranb;
        equation.isgn = isgn;
        visit(equation);
      }
    }
  }
}

template <class T>
class Sylvester : public ReportingTest {
 protected:
  /// Whose eigenvalues, of magnitude 1 and more, are apart from those of the other coefficient with either sign.
  Equation<T> problem(const std::vector<Int>& left, const std::vector<Int>& right) {
    GuardedMatrix<T> A = form(left), B = form(right);
    for (Int j = 1; j <= A.rows(); ++j) A(j, j) += T(Real<T>(4));
    A.seal();
    return {A, B, random_matrix<T>(random, A.rows(), B.rows(), A.rows() + 3)};
  }

  GuardedMatrix<T> form(const std::vector<Int>& blocks) {
    return random_schur_form<T>(random, blocks, std::accumulate(blocks.begin(), blocks.end(), 1));
  }

  Random random{83};
};
TYPED_TEST_SUITE(Sylvester, Precisions, PrecisionLetter);

const std::vector<Int> shapes[] = {{1}, {2}, {1, 1}, {1, 2}, {2, 1}, {2, 2}, {1, 2, 1, 2}};

TYPED_TEST(Sylvester, SolvesEachKindWithBlocksInAllPlaces) {
  using T = TypeParam;
  for (const std::vector<Int>& left : shapes) {
    for (const std::vector<Int>& right : shapes) {
      Equation<T> problem = this->problem(left, right);
      for_each_kind(problem, [](Equation<T>& equation) {
        equation.solve();
        EXPECT_EQ(equation.info, 0);
        EXPECT_EQ(equation.scale, Real<T>(1));
        EXPECT_LT(equation.residual(), schur_threshold);
        EXPECT_LT(equation.error(), 1);
      });
    }
  }
}

TYPED_TEST(Sylvester, SolvesLongEquations) {
  using T = TypeParam;
  for (const auto& [m, n] : {std::pair{30, 17}, {9, 40}}) {
    Equation<T> problem = this->problem(random_blocks<T>(this->random, m), random_blocks<T>(this->random, n));
    // Coupled weakly, so that X does not grow from block to block.
    for (GuardedMatrix<T>* S : {&problem.A, &problem.B}) {
      for (Int j = 3; j <= S->rows(); ++j) {
        for (Int i = 1; i <= j - 2; ++i) (*S)(i, j) *= Real<T>(0.1);
      }
      S->seal();
    }
    for_each_kind(problem, [](Equation<T>& equation) {
      equation.solve();
      EXPECT_EQ(equation.info, 0);
      EXPECT_LT(equation.residual(), schur_threshold);
    });
  }
}

/// Where quotients would overflow, all of the right side becomes smaller.
TYPED_TEST(Sylvester, ScalesWhatWouldOverflow) {
  using T = TypeParam;
  using R = Real<T>;
  const R tiny = std::ldexp(R(1), std::numeric_limits<R>::min_exponent / 2);
  const R huge = std::ldexp(R(1), std::numeric_limits<R>::max_exponent - 8);
  for (const std::vector<Int>& left : shapes) {
    for (const std::vector<Int>& right : shapes) {
      Equation<T> problem = this->problem(left, right);
      for (GuardedMatrix<T>* S : {&problem.A, &problem.B}) {
        for (Int j = 1; j <= S->rows(); ++j) {
          for (Int i = 1; i <= S->rows(); ++i) (*S)(i, j) *= tiny;
        }
        S->seal();
      }
      for (Int j = 1; j <= problem.n; ++j) {
        for (Int i = 1; i <= problem.m; ++i) problem.C(i, j) *= huge;
      }
      problem.C.seal();
      for_each_kind(problem, [](Equation<T>& equation) {
        equation.solve();
        EXPECT_EQ(equation.info, 0);
        EXPECT_LT(equation.scale, R(1));
        EXPECT_GT(equation.scale, R(0));
        EXPECT_TRUE(is_finite(equation.X));
        EXPECT_LT(equation.residual(), schur_threshold);
      });
    }
  }
}

/// Each unknown makes the next one overflow.
TYPED_TEST(Sylvester, ScalesAgainAndAgain) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr R least = 3 * (std::numeric_limits<R>::min() / epsilon<T>);
  for (const bool is_left : {true, false}) {
    for (const bool is_adjoint : {false, true}) {
      GuardedMatrix<T> S = this->form({1, 1, 1}), zero = this->form({1});
      for (Int j = 1; j <= 3; ++j) {
        for (Int i = 1; i <= j; ++i) S(i, j) = T(i == j ? 2 * least : R(0.75) * least / epsilon<T>);
      }
      zero(1, 1) = T(R(0));
      S.seal();
      zero.seal();
      const Int m = is_left ? 3 : 1, n = is_left ? 1 : 3;
      Equation<T> problem(is_left ? S : zero, is_left ? zero : S, random_matrix<T>(this->random, m, n, m));
      for (Int j = 1; j <= n; ++j) {
        for (Int i = 1; i <= m; ++i) problem.C(i, j) += T(R(4));
      }
      (is_left ? problem.trana : problem.tranb) = is_adjoint ? 'C' : 'N';
      problem.solve();
      EXPECT_EQ(problem.info, 0);
      EXPECT_GT(problem.scale, 0);
      EXPECT_LT(problem.scale, epsilon<T>);
      EXPECT_TRUE(is_finite(problem.X));
      EXPECT_LT(problem.residual(), schur_threshold);
    }
  }
}

/// A and -isgn B have the same eigenvalues: those that are perturbed differ by eps times the coefficients.
TYPED_TEST(Sylvester, PerturbsCommonEigenvalues) {
  using T = TypeParam;
  using R = Real<T>;
  for (const std::vector<Int>& shape : shapes) {
    Equation<T> problem = this->problem(shape, shape);
    const GuardedMatrix<T> S = problem.A;
    for_each_kind(problem, [&](Equation<T>& equation) {
      const bool both = same_letter(equation.trana, 'N') == same_letter(equation.tranb, 'N');
      for (Int j = 1; j <= equation.n; ++j) {
        for (Int i = 1; i <= equation.n; ++i) {
          // Those of op(B) and of -isgn op(A): complex ones are conjugated by one of both alone.
          const T element = both || i != j ? S(i, j) : conjugate(S(i, j));
          equation.B(i, j) = R(-equation.isgn) * element;
        }
      }
      equation.B.seal();
      equation.solve();
      EXPECT_EQ(equation.info, 1);
      EXPECT_TRUE(is_finite(equation.X));
      R largest = 0;
      for (Int j = 1; j <= equation.n; ++j) {
        for (Int i = 1; i <= equation.m; ++i) largest = std::max(largest, R(std::abs(equation.X(i, j))));
      }
      EXPECT_TRUE(equation.scale < 1 || largest > R(1e4));
      EXPECT_LT(equation.residual(), 2 * schur_threshold);
    });
  }
}

/// A pair may meet a single eigenvalue as well.
TYPED_TEST(Sylvester, PerturbsPairsThatAreAlmostReal) {
  using T = TypeParam;
  if constexpr (RealScalar<T>) {
    for (const bool is_left : {true, false}) {
      GuardedMatrix<T> pair = this->form({2}), single = this->form({1});
      pair(1, 1) = pair(2, 2) = single(1, 1) = 1;
      pair(1, 2) = 1;
      pair(2, 1) = -epsilon<T> * epsilon<T>;
      pair.seal();
      single.seal();
      Equation<T> problem(is_left ? pair : single, is_left ? single : pair,
                          random_matrix<T>(this->random, is_left ? 2 : 1, is_left ? 1 : 2, 2));
      problem.isgn = -1;
      problem.solve();
      EXPECT_EQ(problem.info, 1);
      EXPECT_TRUE(is_finite(problem.X));
    }
  }
}

/// The least divisor grows with the coefficients, and with the number of unknowns where they are next to nothing.
TYPED_TEST(Sylvester, TakesForZeroWhatIsSmallBesideTheCoefficients) {
  using T = TypeParam;
  using R = Real<T>;
  for (const bool large_a : {true, false}) {
    for (const R distance : {R(3), R(5)}) {
      GuardedMatrix<T> A = this->form({1, 1}), B = this->form({1, 1});
      for (GuardedMatrix<T>* S : {&A, &B}) {
        (*S)(1, 1) = T(R(0));
        (*S)(2, 2) = T(R(1));
        (*S)(1, 2) = T(R(0));
      }
      (large_a ? A : B)(1, 2) = T(R(4));
      A(2, 2) = T(R(1) + distance * epsilon<T>);
      A(1, 1) = T(R(3));
      B(1, 1) = T(R(2));
      A.seal();
      B.seal();
      Equation<T> problem(A, B, random_matrix<T>(this->random, 2, 2, 2));
      problem.isgn = -1;
      problem.solve();
      EXPECT_EQ(problem.info, distance < 4 ? 1 : 0) << large_a << distance;
      if (!large_a) continue;  // else there is more in the right side
      const double quotient = double(std::abs(problem.X(2, 2) / (problem.C(2, 2) * problem.scale)));
      EXPECT_NEAR(quotient * std::max(distance, R(4)) * epsilon<T>, 1, 1e-3);
    }
  }
  constexpr R least = std::numeric_limits<R>::min() / epsilon<T>;
  GuardedMatrix<T> A(3, 3, 3), B(2, 2, 2), C(3, 2, 3);
  for (GuardedMatrix<T>* S : {&A, &B, &C}) {
    for (Int j = 1; j <= S->columns(); ++j) {
      for (Int i = 1; i <= S->rows(); ++i) (*S)(i, j) = T(R(0));
    }
  }
  C(2, 1) = T(R(1));
  A.seal();
  B.seal();
  C.seal();
  Equation<T> nothing(A, B, C);
  nothing.solve();
  EXPECT_EQ(nothing.info, 1);
  EXPECT_EQ(nothing.X(2, 1), T(R(1) / (6 * least)));
}

TYPED_TEST(Sylvester, OfNothingHasScaleOne) {
  using T = TypeParam;
  for (const auto& [m, n] : {std::pair{0, 3}, {2, 0}, {0, 0}}) {
    Equation<T> problem(this->form(std::vector<Int>(std::size_t(m), 1)),
                        this->form(std::vector<Int>(std::size_t(n), 1)), GuardedMatrix<T>(m, n, 3));
    problem.solve();
    EXPECT_EQ(problem.info, 0);
    EXPECT_EQ(problem.scale, Real<T>(1));
  }
}

TYPED_TEST(Sylvester, ShowsNaN) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R odd : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (const int place : {0, 1, 2}) {
      for (Int i = 1; i <= 4; ++i) {
        Equation<T> problem = this->problem({1, 2, 1}, {2, 2});
        GuardedMatrix<T>& S = place == 0 ? problem.A : place == 1 ? problem.B : problem.C;
        S(i, 4) = T(odd);
        S.seal();
        for_each_kind(problem, [&](Equation<T>& equation) {
          equation.solve();
          // An infinite divisor makes a zero where nothing else is infinite.
          if (place == 2 || std::isnan(odd)) {
            EXPECT_FALSE(is_finite(equation.X) && std::isfinite(equation.scale) && equation.scale > 0);
          }
        });
      }
    }
  }
}

template <Scalar T>
struct ValidEquation {
  char trana = 'N', tranb = 'N';
  Int isgn = -1, m = 3, n = 2, lda = 3, ldb = 2, ldc = 3, info = 99;
  Real<T> scale = -7;
  GuardedMatrix<T> A, B, C;

  ValidEquation() : ValidEquation(Random(5)) {}
  explicit ValidEquation(Random random)
      : A(random_schur_form<T>(random, {1, 1, 1}, 3)),
        B(random_schur_form<T>(random, {1, 1}, 2)),
        C(random_matrix<T>(random, 3, 2, 3)) {}

  Int run() {
    routine_call::trsyl(trana, tranb, isgn, m, n, Matrix<const T>(A.data(), lda), Matrix<const T>(B.data(), ldb),
                        Matrix<T>(C.data(), ldc), scale, info);
    return info;
  }
  bool unchanged() const { return A.unchanged() && B.unchanged() && C.unchanged() && scale == -7; }
};

TYPED_TEST(Sylvester, ChecksItsArguments) {
  using T = TypeParam;
  using Call = ValidEquation<T>;
  static constexpr char bad = ComplexScalar<T> ? 'T' : 'A';
  expect_argument_checks<Call>(reported_name<T>("TRSYL"), {{1, [](Call& c) { c.trana = bad; }},
                                                           {2, [](Call& c) { c.tranb = bad; }},
                                                           {3, [](Call& c) { c.isgn = 0; }},
                                                           {3, [](Call& c) { c.isgn = 2; }},
                                                           {4, [](Call& c) { c.m = -1; }},
                                                           {5, [](Call& c) { c.n = -1; }},
                                                           {7, [](Call& c) { c.lda = 2; }},
                                                           {9, [](Call& c) { c.ldb = 1; }},
                                                           {11, [](Call& c) { c.ldc = 2; }}});
}

}  // namespace
}  // namespace nuv::test
