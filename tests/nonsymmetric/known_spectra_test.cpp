// Matrices of which the eigenvalues are known, by all drivers: each is solved by geev, for values alone and with
// vectors, and by gees.

#include <cmath>
#include <functional>
#include <numbers>

#include "nonsymmetric/general_calls.hpp"
#include "routines.hpp"
#include "support/reported_errors.hpp"

namespace nuv::test {
namespace {

using Values = std::vector<std::complex<double>>;

constexpr double threshold = 10;

template <class T>
class KnownSpectra : public ReportingTest {
 protected:
  Random random{743};
};
TYPED_TEST_SUITE(KnownSpectra, Precisions, PrecisionLetter);

/// A matrix by its elements.
template <Scalar T>
GuardedMatrix<T> matrix_of(Int n, const std::function<double(Int i, Int j)>& element) {
  GuardedMatrix<T> A(n, n, n + 1);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) A(i, j) = T(Real<T>(element(i, j)));
  }
  A.seal();
  return A;
}

/// Calls visit(call) with what each way to find eigenvalues leaves.
template <Scalar T, class Visit>
void for_each_solution(const GuardedMatrix<T>& A, Visit visit) {
  const auto expect = [&](const char* way, const GeneralCall<T>& call) {
    SCOPED_TRACE(way);
    ASSERT_EQ(call.info, 0);
    EXPECT_TRUE(are_pairs(call));
    visit(call);
  };
  expect("geev, values", solve<Geev<T>>(EigenCall<T>('N', 'N', A)));
  const EigenCall<T> vectors = solve<Geev<T>>(EigenCall<T>('V', 'V', A));
  expect("geev, vectors", vectors);
  EXPECT_LT(right_residual(A, vectors), threshold);
  EXPECT_LT(left_residual(A, vectors), threshold);
  EXPECT_TRUE(are_normalised(vectors, vectors.VR) && are_normalised(vectors, vectors.VL));
  const SchurCall<T> schur = solve<Gees<T>>(SchurCall<T>('V', A));
  expect("gees", schur);
  EXPECT_TRUE(is_schur_form(schur.A));
  EXPECT_LT(schur_residual<T>(wide(A), wide(schur.VS), wide(schur.A)), threshold);
  EXPECT_LT(unitarity(schur.VS), threshold);
}

/// Expects eigenvalues within their conditions, which a solver in the wider type tells, as it does the values: these
/// are the known ones.
template <Scalar T>
void expect_spectrum(const GuardedMatrix<T>& A, const Values& known) {
  ExactSpectrum exact = exact_spectrum(A);
  if (!known.empty()) {
    double worst = 0;
    for (const double condition : exact.conditions) worst = std::max(worst, condition);
    EXPECT_LT(spectrum_distance(exact.values, known), 1e-14 * worst * exact.norm);
  }
  for_each_solution(A, [&](const GeneralCall<T>& call) { EXPECT_LT(value_error(call, exact), threshold); });
}

/// Coefficients of the polynomial with these roots, the leading one left out, lowest first.
std::vector<double> polynomial(const std::vector<double>& roots) {
  std::vector<double> c{1};
  for (const double root : roots) {
    c.insert(c.begin(), 0);
    for (std::size_t k = 0; k + 1 < c.size(); ++k) c[k] -= root * c[k + 1];
  }
  c.pop_back();
  return c;
}

TYPED_TEST(KnownSpectra, OfCompanionMatrices) {
  using T = TypeParam;
  for (const std::vector<double>& roots : {std::vector<double>{1, 2, 3, 4, 5}, {-2, -1, 0, 0.5, 1, 4}}) {
    const std::vector<double> c = polynomial(roots);
    const Int n = Int(roots.size());
    Values known(roots.begin(), roots.end());
    expect_spectrum(matrix_of<T>(n,
                                 [&](Int i, Int j) {
                                   if (j == n) return -c[std::size_t(i - 1)];
                                   return i == j + 1 ? 1.0 : 0.0;
                                 }),
                    known);
  }
}

/// Those of a cyclic shift are the roots of unity.
TYPED_TEST(KnownSpectra, OfShifts) {
  using T = TypeParam;
  for (const Int n : {2, 3, 8, 11}) {
    Values roots;
    for (Int k = 0; k < n; ++k) roots.push_back(std::polar(1.0, 2 * std::numbers::pi * k / n));
    expect_spectrum(matrix_of<T>(n, [&](Int i, Int j) { return (i == j % n + 1) ? 1.0 : 0.0; }), roots);
  }
}

