// Eigenvalues and eigenvectors of general matrices by geev and geevx.

#include <cmath>

#include "nonsymmetric/general_calls.hpp"
#include "routines.hpp"
#include "support/reported_errors.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

template <class T>
class GeneralEigen : public ReportingTest {
 protected:
  Random random{741};

  GuardedMatrix<T> matrix(Int n) { return random_matrix<T>(random, n, n, std::max(1, n) + random.integer(0, 2)); }
};
TYPED_TEST_SUITE(GeneralEigen, Precisions, PrecisionLetter);

/// Expects that the values and vectors that were wanted are those of A.
template <Scalar T>
void expect_solution(const GuardedMatrix<T>& A, const EigenCall<T>& call) {
  ASSERT_EQ(call.info, 0);
  EXPECT_TRUE(are_pairs(call));
  if (call.wants_right()) {
    EXPECT_LT(right_residual(A, call), threshold);
    EXPECT_TRUE(are_normalised(call, call.VR));
  }
  if (call.wants_left()) {
    EXPECT_LT(left_residual(A, call), threshold);
    EXPECT_TRUE(are_normalised(call, call.VL));
  }
}

/// The same values, bit by bit.
template <Scalar T>
void expect_same_values(const GeneralCall<T>& call, const GeneralCall<T>& other) {
  EXPECT_TRUE(call.w.same_as(other.w) && call.wr.same_as(other.wr) && call.wi.same_as(other.wi));
}

/// Solves with all choices of vectors; what is wanted twice is the same.
template <class Driver, Scalar T>
EigenCall<T> solve_in_all_ways(Random& random, const GuardedMatrix<T>& A) {
  const auto solved = [&](char left, char right, Room room) {
    return solve<Driver>(EigenCall<T>(random.in_some_case(left), random.in_some_case(right), A), room);
  };
  const EigenCall<T> both = solved('V', 'V', Room::best), least = solved('V', 'V', Room::least);
  expect_solution(A, both);
  expect_solution(A, least);
  for (const auto& [left, right] : {std::pair('V', 'N'), std::pair('N', 'V')}) {
    const EigenCall<T> one = solved(left, right, Room::best);
    expect_same_values(one, both);
    EXPECT_TRUE(left == 'N' || one.VL.same_as(both.VL));
    EXPECT_TRUE(right == 'N' || one.VR.same_as(both.VR));
  }
  return both;
}

TYPED_TEST(GeneralEigen, FindValuesAndVectorsAtEverySize) {
  using T = TypeParam;
  for (Int n = 0; n <= 12; ++n) {
    SCOPED_TRACE(n);
    const GuardedMatrix<T> A = this->matrix(n);
    const ExactSpectrum exact = exact_spectrum(A);
    const EigenCall<T> solved = solve_in_all_ways<Geev<T>>(this->random, A);
    EXPECT_LT(value_error(solved, exact), threshold);
    EXPECT_LT(value_error(solve<Geev<T>>(EigenCall<T>('N', 'n', A), Room::least), exact), threshold);
    expect_same_values(solve_in_all_ways<Geevx<T>>(this->random, A), solved);
    EXPECT_LT(value_error(solve<Geevx<T>>(EigenCall<T>('n', 'N', A), Room::least), exact), threshold);
  }
}

/// About where the iteration takes more shifts.
TYPED_TEST(GeneralEigen, FindValuesAndVectorsOfLargerMatrices) {
  using T = TypeParam;
  for (const Int n : {74, 75, 77, 150}) {
    SCOPED_TRACE(n);
    const GuardedMatrix<T> A = this->matrix(n);
    const EigenCall<T> solved = solve<Geev<T>>(EigenCall<T>('V', 'V', A), n == 75 ? Room::least : Room::best);
    expect_solution(A, solved);
    const EigenCall<T> alone = solve<Geev<T>>(EigenCall<T>('N', 'N', A));
    ASSERT_EQ(alone.info, 0);
    EXPECT_TRUE(are_pairs(alone));
    // Eigenvalues of random matrices are well-conditioned, but for few.
    EXPECT_LT(spectrum_distance(alone.values(), solved.values()), 1000 * n * epsilon<T>);
  }
}

TYPED_TEST(GeneralEigen, FindThoseOfALargeMatrix) {
  using T = TypeParam;
  if constexpr (sizeof(Real<T>) == sizeof(double)) {
    const GuardedMatrix<T> A = this->matrix(300);
    expect_solution(A, solve<Geev<T>>(EigenCall<T>('N', 'V', A)));
  }
}

