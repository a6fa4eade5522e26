// Merges of two eigensystems: deflation, the vectors of the secular equation, and what joins the halves.

#include <bit>
#include <limits>
#include <numeric>

#include "support/random.hpp"
#include "support/real_precisions.hpp"
#include "support/reported_errors.hpp"
#include "symmetric/eigen_checks.hpp"
#include "symmetric/halves.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

template <RealScalar R>
constexpr R eps = std::numeric_limits<R>::epsilon();

/// A merge's result in the order of its permutation.
template <RealScalar R>
void expect_sorted_eigensystem(const Tridiagonal<R>& matrix, const GuardedVector<R>& d, const GuardedMatrix<R>& Q,
                               const std::vector<Int>& indxq) {
  const Int n = matrix.order();
  GuardedVector<R> sorted(n);
  GuardedMatrix<R> Z(n, n, n);
  std::vector<bool> is_taken(std::size_t(n), false);
  for (Int j = 1; j <= n; ++j) {
    const Int from = indxq[std::size_t(j - 1)];
    ASSERT_TRUE(from >= 1 && from <= n && !is_taken[std::size_t(from - 1)]);
    is_taken[std::size_t(from - 1)] = true;
    sorted(j) = d(from);
    for (Int i = 1; i <= n; ++i) Z(i, j) = Q(i, from);
  }
  EXPECT_TRUE(is_ascending(sorted));
  EXPECT_LT(value_error(sorted, n, wide_values(matrix)), threshold);
  EXPECT_LT(eigen_residual<R>(wide_dense<R>(matrix), Z, sorted, n), threshold);
  EXPECT_LT(orthogonality(Z, n), threshold);
}

template <class R>
class Merges : public ReportingTest {
 protected:
  Random random{36};
};
TYPED_TEST_SUITE(Merges, RealPrecisions, PrecisionLetter);

// --------------------------------------------------------------------------------------------- eigenvectors at hand

/// The arguments of ?laed2 for two halves.
template <RealScalar R>
struct Deflation {
  Halves<R> halves;
  Int k = 99, info = 99;
  R rho;
  std::vector<R> z;
  GuardedVector<R> dlamda, w, q2;
  GuardedVector<Int> indx, indxc, indxp, coltyp;

  explicit Deflation(const Halves<R>& halves_)
      : halves(halves_),
        rho(halves.rho),
        z(halves.joining_vector()),
        dlamda(halves.n),
        w(halves.n),
        q2(halves.n * halves.n),
        indx(halves.n),
        indxc(halves.n),
        indxp(halves.n),
        coltyp(std::max(4, halves.n)) {}

  Deflation& run() {
    routine_call::laed2(k, halves.n, halves.n1, halves.d.data(), halves.Q, halves.indxq.data(), rho, z.data(),
                        dlamda.data(), w.data(), q2.data(), indx.data(), indxc.data(), indxp.data(), coltyp.data(),
                        info);
    EXPECT_EQ(info, 0);
    EXPECT_TRUE(halves.d.guards_unchanged() && halves.Q.guards_unchanged() && dlamda.guards_unchanged() &&
                w.guards_unchanged() && q2.guards_unchanged() && indxc.guards_unchanged() && coltyp.guards_unchanged());
    return *this;
  }

  /// The columns of q2 with the zeros that were left out, in the order of dlamda.
  WideMatrix<R> gathered() const {
    const Int n = halves.n, n1 = halves.n1, upper = coltyp(1) + coltyp(2);
    WideMatrix<R> columns = WideMatrix<R>::Zero(n, k);
    for (Int i = 1; i <= k; ++i) {
      const Int place = indxc(i) - 1;
      for (Int row = 0; row < n1 && i <= upper; ++row) columns(row, place) = q2((i - 1) * n1 + row + 1);
      for (Int row = 0; row < n - n1 && i > coltyp(1); ++row) {
        columns(n1 + row, place) = q2(upper * n1 + (i - coltyp(1) - 1) * (n - n1) + row + 1);
      }
    }
    return columns;
  }

