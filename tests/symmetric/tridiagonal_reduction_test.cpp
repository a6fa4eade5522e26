// Reduction of full matrices to tridiagonal form: sytrd, hetrd and what they are made of.

#include <array>
#include <cctype>

#include "layer.hpp"
#include "solvers/recording_layer.hpp"
#include "support/argument_checks.hpp"
#include "symmetric/dense_problem.hpp"
#include "symmetric/eigen_checks.hpp"
#include "x_variants.hpp"

namespace nuv::test {
namespace {

template <class T>
class TridiagonalReduction : public ReportingTest {
 protected:
  Random random{17};
};
TYPED_TEST_SUITE(TridiagonalReduction, Precisions, PrecisionLetter);

constexpr double threshold = 10;

/// Width of panels and order of the unblocked rest for matrices of moderate order, on one thread.
template <Scalar T>
struct Widths;
template <>
struct Widths<float> {
  static constexpr Int nb = 20, nx = 250;
};
template <>
struct Widths<double> {
  static constexpr Int nb = 24, nx = 200;
};
template <>
struct Widths<std::complex<float>> {
  static constexpr Int nb = 24, nx = 150;
};
template <>
struct Widths<std::complex<double>> {
  static constexpr Int nb = 20, nx = 50;
};

template <Scalar T>
struct Reduced {
  GuardedMatrix<T> A;
  GuardedVector<Real<T>> d, e;
  GuardedVector<T> tau;

  explicit Reduced(const GuardedMatrix<T>& matrix)
      : A(matrix), d(matrix.rows()), e(matrix.rows() - 1), tau(matrix.rows() - 1) {}

  Tridiagonal<Real<T>> tridiagonal() const {
    return {{d.data(), d.data() + d.size()}, {e.data(), e.data() + e.size()}};
  }

  /// Q, formed from the reflectors.
  GuardedMatrix<T> q(char uplo) const {
    GuardedMatrix<T> Q = A;
    GuardedVector<T> work(32 * std::max(1, A.rows()));
    Int info = 99;
    routine_call::orgtr(uplo, A.rows(), Q, tau.data(), work.data(), work.size(), info);
    EXPECT_EQ(info, 0);
    return Q;
  }

  testing::AssertionResult same_as(const Reduced& other) const {
    for (const auto& result : {A.same_as(other.A), d.same_as(other.d), e.same_as(other.e), tau.same_as(other.tau)}) {
      if (!result) return result;
    }
    return testing::AssertionSuccess();
  }
};

/// Expects a reduction of the matrix of which A stores a triangle, with T in place and nothing else touched.
template <Scalar T>
void expect_reduction(char uplo, const GuardedMatrix<T>& A, const Reduced<T>& reduced) {
  const Int n = A.rows();
  EXPECT_TRUE(unchanged_outside_triangle(reduced.A, uplo));
  EXPECT_TRUE(reduced.d.guards_unchanged());
  EXPECT_TRUE(reduced.e.guards_unchanged());
  EXPECT_TRUE(reduced.tau.guards_unchanged());
  for (Int i = 1; i <= n; ++i) {
    EXPECT_EQ(reduced.A(i, i), T(reduced.d(i)));
    if (i == n) break;
    EXPECT_EQ(is_upper(uplo) ? reduced.A(i, i + 1) : reduced.A(i + 1, i), T(reduced.e(i)));
  }
  const GuardedMatrix<T> Q = reduced.q(uplo);
  EXPECT_LT(orthogonality(Q, n), threshold);
  EXPECT_LT(reduction_residual(wide_hermitian(A, is_upper(uplo)), Q, reduced.tridiagonal()), threshold);
}

template <Scalar T>
Reduced<T> reduce(char uplo, const GuardedMatrix<T>& A, Int lwork, Real<T> best) {
  Reduced<T> reduced(A);
  GuardedVector<T> work(lwork);
  Int info = 99;
  layer::sytrd(uplo, A.rows(), reduced.A, reduced.d.data(), reduced.e.data(), reduced.tau.data(), work.data(), lwork,
               info);
  EXPECT_EQ(info, 0);
  EXPECT_EQ(work(1), T(best));
  EXPECT_TRUE(work.guards_unchanged());
  return reduced;
}

template <Scalar T>
Reduced<T> reduce_unblocked(char uplo, const GuardedMatrix<T>& A) {
  Reduced<T> reduced(A);
  Int info = 99;
  routine_call::sytd2(uplo, A.rows(), reduced.A, reduced.d.data(), reduced.e.data(), reduced.tau.data(), info);
  EXPECT_EQ(info, 0);
  return reduced;
}

TYPED_TEST(TridiagonalReduction, HoldsAtEverySizeAndWorkspace) {
  using T = TypeParam;
  constexpr Int nb = Widths<T>::nb, nx = Widths<T>::nx;
  for (const Int n : {1, 2, 3, nb, nb + 1, nx - 1, nx, nx + 1, nx + nb, nx + nb + 1, nx + 2 * nb + 7}) {
    for (const char letter : uplos) {
      const char uplo = this->random.in_some_case(letter);
      const GuardedMatrix<T> A = random_hermitian<T>(this->random, uplo, n, n + this->random.integer(0, 3));
      for (const Int lwork : {nb * n, 7 * n + n - 1}) {
        SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", lwork " << lwork);
        expect_reduction(uplo, A, reduce(uplo, A, lwork, Real<T>(nb * n)));
      }
    }
  }
}

TYPED_TEST(TridiagonalReduction, LosesNoDigitsToSizeOrGrading) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = Widths<T>::nx + 3;
  for (const char uplo : uplos) {
    for (const R factor : {std::numeric_limits<R>::min() * 4, std::sqrt(std::numeric_limits<R>::max()) / R(n)}) {
      const GuardedMatrix<T> A = random_hermitian<T>(this->random, uplo, n, n, factor);
      SCOPED_TRACE(testing::Message() << uplo << ", elements of " << factor);
      // The least numbers are the rounding errors of a matrix near them.
      if (factor > 1) expect_reduction(uplo, A, reduce(uplo, A, Widths<T>::nb * n, R(Widths<T>::nb * n)));
      else EXPECT_LT(orthogonality(reduce(uplo, A, Widths<T>::nb * n, R(Widths<T>::nb * n)).q(uplo), n), threshold);
    }
  }
}