TYPED_TEST(GeneralEigen, OfTheZeroMatrixAreZero) {
  using T = TypeParam;
  for (const Int n : {1, 4, 13}) {
    GuardedMatrix<T> A = this->matrix(n);
    for (Int j = 1; j <= n; ++j) std::fill_n(&A(1, j), n, T(0));
    A.seal();
    const EigenCall<T> call = solve<Geev<T>>(EigenCall<T>('V', 'V', A));
    ASSERT_EQ(call.info, 0);
    for (Int i = 1; i <= n; ++i) EXPECT_EQ(call.value(i), std::complex<Real<T>>(0));
    EXPECT_TRUE(are_normalised(call, call.VR) && are_normalised(call, call.VL));
  }
}

/// Elements near the ends of the exponent range.
TYPED_TEST(GeneralEigen, ScaleVeryLargeAndVerySmallMatrices) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 9;
  const GuardedMatrix<T> A = this->matrix(n);
  const EigenCall<T> plain = solve<Geevx<T>>(EigenCall<T>('V', 'V', A));
  for (const int exponent : {std::numeric_limits<R>::max_exponent - 5, std::numeric_limits<R>::min_exponent + 3}) {
    SCOPED_TRACE(exponent);
    GuardedMatrix<T> scaled = A;
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) scaled(i, j) *= std::ldexp(R(1), exponent);
    }
    scaled.seal();
    EigenCall<T> call('V', 'V', scaled);
    call.sense = 'B';
    const EigenCall<T> simple = solve<Geev<T>>(call), expert = solve<Geevx<T>>(call);
    EigenCall<T> with_conditions('V', 'V', A);
    with_conditions.sense = 'B';
    const EigenCall<T> expected = solve<Geevx<T>>(with_conditions);
    for (const EigenCall<T>& solved : {simple, expert}) {
      ASSERT_EQ(solved.info, 0);
      std::vector<std::complex<double>> values = solved.values();
      for (std::complex<double>& value : values) value *= std::ldexp(1.0, -exponent);
      EXPECT_LT(spectrum_distance(values, plain.values()), 100 * n * epsilon<T>);
      EXPECT_TRUE(are_normalised(solved, solved.VR) && are_normalised(solved, solved.VL));
    }
    EXPECT_NEAR(std::ldexp(double(expert.abnrm), -exponent), double(expected.abnrm), 100 * epsilon<T>);
    for (Int i = 1; i <= n; ++i) {
      EXPECT_NEAR(double(expert.rconde(i)), double(expected.rconde(i)), 1000 * epsilon<T>);
      // Estimates, which begin from signs that hang on roundings.
      const double ratio = std::ldexp(double(expert.rcondv(i)), -exponent) / double(expected.rcondv(i));
      EXPECT_TRUE(ratio > 0.3 && ratio < 3) << ratio;
    }
  }
}

/// NaN spoils what depends on it, and the iteration gives up.
TYPED_TEST(GeneralEigen, TellOfAFailedIteration) {
  using T = TypeParam;
  const Int n = 6;
  const GuardedMatrix<T> A = matrix_with_isolated_ends<T>(this->random, n, std::numeric_limits<Real<T>>::quiet_NaN());
  EigenCall<T> simple('N', 'N', A), expert('N', 'N', A);
  simple = solve<Geev<T>>(simple);
  expert = solve<Geevx<T>>(expert);
  for (const EigenCall<T>& call : {simple, expert}) {
    EXPECT_EQ(call.info, n - 1);
    EXPECT_EQ(call.value(1), std::complex<Real<T>>(7));
    EXPECT_EQ(call.value(n), std::complex<Real<T>>(5));
  }
  EXPECT_EQ(expert.ilo, 2);
  EXPECT_EQ(expert.ihi, n - 1);
}

/// Infinities are scaled away, and all other elements with them: what was isolated is zero then, and no number when the
/// scaling is taken back.
TYPED_TEST(GeneralEigen, ScaleBackWhatAFailedIterationLeaves) {
  using T = TypeParam;
  const Int n = 6;
  const GuardedMatrix<T> A = matrix_with_infinities<T>(this->random, n);
  for (const EigenCall<T>& call :
       {solve<Geev<T>>(EigenCall<T>('N', 'N', A)), solve<Geevx<T>>(EigenCall<T>('N', 'N', A))}) {
    EXPECT_EQ(call.info, 4);
    EXPECT_TRUE(std::isnan(call.value(1).real()));
    EXPECT_TRUE(std::isnan(call.value(n).real()));
  }
}

/// The same where a finite number is scaled away: what was isolated comes back as it was.
TYPED_TEST(GeneralEigen, ScaleBackWhatWasIsolatedWhereTheIterationFailed) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 6;
  for (const int exponent : {std::numeric_limits<R>::max_exponent - 5, std::numeric_limits<R>::min_exponent + 3}) {
    const GuardedMatrix<T> A = failing_matrix_of_size<T>(this->random, n, exponent);
    for (const EigenCall<T>& call :
         {solve<Geev<T>>(EigenCall<T>('N', 'N', A)), solve<Geevx<T>>(EigenCall<T>('N', 'N', A))}) {
      EXPECT_EQ(call.info, n - 1);
      EXPECT_NEAR(double(std::ldexp(call.value(1).real(), -exponent)), 7, 20 * epsilon<T>);
      EXPECT_NEAR(double(std::ldexp(call.value(n).real(), -exponent)), 5, 20 * epsilon<T>);
    }
  }
}

