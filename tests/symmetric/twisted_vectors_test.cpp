// Vectors from twisted factorisations: ?lar1v.

#include "routines.hpp"
#include "support/guarded.hpp"
#include "symmetric/represented_matrix.hpp"

namespace nuv::test {
namespace {

/// The arguments of ?lar1v.
template <Scalar T>
struct Twisted {
  using R = Real<T>;

  const RepresentedMatrix<R>& A;
  Int b1 = 1, bn = A.order();
  R pivmin = std::numeric_limits<R>::min(), gaptol = 0;
  Int r = 0;
  bool wantnc = true;
  GuardedVector<T> z{A.order()};
  GuardedVector<Int> isuppz{2};
  GuardedVector<R> work{4 * A.order()};
  Int negcnt = 99;
  R lambda = 0, ztz = 0, mingma = 0, nrminv = 0, resid = 0, rqcorr = 0;

  Twisted& run(R at) {
    lambda = at;
    routine_call::lar1v(A.order(), b1, bn, lambda, A.d.data(), A.l.data(), A.ld.data(), A.lld.data(), pivmin, gaptol,
                        z.data(), to_logical(wantnc), negcnt, ztz, mingma, r, isuppz.data(), nrminv, resid, rqcorr,
                        work.data());
    return *this;
  }

  /// (L D L^T - lambda I) z = mingma e(r), and what follows from that.
  void expect_vector(const std::string& what) {
    using W = WideReal<R>;
    EXPECT_TRUE(z.guards_unchanged() && work.guards_unchanged() && isuppz.guards_unchanged()) << what;
    ASSERT_LE(b1, isuppz(1)) << what;
    ASSERT_LE(isuppz(1), r) << what;
    ASSERT_LE(r, isuppz(2)) << what;
    ASSERT_LE(isuppz(2), bn) << what;
    EXPECT_EQ(z(r), T(1)) << what;
    WideMatrix<R> x = WideMatrix<R>::Zero(bn - b1 + 1, 1);
    for (Int i = isuppz(1); i <= isuppz(2); ++i) {
      EXPECT_EQ(std::imag(z(i)), R(0)) << what;
      x(i - b1, 0) = W(std::real(z(i)));
    }
    const WideMatrix<R> shifted = A.wide(W(lambda), b1, bn);
    WideMatrix<R> rest = shifted * x;
    rest(r - b1, 0) -= W(mingma);
    const W norm = x.norm(), size = shifted.cwiseAbs().maxCoeff() + std::abs(W(lambda));
    EXPECT_LT(rest.norm() / (size * norm * epsilon<R> * (bn - b1 + 1)), 10) << what;
    const auto expect_close = [&](R value, W expected) {
      EXPECT_LE(std::abs(W(value) - expected), 100 * epsilon<R> * std::abs(expected)) << what;
    };
    expect_close(ztz, norm * norm);
    expect_close(nrminv, 1 / norm);
    expect_close(resid, std::abs(W(mingma)) / norm);
    expect_close(rqcorr, W(mingma) / (norm * norm));
  }
};

template <class T>
class TwistedVectors : public testing::Test {
 protected:
  using R = Real<T>;

