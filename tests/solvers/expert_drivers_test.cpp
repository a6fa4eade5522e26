// Condition numbers, refinement with error bounds, and the expert drivers, in every storage form.

#include <algorithm>
#include <cmath>

#include "routines.hpp"
#include "solvers/stored_system.hpp"
#include "support/described_matrices.hpp"
#include "support/linear_system_types.hpp"
#include "support/options.hpp"
#include "support/random.hpp"
#include "support/reported_errors.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

template <class T>
class StoredSystems : public ReportingTest {
 protected:
  /// For each form, each triangle that it may be stored in.
  template <class Visit>
  void for_each_form(Visit visit) {
    for (const Form& form : forms_of<T>()) {
      for (const char uplo : uplos) {
        if (form.structure == Structure::general && uplo == 'L') continue;
        SCOPED_TRACE(std::string(form.name) + ' ' + uplo);
        visit(form, uplo);
        if (this->HasFatalFailure()) return;
      }
    }
  }

  /// A matrix that a form can hold, n even, with a condition of eps^-power or, to be definite beyond rounding, somewhat
  /// less.
  GuardedMatrix<T> matrix(const Form& form, Int n, double power) {
    const Int diagonals = form.diagonals < 0 ? all_diagonals : form.diagonals;
    Description description{.name = form.name, .condition = power, .lower = diagonals, .upper = diagonals};
    if (form.structure == Structure::general) return described.general<T>(description, n, n, n + 1);
    if (form.structure == Structure::definite) {
      description.condition *= 0.75;
      return described.hermitian<T>(description, n, n + 1);
    }
    return mirrored(described.general<T>(description, n / 2, n / 2, n), form.structure == Structure::hermitian);
  }

  GuardedMatrix<T> random_right_hand_sides(Int n, Int nrhs) { return random_matrix<T>(random, n, nrhs, n + 1); }

  DescribedMatrices described{7};
  Random random{11};

 private:
  /// (0 G; G^H 0) or, with G^T, a symmetric matrix: indefinite, of the condition of G.
  static GuardedMatrix<T> mirrored(const GuardedMatrix<T>& G, bool is_hermitian) {
    const Int m = G.rows();
    GuardedMatrix<T> A(2 * m, 2 * m, 2 * m + 1);
    for (Int j = 1; j <= 2 * m; ++j) {
      for (Int i = 1; i <= 2 * m; ++i) A(i, j) = T(0);
    }
    for (Int j = 1; j <= m; ++j) {
      for (Int i = 1; i <= m; ++i) {
        A(i, m + j) = G(i, j);
        A(m + j, i) = is_hermitian ? conjugate(G(i, j)) : G(i, j);
      }
    }
    A.seal();
    return A;
  }
};
TYPED_TEST_SUITE(StoredSystems, Precisions, PrecisionLetter);

/// Letters of the operations that a form knows.
std::vector<char> operations_of(const Form& form) {
  if (form.structure == Structure::general) return {'N', 'T', 'C'};
  return {'N'};
}

char small_letter(char letter) {
  return static_cast<char>(letter - 'A' + 'a');
}

/// max |x - y| / max |x|, by columns.
template <Scalar T>
std::vector<double> relative_errors(const WideMatrix<T>& X, const WideMatrix<T>& Y) {
  std::vector<double> errors;
  for (Eigen::Index j = 0; j < X.cols(); ++j) {
    errors.push_back(double((X.col(j) - Y.col(j)).cwiseAbs().maxCoeff() / X.col(j).cwiseAbs().maxCoeff()));
  }
  return errors;
}

// ----------------------------------------------------------------------------------------------------------- condition

TYPED_TEST(StoredSystems, HaveTheirConditionWithinAFactorOfTen) {
  using T = TypeParam;
  this->for_each_form([&](const Form& form, char uplo) {
    for (const double power : {0.0, 0.25, 0.5, 0.75, 0.95}) {
      const GuardedMatrix<T> A = this->matrix(form, 20, power);
      const WideMatrix<T> wide_A = wide(A), wide_inverse = inverse<T>(wide_A);
      const auto system = store(form, uplo, A);
      ASSERT_EQ(system->factor(), 0);
      for (const char norm : {'1', 'O', 'i', 'I'}) {
        const bool of_rows = same_letter(norm, 'I');
        const double anorm = one_norm<T>(of_rows ? op<T>('T', wide_A) : wide_A);
        const double expected = 1 / (anorm * one_norm<T>(of_rows ? op<T>('T', wide_inverse) : wide_inverse));
        const double rcond = double(system->condition(norm, Real<T>(anorm)));
        EXPECT_GT(rcond, expected / 10) << norm << ' ' << power;
        EXPECT_LT(rcond, expected * 10) << norm << ' ' << power;
      }
      EXPECT_TRUE(system->guards_unchanged());
    }
  });
}