TYPED_TEST(TridiagonalReduction, AnswersQueriesBeforeAnythingElse) {
  using T = TypeParam;
  constexpr Int nb = Widths<T>::nb;
  for (const Int n : {0, 1, 10, 301}) {
    for (const char uplo : uplos) {
      const GuardedMatrix<T> A = random_hermitian<T>(this->random, uplo, n, n + 1);
      Reduced<T> untouched(A);
      GuardedVector<T> work(2);
      Int info = 99;
      layer::sytrd(uplo, n, untouched.A, untouched.d.data(), untouched.e.data(), untouched.tau.data(), work.data(), -1,
                   info);
      EXPECT_EQ(info, 0);
      EXPECT_EQ(work(1), T(Real<T>(nb * n)));
      EXPECT_TRUE(work.unchanged_outside(1, 1));
      EXPECT_TRUE(untouched.same_as(Reduced<T>(A)));
    }
  }
}

/// Orders at which panels grow wider.
struct Growth {
  char uplo;
  Int n, before, from_here;
};
template <Scalar T>
constexpr std::array<Growth, 2> growths = {{{'U', 1400, 20, 24}, {'L', 1400, 20, 24}}};
template <>
constexpr std::array<Growth, 2> growths<double> = {{{'U', 1550, 24, 32}, {'L', 1100, 24, 32}}};
template <>
constexpr std::array<Growth, 2> growths<std::complex<float>> = {{{'U', 750, 24, 40}, {'L', 750, 24, 40}}};
template <>
constexpr std::array<Growth, 2> growths<std::complex<double>> = {{{'U', 1000, 24, 32}, {'L', 1000, 24, 40}}};

TYPED_TEST(TridiagonalReduction, PanelsOfEitherTriangleGrowWiderInTheirOwnTime) {
  using T = TypeParam;
  for (const Growth& growth : growths<T>) {
    for (const auto& [n, nb] : {std::pair(growth.n - 1, growth.before), {growth.n, growth.from_here}}) {
      for (const char uplo : {growth.uplo, static_cast<char>(std::tolower(growth.uplo))}) {
        T best = 0;
        Int info = 99;
        layer::sytrd(uplo, n, Matrix<T>(nullptr, n), nullptr, nullptr, nullptr, &best, -1, info);
        EXPECT_EQ(info, 0);
        EXPECT_EQ(best, T(Real<T>(nb * n))) << uplo << n;
      }
    }
  }
}

TYPED_TEST(TridiagonalReduction, OfOrderZeroAnswersOne) {
  using T = TypeParam;
  reduce('U', GuardedMatrix<T>(0, 0, 1), 1, Real<T>(1));
  reduce('L', GuardedMatrix<T>(0, 0, 1), 5, Real<T>(1));
}