  /// The matrix that is left, as a sum of what is done and what goes to the secular equation.
  WideMatrix<R> reassembled() const {
    const Int n = halves.n;
    WideMatrix<R> sum = WideMatrix<R>::Zero(n, n);
    for (Int j = k + 1; j <= n; ++j) {
      const WideMatrix<R> q = wide(halves.Q).col(j - 1);
      sum += WideReal<R>(halves.d(j)) * q * q.transpose();
    }
    if (k == 0) return sum;
    const WideMatrix<R> columns = gathered();
    WideMatrix<R> joined = WideMatrix<R>::Zero(n, 1);
    for (Int i = 1; i <= k; ++i) {
      const WideMatrix<R> q = columns.col(i - 1);
      sum += WideReal<R>(dlamda(i)) * q * q.transpose();
      joined += WideReal<R>(w(i)) * q;
    }
    return sum + WideReal<R>(rho) * joined * joined.transpose();
  }
};

/// Whatever is deflated, the matrix stays what it was, up to the tolerance for each column.
TYPED_TEST(Merges, DeflationKeepsTheMatrix) {
  using R = TypeParam;
  for (const Int n : {2, 3, 4, 9, 24, 31}) {
    for (const auto& [name, matrix] : matrices_to_merge<R>(n)) {
      for (const int reversed : {0, 1, 2, 3}) {
        SCOPED_TRACE(name + (" of order " + std::to_string(n)) + ", reversed " + std::to_string(reversed));
        Halves<R> halves(matrix);
        if (reversed & 1) halves.reverse_half(false);
        if (reversed & 2) halves.reverse_half(true);
        Deflation<R> deflation(halves);
        deflation.run();
        const Int k = deflation.k;
        EXPECT_GT(deflation.rho, 0);
        EXPECT_TRUE(std::is_sorted(deflation.dlamda.data(), deflation.dlamda.data() + k));
        const R *const d = deflation.halves.d.data(), *const end = d + n;
        if (k > 0) {
          EXPECT_TRUE(std::is_sorted(d + k, end, std::greater<>()));
          EXPECT_EQ(deflation.coltyp(1) + deflation.coltyp(2) + deflation.coltyp(3), k);
          EXPECT_EQ(deflation.coltyp(4), n - k);
        } else {
          EXPECT_TRUE(std::is_sorted(d, end));
        }
        const WideMatrix<R> T = wide_dense<R>(matrix);
        EXPECT_LT(double(one_norm<R>(T - deflation.reassembled()) / one_norm<R>(T)), 20 * n * eps<R>);
      }
    }
  }
}

TYPED_TEST(Merges, DeflationFindsWhatNeedsNoEquation) {
  using R = TypeParam;
  const Int n = 20;
  const auto matrices = matrices_to_merge<R>(n);
  const auto deflated = [&](std::size_t at) { return Deflation<R>(Halves<R>(matrices[at].matrix)).run(); };
  EXPECT_GT(deflated(0).k, n / 2);
  EXPECT_EQ(deflated(2).k, 0);
  const auto twins = deflated(3);
  EXPECT_LE(twins.k, n / 2);
  EXPECT_EQ(twins.coltyp(1), 0);
  EXPECT_EQ(twins.coltyp(2), twins.k);
  EXPECT_EQ(twins.coltyp(3), 0);
}

/// The limit is eight units of rounding of the largest eigenvalue or element of z.
TYPED_TEST(Merges, DeflationHasATolerance) {
  using R = TypeParam;
  constexpr R unit = eps<R> / 2;
  const R largest_z = std::sqrt(R(0.5));
  for (const R size : {R(0.65), R(1), R(64)}) {
    const R largest = std::max(size, largest_z);
    for (const bool above : {false, true}) {
      // An element of z, times rho = 2, on either side of the tolerance; the eigenvalues are far from each other.
      const R element = 4 * unit * largest * (above ? R(1.01) : R(0.99));
      Int k = 99, info = 99, indxq[] = {1, 2, 1, 2}, indx[4], indxc[4], indxp[4], coltyp[4];
      R d[] = {-size, size, -size / 2, -size / 3}, z[] = {1, element / largest_z, R(0.8), R(0.6)};
      R Q[16] = {}, q2[16], dlamda[4], w[4], rho = 1;
      for (int i = 0; i < 4; ++i) Q[5 * i] = 1;
      routine_call::laed2(k, 4, 2, d, {Q, 4}, indxq, rho, z, dlamda, w, q2, indx, indxc, indxp, coltyp, info);
      EXPECT_EQ(info, 0);
      EXPECT_EQ(rho, 2);
      EXPECT_EQ(k, above ? 4 : 3) << size;
    }
    for (const bool above : {false, true}) {
      // The same for the distance of two eigenvalues with equal elements of z: half of it would stand beside them.
      Int k = 99, info = 99, indxq[] = {1, 1}, indx[2], indxc[2], indxp[2], coltyp[4];
      R d[] = {size, size + (above ? 20 : 12) * unit * largest}, z[] = {1, 1};
      R Q[] = {1, 0, 0, 1}, q2[4], dlamda[2], w[2], rho = 1;
      routine_call::laed2(k, 2, 1, d, {Q, 2}, indxq, rho, z, dlamda, w, q2, indx, indxc, indxp, coltyp, info);
      EXPECT_EQ(k, above ? 2 : 1) << size;
    }
  }
}