/// A row of large elements makes the infinity-norms of a matrix and its inverse larger than the one-norms.
TYPED_TEST(StoredSystems, HaveTheirConditionInEitherNorm) {
  using T = TypeParam;
  constexpr Int n = 12;
  this->for_each_form([&](const Form& form, char uplo) {
    if (form.structure != Structure::general || form.diagonals == 1) return;
    const Int last = form.diagonals < 0 ? n : 1 + form.diagonals;
    GuardedMatrix<T> A(n, n, n);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) A(i, j) = T(i == j ? 1 : i == 1 && j <= last ? -100 : 0);
    }
    const auto system = store(form, uplo, A);
    ASSERT_EQ(system->factor(), 0);
    const Real<T> of_columns = 101, of_rows = Real<T>(1 + 100 * (last - 1));
    EXPECT_NEAR(system->condition('1', of_columns) * of_columns * of_columns, 1, 0.1);
    EXPECT_NEAR(system->condition('I', of_rows) * of_rows * of_rows, 1, 0.1);
  });
}

TYPED_TEST(StoredSystems, HaveNoConditionWithoutANormOrAnOrder) {
  using T = TypeParam;
  this->for_each_form([&](const Form& form, char uplo) {
    const auto system = store(form, uplo, this->matrix(form, 6, 0.2));
    ASSERT_EQ(system->factor(), 0);
    EXPECT_EQ(system->condition('1', 0), 0);
    EXPECT_EQ(store(form, uplo, GuardedMatrix<T>(0, 0, 1))->condition('I', 3), 1);
  });
}

TYPED_TEST(StoredSystems, WithoutANormAreNotLookedAt) {
  using T = TypeParam;
  constexpr Int n = 3;
  GuardedMatrix<T> A = random_matrix<T>(this->random, n, n, n);
  GuardedVector<T> work(4 * n);
  GuardedVector<SecondWork<T>> second(2 * n);
  work.seal();
  second.seal();
  Real<T> rcond = -1;
  Int info = 99;
  routine_call::gecon('1', n, A, Real<T>(0), rcond, work.data(), second.data(), info);
  EXPECT_EQ(info, 0);
  EXPECT_EQ(rcond, 0);
  EXPECT_TRUE(work.unchanged());
  EXPECT_TRUE(second.unchanged());
}

/// A factor whose elements are small beside those of its inverse, in whose products infinities would meet.
TYPED_TEST(StoredSystems, HaveNoConditionWhereTheInverseOverflows) {
  using T = TypeParam;
  constexpr Int n = 4;
  const T large = T(std::exp2(Real<T>(std::numeric_limits<Real<T>>::max_exponent) * Real<T>(0.55)));
  for (const char uplo : uplos) {
    for (const char norm : {'1', 'I'}) {
      GuardedMatrix<T> A(n, n, n);
      for (Int j = 1; j <= n; ++j) {
        for (Int i = 1; i <= n; ++i) A(i, j) = i == j ? T(1) : (i < j) == (uplo == 'U') ? large : T(0);
      }
      T work[4 * n];
      SecondWork<T> second[2 * n];
      Real<T> rcond = -1;
      Int info = 99;
      routine_call::gecon(norm, n, A, Real<T>(1), rcond, work, second, info);
      EXPECT_EQ(info, 0);
      EXPECT_EQ(rcond, 0) << uplo << norm;
    }
  }
}

TYPED_TEST(StoredSystems, HaveNoConditionWhereTheirFactorsAreSingular) {
  using T = TypeParam;
  constexpr Int n = 5;
  this->for_each_form([&](const Form& form, char uplo) {
    if (form.structure == Structure::definite) return;
    GuardedMatrix<T> A(n, n, n);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) A(i, j) = T(i == j && i != 3 ? 2 : 0);
    }
    const auto system = store(form, uplo, A);
    EXPECT_EQ(system->factor(), 3);
    for (const char norm : {'1', 'I'}) EXPECT_EQ(system->condition(norm, 2), 0);
  });
}

// ---------------------------------------------------------------------------------------------------------- refinement

/// What a relative change of all elements of A by one may change of the elements of x, relative to the largest: by the
/// inverse of A element by element, or by its norm, as the bound of definite tridiagonal matrices takes it.
template <Scalar T>
double sensitivity(const WideMatrix<T>& inverse_of_A, const WideMatrix<T>& A, const GuardedMatrix<T>& X, Int j,
                   bool by_norm) {
  double largest_x = 0, largest_row = 0, largest_residual = 0, largest_change = 0;
  const auto size = [](const Wide<T>& x) { return double(std::abs(x)); };
  std::vector<double> change_of_residual;
  for (Int i = 0; i < A.rows(); ++i) {
    double sum = 0;
    for (Int k = 0; k < A.rows(); ++k) sum += size(A(i, k)) * std::abs(X(k + 1, j));
    change_of_residual.push_back(sum);
    largest_residual = std::max(largest_residual, sum);
    largest_x = std::max(largest_x, double(std::abs(X(i + 1, j))));
  }
  for (Int i = 0; i < A.rows(); ++i) {
    double row = 0, change = 0;
    for (Int k = 0; k < A.rows(); ++k) {
      row += size(inverse_of_A(i, k));
      change += size(inverse_of_A(i, k)) * change_of_residual[std::size_t(k)];
    }
    largest_row = std::max(largest_row, row);
    largest_change = std::max(largest_change, change);
  }
  return (by_norm ? largest_row * largest_residual : largest_change) / largest_x;
}