TYPED_TEST(TridiagonalReduction, OfOrderOneLeavesReflectorsAlone) {
  using T = TypeParam;
  for (const char uplo : uplos) {
    const GuardedMatrix<T> A = random_hermitian<T>(this->random, uplo, 1, 2);
    GuardedVector<Real<T>> d(1), e(1);
    GuardedVector<T> tau(1), work(1);
    GuardedMatrix<T> reduced = A;
    Int info = 99;
    layer::sytrd(uplo, 1, reduced, d.data(), e.data(), tau.data(), work.data(), 1, info);
    EXPECT_EQ(info, 0);
    EXPECT_EQ(d(1), std::real(A(1, 1)));
    EXPECT_TRUE(e.unchanged());
    EXPECT_TRUE(tau.unchanged());
  }
}

TYPED_TEST(TridiagonalReduction, WithLittleWorkspaceIsTheUnblockedOne) {
  using T = TypeParam;
  constexpr Int nb = Widths<T>::nb;
  for (const Int n : {Widths<T>::nx - 1, Widths<T>::nx + 40}) {
    for (const char uplo : uplos) {
      const GuardedMatrix<T> A = random_hermitian<T>(this->random, uplo, n, n + 2);
      const Reduced<T> unblocked = reduce_unblocked(uplo, A);
      expect_reduction(uplo, A, unblocked);
      for (const Int lwork : {1, 2 * n - 1}) EXPECT_TRUE(reduce(uplo, A, lwork, Real<T>(nb * n)).same_as(unblocked));
      EXPECT_EQ(bool(reduce(uplo, A, 2 * n, Real<T>(nb * n)).same_as(unblocked)), n < Widths<T>::nx);
    }
  }
}

TYPED_TEST(TridiagonalReduction, UnblockedDoesNothingForNoColumns) {
  using T = TypeParam;
  for (const Int n : {0, -1}) {
    GuardedMatrix<T> A = random_hermitian<T>(this->random, 'U', 1, 1);
    GuardedVector<Real<T>> d(1), e(1);
    GuardedVector<T> tau(1);
    Int info = 99;
    routine_call::sytd2('U', n, A, d.data(), e.data(), tau.data(), info);
    EXPECT_EQ(info, 0);
    for (const auto& result : {A.unchanged(), d.unchanged(), e.unchanged(), tau.unchanged()}) EXPECT_TRUE(result);
  }
}

// A column that is reduced already, and whose element beside the diagonal is real, has the reflector I: nothing moves.
TYPED_TEST(TridiagonalReduction, LeavesTridiagonalMatricesAsTheyAre) {
  using T = TypeParam;
  for (const Int n : {2, 12, Widths<T>::nx + Widths<T>::nb}) {
    for (const char uplo : uplos) {
      GuardedMatrix<T> A(n, n, n);
      for (Int j = 1; j <= n; ++j) {
        for (Int i = j; i <= n; ++i) {
          const Real<T> beside = i - j > 1 || i % 3 == 0 ? Real<T>(0) : Real<T>(this->random.real());
          set_mirrored(A, uplo, i, j, T(i == j ? Real<T>(i) : beside));
        }
      }
      A.seal();
      const Reduced<T> reduced = reduce(uplo, A, Widths<T>::nb * n, Real<T>(Widths<T>::nb * n));
      for (Int i = 1; i <= n; ++i) {
        EXPECT_EQ(reduced.d(i), Real<T>(i));
        if (i == n) break;
        EXPECT_EQ(reduced.tau(i), T(0));
        EXPECT_EQ(T(reduced.e(i)), is_upper(uplo) ? A(i, i + 1) : A(i + 1, i));
      }
      expect_reduction(uplo, A, reduced);
    }
  }
}

TYPED_TEST(TridiagonalReduction, TakesThePhaseOutOfAComplexElement) {
  using T = TypeParam;
  if constexpr (ComplexScalar<T>) {
    for (const char uplo : uplos) {
      GuardedMatrix<T> A(2, 2, 2);
      set_mirrored(A, uplo, 1, 1, T(2));
      set_mirrored(A, uplo, 2, 2, T(5));
      set_mirrored(A, uplo, 2, 1, T(3, 4));
      A.seal();
      const Reduced<T> reduced = reduce(uplo, A, 2, Real<T>(2 * Widths<T>::nb));
      EXPECT_NEAR(std::abs(reduced.e(1)), 5, 10 * epsilon<T>);
      expect_reduction(uplo, A, reduced);
    }
  }
}

template <Scalar T>
struct ReductionCall {
  char uplo = 'L';
  Int n = 5, lda = 6, lwork = 10;
  Random random{3};
  GuardedMatrix<T> A = random_hermitian<T>(random, 'L', 5, 6);
  GuardedVector<Real<T>> d{5}, e{4};
  GuardedVector<T> tau{4}, work{10};

