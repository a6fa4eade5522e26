// Bisection from rough intervals: ?larrb, ?larrj, ?larrk, ?larrd.

#include <algorithm>
#include <cmath>
#include <limits>

#include "environment/machine_constants.hpp"
#include "routines.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"
#include "symmetric/eigen_checks.hpp"
#include "symmetric/representations.hpp"

namespace nuv::test {
namespace {

template <class T>
class Refinement : public testing::Test {
 protected:
  Random random{66};
};
TYPED_TEST_SUITE(Refinement, RealPrecisions, PrecisionLetter);

/// Approximate eigenvalues ifirst ... ilast, stored from place ifirst - offset on.
template <RealScalar R>
struct Approximations {
  Int ifirst, ilast, offset;
  GuardedVector<R> w, werr, wgap;

  Approximations(Int ifirst_, Int ilast_, Int offset_)
      : ifirst(ifirst_),
        ilast(ilast_),
        offset(offset_),
        w(ilast - offset),
        werr(ilast - offset),
        wgap(ilast - offset) {}

  /// Each value off by about `error` of its size, and said to be off by `told` of what it is.
  void perturb(Random& random, const std::vector<long double>& exact, double error, double told) {
    for (Int i = offset + 1; i <= ilast; ++i) {
      const long double value = exact[std::size_t(i) - 1];
      w(i - offset) = R(value * (1 + error * random.real()));
      werr(i - offset) = R(told * std::abs(value - w(i - offset)));
      wgap(i - offset) = R(std::abs(value));
    }
    w.seal();
    werr.seal();
    wgap.seal();
  }

