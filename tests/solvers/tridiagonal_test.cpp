// Tridiagonal systems: ?gttrf, ?gttrs, ?gtts2, ?gtsv, ?gtsv_small, ?lagtm, ?pttrf, ?pttrs, ?ptsv.

#include <algorithm>
#include <limits>

#include "blas.hpp"
#include "layer.hpp"
#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/memory_requests.hpp"
#include "support/options.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"
#include "x_variants.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

/// A tridiagonal matrix by its diagonals.
template <Scalar T>
struct Tridiagonal {
  Int n;
  GuardedVector<T> dl, d, du;

  Tridiagonal(Random& random, Int n_)
      : n(n_),
        dl(random_vector<T>(random, std::max(0, n - 1), 1)),
        d(random_vector<T>(random, n, 1)),
        du(random_vector<T>(random, std::max(0, n - 1), 1)) {}

  WideMatrix<T> wide() const {
    WideMatrix<T> A = WideMatrix<T>::Zero(n, n);
    for (Int i = 1; i <= n; ++i) {
      A(i - 1, i - 1) = test::wide(d(i));
      if (i == n) break;
      A(i, i - 1) = test::wide(dl(i));
      A(i - 1, i) = test::wide(du(i));
    }
    return A;
  }
  bool guards_unchanged() const { return dl.guards_unchanged() && d.guards_unchanged() && du.guards_unchanged(); }
};

template <Scalar T>
struct TridiagonalFactored {
  Tridiagonal<T> lu;
  GuardedVector<T> du2;
  GuardedVector<Int> ipiv;
  Int info = 99;

  explicit TridiagonalFactored(const Tridiagonal<T>& A) : lu(A), du2(std::max(0, A.n - 2)), ipiv(A.n) {
    routine_call::gttrf(A.n, lu.dl.data(), lu.d.data(), lu.du.data(), du2.data(), ipiv.data(), info);
    EXPECT_TRUE(lu.guards_unchanged());
    EXPECT_TRUE(du2.guards_unchanged());
    EXPECT_TRUE(ipiv.guards_unchanged());
  }
};

template <class T>
class TridiagonalSystems : public ReportingTest {
 protected:
  Tridiagonal<T> matrix(Int n) { return Tridiagonal<T>(random, n); }
  GuardedMatrix<T> right_hand_sides(Int n, Int nrhs) { return random_matrix<T>(random, n, nrhs, n + 2); }

  /// A definite one: its diagonal in d, a neighbouring one in dl.
  Tridiagonal<T> definite(Int n) {
    Tridiagonal<T> A(random, n);
    for (Int i = 1; i <= n; ++i) A.d(i) = T(Real<T>(3 + random.real()));
    return A;
  }

  Random random{17};
};
TYPED_TEST_SUITE(TridiagonalSystems, Precisions, PrecisionLetter);

constexpr Int orders[] = {0, 1, 2, 3, 4, 5, 17, 60};

TYPED_TEST(TridiagonalSystems, FactorsWithThePivotsOfElimination) {
  using T = TypeParam;
  for (const Int n : orders) {
    const Tridiagonal<T> A = this->matrix(n);
    const TridiagonalFactored<T> F(A);
    EXPECT_EQ(F.info, 0);
    const std::vector<Int> pivots = wide_pivots<T>(A.wide());
    for (Int i = 1; i <= n; ++i) EXPECT_EQ(F.ipiv(i), pivots[std::size_t(i - 1)]);
  }
}