/// No error exceeds its bound, and no bound what n + 1 roundings could do if all went one way. Errors of large
/// condition are often far smaller than that; where the condition is small, the largest bound is close to the largest
/// error.
TYPED_TEST(StoredSystems, HaveBoundsThatHold) {
  using T = TypeParam;
  constexpr Int n = 6, nrhs = 8;
  this->for_each_form([&](const Form& form, char uplo) {
    for (const double power : {0.0, 0.05, 0.2, 0.4, 0.6}) {
      const GuardedMatrix<T> A = this->matrix(form, n, power), B = this->random_right_hand_sides(n, nrhs);
      const auto system = store(form, uplo, A);
      ASSERT_EQ(system->factor(), 0);
      for (const char trans : operations_of(form)) {
        GuardedMatrix<T> X = B;
        GuardedVector<Real<T>> ferr(nrhs), berr(nrhs);
        ASSERT_EQ(system->solve(trans, X), 0);
        ASSERT_EQ(system->refine(trans, B, X, ferr, berr), 0);
        const WideMatrix<T> wide_A = op<T>(trans, wide(A)), inverse_of_A = inverse<T>(wide_A);
        const WideMatrix<T> solution = product<T>(inverse_of_A, wide(B));
        const std::vector<double> errors = relative_errors<T>(solution, wide(X));
        for (Int j = 1; j <= nrhs; ++j) {
          const double error = errors[std::size_t(j - 1)];
          const bool by_norm = std::string(form.name) == "pt";
          EXPECT_GE(ferr(j), error) << trans << ' ' << power;
          EXPECT_LE(ferr(j), 2 * (n + 2) * epsilon<T> * sensitivity(inverse_of_A, wide_A, X, j, by_norm)) << power;
          EXPECT_LE(berr(j), 2 * epsilon<T>) << trans << ' ' << power;
        }
        if (power < 0.1) {
          const double largest = std::max(*std::max_element(errors.begin(), errors.end()), double(epsilon<T>));
          EXPECT_LE(*std::max_element(&ferr(1), &ferr(nrhs) + 1), 100 * largest) << trans << ' ' << power;
        }
        EXPECT_TRUE(ferr.guards_unchanged());
        EXPECT_TRUE(berr.guards_unchanged());
        EXPECT_TRUE(X.guards_unchanged());
      }
      EXPECT_TRUE(system->guards_unchanged());
    }
  });
}

/// With factors so large that no step changes x, berr is that of x as it came.
TYPED_TEST(StoredSystems, HaveTheBackwardErrorOfTheirElements) {
  using T = TypeParam;
  using R = Real<T>;
  const auto size = [](T x) { return std::abs(std::real(x)) + std::abs(std::imag(x)); };
  for (const Int n : {1, 3, 4, 6, 9}) {
    const GuardedMatrix<T> A = random_matrix<T>(this->random, n, n, n), B = random_matrix<T>(this->random, n, 1, n);
    GuardedMatrix<T> AF(n, n, n), X = random_matrix<T>(this->random, n, 1, n);
    GuardedVector<Int> ipiv(n);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) AF(i, j) = T(i == j ? R(1e30) : 0);
      ipiv(j) = j;
    }
    for (const char trans : {'N', 'T', 'C'}) {
      R expected = 0;
      for (Int i = 1; i <= n; ++i) {
        T residual = B(i, 1);
        R weight = size(B(i, 1));
        for (Int j = 1; j <= n; ++j) {
          const T a = trans == 'N' ? A(i, j) : trans == 'T' ? A(j, i) : conjugate(A(j, i));
          residual -= a * X(j, 1);
          weight += size(a) * size(X(j, 1));
        }
        expected = std::max(expected, size(residual) / weight);
      }
      GuardedVector<T> work(3 * n);
      GuardedVector<SecondWork<T>> second(n);
      R ferr, berr;
      Int info = 99;
      routine_call::gerfs(trans, n, 1, A, AF, ipiv.data(), B, X, &ferr, &berr, work.data(), second.data(), info);
      EXPECT_EQ(info, 0);
      EXPECT_NEAR(berr, expected, n * epsilon<T>) << trans << n;
    }
  }
}