TYPED_TEST(KnownSpectra, OfTridiagonalToeplitzMatrices) {
  using T = TypeParam;
  const Int n = 10;
  for (const double above : {2.0, -2.0}) {
    Values known;
    for (Int k = 1; k <= n; ++k) {
      known.push_back(0.5 + 2.0 * std::sqrt(std::complex<double>(above)) * std::cos(k * std::numbers::pi / (n + 1)));
    }
    expect_spectrum(
        matrix_of<T>(n, [&](Int i, Int j) { return i == j       ? 0.5
                                                   : i == j + 1 ? 1
                                                   : j == i + 1 ? above
                                                                : 0; }), known);
  }
}

/// They are positive, and come with their reciprocals.
TYPED_TEST(KnownSpectra, OfFrankMatrices) {
  using T = TypeParam;
  const Int n = 6;
  const GuardedMatrix<T> A = matrix_of<T>(n, [&](Int i, Int j) { return i > j + 1 ? 0 : n + 1 - std::max(i, j); });
  const ExactSpectrum exact = exact_spectrum(A);
  Values reciprocals = exact.values;
  for (std::complex<double>& value : reciprocals) value = 1.0 / value;
  EXPECT_LT(spectrum_distance(exact.values, reciprocals), 1e-10);
  expect_spectrum(A, {});
}

TYPED_TEST(KnownSpectra, OfBlockDiagonalMatrices) {
  using T = TypeParam;
  // Rotations by right angles of different speeds, and a zero on the subdiagonal between any two of them.
  const Int n = 9;
  Values known{-3};
  for (const double speed : {1.0, 2.0, 3.0, 4.0}) known.insert(known.end(), {{1, speed}, {1, -speed}});
  expect_spectrum(matrix_of<T>(n,
                               [&](Int i, Int j) {
                                 if (i == n || j == n) return i == j ? -3.0 : 0.0;
                                 if (i == j) return 1.0;
                                 const bool is_pair = (i + 1) / 2 == (j + 1) / 2;
                                 return is_pair ? (i < j ? 1.0 : -1.0) * ((i + 1) / 2) : 0.0;
                               }),
                  known);
}

/// Triangular matrices, of which each row is isolated, have the eigenvalues on their diagonals to the last bit,
/// whatever a permutation makes of their shape.
TYPED_TEST(KnownSpectra, OfTriangularMatrices) {
  using T = TypeParam;
  const Int n = 9;
  const GuardedMatrix<T> R = random_matrix<T>(this->random, n, n, n);
  for (const bool is_permuted : {false, true}) {
    const auto place = [&](Int i) { return is_permuted ? i * 7 % 10 : i; };
    GuardedMatrix<T> A(n, n, n);
    Values known;
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) A(i, j) = place(i) <= place(j) ? R(place(i), place(j)) : T(0);
    }
    A.seal();
    for (Int j = 1; j <= n; ++j) known.push_back(std::complex<double>(R(j, j)));
    for_each_solution(A, [&](const GeneralCall<T>& call) { EXPECT_EQ(spectrum_distance(call.values(), known), 0); });
  }
}

TYPED_TEST(KnownSpectra, OfNilpotentMatricesAreZero) {
  using T = TypeParam;
  const Int n = 9;
  const GuardedMatrix<T> R = random_matrix<T>(this->random, n, n, n);
  GuardedMatrix<T> A(n, n, n);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) A(i, j) = i * 7 % 10 < j * 7 % 10 ? R(i, j) : T(0);
  }
  A.seal();
  const EigenCall<T> call = solve<Geev<T>>(EigenCall<T>('N', 'V', A));
  ASSERT_EQ(call.info, 0);
  for (Int i = 1; i <= n; ++i) EXPECT_EQ(call.value(i), std::complex<Real<T>>(0));
  EXPECT_LT(right_residual(A, call), threshold);
}

TYPED_TEST(KnownSpectra, OfUnitaryMatricesLieOnTheCircle) {
  using T = TypeParam;
  const Int n = 20;
  for_each_solution(random_unitary<T>(this->random, n, n), [&](const GeneralCall<T>& call) {
    for (const auto& w : call.values()) EXPECT_NEAR(std::abs(w), 1, threshold * n * epsilon<T>);
  });
}