/// A rotation of two columns of one half leaves zeros where they were: the column that stays is no product with both
/// halves.
TYPED_TEST(Merges, DeflationWithinAHalfStaysThere) {
  using R = TypeParam;
  for (const bool second : {false, true}) {
    Int k = 99, info = 99, indxq[] = {1, 2, 1, 2}, indx[4], indxc[4], indxp[4], coltyp[4];
    R d[] = {1, 2, 3, 4}, z[] = {R(0.6), R(0.8), R(0.8), R(0.6)}, Q[16] = {}, q2[16], dlamda[4], w[4], rho = 1;
    (second ? d[3] : d[1]) = second ? 3 : 1;
    for (int i = 0; i < 4; ++i) Q[5 * i] = 1;
    routine_call::laed2(k, 4, 2, d, {Q, 4}, indxq, rho, z, dlamda, w, q2, indx, indxc, indxp, coltyp, info);
    EXPECT_EQ(info, 0);
    EXPECT_EQ(k, 3);
    EXPECT_EQ(coltyp[0], second ? 2 : 1);
    EXPECT_EQ(coltyp[1], 0);
    EXPECT_EQ(coltyp[2], second ? 1 : 2);
    EXPECT_EQ(coltyp[3], 1);
  }
}

/// ?laed1 from two halves, also where they aren't sorted.
TYPED_TEST(Merges, OfHalvesGiveTheWhole) {
  using R = TypeParam;
  for (const Int n : {1, 2, 3, 4, 5, 24, 31, 64}) {
    for (const auto& [name, matrix] : n > 1 ? matrices_to_merge<R>(n) : described_tridiagonals<R>(n)) {
      for (const int reversed : {0, 3}) {
        SCOPED_TRACE(name + (" of order " + std::to_string(n)));
        Halves<R> halves(matrix);
        if (reversed & 1) halves.reverse_half(false);
        if (reversed & 2) halves.reverse_half(true);
        GuardedVector<R> work(4 * n + n * n);
        GuardedVector<Int> iwork(4 * n);
        Int info = 99;
        routine_call::laed1(n, halves.d.data(), halves.Q, halves.indxq.data(), halves.rho, n / 2, work.data(),
                            iwork.data(), info);
        EXPECT_EQ(info, 0);
        EXPECT_TRUE(halves.d.guards_unchanged() && halves.Q.guards_unchanged() && work.guards_unchanged() &&
                    iwork.guards_unchanged());
        expect_sorted_eigensystem(matrix, halves.d, halves.Q, halves.indxq);
      }
    }
  }
}