TYPED_TEST(TridiagonalSystems, SolvesWithEachFormOfTheMatrix) {
  using T = TypeParam;
  for (const Int n : orders) {
    const Tridiagonal<T> A = this->matrix(n);
    const TridiagonalFactored<T> F(A);
    for (const Int nrhs : {0, 1, 3, 4, 9}) {
      const GuardedMatrix<T> B = this->right_hand_sides(n, nrhs);
      for (const char trans : {'N', 't', 'C'}) {
        GuardedMatrix<T> X = B, unchecked = B;
        Int info = 99;
        layer::gttrs(trans, n, nrhs, F.lu.dl.data(), F.lu.d.data(), F.lu.du.data(), F.du2.data(), F.ipiv.data(), X,
                     info);
        EXPECT_EQ(info, 0);
        EXPECT_TRUE(X.guards_unchanged());
        EXPECT_LT(solution_residual<T>(op<T>(trans, A.wide()), wide(X), wide(B)), threshold)
            << "order " << n << ", right-hand sides " << nrhs << ", trans " << trans;
        const Int itrans = trans == 'N' ? 0 : trans == 't' ? 1 : 2;
        routine_call::gtts2(itrans, n, nrhs, F.lu.dl.data(), F.lu.d.data(), F.lu.du.data(), F.du2.data(), F.ipiv.data(),
                            unchecked);
        EXPECT_TRUE(unchecked.same_as(X));
      }
    }
  }
}

/// However they are grouped, with memory or without, each column goes through the same arithmetic.
TYPED_TEST(TridiagonalSystems, SolvesForAColumnAsForMany) {
  using T = TypeParam;
  constexpr Int n = 5000, nrhs = 11;  // enough work for strips
  const TridiagonalFactored<T> F(this->matrix(n));
  const GuardedMatrix<T> B = this->right_hand_sides(n, nrhs);
  const auto solve = [&](char trans, Int first, Int count, GuardedMatrix<T>& X) {
    Int info = 99;
    layer::gttrs(trans, n, count, F.lu.dl.data(), F.lu.d.data(), F.lu.du.data(), F.du2.data(), F.ipiv.data(),
                 block(Matrix<T>(X), 1, first), info);
    EXPECT_EQ(info, 0);
  };
  for (const char trans : transes) {
    GuardedMatrix<T> together = B, one_by_one = B, refused = B;
    {
      const MemoryRequests memory;
      solve(trans, 1, nrhs, together);
      EXPECT_EQ(memory.count(), 2);
      EXPECT_TRUE(memory.included(4 * n * sizeof(T)));
    }
    for (Int j = 1; j <= nrhs; ++j) solve(trans, j, 1, one_by_one);
    const MemoryRequests memory(MemoryRequests::all);
    solve(trans, 1, nrhs, refused);
    EXPECT_TRUE(together.same_as(one_by_one)) << trans;
    EXPECT_TRUE(together.same_as(refused)) << trans;
  }
}

/// The second pivot of the matrix [0 1; 0 0] and its like is zero, whatever stands behind it.
TYPED_TEST(TridiagonalSystems, TellsTheFirstZeroPivot) {
  using T = TypeParam;
  for (const Int n : {1, 2, 9}) {
    for (const Int zero : {Int{1}, (n + 1) / 2, n}) {
      for (const Int nrhs : {1, 3, 4}) {
        Tridiagonal<T> A = this->matrix(n);
        A.d(zero) = T(0);
        if (zero > 1) A.dl(zero - 1) = A.du(zero - 1) = T(0);
        if (zero < n) A.dl(zero) = T(0);
        EXPECT_EQ(TridiagonalFactored<T>(A).info, zero);
        GuardedMatrix<T> B = this->right_hand_sides(n, nrhs);
        Int info = 99;
        routine_call::gtsv(n, nrhs, A.dl.data(), A.d.data(), A.du.data(), B, info);
        EXPECT_EQ(info, zero);
        if (nrhs == 4 && n > 1) {
          EXPECT_TRUE(B.unchanged());
        }
      }
    }
  }
}

// --------------------------------------------------------------------------------------------------------------- gtsv

/// What gtsv leaves in all of its arrays.
template <Scalar T>
struct GtsvResult {
  Tridiagonal<T> A;
  GuardedMatrix<T> X;
  Int info = 99;