/// A matrix whose products are taken panel by panel.
TYPED_TEST(StoredSystems, ThatAreLargeAreBoundedAlike) {
  using T = TypeParam;
  constexpr Int n = 300;
  GuardedMatrix<T> A = random_matrix<T>(this->random, n, n, n), B = this->random_right_hand_sides(n, 1);
  for (Int j = 1; j <= n; ++j) A(j, j) += T(Real<T>(2 * std::sqrt(n)));
  const auto system = store(forms_of<T>().front(), 'U', A);
  ASSERT_EQ(system->factor(), 0);
  for (const char trans : {'N', 'T', 'C'}) {
    GuardedMatrix<T> X = B;
    GuardedVector<Real<T>> ferr(1), berr(1);
    system->solve(trans, X);
    for (Int i = 1; i <= n; ++i) X(i, 1) *= Real<T>(1 + 1e-3 * (i % 3));
    system->refine(trans, B, X, ferr, berr);
    EXPECT_LT(solution_residual<T>(op<T>(trans, wide(A)), wide(X), wide(B)), threshold) << trans;
    EXPECT_LE(berr(1), epsilon<T>) << trans;
    EXPECT_LE(ferr(1), 1e4 * epsilon<T>) << trans;
    EXPECT_GE(ferr(1), 10 * epsilon<T>) << trans;
  }
}

TYPED_TEST(StoredSystems, AreImprovedByRefinement) {
  using T = TypeParam;
  constexpr Int n = 10;
  this->for_each_form([&](const Form& form, char uplo) {
    const GuardedMatrix<T> A = this->matrix(form, n, 0.1), B = this->random_right_hand_sides(n, 1);
    const auto system = store(form, uplo, A);
    ASSERT_EQ(system->factor(), 0);
    for (const char trans : operations_of(form)) {
      GuardedMatrix<T> X = B;
      GuardedVector<Real<T>> ferr(1), berr(1);
      system->solve(trans, X);
      for (Int i = 1; i <= n; ++i) X(i, 1) *= Real<T>(1.01);
      system->refine(trans, B, X, ferr, berr);
      EXPECT_LT(solution_residual<T>(op<T>(trans, wide(A)), wide(X), wide(B)), threshold) << trans;
    }
  });
}

TYPED_TEST(StoredSystems, HaveNoBoundsToFindWhereNothingIsSolved) {
  using T = TypeParam;
  this->for_each_form([&](const Form& form, char uplo) {
    const auto system = store(form, uplo, GuardedMatrix<T>(0, 0, 1));
    GuardedMatrix<T> B(0, 2, 1), X(0, 2, 1);
    GuardedVector<Real<T>> ferr(2), berr(2);
    EXPECT_EQ(system->refine('N', B, X, ferr, berr), 0);
    for (Int j = 1; j <= 2; ++j) {
      EXPECT_EQ(ferr(j), 0);
      EXPECT_EQ(berr(j), 0);
    }
  });
}

// A matrix of order one that claims to be larger than it is: each step takes away a known part of the error.

template <Scalar T>
T refined_with_factor(Real<T> factor, Real<T>& berr, char routine) {
  const Real<T> root = std::sqrt(factor);
  T a = 1, af = routine == 'g' ? factor : root, b = 1, x = 0, work[3];
  SecondWork<T> second[1];
  Real<T> ferr;
  Int ipiv = 1, info = 99;
  if (routine == 'g') {
    routine_call::gerfs('N', 1, 1, Matrix<T>(&a, 1), Matrix<T>(&af, 1), &ipiv, Matrix<T>(&b, 1), Matrix<T>(&x, 1),
                        &ferr, &berr, work, second, info);
  } else {
    routine_call::porfs('U', 1, 1, Matrix<T>(&a, 1), Matrix<T>(&af, 1), Matrix<T>(&b, 1), Matrix<T>(&x, 1), &ferr,
                        &berr, work, second, info);
  }
  EXPECT_EQ(info, 0);
  return x;
}

TYPED_TEST(StoredSystems, AreRefinedFiveTimesAtMost) {
  using T = TypeParam;
  for (const char routine : {'g', 'p'}) {
    Real<T> berr;
    EXPECT_NEAR(std::abs(refined_with_factor<T>(Real<T>(1.25), berr, routine) - T(1)), std::pow(0.2, 5), 1e-6);
    EXPECT_NEAR(berr, std::pow(0.2, 5) / 2, 1e-6);
  }
}

TYPED_TEST(StoredSystems, AreRefinedNoMoreOnceTheErrorFailsToHalve) {
  using T = TypeParam;
  for (const char routine : {'g', 'p'}) {
    Real<T> berr;
    // The backward errors are 1, 0.75 / 1.25 = 0.6; then no step is taken.
    EXPECT_NEAR(std::abs(refined_with_factor<T>(Real<T>(4), berr, routine) - T(1)), 0.75, 1e-6);
    EXPECT_NEAR(berr, 0.6, 1e-6);
  }
}