/// Where one half joins with a single vector, and the other with so many that none of their elements counts, the vector
/// that is left has zeros in the rows of the other half, whatever stood there.
TYPED_TEST(Merges, OfAHalfThatHasNoPartLeaveZeros) {
  using R = TypeParam;
  const Int n = 8, half = 4;
  for (const bool spread_first : {false, true}) {
    // The spread half has vectors of elements one half, whose first rows and last rows are all of one magnitude.
    const Int spread = spread_first ? 0 : half, single = half - spread;
    GuardedMatrix<R> Q = identity<R>(n, n);
    GuardedVector<R> d(n), work(4 * n + n * n);
    GuardedVector<Int> iwork(4 * n);
    Int indxq[] = {1, 2, 3, 4, 1, 2, 3, 4}, info = 99;
    for (Int j = 1; j <= half; ++j) {
      for (Int i = 1; i <= half; ++i) {
        Q(spread + i, spread + j) = std::popcount(unsigned((i - 1) & (j - 1))) % 2 == 0 ? R(0.5) : R(-0.5);
      }
      d(spread + j) = R(j) / 8;
      d(single + j) = R(2 * j - 1) / 8;
    }
    d(single + half) = 1;
    // Twice rho, times the elements 1/2 and 1 over the square root of two, on both sides of eight units of rounding.
    routine_call::laed1(n, d.data(), Q, indxq, 4 * eps<R>, half, work.data(), iwork.data(), info);
    EXPECT_EQ(info, 0);
    EXPECT_TRUE(Q.guards_unchanged() && work.guards_unchanged() && iwork.guards_unchanged());
    const Int joining = single + (spread_first ? 1 : half);
    for (Int i = 1; i <= n; ++i) EXPECT_EQ(std::abs(Q(i, 1)), R(i == joining)) << i;
    EXPECT_LT(orthogonality(Q, n), threshold);
  }
}

/// ?laed3 after ?laed2 gives the bits of ?laed1.
TYPED_TEST(Merges, HaveTwoSteps) {
  using R = TypeParam;
  for (const Int n : {2, 3, 4, 7, 30}) {
    for (const auto& [name, matrix] : matrices_to_merge<R>(n)) {
      SCOPED_TRACE(name + (" of order " + std::to_string(n)));
      Halves<R> whole(matrix);
      GuardedVector<R> work(4 * n + n * n);
      GuardedVector<Int> iwork(4 * n);
      Int info = 99;
      routine_call::laed1(n, whole.d.data(), whole.Q, whole.indxq.data(), whole.rho, n / 2, work.data(), iwork.data(),
                          info);
      Deflation<R> step{Halves<R>(matrix)};
      step.run();
      const Int k = step.k;
      const Int room = k == 0 ? 0 : std::max(step.coltyp(1) + step.coltyp(2), step.coltyp(2) + step.coltyp(3)) * k;
      GuardedVector<R> s(room);
      Halves<R>& halves = step.halves;
      routine_call::laed3(k, n, n / 2, halves.d.data(), halves.Q, step.rho, step.dlamda.data(), step.q2.data(),
                          step.indxc.data(), step.coltyp.data(), step.w.data(), s.data(), info);
      EXPECT_EQ(info, 0);
      EXPECT_TRUE(halves.d.same_as(whole.d));
      EXPECT_TRUE(halves.Q.same_as(whole.Q));
      EXPECT_TRUE(s.guards_unchanged() && halves.Q.guards_unchanged());
    }
  }
}

TYPED_TEST(Merges, WithANumberThatIsNoneFail) {
  using R = TypeParam;
  const Int n = 12;
  const auto matrix = random_tridiagonal<R>(n);
  GuardedVector<R> work(4 * n + n * n);
  GuardedVector<Int> iwork(4 * n);
  Int info = 0;
  Halves<R> in_values(matrix);
  in_values.d(3) = std::numeric_limits<R>::quiet_NaN();
  routine_call::laed1(n, in_values.d.data(), in_values.Q, in_values.indxq.data(), in_values.rho, n / 2, work.data(),
                      iwork.data(), info);
  EXPECT_EQ(info, 1);
  Halves<R> in_rho(matrix);
  routine_call::laed1(n, in_rho.d.data(), in_rho.Q, in_rho.indxq.data(), std::numeric_limits<R>::quiet_NaN(), n / 2,
                      work.data(), iwork.data(), info);
  EXPECT_EQ(info, 1);
  // Without all roots there are no vectors.
  const Int k = 4;
  GuardedVector<R> d(k), poles(k), w(k);
  for (Int i = 1; i <= k; ++i) poles(i) = R(i), w(i) = R(0.5);
  w(2) = std::numeric_limits<R>::quiet_NaN();
  GuardedMatrix<R> Q(k, k, k), S(k, k, k);
  routine_call::laed9(k, 1, k, k, d.data(), Q, R(1), poles.data(), w.data(), S, info);
  EXPECT_EQ(info, 1);
  EXPECT_TRUE(S.unchanged());
}