  /// A definite one and two that are not.
  static std::vector<RepresentedMatrix<R>> representations(Int n) {
    return {representation_of(one_two_one<R>(n), R(-0.001)), representation_of(one_two_one<R>(n), R(1.7)),
            representation_of(random_tridiagonal<R>(n), R(0.3))};
  }
};
TYPED_TEST_SUITE(TwistedVectors, Precisions, PrecisionLetter);

constexpr Int orders[] = {1, 2, 3, 10, 31};

TYPED_TEST(TwistedVectors, SolveTheTwistedEquation) {
  using R = Real<TypeParam>;
  for (const Int n : orders) {
    for (const auto& A : this->representations(n)) {
      const R value = R(A.value((n + 1) / 2));
      for (const R lambda : {R(0.01), R(-0.4), R(1.31), value}) {
        // On which side of a rounded eigenvalue the exact one lies is left to chance.
        const auto expect_count = [&](Int count) {
          const Int expected = A.count_below(lambda);
          EXPECT_LE(std::abs(count - expected), lambda == value ? 1 : 0) << "order " << n << " at " << lambda;
        };
        Twisted<TypeParam> best{.A = A};
        best.run(lambda).expect_vector("best twist, order " + std::to_string(n));
        // At an eigenvalue other twists may be in rows where the vector is zero, and it has no bound there.
        for (Int r = 1; r <= n && std::abs(lambda - value) > R(0.01); ++r) {
          Twisted<TypeParam> given{.A = A, .r = r};
          given.run(lambda).expect_vector("twist " + std::to_string(r) + ", order " + std::to_string(n));
          EXPECT_EQ(given.r, r);
          EXPECT_GE(std::abs(given.mingma), std::abs(best.mingma) * (1 - 100 * epsilon<R>));
          expect_count(given.negcnt);
        }
        expect_count(best.negcnt);
      }
    }
  }
}

/// At an eigenvalue the residual is that of its rounding.
TYPED_TEST(TwistedVectors, BelongToTheirEigenvalues) {
  using R = Real<TypeParam>;
  const Int n = 31;
  const auto A = representation_of(one_two_one<R>(n), R(-0.001));
  for (Int k = 1; k <= n; ++k) {
    Twisted<TypeParam> v{.A = A};
    v.run(R(A.value(k)));
    EXPECT_LT(v.resid, n * epsilon<R> * v.lambda) << k;
    // The correction leaves the square of the distance over the gap to the next value.
    v.run(v.lambda * R(1.0001));
    EXPECT_NEAR(v.lambda + v.rqcorr, R(A.value(k)), R(1e-5) * v.lambda) << k;
  }
}

TYPED_TEST(TwistedVectors, OfSomeRows) {
  using R = Real<TypeParam>;
  for (const auto& A : this->representations(12)) {
    for (const auto& [b1, bn] : {std::pair{1, 5}, {4, 12}, {3, 3}, {5, 9}}) {
      for (const Int r : {0, b1, bn, (b1 + bn) / 2}) {
        Twisted<TypeParam> v{.A = A, .b1 = b1, .bn = bn, .r = r};
        v.run(R(0.2)).expect_vector("rows " + std::to_string(b1) + " to " + std::to_string(bn));
        EXPECT_TRUE(v.z.unchanged_outside(b1, bn));
      }
    }
  }
}

TYPED_TEST(TwistedVectors, CountOnlyIfAsked) {
  const auto A = representation_of(one_two_one<Real<TypeParam>>(7), Real<TypeParam>(1));
  Twisted<TypeParam> v{.A = A, .wantnc = false};
  EXPECT_EQ(v.run(Real<TypeParam>(0.1)).negcnt, -1);
}

/// A zero pivot of either factorisation, the first, the last or one between; the elements beside it are such that
/// dividing them by the least pivot overflows, or not.
TYPED_TEST(TwistedVectors, StepOverZeroPivots) {
  using R = Real<TypeParam>;
  const auto with = [](std::vector<R> d, R l) { return RepresentedMatrix<R>(d, std::vector<R>(d.size() - 1, l)); };
  const R small = std::numeric_limits<R>::min();
  for (const R pivmin : {small, 1024 * small}) {
    for (const R size : {R(1), R(64)}) {
      // From the top d1 - lambda; d2 + s2 with s2 = -lambda d1 / (d1 - lambda) - lambda; from the bottom alike.
      const std::pair<RepresentedMatrix<R>, R> cases[] = {
          {with({size, size * 3, size * 2, size * 5, size}, 1), size},
          {with({size * 2, size * 3, size * 2, size * 5, size}, 1), size},
          {with({size * 2, size * 3, size * 2, size * 5, -size * 4}, 1), size},
          {with({size, size, size, size, size}, 1), size},
          {with({size, size * 3, size * 2, size * 5, size * 7}, -1), size},
          {with({size * 4, size}, 1), size * 4},
      };
      for (const auto& [A, lambda] : cases) {
        Twisted<TypeParam> best{.A = A, .pivmin = pivmin};
        best.run(lambda).expect_vector("zero pivot, best twist");
        EXPECT_TRUE(std::isfinite(best.resid));
      }
    }
  }
}

/// Behind a zero pivot comes a large element of L.
TYPED_TEST(TwistedVectors, StepOverZeroPivotsWithoutOverflow) {
  using R = Real<TypeParam>;
  const RepresentedMatrix<R> A({1, 1, 1, 1, 3}, {1, 100, 1, 1});
  for (Int r = 3; r <= 5; ++r) {
    Twisted<TypeParam> given{.A = A, .r = r};
    given.run(R(1)).expect_vector("twist " + std::to_string(r));
  }
}

/// Rows behind which nothing of weight comes are left out; a zero ends the vector on either side.
TYPED_TEST(TwistedVectors, EndWhereTheRestIsNegligible) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 41;
  Tridiagonal<R> matrix{std::vector<R>(std::size_t(n)), std::vector<R>(std::size_t(n - 1), R(0.1))};
  for (Int i = 0; i < n; ++i) matrix.d[std::size_t(i)] = R(i);
  const auto A = representation_of(matrix, R(-1));
  const R lambda = R(A.value(21));
  Twisted<T> all{.A = A}, part{.A = A, .gaptol = R(1e-3)};
  all.run(lambda);
  part.run(lambda);
  EXPECT_EQ(all.isuppz(1), 1);
  EXPECT_EQ(all.isuppz(2), n);
  EXPECT_GT(part.isuppz(1), 10);
  EXPECT_LT(part.isuppz(2), 32);
  EXPECT_EQ(part.z(part.isuppz(1) - 1), T(0));
  EXPECT_EQ(part.z(part.isuppz(2) + 1), T(0));
  EXPECT_TRUE(part.z.unchanged_outside(part.isuppz(1) - 1, part.isuppz(2) + 1));
  for (Int i = part.isuppz(1); i <= part.isuppz(2); ++i) EXPECT_EQ(part.z(i), all.z(i));
  // Together with the next element the last one weighs less than the bound, and no element kept does.
  const auto weight = [&](Int i) {
    return (std::abs(all.z(i)) + std::abs(all.z(i + 1))) * std::abs(A.ld[std::size_t(i - 1)]);
  };
  EXPECT_LT(weight(part.isuppz(1) - 1), part.gaptol);
  EXPECT_LT(weight(part.isuppz(2)), part.gaptol);
  for (Int i = part.isuppz(1); i < part.isuppz(2); ++i) EXPECT_GE(weight(i), part.gaptol);
}

TYPED_TEST(TwistedVectors, ShowNaN) {
  using R = Real<TypeParam>;
  auto A = representation_of(one_two_one<R>(9), R(-1));
  A.d[4] = std::numeric_limits<R>::quiet_NaN();
  Twisted<TypeParam> v{.A = A};
  v.run(R(1));
  EXPECT_TRUE(std::isnan(v.resid));
}

}  // namespace
}  // namespace nuv::test