  bool same_as(const GtsvResult& other) const {
    return info == other.info && A.dl.same_as(other.A.dl) && A.d.same_as(other.A.d) && A.du.same_as(other.A.du) &&
           X.same_as(other.X);
  }
};

template <Scalar T, class Routine>
GtsvResult<T> solve(const Tridiagonal<T>& A, const GuardedMatrix<T>& B, Routine routine) {
  GtsvResult<T> result{A, B};
  routine(A.n, B.columns(), result.A.dl.data(), result.A.d.data(), result.A.du.data(), Matrix<T>(result.X),
          result.info);
  EXPECT_TRUE(result.A.guards_unchanged());
  EXPECT_TRUE(result.X.guards_unchanged());
  return result;
}

template <Scalar T>
GtsvResult<T> gtsv(const Tridiagonal<T>& A, const GuardedMatrix<T>& B) {
  return solve(A, B, [](auto&&... arguments) { routine_call::gtsv(arguments...); });
}

template <Scalar T>
GtsvResult<T> gtsv_small(const Tridiagonal<T>& A, const GuardedMatrix<T>& B) {
  return solve(A, B, [](auto&&... arguments) {
    if constexpr (ComplexScalar<T>) routine_call::gtsv_small(arguments...);
    else blas::gtsv_small(arguments...);
  });
}

TYPED_TEST(TridiagonalSystems, SolvesByTheDriver) {
  using T = TypeParam;
  for (const Int n : orders) {
    const Tridiagonal<T> A = this->matrix(n);
    for (const Int nrhs : {0, 1, 3, 4, 5}) {
      const GuardedMatrix<T> B = this->right_hand_sides(n, nrhs);
      for (const auto& result : {gtsv(A, B), gtsv_small(A, B)}) {
        EXPECT_EQ(result.info, 0);
        EXPECT_LT(solution_residual<T>(A.wide(), wide(result.X), wide(B)), threshold)
            << "order " << n << ", right-hand sides " << nrhs;
      }
    }
  }
}

TYPED_TEST(TridiagonalSystems, AsksForMemoryFromFourRightHandSidesOn) {
  using T = TypeParam;
  constexpr Int n = 30;
  const Tridiagonal<T> A = this->matrix(n);
  for (const Int nrhs : {1, 2, 3, 4}) {
    const GuardedMatrix<T> B = this->right_hand_sides(n, nrhs);
    const GtsvResult<T> small = gtsv_small(A, B);
    const MemoryRequests memory;
    const GtsvResult<T> result = gtsv(A, B);
    EXPECT_EQ(result.same_as(small), nrhs < 4) << nrhs;
    EXPECT_EQ(memory.count() > 0, nrhs == 4) << nrhs;
    EXPECT_EQ(memory.included((n - 2) * sizeof(T)), nrhs == 4);
    EXPECT_EQ(memory.included(n * sizeof(Int)), nrhs == 4);
    EXPECT_EQ(memory.kept(), 0);
  }
}

TYPED_TEST(TridiagonalSystems, EliminatesAtOnceWhereMemoryIsRefused) {
  using T = TypeParam;
  for (const Int n : {1, 2, 3, 30}) {
    const Tridiagonal<T> A = this->matrix(n);
    const GuardedMatrix<T> B = this->right_hand_sides(n, 4);
    const GtsvResult<T> small = gtsv_small(A, B);
    for (const int refused : {1, 2, MemoryRequests::all}) {
      if (n == 1 && refused != MemoryRequests::all) continue;
      const MemoryRequests memory(refused);
      EXPECT_TRUE(gtsv(A, B).same_as(small)) << "order " << n << ", refused " << refused;
      EXPECT_EQ(memory.kept(), 0);
    }
  }
}