/// A matrix is scaled if the squares of its elements might not be numbers, or have lost digits, and not else.
TYPED_TEST(GeneralEigen, ScaleMatricesBeyondALimitAlone) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 30;
  const auto count_changes = [&](R size) {
    const GuardedMatrix<T> A = triangle_of_size<T>(this->random, n, size);
    int changes = 0;
    for (const EigenCall<T>& call :
         {solve<Geev<T>>(EigenCall<T>('N', 'N', A)), solve<Geevx<T>>(EigenCall<T>('N', 'N', A))}) {
      for (Int i = 1; i <= n; ++i) changes += std::complex<R>(A(i, i)) != call.value(i);
    }
    return changes;
  };
  for (const R size : {least_unscaled<R>, R(1), largest_unscaled<R>}) EXPECT_EQ(count_changes(size), 0) << size;
  for (const R size : {R(0.9) * least_unscaled<R>, largest_unscaled<R> / R(0.97)}) {
    EXPECT_GT(count_changes(size), 0) << size;
  }
}

// --------------------------------------------------------------------------------------------------------- balancing

/// Balancing as gebal does it, and eigenvalues none the worse for bad scales where it is allowed.
TYPED_TEST(GeneralEigen, BalanceAsTheCallerChooses) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 8;
  GuardedMatrix<T> A = this->matrix(n);
  for (Int i = 2; i <= n; ++i) A(i, 1) = T(0);
  const ExactSpectrum exact = exact_spectrum(A);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) A(i, j) *= std::ldexp(R(1), 3 * ((i * 5) % n - (j * 5) % n));
  }
  A.seal();
  for (const char balanc : {'N', 'P', 'S', 'B'}) {
    SCOPED_TRACE(balanc);
    EigenCall<T> call('V', 'V', A);
    call.balanc = this->random.in_some_case(balanc);
    call = solve<Geevx<T>>(call);
    ASSERT_EQ(call.info, 0);
    EXPECT_TRUE(are_normalised(call, call.VR) && are_normalised(call, call.VL));

    GuardedMatrix<T> balanced = A;
    GuardedVector<R> scale(n);
    Int ilo = 0, ihi = 0, info = 0;
    routine_call::gebal(balanc, n, Matrix<T>(balanced), ilo, ihi, scale.data(), info);
    EXPECT_EQ(call.ilo, ilo);
    EXPECT_EQ(call.ihi, ihi);
    EXPECT_TRUE(call.scale.same_as(scale));
    EXPECT_NEAR(double(call.abnrm) / one_norm<T>(wide(balanced)), 1, n * epsilon<T>);
    if (balanc == 'S' || balanc == 'B') {
      EXPECT_LT(value_error(call, exact), threshold);
    } else {
      expect_solution(A, call);
    }
  }
  // geev does both.
  EXPECT_LT(value_error(solve<Geev<T>>(EigenCall<T>('N', 'V', A)), exact), threshold);
}

/// Condition numbers are those of the balanced matrix.
TYPED_TEST(GeneralEigen, TellConditionsOfTheBalancedMatrix) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 8;
  GuardedMatrix<T> A = this->matrix(n);
  for (Int i = 2; i <= n; ++i) A(i, 1) = T(0);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) A(i, j) *= std::ldexp(R(1), 3 * ((i * 5) % n - (j * 5) % n));
  }
  A.seal();
  const ExactSpectrum plain = exact_spectrum(A);
  for (const char balanc : {'S', 'B'}) {
    EigenCall<T> call('V', 'V', A);
    call.balanc = balanc;
    call.sense = 'E';
    call = solve<Geevx<T>>(call);
    ASSERT_EQ(call.info, 0);
    GuardedMatrix<T> balanced = A;
    GuardedVector<R> scale(n);
    Int ilo = 0, ihi = 0, info = 0;
    routine_call::gebal(balanc, n, Matrix<T>(balanced), ilo, ihi, scale.data(), info);
    const ExactSpectrum exact = exact_spectrum(balanced);
    const auto nearest_condition = [](const ExactSpectrum& spectrum, std::complex<double> value) {
      const auto at = std::ranges::min_element(spectrum.values, {}, [&](auto w) { return std::abs(value - w); });
      return spectrum.conditions[std::size_t(at - spectrum.values.begin())];
    };
    for (Int i = 1; i <= n; ++i) {
      const std::complex<double> value(call.value(i));
      EXPECT_NEAR(double(call.rconde(i)) * nearest_condition(exact, value), 1, 1e4 * epsilon<T>) << i << balanc;
      // It would not do to take those of A.
      EXPECT_GT(nearest_condition(plain, value), 2 * nearest_condition(exact, value)) << i << balanc;
    }
  }
}