// --------------------------------------------------------------------------------------------------- secular vectors

/// However close the roots are, the vectors are orthogonal and those of the matrix.
TYPED_TEST(Merges, VectorsOfTheSecularEquationAreOrthogonal) {
  using R = TypeParam;
  for (const Int k : {1, 2, 3, 4, 30, 300}) {
    for (const bool clustered : {false, true}) {
      SCOPED_TRACE(testing::Message() << k << (clustered ? " clustered" : ""));
      GuardedVector<R> d(k), poles(k), w(k);
      double squares = 0;
      for (Int i = 1; i <= k; ++i) {
        poles(i) = clustered ? 1 + R(i / 100) + 40 * R(i) * eps<R> : R(i) + R(this->random.real()) / 3;
        w(i) = this->random.template divisor<R>();
        squares += double(w(i)) * w(i);
      }
      for (Int i = 1; i <= k; ++i) w(i) = R(w(i) / std::sqrt(squares));
      const R rho = R(2);
      WideMatrix<R> A = WideMatrix<R>::Zero(k, k);
      for (Int i = 1; i <= k; ++i) {
        A(i - 1, i - 1) = poles(i);
        for (Int j = 1; j <= k; ++j) A(i - 1, j - 1) += WideReal<R>(rho) * w(i) * w(j);
      }
      GuardedMatrix<R> Q(k, k, k + 1), S(k, k, k + 2);
      Int info = 99;
      const std::vector<R> weights(w.data(), w.data() + k);
      routine_call::laed9(k, 1, k, k, d.data(), Q, rho, poles.data(), w.data(), S, info);
      EXPECT_EQ(info, 0);
      EXPECT_TRUE(is_ascending(d));
      EXPECT_LT(eigen_residual<R>(A, S, d, k), threshold);
      EXPECT_LT(orthogonality(S, k), threshold);
      EXPECT_TRUE(Q.guards_unchanged() && S.guards_unchanged());

      // The vectors may take the place of the distances.
      std::copy(weights.begin(), weights.end(), w.data());
      GuardedMatrix<R> in_place(k, k, k + 2);
      routine_call::laed9(k, 1, k, k, d.data(), in_place, rho, poles.data(), w.data(), in_place, info);
      EXPECT_TRUE(in_place.same_as(S));
    }
  }
}

/// Roots that others have found may stand there already.
TYPED_TEST(Merges, RootsCanBeFoundInParts) {
  using R = TypeParam;
  const Int k = 11;
  GuardedVector<R> d(k), poles(k), w(k), d_parts(k), w_parts(k);
  for (Int i = 1; i <= k; ++i) {
    poles(i) = R(i);
    w(i) = w_parts(i) = 1 / std::sqrt(R(k));
  }
  GuardedMatrix<R> Q(k, k, k), S(k, k, k), Q_parts(k, k, k), S_parts(k, k, k);
  Int info = 99;
  routine_call::laed9(k, 1, k, k, d.data(), Q, R(1), poles.data(), w.data(), S, info);
  for (Int j = 1; j <= k; ++j) {
    if (j == 4 || j == 5) continue;
    d_parts(j) = d(j);
    routine_call::laed4(k, j, poles.data(), w_parts.data(), &Q_parts(1, j), R(1), d_parts(j), info);
  }
  routine_call::laed9(k, 4, 5, k, d_parts.data(), Q_parts, R(1), poles.data(), w_parts.data(), S_parts, info);
  EXPECT_EQ(info, 0);
  EXPECT_TRUE(S_parts.same_as(S));
  EXPECT_TRUE(d_parts.same_as(d));
}

TYPED_TEST(Merges, OfNoRootsAreEmpty) {
  using R = TypeParam;
  R none = guard<R>();
  Int count[4] = {}, info = 99;
  routine_call::laed9(0, 1, 0, 0, &none, {&none, 1}, R(1), &none, &none, {&none, 1}, info);
  EXPECT_EQ(info, 0);
  routine_call::laed3(0, 0, 0, &none, {&none, 1}, R(1), &none, &none, count, count, &none, &none, info);
  EXPECT_EQ(info, 0);
  EXPECT_TRUE(same_bits(none, guard<R>()));
}

}  // namespace
}  // namespace nuv::test