  bool holds(Int i, long double value, double slack) const {
    return std::abs(w(i - offset) - value) <= werr(i - offset) * (1 + 4 * epsilon<R>)+slack * std::abs(value);
  }
  void expect_others_unchanged() const {
    EXPECT_TRUE(w.unchanged_outside(ifirst - offset, ilast - offset));
    EXPECT_TRUE(werr.unchanged_outside(ifirst - offset, ilast - offset));
    EXPECT_TRUE(wgap.unchanged_outside(ifirst - offset, ilast - offset - 1));
  }
};

template <RealScalar R>
void larrb(const Representation<R>& T, Approximations<R>& values, R rtol1, R rtol2, Int twist) {
  const Int n = T.order();
  GuardedVector<R> work(2 * n);
  GuardedVector<Int> iwork(2 * n);
  R diameter = 0;
  for (Int i = 1; i <= n; ++i) diameter += 2 * std::abs(T.d(i));
  Int info = 99;
  routine_call::larrb(n, T.d.data(), T.lld.data(), values.ifirst, values.ilast, rtol1, rtol2, values.offset,
                      values.w.data(), values.wgap.data(), values.werr.data(), work.data(), iwork.data(),
                      Machine<R>::safe_min, diameter, twist, info);
  EXPECT_EQ(info, 0);
  EXPECT_TRUE(T.unchanged());
  EXPECT_TRUE(work.guards_unchanged());
  EXPECT_TRUE(iwork.guards_unchanged());
  values.expect_others_unchanged();
}

TYPED_TEST(Refinement, RefinesValuesOfRepresentationsToHighRelativeAccuracy) {
  using R = TypeParam;
  for (const Int n : {1, 2, 3, 9, 40, 150}) {
    const auto T = random_representation<R>(this->random, n, true);
    const auto exact = values_of_definite(T);
    for (const double told : {1.5, 0.1, 0.0}) {  // too little is said of how far they are off: intervals are widened
      for (const Int twist : {0, 1, (n + 1) / 2, n, n + 1}) {
        Approximations<R> values(1, n, 0);
        values.perturb(this->random, exact, 0.1, told);
        larrb(T, values, R(0), 4 * epsilon<R>, twist);
        for (Int i = 1; i <= n; ++i) {
          EXPECT_TRUE(values.holds(i, exact[std::size_t(i) - 1], 8 * n * epsilon<R>)) << i << " of " << n;
          EXPECT_LE(values.werr(i), 6 * epsilon<R> * values.w(i));
        }
        for (Int i = 1; i < n; ++i) {
          const R gap = values.w(i + 1) - values.werr(i + 1) - values.w(i) - values.werr(i);
          EXPECT_EQ(values.wgap(i), std::max(R(0), gap));
        }
      }
    }
  }
}

TYPED_TEST(Refinement, StopsAtToleranceByGap) {
  using R = TypeParam;
  constexpr Int n = 30;
  const auto T = random_representation<R>(this->random, n, true);
  const auto exact = values_of_definite(T);
  Approximations<R> values(1, n, 0);
  values.perturb(this->random, exact, 0.1, 1.5);
  for (Int i = 1; i <= n; ++i) {
    values.wgap(i) = i % 2 == 0 ? R(1e-3) : R(1e-2);
    if (i % 5 != 0) continue;
    values.w(i) = R(exact[std::size_t(i) - 1]);
    values.werr(i) = R(1e-4);
  }
  values.w.seal();
  values.werr.seal();
  values.wgap.seal();
  const auto given = values;
  larrb(T, values, R(0.125), R(0), n);
  Int left_alone = 0;
  for (Int i = 1; i <= n; ++i) {
    const double tolerance = 0.125 * (i == 1 ? 1e-2 : 1e-3);
    EXPECT_LE(values.werr(i), tolerance * (1 + 4 * epsilon<R>));
    EXPECT_TRUE(values.holds(i, exact[std::size_t(i) - 1], 4 * n * epsilon<R>));
    // Halved no more than that asks for.
    if (given.werr(i) > tolerance) {
      EXPECT_GT(values.werr(i), tolerance / 2 * (1 - 4 * epsilon<R>));
    } else {
      EXPECT_EQ(values.w(i), given.w(i));
      EXPECT_EQ(values.werr(i), given.werr(i));
      ++left_alone;
    }
  }
  EXPECT_GT(left_alone, 0);
  EXPECT_LT(left_alone, n);
}

/// Searches that go side by side give the bits that each would give alone.
TYPED_TEST(Refinement, ValuesDoNotDependOnTheirNeighbours) {
  using R = TypeParam;
  constexpr Int n = 140;
  auto T = random_representation<R>(this->random, n, false);
  for (Int i = 1; i <= n; i += 3) T.d(i) = 1;
  for (Int i = 1; i < n; i += 4) T.l(i) = 1;
  T.form_lld();
  std::vector<long double> rough;
  for (Int i = 1; i <= n; ++i) rough.push_back(-4 + 8.0 * i / n);
  Approximations<R> together(11, n - 7, 5);
  together.perturb(this->random, rough, 0.0, 0.0);
  for (Int i = 6; i <= n - 7; ++i) together.werr(i - 5) = R(0.5);
  together.werr.seal();
  const auto given = together;
  larrb(T, together, R(0), 8 * epsilon<R>, n / 2);
  for (Int i = 11; i <= n - 7; ++i) {
    Approximations<R> alone(i, i, 5);
    for (Int k = 1; k <= i - 5; ++k) {
      alone.w(k) = given.w(k);
      alone.werr(k) = given.werr(k);
      alone.wgap(k) = given.wgap(k);
    }
    alone.w.seal();
    alone.werr.seal();
    alone.wgap.seal();
    larrb(T, alone, R(0), 8 * epsilon<R>, n / 2);
    EXPECT_EQ(alone.w(i - 5), together.w(i - 5));
    EXPECT_EQ(alone.werr(i - 5), together.werr(i - 5));
  }
  EXPECT_TRUE(std::is_sorted(together.w.data() + 5, together.w.data() + n - 12));
}

TYPED_TEST(Refinement, EndsOnNaNs) {
  using R = TypeParam;
  constexpr R nan = std::numeric_limits<R>::quiet_NaN(), infinity = std::numeric_limits<R>::infinity();
  constexpr Int n = 20;
  for (const R bad : {nan, infinity, -infinity}) {
    for (const Int where : {1, 10, 20}) {
      auto T = random_representation<R>(this->random, n, true);
      const auto exact = values_of_definite(T);
      T.d(where) = bad;
      T.d.seal();
      Approximations<R> values(1, n, 0);
      values.perturb(this->random, exact, 0.1, 1.5);
      values.w(7) = bad;
      values.werr(9) = bad;
      larrb(T, values, R(0), 4 * epsilon<R>, n);
      EXPECT_FALSE(std::isfinite(values.w(7)));
    }
  }
}

// ------------------------------------------------------------------------------------------- tridiagonal matrices

/// A tridiagonal matrix as the routines want it.
template <RealScalar R>
struct Matrix {
  Tridiagonal<R> tridiagonal;
  Int n;
  GuardedVector<R> d, e, e2, gers;
  R pivmin, diameter, gl, gu;
  std::vector<WideReal<R>> exact;