// --------------------------------------------------------------------------------------------------------- conditions

/// T22 - lambda I of the Schur form that puts an eigenvalue first: its least singular value, by the definition of sep.
template <Scalar T>
double explicit_distance(const ComplexMatrix<T>& A, const ComplexMatrix<T>& V, Int k, std::complex<double> value) {
  using C = std::complex<WideReal<T>>;
  const Eigen::Index n = A.rows();
  // An orthonormal basis with the vector first.
  ComplexMatrix<T> Q = ComplexMatrix<T>::Identity(n, n);
  Q.col(0) = V.col(k);
  for (Eigen::Index j = 1; j < n; ++j) Q.col(j)(j - 1) += C(0.5);
  for (Eigen::Index j = 0; j < n; ++j) {
    for (int repeat = 0; repeat < 2; ++repeat) {
      for (Eigen::Index i = 0; i < j; ++i) Q.col(j) -= C(Q.col(i).dot(Q.col(j))) * Q.col(i);
    }
    Q.col(j) /= Q.col(j).norm();
  }
  const ComplexMatrix<T> rest = Q.rightCols(n - 1);
  ComplexMatrix<T> inner = rest.adjoint() * A * rest;
  inner.diagonal().array() -= C(value);
  const ComplexMatrix<T> inverted = inverse<std::complex<Real<T>>>(inner);
  // The Frobenius norm is between the spectral norm and its sqrt(n)-fold.
  return 1 / double(inverted.norm());
}

TYPED_TEST(GeneralEigen, GiveConditionNumbersByTheirDefinition) {
  using T = TypeParam;
  for (const Int n : {1, 2, 5, 9}) {
    SCOPED_TRACE(n);
    const GuardedMatrix<T> A = this->matrix(n);
    EigenCall<T> call('V', 'V', A);
    call.balanc = 'N';
    call.sense = 'B';
    const EigenCall<T> best = solve<Geevx<T>>(call), least = solve<Geevx<T>>(call, Room::least);
    expect_solution(A, best);
    expect_same_values(least, best);
    const ComplexMatrix<T> V = eigenvectors(best, best.VR), U = eigenvectors(best, best.VL);
    const ComplexMatrix<T> full = wide(A).template cast<std::complex<WideReal<T>>>();
    for (Int i = 1; i <= n; ++i) {
      EXPECT_NEAR(double(best.rconde(i)), std::abs(std::complex<double>(U.col(i - 1).dot(V.col(i - 1)))),
                  100 * epsilon<T>);
      if (n == 1) {
        EXPECT_NEAR(double(best.rcondv(i)), std::abs(std::complex<double>(best.value(i))), epsilon<T>);
        continue;
      }
      const double distance = explicit_distance<T>(full, V, i - 1, std::complex<double>(best.value(i)));
      const double ratio = double(best.rcondv(i)) / distance;
      EXPECT_GT(ratio, 0.9 / std::sqrt(n)) << i;
      EXPECT_LT(ratio, 3 * n) << i;
    }
  }
}

TYPED_TEST(GeneralEigen, GiveTheConditionNumbersThatAreWanted) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 7;
  const GuardedMatrix<T> A = this->matrix(n);
  EigenCall<T> call('V', 'V', A);
  call.sense = 'B';
  const EigenCall<T> both = solve<Geevx<T>>(call);
  const GuardedVector<R> untouched(n);
  for (const char sense : {'N', 'E', 'V'}) {
    SCOPED_TRACE(sense);
    call.sense = this->random.in_some_case(sense);
    const EigenCall<T> some = solve<Geevx<T>>(call, Room::least);
    ASSERT_EQ(some.info, 0);
    expect_same_values(some, both);
    EXPECT_TRUE(some.rconde.same_as(sense == 'E' ? both.rconde : untouched));
    EXPECT_TRUE(some.rcondv.same_as(sense == 'V' ? both.rcondv : untouched));
  }
  // Those of vectors need none.
  for (const auto& [left, right] : {std::pair('N', 'N'), std::pair('N', 'V'), std::pair('V', 'N')}) {
    EigenCall<T> alone(left, right, A);
    alone.sense = 'V';
    alone = solve<Geevx<T>>(alone, Room::least);
    ASSERT_EQ(alone.info, 0);
    for (Int i = 1; i <= n; ++i) {
      EXPECT_NEAR(double(alone.rcondv(i) / both.rcondv(i)), 1, 1000 * epsilon<T>);
    }
  }
}

}  // namespace
}  // namespace nuv::test