TYPED_TEST(StoredSystems, StayAsTheyAreWhenSolvedToTheLastBit) {
  using T = TypeParam;
  this->for_each_form([&](const Form& form, char uplo) {
    const Int n = 4;
    GuardedMatrix<T> A(n, n, n), B(n, 1, n), X(n, 1, n);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) A(i, j) = T(i == j ? 3 : 0);
      X(j, 1) = T(Real<T>(j));
      B(j, 1) = T(Real<T>(3 * j));
    }
    X.seal();
    const auto system = store(form, uplo, A);
    ASSERT_EQ(system->factor(), 0);
    GuardedVector<Real<T>> ferr(1), berr(1);
    system->refine('N', B, X, ferr, berr);
    EXPECT_EQ(berr(1), 0);
    EXPECT_TRUE(X.unchanged());
  });
}

/// An error of one unit in the last place is less than eps, two are more.
TYPED_TEST(StoredSystems, AreNotRefinedOnceTheErrorIsLessThanEps) {
  using T = TypeParam;
  GuardedMatrix<T> one(1, 1, 1);
  one(1, 1) = T(1);
  this->for_each_form([&](const Form& form, char uplo) {
    const auto system = store(form, uplo, one);
    ASSERT_EQ(system->factor(), 0);
    for (const Int units : {1, 2}) {
      GuardedMatrix<T> X(1, 1, 1);
      GuardedVector<Real<T>> ferr(1), berr(1);
      const T x = X(1, 1) = T(1 + Real<T>(units) * epsilon<T>);
      system->refine('N', one, X, ferr, berr);
      EXPECT_EQ(X(1, 1), units == 1 ? x : T(1));
      EXPECT_EQ(berr(1) == 0, units == 2);
    }
  });
}

// ------------------------------------------------------------------------------------------------------ expert drivers

/// Multiplies every other row and every other column of a matrix by powers of about eps.
template <Scalar T>
void scale_badly(GuardedMatrix<T>& A, double row_power, double column_power) {
  const auto factor = [](double power, Int i) {
    return i % 2 == 0 ? std::pow(Real<T>(2), Real<T>(std::round(std::log2(double(epsilon<T>)) * power))) : Real<T>(1);
  };
  for (Int j = 1; j <= A.columns(); ++j) {
    for (Int i = 1; i <= A.rows(); ++i) A(i, j) *= factor(row_power, i) * factor(column_power, j);
  }
  A.seal();
}

template <Scalar T>
void expect_trustworthy(const ExpertCall<T>& call, const WideMatrix<T>& A, const WideMatrix<T>& B) {
  const WideMatrix<T> solution = product<T>(inverse<T>(op<T>(call.trans, A)), B);
  const std::vector<double> errors = relative_errors<T>(solution, wide(call.X));
  for (Int j = 1; j <= call.B.columns(); ++j) {
    EXPECT_GE(call.ferr(j), errors[std::size_t(j - 1)]);
    EXPECT_LT(call.ferr(j), 1e-2);
    EXPECT_LE(call.berr(j), 2 * epsilon<T>);
  }
  EXPECT_TRUE(call.X.guards_unchanged());
  EXPECT_TRUE(call.B.guards_unchanged());
  EXPECT_TRUE(call.ferr.guards_unchanged());
  EXPECT_TRUE(call.berr.guards_unchanged());
  EXPECT_TRUE(call.r.guards_unchanged());
  EXPECT_TRUE(call.c.guards_unchanged());
}

/// Whether the matrix of a system is the original with the scaling that the call tells of.
template <Scalar T>
void expect_scaled(const StoredSystem<T>& system, const ExpertCall<T>& call, bool is_symmetric,
                   const GuardedMatrix<T>& original) {
  using R = Real<T>;
  const bool rows = is_one_of(call.equed, 'R', 'B', 'Y'), columns = is_one_of(call.equed, 'C', 'B', 'Y');
  for (Int j = 1; j <= original.columns(); ++j) {
    for (Int i = 1; i <= original.rows(); ++i) {
      const R row = rows ? call.r(i) : R(1), column = columns ? (is_symmetric ? call.r(j) : call.c(j)) : R(1);
      ASSERT_EQ(system.element(i, j), column * row * original(i, j)) << i << ' ' << j;
    }
  }
}