  Int run() {
    Int info = 99;
    layer::sytrd(uplo, n, {A.data(), lda}, d.data(), e.data(), tau.data(), work.data(), lwork, info);
    return info;
  }
  bool unchanged() const {
    return A.unchanged() && d.unchanged() && e.unchanged() && tau.unchanged() && work.unchanged();
  }
};

TYPED_TEST(TridiagonalReduction, ChecksArguments) {
  using T = TypeParam;
  using C = ReductionCall<T>;
  expect_argument_checks<C>(reported_name<T>(ComplexScalar<T> ? "HETRD" : "SYTRD"), {{1, [](C& c) { c.uplo = 'X'; }},
                                                                                     {2, [](C& c) { c.n = -1; }},
                                                                                     {4, [](C& c) { c.lda = 4; }},
                                                                                     {9, [](C& c) { c.lwork = 0; }}});
}

// ------------------------------------------------------------------------------------------------------ order of work

using Calls = std::vector<std::string>;

/// What the panels of a reduction ask of the layer.
template <Scalar T>
Calls panels(char uplo, Int n, Int nb, Int nx) {
  Calls calls;
  const std::string update = ComplexScalar<T> ? "her2k " : "syr2k ";
  const auto take = [&](Int left) {
    calls.push_back(std::string("latrd ") + uplo + ' ' + std::to_string(left) + ' ' + std::to_string(nb));
    calls.push_back(update + uplo + "N " + std::to_string(left - nb) + ' ' + std::to_string(nb));
  };
  for (Int left = n; left > nx; left -= nb) take(left);
  return calls;
}

template <Scalar T>
Calls calls_of_reduction(Random& random, char uplo, Int n, Int lwork, Int best_nb) {
  const GuardedMatrix<T> A = random_hermitian<T>(random, uplo, n, n);
  take_recorded_calls();
  reduce(uplo, A, lwork, Real<T>(best_nb * n));
  Calls calls = take_recorded_calls();
  std::erase_if(calls, [](const std::string& call) { return call.starts_with("sytrd"); });
  return calls;
}

TYPED_TEST(TridiagonalReduction, TakesPanelsDownToTheCrossover) {
  using T = TypeParam;
  constexpr Int nb = Widths<T>::nb, nx = Widths<T>::nx;
  for (const Int n : {nb, nb + 1, nx, nx + 1, nx + nb - 1, nx + nb, nx + nb + 1, nx + 3 * nb + 5}) {
    for (const char uplo : uplos) {
      EXPECT_EQ(calls_of_reduction<T>(this->random, uplo, n, nb * n, nb), panels<T>(uplo, n, nb, nx)) << uplo << n;
    }
  }
}

TYPED_TEST(TridiagonalReduction, TakesPanelsThatTheWorkspaceHolds) {
  using T = TypeParam;
  constexpr Int nb = Widths<T>::nb, nx = Widths<T>::nx, n = nx + 2 * nb + 1;
  for (const char uplo : uplos) {
    for (const Int width : {2, 5, nb - 1, nb, nb + 1}) {
      for (const Int more : {0, n - 1}) {
        EXPECT_EQ(calls_of_reduction<T>(this->random, uplo, n, width * n + more, nb),
                  panels<T>(uplo, n, std::min(width, nb), nx))
            << uplo << width;
      }
    }
    EXPECT_EQ(calls_of_reduction<T>(this->random, uplo, n, 2 * n - 1, nb), Calls());
  }
}

TYPED_TEST(TridiagonalReduction, PanelOfNothingDoesNothing) {
  using T = TypeParam;
  for (const auto& [n, nb] : {std::pair<Int, Int>{0, 1}, {-1, 1}, {1, 0}, {3, -1}}) {
    GuardedMatrix<T> A(3, 3, 3), W(3, 3, 3);
    GuardedVector<Real<T>> e(3);
    GuardedVector<T> tau(3);
    x_variant::latrd('U', n, nb, A, e.data(), tau.data(), W);
    x_variant::latrd('L', n, nb, A, e.data(), tau.data(), W);
    for (const auto& result : {A.unchanged(), W.unchanged(), e.unchanged(), tau.unchanged()}) EXPECT_TRUE(result);
  }
}