TYPED_TEST(KnownSpectra, OfSkewMatricesAreImaginary) {
  using T = TypeParam;
  const Int n = 15;
  GuardedMatrix<T> A = random_matrix<T>(this->random, n, n, n);
  for (Int j = 1; j <= n; ++j) {
    A(j, j) = T(0);
    for (Int i = 1; i < j; ++i) A(j, i) = negated(conjugate(A(i, j)));
  }
  A.seal();
  const double unit = one_norm<T>(wide(A)) * n * epsilon<T>;
  for_each_solution(A, [&](const GeneralCall<T>& call) {
    for (const auto& w : call.values()) EXPECT_LT(std::abs(w.real()), threshold * unit);
    // Those of real ones come in pairs, but for one.
    const auto is_near_zero = [&](const auto& w) { return std::abs(w) < threshold * unit; };
    const Values values = call.values();
    if constexpr (RealScalar<T>) {
      EXPECT_EQ(std::count_if(values.begin(), values.end(), is_near_zero), 1);
    }
  });
}

/// A backward error of E moves an n-fold eigenvalue with one vector by up to the n-th root of its norm.
TYPED_TEST(KnownSpectra, OfJordanBlocksLieWithinTheirRadius) {
  using T = TypeParam;
  const Int n = 5;
  const double value = 0.5;
  const GuardedMatrix<T> J = matrix_of<T>(n, [&](Int i, Int j) { return i == j ? value : j == i + 1 ? 1 : 0; });
  for_each_solution(J, [&](const GeneralCall<T>& call) {
    for (const auto& w : call.values()) EXPECT_EQ(w, value);
  });
  // The same in another basis.
  const WideMatrix<T> Q = wide(random_unitary<T>(this->random, n, n));
  const WideMatrix<T> QJQ = product<T>(product<T>(Q, wide(J)), op<T>('C', Q));
  GuardedMatrix<T> A(n, n, n);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) A(i, j) = T(QJQ(i - 1, j - 1));
  }
  A.seal();
  const double radius = std::pow(threshold * n * epsilon<T>, 1.0 / n);
  for_each_solution(A, [&](const GeneralCall<T>& call) {
    for (const auto& w : call.values()) EXPECT_LT(std::abs(w - value), 2 * radius);
  });
}

/// Powers of two on either side of a matrix, which balancing finds; without it the small eigenvalues would be lost.
TYPED_TEST(KnownSpectra, OfBadlyScaledMatrices) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 8;
  GuardedMatrix<T> A = random_matrix<T>(this->random, n, n, n);
  const ExactSpectrum exact = exact_spectrum(A);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) A(i, j) = std::ldexp(R(1), 4 * (i - j)) * A(i, j);
  }
  A.seal();
  const EigenCall<T> values = solve<Geev<T>>(EigenCall<T>('N', 'N', A)),
                     vectors = solve<Geev<T>>(EigenCall<T>('V', 'V', A));
  EXPECT_LT(value_error(values, exact), threshold);
  EXPECT_LT(value_error(vectors, exact), threshold);
  EXPECT_LT(right_residual(A, vectors), threshold);
}

/// Eigenvalues that the generator was told to give a matrix by a similarity that is not too bad.
TYPED_TEST(KnownSpectra, OfGeneratedMatrices) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int n : {4, 12, 30}) {
    SCOPED_TRACE(n);
    GuardedMatrix<T> A(n, n, n + 1);
    GuardedVector<T> d(n), work(3 * n);
    GuardedVector<R> ds(n);
    Int seed[4] = {17, n, 4, 1}, info = 99;
    std::vector<char> letters;
    Values known;
    for (Int i = 1; i <= n; ++i) {
      // Two real ones, then a pair, and so on; of complex matrices, real numbers.
      const bool is_second = i % 4 == 0;
      d(i) = T(R(is_second ? 0.25 + i / 8.0 : i % 3 - i / 4.0));
      letters.push_back(is_second ? 'I' : 'R');
      if (ComplexScalar<T> || !is_second) {
        known.push_back(std::complex<double>(d(i)));
      } else {
        const std::complex<double> first(double(std::real(d(i - 1))), double(std::real(d(i))));
        known.back() = first;
        known.push_back(std::conj(first));
      }
    }
    routine_call::latme(n, 'S', seed, d.data(), 0, R(1), T(1), letters.data(), 'F', 'F', 'T', ds.data(), 4, R(5), n - 1,
                        n - 1, R(-1), Matrix<T>(A), work.data(), info);
    ASSERT_EQ(info, 0);
    A.seal();
    // The similarity has condition 5, so that no eigenvalue has a worse one.
    const double unit = 5 * one_norm<T>(wide(A)) * n * epsilon<T>;
    for_each_solution(
        A, [&](const GeneralCall<T>& call) { EXPECT_LT(spectrum_distance(call.values(), known), threshold * unit); });
  }
}

}  // namespace
}  // namespace nuv::test