/// The bounds hold for the system as it was scaled, and the solution is one of the system as it was, element by
/// element.
template <Scalar T>
void expect_trustworthy_when_scaled(const ExpertCall<T>& call, const StoredSystem<T>& system, bool is_symmetric,
                                    const GuardedMatrix<T>& A, const GuardedMatrix<T>& B) {
  const Int n = A.rows();
  const bool is_direct = call.trans == 'N';
  const bool scales_x = is_one_of(call.equed, 'B', 'Y', is_direct ? 'C' : 'R');
  const GuardedVector<Real<T>>& factors = is_symmetric || !is_direct ? call.r : call.c;
  WideMatrix<T> scaled(n, n);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) scaled(i - 1, j - 1) = wide(system.element(i, j));
  }
  WideMatrix<T> solution = product<T>(inverse<T>(op<T>(call.trans, scaled)), wide(call.B));
  for (Int i = 1; i <= n && scales_x; ++i) solution.row(i - 1) *= wide(T(factors(i)));
  const std::vector<double> errors = relative_errors<T>(solution, wide(call.X));
  for (Int j = 1; j <= B.columns(); ++j) {
    EXPECT_GE(call.ferr(j), errors[std::size_t(j - 1)]);
    EXPECT_LE(errors[std::size_t(j - 1)], 1000 * epsilon<T>);
    EXPECT_LE(call.berr(j), 2 * epsilon<T>);
  }
  Sum<T> residual(n, B.columns());
  residual.add(T(1), op<T>(call.trans, wide(A)), wide(call.X)).add(T(-1), wide(B));
  EXPECT_LT(residual.distance_from_zero(), threshold);
}

TYPED_TEST(StoredSystems, AreSolvedByTheExpertDriver) {
  using T = TypeParam;
  constexpr Int n = 12, nrhs = 2;
  this->for_each_form([&](const Form& form, char uplo) {
    const GuardedMatrix<T> A = this->matrix(form, n, 0.2), B = this->random_right_hand_sides(n, nrhs);
    for (const char trans : operations_of(form)) {
      const auto system = store(form, uplo, A);
      ExpertCall<T> call('N', trans, B);
      system->drive_expertly(call);
      ASSERT_EQ(call.info, 0);
      expect_trustworthy(call, wide(A), wide(B));
      EXPECT_TRUE(call.B.unchanged());
      if (form.is_scaled) {
        EXPECT_EQ(call.equed, 'N');
      }
      expect_scaled(*system, call, true, A);
      const bool by_rows = form.structure == Structure::general && trans != 'N';
      const WideMatrix<T> wide_A = by_rows ? op<T>('T', wide(A)) : wide(A);
      const double expected = 1 / (one_norm<T>(wide_A) * one_norm<T>(inverse<T>(wide_A)));
      EXPECT_NEAR(double(call.rcond), expected, 2 * expected);

      // Once more with the factors, by the small letters.
      ExpertCall<T> again('f', small_letter(trans), B);
      again.equed = 'n';
      system->drive_expertly(again);
      EXPECT_EQ(again.info, 0);
      EXPECT_TRUE(again.X.same_as(call.X));
      EXPECT_EQ(again.rcond, call.rcond);
      EXPECT_TRUE(again.ferr.same_as(call.ferr));
      EXPECT_TRUE(again.berr.same_as(call.berr));
      EXPECT_TRUE(system->guards_unchanged());
    }
  });
}

TYPED_TEST(StoredSystems, AreScaledByTheExpertDriver) {
  using T = TypeParam;
  constexpr Int n = 12, nrhs = 2;
  struct Case {
    double row_power, column_power;
    std::string equed;  ///< what may be the answer: with few entries in a row, small columns make rows uneven
  };
  this->for_each_form([&](const Form& form, char uplo) {
    if (!form.is_scaled) return;
    const bool is_symmetric = form.structure != Structure::general;
    const auto cases = is_symmetric ? std::vector<Case>{{1, 1, "Y"}, {0, 0, "N"}}
                                    : std::vector<Case>{{1.5, 0, "R"}, {0, 1.5, "CB"}, {1, 1, "B"}, {0, 0, "N"}};
    for (const Case& scale : cases) {
      for (const char trans : operations_of(form)) {
        GuardedMatrix<T> A = this->matrix(form, n, 0.05);
        scale_badly(A, scale.row_power, scale.column_power);
        const GuardedMatrix<T> B = this->random_right_hand_sides(n, nrhs);
        const auto system = store(form, uplo, A);
        ExpertCall<T> call('E', trans, B);
        system->drive_expertly(call);
        ASSERT_EQ(call.info, 0);
        EXPECT_NE(scale.equed.find(call.equed), std::string::npos) << trans << ' ' << call.equed;
        expect_scaled(*system, call, is_symmetric, A);
        // The scaled matrix is a good one, whatever the original is.
        EXPECT_GT(call.rcond, Real<T>(1e-3));
        expect_trustworthy_when_scaled(call, *system, is_symmetric, A, B);

        ExpertCall<T> again('f', small_letter(trans), B);
        again.equed = small_letter(call.equed);
        again.r = call.r;
        again.c = call.c;
        system->drive_expertly(again);
        EXPECT_EQ(again.info, 0);
        EXPECT_TRUE(again.X.same_as(call.X));
        EXPECT_TRUE(again.B.same_as(call.B));
        EXPECT_TRUE(again.berr.same_as(call.berr));
        // The ratio of the factors, computed from them, is that of the entries that they were made of up to rounding.
        for (Int j = 1; j <= nrhs; ++j) EXPECT_NEAR(again.ferr(j) / call.ferr(j), 1, 4 * epsilon<T>);
        EXPECT_TRUE(system->guards_unchanged());
      }
    }
  });
}