/// The factor U that it leaves: U x = y for the y that elimination makes of b.
TYPED_TEST(TridiagonalSystems, LeavesTheFactorOfAMatrixThatNeedsNoMemory) {
  using T = TypeParam;
  constexpr Int n = 12;
  const Tridiagonal<T> A = this->matrix(n);
  const TridiagonalFactored<T> F(A);
  const GtsvResult<T> small = gtsv_small(A, this->right_hand_sides(n, 1));
  for (Int i = 1; i <= n; ++i) {
    EXPECT_TRUE(same_bits(small.A.d(i), F.lu.d(i))) << i;
    if (i < n) {
      EXPECT_TRUE(same_bits(small.A.du(i), F.lu.du(i))) << i;
    }
    if (i < n - 1) {
      EXPECT_EQ(small.A.dl(i), F.du2(i)) << i;
    }
  }
}

// -------------------------------------------------------------------------------------------------------------- lagtm

TYPED_TEST(TridiagonalSystems, MultipliesWithEachFormOfTheMatrix) {
  using T = TypeParam;
  for (const Int n : orders) {
    const Tridiagonal<T> A = this->matrix(n);
    const GuardedMatrix<T> X = this->right_hand_sides(n, 3), B = this->right_hand_sides(n, 3);
    for (const char trans : {'N', 't', 'C'}) {
      for (const int alpha : {-1, 0, 1, 3}) {
        for (const int beta : {-1, 0, 1, 3}) {
          GuardedMatrix<T> Y = B;
          if (beta == 0) Y = GuardedMatrix<T>(n, 3, n + 2);  // guards, not to be read
          routine_call::lagtm(trans, n, 3, Real<T>(alpha), A.dl.data(), A.d.data(), A.du.data(), X, Real<T>(beta), Y);
          EXPECT_TRUE(Y.guards_unchanged());
          Sum<T> expected(n, 3);
          expected.add(T(beta == 3 ? Real<T>(1) : Real<T>(beta)), wide(B));
          if (alpha != 3) expected.add(T(Real<T>(alpha)), op<T>(trans, A.wide()), wide(X));
          EXPECT_LT(expected.error_of(wide(Y)), threshold) << n << trans << alpha << beta;
        }
      }
    }
  }
}

// ------------------------------------------------------------------------------------------------- definite matrices

template <Scalar T>
WideMatrix<T> wide_definite(const Tridiagonal<T>& A, char uplo) {
  WideMatrix<T> full = A.wide();
  for (Int i = 1; i < A.n; ++i) {
    const Wide<T> e = wide(A.dl(i));
    full(i, i - 1) = uplo == 'L' ? e : Wide<T>(wide(conjugate(A.dl(i))));
    full(i - 1, i) = uplo == 'L' ? Wide<T>(wide(conjugate(A.dl(i)))) : e;
  }
  return full;
}

/// The diagonal as the real numbers that the routines take.
template <Scalar T>
GuardedVector<Real<T>> real_diagonal(const Tridiagonal<T>& A) {
  GuardedVector<Real<T>> d(A.n);
  for (Int i = 1; i <= A.n; ++i) d(i) = std::real(A.d(i));
  return d;
}

template <Scalar T>
void pttrs(char uplo, Int n, Int nrhs, const Real<T>* d, const T* e, Matrix<T> B, Int& info) {
  if constexpr (ComplexScalar<T>) layer::pttrs(uplo, n, nrhs, d, e, B, info);
  else layer::pttrs(n, nrhs, d, e, B, info);
}

TYPED_TEST(TridiagonalSystems, SolvesDefiniteOnes) {
  using T = TypeParam;
  for (const Int n : orders) {
    for (const Int nrhs : {0, 1, 4, 9}) {
      for (const char uplo : {'U', 'L'}) {
        const Tridiagonal<T> A = this->definite(n);
        GuardedVector<Real<T>> d = real_diagonal(A);
        GuardedVector<T> e = A.dl;
        const GuardedMatrix<T> B = this->right_hand_sides(n, nrhs);
        GuardedMatrix<T> X = B;
        Int info = 99;
        routine_call::pttrf(n, d.data(), e.data(), info);
        EXPECT_EQ(info, 0);
        info = 99;
        pttrs<T>(uplo, n, nrhs, d.data(), e.data(), X, info);
        EXPECT_EQ(info, 0);
        EXPECT_TRUE(X.guards_unchanged());
        EXPECT_LT(solution_residual<T>(wide_definite(A, uplo), wide(X), wide(B)), threshold)
            << "order " << n << ", right-hand sides " << nrhs << ", uplo " << uplo;
      }
    }
  }
}