  explicit Matrix(const Tridiagonal<R>& matrix)
      : tridiagonal(matrix), n(matrix.order()), d(n), e(n - 1), e2(n - 1), gers(2 * n), exact(wide_values(matrix)) {
    R largest = 1;
    for (Int i = 1; i <= n; ++i) {
      d(i) = matrix.d[std::size_t(i) - 1];
      if (i == n) break;
      e(i) = matrix.e[std::size_t(i) - 1];
      e2(i) = e(i) * e(i);
      largest = std::max(largest, e2(i));
    }
    pivmin = Machine<R>::safe_min * largest;
    for (Int i = 1; i <= n; ++i) {
      const R radius = (i > 1 ? std::abs(e(i - 1)) : R(0)) + (i < n ? std::abs(e(i)) : R(0));
      gers(2 * i - 1) = d(i) - radius;
      gers(2 * i) = d(i) + radius;
      gl = i == 1 ? gers(1) : std::min(gl, gers(2 * i - 1));
      gu = i == 1 ? gers(2) : std::max(gu, gers(2 * i));
    }
    diameter = 2 * std::max(std::abs(gl), std::abs(gu));
    d.seal();
    e.seal();
    e2.seal();
    gers.seal();
  }

  /// How far roundings may move a value.
  double uncertainty() const {
    return 4.0 * n * epsilon<R> * double(std::max(std::abs(exact.front()), std::abs(exact.back()))) + 8.0 * pivmin;
  }
  bool unchanged() const { return d.unchanged() && e.unchanged() && e2.unchanged() && gers.unchanged(); }
};

/// Those whose squares are in range: drivers scale the others.
template <RealScalar R>
std::vector<DescribedTridiagonal<R>> tridiagonals_of_moderate_norm(Int n) {
  auto all = described_tridiagonals<R>(n);
  std::erase_if(all, [](const auto& described) {
    R norm = 0;
    for (const R x : described.matrix.d) norm = std::max(norm, std::abs(x));
    for (const R x : described.matrix.e) norm = std::max(norm, std::abs(x));
    return !(norm > R(1e-9) && norm < R(1e9));
  });
  return all;
}

template <RealScalar R>
void larrj(const Matrix<R>& T, Approximations<R>& values, R rtol) {
  GuardedVector<R> work(2 * T.n);
  GuardedVector<Int> iwork(2 * T.n);
  Int info = 99;
  routine_call::larrj(T.n, T.d.data(), T.e2.data(), values.ifirst, values.ilast, rtol, values.offset, values.w.data(),
                      values.werr.data(), work.data(), iwork.data(), T.pivmin, T.diameter, info);
  EXPECT_EQ(info, 0);
  EXPECT_TRUE(T.unchanged());
  values.expect_others_unchanged();
}

TYPED_TEST(Refinement, RefinesValuesOfTridiagonalMatrices) {
  using R = TypeParam;
  for (const Int n : {1, 2, 5, 30, 101}) {
    for (const auto& tridiagonal : {random_tridiagonal<R>(n), one_two_one<R>(n), glued_wilkinson<R>(n, R(1e-3))}) {
      const Matrix<R> T(tridiagonal);
      const std::vector<long double> exact(T.exact.begin(), T.exact.end());
      for (const double told : {1.5, 0.1}) {
        for (const Int offset : {0, n / 4}) {
          Approximations<R> values(1 + n / 3, n, offset);
          values.perturb(this->random, exact, 0.1, told);
          larrj(T, values, 4 * epsilon<R>);
          for (Int i = values.ifirst; i <= n; ++i) {
            const R w = values.w(i - offset), werr = values.werr(i - offset);
            EXPECT_NEAR(w, double(exact[std::size_t(i) - 1]), werr + T.uncertainty());
            EXPECT_LE(werr, 6 * epsilon<R> * std::abs(w));
          }
        }
      }
    }
  }
}

/// All searches begin in the middle of the spectrum, which is an eigenvalue and makes every other pivot zero.
TYPED_TEST(Refinement, ZeroPivotsCountTheSameSideBySide) {
  using R = TypeParam;
  constexpr Int n = 9;
  const Matrix<R> T(one_two_one<R>(n));
  const auto begin = [](Approximations<R>& values) {
    for (Int i = 1; i <= values.ilast; ++i) {
      values.w(i) = values.werr(i) = 2;
      values.wgap(i) = 0;
    }
    values.w.seal();
    values.werr.seal();
    values.wgap.seal();
  };
  Approximations<R> together(1, n, 0);
  begin(together);
  larrj(T, together, 4 * epsilon<R>);
  for (Int i = 1; i <= n; ++i) {
    Approximations<R> alone(i, i, 0);
    begin(alone);
    larrj(T, alone, 4 * epsilon<R>);
    EXPECT_EQ(alone.w(i), together.w(i));
    EXPECT_EQ(alone.werr(i), together.werr(i));
  }
}

TYPED_TEST(Refinement, LeavesNarrowIntervalsAlone) {
  using R = TypeParam;
  const Matrix<R> T(one_two_one<R>(10));
  Approximations<R> values(1, 10, 0);
  for (Int i = 1; i <= 10; ++i) {
    values.w(i) = 1000;  // far from any of them, which nobody looks at
    values.werr(i) = R(0.5);
    values.wgap(i) = 0;
  }
  values.w.seal();
  values.werr.seal();
  values.wgap.seal();
  larrj(T, values, R(1e-3));
  EXPECT_TRUE(values.w.unchanged());
  EXPECT_TRUE(values.werr.unchanged());
  larrj(T, values, R(1e-4));
  EXPECT_LT(values.w(10), 4);
}

TYPED_TEST(Refinement, FindsASingleValue) {
  using R = TypeParam;
  for (const Int n : {1, 2, 5, 40}) {
    for (const auto& [name, tridiagonal] : tridiagonals_of_moderate_norm<R>(n)) {
      SCOPED_TRACE(name);
      const Matrix<R> T(tridiagonal);
      for (const Int iw : {1, (n + 1) / 2, n}) {
        R w, werr;
        Int info = 99;
        routine_call::larrk(n, iw, T.gl, T.gu, T.d.data(), T.e2.data(), T.pivmin, 4 * epsilon<R>, w, werr, info);
        EXPECT_EQ(info, 0);
        EXPECT_NEAR(w, double(T.exact[std::size_t(iw) - 1]), werr + T.uncertainty());
        EXPECT_LE(werr, 3 * epsilon<R> * std::abs(w) + 4 * T.pivmin);
      }
    }
  }
}

TYPED_TEST(Refinement, SaysWhenASingleValueIsNotFound) {
  using R = TypeParam;
  const Matrix<R> T(one_two_one<R>(5));
  R w, werr;
  Int info = 99;
  routine_call::larrk(5, 2, T.gl, T.gu, T.d.data(), T.e2.data(), R(0.01), R(0), w, werr, info);
  EXPECT_EQ(info, 0);  // by the least pivot
  EXPECT_LE(werr, R(0.03));
  routine_call::larrk(5, 2, T.gl, T.gu, T.d.data(), T.e2.data(), Machine<R>::safe_min, R(0), w, werr, info);
  EXPECT_EQ(info, -1);
}

// ---------------------------------------------------------------------------------------------------- by blocks

template <RealScalar R>
struct BlockValues {
  Int m = 99, info = 99;
  R wl, wu;
  GuardedVector<R> w, werr;
  GuardedVector<Int> iblock, indexw;