TYPED_TEST(StoredSystems, AreFoundSingularByTheExpertDriver) {
  using T = TypeParam;
  constexpr Int n = 7, zero = 4;
  this->for_each_form([&](const Form& form, char uplo) {
    GuardedMatrix<T> A(n, n, n);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) A(i, j) = T(i == j && i != zero ? 2 : 0);
    }
    for (const char fact : {'N', 'E'}) {
      if (fact == 'E' && !form.is_scaled) continue;
      const auto system = store(form, uplo, A);
      ExpertCall<T> call(fact, 'N', this->random_right_hand_sides(n, 2));
      call.X.seal();
      system->drive_expertly(call);
      EXPECT_EQ(call.info, zero);
      EXPECT_EQ(call.rcond, 0);
      EXPECT_TRUE(call.X.unchanged());
      EXPECT_TRUE(system->guards_unchanged());
    }
  });
}

TYPED_TEST(StoredSystems, AreToldToBeSingularToWorkingPrecision) {
  using T = TypeParam;
  constexpr Int n = 5;
  this->for_each_form([&](const Form& form, char uplo) {
    GuardedMatrix<T> A(n, n, n), B(n, 1, n);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) A(i, j) = T(i == j ? 1 : 0);
      B(j, 1) = T(Real<T>(j));
    }
    for (const bool is_singular : {false, true}) {
      // eps itself is enough; its square root, which Cholesky factorisation takes, is not exact.
      const double regular = form.structure == Structure::definite ? 1 : 0.5;
      A(3, 3) = epsilon<T> * T(Real<T>(is_singular ? 0.25 : regular));
      const auto system = store(form, uplo, A);
      ExpertCall<T> call('N', 'N', B);
      system->drive_expertly(call);
      EXPECT_EQ(call.info, is_singular ? n + 1 : 0);
      EXPECT_EQ(call.rcond, std::real(A(3, 3)));
      for (Int i = 1; i <= n; ++i) {
        EXPECT_NEAR(std::abs(call.X(i, 1) * A(i, i) / B(i, 1) - T(1)), 0, 2 * epsilon<T>);
      }
    }
  });
}

TYPED_TEST(StoredSystems, OfNoOrderAreSolved) {
  using T = TypeParam;
  this->for_each_form([&](const Form& form, char uplo) {
    const auto system = store(form, uplo, GuardedMatrix<T>(0, 0, 1));
    ExpertCall<T> call(form.is_scaled ? 'E' : 'N', 'N', GuardedMatrix<T>(0, 1, 1));
    system->drive_expertly(call);
    EXPECT_EQ(call.info, 0);
    EXPECT_EQ(call.rcond, 1);
    EXPECT_EQ(call.ferr(1), 0);
    EXPECT_EQ(call.berr(1), 0);
    if (form.is_scaled && form.structure == Structure::general) {
      EXPECT_EQ(call.growth, 1);
    }
  });
}

TYPED_TEST(StoredSystems, ThatAreIndefiniteAskForWorkspace) {
  using T = TypeParam;
  constexpr Int n = 200, nrhs = 1;
  const std::string name = reported_name<T>("SYTRF");
  const Int nb = routine_call::ilaenv(1, {name.data(), 6}, "U", n, -1, -1, -1);
  for (const char fact : {'N', 'F'}) {
    T work[1];
    Int info = 99;
    Real<T> rcond = -1;
    routine_call::sysvx(fact, 'U', n, nrhs, Matrix<T>(nullptr, n), Matrix<T>(nullptr, n), nullptr,
                        Matrix<T>(nullptr, n), Matrix<T>(nullptr, n), rcond, nullptr, nullptr, work, -1, nullptr, info);
    EXPECT_EQ(info, 0);
    EXPECT_EQ(rcond, -1);
    const Int least = (RealScalar<T> ? 3 : 2) * n;
    EXPECT_EQ(std::real(work[0]), fact == 'N' ? std::max(least, n * nb) : least);
  }
}

/// The matrix whose elements double in the last column at each step of elimination. Where it has no pivot in a column,
/// the growth is that of the columns up to there.
TYPED_TEST(StoredSystems, TellHowTheirPivotsGrew) {
  using T = TypeParam;
  constexpr Int n = 9;
  for (const Int zero : {0, 4}) {
    GuardedMatrix<T> A(n, n, n), B(n, 1, n);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) A(i, j) = T(j == zero ? 0 : i == j || j == n ? 1 : i > j ? -1 : 0);
      B(j, 1) = T(1);
    }
    const auto system = store(forms_of<T>().front(), 'U', A);
    // With the factors there is no telling that they are singular.
    for (const char fact : {'N', zero != 0 ? 'E' : 'F'}) {
      ExpertCall<T> call(fact, 'N', B);
      call.equed = 'N';
      system->drive_expertly(call);
      EXPECT_EQ(call.info, zero) << fact;
      EXPECT_EQ(call.growth, zero != 0 ? 1 : std::pow(Real<T>(2), 1 - n)) << fact;
    }
  }
}