/// However they are cut into strips.
TYPED_TEST(TridiagonalSystems, SolvesDefiniteOnesForAColumnAsForMany) {
  using T = TypeParam;
  constexpr Int n = 6000, nrhs = 10;
  const Tridiagonal<T> A = this->definite(n);
  GuardedVector<Real<T>> d = real_diagonal(A);
  GuardedVector<T> e = A.dl;
  GuardedMatrix<T> together = this->right_hand_sides(n, nrhs), one_by_one = together;
  Int info = 99;
  routine_call::pttrf(n, d.data(), e.data(), info);
  pttrs<T>('L', n, nrhs, d.data(), e.data(), together, info);
  for (Int j = 1; j <= nrhs; ++j) pttrs<T>('L', n, 1, d.data(), e.data(), block(Matrix<T>(one_by_one), 1, j), info);
  EXPECT_TRUE(together.same_as(one_by_one));
}

TYPED_TEST(TridiagonalSystems, SolvesDefiniteOnesByTheDriver) {
  using T = TypeParam;
  for (const Int n : orders) {
    const Tridiagonal<T> A = this->definite(n);
    GuardedVector<Real<T>> d = real_diagonal(A);
    GuardedVector<T> e = A.dl;
    const GuardedMatrix<T> B = this->right_hand_sides(n, 3);
    GuardedMatrix<T> X = B;
    Int info = 99;
    routine_call::ptsv(n, 3, d.data(), e.data(), X, info);
    EXPECT_EQ(info, 0);
    EXPECT_LT(solution_residual<T>(wide_definite(A, 'L'), wide(X), wide(B)), threshold);
  }
}

TYPED_TEST(TridiagonalSystems, TellsTheFirstMinorThatIsNotPositive) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr Int n = 9;
  for (const Int bad : {1, 2, 5, 9}) {
    for (const R pivot : {R(-1), std::numeric_limits<R>::quiet_NaN()}) {
      Tridiagonal<T> A = this->definite(n);
      A.d(bad) = T(pivot);
      GuardedVector<R> d = real_diagonal(A), again = d;
      GuardedVector<T> e = A.dl;
      GuardedMatrix<T> B = this->right_hand_sides(n, 2);
      Int info = 99;
      routine_call::pttrf(n, again.data(), e.data(), info);
      EXPECT_EQ(info, bad);
      e = A.dl;
      routine_call::ptsv(n, 2, d.data(), e.data(), B, info);
      EXPECT_EQ(info, bad);
      EXPECT_TRUE(B.unchanged());
    }
  }
}

// ---------------------------------------------------------------------------------------------------------- arguments

enum class Member { gttrf, gttrs, gtsv, gtsv_small, pttrf, pttrs, ptsv };

template <Scalar T, Member member>
struct TridiagonalCall {
  char trans = 'N', uplo = 'U';
  Int n = 2, nrhs = 5, ldb = 2;
  GuardedVector<T> e{1}, f{1}, d{2};
  GuardedVector<Real<T>> real{2};
  GuardedVector<Int> ipiv{2};
  GuardedMatrix<T> b{2, 5, 2};