  BlockValues(const Matrix<R>& T, const std::vector<Int>& isplit, char range, char order, R vl, R vu, Int il, Int iu,
              R reltol = 4 * epsilon<R>)
      : w(T.n), werr(T.n), iblock(T.n), indexw(T.n) {
    GuardedVector<R> work(4 * T.n);
    GuardedVector<Int> iwork(3 * T.n);
    routine_call::larrd(range, order, T.n, vl, vu, il, iu, T.gers.data(), reltol, T.d.data(), T.e.data(), T.e2.data(),
                        T.pivmin, Int(isplit.size()), isplit.data(), m, w.data(), werr.data(), wl, wu, iblock.data(),
                        indexw.data(), work.data(), iwork.data(), info);
    EXPECT_TRUE(T.unchanged());
    EXPECT_TRUE(w.guards_unchanged() && werr.guards_unchanged());
    EXPECT_TRUE(iblock.guards_unchanged() && indexw.guards_unchanged());
  }
};

/// A matrix of three blocks, one of them a single row.
template <RealScalar R>
Matrix<R> of_three_blocks(Int n, std::vector<Int>& isplit) {
  Tridiagonal<R> tridiagonal = random_tridiagonal<R>(n);
  isplit = {n / 3, n / 3 + 1, n};
  for (const Int last : {isplit[0], isplit[1]}) tridiagonal.e[std::size_t(last) - 1] = 0;
  return Matrix<R>(tridiagonal);
}

template <RealScalar R>
void expect_values(const BlockValues<R>& values, const Matrix<R>& T, Int first, Int last) {
  EXPECT_EQ(values.info, 0);
  ASSERT_EQ(values.m, last - first + 1);
  std::vector<R> sorted(values.w.data(), values.w.data() + values.m);
  std::sort(sorted.begin(), sorted.end());
  for (Int k = 1; k <= values.m; ++k) {
    EXPECT_NEAR(sorted[std::size_t(k) - 1], double(T.exact[std::size_t(first + k) - 2]), T.uncertainty());
    EXPECT_LE(values.werr(k), 3 * epsilon<R> * std::abs(values.w(k)) + 4 * T.pivmin);
  }
}

/// Each value is the one of its block that its index says.
template <RealScalar R>
void expect_places(const BlockValues<R>& values, const Matrix<R>& T, const std::vector<Int>& isplit) {
  for (Int k = 1; k <= values.m; ++k) {
    const Int block = values.iblock(k), first = block == 1 ? 0 : isplit[std::size_t(block) - 2];
    const Int last = isplit[std::size_t(block) - 1];
    const auto& whole = T.tridiagonal;
    const Matrix<R> part(Tridiagonal<R>{{whole.d.begin() + first, whole.d.begin() + last},
                                        {whole.e.begin() + first, whole.e.begin() + last - 1}});
    EXPECT_NEAR(values.w(k), double(part.exact[std::size_t(values.indexw(k)) - 1]), T.uncertainty());
  }
}

TYPED_TEST(Refinement, FindsValuesBlockByBlock) {
  using R = TypeParam;
  for (const Int n : {6, 31, 60}) {
    std::vector<Int> isplit;
    const Matrix<R> T = of_three_blocks<R>(n, isplit);
    for (const char range : {'A', 'a', 'I', 'V'}) {
      const BlockValues<R> by_block(T, isplit, range, 'B', T.gl - 1, T.gu + 1, 1, n);
      expect_values(by_block, T, 1, n);
      expect_places(by_block, T, isplit);
      for (Int k = 1; k < n; ++k) {
        EXPECT_LE(by_block.iblock(k), by_block.iblock(k + 1));
        if (by_block.iblock(k) == by_block.iblock(k + 1)) {
          EXPECT_LE(by_block.w(k), by_block.w(k + 1));
          EXPECT_EQ(by_block.indexw(k) + 1, by_block.indexw(k + 1));
        }
      }
      const BlockValues<R> ascending(T, isplit, range, 'e', T.gl - 1, T.gu + 1, 1, n);
      expect_values(ascending, T, 1, n);
      expect_places(ascending, T, isplit);
      EXPECT_TRUE(std::is_sorted(ascending.w.data(), ascending.w.data() + n));
    }
  }
}

TYPED_TEST(Refinement, FindsValuesByIndex) {
  using R = TypeParam;
  constexpr Int n = 30;
  std::vector<Int> isplit;
  const Matrix<R> T = of_three_blocks<R>(n, isplit);
  for (Int il = 1; il <= n; il += 3) {
    for (Int iu = il; iu <= n; iu += 4) {
      const BlockValues<R> values(T, isplit, 'I', 'E', 0, 0, il, iu);
      expect_values(values, T, il, iu);
      expect_places(values, T, isplit);
      for (Int k = 1; k <= values.m; ++k) EXPECT_TRUE(values.wl < values.w(k) && values.w(k) <= values.wu);
    }
  }
}

/// Two equal blocks: each value is there twice, and half of a pair is asked for.
TYPED_TEST(Refinement, CutsThroughEqualValues) {
  using R = TypeParam;
  Tridiagonal<R> tridiagonal = one_two_one<R>(20);
  tridiagonal.e[9] = 0;
  const Matrix<R> T(tridiagonal);
  for (Int il = 1; il <= 20; ++il) {
    for (const Int iu : {il, std::min(20, il + 1), std::min(20, il + 6)}) {
      for (const char order : {'B', 'E'})
        expect_values(BlockValues<R>(T, {10, 20}, 'I', order, 0, 0, il, iu), T, il, iu);
    }
  }
}

/// Values of a cluster that are equal to the accuracy asked for keep their places in the block.
TYPED_TEST(Refinement, CutsThroughClusters) {
  using R = TypeParam;
  constexpr Int n = 42;
  const Matrix<R> T(glued_wilkinson<R>(n, epsilon<R>));
  for (Int il = 1; il <= n; ++il) {
    for (const Int iu : {il, std::min(n, il + 1), std::min(n, il + 5)}) {
      const BlockValues<R> values(T, {n}, 'I', 'B', 0, 0, il, iu, std::sqrt(epsilon<R>));
      EXPECT_EQ(values.info, 0);
      ASSERT_EQ(values.m, iu - il + 1);
      for (Int k = 1; k <= values.m; ++k) EXPECT_EQ(values.indexw(k), il + k - 1);
    }
  }
}

/// Equal blocks with values in close pairs, which rough intervals don't tell apart: indices name the right one of a
/// pair.
TYPED_TEST(Refinement, TellsCloseValuesOfDifferentBlocks) {
  using R = TypeParam;
  constexpr Int order = 21, n = 3 * order;
  const Matrix<R> T(glued_wilkinson<R>(n, R(0))), block(glued_wilkinson<R>(order, R(0)));
  for (Int il = 1; il <= n; ++il) {
    for (const Int iu : {il, std::min(n, il + 1), std::min(n, il + 4)}) {
      const BlockValues<R> values(T, {order, 2 * order, n}, 'I', 'B', 0, 0, il, iu, std::sqrt(epsilon<R>));
      EXPECT_EQ(values.info, 0);
      ASSERT_EQ(values.m, iu - il + 1);
      std::vector<WideReal<R>> named;
      for (Int k = 1; k <= values.m; ++k) named.push_back(block.exact[std::size_t(values.indexw(k) - 1)]);
      std::sort(named.begin(), named.end());
      for (Int k = il; k <= iu; ++k) {
        EXPECT_LE(std::abs(named[std::size_t(k - il)] - T.exact[std::size_t(k - 1)]), T.uncertainty())
            << il << ' ' << iu;
      }
    }
  }
}

TYPED_TEST(Refinement, FindsValuesInAnInterval) {
  using R = TypeParam;
  constexpr Int n = 30;
  std::vector<Int> isplit;
  const Matrix<R> T = of_three_blocks<R>(n, isplit);
  for (Int trial = 0; trial < 40; ++trial) {
    const R vl = 2 * this->random.template scalar<R>(), vu = vl + std::abs(this->random.template scalar<R>());
    const auto place = [&](R x) { return std::lower_bound(T.exact.begin(), T.exact.end(), WideReal<R>(x)); };
    const auto is_close = [&](R x) { return place(x + R(T.uncertainty())) != place(x - R(T.uncertainty())); };
    if (is_close(vl) || is_close(vu)) continue;
    const BlockValues<R> values(T, isplit, 'v', 'b', vl, vu, -7, -7);
    expect_values(values, T, Int(place(vl) - T.exact.begin()) + 1, Int(place(vu) - T.exact.begin()));
    expect_places(values, T, isplit);
    EXPECT_EQ(values.wl, vl);
    EXPECT_EQ(values.wu, vu);
  }
  EXPECT_EQ(BlockValues<R>(T, isplit, 'V', 'B', T.gu + 1, T.gu + 2, 0, 0).m, 0);
  EXPECT_EQ(BlockValues<R>(T, isplit, 'V', 'B', T.gl - 2, T.gl - 1, 0, 0).m, 0);
}

TYPED_TEST(Refinement, SingleRowsBelongToIntervalsWithTheirRightEnd) {
  using R = TypeParam;
  const Matrix<R> T(Tridiagonal<R>{{1, 2, 3}, {0, 0}});
  const BlockValues<R> values(T, {1, 2, 3}, 'V', 'B', R(1), R(2), 0, 0);
  ASSERT_EQ(values.m, 1);
  EXPECT_EQ(values.w(1), 2);
  EXPECT_EQ(values.werr(1), 0);
  EXPECT_EQ(values.iblock(1), 2);
  EXPECT_EQ(values.indexw(1), 1);
  const Matrix<R> single(Tridiagonal<R>{{5}, {}});
  expect_values(BlockValues<R>(single, {1}, 'I', 'B', 0, 0, 1, 1), single, 1, 1);
  EXPECT_EQ(BlockValues<R>(single, {1}, 'V', 'B', R(5), R(6), 0, 0).m, 0);
}

TYPED_TEST(Refinement, DescribedMatricesByBlocks) {
  using R = TypeParam;
  constexpr Int n = 40;
  for (const auto& [name, tridiagonal] : tridiagonals_of_moderate_norm<R>(n)) {
    SCOPED_TRACE(name);
    const Matrix<R> T(tridiagonal);
    std::vector<Int> isplit;
    for (Int i = 1; i <= n; ++i) {
      if (i == n || T.e(i) == 0) isplit.push_back(i);
    }
    expect_values(BlockValues<R>(T, isplit, 'A', 'E', 0, 0, 0, 0), T, 1, n);
    expect_values(BlockValues<R>(T, isplit, 'I', 'B', 0, 0, 5, 17), T, 5, 17);
  }
}

TYPED_TEST(Refinement, TellsWhichValuesDidNotConverge) {
  using R = TypeParam;
  const Matrix<R> T(one_two_one<R>(9));
  const BlockValues<R> values(T, {9}, 'A', 'B', 0, 0, 0, 0, R(0));
  EXPECT_EQ(values.info, 1);
  for (Int k = 1; k <= 9; ++k) EXPECT_EQ(values.iblock(k), -1);
}

TYPED_TEST(Refinement, EndsOnNaNsByBlocks) {
  using R = TypeParam;
  Tridiagonal<R> tridiagonal = one_two_one<R>(9);
  Matrix<R> T(tridiagonal);
  for (const R bad : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    T.d(4) = bad;
    T.gers(7) = T.gers(8) = bad;
    T.d.seal();
    T.gers.seal();
    for (const char range : {'A', 'V', 'I'}) {
      const BlockValues<R> values(T, {9}, range, 'E', R(0), R(1), 2, 3);
      EXPECT_GE(values.info, 0);
    }
    R w, werr;
    Int info;
    routine_call::larrk(9, 3, T.gl, T.gu, T.d.data(), T.e2.data(), T.pivmin, 4 * epsilon<R>, w, werr, info);
    routine_call::larrk(9, 3, bad, bad, T.d.data(), T.e2.data(), T.pivmin, 4 * epsilon<R>, w, werr, info);
  }
}

TYPED_TEST(Refinement, ChecksArguments) {
  using R = TypeParam;
  const Matrix<R> T(one_two_one<R>(4));
  const auto info = [&](char range, char order, Int n, R vl, R vu, Int il, Int iu) {
    GuardedVector<R> w(4), werr(4), work(16);
    GuardedVector<Int> iblock(4), indexw(4), iwork(12);
    const Int isplit = 4;
    Int m = 77, result = 99;
    R wl, wu;
    routine_call::larrd(range, order, n, vl, vu, il, iu, T.gers.data(), 4 * epsilon<R>, T.d.data(), T.e.data(),
                        T.e2.data(), T.pivmin, 1, &isplit, m, w.data(), werr.data(), wl, wu, iblock.data(),
                        indexw.data(), work.data(), iwork.data(), result);
    EXPECT_EQ(m == 77, result < 0);
    return result;
  };
  EXPECT_EQ(info('X', 'X', -1, 0, 0, 0, 0), -1);
  EXPECT_EQ(info('A', 'X', -1, 0, 0, 0, 0), -2);
  EXPECT_EQ(info('A', 'B', -1, 0, 0, 0, 0), -3);
  EXPECT_EQ(info('V', 'B', 4, 1, 1, 0, 0), -5);
  EXPECT_EQ(info('V', 'B', 4, 2, 1, 0, 0), -5);
  EXPECT_EQ(info('I', 'B', 4, 0, 0, 0, 2), -6);
  EXPECT_EQ(info('I', 'B', 4, 0, 0, 5, 5), -6);
  EXPECT_EQ(info('I', 'B', 4, 0, 0, 3, 2), -7);
  EXPECT_EQ(info('I', 'B', 4, 0, 0, 3, 5), -7);
  EXPECT_EQ(info('I', 'B', 4, 0, 0, 1, 4), 0);
  EXPECT_EQ(info('A', 'B', 0, 0, 0, 0, 0), 0);
}

}  // namespace
}  // namespace nuv::test