/// The same for a band.
TYPED_TEST(StoredSystems, WithABandTellHowTheirPivotsGrew) {
  using T = TypeParam;
  constexpr Int n = 6;
  const Form& form = *std::find_if(forms_of<T>().begin(), forms_of<T>().end(),
                                   [](const Form& one) { return std::string(one.name) == "gb"; });
  for (const Int zero : {0, 3}) {
    GuardedMatrix<T> A(n, n, n), B(n, 1, n);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) A(i, j) = T(j != zero && i == j ? 1 : 0);
      B(j, 1) = T(1);
    }
    // (1 1; -1 1) in the last two rows and columns becomes (1 1; 0 2).
    A(n - 1, n) = T(1);
    A(n, n - 1) = T(-1);
    ExpertCall<T> call('N', 'N', B);
    store(form, 'U', A)->drive_expertly(call);
    EXPECT_EQ(call.info, zero);
    EXPECT_EQ(call.growth, zero != 0 ? Real<T>(1) : Real<T>(0.5));
  }
}

// ----------------------------------------------------------------------------------------------- all kinds of matrices

/// Puts the upper triangle into the lower one.
template <Scalar T>
void make_symmetric(GuardedMatrix<T>& A) {
  for (Int j = 1; j <= A.columns(); ++j) {
    for (Int i = j + 1; i <= A.rows(); ++i) A(i, j) = A(j, i);
  }
}

/// Every driver of every form on each type of matrix that the form can hold.
TYPED_TEST(StoredSystems, OfAllTypesAreSolvedOrFoundSingular) {
  using T = TypeParam;
  constexpr Int n = 13, nrhs = 2;
  this->for_each_form([&](const Form& form, char uplo) {
    for (const LinearSystemType& type : linear_system_types) {
      if (form.structure != Structure::general && type.is_triangular()) continue;
      SCOPED_TRACE(type.name);
      GuardedMatrix<T> A =
          matrix_of_type<T>(this->described, type, form.structure != Structure::general, n, form.diagonals);
      if (form.structure == Structure::symmetric) make_symmetric(A);
      const GuardedMatrix<T> B = this->random_right_hand_sides(n, nrhs);
      const auto system = store(form, uplo, A);
      GuardedMatrix<T> X = B;
      const Int info = system->drive(X);
      ExpertCall<T> call(form.is_scaled ? 'E' : 'N', 'N', B);
      system->drive_expertly(call);
      if (type.is_singular()) {
        EXPECT_GT(info, 0);
        EXPECT_GT(call.info, 0);
        EXPECT_LE(call.info, n);
      } else {
        EXPECT_EQ(info, 0);
        EXPECT_TRUE(call.info == 0 || call.info == n + 1) << call.info;
        EXPECT_LT(solution_residual<T>(wide(A), wide(X), wide(B)), threshold);
        EXPECT_LT(solution_residual<T>(wide(A), wide(call.X), wide(B)), threshold);
      }
      EXPECT_TRUE(system->guards_unchanged());
    }
  });
}

/// A definite tridiagonal matrix, which all forms can hold.
TYPED_TEST(StoredSystems, OfOneMatrixAgree) {
  using T = TypeParam;
  for (const Int n : {1, 2, 50, 65}) {
    GuardedMatrix<T> A(n, n, n);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) A(i, j) = T(i == j ? 4 : std::abs(i - j) == 1 ? (i + j) % 3 - 1 : 0);
    }
    const GuardedMatrix<T> B = this->random_right_hand_sides(n, 3);
    GuardedMatrix<T> expected = B;
    ASSERT_EQ(store(forms_of<T>().front(), 'U', A)->drive(expected), 0);
    const auto expect_agreement = [&](const GuardedMatrix<T>& X) {
      for (const double error : relative_errors<T>(wide(expected), wide(X))) EXPECT_LE(error, threshold * epsilon<T>);
    };
    this->for_each_form([&](const Form& form, char uplo) {
      const auto system = store(form, uplo, A);
      GuardedMatrix<T> X = B;
      EXPECT_EQ(system->drive(X), 0);
      expect_agreement(X);
      ExpertCall<T> call('N', 'N', B);
      system->drive_expertly(call);
      EXPECT_EQ(call.info, 0);
      expect_agreement(call.X);
    });
  }
}

}  // namespace
}  // namespace nuv::test