  TridiagonalCall() {
    e(1) = f(1) = T(1);
    for (Int i = 1; i <= 2; ++i) {
      d(i) = T(4);
      real(i) = 4;
      ipiv(i) = i;
      for (Int j = 1; j <= 5; ++j) b(i, j) = T(1);
    }
    e.seal(), f.seal(), d.seal(), real.seal(), ipiv.seal(), b.seal();
  }
  Int run() {
    Int info = 99;
    const Matrix<T> B{b.data(), ldb};
    if constexpr (member == Member::gttrf) {
      routine_call::gttrf(n, e.data(), d.data(), f.data(), nullptr, ipiv.data(), info);
    } else if constexpr (member == Member::gttrs) {
      layer::gttrs(trans, n, nrhs, e.data(), d.data(), f.data(), nullptr, ipiv.data(), B, info);
    } else if constexpr (member == Member::gtsv) {
      routine_call::gtsv(n, nrhs, e.data(), d.data(), f.data(), B, info);
    } else if constexpr (member == Member::gtsv_small) {
      routine_call::gtsv_small(n, nrhs, e.data(), d.data(), f.data(), B, info);
    } else if constexpr (member == Member::pttrf) {
      routine_call::pttrf(n, real.data(), e.data(), info);
    } else if constexpr (member == Member::pttrs) {
      pttrs<T>(uplo, n, nrhs, real.data(), e.data(), B, info);
    } else {
      routine_call::ptsv(n, nrhs, real.data(), e.data(), B, info);
    }
    return info;
  }
  bool unchanged() const {
    return e.unchanged() && f.unchanged() && d.unchanged() && real.unchanged() && ipiv.unchanged() && b.unchanged();
  }
};

/// n, nrhs and ldb at these positions.
template <class Call, int n, int nrhs, int ldb>
void expect_sizes_checked(const std::string& name) {
  expect_argument_checks<Call>(
      name, {{n, [](Call& c) { c.n = -1; }}, {nrhs, [](Call& c) { c.nrhs = -1; }}, {ldb, [](Call& c) { c.ldb = 1; }}});
}

TYPED_TEST(TridiagonalSystems, CheckTheirArguments) {
  using T = TypeParam;
  using Factor = TridiagonalCall<T, Member::gttrf>;
  expect_argument_checks<Factor>(reported_name<T>("GTTRF"), {{1, [](Factor& c) { c.n = -1; }}});
  using DefiniteFactor = TridiagonalCall<T, Member::pttrf>;
  expect_argument_checks<DefiniteFactor>(reported_name<T>("PTTRF"), {{1, [](DefiniteFactor& c) { c.n = -1; }}});
  using Solve = TridiagonalCall<T, Member::gttrs>;
  expect_argument_checks<Solve>(reported_name<T>("GTTRS"), {{1, [](Solve& c) { c.trans = 'U'; }},
                                                            {2, [](Solve& c) { c.n = -1; }},
                                                            {3, [](Solve& c) { c.nrhs = -1; }},
                                                            {10, [](Solve& c) { c.ldb = 1; }}});
  expect_sizes_checked<TridiagonalCall<T, Member::gtsv>, 1, 2, 7>(reported_name<T>("GTSV"));
  expect_sizes_checked<TridiagonalCall<T, Member::ptsv>, 1, 2, 6>(reported_name<T>("PTSV"));
  using DefiniteSolve = TridiagonalCall<T, Member::pttrs>;
  if constexpr (ComplexScalar<T>) {
    expect_sizes_checked<TridiagonalCall<T, Member::gtsv_small>, 1, 2, 7>(reported_name<T>("GTSV"));
    expect_argument_checks<DefiniteSolve>(reported_name<T>("PTTRS"), {{1, [](DefiniteSolve& c) { c.uplo = 'N'; }},
                                                                      {2, [](DefiniteSolve& c) { c.n = -1; }},
                                                                      {3, [](DefiniteSolve& c) { c.nrhs = -1; }},
                                                                      {7, [](DefiniteSolve& c) { c.ldb = 1; }}});
  } else {
    expect_sizes_checked<DefiniteSolve, 1, 2, 6>(reported_name<T>("PTTRS"));
  }
}

}  // namespace
}  // namespace nuv::test