// Panels leave what the update needs: unit elements, and W.
TYPED_TEST(TridiagonalReduction, PanelsLeaveReflectorsAndW) {
  using T = TypeParam;
  constexpr Int n = 23, nb = 6;
  for (const char uplo : uplos) {
    const bool upper = is_upper(uplo);
    const GuardedMatrix<T> A = random_hermitian<T>(this->random, uplo, n, n + 2);
    Reduced<T> panel(A);
    GuardedMatrix<T> W(n, nb, n + 1);
    layer::latrd(this->random.in_some_case(uplo), n, nb, panel.A, panel.e.data(), panel.tau.data(), W);
    EXPECT_TRUE(W.guards_unchanged());
    EXPECT_TRUE(unchanged_outside_triangle(panel.A, uplo));

    const Reduced<T> whole = reduce_unblocked(uplo, A);
    const Int first_kept = upper ? 1 : nb + 1, kept = n - nb;
    WideMatrix<T> V(kept, nb), U(kept, nb);
    for (Int k = 1; k <= nb; ++k) {
      const Int j = upper ? n - nb + k : k, reflector = upper ? j - 1 : j;
      EXPECT_EQ(upper ? panel.A(j - 1, j) : panel.A(j + 1, j), T(1));
      EXPECT_NEAR(panel.e(reflector), whole.e(reflector), 1000 * epsilon<T>);
      EXPECT_NEAR(std::abs(panel.tau(reflector) - whole.tau(reflector)), 0, 1000 * epsilon<T>);
      EXPECT_NEAR(std::abs(panel.A(j, j) - whole.A(j, j)), 0, 1000 * epsilon<T>);
      for (Int i = 0; i < kept; ++i) {
        V(i, k - 1) = wide(panel.A(first_kept + i, j));
        U(i, k - 1) = wide(W(first_kept + i, k));
      }
    }
    // The trailing matrix as the unblocked reduction of the first columns leaves it has the rest of T for its own.
    WideMatrix<T> rest = wide_hermitian(A, upper).block(first_kept - 1, first_kept - 1, kept, kept);
    rest -= product<T>(V, U.adjoint()) + product<T>(U, V.adjoint());
    Tridiagonal<Real<T>> tail{{whole.d.data() + first_kept - 1, whole.d.data() + first_kept - 1 + kept},
                              {whole.e.data() + first_kept - 1, whole.e.data() + first_kept - 2 + kept}};
    WideReal<T> expected = 0, found = 0, trace = 0;
    for (const Real<T>& x : tail.d) expected += WideReal<T>(x) * x, trace += x;
    for (const Real<T>& x : tail.e) expected += 2 * WideReal<T>(x) * x;
    for (Eigen::Index i = 0; i < kept; ++i) {
      trace -= std::real(rest(i, i));
      for (Eigen::Index j = 0; j < kept; ++j) found += std::norm(rest(i, j));
    }
    EXPECT_NEAR(double(trace), 0, 1000 * double(epsilon<T>));
    EXPECT_NEAR(double(found / expected), 1, 1000 * double(epsilon<T>));
  }
}

// A panel may take all columns: the last one has no reflector, the last but one the shortest there is.
TYPED_TEST(TridiagonalReduction, PanelsMayTakeAllColumns) {
  using T = TypeParam;
  for (const Int n : {1, 2, 3, 8}) {
    for (const char uplo : uplos) {
      SCOPED_TRACE(testing::Message() << uplo << ", order " << n);
      const GuardedMatrix<T> A = random_hermitian<T>(this->random, uplo, n, n);
      const Reduced<T> whole = reduce_unblocked(uplo, A);
      for (const Int nb : {n - 1, n}) {
        Reduced<T> panel(A);
        GuardedMatrix<T> W(n, nb, n);
        x_variant::latrd(uplo, n, nb, panel.A, panel.e.data(), panel.tau.data(), W);
        for (const auto& result : {panel.A.guards_unchanged(), panel.e.guards_unchanged(), panel.tau.guards_unchanged(),
                                   W.guards_unchanged()}) {
          EXPECT_TRUE(result);
        }
        for (Int k = 1; k < n; ++k) {
          EXPECT_NEAR(panel.e(k), whole.e(k), 100 * epsilon<T>);
          EXPECT_NEAR(std::abs(panel.tau(k) - whole.tau(k)), 0, 100 * epsilon<T>);
        }
        for (Int k = 1; k <= n && nb == n; ++k) {
          EXPECT_NEAR(std::abs(panel.A(k, k) - T(whole.d(k))), 0, 100 * epsilon<T>);
        }
      }
    }
  }
}

TYPED_TEST(TridiagonalReduction, KeepsTheEmptyEntries) {
  nuv_lapack_xssytd3();
  nuv_lapack_xdsytd3();
  nuv_lapack_xchetd3();
  nuv_lapack_xzhetd3();
}

}  // namespace
}  // namespace nuv::test
